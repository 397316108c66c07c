// The two-dimensional real-gas tables for CO2 (Soave-Redlich-Kwong, a CO2-like cp0) over
// 220..500 K and 0.1..20 MPa: a cage's value and value-with-derivatives lookups, a table lookup
// of the four properties through a created patch (the lock-free path), and the fill of one patch.
#include <benchmark/benchmark.h>

#include <cmath>
#include <memory>
#include <random>
#include <vector>

#include "tables/c_2d_property.h"
#include "tables/cage.h"
#include "real_gas/crgpropertygenerator.h"

namespace {

std::shared_ptr<CRGPropertyGenerator> make_co2() {
    auto g = std::make_shared<CRGPropertyGenerator>();
    g->set_substance(304.2, 7.39e6, 0.04401, 1.0 / 3.0, 0.228, 3);
    c_1d_param cp0;
    cp0.set_table(0.0, {200.0, 300.0, 400.0, 600.0, 1000.0}, {735.0, 846.0, 939.0, 1075.0, 1234.0});
    g->set_ideal_gas_cp(cp0);
    return g;
}

const double kX0 = std::log(1e5), kX1 = std::log(2e7), kY0 = 220.0, kY1 = 500.0;

// random points, cycled, so that the lookups do not run over one cache line
struct points {
    std::vector<double> x, y;
    points(double x0, double x1, double y0, double y1) {
        std::mt19937 rng(3);
        std::uniform_real_distribution<double> ux(x0, x1), uy(y0, y1);
        for (int i = 0; i < 1024; ++i) {
            x.push_back(ux(rng));
            y.push_back(uy(rng));
        }
    }
};

const Cage_uniform& co2_cage() {
    static const std::unique_ptr<Cage_uniform> cage = [] {
        auto c = std::make_unique<Cage_uniform>();
        auto g = make_co2();
        c->fill(*g, kX0, kX0 + 0.5, 350.0, 380.0);
        return c;
    }();
    return *cage;
}

void BM_cage_value(benchmark::State& state) {
    const Cage& cage = co2_cage();
    const points pts(kX0, kX0 + 0.5, 350.0, 380.0);
    std::size_t k = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(cage.value0(pts.x[k], pts.y[k]));
        k = (k + 1) & 1023;
    }
}
BENCHMARK(BM_cage_value);

// the four values and the four derivatives at one located cell
void BM_cage_values_and_derivatives(benchmark::State& state) {
    const Cage& cage = co2_cage();
    const points pts(kX0, kX0 + 0.5, 350.0, 380.0);
    std::size_t k = 0;
    for (auto _ : state) {
        const cage_cell c = cage.locate(pts.x[k], pts.y[k]);
        double out[4];
        cage.values(c, out);
        const double d[4] = {cage.derivative_x(0, c), cage.derivative_y(0, c), cage.derivative_x(1, c),
                             cage.derivative_y(1, c)};
        benchmark::DoNotOptimize(out);
        benchmark::DoNotOptimize(d);
        k = (k + 1) & 1023;
    }
}
BENCHMARK(BM_cage_values_and_derivatives);

// four properties through the table, every patch already made
void BM_table_lookup(benchmark::State& state) {
    static const std::unique_ptr<C_2d_RG_property_regular> table = [] {
        auto t = std::make_unique<C_2d_RG_property_regular>(make_co2(), kX0, kX1, kY0, kY1);
        t->fill_all();
        return t;
    }();
    const points pts(kX0, kX1, kY0, kY1);
    std::size_t k = 0;
    for (auto _ : state) {
        double out[4];
        table->lookup(pts.x[k], pts.y[k], out);
        benchmark::DoNotOptimize(out);
        k = (k + 1) & 1023;
    }
}
BENCHMARK(BM_table_lookup);

void BM_table_lookup_derivatives(benchmark::State& state) {
    static const std::unique_ptr<C_2d_RG_property_regular> table = [] {
        auto t = std::make_unique<C_2d_RG_property_regular>(make_co2(), kX0, kX1, kY0, kY1);
        t->fill_all();
        return t;
    }();
    const points pts(kX0, kX1, kY0, kY1);
    std::size_t k = 0;
    for (auto _ : state) {
        double out[4], d[4];
        table->lookup_derivatives(pts.x[k], pts.y[k], out, d);
        benchmark::DoNotOptimize(out);
        benchmark::DoNotOptimize(d);
        k = (k + 1) & 1023;
    }
}
BENCHMARK(BM_table_lookup_derivatives);

// one patch of the regular table, 101 x 101 nodes and the centre (the thread count of the
// library's settings: one unless the host set more)
void BM_patch_fill_uniform(benchmark::State& state) {
    const auto g = make_co2();
    for (auto _ : state) {
        Cage_uniform cage;
        cage.fill(*g, kX0, kX0 + 0.53, 304.0, 332.0);
        benchmark::DoNotOptimize(cage.node(0, 50, 50));
    }
}
BENCHMARK(BM_patch_fill_uniform)->Unit(benchmark::kMillisecond);

// the non-uniform kind adds the node placement (5 x 401 density samples)
void BM_patch_fill_nonuniform(benchmark::State& state) {
    const auto g = make_co2();
    for (auto _ : state) {
        Cage_nonuniform cage;
        cage.fill(*g, kX0 + 2.12, kX0 + 2.65, 276.0, 304.0);
        benchmark::DoNotOptimize(cage.node(0, 50, 50));
    }
}
BENCHMARK(BM_patch_fill_nonuniform)->Unit(benchmark::kMillisecond);

}  // namespace
