// Ideal-gas and perfect-gas mixtures through the factory: properties against hand calculations
// and closed forms, the Newton iterations' step counts, warnings and fallbacks, stream round trips.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <set>

#include "support/log_site.h"
#include "gas/c_ideal_gas_thermodynamics.h"
#include "gas/c_perfect_gas_thermodynamics.h"
#include "file_io/c_file_io/c_file_io.h"
#include "medium_physics/standalone_host.h"

namespace {

constexpr double kR = 8.3144;
constexpr double kMN2 = 0.0280134, kMO2 = 0.0319988;

// N2 with cp rising linearly 1000 -> 1300 J/(kg K) over 300..1300 K, O2 with constant cp 920,
// air-perfect with cp 1005 and M 0.028965.
const char* kMaterials = R"({"materials": [
  {"name": "N2", "identifier": "A0000000-0000-4000-8000-000000000001", "kind": "ideal_gas", "molar_mass": 0.0280134,
   "gamma": 1.4, "cp": {"constant": 0, "table": {"T": [300, 1300], "value": [1000, 1300]}},
   "viscosity": {"constant": 0, "table": {"T": [300, 1300], "value": [1.8e-5, 4.8e-5]}},
   "conductivity": {"constant": 0.026}},
  {"name": "O2", "identifier": "A0000000-0000-4000-8000-000000000002", "kind": "ideal_gas", "molar_mass": 0.0319988,
   "gamma": 1.4, "cp": {"constant": 920}, "viscosity": {"constant": 2.0e-5}, "conductivity": {"constant": 0.030}},
  {"name": "air-perfect", "identifier": "A0000000-0000-4000-8000-000000000003", "kind": "perfect_gas",
   "molar_mass": 0.028965, "gamma": 1.4, "cp": {"constant": 1005}, "viscosity": {"constant": 1.8e-5},
   "conductivity": {"constant": 0.026}}],
 "media": [{"name": "mix", "kind": "ideal_gas", "substances": ["N2", "O2"], "mass_fractions": [0.75, 0.25]}]})";

struct gas_fixture : ::testing::Test {
    std::shared_ptr<I_medium_physics> factory;
    standalone_host::material_library library;
    void SetUp() override {
        ASSERT_EQ(create_medium_physics(factory, std::make_shared<standalone_host::CStandaloneHost>()), MP_STATUS_OK);
        library.add_text(kMaterials, "test");
    }
    template <class I>
    std::shared_ptr<I> make(const std::string& name, bool register_it = true) {
        fluid_ptr medium;
        std::string why;
        EXPECT_EQ(standalone_host::create_medium(*factory, library, *library.find_medium(name), register_it, medium, &why),
                  MP_STATUS_OK)
            << why;
        std::any request = std::shared_ptr<I>();
        EXPECT_EQ(medium->query_interface(request), MP_STATUS_OK);
        return std::any_cast<std::shared_ptr<I>>(request);
    }
};

using P_H = I_solver__thermodynamics_P_H;
using Rho_E = I_solver__thermodynamics_Rho_E;

struct p_h_result {
    double rho, T, cp, gamma, M, a, mu, lambda, p;
};
p_h_result properties_p_H(const P_H& m, double H, double p, const double* Y, double G2, double T0) {
    p_h_result r{};
    m.get_properties_p_H(H, p, Y, G2, T0, &r.rho, &r.T, &r.cp, &r.gamma, &r.M, &r.a, &r.mu, &r.lambda, &r.p);
    return r;
}

// h of the N2 table by hand: 1000 T below 300 K; above, 300000 + 1000 d + 0.15 d^2 (d = T - 300).
double h_n2(double T) { return T <= 300 ? 1000 * T : 300000 + 1000 * (T - 300) + 0.15 * (T - 300) * (T - 300); }
double cp_n2(double T) { return T <= 300 ? 1000 : (T >= 1300 ? 1300 : 1000 + 0.3 * (T - 300)); }

// Replaces the iteration limit in the saved record of the one registered medium.
std::vector<std::uint8_t> with_limit(std::vector<std::uint8_t> data, std::int32_t substances, std::int32_t limit) {
    const std::size_t at = data.size() - (16 * static_cast<std::size_t>(substances) + 4 + 4);
    std::memcpy(data.data() + at, &limit, 4);
    return data;
}

}  // namespace

TEST_F(gas_fixture, MixtureStateAgainstHandCalculation) {
    auto m = make<P_H>("mix");
    const double Y[2] = {0.75, 0.25};
    const double T = 800.0, p = 2e5;
    const double inv = 0.75 / kMN2 + 0.25 / kMO2;
    const double R = kR * inv;
    double rho, h, cp, gamma, M, a, mu, lambda;
    m->get_properties_p_T(p, T, Y, &rho, &h, &cp, &gamma, &M, &a, &mu, &lambda);
    EXPECT_NEAR(rho, p / (R * T), 1e-12 * rho);
    EXPECT_NEAR(h, 0.75 * h_n2(T) + 0.25 * 920 * T, 1e-9 * h);
    EXPECT_NEAR(cp, 0.75 * cp_n2(T) + 0.25 * 920, 1e-12 * cp);
    EXPECT_NEAR(M, 1.0 / inv, 1e-15);
    EXPECT_NEAR(gamma, cp / (cp - R), 1e-12);
    EXPECT_NEAR(a, std::sqrt(gamma * R * T), 1e-9);
    // Mole-fraction averages: X_N2 = (0.75/M_N2) / inv.
    const double x = (0.75 / kMN2) / inv;
    EXPECT_NEAR(mu, x * (1.8e-5 + 3e-5 * 0.5) + (1 - x) * 2.0e-5, 1e-15);
    EXPECT_NEAR(lambda, x * 0.026 + (1 - x) * 0.030, 1e-15);
    EXPECT_EQ(m->get_drho_dp(p, T, Y), 1.0 / (R * T));
    EXPECT_EQ(m->get_compressibility(p, T, Y), 1.0 / (R * T));
    EXPECT_EQ(m->get_expansion_factor(p, T, Y), 1.0);
}

TEST_F(gas_fixture, MoleAndMassFractions) {
    // N2/O2 75/25 by mass is 77.4 % / 22.6 % by mole (hand calculation: 0.75 / 0.0280134 = 26.773,
    // 0.25 / 0.0319988 = 7.8128, 26.773 / 34.586 = 0.77410).
    auto m = make<P_H>("mix");
    const double Y[2] = {0.75, 0.25};
    EXPECT_NEAR(m->get_mole_fraction(1e5, 300.0, Y, 0), 0.77410, 1e-5);
    const double X[2] = {m->get_mole_fraction(1e5, 300.0, Y, 0), m->get_mole_fraction(1e5, 300.0, Y, 1)};
    EXPECT_NEAR(X[0] + X[1], 1.0, 1e-15);
    EXPECT_NEAR(m->get_mass_fraction(1e5, 300.0, X, 1), 0.25, 1e-14);
    for (std::int32_t k : {-1, 2}) {
        EXPECT_EQ(m->get_mole_fraction(1e5, 300.0, Y, k), 0.0);
        EXPECT_EQ(m->get_mass_fraction(1e5, 300.0, X, k), 0.0);
    }
}

TEST_F(gas_fixture, NewtonFromTotalEnthalpyMatchesTheClosedForm) {
    // Constant cp: cp T + K T^2 = H has the root T = (sqrt(cp^2 + 4 K H) - cp) / (2 K).
    auto m = make<P_H>("O2");
    const double Y[1] = {1.0};
    const double R = kR / kMO2, p = 1e5, G2 = 400.0 * 400.0, cp = 920.0;
    const double K = G2 * 0.5 * R * R / (p * p);
    const double H = 500000.0;
    const double T_exact = (std::sqrt(cp * cp + 4 * K * H) - cp) / (2 * K);
    const auto r = properties_p_H(*m, H, p, Y, G2, 300.0);
    EXPECT_NEAR(r.T, T_exact, 1e-5 * T_exact);
    EXPECT_NEAR(r.rho, p / (R * r.T), 1e-12 * r.rho);
    EXPECT_EQ(r.p, p);
    // The kinetic part is consistent: u = G / rho, H = cp T + u^2 / 2.
    const double u = std::sqrt(G2) / r.rho;
    EXPECT_NEAR(cp * r.T + 0.5 * u * u, H, 1e-4 * H);

    // Without mass flux: h(T) = H on the N2 table (quadratic between its points).
    auto n2 = make<P_H>("N2");
    const double T_n2 = 300.0 + (-1000.0 + std::sqrt(1e6 + 4 * 0.15 * 450000.0)) / 0.3;  // h = 750000
    EXPECT_NEAR(properties_p_H(*n2, 750000.0, p, Y, 0.0, 1000.0).T, T_n2, 1e-5 * T_n2);
    EXPECT_NEAR(n2->get_T_p_h(p, 750000.0, Y), T_n2, 1e-5 * T_n2);
    EXPECT_NEAR(n2->get_temperature_from_enthalpy(750000.0, p, Y, 0.0, 1000.0), T_n2, 1e-5 * T_n2);
}

TEST_F(gas_fixture, RoundTripsOverTheWholeRange) {
    auto m = make<P_H>("mix");
    std::any request = std::shared_ptr<Rho_E>();
    ASSERT_EQ(m->query_interface(request), MP_STATUS_OK);
    auto rho_e = std::any_cast<std::shared_ptr<Rho_E>>(request);
    const double Y[2] = {0.75, 0.25};
    const double R = kR * (0.75 / kMN2 + 0.25 / kMO2);
    for (double T = 200.0; T <= 6000.0; T += 97.0) {
        const double h = m->get_enthalpy(1e5, T, Y);
        EXPECT_NEAR(m->get_T_p_h(1e5, h, Y), T, 1e-5 * T) << T;
        EXPECT_NEAR(properties_p_H(*m, h, 1e5, Y, 0.0, T + 50.0).T, T, 1e-5 * T) << T;
        double p, TT, cp, gamma, M, a, mu, lambda;
        rho_e->get_properties_rho_e(h - R * T, 1.3, Y, T - 50.0, &p, &TT, &cp, &gamma, &M, &a, &mu, &lambda);
        EXPECT_NEAR(TT, T, 1e-5 * T) << T;
        EXPECT_NEAR(p, R * 1.3 * TT, 1e-9 * p);
        double e;
        rho_e->get_properties_p_rho(R * 1.3 * T, 1.3, Y, 0.0, &e, &TT, &cp, &gamma, &M, &a, &mu, &lambda);
        EXPECT_NEAR(TT, T, 1e-12 * T);
        EXPECT_NEAR(e, h - R * T, 1e-9 * std::fabs(h));
    }
}

TEST_F(gas_fixture, IterationLimitIsReachedOnTheStatedStep) {
    // With constant cp the first Newton step lands on the answer and the second confirms it, so
    // the (p, H) loop needs limit >= 1 (failure on step N + 2) and get_T_p_h needs limit >= 2
    // (failure on step N + 1). Limits are set through a saved record.
    make<P_H>("O2");
    C_file_io s;
    s.open_memory();
    ASSERT_EQ(factory->Save(s), MP_STATUS_OK);
    const auto saved = s.memory_bytes();
    const double Y[1] = {1.0};
    const double H = 920.0 * 700.0;
    struct expectation {
        std::int32_t limit;
        bool p_h_converges, t_p_h_converges;
    };
    for (const expectation e : {expectation{0, false, false}, {1, true, false}, {2, true, true}}) {
        std::shared_ptr<I_medium_physics> g;
        ASSERT_EQ(create_medium_physics(g, std::make_shared<standalone_host::CStandaloneHost>()), MP_STATUS_OK);
        C_file_io r;
        r.open_memory(with_limit(saved, 1, e.limit));
        ASSERT_EQ(g->Load(r), MP_STATUS_OK);
        auto* f = dynamic_cast<C_medium_physics*>(g.get());
        ASSERT_EQ(f->registry_size(), 1u);
        standalone_host::log_capture cap;
        // Find the medium again: the only registered one.
        C_file_io again;
        again.open_memory();
        g->Save(again);
        const auto b = again.memory_bytes();
        host_guid id;
        std::memcpy(id.bytes.data(), b.data() + b.size() - (16 + 4 + 4 + 8 + 16), 16);
        fluid_ptr medium;
        ASSERT_EQ(g->FindThermodynamics(id, medium), MP_STATUS_OK);
        std::any request = std::shared_ptr<P_H>();
        ASSERT_EQ(medium->query_interface(request), MP_STATUS_OK);
        auto m = std::any_cast<std::shared_ptr<P_H>>(request);

        EXPECT_EQ(properties_p_H(*m, H, 1e5, Y, 0.0, 400.0).T, e.p_h_converges ? 700.0 : 400.0) << e.limit;
        EXPECT_EQ(m->get_T_p_h(1e5, H, Y), e.t_p_h_converges ? 700.0 : 300.0) << e.limit;
        const std::size_t warnings = (e.p_h_converges ? 0 : 1) + (e.t_p_h_converges ? 0 : 1);
        EXPECT_EQ(cap.count("Warning 3002: MediumPhysics: medium_physics/gas/c_ideal_gas_thermodynamics.cpp("),
                  warnings);
    }
}

TEST_F(gas_fixture, UnreachableTargetsWarnAndFallBack) {
    auto m = make<P_H>("N2");
    std::any request = std::shared_ptr<Rho_E>();
    ASSERT_EQ(m->query_interface(request), MP_STATUS_OK);
    auto rho_e = std::any_cast<std::shared_ptr<Rho_E>>(request);
    const double Y[1] = {1.0};
    standalone_host::log_capture cap;
    EXPECT_EQ(m->get_T_p_h(1e5, NAN, Y), 300.0);
    EXPECT_EQ(properties_p_H(*m, NAN, 1e5, Y, 0.0, 555.0).T, 555.0);
    double p, T, cp, gamma, M, a, mu, lambda;
    rho_e->get_properties_rho_e(NAN, 1.0, Y, 444.0, &p, &T, &cp, &gamma, &M, &a, &mu, &lambda);
    EXPECT_EQ(T, 444.0);
    const auto lines = cap.lines();
    ASSERT_EQ(lines.size(), 3u);
    // One warning per loop, each from its own line.
    std::set<std::string> distinct;
    for (const auto& l : lines) {
        EXPECT_EQ(l.entry, host_log::entry::warning);
        EXPECT_NE(l.text.find("Inconsistent physical parameters!\n"), std::string::npos);
        EXPECT_TRUE(test_support::written_by_statement_in(l.text, "medium_physics/gas/c_ideal_gas_thermodynamics.cpp"));
        distinct.insert(l.text);
    }
    EXPECT_EQ(distinct.size(), 3u);
    // The perfect gas shares the loops but reports from its own source file.
    cap.clear();
    auto perfect = make<P_H>("air-perfect");
    EXPECT_EQ(perfect->get_T_p_h(1e5, NAN, Y), 300.0);
    ASSERT_EQ(cap.lines().size(), 1u);
    EXPECT_TRUE(test_support::written_by_statement_in(cap.lines()[0].text,
                                                      "medium_physics/gas/c_perfect_gas_thermodynamics.cpp"));
}

TEST_F(gas_fixture, RhoTClosedFormCheckAndDiscriminant) {
    auto m = make<P_H>("O2");
    const double Y[1] = {1.0};
    const double R = kR / kMO2, p = 1e5;
    double rho = 0, T = 0;
    // G2 = 0 and T0 = H / cp: the closed form reproduces rho(p, T0) and stands.
    m->RhoT(920.0 * 500.0, p, Y, 0.0, 9.0, 500.0, &rho, &T);
    EXPECT_NEAR(T, 500.0, 1e-9);
    EXPECT_NEAR(rho, p / (R * 500.0), 1e-12);
    // From another start the closed form misses rho(p, T0); the Newton stage finds T.
    m->RhoT(920.0 * 500.0, p, Y, 0.0, 9.0, 300.0, &rho, &T);
    EXPECT_NEAR(T, 500.0, 1e-3);
    EXPECT_EQ(rho, p / (R * T));
    // A negative discriminant (H < 0 with mass flux) is reported as a plain message; the Newton
    // stage then has no solution either and falls back to T0.
    standalone_host::log_capture cap;
    m->RhoT(-1e6, p, Y, 1e6, 2.0, 321.0, &rho, &T);
    EXPECT_EQ(T, 321.0);
    EXPECT_EQ(cap.count("Function RhoT(): Discriminant for Cp=const in ideal gas case < 0\n"), 1u);
    const auto lines = cap.lines();
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines[0].entry, host_log::entry::message);
    EXPECT_EQ(lines[0].text.rfind("MediumPhysics: medium_physics/gas/c_ideal_gas_thermodynamics.cpp(", 0), 0u);
}

TEST_F(gas_fixture, GammaClosuresAndTransportFractions) {
    auto m = make<Rho_E>("mix");
    const double Y[2] = {0.75, 0.25};
    // gamma from the substances' constant gamma_i = 1.4, whatever the cp tables say.
    EXPECT_NEAR(m->get_gamma(2000.0, Y), 1.4, 1e-14);
    const double R = kR * (0.75 / kMN2 + 0.25 / kMO2);
    EXPECT_NEAR(m->get_temperature_e(2.5e5, Y), 0.4 * 2.5e5 / R, 1e-9);
    // Negative fractions are cleaned for get_viscosity but not for the (p, H) results.
    const double dirty[2] = {1.2, -0.2};
    const double clean_x = 1.0;  // all N2 after cleaning
    EXPECT_NEAR(m->get_viscosity(1e5, 300.0, dirty), clean_x * 1.8e-5, 1e-18);
    const auto r = properties_p_H(dynamic_cast<const P_H&>(*m), 3e5, 1e5, dirty, 0.0, 300.0);
    // The raw rule: "mole fractions" from the fractions as given, one of them above 1.
    const double x_n2 = (1.2 / kMN2) / (1.2 / kMN2 - 0.2 / kMO2);
    const double mu_n2 = r.T <= 300.0 ? 1.8e-5 : 1.8e-5 + 3e-8 * (r.T - 300.0);
    EXPECT_NEAR(r.mu, x_n2 * mu_n2 + (1 - x_n2) * 2.0e-5, 1e-15);
}

TEST_F(gas_fixture, PerfectGasClosedForms) {
    auto m = make<Rho_E>("air-perfect");
    const double Y[1] = {1.0};
    const double cp = 1005.0, R = kR / 0.028965;
    double p, T, c, gamma, M, a, mu, lambda;
    m->get_properties_rho_e(0.0, 1.2, Y, 500.0, &p, &T, &c, &gamma, &M, &a, &mu, &lambda);
    EXPECT_EQ(T, 1.0);
    EXPECT_NEAR(p, R * 1.2, 1e-12);
    m->get_properties_rho_e((cp - R) * 400.0, 1.2, Y, 10.0, &p, &T, &c, &gamma, &M, &a, &mu, &lambda);
    EXPECT_NEAR(T, 400.0, 1e-10);
    EXPECT_NEAR(gamma, cp / (cp - R), 1e-14);
    EXPECT_NEAR(a, std::sqrt(gamma * R * 400.0), 1e-9);
    // The closures describe the same gas.
    const double e = (cp - R) * 400.0;
    EXPECT_NEAR(m->get_sound_speed_e(e, Y), a, 1e-9);
    EXPECT_NEAR(m->get_sound_speed_e(e, Y), std::sqrt(gamma * (gamma - 1) * e), 1e-9);
    EXPECT_NEAR(m->get_temperature_e(e, Y), 400.0, 1e-10);
    EXPECT_NEAR(m->get_pressure_rho_e(e, 1.2, Y), R * 1.2 * 400.0, 1e-8);
    EXPECT_NEAR(m->get_energy_p_rho(R * 400.0, Y), e, 1e-8);

    std::any request = std::shared_ptr<P_H>();
    ASSERT_EQ(m->query_interface(request), MP_STATUS_OK);
    auto p_h = std::any_cast<std::shared_ptr<P_H>>(request);
    EXPECT_EQ(p_h->get_enthalpy(1e5, 300.0, Y), 300.0 * 1005.0);
    EXPECT_EQ(p_h->get_T_p_h(1e5, 1005.0 * 777.0, Y), 777.0);
    EXPECT_EQ(p_h->get_compressibility(1e5, 300.0, Y), 0.0);
    EXPECT_EQ(p_h->get_drho_dp(1e5, 300.0, Y), 1.0 / (R * 300.0));
    std::any membrane = std::shared_ptr<I_solver_membrane_model_support>();
    EXPECT_EQ(m->query_interface(membrane), MP_STATUS_UNSUPPORTED);
}

TEST_F(gas_fixture, SaveLoadRebuildsTheSameMedia) {
    auto mix = make<P_H>("mix");
    auto perfect = make<P_H>("air-perfect");
    auto again = make<P_H>("N2", false);  // shares N2 with mix
    auto* f = dynamic_cast<C_medium_physics*>(factory.get());
    EXPECT_EQ(f->cache_size<C_medium_physics::kIdealGasCache>(), 2u);
    EXPECT_EQ(f->cache_size<C_medium_physics::kPerfectGasCache>(), 1u);

    C_file_io s;
    s.open_memory();
    ASSERT_EQ(factory->Save(s), MP_STATUS_OK);
    const auto data = s.memory_bytes();
    std::shared_ptr<I_medium_physics> g;
    ASSERT_EQ(create_medium_physics(g, std::make_shared<standalone_host::CStandaloneHost>()), MP_STATUS_OK);
    C_file_io r;
    r.open_memory(data);
    ASSERT_EQ(g->Load(r), MP_STATUS_OK);
    C_file_io s2;
    s2.open_memory();
    ASSERT_EQ(g->Save(s2), MP_STATUS_OK);
    EXPECT_EQ(s2.memory_bytes(), data);

    std::any id_request = std::shared_ptr<I_identity>();
    ASSERT_EQ(mix->query_interface(id_request), MP_STATUS_OK);
    host_guid id;
    std::any_cast<std::shared_ptr<I_identity>>(id_request)->get_identity(id.bytes.data());
    fluid_ptr back;
    ASSERT_EQ(g->FindThermodynamics(id, back), MP_STATUS_OK);
    std::any request = std::shared_ptr<P_H>();
    ASSERT_EQ(back->query_interface(request), MP_STATUS_OK);
    auto loaded = std::any_cast<std::shared_ptr<P_H>>(request);
    const double Y[2] = {0.6, 0.4};
    for (double T : {250.0, 900.0, 4000.0}) {
        EXPECT_EQ(loaded->get_enthalpy(1e5, T, Y), mix->get_enthalpy(1e5, T, Y));
        EXPECT_EQ(loaded->get_sound_speed(1e5, T, Y), mix->get_sound_speed(1e5, T, Y));
        EXPECT_EQ(loaded->get_viscosity(1e5, T, Y), mix->get_viscosity(1e5, T, Y));
    }
    // Every truncation of the stream is refused without a crash.
    standalone_host::log_capture quiet;
    for (std::size_t n = 0; n < data.size(); n += 7) {
        std::shared_ptr<I_medium_physics> h;
        create_medium_physics(h, std::make_shared<standalone_host::CStandaloneHost>());
        C_file_io t;
        t.open_memory(std::vector<std::uint8_t>(data.begin(), data.begin() + static_cast<std::ptrdiff_t>(n)));
        EXPECT_EQ(h->Load(t), MP_STATUS_FAILURE) << n;
    }
}

TEST_F(gas_fixture, FactoryRefusesDescriptionsThatAreNoGases) {
    standalone_host::log_capture cap;
    fluid_ptr out;
    description_array one(1);
    one[0] = library.find_material("air-perfect");
    EXPECT_EQ(factory->CreateIdealGasThermodynamics(one, true, out), MP_STATUS_OK);  // a gas description is a gas
    standalone_host::material_library liquids;
    liquids.add_text(R"({"materials": [{"name": "thin-air", "identifier": "B0000000-0000-4000-8000-000000000001",
                          "kind": "hypersonic_gas"}]})",
                     "others");
    one[0] = liquids.find_material("thin-air");
    EXPECT_EQ(factory->CreateIdealGasThermodynamics(one, true, out), MP_STATUS_FAILURE);
    EXPECT_EQ(cap.count("a description is not of the medium's kind"), 1u);
    description_array missing(1);
    EXPECT_EQ(factory->CreatePerfectGasThermodynamics(missing, true, out), MP_STATUS_FAILURE);
    EXPECT_EQ(factory->CreateIdealGasThermodynamics(description_array(101), true, out), MP_STATUS_FAILURE);
}

// A gas record whose cp table carries no integral (a stream from another writer) loads into a
// substance that answers what a fresh one answers: its integral is prepared on reading.
TEST_F(gas_fixture, AGasRecordWithoutTheIntegralAnswersLikeAFreshOne) {
    make<P_H>("N2");
    host_guid id;
    guid_utils::BuildGUIDFromString(CHostString::from_utf8(library.find_material("N2")->identifier_utf8()), id);
    const auto& fresh = *dynamic_cast<C_medium_physics&>(*factory).find_substance<C_medium_physics::kIdealGasCache>(id);
    // The record by hand: version, common record, M, gamma, cp without its integral, mu, lambda.
    C_file_io out;
    out.open_memory();
    out.put<std::uint8_t>(0);
    out.put<std::uint8_t>(0);
    out.write_guid(id);
    out.write_string(CHostString(u"N2"));
    out.put(kMN2);
    out.put(1.4);
    c_1d_param cp;
    ASSERT_TRUE(cp.set_table(0.0, {300.0, 1300.0}, {1000.0, 1300.0}));
    cp.write(out);
    c_1d_param mu, lambda;
    mu.set_constant(1.8e-5);
    lambda.set_constant(0.026);
    mu.write(out);
    lambda.write(out);
    C_ideal_gas_substance loaded;
    C_file_io in;
    in.open_memory(out.memory_bytes());
    ASSERT_TRUE(loaded.read(in));
    for (const double T : {200.0, 300.0, 812.5, 1300.0, 2000.0}) {
        EXPECT_EQ(loaded.h(T), fresh.h(T)) << T;
        EXPECT_GT(loaded.h(T), 0.0) << T;
    }
}

// A perfect gas takes the constant of cp; one whose constant is not above its gas constant (a cp
// table and no constant, say) gives no gas: status 3 and an ERROR line naming it.
TEST(PerfectGas, ACpTableWithoutAConstantIsRefused) {
    std::shared_ptr<I_medium_physics> factory;
    ASSERT_EQ(create_medium_physics(factory, std::make_shared<standalone_host::CStandaloneHost>()), MP_STATUS_OK);
    standalone_host::material_library library;
    library.add_text(R"({"materials": [
      {"name": "tabled", "identifier": "A0000000-0000-4000-8000-000000000011", "kind": "perfect_gas",
       "molar_mass": 0.028965, "gamma": 1.4, "cp": {"constant": 0, "table": {"T": [300, 1000], "value": [1005, 1140]}},
       "viscosity": {"constant": 1.8e-5}, "conductivity": {"constant": 0.026}},
      {"name": "below-R", "identifier": "A0000000-0000-4000-8000-000000000012", "kind": "perfect_gas",
       "molar_mass": 0.028965, "gamma": 1.4, "cp": {"constant": 250},
       "viscosity": {"constant": 1.8e-5}, "conductivity": {"constant": 0.026}}]})",
                     "perfect");
    for (const char* name : {"tabled", "below-R"}) {
        standalone_host::log_capture cap;
        fluid_ptr medium;
        EXPECT_EQ(standalone_host::create_medium(*factory, library, *library.find_medium(name), true, medium),
                  MP_STATUS_FAILURE)
            << name;
        EXPECT_EQ(cap.count(std::string("ERROR: MediumPhysics: medium_physics/gas/c_gas_substance.cpp(")), 1u) << name;
        EXPECT_EQ(
            cap.count(std::string(name) + ": a perfect gas needs a constant cp above its gas constant R = 287.05"), 1u)
            << name;
    }
}

TEST(BuiltInGases, CombustionProductsAgainstJanafTables) {
    // Mixture values built by hand from the JANAF tables (Chase 1998): cp in J/(mol K) and
    // H(T) - H(298.15 K) in kJ/mol of N2, O2, CO2, H2O and Ar, over the molar masses.
    struct species {
        double M, y, cp1000, dH1000, cp2000, dH2000;
    };
    const species s[5] = {{0.0280134, 0.70, 32.697, 21.463, 36.057, 56.141},
                          {0.0319988, 0.15, 34.870, 22.703, 37.780, 59.199},
                          {0.0440095, 0.08, 54.308, 33.397, 60.350, 91.439},
                          {0.0180153, 0.06, 41.268, 26.000, 51.180, 72.790},
                          {0.0399480, 0.01, 20.786, 14.589, 20.786, 35.375}};
    double cp1000 = 0, dh1000 = 0, cp2000 = 0, dh2000 = 0, inv = 0;
    for (const auto& x : s) {
        cp1000 += x.y * x.cp1000 / x.M;
        dh1000 += x.y * x.dH1000 * 1e3 / x.M;
        cp2000 += x.y * x.cp2000 / x.M;
        dh2000 += x.y * x.dH2000 * 1e3 / x.M;
        inv += x.y / x.M;
    }
    std::shared_ptr<I_medium_physics> factory;
    ASSERT_EQ(create_medium_physics(factory, std::make_shared<standalone_host::CStandaloneHost>()), MP_STATUS_OK);
    standalone_host::material_library library;
    library.add_file(std::string(MP_SOURCE_DIR) + "/data/materials/gases.json");
    const auto def = library.find_medium("combustion-products");
    ASSERT_TRUE(def.has_value());
    fluid_ptr medium;
    ASSERT_EQ(standalone_host::create_medium(*factory, library, *def, true, medium), MP_STATUS_OK);
    std::any request = std::shared_ptr<P_H>();
    ASSERT_EQ(medium->query_interface(request), MP_STATUS_OK);
    const auto m = std::any_cast<std::shared_ptr<P_H>>(request);
    const double* Y = def->mass_fractions.data();
    EXPECT_NEAR(m->get_cp(1e5, 1000.0, Y), cp1000, 0.005 * cp1000);
    EXPECT_NEAR(m->get_cp(1e5, 2000.0, Y), cp2000, 0.005 * cp2000);
    const double h298 = m->get_enthalpy(1e5, 298.15, Y);
    EXPECT_NEAR(m->get_enthalpy(1e5, 1000.0, Y) - h298, dh1000, 0.005 * dh1000);
    EXPECT_NEAR(m->get_enthalpy(1e5, 2000.0, Y) - h298, dh2000, 0.005 * dh2000);
    EXPECT_NEAR(m->get_density(101325.0, 1000.0, Y), 101325.0 / (8.3144 * inv * 1000.0), 1e-4);

    // One interval search serves all substances on the shared grid; the sums are the species' own
    // values, bit for bit.
    std::any membrane = std::shared_ptr<I_solver_membrane_model_support>();
    ASSERT_EQ(medium->query_interface(membrane), MP_STATUS_OK);
    const auto species = std::any_cast<std::shared_ptr<I_solver_membrane_model_support>>(membrane);
    for (double T = 150.0; T < 6500.0; T += 31.7) {
        double cp_i[5], h_i[5];
        species->get_species_cp(1e5, T, Y, cp_i);
        species->get_species_enthalpy(1e5, T, Y, h_i);
        double cp = 0, h = 0;
        for (int i = 0; i < 5; ++i) {
            cp += Y[i] * cp_i[i];
            h += Y[i] * h_i[i];
        }
        ASSERT_EQ(m->get_cp(1e5, T, Y), cp) << T;
        ASSERT_EQ(m->get_enthalpy(1e5, T, Y), h) << T;
    }
}
