#include "hypersonic/c_hypersonic_gas_thermodynamics.h"

#include <cmath>

#include "file_io/c_file_io/c_file_io.h"
#include "factory/query_interface.h"

namespace {
// Result slots of the table queries.
enum : int { kFirst = 0, kSecond = 1, kSound = 2, kGamma = 3, kCp = 4, kMolar = 5, kViscosity = 6, kConductivity = 7 };

// The six results every query gives in the same slots.
void spread(const double* r, double* cp, double* gamma, double* M, double* a, double* mu, double* lambda) noexcept {
    *cp = r[kCp];
    *gamma = r[kGamma];
    *M = r[kMolar];
    *a = r[kSound];
    *mu = r[kViscosity];
    *lambda = r[kConductivity];
}
}  // namespace

std::shared_ptr<C_hypersonic_gas_thermodynamics> C_hypersonic_gas_thermodynamics::create(
    std::shared_ptr<C_hypersonic_gas_substance> gas) {
    if (!gas) return nullptr;
    std::shared_ptr<C_hypersonic_gas_thermodynamics> medium(new C_hypersonic_gas_thermodynamics());
    medium->m_gas = std::move(gas);
    return medium;
}

std::shared_ptr<C_hypersonic_gas_thermodynamics> C_hypersonic_gas_thermodynamics::load(C_file_io& stream,
                                                                                       const C_medium_physics& factory) {
    if (stream.get<std::int32_t>() != 0) return nullptr;
    std::shared_ptr<C_hypersonic_gas_thermodynamics> medium(new C_hypersonic_gas_thermodynamics());
    medium->read_identity(stream);
    host_guid id;
    stream.read_guid(id);
    medium->m_gas = factory.find_substance<kCacheIndex>(id);
    if (!medium->m_gas) return nullptr;
    return medium;
}

void C_hypersonic_gas_thermodynamics::write(C_file_io& stream) const {
    stream.put<std::int32_t>(0);
    write_identity(stream);
    stream.write_guid(m_gas->identity());
}

std::int32_t C_hypersonic_gas_thermodynamics::query_interface(std::any& requested) {
    return mp::hand_out<IHostUnknown, FluidRadProp::IRadPropFunctionality, I_fluid_thermodynamics,
                        I_solver__fluid_thermodynamics_common, I_solver__thermodynamics_Rho_E, I_fluid_ideal_gas,
                        I_solver_hypersonic_gas, I_solver_equilibrium_sound_speed, I_write, I_identity,
                        FluidRadProp::I_radiation_properties>(weak_from_this().lock(), requested);
}

substance_array C_hypersonic_gas_thermodynamics::get_substances() const {
    substance_array out(1);
    out[0] = m_gas;
    return out;
}

// ---- common -------------------------------------------------------------------------------------

double C_hypersonic_gas_thermodynamics::get_cp(double p, double T, const double*) const noexcept {
    double r[8];
    m_gas->state_p_T(p, T, r);
    return r[kCp];
}

double C_hypersonic_gas_thermodynamics::get_viscosity(double p, double T, const double*) const noexcept {
    double r[8];
    m_gas->state_p_T(p, T, r);
    return r[kViscosity];
}

double C_hypersonic_gas_thermodynamics::get_conductivity(double p, double T, const double*) const noexcept {
    double r[8];
    m_gas->state_p_T(p, T, r);
    return r[kConductivity];
}

double C_hypersonic_gas_thermodynamics::get_prandtl(double p, double T, const double*) const noexcept {
    double r[8];
    m_gas->state_p_T(p, T, r);
    return r[kViscosity] * r[kCp] / r[kConductivity];
}

void C_hypersonic_gas_thermodynamics::get_properties_p_T(double p, double T, const double*, double* rho, double* h,
                                                         double* cp, double* gamma, double* M, double* a, double* mu,
                                                         double* lambda) const noexcept {
    double r[8];
    m_gas->state_p_T(p, T, r);
    *rho = r[kFirst];
    *h = r[kSecond] + p / r[kFirst];
    spread(r, cp, gamma, M, a, mu, lambda);
}

double C_hypersonic_gas_thermodynamics::get_temperature_from_enthalpy(double h, double p, const double* Y, double,
                                                                      double T0) const noexcept {
    double lo = kLowestTemperature, hi = kHighestTemperature;
    bool lo_set = false, hi_set = false;
    double T = T0;
    if (!(T >= lo)) T = lo;  // (a NaN start goes to the lower end)
    if (T > hi) T = hi;
    double T_previous = T;
    for (int iteration = 1; iteration <= kEnthalpyIterations; ++iteration) {
        double rho, hT, cp, gamma, M, a, mu, lambda;
        get_properties_p_T(p, T, Y, &rho, &hT, &cp, &gamma, &M, &a, &mu, &lambda);
        const double r = hT - h;
        if (iteration > 1 && std::fabs(T - T_previous) / T_previous < kEnthalpyTolerance) return T;
        if (r <= 0.0) {
            lo = T;
            lo_set = true;
        } else {
            hi = T;
            hi_set = true;
        }
        double T_new = T - r / cp;
        if (!(T_new > lo && T_new < hi) || iteration > kEnthalpyNewtonSteps) {
            if (lo_set && hi_set) {
                T_new = 0.5 * (lo + hi);
            } else if (!(T_new > lo)) {
                T_new = lo;
                lo_set = true;
            } else if (!(T_new < hi)) {
                T_new = hi;
                hi_set = true;
            }
        }
        T_previous = T;
        T = T_new;
    }
    return T;
}

double C_hypersonic_gas_thermodynamics::get_mole_fraction(double, double, const double*, std::int32_t k) const noexcept {
    return k == 0 ? 1.0 : 0.0;
}

double C_hypersonic_gas_thermodynamics::get_mass_fraction(double p, double T, const double* X,
                                                          std::int32_t k) const noexcept {
    return get_mole_fraction(p, T, X, k);
}

double C_hypersonic_gas_thermodynamics::get_dynamic_pressure_factor(double T, double u, const double* Y) const noexcept {
    return thermo::dynamic_pressure_factor(*this, T, u, Y);
}

// ---- density-based ------------------------------------------------------------------------------

void C_hypersonic_gas_thermodynamics::get_properties_rho_e(double e, double rho, const double*, double, double* p,
                                                           double* T, double* cp, double* gamma, double* M, double* a,
                                                           double* mu, double* lambda) const noexcept {
    double r[8];
    m_gas->state_e_rho(e, rho, r);
    *p = r[kSecond];
    *T = r[kFirst];
    spread(r, cp, gamma, M, a, mu, lambda);
}

void C_hypersonic_gas_thermodynamics::get_properties_p_rho(double p, double rho, const double*, double, double* e,
                                                           double* T, double* cp, double* gamma, double* M, double* a,
                                                           double* mu, double* lambda) const noexcept {
    double r[8];
    m_gas->state_p_rho(p, rho, r);
    *e = r[kSecond];
    *T = r[kFirst];
    spread(r, cp, gamma, M, a, mu, lambda);
}

double C_hypersonic_gas_thermodynamics::get_gamma(double T, const double*) const noexcept {
    double r[8];
    m_gas->state_T_rho(T, kReferenceDensity, r);
    return r[kGamma];
}

double C_hypersonic_gas_thermodynamics::get_sound_speed_e(double e, const double*) const noexcept {
    double r[8];
    m_gas->state_e_rho(e, kReferenceDensity, r);
    return r[kSound];
}

double C_hypersonic_gas_thermodynamics::get_energy_p_rho(double p_over_rho, const double*) const noexcept {
    double r[8];
    m_gas->state_p_rho(p_over_rho * kReferenceDensity, kReferenceDensity, r);
    return r[kSecond];
}

double C_hypersonic_gas_thermodynamics::get_pressure_rho_e(double e, double rho, const double*) const noexcept {
    double r[8];
    m_gas->state_e_rho(e, rho, r);
    return r[kSecond];
}

double C_hypersonic_gas_thermodynamics::get_temperature_e(double e, const double*) const noexcept {
    double r[8];
    m_gas->state_e_rho(e, kReferenceDensity, r);
    return r[kFirst];
}

// ---- ideal-gas view and the hypersonic interface ------------------------------------------------

double C_hypersonic_gas_thermodynamics::pressure_rho_T(double rho, double T, const double*) const noexcept {
    double r[8];
    m_gas->state_T_rho(T, rho, r);
    return r[kSecond];
}

double C_hypersonic_gas_thermodynamics::density_p_T(double p, double T, const double*) const noexcept {
    double r[8];
    m_gas->state_p_T(p, T, r);
    return r[kFirst];
}

void C_hypersonic_gas_thermodynamics::get_properties_T_rho(double T, double rho, const double*, double* p, double* e,
                                                           double* cp, double* gamma, double* M, double* a, double* mu,
                                                           double* lambda) const noexcept {
    double r[8];
    m_gas->state_T_rho(T, rho, r);
    *p = r[kSecond];
    *e = r[kFirst];
    spread(r, cp, gamma, M, a, mu, lambda);
}

// ---- the equilibrium speed of sound -------------------------------------------------------------

void C_hypersonic_gas_thermodynamics::get_equilibrium_sound_speed_T_rho(double T, double rho, const double*,
                                                                        double* a_eq, double* kappa) const noexcept {
    m_gas->tables().equilibrium_sound_T_rho(T, rho, *a_eq, *kappa);
}

void C_hypersonic_gas_thermodynamics::get_equilibrium_sound_speed_rho_e(double e, double rho, const double*, double,
                                                                        double* a_eq, double* kappa) const noexcept {
    double r[8];
    m_gas->state_e_rho(e, rho, r);
    m_gas->tables().equilibrium_sound_T_rho(r[kFirst], rho, *a_eq, *kappa);
}
