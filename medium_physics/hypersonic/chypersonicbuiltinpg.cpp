#include "hypersonic/chypersonicbuiltinpg.h"

#include <cmath>
#include <limits>

#include "tables/c_1d_param.h"
#include "file_io/c_file_io/c_file_io.h"
#include "file_io/c_file_io/exceptions.h"
#include "factory/query_interface.h"

namespace {

bool finite_all(std::initializer_list<double> values) noexcept {
    for (double v : values)
        if (!std::isfinite(v)) return false;
    return true;
}

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

// More values than a table set may hold (each factor is checked before it is multiplied on, so
// damaged sizes cannot overflow the product).
bool too_many(std::int32_t np, std::int32_t n1, std::int32_t n2) noexcept {
    const std::int64_t limit = CHypersonicBuiltInPG::kMaxStoredValues;
    const std::int64_t a = std::int64_t(np) * n1;
    return a > limit || a * n2 > limit;
}

}  // namespace

bool hypersonic_grid::valid() const noexcept {
    if (!finite_all({x1_min, x1_max, ln_x1_origin, ln_x1_step, x1_tolerance, x2_origin, x2_max, x2_step,
                     x2_tolerance}))
        return false;
    if (!(ln_x1_step > 0.0 && x2_step > 0.0 && x1_tolerance > 0.0 && x2_tolerance > 0.0)) return false;
    if (!(x1_min > 0.0 && x1_min < x1_max && x2_origin < x2_max)) return false;
    // The cell index of x1 truncates toward zero, so anything above the node one step below the
    // origin lands in cell 0 or higher.
    return (std::log(x1_min) - ln_x1_origin) / ln_x1_step > -1.0;
}

std::shared_ptr<CHypersonicBuiltInPG> CHypersonicBuiltInPG::create() {
    return std::shared_ptr<CHypersonicBuiltInPG>(new CHypersonicBuiltInPG());
}

std::int32_t CHypersonicBuiltInPG::query_interface(std::any& requested) {
    return mp::hand_out<IHostUnknown, IHypersonicPG, CHypersonicBuiltInPG>(weak_from_this().lock(), requested);
}

bool CHypersonicBuiltInPG::set_grid(const hypersonic_grid& grid) noexcept {
    if (!grid.valid()) return false;
    m_grid = grid;
    m_grid_ok = true;
    build_nodes();
    return true;
}

void CHypersonicBuiltInPG::build_nodes() {
    m_x1_nodes.assign(static_cast<std::size_t>(m_n1), 0.0);
    for (std::int32_t i = 0; i < m_n1; ++i) m_x1_nodes[std::size_t(i)] = std::exp(m_grid.ln_x1_origin + i * m_grid.ln_x1_step);
}

double CHypersonicBuiltInPG::x1_node(std::int32_t i) const noexcept {
    return std::exp(m_grid.ln_x1_origin + i * m_grid.ln_x1_step);
}

void CHypersonicBuiltInPG::release() noexcept {
    m_tables.clear();
    m_x1_nodes.clear();
    m_np = m_n1 = m_n2 = 0;
    m_allocated = 0;
}

bool CHypersonicBuiltInPG::allocate(std::int32_t np, std::int32_t n1, std::int32_t n2) noexcept {
    if (np < kTableCount || n1 < 2 || n2 < 2) return false;
    if (too_many(np, n1, n2)) return false;
    release();
    try {
        m_tables.resize(std::size_t(np));
        for (auto& t : m_tables)
            if (!t.allocate(std::size_t(n1) * std::size_t(n2))) {
                release();
                return false;
            }
        m_np = np;
        m_n1 = n1;
        m_n2 = n2;
        build_nodes();
    } catch (...) {
        release();
        return false;
    }
    m_allocated = 1;
    return true;
}

CHypersonicBuiltInPG::x1_cell CHypersonicBuiltInPG::locate_x1(double x1) const noexcept {
    // Clamp (a NaN takes the lower clamp).
    if (!(x1 >= m_grid.x1_min)) x1 = m_grid.x1_min;
    if (x1 > m_grid.x1_max) x1 = m_grid.x1_max;
    const double u = (std::log(x1) - m_grid.ln_x1_origin) / m_grid.ln_x1_step;
    const std::int32_t last = m_n1 - 2;
    const std::int32_t i = u >= double(last) ? last : static_cast<std::int32_t>(u);
    const double lo = m_x1_nodes[std::size_t(i)];
    const double hi = m_x1_nodes[std::size_t(i) + 1];
    return {i, (x1 - lo) / (hi - lo)};
}

CHypersonicBuiltInPG::x2_cell CHypersonicBuiltInPG::locate_x2(double x2) const noexcept {
    double t = (x2 - m_grid.x2_origin) / m_grid.x2_step;
    // The guard: no further than one step below the origin (and a NaN goes there too).
    if (!(t >= -1.0)) t = -1.0;
    const std::int32_t last = m_n2 - 2;
    std::int32_t j;
    if (t >= double(last)) j = last;
    else if (t < 0.0) j = 0;
    else j = static_cast<std::int32_t>(t);
    return {j, t - j};
}

double CHypersonicBuiltInPG::blend(std::int32_t k, const x1_cell& c1, const x2_cell& c2) const noexcept {
    const double* r0 = m_tables[std::size_t(k)].data() + std::size_t(c1.i) * std::size_t(m_n2) + c2.j;
    const double* r1 = r0 + m_n2;
    const double a = r0[0] + (r0[1] - r0[0]) * c2.f;
    const double b = r1[0] + (r1[1] - r1[0]) * c2.f;
    return a + (b - a) * c1.w;
}

double CHypersonicBuiltInPG::interpolate(std::int32_t k, double x1, double x2) const noexcept {
    if (!ready() || k < 0 || k >= m_np) return kNaN;
    return blend(k, locate_x1(x1), locate_x2(x2));
}

void CHypersonicBuiltInPG::interpolate_all(double x1, double x2, double* values) const noexcept {
    if (!ready()) {
        for (std::int32_t k = 0; k < kTableCount; ++k) values[k] = kNaN;
        return;
    }
    const x1_cell c1 = locate_x1(x1);
    const x2_cell c2 = locate_x2(x2);
    for (std::int32_t k = 0; k < m_np; ++k) values[k] = blend(k, c1, c2);
}

double CHypersonicBuiltInPG::bisect_x1(std::int32_t k, double target, double x2) const noexcept {
    if (!ready()) return kNaN;
    const x2_cell c2 = locate_x2(x2);
    const double* column = m_tables[std::size_t(k)].data() + c2.j;
    const std::size_t stride = std::size_t(m_n2);
    const auto node_value = [&](std::int32_t i) noexcept {
        const double* r = column + std::size_t(i) * stride;
        return r[0] + (r[1] - r[0]) * c2.f;
    };
    // The halving visits the same midpoints as a plain bisection that looks every midpoint up,
    // but without a logarithm per step: the cell s that holds the target is found first over the
    // node values of the column (the table increases along x1), a midpoint below or above that
    // cell is decided by its position alone, and only midpoints inside it are interpolated.
    const std::int32_t last = m_n1 - 2;
    std::int32_t s = 0;
    for (std::int32_t lo_i = 0, hi_i = last; lo_i < hi_i;) {
        const std::int32_t m = (lo_i + hi_i + 1) / 2;
        if (node_value(m) <= target) lo_i = s = m;
        else hi_i = m - 1;
    }
    const double x_lo = m_x1_nodes[std::size_t(s)];
    const double x_hi = m_x1_nodes[std::size_t(s) + 1];
    const double v_lo = node_value(s);
    const double v_hi = node_value(s + 1);
    double lo = m_grid.x1_min;
    double hi = m_grid.x1_max;
    const double tol = m_grid.x1_tolerance;
    for (int n = 0; n < kMaxHalvings; ++n) {
        const double mid = 0.5 * (lo + hi);
        if (lo * tol > std::fabs(hi - lo)) return mid;
        if (s > 0 && mid < x_lo) {
            lo = mid;  // below the cell: the table is below the target there
            continue;
        }
        if (s < last && mid >= x_hi) {
            hi = mid;  // above the cell
            continue;
        }
        const double v = v_lo + (v_hi - v_lo) * ((mid - x_lo) / (x_hi - x_lo));
        if (v == target) return mid;
        if (target > v) lo = mid;
        else hi = mid;
    }
    return 0.5 * (lo + hi);
}

double CHypersonicBuiltInPG::x2_from_table1(double target, double x1) const noexcept {
    if (!ready()) return kNaN;
    const x1_cell c1 = locate_x1(x1);
    double lo = m_grid.x2_origin;
    double hi = m_grid.x2_max;
    const double tol = m_grid.x2_tolerance;
    for (int n = 0; n < kMaxHalvings; ++n) {
        const double mid = 0.5 * (lo + hi);
        if (lo * tol > std::fabs(hi - lo)) return mid;
        const double v = blend(kPressure, c1, locate_x2(mid));
        if (v == target) return mid;
        if (target > v) lo = mid;
        else hi = mid;
    }
    return 0.5 * (lo + hi);
}

void CHypersonicBuiltInPG::fill(const x1_cell& c1, const x2_cell& c2, double x2, double first,
                                std::int32_t second_table, double* r) const noexcept {
    const double p = blend(kPressure, c1, c2);
    const double gamma = blend(kGamma, c1, c2);
    r[0] = first;
    r[1] = second_table == kPressure ? p : blend(kEnergy, c1, c2);
    r[2] = std::sqrt(p * gamma / x2);
    r[3] = gamma;
    r[4] = blend(kCp, c1, c2);
    r[5] = blend(kMolarMass, c1, c2);
    r[6] = blend(kViscosity, c1, c2);
    r[7] = blend(kConductivity, c1, c2);
}

std::int32_t CHypersonicBuiltInPG::nan_results(double* r) noexcept {
    for (int k = 0; k < kResultCount; ++k) r[k] = kNaN;
    return 0;
}

std::int32_t CHypersonicBuiltInPG::state_from_x2_table0(double q1, double q2, double, double* r) const noexcept {
    if (!ready()) return nan_results(r);
    const double x1 = x1_from_table0(q1, q2);
    fill(locate_x1(x1), locate_x2(q2), q2, x1, kPressure, r);
    return 0;
}

std::int32_t CHypersonicBuiltInPG::state_from_x2_table1(double q1, double q2, double, double* r) const noexcept {
    if (!ready()) return nan_results(r);
    const double x1 = x1_from_table1(q1, q2);
    fill(locate_x1(x1), locate_x2(q2), q2, x1, kEnergy, r);
    return 0;
}

std::int32_t CHypersonicBuiltInPG::state_at(double q1, double q2, double, double* r) const noexcept {
    if (!ready()) return nan_results(r);
    const x1_cell c1 = locate_x1(q1);
    const x2_cell c2 = locate_x2(q2);
    fill(c1, c2, q2, blend(kEnergy, c1, c2), kPressure, r);
    return 0;
}

std::int32_t CHypersonicBuiltInPG::state_from_x1_table1(double q1, double q2, double, double* r) const noexcept {
    if (!ready()) return nan_results(r);
    const double x2 = x2_from_table1(q1, q2);
    fill(locate_x1(q2), locate_x2(x2), x2, x2, kEnergy, r);
    return 0;
}

void CHypersonicBuiltInPG::read(C_file_io& stream) {
    release();
    const auto np = stream.get<std::int32_t>();
    const auto n1 = stream.get<std::int32_t>();
    const auto n2 = stream.get<std::int32_t>();
    const bool empty = np == 0 && n1 == 0 && n2 == 0;
    if (!empty && (np < kTableCount || n1 < 2 || n2 < 2 || too_many(np, n1, n2)))
        throw c_RQ_io_error("hypersonic tables: impossible table sizes");
    const auto flag = stream.get<std::uint8_t>();
    if (empty) return;
    (void)flag;
    m_tables.resize(std::size_t(np));
    const std::size_t values = std::size_t(n1) * std::size_t(n2);
    for (auto& t : m_tables) {
        // Rows follow each other, so a table's N1 rows are its N1 * N2 values in order; a count
        // the stream does not hold fails on the missing data before the memory is taken.
        if (!mp::read_pooled_doubles(stream, t, values)) {
            release();
            throw c_RQ_io_error("hypersonic tables: out of memory");
        }
    }
    m_np = np;
    m_n1 = n1;
    m_n2 = n2;
    build_nodes();
    m_allocated = 1;
}

void CHypersonicBuiltInPG::write(C_file_io& stream) const {
    stream.put<std::int32_t>(m_np);
    stream.put<std::int32_t>(m_n1);
    stream.put<std::int32_t>(m_n2);
    stream.put<std::uint8_t>(m_allocated);
    if (m_allocated == 0) return;
    for (const auto& t : m_tables) stream.write(t.data(), t.size());
}
