// What the two real-gas media share: one real component (C_real_gas_substance), optionally mixed
// with ideal-gas components, and every solver operation a gas answers, through rg_media_core
// (real_gas/rg_media_core.h: the mixing rule, the inversions and the dome). The concrete media,
// C_real_gas_thermodynamics (kind 5) and C_real_gas_phase_change_thermodynamics (kind 6), add their
// kind, their query and their messages (from their own source files).
//
// Operations, SI units throughout:
//   get_properties_p_T, get_cp, get_viscosity, get_conductivity, get_prandtl, get_enthalpy,
//   get_density, get_sound_speed   the state at (p, T) on the side of the saturation line that p
//                                  gives (at or above psat: liquid);
//   get_expansion_factor            T (dv/dT)_p / v (1 for an ideal gas);
//   get_drho_dp, get_compressibility the isothermal (d rho/d p)_T;
//   get_properties_p_H, RhoT, get_T_p_h   from the static or total enthalpy (H = h + G2/(2 rho^2),
//                                  the kinetic term of the mass flux G at the state's own density);
//                                  get_T_p_h starts at 300 K (held inside the table);
//   get_temperature_from_enthalpy   at the given p; at p <= 0 the dilute (ideal-gas) limit;
//   get_properties_rho_e, get_properties_p_rho, get_pressure_rho_e   from (rho, e) and (p, rho);
//   get_gamma(T), get_sound_speed_e(e), get_energy_p_rho(p/rho), get_temperature_e(e)   are given
//                                  no density: they answer the dilute limit, gamma0 = cp0/(cp0 - R)
//                                  at T (298.15 K for T <= 0, which the constant-gamma closures
//                                  pass), a0 = sqrt(gamma0 R T) and e0 = h0(T) - R T;
//   get_dynamic_pressure_factor     the generic form at 101325 Pa;
//   get_mole_fraction, get_mass_fraction   by the molar masses, the real component first.
// A failed inversion writes warning 3002 and answers its start value (T0; for get_T_p_h 300 K;
// for RhoT rho0 and T0); I_solver_real_gas (real_gas_state.h) gives the phase, the vapour fraction
// and the status of any state. Bad input (NaN, infinite, zero or negative p, T, rho, T0; NaN H or
// e; negative G2) answers NaN, without a message, and the status says so.
//
// Record: int32 0 (version); the identity; the tolerance (double) and the iteration limit (int32);
// the real substance's identifier; int32 n and the n ideal-gas substances' identifiers (0 for the
// phase-change medium).
#pragma once

#include <cstdint>
#include <memory>

#include "factory/c_medium_physics.h"
#include "factory/c_memory_pool.h"
#include "framework/c_thermodynamic_base.h"
#include "gas/c_gas_substance.h"
#include "medium_physics/real_gas_state.h"
#include "real_gas/c_real_gas_substance.h"
#include "real_gas/rg_media_core.h"

class C_real_gas_medium : public I_write,
                          public C_thermodynamic_base,
                          public C_no_radiation,
                          public virtual IHostUnknown,
                          public virtual FluidRadProp::IRadPropFunctionality,
                          public virtual I_fluid_thermodynamics,
                          public virtual I_solver__fluid_thermodynamics_common,
                          public virtual I_solver__thermodynamics_P_H,
                          public virtual I_solver__thermodynamics_Rho_E,
                          public virtual I_solver_real_gas {
public:
    using ideal_list = host_shared_array<std::shared_ptr<C_ideal_gas_substance>>;
    // Limits a stream may hold: larger ones only come from damaged records.
    static constexpr std::int32_t kMaxLimit = 1000000;
    // K: where get_T_p_h starts, and the temperature get_gamma takes for T <= 0.
    static constexpr double kStartTemperature = 300.0;
    static constexpr double kGammaReferenceTemperature = 298.15;

    ~C_real_gas_medium() override = default;

    const C_real_gas_substance& real_substance() const noexcept { return *m_real; }
    std::int32_t ideal_count() const noexcept { return m_ideal.size(); }
    double tolerance() const noexcept { return m_tolerance; }
    std::int32_t iteration_limit() const noexcept { return m_limit; }
    substance_array get_substances() const override;

    // ---- common ----
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

    // ---- pressure-based ----
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

    // ---- density-based ----
    void get_properties_rho_e(double e, double rho, const double* Y, double T0, double* p, double* T, double* cp,
                              double* gamma, double* M, double* a, double* mu, double* lambda) const noexcept override;
    void get_properties_p_rho(double p, double rho, const double* Y, double unused, double* e, double* T, double* cp,
                              double* gamma, double* M, double* a, double* mu, double* lambda) const noexcept override;
    double get_gamma(double T, const double* Y) const noexcept override;
    double get_sound_speed_e(double e, const double* Y) const noexcept override;
    double get_energy_p_rho(double p_over_rho, const double* Y) const noexcept override;
    double get_pressure_rho_e(double e, double rho, const double* Y) const noexcept override;
    double get_temperature_e(double e, const double* Y) const noexcept override;

    // ---- I_solver_real_gas ----
    std::uint32_t get_state_p_T(double p, double T, const double* Y, rg_point* out) const noexcept override;
    std::uint32_t get_state_p_H(double H, double p, const double* Y, double G2, double T0,
                                rg_point* out) const noexcept override;
    std::uint32_t get_state_rho_e(double e, double rho, const double* Y, double T0, rg_point* out) const noexcept override;
    std::uint32_t get_state_p_rho(double p, double rho, const double* Y, rg_point* out) const noexcept override;
    double get_saturation_pressure(double T) const noexcept override;
    double get_saturation_temperature(double p) const noexcept override;
    bool fill_tables() const noexcept override;

    void write(C_file_io& stream) const override;

protected:
    // Which operation met what it reports.
    enum class operation : int { p_H, rho_T, T_p_h, T_from_h, rho_e, p_rho, pressure_rho_e };
    C_real_gas_medium() = default;
    // Writes the medium's messages for the status bits of one operation (warning 3002 when the
    // inversion failed), from the concrete medium's own source file.
    virtual void report(std::uint32_t status, operation op) const noexcept = 0;
    // Takes the substances and prepares the core; false when memory is not to be had.
    bool assign(std::shared_ptr<C_real_gas_substance> real, const ideal_list& ideal, bool phase_change,
                mp::site where = mp::site::here());
    IHostMessageSink* sink() const noexcept { return m_real ? m_real->sink() : nullptr; }

    // Reads the record after the version (identity, tolerance, limit, substances) with the real
    // substance from the cache at RealCache; false on implausible values or unknown substances.
    template <std::size_t RealCache>
    bool read_record(C_file_io& stream, const C_medium_physics& factory, bool phase_change) {
        read_identity(stream);
        m_tolerance = stream.get<double>();
        m_limit = stream.get<std::int32_t>();
        host_guid id;
        stream.read_guid(id);
        std::shared_ptr<C_real_gas_substance> real = factory.find_substance<RealCache>(id);
        const auto n = stream.get<std::int32_t>();
        if (!real || !(m_tolerance > 0.0) || !std::isfinite(m_tolerance) || m_limit < 1 || m_limit > kMaxLimit ||
            n < 0 || n >= thermo::kMaxCleanedSubstances || (phase_change && n != 0))
            return false;
        ideal_list ideal(n);
        if (!factory.read_substances<C_medium_physics::kIdealGasCache>(stream, n, ideal)) return false;
        const double tolerance = m_tolerance;
        const std::int32_t limit = m_limit;
        if (!assign(std::move(real), ideal, phase_change)) return false;
        m_tolerance = tolerance;
        m_limit = limit;
        m_core.set_iteration(m_tolerance, m_limit);
        return true;
    }

    std::shared_ptr<C_real_gas_substance> m_real;
    ideal_list m_ideal;
    mp::pooled_array<const C_ideal_gas_substance*> m_ideal_flat;
    mp::rg_media_core m_core;
    double m_tolerance = mp::rg_media_core::kDefaultTolerance;
    std::int32_t m_limit = mp::rg_media_core::kDefaultLimit;
};
