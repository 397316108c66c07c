#include "cavitation/c_isotherm_cavitation_thermodynamics.h"

#include <algorithm>
#include <cmath>

#include "factory/c_medium_physics.h"
#include "factory/query_interface.h"
#include "file_io/c_file_io/c_file_io.h"
#include "liquid/c_comp_liquid.h"

// ---- the law ------------------------------------------------------------------------------------

bool cavitation_law::set(double vapour_pressure, double liquid_density, double liquid_sound_speed,
                         double vapour_density) noexcept {
    const auto positive = [](double x) { return std::isfinite(x) && x > 0.0; };
    if (!positive(vapour_pressure) || !positive(liquid_density) || !positive(liquid_sound_speed) ||
        !positive(vapour_density) || !(vapour_density < liquid_density))
        return false;
    p_v = vapour_pressure;
    rho_l = liquid_density;
    a_l = liquid_sound_speed;
    rho_v = vapour_density;
    a_v = std::sqrt(p_v / rho_v);  // isothermal ideal vapour: dp/drho = R T = p_v / rho_v
    const double A_v = rho_v * a_v * a_v, A_l = rho_l * a_l * a_l;  // the phases' bulk moduli
    P_gl = A_v * A_l * (rho_v - rho_l) / (rho_v * A_v - rho_l * A_l);
    return std::isfinite(P_gl) && P_gl > 0.0;
}

void cavitation_law::below(double p, double& alpha, double& rho, double& inv_bulk) const noexcept {
    const double A_v = rho_v * a_v * a_v, A_l = rho_l * a_l * a_l;
    // X - 1 with X = exp((p - p_v) / P_gl); expm1 keeps alpha exact just below p_v.
    const double Xm1 = std::expm1((p - p_v) / P_gl);
    alpha = rho_l * A_v * Xm1 / (A_v * (rho_v - rho_l) + (Xm1 + 1.0) * rho_l * (A_v - A_l));
    alpha = std::clamp(alpha, 0.0, 1.0);
    rho = rho_l + alpha * (rho_v - rho_l);
    // Wood: 1/(rho a^2) = alpha / A_v + (1 - alpha) / A_l.
    inv_bulk = alpha / A_v + (1.0 - alpha) / A_l;
}

// ---- creation and the record --------------------------------------------------------------------

std::shared_ptr<C_isotherm_cavitation_thermodynamics> C_isotherm_cavitation_thermodynamics::create(
    std::shared_ptr<C_incompressible_liquid_substance> inc, std::shared_ptr<C_compressible_liquid_substance> comp,
    std::shared_ptr<C_ideal_gas_substance> gas, double vapour_pressure, const char*& why) {
    std::shared_ptr<C_isotherm_cavitation_thermodynamics> medium(new C_isotherm_cavitation_thermodynamics());
    medium->m_inc = std::move(inc);
    medium->m_comp = std::move(comp);
    medium->m_gas = std::move(gas);
    if (!medium->prepare(vapour_pressure, why)) return nullptr;
    return medium;
}

bool C_isotherm_cavitation_thermodynamics::prepare(double vapour_pressure, const char*& why) {
    if (m_inc && !m_comp)
        m_liquid = m_inc.get();
    else if (m_comp && !m_inc)
        m_liquid = m_comp.get();
    else {
        why = "the medium needs exactly one liquid";
        return false;
    }
    m_T = m_liquid->get_reference_temperature();
    if (!(std::isfinite(m_T) && m_T > 0.0)) {
        why = "the liquid's reference temperature (the medium's temperature) must be above 0 K";
        return false;
    }
    if (!(std::isfinite(vapour_pressure) && vapour_pressure > 0.0)) {
        why = "the vapour pressure must be a finite number above 0 Pa";
        return false;
    }
    const double rho_v = m_liquid->get_scalar_a();
    if (!(std::isfinite(rho_v) && rho_v > 0.0)) {
        why = "the liquid's scalar_a must hold the density of its saturated vapour, above 0 kg/m3";
        return false;
    }
    const double v = liquid_volume(vapour_pressure);
    const double dp = kDerivativeStep * (vapour_pressure + kPressureScale);
    const double drho_dp = (1.0 / liquid_volume(vapour_pressure + dp) - 1.0 / liquid_volume(vapour_pressure - dp)) /
                           (2.0 * dp);
    if (!(std::isfinite(v) && v > 0.0 && std::isfinite(drho_dp) && drho_dp > 0.0)) {
        why = "the liquid's density does not rise with pressure at the vapour pressure";
        return false;
    }
    if (!m_law.set(vapour_pressure, 1.0 / v, 1.0 / std::sqrt(drho_dp), rho_v)) {
        why = "the vapour must be lighter than the liquid";
        return false;
    }
    m_cp_liquid = m_liquid->get_cp(kCpPressure, m_T);
    m_mu_liquid = m_liquid->get_viscosity(vapour_pressure, m_T);
    m_lambda_liquid = m_liquid->get_conductivity(m_T);
    if (m_gas) {
        m_R_gas = thermo::kUniversalGasConstant / m_gas->molar_mass();
        m_cp_gas = m_gas->cp(m_T);
        m_mu_gas = m_gas->mu(m_T);
        m_lambda_gas = m_gas->lambda(m_T);
    } else {
        m_mu_gas = m_mu_liquid;
        m_lambda_gas = m_lambda_liquid;
    }
    return true;
}

std::int32_t C_isotherm_cavitation_thermodynamics::query_interface(std::any& requested) {
    return mp::hand_out<IHostUnknown, FluidRadProp::IRadPropFunctionality, I_fluid_thermodynamics,
                        I_solver__fluid_thermodynamics_common, I_solver__thermodynamics_P_H,
                        I_solver__isothermal_cavitation, I_write, I_identity, FluidRadProp::I_radiation_properties>(
        weak_from_this().lock(), requested);
}

substance_array C_isotherm_cavitation_thermodynamics::get_substances() const {
    substance_array out(m_gas ? 2 : 1);
    out[0] = m_inc ? std::shared_ptr<C_substance_base>(m_inc) : std::shared_ptr<C_substance_base>(m_comp);
    if (m_gas) out[1] = m_gas;
    return out;
}

void C_isotherm_cavitation_thermodynamics::write(C_file_io& stream) const {
    stream.put<std::int32_t>(0);
    write_identity(stream);
    stream.put<std::int32_t>(m_inc ? MP_KIND_INC_LIQUID : MP_KIND_COMP_LIQUID);
    stream.write_guid(m_inc ? m_inc->identity() : m_comp->identity());
    stream.put<std::int32_t>(m_gas ? 1 : 0);
    if (m_gas) stream.write_guid(m_gas->identity());
    stream.put(m_law.p_v);
}

std::shared_ptr<C_isotherm_cavitation_thermodynamics> C_isotherm_cavitation_thermodynamics::load(
    C_file_io& stream, const C_medium_physics& factory) {
    if (stream.get<std::int32_t>() != 0) return nullptr;
    std::shared_ptr<C_isotherm_cavitation_thermodynamics> medium(new C_isotherm_cavitation_thermodynamics());
    medium->read_identity(stream);
    const auto liquid_kind = stream.get<std::int32_t>();
    host_guid id;
    stream.read_guid(id);
    if (liquid_kind == MP_KIND_INC_LIQUID)
        medium->m_inc = factory.find_substance<C_medium_physics::kIncLiquidCache>(id);
    else if (liquid_kind == MP_KIND_COMP_LIQUID)
        medium->m_comp = factory.find_substance<C_medium_physics::kCompLiquidCache>(id);
    else
        return nullptr;
    const auto gases = stream.get<std::int32_t>();
    if (gases < 0 || gases > 1) return nullptr;
    if (gases == 1) {
        stream.read_guid(id);
        medium->m_gas = factory.find_substance<C_medium_physics::kIdealGasCache>(id);
        if (!medium->m_gas) return nullptr;
    }
    const double p_v = stream.get<double>();
    const char* why = "";
    if (!medium->prepare(p_v, why)) return nullptr;
    return medium;
}

// ---- the law over the mixture -------------------------------------------------------------------

double C_isotherm_cavitation_thermodynamics::liquid_volume(double p) const noexcept {
    return m_liquid->get_liquid_volume(p, m_T);
}

void C_isotherm_cavitation_thermodynamics::fractions(const double* Y, double& w_liquid, double& w_gas) const noexcept {
    if (!m_gas) {
        w_liquid = 1.0;
        w_gas = 0.0;
        return;
    }
    double w[2];
    thermo::clean_mass_fractions(2, Y, w);
    w_liquid = w[0];
    w_gas = w[1];
}

C_isotherm_cavitation_thermodynamics::state C_isotherm_cavitation_thermodynamics::at(double p,
                                                                                     const double* Y) const noexcept {
    double w_l, w_g;
    fractions(Y, w_l, w_g);
    const double pe = std::isfinite(p) ? std::max(p, kMinimumPressure) : kMinimumPressure;
    double rho_w, inv_rho2_a2, alpha = 0.0;  // the liquid-vapour part: density and d rho_w/dp / rho_w^2
    if (pe >= m_law.p_v) {
        const double dp = kDerivativeStep * (pe + kPressureScale);
        rho_w = 1.0 / liquid_volume(pe);
        const double drho = (1.0 / liquid_volume(pe + dp) - 1.0 / liquid_volume(pe - dp)) / (2.0 * dp);
        inv_rho2_a2 = drho / (rho_w * rho_w);
    } else {
        double inv_bulk;
        m_law.below(pe, alpha, rho_w, inv_bulk);
        inv_rho2_a2 = inv_bulk / rho_w;
    }
    const double v_g = m_R_gas * m_T / pe;
    const double v = w_l / rho_w + w_g * v_g;
    state s;
    s.rho = 1.0 / v;
    s.drho_dp = s.rho * s.rho * (w_l * inv_rho2_a2 + w_g * v_g / pe);
    s.alpha_gas = w_g * v_g * s.rho;
    s.alpha_vapour = alpha * (1.0 - s.alpha_gas);
    return s;
}

void C_isotherm_cavitation_thermodynamics::get_void_fractions(double p, const double* Y, double* alpha_vapour,
                                                              double* alpha_gas) const noexcept {
    const state s = at(p, Y);
    *alpha_vapour = s.alpha_vapour;
    *alpha_gas = s.alpha_gas;
}

double C_isotherm_cavitation_thermodynamics::get_density(double p, double, const double* Y) const noexcept {
    return at(p, Y).rho;
}
double C_isotherm_cavitation_thermodynamics::get_drho_dp(double p, double, const double* Y) const noexcept {
    return at(p, Y).drho_dp;
}
double C_isotherm_cavitation_thermodynamics::get_compressibility(double p, double T, const double* Y) const noexcept {
    return get_drho_dp(p, T, Y);
}
double C_isotherm_cavitation_thermodynamics::get_sound_speed(double p, double, const double* Y) const noexcept {
    return 1.0 / std::sqrt(at(p, Y).drho_dp);
}

// ---- caloric and transport ----------------------------------------------------------------------

double C_isotherm_cavitation_thermodynamics::cp_c(const double* Y) const noexcept {
    double w_l, w_g;
    fractions(Y, w_l, w_g);
    return w_l * m_cp_liquid + w_g * m_cp_gas;
}
double C_isotherm_cavitation_thermodynamics::get_cp(double, double, const double* Y) const noexcept { return cp_c(Y); }
double C_isotherm_cavitation_thermodynamics::get_enthalpy(double, double T, const double* Y) const noexcept {
    return cp_c(Y) * (T - m_T);
}
double C_isotherm_cavitation_thermodynamics::temperature(double h, const double* Y) const noexcept {
    return m_T + h / cp_c(Y);
}
double C_isotherm_cavitation_thermodynamics::get_T_p_h(double, double h, const double* Y) const noexcept {
    return temperature(h, Y);
}
double C_isotherm_cavitation_thermodynamics::get_temperature_from_enthalpy(double h, double, const double* Y, double,
                                                                           double) const noexcept {
    return temperature(h, Y);
}

double C_isotherm_cavitation_thermodynamics::get_viscosity(double p, double, const double* Y) const noexcept {
    const state s = at(p, Y);
    const double light = s.alpha_vapour + s.alpha_gas;
    return (1.0 - light) * m_mu_liquid + light * m_mu_gas;
}
double C_isotherm_cavitation_thermodynamics::get_conductivity(double p, double, const double* Y) const noexcept {
    const state s = at(p, Y);
    const double light = s.alpha_vapour + s.alpha_gas;
    return (1.0 - light) * m_lambda_liquid + light * m_lambda_gas;
}
double C_isotherm_cavitation_thermodynamics::get_prandtl(double p, double T, const double* Y) const noexcept {
    return get_cp(p, T, Y) * get_viscosity(p, T, Y) / get_conductivity(p, T, Y);
}

void C_isotherm_cavitation_thermodynamics::get_properties_p_T(double p, double T, const double* Y, double* rho,
                                                              double* h, double* cp, double* gamma, double* M,
                                                              double* a, double* mu,
                                                              double* lambda) const noexcept {
    const state s = at(p, Y);
    const double light = s.alpha_vapour + s.alpha_gas;
    *rho = s.rho;
    *cp = cp_c(Y);
    *h = *cp * (T - m_T);
    *gamma = 1.0;
    *M = 0.0;
    *a = 1.0 / std::sqrt(s.drho_dp);
    *mu = (1.0 - light) * m_mu_liquid + light * m_mu_gas;
    *lambda = (1.0 - light) * m_lambda_liquid + light * m_lambda_gas;
}

void C_isotherm_cavitation_thermodynamics::get_properties_p_H(double H, double p, const double* Y, double G2, double,
                                                              double* rho, double* T, double* cp, double* gamma,
                                                              double* M, double* a, double* mu, double* lambda,
                                                              double* p_out) const noexcept {
    // The density does not depend on T, so the kinetic term is known before T: no iteration.
    const double r = at(p, Y).rho;
    const double Ts = temperature(H - 0.5 * G2 / (r * r), Y);
    double h;
    get_properties_p_T(p, Ts, Y, rho, &h, cp, gamma, M, a, mu, lambda);
    *T = Ts;
    *p_out = p;
}

void C_isotherm_cavitation_thermodynamics::RhoT(double H, double p, const double* Y, double G2, double, double,
                                                double* rho, double* T) const noexcept {
    *rho = at(p, Y).rho;
    *T = temperature(H - 0.5 * G2 / (*rho * *rho), Y);
}

double C_isotherm_cavitation_thermodynamics::get_mole_fraction(double p, double, const double* Y,
                                                               std::int32_t k) const noexcept {
    const std::int32_t n = m_gas ? 2 : 1;
    if (k < 0 || k >= n) return 0.0;
    const double alpha_gas = at(p, Y).alpha_gas;
    return k == 0 ? 1.0 - alpha_gas : alpha_gas;
}

double C_isotherm_cavitation_thermodynamics::get_mass_fraction(double p, double, const double* X,
                                                               std::int32_t k) const noexcept {
    const std::int32_t n = m_gas ? 2 : 1;
    if (k < 0 || k >= n) return 0.0;
    if (n == 1) return 1.0;
    // Volume fractions back to mass: the parts' densities at p, from the law of each part alone.
    const double one_liquid[2] = {1.0, 0.0}, one_gas[2] = {0.0, 1.0};
    const double m0 = X[0] * at(p, one_liquid).rho, m1 = X[1] * at(p, one_gas).rho;
    return (k == 0 ? m0 : m1) / (m0 + m1);
}
