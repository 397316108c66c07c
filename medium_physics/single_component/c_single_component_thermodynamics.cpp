#include "single_component/c_single_component_thermodynamics.h"

#include <cmath>

#include "factory/mp_log.h"
#include "factory/query_interface.h"
#include "file_io/c_file_io/c_file_io.h"

using mp::single_component::sc_state;

namespace {

// The outputs every full-state operation gives in the same order.
void spread(const sc_state& s, double M_gas, double* cp, double* gamma, double* M, double* a, double* mu,
            double* lambda) noexcept {
    *cp = s.cp;
    *gamma = s.cp / s.cv;
    *M = M_gas;
    *a = s.a;
    *mu = s.mu;
    *lambda = s.lambda;
}

}  // namespace

std::shared_ptr<C_single_component_thermodynamics_VT> C_single_component_thermodynamics_VT::create(
    std::shared_ptr<C_single_component_gas_substance> gas) {
    if (!gas) return nullptr;
    std::shared_ptr<C_single_component_thermodynamics_VT> medium(new C_single_component_thermodynamics_VT());
    medium->m_gas = std::move(gas);
    return medium;
}

std::shared_ptr<C_single_component_thermodynamics_VT> C_single_component_thermodynamics_VT::load(
    C_file_io& stream, const C_medium_physics& factory) {
    if (stream.get<std::int32_t>() != 0) return nullptr;
    std::shared_ptr<C_single_component_thermodynamics_VT> medium(new C_single_component_thermodynamics_VT());
    medium->read_identity(stream);
    host_guid id;
    stream.read_guid(id);
    medium->m_gas = factory.find_substance<kCacheIndex>(id);
    if (!medium->m_gas) return nullptr;
    return medium;
}

void C_single_component_thermodynamics_VT::write(C_file_io& stream) const {
    stream.put<std::int32_t>(0);
    write_identity(stream);
    stream.write_guid(m_gas->identity());
}

std::int32_t C_single_component_thermodynamics_VT::query_interface(std::any& requested) {
    return mp::hand_out<IHostUnknown, FluidRadProp::IRadPropFunctionality, I_fluid_thermodynamics,
                        I_solver__fluid_thermodynamics_common, I_solver__thermodynamics_P_H,
                        I_solver__thermodynamics_Rho_E, I_write, I_identity,
                        FluidRadProp::I_radiation_properties>(weak_from_this().lock(), requested);
}

substance_array C_single_component_thermodynamics_VT::get_substances() const { return thermo::substance_array_of(m_gas); }

// ---- common -------------------------------------------------------------------------------------

double C_single_component_thermodynamics_VT::get_cp(double p, double T, const double*) const noexcept {
    sc_state s;
    m_gas->table().at_p_T(p, T, s);
    return s.cp;
}

double C_single_component_thermodynamics_VT::get_viscosity(double p, double T, const double*) const noexcept {
    sc_state s;
    m_gas->table().at_p_T(p, T, s);
    return s.mu;
}

double C_single_component_thermodynamics_VT::get_conductivity(double p, double T, const double*) const noexcept {
    sc_state s;
    m_gas->table().at_p_T(p, T, s);
    return s.lambda;
}

double C_single_component_thermodynamics_VT::get_prandtl(double p, double T, const double*) const noexcept {
    sc_state s;
    m_gas->table().at_p_T(p, T, s);
    return s.mu * s.cp / s.lambda;
}

double C_single_component_thermodynamics_VT::get_expansion_factor(double p, double T, const double*) const noexcept {
    sc_state s;
    m_gas->table().at_p_T(p, T, s);
    const double pv = s.p * s.v;
    return T * s.dpv_dT / (pv - s.dpv_dx);
}

bool C_single_component_thermodynamics_VT::solve_T(double H, double p, double G2, double T0,
                                                   sc_state& s) const noexcept {
    const auto& table = m_gas->table();
    double T = T0;
    for (int iteration = 0; iteration < kEnthalpyIterations && std::isfinite(T) && T > 0.0; ++iteration) {
        table.at_p_T(p, T, s);
        const double pv = s.p * s.v;
        // (dv/dT)_p = v beta, beta from the cell's derivatives of p v
        const double dv_dT = s.v * s.dpv_dT / (pv - s.dpv_dx);
        const double residual = s.e + pv + 0.5 * G2 * s.v * s.v - H;
        const double T_new = T - residual / (s.cp + G2 * s.v * dv_dT);
        if (std::fabs(T_new - T) <= T * kEnthalpyTolerance) {
            table.at_p_T(p, T_new, s);
            return true;
        }
        T = T_new;
    }
    MP_LOG(m_gas->sink(), mp::line_kind::warning,
           "Warning 3002: MediumPhysics: %s(%d): Inconsistent physical parameters!\n");
    table.at_p_T(p, T0, s);
    return false;
}

double C_single_component_thermodynamics_VT::get_temperature_from_enthalpy(double h, double p, const double*, double,
                                                                           double T0) const noexcept {
    sc_state s;
    solve_T(h, p > 0.0 && std::isfinite(p) ? p : kReferencePressure, 0.0, T0, s);
    return s.T;
}

void C_single_component_thermodynamics_VT::get_properties_p_T(double p, double T, const double*, double* rho,
                                                              double* h, double* cp, double* gamma, double* M,
                                                              double* a, double* mu, double* lambda) const noexcept {
    sc_state s;
    m_gas->table().at_p_T(p, T, s);
    *rho = 1.0 / s.v;
    *h = s.e + p * s.v;
    spread(s, m_gas->table().molar_mass, cp, gamma, M, a, mu, lambda);
}

double C_single_component_thermodynamics_VT::get_mole_fraction(double, double, const double*,
                                                               std::int32_t k) const noexcept {
    return k == 0 ? 1.0 : 0.0;
}

double C_single_component_thermodynamics_VT::get_mass_fraction(double, double, const double*,
                                                               std::int32_t k) const noexcept {
    return k == 0 ? 1.0 : 0.0;
}

double C_single_component_thermodynamics_VT::get_dynamic_pressure_factor(double T, double u,
                                                                         const double* Y) const noexcept {
    return thermo::dynamic_pressure_factor(*this, T, u, Y);
}

// ---- pressure-based -----------------------------------------------------------------------------

void C_single_component_thermodynamics_VT::get_properties_p_H(double H, double p, const double*, double G2, double T0,
                                                              double* rho, double* T, double* cp, double* gamma,
                                                              double* M, double* a, double* mu, double* lambda,
                                                              double* p_out) const noexcept {
    sc_state s;
    solve_T(H, p, G2, T0, s);
    *rho = 1.0 / s.v;
    *T = s.T;
    spread(s, m_gas->table().molar_mass, cp, gamma, M, a, mu, lambda);
    *p_out = p;
}

void C_single_component_thermodynamics_VT::RhoT(double H, double p, const double*, double G2, double, double T0,
                                                double* rho, double* T) const noexcept {
    sc_state s;
    solve_T(H, p, G2, T0, s);
    *rho = 1.0 / s.v;
    *T = s.T;
}

double C_single_component_thermodynamics_VT::get_T_p_h(double p, double h, const double*) const noexcept {
    constexpr double kStart = 300.0;  // K: no start value is given
    sc_state s;
    solve_T(h, p, 0.0, kStart, s);
    return s.T;
}

double C_single_component_thermodynamics_VT::get_enthalpy(double p, double T, const double*) const noexcept {
    sc_state s;
    m_gas->table().at_p_T(p, T, s);
    return s.e + p * s.v;
}

double C_single_component_thermodynamics_VT::get_density(double p, double T, const double*) const noexcept {
    sc_state s;
    m_gas->table().at_p_T(p, T, s);
    return 1.0 / s.v;
}

double C_single_component_thermodynamics_VT::get_sound_speed(double p, double T, const double*) const noexcept {
    sc_state s;
    m_gas->table().at_p_T(p, T, s);
    return s.a;
}

double C_single_component_thermodynamics_VT::get_drho_dp(double p, double T, const double*) const noexcept {
    sc_state s;
    m_gas->table().at_p_T(p, T, s);
    // (dp/dv)_T = (d pv/d ln v - pv) / v^2, so d rho/dp = 1 / (pv - d pv/d ln v)
    return 1.0 / (p * s.v - s.dpv_dx);
}

double C_single_component_thermodynamics_VT::get_compressibility(double p, double T, const double* Y) const noexcept {
    return get_drho_dp(p, T, Y);
}

// ---- density-based ------------------------------------------------------------------------------

void C_single_component_thermodynamics_VT::get_properties_rho_e(double e, double rho, const double*, double,
                                                                double* p, double* T, double* cp, double* gamma,
                                                                double* M, double* a, double* mu,
                                                                double* lambda) const noexcept {
    sc_state s;
    m_gas->table().at_e_v(e, 1.0 / rho, s);
    *p = s.p;
    *T = s.T;
    spread(s, m_gas->table().molar_mass, cp, gamma, M, a, mu, lambda);
}

void C_single_component_thermodynamics_VT::get_properties_p_rho(double p, double rho, const double*, double,
                                                                double* e, double* T, double* cp, double* gamma,
                                                                double* M, double* a, double* mu,
                                                                double* lambda) const noexcept {
    sc_state s;
    m_gas->table().at_pv_v(p / rho, 1.0 / rho, s);
    *e = s.e;
    *T = s.T;
    spread(s, m_gas->table().molar_mass, cp, gamma, M, a, mu, lambda);
}

double C_single_component_thermodynamics_VT::get_gamma(double T, const double*) const noexcept {
    sc_state s;
    m_gas->table().at_v_T(m_gas->reference_volume(), T, s);
    return s.cp / s.cv;
}

double C_single_component_thermodynamics_VT::get_sound_speed_e(double e, const double*) const noexcept {
    sc_state s;
    m_gas->table().at_e_v(e, m_gas->reference_volume(), s);
    return s.a;
}

double C_single_component_thermodynamics_VT::get_energy_p_rho(double p_over_rho, const double*) const noexcept {
    sc_state s;
    m_gas->table().at_pv_v(p_over_rho, m_gas->reference_volume(), s);
    return s.e;
}

double C_single_component_thermodynamics_VT::get_pressure_rho_e(double e, double rho, const double*) const noexcept {
    sc_state s;
    m_gas->table().at_e_v(e, 1.0 / rho, s);
    return s.p;
}

double C_single_component_thermodynamics_VT::get_temperature_e(double e, const double*) const noexcept {
    sc_state s;
    m_gas->table().at_e_v(e, m_gas->reference_volume(), s);
    return s.T;
}
