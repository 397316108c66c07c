// Compressed-section throughput: 64 MiB of doubles from a smooth property table written and read
// through the zlib engine at levels 1 and 6, beside raw zlib compress2/uncompress of the same
// buffer at the same level. The "ratio" counter is uncompressed / compressed size. These figures
// decide the stream's default level (CZEngine::kDefaultLevel).
#include <benchmark/benchmark.h>

#include <zlib.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <map>
#include <string>
#include <stdexcept>
#include <vector>

#include "file_io/c_file_io/c_file_io.h"
#include "file_io/c_file_io/scopes.h"

namespace {

using c_file_io::internal::CMemoryIO;
using c_file_io::internal::CZEngine;
using c_file_io::internal::seek_origin;

constexpr std::size_t kBytes = std::size_t{64} << 20;
constexpr std::size_t kDoubles = kBytes / sizeof(double);

// Air from 200 K to 3000 K on a fine grid, two columns per temperature: cp(T) from a
// NASA-style polynomial and the dynamic viscosity from Sutherland's law. Smooth, full-precision
// values, as the library's own temperature tables are.
const std::vector<double>& table() {
    static const std::vector<double> data = [] {
        std::vector<double> v(kDoubles);
        const std::size_t n = kDoubles / 2;
        const double r = 8.3144 / 0.028965;
        for (std::size_t i = 0; i < n; ++i) {
            const double t = 200.0 + 2800.0 * static_cast<double>(i) / static_cast<double>(n - 1);
            const double cp = r * (3.5684 - 6.7e-4 * t + 1.6e-6 * t * t - 1.0e-9 * t * t * t + 2.0e-13 * t * t * t * t);
            const double mu = 1.716e-5 * std::pow(t / 273.15, 1.5) * (273.15 + 110.4) / (t + 110.4);
            v[2 * i] = cp;
            v[2 * i + 1] = mu;
        }
        return v;
    }();
    return data;
}

const std::uint8_t* table_bytes() { return reinterpret_cast<const std::uint8_t*>(table().data()); }

// The engine's output for `level`, made once per level (the read benchmarks start from it).
const std::vector<std::uint8_t>& engine_compressed(int level) {
    static std::map<int, std::vector<std::uint8_t>> cache;
    auto& out = cache[level];
    if (out.empty()) {
        CMemoryIO mem;
        CZEngine engine(static_cast<std::uint32_t>(level));
        engine.set_write_FILE(&mem);
        engine.write(table_bytes(), kBytes);
        engine.close();
        out = mem.bytes();
    }
    return out;
}

// Output buffers are touched before timing, so that the operating system's first touch of fresh
// pages does not count against a single 64 MiB iteration.
void prefault(CMemoryIO& mem, std::size_t bytes) {
    const std::vector<std::uint8_t> zeros(bytes, 0);
    mem.seek(0, seek_origin::begin);
    mem.write(zeros.data(), zeros.size());
    mem.seek(0, seek_origin::begin);
}

void set_counters(benchmark::State& state, std::size_t compressed) {
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * kBytes));
    state.counters["ratio"] = static_cast<double>(kBytes) / static_cast<double>(compressed);
}

// ---- the engine ----------------------------------------------------------------------------------

// range(0): zlib level; range(1): bytes per write call.
void BM_engine_write(benchmark::State& state) {
    const auto level = static_cast<std::uint32_t>(state.range(0));
    const auto chunk = static_cast<std::size_t>(state.range(1));
    const std::uint8_t* src = table_bytes();  // built before timing
    CMemoryIO mem;
    prefault(mem, kBytes + kBytes / 8);
    std::size_t compressed = 0;
    for (auto _ : state) {
        mem.seek(0, seek_origin::begin);
        CZEngine engine(level);
        engine.set_write_FILE(&mem);
        for (std::size_t i = 0; i < kBytes; i += chunk) engine.write(src + i, std::min(chunk, kBytes - i));
        engine.close();
        compressed = static_cast<std::size_t>(mem.tell());
    }
    set_counters(state, compressed);
}

void BM_engine_read(benchmark::State& state) {
    const int level = static_cast<int>(state.range(0));
    const auto chunk = static_cast<std::size_t>(state.range(1));
    const auto& z = engine_compressed(level);
    CMemoryIO mem(z.data(), z.size());
    std::vector<std::uint8_t> out(kBytes);
    for (auto _ : state) {
        mem.seek(0, seek_origin::begin);
        CZEngine engine;
        engine.set_read_FILE(&mem, &mem);
        for (std::size_t i = 0; i < kBytes; i += chunk) {
            const std::size_t k = std::min(chunk, kBytes - i);
            if (engine.read(out.data() + i, k) != k) state.SkipWithError("short read");
        }
        engine.close();
        benchmark::DoNotOptimize(out.data());
    }
    if (std::memcmp(out.data(), table_bytes(), kBytes) != 0) state.SkipWithError("the data did not round-trip");
    set_counters(state, z.size());
}

// ---- the stream's own path: C_file_io compressed sections at the default level ----------------------

void BM_stream_section_write(benchmark::State& state) {
    const auto& src = table();
    C_file_io s;
    s.open_memory();
    prefault(*s.memory(), kBytes + kBytes / 8);
    std::size_t compressed = 0;
    for (auto _ : state) {
        s.seek(0, seek_origin::begin);
        C_file_ZIP_scope zip(s, C_file_ZIP_scope::direction::write);
        s.write(src.data(), kDoubles);
        zip.close();
        compressed = static_cast<std::size_t>(s.tell());
    }
    state.SetLabel("level " + std::to_string(CZEngine::kDefaultLevel));
    set_counters(state, compressed);
}

void BM_stream_section_read(benchmark::State& state) {
    const auto& z = engine_compressed(CZEngine::kDefaultLevel);
    C_file_io s;
    s.open_memory(z.data(), z.size());
    std::vector<double> out(kDoubles);
    for (auto _ : state) {
        s.seek(0, seek_origin::begin);
        C_file_ZIP_scope zip(s, C_file_ZIP_scope::direction::read);
        s.read(out.data(), kDoubles);
        zip.close();
        benchmark::DoNotOptimize(out.data());
    }
    state.SetLabel("level " + std::to_string(CZEngine::kDefaultLevel));
    set_counters(state, z.size());
}

// ---- raw zlib over the whole buffer --------------------------------------------------------------

void BM_zlib_compress2(benchmark::State& state) {
    const int level = static_cast<int>(state.range(0));
    const std::uint8_t* src = table_bytes();
    std::vector<std::uint8_t> out(compressBound(static_cast<uLong>(kBytes)));
    uLongf len = 0;
    for (auto _ : state) {
        len = static_cast<uLongf>(out.size());
        if (compress2(out.data(), &len, src, static_cast<uLong>(kBytes), level) != Z_OK)
            state.SkipWithError("compress2 failed");
        benchmark::DoNotOptimize(out.data());
    }
    set_counters(state, len);
}

void BM_zlib_uncompress(benchmark::State& state) {
    const int level = static_cast<int>(state.range(0));
    std::vector<std::uint8_t> z(compressBound(static_cast<uLong>(kBytes)));
    uLongf zlen = static_cast<uLongf>(z.size());
    if (compress2(z.data(), &zlen, table_bytes(), static_cast<uLong>(kBytes), level) != Z_OK)
        throw std::runtime_error("compress2 failed");
    std::vector<std::uint8_t> out(kBytes);
    for (auto _ : state) {
        uLongf len = static_cast<uLongf>(out.size());
        if (uncompress(out.data(), &len, z.data(), zlen) != Z_OK) state.SkipWithError("uncompress failed");
        benchmark::DoNotOptimize(out.data());
    }
    set_counters(state, zlen);
}

}  // namespace

BENCHMARK(BM_engine_write)->ArgsProduct({{1, 6}, {static_cast<std::int64_t>(kBytes), 4096}})->Unit(benchmark::kMillisecond);
BENCHMARK(BM_engine_read)->ArgsProduct({{1, 6}, {static_cast<std::int64_t>(kBytes), 4096}})->Unit(benchmark::kMillisecond);
BENCHMARK(BM_stream_section_write)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_stream_section_read)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_zlib_compress2)->Arg(1)->Arg(6)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_zlib_uncompress)->Arg(1)->Arg(6)->Unit(benchmark::kMillisecond);
