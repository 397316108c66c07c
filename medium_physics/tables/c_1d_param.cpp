#include "tables/c_1d_param.h"

#include <algorithm>
#include <cstring>
#include <limits>

#include "file_io/c_file_io/c_file_io.h"

namespace {

// Spacing differences below this share of the step still count as uniform; locate() corrects
// the guess against the real temperatures, so this only decides whether guessing pays.
constexpr double kUniformSpacingTolerance = 1e-9;

bool copy_into(mp::pooled_array<double>& to, const double* from, std::size_t n, mp::site where = mp::site::here()) {
    if (!to.allocate(n, where)) return false;
    if (n > 0) std::memcpy(to.data(), from, n * sizeof(double));
    return true;
}

bool read_into(C_file_io& stream, mp::pooled_array<double>& to, std::size_t n, mp::site where = mp::site::here()) {
    return mp::read_pooled_doubles(stream, to, n, where);
}

}  // namespace

bool mp::read_pooled_doubles(C_file_io& stream, pooled_array<double>& to, std::size_t n, site where) {
    if (n <= kReadPiece) {
        if (!to.allocate(n, where)) return false;
        if (n > 0) stream.read(to.data(), n);
        return true;
    }
    std::vector<double> staged;
    read_in_pieces(stream, staged, n);
    if (!to.allocate(n, where)) return false;
    std::memcpy(to.data(), staged.data(), n * sizeof(double));
    return true;
}

c_1d_param::c_1d_param(const c_1d_param& other) { *this = other; }

c_1d_param& c_1d_param::operator=(const c_1d_param& other) {
    if (this == &other) return *this;
    release();
    m_constant = other.m_constant;
    m_n = other.m_n;
    m_inverse_step = other.m_inverse_step;
    if (m_n > 0) {
        const auto n = static_cast<std::size_t>(m_n);
        copy_into(m_T, other.m_T.data(), other.m_T.empty() ? 0 : n);
        copy_into(m_value, other.m_value.data(), other.m_value.empty() ? 0 : n);
        if (other.has_integral()) {
            copy_into(m_integral, other.m_integral.data(), n);
            copy_into(m_slope, other.m_slope.data(), n);
        }
    }
    return *this;
}

void c_1d_param::release() noexcept {
    m_T.release();
    m_value.release();
    m_integral.release();
    m_slope.release();
    m_inverse_step = 0.0;
}

void c_1d_param::set_constant(double v) {
    release();
    m_constant = v;
    m_n = 0;
}

bool c_1d_param::set_table(double v, const std::vector<double>& temperatures, const std::vector<double>& values) {
    release();
    m_constant = v;
    m_n = 0;
    if (values.size() < temperatures.size() ||
        temperatures.size() > static_cast<std::size_t>(std::numeric_limits<std::int32_t>::max()))
        return false;
    m_n = static_cast<std::int32_t>(temperatures.size());
    if (m_n > 0) {
        const auto n = static_cast<std::size_t>(m_n);
        copy_into(m_T, temperatures.data(), n);
        copy_into(m_value, values.data(), n);
        detect_uniform_grid();
    }
    return true;
}

void c_1d_param::set_table(std::int32_t n, const double* temperatures, const double* values) {
    release();
    m_constant = 0.0;
    m_n = n > 0 ? n : 0;
    if (m_n > 0) {
        copy_into(m_T, temperatures, static_cast<std::size_t>(m_n));
        copy_into(m_value, values, static_cast<std::size_t>(m_n));
        detect_uniform_grid();
    }
}

void c_1d_param::detect_uniform_grid() noexcept {
    m_inverse_step = 0.0;
    if (m_n < 3 || m_T.size() != static_cast<std::size_t>(m_n)) return;
    const double step = (m_T[static_cast<std::size_t>(m_n - 1)] - m_T[0]) / (m_n - 1);
    if (!(step > 0.0)) return;
    for (std::int32_t i = 1; i < m_n; ++i) {
        const double d = m_T[static_cast<std::size_t>(i)] - m_T[static_cast<std::size_t>(i - 1)];
        if (std::fabs(d - step) > kUniformSpacingTolerance * step) return;
    }
    m_inverse_step = 1.0 / step;
}

void c_1d_param::prepare_integral() {
    if (m_n <= 0 || m_T.empty() || m_value.empty()) return;
    const auto n = static_cast<std::size_t>(m_n);
    if (!m_slope.allocate(n) || !m_integral.allocate(n)) {
        m_slope.release();
        m_integral.release();
        return;
    }
    // The property is value[0] from 0 K up to the first point.
    m_integral[0] = m_T[0] * m_value[0];
    for (std::size_t i = 0; i + 1 < n; ++i) {
        const double dT = m_T[i + 1] - m_T[i];
        m_slope[i] = (m_value[i + 1] - m_value[i]) / dT;
        // the trapezoid is exact for a piecewise-linear property
        m_integral[i + 1] = m_integral[i] + 0.5 * (m_value[i + 1] + m_value[i]) * dT;
    }
    m_slope[n - 1] = 0.0;
}

std::int32_t c_1d_param::locate(double T) const noexcept {
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

double c_1d_param::value(double T) const noexcept { return value_at(interval(T), T); }

double c_1d_param::integral(double T) const noexcept {
    if (m_n == 0) return T * m_constant;
    if (m_T.empty() || m_value.empty()) return 0.0;
    if (T <= m_T[0]) return T * m_value[0];
    if (m_integral.empty()) return 0.0;  // not prepared: callers always prepare first
    const auto last = static_cast<std::size_t>(m_n - 1);
    if (T >= m_T[last]) return (T - m_T[last]) * m_value[last] + m_integral[last];
    if (std::isnan(T)) return T;
    const auto i = static_cast<std::size_t>(locate(T));
    const double d = T - m_T[i];
    return m_slope[i] * 0.5 * d * d + d * m_value[i] + m_integral[i];
}

void c_1d_param::value_and_integral(double T, double& v, double& I) const noexcept {
    value_and_integral_at(interval(T), T, v, I);
}

std::int32_t c_1d_param::interval(double T) const noexcept {
    if (m_n <= 0 || m_T.empty()) return -1;
    if (T <= m_T[0]) return -1;
    if (T >= m_T[static_cast<std::size_t>(m_n - 1)]) return m_n - 1;
    if (std::isnan(T)) return kNotANumber;
    return locate(T);
}

double c_1d_param::value_at(std::int32_t i, double T) const noexcept {
    if (i == kSearch) i = interval(T);
    if (m_n == 0) return m_constant;
    if (m_T.empty() || m_value.empty()) return 0.0;
    if (i == kNotANumber) return T;
    if (i < 0) return m_value[0];
    if (i >= m_n - 1) return m_value[static_cast<std::size_t>(m_n - 1)];
    const auto k = static_cast<std::size_t>(i);
    return m_value[k] + (m_value[k + 1] - m_value[k]) / (m_T[k + 1] - m_T[k]) * (T - m_T[k]);
}

void c_1d_param::value_and_integral_at(std::int32_t i, double T, double& v, double& I) const noexcept {
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

bool c_1d_param::same_grid(const c_1d_param& other) const noexcept {
    if (m_n != other.m_n) return false;
    if (m_n == 0) return true;
    if (m_T.empty() || other.m_T.empty()) return false;
    return std::memcmp(m_T.data(), other.m_T.data(), static_cast<std::size_t>(m_n) * sizeof(double)) == 0;
}

void c_1d_param::write(C_file_io& stream) const {
    stream.put<std::uint8_t>(0);
    stream.put(m_constant);
    stream.put(m_n);
    const auto n = static_cast<std::size_t>(m_n);
    if (n > 0) {
        stream.write(m_T.data(), n);
        stream.write(m_value.data(), n);
    }
    const bool derived = has_integral();
    stream.put<std::uint8_t>(derived ? 1 : 0);
    if (derived) {
        stream.write(m_integral.data(), n);
        stream.write(m_slope.data(), n);
    }
}

bool c_1d_param::read(C_file_io& stream) {
    release();
    m_constant = 0.0;
    m_n = 0;
    std::uint8_t version = 0;
    stream.read(&version, 1);
    if (version != 0) return false;
    const auto constant = stream.get<double>();
    const auto n = stream.get<std::int32_t>();
    if (n < 0) return false;
    const auto count = static_cast<std::size_t>(n);
    if (!read_into(stream, m_T, count) || !read_into(stream, m_value, count)) {
        release();
        return false;
    }
    m_constant = constant;
    m_n = n;
    if (stream.get<std::uint8_t>() != 0) {
        if (!read_into(stream, m_integral, count) || !read_into(stream, m_slope, count)) {
            release();
            m_n = 0;
            return false;
        }
    }
    detect_uniform_grid();
    return true;
}
