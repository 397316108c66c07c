// CZEngine: the zlib provider of compressed sections.
#include <algorithm>
#include <cstring>

#include "file_io/c_file_io/providers.h"
#include "medium_physics/host_log.h"

namespace c_file_io::internal {

namespace {
[[noreturn]] void io_error(const char* message) { throw c_RQ_io_error(message); }
[[noreturn]] void logic_error(const char* message) { throw c_RQ_io_error_logic(message); }
}  // namespace

CZEngine::CZEngine(std::uint32_t level)
    : m_level(level), m_plain(kBufferSize, 0), m_compressed(kBufferSize, 0) {}

CZEngine::~CZEngine() { close_noexcept(); }

void CZEngine::set_read_FILE(IRWProvider* reader, ISeekProvider* seeker) {
    if (m_mode != 0) logic_error("CZEngine::set_read_FILE can set file stream only in closed state");
    m_z = z_stream{};
    if (inflateInit(&m_z) != Z_OK) io_error("CZEngine::set_read_FILE: inflateInit failed");
    m_z_live = true;
    m_file_rw = reader;
    m_file_seek = seeker;
    m_mode = 1;
    m_opened_once = true;
    m_end_of_input = false;
    m_output_pending = false;
    m_damaged = false;
    m_pos = m_avail = 0;
}

void CZEngine::set_write_FILE(IRWProvider* writer) {
    if (m_mode != 0) logic_error("CZEngine::set_write_FILE can set file stream only in closed state");
    m_z = z_stream{};
    const int level = m_level == 0 ? kDefaultLevel : static_cast<int>(std::min<std::uint32_t>(m_level, 9));
    if (deflateInit(&m_z, level) != Z_OK) io_error("CZEngine::set_write_FILE: deflateInit failed");
    m_z_live = true;
    m_file_rw = writer;
    m_file_seek = nullptr;
    m_mode = 2;
    m_opened_once = true;
    m_end_of_input = false;
    m_pos = m_avail = 0;
}

void CZEngine::close() {
    if (m_mode == 0) return;
    // Whatever happens below, the section ends and the zlib state is released.
    struct release_on_exit {
        CZEngine& e;
        ~release_on_exit() {
            if (e.m_z_live) {
                if (e.m_mode == 1) inflateEnd(&e.m_z);
                else deflateEnd(&e.m_z);
                e.m_z_live = false;
            }
            e.m_mode = 0;
            e.m_file_rw = nullptr;
            e.m_file_seek = nullptr;
        }
    } guard{*this};
    if (m_mode == 1) {
        // Drain to the end of the zlib stream so that the unconsumed input goes back to the file.
        const bool reported = m_damaged;  // a failed read has already told the caller
        while (!m_end_of_input) {
            if (!flush_in(true)) break;
        }
        // A bad checksum shows only at the end of the zlib stream, often after the reader has
        // taken all it wanted; a section that did not decode cleanly must not pass silently.
        if (m_damaged && !reported) io_error("CZEngine::close: damaged compressed section");
    } else {
        flush_out(true);
    }
}

void CZEngine::close_noexcept() noexcept {
    try {
        close();
    } catch (...) {
    }
}

std::size_t CZEngine::write(const void* src, std::size_t count) {
    if (!m_opened_once) logic_error("CZEngine::write is called without call to begin_write_ZFILE");
    if (m_mode != 2) logic_error("CZEngine::write unproper operation");
    if (count == 0) return 0;
    const auto* in = static_cast<const std::uint8_t*>(src);
    std::size_t left = count;
    while (left > 0) {
        if (m_pos == kBufferSize) flush_out(false);
        const std::size_t n = std::min<std::size_t>(left, kBufferSize - m_pos);
        std::memcpy(m_plain.data() + m_pos, in, n);
        m_pos += static_cast<std::uint32_t>(n);
        in += n;
        left -= n;
    }
    return count;
}

void CZEngine::flush_out(bool finish) {
    if (m_mode != 2) logic_error("CZEngine::flush_out unproper operation");
    const bool full = m_pos == kBufferSize;
    const int flush = (full && !finish) ? Z_NO_FLUSH : Z_FINISH;
    m_z.next_in = m_plain.data();
    m_z.avail_in = m_pos;
    for (;;) {
        m_z.next_out = m_compressed.data();
        m_z.avail_out = kBufferSize;
        const int ret = deflate(&m_z, flush);
        if (ret != Z_OK && ret != Z_STREAM_END && ret != Z_BUF_ERROR) {
            // deflate only fails on a damaged state; what was written so far stands.
            host_log::write(host_log::entry::error, "ERROR: CZEngine::flush_out: deflate failed\n");
            break;
        }
        const std::size_t have = kBufferSize - m_z.avail_out;
        if (have > 0 && m_file_rw->write(m_compressed.data(), have) != have)
            io_error("CZEngine::flush_out can't write");
        if (flush == Z_FINISH) {
            if (ret == Z_STREAM_END) break;
            if (ret == Z_BUF_ERROR && have == 0) break;  // no progress possible
        } else if (m_z.avail_in == 0 && m_z.avail_out != 0) {
            break;
        }
    }
    m_pos = 0;
}

std::size_t CZEngine::read(void* dst, std::size_t count) {
    if (!m_opened_once) logic_error("CZEngine::read is called without call to begin_read_ZFILE");
    if (m_mode != 1) logic_error("CZEngine::read unproper operation");
    if (count == 0) return 0;
    auto* out = static_cast<std::uint8_t*>(dst);
    std::size_t done = 0;
    while (done < count) {
        if (m_pos == m_avail) {
            if (!flush_in()) break;
            continue;
        }
        const std::size_t n = std::min<std::size_t>(count - done, m_avail - m_pos);
        std::memcpy(out + done, m_plain.data() + m_pos, n);
        m_pos += static_cast<std::uint32_t>(n);
        done += n;
    }
    return done;
}

std::size_t CZEngine::read(void*, std::size_t, std::uint64_t) {
    logic_error("CZEngine::read(dst, count, offset) not implemented!");
}

bool CZEngine::flush_in(bool draining) {
    if (m_mode != 1) logic_error("CZEngine::flush_in unproper operation");
    m_pos = m_avail = 0;
    for (;;) {
        // New input is read only when zlib has none left and holds no output back (an output
        // buffer that came back full may leave decompressed bytes pending inside zlib).
        if (m_z.avail_in == 0 && !m_output_pending) {
            if (m_end_of_input) io_error("CZEngine::flush_in EOF");
            const std::size_t n = m_file_rw->read(m_compressed.data(), kBufferSize);
            if (n == 0) {
                m_end_of_input = true;
                io_error("CZEngine::flush_in EOF");
            }
            m_z.next_in = m_compressed.data();
            m_z.avail_in = static_cast<uInt>(n);
        }
        m_z.next_out = m_plain.data();
        m_z.avail_out = kBufferSize;
        const int ret = inflate(&m_z, Z_NO_FLUSH);
        std::uint32_t produced = kBufferSize - m_z.avail_out;
        m_output_pending = m_z.avail_out == 0;
        if (ret == Z_BUF_ERROR && produced == 0 && m_z.avail_in == 0) {
            m_output_pending = false;  // nothing was pending after all: zlib wants more input
            continue;
        }
        if (ret == Z_OK) {
            m_avail = produced;
            return true;
        }
        // Stream end or an error: finish, and hand the input zlib did not use back to the file.
        const int ret2 = inflate(&m_z, Z_FINISH);
        produced = kBufferSize - m_z.avail_out;
        if (!m_end_of_input && m_file_seek != nullptr && m_z.avail_in > 0)
            m_file_seek->seek(-static_cast<std::int64_t>(m_z.avail_in), seek_origin::current);
        m_end_of_input = true;
        m_z.avail_in = 0;
        m_output_pending = false;
        m_avail = produced;
        if (ret2 != Z_STREAM_END) {
            m_damaged = true;
            return false;
        }
        // The end of the stream can arrive in a refill of its own (its last bytes, the
        // checksum, came in a read of the file after the last data): a reader asking for more
        // is then past the end, the same as when the end came with the last data.
        if (produced == 0 && !draining) io_error("CZEngine::flush_in EOF");
        return produced > 0;
    }
}

}  // namespace c_file_io::internal
