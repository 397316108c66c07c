#include "cavitation/c_free_surface_vof_thermodynamics.h"

#include <cmath>

#include "factory/c_medium_physics.h"
#include "factory/mp_log.h"
#include "factory/query_interface.h"
#include "file_io/c_file_io/c_file_io.h"
#include "framework/c_substance.h"

namespace {

template <class I>
std::shared_ptr<I> interface_of(const fluid_ptr& object) {
    std::any request = std::shared_ptr<I>();
    if (!object || object->query_interface(request) != MP_STATUS_OK) return nullptr;
    return std::any_cast<std::shared_ptr<I>>(request);
}

}  // namespace

// ---- creation and the record --------------------------------------------------------------------

bool C_free_surface_vof_thermodynamics::assign(const fluid_array& phases, const char*& why) {
    if (phases.size() < 1 || phases.size() > kMaxPhases) {
        why = "a free-surface VOF medium takes 1 to 8 phases";
        return false;
    }
    m_n = phases.size();
    std::int32_t substances = 0;
    for (std::int32_t k = 0; k < m_n; ++k) {
        const auto i = static_cast<std::size_t>(k);
        const auto writer = interface_of<I_write>(phases[k]);
        m_solvers[i] = interface_of<I_solver__thermodynamics_P_H>(phases[k]);
        if (!phases[k] || !writer || !m_solvers[i]) {
            why = "a phase is missing, or is no fluid medium with the pressure-based interface and a record";
            return false;
        }
        if (writer->get_type_id() == MP_KIND_FREE_SURFACE_VOF) {
            why = "a phase is itself a free-surface VOF medium (a VOF medium holds neither another VOF medium nor itself)";
            return false;
        }
        m_kind[i] = writer->get_type_id();
        m_flat[i] = m_solvers[i].get();
        m_offset[i] = substances;
        const auto list = phases[k]->get_substances();
        if (list.size() < 1) {
            why = "a phase has no substances";
            return false;
        }
        if (m_sink == nullptr && list[0]) m_sink = list[0]->sink();
        substances += list.size();
        if (substances > thermo::kMaxCleanedSubstances) {
            why = "the phases hold more than 100 substances in all";
            return false;
        }
    }
    m_length = m_n + substances;
    m_phases = phases;
    return true;
}

std::shared_ptr<C_free_surface_vof_thermodynamics> C_free_surface_vof_thermodynamics::create(const fluid_array& phases,
                                                                                             const char*& why) {
    std::shared_ptr<C_free_surface_vof_thermodynamics> medium(new C_free_surface_vof_thermodynamics());
    if (!medium->assign(phases, why)) return nullptr;
    return medium;
}

std::int32_t C_free_surface_vof_thermodynamics::query_interface(std::any& requested) {
    return mp::hand_out<IHostUnknown, FluidRadProp::IRadPropFunctionality, I_fluid_thermodynamics,
                        I_solver__fluid_thermodynamics_common, I_solver__thermodynamics_P_H,
                        I_solver__free_surface_vof, I_write, I_identity, FluidRadProp::I_radiation_properties>(
        weak_from_this().lock(), requested);
}

substance_array C_free_surface_vof_thermodynamics::get_substances() const {
    substance_array out(m_length - m_n);
    std::int32_t j = 0;
    for (std::int32_t k = 0; k < m_n; ++k) {
        const auto list = m_phases[k]->get_substances();
        for (std::int32_t i = 0; i < list.size(); ++i) out[j++] = list[i];
    }
    return out;
}

std::shared_ptr<I_solver__thermodynamics_P_H> C_free_surface_vof_thermodynamics::get_phase(std::int32_t k) const noexcept {
    if (k < 0 || k >= m_n) return nullptr;
    return m_solvers[static_cast<std::size_t>(k)];
}

std::string C_free_surface_vof_thermodynamics::description() const {
    std::string text = thermo::kind_display_name(MP_KIND_FREE_SURFACE_VOF);
    for (std::int32_t k = 0; k < m_n; ++k) {
        text += k == 0 ? ": " : " + ";
        text += thermo::kind_display_name(m_kind[static_cast<std::size_t>(k)]);
    }
    return text;
}

void C_free_surface_vof_thermodynamics::write(C_file_io& stream) const {
    stream.put<std::int32_t>(0);
    write_identity(stream);
    stream.put<std::int32_t>(m_n);
    for (std::int32_t k = 0; k < m_n; ++k) {
        const auto writer = interface_of<I_write>(m_phases[k]);
        stream.put(writer->get_type_id());
        writer->write(stream);
    }
}

std::shared_ptr<C_free_surface_vof_thermodynamics> C_free_surface_vof_thermodynamics::load(C_file_io& stream,
                                                                                           const C_medium_physics& factory) {
    if (stream.get<std::int32_t>() != 0) return nullptr;
    std::shared_ptr<C_free_surface_vof_thermodynamics> medium(new C_free_surface_vof_thermodynamics());
    medium->read_identity(stream);
    const auto n = stream.get<std::int32_t>();
    if (n < 1 || n > kMaxPhases) return nullptr;
    fluid_array phases(n);
    for (std::int32_t k = 0; k < n; ++k) {
        const auto kind = stream.get<std::int32_t>();
        if (kind == MP_KIND_FREE_SURFACE_VOF) return nullptr;  // no VOF inside a VOF: no cycle either
        phases[k] = factory.load_medium_record(stream, kind);
        if (!phases[k]) return nullptr;
    }
    const char* why = "";
    if (!medium->assign(phases, why)) return nullptr;
    return medium;
}

// ---- volume fractions ---------------------------------------------------------------------------

std::int32_t C_free_surface_vof_thermodynamics::check_volume_fractions(const double* alpha,
                                                                      const char** why) const noexcept {
    double sum = 0.0;
    for (std::int32_t k = 0; k < m_n; ++k) {
        if (!std::isfinite(alpha[k])) {
            if (why != nullptr) *why = "a volume fraction is not a finite number";
            return MP_STATUS_FAILURE;
        }
        if (alpha[k] < 0.0 || alpha[k] > 1.0) {
            if (why != nullptr) *why = "a volume fraction lies outside [0, 1]";
            return MP_STATUS_FAILURE;
        }
        sum += alpha[k];
    }
    if (std::fabs(sum - 1.0) > kSumTolerance) {
        if (why != nullptr) *why = "the volume fractions do not sum to 1";
        return MP_STATUS_FAILURE;
    }
    return MP_STATUS_OK;
}

std::int32_t C_free_surface_vof_thermodynamics::volume_fractions(const double* Y, double* alpha) const noexcept {
    double sum = 0.0;
    for (std::int32_t k = 0; k < m_n; ++k) {
        alpha[k] = std::isfinite(Y[k]) && Y[k] > 0.0 ? Y[k] : 0.0;
        sum += alpha[k];
    }
    if (!(sum > 0.0) || !std::isfinite(sum)) {
        for (std::int32_t k = 0; k < m_n; ++k) alpha[k] = 0.0;
        alpha[m_n - 1] = 1.0;
        return m_n - 1;
    }
    std::int32_t holder = -1, nonzero = 0;
    for (std::int32_t k = 0; k < m_n; ++k) {
        alpha[k] /= sum;
        if (alpha[k] > 0.0) {
            holder = k;
            ++nonzero;
        }
    }
    if (nonzero != 1) return -1;
    alpha[holder] = 1.0;
    return holder;
}

double C_free_surface_vof_thermodynamics::get_mole_fraction(double, double, const double* Y,
                                                            std::int32_t k) const noexcept {
    if (k < 0 || k >= m_n) return 0.0;
    double alpha[kMaxPhases];
    volume_fractions(Y, alpha);
    return alpha[k];
}

double C_free_surface_vof_thermodynamics::get_mass_fraction(double p, double T, const double* X,
                                                            std::int32_t k) const noexcept {
    if (k < 0 || k >= m_n) return 0.0;
    double alpha[kMaxPhases];
    volume_fractions(X, alpha);
    double rho = 0.0, mine = 0.0;
    for (std::int32_t i = 0; i < m_n; ++i) {
        const double m = alpha[i] > 0.0 ? alpha[i] * phase(i).get_density(p, T, phase_Y(X, i)) : 0.0;
        rho += m;
        if (i == k) mine = m;
    }
    return mine / rho;
}

// ---- the mixture at (p, T) ----------------------------------------------------------------------

template <class Value>
double C_free_surface_vof_thermodynamics::by_volume(const double* Y, Value&& value) const noexcept {
    double alpha[kMaxPhases];
    const std::int32_t one = volume_fractions(Y, alpha);
    if (one >= 0) return value(phase(one), phase_Y(Y, one));
    double sum = 0.0;
    for (std::int32_t k = 0; k < m_n; ++k)
        if (alpha[k] > 0.0) sum += alpha[k] * value(phase(k), phase_Y(Y, k));
    return sum;
}

void C_free_surface_vof_thermodynamics::get_properties_p_T(double p, double T, const double* Y, double* rho, double* h,
                                                           double* cp, double* gamma, double* M, double* a,
                                                           double* mu, double* lambda) const noexcept {
    double alpha[kMaxPhases];
    const std::int32_t one = volume_fractions(Y, alpha);
    if (one >= 0) {
        phase(one).get_properties_p_T(p, T, phase_Y(Y, one), rho, h, cp, gamma, M, a, mu, lambda);
        return;
    }
    double r[kMaxPhases] = {}, hk[kMaxPhases] = {}, cpk[kMaxPhases] = {}, gk[kMaxPhases] = {}, Mk[kMaxPhases] = {},
           ak[kMaxPhases] = {};
    double muk = 0.0, lk = 0.0;
    double rho_m = 0.0, mu_m = 0.0, l_m = 0.0;
    for (std::int32_t k = 0; k < m_n; ++k) {
        if (alpha[k] == 0.0) continue;
        phase(k).get_properties_p_T(p, T, phase_Y(Y, k), &r[k], &hk[k], &cpk[k], &gk[k], &Mk[k], &ak[k], &muk, &lk);
        rho_m += alpha[k] * r[k];
        mu_m += alpha[k] * muk;
        l_m += alpha[k] * lk;
    }
    double h_m = 0.0, cp_m = 0.0, cv_m = 0.0, inv_M = 0.0, inv_bulk = 0.0;
    bool all_M = true;
    for (std::int32_t k = 0; k < m_n; ++k) {
        if (alpha[k] == 0.0) continue;
        const double x = alpha[k] * r[k] / rho_m;
        h_m += x * hk[k];
        cp_m += x * cpk[k];
        cv_m += x * cpk[k] / (gk[k] > 0.0 ? gk[k] : 1.0);
        if (Mk[k] > 0.0)
            inv_M += x / Mk[k];
        else
            all_M = false;
        if (ak[k] > 0.0) inv_bulk += alpha[k] / (r[k] * ak[k] * ak[k]);
    }
    *rho = rho_m;
    *h = h_m;
    *cp = cp_m;
    *gamma = cp_m / cv_m;
    *M = all_M && inv_M > 0.0 ? 1.0 / inv_M : 0.0;
    *a = inv_bulk > 0.0 ? 1.0 / std::sqrt(rho_m * inv_bulk) : 0.0;
    *mu = mu_m;
    *lambda = l_m;
}

void C_free_surface_vof_thermodynamics::caloric(double p, double T, const double* Y, double& rho, double& h,
                                                double& cp) const noexcept {
    double alpha[kMaxPhases];
    const std::int32_t one = volume_fractions(Y, alpha);
    if (one >= 0) {
        const auto& ph = phase(one);
        const double* y = phase_Y(Y, one);
        rho = ph.get_density(p, T, y);
        h = ph.get_enthalpy(p, T, y);
        cp = ph.get_cp(p, T, y);
        return;
    }
    double r[kMaxPhases] = {};
    rho = 0.0;
    for (std::int32_t k = 0; k < m_n; ++k) {
        if (alpha[k] == 0.0) continue;
        r[k] = phase(k).get_density(p, T, phase_Y(Y, k));
        rho += alpha[k] * r[k];
    }
    h = cp = 0.0;
    for (std::int32_t k = 0; k < m_n; ++k) {
        if (alpha[k] == 0.0) continue;
        const double x = alpha[k] * r[k] / rho;
        h += x * phase(k).get_enthalpy(p, T, phase_Y(Y, k));
        cp += x * phase(k).get_cp(p, T, phase_Y(Y, k));
    }
}

double C_free_surface_vof_thermodynamics::get_density(double p, double T, const double* Y) const noexcept {
    return by_volume(Y, [&](const I_solver__thermodynamics_P_H& ph, const double* y) {
        return ph.get_density(p, T, y);
    });
}

double C_free_surface_vof_thermodynamics::get_enthalpy(double p, double T, const double* Y) const noexcept {
    double rho, h, cp;
    caloric(p, T, Y, rho, h, cp);
    return h;
}

double C_free_surface_vof_thermodynamics::get_cp(double p, double T, const double* Y) const noexcept {
    double rho, h, cp;
    caloric(p, T, Y, rho, h, cp);
    return cp;
}

double C_free_surface_vof_thermodynamics::get_sound_speed(double p, double T, const double* Y) const noexcept {
    double r[8];
    get_properties_p_T(p, T, Y, &r[0], &r[1], &r[2], &r[3], &r[4], &r[5], &r[6], &r[7]);
    return r[5];
}

double C_free_surface_vof_thermodynamics::get_viscosity(double p, double T, const double* Y) const noexcept {
    return by_volume(Y, [&](const I_solver__thermodynamics_P_H& ph, const double* y) {
        return ph.get_viscosity(p, T, y);
    });
}

double C_free_surface_vof_thermodynamics::get_conductivity(double p, double T, const double* Y) const noexcept {
    return by_volume(Y, [&](const I_solver__thermodynamics_P_H& ph, const double* y) {
        return ph.get_conductivity(p, T, y);
    });
}

double C_free_surface_vof_thermodynamics::get_prandtl(double p, double T, const double* Y) const noexcept {
    double alpha[kMaxPhases];
    const std::int32_t one = volume_fractions(Y, alpha);
    if (one >= 0) return phase(one).get_prandtl(p, T, phase_Y(Y, one));
    return get_cp(p, T, Y) * get_viscosity(p, T, Y) / get_conductivity(p, T, Y);
}

double C_free_surface_vof_thermodynamics::get_expansion_factor(double p, double T, const double* Y) const noexcept {
    double alpha[kMaxPhases];
    const std::int32_t one = volume_fractions(Y, alpha);
    if (one >= 0) return phase(one).get_expansion_factor(p, T, phase_Y(Y, one));
    double r[kMaxPhases] = {}, rho = 0.0;
    for (std::int32_t k = 0; k < m_n; ++k) {
        if (alpha[k] == 0.0) continue;
        r[k] = phase(k).get_density(p, T, phase_Y(Y, k));
        rho += alpha[k] * r[k];
    }
    double f = 0.0;
    for (std::int32_t k = 0; k < m_n; ++k)
        if (alpha[k] > 0.0) f += alpha[k] * r[k] / rho * phase(k).get_expansion_factor(p, T, phase_Y(Y, k));
    return f;
}

double C_free_surface_vof_thermodynamics::get_drho_dp(double p, double T, const double* Y) const noexcept {
    return by_volume(Y, [&](const I_solver__thermodynamics_P_H& ph, const double* y) {
        return ph.get_drho_dp(p, T, y);
    });
}

double C_free_surface_vof_thermodynamics::get_compressibility(double p, double T, const double* Y) const noexcept {
    return by_volume(Y, [&](const I_solver__thermodynamics_P_H& ph, const double* y) {
        return ph.get_compressibility(p, T, y);
    });
}

// The phase's own factor where it fills the cell; else 1, the value of a liquid-dominated cell.
double C_free_surface_vof_thermodynamics::get_dynamic_pressure_factor(double T, double u, const double* Y) const noexcept {
    double alpha[kMaxPhases];
    const std::int32_t one = volume_fractions(Y, alpha);
    if (one >= 0) return phase(one).get_dynamic_pressure_factor(T, u, phase_Y(Y, one));
    return 1.0;
}

// ---- temperatures from enthalpy -----------------------------------------------------------------

bool C_free_surface_vof_thermodynamics::solve_T(double H, double p, const double* Y, double G2, double T0,
                                                double& T) const noexcept {
    T = T0;
    for (std::int32_t k = 0; k < kLimit; ++k) {
        double rho, h, cp;
        caloric(p, T, Y, rho, h, cp);
        const double T_new = T - (h + 0.5 * G2 / (rho * rho) - H) / cp;
        if (!std::isfinite(T_new) || !(T_new > 0.0)) return false;
        if (std::fabs(T_new - T) <= kTolerance * T) {
            T = T_new;
            return true;
        }
        T = T_new;
    }
    return false;
}

void C_free_surface_vof_thermodynamics::get_properties_p_H(double H, double p, const double* Y, double G2, double T0,
                                                           double* rho, double* T, double* cp, double* gamma,
                                                           double* M, double* a, double* mu, double* lambda,
                                                           double* p_out) const noexcept {
    double alpha[kMaxPhases];
    const std::int32_t one = volume_fractions(Y, alpha);
    if (one >= 0) {
        phase(one).get_properties_p_H(H, p, phase_Y(Y, one), G2, T0, rho, T, cp, gamma, M, a, mu, lambda, p_out);
        return;
    }
    double Ts;
    if (!solve_T(H, p, Y, G2, T0, Ts)) {
        MP_LOG(m_sink, mp::line_kind::warning, "Warning 3002: MediumPhysics: %s(%d): Inconsistent physical parameters!\n");
        Ts = T0;
    }
    double h;
    get_properties_p_T(p, Ts, Y, rho, &h, cp, gamma, M, a, mu, lambda);
    *T = Ts;
    *p_out = p;
}

void C_free_surface_vof_thermodynamics::RhoT(double H, double p, const double* Y, double G2, double rho0, double T0,
                                             double* rho, double* T) const noexcept {
    double alpha[kMaxPhases];
    const std::int32_t one = volume_fractions(Y, alpha);
    if (one >= 0) {
        phase(one).RhoT(H, p, phase_Y(Y, one), G2, rho0, T0, rho, T);
        return;
    }
    double Ts;
    if (!solve_T(H, p, Y, G2, T0, Ts)) {
        MP_LOG(m_sink, mp::line_kind::warning, "Warning 3002: MediumPhysics: %s(%d): Inconsistent physical parameters!\n");
        Ts = T0;
    }
    *T = Ts;
    *rho = get_density(p, Ts, Y);
}

double C_free_surface_vof_thermodynamics::get_T_p_h(double p, double h, const double* Y) const noexcept {
    double alpha[kMaxPhases];
    const std::int32_t one = volume_fractions(Y, alpha);
    if (one >= 0) return phase(one).get_T_p_h(p, h, phase_Y(Y, one));
    double T;
    if (solve_T(h, p, Y, 0.0, kStartTemperature, T)) return T;
    MP_LOG(m_sink, mp::line_kind::warning, "Warning 3002: MediumPhysics: %s(%d): Inconsistent physical parameters!\n");
    return kStartTemperature;
}

double C_free_surface_vof_thermodynamics::get_temperature_from_enthalpy(double h, double p, const double* Y, double,
                                                                        double T0) const noexcept {
    double rho, T, cp, gamma, M, a, mu, lambda, p_out;
    get_properties_p_H(h, p, Y, 0.0, T0, &rho, &T, &cp, &gamma, &M, &a, &mu, &lambda, &p_out);
    return T;
}
