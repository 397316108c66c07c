#include "liquid/c_inc_nn_liquid_thermodynamics.h"

#include "factory/mp_log.h"
#include "factory/query_interface.h"

std::int32_t C_inc_non_newtonian_liquid_thermodynamics::query_interface(std::any& requested) {
    return mp::hand_out<IHostUnknown, FluidRadProp::IRadPropFunctionality, I_fluid_thermodynamics,
                        I_solver__fluid_thermodynamics_common, I_solver__thermodynamics_P_H,
                        I_solver__incompressible_liquid, I_solver__incompressible_non_newton_liquid, I_write, I_identity,
                        FluidRadProp::I_radiation_properties>(weak_from_this().lock(), requested);
}

double C_inc_non_newtonian_liquid_thermodynamics::get_non_newtonian_viscosity(double p, double T, const double* Y,
                                                                              double shear_rate) const noexcept {
    return mixed_viscosity(
        p, T, Y, [&](const C_inc_non_newtonian_liquid_substance& s) { return s.get_viscosity(p, T, shear_rate); });
}

double C_inc_non_newtonian_liquid_thermodynamics::get_cp(double p, double T, const double* Y) const noexcept {
    cp_check check = cp_check::ok;
    const double cp = corrected_cp(p, T, Y, check);
    report_cp(check);
    return cp;
}

void C_inc_non_newtonian_liquid_thermodynamics::report_cp_check(cp_check check) const noexcept {
    if (check == cp_check::limited)
        MP_LOG(
            sink(), mp::line_kind::warning,
            "Warning 3003: MediumPhysics: %s(%d): Inconsistent thermodynamics: too large pressure correction of Cp\n");
    else
        MP_LOG(sink(), mp::line_kind::error, "ERROR: MediumPhysics: %s(%d): Inconsistent thermodynamics: Cp<0 !\n");
}

void C_inc_non_newtonian_liquid_thermodynamics::get_properties_p_H(double H, double p, const double* Y, double G2,
                                                                   double T0, double* rho, double* T, double* cp,
                                                                   double* gamma, double* M, double* a, double* mu,
                                                                   double* lambda, double* p_out) const noexcept {
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
}

void C_inc_non_newtonian_liquid_thermodynamics::RhoT(double H, double p, const double* Y, double G2, double, double T0,
                                                     double* rho, double* T) const noexcept {
    switch (rho_T_from_H(H, p, Y, G2, T0, rho, T)) {
    case newton_outcome::converged: break;
    case newton_outcome::not_increasing:
        MP_LOG(sink(), mp::line_kind::warning, "Warning 3003: MediumPhysics: %s(%d): Inconsistent thermodynamics!\n");
        break;
    case newton_outcome::out_of_steps:
        MP_LOG(sink(), mp::line_kind::warning,
               "Warning 3002: MediumPhysics: %s(%d): Inconsistent physical parameters!\n");
        break;
    }
}

double C_inc_non_newtonian_liquid_thermodynamics::get_T_p_h(double p, double h, const double* Y) const noexcept {
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
