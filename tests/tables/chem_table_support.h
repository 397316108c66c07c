// Test support for the chemistry tables: an analytic generator whose fields are trilinear in the
// axes' own (log-space) coordinates, so that every interpolated and extrapolated value is known
// in closed form, and a generator that fails.
#pragma once

#include <cmath>
#include <cstdint>

#include "tables/c_3d_property.h"
#include "tables/chem_table_file.h"

namespace chem_test {

// Field `index` at the axis coordinates u1, u2 (logarithms on log axes) and mixture fraction z:
// a trilinear polynomial with coefficients that differ from field to field.
inline double trilinear_field(std::int32_t index, double u1, double u2, double z) {
    const double c = 1.0 + 0.25 * index;
    return 2.0 * c + 0.5 * u1 - 0.003 * c * u2 + 1.5 * z + 0.01 * u1 * u2 - 0.2 * c * u1 * z + 0.002 * u2 * z +
           0.0005 * c * u1 * u2 * z;
}

// A 3-axis layout with the given sizes: axis 1 log from 1e5 Pa (ln), axis 2 linear from 300 K,
// axis 3 linear over [0, 1].
inline chem_table_layout layout(std::int32_t n1, std::int32_t n2, std::int32_t n3, std::int32_t count_a = 10,
                                std::int32_t count_b = 2) {
    chem_table_layout l;
    l.axis[0] = {n1, true, std::log(1.0e5), std::log(1.0e5) + 0.5 * (n1 - 1), 0.5};
    l.axis[1] = {n2, false, 300.0, 300.0 + 100.0 * (n2 - 1), 100.0};
    l.axis[2] = {n3, false, 0.0, 1.0, 1.0 / (n3 - 1)};
    l.count_a = count_a;
    l.count_b = count_b;
    return l;
}

// Fills every field of a created table with trilinear_field at its grid points.
inline void fill_trilinear(C_3d_Chem_property& t) {
    const std::int32_t n1 = t.size(0), n2 = t.size(1), n3 = t.size(2);
    for (std::int32_t f = 0; f < t.count_a() + t.count_b(); ++f) {
        double* v = t.field(f);
        for (std::int32_t i = 0; i < n1; ++i)
            for (std::int32_t j = 0; j < n2; ++j)
                for (std::int32_t k = 0; k < n3; ++k)
                    v[(static_cast<std::size_t>(i) * n2 + j) * n3 + k] =
                        trilinear_field(f, t.min(0) + i * t.step(0), t.min(1) + j * t.step(1), t.min(2) + k * t.step(2));
    }
}

// Builds tables of the requested sizes from layout() and fill_trilinear, and counts its calls.
class CAnalyticGenerator final : public IChemPropertyGenerator {
public:
    bool generate(C_3d_Chem_property& table, std::int32_t n1, std::int32_t n2, std::int32_t n3) override {
        ++calls;
        if (fail || !table.create(layout(n1, n2, n3))) return false;
        fill_trilinear(table);
        return true;
    }
    int calls = 0;
    bool fail = false;
};

}  // namespace chem_test
