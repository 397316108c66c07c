// The library's process-wide settings: the thread count of table-generation loops (taken from the
// host when the factory is created) and the memory-watch mode (set by the factory).
#pragma once

#include <cstdint>

namespace mp {

// Threads for the OpenMP loops of table generation; the host's value as it gave it (initially 1).
std::int32_t thread_count() noexcept;
void set_thread_count(std::int32_t count) noexcept;
// The thread count to hand to an OpenMP loop: at least 1.
inline int omp_threads() noexcept { return thread_count() > 1 ? thread_count() : 1; }

// 1: pooled allocations and releases are reported to the host's memory watcher; anything else: not.
std::int32_t memory_watch_mode() noexcept;
void set_memory_watch_mode(std::int32_t mode) noexcept;

}  // namespace mp
