// Non-Newtonian liquid media: the law of each component through the medium, the viscosity
// sentinel, the error line of a negative cp, RhoT's message number, and stream round trips.
#include <gtest/gtest.h>

#include <cmath>

#include "liquid/c_inc_nn_liquid_thermodynamics.h"
#include "file_io/c_file_io/c_file_io.h"
#include "medium_physics/standalone_host.h"

namespace {

using NN = I_solver__incompressible_non_newton_liquid;

const char* kLiquids = R"({"materials": [
  {"name": "blood", "identifier": "BB000000-0000-4000-8000-000000000001", "kind": "non_newtonian_liquid",
   "cp": {"constant": 3600}, "viscosity": {"constant": 0.0035}, "conductivity": {"constant": 0.5},
   "density": {"constant": 1060}, "scalar_a": 0, "reference_temperature": 310, "reference_pressure": 101325,
   "viscosity_law": {"type": "carreau", "mu_zero": {"constant": 0.056}, "mu_infinity": {"constant": 0.00345},
                     "time_constant": {"constant": 3.313}, "power_index": 0.3568}},
  {"name": "newtonian", "identifier": "BB000000-0000-4000-8000-000000000002", "kind": "non_newtonian_liquid",
   "cp": {"constant": 2000}, "viscosity": {"constant": 1}, "conductivity": {"constant": 0.2},
   "density": {"constant": 0, "table": {"T": [280, 320, 360], "value": [1000, 950, 880]}},
   "scalar_a": 0, "reference_temperature": 300, "reference_pressure": 101325,
   "viscosity_law": {"type": "power_law", "consistency": {"constant": 0.7}, "low_shear_limit": {"constant": 5},
                     "high_shear_limit": {"constant": 0.1}, "power_index": 1.0, "use_low_shear_limit": 1,
                     "use_high_shear_limit": 1}},
  {"name": "falling", "identifier": "BB000000-0000-4000-8000-000000000003", "kind": "non_newtonian_liquid",
   "cp": {"constant": -50}, "viscosity": {"constant": 1}, "conductivity": {"constant": 0.2},
   "density": {"constant": 900}, "scalar_a": 0, "reference_temperature": 300, "reference_pressure": 101325,
   "viscosity_law": {"type": "herschel_bulkley", "consistency": {"constant": 0.5}, "yield_stress": {"constant": 5},
                     "power_index": 0.6}}],
 "media": [{"name": "pair", "kind": "non_newtonian_liquid", "substances": ["blood", "newtonian"],
            "mass_fractions": [0.5, 0.5]}]})";

struct nn_fixture : ::testing::Test {
    std::shared_ptr<I_medium_physics> factory;
    standalone_host::material_library library;
    void SetUp() override {
        ASSERT_EQ(create_medium_physics(factory, std::make_shared<standalone_host::CStandaloneHost>()), 0);
        library.add_text(kLiquids, "test");
    }
    std::shared_ptr<NN> make(const std::string& name) {
        fluid_ptr medium;
        std::string why;
        EXPECT_EQ(standalone_host::create_medium(*factory, library, *library.find_medium(name), true, medium, &why), 0)
            << why;
        std::any request = std::shared_ptr<NN>();
        EXPECT_EQ(medium->query_interface(request), 0);
        return std::any_cast<std::shared_ptr<NN>>(request);
    }
};

}  // namespace

TEST_F(nn_fixture, ViscosityThroughTheMedium) {
    const double Y[1] = {1.0};
    auto blood = make("blood");
    EXPECT_EQ(blood->get_viscosity(1e5, 310.0, Y), 1e40);  // no shear rate: the sentinel
    // The Carreau blood curve (see the law's own test): 0.0270977 Pa s at 1/s.
    EXPECT_NEAR(blood->get_non_newtonian_viscosity(1e5, 310.0, Y, 1.0), 0.027097651206638512, 1e-12);
    // A power law of index 1 is Newtonian, limits ignored: rho^2 mu v^2 = mu.
    auto newtonian = make("newtonian");
    for (double g : {0.001, 1.0, 1e5}) EXPECT_NEAR(newtonian->get_non_newtonian_viscosity(1e5, 300.0, Y, g), 0.7, 1e-12);
    // Two components: rho^2 sum(w_i mu_i v_i^2).
    auto pair = make("pair");
    const double Y2[2] = {0.5, 0.5};
    const double v1 = 1.0 / 1060.0;
    const double v_new = 1.0 / newtonian->get_density(1e5, 300.0, Y);
    const double rho = 1.0 / (0.5 * v1 + 0.5 * v_new);
    const double mu = rho * rho * (0.5 * 0.027097651206638512 * v1 * v1 + 0.5 * 0.7 * v_new * v_new);
    EXPECT_NEAR(pair->get_non_newtonian_viscosity(1e5, 300.0, Y2, 1.0), mu, 1e-12);
    EXPECT_EQ(pair->get_prandtl(1e5, 300.0, Y2), pair->get_cp(1e5, 300.0, Y2) * 1e40 / pair->get_conductivity(1e5, 300.0, Y2));
}

TEST_F(nn_fixture, NegativeCpIsAnErrorAndRhoTSays3003) {
    auto falling = make("falling");
    const double Y[1] = {1.0};
    standalone_host::log_capture cap;
    EXPECT_EQ(falling->get_cp(1e5, 300.0, Y), -50.0);
    const auto lines = cap.lines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].entry, host_log::entry::error);
    EXPECT_EQ(lines[0].text.rfind("ERROR: MediumPhysics: medium_physics/liquid/c_inc_nn_liquid_thermodynamics.cpp(", 0),
              0u);
    EXPECT_NE(lines[0].text.find("Inconsistent thermodynamics: Cp<0 !\n"), std::string::npos);
    cap.clear();
    double rho = 0, T = 0;
    falling->RhoT(1e5, 1e5, Y, 0.0, 1.0, 320.0, &rho, &T);
    EXPECT_EQ(T, 320.0);
    EXPECT_EQ(cap.count("Warning 3003: MediumPhysics: medium_physics/liquid/c_inc_nn_liquid_thermodynamics.cpp("), 1u);
    EXPECT_EQ(cap.count("Inconsistent thermodynamics!\n"), 1u);
}

TEST_F(nn_fixture, SaveLoadKeepsTheLaws) {
    auto pair = make("pair");
    make("falling");
    C_file_io s;
    s.open_memory();
    ASSERT_EQ(factory->Save(s), 0);
    const auto data = s.memory_bytes();
    std::shared_ptr<I_medium_physics> g;
    create_medium_physics(g, std::make_shared<standalone_host::CStandaloneHost>());
    C_file_io r;
    r.open_memory(data);
    ASSERT_EQ(g->Load(r), 0);
    C_file_io s2;
    s2.open_memory();
    ASSERT_EQ(g->Save(s2), 0);
    EXPECT_EQ(s2.memory_bytes(), data);
    std::any id_request = std::shared_ptr<I_identity>();
    ASSERT_EQ(pair->query_interface(id_request), 0);
    host_guid id;
    std::any_cast<std::shared_ptr<I_identity>>(id_request)->get_identity(id.bytes.data());
    fluid_ptr back;
    ASSERT_EQ(g->FindThermodynamics(id, back), 0);
    std::any request = std::shared_ptr<NN>();
    ASSERT_EQ(back->query_interface(request), 0);
    const double Y[2] = {0.3, 0.7};
    for (double shear : {0.5, 50.0})
        EXPECT_EQ(std::any_cast<std::shared_ptr<NN>>(request)->get_non_newtonian_viscosity(1e5, 310.0, Y, shear),
                  pair->get_non_newtonian_viscosity(1e5, 310.0, Y, shear));
    // Truncations are refused.
    standalone_host::log_capture quiet;
    for (std::size_t n = 0; n < data.size(); n += 11) {
        std::shared_ptr<I_medium_physics> h;
        create_medium_physics(h, std::make_shared<standalone_host::CStandaloneHost>());
        C_file_io t;
        t.open_memory(std::vector<std::uint8_t>(data.begin(), data.begin() + static_cast<std::ptrdiff_t>(n)));
        EXPECT_EQ(h->Load(t), MP_STATUS_FAILURE) << n;
    }
}

TEST_F(nn_fixture, DescriptionsWithoutAUsableLawAreRefused) {
    standalone_host::log_capture cap;
    standalone_host::material_library bad;
    bad.add_text(R"({"materials": [{"name": "odd", "identifier": "BB000000-0000-4000-8000-0000000000A0",
        "kind": "non_newtonian_liquid", "cp": {"constant": 2000}, "viscosity": {"constant": 1},
        "conductivity": {"constant": 0.2}, "density": {"constant": 900}, "scalar_a": 0,
        "reference_temperature": 300, "reference_pressure": 101325,
        "viscosity_law": {"type": "polynomial_regression", "coefficients": [1, 2, 3]}}]})",
                 "bad");
    fluid_ptr medium;
    EXPECT_EQ(standalone_host::create_medium(*factory, bad, *bad.find_medium("odd"), true, medium), MP_STATUS_FAILURE);
    EXPECT_EQ(cap.count("the viscosity law's parameters are incomplete"), 1u);
    EXPECT_THROW(bad.add_text(R"({"materials": [{"name": "x", "identifier": "BB000000-0000-4000-8000-0000000000A1",
        "kind": "non_newtonian_liquid", "cp": {"constant": 2000}, "viscosity": {"constant": 1},
        "conductivity": {"constant": 0.2}, "density": {"constant": 900}, "scalar_a": 0,
        "reference_temperature": 300, "reference_pressure": 101325, "viscosity_law": {"type": "bingham"}}]})",
                              "bad2"),
                 std::runtime_error);
}
