// Gas property operations on the built-in combustion-products mixture (N2/O2/CO2/H2O/Ar with
// 117-point cp tables), start temperatures 50 K away from the answer, and the table lookups
// beneath them.
#include <benchmark/benchmark.h>

#include <cmath>
#include <memory>
#include <vector>

#include "tables/c_1d_param.h"
#include "factory/c_medium_physics.h"
#include "medium_physics/standalone_host.h"

namespace {

struct gas_setup {
    std::shared_ptr<I_medium_physics> factory;
    std::shared_ptr<I_solver__thermodynamics_P_H> p_h;
    std::shared_ptr<I_solver__thermodynamics_Rho_E> rho_e;
    std::vector<double> Y;
    std::vector<double> T, h, e;

    gas_setup() {
        create_medium_physics(factory, std::make_shared<standalone_host::CStandaloneHost>());
        standalone_host::material_library library;
        library.add_file(std::string(MP_SOURCE_DIR) + "/data/materials/gases.json");
        const auto def = library.find_medium("combustion-products");
        fluid_ptr medium;
        standalone_host::create_medium(*factory, library, *def, true, medium);
        std::any a = std::shared_ptr<I_solver__thermodynamics_P_H>();
        std::any b = std::shared_ptr<I_solver__thermodynamics_Rho_E>();
        medium->query_interface(a);
        medium->query_interface(b);
        p_h = std::any_cast<std::shared_ptr<I_solver__thermodynamics_P_H>>(a);
        rho_e = std::any_cast<std::shared_ptr<I_solver__thermodynamics_Rho_E>>(b);
        Y = def->mass_fractions;
        const double R = 8.3144 * (0.70 / 0.0280134 + 0.15 / 0.0319988 + 0.08 / 0.0440095 + 0.06 / 0.0180153 +
                                   0.01 / 0.039948);
        // 256 states spread over 300..3000 K, visited in a scrambled order.
        for (int i = 0; i < 256; ++i) {
            const double t = 300.0 + 2700.0 * ((i * 97) % 256) / 255.0;
            T.push_back(t);
            h.push_back(p_h->get_enthalpy(1e5, t, Y.data()));
            e.push_back(h.back() - R * t);
        }
    }
};

gas_setup& setup() {
    static gas_setup s;
    return s;
}

void BM_get_properties_p_H(benchmark::State& state) {
    auto& s = setup();
    double r[9];
    std::size_t i = 0;
    for (auto _ : state) {
        const std::size_t k = i++ & 255;
        s.p_h->get_properties_p_H(s.h[k], 1e5, s.Y.data(), 0.0, s.T[k] + 50.0, &r[0], &r[1], &r[2], &r[3], &r[4], &r[5],
                                  &r[6], &r[7], &r[8]);
        benchmark::DoNotOptimize(r);
    }
}
BENCHMARK(BM_get_properties_p_H);

void BM_get_properties_rho_e(benchmark::State& state) {
    auto& s = setup();
    double r[8];
    std::size_t i = 0;
    for (auto _ : state) {
        const std::size_t k = i++ & 255;
        s.rho_e->get_properties_rho_e(s.e[k], 1.0, s.Y.data(), s.T[k] + 50.0, &r[0], &r[1], &r[2], &r[3], &r[4], &r[5],
                                      &r[6], &r[7]);
        benchmark::DoNotOptimize(r);
    }
}
BENCHMARK(BM_get_properties_rho_e);

// No start value: the iteration always starts at 300 K.
void BM_get_T_p_h(benchmark::State& state) {
    auto& s = setup();
    std::size_t i = 0;
    for (auto _ : state) {
        const std::size_t k = i++ & 255;
        benchmark::DoNotOptimize(s.p_h->get_T_p_h(1e5, s.h[k], s.Y.data()));
    }
}
BENCHMARK(BM_get_T_p_h);

void BM_get_properties_p_T(benchmark::State& state) {
    auto& s = setup();
    double r[8];
    std::size_t i = 0;
    for (auto _ : state) {
        const std::size_t k = i++ & 255;
        s.p_h->get_properties_p_T(1e5, s.T[k], s.Y.data(), &r[0], &r[1], &r[2], &r[3], &r[4], &r[5], &r[6], &r[7]);
        benchmark::DoNotOptimize(r);
    }
}
BENCHMARK(BM_get_properties_p_T);

// A 117-point table, uniform (constant-time index) or with one point moved (binary search).
c_1d_param& param(bool uniform) {
    static c_1d_param searched, indexed;
    static bool ready = false;
    if (!ready) {
        for (int u = 0; u < 2; ++u) {
            std::vector<double> T, v;
            for (int i = 0; i < 117; ++i) {
                T.push_back(200.0 + 50.0 * i + (u == 0 && i == 60 ? 1.0 : 0.0));
                v.push_back(1000.0 + 0.2 * T.back() - 1e-5 * T.back() * T.back());
            }
            c_1d_param& p = u == 0 ? searched : indexed;
            p.set_table(0.0, T, v);
            p.prepare_integral();
        }
        ready = true;
    }
    return uniform ? indexed : searched;
}

std::vector<double> lookup_temperatures() {
    std::vector<double> T;
    for (int i = 0; i < 1024; ++i) T.push_back(210.0 + 5780.0 * ((i * 389) % 1024) / 1023.0);
    return T;
}

void BM_param_value(benchmark::State& state) {
    const c_1d_param& p = param(state.range(0) != 0);
    const auto T = lookup_temperatures();
    std::size_t i = 0;
    for (auto _ : state) benchmark::DoNotOptimize(p.value(T[i++ & 1023]));
}
BENCHMARK(BM_param_value)->Arg(0)->Arg(1)->ArgName("uniform");

void BM_param_integral(benchmark::State& state) {
    const c_1d_param& p = param(state.range(0) != 0);
    const auto T = lookup_temperatures();
    std::size_t i = 0;
    for (auto _ : state) benchmark::DoNotOptimize(p.integral(T[i++ & 1023]));
}
BENCHMARK(BM_param_integral)->Arg(0)->Arg(1)->ArgName("uniform");

void BM_param_value_and_integral(benchmark::State& state) {
    const c_1d_param& p = param(state.range(0) != 0);
    const auto T = lookup_temperatures();
    std::size_t i = 0;
    double v = 0, I = 0;
    for (auto _ : state) {
        p.value_and_integral(T[i++ & 1023], v, I);
        benchmark::DoNotOptimize(v);
        benchmark::DoNotOptimize(I);
    }
}
BENCHMARK(BM_param_value_and_integral)->Arg(0)->Arg(1)->ArgName("uniform");

}  // namespace
