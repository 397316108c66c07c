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
    double w[thermo::kMaxCleanedSubstances];
    thermo::clean_mass_fractions(m_count, Y, w);
    const double rho = density(p, T, Y);
    double sum = 0.0;
    for (std::int32_t i = 0; i < m_count; ++i) {
        const auto& s = component(i);
        const double v = s.volume_at(p, T);
        sum += w[i] * s.get_viscosity(p, T, shear_rate) * v * v;
    }
    return rho * rho * sum;
}
