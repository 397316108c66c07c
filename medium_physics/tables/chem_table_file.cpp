#include "tables/chem_table_file.h"

#include <algorithm>
#include <exception>
#include <vector>

#include "file_io/c_file_io/c_file_io.h"
#include "medium_physics/host_object.h"
#include "medium_physics/host_system.h"
#include "factory/mp_log.h"

namespace fs = std::filesystem;
using c_file_io::internal::seek_origin;

namespace {

CHostString host_path(const fs::path& p) { return CHostString(p.u16string()); }

using mp::tables::checksum_trailer;
using mp::tables::crc_of_prefix;
using mp::tables::stream_size;

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
                const checksum_trailer t = mp::tables::find_checksum_trailer(stream, report.file_bytes,
                                                                             std::max(report.table_bytes, check_end));
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
    return mp::tables::write_checksummed_file(
        path,
        [&](C_file_io& stream) {
            table.write(stream);
            check.write_check_record(stream);
        },
        why);
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
