// Reads arbitrary bytes as a saved real-gas table (the kind byte the command line writes, then the
// table record with its cages, generator and saturation line). A damaged table file must be
// refused or read whole, never crash, leak or hang; what reads is looked up at a few points
// without filling absent patches, and written back.
#include <cstddef>
#include <cstdint>
#include <exception>
#include <memory>

#include "tables/c_2d_property.h"
#include "real_gas/crgpropertygenerator.h"
#include "file_io/c_file_io/c_file_io.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 1) return 0;
    std::unique_ptr<C_2d_RG_property> table;
    if (data[0] % 2 == 0) table = std::make_unique<C_2d_RG_property_regular>();
    else table = std::make_unique<C_2d_RG_property_adaptable>();
    C_file_io in;
    in.open_memory(data + 1, size - 1);
    bool ok = false;
    try {
        ok = table->read(in, std::make_shared<CRGPropertyGenerator>());
    } catch (const std::exception&) {
        return 0;
    }
    if (!ok) return 0;
    // the stored patches answer lookups anywhere in their rectangle, the line anywhere in T
    for (int a = 0; a <= 4; ++a)
        for (int b = 0; b <= 4; ++b) {
            const double x = table->x_begin() + (table->x_end() - table->x_begin()) * a / 4.0;
            const double y = table->y_begin() + (table->y_end() - table->y_begin()) * b / 4.0;
            for (int ix = 0; ix < C_2d_RG_property::kPatches; ++ix)
                for (int iy = 0; iy < C_2d_RG_property::kPatches; ++iy)
                    if (const Cage* c = table->existing_patch(ix, iy)) {
                        double out[4];
                        c->values(c->x_begin() + (c->x_end() - c->x_begin()) * a / 4.0,
                                  c->y_begin() + (c->y_end() - c->y_begin()) * b / 4.0, out);
                    }
            (void)x;
            for (int k = 0; k < C_2d_RG_property::kSaturationArrays; ++k) {
                (void)table->saturation(k, y);
                (void)table->saturation_slope(k, y);
            }
        }
    C_file_io out;
    out.open_memory();
    table->write(out);
    return 0;
}
