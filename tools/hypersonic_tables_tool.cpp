// mp-hypersonic-tables: computes the built-in equilibrium-air tables of the hypersonic medium with
// the equilibrium engine and writes them as the record the library embeds; checks a written record
// against a fresh generation; maps the interpolation error of a table set against the engine.
//
//   mp-hypersonic-tables [--out FILE] [--threads N]
//   mp-hypersonic-tables --check FILE [--threads N]
//   mp-hypersonic-tables --error-map [--tables FILE] [--samples N] [--seed S] [--threads N]
//
// Without --check or --error-map the tool generates the tables with the default layout and writes
// them to FILE (default equilibrium_air_tables.bin); with either it writes only when --out is
// given. The generation does not depend on the thread count, so the same engine and layout always
// give the same bytes.
//
// --check FILE regenerates with the default layout and compares the record in FILE value by value.
// Two values a (generated) and b (stored) of table k agree when
//   |a - b| <= 1e-9 max(|a|, |b|) + 1e-15 S_k,
// S_k the largest magnitude in table k of the generated set (the floor only matters for energies
// that pass through zero). Exit 0 when the layouts are equal and every value agrees, else the
// worst difference is printed and the exit status is 1.
//
// --error-map evaluates the tables (of --tables FILE; else the generated ones when this run
// generates; else the built-in ones) against the engine in every cell of the grid: at its centre
// (geometric mean of the two temperatures, arithmetic mean of the two densities, where bilinear
// interpolation is at its worst) and at --samples random points per cell (uniform in ln T and in
// rho, drawn from --seed and the cell's index, so the map does not depend on the thread count).
// Below T_frozen, where the engine has no species data, the reference is the frozen air the nodes
// hold (hypersonic_tables.h), from the engine's state at T_frozen: that part measures the
// interpolation alone. It prints the largest relative errors of p and e, of gamma and cp, and of
// the equilibrium sound speed sqrt(kappa p / rho) by temperature range and density decade, the
// largest and RMS errors of every quantity by temperature range and over all points, and the same
// for as many points again in the two decades of density below the tables, where the tables answer
// by their rule below the lowest band. The energy error is taken relative to |e| + R T with
// R = 287 J/(kg K), as e passes through zero near 420 K. The tables' other sound speed,
// sqrt(p gamma / rho), is not an interpolation of the engine's equilibrium sound speed but a
// different model of it (see c_hypersonic_gas_thermodynamics.h): its difference is shown apart,
// as a model difference.
#include <CLI/CLI.hpp>

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "equilibrium/equilibrium_air.h"
#include "file_io/c_file_io/c_file_io.h"
#include "hypersonic/hypersonic_tables.h"

namespace {

using mp::hypersonic::table_layout;
using mp::hypersonic::table_set;

const char* const kTableNames[CHypersonicBuiltInPG::kTableCountWithExponent] = {"e", "p",  "gamma",  "cp",
                                                                                "M", "mu", "lambda", "kappa"};

// False when the tables could not be made; `complete` false when the engine left points unsolved
// (their nodes hold the neighbour's values).
bool generate(const table_layout& layout, int threads, table_set& set, bool& complete) {
    std::vector<std::shared_ptr<CHypersonicBuiltInPG>> bands;
    mp::hypersonic::generation_report report;
    if (!mp::hypersonic::generate_equilibrium_air(layout, bands, threads, &report) ||
        !set.assign(layout, std::move(bands))) {
        std::fprintf(stderr, "mp-hypersonic-tables: the tables could not be generated\n");
        return false;
    }
    std::printf("%lld points (%lld by the fallback iteration, %lld failed) in %.3f s on %d threads\n",
                static_cast<long long>(report.points), static_cast<long long>(report.fallbacks),
                static_cast<long long>(report.failures), report.seconds, threads);
    complete = report.failures == 0;
    if (!complete)
        std::fprintf(stderr, "mp-hypersonic-tables: the engine did not solve %lld points\n",
                     static_cast<long long>(report.failures));
    return true;
}

bool read_tables(const std::string& path, table_set& set) {
    try {
        C_file_io stream;
        stream.open(CHostString::from_utf8(path), CHostString(u"r"));
        set.read(stream);
        return true;
    } catch (const std::exception& e) {
        std::fprintf(stderr, "mp-hypersonic-tables: %s: %s\n", path.c_str(), e.what());
        return false;
    }
}

bool write_tables(const std::string& path, const table_set& set) {
    try {
        C_file_io stream;
        stream.open(CHostString::from_utf8(path), CHostString(u"w"));
        set.write(stream);
        stream.close();
    } catch (const std::exception& e) {
        std::fprintf(stderr, "mp-hypersonic-tables: %s: %s\n", path.c_str(), e.what());
        return false;
    }
    std::printf("wrote %s (%zu bytes of tables)\n", path.c_str(), set.bytes());
    return true;
}

// ---- --check -------------------------------------------------------------------------------------

constexpr double kCheckTolerance = 1e-9;
constexpr double kCheckFloor = 1e-15;  // of the table's largest magnitude

void print_layout(const char* what, const table_layout& l) {
    std::printf(
        "  %s: T %.17g..%.17g K in %d nodes, rho from %.17g kg/m3 in %d bands (%d per decade) of %d nodes, "
        "tolerances %.17g %.17g, %d tables, frozen below %.17g K, rule below the lowest band %d\n",
        what, l.T_min, l.T_max, static_cast<int>(l.n1), l.rho_low, static_cast<int>(l.bands),
        static_cast<int>(l.bands_per_decade), static_cast<int>(l.n2), l.x1_tolerance, l.x2_tolerance,
        static_cast<int>(l.tables), l.T_frozen, static_cast<int>(l.below));
}

// Compares a stored set with a generated one; true when they agree.
bool compare_sets(const table_set& generated, const table_set& stored, const std::string& path) {
    if (!mp::hypersonic::same_layout(generated.layout(), stored.layout())) {
        std::printf("%s: the layout differs from the default layout\n", path.c_str());
        print_layout("generated", generated.layout());
        print_layout("stored   ", stored.layout());
        return false;
    }
    const table_layout& l = generated.layout();
    double scale[CHypersonicBuiltInPG::kTableCountWithExponent] = {};
    for (std::int32_t b = 0; b < l.bands; ++b)
        for (std::int32_t k = 0; k < l.tables; ++k)
            for (std::int32_t i = 0; i < l.n1; ++i)
                for (std::int32_t j = 0; j < l.n2; ++j)
                    scale[k] = std::max(scale[k], std::fabs(generated.band(b).row(k, i)[j]));
    struct worst_value {
        double difference = -1.0;
        std::int32_t band = 0, table = 0, i = 0, j = 0;
        double generated = 0.0, stored = 0.0;
    } worst;
    std::int64_t disagreeing = 0, compared = 0;
    for (std::int32_t b = 0; b < l.bands; ++b) {
        const CHypersonicBuiltInPG& g = generated.band(b);
        const CHypersonicBuiltInPG& s = stored.band(b);
        if (s.table_count() != g.table_count()) {
            std::printf("%s: band %d holds %d tables, the generator makes %d\n", path.c_str(), static_cast<int>(b),
                        static_cast<int>(s.table_count()), static_cast<int>(g.table_count()));
            return false;
        }
        for (std::int32_t k = 0; k < l.tables; ++k)
            for (std::int32_t i = 0; i < l.n1; ++i)
                for (std::int32_t j = 0; j < l.n2; ++j) {
                    const double a = g.row(k, i)[j];
                    const double v = s.row(k, i)[j];
                    double d = std::fabs(a - v) / (std::max(std::fabs(a), std::fabs(v)) +
                                                   kCheckFloor / kCheckTolerance * scale[k]);
                    if (a == v) d = 0.0;
                    if (std::isnan(d)) d = std::numeric_limits<double>::infinity();
                    ++compared;
                    if (d > kCheckTolerance) ++disagreeing;
                    if (d > worst.difference) worst = {d, b, k, i, j, a, v};
                }
    }
    if (worst.difference == 0.0) {
        std::printf("%s: %lld values compared, all equal\n", path.c_str(), static_cast<long long>(compared));
        return true;
    }
    const CHypersonicBuiltInPG& g = generated.band(worst.band);
    std::printf("%s: %lld values compared, %lld differ by more than %.0e relative; the largest difference, %.3e, "
                "is %s in band %d at T = %.6g K, rho = %.6g kg/m3: generated %.17g, stored %.17g\n",
                path.c_str(), static_cast<long long>(compared), static_cast<long long>(disagreeing), kCheckTolerance,
                worst.difference, kTableNames[worst.table], static_cast<int>(worst.band), g.x1_node(worst.i),
                g.x2_node(worst.j), worst.generated, worst.stored);
    return disagreeing == 0;
}

// ---- --error-map ---------------------------------------------------------------------------------

constexpr double kAirGasConstant = 287.0;  // J/(kg K): the scale added to |e|

// What is compared: the tables' p, e, gamma, cp, mu, lambda and a_eq = sqrt(kappa p / rho) with
// the engine's (below T_frozen with frozen air from the engine's state at T_frozen), and the
// tables' a = sqrt(p gamma / rho) with the engine's equilibrium sound speed (a model difference).
enum quantity : int { kP = 0, kE, kGammaQ, kCpQ, kMuQ, kLambdaQ, kSoundEq, kSoundModel, kQuantities };
const char* const kQuantityNames[kQuantities] = {"p", "e", "gamma", "cp", "mu", "lambda", "a_eq", "a"};

struct point_error {
    double T = 0.0, rho = 0.0;
    double error[kQuantities] = {};
    bool solved = false;
};

// The reference values at one state.
struct reference {
    double p = 0.0, e = 0.0, gamma = 0.0, cp = 0.0, mu = 0.0, lambda = 0.0, a_eq = 0.0;
};

// The engine at (T, rho), from st (warm) or cold; false when it cannot be solved.
bool engine_reference(const mp::equilibrium::mixture& air, double T, double rho, mp::equilibrium::state& st, bool warm,
                      reference& ref, double* node = nullptr) {
    namespace eq = mp::equilibrium;
    auto s = air.solve_T_rho(T, rho, st, warm);
    if (!eq::succeeded(s) && warm) s = air.solve_T_rho(T, rho, st, false);
    eq::properties pr;
    double mu = 0.0, lambda = 0.0;
    if (!eq::succeeded(s) || !air.evaluate(st, pr) || !eq::air::transport(pr.T, pr.x, mu, lambda)) {
        st.has_potentials = false;
        return false;
    }
    ref = {pr.p, pr.e, pr.gamma, pr.cp, mu, lambda, pr.sound_speed};
    if (node != nullptr) {
        const double v[CHypersonicBuiltInPG::kTableCountWithExponent] = {
            pr.e, pr.p, pr.gamma, pr.cp, pr.molar_mass, mu, lambda, pr.isentropic_exponent};
        std::copy(std::begin(v), std::end(v), node);
    }
    return true;
}

// Relative errors of the tables at (T, rho): against the engine, or below T_frozen against frozen
// air from the engine's state at (T_frozen, rho). st is the engine's start and receives the solved
// state.
point_error evaluate_point(const table_set& set, const mp::equilibrium::mixture& air, double T, double rho,
                           mp::equilibrium::state& st, bool warm) {
    point_error pe;
    pe.T = T;
    pe.rho = rho;
    reference ref;
    const double T_frozen = set.layout().T_frozen;
    if (T < T_frozen) {
        double anchor[CHypersonicBuiltInPG::kTableCountWithExponent];
        mp::equilibrium::state at_anchor;
        if (!engine_reference(air, T_frozen, rho, at_anchor, false, ref, anchor)) return pe;
        double v[CHypersonicBuiltInPG::kTableCountWithExponent];
        mp::hypersonic::frozen_air(anchor, T_frozen, T, v);
        ref = {v[CHypersonicBuiltInPG::kPressure],
               v[CHypersonicBuiltInPG::kEnergy],
               v[CHypersonicBuiltInPG::kGamma],
               v[CHypersonicBuiltInPG::kCp],
               v[CHypersonicBuiltInPG::kViscosity],
               v[CHypersonicBuiltInPG::kConductivity],
               std::sqrt(v[CHypersonicBuiltInPG::kIsentropicExponent] * v[CHypersonicBuiltInPG::kPressure] / rho)};
    } else if (!engine_reference(air, T, rho, st, warm, ref)) {
        return pe;
    }
    const mp::hypersonic::table_state t = set.at_T_rho(T, rho);
    pe.error[kP] = std::fabs(t.p - ref.p) / std::fabs(ref.p);
    pe.error[kE] = std::fabs(t.e - ref.e) / (std::fabs(ref.e) + kAirGasConstant * T);
    pe.error[kGammaQ] = std::fabs(t.gamma - ref.gamma) / std::fabs(ref.gamma);
    pe.error[kCpQ] = std::fabs(t.cp - ref.cp) / std::fabs(ref.cp);
    pe.error[kMuQ] = std::fabs(t.mu - ref.mu) / std::fabs(ref.mu);
    pe.error[kLambdaQ] = std::fabs(t.lambda - ref.lambda) / std::fabs(ref.lambda);
    pe.error[kSoundEq] = std::fabs(t.a_eq - ref.a_eq) / ref.a_eq;
    pe.error[kSoundModel] = std::fabs(t.a - ref.a_eq) / ref.a_eq;
    pe.solved = true;
    return pe;
}

// splitmix64: a small generator whose sequence is the same on every platform.
std::uint64_t next_random(std::uint64_t& s) {
    s += 0x9E3779B97F4A7C15ull;
    std::uint64_t z = s;
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
    return z ^ (z >> 31);
}
double unit_random(std::uint64_t& s) { return static_cast<double>(next_random(s) >> 11) * 0x1.0p-53; }

struct statistics {
    double max = 0.0;
    double sum_squares = 0.0;
    std::int64_t count = 0;
    double T_at_max = 0.0, rho_at_max = 0.0;
    void add(double e, double T, double rho) {
        if (e > max || count == 0) {
            max = e;
            T_at_max = T;
            rho_at_max = rho;
        }
        sum_squares += e * e;
        ++count;
    }
    double rms() const { return count > 0 ? std::sqrt(sum_squares / static_cast<double>(count)) : 0.0; }
};

// The blocks of the map: temperature ranges (split at T_frozen and at 1000, 3000, 6000 and
// 10000 K where they fall inside the tables) by density decades.
struct blocks {
    std::vector<double> T_edges;
    int first_decade = 0;  // exponent of the first decade's lower end
    int decades = 0;

    blocks(const table_layout& l, int first, int count) : first_decade(first), decades(count) {
        T_edges.push_back(l.T_min);
        for (const double edge : {l.T_frozen, 1000.0, 3000.0, 6000.0, 10000.0})
            if (edge > T_edges.back() && edge < l.T_max) T_edges.push_back(edge);
        T_edges.push_back(l.T_max);
    }
    int ranges() const { return static_cast<int>(T_edges.size()) - 1; }
    int range_of(double T) const {
        int r = 0;
        while (r + 1 < ranges() && T >= T_edges[std::size_t(r) + 1]) ++r;
        return r;
    }
    int decade_of(double rho) const {
        const int d = static_cast<int>(std::floor(std::log10(rho))) - first_decade;
        return std::clamp(d, 0, decades - 1);
    }
};

using block_map = std::vector<std::vector<double>>;  // [range][decade], largest error

// The largest errors of one or two quantities by block, in percent.
void print_map(const char* title, const blocks& b, const block_map& x, const block_map* y) {
    std::printf("\n%s\n", title);
    std::printf("%-15s", "T [K] \\ rho");
    for (int d = 0; d < b.decades; ++d) {
        char head[32];
        std::snprintf(head, sizeof head, "1e%d..1e%d", b.first_decade + d, b.first_decade + d + 1);
        std::printf(" %13s", head);
    }
    std::printf("\n");
    for (int r = 0; r < b.ranges(); ++r) {
        char row[32];
        std::snprintf(row, sizeof row, "%g-%g", b.T_edges[std::size_t(r)], b.T_edges[std::size_t(r) + 1]);
        std::printf("%-15s", row);
        for (int d = 0; d < b.decades; ++d) {
            char cell[48];
            const double a = 100.0 * x[std::size_t(r)][std::size_t(d)];
            if (y != nullptr)
                std::snprintf(cell, sizeof cell, "%.3f/%.3f", a, 100.0 * (*y)[std::size_t(r)][std::size_t(d)]);
            else
                std::snprintf(cell, sizeof cell, "%.3f", a);
            std::printf(" %13s", cell);
        }
        std::printf("\n");
    }
}

// Largest and RMS error of every quantity per temperature range and over all points, in percent.
void print_regions(const blocks& b, const std::vector<std::vector<statistics>>& by_range,
                   const std::vector<statistics>& total) {
    std::printf("\nlargest / RMS [%%] by temperature range\n%-15s", "T [K]");
    for (int q = 0; q < kQuantities; ++q) std::printf(" %15s", kQuantityNames[q]);
    std::printf("\n");
    const auto row = [](const char* name, const std::vector<statistics>& s) {
        std::printf("%-15s", name);
        for (int q = 0; q < kQuantities; ++q) {
            char cell[48];
            std::snprintf(cell, sizeof cell, "%.4f/%.4f", 100.0 * s[std::size_t(q)].max,
                          100.0 * s[std::size_t(q)].rms());
            std::printf(" %15s", cell);
        }
        std::printf("\n");
    };
    for (int r = 0; r < b.ranges(); ++r) {
        char name[32];
        std::snprintf(name, sizeof name, "%g-%g", b.T_edges[std::size_t(r)], b.T_edges[std::size_t(r) + 1]);
        row(name, by_range[std::size_t(r)]);
    }
    row("all", total);
}

// The figures of one set of points: block maps, regions, totals.
struct error_summary {
    blocks layout_blocks;
    std::vector<block_map> block;                   // [quantity]
    std::vector<std::vector<statistics>> by_range;  // [range][quantity]
    std::vector<statistics> total;                  // [quantity]
    std::int64_t unsolved = 0;

    explicit error_summary(const blocks& b)
        : layout_blocks(b),
          block(kQuantities, block_map(std::size_t(b.ranges()), std::vector<double>(std::size_t(b.decades), 0.0))),
          by_range(std::size_t(b.ranges()), std::vector<statistics>(kQuantities)),
          total(kQuantities) {}

    // In the order of the points, so the figures do not depend on the threads.
    void add_all(const std::vector<point_error>& points) {
        for (const point_error& pe : points) {
            if (!pe.solved) {
                ++unsolved;
                continue;
            }
            const int r = layout_blocks.range_of(pe.T);
            const int d = layout_blocks.decade_of(pe.rho);
            for (int q = 0; q < kQuantities; ++q) {
                total[std::size_t(q)].add(pe.error[q], pe.T, pe.rho);
                by_range[std::size_t(r)][std::size_t(q)].add(pe.error[q], pe.T, pe.rho);
                double& m = block[std::size_t(q)][std::size_t(r)][std::size_t(d)];
                m = std::max(m, pe.error[q]);
            }
        }
    }
};

// Decades of density below the tables that the map also samples.
constexpr int kDecadesBelow = 2;

bool error_map(const table_set& set, const char* what, int samples, std::uint64_t seed, int threads) {
    const auto started = std::chrono::steady_clock::now();
    const table_layout& l = set.layout();
    const mp::equilibrium::mixture air = mp::equilibrium::air::make_air();
    const int t_cells = l.n1 - 1;
    const int rho_cells = l.n2 - 1;
    const int columns = l.bands * rho_cells;
    const int per_cell = 1 + samples;
    std::vector<point_error> points(std::size_t(columns) * std::size_t(t_cells) * std::size_t(per_cell));

    // One column of cells (a band's density cell) per task, swept up in temperature from the
    // previous centre's composition; each sample starts from its cell's centre.
#pragma omp parallel for schedule(dynamic, 1) num_threads(threads)
    for (int c = 0; c < columns; ++c) {
        const CHypersonicBuiltInPG& g = set.band(c / rho_cells);
        const int j = c % rho_cells;
        const double rho0 = g.x2_node(j), rho1 = g.x2_node(j + 1);
        mp::equilibrium::state centre;
        bool warm = false;
        for (int i = 0; i < t_cells; ++i) {
            const double T0 = g.x1_node(i), T1 = g.x1_node(i + 1);
            const std::size_t cell = std::size_t(c) * std::size_t(t_cells) + std::size_t(i);
            point_error* out = &points[cell * std::size_t(per_cell)];
            out[0] = evaluate_point(set, air, std::sqrt(T0 * T1), 0.5 * (rho0 + rho1), centre, warm);
            warm = out[0].solved && out[0].T >= l.T_frozen;
            std::uint64_t random = seed * 0xD1B54A32D192ED03ull + cell;
            for (int s = 1; s < per_cell; ++s) {
                const double T = T0 * std::pow(T1 / T0, unit_random(random));
                const double rho = rho0 + (rho1 - rho0) * unit_random(random);
                mp::equilibrium::state st = centre;
                out[s] = evaluate_point(set, air, T, rho, st, warm);
            }
        }
    }

    // Below the tables: in every temperature cell the same number of points, at densities uniform
    // in ln rho over the kDecadesBelow decades below rho_low.
    std::vector<point_error> below(std::size_t(t_cells) * std::size_t(per_cell));
#pragma omp parallel for schedule(dynamic, 8) num_threads(threads)
    for (int i = 0; i < t_cells; ++i) {
        const CHypersonicBuiltInPG& g = set.band(0);
        const double T0 = g.x1_node(i), T1 = g.x1_node(i + 1);
        std::uint64_t random = ~(seed * 0xD1B54A32D192ED03ull) + std::uint64_t(i);
        for (int s = 0; s < per_cell; ++s) {
            const double T = T0 * std::pow(T1 / T0, unit_random(random));
            const double rho = l.rho_low * std::pow(10.0, -kDecadesBelow * (1.0 - unit_random(random)));
            mp::equilibrium::state st;
            below[std::size_t(i) * std::size_t(per_cell) + std::size_t(s)] =
                evaluate_point(set, air, T, rho, st, false);
        }
    }

    const int first_decade = static_cast<int>(std::floor(std::log10(l.rho_low) + 1e-9));
    const int last_decade = static_cast<int>(std::ceil(std::log10(l.rho_high()) - 1e-9));
    error_summary inside(blocks(l, first_decade, std::max(1, last_decade - first_decade)));
    inside.add_all(points);
    error_summary outside(blocks(l, first_decade - kDecadesBelow, kDecadesBelow));
    outside.add_all(below);
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();

    std::printf("error map of the %s tables (%d bands of %d x %d nodes, %d tables) against the equilibrium engine\n",
                what, static_cast<int>(l.bands), static_cast<int>(l.n1), static_cast<int>(l.n2),
                static_cast<int>(l.tables));
    std::printf("%lld cells, each at its centre", static_cast<long long>(columns) * t_cells);
    if (samples > 0) std::printf(" and %d random points (seed %llu)", samples, static_cast<unsigned long long>(seed));
    std::printf(
        ": %zu points; %zu more in the %d decades below the tables; %lld not solved by the engine; %.2f s on "
        "%d threads\n",
        points.size(), below.size(), kDecadesBelow, static_cast<long long>(inside.unsolved + outside.unsolved), seconds,
        threads);
    std::printf("relative errors in %%; e relative to |e| + R T with R = %g J/(kg K)\n", kAirGasConstant);
    if (l.T_frozen > l.T_min)
        std::printf(
            "below %g K the reference is frozen air from the engine's state at %g K (the tables' model "
            "there): the figures are interpolation errors only\n",
            l.T_frozen, l.T_frozen);
    if (!l.has_isentropic_exponent())
        std::printf("these tables hold no isentropic exponent: their a_eq is their a = sqrt(p gamma / rho)\n");
    const blocks& b = inside.layout_blocks;
    print_map("interpolation error, largest p / largest e [%]", b, inside.block[kP], &inside.block[kE]);
    print_map("interpolation error, largest gamma / largest cp [%]", b, inside.block[kGammaQ], &inside.block[kCpQ]);
    print_map("equilibrium sound speed, largest |sqrt(kappa p/rho) / a_equilibrium - 1| [%]", b, inside.block[kSoundEq],
              nullptr);
    print_map("model difference of the speed of sound, largest |sqrt(p gamma/rho) / a_equilibrium - 1| [%]", b,
              inside.block[kSoundModel], nullptr);
    print_regions(b, inside.by_range, inside.total);
    std::printf("\n%-8s %10s %10s   %s\n", "", "max [%]", "RMS [%]", "largest at");
    for (int q = 0; q < kQuantities; ++q)
        std::printf("%-8s %10.4f %10.4f   T = %.1f K, rho = %.4g kg/m3%s\n", kQuantityNames[q],
                    100.0 * inside.total[std::size_t(q)].max, 100.0 * inside.total[std::size_t(q)].rms(),
                    inside.total[std::size_t(q)].T_at_max, inside.total[std::size_t(q)].rho_at_max,
                    q == kSoundModel ? "  (model difference, not interpolation)" : "");

    std::printf("\nbelow the tables (%g to %g kg/m3): what the tables answer there against the engine\n",
                l.rho_low * std::pow(10.0, -kDecadesBelow), l.rho_low);
    const blocks& ob = outside.layout_blocks;
    print_map("largest p / largest e [%]", ob, outside.block[kP], &outside.block[kE]);
    print_map("largest gamma / largest a_eq [%]", ob, outside.block[kGammaQ], &outside.block[kSoundEq]);
    print_regions(ob, outside.by_range, outside.total);

    const auto& t = inside.total;
    std::printf(
        "\nsummary: max/RMS [%%] p %.4f/%.4f, e %.4f/%.4f, gamma %.4f/%.4f, cp %.4f/%.4f, a_eq %.4f/%.4f; "
        "a (model difference) %.3f/%.3f\n",
        100.0 * t[kP].max, 100.0 * t[kP].rms(), 100.0 * t[kE].max, 100.0 * t[kE].rms(), 100.0 * t[kGammaQ].max,
        100.0 * t[kGammaQ].rms(), 100.0 * t[kCpQ].max, 100.0 * t[kCpQ].rms(), 100.0 * t[kSoundEq].max,
        100.0 * t[kSoundEq].rms(), 100.0 * t[kSoundModel].max, 100.0 * t[kSoundModel].rms());
    return inside.unsolved == 0;
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app{"Computes, checks and maps the built-in equilibrium-air tables of the hypersonic medium"};
    std::string out = "equilibrium_air_tables.bin";
    std::string check_file;
    std::string tables_file;
    int threads = 2;
    bool map = false;
    int samples = 0;
    std::uint64_t seed = 1;
    auto* out_option = app.add_option("--out", out, "file to write the table record to");
    app.add_option("--threads", threads, "OpenMP threads")->check(CLI::Range(1, 256));
    app.add_option("--check", check_file,
                   "regenerate and compare with the record in this file (exit 1 when they differ)")
        ->check(CLI::ExistingFile);
    auto* map_option =
        app.add_flag("--error-map", map, "map the interpolation error of the tables against the equilibrium engine");
    app.add_option("--tables", tables_file, "table record to map instead of the built-in tables")
        ->check(CLI::ExistingFile)
        ->needs(map_option);
    app.add_option("--samples", samples, "random points per cell of the error map, besides its centre")
        ->check(CLI::Range(0, 1000))
        ->needs(map_option);
    app.add_option("--seed", seed, "seed of the random points")->needs(map_option);
    CLI11_PARSE(app, argc, argv);

    const bool write = out_option->count() > 0 || (check_file.empty() && !map);
    const bool make = write || !check_file.empty();
    int status = 0;

    table_set generated;
    if (make) {
        bool complete = false;
        if (!generate(mp::hypersonic::default_layout(), threads, generated, complete)) return 1;
        if (write && !write_tables(out, generated)) return 1;
        if (!complete) status = 1;
    }
    if (!check_file.empty()) {
        table_set stored;
        if (!read_tables(check_file, stored)) return 1;
        if (!compare_sets(generated, stored, check_file)) {
            std::printf("%s differs from a fresh generation\n", check_file.c_str());
            status = 1;
        } else {
            std::printf("%s agrees with a fresh generation\n", check_file.c_str());
        }
    }
    if (map) {
        const table_set* set = nullptr;
        table_set from_file;
        std::shared_ptr<const table_set> builtin;
        const char* what = "built-in";
        if (!tables_file.empty()) {
            if (!read_tables(tables_file, from_file)) return 1;
            set = &from_file;
            what = "given";
        } else if (make) {
            set = &generated;
            what = "generated";
        } else {
            builtin = mp::hypersonic::builtin_tables();
            if (!builtin) {
                std::fprintf(stderr, "mp-hypersonic-tables: this build carries no built-in tables\n");
                return 1;
            }
            set = builtin.get();
        }
        if (!error_map(*set, what, samples, seed, threads)) status = 1;
    }
    return status;
}
