#include "hypersonic/hypersonic_tables.h"

#include <chrono>
#include <cmath>
#include <limits>

#include "factory/mp_settings.h"
#include "equilibrium/equilibrium_air.h"
#include "file_io/c_file_io/c_file_io.h"
#include "file_io/c_file_io/exceptions.h"

namespace mp::hypersonic {

double table_layout::band_origin(std::int32_t b) const noexcept {
    return rho_low * std::pow(10.0, double(b) / double(bands_per_decade));
}

bool table_layout::contains(double T, double rho) const noexcept {
    return T >= T_min && T <= T_max && rho >= rho_low && rho <= rho_high();
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

bool table_layout::valid() const noexcept {
    if (!(T_min > 0.0 && T_max > T_min && rho_low > 0.0 && std::isfinite(T_max) && std::isfinite(rho_low)))
        return false;
    if (n1 < 2 || n2 < 2 || bands < 1 || bands > 400 || bands_per_decade < 1) return false;
    if (std::int64_t(n1) * n2 > CHypersonicBuiltInPG::kMaxStoredValues / CHypersonicBuiltInPG::kTableCount) return false;
    for (std::int32_t b = 0; b < bands; ++b)
        if (!band_grid(b).valid()) return false;
    return true;
}

table_layout default_layout() noexcept {
    table_layout l;
    l.T_min = 200.0;
    l.T_max = 20000.0;
    l.n1 = 241;
    l.rho_low = 1e-6;
    l.bands = 32;
    l.bands_per_decade = 4;
    l.n2 = 5;
    // Bisections stop at a relative width of 1e-6: far below the interpolation error (about 1e-3),
    // and about 27 halvings over the temperature range.
    l.x1_tolerance = 1e-6;
    l.x2_tolerance = 1e-6;
    return l;
}

namespace {

// The seven table values of a solved point.
bool node_values(const equilibrium::mixture& air, const equilibrium::state& st, double* v) noexcept {
    equilibrium::properties pr;
    if (!air.evaluate(st, pr)) return false;
    double mu = 0.0, lambda = 0.0;
    if (!equilibrium::air::transport(pr.T, pr.x, mu, lambda)) return false;
    v[CHypersonicBuiltInPG::kEnergy] = pr.e;
    v[CHypersonicBuiltInPG::kPressure] = pr.p;
    v[CHypersonicBuiltInPG::kGamma] = pr.gamma;
    v[CHypersonicBuiltInPG::kCp] = pr.cp;
    v[CHypersonicBuiltInPG::kMolarMass] = pr.molar_mass;
    v[CHypersonicBuiltInPG::kViscosity] = mu;
    v[CHypersonicBuiltInPG::kConductivity] = lambda;
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
        if (!g->allocate(CHypersonicBuiltInPG::kTableCount, layout.n1, layout.n2) || !g->set_grid(layout.band_grid(b)))
            return false;
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
        double last[CHypersonicBuiltInPG::kTableCount] = {};
        bool have_last = false;
        for (std::int32_t i = 0; i < layout.n1; ++i) {
            const double T = g.x1_node(i);
            const auto s = air.solve_T_rho(T, rho, st, have_last);
            double v[CHypersonicBuiltInPG::kTableCount];
            if (equilibrium::succeeded(s) && node_values(air, st, v)) {
                if (s == equilibrium::status::converged_by_fallback) ++fallbacks;
                for (int k = 0; k < CHypersonicBuiltInPG::kTableCount; ++k) last[k] = v[k];
                have_last = true;
            } else {
                ++failures;
                st.has_potentials = false;
            }
            for (int k = 0; k < CHypersonicBuiltInPG::kTableCount; ++k) g.row(k, i)[j] = last[k];
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

}  // namespace mp::hypersonic

namespace mp::hypersonic {

bool table_set::assign(const table_layout& layout, std::vector<std::shared_ptr<CHypersonicBuiltInPG>> bands) {
    if (!layout.valid() || bands.size() != std::size_t(layout.bands)) return false;
    std::vector<double> origins;
    for (std::int32_t b = 0; b < layout.bands; ++b) {
        auto& g = bands[std::size_t(b)];
        if (!g || g->n1() != layout.n1 || g->n2() != layout.n2 || g->table_count() < CHypersonicBuiltInPG::kTableCount)
            return false;
        if (!g->set_grid(layout.band_grid(b))) return false;
        origins.push_back(g->grid().x2_origin);
    }
    m_layout = layout;
    m_bands = std::move(bands);
    m_origins = std::move(origins);
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
    const CHypersonicBuiltInPG::x1_cell c1 = m_bands[0]->locate_x1(T);
    std::int32_t lo = 0, hi = band_count() - 1;
    while (lo < hi) {
        const std::int32_t mid = (lo + hi) / 2;
        const CHypersonicBuiltInPG& g = *m_bands[std::size_t(mid)];
        if (g.blend(CHypersonicBuiltInPG::kPressure, c1, g.locate_x2(g.grid().x2_max)) >= p) hi = mid;
        else lo = mid + 1;
    }
    return lo;
}

void table_set::state_e_rho(double e, double rho, double* r) const noexcept {
    if (!ready()) {
        CHypersonicBuiltInPG::nan_results(r);
        return;
    }
    band(band_of_density(rho)).state_from_x2_table0(e, rho, 0.0, r);
}

void table_set::state_p_rho(double p, double rho, double* r) const noexcept {
    if (!ready()) {
        CHypersonicBuiltInPG::nan_results(r);
        return;
    }
    band(band_of_density(rho)).state_from_x2_table1(p, rho, 0.0, r);
}

void table_set::state_T_rho(double T, double rho, double* r) const noexcept {
    if (!ready()) {
        CHypersonicBuiltInPG::nan_results(r);
        return;
    }
    band(band_of_density(rho)).state_at(T, rho, 0.0, r);
}

bool table_set::values_inside(double T, double rho, table_values& out) const noexcept {
    if (!ready() || !m_layout.contains(T, rho)) return false;
    double r[CHypersonicBuiltInPG::kResultCount];
    state_T_rho(T, rho, r);
    out = {r[0], r[1], r[2], r[3], r[4], r[5], r[6], r[7]};
    return true;
}

void table_set::state_p_T(double p, double T, double* r) const noexcept {
    if (!ready()) {
        CHypersonicBuiltInPG::nan_results(r);
        return;
    }
    band(band_of_pressure(p, T)).state_from_x1_table1(p, T, 0.0, r);
}

void table_set::write(C_file_io& stream) const {
    stream.put<std::uint8_t>(1);
    stream.put(m_layout.T_min);
    stream.put(m_layout.T_max);
    stream.put(m_layout.n1);
    stream.put(m_layout.rho_low);
    stream.put(m_layout.bands);
    stream.put(m_layout.bands_per_decade);
    stream.put(m_layout.n2);
    stream.put(m_layout.x1_tolerance);
    stream.put(m_layout.x2_tolerance);
    for (const auto& g : m_bands) g->write(stream);
}

void table_set::read(C_file_io& stream) {
    if (stream.get<std::uint8_t>() != 1) throw c_RQ_io_error("hypersonic tables: unknown record version");
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
    if (!l.valid()) throw c_RQ_io_error("hypersonic tables: the table layout is not valid");
    std::vector<std::shared_ptr<CHypersonicBuiltInPG>> bands;
    for (std::int32_t b = 0; b < l.bands; ++b) {
        auto g = CHypersonicBuiltInPG::create();
        g->read(stream);
        bands.push_back(std::move(g));
    }
    if (!assign(l, std::move(bands))) throw c_RQ_io_error("hypersonic tables: a band does not fit the layout");
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
