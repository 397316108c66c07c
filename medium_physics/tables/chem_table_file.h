// Table files of the chemistry tables: computed once, kept in the host's product directory and
// restored on the next run instead of being computed again.
//
// File name: <product directory>/<substance identifier>[_NOX]_PT.tbl (or _VT.tbl), the identifier
// in its canonical text form (guid_utils::ToString).
//
// Content, in order:
//   1. the table's record (C_3d_Chem_property::write);
//   2. the owning substance's check record (IChemSubstanceCheck), which says which substance and
//      which options the table was computed for;
//   3. a checksum trailer of 16 bytes: the covered length (unsigned 64-bit: the bytes from the
//      start of the file to the trailer), the CRC-32 (zlib) of those bytes (unsigned 32-bit), and
//      the marker kChemChecksumMarker (signed 32-bit), all little-endian.
// The trailer lies after everything a reader of the plain format consumes (table record, then
// check record), so such a reader reads these files unchanged and ignores the trailer; and a file
// without a trailer, written by such a writer, is accepted here as it is.
//
// Files are written atomically: into a temporary file in the same folder, closed, then renamed
// over the final name, so a crash or a second process writing the same table at the same time
// never leaves a half-written file under the final name.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

#include "tables/c_3d_property.h"
#include "tables/checksummed_file.h"
#include "medium_physics/host_guid.h"

class C_file_io;
class IHostMessageSink;

// Free space a volume must have before a table file is written on it (100 MiB).
inline constexpr std::uint64_t kChemTableFreeBytes = 104857600;

// Computes a chemistry table (the equilibrium composition over the grid).
class IChemPropertyGenerator {
public:
    virtual ~IChemPropertyGenerator() = default;
    // Builds a fresh table of n1 x n2 x n3 grid points into `table`, whose class decides PT or
    // VT: C_3d_Chem_property::create, then the axes and every field. True when the table is
    // complete; it must have the requested sizes.
    virtual bool generate(C_3d_Chem_property& table, std::int32_t n1, std::int32_t n2, std::int32_t n3) = 0;
    // False when the last table is usable but must not be kept in its file (it holds nodes the
    // generator could not compute), so that the next run computes it again.
    virtual bool keep_in_file() const noexcept { return true; }
};

// The record a combustible substance writes after its table, so that a file computed for another
// substance, or for other options, is not restored.
class IChemSubstanceCheck {
public:
    virtual ~IChemSubstanceCheck() = default;
    virtual void write_check_record(C_file_io& stream) const = 0;
    // Reads the record written by write_check_record; true when it matches this substance. Stream
    // failures throw the stream's exceptions; a damaged record must be refused, never trusted.
    virtual bool read_check_record(C_file_io& stream) const = 0;
};

// The check record of a substance known by its identifier alone: the identifier's 16 bytes.
class CChemIdentifierCheck final : public IChemSubstanceCheck {
public:
    explicit CChemIdentifierCheck(const host_guid& identifier) : m_identifier(identifier) {}
    void write_check_record(C_file_io& stream) const override;
    bool read_check_record(C_file_io& stream) const override;

private:
    host_guid m_identifier;
};

// What the owning substance asks of a restore.
struct chem_table_request {
    host_guid identifier;
    bool nox = false;  // the substance is built with its NOx option ("_NOX" in the file name)
    std::int32_t n1 = 0, n2 = 0, n3 = 0;  // grid sizes from the substance description
    // From the substance description: used for a fresh table and for a file of body version 0,
    // which does not carry them.
    bool two_stream = false;
    double stream_parameter = 0.0;
    std::uint64_t required_free_bytes = kChemTableFreeBytes;
};

// <product directory>/<identifier>[_NOX]<ending of the variant>.
std::filesystem::path chem_table_file_path(const host_guid& identifier, bool nox, chem_variant variant);

enum class chem_file_status : std::int32_t {
    ok = 0,
    cannot_open,     // no such file, or it does not open for reading
    truncated,       // the file ends inside a record (or the stream failed otherwise)
    bad_record,      // the table's record is refused (report.read_error says why)
    wrong_sizes,     // the table's grid sizes are not the requested ones
    check_mismatch,  // the check record is not the substance's
    bad_checksum,    // the checksum trailer does not match the content
};
const char* to_text(chem_file_status status) noexcept;

enum class chem_checksum_state : std::int32_t { absent, valid, mismatch };

// What reading a table file found.
struct chem_file_report {
    chem_file_status status = chem_file_status::ok;
    chem_read_error read_error = chem_read_error::none;
    std::uint8_t body_version = 0xFF;
    chem_checksum_state checksum = chem_checksum_state::absent;
    std::uint32_t stored_crc = 0;  // the trailer's CRC-32 (when there is a trailer)
    std::uint64_t file_bytes = 0;
    std::uint64_t table_bytes = 0;  // the table's record
    std::uint64_t check_bytes = 0;  // the check record (without `check`: what lies between table and trailer)
    std::string detail;             // the stream's message, for a truncated file
};

// Reads a table file from an open stream (a file, or memory), from its start: the table record,
// the check record when `check` is given (else whatever lies between table and trailer is
// skipped), and the trailer, whose checksum is verified. On any status but ok the table is left
// empty. Never throws.
chem_file_report read_chem_table(C_file_io& stream, C_3d_Chem_property& table, const IChemSubstanceCheck* check);
// The same for the file at `path`, opened for reading (in | binary) and closed in every case.
chem_file_report read_chem_table_file(const std::filesystem::path& path, C_3d_Chem_property& table,
                                      const IChemSubstanceCheck* check);

// Writes the table, the check record and the checksum trailer into a temporary file beside `path`
// and renames it over `path`. False when any step fails: the temporary file is removed, whatever
// `path` held before is left, and `why` (optional) says what failed. Never throws.
bool write_chem_table_file(const std::filesystem::path& path, const C_3d_Chem_property& table,
                           const IChemSubstanceCheck& check, std::string* why = nullptr);

enum class chem_restore_result : std::int32_t {
    restored = 0,        // read from the table file
    computed_and_saved,  // the file did not restore; a fresh table was computed and written
    computed_not_saved,  // computed, but not written (too little disk space, the file did not write, or
                         // the generator asks not to keep this table)
    failed,              // the generator failed: the table is empty
};

// The restore a combustible substance runs once when it is built: reads the table file of
// `table`'s kind for the request, and when that fails computes a fresh table with `generator`
// and writes it back. Logs through `sink` (or the host log without one)
//   "Chemistry: Restoring previously calculated table ...\n", then
//   "Chemistry: Restoring table succeeded\n", or the reason and "Chemistry: Restoring table failed\n",
// and, when a fresh table cannot be written, "Chemistry: Can't write file <path>\n" (to the
// warning entry). Never throws.
chem_restore_result restore_chem_table(C_3d_Chem_property& table, const chem_table_request& request,
                                       IChemPropertyGenerator& generator, const IChemSubstanceCheck& check,
                                       IHostMessageSink* sink);
