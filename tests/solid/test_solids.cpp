// Conducting solids: the type decision, the diffusion coefficient, the construction from values,
// the cache and the stream round trip.
#include <gtest/gtest.h>

#include <cmath>

#include "factory/c_medium_physics.h"
#include "file_io/c_file_io/c_file_io.h"
#include "medium_physics/standalone_host.h"

namespace {

const char* kSolids = R"({"materials": [
  {"name": "slab", "identifier": "F0000000-0000-4000-8000-000000000001", "kind": "heatconducting_solid",
   "heat_value_a": 8900, "heat_value_b": 1200, "heat_parameter": {"constant": 0, "table": {"T": [300, 600], "value": [385, 425]}},
   "components": [{"constant": 0, "table": {"T": [300, 600], "value": [400, 380]}}, {"constant": 20}, {"constant": 5}],
   "anisotropy": 1},
  {"name": "iso", "identifier": "F0000000-0000-4000-8000-000000000002", "kind": "heatconducting_solid",
   "heat_value_a": 2700, "heat_value_b": 900, "heat_parameter": {"constant": 900},
   "components": [{"constant": 237}, {"constant": 237}, {"constant": 237}], "anisotropy": 0},
  {"name": "wire", "identifier": "F0000000-0000-4000-8000-000000000003", "kind": "electroconducting_solid",
   "components": [{"constant": 5.96e7}, {"constant": 5.96e7}, {"constant": 5.96e7}], "anisotropy": 0}]})";

constexpr solid_axes kIdentity = {1, 0, 0, 0, 1, 0, 0, 0, 1};
const double kC = std::sqrt(0.5);
constexpr solid_axes kSwapped = {0, -1, 0, 1, 0, 0, 0, 0, 1};  // a signed permutation
const solid_axes kRotated45 = {kC, -kC, 0, kC, kC, 0, 0, 0, 1};

struct result {
    std::int32_t type, count;
    double values[3];
    double axes[9];
};

result coefficient(const MED_PHYSICS::I_diffusion_coefficient& s, double T) {
    result r{};
    r.type = s.get_diffusion_coefficient(T, &r.count, r.values, r.axes);
    return r;
}

struct solid_fixture : ::testing::Test {
    std::shared_ptr<I_medium_physics> factory;
    standalone_host::material_library library;
    void SetUp() override {
        ASSERT_EQ(create_medium_physics(factory, std::make_shared<standalone_host::CStandaloneHost>()), MP_STATUS_OK);
        library.add_text(kSolids, "solids");
    }
    std::shared_ptr<MED_PHYSICS::I_heatconducting_solid> heat(const char* name, const solid_axes& axes,
                                                               std::shared_ptr<I_medium_physics> f = nullptr) {
        std::shared_ptr<MED_PHYSICS::I_heatconducting_solid> out;
        EXPECT_EQ((f ? f : factory)->CreateHeatConductingSolid(library.find_material(name), axes, out), MP_STATUS_OK);
        return out;
    }
};

}  // namespace

TEST_F(solid_fixture, TypeFollowsFlagAndAxes) {
    struct expectation {
        const char* name;
        solid_axes axes;
        std::int32_t type, count;
    };
    const expectation cases[] = {
        {"iso", kIdentity, 0, 1},     // flag 0, identity
        {"iso", kSwapped, 0, 1},      // an entry of exactly -1 keeps the type
        {"iso", kRotated45, 2, 2},    // rotated: type 2 with two components, whatever the flag
        {"slab", kIdentity, 1, 3},    // flag 1, identity: orthotropic
        {"slab", kRotated45, 2, 2},
    };
    for (const auto& c : cases) {
        std::shared_ptr<I_medium_physics> f;
        create_medium_physics(f, std::make_shared<standalone_host::CStandaloneHost>());
        const auto s = heat(c.name, c.axes, f);
        ASSERT_NE(s, nullptr);
        const result r = coefficient(*s, 450.0);
        EXPECT_EQ(r.type, c.type) << c.name;
        EXPECT_EQ(r.count, c.count) << c.name;
        for (int i = 0; i < 9; ++i) EXPECT_EQ(r.axes[i], c.axes[static_cast<std::size_t>(i)]);
    }
    // Just inside single-precision epsilon of 1 still counts as 1.
    solid_axes nearly = kIdentity;
    nearly[0] = 1.0 - 1e-7;
    EXPECT_EQ(coefficient(*heat("iso", nearly), 300.0).type, 0);
}

TEST_F(solid_fixture, ValuesAtTemperature) {
    const auto s = heat("slab", kIdentity);
    const result r = coefficient(*s, 450.0);
    EXPECT_DOUBLE_EQ(r.values[0], 390.0);  // halfway along 400 -> 380
    EXPECT_EQ(r.values[1], 20.0);
    EXPECT_EQ(r.values[2], 5.0);
    EXPECT_EQ(coefficient(*s, 100.0).values[0], 400.0);  // held at the table ends
    EXPECT_EQ(s->get_heat_value_a(), 8900.0);
    EXPECT_EQ(s->get_heat_value_b(), 1200.0);
    EXPECT_DOUBLE_EQ(s->get_heat_parameter(450.0), 405.0);
    // Its description is handed back through the query.
    std::any d = std::shared_ptr<IHostDescription>();
    ASSERT_EQ(s->query_interface(d), MP_STATUS_OK);
    CHostString name;
    std::any_cast<std::shared_ptr<IHostDescription>>(d)->get_name(name);
    EXPECT_EQ(name.to_utf8(), "slab");
}

TEST_F(solid_fixture, CachedByIdentifier) {
    const auto a = heat("iso", kIdentity);
    const auto b = heat("iso", kRotated45);  // the cached solid, axes and all
    EXPECT_EQ(a, b);
    EXPECT_EQ(coefficient(*b, 300.0).type, 0);
    EXPECT_EQ(dynamic_cast<C_medium_physics&>(*factory).cache_size<C_medium_physics::kHeatSolidCache>(), 1u);
}

TEST_F(solid_fixture, FromValues) {
    standalone_host::material_library named;
    named.add_text(R"({"materials": [{"name": "block", "identifier": "F0000000-0000-4000-8000-000000000009",
        "kind": "hypersonic_gas"},
        {"name": "block2", "identifier": "F0000000-0000-4000-8000-00000000000A", "kind": "hypersonic_gas"},
        {"name": "block3", "identifier": "F0000000-0000-4000-8000-00000000000B", "kind": "hypersonic_gas"}]})",
                   "named");
    host_shared_array<double> seven(7);
    const double v7[7] = {7800, 1000, 460, 50, 40, 30, 1};
    for (int i = 0; i < 7; ++i) seven[i] = v7[i];
    std::shared_ptr<MED_PHYSICS::I_heatconducting_solid> s;
    ASSERT_EQ(factory->CreateHeatConductingSolidFromValues(named.find_material("block"), seven, s), MP_STATUS_OK);
    result r = coefficient(*s, 300.0);
    EXPECT_EQ(r.type, 1);
    EXPECT_EQ(r.count, 3);
    EXPECT_EQ(r.values[0], 50.0);
    EXPECT_EQ(r.values[2], 30.0);
    EXPECT_EQ(r.axes[4], 1.0);
    EXPECT_EQ(s->get_heat_parameter(900.0), 460.0);

    host_shared_array<double> sixteen(16);
    for (int i = 0; i < 7; ++i) sixteen[i] = v7[i];
    for (int i = 0; i < 9; ++i) sixteen[7 + i] = kRotated45[static_cast<std::size_t>(i)];
    ASSERT_EQ(factory->CreateHeatConductingSolidFromValues(named.find_material("block2"), sixteen, s), MP_STATUS_OK);
    EXPECT_EQ(coefficient(*s, 300.0).type, 2);

    standalone_host::log_capture cap;
    EXPECT_EQ(factory->CreateHeatConductingSolidFromValues(named.find_material("block3"), host_shared_array<double>(5), s),
              MP_STATUS_FAILURE);
    EXPECT_EQ(cap.count("needs 7 or 16 of them, not 5"), 1u);
}

TEST_F(solid_fixture, ElectroConductingSolidAndWrongDescriptions) {
    std::shared_ptr<MED_PHYSICS::I_electroconducting_solid> wire;
    ASSERT_EQ(factory->CreateElectroConductingSolid(library.find_material("wire"), kIdentity, wire), MP_STATUS_OK);
    const result r = coefficient(*wire, 300.0);
    EXPECT_EQ(r.type, 0);
    EXPECT_EQ(r.values[0], 5.96e7);
    std::any h = std::shared_ptr<MED_PHYSICS::I_heatconducting_solid>();
    EXPECT_EQ(wire->query_interface(h), MP_STATUS_UNSUPPORTED);
    standalone_host::log_capture cap;
    std::shared_ptr<MED_PHYSICS::I_heatconducting_solid> none;
    EXPECT_EQ(factory->CreateHeatConductingSolid(nullptr, kIdentity, none), MP_STATUS_FAILURE);
    standalone_host::material_library gas;
    gas.add_text(R"({"materials": [{"name": "g", "identifier": "F0000000-0000-4000-8000-0000000000AA",
        "kind": "hypersonic_gas"}]})",
                 "g");
    EXPECT_EQ(factory->CreateHeatConductingSolid(gas.find_material("g"), kIdentity, none), MP_STATUS_FAILURE);
    EXPECT_EQ(cap.count("ERROR: MediumPhysics:"), 2u);
}

TEST_F(solid_fixture, SaveLoadRoundTrip) {
    heat("slab", kRotated45);
    heat("iso", kIdentity);
    std::shared_ptr<MED_PHYSICS::I_electroconducting_solid> wire;
    ASSERT_EQ(factory->CreateElectroConductingSolid(library.find_material("wire"), kIdentity, wire), MP_STATUS_OK);
    C_file_io s;
    s.open_memory();
    ASSERT_EQ(factory->Save(s), MP_STATUS_OK);
    const auto data = s.memory_bytes();
    std::shared_ptr<I_medium_physics> g;
    create_medium_physics(g, std::make_shared<standalone_host::CStandaloneHost>());
    C_file_io r;
    r.open_memory(data);
    ASSERT_EQ(g->Load(r), MP_STATUS_OK);
    C_file_io s2;
    s2.open_memory();
    ASSERT_EQ(g->Save(s2), MP_STATUS_OK);
    EXPECT_EQ(s2.memory_bytes(), data);
    // The loaded solid is found again by its identifier and answers the same.
    const auto back = heat("slab", kIdentity, g);
    const result a = coefficient(*back, 450.0);
    EXPECT_EQ(a.type, 2);
    EXPECT_DOUBLE_EQ(a.values[0], 390.0);
    EXPECT_EQ(a.axes[0], kC);
    // A loaded solid no longer knows its description.
    std::any d = std::shared_ptr<IHostDescription>();
    EXPECT_EQ(back->query_interface(d), MP_STATUS_UNSUPPORTED);
    // Every truncation is refused.
    standalone_host::log_capture quiet;
    for (std::size_t n = 0; n < data.size(); n += 5) {
        std::shared_ptr<I_medium_physics> h;
        create_medium_physics(h, std::make_shared<standalone_host::CStandaloneHost>());
        C_file_io t;
        t.open_memory(std::vector<std::uint8_t>(data.begin(), data.begin() + static_cast<std::ptrdiff_t>(n)));
        EXPECT_EQ(h->Load(t), MP_STATUS_FAILURE) << n;
    }
}
