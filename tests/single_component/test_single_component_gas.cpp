// The single-component gas: its (v, T) table against the equation of state it was made from, the
// table file and its refusals, the medium's operations, and the factory's operations 16 and 19.
#include <gtest/gtest.h>

#include <any>
#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "factory/c_medium_physics.h"
#include "file_io/c_file_io/c_file_io.h"
#include "medium_physics/standalone_host.h"
#include "real_gas/c_real_gas_substance.h"
#include "single_component/c_single_component_thermodynamics.h"
#include "single_component/sc_gas_builder.h"

namespace {

namespace fs = std::filesystem;
using namespace mp::single_component;

// CO2 of the real-gas catalogue, its generator configured as the library configures it.
struct co2 {
    standalone_host::material_library library;
    std::shared_ptr<I_real_gas_description> description;
    CRGPropertyGenerator generator;
    rg_substance_parameters parameters;
    co2() {
        library.add_directory(MP_SOURCE_DIR "/data/materials");
        std::any request = std::shared_ptr<I_real_gas_description>();
        library.find_material("CO2-real")->query_interface(request);
        description = std::any_cast<std::shared_ptr<I_real_gas_description>>(request);
        configure_rg_generator(*description, CHostString(u"CO2-real"), generator, parameters, nullptr);
    }
    // The supercritical gas 320..800 K up to 200 kg/m3: far from the saturation line.
    sc_gas_table table(std::int32_t n_rho = 81, std::int32_t n_T = 161) const {
        sc_grid_request grid;
        grid.rho_min = 0.05;
        grid.rho_max = 200.0;
        grid.T_min = 320.0;
        grid.T_max = 800.0;
        grid.n_rho = n_rho;
        grid.n_T = n_T;
        sc_gas_table t;
        std::string why;
        EXPECT_TRUE(build_sc_gas_table(generator, parameters, CHostString(u"CO2-real"), host_guid{}, grid, t, why)) << why;
        return t;
    }
};

const co2& carbon_dioxide() {
    static const co2 c;
    return c;
}

// The equation of state at (v, T): p, e, cp, cv, a.
rg_state eos(const co2& c, double v, double T) {
    rg_state s;
    EXPECT_TRUE(c.generator.state_Tv(T, v / c.generator.record().vscale, s));
    return s;
}

// Interpolation error of the 81 x 161 table at random states between its nodes, largest over 2000
// states (measured: p 2.1e-4, v from (p, T) 5.9e-4, e 2.4e-4 of |e| + R T, T from e or p v 0.063 K).
// The dense corner (200 kg/m3 at 320 K, near the critical density 468 kg/m3 and temperature 304 K)
// has the largest; bounds with some room.
constexpr double kTableP = 4e-4;  // relative, p at (v, T)
constexpr double kTableV = 1e-3;  // relative, v at (p, T): the isotherm is flat in the dense corner
constexpr double kTableE = 4e-4;  // relative to |e| + R T
constexpr double kTableT = 0.1;   // K, T back from e or from p v

TEST(ScGasTable, InterpolatesTheEquationOfStateItWasMadeFrom) {
    const co2& c = carbon_dioxide();
    const sc_gas_table t = c.table();
    ASSERT_FALSE(t.empty());
    std::mt19937_64 rng(7);
    std::uniform_real_distribution<double> ux(t.x0, t.x1), uT(t.T0, t.T1);
    double err_p = 0.0, err_e = 0.0, err_T = 0.0, err_v = 0.0;
    for (int n = 0; n < 2000; ++n) {
        const double v = std::exp(ux(rng)), T = uT(rng);
        const rg_state s = eos(c, v, T);
        const double p = s.Z * t.R * T / v, e = s.h - p * v;
        sc_state got;
        t.at_v_T(v, T, got);
        err_p = std::max(err_p, std::fabs(got.p / p - 1.0));
        err_e = std::max(err_e, std::fabs(got.e - e) / (std::fabs(e) + t.R * T));
        // The inverse lookups find the state again: T from e, T from p v, v from p.
        sc_state back;
        t.at_e_v(e, v, back);
        err_T = std::max(err_T, std::fabs(back.T - T));
        t.at_pv_v(p * v, v, back);
        err_T = std::max(err_T, std::fabs(back.T - T));
        t.at_p_T(p, T, back);
        err_v = std::max(err_v, std::fabs(back.v / v - 1.0));
    }
    EXPECT_LT(err_p, kTableP);
    EXPECT_LT(err_v, kTableV);
    EXPECT_LT(err_e, kTableE);
    EXPECT_LT(err_T, kTableT);
}

// On the nodes the table is the equation of state exactly, whatever the interpolation does between.
TEST(ScGasTable, NodesHoldTheEquationOfState) {
    const co2& c = carbon_dioxide();
    const sc_gas_table t = c.table(11, 21);
    for (std::int32_t j : {0, 7, 20})
        for (std::int32_t i : {0, 4, 10}) {
            const double v = std::exp(t.x0 + i * t.dx()), T = t.T0 + j * t.dT();
            const rg_state s = eos(c, v, T);
            sc_state got;
            t.at_v_T(v, T, got);
            EXPECT_NEAR(got.p / (s.Z * t.R * T / v), 1.0, 1e-12);
            EXPECT_NEAR(got.cp / s.cp, 1.0, 1e-12);
            EXPECT_NEAR(got.a / s.w, 1.0, 1e-12);
        }
}

// An ideal gas with constant cv (R = 287, cv = 718): every lookup is exact, since p v and e are
// linear in T and independent of v, and ln p is linear in ln v along an isotherm.
sc_gas_table ideal_table() {
    sc_gas_table t;
    t.molar_mass = 0.028965;
    t.R = 287.0;
    t.x0 = std::log(0.01);
    t.x1 = std::log(100.0);
    t.T0 = 200.0;
    t.T1 = 2000.0;
    t.resize(7, 10);
    for (std::int32_t j = 0; j < t.nT; ++j) {
        const double T = t.T0 + j * t.dT();
        for (std::int32_t i = 0; i < t.nx; ++i) {
            const std::size_t n = static_cast<std::size_t>(j * t.nx + i);
            t.values[kPv][n] = 287.0 * T;
            t.values[kE][n] = 718.0 * T;
            t.values[kCp][n] = 1005.0;
            t.values[kCv][n] = 718.0;
            t.values[kSound][n] = std::sqrt(1.4 * 287.0 * T);
        }
        t.mu[static_cast<std::size_t>(j)] = 1e-5 + 1e-8 * T;
        t.lambda[static_cast<std::size_t>(j)] = 0.01 + 1e-5 * T;
    }
    t.prepare();
    return t;
}

TEST(ScGasTable, IdealGasIsExact) {
    const sc_gas_table t = ideal_table();
    ASSERT_EQ(t.check(), "");
    constexpr double kExact = 1e-12;
    sc_state s;
    t.at_e_v(718.0 * 1234.5, 0.37, s);  // inside
    EXPECT_NEAR(s.T / 1234.5, 1.0, kExact);
    EXPECT_NEAR(s.p / (287.0 * 1234.5 / 0.37), 1.0, kExact);
    EXPECT_NEAR(s.mu / (1e-5 + 1e-8 * 1234.5), 1.0, kExact);
    t.at_e_v(718.0 * 150.0, 250.0, s);  // below the T axis and beyond the v axis: extrapolated
    EXPECT_NEAR(s.T / 150.0, 1.0, kExact);
    t.at_p_T(5e5, 901.0, s);
    EXPECT_NEAR(s.v / (287.0 * 901.0 / 5e5), 1.0, kExact);
    EXPECT_NEAR(s.T * s.dpv_dT / (s.p * s.v - s.dpv_dx), 1.0, kExact);  // T beta of an ideal gas
    t.at_pv_v(287.0 * 1999.0, 3.0, s);
    EXPECT_NEAR(s.T / 1999.0, 1.0, kExact);
}

TEST(ScGasTable, RefusesWhatIsNotAGasTable) {
    sc_gas_table t = ideal_table();
    t.values[kE][3 * 7 + 2] = t.values[kE][2 * 7 + 2];  // e no longer rises with T
    EXPECT_NE(t.check().find("e does not rise"), std::string::npos) << t.check();
    t = ideal_table();
    t.values[kPv][5 * 7 + 4] *= 20.0;  // p rises with v from node 4 to 5... and pv with T
    EXPECT_FALSE(t.check().empty());
    t = ideal_table();
    t.mu[4] = std::nan("");
    EXPECT_FALSE(t.check().empty());
    t = ideal_table();
    t.T1 = t.T0;
    EXPECT_FALSE(t.check().empty());

    // A CO2 table that reaches into the two-phase region is refused when it is made.
    const co2& c = carbon_dioxide();
    sc_grid_request grid;
    grid.rho_min = 1.0;
    grid.rho_max = 100.0;  // the saturated vapour at 250 K has about 46 kg/m3
    grid.T_min = 250.0;
    grid.T_max = 400.0;
    sc_gas_table out;
    std::string why;
    EXPECT_FALSE(build_sc_gas_table(c.generator, c.parameters, CHostString(u"CO2"), host_guid{}, grid, out, why));
    EXPECT_NE(why.find("two-phase"), std::string::npos) << why;
}

// ---- the file -----------------------------------------------------------------------------------

struct scratch_dir {
    fs::path path;
    scratch_dir() {
        path = fs::temp_directory_path() / ("mp_sc_gas_" + std::to_string(std::random_device{}()));
        fs::create_directories(path);
    }
    ~scratch_dir() {
        std::error_code ignored;
        fs::remove_all(path, ignored);
    }
};

std::vector<char> bytes_of(const fs::path& p) {
    std::ifstream in(p, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}
void write_bytes(const fs::path& p, const std::vector<char>& b) {
    std::ofstream out(p, std::ios::binary | std::ios::trunc);
    out.write(b.data(), static_cast<std::streamsize>(b.size()));
}

TEST(ScGasFile, RoundTripAndRefusals) {
    scratch_dir dir;
    const fs::path file = dir.path / kScFileName;
    sc_gas_table t = ideal_table();
    t.name = CHostString(u"air");
    ASSERT_TRUE(guid_utils::BuildGUIDFromString(CHostString(u"1B4E28BA-2FA1-11D2-883F-0016D3CCA427"), t.identifier));
    std::string why;
    ASSERT_TRUE(write_sc_gas_file(file, t, &why)) << why;
    const std::vector<char> good = bytes_of(file);
    // "MPSG", version 1, record version byte 1 at the start; "MPC1" at the end.
    ASSERT_GT(good.size(), 24u);
    EXPECT_EQ(std::string(good.data(), 4), "MPSG");
    EXPECT_EQ(good[4], 1);
    EXPECT_EQ(good[8], 1);
    EXPECT_EQ(std::string(good.data() + good.size() - 4, 4), "MPC1");

    sc_gas_table back;
    ASSERT_EQ(read_sc_gas_file(file, back, why), sc_file_status::ok) << why;
    EXPECT_EQ(back.identifier, t.identifier);
    EXPECT_EQ(back.name.to_utf8(), "air");
    EXPECT_EQ(back.values[kE], t.values[kE]);
    EXPECT_EQ(back.lambda, t.lambda);

    auto damaged = good;
    damaged[good.size() / 2] ^= 0x01;  // one bit in the values
    write_bytes(file, damaged);
    EXPECT_EQ(read_sc_gas_file(file, back, why), sc_file_status::bad_checksum);
    EXPECT_TRUE(back.empty());

    write_bytes(file, std::vector<char>(good.begin(), good.end() - 16));  // no trailer
    EXPECT_EQ(read_sc_gas_file(file, back, why), sc_file_status::bad_checksum);

    write_bytes(file, std::vector<char>(good.begin(), good.begin() + static_cast<std::ptrdiff_t>(good.size() / 3)));
    EXPECT_EQ(read_sc_gas_file(file, back, why), sc_file_status::truncated);

    damaged = good;
    damaged[0] = 'X';
    write_bytes(file, damaged);
    EXPECT_EQ(read_sc_gas_file(file, back, why), sc_file_status::not_a_table);

    EXPECT_EQ(read_sc_gas_file(dir.path / "absent.tables", back, why), sc_file_status::cannot_open);

    // A table that check() refuses is not written, and nothing is left behind.
    sc_gas_table bad = ideal_table();
    bad.values[kCv][0] = -1.0;
    const fs::path other = dir.path / "other.tables";
    EXPECT_FALSE(write_sc_gas_file(other, bad, &why));
    EXPECT_FALSE(fs::exists(other));
}

// ---- transport ----------------------------------------------------------------------------------

TEST(ScGasTransport, DiluteGasViscosityAgainstReferenceData) {
    // N2 at 300 K: 17.89 uPa s (Lemmon and Jacobsen, Int. J. Thermophys. 25 (2004) 21); CO2 at 300 K:
    // 15.02 uPa s (Fenghour, Wakeham and Vesovic, J. Phys. Chem. Ref. Data 27 (1998) 31). Chung's
    // method is good to a few percent for non-polar gases.
    constexpr double kMethod = 0.03;
    EXPECT_NEAR(chung_dilute_viscosity(300.0, 126.2, 3.39e6, 0.289, 0.039, 0.0280134) / 17.89e-6, 1.0, kMethod);
    EXPECT_NEAR(chung_dilute_viscosity(300.0, 304.2, 7.39e6, 0.275, 0.228, 0.04401) / 15.02e-6, 1.0, kMethod);
    // Modified Eucken for N2 at 300 K (cv0 = 743 J/(kg K), R = 296.8): 26.9 mW/(m K) against
    // 25.9 mW/(m K) (Lemmon and Jacobsen 2004); the rule is good to about 5 % for diatomic gases.
    constexpr double kEucken = 0.05;
    EXPECT_NEAR(eucken_conductivity(17.89e-6, 743.0, 296.8) / 25.9e-3, 1.0, kEucken);
}

// ---- the medium through the factory ---------------------------------------------------------------

struct sc_medium : ::testing::Test {
    std::shared_ptr<I_medium_physics> factory;
    void SetUp() override {
        ASSERT_EQ(create_medium_physics(factory, std::make_shared<standalone_host::CStandaloneHost>()), MP_STATUS_OK);
    }
    template <class I>
    static std::shared_ptr<I> as(const fluid_ptr& medium) {
        std::any request = std::shared_ptr<I>();
        EXPECT_EQ(medium->query_interface(request), MP_STATUS_OK);
        return std::any_cast<std::shared_ptr<I>>(request);
    }
};

TEST_F(sc_medium, FromADescriptionSavesAndLoads) {
    const co2& c = carbon_dioxide();
    fluid_ptr medium;
    ASSERT_EQ(factory->CreateSingleComponentThermodynamicsFromDescription(c.description, true, medium), MP_STATUS_OK);
    ASSERT_TRUE(medium);
    EXPECT_EQ(as<I_write>(medium)->get_type_id(), MP_KIND_SINGLE_COMPONENT_VT);
    const auto rho_e = as<I_solver__thermodynamics_Rho_E>(medium);
    const auto p_h = as<I_solver__thermodynamics_P_H>(medium);
    const double Y[1] = {1.0};

    // A state of the equation of state inside the gas table (219..502 K, up to 13.5 kg/m3).
    const double rho = 8.0, T = 300.0;
    const rg_state s = eos(c, 1.0 / rho, T);
    const double p = s.Z * c.generator.gas_constant() * T * rho, e = s.h - p / rho;
    double pp, TT, cp, gamma, M, a, mu, lambda;
    rho_e->get_properties_rho_e(e, rho, Y, 0.0, &pp, &TT, &cp, &gamma, &M, &a, &mu, &lambda);
    EXPECT_NEAR(TT, T, kTableT);
    EXPECT_NEAR(pp / p, 1.0, kTableP);
    EXPECT_NEAR(cp / s.cp, 1.0, 1e-3);
    EXPECT_NEAR(gamma / (s.cp / s.cv), 1.0, 1e-3);
    EXPECT_NEAR(a / s.w, 1.0, 1e-3);
    EXPECT_EQ(M, 0.04401);

    // The pressure-based view agrees: (p, T) -> rho and h, and back from h.
    EXPECT_NEAR(p_h->get_density(p, T, Y) / rho, 1.0, kTableP);
    const double h = p_h->get_enthalpy(p, T, Y);
    EXPECT_NEAR(p_h->get_T_p_h(p, h, Y), T, 1e-6);
    double r2, T2, p2;
    p_h->get_properties_p_H(h + 0.5 * 100.0 * 100.0, p, Y, rho * rho * 100.0 * 100.0, 250.0, &r2, &T2, &cp, &gamma,
                            &M, &a, &mu, &lambda, &p2);
    EXPECT_NEAR(T2, T, 1e-3);  // the kinetic part of H at 100 m/s taken off
    // T beta from the equation of state: T (dp/dT)_v / (v (-dp/dv)_T), by central differences of state_Tv.
    const double dT = 1e-3 * T, dv = 1e-4 / rho;
    const double R = c.generator.gas_constant();
    const auto p_of = [&](double vv, double Tt) { return eos(c, vv, Tt).Z * R * Tt / vv; };
    const double dp_dT = (p_of(1.0 / rho, T + dT) - p_of(1.0 / rho, T - dT)) / (2.0 * dT);
    const double dp_dv = (p_of(1.0 / rho + dv, T) - p_of(1.0 / rho - dv, T)) / (2.0 * dv);
    const double T_beta = T * dp_dT / (-dp_dv / rho);
    EXPECT_NEAR(p_h->get_expansion_factor(p, T, Y) / T_beta, 1.0, 2e-3);
    EXPECT_GT(T_beta, 1.05);  // well above the ideal gas's 1 at 8 kg/m3 and 300 K

    // Saved and loaded: the same identity, the same answers.
    C_file_io stream;
    stream.open_memory();
    ASSERT_EQ(factory->Save(stream), MP_STATUS_OK);
    const auto bytes = stream.memory_bytes();
    std::shared_ptr<I_medium_physics> second;
    ASSERT_EQ(create_medium_physics(second, std::make_shared<standalone_host::CStandaloneHost>()), MP_STATUS_OK);
    C_file_io in;
    in.open_memory(bytes);
    ASSERT_EQ(second->Load(in), MP_STATUS_OK);
    host_guid id;
    as<I_identity>(medium)->get_identity(id.bytes.data());
    fluid_ptr found;
    ASSERT_EQ(second->FindThermodynamics(id, found), MP_STATUS_OK);
    double pp2, TT2;
    as<I_solver__thermodynamics_Rho_E>(found)->get_properties_rho_e(e, rho, Y, 0.0, &pp2, &TT2, &cp, &gamma, &M, &a,
                                                                    &mu, &lambda);
    EXPECT_EQ(pp2, pp);
    EXPECT_EQ(TT2, TT);
    // and saves the same bytes again
    C_file_io again;
    again.open_memory();
    ASSERT_EQ(second->Save(again), MP_STATUS_OK);
    EXPECT_EQ(again.memory_bytes(), bytes);
}

TEST_F(sc_medium, FromTheProductTableFile) {
    scratch_dir dir;
    standalone_host::set_product_directory(CHostString(dir.path.u16string()));
    standalone_host::log_capture log;
    fluid_ptr medium;
    EXPECT_EQ(factory->CreateSingleComponentThermodynamics(true, medium), MP_STATUS_FAILURE);  // no file yet
    EXPECT_FALSE(medium);
    EXPECT_EQ(log.count("CreateSingleComponentThermodynamics: "), 1u);

    sc_gas_table t = carbon_dioxide().table(21, 41);
    ASSERT_TRUE(guid_utils::BuildGUIDFromString(CHostString(u"9BA6EEDF-8843-5B4A-AB2D-2FF1E99AB780"), t.identifier));
    std::string why;
    ASSERT_TRUE(write_sc_gas_file(dir.path / kScFileName, t, &why)) << why;
    ASSERT_EQ(factory->CreateSingleComponentThermodynamics(true, medium), MP_STATUS_OK);
    ASSERT_TRUE(medium);
    const auto substances = medium->get_substances();
    ASSERT_EQ(substances.size(), 1);
    EXPECT_EQ(substances[0]->identity(), t.identifier);
    // A second medium shares the cached substance.
    fluid_ptr second;
    ASSERT_EQ(factory->CreateSingleComponentThermodynamics(false, second), MP_STATUS_OK);
    EXPECT_EQ(second->get_substances()[0], substances[0]);

    // A damaged file is refused with its reason.
    auto bytes = bytes_of(dir.path / kScFileName);
    bytes[100] ^= 0x10;
    write_bytes(dir.path / kScFileName, bytes);
    fluid_ptr third;
    log.clear();
    EXPECT_EQ(factory->CreateSingleComponentThermodynamics(true, third), MP_STATUS_FAILURE);
    EXPECT_EQ(log.count("checksum"), 1u);
    standalone_host::set_product_directory(CHostString(u""));
}

TEST_F(sc_medium, EnthalpyIterationThatCannotConvergeWarnsAndAnswersTheStart) {
    fluid_ptr medium;
    ASSERT_EQ(factory->CreateSingleComponentThermodynamicsFromDescription(carbon_dioxide().description, false, medium),
              MP_STATUS_OK);
    const auto common = as<I_solver__fluid_thermodynamics_common>(medium);
    standalone_host::log_capture log;
    const double Y[1] = {1.0};
    // An enthalpy the table cannot reach by Newton from a start that is not a temperature.
    EXPECT_EQ(common->get_temperature_from_enthalpy(3e5, 1e5, Y, 0.0, -5.0), -5.0);
    EXPECT_EQ(log.count("Warning 3002"), 1u);
}

}  // namespace
