// Thermodynamic identities over every built-in fluid medium: one suite, one row per medium. A new
// medium joins by adding a row (and saying which identities it cannot meet, and why).
#include <gtest/gtest.h>

#include <cmath>
#include <ostream>

#include "factory/c_medium_physics.h"
#include "medium_physics/standalone_host.h"

namespace {

// Which speed of sound a medium has and how the suite checks it.
enum class sound { none, ideal_gas, liquid };

struct medium_case {
    const char* name;
    const char* file;       // under data/materials
    double T_low, T_high;   // K, the range the identities are checked over
    double p;               // Pa
    sound speed;            // ideal_gas: p = rho R T and its isentrope; liquid: a^-2 from rho(p, T) and cp
    double tolerance;       // relative
    const char* limitation; // what the medium does not promise, or ""
    double cp_step = 0.0;   // K, the step of the enthalpy difference; 0: a thousandth of T
    double round_trip = 1e-5;  // relative: T -> h -> T
    const char* test_file = nullptr;  // a further material file under tests/integration/data
};

const medium_case kCases[] = {
    {"air", "gases.json", 200.0, 5900.0, 1e5, sound::ideal_gas, 1e-6, ""},
    {"combustion-products", "gases.json", 250.0, 5000.0, 5e5, sound::ideal_gas, 1e-6, ""},
    {"air-perfect", "gases.json", 100.0, 3000.0, 1e5, sound::ideal_gas, 1e-9, ""},
    {"water", "liquids.json", 280.0, 365.0, 2e6, sound::none, 1e-4,
     "cp under pressure uses the tabulated d2v/dT2, not the derivative of the tabulated dv/dT"},
    {"water-glycol", "liquids.json", 280.0, 365.0, 1e5, sound::none, 1e-4, ""},
    {"engine-oil", "liquids.json", 280.0, 420.0, 1e5, sound::none, 1e-4, ""},
    {"blood", "complex_liquids.json", 290.0, 320.0, 1e5, sound::none, 1e-4, ""},
    {"drilling-mud", "complex_liquids.json", 290.0, 360.0, 1e5, sound::none, 1e-4, ""},
    {"water-compressible", "complex_liquids.json", 280.0, 365.0, 2e7, sound::liquid, 1e-4,
     "the pressure part of h jumps at the nodes of the Tait tables with their slopes: cp is dh/dT inside a segment, "
     "and h near a node can be met on both of its sides",
     1e-4, 2e-3},
    {"water-glycol-compressible", "complex_liquids.json", 280.0, 365.0, 2e7, sound::liquid, 1e-4,
     "as water-compressible, and the glycol's power law is test data", 1e-4, 2e-3, "identity_media.json"},
};

// What gtest prints for a row (a skipped or failed case names its medium, not its bytes).
void PrintTo(const medium_case& c, std::ostream* os) { *os << c.name << " (" << c.file << ")"; }

class identities : public ::testing::TestWithParam<medium_case> {
protected:
    void SetUp() override {
        const auto& c = GetParam();
        ASSERT_EQ(create_medium_physics(factory, std::make_shared<standalone_host::CStandaloneHost>()), MP_STATUS_OK);
        library.add_file(std::string(MP_SOURCE_DIR) + "/data/materials/" + c.file);
        if (c.test_file != nullptr)
            library.add_file(std::string(MP_SOURCE_DIR) + "/tests/integration/data/" + c.test_file);
        const auto def = library.find_medium(c.name);
        ASSERT_TRUE(def.has_value()) << c.name;
        Y = def->mass_fractions;
        fluid_ptr medium;
        std::string why;
        ASSERT_EQ(standalone_host::create_medium(*factory, library, *def, true, medium, &why), 0) << why;
        std::any request = std::shared_ptr<I_solver__thermodynamics_P_H>();
        ASSERT_EQ(medium->query_interface(request), 0);
        m = std::any_cast<std::shared_ptr<I_solver__thermodynamics_P_H>>(request);
    }
    std::vector<double> temperatures() const {
        std::vector<double> T;
        const auto& c = GetParam();
        for (int i = 0; i <= 40; ++i) T.push_back(c.T_low + (c.T_high - c.T_low) * i / 40.0 + 0.37);
        return T;
    }
    std::shared_ptr<I_medium_physics> factory;
    standalone_host::material_library library;
    std::shared_ptr<I_solver__thermodynamics_P_H> m;
    std::vector<double> Y;
};

}  // namespace

// cp = (dh/dT) at constant p, by a central difference of the enthalpy.
TEST_P(identities, CpIsTheTemperatureDerivativeOfEnthalpy) {
    const auto& c = GetParam();
    for (const double T : temperatures()) {
        const double dT = c.cp_step > 0.0 ? c.cp_step : 1e-3 * T;
        const double dhdT = (m->get_enthalpy(c.p, T + dT, Y.data()) - m->get_enthalpy(c.p, T - dT, Y.data())) / (2 * dT);
        const double cp = m->get_cp(c.p, T, Y.data());
        // A central difference across a table node sees the mean of two slopes; a few 1e-4 cover it.
        EXPECT_NEAR(dhdT, cp, std::max(3e-4, c.tolerance) * std::fabs(cp)) << c.name << " at " << T << " K; " << c.limitation;
    }
}

// T -> h -> T, through get_T_p_h (start 300 K) and through get_properties_p_H (start 30 K off).
TEST_P(identities, TemperatureRoundTrips) {
    const auto& c = GetParam();
    for (const double T : temperatures()) {
        const double h = m->get_enthalpy(c.p, T, Y.data());
        EXPECT_NEAR(m->get_T_p_h(c.p, h, Y.data()), T, c.round_trip * T) << c.name << "; " << c.limitation;
        double r[9];
        m->get_properties_p_H(h, c.p, Y.data(), 0.0, T + 30.0, &r[0], &r[1], &r[2], &r[3], &r[4], &r[5], &r[6], &r[7], &r[8]);
        EXPECT_NEAR(r[1], T, c.round_trip * T) << c.name;
        EXPECT_NEAR(r[0], m->get_density(c.p, r[1], Y.data()), c.tolerance * r[0]) << c.name;
    }
}

// For the gases: c^2 = (dp/drho) at constant entropy, from ds = cp dT / T - R dp / p.
TEST_P(identities, SoundSpeedIsTheIsentropicDerivative) {
    const auto& c = GetParam();
    if (c.speed != sound::ideal_gas) GTEST_SKIP() << "not an ideal gas (liquids: see the next identity)";
    for (const double T : temperatures()) {
        const double rho = m->get_density(c.p, T, Y.data());
        const double R = c.p / (rho * T);
        const double cp = m->get_cp(c.p, T, Y.data());
        const double dT = 1e-4 * T;
        // Along the isentrope: ln(p2/p) = integral of cp / (R T) dT (midpoint rule on a short step).
        const double cp_mid = m->get_cp(c.p, T + 0.5 * dT, Y.data());
        const double p2 = c.p * std::exp(cp_mid / R * std::log((T + dT) / T));
        const double rho2 = p2 / (R * (T + dT));
        const double c2 = (p2 - c.p) / (rho2 - rho);
        const double a = m->get_sound_speed(c.p, T, Y.data());
        EXPECT_NEAR(a * a, c2, 1e-3 * c2) << c.name << " at " << T << " K";
        EXPECT_GT(cp, R);
    }
}

// For the compressible liquids: a^-2 = (d rho/dp)_T - T (d rho/dT)_p^2 / (rho^2 cp), the derivatives
// by central differences of the medium's own density (independent of its analytic d rho/dp), and
// gamma = (d rho/dp)_T a^2.
TEST_P(identities, LiquidSoundSpeedFollowsFromDensityAndCp) {
    const auto& c = GetParam();
    if (c.speed != sound::liquid) GTEST_SKIP() << "no compressible liquid";
    for (const double T : temperatures()) {
        const double dp = 1e-3 * c.p, dT = 0.005;
        const double rho = m->get_density(c.p, T, Y.data());
        const double drho_dp =
            (m->get_density(c.p + dp, T, Y.data()) - m->get_density(c.p - dp, T, Y.data())) / (2 * dp);
        const double drho_dT =
            (m->get_density(c.p, T + dT, Y.data()) - m->get_density(c.p, T - dT, Y.data())) / (2 * dT);
        const double cp = m->get_cp(c.p, T, Y.data());
        const double a2 = 1.0 / (drho_dp - T * drho_dT * drho_dT / (rho * rho * cp));
        double r[8];
        m->get_properties_p_T(c.p, T, Y.data(), &r[0], &r[1], &r[2], &r[3], &r[4], &r[5], &r[6], &r[7]);
        // (the suite's temperatures lie at least 0.03 K from the density tables' nodes, so neither
        // this difference nor the medium's own crosses a kink)
        EXPECT_NEAR(r[5] * r[5], a2, 1e-4 * a2) << c.name << " at " << T << " K";
        EXPECT_NEAR(r[3], drho_dp * a2, 1e-4 * r[3]) << c.name << " at " << T << " K";
        EXPECT_EQ(m->get_sound_speed(c.p, T, Y.data()), r[5]);
    }
}

INSTANTIATE_TEST_SUITE_P(BuiltInMedia, identities, ::testing::ValuesIn(kCases),
                         [](const ::testing::TestParamInfo<medium_case>& p) {
                             std::string n = p.param.name;
                             for (auto& ch : n)
                                 if (ch == '-') ch = '_';
                             return n;
                         });
