// The adiabatic flame at constant pressure: the equilibrium state of the burnt mixture whose
// static enthalpy equals that of the unburnt reactants at T0 (both streams at T0, no heat loss,
// no kinetic energy), found by the equilibrium engine.
//
// Method: Newton's method on T for h_eq(T, p) = h_unburnt(T0), with the equilibrium cp (the
// reaction contribution included) as the derivative, each step starting the engine from the
// previous composition; steps are kept inside a bracket [kFlameLowest, kFlameHighest] that
// narrows with every evaluation, and bisect when Newton would leave it. Converged when the step
// is below kFlameTolerance relative. Start: 2000 K.
//
// Fuels by name or formula: "methane" or "CH4", "propane" or "C3H8", "hydrogen" or "H2", and any
// other GRI-Mech 3.0 species by its name (e.g. "C2H6", "CO").
//
// Never throws, never allocates.
#pragma once

#include <cstdint>

#include "combustion/combustion_chemistry.h"

class IHostMessageSink;

namespace mp::combustion {

inline constexpr double kFlameLowest = 200.0;    // K
inline constexpr double kFlameHighest = 6000.0;  // K
inline constexpr double kFlameTolerance = 1e-10;
inline constexpr std::int32_t kFlameIterations = 60;

enum class flame_status : std::int32_t { ok = 0, invalid_input, not_converged };
const char* to_text(flame_status s) noexcept;

struct flame_result {
    flame_status status = flame_status::invalid_input;
    double z = 0.0;      // mixture fraction of phi
    double T = 0.0;      // K, adiabatic flame temperature
    double h = 0.0;      // J/kg, the reactants' (and the products') static enthalpy
    double rho = 0.0;    // kg/m3
    double M = 0.0;      // kg/mol
    double cp = 0.0;     // J/(kg K), equilibrium
    double a = 0.0;      // m/s, equilibrium speed of sound
    double x[equilibrium::kMaxSpecies] = {};  // mole fractions, the chemistry's species order
    std::int32_t iterations = 0;
};

// The GRI-Mech 3.0 species of a fuel name or formula ("methane" -> "CH4"); nullptr when unknown.
const char* fuel_species(const char* name) noexcept;

// The adiabatic flame of the chemistry's streams at equivalence ratio phi (> 0; finite), pressure
// p [Pa] and reactant temperature T0 [K]. A failed iteration writes one warning to `sink`.
flame_result adiabatic_flame(const chemistry& chem, double phi, double p, double T0, IHostMessageSink* sink) noexcept;

}  // namespace mp::combustion
