// The command-line program, run as a user runs it: exit codes, the exact bytes it saves, what it
// reports about good, truncated and corrupt saved streams, and the properties it prints, checked
// against hand calculations from the material files.
#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

namespace {

namespace fs = std::filesystem;
using bytes = std::vector<std::uint8_t>;

struct run_result {
    int exit_code = -1;
    std::string out;
    std::string err;
};

std::string read_text(const fs::path& p) {
    std::ifstream in(p, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

bytes read_bytes(const fs::path& p) {
    const std::string s = read_text(p);
    return bytes(s.begin(), s.end());
}

void write_bytes(const fs::path& p, const bytes& b) {
    std::ofstream out(p, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(b.data()), static_cast<std::streamsize>(b.size()));
}

std::string quoted(const std::string& s) {
    std::string q = "'";
    for (char c : s) q += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return q + "'";
}

std::string lower(std::string s) {
    std::transform(s.begin(), s.end(), s.begin(), [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return s;
}

std::vector<std::string> lines_of(const std::string& text) {
    std::vector<std::string> out;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) out.push_back(line);
    return out;
}

// The first line that matches `pattern` (whole line); empty when none does.
std::string line_matching(const std::string& text, const std::string& pattern) {
    const std::regex re(pattern, std::regex::icase);
    for (const auto& line : lines_of(text))
        if (std::regex_match(line, re)) return line;
    return {};
}

// The two leading numbers of an inspect table row: offset and size.
std::pair<std::uint64_t, std::uint64_t> offset_and_size(const std::string& row) {
    std::istringstream in(row);
    std::uint64_t offset = 0, size = 0;
    in >> offset >> size;
    return {offset, size};
}

class Cli : public ::testing::Test {
protected:
    void SetUp() override {
#ifndef MP_CLI_PATH
        GTEST_SKIP() << "the command-line program is not part of this build";
#else
        m_cli = MP_CLI_PATH;
        const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
        m_dir = fs::temp_directory_path() /
                ("mp_cli_" + std::to_string(::getpid()) + "_" + info->test_suite_name() + "_" + info->name());
        fs::remove_all(m_dir);
        fs::create_directories(m_dir / "no_materials");
#endif
    }
    void TearDown() override {
        if (!m_dir.empty()) fs::remove_all(m_dir);
    }

    // Runs the program with `args` (already quoted where needed); `env` is prefixed to the command.
    run_result run(const std::string& args, const std::string& env = "") const {
        const fs::path out = m_dir / "stdout.txt", err = m_dir / "stderr.txt";
        const std::string command = env + (env.empty() ? "" : " ") + quoted(m_cli) + " " + args + " >" +
                                    quoted(out.string()) + " 2>" + quoted(err.string()) + " </dev/null";
        const int status = std::system(command.c_str());
        run_result r;
        r.exit_code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
        r.out = read_text(out);
        r.err = read_text(err);
        return r;
    }
    std::string path(const std::string& name) const { return (m_dir / name).string(); }
    std::string empty_data_option() const { return "--data " + quoted((m_dir / "no_materials").string()); }

    // A data directory holding one material file with the given materials array text.
    std::string data_dir_with(const std::string& materials_json) const {
        const fs::path dir = m_dir / "materials";
        fs::create_directories(dir);
        std::ofstream(dir / "test.json") << "{\"materials\": [" << materials_json << "]}";
        return dir.string();
    }

    // Saves the given media (pseudo-medium names) into `name`; expects success.
    std::string save(const std::string& name, const std::string& media) const {
        const auto r = run("save -o " + quoted(path(name)) + " " + media);
        EXPECT_EQ(r.exit_code, 0) << r.err;
        return path(name);
    }

    std::string m_cli;
    fs::path m_dir;
};

// ---- info ---------------------------------------------------------------------------------------

TEST_F(Cli, InfoListsEveryKindWithItsClassAndDisplayName) {
    const auto r = run("info " + empty_data_option());
    ASSERT_EQ(r.exit_code, 0) << r.err;
    EXPECT_EQ(r.err, "");
    EXPECT_TRUE(std::regex_search(r.out, std::regex(R"(^medium-physics [0-9]+\.[0-9]+\.[0-9]+\n)")));

    const char* const expected[15][2] = {
        {"C_ideal_gas_thermodynamics", "Ideal gas thermodynamics"},
        {"C_inc_liquid_thermodynamics", "Incompressible liquid thermodynamics"},
        {"C_inc_non_newtonian_liquid_thermodynamics", "Incompressible non-newton liquid thermodynamics"},
        {"C_comp_liquid_thermodynamics", "Compressible liquid thermodynamics"},
        {"C_isotherm_cavitation_thermodynamics", "Isothermal cavitation thermodynamics"},
        {"C_real_gas_thermodynamics", "Real gas thermodynamics"},
        {"C_real_gas_phase_change_thermodynamics", "Real gas with phase change thermodynamics"},
        {"C_combustible_thermodynamics_VT", "Combustible thermodynamics (VT)"},
        {"C_combustible_thermodynamics_PT", "Combustible thermodynamics (PT)"},
        {"C_hypersonic_gas_thermodynamics", "Hypersonic gas thermodynamics"},
        {"C_cavitation_therm_obsolete", "Cavitation obsolete thermodynamics"},
        {"C_condensation_therm_obsolete", "Condensation obsolete thermodynamics"},
        {"C_perfect_gas_thermodynamics", "Perfect gas thermodynamics"},
        {"C_single_component_thermodynamics_VT", "Single component gas thermodynamics"},
        {"C_free_surface_vof_thermodynamics", "Free surface VOF thermodynamics"},
    };
    // Each kind on its own row: code, class, display name, nothing else; display names aligned.
    std::size_t display_column = std::string::npos;
    for (int k = 0; k < 15; ++k) {
        const std::string row = " +" + std::to_string(k) + " +" + std::string(expected[k][0]) + " +";
        std::string display = expected[k][1];
        display = std::regex_replace(display, std::regex(R"([()])"), R"(\$&)");
        const std::string line = line_matching(r.out, row + display);
        ASSERT_FALSE(line.empty()) << "kind " << k << " missing or wrong in:\n" << r.out;
        const std::size_t column = line.size() - std::string(expected[k][1]).size();
        if (k == 0) display_column = column;
        EXPECT_EQ(column, display_column) << line;
    }
    EXPECT_EQ(line_matching(r.out, " +16 .*"), "");
}

TEST_F(Cli, InfoSaysNoneYetForAnEmptyDataDirectoryAndListsMaterialsOfAGivenOne) {
    auto r = run("info " + empty_data_option());
    ASSERT_EQ(r.exit_code, 0) << r.err;
    EXPECT_NE(r.out.find("Built-in materials (" + (m_dir / "no_materials").string() + "):\n  none yet\n"),
              std::string::npos)
        << r.out;

    const std::string dir = data_dir_with(
        R"({"name": "thin-air", "identifier": "0A1B2C3D-0000-4000-8000-00000000ABCD", "kind": "hypersonic_gas"})");
    for (const auto& [args, env] : {std::pair<std::string, std::string>{"info --data " + quoted(dir), ""},
                                    {"info", "MEDIUM_PHYSICS_DATA=" + quoted(dir)}}) {
        r = run(args, env);
        ASSERT_EQ(r.exit_code, 0) << r.err;
        EXPECT_NE(line_matching(r.out, " +thin-air +hypersonic_gas +0A1B2C3D-0000-4000-8000-00000000ABCD +test\\.json"),
                  "")
            << r.out;
        EXPECT_EQ(r.out.find("none yet"), std::string::npos);
    }
}

TEST_F(Cli, InfoFailsOnAMissingOrBrokenDataDirectory) {
    auto r = run("info --data " + quoted(path("nowhere")));
    EXPECT_EQ(r.exit_code, 1);
    EXPECT_NE(r.err.find("does not exist"), std::string::npos) << r.err;

    const std::string dir = data_dir_with(R"({"name": "x", "identifier": "not-a-guid", "kind": "ideal_gas"})");
    r = run("info --data " + quoted(dir));
    EXPECT_EQ(r.exit_code, 1);
    EXPECT_NE(r.err.find("not a GUID"), std::string::npos) << r.err;
}

// ---- save ---------------------------------------------------------------------------------------

TEST_F(Cli, SaveWithoutMediaWritesExactlyTheEmptySet) {
    const auto r = run("save -o " + quoted(path("empty.mpf")));
    ASSERT_EQ(r.exit_code, 0) << r.err;
    EXPECT_EQ(read_bytes(path("empty.mpf")), (bytes{0x00, 0x00, 0, 0, 0, 0, 0x00, 0, 0, 0, 0}));
    EXPECT_EQ(r.out, "saved 0 media to " + path("empty.mpf") + " (11 bytes)\n");
}

TEST_F(Cli, SaveOverwritesAnExistingFile) {
    write_bytes(path("old.mpf"), bytes(100, 0xAB));
    ASSERT_EQ(run("save -o " + quoted(path("old.mpf"))).exit_code, 0);
    EXPECT_EQ(read_bytes(path("old.mpf")).size(), 11u);
}

TEST_F(Cli, SaveOfAnUnknownMediumExits1AndWritesNoFile) {
    for (const std::string media : {"no-such-medium", "obsolete-cavitation no-such-medium"}) {
        const auto r = run("save " + empty_data_option() + " -o " + quoted(path("out.mpf")) + " " + media);
        EXPECT_EQ(r.exit_code, 1) << media;
        EXPECT_FALSE(fs::exists(path("out.mpf"))) << media;
        EXPECT_NE(r.err.find("unknown medium: \"no-such-medium\""), std::string::npos) << r.err;
        EXPECT_EQ(r.out, "");
    }
}

TEST_F(Cli, SaveOfAMaterialTheFactoryRefusesExits1AndWritesNoFile) {
    // A combustible material whose fuel is not a GRI-Mech 3.0 species.
    const std::string dir = data_dir_with(
        R"({"name": "thin-air", "identifier": "0A1B2C3D-0000-4000-8000-00000000ABCD", "kind": "combustible",
            "fuel": "C8H18", "oxidizer": "O2:0.21,N2:0.79", "table": "PT", "first_axis": [1e4, 1e6, 3],
            "temperature_axis": [300, 2000, 3], "mixture_fraction_points": 3, "nox": false})");
    const auto r = run("save --data " + quoted(dir) + " -o " + quoted(path("out.mpf")) + " obsolete-cavitation thin-air");
    EXPECT_EQ(r.exit_code, 1);
    EXPECT_FALSE(fs::exists(path("out.mpf")));
    EXPECT_NE(r.err.find("thin-air"), std::string::npos) << r.err;
}

TEST_F(Cli, PropsOfACombustibleMediumTakeTheMixtureFraction) {
    // A small methane-air table; its file goes to the product directory, the test's folder.
    const std::string dir = data_dir_with(
        R"({"name": "small-flame", "identifier": "0A1B2C3D-0000-4000-8000-00000000ABCE", "kind": "combustible",
            "fuel": "CH4", "oxidizer": "O2:0.21,N2:0.79", "table": "PT", "first_axis": [5e4, 2e5, 3],
            "temperature_axis": [250, 3000, 56], "mixture_fraction_points": 21, "nox": false})");
    const std::string env = "MEDIUM_PHYSICS_PRODUCT_DIR=" + quoted(path("."));
    const auto r = run("props --data " + quoted(dir) + " small-flame --p 100000 --T 250:2000:1750 --z 0.05 --csv", env);
    ASSERT_EQ(r.exit_code, 0) << r.err;
    EXPECT_TRUE(fs::exists(path("0A1B2C3D-0000-4000-8000-00000000ABCE_PT.tbl")));
    // At 250 K and z = 0.05 (phi 0.9) the mixture is unburnt: rho = p M / (R T) with M of the
    // reactants, 1/M = 0.05/0.016043 + 0.95/0.028851 (air 21/79 O2/N2 by mole); at 2000 K burnt.
    const auto rows = lines_of(r.out);
    // Column 3 of a row: rho.
    const auto rho_of = [](const std::string& row) {
        std::istringstream in(row);
        std::string field;
        for (int i = 0; i < 3; ++i) std::getline(in, field, ',');
        return std::stod(field);
    };
    ASSERT_EQ(rows.size(), 3u) << r.out;
    const double rho_cold = rho_of(rows[1]);
    const double M = 1.0 / (0.05 / 0.016043 + 0.95 / 0.028851);
    EXPECT_NEAR(rho_cold / (1e5 * M / (8.314462618 * 250.0)), 1.0, 2e-3);
    EXPECT_LT(rho_of(rows[2]), 0.2);
    // Without --z, or with --z on another medium: exit 1 with the reason.
    EXPECT_EQ(run("props --data " + quoted(dir) + " small-flame --p 100000 --T 300", env).exit_code, 1);
    EXPECT_EQ(run("props air --p 100000 --T 300 --z 0.5").exit_code, 1);
}

// ---- save, then inspect -------------------------------------------------------------------------

TEST_F(Cli, InspectOfTheObsoleteCavitationStreamShowsEveryRecordWithItsOffset) {
    const std::string file = save("one.mpf", "obsolete-cavitation");
    const std::uint64_t total = fs::file_size(file);
    const auto r = run("inspect " + quoted(file));
    ASSERT_EQ(r.exit_code, 0) << r.out << r.err;
    EXPECT_EQ(r.err, "");

    const std::string guid = "[0-9A-F]{8}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{12}";
    const std::string factory = line_matching(r.out, " +0 +1 +factory record, version 0");
    const std::string part = line_matching(r.out, " +1 +5 +substances: version 0, 1 entry");
    const std::string substance =
        line_matching(r.out, " +6 +[0-9]+ +tag 11 +.* E46DDFE0-3DB1-4BA4-85ED-B83F873B2BF1");
    const std::string registry = line_matching(r.out, " +[0-9]+ +5 +registry: version 0, 1 entry");
    const std::string medium = line_matching(r.out, " +[0-9]+ +44 +kind 10 +Cavitation obsolete thermodynamics +" + guid);
    ASSERT_FALSE(factory.empty() || part.empty() || substance.empty() || registry.empty() || medium.empty())
        << r.out;

    // The rows tile the file: each record starts where the one before it ends.
    const auto [s_offset, s_size] = offset_and_size(substance);
    const auto [r_offset, r_size] = offset_and_size(registry);
    const auto [m_offset, m_size] = offset_and_size(medium);
    EXPECT_EQ(s_offset + s_size, r_offset);
    EXPECT_EQ(r_offset + r_size, m_offset);
    EXPECT_EQ(m_offset + m_size, total);
    EXPECT_NE(line_matching(r.out, " +" + std::to_string(total) + " +end of the factory record"), "") << r.out;
    EXPECT_NE(r.out.find("total: " + std::to_string(total) + " bytes; loads with 1 substance and 1 medium\n"),
              std::string::npos)
        << r.out;
}

TEST_F(Cli, TheSameMediumTwiceGivesTwoMediaOverOneSubstance) {
    const std::string one = save("one.mpf", "obsolete-cavitation");
    const std::string two = save("two.mpf", "obsolete-cavitation obsolete-cavitation");
    EXPECT_EQ(fs::file_size(two), fs::file_size(one) + 44);
    const auto r = run("inspect " + quoted(two));
    ASSERT_EQ(r.exit_code, 0) << r.out;
    EXPECT_NE(r.out.find("loads with 1 substance and 2 media\n"), std::string::npos) << r.out;
}

// Each kind of material reaches the factory operation of its kind: the gas and the liquid become
// registered media over their substances, the solid only a substance (solids are not media).
TEST_F(Cli, BuiltInMaterialsOfEachKindSaveIntoTheirCaches) {
    const std::string data = "--data " + quoted(std::string(MP_SOURCE_DIR) + "/data/materials");
    const auto saved = run("save " + data + " -o " + quoted(path("mixed.mpf")) + " air water copper copper-electrical");
    ASSERT_EQ(saved.exit_code, 0) << saved.err;
    EXPECT_EQ(saved.out, "saved 2 media and 2 solids to " + path("mixed.mpf") + " (" +
                             std::to_string(fs::file_size(path("mixed.mpf"))) + " bytes)\n");

    const auto r = run("inspect " + quoted(path("mixed.mpf")));
    ASSERT_EQ(r.exit_code, 0) << r.out;
    // Substances in the order the factory writes its caches: ideal gas, liquid, then the solids.
    const std::string tags = R"((?:.*\n)*.* tag 0 +C_ideal_gas_substance .*\n.* tag 1 +C_incompressible_liquid_substance .*\n)"
                             R"(.* tag 9 +C_heatconducting_solid .*\n.* tag 10 +C_electroconducting_solid .*\n(?:.*\n)*)";
    EXPECT_TRUE(std::regex_match(r.out, std::regex(tags))) << r.out;
    EXPECT_NE(line_matching(r.out, ".* kind 0 +Ideal gas thermodynamics .*"), "") << r.out;
    EXPECT_NE(line_matching(r.out, ".* kind 1 +Incompressible liquid thermodynamics .*"), "") << r.out;
    EXPECT_NE(r.out.find("loads with 4 substances and 2 media\n"), std::string::npos) << r.out;
}

TEST_F(Cli, IdentifiersMatchCaseInsensitively) {
    const auto r = run("inspect " + quoted(save("one.mpf", "obsolete-cavitation")));
    EXPECT_NE(lower(r.out).find("e46ddfe0-3db1-4ba4-85ed-b83f873b2bf1"), std::string::npos) << r.out;
}

// ---- inspect of damaged streams -----------------------------------------------------------------

TEST_F(Cli, InspectOfATruncatedStreamNamesTheFailingRecordsOffset) {
    const std::string file = save("one.mpf", "obsolete-cavitation");
    const auto good = run("inspect " + quoted(file));
    const auto [medium_offset, medium_size] = offset_and_size(line_matching(good.out, " +[0-9]+ +[0-9]+ +kind 10 .*"));
    ASSERT_GT(medium_offset, 0u) << good.out;

    bytes b = read_bytes(file);
    // Cut inside the medium record, then inside the substance part's header.
    for (const std::uint64_t keep : {medium_offset + medium_size / 2, std::uint64_t{3}}) {
        const std::uint64_t failing = keep == 3 ? 1 : medium_offset;
        write_bytes(path("cut.mpf"), bytes(b.begin(), b.begin() + static_cast<std::ptrdiff_t>(keep)));
        const auto r = run("inspect " + quoted(path("cut.mpf")));
        EXPECT_EQ(r.exit_code, 1) << r.out;
        EXPECT_NE(r.out.find("error: the record at offset " + std::to_string(failing) + " does not load: "),
                  std::string::npos)
            << r.out;
        EXPECT_NE(r.out.find("reading stopped at stream position "), std::string::npos) << r.out;
        EXPECT_NE(r.out.find(" of " + std::to_string(keep) + " bytes\n"), std::string::npos) << r.out;
    }
}

TEST_F(Cli, InspectOfAStreamWithFactoryVersion1SaysTheVersionIsWrong) {
    write_bytes(path("v1.mpf"), bytes{0x01, 0x00, 0, 0, 0, 0, 0x00, 0, 0, 0, 0});
    const auto r = run("inspect " + quoted(path("v1.mpf")));
    EXPECT_EQ(r.exit_code, 1);
    EXPECT_NE(r.out.find("error: the record at offset 0 does not load: factory record version 1 is not 0\n"),
              std::string::npos)
        << r.out;
    EXPECT_EQ(line_matching(r.out, " +[0-9]+ +[0-9]+ +factory record.*"), "") << "no record was read:\n" << r.out;
}

TEST_F(Cli, InspectOfAnEmptyOrMissingFileExits1) {
    write_bytes(path("empty.mpf"), {});
    auto r = run("inspect " + quoted(path("empty.mpf")));
    EXPECT_EQ(r.exit_code, 1);
    EXPECT_NE(r.out.find("error: the record at offset 0 does not load"), std::string::npos) << r.out;

    r = run("inspect " + quoted(path("missing.mpf")));
    EXPECT_EQ(r.exit_code, 1);
    EXPECT_NE(r.err.find("cannot open " + path("missing.mpf")), std::string::npos) << r.err;
}

TEST_F(Cli, InspectNotesBytesAfterTheFactoryRecord) {
    bytes b = read_bytes(save("empty.mpf", ""));
    b.insert(b.end(), {1, 2, 3});
    write_bytes(path("tail.mpf"), b);
    const auto r = run("inspect " + quoted(path("tail.mpf")));
    EXPECT_EQ(r.exit_code, 0);
    EXPECT_NE(r.out.find("note: 3 bytes after the end of the factory record"), std::string::npos) << r.out;
}

// ---- properties -----------------------------------------------------------------------------------

const std::string kBuiltinData = std::string(MP_SOURCE_DIR) + "/data/materials";

nlohmann::json material_json(const std::string& file, const std::string& name) {
    const auto doc = nlohmann::json::parse(read_text(kBuiltinData + "/" + file));
    for (const auto& m : doc.at("materials"))
        if (m.at("name") == name) return m;
    ADD_FAILURE() << name << " not in " << file;
    return {};
}

// A tabulated value of a property {"constant", "table": {"T", "value"}} at one of its temperatures.
double tabulated(const nlohmann::json& property, double T) {
    const auto& table = property.at("table");
    for (std::size_t i = 0; i < table.at("T").size(); ++i)
        if (table.at("T")[i].get<double>() == T) return table.at("value")[i].get<double>();
    ADD_FAILURE() << "no table entry at " << T << " K";
    return 0.0;
}

std::vector<std::string> fields(const std::string& line, char separator) {
    std::vector<std::string> out;
    std::istringstream in(line);
    if (separator == ' ') {
        for (std::string f; in >> f;) out.push_back(f);
    } else {
        for (std::string f; std::getline(in, f, separator);) out.push_back(f);
    }
    return out;
}

// The data rows of `props --csv` as numbers (the header row dropped).
std::vector<std::vector<double>> csv_rows(const std::string& out) {
    std::vector<std::vector<double>> rows;
    const auto lines = lines_of(out);
    for (std::size_t i = 1; i < lines.size(); ++i) {
        std::vector<double> row;
        for (const auto& f : fields(lines[i], ',')) row.push_back(std::stod(f));
        rows.push_back(row);
    }
    return rows;
}

enum column { kP, kT, kRho, kH, kCp, kGamma, kM, kA, kMu, kLambda };
constexpr double kR = 8.3144;  // J/(mol K), the gas constant the library is documented to use

TEST_F(Cli, InfoListsTheNamedMediaWithTheirMassFractions) {
    const auto r = run("info --data " + quoted(kBuiltinData));
    ASSERT_EQ(r.exit_code, 0) << r.err;
    EXPECT_NE(r.out.find("\nBuilt-in media "), std::string::npos) << r.out;
    EXPECT_NE(line_matching(r.out, " +combustion-products +ideal_gas +gases\\.json +N2 0\\.7, O2 0\\.15, CO2 0\\.08, "
                                   "H2O 0\\.06, Ar 0\\.01"),
              "")
        << r.out;
    EXPECT_NE(line_matching(r.out, " +water-glycol +incompressible_liquid +liquids\\.json +water 0\\.6, "
                                   "ethylene-glycol 0\\.4"),
              "")
        << r.out;
    // A directory without media has no media section.
    EXPECT_EQ(run("info " + empty_data_option()).out.find("Built-in media"), std::string::npos);
}

TEST_F(Cli, PropsOfAirIsTheIdealGasDensityFromTheMaterialFile) {
    const double M = material_json("gases.json", "air").at("molar_mass").get<double>();
    const double expected = 101325.0 / (kR / M * 300.0);

    auto r = run("props air --p 101325 --T 300 --csv");
    ASSERT_EQ(r.exit_code, 0) << r.err;
    const auto rows = csv_rows(r.out);
    ASSERT_EQ(rows.size(), 1u) << r.out;
    EXPECT_EQ(rows[0][kP], 101325.0);
    EXPECT_EQ(rows[0][kT], 300.0);
    EXPECT_NEAR(rows[0][kRho], expected, 1e-6 * expected);
    EXPECT_EQ(rows[0][kM], M);
    // a = sqrt(gamma R T / M) with the gamma it prints.
    EXPECT_NEAR(rows[0][kA], std::sqrt(rows[0][kGamma] * kR / M * 300.0), 1e-6 * rows[0][kA]);

    // The table rounds to seven digits: still within 1e-6.
    r = run("props air --p 101325 --T 300");
    ASSERT_EQ(r.exit_code, 0) << r.err;
    const auto lines = lines_of(r.out);
    ASSERT_EQ(lines.size(), 3u) << r.out;
    EXPECT_EQ(lines[0], "air (ideal_gas), mass fractions: air 1");
    EXPECT_EQ(fields(lines[1], ' ').front(), "p");
    const auto row = fields(lines[2], ' ');
    ASSERT_EQ(row.size(), 10u) << lines[2];
    EXPECT_NEAR(std::stod(row[kRho]), expected, 1e-6 * expected);
    EXPECT_EQ(lines[1].size(), lines[2].size()) << "right-aligned under the header:\n" << r.out;
}

TEST_F(Cli, PropsWithMassFractionsOfOneGasIsThatGas) {
    const double M = material_json("gases.json", "N2").at("molar_mass").get<double>();
    const auto r = run("props combustion-products --p 200000 --T 500 --Y 1,0,0,0,0 --csv");
    ASSERT_EQ(r.exit_code, 0) << r.err;
    const auto rows = csv_rows(r.out);
    ASSERT_EQ(rows.size(), 1u);
    EXPECT_NEAR(rows[0][kM], M, 1e-12 * M);
    EXPECT_NEAR(rows[0][kRho], 200000.0 * M / (kR * 500.0), 1e-9);
}

TEST_F(Cli, PropsOverARangeGivesOneRowPerStep) {
    auto r = run("props air --p 101325 --T 300:2000:100 --csv");
    ASSERT_EQ(r.exit_code, 0) << r.err;
    auto rows = csv_rows(r.out);
    ASSERT_EQ(rows.size(), 18u);
    for (std::size_t i = 0; i < rows.size(); ++i) EXPECT_EQ(rows[i][kT], 300.0 + 100.0 * static_cast<double>(i));

    // TO is a row only when a step lands on it; 0.1 steps land on it despite rounding.
    EXPECT_EQ(csv_rows(run("props air --p 1e5 --T 300:2000:300 --csv").out).size(), 6u);
    EXPECT_EQ(csv_rows(run("props air --p 1e5 --T 300.1:300.3:0.1 --csv").out).size(), 3u);
    EXPECT_EQ(csv_rows(run("props air --p 1e5 --T 300:300:5 --csv").out).size(), 1u);

    // The table: a title, the header, then the rows.
    r = run("props air --p 101325 --T 300:2000:100");
    ASSERT_EQ(r.exit_code, 0);
    EXPECT_EQ(lines_of(r.out).size(), 2u + 18u) << r.out;
}

TEST_F(Cli, PropsCsvHasAHeaderRowAndTenColumns) {
    const auto r = run("props combustion-products --p 1e5 --T 400:1000:200 --csv");
    ASSERT_EQ(r.exit_code, 0) << r.err;
    EXPECT_EQ(r.err, "");
    const auto lines = lines_of(r.out);
    ASSERT_EQ(lines.size(), 5u) << r.out;
    EXPECT_EQ(lines[0], "p [Pa],T [K],rho [kg/m3],h [J/kg],cp [J/(kg K)],gamma,M [kg/mol],a [m/s],mu [Pa s],"
                        "lambda [W/(m K)]");
    for (std::size_t i = 1; i < lines.size(); ++i) EXPECT_EQ(fields(lines[i], ',').size(), 10u) << lines[i];
}

TEST_F(Cli, PropsOfALiquidPrintsGammaMAndAAsZeroWithANote) {
    const auto water = material_json("liquids.json", "water");
    auto r = run("props water --p 101325 --T 300 --csv");
    ASSERT_EQ(r.exit_code, 0) << r.err;
    const auto lines = lines_of(r.out);
    ASSERT_EQ(lines.size(), 2u) << r.out;
    const auto row = fields(lines[1], ',');
    ASSERT_EQ(row.size(), 10u);
    EXPECT_EQ(row[kGamma], "0");
    EXPECT_EQ(row[kM], "0");
    EXPECT_EQ(row[kA], "0");
    EXPECT_DOUBLE_EQ(std::stod(row[kCp]), tabulated(water.at("cp"), 300.0));
    EXPECT_DOUBLE_EQ(std::stod(row[kLambda]), tabulated(water.at("conductivity"), 300.0));
    EXPECT_EQ(r.out.find("note:"), std::string::npos) << "no note in comma-separated output";

    r = run("props water --p 101325 --T 280:360:20");
    ASSERT_EQ(r.exit_code, 0) << r.err;
    const auto table = lines_of(r.out);
    ASSERT_EQ(table.size(), 2u + 5u + 1u) << r.out;
    for (std::size_t i = 2; i < 7; ++i) {
        const auto f = fields(table[i], ' ');
        ASSERT_EQ(f.size(), 10u) << table[i];
        EXPECT_EQ(f[kGamma] + f[kM] + f[kA], "000") << table[i];
    }
    EXPECT_EQ(table.back(),
              "note: water is an incompressible liquid: gamma, M and a are not defined for it and are shown as 0");
}

TEST_F(Cli, PropsOfAMediumFromAFile) {
    std::ofstream(path("lean.json"))
        << R"({"materials": [], "media": [{"name": "lean", "kind": "ideal_gas", "substances": ["N2", "O2"],
              "mass_fractions": [0.8, 0.2]}]})";
    std::ofstream(path("two.json"))
        << R"({"materials": [], "media": [
              {"name": "lean", "kind": "ideal_gas", "substances": ["N2", "O2"], "mass_fractions": [0.8, 0.2]},
              {"name": "rich", "kind": "ideal_gas", "substances": ["N2", "O2"], "mass_fractions": [0.7, 0.3]}]})";
    const double M_N2 = material_json("gases.json", "N2").at("molar_mass").get<double>();
    const double M_O2 = material_json("gases.json", "O2").at("molar_mass").get<double>();
    // rho = p / (R T sum(Y_i / M_i))
    const auto rho = [&](double y_N2, double y_O2) { return 1e5 / (kR * 300.0 * (y_N2 / M_N2 + y_O2 / M_O2)); };

    auto r = run("props " + quoted(path("lean.json")) + " --p 1e5 --T 300 --csv");
    ASSERT_EQ(r.exit_code, 0) << r.err;
    EXPECT_NEAR(csv_rows(r.out).at(0)[kRho], rho(0.8, 0.2), 1e-9);

    r = run("props " + quoted(path("two.json")) + " --p 1e5 --T 300");
    EXPECT_EQ(r.exit_code, 1);
    EXPECT_NE(r.err.find("holds 2 media (lean, rich); name one as " + path("two.json") + ":NAME"), std::string::npos)
        << r.err;

    r = run("props " + quoted(path("two.json") + ":rich") + " --p 1e5 --T 300 --csv");
    ASSERT_EQ(r.exit_code, 0) << r.err;
    EXPECT_NEAR(csv_rows(r.out).at(0)[kRho], rho(0.7, 0.3), 1e-9);

    r = run("props " + quoted(path("two.json") + ":none") + " --p 1e5 --T 300");
    EXPECT_EQ(r.exit_code, 1);
    EXPECT_NE(r.err.find("has no medium \"none\"; it holds: lean, rich"), std::string::npos) << r.err;
}

// ---- invert ---------------------------------------------------------------------------------------

TEST_F(Cli, InvertOfTheEnthalpyThatPropsPrintsGivesTheTemperatureBack) {
    struct state {
        const char* medium;
        double T, T0;
    };
    for (const state s : {state{"combustion-products", 1500.0, 1000.0}, state{"air", 650.0, 300.0},
                          state{"water", 330.0, 300.0}}) {
        const std::string at = std::string(s.medium) + " --p 100000";
        const auto props = run("props " + at + " --T " + std::to_string(s.T) + " --csv");
        ASSERT_EQ(props.exit_code, 0) << props.err;
        const auto lines = lines_of(props.out);
        ASSERT_EQ(lines.size(), 2u) << props.out;
        const std::string h = fields(lines[1], ',')[kH];
        const double rho = csv_rows(props.out)[0][kRho];

        const auto r = run("invert " + at + " --H " + h + " --T0 " + std::to_string(s.T0) + " --csv");
        ASSERT_EQ(r.exit_code, 0) << r.err;
        EXPECT_EQ(r.err, "") << "no warning for a reachable enthalpy";
        const auto out = lines_of(r.out);
        ASSERT_EQ(out.size(), 2u) << r.out;
        EXPECT_EQ(out[0], "T [K],rho [kg/m3],cp [J/(kg K)],gamma,M [kg/mol],a [m/s],mu [Pa s],lambda [W/(m K)],p [Pa]");
        const auto values = fields(out[1], ',');
        ASSERT_EQ(values.size(), 9u);
        EXPECT_NEAR(std::stod(values[0]), s.T, 1e-5) << s.medium;
        EXPECT_NEAR(std::stod(values[1]), rho, 1e-7 * rho) << s.medium;
        EXPECT_EQ(std::stod(values[8]), 100000.0) << s.medium;
    }
}

TEST_F(Cli, InvertOfAnUnreachableEnthalpyAnswersTheStartValueAndShowsTheLibrarysWarning) {
    for (const std::string H : {"-1e30", "nan"}) {
        const auto r = run("invert air --p 1e5 --H " + H + " --T0 450");
        ASSERT_EQ(r.exit_code, 0) << r.err;
        EXPECT_NE(line_matching(r.out, "  T \\[K\\] +450"), "") << r.out;
        const auto lines = lines_of(r.out);
        ASSERT_FALSE(lines.empty());
        // After the results, the library's own line.
        EXPECT_TRUE(std::regex_match(lines.back(), std::regex("library: Warning 3002: MediumPhysics: .*Inconsistent "
                                                              "physical parameters!")))
            << r.out;
        EXPECT_NE(lines[lines.size() - 2].find("p [Pa]"), std::string::npos) << r.out;
    }
    // Comma-separated output stays two lines; the warning goes to stderr.
    const auto r = run("invert air --p 1e5 --H -1e30 --csv");
    ASSERT_EQ(r.exit_code, 0);
    EXPECT_EQ(lines_of(r.out).size(), 2u) << r.out;
    EXPECT_EQ(r.err.find("library: Warning 3002: "), 0u) << r.err;
}

// ---- solid ----------------------------------------------------------------------------------------

TEST_F(Cli, SolidCopperAt300KIsThePublishedTableValue) {
    const auto copper = material_json("solids.json", "copper");
    const auto r = run("solid copper --T 300");
    ASSERT_EQ(r.exit_code, 0) << r.err;
    EXPECT_EQ(r.err, "");
    const auto number_after = [&](const std::string& label) {
        const std::string line = line_matching(r.out, "  " + label + " .*");
        EXPECT_FALSE(line.empty()) << label << " missing in:\n" << r.out;
        return line.empty() ? -1.0 : std::stod(line.substr(2 + label.size()));
    };
    EXPECT_NE(line_matching(r.out, "  anisotropy type +0 \\(isotropic\\)"), "") << r.out;
    EXPECT_EQ(number_after("components"), 1.0);
    EXPECT_EQ(number_after("conductivity"), tabulated(copper.at("components")[0], 300.0));
    EXPECT_NE(line_matching(r.out, "  conductivity +401 W/\\(m K\\)"), "") << r.out;
    EXPECT_EQ(number_after("density"), copper.at("heat_value_a").get<double>());
    EXPECT_EQ(number_after("highest valid T"), copper.at("heat_value_b").get<double>());
    EXPECT_EQ(number_after("specific heat"), tabulated(copper.at("heat_parameter"), 300.0));
    EXPECT_TRUE(std::regex_search(r.out, std::regex("  axes +1 +0 +0\n +0 +1 +0\n +0 +0 +1\n"))) << r.out;
}

TEST_F(Cli, SolidWithAxesRotated45DegreesIsAnisotropicWithTwoValues) {
    const std::string c = "0.7071067811865476";
    const auto r = run("solid copper --T 300 --axes " + c + ",-" + c + ",0," + c + "," + c + ",0,0,0,1");
    ASSERT_EQ(r.exit_code, 0) << r.err;
    EXPECT_NE(line_matching(r.out, "  anisotropy type +2 \\(anisotropic\\)"), "") << r.out;
    EXPECT_NE(line_matching(r.out, "  components +2"), "") << r.out;
    EXPECT_NE(line_matching(r.out, "  conductivity +401, 401 W/\\(m K\\)"), "") << r.out;

    const auto wire = run("solid copper-electrical --T 300");
    ASSERT_EQ(wire.exit_code, 0) << wire.err;
    EXPECT_NE(line_matching(wire.out, "  conductivity +5\\.7971e\\+07 S/m"), "") << wire.out;
    EXPECT_EQ(wire.out.find("density"), std::string::npos) << "no heat values for an electro-conducting solid";
}

// ---- bad requests ---------------------------------------------------------------------------------

TEST_F(Cli, BadPropertyRequestsExit1WithAMessage) {
    const std::pair<std::string, std::string> cases[] = {
        {"props no-such --p 1e5 --T 300", "unknown medium \"no-such\""},
        {"props copper --p 1e5 --T 300", "\"copper\" is a solid (heatconducting_solid), not a fluid"},
        {"props air --p 1e5 --T 300:400:0", "STEP must be greater than 0"},
        {"props air --p 1e5 --T 300:400:-10", "STEP must be greater than 0"},
        {"props air --p 1e5 --T 400:300:10", "FROM must not be greater than TO"},
        {"props air --p 1e5 --T 1:200001:2", "rows; at most 100000"},
        {"props air --p 1e5 --T 0", "the temperature must be above 0 K"},
        {"props air --p 0 --T 300", "--p 0: must be a finite number above 0 Pa"},
        {"props combustion-products --p 1e5 --T 300 --Y 0.5,0.5",
         "--Y has 2 values; \"combustion-products\" has 5 substances (N2, O2, CO2, H2O, Ar)"},
        {"props air --p 1e5 --T 300 --Y 0.5", "the mass fractions add up to 0.5, not 1"},
        {"props missing.json --p 1e5 --T 300", "cannot open missing.json: no such file"},
        {"invert no-such --p 1e5 --H 1e5", "unknown medium \"no-such\""},
        {"invert steel --p 1e5 --H 1e5", "is a solid"},
        {"solid no-such --T 300", "unknown solid \"no-such\"\nknown solids: copper, aluminium, steel, "
                                  "copper-electrical, aluminium-electrical"},
        {"solid air --T 300", "\"air\" is not a solid (kind ideal_gas)"},
        {"solid copper --T 300 --axes 1,0,0", "--axes needs 9 values"},
        {"solid copper --T 300 --axes 2,0,0,0,1,0,0,0,1", "the rows must be orthonormal"},
    };
    for (const auto& [args, message] : cases) {
        const auto r = run(args);
        EXPECT_EQ(r.exit_code, 1) << args;
        EXPECT_EQ(r.out, "") << args;
        EXPECT_NE(r.err.find(message), std::string::npos) << args << "\n" << r.err;
    }
    // The row limit itself is allowed.
    EXPECT_EQ(run("props air --p 1e5 --T 1:100000:1 --csv").exit_code, 0);
    // Malformed numbers are usage errors.
    EXPECT_EQ(run("props air --p 1e5 --T 300:400").exit_code, 2);
    EXPECT_EQ(run("props air --p 1e5 --T warm").exit_code, 2);
    EXPECT_EQ(run("props air --p high --T 300").exit_code, 2);
    EXPECT_EQ(run("props air --T 300").exit_code, 2);  // --p is required
}

// ---- non-Newtonian and compressible liquids --------------------------------------------------------

// A blood-like liquid with a Carreau law, written by the test so that it does not depend on the
// built-in data: mu = (mu_0 - mu_inf) (1 + (lambda g)^2)^((n - 1) / 2) + mu_inf.
const char* const kCarreauLiquid = R"({"materials": [{"name": "carreau-test", "kind": "non_newtonian_liquid",
    "identifier": "5A0C7E21-4B3D-4F6A-9C2E-0D1B2A3C4D5E",
    "cp": {"constant": 3617}, "viscosity": {"constant": 0.00345}, "conductivity": {"constant": 0.517},
    "density": {"constant": 1060}, "scalar_a": 0, "reference_temperature": 310.15, "reference_pressure": 101325,
    "viscosity_law": {"type": "carreau", "mu_zero": {"constant": 0.056}, "mu_infinity": {"constant": 0.00345},
                      "time_constant": {"constant": 3.313}, "power_index": 0.3568}}]})";

// A liquid of the compressible kind with the Tait fields; the liquid fields as for water.
const char* const kCompressibleLiquid = R"({"materials": [{"name": "tait-test", "kind": "compressible_liquid",
    "identifier": "5A0C7E21-4B3D-4F6A-9C2E-0D1B2A3C4D5F",
    "cp": {"constant": 4180}, "viscosity": {"constant": 0.001}, "conductivity": {"constant": 0.6},
    "density": {"constant": 998}, "scalar_a": 0, "reference_temperature": 293.15, "reference_pressure": 101325,
    "tait_b": {"constant": 3.0e8}, "tait_c": {"constant": 0.0894}, "tait_n": {"constant": 7.15},
    "viscosity_pressure_coefficient": {"constant": 0.0}, "density_reference_pressure": 101325, "density_law": 0}]})";

TEST_F(Cli, ViscosityOfACarreauLiquidIsTheLawAtEachShearRate) {
    std::ofstream(path("carreau.json")) << kCarreauLiquid;
    const auto r = run("viscosity " + quoted(path("carreau.json")) + " --T 310 --shear 0:10:0.1 --csv");
    ASSERT_EQ(r.exit_code, 0) << r.err;
    EXPECT_EQ(r.err, "");
    const auto lines = lines_of(r.out);
    ASSERT_EQ(lines.size(), 1u + 101u) << r.out;
    EXPECT_EQ(lines[0], "shear [1/s],mu [Pa s]");
    const auto rows = csv_rows(r.out);
    // By hand: at 0 the law is mu_0; at 1/s 0.0532 (1 + 3.313^2)^(-0.3216) + 0.00345; at 10/s
    // 0.0532 (1 + 33.13^2)^(-0.3216) + 0.00345. The medium mixes one component with rho^2 v^2 = 1.
    const std::pair<std::size_t, double> expected[] = {
        {0, 0.056}, {1, 0.05426911426552453}, {10, 0.027097651206638512}, {100, 0.008978904657012805}};
    for (const auto& [row, mu] : expected) {
        ASSERT_EQ(rows[row].size(), 2u);
        EXPECT_NEAR(rows[row][0], 0.1 * static_cast<double>(row), 1e-12) << row;
        EXPECT_NEAR(rows[row][1], mu, 1e-14) << "shear " << rows[row][0];
    }
    // A single rate.
    const auto one = run("viscosity " + quoted(path("carreau.json")) + " --T 310 --shear 1 --csv");
    ASSERT_EQ(one.exit_code, 0) << one.err;
    ASSERT_EQ(lines_of(one.out).size(), 2u) << one.out;
    EXPECT_NEAR(csv_rows(one.out)[0][1], 0.027097651206638512, 1e-14);
}

TEST_F(Cli, ViscosityOnALogarithmicScaleGivesPointsPerDecade) {
    std::ofstream(path("carreau.json")) << kCarreauLiquid;
    const std::string medium = quoted(path("carreau.json"));
    auto r = run("viscosity " + medium + " --T 310 --shear 0.01:1000:2 --log --csv");
    ASSERT_EQ(r.exit_code, 0) << r.err;
    const auto rows = csv_rows(r.out);
    // Five decades at two points each, and TO itself.
    ASSERT_EQ(rows.size(), 11u) << r.out;
    const auto lines = lines_of(r.out);
    // Whole decades come out exactly as typed.
    EXPECT_EQ(fields(lines[1], ',')[0], "0.01");
    EXPECT_EQ(fields(lines[3], ',')[0], "0.1");
    EXPECT_EQ(fields(lines[5], ',')[0], "1");
    EXPECT_EQ(fields(lines[11], ',')[0], "1000");
    EXPECT_NEAR(rows[1][0], 0.01 * std::sqrt(10.0), 1e-15);
    EXPECT_NEAR(rows[4][1], 0.027097651206638512, 1e-14);
    EXPECT_NEAR(rows[8][1], 0.004707665131357552, 1e-14);
    EXPECT_NEAR(rows[10][1], 0.0037360001626269615, 1e-14);

    // Three points per decade over one decade: 1, 2.15..., 4.64..., 10.
    EXPECT_EQ(csv_rows(run("viscosity " + medium + " --T 310 --shear 1:10:3 --log --csv").out).size(), 4u);
    // TO between two points is not a row: 1, 10, 100 of 1:500:1.
    EXPECT_EQ(csv_rows(run("viscosity " + medium + " --T 310 --shear 1:500:1 --log --csv").out).size(), 3u);

    // The table: the medium, the state, the header, the rows.
    r = run("viscosity " + medium + " --T 310 --shear 0.01:1000:2 --log");
    ASSERT_EQ(r.exit_code, 0) << r.err;
    const auto table = lines_of(r.out);
    ASSERT_EQ(table.size(), 3u + 11u) << r.out;
    EXPECT_EQ(table[0], "carreau-test (non_newtonian_liquid), mass fractions: carreau-test 1");
    EXPECT_EQ(table[1], "at p = 101325 Pa, T = 310 K:");
    EXPECT_EQ(fields(table[2], ' '), (std::vector<std::string>{"shear", "[1/s]", "mu", "[Pa", "s]"}));
    EXPECT_EQ(fields(table[7], ' '), (std::vector<std::string>{"1", "0.02709765"})) << r.out;
    EXPECT_EQ(table[2].size(), table[7].size()) << "right-aligned under the header:\n" << r.out;
}

TEST_F(Cli, BadViscosityRequestsExit1WithAMessage) {
    std::ofstream(path("carreau.json")) << kCarreauLiquid;
    const std::string nn = quoted(path("carreau.json"));
    const std::pair<std::string, std::string> cases[] = {
        {"viscosity water --T 300 --shear 1",
         "medium-physics viscosity: \"water\" (kind incompressible_liquid) is not a non-Newtonian liquid: its "
         "viscosity does not depend on the shear rate; see 'medium-physics props water --p P --T T'\n"},
        {"viscosity air --T 300 --shear 1", "\"air\" (kind ideal_gas) is not a non-Newtonian liquid"},
        {"viscosity copper --T 300 --shear 1", "\"copper\" is a solid"},
        {"viscosity no-such --T 300 --shear 1", "unknown medium \"no-such\""},
        {"viscosity " + nn + " --T 300 --shear 10:1:1",
         "medium-physics viscosity: --shear 10:1:1: FROM must not be greater than TO\n"},
        {"viscosity " + nn + " --T 300 --shear 0:10:0", "--shear 0:10:0: STEP must be greater than 0\n"},
        {"viscosity " + nn + " --T 300 --shear -1:10:1", "--shear -1:10:1: shear rates must not be below 0 1/s\n"},
        {"viscosity " + nn + " --T 300 --shear 0:10:1 --log",
         "--shear 0:10:1 --log: logarithmic shear rates must be above 0 1/s\n"},
        {"viscosity " + nn + " --T 300 --shear 1:10:2.5 --log",
         "--shear 1:10:2.5 --log: POINTS (per decade) must be a whole number of at least 1\n"},
        {"viscosity " + nn + " --T 300 --shear 1:10:0 --log", "POINTS (per decade) must be a whole number"},
        {"viscosity " + nn + " --T 300 --shear 0:1e6:1", "--shear 0:1e6:1: about 1000001 rows; at most 100000"},
        {"viscosity " + nn + " --T 300 --shear 1e-300:1e300:1000 --log", "too many rows; at most 100000"},
        {"viscosity " + nn + " --T 300 --shear inf", "every value must be a finite number"},
        {"viscosity " + nn + " --T 0 --shear 1", "--T 0: must be a finite number above 0 K\n"},
        {"viscosity " + nn + " --T 300 --p -1 --shear 1", "--p -1: must be a finite number above 0 Pa\n"},
        {"viscosity " + nn + " --T 300 --shear 1 --Y 0.5,0.5", "--Y has 2 values; \"carreau-test\" has 1 substance"},
    };
    for (const auto& [args, message] : cases) {
        const auto r = run(args);
        EXPECT_EQ(r.exit_code, 1) << args;
        EXPECT_EQ(r.out, "") << args;
        const bool whole = message.back() == '\n';
        if (whole && message.rfind("medium-physics", 0) == 0)
            EXPECT_EQ(r.err, message) << args;
        else if (whole)
            EXPECT_EQ(r.err, "medium-physics viscosity: " + message) << args;
        else
            EXPECT_NE(r.err.find(message), std::string::npos) << args << "\n" << r.err;
    }
    // Malformed rates and missing options are usage errors.
    EXPECT_EQ(run("viscosity " + nn + " --T 300 --shear 1:10").exit_code, 2);
    EXPECT_EQ(run("viscosity " + nn + " --T 300 --shear fast").exit_code, 2);
    EXPECT_EQ(run("viscosity " + nn + " --T 300").exit_code, 2);
    EXPECT_EQ(run("viscosity " + nn + " --shear 1").exit_code, 2);

    const auto help = run("viscosity --help");
    EXPECT_EQ(help.exit_code, 0);
    EXPECT_NE(help.out.find("--shear 0.01:1000:2 --log gives 2 rates per decade"), std::string::npos) << help.out;
}

TEST_F(Cli, PropsAndInvertOfANonNewtonianLiquidShowThatMuNeedsAShearRate) {
    std::ofstream(path("carreau.json")) << kCarreauLiquid;
    const std::string nn = quoted(path("carreau.json"));
    const std::string footnote = "note: mu is n/a: the viscosity of carreau-test depends on the shear rate (without "
                                 "one the library answers 1e+40); see 'medium-physics viscosity " +
                                 path("carreau.json") + " --T T --shear FROM:TO:STEP'";

    auto r = run("props " + nn + " --p 101325 --T 300:320:10");
    ASSERT_EQ(r.exit_code, 0) << r.err;
    auto lines = lines_of(r.out);
    ASSERT_EQ(lines.size(), 1u + 1u + 3u + 2u) << r.out;
    for (std::size_t i = 2; i < 5; ++i) {
        const auto f = fields(lines[i], ' ');
        ASSERT_EQ(f.size(), 10u) << lines[i];
        EXPECT_EQ(f[kMu], "n/a") << lines[i];
        EXPECT_EQ(f[kRho], "1060") << lines[i];
        EXPECT_EQ(f[kGamma] + f[kM] + f[kA], "000") << lines[i];
        EXPECT_EQ(f[kLambda], "0.517") << lines[i];
    }
    EXPECT_EQ(lines[5], "note: carreau-test is an incompressible liquid: gamma, M and a are not defined for it and "
                        "are shown as 0");
    EXPECT_EQ(lines[6], footnote);

    // Comma-separated: the library's raw answer, no notes.
    r = run("props " + nn + " --p 101325 --T 300 --csv");
    ASSERT_EQ(r.exit_code, 0) << r.err;
    lines = lines_of(r.out);
    ASSERT_EQ(lines.size(), 2u) << r.out;
    EXPECT_EQ(fields(lines[1], ',')[kMu], "1e+40");

    // invert from props' own enthalpy at 300 K: the temperature back, with the same n/a and footnote.
    const std::string h = fields(lines[1], ',')[kH];
    r = run("invert " + nn + " --p 101325 --H " + h + " --T0 300");
    ASSERT_EQ(r.exit_code, 0) << r.err;
    EXPECT_NE(line_matching(r.out, "  mu \\[Pa s\\] +n/a"), "") << r.out;
    EXPECT_EQ(lines_of(r.out).back(), footnote);
    r = run("invert " + nn + " --p 101325 --H " + h + " --T0 310 --csv");
    ASSERT_EQ(r.exit_code, 0) << r.err;
    ASSERT_EQ(lines_of(r.out).size(), 2u) << r.out;
    const auto state = fields(lines_of(r.out)[1], ',');
    EXPECT_NEAR(std::stod(state[0]), 300.0, 1e-6);
    EXPECT_EQ(state[6], "1e+40");
}

// The compressible kind is new to the library: until a build provides it the commands say so and
// nothing else; once it does, every column is what the medium answers, with a real gamma and sound
// speed and no molar mass.
TEST_F(Cli, PropsOfACompressibleLiquidIsWhatTheLibraryAnswersOrThatTheKindIsMissing) {
    std::ofstream(path("tait.json")) << kCompressibleLiquid;
    const auto r = run("props " + quoted(path("tait.json")) + " --p 101325 --T 293.15 --csv");
    if (r.exit_code == 1) {
        EXPECT_EQ(r.out, "");
        EXPECT_EQ(r.err, "medium-physics props: cannot create \"tait-test\" (kind compressible_liquid): this "
                         "build does not provide media of this kind (status 2)\n");
        return;
    }
    ASSERT_EQ(r.exit_code, 0) << r.err;
    const auto lines = lines_of(r.out);
    ASSERT_EQ(lines.size(), 2u) << r.out;
    const auto row = fields(lines[1], ',');
    ASSERT_EQ(row.size(), 10u);
    EXPECT_EQ(row[kM], "0");
    const auto values = csv_rows(r.out)[0];
    EXPECT_TRUE(std::isfinite(values[kGamma]) && values[kGamma] >= 1.0) << lines[1];
    EXPECT_TRUE(std::isfinite(values[kA]) && values[kA] > 0.0) << lines[1];
    EXPECT_NE(row[kMu], "1e+40");
    // Tait: rho = rho_0 / (1 - C ln((B + p) / (B + p_0))), and with the density constant in T (gamma
    // 1) a^2 = dp/drho = (B + p) (1 - C ln(...))^2 / (rho_0 C); at p_0 that is (B + p_0) / (rho_0 C).
    const double B = 3.0e8, C = 0.0894, p0 = 101325.0, rho0 = 998.0;
    EXPECT_NEAR(values[kRho], rho0, 1e-12 * rho0);
    EXPECT_NEAR(values[kA], std::sqrt((B + p0) / (rho0 * C)), 1e-9 * values[kA]);
    const auto high = run("props " + quoted(path("tait.json")) + " --p 1e7 --T 293.15 --csv");
    ASSERT_EQ(high.exit_code, 0) << high.err;
    const double factor = 1.0 - C * std::log((B + 1e7) / (B + p0));
    EXPECT_NEAR(csv_rows(high.out).at(0)[kRho], rho0 / factor, 1e-9 * rho0);
    EXPECT_NEAR(csv_rows(high.out).at(0)[kA], std::sqrt((B + 1e7) * factor * factor / (rho0 * C)), 1e-6);

    const auto table = run("props " + quoted(path("tait.json")) + " --p 101325 --T 293.15");
    ASSERT_EQ(table.exit_code, 0) << table.err;
    EXPECT_EQ(lines_of(table.out).back(), "note: tait-test is a compressible liquid: M is not defined for it and is "
                                          "shown as 0");
    EXPECT_EQ(table.out.find("n/a"), std::string::npos) << table.out;
}

// ---- usage --------------------------------------------------------------------------------------

TEST_F(Cli, UsageErrorsExit2AndHelpExits0) {
    EXPECT_EQ(run("").exit_code, 2);
    EXPECT_EQ(run("frobnicate").exit_code, 2);
    EXPECT_EQ(run("save obsolete-cavitation").exit_code, 2);  // -o is required
    EXPECT_EQ(run("inspect").exit_code, 2);
    EXPECT_FALSE(fs::exists(path("obsolete-cavitation")));

    const auto help = run("save --help");
    EXPECT_EQ(help.exit_code, 0);
    EXPECT_NE(help.out.find("obsolete cavitation placeholder (kind 10)"), std::string::npos) << help.out;
}


// ---- real-gas fluids: saturation and eos ------------------------------------------------------------

// The data rows of comma-separated output as numbers (the header row skipped).
std::vector<std::vector<double>> csv_numbers(const std::string& text) {
    std::vector<std::vector<double>> rows;
    const auto lines = lines_of(text);
    for (std::size_t i = 1; i < lines.size(); ++i) {
        std::vector<double> row;
        std::istringstream in(lines[i]);
        for (std::string cell; std::getline(in, cell, ',');) row.push_back(std::stod(cell));
        rows.push_back(row);
    }
    return rows;
}

// Soave-Redlich-Kwong (Zc = 1/3, model 3) of CO2 at 280 K against the saturation pressure of Span
// and Wagner's reference equation (J. Phys. Chem. Ref. Data 25, 1509, 1996), 4.1607 MPa; SRK is
// known to be good to a few percent there.
TEST_F(Cli, SaturationOfCO2WithTheSoaveFormIsThePublishedPressure) {
    const auto r = run("saturation CO2 --model 3 --Zc 0.333333333333333 --T 280 --csv");
    ASSERT_EQ(r.exit_code, 0) << r.err;
    EXPECT_EQ(lines_of(r.out).at(0), "T [K],psat [Pa],v_liquid [m3/kg],v_vapour [m3/kg],p_spinodal_liquid [Pa],"
                                     "p_spinodal_vapour [Pa]");
    const auto rows = csv_numbers(r.out);
    ASSERT_EQ(rows.size(), 1u);
    ASSERT_EQ(rows[0].size(), 6u);
    EXPECT_EQ(rows[0][0], 280.0);
    EXPECT_LT(std::fabs(rows[0][1] - 4.1607e6) / 4.1607e6, 0.05) << rows[0][1];
    // the binodal pressure lies between the spinodal pressures
    EXPECT_LT(rows[0][4], rows[0][1]);
    EXPECT_GT(rows[0][5], rows[0][1]);
    EXPECT_EQ(r.err, "");
}

TEST_F(Cli, SaturationPressureRisesWithTemperatureAndTheLiquidIsDenser) {
    for (const std::string fluid : {"CO2", "N2", "CH4", "H2O", "R134a", "C3H8"}) {
        // 0.55 Tc to 0.95 Tc in five rows, from the fluid's critical temperature in the data
        std::ifstream in(std::string(MP_SOURCE_DIR) + "/data/thermo/critical_properties.json");
        const double Tc = nlohmann::json::parse(in).at("substances").at(fluid).at("Tc").get<double>();
        const std::string range = std::to_string(0.55 * Tc) + ":" + std::to_string(0.95 * Tc) + ":" +
                                  std::to_string(0.1 * Tc * (1 - 1e-9));
        const auto r = run("saturation " + fluid + " --T " + range + " --csv");
        ASSERT_EQ(r.exit_code, 0) << fluid << "\n" << r.err;
        const auto rows = csv_numbers(r.out);
        ASSERT_EQ(rows.size(), 5u) << fluid;
        for (std::size_t i = 0; i < rows.size(); ++i) {
            EXPECT_GT(rows[i][1], 0.0) << fluid;
            EXPECT_LT(rows[i][2], rows[i][3]) << fluid << " " << rows[i][0];
            if (i > 0) {
                EXPECT_GT(rows[i][1], rows[i - 1][1]) << fluid << " " << rows[i][0];
            }
        }
    }
}

TEST_F(Cli, SaturationFromExplicitCriticalDataEqualsTheBuiltInFluid) {
    const auto a = run("saturation CO2 --T 250 --csv");
    const auto b = run("saturation --Tc 304.2 --pc 7390000 --Zc 0.275 --omega 0.228 --M 0.04401 --T 250 --csv");
    ASSERT_EQ(a.exit_code, 0) << a.err;
    ASSERT_EQ(b.exit_code, 0) << b.err;
    EXPECT_EQ(a.out, b.out);
}

// At 1 bar and 300 K nitrogen is nearly ideal: rho = p M/(R T) within 0.1 %.
TEST_F(Cli, EosOfNitrogenAtLowPressureIsTheIdealGas) {
    const auto r = run("eos N2 --p 1e5 --T 300 --csv");
    ASSERT_EQ(r.exit_code, 0) << r.err;
    EXPECT_EQ(lines_of(r.out).at(0),
              "p [Pa],T [K],roots,rho [kg/m3],h [J/kg],s [J/(kg K)],cp [J/(kg K)],a [m/s],Z");
    const auto rows = csv_numbers(r.out);
    ASSERT_EQ(rows.size(), 1u);
    ASSERT_EQ(rows[0].size(), 9u);
    EXPECT_EQ(rows[0][2], 1.0);
    const double ideal = 1e5 * 0.028014 / (8.314462618 * 300.0);
    EXPECT_LT(std::fabs(rows[0][3] - ideal) / ideal, 1e-3) << rows[0][3];
    // cp near the NASA polynomial's 1039.7 J/(kg K) (gases.json), the speed of sound near
    // sqrt(gamma R T) of the ideal gas with gamma = 1.4
    EXPECT_LT(std::fabs(rows[0][6] - 1039.7) / 1039.7, 0.01);
    EXPECT_LT(std::fabs(rows[0][7] - std::sqrt(1.4 * 8.314462618 / 0.028014 * 300.0)) / 353.0, 0.01);
}

// R134a takes its ideal-gas heat capacity from the table of critical_properties.json (the ideal-gas
// part of Tillner-Roth and Baehr's equation of state). At 440 K and 40 kPa the vapour is nearly
// ideal: Tillner-Roth and Baehr (J. Phys. Chem. Ref. Data 23, 657, 1994), Table 9 (as quoted in
// pychemqt's tests), give rho = 1.1177 kg/m3, cp = 1.0688 kJ/(kg K) and a speed of sound of
// 196.72 m/s there; the cubic equation with that cp0 meets all three within 0.5 %.
TEST_F(Cli, EosOfR134aAtLowPressureMeetsTillnerRothAndBaehr) {
    const auto r = run("eos R134a --p 4e4 --T 440 --csv");
    ASSERT_EQ(r.exit_code, 0) << r.err;
    const auto rows = csv_numbers(r.out);
    ASSERT_EQ(rows.size(), 1u);
    ASSERT_EQ(rows[0].size(), 9u);
    EXPECT_LT(std::fabs(rows[0][3] - 1.1177) / 1.1177, 0.005) << rows[0][3];
    EXPECT_LT(std::fabs(rows[0][6] - 1068.8) / 1068.8, 0.005) << rows[0][6];
    EXPECT_LT(std::fabs(rows[0][7] - 196.72) / 196.72, 0.005) << rows[0][7];
    EXPECT_EQ(run("eos R134a --p 1e5 --T 300").exit_code, 0);
}

TEST_F(Cli, BadRealGasRequestsExit1WithAMessage) {
    const std::pair<std::string, std::string> cases[] = {
        {"saturation CO2 --T 310", "--T 310: 310 K is not below the critical temperature 304.2 K of CO2"},
        {"saturation CO2 --T 304.2", "is not below the critical temperature"},
        {"saturation CO2 --T 0", "the temperature must be above 0 K"},
        {"saturation CO2 --T 250:320:10", "--T 250:320:10: 310 K is not below the critical temperature"},
        {"saturation no-such --T 250", "unknown fluid \"no-such\"\nknown fluids: C3H8, CH4, CO2, H2O, N2, R134a"},
        {"saturation --Tc 300 --pc 5e6 --T 250", "all of --Tc --pc --Zc --omega --M are needed"},
        {"saturation CO2 --Tc 300 --T 250", "give either a fluid name or --Tc --pc --Zc --omega --M"},
        {"saturation CO2 --Zc 0.5 --T 250", "--Zc 0.5: must be above 0 and at most 1/3"},
        {"eos CO2 --p 0 --T 300", "--p 0: must be a finite number above 0 Pa"},
        {"eos --Tc 300 --pc 5e6 --Zc 0.3 --omega 0.1 --M 0.05 --p 1e5 --T 300",
         "(given) has no ideal-gas heat capacity in the data"},
    };
    for (const auto& [args, message] : cases) {
        const auto r = run(args);
        EXPECT_EQ(r.exit_code, 1) << args;
        EXPECT_EQ(r.out, "") << args;
        EXPECT_NE(r.err.find(message), std::string::npos) << args << "\n" << r.err;
    }
    EXPECT_EQ(run("saturation CO2").exit_code, 2);  // --T is required
    EXPECT_EQ(run("eos CO2 --T 300").exit_code, 2);  // --p is required
    EXPECT_EQ(run("saturation CO2 --T hot").exit_code, 2);
}


// Model -4 takes the constant alpha multiplier, 1 when none is set: an isotherm without a loop, so
// the binodal fails. The row says so, and the library's own lines follow the table.
TEST_F(Cli, ARowWhoseBinodalFailsShowsItWithTheLibrarysLines) {
    const auto r = run("saturation CO2 --model -4 --T 100");
    ASSERT_EQ(r.exit_code, 0) << r.err;
    const auto lines = lines_of(r.out);
    ASSERT_GE(lines.size(), 4u);
    EXPECT_EQ(lines[2], "  100     failed                 -                 -                       0                       0");
    EXPECT_NE(line_matching(r.out, "library: ERROR: MediumPhysics: .*binodal_pont.*"), "") << r.out;
    EXPECT_NE(line_matching(r.out, "library: ERROR: MediumPhysics: .*RK_spinodal.*"), "") << r.out;
    // comma-separated: the raw numbers, the library's lines on stderr
    const auto c = run("saturation CO2 --model -4 --T 100 --csv");
    ASSERT_EQ(c.exit_code, 0) << c.err;
    EXPECT_EQ(lines_of(c.out).at(1), "100,0,0,0,0,0");
    EXPECT_NE(c.err.find("library: ERROR: MediumPhysics: "), std::string::npos) << c.err;
}

// Far below Tc the equation's saturation pressure lies under the binodal's lowest pressure
// (about 1e-8 pc); the table says so instead of passing the bound off as psat.
TEST_F(Cli, SaturationFarBelowTcNotesTheBinodalsLowestPressure) {
    const auto r = run("saturation CO2 --T 40");
    ASSERT_EQ(r.exit_code, 0) << r.err;
    EXPECT_EQ(lines_of(r.out).back(), "note: psat at T = 40 K is the binodal's lowest pressure (about 1e-8 pc): the "
                                      "saturation pressure of the equation lies below it");
    const auto ok = run("saturation CO2 --T 220");
    EXPECT_EQ(ok.out.find("note:"), std::string::npos) << ok.out;
}

// With Zc = 1/3 and model 3 the compressibility factor is Soave-Redlich-Kwong's, computed here
// from the classic form Z^3 - Z^2 + (A - B - B^2) Z - A B = 0 by Newton from the ideal gas.
TEST_F(Cli, EosWithTheSoaveFormGivesSoaveRedlichKwongsCompressibility) {
    const double Tc = 304.2, pc = 7.39e6, omega = 0.228, p = 5e6, T = 350.0;  // CO2 of the data file
    const auto r = run("eos CO2 --Zc 0.333333333333333 --model 3 --p 5e6 --T 350 --csv");
    ASSERT_EQ(r.exit_code, 0) << r.err;
    const auto rows = csv_numbers(r.out);
    ASSERT_EQ(rows.size(), 1u);
    const double k = std::cbrt(2.0) - 1.0, Oa = 1.0 / (9.0 * k), Ob = k / 3.0;
    const double Tr = T / Tc, Pr = p / pc, m = 0.48 + 1.574 * omega - 0.176 * omega * omega;
    const double alpha = std::pow(1.0 + m * (1.0 - std::sqrt(Tr)), 2);
    const double A = Oa * alpha * Pr / (Tr * Tr), B = Ob * Pr / Tr;
    double Z = 1.0;
    for (int i = 0; i < 50; ++i) {
        const double f = ((Z - 1.0) * Z + (A - B - B * B)) * Z - A * B;
        const double df = (3.0 * Z - 2.0) * Z + (A - B - B * B);
        Z -= f / df;
    }
    EXPECT_EQ(rows[0][2], 1.0);
    EXPECT_LT(std::fabs(rows[0][8] - Z) / Z, 1e-9) << rows[0][8] << " " << Z;
}


// rgtable: the error of the table's interpolation is small away from the saturation line, the
// memory reported is that of the patches filled, and a saved table loads back to the same figures;
// a damaged table file is refused with the reason.
TEST_F(Cli, RgTableMeasuresItsErrorAndLoadsWhatItSaved) {
    const std::string file = path("co2.rgt");
    const auto r = run("rgtable CO2 --p 1e5:2e7 --T 220:500 --samples 300 --csv --save " + quoted(file));
    ASSERT_EQ(r.exit_code, 0) << r.err;
    const auto rows = csv_numbers(r.out);
    ASSERT_EQ(rows.size(), 1u);
    const double patches = rows[0][0], bytes_reported = rows[0][1];
    EXPECT_GT(patches, 10.0);
    EXPECT_LE(patches, 100.0);
    // each patch holds 4 x 101 x 101 doubles of node values
    EXPECT_GE(bytes_reported, patches * 4 * 101 * 101 * 8);
    EXPECT_LT(bytes_reported, patches * 4 * 101 * 101 * 8 * 1.05 + 200000);
    EXPECT_LT(rows[0][2], 1e-3);  // density, largest relative error
    EXPECT_LT(rows[0][3], 1e-4);
    EXPECT_LT(rows[0][4], 1e-3);  // enthalpy
    const auto again = run("rgtable --load " + quoted(file) + " --samples 300 --csv");
    ASSERT_EQ(again.exit_code, 0) << again.err;
    EXPECT_EQ(again.out, r.out);

    auto damaged = read_bytes(file);
    damaged.resize(damaged.size() / 2);
    write_bytes(path("short.rgt"), damaged);
    const auto bad = run("rgtable --load " + quoted(path("short.rgt")));
    EXPECT_EQ(bad.exit_code, 1);
    EXPECT_NE(bad.err.find("short.rgt"), std::string::npos) << bad.err;
    const auto text = run("rgtable CO2 --samples 100 --mode 2");
    ASSERT_EQ(text.exit_code, 0) << text.err;
    EXPECT_NE(text.out.find("CO2: adaptable table over p = 100000 .. 2e+07 Pa, T = 219 .. 502 K"), std::string::npos)
        << text.out;
}

}  // namespace

TEST_F(Cli, SaveOfTheBuiltInEquilibriumAirCarriesItsTablesAndLoadsBack) {
    const std::string file = save("air.mpf", "equilibrium-air");
    EXPECT_GT(fs::file_size(file), 2000000u);  // the tables travel with the project
    const auto r = run("inspect " + quoted(file));
    ASSERT_EQ(r.exit_code, 0) << r.out << r.err;
    EXPECT_FALSE(line_matching(r.out, " +6 +[0-9]+ +tag 8 +C_hypersonic_gas_substance +D944193C-88E2-5230-A273-31019128B26F").empty())
        << r.out;
    EXPECT_FALSE(line_matching(r.out, " *[0-9]+ +40 +kind 9 +Hypersonic gas thermodynamics +[0-9A-F-]{36}").empty()) << r.out;
    EXPECT_NE(r.out.find("loads with 1 substance and 1 medium"), std::string::npos) << r.out;
}
