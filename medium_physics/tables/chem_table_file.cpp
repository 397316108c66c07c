#include "tables/chem_table_file.h"

#include <zlib.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <exception>
#include <random>
#include <system_error>
#include <vector>

#include "file_io/c_file_io/c_file_io.h"
#include "medium_physics/host_object.h"
#include "medium_physics/host_system.h"
#include "factory/mp_log.h"

namespace fs = std::filesystem;
using c_file_io::internal::seek_origin;

namespace {

// The checksum is computed over pieces of this size.
constexpr std::size_t kChecksumPiece = std::size_t{1} << 20;

CHostString host_path(const fs::path& p) { return CHostString(p.u16string()); }

std::uint64_t stream_size(C_file_io& stream) {
    const std::uint64_t here = stream.tell();
    stream.seek(0, seek_origin::end);
    const std::uint64_t size = stream.tell();
    stream.seek(static_cast<std::int64_t>(here), seek_origin::begin);
    return size;
}

// CRC-32 of the first `count` bytes of the stream; leaves the stream after them.
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

struct trailer {
    bool present = false;  // the stream ends in the marker
    bool consistent = false;  // and the covered length ends where the trailer begins
    std::uint64_t covered = 0;
    std::uint32_t crc = 0;
};

// The trailer, when a stream of `size` bytes ends in the marker and has room for a trailer after
// `earliest` bytes. A damaged covered length still counts as a trailer (an inconsistent one), so
// that it cannot pass the file off as one without a checksum.
trailer find_trailer(C_file_io& stream, std::uint64_t size, std::uint64_t earliest) {
    trailer t;
    if (size < earliest + kChemChecksumTrailerBytes) return t;
    stream.seek(static_cast<std::int64_t>(size - kChemChecksumTrailerBytes), seek_origin::begin);
    t.covered = stream.get<std::uint64_t>();
    t.crc = stream.get<std::uint32_t>();
    t.present = stream.get<std::int32_t>() == kChemChecksumMarker;
    t.consistent = t.present && t.covered == size - kChemChecksumTrailerBytes;
    return t;
}

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

// ---- the identifier check record ---------------------------------------------------------------

void CChemIdentifierCheck::write_check_record(C_file_io& stream) const { stream.write_guid(m_identifier); }

bool CChemIdentifierCheck::read_check_record(C_file_io& stream) const {
    host_guid id;
    stream.read_guid(id);
    return id == m_identifier;
}

// ---- file name ---------------------------------------------------------------------------------

fs::path chem_table_file_path(const host_guid& identifier, bool nox, chem_variant variant) {
    CHostString directory;
    if (IProductDependentFunctions* product = GetProductDependentFunctionsInterface(); product != nullptr)
        product->GetProductDirectory(directory);
    std::u16string name = guid_utils::ToString(identifier).str();
    if (nox) name += u"_NOX";
    name += variant == chem_variant::PT ? u"_PT.tbl" : u"_VT.tbl";
    return fs::path(directory.str()) / fs::path(name);
}

const char* to_text(chem_file_status status) noexcept {
    switch (status) {
        case chem_file_status::ok: return "ok";
        case chem_file_status::cannot_open: return "the file does not open";
        case chem_file_status::truncated: return "the file ends inside a record";
        case chem_file_status::bad_record: return "the table's record is refused";
        case chem_file_status::wrong_sizes: return "the table's grid sizes are not the requested ones";
        case chem_file_status::check_mismatch: return "the file was computed for another substance or other options";
        case chem_file_status::bad_checksum: return "the checksum does not match the content";
    }
    return "unknown status";
}

// ---- reading -----------------------------------------------------------------------------------

chem_file_report read_chem_table(C_file_io& stream, C_3d_Chem_property& table, const IChemSubstanceCheck* check) {
    chem_file_report report;
    try {
        report.file_bytes = stream_size(stream);
        stream.seek(0, seek_origin::begin);
        if (!table.read(stream, report.body_version, report.read_error)) {
            report.status = chem_file_status::bad_record;
        } else {
            report.table_bytes = stream.tell();
            std::uint64_t check_end = 0;
            if (check != nullptr) {
                if (!check->read_check_record(stream)) report.status = chem_file_status::check_mismatch;
                check_end = stream.tell();
            }
            if (report.status == chem_file_status::ok) {
                const trailer t = find_trailer(stream, report.file_bytes, std::max(report.table_bytes, check_end));
                if (t.present) {
                    report.stored_crc = t.crc;
                    const bool matches = t.consistent && crc_of_prefix(stream, t.covered) == t.crc;
                    report.checksum = matches ? chem_checksum_state::valid : chem_checksum_state::mismatch;
                    // The trailer must follow the check record directly: it covers exactly what was read.
                    if (!matches || (check != nullptr && t.covered != check_end))
                        report.status = chem_file_status::bad_checksum;
                }
                const std::uint64_t end =
                    check != nullptr ? check_end : (t.present ? report.file_bytes - kChemChecksumTrailerBytes : report.file_bytes);
                report.check_bytes = end - report.table_bytes;
            }
        }
    } catch (const std::exception& e) {
        report.status = chem_file_status::truncated;
        report.detail = e.what();
    }
    if (report.status != chem_file_status::ok) table.clear();
    return report;
}

chem_file_report read_chem_table_file(const fs::path& path, C_3d_Chem_property& table,
                                      const IChemSubstanceCheck* check) {
    chem_file_report report;
    try {
        C_file_io stream;
        try {
            stream.open(host_path(path), CHostString(u"rb"));
        } catch (const std::exception& e) {
            report.status = chem_file_status::cannot_open;
            report.detail = e.what();
            table.clear();
            return report;
        }
        report = read_chem_table(stream, table, check);
        stream.close();
    } catch (const std::exception& e) {
        // closing a file that was only read does not fail in practice; if it does, the table stands
        report.detail = e.what();
    }
    return report;
}

// ---- writing -----------------------------------------------------------------------------------

bool write_chem_table_file(const fs::path& path, const C_3d_Chem_property& table, const IChemSubstanceCheck& check,
                           std::string* why) {
    fs::path temporary;
    try {
        temporary = path;
        temporary += temporary_suffix();
        {
            C_file_io stream;
            stream.open(host_path(temporary), CHostString(u"wb"));
            table.write(stream);
            check.write_check_record(stream);
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

// ---- restore -----------------------------------------------------------------------------------

namespace {

bool has_requested_sizes(const C_3d_Chem_property& table, const chem_table_request& request) noexcept {
    return table.size(0) == request.n1 && table.size(1) == request.n2 && table.size(2) == request.n3;
}

chem_restore_result restore(C_3d_Chem_property& table, const chem_table_request& request,
                            IChemPropertyGenerator& generator, const IChemSubstanceCheck& check, IHostMessageSink* sink) {
    using mp::line_kind;
    const fs::path path = chem_table_file_path(request.identifier, request.nox, table.variant());
    mp::log_line(sink, line_kind::message, "Chemistry: Restoring previously calculated table ...\n");

    chem_file_report report = read_chem_table_file(path, table, &check);
    if (report.status == chem_file_status::ok && !has_requested_sizes(table, request)) {
        report.status = chem_file_status::wrong_sizes;
        table.clear();
    }
    if (report.status == chem_file_status::ok) {
        if (report.body_version == 0) {
            table.set_two_stream(request.two_stream);
            table.set_stream_parameter(request.stream_parameter);
        }
        mp::log_line(sink, line_kind::message, "Chemistry: Restoring table succeeded\n");
        return chem_restore_result::restored;
    }
    MP_LOG(sink, line_kind::message, "MediumPhysics: %s(%d): Chemistry: %s\n",
           report.status == chem_file_status::bad_record ? to_text(report.read_error) : to_text(report.status));
    mp::log_line(sink, line_kind::message, "Chemistry: Restoring table failed\n");

    bool generated = false;
    try {
        generated = generator.generate(table, request.n1, request.n2, request.n3);
    } catch (...) {
        generated = false;
    }
    if (!generated || !has_requested_sizes(table, request)) {
        table.clear();
        MP_LOG(sink, line_kind::error,
               "ERROR: MediumPhysics: %s(%d): Chemistry: the chemistry table could not be computed\n");
        return chem_restore_result::failed;
    }
    table.set_two_stream(request.two_stream);
    table.set_stream_parameter(request.stream_parameter);

    if (!generator.keep_in_file()) return chem_restore_result::computed_not_saved;
    std::string why;
    if (CHost_Utils::CheckDiskSpace(host_path(path), request.required_free_bytes)) {
        if (write_chem_table_file(path, table, check, &why)) return chem_restore_result::computed_and_saved;
        MP_LOG(sink, line_kind::message, "MediumPhysics: %s(%d): Chemistry: %s\n", why.c_str());
    }
    mp::log_line(sink, line_kind::warning, "Chemistry: Can't write file %s\n", host_path(path).to_utf8().c_str());
    return chem_restore_result::computed_not_saved;
}

}  // namespace

chem_restore_result restore_chem_table(C_3d_Chem_property& table, const chem_table_request& request,
                                       IChemPropertyGenerator& generator, const IChemSubstanceCheck& check,
                                       IHostMessageSink* sink) {
    try {
        return restore(table, request, generator, check, sink);
    } catch (...) {
        // only an allocation of a name or a message can fail here
        table.clear();
        return chem_restore_result::failed;
    }
}
