// The radiation value (Planck-mean absorption coefficient) of the built-in combustion products and
// the gray gases alone, at 1024 states over 300..2500 K and 0.5..5 atm with varying water shares.
#include <benchmark/benchmark.h>

#include <any>
#include <memory>
#include <random>
#include <vector>

#include "medium_physics/i_medium_physics.h"
#include "medium_physics/standalone_host.h"
#include "radiation/wsgg.h"

namespace {

struct radiation_setup {
    std::shared_ptr<I_medium_physics> factory;
    fluid_ptr medium;
    std::shared_ptr<FluidRadProp::I_radiation_properties> props;
    static constexpr std::size_t kStates = 1024;
    std::vector<double> p, T, Y, xw, xc;  // Y: five mass fractions per state

    radiation_setup() {
        create_medium_physics(factory, std::make_shared<standalone_host::CStandaloneHost>());
        standalone_host::material_library library;
        library.add_directory(MP_SOURCE_DIR "/data/materials");
        standalone_host::create_medium(*factory, library, *library.find_medium("combustion-products"), false, medium);
        props = medium->get_radiation_properties();
        std::mt19937_64 random(42);
        const auto unit = [&random] { return static_cast<double>(random() >> 11) * 0x1.0p-53; };
        for (std::size_t k = 0; k < kStates; ++k) {
            p.push_back(0.5e5 + 4.5e5 * unit());
            T.push_back(300.0 + 2200.0 * unit());
            const double co2 = 0.02 + 0.15 * unit(), h2o = 0.02 + 0.12 * unit();
            for (const double y : {0.72 - co2 - h2o + 0.14, 0.13, co2, h2o, 0.01}) Y.push_back(y);
            xw.push_back(0.2 * unit());
            xc.push_back(0.12 * unit());
        }
    }
};

radiation_setup& setup() {
    static radiation_setup s;
    return s;
}

void BM_Radiation_value_of_combustion_products(benchmark::State& state) {
    radiation_setup& s = setup();
    std::size_t k = 0;
    for (auto _ : state) {
        const std::size_t i = k++ & (radiation_setup::kStates - 1);
        benchmark::DoNotOptimize(s.props->get_radiation_value(s.p[i], s.T[i], &s.Y[5 * i]));
    }
}
BENCHMARK(BM_Radiation_value_of_combustion_products);

void BM_Radiation_wsgg_gray_gases(benchmark::State& state) {
    radiation_setup& s = setup();
    std::size_t k = 0;
    for (auto _ : state) {
        const std::size_t i = k++ & (radiation_setup::kStates - 1);
        mp::radiation::wsgg_gray_gases g;
        mp::radiation::wsgg_at(s.p[i], s.T[i], s.xw[i], s.xc[i], g);
        benchmark::DoNotOptimize(g);
    }
}
BENCHMARK(BM_Radiation_wsgg_gray_gases);

}  // namespace
