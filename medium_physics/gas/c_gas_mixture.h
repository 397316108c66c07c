// What the ideal-gas and perfect-gas mixtures share: the substance arrays, the mixture rules
// (R = 8.3144 sum(Y_i / M_i), cp = sum(Y_i cp_i), h = sum(Y_i h_i), mole-fraction averages of
// viscosity and conductivity), the Newton iterations on temperature, the (p, T) and (p, rho)
// operations, the stream record, and the radiation of CO2 and H2O (radiation/c_wsgg_radiation.h).
// The two media differ only in their substance (cp(T) table or
// constant cp) and in their density-based operations.
//
// Newton iterations: the medium stores a relative tolerance (1e-05) and an iteration limit N (100);
// an iteration has converged when |T_old - T_new| <= T_old * tolerance. When it runs out of steps
// it writes warning 3002 through the first substance's sink and answers its start value.
#pragma once

#include <cmath>
#include <cstdint>
#include <memory>

#include "factory/c_medium_physics.h"
#include "factory/c_memory_pool.h"
#include "framework/c_thermodynamic_base.h"
#include "file_io/c_file_io/c_file_io.h"
#include "factory/mp_log.h"
#include "radiation/c_wsgg_radiation.h"

namespace mp {

inline constexpr const char* kInconsistentParameters =
    "Warning 3002: MediumPhysics: %s(%d): Inconsistent physical parameters!\n";

// Runs T_k = step(T_{k-1}) from T_start until |T_old - T_new| <= T_old * tol; the step numbered
// `fail_step` is computed and then refused. True with the converged T; false when refused.
template <class Step>
bool newton_on_T(double T_start, std::int64_t fail_step, double tol, Step&& step, double& T) noexcept {
    double T_old = T_start;
    for (std::int64_t k = 1;; ++k) {
        const double T_new = step(T_old);
        if (k >= fail_step) return false;
        if (std::fabs(T_old - T_new) <= T_old * tol) {
            T = T_new;
            return true;
        }
        T_old = T_new;
    }
}

}  // namespace mp

template <class Derived, class Substance>
class C_gas_mixture : public I_write,
                      public C_thermodynamic_base,
                      public C_wsgg_radiation,
                      public C_generic_gas_operations,
                      public C_constant_gamma_closures,
                      public CHostAPIBaseClass<Derived>,
                      public virtual IHostUnknown,
                      public virtual FluidRadProp::IRadPropFunctionality,
                      public virtual I_fluid_thermodynamics,
                      public virtual I_solver__fluid_thermodynamics_common,
                      public virtual I_solver__thermodynamics_P_H,
                      public virtual I_solver__thermodynamics_Rho_E,
                      public virtual I_fluid_ideal_gas {
public:
    using substance_ptr = std::shared_ptr<Substance>;
    using substances = host_shared_array<substance_ptr>;
    static constexpr double kDefaultTolerance = 1e-05;
    static constexpr std::int32_t kDefaultLimit = 100;
    // Limits a stream may hold: larger ones only come from damaged records.
    static constexpr std::int32_t kMaxLimit = 1000000;

    ~C_gas_mixture() override = default;

    std::int32_t substance_count() const noexcept { return m_count; }
    const Substance& substance(std::int32_t i) const noexcept { return *m_flat[static_cast<std::size_t>(i)]; }
    double tolerance() const noexcept { return m_tolerance; }
    std::int32_t iteration_limit() const noexcept { return m_limit; }

    substance_array get_substances() const override { return thermo::substance_array_of(m_substances); }

    // ---- common operations ----
    double get_cp(double, double T, const double* Y) const noexcept override {
        const std::int32_t at = interval(T);
        double cp = 0.0;
        for (std::int32_t i = 0; i < m_count; ++i) cp += Y[i] * m_flat[static_cast<std::size_t>(i)]->cp_at(at, T);
        return cp;
    }
    double get_viscosity(double, double T, const double* Y) const noexcept override {
        double clean[thermo::kMaxCleanedSubstances];
        thermo::clean_mass_fractions(m_count, Y, clean);
        double mu = 0.0;
        transport(T, clean, &mu, nullptr);
        return mu;
    }
    double get_conductivity(double, double T, const double* Y) const noexcept override {
        double clean[thermo::kMaxCleanedSubstances];
        thermo::clean_mass_fractions(m_count, Y, clean);
        double lambda = 0.0;
        transport(T, clean, nullptr, &lambda);
        return lambda;
    }
    double get_prandtl(double p, double T, const double* Y) const noexcept override {
        double mu = 0.0, lambda = 0.0;
        transport(T, Y, &mu, &lambda);
        return mu * get_cp(p, T, Y) / lambda;
    }
    double get_expansion_factor(double, double, const double*) const noexcept override { return 1.0; }
    void get_properties_p_T(double p, double T, const double* Y, double* rho, double* h, double* cp, double* gamma,
                            double* M, double* a, double* mu, double* lambda) const noexcept override {
        // Through the medium's own operations, so that a class overriding one changes this too.
        *rho = get_density(p, T, Y);
        *h = get_enthalpy(p, T, Y);
        *cp = get_cp(p, T, Y);
        const double inv = inverse_molar_mass(Y);
        *M = 1.0 / inv;
        *gamma = thermo::gamma_from_cp(*cp, thermo::kUniversalGasConstant * inv);
        *a = get_sound_speed(p, T, Y);
        *mu = get_viscosity(p, T, Y);
        *lambda = get_conductivity(p, T, Y);
    }
    double get_mole_fraction(double, double, const double* Y, std::int32_t k) const noexcept override {
        if (k < 0 || k >= m_count) return 0.0;
        return (Y[k] / m_flat[static_cast<std::size_t>(k)]->molar_mass()) / inverse_molar_mass(Y);
    }
    double get_mass_fraction(double, double, const double* X, std::int32_t k) const noexcept override {
        if (k < 0 || k >= m_count) return 0.0;
        double sum = 0.0;
        for (std::int32_t i = 0; i < m_count; ++i) sum += X[i] * m_flat[static_cast<std::size_t>(i)]->molar_mass();
        return X[k] * m_flat[static_cast<std::size_t>(k)]->molar_mass() / sum;
    }

    // ---- pressure-based operations ----
    // get_properties_p_H, RhoT and get_T_p_h are the media's own (each reports its failures from its
    // own source file); they do the work through properties_from_H, rho_T_from_H and T_from_h.

    double get_enthalpy(double, double T, const double* Y) const noexcept override {
        const std::int32_t at = interval(T);
        double h = 0.0;
        for (std::int32_t i = 0; i < m_count; ++i) {
            double c = 0.0, hh = 0.0;
            m_flat[static_cast<std::size_t>(i)]->cp_h_at(at, T, c, hh);
            h += Y[i] * hh;
        }
        return h;
    }
    double get_density(double p, double T, const double* Y) const noexcept override {
        return p / (gas_constant(Y) * T);
    }
    double get_sound_speed(double p, double T, const double* Y) const noexcept override {
        const double R = gas_constant(Y);
        const double cp = get_cp(p, T, Y);
        return std::sqrt(R * T * cp / (cp - R));
    }
    double get_drho_dp(double, double T, const double* Y) const noexcept override { return 1.0 / (gas_constant(Y) * T); }

    // ---- density-based operation 2 (the same for both media: e = h(T) - R T) ----
    void get_properties_p_rho(double p, double rho, const double* Y, double, double* e, double* T, double* cp,
                              double* gamma, double* M, double* a, double* mu, double* lambda) const noexcept override {
        double x[thermo::kMaxCleanedSubstances];
        const double inv = inverse_molar_mass(Y, x);
        const double R = thermo::kUniversalGasConstant * inv;
        const double Ts = p / (R * rho);
        fill_state(Ts, R, inv, Y, x, T, cp, gamma, M, a, mu, lambda);
        *e = get_enthalpy(p, Ts, Y) - R * Ts;
    }

    // ---- I_fluid_ideal_gas ----
    double pressure_rho_T(double rho, double T, const double* Y) const noexcept override {
        return rho * gas_constant(Y) * T;
    }
    double density_p_T(double p, double T, const double* Y) const noexcept override {
        return p / (gas_constant(Y) * T);
    }

    // ---- stream ----
    // Record: int32 0; the identity; tolerance; limit; int32 count; the substance identifiers.
    void write(C_file_io& stream) const override {
        stream.put<std::int32_t>(0);
        write_identity(stream);
        stream.put(m_tolerance);
        stream.put(m_limit);
        stream.put(m_count);
        for (std::int32_t i = 0; i < m_count; ++i) stream.write_guid(m_flat[static_cast<std::size_t>(i)]->identity());
    }

    // Rebuilds a medium from its record, its substances from the factory's cache. nullptr when the
    // record is not version 0, is implausible, or names a substance the factory does not hold.
    static std::shared_ptr<Derived> load(C_file_io& stream, const C_medium_physics& factory) {
        if (stream.get<std::int32_t>() != 0) return nullptr;
        std::shared_ptr<Derived> medium(new Derived());
        medium->read_identity(stream);
        medium->m_tolerance = stream.get<double>();
        medium->m_limit = stream.get<std::int32_t>();
        const auto count = stream.get<std::int32_t>();
        if (!(medium->m_tolerance >= 0.0) || !std::isfinite(medium->m_tolerance) || medium->m_limit < 0 ||
            medium->m_limit > kMaxLimit || count < 0 || count > thermo::kMaxCleanedSubstances)
            return nullptr;
        substances list(count);
        if (!factory.read_substances<Derived::kCacheIndex>(stream, count, list) || !medium->assign(list))
            return nullptr;
        return medium;
    }

    // Takes the substances (shared) and their flat pointer copy for the property loops, labelled
    // with the caller's statement. False when the pointer array cannot be had.
    bool assign(const substances& list, mp::site where = mp::site::here()) {
        m_substances = list;
        m_count = list.size();
        if (!m_flat.allocate(static_cast<std::size_t>(m_count), where)) return false;
        for (std::int32_t i = 0; i < m_count; ++i) m_flat[static_cast<std::size_t>(i)] = list[i].get();
        // When every table of every substance lies on one temperature grid, one interval search
        // per temperature serves them all.
        m_grid = nullptr;
        for (std::int32_t i = 0; i < m_count && m_grid == nullptr; ++i) m_grid = list[i]->some_table();
        for (std::int32_t i = 0; i < m_count && m_grid != nullptr; ++i)
            if (!list[i]->on_grid(*m_grid)) m_grid = nullptr;
        // CO2 and H2O, whose gray gases the radiation operations answer.
        find_absorbers(
            m_count, [&](std::int32_t i) { return list[i]->name().to_utf8(); },
            [&](std::int32_t i) { return list[i]->molar_mass(); });
        return true;
    }

    // ---- radiation ----
    // The medium itself when it holds CO2 or H2O (it answers their gray gases), else nothing.
    std::shared_ptr<FluidRadProp::I_radiation_properties> get_radiation_properties() const noexcept override {
        if (!has_absorbers()) return {};
        return std::const_pointer_cast<Derived>(this->weak_from_this().lock());
    }

protected:
    C_gas_mixture() = default;

    // The work of get_properties_p_H: T from the total enthalpy by Newton from T0, then every
    // property at it. False when the iteration failed and the state was taken at T0.
    bool properties_from_H(double H, double p, const double* Y, double G2, double T0, double* rho, double* T,
                           double* cp, double* gamma, double* M, double* a, double* mu, double* lambda,
                           double* p_out) const noexcept {
        double x[thermo::kMaxCleanedSubstances];
        const double inv = inverse_molar_mass(Y, x);
        const double R = thermo::kUniversalGasConstant * inv;
        double Ts = T0;
        const bool ok = solve_T_from_H(H, p, Y, G2, T0, R, Ts);
        if (!ok) Ts = T0;
        *rho = p / (R * Ts);
        fill_state(Ts, R, inv, Y, x, T, cp, gamma, M, a, mu, lambda);
        *p_out = p;
        return ok;
    }

    // What rho_T_from_H met on its way: a negative discriminant of the closed form, a failed iteration.
    struct rho_T_outcome {
        bool negative_discriminant = false;
        bool iteration_failed = false;
    };
    // The work of RhoT: the constant-cp closed form, kept when it reproduces the start
    // temperature's density, else Newton from T0 (T0 itself when that fails).
    rho_T_outcome rho_T_from_H(double H, double p, const double* Y, double G2, double rho0, double T0, double* rho,
                               double* T) const noexcept {
        rho_T_outcome outcome;
        const double R = thermo::kUniversalGasConstant * inverse_molar_mass(Y);
        // Constant cp = cp(T0): H rho^2 - b rho - G2/2 = 0 with b = cp p / R.
        const double b = get_cp(p, T0, Y) * p / R;
        const double D = b * b - 4.0 * H * (-0.5 * G2);
        double r = rho0;
        double t = T0;
        if (D >= 0.0) {
            r = (std::sqrt(D) + b) * 0.5 / H;
            t = p / (r * R);
        } else {
            outcome.negative_discriminant = true;
        }
        // The closed form stands only when it reproduces the start temperature's density.
        const double rho_c = get_density(p, T0, Y);
        if (std::fabs(rho_c - r) <= rho_c * 1e-10) {
            *rho = r;
            *T = t;
            return outcome;
        }
        double Ts = T0;
        if (!solve_T_from_H(H, p, Y, G2, T0, R, Ts)) {
            outcome.iteration_failed = true;
            Ts = T0;
        }
        *T = Ts;
        *rho = get_density(p, Ts, Y);
        return outcome;
    }

    // The work of get_T_p_h: T from the static enthalpy by Newton from 300 K (no start value is
    // given). False when the iteration failed; T is then 300 K.
    bool T_from_h(double h, const double* Y, double& T) const noexcept {
        constexpr double kStart = 300.0;  // K
        T = kStart;
        const bool ok = mp::newton_on_T(
            kStart, std::int64_t{m_limit} + 1, m_tolerance,
            [&](double T_old) {
                double cp = 0.0, hh = 0.0;
                mix_cp_h(T_old, Y, cp, hh);
                return T_old + (h - hh) / cp;
            },
            T);
        if (!ok) T = kStart;
        return ok;
    }

    IHostMessageSink* sink() const noexcept { return m_count > 0 ? m_flat[0]->sink() : nullptr; }

    // Also keeps each Y_i / M_i in x, for the mole-fraction averages at the same state.
    double inverse_molar_mass(const double* Y, double* x) const noexcept {
        double r = 0.0;
        for (std::int32_t i = 0; i < m_count; ++i) {
            x[i] = Y[i] / m_flat[static_cast<std::size_t>(i)]->molar_mass();
            r += x[i];
        }
        return r;
    }
    double inverse_molar_mass(const double* Y) const noexcept {
        double r = 0.0;
        for (std::int32_t i = 0; i < m_count; ++i) r += Y[i] / m_flat[static_cast<std::size_t>(i)]->molar_mass();
        return r;
    }
    double gas_constant(const double* Y) const noexcept {
        return thermo::kUniversalGasConstant * inverse_molar_mass(Y);
    }
    double specific_gas_constant(const double* Y) const noexcept override { return gas_constant(Y); }

    const Derived& derived() const noexcept { return static_cast<const Derived&>(*this); }
    void mix_cp_h(double T, const double* Y, double& cp, double& h) const noexcept { derived().mixture_cp_h(T, Y, cp, h); }

public:
    // Mixture cp and h at T in one pass (one table lookup per substance). A medium may hide it
    // with its own form.
    void mixture_cp_h(double T, const double* Y, double& cp, double& h) const noexcept {
        const std::int32_t at = interval(T);
        cp = 0.0;
        h = 0.0;
        for (std::int32_t i = 0; i < m_count; ++i) {
            double c = 0.0, hh = 0.0;
            m_flat[static_cast<std::size_t>(i)]->cp_h_at(at, T, c, hh);
            cp += Y[i] * c;
            h += Y[i] * hh;
        }
    }

protected:
    // Mole-fraction averages mu = sum(Y_i mu_i / M_i) / sum(Y_i / M_i), the same for lambda.
    void transport(double T, const double* Y, double* mu, double* lambda) const noexcept {
        const std::int32_t at = interval(T);
        double r = 0.0, m = 0.0, l = 0.0;
        for (std::int32_t i = 0; i < m_count; ++i) {
            const Substance& s = *m_flat[static_cast<std::size_t>(i)];
            const double x = Y[i] / s.molar_mass();
            r += x;
            if (mu != nullptr) m += x * s.mu_at(at, T);
            if (lambda != nullptr) l += x * s.lambda_at(at, T);
        }
        if (mu != nullptr) *mu = m / r;
        if (lambda != nullptr) *lambda = l / r;
    }

    // Solves h(T) + K T^2 = H from T0, K = G2 R^2 / (2 p^2) being the kinetic energy per unit mass
    // over T^2 (u = G / rho and rho = p / (R T)). Without mass flux there is no kinetic term, also
    // when p is 0 (the generic temperature-from-enthalpy passes p = 0).
    bool solve_T_from_H(double H, double p, const double* Y, double G2, double T0, double R, double& T) const noexcept {
        const double K = G2 == 0.0 ? 0.0 : G2 * 0.5 * R * R / (p * p);
        return mp::newton_on_T(T0, std::int64_t{m_limit} + 2, m_tolerance,
                               [&](double T_old) {
                                   double cp = 0.0, h = 0.0;
                                   mix_cp_h(T_old, Y, cp, h);
                                   return T_old - (K * T_old * T_old + h - H) / (cp + 2.0 * K * T_old);
                               },
                               T);
    }

    // The derived values at a solved T: cp, M, gamma = cp / (cp - R), a = sqrt(gamma R T), and the
    // transport mixture rules with the fractions as given. One pass over the substances; each sum
    // accumulates in substance order as its own operation would.
    // x holds Y_i / M_i.
    void fill_state(double Ts, double R, double inv, const double* Y, const double* x, double* T, double* cp,
                    double* gamma, double* M, double* a, double* mu, double* lambda) const noexcept {
        const std::int32_t at = interval(Ts);
        double c = 0.0, r = 0.0, m = 0.0, l = 0.0;
        for (std::int32_t i = 0; i < m_count; ++i) {
            const Substance& s = *m_flat[static_cast<std::size_t>(i)];
            c += Y[i] * s.cp_at(at, Ts);
            r += x[i];
            m += x[i] * s.mu_at(at, Ts);
            l += x[i] * s.lambda_at(at, Ts);
        }
        *T = Ts;
        *cp = c;
        *M = 1.0 / inv;
        *gamma = thermo::gamma_from_cp(c, R);
        *a = std::sqrt(*gamma * R * Ts);
        *mu = m / r;
        *lambda = l / r;
    }

    // X_i = (Y_i / M_i) / sum(Y_j / M_j), for the radiation operations.
    double absorber_mole_fraction(const double* Y, std::int32_t i) const noexcept override {
        return (Y[i] / m_flat[static_cast<std::size_t>(i)]->molar_mass()) / inverse_molar_mass(Y);
    }

    // Where T lies on the shared grid; without one, each table searches for itself.
    std::int32_t interval(double T) const noexcept { return m_grid != nullptr ? m_grid->interval(T) : c_1d_param::kSearch; }

    std::int32_t m_count = 0;
    mp::pooled_array<const Substance*> m_flat;
    const c_1d_param* m_grid = nullptr;  // the shared temperature grid, in the first substance
    substances m_substances;
    double m_tolerance = kDefaultTolerance;
    std::int32_t m_limit = kDefaultLimit;
};
