#include "gas/c_perfect_gas_thermodynamics.h"

#include <algorithm>

#include "factory/query_interface.h"

std::shared_ptr<C_perfect_gas_thermodynamics> C_perfect_gas_thermodynamics::create(const substances& list) {
    std::shared_ptr<C_perfect_gas_thermodynamics> medium(new C_perfect_gas_thermodynamics());
    if (!medium->assign(list)) return nullptr;
    return medium;
}

std::int32_t C_perfect_gas_thermodynamics::query_interface(std::any& requested) {
    return mp::hand_out<IHostUnknown, FluidRadProp::IRadPropFunctionality, I_fluid_thermodynamics,
                        I_solver__fluid_thermodynamics_common, I_solver__thermodynamics_P_H,
                        I_solver__thermodynamics_Rho_E, I_fluid_ideal_gas, I_write, I_identity,
                        FluidRadProp::I_radiation_properties>(weak_from_this().lock(), requested);
}

double C_perfect_gas_thermodynamics::mixture_cp(const double* Y) const noexcept {
    double cp = 0.0;
    for (std::int32_t i = 0; i < m_count; ++i) cp += Y[i] * substance(i).cp(0.0);
    return cp;
}

void C_perfect_gas_thermodynamics::mixture_cp_h(double T, const double* Y, double& cp, double& h) const noexcept {
    cp = mixture_cp(Y);
    h = cp * T;
}

double C_perfect_gas_thermodynamics::get_enthalpy(double, double T, const double* Y) const noexcept {
    return T * mixture_cp(Y);
}

void C_perfect_gas_thermodynamics::get_properties_rho_e(double e, double rho, const double* Y, double, double* p,
                                                        double* T, double* cp, double* gamma, double* M, double* a,
                                                        double* mu, double* lambda) const noexcept {
    double x[thermo::kMaxCleanedSubstances];
        const double inv = inverse_molar_mass(Y, x);
    const double R = thermo::kUniversalGasConstant * inv;
    double Ts = e / (mixture_cp(Y) - R);
    if (Ts < kMinimumTemperature) Ts = kMinimumTemperature;
    *p = R * rho * Ts;
    fill_state(Ts, R, inv, Y, x, T, cp, gamma, M, a, mu, lambda);
}

void C_perfect_gas_thermodynamics::get_properties_p_rho(double p, double rho, const double* Y, double, double* e,
                                                        double* T, double* cp, double* gamma, double* M, double* a,
                                                        double* mu, double* lambda) const noexcept {
    double x[thermo::kMaxCleanedSubstances];
        const double inv = inverse_molar_mass(Y, x);
    const double R = thermo::kUniversalGasConstant * inv;
    const double Ts = p / (R * rho);
    fill_state(Ts, R, inv, Y, x, T, cp, gamma, M, a, mu, lambda);
    *e = (*cp - R) * Ts;
}

double C_perfect_gas_thermodynamics::get_gamma(double, const double* Y) const noexcept {
    const double cp = mixture_cp(Y);
    return cp / (cp - gas_constant(Y));
}

double C_perfect_gas_thermodynamics::get_sound_speed_e(double e, const double* Y) const noexcept {
    const double cp = mixture_cp(Y);
    const double R = gas_constant(Y);
    return std::sqrt(cp * e * R / ((cp - R) * (cp - R)));
}

double C_perfect_gas_thermodynamics::get_energy_p_rho(double p_over_rho, const double* Y) const noexcept {
    return (mixture_cp(Y) / gas_constant(Y) - 1.0) * p_over_rho;
}

double C_perfect_gas_thermodynamics::get_pressure_rho_e(double e, double rho, const double* Y) const noexcept {
    return e * rho / (mixture_cp(Y) / gas_constant(Y) - 1.0);
}

double C_perfect_gas_thermodynamics::get_temperature_e(double e, const double* Y) const noexcept {
    return e / (mixture_cp(Y) - gas_constant(Y));
}
