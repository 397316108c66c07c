// C_inc_liquid_thermodynamics (kind 1): a mixture of incompressible liquid components
// (C_incompressible_liquid_substance) by mass fraction; the rules are those of C_liquid_mixture.
// SI units throughout.
#pragma once

#include "liquid/c_inc_liquid.h"
#include "liquid/c_liquid_mixture.h"

class C_inc_liquid_thermodynamics final
    : public C_liquid_mixture<C_inc_liquid_thermodynamics, C_incompressible_liquid_substance> {
public:
    static constexpr std::size_t kCacheIndex = C_medium_physics::kIncLiquidCache;

    std::int32_t query_interface(std::any& requested) override;
    std::int32_t get_type_id() const noexcept override { return MP_KIND_INC_LIQUID; }
    // The operations that report what they meet, from this file: cp's pressure limit (3003) and
    // negative cp (3002); a falling enthalpy (3003 in get_properties_p_H and get_T_p_h, 3002 in
    // RhoT) and an iteration out of steps (3002).
    double get_cp(double p, double T, const double* Y) const noexcept override;
    void get_properties_p_H(double H, double p, const double* Y, double G2, double T0, double* rho, double* T,
                            double* cp, double* gamma, double* M, double* a, double* mu, double* lambda,
                            double* p_out) const noexcept override;
    void RhoT(double H, double p, const double* Y, double G2, double rho0, double T0, double* rho,
              double* T) const noexcept override;
    double get_T_p_h(double p, double h, const double* Y) const noexcept override;

    // The viscosity and conductivity are the mixture rules of C_liquid_mixture.
    static constexpr bool kMixedTransport = true;

private:
    // Writes the warning (or error) of a limited or negative cp.
    void report_cp_check(cp_check check) const noexcept;
    friend class C_liquid_mixture<C_inc_liquid_thermodynamics, C_incompressible_liquid_substance>;
    C_inc_liquid_thermodynamics() = default;
};
