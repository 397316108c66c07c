// Isothermal cavitation (kind 4) and the obsolete condensation medium (kind 11): the barotropic
// law against the published closed form it inverts, continuity at the vapour pressure, the sound
// speed as the derivative of the density, the liquid and gas parts against their own media, the
// factory's refusals, and stream round trips.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "cavitation/c_isotherm_cavitation_thermodynamics.h"
#include "factory/c_medium_physics.h"
#include "file_io/c_file_io/c_file_io.h"
#include "medium_physics/standalone_host.h"
#include "cavitation/two_phase_support.h"

namespace {

using P_H = I_solver__thermodynamics_P_H;

// The relative agreement of two evaluations of one closed form in different arrangements.
constexpr double kRoundOff = 1e-12;
// The relative error of a central difference of the density (step 1e-4 of p).
constexpr double kDifference = 1e-6;

using two_phase_test::as;
using two_phase_test::save;

std::int32_t load(I_medium_physics& f, const std::vector<std::uint8_t>& bytes) {
    C_file_io s;
    s.open_memory(bytes);
    return f.Load(s);
}

// An incompressible liquid of water's density at 293.15 K (constant), with the saturated vapour
// density of water at 293.15 K as its scalar_a (IAPWS-95, Wagner and Pruss, J. Phys. Chem. Ref.
// Data 31 (2002) 387: rho'' = 0.017314 kg/m3 at p_s = 2339.3 Pa).
const char* kLiquids = R"({"materials": [
  {"name": "w", "identifier": "DD000000-0000-4000-8000-000000000001", "kind": "incompressible_liquid",
   "cp": {"constant": 4184}, "viscosity": {"constant": 0.001}, "conductivity": {"constant": 0.6},
   "density": {"constant": 998.2}, "scalar_a": 0.017314, "reference_temperature": 293.15, "reference_pressure": 101325},
  {"name": "dry", "identifier": "DD000000-0000-4000-8000-000000000002", "kind": "incompressible_liquid",
   "cp": {"constant": 4184}, "viscosity": {"constant": 0.001}, "conductivity": {"constant": 0.6},
   "density": {"constant": 998.2}, "scalar_a": 0, "reference_temperature": 293.15, "reference_pressure": 101325}]})";

struct cavitation : ::testing::Test {
    std::shared_ptr<I_medium_physics> factory;
    standalone_host::material_library library;
    void SetUp() override {
        ASSERT_EQ(create_medium_physics(factory, std::make_shared<standalone_host::CStandaloneHost>()), 0);
        for (const char* f : {"gases.json", "liquids.json", "complex_liquids.json", "two_phase.json"})
            library.add_file(std::string(MP_SOURCE_DIR) + "/data/materials/" + f);
        library.add_text(kLiquids, "test");
    }
    fluid_ptr make(const std::string& name) {
        fluid_ptr m;
        std::string why;
        EXPECT_EQ(standalone_host::create_medium(*factory, library, *library.find_medium(name), true, m, &why), 0)
            << why;
        return m;
    }
    // Water of the built-in Tait law at 293.15 K with or without air.
    fluid_ptr tait(double p_v, bool with_air, std::int32_t* status = nullptr) {
        description_array gases(with_air ? 1 : 0);
        if (with_air) gases[0] = library.find_material("air");
        fluid_ptr m;
        const auto s = factory->CreateIsothermalCavitationThermodynamics(library.find_material("water-tait-cavitating"),
                                                                         gases, p_v, true, m);
        if (status != nullptr) *status = s;
        return m;
    }
};

// p(alpha) of Schmidt, Rutland and Corradini, Atomization and Sprays 9 (1999) 255, eq. (8), written
// out here as published (the medium inverts it for alpha).
double schmidt_pressure(double alpha, double p_v, double rho_l, double a_l, double rho_v, double a_v) {
    const double Pgl = rho_v * a_v * a_v * rho_l * a_l * a_l * (rho_v - rho_l) /
                       (rho_v * rho_v * a_v * a_v - rho_l * rho_l * a_l * a_l);
    return p_v + Pgl * std::log(rho_v * a_v * a_v * (rho_l + alpha * (rho_v - rho_l)) /
                                (rho_l * (rho_v * a_v * a_v - alpha * (rho_v * a_v * a_v - rho_l * a_l * a_l))));
}

}  // namespace

TEST_F(cavitation, TheVoidFractionBelowTheVapourPressureIsTheInverseOfThePublishedLaw) {
    const fluid_ptr m = tait(2339.3, false);
    const auto cav = as<I_solver__isothermal_cavitation>(m);
    ASSERT_TRUE(cav);
    const auto* medium = dynamic_cast<const C_isotherm_cavitation_thermodynamics*>(m.get());
    const auto& law = medium->law();
    // The vapour's isothermal sound speed from p_v and rho'' alone: sqrt(2339.3 / 0.017314) = 367.57 m/s.
    EXPECT_NEAR(law.a_v, 367.57, 0.01);
    const double Y[1] = {1.0};
    for (const double p : {2339.0, 2000.0, 1000.0, 100.0, -2e4, -5e4}) {
        double alpha_v, alpha_g;
        cav->get_void_fractions(p, Y, &alpha_v, &alpha_g);
        if (p < C_isotherm_cavitation_thermodynamics::kMinimumPressure) continue;  // floored
        EXPECT_GT(alpha_v, 0.0);
        EXPECT_EQ(alpha_g, 0.0);
        const double back = schmidt_pressure(alpha_v, law.p_v, law.rho_l, law.a_l, law.rho_v, law.a_v);
        EXPECT_NEAR(back, p, 1e-7 * law.p_v) << p;
        // rho = alpha rho_v + (1 - alpha) rho_l
        const auto ph = as<P_H>(m);
        EXPECT_NEAR(ph->get_density(p, 293.15, Y), alpha_v * law.rho_v + (1 - alpha_v) * law.rho_l,
                    kRoundOff * law.rho_l);
    }
}

TEST_F(cavitation, DensityAndSoundSpeedAreContinuousAtTheVapourPressure) {
    for (const bool air : {false, true}) {
        const auto ph = as<P_H>(tait(2339.3, air));
        ASSERT_TRUE(ph);
        const double Y[2] = {1.0 - 1e-6, 1e-6};
        const double p_v = 2339.3, eps = 1e-9 * p_v;  // (with air the slope is 0.014 kg/m3 per Pa)
        const double rho_above = ph->get_density(p_v + eps, 293.15, Y), rho_below = ph->get_density(p_v - eps, 293.15, Y);
        const double a_above = ph->get_sound_speed(p_v + eps, 293.15, Y), a_below = ph->get_sound_speed(p_v - eps, 293.15, Y);
        EXPECT_NEAR(rho_below, rho_above, 1e-9 * rho_above) << air;
        // (the liquid side has the Tait law's sound speed, the mixture side Wood's at alpha -> 0)
        EXPECT_NEAR(a_below, a_above, 1e-3 * a_above) << air;
    }
}

TEST_F(cavitation, SoundSpeedIsTheDerivativeOfTheDensityFromOneMegapascalToOneHundredPascal) {
    for (const bool air : {false, true}) {
        const auto ph = as<P_H>(tait(2339.3, air));
        const double Y[2] = {1.0 - 1e-6, 1e-6};
        for (double p = 1e6; p >= 100.0; p /= 1.7) {
            const double dp = 1e-4 * p;
            const double drho = (ph->get_density(p + dp, 293.15, Y) - ph->get_density(p - dp, 293.15, Y)) / (2 * dp);
            const double a = ph->get_sound_speed(p, 293.15, Y);
            EXPECT_GT(a, 0.0);
            EXPECT_TRUE(std::isfinite(a));
            EXPECT_NEAR(1.0 / (a * a), drho, 1e-5 * drho) << "p = " << p << (air ? " with air" : "");
            EXPECT_NEAR(ph->get_drho_dp(p, 293.15, Y), 1.0 / (a * a), kRoundOff * drho);
            EXPECT_EQ(ph->get_compressibility(p, 293.15, Y), ph->get_drho_dp(p, 293.15, Y));
        }
    }
}

TEST_F(cavitation, AboveTheVapourPressureTheLiquidAndGasAreTheirOwnMedia) {
    // The liquid part: the compressible water of the same Tait law, at 293.15 K.
    const auto water = as<P_H>(make("water-compressible"));
    const auto air = as<I_solver__fluid_thermodynamics_common>(make("air"));
    const auto with_air = as<P_H>(tait(2339.3, true));
    const auto pure = as<P_H>(tait(2339.3, false));
    const double one[1] = {1.0};
    const double Yg = 1e-4, Y[2] = {1.0 - Yg, Yg};
    for (const double p : {5e3, 1e5, 1e6, 3e7}) {
        const double rho_l = water->get_density(p, 293.15, one);
        EXPECT_NEAR(pure->get_density(p, 350.0, one), rho_l, kRoundOff * rho_l) << "the law holds at T_c";
        // 1/rho = Y_l / rho_l + Y_g R T / (M p), M from the air medium.
        double r, h, cp, g, M, a, mu, l;
        air->get_properties_p_T(p, 293.15, one, &r, &h, &cp, &g, &M, &a, &mu, &l);
        const double v = (1 - Yg) / rho_l + Yg * 8.3144 * 293.15 / (M * p);
        EXPECT_NEAR(with_air->get_density(p, 293.15, Y), 1.0 / v, 1e-9 / v) << p;
    }
    // Isothermal acoustics of the pure liquid: a^2 = dp/drho of the Tait law.
    const double p = 1e5, dp = 10.0;
    const double a2 = 2 * dp / (water->get_density(p + dp, 293.15, one) - water->get_density(p - dp, 293.15, one));
    const double a = pure->get_sound_speed(p, 293.15, one);
    EXPECT_NEAR(a * a, a2, 1e-6 * a2);
}

TEST_F(cavitation, CaloricAndTransportFollowTheDocumentedRules) {
    const auto m = make("water-cavitating");
    const auto ph = as<P_H>(m);
    const auto cav = as<I_solver__isothermal_cavitation>(m);
    ASSERT_TRUE(ph && cav);
    EXPECT_EQ(cav->get_medium_temperature(), 293.15);
    EXPECT_EQ(cav->get_vapour_pressure(), 2339.3);
    const double Y[2] = {1.0 - 1e-6, 1e-6};
    // h = cp_c (T - T_c): zero at T_c, exactly invertible.
    EXPECT_EQ(ph->get_enthalpy(1e5, 293.15, Y), 0.0);
    const double h = ph->get_enthalpy(1e5, 310.0, Y);
    EXPECT_NEAR(ph->get_T_p_h(1e5, h, Y), 310.0, 1e-12 * 310.0);
    double r[9];
    const double rho = ph->get_density(1e5, 300.0, Y), G2 = (rho * 20) * (rho * 20);
    ph->get_properties_p_H(h + 0.5 * G2 / (rho * rho), 1e5, Y, G2, 250.0, &r[0], &r[1], &r[2], &r[3], &r[4], &r[5],
                           &r[6], &r[7], &r[8]);
    EXPECT_NEAR(r[1], 310.0, 1e-12 * 310.0);
    EXPECT_EQ(r[8], 1e5);
    // Viscosity by volume: at 100 Pa the gas and vapour fill most of the volume.
    double alpha_v, alpha_g;
    cav->get_void_fractions(100.0, Y, &alpha_v, &alpha_g);
    EXPECT_GT(alpha_g, 0.1);
    const double mu = ph->get_viscosity(100.0, 293.15, Y);
    EXPECT_LT(mu, ph->get_viscosity(1e6, 293.15, Y));
    EXPECT_EQ(ph->get_mole_fraction(100.0, 293.15, Y, 1), alpha_g);
    EXPECT_EQ(ph->get_mole_fraction(100.0, 293.15, Y, 2), 0.0);
    // Mass fraction back from the volume fractions.
    const double X[2] = {1.0 - alpha_g, alpha_g};
    EXPECT_NEAR(ph->get_mass_fraction(100.0, 293.15, X, 1), Y[1], 1e-9 * Y[1]);
}

TEST_F(cavitation, TheFactoryRefusesWhatMakesNoLaw) {
    std::int32_t status = 0;
    standalone_host::log_capture cap;
    for (const double p_v : {0.0, -5.0, std::nan(""), HUGE_VAL}) {
        EXPECT_EQ(tait(p_v, false, &status), nullptr);
        EXPECT_EQ(status, MP_STATUS_FAILURE) << p_v;
    }
    EXPECT_GE(cap.count("the vapour pressure must be a finite number above 0 Pa"), 4u);
    fluid_ptr m;
    // No vapour density in the liquid's scalar_a.
    EXPECT_EQ(factory->CreateIsothermalCavitationThermodynamicsInc(library.find_material("dry"), {}, 2339.3, true, m),
              MP_STATUS_FAILURE);
    EXPECT_EQ(cap.count("scalar_a must hold the density of its saturated vapour"), 1u);
    // Two gases; a gas where the liquid belongs; a liquid of the other kind.
    description_array two(2);
    two[0] = two[1] = library.find_material("air");
    EXPECT_EQ(factory->CreateIsothermalCavitationThermodynamicsInc(library.find_material("w"), two, 2339.3, true, m),
              MP_STATUS_FAILURE);
    EXPECT_EQ(factory->CreateIsothermalCavitationThermodynamicsInc(library.find_material("air"), {}, 2339.3, true, m),
              MP_STATUS_FAILURE);
    EXPECT_EQ(factory->CreateIsothermalCavitationThermodynamics(library.find_material("w"), {}, 2339.3, true, m),
              MP_STATUS_FAILURE);
    EXPECT_EQ(m, nullptr);
    EXPECT_EQ(factory->CreateIsothermalCavitationThermodynamicsInc(nullptr, {}, 2339.3, true, m), MP_STATUS_FAILURE);
    // The incompressible liquid cavitates on its weakly compressible view (c_l = 1000 m/s).
    ASSERT_EQ(factory->CreateIsothermalCavitationThermodynamicsInc(library.find_material("w"), {}, 2339.3, true, m),
              MP_STATUS_OK);
    const double one[1] = {1.0};
    EXPECT_NEAR(as<P_H>(m)->get_sound_speed(5e5, 293.15, one), 1000.0, 1e-6 * 1000.0);
    // Bad pressures answer finite values (floored), never NaN.
    for (const double p : {0.0, -1e9, std::nan("")}) {
        EXPECT_TRUE(std::isfinite(as<P_H>(m)->get_density(p, 293.15, one)));
        EXPECT_GT(as<P_H>(m)->get_sound_speed(p, 293.15, one), 0.0);
    }
}

TEST_F(cavitation, SaveAndLoadRoundTripByteForByte) {
    const fluid_ptr a = tait(2339.3, true);
    fluid_ptr b;
    ASSERT_EQ(factory->CreateIsothermalCavitationThermodynamicsInc(library.find_material("w"), {}, 3000.0, true, b), 0);
    const auto bytes = save(*factory);
    std::shared_ptr<I_medium_physics> g;
    ASSERT_EQ(create_medium_physics(g, std::make_shared<standalone_host::CStandaloneHost>()), 0);
    ASSERT_EQ(load(*g, bytes), MP_STATUS_OK);
    EXPECT_EQ(save(*g), bytes);
    for (const auto& m : {a, b}) {
        host_guid id;
        as<I_identity>(m)->get_identity(id.bytes.data());
        fluid_ptr back;
        ASSERT_EQ(g->FindThermodynamics(id, back), MP_STATUS_OK);
        EXPECT_EQ(as<I_write>(back)->get_type_id(), MP_KIND_ISOTHERM_CAVITATION);
        const double Y[2] = {0.999, 0.001};
        for (const double p : {1e6, 1e3, 100.0}) {
            EXPECT_EQ(as<P_H>(back)->get_density(p, 293.15, Y), as<P_H>(m)->get_density(p, 293.15, Y));
            EXPECT_EQ(as<P_H>(back)->get_sound_speed(p, 293.15, Y), as<P_H>(m)->get_sound_speed(p, 293.15, Y));
        }
    }
}

// ---- obsolete condensation ----------------------------------------------------------------------

TEST_F(cavitation, ObsoleteCondensationAnswersAsTheIdealGasMixtureOfItsGases) {
    description_array gases(2);
    gases[0] = library.find_material("N2");
    gases[1] = library.find_material("H2O");
    fluid_ptr c, c2, ideal;
    ASSERT_EQ(factory->CreateCondensationObsoleteThermodynamics(gases, 0.75, true, c), MP_STATUS_OK);
    ASSERT_EQ(factory->CreateCondensationObsoleteThermodynamics(gases, 0.1, false, c2), MP_STATUS_OK);
    ASSERT_EQ(factory->CreateIdealGasThermodynamics(gases, false, ideal), MP_STATUS_OK);
    EXPECT_EQ(as<I_write>(c)->get_type_id(), MP_KIND_CONDENSATION_OBSOLETE);
    auto* f = dynamic_cast<C_medium_physics*>(factory.get());
    host_guid key;
    guid_utils::BuildGUIDFromString(u"299BD8CC-69AB-4b93-82E5-6D261B8E2FBA", key);
    ASSERT_NE(f->find_substance<C_medium_physics::kObsoleteCache>(key), nullptr);
    EXPECT_EQ(f->find_substance<C_medium_physics::kObsoleteCache>(key)->parameter(), 0.75);  // the first one's
    EXPECT_EQ(c->get_substances().size(), 2);
    const double Y[2] = {0.9, 0.1};
    double a[9], b[9];
    as<P_H>(c)->get_properties_p_H(4e5, 2e5, Y, 0.0, 300.0, &a[0], &a[1], &a[2], &a[3], &a[4], &a[5], &a[6], &a[7], &a[8]);
    as<P_H>(ideal)->get_properties_p_H(4e5, 2e5, Y, 0.0, 300.0, &b[0], &b[1], &b[2], &b[3], &b[4], &b[5], &b[6], &b[7],
                                       &b[8]);
    for (int i = 0; i < 9; ++i) EXPECT_EQ(a[i], b[i]) << i;
    EXPECT_NE(as<I_solver__thermodynamics_Rho_E>(c), nullptr);
    EXPECT_EQ(factory->CreateCondensationObsoleteThermodynamics({}, 0.5, true, c2), MP_STATUS_FAILURE);

    // An old project with the medium loads and saves unchanged.
    const auto bytes = save(*factory);
    std::shared_ptr<I_medium_physics> g;
    ASSERT_EQ(create_medium_physics(g, std::make_shared<standalone_host::CStandaloneHost>()), 0);
    ASSERT_EQ(load(*g, bytes), MP_STATUS_OK);
    EXPECT_EQ(save(*g), bytes);
    host_guid id;
    as<I_identity>(c)->get_identity(id.bytes.data());
    fluid_ptr back;
    ASSERT_EQ(g->FindThermodynamics(id, back), MP_STATUS_OK);
    EXPECT_EQ(as<P_H>(back)->get_density(2e5, 400.0, Y), as<P_H>(ideal)->get_density(2e5, 400.0, Y));
}
