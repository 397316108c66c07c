// C_comp_liquid_thermodynamics (kind 3): a mixture of compressible liquid components
// (C_compressible_liquid_substance) by mass fraction, built on the rules of the incompressible
// liquid mixture with each component's density law: rho(p, T) = 1 / sum(Y_i / rho_i(p, T)),
// h(p, T) = sum(Y_i h_i(p, T)), cp = dh/dT at constant p. Unlike the incompressible mixture it has
// a real speed of sound, a^-2 = (d rho/dp)_s = (d rho/dp)_T - T (d rho/dT)_p^2 / (rho^2 cp), and
// gamma = (d rho/dp)_T / (d rho/dp)_s; its compressibility is the isothermal d rho/dp of the laws.
// Where the mixture does not depend on pressure at all ((d rho/dp)_T = 0: constant densities or
// pressure-independent laws) it answers as an incompressible liquid does: gamma = a = 0. Where the
// thermal term outweighs the pressure dependence ((d rho/dp)_s <= 0, a mixture dominated by
// pressure-independent components that expand with T) it takes the isothermal acoustics: gamma = 1,
// a^-2 = (d rho/dp)_T. So every output is finite.
// The molar mass is not defined for it (0.0). Temperatures come from the same Newton iterations,
// limits and messages as the incompressible liquid. It hands out I_solver__compressible_liquid
// (not the incompressible one) and offers no density-based interface.
#pragma once

#include "liquid/c_comp_liquid.h"
#include "liquid/c_liquid_mixture.h"

class C_comp_liquid_thermodynamics final
    : public C_liquid_mixture<C_comp_liquid_thermodynamics, C_compressible_liquid_substance,
                              I_solver__compressible_liquid> {
public:
    static constexpr std::size_t kCacheIndex = C_medium_physics::kCompLiquidCache;
    // K: the step of the central difference for (d rho / dT) at constant p.
    static constexpr double kTemperatureStep = 0.01;

    std::int32_t query_interface(std::any& requested) override;
    std::int32_t get_type_id() const noexcept override { return MP_KIND_COMP_LIQUID; }
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

    double get_sound_speed(double p, double T, const double* Y) const noexcept override;
    double get_drho_dp(double p, double T, const double* Y) const noexcept override;
    double get_compressibility(double p, double T, const double* Y) const noexcept override;
    // T beta = -(T / rho) (d rho / dT) at constant p.
    double get_expansion_factor(double p, double T, const double* Y) const noexcept override;
    void get_properties_p_T(double p, double T, const double* Y, double* rho, double* h, double* cp, double* gamma,
                            double* M, double* a, double* mu, double* lambda) const noexcept override;

private:
    // Writes the warning (or error) of a limited or negative cp.
    void report_cp_check(cp_check check) const noexcept;
    friend class C_liquid_mixture<C_comp_liquid_thermodynamics, C_compressible_liquid_substance,
                                  I_solver__compressible_liquid>;
    C_comp_liquid_thermodynamics() = default;
    double drho_dT(double p, double T, const double* Y) const noexcept;
    // gamma and a at (p, T).
    void acoustics(double p, double T, const double* Y, double* gamma, double* a) const noexcept;
};
