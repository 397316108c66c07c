#include "hypersonic/hypersonic_tables.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <iterator>
#include <limits>

#include "factory/mp_settings.h"
#include "equilibrium/equilibrium_air.h"
#include "file_io/c_file_io/c_file_io.h"
#include "file_io/c_file_io/exceptions.h"

namespace mp::hypersonic {

using G = CHypersonicBuiltInPG;

double table_layout::band_origin(std::int32_t b) const noexcept {
    return rho_low * std::pow(10.0, double(b) / double(bands_per_decade));
}

hypersonic_grid table_layout::band_grid(std::int32_t b) const noexcept {
    hypersonic_grid g;
    g.x1_min = T_min;
    g.x1_max = T_max;
    g.ln_x1_origin = std::log(T_min);
    g.ln_x1_step = std::log(T_max / T_min) / (n1 - 1);
    g.x1_tolerance = x1_tolerance;
    const double lo = band_origin(b);
    const double hi = band_origin(b + 1);
    g.x2_origin = lo;
    g.x2_max = hi;
    g.x2_step = (hi - lo) / (n2 - 1);
    g.x2_tolerance = x2_tolerance;
    return g;
}

bool table_layout::fits_version_1() const noexcept {
    return tables == G::kTableCount && T_frozen == 0.0 && below == below_lowest_band::guard;
}

bool table_layout::valid() const noexcept {
    if (!(T_min > 0.0 && T_max > T_min && rho_low > 0.0 && std::isfinite(T_max) && std::isfinite(rho_low)))
        return false;
    if (n1 < 2 || n2 < 2 || bands < 1 || bands > 400 || bands_per_decade < 1) return false;
    if (tables != G::kTableCount && tables != G::kTableCountWithExponent) return false;
    if (!(T_frozen >= 0.0 && std::isfinite(T_frozen))) return false;
    if (below != below_lowest_band::guard && below != below_lowest_band::composition_of_lowest) return false;
    if (std::int64_t(n1) * n2 > G::kMaxStoredValues / tables) return false;
    for (std::int32_t b = 0; b < bands; ++b)
        if (!band_grid(b).valid()) return false;
    return true;
}

bool same_layout(const table_layout& a, const table_layout& b) noexcept {
    return a.T_min == b.T_min && a.T_max == b.T_max && a.n1 == b.n1 && a.rho_low == b.rho_low && a.bands == b.bands &&
           a.bands_per_decade == b.bands_per_decade && a.n2 == b.n2 && a.x1_tolerance == b.x1_tolerance &&
           a.x2_tolerance == b.x2_tolerance && a.tables == b.tables && a.T_frozen == b.T_frozen && a.below == b.below;
}

table_layout default_layout() noexcept {
    table_layout l;
    // 313 nodes put both ends of 50..20000 K on nodes with a step of 1.94 %, the step the error
    // map found sufficient above 200 K; below 200 K the frozen air is nearly linear in T.
    l.T_min = 50.0;
    l.T_max = 20000.0;
    l.n1 = 313;
    l.rho_low = 1e-9;
    l.bands = 44;
    l.bands_per_decade = 4;
    l.n2 = 5;
    // Bisections stop at a relative width of 1e-6: far below the interpolation error (about 1e-3),
    // and about 28 halvings over the temperature range.
    l.x1_tolerance = 1e-6;
    l.x2_tolerance = 1e-6;
    l.tables = G::kTableCountWithExponent;
    // The NASA polynomials of N2 and O2 begin at 200 K.
    l.T_frozen = 200.0;
    l.below = below_lowest_band::composition_of_lowest;
    return l;
}

namespace {

// Sutherland's temperature dependence, T^1.5 / (T + S).
double sutherland(double T) noexcept { return T * std::sqrt(T) / (T + kSutherlandTemperature); }

}  // namespace

void frozen_air(const double* anchor, double T_anchor, double T, double* v) noexcept {
    const double M = anchor[G::kMolarMass];
    const double cp = anchor[G::kCp];
    const double cv = cp - equilibrium::kGasConstant / M;
    const double transport = sutherland(T) / sutherland(T_anchor);
    v[G::kEnergy] = anchor[G::kEnergy] - cv * (T_anchor - T);
    v[G::kPressure] = anchor[G::kPressure] * (T / T_anchor);
    v[G::kGamma] = cp / cv;
    v[G::kCp] = cp;
    v[G::kMolarMass] = M;
    v[G::kViscosity] = anchor[G::kViscosity] * transport;
    v[G::kConductivity] = anchor[G::kConductivity] * transport;
    v[G::kIsentropicExponent] = cp / cv;
}

namespace {

// The eight node values of a solved point.
bool node_values(const equilibrium::mixture& air, const equilibrium::state& st, double* v) noexcept {
    equilibrium::properties pr;
    if (!air.evaluate(st, pr)) return false;
    double mu = 0.0, lambda = 0.0;
    if (!equilibrium::air::transport(pr.T, pr.x, mu, lambda)) return false;
    v[G::kEnergy] = pr.e;
    v[G::kPressure] = pr.p;
    v[G::kGamma] = pr.gamma;
    v[G::kCp] = pr.cp;
    v[G::kMolarMass] = pr.molar_mass;
    v[G::kViscosity] = mu;
    v[G::kConductivity] = lambda;
    v[G::kIsentropicExponent] = pr.isentropic_exponent;
    return true;
}

}  // namespace

bool generate_equilibrium_air(const table_layout& layout, std::vector<std::shared_ptr<CHypersonicBuiltInPG>>& bands,
                              std::int32_t threads, generation_report* report) {
    if (!layout.valid()) return false;
    const auto started = std::chrono::steady_clock::now();
    bands.clear();
    for (std::int32_t b = 0; b < layout.bands; ++b) {
        auto g = CHypersonicBuiltInPG::create();
        if (!g->allocate(layout.tables, layout.n1, layout.n2) || !g->set_grid(layout.band_grid(b))) return false;
        bands.push_back(std::move(g));
    }
    const equilibrium::mixture air = equilibrium::air::make_air();
    const std::int64_t columns = std::int64_t(layout.bands) * layout.n2;
    std::int64_t failures = 0, fallbacks = 0;
    const int nthreads = threads > 0 ? threads : static_cast<int>(mp::omp_threads());
    (void)nthreads;
#pragma omp parallel for schedule(dynamic, 1) num_threads(nthreads) reduction(+ : failures, fallbacks)
    for (std::int64_t c = 0; c < columns; ++c) {
        CHypersonicBuiltInPG& g = *bands[std::size_t(c / layout.n2)];
        const auto j = static_cast<std::int32_t>(c % layout.n2);
        const double rho = g.x2_node(j);
        equilibrium::state st;
        double last[G::kTableCountWithExponent] = {};
        bool have_last = false;
        // Solves (T, rho) into `last`, from the previous point's composition; a point the engine
        // cannot solve keeps the previous values.
        const auto solve = [&](double T) {
            const auto s = air.solve_T_rho(T, rho, st, have_last);
            double v[G::kTableCountWithExponent];
            if (equilibrium::succeeded(s) && node_values(air, st, v)) {
                if (s == equilibrium::status::converged_by_fallback) ++fallbacks;
                std::copy(std::begin(v), std::end(v), std::begin(last));
                have_last = true;
            } else {
                ++failures;
                st.has_potentials = false;
            }
        };
        std::int32_t i = 0;
        if (layout.T_frozen > g.x1_node(0)) {
            // Frozen air below T_frozen from the engine's point at (T_frozen, rho), which also
            // starts the sweep above.
            solve(layout.T_frozen);
            double anchor[G::kTableCountWithExponent];
            std::copy(std::begin(last), std::end(last), std::begin(anchor));
            for (; i < layout.n1 && g.x1_node(i) < layout.T_frozen; ++i) {
                double v[G::kTableCountWithExponent];
                frozen_air(anchor, layout.T_frozen, g.x1_node(i), v);
                for (std::int32_t k = 0; k < layout.tables; ++k) g.row(k, i)[j] = v[k];
            }
        }
        for (; i < layout.n1; ++i) {
            solve(g.x1_node(i));
            for (std::int32_t k = 0; k < layout.tables; ++k) g.row(k, i)[j] = last[k];
        }
    }
    if (report != nullptr) {
        report->points = columns * layout.n1;
        report->failures = failures;
        report->fallbacks = fallbacks;
        report->seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
    }
    return true;
}

// ---- the ladder ----------------------------------------------------------------------------------

bool table_set::assign(const table_layout& layout, std::vector<std::shared_ptr<CHypersonicBuiltInPG>> bands) {
    if (!layout.valid() || bands.size() != std::size_t(layout.bands)) return false;
    std::vector<double> origins;
    for (std::int32_t b = 0; b < layout.bands; ++b) {
        auto& g = bands[std::size_t(b)];
        if (!g || g->n1() != layout.n1 || g->n2() != layout.n2 || g->table_count() < layout.tables) return false;
        if (!g->set_grid(layout.band_grid(b))) return false;
        origins.push_back(g->grid().x2_origin);
    }
    m_layout = layout;
    m_bands = std::move(bands);
    m_origins = std::move(origins);
    m_keep_lowest = layout.below == below_lowest_band::composition_of_lowest;
    m_kappa_table = layout.has_isentropic_exponent() ? G::kIsentropicExponent : G::kGamma;
    m_version = layout.fits_version_1() ? 1 : 2;
    return true;
}

std::int32_t table_set::band_of_density(double rho) const noexcept {
    // The last band whose origin is at or below rho (NaN: the first band).
    std::int32_t lo = 0, hi = band_count();
    while (hi - lo > 1) {
        const std::int32_t mid = (lo + hi) / 2;
        if (m_origins[std::size_t(mid)] <= rho) lo = mid;
        else hi = mid;
    }
    return lo;
}

std::int32_t table_set::band_of_pressure(double p, double T) const noexcept {
    // The first band whose pressure at its upper edge reaches p (p increases with density).
    // All bands share the temperature axis, so T is located once.
    const G::x1_cell c1 = m_bands[0]->locate_x1(T);
    std::int32_t lo = 0, hi = band_count() - 1;
    while (lo < hi) {
        const std::int32_t mid = (lo + hi) / 2;
        const CHypersonicBuiltInPG& g = *m_bands[std::size_t(mid)];
        if (g.blend(G::kPressure, c1, g.locate_x2(g.grid().x2_max)) >= p)
            hi = mid;
        else lo = mid + 1;
    }
    return lo;
}

void table_set::state_e_rho(double e, double rho, double* r) const noexcept {
    if (!ready()) {
        G::nan_results(r);
        return;
    }
    if (below(rho)) {
        m_bands[0]->state_from_x2_table0(e, m_layout.rho_low, 0.0, r);
        r[1] *= factor(rho / m_layout.rho_low);
        return;
    }
    band(band_of_density(rho)).state_from_x2_table0(e, rho, 0.0, r);
}

void table_set::state_p_rho(double p, double rho, double* r) const noexcept {
    if (!ready()) {
        G::nan_results(r);
        return;
    }
    if (below(rho)) {
        m_bands[0]->state_from_x2_table1(p / factor(rho / m_layout.rho_low), m_layout.rho_low, 0.0, r);
        return;
    }
    band(band_of_density(rho)).state_from_x2_table1(p, rho, 0.0, r);
}

void table_set::state_T_rho(double T, double rho, double* r) const noexcept {
    if (!ready()) {
        G::nan_results(r);
        return;
    }
    if (below(rho)) {
        m_bands[0]->state_at(T, m_layout.rho_low, 0.0, r);
        r[1] *= factor(rho / m_layout.rho_low);
        return;
    }
    band(band_of_density(rho)).state_at(T, rho, 0.0, r);
}

void table_set::state_p_T(double p, double T, double* r) const noexcept {
    if (!ready()) {
        G::nan_results(r);
        return;
    }
    const std::int32_t b = band_of_pressure(p, T);
    if (m_keep_lowest && b == 0) {
        // Below the pressure of the lowest density at T: that density's state, p / p_low of it.
        const CHypersonicBuiltInPG& g = *m_bands[0];
        const double p_low = g.blend(G::kPressure, g.locate_x1(T), g.locate_x2(m_layout.rho_low));
        if (!(p >= p_low)) {
            g.state_at(T, m_layout.rho_low, 0.0, r);  // e, p, a, ...
            r[1] = r[0];
            r[0] = m_layout.rho_low * factor(p / p_low);
            return;
        }
    }
    band(b).state_from_x1_table1(p, T, 0.0, r);
}

void table_set::equilibrium_sound_T_rho(double T, double rho, double& a_eq, double& kappa) const noexcept {
    if (!ready()) {
        a_eq = kappa = std::numeric_limits<double>::quiet_NaN();
        return;
    }
    // Below the ladder p scales with rho, so p / rho is that of rho_low.
    const bool low = below(rho);
    const double x2 = low ? m_layout.rho_low : rho;
    const CHypersonicBuiltInPG& g = band(low ? 0 : band_of_density(rho));
    const G::x1_cell c1 = g.locate_x1(T);
    const G::x2_cell c2 = g.locate_x2(x2);
    const double p = g.blend(G::kPressure, c1, c2);
    kappa = g.blend(m_kappa_table, c1, c2);
    a_eq = std::sqrt(p * kappa / x2);
}

bool table_set::holds(double T, double rho) const noexcept {
    return ready() && T >= m_layout.T_min && T <= m_layout.T_max && rho >= m_layout.rho_low &&
           rho <= m_layout.rho_high();
}

namespace {

// The named values of a query's eight results, the first two already placed.
void spread(const double* r, table_state& s) noexcept {
    s.a = r[2];
    s.gamma = r[3];
    s.cp = r[4];
    s.M = r[5];
    s.mu = r[6];
    s.lambda = r[7];
}

}  // namespace

table_state table_set::at_T_rho(double T, double rho) const noexcept {
    table_state s;
    double r[G::kResultCount];
    state_T_rho(T, rho, r);
    s.T = T;
    s.rho = rho;
    s.e = r[0];
    s.p = r[1];
    spread(r, s);
    s.h = s.e + s.p / rho;
    equilibrium_sound_T_rho(T, rho, s.a_eq, s.kappa);
    s.inside = holds(T, rho);
    return s;
}

table_state table_set::at_p_T(double p, double T) const noexcept {
    table_state s;
    double r[G::kResultCount];
    state_p_T(p, T, r);
    s.T = T;
    s.rho = r[0];
    s.e = r[1];
    s.p = p;
    spread(r, s);
    s.h = s.e + s.p / s.rho;
    equilibrium_sound_T_rho(T, s.rho, s.a_eq, s.kappa);
    s.inside = holds(T, s.rho);
    return s;
}

// ---- the record ----------------------------------------------------------------------------------

void table_set::write(C_file_io& stream) const {
    const std::uint8_t version = m_layout.fits_version_1() ? m_version : 2;
    stream.put<std::uint8_t>(version);
    stream.put(m_layout.T_min);
    stream.put(m_layout.T_max);
    stream.put(m_layout.n1);
    stream.put(m_layout.rho_low);
    stream.put(m_layout.bands);
    stream.put(m_layout.bands_per_decade);
    stream.put(m_layout.n2);
    stream.put(m_layout.x1_tolerance);
    stream.put(m_layout.x2_tolerance);
    if (version == 2) {
        stream.put(m_layout.tables);
        stream.put(m_layout.T_frozen);
        stream.put<std::uint8_t>(static_cast<std::uint8_t>(m_layout.below));
    }
    for (const auto& g : m_bands) g->write(stream);
}

void table_set::read(C_file_io& stream) {
    const auto version = stream.get<std::uint8_t>();
    if (version != 1 && version != 2) throw c_RQ_io_error("hypersonic tables: unknown record version");
    table_layout l;
    l.T_min = stream.get<double>();
    l.T_max = stream.get<double>();
    l.n1 = stream.get<std::int32_t>();
    l.rho_low = stream.get<double>();
    l.bands = stream.get<std::int32_t>();
    l.bands_per_decade = stream.get<std::int32_t>();
    l.n2 = stream.get<std::int32_t>();
    l.x1_tolerance = stream.get<double>();
    l.x2_tolerance = stream.get<double>();
    if (version == 2) {
        l.tables = stream.get<std::int32_t>();
        l.T_frozen = stream.get<double>();
        const auto rule = stream.get<std::uint8_t>();
        if (rule > static_cast<std::uint8_t>(below_lowest_band::composition_of_lowest))
            throw c_RQ_io_error("hypersonic tables: unknown rule below the lowest band");
        l.below = static_cast<below_lowest_band>(rule);
    }
    if (!l.valid()) throw c_RQ_io_error("hypersonic tables: the table layout is not valid");
    std::vector<std::shared_ptr<CHypersonicBuiltInPG>> bands;
    for (std::int32_t b = 0; b < l.bands; ++b) {
        auto g = CHypersonicBuiltInPG::create();
        g->read(stream);
        // Version 1 let a band carry tables beyond the seven; version 2 states the count.
        if (version == 2 && g->table_count() != l.tables)
            throw c_RQ_io_error("hypersonic tables: a band holds another number of tables than the layout");
        bands.push_back(std::move(g));
    }
    if (!assign(l, std::move(bands))) throw c_RQ_io_error("hypersonic tables: a band does not fit the layout");
    m_version = version;
}

std::size_t table_set::bytes() const noexcept {
    std::size_t n = 0;
    for (const auto& g : m_bands) n += g->bytes();
    return n;
}

std::shared_ptr<const table_set> builtin_tables() noexcept {
    static const std::shared_ptr<const table_set> tables = []() -> std::shared_ptr<const table_set> {
        if (builtin_tables_size() == 0) return nullptr;
        try {
            auto set = std::make_shared<table_set>();
            C_file_io stream;
            stream.open_memory(builtin_tables_data(), builtin_tables_size());
            set->read(stream);
            return set;
        } catch (...) {
            return nullptr;
        }
    }();
    return tables;
}

}  // namespace mp::hypersonic
