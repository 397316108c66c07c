// Root solvers against polynomials built from chosen roots: the coefficients come from the roots
// by Vieta's formulas, so the expected answer is known before the solver runs.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

#include "real_gas/polynomial_roots.h"

namespace {

using mp::roots::solve_cubic;
using mp::roots::solve_quadratic;
using mp::roots::solve_quartic;

// Well-separated roots come out within a few ulps of the exact ones, multiplied by the root's
// condition (the distance to its neighbours): 1e-12 leaves room for that.
constexpr double kSimpleRootRelTol = 1e-12;
// A double root is only defined to about sqrt(machine epsilon).
constexpr double kDoubleRootRelTol = 1e-7;

void expect_roots(const double* got, int n, std::vector<double> want, double tol) {
    std::sort(want.begin(), want.end());
    ASSERT_EQ(n, static_cast<int>(want.size()));
    for (int i = 0; i < n; ++i) {
        const double scale = std::max(std::fabs(want[static_cast<std::size_t>(i)]), 1e-300);
        EXPECT_LE(std::fabs(got[i] - want[static_cast<std::size_t>(i)]) / scale, tol)
            << "root " << i << " got " << got[i] << " want " << want[static_cast<std::size_t>(i)];
    }
}

int cubic_from(double r1, double r2, double r3, double* out) {
    return solve_cubic(-(r1 + r2 + r3), r1 * r2 + r1 * r3 + r2 * r3, -r1 * r2 * r3, out);
}

int quartic_from(double r1, double r2, double r3, double r4, double* out) {
    const double a = -(r1 + r2 + r3 + r4);
    const double b = r1 * r2 + r1 * r3 + r1 * r4 + r2 * r3 + r2 * r4 + r3 * r4;
    const double c = -(r1 * r2 * r3 + r1 * r2 * r4 + r1 * r3 * r4 + r2 * r3 * r4);
    const double d = r1 * r2 * r3 * r4;
    return solve_quartic(a, b, c, d, out);
}

TEST(PolynomialRoots, QuadraticCases) {
    double r[2];
    expect_roots(r, solve_quadratic(-3.0, 2.0, r), {1.0, 2.0}, kSimpleRootRelTol);
    // 1e8 and 1e-8: the small root would lose all digits to cancellation in the school formula
    expect_roots(r, solve_quadratic(-(1e8 + 1e-8), 1.0, r), {1e-8, 1e8}, kSimpleRootRelTol);
    expect_roots(r, solve_quadratic(-4.0, 4.0, r), {2.0}, kSimpleRootRelTol);
    EXPECT_EQ(solve_quadratic(0.0, 1.0, r), 0);
}

TEST(PolynomialRoots, CubicWithThreeSeparateRoots) {
    double r[3];
    expect_roots(r, cubic_from(1.0, 2.0, 3.0, r), {1.0, 2.0, 3.0}, kSimpleRootRelTol);
    expect_roots(r, cubic_from(-5.0, 0.1, 1e3, r), {-5.0, 0.1, 1e3}, kSimpleRootRelTol);
    // the shape of a low-pressure isotherm: liquid and middle roots near b, vapour root far out
    expect_roots(r, cubic_from(0.0912, 0.31, 4.5e4, r), {0.0912, 0.31, 4.5e4}, kSimpleRootRelTol);
    expect_roots(r, cubic_from(0.0, 1.0, 2.0, r), {0.0, 1.0, 2.0}, kSimpleRootRelTol);
    // separated by 1e-3: still three roots
    expect_roots(r, cubic_from(1.0, 1.001, 5.0, r), {1.0, 1.001, 5.0}, 1e-10);
}

TEST(PolynomialRoots, CubicWithOneRealRoot) {
    double r[3];
    // (x - 2)(x^2 + x + 1)
    expect_roots(r, solve_cubic(-1.0, -1.0, -2.0, r), {2.0}, kSimpleRootRelTol);
    // (x + 1e4)(x^2 + 1)
    expect_roots(r, solve_cubic(1e4, 1.0, 1e4, r), {-1e4}, kSimpleRootRelTol);
}

TEST(PolynomialRoots, CubicDoubleAndTripleRootsAreReportedOnce) {
    double r[3];
    expect_roots(r, cubic_from(1.0, 1.0, 5.0, r), {1.0, 5.0}, kDoubleRootRelTol);
    expect_roots(r, cubic_from(5.0, 5.0, 1.0, r), {1.0, 5.0}, kDoubleRootRelTol);
    expect_roots(r, cubic_from(0.25, 0.25, -3.0, r), {-3.0, 0.25}, kDoubleRootRelTol);
    expect_roots(r, cubic_from(2.0, 2.0, 2.0, r), {2.0}, 1e-5);
}

TEST(PolynomialRoots, QuarticCases) {
    double r[4];
    expect_roots(r, quartic_from(1.0, 2.0, 3.0, 4.0, r), {1.0, 2.0, 3.0, 4.0}, 1e-11);
    expect_roots(r, quartic_from(-1.0, 0.5, 2.0, 7.0, r), {-1.0, 0.5, 2.0, 7.0}, 1e-11);
    // biquadratic: q = 0, the resolvent's largest root is zero
    expect_roots(r, quartic_from(-2.0, -1.0, 1.0, 2.0, r), {-2.0, -1.0, 1.0, 2.0}, kSimpleRootRelTol);
    // (x - 1)(x - 3)(x^2 + 1) = x^4 - 4x^3 + 4x^2 - 4x + 3
    expect_roots(r, solve_quartic(-4.0, 4.0, -4.0, 3.0, r), {1.0, 3.0}, kSimpleRootRelTol);
    // (x^2 + 1)(x^2 + 4): no real root
    EXPECT_EQ(solve_quartic(0.0, 5.0, 0.0, 4.0, r), 0);
    expect_roots(r, quartic_from(1.0, 1.0, 3.0, 4.0, r), {1.0, 3.0, 4.0}, kDoubleRootRelTol);
}

TEST(PolynomialRoots, RandomRootSetsAreRecovered) {
    std::mt19937_64 gen(20261121);
    std::uniform_real_distribution<double> mantissa(1.0, 10.0);
    std::uniform_int_distribution<int> exponent(-3, 3);
    std::bernoulli_distribution negative(0.3);
    const auto draw = [&] {
        const double x = mantissa(gen) * std::pow(10.0, exponent(gen));
        return negative(gen) ? -x : x;
    };
    for (int trial = 0; trial < 2000; ++trial) {
        std::vector<double> c = {draw(), draw(), draw()};
        std::sort(c.begin(), c.end());
        // keep the sets whose roots are at least 1% apart: the conditioning the tolerance assumes
        const auto separated = [](const std::vector<double>& v) {
            for (std::size_t i = 1; i < v.size(); ++i)
                if (v[i] - v[i - 1] < 1e-2 * std::max(std::fabs(v[i]), std::fabs(v[i - 1]))) return false;
            return true;
        };
        if (!separated(c)) continue;
        double r[4];
        expect_roots(r, cubic_from(c[0], c[1], c[2], r), c, 1e-9);
        std::vector<double> q = {draw(), draw(), draw(), draw()};
        std::sort(q.begin(), q.end());
        if (!separated(q)) continue;
        expect_roots(r, quartic_from(q[0], q[1], q[2], q[3], r), q, 1e-8);
    }
}

}  // namespace
