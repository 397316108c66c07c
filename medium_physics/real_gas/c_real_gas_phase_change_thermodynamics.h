// C_real_gas_phase_change_thermodynamics (kind 6): one pure real fluid with its liquid, vapour,
// supercritical and two-phase states, for boiling and condensing flows of refrigerants, CO2 or
// cryogenic nitrogen. Its substance is a C_real_gas_substance in mode 2 (cache 9: the adaptable
// table, whose strips below the critical pressure place their nodes where the properties bend).
// Created by the factory's CreateRealGasPhaseChangeThermodynamics from one real-gas description
// (the gas descriptions array must be empty). The mass fractions are not read (one component).
//
// Single-phase states come from the table on the side of the saturation line that the state
// belongs to; below the table's lowest temperature from the substance's low-temperature
// extension. Inside the saturation dome the state is a homogeneous equilibrium mixture at
// psat(T) with vapour mass fraction x (real_gas/rg_media_core.h):
//   v = v_l + x (v_v - v_l),  h = h_l + x (h_v - h_l),  e = h - psat v,
//   cp = x dh_v/dT + (1 - x) dh_l/dT along the saturation line (at constant p the two-phase cp
//        is unbounded; this is the rate at which h changes with the saturation temperature),
//   a   the homogeneous equilibrium speed of sound, -v^2 (dp/dv)_s with every saturated property
//       following the saturation line (T ds = dh - v dp for each phase): the speed consistent
//       with the equation of state the medium answers, so that a^2 = (dp/drho)_s holds across
//       the dome as it does outside (the frozen speed of Wood's formula would not; the
//       equilibrium speed drops sharply where the liquid begins to boil, as in nature),
//   gamma = rho a^2/p, the isentropic exponent,
//   mu  McAdams' 1/mu = x/mu_v + (1 - x)/mu_l, lambda weighted by the vapour volume fraction
//       alpha = x v_v/v: lambda = alpha lambda_v + (1 - alpha) lambda_l.
// The phase, x and the status of a state come through I_solver_real_gas (real_gas_state.h). Every
// operation, its failure handling and the record are those of C_real_gas_medium
// (real_gas/c_real_gas_medium.h); messages come from this file.
#pragma once

#include <memory>

#include "real_gas/c_real_gas_medium.h"

class C_real_gas_phase_change_thermodynamics final : public C_real_gas_medium,
                                                     public CHostAPIBaseClass<C_real_gas_phase_change_thermodynamics> {
public:
    static constexpr std::size_t kCacheIndex = C_medium_physics::kRealGasPhaseChangeCache;

    // A new medium over the substance (tolerance 1e-9, limit 100, a fresh identity); nullptr
    // when memory is not to be had.
    static std::shared_ptr<C_real_gas_phase_change_thermodynamics> create(std::shared_ptr<C_real_gas_substance> real);
    // nullptr when the record is not version 0, is implausible, names ideal-gas components or a
    // substance the factory does not hold.
    static std::shared_ptr<C_real_gas_phase_change_thermodynamics> load(C_file_io& stream,
                                                                        const C_medium_physics& factory);

    std::int32_t query_interface(std::any& requested) override;
    std::int32_t get_type_id() const noexcept override { return MP_KIND_REAL_GAS_PHASE_CHANGE; }

private:
    C_real_gas_phase_change_thermodynamics() = default;
    void report(std::uint32_t status, operation op) const noexcept override;
};
