// What a solver learns about a real-gas state beyond the properties of the common interfaces: its
// phase, its vapour mass fraction, and how the call went (a status per call: whether the state
// left the tables, came from the low-temperature extension, or an inversion failed). Both real-gas
// media (C_real_gas_thermodynamics, kind 5, and C_real_gas_phase_change_thermodynamics, kind 6)
// hand out I_solver_real_gas through query_interface.
//
// The state operations take the same inputs as the operations of I_solver__thermodynamics_P_H and
// I_solver__thermodynamics_Rho_E, fill one caller-owned rg_point with every output and return the
// status bits. The common operations answer exactly the same numbers (they call the same code), so
// a solver may call them as usual and ask for a state only where it needs the phase.
#pragma once

#include <cstdint>

#include "medium_physics/thermodynamics.h"

// The phase of a state.
//   liquid        T < Tc and p at or above the saturation pressure (compressed liquid above pc too)
//   vapour        T < Tc and p below the saturation pressure, or T >= Tc and p < pc (a gas)
//   two-phase     inside the saturation dome: a homogeneous equilibrium mixture at psat(T)
//   supercritical T >= Tc and p >= pc
enum rg_phase : std::int32_t {
    MP_PHASE_LIQUID = 0,
    MP_PHASE_VAPOUR = 1,
    MP_PHASE_TWO_PHASE = 2,
    MP_PHASE_SUPERCRITICAL = 3,
};

// Status bits of one call (0: the state lies inside the tables and everything went as asked).
enum rg_status : std::uint32_t {
    MP_RG_OK = 0,
    // p outside the table's pressures: the real component was taken at the nearest table pressure.
    MP_RG_PRESSURE_OUTSIDE = 1u << 0,
    // T above the table (taken at Tmax) or below the extension's floor (taken at the floor).
    MP_RG_TEMPERATURE_OUTSIDE = 1u << 1,
    // T below the table's lowest temperature: the substance's low-temperature extension answered.
    MP_RG_BELOW_TABLE = 1u << 2,
    // An inversion did not converge: its start value was taken and warning 3002 logged.
    MP_RG_ITERATION_FAILED = 1u << 3,
    // An input is NaN, infinite, zero or negative where it must be positive (p, T, rho, T0), or
    // NaN or infinite (H, e) or negative (G2): nothing was computed and every output is NaN.
    MP_RG_BAD_INPUT = 1u << 4,
    // The state lies inside the saturation dome of a medium that does not model it (kind 5): the
    // saturated state on the nearer side was answered.
    MP_RG_DOME_NOT_MODELLED = 1u << 5,
};

// Every output of one state, SI units.
struct rg_point {
    double p = 0.0;       // Pa
    double T = 0.0;       // K
    double rho = 0.0;     // kg/m3
    double h = 0.0;       // static enthalpy, J/kg
    double e = 0.0;       // internal energy, J/kg
    double cp = 0.0;      // J/(kg K); inside the dome d h/d T along the saturation line at fixed x
    double gamma = 0.0;   // cp/cv; inside the dome the isentropic exponent rho a^2/p
    double M = 0.0;       // kg/mol
    double a = 0.0;       // speed of sound, m/s (inside the dome the homogeneous equilibrium one)
    double mu = 0.0;      // Pa s
    double lambda = 0.0;  // W/(m K)
    double x = -1.0;      // vapour mass fraction in [0, 1] inside the dome, -1 outside it
    std::int32_t phase = MP_PHASE_VAPOUR;
    std::uint32_t status = MP_RG_OK;
};

class I_solver_real_gas : public virtual I_fluid_thermodynamics {
public:
    // 1. At (p, T) as get_properties_p_T.
    virtual std::uint32_t get_state_p_T(double p, double T, const double* Y, rg_point* out) const noexcept = 0;
    // 2. From total enthalpy H at p as get_properties_p_H (G2 the squared mass flux, T0 the start).
    virtual std::uint32_t get_state_p_H(double H, double p, const double* Y, double G2, double T0,
                                        rg_point* out) const noexcept = 0;
    // 3. From internal energy e and density rho as get_properties_rho_e (T0 the start).
    virtual std::uint32_t get_state_rho_e(double e, double rho, const double* Y, double T0,
                                          rg_point* out) const noexcept = 0;
    // 4. From p and rho as get_properties_p_rho.
    virtual std::uint32_t get_state_p_rho(double p, double rho, const double* Y, rg_point* out) const noexcept = 0;
    // 5. Saturation pressure [Pa] of the real component at T [K]; 0 at or above its critical
    //    temperature (or for a table without a saturation line).
    virtual double get_saturation_pressure(double T) const noexcept = 0;
    // 6. Saturation temperature [K] at p [Pa]; 0 at or above the critical pressure.
    virtual double get_saturation_temperature(double p) const noexcept = 0;
    // 7. Fills every patch of the medium's tables now, in parallel on the library's thread count,
    //    so that no later call pays for a first touch. False when memory is not to be had.
    virtual bool fill_tables() const noexcept = 0;
};
