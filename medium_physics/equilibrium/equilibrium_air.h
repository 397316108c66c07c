// equilibrium_air: the data of high-temperature air for the equilibrium engine (equilibrium.h).
//
// Species: N2, O2, NO, N, O, N2+, O2+, NO+, N+, O+, e-, with the NASA 9-coefficient polynomials of
// McBride, Zehe and Gordon, NASA TP-2002-211556 (2002), over 200 (ions 298.15) - 1000 - 6000 -
// 20000 K; below 298.15 K the ions carry their lowest range on, where their amounts are far below
// anything that counts. Enthalpies include the enthalpies of formation (N2 and O2: zero at
// 298.15 K). The same numbers are in data/thermo/air_species_nasa9.json with their sources; the
// library compiles them in, so it needs no data file at run time.
//
// Air is 79 % N2 and 21 % O2 by mole: this species set has no argon, so the argon and trace gases
// of real air are counted as nitrogen. Its molar mass is 0.0288503 kg/mol.
//
// Transport: Blottner, Johnson and Ellis (Sandia report SC-RR-70-754, 1971) viscosity fits for
// N2, O2, NO, N and O; an ion takes the fit of its neutral and electrons are left out. Mixed by
// Wilke's rule, conductivity by Eucken's relation (see wilke_eucken_transport). Validity: the fits
// describe neutral, weakly ionised air; where ionisation becomes strong (above about 9000 K at low
// density) collisions between charged particles, which they ignore, dominate, and the values are
// only indicative. The conductivity is the frozen one (no reactive part).
#pragma once

#include <cstdint>

#include "equilibrium/equilibrium.h"

namespace mp::equilibrium::air {

inline constexpr int kSpeciesCount = 11;
// Species indices in species().
enum index : int { N2 = 0, O2, NO, N, O, N2_plus, O2_plus, NO_plus, N_plus, O_plus, electron };
// Element indices: N, O.
inline constexpr int kNitrogen = 0;
inline constexpr int kOxygen = 1;

// The raw coefficient table as compiled in (for the test that compares it with the data file).
struct species_record {
    const char* name;
    int charge;
    double nitrogen, oxygen;  // atoms
    double bounds[4];         // K
    double coefficients[3][9];
};
const species_record* records() noexcept;
// IUPAC 2007 atomic weights of N and O, kg/mol.
inline constexpr double kNitrogenWeight = 14.0067e-3;
inline constexpr double kOxygenWeight = 15.9994e-3;
// Air by mole.
inline constexpr double kNitrogenMoleFraction = 0.79;
inline constexpr double kOxygenMoleFraction = 0.21;

// The 11-species set (built once, thread-safe).
const species_set& species() noexcept;
// Air (79 % N2, 21 % O2) ready to solve; a copy per user so each may set its own sink and limits.
mixture make_air() noexcept;
// Blottner fits by species index (electrons: not present).
const blottner_fit* viscosity_fits() noexcept;
// Viscosity (Pa s) and frozen conductivity (W/(m K)) of air of mole fractions x at T.
bool transport(double T_K, const double* x, double& viscosity_Pa_s, double& conductivity_W_mK) noexcept;

// The temperatures the species data cover, in K: the lowest first bound and the highest last
// bound over the species (200 and 20000 K). Beyond them the engine carries the end ranges on.
void species_data_range(double& T_low_K, double& T_high_K) noexcept;

// ---- one state of air in equilibrium, with its transport -------------------------------------------

// What a solve is given besides the temperature.
enum class given : std::int32_t {
    density = 0,   // rho [kg/m3]
    pressure = 1,  // p [Pa]
};

// Why solve() has no properties to give.
enum class failure : std::int32_t {
    none = 0,                // solved: the properties, viscosity and conductivity are set
    refused = 1,             // the engine refused the input (NaN, T, rho or p not above 0)
    not_converged = 2,       // the engine's iterations did not converge
    not_evaluated = 3,       // the composition was solved but its properties could not be formed
    no_transport = 4,        // the viscosity and conductivity of the composition could not be computed
    below_species_data = 5,  // T lies below the species data (species_data_range), where their
                             // polynomials, carried on, no longer describe the gases
};

struct solution {
    // The engine's equilibrium properties: T [K], rho [kg/m3], p [Pa], e and h [J/kg] (enthalpies
    // of formation included), cp [J/(kg K)], gamma = cp/cv, sound_speed [m/s], molar_mass
    // [kg/mol], the mole fractions x in species() order, ... (see properties).
    properties engine;
    double viscosity_Pa_s = 0.0;
    double conductivity_W_mK = 0.0;  // frozen
    failure reason = failure::none;
    bool solved() const noexcept { return reason == failure::none; }
};

// Air (a mixture from make_air()) in chemical equilibrium at T_K [K] and, as `what` says, the
// density [kg/m3] or the pressure [Pa] `value`, solved from a cold start, with the viscosity and
// frozen conductivity of the composition found. Unsolved, `reason` says why and the rest is not
// to be used; the engine's own log lines go to the mixture's sink. Below the species data there is
// no state (below_species_data: their lowest ranges, carried down to 50 K, give N2 twice its cp);
// above them the highest ranges are carried on, an extrapolation.
solution solve(const mixture& air, double T_K, given what, double value) noexcept;

}  // namespace mp::equilibrium::air
