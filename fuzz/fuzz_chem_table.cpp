// Arbitrary bytes as a chemistry table file, read as a restore reads it (table record, check record,
// checksum trailer) into a PT and a VT table. A damaged file must be refused with a status, never
// crash, leak, hang or allocate far beyond its size. What reads is looked up at states inside,
// outside and without a number, and must write a record that reads back to the same bytes.
//
// Input: byte 0 holds flags (bit 0: swap byte order, bit 1: read the identifier check record);
// the rest is the file.
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

#include "tables/c_3d_property.h"
#include "tables/chem_table_file.h"
#include "file_io/c_file_io/c_file_io.h"
#include "medium_physics/standalone_host.h"

namespace {

std::vector<std::uint8_t> record_of(const C_3d_Chem_property& t) {
    C_file_io s;
    s.open_memory();
    t.write(s);
    return s.memory_bytes();
}

void exercise(C_3d_Chem_property& t, C_3d_Chem_property& copy) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double xs[][5] = {{1e5, 300.0, 0.5, 0.1, 0.2}, {-1.0, 1e308, 2.0, -3.0, 7.0}, {nan, nan, nan, nan, nan}};
    for (std::int32_t mode : {0, 1})
        for (const auto& x : xs) {
            t.set_mode(mode);
            (void)t.lookup(x[0], x[1], x[2], x[3], x[4]);
            (void)t.locate(x[0], x[1], x[2]);
        }
    const std::vector<std::uint8_t> first = record_of(t);
    C_file_io in;
    in.open_memory(first);
    std::uint8_t version = 0;
    if (!copy.read(in, version) || record_of(copy) != first) __builtin_trap();
}

template <class Table>
void read_as(const std::uint8_t* data, std::size_t size, bool swap, const IChemSubstanceCheck* check) {
    C_file_io s;
    s.open_memory(data, size);
    s.set_swap(swap);
    Table t;
    const chem_file_report r = read_chem_table(s, t, check);
    if (r.status != chem_file_status::ok) {
        if (!t.empty()) __builtin_trap();
        return;
    }
    Table copy;
    exercise(t, copy);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    standalone_host::set_log_observer([](host_log::entry, std::string_view) {});
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    const bool swap = (data[0] & 1) != 0;
    host_guid id;
    const CChemIdentifierCheck check(id);
    const IChemSubstanceCheck* with = (data[0] & 2) != 0 ? &check : nullptr;
    read_as<C_3d_Chem_property_PT>(data + 1, size - 1, swap, with);
    read_as<C_3d_Chem_property_VT>(data + 1, size - 1, swap, with);
    return 0;
}
