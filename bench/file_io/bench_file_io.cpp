// Plain block stream throughput: 64 MiB of doubles written and read through C_file_io, in one call
// and in 4 KiB chunks, over the memory provider and a file in the temp directory, beside memcpy of
// the same bytes (the ceiling for the memory provider).
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "file_io/c_file_io/c_file_io.h"

namespace {

namespace fs = std::filesystem;
using c_file_io::internal::seek_origin;

constexpr std::size_t kBytes = std::size_t{64} << 20;
constexpr std::size_t kDoubles = kBytes / sizeof(double);

const std::vector<double>& source() {
    static const std::vector<double> data = [] {
        std::vector<double> v(kDoubles);
        for (std::size_t i = 0; i < v.size(); ++i) v[i] = 300.0 + 1.0e-3 * static_cast<double>(i);
        return v;
    }();
    return data;
}

// A file in the temp directory, removed at exit.
const fs::path& scratch_file() {
    static const struct holder {
        fs::path path;
        holder() {
            std::random_device rd;
            path = fs::temp_directory_path() / ("mp_bench_file_io_" + std::to_string(rd()) + ".bin");
        }
        ~holder() {
            std::error_code ec;
            fs::remove(path, ec);
        }
    } file;
    return file.path;
}

CHostString host_path(const fs::path& p) { return CHostString(p.u16string()); }

// range(0): bytes per call (kBytes: one call; 4096: 4 KiB chunks).
void write_doubles(C_file_io& s, const double* src, std::size_t chunk_bytes) {
    const std::size_t per_call = chunk_bytes / sizeof(double);
    for (std::size_t i = 0; i < kDoubles; i += per_call) s.write(src + i, std::min(per_call, kDoubles - i));
}

void read_doubles(C_file_io& s, double* dst, std::size_t chunk_bytes) {
    const std::size_t per_call = chunk_bytes / sizeof(double);
    for (std::size_t i = 0; i < kDoubles; i += per_call) s.read(dst + i, std::min(per_call, kDoubles - i));
}

void BM_memcpy(benchmark::State& state) {
    const auto& src = source();
    std::vector<double> dst(kDoubles, 0.0);  // touched once, as the reused stream buffer is
    for (auto _ : state) {
        std::memcpy(dst.data(), src.data(), kBytes);
        benchmark::DoNotOptimize(dst.data());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * kBytes));
}

// The memory provider's buffer is kept between iterations (seek to the start), so the figure is
// the stream's cost, not the operating system's first touch of fresh pages.
void BM_plain_write_memory(benchmark::State& state) {
    const auto& src = source();
    const auto chunk = static_cast<std::size_t>(state.range(0));
    C_file_io s;
    s.open_memory();
    s.memory()->reserve(kBytes);
    write_doubles(s, src.data(), kBytes);
    for (auto _ : state) {
        s.seek(0, seek_origin::begin);
        write_doubles(s, src.data(), chunk);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * kBytes));
}

void BM_plain_read_memory(benchmark::State& state) {
    const auto& src = source();
    const auto chunk = static_cast<std::size_t>(state.range(0));
    C_file_io s;
    s.open_memory(src.data(), kBytes);
    std::vector<double> dst(kDoubles, 0.0);
    for (auto _ : state) {
        s.seek(0, seek_origin::begin);
        read_doubles(s, dst.data(), chunk);
        benchmark::DoNotOptimize(dst.data());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * kBytes));
}

// Open, write, close: the file reaches the operating system's cache, not necessarily the disk.
void BM_plain_write_file(benchmark::State& state) {
    const auto& src = source();
    const auto chunk = static_cast<std::size_t>(state.range(0));
    const CHostString path = host_path(scratch_file());
    for (auto _ : state) {
        C_file_io s;
        s.open(path, u"wb");
        write_doubles(s, src.data(), chunk);
        s.close();
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * kBytes));
}

void BM_plain_read_file(benchmark::State& state) {
    const auto chunk = static_cast<std::size_t>(state.range(0));
    const CHostString path = host_path(scratch_file());
    {
        C_file_io s;
        s.open(path, u"wb");
        write_doubles(s, source().data(), kBytes);
        s.close();
    }
    std::vector<double> dst(kDoubles, 0.0);
    for (auto _ : state) {
        C_file_io s;
        s.open(path, u"rb");
        read_doubles(s, dst.data(), chunk);
        s.close();
        benchmark::DoNotOptimize(dst.data());
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * kBytes));
}

}  // namespace

BENCHMARK(BM_memcpy)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_plain_write_memory)->Arg(kBytes)->Arg(4096)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_plain_read_memory)->Arg(kBytes)->Arg(4096)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_plain_write_file)->Arg(kBytes)->Arg(4096)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_plain_read_file)->Arg(kBytes)->Arg(4096)->Unit(benchmark::kMillisecond);
