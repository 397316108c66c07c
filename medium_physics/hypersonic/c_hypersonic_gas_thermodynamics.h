// C_hypersonic_gas_thermodynamics (kind 9): air in chemical equilibrium at high temperature, for
// density-based solvers. One pseudo-species (C_hypersonic_gas_substance) whose state comes from
// its tables: mass and mole fraction are 1 for species 0 and 0 otherwise, and Y is ignored.
//
// The full-state operations are one table query each:
//   get_properties_rho_e (e, rho)  -> T from the e table at rho
//   get_properties_p_rho (p, rho)  -> T from the p table at rho
//   get_properties_p_T   (p, T)    -> rho from the p table at T; h = e + p / rho
// and a = sqrt(p gamma / rho) with gamma = cp/cv, the tables' ratio of specific heats. In a
// dissociating gas that differs from the equilibrium speed of sound by the factor
// sqrt((d ln p / d ln rho)_T) (up to about 6 % in the dissociation and ionisation ranges). The
// equilibrium speed of sound itself, a_eq = sqrt(kappa p / rho), comes through
// I_solver_equilibrium_sound_speed from the tables' isentropic exponent kappa (within 0.13 % of
// the engine's over the built-in tables): at (T, rho) from one lookup, at (e, rho) after the T
// search of get_properties_rho_e. Tables without the exponent (a project saved with the
// seven-table record) answer kappa = gamma, so a_eq is their a, as that project always answered.
//
// Range: whatever the substance's tables answer (hypersonic_tables.h): with the built-in tables
// 50..20000 K (T clamped outside; frozen ideal air below 200 K) and 1e-9..100 kg/m3 (below, the
// composition of 1e-9 kg/m3 with p proportional to rho; above, extrapolation from the last cell).
//
// The single-value operations are thin wrappers:
//   cp, viscosity, conductivity, Prandtl number at (p, T): get_properties_p_T
//   get_temperature_from_enthalpy: a Newton iteration on get_properties_p_T at the given p, kept
//     in a bracket [1, 20000] K and bisecting once both ends are known or after ten steps;
//     relative change 1e-4, at most 100 evaluations, the last iterate without a warning
//   get_expansion_factor: 0.0
//   pressure_rho_T, get_properties_T_rho: the tables at (T, rho); density_p_T: get_properties_p_T
//   get_pressure_rho_e: get_properties_rho_e
// The operations that are given no density take the reference density kReferenceDensity
// (1.225 kg/m3, sea-level air): get_gamma(T), get_temperature_e(e), get_sound_speed_e(e) and
// get_energy_p_rho(p/rho). get_dynamic_pressure_factor is the generic form at 101325 Pa.
//
// Record: int32 0 (version), the identity, the substance's identifier.
#pragma once

#include <memory>

#include "hypersonic/c_hypersonic_gas_substance.h"
#include "factory/c_medium_physics.h"
#include "framework/c_thermodynamic_base.h"

class C_hypersonic_gas_thermodynamics final : public I_write,
                                              public C_thermodynamic_base,
                                              public FluidRadProp::I_radiation_properties,
                                              public CHostAPIBaseClass<C_hypersonic_gas_thermodynamics>,
                                              public virtual IHostUnknown,
                                              public virtual FluidRadProp::IRadPropFunctionality,
                                              public virtual I_fluid_thermodynamics,
                                              public virtual I_solver__fluid_thermodynamics_common,
                                              public virtual I_solver__thermodynamics_Rho_E,
                                              public virtual I_fluid_ideal_gas,
                                              public virtual I_solver_hypersonic_gas,
                                              public virtual I_solver_equilibrium_sound_speed {
public:
    static constexpr std::size_t kCacheIndex = C_medium_physics::kHypersonicCache;
    // kg/m3: the density of the operations that are given none.
    static constexpr double kReferenceDensity = 1.225;
    // The enthalpy iteration.
    static constexpr double kLowestTemperature = 1.0;
    static constexpr double kHighestTemperature = 20000.0;
    static constexpr double kEnthalpyTolerance = 1e-4;
    static constexpr int kEnthalpyNewtonSteps = 10;
    static constexpr int kEnthalpyIterations = 100;

    static std::shared_ptr<C_hypersonic_gas_thermodynamics> create(std::shared_ptr<C_hypersonic_gas_substance> gas);
    static std::shared_ptr<C_hypersonic_gas_thermodynamics> load(C_file_io& stream, const C_medium_physics& factory);

    std::int32_t query_interface(std::any& requested) override;
    std::int32_t get_type_id() const noexcept override { return MP_KIND_HYPERSONIC_GAS; }
    void write(C_file_io& stream) const override;
    const C_hypersonic_gas_substance& substance() const noexcept { return *m_gas; }

    // radiation and substances
    void update_radiation_properties() noexcept override {}
    std::shared_ptr<FluidRadProp::I_radiation_properties> get_radiation_properties() const noexcept override {
        return {};
    }
    double get_radiation_value(double, double, const double*) const noexcept override { return 0.0; }
    substance_array get_substances() const override;

    // common
    double get_cp(double p, double T, const double* Y) const noexcept override;
    double get_viscosity(double p, double T, const double* Y) const noexcept override;
    double get_conductivity(double p, double T, const double* Y) const noexcept override;
    double get_prandtl(double p, double T, const double* Y) const noexcept override;
    double get_expansion_factor(double, double, const double*) const noexcept override { return 0.0; }
    double get_temperature_from_enthalpy(double h, double p, const double* Y, double unused,
                                         double T0) const noexcept override;
    void get_properties_p_T(double p, double T, const double* Y, double* rho, double* h, double* cp, double* gamma,
                            double* M, double* a, double* mu, double* lambda) const noexcept override;
    double get_mole_fraction(double p, double T, const double* Y, std::int32_t k) const noexcept override;
    double get_mass_fraction(double p, double T, const double* X, std::int32_t k) const noexcept override;
    double get_dynamic_pressure_factor(double T, double u, const double* Y) const noexcept override;

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

    // ideal-gas view and the hypersonic interface
    double pressure_rho_T(double rho, double T, const double* Y) const noexcept override;
    double density_p_T(double p, double T, const double* Y) const noexcept override;
    void get_properties_T_rho(double T, double rho, const double* Y, double* p, double* e, double* cp, double* gamma,
                              double* M, double* a, double* mu, double* lambda) const noexcept override;

    // the equilibrium speed of sound
    void get_equilibrium_sound_speed_T_rho(double T, double rho, const double* Y, double* a_eq,
                                           double* kappa) const noexcept override;
    void get_equilibrium_sound_speed_rho_e(double e, double rho, const double* Y, double T0, double* a_eq,
                                           double* kappa) const noexcept override;

private:
    C_hypersonic_gas_thermodynamics() = default;
    std::shared_ptr<C_hypersonic_gas_substance> m_gas;
};
