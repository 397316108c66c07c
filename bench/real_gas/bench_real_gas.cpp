// The cubic equation-of-state generator: one saturation point (equal-area bisection), one
// single-phase (p, T) property point, and the fill of one 101 x 101 table patch, for CO2 as
// Soave-Redlich-Kwong (Zc = 1/3, selector 3) with a CO2-like piecewise-linear cp0.
#include <benchmark/benchmark.h>

#include <cmath>
#include <vector>

#include "real_gas/crgpropertygenerator.h"

namespace {

// CO2 critical data as in data/thermo/critical_properties.json.
constexpr double kTc = 304.2, kPc = 7.39e6, kM = 0.04401, kOmega = 0.228;

CRGPropertyGenerator make_co2() {
    CRGPropertyGenerator g;
    g.set_substance(kTc, kPc, kM, 1.0 / 3.0, kOmega, 3);
    c_1d_param cp0;
    cp0.set_table(0.0, {200.0, 300.0, 400.0, 600.0, 1000.0}, {735.0, 846.0, 939.0, 1075.0, 1234.0});
    g.set_ideal_gas_cp(cp0);
    return g;
}

// Saturation points spread over 0.55 Tc .. 0.99 Tc, cycled.
void BM_binodal_pont(benchmark::State& state) {
    const CRGPropertyGenerator g = make_co2();
    std::vector<double> T;
    for (int i = 0; i < 45; ++i) T.push_back(kTc * (0.55 + 0.01 * i));
    std::size_t k = 0;
    for (auto _ : state) {
        double P, vl, vg;
        g.binodal_pont(T[k], P, vl, vg);
        benchmark::DoNotOptimize(P);
        benchmark::DoNotOptimize(vg);
        k = k + 1 == T.size() ? 0 : k + 1;
    }
}
BENCHMARK(BM_binodal_pont);

// Single-phase states over 1 bar .. 200 bar and 220 K .. 600 K, cycled.
void BM_state_pT(benchmark::State& state) {
    const CRGPropertyGenerator g = make_co2();
    std::vector<double> p, T;
    for (int i = 0; i < 16; ++i) {
        for (int j = 0; j < 16; ++j) {
            p.push_back(1e5 * std::pow(200.0, i / 15.0));
            T.push_back(220.0 + j * (380.0 / 15.0));
        }
    }
    std::size_t k = 0;
    for (auto _ : state) {
        rg_state s;
        g.state_pT(p[k], T[k], s);
        benchmark::DoNotOptimize(s);
        k = k + 1 == p.size() ? 0 : k + 1;
    }
}
BENCHMARK(BM_state_pT);

// One table patch: 101 x 101 nodes over ln p in [ln 1e5, ln 2e7] and T in [250 K, 450 K], on the
// host's thread count (1 unless set).
void BM_patch_fill(benchmark::State& state) {
    CRGPropertyGenerator g = make_co2();
    constexpr int n = 101;
    std::vector<double> buf[4];
    for (auto& b : buf) b.assign(n * n, 0.0);  // touched before timing
    double* const out[4] = {buf[0].data(), buf[1].data(), buf[2].data(), buf[3].data()};
    for (auto _ : state) {
        g.fill(std::log(1e5), std::log(2e7), n, 250.0, 450.0, n, out);
        benchmark::DoNotOptimize(buf[1].data());
    }
    state.SetItemsProcessed(state.iterations() * n * n);
}
BENCHMARK(BM_patch_fill)->Unit(benchmark::kMillisecond);

}  // namespace
