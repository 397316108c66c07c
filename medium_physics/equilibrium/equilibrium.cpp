#include "equilibrium/equilibrium.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

#include "factory/mp_log.h"

namespace mp::equilibrium {

namespace {

constexpr double kHuge = std::numeric_limits<double>::max();
// A Newton iterate this close to balance that no longer improves is at round-off.
constexpr double kStallTolerance = 1e-10;
// Backtracking halvings of one Newton step before the shortest step is taken anyway.
constexpr int kBacktracks = 12;
// Armijo constant of the fallback: the sufficient decrease of Phi per unit step.
constexpr double kArmijo = 1e-4;
// Exponents above this would overflow a double amount in the fallback's objective.
constexpr double kMaxExponent = 700.0;
// The fallback hands over to the Newton iteration once every balance is this close.
constexpr double kPolishResidual = 1e-3;
constexpr std::int32_t kPolishIterations = 12;
// A balance row whose amounts have underflowed below this drops out of the derivative solves.
constexpr double kNegligibleRow = 1e-280;
// Relative pivot below which a small linear system is taken as singular.
constexpr double kPivotTolerance = 1e-13;
// Ridge added to the log-form Jacobian (entries of order one) when it is singular.
constexpr double kRidge = 1e-8;
// Outer (T, p) iteration: |ln(p/p_target)| at convergence, and the largest ln(rho) step.
constexpr double kPressureTolerance = 1e-12;
constexpr double kMaxLogDensityStep = 2.0;

void copy_name(char* to, const char* from) noexcept {
    std::size_t i = 0;
    if (from != nullptr)
        for (; i + 1 < static_cast<std::size_t>(kNameSize) && from[i] != '\0'; ++i) to[i] = from[i];
    to[i] = '\0';
}

// Solves A x = r for n <= kMaxBalances unknowns and nr right-hand sides (columns of r, stride
// kMaxBalances) by Gaussian elimination with partial pivoting. A and r are overwritten; the
// solutions are left in r. False when a pivot falls below kPivotTolerance times the largest
// entry of A.
bool solve_small(int n, double (*A)[kMaxBalances], double (*r)[kMaxBalances], int nr) noexcept {
    double scale = 0.0;
    for (int i = 0; i < n; ++i)
        for (int k = 0; k < n; ++k) scale = std::max(scale, std::fabs(A[i][k]));
    if (!(scale > 0.0) || !std::isfinite(scale)) return false;
    for (int c = 0; c < n; ++c) {
        int piv = c;
        for (int i = c + 1; i < n; ++i)
            if (std::fabs(A[i][c]) > std::fabs(A[piv][c])) piv = i;
        if (!(std::fabs(A[piv][c]) > kPivotTolerance * scale)) return false;
        if (piv != c) {
            for (int k = 0; k < n; ++k) std::swap(A[c][k], A[piv][k]);
            for (int q = 0; q < nr; ++q) std::swap(r[q][c], r[q][piv]);
        }
        for (int i = c + 1; i < n; ++i) {
            const double f = A[i][c] / A[c][c];
            if (f == 0.0) continue;
            for (int k = c; k < n; ++k) A[i][k] -= f * A[c][k];
            for (int q = 0; q < nr; ++q) r[q][i] -= f * r[q][c];
        }
    }
    for (int q = 0; q < nr; ++q)
        for (int i = n - 1; i >= 0; --i) {
            double v = r[q][i];
            for (int k = i + 1; k < n; ++k) v -= A[i][k] * r[q][k];
            r[q][i] = v / A[i][i];
        }
    return true;
}

}  // namespace

// ---- species data --------------------------------------------------------------------------------

species_thermo nasa_polynomial::at(double T) const noexcept {
    int r = 0;
    while (r + 1 < range_count && T > bounds[r + 1]) ++r;
    const double* c = a[r];
    species_thermo out;
    const double lnT = std::log(T);
    if (coefficient_count == 7) {
        out.cp_R = c[0] + T * (c[1] + T * (c[2] + T * (c[3] + T * c[4])));
        out.h_RT = c[0] + T * (c[1] / 2 + T * (c[2] / 3 + T * (c[3] / 4 + T * c[4] / 5))) + c[5] / T;
        out.s_R = c[0] * lnT + T * (c[1] + T * (c[2] / 2 + T * (c[3] / 3 + T * c[4] / 4))) + c[6];
    } else {
        const double iT = 1.0 / T;
        const double iT2 = iT * iT;
        out.cp_R = c[0] * iT2 + c[1] * iT + c[2] + T * (c[3] + T * (c[4] + T * (c[5] + T * c[6])));
        out.h_RT = -c[0] * iT2 + c[1] * lnT * iT + c[2] + T * (c[3] / 2 + T * (c[4] / 3 + T * (c[5] / 4 + T * c[6] / 5))) +
                   c[7] * iT;
        out.s_R = -c[0] * iT2 / 2 - c[1] * iT + c[2] * lnT + T * (c[3] + T * (c[4] / 2 + T * (c[5] / 3 + T * c[6] / 4))) +
                  c[8];
    }
    return out;
}

bool species_set::add_element(const char* name, double atomic_weight) noexcept {
    if (m_element_count >= kMaxElements || !(atomic_weight > 0.0) || !std::isfinite(atomic_weight)) return false;
    copy_name(m_element_names[m_element_count], name);
    m_atomic_weights[m_element_count] = atomic_weight;
    ++m_element_count;
    return true;
}

bool species_set::add_species(const char* name, const double* counts, int charge, const nasa_polynomial& thermo) noexcept {
    if (m_species_count >= kMaxSpecies || counts == nullptr) return false;
    if ((thermo.coefficient_count != 7 && thermo.coefficient_count != 9) || thermo.range_count < 1 ||
        thermo.range_count > kMaxRanges)
        return false;
    for (int r = 0; r < thermo.range_count; ++r)
        if (!(thermo.bounds[r] < thermo.bounds[r + 1])) return false;
    species sp;
    copy_name(sp.name, name);
    sp.thermo = thermo;
    sp.charge = charge;
    double M = -charge * kElectronMolarMass;
    bool any = charge != 0;
    for (int i = 0; i < m_element_count; ++i) {
        if (!(counts[i] >= 0.0) || !std::isfinite(counts[i])) return false;
        sp.elements[i] = counts[i];
        M += counts[i] * m_atomic_weights[i];
        any = any || counts[i] > 0.0;
    }
    if (!any || !(M > 0.0)) return false;
    sp.molar_mass = M;
    m_species[m_species_count++] = sp;
    return true;
}

int species_set::find_species(const char* name) const noexcept {
    for (int j = 0; j < m_species_count; ++j)
        if (std::strcmp(m_species[j].name, name) == 0) return j;
    return -1;
}

int species_set::find_element(const char* name) const noexcept {
    for (int i = 0; i < m_element_count; ++i)
        if (std::strcmp(m_element_names[i], name) == 0) return i;
    return -1;
}

bool species_set::has_charged_species() const noexcept {
    for (int j = 0; j < m_species_count; ++j)
        if (m_species[j].charge != 0) return true;
    return false;
}

// ---- mixture set-up ------------------------------------------------------------------------------

bool mixture::set_up(const species_set& set, const double* element_moles) noexcept {
    m_ready = false;
    m_set = set;
    const int ne = set.element_count();
    const int ns = set.species_count();
    if (ne < 1 || ns < 1 || element_moles == nullptr) return false;
    double mass = 0.0;  // kg per the given amounts
    for (int i = 0; i < ne; ++i) {
        if (!(element_moles[i] >= 0.0) || !std::isfinite(element_moles[i])) return false;
        mass += element_moles[i] * set.atomic_weight(i);
    }
    if (!(mass > 0.0)) return false;

    // A species holding an element the mixture lacks cannot form.
    for (int j = 0; j < ns; ++j) {
        m_active[j] = true;
        for (int i = 0; i < ne; ++i)
            if (set.at(j).elements[i] > 0.0 && element_moles[i] == 0.0) m_active[j] = false;
    }
    // The rows: the elements present, then charge when both signs of charge can form.
    m_balances = 0;
    int row_element[kMaxElements];
    for (int i = 0; i < ne; ++i)
        if (element_moles[i] > 0.0) row_element[m_balances++] = i;
    bool positive = false;
    bool negative = false;
    for (int j = 0; j < ns; ++j) {
        if (!m_active[j]) continue;
        positive = positive || set.at(j).charge > 0;
        negative = negative || set.at(j).charge < 0;
    }
    if (!(positive && negative))
        for (int j = 0; j < ns; ++j)
            if (set.at(j).charge != 0) m_active[j] = false;
    m_charge_row = positive && negative ? m_balances : -1;
    for (int r = 0; r < kMaxBalances; ++r)
        for (int j = 0; j < kMaxSpecies; ++j) m_a[r][j] = 0.0;
    for (int r = 0; r < m_balances; ++r) {
        m_b[r] = element_moles[row_element[r]] / mass;
        for (int j = 0; j < ns; ++j) m_a[r][j] = set.at(j).elements[row_element[r]];
    }
    if (m_charge_row >= 0) {
        m_b[m_charge_row] = 0.0;
        for (int j = 0; j < ns; ++j) m_a[m_charge_row][j] = -set.at(j).charge;  // electrons carried
        ++m_balances;
    }
    // Every element row needs a species that can carry it.
    for (int r = 0; r < m_balances; ++r) {
        bool carried = false;
        for (int j = 0; j < ns; ++j) carried = carried || (m_active[j] && m_a[r][j] != 0.0);
        if (!carried) return false;
    }
    m_reference_molar_mass = 0.0;
    m_ready = true;
    return true;
}

bool mixture::set_up_from_species(const species_set& set, const double* species_moles) noexcept {
    m_ready = false;
    if (species_moles == nullptr) return false;
    double b[kMaxElements] = {};
    double moles = 0.0;
    double mass = 0.0;
    for (int j = 0; j < set.species_count(); ++j) {
        if (!(species_moles[j] >= 0.0) || !std::isfinite(species_moles[j])) return false;
        for (int i = 0; i < set.element_count(); ++i) b[i] += species_moles[j] * set.at(j).elements[i];
        moles += species_moles[j];
        mass += species_moles[j] * set.at(j).molar_mass;
    }
    if (!set_up(set, b) || !(moles > 0.0)) return false;
    m_reference_molar_mass = mass / moles;
    return true;
}

// ---- solving -------------------------------------------------------------------------------------

struct mixture::work {
    double T = 0.0;
    double rho = 0.0;
    int ns = 0;
    double c[kMaxSpecies];  // ln n_j = c_j + sum_r a_rj lambda_r
    double h_RT[kMaxSpecies];
};

void mixture::prepare(double T, double rho, work& w) const noexcept {
    w.T = T;
    w.rho = rho;
    w.ns = m_set.species_count();
    const double shift = std::log(rho * kGasConstant * T / kReferencePressure);
    for (int j = 0; j < w.ns; ++j) {
        const species_thermo th = m_set.at(j).thermo.at(T);
        w.h_RT[j] = th.h_RT;
        w.c[j] = -th.g_RT() - shift;
    }
}

// Fills n (mol/kg; capped at e^kMaxExponent) and returns the largest ln n_j.
double mixture::amounts(const work& w, const double* lambda, double* n) const noexcept {
    double l_max = -kHuge;
    for (int j = 0; j < w.ns; ++j) {
        if (!m_active[j]) {
            n[j] = 0.0;
            continue;
        }
        double l = w.c[j];
        for (int r = 0; r < m_balances; ++r) l += m_a[r][j] * lambda[r];
        l_max = std::max(l_max, l);
        n[j] = std::exp(std::min(l, kMaxExponent));
    }
    return l_max;
}

// The log-form balances F (and their Jacobian J when asked): for an element row
// F_r = ln(sum_j a_rj n_j / b_r), for the charge row F = ln(positive charge / negative charge).
// Each sum is taken relative to its largest term. Returns max |F| (kHuge when not finite).
double mixture::residual(const work& w, const double* lambda, double* F, double* J) const noexcept {
    double l[kMaxSpecies];
    for (int j = 0; j < w.ns; ++j) {
        l[j] = -kHuge;
        if (!m_active[j]) continue;
        double v = w.c[j];
        for (int r = 0; r < m_balances; ++r) v += m_a[r][j] * lambda[r];
        l[j] = v;
    }
    double worst = 0.0;
    for (int r = 0; r < m_balances; ++r) {
        // side 0: positive coefficients, side 1: negative ones (charge row only)
        double logsum[2] = {-kHuge, -kHuge};
        double mean[2][kMaxBalances] = {};
        for (int side = 0; side < (r == m_charge_row ? 2 : 1); ++side) {
            double top = -kHuge;
            for (int j = 0; j < w.ns; ++j) {
                const double a = side == 0 ? m_a[r][j] : -m_a[r][j];
                if (a > 0.0 && l[j] > -kHuge) top = std::max(top, l[j] + std::log(a));
            }
            if (top == -kHuge) return kHuge;
            double sum = 0.0;
            for (int j = 0; j < w.ns; ++j) {
                const double a = side == 0 ? m_a[r][j] : -m_a[r][j];
                if (!(a > 0.0) || l[j] == -kHuge) continue;
                const double t = std::exp(l[j] + std::log(a) - top);
                sum += t;
                if (J != nullptr)
                    for (int k = 0; k < m_balances; ++k) mean[side][k] += t * m_a[k][j];
            }
            logsum[side] = top + std::log(sum);
            if (J != nullptr)
                for (int k = 0; k < m_balances; ++k) mean[side][k] /= sum;
        }
        if (r == m_charge_row) {
            F[r] = logsum[0] - logsum[1];
            if (J != nullptr)
                for (int k = 0; k < m_balances; ++k) J[r * kMaxBalances + k] = mean[0][k] - mean[1][k];
        } else {
            F[r] = logsum[0] - std::log(m_b[r]);
            if (J != nullptr)
                for (int k = 0; k < m_balances; ++k) J[r * kMaxBalances + k] = mean[0][k];
        }
        if (!std::isfinite(F[r])) return kHuge;
        worst = std::max(worst, std::fabs(F[r]));
    }
    return worst;
}

// Charge neutrality alone, by Newton in the charge potential (one step when all charges are +-1).
void mixture::balance_charge(const work& w, double* lambda) const noexcept {
    if (m_charge_row < 0) return;
    double F[kMaxBalances];
    double J[kMaxBalances * kMaxBalances];
    for (int it = 0; it < 4; ++it) {
        if (residual(w, lambda, F, J) == kHuge) return;
        const double d = J[m_charge_row * kMaxBalances + m_charge_row];
        if (!(d > 0.0)) return;
        lambda[m_charge_row] -= F[m_charge_row] / d;
        if (std::fabs(F[m_charge_row]) < kBalanceTolerance) return;
    }
}

void mixture::cold_start(const work& w, double* lambda) const noexcept {
    for (int r = 0; r < kMaxBalances; ++r) lambda[r] = 0.0;
    balance_charge(w, lambda);
}

bool mixture::newton(work& w, double* lambda, std::int32_t& iterations, std::int32_t cap) const noexcept {
    const int m = m_balances;
    double F[kMaxBalances];
    double J[kMaxBalances * kMaxBalances];
    double worst = residual(w, lambda, F, J);
    for (std::int32_t it = 0; it < cap; ++it) {
        if (worst < kBalanceTolerance) return true;
        if (worst == kHuge) return false;
        double A[kMaxBalances][kMaxBalances];
        double step[1][kMaxBalances];
        for (int r = 0; r < m; ++r) {
            for (int k = 0; k < m; ++k) A[r][k] = J[r * kMaxBalances + k];
            step[0][r] = -F[r];
        }
        if (!solve_small(m, A, step, 1)) {
            // Nearly dependent rows (one species carrying two elements in an exactly balanced
            // mixture, say): a ridge leaves the undetermined direction alone and solves the rest.
            for (int r = 0; r < m; ++r) {
                for (int k = 0; k < m; ++k) A[r][k] = J[r * kMaxBalances + k];
                A[r][r] += kRidge;
                step[0][r] = -F[r];
            }
            if (!solve_small(m, A, step, 1)) return false;
        }
        ++iterations;
        double longest = 0.0;
        for (int r = 0; r < m; ++r) longest = std::max(longest, std::fabs(step[0][r]));
        double t = longest > kMaxPotentialStep ? kMaxPotentialStep / longest : 1.0;
        double merit = 0.0;
        for (int r = 0; r < m; ++r) merit += F[r] * F[r];
        double trial[kMaxBalances];
        double Ft[kMaxBalances];
        double trial_worst = kHuge;
        for (int back = 0; back < kBacktracks; ++back, t *= 0.5) {
            for (int r = 0; r < m; ++r) trial[r] = lambda[r] + t * step[0][r];
            trial_worst = residual(w, trial, Ft, nullptr);
            if (trial_worst == kHuge) continue;
            double trial_merit = 0.0;
            for (int r = 0; r < m; ++r) trial_merit += Ft[r] * Ft[r];
            if (trial_merit < merit) break;
        }
        if (trial_worst == kHuge) return false;
        if (trial_worst >= worst && worst < kStallTolerance) return true;  // at round-off
        for (int r = 0; r < m; ++r) lambda[r] = trial[r];
        worst = residual(w, lambda, F, J);
    }
    return worst < kBalanceTolerance;
}

// Damped Newton on the convex dual Phi(lambda) = sum_j n_j - sum_r b_r lambda_r: its minimum is
// the equilibrium, and with the Armijo search every step lowers Phi, so it converges from any
// finite start; the charge potential is re-balanced exactly after every step.
bool mixture::dual_fallback(work& w, double* lambda, std::int32_t& iterations) const noexcept {
    const int m = m_balances;
    const auto phi = [&](const double* lam, double* n) {
        if (amounts(w, lam, n) > kMaxExponent) return kHuge;
        double sum = 0.0;
        for (int j = 0; j < w.ns; ++j) sum += n[j];
        for (int r = 0; r < m; ++r) sum -= m_b[r] * lam[r];
        return sum;
    };
    double F[kMaxBalances];
    double n[kMaxSpecies];
    balance_charge(w, lambda);
    double value = phi(lambda, n);
    if (value == kHuge) {
        cold_start(w, lambda);
        value = phi(lambda, n);
        if (value == kHuge) return false;
    }
    for (std::int32_t it = 0; it < m_limits.fallback_iterations; ++it) {
        // Close to the minimum, Phi changes by less than its round-off: the log-form Newton
        // iteration finishes quadratically from here.
        if (residual(w, lambda, F, nullptr) < kPolishResidual) return newton(w, lambda, iterations, kPolishIterations);
        double H[kMaxBalances][kMaxBalances] = {};
        double g[1][kMaxBalances] = {};
        for (int r = 0; r < m; ++r) {
            g[0][r] = -m_b[r];
            for (int j = 0; j < w.ns; ++j) {
                if (m_a[r][j] == 0.0) continue;
                g[0][r] += m_a[r][j] * n[j];
                for (int k = 0; k < m; ++k) H[r][k] += m_a[r][j] * m_a[k][j] * n[j];
            }
        }
        // A little ridge keeps rows whose species have underflowed solvable.
        double step[1][kMaxBalances];
        double diag_max = 0.0;
        for (int r = 0; r < m; ++r) diag_max = std::max(diag_max, H[r][r]);
        for (int r = 0; r < m; ++r) {
            H[r][r] += 1e-10 * H[r][r] + 1e-30 * diag_max + std::numeric_limits<double>::min();
            step[0][r] = -g[0][r];
        }
        double slope = 0.0;
        if (!solve_small(m, H, step, 1)) return false;
        ++iterations;
        for (int r = 0; r < m; ++r) slope += g[0][r] * step[0][r];
        if (!(slope < 0.0)) return residual(w, lambda, F, nullptr) < kStallTolerance;
        double longest = 0.0;
        for (int r = 0; r < m; ++r) longest = std::max(longest, std::fabs(step[0][r]));
        double t = longest > kMaxPotentialStep ? kMaxPotentialStep / longest : 1.0;
        double trial[kMaxBalances];
        bool moved = false;
        for (int back = 0; back < 4 * kBacktracks; ++back, t *= 0.5) {
            for (int r = 0; r < m; ++r) trial[r] = lambda[r] + t * step[0][r];
            const double v = phi(trial, n);
            if (v != kHuge && v <= value + kArmijo * t * slope) {
                moved = true;
                break;
            }
        }
        if (!moved) return residual(w, lambda, F, nullptr) < kStallTolerance;
        for (int r = 0; r < m; ++r) lambda[r] = trial[r];
        balance_charge(w, lambda);
        value = phi(lambda, n);
        if (value == kHuge) return false;
    }
    return residual(w, lambda, F, nullptr) < kBalanceTolerance;
}

status mixture::solve_prepared(work& w, state& st, bool warm) const noexcept {
    double lambda[kMaxBalances] = {};
    const bool have_start = warm && st.has_potentials;
    std::int32_t iterations = 0;
    if (have_start)
        for (int r = 0; r < m_balances; ++r) lambda[r] = st.lambda[r];
    else
        cold_start(w, lambda);
    for (int r = 0; r < m_balances; ++r)
        if (!std::isfinite(lambda[r])) {
            cold_start(w, lambda);
            break;
        }
    status result = status::converged;
    bool ok = newton(w, lambda, iterations, m_limits.newton_iterations);
    if (!ok && have_start) {  // a poor neighbour: start again from nothing
        cold_start(w, lambda);
        ok = newton(w, lambda, iterations, m_limits.newton_iterations);
    }
    if (!ok) {
        result = status::converged_by_fallback;
        ok = dual_fallback(w, lambda, iterations);
    }
    st.T = w.T;
    st.rho = w.rho;
    st.iterations = iterations;
    amounts(w, lambda, st.n);
    double N = 0.0;
    for (int j = 0; j < w.ns; ++j) N += st.n[j];
    st.total_moles = N;
    st.p = w.rho * kGasConstant * w.T * N;
    for (int r = 0; r < kMaxBalances; ++r) st.lambda[r] = r < m_balances ? lambda[r] : 0.0;
    if (!ok || !std::isfinite(st.p)) {
        st.has_potentials = false;
        st.result = status::not_converged;
        return st.result;
    }
    st.has_potentials = true;
    st.result = result;
    return result;
}

status mixture::solve_T_rho(double T, double rho, state& st, bool warm) const noexcept {
    if (!m_ready || !std::isfinite(T) || !std::isfinite(rho) || !(T > 0.0) || !(rho > 0.0)) {
        st.result = status::invalid_input;
        return st.result;
    }
    work w;
    prepare(T, rho, w);
    const status s = solve_prepared(w, st, warm);
    if (s == status::not_converged) report(T, rho, "not solved");
    return s;
}

// Solves H dlambda = rhs for the two right-hand sides of the composition derivatives,
// H_rk = sum_j a_rj a_kj n_j, with H scaled to a unit diagonal. A row whose species have all
// underflowed holds nothing that matters and keeps a zero derivative.
bool mixture::composition_derivatives(const double* n, const double* rhs_T, double* d_T, double* d_rho) const noexcept {
    const int m = m_balances;
    const int ns = m_set.species_count();
    double H[kMaxBalances][kMaxBalances] = {};
    for (int r = 0; r < m; ++r)
        for (int k = 0; k < m; ++k)
            for (int j = 0; j < ns; ++j) H[r][k] += m_a[r][j] * m_a[k][j] * n[j];
    int keep[kMaxBalances];
    int q = 0;
    for (int r = 0; r < m; ++r)
        if (H[r][r] > kNegligibleRow) keep[q++] = r;
    double A[kMaxBalances][kMaxBalances];
    double rhs[2][kMaxBalances];
    double scale[kMaxBalances];
    for (int i = 0; i < q; ++i) scale[i] = 1.0 / std::sqrt(H[keep[i]][keep[i]]);
    for (int i = 0; i < q; ++i) {
        for (int k = 0; k < q; ++k) A[i][k] = H[keep[i]][keep[k]] * scale[i] * scale[k];
        double b_r = 0.0;
        for (int j = 0; j < ns; ++j) b_r += m_a[keep[i]][j] * n[j];
        rhs[0][i] = rhs_T[keep[i]] * scale[i];
        rhs[1][i] = b_r * scale[i];
    }
    for (int r = 0; r < m; ++r) d_T[r] = d_rho[r] = 0.0;
    if (q > 0 && !solve_small(q, A, rhs, 2)) return false;
    for (int i = 0; i < q; ++i) {
        d_T[keep[i]] = rhs[0][i] * scale[i];
        d_rho[keep[i]] = rhs[1][i] * scale[i];
    }
    return true;
}

status mixture::solve_T_p(double T, double p, state& st, bool warm) const noexcept {
    if (!m_ready || !std::isfinite(T) || !std::isfinite(p) || !(T > 0.0) || !(p > 0.0)) {
        st.result = status::invalid_input;
        return st.result;
    }
    double ln_rho = 0.0;
    if (warm && st.has_potentials && st.rho > 0.0 && st.p > 0.0 && st.T > 0.0 && std::isfinite(st.rho))
        ln_rho = std::log(st.rho * (p / st.p) * (st.T / T));
    else {
        double N = 0.0;  // undissociated: the start mixture's moles, or two atoms a molecule
        if (m_reference_molar_mass > 0.0) N = 1.0 / m_reference_molar_mass;
        else
            for (int r = 0; r < m_balances; ++r) N += 0.5 * m_b[r];
        ln_rho = std::log(p / (kGasConstant * T * N));
        st.has_potentials = false;
    }
    double lo = -kHuge;
    double hi = kHuge;
    work w;
    std::int32_t iterations = 0;
    for (std::int32_t it = 0; it < m_limits.pressure_iterations; ++it) {
        prepare(T, std::exp(ln_rho), w);
        const status s = solve_prepared(w, st, true);
        iterations += st.iterations;
        if (!succeeded(s)) break;
        const double f = std::log(st.p / p);
        if (std::fabs(f) < kPressureTolerance) {
            st.iterations = iterations;
            return s;
        }
        if (f > 0.0) hi = std::min(hi, ln_rho);
        else lo = std::max(lo, ln_rho);
        // d ln p / d ln rho at constant T = b.H^-1.b / N: between 0 and 1 for any ideal mixture.
        double rhs_T[kMaxBalances] = {};
        double d_T[kMaxBalances];
        double d_rho[kMaxBalances];
        double slope = 1.0;
        if (composition_derivatives(st.n, rhs_T, d_T, d_rho)) {
            double dN = 0.0;
            for (int j = 0; j < w.ns; ++j) {
                double ad = 0.0;
                for (int r = 0; r < m_balances; ++r) ad += m_a[r][j] * d_rho[r];
                dN += st.n[j] * (ad - 1.0);
            }
            slope = 1.0 + dN / st.total_moles;
        }
        double next = ln_rho - f / std::max(slope, 1e-3);
        next = std::clamp(next, ln_rho - kMaxLogDensityStep, ln_rho + kMaxLogDensityStep);
        if (!(next > lo && next < hi) && lo > -kHuge && hi < kHuge) next = 0.5 * (lo + hi);
        ln_rho = next;
    }
    st.iterations = iterations;
    st.has_potentials = false;
    st.result = status::not_converged;
    report(T, std::exp(ln_rho), "pressure not matched");
    return st.result;
}

bool mixture::start_from_composition(double T, double rho, const double* x, state& st) const noexcept {
    if (!m_ready || x == nullptr || !std::isfinite(T) || !std::isfinite(rho) || !(T > 0.0) || !(rho > 0.0)) return false;
    work w;
    prepare(T, rho, w);
    double M = 0.0;
    double sum = 0.0;
    for (int j = 0; j < w.ns; ++j) {
        if (!(x[j] >= 0.0) || !std::isfinite(x[j])) return false;
        if (!m_active[j]) continue;
        M += x[j] * m_set.at(j).molar_mass;
        sum += x[j];
    }
    if (!(sum > 0.0) || !(M > 0.0)) return false;
    // Least squares of ln n_j = c_j + a_j.lambda over the species present.
    const int m = m_balances;
    double A[kMaxBalances][kMaxBalances] = {};
    double rhs[1][kMaxBalances] = {};
    for (int j = 0; j < w.ns; ++j) {
        if (!m_active[j] || !(x[j] > 1e-12 * sum)) continue;
        const double target = std::log(x[j] / M) - w.c[j];
        for (int r = 0; r < m; ++r) {
            rhs[0][r] += m_a[r][j] * target;
            for (int k = 0; k < m; ++k) A[r][k] += m_a[r][j] * m_a[k][j];
        }
    }
    // rows no present species carries (charge, say) get an identity row and are balanced below
    for (int r = 0; r < m; ++r)
        if (A[r][r] == 0.0) {
            A[r][r] = 1.0;
            rhs[0][r] = 0.0;
        }
    if (!solve_small(m, A, rhs, 1)) return false;
    for (int r = 0; r < kMaxBalances; ++r) st.lambda[r] = r < m ? rhs[0][r] : 0.0;
    balance_charge(w, st.lambda);
    st.has_potentials = true;
    return true;
}

// ---- properties ----------------------------------------------------------------------------------

bool mixture::evaluate(const state& st, properties& out) const noexcept {
    out.T = st.T;
    out.rho = st.rho;
    if (!m_ready || !succeeded(st.result) || !(st.total_moles > 0.0)) return false;
    const int ns = m_set.species_count();
    const int m = m_balances;
    const double T = st.T;
    const double rho = st.rho;
    const double R = kGasConstant;
    const double N = st.total_moles;
    double h1[kMaxSpecies];  // h/RT - 1 = e_j/RT
    double e = 0.0, s = 0.0, cvf = 0.0;
    for (int j = 0; j < ns; ++j) {
        const species_thermo th = m_set.at(j).thermo.at(T);
        h1[j] = th.h_RT - 1.0;
        const double nj = st.n[j];
        out.x[j] = nj / N;
        e += nj * h1[j];
        cvf += nj * (th.cp_R - 1.0);
        if (nj > 0.0) s += nj * (th.s_R - std::log(nj * rho * R * T / kReferencePressure));
    }
    for (int j = ns; j < kMaxSpecies; ++j) out.x[j] = 0.0;
    double rhs_T[kMaxBalances] = {};
    for (int r = 0; r < m; ++r)
        for (int j = 0; j < ns; ++j) rhs_T[r] -= m_a[r][j] * st.n[j] * h1[j];
    double d_T[kMaxBalances];
    double d_rho[kMaxBalances];
    if (!composition_derivatives(st.n, rhs_T, d_T, d_rho)) return false;
    double cv_reaction = 0.0, dN_T = 0.0, dN_rho = 0.0;
    for (int j = 0; j < ns; ++j) {
        double aT = 0.0, arho = 0.0;
        for (int r = 0; r < m; ++r) {
            aT += m_a[r][j] * d_T[r];
            arho += m_a[r][j] * d_rho[r];
        }
        const double q = h1[j] + aT;  // d ln n_j / d ln T at constant rho
        cv_reaction += st.n[j] * h1[j] * q;
        dN_T += st.n[j] * q;
        dN_rho += st.n[j] * (arho - 1.0);  // d n_j / d ln rho at constant T
    }
    const double alpha = 1.0 + dN_T / N;   // d ln p / d ln T at constant rho
    const double beta = 1.0 + dN_rho / N;  // d ln p / d ln rho at constant T
    const double p = rho * R * T * N;
    out.p = p;
    out.e = R * T * e;
    out.h = out.e + p / rho;
    out.s = R * s;
    out.cv_frozen = R * cvf;
    out.cp_frozen = R * (cvf + N);
    out.cv = R * (cvf + cv_reaction);
    out.cp = out.cv + p * alpha * alpha / (rho * T * beta);
    out.gamma = out.cp / out.cv;
    out.isentropic_exponent = out.gamma * beta;
    out.sound_speed = std::sqrt(out.isentropic_exponent * p / rho);
    out.molar_mass = 1.0 / N;
    out.compressibility = m_reference_molar_mass > 0.0 ? N * m_reference_molar_mass : 0.0;
    return std::isfinite(out.cp) && std::isfinite(out.sound_speed) && beta > 0.0 && out.cv > 0.0;
}

void mixture::report(double T, double rho, const char* what) const noexcept {
    MP_LOG(m_sink, mp::line_kind::warning,
           "Warning : MediumPhysics: %s(%d): chemical equilibrium %s at T = %g K, rho = %g kg/m3\n", what, T, rho);
}

// ---- transport -----------------------------------------------------------------------------------

double blottner_fit::viscosity(double T) const noexcept {
    const double lnT = std::log(T);
    return 0.1 * std::exp((A * lnT + B) * lnT + C);
}

bool wilke_eucken_transport(const species_set& set, const blottner_fit* fits, double T, const double* x, double& mu,
                            double& conductivity) noexcept {
    mu = conductivity = 0.0;
    if (fits == nullptr || x == nullptr || !std::isfinite(T) || !(T > 0.0)) return false;
    const int ns = set.species_count();
    double xs[kMaxSpecies], mus[kMaxSpecies], ks[kMaxSpecies], Ms[kMaxSpecies];
    int q = 0;
    double sum = 0.0;
    for (int j = 0; j < ns; ++j) {
        if (!fits[j].present || !(x[j] > 0.0)) continue;
        if (!std::isfinite(x[j])) return false;
        xs[q] = x[j];
        Ms[q] = set.at(j).molar_mass;
        mus[q] = fits[j].viscosity(T);
        const double cp_R = set.at(j).thermo.at(T).cp_R;
        ks[q] = mus[q] * kGasConstant / Ms[q] * (cp_R + 1.25);
        sum += x[j];
        ++q;
    }
    if (q == 0 || !(sum > 0.0)) return false;
    for (int i = 0; i < q; ++i) {
        double denominator = 0.0;
        for (int k = 0; k < q; ++k) {
            const double f = 1.0 + std::sqrt(mus[i] / mus[k]) * std::sqrt(std::sqrt(Ms[k] / Ms[i]));
            denominator += xs[k] / sum * f * f / std::sqrt(8.0 * (1.0 + Ms[i] / Ms[k]));
        }
        mu += xs[i] / sum * mus[i] / denominator;
        conductivity += xs[i] / sum * ks[i] / denominator;
    }
    return std::isfinite(mu) && std::isfinite(conductivity);
}

}  // namespace mp::equilibrium
