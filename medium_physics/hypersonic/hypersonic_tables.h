// hypersonic_tables: the equilibrium-air tables of the hypersonic medium, how they are laid out,
// computed by the equilibrium engine, and carried by the library.
//
// Layout. The density axis of a generator is uniform, which alone cannot span the eight decades
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
// molar mass, and the viscosity and frozen conductivity of equilibrium_air.h.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "hypersonic/chypersonicbuiltinpg.h"

class C_file_io;

namespace mp::hypersonic {

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

    // The grid of band b.
    hypersonic_grid band_grid(std::int32_t b) const noexcept;
    double band_origin(std::int32_t b) const noexcept;
    double rho_high() const noexcept { return band_origin(bands); }
    bool valid() const noexcept;
    // Whether (T [K], rho [kg/m3]) lies inside the tables: T_min..T_max and rho_low..rho_high(),
    // the ends included.
    bool contains(double T_K, double rho_kg_m3) const noexcept;
};

// The tables' values at one state (query 3 of the generator), by name.
struct table_values {
    double e = 0.0;       // J/kg, enthalpies of formation included
    double p = 0.0;       // Pa
    double a = 0.0;       // m/s, sqrt(p gamma/rho)
    double gamma = 0.0;   // cp/cv, equilibrium
    double cp = 0.0;      // J/(kg K), equilibrium
    double M = 0.0;       // kg/mol, mean molar mass
    double mu = 0.0;      // Pa s
    double lambda = 0.0;  // W/(m K), frozen
};

// The layout of the built-in tables: 200..20000 K, 1e-6..100 kg/m3 in 32 bands.
table_layout default_layout() noexcept;

// What a generation did.
struct generation_report {
    std::int64_t points = 0;      // equilibrium points solved
    std::int64_t failures = 0;    // points the engine could not solve (their node holds the neighbour's value)
    std::int64_t fallbacks = 0;   // points solved by the engine's fallback iteration
    double seconds = 0.0;         // wall time
};

// Fills one generator per band (allocated here) with equilibrium air. Columns of constant density
// are shared out over `threads` OpenMP threads (the library's thread count when 0); each column
// sweeps up in temperature, starting every point from the previous one's composition, so the
// result does not depend on the thread count. False when the layout is not valid.
bool generate_equilibrium_air(const table_layout& layout, std::vector<std::shared_ptr<CHypersonicBuiltInPG>>& bands,
                              std::int32_t threads, generation_report* report = nullptr);

// A ladder of generators over one layout, answering the four queries of a generator for any
// density: the band of a density is found by a search over the band origins (a density on a
// shared boundary gets the upper band; below the first band the first, above the last the last),
// and a (p, T) query first finds the band whose pressure range at T holds p, by a search over the
// pressures at the bands' upper edges. Immutable once built, so one set serves any number of
// substances and threads.
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
    // The values at (T [K], rho [kg/m3]) when the state lies inside the tables (layout().contains);
    // false, `out` untouched, outside them or when the set holds no tables.
    bool values_inside(double T_K, double rho_kg_m3, table_values& out) const noexcept;

    // Stream record: byte 1 (version), the layout (T_min, T_max, n1, rho_low, bands,
    // bands_per_decade, n2, the two tolerances), then every band's generator record. Reading
    // refuses (c_RQ_io_error) a layout that is not valid or a band whose sizes differ from it.
    void write(C_file_io& stream) const;
    void read(C_file_io& stream);
    std::size_t bytes() const noexcept;

private:
    table_layout m_layout;
    std::vector<std::shared_ptr<CHypersonicBuiltInPG>> m_bands;
    std::vector<double> m_origins;  // first density of each band
};

// The built-in tables: a table_set record written by the generation tool
// (data/thermo/equilibrium_air_tables.bin) and compiled into the library.
const unsigned char* builtin_tables_data() noexcept;
std::size_t builtin_tables_size() noexcept;
// The built-in set, read once on first use (thread-safe); nullptr when the build carries none or
// its record does not read.
std::shared_ptr<const table_set> builtin_tables() noexcept;

}  // namespace mp::hypersonic
