// C_real_gas_thermodynamics (kind 5): a real gas on its equation-of-state tables, alone or mixed
// with ideal gases. The real component (cache 8: a C_real_gas_substance in mode 1, its regular
// table) comes first in the mass fractions, the ideal-gas components (cache 1) after it, for
// example CO2 with N2 and O2. Created by the factory's CreateRealGasThermodynamics from one
// real-gas description and an array of gas descriptions (empty: the pure real gas).
//
// Physics (real_gas/rg_media_core.h): the real component from its table at (p, T) (p clamped into
// the table's pressures, T into its temperatures; below them the substance's low-temperature
// extension), the ideal-gas components from their cp(T) tables, ideal mixing by mass at the
// mixture's p and T (Amagat: specific volumes and enthalpies add), a and cp/cv from the mixed
// derivatives, viscosity and conductivity as mole-fraction averages (the real component's from
// the Chung et al. dense-fluid method). This medium does not model the saturation dome: a state
// that an inversion would place inside it (an enthalpy or density between the saturated liquid
// and vapour of the real component at p) answers the saturated state on the nearer side with the
// phase two-phase and MP_RG_DOME_NOT_MODELLED in the status; the phase-change medium (kind 6)
// models it. Every operation, its failure handling and the record are those of
// C_real_gas_medium (real_gas/c_real_gas_medium.h); messages come from this file.
#pragma once

#include <memory>

#include "real_gas/c_real_gas_medium.h"

class C_real_gas_thermodynamics final : public C_real_gas_medium,
                                        public CHostAPIBaseClass<C_real_gas_thermodynamics> {
public:
    static constexpr std::size_t kCacheIndex = C_medium_physics::kRealGasCache;

    // A new medium over the real substance and the ideal-gas components (tolerance 1e-9, limit
    // 100, a fresh identity); nullptr when memory is not to be had.
    static std::shared_ptr<C_real_gas_thermodynamics> create(std::shared_ptr<C_real_gas_substance> real,
                                                             const ideal_list& ideal);
    // nullptr when the record is not version 0, is implausible or names substances the factory
    // does not hold.
    static std::shared_ptr<C_real_gas_thermodynamics> load(C_file_io& stream, const C_medium_physics& factory);

    std::int32_t query_interface(std::any& requested) override;
    std::int32_t get_type_id() const noexcept override { return MP_KIND_REAL_GAS; }

private:
    C_real_gas_thermodynamics() = default;
    void report(std::uint32_t status, operation op) const noexcept override;
};
