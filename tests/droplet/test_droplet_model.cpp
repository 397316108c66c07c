// The droplet model that CreateDropletModel builds around the host's droplet data: water droplets in
// the built-in air, against published water data and a hand calculation of the film theory.
#include <gtest/gtest.h>

#include <any>
#include <cmath>
#include <memory>
#include <string>

#include "medium_physics/droplet.h"
#include "medium_physics/i_medium_physics.h"
#include "medium_physics/standalone_host.h"

namespace {

// Water: M, normal boiling point and latent heat there (2257 kJ/kg), critical temperature (IAPWS);
// Antoine coefficients of Stull (Ind. Eng. Chem. 39 (1947) 517, as given by the NIST Chemistry
// WebBook for 255.9..373 K: A = 4.6543, B = 1435.264, C = -64.848 for p in bar), A + 5 for Pa; the
// diffusivity of water vapour in air at 298 K and 1 atm, 0.26e-4 m2/s (Incropera and DeWitt,
// Fundamentals of Heat and Mass Transfer, Table A.8).
droplet_liquid water() {
    droplet_liquid w;
    w.molar_mass = 0.018015;
    w.boiling_temperature = 373.15;
    w.latent_heat = 2.257e6;
    w.critical_temperature = 647.096;
    w.antoine_A = 9.6543;
    w.antoine_B = 1435.264;
    w.antoine_C = -64.848;
    w.diffusivity = 2.6e-5;
    w.diffusivity_T = 298.15;
    return w;
}

struct spray_data final : IHostDropletData {
    std::shared_ptr<I_solver__fluid_thermodynamics_common> gas, liquid;
    droplet_liquid data = water();
    std::int32_t query_interface(std::any&) override { return MP_STATUS_UNSUPPORTED; }
    std::int32_t get_droplet_class_count() const noexcept override { return 2; }
    // class 0 water; class 1 has no data
    bool get_droplet_liquid(std::int32_t i, droplet_liquid& out) const noexcept override {
        if (i != 0) return false;
        out = data;
        return true;
    }
    std::shared_ptr<I_solver__fluid_thermodynamics_common> get_liquid_medium(std::int32_t) const override {
        return liquid;
    }
    std::shared_ptr<I_solver__fluid_thermodynamics_common> get_gas_medium() const override { return gas; }
    std::int32_t get_vapour_index(std::int32_t i) const noexcept override { return i == 0 ? 3 : -1; }
};

struct droplet_fixture : ::testing::Test {
    std::shared_ptr<I_medium_physics> factory;
    standalone_host::material_library library;
    std::shared_ptr<spray_data> data = std::make_shared<spray_data>();
    std::shared_ptr<I_droplet_model> model;

    template <class I>
    std::shared_ptr<I> make(const std::string& name) {
        fluid_ptr medium;
        EXPECT_EQ(standalone_host::create_medium(*factory, library, *library.find_medium(name), false, medium),
                  MP_STATUS_OK);
        std::any request = std::shared_ptr<I>();
        EXPECT_EQ(medium->query_interface(request), MP_STATUS_OK);
        return std::any_cast<std::shared_ptr<I>>(request);
    }
    void SetUp() override {
        ASSERT_EQ(create_medium_physics(factory, std::make_shared<standalone_host::CStandaloneHost>()), MP_STATUS_OK);
        library.add_directory(MP_SOURCE_DIR "/data/materials");
        // The carrier: combustion-products' substances (N2, O2, CO2, H2O, Ar), water vapour at index 3.
        data->gas = make<I_solver__fluid_thermodynamics_common>("combustion-products");
        data->liquid = make<I_solver__fluid_thermodynamics_common>("water");
        auto host = std::make_shared<standalone_host::CStandaloneHost>();
        host->set_droplet_data(data);
        std::shared_ptr<IHostUnknown> object;
        ASSERT_EQ(factory->CreateDropletModel(host, object), MP_STATUS_OK);
        ASSERT_TRUE(object);
        std::any request = std::shared_ptr<I_droplet_model>();
        ASSERT_EQ(object->query_interface(request), MP_STATUS_OK);
        model = std::any_cast<std::shared_ptr<I_droplet_model>>(request);
    }
};

// Saturation pressure of water: 3536.8 Pa at 300 K and 41.682 kPa at 350 K (Wagner and Pruss,
// J. Phys. Chem. Ref. Data 31 (2002) 387); Stull's fit is good to 0.5 % there.
TEST_F(droplet_fixture, SaturationPressureOfWater) {
    constexpr double kFit = 5e-3;
    EXPECT_NEAR(model->get_saturation_pressure(0, 300.0) / 3536.8, 1.0, kFit);
    EXPECT_NEAR(model->get_saturation_pressure(0, 350.0) / 41682.0, 1.0, kFit);
    EXPECT_EQ(model->get_saturation_pressure(1, 300.0), 0.0);  // no data for class 1
    EXPECT_EQ(model->get_saturation_pressure(7, 300.0), 0.0);
}

// Without Antoine coefficients: Clausius-Clapeyron through the boiling point, exact there; at 350 K
// by hand, 101325 exp(2.257e6 * 0.018015 / 8.3144 (1/373.15 - 1/350)) = 101325 exp(-0.866831) = 42585.0 Pa.
TEST_F(droplet_fixture, ClausiusClapeyronWithoutAntoine) {
    droplet_liquid w = water();
    w.antoine_B = 0.0;
    const double exponent = 2.257e6 * 0.018015 / 8.3144 * (1.0 / 373.15 - 1.0 / 350.0);
    EXPECT_NEAR(exponent, -0.866831, 1e-6);
    data->data = w;
    auto host = std::make_shared<standalone_host::CStandaloneHost>();
    host->set_droplet_data(data);
    std::shared_ptr<IHostUnknown> object;
    ASSERT_EQ(factory->CreateDropletModel(host, object), MP_STATUS_OK);
    std::any request = std::shared_ptr<I_droplet_model>();
    ASSERT_EQ(object->query_interface(request), MP_STATUS_OK);
    const auto cc = std::any_cast<std::shared_ptr<I_droplet_model>>(request);
    EXPECT_NEAR(cc->get_saturation_pressure(0, 373.15) / 101325.0, 1.0, 1e-12);
    EXPECT_NEAR(cc->get_saturation_pressure(0, 350.0) / 42585.0, 1.0, 1e-5);
}

// A water droplet at 300 K in dry gas (the combustion products without CO2 and H2O: 70/85 N2,
// 15/85 O2, ... by mass) at 300 K and 1 atm, by hand:
//   p_sat = 10^(9.6543 - 1435.264 / 235.152) = 3554.20 Pa, X_s = 0.0350772
//   with Y = {0.823529, 0.176471, 0, 0, 0} (0.70/0.85, 0.15/0.85) and M of data/materials/gases.json:
//   1/M_g = 0.823529/0.0280134 + 0.176471/0.0319988 = 29.3977 + 5.51494 = 34.9127 mol/kg, M_g = 0.0286429
//   Y_s = 0.0350772 * 0.018015 / (0.0350772 * 0.018015 + 0.964923 * 0.0286429) = 0.0223528
//   B_M = Y_s / (1 - Y_s) = 0.0228638
//   rho_g = 101325 * 0.0286429 / (8.3144 * 300) = 1.163542 kg/m3
//   D = 2.6e-5 (300 / 298.15)^1.75 = 2.628298e-5 m2/s
//   K = 8 rho_g D ln(1 + B_M) / rho_l = 8 * 1.163542 * 2.628298e-5 * 0.0226064 / 996.51 = 5.55004e-9 m2/s
//   (rho_l = 996.51 kg/m3, IAPWS-95 at 300 K)
//   latent heat, Watson: 2.257e6 ((647.096 - 300) / 273.946)^0.38 = 2.46938e6 J/kg (IAPWS: 2.4373e6)
TEST_F(droplet_fixture, EvaporationInDryGasByHand) {
    const double Y[5] = {0.70 / 0.85, 0.15 / 0.85, 0.0, 0.0, 0.0};
    droplet_evaporation e;
    ASSERT_EQ(model->get_evaporation(0, 101325.0, 300.0, Y, 300.0, 50e-6, e), MP_STATUS_OK);
    constexpr double kHand = 1e-4;     // the hand values carry six digits
    constexpr double kDensity = 1e-3;  // the library's water density against IAPWS-95
    EXPECT_NEAR(e.p_sat / 3554.20, 1.0, kHand);
    EXPECT_NEAR(e.X_surface / 0.0350772, 1.0, kHand);
    EXPECT_NEAR(e.Y_surface / 0.0223528, 1.0, kHand);
    EXPECT_NEAR(e.B_M / 0.0228638, 1.0, kHand);
    EXPECT_EQ(e.T_film, 300.0);
    EXPECT_NEAR(e.rho_gas / 1.163542, 1.0, kHand);
    EXPECT_NEAR(e.diffusivity / 2.628298e-5, 1.0, kHand);
    EXPECT_NEAR(e.rho_liquid / 996.51, 1.0, kDensity);
    EXPECT_NEAR(e.K / 5.55004e-9, 1.0, kDensity);
    EXPECT_NEAR(e.latent_heat / 2.46938e6, 1.0, kHand);
    EXPECT_NEAR(e.latent_heat / 2.4373e6, 1.0, 0.015);  // Watson's law against IAPWS
    // The rate and the lifetime follow from K: m_dot = pi rho_l d K / 4, lifetime d^2 / K.
    EXPECT_NEAR(e.m_dot / (3.14159265358979 * e.rho_liquid * 50e-6 * e.K / 4.0), 1.0, 1e-12);
    EXPECT_NEAR(e.lifetime / (50e-6 * 50e-6 / e.K), 1.0, 1e-12);
    EXPECT_EQ(e.B_T, 0.0);  // no temperature difference
}

TEST_F(droplet_fixture, FilmRuleHumidityAndLimits) {
    // Hot gas: the film lies a third of the way from the surface to the gas.
    const double dry[5] = {0.70 / 0.85, 0.15 / 0.85, 0.0, 0.0, 0.0};
    droplet_evaporation hot;
    ASSERT_EQ(model->get_evaporation(0, 101325.0, 900.0, dry, 330.0, 50e-6, hot), MP_STATUS_OK);
    EXPECT_NEAR(hot.T_film, 520.0, 1e-12);
    EXPECT_GT(hot.B_T, 0.0);
    // Humid gas evaporates more slowly; gas saturated at the surface's fraction not at all.
    const double humid[5] = {0.80, 0.17, 0.0, 0.03, 0.0};
    droplet_evaporation wet, dry_e;
    ASSERT_EQ(model->get_evaporation(0, 101325.0, 300.0, humid, 300.0, 50e-6, wet), MP_STATUS_OK);
    ASSERT_EQ(model->get_evaporation(0, 101325.0, 300.0, dry, 300.0, 50e-6, dry_e), MP_STATUS_OK);
    EXPECT_LT(wet.K, 0.0);  // 3 % vapour by mass is above saturation at 300 K: the droplet grows
    EXPECT_GT(dry_e.K, 0.0);
    EXPECT_TRUE(std::isinf(wet.lifetime));
    // Boiling: p_sat above p holds the surface mole fraction.
    droplet_evaporation boiling;
    ASSERT_EQ(model->get_evaporation(0, 2e4, 600.0, dry, 372.0, 50e-6, boiling), MP_STATUS_OK);
    EXPECT_EQ(boiling.X_surface, I_droplet_model::kMaxSurfaceMoleFraction);
    // No data for class 1, an unknown class, and states that are not states.
    droplet_evaporation untouched;
    untouched.K = -7.0;
    EXPECT_EQ(model->get_evaporation(1, 101325.0, 300.0, dry, 300.0, 50e-6, untouched), MP_STATUS_UNSUPPORTED);
    EXPECT_EQ(model->get_evaporation(-1, 101325.0, 300.0, dry, 300.0, 50e-6, untouched), MP_STATUS_UNSUPPORTED);
    EXPECT_EQ(model->get_evaporation(0, std::nan(""), 300.0, dry, 300.0, 50e-6, untouched), MP_STATUS_FAILURE);
    EXPECT_EQ(model->get_evaporation(0, 101325.0, 300.0, dry, -3.0, 50e-6, untouched), MP_STATUS_FAILURE);
    EXPECT_EQ(model->get_evaporation(0, 101325.0, 300.0, nullptr, 300.0, 50e-6, untouched), MP_STATUS_FAILURE);
    EXPECT_EQ(untouched.K, -7.0);
    EXPECT_EQ(model->get_droplet_class_count(), 2);
}

}  // namespace
