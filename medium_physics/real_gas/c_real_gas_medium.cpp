#include "real_gas/c_real_gas_medium.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "file_io/c_file_io/c_file_io.h"

namespace {
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
}  // namespace

bool C_real_gas_medium::assign(std::shared_ptr<C_real_gas_substance> real, const ideal_list& ideal, bool phase_change,
                               mp::site where) {
    m_real = std::move(real);
    m_ideal = ideal;
    if (!m_ideal_flat.allocate(static_cast<std::size_t>(m_ideal.size()), where)) return false;
    for (std::int32_t i = 0; i < m_ideal.size(); ++i) m_ideal_flat[static_cast<std::size_t>(i)] = m_ideal[i].get();
    m_core.set(m_real.get(), m_ideal_flat.data(), m_ideal.size(), phase_change);
    m_core.set_iteration(m_tolerance, m_limit);
    return true;
}

substance_array C_real_gas_medium::get_substances() const {
    substance_array out(1 + m_ideal.size());
    out[0] = m_real;
    for (std::int32_t i = 0; i < m_ideal.size(); ++i) out[1 + i] = m_ideal[i];
    return out;
}

void C_real_gas_medium::write(C_file_io& stream) const {
    stream.put<std::int32_t>(0);
    write_identity(stream);
    stream.put(m_tolerance);
    stream.put(m_limit);
    stream.write_guid(m_real->identity());
    stream.put(m_ideal.size());
    for (std::int32_t i = 0; i < m_ideal.size(); ++i) stream.write_guid(m_ideal[i]->identity());
}

// ---- common -------------------------------------------------------------------------------------

double C_real_gas_medium::get_cp(double p, double T, const double* Y) const noexcept {
    rg_point r;
    m_core.p_T(p, T, Y, r);
    return r.cp;
}

double C_real_gas_medium::get_viscosity(double p, double T, const double* Y) const noexcept {
    rg_point r;
    m_core.p_T(p, T, Y, r);
    return r.mu;
}

double C_real_gas_medium::get_conductivity(double p, double T, const double* Y) const noexcept {
    rg_point r;
    m_core.p_T(p, T, Y, r);
    return r.lambda;
}

double C_real_gas_medium::get_prandtl(double p, double T, const double* Y) const noexcept {
    rg_point r;
    m_core.p_T(p, T, Y, r);
    return r.mu * r.cp / r.lambda;
}

double C_real_gas_medium::get_expansion_factor(double p, double T, const double* Y) const noexcept {
    if (!(p > 0.0) || !(T > 0.0)) return kNaN;
    mp::rg_mix_state m;
    m_core.mix_at(p, T, Y, m);
    return T * m.beta / m.v;
}

double C_real_gas_medium::get_temperature_from_enthalpy(double h, double p, const double* Y, double,
                                                        double T0) const noexcept {
    if (std::isfinite(p) && p > 0.0) {
        rg_point r;
        const std::uint32_t s = m_core.p_H(h, p, Y, 0.0, T0, r);
        report(s, operation::T_from_h);
        return r.T;
    }
    double T = T0;
    if (!m_core.dilute_T(h, 0, Y, T0, T)) report(MP_RG_ITERATION_FAILED, operation::T_from_h);
    return T;
}

void C_real_gas_medium::get_properties_p_T(double p, double T, const double* Y, double* rho, double* h, double* cp,
                                           double* gamma, double* M, double* a, double* mu,
                                           double* lambda) const noexcept {
    rg_point r;
    m_core.p_T(p, T, Y, r);
    *rho = r.rho;
    *h = r.h;
    *cp = r.cp;
    *gamma = r.gamma;
    *M = r.M;
    *a = r.a;
    *mu = r.mu;
    *lambda = r.lambda;
}

double C_real_gas_medium::get_mole_fraction(double, double, const double* Y, std::int32_t k) const noexcept {
    if (k < 0 || k >= m_core.count()) return 0.0;
    return (Y[k] / m_core.molar_mass(k)) / m_core.inverse_molar_mass(Y);
}

double C_real_gas_medium::get_mass_fraction(double, double, const double* X, std::int32_t k) const noexcept {
    if (k < 0 || k >= m_core.count()) return 0.0;
    double sum = 0.0;
    for (std::int32_t i = 0; i < m_core.count(); ++i) sum += X[i] * m_core.molar_mass(i);
    return X[k] * m_core.molar_mass(k) / sum;
}

double C_real_gas_medium::get_dynamic_pressure_factor(double T, double u, const double* Y) const noexcept {
    return thermo::dynamic_pressure_factor(*this, T, u, Y);
}

// ---- pressure-based -----------------------------------------------------------------------------

void C_real_gas_medium::get_properties_p_H(double H, double p, const double* Y, double G2, double T0, double* rho,
                                           double* T, double* cp, double* gamma, double* M, double* a, double* mu,
                                           double* lambda, double* p_out) const noexcept {
    rg_point r;
    report(m_core.p_H(H, p, Y, G2, T0, r), operation::p_H);
    *rho = r.rho;
    *T = r.T;
    *cp = r.cp;
    *gamma = r.gamma;
    *M = r.M;
    *a = r.a;
    *mu = r.mu;
    *lambda = r.lambda;
    *p_out = p;
}

void C_real_gas_medium::RhoT(double H, double p, const double* Y, double G2, double rho0, double T0, double* rho,
                             double* T) const noexcept {
    rg_point r;
    const std::uint32_t s = m_core.p_H(H, p, Y, G2, T0, r);
    report(s, operation::rho_T);
    if ((s & MP_RG_ITERATION_FAILED) != 0) {
        *rho = rho0;
        *T = T0;
        return;
    }
    *rho = r.rho;
    *T = r.T;
}

double C_real_gas_medium::get_T_p_h(double p, double h, const double* Y) const noexcept {
    const double start = std::clamp(kStartTemperature, m_core.T_low(), m_core.T_high());
    rg_point r;
    report(m_core.p_H(h, p, Y, 0.0, start, r), operation::T_p_h);
    return r.T;
}

double C_real_gas_medium::get_enthalpy(double p, double T, const double* Y) const noexcept {
    rg_point r;
    m_core.p_T(p, T, Y, r);
    return r.h;
}

double C_real_gas_medium::get_density(double p, double T, const double* Y) const noexcept {
    rg_point r;
    m_core.p_T(p, T, Y, r);
    return r.rho;
}

double C_real_gas_medium::get_sound_speed(double p, double T, const double* Y) const noexcept {
    rg_point r;
    m_core.p_T(p, T, Y, r);
    return r.a;
}

double C_real_gas_medium::get_drho_dp(double p, double T, const double* Y) const noexcept {
    if (!(p > 0.0) || !(T > 0.0)) return kNaN;
    mp::rg_mix_state m;
    m_core.mix_at(p, T, Y, m);
    // (d rho/dp)_T = -(dv/dp)_T / v^2
    return m.kappa / (m.v * m.v);
}

double C_real_gas_medium::get_compressibility(double p, double T, const double* Y) const noexcept {
    const I_solver__thermodynamics_P_H& self = *this;
    return self.get_drho_dp(p, T, Y);
}

// ---- density-based ------------------------------------------------------------------------------

void C_real_gas_medium::get_properties_rho_e(double e, double rho, const double* Y, double T0, double* p, double* T,
                                             double* cp, double* gamma, double* M, double* a, double* mu,
                                             double* lambda) const noexcept {
    rg_point r;
    report(m_core.rho_e(e, rho, Y, T0, r), operation::rho_e);
    *p = r.p;
    *T = r.T;
    *cp = r.cp;
    *gamma = r.gamma;
    *M = r.M;
    *a = r.a;
    *mu = r.mu;
    *lambda = r.lambda;
}

void C_real_gas_medium::get_properties_p_rho(double p, double rho, const double* Y, double, double* e, double* T,
                                             double* cp, double* gamma, double* M, double* a, double* mu,
                                             double* lambda) const noexcept {
    rg_point r;
    report(m_core.p_rho(p, rho, Y, r), operation::p_rho);
    *e = r.e;
    *T = r.T;
    *cp = r.cp;
    *gamma = r.gamma;
    *M = r.M;
    *a = r.a;
    *mu = r.mu;
    *lambda = r.lambda;
}

double C_real_gas_medium::get_gamma(double T, const double* Y) const noexcept {
    double cp0 = 0.0, h0 = 0.0, R = 0.0;
    m_core.dilute_cp_h(T > 0.0 ? T : kGammaReferenceTemperature, Y, cp0, h0, R);
    return cp0 / (cp0 - R);
}

double C_real_gas_medium::get_sound_speed_e(double e, const double* Y) const noexcept {
    double T = kStartTemperature;
    m_core.dilute_T(e, 1, Y, kStartTemperature, T);
    double cp0 = 0.0, h0 = 0.0, R = 0.0;
    m_core.dilute_cp_h(T, Y, cp0, h0, R);
    return std::sqrt(cp0 / (cp0 - R) * R * T);
}

double C_real_gas_medium::get_energy_p_rho(double p_over_rho, const double* Y) const noexcept {
    const double R = 8.3144 * m_core.inverse_molar_mass(Y);
    const double T = p_over_rho / R;
    double cp0 = 0.0, h0 = 0.0, r = 0.0;
    m_core.dilute_cp_h(T, Y, cp0, h0, r);
    return h0 - R * T;
}

double C_real_gas_medium::get_pressure_rho_e(double e, double rho, const double* Y) const noexcept {
    double T0 = kStartTemperature;
    m_core.dilute_T(e, 1, Y, kStartTemperature, T0);
    rg_point r;
    report(m_core.rho_e(e, rho, Y, std::clamp(T0, m_core.T_low(), m_core.T_high()), r), operation::pressure_rho_e);
    return r.p;
}

double C_real_gas_medium::get_temperature_e(double e, const double* Y) const noexcept {
    double T = kStartTemperature;
    m_core.dilute_T(e, 1, Y, kStartTemperature, T);
    return T;
}

// ---- I_solver_real_gas --------------------------------------------------------------------------

std::uint32_t C_real_gas_medium::get_state_p_T(double p, double T, const double* Y, rg_point* out) const noexcept {
    return m_core.p_T(p, T, Y, *out);
}

std::uint32_t C_real_gas_medium::get_state_p_H(double H, double p, const double* Y, double G2, double T0,
                                               rg_point* out) const noexcept {
    const std::uint32_t s = m_core.p_H(H, p, Y, G2, T0, *out);
    report(s, operation::p_H);
    return s;
}

std::uint32_t C_real_gas_medium::get_state_rho_e(double e, double rho, const double* Y, double T0,
                                                 rg_point* out) const noexcept {
    const std::uint32_t s = m_core.rho_e(e, rho, Y, T0, *out);
    report(s, operation::rho_e);
    return s;
}

std::uint32_t C_real_gas_medium::get_state_p_rho(double p, double rho, const double* Y, rg_point* out) const noexcept {
    const std::uint32_t s = m_core.p_rho(p, rho, Y, *out);
    report(s, operation::p_rho);
    return s;
}

double C_real_gas_medium::get_saturation_pressure(double T) const noexcept {
    if (!(T > 0.0) || !(T < m_real->saturation_end())) return 0.0;
    return m_real->get_saturation_pressure(T);
}

double C_real_gas_medium::get_saturation_temperature(double p) const noexcept {
    return m_real->saturation_temperature(p);
}

bool C_real_gas_medium::fill_tables() const noexcept {
    try {
        return m_real->table()->fill_all();
    } catch (...) {
        return false;
    }
}
