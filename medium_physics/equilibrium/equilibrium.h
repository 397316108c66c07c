// equilibrium: chemical equilibrium of an ideal-gas mixture of any species set, with or without
// ions, by minimising the Gibbs (at given T, p) or Helmholtz (at given T, rho) energy under
// element conservation and charge neutrality.
//
// Model. Each species j has NASA 7- or 9-coefficient polynomials of cp/R, h/RT and s/R over its
// temperature ranges (outside them the nearest range is carried on), an element composition a_ij
// and a charge. The mixture is an ideal gas; its elements are given as moles per kilogram b_i.
// Charge neutrality is one more balance row, sum_j (-charge_j) n_j = 0, added when the set has
// charged species.
//
// Method: element potentials. At the minimum, mu_j/RT = sum_i a_ij lambda_i, so at given (T, rho)
//   ln n_j = -g_j/RT - ln(rho R T / p0) + sum_i a_ij lambda_i          [n_j in mol/kg]
// and at given (T, p), with the total moles N as one more unknown,
//   ln n_j = -g_j/RT - ln(p / p0) + ln N + sum_i a_ij lambda_i
// (the same lambda: p = rho R T N). Only the element potentials (and ln N) are unknown. They are
// found by Newton's method on the balances written as logarithms, ln(sum_j a_ij n_j / b_i) = 0
// (for charge, ln(positive charge / negative charge) = 0; at given p also ln(sum_j n_j / N) = 0):
// sums of exponentials become nearly linear in lambda, so the iteration converges in a few steps
// from a nearby start even where species span hundreds of decades. Every sum is taken relative to
// its largest exponent, so no amount overflows or underflows on the way. Each step is limited to
// kMaxPotentialStep, and a backtracking search accepts only a step that lowers the sum of squared
// residuals; a step that cannot ends the iteration (never a step uphill).
//
// Starts. A warm start takes the potentials of a neighbouring state. A cold start (or a warm one
// that fails) runs the iteration of Gordon and McBride (NASA RP-1311, 1994, ch. 2 and 3) from
// equal small amounts of every species: Newton's method on the Gibbs (or Helmholtz) energy in the
// species amounts themselves, with their step control (no major species grows by more than e^2 in
// a step, no trace species jumps above 1e-4 of the total), until every species changes by less
// than kStartTolerance of the total; its Lagrange multipliers are then the element potentials from
// which the iteration above converges to round-off. That start needs no estimate of the major
// species and works for any element set, also where one species carries two elements (pure CH4,
// where the hydrogen and carbon balances coincide).
//
// When that still does not converge, the solver falls back at given (T, rho) to damped Newton on
// the convex dual function Phi(lambda) = sum_j n_j(lambda) - sum_i b_i lambda_i with an Armijo
// search (every step descends), which hands back to a short Newton polish once every balance is
// within 1e-3, and at given (T, p) to an outer iteration on ln(rho) over (T, rho) solves; a point
// that still fails gets status not_converged and one warning line in the log. Where the Jacobian is
// singular (one species carrying two elements of an exactly balanced mixture, as 2 H2 + O2 -> 2 H2O
// at room temperature) a small ridge solves the determined directions; the leftover traces, below
// round-off of the element sums, are then not resolved.
//
// Properties. Energies and enthalpies include the enthalpies of formation of the NASA data (the
// elements in their reference states have h = 0 at 298.15 K), so e and h of air are about zero
// at room temperature. Equilibrium cv, cp, the sound speed and the isentropic exponent include the
// reaction contribution, from the derivatives of the equilibrium composition obtained by
// analytic linear solves in the element potentials (no finite differences).
//
// Inputs: T in K, rho in kg/m3, p in Pa. Calls never throw and never allocate; all work arrays
// are fixed-size (kMaxSpecies, kMaxBalances): up to 64 species of up to 10 elements. Bad input (NaN, T <= 0, rho <= 0) returns
// status invalid_input. A mixture is immutable after set-up and may be shared between threads;
// every solve works only on the caller's state.
#pragma once

#include <cstdint>

class IHostMessageSink;

namespace mp::equilibrium {

inline constexpr int kMaxSpecies = 64;
inline constexpr int kMaxElements = 10;
inline constexpr int kMaxBalances = kMaxElements + 1;  // the elements and charge neutrality
inline constexpr int kMaxUnknowns = kMaxBalances + 1;  // and ln N at given pressure
inline constexpr int kMaxRanges = 4;
inline constexpr int kNameSize = 16;

// CODATA 2018 (exact).
inline constexpr double kGasConstant = 8.314462618;  // J/(mol K)
// The standard-state pressure of the NASA Glenn data.
inline constexpr double kReferencePressure = 1.0e5;  // Pa
// CODATA 2018 molar mass of the electron; ions weigh their atoms less (or more) this per charge.
inline constexpr double kElectronMolarMass = 5.48579909065e-7;  // kg/mol

// Dimensionless thermodynamic functions of one species at one temperature.
struct species_thermo {
    double cp_R = 0.0;  // cp/R
    double h_RT = 0.0;  // h/(R T), enthalpy of formation included
    double s_R = 0.0;   // s/R at the reference pressure
    double g_RT() const noexcept { return h_RT - s_R; }
};

// NASA polynomials over up to kMaxRanges temperature ranges.
//   9 coefficients (NASA TP-2002-211556): cp/R = a1/T^2 + a2/T + a3 + a4 T + a5 T^2 + a6 T^3 + a7 T^4,
//     b1 = a[7], b2 = a[8] the enthalpy and entropy constants.
//   7 coefficients (NASA TM-4513): cp/R = a1 + a2 T + a3 T^2 + a4 T^3 + a5 T^4, a6, a7 the constants.
// A temperature on a shared bound takes the lower range; below the first or above the last bound
// the nearest range is carried on.
struct nasa_polynomial {
    int coefficient_count = 9;  // 7 or 9
    int range_count = 0;
    double bounds[kMaxRanges + 1] = {};  // K, increasing
    double a[kMaxRanges][9] = {};

    species_thermo at(double T) const noexcept;
    // The same with ln T given (a mixture evaluates every species at one temperature).
    species_thermo at(double T, double lnT) const noexcept;
};

struct species {
    char name[kNameSize] = {};
    nasa_polynomial thermo;
    double elements[kMaxElements] = {};  // atoms of each element of the set, by index
    int charge = 0;                      // in elementary charges: +1 for a cation, -1 for e-
    double molar_mass = 0.0;             // kg/mol, from the atomic weights and the charge
};

// Elements and species; set up once, then read only.
class species_set {
public:
    // Adds an element with its atomic weight (kg/mol); its index is the number of elements so far.
    // False when the set already holds kMaxElements or the weight is not positive.
    bool add_element(const char* name, double atomic_weight_kg_per_mol) noexcept;
    // Adds a species: counts[i] atoms of element i (element_count() entries), its charge and its
    // polynomials. The molar mass follows from the atomic weights and the charge. False when the
    // set is full, a count is negative, or the polynomial is malformed.
    bool add_species(const char* name, const double* counts, int charge, const nasa_polynomial& thermo) noexcept;

    int element_count() const noexcept { return m_element_count; }
    int species_count() const noexcept { return m_species_count; }
    const species& at(int j) const noexcept { return m_species[j]; }
    const char* element_name(int i) const noexcept { return m_element_names[i]; }
    double atomic_weight(int i) const noexcept { return m_atomic_weights[i]; }
    // Index of the species or element of that name, -1 when there is none.
    int find_species(const char* name) const noexcept;
    int find_element(const char* name) const noexcept;
    bool has_charged_species() const noexcept;

private:
    int m_element_count = 0;
    int m_species_count = 0;
    char m_element_names[kMaxElements][kNameSize] = {};
    double m_atomic_weights[kMaxElements] = {};
    species m_species[kMaxSpecies];
};

enum class status : std::int32_t {
    converged = 0,                 // by the element-potential Newton iteration
    converged_by_fallback = 1,     // by the damped dual iteration after the first did not converge
    invalid_input = 2,             // NaN, non-positive T, rho or p, or an unusable mixture
    not_converged = 3,             // both iterations exhausted their caps; the state holds the best iterate
};

inline bool succeeded(status s) noexcept { return s == status::converged || s == status::converged_by_fallback; }

// A solved (or attempted) equilibrium point. It is also the warm start of the next solve: a
// neighbouring point's state carries its element potentials over.
struct state {
    double T = 0.0;                        // K
    double rho = 0.0;                      // kg/m3
    double p = 0.0;                        // Pa
    double n[kMaxSpecies] = {};            // mol per kg of mixture
    double total_moles = 0.0;              // sum of n, mol/kg
    double lambda[kMaxBalances] = {};      // element potentials (dimensionless, mu/RT per element)
    bool has_potentials = false;           // lambda holds a usable start
    std::int32_t iterations = 0;           // Newton steps of the last solve (all stages)
    status result = status::invalid_input;
};

// Equilibrium properties of a solved state. Per unit mass unless named molar.
struct properties {
    double T = 0.0, rho = 0.0, p = 0.0;    // K, kg/m3, Pa
    double e = 0.0;                        // J/kg, enthalpies of formation included
    double h = 0.0;                        // J/kg
    double s = 0.0;                        // J/(kg K)
    double cv = 0.0, cp = 0.0;             // J/(kg K), equilibrium (reaction contribution included)
    double cv_frozen = 0.0, cp_frozen = 0.0;
    double gamma = 0.0;                    // cp/cv
    double isentropic_exponent = 0.0;      // (dln p/dln rho) at constant s
    double dlnp_dlnT_rho = 0.0;            // (dln p/dln T) at constant rho, composition following
    double dlnp_dlnrho_T = 0.0;            // (dln p/dln rho) at constant T, composition following
    double sound_speed = 0.0;              // m/s, equilibrium
    double molar_mass = 0.0;               // kg/mol, mean
    double compressibility = 0.0;          // Z = p M_reference/(rho R T), M_reference the molar mass of the undissociated start mixture
    double x[kMaxSpecies] = {};            // mole fractions
};

// Iteration limits; the defaults suit table generation. Lower them only to test the fallbacks.
struct limits {
    std::int32_t newton_iterations = 60;    // element-potential Newton
    std::int32_t start_iterations = 200;    // Gordon and McBride's iteration of a cold start
    std::int32_t fallback_iterations = 300; // damped dual Newton
    std::int32_t pressure_iterations = 60;  // outer iteration of the (T, p) fallback
};

inline constexpr double kMaxPotentialStep = 8.0;  // largest change of one lambda per Newton step
inline constexpr double kBalanceTolerance = 1e-13;  // |ln(sum a n / b)| at convergence: round-off
// A cold start hands over to the element-potential iteration once no species changes by more than
// this fraction of the total moles in a step (Gordon and McBride's own test is 0.5e-5).
inline constexpr double kStartTolerance = 1e-5;

// A species set with fixed element amounts: the thing whose equilibrium is solved.
class mixture {
public:
    mixture() = default;
    // Element amounts b_i in any molar unit (normalised to mol per kg of mixture). False, and the
    // mixture stays unusable, when an amount is negative or all are zero.
    bool set_up(const species_set& set, const double* element_moles) noexcept;
    // The same from a composition of species by mole (e.g. 0.79 N2 + 0.21 O2).
    bool set_up_from_species(const species_set& set, const double* species_moles) noexcept;
    bool ready() const noexcept { return m_ready; }

    // Where warning lines go (nullptr: the host log).
    void set_message_sink(IHostMessageSink* sink) noexcept { m_sink = sink; }
    void set_limits(const limits& l) noexcept { m_limits = l; }

    const species_set& set() const noexcept { return m_set; }
    int balance_count() const noexcept { return m_balances; }
    // b_i, mol per kg (charge row: 0).
    double element_amount(int i) const noexcept { return m_b[i]; }
    // Molar mass of the mixture given to set_up, kg/mol (the reference of Z).
    double reference_molar_mass() const noexcept { return m_reference_molar_mass; }

    // Equilibrium at (T, rho). warm: use st.lambda when st.has_potentials, else a cold start.
    status solve_T_rho(double T_K, double rho_kg_m3, state& st, bool warm = true) const noexcept;
    // Equilibrium at (T, p), solved directly (lambda and ln N). warm: start from st (its potentials
    // and its total moles).
    status solve_T_p(double T_K, double p_Pa, state& st, bool warm = true) const noexcept;
    // Sets st's potentials from a composition (mole fractions x, any scale) at (T, rho), so that a
    // following warm solve starts there. False when x is unusable.
    bool start_from_composition(double T_K, double rho_kg_m3, const double* x, state& st) const noexcept;

    // Properties of a solved state. False (out untouched beyond T, rho) when st is not solved.
    bool evaluate(const state& st, properties& out) const noexcept;

private:
    struct work;
    void prepare(double T, double rho_or_p, bool at_pressure, work& w) const noexcept;
    status solve_prepared(work& w, state& st, bool warm) const noexcept;
    void finish(const work& w, const double* x, state& st) const noexcept;
    void predict(const work& w, const state& st, double* x) const noexcept;
    bool newton(work& w, double* x, std::int32_t& iterations, std::int32_t cap) const noexcept;
    bool gibbs_start(const work& w, double* x, std::int32_t& iterations) const noexcept;
    bool dual_fallback(work& w, double* lambda, std::int32_t& iterations) const noexcept;
    status pressure_by_density(double T, double p, state& st) const noexcept;
    double residual(const work& w, const double* x, double* F, double* J) const noexcept;
    void balance_charge(const work& w, double* x) const noexcept;
    double amounts(const work& w, const double* x, double* n) const noexcept;
    double log_amounts(const work& w, const double* x, double* l) const noexcept;
    bool composition_derivatives(const double* n, const double* rhs_T, double* dlambda_T, double* dlambda_rho) const noexcept;
    void report(double T, double rho, const char* what) const noexcept;

    species_set m_set;
    int m_balances = 0;       // element rows, then the charge row when there is one
    int m_charge_row = -1;
    double m_a[kMaxBalances][kMaxSpecies] = {};  // balance coefficients
    double m_b[kMaxBalances] = {};               // mol/kg
    bool m_active[kMaxSpecies] = {};             // false: contains an element the mixture lacks
    int m_active_count = 0;
    // The nonzero balance coefficients of each species: their rows and values.
    int m_nonzero_count[kMaxSpecies] = {};
    int m_nonzero_row[kMaxSpecies][kMaxBalances] = {};
    double m_nonzero_a[kMaxSpecies][kMaxBalances] = {};
    double m_reference_molar_mass = 0.0;
    bool m_ready = false;
    limits m_limits;
    IHostMessageSink* m_sink = nullptr;
};

// ---- transport -----------------------------------------------------------------------------------

// Blottner, Johnson and Ellis (Sandia report SC-RR-70-754, 1971) viscosity fit of one species:
// mu [Pa s] = 0.1 exp((A ln T + B) ln T + C) (the fit gives g/(cm s)).
struct blottner_fit {
    double A = 0.0, B = 0.0, C = 0.0;
    bool present = false;  // false: the species is left out of the mixing (electrons)
    double viscosity(double T) const noexcept;
};

// Mixture viscosity (Pa s) and frozen conductivity (W/(m K)) of a composition x (mole fractions)
// at T: species viscosities from their fits, species conductivities by Eucken's relation
// lambda_j = mu_j (R/M_j)(cp_j/R + 5/4), both mixed by Wilke's rule (Wilke, J. Chem. Phys. 18,
// 517, 1950; the same phi_jk for the conductivity, after Mason and Saxena). Species without a fit
// are left out and the others renormalised. The conductivity is the frozen one: the transport of
// reaction enthalpy by diffusion (the reactive conductivity of a dissociating gas) is not included.
// False when no species has a fit or the input is bad.
bool wilke_eucken_transport(const species_set& set, const blottner_fit* fits, double T_K, const double* x,
                            double& viscosity_Pa_s, double& conductivity_W_mK) noexcept;

}  // namespace mp::equilibrium
