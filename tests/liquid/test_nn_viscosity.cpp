// The viscosity laws of non-Newtonian liquids against values computed by hand, their guards and
// limits, and their stream records.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>

#include "liquid/c_nn_viscosity_models.h"
#include "file_io/c_file_io/c_file_io.h"

namespace {

c_1d_param constant(double v) {
    c_1d_param p;
    p.set_constant(v);
    return p;
}

// Writes the law, reads it into a fresh one of the same code and writes that again.
void expect_round_trip(const INonNewtonLiquidModel& law, nn_law code, double p, double T, double g) {
    C_file_io s;
    s.open_memory();
    law.write(s);
    const auto bytes = s.memory_bytes();
    EXPECT_EQ(bytes.at(0), 0);
    auto back = make_nn_law(code);
    C_file_io r;
    r.open_memory(bytes);
    ASSERT_TRUE(back->read(r));
    EXPECT_EQ(back->viscosity(p, T, g), law.viscosity(p, T, g));
    C_file_io s2;
    s2.open_memory();
    back->write(s2);
    EXPECT_EQ(s2.memory_bytes(), bytes);
    // Another leading byte is refused.
    auto refused = bytes;
    refused[0] = 1;
    C_file_io r2;
    r2.open_memory(refused);
    EXPECT_FALSE(make_nn_law(code)->read(r2));
}

}  // namespace

TEST(NonNewtonianLaws, CarreauBloodCurve) {
    // Blood, Cho & Kensey (1991): mu_0 = 0.056, mu_inf = 0.00345 Pa s, lambda = 3.313 s,
    // n = 0.3568. Expected values evaluated by hand (Python) from the law.
    CCarreauModel blood;
    blood.mu_zero = constant(0.056);
    blood.mu_infinity = constant(0.00345);
    blood.time_constant = constant(3.313);
    blood.power_index = 0.3568;
    const struct {
        double g, mu;
    } curve[] = {{0.1, 0.05426911426552453}, {1, 0.027097651206638512}, {10, 0.008978904657012805},
                 {100, 0.004707665131357552}, {1000, 0.0037360001626269615}};
    for (const auto& c : curve) EXPECT_NEAR(blood.viscosity(1e5, 310.0, c.g), c.mu, 1e-12 * c.mu) << c.g;
    EXPECT_EQ(blood.viscosity(1e5, 310.0, 0.0), 0.056);  // the zero-shear plateau
    expect_round_trip(blood, nn_law::carreau, 1e5, 310.0, 5.0);
}

TEST(NonNewtonianLaws, CrossWlfAtTwoPressures) {
    // Parameters of the order of a polypropylene melt; expected values evaluated by hand.
    CCrossWLFModel melt;
    melt.A1 = 25.0;
    melt.A2 = 51.6;
    melt.D1 = 3.5e11;
    melt.D2 = 263.15;
    melt.D3 = 1.5e-7;
    melt.tau_star = 30000.0;
    melt.power_index = 0.3;
    EXPECT_NEAR(melt.viscosity(1e5, 493.15, 1.0), 450.3515948168104, 1e-10 * 450.0);
    EXPECT_NEAR(melt.viscosity(1e5, 493.15, 1000.0), 60.027924263935695, 1e-10 * 60.0);
    EXPECT_NEAR(melt.viscosity(1e8, 493.15, 1.0), 1577.126926037053, 1e-10 * 1577.0);
    EXPECT_NEAR(melt.viscosity(1e8, 493.15, 1000.0), 96.8887752355082, 1e-10 * 97.0);
    // Below T* = D2 + D3 p the zero-shear viscosity is D1: the Cross law with mu_0 = D1.
    const double mu0 = 3.5e11, g = 2.0;
    EXPECT_DOUBLE_EQ(melt.viscosity(1e5, 250.0, g), mu0 / (1.0 + std::pow(mu0 * g / 30000.0, 0.7)));
    expect_round_trip(melt, nn_law::cross_wlf, 2e7, 500.0, 10.0);
}

TEST(NonNewtonianLaws, HerschelBulkleyAndItsCap) {
    CHershelBulkleyModel mud;
    mud.consistency = constant(0.5);
    mud.yield_stress = constant(5.0);
    mud.power_index = 0.6;
    // 0.5 * 10^-0.4 + 5 / 10, by hand
    EXPECT_NEAR(mud.viscosity(1e5, 300.0, 10.0), 0.5 * 0.3981071705534972 + 0.5, 1e-14);
    EXPECT_EQ(mud.viscosity(1e5, 300.0, 0.0), 500.0);      // g = 0: the cap of 1000 k
    EXPECT_EQ(mud.viscosity(1e5, 300.0, 1e-4), 500.0);     // the yield term beyond the cap
    expect_round_trip(mud, nn_law::herschel_bulkley, 1e5, 300.0, 3.0);
}

TEST(NonNewtonianLaws, ShearFactorGuards) {
    // A factor that is not finite goes to the bound on the side of n: 0^-0.5 is infinite, but for
    // n < 1 the law takes the floor.
    EXPECT_EQ(nn::shear_factor(0.0, 0.5), nn::kShearFactorFloor);
    EXPECT_EQ(nn::shear_factor(0.0, 1.5), nn::kShearFactorFloor);    // 0^0.5 = 0, clamped up
    EXPECT_EQ(nn::shear_factor(1e300, 3.0), nn::kShearFactorCeiling);
    EXPECT_EQ(nn::shear_factor(4.0, 1.5), 2.0);
    EXPECT_EQ(nn::shear_factor(NAN, 0.5), nn::kShearFactorFloor);  // not finite, n < 1
}

TEST(NonNewtonianLaws, PowerLawLimits) {
    CPowerLawModel thin;
    thin.consistency = constant(2.0);
    thin.low_shear_limit = constant(10.0);
    thin.high_shear_limit = constant(0.05);
    thin.power_index = 0.5;
    thin.use_low_shear_limit = thin.use_high_shear_limit = true;
    EXPECT_EQ(thin.viscosity(0, 300, 0.01), 10.0);   // 2 * 0.01^-0.5 = 20, bounded from above
    EXPECT_EQ(thin.viscosity(0, 300, 4.0), 1.0);     // 2 / 2
    EXPECT_EQ(thin.viscosity(0, 300, 1e4), 0.05);    // 0.02, bounded from below
    CPowerLawModel thick = thin;
    thick.power_index = 1.5;
    thick.low_shear_limit = constant(0.5);
    thick.high_shear_limit = constant(100.0);
    EXPECT_EQ(thick.viscosity(0, 300, 0.01), 0.5);   // 0.2, bounded from below
    EXPECT_EQ(thick.viscosity(0, 300, 1e4), 100.0);  // 200, bounded from above
    CPowerLawModel newtonian = thin;
    newtonian.power_index = 1.0;                     // n = 1 ignores both limits
    EXPECT_EQ(newtonian.viscosity(0, 300, 0.01), 2.0);
    EXPECT_EQ(newtonian.viscosity(0, 300, 1e4), 2.0);
    expect_round_trip(thin, nn_law::power_law, 0, 300, 7.0);
}

TEST(NonNewtonianLaws, PolynomialRegression) {
    CPolynomialRegressionModel r;
    const double a[6] = {1.0, -0.3, 0.02, -0.01, 0.0005, 1e-6};
    std::copy(a, a + 6, r.a);
    const double T = 320.0, g = 50.0, L = std::log(50.0);
    EXPECT_NEAR(r.viscosity(0, T, g),
                std::exp(1.0 - 0.3 * L + 0.02 * L * L - 0.01 * T + 0.0005 * T * L + 1e-6 * T * T), 1e-15);
    // Without its minimum, g = 0 takes ln 0: no guard.
    EXPECT_FALSE(std::isfinite(r.viscosity(0, T, 0.0)) && r.viscosity(0, T, 0.0) > 0.0);
    r.use_min_shear_rate = true;
    r.min_shear_rate = 0.1;
    EXPECT_EQ(r.viscosity(0, T, 0.0), r.viscosity(0, T, 0.1));
    expect_round_trip(r, nn_law::polynomial_regression, 0, T, 20.0);
}

TEST(NonNewtonianLaws, HighOrderRegressionCeilingBoundsAndTable) {
    CHightOrderPRModel r;
    r.mode = 1;
    r.a[0] = 2.0;
    r.a[1] = -0.5;
    r.a[2] = 0.05;  // c2 > 0: the regression has a minimum in L at -c1 / (2 c2) = 5
    r.row_T = {280.0, 380.0};
    r.row_length = {1, 1};
    r.row_shear = {1.0, 1.0};
    r.row_mu = {1.0, 1.0};
    ASSERT_TRUE(r.prepare());
    const double g_high = std::exp(5.0);
    EXPECT_DOUBLE_EQ(r.viscosity(0, 300, 1e6), r.viscosity(0, 300, g_high));  // held beyond the extremum
    EXPECT_DOUBLE_EQ(r.viscosity(0, 300, 10.0), std::exp(2.0 - 0.5 * std::log(10.0) + 0.05 * std::pow(std::log(10.0), 2)));
    // A regression value of 23.026 or more answers exactly 1e10.
    r.a[0] = 23.026;
    r.a[1] = r.a[2] = 0.0;
    EXPECT_EQ(r.viscosity(0, 300, 1.0), 1e10);
    r.a[0] = 23.0;
    EXPECT_LT(r.viscosity(0, 300, 1.0), 1e10);
    // The shear-rate cap.
    r.a[0] = 0.0;
    r.a[1] = 1.0;  // mu = g below the cap
    r.a[2] = 0.0;
    r.use_shear_cap = true;
    r.shear_cap = 100.0;
    EXPECT_NEAR(r.viscosity(0, 300, 1e4), 100.0, 1e-12);
    expect_round_trip(r, nn_law::high_order_regression, 0, 300, 40.0);

    // Mode 0: rows of (shear rate, viscosity) at 300 and 400 K, held at each row's ends.
    CHightOrderPRModel table;
    table.mode = 0;
    table.row_T = {300.0, 400.0};
    table.row_length = {2, 3};
    table.row_shear = {1.0, 101.0, 1.0, 11.0, 21.0};
    table.row_mu = {10.0, 0.0, 4.0, 2.0, 0.0};
    ASSERT_TRUE(table.prepare());
    EXPECT_DOUBLE_EQ(table.viscosity(0, 300.0, 51.0), 5.0);
    EXPECT_DOUBLE_EQ(table.viscosity(0, 400.0, 16.0), 1.0);
    EXPECT_DOUBLE_EQ(table.viscosity(0, 350.0, 16.0), 0.5 * (8.5 + 1.0));
    EXPECT_DOUBLE_EQ(table.viscosity(0, 250.0, 0.1), 10.0);
    EXPECT_DOUBLE_EQ(table.viscosity(0, 450.0, 1e3), 0.0);
    expect_round_trip(table, nn_law::high_order_regression, 0, 333.0, 7.0);
    // A table whose row lengths do not add up is refused.
    table.row_length = {2, 2};
    EXPECT_FALSE(table.prepare());
}

TEST(NonNewtonianLaws, UnknownCodeAndDamagedTable) {
    EXPECT_EQ(make_nn_law(static_cast<nn_law>(9)), nullptr);
    // A damaged row count fails on the missing data.
    CHightOrderPRModel r;
    r.mode = 0;
    r.row_T = {300.0};
    r.row_length = {1};
    r.row_shear = {1.0};
    r.row_mu = {1.0};
    ASSERT_TRUE(r.prepare());
    C_file_io s;
    s.open_memory();
    r.write(s);
    auto bytes = s.memory_bytes();
    const std::size_t count_at = 1 + 80 + 4 + 1 + 8;
    const std::int32_t huge = 0x7fffffff;
    std::memcpy(bytes.data() + count_at, &huge, 4);
    C_file_io in;
    in.open_memory(bytes);
    CHightOrderPRModel back;
    EXPECT_THROW(back.read(in), c_RQ_io_error);
}
