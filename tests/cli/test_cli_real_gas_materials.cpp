// The real-gas commands take the real-gas materials (data/materials/real_gases.json): a material by
// its own name and by its name without "-real" give the same numbers, the explicit critical data
// of a material give its saturation line, and a real-gas medium saves to a file that 'inspect'
// reads.
#include <gtest/gtest.h>

#include <sys/wait.h>

#include <cstdio>
#include <string>

namespace {

struct run_result {
    int exit_code = -1;
    std::string out;
};

#ifdef MP_CLI_PATH
// stdout of the program with `args`, stderr folded in when `with_errors`.
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

}  // namespace

TEST(CliRealGasMaterials, AMaterialAnswersByItsNameAndByItsShortName) {
#ifndef MP_CLI_PATH
    GTEST_SKIP() << "the command-line program is not part of this build";
#else
    for (const std::string command : {"eos", "saturation"}) {
        const std::string state = command == "eos" ? " --p 4e6 --T 320 --csv" : " --T 220:300:40 --csv";
        const run_result a = run(command + " CO2-real" + state), b = run(command + " CO2" + state);
        EXPECT_EQ(a.exit_code, 0) << command;
        EXPECT_EQ(a.out, b.out) << command;
        EXPECT_GT(a.out.size(), 60u) << a.out;
    }
    // R134a has no "-real" form; its material is named so.
    EXPECT_EQ(run("eos R134a --p 4e4 --T 440 --csv").exit_code, 0);
    // An ideal-gas material is no real-gas fluid: CO2 is taken as CO2-real, air is refused.
    const run_result air = run("eos air --p 1e5 --T 300", true);
    EXPECT_EQ(air.exit_code, 1);
    EXPECT_NE(air.out.find("unknown fluid \"air\""), std::string::npos) << air.out;
    EXPECT_NE(air.out.find("CO2-real"), std::string::npos) << air.out;
#endif
}

TEST(CliRealGasMaterials, ExplicitCriticalDataOfAMaterialGiveItsNumbers) {
#ifndef MP_CLI_PATH
    GTEST_SKIP() << "the command-line program is not part of this build";
#else
    // N2's data as critical_properties.json holds them.
    const run_result a = run("saturation N2-real --T 80:120:10 --csv");
    const run_result b =
        run("saturation --Tc 126.2 --pc 3390000 --Zc 0.2894 --omega 0.038 --M 0.028014 --T 80:120:10 --csv");
    EXPECT_EQ(a.exit_code, 0);
    EXPECT_EQ(a.out, b.out);
    // The rgtable default rectangle of a material is its own (round(0.72 Tc) .. round(1.65 Tc)).
    const run_result table = run("rgtable N2 --samples 10");
    EXPECT_EQ(table.exit_code, 0);
    EXPECT_NE(table.out.find("N2: regular table over p = 100000 .. 2e+07 Pa, T = 91 .. 208 K"), std::string::npos)
        << table.out;
#endif
}

TEST(CliRealGasMaterials, ARealGasMediumSavesAndInspectReadsIt) {
#ifndef MP_CLI_PATH
    GTEST_SKIP() << "the command-line program is not part of this build";
#else
    const std::string file = ::testing::TempDir() + "co2-real-medium.mpf";
    const run_result r = run("save -o " + file + " CO2-real", true);
    EXPECT_EQ(r.exit_code, 0) << r.out;
    const run_result inspect = run("inspect " + file, true);
    EXPECT_EQ(inspect.exit_code, 0) << inspect.out;
    EXPECT_NE(inspect.out.find("kind 5  Real gas thermodynamics"), std::string::npos) << inspect.out;
    const run_result two_phase = run("save -o " + file + " co2-srk", true);
    EXPECT_EQ(two_phase.exit_code, 0) << two_phase.out;
    EXPECT_NE(run("inspect " + file, true).out.find("kind 6  Real gas with phase change thermodynamics"), std::string::npos);
    std::remove(file.c_str());
    const run_result info = run("info");
    EXPECT_NE(info.out.find("R134a"), std::string::npos);
    EXPECT_NE(info.out.find("real_gases.json"), std::string::npos);
#endif
}
