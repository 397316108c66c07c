// The built-in gas materials (data/materials/gases.json, derived by tools/gasdata) against
// published tables. Every reference number names its source; properties are read the way the
// library reads them, by linear interpolation in the tables.
#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <regex>
#include <set>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

namespace {

using nlohmann::json;

const json& gases() {
    static const json data = [] {
        std::ifstream f(MP_SOURCE_DIR "/data/materials/gases.json");
        return f ? json::parse(f) : json();
    }();
    return data;
}

const json& material(const std::string& name) {
    for (const auto& m : gases().at("materials"))
        if (m.at("name") == name) return m;
    throw std::runtime_error("no material " + name);
}

// Linear interpolation in {"T": [...], "value": [...]}.
double at(const json& property, double T) {
    const auto Ts = property.at("table").at("T").get<std::vector<double>>();
    const auto v = property.at("table").at("value").get<std::vector<double>>();
    std::size_t i = 1;
    while (i + 1 < Ts.size() && Ts[i] < T) ++i;
    return v[i - 1] + (v[i] - v[i - 1]) * (T - Ts[i - 1]) / (Ts[i] - Ts[i - 1]);
}

double molar_cp(const std::string& gas, double T) {  // J/(mol K)
    const json& m = material(gas);
    return at(m.at("cp"), T) * m.at("molar_mass").get<double>();
}
double viscosity(const std::string& gas, double T) { return at(material(gas).at("viscosity"), T) * 1e6; }        // uPa s
double conductivity(const std::string& gas, double T) { return at(material(gas).at("conductivity"), T) * 1e3; }  // mW/(m K)

struct Reference {
    const char* gas;
    double T;
    double value;
    double tolerance;  // relative
};

void expect_relative(double actual, const Reference& r, const char* what) {
    EXPECT_NEAR(actual / r.value, 1.0, r.tolerance)
        << what << " of " << r.gas << " at " << r.T << " K: " << actual << ", published " << r.value;
}

}  // namespace

TEST(GasData, HasTheGasesAndMedia) {
    ASSERT_TRUE(gases().is_object()) << "cannot read " MP_SOURCE_DIR "/data/materials/gases.json";
    std::set<std::string> names;
    for (const auto& m : gases().at("materials")) EXPECT_TRUE(names.insert(m.at("name")).second) << m.at("name");
    for (const char* gas : {"N2", "O2", "Ar", "CO2", "H2O", "CO", "H2", "CH4", "air"})
        EXPECT_EQ(material(gas).at("kind"), "ideal_gas") << gas;
    EXPECT_EQ(material("air-perfect").at("kind"), "perfect_gas");

    const json& media = gases().at("media");
    ASSERT_EQ(media.size(), 3u);
    EXPECT_EQ(media[0], json::parse(R"({"name": "air", "kind": "ideal_gas", "substances": ["air"], "mass_fractions": [1.0]})"));
    EXPECT_EQ(media[1].at("substances"), json::parse(R"(["N2","O2","CO2","H2O","Ar"])"));
    EXPECT_EQ(media[1].at("mass_fractions"), json::parse("[0.70,0.15,0.08,0.06,0.01]"));
    EXPECT_EQ(media[2].at("kind"), "perfect_gas");
    for (const auto& medium : media) {
        double sum = 0.0;
        for (const auto& y : medium.at("mass_fractions")) sum += y.get<double>();
        EXPECT_NEAR(sum, 1.0, 1e-12) << medium.at("name");
        for (const auto& s : medium.at("substances"))
            EXPECT_EQ(material(s.get<std::string>()).at("kind"), medium.at("kind")) << medium.at("name") << " " << s;
    }
}

TEST(GasData, TablesCoverTheRangeOnAUniformGrid) {
    for (const auto& m : gases().at("materials")) {
        for (const char* key : {"cp", "viscosity", "conductivity"}) {
            const json& p = m.at(key);
            EXPECT_GT(p.at("constant").get<double>(), 0.0) << m.at("name") << " " << key;
            if (!p.contains("table")) continue;
            const auto T = p.at("table").at("T").get<std::vector<double>>();
            const auto v = p.at("table").at("value").get<std::vector<double>>();
            ASSERT_EQ(T.size(), v.size()) << m.at("name") << " " << key;
            ASSERT_GE(T.size(), 50u);
            EXPECT_EQ(T.front(), 200.0);
            EXPECT_EQ(T.back(), 6000.0);
            const double step = T[1] - T[0];
            for (std::size_t i = 1; i < T.size(); ++i) {
                EXPECT_GT(T[i], T[i - 1]) << m.at("name") << " " << key << " row " << i;
                EXPECT_NEAR(T[i] - T[i - 1], step, 1e-9) << "uniform spacing lets the library index in constant time";
            }
            for (const double x : v) EXPECT_TRUE(std::isfinite(x) && x > 0.0) << m.at("name") << " " << key;
        }
    }
}

TEST(GasData, IdentifiersAreUniqueGuids) {
    const std::regex guid("^[0-9A-F]{8}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{12}$");
    std::set<std::string> seen;
    for (const auto& m : gases().at("materials")) {
        const auto id = m.at("identifier").get<std::string>();
        EXPECT_TRUE(std::regex_match(id, guid)) << m.at("name") << ": " << id;
        EXPECT_TRUE(seen.insert(id).second) << m.at("name") << " repeats " << id;
    }
}

TEST(GasData, PerfectAirIsAirWithConstantCp) {
    const json& air = material("air");
    const json& perfect = material("air-perfect");
    EXPECT_FALSE(perfect.at("cp").contains("table"));
    EXPECT_EQ(perfect.at("cp").at("constant"), air.at("cp").at("constant"));
    EXPECT_EQ(perfect.at("viscosity"), air.at("viscosity"));
    EXPECT_EQ(perfect.at("conductivity"), air.at("conductivity"));
    EXPECT_EQ(perfect.at("molar_mass"), air.at("molar_mass"));
    EXPECT_NE(perfect.at("identifier"), air.at("identifier"));
}

// Molar mass, cp at 25 degC and gamma = cp/cv: Cengel and Cimbala, Fluid Mechanics, Table A-1
// ("Molar mass, gas constant, and ideal-gas specific heats of some substances", 25 degC).
TEST(GasData, MolarMassCpAndGammaAt25C) {
    struct Row {
        const char* gas;
        double M;      // kg/kmol
        double cp;     // kJ/(kg K)
        double gamma;  // -
    };
    const Row rows[] = {
        {"air", 28.97, 1.005, 1.400}, {"Ar", 39.95, 0.5203, 1.667}, {"CO2", 44.01, 0.8439, 1.288},
        {"CO", 28.01, 1.039, 1.400},  {"H2", 2.016, 14.30, 1.405},  {"CH4", 16.04, 2.226, 1.303},
        {"N2", 28.01, 1.040, 1.400},  {"O2", 32.00, 0.9180, 1.395}, {"H2O", 18.015, 1.865, 1.329},
    };
    for (const Row& r : rows) {
        const json& m = material(r.gas);
        EXPECT_NEAR(m.at("molar_mass").get<double>() * 1e3 / r.M, 1.0, 5e-4) << r.gas;
        EXPECT_NEAR(m.at("cp").at("constant").get<double>() * 1e-3 / r.cp, 1.0, 3e-3) << r.gas;
        // gamma is stored to three decimals; the table rounds the same way.
        EXPECT_NEAR(m.at("gamma").get<double>(), r.gamma, 1.5e-3) << r.gas;
    }
}

// cp in J/(mol K): NIST-JANAF Thermochemical Tables, 4th ed. (Chase, J. Phys. Chem. Ref. Data
// Monograph 9, 1998), tables N-023 (N2), O-029 (O2), C-095 (CO2), H-064 (H2O), H-050 (H2),
// C-067 (CH4), Ar-001 (Ar). Values with three decimals are the table entries, values with two are
// rounded (O2 at 3000 K from the NIST WebBook Shomate fit of the same table, 2000-6000 K). The
// NASA polynomials and JANAF agree to about 0.3% for these gases, hence 0.5%; the exceptions are
// explained where they occur.
TEST(GasData, HeatCapacityAgainstJanaf) {
    const Reference refs[] = {
        {"N2", 300, 29.125, 5e-3},  {"N2", 1000, 32.697, 5e-3},  {"N2", 3000, 37.030, 5e-3},
        {"O2", 300, 29.39, 5e-3},   {"O2", 1000, 34.88, 5e-3},   {"O2", 3000, 39.87, 5e-3},
        {"CO2", 300, 37.22, 5e-3},  {"CO2", 1000, 54.308, 5e-3}, {"CO2", 3000, 62.23, 5e-3},
        {"H2O", 300, 33.60, 5e-3},  {"H2O", 1000, 41.27, 5e-3},
        // The NASA fit of water (Gurvich's data) is 2.0% above JANAF at 3000 K.
        {"H2O", 3000, 55.75, 2.5e-2},
        {"H2", 300, 28.85, 5e-3},   {"H2", 1000, 30.20, 5e-3},   {"H2", 3000, 37.09, 5e-3},
        {"CH4", 300, 35.71, 5e-3},
        // JANAF's methane is a rigid-rotor harmonic-oscillator table; the NASA fit (Gurvich,
        // anharmonic) lies 2.5% above it at 1000 K and about 10% at 3000 K, where methane does
        // not survive anyway, so 3000 K is not checked.
        {"CH4", 1000, 71.795, 3e-2},
        {"Ar", 300, 20.786, 1e-4},  {"Ar", 3000, 20.786, 1e-4},
    };
    for (const Reference& r : refs) expect_relative(molar_cp(r.gas, r.T), r, "cp");
}

// Air in J/(kg K): Incropera and DeWitt, Fundamentals of Heat and Mass Transfer, Table A.4 (air at
// 1 atm): 1007 at 300 K, 1141 at 1000 K. That table's 3000 K value includes dissociation, which a
// frozen mixture has not; at 3000 K the reference is the mixture of the JANAF values above
// (N2 37.030, O2 39.87, Ar 20.786) in the composition of the file, 0.7812/0.2096/0.0092 by mole.
TEST(GasData, AirHeatCapacity) {
    const double M_air = (0.7812 * 28.0134 + 0.2096 * 31.9988 + 0.0092 * 39.948) * 1e-3;
    const double frozen_3000 = (0.7812 * 37.030 + 0.2096 * 39.87 + 0.0092 * 20.786) / M_air;
    const Reference refs[] = {{"air", 300, 1007.0, 5e-3}, {"air", 1000, 1141.0, 5e-3}, {"air", 3000, frozen_3000, 5e-3}};
    for (const Reference& r : refs) expect_relative(at(material("air").at("cp"), r.T), r, "cp");
}

// Viscosity in uPa s, against compilations of measurements (independent of the correlations the
// data come from).
//   CRC: CRC Handbook of Chemistry and Physics, "Viscosity of Gases" (Huber and Harvey), 100 kPa.
//   Incropera: Incropera and DeWitt, Table A.4 (184.6 and 424.4 x 1e-7 N s/m2 for air).
//   N2, 1000 K: Lemmon and Jacobsen, Int. J. Thermophys. 25, 21 (2004), dilute-gas term (the NIST
//     WebBook's nitrogen formulation) at 1000 K.
//   CO2, 1000 K: Fenghour, Wakeham and Vesovic, J. Phys. Chem. Ref. Data 27, 31 (1998), dilute gas.
//   H2O: CRC zero-density values at 400 and 600 K; IAPWS R12-08 (2008) dilute-gas term at 1000 K.
// The data agree with all of them to 2 % (air at 1000 K: Incropera's 42.44 against the 43.28 of
// Lemmon and Jacobsen's air correlation, which the data follow); 3 % leaves room for the tables'
// rounding and catches a wrong source or unit.
TEST(GasData, ViscosityAgainstPublishedTables) {
    const Reference refs[] = {
        {"N2", 300, 17.9, 3e-2},   {"N2", 600, 29.6, 3e-2},   {"N2", 1000, 41.54, 3e-2},
        {"air", 300, 18.46, 3e-2}, {"air", 600, 30.8, 3e-2},  {"air", 1000, 42.44, 3e-2},
        {"CO2", 300, 15.0, 3e-2},  {"CO2", 600, 28.0, 3e-2},  {"CO2", 1000, 41.26, 3e-2},
        {"H2O", 400, 13.4, 3e-2},  {"H2O", 600, 21.4, 3e-2},  {"H2O", 1000, 37.61, 3e-2},
    };
    for (const Reference& r : refs) expect_relative(viscosity(r.gas, r.T), r, "viscosity");
}

// Thermal conductivity in mW/(m K), against compilations of measurements.
//   CRC: CRC Handbook of Chemistry and Physics, "Thermal Conductivity of Gases", 100 kPa.
//   Incropera: Incropera and DeWitt, Table A.4 (26.3 and 66.7 x 1e-3 W/(m K) for air).
//   N2, 1000 K: Lemmon and Jacobsen (2004), dilute-gas term at 1000 K.
//   H2O: CRC at 400 and 600 K (27.1 and 47.1); IAPWS R15-11 (2011) dilute gas at 1000 K (95.8).
// The compilations differ among themselves by up to 2 % (CO2 at 600 K: CRC 41.6, Smirnov,
// Fundamentals of Ionized Gases, Table 4.6, 40.7); the data lie within 3.1 % of every value here
// (CO2 at 600 K, 3.0 % below CRC), hence 4 %.
TEST(GasData, ConductivityAgainstPublishedTables) {
    const Reference refs[] = {
        {"N2", 300, 26.0, 4e-2},  {"N2", 600, 44.0, 4e-2},  {"N2", 1000, 65.35, 4e-2},
        {"air", 300, 26.3, 4e-2}, {"air", 600, 45.7, 4e-2}, {"air", 1000, 66.7, 4e-2},
        {"CO2", 300, 16.8, 4e-2}, {"CO2", 600, 41.6, 4e-2},
        {"H2O", 400, 27.1, 4e-2}, {"H2O", 600, 47.1, 4e-2}, {"H2O", 1000, 95.8, 4e-2},
    };
    for (const Reference& r : refs) expect_relative(conductivity(r.gas, r.T), r, "conductivity");
}

namespace {

enum class Source { lemmon_jacobsen, nasa, iapws, crc };

const char* source_name(Source s) {
    switch (s) {
        case Source::lemmon_jacobsen: return "Lemmon and Jacobsen (2004)";
        case Source::nasa: return "NASA TM-4647 fit";
        case Source::iapws: return "IAPWS dilute gas";
        case Source::crc: return "CRC Handbook";
    }
    return "?";
}

enum class Property { mu, lambda };

struct TransportReference {
    const char* gas;
    double T;           // K
    Property property;  // mu in uPa s, lambda in mW/(m K)
    double value;
    Source source;
    double tolerance;  // relative
};

// The accuracy asked of the built-in transport data against reference correlations.
constexpr double kTransportTolerance = 0.02;
// NASA's CO entry repeats N2's coefficients. CO's measured conductivity is 4 % below N2's at 300 K
// and 2 % above at 1000 K, so the data keep kinetic theory for it (data/thermo/README.md), and the
// NASA values at 1000 and 2000 K, which are N2's, bound it only this loosely.
constexpr double kCoConductivityAgainstNitrogenFit = 0.05;

constexpr Property mu = Property::mu;
constexpr Property lambda = Property::lambda;
constexpr Source LJ = Source::lemmon_jacobsen;
constexpr Source NASA = Source::nasa;
constexpr Source IAPWS = Source::iapws;
constexpr double tol = kTransportTolerance;

// Reference values: the published correlations evaluated at T (by a separate script, not by the
// generator), 5 significant figures; mu in uPa s, lambda in mW/(m K).
//   LJ     Lemmon and Jacobsen, Int. J. Thermophys. 25, 21 (2004), dilute-gas terms of N2, O2, Ar
//          and air (air as a pseudo-pure fluid).
//   NASA   Svehla, NASA TM-4647 (1995), fits ln x = A ln T + B/T + C/T^2 + D of the CEA program's
//          trans.inp.
//   IAPWS  dilute-gas terms of IAPWS R12-08 (viscosity, 2008) and R15-11 (conductivity, 2011).
//   CRC    CRC Handbook of Chemistry and Physics, "Thermal Conductivity of Gases" (CO, 300 K).
// N2, O2 and Ar have both LJ and NASA at 300 and 1000 K (the data follow NASA; the two agree to
// 1.6 %), NASA at 2000 K; air LJ throughout; water IAPWS where NASA's fit does not reach (300 K)
// and both at 1000 K.
const TransportReference kTransportReferences[] = {
    {"N2", 300, mu, 17.877, LJ, tol},          {"N2", 300, lambda, 25.936, LJ, tol},
    {"N2", 1000, mu, 41.540, LJ, tol},         {"N2", 1000, lambda, 65.354, LJ, tol},
    {"N2", 300, mu, 17.906, NASA, tol},        {"N2", 300, lambda, 26.150, NASA, tol},
    {"N2", 1000, mu, 41.624, NASA, tol},       {"N2", 1000, lambda, 64.759, NASA, tol},
    {"N2", 2000, mu, 65.638, NASA, tol},       {"N2", 2000, lambda, 112.76, NASA, tol},

    {"O2", 300, mu, 20.631, LJ, tol},          {"O2", 300, lambda, 26.440, LJ, tol},
    {"O2", 1000, mu, 49.107, LJ, tol},         {"O2", 1000, lambda, 71.532, LJ, tol},
    {"O2", 300, mu, 20.743, NASA, tol},        {"O2", 300, lambda, 26.596, NASA, tol},
    {"O2", 1000, mu, 49.087, NASA, tol},       {"O2", 1000, lambda, 70.401, NASA, tol},
    {"O2", 2000, mu, 77.470, NASA, tol},       {"O2", 2000, lambda, 121.33, NASA, tol},

    {"Ar", 300, mu, 22.724, LJ, tol},          {"Ar", 300, lambda, 17.804, LJ, tol},
    {"Ar", 1000, mu, 55.682, LJ, tol},         {"Ar", 1000, lambda, 43.570, LJ, tol},
    {"Ar", 300, mu, 22.730, NASA, tol},        {"Ar", 300, lambda, 17.794, NASA, tol},
    {"Ar", 1000, mu, 55.516, NASA, tol},       {"Ar", 1000, lambda, 43.485, NASA, tol},
    {"Ar", 2000, mu, 88.520, NASA, tol},       {"Ar", 2000, lambda, 69.346, NASA, tol},

    {"CO2", 300, mu, 15.015, NASA, tol},       {"CO2", 300, lambda, 16.614, NASA, tol},
    {"CO2", 1000, mu, 41.331, NASA, tol},      {"CO2", 1000, lambda, 67.969, NASA, tol},
    {"CO2", 2000, mu, 66.555, NASA, tol},      {"CO2", 2000, lambda, 121.56, NASA, tol},

    {"H2O", 300, mu, 9.7684, IAPWS, tol},      {"H2O", 300, lambda, 18.563, IAPWS, tol},
    {"H2O", 1000, mu, 37.611, IAPWS, tol},     {"H2O", 1000, lambda, 95.805, IAPWS, tol},
    {"H2O", 1000, mu, 37.612, NASA, tol},      {"H2O", 1000, lambda, 97.240, NASA, tol},
    {"H2O", 2000, mu, 71.124, NASA, tol},      {"H2O", 2000, lambda, 249.06, NASA, tol},

    {"CO", 300, mu, 17.906, NASA, tol},        {"CO", 300, lambda, 25.0, Source::crc, tol},
    {"CO", 1000, mu, 41.624, NASA, tol},       {"CO", 1000, lambda, 64.759, NASA, kCoConductivityAgainstNitrogenFit},
    {"CO", 2000, mu, 65.638, NASA, tol},       {"CO", 2000, lambda, 112.76, NASA, kCoConductivityAgainstNitrogenFit},

    {"H2", 300, mu, 8.9738, NASA, tol},        {"H2", 300, lambda, 187.81, NASA, tol},
    {"H2", 1000, mu, 20.558, NASA, tol},       {"H2", 1000, lambda, 443.90, NASA, tol},
    {"H2", 2000, mu, 33.507, NASA, tol},       {"H2", 2000, lambda, 809.11, NASA, tol},

    {"CH4", 300, mu, 11.200, NASA, tol},       {"CH4", 300, lambda, 34.624, NASA, tol},
    {"CH4", 1000, mu, 27.655, NASA, tol},      {"CH4", 1000, lambda, 175.84, NASA, tol},
    {"CH4", 2000, mu, 43.831, NASA, tol},      {"CH4", 2000, lambda, 380.71, NASA, tol},

    {"air", 300, mu, 18.523, LJ, tol},         {"air", 300, lambda, 26.353, LJ, tol},
    {"air", 1000, mu, 43.275, LJ, tol},        {"air", 1000, lambda, 67.669, LJ, tol},
    {"air", 2000, mu, 68.066, LJ, tol},        {"air", 2000, lambda, 114.48, LJ, tol},

    {"air-perfect", 300, mu, 18.523, LJ, tol}, {"air-perfect", 300, lambda, 26.353, LJ, tol},
    {"air-perfect", 1000, mu, 43.275, LJ, tol}, {"air-perfect", 1000, lambda, 67.669, LJ, tol},
    {"air-perfect", 2000, mu, 68.066, LJ, tol}, {"air-perfect", 2000, lambda, 114.48, LJ, tol},
};

double transport(const TransportReference& r) {
    return r.property == mu ? viscosity(r.gas, r.T) : conductivity(r.gas, r.T);
}

}  // namespace

TEST(GasData, TransportAgainstReferenceCorrelations) {
    for (const TransportReference& r : kTransportReferences) {
        const double error = transport(r) / r.value - 1.0;
        EXPECT_LE(std::fabs(error), r.tolerance)
            << (r.property == mu ? "viscosity" : "conductivity") << " of " << r.gas << " at " << r.T
            << " K: " << transport(r) << " against " << r.value << " (" << source_name(r.source) << "), "
            << 100.0 * error << " %";
    }
}

// Every material in the file has both properties at 300, 1000 and 2000 K in the table above, so a
// new gas cannot arrive unchecked.
TEST(GasData, TransportReferencesCoverEveryGas) {
    for (const auto& m : gases().at("materials")) {
        const auto gas = m.at("name").get<std::string>();
        for (const double T : {300.0, 1000.0, 2000.0}) {
            for (const Property p : {mu, lambda}) {
                bool found = false;
                for (const TransportReference& r : kTransportReferences)
                    found = found || (gas == r.gas && T == r.T && p == r.property);
                EXPECT_TRUE(found) << gas << " has no reference " << (p == mu ? "viscosity" : "conductivity")
                                   << " at " << T << " K";
            }
        }
    }
}

// Where a table's source changes (water from IAPWS to the NASA fit at 1073.2 K, methane from the
// NASA fit to kinetic theory at 5000 K, air from Lemmon and Jacobsen to the mixture rule at 2000 K),
// the next source is scaled to meet the one before. Unscaled, water's conductivity would step by
// 1.8 % and methane's by 4.9 % between two nodes. The second difference between neighbouring nodes
// finds such a step; the NASA fits themselves step by up to 0.7 % where their own ranges meet (N2's
// conductivity at 5000 K), and below 500 K the curvature on the 50 K grid is larger than a step.
TEST(GasData, TransportTablesRunOnWhereTheirSourceChanges) {
    constexpr double kLargestStep = 0.01;  // relative second difference between nodes
    for (const auto& m : gases().at("materials")) {
        for (const char* key : {"viscosity", "conductivity"}) {
            const auto T = m.at(key).at("table").at("T").get<std::vector<double>>();
            const auto v = m.at(key).at("table").at("value").get<std::vector<double>>();
            for (std::size_t i = 1; i + 1 < v.size(); ++i) {
                if (T[i] < 500.0) continue;
                EXPECT_LT(std::fabs(v[i + 1] - 2.0 * v[i] + v[i - 1]) / v[i], kLargestStep)
                    << m.at("name") << " " << key << " at " << T[i] << " K";
            }
        }
    }
}
