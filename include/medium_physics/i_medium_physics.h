// I_medium_physics: the factory through which a host creates every medium, finds registered media
// again, and saves and restores the whole set. Obtained from create_medium_physics, the one
// function the library exports.
#pragma once

#include <array>
#include <cstdint>
#include <memory>

#include "medium_physics/description.h"
#include "medium_physics/export.h"
#include "medium_physics/host_guid.h"
#include "medium_physics/host_object.h"
#include "medium_physics/host_string.h"
#include "medium_physics/host_unknown.h"
#include "medium_physics/thermodynamics.h"

class C_file_io;

using fluid_ptr = std::shared_ptr<I_fluid_thermodynamics>;
using fluid_array = host_shared_array<fluid_ptr>;
// The 3x3 axes of a solid's principal conductivities, row order.
using solid_axes = std::array<double, 9>;

// Operations in slot order. Every creating operation swaps the new object into its out-parameter
// (releasing what it held). Results: 0 success, 2 unsupported request (also: a medium this build
// does not provide), 3 failure. `register_it`: enter the new medium in the registry under its
// own identifier, so that FindThermodynamics and Save see it.
class I_medium_physics : public IHostUnknown {
public:
    // 1 is query_interface (IHostUnknown): std::shared_ptr<I_medium_physics> or
    //   std::shared_ptr<IHostUnknown> give the factory itself; anything else gives 2.
    std::int32_t QueryInterface(std::any& requested) { return query_interface(requested); }

    // 2.
    virtual std::int32_t CreateIdealGasThermodynamics(const description_array& gases, bool register_it,
                                                      fluid_ptr& out) = 0;
    // 3.
    virtual std::int32_t CreatePerfectGasThermodynamics(const description_array& gases, bool register_it,
                                                        fluid_ptr& out) = 0;
    // 4.
    virtual std::int32_t CreateIncompressibleLiquidThermodynamics(const description_array& liquids,
                                                                  bool register_it, fluid_ptr& out) = 0;
    // 5. A free-surface mixture of the given phases.
    virtual std::int32_t CreateFreeSurfaceVofThermodynamics(const fluid_array& phases, bool register_it,
                                                            fluid_ptr& out) = 0;
    // 6.
    virtual std::int32_t CreateNonNewtonianLiquidThermodynamics(const description_array& liquids,
                                                                bool register_it, fluid_ptr& out) = 0;
    // 7.
    virtual std::int32_t CreateCompressibleLiquidThermodynamics(const description_array& liquids,
                                                                bool register_it, fluid_ptr& out) = 0;
    // 8. `axes`: the principal axes of the conductivity.
    virtual std::int32_t CreateHeatConductingSolid(const std::shared_ptr<IHostDescription>& solid,
                                                   const solid_axes& axes,
                                                   std::shared_ptr<MED_PHYSICS::I_heatconducting_solid>& out) = 0;
    // 9. The solid's data as an array of doubles (layout documented with the solid).
    virtual std::int32_t CreateHeatConductingSolidFromValues(
        const std::shared_ptr<IHostDescription>& solid, const host_shared_array<double>& values,
        std::shared_ptr<MED_PHYSICS::I_heatconducting_solid>& out) = 0;
    // 10.
    virtual std::int32_t CreateElectroConductingSolid(const std::shared_ptr<IHostDescription>& solid,
                                                      const solid_axes& axes,
                                                      std::shared_ptr<MED_PHYSICS::I_electroconducting_solid>& out) = 0;
    // 11. A liquid with a dissolved gas over a compressible liquid; `parameter` is the medium's
    //     cavitation parameter.
    virtual std::int32_t CreateIsothermalCavitationThermodynamics(const std::shared_ptr<IHostDescription>& liquid,
                                                                  const description_array& gases,
                                                                  double parameter, bool register_it,
                                                                  fluid_ptr& out) = 0;
    // 12. The same over an incompressible liquid.
    virtual std::int32_t CreateIsothermalCavitationThermodynamicsInc(const std::shared_ptr<IHostDescription>& liquid,
                                                                     const description_array& gases,
                                                                     double parameter, bool register_it,
                                                                     fluid_ptr& out) = 0;
    // 13.
    virtual std::int32_t CreateRealGasThermodynamics(const std::shared_ptr<IHostDescription>& real_gas,
                                                     const description_array& gases, bool register_it,
                                                     fluid_ptr& out) = 0;
    // 14.
    virtual std::int32_t CreateRealGasPhaseChangeThermodynamics(const std::shared_ptr<IHostDescription>& real_gas,
                                                                const description_array& gases,
                                                                bool register_it, fluid_ptr& out) = 0;
    // 15. kind 7 (volume-temperature tables) or 8 (pressure-temperature tables); any other kind
    //     creates nothing. Always returns 0.
    virtual std::int32_t CreateCombustibleThermodynamics(const std::shared_ptr<IHostDescription>& mixture,
                                                         std::int32_t kind, double parameter,
                                                         std::int32_t options, bool register_it,
                                                         fluid_ptr& out) = 0;
    // 16. The single-component gas (kind 13) from the table file "SingleComponentGas.tables" in the
    //     host's product directory (its substance is keyed by the file's identifier). 3, with an ERROR
    //     line naming the file and the reason, when the file is missing, damaged or not a gas table.
    virtual std::int32_t CreateSingleComponentThermodynamics(bool register_it, fluid_ptr& out) = 0;
    // 17. The obsolete cavitation model.
    virtual std::int32_t CreateCavitationObsoleteThermodynamics(double parameter, bool register_it,
                                                                fluid_ptr& out) = 0;
    // 18. The obsolete condensation model over the given gases.
    virtual std::int32_t CreateCondensationObsoleteThermodynamics(const description_array& gases,
                                                                  double parameter, bool register_it,
                                                                  fluid_ptr& out) = 0;
    // 19. The single-component gas (kind 13) from a real-gas description (I_real_gas_description):
    //     the cubic equation of state tabulated over the description's rectangle, gas only.
    virtual std::int32_t CreateSingleComponentThermodynamicsFromDescription(
        const std::shared_ptr<IHostDescription>& gas, bool register_it, fluid_ptr& out) = 0;
    // 20. Found: out is set, 0. Unknown identifier: out untouched, 3.
    virtual std::int32_t FindThermodynamics(const host_guid& identifier, fluid_ptr& out) = 0;
    // 21. Asks `host` for its droplet data (IHostDropletData, droplet.h); out stays empty when it has
    //     none, else it receives the droplet model, which hands out I_droplet_model and the data.
    virtual std::int32_t CreateDropletModel(const std::shared_ptr<IHostUnknown>& host,
                                            std::shared_ptr<IHostUnknown>& out) = 0;
    // 22. Assigns "under construction".
    virtual std::int32_t GetDescription(CHostString& text) = 0;
    // 23. Writes the factory record (substance caches, then registered media). 0 or 3.
    virtual std::int32_t Save(C_file_io& stream) = 0;
    // 24. Reads a factory record into this factory. 0 or 3 (what was read before a failure stays).
    virtual std::int32_t Load(C_file_io& stream) = 0;
    // 25. 1 reports pooled allocations to the host's memory watcher; any other value does not.
    virtual std::int32_t SetMemoryWatchMode(std::int32_t mode) = 0;
    // 26. The hypersonic medium: equilibrium air over the library's built-in tables, its substance
    //     cached under the description's identifier (only identifier and name are read). Added
    //     after the other operations, so the slots before it keep their places. 0 or 3.
    virtual std::int32_t CreateHypersonicGasThermodynamics(const std::shared_ptr<IHostDescription>& gas,
                                                           bool register_it, fluid_ptr& out) = 0;
};

extern "C" {
// Creates the factory into `result` and asks `host` once for the thread count (7th operation).
// Returns 0.
MEDIUM_PHYSICS_API std::int32_t create_medium_physics(std::shared_ptr<I_medium_physics>& result,
                                                      const std::shared_ptr<IHostObject>& host);
}

// The entry point's type, for hosts that look it up by name.
using create_medium_physics_fn = std::int32_t (*)(std::shared_ptr<I_medium_physics>&,
                                                  const std::shared_ptr<IHostObject>&);
inline constexpr const char* kCreateMediumPhysicsSymbol = "create_medium_physics";
