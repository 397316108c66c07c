// CRGPropertyGenerator: the thermodynamic state of one pure substance from a three-parameter cubic
// equation of state of the Redlich-Kwong family, in reduced variables
//   Tr = T/Tc, Pr = P/Pc, vr = v/vscale with vscale = R*Tc/Pc (R the specific gas constant),
//   b = beta(Tr)*Omega_b, c = gamma(Tr)*eps, a = alpha(Tr)*Omega_a,
//   Pr = Tr * ( 1/(vr - b) - a/(vr*(vr + c)) ).
// alpha already carries the 1/Tr of the attraction term (classic Redlich-Kwong: alpha = Tr^-1.5),
// so the critical point lies at vr = Zc and Pr = Tr = 1 when Omega_a, Omega_b, eps come from the
// coefficient fit RKp_calc(Zc).
//
// Model selectors (omega = acentric factor):
//   -5  alpha, beta, gamma = the three constant multipliers (one table row at a time)
//   -4  alpha = multiplier 1, beta = gamma = 1
//    1  alpha = (1.57 + 1.62 omega)(1/Tr - 1) + 1
//    2  alpha = (0.9 + 1.21 omega)(Tr^-1.5 - 1) + 1
//    3  alpha = Soave's [1 + m(1 - sqrt Tr)]^2 / Tr, m = 0.48 + 1.574 omega - 0.176 omega^2
//    4  alpha tabulated for Tr <= 1, Tr^-1.5 above
//    5  alpha, beta, gamma tabulated for Tr <= 1; above: alpha = Tr^-1.5, gamma = 1, beta from a
//       second table starting at Tr = 1 when one is set (variant 2), else 1
//   any other value: classic Redlich-Kwong, alpha = Tr^-1.5.
// With Zc = 1/3 and selector 3 the equation is Soave-Redlich-Kwong exactly.
//
// Caloric properties combine the ideal-gas heat capacity cp0(T) (J/(kg K), a c_1d_param with its
// integral prepared) with the residual Helmholtz energy of the cubic,
//   a_res/(R Tc) = F(Tr, vr) = Tr ln(vr/(vr - b)) - Tr*a * ln(1 + c/vr)/c,
// and its analytic temperature derivatives (alpha, beta, gamma differentiated in closed form, the
// tables piecewise). Enthalpy is referred to the ideal gas with h0(T) = integral of cp0 from 0 K
// (the convention of the library's gas media); entropy to the ideal gas at 298.15 K, 101325 Pa.
//
// Known limits: a cubic of this family gives vapour pressures of light non-polar fluids within a
// few percent (Soave alpha) but saturated-liquid densities noticeably low (there is no volume
// translation); inside the two-phase region state_pT returns the stable single branch, never a
// mixture; above Tc Soave's alpha is used beyond the range it was fitted on.
//
// Property operations allocate nothing, throw nothing and report failures through the log sink
// (iteration reports and warnings) or the host log (ERROR lines), returning their best values.
// The coefficient record is rewritten while a table is filled row by row, so one generator fills
// one table at a time; the const operations are safe from many threads otherwise.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "tables/c_1d_param.h"

class C_file_io;
class IHostMessageSink;

// The equation-of-state data of one substance.
struct rg_eos_record {
    double Tc = 0.0;  // K
    double Pc = 0.0;  // Pa
    std::int32_t selector = 0;
    double multiplier[3] = {1.0, 1.0, 1.0};  // alpha, beta, gamma of selector -5 (alpha of -4)
    // Temperature derivatives (d/dTr, d2/dTr2) that go with the constant multipliers of selector
    // -5, so that a table row keeps consistent caloric properties; 0 unless set.
    double multiplier_d1[3] = {0.0, 0.0, 0.0};
    double multiplier_d2[3] = {0.0, 0.0, 0.0};
    double Zc = 1.0 / 3.0;
    double omega = 0.0;  // acentric factor
    double Omega_a = 0.0, Omega_b = 0.0, eps = 0.0;
    double vscale = 0.0;  // R*Tc/Pc, m3/kg
    // tabulated selectors 4 and 5: uniform Tr grid, nodes of alpha, beta, gamma, and the first and
    // second derivatives at the first node for the extrapolation below Tr0
    double Tr0 = 0.0, dTr = 0.0;
    std::int32_t N = 0;
    std::vector<double> table[3];
    double first_d1[3] = {0.0, 0.0, 0.0};
    double first_d2[3] = {0.0, 0.0, 0.0};
    // beta above Tr = 1 (variant 2): uniform grid from Tr = 1, value, slope and curvature at its end
    bool beta_variant_2 = false;
    double dTr2 = 0.0;
    std::int32_t N2 = 0;
    std::vector<double> beta2;
    double beta2_last_d1 = 0.0, beta2_last_d2 = 0.0;
};

// alpha, beta, gamma at one Tr with their first and second derivatives with respect to Tr.
struct rg_temperature_functions {
    double f[3] = {0.0, 0.0, 0.0};
    double d1[3] = {0.0, 0.0, 0.0};
    double d2[3] = {0.0, 0.0, 0.0};
};

// One single-phase state at (p, T).
struct rg_state {
    std::int32_t roots = 0;  // number of volume roots of the cubic at (p, T): 1 or 3
    double rho = 0.0;        // kg/m3
    double h = 0.0;          // J/kg
    double s = 0.0;          // J/(kg K)
    double cp = 0.0;         // J/(kg K)
    double cv = 0.0;         // J/(kg K)
    double w = 0.0;          // speed of sound, m/s
    double Z = 0.0;          // compressibility factor p v/(R T)
};

// The real-gas property generator interface, shared by the cubic equation-of-state generator and
// the reference-database generator. It serves the two-dimensional real-gas tables (a table over
// x = ln p and y = T whose properties 0 and 1 are density and specific enthalpy, so that the
// cages' derivatives give d rho/dp and cp = dh/dT directly) and the real gas substance (the
// saturation line over T). Operations in slot order; SI units; none throws:
//   0  properties(p, T, out[4]): density (kg/m3), specific enthalpy (J/kg), specific entropy
//      (J/(kg K)) and speed of sound (m/s) of the stable single phase at p (Pa), T (K). False when
//      the point cannot be computed (outputs then 0).
//   1..9  saturation line at T (K), each returning one double, 0 above the critical temperature:
//      1 ln psat (psat in Pa), 2 saturated liquid density, 3 saturated vapour density (kg/m3),
//      4 saturated liquid enthalpy, 5 saturated vapour enthalpy (J/kg), 6 saturated liquid
//      entropy, 7 saturated vapour entropy (J/(kg K)), 8 liquid spinodal pressure, 9 vapour
//      spinodal pressure (Pa).
//  10  fill(x0, x1, nx, y0, y1, ny, out[4]): the four properties of slot 0 on the nx * ny nodes
//      p = exp(x0 + i (x1 - x0)/(nx - 1)), T = y0 + j (y1 - y0)/(ny - 1), written row by row
//      (out[k][j*nx + i]); rows in parallel where the generator allows. False on bad sizes.
//  11  critical temperature (K); 12 critical pressure (Pa); 13 specific gas constant (J/(kg K))
//  14  write(stream); 15 read(stream) (false on a bad record)
//  16  kind: 0 the cubic equation of state, 1 the reference database.
class IRGPropertyGenerator {
public:
    virtual ~IRGPropertyGenerator() = default;
    virtual bool properties(double p, double T, double out[4]) const noexcept = 0;
    virtual double saturation_ln_p(double T) const noexcept = 0;
    virtual double saturation_rho_liquid(double T) const noexcept = 0;
    virtual double saturation_rho_vapour(double T) const noexcept = 0;
    virtual double saturation_h_liquid(double T) const noexcept = 0;
    virtual double saturation_h_vapour(double T) const noexcept = 0;
    virtual double saturation_s_liquid(double T) const noexcept = 0;
    virtual double saturation_s_vapour(double T) const noexcept = 0;
    virtual double spinodal_p_liquid(double T) const noexcept = 0;
    virtual double spinodal_p_vapour(double T) const noexcept = 0;
    virtual bool fill(double x0, double x1, std::int32_t nx, double y0, double y1, std::int32_t ny,
                      double* const out[4]) noexcept = 0;
    virtual double critical_temperature() const noexcept = 0;
    virtual double critical_pressure() const noexcept = 0;
    virtual double gas_constant() const noexcept = 0;
    virtual void write(C_file_io& stream) const = 0;
    virtual bool read(C_file_io& stream) = 0;
    virtual std::int32_t kind() const noexcept = 0;
};

class CRGPropertyGenerator final : public IRGPropertyGenerator {
public:
    explicit CRGPropertyGenerator(std::shared_ptr<IHostMessageSink> sink = {});

    // --- set-up --------------------------------------------------------------------------------
    // Critical temperature Tc_K (K), pressure Pc_Pa (Pa), molar mass M (kg/mol), critical
    // compressibility Zc, acentric factor omega and model selector; fits Omega_a, Omega_b, eps.
    void set_substance(double Tc_K, double Pc_Pa, double M_kg_per_mol, double Zc, double omega,
                       std::int32_t selector);
    void set_selector(std::int32_t selector) noexcept { m_eos.selector = selector; }
    // The constant multipliers of selectors -5/-4, and optionally their Tr derivatives.
    void set_multipliers(double alpha, double beta, double gamma) noexcept;
    void set_multiplier_derivatives(const double d1[3], const double d2[3]) noexcept;
    // Tables of selectors 4 and 5: n >= 2 nodes from Tr0 with step dTr; d1/d2 the derivatives of
    // alpha, beta, gamma at the first node. False (nothing changed) on bad sizes.
    bool set_tables(double Tr0, double dTr, std::int32_t n, const double* alpha, const double* beta,
                    const double* gamma, const double d1[3], const double d2[3]);
    // Variant 2 of beta above Tr = 1: n2 >= 2 nodes from Tr = 1 with step dTr2, and the slope and
    // curvature at the last node for extrapolation beyond it.
    bool set_beta_above_critical(double dTr2, std::int32_t n2, const double* beta, double last_d1, double last_d2);
    // Ideal-gas heat capacity cp0(T) in J/(kg K); its integral is prepared here.
    void set_ideal_gas_cp(const c_1d_param& cp0);
    // Whether an ideal-gas heat capacity is set: without one only the saturation line and the
    // mechanical properties can be formed.
    bool has_ideal_gas_cp() const noexcept { return m_has_cp0; }
    // The ideal-gas heat capacity set (its integral prepared).
    const c_1d_param& ideal_gas_cp() const noexcept { return m_cp0; }

    const rg_eos_record& record() const noexcept { return m_eos; }
    // Iteration limits of the binodal bisection and of the fits (1000 each; not saved). Lower
    // limits let a caller trade accuracy for time, and show what a limit reached reports.
    void set_iteration_limits(std::int32_t binodal, std::int32_t fits) noexcept {
        m_binodal_max_iter = binodal > 0 ? binodal : 1;
        m_fit_max_iter = fits > 0 ? fits : 1;
    }

    // --- IRGPropertyGenerator ------------------------------------------------------------------
    bool properties(double p, double T, double out[4]) const noexcept override;
    double saturation_ln_p(double T) const noexcept override;
    double saturation_rho_liquid(double T) const noexcept override;
    double saturation_rho_vapour(double T) const noexcept override;
    double saturation_h_liquid(double T) const noexcept override;
    double saturation_h_vapour(double T) const noexcept override;
    double saturation_s_liquid(double T) const noexcept override;
    double saturation_s_vapour(double T) const noexcept override;
    double spinodal_p_liquid(double T) const noexcept override;
    double spinodal_p_vapour(double T) const noexcept override;
    // Rows are filled one temperature at a time under selector -5, with the row's alpha, beta,
    // gamma and their Tr derivatives (from the generator's own selector) as the multipliers; the
    // points of a row run in parallel (OpenMP, the host's thread count). The selector and the
    // multipliers are restored at the end.
    bool fill(double x0, double x1, std::int32_t nx, double y0, double y1, std::int32_t ny,
              double* const out[4]) noexcept override;
    // The same with the rows' alpha, beta, gamma given (and their Tr derivatives, may be null).
    bool fill_rows(const double* p, std::int32_t nx, const double* T, std::int32_t ny, const double* alpha,
                   const double* beta, const double* gamma, const double* d1_alpha, double* const out[4]) noexcept;
    double critical_temperature() const noexcept override { return m_eos.Tc; }
    double critical_pressure() const noexcept override { return m_eos.Pc; }
    double gas_constant() const noexcept override;  // R = Pc*vscale/Tc, J/(kg K)
    std::int32_t kind() const noexcept override { return 0; }

    // --- fits ------------------------------------------------------------------------------------
    // alpha (selector -4, beta = gamma = 1) for which the saturation pressure at Tr is Pr, by
    // Newton on the equal-area residual; gives alpha and the reduced phase volumes. False (and
    // logged) when the isotherm has two roots or the iteration does not converge. The selector is
    // restored; multiplier 1 keeps the last alpha.
    bool RK_calc_point_Fa_Pe_def(double Tr, double Pr, double& alpha, double& vl, double& vg) noexcept;
    // beta along the isochore vr through the n points (T[k] K, P[k] Pa), alpha = Tr^-1.5, gamma = 1;
    // writes alpha, beta, gamma per point. Non-converged points are logged and keep their last beta.
    void RK_calc_point_isohor_def(double vr, std::int32_t n, const double* T, const double* P, double* alpha,
                                  double* beta, double* gamma) noexcept;
    // Under selector -5: sets the Tr derivatives of the alpha multiplier so that the enthalpy and
    // the heat capacity at (p Pa, T K) equal Hc (J/kg) and Cpc (J/(kg K)). Both are linear in
    // them at a fixed volume: dh/d(alpha') = R Tc Tr^2 Omega_a L and dcp/d(alpha'') =
    // R Tr^2 Omega_a L with L = ln(1 + c/vr)/c, so one closed-form step each; a remaining relative
    // mismatch above 1e-10 is logged. False when the state cannot be formed.
    bool RK_H_critic_point_monotonization(double p, double T, double Hc, double Cpc) noexcept;

    // --- equation of state in reduced variables ------------------------------------------------
    // Coefficient fit: largest real root eps of x^3 + (6Zc-1)x^2 + 3Zc(4Zc-1)x + (8Zc-3)Zc^2,
    // Omega_b = eps - (1 - 3Zc), Omega_a = Zc^3/Omega_b; a negative coefficient logs
    // "RKp_calc" and gives the classic Redlich-Kwong values.
    void RKp_calc(double Zc, double& Omega_a, double& Omega_b, double& eps) const noexcept;
    // alpha, beta, gamma of the current selector (values only, and with derivatives).
    void temperature_functions(double Tr, double& alpha, double& beta, double& gamma) const noexcept;
    rg_temperature_functions temperature_functions(double Tr) const noexcept;
    double pressure(double vr, double Tr) const noexcept;
    double pressure_slope(double vr, double Tr) const noexcept;  // dPr/dvr at constant Tr
    // Volume roots at (Pr, Tr): 1 or 3 values ascending (a double root appears twice); on no
    // admissible root logs "RK_Phi_PrTr" and gives the ideal-gas volume Tr/Pr. Up to Pr = 1e-8 the
    // liquid and middle roots are those of the isotherm at zero pressure (a quadratic) and the
    // vapour root comes from a fixed-point iteration; at zero or negative Pr there is no vapour
    // root and the roots above b are returned as they are (one or two; none is the case above).
    std::int32_t RK_Phi_PrTr(double Pr, double Tr, double roots[3]) const noexcept;
    // Integral of Pr dvr along the isotherm Tr from vr1 to vr2.
    double work_integral(double Tr, double vr1, double vr2) const noexcept;
    // Spinodal at Tr < 1: the liquid (lower pressure) and vapour volumes and reduced pressures.
    // Tr > 1 leaves the outputs; Tr = 1 gives the critical point. False when not two roots
    // (logged with the count; outputs left as they were).
    bool RK_spinodal(double Tr, double vr[2], double Pr[2]) const noexcept;
    // Saturation at T (K) by the equal-area rule: Psat (Pa), liquid and vapour volumes (m3/kg).
    // Zeros above Tc (with a warning); Pc and Zc*vscale at Tc.
    void binodal_pont(double T, double& Psat, double& v_liquid, double& v_vapour) const noexcept;

    // --- caloric properties ---------------------------------------------------------------------
    // The stable single phase at p (Pa), T (K): of three volume roots the one of least Gibbs
    // energy. False when the state cannot be formed (no cp0, non-positive p or T).
    bool state_pT(double p, double T, rg_state& out) const noexcept;
    // The same at a given volume root vr (reduced), for either branch of a two-phase isotherm.
    bool state_Tv(double T, double vr, rg_state& out) const noexcept;

    // --- record ----------------------------------------------------------------------------------
    // byte 0; Tc, Pc; selector; multipliers and their derivatives; Zc, omega, Omega_a, Omega_b,
    // eps, vscale; the tables (Tr0, dTr, N, 3N nodes, derivatives at the first node); the beta
    // variant-2 byte and its grid; cp0.
    void write(C_file_io& stream) const override;
    // False on a version other than 0 or impossible sizes.
    bool read(C_file_io& stream) override;

private:
    double tabulated(int k, double Tr, double& d1, double& d2) const noexcept;
    // F, dF/dTr, d2F/dTr2 of the residual Helmholtz energy at (Tr, vr).
    void residual(double Tr, double vr, const rg_temperature_functions& tf, double& F, double& FT,
                  double& FTT) const noexcept;
    double ideal_entropy(double T) const noexcept;  // integral of cp0/T from the reference T
    // one row of a fill at temperature T, points in parallel, into out[k][row + i]
    void fill_row(const double* p, std::int32_t nx, double T, std::ptrdiff_t row, double* const out[4]) const noexcept;
    // saturated liquid (0) or vapour (1) state at T; false above Tc or without cp0
    bool saturated(double T, int phase, rg_state& out) const noexcept;
    double saturated_field(double T, int phase, double rg_state::*field) const noexcept;
    // liquid (0) or vapour (1) spinodal pressure in Pa, 0 above Tc or when the spinodal fails
    double spinodal_pressure(double T, int branch) const noexcept;

    std::shared_ptr<IHostMessageSink> m_sink;
    rg_eos_record m_eos;
    std::int32_t m_binodal_max_iter = 1000;
    std::int32_t m_fit_max_iter = 1000;
    c_1d_param m_cp0;
    bool m_has_cp0 = false;
    // cumulative integral of cp0/T at the table points, from the reference temperature
    std::vector<double> m_s0_nodes;
};
