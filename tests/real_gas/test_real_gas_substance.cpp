// The real gas substance on CO2: the saturation-line operations inside the table against the
// generator, the low-temperature extension rules (Clausius-Clapeyron branches meeting at T1, the
// latent-heat and density ramps, the exact 1000.0 below the ramp, the floor), the extension
// switched off, the property lookup with its clamps, and the record.
#include <gtest/gtest.h>

#include <algorithm>
#include <any>
#include <cmath>
#include <limits>
#include <memory>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "real_gas/c_real_gas_substance.h"
#include "real_gas/crgpropertygenerator.h"
#include "file_io/c_file_io/c_file_io.h"
#include "medium_physics/i_medium_physics.h"
#include "medium_physics/standalone_host.h"

namespace {

// A fluid of data/thermo/critical_properties.json with its ideal-gas cp0 from the NASA
// polynomials there, on Soave's temperature function.
rg_substance_parameters from_data(const std::string& name) {
    std::ifstream in(std::string(MP_SOURCE_DIR) + "/data/thermo/critical_properties.json");
    const nlohmann::json j = nlohmann::json::parse(in);
    const auto& e = j.at("substances").at(name);
    rg_substance_parameters q;
    q.source = name + ", the library's critical data";
    q.Tc = e.at("Tc").get<double>();
    q.Pc = e.at("Pc").get<double>();
    q.Zc = e.at("Zc").get<double>();
    q.omega = e.at("omega").get<double>();
    q.M = e.at("M").get<double>();
    q.model = 3;
    const auto& cp = e.at("ideal_gas_cp");
    const auto ranges = cp.at("temperature_ranges").get<std::vector<double>>();
    std::vector<double> T, v;
    for (std::size_t r = 0; r + 1 < ranges.size(); ++r) {
        const auto a = cp.at("nasa7").at(r).get<std::vector<double>>();
        for (double t = ranges[r]; t < ranges[r + 1]; t += 10.0) {
            T.push_back(t);
            v.push_back(8.314462618 / q.M * (a[0] + t * (a[1] + t * (a[2] + t * (a[3] + t * a[4])))));
        }
    }
    q.ideal_gas_cp.set_table(0.0, T, v);
    q.ideal_gas_cp.prepare_integral();
    return q;
}

rg_substance_parameters co2(bool extension = true) {
    rg_substance_parameters q = from_data("CO2");
    q.Tmin = 220.0;
    q.Tmax = 500.0;
    q.pmin = 1e4;
    q.pmax = 3e7;
    q.extension = extension;
    q.Tfloor = 100.0;
    return q;
}

// Nitrogen (Tc = 126.2 K) over 200..600 K: a supercritical gas throughout. The extension is asked
// for, as the parameters' default does.
rg_substance_parameters n2_supercritical() {
    rg_substance_parameters q = from_data("N2");
    q.Tmin = 200.0;
    q.Tmax = 600.0;
    q.pmin = 1e5;
    q.pmax = 2e7;
    q.extension = true;
    return q;
}

const host_guid kId = [] {
    host_guid g{};
    for (int i = 0; i < 16; ++i) g.bytes[static_cast<std::size_t>(i)] = static_cast<std::uint8_t>(i + 1);
    return g;
}();

const C_real_gas_substance& shared_co2() {
    static const std::unique_ptr<C_real_gas_substance> s = [] {
        auto made = std::make_unique<C_real_gas_substance>(2);
        EXPECT_TRUE(made->init(kId, u"CO2", co2(), nullptr));
        return made;
    }();
    return *s;
}

double rel(double a, double b) { return std::fabs(a - b) / std::fabs(b); }

}  // namespace

TEST(RealGasSubstance, SaturationLineFollowsTheGeneratorInsideTheTable) {
    const C_real_gas_substance& s = shared_co2();
    const auto& g = *s.generator();
    for (double T : {220.0, 250.0, 273.15, 290.0, 300.0}) {
        EXPECT_LT(rel(s.get_saturation_pressure(T), std::exp(g.saturation_ln_p(T))), 2e-4) << T;
        EXPECT_LT(rel(s.get_saturated_liquid_density(T), g.saturation_rho_liquid(T)), 2e-4) << T;
        EXPECT_LT(rel(s.get_saturated_vapour_density(T), g.saturation_rho_vapour(T)), 1e-3) << T;
        EXPECT_NEAR(s.get_saturated_vapour_enthalpy(T), g.saturation_h_vapour(T), 50.0) << T;
        const double pv = std::exp(g.saturation_ln_p(T)) / g.saturation_rho_vapour(T);
        EXPECT_LT(rel(s.get_saturated_vapour_pv(T), pv), 1e-3) << T;
        EXPECT_NEAR(s.get_vaporisation_entropy(T), g.saturation_s_vapour(T) - g.saturation_s_liquid(T), 1.0) << T;
    }
    // the liquid enthalpy is the vapour's minus the latent heat at Tmin
    EXPECT_DOUBLE_EQ(s.get_saturated_liquid_enthalpy(260.0),
                     s.get_saturated_vapour_enthalpy(260.0) - s.extension_constant(C_real_gas_substance::kL0));
    // Tmax beyond the critical temperature: the line ends just below Tc and lookups stop there
    EXPECT_EQ(s.get_saturation_pressure(500.0), s.get_saturation_pressure(s.table()->saturation_end()));
    EXPECT_LT(rel(s.get_saturation_pressure(500.0), g.critical_pressure()), 1e-3);
    // Clausius-Clapeyron at Tmin: the latent heat is T dp/dT (v_v - v_l)
    const double Tmin = s.T_min();
    const double dp = (s.get_saturation_pressure(Tmin + 0.5) - s.get_saturation_pressure(Tmin)) / 0.5;
    const double vv = 1.0 / s.get_saturated_vapour_density(Tmin + 0.25);
    const double vl = 1.0 / s.get_saturated_liquid_density(Tmin + 0.25);
    EXPECT_LT(rel(s.extension_constant(C_real_gas_substance::kL0), (Tmin + 0.25) * dp * (vv - vl)), 0.01);
}

TEST(RealGasSubstance, ExtensionBranchesMeetAndRampToWaterLikeDensity) {
    const C_real_gas_substance& s = shared_co2();
    const double Tmin = s.T_min(), T1 = s.get_T1(0.0), ramp = s.ramp_width(), floor = s.T_floor();
    EXPECT_DOUBLE_EQ(floor, 100.0);
    EXPECT_DOUBLE_EQ(ramp, 0.25 * (Tmin - floor));
    EXPECT_DOUBLE_EQ(T1, Tmin - ramp);
    // psat continuous at Tmin and at T1 (the two Clausius-Clapeyron branches meet)
    EXPECT_LT(rel(s.get_saturation_pressure(std::nextafter(Tmin, 0.0)), s.get_saturation_pressure(Tmin)), 1e-9);
    EXPECT_LT(rel(s.get_saturation_pressure(T1 - 1e-9), s.get_saturation_pressure(T1)), 1e-8);
    // independent: Clausius-Clapeyron with constant L0 from Tmin to T1 - 0 and L1 below
    const double R = 8.3144 / 0.04401;
    const double p_T1 = s.get_saturation_pressure(Tmin) *
                        std::exp((1 / Tmin - 1 / T1) * s.extension_constant(C_real_gas_substance::kL0) / R);
    EXPECT_LT(rel(s.get_saturation_pressure(T1), p_T1), 1e-12);
    // below the floor: as at the floor
    EXPECT_EQ(s.get_saturation_pressure(50.0), s.get_saturation_pressure(floor));
    EXPECT_EQ(s.get_saturated_vapour_enthalpy(50.0), s.get_saturated_vapour_enthalpy(floor));
    EXPECT_EQ(s.get_saturated_liquid_enthalpy(50.0), s.get_saturated_liquid_enthalpy(floor));
    EXPECT_EQ(s.get_saturated_liquid_density(50.0), s.get_saturated_liquid_density(floor));
    // the liquid density: rho(Tmin) down to T1, a linear ramp, then exactly 1000
    const double rho0 = s.get_saturated_liquid_density(Tmin);
    EXPECT_EQ(s.get_saturated_liquid_density(T1 + 1.0), rho0);
    EXPECT_DOUBLE_EQ(s.get_saturated_liquid_density(T1 - 0.5 * ramp), 0.5 * (rho0 + 1000.0));
    EXPECT_EQ(s.get_saturated_liquid_density(T1 - ramp - 1e-9), 1000.0);
    EXPECT_EQ(s.get_saturated_liquid_density(60.0), 1000.0);
    // latent heat: L0 above T1, ramping to L1
    const double L0 = s.extension_constant(C_real_gas_substance::kL0);
    const double L1 = s.extension_constant(C_real_gas_substance::kL1);
    EXPECT_GE(L1, L0);
    const double T = T1 - 0.25 * ramp;
    EXPECT_NEAR(s.get_saturated_vapour_enthalpy(T) - s.get_saturated_liquid_enthalpy(T), L0 + 0.25 * (L1 - L0), 1e-6);
    // slopes: the vapour slope below Tmin, plus the ramp's in the ramp
    const double slope = s.extension_constant(C_real_gas_substance::kVapourSlope);
    EXPECT_EQ(s.get_vapour_enthalpy_slope(T), slope);
    EXPECT_DOUBLE_EQ(s.get_liquid_enthalpy_slope(T), slope + (L1 - L0) / ramp);
    EXPECT_EQ(s.get_liquid_enthalpy_slope(T1 + 1.0), slope);
    EXPECT_EQ(s.get_vapour_enthalpy_slope(floor - 1.0), 0.0);
    // finite difference of the liquid enthalpy inside the ramp agrees with slot 7
    const double fd = (s.get_saturated_liquid_enthalpy(T + 0.01) - s.get_saturated_liquid_enthalpy(T - 0.01)) / 0.02;
    EXPECT_NEAR(fd, s.get_liquid_enthalpy_slope(T), 1e-6 * std::fabs(fd) + 1e-3);
    // p v of the vapour scales with T below Tmin
    EXPECT_LT(rel(s.get_saturated_vapour_pv(0.5 * Tmin) * 2.0, s.get_saturated_vapour_pv(Tmin)), 1e-14);
}

TEST(RealGasSubstance, WithoutTheExtensionEverythingHoldsItsValueAtTmin) {
    C_real_gas_substance s(1);
    ASSERT_TRUE(s.init(kId, u"CO2", co2(false), nullptr));
    const double Tmin = s.T_min();
    EXPECT_FALSE(s.extension_on());
    EXPECT_EQ(s.get_saturation_pressure(150.0), s.get_saturation_pressure(Tmin));
    EXPECT_EQ(s.get_saturated_liquid_density(150.0), s.get_saturated_liquid_density(Tmin));
    EXPECT_EQ(s.get_saturated_liquid_enthalpy(150.0), s.get_saturated_liquid_enthalpy(Tmin));
    EXPECT_EQ(s.get_saturated_vapour_enthalpy(150.0), s.get_saturated_vapour_enthalpy(Tmin));
    EXPECT_EQ(s.get_saturated_vapour_pv(150.0), s.get_saturated_vapour_pv(Tmin));
    EXPECT_EQ(s.get_liquid_enthalpy_slope(150.0), s.get_liquid_enthalpy_slope(Tmin));
    EXPECT_EQ(s.get_property(150.0, 1e6, 0.0), s.get_property(Tmin, 1e6, 0.0));
    EXPECT_EQ(dynamic_cast<const C_2d_RG_property_regular*>(s.table()) != nullptr, true);
}

TEST(RealGasSubstance, PropertyLookupClampsItsArguments) {
    const C_real_gas_substance& s = shared_co2();
    rg_state st;
    ASSERT_TRUE(static_cast<const CRGPropertyGenerator&>(*s.generator()).state_pT(5e6, 400.0, st));
    EXPECT_LT(rel(s.get_property(400.0, 5e6, 0.0), st.rho), 1e-3);
    EXPECT_LT(rel(s.get_property(400.0, 5e6, 1.0), st.w), 1e-3);
    EXPECT_EQ(s.get_property(400.0, 5e6, 7.0), s.get_property(400.0, 5e6, 1.0));
    EXPECT_EQ(s.get_property(400.0, 5e6, -3.0), s.get_property(400.0, 5e6, 0.0));
    EXPECT_EQ(s.get_property(400.0, 1e9, 0.0), s.get_property(400.0, 3e7, 0.0));
    EXPECT_EQ(s.get_property(900.0, 1e5, 0.0), s.get_property(500.0, 1e5, 0.0));
    // below Tmin: liquid side has the ramp density, vapour side the ideal gas
    EXPECT_EQ(s.get_property(120.0, 2e7, 0.0), 1000.0);
    EXPECT_EQ(s.get_property(120.0, 2e7, 1.0), s.extension_constant(C_real_gas_substance::kLiquidSound));
    const double T = 200.0;
    const double p = 0.5 * s.get_saturation_pressure(T);
    ASSERT_GT(p, 1e4);
    EXPECT_DOUBLE_EQ(s.get_property(T, p, 0.0), p / (8.3144 / 0.04401 * T));
    EXPECT_EQ(s.get_property(T, p, 1.0), s.extension_constant(C_real_gas_substance::kVapourSound));
}

TEST(RealGasSubstance, RecordRoundTripsAndRefusesOtherVersions) {
    const C_real_gas_substance& s = shared_co2();
    C_file_io w;
    w.open_memory();
    s.write(w);
    const auto bytes = w.memory_bytes();
    EXPECT_EQ(bytes[0], 1);
    C_real_gas_substance back(2);
    C_file_io r;
    r.open_memory(bytes);
    ASSERT_TRUE(back.read(r));
    C_file_io w2;
    w2.open_memory();
    back.write(w2);
    EXPECT_EQ(w2.memory_bytes(), bytes);
    EXPECT_EQ(back.name().to_utf8(), "CO2");
    for (double T : {80.0, 130.0, 170.0, 230.0, 280.0})
        EXPECT_LT(rel(back.get_saturation_pressure(T), s.get_saturation_pressure(T)), 1e-6) << T;
    auto bad = bytes;
    bad[0] = 0;
    C_file_io rb;
    rb.open_memory(bad);
    EXPECT_FALSE(C_real_gas_substance(2).read(rb));
    // a truncated record is the stream's failure
    C_file_io rt;
    rt.open_memory(std::vector<std::uint8_t>(bytes.begin(), bytes.begin() + 60));
    EXPECT_ANY_THROW(C_real_gas_substance(2).read(rt));
}

TEST(RealGasSubstance, UnusableDataAreRefusedWithAnErrorLine) {
    standalone_host::log_capture cap;
    auto q = co2();
    q.Tmax = q.Tmin;  // an empty temperature range
    EXPECT_FALSE(C_real_gas_substance(1).init(kId, u"bad", q, nullptr));
    q = co2();
    q.generator_kind = 1;
    EXPECT_FALSE(C_real_gas_substance(1).init(kId, u"bad", q, nullptr));
    EXPECT_EQ(cap.count("ERROR: MediumPhysics: medium_physics/real_gas/c_real_gas_substance.cpp("), 2u);
}

namespace {

// A factory stream holding `with` in the cache of real gas with phase change (tag 5) and
// `without` in the one without (tag 4); Load must take it and Save write the same bytes again.
void expect_factory_round_trip(const C_real_gas_substance& without, const host_guid& without_id,
                               const C_real_gas_substance& with, const host_guid& with_id) {
    C_file_io w;
    w.open_memory();
    w.put<std::uint8_t>(0);
    w.put<std::uint8_t>(0);
    w.put<std::int32_t>(2);
    w.put<std::int32_t>(4);
    w.write_guid(without_id);
    without.write(w);
    w.put<std::int32_t>(5);
    w.write_guid(with_id);
    with.write(w);
    w.put<std::uint8_t>(0);
    w.put<std::int32_t>(0);
    const auto bytes = w.memory_bytes();

    std::shared_ptr<I_medium_physics> f;
    ASSERT_EQ(create_medium_physics(f, std::make_shared<standalone_host::CStandaloneHost>(1)), MP_STATUS_OK);
    C_file_io r;
    r.open_memory(bytes);
    ASSERT_EQ(f->Load(r), MP_STATUS_OK);
    C_file_io again;
    again.open_memory();
    ASSERT_EQ(f->Save(again), MP_STATUS_OK);
    EXPECT_EQ(again.memory_bytes(), bytes);
}

}  // namespace

TEST(RealGasSubstance, FactoryLoadsAndSavesBothRealGasCaches) {
    C_real_gas_substance plain(1);
    host_guid other = kId;
    other.bytes[0] = 0x7F;
    ASSERT_TRUE(plain.init(other, u"CO2 without phase change", co2(), nullptr));
    expect_factory_round_trip(plain, other, shared_co2(), kId);
}

namespace {

// A real-gas description as a host would give it: CO2's data with a constant-free cp0 table.
class co2_description final : public I_real_gas_description {
public:
    rg_substance_parameters q = co2();
    std::int32_t query_interface(std::any&) override { return 2; }
    void get_name(CHostString& name) override { name = u"CO2 (described)"; }
    void get_identifier(CHostString& id) override { id = u"0A1B2C3D-4E5F-6071-8293-A4B5C6D7E8F9"; }
    double get_critical_temperature() override { return q.Tc; }
    double get_critical_pressure() override { return q.Pc; }
    double get_critical_compressibility() override { return q.Zc; }
    double get_acentric_factor() override { return q.omega; }
    double get_molar_mass() override { return q.M; }
    void get_ideal_gas_cp(host_property& p) override {
        const std::int32_t n = with_cp ? q.ideal_gas_cp.size() : 0;
        p.T = host_shared_array<double>(n);
        p.value = host_shared_array<double>(n);
        for (std::int32_t i = 0; i < n; ++i) {
            p.T[i] = q.ideal_gas_cp.temperatures()[i];
            p.value[i] = q.ideal_gas_cp.values()[i];
        }
    }
    std::int32_t get_model() override { return q.model; }
    std::int32_t get_generator_kind() override { return kind; }
    void get_table_temperatures(double& lo, double& hi) override { lo = q.Tmin, hi = q.Tmax; }
    void get_table_pressures(double& lo, double& hi) override { lo = q.pmin, hi = q.pmax; }
    std::int32_t get_low_temperature_extension() override { return 1; }
    double get_floor_temperature() override { return 0.0; }
    void get_data_source(CHostString& s) override { s = u"test description"; }
    std::int32_t kind = 0;
    bool with_cp = true;  // false: no table and the constant 0, a description without cp0
};

}  // namespace

// The description gives the same substance as the parameters; an unknown generator kind and a
// bad cp0 table are refused with an ERROR line; no floor means half of Tmin.
TEST(RealGasSubstance, MadeFromADescription) {
    co2_description d;
    C_real_gas_substance s(1);
    ASSERT_TRUE(s.init_from_description(d, nullptr));
    EXPECT_EQ(s.name().to_utf8(), "CO2 (described)");
    EXPECT_EQ(s.identity().bytes[0], 0x3D);  // the first field is stored little-endian
    EXPECT_EQ(s.identity().bytes[15], 0xF9);
    EXPECT_DOUBLE_EQ(s.T_floor(), 0.5 * 220.0);
    EXPECT_LT(rel(s.get_saturation_pressure(250.0), shared_co2().get_saturation_pressure(250.0)), 1e-12);
    standalone_host::log_capture cap;
    d.kind = 1;
    EXPECT_FALSE(C_real_gas_substance(1).init_from_description(d, nullptr));
    EXPECT_EQ(cap.count("property generator kind 1 is not available"), 1u);
}

// With Tmax below the critical temperature the line ends at Tmax: T = Tmax reads the last node,
// the generator's own value there, and nothing beyond it.
TEST(RealGasSubstance, TmaxReadsTheLastNodeOfTheLine) {
    auto q = co2();
    q.Tmax = 300.0;
    C_real_gas_substance s(1);
    ASSERT_TRUE(s.init(kId, u"CO2", q, nullptr));
    EXPECT_EQ(s.table()->saturation_end(), 300.0);
    const double last = std::exp(s.generator()->saturation_ln_p(300.0));
    EXPECT_EQ(s.get_saturation_pressure(300.0), last);
    EXPECT_EQ(s.get_saturation_pressure(350.0), last);
    EXPECT_EQ(s.get_saturated_liquid_density(300.0), s.generator()->saturation_rho_liquid(300.0));
}

// configure_rg_generator, the one configuration of a generator from real-gas data that the
// substance and the command line share: data it cannot use are refused with one ERROR line and
// leave the generator as it was.
TEST(RealGasConfiguration, BadCriticalDataAreRefusedWithAnErrorLineAndLeaveTheGenerator) {
    constexpr double nan = std::numeric_limits<double>::quiet_NaN();
    struct bad_data {
        const char* what;
        void (*apply)(rg_substance_parameters&);
    };
    const bad_data cases[] = {
        {"Zc above 1/3", [](rg_substance_parameters& q) { q.Zc = 0.34; }},
        {"Zc zero", [](rg_substance_parameters& q) { q.Zc = 0.0; }},
        {"Tc zero", [](rg_substance_parameters& q) { q.Tc = 0.0; }},
        {"pc not a number", [](rg_substance_parameters& q) { q.Pc = nan; }},
        {"M negative", [](rg_substance_parameters& q) { q.M = -0.044; }},
        {"omega infinite", [](rg_substance_parameters& q) { q.omega = std::numeric_limits<double>::infinity(); }},
        {"pmax below pmin", [](rg_substance_parameters& q) { q.pmax = 0.5 * q.pmin; }},
    };
    for (const auto& c : cases) {
        co2_description d;
        c.apply(d.q);
        standalone_host::log_capture cap;
        CRGPropertyGenerator g;
        rg_substance_parameters read;
        EXPECT_FALSE(configure_rg_generator(d, u"CO2 (bad)", g, read, nullptr)) << c.what;
        EXPECT_EQ(cap.count("ERROR: MediumPhysics: medium_physics/real_gas/c_real_gas_substance.cpp("), 1u) << c.what;
        EXPECT_EQ(cap.count("CO2 (bad): real-gas data not usable"), 1u) << c.what;
        EXPECT_EQ(g.critical_temperature(), 0.0) << c.what;
        EXPECT_FALSE(g.has_ideal_gas_cp()) << c.what;
    }
    // A malformed cp0 table is the description's fault too.
    co2_description d;
    d.q.ideal_gas_cp.set_table(0.0, {300.0, 300.0}, {800.0, 900.0});
    standalone_host::log_capture cap;
    CRGPropertyGenerator g;
    rg_substance_parameters read;
    EXPECT_FALSE(configure_rg_generator(d, u"CO2 (bad)", g, read, nullptr));
    EXPECT_EQ(cap.count("ideal-gas heat capacity table needs strictly increasing temperatures"), 1u);
}

// Without cp0 (no table, the constant 0) the generator gets the equation of state only: its
// saturation line is that of the full data, its caloric states cannot be formed, and a substance
// refuses such data with an ERROR line.
TEST(RealGasConfiguration, WithoutIdealGasCpOnlyTheMechanicalPartIsConfigured) {
    co2_description full;
    CRGPropertyGenerator with, without;
    rg_substance_parameters read;
    ASSERT_TRUE(configure_rg_generator(full, u"CO2", with, read, nullptr));
    EXPECT_TRUE(with.has_ideal_gas_cp());
    EXPECT_EQ(read.Tmin, 220.0);
    EXPECT_EQ(read.ideal_gas_cp.size(), full.q.ideal_gas_cp.size());
    co2_description bare;
    bare.with_cp = false;
    ASSERT_TRUE(configure_rg_generator(bare, u"CO2", without, read, nullptr));
    EXPECT_FALSE(without.has_ideal_gas_cp());
    EXPECT_EQ(without.saturation_ln_p(250.0), with.saturation_ln_p(250.0));
    rg_state st;
    EXPECT_FALSE(without.state_pT(1e5, 300.0, st));
    standalone_host::log_capture cap;
    EXPECT_FALSE(C_real_gas_substance(1).init_from_description(bare, nullptr));
    EXPECT_EQ(cap.count("no ideal-gas heat capacity"), 1u);
}

// The built-in N2-real material (data/materials/real_gases.json) read by the standalone host and
// configured by the library: at 1 bar and 300 K nitrogen is the ideal gas within 0.1 % (its second
// virial coefficient, about -4.5 cm3/mol, makes Z = 0.9998), and cp0 at 300 K is the NASA value
// that gases.json holds, 1039.7 J/(kg K), within 0.1 %.
TEST(RealGasConfiguration, TheBuiltInNitrogenMaterialIsNearlyIdealAtOneBar) {
    standalone_host::material_library library;
    library.add_file(std::string(MP_SOURCE_DIR) + "/data/materials/real_gases.json");
    const auto n2 = library.find_material("N2-real");
    ASSERT_NE(n2, nullptr);
    std::any request = std::shared_ptr<I_real_gas_description>();
    ASSERT_EQ(n2->query_interface(request), MP_STATUS_OK);
    const auto d = std::any_cast<std::shared_ptr<I_real_gas_description>>(request);
    CRGPropertyGenerator g;
    rg_substance_parameters read;
    ASSERT_TRUE(configure_rg_generator(*d, u"N2-real", g, read, nullptr));
    rg_state st;
    ASSERT_TRUE(g.state_pT(1e5, 300.0, st));
    const double ideal = 1e5 * 0.028014 / (8.314462618 * 300.0);
    EXPECT_LT(rel(st.rho, ideal), 1e-3) << st.rho;
    EXPECT_LT(rel(read.ideal_gas_cp.value(300.0), 1039.7), 1e-3) << read.ideal_gas_cp.value(300.0);
}

// ---- a table wholly above the critical temperature ----------------------------------------------

// Nitrogen at 200..600 K and 1e5..2e7 Pa builds in both modes without a saturation line; its
// lookups follow the generator within the bilinear error of the table's cells (1/100 of a patch
// each way), the saturation operations answer 0 at every temperature, and the extension, asked
// for, is off: below Tmin the lookups hold their values at Tmin.
TEST(RealGasSubstance, SupercriticalNitrogenTableBuildsInBothModes) {
    // the bilinear error over 200..600 K, 1e5..2e7 Pa: measured at 8e-6 for the density and
    // about 1e-6 for the enthalpy (relative to |h| + R Tc) at most; the bounds leave a decade
    constexpr double kDensityRelTol = 1e-4;
    constexpr double kSoundRelTol = 1e-4;
    constexpr double kEnthalpyTol = 1e-5;
    const rg_substance_parameters q = n2_supercritical();
    const double R = 8.3144 / q.M;
    for (const std::int32_t mode : {1, 2}) {
        standalone_host::log_capture cap;
        C_real_gas_substance s(mode);
        ASSERT_TRUE(s.init(kId, u"N2", q, nullptr)) << mode;
        EXPECT_FALSE(s.has_saturation_line());
        EXPECT_FALSE(s.extension_on());
        if (mode == 2) {
            const auto* t = dynamic_cast<const C_2d_RG_property_adaptable*>(s.table());
            ASSERT_NE(t, nullptr);
            for (int m = 0; m < t->strips(); ++m) EXPECT_EQ(t->strip_kind(m), 1) << m;
        }
        const IRGPropertyGenerator& g = *s.generator();
        // random points in nine of the hundred patches: the corners, the edges' middles, the centre
        std::mt19937 rng(3);
        std::uniform_real_distribution<double> u(0.0, 1.0);
        const double x0 = std::log(q.pmin), dx = (std::log(q.pmax) - x0) / 10.0, dT = (q.Tmax - q.Tmin) / 10.0;
        double worst_rho = 0.0, worst_h = 0.0, worst_w = 0.0;
        for (int n = 0; n < 900; ++n) {
            const int patch[3] = {0, 5, 9};
            const double p = std::exp(x0 + (patch[n % 3] + u(rng)) * dx);
            const double T = q.Tmin + (patch[n / 3 % 3] + u(rng)) * dT;
            double want[4], got[4];
            ASSERT_TRUE(g.properties(p, T, want));
            ASSERT_TRUE(s.table()->lookup(std::log(p), T, got));
            worst_rho = std::max(worst_rho, rel(s.get_property(T, p, 0.0), want[0]));
            worst_w = std::max(worst_w, rel(s.get_property(T, p, 1.0), want[3]));
            worst_h = std::max(worst_h, std::fabs(got[1] - want[1]) / (std::fabs(want[1]) + R * q.Tc));
        }
        EXPECT_LT(worst_rho, kDensityRelTol) << mode;
        EXPECT_LT(worst_w, kSoundRelTol) << mode;
        EXPECT_LT(worst_h, kEnthalpyTol) << mode;
        // no saturation anywhere: below, inside and above the table, and below Tc
        for (const double T : {60.0, 100.0, 126.0, 150.0, 200.0, 400.0, 600.0, 900.0}) {
            EXPECT_EQ(s.get_saturated_vapour_density(T), 0.0) << T;
            EXPECT_EQ(s.get_saturated_vapour_pv(T), 0.0) << T;
            EXPECT_EQ(s.get_saturated_liquid_enthalpy(T), 0.0) << T;
            EXPECT_EQ(s.get_saturated_vapour_enthalpy(T), 0.0) << T;
            EXPECT_EQ(s.get_saturated_liquid_density(T), 0.0) << T;
            EXPECT_EQ(s.get_vaporisation_entropy(T), 0.0) << T;
            EXPECT_EQ(s.get_saturation_pressure(T), 0.0) << T;
            EXPECT_EQ(s.get_liquid_enthalpy_slope(T), 0.0) << T;
            EXPECT_EQ(s.get_vapour_enthalpy_slope(T), 0.0) << T;
        }
        EXPECT_EQ(s.get_property(150.0, 1e6, 0.0), s.get_property(200.0, 1e6, 0.0));
        EXPECT_EQ(s.get_property(150.0, 1e6, 1.0), s.get_property(200.0, 1e6, 1.0));
        // the extension's constants: R, the rest 0; the floor and T1 as for any table
        EXPECT_LT(rel(s.extension_constant(C_real_gas_substance::kR), R), 1e-15);
        for (int k = 1; k < C_real_gas_substance::kExtensionConstants; ++k)
            EXPECT_EQ(s.extension_constant(k), 0.0) << k;
        EXPECT_EQ(s.T_floor(), 100.0);
        EXPECT_EQ(s.get_T1(0.0), 200.0 - 0.25 * (200.0 - 100.0));
        EXPECT_EQ(cap.count("MediumPhysics"), 0u) << mode;
    }
}

// Its record reads back into the same substance and writes the same bytes, in both modes and
// through a factory stream; a record that switches the extension on for it is refused.
TEST(RealGasSubstance, SupercriticalNitrogenRecordRoundTrips) {
    C_real_gas_substance modes[2] = {C_real_gas_substance(1), C_real_gas_substance(2)};
    host_guid ids[2] = {kId, kId};
    ids[1].bytes[0] = 0x55;
    for (int m = 0; m < 2; ++m) {
        C_real_gas_substance& s = modes[m];
        ASSERT_TRUE(s.init(ids[m], u"N2", n2_supercritical(), nullptr));
        C_file_io w;
        w.open_memory();
        s.write(w);
        const auto bytes = w.memory_bytes();
        C_real_gas_substance back(s.mode());
        C_file_io r;
        r.open_memory(bytes);
        ASSERT_TRUE(back.read(r)) << s.mode();
        C_file_io w2;
        w2.open_memory();
        back.write(w2);
        EXPECT_EQ(w2.memory_bytes(), bytes) << s.mode();
        EXPECT_FALSE(back.has_saturation_line());
        for (const double T : {200.0, 333.3, 600.0})
            for (const double p : {1e5, 3.3e6, 2e7}) EXPECT_EQ(back.get_property(T, p, 0.0), s.get_property(T, p, 0.0));
        // the extension byte follows the generator's record; T1, Tfloor, the eight constants and
        // dTramp come after it
        auto on = bytes;
        const std::size_t extension_byte = on.size() - (1 + 8 + 8 + 8 * C_real_gas_substance::kExtensionConstants + 8);
        ASSERT_EQ(on[extension_byte], 0);
        on[extension_byte] = 1;
        C_file_io ro;
        ro.open_memory(on);
        EXPECT_FALSE(C_real_gas_substance(s.mode()).read(ro)) << s.mode();
    }
    expect_factory_round_trip(modes[0], ids[0], modes[1], ids[1]);
}
