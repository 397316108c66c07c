// The chemical equilibrium engine on high-temperature air: microseconds per (T, rho) point
// started from the neighbouring point's composition (a table sweep along rho) and cold, per
// (T, p) point, and the properties of a solved point.
#include <benchmark/benchmark.h>

#include <cmath>
#include <vector>

#include "equilibrium/equilibrium_air.h"

namespace {

using namespace mp::equilibrium;

struct sweep {
    mixture air = air::make_air();
    std::vector<double> T, rho;
    sweep() {
        // 64 temperatures 300..20000 K x 32 densities 1e-6..10 kg/m3, visited row by row.
        for (int i = 0; i < 64; ++i)
            for (int k = 0; k < 32; ++k) {
                T.push_back(300.0 * std::pow(20000.0 / 300.0, i / 63.0));
                rho.push_back(1e-6 * std::pow(1e7, k / 31.0));
            }
    }
};

sweep& setup() {
    static sweep s;
    return s;
}

void BM_equilibrium_T_rho_warm(benchmark::State& state) {
    auto& s = setup();
    mp::equilibrium::state st;
    std::size_t i = 0;
    for (auto _ : state) {
        const std::size_t k = i++ % s.T.size();
        if (k % 32 == 0) s.air.solve_T_rho(s.T[k], s.rho[k], st, false);  // first of a row
        else s.air.solve_T_rho(s.T[k], s.rho[k], st, true);
        benchmark::DoNotOptimize(st.n[0]);
    }
}
BENCHMARK(BM_equilibrium_T_rho_warm);

void BM_equilibrium_T_rho_cold(benchmark::State& state) {
    auto& s = setup();
    mp::equilibrium::state st;
    std::size_t i = 0;
    for (auto _ : state) {
        const std::size_t k = i++ % s.T.size();
        s.air.solve_T_rho(s.T[k], s.rho[k], st, false);
        benchmark::DoNotOptimize(st.n[0]);
    }
}
BENCHMARK(BM_equilibrium_T_rho_cold);

void BM_equilibrium_T_p_warm(benchmark::State& state) {
    auto& s = setup();
    mp::equilibrium::state st;
    std::size_t i = 0;
    for (auto _ : state) {
        const std::size_t k = i++ % s.T.size();
        s.air.solve_T_p(s.T[k], s.rho[k] * 1e5, st, k % 32 != 0);
        benchmark::DoNotOptimize(st.n[0]);
    }
}
BENCHMARK(BM_equilibrium_T_p_warm);

void BM_equilibrium_properties(benchmark::State& state) {
    auto& s = setup();
    mp::equilibrium::state st;
    s.air.solve_T_rho(8000.0, 0.01, st, false);
    properties pr;
    for (auto _ : state) {
        s.air.evaluate(st, pr);
        benchmark::DoNotOptimize(pr.cp);
    }
}
BENCHMARK(BM_equilibrium_properties);

}  // namespace
