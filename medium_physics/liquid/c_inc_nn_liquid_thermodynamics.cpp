#include "liquid/c_inc_nn_liquid_thermodynamics.h"

#include "factory/query_interface.h"

std::int32_t C_inc_non_newtonian_liquid_thermodynamics::query_interface(std::any& requested) {
    return mp::hand_out<IHostUnknown, FluidRadProp::IRadPropFunctionality, I_fluid_thermodynamics,
                        I_solver__fluid_thermodynamics_common, I_solver__thermodynamics_P_H,
                        I_solver__incompressible_liquid, I_solver__incompressible_non_newton_liquid, I_write, I_identity,
                        FluidRadProp::I_radiation_properties>(weak_from_this().lock(), requested);
}

double C_inc_non_newtonian_liquid_thermodynamics::get_non_newtonian_viscosity(double p, double T, const double* Y,
                                                                              double shear_rate) const noexcept {
    return mixed_viscosity(
        p, T, Y, [&](const C_inc_non_newtonian_liquid_substance& s) { return s.get_viscosity(p, T, shear_rate); });
}
