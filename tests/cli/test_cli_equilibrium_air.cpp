// `medium-physics props equilibrium-air`, run as a user runs it: the comma-separated columns, the
// engine's state against the ideal-gas law of undissociated air, the (T, p) form against the
// (T, rho) form, the built-in tables beside the engine inside their range and absent outside it,
// and the requests it refuses.
#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

struct run_result {
    int exit_code = -1;
    std::string out;
    std::string err;
};

std::string read_text(const fs::path& p) {
    std::ifstream in(p, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

std::string quoted(const std::string& s) {
    std::string q = "'";
    for (char c : s) q += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return q + "'";
}

std::vector<std::string> lines_of(const std::string& text) {
    std::vector<std::string> out;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) out.push_back(line);
    return out;
}

// Every cell of a comma-separated line, empty ones included (also a trailing one).
std::vector<std::string> cells_of(const std::string& line) {
    std::vector<std::string> cells;
    std::size_t start = 0;
    for (;;) {
        const std::size_t comma = line.find(',', start);
        cells.push_back(line.substr(start, comma == std::string::npos ? std::string::npos : comma - start));
        if (comma == std::string::npos) return cells;
        start = comma + 1;
    }
}

constexpr const char* kHeader =
    "p,T,rho,e,h,cp,gamma,M,a,mu,lambda,"
    "x_N2,x_O2,x_NO,x_N,x_O,x_N2+,x_O2+,x_NO+,x_N+,x_O+,x_e-,"
    "table_p,table_e,table_gamma,table_cp,table_M,table_mu,table_lambda,table_a,table_a_eq";

// Column indices of the comma-separated output.
enum column : std::size_t { kP, kT, kRho, kE, kH, kCp, kGamma, kM, kA, kMu, kLambda, kFirstX };
constexpr std::size_t kSpecies = 11;
constexpr std::size_t kFirstTable = kFirstX + kSpecies;  // table_p, table_e, table_gamma, table_cp, table_M, ...
constexpr std::size_t kTableA = kFirstTable + 7;         // sqrt(p gamma/rho)
constexpr std::size_t kTableAEq = kFirstTable + 8;       // the equilibrium speed of sound
constexpr std::size_t kColumns = kFirstTable + 9;

// CODATA 2018 gas constant, and the molar mass of 79 % N2 + 21 % O2 by mole from the IUPAC atomic
// weights of N (14.0067 g/mol) and O (15.9994 g/mol): 0.79 * 0.0280134 + 0.21 * 0.0319988, which
// is 0.028850334 kg/mol, 0.0288503 to six digits.
constexpr double kGasConstant = 8.314462618;
constexpr double kAirMolarMass = 0.0288503;
constexpr double kAirMolarMassFromAtoms = 0.79 * 2.0 * 0.0140067 + 0.21 * 2.0 * 0.0159994;

class EquilibriumAirCli : public ::testing::Test {
protected:
    void SetUp() override {
#ifndef MP_CLI_PATH
        GTEST_SKIP() << "the command-line program is not part of this build";
#else
        m_cli = MP_CLI_PATH;
        const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
        m_dir = fs::temp_directory_path() /
                ("mp_cli_air_" + std::to_string(::getpid()) + "_" + info->test_suite_name() + "_" + info->name());
        fs::remove_all(m_dir);
        fs::create_directories(m_dir);
#endif
    }
    void TearDown() override {
        if (!m_dir.empty()) fs::remove_all(m_dir);
    }

    run_result run(const std::string& args) const {
        const fs::path out = m_dir / "stdout.txt", err = m_dir / "stderr.txt";
        const std::string command = quoted(m_cli) + " " + args + " >" + quoted(out.string()) + " 2>" +
                                    quoted(err.string()) + " </dev/null";
        const int status = std::system(command.c_str());
        run_result r;
        r.exit_code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
        r.out = read_text(out);
        r.err = read_text(err);
        return r;
    }

    // The data rows of `props equilibrium-air ... --csv` as text cells; the header is checked.
    std::vector<std::vector<std::string>> csv(const std::string& state) const {
        const auto r = run("props equilibrium-air " + state + " --csv");
        EXPECT_EQ(r.exit_code, 0) << state << "\n" << r.err;
        const auto lines = lines_of(r.out);
        std::vector<std::vector<std::string>> rows;
        if (lines.empty()) {
            ADD_FAILURE() << state << ": no output";
            return rows;
        }
        EXPECT_EQ(lines[0], kHeader);
        for (std::size_t i = 1; i < lines.size(); ++i) {
            rows.push_back(cells_of(lines[i]));
            EXPECT_EQ(rows.back().size(), kColumns) << lines[i];
            if (rows.back().size() != kColumns) rows.back().resize(kColumns);
        }
        return rows;
    }
    // The one row of a single state, as numbers (NaN for an empty cell).
    std::vector<double> state(const std::string& args) const {
        const auto rows = csv(args);
        std::vector<double> values(kColumns, std::nan(""));
        if (rows.size() != 1) {
            ADD_FAILURE() << args << ": " << rows.size() << " rows";
            return values;
        }
        for (std::size_t i = 0; i < kColumns; ++i)
            if (!rows[0][i].empty()) values[i] = std::stod(rows[0][i]);
        return values;
    }

    std::string m_cli;
    fs::path m_dir;
};

TEST_F(EquilibriumAirCli, CsvIsOneHeaderRowThenOneRowPerTemperature) {
    const auto r = run("props equilibrium-air --rho 0.01 --T 1000:9000:2000 --csv");
    ASSERT_EQ(r.exit_code, 0) << r.err;
    EXPECT_EQ(r.err, "");
    const auto lines = lines_of(r.out);
    ASSERT_EQ(lines.size(), 6u) << r.out;
    EXPECT_EQ(lines[0], kHeader);
    for (std::size_t i = 1; i < lines.size(); ++i) {
        const auto cells = cells_of(lines[i]);
        ASSERT_EQ(cells.size(), kColumns) << lines[i];
        EXPECT_EQ(std::stod(cells[kT]), 1000.0 + 2000.0 * static_cast<double>(i - 1));
        EXPECT_EQ(std::stod(cells[kRho]), 0.01);
        for (const auto& cell : cells)
            EXPECT_FALSE(cell.empty()) << "inside the tables every cell is set:\n" << lines[i];
    }
    // The (T, p) form has the same columns.
    const auto by_p = run("props equilibrium-air --p 1e5 --T 3000 --csv");
    ASSERT_EQ(by_p.exit_code, 0) << by_p.err;
    EXPECT_EQ(lines_of(by_p.out).at(0), kHeader);
}

// At 300 K air does not react: the engine's pressure is the ideal-gas law of 79 % N2 + 21 % O2.
TEST_F(EquilibriumAirCli, SeaLevelAirIsTheIdealGasOfUndissociatedAir) {
    const auto s = state("--rho 1.225 --T 300");
    const double expected = 1.225 * kGasConstant / kAirMolarMass * 300.0;
    EXPECT_NEAR(s[kP], expected, 0.005 * expected);
    EXPECT_EQ(s[kT], 300.0);
    EXPECT_EQ(s[kRho], 1.225);
    EXPECT_NEAR(s[kFirstX + 0], 0.79, 1e-6);  // N2
    EXPECT_NEAR(s[kFirstX + 1], 0.21, 1e-6);  // O2
    EXPECT_NEAR(s[kM], kAirMolarMassFromAtoms, 1e-9 * kAirMolarMassFromAtoms);
    // A diatomic gas with its vibration barely excited: gamma near 7/5.
    EXPECT_NEAR(s[kGamma], 1.4, 0.005);
}

// Columns that must hold together whatever the engine's accuracy: h = e + p/rho and the ideal-gas
// law with the mean molar mass, in a dissociated and ionised state.
TEST_F(EquilibriumAirCli, ColumnsAreConsistentInDissociatedAir) {
    const auto s = state("--rho 0.01 --T 8000");
    EXPECT_NEAR(s[kH], s[kE] + s[kP] / s[kRho], 1e-9 * std::fabs(s[kH]));
    EXPECT_NEAR(s[kP], s[kRho] * kGasConstant / s[kM] * s[kT], 1e-9 * s[kP]);
    // Most oxygen and much nitrogen is atomic at 8000 K and 0.01 kg/m3; electrons balance the ions.
    EXPECT_GT(s[kFirstX + 4], s[kFirstX + 1]);  // O above O2
    EXPECT_GT(s[kFirstX + 3], s[kFirstX + 0]);  // N above N2
    double ions = 0.0;
    for (std::size_t j = 5; j < 10; ++j) ions += s[kFirstX + j];
    EXPECT_NEAR(s[kFirstX + 10], ions, 1e-12);
}

TEST_F(EquilibriumAirCli, PressureFormGivesBackTheDensity) {
    for (const auto& [rho, T] : {std::pair<std::string, std::string>{"1.225", "300"},
                                 {"0.01", "8000"},
                                 {"30", "6000"},
                                 {"1e-05", "15000"},
                                 {"300", "5000"}}) {
        const auto rows = csv("--rho " + rho + " --T " + T);
        ASSERT_EQ(rows.size(), 1u);
        const std::string p = rows[0][kP];
        const auto back = state("--p " + p + " --T " + T);
        EXPECT_NEAR(back[kRho], std::stod(rho), 1e-6 * std::stod(rho)) << "p " << p << ", T " << T;
        EXPECT_NEAR(back[kP], std::stod(p), 1e-9 * std::stod(p));
        EXPECT_EQ(back[kT], std::stod(T));
    }
}

TEST_F(EquilibriumAirCli, TableColumnsAreEmptyOutsideTheTables) {
    // Behind a strong shock at high pressure: 300 kg/m3, above the tables' 100 kg/m3.
    // Below the lowest density, 1e-9 kg/m3, and above the highest temperature, 20000 K, as well.
    for (const char* args : {"--rho 300 --T 5000", "--rho 0.01 --T 25000", "--rho 1e-10 --T 3000"}) {
        const auto rows = csv(args);
        ASSERT_EQ(rows.size(), 1u) << args;
        for (std::size_t i = 0; i < kFirstTable; ++i) EXPECT_FALSE(rows[0][i].empty()) << args << ", column " << i;
        for (std::size_t i = kFirstTable; i < kColumns; ++i) EXPECT_EQ(rows[0][i], "") << args << ", column " << i;
        EXPECT_GT(std::stod(rows[0][kP]), 0.0) << args;
    }
    // The human-readable form says so.
    const auto r = run("props equilibrium-air --rho 300 --T 5000");
    ASSERT_EQ(r.exit_code, 0) << r.err;
    EXPECT_NE(r.out.find("outside the tables"), std::string::npos) << r.out;
    EXPECT_EQ(r.out.find("tables  difference"), std::string::npos) << r.out;
}

TEST_F(EquilibriumAirCli, TableColumnsInsideTheTablesAgreeWithTheEngine) {
    // And in the lowest decades of density, where air dissociates at the lowest temperatures.
    for (const char* args : {"--rho 0.01 --T 5000", "--rho 1e-7 --T 3000"}) {
        const auto s = state(args);
        const std::pair<std::size_t, const char*> pairs[] = {{kP, "p"}, {kE, "e"},   {kGamma, "gamma"},  {kCp, "cp"},
                                                             {kM, "M"}, {kMu, "mu"}, {kLambda, "lambda"}};
        for (std::size_t k = 0; k < 7; ++k) {
            const auto [engine, name] = pairs[k];
            const double table = s[kFirstTable + k];
            ASSERT_FALSE(std::isnan(table)) << args << ": table_" << name << " is empty";
            EXPECT_NEAR(table, s[engine], 0.01 * std::fabs(s[engine])) << args << ": " << name;
        }
        // The tables' equilibrium speed of sound is the engine's; their sqrt(p gamma/rho) is not
        // below it (the two differ where the composition changes with density).
        EXPECT_NEAR(s[kTableAEq], s[kA], 0.005 * s[kA]) << args;
        EXPECT_GE(s[kTableA], 0.999 * s[kTableAEq]) << args;
    }
}

// Below the engine's species data (200 K) the tables answer alone: a 50 K wind-tunnel stream at
// 1 atm is frozen ideal air of rho = p M/(R T) = 101325 * 0.0288503 / (8.314462618 * 50) =
// 7.0317 kg/m3, and its engine cells but T and rho stay empty.
TEST_F(EquilibriumAirCli, BelowTheSpeciesDataTheTablesAnswerAlone) {
    const auto rows = csv("--p 101325 --T 50");
    ASSERT_EQ(rows.size(), 1u);
    EXPECT_EQ(rows[0][kT], "50");
    EXPECT_NEAR(std::stod(rows[0][kRho]), 7.0317, 1e-4 * 7.0317);
    for (const std::size_t i : {kP, kE, kH, kCp, kGamma, kM, kA, kMu, kLambda, kFirstX}) EXPECT_EQ(rows[0][i], "") << i;
    EXPECT_NEAR(std::stod(rows[0][kFirstTable]), 101325.0, 1e-6 * 101325.0);
    EXPECT_NEAR(std::stod(rows[0][kFirstTable + 2]), 1.4, 1e-3);  // gamma of diatomic air
    EXPECT_NEAR(std::stod(rows[0][kTableAEq]), std::sqrt(1.4 * kGasConstant * 50.0 / kAirMolarMassFromAtoms),
                1e-3 * 141.7);
    const auto r = run("props equilibrium-air --rho 7 --T 100");
    ASSERT_EQ(r.exit_code, 0) << r.err;
    EXPECT_NE(r.out.find("the engine has no answer"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("the tables alone"), std::string::npos) << r.out;
}

TEST_F(EquilibriumAirCli, MoleFractionsAddUpToOne) {
    for (const char* args : {"--rho 1.225 --T 300", "--rho 0.01 --T 5000", "--rho 0.01 --T 8000",
                             "--rho 1e-05 --T 15000", "--rho 300 --T 5000", "--p 1e5 --T 20000"}) {
        const auto s = state(args);
        double sum = 0.0;
        for (std::size_t j = 0; j < kSpecies; ++j) {
            EXPECT_GE(s[kFirstX + j], 0.0) << args << ", species " << j;
            sum += s[kFirstX + j];
        }
        EXPECT_NEAR(sum, 1.0, 1e-9) << args;
    }
}

TEST_F(EquilibriumAirCli, HumanReadableFormShowsEngineTablesAndSpecies) {
    const auto r = run("props equilibrium-air --rho 0.01 --T 8000");
    ASSERT_EQ(r.exit_code, 0) << r.err;
    EXPECT_NE(r.out.find("enthalpies of formation (zero for N2 and O2 at 298.15 K)"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("T = 8000 K, rho = 0.01 kg/m3"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("engine        tables  difference"), std::string::npos) << r.out;
    for (const char* name : {"p [Pa]", "e [J/kg]", "h [J/kg]", "cp [J/(kg K)]", "gamma", "M [kg/mol]", "a [m/s]",
                             "mu [Pa s]", "lambda [W/(m K)]"})
        EXPECT_NE(r.out.find(std::string("\n  ") + name + " "), std::string::npos) << name << "\n" << r.out;
    for (const char* species : {"N2", "O2", "NO", "N", "O", "N2+", "O2+", "NO+", "N+", "O+", "e-"})
        EXPECT_NE(r.out.find(std::string("\n  ") + species + " "), std::string::npos) << species << "\n" << r.out;

    // The (T, p) form names the density it found.
    const auto by_p = run("props equilibrium-air --p 101325 --T 300");
    ASSERT_EQ(by_p.exit_code, 0) << by_p.err;
    EXPECT_NE(by_p.out.find("T = 300 K, p = 101325 Pa: rho = 1.17"), std::string::npos) << by_p.out;
}

TEST_F(EquilibriumAirCli, BadRequestsExitNonZeroWithAMessage) {
    const std::pair<std::string, std::string> cases[] = {
        {"--T 300", "exactly one of --rho and --p"},
        {"--rho 1 --p 1e5 --T 300", "exactly one of --rho and --p, not both"},
        {"--rho -1 --T 300", "--rho -1: must be a finite number above 0 kg/m3"},
        {"--rho 0 --T 300", "--rho 0: must be a finite number above 0 kg/m3"},
        {"--p -1e5 --T 300", "--p -1e+05: must be a finite number above 0 Pa"},
        {"--rho 1 --T 0", "the temperature must be above 0 K"},
        {"--rho 1 --T 300 --Y 1", "fixed composition"},
        // Far above the species data (20000 K) the engine finds no equilibrium.
        {"--rho 1.225 --T 1e7", "equilibrium-air at T = 1e+07 K, rho = 1.225 kg/m3: the equilibrium engine did "
                                "not converge"},
        {"--p 1e5 --T 1e7", "equilibrium-air at T = 1e+07 K, p = 1e+05 Pa: the equilibrium engine did not converge"},
    };
    for (const auto& [args, message] : cases) {
        for (const char* form : {"", " --csv"}) {
            const auto r = run("props equilibrium-air " + args + form);
            EXPECT_NE(r.exit_code, 0) << args << form;
            EXPECT_EQ(r.out, "") << args << form;
            EXPECT_NE(r.err.find(message), std::string::npos) << args << form << "\n" << r.err;
        }
    }
    // A failure anywhere in a range of temperatures prints no row at all (10000 K solves, 1e7 K not).
    const auto range = run("props equilibrium-air --rho 1 --T 10000:10000000:9990000 --csv");
    EXPECT_EQ(range.exit_code, 1);
    EXPECT_EQ(range.out, "");

    // --rho belongs to equilibrium-air; other media still need --p.
    auto r = run("props air --rho 1.2 --T 300");
    EXPECT_NE(r.exit_code, 0);
    EXPECT_NE(r.err.find("--rho is only for equilibrium-air"), std::string::npos) << r.err;
    r = run("props air --T 300");
    EXPECT_NE(r.exit_code, 0);
    EXPECT_NE(r.err.find("--p is required"), std::string::npos) << r.err;
}

}  // namespace
