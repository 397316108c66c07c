#include "droplet/c_droplet_model.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>

#include "factory/query_interface.h"

namespace {
constexpr double kGasConstant = 8.3144;  // J/(mol K), as the library's media use it
// A class count above this comes from a broken host: the model keeps no data for more.
constexpr std::int32_t kMaxClasses = 100000;
}  // namespace

C_droplet_model::C_droplet_model(std::shared_ptr<IHostDropletData> data) : m_data(std::move(data)) {
    if (!m_data) return;
    m_count = std::clamp(m_data->get_droplet_class_count(), 0, kMaxClasses);
    m_gas = m_data->get_gas_medium();
    m_classes.resize(static_cast<std::size_t>(m_count));
    for (std::int32_t i = 0; i < m_count; ++i) {
        droplet_class& c = m_classes[static_cast<std::size_t>(i)];
        c.has_data = m_data->get_droplet_liquid(i, c.liquid);
        c.liquid_medium = m_data->get_liquid_medium(i);
        c.vapour = m_data->get_vapour_index(i);
        const droplet_liquid& l = c.liquid;
        // The data the evaporation needs, finite and above 0.
        const bool usable = l.molar_mass > 0.0 && l.latent_heat > 0.0 && l.diffusivity > 0.0 &&
                            l.diffusivity_T > 0.0 && l.diffusivity_p > 0.0 &&
                            (l.antoine_B > 0.0 || (l.boiling_temperature > 0.0 && l.boiling_pressure > 0.0)) &&
                            (l.critical_temperature == 0.0 || l.critical_temperature > l.boiling_temperature);
        c.has_data = c.has_data && usable && c.liquid_medium && m_gas;
    }
}

std::int32_t C_droplet_model::query_interface(std::any& requested) {
    if (auto* p = std::any_cast<std::shared_ptr<IHostDropletData>>(&requested)) {
        *p = m_data;
        return MP_STATUS_OK;
    }
    return mp::hand_out<IHostUnknown, I_droplet_model>(weak_from_this().lock(), requested);
}

double C_droplet_model::latent_heat(const droplet_liquid& liquid, double T) noexcept {
    if (!(liquid.critical_temperature > 0.0)) return liquid.latent_heat;
    if (T >= liquid.critical_temperature) return 0.0;
    return liquid.latent_heat * std::pow((liquid.critical_temperature - T) /
                                             (liquid.critical_temperature - liquid.boiling_temperature),
                                         kWatsonExponent);
}

double C_droplet_model::saturation_pressure(const droplet_liquid& liquid, double T) noexcept {
    if (liquid.antoine_B > 0.0) return std::pow(10.0, liquid.antoine_A - liquid.antoine_B / (T + liquid.antoine_C));
    // d ln p / d(1/T) = -L M / R with the latent heat of the boiling point
    return liquid.boiling_pressure *
           std::exp(liquid.latent_heat * liquid.molar_mass / kGasConstant * (1.0 / liquid.boiling_temperature - 1.0 / T));
}

double C_droplet_model::get_saturation_pressure(std::int32_t cls, double T) const noexcept {
    if (cls < 0 || cls >= m_count || !m_classes[static_cast<std::size_t>(cls)].has_data || !(T > 0.0)) return 0.0;
    return saturation_pressure(m_classes[static_cast<std::size_t>(cls)].liquid, T);
}

std::int32_t C_droplet_model::get_evaporation(std::int32_t cls, double p, double T_gas, const double* Y_gas, double Ts,
                                              double d, droplet_evaporation& out) const noexcept {
    if (cls < 0 || cls >= m_count || !m_classes[static_cast<std::size_t>(cls)].has_data) return MP_STATUS_UNSUPPORTED;
    if (!(std::isfinite(p) && p > 0.0 && std::isfinite(T_gas) && T_gas > 0.0 && std::isfinite(Ts) && Ts > 0.0 &&
          std::isfinite(d) && d >= 0.0 && Y_gas != nullptr))
        return MP_STATUS_FAILURE;
    const droplet_class& c = m_classes[static_cast<std::size_t>(cls)];
    const droplet_liquid& l = c.liquid;
    droplet_evaporation r;

    r.T_film = Ts + (T_gas - Ts) / 3.0;
    double rho, h, cp, gamma, M, a, mu, lambda;
    m_gas->get_properties_p_T(p, r.T_film, Y_gas, &rho, &h, &cp, &gamma, &M, &a, &mu, &lambda);
    r.rho_gas = rho;
    const double one[1] = {1.0};
    double rl, hl, cpl, gl, Ml, al, mul, ll;
    c.liquid_medium->get_properties_p_T(p, Ts, one, &rl, &hl, &cpl, &gl, &Ml, &al, &mul, &ll);
    r.rho_liquid = rl;

    r.p_sat = saturation_pressure(l, Ts);
    r.X_surface = std::min(r.p_sat / p, kMaxSurfaceMoleFraction);
    r.Y_surface = r.X_surface * l.molar_mass / (r.X_surface * l.molar_mass + (1.0 - r.X_surface) * M);
    const double Y_far = c.vapour >= 0 ? Y_gas[c.vapour] : 0.0;
    r.B_M = (r.Y_surface - Y_far) / (1.0 - r.Y_surface);
    r.latent_heat = latent_heat(l, Ts);
    r.B_T = r.latent_heat > 0.0 ? cp * (T_gas - Ts) / r.latent_heat : std::numeric_limits<double>::infinity();
    r.diffusivity = l.diffusivity * std::pow(r.T_film / l.diffusivity_T, kDiffusivityExponent) * (l.diffusivity_p / p);
    // ln(1 + B) with B > -1; a droplet in a supersaturated gas grows (K < 0)
    const double log_term = std::log1p(std::max(r.B_M, -0.999999));
    r.K = 8.0 * r.rho_gas * r.diffusivity * log_term / r.rho_liquid;
    r.m_dot = 2.0 * std::numbers::pi * d * r.rho_gas * r.diffusivity * log_term;
    r.lifetime = r.K > 0.0 ? d * d / r.K : std::numeric_limits<double>::infinity();
    out = r;
    return MP_STATUS_OK;
}
