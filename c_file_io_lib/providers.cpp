// The plain providers of the block stream: file, memory and the dummy in place while nothing is open.
#include <algorithm>
#include <cstring>
#include <filesystem>
#include <limits>

#include "file_io/c_file_io/providers.h"

namespace c_file_io::internal {

IProvider::~IProvider() = default;

std::ios_base::openmode openmode_to_ios(const CHostString& mode) {
    std::ios_base::openmode flags{};
    for (char16_t c : mode.str()) {
        switch (c) {
            case u'r': flags |= std::ios_base::in; break;
            case u'w': flags |= std::ios_base::out; break;
            case u'a': flags |= std::ios_base::app; break;
            case u'b': flags |= std::ios_base::binary; break;
            case u'+': break;
            default: throw c_RQ_io_error_logic("CInternalIO::openmode_to_ios: Not implemented openmode!");
        }
    }
    return flags;
}

// ---- CInternalIO --------------------------------------------------------------------------------

CInternalIO::CInternalIO() = default;
CInternalIO::~CInternalIO() = default;

void CInternalIO::open(const CHostString& path, const CHostString& mode) {
    const auto flags = openmode_to_ios(mode) | std::ios_base::binary;
    if (m_file.is_open()) m_file.close();
    m_file.clear();
    m_file.open(std::filesystem::path(path.str()), flags);
    if (!m_file.is_open())
        throw c_RQ_io_error("CInternalIO::open: unable to open file '" + path.to_utf8() + "'");
}

void CInternalIO::close() {
    if (m_file.is_open()) {
        m_file.clear();
        m_file.close();
        if (m_file.fail()) throw c_RQ_io_error("CInternalIO::close: unable to close file");
    }
}

bool CInternalIO::is_open() const { return m_file.is_open(); }

std::size_t CInternalIO::read(void* dst, std::size_t count) {
    if (count == 0) return 0;
    std::size_t done = 0;
    auto* out = static_cast<char*>(dst);
    // streamsize is signed: move very large requests in pieces.
    constexpr std::size_t kPiece = std::size_t{1} << 30;
    while (done < count) {
        const std::size_t piece = std::min(kPiece, count - done);
        m_file.read(out + done, static_cast<std::streamsize>(piece));
        const auto got = static_cast<std::size_t>(m_file.gcount());
        done += got;
        if (got < piece) {
            m_file.clear();  // a short read at the end of the file leaves the stream usable
            break;
        }
    }
    return done;
}

std::size_t CInternalIO::write(const void* src, std::size_t count) {
    if (count == 0) return 0;
    m_file.write(static_cast<const char*>(src), static_cast<std::streamsize>(count));
    if (!m_file) {
        m_file.clear();
        return 0;
    }
    return count;
}

std::uint64_t CInternalIO::tell() {
    // Reading and writing share one position in a file stream.
    const auto pos = m_file.tellp();
    if (pos < 0) {
        m_file.clear();
        throw c_RQ_io_error("CInternalIO::tell: unable to get the position");
    }
    return static_cast<std::uint64_t>(pos);
}

void CInternalIO::seek(std::int64_t offset, seek_origin origin) {
    const auto dir = origin == seek_origin::begin     ? std::ios_base::beg
                     : origin == seek_origin::current ? std::ios_base::cur
                                                      : std::ios_base::end;
    m_file.clear();
    m_file.seekp(static_cast<std::streamoff>(offset), dir);
    if (!m_file) {
        m_file.clear();
        throw c_RQ_io_error("CInternalIO::seek: unable to seek");
    }
}

void CInternalIO::flush() {
    m_file.flush();
    if (!m_file) {
        m_file.clear();
        throw c_RQ_io_error("CInternalIO::flush: unable to flush");
    }
}

// ---- CDummyIOProvider ---------------------------------------------------------------------------

namespace {
[[noreturn]] void refuse() { throw c_RQ_io_error_logic("CDummyIOProvider: not implemented!"); }
}  // namespace

void CDummyIOProvider::open(const CHostString&, const CHostString&) { refuse(); }
void CDummyIOProvider::close() { refuse(); }
bool CDummyIOProvider::is_open() const { refuse(); }
std::size_t CDummyIOProvider::read(void*, std::size_t) { refuse(); }
std::size_t CDummyIOProvider::write(const void*, std::size_t) { refuse(); }
std::uint64_t CDummyIOProvider::tell() { refuse(); }
void CDummyIOProvider::seek(std::int64_t, seek_origin) { refuse(); }
void CDummyIOProvider::flush() { refuse(); }

// ---- CMemoryIO ----------------------------------------------------------------------------------

CMemoryIO::CMemoryIO(std::vector<std::uint8_t> bytes) : CMemoryIO(bytes.data(), bytes.size()) {}

CMemoryIO::CMemoryIO(const void* bytes, std::size_t count) {
    reserve(count);
    if (count > 0) std::memcpy(m_data.get(), bytes, count);
    m_size = count;
}

CMemoryIO::~CMemoryIO() = default;

void CMemoryIO::reserve(std::size_t bytes) {
    if (bytes <= m_capacity) return;
    // Plain new[]: the bytes are written before they are read, so no zero-fill is paid for.
    std::unique_ptr<std::uint8_t[]> grown(new std::uint8_t[bytes]);
    if (m_size > 0) std::memcpy(grown.get(), m_data.get(), m_size);
    m_data = std::move(grown);
    m_capacity = bytes;
}

std::size_t CMemoryIO::read(void* dst, std::size_t count) {
    if (count == 0 || m_pos >= m_size) return 0;
    const std::size_t n = std::min(count, m_size - m_pos);
    std::memcpy(dst, m_data.get() + m_pos, n);
    m_pos += n;
    return n;
}

std::size_t CMemoryIO::write(const void* src, std::size_t count) {
    if (count == 0) return 0;
    if (count > std::numeric_limits<std::size_t>::max() - m_pos) return 0;
    const std::size_t end = m_pos + count;
    if (end > m_capacity) reserve(std::max(end, m_capacity + m_capacity / 2 + 4096));
    if (m_pos > m_size) std::memset(m_data.get() + m_size, 0, m_pos - m_size);  // a gap after a seek
    std::memcpy(m_data.get() + m_pos, src, count);
    m_pos = end;
    m_size = std::max(m_size, end);
    return count;
}

std::uint64_t CMemoryIO::tell() { return m_pos; }

void CMemoryIO::seek(std::int64_t offset, seek_origin origin) {
    const std::int64_t base = origin == seek_origin::begin     ? 0
                              : origin == seek_origin::current ? static_cast<std::int64_t>(m_pos)
                                                               : static_cast<std::int64_t>(m_size);
    if ((offset < 0 && base + offset < 0) ||
        (offset > 0 && base > std::numeric_limits<std::int64_t>::max() - offset))
        throw c_RQ_io_error("CMemoryIO::seek: position out of range");
    m_pos = static_cast<std::size_t>(base + offset);
}

void CMemoryIO::flush() {}

}  // namespace c_file_io::internal
