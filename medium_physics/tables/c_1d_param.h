// c_1d_param: a material property as a function of temperature, either a constant or a
// piecewise-linear table of (T [K], value) points held at its end values, together with its
// integral from 0 K (so that h(T) = integral of cp dT needs no numerical quadrature).
//
// Below the first point the property is taken as the first value, above the last point as the
// last value; the integral continues accordingly, so value and integral are consistent everywhere.
// The table is not validated: temperatures must be strictly increasing. value() and integral()
// allocate nothing and are safe to call from many threads.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

#include "factory/c_memory_pool.h"
#include "file_io/c_file_io/c_file_io.h"

namespace mp {

// The interval of a sorted table that holds T: t[lo] <= T < t[lo+1] inside the range, by binary
// search with lo = 0, hi = n, mid = (lo + hi) / 2. With n < 2 the result is 0.
inline std::int32_t interval_search(double T, const double* t, std::int32_t n) noexcept {
    if (n < 2) return 0;
    std::int32_t lo = 0;
    std::int32_t hi = n;
    while (hi - lo > 1) {
        const std::int32_t mid = (lo + hi) / 2;
        if (t[mid] > T) hi = mid;
        else lo = mid;
    }
    return lo;
}

// Values read from a stream whose count comes from the stream are read in pieces of this many,
// so that a damaged count fails on the missing data instead of allocating what the stream never
// holds.
inline constexpr std::size_t kReadPiece = 1 << 16;

// Reads n values into `out` piece by piece (see kReadPiece); stream failures throw.
template <class T>
void read_in_pieces(C_file_io& stream, std::vector<T>& out, std::size_t n) {
    out.clear();
    while (out.size() < n) {
        const std::size_t k = std::min(kReadPiece, n - out.size());
        const std::size_t at = out.size();
        out.resize(at + k);
        stream.read(out.data() + at, k);
    }
}

// Reads n doubles into a pooled array labelled with the caller's statement. Large counts are read
// in pieces first, so that a corrupt count fails on the missing data instead of allocating what the
// stream never holds. False when the memory is not to be had; stream failures throw.
bool read_pooled_doubles(C_file_io& stream, pooled_array<double>& to, std::size_t n, site where = site::here());

}  // namespace mp

class c_1d_param {
public:
    c_1d_param() = default;
    c_1d_param(const c_1d_param& other);
    c_1d_param& operator=(const c_1d_param& other);
    c_1d_param(c_1d_param&&) noexcept = default;
    c_1d_param& operator=(c_1d_param&&) noexcept = default;
    ~c_1d_param() = default;

    // Constant v, no table.
    void set_constant(double v);
    // Constant v and the table (temperatures[i], values[i]). The integral is not prepared. With fewer
    // values than temperatures there is no table to make: the parameter becomes the constant v
    // (no points) and the answer is false.
    bool set_table(double v, const std::vector<double>& temperatures, const std::vector<double>& values);
    // Constant 0 and a table of n points from raw arrays.
    void set_table(std::int32_t n, const double* temperatures, const double* values);
    // Builds the slopes and the cumulative integral; call after setting a table.
    void prepare_integral();

    // The property at T.
    double value(double T) const noexcept;
    // The integral of the property from 0 K to T. Needs prepare_integral on a table.
    double integral(double T) const noexcept;
    // Both at once, with one interval search.
    void value_and_integral(double T, double& v, double& I) const noexcept;

    // Lookups split in two, for properties that share one temperature grid: interval(T) finds where
    // T lies once, and the *_at forms evaluate any table on the same grid there, giving exactly
    // what value(T) and value_and_integral(T) give. interval(T) is -1 at or below the first point,
    // N-1 at or above the last, kNotANumber for a NaN, else the interval's first point.
    static constexpr std::int32_t kNotANumber = -2;
    // Passed as the interval: no shared grid, the table searches for itself.
    static constexpr std::int32_t kSearch = -3;
    std::int32_t interval(double T) const noexcept;
    // interval(T) for a T that probably lies in the interval `hint` (an earlier answer, as in a
    // converging iteration): the same answer, without the search when the guess holds.
    std::int32_t interval_near(double T, std::int32_t hint) const noexcept {
        if (hint >= 0 && hint < m_n - 1) {
            const auto k = static_cast<std::size_t>(hint);
            // T must lie strictly above the first point, which interval() counts as below the table
            if ((hint > 0 ? m_T[k] <= T : m_T[0] < T) && T < m_T[k + 1]) return hint;
        }
        return interval(T);
    }
    double value_at(std::int32_t i, double T) const noexcept;
    void value_and_integral_at(std::int32_t i, double T, double& v, double& I) const noexcept;
    // Whether interval i lies strictly inside the table (a table of two or more points), where the
    // *_inside forms give what value_at(i, T) and value_and_integral_at(i, T) give, without their
    // checks: for the innermost loops, after interval() or interval_near().
    bool inside(std::int32_t i) const noexcept { return i >= 0 && i < m_n - 1 && !m_value.empty() && !m_T.empty(); }
    double value_inside(std::int32_t i, double T) const noexcept {
        const auto k = static_cast<std::size_t>(i);
        return m_value[k] + (m_value[k + 1] - m_value[k]) / (m_T[k + 1] - m_T[k]) * (T - m_T[k]);
    }
    // Needs the integral prepared (has_integral()).
    void value_and_integral_inside(std::int32_t i, double T, double& v, double& I) const noexcept {
        const auto k = static_cast<std::size_t>(i);
        const double d = T - m_T[k];
        v = m_value[k] + m_slope[k] * d;
        I = m_slope[k] * 0.5 * d * d + d * m_value[k] + m_integral[k];
    }
    // Same point count and the same temperatures, bit for bit.
    bool same_grid(const c_1d_param& other) const noexcept;

    // Record: byte 0; the constant; int32 N; N temperatures; N values; byte 1 and the N integral
    // and N slope entries when prepared, else byte 0.
    void write(C_file_io& stream) const;
    // False on a version other than 0, a negative point count, or memory not to be had; stream
    // failures propagate as the stream's exceptions.
    bool read(C_file_io& stream);

    double constant() const noexcept { return m_constant; }
    std::int32_t size() const noexcept { return m_n; }
    bool has_integral() const noexcept { return !m_integral.empty(); }
    const double* temperatures() const noexcept { return m_T.data(); }
    const double* values() const noexcept { return m_value.data(); }

private:
    void release() noexcept;
    // The interval of T (the same one interval_search gives); T strictly inside the table.
    std::int32_t locate(double T) const noexcept;
    void detect_uniform_grid() noexcept;

    double m_constant = 0.0;
    std::int32_t m_n = 0;
    mp::pooled_array<double> m_T;
    mp::pooled_array<double> m_value;
    mp::pooled_array<double> m_integral;
    mp::pooled_array<double> m_slope;
    // Uniformly spaced tables are indexed in constant time: 1 / spacing, or 0 when not uniform.
    double m_inverse_step = 0.0;
};

// The lookups of every property call, inline.
inline std::int32_t c_1d_param::locate(double T) const noexcept {
    if (m_inverse_step > 0.0) {
        // A guess from the spacing, moved onto the interval the binary search would give.
        auto i = static_cast<std::int32_t>((T - m_T[0]) * m_inverse_step);
        i = std::clamp(i, 0, m_n - 2);
        const double* t = m_T.data();
        while (i > 0 && t[i] > T) --i;
        while (i + 2 < m_n && t[i + 1] <= T) ++i;
        return i;
    }
    return mp::interval_search(T, m_T.data(), m_n);
}

inline std::int32_t c_1d_param::interval(double T) const noexcept {
    if (m_n <= 0 || m_T.empty()) return -1;
    if (T <= m_T[0]) return -1;
    if (T >= m_T[static_cast<std::size_t>(m_n - 1)]) return m_n - 1;
    if (std::isnan(T)) return kNotANumber;
    return locate(T);
}

inline double c_1d_param::value_at(std::int32_t i, double T) const noexcept {
    if (i == kSearch) i = interval(T);
    if (m_n == 0) return m_constant;
    if (m_T.empty() || m_value.empty()) return 0.0;
    if (i == kNotANumber) return T;
    if (i < 0) return m_value[0];
    if (i >= m_n - 1) return m_value[static_cast<std::size_t>(m_n - 1)];
    const auto k = static_cast<std::size_t>(i);
    return m_value[k] + (m_value[k + 1] - m_value[k]) / (m_T[k + 1] - m_T[k]) * (T - m_T[k]);
}

inline void c_1d_param::value_and_integral_at(std::int32_t i, double T, double& v, double& I) const noexcept {
    if (i == kSearch) i = interval(T);
    if (m_n == 0) {
        v = m_constant;
        I = T * m_constant;
        return;
    }
    if (m_T.empty() || m_value.empty()) {
        v = I = 0.0;
        return;
    }
    if (i == kNotANumber) {
        v = I = T;
        return;
    }
    if (i < 0) {
        v = m_value[0];
        I = T * m_value[0];
        return;
    }
    if (m_integral.empty()) {
        v = value_at(i, T);
        I = 0.0;
        return;
    }
    const auto k = static_cast<std::size_t>(i);
    if (i >= m_n - 1) {
        v = m_value[k];
        I = (T - m_T[k]) * m_value[k] + m_integral[k];
        return;
    }
    const double d = T - m_T[k];
    // slope[k] is (value[k+1] - value[k]) / (T[k+1] - T[k]) as stored by prepare_integral, so this
    // is the interpolation formula to the last bit, without its division.
    v = m_value[k] + m_slope[k] * d;
    I = m_slope[k] * 0.5 * d * d + d * m_value[k] + m_integral[k];
}
