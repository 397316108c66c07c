// A project saved by the library whose equilibrium-air tables had seven tables, 32 bands of density
// from 1e-6 kg/m3 and temperatures from 200 K: tests/hypersonic/data/equilibrium_air_v1.substance
// is the substance record of equilibrium air cut, byte for byte, out of the saved project of every
// built-in medium as that library wrote it. A project holding it must still load and answer
// exactly what that library answered (equilibrium_air_v1_answers.txt, its answers as hexadecimal
// floats at states in and around its tables), and save the same record again; asked for the
// equilibrium sound speed, which it cannot know, it answers its a.
#include <gtest/gtest.h>

#include <any>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "file_io/c_file_io/c_file_io.h"
#include "medium_physics/i_medium_physics.h"
#include "medium_physics/standalone_host.h"
#include "support/committed_lines.h"

namespace {

using bytes = std::vector<std::uint8_t>;

const std::string kOldRecordFile = std::string(MP_SOURCE_DIR) + "/tests/hypersonic/data/equilibrium_air_v1.substance";
const std::string kOldAnswersFile =
    std::string(MP_SOURCE_DIR) + "/tests/hypersonic/data/equilibrium_air_v1_answers.txt";

bytes read_file(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    EXPECT_TRUE(in) << path;
    return bytes{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// A project of one hypersonic medium over the given substance record, in the factory's stream
// format: the factory's version byte; the substance part (version, one entry: cache tag 8, the
// substance's identifier, its record); the registry part (version, one medium: kind 9, the
// medium's record: version 0, its identity, the substance's identifier).
bytes project_around(const bytes& substance_record) {
    C_file_io s;
    s.open_memory();
    s.put<std::uint8_t>(0);
    s.put<std::uint8_t>(0);
    s.put<std::int32_t>(1);
    s.put<std::int32_t>(8);
    s.write(substance_record.data() + 1, 16);  // the record's identifier follows its version byte
    s.write(substance_record.data(), substance_record.size());
    s.put<std::uint8_t>(0);
    s.put<std::int32_t>(1);
    s.put<std::int32_t>(9);
    s.put<std::int32_t>(0);
    for (std::uint8_t b = 0; b < 16; ++b) s.put<std::uint8_t>(static_cast<std::uint8_t>(0xA0 + b));
    s.write(substance_record.data() + 1, 16);
    return s.memory_bytes();
}

template <class I>
std::shared_ptr<I> as(const fluid_ptr& medium) {
    std::any request = std::shared_ptr<I>();
    if (medium->query_interface(request) != MP_STATUS_OK) return nullptr;
    return std::any_cast<std::shared_ptr<I>>(request);
}

// Every operation of the medium at (T, rho) and at the tables' own p and e there, one line each.
std::string answers(const fluid_ptr& medium) {
    const auto common = as<I_solver__fluid_thermodynamics_common>(medium);
    const auto re = as<I_solver__thermodynamics_Rho_E>(medium);
    const auto hs = as<I_solver_hypersonic_gas>(medium);
    const auto ig = as<I_fluid_ideal_gas>(medium);
    EXPECT_TRUE(common && re && hs && ig);
    if (!(common && re && hs && ig)) return {};
    std::ostringstream out;
    const auto line = [&out](const std::string& what, std::initializer_list<double> values) {
        out << what;
        for (const double v : values) {
            char text[64];
            std::snprintf(text, sizeof text, " %a", v);
            out << text;
        }
        out << "\n";
    };
    const double Y[1] = {1.0};
    for (const double T : {50.0, 120.0, 200.0, 250.0, 300.0, 1000.0, 3000.0, 6500.0, 9000.0, 15000.0, 20000.0, 25000.0})
        for (const double rho : {1e-10, 1e-8, 1e-7, 8e-7, 1e-6, 1e-5, 0.01, 1.225, 50.0, 100.0, 300.0}) {
            char at[64];
            std::snprintf(at, sizeof at, "T=%g rho=%g ", T, rho);
            const std::string prefix(at);
            double p, e, cp, gamma, M, a, mu, lambda;
            hs->get_properties_T_rho(T, rho, Y, &p, &e, &cp, &gamma, &M, &a, &mu, &lambda);
            line(prefix + "T_rho", {p, e, cp, gamma, M, a, mu, lambda});
            double r[8];
            re->get_properties_rho_e(e, rho, Y, T, &r[0], &r[1], &r[2], &r[3], &r[4], &r[5], &r[6], &r[7]);
            line(prefix + "rho_e", {r[0], r[1], r[2], r[3], r[4], r[5], r[6], r[7]});
            re->get_properties_p_rho(p, rho, Y, 0.0, &r[0], &r[1], &r[2], &r[3], &r[4], &r[5], &r[6], &r[7]);
            line(prefix + "p_rho", {r[0], r[1], r[2], r[3], r[4], r[5], r[6], r[7]});
            common->get_properties_p_T(p, T, Y, &r[0], &r[1], &r[2], &r[3], &r[4], &r[5], &r[6], &r[7]);
            line(prefix + "p_T", {r[0], r[1], r[2], r[3], r[4], r[5], r[6], r[7]});
            const double h = e + p / rho;
            line(prefix + "common",
                 {common->get_cp(p, T, Y), common->get_viscosity(p, T, Y), common->get_conductivity(p, T, Y),
                  common->get_prandtl(p, T, Y), common->get_temperature_from_enthalpy(h, p, Y, 0.0, 0.9 * T + 20.0),
                  ig->density_p_T(p, T, Y), ig->pressure_rho_T(rho, T, Y)});
            line(prefix + "closures",
                 {re->get_gamma(T, Y), re->get_sound_speed_e(e, Y), re->get_energy_p_rho(p / rho, Y),
                  re->get_pressure_rho_e(e, rho, Y), re->get_temperature_e(e, Y)});
        }
    return out.str();
}

std::shared_ptr<I_medium_physics> make_factory() {
    std::shared_ptr<I_medium_physics> f;
    EXPECT_EQ(create_medium_physics(f, std::make_shared<standalone_host::CStandaloneHost>(1)), MP_STATUS_OK);
    return f;
}

}  // namespace

TEST(HypersonicOldRecord, AProjectOfTheSevenTableRecordLoadsAnswersAndSavesAsBefore) {
    const bytes record = read_file(kOldRecordFile);
    ASSERT_EQ(record.size(), 2159886u);  // 53 bytes of the substance, 57 + 32 x (13 + 7 x 241 x 5 x 8) of tables
    const bytes project = project_around(record);
    auto factory = make_factory();
    {
        C_file_io s;
        s.open_memory(project);
        ASSERT_EQ(factory->Load(s), MP_STATUS_OK);
    }
    // Saved again, the project is the same bytes: the old record is written in its own form.
    {
        C_file_io s;
        s.open_memory();
        ASSERT_EQ(factory->Save(s), MP_STATUS_OK);
        EXPECT_TRUE(s.memory_bytes() == project);
    }
    host_guid id;
    for (std::uint8_t b = 0; b < 16; ++b) id.bytes[b] = static_cast<std::uint8_t>(0xA0 + b);
    fluid_ptr medium;
    ASSERT_EQ(factory->FindThermodynamics(id, medium), MP_STATUS_OK);
    const std::string now = answers(medium);
    // The answers file was written on the code that wrote the record; rewriting it on any other
    // code would defeat this test.
    if (std::getenv("MP_WRITE_OLD_RECORD_ANSWERS") != nullptr) {
        std::ofstream(kOldAnswersFile, std::ios::binary | std::ios::trunc) << now;
        GTEST_SKIP() << "wrote " << kOldAnswersFile;
    }
    EXPECT_EQ(test_support::expect_committed_lines(kOldAnswersFile, now), 12 * 11 * 6);  // six lines at 12 x 11 states

    // The record has no isentropic exponent: the equilibrium sound speed it answers is its a,
    // sqrt(p gamma / rho), and kappa its gamma, bit for bit.
    const auto sound = as<I_solver_equilibrium_sound_speed>(medium);
    const auto hs = as<I_solver_hypersonic_gas>(medium);
    const auto re = as<I_solver__thermodynamics_Rho_E>(medium);
    ASSERT_TRUE(sound && hs && re);
    for (const double T : {120.0, 300.0, 3000.0, 9000.0, 25000.0})
        for (const double rho : {1e-8, 1e-6, 0.01, 50.0}) {
            double p, e, cp, gamma, M, a, mu, lambda, a_eq, kappa;
            hs->get_properties_T_rho(T, rho, nullptr, &p, &e, &cp, &gamma, &M, &a, &mu, &lambda);
            sound->get_equilibrium_sound_speed_T_rho(T, rho, nullptr, &a_eq, &kappa);
            EXPECT_EQ(a_eq, a) << T << " " << rho;
            EXPECT_EQ(kappa, gamma) << T << " " << rho;
            double r[8];
            re->get_properties_rho_e(e, rho, nullptr, T, &r[0], &r[1], &r[2], &r[3], &r[4], &r[5], &r[6], &r[7]);
            sound->get_equilibrium_sound_speed_rho_e(e, rho, nullptr, T, &a_eq, &kappa);
            EXPECT_EQ(a_eq, r[5]) << T << " " << rho;
        }
}
