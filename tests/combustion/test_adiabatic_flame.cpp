// The adiabatic flame at constant pressure against published equilibrium flame temperatures of
// stoichiometric fuel-air mixtures from reactants at 298 K and 1 atm (Turns, An Introduction to
// Combustion, 2nd ed., 2000, appendix B, table B.1: methane 2226 K, propane 2267 K, hydrogen
// 2383 K), the shape of the curve over phi (its maximum slightly rich, as every equilibrium
// program finds), the effect of pressure on dissociation, and the refusals.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <string>

#include "combustion/adiabatic_flame.h"

namespace {

using namespace mp::combustion;

// The book's values are rounded to 1 K and come from a slightly different species set.
constexpr double kPublishedFlame = 3e-3;

chemistry of(const char* fuel_name) {
    stream fuel;
    fuel.add(fuel_species(fuel_name), 1.0);
    chemistry chem;
    chemistry_error why;
    EXPECT_TRUE(chem.set_up(fuel, air(), true, why)) << to_text(why);
    return chem;
}

}  // namespace

TEST(AdiabaticFlame, StoichiometricFuelAirAgreesWithPublishedTemperatures) {
    const struct {
        const char* fuel;
        double T_ad;
    } cases[] = {{"methane", 2226.0}, {"propane", 2267.0}, {"hydrogen", 2383.0}};
    for (const auto& c : cases) {
        const chemistry chem = of(c.fuel);
        const flame_result f = adiabatic_flame(chem, 1.0, 101325.0, 298.15, nullptr);
        ASSERT_EQ(f.status, flame_status::ok) << c.fuel;
        EXPECT_NEAR(f.T / c.T_ad, 1.0, kPublishedFlame) << c.fuel << " " << f.T;
        // Sanity of the products: the ideal-gas law and a mean molar mass between N2's and H2O's.
        EXPECT_NEAR(f.rho * mp::equilibrium::kGasConstant * f.T / f.M / 101325.0, 1.0, 1e-12);
        EXPECT_GT(f.M, 0.018);
        EXPECT_LT(f.M, 0.0295);
    }
}

TEST(AdiabaticFlame, MaximumSlightlyRichAndLessDissociationAtHigherPressure) {
    const chemistry chem = of("CH4");
    double best_phi = 0.0, best_T = 0.0;
    for (double phi = 0.6; phi <= 1.6001; phi += 0.05) {
        const flame_result f = adiabatic_flame(chem, phi, 101325.0, 298.15, nullptr);
        ASSERT_EQ(f.status, flame_status::ok) << phi;
        if (f.T > best_T) best_T = f.T, best_phi = phi;
    }
    EXPECT_GE(best_phi, 1.0);
    EXPECT_LE(best_phi, 1.1);
    // phi = 0.6 is lean enough that dissociation is small: about 1665 K (Turns, fig. 2.14 reads
    // 1650..1700 K).
    EXPECT_NEAR(adiabatic_flame(chem, 0.6, 101325.0, 298.15, nullptr).T, 1665.0, 25.0);
    const flame_result low = adiabatic_flame(chem, 1.0, 1e4, 298.15, nullptr);
    const flame_result high = adiabatic_flame(chem, 1.0, 1e6, 298.15, nullptr);
    ASSERT_EQ(low.status, flame_status::ok);
    ASSERT_EQ(high.status, flame_status::ok);
    EXPECT_GT(high.T, low.T + 50.0);
    const int co = chem.find("CO");
    EXPECT_GT(low.x[co], 2.0 * high.x[co]);
    // Preheated reactants burn hotter, by less than the preheat (dissociation takes a part).
    const flame_result cold = adiabatic_flame(chem, 1.0, 101325.0, 298.15, nullptr);
    const flame_result warm = adiabatic_flame(chem, 1.0, 101325.0, 700.0, nullptr);
    EXPECT_GT(warm.T - cold.T, 100.0);
    EXPECT_LT(warm.T - cold.T, 700.0 - 298.15);
}

TEST(AdiabaticFlame, NamesAndRefusals) {
    EXPECT_STREQ(fuel_species("methane"), "CH4");
    EXPECT_STREQ(fuel_species("C3H8"), "C3H8");
    EXPECT_STREQ(fuel_species("hydrogen"), "H2");
    EXPECT_EQ(fuel_species("kerosene"), nullptr);
    const chemistry chem = of("H2");
    for (const auto& bad : {std::array<double, 3>{0.0, 1e5, 300.0}, std::array<double, 3>{1.0, -1.0, 300.0},
                            std::array<double, 3>{1.0, 1e5, NAN}, std::array<double, 3>{INFINITY, 1e5, 300.0}})
        EXPECT_EQ(adiabatic_flame(chem, bad[0], bad[1], bad[2], nullptr).status, flame_status::invalid_input);
}
