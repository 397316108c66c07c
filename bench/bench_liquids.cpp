// Liquid property operations on the built-in water/ethylene-glycol mixture (0.6/0.4 by mass), and
// the construction of a liquid substance from a 20-point density table.
#include <benchmark/benchmark.h>

#include <cmath>
#include <memory>
#include <vector>

#include "c_inc_liquid.h"
#include "c_medium_physics.h"
#include "medium_physics/standalone_host.h"

namespace {

struct liquid_setup {
    std::shared_ptr<I_medium_physics> factory;
    std::shared_ptr<I_solver__thermodynamics_P_H> p_h;
    std::vector<double> Y, T, H;

    liquid_setup() {
        create_medium_physics(factory, std::make_shared<standalone_host::CStandaloneHost>());
        standalone_host::material_library library;
        library.add_file(std::string(MP_SOURCE_DIR) + "/data/materials/liquids.json");
        const auto def = library.find_medium("water-glycol");
        fluid_ptr medium;
        standalone_host::create_medium(*factory, library, *def, true, medium);
        std::any a = std::shared_ptr<I_solver__thermodynamics_P_H>();
        medium->query_interface(a);
        p_h = std::any_cast<std::shared_ptr<I_solver__thermodynamics_P_H>>(a);
        Y = def->mass_fractions;
        for (int i = 0; i < 256; ++i) {
            T.push_back(280.0 + 90.0 * ((i * 97) % 256) / 255.0);
            H.push_back(p_h->get_enthalpy(2e5, T.back(), Y.data()));
        }
    }
};

liquid_setup& setup() {
    static liquid_setup s;
    return s;
}

void BM_liquid_get_properties_p_H(benchmark::State& state) {
    auto& s = setup();
    double r[9];
    std::size_t i = 0;
    for (auto _ : state) {
        const std::size_t k = i++ & 255;
        s.p_h->get_properties_p_H(s.H[k], 2e5, s.Y.data(), 0.0, s.T[k] + 5.0, &r[0], &r[1], &r[2], &r[3], &r[4], &r[5],
                                  &r[6], &r[7], &r[8]);
        benchmark::DoNotOptimize(r);
    }
}
BENCHMARK(BM_liquid_get_properties_p_H);

void BM_liquid_get_density(benchmark::State& state) {
    auto& s = setup();
    std::size_t i = 0;
    for (auto _ : state) benchmark::DoNotOptimize(s.p_h->get_density(2e5, s.T[i++ & 255], s.Y.data()));
}
BENCHMARK(BM_liquid_get_density);

// A description held in memory, so that only the substance's own work is timed.
struct memory_liquid final : I_liquid_description {
    host_property density;
    std::int32_t query_interface(std::any&) override { return MP_STATUS_UNSUPPORTED; }
    void get_name(CHostString& n) override { n = CHostString(u"bench liquid"); }
    void get_identifier(CHostString& id) override { id = CHostString(u"AB000000-0000-4000-8000-000000000001"); }
    void get_cp(host_property& p) override { p = host_property{4180.0, {}, {}}; }
    void get_viscosity(host_property& p) override { p = host_property{0.001, {}, {}}; }
    void get_conductivity(host_property& p) override { p = host_property{0.6, {}, {}}; }
    void get_density(host_property& p) override { p = density; }
    double get_scalar_a() override { return 0.0; }
    double get_reference_temperature() override { return 293.15; }
    double get_reference_pressure() override { return 101325.0; }
};

void BM_liquid_substance_from_20_density_points(benchmark::State& state) {
    memory_liquid d;
    d.density.constant = 1000.0;
    d.density.T = host_shared_array<double>(20);
    d.density.value = host_shared_array<double>(20);
    for (int i = 0; i < 20; ++i) {
        d.density.T[i] = 275.0 + 5.0 * i;
        d.density.value[i] = 1000.0 - 0.004 * (5.0 * i - 2.0) * (5.0 * i - 2.0);
    }
    for (auto _ : state) {
        C_incompressible_liquid_substance liquid;
        benchmark::DoNotOptimize(liquid.init(d, nullptr));
    }
}
BENCHMARK(BM_liquid_substance_from_20_density_points)->Unit(benchmark::kMicrosecond);

}  // namespace
