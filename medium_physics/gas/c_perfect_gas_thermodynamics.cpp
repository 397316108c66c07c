#include "gas/c_perfect_gas_thermodynamics.h"

#include <algorithm>

#include "factory/mp_log.h"
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
                        FluidRadProp::I_radiation_properties, FluidRadProp::I_gray_gas_radiation>(
        weak_from_this().lock(), requested);
}

void C_perfect_gas_thermodynamics::get_properties_p_H(double H, double p, const double* Y, double G2, double T0,
                                                      double* rho, double* T, double* cp, double* gamma, double* M,
                                                      double* a, double* mu, double* lambda,
                                                      double* p_out) const noexcept {
    if (!properties_from_H(H, p, Y, G2, T0, rho, T, cp, gamma, M, a, mu, lambda, p_out))
        MP_LOG(sink(), mp::line_kind::warning, mp::kInconsistentParameters);
}

void C_perfect_gas_thermodynamics::RhoT(double H, double p, const double* Y, double G2, double rho0, double T0,
                                        double* rho, double* T) const noexcept {
    const auto outcome = rho_T_from_H(H, p, Y, G2, rho0, T0, rho, T);
    if (outcome.negative_discriminant)
        MP_LOG(sink(), mp::line_kind::message,
               "MediumPhysics: %s(%d): Function RhoT(): Discriminant for Cp=const in ideal gas case < 0\n");
    if (outcome.iteration_failed) MP_LOG(sink(), mp::line_kind::warning, mp::kInconsistentParameters);
}

double C_perfect_gas_thermodynamics::get_T_p_h(double, double h, const double* Y) const noexcept {
    double T = 0.0;
    if (!T_from_h(h, Y, T)) MP_LOG(sink(), mp::line_kind::warning, mp::kInconsistentParameters);
    return T;
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
