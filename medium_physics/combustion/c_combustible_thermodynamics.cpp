#include "combustion/c_combustible_thermodynamics.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>

#include "factory/mp_log.h"
#include "factory/query_interface.h"
#include "file_io/c_file_io/c_file_io.h"

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double R = mp::equilibrium::kGasConstant;
// Start of the closure p = rho R T / M (or v = R T / (M p)): about air's molar mass.
constexpr double kStartMolarMass = 0.029;
// The closure's convergence: relative change of M.
constexpr double kClosureTolerance = 1e-13;

double clamp01(double x) noexcept { return x > 0.0 ? (x < 1.0 ? x : 1.0) : 0.0; }

}  // namespace

// ---- set-up and record --------------------------------------------------------------------------

bool C_combustible_thermodynamics::assign(std::shared_ptr<C_combustible_substance> substance, double default_z,
                                          std::int32_t settings) noexcept {
    if (!substance) return false;
    m_substance = std::move(substance);
    m_substance_id = m_substance->identity();
    m_default_z = std::isfinite(default_z) ? clamp01(default_z) : 0.0;
    m_settings = settings;
    return true;
}

void C_combustible_thermodynamics::write(C_file_io& stream) const {
    stream.put<std::int32_t>(0);
    write_identity(stream);
    stream.write_guid(m_substance->identity());
    stream.put<double>(m_default_z);
    stream.put<std::int32_t>(m_settings);
}

void C_combustible_thermodynamics::read_record(C_file_io& stream) {
    read_identity(stream);
    stream.read_guid(m_substance_id);
    m_default_z = stream.get<double>();
    m_settings = stream.get<std::int32_t>();
}

substance_array C_combustible_thermodynamics::get_substances() const {
    substance_array out(1);
    out[0] = m_substance;
    return out;
}

bool C_combustible_thermodynamics::attach(std::shared_ptr<C_combustible_substance> substance) noexcept {
    return assign(std::move(substance), m_default_z, m_settings);
}

std::shared_ptr<C_combustible_thermodynamics_PT> C_combustible_thermodynamics_PT::create(
    std::shared_ptr<C_combustible_substance_PT> substance, double default_z, std::int32_t settings) {
    std::shared_ptr<C_combustible_thermodynamics_PT> medium(new C_combustible_thermodynamics_PT());
    if (!medium->assign(std::move(substance), default_z, settings)) return nullptr;
    return medium;
}

std::shared_ptr<C_combustible_thermodynamics_VT> C_combustible_thermodynamics_VT::create(
    std::shared_ptr<C_combustible_substance_VT> substance, double default_z, std::int32_t settings) {
    std::shared_ptr<C_combustible_thermodynamics_VT> medium(new C_combustible_thermodynamics_VT());
    if (!medium->assign(std::move(substance), default_z, settings)) return nullptr;
    return medium;
}

std::shared_ptr<C_combustible_thermodynamics_PT> C_combustible_thermodynamics_PT::load(C_file_io& stream,
                                                                                       const C_medium_physics& factory) {
    if (stream.get<std::int32_t>() != 0) return nullptr;
    std::shared_ptr<C_combustible_thermodynamics_PT> medium(new C_combustible_thermodynamics_PT());
    medium->read_record(stream);
    if (!medium->attach(factory.find_substance<kCacheIndex>(medium->m_substance_id))) return nullptr;
    return medium;
}

std::shared_ptr<C_combustible_thermodynamics_VT> C_combustible_thermodynamics_VT::load(C_file_io& stream,
                                                                                       const C_medium_physics& factory) {
    if (stream.get<std::int32_t>() != 0) return nullptr;
    std::shared_ptr<C_combustible_thermodynamics_VT> medium(new C_combustible_thermodynamics_VT());
    medium->read_record(stream);
    if (!medium->attach(factory.find_substance<kCacheIndex>(medium->m_substance_id))) return nullptr;
    return medium;
}

std::int32_t C_combustible_thermodynamics_PT::query_interface(std::any& requested) {
    return mp::hand_out<IHostUnknown, FluidRadProp::IRadPropFunctionality, I_fluid_thermodynamics,
                        I_solver__fluid_thermodynamics_common, I_solver__thermodynamics_P_H,
                        I_solver__thermodynamics_Rho_E, I_fluid_combustible, I_write, I_identity,
                        FluidRadProp::I_radiation_properties>(weak_from_this().lock(), requested);
}

std::int32_t C_combustible_thermodynamics_VT::query_interface(std::any& requested) {
    return mp::hand_out<IHostUnknown, FluidRadProp::IRadPropFunctionality, I_fluid_thermodynamics,
                        I_solver__fluid_thermodynamics_common, I_solver__thermodynamics_P_H,
                        I_solver__thermodynamics_Rho_E, I_fluid_combustible, I_write, I_identity,
                        FluidRadProp::I_radiation_properties>(weak_from_this().lock(), requested);
}

// ---- states ---------------------------------------------------------------------------------------

C_combustible_thermodynamics::mixing C_combustible_thermodynamics::mixing_of(const double* Y) const noexcept {
    mixing m;
    if (Y == nullptr) {
        m.z = m_default_z;
        return m;
    }
    m.z = std::isfinite(Y[0]) ? clamp01(Y[0]) : m_default_z;
    if (m_substance->table().two_stream()) {
        m.a = std::isfinite(Y[1]) ? Y[1] : 0.0;
        m.b = std::isfinite(Y[2]) ? Y[2] : 0.0;
    }
    return m;
}

C_combustible_thermodynamics::state C_combustible_thermodynamics::lookup(double x1, double T,
                                                                         const mixing& m) const noexcept {
    const chem_lookup_result r = m_substance->table().lookup(x1, T, m.z, m.a, m.b);
    state s;
    s.T = T;
    s.rho = r.out[0];
    s.h = r.out[1];
    s.cp = r.out[2];
    s.gamma = r.out[3];
    s.M = r.out[4];
    s.a = r.out[5];
    s.mu = r.out[6];
    s.lambda = r.out[7];
    return s;
}

double C_combustible_thermodynamics::first_coordinate(double p, double T, const mixing& m) const noexcept {
    if (m_substance->variant() == chem_variant::PT) return p;
    // v = R T / (M(v, T) p)
    double M = kStartMolarMass;
    double v = R * T / (M * p);
    for (int i = 0; i < kClosureIterations; ++i) {
        const double M_new = lookup(v, T, m).M;
        if (!(M_new > 0.0)) break;
        v = R * T / (M_new * p);
        if (std::fabs(M_new - M) <= kClosureTolerance * M_new) break;
        M = M_new;
    }
    return v;
}

C_combustible_thermodynamics::state C_combustible_thermodynamics::state_p_T(double p, double T,
                                                                            const double* Y) const noexcept {
    const mixing m = mixing_of(Y);
    state s = lookup(first_coordinate(p, T, m), T, m);
    s.p = p;
    s.e = s.h - p / s.rho;
    return s;
}

C_combustible_thermodynamics::state C_combustible_thermodynamics::state_rho_T(double rho, double T,
                                                                              const double* Y) const noexcept {
    const mixing m = mixing_of(Y);
    state s;
    if (m_substance->variant() == chem_variant::VT) {
        s = lookup(1.0 / rho, T, m);
        s.p = rho * R * T / s.M;
    } else {
        // p with rho(p, T) = rho on the table: ln p += ln(rho / rho(p)) (d ln rho / d ln p is about 1),
        // from the ideal gas of air's molar mass.
        double p = rho * R * T / kStartMolarMass;
        for (int i = 0; i < kClosureIterations; ++i) {
            s = lookup(p, T, m);
            if (!(s.rho > 0.0)) break;
            const double step = std::log(rho / s.rho);
            p *= std::exp(step);
            if (std::fabs(step) <= kClosureTolerance) break;
        }
        s = lookup(p, T, m);
        s.p = p;
    }
    s.rho = rho;
    s.e = s.h - s.p / rho;
    return s;
}

void C_combustible_thermodynamics::warn() const noexcept {
    MP_LOG(m_substance->sink(), mp::line_kind::warning,
           "Warning 3002: MediumPhysics: %s(%d): Inconsistent physical parameters!\n");
}

namespace {

// Newton on T for f(T) = 0 with derivative d(T), kept in a bracket that narrows with every
// evaluation; bisects when a step would leave it. `eval` fills f and d and answers false on a
// state it cannot form. Returns true on convergence; T holds the last iterate.
template <class Eval>
bool newton_on_T(double& T, Eval&& eval) noexcept {
    double lo = C_combustible_thermodynamics::kLowestTemperature;
    double hi = C_combustible_thermodynamics::kHighestTemperature;
    for (int it = 0; it < C_combustible_thermodynamics::kIterations; ++it) {
        double f = 0.0, d = 0.0;
        if (!eval(T, f, d) || !std::isfinite(f)) return false;
        if (f > 0.0) hi = T;
        else lo = T;
        double T_new = T - f / d;
        if (!(d > 0.0) || !(T_new > lo && T_new < hi)) T_new = 0.5 * (lo + hi);
        const bool done = std::fabs(T_new - T) <= C_combustible_thermodynamics::kTolerance * T;
        T = T_new;
        if (done) return true;
    }
    return false;
}

// A usable start temperature: T0, else the table's lowest temperature.
double start_of(double T0, const C_3d_Chem_property& table) noexcept {
    if (std::isfinite(T0) && T0 >= C_combustible_thermodynamics::kLowestTemperature &&
        T0 <= C_combustible_thermodynamics::kHighestTemperature)
        return T0;
    return table.axis_values(1)[0];
}

}  // namespace

// ---- common -------------------------------------------------------------------------------------

double C_combustible_thermodynamics::get_cp(double p, double T, const double* Y) const noexcept {
    return state_p_T(p, T, Y).cp;
}
double C_combustible_thermodynamics::get_viscosity(double p, double T, const double* Y) const noexcept {
    return state_p_T(p, T, Y).mu;
}
double C_combustible_thermodynamics::get_conductivity(double p, double T, const double* Y) const noexcept {
    return state_p_T(p, T, Y).lambda;
}
double C_combustible_thermodynamics::get_prandtl(double p, double T, const double* Y) const noexcept {
    const state s = state_p_T(p, T, Y);
    return s.mu * s.cp / s.lambda;
}

double C_combustible_thermodynamics::get_expansion_factor(double p, double T, const double* Y) const noexcept {
    // T beta = T (dv/dT)_p / v, the blend of field 3 over v.
    const mixing m = mixing_of(Y);
    const double x1 = first_coordinate(p, T, m);
    const double rho = lookup(x1, T, m).rho;
    return T * blended_field(mp::combustion::kFieldVolumeByT, x1, T, m) * rho;
}

double C_combustible_thermodynamics::get_temperature_from_enthalpy(double h, double p, const double* Y, double,
                                                                   double T0) const noexcept {
    double rho, T, cp, gamma, M, a, mu, lambda, p_out;
    get_properties_p_H(h, p, Y, 0.0, T0, &rho, &T, &cp, &gamma, &M, &a, &mu, &lambda, &p_out);
    return T;
}

void C_combustible_thermodynamics::get_properties_p_T(double p, double T, const double* Y, double* rho, double* h,
                                                      double* cp, double* gamma, double* M, double* a, double* mu,
                                                      double* lambda) const noexcept {
    const state s = state_p_T(p, T, Y);
    *rho = s.rho;
    *h = s.h;
    *cp = s.cp;
    *gamma = s.gamma;
    *M = s.M;
    *a = s.a;
    *mu = s.mu;
    *lambda = s.lambda;
}

double C_combustible_thermodynamics::get_mole_fraction(double, double, const double*, std::int32_t k) const noexcept {
    return k == 0 ? 1.0 : 0.0;
}
double C_combustible_thermodynamics::get_mass_fraction(double, double, const double*, std::int32_t k) const noexcept {
    return k == 0 ? 1.0 : 0.0;
}
double C_combustible_thermodynamics::get_dynamic_pressure_factor(double T, double u, const double* Y) const noexcept {
    return thermo::dynamic_pressure_factor(*this, T, u, Y);
}

// ---- pressure-based -----------------------------------------------------------------------------

void C_combustible_thermodynamics::get_properties_p_H(double H, double p, const double* Y, double G2, double T0,
                                                      double* rho, double* T, double* cp, double* gamma, double* M,
                                                      double* a, double* mu, double* lambda,
                                                      double* p_out) const noexcept {
    const double start = start_of(T0, m_substance->table());
    double t = start;
    const bool ok = std::isfinite(H) && std::isfinite(G2) && p > 0.0 &&
                    newton_on_T(t, [&](double x, double& f, double& d) {
                        const state s = state_p_T(p, x, Y);
                        f = s.h + 0.5 * G2 / (s.rho * s.rho) - H;
                        d = s.cp;
                        return s.rho > 0.0;
                    });
    if (!ok) {
        warn();
        t = start;
    }
    const state s = state_p_T(p, t, Y);
    *rho = s.rho;
    *T = t;
    *cp = s.cp;
    *gamma = s.gamma;
    *M = s.M;
    *a = s.a;
    *mu = s.mu;
    *lambda = s.lambda;
    *p_out = p;
}

void C_combustible_thermodynamics::RhoT(double H, double p, const double* Y, double G2, double, double T0, double* rho,
                                        double* T) const noexcept {
    double cp, gamma, M, a, mu, lambda, p_out;
    get_properties_p_H(H, p, Y, G2, T0, rho, T, &cp, &gamma, &M, &a, &mu, &lambda, &p_out);
}

double C_combustible_thermodynamics::get_T_p_h(double p, double h, const double* Y) const noexcept {
    const C_3d_Chem_property& t = m_substance->table();
    const double middle = 0.5 * (t.axis_values(1)[0] + t.axis_values(1)[t.size(1) - 1]);
    return get_temperature_from_enthalpy(h, p, Y, 0.0, middle);
}

double C_combustible_thermodynamics::get_enthalpy(double p, double T, const double* Y) const noexcept {
    return state_p_T(p, T, Y).h;
}
double C_combustible_thermodynamics::get_density(double p, double T, const double* Y) const noexcept {
    return state_p_T(p, T, Y).rho;
}
double C_combustible_thermodynamics::get_sound_speed(double p, double T, const double* Y) const noexcept {
    return state_p_T(p, T, Y).a;
}

double C_combustible_thermodynamics::get_drho_dp(double p, double T, const double* Y) const noexcept {
    // d rho/dp at constant T = -rho^2 (dv/dp)_T
    const mixing m = mixing_of(Y);
    const double x1 = first_coordinate(p, T, m);
    const double rho = lookup(x1, T, m).rho;
    return -rho * rho * blended_field(mp::combustion::kFieldVolumeByP, x1, T, m);
}

double C_combustible_thermodynamics::get_compressibility(double p, double T, const double* Y) const noexcept {
    return get_drho_dp(p, T, Y);
}

// ---- density-based ------------------------------------------------------------------------------

void C_combustible_thermodynamics::get_properties_rho_e(double e, double rho, const double* Y, double T0, double* p,
                                                        double* T, double* cp, double* gamma, double* M, double* a,
                                                        double* mu, double* lambda) const noexcept {
    const double start = start_of(T0, m_substance->table());
    double t = start;
    const bool ok = std::isfinite(e) && rho > 0.0 && newton_on_T(t, [&](double x, double& f, double& d) {
                        const state s = state_rho_T(rho, x, Y);
                        f = s.e - e;
                        d = s.cp / s.gamma;
                        return s.p > 0.0;
                    });
    if (!ok) {
        warn();
        t = start;
    }
    const state s = state_rho_T(rho, t, Y);
    *p = s.p;
    *T = t;
    *cp = s.cp;
    *gamma = s.gamma;
    *M = s.M;
    *a = s.a;
    *mu = s.mu;
    *lambda = s.lambda;
}

void C_combustible_thermodynamics::get_properties_p_rho(double p, double rho, const double* Y, double, double* e,
                                                        double* T, double* cp, double* gamma, double* M, double* a,
                                                        double* mu, double* lambda) const noexcept {
    // Start: the ideal gas of the table's lowest node's molar mass.
    const state cold = state_p_T(p, m_substance->table().axis_values(1)[0], Y);
    const double start = p > 0.0 && rho > 0.0 ? std::clamp(p * cold.M / (rho * R), kLowestTemperature, kHighestTemperature)
                                               : m_substance->table().axis_values(1)[0];
    double t = start;
    const bool ok = p > 0.0 && rho > 0.0 && std::isfinite(p) && std::isfinite(rho) &&
                    newton_on_T(t, [&](double x, double& f, double& d) {
                        const state s = state_rho_T(rho, x, Y);
                        f = s.p - p;
                        d = s.p / x;
                        return s.p > 0.0;
                    });
    if (!ok) {
        warn();
        t = start;
    }
    const state s = state_rho_T(rho, t, Y);
    *e = s.e;
    *T = t;
    *cp = s.cp;
    *gamma = s.gamma;
    *M = s.M;
    *a = s.a;
    *mu = s.mu;
    *lambda = s.lambda;
}

double C_combustible_thermodynamics::get_gamma(double T, const double* Y) const noexcept {
    return state_p_T(kReferencePressure, T, Y).gamma;
}

double C_combustible_thermodynamics::get_sound_speed_e(double e, const double* Y) const noexcept {
    // At the reference pressure: T from e = h - R T / M.
    const double T = get_temperature_e(e, Y);
    return state_p_T(kReferencePressure, T, Y).a;
}

double C_combustible_thermodynamics::get_energy_p_rho(double p_over_rho, const double* Y) const noexcept {
    const double rho = kReferencePressure / p_over_rho;
    double e, T, cp, gamma, M, a, mu, lambda;
    get_properties_p_rho(kReferencePressure, rho, Y, 0.0, &e, &T, &cp, &gamma, &M, &a, &mu, &lambda);
    return e;
}

double C_combustible_thermodynamics::get_pressure_rho_e(double e, double rho, const double* Y) const noexcept {
    double p, T, cp, gamma, M, a, mu, lambda;
    get_properties_rho_e(e, rho, Y, 0.0, &p, &T, &cp, &gamma, &M, &a, &mu, &lambda);
    return p;
}

double C_combustible_thermodynamics::get_temperature_e(double e, const double* Y) const noexcept {
    const C_3d_Chem_property& table = m_substance->table();
    double t = 0.5 * (table.axis_values(1)[0] + table.axis_values(1)[table.size(1) - 1]);
    const bool ok = std::isfinite(e) && newton_on_T(t, [&](double x, double& f, double& d) {
                        const state s = state_p_T(kReferencePressure, x, Y);
                        f = s.e - e;
                        d = s.cp / s.gamma;
                        return s.rho > 0.0;
                    });
    if (!ok) warn();
    return t;
}

// ---- combustible --------------------------------------------------------------------------------

double C_combustible_thermodynamics::blended_field(std::int32_t index, double x1, double T,
                                                   const mixing& m) const noexcept {
    const C_3d_Chem_property& t = m_substance->table();
    const chem_mixing w = t.mixing_weights(m.z, m.a, m.b);
    const auto at = [&](double z) {
        const chem_cell c = t.locate(x1, T, z);
        return t.interpolate(index, c.w1, c.w2, c.w3, c.i, c.j, c.k);
    };
    if (!t.two_stream()) return at(m.z);
    double burnt = w.burnt, z = m.z;
    if (t.mode() == 1) z = t.stream_parameter();
    else if (burnt < 1e-4) burnt = 0.0;
    else z = clamp01((m.z - w.fuel) / burnt);
    double v = w.fuel * at(1.0) + w.oxidizer() * at(0.0);
    if (burnt > 0.0) v += burnt * at(z);
    return v;
}

std::int32_t C_combustible_thermodynamics::get_species_count() const noexcept { return m_substance->reported_count(); }

const char* C_combustible_thermodynamics::get_species_name(std::int32_t k) const noexcept {
    if (k < 0 || k >= m_substance->reported_count()) return "";
    return m_substance->chemistry().species().at(m_substance->reported(k)).name;
}

double C_combustible_thermodynamics::get_species_mass_fraction(double p, double T, const double* Y,
                                                               std::int32_t k) const noexcept {
    if (k < 0 || k >= m_substance->reported_count()) return kNaN;
    const mixing m = mixing_of(Y);
    return blended_field(mp::combustion::kPropertyFieldCount + k, first_coordinate(p, T, m), T, m);
}

double C_combustible_thermodynamics::get_stoichiometric_mixture_fraction() const noexcept {
    return m_substance->chemistry().stoichiometric_mixture_fraction();
}
