// The weighted sum of gray gases of Smith, Shen and Friedman (J. Heat Transfer 104 (1982) 602) and
// the radiation interfaces of the gas mixtures that carry it.
#include <gtest/gtest.h>

#include <any>
#include <cmath>
#include <memory>
#include <string>

#include "medium_physics/i_medium_physics.h"
#include "medium_physics/standalone_host.h"
#include "radiation/wsgg.h"

namespace {

using namespace mp::radiation;

constexpr double kAtm = 101325.0;
constexpr double kTight = 1e-12;  // relative: the same arithmetic in another order
constexpr double kHand = 1e-9;    // relative: hand sums of the published coefficients

// Weights at T = 1000 K, where a_i = b1 + b2 1e3 + b3 1e6 + b4 1e9 is a hand sum of the published
// coefficients (columns scaled by 1e-1, 1e-4, 1e-7, 1e-11 in the paper):
//   pw/pc = 1:  a1 = 0.5150 - 0.2303 + 0.09779 - 0.01494 = 0.36755
//               a2 = 0.07749 + 0.3399 - 0.2297 + 0.0377  = 0.22539
//               a3 = 0.1907 - 0.1824 + 0.05608 - 0.005122 = 0.059258
//   CO2 alone:  a1 = 0.04334 + 0.2620 - 0.1560 + 0.02565 = 0.17499
//               a2 = -0.04814 + 0.2822 - 0.1794 + 0.03274 = 0.0874
//               a3 = 0.05492 + 0.01087 - 0.0350 + 0.009123 = 0.039913
//   H2O alone:  a1 = 0.5977 - 0.5119 + 0.3042 - 0.05564 = 0.33436
//               a2 = 0.05677 + 0.3333 - 0.1967 + 0.02718 = 0.22055
//               a3 = 0.1800 - 0.2334 + 0.1008 - 0.01454 = 0.03286
struct published_set {
    const char* name;
    double x_h2o, x_co2;
    double kappa[3];  // 1/(atm m)
    double a1000[3];
};
const published_set kSets[] = {
    {"pw/pc = 1", 0.1, 0.1, {0.4303, 7.055, 178.1}, {0.36755, 0.22539, 0.059258}},
    {"CO2 alone", 0.0, 0.1, {0.3966, 15.64, 394.3}, {0.17499, 0.0874, 0.039913}},
    {"H2O alone", 0.1, 0.0, {0.4098, 6.325, 120.5}, {0.33436, 0.22055, 0.03286}},
};

TEST(Wsgg, PublishedCoefficientsAtTheirCompositions) {
    for (const auto& s : kSets) {
        wsgg_gray_gases g;
        ASSERT_EQ(wsgg_at(kAtm, 1000.0, s.x_h2o, s.x_co2, g), wsgg_status::ok) << s.name;
        const double path = s.x_h2o + s.x_co2;  // pw + pc in atm at 1 atm
        for (int i = 0; i < 3; ++i) {
            EXPECT_NEAR(g.k[i] / (s.kappa[i] * path), 1.0, kTight) << s.name << " gray gas " << i;
            EXPECT_NEAR(g.a[i] / s.a1000[i], 1.0, kHand) << s.name << " gray gas " << i;
        }
    }
}

// pw/pc = 2 at 1500 K: a_i by hand from the paper's coefficients,
//   a1 = 0.6508 - 0.83265 + 0.681525 - 0.18066375 = 0.31901125 (b1, b2 1500, b3 1500^2, b4 1500^3)
//   a2 = -0.02504 + 0.9168 - 0.87345 + 0.22032 = 0.23863
//   a3 = 0.2718 - 0.4677 + 0.274725 - 0.054405 = 0.02442
TEST(Wsgg, MethaneFlameRatioAt1500K) {
    wsgg_gray_gases g;
    ASSERT_EQ(wsgg_at(kAtm, 1500.0, 0.2, 0.1, g), wsgg_status::ok);
    const double a[3] = {0.31901125, 0.23863, 0.02442};
    const double kappa[3] = {0.4201, 6.516, 131.9};
    for (int i = 0; i < 3; ++i) {
        EXPECT_NEAR(g.a[i] / a[i], 1.0, kHand) << i;
        EXPECT_NEAR(g.k[i] / (kappa[i] * 0.3), 1.0, kTight) << i;
    }
}

// Between published compositions the coefficients follow the water share f = xw / (xw + xc)
// linearly: halfway between pw/pc = 1 (f = 1/2) and H2O alone lies pw/pc = 3 (f = 3/4 is 1/4 of the
// way from 2/3 to 1), and f = 7/12 halfway between 1/2 and 2/3 is pw/pc = 7/5.
TEST(Wsgg, InterpolatesInTheWaterShare) {
    wsgg_gray_gases lo, hi, mid;
    ASSERT_EQ(wsgg_at(kAtm, 1200.0, 0.1, 0.1, lo), wsgg_status::ok);
    ASSERT_EQ(wsgg_at(kAtm, 1200.0, 0.2, 0.1, hi), wsgg_status::ok);
    ASSERT_EQ(wsgg_at(kAtm, 1200.0, 0.7, 0.5, mid), wsgg_status::ok);  // f = 7/12
    for (int i = 0; i < 3; ++i) {
        EXPECT_NEAR(mid.a[i], 0.5 * (lo.a[i] + hi.a[i]), 1e-12) << i;
        // k scales with pw + pc: 0.2, 0.3 and 1.2 atm
        EXPECT_NEAR(mid.k[i] / 1.2, 0.5 * (lo.k[i] / 0.2 + hi.k[i] / 0.3), 1e-12 * mid.k[i]) << i;
    }
    // Continuous at a node: just beside pw/pc = 2 on either side.
    wsgg_gray_gases below, above;
    ASSERT_EQ(wsgg_at(kAtm, 1200.0, 0.2 - 1e-9, 0.1, below), wsgg_status::ok);
    ASSERT_EQ(wsgg_at(kAtm, 1200.0, 0.2 + 1e-9, 0.1, above), wsgg_status::ok);
    for (int i = 0; i < 3; ++i) EXPECT_NEAR(below.a[i], above.a[i], 1e-7) << i;
}

// The emissivity against values computed from the published coefficients with the model's own
// formula by hand (CO2 at 1000 K, pc L = 0.1 atm m):
//   eps = 0.17499 (1 - e^-0.03966) + 0.0874 (1 - e^-1.564) + 0.039913 (1 - e^-39.43)
//       = 0.17499 * 0.0388838 + 0.0874 * 0.790703 + 0.039913 = 0.115825
TEST(Wsgg, EmissivityOfCarbonDioxide) {
    wsgg_gray_gases g;
    ASSERT_EQ(wsgg_at(kAtm, 1000.0, 0.0, 0.1, g), wsgg_status::ok);
    constexpr double kFourDigits = 2e-4;  // the hand value carries about five digits
    EXPECT_NEAR(total_emissivity(g, 1.0) / 0.115825, 1.0, kFourDigits);
    EXPECT_NEAR(pressure_path_length(kAtm, 0.0, 0.1, 1.0), 0.1, 1e-15);
}

TEST(Wsgg, LimitsOfThePath) {
    wsgg_gray_gases g;
    ASSERT_EQ(wsgg_at(kAtm, 1400.0, 0.18, 0.09, g), wsgg_status::ok);
    const double kp = planck_mean_absorption(g);
    // Optically thin: eps = kappa_P L to first order in L.
    constexpr double L_thin = 1e-7;
    EXPECT_NEAR(total_emissivity(g, L_thin) / (kp * L_thin), 1.0, 1e-5);
    // Optically thick: every gray gas black, the clear gas still transparent.
    EXPECT_NEAR(total_emissivity(g, 1e6), g.a[0] + g.a[1] + g.a[2], 1e-12);
    EXPECT_LT(g.a[0] + g.a[1] + g.a[2], 1.0);
    EXPECT_EQ(total_emissivity(g, 0.0), 0.0);
    EXPECT_EQ(total_emissivity(g, -1.0), 0.0);
    // Emissivity rises with the path.
    EXPECT_LT(total_emissivity(g, 0.1), total_emissivity(g, 1.0));
}

TEST(Wsgg, PressureAndTemperatureRange) {
    wsgg_gray_gases one, two, hot, edge, cold, low_edge;
    ASSERT_EQ(wsgg_at(kAtm, 1200.0, 0.1, 0.1, one), wsgg_status::ok);
    ASSERT_EQ(wsgg_at(2.0 * kAtm, 1200.0, 0.1, 0.1, two), wsgg_status::ok);
    for (int i = 0; i < 3; ++i) {
        EXPECT_NEAR(two.k[i], 2.0 * one.k[i], 1e-12 * two.k[i]);  // partial pressures double
        EXPECT_EQ(two.a[i], one.a[i]);
    }
    // The weights are held at the ends of the fit, 600 and 2400 K.
    ASSERT_EQ(wsgg_at(kAtm, 3500.0, 0.1, 0.1, hot), wsgg_status::ok);
    ASSERT_EQ(wsgg_at(kAtm, kWsggTmax, 0.1, 0.1, edge), wsgg_status::ok);
    ASSERT_EQ(wsgg_at(kAtm, 300.0, 0.1, 0.1, cold), wsgg_status::ok);
    ASSERT_EQ(wsgg_at(kAtm, kWsggTmin, 0.1, 0.1, low_edge), wsgg_status::ok);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(hot.a[i], edge.a[i]);
        EXPECT_EQ(cold.a[i], low_edge.a[i]);
        EXPECT_GT(edge.a[i], 0.0);
    }
}

TEST(Wsgg, RefusesWhatIsNotAState) {
    wsgg_gray_gases g;
    EXPECT_EQ(wsgg_at(kAtm, 1200.0, 0.0, 0.0, g), wsgg_status::no_absorber);
    EXPECT_EQ(wsgg_at(kAtm, 1200.0, -0.1, -0.2, g), wsgg_status::no_absorber);
    EXPECT_EQ(wsgg_at(kAtm, std::nan(""), 0.1, 0.1, g), wsgg_status::bad_input);
    EXPECT_EQ(wsgg_at(-1.0, 1200.0, 0.1, 0.1, g), wsgg_status::bad_input);
    EXPECT_EQ(wsgg_at(kAtm, 0.0, 0.1, 0.1, g), wsgg_status::bad_input);
    EXPECT_EQ(wsgg_at(kAtm, 1200.0, INFINITY, 0.1, g), wsgg_status::bad_input);
    EXPECT_EQ(planck_mean_absorption(g), 0.0);
}

TEST(Wsgg, RecognisesAbsorbersByNameAndMolarMass) {
    EXPECT_EQ(absorber_of("CO2", 0.04401), absorber::co2);
    EXPECT_EQ(absorber_of("h2o", 0.018015), absorber::h2o);
    EXPECT_EQ(absorber_of("H2O", 0.020), absorber::none);  // heavy water is another absorber
    EXPECT_EQ(absorber_of("CO", 0.02801), absorber::none);
    EXPECT_EQ(absorber_of("CO2-real", 0.04401), absorber::none);
    EXPECT_EQ(absorber_of(nullptr, 0.04401), absorber::none);
}

// ---- the gas mixtures ----------------------------------------------------------------------------

struct radiating_media : ::testing::Test {
    std::shared_ptr<I_medium_physics> factory;
    standalone_host::material_library library;
    void SetUp() override {
        ASSERT_EQ(create_medium_physics(factory, std::make_shared<standalone_host::CStandaloneHost>()), MP_STATUS_OK);
        library.add_directory(MP_SOURCE_DIR "/data/materials");
    }
    fluid_ptr make(const std::string& name) {
        fluid_ptr medium;
        std::string why;
        EXPECT_EQ(standalone_host::create_medium(*factory, library, *library.find_medium(name), false, medium, &why),
                  MP_STATUS_OK)
            << why;
        return medium;
    }
};

// combustion-products: N2 0.70, O2 0.15, CO2 0.08, H2O 0.06, Ar 0.01 by mass. Its mole fractions
// by hand with M = 28.0134, 31.9988, 44.0095, 18.01528, 39.948 g/mol (data/materials/gases.json):
//   n = 0.70/28.0134 + 0.15/31.9988 + 0.08/44.0095 + 0.06/18.0153 + 0.01/39.948
//     = 0.0249880 + 0.00468768 + 0.00181779 + 0.00333050 + 0.000250325 = 0.0350743 mol/g
//   x_CO2 = 0.00181779 / 0.0350743 = 0.0518268, x_H2O = 0.00333050 / 0.0350743 = 0.0949556
TEST_F(radiating_media, CombustionProductsAnswerTheirGrayGases) {
    const fluid_ptr medium = make("combustion-products");
    ASSERT_TRUE(medium);
    const auto props = medium->get_radiation_properties();
    ASSERT_TRUE(props);
    auto gray = std::dynamic_pointer_cast<FluidRadProp::I_gray_gas_radiation>(props);
    ASSERT_TRUE(gray);
    std::any request = std::shared_ptr<FluidRadProp::I_gray_gas_radiation>();
    ASSERT_EQ(medium->query_interface(request), MP_STATUS_OK);

    const double Y[5] = {0.70, 0.15, 0.08, 0.06, 0.01};
    const double p = 2.0 * kAtm, T = 1800.0;
    wsgg_gray_gases expected;
    ASSERT_EQ(wsgg_at(p, T, 0.0949556, 0.0518268, expected), wsgg_status::ok);
    constexpr double kMoleFractionDigits = 2e-6;  // the hand mole fractions carry six digits
    double k[FluidRadProp::kMaxGrayGases] = {}, a[FluidRadProp::kMaxGrayGases] = {};
    ASSERT_EQ(gray->get_gray_gases(p, T, Y, k, a), 3);
    for (int i = 0; i < 3; ++i) {
        EXPECT_NEAR(k[i] / expected.k[i], 1.0, kMoleFractionDigits) << i;
        EXPECT_NEAR(a[i] / expected.a[i], 1.0, kMoleFractionDigits) << i;
    }
    EXPECT_EQ(k[3], 0.0);  // the fourth place stays untouched
    EXPECT_NEAR(props->get_radiation_value(p, T, Y) / planck_mean_absorption(expected), 1.0, kMoleFractionDigits);
    EXPECT_NEAR(gray->get_emissivity(p, T, Y, 0.5) / total_emissivity(expected, 0.5), 1.0, kMoleFractionDigits);

    // Without absorbers at these mass fractions: transparent.
    const double Y_air[5] = {0.77, 0.23, 0.0, 0.0, 0.0};
    EXPECT_EQ(props->get_radiation_value(p, T, Y_air), 0.0);
    EXPECT_EQ(gray->get_gray_gases(p, T, Y_air, k, a), 0);
    EXPECT_EQ(props->get_radiation_value(p, std::nan(""), Y), 0.0);
}

TEST_F(radiating_media, MediaWithoutCarbonDioxideOrWaterHaveNone) {
    const fluid_ptr air = make("air");
    ASSERT_TRUE(air);
    EXPECT_FALSE(air->get_radiation_properties());
    const fluid_ptr water_vapour = make("H2O");  // a material as a one-substance medium
    ASSERT_TRUE(water_vapour);
    EXPECT_TRUE(water_vapour->get_radiation_properties());
}

}  // namespace
