// hypersonic_tables: the equilibrium-air tables of the hypersonic medium, how they are laid out,
// computed by the equilibrium engine, and carried by the library.
//
// Layout. The density axis of a generator is uniform, which alone cannot span the eleven decades
// of density met in atmospheric entry (a node at rho = 0 would be the fully dissociated limit, and
// a few coarse cells would cover everything below 0.1 kg/m3). The medium therefore holds a ladder
// of generators, each over a short geometric band of density: band b covers
// [rho_low 10^(b/k), rho_low 10^((b+1)/k)] (k bands per decade) with n2 uniform nodes, so a cell is
// never wider than (10^(1/k) - 1)/(n2 - 1) of its density. Short bands with few nodes need the
// fewest nodes for a given error: the count per decade, k (n2 - 1) + 1, is lowest as the bands'
// ratio approaches 1, and k = 4 is within 35 % of that limit. All
// bands share one geometric temperature axis over [T_min, T_max], and neighbouring bands share
// their boundary nodes (the same engine values), so the interpolated field is continuous.
//
// The tables hold, at each node, the engine's equilibrium e (enthalpies of formation included),
// p, gamma = cp/cv (equilibrium, reaction contribution included), cp (equilibrium), the mean
// molar mass, the viscosity and frozen conductivity of equilibrium_air.h and, in records of
// version 2, the isentropic exponent kappa = (d ln p / d ln rho)_s, from which the equilibrium
// speed of sound is a_eq = sqrt(kappa p / rho).
//
// Below the species data (T_frozen = 200 K, where the NASA polynomials of N2 and O2 begin) the
// nodes hold frozen ideal air instead (frozen_air below): the engine's composition, molar mass and
// cp at (T_frozen, rho) carried down at constant cp, which is physical there (the vibration of N2
// and O2 is frozen out, their rotation fully excited down to a few kelvin), so e, p, cp and gamma
// join the equilibrium values at T_frozen without a step.
//
// Below the lowest band a record of version 2 keeps the composition of the lowest density: every
// table is taken at (T, rho_low) and p is scaled by rho/rho_low (an ideal gas at that
// composition). Air dissociates further as its density falls, so this is an approximation whose
// error grows with the distance below rho_low (mp-hypersonic-tables --error-map measures it: one
// decade below 1e-9 kg/m3, up to 21 % in p and 36 % in e between 1000 and 10000 K, exact outside);
// it never leaves the table, keeps p positive and proportional to rho, and joins the tables at
// rho_low without a step. A record of version 1 keeps the generator's own guard there
// (chypersonicbuiltinpg.h: extrapolation down to one step below the lowest node, then held).
// Temperatures outside [T_min, T_max] are clamped by every band (chypersonicbuiltinpg.h).
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "hypersonic/chypersonicbuiltinpg.h"

class C_file_io;

namespace mp::hypersonic {

// What the ladder answers below its lowest density.
enum class below_lowest_band : std::uint8_t {
    guard = 0,                  // the lowest band's guard (records of version 1)
    composition_of_lowest = 1,  // the tables at rho_low, p scaled by rho/rho_low
};

struct table_layout {
    double T_min = 200.0;     // K: first temperature node and lower clamp
    double T_max = 20000.0;   // K: last temperature node and upper clamp
    std::int32_t n1 = 0;      // temperature nodes
    double rho_low = 0.0;     // kg/m3: first node of the lowest band
    std::int32_t bands = 0;   // bands of density
    std::int32_t bands_per_decade = 1;
    std::int32_t n2 = 0;      // density nodes per band, both ends included
    double x1_tolerance = 0;  // relative stop width of the temperature bisections
    double x2_tolerance = 0;  // relative stop width of the density bisections
    // Tables per band: 7, or 8 with the isentropic exponent.
    std::int32_t tables = CHypersonicBuiltInPG::kTableCount;
    double T_frozen = 0.0;  // K: nodes below hold frozen ideal air (0: none do)
    below_lowest_band below = below_lowest_band::guard;

    // The grid of band b.
    hypersonic_grid band_grid(std::int32_t b) const noexcept;
    double band_origin(std::int32_t b) const noexcept;
    double rho_high() const noexcept { return band_origin(bands); }
    bool has_isentropic_exponent() const noexcept { return tables > CHypersonicBuiltInPG::kIsentropicExponent; }
    // A record of version 1 holds this layout: seven tables, no frozen nodes, the guard below.
    bool fits_version_1() const noexcept;
    bool valid() const noexcept;
};

bool same_layout(const table_layout& a, const table_layout& b) noexcept;

// The layout of the built-in tables: 50..20000 K in 313 nodes, 1e-9..100 kg/m3 in 44 bands,
// eight tables, frozen air below 200 K, the composition of 1e-9 kg/m3 below that density.
table_layout default_layout() noexcept;

// Frozen ideal air at T below the anchor temperature T_a, from the node values at (T_a, rho)
// (anchor[0..8), table order; the same density): cp, M and the composition are the anchor's,
// e = e_a - cv (T_a - T) with cv = cp - R/M, p = p_a T/T_a, gamma = cp/cv and kappa = gamma (no
// reactions), and mu, lambda scale with Sutherland's law for air, T^1.5/(T + 110.4 K) (White,
// Viscous Fluid Flow, 3rd ed., 2006): the conductivity with the viscosity, as Eucken's relation
// of the engine's transport gives at constant cp. v receives the eight values.
void frozen_air(const double* anchor, double T_anchor, double T, double* v) noexcept;
inline constexpr double kSutherlandTemperature = 110.4;  // K, air

// What a generation did.
struct generation_report {
    std::int64_t points = 0;      // points filled (equilibrium and frozen)
    std::int64_t failures = 0;    // points the engine could not solve (their node holds the neighbour's value)
    std::int64_t fallbacks = 0;   // points solved by the engine's fallback iteration
    double seconds = 0.0;         // wall time
};

// Fills one generator per band (allocated here) with equilibrium air, and with frozen air below
// T_frozen. Columns of constant density are shared out over `threads` OpenMP threads (the
// library's thread count when 0); each column sweeps up in temperature, starting every point from
// the previous one's composition, so the result does not depend on the thread count. False when
// the layout is not valid.
bool generate_equilibrium_air(const table_layout& layout, std::vector<std::shared_ptr<CHypersonicBuiltInPG>>& bands,
                              std::int32_t threads, generation_report* report = nullptr);

// Everything the tables say about one state, by name.
struct table_state {
    double T = 0.0;       // K
    double rho = 0.0;     // kg/m3
    double p = 0.0;       // Pa
    double e = 0.0;       // J/kg, enthalpies of formation included
    double h = 0.0;       // J/kg, e + p/rho
    double cp = 0.0;      // J/(kg K), equilibrium
    double gamma = 0.0;   // cp/cv, equilibrium
    double a = 0.0;       // m/s, sqrt(p gamma / rho): the medium's sound speed
    double kappa = 0.0;   // (d ln p / d ln rho)_s; gamma in a record without the table
    double a_eq = 0.0;    // m/s, sqrt(kappa p / rho): the equilibrium sound speed
    double M = 0.0;       // kg/mol
    double mu = 0.0;      // Pa s
    double lambda = 0.0;  // W/(m K), frozen
    bool inside = false;  // (T, rho) lies within the tables' nodes (holds)
};

// A ladder of generators over one layout, answering the four queries of a generator for any
// density: the band of a density is found by a search over the band origins (a density on a
// shared boundary gets the upper band; below the first band the first, above the last the last),
// and a (p, T) query first finds the band whose pressure range at T holds p, by a search over the
// pressures at the bands' upper edges. Below the lowest band, see below_lowest_band. Immutable
// once built, so one set serves any number of substances and threads.
class table_set {
public:
    // Takes generated or read bands; false when they do not fit the layout.
    bool assign(const table_layout& layout, std::vector<std::shared_ptr<CHypersonicBuiltInPG>> bands);
    bool ready() const noexcept { return !m_bands.empty(); }
    const table_layout& layout() const noexcept { return m_layout; }
    std::int32_t band_count() const noexcept { return static_cast<std::int32_t>(m_bands.size()); }
    const CHypersonicBuiltInPG& band(std::int32_t b) const noexcept { return *m_bands[std::size_t(b)]; }
    std::int32_t band_of_density(double rho) const noexcept;
    std::int32_t band_of_pressure(double p, double T) const noexcept;
    // The generator queries; r holds eight results in the generator's orders.
    void state_e_rho(double e, double rho, double* r) const noexcept;  // query 1: T, p, a, gamma, cp, M, mu, lambda
    void state_p_rho(double p, double rho, double* r) const noexcept;  // query 2: T, e, a, gamma, cp, M, mu, lambda
    void state_T_rho(double T, double rho, double* r) const noexcept;  // query 3: e, p, a, gamma, cp, M, mu, lambda
    void state_p_T(double p, double T, double* r) const noexcept;      // query 4: rho, e, a, gamma, cp, M, mu, lambda
    // The isentropic exponent kappa and the equilibrium speed of sound a_eq = sqrt(kappa p / rho)
    // [m/s] at (T, rho): no search beyond the band's. Without the exponent's table (a record of
    // version 1) kappa is gamma and a_eq the tables' a.
    void equilibrium_sound_T_rho(double T, double rho, double& a_eq, double& kappa) const noexcept;

    // Where the tables hold nodes: T_min <= T <= T_max and rho_low <= rho <= rho_high.
    bool holds(double T, double rho) const noexcept;
    // Every value at (T, rho), and at (p, T) with the density the tables give; these answer
    // wherever the queries answer (also below T_frozen, where the engine has no species data), and
    // `inside` says whether the state lies within the nodes.
    table_state at_T_rho(double T, double rho) const noexcept;
    table_state at_p_T(double p, double T) const noexcept;

    // Stream record. Version 1: byte 1, the layout (T_min, T_max, n1, rho_low, bands,
    // bands_per_decade, n2, the two tolerances), then every band's generator record. Version 2:
    // byte 2, the same layout fields, then tables (int32), T_frozen (double) and the rule below
    // the lowest band (byte), then every band's generator record, each with exactly `tables`
    // tables. A set is written in the version it was read in, a generated one in version 1 when
    // its layout fits it (else 2), so an old project saves the bytes it was read from. Reading
    // refuses (c_RQ_io_error) another version, a layout that is not valid or a band whose sizes
    // differ from it.
    void write(C_file_io& stream) const;
    void read(C_file_io& stream);
    std::size_t bytes() const noexcept;

private:
    // The density at which a band is looked up, and the factor on its pressure: rho and 1 within
    // the ladder, rho_low and rho/rho_low below it (held at kSmallestFactor or above).
    bool below(double rho) const noexcept { return m_keep_lowest && !(rho >= m_layout.rho_low); }
    double factor(double ratio) const noexcept { return ratio > kSmallestFactor ? ratio : kSmallestFactor; }
    // Below the ladder a zero, negative or NaN density or pressure answers a state 1e-30 of the
    // lowest density's: positive and finite.
    static constexpr double kSmallestFactor = 1e-30;

    table_layout m_layout;
    std::vector<std::shared_ptr<CHypersonicBuiltInPG>> m_bands;
    std::vector<double> m_origins;  // first density of each band
    bool m_keep_lowest = false;     // below_lowest_band::composition_of_lowest
    std::int32_t m_kappa_table = CHypersonicBuiltInPG::kGamma;
    std::uint8_t m_version = 1;  // of the record read, or the one the layout needs
};

// The built-in tables: a table_set record written by the generation tool
// (data/thermo/equilibrium_air_tables.bin) and compiled into the library.
const unsigned char* builtin_tables_data() noexcept;
std::size_t builtin_tables_size() noexcept;
// The built-in set, read once on first use (thread-safe); nullptr when the build carries none or
// its record does not read.
std::shared_ptr<const table_set> builtin_tables() noexcept;

}  // namespace mp::hypersonic
