// The standalone host platform: log, GUID utilities, host system and memory watcher, memory
// pools, product directory and disk space.
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <mutex>
#include <new>
#include <random>
#include <unordered_map>

#include "medium_physics/host_guid.h"
#include "medium_physics/standalone_host.h"

// ---- log ----------------------------------------------------------------------------------------

namespace {

std::mutex& log_mutex() {
    static std::mutex m;
    return m;
}

void default_observer(host_log::entry which, std::string_view text) {
    static const bool all = [] {
        const char* v = std::getenv("MEDIUM_PHYSICS_LOG");
        return v != nullptr && std::string_view(v) == "all";
    }();
    if (which == host_log::entry::message && !all) return;
    std::fwrite(text.data(), 1, text.size(), stderr);
}

standalone_host::log_observer& current_observer() {
    static standalone_host::log_observer observer = default_observer;
    return observer;
}

}  // namespace

void host_log::write(entry which, const char* text) noexcept {
    if (text == nullptr) return;
    try {
        std::lock_guard lock(log_mutex());
        current_observer()(which, std::string_view(text));
    } catch (...) {
        // a log never fails its caller
    }
}

namespace standalone_host {

log_observer set_log_observer(log_observer observer) {
    std::lock_guard lock(log_mutex());
    auto previous = std::move(current_observer());
    current_observer() = observer ? std::move(observer) : log_observer(default_observer);
    return previous;
}

struct log_capture::state {
    mutable std::mutex m;
    std::vector<line> lines;
};

log_capture::log_capture() : m_state(std::make_shared<state>()) {
    m_previous = set_log_observer([s = m_state](host_log::entry e, std::string_view text) {
        std::lock_guard lock(s->m);
        s->lines.push_back({e, std::string(text)});
    });
}

log_capture::~log_capture() { set_log_observer(std::move(m_previous)); }

std::vector<log_capture::line> log_capture::lines() const {
    std::lock_guard lock(m_state->m);
    return m_state->lines;
}

std::size_t log_capture::count(std::string_view needle) const {
    std::lock_guard lock(m_state->m);
    std::size_t n = 0;
    for (const auto& l : m_state->lines)
        if (l.text.find(needle) != std::string::npos) ++n;
    return n;
}

void log_capture::clear() {
    std::lock_guard lock(m_state->m);
    m_state->lines.clear();
}

}  // namespace standalone_host

// ---- GUIDs --------------------------------------------------------------------------------------

namespace {

int hex_value(char16_t c) noexcept {
    if (c >= u'0' && c <= u'9') return c - u'0';
    if (c >= u'a' && c <= u'f') return c - u'a' + 10;
    if (c >= u'A' && c <= u'F') return c - u'A' + 10;
    return -1;
}

}  // namespace

bool guid_utils::BuildGUIDFromString(const CHostString& text, host_guid& out) noexcept {
    out = host_guid{};
    std::u16string_view s(text.str());
    if (s.size() == 38) {
        if (s.front() != u'{' || s.back() != u'}') return false;
        s = s.substr(1, 36);
    }
    if (s.size() != 36) return false;
    // Hex digits in text order; dashes at 8, 13, 18 and 23.
    std::uint8_t raw[16];
    int nibble = 0;
    for (std::size_t i = 0; i < s.size(); ++i) {
        if (i == 8 || i == 13 || i == 18 || i == 23) {
            if (s[i] != u'-') return false;
            continue;
        }
        const int v = hex_value(s[i]);
        if (v < 0) return false;
        if (nibble % 2 == 0) raw[nibble / 2] = static_cast<std::uint8_t>(v << 4);
        else raw[nibble / 2] = static_cast<std::uint8_t>(raw[nibble / 2] | v);
        ++nibble;
    }
    host_guid g;
    // Data1 (4 bytes), Data2 and Data3 (2 bytes each) lie little-endian; Data4 in order.
    g.bytes = {raw[3], raw[2], raw[1], raw[0], raw[5], raw[4], raw[7], raw[6],
               raw[8], raw[9], raw[10], raw[11], raw[12], raw[13], raw[14], raw[15]};
    out = g;
    return true;
}

namespace {
// The generator of new identifiers, one per thread: randomly seeded unless a caller seeds it.
std::mt19937_64& identifier_engine() noexcept {
    thread_local std::mt19937_64 engine = [] {
        std::random_device rd;
        std::seed_seq seq{rd(), rd(), rd(), rd(), rd(), rd(), rd(), rd()};
        return std::mt19937_64(seq);
    }();
    return engine;
}
}  // namespace

void standalone_host::seed_identifiers(std::uint64_t seed) noexcept { identifier_engine().seed(seed); }

void guid_utils::CreateUUID(host_guid& out) noexcept {
    auto& engine = identifier_engine();
    const std::uint64_t a = engine();
    const std::uint64_t b = engine();
    for (int i = 0; i < 8; ++i) {
        out.bytes[static_cast<std::size_t>(i)] = static_cast<std::uint8_t>(a >> (8 * i));
        out.bytes[static_cast<std::size_t>(8 + i)] = static_cast<std::uint8_t>(b >> (8 * i));
    }
    out.bytes[7] = static_cast<std::uint8_t>((out.bytes[7] & 0x0F) | 0x40);  // version 4 (Data3 high nibble)
    out.bytes[8] = static_cast<std::uint8_t>((out.bytes[8] & 0x3F) | 0x80);  // variant 1
}

CHostString guid_utils::ToString(const host_guid& id) {
    const auto& b = id.bytes;
    char text[37];
    std::snprintf(text, sizeof text, "%02X%02X%02X%02X-%02X%02X-%02X%02X-%02X%02X-%02X%02X%02X%02X%02X%02X", b[3],
                  b[2], b[1], b[0], b[5], b[4], b[7], b[6], b[8], b[9], b[10], b[11], b[12], b[13], b[14], b[15]);
    return CHostString::from_utf8(text);
}

// ---- memory watcher and host system ------------------------------------------------------------

namespace {

class CMemoryWatcher final : public IHostMemoryWatcher {
public:
    std::int32_t query_interface(std::any& requested) override {
        if (auto* p = std::any_cast<std::shared_ptr<IHostMemoryWatcher>>(&requested)) {
            *p = std::shared_ptr<IHostMemoryWatcher>(std::shared_ptr<IHostMemoryWatcher>{}, this);
            return 0;
        }
        return 2;
    }

    void register_allocation(const void* block, std::size_t bytes, const char* file,
                             std::int32_t line) noexcept override {
        try {
            std::lock_guard lock(m_mutex);
            auto& u = m_labels[{file ? file : "?", line}];
            u.live_bytes += bytes;
            u.live_blocks += 1;
            u.total_allocations += 1;
            m_blocks[block] = {bytes, {file ? file : "?", line}};
        } catch (...) {
        }
    }

    void release_allocation(const void* block) noexcept override {
        std::lock_guard lock(m_mutex);
        const auto it = m_blocks.find(block);
        if (it == m_blocks.end()) return;
        auto& u = m_labels[it->second.second];
        u.live_bytes -= it->second.first;
        u.live_blocks -= 1;
        m_blocks.erase(it);
    }

    std::vector<standalone_host::label_usage> report() const {
        std::lock_guard lock(m_mutex);
        std::vector<standalone_host::label_usage> out;
        for (const auto& [key, u] : m_labels) {
            standalone_host::label_usage r = u;
            r.file = key.first;
            r.line = key.second;
            out.push_back(r);
        }
        return out;
    }

    std::uint64_t live_bytes() const {
        std::lock_guard lock(m_mutex);
        std::uint64_t n = 0;
        for (const auto& [key, u] : m_labels) n += u.live_bytes;
        return n;
    }

private:
    using label = std::pair<std::string, std::int32_t>;
    mutable std::mutex m_mutex;
    std::map<label, standalone_host::label_usage> m_labels;
    std::unordered_map<const void*, std::pair<std::size_t, label>> m_blocks;
};

CMemoryWatcher& watcher() {
    static CMemoryWatcher w;
    return w;
}

class CHostSystem final : public IHostSystem {
public:
    std::int32_t query_interface(std::any& requested) override {
        if (auto* p = std::any_cast<std::shared_ptr<IHostSystem>>(&requested)) {
            *p = std::shared_ptr<IHostSystem>(std::shared_ptr<IHostSystem>{}, this);
            return 0;
        }
        return 2;
    }
    std::int32_t CreateObject(std::any& request) override {
        if (auto* slot = std::any_cast<std::shared_ptr<IHostMemoryWatcher>*>(&request)) {
            if (*slot == nullptr) return 2;
            // The watcher lives as long as the process; the shared pointer does not own it.
            **slot = std::shared_ptr<IHostMemoryWatcher>(std::shared_ptr<IHostMemoryWatcher>{}, &watcher());
            return 0;
        }
        return 2;
    }
};

class CMemoryPool final : public MemoryPool::IMemoryPool {
public:
    void* allocate(std::size_t bytes) noexcept override {
        return ::operator new(bytes == 0 ? 1 : bytes, std::align_val_t{64}, std::nothrow);
    }
    void release(void* block, std::size_t) noexcept override { ::operator delete(block, std::align_val_t{64}); }
};

class CMemoryPoolManager final : public MemoryPool::IMemoryPoolManager {
public:
    MemoryPool::IMemoryPool* GetMemoryPool(std::int32_t) noexcept override { return &m_pool; }

private:
    CMemoryPool m_pool;
};

std::mutex& product_mutex() {
    static std::mutex m;
    return m;
}
CHostString& product_directory_override() {
    static CHostString d;
    return d;
}

class CProductFunctions final : public IProductDependentFunctions {
public:
    void GetProductDirectory(CHostString& directory) override {
        {
            std::lock_guard lock(product_mutex());
            if (!product_directory_override().empty()) {
                directory = product_directory_override();
                return;
            }
        }
        if (const char* env = std::getenv("MEDIUM_PHYSICS_PRODUCT_DIR"); env != nullptr && *env != '\0') {
            directory = CHostString::from_utf8(env);
            return;
        }
        std::error_code ec;
        const auto cwd = std::filesystem::current_path(ec);
        directory = ec ? CHostString(u".") : CHostString(cwd.u16string());
    }
};

}  // namespace

IHostSystem* HostInstance() noexcept {
    static CHostSystem system;
    return &system;
}

MemoryPool::IMemoryPoolManager* MemoryPool::GetMemoryPoolManager() noexcept {
    static CMemoryPoolManager manager;
    return &manager;
}

IProductDependentFunctions* GetProductDependentFunctionsInterface() noexcept {
    static CProductFunctions functions;
    return &functions;
}

bool CHost_Utils::CheckDiskSpace(const CHostString& path, std::uint64_t bytes_needed) noexcept {
    try {
        std::filesystem::path p(path.str());
        std::error_code ec;
        // The nearest existing folder decides (the file itself may not exist yet).
        while (!p.empty() && !std::filesystem::exists(p, ec)) {
            const auto parent = p.parent_path();
            if (parent == p) break;
            p = parent;
        }
        if (p.empty()) p = std::filesystem::current_path(ec);
        const auto info = std::filesystem::space(p, ec);
        if (ec) return false;
        return info.available >= bytes_needed;
    } catch (...) {
        return false;
    }
}

namespace standalone_host {

std::vector<label_usage> memory_report() { return watcher().report(); }
std::uint64_t memory_live_bytes() { return watcher().live_bytes(); }

void set_product_directory(const CHostString& directory) {
    std::lock_guard lock(product_mutex());
    product_directory_override() = directory;
}

}  // namespace standalone_host
