#include "liquid/c_nn_viscosity_models.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "file_io/c_file_io/c_file_io.h"
#include "factory/mp_log.h"
#include "framework/c_substance.h"
#include "medium_physics/description.h"

namespace {

bool leading_zero(C_file_io& stream) { return stream.get<std::uint8_t>() == 0; }

}  // namespace

std::unique_ptr<INonNewtonLiquidModel> make_nn_law(nn_law code) {
    switch (code) {
        case nn_law::carreau: return std::make_unique<CCarreauModel>();
        case nn_law::cross_wlf: return std::make_unique<CCrossWLFModel>();
        case nn_law::herschel_bulkley: return std::make_unique<CHershelBulkleyModel>();
        case nn_law::power_law: return std::make_unique<CPowerLawModel>();
        case nn_law::polynomial_regression: return std::make_unique<CPolynomialRegressionModel>();
        case nn_law::high_order_regression: return std::make_unique<CHightOrderPRModel>();
    }
    return nullptr;
}

double nn::shear_factor(double g, double n) noexcept {
    double f = std::pow(g, n - 1.0);
    if (!std::isfinite(f)) f = n > 1.0 ? kShearFactorCeiling : kShearFactorFloor;
    return std::clamp(f, kShearFactorFloor, kShearFactorCeiling);
}

// ---- Carreau ------------------------------------------------------------------------------------

double CCarreauModel::viscosity(double, double T, double g) const noexcept {
    const double mu_inf = mu_infinity.value(T);
    const double lg = time_constant.value(T) * g;
    return (mu_zero.value(T) - mu_inf) * std::pow(1.0 + lg * lg, (power_index - 1.0) / 2.0) + mu_inf;
}

bool CCarreauModel::read(C_file_io& s) {
    if (!leading_zero(s)) return false;
    if (!mu_zero.read(s) || !mu_infinity.read(s) || !time_constant.read(s)) return false;
    power_index = s.get<double>();
    return true;
}

void CCarreauModel::write(C_file_io& s) const {
    s.put<std::uint8_t>(0);
    mu_zero.write(s);
    mu_infinity.write(s);
    time_constant.write(s);
    s.put(power_index);
}

// ---- Cross-WLF ----------------------------------------------------------------------------------

double CCrossWLFModel::viscosity(double p, double T, double g) const noexcept {
    const double T_star = D2 + D3 * p;
    // Below T* the zero-shear viscosity is held at D1, not extrapolated.
    const double mu0 = T >= T_star ? D1 * std::exp(-A1 * (T - T_star) / (A2 + D3 * p + (T - T_star))) : D1;
    return mu0 / (1.0 + std::pow(mu0 * g / tau_star, 1.0 - power_index));
}

bool CCrossWLFModel::read(C_file_io& s) {
    if (!leading_zero(s)) return false;
    for (double* x : {&A1, &A2, &D1, &D2, &D3, &tau_star, &power_index}) *x = s.get<double>();
    return true;
}

void CCrossWLFModel::write(C_file_io& s) const {
    s.put<std::uint8_t>(0);
    for (double x : {A1, A2, D1, D2, D3, tau_star, power_index}) s.put(x);
}

// ---- Herschel-Bulkley ---------------------------------------------------------------------------

double CHershelBulkleyModel::viscosity(double, double T, double g) const noexcept {
    const double k = consistency.value(T);
    // As g goes to 0 the yield term grows without bound: the cap bounds it.
    return std::min(nn::kHerschelBulkleyCap * k, k * nn::shear_factor(g, power_index) + yield_stress.value(T) / g);
}

bool CHershelBulkleyModel::read(C_file_io& s) {
    if (!leading_zero(s)) return false;
    if (!consistency.read(s) || !yield_stress.read(s)) return false;
    power_index = s.get<double>();
    return true;
}

void CHershelBulkleyModel::write(C_file_io& s) const {
    s.put<std::uint8_t>(0);
    consistency.write(s);
    yield_stress.write(s);
    s.put(power_index);
}

// ---- power law ----------------------------------------------------------------------------------

double CPowerLawModel::viscosity(double, double T, double g) const noexcept {
    const double n = power_index;
    double mu = consistency.value(T) * nn::shear_factor(g, n);
    if (use_low_shear_limit) {
        const double a = low_shear_limit.value(T);
        if (n < 1.0) mu = std::min(a, mu);
        else if (n > 1.0) mu = std::max(a, mu);
    }
    if (use_high_shear_limit) {
        const double b = high_shear_limit.value(T);
        if (n < 1.0) mu = std::max(b, mu);
        else if (n > 1.0) mu = std::min(b, mu);
    }
    return mu;
}

bool CPowerLawModel::read(C_file_io& s) {
    if (!leading_zero(s)) return false;
    if (!consistency.read(s) || !low_shear_limit.read(s) || !high_shear_limit.read(s)) return false;
    power_index = s.get<double>();
    use_low_shear_limit = s.get<std::uint8_t>() != 0;
    use_high_shear_limit = s.get<std::uint8_t>() != 0;
    return true;
}

void CPowerLawModel::write(C_file_io& s) const {
    s.put<std::uint8_t>(0);
    consistency.write(s);
    low_shear_limit.write(s);
    high_shear_limit.write(s);
    s.put(power_index);
    s.put<std::uint8_t>(use_low_shear_limit ? 1 : 0);
    s.put<std::uint8_t>(use_high_shear_limit ? 1 : 0);
}

// ---- polynomial regression ----------------------------------------------------------------------

double CPolynomialRegressionModel::viscosity(double, double T, double g) const noexcept {
    const double x = use_min_shear_rate ? std::max(min_shear_rate, g) : g;
    const double L = std::log(x);
    return std::exp(a[0] + a[1] * L + a[2] * L * L + a[3] * T + a[4] * T * L + a[5] * T * T);
}

bool CPolynomialRegressionModel::read(C_file_io& s) {
    if (!leading_zero(s)) return false;
    s.read(a, 6);
    use_min_shear_rate = s.get<std::uint8_t>() != 0;
    min_shear_rate = s.get<double>();
    return true;
}

void CPolynomialRegressionModel::write(C_file_io& s) const {
    s.put<std::uint8_t>(0);
    s.write(a, 6);
    s.put<std::uint8_t>(use_min_shear_rate ? 1 : 0);
    s.put(min_shear_rate);
}

// ---- high-order regression ----------------------------------------------------------------------

bool CHightOrderPRModel::prepare() {
    m_row_start.clear();
    if (row_length.size() != row_T.size()) return false;
    std::size_t at = 0;
    for (const std::int32_t n : row_length) {
        if (n <= 0) return false;
        m_row_start.push_back(at);
        at += static_cast<std::size_t>(n);
    }
    return at == row_shear.size() && at == row_mu.size();
}

double CHightOrderPRModel::row_value(std::size_t row, double g) const noexcept {
    const std::size_t start = m_row_start[row];
    const auto n = static_cast<std::int32_t>(row_length[row]);
    const double* x = row_shear.data() + start;
    const double* y = row_mu.data() + start;
    // Held at the row's end values outside its shear range.
    if (g <= x[0]) return y[0];
    if (g >= x[n - 1]) return y[n - 1];
    if (std::isnan(g)) return g;
    const auto i = static_cast<std::size_t>(mp::interval_search(g, x, n));
    return y[i] + (y[i + 1] - y[i]) / (x[i + 1] - x[i]) * (g - x[i]);
}

double CHightOrderPRModel::viscosity(double, double T, double g) const noexcept {
    if (mode == 1 || mode == 2) {
        // Keep the shear rate where the regression in L = ln g is monotonic.
        const double c1 = a[1] + a[4] * T + a[7] * T * T;
        const double c2 = a[2] + a[5] * T + a[8] * T * T;
        double g_low = 0.0;
        double g_high = std::numeric_limits<double>::max();
        if (mode == 2) {
            const double disc = c2 * c2 - 3.0 * a[9] * c1;
            if (disc > 0.0 && a[9] > 0.0) {
                // the two stationary points of the cubic in L
                const double r = std::sqrt(disc);
                const double L1 = -(c2 + r) / (3.0 * a[9]);
                const double L2 = (r - c2) / (3.0 * a[9]);
                g_low = std::exp(std::min(L1, L2));
                g_high = std::exp(std::max(L1, L2));
            }
        } else if (c2 < 0.0) {
            g_low = std::exp(-0.5 * c1 / c2);
            if (!(g_low > 0.0)) g_low = 0.0;
        } else if (c2 > 0.0) {
            g_high = std::min(std::exp(-0.5 * c1 / c2), std::numeric_limits<double>::max());
        }
        g = std::min(std::max(g, g_low), g_high);
    }
    if (use_shear_cap) g = std::min(g, shear_cap);
    if (mode == 0) {
        const std::size_t K = m_row_start.size();
        if (K == 0) return 0.0;
        if (K == 1 || T <= row_T[0]) return row_value(0, g);
        if (T >= row_T[K - 1]) return row_value(K - 1, g);
        if (std::isnan(T)) return T;
        const auto k = static_cast<std::size_t>(mp::interval_search(T, row_T.data(), static_cast<std::int32_t>(K)));
        const double lo = row_value(k, g), hi = row_value(k + 1, g);
        return lo + (hi - lo) / (row_T[k + 1] - row_T[k]) * (T - row_T[k]);
    }
    const double L = std::log(g);
    if (!row_T.empty()) T = std::clamp(T, row_T.front(), row_T.back());
    const double P = a[0] + a[1] * L + a[2] * L * L + a[3] * T + a[4] * T * L + a[5] * T * L * L + a[6] * T * T +
                     a[7] * T * T * L + a[8] * T * T * L * L + a[9] * L * L * L;
    return P < nn::kRegressionExponentLimit ? std::exp(P) : nn::kRegressionCeiling;
}

bool CHightOrderPRModel::read(C_file_io& s) {
    if (!leading_zero(s)) return false;
    s.read(a, 10);
    mode = s.get<std::int32_t>();
    use_shear_cap = s.get<std::uint8_t>() != 0;
    shear_cap = s.get<double>();
    const auto K = s.get<std::int32_t>();
    if (K < 0) return false;
    mp::read_in_pieces(s, row_T, static_cast<std::size_t>(K));
    mp::read_in_pieces(s, row_length, static_cast<std::size_t>(K));
    std::size_t total = 0;
    for (const std::int32_t n : row_length) {
        if (n <= 0) return false;
        total += static_cast<std::size_t>(n);
    }
    mp::read_in_pieces(s, row_shear, total);
    mp::read_in_pieces(s, row_mu, total);
    return prepare();
}

void CHightOrderPRModel::write(C_file_io& s) const {
    s.put<std::uint8_t>(0);
    s.write(a, 10);
    s.put(mode);
    s.put<std::uint8_t>(use_shear_cap ? 1 : 0);
    s.put(shear_cap);
    s.put(static_cast<std::int32_t>(row_T.size()));
    s.write(row_T.data(), row_T.size());
    s.write(row_length.data(), row_length.size());
    s.write(row_shear.data(), row_shear.size());
    s.write(row_mu.data(), row_mu.size());
}

// ---- from a description -------------------------------------------------------------------------

namespace {

std::vector<double> array_of(I_non_newtonian_description& d, const char* key) {
    host_shared_array<double> a;
    d.get_law_array(key, a);
    return {a.begin(), a.end()};
}

}  // namespace

std::unique_ptr<INonNewtonLiquidModel> build_nn_law(I_non_newtonian_description& d, const CHostString& substance,
                                                    IHostMessageSink* sink) {
    const auto code = static_cast<nn_law>(d.get_viscosity_law());
    auto law = make_nn_law(code);
    if (!law) {
        MP_LOG(sink, mp::line_kind::error, "ERROR: MediumPhysics: %s(%d): %s: the description names no viscosity law\n",
               substance.to_utf8().c_str());
        return nullptr;
    }
    const auto number = [&](const char* key) { return d.get_law_number(key); };
    // A property of T, with the checks and the ERROR line of every material property.
    const auto property_of = [&](const char* key, c_1d_param& out) {
        host_property p;
        d.get_law_property(key, p);
        return param_from_host(p, out, substance, key, sink);
    };
    bool ok = true;
    switch (code) {
        case nn_law::carreau: {
            auto& m = static_cast<CCarreauModel&>(*law);
            ok = property_of("mu_zero", m.mu_zero) && property_of("mu_infinity", m.mu_infinity) &&
                 property_of("time_constant", m.time_constant);
            m.power_index = number("power_index");
            break;
        }
        case nn_law::cross_wlf: {
            auto& m = static_cast<CCrossWLFModel&>(*law);
            m.A1 = number("A1");
            m.A2 = number("A2");
            m.D1 = number("D1");
            m.D2 = number("D2");
            m.D3 = number("D3");
            m.tau_star = number("tau_star");
            m.power_index = number("power_index");
            break;
        }
        case nn_law::herschel_bulkley: {
            auto& m = static_cast<CHershelBulkleyModel&>(*law);
            ok = property_of("consistency", m.consistency) && property_of("yield_stress", m.yield_stress);
            m.power_index = number("power_index");
            break;
        }
        case nn_law::power_law: {
            auto& m = static_cast<CPowerLawModel&>(*law);
            ok = property_of("consistency", m.consistency) && property_of("low_shear_limit", m.low_shear_limit) &&
                 property_of("high_shear_limit", m.high_shear_limit);
            m.power_index = number("power_index");
            m.use_low_shear_limit = number("use_low_shear_limit") != 0.0;
            m.use_high_shear_limit = number("use_high_shear_limit") != 0.0;
            break;
        }
        case nn_law::polynomial_regression: {
            auto& m = static_cast<CPolynomialRegressionModel&>(*law);
            const auto c = array_of(d, "coefficients");
            ok = c.size() == 6;
            if (ok) std::copy(c.begin(), c.end(), m.a);
            m.use_min_shear_rate = number("use_min_shear_rate") != 0.0;
            m.min_shear_rate = number("min_shear_rate");
            break;
        }
        case nn_law::high_order_regression: {
            auto& m = static_cast<CHightOrderPRModel&>(*law);
            const auto c = array_of(d, "coefficients");
            ok = c.size() == 10;
            if (ok) std::copy(c.begin(), c.end(), m.a);
            m.mode = static_cast<std::int32_t>(number("mode"));
            m.use_shear_cap = number("use_shear_cap") != 0.0;
            m.shear_cap = number("shear_cap");
            m.row_T = array_of(d, "row_T");
            for (const double n : array_of(d, "row_length")) m.row_length.push_back(static_cast<std::int32_t>(n));
            m.row_shear = array_of(d, "row_shear");
            m.row_mu = array_of(d, "row_mu");
            ok = ok && m.prepare() && (m.mode != 0 || !m.row_T.empty());
            break;
        }
    }
    if (!ok) {
        MP_LOG(sink, mp::line_kind::error,
               "ERROR: MediumPhysics: %s(%d): %s: the viscosity law's parameters are incomplete or its table is "
               "inconsistent\n",
               substance.to_utf8().c_str());
        return nullptr;
    }
    return law;
}
