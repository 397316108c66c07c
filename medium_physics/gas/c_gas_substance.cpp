#include "gas/c_gas_substance.h"

#include <cmath>
#include <initializer_list>

#include "factory/mp_log.h"
#include "framework/c_thermodynamic_base.h"
#include "file_io/c_file_io/c_file_io.h"

namespace {

// Identity, name, the first parameter, viscosity, conductivity, molar mass and gamma: what both
// gas components read from their description.
bool read_gas_common(C_substance_base& s, I_gas_description& d, IHostMessageSink* sink, c_1d_param& first,
                     c_1d_param& mu, c_1d_param& lambda, double& M, double& gamma) {
    if (!s.init_from_description(d, sink)) return false;
    host_property p;
    d.get_first_parameter(p);
    if (!param_from_host(p, first, s.name(), "first parameter", sink)) return false;
    p = host_property{};
    d.get_viscosity(p);
    if (!param_from_host(p, mu, s.name(), "viscosity", sink)) return false;
    p = host_property{};
    d.get_conductivity(p);
    if (!param_from_host(p, lambda, s.name(), "conductivity", sink)) return false;
    M = d.get_molar_mass();
    gamma = d.get_gamma();
    if (!(M > 0.0) || !std::isfinite(M)) {
        MP_LOG(sink, mp::line_kind::error, "ERROR: MediumPhysics: %s(%d): %s: the molar mass must be positive\n",
               s.name().to_utf8().c_str());
        return false;
    }
    return true;
}

}  // namespace

bool C_ideal_gas_substance::init(I_gas_description& description, IHostMessageSink* sink) {
    if (!read_gas_common(*this, description, sink, m_first, m_mu, m_lambda, m_M, m_gamma)) return false;
    host_property p;
    description.get_cp(p);
    if (!param_from_host(p, m_cp, name(), "cp", sink)) return false;
    m_cp.prepare_integral();
    return true;
}

void C_ideal_gas_substance::write(C_file_io& stream) const {
    stream.put<std::uint8_t>(0);
    write_base(stream);
    stream.put(m_M);
    stream.put(m_gamma);
    m_cp.write(stream);
    m_mu.write(stream);
    m_lambda.write(stream);
}

bool C_ideal_gas_substance::read(C_file_io& stream) {
    if (stream.get<std::uint8_t>() != 0) return false;
    if (!read_base(stream)) return false;
    m_M = stream.get<double>();
    m_gamma = stream.get<double>();
    if (!m_cp.read(stream) || !m_mu.read(stream) || !m_lambda.read(stream)) return false;
    // A record may carry the cp table without its integral: h comes from the integral, so it is
    // prepared here and the substance answers what a fresh one answers.
    if (!m_cp.has_integral()) m_cp.prepare_integral();
    return true;
}

bool C_perfect_gas_substance::init(I_gas_description& description, IHostMessageSink* sink) {
    if (!read_gas_common(*this, description, sink, m_first, m_mu, m_lambda, m_M, m_gamma)) return false;
    host_property p;
    description.get_cp(p);
    m_cp = p.constant;
    // The perfect gas uses the constant of cp; a table is not read. gamma = cp / (cp - R) needs cp
    // above the gas constant.
    const double R = thermo::kUniversalGasConstant / m_M;
    if (!(m_cp > R) || !std::isfinite(m_cp)) {
        MP_LOG(sink, mp::line_kind::error,
               "ERROR: MediumPhysics: %s(%d): %s: a perfect gas needs a constant cp above its gas constant "
               "R = %g J/(kg K); its constant is %g%s\n",
               name().to_utf8().c_str(), R, m_cp, p.T.size() > 0 ? " (the cp table is not used)" : "");
        return false;
    }
    return true;
}

void C_perfect_gas_substance::write(C_file_io& stream) const {
    stream.put<std::uint8_t>(0);
    write_base(stream);
    stream.put(m_M);
    stream.put(m_gamma);
    stream.put(m_cp);
    m_mu.write(stream);
    m_lambda.write(stream);
}

bool C_perfect_gas_substance::read(C_file_io& stream) {
    if (stream.get<std::uint8_t>() != 0) return false;
    if (!read_base(stream)) return false;
    m_M = stream.get<double>();
    m_gamma = stream.get<double>();
    m_cp = stream.get<double>();
    return m_mu.read(stream) && m_lambda.read(stream);
}

namespace {
const c_1d_param* first_table(std::initializer_list<const c_1d_param*> params) noexcept {
    for (const auto* p : params)
        if (p->size() > 0) return p;
    return nullptr;
}
bool all_on_grid(std::initializer_list<const c_1d_param*> params, const c_1d_param& grid) noexcept {
    for (const auto* p : params)
        if (p->size() > 0 && !p->same_grid(grid)) return false;
    return true;
}
}  // namespace

const c_1d_param* C_ideal_gas_substance::some_table() const noexcept { return first_table({&m_cp, &m_mu, &m_lambda}); }
bool C_ideal_gas_substance::on_grid(const c_1d_param& grid) const noexcept {
    return all_on_grid({&m_cp, &m_mu, &m_lambda}, grid);
}
const c_1d_param* C_perfect_gas_substance::some_table() const noexcept { return first_table({&m_mu, &m_lambda}); }
bool C_perfect_gas_substance::on_grid(const c_1d_param& grid) const noexcept {
    return all_on_grid({&m_mu, &m_lambda}, grid);
}
