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

constexpr const char* kTableNames[CHypersonicBuiltInPG::kTableCountWithExponent] = {"e", "p",  "gamma",  "cp",
                                                                                    "M", "mu", "lambda", "kappa"};

// A uniform number in [0, 1) from the generator's raw output, the same on every standard library.
double unit(std::mt19937_64& g) { return static_cast<double>(g() >> 11) * 0x1.0p-53; }

}  // namespace

TEST(HypersonicData, BuiltInTablesMatchAFreshGeneration) {
    const auto builtin = mp::hypersonic::builtin_tables();
    ASSERT_NE(builtin, nullptr) << "the library carries no readable built-in tables; " << kRegenerate;

    const table_layout want = mp::hypersonic::default_layout();
    const table_layout& have = builtin->layout();
    ASSERT_TRUE(mp::hypersonic::same_layout(have, want))
        << "the layout of the built-in tables is not default_layout(); " << kRegenerate;

    std::vector<std::shared_ptr<CHypersonicBuiltInPG>> bands;
    mp::hypersonic::generation_report report;
    ASSERT_TRUE(mp::hypersonic::generate_equilibrium_air(want, bands, 2, &report));
    ASSERT_EQ(report.failures, 0);
    table_set fresh;
    ASSERT_TRUE(fresh.assign(want, std::move(bands)));

    // Two values agree within 1e-9 of the larger, plus a floor of 1e-15 of the table's largest
    // magnitude for the energies that pass through zero.
    double scale[CHypersonicBuiltInPG::kTableCountWithExponent] = {};
    for (std::int32_t b = 0; b < want.bands; ++b)
        for (std::int32_t k = 0; k < want.tables; ++k)
            for (std::int32_t i = 0; i < want.n1; ++i)
                for (std::int32_t j = 0; j < want.n2; ++j)
                    scale[k] = std::max(scale[k], std::fabs(fresh.band(b).row(k, i)[j]));
    std::int64_t differing = 0;
    double worst = 0.0;
    std::int32_t worst_b = 0, worst_k = 0, worst_i = 0, worst_j = 0;
    for (std::int32_t b = 0; b < want.bands; ++b) {
        ASSERT_EQ(builtin->band(b).n1(), want.n1);
        ASSERT_EQ(builtin->band(b).n2(), want.n2);
        ASSERT_EQ(builtin->band(b).table_count(), want.tables);
        for (std::int32_t k = 0; k < want.tables; ++k)
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

// At 300 random states over 300..20000 K and 1e-9..100 kg/m3 (uniform in ln T and ln rho) the
// tables' p, e and equilibrium sound speed sqrt(kappa p / rho) agree with the engine within 0.5 %
// (e relative to |e| + R T). The error map of mp-hypersonic-tables finds at most 0.13 %, 0.46 % and
// 0.13 % over the cells, so this fails on a damaged record, a coarser layout or a lookup in the
// wrong band, not on interpolation.
TEST(HypersonicData, BuiltInTablesAgreeWithTheEngine) {
    namespace eq = mp::equilibrium;
    const auto tables = mp::hypersonic::builtin_tables();
    ASSERT_NE(tables, nullptr);
    const eq::mixture air = eq::air::make_air();
    constexpr double R = 287.0;
    constexpr double kTolerance = 5e-3;
    std::mt19937_64 random(20240611);
    double worst_p = 0.0, worst_e = 0.0, worst_a = 0.0;
    for (int n = 0; n < 300; ++n) {
        const double T = 300.0 * std::pow(20000.0 / 300.0, unit(random));
        const double rho = 1e-9 * std::pow(100.0 / 1e-9, unit(random));
        eq::state st;
        ASSERT_TRUE(eq::succeeded(air.solve_T_rho(T, rho, st, false))) << "T = " << T << " K, rho = " << rho;
        eq::properties pr;
        ASSERT_TRUE(air.evaluate(st, pr));
        const mp::hypersonic::table_state s = tables->at_T_rho(T, rho);
        const double dp = std::fabs(s.p / pr.p - 1.0);
        const double de = std::fabs(s.e - pr.e) / (std::fabs(pr.e) + R * T);
        const double da = std::fabs(s.a_eq / pr.sound_speed - 1.0);
        EXPECT_LT(dp, kTolerance) << "p at T = " << T << " K, rho = " << rho << " kg/m3: tables " << s.p << ", engine "
                                  << pr.p;
        EXPECT_LT(de, kTolerance) << "e at T = " << T << " K, rho = " << rho << " kg/m3: tables " << s.e << ", engine "
                                  << pr.e;
        EXPECT_LT(da, kTolerance) << "a_eq at T = " << T << " K, rho = " << rho << " kg/m3: tables " << s.a_eq
                                  << ", engine " << pr.sound_speed;
        worst_p = std::max(worst_p, dp);
        worst_e = std::max(worst_e, de);
        worst_a = std::max(worst_a, da);
    }
    std::printf("largest p error %.3g, largest e error %.3g, largest a_eq error %.3g\n", worst_p, worst_e, worst_a);
}

// Below 800 K equilibrium air is N2 and O2 with traces of NO, which leave the mole number as it is,
// and of atoms, which change it by less than 1e-9 even at 1e-9 kg/m3: an ideal gas of molar mass
// 0.79 M(N2) + 0.21 M(O2); below 200 K the tables hold that gas frozen. Its pressure rho R T / M is
// a product of the two coordinates, which bilinear interpolation (linear in T within a cell, as
// the lookup weights it) reproduces exactly, so the tables must give it to round-off; this needs
// no engine.
TEST(HypersonicData, BuiltInPressureIsTheIdealGasLawBelowDissociation) {
    namespace air = mp::equilibrium::air;
    const auto tables = mp::hypersonic::builtin_tables();
    ASSERT_NE(tables, nullptr);
    const double M = air::kNitrogenMoleFraction * 2.0 * air::kNitrogenWeight +
                     air::kOxygenMoleFraction * 2.0 * air::kOxygenWeight;
    ASSERT_NEAR(M, 0.0288503, 1e-7);  // as equilibrium_air.h states
    std::mt19937_64 random(7);
    for (int n = 0; n < 300; ++n) {
        const double T = 50.0 + 750.0 * unit(random);
        const double rho = 1e-9 * std::pow(1e11, unit(random));
        double r[CHypersonicBuiltInPG::kResultCount];
        tables->state_T_rho(T, rho, r);
        const double p = rho * mp::equilibrium::kGasConstant * T / M;
        EXPECT_NEAR(r[1] / p, 1.0, 1e-9) << "T = " << T << " K, rho = " << rho << " kg/m3";
        EXPECT_NEAR(r[5], M, 1e-9 * M) << "molar mass at T = " << T << " K, rho = " << rho << " kg/m3";
    }
}

// at_T_rho: at a node of the built-in tables the values are the engine's own there (the generator
// stores the engine's solution at every node; 1e-8 leaves room for the warm start the generation
// sweeps with), a is sqrt(p gamma/rho) of those values, the table's corners count as inside and a
// step beyond an edge does not.
TEST(HypersonicTables, ValuesAtANodeAreTheEnginesAndTheEdgesAreInside) {
    namespace eq = mp::equilibrium;
    constexpr double kNodeTolerance = 1e-8;
    const auto tables = mp::hypersonic::builtin_tables();
    ASSERT_NE(tables, nullptr);
    const table_layout& layout = tables->layout();
    const auto grid = layout.band_grid(12);
    const double T = std::exp(grid.ln_x1_origin + 150 * grid.ln_x1_step);  // about 3600 K: O2 dissociates
    const double rho = grid.x2_origin + 2 * grid.x2_step;
    const auto v = tables->at_T_rho(T, rho);
    ASSERT_TRUE(v.inside);
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

    // The corners are inside; a step beyond any edge is not; a set without tables holds nothing.
    EXPECT_TRUE(tables->holds(layout.T_min, layout.rho_low));
    EXPECT_TRUE(tables->holds(layout.T_max, layout.rho_high()));
    const double outside[][2] = {{0.99 * layout.T_min, 1.0},
                                 {1.01 * layout.T_max, 1.0},
                                 {1000.0, 0.99 * layout.rho_low},
                                 {1000.0, 1.01 * layout.rho_high()}};
    for (const auto& state : outside) EXPECT_FALSE(tables->holds(state[0], state[1])) << state[0] << " K, " << state[1];
    EXPECT_FALSE(table_set().holds(T, rho));
}

// Below the species data (200 K) the tables hold frozen ideal air, 79 % N2 and 21 % O2 with their
// rotation fully excited and their vibration frozen: cp = 7/2 R/M (the vibration of O2, theta_v =
// 2256 K, adds 0.01 % at 200 K; JANAF's N2 has 29.107 J/(mol K) = 3.5008 R at 200 K, NIST-JANAF
// tables, Chase 1998), gamma = kappa = 7/5, e linear in T with the slope cv = 5/2 R/M, both sound
// speeds sqrt(7/5 R T/M), and mu and lambda scaled from their values at 200 K by Sutherland's law
// for air, T^1.5/(T + 110.4 K) (White, Viscous Fluid Flow, 2006). These join the engine's values
// at 200 K. A wind-tunnel stream at 50 K and 101325 Pa has rho = p M/(R T) = 7.0317 kg/m3.
TEST(HypersonicData, ColdAirBelowTheSpeciesDataIsFrozenIdealAir) {
    namespace eq = mp::equilibrium;
    const auto tables = mp::hypersonic::builtin_tables();
    ASSERT_NE(tables, nullptr);
    EXPECT_EQ(tables->layout().T_frozen, 200.0);
    const double M = 0.0288503;
    const double R = eq::kGasConstant / M;
    constexpr double kRigidRotor = 1e-3;     // cp, gamma and a against 7/2 R/M, 7/5 and sqrt(7/5 R T)
    constexpr double kInterpolation = 2e-4;  // of Sutherland's law, interpolated between nodes
    const auto sutherland = [](double T) { return T * std::sqrt(T) / (T + 110.4); };
    for (const double rho : {1e-8, 1e-3, 1.0, 50.0}) {
        const auto cold = tables->at_T_rho(50.0, rho);
        const auto at_200 = tables->at_T_rho(200.0, rho);
        for (const double T : {50.0, 77.0, 120.0, 180.0}) {
            const auto s = tables->at_T_rho(T, rho);
            EXPECT_TRUE(s.inside);
            EXPECT_NEAR(s.cp, 3.5 * R, kRigidRotor * 3.5 * R) << T << " " << rho;
            EXPECT_NEAR(s.gamma, 1.4, kRigidRotor * 1.4) << T << " " << rho;
            EXPECT_NEAR(s.kappa, s.gamma, 1e-12) << T << " " << rho;
            EXPECT_NEAR(s.a, std::sqrt(1.4 * R * T), kRigidRotor * s.a) << T << " " << rho;
            EXPECT_NEAR(s.a_eq, s.a, 1e-12 * s.a) << T << " " << rho;
            if (T > 50.0) {
                EXPECT_NEAR((s.e - cold.e) / (T - 50.0), 2.5 * R, kRigidRotor * 2.5 * R) << T << " " << rho;
            }
            const double ratio = sutherland(T) / sutherland(50.0);
            EXPECT_NEAR(s.mu / cold.mu, ratio, kInterpolation * ratio) << T << " " << rho;
            EXPECT_NEAR(s.lambda / cold.lambda, ratio, kInterpolation * ratio) << T << " " << rho;
        }
        // At 200 K the tables are within interpolation of the engine's values.
        const eq::mixture air = eq::air::make_air();
        eq::state st;
        ASSERT_TRUE(eq::succeeded(air.solve_T_rho(200.0, rho, st, false)));
        eq::properties pr;
        ASSERT_TRUE(air.evaluate(st, pr));
        EXPECT_NEAR(at_200.p, pr.p, 1e-9 * pr.p);
        EXPECT_NEAR(at_200.e, pr.e, 1e-6 * (std::fabs(pr.e) + 287.0 * 200.0));
        EXPECT_NEAR(at_200.cp, pr.cp, 1e-5 * pr.cp);
        EXPECT_NEAR(at_200.gamma, pr.gamma, 1e-5 * pr.gamma);
        EXPECT_NEAR(at_200.a_eq, pr.sound_speed, 1e-5 * pr.sound_speed);
        // The transport's slope changes at 200 K (Sutherland below, Blottner's fits above): the
        // cell across it interpolates the kink.
        double mu = 0.0, lambda = 0.0;
        ASSERT_TRUE(eq::air::transport(200.0, pr.x, mu, lambda));
        EXPECT_NEAR(at_200.mu, mu, 1e-3 * mu);
        EXPECT_NEAR(at_200.lambda, lambda, 1e-3 * lambda);
        EXPECT_NEAR(cold.mu / mu, sutherland(50.0) / sutherland(200.0), kInterpolation);
    }
    // The wind-tunnel stream, through the medium's (p, T) operation.
    const auto stream = tables->at_p_T(101325.0, 50.0);
    constexpr double kBisection = 2e-6;  // the density search stops at a relative width of 1e-6
    EXPECT_NEAR(stream.rho, 101325.0 * M / (eq::kGasConstant * 50.0), kBisection * stream.rho);
    EXPECT_NEAR(stream.rho, 7.0317, 1e-4);
}
