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
    double value_at(std::int32_t i, double T) const noexcept;
    void value_and_integral_at(std::int32_t i, double T, double& v, double& I) const noexcept;
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
