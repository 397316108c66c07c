// Conducting solids for conjugate heat transfer and electric current. A solid's conductivity has
// up to three principal values, each a function of temperature, along axes the solver gives:
//   type 0 isotropic (one value), type 1 orthotropic along the axes (three values), type 2
//   anisotropic in rotated axes (two values are evaluated, as the solver expects).
// The type follows the description's anisotropy flag (0 gives 0, anything else 1), and becomes 2
// when any axes entry is neither 0 nor +-1 within single-precision epsilon.
// A heat-conducting solid adds density [kg/m3] (heat value a), its highest temperature of
// validity [K] (heat value b) and specific heat c(T) [J/(kg K)] (heat parameter); an
// electro-conducting solid has principal electrical conductivities [S/m]. Both are immutable
// once built and are cached by identifier like substances.
#pragma once

#include <array>
#include <memory>

#include "tables/c_1d_param.h"
#include "framework/c_substance.h"
#include "medium_physics/i_medium_physics.h"

class C_conductive_medium : public virtual MED_PHYSICS::I_diffusion_coefficient, public C_substance_base {
public:
    // Axis entries closer than this to 0 or +-1 keep the solid's type (single-precision epsilon).
    static constexpr double kAxisTolerance = 1.1920928955078125e-07;

    std::int32_t get_diffusion_coefficient(double T, std::int32_t* count, double* values,
                                           double* axes) const noexcept override;

    std::int32_t anisotropy_type() const noexcept { return m_anisotropy_type; }
    std::int32_t component_count() const noexcept { return m_component_count; }
    const c_1d_param& component(std::size_t i) const noexcept { return m_components[i]; }

protected:
    C_conductive_medium() = default;
    ~C_conductive_medium() override = default;
    // Decides the type and the component count from the flag and the axes.
    void classify(std::int32_t flag, const solid_axes& axes) noexcept;
    // Byte 0; the common record; type; the three components; the count; the nine axes.
    void write_conductive(C_file_io& stream) const;
    bool read_conductive(C_file_io& stream);

    std::int32_t m_anisotropy_type = 0;
    std::array<c_1d_param, 3> m_components;
    std::int32_t m_component_count = 1;
    solid_axes m_axes{};
};

class C_heatconducting_solid final : public MED_PHYSICS::I_heatconducting_solid,
                                     public C_conductive_medium,
                                     public std::enable_shared_from_this<C_heatconducting_solid> {
public:
    C_heatconducting_solid() = default;
    ~C_heatconducting_solid() override = default;
    // From the solid description (identifier, name, heat values, heat parameter, the three
    // components, the flag) and the axes. False, with a log line, when the description is unusable.
    bool init(I_solid_description& description, const std::shared_ptr<IHostDescription>& keep,
              const solid_axes& axes, IHostMessageSink* sink);
    // From the description's identifier and name and an array of doubles:
    //   [0] heat value a, [1] heat value b, [2] heat parameter (a constant),
    //   [3], [4], [5] the principal conductivities (constants), [6] the anisotropy flag,
    //   [7..15] the nine axes in row order (optional: without them the axes are the identity).
    // False, with a log line, for another count than 7 or 16.
    bool init(IHostDescription& description, const std::shared_ptr<IHostDescription>& keep,
              const host_shared_array<double>& values, IHostMessageSink* sink);

    std::int32_t query_interface(std::any& requested) override;
    std::int32_t get_diffusion_coefficient(double T, std::int32_t* count, double* values,
                                           double* axes) const noexcept override {
        return C_conductive_medium::get_diffusion_coefficient(T, count, values, axes);
    }
    double get_heat_value_a() const noexcept override { return m_heat_value_a; }
    double get_heat_value_b() const noexcept override { return m_heat_value_b; }
    double get_heat_parameter(double T) const noexcept override { return m_heat_parameter.value(T); }

    // Byte 0; the conductive record; heat value a; heat value b; the heat parameter.
    void write(C_file_io& stream) const;
    bool read(C_file_io& stream);

private:
    double m_heat_value_a = 0.0;
    double m_heat_value_b = 0.0;
    c_1d_param m_heat_parameter;
    std::shared_ptr<IHostDescription> m_description;
};

class C_electroconducting_solid final : public MED_PHYSICS::I_electroconducting_solid,
                                        public C_conductive_medium,
                                        public std::enable_shared_from_this<C_electroconducting_solid> {
public:
    C_electroconducting_solid() = default;
    ~C_electroconducting_solid() override = default;
    bool init(I_solid_description& description, const std::shared_ptr<IHostDescription>& keep,
              const solid_axes& axes, IHostMessageSink* sink);

    std::int32_t query_interface(std::any& requested) override;
    std::int32_t get_diffusion_coefficient(double T, std::int32_t* count, double* values,
                                           double* axes) const noexcept override {
        return C_conductive_medium::get_diffusion_coefficient(T, count, values, axes);
    }

    // Byte 0; the conductive record.
    void write(C_file_io& stream) const;
    bool read(C_file_io& stream);

private:
    std::shared_ptr<IHostDescription> m_description;
};
