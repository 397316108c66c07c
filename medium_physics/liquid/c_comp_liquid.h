// C_compressible_liquid_substance: a liquid component whose density depends on pressure by a
// Tait-type law, rho_0(T) being its density at the reference pressure p_ref:
//   law 0 (logarithmic): rho = rho_0 / (1 - C ln((B + p) / (B + p_ref))),
//   law 1 (power):       rho = rho_0 ((B + p) / (B + p_ref))^(1/N),
//   any other law:       rho = rho_0,
// with B(T) [Pa], C(T) and N(T) tables. The enthalpy is h(p, T) = H(T) + D(p, T), H the integral of
// cp from 0 K and D the closed form of the integral from p_ref to p of (v - T dv/dT) dp of the law.
// The viscosity rises with pressure: mu(T) exp((p - 100000) alpha(T)). It offers the 16 operations
// of every liquid component; its weakly compressible view (operations 4, 10 to 12) follows its own
// density law. SI units; immutable once built.
#pragma once

#include <cstdint>

#include "liquid/c_inc_liquid.h"

class C_compressible_liquid_substance final : public C_substance_base, public C_isotherm_cavitation_liquid_substance {
public:
    using description_type = I_compressible_liquid_description;
    // Pa: the pressure at which the entered viscosity holds.
    static constexpr double kViscosityReferencePressure = 100000.0;
    // The floor of B + p before the logarithm of the enthalpy (single-precision epsilon).
    static constexpr double kPressureFloor = 1.1920928955078125e-07;
    // Answered by the mixture pressure of a pressure-independent liquid: minus the largest float.
    static constexpr double kNoMixturePressure = -3.4028234663852886e38;

    C_compressible_liquid_substance() = default;
    ~C_compressible_liquid_substance() override = default;
    bool init(I_compressible_liquid_description& description, IHostMessageSink* sink);

    // ---- the 16 operations ----
    const CHostString& get_name() const noexcept override { return name(); }
    double get_reference_temperature() const noexcept override { return m_reference_temperature; }
    double get_scalar_a() const noexcept override { return m_scalar_a; }
    double get_reference_pressure() const noexcept override { return m_reference_pressure; }
    double get_mixture_sound_speed(double T, const double* Y, const gas_components& G) const noexcept override;
    double get_volume(double T) const noexcept override { return 1.0 / m_density.value(T); }
    double get_cp(double p, double T) const noexcept override;
    double get_conductivity(double T) const noexcept override { return m_conductivity.value(T); }
    void get_id(std::uint8_t* out) const noexcept override;
    double get_viscosity(double p, double T) const noexcept override;
    double get_mixture_pressure(double rho, double T, const double* Y, const gas_components& G) const noexcept override;
    double get_liquid_pressure_term(double q, double T, const double* Y, const gas_components& G) const noexcept override;
    double get_liquid_volume(double p, double T) const noexcept override;
    double get_zero() const noexcept override { return 0.0; }
    double get_reference_volume() const noexcept override { return get_volume(get_reference_temperature()); }
    double get_liquid_reference_pressure() const noexcept override { return get_reference_pressure(); }

    // ---- for the liquid media ----
    double density(double p, double T) const noexcept;
    double volume_at(double p, double T) const noexcept { return 1.0 / density(p, T); }
    // Isothermal d rho / d p at (p, T), from the law.
    double drho_dp(double p, double T) const noexcept;
    double get_enthalpy(double p, double T) const noexcept { return m_cp.integral(T) + pressure_part(p, T); }
    // cp = dh/dT at constant p: the entered cp and the temperature derivative of the pressure part,
    // taken within the table segments that hold T (the tables are linear there; at a node the
    // pressure part jumps with the slopes, and a difference across it would mean nothing).
    static constexpr double kCpStep = 0.01;  // K
    double isobaric_cp(double p, double T) const noexcept;
    // D(p, T), the pressure part of the enthalpy.
    double pressure_part(double p, double T) const noexcept;
    std::int32_t density_law() const noexcept { return m_density_law; }
    double density_reference_pressure() const noexcept { return m_density_reference_pressure; }

    // Record: byte 0; the common record; cp, viscosity, conductivity, density, B, C, N, alpha;
    // p_ref, the law (int32), scalar_a, reference temperature, reference pressure.
    void write(C_file_io& stream) const;
    bool read(C_file_io& stream);

private:
    // The density law's tables at one temperature: values and segment slopes.
    struct law_state {
        double rho0, drho0, B, dB, C, dC, N, dN;
        // The same segments, moved by dT along their slopes.
        law_state moved(double dT) const noexcept {
            return {rho0 + dT * drho0, drho0, B + dT * dB, dB, C + dT * dC, dC, N + dT * dN, dN};
        }
    };
    law_state state_at(double T) const noexcept;
    double pressure_part(double p, double T, const law_state& s) const noexcept;

    c_1d_param m_cp;
    c_1d_param m_viscosity;
    c_1d_param m_conductivity;
    c_1d_param m_density;
    c_1d_param m_tait_b;
    c_1d_param m_tait_c;
    c_1d_param m_tait_n;
    c_1d_param m_viscosity_pressure_coefficient;
    double m_density_reference_pressure = 101325.0;
    std::int32_t m_density_law = 0;
    double m_scalar_a = 0.0;
    double m_reference_temperature = 0.0;
    double m_reference_pressure = 0.0;
};
