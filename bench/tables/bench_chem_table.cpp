// Chemistry tables of 64 x 64 x 32 points with 10 property and 8 further fields (18.9 MB of
// doubles): one lookup (three blended columns, eight fields, locate included), and the table file
// written (temporary file, checksum, rename) beside restored (read, check record, checksum
// verified), in bytes of file per second of wall-clock time. The file lies in the temp directory,
// so the restore reads from the page cache, not from the disk.
#include <benchmark/benchmark.h>

#include <cmath>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "tables/c_3d_property.h"
#include "tables/chem_table_file.h"
#include "file_io/c_file_io/c_file_io.h"

namespace {

namespace fs = std::filesystem;

constexpr std::int32_t kN1 = 64, kN2 = 64, kN3 = 32;
constexpr std::int32_t kFieldsA = 10, kFieldsB = 8;

// An ideal-gas-like table over ln p and T whose properties change with the mixture fraction, so
// that every output of the lookup is finite.
bool fill(C_3d_Chem_property_PT& t) {
    chem_table_layout l;
    l.axis[0] = {kN1, true, std::log(1.0e4), std::log(1.0e7), (std::log(1.0e7) - std::log(1.0e4)) / (kN1 - 1)};
    l.axis[1] = {kN2, false, 250.0, 3500.0, (3500.0 - 250.0) / (kN2 - 1)};
    l.axis[2] = {kN3, false, 0.0, 1.0, 1.0 / (kN3 - 1)};
    l.count_a = kFieldsA;
    l.count_b = kFieldsB;
    if (!t.create(l)) return false;
    for (std::int32_t i = 0; i < kN1; ++i)
        for (std::int32_t j = 0; j < kN2; ++j)
            for (std::int32_t k = 0; k < kN3; ++k) {
                const double p = t.axis_values(0)[i], T = t.axis_values(1)[j], z = t.axis_values(2)[k];
                const double R = 287.0 + 200.0 * z, cp = 1000.0 + 0.2 * T + 800.0 * z;
                const std::size_t n = (static_cast<std::size_t>(i) * kN2 + j) * kN3 + k;
                t.field(0)[n] = std::log(R * T / p);
                t.field(1)[n] = cp * T;
                t.field(2)[n] = 1.8e-5 * std::sqrt(T / 300.0);
                t.field(3)[n] = R / p;
                t.field(4)[n] = -R * T / (p * p);
                t.field(5)[n] = cp;
                t.field(8)[n] = 0.026 * std::sqrt(T / 300.0);
                t.field(9)[n] = 8.3144 / R;
                for (std::int32_t f : {6, 7}) t.field(f)[n] = T;
                for (std::int32_t f = kFieldsA; f < kFieldsA + kFieldsB; ++f) t.field(f)[n] = z * (f + 1);
            }
    t.set_two_stream(true);
    return true;
}

const C_3d_Chem_property_PT& table() {
    static C_3d_Chem_property_PT t;
    static const bool filled = fill(t);
    (void)filled;
    return t;
}

struct state {
    double p, T, y, a, b;
};

// range(0) 0: states scattered over the whole table (each lookup's rows come from memory);
// 1: states along a path through neighbouring cells, as a solver's sweep over its mesh asks them.
void BM_chem_lookup(benchmark::State& s) {
    const auto& t = table();
    std::mt19937 rng(3);
    std::uniform_real_distribution<double> lnp(std::log(1.2e4), std::log(9.0e6)), T(260.0, 3400.0), u(0.0, 1.0);
    std::vector<state> states(4096);
    for (std::size_t n = 0; n < states.size(); ++n) {
        if (s.range(0) == 0) {
            states[n] = {std::exp(lnp(rng)), T(rng), u(rng), 0.3 * u(rng), 0.3 * u(rng)};
        } else {
            const double f = static_cast<double>(n) / static_cast<double>(states.size());
            states[n] = {2.0e5 * (1.0 + 0.5 * f), 900.0 + 300.0 * f, 0.05 + 0.1 * f, 0.1, 0.2};
        }
    }
    std::size_t n = 0;
    for (auto _ : s) {
        const state& x = states[n++ & 4095];
        benchmark::DoNotOptimize(t.lookup(x.p, x.T, x.y, x.a, x.b));
    }
    s.SetItemsProcessed(static_cast<std::int64_t>(s.iterations()));
}

const host_guid& identifier() {
    static const host_guid id = [] {
        host_guid g;
        guid_utils::BuildGUIDFromString(u"5C1D3E2A-7B44-4F0E-9A61-2D8C0B7E4F10", g);
        return g;
    }();
    return id;
}

// The table file in the temp directory, removed at exit.
const fs::path& file() {
    static const struct holder {
        fs::path path;
        holder() {
            std::random_device rd;
            path = fs::temp_directory_path() / ("mp_bench_chem_" + std::to_string(rd()) + "_PT.tbl");
        }
        ~holder() {
            std::error_code ec;
            fs::remove(path, ec);
        }
    } f;
    return f.path;
}

void BM_chem_table_write(benchmark::State& s) {
    const auto& t = table();
    const CChemIdentifierCheck check(identifier());
    for (auto _ : s)
        if (!write_chem_table_file(file(), t, check)) s.SkipWithError("the table file did not write");
    s.SetBytesProcessed(static_cast<std::int64_t>(s.iterations() * fs::file_size(file())));
}

void BM_chem_table_restore(benchmark::State& s) {
    const CChemIdentifierCheck check(identifier());
    if (!write_chem_table_file(file(), table(), check)) s.SkipWithError("the table file did not write");
    for (auto _ : s) {
        C_3d_Chem_property_PT t;
        const chem_file_report r = read_chem_table_file(file(), t, &check);
        if (r.status != chem_file_status::ok || r.checksum != chem_checksum_state::valid)
            s.SkipWithError("the table file did not restore");
        benchmark::DoNotOptimize(t.field(0));
    }
    s.SetBytesProcessed(static_cast<std::int64_t>(s.iterations() * fs::file_size(file())));
}

// The record alone from memory: what the stream and the allocation cost without file and checksum.
void BM_chem_table_read_memory(benchmark::State& s) {
    C_file_io out;
    out.open_memory();
    table().write(out);
    const std::vector<std::uint8_t> bytes = out.memory_bytes();
    for (auto _ : s) {
        C_file_io in;
        in.open_memory(bytes);
        C_3d_Chem_property_PT t;
        std::uint8_t version = 0;
        if (!t.read(in, version)) s.SkipWithError("the record did not read");
        benchmark::DoNotOptimize(t.field(0));
    }
    s.SetBytesProcessed(static_cast<std::int64_t>(s.iterations() * bytes.size()));
}

}  // namespace

BENCHMARK(BM_chem_lookup)->ArgName("coherent")->Arg(0)->Arg(1);
BENCHMARK(BM_chem_table_write)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_chem_table_restore)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_chem_table_read_memory)->Unit(benchmark::kMillisecond);
