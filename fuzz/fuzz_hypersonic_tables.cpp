// Reads arbitrary bytes as the record of a hypersonic medium's tables (the layout and every
// band's generator). A damaged record must be refused or read whole, never crash, leak or hang;
// what reads answers the four queries in and around every band and is written back.
#include <cstddef>
#include <cstdint>
#include <exception>

#include "file_io/c_file_io/c_file_io.h"
#include "hypersonic/hypersonic_tables.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    mp::hypersonic::table_set set;
    C_file_io in;
    in.open_memory(data, size);
    try {
        set.read(in);
    } catch (const std::exception&) {
        return 0;
    }
    const auto& l = set.layout();
    double r[8];
    for (std::int32_t b = 0; b < set.band_count(); ++b) {
        const auto& g = set.band(b).grid();
        for (double f : {-2.0, -0.5, 0.0, 0.37, 1.0, 3.0}) {
            const double rho = g.x2_origin + (g.x2_max - g.x2_origin) * f;
            const double T = l.T_min * (1.0 + f);
            set.state_T_rho(T, rho, r);
            set.state_e_rho(r[0], rho, r);
            set.state_p_rho(r[1], rho, r);
            set.state_p_T(r[1], T, r);
        }
    }
    C_file_io out;
    out.open_memory();
    set.write(out);
    return 0;
}
