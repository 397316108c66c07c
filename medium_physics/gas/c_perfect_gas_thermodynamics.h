// C_perfect_gas_thermodynamics (kind 12): a mixture of calorically perfect gases. Each component
// has a constant cp, temperature-dependent viscosity and conductivity, and a molar mass; the
// mixture's cp = sum(Y_i cp_i) is one constant of the composition, h = cp T (zero at 0 K) and
// gamma = cp / (cp - R), so its pressure-based and density-based operations describe the same gas.
// The density-based operations are closed forms; the (p, h) operations keep the Newton iterations
// of the ideal gas (they converge in two steps). SI units throughout.
#pragma once

#include <memory>

#include "gas/c_gas_mixture.h"
#include "gas/c_gas_substance.h"

class C_perfect_gas_thermodynamics final
    : public C_gas_mixture<C_perfect_gas_thermodynamics, C_perfect_gas_substance> {
public:
    static constexpr std::size_t kCacheIndex = C_medium_physics::kPerfectGasCache;
    // Lowest temperature get_properties_rho_e answers, K.
    static constexpr double kMinimumTemperature = 1.0;

    static std::shared_ptr<C_perfect_gas_thermodynamics> create(const substances& list);

    std::int32_t query_interface(std::any& requested) override;
    std::int32_t get_type_id() const noexcept override { return MP_KIND_PERFECT_GAS; }

    // The pressure-based operations that may report a failed iteration (warning 3002, and the
    // closed form's negative discriminant as a message), from this file.
    void get_properties_p_H(double H, double p, const double* Y, double G2, double T0, double* rho, double* T,
                            double* cp, double* gamma, double* M, double* a, double* mu, double* lambda,
                            double* p_out) const noexcept override;
    void RhoT(double H, double p, const double* Y, double G2, double rho0, double T0, double* rho,
              double* T) const noexcept override;
    double get_T_p_h(double p, double h, const double* Y) const noexcept override;

    // h = T sum(Y_i cp_i).
    double get_enthalpy(double p, double T, const double* Y) const noexcept override;
    // T = e / (cp - R), held at 1 K from below; no iteration, the start value is not used.
    void get_properties_rho_e(double e, double rho, const double* Y, double T0, double* p, double* T, double* cp,
                              double* gamma, double* M, double* a, double* mu, double* lambda) const noexcept override;
    // T = p / (R rho), e = (cp - R) T.
    void get_properties_p_rho(double p, double rho, const double* Y, double unused, double* e, double* T, double* cp,
                              double* gamma, double* M, double* a, double* mu, double* lambda) const noexcept override;
    double get_gamma(double T, const double* Y) const noexcept override;
    double get_sound_speed_e(double e, const double* Y) const noexcept override;
    double get_energy_p_rho(double p_over_rho, const double* Y) const noexcept override;
    double get_pressure_rho_e(double e, double rho, const double* Y) const noexcept override;
    double get_temperature_e(double e, const double* Y) const noexcept override;

    // The mixture's cp and h = cp T for the Newton iterations.
    void mixture_cp_h(double T, const double* Y, double& cp, double& h) const noexcept;

private:
    friend class C_gas_mixture<C_perfect_gas_thermodynamics, C_perfect_gas_substance>;
    C_perfect_gas_thermodynamics() = default;
    double mixture_cp(const double* Y) const noexcept;
};
