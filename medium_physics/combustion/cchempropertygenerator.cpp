#include "combustion/cchempropertygenerator.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <utility>

#include "factory/mp_log.h"
#include "factory/mp_settings.h"

namespace mp::combustion {

namespace {

constexpr const char* kReportedNames[] = {"N2", "O2", "H2O", "CO2", "CO", "H2", "OH", "H", "O", "AR", "NO", "NO2", "N2O"};

// One node that did not converge.
struct failed_node {
    double x1 = 0.0, T = 0.0, z = 0.0;
};

}  // namespace

std::int32_t reported_species(const chemistry& chem, int* index) noexcept {
    std::int32_t count = 0;
    const auto take = [&](const char* name) {
        const int j = chem.find(name);
        if (j < 0 || count >= kMaxReportedSpecies) return;
        for (std::int32_t i = 0; i < count; ++i)
            if (index[i] == j) return;
        index[count++] = j;
    };
    for (const char* name : kReportedNames) take(name);
    for (std::int32_t p = 0; p < chem.fuel().count; ++p) take(chem.fuel().parts[p].species);
    return count;
}

CChemPropertyGenerator::CChemPropertyGenerator(std::shared_ptr<const chemistry> chem,
                                               const chem_generator_settings& settings, IHostMessageSink* sink,
                                               int threads)
    : m_chem(std::move(chem)), m_settings(settings), m_sink(sink), m_threads(threads) {
    if (m_chem && m_chem->ready()) m_reported_count = reported_species(*m_chem, m_reported);
}

bool CChemPropertyGenerator::node(chem_variant variant, const equilibrium::mixture& m, double x1, double T,
                                  equilibrium::state& st, double* values) const noexcept {
    const bool warm = st.has_potentials;
    const auto solve = [&](bool from_neighbour) {
        return variant == chem_variant::PT ? m.solve_T_p(T, x1, st, from_neighbour)
                                           : m.solve_T_rho(T, 1.0 / x1, st, from_neighbour);
    };
    if (!equilibrium::succeeded(solve(warm))) return false;
    equilibrium::properties pr;
    if (!m.evaluate(st, pr)) return false;
    double mu = 0.0, lambda = 0.0;
    if (!m_chem->transport(T, pr.x, mu, lambda)) return false;
    const double v = 1.0 / pr.rho;
    const double alpha = pr.dlnp_dlnT_rho;
    const double beta = pr.dlnp_dlnrho_T;
    values[kFieldLogVolume] = std::log(v);
    values[kFieldEnthalpy] = pr.h;
    values[kFieldViscosity] = mu;
    values[kFieldVolumeByT] = v * alpha / (T * beta);
    values[kFieldVolumeByP] = -v / (pr.p * beta);
    values[kFieldCp] = pr.cp;
    const int no = m_chem->find("NO");
    const int co = m_chem->find("CO");
    const auto mass_fraction = [&](int j) { return j < 0 ? 0.0 : st.n[j] * m_chem->species().at(j).molar_mass; };
    values[kFieldNO] = mass_fraction(no);
    values[kFieldCO] = mass_fraction(co);
    values[kFieldConductivity] = lambda;
    values[kFieldMolarMass] = pr.molar_mass;
    for (std::int32_t r = 0; r < m_reported_count; ++r) values[kPropertyFieldCount + r] = mass_fraction(m_reported[r]);
    for (std::int32_t f = 0; f < kPropertyFieldCount + m_reported_count; ++f)
        if (!std::isfinite(values[f])) return false;
    return true;
}

bool CChemPropertyGenerator::generate(C_3d_Chem_property& table, std::int32_t n1, std::int32_t n2, std::int32_t n3) {
    const auto started = std::chrono::steady_clock::now();
    m_report = chem_generation_report{};
    const chem_generator_settings& s = m_settings;
    if (!m_chem || !m_chem->ready() || n1 < 2 || n2 < 2 || n3 < 2) return false;
    if (!(s.x1_min > 0.0) || !(s.x1_max > s.x1_min) || !std::isfinite(s.x1_max) || !(s.T_min > 0.0) ||
        !(s.T_max > s.T_min) || !std::isfinite(s.T_max))
        return false;
    mp::log_line(m_sink, line_kind::message, "Chemistry: Calculation of chemical tables...\n");

    chem_table_layout layout;
    const double l_min = std::log(s.x1_min), l_max = std::log(s.x1_max);
    layout.axis[0] = {n1, true, l_min, l_max, (l_max - l_min) / (n1 - 1)};
    layout.axis[1] = {n2, false, s.T_min, s.T_max, (s.T_max - s.T_min) / (n2 - 1)};
    layout.axis[2] = {n3, false, 0.0, 1.0, 1.0 / (n3 - 1)};
    layout.count_a = kPropertyFieldCount;
    layout.count_b = m_reported_count;
    const chem_variant variant = table.variant();
    if (variant == chem_variant::VT)
        static_cast<C_3d_Chem_property_VT&>(table).set_vt_record(kChemFieldLayout, equilibrium::kGasConstant);
    if (!table.create(layout)) return false;

    const std::int32_t fields = kPropertyFieldCount + m_reported_count;
    std::vector<double*> out(static_cast<std::size_t>(fields));
    for (std::int32_t f = 0; f < fields; ++f) out[static_cast<std::size_t>(f)] = table.field(f);
    const double* x1_axis = table.axis_values(0);
    const double* T_axis = table.axis_values(1);
    const double* z_axis = table.axis_values(2);

    const std::int64_t columns = std::int64_t{n1} * n3;
    std::vector<std::vector<failed_node>> failures(static_cast<std::size_t>(columns));
    std::int64_t failed = 0, fallbacks = 0, dead_columns = 0;
    const int threads = m_threads > 0 ? m_threads : mp::omp_threads();
    (void)threads;
#pragma omp parallel for schedule(dynamic, 1) num_threads(threads) reduction(+ : failed, fallbacks, dead_columns)
    for (std::int64_t c = 0; c < columns; ++c) {
        const auto i = static_cast<std::int32_t>(c / n3);
        const auto k = static_cast<std::int32_t>(c % n3);
        const double z = z_axis[k];
        equilibrium::mixture m;
        if (!m_chem->mixture_at(std::clamp(z, 0.0, 1.0), m)) {
            ++dead_columns;
            continue;
        }
        m.set_message_sink(m_sink);
        equilibrium::state st;
        double values[kPropertyFieldCount + kMaxReportedSpecies];
        std::vector<char> solved(static_cast<std::size_t>(n2), 0);
        const auto at = [&](std::int32_t j) {
            return (static_cast<std::size_t>(i) * static_cast<std::size_t>(n2) + static_cast<std::size_t>(j)) *
                       static_cast<std::size_t>(n3) +
                   static_cast<std::size_t>(k);
        };
        std::int32_t good = 0;
        for (std::int32_t j = 0; j < n2; ++j) {
            bool ok = node(variant, m, x1_axis[i], T_axis[j], st, values);
            if (!ok && st.has_potentials) {  // the neighbour misled the start: once more, cold
                st.has_potentials = false;
                ok = node(variant, m, x1_axis[i], T_axis[j], st, values);
            }
            if (!ok) {
                st.has_potentials = false;
                ++failed;
                failures[static_cast<std::size_t>(c)].push_back({x1_axis[i], T_axis[j], z});
                continue;
            }
            if (st.result == equilibrium::status::converged_by_fallback) ++fallbacks;
            solved[static_cast<std::size_t>(j)] = 1;
            ++good;
            for (std::int32_t f = 0; f < fields; ++f) out[static_cast<std::size_t>(f)][at(j)] = values[f];
        }
        if (good == 0) {
            ++dead_columns;
            continue;
        }
        if (good == n2) continue;
        // Failed nodes: linear in T between the nearest solved nodes, held beyond them.
        for (std::int32_t j = 0; j < n2; ++j) {
            if (solved[static_cast<std::size_t>(j)] != 0) continue;
            std::int32_t lo = j - 1, hi = j + 1;
            while (lo >= 0 && solved[static_cast<std::size_t>(lo)] == 0) --lo;
            while (hi < n2 && solved[static_cast<std::size_t>(hi)] == 0) ++hi;
            for (std::int32_t f = 0; f < fields; ++f) {
                double* v = out[static_cast<std::size_t>(f)];
                if (lo < 0) v[at(j)] = v[at(hi)];
                else if (hi >= n2) v[at(j)] = v[at(lo)];
                else {
                    const double w = static_cast<double>(j - lo) / static_cast<double>(hi - lo);
                    v[at(j)] = (1.0 - w) * v[at(lo)] + w * v[at(hi)];
                }
            }
        }
    }
    m_report.nodes = columns * n2;
    m_report.failed = failed;
    m_report.fallbacks = fallbacks;
    if (failed > 0) {
        std::int64_t shown = 0;
        char where[64];
        for (const auto& column : failures)
            for (const failed_node& f : column) {
                if (shown++ >= kMaxReportedFailures) break;
                if (variant == chem_variant::PT) std::snprintf(where, sizeof where, "p = %g Pa", f.x1);
                else std::snprintf(where, sizeof where, "v = %g m3/kg", f.x1);
                MP_LOG(m_sink, line_kind::warning,
                       "Warning 3003: MediumPhysics: %s(%d): Chemistry: no equilibrium at %s, T = %g K, z = %g; "
                       "interpolated in T\n",
                       where, f.T, f.z);
            }
        MP_LOG(m_sink, line_kind::warning,
               "Warning 3003: MediumPhysics: %s(%d): Chemistry: %lld of %lld nodes interpolated; the table is "
               "not kept in its file\n",
               static_cast<long long>(failed), static_cast<long long>(m_report.nodes));
    }
    m_report.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
    if (dead_columns > 0) {
        MP_LOG(m_sink, line_kind::error,
               "ERROR: MediumPhysics: %s(%d): Chemistry: %lld columns of the table have no solved node\n",
               static_cast<long long>(dead_columns));
        table.clear();
        return false;
    }
    mp::log_line(m_sink, line_kind::message, "Chemistry: Calculation of chemical tables is completed\n");
    return true;
}

}  // namespace mp::combustion
