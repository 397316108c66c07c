// c_1d_param: constant and tabulated properties, their integral, copies and the stream record.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>

#include "tables/c_1d_param.h"
#include "file_io/c_file_io/c_file_io.h"

namespace {

c_1d_param table(std::vector<double> T, std::vector<double> v, bool prepare = true) {
    c_1d_param p;
    p.set_table(-1.0, T, v);
    if (prepare) p.prepare_integral();
    return p;
}

// Linear interpolation held at the ends, by scanning: an independent reference for value().
double reference_value(const std::vector<double>& T, const std::vector<double>& v, double x) {
    if (x <= T.front()) return v.front();
    if (x >= T.back()) return v.back();
    for (std::size_t i = 0; i + 1 < T.size(); ++i)
        if (x >= T[i] && x < T[i + 1]) return v[i] + (v[i + 1] - v[i]) * (x - T[i]) / (T[i + 1] - T[i]);
    return NAN;
}

}  // namespace

TEST(Param1d, ConstantAndTwoPointTable) {
    c_1d_param c;
    c.set_constant(1005.0);
    EXPECT_EQ(c.value(300.0), 1005.0);
    EXPECT_EQ(c.integral(300.0), 301500.0);

    // cp from 1000 at 300 K to 1200 at 400 K: slope 2; below 300 K constant 1000 from 0 K.
    const c_1d_param p = table({300, 400}, {1000, 1200});
    EXPECT_EQ(p.integral(300.0), 300000.0);
    EXPECT_EQ(p.integral(400.0), 410000.0);
    EXPECT_EQ(p.value(250.0), 1000.0);
    EXPECT_EQ(p.integral(250.0), 250000.0);
    EXPECT_EQ(p.value(350.0), 1100.0);
    EXPECT_EQ(p.integral(350.0), 352500.0);  // 300000 + 2 * 0.5 * 50^2 + 50 * 1000
    EXPECT_EQ(p.value(500.0), 1200.0);
    EXPECT_EQ(p.integral(500.0), 530000.0);  // 100 * 1200 + 410000
    double v = 0, I = 0;
    p.value_and_integral(350.0, v, I);
    EXPECT_EQ(v, 1100.0);
    EXPECT_EQ(I, 352500.0);
}

TEST(Param1d, OnePointTableIsAConstantAroundItsPoint) {
    const c_1d_param p = table({500}, {2.0});
    EXPECT_EQ(p.value(100.0), 2.0);
    EXPECT_EQ(p.value(900.0), 2.0);
    EXPECT_EQ(p.integral(100.0), 200.0);
    EXPECT_EQ(p.integral(900.0), 1800.0);
}

TEST(Param1d, InterpolationMatchesAScanOnUniformAndUnevenGrids) {
    std::mt19937 rng(7);
    std::uniform_real_distribution<double> u(150.0, 6100.0);
    std::vector<double> uniform_T, uneven_T, v;
    for (int i = 0; i <= 100; ++i) {
        uniform_T.push_back(200.0 + 58.0 * i);
        uneven_T.push_back(200.0 + 5800.0 * std::pow(i / 100.0, 1.7));
        v.push_back(1000.0 + 300.0 * std::sin(i * 0.37) + i);
    }
    for (const auto* T : {&uniform_T, &uneven_T}) {
        const c_1d_param p = table(*T, v);
        for (int k = 0; k < 20000; ++k) {
            const double x = u(rng);
            ASSERT_NEAR(p.value(x), reference_value(*T, v, x), 1e-9) << x;
            // The combined and split lookups give the same bits as the plain ones.
            double value = 0, integral = 0;
            p.value_and_integral(x, value, integral);
            ASSERT_EQ(value, p.value(x));
            ASSERT_EQ(integral, p.integral(x));
            const std::int32_t at = p.interval(x);
            ASSERT_EQ(p.value_at(at, x), p.value(x));
            p.value_and_integral_at(at, x, value, integral);
            ASSERT_EQ(value, p.value(x));
            ASSERT_EQ(integral, p.integral(x));
            // and the check-free forms, wherever the interval lies inside the table
            ASSERT_EQ(p.inside(at), x > T->front() && x < T->back()) << x;
            if (p.inside(at)) {
                ASSERT_EQ(p.value_inside(at, x), p.value(x));
                p.value_and_integral_inside(at, x, value, integral);
                ASSERT_EQ(value, p.value(x));
                ASSERT_EQ(integral, p.integral(x));
            }
        }
        // Exactly on the grid points, where the interval choice matters most.
        for (std::size_t i = 0; i < T->size(); ++i) ASSERT_DOUBLE_EQ(p.value((*T)[i]), v[i]) << i;
    }
    EXPECT_EQ(mp::interval_search(200.0, uniform_T.data(), 101), 0);
    EXPECT_EQ(mp::interval_search(258.0, uniform_T.data(), 101), 1);
    EXPECT_EQ(mp::interval_search(257.9, uniform_T.data(), 101), 0);
    EXPECT_EQ(mp::interval_search(1e9, uniform_T.data(), 1), 0);
}

TEST(Param1d, AHintedSearchGivesTheSearchsInterval) {
    // Every hint (right, wrong, out of range) on every kind of point: the grid points themselves
    // (the first one counts as below the table), just inside and outside, beyond both ends, NaN.
    const std::vector<double> T = {200.0, 250.0, 400.0, 410.0, 900.0};
    const c_1d_param p = table(T, {1.0, 2.0, 3.0, 5.0, 4.0});
    std::vector<double> xs = {150.0, 1000.0, NAN, -INFINITY, INFINITY};
    for (const double t : T)
        for (const double x : {t, std::nextafter(t, 0.0), std::nextafter(t, 1e9), t + 7.0}) xs.push_back(x);
    for (const double x : xs)
        for (std::int32_t hint = -3; hint <= 6; ++hint)
            ASSERT_EQ(p.interval_near(x, hint), p.interval(x)) << x << " " << hint;
    c_1d_param constant;
    constant.set_constant(3.0);
    EXPECT_EQ(constant.interval_near(300.0, 0), constant.interval(300.0));
}

TEST(Param1d, IntegralAgreesWithQuadrature) {
    std::vector<double> T, v;
    for (int i = 0; i <= 50; ++i) {
        T.push_back(250.0 + 40.0 * i + (i % 3) * 7.0);
        v.push_back(900.0 + 0.3 * T.back() - 2e-5 * T.back() * T.back());
    }
    const c_1d_param p = table(T, v);
    // Midpoint rule over the piecewise-linear value with fine steps.
    for (double x : {100.0, 260.0, 999.0, 2222.2, 2259.0, 9000.0}) {
        const int steps = 200000;
        double sum = 0.0;
        const double dx = x / steps;
        for (int k = 0; k < steps; ++k) sum += p.value((k + 0.5) * dx) * dx;
        EXPECT_NEAR(p.integral(x), sum, 1e-6 * std::fabs(sum)) << x;
    }
}

TEST(Param1d, CopiesAreDeepAndKeepWhatTheSourceHas) {
    c_1d_param a = table({300, 400, 500}, {1, 2, 4});
    c_1d_param b = a;
    EXPECT_TRUE(b.has_integral());
    a.set_constant(7.0);
    EXPECT_EQ(b.value(450.0), 3.0);
    EXPECT_EQ(b.integral(400.0), a.integral(0.0) + 300.0 + 150.0);
    const c_1d_param unprepared = table({300, 400}, {1, 2}, false);
    b = unprepared;
    EXPECT_FALSE(b.has_integral());
    EXPECT_EQ(b.value(350.0), 1.5);
}

TEST(Param1d, NotANumberStaysInItsPlace) {
    const c_1d_param p = table({300, 400, 500}, {1, 2, 4});
    EXPECT_TRUE(std::isnan(p.value(NAN)));
    EXPECT_TRUE(std::isnan(p.integral(NAN)));
}

TEST(Param1d, StreamRecordLayoutAndRoundTrip) {
    const c_1d_param p = table({300, 400}, {1000, 1200});
    C_file_io s;
    s.open_memory();
    p.write(s);
    const auto bytes = s.memory_bytes();
    // version, constant, N, 2 temperatures, 2 values, flag, 2 integral, 2 slopes
    ASSERT_EQ(bytes.size(), 1u + 8 + 4 + 16 + 16 + 1 + 16 + 16);
    EXPECT_EQ(bytes[0], 0);
    double constant = 0;
    std::memcpy(&constant, bytes.data() + 1, 8);
    EXPECT_EQ(constant, -1.0);
    std::int32_t n = 0;
    std::memcpy(&n, bytes.data() + 9, 4);
    EXPECT_EQ(n, 2);
    EXPECT_EQ(bytes[45], 1);
    double integral1 = 0, slope0 = 0;
    std::memcpy(&integral1, bytes.data() + 46 + 8, 8);
    std::memcpy(&slope0, bytes.data() + 62, 8);
    EXPECT_EQ(integral1, 410000.0);
    EXPECT_EQ(slope0, 2.0);

    C_file_io r;
    r.open_memory(bytes);
    c_1d_param q;
    ASSERT_TRUE(q.read(r));
    EXPECT_EQ(q.integral(350.0), 352500.0);
    EXPECT_EQ(q.constant(), -1.0);

    // Unprepared: flag 0, and the read-back has no derived arrays.
    C_file_io s2;
    s2.open_memory();
    table({300, 400}, {1, 2}, false).write(s2);
    const auto plain = s2.memory_bytes();
    EXPECT_EQ(plain.size(), 1u + 8 + 4 + 32 + 1);
    EXPECT_EQ(plain.back(), 0);
    C_file_io r2;
    r2.open_memory(plain);
    ASSERT_TRUE(q.read(r2));
    EXPECT_FALSE(q.has_integral());
}

TEST(Param1d, ReaderRefusesBadRecords) {
    c_1d_param q;
    const std::vector<std::uint8_t> version{1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
    C_file_io a;
    a.open_memory(version);
    EXPECT_FALSE(q.read(a));
    std::vector<std::uint8_t> negative(14, 0);
    negative[9] = negative[10] = negative[11] = negative[12] = 0xFF;  // N = -1
    C_file_io b;
    b.open_memory(negative);
    EXPECT_FALSE(q.read(b));
    // A count far beyond the data fails on the missing data, not on the allocation.
    std::vector<std::uint8_t> huge(14 + 64, 0);
    const std::int32_t n = 0x7fffffff;
    std::memcpy(huge.data() + 9, &n, 4);
    C_file_io c;
    c.open_memory(huge);
    EXPECT_THROW(q.read(c), c_RQ_io_error);
    EXPECT_EQ(q.size(), 0);
}

// Fewer values than temperatures make no table: the parameter is the constant, nothing is read
// past the values (AddressSanitizer watches), and the caller learns it.
TEST(Param1d, ATableWithTooFewValuesIsRefused) {
    c_1d_param p;
    ASSERT_TRUE(p.set_table(7.0, {300.0, 400.0}, {1.0, 2.0}));
    EXPECT_FALSE(p.set_table(5.0, {300.0, 400.0, 500.0}, {1.0, 2.0}));
    EXPECT_EQ(p.size(), 0);
    EXPECT_EQ(p.value(450.0), 5.0);
    p.prepare_integral();
    EXPECT_EQ(p.integral(10.0), 50.0);
    // More values than temperatures: the first ones count.
    EXPECT_TRUE(p.set_table(0.0, {300.0, 400.0}, {1.0, 2.0, 99.0}));
    EXPECT_EQ(p.value(400.0), 2.0);
}
