// Reads arbitrary bytes as the record of a hypersonic medium's tables (version 1 or 2: the layout,
// the version-2 fields, every band's generator record). A damaged record must be refused or read
// whole, never crash, leak or hang; what reads answers the four queries, the equilibrium sound
// speed and the named lookups in and around every band, below the lowest density and outside the
// temperature axis, and is written back.
#include <cstddef>
#include <cstdint>
#include <exception>
#include <limits>

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
    double a_eq = 0.0, kappa = 0.0;
    for (std::int32_t b = 0; b < set.band_count(); ++b) {
        const auto& g = set.band(b).grid();
        for (double f : {-2.0, -0.5, 0.0, 0.37, 1.0, 3.0}) {
            const double rho = g.x2_origin + (g.x2_max - g.x2_origin) * f;
            const double T = l.T_min * (1.0 + f);
            set.state_T_rho(T, rho, r);
            set.state_e_rho(r[0], rho, r);
            set.state_p_rho(r[1], rho, r);
            set.state_p_T(r[1], T, r);
            set.equilibrium_sound_T_rho(T, rho, a_eq, kappa);
        }
    }
    // Below the lowest density (the rule of the record), zero, negative and NaN inputs.
    constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
    for (double rho : {0.5 * l.rho_low, 1e-30 * l.rho_low, 0.0, -1.0, kNaN}) {
        for (double T : {0.5 * l.T_min, l.T_frozen, l.T_max, kNaN}) {
            const auto s = set.at_T_rho(T, rho);
            const auto q = set.at_p_T(s.p, T);
            set.state_e_rho(s.e, rho, r);
            set.state_p_rho(q.p, rho, r);
            set.equilibrium_sound_T_rho(T, rho, a_eq, kappa);
        }
    }
    C_file_io out;
    out.open_memory();
    set.write(out);
    return 0;
}
