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

}  // namespace mp::equilibrium::air
