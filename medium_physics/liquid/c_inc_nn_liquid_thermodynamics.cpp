#include "liquid/c_inc_nn_liquid_thermodynamics.h"

#include "factory/query_interface.h"

// Where each report comes from: one line per check and per iteration.
const int C_inc_non_newtonian_liquid_thermodynamics::kSiteCpDrop = __LINE__;
const int C_inc_non_newtonian_liquid_thermodynamics::kSiteCpNegative = __LINE__;
const mp::newton_site C_inc_non_newtonian_liquid_thermodynamics::kSitePH{__LINE__, __LINE__ + 1};
const mp::newton_site C_inc_non_newtonian_liquid_thermodynamics::kSiteRhoT{__LINE__, __LINE__ + 1};
const mp::newton_site C_inc_non_newtonian_liquid_thermodynamics::kSiteTph{__LINE__, __LINE__ + 1};
// Labels of the flat component array: built from descriptions, or read from a stream.
const int C_inc_non_newtonian_liquid_thermodynamics::kFlatArrayCreateLine = __LINE__;
const int C_inc_non_newtonian_liquid_thermodynamics::kFlatArrayLoadLine = __LINE__;

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
