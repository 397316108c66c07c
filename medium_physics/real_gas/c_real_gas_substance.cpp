#include "real_gas/c_real_gas_substance.h"

#include <algorithm>
#include <cmath>

#include "real_gas/crgpropertygenerator.h"
#include "file_io/c_file_io/c_file_io.h"
#include "factory/mp_log.h"
#include "medium_physics/real_gas_state.h"

namespace {

// A pressure this close above or below psat is taken as on the liquid or the vapour side.
constexpr double kSideOffset = 1e-6;

bool finite_positive(double v) { return std::isfinite(v) && v > 0.0; }

}  // namespace

bool configure_rg_generator(const rg_substance_parameters& q, const CHostString& name, CRGPropertyGenerator& generator,
                            IHostMessageSink* sink) {
    const std::string who = name.to_utf8();
    const bool usable = finite_positive(q.Tc) && finite_positive(q.Pc) && finite_positive(q.M) && q.Zc > 0.0 &&
                        q.Zc <= 1.0 / 3.0 + 1e-12 && std::isfinite(q.omega) && finite_positive(q.Tmin) &&
                        q.Tmax > q.Tmin && std::isfinite(q.Tmax) && finite_positive(q.pmin) && q.pmax > q.pmin &&
                        std::isfinite(q.pmax) && std::isfinite(q.Tfloor) && q.Tfloor >= 0.0;
    if (!usable) {
        MP_LOG(sink, mp::line_kind::error,
               "ERROR: MediumPhysics: %s(%d): %s: real-gas data not usable (critical data, molar mass, table "
               "limits Tmin < Tmax, 0 < pmin < pmax)\n",
               who.c_str());
        return false;
    }
    if (q.generator_kind != 0) {
        MP_LOG(sink, mp::line_kind::error,
               "ERROR: MediumPhysics: %s(%d): %s: property generator kind %d is not available\n", who.c_str(),
               static_cast<int>(q.generator_kind));
        return false;
    }
    generator.set_substance(q.Tc, q.Pc, q.M, q.Zc, q.omega, q.model);
    if (q.ideal_gas_cp.size() > 0 || q.ideal_gas_cp.constant() > 0.0) generator.set_ideal_gas_cp(q.ideal_gas_cp);
    return true;
}

bool configure_rg_generator(I_real_gas_description& d, const CHostString& name, CRGPropertyGenerator& generator,
                            rg_substance_parameters& q, IHostMessageSink* sink) {
    q = rg_substance_parameters{};
    CHostString source;
    d.get_data_source(source);
    q.source = source.to_utf8();
    q.Tc = d.get_critical_temperature();
    q.Pc = d.get_critical_pressure();
    q.Zc = d.get_critical_compressibility();
    q.omega = d.get_acentric_factor();
    q.M = d.get_molar_mass();
    host_property cp;
    d.get_ideal_gas_cp(cp);
    if (!param_from_host(cp, q.ideal_gas_cp, name, "ideal-gas heat capacity", sink)) return false;
    q.ideal_gas_cp.prepare_integral();
    q.model = d.get_model();
    const std::int32_t kind = d.get_generator_kind();
    q.generator_kind = kind >= 0 && kind < 256 ? static_cast<std::uint8_t>(kind) : std::uint8_t{255};
    d.get_table_temperatures(q.Tmin, q.Tmax);
    d.get_table_pressures(q.pmin, q.pmax);
    q.extension = d.get_low_temperature_extension() != 0;
    q.Tfloor = d.get_floor_temperature();
    return configure_rg_generator(q, name, generator, sink);
}

bool C_real_gas_substance::init(const host_guid& identity, const CHostString& name, const rg_substance_parameters& q,
                                IHostMessageSink* sink) {
    C_substance_base::init(identity, name, sink);
    auto generator = std::make_shared<CRGPropertyGenerator>();
    if (!configure_rg_generator(q, name, *generator, sink)) return false;
    return adopt(std::move(generator), q, sink);
}

bool C_real_gas_substance::init_from_description(I_real_gas_description& d, IHostMessageSink* sink) {
    if (!C_substance_base::init_from_description(d, sink)) return false;
    auto generator = std::make_shared<CRGPropertyGenerator>();
    rg_substance_parameters q;
    if (!configure_rg_generator(d, name(), *generator, q, sink)) return false;
    return adopt(std::move(generator), q, sink);
}

bool C_real_gas_substance::adopt(std::shared_ptr<CRGPropertyGenerator> generator, const rg_substance_parameters& q,
                                 IHostMessageSink* sink) {
    const std::string who = name().to_utf8();
    if (!generator->has_ideal_gas_cp()) {
        MP_LOG(sink, mp::line_kind::error,
               "ERROR: MediumPhysics: %s(%d): %s: no ideal-gas heat capacity: the property table cannot be "
               "made\n",
               who.c_str());
        return false;
    }
    m_generator = std::move(generator);
    m_source = CHostString::from_utf8(q.source);
    m_model = q.model;
    m_generator_kind = q.generator_kind;
    m_constants[kPmin] = q.pmin;
    m_constants[kPmax] = q.pmax;
    m_constants[kMolarMass] = q.M;
    m_constants[kTmax] = q.Tmax;
    m_constants[kTc] = q.Tc;
    m_constants[kTmin] = q.Tmin;
    m_constants[kPropertyIndexMax] = 1.0;
    m_constants[kPc] = q.Pc;
    m_constants[kZc] = q.Zc;
    m_extension_on = q.extension ? 1 : 0;
    m_Tfloor = q.Tfloor > 0.0 && q.Tfloor < q.Tmin ? q.Tfloor : 0.5 * q.Tmin;
    if (!build_table()) {
        MP_LOG(sink, mp::line_kind::error, "ERROR: MediumPhysics: %s(%d): %s: the property table could not be made\n",
               who.c_str());
        return false;
    }
    derive_extension();
    prepare_media_data();
    return true;
}

bool C_real_gas_substance::build_table() {
    const double x0 = std::log(m_constants[kPmin]);
    const double x1 = std::log(m_constants[kPmax]);
    const double y0 = m_constants[kTmin];
    const double y1 = m_constants[kTmax];
    std::unique_ptr<C_2d_RG_property> table;
    if (m_mode == 2) table = C_2d_RG_property_adaptable::around_saturation(m_generator, x0, x1, y0, y1);
    else table = std::make_unique<C_2d_RG_property_regular>(m_generator, x0, x1, y0, y1);
    if (!table->fill_saturation_line(kSaturationNodes)) return false;
    m_table = std::move(table);
    return true;
}

void C_real_gas_substance::derive_extension() {
    const C_2d_RG_property& t = *m_table;
    const double Tmin = m_constants[kTmin];
    const double R = kGasConstant / m_constants[kMolarMass];
    m_dTramp = 0.25 * (Tmin - m_Tfloor);
    m_T1 = Tmin - m_dTramp;
    if (!t.has_saturation_line()) {
        // nothing to continue below Tmin: the extension is off and its constants, but R, are 0
        m_extension_on = 0;
        std::fill(m_extension, m_extension + kExtensionConstants, 0.0);
        m_extension[kR] = R;
        return;
    }
    const double L0 = t.saturation(C_2d_RG_property::kHVapour, Tmin) - t.saturation(C_2d_RG_property::kHLiquid, Tmin);
    const double p0 = std::exp(t.saturation(C_2d_RG_property::kLnPsat, Tmin));
    const double p1 = p0 * std::exp((1.0 / Tmin - 1.0 / m_T1) * L0 / R);
    const double dL_dT = t.saturation_slope(C_2d_RG_property::kHVapour, Tmin) -
                         t.saturation_slope(C_2d_RG_property::kHLiquid, Tmin);
    double L1 = L0 - dL_dT * (Tmin - (m_T1 - m_dTramp));
    L1 = std::clamp(L1, L0, 2.0 * L0);
    double liquid[Cage::kProperties] = {};
    double vapour[Cage::kProperties] = {};
    m_generator->properties(p0 * (1.0 + kSideOffset), Tmin, liquid);
    m_generator->properties(p0 * (1.0 - kSideOffset), Tmin, vapour);
    m_extension[kR] = R;
    m_extension[kL0] = L0;
    m_extension[kP0] = p0;
    m_extension[kP1] = p1;
    m_extension[kL1] = L1;
    m_extension[kVapourSlope] = t.saturation_slope(C_2d_RG_property::kHVapour, Tmin);
    m_extension[kLiquidSound] = liquid[3];
    m_extension[kVapourSound] = vapour[3];
}

double C_real_gas_substance::clamp_T(double T) const noexcept {
    const double hi = std::min(m_constants[kTmax], m_table->saturation_end());
    return T > m_constants[kTmin] ? (T < hi ? T : hi) : m_constants[kTmin];
}

double C_real_gas_substance::latent_heat_below(double T, double& T_vapour) const noexcept {
    const double L0 = m_extension[kL0];
    const double L1 = m_extension[kL1];
    if (T >= m_T1) {
        T_vapour = T;
        return L0;
    }
    if (T >= m_T1 - m_dTramp) {
        T_vapour = T;
        return L0 + (L1 - L0) * (m_T1 - T) / m_dTramp;
    }
    T_vapour = std::max(m_Tfloor, T);
    return L1;
}

double C_real_gas_substance::get_saturated_vapour_density(double T) const noexcept {
    return m_table->saturation(C_2d_RG_property::kRhoVapour, clamp_T(T));
}

double C_real_gas_substance::get_saturated_vapour_pv(double T) const noexcept {
    if (!m_table->has_saturation_line()) return 0.0;
    if (below(T)) {
        const double Tmin = m_constants[kTmin];
        const double base = m_extension[kP0] / m_table->saturation(C_2d_RG_property::kRhoVapour, Tmin);
        return base * std::max(m_Tfloor, T) / Tmin;
    }
    const double Tc = clamp_T(T);
    return std::exp(m_table->saturation(C_2d_RG_property::kLnPsat, Tc)) /
           m_table->saturation(C_2d_RG_property::kRhoVapour, Tc);
}

double C_real_gas_substance::get_saturated_vapour_enthalpy(double T) const noexcept {
    if (below(T)) {
        const double Tmin = m_constants[kTmin];
        return m_table->saturation(C_2d_RG_property::kHVapour, Tmin) +
               (std::max(m_Tfloor, T) - Tmin) * m_extension[kVapourSlope];
    }
    return m_table->saturation(C_2d_RG_property::kHVapour, clamp_T(T));
}

double C_real_gas_substance::get_saturated_liquid_enthalpy(double T) const noexcept {
    if (below(T)) {
        double T_vapour = T;
        const double L = latent_heat_below(T, T_vapour);
        return get_saturated_vapour_enthalpy(T_vapour) - L;
    }
    return get_saturated_vapour_enthalpy(T) - m_extension[kL0];
}

double C_real_gas_substance::get_saturated_liquid_density(double T) const noexcept {
    if (below(T)) {
        const double rho0 = m_table->saturation(C_2d_RG_property::kRhoLiquid, m_constants[kTmin]);
        if (T >= m_T1) return rho0;
        if (T >= m_T1 - m_dTramp) return rho0 + (1000.0 - rho0) * (m_T1 - T) / m_dTramp;
        return 1000.0;
    }
    return m_table->saturation(C_2d_RG_property::kRhoLiquid, clamp_T(T));
}

double C_real_gas_substance::get_vaporisation_entropy(double T) const noexcept {
    const double Tc = clamp_T(T);
    return m_table->saturation(C_2d_RG_property::kSVapour, Tc) - m_table->saturation(C_2d_RG_property::kSLiquid, Tc);
}

double C_real_gas_substance::get_saturation_pressure(double T) const noexcept {
    if (!m_table->has_saturation_line()) return 0.0;
    if (below(T)) {
        const double R = m_extension[kR];
        if (T >= m_T1) return m_extension[kP0] * std::exp((1.0 / m_constants[kTmin] - 1.0 / T) * m_extension[kL0] / R);
        const double Tp = std::max(m_Tfloor, T);
        return m_extension[kP1] * std::exp((1.0 / m_T1 - 1.0 / Tp) * m_extension[kL1] / R);
    }
    return std::exp(m_table->saturation(C_2d_RG_property::kLnPsat, clamp_T(T)));
}

double C_real_gas_substance::get_vapour_enthalpy_slope(double T) const noexcept {
    if (below(T)) return T > m_Tfloor ? m_extension[kVapourSlope] : 0.0;
    return m_table->saturation_slope(C_2d_RG_property::kHVapour, clamp_T(T));
}

double C_real_gas_substance::get_liquid_enthalpy_slope(double T) const noexcept {
    if (below(T)) {
        const double vapour = get_vapour_enthalpy_slope(T);
        if (T < m_T1 && T >= m_T1 - m_dTramp) return vapour + (m_extension[kL1] - m_extension[kL0]) / m_dTramp;
        return vapour;
    }
    return m_table->saturation_slope(C_2d_RG_property::kHLiquid, clamp_T(T));
}

double C_real_gas_substance::get_property(double T, double p, double k) const noexcept {
    const double kmax = m_constants[kPropertyIndexMax];
    const double kr = std::nearbyint(k);
    const int which = kr >= 1.0 && kmax >= 1.0 ? 1 : 0;  // (a NaN index gives the density)
    p = p > m_constants[kPmin] ? (p < m_constants[kPmax] ? p : m_constants[kPmax]) : m_constants[kPmin];
    if (below(T)) {
        const bool liquid = p >= get_saturation_pressure(T);
        if (which == 1) return liquid ? m_extension[kLiquidSound] : m_extension[kVapourSound];
        if (liquid) return get_saturated_liquid_density(T);
        return p / (m_extension[kR] * std::max(m_Tfloor, T));
    }
    double out[Cage::kProperties];
    const double Tt = T > m_constants[kTmin] ? (T < m_constants[kTmax] ? T : m_constants[kTmax]) : m_constants[kTmin];
    m_table->lookup(std::log(p), Tt, out);
    return which == 1 ? out[3] : out[0];
}

double C_real_gas_substance::get_T1(double) const noexcept { return m_T1; }

void C_real_gas_substance::write(C_file_io& stream) const {
    const std::uint8_t version = 1;
    stream.put(version);
    write_base(stream);
    stream.put(m_flag);
    stream.write_string(m_source);
    stream.write(m_constants, kConstants);
    stream.put(m_model);
    stream.put(m_generator_kind);
    m_generator->write(stream);
    stream.put(m_extension_on);
    stream.put(m_T1);
    stream.put(m_Tfloor);
    stream.write(m_extension, kExtensionConstants);
    stream.put(m_dTramp);
}

bool C_real_gas_substance::read(C_file_io& stream) {
    std::uint8_t version = 0xFF;
    stream.read(&version, 1);
    if (version != 1) return false;
    if (!read_base(stream)) return false;
    stream.read(&m_flag, 1);
    stream.read_string(m_source);
    double constants[kConstants];
    stream.read(constants, kConstants);
    stream.read(&m_model, 1);
    stream.read(&m_generator_kind, 1);
    if (m_generator_kind != 0) return false;
    auto generator = std::make_shared<CRGPropertyGenerator>();
    if (!generator->read(stream)) return false;
    stream.read(&m_extension_on, 1);
    stream.read(&m_T1, 1);
    stream.read(&m_Tfloor, 1);
    stream.read(m_extension, kExtensionConstants);
    stream.read(&m_dTramp, 1);
    std::copy(constants, constants + kConstants, m_constants);
    const bool usable = finite_positive(constants[kPmin]) && constants[kPmax] > constants[kPmin] &&
                        std::isfinite(constants[kPmax]) && finite_positive(constants[kTmin]) &&
                        constants[kTmax] > constants[kTmin] && std::isfinite(constants[kTmax]) &&
                        finite_positive(constants[kMolarMass]) && finite_positive(generator->critical_temperature()) &&
                        (m_extension_on == 0 || (m_dTramp > 0.0 && std::isfinite(m_dTramp)));
    if (!usable) return false;
    m_generator = generator;
    // an extension needs the saturation line it continues
    if (!build_table() || (m_extension_on != 0 && !m_table->has_saturation_line())) return false;
    prepare_media_data();
    return true;
}

// ---- what the real-gas media ask ---------------------------------------------------------------

void C_real_gas_substance::prepare_media_data() {
    const auto& g = static_cast<const CRGPropertyGenerator&>(*m_generator);
    m_cp0 = g.ideal_gas_cp();
    if (m_cp0.size() > 0 && !m_cp0.has_integral()) m_cp0.prepare_integral();
    const double M = m_constants[kMolarMass];
    const double Tc = m_constants[kTc], pc = m_constants[kPc], Zc = m_constants[kZc];
    // the critical molar volume of the critical data: Zc R Tc/pc
    mp::chung_inputs in;
    in.Tc = Tc;
    in.Vc = Zc * kGasConstant * Tc / pc;
    in.omega = g.record().omega;
    in.M = M;
    m_transport.configure(in);
    m_rho_c = pc * M / (Zc * kGasConstant * Tc);
    m_p_end = m_table->has_saturation_line()
                  ? std::exp(m_table->saturation(C_2d_RG_property::kLnPsat, m_table->saturation_end()))
                  : 0.0;
}

void C_real_gas_substance::transport(double T, double rho, double& mu, double& lambda) const noexcept {
    const double R = kGasConstant / m_constants[kMolarMass];
    const double cv0 = (m_cp0.value(T) - R) * m_constants[kMolarMass];  // J/(mol K)
    m_transport.evaluate(T, rho, cv0, &mu, &lambda);
}

void C_real_gas_substance::state_at(double p, double T, rg_side side, rg_substance_state& out,
                                    bool with_transport) const noexcept {
    out = rg_substance_state{};
    const double Tmin = m_constants[kTmin];
    if (below(T)) {
        out.status |= MP_RG_BELOW_TABLE;
        if (T < m_Tfloor) out.status |= MP_RG_TEMPERATURE_OUTSIDE;
        const bool liquid =
            side == rg_side::liquid || (side == rg_side::stable && p >= get_saturation_pressure(T));
        const double R = m_extension[kR];
        if (liquid) {
            out.rho = get_saturated_liquid_density(T);
            out.h = get_saturated_liquid_enthalpy(T);
            out.cp = get_liquid_enthalpy_slope(T);
            out.a = m_extension[kLiquidSound];
            // the density's ramp below T1, flat above it and below the ramp
            const double rho0 = m_table->saturation(C_2d_RG_property::kRhoLiquid, Tmin);
            out.drho_dT = T < m_T1 && T >= m_T1 - m_dTramp ? -(1000.0 - rho0) / m_dTramp : 0.0;
            // a liquid of the extension: the table's cp/cv of the saturated liquid at Tmin
            double at_min[Cage::kProperties], d[4];
            m_table->lookup_derivatives(std::log(std::max(m_extension[kP0] * (1.0 + 1e-6), m_constants[kPmin])), Tmin,
                                        at_min, d);
            const double g = at_min[3] * at_min[3] * d[0] / std::max(m_extension[kP0], m_constants[kPmin]);
            out.gamma = g > 1.0 ? g : 1.0;
        } else {
            const double Tv = std::max(m_Tfloor, T);
            out.rho = p / (R * Tv);
            out.h = get_saturated_vapour_enthalpy(T);
            out.cp = get_vapour_enthalpy_slope(T) > R ? get_vapour_enthalpy_slope(T) : m_cp0.value(Tv);
            out.a = m_extension[kVapourSound];
            out.gamma = out.cp / (out.cp - R);
            out.drho_dx = out.rho;
            out.drho_dT = T > m_Tfloor ? -out.rho / Tv : 0.0;
        }
        out.dh_dT = out.cp;
        if (with_transport) transport(std::max(m_Tfloor, T), out.rho, out.mu, out.lambda);
        return;
    }
    const double pmin = m_constants[kPmin], pmax = m_constants[kPmax], Tmax = m_constants[kTmax];
    if (!(p >= pmin && p <= pmax)) out.status |= MP_RG_PRESSURE_OUTSIDE;
    if (!(T >= Tmin && T <= Tmax)) out.status |= MP_RG_TEMPERATURE_OUTSIDE;
    const double pc = p > pmin ? (p < pmax ? p : pmax) : pmin;
    const double Tt = T > Tmin ? (T < Tmax ? T : Tmax) : Tmin;
    double v[Cage::kProperties], d[4];
    // the cells next to the saturation line answer the side asked for (a stable request takes
    // the side of p against psat there)
    const int table_side = side == rg_side::liquid ? 1 : side == rg_side::vapour ? 2 : 0;
    m_table->lookup_on_side(std::log(pc), Tt, table_side, v, d);
    out.rho = v[0];
    out.h = v[1];
    out.s = v[2];
    out.a = v[3];
    out.drho_dx = d[0];
    out.drho_dT = d[1];
    out.dh_dx = d[2];
    out.dh_dT = d[3];
    out.cp = d[3];
    // cp/cv = a^2 (d rho/d p)_T
    out.gamma = v[3] * v[3] * d[0] / pc;
    if (with_transport) transport(Tt, out.rho, out.mu, out.lambda);
}

bool C_real_gas_substance::saturation_at(double T, rg_saturation_state& out, bool with_transport) const noexcept {
    out = rg_saturation_state{};
    const C_2d_RG_property& t = *m_table;
    if (!t.has_saturation_line() || !(T < t.saturation_end())) return false;
    const double Tmin = m_constants[kTmin];
    out.T = T;
    if (below(T)) {
        out.status |= MP_RG_BELOW_TABLE;
        const double R = m_extension[kR];
        const double Tv = std::max(m_Tfloor, T);
        if (T < m_Tfloor) out.status |= MP_RG_TEMPERATURE_OUTSIDE;
        out.p = get_saturation_pressure(T);
        // Clausius-Clapeyron: d ln p/dT = L/(R T^2) with the segment's latent heat, 0 below the floor
        const double L = T >= m_T1 ? m_extension[kL0] : m_extension[kL1];
        out.dp_dT = T >= m_Tfloor ? out.p * L / (R * Tv * Tv) : 0.0;
        out.rho_l = get_saturated_liquid_density(T);
        const double rho0 = t.saturation(C_2d_RG_property::kRhoLiquid, Tmin);
        out.drho_l = T < m_T1 && T >= m_T1 - m_dTramp ? -(1000.0 - rho0) / m_dTramp : 0.0;
        out.rho_v = out.p / (R * Tv);
        out.drho_v = T >= m_Tfloor ? out.dp_dT / (R * Tv) - out.rho_v / Tv : 0.0;
        out.h_l = get_saturated_liquid_enthalpy(T);
        out.h_v = get_saturated_vapour_enthalpy(T);
        out.dh_l = get_liquid_enthalpy_slope(T);
        out.dh_v = get_vapour_enthalpy_slope(T);
        if (with_transport) {
            transport(Tv, out.rho_l, out.mu_l, out.lambda_l);
            transport(Tv, out.rho_v, out.mu_v, out.lambda_v);
        }
        return true;
    }
    const double Tl = T > Tmin ? T : Tmin;
    if (T < Tmin) out.status |= MP_RG_TEMPERATURE_OUTSIDE;
    using A = C_2d_RG_property;
    out.p = std::exp(t.saturation(A::kLnPsat, Tl));
    out.dp_dT = out.p * t.saturation_slope(A::kLnPsat, Tl);
    out.rho_l = t.saturation(A::kRhoLiquid, Tl);
    out.rho_v = t.saturation(A::kRhoVapour, Tl);
    out.h_l = t.saturation(A::kHLiquid, Tl);
    out.h_v = t.saturation(A::kHVapour, Tl);
    out.drho_l = t.saturation_slope(A::kRhoLiquid, Tl);
    out.drho_v = t.saturation_slope(A::kRhoVapour, Tl);
    out.dh_l = t.saturation_slope(A::kHLiquid, Tl);
    out.dh_v = t.saturation_slope(A::kHVapour, Tl);
    if (with_transport) {
        transport(Tl, out.rho_l, out.mu_l, out.lambda_l);
        transport(Tl, out.rho_v, out.mu_v, out.lambda_v);
    }
    return true;
}

double C_real_gas_substance::saturation_temperature(double p) const noexcept {
    const C_2d_RG_property& t = *m_table;
    if (!t.has_saturation_line() || !(p < m_p_end) || !(p > 0.0)) return 0.0;
    const double Tmin = m_constants[kTmin];
    const double p0 = std::exp(t.saturation(C_2d_RG_property::kLnPsat, Tmin));
    if (p >= p0 || m_extension_on == 0) return t.saturation_temperature(std::log(p));
    // the inverse of the extension's two Clausius-Clapeyron branches
    const double R = m_extension[kR];
    if (p >= m_extension[kP1]) return 1.0 / (1.0 / Tmin - std::log(p / p0) * R / m_extension[kL0]);
    const double T = 1.0 / (1.0 / m_T1 - std::log(p / m_extension[kP1]) * R / m_extension[kL1]);
    return T > m_Tfloor ? T : m_Tfloor;
}
