// Arbitrary bytes as a memory stream, read the way saved objects read themselves: plain values,
// a compressed section of integers, doubles and a string, plain values after it; then the
// directory at the end of the stream and the blocks it names. The stream may raise its own two
// exceptions on bad input; anything else escaping (std::bad_alloc, std::length_error, a crash, a
// hang) is a bug.
//
// Input: byte 0 holds flags (bit 0: 64-bit block lengths, bit 1: swap byte order); the rest is
// the stream.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "file_io/c_file_io/c_file_io.h"
#include "file_io/c_file_io/scopes.h"
#include "medium_physics/standalone_host.h"

namespace {

// Counts read from the input are clamped: the point is the stream's handling of bad bytes, not
// allocating what a corrupt count asks for (the stream itself never allocates by a count).
constexpr std::int32_t kMaxValues = 4096;

std::size_t clamp_count(std::int32_t n) { return static_cast<std::size_t>(std::clamp(n, 0, kMaxValues)); }

void read_values(const std::uint8_t* data, std::size_t size, bool length64, bool swap) {
    C_file_io s;
    s.open_memory(data, size);
    s.set_block_length_64(length64);
    s.set_swap(swap);
    try {
        CHostString text;
        s.get<std::int32_t>();
        s.get<double>();
        s.read_string(text);
        {
            // An exception inside the section leaves through the scope's destructor, which
            // drains the rest of the section and logs instead of throwing.
            C_file_ZIP_scope zip(s, C_file_ZIP_scope::direction::read);
            std::vector<std::int32_t> ints(clamp_count(s.get<std::int32_t>()));
            s.read(ints.data(), ints.size());
            std::vector<double> doubles(clamp_count(s.get<std::int32_t>()));
            s.read(doubles.data(), doubles.size());
            s.read_string(text);
            host_guid id;
            s.read_guid(id);
            zip.close();
        }
        s.get<std::int64_t>();
        s.read_string(text);
    } catch (const c_RQ_io_error&) {
    } catch (const c_RQ_io_error_logic&) {
    }
}

void read_directory(const std::uint8_t* data, std::size_t size, bool length64, bool swap) {
    C_file_io s;
    s.open_memory(data, size);
    s.set_block_length_64(length64);
    s.set_swap(swap);
    try {
        if (!s.dft_load_r()) return;
        const auto directory = s.directory();  // a copy: reading blocks must not disturb it
        for (const auto& entry : directory) {
            const auto length = s.dft_find_r(entry.first);
            if (!length) continue;
            std::vector<std::uint8_t> payload(static_cast<std::size_t>(std::min<std::int64_t>(*length, 256)));
            s.read(payload.data(), payload.size());
        }
        // Sequential walk over the block headers from the start.
        s.seek(0, c_file_io::internal::seek_origin::begin);
        for (int i = 0; i < 64; ++i) {
            std::int32_t id = 0;
            std::int64_t length = 0;
            s.dft_begin_r(id, length);
            if (id == C_file_io::kDirectoryBlockId || length < 0) break;
            s.dft_skip_r(length);
        }
    } catch (const c_RQ_io_error&) {
    } catch (const c_RQ_io_error_logic&) {
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    // Scope destructors log the failures they swallow; the log is not what is under test.
    static const bool quiet = [] {
        standalone_host::set_log_observer([](host_log::entry, std::string_view) {});
        return true;
    }();
    (void)quiet;
    if (size == 0) return 0;
    const bool length64 = (data[0] & 1) != 0;
    const bool swap = (data[0] & 2) != 0;
    read_values(data + 1, size - 1, length64, swap);
    read_directory(data + 1, size - 1, length64, swap);
    return 0;
}
