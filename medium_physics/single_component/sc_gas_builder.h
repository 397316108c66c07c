// Making a single-component gas table from the real-gas equation-of-state generator: every node
// (v, T) of the grid is one state_Tv of the cubic equation of state (no interpolation), the
// transport columns come from the dilute-gas rules of sc_gas_table.h.
#pragma once

#include <cstdint>
#include <string>

#include "real_gas/c_real_gas_substance.h"
#include "real_gas/crgpropertygenerator.h"
#include "single_component/sc_gas_table.h"

namespace mp::single_component {

// The rectangle and node counts of a table.
struct sc_grid_request {
    double rho_min = 0.0, rho_max = 0.0;  // kg/m3, 0 < rho_min < rho_max
    std::int32_t n_rho = 81;              // nodes in ln v
    double T_min = 0.0, T_max = 0.0;      // K, 0 < T_min < T_max
    std::int32_t n_T = 161;
};

// The largest density a gas table of `generator` may reach at temperatures from T_min up: below
// the critical temperature the saturated vapour's density at T_min (the lowest over the table,
// since it rises with T) times kVapourMargin; above it, infinity.
double largest_gas_density(const CRGPropertyGenerator& generator, double T_min) noexcept;
// The fraction of the saturated vapour density a table stays below, clear of the spinodal's
// neighbourhood where the cubic's states are metastable.
inline constexpr double kVapourMargin = 0.98;

// The grid for a real-gas description's rectangle: T_min..T_max, densities from the gas at
// (p_min, T_max) to the gas at (p_max, T_min), held below largest_gas_density.
sc_grid_request grid_for_rectangle(const CRGPropertyGenerator& generator, const rg_substance_parameters& parameters);

// Fills `out` for the substance of `parameters` (name, identifier) configured into `generator`.
// False, with `why`, when the request is not a rectangle of 2..kMaxNodes nodes per axis, reaches
// into the two-phase region, or gives a table that check() refuses.
bool build_sc_gas_table(const CRGPropertyGenerator& generator, const rg_substance_parameters& parameters,
                        const CHostString& name, const host_guid& identifier, const sc_grid_request& grid,
                        sc_gas_table& out, std::string& why);

}  // namespace mp::single_component
