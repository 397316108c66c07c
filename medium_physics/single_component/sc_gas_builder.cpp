#include "single_component/sc_gas_builder.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace mp::single_component {

double largest_gas_density(const CRGPropertyGenerator& generator, double T_min) noexcept {
    if (!(T_min < generator.critical_temperature())) return std::numeric_limits<double>::infinity();
    return kVapourMargin * generator.saturation_rho_vapour(T_min);
}

sc_grid_request grid_for_rectangle(const CRGPropertyGenerator& generator, const rg_substance_parameters& parameters) {
    sc_grid_request grid;
    grid.T_min = parameters.Tmin;
    grid.T_max = parameters.Tmax;
    rg_state thin, dense;
    grid.rho_min = generator.state_pT(parameters.pmin, parameters.Tmax, thin) ? thin.rho : 0.0;
    grid.rho_max = generator.state_pT(parameters.pmax, parameters.Tmin, dense) ? dense.rho : 0.0;
    grid.rho_max = std::min(grid.rho_max, largest_gas_density(generator, parameters.Tmin));
    return grid;
}

bool build_sc_gas_table(const CRGPropertyGenerator& generator, const rg_substance_parameters& parameters,
                        const CHostString& name, const host_guid& identifier, const sc_grid_request& grid,
                        sc_gas_table& out, std::string& why) {
    out = sc_gas_table{};
    if (!(grid.rho_min > 0.0 && grid.rho_max > grid.rho_min && std::isfinite(grid.rho_max) && grid.T_min > 0.0 &&
          grid.T_max > grid.T_min && std::isfinite(grid.T_max))) {
        why = "the densities and temperatures must be finite, above 0 and increasing";
        return false;
    }
    if (grid.n_rho < 2 || grid.n_T < 2 || grid.n_rho > kMaxNodes || grid.n_T > kMaxNodes) {
        why = "2 to " + std::to_string(kMaxNodes) + " nodes per axis";
        return false;
    }
    const double limit = largest_gas_density(generator, grid.T_min);
    if (grid.rho_max > limit) {
        why = "the densities reach the two-phase region: at " + std::to_string(grid.T_min) + " K the gas ends at " +
              std::to_string(limit / kVapourMargin) + " kg/m3 (the table may reach " + std::to_string(limit) + ")";
        return false;
    }
    if (!generator.has_ideal_gas_cp()) {
        why = "the substance has no ideal-gas heat capacity";
        return false;
    }
    out.name = name;
    out.identifier = identifier;
    out.molar_mass = parameters.M;
    out.R = generator.gas_constant();
    out.Tc = parameters.Tc;
    out.pc = parameters.Pc;
    out.x0 = std::log(1.0 / grid.rho_max);
    out.x1 = std::log(1.0 / grid.rho_min);
    out.T0 = grid.T_min;
    out.T1 = grid.T_max;
    out.resize(grid.n_rho, grid.n_T);
    const double vscale = generator.record().vscale;
    for (std::int32_t j = 0; j < out.nT; ++j) {
        const double T = out.T0 + j * out.dT();
        for (std::int32_t i = 0; i < out.nx; ++i) {
            const double v = std::exp(out.x0 + i * out.dx());
            rg_state s;
            if (!generator.state_Tv(T, v / vscale, s)) {
                why = "the equation of state gives no state at T = " + std::to_string(T) + " K, v = " +
                      std::to_string(v) + " m3/kg";
                out = sc_gas_table{};
                return false;
            }
            const double pv = s.Z * out.R * T;
            const std::size_t n = static_cast<std::size_t>(j) * static_cast<std::size_t>(out.nx) + static_cast<std::size_t>(i);
            out.values[kPv][n] = pv;
            out.values[kE][n] = s.h - pv;
            out.values[kCp][n] = s.cp;
            out.values[kCv][n] = s.cv;
            out.values[kSound][n] = s.w;
        }
        const double mu = chung_dilute_viscosity(T, parameters.Tc, parameters.Pc, parameters.Zc, parameters.omega,
                                                 parameters.M);
        out.mu[static_cast<std::size_t>(j)] = mu;
        out.lambda[static_cast<std::size_t>(j)] =
            eucken_conductivity(mu, parameters.ideal_gas_cp.value(T) - out.R, out.R);
    }
    why = out.check();
    if (!why.empty()) {
        out = sc_gas_table{};
        return false;
    }
    out.prepare();
    return true;
}

}  // namespace mp::single_component
