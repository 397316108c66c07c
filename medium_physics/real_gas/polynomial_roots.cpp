#include "real_gas/polynomial_roots.h"

#include <algorithm>
#include <cmath>

namespace mp::roots {
namespace {

// Newton steps after the closed form: two are enough for simple roots that start within a few
// ulps; the rest give double roots (linear convergence) a chance to settle.
constexpr int kPolishSteps = 6;
// Roots this close (relative to their size) after polishing are one root found twice: a double
// root is only determined to about sqrt(machine epsilon), so the bound sits above 1.5e-8.
constexpr double kMergeRelTol = 1e-7;

double cubic_value(double a, double b, double c, double x) noexcept { return ((x + a) * x + b) * x + c; }
double cubic_slope(double a, double b, double x) noexcept { return (3.0 * x + 2.0 * a) * x + b; }
double quartic_value(double a, double b, double c, double d, double x) noexcept {
    return (((x + a) * x + b) * x + c) * x + d;
}
double quartic_slope(double a, double b, double c, double x) noexcept {
    return ((4.0 * x + 3.0 * a) * x + 2.0 * b) * x + c;
}

// Newton on f, each step kept only while it lowers |f|: a closed-form root is never made worse.
template <class F, class D>
double polish(double x, F f, D df) noexcept {
    double fx = std::fabs(f(x));
    for (int k = 0; k < kPolishSteps && fx > 0.0; ++k) {
        const double s = df(x);
        if (s == 0.0 || !std::isfinite(s)) break;
        const double y = x - f(x) / s;
        const double fy = std::fabs(f(y));
        if (!(fy < fx)) break;
        x = y;
        fx = fy;
    }
    return x;
}

// Sorts and removes roots found twice.
int sort_and_merge(double* r, int n) noexcept {
    std::sort(r, r + n);
    int m = 0;
    for (int i = 0; i < n; ++i) {
        if (m > 0) {
            const double scale = std::max(std::fabs(r[i]), std::fabs(r[m - 1]));
            if (std::fabs(r[i] - r[m - 1]) <= kMergeRelTol * scale) continue;
        }
        r[m++] = r[i];
    }
    return m;
}

// Ferrari's factors (x^2 + f0 x + f1)(x^2 + f2 x + f3) lose the small roots to cancellation when
// the roots differ much in size; Newton on the four coefficient equations restores them (the
// Jacobian is regular while the two factors share no root). Newton may raise the residual on its
// way in, so every step is taken and the best factorisation seen is kept.
constexpr int kFactorSteps = 8;

double factor_residual(double a, double b, double c, double d, const double* f, double* F) noexcept {
    F[0] = f[0] + f[2] - a;
    F[1] = f[1] + f[0] * f[2] + f[3] - b;
    F[2] = f[0] * f[3] + f[2] * f[1] - c;
    F[3] = f[1] * f[3] - d;
    const double s0 = std::fabs(f[0]) + std::fabs(f[2]) + std::fabs(a);
    const double s1 = std::fabs(f[1]) + std::fabs(f[0] * f[2]) + std::fabs(f[3]) + std::fabs(b);
    const double s2 = std::fabs(f[0] * f[3]) + std::fabs(f[2] * f[1]) + std::fabs(c);
    const double s3 = std::fabs(f[1] * f[3]) + std::fabs(d);
    const auto rel = [](double v, double sc) { return sc > 0.0 ? std::fabs(v) / sc : 0.0; };
    return std::max(std::max(rel(F[0], s0), rel(F[1], s1)), std::max(rel(F[2], s2), rel(F[3], s3)));
}

void refine_factors(double a, double b, double c, double d, double* f) noexcept {
    double F[4];
    double err = factor_residual(a, b, c, d, f, F);
    double cur[4] = {f[0], f[1], f[2], f[3]};
    for (int it = 0; it < kFactorSteps && err > 0.0; ++it) {
        double J[4][5] = {{1.0, 0.0, 1.0, 0.0, -F[0]},
                          {cur[2], 1.0, cur[0], 1.0, -F[1]},
                          {cur[3], cur[2], cur[1], cur[0], -F[2]},
                          {0.0, cur[3], 0.0, cur[1], -F[3]}};
        // Gaussian elimination with partial pivoting
        bool singular = false;
        for (int col = 0; col < 4 && !singular; ++col) {
            int piv = col;
            for (int row = col + 1; row < 4; ++row)
                if (std::fabs(J[row][col]) > std::fabs(J[piv][col])) piv = row;
            if (J[piv][col] == 0.0) { singular = true; break; }
            if (piv != col)
                for (int k = 0; k < 5; ++k) std::swap(J[piv][k], J[col][k]);
            for (int row = col + 1; row < 4; ++row) {
                const double factor = J[row][col] / J[col][col];
                for (int k = col; k < 5; ++k) J[row][k] -= factor * J[col][k];
            }
        }
        if (singular) break;
        double step[4];
        for (int row = 3; row >= 0; --row) {
            double v = J[row][4];
            for (int k = row + 1; k < 4; ++k) v -= J[row][k] * step[k];
            step[row] = v / J[row][row];
        }
        for (int k = 0; k < 4; ++k) cur[k] += step[k];
        if (!std::isfinite(cur[0] + cur[1] + cur[2] + cur[3])) break;
        const double e = factor_residual(a, b, c, d, cur, F);
        if (e < err) {
            std::copy(cur, cur + 4, f);
            err = e;
        }
    }
}

}  // namespace

int solve_quadratic(double b, double c, double roots[2]) noexcept {
    const double disc = b * b - 4.0 * c;
    const double size = b * b + 4.0 * std::fabs(c);
    if (std::fabs(disc) <= kDoubleRootRelTol * size) {
        roots[0] = -0.5 * b;
        return 1;
    }
    if (disc < 0.0) return 0;
    // the root of larger magnitude without cancellation, the other from the product c
    const double q = -0.5 * (b + std::copysign(std::sqrt(disc), b));
    const double x1 = q;
    const double x2 = c / q;
    roots[0] = std::min(x1, x2);
    roots[1] = std::max(x1, x2);
    return 2;
}

int solve_cubic(double a, double b, double c, double roots[3]) noexcept {
    const auto f = [&](double x) { return cubic_value(a, b, c, x); };
    const auto df = [&](double x) { return cubic_slope(a, b, x); };
    if (c == 0.0) {
        // x = 0 is exact; the rest is the quadratic x^2 + a x + b
        double q[2];
        const int n = solve_quadratic(a, b, q);
        double r[3] = {0.0, 0.0, 0.0};
        for (int i = 0; i < n; ++i) r[i + 1] = polish(q[i], f, df);
        const int m = sort_and_merge(r, n + 1);
        std::copy(r, r + m, roots);
        return m;
    }
    // one real root of large magnitude first: depressed cubic t^3 + p t + q with x = t - a/3
    const double shift = a / 3.0;
    const double p = b - a * shift;
    const double q = (2.0 * shift * shift - b) * shift + c;
    const double D = 0.25 * q * q + p * p * p / 27.0;
    double r0;
    if (D >= 0.0) {
        // Cardano: u from the sum without cancellation, t = u - p/(3u)
        const double u = std::cbrt(-0.5 * q - std::copysign(std::sqrt(D), q));
        const double t = u != 0.0 ? u - p / (3.0 * u) : 0.0;
        r0 = t - shift;
    } else {
        // three real roots: trigonometric form; keep the one of largest magnitude
        const double m = 2.0 * std::sqrt(-p / 3.0);
        const double arg = std::clamp(3.0 * q / (p * m), -1.0, 1.0);
        const double theta = std::acos(arg) / 3.0;
        constexpr double kTwoPiThirds = 2.0943951023931954923;
        r0 = m * std::cos(theta) - shift;
        for (int k = 1; k < 3; ++k) {
            const double x = m * std::cos(theta - k * kTwoPiThirds) - shift;
            if (std::fabs(x) > std::fabs(r0)) r0 = x;
        }
    }
    r0 = polish(r0, f, df);
    // deflate to x^2 + e1 x + e0: from the low-order end when r0 is the larger root (stable for a
    // dominant root), from the high-order end otherwise
    double e1, e0;
    if (r0 != 0.0 && std::fabs(r0) * r0 * r0 >= std::fabs(c)) {
        e0 = -c / r0;
        e1 = (e0 - b) / r0;
    } else {
        e1 = a + r0;
        e0 = b + r0 * e1;
    }
    double qr[2];
    const int n = solve_quadratic(e1, e0, qr);
    double r[3] = {r0, 0.0, 0.0};
    for (int i = 0; i < n; ++i) r[i + 1] = n == 2 ? polish(qr[i], f, df) : qr[i];
    const int m = sort_and_merge(r, n + 1);
    std::copy(r, r + m, roots);
    return m;
}

int solve_quartic(double a, double b, double c, double d, double roots[4]) noexcept {
    const auto f = [&](double x) { return quartic_value(a, b, c, d, x); };
    const auto df = [&](double x) { return quartic_slope(a, b, c, x); };
    // depressed quartic y^4 + p y^2 + q y + r with x = y - a/4
    const double s = 0.25 * a;
    const double s2 = s * s;
    const double p = b - 6.0 * s2;
    const double q = c - 2.0 * b * s + 8.0 * s2 * s;
    const double r = d - c * s + b * s2 - 3.0 * s2 * s2;
    // resolvent m^3 + p m^2 + (p^2/4 - r) m - q^2/8 = 0; its largest root is positive unless the
    // quartic is biquadratic without a real factorisation of this kind
    double res[3];
    const int nres = solve_cubic(p, 0.25 * p * p - r, -0.125 * q * q, res);
    const double m = res[nres - 1];
    double x[4];
    int n = 0;
    if (m > 0.0) {
        // (y^2 + p/2 + m)^2 = 2m (y - q/(4m))^2 splits into two quadratics, written in x
        const double w = std::sqrt(2.0 * m);
        const double h = 0.5 * p + m;
        const double g = q / (2.0 * w);
        double fac[4] = {2.0 * s - w, s2 - w * s + h + g, 2.0 * s + w, s2 + w * s + h - g};
        refine_factors(a, b, c, d, fac);
        for (int i = 0; i < 2; ++i) {
            double z[2];
            const int k = solve_quadratic(fac[2 * i], fac[2 * i + 1], z);
            for (int j = 0; j < k; ++j) x[n++] = z[j];
        }
    } else {
        // biquadratic: z^2 + p z + r with z = y^2
        double z[2];
        const int k = solve_quadratic(p, r, z);
        for (int i = 0; i < k; ++i) {
            if (z[i] > 0.0) {
                const double t = std::sqrt(z[i]);
                x[n++] = -t - s;
                x[n++] = t - s;
            } else if (z[i] == 0.0) {
                x[n++] = -s;
            }
        }
    }
    for (int i = 0; i < n; ++i) x[i] = polish(x[i], f, df);
    const int k = sort_and_merge(x, n);
    std::copy(x, x + k, roots);
    return k;
}

}  // namespace mp::roots
