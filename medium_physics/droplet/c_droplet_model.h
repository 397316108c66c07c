// C_droplet_model: the object that the factory's CreateDropletModel builds around the host's droplet
// data (IHostDropletData). It hands out the data themselves and I_droplet_model, the evaporation of
// one droplet in the quasi-steady film theory described in medium_physics/droplet.h. It reads the
// host's data once, when it is built (classes, liquids, media), and changes nothing afterwards, so
// one model serves many solver threads.
#pragma once

#include <any>
#include <cstdint>
#include <memory>
#include <vector>

#include "medium_physics/droplet.h"

class C_droplet_model final : public IHostUnknown,
                              public I_droplet_model,
                              public std::enable_shared_from_this<C_droplet_model> {
public:
    // Latent heat exponent of Watson's law.
    static constexpr double kWatsonExponent = 0.38;
    // Temperature exponent of the diffusivity (Fuller, Schettler and Giddings 1966).
    static constexpr double kDiffusivityExponent = 1.75;

    explicit C_droplet_model(std::shared_ptr<IHostDropletData> data);

    std::int32_t query_interface(std::any& requested) override;
    std::int32_t get_droplet_class_count() const noexcept override { return m_count; }
    std::int32_t get_evaporation(std::int32_t cls, double p, double T_gas, const double* Y_gas, double Ts, double d,
                                 droplet_evaporation& out) const noexcept override;
    double get_saturation_pressure(std::int32_t cls, double T) const noexcept override;

    // Watson's law for a liquid (constant without a critical temperature).
    static double latent_heat(const droplet_liquid& liquid, double T) noexcept;
    // Antoine, or Clausius-Clapeyron through the boiling point (see droplet.h).
    static double saturation_pressure(const droplet_liquid& liquid, double T) noexcept;

private:
    struct droplet_class {
        bool has_data = false;
        droplet_liquid liquid;
        std::shared_ptr<I_solver__fluid_thermodynamics_common> liquid_medium;
        std::int32_t vapour = -1;
    };
    std::shared_ptr<IHostDropletData> m_data;
    std::shared_ptr<I_solver__fluid_thermodynamics_common> m_gas;
    std::int32_t m_count = 0;
    std::vector<droplet_class> m_classes;
};
