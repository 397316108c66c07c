// C_single_component_thermodynamics_VT (kind 13): one real gas whose properties come from a table
// over specific volume and temperature (C_single_component_gas_substance, cache 14), for
// density-based solvers first. Y is ignored (mass and mole fraction are 1 for species 0).
//
// The full-state operations are one table query each, without iteration:
//   get_properties_rho_e (e, rho)  -> T by one binary search over the T nodes of the e column at
//                                     v = 1/rho, then every field bilinearly at (ln v, T)
//   get_properties_p_rho (p, rho)  -> the same on the p v column
//   get_properties_p_T   (p, T)    -> v by one binary search over the isotherm, ln p linear in ln v
// with p, T, cp, gamma = cp/cv, M, a (the equation of state's thermodynamic speed of sound) and the
// dilute-gas mu and lambda. An 81 x 161 table of CO2 over 320..800 K and 0.05..200 kg/m3 is within
// 2.1e-4 of the equation of state in p, 2.4e-4 in e and 0.06 K in the T it finds (largest, near the
// dense corner by the critical point; see the tests); outside the table it extrapolates from the
// edge cells.
//
// The pressure-based operations solve h(p, T) + G2 v^2 / 2 = H for T by Newton from T0 (relative
// change 1e-8, at most kEnthalpyIterations steps; the slope cp + G2 v (dv/dT)_p from the cell); on
// failure warning 3002 and the state at T0. get_T_p_h starts at 300 K; get_drho_dp and
// get_compressibility are the isothermal 1 / (p v - (d pv / d ln v)_T) of the cell.
//
// The single-value operations:
//   cp, viscosity, conductivity, Prandtl number at (p, T): get_properties_p_T
//   get_expansion_factor: T beta = T (d pv/dT)_v / (pv - (d pv/d ln v)_T) of the cell (1 for an
//     ideal gas)
//   get_temperature_from_enthalpy: the same Newton without mass flux at the given p (101325 Pa when
//     p is not above 0)
//   get_dynamic_pressure_factor: the generic form at 101325 Pa
// The density-based operations that are given no density (get_gamma(T), get_sound_speed_e(e),
// get_energy_p_rho(p/rho), get_temperature_e(e)) take the substance's reference volume: the gas at
// 101325 Pa and 298.15 K by the ideal-gas law, clamped into the table.
//
// Record: int32 0 (version), the identity, the substance's identifier.
#pragma once

#include <memory>

#include "factory/c_medium_physics.h"
#include "framework/c_thermodynamic_base.h"
#include "single_component/c_single_component_gas_substance.h"

class C_single_component_thermodynamics_VT final : public I_write,
                                                   public C_thermodynamic_base,
                                                   public C_no_radiation,
                                                   public CHostAPIBaseClass<C_single_component_thermodynamics_VT>,
                                                   public virtual IHostUnknown,
                                                   public virtual FluidRadProp::IRadPropFunctionality,
                                                   public virtual I_fluid_thermodynamics,
                                                   public virtual I_solver__fluid_thermodynamics_common,
                                                   public virtual I_solver__thermodynamics_P_H,
                                                   public virtual I_solver__thermodynamics_Rho_E {
public:
    static constexpr std::size_t kCacheIndex = C_medium_physics::kSingleComponentCache;
    static constexpr double kEnthalpyTolerance = 1e-8;  // relative change of T that ends the iteration
    static constexpr int kEnthalpyIterations = 50;
    // Pa: the pressure of get_temperature_from_enthalpy when it is given none.
    static constexpr double kReferencePressure = C_single_component_gas_substance::kReferencePressure;

    static std::shared_ptr<C_single_component_thermodynamics_VT> create(
        std::shared_ptr<C_single_component_gas_substance> gas);
    static std::shared_ptr<C_single_component_thermodynamics_VT> load(C_file_io& stream, const C_medium_physics& factory);

    std::int32_t query_interface(std::any& requested) override;
    std::int32_t get_type_id() const noexcept override { return MP_KIND_SINGLE_COMPONENT_VT; }
    void write(C_file_io& stream) const override;
    const C_single_component_gas_substance& substance() const noexcept { return *m_gas; }
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

private:
    C_single_component_thermodynamics_VT() = default;
    // T with h(p, T) + G2 v^2 / 2 = H by Newton from T0, and the state there; false (warning 3002
    // written, the state at T0) when it does not converge.
    bool solve_T(double H, double p, double G2, double T0, mp::single_component::sc_state& s) const noexcept;
    std::shared_ptr<C_single_component_gas_substance> m_gas;
};
