// The plain block stream: typed transfers, strings and identifiers, the swap flag, providers and
// open modes, blocks and the directory at the end of a stream, and the scopes' destructors.
// Byte layouts are written out by hand beside the tests, so a wrong width, order or offset shows as
// a byte difference rather than as a round trip that agrees with itself.
#include <gtest/gtest.h>

#include <zlib.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <limits>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "file_io/c_file_io/c_file_io.h"
#include "file_io/c_file_io/scopes.h"
#include "medium_physics/standalone_host.h"

namespace {

namespace fs = std::filesystem;
using bytes_t = std::vector<std::uint8_t>;
using c_file_io::internal::seek_origin;

// The stream raises `E` whose message is exactly `message`.
template <class E>
::testing::AssertionResult throws_with(const std::function<void()>& f, const std::string& message) {
    try {
        f();
    } catch (const E& e) {
        if (message == e.what()) return ::testing::AssertionSuccess();
        return ::testing::AssertionFailure() << "message \"" << e.what() << "\", expected \"" << message << "\"";
    } catch (const std::exception& e) {
        return ::testing::AssertionFailure() << "wrong exception type, message \"" << e.what() << "\"";
    } catch (...) {
        return ::testing::AssertionFailure() << "unknown exception";
    }
    return ::testing::AssertionFailure() << "nothing thrown, expected \"" << message << "\"";
}

// Little-endian bytes of an integer, written out independently of the stream.
template <class T>
bytes_t le(T value, int width = sizeof(T)) {
    bytes_t out;
    auto v = static_cast<std::uint64_t>(value);
    for (int i = 0; i < width; ++i, v >>= 8) out.push_back(static_cast<std::uint8_t>(v & 0xff));
    return out;
}

bytes_t cat(std::initializer_list<bytes_t> parts) {
    bytes_t out;
    for (const auto& p : parts) out.insert(out.end(), p.begin(), p.end());
    return out;
}

template <class T>
T from_bytes(const bytes_t& b) {
    T v{};
    std::memcpy(&v, b.data(), sizeof v);
    return v;
}

template <class T>
bytes_t bytes_of(const T& v) {
    bytes_t b(sizeof v);
    std::memcpy(b.data(), &v, sizeof v);
    return b;
}

// A scratch directory removed after the test.
class temp_dir {
public:
    temp_dir() {
        std::random_device rd;
        m_path = fs::temp_directory_path() / ("mp_test_file_io_" + std::to_string(rd()) + std::to_string(rd()));
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

CHostString host_path(const fs::path& p) { return CHostString(p.u16string()); }

bytes_t read_file(const fs::path& p) {
    std::ifstream in(p, std::ios::binary);
    return bytes_t(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// One stream written and read back over either provider.
enum class provider { memory, file };
// What gtest prints for a parameter: the provider by name.
void PrintTo(provider p, std::ostream* os) { *os << (p == provider::memory ? "memory" : "file"); }

class stream_pair {
public:
    explicit stream_pair(provider p) : m_kind(p) {}
    // Opens the writer.
    C_file_io& writer() {
        if (m_kind == provider::memory) m_writer.open_memory();
        else m_writer.open(host_path(m_dir.file("stream.bin")), u"wb");
        return m_writer;
    }
    // Closes the writer; returns the bytes it left.
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
    // A reader over the bytes `finish` returned (or over `replacement`).
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
            m_reader.open(host_path(path), u"rb");
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

std::string provider_name(const ::testing::TestParamInfo<provider>& info) {
    return info.param == provider::memory ? "memory" : "file";
}

// ================================================================================================
// Typed transfers
// ================================================================================================

class FileIoTransfer : public ::testing::TestWithParam<provider> {};

TEST_P(FileIoTransfer, EveryWidthRoundTripsWithItsLittleEndianLayout) {
    stream_pair sp(GetParam());
    C_file_io& w = sp.writer();

    const std::uint8_t u8[] = {0x00, 0x7f, 0x80, 0xff};
    const char ch[] = {'a', '\0', static_cast<char>(0xe9)};
    const std::int32_t i32[] = {0x01020304, -1, std::numeric_limits<std::int32_t>::min()};
    const std::uint32_t u32[] = {0xa1b2c3d4u, 0};
    const std::int64_t i64[] = {0x0102030405060708LL, std::numeric_limits<std::int64_t>::min()};
    const std::uint64_t u64[] = {0xf1e2d3c4b5a69788ULL};
    const double dbl[] = {1.0, -0.0, std::numeric_limits<double>::denorm_min(), std::numeric_limits<double>::infinity(),
                          6.02214076e23, std::numeric_limits<double>::quiet_NaN()};
    const char16_t c16[] = {u'\x1234', u'\xfffe'};

    EXPECT_EQ(w.write(u8, 4), 4u);
    EXPECT_EQ(w.write(ch, 3), 3u);
    EXPECT_EQ(w.write(i32, 3), 3u);
    EXPECT_EQ(w.write(u32, 2), 2u);
    EXPECT_EQ(w.write(i64, 2), 2u);
    EXPECT_EQ(w.write(u64, 1), 1u);
    EXPECT_EQ(w.write(dbl, 6), 6u);
    EXPECT_EQ(w.write(c16, 2), 2u);
    const bytes_t b = sp.finish();

    // Hand-written layout of the first values; doubles by their IEEE bit patterns.
    const bytes_t expected_head = cat({
        {0x00, 0x7f, 0x80, 0xff},
        {'a', 0x00, 0xe9},
        {0x04, 0x03, 0x02, 0x01},
        {0xff, 0xff, 0xff, 0xff},
        {0x00, 0x00, 0x00, 0x80},
        {0xd4, 0xc3, 0xb2, 0xa1},
        {0x00, 0x00, 0x00, 0x00},
        {0x08, 0x07, 0x06, 0x05, 0x04, 0x03, 0x02, 0x01},
        {0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x80},
        {0x88, 0x97, 0xa6, 0xb5, 0xc4, 0xd3, 0xe2, 0xf1},
        {0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0xf0, 0x3f},  // 1.0
        {0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x80},  // -0.0
        {0x01, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00},  // smallest denormal
        {0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0xf0, 0x7f},  // +inf
    });
    const std::size_t total = 4 + 3 + 12 + 8 + 16 + 8 + 48 + 4;
    ASSERT_EQ(b.size(), total);
    EXPECT_EQ(bytes_t(b.begin(), b.begin() + static_cast<std::ptrdiff_t>(expected_head.size())), expected_head);
    EXPECT_EQ(bytes_t(b.end() - 4, b.end()), (bytes_t{0x34, 0x12, 0xfe, 0xff}));

    C_file_io& r = sp.reader();
    std::uint8_t u8r[4]{};
    char chr[3]{};
    std::int32_t i32r[3]{};
    std::uint32_t u32r[2]{};
    std::int64_t i64r[2]{};
    std::uint64_t u64r[1]{};
    double dblr[6]{};
    char16_t c16r[2]{};
    EXPECT_EQ(r.read(u8r, 4), 4u);
    EXPECT_EQ(r.read(chr, 3), 3u);
    EXPECT_EQ(r.read(i32r, 3), 3u);
    EXPECT_EQ(r.read(u32r, 2), 2u);
    EXPECT_EQ(r.read(i64r, 2), 2u);
    EXPECT_EQ(r.read(u64r, 1), 1u);
    EXPECT_EQ(r.read(dblr, 6), 6u);
    EXPECT_EQ(r.read(c16r, 2), 2u);
    EXPECT_EQ(0, std::memcmp(u8, u8r, sizeof u8));
    EXPECT_EQ(0, std::memcmp(ch, chr, sizeof ch));
    EXPECT_EQ(0, std::memcmp(i32, i32r, sizeof i32));
    EXPECT_EQ(0, std::memcmp(u32, u32r, sizeof u32));
    EXPECT_EQ(0, std::memcmp(i64, i64r, sizeof i64));
    EXPECT_EQ(0, std::memcmp(u64, u64r, sizeof u64));
    EXPECT_EQ(0, std::memcmp(dbl, dblr, sizeof dbl));  // bit patterns, NaN and -0.0 included
    EXPECT_EQ(0, std::memcmp(c16, c16r, sizeof c16));
    // Nothing is left over.
    std::uint8_t extra = 0;
    EXPECT_THROW(r.read(&extra, 1), c_RQ_io_error);
}

TEST_P(FileIoTransfer, CountZeroMovesNothingEvenAtTheEndOrWithoutABuffer) {
    stream_pair sp(GetParam());
    C_file_io& w = sp.writer();
    w.put<std::int32_t>(7);
    EXPECT_EQ(w.write(static_cast<const double*>(nullptr), 0), 0u);
    EXPECT_EQ(w.write(static_cast<const std::uint8_t*>(nullptr), 0), 0u);
    EXPECT_EQ(w.tell(), 4u);
    EXPECT_EQ(sp.finish().size(), 4u);

    C_file_io& r = sp.reader();
    double untouched = 42.0;
    EXPECT_EQ(r.read(&untouched, 0), 0u);
    EXPECT_EQ(untouched, 42.0);
    EXPECT_EQ(r.tell(), 0u);
    EXPECT_EQ(r.get<std::int32_t>(), 7);
    // At the end of the stream a zero-count read still succeeds.
    EXPECT_EQ(r.read(&untouched, 0), 0u);
    EXPECT_EQ(untouched, 42.0);
}

TEST_P(FileIoTransfer, ShortReadRaisesTheReadErrorExactlyAtTheBoundary) {
    stream_pair sp(GetParam());
    C_file_io& w = sp.writer();
    const std::uint8_t seven[7] = {1, 2, 3, 4, 5, 6, 7};
    w.write(seven, 7);
    sp.finish();

    // 7 bytes: one int32 fits, two do not.
    C_file_io& r = sp.reader();
    std::int32_t two[2]{};
    EXPECT_TRUE(throws_with<c_RQ_io_error>([&] { r.read(two, 2); },
                                           "C_file_io::read_nozengine_impl: unable to read requested size"));
    C_file_io& r2 = sp.reader();
    EXPECT_EQ(r2.get<std::int32_t>(), 0x04030201);
    EXPECT_TRUE(throws_with<c_RQ_io_error>([&] { r2.get<std::int32_t>(); },
                                           "C_file_io::read_nozengine_impl: unable to read requested size"));
    C_file_io& r3 = sp.reader();
    EXPECT_TRUE(throws_with<c_RQ_io_error>([&] { r3.get<double>(); },
                                           "C_file_io::read_nozengine_impl: unable to read requested size"));
}

INSTANTIATE_TEST_SUITE_P(Providers, FileIoTransfer, ::testing::Values(provider::memory, provider::file), provider_name);

TEST(FileIoTransferLimits, ElementCountThatWouldWrapTheByteCountIsRefused) {
    C_file_io s;
    s.open_memory(bytes_t(64, 0));
    double d[2]{};
    const std::size_t huge = std::numeric_limits<std::size_t>::max() / 4;  // × 8 wraps to a small number
    EXPECT_THROW(s.read(d, huge), c_RQ_io_error_logic);
    EXPECT_THROW(s.write(d, huge), c_RQ_io_error_logic);
    EXPECT_EQ(s.tell(), 0u);
}

// ================================================================================================
// Strings and identifiers
// ================================================================================================

TEST(FileIoString, CountIsLengthPlusOneWithTheClosingZero) {
    C_file_io s;
    s.open_memory();
    s.write_string(CHostString(u"Ab"));
    EXPECT_EQ(s.memory_bytes(), (bytes_t{0x03, 0x00, 0x00, 0x00, 'A', 0x00, 'b', 0x00, 0x00, 0x00}));
}

TEST(FileIoString, EmptyStringIsTheCountZeroAlone) {
    C_file_io s;
    s.open_memory();
    s.write_string(CHostString());
    s.put<std::int32_t>(-2);
    EXPECT_EQ(s.memory_bytes(), cat({le<std::int32_t>(0), le<std::int32_t>(-2)}));

    s.seek(0, seek_origin::begin);
    CHostString text(u"left over");
    s.read_string(text);
    EXPECT_TRUE(text.empty());
    EXPECT_EQ(s.get<std::int32_t>(), -2);  // the empty string took exactly 4 bytes
}

TEST(FileIoString, NonAsciiAndSurrogatePairTravelAsUtf16CodeUnits) {
    // U+00C4, U+20AC, U+1D11E (surrogates D834 DD1E): four code units, count 5.
    const CHostString text(u"\u00C4\u20AC\U0001D11E");
    ASSERT_EQ(text.length(), 4u);
    C_file_io s;
    s.open_memory();
    s.write_string(text);
    s.put<std::uint8_t>(0x5a);
    EXPECT_EQ(s.memory_bytes(), (bytes_t{0x05, 0x00, 0x00, 0x00, 0xc4, 0x00, 0xac, 0x20, 0x34, 0xd8, 0x1e, 0xdd,
                                         0x00, 0x00, 0x5a}));
    s.seek(0, seek_origin::begin);
    CHostString back;
    s.read_string(back);
    EXPECT_EQ(back, text);
    EXPECT_EQ(back.to_utf8(), "\xC3\x84\xE2\x82\xAC\xF0\x9D\x84\x9E");
    EXPECT_EQ(s.get<std::uint8_t>(), 0x5a);
}

TEST(FileIoString, CorruptCountsFailWithTheStreamsErrors) {
    // A count near 2^31 over a short stream: the read fails at the first missing character
    // (an allocation of the full count would raise std::bad_alloc or exhaust memory instead).
    {
        C_file_io s;
        s.open_memory(cat({le<std::int32_t>(0x7ffffffe), {'a', 0, 'b', 0, 'c', 0}}));
        CHostString text;
        EXPECT_TRUE(throws_with<c_RQ_io_error>([&] { s.read_string(text); },
                                               "C_file_io::read_nozengine_impl: unable to read requested size"));
    }
    {
        C_file_io s;
        s.open_memory(cat({le<std::int32_t>(-3), {'a', 0, 'b', 0, 0, 0}}));
        CHostString text;
        EXPECT_THROW(s.read_string(text), c_RQ_io_error);
    }
    {
        // The count covers the characters but the last is not the closing zero.
        C_file_io s;
        s.open_memory(cat({le<std::int32_t>(2), {'a', 0, 'b', 0}}));
        CHostString text;
        EXPECT_THROW(s.read_string(text), c_RQ_io_error);
    }
    {
        // A string longer than one internal chunk still reads back whole.
        std::u16string long_text(10000, u'x');
        long_text[4095] = u'\u00e9';
        long_text[4096] = u'y';
        C_file_io s;
        s.open_memory();
        s.write_string(CHostString(long_text));
        s.seek(0, seek_origin::begin);
        CHostString back;
        s.read_string(back);
        EXPECT_EQ(back.str(), long_text);
    }
}

TEST(FileIoGuid, SixteenBytesInMemoryOrder) {
    host_guid id;
    ASSERT_TRUE(guid_utils::BuildGUIDFromString(CHostString(u"00112233-4455-6677-8899-AABBCCDDEEFF"), id));
    C_file_io s;
    s.open_memory();
    s.set_swap(true);  // writes are never swapped, and reads of bytes never are
    s.write_guid(id);
    // The GUID memory layout: the first three fields little-endian, then 8 bytes in order.
    const bytes_t expected{0x33, 0x22, 0x11, 0x00, 0x55, 0x44, 0x77, 0x66,
                           0x88, 0x99, 0xaa, 0xbb, 0xcc, 0xdd, 0xee, 0xff};
    EXPECT_EQ(s.memory_bytes(), expected);
    EXPECT_EQ(s.memory_bytes(), bytes_t(id.bytes.begin(), id.bytes.end()));
    s.seek(0, seek_origin::begin);
    host_guid back;
    s.read_guid(back);
    EXPECT_EQ(back, id);
}

// ================================================================================================
// Swap flag
// ================================================================================================

TEST(FileIoSwap, EachElementIsReversedWithinItsOwnWidth) {
    C_file_io s;
    // int32 from 01 02 03 04 with swap: the value whose memory bytes are 04 03 02 01.
    s.open_memory(bytes_t{0x01, 0x02, 0x03, 0x04});
    s.set_swap(true);
    EXPECT_EQ(s.get<std::int32_t>(), from_bytes<std::int32_t>({0x04, 0x03, 0x02, 0x01}));

    s.open_memory(bytes_t{0x01, 0x02, 0x03, 0x04});
    EXPECT_EQ(s.get<std::uint32_t>(), 0x01020304u);

    // Arrays: every element on its own, not the whole array reversed.
    s.open_memory(bytes_t{0x00, 0x00, 0x00, 0x01, 0x00, 0x00, 0x00, 0x02});
    std::int32_t two[2]{};
    s.read(two, 2);
    EXPECT_EQ(two[0], 1);
    EXPECT_EQ(two[1], 2);

    // Doubles and 64-bit integers: all eight bytes reversed.
    const double d = -1234.5678e-9;
    bytes_t db = bytes_of(d);
    std::reverse(db.begin(), db.end());
    const std::int64_t i = 0x0102030405060708LL;
    bytes_t ib = bytes_of(i);
    std::reverse(ib.begin(), ib.end());
    s.open_memory(cat({db, ib, {0x12, 0x34}}));
    EXPECT_EQ(s.get<double>(), d);
    EXPECT_EQ(s.get<std::int64_t>(), i);
    EXPECT_EQ(s.get<char16_t>(), u'\x1234');

    // One-byte values are never touched.
    s.open_memory(bytes_t{0x01, 0x02, 0x03, 0x04});
    std::uint8_t u8[4]{};
    s.read(u8, 4);
    EXPECT_EQ(bytes_t(u8, u8 + 4), (bytes_t{0x01, 0x02, 0x03, 0x04}));
    s.seek(0, seek_origin::begin);
    char c[4]{};
    s.read(c, 4);
    EXPECT_EQ(c[0], 0x01);
    EXPECT_EQ(c[3], 0x04);
}

TEST(FileIoSwap, WritesAreNeverSwapped) {
    C_file_io s;
    s.open_memory();
    s.set_swap(true);
    s.put<std::int32_t>(0x01020304);
    s.put<double>(1.0);
    s.put<char16_t>(u'\x1234');
    EXPECT_EQ(s.memory_bytes(), cat({{0x04, 0x03, 0x02, 0x01}, {0, 0, 0, 0, 0, 0, 0xf0, 0x3f}, {0x34, 0x12}}));
}

// ================================================================================================
// Providers and open modes
// ================================================================================================

TEST(FileIoOpenMode, CharactersMapToStreamFlags) {
    using c_file_io::internal::openmode_to_ios;
    using std::ios_base;
    EXPECT_EQ(openmode_to_ios(CHostString(u"rb+")), ios_base::in | ios_base::binary);
    EXPECT_EQ(openmode_to_ios(CHostString(u"+rb")), ios_base::in | ios_base::binary);
    EXPECT_EQ(openmode_to_ios(CHostString(u"")), ios_base::openmode{});
    EXPECT_EQ(openmode_to_ios(CHostString(u"w")), ios_base::out);
    EXPECT_EQ(openmode_to_ios(CHostString(u"a")), ios_base::app);
    EXPECT_EQ(openmode_to_ios(CHostString(u"rwab")), ios_base::in | ios_base::out | ios_base::app | ios_base::binary);

    for (const char16_t* bad : {u"rt", u"t", u"wbx", u"R", u"r b"}) {
        EXPECT_TRUE(throws_with<c_RQ_io_error_logic>([&] { openmode_to_ios(CHostString(bad)); },
                                                     "CInternalIO::openmode_to_ios: Not implemented openmode!"))
            << CHostString(bad).to_utf8();
    }
}

TEST(FileIoOpenMode, AFailedOpenLeavesTheOpenStreamInPlace) {
    temp_dir dir;
    C_file_io s;
    s.open_memory(bytes_t{0x2a, 0, 0, 0});
    EXPECT_TRUE(throws_with<c_RQ_io_error_logic>([&] { s.open(host_path(dir.file("x.bin")), u"wt"); },
                                                 "CInternalIO::openmode_to_ios: Not implemented openmode!"));
    EXPECT_THROW(s.open(host_path(dir.file("missing.bin")), u"rb"), c_RQ_io_error);
    ASSERT_TRUE(s.is_open());
    EXPECT_EQ(s.get<std::int32_t>(), 42);
}

TEST(FileIoProvider, DummyRefusesEveryOperation) {
    const std::string refused = "CDummyIOProvider: not implemented!";
    C_file_io s;
    EXPECT_FALSE(s.is_open());
    EXPECT_TRUE(throws_with<c_RQ_io_error_logic>([&] { s.put<std::int32_t>(1); }, refused));
    EXPECT_TRUE(throws_with<c_RQ_io_error_logic>([&] { s.get<double>(); }, refused));
    EXPECT_TRUE(throws_with<c_RQ_io_error_logic>([&] { s.tell(); }, refused));
    EXPECT_TRUE(throws_with<c_RQ_io_error_logic>([&] { s.seek(0, seek_origin::begin); }, refused));
    EXPECT_TRUE(throws_with<c_RQ_io_error_logic>([&] { s.dft_begin_w(5); }, refused));

    // The dummy is back in place after close.
    s.open_memory();
    s.put<std::int32_t>(1);
    s.close();
    EXPECT_FALSE(s.is_open());
    EXPECT_TRUE(throws_with<c_RQ_io_error_logic>([&] { s.put<std::int32_t>(1); }, refused));

    c_file_io::internal::CDummyIOProvider dummy;
    char buffer[4]{};
    EXPECT_TRUE(throws_with<c_RQ_io_error_logic>([&] { dummy.read(buffer, 4); }, refused));
    EXPECT_TRUE(throws_with<c_RQ_io_error_logic>([&] { dummy.write(buffer, 4); }, refused));
    EXPECT_TRUE(throws_with<c_RQ_io_error_logic>([&] { dummy.flush(); }, refused));
    EXPECT_TRUE(throws_with<c_RQ_io_error_logic>([&] { dummy.open(CHostString(u"a"), CHostString(u"rb")); }, refused));
    EXPECT_TRUE(throws_with<c_RQ_io_error_logic>([&] { dummy.close(); }, refused));
}

TEST(FileIoProvider, FileAndMemorySeekAndTellAgree) {
    temp_dir dir;
    for (const provider p : {provider::memory, provider::file}) {
        C_file_io s;
        if (p == provider::memory) s.open_memory();
        else s.open(host_path(dir.file("seek.bin")), u"wb");
        const std::int32_t v[4] = {10, 20, 30, 40};
        s.write(v, 4);
        EXPECT_EQ(s.tell(), 16u);
        s.seek(-8, seek_origin::current);
        s.put<std::int32_t>(33);  // overwrite in place
        EXPECT_EQ(s.tell(), 12u);
        s.seek(0, seek_origin::end);
        EXPECT_EQ(s.tell(), 16u);
        EXPECT_THROW(s.seek(-17, seek_origin::end), c_RQ_io_error);
        bytes_t b;
        if (p == provider::memory) {
            b = s.memory_bytes();
        } else {
            s.close();
            b = read_file(dir.file("seek.bin"));
        }
        EXPECT_EQ(b, cat({le<std::int32_t>(10), le<std::int32_t>(20), le<std::int32_t>(33), le<std::int32_t>(40)}));
    }
}

// ================================================================================================
// Blocks
// ================================================================================================

TEST(FileIoBlock, EmptyBlockWithFourByteLengthsIsIdAndZero) {
    C_file_io s;
    s.open_memory();
    s.set_dft_recording(true);
    s.dft_begin_w(0x0a0b0c0d);
    EXPECT_EQ(s.memory_bytes(), (bytes_t{0x0d, 0x0c, 0x0b, 0x0a, 0xff, 0xff, 0xff, 0xff}));  // placeholder -1
    s.dft_end_w();
    EXPECT_EQ(s.memory_bytes(), (bytes_t{0x0d, 0x0c, 0x0b, 0x0a, 0x00, 0x00, 0x00, 0x00}));
    ASSERT_EQ(s.directory().count(0x0a0b0c0d), 1u);
    EXPECT_EQ(s.directory().at(0x0a0b0c0d).offset, 0u);
    EXPECT_EQ(s.directory().at(0x0a0b0c0d).length, 8u);
    EXPECT_EQ(s.tell(), 8u);
}

TEST(FileIoBlock, TenBytePayloadWith64BitLengths) {
    stream_pair sp(provider::file);  // the length is patched by seeking back in a real file
    C_file_io& s = sp.writer();
    s.set_block_length_64(true);
    s.set_dft_recording(true);
    const std::uint8_t prefix[5] = {1, 2, 3, 4, 5};
    s.write(prefix, 5);
    s.dft_begin_w(42);
    const std::uint8_t payload[10] = {10, 11, 12, 13, 14, 15, 16, 17, 18, 19};
    s.write(payload, 10);
    s.dft_end_w();
    s.put<std::uint8_t>(0xee);  // lands after the block, not over the patched length
    ASSERT_EQ(s.directory().count(42), 1u);
    EXPECT_EQ(s.directory().at(42).offset, 5u);   // position of the id
    EXPECT_EQ(s.directory().at(42).length, 22u);  // 10 + 4 + 8
    const bytes_t b = sp.finish();
    EXPECT_EQ(b, cat({{1, 2, 3, 4, 5}, le<std::int32_t>(42), le<std::int64_t>(10),
                      {10, 11, 12, 13, 14, 15, 16, 17, 18, 19}, {0xee}}));
}

TEST(FileIoBlock, UnrecordedIdIsFramedButNotInTheDirectory) {
    C_file_io s;
    s.open_memory();
    s.set_dft_recording(true);
    s.dft_begin_w(C_file_io::kUnrecordedBlockId);
    s.put<std::int32_t>(5);
    s.dft_end_w();
    EXPECT_EQ(s.memory_bytes(), cat({le<std::int32_t>(-99), le<std::int32_t>(4), le<std::int32_t>(5)}));
    EXPECT_TRUE(s.directory().empty());
}

TEST(FileIoBlock, NestedScopesPatchBothLengths) {
    C_file_io s;
    s.open_memory();
    s.set_dft_recording(true);
    {
        C_file_DFT_scope_impl outer(s, 1);
        s.put<std::uint8_t>(0xaa);
        {
            C_file_DFT_scope_impl inner(s, 2);
            s.put<std::int32_t>(0x11223344);
        }
        EXPECT_EQ(s.dft_current_id(), 1);
        s.put<std::uint8_t>(0xbb);
    }
    // outer: id 1, length 14 = 1 + (4 + 4 + 4) + 1; inner at offset 9: id 2, length 4.
    EXPECT_EQ(s.memory_bytes(), cat({le<std::int32_t>(1), le<std::int32_t>(14), {0xaa}, le<std::int32_t>(2),
                                     le<std::int32_t>(4), le<std::int32_t>(0x11223344), {0xbb}}));
    ASSERT_EQ(s.directory().size(), 2u);
    EXPECT_EQ(s.directory().at(1).offset, 0u);
    EXPECT_EQ(s.directory().at(1).length, 22u);
    EXPECT_EQ(s.directory().at(2).offset, 9u);
    EXPECT_EQ(s.directory().at(2).length, 12u);
}

TEST(FileIoBlock, EndWithoutAnOpenBlockIsRefusedAndLeavesTheStreamAlone) {
    C_file_io s;
    s.open_memory();
    s.put<std::int32_t>(7);
    s.put<std::int32_t>(8);
    EXPECT_THROW(s.dft_end_w(), c_RQ_io_error_logic);
    s.dft_begin_w(3);
    s.dft_end_w();
    EXPECT_THROW(s.dft_end_w(), c_RQ_io_error_logic);  // ended once only
    EXPECT_EQ(s.memory_bytes(), cat({le<std::int32_t>(7), le<std::int32_t>(8), le<std::int32_t>(3), le<std::int32_t>(0)}));
}

TEST(FileIoBlock, ServiceIdsAreRefusedByBeginAndMustBeRegisteredForTheFinish) {
    C_file_io s;
    s.open_memory();
    EXPECT_THROW(s.dft_begin_w(C_file_io::kHeaderBlockId), c_RQ_io_error_logic);
    EXPECT_THROW(s.dft_begin_w(C_file_io::kDirectoryBlockId), c_RQ_io_error_logic);
    EXPECT_TRUE(s.memory_bytes().empty());

    auto& ids = s.service_ids();
    ids.erase(std::remove(ids.begin(), ids.end(), C_file_io::kDirectoryBlockId), ids.end());
    EXPECT_TRUE(throws_with<c_RQ_io_error_logic>(
        [&] { s.dft_finish_w(); },
        "C_file_io::dft_begin_w(protected): writing unregistered service block! Please register the block id in "
        "m_dft_service_ids."));
    EXPECT_TRUE(s.memory_bytes().empty());
}

// ================================================================================================
// Directory
// ================================================================================================

// Blocks 7 (three int32), -5 (two doubles), -99 (one byte, unrecorded) and 3 (empty) after the
// header block -100; the directory's entries by hand for both length widths.
struct directory_case {
    bool length64;
    std::uint64_t off7, len7, off_m5, len_m5, off3, len3, directory_pos;
};

const directory_case kDirectoryCases[] = {
    // header 8 bytes; 7 at 8 (8+12); -5 at 28 (8+16); -99 at 52 (8+1); 3 at 61 (8); -101 at 69.
    {false, 8, 20, 28, 24, 61, 8, 69},
    // header 12 bytes; 7 at 12 (12+12); -5 at 36 (12+16); -99 at 64 (12+1); 3 at 77 (12); -101 at 89.
    {true, 12, 24, 36, 28, 77, 12, 89},
};

void write_directory_stream(C_file_io& s, bool length64) {
    s.set_block_length_64(length64);
    s.dft_start_w();
    {
        C_file_DFT_scope_impl b(s, 7);
        const std::int32_t v[3] = {70, 71, 72};
        s.write(v, 3);
    }
    {
        C_file_DFT_scope_impl b(s, -5);
        const double v[2] = {-5.5, 1e300};
        s.write(v, 2);
    }
    {
        C_file_DFT_scope_impl b(s, C_file_io::kUnrecordedBlockId);
        s.put<std::uint8_t>(9);
    }
    {
        C_file_DFT_scope_impl b(s, 3);
    }
    s.dft_finish_w();
}

class FileIoDirectory : public ::testing::TestWithParam<std::tuple<provider, int>> {
protected:
    provider kind() const { return std::get<0>(GetParam()); }
    const directory_case& dc() const { return kDirectoryCases[std::get<1>(GetParam())]; }
};

TEST_P(FileIoDirectory, FinishLoadAndFindRoundTrip) {
    stream_pair sp(kind());
    C_file_io& w = sp.writer();
    write_directory_stream(w, dc().length64);
    const auto written = w.directory();
    sp.finish();

    ASSERT_EQ(written.size(), 3u);
    EXPECT_EQ(written.at(7).offset, dc().off7);
    EXPECT_EQ(written.at(7).length, dc().len7);
    EXPECT_EQ(written.at(-5).offset, dc().off_m5);
    EXPECT_EQ(written.at(-5).length, dc().len_m5);
    EXPECT_EQ(written.at(3).offset, dc().off3);
    EXPECT_EQ(written.at(3).length, dc().len3);

    C_file_io& r = sp.reader();
    r.set_block_length_64(dc().length64);
    r.seek(2, seek_origin::begin);  // a reader may sit anywhere: the load returns to that position
    ASSERT_TRUE(r.dft_load_r());
    EXPECT_EQ(r.tell(), 2u);
    ASSERT_EQ(r.directory().size(), 3u);
    for (const auto& [id, e] : written) {
        ASSERT_EQ(r.directory().count(id), 1u) << id;
        EXPECT_EQ(r.directory().at(id).offset, e.offset) << id;
        EXPECT_EQ(r.directory().at(id).length, e.length) << id;
    }

    auto len = r.dft_find_r(-5);
    ASSERT_TRUE(len.has_value());
    EXPECT_EQ(*len, 16);
    double d[2]{};
    r.read(d, 2);
    EXPECT_EQ(d[0], -5.5);
    EXPECT_EQ(d[1], 1e300);
    len = r.dft_find_r(7);
    ASSERT_TRUE(len.has_value());
    EXPECT_EQ(*len, 12);
    EXPECT_EQ(r.get<std::int32_t>(), 70);
    len = r.dft_find_r(3);
    ASSERT_TRUE(len.has_value());
    EXPECT_EQ(*len, 0);
    EXPECT_FALSE(r.dft_find_r(C_file_io::kUnrecordedBlockId).has_value());
    EXPECT_FALSE(r.dft_find_r(12345).has_value());

    // Sequential reading of the same stream: header, then the blocks by their framing.
    r.seek(0, seek_origin::begin);
    std::int32_t id = 0;
    std::int64_t length = 0;
    r.dft_begin_r(id, length);
    EXPECT_EQ(id, C_file_io::kHeaderBlockId);
    EXPECT_EQ(length, 0);
    r.dft_begin_r(id, length);
    EXPECT_EQ(id, 7);
    EXPECT_EQ(length, 12);
    r.dft_skip_r(length);
    r.dft_begin_r(id, length);
    EXPECT_EQ(id, -5);
    EXPECT_EQ(r.tell(), dc().off_m5 + (dc().length64 ? 12 : 8));
}

TEST_P(FileIoDirectory, TrailerLayoutByteByByte) {
    stream_pair sp(kind());
    write_directory_stream(sp.writer(), dc().length64);
    const bytes_t b = sp.finish();
    const std::size_t w = dc().length64 ? 8 : 4;
    const std::size_t d = dc().directory_pos;

    // The header block opens the stream: -100 and a zero length.
    EXPECT_EQ(bytes_t(b.begin(), b.begin() + static_cast<std::ptrdiff_t>(4 + w)),
              cat({le<std::int32_t>(-100), bytes_t(w, 0)}));

    // -101, the placeholder length that is never patched, an 8-byte zero, then a zlib stream.
    ASSERT_GT(b.size(), d + 4 + w + 8 + 4 + w);
    EXPECT_EQ(bytes_t(b.begin() + static_cast<std::ptrdiff_t>(d), b.begin() + static_cast<std::ptrdiff_t>(d + 4 + w + 8)),
              cat({le<std::int32_t>(-101), bytes_t(w, 0xff), bytes_t(8, 0)}));
    // The file ends with the directory's total length (from its id to the end of the zlib stream)
    // and the marker -101.
    const std::size_t total = b.size() - 4 - w - d;
    EXPECT_EQ(bytes_t(b.end() - static_cast<std::ptrdiff_t>(4 + w), b.end()),
              cat({le<std::uint64_t>(total, static_cast<int>(w)), le<std::int32_t>(-101)}));

    // The entries decode with raw zlib, which consumes exactly the bytes up to the length field.
    const std::size_t z_begin = d + 4 + w + 8;
    uLong z_len = static_cast<uLong>(b.size() - 4 - w - z_begin);
    bytes_t plain(256);
    uLongf plain_len = static_cast<uLongf>(plain.size());
    ASSERT_EQ(uncompress2(plain.data(), &plain_len, b.data() + z_begin, &z_len), Z_OK);
    EXPECT_EQ(z_len, b.size() - 4 - w - z_begin);
    plain.resize(plain_len);
    const bytes_t expected = cat({le<std::int32_t>(3),
                                  le<std::int32_t>(-5), le<std::uint64_t>(dc().off_m5), le<std::uint64_t>(dc().len_m5),
                                  le<std::int32_t>(3), le<std::uint64_t>(dc().off3), le<std::uint64_t>(dc().len3),
                                  le<std::int32_t>(7), le<std::uint64_t>(dc().off7), le<std::uint64_t>(dc().len7)});
    EXPECT_EQ(plain, expected);
}

TEST_P(FileIoDirectory, DamagedTrailerRaisesTheIoErrorOrIsHarmless) {
    stream_pair sp(kind());
    write_directory_stream(sp.writer(), dc().length64);
    const bytes_t good = sp.finish();
    const std::size_t w = dc().length64 ? 8 : 4;
    const std::size_t d = dc().directory_pos;
    const std::size_t z_begin = d + 4 + w + 8;
    const std::size_t z_end = good.size() - 4 - w;

    const auto load = [&](const bytes_t& b, std::map<std::int32_t, C_file_io::block_entry>* out) {
        C_file_io& r = sp.reader(&b);
        r.set_block_length_64(dc().length64);
        const bool ok = r.dft_load_r();
        if (out != nullptr) *out = r.directory();
        return ok;
    };

    // Total length: too large for the file, too small for a directory, and one byte off.
    for (const std::int64_t total : {std::int64_t{0x7ffffff0}, std::int64_t{3}, static_cast<std::int64_t>(good.size() - 4 - w - d + 1),
                                     static_cast<std::int64_t>(good.size() - 4 - w - d - 1)}) {
        bytes_t b = good;
        const bytes_t field = le<std::int64_t>(total, static_cast<int>(w));
        std::copy(field.begin(), field.end(), b.end() - static_cast<std::ptrdiff_t>(4 + w));
        EXPECT_THROW(load(b, nullptr), c_RQ_io_error) << total;
    }

    // Any byte of the zlib stream changed: always detected (checksum included).
    for (std::size_t i = z_begin; i < z_end; ++i) {
        bytes_t b = good;
        b[i] ^= 0x5a;
        EXPECT_THROW(load(b, nullptr), c_RQ_io_error) << "byte " << i;
    }

    // Any other byte of the trailer: no directory, an I/O error, or the same directory (the unused
    // placeholder) -- never another exception, never a different directory.
    std::map<std::int32_t, C_file_io::block_entry> reference;
    ASSERT_TRUE(load(good, &reference));
    for (std::size_t i = d; i < good.size(); ++i) {
        if (i >= z_begin && i < z_end) continue;
        bytes_t b = good;
        b[i] ^= 0x01;
        try {
            std::map<std::int32_t, C_file_io::block_entry> got;
            if (load(b, &got)) {
                ASSERT_EQ(got.size(), reference.size()) << "byte " << i;
                for (const auto& [id, e] : reference) {
                    EXPECT_EQ(got.at(id).offset, e.offset) << "byte " << i;
                    EXPECT_EQ(got.at(id).length, e.length) << "byte " << i;
                }
            }
        } catch (const c_RQ_io_error&) {
        }
    }

    // Truncated streams: no directory or an I/O error.
    for (std::size_t cut = 1; cut < good.size() - d; ++cut) {
        bytes_t b(good.begin(), good.end() - static_cast<std::ptrdiff_t>(cut));
        try {
            load(b, nullptr);
        } catch (const c_RQ_io_error&) {
        }
    }
}

INSTANTIATE_TEST_SUITE_P(ProvidersAndWidths, FileIoDirectory,
                         ::testing::Combine(::testing::Values(provider::memory, provider::file), ::testing::Values(0, 1)),
                         [](const ::testing::TestParamInfo<std::tuple<provider, int>>& pi) {
                             return std::string(std::get<0>(pi.param) == provider::memory ? "memory" : "file") +
                                    (std::get<1>(pi.param) == 0 ? "_len32" : "_len64");
                         });

TEST(FileIoDirectoryAbsent, StreamsWithoutADirectoryLoadNothing) {
    C_file_io s;
    // Empty, shorter than a trailer, and plain data of trailer size.
    for (const bytes_t& b : {bytes_t{}, bytes_t{0x9b, 0xff, 0xff, 0xff}, bytes_t(64, 0x00)}) {
        s.open_memory(b);
        EXPECT_FALSE(s.dft_load_r()) << b.size();
        EXPECT_EQ(s.tell(), 0u);
        EXPECT_TRUE(s.directory().empty());
    }
    // Blocks but no finish.
    s.open_memory();
    s.dft_start_w();
    s.dft_begin_w(1);
    s.put<double>(2.0);
    s.dft_end_w();
    const bytes_t blocks = s.memory_bytes();
    s.open_memory(blocks);
    s.seek(4, seek_origin::begin);
    EXPECT_FALSE(s.dft_load_r());
    EXPECT_EQ(s.tell(), 4u);
    EXPECT_FALSE(s.dft_find_r(1).has_value());
}

TEST(FileIoDirectoryAbsent, DirectoryThatDisagreesWithTheBlockIsAnError) {
    C_file_io s;
    s.open_memory();
    write_directory_stream(s, false);
    const bytes_t good = s.memory_bytes();
    // Block 7 (at offset 8): its length field no longer matches the directory's length 20.
    bytes_t b = good;
    const bytes_t wrong = le<std::int32_t>(11);
    std::copy(wrong.begin(), wrong.end(), b.begin() + 12);
    s.open_memory(b);
    ASSERT_TRUE(s.dft_load_r());
    EXPECT_THROW(s.dft_find_r(7), c_RQ_io_error);
    // Its id overwritten: the directory points at a different block.
    b = good;
    const bytes_t other = le<std::int32_t>(8);
    std::copy(other.begin(), other.end(), b.begin() + 8);
    s.open_memory(b);
    ASSERT_TRUE(s.dft_load_r());
    EXPECT_THROW(s.dft_find_r(7), c_RQ_io_error);
    EXPECT_TRUE(s.dft_find_r(-5).has_value());
}

// ================================================================================================
// Destructors log instead of throwing
// ================================================================================================

TEST(FileIoScopeDtor, BlockScopesOnAFailingProviderLogAndRestoreTheOuterBlock) {
    standalone_host::log_capture cap;
    C_file_io s;
    s.open_memory();
    s.set_dft_recording(true);
    {
        C_file_DFT_scope_impl outer(s, 11);
        {
            C_file_DFT_scope_impl inner(s, 12);
            s.put<std::int32_t>(1);
            s.close();  // the dummy provider takes over, and the open block went with the old one
        }
        EXPECT_EQ(s.dft_current_id(), 11);
        EXPECT_EQ(cap.count("ERROR: C_file_DFT_scope_impl::dtor: C_file_io::dft_end_w: no open block "), 1u);
    }
    // The outer block is known again, but ending it needs the provider.
    EXPECT_EQ(cap.count("ERROR: C_file_DFT_scope_impl::dtor: CDummyIOProvider: not implemented! "), 1u);
    const auto lines = cap.lines();
    ASSERT_EQ(lines.size(), 2u);
    for (const auto& line : lines) {
        EXPECT_EQ(line.entry, host_log::entry::error);
        EXPECT_EQ(line.text.back(), '\n');
        EXPECT_NE(line.text.find(" c_file_io_lib/c_file_io("), std::string::npos) << line.text;
    }
}

TEST(FileIoScopeDtor, BlockScopeEndingInsideACompressedSectionLogs) {
    standalone_host::log_capture cap;
    C_file_io s;
    s.open_memory();
    {
        C_file_DFT_scope_impl block(s, 4);
        s.begin_write_ZFILE();  // left open: the block cannot end inside it
    }
    EXPECT_EQ(cap.count("ERROR: C_file_DFT_scope_impl::dtor: "), 1u);
    s.end_write_ZFILE();
}

TEST(FileIoScopeDtor, StreamDestructorLogsAFailedClose) {
    standalone_host::log_capture cap;
    {
        C_file_io s;  // over the dummy: the section opens, its finishing flush cannot write
        s.begin_write_ZFILE();
        s.put<std::int32_t>(5);
    }
    EXPECT_EQ(cap.count("ERROR: C_file_io::dtor: CDummyIOProvider: not implemented! "), 1u);
}

}  // namespace
