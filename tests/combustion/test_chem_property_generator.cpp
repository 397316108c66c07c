// The chemistry property generator: its nodes against full equilibrium solves of the engine, the
// lookup's sound speed against a finite difference of full solves at constant entropy (so the
// volume-derivative fields are the ones the lookup's formula needs), a VT table against the PT
// one, bit-identical tables on one and on two threads, and the refusals of unusable settings.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <memory>

#include "combustion/cchempropertygenerator.h"
#include "combustion/combustion_chemistry.h"

namespace {

using namespace mp;
using namespace mp::combustion;

// Table values against engine values computed the same way: round-off only.
constexpr double kSameComputation = 1e-12;

std::shared_ptr<const chemistry> methane_air(bool nox = true) {
    stream fuel;
    fuel.add("CH4", 1.0);
    auto chem = std::make_shared<chemistry>();
    chemistry_error why;
    EXPECT_TRUE(chem->set_up(fuel, air(), nox, why)) << to_text(why);
    return chem;
}

bool same_fields(const C_3d_Chem_property& a, const C_3d_Chem_property& b) {
    if (a.count_a() != b.count_a() || a.count_b() != b.count_b() || a.cells() != b.cells()) return false;
    for (std::int32_t f = 0; f < a.count_a() + a.count_b(); ++f)
        if (std::memcmp(a.field(f), b.field(f), a.cells() * sizeof(double)) != 0) return false;
    return true;
}

// Entropy at (T, rho) of the mixture, by a full solve.
double entropy(const equilibrium::mixture& m, double T, double rho, double& p) {
    equilibrium::state st;
    EXPECT_EQ(m.solve_T_rho(T, rho, st, false), equilibrium::status::converged);
    equilibrium::properties pr;
    EXPECT_TRUE(m.evaluate(st, pr));
    p = pr.p;
    return pr.s;
}

// p at density rho on the isentrope s: T by the secant method on s(T, rho).
double pressure_on_isentrope(const equilibrium::mixture& m, double s, double rho, double T0) {
    double p = 0.0;
    double T1 = T0, T2 = T0 * 1.001;
    double s1 = entropy(m, T1, rho, p) - s, s2 = entropy(m, T2, rho, p) - s;
    for (int i = 0; i < 30 && std::fabs(s2) > 1e-12 * std::fabs(s); ++i) {
        const double T3 = T2 - s2 * (T2 - T1) / (s2 - s1);
        T1 = T2;
        s1 = s2;
        T2 = T3;
        s2 = entropy(m, T2, rho, p) - s;
    }
    entropy(m, T2, rho, p);
    return p;
}

}  // namespace

TEST(ChemPropertyGenerator, NodesAreEquilibriumStatesAndTheSoundSpeedIsTheEquilibriumOne) {
    const auto chem = methane_air();
    chem_generator_settings s;
    s.x1_min = 1e4;
    s.x1_max = 1e6;
    s.T_min = 300.0;
    s.T_max = 3000.0;
    CChemPropertyGenerator generator(chem, s, nullptr, 1);
    C_3d_Chem_property_PT table;
    ASSERT_TRUE(generator.generate(table, 3, 10, 11));
    EXPECT_EQ(generator.report().failed, 0);
    EXPECT_EQ(table.count_a(), kPropertyFieldCount);
    EXPECT_TRUE(generator.keep_in_file());

    // Every node of one column against a full solve at (p, T, z).
    const double p = table.axis_values(0)[1];
    const double z = table.axis_values(2)[3];
    equilibrium::mixture m;
    ASSERT_TRUE(chem->mixture_at(z, m));
    int idx[kMaxReportedSpecies];
    const std::int32_t reported = reported_species(*chem, idx);
    ASSERT_EQ(table.count_b(), reported);
    ASSERT_GE(reported, 13);  // N2 .. N2O, then CH4
    EXPECT_EQ(idx[0], chem->find("N2"));
    EXPECT_EQ(idx[reported - 1], chem->find("CH4"));
    for (std::int32_t j = 0; j < table.size(1); ++j) {
        const double T = table.axis_values(1)[j];
        equilibrium::state st;
        ASSERT_EQ(m.solve_T_p(T, p, st, false), equilibrium::status::converged);
        equilibrium::properties pr;
        ASSERT_TRUE(m.evaluate(st, pr));
        const std::size_t at = (std::size_t{1} * table.size(1) + static_cast<std::size_t>(j)) * table.size(2) + 3;
        EXPECT_NEAR(std::exp(table.field(kFieldLogVolume)[at]) * pr.rho, 1.0, kSameComputation) << T;
        EXPECT_NEAR(table.field(kFieldEnthalpy)[at], pr.h, kSameComputation * std::fabs(pr.h) + 1e-6) << T;
        EXPECT_NEAR(table.field(kFieldCp)[at] / pr.cp, 1.0, kSameComputation) << T;
        EXPECT_NEAR(table.field(kFieldMolarMass)[at] / pr.molar_mass, 1.0, kSameComputation) << T;
        const int h2o = chem->find("H2O");
        EXPECT_NEAR(table.field(kPropertyFieldCount + 2)[at],
                    st.n[h2o] * chem->species().at(h2o).molar_mass, 1e-12) << T;
        // The lookup exactly on this node: its sound speed and gamma are the engine's equilibrium ones.
        const chem_lookup_result r = table.lookup(p, T, z, 0.0, 0.0);
        EXPECT_NEAR(r.out[5] / pr.sound_speed, 1.0, 1e-9) << T;
        EXPECT_NEAR(r.out[3] / (pr.cp / pr.cv), 1.0, 1e-9) << T;
    }

    // The equilibrium sound speed against a finite difference of full solves along the isentrope,
    // a^2 = (dp/drho)_s, at a node of a burning mixture (2000 K, stoichiometric).
    const double T = 2000.0, pp = 1e5, zst = chem->stoichiometric_mixture_fraction();
    equilibrium::mixture mst;
    ASSERT_TRUE(chem->mixture_at(zst, mst));
    equilibrium::state st;
    ASSERT_EQ(mst.solve_T_p(T, pp, st, false), equilibrium::status::converged);
    equilibrium::properties pr;
    ASSERT_TRUE(mst.evaluate(st, pr));
    const double d = 1e-4 * pr.rho;
    const double dp = pressure_on_isentrope(mst, pr.s, pr.rho + d, T) - pressure_on_isentrope(mst, pr.s, pr.rho - d, T);
    const double a_fd = std::sqrt(dp / (2 * d));
    double values[kPropertyFieldCount + kMaxReportedSpecies];
    equilibrium::state node_state;
    ASSERT_TRUE(generator.node(chem_variant::PT, mst, pp, T, node_state, values));
    const double v = std::exp(values[kFieldLogVolume]);
    const double a_fields =
        std::sqrt(-(v * v / (values[kFieldVolumeByT] * values[kFieldVolumeByT] * T / values[kFieldCp] +
                             values[kFieldVolumeByP])));
    EXPECT_NEAR(a_fields / a_fd, 1.0, 1e-6);
    // Frozen sound speed is clearly different there (the test would see a wrong derivative).
    EXPECT_GT(std::fabs(std::sqrt(pr.cp_frozen / pr.cv_frozen * pp / pr.rho) / a_fd - 1.0), 1e-3);

}

TEST(ChemPropertyGenerator, VolumeTableAgreesWithThePressureTable) {
    // A VT node at v = 1/rho of a PT node holds the same state: T, z and the density fix it.
    const auto chem = methane_air(false);
    EXPECT_LT(chem->find("NO"), 0);  // nitrogen inert without the NOx option
    chem_generator_settings s{0.5, 50.0, 500.0, 2500.0};
    CChemPropertyGenerator generator(chem, s, nullptr, 1);
    C_3d_Chem_property_VT table;
    ASSERT_TRUE(generator.generate(table, 3, 5, 3));
    EXPECT_EQ(table.vt_value(), kChemFieldLayout);
    const double v = table.axis_values(0)[1], T = table.axis_values(1)[2], z = table.axis_values(2)[1];
    equilibrium::mixture m;
    ASSERT_TRUE(chem->mixture_at(z, m));
    equilibrium::state st;
    ASSERT_EQ(m.solve_T_rho(T, 1.0 / v, st, false), equilibrium::status::converged);
    double values[kPropertyFieldCount + kMaxReportedSpecies];
    equilibrium::state at_p;
    ASSERT_TRUE(generator.node(chem_variant::PT, m, st.p, T, at_p, values));
    const std::size_t at = (std::size_t{1} * 5 + 2) * 3 + 1;
    for (std::int32_t f = 0; f < kPropertyFieldCount; ++f)
        EXPECT_NEAR(table.field(f)[at], values[f], 1e-9 * std::fabs(values[f]) + 1e-300) << "field " << f;
    EXPECT_EQ(table.field(kFieldNO)[at], 0.0);
}

TEST(ChemPropertyGenerator, OneAndTwoThreadsGiveTheSameBits) {
    const auto chem = methane_air();
    chem_generator_settings s{1e4, 1e7, 250.0, 3500.0};
    CChemPropertyGenerator one(chem, s, nullptr, 1), two(chem, s, nullptr, 2);
    C_3d_Chem_property_PT a, b;
    ASSERT_TRUE(one.generate(a, 4, 12, 9));
    ASSERT_TRUE(two.generate(b, 4, 12, 9));
    EXPECT_EQ(one.report().failed, 0);
    EXPECT_TRUE(same_fields(a, b));
}

TEST(ChemPropertyGenerator, RefusesUnusableSettings) {
    const auto chem = methane_air();
    C_3d_Chem_property_PT table;
    for (const chem_generator_settings& s :
         {chem_generator_settings{0.0, 1e5, 300.0, 2000.0}, chem_generator_settings{1e5, 1e4, 300.0, 2000.0},
          chem_generator_settings{1e4, 1e5, 0.0, 2000.0}, chem_generator_settings{1e4, 1e5, 300.0, NAN}}) {
        CChemPropertyGenerator g(chem, s, nullptr, 1);
        EXPECT_FALSE(g.generate(table, 3, 3, 3));
        EXPECT_TRUE(table.empty());
    }
    CChemPropertyGenerator g(chem, chem_generator_settings{1e4, 1e5, 300.0, 2000.0}, nullptr, 1);
    EXPECT_FALSE(g.generate(table, 1, 3, 3));
    CChemPropertyGenerator unusable(std::make_shared<chemistry>(), chem_generator_settings{1e4, 1e5, 300.0, 2000.0},
                                    nullptr, 1);
    EXPECT_FALSE(unusable.generate(table, 3, 3, 3));
}
