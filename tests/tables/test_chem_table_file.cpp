// Table files of the chemistry tables: the file name, the restore from a good file and the
// fallback to a fresh table for every kind of bad file (truncated, wrong sizes, wrong variant,
// another substance's, a bad checksum, a missing folder, too little disk space), the write-back
// with its checksum trailer (checked with zlib directly), files of writers without a trailer, and
// processes that restore and write the same file at the same time.
#include <gtest/gtest.h>

#include <zlib.h>

#ifndef _WIN32
#include <sys/wait.h>
#include <unistd.h>
#endif

#include <cmath>
#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "tables/chem_table_support.h"
#include "file_io/c_file_io/c_file_io.h"
#include "medium_physics/standalone_host.h"

namespace {

namespace fs = std::filesystem;
using bytes = std::vector<std::uint8_t>;
using chem_test::CAnalyticGenerator;

host_guid guid(const char16_t* text) {
    host_guid g;
    EXPECT_TRUE(guid_utils::BuildGUIDFromString(text, g));
    return g;
}

bytes file_bytes(const fs::path& p) {
    std::ifstream in(p, std::ios::binary);
    return bytes(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

void write_file(const fs::path& p, const bytes& b) {
    std::ofstream out(p, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(b.data()), static_cast<std::streamsize>(b.size()));
}

// Files of the folder other than `keep`.
std::vector<std::string> other_files(const fs::path& dir, const fs::path& keep) {
    std::vector<std::string> names;
    for (const auto& e : fs::directory_iterator(dir))
        if (e.path() != keep) names.push_back(e.path().filename().string());
    return names;
}

// Lines of the captured log that contain `needle`, as (entry, whole text) for exact comparison.
std::vector<std::string> lines_with(const standalone_host::log_capture& log, const std::string& needle) {
    std::vector<std::string> out;
    for (const auto& l : log.lines())
        if (l.text.find(needle) != std::string::npos) out.push_back(l.text);
    return out;
}

class ChemTableFile : public ::testing::Test {
protected:
    void SetUp() override {
        m_dir = fs::temp_directory_path() / ("mp_chem_" + std::to_string(std::random_device()()) + "_" +
                                             ::testing::UnitTest::GetInstance()->current_test_info()->name());
        fs::remove_all(m_dir);
        fs::create_directories(m_dir);
        standalone_host::set_product_directory(CHostString(m_dir.u16string()));
        m_request.identifier = guid(u"E46DDFE0-3DB1-4BA4-85ED-B83F873B2BF1");
        m_request.n1 = 5;
        m_request.n2 = 4;
        m_request.n3 = 3;
        m_request.two_stream = true;
        m_request.stream_parameter = 0.0625;
    }
    void TearDown() override {
        standalone_host::set_product_directory(CHostString());
        std::error_code ec;
        fs::remove_all(m_dir, ec);
    }
    fs::path pt_path() const { return m_dir / "E46DDFE0-3DB1-4BA4-85ED-B83F873B2BF1_PT.tbl"; }
    CChemIdentifierCheck check() const { return CChemIdentifierCheck(m_request.identifier); }

    // Restores a PT table for m_request; returns the result and the generator's call count.
    chem_restore_result restore(C_3d_Chem_property& table, int* calls = nullptr, bool fail = false) {
        CAnalyticGenerator g;
        g.fail = fail;
        const auto c = check();
        const auto r = restore_chem_table(table, m_request, g, c, nullptr);
        if (calls != nullptr) *calls = g.calls;
        return r;
    }
    // A computed table of the requested sizes, as the generator makes it.
    void expected(C_3d_Chem_property& t) const {
        CAnalyticGenerator g;
        ASSERT_TRUE(g.generate(t, m_request.n1, m_request.n2, m_request.n3));
        t.set_two_stream(m_request.two_stream);
        t.set_stream_parameter(m_request.stream_parameter);
    }

    fs::path m_dir;
    chem_table_request m_request;
};

bool same_fields(const C_3d_Chem_property& a, const C_3d_Chem_property& b) {
    if (a.size(0) != b.size(0) || a.size(1) != b.size(1) || a.size(2) != b.size(2) || a.count_a() != b.count_a() ||
        a.count_b() != b.count_b())
        return false;
    for (std::int32_t f = 0; f < a.count_a() + a.count_b(); ++f)
        if (std::memcmp(a.field(f), b.field(f), sizeof(double) * a.cells()) != 0) return false;
    return true;
}

}  // namespace

TEST_F(ChemTableFile, NameFromProductDirectoryIdentifierOptionAndVariant) {
    EXPECT_EQ(chem_table_file_path(m_request.identifier, false, chem_variant::PT), pt_path());
    EXPECT_EQ(chem_table_file_path(m_request.identifier, true, chem_variant::VT),
              m_dir / "E46DDFE0-3DB1-4BA4-85ED-B83F873B2BF1_NOX_VT.tbl");
    C_3d_Chem_property_VT vt;
    EXPECT_STREQ(vt.file_ending(), "_VT.tbl");
}

TEST_F(ChemTableFile, FirstRunComputesAndWritesTheNextRestores) {
    standalone_host::log_capture log;
    C_3d_Chem_property_PT first;
    int calls = 0;
    ASSERT_EQ(restore(first, &calls), chem_restore_result::computed_and_saved);
    EXPECT_EQ(calls, 1);
    EXPECT_TRUE(first.two_stream());
    EXPECT_EQ(first.stream_parameter(), 0.0625);
    ASSERT_TRUE(fs::exists(pt_path()));
    EXPECT_TRUE(other_files(m_dir, pt_path()).empty()) << "no temporary file stays behind";
    const std::vector<std::string> expected_lines = {"Chemistry: Restoring previously calculated table ...\n",
                                                     "Chemistry: Restoring table failed\n"};
    EXPECT_EQ(lines_with(log, "Chemistry: Restoring"), expected_lines);

    log.clear();
    C_3d_Chem_property_PT second;
    ASSERT_EQ(restore(second, &calls), chem_restore_result::restored);
    EXPECT_EQ(calls, 0);
    EXPECT_TRUE(same_fields(first, second));
    EXPECT_TRUE(second.two_stream());
    EXPECT_EQ(second.stream_parameter(), 0.0625);
    const std::vector<std::string> restored_lines = {"Chemistry: Restoring previously calculated table ...\n",
                                                     "Chemistry: Restoring table succeeded\n"};
    EXPECT_EQ(lines_with(log, "Chemistry: Restoring"), restored_lines);
    for (const auto& l : log.lines()) EXPECT_EQ(l.entry, host_log::entry::message) << l.text;
}

TEST_F(ChemTableFile, ContentIsRecordCheckRecordAndChecksumTrailer) {
    C_3d_Chem_property_PT t;
    ASSERT_EQ(restore(t), chem_restore_result::computed_and_saved);
    const bytes b = file_bytes(pt_path());
    C_file_io s;
    s.open_memory();
    t.write(s);
    const bytes record = s.memory_bytes();
    ASSERT_EQ(b.size(), record.size() + 16 + 16);
    EXPECT_TRUE(std::equal(record.begin(), record.end(), b.begin()));
    EXPECT_TRUE(std::equal(m_request.identifier.bytes.begin(), m_request.identifier.bytes.end(), b.begin() + 
                           static_cast<std::ptrdiff_t>(record.size())));
    // Trailer: covered length, CRC-32 of the covered bytes, "MPC1".
    const std::size_t covered = b.size() - 16;
    std::uint64_t length = 0;
    std::uint32_t crc = 0;
    std::memcpy(&length, &b[covered], 8);
    std::memcpy(&crc, &b[covered + 8], 4);
    EXPECT_EQ(length, covered);
    EXPECT_EQ(crc, static_cast<std::uint32_t>(::crc32(0, b.data(), static_cast<uInt>(covered))));
    EXPECT_EQ(std::string(b.end() - 4, b.end()), "MPC1");

    // A reader of the plain format (table record, then check record) reads the file as it is.
    C_file_io in;
    in.open(CHostString(pt_path().u16string()), CHostString(u"rb"));
    C_3d_Chem_property_PT plain;
    std::uint8_t version = 0;
    ASSERT_TRUE(plain.read(in, version));
    EXPECT_TRUE(check().read_check_record(in));
    EXPECT_TRUE(same_fields(t, plain));
}

TEST_F(ChemTableFile, EveryBadFileFallsBackToAFreshTableAndIsReplaced) {
    C_3d_Chem_property_PT reference;
    ASSERT_EQ(restore(reference), chem_restore_result::computed_and_saved);
    const bytes good = file_bytes(pt_path());

    C_3d_Chem_property_VT vt;
    ASSERT_TRUE(CAnalyticGenerator().generate(vt, 5, 4, 3));
    const fs::path vt_file = m_dir / "vt.tbl";
    ASSERT_TRUE(write_chem_table_file(vt_file, vt, check()));
    const bytes vt_bytes = file_bytes(vt_file);
    fs::remove(vt_file);

    C_3d_Chem_property_PT wrong_size;
    ASSERT_TRUE(CAnalyticGenerator().generate(wrong_size, 5, 4, 4));
    ASSERT_TRUE(write_chem_table_file(m_dir / "size.tbl", wrong_size, check()));
    const bytes size_bytes = file_bytes(m_dir / "size.tbl");
    fs::remove(m_dir / "size.tbl");

    ASSERT_TRUE(write_chem_table_file(m_dir / "other.tbl", reference,
                                      CChemIdentifierCheck(guid(u"00000000-0000-0000-0000-000000000001"))));
    const bytes other_bytes = file_bytes(m_dir / "other.tbl");
    fs::remove(m_dir / "other.tbl");

    struct bad_file {
        const char* what;
        bytes content;
        const char* reason;
    };
    bytes flipped = good;
    flipped[flipped.size() / 2] ^= 0x10;  // inside a field: only the checksum sees it
    bytes cut = good;
    cut.resize(good.size() / 2);
    bytes crc = good;
    crc[crc.size() - 6] ^= 0x01;  // the stored checksum itself
    bytes length = good;
    length[length.size() - 12] ^= 0x01;  // the trailer's covered length
    bytes version = good;
    version[0] = 1;
    const bad_file cases[] = {
        {"truncated", cut, "the file ends inside a record"},
        {"empty", {}, "the file ends inside a record"},
        {"wrong sizes", size_bytes, "the table's grid sizes are not the requested ones"},
        {"VT file under the PT name", vt_bytes, "the variant tag is not this table kind's"},
        {"another substance's", other_bytes, "the file was computed for another substance or other options"},
        {"a flipped bit", flipped, "the checksum does not match the content"},
        {"a damaged checksum", crc, "the checksum does not match the content"},
        {"a damaged covered length", length, "the checksum does not match the content"},
        {"outer version", version, "the record's version byte is not 0"},
    };
    for (const bad_file& c : cases) {
        SCOPED_TRACE(c.what);
        write_file(pt_path(), c.content);
        standalone_host::log_capture log;
        C_3d_Chem_property_PT t;
        int calls = 0;
        EXPECT_EQ(restore(t, &calls), chem_restore_result::computed_and_saved);
        EXPECT_EQ(calls, 1);
        EXPECT_TRUE(same_fields(t, reference));
        EXPECT_EQ(lines_with(log, "Restoring table failed").size(), 1u);
        EXPECT_EQ(lines_with(log, std::string("Chemistry: ") + c.reason + "\n").size(), 1u);
        EXPECT_EQ(file_bytes(pt_path()), good) << "the bad file is replaced by the fresh table's";
    }
    EXPECT_TRUE(other_files(m_dir, pt_path()).empty());
}

TEST_F(ChemTableFile, FilesWithoutTrailerAndOfBodyVersionZeroRestore) {
    C_3d_Chem_property_PT t;
    expected(t);
    C_file_io s;
    s.open_memory();
    t.write(s);
    check().write_check_record(s);
    bytes plain = s.memory_bytes();  // what a writer without checksums leaves
    write_file(pt_path(), plain);
    C_3d_Chem_property_PT back;
    int calls = 0;
    ASSERT_EQ(restore(back, &calls), chem_restore_result::restored);
    EXPECT_EQ(calls, 0);
    EXPECT_TRUE(same_fields(t, back));

    // Body version 0: no stream parameter and two-stream byte (9 bytes at offset 98); both then
    // come from the request.
    bytes v0 = plain;
    v0[1] = 0;
    v0.erase(v0.begin() + 98, v0.begin() + 107);
    write_file(pt_path(), v0);
    m_request.two_stream = true;
    m_request.stream_parameter = 0.125;
    C_3d_Chem_property_PT old;
    ASSERT_EQ(restore(old, &calls), chem_restore_result::restored);
    EXPECT_TRUE(old.two_stream());
    EXPECT_EQ(old.stream_parameter(), 0.125);
    // A body-version-1 file keeps its own values over the request's.
    write_file(pt_path(), plain);
    C_3d_Chem_property_PT own;
    ASSERT_EQ(restore(own), chem_restore_result::restored);
    EXPECT_EQ(own.stream_parameter(), 0.0625);
}

TEST_F(ChemTableFile, MissingFolderAndFullDiskComputeWithoutSaving) {
    const fs::path missing = m_dir / "missing" / "deeper";
    standalone_host::set_product_directory(CHostString(missing.u16string()));
    {
        standalone_host::log_capture log;
        C_3d_Chem_property_PT t;
        EXPECT_EQ(restore(t), chem_restore_result::computed_not_saved);
        EXPECT_FALSE(fs::exists(m_dir / "missing"));
        const std::string name = (missing / "E46DDFE0-3DB1-4BA4-85ED-B83F873B2BF1_PT.tbl").string();
        const auto lines = lines_with(log, "Can't write file");
        ASSERT_EQ(lines.size(), 1u);
        EXPECT_EQ(lines[0], "Chemistry: Can't write file " + name + "\n");
        EXPECT_TRUE(std::isfinite(t.lookup(2e5, 400.0, 0.3, 0.2, 0.2).out[0])) << "the table is used unsaved";
    }
    standalone_host::set_product_directory(CHostString(m_dir.u16string()));
    m_request.required_free_bytes = std::numeric_limits<std::uint64_t>::max();
    standalone_host::log_capture log;
    C_3d_Chem_property_PT t;
    EXPECT_EQ(restore(t), chem_restore_result::computed_not_saved);
    EXPECT_FALSE(fs::exists(pt_path()));
    EXPECT_EQ(lines_with(log, "Can't write file").size(), 1u);
    for (const auto& l : log.lines())
        if (l.text.find("Can't write file") != std::string::npos) {
            EXPECT_EQ(l.entry, host_log::entry::warning);
        }
}

TEST_F(ChemTableFile, FailedGeneratorLeavesAnEmptyTableAndNoFile) {
    standalone_host::log_capture log;
    C_3d_Chem_property_PT t;
    EXPECT_EQ(restore(t, nullptr, true), chem_restore_result::failed);
    EXPECT_TRUE(t.empty());
    EXPECT_FALSE(fs::exists(pt_path()));
    EXPECT_EQ(lines_with(log, "ERROR: MediumPhysics: medium_physics/tables/chem_table_file.cpp(").size(), 1u);
}

TEST_F(ChemTableFile, AFailedWriteLeavesThePreviousFile) {
    C_3d_Chem_property_PT t;
    expected(t);
    ASSERT_TRUE(write_chem_table_file(pt_path(), t, check()));
    const bytes before = file_bytes(pt_path());
    std::string why;
    EXPECT_FALSE(write_chem_table_file(m_dir / "no" / "such.tbl", t, check(), &why));
    EXPECT_NE(why.find("unable to open"), std::string::npos) << why;
    C_3d_Chem_property_PT empty;
    EXPECT_FALSE(write_chem_table_file(pt_path(), empty, check(), &why));
    EXPECT_EQ(file_bytes(pt_path()), before);
    EXPECT_TRUE(other_files(m_dir, pt_path()).empty());
    t.set_stream_parameter(0.5);
    ASSERT_TRUE(write_chem_table_file(pt_path(), t, check()));  // replaces the existing file
    EXPECT_NE(file_bytes(pt_path()), before);
}

#ifndef _WIN32
// Three processes write the same table file over and over while two read it: a reader sees no
// file yet, or a complete file of one of the writers, never a torn one. Then three processes
// restore at once from no file at all.
TEST_F(ChemTableFile, ProcessesWritingAndReadingAtOnceNeverSeeATornFile) {
    C_3d_Chem_property_PT reference;
    expected(reference);
    const auto run_children = [](int count, const std::function<int(int)>& body) {
        std::vector<pid_t> children;
        for (int c = 0; c < count; ++c) {
            const pid_t pid = ::fork();
            if (pid == 0) {
                int code = 1;
                try {
                    code = body(c);
                } catch (...) {
                }
                ::_exit(code);
            }
            children.push_back(pid);
        }
        int failures = 0;
        for (pid_t pid : children) {
            int status = 0;
            ::waitpid(pid, &status, 0);
            if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) ++failures;
        }
        return failures;
    };
    const fs::path path = pt_path();
    const auto c = check();
    const int failures = run_children(5, [&](int child) {
        if (child < 3) {
            // writers: each with its own stream parameter, so their files differ
            C_3d_Chem_property_PT t;
            CAnalyticGenerator().generate(t, 5, 4, 3);
            t.set_stream_parameter(0.25 * (child + 1));
            for (int n = 0; n < 40; ++n)
                if (!write_chem_table_file(path, t, c)) return 2;
            return 0;
        }
        for (int n = 0; n < 150; ++n) {
            C_3d_Chem_property_PT t;
            const chem_file_report r = read_chem_table_file(path, t, &c);
            if (r.status == chem_file_status::cannot_open) continue;
            if (r.status != chem_file_status::ok || r.checksum != chem_checksum_state::valid) return 3;
            const double s = t.stream_parameter();
            if (!same_fields(t, reference) || (s != 0.25 && s != 0.5 && s != 0.75)) return 4;
        }
        return 0;
    });
    EXPECT_EQ(failures, 0);
    C_3d_Chem_property_PT last;
    EXPECT_EQ(read_chem_table_file(path, last, &c).status, chem_file_status::ok);
    EXPECT_TRUE(other_files(m_dir, path).empty()) << "every temporary file was renamed or removed";

    fs::remove(path);
    const int restore_failures = run_children(3, [&](int) {
        C_3d_Chem_property_PT t;
        const chem_restore_result r = restore(t);
        return (r == chem_restore_result::restored || r == chem_restore_result::computed_and_saved) &&
                       same_fields(t, reference)
                   ? 0
                   : 5;
    });
    EXPECT_EQ(restore_failures, 0);
    C_3d_Chem_property_PT restored;
    EXPECT_EQ(restore(restored), chem_restore_result::restored);
    EXPECT_TRUE(same_fields(restored, reference));
    EXPECT_TRUE(other_files(m_dir, path).empty());
}
#endif
