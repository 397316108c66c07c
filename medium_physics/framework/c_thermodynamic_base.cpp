#include "framework/c_thermodynamic_base.h"

#include <algorithm>
#include <cstring>

#include "file_io/c_file_io/c_file_io.h"

namespace thermo {

namespace {
struct kind_names {
    const char* class_name;
    const char* display_name;
};
constexpr kind_names kKinds[kMediumKindCount] = {
    {"C_ideal_gas_thermodynamics", "Ideal gas thermodynamics"},
    {"C_inc_liquid_thermodynamics", "Incompressible liquid thermodynamics"},
    {"C_inc_non_newtonian_liquid_thermodynamics", "Incompressible non-newton liquid thermodynamics"},
    {"C_comp_liquid_thermodynamics", "Compressible liquid thermodynamics"},
    {"C_isotherm_cavitation_thermodynamics", "Isothermal cavitation thermodynamics"},
    {"C_real_gas_thermodynamics", "Real gas thermodynamics"},
    {"C_real_gas_phase_change_thermodynamics", "Real gas with phase change thermodynamics"},
    {"C_combustible_thermodynamics_VT", "Combustible thermodynamics (VT)"},
    {"C_combustible_thermodynamics_PT", "Combustible thermodynamics (PT)"},
    {"C_hypersonic_gas_thermodynamics", "Hypersonic gas thermodynamics"},
    {"C_cavitation_therm_obsolete", "Cavitation obsolete thermodynamics"},
    {"C_condensation_therm_obsolete", "Condensation obsolete thermodynamics"},
    {"C_perfect_gas_thermodynamics", "Perfect gas thermodynamics"},
    {"C_single_component_thermodynamics_VT", "Single component gas thermodynamics"},
    {"C_free_surface_vof_thermodynamics", "Free surface VOF thermodynamics"},
};
}  // namespace

const char* kind_display_name(std::int32_t kind) noexcept {
    return kind >= 0 && kind < kMediumKindCount ? kKinds[kind].display_name : nullptr;
}

const char* kind_class_name(std::int32_t kind) noexcept {
    return kind >= 0 && kind < kMediumKindCount ? kKinds[kind].class_name : nullptr;
}

std::int32_t clean_mass_fractions(std::int32_t n, const double* Y, double* out) noexcept {
    n = std::clamp(n, 0, kMaxCleanedSubstances);
    if (n == 0) return 0;
    double sum = 0.0;
    for (std::int32_t i = 0; i < n; ++i) {
        out[i] = Y[i] < 0.0 ? 0.0 : Y[i];
        sum += out[i];
    }
    if (!(sum > 0.0)) {
        std::fill(out, out + n, 0.0);
        out[n - 1] = 1.0;
        return n;
    }
    double others = 0.0;
    for (std::int32_t i = 0; i + 1 < n; ++i) {
        out[i] /= sum;
        others += out[i];
    }
    out[n - 1] = 1.0 - others;
    return n;
}

double dynamic_pressure_factor(const I_solver__fluid_thermodynamics_common& medium, double T, double u,
                               const double* Y) noexcept {
    double rho = 0, h = 0, cp = 0, gamma = 0, M = 0, a = 0, mu = 0, lambda = 0;
    medium.get_properties_p_T(kDynamicPressureReference, T, Y, &rho, &h, &cp, &gamma, &M, &a, &mu, &lambda);
    const double M2 = (u / a) * (u / a);
    if (M2 < kDynamicPressureSeriesLimit) return 1.0 + 0.25 * M2;
    // (p0 - p) / (rho u^2 / 2) of the isentropic flow
    return (std::pow(1.0 + (gamma - 1.0) / 2.0 * M2, gamma / (gamma - 1.0)) - 1.0) / (gamma / 2.0 * M2);
}

double temperature_from_enthalpy(const I_solver__thermodynamics_P_H& medium, double h, const double* Y,
                                 double T0) noexcept {
    double rho = 0, T = T0, cp = 0, gamma = 0, M = 0, a = 0, mu = 0, lambda = 0, p = 0;
    medium.get_properties_p_H(h, 0.0, Y, 0.0, T0, &rho, &T, &cp, &gamma, &M, &a, &mu, &lambda, &p);
    return T;
}

}  // namespace thermo

C_thermodynamic_base::C_thermodynamic_base() noexcept { guid_utils::CreateUUID(m_identity); }

C_thermodynamic_base::~C_thermodynamic_base() = default;

void C_thermodynamic_base::get_identity(std::uint8_t* out) const noexcept {
    std::memcpy(out, m_identity.bytes.data(), 16);
}

void C_thermodynamic_base::write_identity(C_file_io& stream) const { stream.write_guid(m_identity); }
void C_thermodynamic_base::read_identity(C_file_io& stream) { stream.read_guid(m_identity); }

double C_generic_gas_operations::get_temperature_from_enthalpy(double h, double, const double* Y, double,
                                                               double T0) const noexcept {
    return thermo::temperature_from_enthalpy(*this, h, Y, T0);
}

double C_generic_gas_operations::get_dynamic_pressure_factor(double T, double u, const double* Y) const noexcept {
    return thermo::dynamic_pressure_factor(*this, T, u, Y);
}

double C_constant_gamma_closures::get_sound_speed_e(double e, const double* Y) const noexcept {
    const double g = get_gamma(0.0, Y);
    return std::sqrt(g * (g - 1.0) * e);
}

double C_constant_gamma_closures::get_energy_p_rho(double p_over_rho, const double* Y) const noexcept {
    return p_over_rho / (get_gamma(0.0, Y) - 1.0);
}

double C_constant_gamma_closures::get_pressure_rho_e(double e, double rho, const double* Y) const noexcept {
    return (get_gamma(0.0, Y) - 1.0) * rho * e;
}

double C_constant_gamma_closures::get_temperature_e(double e, const double* Y) const noexcept {
    return (get_gamma(0.0, Y) - 1.0) * e / specific_gas_constant(Y);
}
