// C_isotherm_cavitation_thermodynamics (kind 4): a liquid that cavitates at a fixed temperature,
// for pumps, injectors and propellers computed by a pressure-based solver without an energy
// equation. The density is a barotropic law rho(p), continuous, with a finite, positive speed of
// sound a = (d rho/dp)^(-1/2) everywhere.
//
// What it is built from (the factory's operations 11 and 12):
//   - one liquid component: compressible (a Tait law, operation 11) or incompressible (its weakly
//     compressible view rho = rho_0 + (p - p_0) / c_l^2 with c_l = 1000 m/s, operation 12). The
//     medium's temperature T_c is the liquid's reference temperature;
//   - at most one non-condensable gas (an ideal gas component), dissolved or free;
//   - the operation's double: the liquid's vapour pressure p_v at T_c, Pa (finite, above 0);
//   - the liquid's scalar_a: the density rho_v of its saturated vapour at T_c, kg/m3 (above 0).
// The composition is two mass fractions: Y[0] the liquid with its vapour, Y[1] the gas (one
// fraction alone when there is no gas).
//
// The law, at T_c:
//   - p >= p_v: the liquid's own law, v_l(p) (its get_liquid_volume), a_l^2 = dp/d rho_l;
//   - p < p_v: a homogeneous liquid-vapour mixture of void fraction alpha whose sound speed obeys
//     Wood's relation 1/(rho a^2) = alpha/(rho_v a_v^2) + (1 - alpha)/(rho_l a_l^2), with the
//     liquid frozen at its state at p_v and the vapour's isothermal a_v^2 = p_v / rho_v. Integrated
//     from p_v (alpha = 0) this is the closed form of Schmidt, D.P., Rutland, C.J. and Corradini,
//     M.L., "A fully compressible, two-dimensional model of small, high-speed, cavitating
//     nozzles", Atomization and Sprays 9 (1999) 255-276, eq. (8):
//       p = p_v + P_gl ln( rho_v a_v^2 (rho_l + alpha (rho_v - rho_l))
//                          / (rho_l (rho_v a_v^2 - alpha (rho_v a_v^2 - rho_l a_l^2))) ),
//       P_gl = rho_v a_v^2 rho_l a_l^2 (rho_v - rho_l) / (rho_v^2 a_v^2 - rho_l^2 a_l^2),
//     which this medium inverts for alpha in closed form (no iteration);
//   - the gas: an isothermal ideal gas, v_g = R_g T_c / p, mixed by mass:
//       1/rho = Y[0] v_w(p) + Y[1] v_g(p),  d rho/dp = rho^2 (Y[0] / (rho_w a_w)^2 + Y[1] v_g / p),
//     the mass form of Wood's relation over the liquid-vapour part and the gas.
// So rho and a are continuous at p_v (alpha = 0 there and a_w = a_l(p_v)); a falls steeply below
// p_v and, with gas, the density falls with the pressure as the gas expands. P_gl is close to p_v
// for a liquid much stiffer than its vapour, and the law is logarithmic: for water at 293.15 K
// alpha is only 1.7e-6 at 100 Pa (a = 915 m/s), and half the volume is vapour near
// p_v - ln(rho_l a_l^2 / (rho_v a_v^2)) P_gl, about -46 kPa (a tension, as in the published model).
// At positive pressures the density of a cavitating cell falls mainly through its free gas: with
// 1 ppm of air, 998.5 kg/m3 and 1360 m/s at 1 MPa, 542 kg/m3 and 0.64 m/s at 100 Pa.
//
// Limits: the law holds at T_c whatever T the solver passes (the input temperature enters only
// the enthalpy); the pressure is floored at kMinimumPressure; below the pressure of pure vapour
// (far below zero for a liquid like water) alpha is held at 1. The vapour needs no gas data: its
// density is scalar_a and its isothermal sound speed follows from p_v and rho_v. Viscosity and
// conductivity are volume-weighted over liquid, vapour and gas; the vapour takes the gas's values
// (the liquid's where there is no gas). The caloric part is linear about T_c,
// h = cp_c (T - T_c) with cp_c = Y[0] cp_l(101325 Pa, T_c) + Y[1] cp_g(T_c), so the temperature
// operations invert it exactly; expansion factor 0 (barotropic), gamma 1 (isothermal acoustics),
// molar mass 0 as for the liquids. It answers the pressure-based interface only; a density-based
// solver would need p(rho), which is not offered.
//
// Record: int32 0 (version); the identity; int32 the liquid's kind (1 incompressible, 3
// compressible); the liquid's identifier; int32 gas count (0 or 1); the gas's identifier; double
// p_v.
#pragma once

#include <cstdint>
#include <memory>

#include "framework/c_thermodynamic_base.h"
#include "liquid/c_inc_liquid.h"
#include "medium_physics/i_medium_physics.h"

class C_medium_physics;
class C_compressible_liquid_substance;

// The liquid-vapour part of the law: the closed form above, at one temperature.
struct cavitation_law {
    double p_v = 0.0;      // Pa, vapour pressure
    double rho_l = 0.0;    // kg/m3, the liquid at p_v
    double a_l = 0.0;      // m/s, the liquid's sound speed at p_v
    double rho_v = 0.0;    // kg/m3, the saturated vapour
    double a_v = 0.0;      // m/s, the vapour's isothermal sound speed
    double P_gl = 0.0;     // Pa, the law's pressure scale

    // From the vapour pressure, the liquid's state at p_v and the vapour density; false when they
    // do not make a law (not finite, not positive, vapour not lighter than the liquid).
    bool set(double vapour_pressure, double liquid_density, double liquid_sound_speed, double vapour_density) noexcept;
    // Below p_v: the void fraction, the mixture density and 1/(rho a^2) = d rho/dp / rho, at p.
    void below(double p, double& alpha, double& rho, double& inv_bulk) const noexcept;
};

class C_isotherm_cavitation_thermodynamics final : public I_write,
                                                   public C_thermodynamic_base,
                                                   public C_no_radiation,
                                                   public CHostAPIBaseClass<C_isotherm_cavitation_thermodynamics>,
                                                   public virtual IHostUnknown,
                                                   public virtual FluidRadProp::IRadPropFunctionality,
                                                   public virtual I_solver__isothermal_cavitation {
public:
    // Pa: the pressure floor of the law (the gas's volume grows as 1/p).
    static constexpr double kMinimumPressure = 1.0;
    // The liquid's sound speed is the central difference of its law with this step, relative to
    // |p| + kPressureScale: large enough for the rounding of a nearly constant density, small
    // against the Tait constants (a few hundred MPa).
    static constexpr double kDerivativeStep = 1e-3;
    static constexpr double kPressureScale = 1e5;  // Pa
    // Pa: where the liquid's cp is taken.
    static constexpr double kCpPressure = 101325.0;

    // A medium over the liquid (incompressible or compressible, the other null), at most one gas,
    // and the vapour pressure. nullptr with the reason in `why` when they make no law.
    static std::shared_ptr<C_isotherm_cavitation_thermodynamics> create(
        std::shared_ptr<C_incompressible_liquid_substance> inc, std::shared_ptr<C_compressible_liquid_substance> comp,
        std::shared_ptr<C_ideal_gas_substance> gas, double vapour_pressure, const char*& why);
    // Rebuilds a medium from its record; nullptr when the record is refused.
    static std::shared_ptr<C_isotherm_cavitation_thermodynamics> load(C_file_io& stream,
                                                                      const C_medium_physics& factory);

    std::int32_t query_interface(std::any& requested) override;
    std::int32_t get_type_id() const noexcept override { return MP_KIND_ISOTHERM_CAVITATION; }
    void write(C_file_io& stream) const override;
    substance_array get_substances() const override;

    // ---- isothermal cavitation ----
    double get_vapour_pressure() const noexcept override { return m_law.p_v; }
    double get_medium_temperature() const noexcept override { return m_T; }
    void get_void_fractions(double p, const double* Y, double* alpha_vapour, double* alpha_gas) const noexcept override;
    const cavitation_law& law() const noexcept { return m_law; }

    // ---- common operations ----
    double get_cp(double p, double T, const double* Y) const noexcept override;
    double get_viscosity(double p, double T, const double* Y) const noexcept override;
    double get_conductivity(double p, double T, const double* Y) const noexcept override;
    double get_prandtl(double p, double T, const double* Y) const noexcept override;
    double get_expansion_factor(double, double, const double*) const noexcept override { return 0.0; }
    double get_temperature_from_enthalpy(double h, double p, const double* Y, double unused,
                                         double T0) const noexcept override;
    void get_properties_p_T(double p, double T, const double* Y, double* rho, double* h, double* cp, double* gamma,
                            double* M, double* a, double* mu, double* lambda) const noexcept override;
    // Volume fractions of the liquid-vapour part (k = 0) and of the gas (k = 1).
    double get_mole_fraction(double p, double T, const double* Y, std::int32_t k) const noexcept override;
    double get_mass_fraction(double p, double T, const double* X, std::int32_t k) const noexcept override;
    double get_dynamic_pressure_factor(double, double, const double*) const noexcept override { return 1.0; }

    // ---- pressure-based operations ----
    void get_properties_p_H(double H, double p, const double* Y, double G2, double T0, double* rho, double* T,
                            double* cp, double* gamma, double* M, double* a, double* mu, double* lambda,
                            double* p_out) const noexcept override;
    void RhoT(double H, double p, const double* Y, double G2, double rho0, double T0, double* rho,
              double* T) const noexcept override;
    double get_T_p_h(double p, double h, const double* Y) const noexcept override;
    double get_enthalpy(double p, double T, const double* Y) const noexcept override;
    double get_density(double p, double T, const double* Y) const noexcept override;
    double get_sound_speed(double p, double T, const double* Y) const noexcept override;
    double get_drho_dp(double p, double T, const double* Y) const noexcept override;
    double get_compressibility(double p, double T, const double* Y) const noexcept override;

private:
    C_isotherm_cavitation_thermodynamics() = default;
    // What the operations share at one pressure: the mixture's density and d rho/dp, and the
    // volume fractions of vapour and gas.
    struct state {
        double rho, drho_dp, alpha_vapour, alpha_gas;
    };
    state at(double p, const double* Y) const noexcept;
    // The liquid's specific volume at p and T_c.
    double liquid_volume(double p) const noexcept;
    // The cleaned fractions of liquid-with-vapour and gas.
    void fractions(const double* Y, double& w_liquid, double& w_gas) const noexcept;
    // Derives T_c, the law and the gas constant from the substances; false with `why`.
    bool prepare(double vapour_pressure, const char*& why);
    // T from h at rest or with the kinetic term.
    double temperature(double h, const double* Y) const noexcept;
    double cp_c(const double* Y) const noexcept;

    std::shared_ptr<C_incompressible_liquid_substance> m_inc;
    std::shared_ptr<C_compressible_liquid_substance> m_comp;
    std::shared_ptr<C_ideal_gas_substance> m_gas;
    const C_isotherm_cavitation_liquid_substance* m_liquid = nullptr;
    cavitation_law m_law;
    double m_T = 0.0;            // K, the medium's temperature
    double m_R_gas = 0.0;        // J/(kg K), the gas's constant (0 without gas)
    double m_cp_liquid = 0.0;    // J/(kg K) at T_c
    double m_cp_gas = 0.0;
    double m_mu_liquid = 0.0, m_mu_gas = 0.0;          // Pa s at T_c (the liquid's at p_v)
    double m_lambda_liquid = 0.0, m_lambda_gas = 0.0;  // W/(m K) at T_c
};
