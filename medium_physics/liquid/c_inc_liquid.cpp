#include "liquid/c_inc_liquid.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <utility>

#include "framework/c_thermodynamic_base.h"
#include "file_io/c_file_io/c_file_io.h"
#include "factory/mp_log.h"

namespace {
constexpr double kR = thermo::kUniversalGasConstant;
constexpr double kCl2 = C_incompressible_liquid_substance::kLiquidSoundSpeed * C_incompressible_liquid_substance::kLiquidSoundSpeed;
// The density as points in any order: each finite with rho above 0 (the fit takes -ln rho);
// `density` holds them sorted by T (repeated temperatures side by side), which is what a
// one-point lookup and the record need.
bool density_from_points(const host_property& p, c_1d_param& density, const CHostString& name, IHostMessageSink* sink) {
    const std::int32_t n = p.T.size();
    if (n == 0) {
        density.set_constant(p.constant);
        return true;
    }
    bool ok = p.value.size() >= n;
    for (std::int32_t i = 0; ok && i < n; ++i)
        ok = std::isfinite(p.T[i]) && std::isfinite(p.value[i]) && p.value[i] > 0.0;
    if (!ok) {
        MP_LOG(sink, mp::line_kind::error,
               "ERROR: MediumPhysics: %s(%d): %s: the density points need a finite temperature and a finite density "
               "above 0 each\n",
               name.to_utf8().c_str());
        return false;
    }
    std::vector<std::pair<double, double>> points;
    for (std::int32_t i = 0; i < n; ++i) points.emplace_back(p.T[i], p.value[i]);
    std::stable_sort(points.begin(), points.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
    std::vector<double> T, rho;
    for (const auto& [t, r] : points) {
        T.push_back(t);
        rho.push_back(r);
    }
    density.set_table(p.constant, T, rho);
    return true;
}

}  // namespace

bool read_liquid_properties(I_liquid_description& d, const CHostString& name, IHostMessageSink* sink, c_1d_param& cp,
                            c_1d_param& viscosity, c_1d_param& conductivity, c_1d_param& density,
                            host_property* density_points) {
    const std::pair<void (I_liquid_description::*)(host_property&), std::pair<c_1d_param*, const char*>> parts[] = {
        {&I_liquid_description::get_cp, {&cp, "cp"}},
        {&I_liquid_description::get_viscosity, {&viscosity, "viscosity"}},
        {&I_liquid_description::get_conductivity, {&conductivity, "conductivity"}},
        {&I_liquid_description::get_density, {&density, "density"}},
    };
    for (const auto& [get, into] : parts) {
        host_property p;
        (d.*get)(p);
        if (into.first == &density && density_points != nullptr) {
            if (!density_from_points(p, density, name, sink)) return false;
            *density_points = std::move(p);
        } else if (!param_from_host(p, *into.first, name, into.second, sink)) {
            return false;
        }
    }
    cp.prepare_integral();  // the enthalpy is its integral
    return true;
}

bool C_incompressible_liquid_substance::init(I_liquid_description& d, IHostMessageSink* sink) {
    if (!init_from_description(d, sink)) return false;
    host_property entered;
    if (!read_liquid_properties(d, name(), sink, m_cp, m_viscosity, m_conductivity, m_density, &entered)) return false;
    m_scalar_a = d.get_scalar_a();
    m_reference_temperature = d.get_reference_temperature();
    m_reference_pressure = d.get_reference_pressure();

    // The entered density points, kept as they were entered.
    m_density_point_count = m_density.size();
    const auto n = static_cast<std::size_t>(m_density_point_count);
    if (n > 0) {
        if (!m_density_T.allocate(n) || !m_density_values.allocate(n)) return false;
        std::copy(entered.T.begin(), entered.T.begin() + m_density_point_count, m_density_T.data());
        std::copy(entered.value.begin(), entered.value.begin() + m_density_point_count, m_density_values.data());
    }
    if (!build_volume_tables(sink)) return false;
    set_pressure_correction(true);
    return true;
}

bool C_incompressible_liquid_substance::build_volume_tables(IHostMessageSink* sink) {
    const std::int32_t n = m_density_point_count;
    if (n < 2) {
        const double rho = n == 0 ? m_density.constant() : m_density.value(kOnePointTemperature);
        m_volume.set_constant(1.0 / rho);
        m_dvolume_dT.set_constant(0.0);
        m_d2volume_dT2.set_constant(0.0);
        return true;
    }
    const auto N = static_cast<std::size_t>(m_volume_table_size);
    if (!m_volume_T.allocate(N) || !m_volume_v.allocate(N) || !m_volume_dv.allocate(N) || !m_volume_d2v.allocate(N))
        return false;
    const double* T = m_density_T.data();
    const double* rho = m_density_values.data();
    const double T_min = *std::min_element(T, T + n);
    const double T_max = *std::max_element(T, T + n);
    const auto grid = [&](std::size_t j) { return T_min + static_cast<double>(j) * (T_max - T_min) / static_cast<double>(N - 1); };

    if (n == 2) {
        if (T[0] == T[1]) {
            MP_LOG(sink, mp::line_kind::error,
                   "ERROR: MediumPhysics: %s(%d): %s: both density points are at %g K: the linear volume law needs "
                   "two temperatures; the liquid is refused\n",
                   name().to_utf8().c_str(), T[0]);
            return false;
        }
        // v linear in T through the two points
        const double a = (1.0 / rho[0] - 1.0 / rho[1]) / (T[0] - T[1]);
        const double b = 1.0 / rho[1] - a * T[1];
        for (std::size_t j = 0; j < N; ++j) {
            m_volume_T[j] = grid(j);
            m_volume_v[j] = a * m_volume_T[j] + b;
            m_volume_dv[j] = a;
            m_volume_d2v[j] = 0.0;
        }
    } else {
        // Least squares of y = -ln(rho) by a parabola, in the scaled temperature
        // x = (T - T_mid) / T_half over the extreme temperatures, so that the normal equations are
        // as well conditioned for points 1 K apart at 300 K as for a table over 100 K:
        // y = c2 x^2 + c1 x + c0, normal equations M c = r from the sums of x^k and y x^k.
        const double T_mid = 0.5 * (T_min + T_max);
        const double T_half = 0.5 * (T_max - T_min);
        if (T_max - T_min < kMinimumRelativeSpread * std::fabs(T_max) && T_max > T_min) {
            MP_LOG(sink, mp::line_kind::error,
                   "ERROR: MediumPhysics: %s(%d): %s: the %d density points span only %g K at %g K, too close to "
                   "tell the density's slope; the liquid is refused\n",
                   name().to_utf8().c_str(), static_cast<int>(n), T_max - T_min, T_mid);
            return false;
        }
        const auto scaled = [&](double t) { return T_half > 0.0 ? (t - T_mid) / T_half : 0.0; };
        double S[5] = {0, 0, 0, 0, 0};
        double r[3] = {0, 0, 0};
        for (std::int32_t i = 0; i < n; ++i) {
            const double x = scaled(T[i]);
            const double y = -std::log(rho[i]);
            double xk = 1.0;
            for (int k = 0; k < 5; ++k) {
                S[k] += xk;
                if (k < 3) r[k] += y * xk;
                xk *= x;
            }
        }
        // Rows for (c2, c1, c0).
        const double m[3][3] = {{S[4], S[3], S[2]}, {S[3], S[2], S[1]}, {S[2], S[1], S[0]}};
        const double products[6] = {m[0][0] * m[1][1] * m[2][2], -m[0][0] * m[1][2] * m[2][1],
                                    -m[0][1] * m[1][0] * m[2][2], m[0][1] * m[1][2] * m[2][0],
                                    m[0][2] * m[1][0] * m[2][1],  -m[0][2] * m[1][1] * m[2][0]};
        double det = 0.0, largest = 0.0;
        for (double x : products) {
            det += x;
            largest = std::max(largest, std::fabs(x));
        }
        if (largest == 0.0 || std::fabs(det) / largest < kSingularRatio) {
            // Only one or two distinct temperatures: say which.
            std::vector<double> distinct(T, T + n);
            std::sort(distinct.begin(), distinct.end());
            distinct.erase(std::unique(distinct.begin(), distinct.end()), distinct.end());
            if (distinct.size() == 1)
                MP_LOG(sink, mp::line_kind::error,
                       "ERROR: MediumPhysics: %s(%d): %s: all %d density points are at %g K: the density fit needs "
                       "points at three temperatures (or two points at two); the liquid is refused\n",
                       name().to_utf8().c_str(), static_cast<int>(n), distinct[0]);
            else
                MP_LOG(sink, mp::line_kind::error,
                       "ERROR: MediumPhysics: %s(%d): %s: the %d density points lie at only two temperatures, %g and "
                       "%g K: the parabola of the density fit needs three (or give two points); the liquid is "
                       "refused\n",
                       name().to_utf8().c_str(), static_cast<int>(n), distinct.front(), distinct.back());
            return false;
        }
        // The explicit inverse: cofactors over the determinant.
        double inv[3][3];
        inv[0][0] = (m[1][1] * m[2][2] - m[1][2] * m[2][1]) / det;
        inv[0][1] = (m[0][2] * m[2][1] - m[0][1] * m[2][2]) / det;
        inv[0][2] = (m[0][1] * m[1][2] - m[0][2] * m[1][1]) / det;
        inv[1][0] = (m[1][2] * m[2][0] - m[1][0] * m[2][2]) / det;
        inv[1][1] = (m[0][0] * m[2][2] - m[0][2] * m[2][0]) / det;
        inv[1][2] = (m[0][2] * m[1][0] - m[0][0] * m[1][2]) / det;
        inv[2][0] = (m[1][0] * m[2][1] - m[1][1] * m[2][0]) / det;
        inv[2][1] = (m[0][1] * m[2][0] - m[0][0] * m[2][1]) / det;
        inv[2][2] = (m[0][0] * m[1][1] - m[0][1] * m[1][0]) / det;
        const double rhs[3] = {r[2], r[1], r[0]};
        double c[3];
        for (int i = 0; i < 3; ++i) c[i] = inv[i][0] * rhs[0] + inv[i][1] * rhs[1] + inv[i][2] * rhs[2];
        const double c2 = c[0], c1 = c[1], c0 = c[2];
        // v = 1 / rho = exp(y); with g = dy/dT = (dy/dx) / T_half: dv/dT = g v and
        // d2v/dT2 = (g^2 + d2y/dT2) v = (g^2 + 2 c2 / T_half^2) v.
        for (std::size_t j = 0; j < N; ++j) {
            const double t = grid(j);
            const double x = scaled(t);
            const double v = std::exp(c2 * x * x + c1 * x + c0);
            const double g = (2.0 * c2 * x + c1) / T_half;
            m_volume_T[j] = t;
            m_volume_v[j] = v;
            m_volume_dv[j] = g * v;
            m_volume_d2v[j] = (g * g + 2.0 * c2 / (T_half * T_half)) * v;
        }
    }
    const auto count = static_cast<std::int32_t>(N);
    m_volume.set_table(count, m_volume_T.data(), m_volume_v.data());
    m_dvolume_dT.set_table(count, m_volume_T.data(), m_volume_dv.data());
    m_d2volume_dT2.set_table(count, m_volume_T.data(), m_volume_d2v.data());
    note_volume_grid();
    return true;
}

void C_incompressible_liquid_substance::set_pressure_correction(bool on) noexcept {
    m_pressure_correction = on;
    m_cp_function = on ? &C_incompressible_liquid_substance::cp_corrected : &C_incompressible_liquid_substance::cp_plain;
    m_enthalpy_function =
        on ? &C_incompressible_liquid_substance::enthalpy_corrected : &C_incompressible_liquid_substance::enthalpy_plain;
}

double C_incompressible_liquid_substance::cp_corrected(double p, double T) const noexcept {
    // d(cp)/dp = -T d2v/dT2 at constant T
    return m_cp.value(T) - (p - m_correction_pressure) * T * m_d2volume_dT2.value(T);
}

double C_incompressible_liquid_substance::cp_plain(double, double T) const noexcept { return m_cp.value(T); }

double C_incompressible_liquid_substance::enthalpy_corrected(double p, double T) const noexcept {
    // dh/dp = v - T dv/dT at constant T
    return m_cp.integral(T) + (m_volume.value(T) - T * m_dvolume_dT.value(T)) * (p - m_correction_pressure);
}

double C_incompressible_liquid_substance::enthalpy_plain(double, double T) const noexcept { return m_cp.integral(T); }

double C_incompressible_liquid_substance::expansion_slope(double T) const noexcept {
    const c_1d_param& s = m_dvolume_dT;
    const std::int32_t n = s.size();
    if (n == 0) return s.constant();
    if (T < s.temperatures()[0] || T > s.temperatures()[n - 1]) return 0.0;
    return s.value(T);
}

void C_incompressible_liquid_substance::get_id(std::uint8_t* out) const noexcept {
    std::memcpy(out, identity().bytes.data(), 16);
}

double C_isotherm_cavitation_liquid_substance::dissolved_gas_ratio(const double* Y, const gas_components& G) noexcept {
    double r = 0.0;
    for (std::int32_t i = 0; i < G.size(); ++i) r += Y[1] / G[i]->molar_mass();
    return r;
}

double C_isotherm_cavitation_liquid_substance::mixture_sound_speed(double T, const double* Y,
                                                                   const gas_components& G) noexcept {
    return std::sqrt(kCl2 * Y[0] + kR * T * dissolved_gas_ratio(Y, G));
}

double C_isotherm_cavitation_liquid_substance::liquid_pressure_term(double q, double T, const double* Y,
                                                                    const gas_components& G) const noexcept {
    const double rho0 = 1.0 / get_reference_volume();  // through the operation table
    const double p0 = get_liquid_reference_pressure();
    const double A = kR * T * dissolved_gas_ratio(Y, G) / Y[0];
    return (q - (rho0 - p0 / kCl2) * A) / (A / kCl2 + 1.0);
}

double C_incompressible_liquid_substance::get_mixture_sound_speed(double T, const double* Y,
                                                                  const gas_components& G) const noexcept {
    return mixture_sound_speed(T, Y, G);
}

double C_incompressible_liquid_substance::get_mixture_pressure(double rho, double T, const double* Y,
                                                               const gas_components& G) const noexcept {
    const C_isotherm_cavitation_liquid_substance& self = *this;  // through the operation table
    const double rho0 = 1.0 / self.get_reference_volume();
    const double p0 = self.get_liquid_reference_pressure();
    return (kR * T * dissolved_gas_ratio(Y, G) + kCl2 * Y[0]) * rho + p0 - kCl2 * rho0;
}

double C_incompressible_liquid_substance::get_liquid_pressure_term(double q, double T, const double* Y,
                                                                   const gas_components& G) const noexcept {
    return liquid_pressure_term(q, T, Y, G);
}

double C_incompressible_liquid_substance::get_liquid_volume(double p, double) const noexcept {
    const C_isotherm_cavitation_liquid_substance& self = *this;
    const double rho0 = 1.0 / self.get_reference_volume();
    const double p0 = self.get_liquid_reference_pressure();
    return 1.0 / (rho0 + (p - p0) / kCl2);
}

void C_incompressible_liquid_substance::write(C_file_io& stream) const {
    stream.put<std::uint8_t>(0);
    write_base(stream);
    for (const c_1d_param* p : {&m_cp, &m_viscosity, &m_conductivity, &m_density, &m_volume, &m_dvolume_dT, &m_d2volume_dT2})
        p->write(stream);
    stream.put(m_density_point_count);
    const auto n = static_cast<std::size_t>(m_density_point_count);
    if (n > 0) {
        stream.write(m_density_T.data(), n);
        stream.write(m_density_values.data(), n);
    }
    stream.put(m_volume_table_size);
    const auto N = static_cast<std::size_t>(m_volume_table_size);
    // The volume arrays exist once a table was fitted; otherwise they are written as zeros.
    for (const auto* a : {&m_volume_T, &m_volume_v, &m_volume_dv, &m_volume_d2v}) {
        if (a->size() == N) {
            stream.write(a->data(), N);
        } else {
            for (std::size_t j = 0; j < N; ++j) stream.put(0.0);
        }
    }
    stream.put(m_scalar_a);
    stream.put(m_reference_temperature);
    stream.put(m_reference_pressure);
    stream.put(m_correction_pressure);
    stream.put<std::uint8_t>(1);
}

bool C_incompressible_liquid_substance::read(C_file_io& stream) {
    if (stream.get<std::uint8_t>() != 0) return false;
    if (!read_base(stream)) return false;
    for (c_1d_param* p : {&m_cp, &m_viscosity, &m_conductivity, &m_density, &m_volume, &m_dvolume_dT, &m_d2volume_dT2})
        if (!p->read(stream)) return false;
    if (!m_cp.has_integral()) m_cp.prepare_integral();  // h is cp's integral (a record may lack it)
    m_density_point_count = stream.get<std::int32_t>();
    if (m_density_point_count < 0) return false;
    if (m_density_point_count != 0) {
        const auto n = static_cast<std::size_t>(m_density_point_count);
        if (!mp::read_pooled_doubles(stream, m_density_T, n) || !mp::read_pooled_doubles(stream, m_density_values, n))
            return false;
    }
    m_volume_table_size = stream.get<std::int32_t>();
    if (m_volume_table_size < 0) return false;
    const auto N = static_cast<std::size_t>(m_volume_table_size);
    for (auto* a : {&m_volume_T, &m_volume_v, &m_volume_dv, &m_volume_d2v})
        if (!mp::read_pooled_doubles(stream, *a, N)) return false;
    m_scalar_a = stream.get<double>();
    m_reference_temperature = stream.get<double>();
    m_reference_pressure = stream.get<double>();
    m_correction_pressure = stream.get<double>();
    stream.get<std::uint8_t>();
    // A read-back liquid always has the corrections on, whatever the flag byte said.
    set_pressure_correction(true);
    note_volume_grid();
    return true;
}

// ---- non-Newtonian component --------------------------------------------------------------------

bool C_inc_non_newtonian_liquid_substance::init(I_non_newtonian_description& d, IHostMessageSink* sink) {
    if (!C_incompressible_liquid_substance::init(d, sink)) return false;
    m_law = build_nn_law(d, name(), sink);
    if (!m_law) return false;
    m_law_code = static_cast<nn_law>(d.get_viscosity_law());
    return true;
}

void C_inc_non_newtonian_liquid_substance::write(C_file_io& stream) const {
    C_incompressible_liquid_substance::write(stream);
    stream.put(static_cast<std::int32_t>(m_law_code));
    m_law->write(stream);
}

bool C_inc_non_newtonian_liquid_substance::read(C_file_io& stream) {
    if (!C_incompressible_liquid_substance::read(stream)) return false;
    m_law_code = static_cast<nn_law>(stream.get<std::int32_t>());
    m_law = make_nn_law(m_law_code);
    return m_law && m_law->read(stream);
}
