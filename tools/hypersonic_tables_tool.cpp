// mp-hypersonic-tables: computes the built-in equilibrium-air tables of the hypersonic medium with
// the equilibrium engine and writes them as the record the library embeds.
//
//   mp-hypersonic-tables [--out FILE] [--threads N]
#include <CLI/CLI.hpp>

#include <cstdio>
#include <string>

#include "file_io/c_file_io/c_file_io.h"
#include "hypersonic_tables.h"

int main(int argc, char** argv) {
    CLI::App app{"Computes the built-in equilibrium-air tables of the hypersonic medium"};
    std::string out = "equilibrium_air_tables.bin";
    int threads = 2;
    app.add_option("--out", out, "file to write the table record to");
    app.add_option("--threads", threads, "OpenMP threads")->check(CLI::Range(1, 256));
    CLI11_PARSE(app, argc, argv);

    const auto layout = mp::hypersonic::default_layout();
    std::vector<std::shared_ptr<CHypersonicBuiltInPG>> bands;
    mp::hypersonic::generation_report report;
    mp::hypersonic::table_set set;
    if (!mp::hypersonic::generate_equilibrium_air(layout, bands, threads, &report) ||
        !set.assign(layout, std::move(bands))) {
        std::fprintf(stderr, "mp-hypersonic-tables: the tables could not be generated\n");
        return 1;
    }
    std::printf("%lld points (%lld by the fallback iteration, %lld failed) in %.3f s on %d threads\n",
                static_cast<long long>(report.points), static_cast<long long>(report.fallbacks),
                static_cast<long long>(report.failures), report.seconds, threads);
    try {
        C_file_io stream;
        stream.open(CHostString::from_utf8(out), CHostString(u"w"));
        set.write(stream);
        stream.close();
    } catch (const std::exception& e) {
        std::fprintf(stderr, "mp-hypersonic-tables: %s: %s\n", out.c_str(), e.what());
        return 1;
    }
    std::printf("wrote %s (%zu bytes of tables)\n", out.c_str(), set.bytes());
    return report.failures == 0 ? 0 : 1;
}
