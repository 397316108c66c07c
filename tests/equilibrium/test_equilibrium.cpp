// The chemical equilibrium engine (medium_physics/equilibrium/equilibrium.h) against independent
// computations: ideal-gas limits, equilibrium constants from the species' Gibbs energies,
// thermodynamic identities checked by finite differences of solved states, conservation at every
// point of a grid, a 7-coefficient species set of another element set, and the iteration caps.
#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "equilibrium/equilibrium.h"
#include "equilibrium/equilibrium_air.h"
#include "medium_physics/host_object.h"

namespace {

using namespace mp::equilibrium;
constexpr double R = kGasConstant;

// Largest relative error of element conservation and the charge imbalance relative to the
// total moles, straight from the amounts.
void expect_conserved(const mixture& m, const state& st, const char* where) {
    const species_set& set = m.set();
    for (int i = 0; i < set.element_count(); ++i) {
        double sum = 0.0;
        for (int j = 0; j < set.species_count(); ++j) sum += set.at(j).elements[i] * st.n[j];
        EXPECT_NEAR(sum / m.element_amount(i), 1.0, 1e-12) << where << " element " << set.element_name(i);
    }
    double charge = 0.0, carried = 0.0;
    for (int j = 0; j < set.species_count(); ++j) {
        charge += set.at(j).charge * st.n[j];
        carried += std::fabs(set.at(j).charge) * st.n[j];
    }
    EXPECT_LE(std::fabs(charge), 1e-12 * carried + 1e-300) << where;
}

mixture nitrogen_only() {  // the air set with no oxygen: N2, N, N2+, N+, e-
    double moles[air::kSpeciesCount] = {};
    moles[air::N2] = 1.0;
    mixture m;
    m.set_up_from_species(air::species(), moles);
    return m;
}

struct recording_sink : IHostMessageSink {
    std::vector<std::string> warnings;
    std::int32_t query_interface(std::any&) override { return 2; }
    void write_message(const char*) noexcept override {}
    void write_warning(const char* text) noexcept override { warnings.emplace_back(text); }
};

}  // namespace

TEST(EquilibriumPolynomials, IdentitiesAndContinuityOfThePublishedFits) {
    // cp = dh/dT and cp/T = ds/dT inside each range (central differences of the fit itself), and
    // the ranges meet at 1000 K and 6000 K: a mistyped coefficient breaks one of the two.
    for (int j = 0; j < air::kSpeciesCount; ++j) {
        const nasa_polynomial& p = air::species().at(j).thermo;
        for (double T : {300.0, 700.0, 2500.0, 4500.0, 9000.0, 15000.0}) {
            const double d = 1e-3 * T;
            const species_thermo lo = p.at(T - d), mid = p.at(T), hi = p.at(T + d);
            const double dh = ((T + d) * hi.h_RT - (T - d) * lo.h_RT) / (2 * d);
            const double ds = (hi.s_R - lo.s_R) / (2 * d);
            EXPECT_NEAR(dh, mid.cp_R, 2e-6 * (1 + mid.cp_R)) << air::species().at(j).name << " " << T;
            EXPECT_NEAR(ds * T, mid.cp_R, 2e-6 * (1 + mid.cp_R)) << air::species().at(j).name << " " << T;
        }
        for (double bound : {1000.0, 6000.0}) {
            const species_thermo below = p.at(bound), above = p.at(bound * (1 + 1e-12));
            EXPECT_NEAR(above.cp_R, below.cp_R, 2e-3 * below.cp_R) << air::species().at(j).name << " " << bound;
            EXPECT_NEAR(above.h_RT, below.h_RT, 1e-3 * (1 + std::fabs(below.h_RT))) << air::species().at(j).name;
            EXPECT_NEAR(above.s_R, below.s_R, 1e-3 * below.s_R) << air::species().at(j).name;
        }
    }
    // The elements in their reference states: h = 0 at 298.15 K (within the fits' 1 J/mol).
    for (int j : {air::N2, air::O2}) EXPECT_NEAR(air::species().at(j).thermo.at(298.15).h_RT * R * 298.15, 0.0, 1.0);
    // The electron: cp = 5/2 R at every temperature.
    EXPECT_DOUBLE_EQ(air::species().at(air::electron).thermo.at(12345.0).cp_R, 2.5);
}

TEST(EquilibriumEngine, NitrogenAtLowTemperatureIsTheIdealGas) {
    const mixture m = nitrogen_only();
    ASSERT_TRUE(m.ready());
    const double M = 2 * air::kNitrogenWeight;
    for (double T : {250.0, 300.0, 800.0}) {
        state st;
        ASSERT_EQ(m.solve_T_rho(T, 1.0, st, false), status::converged);
        properties pr;
        ASSERT_TRUE(m.evaluate(st, pr));
        const species_thermo th = air::species().at(air::N2).thermo.at(T);
        EXPECT_NEAR(pr.p / (R * T / M), 1.0, 1e-12) << T;
        EXPECT_NEAR(pr.h / (th.h_RT * R * T / M), 1.0, 1e-10) << T;
        EXPECT_NEAR(pr.e, pr.h - R * T / M, 1e-9 * std::fabs(pr.h) + 1e-6);
        EXPECT_NEAR(pr.cp / (th.cp_R * R / M), 1.0, 1e-10) << T;
        EXPECT_NEAR(pr.cv / ((th.cp_R - 1) * R / M), 1.0, 1e-10) << T;
        EXPECT_NEAR(pr.sound_speed, std::sqrt(th.cp_R / (th.cp_R - 1) * R * T / M), 1e-8 * pr.sound_speed);
        EXPECT_NEAR(pr.molar_mass, M, 1e-15);
        EXPECT_NEAR(pr.x[air::N2], 1.0, 1e-14);
    }
}

TEST(EquilibriumEngine, EquilibriumConstantsFromTheGibbsEnergies) {
    // Dissociation N2 <-> 2N and ionisation N <-> N+ + e-: Kp from the species' standard Gibbs
    // energies, compared with the partial pressures of the solved composition.
    const mixture m = nitrogen_only();
    for (double T : {5000.0, 7500.0, 12000.0}) {
        for (double rho : {1e-4, 1e-2, 1.0}) {
            state st;
            ASSERT_TRUE(succeeded(m.solve_T_rho(T, rho, st, false)));
            const auto g = [&](int j) { return air::species().at(j).thermo.at(T).g_RT(); };
            const auto pp = [&](int j) { return st.n[j] * rho * R * T / kReferencePressure; };  // p_j / p0
            const double K_diss = std::exp(-(2 * g(air::N) - g(air::N2)));
            const double K_ion = std::exp(-(g(air::N_plus) + g(air::electron) - g(air::N)));
            EXPECT_NEAR(pp(air::N) * pp(air::N) / pp(air::N2) / K_diss, 1.0, 1e-10) << T << " " << rho;
            EXPECT_NEAR(pp(air::N_plus) * pp(air::electron) / pp(air::N) / K_ion, 1.0, 1e-10) << T << " " << rho;
        }
    }
}

TEST(EquilibriumEngine, ConvergesAndConservesOverTheWholeGrid) {
    // T 200..20000 K (geometric) x rho 1e-7..100 kg/m3 (decades), cold starts and a warm sweep.
    const mixture m = air::make_air();
    int solved = 0;
    for (int k = 0; k <= 20; ++k) {
        const double T = 200.0 * std::pow(100.0, k / 20.0);
        state warm;
        for (int d = -7; d <= 2; ++d) {
            const double rho = std::pow(10.0, d);
            state cold;
            ASSERT_EQ(m.solve_T_rho(T, rho, cold, false), status::converged) << T << " " << rho;
            ASSERT_TRUE(succeeded(m.solve_T_rho(T, rho, warm, true))) << T << " " << rho;
            EXPECT_LE(cold.iterations, 20) << T << " " << rho;
            expect_conserved(m, cold, "cold");
            expect_conserved(m, warm, "warm");
            for (int j = 0; j < air::kSpeciesCount; ++j) EXPECT_NEAR(warm.n[j], cold.n[j], 1e-9 * cold.total_moles);
            properties pr;
            ASSERT_TRUE(m.evaluate(cold, pr)) << T << " " << rho;
            EXPECT_GT(pr.cv, 0.0);
            EXPECT_GT(pr.cp, pr.cv);
            EXPECT_GT(pr.sound_speed, 0.0);
            ++solved;
        }
    }
    EXPECT_EQ(solved, 21 * 10);
}

namespace {

// T at which the equilibrium energy is e at density rho (secant on engine solves).
double temperature_of_energy(const mixture& m, double rho, double e, double T) {
    state st;
    properties pr;
    double T1 = T * 1.001;
    m.solve_T_rho(T, rho, st, false);
    m.evaluate(st, pr);
    double f0 = pr.e - e;
    for (int it = 0; it < 60 && std::fabs(f0) > 1e-12 * std::fabs(e); ++it) {
        m.solve_T_rho(T1, rho, st, true);
        m.evaluate(st, pr);
        const double f1 = pr.e - e;
        const double next = T1 - f1 * (T1 - T) / (f1 - f0);
        T = T1;
        f0 = f1;
        T1 = next;
    }
    return T;
}

}  // namespace

TEST(EquilibriumEngine, DerivedPropertiesMatchFiniteDifferencesOfSolvedStates) {
    // cp = dh/dT along equilibrium states at constant p, cv = de/dT at constant rho, and
    // a^2 = (dp/drho)_e + p/rho^2 (dp/de)_rho, all by central differences of full solves.
    const mixture m = air::make_air();
    const double cases[][2] = {{2500.0, 1e5}, {4000.0, 1e3}, {7000.0, 1e5}, {9000.0, 1e6}, {14000.0, 1e4}};
    for (const auto& c : cases) {
        const double T = c[0], p = c[1];
        state st;
        ASSERT_TRUE(succeeded(m.solve_T_p(T, p, st, false)));
        EXPECT_NEAR(st.p / p, 1.0, 1e-11);
        properties pr;
        ASSERT_TRUE(m.evaluate(st, pr));
        const double dT = 1e-4 * T;
        state a = st, b = st;
        properties pa, pb;
        m.solve_T_p(T + dT, p, a);
        m.solve_T_p(T - dT, p, b);
        m.evaluate(a, pa);
        m.evaluate(b, pb);
        EXPECT_NEAR((pa.h - pb.h) / (2 * dT) / pr.cp, 1.0, 2e-5) << "cp at " << T << " K, " << p << " Pa";
        EXPECT_GT(pr.cp, 1.2 * pr.cp_frozen) << "the reaction part is large here";

        const double rho = st.rho;
        m.solve_T_rho(T + dT, rho, a);
        m.solve_T_rho(T - dT, rho, b);
        m.evaluate(a, pa);
        m.evaluate(b, pb);
        EXPECT_NEAR((pa.e - pb.e) / (2 * dT) / pr.cv, 1.0, 2e-5) << "cv at " << T;

        const double de = 1e-4 * std::fabs(pr.e), dr = 1e-4 * rho;
        const auto p_of = [&](double r, double e) {
            state s;
            properties q;
            m.solve_T_rho(temperature_of_energy(m, r, e, T), r, s, false);
            m.evaluate(s, q);
            return q.p;
        };
        const double dp_drho = (p_of(rho + dr, pr.e) - p_of(rho - dr, pr.e)) / (2 * dr);
        const double dp_de = (p_of(rho, pr.e + de) - p_of(rho, pr.e - de)) / (2 * de);
        const double a2 = dp_drho + pr.p / (rho * rho) * dp_de;
        EXPECT_NEAR(std::sqrt(a2) / pr.sound_speed, 1.0, 1e-5) << "a at " << T;
        EXPECT_NEAR(pr.isentropic_exponent, rho * a2 / pr.p, 2e-5 * pr.isentropic_exponent);
    }
}

TEST(EquilibriumEngine, PressureSolveAgreesWithTheDensitySolve) {
    const mixture m = air::make_air();
    state tp;
    ASSERT_TRUE(succeeded(m.solve_T_p(6000.0, 101325.0, tp, false)));
    state tr;
    ASSERT_TRUE(succeeded(m.solve_T_rho(6000.0, tp.rho, tr, false)));
    EXPECT_NEAR(tr.p / 101325.0, 1.0, 1e-11);
    for (int j = 0; j < air::kSpeciesCount; ++j) EXPECT_NEAR(tr.n[j], tp.n[j], 1e-10 * tp.total_moles);
}

TEST(EquilibriumEngine, WarmStartsFromANeighbourOrAComposition) {
    const mixture m = air::make_air();
    state near;
    ASSERT_TRUE(succeeded(m.solve_T_rho(7000.0, 0.01, near, false)));
    state cold;
    ASSERT_TRUE(succeeded(m.solve_T_rho(7100.0, 0.011, cold, false)));
    state warm = near;
    ASSERT_TRUE(succeeded(m.solve_T_rho(7100.0, 0.011, warm, true)));
    EXPECT_LT(warm.iterations, cold.iterations);
    // From mole fractions alone (as a caller would keep them).
    properties pr;
    ASSERT_TRUE(m.evaluate(near, pr));
    state from_x;
    ASSERT_TRUE(m.start_from_composition(7100.0, 0.011, pr.x, from_x));
    ASSERT_TRUE(succeeded(m.solve_T_rho(7100.0, 0.011, from_x, true)));
    EXPECT_LT(from_x.iterations, cold.iterations);
    for (int j = 0; j < air::kSpeciesCount; ++j) {
        EXPECT_NEAR(warm.n[j], cold.n[j], 1e-10 * cold.total_moles);
        EXPECT_NEAR(from_x.n[j], cold.n[j], 1e-10 * cold.total_moles);
    }
}

TEST(EquilibriumEngine, BadInputGivesAStatusNotACrash) {
    const mixture m = air::make_air();
    state st;
    const double nan = std::nan("");
    for (const auto& [T, rho] : {std::pair{nan, 1.0}, {300.0, nan}, {-5.0, 1.0}, {300.0, -1.0}, {0.0, 1.0}, {300.0, 0.0},
                                 {INFINITY, 1.0}}) {
        EXPECT_EQ(m.solve_T_rho(T, rho, st), status::invalid_input) << T << " " << rho;
        EXPECT_EQ(m.solve_T_p(T, rho * 1e5, st), status::invalid_input);
    }
    properties pr;
    EXPECT_FALSE(m.evaluate(st, pr));
    mixture unset;
    EXPECT_EQ(unset.solve_T_rho(300.0, 1.0, st), status::invalid_input);
    double x[air::kSpeciesCount] = {};
    EXPECT_FALSE(m.start_from_composition(300.0, 1.0, x, st));  // all zero
    const double negative[2] = {-1.0, 1.0};
    EXPECT_FALSE(unset.set_up(air::species(), negative));
    EXPECT_FALSE(unset.ready());
}

TEST(EquilibriumEngine, CapsFallBackAndReport) {
    mixture m = air::make_air();
    recording_sink sink;
    m.set_message_sink(&sink);
    state reference;
    ASSERT_EQ(m.solve_T_rho(9000.0, 1e-3, reference, false), status::converged);

    // One step of the cold start and one Newton step cannot reach the point: the damped dual
    // iteration takes over.
    limits one;
    one.start_iterations = 1;
    one.newton_iterations = 1;
    m.set_limits(one);
    state st;
    ASSERT_EQ(m.solve_T_rho(9000.0, 1e-3, st, false), status::converged_by_fallback);
    for (int j = 0; j < air::kSpeciesCount; ++j) EXPECT_NEAR(st.n[j], reference.n[j], 1e-9 * reference.total_moles);
    EXPECT_TRUE(sink.warnings.empty());

    // Both capped: not converged, one warning line, no potentials handed on as a start.
    one.fallback_iterations = 1;
    m.set_limits(one);
    EXPECT_EQ(m.solve_T_rho(9000.0, 1e-3, st, false), status::not_converged);
    EXPECT_FALSE(st.has_potentials);
    properties pr;
    EXPECT_FALSE(m.evaluate(st, pr));
    ASSERT_EQ(sink.warnings.size(), 1u);
    EXPECT_NE(sink.warnings[0].find("chemical equilibrium not solved at T = 9000 K"), std::string::npos) << sink.warnings[0];
    EXPECT_EQ(m.solve_T_p(9000.0, 1e3, st, false), status::not_converged);
    EXPECT_EQ(sink.warnings.size(), 2u);
}

TEST(EquilibriumEngine, SevenCoefficientSetOfOtherElements) {
    // H2 + 1/2 O2 <-> H2O with the NASA 7-coefficient data of data/thermo/gas_coefficients.json:
    // no ions, no charge row; Kp from the Gibbs energies again.
    std::ifstream f(MP_SOURCE_DIR "/data/thermo/gas_coefficients.json");
    ASSERT_TRUE(f.good());
    const auto data = nlohmann::json::parse(f);
    species_set set;
    ASSERT_TRUE(set.add_element("H", data["atomic_weights"]["H"].get<double>() * 1e-3));
    ASSERT_TRUE(set.add_element("O", data["atomic_weights"]["O"].get<double>() * 1e-3));
    for (const char* name : {"H2", "O2", "H2O"}) {
        for (const auto& s : data["species"]) {
            if (s["name"] != name) continue;
            nasa_polynomial p;
            p.coefficient_count = 7;
            const auto bounds = s["nasa7"]["temperature_ranges"].get<std::vector<double>>();
            const auto coef = s["nasa7"]["coefficients"].get<std::vector<std::vector<double>>>();
            p.range_count = static_cast<int>(coef.size());
            for (std::size_t i = 0; i < bounds.size(); ++i) p.bounds[i] = bounds[i];
            for (std::size_t r = 0; r < coef.size(); ++r)
                for (std::size_t i = 0; i < 7; ++i) p.a[r][i] = coef[r][i];
            const double counts[2] = {s["composition"].value("H", 0.0), s["composition"].value("O", 0.0)};
            ASSERT_TRUE(set.add_species(name, counts, 0, p));
        }
    }
    ASSERT_EQ(set.species_count(), 3);
    mixture m;
    const double moles[3] = {2.0, 1.0, 0.0};
    ASSERT_TRUE(m.set_up_from_species(set, moles));
    EXPECT_EQ(m.balance_count(), 2);
    for (double T : {300.0, 2500.0, 3500.0}) {
        state st;
        ASSERT_TRUE(succeeded(m.solve_T_p(T, 1e5, st, false))) << T;
        expect_conserved(m, st, "H2/O2");
        const auto g = [&](int j) { return set.at(j).thermo.at(T).g_RT(); };
        const auto pp = [&](int j) { return st.n[j] / st.total_moles * 1e5 / kReferencePressure; };
        const double K = std::exp(-(g(2) - g(0) - 0.5 * g(1)));
        if (T > 1000.0) EXPECT_NEAR(pp(2) / (pp(0) * std::sqrt(pp(1))) / K, 1.0, 1e-9) << T;
        else EXPECT_GT(st.n[2] / st.total_moles, 1.0 - 1e-12);  // all water at room temperature
    }
}
