// The single-component gas (kind 13) over a CO2 table of 81 x 161 nodes (320..800 K, 0.05..200
// kg/m3) from the library's cubic equation of state: get_properties_rho_e, get_properties_p_T and
// get_properties_p_H through the medium's interfaces, at 1024 states spread over the table.
#include <benchmark/benchmark.h>

#include <any>
#include <cmath>
#include <memory>
#include <random>
#include <vector>

#include "medium_physics/standalone_host.h"
#include "real_gas/c_real_gas_substance.h"
#include "single_component/c_single_component_thermodynamics.h"
#include "single_component/sc_gas_builder.h"

namespace {

struct sc_setup {
    std::shared_ptr<C_single_component_thermodynamics_VT> medium;
    std::shared_ptr<I_solver__thermodynamics_Rho_E> rho_e;
    std::shared_ptr<I_solver__thermodynamics_P_H> p_h;
    double Y[1] = {1.0};
    static constexpr std::size_t kStates = 1024;  // a power of two: the index wraps by a mask
    std::vector<double> T, rho, e, p, h;

    sc_setup() {
        standalone_host::material_library library;
        library.add_directory(MP_SOURCE_DIR "/data/materials");
        std::any d = std::shared_ptr<I_real_gas_description>();
        library.find_material("CO2-real")->query_interface(d);
        CRGPropertyGenerator generator;
        rg_substance_parameters parameters;
        configure_rg_generator(*std::any_cast<std::shared_ptr<I_real_gas_description>>(d), CHostString(u"CO2"),
                               generator, parameters, nullptr);
        mp::single_component::sc_grid_request grid;
        grid.rho_min = 0.05;
        grid.rho_max = 200.0;
        grid.T_min = 320.0;
        grid.T_max = 800.0;
        auto table = std::make_shared<mp::single_component::sc_gas_table>();
        std::string why;
        mp::single_component::build_sc_gas_table(generator, parameters, CHostString(u"CO2"), host_guid{}, grid,
                                                 *table, why);
        auto gas = std::make_shared<C_single_component_gas_substance>();
        gas->init(table, nullptr);
        medium = C_single_component_thermodynamics_VT::create(gas);
        std::any a = std::shared_ptr<I_solver__thermodynamics_Rho_E>();
        std::any b = std::shared_ptr<I_solver__thermodynamics_P_H>();
        medium->query_interface(a);
        medium->query_interface(b);
        rho_e = std::any_cast<std::shared_ptr<I_solver__thermodynamics_Rho_E>>(a);
        p_h = std::any_cast<std::shared_ptr<I_solver__thermodynamics_P_H>>(b);
        // Uniform in T and ln rho; consecutive calls land in unrelated cells.
        std::mt19937_64 random(42);
        const auto unit = [&random] { return static_cast<double>(random() >> 11) * 0x1.0p-53; };
        for (std::size_t k = 0; k < kStates; ++k) {
            const double t = 320.0 + 480.0 * unit();
            const double r = 0.05 * std::pow(200.0 / 0.05, unit());
            mp::single_component::sc_state s;
            table->at_v_T(1.0 / r, t, s);
            T.push_back(t);
            rho.push_back(r);
            e.push_back(s.e);
            p.push_back(s.p);
            h.push_back(s.e + s.p / r);
        }
    }
};

sc_setup& setup() {
    static sc_setup s;
    return s;
}

void BM_ScGas_get_properties_rho_e(benchmark::State& state) {
    sc_setup& s = setup();
    std::size_t k = 0;
    for (auto _ : state) {
        double p, T, cp, gamma, M, a, mu, lambda;
        const std::size_t i = k++ & (sc_setup::kStates - 1);
        s.rho_e->get_properties_rho_e(s.e[i], s.rho[i], s.Y, 0.0, &p, &T, &cp, &gamma, &M, &a, &mu, &lambda);
        benchmark::DoNotOptimize(T);
        benchmark::DoNotOptimize(p);
    }
}
BENCHMARK(BM_ScGas_get_properties_rho_e);

void BM_ScGas_get_properties_p_T(benchmark::State& state) {
    sc_setup& s = setup();
    std::size_t k = 0;
    for (auto _ : state) {
        double rho, h, cp, gamma, M, a, mu, lambda;
        const std::size_t i = k++ & (sc_setup::kStates - 1);
        s.p_h->get_properties_p_T(s.p[i], s.T[i], s.Y, &rho, &h, &cp, &gamma, &M, &a, &mu, &lambda);
        benchmark::DoNotOptimize(rho);
    }
}
BENCHMARK(BM_ScGas_get_properties_p_T);

void BM_ScGas_get_properties_p_H(benchmark::State& state) {
    sc_setup& s = setup();
    std::size_t k = 0;
    for (auto _ : state) {
        double rho, T, cp, gamma, M, a, mu, lambda, p;
        const std::size_t i = k++ & (sc_setup::kStates - 1);
        // start 20 K from the answer
        s.p_h->get_properties_p_H(s.h[i], s.p[i], s.Y, 0.0, s.T[i] + 20.0, &rho, &T, &cp, &gamma, &M, &a, &mu,
                                  &lambda, &p);
        benchmark::DoNotOptimize(T);
    }
}
BENCHMARK(BM_ScGas_get_properties_p_H);

}  // namespace
