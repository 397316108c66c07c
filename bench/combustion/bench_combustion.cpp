// Combustion: one equilibrium point of stoichiometric methane-air over the 53 GRI-Mech 3.0
// species (52 without argon in this air) at given (T, p), warm (from the neighbouring
// temperature's potentials, as a table column sweeps) and cold (from the reactants); a 64 x 64 x
// 32 chemistry table on two threads; and the combustible medium's get_properties_p_T and
// get_properties_p_H on that table.
#include <benchmark/benchmark.h>

#include <filesystem>
#include <memory>

#include "combustion/c_combustible_thermodynamics.h"
#include "combustion/cchempropertygenerator.h"
#include "medium_physics/standalone_host.h"

namespace {

using namespace mp::combustion;

std::shared_ptr<chemistry> methane_air() {
    stream fuel;
    fuel.add("CH4", 1.0);
    auto chem = std::make_shared<chemistry>();
    chemistry_error why;
    chem->set_up(fuel, air(), true, why);
    return chem;
}

void BM_methane_air_point_warm(benchmark::State& state) {
    const auto chem = methane_air();
    mp::equilibrium::mixture m;
    chem->mixture_at(chem->stoichiometric_mixture_fraction(), m);
    mp::equilibrium::state st;
    m.solve_T_p(2000.0, 1e5, st, false);
    int i = 0;
    for (auto _ : state) {
        // Alternate between neighbouring nodes of a 64-point column over 250..3500 K (51.6 K).
        const double T = (i++ & 1) != 0 ? 2000.0 : 2051.6;
        benchmark::DoNotOptimize(m.solve_T_p(T, 1e5, st, true));
    }
    state.counters["species"] = chem->species_count();
}
BENCHMARK(BM_methane_air_point_warm)->Unit(benchmark::kMicrosecond);

void BM_methane_air_point_cold(benchmark::State& state) {
    const auto chem = methane_air();
    mp::equilibrium::mixture m;
    chem->mixture_at(chem->stoichiometric_mixture_fraction(), m);
    for (auto _ : state) {
        mp::equilibrium::state st;
        benchmark::DoNotOptimize(m.solve_T_p(2200.0, 1e5, st, false));
    }
}
BENCHMARK(BM_methane_air_point_cold)->Unit(benchmark::kMicrosecond);

void BM_methane_air_table_64x64x32(benchmark::State& state) {
    const auto chem = methane_air();
    chem_generator_settings s{1e4, 1e7, 250.0, 3500.0};
    for (auto _ : state) {
        CChemPropertyGenerator g(chem, s, nullptr, static_cast<int>(state.range(0)));
        C_3d_Chem_property_PT table;
        benchmark::DoNotOptimize(g.generate(table, 64, 64, 32));
    }
}
BENCHMARK(BM_methane_air_table_64x64x32)->Arg(2)->Unit(benchmark::kSecond)->Iterations(1)->UseRealTime();

struct medium_setup {
    std::shared_ptr<C_combustible_thermodynamics_PT> medium;
    medium_setup() {
        // The table file goes to the temporary folder, not where the benchmark runs.
        standalone_host::set_product_directory(CHostString(std::filesystem::temp_directory_path().u16string()));
        mp::combustion::combustible_settings s;  // methane-air, 64 x 64 x 32, 1e4..1e7 Pa, 250..3500 K
        auto sub = std::make_shared<C_combustible_substance_PT>();
        host_guid id;
        guid_utils::BuildGUIDFromString(CHostString(u"0B7E4E0A-1C2D-4E5F-8A9B-0C1D2E3F4A5B"), id);
        sub->init(id, CHostString(u"bench"), s, nullptr);
        medium = C_combustible_thermodynamics_PT::create(sub, 0.0, 0);
    }
};

medium_setup& medium() {
    static medium_setup m;
    return m;
}

void BM_combustible_p_T(benchmark::State& state) {
    auto& m = *medium().medium;
    const double Y[1] = {0.05};
    double rho, h, cp, gamma, M, a, mu, lambda;
    double T = 1800.0;
    for (auto _ : state) {
        m.get_properties_p_T(2e5, T, Y, &rho, &h, &cp, &gamma, &M, &a, &mu, &lambda);
        benchmark::DoNotOptimize(rho);
        T = T > 2000.0 ? 1800.0 : T + 1.0;
    }
}
BENCHMARK(BM_combustible_p_T)->Unit(benchmark::kNanosecond);

void BM_combustible_p_H(benchmark::State& state) {
    auto& m = *medium().medium;
    const double Y[1] = {0.05};
    double rho, h, cp, gamma, M, a, mu, lambda, p;
    m.get_properties_p_T(2e5, 1900.0, Y, &rho, &h, &cp, &gamma, &M, &a, &mu, &lambda);
    double T = 0.0;
    for (auto _ : state) {
        m.get_properties_p_H(h, 2e5, Y, 0.0, 1880.0, &rho, &T, &cp, &gamma, &M, &a, &mu, &lambda, &p);
        benchmark::DoNotOptimize(T);
    }
}
BENCHMARK(BM_combustible_p_H)->Unit(benchmark::kNanosecond);

}  // namespace
