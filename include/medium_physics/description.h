// Descriptions: host objects that describe one substance each. The factory asks a description
// for its identifier; the substance constructors read everything else from the description
// interface of their medium, which derives from IHostDescription.
#pragma once

#include <cstdint>
#include <memory>

#include "medium_physics/host_shared_array.h"
#include "medium_physics/host_string.h"
#include "medium_physics/host_unknown.h"

// Operations in slot order: 1 destructor; 2 query_interface; 3 get_name; 4 get_identifier.
class IHostDescription : public IHostUnknown {
public:
    // The substance's name.
    virtual void get_name(CHostString& name) = 0;
    // The substance's identifier as GUID text, e.g. "E46DDFE0-3DB1-4ba4-85ED-B83F873B2BF1".
    virtual void get_identifier(CHostString& identifier) = 0;
};

using description_array = host_shared_array<std::shared_ptr<IHostDescription>>;

// A material property as a function of temperature: `constant` when the table is empty, else the
// (T [K], value) points, T strictly increasing.
struct host_property {
    double constant = 0.0;
    host_shared_array<double> T;
    host_shared_array<double> value;
};

// The description of one gas component (ideal or perfect gas). Operations after those of
// IHostDescription, in slot order:
//   5 get_first_parameter, 6 get_cp [J/(kg K)], 7 get_viscosity [Pa s],
//   8 get_conductivity [W/(m K)], 9 get_molar_mass [kg/mol], 10 get_gamma [-].
// A perfect gas uses the constant of get_cp.
class I_gas_description : public virtual IHostDescription {
public:
    // A temperature-dependent parameter kept with the substance; the gas formulas do not use it.
    virtual void get_first_parameter(host_property& property) = 0;
    virtual void get_cp(host_property& property) = 0;
    virtual void get_viscosity(host_property& property) = 0;
    virtual void get_conductivity(host_property& property) = 0;
    virtual double get_molar_mass() = 0;
    virtual double get_gamma() = 0;
};

// The description of one incompressible liquid component. Operations after those of
// IHostDescription, in slot order: 5 get_cp [J/(kg K), at 101325 Pa], 6 get_viscosity [Pa s],
// 7 get_conductivity [W/(m K)], 8 get_density [kg/m3], 9 get_scalar_a, 10 get_reference_temperature
// [K], 11 get_reference_pressure [Pa].
class I_liquid_description : public virtual IHostDescription {
public:
    virtual void get_cp(host_property& property) = 0;
    virtual void get_viscosity(host_property& property) = 0;
    virtual void get_conductivity(host_property& property) = 0;
    virtual void get_density(host_property& property) = 0;
    // A value kept for the isothermal cavitation medium.
    virtual double get_scalar_a() = 0;
    // Where the weakly compressible view of the liquid takes its reference density.
    virtual double get_reference_temperature() = 0;
    virtual double get_reference_pressure() = 0;
};

// The description of a conducting solid. Operations after those of IHostDescription, in slot
// order: 5 get_heat_value_a, 6 get_heat_value_b, 7 get_heat_parameter, 8 get_component,
// 9 get_anisotropy_flag. For a heat-conducting solid the three material values are its density
// [kg/m3] (a), its highest temperature of validity [K] (b) and its specific heat c(T) [J/(kg K)]
// (the parameter); the three components are the principal thermal conductivities [W/(m K)]. An
// electro-conducting solid uses the components (principal electrical conductivities, S/m) and
// the flag only.
class I_solid_description : public virtual IHostDescription {
public:
    virtual double get_heat_value_a() = 0;
    virtual double get_heat_value_b() = 0;
    virtual void get_heat_parameter(host_property& property) = 0;
    // Principal component 0, 1 or 2.
    virtual void get_component(std::int32_t index, host_property& property) = 0;
    // 0 isotropic; anything else orthotropic along the axes the solver gives.
    virtual std::int32_t get_anisotropy_flag() = 0;
};

// The description of a non-Newtonian liquid component: the liquid data and one viscosity law.
// Operations after those of I_liquid_description, in slot order: 12 get_viscosity_law (0 Carreau,
// 1 Cross-WLF, 2 Herschel-Bulkley, 3 power law, 4 polynomial regression, 5 high-order regression;
// -1 none), 13 get_law_number, 14 get_law_property, 15 get_law_array. The law's parameters are
// named by key (0, a constant 0, or an empty array when absent):
//   Carreau: mu_zero, mu_infinity, time_constant (properties of T), power_index;
//   Cross-WLF: A1, A2 [K], D1 [Pa s], D2 [K], D3 [K/Pa], tau_star [Pa], power_index;
//   Herschel-Bulkley: consistency, yield_stress (properties of T), power_index;
//   power law: consistency, low_shear_limit, high_shear_limit (properties of T), power_index,
//              use_low_shear_limit, use_high_shear_limit (0 or 1);
//   polynomial regression: coefficients (6), use_min_shear_rate (0 or 1), min_shear_rate [1/s];
//   high-order regression: coefficients (10), mode (0 table, 1 or 2 regression), use_shear_cap,
//              shear_cap [1/s], row_T [K], row_length, row_shear [1/s], row_mu [Pa s] (the rows of
//              the table, one after another; row_T also bounds the regression's temperature).
class I_non_newtonian_description : public virtual I_liquid_description {
public:
    virtual std::int32_t get_viscosity_law() = 0;
    virtual double get_law_number(const char* key) = 0;
    virtual void get_law_property(const char* key, host_property& property) = 0;
    virtual void get_law_array(const char* key, host_shared_array<double>& values) = 0;
};

// The description of a compressible liquid component: the liquid data (density as rho_0(T) at the
// density reference pressure) and its density law. Operations after those of
// I_liquid_description, in slot order: 12 get_tait_b [Pa], 13 get_tait_c [-], 14 get_tait_n [-],
// 15 get_viscosity_pressure_coefficient [1/Pa], 16 get_density_reference_pressure [Pa],
// 17 get_density_law (0 logarithmic Tait, 1 power law, other values: independent of pressure).
class I_compressible_liquid_description : public virtual I_liquid_description {
public:
    virtual void get_tait_b(host_property& property) = 0;
    virtual void get_tait_c(host_property& property) = 0;
    virtual void get_tait_n(host_property& property) = 0;
    virtual void get_viscosity_pressure_coefficient(host_property& property) = 0;
    virtual double get_density_reference_pressure() = 0;
    virtual std::int32_t get_density_law() = 0;
};

// The description of a pure real-gas substance on the cubic equation of state. Operations after
// those of IHostDescription, in slot order: 5 get_critical_temperature [K],
// 6 get_critical_pressure [Pa], 7 get_critical_compressibility [-], 8 get_acentric_factor [-],
// 9 get_molar_mass [kg/mol], 10 get_ideal_gas_cp [J/(kg K)], 11 get_model (the equation-of-state
// selector), 12 get_generator_kind (0 the cubic equation of state), 13 get_table_temperatures
// (Tmin, Tmax [K]), 14 get_table_pressures (pmin, pmax [Pa]), 15 get_low_temperature_extension
// (0 off), 16 get_floor_temperature [K] (0: half the lowest table temperature),
// 17 get_data_source (a description of where the data come from).
class I_real_gas_description : public virtual IHostDescription {
public:
    virtual double get_critical_temperature() = 0;
    virtual double get_critical_pressure() = 0;
    virtual double get_critical_compressibility() = 0;
    virtual double get_acentric_factor() = 0;
    virtual double get_molar_mass() = 0;
    virtual void get_ideal_gas_cp(host_property& property) = 0;
    virtual std::int32_t get_model() = 0;
    virtual std::int32_t get_generator_kind() = 0;
    virtual void get_table_temperatures(double& T_min, double& T_max) = 0;
    virtual void get_table_pressures(double& p_min, double& p_max) = 0;
    virtual std::int32_t get_low_temperature_extension() = 0;
    virtual double get_floor_temperature() = 0;
    virtual void get_data_source(CHostString& source) = 0;
};

// The description of a combustible substance (fuel and oxidizer burning in equilibrium).
// Operations after those of IHostDescription, in slot order: 5 get_fuel, 6 get_oxidizer (species
// of GRI-Mech 3.0 by mole, "CH4", "O2:0.21,N2:0.79"), 7 get_first_axis (p [Pa] of a PT table or
// v [m3/kg] of a VT table: min, max, grid points), 8 get_temperature_axis (T [K]: min, max, grid
// points), 9 get_mixture_fraction_points, 10 get_nox (0 nitrogen inert, else its chemistry),
// 11 get_two_stream (two-stream byte 0 or 1, and the stream parameter of the table).
class I_combustible_description : public virtual IHostDescription {
public:
    virtual void get_fuel(CHostString& composition) = 0;
    virtual void get_oxidizer(CHostString& composition) = 0;
    virtual void get_first_axis(double& min, double& max, std::int32_t& points) = 0;
    virtual void get_temperature_axis(double& min, double& max, std::int32_t& points) = 0;
    virtual std::int32_t get_mixture_fraction_points() = 0;
    virtual std::int32_t get_nox() = 0;
    virtual void get_two_stream(std::int32_t& on, double& stream_parameter) = 0;
};
