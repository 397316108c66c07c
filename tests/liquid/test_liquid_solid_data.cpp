// The built-in liquid and solid materials (data/materials/liquids.json and solids.json) against
// published values. Every reference number names its source; properties are read the way the
// library reads them: linear interpolation in the table, the end values held outside it.
#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <regex>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

namespace {

using nlohmann::json;

json read(const std::string& file) {
    std::ifstream f(std::string(MP_SOURCE_DIR) + "/data/" + file);
    return f ? json::parse(f) : json();
}

const json& liquids() {
    static const json data = read("materials/liquids.json");
    return data;
}
const json& solids() {
    static const json data = read("materials/solids.json");
    return data;
}

const json& material(const std::string& name) {
    for (const json* file : {&liquids(), &solids()})
        for (const auto& m : file->at("materials"))
            if (m.at("name") == name) return m;
    throw std::runtime_error("no material " + name);
}

// The property at T: the constant without a table, else linear interpolation held at the ends.
double at(const json& property, double T) {
    if (!property.contains("table")) return property.at("constant").get<double>();
    const auto Ts = property.at("table").at("T").get<std::vector<double>>();
    const auto v = property.at("table").at("value").get<std::vector<double>>();
    if (T <= Ts.front()) return v.front();
    if (T >= Ts.back()) return v.back();
    std::size_t i = 1;
    while (Ts[i] < T) ++i;
    return v[i - 1] + (v[i] - v[i - 1]) * (T - Ts[i - 1]) / (Ts[i] - Ts[i - 1]);
}

double liquid(const std::string& name, const char* key, double T) { return at(material(name).at(key), T); }
double thermal_conductivity(const std::string& solid, double T) { return at(material(solid).at("components")[0], T); }
double specific_heat(const std::string& solid, double T) { return at(material(solid).at("heat_parameter"), T); }

void expect_relative(double actual, double published, double tolerance, const std::string& what) {
    EXPECT_NEAR(actual / published, 1.0, tolerance) << what << ": " << actual << ", published " << published;
}

// Every property of a material, with a label.
std::vector<std::pair<std::string, const json*>> properties(const json& m) {
    std::vector<std::pair<std::string, const json*>> out;
    for (const char* key : {"cp", "viscosity", "conductivity", "density", "heat_parameter"})
        if (m.contains(key)) out.emplace_back(key, &m.at(key));
    if (m.contains("components"))
        for (const auto& c : m.at("components")) out.emplace_back("component", &c);
    return out;
}

}  // namespace

// ---- water ------------------------------------------------------------------------------------

// Density in kg/m3. Kell, J. Chem. Eng. Data 20, 97 (1975), air-free water at 101.325 kPa:
// 999.97 at 4 degC (the maximum; 277 K is read here), 971.8 at 80 degC. Independently, Tanaka et
// al., Metrologia 38, 301 (2001), the CIPM table for air-free SMOW: 999.7027 at 10 degC, 998.2067
// at 20 degC, 995.6488 at 30 degC; Kell and Tanaka differ by a few ppm there.
TEST(LiquidData, WaterDensityAgainstKellAndTanaka) {
    expect_relative(liquid("water", "density", 277.0), 999.97, 2e-5, "water at 277 K (Kell)");
    expect_relative(liquid("water", "density", 353.15), 971.8, 1e-4, "water at 353.15 K (Kell)");
    expect_relative(liquid("water", "density", 283.15), 999.7027, 2e-5, "water at 283.15 K (Tanaka)");
    expect_relative(liquid("water", "density", 293.15), 998.2067, 2e-5, "water at 293.15 K (Tanaka)");
    expect_relative(liquid("water", "density", 303.15), 995.6488, 2e-5, "water at 303.15 K (Tanaka)");
}

// Viscosity in Pa s. IAPWS 2008 (Huber et al., J. Phys. Chem. Ref. Data 38, 101 (2009)) at
// 20 degC and 0.1 MPa: 1.0016 mPa s. Saturated liquid, Perry's Chemical Engineers' Handbook, 9th
// ed., Table 2-135: 1791.2 uPa s at 273.16 K, 853.84 at 300 K, 368.77 at 350 K, 291.36 at 370 K;
// between the 5 K points of the file linear interpolation adds up to 0.25%. Incropera and DeWitt,
// Table A.6 (saturated water): 855e-6 N s/m2 at 300 K.
TEST(LiquidData, WaterViscosityAgainstIapws) {
    expect_relative(liquid("water", "viscosity", 293.15), 1.0016e-3, 1e-4, "water at 293.15 K (IAPWS 2008)");
    expect_relative(liquid("water", "viscosity", 273.16), 1791.2e-6, 1e-3, "water at 273.16 K (Perry)");
    expect_relative(liquid("water", "viscosity", 300.0), 853.84e-6, 3e-3, "water at 300 K (Perry)");
    expect_relative(liquid("water", "viscosity", 350.0), 368.77e-6, 3e-3, "water at 350 K (Perry)");
    expect_relative(liquid("water", "viscosity", 370.0), 291.36e-6, 3e-3, "water at 370 K (Perry)");
    expect_relative(liquid("water", "viscosity", 300.0), 855e-6, 5e-3, "water at 300 K (Incropera A.6)");
}

// cp in J/(kg K) and conductivity in W/(m K). Perry's Table 2-135 (saturated liquid): cp 0.075320
// kJ/(mol K) at 300 K with M = 18.015268 g/mol; conductivity 610.28 mW/(m K) at 300 K. Independently,
// Incropera and DeWitt, Table A.6: cp 4.179 and 4.195 kJ/(kg K), k 613 and 668 x 1e-3 W/(m K) at
// 300 and 350 K, rounded to three or four digits from older data, hence 0.1% and 0.6%.
TEST(LiquidData, WaterHeatCapacityAndConductivity) {
    expect_relative(liquid("water", "cp", 300.0), 0.075320e3 / 0.018015268, 1e-4, "cp at 300 K (Perry)");
    expect_relative(liquid("water", "conductivity", 300.0), 0.61028, 1e-4, "k at 300 K (Perry)");
    expect_relative(liquid("water", "cp", 300.0), 4179.0, 1e-3, "cp at 300 K (Incropera A.6)");
    expect_relative(liquid("water", "cp", 350.0), 4195.0, 1e-3, "cp at 350 K (Incropera A.6)");
    expect_relative(liquid("water", "conductivity", 300.0), 0.613, 6e-3, "k at 300 K (Incropera A.6)");
    expect_relative(liquid("water", "conductivity", 350.0), 0.668, 6e-3, "k at 350 K (Incropera A.6)");
}

TEST(LiquidData, WaterTablesSpanTheLiquidAtOneAtmosphere) {
    const json& water = material("water");
    for (const char* key : {"cp", "viscosity", "conductivity", "density"}) {
        const auto T = water.at(key).at("table").at("T").get<std::vector<double>>();
        EXPECT_LE(T.front(), 273.16) << key;
        EXPECT_GE(T.back(), 373.15) << key;
    }
    // about 10-12 measured points: the library fits the exponential of a quadratic to them
    EXPECT_GE(water.at("density").at("table").at("T").size(), 10u);
    EXPECT_EQ(water.at("reference_pressure").get<double>(), 101325.0);
}

// Incropera and DeWitt, Fundamentals of Heat and Mass Transfer, Table A.5 (saturated liquids):
// rho kg/m3, cp kJ/(kg K), mu 1e-2 N s/m2, k 1e-3 W/(m K).
TEST(LiquidData, OilAndGlycolAgainstIncroperaA5) {
    struct Row {
        const char* name;
        double T, rho, cp, mu, k;
    };
    const Row rows[] = {
        {"engine-oil", 273.0, 899.1, 1.796, 385.0, 147.0},   {"engine-oil", 300.0, 884.1, 1.909, 48.6, 145.0},
        {"engine-oil", 350.0, 853.9, 2.118, 3.56, 138.0},    {"engine-oil", 430.0, 806.5, 2.471, 0.470, 132.0},
        {"ethylene-glycol", 273.0, 1130.8, 2.294, 6.51, 242.0}, {"ethylene-glycol", 300.0, 1114.4, 2.415, 1.57, 252.0},
        {"ethylene-glycol", 350.0, 1079.0, 2.637, 0.342, 261.0}, {"ethylene-glycol", 373.0, 1058.5, 2.742, 0.215, 263.0},
    };
    for (const Row& r : rows) {
        const std::string at_T = std::string(r.name) + " at " + std::to_string(r.T) + " K";
        expect_relative(liquid(r.name, "density", r.T), r.rho, 1e-9, "density of " + at_T);
        expect_relative(liquid(r.name, "cp", r.T), r.cp * 1e3, 1e-9, "cp of " + at_T);
        expect_relative(liquid(r.name, "viscosity", r.T), r.mu * 1e-2, 1e-9, "viscosity of " + at_T);
        expect_relative(liquid(r.name, "conductivity", r.T), r.k * 1e-3, 1e-9, "conductivity of " + at_T);
    }
}

TEST(LiquidData, WaterGlycolIsAnIdealMixtureOfTheTwoMaterials) {
    const json* medium = nullptr;
    for (const auto& m : liquids().at("media"))
        if (m.at("name") == "water-glycol") medium = &m;
    ASSERT_NE(medium, nullptr);
    EXPECT_EQ(medium->at("substances"), json::parse(R"(["water", "ethylene-glycol"])"));
    EXPECT_EQ(medium->at("mass_fractions"), json::parse("[0.6, 0.4]"));
    EXPECT_NE(medium->at("source").get<std::string>().find("IDEAL MIXTURE"), std::string::npos)
        << "the source must say the mixture is not measured data";
}

// ---- solids -----------------------------------------------------------------------------------

// Incropera and DeWitt, Table A.1 (pure copper, pure aluminum, AISI 1010): density kg/m3,
// k W/(m K) and cp J/(kg K). Independently, NIST-JANAF (Chase 1998), Cu(cr) and Al(cr) at 298.15 K:
// cp 24.442 and 24.209 J/(mol K) with M = 63.546 and 26.9815 g/mol; Incropera's aluminium lies 0.5%
// above JANAF, hence 1%.
TEST(SolidData, ThermalPropertiesAgainstIncroperaA1) {
    EXPECT_EQ(material("copper").at("heat_value_a").get<double>(), 8933.0);
    EXPECT_EQ(material("aluminium").at("heat_value_a").get<double>(), 2702.0);
    EXPECT_EQ(material("steel").at("heat_value_a").get<double>(), 7832.0);
    expect_relative(thermal_conductivity("copper", 300.0), 401.0, 1e-9, "k of copper at 300 K");
    expect_relative(thermal_conductivity("copper", 100.0), 482.0, 1e-9, "k of copper at 100 K");
    expect_relative(thermal_conductivity("copper", 1200.0), 339.0, 1e-9, "k of copper at 1200 K");
    expect_relative(specific_heat("copper", 300.0), 385.0, 1e-9, "cp of copper at 300 K");
    expect_relative(thermal_conductivity("aluminium", 300.0), 237.0, 1e-9, "k of aluminium at 300 K");
    expect_relative(specific_heat("aluminium", 600.0), 1033.0, 1e-9, "cp of aluminium at 600 K");
    expect_relative(thermal_conductivity("steel", 300.0), 63.9, 1e-9, "k of AISI 1010 at 300 K");
    expect_relative(thermal_conductivity("steel", 1000.0), 31.3, 1e-9, "k of AISI 1010 at 1000 K");
    expect_relative(specific_heat("steel", 600.0), 559.0, 1e-9, "cp of AISI 1010 at 600 K");
    expect_relative(specific_heat("copper", 298.15), 24.442 / 63.546e-3, 5e-3, "cp of copper (JANAF)");
    expect_relative(specific_heat("aluminium", 298.15), 24.209 / 26.9815e-3, 1e-2, "cp of aluminium (JANAF)");
}

// Electrical resistivity, 1e-8 ohm m: CRC Handbook, "Electrical Resistivity of Pure Metals":
// copper 1.543 (273 K), 1.678 (293 K), 6.041 (900 K); aluminium 2.650 (293 K), 10.18 (900 K).
// Pure copper conducts about 3% better than the International Annealed Copper Standard,
// 58.0 MS/m at 20 degC (IEC 60028).
TEST(SolidData, ElectricalConductivityAgainstCrc) {
    const auto sigma = [](const char* name, double T) { return at(material(name).at("components")[0], T); };
    expect_relative(sigma("copper-electrical", 273.15), 1.0 / 1.543e-8, 1e-4, "copper at 273.15 K");
    expect_relative(sigma("copper-electrical", 293.0), 1.0 / 1.678e-8, 1e-4, "copper at 293 K");
    expect_relative(sigma("copper-electrical", 900.0), 1.0 / 6.041e-8, 1e-4, "copper at 900 K");
    expect_relative(sigma("aluminium-electrical", 293.0), 1.0 / 2.650e-8, 1e-4, "aluminium at 293 K");
    expect_relative(sigma("aluminium-electrical", 900.0), 1.0 / 10.18e-8, 1e-4, "aluminium at 900 K");
    const double iacs = sigma("copper-electrical", 293.15) / 58.0e6;
    EXPECT_GT(iacs, 1.0);
    EXPECT_LT(iacs, 1.04);
}

TEST(SolidData, SolidsAreIsotropicWithThreeEqualComponents) {
    for (const auto& m : solids().at("materials")) {
        const auto& c = m.at("components");
        ASSERT_EQ(c.size(), 3u) << m.at("name");
        EXPECT_EQ(c[0], c[1]) << m.at("name");
        EXPECT_EQ(c[0], c[2]) << m.at("name");
        EXPECT_EQ(m.at("anisotropy"), 0) << m.at("name");
        if (m.at("kind") != "heatconducting_solid") continue;
        // the highest temperature of validity is the last tabulated one
        EXPECT_EQ(m.at("heat_value_b").get<double>(), m.at("heat_parameter").at("table").at("T").back().get<double>());
        EXPECT_EQ(m.at("heat_value_b").get<double>(), c[0].at("table").at("T").back().get<double>());
    }
}

// ---- both files ---------------------------------------------------------------------------------

TEST(LiquidSolidData, TablesAreIncreasingPositiveAndTheConstantIsTheRoomTemperatureValue) {
    for (const json* file : {&liquids(), &solids()}) {
        ASSERT_TRUE(file->is_object()) << "cannot read a material file under " MP_SOURCE_DIR "/data/materials";
        for (const auto& m : file->at("materials"))
            for (const auto& [key, p] : properties(m)) {
                const std::string what = m.at("name").get<std::string>() + " " + key;
                const auto T = p->at("table").at("T").get<std::vector<double>>();
                const auto v = p->at("table").at("value").get<std::vector<double>>();
                ASSERT_EQ(T.size(), v.size()) << what;
                ASSERT_GE(T.size(), 5u) << what;
                for (std::size_t i = 1; i < T.size(); ++i) EXPECT_GT(T[i], T[i - 1]) << what << " row " << i;
                for (const double x : v) EXPECT_TRUE(std::isfinite(x) && x > 0.0) << what;
                bool room = false;
                for (const double t : {293.0, 293.15, 300.0})
                    room = room || std::fabs(at(*p, t) / p->at("constant").get<double>() - 1.0) < 1e-9;
                EXPECT_TRUE(room) << what << ": the constant is not the table value at 293-300 K";
            }
    }
}

TEST(LiquidSolidData, IdentifiersAreUniqueGuidsApartFromTheGases) {
    const std::regex guid("^[0-9A-F]{8}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{12}$");
    std::set<std::string> ids, names;
    const json gases = read("materials/gases.json");
    ASSERT_TRUE(gases.is_object());
    for (const auto& m : gases.at("materials")) {
        ids.insert(m.at("identifier").get<std::string>());
        names.insert(m.at("name").get<std::string>());
    }
    for (const json* file : {&liquids(), &solids()})
        for (const auto& m : file->at("materials")) {
            const auto id = m.at("identifier").get<std::string>();
            EXPECT_TRUE(std::regex_match(id, guid)) << m.at("name") << ": " << id;
            EXPECT_TRUE(ids.insert(id).second) << m.at("name") << " repeats " << id;
            EXPECT_TRUE(names.insert(m.at("name").get<std::string>()).second) << "name used twice: " << m.at("name");
            EXPECT_FALSE(m.at("source").get<std::string>().empty()) << m.at("name");
        }
}

TEST(LiquidSolidData, MediaNameMaterialsOfTheirKindWithFractionsSummingToOne) {
    const json& media = liquids().at("media");
    ASSERT_EQ(media.size(), 4u);
    for (const auto& medium : media) {
        const auto& substances = medium.at("substances");
        ASSERT_EQ(substances.size(), medium.at("mass_fractions").size()) << medium.at("name");
        double sum = 0.0;
        for (const auto& y : medium.at("mass_fractions")) sum += y.get<double>();
        EXPECT_NEAR(sum, 1.0, 1e-12) << medium.at("name");
        for (const auto& s : substances)
            EXPECT_EQ(material(s.get<std::string>()).at("kind"), medium.at("kind")) << medium.at("name") << " " << s;
    }
}

// Every field the schema requires of a kind is present in the materials of that kind.
TEST(LiquidSolidData, MaterialsHaveTheFieldsTheSchemaRequires) {
    const json schema = read("materials.schema.json");
    ASSERT_TRUE(schema.is_object());
    const json& defs = schema.at("$defs");
    const std::pair<const char*, const char*> kinds[] = {{"incompressible_liquid", "liquid"},
                                                         {"heatconducting_solid", "heatconducting_solid"},
                                                         {"electroconducting_solid", "electroconducting_solid"}};
    for (const json* file : {&liquids(), &solids()})
        for (const auto& m : file->at("materials")) {
            for (const auto& field : defs.at("material").at("required")) EXPECT_TRUE(m.contains(field)) << field;
            for (const auto& [kind, def] : kinds) {
                if (m.at("kind") != kind) continue;
                for (const auto& field : defs.at(def).at("required"))
                    EXPECT_TRUE(m.contains(field)) << m.at("name") << " lacks " << field;
            }
        }
    EXPECT_EQ(defs.at("conductivities").at("minItems"), 3);
    EXPECT_EQ(defs.at("conductivities").at("maxItems"), 3);
}
