// C_ideal_gas_thermodynamics (kind 0): a mixture of thermally perfect ideal gases. Each component
// has cp(T), viscosity(T), conductivity(T), a molar mass and a constant gamma; the mixture obeys
// p = rho R T with R = 8.3144 sum(Y_i / M_i), h = sum(Y_i h_i(T)) with h_i the integral of cp_i
// from 0 K, and mole-fraction averages for viscosity and conductivity.
//
// Inputs and outputs in SI (Pa, K, J/kg, kg/m3). Temperatures come from Newton iterations on the
// cp tables (from enthalpy, total enthalpy with the kinetic term, or internal energy); when one
// does not converge within the iteration limit, warning 3002 is written and the start value
// returned. The density-based closures 3 to 7 deliberately see a calorically perfect gas with the
// substances' gamma_i, not the cp tables.
// Valid where the cp tables are: outside them cp is held at the end values.
#pragma once

#include <memory>

#include "gas/c_gas_mixture.h"
#include "gas/c_gas_substance.h"

class C_ideal_gas_thermodynamics final : public C_gas_mixture<C_ideal_gas_thermodynamics, C_ideal_gas_substance>,
                                         public virtual I_solver_membrane_model_support {
public:
    static constexpr std::size_t kCacheIndex = C_medium_physics::kIdealGasCache;

    // A new medium over the given substances (tolerance 1e-05, limit 100, a fresh identity);
    // nullptr when memory is not to be had.
    static std::shared_ptr<C_ideal_gas_thermodynamics> create(const substances& list);

    std::int32_t query_interface(std::any& requested) override;
    std::int32_t get_type_id() const noexcept override { return MP_KIND_IDEAL_GAS; }

    // The pressure-based operations that may report a failed iteration (warning 3002, and the
    // closed form's negative discriminant as a message), from this file.
    void get_properties_p_H(double H, double p, const double* Y, double G2, double T0, double* rho, double* T,
                            double* cp, double* gamma, double* M, double* a, double* mu, double* lambda,
                            double* p_out) const noexcept override;
    void RhoT(double H, double p, const double* Y, double G2, double rho0, double T0, double* rho,
              double* T) const noexcept override;
    double get_T_p_h(double p, double h, const double* Y) const noexcept override;

    // d rho / d p = 1 / (R T), through get_drho_dp.
    double get_compressibility(double p, double T, const double* Y) const noexcept override;
    void get_properties_rho_e(double e, double rho, const double* Y, double T0, double* p, double* T, double* cp,
                              double* gamma, double* M, double* a, double* mu, double* lambda) const noexcept override;
    // From the substances' constant gamma_i: c = sum(Y_i gamma_i / ((gamma_i - 1) M_i)),
    // r = sum(Y_i / M_i), gamma = c / (c - r).
    double get_gamma(double T, const double* Y) const noexcept override;

    void get_molar_masses(double* M) const noexcept override;
    void get_species_cp(double p, double T, const double* Y, double* cp) const noexcept override;
    void get_species_enthalpy(double p, double T, const double* Y, double* h) const noexcept override;

private:
    friend class C_gas_mixture<C_ideal_gas_thermodynamics, C_ideal_gas_substance>;
    C_ideal_gas_thermodynamics() = default;
};
