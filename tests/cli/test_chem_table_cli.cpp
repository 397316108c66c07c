// medium-physics chemtable, run as a user runs it on table files the library wrote: the header,
// the checksum state (its CRC computed here with zlib), a lookup against the analytic field, and
// exit status 1 with the reason for files that are not good table files.
#include <gtest/gtest.h>

#include <zlib.h>

#ifndef _WIN32
#include <sys/wait.h>
#include <unistd.h>
#endif

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <string>
#include <vector>

#include "tables/chem_table_support.h"
#include "file_io/c_file_io/c_file_io.h"

#if defined(MP_CLI_PATH) && !defined(_WIN32)

namespace {

namespace fs = std::filesystem;
using bytes = std::vector<std::uint8_t>;

std::string slurp(const fs::path& p) {
    std::ifstream in(p, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

class ChemTableCli : public ::testing::Test {
protected:
    void SetUp() override {
        m_dir = fs::temp_directory_path() /
                ("mp_chemtable_cli_" + std::to_string(::getpid()) + "_" +
                 ::testing::UnitTest::GetInstance()->current_test_info()->name());
        fs::remove_all(m_dir);
        fs::create_directories(m_dir);
        m_identifier = guid_of(u"0A1B2C3D-0000-4000-8000-000000000001");
    }
    void TearDown() override { fs::remove_all(m_dir); }

    static host_guid guid_of(const char16_t* text) {
        host_guid g;
        guid_utils::BuildGUIDFromString(text, g);
        return g;
    }

    struct result {
        int code = -1;
        std::string out, err;
    };
    // Runs `medium-physics chemtable` with the arguments (single words, no quoting needed).
    result run(const std::string& args) const {
        const fs::path out = m_dir / "out.txt", err = m_dir / "err.txt";
        const std::string command =
            std::string(MP_CLI_PATH) + " chemtable " + args + " >" + out.string() + " 2>" + err.string() + " </dev/null";
        const int status = std::system(command.c_str());
        return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, slurp(out), slurp(err)};
    }

    // A table file of the analytic fields, written by the library.
    template <class Table>
    fs::path table_file(const std::string& name, bool two_stream = false) {
        Table t;
        EXPECT_TRUE(chem_test::CAnalyticGenerator().generate(t, 5, 4, 3));
        t.set_two_stream(two_stream);
        t.set_stream_parameter(0.0625);
        const fs::path p = m_dir / name;
        EXPECT_TRUE(write_chem_table_file(p, t, CChemIdentifierCheck(m_identifier)));
        return p;
    }

    fs::path m_dir;
    host_guid m_identifier;
};

// The number after `label` on the line that starts with it.
double value_after(const std::string& text, const std::string& label) {
    const std::regex re("(^|\n)" + label + " +(\\S+)");
    std::smatch m;
    if (!std::regex_search(text, m, re)) return NAN;
    return std::strtod(m[2].str().c_str(), nullptr);
}

}  // namespace

TEST_F(ChemTableCli, HeaderOfAGoodFile) {
    const fs::path p = table_file<C_3d_Chem_property_PT>("A_PT.tbl", true);
    const result r = run(p.string());
    ASSERT_EQ(r.code, 0) << r.err;
    const std::string file = slurp(p);
    EXPECT_NE(r.out.find(p.string() + ": " + std::to_string(file.size()) + " bytes, a chemistry table file"),
              std::string::npos);
    EXPECT_NE(r.out.find("variant        PT (tag 1)"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("body version   1\n"), std::string::npos);
    EXPECT_NE(r.out.find("grid           5 x 4 x 3 = 60 points"), std::string::npos);
    EXPECT_NE(r.out.find("axis 1         p [Pa]: 5 points, logarithmic"), std::string::npos);
    EXPECT_NE(r.out.find("axis 2         T [K]: 4 points, linear; min 300, bound 600, step 100; grid 300 .. 600"),
              std::string::npos)
        << r.out;
    EXPECT_NE(r.out.find("fields         10 property, 2 further"), std::string::npos);
    EXPECT_NE(r.out.find("two-stream     1, stream parameter 0.0625"), std::string::npos);
    EXPECT_NE(r.out.find("check record 16 bytes"), std::string::npos);
    char crc[16];
    std::snprintf(crc, sizeof crc, "%08X",
                  static_cast<unsigned>(::crc32(0, reinterpret_cast<const Bytef*>(file.data()),
                                                static_cast<uInt>(file.size() - 16))));
    EXPECT_NE(r.out.find(std::string("checksum       valid (CRC-32 ") + crc + ")"), std::string::npos) << r.out;

    const fs::path v = table_file<C_3d_Chem_property_VT>("A_VT.tbl");
    const result rv = run(v.string());
    ASSERT_EQ(rv.code, 0) << rv.err;
    EXPECT_NE(rv.out.find("variant        VT (tag 0)"), std::string::npos);
    EXPECT_NE(rv.out.find("axis 1         v [m3/kg]"), std::string::npos);
    EXPECT_NE(rv.out.find("VT record      0, 0"), std::string::npos);
}

TEST_F(ChemTableCli, LookupMatchesTheAnalyticField) {
    const fs::path p = table_file<C_3d_Chem_property_PT>("B_PT.tbl");
    // One stream: every output is the trilinear field at (ln p, T, y), exact on this table.
    const double pressure = 3.0e5, T = 410.0, y = 0.3;
    const result r = run(p.string() + " --at 3e5,410,0.3,0.1,0.2");
    ASSERT_EQ(r.code, 0) << r.err;
    const double u1 = std::log(pressure);
    EXPECT_NEAR(value_after(r.out, "out 2"), chem_test::trilinear_field(1, u1, T, y), 1e-9) << r.out;
    EXPECT_NEAR(value_after(r.out, "out 7"), chem_test::trilinear_field(2, u1, T, y), 1e-9);
    EXPECT_NEAR(value_after(r.out, "out 1") * std::exp(chem_test::trilinear_field(0, u1, T, y)), 1.0, 1e-12);
    EXPECT_EQ(r.out.find("outside axis 1 or 2"), std::string::npos);

    const result outside = run(p.string() + " --at 1e3,410,0.3,0.1,0.2");
    ASSERT_EQ(outside.code, 0);
    EXPECT_NE(outside.out.find("note: the state lies outside axis 1 or 2"), std::string::npos);
    EXPECT_EQ(run(p.string() + " --at 1,2,3").code, 2);
}

TEST_F(ChemTableCli, AFileWithoutChecksumIsShownAsSuch) {
    C_3d_Chem_property_PT t;
    ASSERT_TRUE(chem_test::CAnalyticGenerator().generate(t, 5, 4, 3));
    C_file_io s;
    s.open(CHostString((m_dir / "plain.tbl").u16string()), CHostString(u"wb"));
    t.write(s);
    s.close();
    const result r = run((m_dir / "plain.tbl").string());
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_NE(r.out.find("checksum       none"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("check record 0 bytes"), std::string::npos);
}

TEST_F(ChemTableCli, BadFilesExitWithTheReason) {
    const fs::path good = table_file<C_3d_Chem_property_PT>("C_PT.tbl");
    const std::string content = slurp(good);
    const auto write = [&](const std::string& name, const std::string& text) {
        std::ofstream(m_dir / name, std::ios::binary) << text;
        return (m_dir / name).string();
    };
    std::string flipped = content;
    flipped[content.size() / 2] = static_cast<char>(flipped[content.size() / 2] ^ 0x04);
    struct bad {
        std::string path;
        std::string reason;
    };
    const bad cases[] = {
        {write("cut.tbl", content.substr(0, 300)), "the file ends inside a record"},
        {write("flipped.tbl", flipped), "the checksum does not match the content"},
        {write("text.tbl", "not a table at all"), "is not a chemistry table file: the record's version byte is not 0"},
        {(m_dir / "missing.tbl").string(), "no such file"},
    };
    for (const bad& c : cases) {
        const result r = run(c.path);
        EXPECT_EQ(r.code, 1) << c.path;
        EXPECT_NE(r.err.find("medium-physics chemtable: "), std::string::npos) << r.err;
        EXPECT_NE(r.err.find(c.reason), std::string::npos) << r.err;
    }
}

#endif
