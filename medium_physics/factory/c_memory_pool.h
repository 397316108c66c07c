// Pooled arrays: large numeric arrays come from the host's memory pool, zero-filled, labelled
// with the source file and line of the allocating statement. While the memory-watch mode is 1 the
// host's memory watcher sees every allocation and its release.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <type_traits>
#include <utility>

#include "factory/mp_site.h"
#include "medium_physics/host_system.h"

namespace mp {

// Arrays of this many elements or more are zero-filled by a parallel loop.
inline constexpr std::size_t kParallelFillElements = 50000;

// The process-wide proxy of the host's memory watcher, created on first use (under a critical
// section, so that parallel table loops may reach it).
class CMemoryWatcherProxy {
public:
    static CMemoryWatcherProxy& instance() noexcept;
    void report_allocation(const void* block, std::size_t bytes, const char* file, std::int32_t line) noexcept;
    void report_release(const void* block) noexcept;
    bool has_watcher() const noexcept { return m_watcher != nullptr; }

private:
    std::shared_ptr<IHostMemoryWatcher> m_watcher;
};

// Zero-filled bytes from the host pool; nullptr when the memory is not to be had. `watched` tells
// whether the allocation was reported (and so whether its release must be).
void* pool_allocate(std::size_t elements, std::size_t element_size, const char* file, std::int32_t line,
                    bool& watched) noexcept;
void pool_release(void* block, std::size_t bytes, bool watched) noexcept;

// An owning pooled array of a trivial type. Move-only; copy explicitly with copy_from.
template <class T>
class pooled_array {
    static_assert(std::is_trivially_copyable_v<T> && std::is_trivially_default_constructible_v<T>);

public:
    pooled_array() = default;
    ~pooled_array() { release(); }
    pooled_array(pooled_array&& o) noexcept
        : m_data(std::exchange(o.m_data, nullptr)), m_size(std::exchange(o.m_size, 0)),
          m_watched(std::exchange(o.m_watched, false)) {}
    pooled_array& operator=(pooled_array&& o) noexcept {
        if (this != &o) {
            release();
            m_data = std::exchange(o.m_data, nullptr);
            m_size = std::exchange(o.m_size, 0);
            m_watched = std::exchange(o.m_watched, false);
        }
        return *this;
    }
    pooled_array(const pooled_array&) = delete;
    pooled_array& operator=(const pooled_array&) = delete;

    // Releases what the array held and allocates `count` zeroed elements, labelled with the
    // caller's statement. False (and empty) when the memory is not to be had.
    bool allocate(std::size_t count, site where = site::here()) noexcept {
        release();
        if (count == 0) return true;
        void* p = pool_allocate(count, sizeof(T), where.file, where.line, m_watched);
        if (p == nullptr) return false;
        m_data = static_cast<T*>(p);
        m_size = count;
        return true;
    }
    void release() noexcept {
        if (m_data != nullptr) pool_release(m_data, m_size * sizeof(T), m_watched);
        m_data = nullptr;
        m_size = 0;
        m_watched = false;
    }

    T* data() noexcept { return m_data; }
    const T* data() const noexcept { return m_data; }
    std::size_t size() const noexcept { return m_size; }
    bool empty() const noexcept { return m_data == nullptr; }
    T& operator[](std::size_t i) noexcept { return m_data[i]; }
    const T& operator[](std::size_t i) const noexcept { return m_data[i]; }

private:
    T* m_data = nullptr;
    std::size_t m_size = 0;
    bool m_watched = false;
};

}  // namespace mp
