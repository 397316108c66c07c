// C_file_io: typed transfers, blocks and the directory, compressed sections, and the scopes.
#include "file_io/c_file_io/c_file_io.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <limits>

#include "file_io/c_file_io/scopes.h"
#include "medium_physics/host_log.h"

#define C_FILE_IO_SOURCE "c_file_io_lib/c_file_io"

using c_file_io::internal::CDummyIOProvider;
using c_file_io::internal::CInternalIO;
using c_file_io::internal::CMemoryIO;
using c_file_io::internal::CZEngine;
using c_file_io::internal::IIOProvider;
using c_file_io::internal::seek_origin;

c_RQ_io_error::~c_RQ_io_error() = default;
c_RQ_io_error_logic::~c_RQ_io_error_logic() = default;

namespace {

// "ERROR: <class>::dtor: <message> <source>(<line>)\n"
void log_dtor_error(const char* owner, const char* message, int line) noexcept {
    char buffer[kHostLogLineSize];
    std::snprintf(buffer, sizeof buffer, "ERROR: %s::dtor: %s %s(%d)\n", owner, message, C_FILE_IO_SOURCE, line);
    host_log::write(host_log::entry::error, buffer);
}

// Byte-reverses `count` elements of `width` bytes in place.
void swap_elements(void* data, std::size_t count, std::size_t width) noexcept {
    auto* p = static_cast<std::uint8_t*>(data);
    for (std::size_t i = 0; i < count; ++i, p += width) std::reverse(p, p + width);
}

}  // namespace

C_file_io::C_file_io() { attach(std::make_unique<CDummyIOProvider>()); }

C_file_io::~C_file_io() {
    try {
        if (m_compression_on) {
            m_compression_on = false;
            m_zengine->close();
        }
        if (is_open()) close();
    } catch (const std::exception& e) {
        log_dtor_error("C_file_io", e.what(), __LINE__);
    } catch (...) {
        log_dtor_error("C_file_io", "unknown exception", __LINE__);
    }
}

void C_file_io::attach(std::unique_ptr<IIOProvider> provider) {
    m_provider = std::move(provider);
    m_file = dynamic_cast<c_file_io::internal::IFileIO*>(m_provider.get());
    m_memory = dynamic_cast<CMemoryIO*>(m_provider.get());
    m_directory.clear();
    m_current_id = 0;
    m_length_pos = 0;
}

void C_file_io::open(const CHostString& path, const CHostString& mode) {
    auto file = std::make_unique<CInternalIO>();
    file->open(path, mode);
    if (is_open()) close();
    attach(std::move(file));
}

void C_file_io::open_memory() {
    if (is_open()) close();
    attach(std::make_unique<CMemoryIO>());
}

void C_file_io::open_memory(std::vector<std::uint8_t> bytes) {
    if (is_open()) close();
    attach(std::make_unique<CMemoryIO>(std::move(bytes)));
}

void C_file_io::open_memory(const void* bytes, std::size_t count) {
    if (is_open()) close();
    attach(std::make_unique<CMemoryIO>(bytes, count));
}

bool C_file_io::is_open() const noexcept {
    return m_memory != nullptr || (m_file != nullptr && dynamic_cast<CDummyIOProvider*>(m_file) == nullptr &&
                                   m_file->is_open());
}

void C_file_io::close() {
    if (m_compression_on) throw c_RQ_io_error_logic("C_file_io::close: a compressed section is still open");
    auto old = std::move(m_provider);
    auto* old_file = m_file;
    const bool was_memory = m_memory != nullptr;
    attach(std::make_unique<CDummyIOProvider>());
    if (was_memory) return;
    if (old_file != nullptr && dynamic_cast<CDummyIOProvider*>(old_file) == nullptr) {
        old->flush();
        old_file->close();
    }
}

std::vector<std::uint8_t> C_file_io::memory_bytes() const {
    return m_memory != nullptr ? m_memory->bytes() : std::vector<std::uint8_t>{};
}

// ---- raw transfers ------------------------------------------------------------------------------

void C_file_io::write_bytes(const void* src, std::size_t bytes) {
    if (bytes == 0) return;
    if (m_compression_on) {
        if (m_zengine->write(src, bytes) != bytes)
            throw c_RQ_io_error("C_file_io::write_zengine_impl: unable to write requested size");
    } else if (m_provider->write(src, bytes) != bytes) {
        throw c_RQ_io_error("C_file_io::write_nozengine_impl: unable to write requested size");
    }
}

void C_file_io::read_bytes(void* dst, std::size_t bytes, std::size_t width) {
    if (bytes == 0) return;
    if (m_compression_on) {
        if (m_zengine->read(dst, bytes) != bytes)
            throw c_RQ_io_error("C_file_io::read_zengine_impl: unable to read requested size");
        return;  // compressed sections are never swapped
    }
    if (m_provider->read(dst, bytes) != bytes)
        throw c_RQ_io_error("C_file_io::read_nozengine_impl: unable to read requested size");
    if (m_swap && width > 1) swap_elements(dst, bytes / width, width);
}

namespace {
// count × width must not wrap: a wrapped size would move fewer bytes and still report success.
std::size_t byte_count(std::size_t count, std::size_t width) {
    if (count > std::numeric_limits<std::size_t>::max() / width)
        throw c_RQ_io_error_logic("C_file_io: element count too large");
    return count * width;
}
}  // namespace

#define C_FILE_IO_TRANSFER(T)                                                  \
    std::size_t C_file_io::write(const T* src, std::size_t count) {            \
        write_bytes(src, byte_count(count, sizeof(T)));                        \
        return count;                                                          \
    }                                                                          \
    std::size_t C_file_io::read(T* dst, std::size_t count) {                   \
        read_bytes(dst, byte_count(count, sizeof(T)), sizeof(T));              \
        return count;                                                          \
    }
C_FILE_IO_TRANSFER(std::uint8_t)
C_FILE_IO_TRANSFER(char)
C_FILE_IO_TRANSFER(std::int32_t)
C_FILE_IO_TRANSFER(std::uint32_t)
C_FILE_IO_TRANSFER(std::int64_t)
C_FILE_IO_TRANSFER(std::uint64_t)
C_FILE_IO_TRANSFER(double)
C_FILE_IO_TRANSFER(char16_t)
#undef C_FILE_IO_TRANSFER

void C_file_io::write_string(const CHostString& text) {
    if (text.empty()) {
        put<std::int32_t>(0);
        return;
    }
    if (text.length() >= 0x7fffffff) throw c_RQ_io_error("C_file_io::write_string: string too long");
    put(static_cast<std::int32_t>(text.length() + 1));
    write(text.c_str(), text.length() + 1);  // with the closing zero
}

void C_file_io::read_string(CHostString& text) {
    const auto n = get<std::int32_t>();
    text.clear();
    if (n == 0) return;
    if (n < 0) throw c_RQ_io_error("C_file_io::read_string: negative string length");
    // Chunks: a corrupt length fails on the first missing character, not on a huge allocation.
    std::u16string s;
    constexpr std::size_t kChunk = 4096;
    char16_t chunk[kChunk];
    std::size_t left = static_cast<std::size_t>(n);
    while (left > 0) {
        const std::size_t k = std::min(left, kChunk);
        read(chunk, k);
        s.append(chunk, k);
        left -= k;
    }
    if (s.back() != u'\0') throw c_RQ_io_error("C_file_io::read_string: string without its closing zero");
    s.pop_back();
    text = CHostString(std::move(s));
}

void C_file_io::write_guid(const host_guid& id) { write(id.bytes.data(), 16); }
void C_file_io::read_guid(host_guid& id) { read(id.bytes.data(), 16); }

std::uint64_t C_file_io::tell() {
    if (m_compression_on) throw c_RQ_io_error_logic("C_file_io::tell: not available inside a compressed section");
    return m_provider->tell();
}

void C_file_io::seek(std::int64_t offset, seek_origin origin) {
    if (m_compression_on) throw c_RQ_io_error_logic("C_file_io::seek: not available inside a compressed section");
    m_provider->seek(offset, origin);
}

// ---- blocks: writing ----------------------------------------------------------------------------

void C_file_io::write_length(std::int64_t length) {
    if (m_length64) {
        put(length);
    } else {
        put(static_cast<std::int32_t>(length));
    }
}

std::int64_t C_file_io::read_length() {
    if (m_length64) return get<std::int64_t>();
    return get<std::int32_t>();
}

void C_file_io::begin_block(std::int32_t id) {
    if (m_compression_on) throw c_RQ_io_error_logic("C_file_io::dft_begin_w: a block cannot begin inside a compressed section");
    put(id);
    m_length_pos = tell();
    write_length(-1);
    if (m_dft_recording) m_current_id = id;
}

void C_file_io::dft_begin_w(std::int32_t id) {
    if (std::find(m_service_ids.begin(), m_service_ids.end(), id) != m_service_ids.end())
        throw c_RQ_io_error_logic("C_file_io::dft_begin_w: the block id is reserved for the stream's service blocks");
    begin_block(id);
}

void C_file_io::dft_begin_w_service(std::int32_t id) {
    if (std::find(m_service_ids.begin(), m_service_ids.end(), id) == m_service_ids.end())
        throw c_RQ_io_error_logic(
            "C_file_io::dft_begin_w(protected): writing unregistered service block! Please register the block id in "
            "m_dft_service_ids.");
    begin_block(id);
}

void C_file_io::dft_end_w() {
    if (m_compression_on) throw c_RQ_io_error_logic("C_file_io::dft_end_w: a block cannot end inside a compressed section");
    // A length field never starts at 0 (the id lies before it): 0 means no block is open, and
    // patching there would overwrite the start of the stream.
    if (m_length_pos == 0) throw c_RQ_io_error_logic("C_file_io::dft_end_w: no open block");
    const std::uint64_t end = tell();
    const std::int64_t width = m_length64 ? 8 : 4;
    const std::int64_t payload = static_cast<std::int64_t>(end - m_length_pos) - width;
    if (payload < 0) throw c_RQ_io_error_logic("C_file_io::dft_end_w: no open block");
    if (!m_length64 && payload > 0x7fffffff)
        throw c_RQ_io_error("C_file_io::dft_end_w: block too long for 32-bit lengths");
    seek(-static_cast<std::int64_t>(end - m_length_pos), seek_origin::current);
    write_length(payload);
    seek(payload, seek_origin::current);
    if (m_dft_recording && m_current_id != kUnrecordedBlockId) {
        m_directory[m_current_id] =
            block_entry{m_length_pos - 4, static_cast<std::uint64_t>(payload + 4 + width)};
    }
    m_length_pos = 0;  // ended; a scope restores its enclosing block's state
}

void C_file_io::dft_start_w() {
    m_dft_recording = true;
    dft_begin_w_service(kHeaderBlockId);
    // The header is an empty block and is not an entry of the directory.
    const std::int32_t keep = m_current_id;
    m_current_id = kUnrecordedBlockId;
    dft_end_w();
    m_current_id = keep;
}

void C_file_io::dft_finish_w() {
    dft_begin_w_service(kDirectoryBlockId);
    const std::uint64_t start = m_length_pos - 4;  // position of the -101 id
    put<std::int64_t>(0);
    {
        C_file_ZIP_scope zip(*this, C_file_ZIP_scope::direction::write);
        put(static_cast<std::int32_t>(m_directory.size()));
        for (const auto& [id, entry] : m_directory) {
            put(id);
            put(entry.offset);
            put(entry.length);
        }
        zip.close();
    }
    write_length(static_cast<std::int64_t>(tell() - start));
    put<std::int32_t>(kDirectoryBlockId);
}

// ---- blocks: reading ----------------------------------------------------------------------------

void C_file_io::dft_begin_r(std::int32_t& id, std::int64_t& length) {
    id = get<std::int32_t>();
    length = read_length();
}

void C_file_io::dft_skip_r(std::int64_t length) {
    if (length < 0) throw c_RQ_io_error("C_file_io::dft_skip_r: cannot skip a block of unknown length");
    seek(length, seek_origin::current);
}

bool C_file_io::dft_load_r() {
    const std::uint64_t here = tell();
    const std::int64_t width = m_length64 ? 8 : 4;
    seek(0, seek_origin::end);
    const std::uint64_t size = tell();
    if (size < static_cast<std::uint64_t>(4 + width)) {
        seek(static_cast<std::int64_t>(here), seek_origin::begin);
        return false;
    }
    seek(-4, seek_origin::end);
    if (get<std::int32_t>() != kDirectoryBlockId) {
        seek(static_cast<std::int64_t>(here), seek_origin::begin);
        return false;
    }
    const auto damaged = [] { throw c_RQ_io_error("C_file_io::dft_load_r: damaged directory"); };
    seek(-(4 + width), seek_origin::end);
    const std::int64_t total = read_length();
    const std::uint64_t trailer = size - 4 - static_cast<std::uint64_t>(width);
    // The directory holds at least its id, its length field, the 8-byte zero and a count.
    if (total < 4 + width + 8 || static_cast<std::uint64_t>(total) > trailer) damaged();
    seek(static_cast<std::int64_t>(trailer - static_cast<std::uint64_t>(total)), seek_origin::begin);
    std::int32_t id = 0;
    std::int64_t placeholder = 0;
    dft_begin_r(id, placeholder);
    if (id != kDirectoryBlockId || get<std::int64_t>() != 0) damaged();
    std::map<std::int32_t, block_entry> directory;
    {
        C_file_ZIP_scope zip(*this, C_file_ZIP_scope::direction::read);
        const auto count = get<std::int32_t>();
        if (count < 0) damaged();
        for (std::int32_t i = 0; i < count; ++i) {
            const auto block = get<std::int32_t>();
            block_entry e;
            e.offset = get<std::uint64_t>();
            e.length = get<std::uint64_t>();
            if (e.offset > size || e.length > size - e.offset) damaged();
            directory[block] = e;
        }
        zip.close();
    }
    if (tell() != trailer) damaged();
    m_directory = std::move(directory);
    seek(static_cast<std::int64_t>(here), seek_origin::begin);
    return true;
}

std::optional<std::int64_t> C_file_io::dft_find_r(std::int32_t id) {
    const auto it = m_directory.find(id);
    if (it == m_directory.end()) return std::nullopt;
    seek(static_cast<std::int64_t>(it->second.offset), seek_origin::begin);
    std::int32_t found = 0;
    std::int64_t length = 0;
    dft_begin_r(found, length);
    const std::uint64_t header = m_length64 ? 12 : 8;
    if (found != id || length < 0 || static_cast<std::uint64_t>(length) + header != it->second.length)
        throw c_RQ_io_error("C_file_io::dft_find_r: the directory does not match the block");
    return length;
}

// ---- compressed sections ------------------------------------------------------------------------

void C_file_io::begin_write_ZFILE() {
    if (m_compression_on) throw c_RQ_io_error_logic("begin_write_ZFILE is called twice");
    m_zengine = std::make_unique<CZEngine>(CZEngine::kStreamLevel);
    m_zengine->set_write_FILE(m_provider.get());
    m_compression_on = true;
}

void C_file_io::begin_read_ZFILE() {
    if (m_compression_on) throw c_RQ_io_error_logic("begin_read_ZFILE is called twice");
    m_zengine = std::make_unique<CZEngine>(CZEngine::kStreamLevel);
    m_zengine->set_read_FILE(m_provider.get(), m_provider.get());
    m_compression_on = true;
}

void C_file_io::end_write_ZFILE() {
    if (!m_zengine || !m_compression_on) throw c_RQ_io_error_logic("ZEngine is not initialized");
    if (m_zengine->mode() != 2) throw c_RQ_io_error_logic("CZEngine::end_write_ZFILE: the open section is a read section");
    m_compression_on = false;
    m_zengine->close();
    m_provider->flush();
}

void C_file_io::end_read_ZFILE() {
    if (!m_zengine || !m_compression_on) throw c_RQ_io_error_logic("ZEngine is not initialized");
    if (m_zengine->mode() != 1) throw c_RQ_io_error_logic("CZEngine::end_read_ZFILE: the open section is a write section");
    m_compression_on = false;
    m_zengine->close();
}

void C_file_io::end_ZFILE_noexcept() noexcept {
    if (!m_compression_on) return;
    m_compression_on = false;
    m_zengine->close_noexcept();
}

// ---- scopes -------------------------------------------------------------------------------------

C_file_ZIP_scope::C_file_ZIP_scope(C_file_io& stream, direction dir) : m_stream(stream), m_dir(dir) {
    if (dir == direction::write) stream.begin_write_ZFILE();
    else stream.begin_read_ZFILE();
}

void C_file_ZIP_scope::close() {
    if (!m_open) return;
    m_open = false;
    if (m_dir == direction::write) m_stream.end_write_ZFILE();
    else m_stream.end_read_ZFILE();
}

C_file_ZIP_scope::~C_file_ZIP_scope() {
    if (!m_open) return;
    try {
        close();
    } catch (const std::exception& e) {
        m_stream.end_ZFILE_noexcept();
        log_dtor_error("C_file_ZIP_scope", e.what(), __LINE__);
    } catch (...) {
        m_stream.end_ZFILE_noexcept();
        log_dtor_error("C_file_ZIP_scope", "unknown exception", __LINE__);
    }
}

C_file_DFT_scope_impl::C_file_DFT_scope_impl(C_file_io& stream, std::int32_t id)
    : m_stream(stream), m_outer_id(stream.dft_current_id()), m_outer_length_pos(stream.dft_length_position()) {
    stream.dft_begin_w(id);
}

void C_file_DFT_scope_impl::close() {
    if (!m_open) return;
    m_open = false;
    m_stream.dft_end_w();
    m_stream.dft_restore(m_outer_id, m_outer_length_pos);
}

C_file_DFT_scope_impl::~C_file_DFT_scope_impl() {
    if (!m_open) return;
    try {
        close();
    } catch (const std::exception& e) {
        m_stream.dft_restore(m_outer_id, m_outer_length_pos);
        log_dtor_error("C_file_DFT_scope_impl", e.what(), __LINE__);
    } catch (...) {
        m_stream.dft_restore(m_outer_id, m_outer_length_pos);
        log_dtor_error("C_file_DFT_scope_impl", "unknown exception", __LINE__);
    }
}
