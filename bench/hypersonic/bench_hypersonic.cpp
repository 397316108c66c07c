// The hypersonic medium (equilibrium air) over the built-in tables: the four state operations a
// solver calls and the equilibrium speed of sound, through its interfaces, at 1024 states spread
// over 300..20000 K and 1e-5..50 kg/m3; and the generation of the whole table set by the
// equilibrium engine.
#include <benchmark/benchmark.h>

#include <any>
#include <cmath>
#include <cstdint>
#include <memory>
#include <random>
#include <vector>

#include "hypersonic/c_hypersonic_gas_thermodynamics.h"
#include "hypersonic/hypersonic_tables.h"

namespace {

struct hypersonic_setup {
    std::shared_ptr<C_hypersonic_gas_thermodynamics> medium;
    std::shared_ptr<I_solver__thermodynamics_Rho_E> rho_e;
    std::shared_ptr<I_solver__fluid_thermodynamics_common> common;
    std::shared_ptr<I_solver_equilibrium_sound_speed> sound;
    double Y[1] = {1.0};
    static constexpr std::size_t kStates = 1024;  // a power of two: the index wraps by a mask
    std::vector<double> T, rho, e, p, h;

    hypersonic_setup() {
        auto gas = std::make_shared<C_hypersonic_gas_substance>();
        gas->init(host_guid{}, CHostString(u"air"), mp::hypersonic::builtin_tables(), nullptr);
        medium = C_hypersonic_gas_thermodynamics::create(gas);
        std::any a = std::shared_ptr<I_solver__thermodynamics_Rho_E>();
        std::any b = std::shared_ptr<I_solver__fluid_thermodynamics_common>();
        std::any c = std::shared_ptr<I_solver_equilibrium_sound_speed>();
        medium->query_interface(a);
        medium->query_interface(b);
        medium->query_interface(c);
        rho_e = std::any_cast<std::shared_ptr<I_solver__thermodynamics_Rho_E>>(a);
        common = std::any_cast<std::shared_ptr<I_solver__fluid_thermodynamics_common>>(b);
        sound = std::any_cast<std::shared_ptr<I_solver_equilibrium_sound_speed>>(c);
        // States uniform in ln T and ln rho, their e, p and h from the tables themselves, so every
        // query has an answer inside the tables. Consecutive calls land in unrelated cells and bands.
        std::mt19937_64 random(42);
        const auto unit = [&random] { return static_cast<double>(random() >> 11) * 0x1.0p-53; };
        for (std::size_t k = 0; k < kStates; ++k) {
            const double t = 300.0 * std::pow(20000.0 / 300.0, unit());
            const double r = 1e-5 * std::pow(50.0 / 1e-5, unit());
            double v[8];
            gas->state_T_rho(t, r, v);  // e, p, a, gamma, cp, M, mu, lambda
            T.push_back(t);
            rho.push_back(r);
            e.push_back(v[0]);
            p.push_back(v[1]);
            h.push_back(v[0] + v[1] / r);
        }
    }
};

hypersonic_setup& setup() {
    static hypersonic_setup s;
    return s;
}

constexpr std::size_t kMask = hypersonic_setup::kStates - 1;

void BM_hypersonic_get_properties_rho_e(benchmark::State& state) {
    auto& s = setup();
    double r[8];
    std::size_t i = 0;
    for (auto _ : state) {
        const std::size_t k = i++ & kMask;
        s.rho_e->get_properties_rho_e(s.e[k], s.rho[k], s.Y, s.T[k], &r[0], &r[1], &r[2], &r[3], &r[4], &r[5], &r[6],
                                      &r[7]);
        benchmark::DoNotOptimize(r);
    }
}
BENCHMARK(BM_hypersonic_get_properties_rho_e);

void BM_hypersonic_get_properties_p_T(benchmark::State& state) {
    auto& s = setup();
    double r[8];
    std::size_t i = 0;
    for (auto _ : state) {
        const std::size_t k = i++ & kMask;
        s.common->get_properties_p_T(s.p[k], s.T[k], s.Y, &r[0], &r[1], &r[2], &r[3], &r[4], &r[5], &r[6], &r[7]);
        benchmark::DoNotOptimize(r);
    }
}
BENCHMARK(BM_hypersonic_get_properties_p_T);

void BM_hypersonic_get_properties_p_rho(benchmark::State& state) {
    auto& s = setup();
    double r[8];
    std::size_t i = 0;
    for (auto _ : state) {
        const std::size_t k = i++ & kMask;
        s.rho_e->get_properties_p_rho(s.p[k], s.rho[k], s.Y, 0.0, &r[0], &r[1], &r[2], &r[3], &r[4], &r[5], &r[6],
                                      &r[7]);
        benchmark::DoNotOptimize(r);
    }
}
BENCHMARK(BM_hypersonic_get_properties_p_rho);

// Started 5 % above the answer, as from a solver's previous iterate.
void BM_hypersonic_get_temperature_from_enthalpy(benchmark::State& state) {
    auto& s = setup();
    std::size_t i = 0;
    for (auto _ : state) {
        const std::size_t k = i++ & kMask;
        double T = s.common->get_temperature_from_enthalpy(s.h[k], s.p[k], s.Y, 0.0, 1.05 * s.T[k]);
        benchmark::DoNotOptimize(T);
    }
}
BENCHMARK(BM_hypersonic_get_temperature_from_enthalpy);

// The equilibrium speed of sound at (T, rho), as a solver asks for it after get_properties_rho_e,
// and at (e, rho), which searches T again.
void BM_hypersonic_equilibrium_sound_speed_T_rho(benchmark::State& state) {
    auto& s = setup();
    double a_eq = 0.0, kappa = 0.0;
    std::size_t i = 0;
    for (auto _ : state) {
        const std::size_t k = i++ & kMask;
        s.sound->get_equilibrium_sound_speed_T_rho(s.T[k], s.rho[k], s.Y, &a_eq, &kappa);
        benchmark::DoNotOptimize(a_eq);
        benchmark::DoNotOptimize(kappa);
    }
}
BENCHMARK(BM_hypersonic_equilibrium_sound_speed_T_rho);

void BM_hypersonic_equilibrium_sound_speed_rho_e(benchmark::State& state) {
    auto& s = setup();
    double a_eq = 0.0, kappa = 0.0;
    std::size_t i = 0;
    for (auto _ : state) {
        const std::size_t k = i++ & kMask;
        s.sound->get_equilibrium_sound_speed_rho_e(s.e[k], s.rho[k], s.Y, s.T[k], &a_eq, &kappa);
        benchmark::DoNotOptimize(a_eq);
        benchmark::DoNotOptimize(kappa);
    }
}
BENCHMARK(BM_hypersonic_equilibrium_sound_speed_rho_e);

// The built-in set from scratch: 44 bands x 5 density nodes x 313 temperatures (the engine above
// 200 K, frozen air below), on two threads (wall-clock time).
void BM_hypersonic_generate_tables(benchmark::State& state) {
    const auto layout = mp::hypersonic::default_layout();
    for (auto _ : state) {
        std::vector<std::shared_ptr<CHypersonicBuiltInPG>> bands;
        mp::hypersonic::generation_report report;
        const bool ok = mp::hypersonic::generate_equilibrium_air(layout, bands, 2, &report);
        if (!ok || report.failures != 0) state.SkipWithError("the generation failed");
        benchmark::DoNotOptimize(bands.data());
    }
    state.counters["points"] = static_cast<double>(std::int64_t(layout.bands) * layout.n2 * layout.n1);
}
BENCHMARK(BM_hypersonic_generate_tables)->Unit(benchmark::kSecond)->UseRealTime()->MinTime(2.0);

}  // namespace
