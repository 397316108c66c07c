// Liquid property operations on the built-in water/ethylene-glycol mixture (0.6/0.4 by mass), and
// the construction of a liquid substance from a 20-point density table.
#include <benchmark/benchmark.h>

#include <cmath>
#include <memory>
#include <algorithm>
#include <vector>

#include "liquid/c_inc_liquid.h"
#include "liquid/c_nn_viscosity_models.h"
#include "factory/c_medium_physics.h"
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

// The six viscosity laws, at shear rates spread over six decades.
template <class Law>
void run_law(benchmark::State& state, const Law& law) {
    double g[64];
    for (int i = 0; i < 64; ++i) g[i] = std::pow(10.0, -2.0 + 6.0 * ((i * 37) % 64) / 63.0);
    std::size_t i = 0;
    for (auto _ : state) benchmark::DoNotOptimize(law.viscosity(1e7, 500.0, g[i++ & 63]));
}

c_1d_param constant_param(double v) {
    c_1d_param p;
    p.set_constant(v);
    return p;
}

void BM_nn_carreau(benchmark::State& state) {
    CCarreauModel m;
    m.mu_zero = constant_param(0.056);
    m.mu_infinity = constant_param(0.00345);
    m.time_constant = constant_param(3.313);
    m.power_index = 0.3568;
    run_law(state, m);
}
BENCHMARK(BM_nn_carreau);

void BM_nn_cross_wlf(benchmark::State& state) {
    CCrossWLFModel m;
    m.A1 = 25.0;
    m.A2 = 51.6;
    m.D1 = 3.5e11;
    m.D2 = 263.15;
    m.D3 = 1.5e-7;
    m.tau_star = 3e4;
    m.power_index = 0.3;
    run_law(state, m);
}
BENCHMARK(BM_nn_cross_wlf);

void BM_nn_herschel_bulkley(benchmark::State& state) {
    CHershelBulkleyModel m;
    m.consistency = constant_param(0.5);
    m.yield_stress = constant_param(5.0);
    m.power_index = 0.6;
    run_law(state, m);
}
BENCHMARK(BM_nn_herschel_bulkley);

void BM_nn_power_law(benchmark::State& state) {
    CPowerLawModel m;
    m.consistency = constant_param(34.5);
    m.low_shear_limit = constant_param(38.9);
    m.high_shear_limit = constant_param(0.01);
    m.power_index = 0.576;
    m.use_low_shear_limit = m.use_high_shear_limit = true;
    run_law(state, m);
}
BENCHMARK(BM_nn_power_law);

void BM_nn_polynomial_regression(benchmark::State& state) {
    CPolynomialRegressionModel m;
    const double a[6] = {1.0, -0.3, 0.02, -0.01, 0.0005, 1e-6};
    std::copy(a, a + 6, m.a);
    run_law(state, m);
}
BENCHMARK(BM_nn_polynomial_regression);

void BM_nn_high_order_regression(benchmark::State& state) {
    CHightOrderPRModel m;
    m.mode = 2;
    const double a[10] = {2.0, -0.5, 0.05, 1e-3, 1e-5, 1e-6, 1e-7, 1e-8, 1e-9, 1e-3};
    std::copy(a, a + 10, m.a);
    m.row_T = {300.0, 700.0};
    m.row_length = {1, 1};
    m.row_shear = {1.0, 1.0};
    m.row_mu = {1.0, 1.0};
    m.prepare();
    run_law(state, m);
}
BENCHMARK(BM_nn_high_order_regression);

void BM_compressible_water_get_properties_p_H(benchmark::State& state) {
    static std::shared_ptr<I_medium_physics> factory;
    static std::shared_ptr<I_solver__thermodynamics_P_H> water;
    if (!water) {
        create_medium_physics(factory, std::make_shared<standalone_host::CStandaloneHost>());
        standalone_host::material_library library;
        library.add_file(std::string(MP_SOURCE_DIR) + "/data/materials/complex_liquids.json");
        fluid_ptr medium;
        standalone_host::create_medium(*factory, library, *library.find_medium("water-compressible"), true, medium);
        std::any a = std::shared_ptr<I_solver__thermodynamics_P_H>();
        medium->query_interface(a);
        water = std::any_cast<std::shared_ptr<I_solver__thermodynamics_P_H>>(a);
    }
    const double Y[1] = {1.0};
    std::vector<double> T, H;
    for (int i = 0; i < 256; ++i) {
        T.push_back(280.0 + 80.0 * ((i * 97) % 256) / 255.0);
        H.push_back(water->get_enthalpy(2e7, T.back(), Y));
    }
    double r[9];
    std::size_t i = 0;
    for (auto _ : state) {
        const std::size_t k = i++ & 255;
        water->get_properties_p_H(H[k], 2e7, Y, 0.0, T[k] + 5.0, &r[0], &r[1], &r[2], &r[3], &r[4], &r[5], &r[6],
                                  &r[7], &r[8]);
        benchmark::DoNotOptimize(r);
    }
}
BENCHMARK(BM_compressible_water_get_properties_p_H);

}  // namespace
