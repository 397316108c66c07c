#include "tables/checksummed_file.h"

#include <zlib.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <exception>
#include <random>
#include <system_error>
#include <vector>

#include "file_io/c_file_io/c_file_io.h"

namespace fs = std::filesystem;
using c_file_io::internal::seek_origin;

namespace mp::tables {

namespace {

// The checksum is computed over pieces of this size.
constexpr std::size_t kChecksumPiece = std::size_t{1} << 20;

CHostString host_path(const fs::path& p) { return CHostString(p.u16string()); }

// The ending of a temporary file name that no other process picks: fresh entropy on every call (an
// engine seeded once would repeat its names in forked processes).
std::string temporary_suffix() {
    std::uint64_t bits = 0;
    try {
        std::random_device rd;
        bits = (static_cast<std::uint64_t>(rd()) << 32) ^ rd();
    } catch (const std::exception&) {
        bits = static_cast<std::uint64_t>(std::chrono::steady_clock::now().time_since_epoch().count());
    }
    char text[32];
    std::snprintf(text, sizeof text, ".%016llx.tmp", static_cast<unsigned long long>(bits));
    return text;
}

}  // namespace

std::uint64_t stream_size(C_file_io& stream) {
    const std::uint64_t here = stream.tell();
    stream.seek(0, seek_origin::end);
    const std::uint64_t size = stream.tell();
    stream.seek(static_cast<std::int64_t>(here), seek_origin::begin);
    return size;
}

std::uint32_t crc_of_prefix(C_file_io& stream, std::uint64_t count) {
    stream.seek(0, seek_origin::begin);
    std::vector<std::uint8_t> piece(static_cast<std::size_t>(std::min<std::uint64_t>(count, kChecksumPiece)));
    uLong crc = crc32(0L, Z_NULL, 0);
    for (std::uint64_t done = 0; done < count;) {
        const auto n = static_cast<std::size_t>(std::min<std::uint64_t>(count - done, kChecksumPiece));
        stream.read(piece.data(), n);
        crc = crc32(crc, piece.data(), static_cast<uInt>(n));
        done += n;
    }
    return static_cast<std::uint32_t>(crc);
}

checksum_trailer find_checksum_trailer(C_file_io& stream, std::uint64_t size, std::uint64_t earliest) {
    checksum_trailer t;
    if (size < earliest + kChemChecksumTrailerBytes) return t;
    stream.seek(static_cast<std::int64_t>(size - kChemChecksumTrailerBytes), seek_origin::begin);
    t.covered = stream.get<std::uint64_t>();
    t.crc = stream.get<std::uint32_t>();
    t.present = stream.get<std::int32_t>() == kChemChecksumMarker;
    t.consistent = t.present && t.covered == size - kChemChecksumTrailerBytes;
    return t;
}

bool write_checksummed_file(const fs::path& path, const std::function<void(C_file_io&)>& content, std::string* why) {
    fs::path temporary;
    try {
        temporary = path;
        temporary += temporary_suffix();
        {
            C_file_io stream;
            stream.open(host_path(temporary), CHostString(u"wb"));
            content(stream);
            stream.close();  // flushes; a full disk fails here at the latest
        }
        {
            // Read back what reached the file, then append the trailer that covers it.
            C_file_io stream;
            stream.open(host_path(temporary), CHostString(u"rwb"));
            const std::uint64_t covered = stream_size(stream);
            const std::uint32_t crc = crc_of_prefix(stream, covered);
            stream.seek(0, seek_origin::end);
            stream.put(covered);
            stream.put(crc);
            stream.put(kChemChecksumMarker);
            stream.close();
        }
        std::error_code ec;
        fs::rename(temporary, path, ec);
        if (ec) {
            // Where renaming over an existing file is refused, remove it and rename once more; a
            // complete file another process renames into place meanwhile stays.
            std::error_code ignored;
            fs::remove(path, ignored);
            ec.clear();
            fs::rename(temporary, path, ec);
        }
        if (ec) throw fs::filesystem_error("cannot rename the written table file", temporary, path, ec);
        return true;
    } catch (const std::exception& e) {
        if (why != nullptr) {
            try {
                *why = e.what();
            } catch (...) {
            }
        }
    } catch (...) {
        if (why != nullptr) why->clear();
    }
    if (!temporary.empty()) {
        std::error_code ignored;
        fs::remove(temporary, ignored);
    }
    return false;
}

}  // namespace mp::tables
