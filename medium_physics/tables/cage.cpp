#include "tables/cage.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

#include "tables/c_1d_param.h"
#include "real_gas/crgpropertygenerator.h"
#include "file_io/c_file_io/c_file_io.h"
#include "factory/mp_settings.h"

namespace {

constexpr std::int32_t N = Cage::kNodes;

// Samples of the node placement: points along x per row, rows of y.
constexpr int kPlacementSamples = 401;
constexpr int kPlacementRows = 5;

// Two values that must agree up to the rounding of the fill's own arithmetic.
bool close(double a, double b, double scale) { return std::fabs(a - b) <= 1e-9 * scale; }

std::uint8_t read_version(C_file_io& stream) {
    std::uint8_t version = 0xFF;
    stream.read(&version, 1);
    return version;
}

}  // namespace

std::unique_ptr<Cage> Cage::make(std::int32_t kind) {
    switch (kind) {
    case 1: return std::make_unique<Cage_uniform>();
    case 2: return std::make_unique<Cage_nonuniform>();
    case 3: return std::make_unique<Cage_mixed>();
    default: return nullptr;
    }
}

double Cage::value0(double x, double y) const noexcept { return interpolate(0, locate(x, y)); }
double Cage::value1(double x, double y) const noexcept { return interpolate(1, locate(x, y)); }
double Cage::value2(double x, double y) const noexcept { return interpolate(2, locate(x, y)); }
double Cage::value3(double x, double y) const noexcept { return interpolate(3, locate(x, y)); }
double Cage::d0_dy(double x, double y) const noexcept { return derivative_y(0, locate(x, y)); }
double Cage::d0_dx(double x, double y) const noexcept { return derivative_x(0, locate(x, y)); }
double Cage::d1_dy(double x, double y) const noexcept { return derivative_y(1, locate(x, y)); }
double Cage::d1_dx(double x, double y) const noexcept { return derivative_x(1, locate(x, y)); }

bool Cage::prepare(double xlo, double xhi, double ylo, double yhi) {
    if (!(xhi > xlo) || !(yhi > ylo)) return false;
    m_x0 = xlo;
    m_x_end = xhi;
    m_y0 = ylo;
    m_y_end = yhi;
    m_dy = (yhi - ylo) / kCells;
    return m_values.allocate(static_cast<std::size_t>(kProperties) * kNodeCount);
}

bool Cage::fill_nodes(IRGPropertyGenerator& generator) {
    double centre[kProperties];
    const bool flag = generator.properties(std::exp((m_x0 + m_x_end) * 0.5), (m_y0 + m_y_end) * 0.5, centre);
    double* const v = m_values.data();
    const IRGPropertyGenerator& g = generator;
#pragma omp parallel for schedule(dynamic, 4) num_threads(mp::omp_threads())
    for (std::int32_t i = 0; i < N; ++i) {
        const double p = std::exp(m_x[static_cast<std::size_t>(i)]);
        for (std::int32_t j = 0; j < N; ++j) {
            double out[kProperties];
            g.properties(p, m_y0 + j * m_dy, out);
            for (int k = 0; k < kProperties; ++k) v[static_cast<std::ptrdiff_t>(k) * kNodeCount + i * N + j] = out[k];
        }
    }
    return flag;
}

void Cage::write_base(C_file_io& stream) const {
    const std::uint8_t version = 0;
    stream.put(version);
    const double header[5] = {m_dy, m_x0, m_x_end, m_y0, m_y_end};
    stream.write(header, 5);
    stream.write(m_x.data(), N);
    if (m_values.empty()) {
        // an unfilled cage writes zero arrays, so that its record keeps its size
        const std::vector<double> zero(static_cast<std::size_t>(N), 0.0);
        for (int r = 0; r < kProperties * N; ++r) stream.write(zero.data(), N);
        return;
    }
    for (int r = 0; r < kProperties * N; ++r) stream.write(m_values.data() + static_cast<std::ptrdiff_t>(r) * N, N);
}

bool Cage::read_base(C_file_io& stream) {
    if (read_version(stream) != 0) return false;
    double header[5];
    stream.read(header, 5);
    std::array<double, N> x{};
    stream.read(x.data(), N);
    mp::pooled_array<double> values;
    if (!values.allocate(static_cast<std::size_t>(kProperties) * kNodeCount)) return false;
    for (int r = 0; r < kProperties * N; ++r) stream.read(values.data() + static_cast<std::ptrdiff_t>(r) * N, N);
    // A record whose axes do not tile its rectangle would index outside the node arrays.
    const double wx = header[2] - header[1], wy = header[4] - header[3];
    bool sane = std::isfinite(wx) && std::isfinite(wy) && wx > 0.0 && wy > 0.0 && header[0] > 0.0 &&
                close(header[0] * kCells, wy, wy) && close(x[0], header[1], wx) && close(x[N - 1], header[2], wx);
    for (std::int32_t i = 0; sane && i < kCells; ++i) sane = x[static_cast<std::size_t>(i + 1)] > x[static_cast<std::size_t>(i)];
    if (!sane) return false;
    m_dy = header[0];
    m_x0 = header[1];
    m_x_end = header[2];
    m_y0 = header[3];
    m_y_end = header[4];
    m_x = x;
    m_values = std::move(values);
    return true;
}

// ---- Cage_uniform -------------------------------------------------------------------------------

bool Cage_uniform::fill(IRGPropertyGenerator& generator, double xlo, double xhi, double ylo, double yhi) {
    if (!prepare(xlo, xhi, ylo, yhi)) return false;
    m_dx = (xhi - xlo) / kCells;
    for (std::int32_t i = 0; i < N; ++i) m_x[static_cast<std::size_t>(i)] = xlo + i * m_dx;
    m_flag = fill_nodes(generator) ? 1 : 0;
    return true;
}

bool Cage_uniform::read(C_file_io& stream) {
    if (read_version(stream) != 0) return false;
    if (!read_base(stream)) return false;
    stream.read(&m_flag, 1);
    stream.read(&m_dx, 1);
    return m_dx > 0.0 && close(m_dx * kCells, m_x_end - m_x0, m_x_end - m_x0);
}

void Cage_uniform::write(C_file_io& stream) const {
    const std::uint8_t version = 0;
    stream.put(version);
    write_base(stream);
    stream.put(m_flag);
    stream.put(m_dx);
}

// ---- the non-uniform axis -----------------------------------------------------------------------

void cage_axis::build_buckets() noexcept {
    std::int32_t i = 0;
    for (std::int32_t k = 0; k < N; ++k) {
        const double start = x[0] + k * dxc;
        while (i < Cage::kCells - 1 && x[static_cast<std::size_t>(i + 1)] <= start) ++i;
        bucket[static_cast<std::size_t>(k)] = i;
    }
}

std::int32_t cage_axis::find(double xv, double& t) const noexcept {
    auto k = static_cast<std::int32_t>((xv - x[0]) / dxc);
    k = std::clamp(k, 0, Cage::kCells);  // a stray x still indexes the bucket table
    std::int32_t i = bucket[static_cast<std::size_t>(k)];
    // scan for the first i with x[i] <= xv <= x[i+1]; at the start x[i] <= xv already holds
    while (i + 4 < N && x[static_cast<std::size_t>(i + 4)] < xv) i += 4;
    while (i + 1 < N && x[static_cast<std::size_t>(i + 1)] < xv) ++i;
    if (i >= Cage::kCells) i = Cage::kCells - 1;
    const double x0 = x[static_cast<std::size_t>(i)];
    t = (xv - x0) / (x[static_cast<std::size_t>(i + 1)] - x0);
    return i;
}

double cage_axis::place(IRGPropertyGenerator& generator, double xlo, double xhi, double ylo, double yhi,
                        double weight) {
    const double h = (xhi - xlo) / (kPlacementSamples - 1);
    // |d rho/dx| summed over the rows, per sample interval
    std::vector<double> slope(kPlacementSamples - 1, 0.0);
    const IRGPropertyGenerator& g = generator;
    for (int r = 0; r < kPlacementRows; ++r) {
        const double T = ylo + (yhi - ylo) * r / (kPlacementRows - 1);
        std::vector<double> rho(kPlacementSamples, 0.0);
#pragma omp parallel for schedule(static) num_threads(mp::omp_threads())
        for (int s = 0; s < kPlacementSamples; ++s) {
            double out[Cage::kProperties];
            g.properties(std::exp(xlo + s * h), T, out);
            rho[static_cast<std::size_t>(s)] = out[0];
        }
        double scale = 0.0;  // mean |rho| of the row, so that every row counts alike
        for (double v : rho) scale += std::fabs(v);
        scale = scale > 0.0 ? scale / kPlacementSamples : 1.0;
        for (int s = 0; s + 1 < kPlacementSamples; ++s)
            slope[static_cast<std::size_t>(s)] += std::fabs(rho[static_cast<std::size_t>(s + 1)] - rho[static_cast<std::size_t>(s)]) / (h * scale);
    }
    double mean = 0.0;
    for (double v : slope) mean += v;
    mean /= static_cast<double>(slope.size());
    // cumulative monitor; half of it uniform so that no cell grows beyond about twice the uniform one
    std::vector<double> cumulative(kPlacementSamples, 0.0);
    for (int s = 0; s + 1 < kPlacementSamples; ++s) {
        const double w = mean > 0.0 ? 1.0 + weight * slope[static_cast<std::size_t>(s)] / mean : 1.0;
        cumulative[static_cast<std::size_t>(s + 1)] = cumulative[static_cast<std::size_t>(s)] + w;
    }
    const double total = cumulative.back();
    x[0] = xlo;
    x[static_cast<std::size_t>(N - 1)] = xhi;
    int s = 0;
    for (std::int32_t i = 1; i < N - 1; ++i) {
        const double target = total * i / Cage::kCells;
        while (s + 1 < kPlacementSamples - 1 && cumulative[static_cast<std::size_t>(s + 1)] < target) ++s;
        const double c0 = cumulative[static_cast<std::size_t>(s)];
        const double c1 = cumulative[static_cast<std::size_t>(s + 1)];
        const double f = c1 > c0 ? (target - c0) / (c1 - c0) : 0.0;
        const double equidistributed = xlo + (s + f) * h;
        const double uniform = xlo + (xhi - xlo) * i / Cage::kCells;
        x[static_cast<std::size_t>(i)] = 0.5 * (equidistributed + uniform);
    }
    dxc = (xhi - xlo) / Cage::kCells;
    build_buckets();
    double smallest = xhi - xlo;
    for (std::int32_t i = 0; i < Cage::kCells; ++i)
        smallest = std::min(smallest, x[static_cast<std::size_t>(i + 1)] - x[static_cast<std::size_t>(i)]);
    return smallest / dxc;
}

void cage_axis::write(C_file_io& stream) const {
    stream.put(dxc);
    stream.write(x.data(), N);
    stream.write(bucket.data(), N);
}

bool cage_axis::read(C_file_io& stream) {
    stream.read(&dxc, 1);
    stream.read(x.data(), N);
    stream.read(bucket.data(), N);
    // a bucket entry outside the node range would send the scan out of the arrays
    return std::all_of(bucket.begin(), bucket.end(), [](std::int32_t b) { return b >= 0 && b < Cage::kCells; }) &&
           dxc > 0.0;
}

// ---- Cage_nonuniform ----------------------------------------------------------------------------

bool Cage_nonuniform::fill(IRGPropertyGenerator& generator, double xlo, double xhi, double ylo, double yhi) {
    if (!prepare(xlo, xhi, ylo, yhi)) return false;
    m_refinement = m_axis.place(generator, xlo, xhi, ylo, yhi, kPlacementWeight);
    m_x = m_axis.x;
    m_flag = fill_nodes(generator) ? 1 : 0;
    return true;
}

bool Cage_nonuniform::read(C_file_io& stream) {
    if (read_version(stream) != 0) return false;
    if (!read_base(stream)) return false;
    stream.read(&m_flag, 1);
    if (!m_axis.read(stream) || m_axis.x != m_x || !close(m_axis.dxc * kCells, m_x_end - m_x0, m_x_end - m_x0)) return false;
    stream.read(&m_refinement, 1);
    return true;
}

void Cage_nonuniform::write(C_file_io& stream) const {
    const std::uint8_t version = 0;
    stream.put(version);
    write_base(stream);
    stream.put(m_flag);
    m_axis.write(stream);
    stream.put(m_refinement);
}

// ---- Cage_mixed ---------------------------------------------------------------------------------

namespace {

// The saturation temperature of the pressure exp(x) between T_lo and T_hi, where ln psat - x
// changes sign: regula falsi (Illinois) on the generator's ln psat. 0 when it does not change sign.
double saturation_temperature(const IRGPropertyGenerator& g, double x, double T_lo, double f_lo, double T_hi,
                              double f_hi) noexcept {
    if (!(f_lo <= 0.0 && f_hi >= 0.0)) return 0.0;
    double a = T_lo, fa = f_lo, b = T_hi, fb = f_hi;
    int side = 0;
    for (int it = 0; it < 60 && b - a > 1e-9 * b; ++it) {
        const double c = fb != fa ? b - fb * (b - a) / (fb - fa) : 0.5 * (a + b);
        const double fc = g.saturation_ln_p(c) - x;
        if (fc == 0.0) return c;
        if (fc < 0.0) {
            a = c;
            fa = fc;
            if (side == -1) fb *= 0.5;
            side = -1;
        } else {
            b = c;
            fb = fc;
            if (side == 1) fa *= 0.5;
            side = 1;
        }
    }
    return fb != fa ? b - fb * (b - a) / (fb - fa) : 0.5 * (a + b);
}

}  // namespace

bool Cage_mixed::fill(IRGPropertyGenerator& generator, double xlo, double xhi, double ylo, double yhi) {
    if (!prepare(xlo, xhi, ylo, yhi)) return false;
    m_axis.place(generator, xlo, xhi, ylo, yhi, Cage_nonuniform::kPlacementWeight);
    m_x = m_axis.x;
    fill_nodes(generator);
    for (auto& r : m_rows) r.fill(0.0);
    // where the line crosses: ln psat - x over the cage's temperatures below the critical one
    const IRGPropertyGenerator& g = generator;
    const double T_top = std::min(yhi, g.critical_temperature() * (1.0 - 1e-9));
    if (T_top > ylo) {
        const double ln_lo = g.saturation_ln_p(ylo);
        const double ln_hi = g.saturation_ln_p(T_top);
#pragma omp parallel for schedule(dynamic, 4) num_threads(mp::omp_threads())
        for (std::int32_t i = 0; i < N; ++i) {
            const double x = m_x[static_cast<std::size_t>(i)];
            const double Ts = saturation_temperature(g, x, ylo, ln_lo - x, T_top, ln_hi - x);
            if (Ts <= 0.0) continue;
            auto& rows = m_rows;
            rows[kRowTsat][static_cast<std::size_t>(i)] = Ts;
            rows[kRowRhoLiquid][static_cast<std::size_t>(i)] = g.saturation_rho_liquid(Ts);
            rows[kRowRhoVapour][static_cast<std::size_t>(i)] = g.saturation_rho_vapour(Ts);
            rows[kRowHLiquid][static_cast<std::size_t>(i)] = g.saturation_h_liquid(Ts);
            rows[kRowHVapour][static_cast<std::size_t>(i)] = g.saturation_h_vapour(Ts);
            rows[kRowSLiquid][static_cast<std::size_t>(i)] = g.saturation_s_liquid(Ts);
            rows[kRowSVapour][static_cast<std::size_t>(i)] = g.saturation_s_vapour(Ts);
            const double dT = 1e-4 * Ts;
            const double dx = g.saturation_ln_p(std::min(Ts + dT, T_top)) - g.saturation_ln_p(Ts - dT);
            rows[kRowSlope][static_cast<std::size_t>(i)] = dx != 0.0 ? (std::min(Ts + dT, T_top) - (Ts - dT)) / dx : 0.0;
        }
    }
    for (std::int32_t i = 0; i < N; ++i) {
        const double Ts = m_rows[kRowTsat][static_cast<std::size_t>(i)];
        for (std::int32_t j = 0; j < N; ++j) {
            const double T = m_y0 + j * m_dy;
            // the liquid side of a row the line crosses: below its saturation temperature; a row
            // the line does not cross lies wholly on one side, the side of its pressure
            std::uint8_t liquid = 0;
            if (Ts > 0.0) liquid = T < Ts ? 1 : 0;
            else if (T < T_top && m_x[static_cast<std::size_t>(i)] > g.saturation_ln_p(std::max(T, ylo))) liquid = 1;
            m_mask[static_cast<std::size_t>(i * N + j)] = liquid;
        }
    }
    return true;
}

bool Cage_mixed::in_domain(double x, double y) const noexcept {
    const cage_cell c = locate(x, y);
    if (c.i != c.j) return c.i >= c.j;
    return c.u < c.t;
}

bool Cage_mixed::read(C_file_io& stream) {
    if (read_version(stream) != 0) return false;
    if (!read_base(stream)) return false;
    for (std::int32_t i = 0; i < N; ++i) stream.read(m_mask.data() + static_cast<std::ptrdiff_t>(i) * N, N);
    if (!m_axis.read(stream) || m_axis.x != m_x || !close(m_axis.dxc * kCells, m_x_end - m_x0, m_x_end - m_x0)) return false;
    for (auto& r : m_rows) stream.read(r.data(), N);
    return true;
}

void Cage_mixed::write(C_file_io& stream) const {
    const std::uint8_t version = 0;
    stream.put(version);
    write_base(stream);
    for (std::int32_t i = 0; i < N; ++i) stream.write(m_mask.data() + static_cast<std::ptrdiff_t>(i) * N, N);
    m_axis.write(stream);
    for (const auto& r : m_rows) stream.write(r.data(), N);
}
