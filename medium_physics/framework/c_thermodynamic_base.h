// The framework every fluid medium stands on: the base with the medium's identity, the kind
// display names, the shared composition helpers, and the generic operations that the gas media
// share (temperature from enthalpy, dynamic pressure factor, constant-gamma closures).
#pragma once

#include <cmath>
#include <cstdint>
#include <memory>

#include "medium_physics/host_guid.h"
#include "medium_physics/thermodynamics.h"

class C_file_io;

namespace thermo {

// J/(mol K). This rounded value, deliberately, in every class.
inline constexpr double kUniversalGasConstant = 8.3144;
// Pa: the pressure at which the dynamic pressure factor evaluates gamma and a.
inline constexpr double kDynamicPressureReference = 101325.0;
// Below this squared Mach number the dynamic pressure factor uses its series 1 + M2/4.
inline constexpr double kDynamicPressureSeriesLimit = 1e-06;
// Room of the local array that holds cleaned mass fractions.
inline constexpr std::int32_t kMaxCleanedSubstances = 100;

// Display name of a kind code ("Ideal gas thermodynamics", ...); nullptr outside 0..14.
const char* kind_display_name(std::int32_t kind) noexcept;
// Class name of a kind code ("C_ideal_gas_thermodynamics", ...); nullptr outside 0..14.
const char* kind_class_name(std::int32_t kind) noexcept;

// gamma = cp / (cp - R) of an ideal gas, cp and R in J/(kg K).
inline double gamma_from_cp(double cp, double R) noexcept { return cp / (cp - R); }

// Copies min(n, 100) mass fractions into `out` (room for 100), sets negatives to 0, divides all
// but the last by their sum and sets the last to 1 minus the sum of the others, so that the
// cleaned fractions add up to exactly 1. When nothing positive is left, the last substance takes
// it all. Returns the number of entries written.
std::int32_t clean_mass_fractions(std::int32_t n, const double* Y, double* out) noexcept;

// Total-minus-static over dynamic pressure at speed u: gamma and a from get_properties_p_T at
// 101325 Pa; 1 + M2/4 below M2 = 1e-6, else the isentropic form.
double dynamic_pressure_factor(const I_solver__fluid_thermodynamics_common& medium, double T, double u,
                               const double* Y) noexcept;
// T from h through the medium's own get_properties_p_H with p = 0 and G2 = 0.
double temperature_from_enthalpy(const I_solver__thermodynamics_P_H& medium, double h, const double* Y,
                                 double T0) noexcept;

}  // namespace thermo

// The base of every thermodynamics object: its identity, created fresh with the object (a loaded
// object takes the identity from its stream record). Not copyable.
class C_thermodynamic_base : public I_identity {
public:
    C_thermodynamic_base() noexcept;
    ~C_thermodynamic_base() override;
    C_thermodynamic_base(const C_thermodynamic_base&) = delete;
    C_thermodynamic_base& operator=(const C_thermodynamic_base&) = delete;

    const host_guid& identity() const noexcept { return m_identity; }
    // Writes the 16 identity bytes into `out` (the key under which the factory registers it).
    void get_identity(std::uint8_t* out) const noexcept override;

protected:
    void write_identity(C_file_io& stream) const;
    void read_identity(C_file_io& stream);

private:
    host_guid m_identity;
};

// What a medium without radiation data answers: nothing to prepare, no radiation properties and
// the radiation value 0.
class C_no_radiation : public FluidRadProp::I_radiation_properties, public virtual FluidRadProp::IRadPropFunctionality {
public:
    void update_radiation_properties() noexcept override {}
    std::shared_ptr<FluidRadProp::I_radiation_properties> get_radiation_properties() const noexcept override {
        return {};
    }
    double get_radiation_value(double, double, const double*) const noexcept override { return 0.0; }
};

namespace thermo {
// The substances of a medium as the solver sees them (get_substances), in the medium's order.
template <class S>
substance_array substance_array_of(const host_shared_array<std::shared_ptr<S>>& list) {
    substance_array out(list.size());
    for (std::int32_t i = 0; i < list.size(); ++i) out[i] = list[i];
    return out;
}
template <class S>
substance_array substance_array_of(const std::shared_ptr<S>& one) {
    substance_array out(1);
    out[0] = one;
    return out;
}
}  // namespace thermo

// Carries enable_shared_from_this of the concrete class, so that an object hands out shared
// pointers to itself and to its interfaces.
template <class T>
class CHostAPIBaseClass : public std::enable_shared_from_this<T> {};

// The operations that every gas computes the same way, in terms of the medium's own interface.
class C_generic_gas_operations : public virtual I_solver__thermodynamics_P_H {
public:
    double get_temperature_from_enthalpy(double h, double p, const double* Y, double unused,
                                         double T0) const noexcept override;
    double get_dynamic_pressure_factor(double T, double u, const double* Y) const noexcept override;
};

// Operations 4 to 7 of the density-based interface for a calorically perfect view of the medium:
// gamma comes from the medium's get_gamma (called with T = 0, which constant-gamma media ignore),
// R from specific_gas_constant.
class C_constant_gamma_closures : public virtual I_solver__thermodynamics_Rho_E {
public:
    double get_sound_speed_e(double e, const double* Y) const noexcept override;
    double get_energy_p_rho(double p_over_rho, const double* Y) const noexcept override;
    double get_pressure_rho_e(double e, double rho, const double* Y) const noexcept override;
    double get_temperature_e(double e, const double* Y) const noexcept override;

protected:
    // R = 8.3144 sum(Y_i / M_i), J/(kg K).
    virtual double specific_gas_constant(const double* Y) const noexcept = 0;
};
