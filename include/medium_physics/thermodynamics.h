// The solver interfaces that every fluid medium implements, and the medium kind codes.
//
// Conventions for every operation below:
//  - State values are doubles in SI units: p in Pa (absolute), T in K, h and e in J/kg (specific
//    static enthalpy and internal energy), H in J/kg (total enthalpy, static plus kinetic), rho in
//    kg/m3, cp in J/(kg K), molar mass M in kg/mol, viscosity mu in Pa s, conductivity lambda in
//    W/(m K), speed of sound a in m/s.
//  - Y points to the mass fractions, one per substance in the medium's substance order; its length
//    is the medium's substance count and is never passed.
//  - The first two scalars of a (p, T, Y) operation are always p then T.
//  - Operations with several results write them through the pointers after the inputs, in the
//    order listed; single results are returned.
//  - Species indices are 32-bit; an index outside [0, count) yields 0.0.
//  - Start values (T0, rho0) seed the iterations and are the results when an iteration fails (a
//    numbered warning is logged). No operation throws, allocates or changes the object.
#pragma once

#include <cmath>
#include <cstdint>
#include <memory>

#include "medium_physics/host_shared_array.h"
#include "medium_physics/host_unknown.h"

class C_file_io;
class C_substance_base;  // opaque to the host: a substance record shared between media

// Medium kind codes: written into saved streams and returned by I_write::get_type_id. The codes
// are fixed values, not positions.
enum medium_kind : std::int32_t {
    MP_KIND_IDEAL_GAS = 0,
    MP_KIND_INC_LIQUID = 1,
    MP_KIND_INC_NON_NEWTONIAN_LIQUID = 2,
    MP_KIND_COMP_LIQUID = 3,
    MP_KIND_ISOTHERM_CAVITATION = 4,
    MP_KIND_REAL_GAS = 5,
    MP_KIND_REAL_GAS_PHASE_CHANGE = 6,
    MP_KIND_COMBUSTIBLE_VT = 7,
    MP_KIND_COMBUSTIBLE_PT = 8,
    MP_KIND_HYPERSONIC_GAS = 9,
    MP_KIND_CAVITATION_OBSOLETE = 10,
    MP_KIND_CONDENSATION_OBSOLETE = 11,
    MP_KIND_PERFECT_GAS = 12,
    MP_KIND_SINGLE_COMPONENT_VT = 13,
    MP_KIND_FREE_SURFACE_VOF = 14,
};
inline constexpr std::int32_t kMediumKindCount = 15;

using substance_array = host_shared_array<std::shared_ptr<C_substance_base>>;

namespace FluidRadProp {

class I_radiation_properties {
public:
    virtual ~I_radiation_properties() = default;
    // A scalar radiation property of the medium at (p, T, Y): for the gas mixtures that hold CO2 or
    // H2O the Planck-mean absorption coefficient in 1/m of their gray-gas model (below); 0.0 for
    // every other medium.
    virtual double get_radiation_value(double p, double T, const double* Y) const noexcept = 0;
};

class IRadPropFunctionality {
public:
    virtual ~IRadPropFunctionality() = default;
    // Prepares the medium's radiation data; nothing is left to prepare in the media of this library.
    virtual void update_radiation_properties() noexcept = 0;
    // The medium's radiation properties: the medium itself when it is a gas mixture holding CO2 or
    // H2O (it then also hands out I_gray_gas_radiation); empty otherwise.
    virtual std::shared_ptr<I_radiation_properties> get_radiation_properties() const noexcept = 0;
};

// At most this many gray gases in a gray-gas model (the clear gas not counted).
inline constexpr std::int32_t kMaxGrayGases = 4;

// The weighted sum of gray gases of a gas mixture that holds CO2 and H2O (Smith, Shen and Friedman
// 1982: three gray gases and a clear gas, fitted for 600..2400 K, (pw + pc) L of 0.001..10 atm m,
// 1 atm total pressure). A radiation solver solves one transport equation per gray gas i with the
// absorption coefficient k_i and the emission weighted by a_i, plus one for the clear gas
// (k = 0, weight 1 - sum a_i).
class I_gray_gas_radiation {
public:
    virtual ~I_gray_gas_radiation() = default;
    // Writes the absorption coefficients k [1/m] and weights a [-] of the gray gases at p [Pa],
    // T [K] and the mass fractions Y into k[0..n) and a[0..n) (room for kMaxGrayGases each) and
    // returns n; 0 (nothing written) when the mixture holds no CO2 or H2O at Y or the state is not
    // finite and positive.
    virtual std::int32_t get_gray_gases(double p, double T, const double* Y, double* k, double* a) const noexcept = 0;
    // The total emissivity sum a_i (1 - exp(-k_i L)) of a uniform path of length L [m].
    virtual double get_emissivity(double p, double T, const double* Y, double L) const noexcept = 0;
};

}  // namespace FluidRadProp

class I_fluid_thermodynamics : public virtual IHostUnknown, public virtual FluidRadProp::IRadPropFunctionality {
public:
    // The medium's substances, in the order of its mass fractions.
    virtual substance_array get_substances() const = 0;
};

class I_solver__fluid_thermodynamics_common : public virtual I_fluid_thermodynamics {
public:
    // 1. Mixture cp at (p, T).
    virtual double get_cp(double p, double T, const double* Y) const noexcept = 0;
    // 2. Mixture viscosity.
    virtual double get_viscosity(double p, double T, const double* Y) const noexcept = 0;
    // 3. Mixture conductivity.
    virtual double get_conductivity(double p, double T, const double* Y) const noexcept = 0;
    // 4. Prandtl number mu cp / lambda.
    virtual double get_prandtl(double p, double T, const double* Y) const noexcept = 0;
    // 5. Dimensionless thermal-expansion factor T * beta (1.0 for ideal gases).
    virtual double get_expansion_factor(double p, double T, const double* Y) const noexcept = 0;
    // 6. T such that h(T) = h; p and `unused` are ignored by the gases; T0 is the start value.
    virtual double get_temperature_from_enthalpy(double h, double p, const double* Y, double unused,
                                                 double T0) const noexcept = 0;
    // 7. All properties at (p, T).
    virtual void get_properties_p_T(double p, double T, const double* Y, double* rho, double* h,
                                    double* cp, double* gamma, double* M, double* a, double* mu,
                                    double* lambda) const noexcept = 0;
    // 8. Mole fraction X_k = (Y_k / M_k) / sum(Y_i / M_i).
    virtual double get_mole_fraction(double p, double T, const double* Y, std::int32_t k) const noexcept = 0;
    // 9. Mass fraction Y_k = X_k M_k / sum(X_i M_i); X holds mole fractions here.
    virtual double get_mass_fraction(double p, double T, const double* X, std::int32_t k) const noexcept = 0;
    // 10. Total-minus-static over dynamic pressure at speed u (m/s).
    virtual double get_dynamic_pressure_factor(double T, double u, const double* Y) const noexcept = 0;
};

// Pressure-based solvers.
class I_solver__thermodynamics_P_H : public virtual I_solver__fluid_thermodynamics_common {
public:
    // 1. From total enthalpy H, pressure p, squared mass flux G2 = (rho u)^2 in kg2/(m4 s2) and the
    //    start temperature T0: rho, T, cp, gamma, M, a, mu, lambda, and p echoed.
    virtual void get_properties_p_H(double H, double p, const double* Y, double G2, double T0,
                                    double* rho, double* T, double* cp, double* gamma, double* M,
                                    double* a, double* mu, double* lambda, double* p_out) const noexcept = 0;
    // 2. rho and T from (H, p, G2) with start values rho0, T0.
    virtual void RhoT(double H, double p, const double* Y, double G2, double rho0, double T0,
                      double* rho, double* T) const noexcept = 0;
    // 3. T from the static enthalpy h (no start value).
    virtual double get_T_p_h(double p, double h, const double* Y) const noexcept = 0;
    // 4. Static enthalpy h(p, T).
    virtual double get_enthalpy(double p, double T, const double* Y) const noexcept = 0;
    // 5. Density rho(p, T).
    virtual double get_density(double p, double T, const double* Y) const noexcept = 0;
    // 6. Speed of sound a(p, T).
    virtual double get_sound_speed(double p, double T, const double* Y) const noexcept = 0;
    // 7. Isothermal d rho / d p in s2/m2.
    virtual double get_drho_dp(double p, double T, const double* Y) const noexcept = 0;
    // 8. The compressibility d rho / d p the pressure solver uses; 0.0 unless the medium says
    //    otherwise (the gases do).
    virtual double get_compressibility(double /*p*/, double /*T*/, const double* /*Y*/) const noexcept {
        return 0.0;
    }
};

// Density-based solvers. Operations 4 to 7 are the constant-gamma (calorically perfect)
// closures; they obtain gamma through get_gamma, so a medium that overrides only get_gamma
// changes all of them.
class I_solver__thermodynamics_Rho_E : public virtual I_solver__fluid_thermodynamics_common {
public:
    // 1. From internal energy e, density rho and start temperature T0: p, T, cp, gamma, M, a, mu, lambda.
    virtual void get_properties_rho_e(double e, double rho, const double* Y, double T0, double* p,
                                      double* T, double* cp, double* gamma, double* M, double* a,
                                      double* mu, double* lambda) const noexcept = 0;
    // 2. From p and rho: e, T, cp, gamma, M, a, mu, lambda; `unused` is ignored.
    virtual void get_properties_p_rho(double p, double rho, const double* Y, double unused, double* e,
                                      double* T, double* cp, double* gamma, double* M, double* a,
                                      double* mu, double* lambda) const noexcept = 0;
    // 3. Mixture gamma; T is ignored by media with constant gamma.
    virtual double get_gamma(double T, const double* Y) const noexcept = 0;
    // 4. a = sqrt(gamma (gamma - 1) e).
    virtual double get_sound_speed_e(double e, const double* Y) const noexcept = 0;
    // 5. e = (p / rho) / (gamma - 1).
    virtual double get_energy_p_rho(double p_over_rho, const double* Y) const noexcept = 0;
    // 6. p = (gamma - 1) rho e.
    virtual double get_pressure_rho_e(double e, double rho, const double* Y) const noexcept = 0;
    // 7. T = (gamma - 1) e / R.
    virtual double get_temperature_e(double e, const double* Y) const noexcept = 0;
};

// Incompressible liquids: the pressure-based interface; density depends on temperature only.
class I_solver__incompressible_liquid : public virtual I_solver__thermodynamics_P_H {};

// Compressible liquids: the pressure-based interface of a liquid whose density depends on pressure
// (a Tait law). Unlike the incompressible liquid it has a speed of sound and gamma, and
// get_compressibility is its isothermal d rho/dp. A solver that chooses its model by interface takes
// a medium that hands this out for compressible.
class I_solver__compressible_liquid : public virtual I_solver__thermodynamics_P_H {};

// Non-Newtonian liquids: the viscosity needs the shear rate.
class I_solver__incompressible_non_newton_liquid : public virtual I_solver__incompressible_liquid {
public:
    // rho^2 sum(w_i mu_i(p, T, shear rate) v_i(T)^2), Pa s; shear rate in 1/s.
    virtual double get_non_newtonian_viscosity(double p, double T, const double* Y, double shear_rate) const noexcept = 0;
};

// Isothermal cavitation: a liquid that cavitates at a fixed temperature, with a non-condensable
// gas, on a barotropic law rho(p) (the medium's header says which). get_drho_dp and
// get_compressibility are the law's d rho/dp, get_sound_speed its (d p/d rho)^(1/2).
class I_solver__isothermal_cavitation : public virtual I_solver__thermodynamics_P_H {
public:
    // Pa: the liquid's vapour pressure at the medium's temperature.
    virtual double get_vapour_pressure() const noexcept = 0;
    // K: the temperature at which the medium cavitates.
    virtual double get_medium_temperature() const noexcept = 0;
    // At p [Pa] and mass fractions Y (liquid with its vapour, gas): the volume fractions of the
    // vapour and of the non-condensable gas, each in [0, 1].
    virtual void get_void_fractions(double p, const double* Y, double* alpha_vapour,
                                    double* alpha_gas) const noexcept = 0;
};

// Free-surface (volume-of-fluid) mixtures of phases: the composition is the phases' volume
// fractions, then each phase's own mass fractions (the medium's header has the layout).
class I_solver__free_surface_vof : public virtual I_solver__thermodynamics_P_H {
public:
    // The number of phases.
    virtual std::int32_t get_phase_count() const noexcept = 0;
    // Phase k (0-based) as the solver sees it; empty outside [0, count).
    virtual std::shared_ptr<I_solver__thermodynamics_P_H> get_phase(std::int32_t k) const noexcept = 0;
    // The length of the composition array: phases plus their substances.
    virtual std::int32_t get_composition_length() const noexcept = 0;
    // 0 when the phases' volume fractions alpha[0..count) are finite, within [0, 1] and sum to 1
    // (within 1e-6); 3 otherwise, with the reason in *why when why is not null. (The property
    // operations clean the fractions they are given; this says whether a set is acceptable.)
    virtual std::int32_t check_volume_fractions(const double* alpha, const char** why) const noexcept = 0;
};

class I_fluid_ideal_gas : public virtual I_fluid_thermodynamics {
public:
    // p = rho R T.
    virtual double pressure_rho_T(double rho, double T, const double* Y) const noexcept = 0;
    // rho = p / (R T).
    virtual double density_p_T(double p, double T, const double* Y) const noexcept = 0;
};

// Gas in chemical equilibrium at high temperature (the hypersonic medium): its state at a given
// temperature and density, straight from its tables.
class I_solver_hypersonic_gas : public virtual I_fluid_thermodynamics {
public:
    // From T and rho: p, e, cp, gamma, M, a, mu, lambda.
    virtual void get_properties_T_rho(double T, double rho, const double* Y, double* p, double* e, double* cp,
                                      double* gamma, double* M, double* a, double* mu,
                                      double* lambda) const noexcept = 0;
};

// The equilibrium (isentropic) speed of sound of a gas in chemical equilibrium, whose composition
// follows every change of state: a_eq = sqrt((dp/drho)_s) = sqrt(kappa p / rho) with the
// isentropic exponent kappa = (d ln p / d ln rho)_s. The a of the other operations is
// sqrt(gamma p / rho) with gamma = cp/cv of the equilibrium heat capacities; the two differ by the
// factor sqrt((d ln p / d ln rho)_T), in air up to about 6 % where it dissociates or ionises, and
// agree where the composition is fixed.
class I_solver_equilibrium_sound_speed : public virtual I_fluid_thermodynamics {
public:
    // 1. At T [K] and rho [kg/m3]: a_eq [m/s] and kappa [-]. A density-based solver passes the T
    //    that get_properties_rho_e returned; the medium does not iterate.
    virtual void get_equilibrium_sound_speed_T_rho(double T, double rho, const double* Y, double* a_eq,
                                                   double* kappa) const noexcept = 0;
    // 2. At e [J/kg] and rho [kg/m3]: a_eq [m/s] and kappa [-]; T0 [K] is the start value of the
    //    temperature, as in get_properties_rho_e.
    virtual void get_equilibrium_sound_speed_rho_e(double e, double rho, const double* Y, double T0, double* a_eq,
                                                   double* kappa) const noexcept = 0;
};

// A combustible medium (kinds 7 and 8): fuel and oxidizer burning in equilibrium, described by a
// chemistry table. Y of every operation holds Y[0] the mixture fraction z (mass fraction of
// material from the fuel stream) and, when the medium's table is set up for two streams,
// Y[1] the unburnt oxidizer's and Y[2] the unburnt fuel's mass fraction.
class I_fluid_combustible : public virtual I_fluid_thermodynamics {
public:
    // 1. Number of species whose mass fractions the medium reports.
    virtual std::int32_t get_species_count() const noexcept = 0;
    // 2. Name of reported species k (a GRI-Mech 3.0 name); "" outside 0..count-1.
    virtual const char* get_species_name(std::int32_t k) const noexcept = 0;
    // 3. Mass fraction of reported species k at (p [Pa], T [K]); NaN outside 0..count-1.
    virtual double get_species_mass_fraction(double p, double T, const double* Y, std::int32_t k) const noexcept = 0;
    // 4. The stoichiometric mixture fraction of the two streams.
    virtual double get_stoichiometric_mixture_fraction() const noexcept = 0;
};

class I_solver_membrane_model_support : public virtual I_fluid_thermodynamics {
public:
    // Writes M_i (kg/mol) of every substance.
    virtual void get_molar_masses(double* M) const noexcept = 0;
    // Writes cp_i(T) of every substance.
    virtual void get_species_cp(double p, double T, const double* Y, double* cp) const noexcept = 0;
    // Writes h_i(T) of every substance.
    virtual void get_species_enthalpy(double p, double T, const double* Y, double* h) const noexcept = 0;
};

// The identity of a created medium: the 16 bytes under which the factory registers it (and finds
// it again with FindThermodynamics). Every thermodynamics object hands it out via query_interface.
class I_identity {
public:
    virtual ~I_identity() = default;
    // Writes the 16 identity bytes (GUID memory layout) into out[0..16).
    virtual void get_identity(std::uint8_t* out) const noexcept = 0;
};

// Saving a medium: the factory writes the kind code, then the medium's own record.
class I_write {
public:
    virtual ~I_write() = default;
    virtual std::int32_t get_type_id() const noexcept = 0;
    // Writes the medium's record; stream failures propagate as the stream's exceptions.
    virtual void write(C_file_io& stream) const = 0;
};

namespace MED_PHYSICS {

class I_diffusion_coefficient : public virtual IHostUnknown {
public:
    // Writes the number of principal conductivities to *count, their values at T (W/(m K)) to
    // values[0..count), the 3x3 axes matrix (row order) to axes[0..9); returns the anisotropy
    // type (0 isotropic, 1 orthotropic, 2 anisotropic).
    virtual std::int32_t get_diffusion_coefficient(double T, std::int32_t* count, double* values,
                                                   double* axes) const noexcept = 0;
};

class I_heatconducting_solid : public virtual I_diffusion_coefficient {
public:
    virtual double get_heat_value_a() const noexcept = 0;
    virtual double get_heat_value_b() const noexcept = 0;
    virtual double get_heat_parameter(double T) const noexcept = 0;
};

class I_electroconducting_solid : public virtual I_diffusion_coefficient {};

}  // namespace MED_PHYSICS
