// Compressed sections of the block stream (the zlib engine): sizes around the 4096-byte buffers,
// sections between plain data on memory and file, the bytes checked with raw zlib, reading past
// the end, misuse, damaged input, and the section scope's destructor.
#include <gtest/gtest.h>

#include <zlib.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <random>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "file_io/c_file_io/c_file_io.h"
#include "file_io/c_file_io/scopes.h"
#include "medium_physics/standalone_host.h"

namespace {

namespace fs = std::filesystem;
using bytes_t = std::vector<std::uint8_t>;
using c_file_io::internal::CMemoryIO;
using c_file_io::internal::CZEngine;
using c_file_io::internal::seek_origin;

const std::string kEof = "CZEngine::flush_in EOF";
const std::string kShortRead = "C_file_io::read_zengine_impl: unable to read requested size";
const std::string kDamaged = "CZEngine::close: damaged compressed section";

template <class E>
::testing::AssertionResult throws_with(const std::function<void()>& f, const std::string& message) {
    try {
        f();
    } catch (const E& e) {
        if (message == e.what()) return ::testing::AssertionSuccess();
        return ::testing::AssertionFailure() << "message \"" << e.what() << "\", expected \"" << message << "\"";
    } catch (const std::exception& e) {
        return ::testing::AssertionFailure() << "wrong exception type, message \"" << e.what() << "\"";
    }
    return ::testing::AssertionFailure() << "nothing thrown, expected \"" << message << "\"";
}

// The stream's read error with one of `messages`.
::testing::AssertionResult read_error_in(const std::function<void()>& f, const std::set<std::string>& messages) {
    try {
        f();
    } catch (const c_RQ_io_error& e) {
        if (messages.count(e.what()) != 0) return ::testing::AssertionSuccess();
        return ::testing::AssertionFailure() << "unexpected message \"" << e.what() << "\"";
    } catch (const std::exception& e) {
        return ::testing::AssertionFailure() << "wrong exception type, message \"" << e.what() << "\"";
    }
    return ::testing::AssertionFailure() << "nothing thrown";
}

bytes_t le32(std::int32_t v) {
    bytes_t b(4);
    auto u = static_cast<std::uint32_t>(v);
    for (auto& x : b) {
        x = static_cast<std::uint8_t>(u & 0xff);
        u >>= 8;
    }
    return b;
}

// Bytes of a smooth property table (cp of a gas against temperature, with a small ripple): the
// kind of data the stream compresses, neither constant nor random.
bytes_t table_bytes(std::size_t n) {
    std::vector<double> v((n + 7) / 8);
    for (std::size_t i = 0; i < v.size(); ++i) {
        const double t = 200.0 + 0.01 * static_cast<double>(i);
        v[i] = 1000.0 + 0.12 * t + 2.0e-5 * t * t + 0.5 * std::sin(0.001 * t);
    }
    bytes_t b(n);
    if (n > 0) std::memcpy(b.data(), v.data(), n);
    return b;
}

// The zlib header (RFC 1950) deflate writes for `level`: method 8 with a 32 KiB window, the
// level's class in FLEVEL, and FCHECK making the pair a multiple of 31.
bytes_t zlib_header(int level) {
    const int flevel = level < 2 ? 0 : level < 6 ? 1 : level == 6 ? 2 : 3;
    const int cmf = 0x78;
    int flg = flevel << 6;
    flg += 31 - (cmf * 256 + flg) % 31;
    return {static_cast<std::uint8_t>(cmf), static_cast<std::uint8_t>(flg)};
}

class temp_dir {
public:
    temp_dir() {
        std::random_device rd;
        m_path = fs::temp_directory_path() / ("mp_test_zip_" + std::to_string(rd()) + std::to_string(rd()));
        fs::create_directories(m_path);
    }
    ~temp_dir() {
        std::error_code ec;
        fs::remove_all(m_path, ec);
    }
    temp_dir(const temp_dir&) = delete;
    temp_dir& operator=(const temp_dir&) = delete;
    fs::path file(const char* name) const { return m_path / name; }

private:
    fs::path m_path;
};

bytes_t read_file(const fs::path& p) {
    std::ifstream in(p, std::ios::binary);
    return bytes_t(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

enum class provider { memory, file };
// What gtest prints for a parameter: the provider by name.
void PrintTo(provider p, std::ostream* os) { *os << (p == provider::memory ? "memory" : "file"); }

// A stream written and read back over either provider.
class stream_pair {
public:
    explicit stream_pair(provider p) : m_kind(p) {}
    C_file_io& writer() {
        if (m_kind == provider::memory) m_writer.open_memory();
        else m_writer.open(CHostString(m_dir.file("stream.bin").u16string()), u"wb");
        return m_writer;
    }
    bytes_t finish() {
        if (m_kind == provider::memory) {
            m_bytes = m_writer.memory_bytes();
            m_writer.close();
        } else {
            m_writer.close();
            m_bytes = read_file(m_dir.file("stream.bin"));
        }
        return m_bytes;
    }
    C_file_io& reader(const bytes_t* replacement = nullptr) {
        const bytes_t& b = replacement != nullptr ? *replacement : m_bytes;
        if (m_kind == provider::memory) {
            m_reader.open_memory(b);
        } else {
            const auto path = m_dir.file("read.bin");
            {
                std::ofstream out(path, std::ios::binary | std::ios::trunc);
                out.write(reinterpret_cast<const char*>(b.data()), static_cast<std::streamsize>(b.size()));
            }
            m_reader.open(CHostString(path.u16string()), u"rb");
        }
        return m_reader;
    }

private:
    provider m_kind;
    temp_dir m_dir;
    C_file_io m_writer;
    C_file_io m_reader;
    bytes_t m_bytes;
};

const char* name_of(provider p) { return p == provider::memory ? "memory" : "file"; }

// Raw zlib decode of bytes[begin, end): the output, and how many input bytes the stream used.
struct raw_result {
    int rc;
    bytes_t out;
    std::size_t used;
};
raw_result raw_uncompress(const bytes_t& b, std::size_t begin, std::size_t end, std::size_t expected_size) {
    raw_result r{};
    r.out.resize(expected_size + 1);  // room for one byte too many, which must stay unused
    uLongf out_len = static_cast<uLongf>(r.out.size());
    uLong in_len = static_cast<uLong>(end - begin);
    r.rc = uncompress2(r.out.data(), &out_len, b.data() + begin, &in_len);
    r.out.resize(out_len);
    r.used = in_len;
    return r;
}

// ================================================================================================
// Section sizes around the buffer, between plain data
// ================================================================================================

class ZipSectionSize : public ::testing::TestWithParam<std::tuple<provider, std::size_t>> {};

TEST_P(ZipSectionSize, IsAStandardZlibStreamBetweenPlainValues) {
    const auto [kind, n] = GetParam();
    const bytes_t data = table_bytes(n);
    stream_pair sp(kind);
    C_file_io& w = sp.writer();
    w.put<std::int32_t>(0x11111111);
    w.begin_write_ZFILE();
    EXPECT_EQ(w.write(data.data(), n), n);
    w.end_write_ZFILE();
    w.put<std::int32_t>(0x22222222);
    const bytes_t b = sp.finish();

    // Plain markers around exactly one zlib stream.
    ASSERT_GE(b.size(), 8u + 8u);
    EXPECT_EQ(bytes_t(b.begin(), b.begin() + 4), le32(0x11111111));
    EXPECT_EQ(bytes_t(b.end() - 4, b.end()), le32(0x22222222));
    const raw_result raw = raw_uncompress(b, 4, b.size() - 4, n);
    ASSERT_EQ(raw.rc, Z_OK);
    EXPECT_EQ(raw.used, b.size() - 8) << "the section must end exactly where the plain data start";
    EXPECT_TRUE(raw.out == data) << "raw zlib disagrees with what was written";

    // Read back in one call.
    {
        C_file_io& r = sp.reader();
        EXPECT_EQ(r.get<std::int32_t>(), 0x11111111);
        r.begin_read_ZFILE();
        bytes_t back(n);
        EXPECT_EQ(r.read(back.data(), n), n);
        r.end_read_ZFILE();
        EXPECT_TRUE(back == data);
        EXPECT_EQ(r.get<std::int32_t>(), 0x22222222);
        EXPECT_THROW(r.get<std::uint8_t>(), c_RQ_io_error);
    }
    // And in pieces that straddle the buffer boundaries.
    {
        C_file_io& r = sp.reader();
        EXPECT_EQ(r.get<std::int32_t>(), 0x11111111);
        C_file_ZIP_scope zip(r, C_file_ZIP_scope::direction::read);
        bytes_t back(n);
        std::size_t done = 0;
        for (std::size_t piece = 1; done < n; piece = piece * 3 + 1) {
            const std::size_t k = std::min(piece, n - done);
            r.read(back.data() + done, k);
            done += k;
        }
        zip.close();
        EXPECT_TRUE(back == data);
        EXPECT_EQ(r.get<std::int32_t>(), 0x22222222);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Sizes, ZipSectionSize,
    ::testing::Combine(::testing::Values(provider::memory, provider::file),
                       ::testing::Values(std::size_t{0}, std::size_t{1}, std::size_t{4095}, std::size_t{4096},
                                         std::size_t{4097}, std::size_t{8192}, std::size_t{3} * 1024 * 1024 + 5)),
    [](const ::testing::TestParamInfo<std::tuple<provider, std::size_t>>& pi) {
        return std::string(name_of(std::get<0>(pi.param))) + "_" + std::to_string(std::get<1>(pi.param));
    });

TEST(ZipSection, EmptySectionIsTheSmallestZlibStreamAtTheDefaultLevel) {
    C_file_io s;
    s.open_memory();
    s.begin_write_ZFILE();
    s.end_write_ZFILE();
    // Header, an empty final fixed block (03 00), and the Adler-32 of nothing (1), big-endian.
    bytes_t expected = zlib_header(CZEngine::kDefaultLevel);
    expected.insert(expected.end(), {0x03, 0x00, 0x00, 0x00, 0x00, 0x01});
    EXPECT_EQ(s.memory_bytes(), expected);
}

TEST(ZipSection, EngineLevelReachesDeflate) {
    const bytes_t data = table_bytes(50000);
    for (const std::uint32_t level : {1u, 6u, 9u}) {
        CMemoryIO mem;
        CZEngine engine(level);
        engine.set_write_FILE(&mem);
        engine.write(data.data(), data.size());
        engine.close();
        const bytes_t b = mem.bytes();
        ASSERT_GE(b.size(), 2u);
        EXPECT_EQ(bytes_t(b.begin(), b.begin() + 2), zlib_header(static_cast<int>(level))) << level;
        const raw_result raw = raw_uncompress(b, 0, b.size(), data.size());
        EXPECT_EQ(raw.rc, Z_OK);
        EXPECT_TRUE(raw.out == data) << level;
    }
}

TEST(ZipSection, ExactlyOneBufferIsHeldUntilTheNextWriteOrClose) {
    const bytes_t data = table_bytes(4097);
    C_file_io s;
    s.open_memory();
    s.put<std::int32_t>(1);
    s.begin_write_ZFILE();
    s.write(data.data(), 4095);
    s.write(data.data() + 4095, 1);
    EXPECT_EQ(s.memory()->size(), 4u) << "a full buffer is not deflated before it must be";
    s.write(data.data() + 4096, 1);
    EXPECT_GT(s.memory()->size(), 4u) << "the next byte deflates the full buffer";
    s.end_write_ZFILE();
    const bytes_t b = s.memory_bytes();
    const raw_result raw = raw_uncompress(b, 4, b.size(), data.size());
    ASSERT_EQ(raw.rc, Z_OK);
    EXPECT_TRUE(raw.out == data);

    // Closing after exactly 4096 bytes delivers them all.
    s.open_memory();
    s.begin_write_ZFILE();
    s.write(data.data(), 4096);
    EXPECT_EQ(s.memory()->size(), 0u);
    s.end_write_ZFILE();
    const bytes_t b2 = s.memory_bytes();
    const raw_result raw2 = raw_uncompress(b2, 0, b2.size(), 4096);
    ASSERT_EQ(raw2.rc, Z_OK);
    EXPECT_TRUE(raw2.out == bytes_t(data.begin(), data.begin() + 4096));
}

// ================================================================================================
// Sections between plain data, and two sections in one stream
// ================================================================================================

class ZipStream : public ::testing::TestWithParam<provider> {};

void write_two_sections(C_file_io& w, const std::vector<std::int32_t>& ints, const std::vector<double>& doubles) {
    w.put<std::int32_t>(-1);
    {
        C_file_ZIP_scope zip(w, C_file_ZIP_scope::direction::write);
        w.write(ints.data(), ints.size());
        zip.close();
    }
    w.put<double>(2.5);
    w.write_string(CHostString(u"between"));
    {
        C_file_ZIP_scope zip(w, C_file_ZIP_scope::direction::write);
        w.write_string(CHostString(u"inside \u00e9\U0001F600"));
        w.write(doubles.data(), doubles.size());
        w.write_string(CHostString());
        zip.close();
    }
    w.put<std::int32_t>(-7);
}

TEST_P(ZipStream, SectionThenPlainThenSecondSectionThenPlain) {
    std::vector<std::int32_t> ints(5000);
    for (std::size_t i = 0; i < ints.size(); ++i) ints[i] = static_cast<std::int32_t>(i * 3);
    std::vector<double> doubles(3000);
    for (std::size_t i = 0; i < doubles.size(); ++i) doubles[i] = 1.0e5 + std::sqrt(static_cast<double>(i));

    stream_pair sp(GetParam());
    write_two_sections(sp.writer(), ints, doubles);
    sp.finish();

    // Everything read.
    {
        C_file_io& r = sp.reader();
        EXPECT_EQ(r.get<std::int32_t>(), -1);
        std::vector<std::int32_t> ib(ints.size());
        r.begin_read_ZFILE();
        r.read(ib.data(), ib.size());
        r.end_read_ZFILE();
        EXPECT_EQ(ib, ints);
        EXPECT_EQ(r.get<double>(), 2.5);
        CHostString text;
        r.read_string(text);
        EXPECT_EQ(text, CHostString(u"between"));
        r.begin_read_ZFILE();
        r.read_string(text);
        EXPECT_EQ(text, CHostString(u"inside \u00e9\U0001F600"));
        std::vector<double> db(doubles.size());
        r.read(db.data(), db.size());
        EXPECT_EQ(db, doubles);
        r.read_string(text);
        EXPECT_TRUE(text.empty());
        r.end_read_ZFILE();
        EXPECT_EQ(r.get<std::int32_t>(), -7);
    }
    // Sections read only in part: ending them skips the rest, the plain data still line up.
    {
        C_file_io& r = sp.reader();
        EXPECT_EQ(r.get<std::int32_t>(), -1);
        r.begin_read_ZFILE();
        std::int32_t first[10]{};
        r.read(first, 10);
        EXPECT_EQ(first[9], 27);
        r.end_read_ZFILE();
        EXPECT_EQ(r.get<double>(), 2.5);
        CHostString text;
        r.read_string(text);
        EXPECT_EQ(text, CHostString(u"between"));
        r.begin_read_ZFILE();  // not read at all
        r.end_read_ZFILE();
        EXPECT_EQ(r.get<std::int32_t>(), -7);
    }
}

TEST_P(ZipStream, MegabytesOfZerosAsTheLastThingInTheStream) {
    const std::size_t n = std::size_t{8} << 20;
    const bytes_t zeros(n, 0);
    stream_pair sp(GetParam());
    C_file_io& w = sp.writer();
    w.put<std::int32_t>(3);
    w.begin_write_ZFILE();
    // In writes of 1 MiB: each one leaves zlib more output than one 4096-byte buffer holds.
    for (std::size_t i = 0; i < n; i += std::size_t{1} << 20) w.write(zeros.data() + i, std::size_t{1} << 20);
    w.end_write_ZFILE();
    const bytes_t b = sp.finish();
    EXPECT_LT(b.size(), n / 100);
    const raw_result raw = raw_uncompress(b, 4, b.size(), n);
    ASSERT_EQ(raw.rc, Z_OK);
    EXPECT_EQ(raw.out.size(), n);
    EXPECT_EQ(raw.used, b.size() - 4);

    // One read of all of it, and reads of one buffer at a time.
    for (const std::size_t piece : {n, std::size_t{4096}, std::size_t{4097}}) {
        C_file_io& r = sp.reader();
        EXPECT_EQ(r.get<std::int32_t>(), 3);
        r.begin_read_ZFILE();
        bytes_t back(n, 0xff);
        for (std::size_t i = 0; i < n; i += piece) r.read(back.data() + i, std::min(piece, n - i));
        EXPECT_TRUE(std::all_of(back.begin(), back.end(), [](std::uint8_t x) { return x == 0; })) << piece;
        EXPECT_TRUE(throws_with<c_RQ_io_error>([&] { r.get<std::uint8_t>(); }, kEof)) << piece;
        r.end_read_ZFILE();
        EXPECT_EQ(r.tell(), b.size()) << piece;
        EXPECT_THROW(r.get<std::uint8_t>(), c_RQ_io_error);
    }
}

INSTANTIATE_TEST_SUITE_P(Providers, ZipStream, ::testing::Values(provider::memory, provider::file),
                         [](const ::testing::TestParamInfo<provider>& pi) { return std::string(name_of(pi.param)); });

// ================================================================================================
// Reading past the end, swap, misuse
// ================================================================================================

TEST(ZipRead, PastTheEndOfTheSectionIsEofWhereverTheEndFalls) {
    for (const std::size_t n : {std::size_t{1}, std::size_t{4095}, std::size_t{4096}, std::size_t{4097},
                                std::size_t{8192}, std::size_t{12289}}) {
        const bytes_t data = table_bytes(n);
        C_file_io s;
        s.open_memory();
        s.begin_write_ZFILE();
        s.write(data.data(), n);
        s.end_write_ZFILE();
        s.put<std::int32_t>(99);
        const bytes_t b = s.memory_bytes();

        // Reading n, then one more.
        s.open_memory(b);
        s.begin_read_ZFILE();
        bytes_t back(n + 1);
        s.read(back.data(), n);
        EXPECT_TRUE(throws_with<c_RQ_io_error>([&] { s.read(back.data() + n, 1); }, kEof)) << n;
        s.end_read_ZFILE();
        EXPECT_EQ(s.get<std::int32_t>(), 99) << n;

        // Asking for n + 1 at once.
        s.open_memory(b);
        s.begin_read_ZFILE();
        EXPECT_TRUE(throws_with<c_RQ_io_error>([&] { s.read(back.data(), n + 1); }, kEof)) << n;
        s.end_read_ZFILE();
        EXPECT_EQ(s.get<std::int32_t>(), 99) << n;
    }
}

TEST(ZipRead, PastTheEndWhenTheChecksumArrivesInARefillOfItsOwn) {
    // The engine reads compressed input 4096 bytes at a time. A zlib stream whose length is just
    // over a multiple of 4096 leaves its last bytes (the checksum) to a refill that produces no
    // data at all; a read past the end must still be the EOF of the section.
    std::mt19937 rng(7);
    bytes_t noise(20000);
    for (auto& x : noise) x = static_cast<std::uint8_t>(rng());
    std::size_t n = 9000;
    bytes_t b;
    for (int attempt = 0; attempt < 50; ++attempt) {
        C_file_io s;
        s.open_memory();
        s.begin_write_ZFILE();
        s.write(noise.data(), n);
        s.end_write_ZFILE();
        b = s.memory_bytes();
        if (b.size() % 4096 == 2) break;
        n += (4096 + 2 - b.size() % 4096) % 4096;  // incompressible: one more byte in, one more out
    }
    ASSERT_EQ(b.size() % 4096, 2u) << "no section length found with a two-byte last refill";
    b.push_back(0x5a);

    C_file_io s;
    s.open_memory(b);
    s.begin_read_ZFILE();
    bytes_t back(n + 1);
    s.read(back.data(), n);
    EXPECT_TRUE(std::equal(back.begin(), back.begin() + static_cast<std::ptrdiff_t>(n), noise.begin()));
    EXPECT_TRUE(throws_with<c_RQ_io_error>([&] { s.get<std::uint8_t>(); }, kEof));
    s.end_read_ZFILE();
    EXPECT_EQ(s.get<std::uint8_t>(), 0x5a);
}

TEST(ZipRead, CompressedReadsAreNeverSwapped) {
    C_file_io s;
    s.open_memory();
    s.begin_write_ZFILE();
    s.put<std::int32_t>(0x01020304);
    s.put<double>(-1.5e-3);
    s.put<char16_t>(u'\x1234');
    s.end_write_ZFILE();
    s.put<std::int32_t>(0x01020304);
    const bytes_t b = s.memory_bytes();

    s.open_memory(b);
    s.set_swap(true);
    s.begin_read_ZFILE();
    EXPECT_EQ(s.get<std::int32_t>(), 0x01020304);
    EXPECT_EQ(s.get<double>(), -1.5e-3);
    EXPECT_EQ(s.get<char16_t>(), u'\x1234');
    s.end_read_ZFILE();
    EXPECT_EQ(s.get<std::int32_t>(), 0x04030201);  // plain again: swapped
}

TEST(ZipMisuse, BeginTwiceAndEndWithoutBegin) {
    C_file_io s;
    s.open_memory();
    EXPECT_TRUE(throws_with<c_RQ_io_error_logic>([&] { s.end_write_ZFILE(); }, "ZEngine is not initialized"));
    EXPECT_TRUE(throws_with<c_RQ_io_error_logic>([&] { s.end_read_ZFILE(); }, "ZEngine is not initialized"));

    s.begin_write_ZFILE();
    EXPECT_TRUE(throws_with<c_RQ_io_error_logic>([&] { s.begin_write_ZFILE(); }, "begin_write_ZFILE is called twice"));
    EXPECT_TRUE(throws_with<c_RQ_io_error_logic>([&] { s.begin_read_ZFILE(); }, "begin_read_ZFILE is called twice"));
    s.put<std::int32_t>(5);  // the open section survived the refusals
    s.end_write_ZFILE();
    EXPECT_TRUE(throws_with<c_RQ_io_error_logic>([&] { s.end_write_ZFILE(); }, "ZEngine is not initialized"));

    const bytes_t b = s.memory_bytes();
    s.open_memory(b);
    s.begin_read_ZFILE();
    EXPECT_TRUE(throws_with<c_RQ_io_error_logic>([&] { s.begin_read_ZFILE(); }, "begin_read_ZFILE is called twice"));
    EXPECT_TRUE(throws_with<c_RQ_io_error_logic>([&] { s.begin_write_ZFILE(); }, "begin_write_ZFILE is called twice"));
    EXPECT_EQ(s.get<std::int32_t>(), 5);
    s.end_read_ZFILE();
    EXPECT_TRUE(throws_with<c_RQ_io_error_logic>([&] { s.end_read_ZFILE(); }, "ZEngine is not initialized"));

    // Inside a section the stream has no position of its own, and blocks cannot begin.
    s.begin_write_ZFILE();
    EXPECT_THROW(s.tell(), c_RQ_io_error_logic);
    EXPECT_THROW(s.dft_begin_w(1), c_RQ_io_error_logic);
    EXPECT_THROW(s.close(), c_RQ_io_error_logic);
    s.end_write_ZFILE();
}

TEST(ZipMisuse, EngineOutsideItsSection) {
    char buffer[8]{};
    {
        CZEngine e;
        EXPECT_TRUE(throws_with<c_RQ_io_error_logic>([&] { e.write(buffer, 8); },
                                                     "CZEngine::write is called without call to begin_write_ZFILE"));
        EXPECT_TRUE(throws_with<c_RQ_io_error_logic>([&] { e.read(buffer, 8); },
                                                     "CZEngine::read is called without call to begin_read_ZFILE"));
        EXPECT_TRUE(throws_with<c_RQ_io_error_logic>([&] { e.read(buffer, 8, 0); },
                                                     "CZEngine::read(dst, count, offset) not implemented!"));
    }
    {
        CMemoryIO mem;
        CZEngine e;
        e.set_write_FILE(&mem);
        EXPECT_TRUE(throws_with<c_RQ_io_error_logic>([&] { e.read(buffer, 8); }, "CZEngine::read unproper operation"));
        EXPECT_TRUE(throws_with<c_RQ_io_error_logic>([&] { e.set_read_FILE(&mem, &mem); },
                                                     "CZEngine::set_read_FILE can set file stream only in closed state"));
        EXPECT_TRUE(throws_with<c_RQ_io_error_logic>([&] { e.set_write_FILE(&mem); },
                                                     "CZEngine::set_write_FILE can set file stream only in closed state"));
        EXPECT_EQ(e.write(buffer, 0), 0u);
        e.close();
        EXPECT_EQ(e.mode(), 0);
        EXPECT_TRUE(throws_with<c_RQ_io_error_logic>([&] { e.write(buffer, 8); }, "CZEngine::write unproper operation"));
    }
    {
        CMemoryIO mem(bytes_t{0x78, 0x01, 0x03, 0x00, 0x00, 0x00, 0x00, 0x01});
        CZEngine e;
        e.set_read_FILE(&mem, &mem);
        EXPECT_TRUE(throws_with<c_RQ_io_error_logic>([&] { e.write(buffer, 8); }, "CZEngine::write unproper operation"));
        EXPECT_EQ(e.read(buffer, 0), 0u);
        e.close();
        EXPECT_TRUE(e.end_of_input());
        EXPECT_EQ(mem.tell(), 8u);
        EXPECT_TRUE(throws_with<c_RQ_io_error_logic>([&] { e.read(buffer, 8); }, "CZEngine::read unproper operation"));
    }
}

// ================================================================================================
// Damaged sections
// ================================================================================================

class ZipDamaged : public ::testing::Test {
protected:
    void SetUp() override {
        data = table_bytes(200000);
        C_file_io s;
        s.open_memory();
        s.put<std::int32_t>(1);
        s.begin_write_ZFILE();
        s.write(data.data(), data.size());
        s.end_write_ZFILE();
        section = s.memory_bytes();
        z_len = section.size() - 4;
        ASSERT_GT(z_len, 3 * 4096u);  // long enough for several refills
    }
    // Reads the whole section and ends it.
    void read_all(C_file_io& s) {
        EXPECT_EQ(s.get<std::int32_t>(), 1);
        C_file_ZIP_scope zip(s, C_file_ZIP_scope::direction::read);
        bytes_t back(data.size());
        s.read(back.data(), back.size());
        zip.close();
    }
    bytes_t data;
    bytes_t section;
    std::size_t z_len = 0;
};

TEST_F(ZipDamaged, TruncatedSectionRaisesTheReadError) {
    for (const std::size_t keep : {std::size_t{0}, std::size_t{1}, std::size_t{2}, std::size_t{100}, std::size_t{4095},
                                   std::size_t{4096}, std::size_t{4097}, z_len / 2, z_len - 4, z_len - 1}) {
        standalone_host::log_capture cap;
        C_file_io s;
        s.open_memory(bytes_t(section.begin(), section.begin() + static_cast<std::ptrdiff_t>(4 + keep)));
        EXPECT_TRUE(read_error_in([&] { read_all(s); }, {kEof, kShortRead})) << "kept " << keep;
        EXPECT_FALSE(s.compression_on());
    }
}

TEST_F(ZipDamaged, CorruptedSectionRaisesTheReadError) {
    for (const std::size_t at : {std::size_t{0}, std::size_t{1}, std::size_t{2}, std::size_t{10}, std::size_t{4096},
                                 z_len / 2, z_len - 5, z_len - 4, z_len - 1}) {
        standalone_host::log_capture cap;
        bytes_t b = section;
        b[4 + at] ^= 0xa5;
        C_file_io s;
        s.open_memory(b);
        EXPECT_TRUE(read_error_in([&] { read_all(s); }, {kEof, kShortRead, kDamaged})) << "byte " << at;
        EXPECT_FALSE(s.compression_on());
    }
}

TEST_F(ZipDamaged, ChecksumErrorBeyondWhatWasReadIsReportedWhenTheSectionEnds) {
    bytes_t b = section;
    b.back() ^= 0x01;  // last byte of the Adler-32
    C_file_io s;
    s.open_memory(b);
    EXPECT_EQ(s.get<std::int32_t>(), 1);
    s.begin_read_ZFILE();
    bytes_t back(1000);
    s.read(back.data(), back.size());  // the reader wants only the start, which is intact
    EXPECT_TRUE(std::equal(back.begin(), back.end(), data.begin()));
    EXPECT_TRUE(throws_with<c_RQ_io_error>([&] { s.end_read_ZFILE(); }, kDamaged));
    EXPECT_FALSE(s.compression_on());
    // The whole section read: the damage shows in the read itself.
    s.open_memory(b);
    EXPECT_EQ(s.get<std::int32_t>(), 1);
    s.begin_read_ZFILE();
    back.resize(data.size());
    EXPECT_TRUE(throws_with<c_RQ_io_error>([&] { s.read(back.data(), back.size()); }, kShortRead));
    s.end_read_ZFILE();  // already reported: ending is quiet
}

TEST(ZipDamagedString, CorruptCountInsideASectionFailsAtTheSectionEnd) {
    C_file_io s;
    s.open_memory();
    s.begin_write_ZFILE();
    s.put<std::int32_t>(0x7ffffff0);
    const char16_t few[3] = {u'a', u'b', u'c'};
    s.write(few, 3);
    s.end_write_ZFILE();
    const bytes_t b = s.memory_bytes();
    s.open_memory(b);
    s.begin_read_ZFILE();
    CHostString text;
    EXPECT_TRUE(throws_with<c_RQ_io_error>([&] { s.read_string(text); }, kEof));
    s.end_read_ZFILE();
}

TEST(ZipDamagedPlain, GarbageInsteadOfASectionIsAReadError) {
    for (const bytes_t& garbage : {bytes_t{}, bytes_t{0x00}, bytes_t(10000, 0xff), bytes_t{0x78, 0x01}, table_bytes(5000)}) {
        standalone_host::log_capture cap;
        C_file_io s;
        s.open_memory(garbage);
        EXPECT_TRUE(read_error_in(
            [&] {
                C_file_ZIP_scope zip(s, C_file_ZIP_scope::direction::read);
                s.get<double>();
                zip.close();
            },
            {kEof, kShortRead}))
            << garbage.size();
        EXPECT_FALSE(s.compression_on());
    }
}

// ================================================================================================
// The section scope's destructor
// ================================================================================================

TEST(ZipScopeDtor, WriteScopeUnwindingFinishesTheSection) {
    standalone_host::log_capture cap;
    C_file_io s;
    s.open_memory();
    try {
        C_file_ZIP_scope zip(s, C_file_ZIP_scope::direction::write);
        s.put<std::int32_t>(12);
        throw std::runtime_error("user failure");
    } catch (const std::runtime_error& e) {
        EXPECT_STREQ(e.what(), "user failure");
    }
    EXPECT_FALSE(s.compression_on());
    EXPECT_EQ(cap.lines().size(), 0u);
    const bytes_t b = s.memory_bytes();
    s.open_memory(b);
    s.begin_read_ZFILE();
    EXPECT_EQ(s.get<std::int32_t>(), 12);
    s.end_read_ZFILE();
}

TEST(ZipScopeDtor, ReadScopeUnwindingOverATruncatedSectionLogs) {
    const bytes_t data = table_bytes(100000);
    C_file_io s;
    s.open_memory();
    s.begin_write_ZFILE();
    s.write(data.data(), data.size());
    s.end_write_ZFILE();
    bytes_t b = s.memory_bytes();
    b.resize(b.size() / 2);
    s.open_memory(b);

    standalone_host::log_capture cap;
    try {
        C_file_ZIP_scope zip(s, C_file_ZIP_scope::direction::read);
        s.get<double>();
        throw std::runtime_error("user failure");  // the destructor drains the rest and fails
    } catch (const std::runtime_error& e) {
        EXPECT_STREQ(e.what(), "user failure");
    }
    EXPECT_FALSE(s.compression_on());
    ASSERT_EQ(cap.lines().size(), 1u);
    const auto line = cap.lines().front();
    EXPECT_EQ(line.entry, host_log::entry::error);
    EXPECT_EQ(line.text.rfind("ERROR: C_file_ZIP_scope::dtor: CZEngine::flush_in EOF c_file_io_lib/c_file_io(", 0), 0u)
        << line.text;
    EXPECT_EQ(line.text.back(), '\n');
}

TEST(ZipScopeDtor, WriteScopeOverAFailingProviderLogs) {
    standalone_host::log_capture cap;
    C_file_io s;  // nothing open: the dummy refuses the finishing flush
    {
        C_file_ZIP_scope zip(s, C_file_ZIP_scope::direction::write);
        s.put<std::int32_t>(1);
    }
    EXPECT_FALSE(s.compression_on());
    EXPECT_EQ(cap.count("ERROR: C_file_ZIP_scope::dtor: CDummyIOProvider: not implemented! "), 1u);
}

}  // namespace
