#include "c_inc_liquid_thermodynamics.h"

#include <cmath>

#include "file_io/c_file_io/c_file_io.h"
#include "query_interface.h"

#define MP_THIS_SOURCE "medium_physics/c_inc_liquid_thermodynamics"

namespace {
constexpr double kReferencePressure = C_incompressible_liquid_substance::kCorrectionPressure;
// The number of the "enthalpy does not increase" warning of each iteration.
constexpr int kNotIncreasing3003 = 3003;
constexpr int kNotIncreasing3002 = 3002;
}  // namespace

std::shared_ptr<C_inc_liquid_thermodynamics> C_inc_liquid_thermodynamics::create(const substances& list) {
    std::shared_ptr<C_inc_liquid_thermodynamics> medium(new C_inc_liquid_thermodynamics());
    if (!medium->assign(list, __LINE__)) return nullptr;
    return medium;
}

bool C_inc_liquid_thermodynamics::assign(const substances& list, int label_line) {
    m_substances = list;
    m_count = list.size();
    if (!m_flat.allocate(static_cast<std::size_t>(m_count), MP_THIS_SOURCE, label_line)) return false;
    for (std::int32_t i = 0; i < m_count; ++i) m_flat[static_cast<std::size_t>(i)] = list[i].get();
    return true;
}

std::int32_t C_inc_liquid_thermodynamics::query_interface(std::any& requested) {
    return mp::hand_out<IHostUnknown, FluidRadProp::IRadPropFunctionality, I_fluid_thermodynamics,
                        I_solver__fluid_thermodynamics_common, I_solver__thermodynamics_P_H,
                        I_solver__incompressible_liquid, I_write, I_identity, FluidRadProp::I_radiation_properties>(
        weak_from_this().lock(), requested);
}

substance_array C_inc_liquid_thermodynamics::get_substances() const {
    substance_array out(m_count);
    for (std::int32_t i = 0; i < m_count; ++i) out[i] = m_substances[i];
    return out;
}

IHostMessageSink* C_inc_liquid_thermodynamics::sink() const noexcept {
    return m_count > 0 ? m_flat[0]->sink() : nullptr;
}

// ---- mixture rules ------------------------------------------------------------------------------

double C_inc_liquid_thermodynamics::density(double T, const double* Y) const noexcept {
    double v = 0.0;
    for (std::int32_t i = 0; i < m_count; ++i) v += Y[i] * m_flat[static_cast<std::size_t>(i)]->get_volume(T);
    return 1.0 / v;
}

double C_inc_liquid_thermodynamics::raw_cp(double p, double T, const double* Y) const noexcept {
    double cp = 0.0;
    for (std::int32_t i = 0; i < m_count; ++i) cp += Y[i] * m_flat[static_cast<std::size_t>(i)]->get_cp(p, T);
    return cp;
}

double C_inc_liquid_thermodynamics::expansion_sum(double T, const double* Y) const noexcept {
    double S = 0.0;
    for (std::int32_t i = 0; i < m_count; ++i) S += Y[i] * m_flat[static_cast<std::size_t>(i)]->expansion_slope(T);
    return S;
}

double C_inc_liquid_thermodynamics::get_cp(double p, double T, const double* Y) const noexcept {
    const double cp_ref = raw_cp(kReferencePressure, T, Y);
    const double cp = raw_cp(p, T, Y);
    // Only a pressure that lowers cp by more than a tenth is limited.
    if (cp_ref - cp > kCpDropLimit * cp_ref) {
        if (cp >= 0.0) {
            mp::log_line(sink(), mp::line_kind::warning,
                         "Warning 3003: MediumPhysics: %s(%d): Inconsistent thermodynamics: too large pressure "
                         "correction of Cp\n",
                         MP_THIS_SOURCE, __LINE__);
            return cp_ref - kCpDropLimit * cp_ref;
        }
        mp::log_line(sink(), mp::line_kind::warning,
                     "Warning 3002: MediumPhysics: %s(%d): Inconsistent physical parameters: Cp<0 !\n", MP_THIS_SOURCE,
                     __LINE__);
        return cp_ref;
    }
    return cp;
}

double C_inc_liquid_thermodynamics::get_viscosity(double, double T, const double* Y) const noexcept {
    double w[thermo::kMaxCleanedSubstances];
    thermo::clean_mass_fractions(m_count, Y, w);
    const double rho = density(T, Y);
    double sum = 0.0;
    for (std::int32_t i = 0; i < m_count; ++i) {
        const auto& s = *m_flat[static_cast<std::size_t>(i)];
        const double v = s.get_volume(T);
        sum += w[i] * s.get_viscosity(T) * v * v;
    }
    return rho * rho * sum;
}

double C_inc_liquid_thermodynamics::get_conductivity(double, double T, const double* Y) const noexcept {
    double w[thermo::kMaxCleanedSubstances];
    thermo::clean_mass_fractions(m_count, Y, w);
    double sum = 0.0;
    for (std::int32_t i = 0; i < m_count; ++i) {
        const double l = m_flat[static_cast<std::size_t>(i)]->get_conductivity(T);
        sum += w[i] / (l * l);
    }
    return 1.0 / std::sqrt(sum);
}

double C_inc_liquid_thermodynamics::get_prandtl(double p, double T, const double* Y) const noexcept {
    return get_cp(p, T, Y) * get_viscosity(p, T, Y) / get_conductivity(p, T, Y);
}

double C_inc_liquid_thermodynamics::get_expansion_factor(double p, double T, const double* Y) const noexcept {
    return get_density(p, T, Y) * T * expansion_sum(T, Y);
}

double C_inc_liquid_thermodynamics::get_temperature_from_enthalpy(double h, double p, const double* Y, double,
                                                                  double T0) const noexcept {
    // The liquid's enthalpy depends on p, so the pressure is passed on; no mass flux.
    double rho, T = T0, cp, gamma, M, a, mu, lambda, p_out;
    get_properties_p_H(h, p, Y, 0.0, T0, &rho, &T, &cp, &gamma, &M, &a, &mu, &lambda, &p_out);
    return T;
}

void C_inc_liquid_thermodynamics::get_properties_p_T(double p, double T, const double* Y, double* rho, double* h,
                                                     double* cp, double* gamma, double* M, double* a, double* mu,
                                                     double* lambda) const noexcept {
    *rho = get_density(p, T, Y);
    *h = get_enthalpy(p, T, Y);
    *cp = get_cp(p, T, Y);
    *gamma = *M = *a = 0.0;
    *mu = get_viscosity(p, T, Y);
    *lambda = get_conductivity(p, T, Y);
}

double C_inc_liquid_thermodynamics::get_mole_fraction(double, double T, const double* Y, std::int32_t k) const noexcept {
    // The volume fraction.
    if (k < 0 || k >= m_count) return 0.0;
    double sum = 0.0;
    for (std::int32_t i = 0; i < m_count; ++i) sum += Y[i] * m_flat[static_cast<std::size_t>(i)]->get_volume(T);
    return m_flat[static_cast<std::size_t>(k)]->get_volume(T) * Y[k] / sum;
}

double C_inc_liquid_thermodynamics::get_mass_fraction(double, double T, const double* X, std::int32_t k) const noexcept {
    if (k < 0 || k >= m_count) return 0.0;
    double sum = 0.0;
    for (std::int32_t i = 0; i < m_count; ++i) sum += X[i] / m_flat[static_cast<std::size_t>(i)]->get_volume(T);
    return (X[k] / m_flat[static_cast<std::size_t>(k)]->get_volume(T)) / sum;
}

double C_inc_liquid_thermodynamics::get_dynamic_pressure_factor(double, double, const double*) const noexcept {
    return 1.0;
}

// ---- pressure-based operations ------------------------------------------------------------------

bool C_inc_liquid_thermodynamics::solve_T(double H, double p, const double* Y, double q, bool kinetic, double T0,
                                          const newton_messages& m, double& T_out) const noexcept {
    double h_prev = get_enthalpy(p, T0, Y);
    double T = T0;
    for (std::int32_t k = 0;; ++k) {
        const double c = get_cp(p, T, Y);
        // h(p, T) is h_prev: it was evaluated at this T as the previous step's h_new (or at T0).
        const double h = h_prev;
        double residual = h - H;
        if (kinetic) {
            const double rho = get_density(p, T, Y);
            residual += 0.5 * q / (rho * rho);
        }
        const double T_new = T - residual / c;
        const double h_new = get_enthalpy(p, T_new, Y);
        if ((h_new - h_prev) * (T_new - T) < 0.0) {
            mp::log_line(sink(), mp::line_kind::warning, "Warning %d: MediumPhysics: %s(%d): Inconsistent thermodynamics!\n",
                         m.not_increasing, MP_THIS_SOURCE, m.not_increasing_line);
            return false;
        }
        if (k > kLimit) {
            mp::log_line(sink(), mp::line_kind::warning, "Warning 3002: MediumPhysics: %s(%d): Inconsistent physical parameters!\n",
                         MP_THIS_SOURCE, m.out_of_steps_line);
            return false;
        }
        h_prev = h_new;
        if (std::fabs(T - T_new) <= kTolerance * T) {
            T_out = T_new;
            return true;
        }
        T = T_new;
    }
}

void C_inc_liquid_thermodynamics::get_properties_p_H(double H, double p, const double* Y, double G2, double T0,
                                                     double* rho, double* T, double* cp, double* gamma, double* M,
                                                     double* a, double* mu, double* lambda,
                                                     double* p_out) const noexcept {
    static constexpr newton_messages messages{kNotIncreasing3003, __LINE__, __LINE__ + 1};
    double Ts = T0;
    if (!solve_T(H, p, Y, G2, true, T0, messages, Ts)) Ts = T0;
    *T = Ts;
    *rho = get_density(p, Ts, Y);
    *cp = get_cp(p, Ts, Y);
    *gamma = *M = *a = 0.0;
    *mu = get_viscosity(p, Ts, Y);
    *lambda = get_conductivity(p, Ts, Y);
    *p_out = p;
}

void C_inc_liquid_thermodynamics::RhoT(double H, double p, const double* Y, double G2, double, double T0, double* rho,
                                       double* T) const noexcept {
    // Its enthalpy message carries the number 3002, unlike the other two iterations.
    static constexpr newton_messages messages{kNotIncreasing3002, __LINE__, __LINE__ + 1};
    double Ts = T0;
    if (!solve_T(H, p, Y, G2, true, T0, messages, Ts)) Ts = T0;
    *T = Ts;
    *rho = get_density(p, Ts, Y);
}

double C_inc_liquid_thermodynamics::get_T_p_h(double p, double h, const double* Y) const noexcept {
    static constexpr newton_messages messages{kNotIncreasing3003, __LINE__, __LINE__ + 1};
    double Ts = kStartTemperature;
    if (!solve_T(h, p, Y, 0.0, false, kStartTemperature, messages, Ts)) return kStartTemperature;
    return Ts;
}

double C_inc_liquid_thermodynamics::get_enthalpy(double p, double T, const double* Y) const noexcept {
    double h = 0.0;
    for (std::int32_t i = 0; i < m_count; ++i) h += Y[i] * m_flat[static_cast<std::size_t>(i)]->get_enthalpy(p, T);
    return h;
}

double C_inc_liquid_thermodynamics::get_density(double, double T, const double* Y) const noexcept {
    return density(T, Y);
}

double C_inc_liquid_thermodynamics::get_drho_dp(double p, double T, const double* Y) const noexcept {
    const double S = expansion_sum(T, Y);
    const double rho = get_density(p, T, Y);
    return (1.0 - rho * T * S) * rho * S / raw_cp(p, T, Y);
}

// ---- stream -------------------------------------------------------------------------------------

void C_inc_liquid_thermodynamics::write(C_file_io& stream) const {
    stream.put<std::uint8_t>(0);
    write_identity(stream);
    stream.put<std::uint8_t>(1);
    stream.put(m_count);
    for (std::int32_t i = 0; i < m_count; ++i) stream.write_guid(m_flat[static_cast<std::size_t>(i)]->identity());
}

std::shared_ptr<C_inc_liquid_thermodynamics> C_inc_liquid_thermodynamics::load(C_file_io& stream,
                                                                               const C_medium_physics& factory) {
    if (stream.get<std::uint8_t>() != 0) return nullptr;
    std::shared_ptr<C_inc_liquid_thermodynamics> medium(new C_inc_liquid_thermodynamics());
    medium->read_identity(stream);
    if (stream.get<std::uint8_t>() != 1) return nullptr;
    const auto count = stream.get<std::int32_t>();
    if (count < 0 || count > thermo::kMaxCleanedSubstances) return nullptr;
    substances list(count);
    for (std::int32_t i = 0; i < count; ++i) {
        host_guid id;
        stream.read_guid(id);
        list[i] = factory.find_substance<C_medium_physics::kIncLiquidCache>(id);
        if (!list[i]) return nullptr;
    }
    if (!medium->assign(list, __LINE__)) return nullptr;
    return medium;
}
