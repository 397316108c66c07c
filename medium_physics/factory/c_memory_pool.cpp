// Library settings, pooled allocation and the memory-watcher proxy.
#include "factory/c_memory_pool.h"

#include <algorithm>
#include <any>
#include <atomic>
#include <cstring>
#include <mutex>

#include <tbb/blocked_range.h>
#include <tbb/parallel_for.h>

#include "factory/mp_settings.h"

namespace mp {

namespace {
std::atomic<std::int32_t> g_thread_count{1};
std::atomic<std::int32_t> g_memory_watch_mode{0};
std::shared_ptr<CMemoryWatcherProxy> g_proxy_holder;           // keeps the singleton alive
std::atomic<CMemoryWatcherProxy*> g_proxy{nullptr};            // published once, after creation
CMemoryWatcherProxy g_fallback_proxy;                          // used when creation fails
}  // namespace

std::int32_t thread_count() noexcept { return g_thread_count.load(std::memory_order_relaxed); }
void set_thread_count(std::int32_t count) noexcept { g_thread_count.store(count, std::memory_order_relaxed); }
std::int32_t memory_watch_mode() noexcept { return g_memory_watch_mode.load(std::memory_order_relaxed); }
void set_memory_watch_mode(std::int32_t mode) noexcept { g_memory_watch_mode.store(mode, std::memory_order_relaxed); }

CMemoryWatcherProxy& CMemoryWatcherProxy::instance() noexcept {
    CMemoryWatcherProxy* p = g_proxy.load(std::memory_order_acquire);
    if (p != nullptr) return *p;
#pragma omp critical(medium_physics_memory_watcher)
    {
#ifndef _OPENMP
        // built without OpenMP the pragma is empty: a mutex keeps the creation single
        static std::mutex creation;
        const std::lock_guard<std::mutex> lock(creation);
#endif
        p = g_proxy.load(std::memory_order_acquire);
        if (p == nullptr) {
            try {
                auto made = std::make_shared<CMemoryWatcherProxy>();
                if (IHostSystem* host = HostInstance(); host != nullptr) {
                    std::any request = &made->m_watcher;
                    host->CreateObject(request);
                }
                g_proxy_holder = made;
                p = made.get();
            } catch (...) {
                p = &g_fallback_proxy;
            }
            g_proxy.store(p, std::memory_order_release);
        }
    }
    return *p;
}

void CMemoryWatcherProxy::report_allocation(const void* block, std::size_t bytes, const char* file,
                                            std::int32_t line) noexcept {
    if (m_watcher) m_watcher->register_allocation(block, bytes, file, line);
}

void CMemoryWatcherProxy::report_release(const void* block) noexcept {
    if (m_watcher) m_watcher->release_allocation(block);
}

void* pool_allocate(std::size_t elements, std::size_t element_size, const char* file, std::int32_t line,
                    bool& watched) noexcept {
    watched = false;
    if (elements == 0 || element_size == 0 || elements > SIZE_MAX / element_size) return nullptr;
    const std::size_t bytes = elements * element_size;
    auto* manager = MemoryPool::GetMemoryPoolManager();
    MemoryPool::IMemoryPool* pool = manager != nullptr ? manager->GetMemoryPool(0) : nullptr;
    if (pool == nullptr) return nullptr;
    void* block = pool->allocate(bytes);
    if (block == nullptr) return nullptr;
    if (elements >= kParallelFillElements) {
        auto* base = static_cast<unsigned char*>(block);
        try {
            tbb::parallel_for(tbb::blocked_range<std::size_t>(0, elements), [&](const tbb::blocked_range<std::size_t>& r) {
                std::memset(base + r.begin() * element_size, 0, (r.end() - r.begin()) * element_size);
            });
        } catch (...) {
            std::memset(block, 0, bytes);
        }
    } else {
        std::memset(block, 0, bytes);
    }
    if (memory_watch_mode() == 1) {
        CMemoryWatcherProxy::instance().report_allocation(block, bytes, file, line);
        watched = true;
    }
    return block;
}

void pool_release(void* block, std::size_t bytes, bool watched) noexcept {
    if (block == nullptr) return;
    // A block reported at allocation is reported at release too, so that the watcher's books
    // balance even when the mode changed in between.
    if (watched) CMemoryWatcherProxy::instance().report_release(block);
    if (auto* manager = MemoryPool::GetMemoryPoolManager(); manager != nullptr)
        if (auto* pool = manager->GetMemoryPool(0); pool != nullptr) pool->release(block, bytes);
}

}  // namespace mp
