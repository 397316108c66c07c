#include "liquid/c_comp_liquid.h"

#include <cmath>
#include <cstring>

#include "framework/c_thermodynamic_base.h"
#include "file_io/c_file_io/c_file_io.h"
#include "factory/mp_log.h"

namespace {

constexpr double kR = thermo::kUniversalGasConstant;

// The value at T and the slope of the segment that holds T (the first segment at the first point,
// the last at the last point); the slope is 0 outside the table, where the value is held.
void value_and_slope(const c_1d_param& p, double T, double& v, double& dv) noexcept {
    v = p.value(T);
    dv = 0.0;
    const std::int32_t n = p.size();
    if (n < 2 || p.temperatures() == nullptr) return;
    const double* t = p.temperatures();
    const double* y = p.values();
    if (!(T >= t[0] && T <= t[n - 1])) return;
    const std::int32_t i = T >= t[n - 1] ? n - 2 : mp::interval_search(T, t, n);
    dv = (y[i + 1] - y[i]) / (t[i + 1] - t[i]);
}

}  // namespace

bool C_compressible_liquid_substance::init(I_compressible_liquid_description& d, IHostMessageSink* sink) {
    if (!init_from_description(d, sink)) return false;
    const auto take = [&](void (I_compressible_liquid_description::*get)(host_property&), c_1d_param& into,
                          const char* what) {
        host_property p;
        (d.*get)(p);
        return param_from_host(p, into, name(), what, sink);
    };
    // The four liquid properties come through the liquid description's operations.
    if (!read_liquid_properties(d, name(), sink, m_cp, m_viscosity, m_conductivity, m_density)) return false;
    if (!take(&I_compressible_liquid_description::get_tait_b, m_tait_b, "Tait B") ||
        !take(&I_compressible_liquid_description::get_tait_c, m_tait_c, "Tait C") ||
        !take(&I_compressible_liquid_description::get_tait_n, m_tait_n, "Tait N") ||
        !take(&I_compressible_liquid_description::get_viscosity_pressure_coefficient, m_viscosity_pressure_coefficient,
              "viscosity pressure coefficient"))
        return false;
    m_density_reference_pressure = d.get_density_reference_pressure();
    m_density_law = d.get_density_law();
    m_scalar_a = d.get_scalar_a();
    m_reference_temperature = d.get_reference_temperature();
    m_reference_pressure = d.get_reference_pressure();
    return true;
}

double C_compressible_liquid_substance::density(double p, double T) const noexcept {
    const double rho0 = m_density.value(T);
    const double B = m_tait_b.value(T);
    const double ratio = (B + p) / (B + m_density_reference_pressure);
    if (m_density_law == 0) return rho0 / (1.0 - m_tait_c.value(T) * std::log(ratio));
    if (m_density_law == 1) return rho0 * std::pow(ratio, 1.0 / m_tait_n.value(T));
    return rho0;
}

double C_compressible_liquid_substance::drho_dp(double p, double T) const noexcept {
    const double B = m_tait_b.value(T);
    const double x = B + p;
    if (m_density_law == 0) {
        const double C = m_tait_c.value(T);
        const double s = 1.0 - C * std::log(x / (B + m_density_reference_pressure));
        return m_density.value(T) * C / (s * s * x);
    }
    if (m_density_law == 1) return density(p, T) / (m_tait_n.value(T) * x);
    return 0.0;
}

C_compressible_liquid_substance::law_state C_compressible_liquid_substance::state_at(double T) const noexcept {
    law_state s{};
    value_and_slope(m_density, T, s.rho0, s.drho0);
    value_and_slope(m_tait_b, T, s.B, s.dB);
    value_and_slope(m_tait_c, T, s.C, s.dC);
    value_and_slope(m_tait_n, T, s.N, s.dN);
    return s;
}

double C_compressible_liquid_substance::pressure_part(double p, double T) const noexcept {
    return pressure_part(p, T, state_at(T));
}

double C_compressible_liquid_substance::pressure_part(double p, double T, const law_state& st) const noexcept {
    if (m_density_law != 0 && m_density_law != 1) return 0.0;
    const double u = 1.0 / st.rho0;
    const double du = -st.drho0 / (st.rho0 * st.rho0);
    const double B = st.B, dB = st.dB;
    double x = p + B;
    if (!(x > 0.0)) x = kPressureFloor;
    const double y = m_density_reference_pressure + B;
    const double L = std::log(x / y);
    const double dp = p - m_density_reference_pressure;
    if (m_density_law == 0) {
        const double C = st.C, dC = st.dC;
        return ((C + 1.0) * dp - C * x * L) * (u - T * du) - u * T * C * dB * (dp / y - L) + (L * x - dp) * u * T * dC;
    }
    const double N = st.N, dN = st.dN;
    const double m = 1.0 / N;
    const double r = y / x;
    const double s = std::pow(r, m - 1.0);
    const double q = 1.0 / (m - 1.0);
    return (y / (1.0 - m)) * (s - 1.0) * (u - T * du) -
           (std::pow(r, m) * ((m / (1.0 - m)) * x / y - 1.0) - (2.0 * m - 1.0) / (1.0 - m)) * dB * T * u +
           (dN / (N * N)) * T * u / (m - 1.0) * y * ((q + L) * s - q);
}

double C_compressible_liquid_substance::isobaric_cp(double p, double T) const noexcept {
    const law_state here = state_at(T);
    const double up = pressure_part(p, T + kCpStep, here.moved(kCpStep));
    const double down = pressure_part(p, T - kCpStep, here.moved(-kCpStep));
    return m_cp.value(T) + (up - down) / (2.0 * kCpStep);
}

double C_compressible_liquid_substance::get_cp(double, double T) const noexcept { return m_cp.value(T); }

double C_compressible_liquid_substance::get_viscosity(double p, double T) const noexcept {
    return m_viscosity.value(T) * std::exp((p - kViscosityReferencePressure) * m_viscosity_pressure_coefficient.value(T));
}

void C_compressible_liquid_substance::get_id(std::uint8_t* out) const noexcept {
    std::memcpy(out, identity().bytes.data(), 16);
}

double C_compressible_liquid_substance::get_mixture_sound_speed(double T, const double* Y,
                                                                const gas_components& G) const noexcept {
    return mixture_sound_speed(T, Y, G);
}

double C_compressible_liquid_substance::get_mixture_pressure(double rho, double T, const double* Y,
                                                             const gas_components& G) const noexcept {
    const double rho0 = m_density.value(T);
    const double B = m_tait_b.value(T);
    const double A = rho * kR * T * dissolved_gas_ratio(Y, G);
    const double scale = B + m_density_reference_pressure;
    if (m_density_law == 0) return std::exp((1.0 - rho0 / (rho * Y[0])) / m_tait_c.value(T)) * scale + A - B;
    if (m_density_law == 1) return std::pow(rho * Y[0] / rho0, m_tait_n.value(T)) * scale + A - B;
    return kNoMixturePressure;
}

double C_compressible_liquid_substance::get_liquid_pressure_term(double q, double T, const double* Y,
                                                                 const gas_components& G) const noexcept {
    return liquid_pressure_term(q, T, Y, G);
}

double C_compressible_liquid_substance::get_liquid_volume(double p, double T) const noexcept {
    const double rho0 = m_density.value(T);
    const double B = m_tait_b.value(T);
    const double ratio = (B + p) / (B + m_density_reference_pressure);
    if (m_density_law == 0) return (1.0 - m_tait_c.value(T) * std::log(ratio)) / rho0;
    if (m_density_law == 1) return 1.0 / (rho0 * std::pow(ratio, 1.0 / m_tait_n.value(T)));
    return 0.0;
}

void C_compressible_liquid_substance::write(C_file_io& stream) const {
    stream.put<std::uint8_t>(0);
    write_base(stream);
    for (const c_1d_param* p : {&m_cp, &m_viscosity, &m_conductivity, &m_density, &m_tait_b, &m_tait_c, &m_tait_n,
                                &m_viscosity_pressure_coefficient})
        p->write(stream);
    stream.put(m_density_reference_pressure);
    stream.put(m_density_law);
    stream.put(m_scalar_a);
    stream.put(m_reference_temperature);
    stream.put(m_reference_pressure);
}

bool C_compressible_liquid_substance::read(C_file_io& stream) {
    if (stream.get<std::uint8_t>() != 0) return false;
    if (!read_base(stream)) return false;
    for (c_1d_param* p : {&m_cp, &m_viscosity, &m_conductivity, &m_density, &m_tait_b, &m_tait_c, &m_tait_n,
                          &m_viscosity_pressure_coefficient})
        if (!p->read(stream)) return false;
    if (!m_cp.has_integral()) m_cp.prepare_integral();  // h is cp's integral (a record may lack it)
    m_density_reference_pressure = stream.get<double>();
    m_density_law = stream.get<std::int32_t>();
    m_scalar_a = stream.get<double>();
    m_reference_temperature = stream.get<double>();
    m_reference_pressure = stream.get<double>();
    return true;
}
