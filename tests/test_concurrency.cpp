// What the library shares between threads: the memory-watcher proxy created on first use, pooled
// allocations reported from many threads, and the log. Built alone under ThreadSanitizer.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "c_memory_pool.h"
#include "medium_physics/standalone_host.h"
#include "mp_log.h"
#include "mp_settings.h"

namespace {
constexpr int kThreads = 8;
}

TEST(Concurrency, WatcherProxyIsCreatedOnceUnderRace) {
    std::atomic<int> ready{0};
    std::vector<const mp::CMemoryWatcherProxy*> seen(kThreads, nullptr);
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i)
        threads.emplace_back([&, i] {
            ready.fetch_add(1);
            while (ready.load() < kThreads) {
            }
            seen[static_cast<std::size_t>(i)] = &mp::CMemoryWatcherProxy::instance();
        });
    for (auto& t : threads) t.join();
    for (const auto* p : seen) EXPECT_EQ(p, seen[0]);
    EXPECT_TRUE(seen[0]->has_watcher());
}

TEST(Concurrency, PooledAllocationsFromManyThreadsBalanceTheBooks) {
    const std::int32_t saved = mp::memory_watch_mode();
    mp::set_memory_watch_mode(1);
    const std::uint64_t before = standalone_host::memory_live_bytes();
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i)
        threads.emplace_back([i] {
            for (int k = 0; k < 200; ++k) {
                mp::pooled_array<double> a;
                ASSERT_TRUE(a.allocate(static_cast<std::size_t>(16 + k), "tests/test_concurrency", 30 + i));
                a[0] = 1.0;
            }
        });
    for (auto& t : threads) t.join();
    EXPECT_EQ(standalone_host::memory_live_bytes(), before);
    mp::set_memory_watch_mode(saved);
}

TEST(Concurrency, LogLinesFromManyThreadsAllArriveWhole) {
    standalone_host::log_capture cap;
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i)
        threads.emplace_back([i] {
            for (int k = 0; k < 100; ++k)
                mp::log_line(nullptr, mp::line_kind::warning, "Warning : MediumPhysics: %s(%d): thread %d\n",
                             "tests/test_concurrency", k, i);
        });
    for (auto& t : threads) t.join();
    const auto lines = cap.lines();
    ASSERT_EQ(lines.size(), static_cast<std::size_t>(kThreads * 100));
    for (const auto& l : lines) EXPECT_EQ(l.text.back(), '\n');
}
