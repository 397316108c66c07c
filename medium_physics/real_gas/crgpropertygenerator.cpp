#include "real_gas/crgpropertygenerator.h"

#include <algorithm>
#include <cmath>

#include "file_io/c_file_io/c_file_io.h"
#include "factory/mp_log.h"
#include "factory/mp_settings.h"
#include "real_gas/polynomial_roots.h"

namespace {

// Universal gas constant, J/(mol K), as everywhere in the library.
constexpr double kUniversalR = 8.3144;
// |c| below this takes the c -> 0 limit of the attraction term: ln(v/(v+c))/c would lose every
// digit to cancellation.
constexpr double kSmallC = 1e-8;
// Below this reduced pressure the volume roots are not taken from the cubic, whose vapour root
// s = Tr/Pr outgrows the other two by eight orders and more: the liquid and middle roots come from
// the cubic's zero-pressure limit, the quadratic, and the vapour root from its own iteration.
constexpr double kZeroPr = 1e-8;
// Steps of the vapour-root iteration v = b + Tr/(Pr + Tr a/(v (v + c))) from v = b + Tr/Pr: it
// contracts by about 2 a Pr/Tr (below 1e-6 wherever it is used), so the second step is already
// exact to rounding.
constexpr int kVapourRootSteps = 3;
// Reduced temperatures within this of 1 are the critical point itself.
constexpr double kCriticalTr = 1e-8;
// Above Tr = 1 + this there is no saturation.
constexpr double kSupercriticalTr = 1.00000001;
// The bisection's lowest pressure, as a fraction of Pc: the low-temperature saturation pressures
// underflow the cubic's scale below it.
constexpr double kBinodalFloorPr = 1.00001e-8;
// Equal-area residual relative to the rectangle (v_g - v_l)*P at which the bisection stops, and
// the relative change of P at which it has nothing left to gain.
constexpr double kBinodalRelTol = 1e-10;
// Ratio c/vr below which the attraction logarithm and its c-derivatives use their power series:
// 13 terms leave an error below 0.1^13.
constexpr double kSeriesX = 0.1;
constexpr int kSeriesTerms = 13;
// Reference state of the ideal-gas entropy.
constexpr double kEntropyReferenceT = 298.15;   // K
constexpr double kEntropyReferenceP = 101325.0;  // Pa

// L = ln(1 + c/v)/c and its first and second derivatives with respect to c.
void attraction_log(double v, double c, double& L, double& Lc, double& Lcc) noexcept {
    const double x = c / v;
    if (std::fabs(x) < kSeriesX) {
        // L = (1/v) sum_k (-x)^k/(k+1)
        L = 0.0;
        Lc = 0.0;
        Lcc = 0.0;
        double xk = 1.0;  // (-x)^k
        for (int k = 0; k < kSeriesTerms; ++k) {
            L += xk / (k + 1);
            if (k + 1 < kSeriesTerms) Lc += (k + 1) * xk * -1.0 / (k + 2);
            if (k + 2 < kSeriesTerms) Lcc += (k + 1) * (k + 2) * xk / (k + 3);
            xk *= -x;
        }
        L /= v;
        Lc /= v * v;
        Lcc /= v * v * v;
        return;
    }
    const double g = std::log1p(x);
    const double g1 = 1.0 / (v + c);
    const double g2 = -g1 * g1;
    L = g / c;
    Lc = g1 / c - g / (c * c);
    Lcc = g2 / c - 2.0 * g1 / (c * c) + 2.0 * g / (c * c * c);
}

}  // namespace

CRGPropertyGenerator::CRGPropertyGenerator(std::shared_ptr<IHostMessageSink> sink) : m_sink(std::move(sink)) {}

void CRGPropertyGenerator::set_substance(double Tc_K, double Pc_Pa, double M_kg_per_mol, double Zc, double omega,
                                         std::int32_t selector) {
    m_eos.Tc = Tc_K;
    m_eos.Pc = Pc_Pa;
    m_eos.Zc = Zc;
    m_eos.omega = omega;
    m_eos.selector = selector;
    m_eos.vscale = kUniversalR / M_kg_per_mol * Tc_K / Pc_Pa;
    RKp_calc(Zc, m_eos.Omega_a, m_eos.Omega_b, m_eos.eps);
}

void CRGPropertyGenerator::set_multipliers(double alpha, double beta, double gamma) noexcept {
    m_eos.multiplier[0] = alpha;
    m_eos.multiplier[1] = beta;
    m_eos.multiplier[2] = gamma;
}

void CRGPropertyGenerator::set_multiplier_derivatives(const double d1[3], const double d2[3]) noexcept {
    for (int k = 0; k < 3; ++k) {
        m_eos.multiplier_d1[k] = d1[k];
        m_eos.multiplier_d2[k] = d2[k];
    }
}

bool CRGPropertyGenerator::set_tables(double Tr0, double dTr, std::int32_t n, const double* alpha, const double* beta,
                                      const double* gamma, const double d1[3], const double d2[3]) {
    if (n < 2 || !(dTr > 0.0)) return false;
    m_eos.Tr0 = Tr0;
    m_eos.dTr = dTr;
    m_eos.N = n;
    const double* src[3] = {alpha, beta, gamma};
    for (int k = 0; k < 3; ++k) {
        m_eos.table[k].assign(src[k], src[k] + n);
        m_eos.first_d1[k] = d1[k];
        m_eos.first_d2[k] = d2[k];
    }
    return true;
}

bool CRGPropertyGenerator::set_beta_above_critical(double dTr2, std::int32_t n2, const double* beta, double last_d1,
                                                   double last_d2) {
    if (n2 < 2 || !(dTr2 > 0.0)) return false;
    m_eos.beta_variant_2 = true;
    m_eos.dTr2 = dTr2;
    m_eos.N2 = n2;
    m_eos.beta2.assign(beta, beta + n2);
    m_eos.beta2_last_d1 = last_d1;
    m_eos.beta2_last_d2 = last_d2;
    return true;
}

void CRGPropertyGenerator::set_ideal_gas_cp(const c_1d_param& cp0) {
    m_cp0 = cp0;
    if (m_cp0.size() > 0 && !m_cp0.has_integral()) m_cp0.prepare_integral();
    m_has_cp0 = true;
    // cumulative integral of cp0/T over the table from its first point (piecewise linear cp0 has
    // the closed form (v_i - k t_i) ln(T/t_i) + k (T - t_i) on each interval)
    const std::int32_t n = m_cp0.size();
    m_s0_nodes.assign(static_cast<std::size_t>(std::max(n, 0)), 0.0);
    const double* t = m_cp0.temperatures();
    const double* v = m_cp0.values();
    for (std::int32_t i = 1; i < n; ++i) {
        const double k = (v[i] - v[i - 1]) / (t[i] - t[i - 1]);
        m_s0_nodes[static_cast<std::size_t>(i)] = m_s0_nodes[static_cast<std::size_t>(i - 1)] +
                                                 (v[i - 1] - k * t[i - 1]) * std::log(t[i] / t[i - 1]) +
                                                 k * (t[i] - t[i - 1]);
    }
}

double CRGPropertyGenerator::gas_constant() const noexcept {
    return m_eos.Tc > 0.0 ? m_eos.Pc * m_eos.vscale / m_eos.Tc : 0.0;
}

void CRGPropertyGenerator::RKp_calc(double Zc, double& Omega_a, double& Omega_b, double& eps) const noexcept {
    double r[3];
    const int n = mp::roots::solve_cubic(6.0 * Zc - 1.0, 3.0 * Zc * (4.0 * Zc - 1.0), (8.0 * Zc - 3.0) * Zc * Zc, r);
    eps = r[n - 1];
    Omega_b = eps - (1.0 - 3.0 * Zc);
    Omega_a = Zc * Zc * Zc / Omega_b;
    if (Omega_b < 0.0 || Omega_a < 0.0 || !std::isfinite(Omega_a)) {
        MP_LOG(m_sink.get(), mp::line_kind::error, "ERROR: MediumPhysics: %s(%d): RKp_calc\n");
        const double cbrt2m1 = std::cbrt(2.0) - 1.0;
        Omega_a = (1.0 / 9.0) / cbrt2m1;
        Omega_b = cbrt2m1 / 3.0;
        eps = Omega_b;
    }
}

// One tabulated function k (0 alpha, 1 beta, 2 gamma) for Tr <= 1 or below the table.
double CRGPropertyGenerator::tabulated(int k, double Tr, double& d1, double& d2) const noexcept {
    const auto& f = m_eos.table[k];
    const std::int32_t n = m_eos.N;
    if (n < 2) {
        d1 = d2 = 0.0;
        return 1.0;
    }
    if (Tr < m_eos.Tr0) {
        const double d = Tr - m_eos.Tr0;
        d1 = m_eos.first_d1[k] + m_eos.first_d2[k] * d;
        d2 = m_eos.first_d2[k];
        return f[0] + m_eos.first_d1[k] * d + 0.5 * m_eos.first_d2[k] * d * d;
    }
    const std::int32_t i = std::clamp(static_cast<std::int32_t>(std::floor((Tr - m_eos.Tr0) / m_eos.dTr)), 0, n - 2);
    const double t = (Tr - m_eos.Tr0 - i * m_eos.dTr) / m_eos.dTr;
    const auto ui = static_cast<std::size_t>(i);
    d1 = (f[ui + 1] - f[ui]) / m_eos.dTr;
    d2 = 0.0;
    return (1.0 - t) * f[ui] + t * f[ui + 1];
}

rg_temperature_functions CRGPropertyGenerator::temperature_functions(double Tr) const noexcept {
    rg_temperature_functions tf;
    for (int k = 0; k < 3; ++k) tf.f[k] = 1.0;
    const double w = m_eos.omega;
    const auto classic = [&] {
        tf.f[0] = std::pow(Tr, -1.5);
        tf.d1[0] = -1.5 * tf.f[0] / Tr;
        tf.d2[0] = 3.75 * tf.f[0] / (Tr * Tr);
    };
    switch (m_eos.selector) {
    case -5:
        for (int k = 0; k < 3; ++k) {
            tf.f[k] = m_eos.multiplier[k];
            tf.d1[k] = m_eos.multiplier_d1[k];
            tf.d2[k] = m_eos.multiplier_d2[k];
        }
        break;
    case -4:
        tf.f[0] = m_eos.multiplier[0];
        tf.d1[0] = m_eos.multiplier_d1[0];
        tf.d2[0] = m_eos.multiplier_d2[0];
        break;
    case 1: {
        const double k1 = 1.57 + 1.62 * w;
        tf.f[0] = k1 * (1.0 / Tr - 1.0) + 1.0;
        tf.d1[0] = -k1 / (Tr * Tr);
        tf.d2[0] = 2.0 * k1 / (Tr * Tr * Tr);
        break;
    }
    case 2: {
        const double k2 = 0.9 + 1.21 * w;
        const double p = std::pow(Tr, -1.5);
        tf.f[0] = k2 * (p - 1.0) + 1.0;
        tf.d1[0] = -1.5 * k2 * p / Tr;
        tf.d2[0] = 3.75 * k2 * p / (Tr * Tr);
        break;
    }
    case 3: {
        // alpha = u^2/Tr with u = 1 + m (1 - sqrt Tr)
        const double m = 0.48 + 1.574 * w - 0.176 * w * w;
        const double sq = std::sqrt(Tr);
        const double u = 1.0 + m * (1.0 - sq);
        const double u1 = -0.5 * m / sq;
        const double u2 = 0.25 * m / (sq * Tr);
        tf.f[0] = u * u / Tr;
        tf.d1[0] = 2.0 * u * u1 / Tr - u * u / (Tr * Tr);
        tf.d2[0] = (2.0 * u1 * u1 + 2.0 * u * u2) / Tr - 4.0 * u * u1 / (Tr * Tr) + 2.0 * u * u / (Tr * Tr * Tr);
        break;
    }
    case 4:
        if (Tr <= 1.0) tf.f[0] = tabulated(0, Tr, tf.d1[0], tf.d2[0]);
        else classic();
        break;
    case 5:
        if (Tr <= 1.0) {
            for (int k = 0; k < 3; ++k) tf.f[k] = tabulated(k, Tr, tf.d1[k], tf.d2[k]);
        } else {
            classic();
            if (m_eos.beta_variant_2 && m_eos.N2 >= 2) {
                const auto& b = m_eos.beta2;
                const std::int32_t n2 = m_eos.N2;
                const double end = 1.0 + (n2 - 1) * m_eos.dTr2;
                if (Tr < end) {
                    const std::int32_t i =
                        std::clamp(static_cast<std::int32_t>(std::floor((Tr - 1.0) / m_eos.dTr2)), 0, n2 - 2);
                    const double t = (Tr - 1.0 - i * m_eos.dTr2) / m_eos.dTr2;
                    const auto ui = static_cast<std::size_t>(i);
                    tf.f[1] = (1.0 - t) * b[ui] + t * b[ui + 1];
                    tf.d1[1] = (b[ui + 1] - b[ui]) / m_eos.dTr2;
                } else {
                    const double d = Tr - end;
                    tf.f[1] = b.back() + m_eos.beta2_last_d1 * d + 0.5 * m_eos.beta2_last_d2 * d * d;
                    tf.d1[1] = m_eos.beta2_last_d1 + m_eos.beta2_last_d2 * d;
                    tf.d2[1] = m_eos.beta2_last_d2;
                }
            }
        }
        break;
    default:
        classic();
        break;
    }
    return tf;
}

void CRGPropertyGenerator::temperature_functions(double Tr, double& alpha, double& beta, double& gamma) const noexcept {
    const rg_temperature_functions tf = temperature_functions(Tr);
    alpha = tf.f[0];
    beta = tf.f[1];
    gamma = tf.f[2];
}

double CRGPropertyGenerator::pressure(double vr, double Tr) const noexcept {
    double al, be, ga;
    temperature_functions(Tr, al, be, ga);
    const double a = al * m_eos.Omega_a, b = be * m_eos.Omega_b, c = ga * m_eos.eps;
    return Tr * (1.0 / (vr - b) - a / (vr * (vr + c)));
}

double CRGPropertyGenerator::pressure_slope(double vr, double Tr) const noexcept {
    double al, be, ga;
    temperature_functions(Tr, al, be, ga);
    const double a = al * m_eos.Omega_a, b = be * m_eos.Omega_b, c = ga * m_eos.eps;
    const double vb = vr - b;
    if (std::fabs(c) > kSmallC) return -Tr * (1.0 / (vb * vb) - (a / c) * (1.0 / (vr * vr) - 1.0 / ((vr + c) * (vr + c))));
    const double vc = vr + c;
    return -Tr * (1.0 / (vb * vb) - 2.0 * a / (vc * vc * vc));
}

std::int32_t CRGPropertyGenerator::RK_Phi_PrTr(double Pr, double Tr, double roots[3]) const noexcept {
    double al, be, ga;
    temperature_functions(Tr, al, be, ga);
    const double a = al * m_eos.Omega_a, b = be * m_eos.Omega_b, c = ga * m_eos.eps;
    const double s = Tr / Pr;
    double r[3];
    int n;
    const bool cubic = std::fabs(Pr) > kZeroPr;
    if (cubic) n = mp::roots::solve_cubic(c - b - s, -((c - a) * s + c * b), -a * b * s, r);
    else n = mp::roots::solve_quadratic(c - a, a * b, r);
    // the solvers give their roots ascending, so the kept ones stay sorted
    int kept = 0;
    for (int i = 0; i < n; ++i)
        if (r[i] > b) r[kept++] = r[i];
    if (!cubic && Pr > 0.0) {
        // The quadratic is the isotherm at zero pressure: it has the liquid and middle roots where
        // the isotherm dips below zero (a double root where it touches) and none where it stays
        // above, and never the vapour root, which a small positive pressure brings in from infinity.
        double v = b + s;
        for (int k = 0; k < kVapourRootSteps; ++k) v = b + Tr / (Pr + Tr * a / (v * (v + c)));
        if (kept == 0) {
            roots[0] = v;
            return 1;
        }
        roots[0] = r[0];
        roots[1] = r[kept - 1];
        roots[2] = v;
        return 3;
    }
    if (kept == 0) {
        MP_LOG(m_sink.get(), mp::line_kind::error, "ERROR: MediumPhysics: %s(%d): RK_Phi_PrTr\n");
        roots[0] = s;
        return 1;
    }
    if (kept == 2 && Pr >= kZeroPr) {
        // a tangent isotherm: the root where the isotherm is flatter is the double one
        roots[0] = r[0];
        roots[1] = std::fabs(pressure_slope(r[1], Tr)) >= std::fabs(pressure_slope(r[0], Tr)) ? r[0] : r[1];
        roots[2] = r[1];
        return 3;
    }
    std::copy(r, r + kept, roots);
    return kept;
}

double CRGPropertyGenerator::work_integral(double Tr, double vr1, double vr2) const noexcept {
    double al, be, ga;
    temperature_functions(Tr, al, be, ga);
    const double a = al * m_eos.Omega_a, b = be * m_eos.Omega_b, c = ga * m_eos.eps;
    if (std::fabs(c) > kSmallC) {
        const auto I = [&](double v) { return std::log(v - b) - (a / c) * std::log(v / (v + c)); };
        return Tr * (I(vr2) - I(vr1));
    }
    // The c ~ 0 branch keeps only the attraction part a/v: the saturation line of c ~ 0 models
    // was fitted with it, so adding ln((vr2 - b)/(vr1 - b)) here would move their pressures.
    return Tr * (a / vr2 - a / vr1);
}

bool CRGPropertyGenerator::RK_spinodal(double Tr, double vr[2], double Pr[2]) const noexcept {
    if (Tr > 1.0) return false;
    if (Tr == 1.0) {
        vr[0] = vr[1] = m_eos.Zc;
        Pr[0] = Pr[1] = 1.0;
        return true;
    }
    double al, be, ga;
    temperature_functions(Tr, al, be, ga);
    const double a = al * m_eos.Omega_a, b = be * m_eos.Omega_b, c = ga * m_eos.eps;
    // dPr/dvr = 0  <=>  a (2v + c)(v - b)^2 = v^2 (v + c)^2, multiplied out
    double r[4];
    const int n = mp::roots::solve_quartic(2.0 * c - 2.0 * a, c * c - a * c + 4.0 * a * b, -2.0 * a * b * (b - c),
                                           -a * b * b * c, r);
    double v[4], p[4];
    int kept = 0;
    for (int i = 0; i < n; ++i) {
        if (r[i] > b) {
            v[kept] = r[i];
            p[kept] = pressure(r[i], Tr);
            ++kept;
        }
    }
    if (kept != 2) {
        MP_LOG(m_sink.get(), mp::line_kind::error, "ERROR: MediumPhysics: %s(%d): ***RK_spinodal***** n=\t%d\n", kept);
        return false;
    }
    const int lo = p[0] <= p[1] ? 0 : 1;
    vr[0] = v[lo];
    Pr[0] = p[lo];
    vr[1] = v[1 - lo];
    Pr[1] = p[1 - lo];
    return true;
}

void CRGPropertyGenerator::binodal_pont(double T, double& Psat, double& v_liquid, double& v_vapour) const noexcept {
    Psat = v_liquid = v_vapour = 0.0;
    const double Tr = T / m_eos.Tc;
    const double Pc = m_eos.Pc, vs = m_eos.vscale;
    if (Tr > kSupercriticalTr) {
        MP_LOG(m_sink.get(), mp::line_kind::warning, "Warning : MediumPhysics: %s(%d): binodal_pont  Tr=\t%g\n", Tr);
        return;
    }
    if (std::fabs(Tr - 1.0) <= kCriticalTr) {
        Psat = Pc;
        v_liquid = v_vapour = m_eos.Zc * vs;
        return;
    }
    double vspin[2] = {0.0, 0.0}, pspin[2] = {0.0, 0.0};
    RK_spinodal(Tr, vspin, pspin);
    double lo = std::max(Pc * pspin[0], 0.0);
    double hi = Pc * pspin[1];
    const double floor = Pc * kBinodalFloorPr;
    double P_prev = 0.0;
    for (int it = 0;; ++it) {
        if (it == m_binodal_max_iter) {
            const double rectangle = (v_vapour - v_liquid) * Psat;
            const double f = rectangle - Pc * vs * work_integral(Tr, v_liquid / vs, v_vapour / vs);
            MP_LOG(m_sink.get(), mp::line_kind::error,
                   "ERROR: MediumPhysics: %s(%d): binodal_pont: accuracy don't achieved Tr=\t%g\tP=\t%g\teps=\t%g\n",
                   Tr, Psat, rectangle != 0.0 ? f / rectangle : f);
            return;
        }
        const double P = std::max(floor, 0.5 * (lo + hi));
        double r[3];
        if (RK_Phi_PrTr(P / Pc, Tr, r) != 3) {
            MP_LOG(m_sink.get(), mp::line_kind::error,
                   "ERROR: MediumPhysics: %s(%d): binodal_pont  ******ERROR*****\n");
            return;
        }
        const double vl = r[0] * vs, vg = r[2] * vs;
        const double rectangle = (vg - vl) * P;
        const double f = rectangle - Pc * vs * work_integral(Tr, r[0], r[2]);
        Psat = P;
        v_liquid = vl;
        v_vapour = vg;
        if (std::fabs(f / rectangle) < kBinodalRelTol) return;
        if (P_prev != 0.0 && std::fabs(P - P_prev) < kBinodalRelTol * P) return;
        P_prev = P;
        if (f < 0.0) lo = P;
        else hi = P;
    }
}

// ---- caloric properties ---------------------------------------------------------------------------

void CRGPropertyGenerator::residual(double Tr, double vr, const rg_temperature_functions& tf, double& F, double& FT,
                                    double& FTT) const noexcept {
    const double Oa = m_eos.Omega_a, Ob = m_eos.Omega_b, e = m_eos.eps;
    const double a = tf.f[0] * Oa, a1 = tf.d1[0] * Oa, a2 = tf.d2[0] * Oa;
    const double b = tf.f[1] * Ob, b1 = tf.d1[1] * Ob, b2 = tf.d2[1] * Ob;
    const double c = tf.f[2] * e, c1 = tf.d1[2] * e, c2 = tf.d2[2] * e;
    // phi = Tr*a is the dimensionless attraction A/(Pc vscale^2)
    const double phi = Tr * a, phi1 = a + Tr * a1, phi2 = 2.0 * a1 + Tr * a2;
    double L, Lc, Lcc;
    attraction_log(vr, c, L, Lc, Lcc);
    const double vb = vr - b;
    const double lnv = std::log(vr / vb);
    F = Tr * lnv - phi * L;
    FT = lnv + Tr * b1 / vb - phi1 * L - phi * Lc * c1;
    FTT = 2.0 * b1 / vb + Tr * b2 / vb + Tr * b1 * b1 / (vb * vb) - phi2 * L - 2.0 * phi1 * Lc * c1 -
          phi * (Lcc * c1 * c1 + Lc * c2);
}

double CRGPropertyGenerator::ideal_entropy(double T) const noexcept {
    const std::int32_t n = m_cp0.size();
    if (n == 0) return m_cp0.constant() * std::log(T / kEntropyReferenceT);
    const double* t = m_cp0.temperatures();
    const double* v = m_cp0.values();
    // integral of cp0/T from the first table point, cp0 held at its end values outside the table
    const auto S = [&](double x) {
        if (x <= t[0]) return v[0] * std::log(x / t[0]);
        if (x >= t[n - 1]) return m_s0_nodes[static_cast<std::size_t>(n - 1)] + v[n - 1] * std::log(x / t[n - 1]);
        const std::int32_t i = mp::interval_search(x, t, n);
        const double k = (v[i + 1] - v[i]) / (t[i + 1] - t[i]);
        return m_s0_nodes[static_cast<std::size_t>(i)] + (v[i] - k * t[i]) * std::log(x / t[i]) + k * (x - t[i]);
    };
    return S(T) - S(kEntropyReferenceT);
}

bool CRGPropertyGenerator::state_Tv(double T, double vr, rg_state& out) const noexcept {
    if (!m_has_cp0 || !(T > 0.0) || !(m_eos.Tc > 0.0)) return false;
    const double Tc = m_eos.Tc, Pc = m_eos.Pc, vs = m_eos.vscale;
    const double R = gas_constant();
    const double Tr = T / Tc;
    const rg_temperature_functions tf = temperature_functions(Tr);
    const double a = tf.f[0] * m_eos.Omega_a, b = tf.f[1] * m_eos.Omega_b, c = tf.f[2] * m_eos.eps;
    if (!(vr > b) || !std::isfinite(vr)) return false;
    double F, FT, FTT;
    residual(Tr, vr, tf, F, FT, FTT);
    const double vb = vr - b;
    const double vc = vr + c;
    const double Pr = Tr * (1.0 / vb - a / (vr * vc));
    const double phi = Tr * a, phi1 = a + Tr * tf.d1[0] * m_eos.Omega_a;
    const double b1 = tf.d1[1] * m_eos.Omega_b, c1 = tf.d1[2] * m_eos.eps;
    // (dPr/dTr)_vr and (dPr/dvr)_Tr of Pr = Tr/(v - b) - phi/(v (v + c))
    const double PrT = 1.0 / vb + Tr * b1 / (vb * vb) - phi1 / (vr * vc) + phi * c1 / (vr * vc * vc);
    const double Prv = -Tr / (vb * vb) + phi * (2.0 * vr + c) / (vr * vr * vc * vc);
    double cp0, h0;
    m_cp0.value_and_integral(T, cp0, h0);
    const double p = Pc * Pr, v = vs * vr;
    const double Z = Pr * vr / Tr;
    out.rho = 1.0 / v;
    out.Z = Z;
    out.h = h0 + R * Tc * (F - Tr * FT) + p * v - R * T;
    out.s = ideal_entropy(T) - R * std::log(p / kEntropyReferenceP) - R * FT + R * std::log(Z);
    out.cv = cp0 - R - R * Tr * FTT;
    const double dPdT = Pc / Tc * PrT, dPdv = Pc / vs * Prv;
    out.cp = out.cv - T * dPdT * dPdT / dPdv;
    const double w2 = -v * v * (out.cp / out.cv) * dPdv;
    out.w = w2 > 0.0 ? std::sqrt(w2) : 0.0;
    return true;
}

bool CRGPropertyGenerator::state_pT(double p, double T, rg_state& out) const noexcept {
    if (!m_has_cp0 || !(p > 0.0) || !(T > 0.0) || !(m_eos.Tc > 0.0)) return false;
    const double Tr = T / m_eos.Tc, Pr = p / m_eos.Pc;
    double r[3];
    const std::int32_t n = RK_Phi_PrTr(Pr, Tr, r);
    double vr = r[0];
    if (n == 3) {
        // the stable phase has the smaller Gibbs energy; relative to the ideal gas at (p, T) that
        // is F + Pr vr - Tr - Tr ln Z (per R Tc)
        double best = 0.0;
        for (int i = 0; i < 3; i += 2) {
            const rg_temperature_functions tf = temperature_functions(Tr);
            double F, FT, FTT;
            residual(Tr, r[i], tf, F, FT, FTT);
            const double g = F + Pr * r[i] - Tr - Tr * std::log(Pr * r[i] / Tr);
            if (i == 0 || g < best) {
                best = g;
                vr = r[i];
            }
        }
    }
    if (!state_Tv(T, vr, out)) return false;
    out.roots = n;
    return true;
}

// ---- record ---------------------------------------------------------------------------------------

void CRGPropertyGenerator::write(C_file_io& stream) const {
    stream.put(std::uint8_t{0});
    stream.put(m_eos.Tc);
    stream.put(m_eos.Pc);
    stream.put(m_eos.selector);
    stream.write(m_eos.multiplier, 3);
    stream.write(m_eos.multiplier_d1, 3);
    stream.write(m_eos.multiplier_d2, 3);
    stream.put(m_eos.Zc);
    stream.put(m_eos.omega);
    stream.put(m_eos.Omega_a);
    stream.put(m_eos.Omega_b);
    stream.put(m_eos.eps);
    stream.put(m_eos.vscale);
    stream.put(m_eos.Tr0);
    stream.put(m_eos.dTr);
    stream.put(m_eos.N);
    for (int k = 0; k < 3; ++k) stream.write(m_eos.table[k].data(), m_eos.table[k].size());
    stream.write(m_eos.first_d1, 3);
    stream.write(m_eos.first_d2, 3);
    stream.put(std::uint8_t{m_eos.beta_variant_2 ? std::uint8_t{1} : std::uint8_t{0}});
    stream.put(m_eos.dTr2);
    stream.put(m_eos.N2);
    stream.write(m_eos.beta2.data(), m_eos.beta2.size());
    stream.put(m_eos.beta2_last_d1);
    stream.put(m_eos.beta2_last_d2);
    stream.put(std::uint8_t{m_has_cp0 ? std::uint8_t{1} : std::uint8_t{0}});
    if (m_has_cp0) m_cp0.write(stream);
}

bool CRGPropertyGenerator::read(C_file_io& stream) {
    if (stream.get<std::uint8_t>() != 0) return false;
    rg_eos_record e;
    e.Tc = stream.get<double>();
    e.Pc = stream.get<double>();
    e.selector = stream.get<std::int32_t>();
    stream.read(e.multiplier, 3);
    stream.read(e.multiplier_d1, 3);
    stream.read(e.multiplier_d2, 3);
    e.Zc = stream.get<double>();
    e.omega = stream.get<double>();
    e.Omega_a = stream.get<double>();
    e.Omega_b = stream.get<double>();
    e.eps = stream.get<double>();
    e.vscale = stream.get<double>();
    e.Tr0 = stream.get<double>();
    e.dTr = stream.get<double>();
    e.N = stream.get<std::int32_t>();
    // a table of alpha, beta, gamma has no use for more nodes than this; a larger count is a
    // corrupt record, refused before anything is allocated
    constexpr std::int32_t kMaxNodes = 1 << 20;
    if (e.N < 0 || e.N > kMaxNodes) return false;
    for (int k = 0; k < 3; ++k) {
        e.table[k].resize(static_cast<std::size_t>(e.N));
        stream.read(e.table[k].data(), e.table[k].size());
    }
    stream.read(e.first_d1, 3);
    stream.read(e.first_d2, 3);
    e.beta_variant_2 = stream.get<std::uint8_t>() != 0;
    e.dTr2 = stream.get<double>();
    e.N2 = stream.get<std::int32_t>();
    if (e.N2 < 0 || e.N2 > kMaxNodes) return false;
    e.beta2.resize(static_cast<std::size_t>(e.N2));
    stream.read(e.beta2.data(), e.beta2.size());
    e.beta2_last_d1 = stream.get<double>();
    e.beta2_last_d2 = stream.get<double>();
    const bool has_cp0 = stream.get<std::uint8_t>() != 0;
    c_1d_param cp0;
    if (has_cp0 && !cp0.read(stream)) return false;
    m_eos = std::move(e);
    m_has_cp0 = false;
    if (has_cp0) set_ideal_gas_cp(cp0);
    return true;
}

// ---- fits -------------------------------------------------------------------------------------------

namespace {
// Equal-area residual, relative to the rectangle, at which the alpha fit is finished: the fitted
// saturation pressure then agrees to about this much, plenty for a tabulated alpha.
constexpr double kFaPeRelTol = 1e-5;
// Relative pressure residual at which the beta fit along an isochore is finished.
constexpr double kIsochoreRelTol = 1e-6;
// Relative enthalpy and heat-capacity mismatch left by the monotonization that is worth a report.
constexpr double kMonotonizationRelTol = 1e-10;
}  // namespace

bool CRGPropertyGenerator::RK_calc_point_Fa_Pe_def(double Tr, double Pr, double& alpha, double& vl,
                                                   double& vg) noexcept {
    const std::int32_t saved = m_eos.selector;
    m_eos.selector = -4;
    alpha = std::pow(Tr, -1.5);
    bool ok = false;
    int it = 0;
    for (; it < m_fit_max_iter; ++it) {
        m_eos.multiplier[0] = alpha;
        double r[3];
        const std::int32_t n = RK_Phi_PrTr(Pr, Tr, r);
        if (n == 1) {
            vl = vg = r[0];
            ok = true;
            break;
        }
        if (n == 2) {
            MP_LOG(m_sink.get(), mp::line_kind::error, "ERROR: MediumPhysics: %s(%d): RK_calc_point_Fa_Pe_def\n");
            break;
        }
        vl = r[0];
        vg = r[2];
        const double f = (vg - vl) * Pr;
        const double I = work_integral(Tr, vl, vg);
        if (std::fabs((f - I) / f) < kFaPeRelTol) {
            ok = true;
            break;
        }
        // the step's logarithm keeps its (vl + eps) factors: they cancel to ln(vg/vl), and the
        // iteration's path is defined with this form
        const double e = m_eos.eps;
        const double lg = std::log((vl + e) * vg / ((vl + e) * vl));
        alpha -= (f - I) / (lg * Tr * m_eos.Omega_a / e);
    }
    if (it == m_fit_max_iter) {
        MP_LOG(m_sink.get(), mp::line_kind::error,
               "ERROR: MediumPhysics: %s(%d): RK_calc_point_Fa_Pe_def:  not convergence Tr=\t%g\n", Tr);
    }
    m_eos.selector = saved;
    return ok;
}

void CRGPropertyGenerator::RK_calc_point_isohor_def(double vr, std::int32_t n, const double* T, const double* P,
                                                    double* alpha, double* beta, double* gamma) noexcept {
    double b_prev = 1.0;
    const double Ob = m_eos.Omega_b;
    for (std::int32_t k = 0; k < n; ++k) {
        const double Tr = T[k] / m_eos.Tc, Pr = P[k] / m_eos.Pc;
        const double al = std::pow(Tr, -1.5);
        double be = b_prev;
        const std::int32_t saved = m_eos.selector;
        m_eos.selector = -5;
        set_multipliers(al, be, 1.0);
        const double A = al * m_eos.Omega_a / vr / (vr + m_eos.eps);
        bool converged = false;
        for (int it = 0; it < m_fit_max_iter; ++it) {
            const double vb = vr - Ob * be;
            const double g = Pr - Tr * (1.0 / vb - A);
            if (std::fabs(g / Pr) < kIsochoreRelTol) {
                converged = true;
                break;
            }
            be -= g / (-Ob * Tr / (vb * vb));
        }
        if (!converged) {
            const double vb = vr - Ob * be;
            MP_LOG(m_sink.get(), mp::line_kind::error,
                   "ERROR: MediumPhysics: %s(%d): RK_calc_point_isohor_def:  not convergence Tr=\t%g\tf\t%g\n", Tr,
                   Pr - Tr * (1.0 / vb - A));
        }
        alpha[k] = al;
        beta[k] = be;
        gamma[k] = 1.0;
        set_multipliers(al, be, 1.0);
        m_eos.selector = saved;
        b_prev = be;
    }
}

bool CRGPropertyGenerator::RK_H_critic_point_monotonization(double p, double T, double Hc, double Cpc) noexcept {
    rg_state st;
    if (!state_pT(p, T, st)) return false;
    const double Tr = T / m_eos.Tc, vr = 1.0 / (st.rho * m_eos.vscale);
    const double R = gas_constant();
    const rg_temperature_functions tf = temperature_functions(Tr);
    double L, Lc, Lcc;
    attraction_log(vr, tf.f[2] * m_eos.eps, L, Lc, Lcc);
    const double k = Tr * Tr * m_eos.Omega_a * L;
    // h carries -R Tc Tr F_T and F_T carries -Tr a' Omega_a L: h rises by R Tc k per unit alpha'
    m_eos.multiplier_d1[0] += (Hc - st.h) / (R * m_eos.Tc * k);
    if (!state_pT(p, T, st)) return false;
    if (std::fabs(st.h - Hc) / std::fabs(Hc) > kMonotonizationRelTol) {
        MP_LOG(m_sink.get(), mp::line_kind::warning,
               "Warning : MediumPhysics: %s(%d): RK_H_critic_point_monotonization   T=\t%g\tH=\t%g\tHc=\t%g\n", T, st.h,
               Hc);
    }
    // cv carries -R Tr F_TT and F_TT carries -Tr a'' Omega_a L; dP/dT does not see alpha''
    m_eos.multiplier_d2[0] += (Cpc - st.cp) / (R * k);
    if (!state_pT(p, T, st)) return false;
    if (std::fabs(st.cp - Cpc) / std::fabs(Cpc) > kMonotonizationRelTol) {
        MP_LOG(m_sink.get(), mp::line_kind::warning,
               "Warning : MediumPhysics: %s(%d): RK_H_critic_point_monotonization   T=\t%g\tCp=\t%g\tCp_c=\t%g\n", T,
               st.cp, Cpc);
    }
    return true;
}

// ---- IRGPropertyGenerator ------------------------------------------------------------------------

bool CRGPropertyGenerator::properties(double p, double T, double out[4]) const noexcept {
    rg_state st;
    if (!state_pT(p, T, st)) {
        out[0] = out[1] = out[2] = out[3] = 0.0;
        return false;
    }
    out[0] = st.rho;
    out[1] = st.h;
    out[2] = st.s;
    out[3] = st.w;
    return true;
}

bool CRGPropertyGenerator::saturated(double T, int phase, rg_state& out) const noexcept {
    double P, vl, vg;
    binodal_pont(T, P, vl, vg);
    if (!(P > 0.0)) return false;
    return state_Tv(T, (phase == 0 ? vl : vg) / m_eos.vscale, out);
}

double CRGPropertyGenerator::saturation_ln_p(double T) const noexcept {
    double P, vl, vg;
    binodal_pont(T, P, vl, vg);
    return P > 0.0 ? std::log(P) : 0.0;
}
double CRGPropertyGenerator::saturation_rho_liquid(double T) const noexcept {
    double P, vl, vg;
    binodal_pont(T, P, vl, vg);
    return vl > 0.0 ? 1.0 / vl : 0.0;
}
double CRGPropertyGenerator::saturation_rho_vapour(double T) const noexcept {
    double P, vl, vg;
    binodal_pont(T, P, vl, vg);
    return vg > 0.0 ? 1.0 / vg : 0.0;
}
double CRGPropertyGenerator::saturated_field(double T, int phase, double rg_state::*field) const noexcept {
    rg_state s;
    return saturated(T, phase, s) ? s.*field : 0.0;
}
double CRGPropertyGenerator::saturation_h_liquid(double T) const noexcept { return saturated_field(T, 0, &rg_state::h); }
double CRGPropertyGenerator::saturation_h_vapour(double T) const noexcept { return saturated_field(T, 1, &rg_state::h); }
double CRGPropertyGenerator::saturation_s_liquid(double T) const noexcept { return saturated_field(T, 0, &rg_state::s); }
double CRGPropertyGenerator::saturation_s_vapour(double T) const noexcept { return saturated_field(T, 1, &rg_state::s); }

double CRGPropertyGenerator::spinodal_pressure(double T, int branch) const noexcept {
    double v[2] = {0.0, 0.0}, P[2] = {0.0, 0.0};
    const double Tr = T / m_eos.Tc;
    if (Tr > 1.0 || !RK_spinodal(Tr, v, P)) return 0.0;
    return P[branch] * m_eos.Pc;
}
double CRGPropertyGenerator::spinodal_p_liquid(double T) const noexcept { return spinodal_pressure(T, 0); }
double CRGPropertyGenerator::spinodal_p_vapour(double T) const noexcept { return spinodal_pressure(T, 1); }

void CRGPropertyGenerator::fill_row(const double* p, std::int32_t nx, double T, std::ptrdiff_t row,
                                    double* const out[4]) const noexcept {
#pragma omp parallel for schedule(dynamic, 8) num_threads(mp::omp_threads())
    for (std::int32_t i = 0; i < nx; ++i) {
        double v[4];
        properties(p[i], T, v);
        for (int k = 0; k < 4; ++k) out[k][row + i] = v[k];
    }
}

namespace {
// The part of the record that row-wise filling overwrites, put back when the fill ends.
struct row_multipliers {
    std::int32_t selector;
    double m[3], d1[3], d2[3];
    explicit row_multipliers(const rg_eos_record& e) : selector(e.selector) {
        for (int k = 0; k < 3; ++k) {
            m[k] = e.multiplier[k];
            d1[k] = e.multiplier_d1[k];
            d2[k] = e.multiplier_d2[k];
        }
    }
    void restore(rg_eos_record& e) const noexcept {
        e.selector = selector;
        for (int k = 0; k < 3; ++k) {
            e.multiplier[k] = m[k];
            e.multiplier_d1[k] = d1[k];
            e.multiplier_d2[k] = d2[k];
        }
    }
};
}  // namespace

bool CRGPropertyGenerator::fill_rows(const double* p, std::int32_t nx, const double* T, std::int32_t ny,
                                     const double* alpha, const double* beta, const double* gamma,
                                     const double* d1_alpha, double* const out[4]) noexcept {
    if (nx < 1 || ny < 1) return false;
    const row_multipliers saved(m_eos);
    m_eos.selector = -5;
    for (std::int32_t j = 0; j < ny; ++j) {
        set_multipliers(alpha[j], beta[j], gamma[j]);
        const double d1[3] = {d1_alpha ? d1_alpha[j] : 0.0, 0.0, 0.0};
        const double d2[3] = {0.0, 0.0, 0.0};
        set_multiplier_derivatives(d1, d2);
        fill_row(p, nx, T[j], static_cast<std::ptrdiff_t>(j) * nx, out);
    }
    saved.restore(m_eos);
    return true;
}

bool CRGPropertyGenerator::fill(double x0, double x1, std::int32_t nx, double y0, double y1, std::int32_t ny,
                                double* const out[4]) noexcept {
    // a table patch is 101 x 101 nodes; the pressures stay on the stack up to this many
    constexpr std::int32_t kMaxNodes = 1024;
    if (nx < 1 || ny < 1 || nx > kMaxNodes) return false;
    double p[kMaxNodes];
    const double dx = nx > 1 ? (x1 - x0) / (nx - 1) : 0.0;
    const double dy = ny > 1 ? (y1 - y0) / (ny - 1) : 0.0;
    for (std::int32_t i = 0; i < nx; ++i) p[i] = std::exp(x0 + i * dx);
    // Each row carries the full temperature dependence of the generator's own selector, values and
    // Tr derivatives of all three functions, so h, s and cp of a row are those of the model itself.
    const row_multipliers saved(m_eos);
    for (std::int32_t j = 0; j < ny; ++j) {
        const double T = y0 + j * dy;
        m_eos.selector = saved.selector;
        const rg_temperature_functions tf = temperature_functions(T / m_eos.Tc);
        m_eos.selector = -5;
        set_multipliers(tf.f[0], tf.f[1], tf.f[2]);
        set_multiplier_derivatives(tf.d1, tf.d2);
        fill_row(p, nx, T, static_cast<std::ptrdiff_t>(j) * nx, out);
    }
    saved.restore(m_eos);
    return true;
}
