// C_file_io: the binary block stream through which every object of the library saves and
// restores itself. Typed transfers of fixed-size values over a plain provider (file or memory) or,
// inside a compressed section, over the zlib engine; blocks framed by a 32-bit id and a length
// patched in when the block ends; an optional directory of blocks at the end of the stream.
//
// Files are written in little-endian order. With the swap flag set, plain reads byte-reverse
// every multi-byte value within its own width (compressed reads are never swapped).
// Failures are exceptions: c_RQ_io_error for a failed transfer, c_RQ_io_error_logic for misuse.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <vector>

#include "file_io/c_file_io/exceptions.h"
#include "file_io/c_file_io/providers.h"
#include "medium_physics/export.h"
#include "medium_physics/host_guid.h"
#include "medium_physics/host_string.h"

class C_FILE_IO_API C_file_io {
public:
    // Service blocks of the stream itself.
    static constexpr std::int32_t kHeaderBlockId = -100;     // opens a stream that carries a directory
    static constexpr std::int32_t kDirectoryBlockId = -101;  // the directory, and the final marker
    // Blocks with this id are framed normally but never enter the directory.
    static constexpr std::int32_t kUnrecordedBlockId = -99;

    struct block_entry {
        std::uint64_t offset = 0;  // position of the block's id field
        std::uint64_t length = 0;  // whole block: id, length field and payload
    };

    C_file_io();
    // Ends any open section and closes the provider; failures are logged
    // ("ERROR: C_file_io::dtor: ..."), never thrown.
    ~C_file_io();
    C_file_io(const C_file_io&) = delete;
    C_file_io& operator=(const C_file_io&) = delete;

    // --- providers -------------------------------------------------------------------------
    // Opens a file (see IFileIO::open for the mode characters; binary is always added).
    void open(const CHostString& path, const CHostString& mode);
    // Writes into a fresh, empty memory buffer.
    void open_memory();
    // Reads from (and may write over) a copy of `bytes`.
    void open_memory(std::vector<std::uint8_t> bytes);
    void open_memory(const void* bytes, std::size_t count);
    // Closes the provider (flushing it); the dummy provider takes its place.
    void close();
    bool is_open() const noexcept;
    // The memory provider, or nullptr when the stream is not over memory.
    c_file_io::internal::CMemoryIO* memory() noexcept { return m_memory; }
    // Bytes of the memory provider (empty when not over memory).
    std::vector<std::uint8_t> memory_bytes() const;

    // --- typed transfers: count elements; return the number transferred ----------------------
    std::size_t write(const std::uint8_t* src, std::size_t count);
    std::size_t write(const char* src, std::size_t count);
    std::size_t write(const std::int32_t* src, std::size_t count);
    std::size_t write(const std::uint32_t* src, std::size_t count);
    std::size_t write(const std::int64_t* src, std::size_t count);
    std::size_t write(const std::uint64_t* src, std::size_t count);
    std::size_t write(const double* src, std::size_t count);
    std::size_t write(const char16_t* src, std::size_t count);

    std::size_t read(std::uint8_t* dst, std::size_t count);
    std::size_t read(char* dst, std::size_t count);
    std::size_t read(std::int32_t* dst, std::size_t count);
    std::size_t read(std::uint32_t* dst, std::size_t count);
    std::size_t read(std::int64_t* dst, std::size_t count);
    std::size_t read(std::uint64_t* dst, std::size_t count);
    std::size_t read(double* dst, std::size_t count);
    std::size_t read(char16_t* dst, std::size_t count);

    // Single values.
    template <class T>
    void put(const T& value) { write(&value, 1); }
    template <class T>
    T get() { T value{}; read(&value, 1); return value; }

    // A string: signed 32-bit count n = length + 1, then n 16-bit characters with the closing 0;
    // the empty string is the count 0 alone. A negative count, or a count whose characters are not
    // there, raises c_RQ_io_error (the characters are read in chunks, so a corrupt count never
    // allocates more than the stream holds).
    void write_string(const CHostString& text);
    void read_string(CHostString& text);
    // 16 bytes in memory order.
    void write_guid(const host_guid& id);
    void read_guid(host_guid& id);

    // --- state flags ---------------------------------------------------------------------
    void set_swap(bool on) noexcept { m_swap = on; }
    bool swap() const noexcept { return m_swap; }
    void set_block_length_64(bool on) noexcept { m_length64 = on; }
    bool block_length_64() const noexcept { return m_length64; }
    void set_dft_recording(bool on) noexcept { m_dft_recording = on; }
    bool dft_recording() const noexcept { return m_dft_recording; }
    bool compression_on() const noexcept { return m_compression_on; }

    std::uint64_t tell();
    void seek(std::int64_t offset, c_file_io::internal::seek_origin origin);

    // --- blocks: writing ------------------------------------------------------------------
    // Begins the header service block -100 (empty) and switches directory recording on.
    void dft_start_w();
    // Begins a block: id, then a placeholder length (-1, 4 or 8 bytes). Service ids (-100, -101)
    // are refused; use the stream's own operations for them.
    void dft_begin_w(std::int32_t id);
    // Ends the open block: patches its payload length and records it in the directory (unless its
    // id is -99 or recording is off).
    void dft_end_w();
    // Writes the directory as service block -101, its total length and the final marker -101.
    void dft_finish_w();
    // Current block state, for scopes that nest blocks.
    std::int32_t dft_current_id() const noexcept { return m_current_id; }
    std::uint64_t dft_length_position() const noexcept { return m_length_pos; }
    void dft_restore(std::int32_t id, std::uint64_t length_pos) noexcept {
        m_current_id = id;
        m_length_pos = length_pos;
    }
    const std::map<std::int32_t, block_entry>& directory() const noexcept { return m_directory; }
    std::vector<std::int32_t>& service_ids() noexcept { return m_service_ids; }

    // --- blocks: reading ------------------------------------------------------------------
    // Reads a block header at the current position: its id and payload length. A block whose
    // length field still holds the placeholder -1 (the directory block) reports length -1.
    void dft_begin_r(std::int32_t& id, std::int64_t& length);
    // Skips `length` payload bytes (an unknown block).
    void dft_skip_r(std::int64_t length);
    // Loads the directory from the end of the stream. False when the stream has none (no final
    // marker); a damaged directory raises c_RQ_io_error.
    bool dft_load_r();
    // Positions the stream at the payload of block `id` found through the directory and returns
    // its payload length; nullopt when the directory does not know the id.
    std::optional<std::int64_t> dft_find_r(std::int32_t id);

    // --- compressed sections ---------------------------------------------------------------
    void begin_write_ZFILE();
    void end_write_ZFILE();
    void begin_read_ZFILE();
    void end_read_ZFILE();
    // Ends whatever section is open, swallowing failures (destructors).
    void end_ZFILE_noexcept() noexcept;

protected:
    // Begins a registered service block; an unregistered id raises c_RQ_io_error_logic.
    void dft_begin_w_service(std::int32_t id);

private:
    void begin_block(std::int32_t id);
    void write_bytes(const void* src, std::size_t bytes);
    void read_bytes(void* dst, std::size_t bytes, std::size_t width);
    void write_length(std::int64_t length);
    std::int64_t read_length();
    void attach(std::unique_ptr<c_file_io::internal::IIOProvider> provider);

    std::unique_ptr<c_file_io::internal::IIOProvider> m_provider;
    c_file_io::internal::IFileIO* m_file = nullptr;        // the provider as a file, if it is one
    c_file_io::internal::CMemoryIO* m_memory = nullptr;    // the provider as memory, if it is
    std::unique_ptr<c_file_io::internal::CZEngine> m_zengine;

    bool m_compression_on = false;
    bool m_length64 = false;
    bool m_swap = false;
    bool m_dft_recording = false;
    std::int32_t m_current_id = 0;
    std::uint64_t m_length_pos = 0;
    std::map<std::int32_t, block_entry> m_directory;
    std::vector<std::int32_t> m_service_ids{kHeaderBlockId, kDirectoryBlockId};
};
