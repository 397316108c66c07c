// The command line over the two-phase media: props takes a VOF medium's volume fractions with
// --alpha and refuses bad ones with a reason and exit code 1; save and inspect carry the VOF
// medium and the cavitating water.
#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <string>

namespace {

struct run_result {
    int exit_code = -1;
    std::string out;
};

#ifdef MP_CLI_PATH
// stdout and stderr of the program with `args`.
run_result run(const std::string& args) {
    const std::string command = std::string(MP_CLI_PATH) + " " + args + " 2>&1";
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

}  // namespace

TEST(CliTwoPhase, PropsTakesVolumeFractionsAndRefusesBadOnes) {
#ifndef MP_CLI_PATH
    GTEST_SKIP() << "the command-line program is not part of this build";
#else
    // rho = 0.2 rho_air + 0.8 rho_water: the csv's third column.
    const auto air = run("props air --p 100000 --T 293.15 --csv");
    const auto water = run("props water --p 100000 --T 293.15 --csv");
    const auto vof = run("props air-water-vof --p 100000 --T 293.15 --alpha 0.2,0.8 --csv");
    ASSERT_EQ(vof.exit_code, 0) << vof.out;
    const auto column3 = [](const std::string& csv) {
        const std::string row = csv.substr(csv.rfind('\n', csv.size() - 2) + 1);
        std::size_t a = row.find(',');
        a = row.find(',', a + 1);
        return std::stod(row.substr(a + 1));
    };
    const double expected = 0.2 * column3(air.out) + 0.8 * column3(water.out);
    EXPECT_NEAR(column3(vof.out), expected, 1e-12 * expected);
    for (const auto& [alpha, reason] :
         {std::pair<std::string, std::string>{"0.2,0.7", "do not sum to 1"}, {"-0.2,1.2", "outside [0, 1]"},
          {"nan,1", "not a finite number"}, {"0.5,0.25,0.25", "has 2 phases"}}) {
        const auto r = run("props air-water-vof --p 100000 --T 293.15 --alpha " + alpha);
        EXPECT_EQ(r.exit_code, 1) << alpha << ": " << r.out;
        EXPECT_NE(r.out.find(reason), std::string::npos) << alpha << ": " << r.out;
    }
    EXPECT_EQ(run("props water --p 100000 --T 293.15 --alpha 1").exit_code, 1);
#endif
}

TEST(CliTwoPhase, SaveAndInspectCarryTheTwoPhaseMedia) {
#ifndef MP_CLI_PATH
    GTEST_SKIP() << "the command-line program is not part of this build";
#else
    const auto file = std::filesystem::temp_directory_path() / ("mp_cli_two_phase_" + std::to_string(::getpid()) + ".mpf");
    const auto saved = run("save -o " + file.string() + " air water air-water-vof water-cavitating");
    ASSERT_EQ(saved.exit_code, 0) << saved.out;
    const auto r = run("inspect " + file.string());
    std::filesystem::remove(file);
    EXPECT_EQ(r.exit_code, 0) << r.out;
    EXPECT_NE(r.out.find("loads with 3 substances and 4 media"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("Free surface VOF thermodynamics: Ideal gas thermodynamics + Incompressible liquid "
                         "thermodynamics"),
              std::string::npos)
        << r.out;
    EXPECT_NE(r.out.find("kind 4   Isothermal cavitation thermodynamics"), std::string::npos) << r.out;
#endif
}
