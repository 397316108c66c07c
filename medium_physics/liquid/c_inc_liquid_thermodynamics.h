// C_inc_liquid_thermodynamics (kind 1): a mixture of incompressible liquid components
// (C_incompressible_liquid_substance) by mass fraction; the rules are those of C_liquid_mixture.
// SI units throughout.
#pragma once

#include "liquid/c_inc_liquid.h"
#include "liquid/c_liquid_mixture.h"

class C_inc_liquid_thermodynamics final
    : public C_liquid_mixture<C_inc_liquid_thermodynamics, C_incompressible_liquid_substance> {
public:
    static constexpr std::size_t kCacheIndex = C_medium_physics::kIncLiquidCache;
    static constexpr bool kNegativeCpIsError = false;
    // RhoT reports a falling enthalpy under the number 3002, the other iterations under 3003.
    static constexpr int kRhoTNotIncreasingNumber = 3002;

    std::int32_t query_interface(std::any& requested) override;
    std::int32_t get_type_id() const noexcept override { return MP_KIND_INC_LIQUID; }

private:
    friend class C_liquid_mixture<C_inc_liquid_thermodynamics, C_incompressible_liquid_substance>;
    C_inc_liquid_thermodynamics() = default;
};
