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
// A side sum below this, relative to the largest amount, is summed again relative to its own top.
constexpr double kSmallSum = 1e-250;
// Gordon and McBride's start: 0.1 kg-mol per kg in all (about three times the moles of a gas).
constexpr double kStartMoles = 100.0;  // mol/kg
// Their trace threshold, ln(1e8), and the largest rise of a trace species in one step, ln(1e4).
constexpr double kTraceSize = 18.420681;
constexpr double kTraceStep = 9.2103404;
// The warm-start predictor keeps the species above this share of the total moles.
constexpr double kPredictorShare = 1e-6;
// Relative pivot below which a small linear system is taken as singular. Small pivots are real:
// in a mixture whose elements are just balanced (stoichiometric and cold) the traces that fix the
// last direction weigh 1e-14 of the rest.
constexpr double kPivotTolerance = 1e-18;
// Iterations in a row that, below kStallTolerance, no longer halve the residual: round-off.
constexpr int kStalledSteps = 3;
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

// Solves A x = r for n <= kMaxUnknowns unknowns and nr right-hand sides (columns of r, stride
// kMaxUnknowns) by Gaussian elimination with partial pivoting. A and r are overwritten; the
// solutions are left in r. False when a pivot falls below kPivotTolerance times the largest
// entry of A.
bool solve_small(int n, double (*A)[kMaxUnknowns], double (*r)[kMaxUnknowns], int nr) noexcept {
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

// Solves the symmetric system G s = rhs of q unknowns, each row and column scaled by the root of
// its largest entry; an unknown whose row is negligible (its species have all but vanished) keeps
// s = 0. A ridge solves a system that is singular beyond that. False when even that fails.
bool solve_scaled(int q, const double (*G)[kMaxUnknowns], const double* rhs, double* s) noexcept {
    double scale[kMaxUnknowns];
    double A[kMaxUnknowns][kMaxUnknowns];
    double b[1][kMaxUnknowns];
    int map[kMaxUnknowns];
    int count = 0;
    for (int r = 0; r < q; ++r) {
        s[r] = 0.0;
        double size = 0.0;
        for (int k = 0; k < q; ++k) size = std::max(size, std::fabs(G[r][k]));
        scale[r] = size > kNegligibleRow ? 1.0 / std::sqrt(size) : 0.0;
        if (size > kNegligibleRow) map[count++] = r;
    }
    for (int attempt = 0; attempt < 2; ++attempt) {
        for (int i = 0; i < count; ++i) {
            for (int k = 0; k < count; ++k) A[i][k] = G[map[i]][map[k]] * scale[map[i]] * scale[map[k]];
            if (attempt == 1) A[i][i] += kRidge;
            b[0][i] = rhs[map[i]] * scale[map[i]];
        }
        if (solve_small(count, A, b, 1)) {
            for (int i = 0; i < count; ++i) s[map[i]] = b[0][i] * scale[map[i]];
            return true;
        }
    }
    return false;
}

}  // namespace

// ---- species data --------------------------------------------------------------------------------

species_thermo nasa_polynomial::at(double T) const noexcept { return at(T, std::log(T)); }

species_thermo nasa_polynomial::at(double T, double lnT) const noexcept {
    int r = 0;
    while (r + 1 < range_count && T > bounds[r + 1]) ++r;
    const double* c = a[r];
    species_thermo out;
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
    m_active_count = 0;
    for (int j = 0; j < ns; ++j) {
        m_active_count += m_active[j] ? 1 : 0;
        m_nonzero_count[j] = 0;
        for (int r = 0; r < m_balances; ++r)
            if (m_a[r][j] != 0.0) {
                m_nonzero_row[j][m_nonzero_count[j]] = r;
                m_nonzero_a[j][m_nonzero_count[j]] = m_a[r][j];
                ++m_nonzero_count[j];
            }
    }
    for (int j = ns; j < kMaxSpecies; ++j) m_active[j] = false;
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

// The unknowns x: the element potentials x[0..m) and, at given pressure, x[m] = ln N.
struct mixture::work {
    double T = 0.0;
    double rho = 0.0;  // kg/m3 (at given density)
    double p = 0.0;    // Pa (at given pressure)
    bool at_pressure = false;
    int ns = 0;
    int unknowns = 0;  // m, or m + 1 at given pressure
    double c[kMaxSpecies];     // ln n_j = c_j + sum_r a_rj x_r (+ x[m] at given pressure)
    double h_RT[kMaxSpecies];
};

void mixture::prepare(double T, double rho_or_p, bool at_pressure, work& w) const noexcept {
    w.T = T;
    w.at_pressure = at_pressure;
    w.rho = at_pressure ? 0.0 : rho_or_p;
    w.p = at_pressure ? rho_or_p : 0.0;
    w.ns = m_set.species_count();
    w.unknowns = m_balances + (at_pressure ? 1 : 0);
    const double shift = at_pressure ? std::log(rho_or_p / kReferencePressure)
                                     : std::log(rho_or_p * kGasConstant * T / kReferencePressure);
    const double lnT = std::log(T);
    for (int j = 0; j < w.ns; ++j) {
        const species_thermo th = m_set.at(j).thermo.at(T, lnT);
        w.h_RT[j] = th.h_RT;
        w.c[j] = -th.g_RT() - shift;
    }
}

// ln n_j of the active species at x (inactive ones: -kHuge); returns the largest.
double mixture::log_amounts(const work& w, const double* x, double* l) const noexcept {
    double top = -kHuge;
    const double lnN = w.at_pressure ? x[m_balances] : 0.0;
    for (int j = 0; j < w.ns; ++j) {
        if (!m_active[j]) {
            l[j] = -kHuge;
            continue;
        }
        double v = w.c[j] + lnN;
        for (int r = 0; r < m_balances; ++r) v += m_a[r][j] * x[r];
        l[j] = v;
        top = std::max(top, v);
    }
    return top;
}

// Fills n (mol/kg; capped at e^kMaxExponent) and returns the largest ln n_j.
double mixture::amounts(const work& w, const double* x, double* n) const noexcept {
    double l[kMaxSpecies];
    const double top = log_amounts(w, x, l);
    for (int j = 0; j < w.ns; ++j) n[j] = l[j] == -kHuge ? 0.0 : std::exp(std::min(l[j], kMaxExponent));
    return top;
}

// The log-form balances F (and their Jacobian J, stride kMaxUnknowns, when asked): for an element
// row F_r = ln(sum_j a_rj n_j / b_r), for the charge row F = ln(positive charge / negative
// charge), at given pressure also F_m = ln(sum_j n_j / N). The amounts are taken relative to the
// largest one; a row whose carriers all lie more than ~575 decades below it is summed again
// relative to its own largest term. Returns max |F| (kHuge when not finite).
double mixture::residual(const work& w, const double* x, double* F, double* J) const noexcept {
    const int m = m_balances;
    const int q = w.unknowns;
    double l[kMaxSpecies];
    const double top = log_amounts(w, x, l);
    if (!(top > -kHuge) || !std::isfinite(top)) return kHuge;

    // One pass over the species and their nonzero coefficients: per row the sum of a_rj t_j over
    // the positive coefficients (pos) and over the negative ones (neg, the charge row only), with
    // t_j = e^(l_j - top), and the sums of a_rj a_kj t_j that give the rows' mean coefficients.
    double pos[kMaxBalances] = {}, neg[kMaxBalances] = {};
    double G_pos[kMaxBalances][kMaxBalances] = {}, G_neg[kMaxBalances] = {};
    double total = 0.0, total_a[kMaxBalances] = {};
    for (int j = 0; j < w.ns; ++j) {
        if (l[j] == -kHuge) continue;
        const double t = std::exp(l[j] - top);
        if (t == 0.0) continue;
        total += t;
        const int count = m_nonzero_count[j];
        const int* rows = m_nonzero_row[j];
        const double* coefficient = m_nonzero_a[j];
        for (int u = 0; u < count; ++u) {
            const int r = rows[u];
            const double at = coefficient[u] * t;
            if (at > 0.0) {
                pos[r] += at;
                if (J != nullptr)
                    for (int v = 0; v < count; ++v) G_pos[r][rows[v]] += at * coefficient[v];
            } else {
                neg[r] -= at;
                if (J != nullptr)  // only the charge row has negative coefficients
                    for (int v = 0; v < count; ++v) G_neg[rows[v]] -= at * coefficient[v];
            }
            if (J != nullptr && q > m) total_a[r] += at;
        }
    }

    // A row whose carriers all lie more than ~575 decades below the largest amount is summed
    // again relative to its own largest term.
    const auto rescaled = [&](int r, double sign, double& log_sum, double* mean) noexcept {
        double scale = -kHuge;
        for (int j = 0; j < w.ns; ++j)
            if (sign * m_a[r][j] > 0.0 && l[j] > -kHuge) scale = std::max(scale, l[j]);
        if (scale == -kHuge) return false;
        double sum = 0.0;
        double acc[kMaxBalances] = {};
        for (int j = 0; j < w.ns; ++j) {
            const double a = sign * m_a[r][j];
            if (!(a > 0.0) || l[j] == -kHuge) continue;
            const double t = a * std::exp(l[j] - scale);
            sum += t;
            for (int k = 0; k < m; ++k) acc[k] += t * m_a[k][j];
        }
        log_sum = scale + std::log(sum);
        if (mean != nullptr)
            for (int k = 0; k < m; ++k) mean[k] = acc[k] / sum;
        return true;
    };

    double worst = 0.0;
    for (int r = 0; r < m; ++r) {
        double log_pos = 0.0;
        double mean_pos[kMaxBalances];
        if (pos[r] > kSmallSum) {
            log_pos = top + std::log(pos[r]);
            if (J != nullptr)
                for (int k = 0; k < m; ++k) mean_pos[k] = G_pos[r][k] / pos[r];
        } else if (!rescaled(r, 1.0, log_pos, J != nullptr ? mean_pos : nullptr)) {
            return kHuge;
        }
        if (r == m_charge_row) {
            double log_neg = 0.0;
            double mean_neg[kMaxBalances];
            if (neg[r] > kSmallSum) {
                log_neg = top + std::log(neg[r]);
                if (J != nullptr)
                    for (int k = 0; k < m; ++k) mean_neg[k] = G_neg[k] / neg[r];
            } else if (!rescaled(r, -1.0, log_neg, J != nullptr ? mean_neg : nullptr)) {
                return kHuge;
            }
            F[r] = log_pos - log_neg;
            if (J != nullptr) {
                for (int k = 0; k < m; ++k) J[r * kMaxUnknowns + k] = mean_pos[k] - mean_neg[k];
                if (q > m) J[r * kMaxUnknowns + m] = 0.0;  // both sides scale with N
            }
        } else {
            F[r] = log_pos - std::log(m_b[r]);
            if (J != nullptr) {
                for (int k = 0; k < m; ++k) J[r * kMaxUnknowns + k] = mean_pos[k];
                if (q > m) J[r * kMaxUnknowns + m] = 1.0;
            }
        }
        if (!std::isfinite(F[r])) return kHuge;
        worst = std::max(worst, std::fabs(F[r]));
    }
    if (q > m) {  // the total moles
        F[m] = top + std::log(total) - x[m];
        if (J != nullptr) {
            for (int k = 0; k < m; ++k) J[m * kMaxUnknowns + k] = total_a[k] / total;
            J[m * kMaxUnknowns + m] = 0.0;
        }
        if (!std::isfinite(F[m])) return kHuge;
        worst = std::max(worst, std::fabs(F[m]));
    }
    return worst;
}

// Charge neutrality alone, by Newton in the charge potential (one step when all charges are +-1).
void mixture::balance_charge(const work& w, double* x) const noexcept {
    if (m_charge_row < 0) return;
    double F[kMaxUnknowns];
    double J[kMaxUnknowns * kMaxUnknowns];
    for (int it = 0; it < 4; ++it) {
        if (residual(w, x, F, J) == kHuge) return;
        const double d = J[m_charge_row * kMaxUnknowns + m_charge_row];
        if (!(d > 0.0)) return;
        x[m_charge_row] -= F[m_charge_row] / d;
        if (std::fabs(F[m_charge_row]) < kBalanceTolerance) return;
    }
}

bool mixture::newton(work& w, double* x, std::int32_t& iterations, std::int32_t cap) const noexcept {
    const int q = w.unknowns;
    double F[kMaxUnknowns];
    double J[kMaxUnknowns * kMaxUnknowns];
    double worst = residual(w, x, F, J);
    int stalled = 0;
    for (std::int32_t it = 0; it < cap; ++it) {
        if (worst < kBalanceTolerance) return true;
        if (worst == kHuge) return false;
        double A[kMaxUnknowns][kMaxUnknowns];
        double step[1][kMaxUnknowns];
        for (int r = 0; r < q; ++r) {
            for (int k = 0; k < q; ++k) A[r][k] = J[r * kMaxUnknowns + k];
            step[0][r] = -F[r];
        }
        if (!solve_small(q, A, step, 1)) {
            // Nearly dependent rows (one species carrying two elements in an exactly balanced
            // mixture, say): a ridge leaves the undetermined direction alone and solves the rest.
            for (int r = 0; r < q; ++r) {
                for (int k = 0; k < q; ++k) A[r][k] = J[r * kMaxUnknowns + k];
                A[r][r] += kRidge;
                step[0][r] = -F[r];
            }
            if (!solve_small(q, A, step, 1)) return false;
        }
        ++iterations;
        double longest = 0.0;
        for (int r = 0; r < q; ++r) longest = std::max(longest, std::fabs(step[0][r]));
        double t = longest > kMaxPotentialStep ? kMaxPotentialStep / longest : 1.0;
        double merit = 0.0;
        for (int r = 0; r < q; ++r) merit += F[r] * F[r];
        double trial[kMaxUnknowns];
        double Ft[kMaxUnknowns];
        double trial_worst = kHuge;
        bool descended = false;
        int back = 0;
        for (; back < kBacktracks; ++back, t *= 0.5) {
            for (int r = 0; r < q; ++r) trial[r] = x[r] + t * step[0][r];
            // The full step is taken with its Jacobian, which then serves the next iteration.
            trial_worst = residual(w, trial, Ft, back == 0 ? J : nullptr);
            if (trial_worst == kHuge) continue;
            double trial_merit = 0.0;
            for (int r = 0; r < q; ++r) trial_merit += Ft[r] * Ft[r];
            if (trial_merit < merit) {
                descended = true;
                break;
            }
        }
        // No step along the Newton direction lowers the residual: at round-off that is the answer,
        // elsewhere the iteration has failed (it never takes a step uphill).
        if (!descended) return worst < kStallTolerance;
        for (int r = 0; r < q; ++r) {
            x[r] = trial[r];
            F[r] = Ft[r];
        }
        // Below kStallTolerance a residual that stops halving wanders in round-off.
        stalled = trial_worst < kStallTolerance && trial_worst > 0.5 * worst ? stalled + 1 : 0;
        if (stalled >= kStalledSteps) return true;
        worst = trial_worst;
        if (back > 0 && worst >= kBalanceTolerance) worst = residual(w, x, F, J);  // a shortened step: its Jacobian
    }
    return worst < kBalanceTolerance;
}

// Gordon and McBride's iteration (NASA RP-1311 part I, eqs. 2.24-2.26 at given (T, p) and
// 2.45-2.46 at given (T, V), with the step control of eqs. 3.1-3.3) from equal amounts of every
// species. Leaves the Lagrange multipliers (and ln N) in x; true when no species changes by more
// than kStartTolerance of the total in a step.
bool mixture::gibbs_start(const work& w, double* x, std::int32_t& iterations) const noexcept {
    const int m = m_balances;
    const int q = w.unknowns;
    const bool tp = w.at_pressure;
    double ln_n[kMaxSpecies];
    double n[kMaxSpecies];
    double mu[kMaxSpecies];
    double d[kMaxSpecies];
    double ln_total = std::log(kStartMoles);
    const double start = std::log(kStartMoles / std::max(m_active_count, 1));
    for (int j = 0; j < w.ns; ++j) ln_n[j] = m_active[j] ? start : -kHuge;
    for (int r = 0; r < q; ++r) x[r] = 0.0;
    if (tp) x[m] = ln_total;
    bool converged = false;
    for (std::int32_t it = 0; it < m_limits.start_iterations && !converged; ++it) {
        double sum_n = 0.0;
        for (int j = 0; j < w.ns; ++j) {
            n[j] = m_active[j] ? std::exp(ln_n[j]) : 0.0;
            sum_n += n[j];
        }
        if (!(sum_n > 0.0) || !std::isfinite(sum_n)) return false;
        for (int j = 0; j < w.ns; ++j)
            mu[j] = m_active[j] ? ln_n[j] - w.c[j] - (tp ? ln_total : 0.0) : 0.0;  // mu_j / RT
        // The reduced system: G pi (+ column of sum a n times dln N) = rhs.
        double G[kMaxUnknowns][kMaxUnknowns] = {};
        double rhs[1][kMaxUnknowns] = {};
        for (int k = 0; k < m; ++k) {
            double bk = 0.0, amu = 0.0;
            for (int j = 0; j < w.ns; ++j) {
                const double akn = m_a[k][j] * n[j];
                if (akn == 0.0) continue;
                bk += akn;
                amu += akn * mu[j];
                for (int i = 0; i < m; ++i) G[k][i] += akn * m_a[i][j];
            }
            if (tp) G[k][m] = bk;
            rhs[0][k] = m_b[k] - bk + amu;
        }
        if (tp) {
            double nmu = 0.0;
            for (int j = 0; j < w.ns; ++j) nmu += n[j] * mu[j];
            for (int i = 0; i < m; ++i) G[m][i] = G[i][m];
            G[m][m] = sum_n - std::exp(ln_total);
            rhs[0][m] = std::exp(ln_total) - sum_n + nmu;
        }
        // A row whose species have all but vanished (the charge row of a cold gas, say) keeps its
        // multiplier.
        double pi[kMaxUnknowns];
        if (!solve_scaled(q, G, rhs[0], pi)) return false;
        ++iterations;
        for (int r = 0; r < m; ++r)
            if (std::fabs(G[r][r]) > kNegligibleRow) x[r] = pi[r];  // (pi = 0 where it was not solved)
        const double d_total = tp ? pi[m] : 0.0;
        // Corrections and the control factor.
        const double ln_sum = std::log(sum_n);
        double largest = tp ? 5.0 * std::fabs(d_total) : 0.0;
        double lambda2 = 1.0;
        double change = tp ? std::exp(ln_total) * std::fabs(d_total) / sum_n : 0.0;
        for (int j = 0; j < w.ns; ++j) {
            if (!m_active[j]) continue;
            double v = -mu[j] + d_total;
            for (int r = 0; r < m; ++r) v += m_a[r][j] * pi[r];
            d[j] = v;
            change = std::max(change, n[j] * std::fabs(v) / sum_n);
            const double relative = ln_n[j] - (tp ? ln_total : ln_sum);
            if (relative > -kTraceSize) {
                if (v > 0.0) largest = std::max(largest, v);
            } else if (v >= 0.0 && v - d_total > 0.0) {
                lambda2 = std::min(lambda2, std::fabs((-relative - kTraceStep) / (v - d_total)));
            }
        }
        const double lambda1 = largest > 0.0 ? 2.0 / largest : 1.0;
        const double step = std::min({1.0, lambda1, lambda2});
        for (int j = 0; j < w.ns; ++j)
            if (m_active[j]) ln_n[j] = std::max(ln_n[j] + step * d[j], -kMaxExponent * 4.0);
        if (tp) ln_total += step * d_total;
        converged = change < kStartTolerance && step == 1.0;
    }
    if (tp) x[m] = ln_total;
    balance_charge(w, x);
    return converged;
}

// Damped Newton on the convex dual Phi(lambda) = sum_j n_j - sum_r b_r lambda_r: its minimum is
// the equilibrium, and with the Armijo search every step lowers Phi, so it converges from any
// finite start; the charge potential is re-balanced exactly after every step. At given density only.
bool mixture::dual_fallback(work& w, double* lambda, std::int32_t& iterations) const noexcept {
    const int m = m_balances;
    const auto phi = [&](const double* lam, double* n) {
        if (amounts(w, lam, n) > kMaxExponent) return kHuge;
        double sum = 0.0;
        for (int j = 0; j < w.ns; ++j) sum += n[j];
        for (int r = 0; r < m; ++r) sum -= m_b[r] * lam[r];
        return sum;
    };
    double F[kMaxUnknowns];
    double n[kMaxSpecies];
    balance_charge(w, lambda);
    double value = phi(lambda, n);
    if (value == kHuge) {
        for (int r = 0; r < kMaxUnknowns; ++r) lambda[r] = 0.0;
        balance_charge(w, lambda);
        value = phi(lambda, n);
        if (value == kHuge) return false;
    }
    for (std::int32_t it = 0; it < m_limits.fallback_iterations; ++it) {
        // Close to the minimum, Phi changes by less than its round-off: the log-form Newton
        // iteration finishes quadratically from here.
        if (residual(w, lambda, F, nullptr) < kPolishResidual) return newton(w, lambda, iterations, kPolishIterations);
        double H[kMaxUnknowns][kMaxUnknowns] = {};
        double g[1][kMaxUnknowns] = {};
        for (int r = 0; r < m; ++r) {
            g[0][r] = -m_b[r];
            for (int j = 0; j < w.ns; ++j) {
                if (m_a[r][j] == 0.0) continue;
                g[0][r] += m_a[r][j] * n[j];
                for (int k = 0; k < m; ++k) H[r][k] += m_a[r][j] * m_a[k][j] * n[j];
            }
        }
        // A little ridge keeps rows whose species have underflowed solvable.
        double step[1][kMaxUnknowns];
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
        double trial[kMaxUnknowns] = {};
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

// Moves a neighbour's potentials (and ln N) to this state, to first order: the least-squares change
// that keeps the amounts of the neighbour's species, weighted by those amounts, where they were.
void mixture::predict(const work& w, const state& st, double* x) const noexcept {
    const int m = m_balances;
    const int q = w.unknowns;
    double l[kMaxSpecies];
    log_amounts(w, x, l);
    double G[kMaxUnknowns][kMaxUnknowns] = {};
    double rhs[kMaxUnknowns] = {};
    const double floor = kPredictorShare * st.total_moles;
    for (int j = 0; j < w.ns; ++j) {
        const double n = st.n[j];
        if (!m_active[j] || !(n > floor)) continue;
        const double d = l[j] - std::log(n);
        for (int r = 0; r < m; ++r) {
            const double an = m_a[r][j] * n;
            if (an == 0.0) continue;
            rhs[r] -= an * d;
            for (int k = 0; k < m; ++k) G[r][k] += an * m_a[k][j];
            if (q > m) G[r][m] += an;
        }
        if (q > m) {
            rhs[m] -= n * d;
            G[m][m] += n;
        }
    }
    if (q > m)
        for (int k = 0; k < m; ++k) G[m][k] = G[k][m];
    double dx[kMaxUnknowns];
    if (!solve_scaled(q, G, rhs, dx)) return;
    for (int r = 0; r < q; ++r) x[r] += dx[r];
}

// The state of the unknowns x: amounts, totals, density and pressure.
void mixture::finish(const work& w, const double* x, state& st) const noexcept {
    st.T = w.T;
    amounts(w, x, st.n);
    double N = 0.0;
    for (int j = 0; j < w.ns; ++j) N += st.n[j];
    for (int j = w.ns; j < kMaxSpecies; ++j) st.n[j] = 0.0;
    st.total_moles = N;
    if (w.at_pressure) {
        st.p = w.p;
        st.rho = w.p / (kGasConstant * w.T * N);
    } else {
        st.rho = w.rho;
        st.p = w.rho * kGasConstant * w.T * N;
    }
    for (int r = 0; r < kMaxBalances; ++r) st.lambda[r] = r < m_balances ? x[r] : 0.0;
}

status mixture::solve_prepared(work& w, state& st, bool warm) const noexcept {
    const int m = m_balances;
    double x[kMaxUnknowns] = {};
    const bool have_start = warm && st.has_potentials && st.total_moles > 0.0 && std::isfinite(st.total_moles);
    std::int32_t iterations = 0;
    bool ok = false;
    if (have_start) {
        for (int r = 0; r < m; ++r) x[r] = st.lambda[r];
        if (w.at_pressure) x[m] = std::log(st.total_moles);
        const bool moved = st.T != w.T || (w.at_pressure ? st.p != w.p : st.rho != w.rho);
        if (moved) predict(w, st, x);
        bool finite = true;
        for (int r = 0; r < w.unknowns; ++r) finite = finite && std::isfinite(x[r]);
        ok = finite && newton(w, x, iterations, m_limits.newton_iterations);
    }
    if (!ok) {  // cold, or a poor neighbour: start again from equal amounts
        gibbs_start(w, x, iterations);
        ok = newton(w, x, iterations, m_limits.newton_iterations);
    }
    status result = status::converged;
    if (!ok && !w.at_pressure) {
        result = status::converged_by_fallback;
        ok = dual_fallback(w, x, iterations);
    }
    st.iterations = iterations;
    finish(w, x, st);
    if (!ok || !std::isfinite(st.p) || !std::isfinite(st.rho) || !(st.total_moles > 0.0)) {
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
    prepare(T, rho, false, w);
    const status s = solve_prepared(w, st, warm);
    if (s == status::not_converged) report(T, rho, "not solved");
    return s;
}

status mixture::solve_T_p(double T, double p, state& st, bool warm) const noexcept {
    if (!m_ready || !std::isfinite(T) || !std::isfinite(p) || !(T > 0.0) || !(p > 0.0)) {
        st.result = status::invalid_input;
        return st.result;
    }
    work w;
    prepare(T, p, true, w);
    const std::int32_t direct_iterations = [&] {
        const status s = solve_prepared(w, st, warm);
        return s == status::converged ? -1 : st.iterations;
    }();
    if (direct_iterations < 0) return st.result;
    // The direct iteration failed: iterate on the density over (T, rho) solves, which have their
    // own fallback.
    const status s = pressure_by_density(T, p, st);
    st.iterations += direct_iterations;
    return s;
}

// Solves H dlambda = rhs for the two right-hand sides of the composition derivatives,
// H_rk = sum_j a_rj a_kj n_j, with H scaled to a unit diagonal. A row whose species have all
// underflowed holds nothing that matters and keeps a zero derivative.
bool mixture::composition_derivatives(const double* n, const double* rhs_T, double* d_T, double* d_rho) const noexcept {
    const int m = m_balances;
    const int ns = m_set.species_count();
    double H[kMaxUnknowns][kMaxUnknowns] = {};
    for (int r = 0; r < m; ++r)
        for (int k = 0; k < m; ++k)
            for (int j = 0; j < ns; ++j) H[r][k] += m_a[r][j] * m_a[k][j] * n[j];
    int keep[kMaxBalances];
    int q = 0;
    for (int r = 0; r < m; ++r)
        if (H[r][r] > kNegligibleRow) keep[q++] = r;
    double A[kMaxUnknowns][kMaxUnknowns];
    double rhs[2][kMaxUnknowns];
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

status mixture::pressure_by_density(double T, double p, state& st) const noexcept {
    double N = 0.0;  // undissociated: the start mixture's moles, or two atoms a molecule
    if (m_reference_molar_mass > 0.0) N = 1.0 / m_reference_molar_mass;
    else
        for (int r = 0; r < m_balances; ++r) N += 0.5 * m_b[r];
    double ln_rho = std::log(p / (kGasConstant * T * N));
    st.has_potentials = false;
    double lo = -kHuge;
    double hi = kHuge;
    work w;
    std::int32_t iterations = 0;
    for (std::int32_t it = 0; it < m_limits.pressure_iterations; ++it) {
        prepare(T, std::exp(ln_rho), false, w);
        const status s = solve_prepared(w, st, true);
        iterations += st.iterations;
        if (!succeeded(s)) break;
        const double f = std::log(st.p / p);
        if (std::fabs(f) < kPressureTolerance) {
            st.iterations = iterations;
            st.result = status::converged_by_fallback;
            return st.result;
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
    prepare(T, rho, false, w);
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
    double A[kMaxUnknowns][kMaxUnknowns] = {};
    double rhs[1][kMaxUnknowns] = {};
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
    double lambda[kMaxUnknowns] = {};
    for (int r = 0; r < m; ++r) lambda[r] = rhs[0][r];
    balance_charge(w, lambda);
    for (int r = 0; r < kMaxBalances; ++r) st.lambda[r] = r < m ? lambda[r] : 0.0;
    st.total_moles = 1.0 / M;  // undissociated, a start for a solve at given pressure
    st.rho = rho;
    st.T = T;
    st.p = rho * kGasConstant * T / M;
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
    const double lnT = std::log(T);
    for (int j = 0; j < ns; ++j) {
        const species_thermo th = m_set.at(j).thermo.at(T, lnT);
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
    out.dlnp_dlnT_rho = alpha;
    out.dlnp_dlnrho_T = beta;
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
