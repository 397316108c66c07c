#include "real_gas/rg_media_core.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "gas/c_gas_substance.h"

namespace mp {

namespace {

constexpr double kR = 8.3144;  // J/(mol K), as everywhere in the library
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
// Newton in (ln p, T) limits each step to this much of T and of ln p, so that a first step from
// a poor start stays in the region its slopes describe.
constexpr double kMaxRelativeStepT = 0.25;
constexpr double kMaxStepX = 0.5;
// Newton in (ln p, T) hands over to the nested search after this many steps without the residual
// falling.
constexpr int kStallSteps = 3;
// A (rho, e) or (p, rho) answer whose specific volume misses the given one by more than this
// (relative) has met a gap of the real component's states: the dome of a medium without it.
constexpr double kVolumeMissTolerance = 1e-6;
// The dilute limit's temperatures: the bracket of its inversions, K.
constexpr double kDiluteLow = 1.0, kDiluteHigh = 1e5;

bool positive(double v) noexcept { return std::isfinite(v) && v > 0.0; }

void set_bad(rg_point& out) noexcept {
    out = rg_point{};
    out.p = out.T = out.rho = out.h = out.e = out.cp = out.gamma = out.M = out.a = out.mu = out.lambda = kNaN;
    out.x = -1.0;
    out.status = MP_RG_BAD_INPUT;
}

// Safeguarded Newton on a rising function f(t) -> (g, g') in [lo, hi]: each step that leaves the
// bracket known so far, or does not halve |g|, is replaced by bisection (or, while an end has not
// been looked at, by a step to that end). end: 0 a root inside, -1 g > 0 already at lo (the root
// lies below), +1 g < 0 at hi. Stops when the step is at most tol times scale(t). False when the
// limit runs out.
template <class F, class S>
bool bracketed_newton(F&& f, double lo, double hi, double start, double tol, S&& scale, int limit, double& root,
                      int& end) noexcept {
    const double lo0 = lo, hi0 = hi;
    bool lo_known = false, hi_known = false;
    end = 0;
    double t = start >= lo && start <= hi ? start : 0.5 * (lo + hi);  // (a NaN start goes to the middle)
    double previous = std::numeric_limits<double>::infinity();
    for (int it = 0; it < limit; ++it) {
        double g = 0.0, gp = 0.0;
        f(t, g, gp);
        if (g == 0.0) {
            root = t;
            return true;
        }
        if (!std::isfinite(g)) return false;
        if (g < 0.0) {
            lo = t;
            lo_known = true;
            if (t >= hi0) {
                end = +1;
                root = hi0;
                return true;
            }
        } else {
            hi = t;
            hi_known = true;
            if (t <= lo0) {
                end = -1;
                root = lo0;
                return true;
            }
        }
        double next = gp > 0.0 && std::isfinite(gp) ? t - g / gp : kNaN;
        const bool newton = next > lo && next < hi && std::fabs(g) <= 0.5 * previous;
        if (!newton) {
            if (g < 0.0 && !hi_known && !(next < hi)) next = hi;
            else if (g > 0.0 && !lo_known && !(next > lo)) next = lo;
            else next = 0.5 * (lo + hi);
        }
        previous = std::fabs(g);
        if (std::fabs(next - t) <= tol * scale(t)) {
            root = next;
            return true;
        }
        if (lo_known && hi_known && hi - lo <= tol * scale(t)) {
            root = 0.5 * (lo + hi);
            return true;
        }
        t = next;
    }
    return false;
}

// Regula falsi (Illinois) on a rising g over [a, b] with g(a) = fa < 0 < fb = g(b): the middle of
// the last bracket, once it is narrower than tol b or the limit is spent.
template <class G>
double illinois(G&& g, double a, double fa, double b, double fb, double tol, int limit) noexcept {
    int last = 0;
    for (int it = 0; it < limit && b - a > tol * b; ++it) {
        const double c = fb != fa ? b - fb * (b - a) / (fb - fa) : 0.5 * (a + b);
        const double fc = g(c);
        if (fc == 0.0) return c;
        if (fc < 0.0) {
            a = c;
            fa = fc;
            if (last == -1) fb *= 0.5;
            last = -1;
        } else {
            b = c;
            fb = fc;
            if (last == 1) fa *= 0.5;
            last = 1;
        }
    }
    return 0.5 * (a + b);
}

}  // namespace

void rg_media_core::set(const C_real_gas_substance* real, const C_ideal_gas_substance* const* ideal, std::int32_t n_ideal,
                        bool phase_change) noexcept {
    m_real = real;
    m_ideal = ideal;
    m_n = n_ideal;
    m_phase_change = phase_change;
}

double rg_media_core::T_low() const noexcept { return m_real->T_lowest(); }
double rg_media_core::T_high() const noexcept { return m_real->T_max(); }

double rg_media_core::inverse_molar_mass(const double* Y) const noexcept {
    if (pure()) return 1.0 / m_real->molar_mass();
    double r = Y[0] / m_real->molar_mass();
    for (std::int32_t i = 0; i < m_n; ++i) r += Y[1 + i] / m_ideal[i]->molar_mass();
    return r;
}

double rg_media_core::molar_mass(std::int32_t k) const noexcept {
    if (k == 0) return m_real->molar_mass();
    return k > 0 && k <= m_n ? m_ideal[k - 1]->molar_mass() : 0.0;
}

rg_side rg_media_core::side_at(double p, double T) const noexcept {
    if (!(T < m_real->saturation_end())) return rg_side::stable;
    return p >= m_real->get_saturation_pressure(T) ? rg_side::liquid : rg_side::vapour;
}

std::int32_t rg_media_core::phase_of(double p, double T, rg_side side) const noexcept {
    if (side == rg_side::liquid) return MP_PHASE_LIQUID;
    if (side == rg_side::vapour) return MP_PHASE_VAPOUR;
    if (T >= m_real->critical_temperature()) return p >= m_real->critical_pressure() ? MP_PHASE_SUPERCRITICAL : MP_PHASE_VAPOUR;
    return p >= m_real->critical_pressure() ? MP_PHASE_LIQUID : MP_PHASE_VAPOUR;
}

void rg_media_core::evaluate(double p, double T, const double* Y, rg_side side, rg_mix_state& out,
                            bool with_transport) const noexcept {
    out = rg_mix_state{};
    rg_substance_state r;
    m_real->state_at(p, T, side, r, with_transport);
    const double Yr = pure() ? 1.0 : Y[0];
    const double Mr = m_real->molar_mass();
    const double vr = 1.0 / r.rho;
    const double ra = r.rho * r.a;
    // the real component's -(dv/dp)_T and (dv/dT)_p from its rho, cp, gamma and a
    const double kr = ra > 0.0 ? r.gamma / (ra * ra) : 0.0;
    const double b2 = r.cp * (r.gamma - 1.0) / T;
    const double br = b2 > 0.0 && ra > 0.0 ? std::sqrt(b2) / ra : 0.0;
    out.v = Yr * vr;
    out.h = Yr * r.h;
    out.cp = Yr * r.cp;
    out.kappa = Yr * kr;
    out.beta = Yr * br;
    out.dv_dx = -Yr * r.drho_dx * vr * vr;
    out.dv_dT = -Yr * r.drho_dT * vr * vr;
    out.dh_dx = Yr * r.dh_dx;
    out.dh_dT = Yr * r.dh_dT;
    double inverse_M = Yr / Mr;
    double mu = inverse_M * r.mu, lambda = inverse_M * r.lambda;
    bool alone = true;
    for (std::int32_t i = 0; i < m_n; ++i) {
        const double Yi = Y[1 + i];
        if (Yi == 0.0) continue;
        alone = false;
        const C_ideal_gas_substance& g = *m_ideal[i];
        const double Mi = g.molar_mass();
        const double Ri = kR / Mi;
        double cpi = 0.0, hi = 0.0;
        g.cp_h(T, cpi, hi);
        const double vi = Ri * T / p;
        out.v += Yi * vi;
        out.h += Yi * hi;
        out.cp += Yi * cpi;
        out.kappa += Yi * vi / p;
        out.beta += Yi * Ri / p;
        out.dv_dx -= Yi * vi;
        out.dv_dT += Yi * Ri / p;
        out.dh_dT += Yi * cpi;
        const double xi = Yi / Mi;
        inverse_M += xi;
        if (with_transport) {
            mu += xi * g.mu(T);
            lambda += xi * g.lambda(T);
        }
    }
    out.inverse_M = inverse_M;
    if (alone && Yr == 1.0) {
        out.a = r.a;
        out.gamma = r.gamma;
        out.mu = r.mu;
        out.lambda = r.lambda;
    } else {
        const double den = out.kappa - T * out.beta * out.beta / out.cp;
        out.a = den > 0.0 ? out.v / std::sqrt(den) : 0.0;
        const double cv = out.cp - T * out.beta * out.beta / out.kappa;
        out.gamma = out.cp / cv;
        out.mu = mu / inverse_M;
        out.lambda = lambda / inverse_M;
    }
    const rg_side resolved =
        side == rg_side::stable ? side_at(p, T) : (T < m_real->saturation_end() ? side : rg_side::stable);
    out.phase = phase_of(p, T, resolved);
    out.status = r.status;
}

void rg_media_core::mix_at(double p, double T, const double* Y, rg_mix_state& out) const noexcept {
    evaluate(p, T, Y, side_at(p, T), out);
}

void rg_media_core::fill(double p, double T, const rg_mix_state& m, rg_point& out) const noexcept {
    out.p = p;
    out.T = T;
    out.rho = 1.0 / m.v;
    out.h = m.h;
    out.e = m.h - p * m.v;
    out.cp = m.cp;
    out.gamma = m.gamma;
    out.M = 1.0 / m.inverse_M;
    out.a = m.a;
    out.mu = m.mu;
    out.lambda = m.lambda;
    out.x = -1.0;
    out.phase = m.phase;
    out.status = m.status;
}

void rg_media_core::two_phase(double T, double x, rg_point& out) const noexcept {
    rg_saturation_state s;
    m_real->saturation_at(T, s);
    const double vl = 1.0 / s.rho_l, vv = 1.0 / s.rho_v;
    const double vfg = vv - vl, hfg = s.h_v - s.h_l;
    const double v = vl + x * vfg;
    const double h = s.h_l + x * hfg;
    // the homogeneous equilibrium speed of sound: along the isentrope through the dome, with
    // T ds = dh - v dp for each saturated phase
    const double pp = s.dp_dT;
    const double dvl = -s.drho_l * vl * vl, dvv = -s.drho_v * vv * vv;
    const double dx = -(s.dh_l - vl * pp + x * ((s.dh_v - s.dh_l) - vfg * pp)) / hfg;
    const double dv = dvl + x * (dvv - dvl) + vfg * dx;
    const double a2 = dv < 0.0 ? -v * v * pp / dv : 0.0;
    out.p = s.p;
    out.T = T;
    out.rho = 1.0 / v;
    out.h = h;
    out.e = h - s.p * v;
    out.cp = x * s.dh_v + (1.0 - x) * s.dh_l;
    out.a = std::sqrt(a2);
    out.gamma = a2 / (s.p * v);
    out.M = m_real->molar_mass();
    // McAdams: 1/mu = x/mu_v + (1 - x)/mu_l; the conductivities by volume fraction
    out.mu = 1.0 / (x / s.mu_v + (1.0 - x) / s.mu_l);
    const double alpha = x * vv / v;
    out.lambda = alpha * s.lambda_v + (1.0 - alpha) * s.lambda_l;
    out.x = x;
    out.phase = MP_PHASE_TWO_PHASE;
    out.status = s.status;
}

std::uint32_t rg_media_core::p_T(double p, double T, const double* Y, rg_point& out) const noexcept {
    if (!positive(p) || !positive(T)) {
        set_bad(out);
        return out.status;
    }
    rg_mix_state m;
    evaluate(p, T, Y, side_at(p, T), m);
    fill(p, T, m, out);
    return out.status;
}

bool rg_media_core::solve_isobar(int what, double target, double p, const double* Y, double G2, rg_side side, double lo,
                                 double hi, double T0, double& T, int& end) const noexcept {
    const auto f = [&](double t, double& g, double& gp) {
        rg_mix_state m;
        evaluate(p, t, Y, side, m, false);
        if (what == 0) {
            g = m.h + 0.5 * G2 * m.v * m.v - target;
            gp = m.dh_dT + G2 * m.v * m.dv_dT;
        } else {
            g = m.v - target;
            gp = m.dv_dT;
        }
    };
    return bracketed_newton(f, lo, hi, T0, m_tolerance, [](double t) { return t; }, m_limit, T, end);
}

std::uint32_t rg_media_core::p_H(double H, double p, const double* Y, double G2, double T0, rg_point& out) const noexcept {
    if (!positive(p) || !std::isfinite(H) || !(G2 >= 0.0) || !std::isfinite(G2) || !positive(T0)) {
        set_bad(out);
        return out.status;
    }
    const double lo = T_low(), hi = T_high();
    double T = T0;
    int end = 0;
    bool ok = false;
    rg_side side = rg_side::stable;
    bool at_line = false;  // the branch ends at the saturation temperature
    std::uint32_t extra = 0;
    if (m_real->saturation_end() > 0.0 && p < m_real->saturation_end_pressure()) {
        const double Ts = m_real->saturation_temperature(p);
        double Hl = 0.0, Hv = 0.0, hl = 0.0, hfg = 0.0, vl = 0.0, vfg = 0.0;
        const bool dome = m_phase_change && pure();
        if (dome) {
            rg_saturation_state s;
            m_real->saturation_at(Ts, s, false);
            vl = 1.0 / s.rho_l;
            vfg = 1.0 / s.rho_v - vl;
            hl = s.h_l;
            hfg = s.h_v - s.h_l;
            Hl = hl + 0.5 * G2 * vl * vl;
            Hv = s.h_v + 0.5 * G2 * (vl + vfg) * (vl + vfg);
        } else {
            rg_mix_state ml, mv;
            evaluate(p, Ts, Y, rg_side::liquid, ml, false);
            evaluate(p, Ts, Y, rg_side::vapour, mv, false);
            Hl = ml.h + 0.5 * G2 * ml.v * ml.v;
            Hv = mv.h + 0.5 * G2 * mv.v * mv.v;
        }
        if (H < Hl) {
            side = rg_side::liquid;
            ok = solve_isobar(0, H, p, Y, G2, side, lo, Ts, T0, T, end);
            at_line = end == +1;
        } else if (H > Hv) {
            side = rg_side::vapour;
            ok = solve_isobar(0, H, p, Y, G2, side, Ts, hi, T0, T, end);
            at_line = end == -1;
        } else if (dome) {
            // h_l + x hfg + G2 (vl + x vfg)^2 / 2 = H, a quadratic in x with its root in [0, 1]
            const double qa = 0.5 * G2 * vfg * vfg, qb = hfg + G2 * vl * vfg, qc = Hl - H;
            double x = qa > 0.0 ? 2.0 * qc / (-qb - std::sqrt(qb * qb - 4.0 * qa * qc)) : -qc / qb;
            x = std::clamp(x, 0.0, 1.0);
            two_phase(Ts, x, out);
            out.p = p;
            return out.status;
        } else {
            // a medium without the dome: the saturated state on the nearer side
            T = Ts;
            side = H - Hl < Hv - H ? rg_side::liquid : rg_side::vapour;
            rg_mix_state m;
            evaluate(p, T, Y, side, m);
            fill(p, T, m, out);
            out.phase = MP_PHASE_TWO_PHASE;
            out.status |= MP_RG_DOME_NOT_MODELLED;
            return out.status;
        }
    } else {
        ok = solve_isobar(0, H, p, Y, G2, side, lo, hi, T0, T, end);
    }
    // an end of the table that the enthalpy does not reach is a failure; the line is not
    if (!ok || (end != 0 && !at_line)) {
        T = T0;
        side = side_at(p, T0);
        extra = MP_RG_ITERATION_FAILED;
    }
    rg_mix_state m;
    evaluate(p, T, Y, side, m);
    fill(p, T, m, out);
    out.status |= extra;
    return out.status;
}

bool rg_media_core::solve_isotherm(double v_target, double T, const double* Y, rg_side side, double x0, double& x,
                                   int& end) const noexcept {
    const double x_lo = std::log(m_real->constant(C_real_gas_substance::kPmin));
    const double x_hi = std::log(m_real->constant(C_real_gas_substance::kPmax));
    // g = v_target - v(x) rises with x
    const auto f = [&](double t, double& g, double& gp) {
        rg_mix_state m;
        evaluate(std::exp(t), T, Y, side, m, false);
        g = v_target - m.v;
        gp = -m.dv_dx;
    };
    return bracketed_newton(f, x_lo, x_hi, x0, m_tolerance, [](double) { return 1.0; }, m_limit, x, end);
}

bool rg_media_core::single_phase_rho_e(double e, double v, const double* Y, rg_side side, double T0, double lo, double hi,
                                       double& p, double& T, std::uint32_t& status) const noexcept {
    const double x_lo = std::log(m_real->constant(C_real_gas_substance::kPmin));
    const double x_hi = std::log(m_real->constant(C_real_gas_substance::kPmax));
    const double R = kR * inverse_molar_mass(Y);
    double t = std::clamp(T0, lo, hi);
    double x = 0.0;
    int end = 0;
    if (!solve_isotherm(v, t, Y, side, std::clamp(std::log(R * t / v), x_lo, x_hi), x, end)) return false;
    // Newton in (ln p, t)
    double best = std::numeric_limits<double>::infinity();
    int stalled = 0;
    for (int it = 0; it < m_limit; ++it) {
        const double pp = std::exp(x);
        rg_mix_state m;
        evaluate(pp, t, Y, side, m, false);
        const double r1 = m.v - v;
        const double r2 = m.h - pp * m.v - e;
        const double J11 = m.dv_dx, J12 = m.dv_dT;
        const double J21 = m.dh_dx - pp * m.v - pp * m.dv_dx, J22 = m.dh_dT - pp * m.dv_dT;
        const double det = J11 * J22 - J12 * J21;
        const double norm = std::fabs(r1) / v + std::fabs(r2) / (std::fabs(e) + pp * v + m.cp * t);
        if (norm < best) {
            best = norm;
            stalled = 0;
        } else if (++stalled >= kStallSteps) {
            break;
        }
        if (!(det != 0.0) || !std::isfinite(det)) break;
        double dx = -(r1 * J22 - r2 * J12) / det;
        double dT = -(J11 * r2 - J21 * r1) / det;
        const double scale = std::max({1.0, std::fabs(dT) / (kMaxRelativeStepT * t), std::fabs(dx) / kMaxStepX});
        dx /= scale;
        dT /= scale;
        const double xn = std::clamp(x + dx, x_lo, x_hi), tn = std::clamp(t + dT, lo, hi);
        if (std::fabs(tn - t) <= m_tolerance * t && std::fabs(xn - x) <= m_tolerance) {
            p = std::exp(xn);
            T = tn;
            return true;
        }
        x = xn;
        t = tn;
    }
    // the nested search: e along the isochore rises with T, each T on its isotherm
    double x_at = x;
    const auto f = [&](double tt, double& g, double& gp) {
        double xx = x_at;
        int e2 = 0;
        solve_isotherm(v, tt, Y, side, xx, xx, e2);
        x_at = xx;
        const double pp = std::exp(xx);
        rg_mix_state m;
        evaluate(pp, tt, Y, side, m, false);
        g = m.h - pp * m.v - e;
        const double J11 = m.dv_dx, J12 = m.dv_dT;
        const double J21 = m.dh_dx - pp * m.v - pp * m.dv_dx, J22 = m.dh_dT - pp * m.dv_dT;
        gp = J11 != 0.0 ? J22 - J21 * J12 / J11 : J22;
    };
    if (!bracketed_newton(f, lo, hi, std::clamp(T0, lo, hi), m_tolerance, [](double tt) { return tt; }, m_limit, T, end))
        return false;
    if (end != 0) status |= MP_RG_TEMPERATURE_OUTSIDE;
    int e3 = 0;
    solve_isotherm(v, T, Y, side, x_at, x_at, e3);
    p = std::exp(x_at);
    return end == 0;
}

bool rg_media_core::saturation_boundary(double v, int phase, double& T) const noexcept {
    const double lo = T_low(), hi = m_real->saturation_end();
    // the saturated phase's specific volume: the liquid's rises with T, the vapour's falls
    const auto volume = [&](double t) {
        rg_saturation_state s;
        m_real->saturation_at(t, s, false);
        return phase == 0 ? 1.0 / s.rho_l : 1.0 / s.rho_v;
    };
    const double sign = phase == 0 ? 1.0 : -1.0;
    const double g_lo = sign * (volume(lo) - v);
    const double g_hi = sign * (volume(hi * (1.0 - 1e-12)) - v);
    if (!(g_lo <= 0.0) || !(g_hi >= 0.0)) return false;
    const double b = hi * (1.0 - 1e-12);
    T = illinois([&](double t) { return sign * (volume(t) - v); }, lo, g_lo, b, g_hi, m_tolerance, m_limit);
    return true;
}

std::uint32_t rg_media_core::rho_e(double e, double rho, const double* Y, double T0, rg_point& out) const noexcept {
    if (!positive(rho) || !std::isfinite(e) || !positive(T0)) {
        set_bad(out);
        return out.status;
    }
    const double v = 1.0 / rho;
    const double lo = T_low(), hi = T_high();
    rg_side side = rg_side::stable;
    if (m_phase_change && pure() && m_real->saturation_end() > 0.0) {
        const int phase = rho >= m_real->critical_density() ? 0 : 1;
        side = phase == 0 ? rg_side::liquid : rg_side::vapour;
        double Tb = 0.0;
        if (saturation_boundary(v, phase, Tb)) {
            rg_saturation_state s;
            m_real->saturation_at(Tb, s, false);
            const double e_b = phase == 0 ? s.h_l - s.p / s.rho_l : s.h_v - s.p / s.rho_v;
            if (e < e_b) {
                // inside the dome: the mixture's energy at this volume rises with T
                const auto g = [&](double t) {
                    rg_saturation_state q;
                    m_real->saturation_at(t, q, false);
                    const double vl = 1.0 / q.rho_l, vv = 1.0 / q.rho_v;
                    const double x = (v - vl) / (vv - vl);
                    const double el = q.h_l - q.p * vl, ev = q.h_v - q.p * vv;
                    return el + x * (ev - el) - e;
                };
                const double fa = g(lo);
                std::uint32_t extra = 0;
                double T = lo;
                if (fa >= 0.0) extra = MP_RG_TEMPERATURE_OUTSIDE;  // colder than the substance reaches
                else T = illinois(g, lo, fa, Tb, e_b - e, m_tolerance, m_limit);
                rg_saturation_state q;
                m_real->saturation_at(T, q, false);
                const double vl = 1.0 / q.rho_l, vv = 1.0 / q.rho_v;
                two_phase(T, std::clamp((v - vl) / (vv - vl), 0.0, 1.0), out);
                out.status |= extra;
                return out.status;
            }
        }
    }
    double p = 0.0, T = 0.0;
    std::uint32_t status = 0;
    const bool ok = single_phase_rho_e(e, v, Y, side, T0, lo, hi, p, T, status);
    rg_mix_state m;
    if (!ok) {
        // the start value: the start temperature on the isotherm through the given density
        T = std::clamp(T0, lo, hi);
        double x = 0.0;
        int end = 0;
        const double R = kR * inverse_molar_mass(Y);
        solve_isotherm(v, T, Y, side, std::log(R * T / v), x, end);
        p = std::exp(x);
        status |= MP_RG_ITERATION_FAILED;
    }
    evaluate(p, T, Y, side == rg_side::stable ? side_at(p, T) : side, m);
    fill(p, T, m, out);
    out.status |= status;
    if (ok && std::fabs(m.v / v - 1.0) > kVolumeMissTolerance) {
        // the density is not reached: beyond the table's pressures, or (without the dome) in the
        // gap between the real component's liquid and vapour at the saturation pressure
        const double pmin = m_real->constant(C_real_gas_substance::kPmin);
        const double pmax = m_real->constant(C_real_gas_substance::kPmax);
        const bool at_edge = !(p > pmin * (1.0 + 1e-9)) || !(p < pmax * (1.0 - 1e-9));
        out.status |= at_edge || m_phase_change ? MP_RG_PRESSURE_OUTSIDE : MP_RG_DOME_NOT_MODELLED;
        if (!at_edge && !m_phase_change) out.phase = MP_PHASE_TWO_PHASE;
    }
    return out.status;
}

std::uint32_t rg_media_core::p_rho(double p, double rho, const double* Y, rg_point& out) const noexcept {
    if (!positive(p) || !positive(rho)) {
        set_bad(out);
        return out.status;
    }
    const double v = 1.0 / rho;
    const double lo = T_low(), hi = T_high();
    const double R = kR * inverse_molar_mass(Y);
    double start = std::clamp(p * v / R, lo, hi);
    // Below the table the extension's liquid density is not monotonic in T (its ramp to a
    // water-like density): a density the table's lowest temperature already reaches on this
    // side is looked for above it only.
    const double T_table = m_real->T_min();
    const auto lower_end = [&](rg_side sd, double upper) {
        if (!(T_table > lo) || !(T_table < upper)) return lo;
        rg_mix_state m;
        evaluate(p, T_table, Y, sd, m, false);
        return m.v <= v ? T_table : lo;
    };
    double T = start;
    int end = 0;
    bool ok = false;
    bool at_line = false;
    rg_side side = rg_side::stable;
    if (m_real->saturation_end() > 0.0 && p < m_real->saturation_end_pressure()) {
        const double Ts = m_real->saturation_temperature(p);
        double vl = 0.0, vv = 0.0;
        const bool dome = m_phase_change && pure();
        if (dome) {
            rg_saturation_state s;
            m_real->saturation_at(Ts, s, false);
            vl = 1.0 / s.rho_l;
            vv = 1.0 / s.rho_v;
        } else {
            rg_mix_state ml, mv;
            evaluate(p, Ts, Y, rg_side::liquid, ml, false);
            evaluate(p, Ts, Y, rg_side::vapour, mv, false);
            vl = ml.v;
            vv = mv.v;
        }
        if (v > vl && v < vv) {
            if (dome) {
                two_phase(Ts, (v - vl) / (vv - vl), out);
                out.p = p;
                return out.status;
            }
            side = v - vl < vv - v ? rg_side::liquid : rg_side::vapour;
            rg_mix_state m;
            evaluate(p, Ts, Y, side, m);
            fill(p, Ts, m, out);
            out.phase = MP_PHASE_TWO_PHASE;
            out.status |= MP_RG_DOME_NOT_MODELLED;
            return out.status;
        }
        if (v <= vl) {
            side = rg_side::liquid;
            const double lo_l = lower_end(side, Ts);
            start = 0.5 * (lo_l + Ts);
            ok = solve_isobar(1, v, p, Y, 0.0, side, lo_l, Ts, start, T, end);
            at_line = end == +1;
        } else {
            side = rg_side::vapour;
            ok = solve_isobar(1, v, p, Y, 0.0, side, Ts, hi, std::max(start, Ts), T, end);
            at_line = end == -1;
        }
    } else {
        const double lo_s = lower_end(side, hi);
        start = std::clamp(start, lo_s, hi);
        ok = solve_isobar(1, v, p, Y, 0.0, side, lo_s, hi, start, T, end);
    }
    std::uint32_t extra = 0;
    if (!ok || (end != 0 && !at_line)) {
        T = start;
        side = side_at(p, T);
        extra = MP_RG_ITERATION_FAILED;
    }
    rg_mix_state m;
    evaluate(p, T, Y, side, m);
    fill(p, T, m, out);
    out.status |= extra;
    return out.status;
}

void rg_media_core::dilute_cp_h(double T, const double* Y, double& cp0, double& h0, double& R) const noexcept {
    const double Yr = pure() ? 1.0 : Y[0];
    double c = 0.0, h = 0.0;
    m_real->ideal_gas_cp_h(T, c, h);
    cp0 = Yr * c;
    h0 = Yr * h;
    for (std::int32_t i = 0; i < m_n; ++i) {
        const double Yi = Y[1 + i];
        m_ideal[i]->cp_h(T, c, h);
        cp0 += Yi * c;
        h0 += Yi * h;
    }
    R = kR * inverse_molar_mass(Y);
}

bool rg_media_core::dilute_T(double value, int kind, const double* Y, double T0, double& T) const noexcept {
    const auto f = [&](double t, double& g, double& gp) {
        double cp0 = 0.0, h0 = 0.0, R = 0.0;
        dilute_cp_h(t, Y, cp0, h0, R);
        g = kind == 0 ? h0 - value : h0 - R * t - value;
        gp = kind == 0 ? cp0 : cp0 - R;
    };
    int end = 0;
    const bool ok = std::isfinite(value) &&
                    bracketed_newton(f, kDiluteLow, kDiluteHigh, T0, m_tolerance, [](double t) { return t; }, m_limit, T, end);
    if (!ok || end != 0) {
        T = T0;
        return false;
    }
    return true;
}

}  // namespace mp
