#include "liquid/c_comp_liquid_thermodynamics.h"

#include <cmath>

#include "factory/mp_log.h"
#include "factory/query_interface.h"

std::int32_t C_comp_liquid_thermodynamics::query_interface(std::any& requested) {
    return mp::hand_out<IHostUnknown, FluidRadProp::IRadPropFunctionality, I_fluid_thermodynamics,
                        I_solver__fluid_thermodynamics_common, I_solver__thermodynamics_P_H,
                        I_solver__compressible_liquid, I_write, I_identity, FluidRadProp::I_radiation_properties>(
        weak_from_this().lock(), requested);
}

double C_comp_liquid_thermodynamics::get_drho_dp(double p, double T, const double* Y) const noexcept {
    // rho = 1 / sum(Y_i / rho_i): d rho / dp = rho^2 sum(Y_i (d rho_i / dp) / rho_i^2)
    const double rho = get_density(p, T, Y);
    double sum = 0.0;
    for (std::int32_t i = 0; i < m_count; ++i) {
        const auto& s = component(i);
        const double rho_i = s.density(p, T);
        sum += Y[i] * s.drho_dp(p, T) / (rho_i * rho_i);
    }
    return rho * rho * sum;
}

double C_comp_liquid_thermodynamics::get_compressibility(double p, double T, const double* Y) const noexcept {
    return get_drho_dp(p, T, Y);
}

double C_comp_liquid_thermodynamics::drho_dT(double p, double T, const double* Y) const noexcept {
    return (get_density(p, T + kTemperatureStep, Y) - get_density(p, T - kTemperatureStep, Y)) / (2.0 * kTemperatureStep);
}

double C_comp_liquid_thermodynamics::get_expansion_factor(double p, double T, const double* Y) const noexcept {
    return -T / get_density(p, T, Y) * drho_dT(p, T, Y);
}

void C_comp_liquid_thermodynamics::acoustics(double p, double T, const double* Y, double* gamma, double* a) const noexcept {
    const double rho = get_density(p, T, Y);
    const double isothermal = get_drho_dp(p, T, Y);
    const double dT = drho_dT(p, T, Y);
    const double isentropic = isothermal - T * dT * dT / (rho * rho * raw_cp(p, T, Y));
    if (!(isothermal > 0.0) || !std::isfinite(isothermal)) {
        // no pressure dependence: the incompressible liquid's convention
        *gamma = 0.0;
        *a = 0.0;
    } else if (!(isentropic > 0.0) || !std::isfinite(isentropic)) {
        *gamma = 1.0;
        *a = 1.0 / std::sqrt(isothermal);
    } else {
        *gamma = isothermal / isentropic;
        *a = 1.0 / std::sqrt(isentropic);
    }
}

double C_comp_liquid_thermodynamics::get_sound_speed(double p, double T, const double* Y) const noexcept {
    double gamma = 0.0, a = 0.0;
    acoustics(p, T, Y, &gamma, &a);
    return a;
}

void C_comp_liquid_thermodynamics::get_properties_p_T(double p, double T, const double* Y, double* rho, double* h,
                                                      double* cp, double* gamma, double* M, double* a, double* mu,
                                                      double* lambda) const noexcept {
    C_liquid_mixture::get_properties_p_T(p, T, Y, rho, h, cp, gamma, M, a, mu, lambda);
    acoustics(p, T, Y, gamma, a);
}

double C_comp_liquid_thermodynamics::get_cp(double p, double T, const double* Y) const noexcept {
    cp_check check = cp_check::ok;
    const double cp = corrected_cp(p, T, Y, check);
    report_cp(check);
    return cp;
}

void C_comp_liquid_thermodynamics::report_cp_check(cp_check check) const noexcept {
    if (check == cp_check::limited)
        MP_LOG(
            sink(), mp::line_kind::warning,
            "Warning 3003: MediumPhysics: %s(%d): Inconsistent thermodynamics: too large pressure correction of Cp\n");
    else
        MP_LOG(sink(), mp::line_kind::warning,
               "Warning 3002: MediumPhysics: %s(%d): Inconsistent physical parameters: Cp<0 !\n");
}

void C_comp_liquid_thermodynamics::get_properties_p_H(double H, double p, const double* Y, double G2, double T0,
                                                      double* rho, double* T, double* cp, double* gamma, double* M,
                                                      double* a, double* mu, double* lambda,
                                                      double* p_out) const noexcept {
    switch (properties_from_H(H, p, Y, G2, T0, rho, T, cp, gamma, M, a, mu, lambda, p_out)) {
    case newton_outcome::converged: break;
    case newton_outcome::not_increasing:
        MP_LOG(sink(), mp::line_kind::warning, "Warning 3003: MediumPhysics: %s(%d): Inconsistent thermodynamics!\n");
        break;
    case newton_outcome::out_of_steps:
        MP_LOG(sink(), mp::line_kind::warning,
               "Warning 3002: MediumPhysics: %s(%d): Inconsistent physical parameters!\n");
        break;
    }
    acoustics(p, *T, Y, gamma, a);
}

void C_comp_liquid_thermodynamics::RhoT(double H, double p, const double* Y, double G2, double, double T0, double* rho,
                                        double* T) const noexcept {
    switch (rho_T_from_H(H, p, Y, G2, T0, rho, T)) {
    case newton_outcome::converged: break;
    case newton_outcome::not_increasing:
        MP_LOG(sink(), mp::line_kind::warning, "Warning 3002: MediumPhysics: %s(%d): Inconsistent thermodynamics!\n");
        break;
    case newton_outcome::out_of_steps:
        MP_LOG(sink(), mp::line_kind::warning,
               "Warning 3002: MediumPhysics: %s(%d): Inconsistent physical parameters!\n");
        break;
    }
}

double C_comp_liquid_thermodynamics::get_T_p_h(double p, double h, const double* Y) const noexcept {
    double T = kStartTemperature;
    switch (T_from_h(p, h, Y, T)) {
    case newton_outcome::converged: break;
    case newton_outcome::not_increasing:
        MP_LOG(sink(), mp::line_kind::warning, "Warning 3003: MediumPhysics: %s(%d): Inconsistent thermodynamics!\n");
        break;
    case newton_outcome::out_of_steps:
        MP_LOG(sink(), mp::line_kind::warning,
               "Warning 3002: MediumPhysics: %s(%d): Inconsistent physical parameters!\n");
        break;
    }
    return T;
}
