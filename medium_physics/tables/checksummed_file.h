// What the library's table files share: a checksum trailer after the content and the atomic write.
//
// Trailer, 16 bytes at the end of a file: the covered length (unsigned 64-bit: the bytes from the
// start of the file to the trailer), the CRC-32 (zlib) of those bytes (unsigned 32-bit), and the
// marker kChemChecksumMarker ("MPC1" in file order, signed 32-bit), all little-endian.
//
// A file is written into a temporary file in the same folder, closed, read back for its checksum,
// completed with the trailer and renamed over the final name, so a crash or a second process
// writing the same file at the same time never leaves a half-written file under the final name.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>

class C_file_io;

// Last four bytes of a file that carries a checksum trailer ("MPC1" in file order).
inline constexpr std::int32_t kChemChecksumMarker = 0x3143504D;
inline constexpr std::uint64_t kChemChecksumTrailerBytes = 16;

namespace mp::tables {

// The stream's size in bytes; the position is kept.
std::uint64_t stream_size(C_file_io& stream);
// CRC-32 of the first `count` bytes of the stream; leaves the stream after them.
std::uint32_t crc_of_prefix(C_file_io& stream, std::uint64_t count);

struct checksum_trailer {
    bool present = false;     // the stream ends in the marker
    bool consistent = false;  // and the covered length ends where the trailer begins
    std::uint64_t covered = 0;
    std::uint32_t crc = 0;
};
// The trailer, when a stream of `size` bytes ends in the marker and has room for a trailer after
// `earliest` bytes. A damaged covered length still counts as a trailer (an inconsistent one), so
// that it cannot pass the file off as one without a checksum.
checksum_trailer find_checksum_trailer(C_file_io& stream, std::uint64_t size, std::uint64_t earliest);

// Writes `content` and the trailer that covers it into a temporary file beside `path` and renames
// it over `path`. False when any step fails (content's exceptions included): the temporary file is
// removed, whatever `path` held before is left, and `why` (optional) says what failed. Never throws.
bool write_checksummed_file(const std::filesystem::path& path, const std::function<void(C_file_io&)>& content,
                            std::string* why = nullptr);

}  // namespace mp::tables
