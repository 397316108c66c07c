// C_inc_non_newtonian_liquid_thermodynamics (kind 2): the incompressible liquid mixture over
// non-Newtonian components. Its viscosity needs the shear rate, so get_viscosity answers the
// sentinel 1e40 (which a solver must not use as a viscosity) and get_non_newtonian_viscosity mixes
// the components' laws with squared specific volumes; a negative corrected cp is an error, and
// RhoT reports a falling enthalpy under the number 3003. SI units throughout.
#pragma once

#include "liquid/c_inc_liquid.h"
#include "liquid/c_liquid_mixture.h"

class C_inc_non_newtonian_liquid_thermodynamics final
    : public C_liquid_mixture<C_inc_non_newtonian_liquid_thermodynamics, C_inc_non_newtonian_liquid_substance>,
      public virtual I_solver__incompressible_non_newton_liquid {
public:
    static constexpr std::size_t kCacheIndex = C_medium_physics::kNonNewtonianLiquidCache;
    // The viscosity answered without a shear rate, Pa s.
    static constexpr double kViscositySentinel = 1e40;

    std::int32_t query_interface(std::any& requested) override;
    std::int32_t get_type_id() const noexcept override { return MP_KIND_INC_NON_NEWTONIAN_LIQUID; }
    // The operations that report what they meet, from this file: cp's pressure limit (3003) and
    // negative cp (ERROR); a falling enthalpy (3003 in get_properties_p_H and get_T_p_h, 3003 in
    // RhoT) and an iteration out of steps (3002).
    double get_cp(double p, double T, const double* Y) const noexcept override;
    void get_properties_p_H(double H, double p, const double* Y, double G2, double T0, double* rho, double* T,
                            double* cp, double* gamma, double* M, double* a, double* mu, double* lambda,
                            double* p_out) const noexcept override;
    void RhoT(double H, double p, const double* Y, double G2, double rho0, double T0, double* rho,
              double* T) const noexcept override;
    double get_T_p_h(double p, double h, const double* Y) const noexcept override;
    double get_viscosity(double, double, const double*) const noexcept override { return kViscositySentinel; }
    double get_non_newtonian_viscosity(double p, double T, const double* Y, double shear_rate) const noexcept override;

private:
    // Writes the warning (or error) of a limited or negative cp.
    void report_cp_check(cp_check check) const noexcept;
    friend class C_liquid_mixture<C_inc_non_newtonian_liquid_thermodynamics, C_inc_non_newtonian_liquid_substance>;
    C_inc_non_newtonian_liquid_thermodynamics() = default;
};
