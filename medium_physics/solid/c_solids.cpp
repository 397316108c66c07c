#include "solid/c_solids.h"

#include <cmath>

#include "file_io/c_file_io/c_file_io.h"
#include "factory/mp_log.h"
#include "factory/query_interface.h"

namespace {
constexpr solid_axes kIdentityAxes = {1, 0, 0, 0, 1, 0, 0, 0, 1};

// Reads the three components and the flag.
bool read_components(const C_substance_base& s, std::array<c_1d_param, 3>& components, std::int32_t& flag,
                     I_solid_description& d, IHostMessageSink* sink) {
    for (std::int32_t i = 0; i < 3; ++i) {
        host_property p;
        d.get_component(i, p);
        if (!param_from_host(p, components[static_cast<std::size_t>(i)], s.name(), "conductivity", sink)) return false;
    }
    flag = d.get_anisotropy_flag();
    return true;
}
}  // namespace

// ---- the conductive part ------------------------------------------------------------------------

void C_conductive_medium::classify(std::int32_t flag, const solid_axes& axes) noexcept {
    m_axes = axes;
    m_anisotropy_type = flag == 0 ? 0 : 1;
    for (const double a : axes) {
        // neither 0 nor +-1: the axes are rotated
        if (std::fabs(a) > kAxisTolerance && std::fabs(std::fabs(a) - 1.0) > kAxisTolerance) m_anisotropy_type = 2;
    }
    m_component_count = m_anisotropy_type == 0 ? 1 : (m_anisotropy_type == 1 ? 3 : 2);
}

std::int32_t C_conductive_medium::get_diffusion_coefficient(double T, std::int32_t* count, double* values,
                                                            double* axes) const noexcept {
    *count = m_component_count;
    for (std::int32_t i = 0; i < m_component_count; ++i) values[i] = m_components[static_cast<std::size_t>(i)].value(T);
    for (std::size_t i = 0; i < 9; ++i) axes[i] = m_axes[i];
    return m_anisotropy_type;
}

void C_conductive_medium::write_conductive(C_file_io& stream) const {
    stream.put<std::uint8_t>(0);
    write_base(stream);
    stream.put(m_anisotropy_type);
    for (const auto& c : m_components) c.write(stream);
    stream.put(m_component_count);
    stream.write(m_axes.data(), 9);
}

bool C_conductive_medium::read_conductive(C_file_io& stream) {
    if (stream.get<std::uint8_t>() != 0) return false;
    if (!read_base(stream)) return false;
    m_anisotropy_type = stream.get<std::int32_t>();
    for (auto& c : m_components)
        if (!c.read(stream)) return false;
    m_component_count = stream.get<std::int32_t>();
    stream.read(m_axes.data(), 9);
    // get_diffusion_coefficient writes this many values: a damaged record must not say more than 3.
    return m_anisotropy_type >= 0 && m_anisotropy_type <= 2 && m_component_count >= 0 && m_component_count <= 3;
}

// ---- the heat-conducting solid ------------------------------------------------------------------

bool C_heatconducting_solid::init(I_solid_description& d, const std::shared_ptr<IHostDescription>& keep,
                                  const solid_axes& axes, IHostMessageSink* sink) {
    // Read in the order identifier, name, heat values, heat parameter, components, flag.
    if (!init_from_description(d, sink)) return false;
    m_heat_value_a = d.get_heat_value_a();
    m_heat_value_b = d.get_heat_value_b();
    host_property p;
    d.get_heat_parameter(p);
    if (!param_from_host(p, m_heat_parameter, name(), "heat parameter", sink)) return false;
    std::int32_t flag = 0;
    if (!read_components(*this, m_components, flag, d, sink)) return false;
    classify(flag, axes);
    m_description = keep;
    return true;
}

bool C_heatconducting_solid::init(IHostDescription& d, const std::shared_ptr<IHostDescription>& keep,
                                  const host_shared_array<double>& values, IHostMessageSink* sink) {
    if (!init_from_description(d, sink)) return false;
    const std::int32_t n = values.size();
    if (n != 7 && n != 16) {
        MP_LOG(sink, mp::line_kind::error,
               "ERROR: MediumPhysics: %s(%d): %s: a solid from values needs 7 or 16 of them, not %d\n",
               name().to_utf8().c_str(), static_cast<int>(n));
        return false;
    }
    m_heat_value_a = values[0];
    m_heat_value_b = values[1];
    m_heat_parameter.set_constant(values[2]);
    for (std::size_t i = 0; i < 3; ++i) m_components[i].set_constant(values[static_cast<std::int32_t>(3 + i)]);
    solid_axes axes = kIdentityAxes;
    if (n == 16)
        for (std::size_t i = 0; i < 9; ++i) axes[i] = values[static_cast<std::int32_t>(7 + i)];
    classify(values[6] == 0.0 ? 0 : 1, axes);
    m_description = keep;
    return true;
}

std::int32_t C_heatconducting_solid::query_interface(std::any& requested) {
    if (auto* p = std::any_cast<std::shared_ptr<IHostDescription>>(&requested)) {
        if (!m_description) return MP_STATUS_UNSUPPORTED;
        *p = m_description;
        return MP_STATUS_OK;
    }
    return mp::hand_out<IHostUnknown, MED_PHYSICS::I_diffusion_coefficient, MED_PHYSICS::I_heatconducting_solid>(
        weak_from_this().lock(), requested);
}

void C_heatconducting_solid::write(C_file_io& stream) const {
    stream.put<std::uint8_t>(0);
    write_conductive(stream);
    stream.put(m_heat_value_a);
    stream.put(m_heat_value_b);
    m_heat_parameter.write(stream);
}

bool C_heatconducting_solid::read(C_file_io& stream) {
    if (stream.get<std::uint8_t>() != 0) return false;
    if (!read_conductive(stream)) return false;
    m_heat_value_a = stream.get<double>();
    m_heat_value_b = stream.get<double>();
    return m_heat_parameter.read(stream);
}

// ---- the electro-conducting solid ---------------------------------------------------------------

bool C_electroconducting_solid::init(I_solid_description& d, const std::shared_ptr<IHostDescription>& keep,
                                     const solid_axes& axes, IHostMessageSink* sink) {
    std::int32_t flag = 0;
    if (!init_from_description(d, sink) || !read_components(*this, m_components, flag, d, sink)) return false;
    classify(flag, axes);
    m_description = keep;
    return true;
}

std::int32_t C_electroconducting_solid::query_interface(std::any& requested) {
    if (auto* p = std::any_cast<std::shared_ptr<IHostDescription>>(&requested)) {
        if (!m_description) return MP_STATUS_UNSUPPORTED;
        *p = m_description;
        return MP_STATUS_OK;
    }
    return mp::hand_out<IHostUnknown, MED_PHYSICS::I_diffusion_coefficient, MED_PHYSICS::I_electroconducting_solid>(
        weak_from_this().lock(), requested);
}

void C_electroconducting_solid::write(C_file_io& stream) const {
    stream.put<std::uint8_t>(0);
    write_conductive(stream);
}

bool C_electroconducting_solid::read(C_file_io& stream) {
    if (stream.get<std::uint8_t>() != 0) return false;
    return read_conductive(stream);
}
