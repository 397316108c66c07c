// Providers: where a C_file_io stream's bytes go. A plain file, a memory buffer, a dummy that
// refuses everything (in place while nothing is open), and the zlib engine of compressed sections.
#pragma once

#include <cstddef>
#include <cstdint>
#include <fstream>
#include <memory>
#include <vector>

#include <zlib.h>

#include "file_io/c_file_io/exceptions.h"
#include "medium_physics/export.h"
#include "medium_physics/host_string.h"

namespace c_file_io::internal {

enum class seek_origin { begin, current, end };

class C_FILE_IO_API IProvider {
public:
    virtual ~IProvider();
};

class C_FILE_IO_API IRWProvider : public virtual IProvider {
public:
    // Each returns the number of bytes moved; a shortfall is the caller's to report.
    virtual std::size_t read(void* dst, std::size_t count) = 0;
    virtual std::size_t write(const void* src, std::size_t count) = 0;
};

class C_FILE_IO_API ISeekProvider : public virtual IProvider {
public:
    virtual std::uint64_t tell() = 0;
    // Throws c_RQ_io_error when the target lies before the start or the device cannot seek.
    virtual void seek(std::int64_t offset, seek_origin origin) = 0;
};

class C_FILE_IO_API IIOProvider : public IRWProvider, public ISeekProvider {
public:
    // Pushes buffered bytes to the device.
    virtual void flush() = 0;
};

class C_FILE_IO_API IFileIO : public virtual IProvider {
public:
    // `mode`: 'r' in, 'w' out, 'a' append, 'b' binary, '+' nothing; any other character raises
    // "CInternalIO::openmode_to_ios: Not implemented openmode!". Throws c_RQ_io_error when the
    // file cannot be opened.
    virtual void open(const CHostString& path, const CHostString& mode) = 0;
    virtual void close() = 0;
    virtual bool is_open() const = 0;
};

// Translates an open-mode string into standard stream flags (the rule of IFileIO::open).
C_FILE_IO_API std::ios_base::openmode openmode_to_ios(const CHostString& mode);

// A plain file, always opened binary.
class C_FILE_IO_API CInternalIO final : public IIOProvider, public IFileIO {
public:
    CInternalIO();
    ~CInternalIO() override;
    void open(const CHostString& path, const CHostString& mode) override;
    void close() override;
    bool is_open() const override;
    std::size_t read(void* dst, std::size_t count) override;
    std::size_t write(const void* src, std::size_t count) override;
    std::uint64_t tell() override;
    void seek(std::int64_t offset, seek_origin origin) override;
    void flush() override;

private:
    std::fstream m_file;
};

// In place while no file is open: every operation raises
// c_RQ_io_error_logic("CDummyIOProvider: not implemented!").
class C_FILE_IO_API CDummyIOProvider final : public IIOProvider, public IFileIO {
public:
    void open(const CHostString& path, const CHostString& mode) override;
    void close() override;
    bool is_open() const override;
    std::size_t read(void* dst, std::size_t count) override;
    std::size_t write(const void* src, std::size_t count) override;
    std::uint64_t tell() override;
    void seek(std::int64_t offset, seek_origin origin) override;
    void flush() override;
};

// A growable memory buffer with a position, for tests and for hosts that keep state in memory.
// Writes past the end grow the buffer; reads stop at its end.
class C_FILE_IO_API CMemoryIO final : public IIOProvider {
public:
    CMemoryIO() = default;
    explicit CMemoryIO(std::vector<std::uint8_t> bytes);
    CMemoryIO(const void* bytes, std::size_t count);
    ~CMemoryIO() override;

    std::size_t read(void* dst, std::size_t count) override;
    std::size_t write(const void* src, std::size_t count) override;
    std::uint64_t tell() override;
    void seek(std::int64_t offset, seek_origin origin) override;
    void flush() override;

    // Grows the capacity so that `bytes` fit without reallocation.
    void reserve(std::size_t bytes);
    const std::uint8_t* data() const noexcept { return m_data.get(); }
    std::size_t size() const noexcept { return m_size; }
    std::vector<std::uint8_t> bytes() const { return {m_data.get(), m_data.get() + m_size}; }

private:
    std::unique_ptr<std::uint8_t[]> m_data;  // capacity bytes, the first m_size of them valid
    std::size_t m_capacity = 0;
    std::size_t m_size = 0;
    std::size_t m_pos = 0;
};

// The zlib engine of a compressed section. It buffers 4096 uncompressed bytes, deflates them into
// the file provider while writing, and inflates from it while reading; when a read section ends
// it seeks the file back over the compressed input it did not consume, so plain data after the
// section read back exactly.
class C_FILE_IO_API CZEngine final : public IRWProvider {
public:
    static constexpr std::uint32_t kBufferSize = 4096;
    // Level the stream's engines are built with; 0 selects kDefaultLevel.
    static constexpr std::uint32_t kStreamLevel = 0;
    // zlib level used for kStreamLevel: level 1. On full-precision property tables (bench_zip)
    // level 6 shrinks the output no further (ratio 1.513 against 1.516) and deflates 3x slower.
    static constexpr int kDefaultLevel = 1;

    explicit CZEngine(std::uint32_t level = kStreamLevel);
    ~CZEngine() override;
    CZEngine(const CZEngine&) = delete;
    CZEngine& operator=(const CZEngine&) = delete;

    void set_read_FILE(IRWProvider* reader, ISeekProvider* seeker);
    void set_write_FILE(IRWProvider* writer);
    // Ends the open section (finishing flush / seek-back), then ends the zlib state. Mode 0 after.
    void close();
    // close() that swallows every exception (destructors).
    void close_noexcept() noexcept;

    std::size_t read(void* dst, std::size_t count) override;
    std::size_t write(const void* src, std::size_t count) override;
    // Positional reads are refused: "CZEngine::read(dst, count, offset) not implemented!".
    std::size_t read(void* dst, std::size_t count, std::uint64_t offset);

    std::int32_t mode() const noexcept { return m_mode; }
    bool end_of_input() const noexcept { return m_end_of_input; }

private:
    void flush_out(bool finish);
    // Refills the uncompressed buffer. `draining` is set while a read section is being closed:
    // reaching the end of the zlib stream is then the goal, not a read past the section's end.
    bool flush_in(bool draining = false);

    z_stream m_z{};
    std::int32_t m_mode = 0;  // 0 closed, 1 reading, 2 writing
    bool m_opened_once = false;
    bool m_z_live = false;
    std::uint32_t m_pos = 0;    // next byte to fill (writing) or hand out (reading)
    std::uint32_t m_avail = 0;  // decompressed bytes in the buffer (reading)
    std::uint32_t m_level;
    std::vector<std::uint8_t> m_plain;       // uncompressed buffer
    std::vector<std::uint8_t> m_compressed;  // compressed buffer
    IRWProvider* m_file_rw = nullptr;
    ISeekProvider* m_file_seek = nullptr;
    bool m_end_of_input = false;
    bool m_output_pending = false;  // the last inflate filled the buffer; zlib may hold more
    bool m_damaged = false;         // inflate reported an error (bad data or checksum)
};

}  // namespace c_file_io::internal
