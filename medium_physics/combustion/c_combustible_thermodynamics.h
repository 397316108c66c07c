// C_combustible_thermodynamics_PT (kind 8) and C_combustible_thermodynamics_VT (kind 7): a fuel
// and an oxidizer burning in chemical equilibrium, for pressure- and density-based solvers, over
// the chemistry table of a combustible substance (c_combustible_substance.h).
//
// Composition. The solver's mass fractions are the mixing inputs of the table (c_3d_property.h):
//   Y[0]  mixture fraction z, the mass fraction of material from the fuel stream (0..1);
//   Y[1]  a, the mass fraction of unburnt oxidizer, and Y[2] b, of unburnt fuel: read only when
//         the substance's table is set up for two streams (its two-stream byte), else the
//         mixture is in equilibrium at z and Y may hold one value.
// A null Y takes z = the medium's default mixture fraction (the double of operation 15).
//
// State. One table lookup gives rho, h, cp, gamma, M, a, mu, lambda at (p, T) on a PT table or at
// (v, T) on a VT table. gamma is the equilibrium cp/cv and a the equilibrium speed of sound (the
// table's volume derivatives). The other pair:
//   PT table at (rho, T): p such that the table's rho(p, T) = rho, by ln p += ln(rho / rho(p))
//     from the ideal gas of M = 0.029 kg/mol (d ln rho / d ln p is about 1: a few steps to 1e-13);
//   VT table at (p, T): the table holds no pressure; p = R T / (M v), the ideal-gas mixture law
//     of the table's M, so v = R T / (M(v, T) p) by fixed-point iteration, the same way.
// Operations that are given an energy or a pressure instead of T iterate on T through the table:
//   get_properties_p_H: h(p, T) + G2 / (2 rho^2) = H, Newton with cp, safeguarded by a bracket
//     [kLowestTemperature, kHighestTemperature] that narrows with every step and bisects when a
//     step would leave it; relative step below kTolerance; at most kIterations;
//   get_properties_rho_e: e(rho, T) = h - p / rho = e, Newton with cv = cp / gamma, the same way;
//   get_properties_p_rho: p(rho, T) = p, Newton with dp/dT = p / T (ideal-gas estimate), the same.
// A failed iteration writes "Warning 3002: ... Inconsistent physical parameters!" and answers the
// state at the start temperature T0 (at the table's lowest temperature when T0 is not usable).
// Outside the table the lookup extrapolates linearly from the edge cell and raises the table's
// sticky out-of-range byte.
//
// Single-value operations: get_cp, get_viscosity, get_conductivity, get_prandtl, get_enthalpy,
// get_density, get_sound_speed at (p, T) from one state; get_expansion_factor T beta from the
// table's (dv/dT)_p; get_drho_dp from (dv/dp)_T (interpolated: rho^2 times minus its blend);
// get_compressibility = get_drho_dp; get_T_p_h and get_temperature_from_enthalpy through
// get_properties_p_H with G2 = 0 (start: the middle of the table's temperatures; the given T0);
// RhoT through get_properties_p_H; get_gamma(T) and the energy closures at the reference
// pressure kReferencePressure (101325 Pa); get_mole_fraction / get_mass_fraction: the one
// pseudo-species (1 for k = 0).
//
// Combustible interface (I_fluid_combustible): the mass fractions of the table's reported species
// (B fields, interpolated and blended as the lookup blends) and the stoichiometric mixture
// fraction.
//
// Record: int32 0 (version), the identity, the substance's identifier, the default mixture
// fraction (double) and the further settings (int32) of operation 15.
#pragma once

#include <memory>

#include "combustion/c_combustible_substance.h"
#include "factory/c_medium_physics.h"
#include "framework/c_thermodynamic_base.h"

// What both kinds share; the kinds differ in the table's first axis only.
class C_combustible_thermodynamics : public I_write,
                                     public C_thermodynamic_base,
                                     public C_no_radiation,
                                     public virtual IHostUnknown,
                                     public virtual I_fluid_thermodynamics,
                                     public virtual I_solver__fluid_thermodynamics_common,
                                     public virtual I_solver__thermodynamics_P_H,
                                     public virtual I_solver__thermodynamics_Rho_E,
                                     public virtual I_fluid_combustible {
public:
    static constexpr double kLowestTemperature = 50.0;     // K
    static constexpr double kHighestTemperature = 6000.0;  // K
    static constexpr double kTolerance = 1e-9;
    static constexpr int kIterations = 60;
    static constexpr int kClosureIterations = 30;
    static constexpr double kReferencePressure = 101325.0;

    void write(C_file_io& stream) const override;
    const C_combustible_substance& substance() const noexcept { return *m_substance; }
    double default_mixture_fraction() const noexcept { return m_default_z; }

    substance_array get_substances() const override;

    // common
    double get_cp(double p, double T, const double* Y) const noexcept override;
    double get_viscosity(double p, double T, const double* Y) const noexcept override;
    double get_conductivity(double p, double T, const double* Y) const noexcept override;
    double get_prandtl(double p, double T, const double* Y) const noexcept override;
    double get_expansion_factor(double p, double T, const double* Y) const noexcept override;
    double get_temperature_from_enthalpy(double h, double p, const double* Y, double unused,
                                         double T0) const noexcept override;
    void get_properties_p_T(double p, double T, const double* Y, double* rho, double* h, double* cp, double* gamma,
                            double* M, double* a, double* mu, double* lambda) const noexcept override;
    double get_mole_fraction(double p, double T, const double* Y, std::int32_t k) const noexcept override;
    double get_mass_fraction(double p, double T, const double* X, std::int32_t k) const noexcept override;
    double get_dynamic_pressure_factor(double T, double u, const double* Y) const noexcept override;

    // pressure-based
    void get_properties_p_H(double H, double p, const double* Y, double G2, double T0, double* rho, double* T,
                            double* cp, double* gamma, double* M, double* a, double* mu, double* lambda,
                            double* p_out) const noexcept override;
    void RhoT(double H, double p, const double* Y, double G2, double rho0, double T0, double* rho,
              double* T) const noexcept override;
    double get_T_p_h(double p, double h, const double* Y) const noexcept override;
    double get_enthalpy(double p, double T, const double* Y) const noexcept override;
    double get_density(double p, double T, const double* Y) const noexcept override;
    double get_sound_speed(double p, double T, const double* Y) const noexcept override;
    double get_drho_dp(double p, double T, const double* Y) const noexcept override;
    double get_compressibility(double p, double T, const double* Y) const noexcept override;

    // density-based
    void get_properties_rho_e(double e, double rho, const double* Y, double T0, double* p, double* T, double* cp,
                              double* gamma, double* M, double* a, double* mu, double* lambda) const noexcept override;
    void get_properties_p_rho(double p, double rho, const double* Y, double unused, double* e, double* T, double* cp,
                              double* gamma, double* M, double* a, double* mu, double* lambda) const noexcept override;
    double get_gamma(double T, const double* Y) const noexcept override;
    double get_sound_speed_e(double e, const double* Y) const noexcept override;
    double get_energy_p_rho(double p_over_rho, const double* Y) const noexcept override;
    double get_pressure_rho_e(double e, double rho, const double* Y) const noexcept override;
    double get_temperature_e(double e, const double* Y) const noexcept override;

    // combustible
    std::int32_t get_species_count() const noexcept override;
    const char* get_species_name(std::int32_t k) const noexcept override;
    double get_species_mass_fraction(double p, double T, const double* Y, std::int32_t k) const noexcept override;
    double get_stoichiometric_mixture_fraction() const noexcept override;

    // Everything at one state.
    struct state {
        double p = 0.0, T = 0.0, rho = 0.0, h = 0.0, e = 0.0, cp = 0.0, gamma = 0.0, M = 0.0, a = 0.0, mu = 0.0,
               lambda = 0.0;
    };
    state state_p_T(double p, double T, const double* Y) const noexcept;
    state state_rho_T(double rho, double T, const double* Y) const noexcept;

protected:
    C_combustible_thermodynamics() = default;
    bool assign(std::shared_ptr<C_combustible_substance> substance, double default_z, std::int32_t settings) noexcept;
    void read_record(C_file_io& stream);
    // assign() with the default mixture fraction and settings read by read_record.
    bool attach(std::shared_ptr<C_combustible_substance> substance) noexcept;
    host_guid m_substance_id;

private:
    struct mixing {
        double z = 0.0, a = 0.0, b = 0.0;
    };
    mixing mixing_of(const double* Y) const noexcept;
    // One lookup at (x1, T): x1 is p on a PT table, v on a VT table.
    state lookup(double x1, double T, const mixing& m) const noexcept;
    // Blended B field (or A field) `index` at (x1, T), as the lookup blends.
    double blended_field(std::int32_t index, double x1, double T, const mixing& m) const noexcept;
    // The table's first coordinate of the state at (p, T).
    double first_coordinate(double p, double T, const mixing& m) const noexcept;
    void warn() const noexcept;

    std::shared_ptr<C_combustible_substance> m_substance;
    double m_default_z = 0.0;
    std::int32_t m_settings = 0;
};

class C_combustible_thermodynamics_PT final : public C_combustible_thermodynamics,
                                              public CHostAPIBaseClass<C_combustible_thermodynamics_PT> {
public:
    static constexpr std::size_t kCacheIndex = C_medium_physics::kCombustiblePTCache;
    static std::shared_ptr<C_combustible_thermodynamics_PT> create(std::shared_ptr<C_combustible_substance_PT> substance,
                                                                   double default_z, std::int32_t settings);
    static std::shared_ptr<C_combustible_thermodynamics_PT> load(C_file_io& stream, const C_medium_physics& factory);
    std::int32_t query_interface(std::any& requested) override;
    std::int32_t get_type_id() const noexcept override { return MP_KIND_COMBUSTIBLE_PT; }
};

class C_combustible_thermodynamics_VT final : public C_combustible_thermodynamics,
                                              public CHostAPIBaseClass<C_combustible_thermodynamics_VT> {
public:
    static constexpr std::size_t kCacheIndex = C_medium_physics::kCombustibleVTCache;
    static std::shared_ptr<C_combustible_thermodynamics_VT> create(std::shared_ptr<C_combustible_substance_VT> substance,
                                                                   double default_z, std::int32_t settings);
    static std::shared_ptr<C_combustible_thermodynamics_VT> load(C_file_io& stream, const C_medium_physics& factory);
    std::int32_t query_interface(std::any& requested) override;
    std::int32_t get_type_id() const noexcept override { return MP_KIND_COMBUSTIBLE_VT; }
};
