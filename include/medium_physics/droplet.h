// Droplets of a Lagrangian spray: the data a host hands to the factory's CreateDropletModel, and the
// droplet model the library builds around them.
//
// The host describes each droplet class (one liquid each) by droplet_liquid and names the media:
// the carrier gas (a gas medium of the library, e.g. an ideal-gas mixture) with the index of the
// class's vapour among its mass fractions, and the class's liquid (a one-substance liquid medium).
// The model answers, per droplet, what a spray solver asks for its mass and heat exchange in the
// quasi-steady film theory of a spherical droplet in a stagnant gas:
//
//   p_sat(Ts)   the vapour pressure at the surface temperature Ts: the Antoine equation
//               log10(p_sat / Pa) = A - B / (Ts + C) when the liquid has one (B > 0), else
//               Clausius-Clapeyron through the normal boiling point with the latent heat there
//   X_s, Y_s    the saturation vapour mole fraction p_sat / p (at most kMaxSurfaceMoleFraction)
//               and mass fraction X_s M_v / (X_s M_v + (1 - X_s) M_g), M_g the carrier's molar mass
//   T_film      the film temperature of the 1/3 rule, Ts + (T_gas - Ts) / 3 (Hubbard, Denny and
//               Mills, Int. J. Heat Mass Transfer 18 (1975) 1003; Yuen and Chen, Combust. Sci.
//               Technol. 14 (1976) 147): the gas properties below are the carrier's at (p, T_film)
//   B_M         the Spalding mass-transfer number (Y_s - Y_inf) / (1 - Y_s)
//   B_T         the Spalding heat-transfer number cp_g (T_gas - Ts) / L(Ts)
//   L(Ts)       the latent heat by Watson's law L_b ((Tc - Ts) / (Tc - Tb))^0.38 (constant L_b
//               without a critical temperature)
//   D           the vapour's diffusivity in the carrier, D_ref (T_film / T_ref)^1.75 p_ref / p
//               (the temperature exponent of Fuller's correlation)
//   K           the d-squared evaporation constant, d(d^2)/dt = -K = -8 rho_g D ln(1 + B_M) / rho_l
//               (Spalding 1953; Godsave 1953; Turns, An Introduction to Combustion, ch. 3 and 10),
//               rho_l the liquid's density at Ts
//   m_dot       the evaporation rate 2 pi d rho_g D ln(1 + B_M) of a droplet of diameter d
//               (Sherwood number 2; a solver multiplies by its convective correction), and the
//               droplet's lifetime d^2 / K at this K
//
// Units: SI (Pa, K, kg/mol, J/kg, m, m2/s, kg/s). Limits: one-component droplets, no internal
// temperature gradient, no radiation, the vapour's own contribution to the film properties is
// neglected (the carrier's properties at the film temperature), and at p_sat >= p the droplet
// boils: X_s is held at kMaxSurfaceMoleFraction.
#pragma once

#include <cstdint>
#include <memory>

#include "medium_physics/host_unknown.h"
#include "medium_physics/thermodynamics.h"

// The liquid of one droplet class and its vapour.
struct droplet_liquid {
    double molar_mass = 0.0;           // kg/mol
    double boiling_temperature = 0.0;  // K, at boiling_pressure
    double boiling_pressure = 101325.0;  // Pa
    double latent_heat = 0.0;          // J/kg at the boiling temperature
    double critical_temperature = 0.0;  // K; 0: the latent heat is constant
    // Antoine coefficients for p in Pa and T in K (log10 p = A - B / (T + C)); B = 0: none.
    double antoine_A = 0.0, antoine_B = 0.0, antoine_C = 0.0;
    // The vapour's diffusivity in the carrier gas [m2/s] at diffusivity_T [K] and diffusivity_p [Pa].
    double diffusivity = 0.0;
    double diffusivity_T = 298.15;
    double diffusivity_p = 101325.0;
};

// Droplet data that a host object may hand to CreateDropletModel through query_interface. Only the
// class count is required; a host without the rest leaves the defaults, and the model then answers
// status 2 for evaporation.
class IHostDropletData : public IHostUnknown {
public:
    virtual std::int32_t get_droplet_class_count() const noexcept = 0;
    // Class i's liquid; false when the host has none (or i is outside 0..count-1).
    virtual bool get_droplet_liquid(std::int32_t /*i*/, droplet_liquid& /*out*/) const noexcept { return false; }
    // Class i's liquid medium (its density at the surface temperature; a one-substance liquid).
    virtual std::shared_ptr<I_solver__fluid_thermodynamics_common> get_liquid_medium(std::int32_t /*i*/) const {
        return {};
    }
    // The carrier gas medium, and where class i's vapour lies among its mass fractions (-1: the gas
    // holds no such species, its vapour fraction far from the droplet is 0).
    virtual std::shared_ptr<I_solver__fluid_thermodynamics_common> get_gas_medium() const { return {}; }
    virtual std::int32_t get_vapour_index(std::int32_t /*i*/) const noexcept { return -1; }
};

// What the model answers for one droplet.
struct droplet_evaporation {
    double p_sat = 0.0;          // Pa
    double X_surface = 0.0;      // saturation vapour mole fraction at the surface
    double Y_surface = 0.0;      // saturation vapour mass fraction at the surface
    double T_film = 0.0;         // K
    double B_M = 0.0;            // Spalding mass-transfer number
    double B_T = 0.0;            // Spalding heat-transfer number
    double latent_heat = 0.0;    // J/kg at the surface temperature
    double diffusivity = 0.0;    // m2/s at the film temperature
    double rho_gas = 0.0;        // kg/m3, the carrier at the film temperature
    double rho_liquid = 0.0;     // kg/m3 at the surface temperature
    double K = 0.0;              // m2/s, d(d^2)/dt = -K
    double m_dot = 0.0;          // kg/s, evaporation rate of the droplet (Sherwood number 2)
    double lifetime = 0.0;       // s, d^2 / K (infinite when K <= 0)
};

// The droplet model: handed out by the object that CreateDropletModel creates (query_interface).
class I_droplet_model {
public:
    // Above this the surface mole fraction is held (the droplet boils).
    static constexpr double kMaxSurfaceMoleFraction = 0.999;

    virtual ~I_droplet_model() = default;
    virtual std::int32_t get_droplet_class_count() const noexcept = 0;
    // The evaporation of a droplet of class `cls` with surface temperature Ts [K] and diameter d [m]
    // in the carrier at p [Pa], T_gas [K] and mass fractions Y_gas. 0 with `out` filled; 2 when the
    // host gave no data for the class (out untouched); 3 on a state that is not finite and positive
    // (out untouched).
    virtual std::int32_t get_evaporation(std::int32_t cls, double p, double T_gas, const double* Y_gas, double Ts,
                                         double d, droplet_evaporation& out) const noexcept = 0;
    // The saturation vapour pressure [Pa] of class `cls` at T [K]; 0 without data.
    virtual double get_saturation_pressure(std::int32_t cls, double T) const noexcept = 0;
};
