// What the incompressible liquid media share: mixtures of liquid components by mass fraction whose
// density depends on temperature only, rho = 1 / sum(Y_i v_i(T)); enthalpy and cp with the
// components' pressure corrections, cp limited when pressure lowers it by more than a tenth;
// viscosity mixed with squared specific volumes, conductivity by inverse squares; Newton iterations
// on enthalpy (at most 101 steps, relative tolerance 1e-5) that answer their start temperature with
// a warning when the enthalpy does not increase or the steps run out. The gas-only outputs (gamma,
// molar mass, speed of sound) are 0.0. The media differ in their components, their viscosity and
// a few message numbers, which each medium writes from its own get_cp, get_properties_p_H, RhoT and
// get_T_p_h; Derived supplies kCacheIndex.
#pragma once

#include <cmath>
#include <memory>

#include "factory/c_medium_physics.h"
#include "framework/c_thermodynamic_base.h"
#include "file_io/c_file_io/c_file_io.h"
#include "factory/mp_log.h"

// The interval hints of a component type that offers caloric_at; an empty placeholder otherwise.
template <class S>
struct caloric_hint_of {
    struct type {};
};
template <class S>
requires requires { typename S::caloric_hint; }
struct caloric_hint_of<S> {
    using type = typename S::caloric_hint;
};

// SolverInterface: the liquid interface the medium hands out (incompressible or compressible).
template <class Derived, class Substance, class SolverInterface = I_solver__incompressible_liquid>
class C_liquid_mixture : public I_write,
                         public C_thermodynamic_base,
                         public C_no_radiation,
                         public CHostAPIBaseClass<Derived>,
                         public virtual IHostUnknown,
                         public virtual FluidRadProp::IRadPropFunctionality,
                         public virtual SolverInterface {
public:
    using substance_ptr = std::shared_ptr<Substance>;
    using substances = host_shared_array<substance_ptr>;
    // The Newton iterations: relative tolerance and the step count beyond which they give up.
    static constexpr double kTolerance = 1e-5;
    static constexpr std::int32_t kLimit = 100;
    static constexpr double kStartTemperature = 300.0;  // K, for get_T_p_h
    // cp may fall by at most this share of its reference-pressure value under pressure.
    static constexpr double kCpDropLimit = 0.1;
    // Pa: where the components' cp holds.
    static constexpr double kReferencePressure = 101325.0;

    static std::shared_ptr<Derived> create(const substances& list) {
        std::shared_ptr<Derived> medium(new Derived());
        if (!medium->assign(list)) return nullptr;
        return medium;
    }

    // Record: byte 0; the identity; byte 1; int32 count; the components' identifiers.
    static std::shared_ptr<Derived> load(C_file_io& stream, const C_medium_physics& factory) {
        if (stream.get<std::uint8_t>() != 0) return nullptr;
        std::shared_ptr<Derived> medium(new Derived());
        medium->read_identity(stream);
        if (stream.get<std::uint8_t>() != 1) return nullptr;
        const auto count = stream.get<std::int32_t>();
        if (count < 0 || count > thermo::kMaxCleanedSubstances) return nullptr;
        substances list(count);
        if (!factory.read_substances<Derived::kCacheIndex>(stream, count, list) || !medium->assign(list))
            return nullptr;
        return medium;
    }

    void write(C_file_io& stream) const override {
        stream.put<std::uint8_t>(0);
        write_identity(stream);
        stream.put<std::uint8_t>(1);
        stream.put(m_count);
        for (std::int32_t i = 0; i < m_count; ++i) stream.write_guid(component(i).identity());
    }

    substance_array get_substances() const override { return thermo::substance_array_of(m_substances); }
    std::int32_t substance_count() const noexcept { return m_count; }

    // ---- common operations ----
    double get_viscosity(double p, double T, const double* Y) const noexcept override {
        return mixed_viscosity(p, T, Y, [&](const Substance& s) { return s.get_viscosity(p, T); });
    }
    double get_conductivity(double, double T, const double* Y) const noexcept override {
        double w[thermo::kMaxCleanedSubstances];
        thermo::clean_mass_fractions(m_count, Y, w);
        double sum = 0.0;
        for (std::int32_t i = 0; i < m_count; ++i) {
            const double l = component(i).get_conductivity(T);
            sum += w[i] / (l * l);
        }
        return 1.0 / std::sqrt(sum);
    }
    double get_prandtl(double p, double T, const double* Y) const noexcept override {
        return this->get_cp(p, T, Y) * get_viscosity(p, T, Y) / get_conductivity(p, T, Y);
    }
    double get_expansion_factor(double p, double T, const double* Y) const noexcept override {
        return get_density(p, T, Y) * T * expansion_sum(T, Y);
    }
    // The enthalpy of a liquid depends on p, so the pressure is passed on; no mass flux.
    double get_temperature_from_enthalpy(double h, double p, const double* Y, double, double T0) const noexcept override {
        double rho, T = T0, cp, gamma, M, a, mu, lambda, p_out;
        this->get_properties_p_H(h, p, Y, 0.0, T0, &rho, &T, &cp, &gamma, &M, &a, &mu, &lambda, &p_out);
        return T;
    }
    void get_properties_p_T(double p, double T, const double* Y, double* rho, double* h, double* cp, double* gamma,
                            double* M, double* a, double* mu, double* lambda) const noexcept override {
        *rho = get_density(p, T, Y);
        *h = get_enthalpy(p, T, Y);
        *cp = this->get_cp(p, T, Y);
        *gamma = *M = *a = 0.0;
        *mu = get_viscosity(p, T, Y);
        *lambda = get_conductivity(p, T, Y);
    }
    // The volume fraction.
    double get_mole_fraction(double p, double T, const double* Y, std::int32_t k) const noexcept override {
        if (k < 0 || k >= m_count) return 0.0;
        double sum = 0.0;
        for (std::int32_t i = 0; i < m_count; ++i) sum += Y[i] * component(i).volume_at(p, T);
        return component(k).volume_at(p, T) * Y[k] / sum;
    }
    double get_mass_fraction(double p, double T, const double* X, std::int32_t k) const noexcept override {
        if (k < 0 || k >= m_count) return 0.0;
        double sum = 0.0;
        for (std::int32_t i = 0; i < m_count; ++i) sum += X[i] / component(i).volume_at(p, T);
        return (X[k] / component(k).volume_at(p, T)) / sum;
    }
    // 1: the dynamic pressure of an incompressible flow is rho u^2 / 2.
    double get_dynamic_pressure_factor(double, double, const double*) const noexcept override { return 1.0; }

    // ---- pressure-based operations ----
    // get_cp, get_properties_p_H, RhoT and get_T_p_h are the media's own: each reports what it
    // meets from its own source file. They do the work through corrected_cp, properties_from_H,
    // rho_T_from_H and T_from_h.
    double get_enthalpy(double p, double T, const double* Y) const noexcept override {
        double h = 0.0;
        for (std::int32_t i = 0; i < m_count; ++i) h += Y[i] * component(i).get_enthalpy(p, T);
        return h;
    }
    double get_density(double p, double T, const double* Y) const noexcept override { return density(p, T, Y); }
    double get_sound_speed(double, double, const double*) const noexcept override { return 0.0; }
    double get_drho_dp(double p, double T, const double* Y) const noexcept override {
        const double S = expansion_sum(T, Y);
        const double rho = get_density(p, T, Y);
        return (1.0 - rho * T * S) * rho * S / raw_cp(p, T, Y);
    }
    double get_compressibility(double, double, const double*) const noexcept override { return 0.0; }

protected:
    C_liquid_mixture() = default;

    // cp with its pressure correction: a pressure that lowers cp by more than a tenth of its
    // reference-pressure value is limited to that tenth (check = limited); a negative corrected cp
    // gives the reference value (check = negative). The medium reports the check.
    enum class cp_check { ok, limited, negative };
    double corrected_cp(double p, double T, const double* Y, cp_check& check) const noexcept {
        return limited_cp(raw_cp(kReferencePressure, T, Y), raw_cp(p, T, Y), check);
    }
    static double limited_cp(double cp_ref, double cp, cp_check& check) noexcept {
        check = cp_check::ok;
        if (cp_ref - cp > kCpDropLimit * cp_ref) {
            if (cp >= 0.0) {
                check = cp_check::limited;
                return cp_ref - kCpDropLimit * cp_ref;
            }
            check = cp_check::negative;
            return cp_ref;
        }
        return cp;
    }
    // The mixture's h(p, T) and corrected cp at one temperature, with the check the medium reports
    // (through its report_cp) where it uses the cp: what get_enthalpy and get_cp give, bit for bit.
    // Components that offer caloric_at give them in one pass, with their specific volumes summed
    // on the way (v, what density() inverts) and their table intervals kept in hints between
    // calls; others are asked operation by operation (v stays 0: not known).
    static constexpr bool kFusedCaloric = requires { typename Substance::caloric_hint; };
    struct caloric_state {
        double h = 0.0;
        double cp = 0.0;
        double v = 0.0;
        cp_check check = cp_check::ok;
    };
    using caloric_hint = typename caloric_hint_of<Substance>::type;
    struct caloric_hints {
        caloric_hint at[thermo::kMaxCleanedSubstances];
    };
    void start_hints(caloric_hints& hints) const noexcept {
        if constexpr (kFusedCaloric)
            for (std::int32_t i = 0; i < m_count; ++i) hints.at[i] = {-1, -1};
    }
    caloric_state caloric(double p, double T, const double* Y, caloric_hints& hints) const noexcept {
        caloric_state s;
        if constexpr (kFusedCaloric) {
            double cp = 0.0;
            double cp_ref = 0.0;
            for (std::int32_t i = 0; i < m_count; ++i) {
                const auto c = component(i).caloric_at(p, kReferencePressure, T, hints.at[i]);
                s.h += Y[i] * c.h;
                cp += Y[i] * c.cp;
                cp_ref += Y[i] * c.cp_ref;
                s.v += Y[i] * c.v;
            }
            s.cp = limited_cp(cp_ref, cp, s.check);
        } else {
            s.h = get_enthalpy(p, T, Y);
            s.cp = corrected_cp(p, T, Y, s.check);
        }
        return s;
    }
    // The media whose get_viscosity and get_conductivity are the mixture rules below declare
    // kMixedTransport; for them the state after an enthalpy iteration takes both in one pass. (Asked
    // inside the operations, where Derived is complete.)
    template <class D = Derived>
    static constexpr bool fused_transport() noexcept {
        return kFusedCaloric && requires { D::kMixedTransport; };
    }
    // get_viscosity and get_conductivity at (p, T), bit for bit, given rho = density(p, T, Y): the
    // cleaned fractions formed once, the volumes found through the hints.
    void mixed_transport(double p, double T, const double* Y, double rho, caloric_hints& hints, double* mu,
                         double* lambda) const noexcept {
        double w[thermo::kMaxCleanedSubstances];
        thermo::clean_mass_fractions(m_count, Y, w);
        double sum_mu = 0.0;
        double sum_lambda = 0.0;
        for (std::int32_t i = 0; i < m_count; ++i) {
            const auto& s = component(i);
            const double v = s.volume_near(T, hints.at[i]);
            sum_mu += w[i] * s.get_viscosity(p, T) * v * v;
            const double l = s.get_conductivity(T);
            sum_lambda += w[i] / (l * l);
        }
        *mu = rho * rho * sum_mu;
        *lambda = 1.0 / std::sqrt(sum_lambda);
    }
    // 1 / v when caloric knew v; else the density operation.
    double density_of(const caloric_state& s, double p, double T, const double* Y) const noexcept {
        if constexpr (kFusedCaloric)
            return 1.0 / s.v;
        else
            return get_density(p, T, Y);
    }
    void report_cp(cp_check check) const noexcept {
        if (check != cp_check::ok) static_cast<const Derived*>(this)->report_cp_check(check);
    }

    // The outcome of a Newton iteration on enthalpy; the operation that ran it reports a failure.
    enum class newton_outcome { converged, not_increasing, out_of_steps };

    // The work of get_properties_p_H: T from the total enthalpy (start T0; T0 itself when the
    // iteration fails), then the state there. The gas-only outputs are 0.
    newton_outcome properties_from_H(double H, double p, const double* Y, double G2, double T0, double* rho, double* T,
                                     double* cp, double* gamma, double* M, double* a, double* mu, double* lambda,
                                     double* p_out) const noexcept {
        double Ts = T0;
        caloric_state at_T;
        caloric_hints hints;
        const newton_outcome outcome = solve_T(H, p, Y, G2, true, T0, Ts, &at_T, &hints);
        if (outcome != newton_outcome::converged) Ts = T0;
        *T = Ts;
        *rho = density_of(at_T, p, Ts, Y);
        report_cp(at_T.check);
        *cp = at_T.cp;
        *gamma = *M = *a = 0.0;
        if constexpr (fused_transport()) {
            mixed_transport(p, Ts, Y, *rho, hints, mu, lambda);
        } else {
            *mu = get_viscosity(p, Ts, Y);
            *lambda = get_conductivity(p, Ts, Y);
        }
        *p_out = p;
        return outcome;
    }
    // The work of RhoT: T from the total enthalpy (T0 on failure) and rho there.
    newton_outcome rho_T_from_H(double H, double p, const double* Y, double G2, double T0, double* rho,
                                double* T) const noexcept {
        double Ts = T0;
        const newton_outcome outcome = solve_T(H, p, Y, G2, true, T0, Ts);
        if (outcome != newton_outcome::converged) Ts = T0;
        *T = Ts;
        *rho = get_density(p, Ts, Y);
        return outcome;
    }
    // The work of get_T_p_h: T from the static enthalpy, starting at 300 K (300 K on failure).
    newton_outcome T_from_h(double p, double h, const double* Y, double& T) const noexcept {
        T = kStartTemperature;
        const newton_outcome outcome = solve_T(h, p, Y, 0.0, false, kStartTemperature, T);
        if (outcome != newton_outcome::converged) T = kStartTemperature;
        return outcome;
    }

    const Substance& component(std::int32_t i) const noexcept { return *m_flat[static_cast<std::size_t>(i)]; }
    IHostMessageSink* sink() const noexcept { return m_count > 0 ? m_flat[0]->sink() : nullptr; }

    // Takes the components (shared) and their flat pointer copy, labelled with the caller's statement.
    bool assign(const substances& list, mp::site where = mp::site::here()) {
        m_substances = list;
        m_count = list.size();
        if (!m_flat.allocate(static_cast<std::size_t>(m_count), where)) return false;
        for (std::int32_t i = 0; i < m_count; ++i) m_flat[static_cast<std::size_t>(i)] = list[i].get();
        return true;
    }

    // rho^2 sum(w_i mu_i v_i^2) with the cleaned mass fractions w and mu_i = mu_of(component i).
    template <class Viscosity>
    double mixed_viscosity(double p, double T, const double* Y, Viscosity&& mu_of) const noexcept {
        double w[thermo::kMaxCleanedSubstances];
        thermo::clean_mass_fractions(m_count, Y, w);
        const double rho = density(p, T, Y);
        double sum = 0.0;
        for (std::int32_t i = 0; i < m_count; ++i) {
            const auto& s = component(i);
            const double v = s.volume_at(p, T);
            sum += w[i] * mu_of(s) * v * v;
        }
        return rho * rho * sum;
    }

    double density(double p, double T, const double* Y) const noexcept {
        double v = 0.0;
        for (std::int32_t i = 0; i < m_count; ++i) v += Y[i] * component(i).volume_at(p, T);
        return 1.0 / v;
    }
    double raw_cp(double p, double T, const double* Y) const noexcept {
        double cp = 0.0;
        for (std::int32_t i = 0; i < m_count; ++i) cp += Y[i] * component(i).isobaric_cp(p, T);
        return cp;
    }
    // sum(Y_i dv_i/dT): the temperature slope of the mixture's specific volume. Components whose
    // density depends on pressure as well (the compressible liquid) have no such slope; their
    // medium forms the expansion factor and d rho/dp from the density law itself.
    double expansion_sum(double T, const double* Y) const noexcept {
        double S = 0.0;
        if constexpr (requires(const Substance& s) { s.expansion_slope(T); })
            for (std::int32_t i = 0; i < m_count; ++i) S += Y[i] * component(i).expansion_slope(T);
        return S;
    }

    // Newton on T for H = h(p, T) + q / (2 rho^2) (q = 0 and no density term for the static form).
    // Each step evaluates h and cp together at the new temperature: the h decides monotonicity and
    // convergence, the cp is the next step's slope. A cp check is reported when its cp is used, as
    // get_cp would report it. *at_state receives the state at the solution, or at T0 on failure;
    // *kept_hints, the intervals of the last step.
    newton_outcome solve_T(double H, double p, const double* Y, double q, bool kinetic, double T0, double& T_out,
                           caloric_state* at_state = nullptr, caloric_hints* kept_hints = nullptr) const noexcept {
        caloric_hints own_hints;
        caloric_hints& hints = kept_hints ? *kept_hints : own_hints;
        start_hints(hints);
        const caloric_state first = caloric(p, T0, Y, hints);
        caloric_state state = first;
        double T = T0;
        for (std::int32_t k = 0;; ++k) {
            report_cp(state.check);
            double residual = state.h - H;
            if (kinetic && q != 0.0) {
                const double rho = density_of(state, p, T, Y);
                residual += 0.5 * q / (rho * rho);
            }
            const double T_new = T - residual / state.cp;
            const caloric_state next = caloric(p, T_new, Y, hints);
            newton_outcome failed = newton_outcome::converged;
            if ((next.h - state.h) * (T_new - T) < 0.0)
                failed = newton_outcome::not_increasing;
            else if (k > kLimit)
                failed = newton_outcome::out_of_steps;
            if (failed != newton_outcome::converged) {
                if (at_state) *at_state = first;
                return failed;
            }
            if (std::fabs(T - T_new) <= kTolerance * T) {
                T_out = T_new;
                if (at_state) *at_state = next;
                return newton_outcome::converged;
            }
            T = T_new;
            state = next;
        }
    }

    std::int32_t m_count = 0;
    mp::pooled_array<const Substance*> m_flat;
    substances m_substances;
};
