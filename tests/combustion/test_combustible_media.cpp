// The combustible substances and media (kinds 7 and 8): the table restored from its file on the
// second build and computed again for a damaged file or other settings; the medium's states
// against full equilibrium solves at the nodes; the iterations on T (p_H with the kinetic term,
// rho_e, p_rho) back to the state they came from; the VT medium against the PT one; the species
// interface; failures that warn and answer the start value; and Save/Load through the factory
// (operation 15), answering bit for bit as before.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include "combustion/adiabatic_flame.h"
#include "combustion/c_combustible_thermodynamics.h"
#include "file_io/c_file_io/c_file_io.h"
#include "medium_physics/i_medium_physics.h"
#include "medium_physics/standalone_host.h"

namespace fs = std::filesystem;

namespace {

using mp::combustion::combustible_settings;

constexpr char16_t kId[] = u"7C1B0E52-6A3D-4F0B-9E1A-2B3C4D5E6F70";
// Values the medium and the engine compute the same way (a lookup on a node).
constexpr double kOnNode = 1e-9;
// Iterations on T converge to this relative step.
constexpr double kIteration = 1e-8;
// PT and VT tables interpolate in different coordinates: within a coarse cell.
constexpr double kOtherTable = 0.02;

host_guid guid(const char16_t* text) {
    host_guid g;
    EXPECT_TRUE(guid_utils::BuildGUIDFromString(CHostString(text), g));
    return g;
}

combustible_settings small_methane_air(bool vt = false) {
    combustible_settings s;
    s.fuel = "CH4";
    s.oxidizer = "O2:0.21,N2:0.79";
    s.nox = true;
    if (vt) {
        s.x1_min = 0.05;  // m3/kg
        s.x1_max = 50.0;
    } else {
        s.x1_min = 1e4;
        s.x1_max = 1e6;
    }
    // The first axis fine enough (0.19 in ln p or ln v per cell) that the blends of (dv/dp)_T, which
    // grows as v^2, stay within a few tenths of a per cent between nodes.
    s.n1 = vt ? 37 : 25;
    s.T_min = 250.0;
    s.T_max = 3000.0;
    s.n2 = 56;
    s.n3 = 21;
    return s;
}

// A combustible description for the factory.
class description final : public I_combustible_description, public std::enable_shared_from_this<description> {
public:
    explicit description(combustible_settings s) : m_s(std::move(s)) {}
    std::int32_t query_interface(std::any& requested) override {
        if (auto* p = std::any_cast<std::shared_ptr<I_combustible_description>>(&requested)) {
            *p = shared_from_this();
            return 0;
        }
        if (auto* p = std::any_cast<std::shared_ptr<IHostDescription>>(&requested)) {
            *p = shared_from_this();
            return 0;
        }
        return 2;
    }
    void get_name(CHostString& name) override { name = u"methane-air"; }
    void get_identifier(CHostString& identifier) override { identifier = kId; }
    void get_fuel(CHostString& c) override { c = CHostString::from_utf8(m_s.fuel); }
    void get_oxidizer(CHostString& c) override { c = CHostString::from_utf8(m_s.oxidizer); }
    void get_first_axis(double& a, double& b, std::int32_t& n) override { a = m_s.x1_min, b = m_s.x1_max, n = m_s.n1; }
    void get_temperature_axis(double& a, double& b, std::int32_t& n) override {
        a = m_s.T_min, b = m_s.T_max, n = m_s.n2;
    }
    std::int32_t get_mixture_fraction_points() override { return m_s.n3; }
    std::int32_t get_nox() override { return m_s.nox ? 1 : 0; }
    void get_two_stream(std::int32_t& on, double& s) override { on = 0, s = 0.0; }

private:
    combustible_settings m_s;
};

class CombustibleMedia : public ::testing::Test {
protected:
    void SetUp() override {
        m_dir = fs::temp_directory_path() / ("mp_combustible_" + std::to_string(std::random_device()()) + "_" +
                                             ::testing::UnitTest::GetInstance()->current_test_info()->name());
        fs::create_directories(m_dir);
        standalone_host::set_product_directory(CHostString(m_dir.u16string()));
    }
    void TearDown() override {
        standalone_host::set_product_directory(CHostString());
        std::error_code ec;
        fs::remove_all(m_dir, ec);
    }
    template <class S>
    std::shared_ptr<S> substance(const combustible_settings& s) {
        auto out = std::make_shared<S>();
        EXPECT_TRUE(out->init(guid(kId), CHostString(u"methane-air"), s, nullptr));
        return out;
    }
    fs::path m_dir;
};

}  // namespace

TEST_F(CombustibleMedia, TableIsRestoredFromItsFileAndComputedAgainWhenItDoesNotFit) {
    standalone_host::log_capture log;
    const auto first = substance<C_combustible_substance_PT>(small_methane_air());
    EXPECT_EQ(first->restore_result(), chem_restore_result::computed_and_saved);
    EXPECT_EQ(log.count("Chemistry: Calculation of chemical tables...\n"), 1u);
    EXPECT_EQ(log.count("Chemistry: Calculation of chemical tables is completed\n"), 1u);
    const fs::path file = m_dir / "7C1B0E52-6A3D-4F0B-9E1A-2B3C4D5E6F70_NOX_PT.tbl";
    ASSERT_TRUE(fs::exists(file));

    const auto second = substance<C_combustible_substance_PT>(small_methane_air());
    EXPECT_EQ(second->restore_result(), chem_restore_result::restored);
    EXPECT_EQ(log.count("Chemistry: Calculation of chemical tables...\n"), 1u);
    for (std::int32_t f = 0; f < first->table().count_a() + first->table().count_b(); ++f)
        EXPECT_EQ(std::memcmp(first->table().field(f), second->table().field(f), first->table().cells() * 8), 0);

    // A damaged byte in the middle of the fields: the checksum refuses the file.
    {
        std::fstream io(file, std::ios::in | std::ios::out | std::ios::binary);
        io.seekp(static_cast<std::streamoff>(fs::file_size(file) / 2));
        io.put('\x5A');
    }
    EXPECT_EQ(substance<C_combustible_substance_PT>(small_methane_air())->restore_result(),
              chem_restore_result::computed_and_saved);
    // Another oxidizer with the same grid: the check record refuses the file.
    combustible_settings enriched = small_methane_air();
    enriched.oxidizer = "O2:0.3,N2:0.7";
    EXPECT_EQ(substance<C_combustible_substance_PT>(enriched)->restore_result(), chem_restore_result::computed_and_saved);
    // And the original settings then find a file computed for the other oxidizer: computed again.
    EXPECT_EQ(substance<C_combustible_substance_PT>(small_methane_air())->restore_result(),
              chem_restore_result::computed_and_saved);
    // Without the NOx option the file has another name and nitrogen is inert.
    combustible_settings inert = small_methane_air();
    inert.nox = false;
    const auto plain = substance<C_combustible_substance_PT>(inert);
    EXPECT_TRUE(fs::exists(m_dir / "7C1B0E52-6A3D-4F0B-9E1A-2B3C4D5E6F70_PT.tbl"));
    EXPECT_LT(plain->chemistry().find("NO"), 0);
}

TEST_F(CombustibleMedia, RefusesUnusableDescriptions) {
    standalone_host::log_capture log;
    for (auto change : std::vector<void (*)(combustible_settings&)>{
             [](combustible_settings& s) { s.fuel = "C8H18"; },          // not a GRI-Mech species
             [](combustible_settings& s) { s.oxidizer = "O2:0.21,N2"; },  // counts 1: fine, see below
             [](combustible_settings& s) { s.oxidizer = "O2:-1"; },
             [](combustible_settings& s) { s.n3 = 1; },
             [](combustible_settings& s) { s.T_min = 3500.0; },
             [](combustible_settings& s) { s.stream_parameter = 2.0; }}) {
        combustible_settings s = small_methane_air();
        change(s);
        C_combustible_substance_PT bad;
        const bool ok = bad.init(guid(kId), CHostString(u"x"), s, nullptr);
        EXPECT_EQ(ok, s.oxidizer == "O2:0.21,N2") << s.fuel << " " << s.oxidizer;
    }
    EXPECT_GE(log.count("ERROR: MediumPhysics: "), 5u);
}

TEST_F(CombustibleMedia, StatesAreEquilibriumStatesAndIterationsReturnToThem) {
    const auto sub = substance<C_combustible_substance_PT>(small_methane_air());
    const auto medium = C_combustible_thermodynamics_PT::create(sub, 0.0, 0);
    ASSERT_TRUE(medium);
    const auto& chem = sub->chemistry();
    const double zst = chem.stoichiometric_mixture_fraction();
    // On a node: the engine's values.
    const double p = sub->table().axis_values(0)[12], T = sub->table().axis_values(1)[30],
                 z = sub->table().axis_values(2)[2];
    mp::equilibrium::mixture m;
    ASSERT_TRUE(chem.mixture_at(z, m));
    mp::equilibrium::state st;
    ASSERT_EQ(m.solve_T_p(T, p, st, false), mp::equilibrium::status::converged);
    mp::equilibrium::properties pr;
    ASSERT_TRUE(m.evaluate(st, pr));
    double Y[3] = {z, 0.0, 0.0};
    double rho, h, cp, gamma, M, a, mu, lambda;
    medium->get_properties_p_T(p, T, Y, &rho, &h, &cp, &gamma, &M, &a, &mu, &lambda);
    EXPECT_NEAR(rho / pr.rho, 1.0, kOnNode);
    EXPECT_NEAR(h, pr.h, kOnNode * std::fabs(pr.h));
    EXPECT_NEAR(cp / pr.cp, 1.0, kOnNode);
    EXPECT_NEAR(a / pr.sound_speed, 1.0, kOnNode);
    EXPECT_NEAR(M / pr.molar_mass, 1.0, kOnNode);
    const int h2o = chem.find("H2O");
    int water = -1;
    for (std::int32_t k = 0; k < medium->get_species_count(); ++k)
        if (std::string(medium->get_species_name(k)) == "H2O") water = k;
    ASSERT_GE(water, 0);
    EXPECT_NEAR(medium->get_species_mass_fraction(p, T, Y, water), st.n[h2o] * chem.species().at(h2o).molar_mass, 1e-12);
    EXPECT_EQ(medium->get_species_name(-1), std::string());
    EXPECT_TRUE(std::isnan(medium->get_species_mass_fraction(p, T, Y, 99)));

    // Between nodes, at the stoichiometric mixture: the iterations return to the state.
    Y[0] = zst;
    for (const double T_in : {600.0, 1500.0, 2150.0, 2777.0}) {
        const double p_in = 2.3e5;
        medium->get_properties_p_T(p_in, T_in, Y, &rho, &h, &cp, &gamma, &M, &a, &mu, &lambda);
        const double G2 = std::pow(rho * 80.0, 2);  // 80 m/s
        double rho2, T2, p2;
        medium->get_properties_p_H(h + 0.5 * 80.0 * 80.0, p_in, Y, G2, 1000.0, &rho2, &T2, &cp, &gamma, &M, &a, &mu,
                                   &lambda, &p2);
        EXPECT_NEAR(T2 / T_in, 1.0, kIteration) << T_in;
        EXPECT_EQ(p2, p_in);
        const double e = h - p_in / rho;
        double p3, T3;
        medium->get_properties_rho_e(e, rho, Y, 1000.0, &p3, &T3, &cp, &gamma, &M, &a, &mu, &lambda);
        EXPECT_NEAR(T3 / T_in, 1.0, kIteration) << T_in;
        EXPECT_NEAR(p3 / p_in, 1.0, kIteration) << T_in;
        double e4, T4;
        medium->get_properties_p_rho(p_in, rho, Y, 0.0, &e4, &T4, &cp, &gamma, &M, &a, &mu, &lambda);
        EXPECT_NEAR(T4 / T_in, 1.0, kIteration) << T_in;
        EXPECT_NEAR(medium->get_T_p_h(p_in, h, Y) / T_in, 1.0, kIteration);
    }
    // The flame on a node of z and p: the unburnt mixture at 300 K burns to the engine's adiabatic
    // flame temperature (between temperature nodes, 50 K apart: within 3 K).
    Y[0] = sub->table().axis_values(2)[1];
    const mp::combustion::flame_result flame =
        mp::combustion::adiabatic_flame(chem, chem.equivalence_ratio(Y[0]), 1e5, 300.0, nullptr);
    ASSERT_EQ(flame.status, mp::combustion::flame_status::ok);
    EXPECT_NEAR(medium->get_T_p_h(1e5, chem.unburnt_enthalpy(Y[0], 300.0), Y), flame.T, 3.0);
}

TEST_F(CombustibleMedia, FailuresWarnAndAnswerTheStartValue) {
    const auto sub = substance<C_combustible_substance_PT>(small_methane_air());
    const auto medium = C_combustible_thermodynamics_PT::create(sub, 0.0, 0);
    standalone_host::log_capture log;
    const double Y[1] = {0.05};
    double rho, T, cp, gamma, M, a, mu, lambda, p;
    medium->get_properties_p_H(NAN, 1e5, Y, 0.0, 1234.0, &rho, &T, &cp, &gamma, &M, &a, &mu, &lambda, &p);
    EXPECT_EQ(T, 1234.0);
    medium->get_properties_rho_e(1e6, -1.0, Y, 987.0, &p, &T, &cp, &gamma, &M, &a, &mu, &lambda);
    EXPECT_EQ(T, 987.0);
    EXPECT_EQ(log.count("Warning 3002: MediumPhysics: "), 2u);
    // An enthalpy far above the table's: the bracket ends at its top, no endless iteration.
    medium->get_properties_p_H(1e9, 1e5, Y, 0.0, 1000.0, &rho, &T, &cp, &gamma, &M, &a, &mu, &lambda, &p);
    EXPECT_TRUE(std::isfinite(T));
}

TEST_F(CombustibleMedia, VolumeMediumAgreesWithThePressureMedium) {
    const auto pt = C_combustible_thermodynamics_PT::create(substance<C_combustible_substance_PT>(small_methane_air()), 0.0, 0);
    const auto vt = C_combustible_thermodynamics_VT::create(substance<C_combustible_substance_VT>(small_methane_air(true)), 0.0, 0);
    ASSERT_TRUE(pt && vt);
    EXPECT_EQ(vt->get_type_id(), MP_KIND_COMBUSTIBLE_VT);
    EXPECT_EQ(pt->get_type_id(), MP_KIND_COMBUSTIBLE_PT);
    for (const double z : {0.0, 0.04, 0.055, 0.2})
        for (const double T : {400.0, 1400.0, 2300.0}) {
            const double Y[1] = {z};
            const auto a = pt->state_p_T(1e5, T, Y);
            const auto b = vt->state_p_T(1e5, T, Y);
            EXPECT_NEAR(b.rho / a.rho, 1.0, kOtherTable) << z << " " << T;
            EXPECT_NEAR(b.h - a.h, 0.0, kOtherTable * (std::fabs(a.h) + a.cp * T)) << z << " " << T;
            EXPECT_NEAR(b.a / a.a, 1.0, kOtherTable) << z << " " << T;
            // The VT medium's own iteration at (rho, e).
            double p, T2, cp, gamma, M, s, mu, lambda;
            vt->get_properties_rho_e(b.e, b.rho, Y, 800.0, &p, &T2, &cp, &gamma, &M, &s, &mu, &lambda);
            EXPECT_NEAR(T2 / T, 1.0, kIteration);
            EXPECT_NEAR(p / 1e5, 1.0, kIteration);
        }
}

TEST_F(CombustibleMedia, OperationFifteenSaveAndLoad) {
    std::shared_ptr<I_medium_physics> factory;
    ASSERT_EQ(create_medium_physics(factory, std::make_shared<standalone_host::CStandaloneHost>()), MP_STATUS_OK);
    const auto d = std::make_shared<description>(small_methane_air());
    fluid_ptr pt, vt, none;
    EXPECT_EQ(factory->CreateCombustibleThermodynamics(d, MP_KIND_COMBUSTIBLE_PT, 0.055, 0, true, pt), MP_STATUS_OK);
    EXPECT_EQ(factory->CreateCombustibleThermodynamics(d, 5, 0.0, 0, true, none), MP_STATUS_OK);
    EXPECT_EQ(none, nullptr);
    ASSERT_TRUE(pt);
    std::any request = std::shared_ptr<I_solver__thermodynamics_P_H>();
    ASSERT_EQ(pt->query_interface(request), MP_STATUS_OK);
    const auto ph = std::any_cast<std::shared_ptr<I_solver__thermodynamics_P_H>>(request);
    std::any combustible = std::shared_ptr<I_fluid_combustible>();
    EXPECT_EQ(pt->query_interface(combustible), MP_STATUS_OK);
    const double Y[1] = {0.055};
    const double rho = ph->get_density(1e5, 1800.0, Y);
    EXPECT_GT(rho, 0.15);
    EXPECT_LT(rho, 0.25);
    // The default mixture fraction answers a null Y.
    EXPECT_EQ(ph->get_density(1e5, 1800.0, nullptr), rho);

    C_file_io stream;
    stream.open_memory();
    ASSERT_EQ(factory->Save(stream), MP_STATUS_OK);
    const std::vector<std::uint8_t> bytes = stream.memory_bytes();
    std::shared_ptr<I_medium_physics> loaded;
    ASSERT_EQ(create_medium_physics(loaded, std::make_shared<standalone_host::CStandaloneHost>()), MP_STATUS_OK);
    standalone_host::log_capture log;
    C_file_io in;
    in.open_memory(bytes);
    ASSERT_EQ(loaded->Load(in), MP_STATUS_OK);
    EXPECT_EQ(log.count("Chemistry: Restoring table succeeded\n"), 1u);
    EXPECT_EQ(log.count("Chemistry: Calculation of chemical tables...\n"), 0u);
    C_file_io again;
    again.open_memory();
    ASSERT_EQ(loaded->Save(again), MP_STATUS_OK);
    EXPECT_EQ(again.memory_bytes(), bytes);
}
