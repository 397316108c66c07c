#include "gas/c_ideal_gas_thermodynamics.h"

#include "factory/mp_log.h"
#include "factory/query_interface.h"

std::shared_ptr<C_ideal_gas_thermodynamics> C_ideal_gas_thermodynamics::create(const substances& list) {
    std::shared_ptr<C_ideal_gas_thermodynamics> medium(new C_ideal_gas_thermodynamics());
    if (!medium->assign(list)) return nullptr;
    return medium;
}

std::int32_t C_ideal_gas_thermodynamics::query_interface(std::any& requested) {
    return mp::hand_out<IHostUnknown, FluidRadProp::IRadPropFunctionality, I_fluid_thermodynamics,
                        I_solver__fluid_thermodynamics_common, I_solver__thermodynamics_P_H,
                        I_solver__thermodynamics_Rho_E, I_fluid_ideal_gas, I_solver_membrane_model_support, I_write,
                        I_identity, FluidRadProp::I_radiation_properties, FluidRadProp::I_gray_gas_radiation>(
        weak_from_this().lock(), requested);
}

void C_ideal_gas_thermodynamics::get_properties_p_H(double H, double p, const double* Y, double G2, double T0,
                                                    double* rho, double* T, double* cp, double* gamma, double* M,
                                                    double* a, double* mu, double* lambda,
                                                    double* p_out) const noexcept {
    if (!properties_from_H(H, p, Y, G2, T0, rho, T, cp, gamma, M, a, mu, lambda, p_out))
        MP_LOG(sink(), mp::line_kind::warning, mp::kInconsistentParameters);
}

void C_ideal_gas_thermodynamics::RhoT(double H, double p, const double* Y, double G2, double rho0, double T0,
                                      double* rho, double* T) const noexcept {
    const auto outcome = rho_T_from_H(H, p, Y, G2, rho0, T0, rho, T);
    if (outcome.negative_discriminant)
        MP_LOG(sink(), mp::line_kind::message,
               "MediumPhysics: %s(%d): Function RhoT(): Discriminant for Cp=const in ideal gas case < 0\n");
    if (outcome.iteration_failed) MP_LOG(sink(), mp::line_kind::warning, mp::kInconsistentParameters);
}

double C_ideal_gas_thermodynamics::get_T_p_h(double, double h, const double* Y) const noexcept {
    double T = 0.0;
    if (!T_from_h(h, Y, T)) MP_LOG(sink(), mp::line_kind::warning, mp::kInconsistentParameters);
    return T;
}

double C_ideal_gas_thermodynamics::get_compressibility(double p, double T, const double* Y) const noexcept {
    const I_solver__thermodynamics_P_H& self = *this;
    return self.get_drho_dp(p, T, Y);
}

void C_ideal_gas_thermodynamics::get_properties_rho_e(double e, double rho, const double* Y, double T0, double* p,
                                                      double* T, double* cp, double* gamma, double* M, double* a,
                                                      double* mu, double* lambda) const noexcept {
    double x[thermo::kMaxCleanedSubstances];
    const double inv = inverse_molar_mass(Y, x);
    const double R = thermo::kUniversalGasConstant * inv;
    // e(T) = h(T) - R T, de/dT = cp - R
    double Ts = T0;
    const bool ok = mp::newton_on_T(T0, std::int64_t{m_limit} + 2, m_tolerance,
                                    [&](double T_old) {
                                        double c = 0.0, h = 0.0;
                                        mix_cp_h(T_old, Y, c, h);
                                        return T_old + (e - (h - R * T_old)) / (c - R);
                                    },
                                    Ts);
    if (!ok) {
        MP_LOG(sink(), mp::line_kind::warning, mp::kInconsistentParameters);
        Ts = T0;
    }
    *p = R * rho * Ts;
    fill_state(Ts, R, inv, Y, x, T, cp, gamma, M, a, mu, lambda);
}

double C_ideal_gas_thermodynamics::get_gamma(double, const double* Y) const noexcept {
    double c = 0.0, r = 0.0;
    for (std::int32_t i = 0; i < m_count; ++i) {
        const C_ideal_gas_substance& s = substance(i);
        c += Y[i] * s.gamma() / ((s.gamma() - 1.0) * s.molar_mass());
        r += Y[i] / s.molar_mass();
    }
    return c / (c - r);
}

void C_ideal_gas_thermodynamics::get_molar_masses(double* M) const noexcept {
    for (std::int32_t i = 0; i < m_count; ++i) M[i] = substance(i).molar_mass();
}

void C_ideal_gas_thermodynamics::get_species_cp(double, double T, const double*, double* cp) const noexcept {
    for (std::int32_t i = 0; i < m_count; ++i) cp[i] = substance(i).cp(T);
}

void C_ideal_gas_thermodynamics::get_species_enthalpy(double, double T, const double*, double* h) const noexcept {
    for (std::int32_t i = 0; i < m_count; ++i) h[i] = substance(i).h(T);
}
