// props and invert on the real-gas media: the phase and x columns, the (rho, e) inversion and its
// round trip with props, the note that names a real-gas material when an ideal gas is asked where
// the real fluid is far from ideal, and the usage errors of invert.
#include <gtest/gtest.h>

#include <sys/wait.h>

#include <cstdio>
#include <sstream>
#include <string>
#include <vector>

namespace {

struct run_result {
    int exit_code = -1;
    std::string out;
};

#ifdef MP_CLI_PATH
run_result run(const std::string& args, bool with_errors = false) {
    const std::string command = std::string(MP_CLI_PATH) + " " + args + (with_errors ? " 2>&1" : " 2>/dev/null");
    run_result r;
    FILE* pipe = popen(command.c_str(), "r");
    if (pipe == nullptr) return r;
    char buffer[4096];
    for (std::size_t n; (n = std::fread(buffer, 1, sizeof buffer, pipe)) > 0;) r.out.append(buffer, n);
    const int status = pclose(pipe);
    r.exit_code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return r;
}
#endif

std::vector<std::vector<std::string>> csv_rows(const std::string& text) {
    std::vector<std::vector<std::string>> rows;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) {
        std::vector<std::string> f;
        std::size_t start = 0;
        for (std::size_t comma; (comma = line.find(',', start)) != std::string::npos; start = comma + 1)
            f.push_back(line.substr(start, comma - start));
        f.push_back(line.substr(start));
        rows.push_back(f);
    }
    return rows;
}

}  // namespace

TEST(CliRealGasMedia, PropsShowsThePhaseAndTheVapourFraction) {
#ifndef MP_CLI_PATH
    GTEST_SKIP() << "the command-line program is not part of this build";
#else
    const run_result r = run("props CO2-real --p 8e6 --T 290:340:25 --csv");
    ASSERT_EQ(r.exit_code, 0);
    const auto rows = csv_rows(r.out);
    ASSERT_EQ(rows.size(), 4u) << r.out;
    ASSERT_EQ(rows[0].size(), 12u);
    EXPECT_EQ(rows[0][10], "phase");
    EXPECT_EQ(rows[0][11], "x");
    EXPECT_EQ(rows[1][10], "liquid");         // 290 K, below Tc at 8 MPa > psat
    EXPECT_EQ(rows[2][10], "supercritical");  // 315 K
    EXPECT_EQ(rows[3][10], "supercritical");
    EXPECT_EQ(rows[1][11], "");
    // across the pseudo-critical line the density falls by more than a factor of two
    EXPECT_GT(std::stod(rows[1][2]), 2.0 * std::stod(rows[3][2]));
    // the ideal gas's columns stay as they were
    const auto ideal = csv_rows(run("props air --p 1e5 --T 300 --csv").out);
    EXPECT_EQ(ideal[0].size(), 10u);
#endif
}

TEST(CliRealGasMedia, InvertThroughTheDomeAndFromDensityAndEnergy) {
#ifndef MP_CLI_PATH
    GTEST_SKIP() << "the command-line program is not part of this build";
#else
    const auto l = csv_rows(run("props R134a-two-phase --p 1e6 --T 300 --csv").out);
    const auto v = csv_rows(run("props R134a-two-phase --p 1e6 --T 340 --csv").out);
    ASSERT_EQ(l.size(), 2u);
    ASSERT_EQ(v.size(), 2u);
    EXPECT_EQ(l[1][10], "liquid");
    EXPECT_EQ(v[1][10], "vapour");
    // half-way between the liquid at 300 K and the vapour at 340 K lies inside the dome
    const double H = 0.5 * (std::stod(l[1][3]) + std::stod(v[1][3]));
    const auto mid = csv_rows(run("invert R134a-two-phase --p 1e6 --H " + std::to_string(H) + " --csv").out);
    ASSERT_EQ(mid.size(), 2u);
    ASSERT_EQ(mid[0].size(), 11u);
    EXPECT_EQ(mid[1][9], "two-phase");
    const double x = std::stod(mid[1][10]);
    EXPECT_GT(x, 0.2);
    EXPECT_LT(x, 0.8);
    // (rho, e) of a props state comes back to its p and T
    const auto s = csv_rows(run("props CO2-real --p 8e6 --T 310 --csv").out);
    const double rho = std::stod(s[1][2]), h = std::stod(s[1][3]);
    const double e = h - 8e6 / rho;
    const auto back = csv_rows(run("invert CO2-real --rho " + s[1][2] + " --e " + std::to_string(e) + " --csv").out);
    ASSERT_EQ(back.size(), 2u);
    EXPECT_NEAR(std::stod(back[1][0]), 310.0, 1e-4);
    EXPECT_NEAR(std::stod(back[1][8]), 8e6, 1.0);
    EXPECT_EQ(back[1][9], "supercritical");
    // usage: --rho without --e, --p with --rho, neither
    EXPECT_EQ(run("invert CO2-real --rho 300").exit_code, 2);
    EXPECT_EQ(run("invert CO2-real --p 1e6 --rho 300 --e 1e5").exit_code, 2);
    EXPECT_EQ(run("invert CO2-real").exit_code, 2);
#endif
}

TEST(CliRealGasMedia, AnIdealGasFarFromIdealNamesItsRealGas) {
#ifndef MP_CLI_PATH
    GTEST_SKIP() << "the command-line program is not part of this build";
#else
    const run_result far = run("props CO2 --p 8e6 --T 310", true);
    EXPECT_EQ(far.exit_code, 0);
    EXPECT_NE(far.out.find("note: CO2 is an ideal gas; at p = 8000000 Pa and T = 310 K the real gas CO2-real has Z = "),
              std::string::npos)
        << far.out;
    const run_result near = run("props CO2 --p 1e5 --T 400", true);
    EXPECT_EQ(near.out.find("CO2-real"), std::string::npos) << near.out;
    const auto n2 = csv_rows(run("props N2 --p 2e7 --T 150 --csv").out);
    ASSERT_EQ(n2.size(), 2u);
    const run_result inverted = run("invert N2 --p 2e7 --H " + n2[1][3] + " --T0 140", true);
    EXPECT_EQ(inverted.exit_code, 0);
    EXPECT_NE(inverted.out.find("use N2-real"), std::string::npos) << inverted.out;
    // the library stays silent: no such line among its own
    EXPECT_EQ(far.out.find("library: "), std::string::npos) << far.out;
#endif
}
