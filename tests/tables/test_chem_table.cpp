// Three-dimensional chemistry tables: the cell search with its unclamped weights and sticky
// out-of-range byte, trilinear interpolation (exact on a trilinear field, inside and outside the
// table), the column weights, the blended lookup against hand calculations and an ideal gas, and
// the record: its byte layout, both body versions, the variant tags, byte-swapped input and
// damaged input.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <thread>
#include <vector>

#include "tables/c_3d_property.h"
#include "tables/chem_table_support.h"
#include "file_io/c_file_io/c_file_io.h"

namespace {

using bytes = std::vector<std::uint8_t>;
using chem_test::trilinear_field;

// Relative closeness for values that are computed along different paths.
constexpr double kRelTol = 1e-12;

::testing::AssertionResult close(double expected, double actual, double rel = kRelTol) {
    if (std::fabs(actual - expected) <= rel * std::max(1.0, std::fabs(expected))) return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << "expected " << expected << ", got " << actual;
}

// A table on plain linear axes: axis 1 from 10 by 2 (5 points), axis 2 from 300 by 100 (4 points),
// axis 3 from 0 by 0.5 (3 points).
void make_linear(C_3d_Chem_property& t) {
    chem_table_layout l;
    l.axis[0] = {5, false, 10.0, 18.0, 2.0};
    l.axis[1] = {4, false, 300.0, 600.0, 100.0};
    l.axis[2] = {3, false, 0.0, 1.0, 0.5};
    l.count_a = 10;
    ASSERT_TRUE(t.create(l));
}

template <class Table>
void make_trilinear(Table& t, std::int32_t n1 = 6, std::int32_t n2 = 5, std::int32_t n3 = 4, std::int32_t b = 2) {
    ASSERT_TRUE(t.create(chem_test::layout(n1, n2, n3, 10, b)));
    chem_test::fill_trilinear(t);
}

bytes record_of(const C_3d_Chem_property& t) {
    C_file_io s;
    s.open_memory();
    t.write(s);
    return s.memory_bytes();
}

// Reads `b` into `t`; throws what the stream throws.
bool read_bytes(C_3d_Chem_property& t, const bytes& b, std::uint8_t& version, chem_read_error& why,
                bool swap = false) {
    C_file_io s;
    s.open_memory(b);
    s.set_swap(swap);
    return t.read(s, version, why);
}

void expect_same_table(const C_3d_Chem_property& a, const C_3d_Chem_property& b) {
    for (int d = 0; d < 3; ++d) {
        ASSERT_EQ(a.size(d), b.size(d));
        EXPECT_EQ(a.log_axis(d), b.log_axis(d));
        EXPECT_EQ(a.min(d), b.min(d));
        EXPECT_EQ(a.bound(d), b.bound(d));
        EXPECT_EQ(a.step(d), b.step(d));
        EXPECT_EQ(0, std::memcmp(a.axis_values(d), b.axis_values(d), sizeof(double) * static_cast<std::size_t>(a.size(d))));
    }
    ASSERT_EQ(a.count_a(), b.count_a());
    ASSERT_EQ(a.count_b(), b.count_b());
    for (std::int32_t f = 0; f < a.count_a() + a.count_b(); ++f)
        EXPECT_EQ(0, std::memcmp(a.field(f), b.field(f), sizeof(double) * a.cells())) << "field " << f;
    EXPECT_EQ(a.two_stream(), b.two_stream());
    EXPECT_EQ(a.stream_parameter(), b.stream_parameter());
    EXPECT_EQ(a.out_of_range(), b.out_of_range());
}

}  // namespace

// ---- locate ----------------------------------------------------------------------------------

TEST(ChemTableLocate, EdgesOfAxisOneClampTheCellButNotTheWeight) {
    C_3d_Chem_property_PT t;
    make_linear(t);  // axis 1: f = (x1 - 10) / 2, N1 = 5
    struct row {
        double x1;
        std::int32_t i;
        double w1;
        bool out;
    };
    const row rows[] = {
        {18.0, 3, 1.0, true},    // f = N1 - 1: last grid line, moved to cell N1 - 2
        {17.0, 3, 0.5, false},   // inside the last cell
        {19.0, 3, 1.5, true},    // half a step beyond: extrapolated from the last cell
        {10.0, 0, 0.0, false},   // first grid line
        {9.0, 0, -0.5, false},   // f = -0.5 truncates to 0: no clamp, extrapolation below
        {8.0, 0, -1.0, true},    // f = -1: index -1 is clamped
        {7.0, 0, -1.5, true},    // f = -1.5: index -1 clamped to 0, weight stays -1.5
        {12.5, 1, 0.25, false},
    };
    for (const row& r : rows) {
        const chem_cell c = t.locate(r.x1, 350.0, 0.25);
        EXPECT_EQ(c.i, r.i) << "x1 = " << r.x1;
        EXPECT_EQ(c.w1, r.w1) << "x1 = " << r.x1;
        EXPECT_EQ(c.out_of_range, r.out) << "x1 = " << r.x1;
        EXPECT_EQ(c.j, 0);
        EXPECT_EQ(c.w2, 0.5);
        EXPECT_EQ(c.k, 0);
        EXPECT_EQ(c.w3, 0.5);
    }
}

TEST(ChemTableLocate, AxisTwoSetsTheFlagAxisThreeDoesNot) {
    C_3d_Chem_property_PT t;
    make_linear(t);
    chem_cell c = t.locate(12.0, 600.0, 0.5);  // f2 = N2 - 1
    EXPECT_EQ(c.j, 2);
    EXPECT_EQ(c.w2, 1.0);
    EXPECT_TRUE(c.out_of_range);
    c = t.locate(12.0, 150.0, 0.5);  // f2 = -1.5
    EXPECT_EQ(c.j, 0);
    EXPECT_EQ(c.w2, -1.5);
    EXPECT_TRUE(c.out_of_range);

    c = t.locate(12.0, 350.0, 1.75);  // f3 = 3.5 with N3 = 3: clamped to cell 1, weight 2.5
    EXPECT_EQ(c.k, 1);
    EXPECT_EQ(c.w3, 2.5);
    EXPECT_FALSE(c.out_of_range);
    c = t.locate(12.0, 350.0, -0.75);  // f3 = -1.5
    EXPECT_EQ(c.k, 0);
    EXPECT_EQ(c.w3, -1.5);
    EXPECT_FALSE(c.out_of_range);
}

TEST(ChemTableLocate, LogAxisAndInputsWithoutANumber) {
    C_3d_Chem_property_PT t;
    make_trilinear(t);  // axis 1: ln p from ln 1e5 by 0.5
    const chem_cell c = t.locate(1.0e5 * std::exp(0.5 * 2.25), 300.0, 0.0);
    EXPECT_EQ(c.i, 2);
    EXPECT_TRUE(close(0.25, c.w1));

    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double inf = std::numeric_limits<double>::infinity();
    for (const double x : {nan, inf, -inf, 0.0, -1.0, 1e308}) {
        const chem_cell d = t.locate(x, x, x);  // never a crash, never an index outside the table
        EXPECT_GE(d.i, 0);
        EXPECT_LE(d.i, t.size(0) - 2);
        EXPECT_GE(d.j, 0);
        EXPECT_LE(d.j, t.size(1) - 2);
        EXPECT_GE(d.k, 0);
        EXPECT_LE(d.k, t.size(2) - 2);
        EXPECT_TRUE(d.out_of_range);
    }
}

TEST(ChemTableLocate, LookupRaisesTheStickyByteOnlyOutsideAxesOneAndTwo) {
    C_3d_Chem_property_PT t;
    make_trilinear(t);
    t.set_two_stream(true);
    EXPECT_FALSE(t.out_of_range());
    EXPECT_FALSE(t.lookup(2.0e5, 450.0, 0.3, 0.5, 0.5).out_of_range);
    EXPECT_FALSE(t.lookup(2.0e5, 450.0, 7.0, 0.5, 0.5).out_of_range);  // z beyond the axis: silent
    EXPECT_FALSE(t.out_of_range());
    EXPECT_TRUE(t.lookup(1.0e4, 450.0, 0.3, 0.5, 0.5).out_of_range);
    EXPECT_TRUE(t.out_of_range());
    EXPECT_FALSE(t.lookup(2.0e5, 450.0, 0.3, 0.5, 0.5).out_of_range);
    EXPECT_TRUE(t.out_of_range()) << "sticky";

    // Saved with the table, and cleared by the owner.
    C_3d_Chem_property_PT back;
    std::uint8_t version = 0;
    chem_read_error why{};
    ASSERT_TRUE(read_bytes(back, record_of(t), version, why));
    EXPECT_TRUE(back.out_of_range());
    t.clear_out_of_range();
    EXPECT_FALSE(t.out_of_range());
    EXPECT_TRUE(t.lookup(2.0e5, 5000.0, 0.3, 0.5, 0.5).out_of_range);
}

// ---- interpolate -----------------------------------------------------------------------------

TEST(ChemTableInterpolate, ExactOnATrilinearFieldInsideAndOutside) {
    C_3d_Chem_property_VT t;
    make_trilinear(t);
    std::mt19937 rng(7);
    // From 1.5 cells below to 1.5 cells above each axis: outside, the edge cell extrapolates
    // linearly, which reproduces a trilinear field exactly; a clamped weight would not.
    std::uniform_real_distribution<double> u1(t.min(0) - 1.5 * t.step(0), t.min(0) + 6.5 * t.step(0));
    std::uniform_real_distribution<double> u2(t.min(1) - 1.5 * t.step(1), t.min(1) + 5.5 * t.step(1));
    std::uniform_real_distribution<double> z(-0.5, 1.5);
    int outside = 0;
    for (int n = 0; n < 2000; ++n) {
        const double a = u1(rng), b = u2(rng), c = z(rng);
        const chem_cell cell = t.locate(std::exp(a), b, c);
        outside += cell.out_of_range ? 1 : 0;
        for (std::int32_t f = 0; f < t.count_a() + t.count_b(); ++f)
            ASSERT_TRUE(close(trilinear_field(f, a, b, c),
                              t.interpolate(f, cell.w1, cell.w2, cell.w3, cell.i, cell.j, cell.k), 1e-11))
                << "field " << f << " at " << a << ", " << b << ", " << c;
    }
    EXPECT_GT(outside, 400);
}

TEST(ChemTableInterpolate, CornersAndRefusedArguments) {
    C_3d_Chem_property_PT t;
    make_linear(t);
    double* f = t.field(4);
    for (std::size_t n = 0; n < t.cells(); ++n) f[n] = static_cast<double>(n);  // value = (i*4 + j)*3 + k
    EXPECT_EQ(t.interpolate(4, 0.0, 0.0, 0.0, 2, 1, 1), 28.0);
    EXPECT_EQ(t.interpolate(4, 1.0, 1.0, 1.0, 2, 1, 1), 44.0);  // (3*4 + 2)*3 + 2
    EXPECT_EQ(t.interpolate(4, 0.5, 0.5, 0.5, 2, 1, 1), 36.0);
    const double values[] = {t.interpolate(10, 0, 0, 0, 0, 0, 0), t.interpolate(-1, 0, 0, 0, 0, 0, 0),
                             t.interpolate(4, 0, 0, 0, 4, 0, 0),  t.interpolate(4, 0, 0, 0, 0, 3, 0),
                             t.interpolate(4, 0, 0, 0, 0, 0, 2),  t.interpolate(4, 0, 0, 0, -1, 0, 0)};
    for (double v : values) EXPECT_TRUE(std::isnan(v));
}

// ---- mixing weights --------------------------------------------------------------------------

TEST(ChemTableMixing, TwoMixingInputs) {
    C_3d_Chem_property_PT t;
    make_linear(t);
    chem_mixing m = t.mixing_weights(0.375, 0.5, 0.25);
    EXPECT_EQ(m.burnt, 1.0) << "two-stream byte 0: the burnt mixture alone";
    EXPECT_EQ(m.fuel, 0.0);

    t.set_two_stream(true);
    m = t.mixing_weights(0.375, 0.5, 0.25);  // fuel = min(Y, b); burnt = 1 - fuel - min(1 - Y, a)
    EXPECT_EQ(m.fuel, 0.25);
    EXPECT_EQ(m.burnt, 0.25);
    EXPECT_EQ(m.oxidizer(), 0.5);
    m = t.mixing_weights(1.5, 0.5, 0.25);  // Y clamped to 1
    EXPECT_EQ(m.fuel, 0.25);
    EXPECT_EQ(m.burnt, 0.75);
    m = t.mixing_weights(-0.5, 0.5, 0.25);  // Y clamped to 0
    EXPECT_EQ(m.fuel, 0.0);
    EXPECT_EQ(m.burnt, 0.5);
    m = t.mixing_weights(0.375, -2.0, -1.0);  // negative inputs count as 0
    EXPECT_EQ(m.fuel, 0.0);
    EXPECT_EQ(m.burnt, 1.0);
}

TEST(ChemTableMixing, StreamParameterMode) {
    C_3d_Chem_property_PT t;
    make_linear(t);
    t.set_two_stream(true);
    t.set_mode(1);
    t.set_stream_parameter(0.25);
    chem_mixing m = t.mixing_weights(0.125, 0.0, 1.0);  // Y <= s: burnt = Y / s, fuel = Y - burnt s
    EXPECT_EQ(m.burnt, 0.5);
    EXPECT_EQ(m.fuel, 0.0);
    m = t.mixing_weights(0.625, 0.0, 0.25);  // Y > s: (1 - Y) / (1 - s) = 0.5, capped by b = 0.25
    EXPECT_EQ(m.burnt, 0.25);
    EXPECT_EQ(m.fuel, 0.5625);
    EXPECT_EQ(m.oxidizer(), 0.1875);

    // Weights never go negative through rounding: where (1 - burnt) - fuel would, fuel takes 1 - burnt.
    for (int is = 1; is < 200; ++is)
        for (int iy = 0; iy <= 211; ++iy) {
            t.set_stream_parameter(is / 200.0);
            const chem_mixing w = t.mixing_weights(iy / 211.0, 0.0, 1.0);
            ASSERT_GE(w.oxidizer(), 0.0) << "s = " << is / 200.0 << ", Y = " << iy / 211.0;
            ASSERT_GE(w.fuel, 0.0);
            ASSERT_GE(w.burnt, 0.0);
        }

    t.set_stream_parameter(0.0);  // s = 0 and Y = 0: the limit from above, not 0 / 0
    m = t.mixing_weights(0.0, 0.0, 1.0);
    EXPECT_EQ(m.burnt, 1.0);
    EXPECT_EQ(m.fuel, 0.0);
}

// ---- lookup ----------------------------------------------------------------------------------

namespace {

// Fields constant over axes 1 and 2 with these values at z = 0, 0.5, 1 (the other fields 1).
void make_blend(C_3d_Chem_property_PT& t) {
    make_linear(t);
    const double by_z[10][3] = {
        {std::log(2.0), 0.0, std::log(0.5)},  // 0: ln v
        {10.0, 20.0, 40.0},                   // 1
        {1.0, 2.0, 3.0},                      // 2
        {0.001, 0.001, 0.001},                // 3: dv/dT
        {-1e-5, -1e-5, -1e-5},                // 4: dv/dp
        {1000.0, 1100.0, 1300.0},             // 5: cp
        {1.0, 1.0, 1.0},
        {1.0, 1.0, 1.0},
        {5.0, 6.0, 8.0},  // 8
        {2.0, 4.0, 8.0},  // 9: blended harmonically
    };
    for (std::int32_t f = 0; f < 10; ++f)
        for (std::size_t n = 0; n < t.cells(); ++n) t.field(f)[n] = by_z[f][n % 3];
    t.set_two_stream(true);
}

}  // namespace

TEST(ChemTableLookup, ThreeColumnBlendByHand) {
    C_3d_Chem_property_PT t;
    make_blend(t);
    // Y = 0.5, a = b = 0.25: fuel 0.25, burnt 0.5, oxidizer 0.25; local z = (0.5 - 0.25) / 0.5 = 0.5,
    // so the burnt column is the z = 0.5 grid line, the fuel column z = 1, the oxidizer z = 0.
    const chem_lookup_result r = t.lookup(12.0, 300.0, 0.5, 0.25, 0.25);
    EXPECT_FALSE(r.out_of_range);
    // v = 0.5 * 1 + 0.25 * 0.5 + 0.25 * 2 = 1.125
    EXPECT_TRUE(close(1.0 / 1.125, r.out[0]));
    EXPECT_TRUE(close(22.5, r.out[1]));    // 0.5 * 20 + 0.25 * 40 + 0.25 * 10
    EXPECT_TRUE(close(1125.0, r.out[2]));  // 0.5 * 1100 + 0.25 * 1300 + 0.25 * 1000
    EXPECT_TRUE(close(2.0, r.out[6]));     // 0.5 * 2 + 0.25 * 3 + 0.25 * 1
    EXPECT_TRUE(close(6.25, r.out[7]));    // 0.5 * 6 + 0.25 * 8 + 0.25 * 5
    EXPECT_TRUE(close(1.0 / 0.28125, r.out[4]));  // 1 / (0.5 / 4 + 0.25 / 8 + 0.25 / 2)
    // c^2 = v^2 / (1e-5 - 1e-6 * 300 / 1125) = 1.265625 / 9.7333e-6; out 4 = 1e-5 / 9.7333e-6
    EXPECT_TRUE(close(360.5966801752682, r.out[5]));
    EXPECT_TRUE(close(1.0273972602739727, r.out[3]));
}

TEST(ChemTableLookup, BurntColumnBelowItsFloorIsDropped) {
    C_3d_Chem_property_PT t;
    make_blend(t);
    // b = 0.5, a = 0.5 at Y = 0.5: burnt exactly 0; fuel 0.5, oxidizer 0.5.
    chem_lookup_result r = t.lookup(12.0, 300.0, 0.5, 0.5, 0.5);
    EXPECT_TRUE(close(25.0, r.out[1]));          // 0.5 * 40 + 0.5 * 10
    EXPECT_TRUE(close(1.0 / 1.25, r.out[0]));    // v = 0.5 * 0.5 + 0.5 * 2
    // b = 0.49996: fuel 0.49996, burnt 4e-5 < 1e-4, whose local z would be (0.5 - 0.49996) / 4e-5 = 1,
    // the fuel line. Dropped, its weight goes to the oxidizer column (10) instead (40).
    r = t.lookup(12.0, 300.0, 0.5, 0.5, 0.49996);
    EXPECT_TRUE(close(0.49996 * 40 + 0.50004 * 10, r.out[1]));
    // At 4e-4 it stays, on the same line: 4e-4 * 40 + 0.4996 * 40 + 0.5 * 10.
    r = t.lookup(12.0, 300.0, 0.5, 0.5, 0.4996);
    EXPECT_TRUE(close(0.0004 * 40 + 0.4996 * 40 + 0.5 * 10, r.out[1]));
}

TEST(ChemTableLookup, StreamParameterModeUsesItAsTheLocalMixtureFraction) {
    C_3d_Chem_property_PT t;
    make_blend(t);
    t.set_mode(1);
    t.set_stream_parameter(0.25);
    // Y = 0.125: burnt 0.5, fuel 0, oxidizer 0.5; burnt column at z = s = 0.25, halfway between
    // the z = 0 and z = 0.5 lines.
    const chem_lookup_result r = t.lookup(12.0, 300.0, 0.125, 0.0, 1.0);
    EXPECT_TRUE(close(0.5 * 15.0 + 0.5 * 10.0, r.out[1]));
    EXPECT_TRUE(close(0.5 * 1050.0 + 0.5 * 1000.0, r.out[2]));
}

TEST(ChemTableLookup, WithoutTwoStreamsEveryOutputIsThePlainTrilinearValue) {
    C_3d_Chem_property_PT t;
    make_trilinear(t);
    std::mt19937 rng(11);
    std::uniform_real_distribution<double> p(1.2e5, 2.0e6), T(320.0, 760.0), y(0.0, 1.0);
    for (int n = 0; n < 200; ++n) {
        const double x1 = p(rng), x2 = T(rng), z = y(rng);
        const chem_lookup_result r = t.lookup(x1, x2, z, 0.3, 0.7);
        const chem_cell c = t.locate(x1, x2, z);
        const auto at = [&](std::int32_t f) { return t.interpolate(f, c.w1, c.w2, c.w3, c.i, c.j, c.k); };
        EXPECT_TRUE(close(1.0 / std::exp(at(0)), r.out[0]));
        EXPECT_TRUE(close(at(1), r.out[1]));
        EXPECT_TRUE(close(at(5), r.out[2]));
        EXPECT_TRUE(close(at(9), r.out[4]));
        EXPECT_TRUE(close(at(2), r.out[6]));
        EXPECT_TRUE(close(at(8), r.out[7]));
    }
}

TEST(ChemTableLookup, IdealGasGivesItsSpeedOfSoundAndGamma) {
    // v = R T / p, dv/dT = R / p, dv/dp = -R T / p^2, cp constant: then c^2 = gamma R T and the
    // fourth output is gamma = cp / (cp - R).
    constexpr double R = 287.0, cp = 1004.5;
    C_3d_Chem_property_PT t;
    ASSERT_TRUE(t.create(chem_test::layout(6, 5, 2)));
    for (std::int32_t i = 0; i < 6; ++i)
        for (std::int32_t j = 0; j < 5; ++j)
            for (std::int32_t k = 0; k < 2; ++k) {
                const double p = std::exp(t.min(0) + i * t.step(0)), T = t.min(1) + j * t.step(1);
                const std::size_t n = (static_cast<std::size_t>(i) * 5 + j) * 2 + k;
                t.field(0)[n] = std::log(R * T / p);
                t.field(3)[n] = R / p;
                t.field(4)[n] = -R * T / (p * p);
                t.field(5)[n] = cp;
                t.field(9)[n] = 0.029;
            }
    const double p = 1.0e5 * std::exp(1.0), T = 500.0;  // grid node i = 2, j = 2
    const chem_lookup_result r = t.lookup(p, T, 0.4, 0.0, 0.0);
    const double gamma = cp / (cp - R);
    EXPECT_TRUE(close(p / (R * T), r.out[0], 1e-12));
    EXPECT_TRUE(close(std::sqrt(gamma * R * T), r.out[5], 1e-12));
    EXPECT_TRUE(close(gamma, r.out[3], 1e-12));
    EXPECT_TRUE(close(cp, r.out[2]));
    EXPECT_TRUE(close(0.029, r.out[4]));
}

TEST(ChemTableLookup, TablesWithoutTheTenPropertyFieldsAnswerNaN) {
    C_3d_Chem_property_PT empty;
    for (double v : empty.lookup(1e5, 300.0, 0.5, 0.0, 0.0).out) EXPECT_TRUE(std::isnan(v));
    C_3d_Chem_property_PT few;
    ASSERT_TRUE(few.create(chem_test::layout(2, 2, 2, 9, 4)));
    for (double v : few.lookup(1e5, 300.0, 0.5, 0.0, 0.0).out) EXPECT_TRUE(std::isnan(v));
    EXPECT_FALSE(few.out_of_range());
}

TEST(ChemTableLookup, OneTableServesManyThreads) {
    C_3d_Chem_property_PT t;
    make_trilinear(t, 8, 8, 6);
    t.set_two_stream(true);
    std::vector<chem_lookup_result> serial;
    const auto state = [](int n) { return std::array<double, 3>{1.0e5 * (0.5 + 0.01 * n), 250.0 + 3.0 * n, 0.002 * n}; };
    for (int n = 0; n < 400; ++n) serial.push_back(t.lookup(state(n)[0], state(n)[1], state(n)[2], 0.2, 0.3));
    t.clear_out_of_range();
    std::vector<std::thread> threads;
    std::vector<int> mismatches(4, 0);
    for (int w = 0; w < 4; ++w)
        threads.emplace_back([&, w] {
            for (int rep = 0; rep < 20; ++rep)
                for (int n = 0; n < 400; ++n) {
                    const auto r = t.lookup(state(n)[0], state(n)[1], state(n)[2], 0.2, 0.3);
                    if (std::memcmp(r.out.data(), serial[static_cast<std::size_t>(n)].out.data(), sizeof r.out) != 0)
                        ++mismatches[static_cast<std::size_t>(w)];
                }
        });
    for (auto& th : threads) th.join();
    for (int m : mismatches) EXPECT_EQ(m, 0);
    EXPECT_TRUE(t.out_of_range());
}

// ---- record ----------------------------------------------------------------------------------

namespace {

// Appends `v` in little-endian (or big-endian) byte order.
template <class T>
void put(bytes& b, T v, bool big_endian = false) {
    std::uint8_t raw[sizeof(T)];
    std::memcpy(raw, &v, sizeof(T));
    if (big_endian) std::reverse(raw, raw + sizeof(T));
    b.insert(b.end(), raw, raw + sizeof(T));
}

// The record of a table, composed value by value (independently of write()), optionally with every
// multi-byte value in big-endian order, and optionally in body version 0.
bytes compose(const C_3d_Chem_property& t, bool big_endian, std::uint8_t body_version = 1) {
    bytes b;
    put<std::uint8_t>(b, 0);
    put<std::uint8_t>(b, body_version);
    for (int d = 0; d < 3; ++d) put(b, t.size(d), big_endian);
    for (int d = 0; d < 3; ++d) put<std::uint8_t>(b, t.log_axis(d) ? 1 : 0);
    for (int d = 0; d < 3; ++d) {
        put(b, t.min(d), big_endian);
        put(b, t.bound(d), big_endian);
    }
    for (int d = 0; d < 3; ++d) put(b, t.step(d), big_endian);
    put<std::uint8_t>(b, t.out_of_range() ? 1 : 0);
    put(b, t.count_a(), big_endian);
    put(b, t.count_b(), big_endian);
    if (body_version == 1) {
        put(b, t.stream_parameter(), big_endian);
        put<std::uint8_t>(b, t.two_stream() ? 1 : 0);
    }
    for (int d = 0; d < 3; ++d)
        for (std::int32_t i = 0; i < t.size(d); ++i) put(b, t.axis_values(d)[i], big_endian);
    for (std::int32_t f = 0; f < t.count_a() + t.count_b(); ++f)
        for (std::size_t n = 0; n < t.cells(); ++n) put(b, t.field(f)[n], big_endian);
    put<std::int32_t>(b, t.variant() == chem_variant::PT ? 1 : 0, big_endian);
    return b;
}

}  // namespace

TEST(ChemTableRecord, ByteLayoutOfBothVariantsAndTheirRoundTrips) {
    C_3d_Chem_property_PT pt;
    make_trilinear(pt, 3, 2, 4, 1);
    pt.set_two_stream(true);
    pt.set_stream_parameter(0.0625);
    const bytes b = record_of(pt);
    EXPECT_EQ(b, compose(pt, false));
    // 2 version bytes, 3 sizes, 3 log bytes, 9 doubles, out-of-range byte, 2 counts, stream
    // parameter, two-stream byte: 107 bytes; then 9 axis values, 11 fields of 24 values, the tag.
    ASSERT_EQ(b.size(), 107u + 8 * 9 + 8 * 24 * 11 + 4);
    EXPECT_EQ(b[0], 0);
    EXPECT_EQ(b[1], 1);
    EXPECT_EQ(b[2], 3);   // N1, little-endian
    EXPECT_EQ(b[6], 2);   // N2
    EXPECT_EQ(b[14], 1);  // axis 1 is logarithmic
    EXPECT_EQ(b[106], 1); // two-stream byte
    EXPECT_EQ(b[b.size() - 4], 1) << "PT tag";

    C_3d_Chem_property_VT vt;
    make_trilinear(vt, 3, 2, 4, 1);
    vt.set_vt_record(-7, 2.5);
    const bytes v = record_of(vt);
    bytes expected = compose(vt, false);
    put<std::int32_t>(expected, -7);
    put(expected, 2.5);
    EXPECT_EQ(v, expected);

    C_3d_Chem_property_PT pt2;
    C_3d_Chem_property_VT vt2;
    std::uint8_t version = 0;
    chem_read_error why{};
    ASSERT_TRUE(read_bytes(pt2, b, version, why));
    EXPECT_EQ(version, 1);
    expect_same_table(pt, pt2);
    ASSERT_TRUE(read_bytes(vt2, v, version, why));
    expect_same_table(vt, vt2);
    EXPECT_EQ(vt2.vt_value(), -7);
    EXPECT_EQ(vt2.vt_parameter(), 2.5);
}

TEST(ChemTableRecord, BodyVersionZeroHasNoStreamValues) {
    C_3d_Chem_property_PT pt;
    make_trilinear(pt, 3, 3, 3);
    pt.set_two_stream(true);
    pt.set_stream_parameter(0.3);
    C_3d_Chem_property_PT back;
    std::uint8_t version = 0xEE;
    chem_read_error why{};
    ASSERT_TRUE(read_bytes(back, compose(pt, false, 0), version, why));
    EXPECT_EQ(version, 0);
    EXPECT_FALSE(back.two_stream());
    EXPECT_EQ(back.stream_parameter(), 0.0);
    EXPECT_EQ(0, std::memcmp(back.field(9), pt.field(9), sizeof(double) * pt.cells()));
}

TEST(ChemTableRecord, ByteSwappedInputReadsBack) {
    C_3d_Chem_property_VT vt;
    make_trilinear(vt, 3, 4, 3);
    vt.set_two_stream(true);
    vt.set_stream_parameter(0.07);
    vt.set_vt_record(0x01020304, 6.5);
    bytes big = compose(vt, true);
    put<std::int32_t>(big, 0x01020304, true);
    put(big, 6.5, true);
    C_3d_Chem_property_VT back;
    std::uint8_t version = 0;
    chem_read_error why{};
    ASSERT_TRUE(read_bytes(back, big, version, why, true)) << to_text(why);
    expect_same_table(vt, back);
    EXPECT_EQ(back.vt_value(), 0x01020304);
    EXPECT_EQ(back.vt_parameter(), 6.5);
}

TEST(ChemTableRecord, RefusedRecordsLeaveTheTableAsItWas) {
    C_3d_Chem_property_PT pt;
    make_trilinear(pt, 3, 3, 3);
    const bytes good = record_of(pt);
    C_3d_Chem_property_VT vt;
    make_trilinear(vt, 3, 3, 3);
    const bytes good_vt = record_of(vt);

    C_3d_Chem_property_PT target;
    make_trilinear(target, 4, 4, 4);
    const double before = target.lookup(2e5, 400.0, 0.5, 0, 0).out[1];
    const auto refused = [&](C_3d_Chem_property& t, bytes b, chem_read_error expected, std::uint8_t version_out) {
        std::uint8_t version = 0;
        chem_read_error why{};
        EXPECT_FALSE(read_bytes(t, b, version, why));
        EXPECT_EQ(why, expected) << to_text(why);
        EXPECT_EQ(version, version_out);
    };
    bytes b = good;
    b[0] = 1;
    refused(target, b, chem_read_error::outer_version, 0xFF);
    b = good;
    b[1] = 2;
    refused(target, b, chem_read_error::body_version, 2);
    b = good;
    b[2] = 1;  // N1 = 1: no cell
    refused(target, b, chem_read_error::sizes, 1);
    b = good;
    std::memset(&b[90], 0xFF, 4);  // count A = -1
    refused(target, b, chem_read_error::sizes, 1);
    refused(target, good_vt, chem_read_error::variant_tag, 1);  // a VT record is not a PT table
    C_3d_Chem_property_VT vt_target;
    refused(vt_target, good, chem_read_error::variant_tag, 1);  // and the other way round
    EXPECT_TRUE(vt_target.empty());

    EXPECT_EQ(target.size(0), 4);
    EXPECT_EQ(target.lookup(2e5, 400.0, 0.5, 0, 0).out[1], before);
}

TEST(ChemTableRecord, DamagedSizesNeverAllocateWhatTheStreamDoesNotHold) {
    C_3d_Chem_property_PT pt;
    make_trilinear(pt, 2, 2, 2);
    const bytes good = record_of(pt);
    C_3d_Chem_property_PT target;
    std::uint8_t version = 0;
    chem_read_error why{};

    bytes b = good;  // 2^15 x 2^15 x 2 = 2^31 cells: allowed, but the data are not there
    const std::int32_t big[3] = {1 << 15, 1 << 15, 2};
    std::memcpy(&b[2], big, sizeof big);
    EXPECT_THROW(read_bytes(target, b, version, why), c_RQ_io_error);
    std::int32_t too_big[3] = {1 << 16, 1 << 15, 2};  // one cell too many for a table
    std::memcpy(&b[2], too_big, sizeof too_big);
    EXPECT_FALSE(read_bytes(target, b, version, why));
    EXPECT_EQ(why, chem_read_error::sizes);
    too_big[0] = too_big[1] = too_big[2] = 0x7FFFFFFF;  // products that overflow 64 bits
    std::memcpy(&b[2], too_big, sizeof too_big);
    EXPECT_FALSE(read_bytes(target, b, version, why));

    b = good;  // 2^31 - 1 fields of 8 cells
    const std::int32_t many = 0x7FFFFFFF;
    std::memcpy(&b[90], &many, sizeof many);
    EXPECT_THROW(read_bytes(target, b, version, why), c_RQ_io_error);
    EXPECT_TRUE(target.empty());
}

TEST(ChemTableRecord, EveryTruncationFailsCleanly) {
    C_3d_Chem_property_VT vt;
    make_trilinear(vt, 2, 3, 2, 1);
    const bytes good = record_of(vt);
    for (std::size_t n = 0; n < good.size(); ++n) {
        C_3d_Chem_property_VT t;
        std::uint8_t version = 0;
        chem_read_error why{};
        const bytes cut(good.begin(), good.begin() + static_cast<std::ptrdiff_t>(n));
        EXPECT_THROW(read_bytes(t, cut, version, why), c_RQ_io_error) << n << " bytes";
        EXPECT_TRUE(t.empty());
    }
}

TEST(ChemTableRecord, CreateRefusesImpossibleLayouts) {
    C_3d_Chem_property_PT t;
    EXPECT_FALSE(t.create(chem_test::layout(1, 4, 4)));
    EXPECT_FALSE(t.create(chem_test::layout(4, 4, 4, -1, 0)));
    EXPECT_FALSE(t.create(chem_test::layout(1 << 16, 1 << 15, 2)));
    EXPECT_TRUE(t.empty());
    EXPECT_THROW(record_of(t), c_RQ_io_error_logic) << "an empty table has no record";
    ASSERT_TRUE(t.create(chem_test::layout(3, 2, 2, 10, 0)));
    EXPECT_DOUBLE_EQ(t.axis_values(0)[2], 1.0e5 * std::exp(1.0));  // log axis: exp(min + 2 step)
    EXPECT_EQ(t.axis_values(1)[1], 400.0);
}
