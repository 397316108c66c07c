// Arbitrary bytes as a single-component gas table file ("MPSG", version, table record, checksum
// trailer), read as the factory reads SingleComponentGas.tables. A damaged file must be refused
// with a status and an empty table, never crash, leak, hang or allocate far beyond its size. A
// table that reads is looked up at states inside, outside and without a number, and its record
// must read back to the same bytes.
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "single_component/sc_gas_table.h"
#include "file_io/c_file_io/c_file_io.h"
#include "medium_physics/standalone_host.h"

namespace {

using namespace mp::single_component;

std::vector<std::uint8_t> record_of(const sc_gas_table& t) {
    C_file_io s;
    s.open_memory();
    t.write(s);
    return s.memory_bytes();
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    standalone_host::set_log_observer([](host_log::entry, std::string_view) {});
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    C_file_io s;
    s.open_memory(data, size);
    sc_gas_table t;
    std::string why;
    if (read_sc_gas_table(s, t, why) != sc_file_status::ok) {
        if (!t.empty()) __builtin_trap();
        return 0;
    }
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double xs[][2] = {{0.5, 400.0}, {1e-300, 1e300}, {-1.0, -5.0}, {nan, nan}, {1e30, 1e-30}};
    sc_state out;
    for (const auto& x : xs) {
        t.at_v_T(x[0], x[1], out);
        t.at_e_v(x[1], x[0], out);
        t.at_pv_v(x[1], x[0], out);
        t.at_p_T(x[1], x[1], out);
    }
    const std::vector<std::uint8_t> first = record_of(t);
    C_file_io in;
    in.open_memory(first);
    sc_gas_table copy;
    try {
        if (!copy.read(in, why) || record_of(copy) != first) __builtin_trap();
    } catch (...) {
        __builtin_trap();
    }
    return 0;
}
