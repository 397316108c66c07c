// What the built-in media answer and save must not change when code moves or is folded:
//  - the saved stream of a factory holding every built-in material and medium, byte for byte
//    against tests/integration/data/builtin_media.mpf (identifiers of the media come from a seeded generator,
//    so the stream is reproducible; the substances' identifiers are the materials' own);
//  - every property operation of every built-in medium at a few states, bit for bit against
//    tests/integration/data/builtin_numbers.txt (hexadecimal floats).
//
// To write the files anew after a deliberate change (say why in the commit):
//   MP_WRITE_GOLDEN=1 ./mp_tests --gtest_filter='Golden*'
#include <gtest/gtest.h>

#include <any>
#include <cstdint>
#include <cstdio>
#include <sstream>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "file_io/c_file_io/c_file_io.h"
#include "medium_physics/i_medium_physics.h"
#include "medium_physics/standalone_host.h"
#include "support/committed_lines.h"

namespace {

const std::string kNumbersFile = std::string(MP_SOURCE_DIR) + "/tests/integration/data/builtin_numbers.txt";
const std::string kGoldenFile = std::string(MP_SOURCE_DIR) + "/tests/integration/data/builtin_media.mpf";
constexpr std::uint64_t kIdentifierSeed = 20261123;

std::vector<std::uint8_t> save_every_builtin_medium() {
    standalone_host::material_library library;
    library.add_directory(std::string(MP_SOURCE_DIR) + "/data/materials");
    std::shared_ptr<I_medium_physics> factory;
    EXPECT_EQ(create_medium_physics(factory, std::make_shared<standalone_host::CStandaloneHost>()), MP_STATUS_OK);
    standalone_host::seed_identifiers(kIdentifierSeed);
    // Every medium of the data files, then every fluid material alone (in file order), then the
    // solids and the obsolete placeholder.
    std::vector<standalone_host::medium_definition> media = library.media();
    for (const auto& m : library.materials())
        if (!m->is_solid()) media.push_back(*library.find_medium(m->name_utf8()));
    for (const auto& m : media) {
        fluid_ptr out;
        std::string why;
        const std::int32_t status = standalone_host::create_medium(*factory, library, m, true, out, &why);
        // Media of a kind this build does not create yet (the real gases) are not in the stream.
        if (status == MP_STATUS_UNSUPPORTED) continue;
        EXPECT_EQ(status, MP_STATUS_OK) << m.name << ": " << why;
    }
    for (const auto& m : library.materials()) {
        if (!m->is_solid()) continue;
        std::shared_ptr<MED_PHYSICS::I_diffusion_coefficient> solid;
        EXPECT_EQ(standalone_host::create_solid(*factory, library, m->name_utf8(), {1, 0, 0, 0, 1, 0, 0, 0, 1}, solid),
                  MP_STATUS_OK);
    }
    fluid_ptr obsolete;
    EXPECT_EQ(factory->CreateCavitationObsoleteThermodynamics(0.25, true, obsolete), MP_STATUS_OK);
    C_file_io stream;
    stream.open_memory();
    EXPECT_EQ(factory->Save(stream), MP_STATUS_OK);
    return stream.memory_bytes();
}

}  // namespace

TEST(GoldenStream, EveryBuiltInMediumSavesTheCommittedBytes) {
    const std::vector<std::uint8_t> saved = save_every_builtin_medium();
    if (std::getenv("MP_WRITE_GOLDEN") != nullptr) {
        std::ofstream out(kGoldenFile, std::ios::binary | std::ios::trunc);
        out.write(reinterpret_cast<const char*>(saved.data()), static_cast<std::streamsize>(saved.size()));
        GTEST_SKIP() << "wrote " << kGoldenFile;
    }
    std::ifstream in(kGoldenFile, std::ios::binary);
    ASSERT_TRUE(in) << kGoldenFile;
    const std::vector<std::uint8_t> golden{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    std::size_t first = 0;
    while (first < saved.size() && first < golden.size() && saved[first] == golden[first]) ++first;
    EXPECT_EQ(saved.size(), golden.size());
    EXPECT_EQ(first, golden.size()) << "the streams differ from byte " << first
                                    << " on (medium-physics inspect shows the record there)";
}

TEST(GoldenStream, TheCommittedStreamLoadsAndSavesUnchanged) {
    std::ifstream in(kGoldenFile, std::ios::binary);
    ASSERT_TRUE(in) << kGoldenFile;
    const std::vector<std::uint8_t> golden{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    std::shared_ptr<I_medium_physics> factory;
    ASSERT_EQ(create_medium_physics(factory, std::make_shared<standalone_host::CStandaloneHost>()), MP_STATUS_OK);
    C_file_io source;
    source.open_memory(golden);
    ASSERT_EQ(factory->Load(source), MP_STATUS_OK);
    C_file_io again;
    again.open_memory();
    ASSERT_EQ(factory->Save(again), MP_STATUS_OK);
    EXPECT_TRUE(again.memory_bytes() == golden);
}

namespace {

template <class I>
std::shared_ptr<I> as(const fluid_ptr& medium) {
    std::any request = std::shared_ptr<I>();
    if (medium->query_interface(request) != MP_STATUS_OK) return nullptr;
    return std::any_cast<std::shared_ptr<I>>(request);
}

// One line per operation: its name and its results as hexadecimal floats (exact).
class number_log {
public:
    void add(const std::string& what, std::initializer_list<double> values) {
        m_out << what;
        for (const double v : values) {
            char text[64];
            std::snprintf(text, sizeof text, " %a", v);
            m_out << text;
        }
        m_out << "\n";
    }
    std::string text() const { return m_out.str(); }

private:
    std::ostringstream m_out;
};

void log_medium(number_log& log, const std::string& name, const fluid_ptr& medium, const std::vector<double>& Y,
                const std::vector<double>& pressures, const std::vector<double>& temperatures) {
    const auto common = as<I_solver__fluid_thermodynamics_common>(medium);
    const auto ph = as<I_solver__thermodynamics_P_H>(medium);
    const auto re = as<I_solver__thermodynamics_Rho_E>(medium);
    const auto nn = as<I_solver__incompressible_non_newton_liquid>(medium);
    const auto hs = as<I_solver_hypersonic_gas>(medium);
    ASSERT_TRUE(common) << name;
    const double* y = Y.data();
    for (const double p : pressures) {
        for (const double T : temperatures) {
            const std::string at = name + " p=" + std::to_string(p) + " T=" + std::to_string(T) + " ";
            double rho, h, cp, gamma, M, a, mu, lambda;
            common->get_properties_p_T(p, T, y, &rho, &h, &cp, &gamma, &M, &a, &mu, &lambda);
            log.add(at + "p_T", {rho, h, cp, gamma, M, a, mu, lambda});
            const double T0 = 0.9 * T + 20.0;
            log.add(at + "common", {common->get_cp(p, T, y), common->get_viscosity(p, T, y),
                                    common->get_conductivity(p, T, y), common->get_prandtl(p, T, y),
                                    common->get_expansion_factor(p, T, y),
                                    common->get_temperature_from_enthalpy(h, p, y, 0.0, T0),
                                    common->get_dynamic_pressure_factor(T, 100.0, y),
                                    common->get_mole_fraction(p, T, y, 0), common->get_mass_fraction(p, T, y, 0)});
            if (ph) {
            const double G2 = (rho * 50.0) * (rho * 50.0);
            const double H = h + 0.5 * G2 / (rho * rho);
            double r2, T2, cp2, g2, M2, a2, mu2, l2, p2;
            ph->get_properties_p_H(H, p, y, G2, T0, &r2, &T2, &cp2, &g2, &M2, &a2, &mu2, &l2, &p2);
            log.add(at + "p_H", {r2, T2, cp2, g2, M2, a2, mu2, l2, p2});
            double r3, T3;
            ph->RhoT(H, p, y, G2, 0.9 * rho, T0, &r3, &T3);
            log.add(at + "RhoT", {r3, T3});
            log.add(at + "scalars", {ph->get_T_p_h(p, h, y), ph->get_enthalpy(p, T, y), ph->get_density(p, T, y),
                                     ph->get_sound_speed(p, T, y), ph->get_drho_dp(p, T, y),
                                     ph->get_compressibility(p, T, y)});
            }
            if (re) {
                const double e = h - p / rho;
                double p4, T4, cp4, g4, M4, a4, mu4, l4;
                re->get_properties_rho_e(e, rho, y, T0, &p4, &T4, &cp4, &g4, &M4, &a4, &mu4, &l4);
                log.add(at + "rho_e", {p4, T4, cp4, g4, M4, a4, mu4, l4});
                double e5, T5, cp5, g5, M5, a5, mu5, l5;
                re->get_properties_p_rho(p, rho, y, 0.0, &e5, &T5, &cp5, &g5, &M5, &a5, &mu5, &l5);
                log.add(at + "p_rho", {e5, T5, cp5, g5, M5, a5, mu5, l5});
                log.add(at + "closures", {re->get_gamma(T, y), re->get_sound_speed_e(e, y), re->get_energy_p_rho(p / rho, y),
                                          re->get_pressure_rho_e(e, rho, y), re->get_temperature_e(e, y)});
            }
            if (nn) log.add(at + "non_newtonian", {nn->get_non_newtonian_viscosity(p, T, y, 10.0)});
            if (hs) {
                double p6, e6, cp6, g6, M6, a6, mu6, l6;
                hs->get_properties_T_rho(T, rho, y, &p6, &e6, &cp6, &g6, &M6, &a6, &mu6, &l6);
                log.add(at + "T_rho", {p6, e6, cp6, g6, M6, a6, mu6, l6});
            }
        }
    }
}

std::string every_builtin_number() {
    standalone_host::material_library library;
    library.add_directory(std::string(MP_SOURCE_DIR) + "/data/materials");
    std::shared_ptr<I_medium_physics> factory;
    EXPECT_EQ(create_medium_physics(factory, std::make_shared<standalone_host::CStandaloneHost>()), MP_STATUS_OK);
    std::vector<standalone_host::medium_definition> media = library.media();
    for (const auto& m : library.materials())
        if (!m->is_solid()) media.push_back(*library.find_medium(m->name_utf8()));
    number_log log;
    for (const auto& m : media) {
        fluid_ptr medium;
        const std::int32_t status = standalone_host::create_medium(*factory, library, m, false, medium);
        if (status == MP_STATUS_UNSUPPORTED) continue;  // a kind this build does not create yet
        EXPECT_EQ(status, MP_STATUS_OK) << m.name;
        if (!medium) continue;
        const auto material = library.find_material(m.substances[0]);
        // (a VOF medium's composition holds its phases' fractions too: the library completes it)
        const std::vector<double> Y = library.find_medium(m.name)->mass_fractions;
        if (material->is_liquid())
            log_medium(log, m.name, medium, Y, {1e5, 1e7}, {275.0, 300.0, 340.0});
        else if (material->kind() == "hypersonic_gas")
            log_medium(log, m.name, medium, Y, {1e3, 1e5}, {300.0, 3000.0, 9000.0});
        else if (material->is_real_gas())  // inside the tables: liquid, vapour and dense states
            log_medium(log, m.name, medium, Y, {1e5, 3e6, 8e6}, {250.0, 300.0, 310.0, 400.0});
        else
            log_medium(log, m.name, medium, Y, {1e5, 3e6}, {250.0, 300.0, 700.0, 1500.0, 2800.0});
    }
    return log.text();
}

}  // namespace

TEST(GoldenNumbers, EveryBuiltInMediumAnswersTheCommittedNumbers) {
    const std::string numbers = every_builtin_number();
    if (std::getenv("MP_WRITE_GOLDEN") != nullptr) {
        std::ofstream(kNumbersFile, std::ios::binary | std::ios::trunc) << numbers;
        GTEST_SKIP() << "wrote " << kNumbersFile;
    }
    test_support::expect_committed_lines(kNumbersFile, numbers);
}

#ifdef MP_CLI_PATH
// The command line's exact numbers of the real-gas fluids and of equilibrium air, which it takes
// from the library's catalogue and engine.
TEST(GoldenNumbers, CommandLineRealGasAndEquilibriumAirNumbers) {
    const std::string file = std::string(MP_SOURCE_DIR) + "/tests/integration/data/cli_numbers.txt";
    const char* commands[] = {
        "eos CO2 --p 4e6 --T 320 --csv",
        "eos R134a --p 4e4 --T 440 --csv",
        "eos H2O --p 1e5 --T 500 --model 2 --csv",
        "saturation CO2 --T 220:300:20 --csv",
        "saturation N2 --T 80:120:10 --csv",
        "rgtable CO2 --samples 300 --csv",
        "props equilibrium-air --rho 0.01 --T 300:15000:2900 --csv",
        "props equilibrium-air --p 101325 --T 500:6500:2000 --csv",
    };
    std::string text;
    for (const char* command : commands) {
        text += "$ " + std::string(command) + "\n";
        FILE* pipe = popen((std::string(MP_CLI_PATH) + " " + command + " 2>/dev/null").c_str(), "r");
        ASSERT_NE(pipe, nullptr);
        char buffer[4096];
        for (std::size_t n; (n = std::fread(buffer, 1, sizeof buffer, pipe)) > 0;) text.append(buffer, n);
        text += "exit " + std::to_string(pclose(pipe)) + "\n";
    }
    if (std::getenv("MP_WRITE_GOLDEN") != nullptr) {
        std::ofstream(file, std::ios::binary | std::ios::trunc) << text;
        GTEST_SKIP() << "wrote " << file;
    }
    std::ifstream in(file, std::ios::binary);
    ASSERT_TRUE(in) << file;
    const std::string want{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    EXPECT_EQ(text, want);
}
#endif
