// C_inc_liquid_thermodynamics (kind 1): a mixture of incompressible liquid components
// (C_incompressible_liquid_substance) by mass fraction. Density depends on temperature only,
// rho = 1 / sum(Y_i v_i(T)); enthalpy and cp carry the components' pressure corrections. Viscosity
// mixes with squared specific volumes, conductivity by inverse squares. The medium is
// incompressible: its speed of sound and compressibility are 0, and the gas-only outputs (gamma,
// molar mass, speed of sound) are 0.0. Temperatures come from Newton iterations on enthalpy
// (start value, or 300 K), at most 101 steps, relative tolerance 1e-5; a failure writes its
// warning and answers the start temperature. SI units throughout.
#pragma once

#include <memory>

#include "c_inc_liquid.h"
#include "c_medium_physics.h"
#include "c_thermodynamic_base.h"
#include "mp_log.h"

class C_inc_liquid_thermodynamics final : public I_write,
                                          public C_thermodynamic_base,
                                          public FluidRadProp::I_radiation_properties,
                                          public CHostAPIBaseClass<C_inc_liquid_thermodynamics>,
                                          public virtual IHostUnknown,
                                          public virtual FluidRadProp::IRadPropFunctionality,
                                          public virtual I_solver__incompressible_liquid {
public:
    using substance_ptr = std::shared_ptr<C_incompressible_liquid_substance>;
    using substances = host_shared_array<substance_ptr>;
    // The Newton iterations: relative tolerance and the step count beyond which they give up.
    static constexpr double kTolerance = 1e-5;
    static constexpr std::int32_t kLimit = 100;
    static constexpr double kStartTemperature = 300.0;  // K, for get_T_p_h
    // cp may fall by at most this share of its reference-pressure value under pressure.
    static constexpr double kCpDropLimit = 0.1;

    static std::shared_ptr<C_inc_liquid_thermodynamics> create(const substances& list);
    static std::shared_ptr<C_inc_liquid_thermodynamics> load(C_file_io& stream, const C_medium_physics& factory);

    std::int32_t query_interface(std::any& requested) override;
    void update_radiation_properties() noexcept override {}
    std::shared_ptr<FluidRadProp::I_radiation_properties> get_radiation_properties() const noexcept override { return {}; }
    double get_radiation_value(double, double, const double*) const noexcept override { return 0.0; }
    substance_array get_substances() const override;

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
    // 1: the dynamic pressure of an incompressible flow is rho u^2 / 2.
    double get_dynamic_pressure_factor(double T, double u, const double* Y) const noexcept override;

    void get_properties_p_H(double H, double p, const double* Y, double G2, double T0, double* rho, double* T,
                            double* cp, double* gamma, double* M, double* a, double* mu, double* lambda,
                            double* p_out) const noexcept override;
    void RhoT(double H, double p, const double* Y, double G2, double rho0, double T0, double* rho,
              double* T) const noexcept override;
    double get_T_p_h(double p, double h, const double* Y) const noexcept override;
    double get_enthalpy(double p, double T, const double* Y) const noexcept override;
    double get_density(double p, double T, const double* Y) const noexcept override;
    double get_sound_speed(double, double, const double*) const noexcept override { return 0.0; }
    double get_drho_dp(double p, double T, const double* Y) const noexcept override;
    double get_compressibility(double, double, const double*) const noexcept override { return 0.0; }

    std::int32_t get_type_id() const noexcept override { return MP_KIND_INC_LIQUID; }
    // Record: byte 0; the identity; byte 1; int32 count; the components' identifiers.
    void write(C_file_io& stream) const override;

    std::int32_t substance_count() const noexcept { return m_count; }

private:
    C_inc_liquid_thermodynamics() = default;
    bool assign(const substances& list, int label_line);
    IHostMessageSink* sink() const noexcept;
    double density(double T, const double* Y) const noexcept;
    double raw_cp(double p, double T, const double* Y) const noexcept;
    double expansion_sum(double T, const double* Y) const noexcept;
    // Newton on T for H = h(p, T) + q / (2 rho^2) (q = 0 and no density term for the static form).
    // Messages: where the enthalpy does not increase and where the steps run out.
    struct newton_messages {
        int not_increasing;  // the warning's number
        int not_increasing_line;
        int out_of_steps_line;
    };
    bool solve_T(double H, double p, const double* Y, double q, bool kinetic, double T0, const newton_messages& m,
                 double& T) const noexcept;

    std::int32_t m_count = 0;
    mp::pooled_array<const C_incompressible_liquid_substance*> m_flat;
    substances m_substances;
};
