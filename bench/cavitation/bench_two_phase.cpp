// get_properties_p_T of the two-phase media beside their phases' own calls: the built-in
// air-water-vof (air over water, 30 % air by volume) against air and water, and water-cavitating
// against the compressible water it stands on, over 256 states (pressures 100 Pa to 1 MPa for the
// cavitating water, both sides of its vapour pressure; 1 to 3 bar and 280 to 370 K for the VOF).
#include <benchmark/benchmark.h>

#include <cmath>
#include <memory>
#include <string>
#include <vector>

#include "factory/c_medium_physics.h"
#include "medium_physics/standalone_host.h"

namespace {

struct medium {
    std::shared_ptr<I_solver__thermodynamics_P_H> p_h;
    std::vector<double> Y;
};

struct two_phase_setup {
    std::shared_ptr<I_medium_physics> factory;
    standalone_host::material_library library;
    medium vof, air, water, cavitating, tait;
    std::vector<double> p_vof, T_vof, p_cav;

    medium make(const std::string& name) {
        const auto def = library.find_medium(name);
        fluid_ptr m;
        standalone_host::create_medium(*factory, library, *def, true, m);
        std::any a = std::shared_ptr<I_solver__thermodynamics_P_H>();
        m->query_interface(a);
        return {std::any_cast<std::shared_ptr<I_solver__thermodynamics_P_H>>(a), def->mass_fractions};
    }

    two_phase_setup() {
        create_medium_physics(factory, std::make_shared<standalone_host::CStandaloneHost>());
        library.add_directory(std::string(MP_SOURCE_DIR) + "/data/materials");
        vof = make("air-water-vof");
        vof.Y[0] = 0.3;
        vof.Y[1] = 0.7;
        air = make("air");
        water = make("water");
        cavitating = make("water-cavitating");
        tait = make("water-compressible");
        for (int i = 0; i < 256; ++i) {
            const double s = ((i * 97) % 256) / 255.0;
            p_vof.push_back(1e5 + 2e5 * s);
            T_vof.push_back(280.0 + 90.0 * s);
            p_cav.push_back(100.0 * std::pow(1e4, s));
        }
    }
};

two_phase_setup& setup() {
    static two_phase_setup s;
    return s;
}

void run(benchmark::State& state, const medium& m, const std::vector<double>& p, const std::vector<double>& T) {
    double r[8];
    std::size_t i = 0;
    for (auto _ : state) {
        const std::size_t k = i++ & 255;
        m.p_h->get_properties_p_T(p[k], T[k], m.Y.data(), &r[0], &r[1], &r[2], &r[3], &r[4], &r[5], &r[6], &r[7]);
        benchmark::DoNotOptimize(r);
    }
}

void BM_vof_air_water_get_properties_p_T(benchmark::State& state) {
    run(state, setup().vof, setup().p_vof, setup().T_vof);
}
void BM_vof_phase_air_get_properties_p_T(benchmark::State& state) {
    run(state, setup().air, setup().p_vof, setup().T_vof);
}
void BM_vof_phase_water_get_properties_p_T(benchmark::State& state) {
    run(state, setup().water, setup().p_vof, setup().T_vof);
}
void BM_water_cavitating_get_properties_p_T(benchmark::State& state) {
    const std::vector<double> T(256, 293.15);
    run(state, setup().cavitating, setup().p_cav, T);
}
void BM_water_compressible_get_properties_p_T(benchmark::State& state) {
    const std::vector<double> T(256, 293.15);
    run(state, setup().tait, setup().p_cav, T);
}
BENCHMARK(BM_vof_air_water_get_properties_p_T);
BENCHMARK(BM_vof_phase_air_get_properties_p_T);
BENCHMARK(BM_vof_phase_water_get_properties_p_T);
BENCHMARK(BM_water_cavitating_get_properties_p_T);
BENCHMARK(BM_water_compressible_get_properties_p_T);

}  // namespace
