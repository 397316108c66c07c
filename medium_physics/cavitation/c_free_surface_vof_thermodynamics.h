// C_free_surface_vof_thermodynamics (kind 14): a volume-of-fluid mixture of immiscible phases
// (air and water at a ship's free surface, oil and gas in a separator), for a solver that advects
// the phases' volume fractions alpha_k and needs the cell's mixture properties. Each phase is an
// already created thermodynamics object of any fluid kind except another VOF medium; every
// operation asks the phases at the same (p, T) and mixes their answers:
//   rho = sum(alpha_k rho_k);  mass fractions x_k = alpha_k rho_k / rho;
//   h = sum(x_k h_k), cp = sum(x_k cp_k)  (caloric properties by mass);
//   mu = sum(alpha_k mu_k), lambda = sum(alpha_k lambda_k)  (by volume, the rule of the common VOF
//   solvers: the momentum equation of the mixture sees the volume-averaged stress);
//   1/(rho a^2) = sum(alpha_k / (rho_k a_k^2))  (Wood's relation; a phase that reports a = 0, an
//   incompressible liquid, is infinitely stiff and adds nothing; a = 0 when every phase does);
//   gamma = cp / sum(x_k cp_k / gamma_k) (gamma_k = 1 where a phase reports 0); M = 1/sum(x_k / M_k)
//   when every phase has a molar mass, else 0; T beta = sum(x_k T beta_k); d rho/dp and the
//   compressibility sum(alpha_k ...).
// cp is at constant mass fractions (a parcel keeps its masses as it heats); at constant volume
// fractions h changes also through x_k(T), so dh/dT differs from cp by sum(h_k dx_k/dT), about
// 1e-3 of cp for air and water in equal volumes.
// Temperatures from enthalpy: Newton on T at fixed alpha with the mixture cp as slope (relative
// tolerance kTolerance, at most kLimit steps; warning 3002 and the start value when it fails).
// Where one phase holds all the volume, every operation answers that phase's own value exactly.
//
// Composition: the n volume fractions, then each phase's own mass fractions in its substance
// order (a one-substance phase takes 1.0): length n + sum of the phases' substance counts
// (get_composition_length); get_substances lists the phases' substances in that order. The
// operations clean the volume fractions (not finite or negative: 0; then divided by their sum;
// all zero: the last phase); check_volume_fractions says whether a set is acceptable as given.
// get_mole_fraction answers the cleaned volume fraction of phase k, get_mass_fraction the mass
// fraction of phase k from volume fractions.
//
// Record: int32 0 (version); the identity; int32 phase count; per phase its kind code and its own
// record, inline. So a VOF medium needs no registered phases and loads in one pass whatever the
// registry order; after Load its phases are objects of its own, equal to (and with the identities
// of) the phases it was created from. A phase record of kind 14 is refused, so no stream can
// make a VOF hold itself.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>

#include "framework/c_thermodynamic_base.h"
#include "medium_physics/i_medium_physics.h"

class C_medium_physics;

class C_free_surface_vof_thermodynamics final : public I_write,
                                                public C_thermodynamic_base,
                                                public C_no_radiation,
                                                public CHostAPIBaseClass<C_free_surface_vof_thermodynamics>,
                                                public virtual IHostUnknown,
                                                public virtual FluidRadProp::IRadPropFunctionality,
                                                public virtual I_solver__free_surface_vof {
public:
    static constexpr std::int32_t kMaxPhases = 8;
    // Newton on T: relative tolerance and step limit.
    static constexpr double kTolerance = 1e-10;
    static constexpr std::int32_t kLimit = 50;
    static constexpr double kStartTemperature = 300.0;  // K, for get_T_p_h
    // check_volume_fractions accepts sums this close to 1.
    static constexpr double kSumTolerance = 1e-6;

    // A medium over the phases; nullptr with the reason in `why` when they are not acceptable
    // (none or more than kMaxPhases, an empty one, one without the pressure-based interface or a
    // record, a VOF medium among them, more than 100 substances in all).
    static std::shared_ptr<C_free_surface_vof_thermodynamics> create(const fluid_array& phases, const char*& why);
    static std::shared_ptr<C_free_surface_vof_thermodynamics> load(C_file_io& stream, const C_medium_physics& factory);

    std::int32_t query_interface(std::any& requested) override;
    std::int32_t get_type_id() const noexcept override { return MP_KIND_FREE_SURFACE_VOF; }
    void write(C_file_io& stream) const override;
    substance_array get_substances() const override;

    // "Free surface VOF thermodynamics: <display name of phase 1's kind> + ...".
    std::string description() const;
    // 0 when the n volume fractions are finite, within [0, 1] and sum to 1 within kSumTolerance;
    // 3 otherwise, with the reason in `why` when given.
    std::int32_t check_volume_fractions(const double* alpha, const char** why) const noexcept override;

    // ---- free-surface VOF ----
    std::int32_t get_phase_count() const noexcept override { return m_n; }
    std::shared_ptr<I_solver__thermodynamics_P_H> get_phase(std::int32_t k) const noexcept override;
    std::int32_t get_composition_length() const noexcept override { return m_length; }
    std::int32_t phase_kind(std::int32_t k) const noexcept { return m_kind[static_cast<std::size_t>(k)]; }

    // ---- common operations ----
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

    // ---- pressure-based operations ----
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

private:
    C_free_surface_vof_thermodynamics() = default;
    bool assign(const fluid_array& phases, const char*& why);
    // The cleaned volume fractions; returns the index of the one phase that holds all the volume,
    // or -1.
    std::int32_t volume_fractions(const double* Y, double* alpha) const noexcept;
    const double* phase_Y(const double* Y, std::int32_t k) const noexcept {
        return Y + m_n + m_offset[static_cast<std::size_t>(k)];
    }
    const I_solver__thermodynamics_P_H& phase(std::int32_t k) const noexcept {
        return *m_flat[static_cast<std::size_t>(k)];
    }
    // sum(alpha_k value(phase k, its fractions)); the phase's own value where it fills the cell.
    template <class Value>
    double by_volume(const double* Y, Value&& value) const noexcept;
    // rho, h and cp of the mixture at (p, T).
    void caloric(double p, double T, const double* Y, double& rho, double& h, double& cp) const noexcept;
    // T from the total enthalpy H (G2 = 0 for the static form), start T0; false when it fails.
    bool solve_T(double H, double p, const double* Y, double G2, double T0, double& T) const noexcept;

    fluid_array m_phases;
    std::array<std::shared_ptr<I_solver__thermodynamics_P_H>, kMaxPhases> m_solvers{};
    std::array<const I_solver__thermodynamics_P_H*, kMaxPhases> m_flat{};
    std::array<std::int32_t, kMaxPhases> m_kind{};
    std::array<std::int32_t, kMaxPhases> m_offset{};  // of each phase's fractions after the alphas
    std::int32_t m_n = 0;
    std::int32_t m_length = 0;
    IHostMessageSink* m_sink = nullptr;
};
