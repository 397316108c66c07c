// The arithmetic both real-gas media share: one real component (a C_real_gas_substance) mixed
// ideally with ideal-gas components (C_ideal_gas_substance), its states at (p, T), the inversions
// from (p, H), (rho, e) and (p, rho), and, for a pure substance with phase change, the
// homogeneous equilibrium mixture inside the saturation dome. The media (kind 5 and kind 6) hold
// one core each, answer their interfaces through it, and write their own messages from what it
// reports.
//
// Mixing rule (Amagat, ideal solution at the mixture's p and T): specific volume and enthalpy
// add by mass fraction, v = Y_r v_r(p, T) + sum Y_i R_i T/p and h = Y_r h_r(p, T) + sum Y_i h_i(T);
// cp, -(dv/dp)_T and (dv/dT)_p add alike, and the speed of sound and cp/cv follow from those sums,
//   a^2 = v^2 / (-(dv/dp)_T - T (dv/dT)_p^2 / cp),   cv = cp - T (dv/dT)_p^2 / -(dv/dp)_T,
// each component's derivatives from its own (rho, cp, gamma, a): -(dv/dp)_T = gamma/(rho a)^2 and
// (dv/dT)_p = sqrt(cp (gamma - 1)/T)/(rho a), which reproduce the real component's own a and
// gamma when it is alone. Viscosity and conductivity are mole-fraction averages, as in the
// ideal-gas mixture. The real component is taken at the mixture's pressure on the side of its own
// saturation line that p gives, so the rule suits mixtures whose real component stays a gas or a
// supercritical fluid; a dilute real component below its saturation temperature at the total
// pressure would be counted as liquid.
//
// Inversions: bracketed Newton on T along an isobar (p, H and p, rho), each step on the slope of
// the table's interpolated values, bisecting whenever a step leaves the bracket or does not halve
// the residual; (rho, e) runs Newton in (ln p, T) from the isotherm through the start temperature,
// and when that does not settle, an outer bracketed search in T along the isochore around the
// inner isotherm search. The stop criterion is |dT| <= tolerance T (|d ln p| <= tolerance for ln
// p). Every failure leaves the start value, with MP_RG_ITERATION_FAILED in the status.
#pragma once

#include <cstdint>

#include "medium_physics/real_gas_state.h"
#include "real_gas/c_real_gas_substance.h"

class C_ideal_gas_substance;

namespace mp {

// A mixture state at (p, T) with its real component on one side.
struct rg_mix_state {
    double v = 0.0, h = 0.0, cp = 0.0;
    double kappa = 0.0;  // -(dv/dp)_T, m3/(kg Pa)
    double beta = 0.0;   // (dv/dT)_p, m3/(kg K)
    double dv_dx = 0.0, dv_dT = 0.0, dh_dx = 0.0, dh_dT = 0.0;  // slopes of the interpolated values, x = ln p
    double a = 0.0, gamma = 0.0, mu = 0.0, lambda = 0.0;
    double inverse_M = 0.0;  // sum Y/M, mol/kg
    std::int32_t phase = MP_PHASE_VAPOUR;
    std::uint32_t status = 0;
};

class rg_media_core {
public:
    static constexpr double kDefaultTolerance = 1e-9;
    static constexpr std::int32_t kDefaultLimit = 100;

    // The real component and n_ideal ideal-gas components (Y[0] the real one, Y[1 + i] the
    // ideal ones); phase_change: the saturation dome of a pure real component is modelled.
    void set(const C_real_gas_substance* real, const C_ideal_gas_substance* const* ideal, std::int32_t n_ideal,
             bool phase_change) noexcept;
    void set_iteration(double tolerance, std::int32_t limit) noexcept {
        m_tolerance = tolerance;
        m_limit = limit;
    }

    std::uint32_t p_T(double p, double T, const double* Y, rg_point& out) const noexcept;
    std::uint32_t p_H(double H, double p, const double* Y, double G2, double T0, rg_point& out) const noexcept;
    std::uint32_t rho_e(double e, double rho, const double* Y, double T0, rg_point& out) const noexcept;
    std::uint32_t p_rho(double p, double rho, const double* Y, rg_point& out) const noexcept;

    // The mixture at (p, T) with the real component on the side p gives (also the isothermal
    // derivative and the expansion coefficient the common operations need).
    void mix_at(double p, double T, const double* Y, rg_mix_state& out) const noexcept;

    // The dilute (ideal-gas) limit of the mixture: cp0 and h0 at T, and R = 8.3144 sum Y/M.
    void dilute_cp_h(double T, const double* Y, double& cp0, double& h0, double& R) const noexcept;
    // T of the dilute limit from its internal energy e = h0(T) - R T, or from its enthalpy h0(T)
    // (kind 0: enthalpy, 1: energy); the start T0. Bracketed Newton; the start value on failure.
    bool dilute_T(double value, int kind, const double* Y, double T0, double& T) const noexcept;

    double inverse_molar_mass(const double* Y) const noexcept;
    double molar_mass(std::int32_t k) const noexcept;
    std::int32_t count() const noexcept { return 1 + m_n; }
    // The temperatures the real component answers: [lowest, Tmax].
    double T_low() const noexcept;
    double T_high() const noexcept;

private:
    // side of the real component's line at (p, T): liquid at or above psat(T), vapour below,
    // stable at and above the end of the line
    rg_side side_at(double p, double T) const noexcept;
    // with_transport false: mu and lambda left 0 (the steps of an iteration)
    void evaluate(double p, double T, const double* Y, rg_side side, rg_mix_state& out,
                  bool with_transport = true) const noexcept;
    void fill(double p, double T, const rg_mix_state& m, rg_point& out) const noexcept;
    void two_phase(double T, double x, rg_point& out) const noexcept;
    std::int32_t phase_of(double p, double T, rg_side side) const noexcept;
    bool pure() const noexcept { return m_n == 0; }

    // Bracketed Newton on T at fixed p: the T in [lo, hi] where g(T) = 0 for g = h + G2 v^2/2 - H
    // (what = 0) or v - target (what = 1), g rising in T. end: 0 a root inside, -1 the root lies
    // below lo, +1 above hi (T is then that end). False when the iteration ran out.
    bool solve_isobar(int what, double target, double p, const double* Y, double G2, rg_side side, double lo,
                      double hi, double T0, double& T, int& end) const noexcept;
    // ln p in [x_lo, x_hi] where v(ln p, T) = v_target along the isotherm (v falling in ln p).
    bool solve_isotherm(double v_target, double T, const double* Y, rg_side side, double x0, double& x,
                        int& end) const noexcept;
    // (rho, e) in one phase: Newton in (ln p, T), else the nested search. True with (p, T).
    bool single_phase_rho_e(double e, double v, const double* Y, rg_side side, double T0, double lo, double hi,
                            double& p, double& T, std::uint32_t& status) const noexcept;
    // The saturated state of the pure substance at T and its energy at the specific volume v
    // (T found on the saturation line where the saturated liquid (phase 0) or vapour (1) has v).
    bool saturation_boundary(double v, int phase, double& T) const noexcept;

    const C_real_gas_substance* m_real = nullptr;
    const C_ideal_gas_substance* const* m_ideal = nullptr;
    std::int32_t m_n = 0;
    bool m_phase_change = false;
    double m_tolerance = kDefaultTolerance;
    std::int32_t m_limit = kDefaultLimit;
};

}  // namespace mp
