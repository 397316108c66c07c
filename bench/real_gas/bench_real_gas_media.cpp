// The real-gas media on pure CO2 (CO2-real, kind 5; CO2-two-phase, kind 6) with their tables
// filled ahead: single-phase states spread over 220..500 K and 0.1..20 MPa (none within 1 K of
// the saturation line), each inversion started 5 K from its answer; the two-phase (p, H) states
// at x from 0.05 to 0.95 over 225..300 K.
#include <benchmark/benchmark.h>

#include <any>
#include <cmath>
#include <memory>
#include <string>
#include <vector>

#include "factory/c_medium_physics.h"
#include "medium_physics/real_gas_state.h"
#include "medium_physics/standalone_host.h"

namespace {

struct co2_media {
    std::shared_ptr<I_medium_physics> factory;
    fluid_ptr pure, two_phase;
    std::shared_ptr<I_solver__thermodynamics_P_H> ph, ph2;
    std::shared_ptr<I_solver__thermodynamics_Rho_E> re;
    struct state { double p, T, h, rho, e; };
    std::vector<state> single;
    std::vector<std::pair<double, double>> dome;  // p, H

    co2_media() {
        create_medium_physics(factory, std::make_shared<standalone_host::CStandaloneHost>());
        standalone_host::material_library library;
        for (const char* f : {"gases.json", "real_gases.json", "real_gas_media.json"})
            library.add_file(std::string(MP_SOURCE_DIR) + "/data/materials/" + f);
        std::string why;
        standalone_host::create_medium(*factory, library, *library.find_medium("CO2-real"), false, pure, &why);
        standalone_host::create_medium(*factory, library, *library.find_medium("CO2-two-phase"), false, two_phase, &why);
        ph = get<I_solver__thermodynamics_P_H>(pure);
        ph2 = get<I_solver__thermodynamics_P_H>(two_phase);
        re = get<I_solver__thermodynamics_Rho_E>(pure);
        const auto rg = get<I_solver_real_gas>(pure);
        const auto rg2 = get<I_solver_real_gas>(two_phase);
        rg->fill_tables();
        rg2->fill_tables();
        const double one = 1.0;
        for (int i = 0; i < 32; ++i)
            for (int j = 0; j < 32; ++j) {
                const double p = 1e5 * std::pow(200.0, i / 31.0);
                const double T = 220.0 + 280.0 * j / 31.0;
                const double Ts = rg->get_saturation_temperature(p);
                if (Ts > 0.0 && std::fabs(T - Ts) < 1.0) continue;
                rg_point s;
                rg->get_state_p_T(p, T, &one, &s);
                single.push_back({p, T, s.h, s.rho, s.e});
            }
        for (int i = 0; i < 16; ++i)
            for (int j = 0; j < 8; ++j) {
                const double T = 225.0 + 75.0 * i / 15.0;
                const double p = rg2->get_saturation_pressure(T);
                rg_point l, v;
                rg2->get_state_p_T(p, T - 1e-3, &one, &l);
                rg2->get_state_p_T(p * (1 - 1e-6), T, &one, &v);
                dome.push_back({p, l.h + (0.05 + 0.9 * j / 7.0) * (v.h - l.h)});
            }
    }
    template <class I>
    static std::shared_ptr<I> get(const fluid_ptr& m) {
        std::any request = std::shared_ptr<I>();
        m->query_interface(request);
        return std::any_cast<std::shared_ptr<I>>(request);
    }
};

co2_media& media() {
    static co2_media m;
    return m;
}

const double kY[1] = {1.0};

void BM_real_gas_p_T_with_transport(benchmark::State& state) {
    auto& m = media();
    std::size_t k = 0;
    for (auto _ : state) {
        const auto& s = m.single[k];
        double r[8];
        m.ph->get_properties_p_T(s.p, s.T, kY, &r[0], &r[1], &r[2], &r[3], &r[4], &r[5], &r[6], &r[7]);
        benchmark::DoNotOptimize(r);
        k = k + 1 == m.single.size() ? 0 : k + 1;
    }
}
BENCHMARK(BM_real_gas_p_T_with_transport);

void BM_real_gas_p_H(benchmark::State& state) {
    auto& m = media();
    std::size_t k = 0;
    for (auto _ : state) {
        const auto& s = m.single[k];
        double r[9];
        m.ph->get_properties_p_H(s.h, s.p, kY, 0.0, s.T + 5.0, &r[0], &r[1], &r[2], &r[3], &r[4], &r[5], &r[6], &r[7],
                                 &r[8]);
        benchmark::DoNotOptimize(r);
        k = k + 1 == m.single.size() ? 0 : k + 1;
    }
}
BENCHMARK(BM_real_gas_p_H);

void BM_real_gas_rho_e(benchmark::State& state) {
    auto& m = media();
    std::size_t k = 0;
    for (auto _ : state) {
        const auto& s = m.single[k];
        double r[8];
        m.re->get_properties_rho_e(s.e, s.rho, kY, s.T + 5.0, &r[0], &r[1], &r[2], &r[3], &r[4], &r[5], &r[6], &r[7]);
        benchmark::DoNotOptimize(r);
        k = k + 1 == m.single.size() ? 0 : k + 1;
    }
}
BENCHMARK(BM_real_gas_rho_e);

void BM_real_gas_two_phase_p_H(benchmark::State& state) {
    auto& m = media();
    std::size_t k = 0;
    for (auto _ : state) {
        const auto& [p, H] = m.dome[k];
        double r[9];
        m.ph2->get_properties_p_H(H, p, kY, 0.0, 260.0, &r[0], &r[1], &r[2], &r[3], &r[4], &r[5], &r[6], &r[7], &r[8]);
        benchmark::DoNotOptimize(r);
        k = k + 1 == m.dome.size() ? 0 : k + 1;
    }
}
BENCHMARK(BM_real_gas_two_phase_p_H);

}  // namespace

namespace {

// Filling a fresh CO2-real table ahead (100 patches, each one's rows on the library's threads).
void BM_real_gas_fill_tables(benchmark::State& state) {
    standalone_host::material_library library;
    for (const char* f : {"gases.json", "real_gases.json"})
        library.add_file(std::string(MP_SOURCE_DIR) + "/data/materials/" + f);
    for (auto _ : state) {
        state.PauseTiming();
        std::shared_ptr<I_medium_physics> factory;
        create_medium_physics(factory, std::make_shared<standalone_host::CStandaloneHost>());
        fluid_ptr medium;
        std::string why;
        standalone_host::create_medium(*factory, library, *library.find_medium("CO2-real"), false, medium, &why);
        const auto rg = co2_media::get<I_solver_real_gas>(medium);
        state.ResumeTiming();
        benchmark::DoNotOptimize(rg->fill_tables());
    }
}
BENCHMARK(BM_real_gas_fill_tables)->Iterations(3)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
