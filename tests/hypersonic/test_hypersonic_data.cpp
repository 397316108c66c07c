// The equilibrium-air tables compiled into the library (data/thermo/equilibrium_air_tables.bin):
// they must be what the generator makes today with the default layout, so that a change of the
// equilibrium engine, its data or the layout without a regenerated file fails here; and they must
// stay close to the engine at arbitrary states, and exact where air is an undissociated ideal gas.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <memory>
#include <random>
#include <vector>

#include "equilibrium/equilibrium_air.h"
#include "hypersonic/hypersonic_tables.h"

namespace {

using mp::hypersonic::table_layout;
using mp::hypersonic::table_set;

constexpr const char* kRegenerate =
    "the built-in equilibrium-air tables are not what the generator makes now; regenerate them with "
    "`mp-hypersonic-tables --out data/thermo/equilibrium_air_tables.bin` (built in <build>/tools/), "
    "commit the file and rebuild";

constexpr const char* kTableNames[CHypersonicBuiltInPG::kTableCount] = {"e", "p", "gamma", "cp", "M", "mu", "lambda"};

// A uniform number in [0, 1) from the generator's raw output, the same on every standard library.
double unit(std::mt19937_64& g) { return static_cast<double>(g() >> 11) * 0x1.0p-53; }

}  // namespace

TEST(HypersonicData, BuiltInTablesMatchAFreshGeneration) {
    const auto builtin = mp::hypersonic::builtin_tables();
    ASSERT_NE(builtin, nullptr) << "the library carries no readable built-in tables; " << kRegenerate;

    const table_layout want = mp::hypersonic::default_layout();
    const table_layout& have = builtin->layout();
    ASSERT_TRUE(have.T_min == want.T_min && have.T_max == want.T_max && have.n1 == want.n1 &&
                have.rho_low == want.rho_low && have.bands == want.bands &&
                have.bands_per_decade == want.bands_per_decade && have.n2 == want.n2 &&
                have.x1_tolerance == want.x1_tolerance && have.x2_tolerance == want.x2_tolerance)
        << "the layout of the built-in tables is not default_layout(); " << kRegenerate;

    std::vector<std::shared_ptr<CHypersonicBuiltInPG>> bands;
    mp::hypersonic::generation_report report;
    ASSERT_TRUE(mp::hypersonic::generate_equilibrium_air(want, bands, 2, &report));
    ASSERT_EQ(report.failures, 0);
    table_set fresh;
    ASSERT_TRUE(fresh.assign(want, std::move(bands)));

    // Two values agree within 1e-9 of the larger, plus a floor of 1e-15 of the table's largest
    // magnitude for the energies that pass through zero.
    double scale[CHypersonicBuiltInPG::kTableCount] = {};
    for (std::int32_t b = 0; b < want.bands; ++b)
        for (std::int32_t k = 0; k < CHypersonicBuiltInPG::kTableCount; ++k)
            for (std::int32_t i = 0; i < want.n1; ++i)
                for (std::int32_t j = 0; j < want.n2; ++j)
                    scale[k] = std::max(scale[k], std::fabs(fresh.band(b).row(k, i)[j]));
    std::int64_t differing = 0;
    double worst = 0.0;
    std::int32_t worst_b = 0, worst_k = 0, worst_i = 0, worst_j = 0;
    for (std::int32_t b = 0; b < want.bands; ++b) {
        ASSERT_EQ(builtin->band(b).n1(), want.n1);
        ASSERT_EQ(builtin->band(b).n2(), want.n2);
        ASSERT_GE(builtin->band(b).table_count(), CHypersonicBuiltInPG::kTableCount);
        for (std::int32_t k = 0; k < CHypersonicBuiltInPG::kTableCount; ++k)
            for (std::int32_t i = 0; i < want.n1; ++i)
                for (std::int32_t j = 0; j < want.n2; ++j) {
                    const double a = fresh.band(b).row(k, i)[j];
                    const double v = builtin->band(b).row(k, i)[j];
                    double d = a == v ? 0.0
                                      : std::fabs(a - v) / (std::max(std::fabs(a), std::fabs(v)) + 1e-6 * scale[k]);
                    if (std::isnan(d)) d = std::numeric_limits<double>::infinity();
                    if (d > 1e-9) ++differing;
                    if (d > worst) {
                        worst = d;
                        worst_b = b;
                        worst_k = k;
                        worst_i = i;
                        worst_j = j;
                    }
                }
    }
    EXPECT_EQ(differing, 0) << differing << " values differ by more than 1e-9; the largest relative difference, "
                            << worst << ", is " << kTableNames[worst_k] << " in band " << worst_b << " at T = "
                            << fresh.band(worst_b).x1_node(worst_i) << " K, rho = "
                            << fresh.band(worst_b).x2_node(worst_j) << " kg/m3 (generated "
                            << fresh.band(worst_b).row(worst_k, worst_i)[worst_j] << ", built in "
                            << builtin->band(worst_b).row(worst_k, worst_i)[worst_j] << "); " << kRegenerate;
}

// At 200 random states over 300..20000 K and 1e-5..50 kg/m3 (uniform in ln T and ln rho) the
// tables' p and e agree with the engine within 0.5 % (e relative to |e| + R T). The error map of
// mp-hypersonic-tables finds at most 0.1 % and 0.3 % at the cells' centres, so this fails on a
// damaged record, a coarser layout or a lookup in the wrong band, not on interpolation.
TEST(HypersonicData, BuiltInTablesAgreeWithTheEngine) {
    namespace eq = mp::equilibrium;
    const auto tables = mp::hypersonic::builtin_tables();
    ASSERT_NE(tables, nullptr);
    const eq::mixture air = eq::air::make_air();
    constexpr double R = 287.0;
    std::mt19937_64 random(20240611);
    double worst_p = 0.0, worst_e = 0.0;
    for (int n = 0; n < 200; ++n) {
        const double T = 300.0 * std::pow(20000.0 / 300.0, unit(random));
        const double rho = 1e-5 * std::pow(50.0 / 1e-5, unit(random));
        eq::state st;
        ASSERT_TRUE(eq::succeeded(air.solve_T_rho(T, rho, st, false))) << "T = " << T << " K, rho = " << rho;
        eq::properties pr;
        ASSERT_TRUE(air.evaluate(st, pr));
        double r[CHypersonicBuiltInPG::kResultCount];
        tables->state_T_rho(T, rho, r);  // e, p, a, gamma, cp, M, mu, lambda
        const double dp = std::fabs(r[1] / pr.p - 1.0);
        const double de = std::fabs(r[0] - pr.e) / (std::fabs(pr.e) + R * T);
        EXPECT_LT(dp, 5e-3) << "p at T = " << T << " K, rho = " << rho << " kg/m3: tables " << r[1] << ", engine "
                            << pr.p;
        EXPECT_LT(de, 5e-3) << "e at T = " << T << " K, rho = " << rho << " kg/m3: tables " << r[0] << ", engine "
                            << pr.e;
        worst_p = std::max(worst_p, dp);
        worst_e = std::max(worst_e, de);
    }
    std::printf("largest p error %.3g, largest e error %.3g\n", worst_p, worst_e);
}

// Below 800 K equilibrium air is N2 and O2 with traces of NO, which leave the mole number as it is,
// and of atoms, which change it by less than 1e-10 even at 1e-6 kg/m3: an ideal gas of molar mass
// 0.79 M(N2) + 0.21 M(O2). Its pressure rho R T / M is a product of the two coordinates, which
// bilinear interpolation (linear in T within a cell, as the lookup weights it) reproduces exactly,
// so the tables must give it to round-off; this needs no engine.
TEST(HypersonicData, BuiltInPressureIsTheIdealGasLawBelowDissociation) {
    namespace air = mp::equilibrium::air;
    const auto tables = mp::hypersonic::builtin_tables();
    ASSERT_NE(tables, nullptr);
    const double M = air::kNitrogenMoleFraction * 2.0 * air::kNitrogenWeight +
                     air::kOxygenMoleFraction * 2.0 * air::kOxygenWeight;
    ASSERT_NEAR(M, 0.0288503, 1e-7);  // as equilibrium_air.h states
    std::mt19937_64 random(7);
    for (int n = 0; n < 200; ++n) {
        const double T = 300.0 + 500.0 * unit(random);
        const double rho = 1e-6 * std::pow(1e8, unit(random));
        double r[CHypersonicBuiltInPG::kResultCount];
        tables->state_T_rho(T, rho, r);
        const double p = rho * mp::equilibrium::kGasConstant * T / M;
        EXPECT_NEAR(r[1] / p, 1.0, 1e-9) << "T = " << T << " K, rho = " << rho << " kg/m3";
        EXPECT_NEAR(r[5], M, 1e-9 * M) << "molar mass at T = " << T << " K, rho = " << rho << " kg/m3";
    }
}

// values_inside: at a node of the built-in tables the values are the engine's own there (the
// generator stores the engine's solution at every node; 1e-8 leaves room for the warm start the
// generation sweeps with), a is sqrt(p gamma/rho) of those values, the table's edges count as
// inside, and a state outside the tables answers false with the values untouched.
TEST(HypersonicTables, ValuesInsideAreTheEnginesAtANodeAndOutsideThereAreNone) {
    namespace eq = mp::equilibrium;
    constexpr double kNodeTolerance = 1e-8;
    const auto tables = mp::hypersonic::builtin_tables();
    ASSERT_NE(tables, nullptr);
    const table_layout& layout = tables->layout();
    const auto grid = layout.band_grid(12);
    const double T = std::exp(grid.ln_x1_origin + 150 * grid.ln_x1_step);  // about 3600 K: O2 dissociates
    const double rho = grid.x2_origin + 2 * grid.x2_step;
    mp::hypersonic::table_values v;
    ASSERT_TRUE(tables->values_inside(T, rho, v));
    const eq::mixture air = eq::air::make_air();
    eq::state st;
    ASSERT_TRUE(eq::succeeded(air.solve_T_rho(T, rho, st, false)));
    eq::properties pr;
    ASSERT_TRUE(air.evaluate(st, pr));
    EXPECT_LT(std::fabs(v.p / pr.p - 1.0), kNodeTolerance) << v.p << " " << pr.p;
    EXPECT_LT(std::fabs(v.e - pr.e) / (std::fabs(pr.e) + 287.0 * T), kNodeTolerance) << v.e << " " << pr.e;
    EXPECT_LT(std::fabs(v.cp / pr.cp - 1.0), kNodeTolerance);
    EXPECT_LT(std::fabs(v.gamma / pr.gamma - 1.0), kNodeTolerance);
    EXPECT_LT(std::fabs(v.M / pr.molar_mass - 1.0), kNodeTolerance);
    EXPECT_LT(std::fabs(v.a * v.a * rho / (v.p * v.gamma) - 1.0), 1e-12);

    // The corners are inside; a step beyond any edge is not, and leaves the values alone.
    EXPECT_TRUE(layout.contains(layout.T_min, layout.rho_low));
    EXPECT_TRUE(layout.contains(layout.T_max, layout.rho_high()));
    const double outside[][2] = {{0.99 * layout.T_min, 1.0},
                                 {1.01 * layout.T_max, 1.0},
                                 {1000.0, 0.99 * layout.rho_low},
                                 {1000.0, 1.01 * layout.rho_high()}};
    for (const auto& state : outside) {
        mp::hypersonic::table_values untouched;
        untouched.p = -1.0;
        EXPECT_FALSE(tables->values_inside(state[0], state[1], untouched)) << state[0] << " K, " << state[1];
        EXPECT_EQ(untouched.p, -1.0);
    }
    // A set without tables has no values anywhere.
    EXPECT_FALSE(table_set().values_inside(T, rho, v));
}
