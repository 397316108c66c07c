// C_real_gas_substance: one pure real-gas substance: its constants and temperature limits, the
// property generator that fills its tables, the two-dimensional property table over
// (ln p, T), and a low-temperature extension of the saturation line below the table.
//
// Built in mode 1 (real gas without phase change) it holds a C_2d_RG_property_regular; in mode 2
// (with phase change) a C_2d_RG_property_adaptable whose strips below the critical pressure place
// their nodes where the properties bend near the saturation line. The table rectangle is
// [ln pmin, ln pmax] x [Tmin, Tmax]; its saturation line runs from Tmin to min(Tmax, Tc).
//
// A table wholly above the critical temperature (Tmin >= Tc - 1e-6 Tc: a supercritical gas, the
// common case) has no saturation line. Then operations 0 to 8 answer 0 at every T (no
// saturation; the generator answers 0 above Tc alike), the property lookup 9 works as always,
// and the low-temperature extension is off whatever was asked (it continues a saturation line
// that does not exist): below Tmin the lookups hold their values at Tmin, and of the extension
// constants only R is set, the others 0 (T1, Tfloor and dTramp derived as usual).
//
// The saturation-line operations (I_fluid_condensation::I_real_gas_substance), each of T in K:
//   0  saturated vapour density (kg/m3)
//   1  p v of the saturated vapour, psat/rho_v (J/kg); below Tmin the value at Tmin scaled by
//      max(Tfloor, T)/Tmin (the ideal-gas law)
//   2  saturated liquid enthalpy (J/kg): slot 3 - L0 in the table range; below Tmin slot 3 minus
//      the latent heat of the extension
//   3  saturated vapour enthalpy (J/kg)
//   4  saturated liquid density (kg/m3)
//   5  entropy of vaporisation s_v - s_l (J/(kg K))
//   6  saturation pressure (Pa)
//   7  d(liquid enthalpy)/dT, 8 d(vapour enthalpy)/dT (J/(kg K))
//   9  property(T, p, k): k = 0 density (kg/m3), k = 1 speed of sound (m/s) of the single phase
//      at (p, T) from the table, p clamped into [pmin, pmax], T into [Tmin, Tmax], k rounded and
//      clamped into [0, 1]. Below Tmin with the extension: on the liquid side (p >= psat) the
//      density of slot 4 and the constant liquid speed of sound at Tmin; on the vapour side the
//      ideal-gas density p/(R max(Tfloor, T)) and the constant vapour speed of sound at Tmin.
//  10  T1
// In the table range T is clamped to [Tmin, min(Tmax, end of the saturation line)].
//
// The extension constants, derived when the substance is made:
//   Tfloor = the given floor, or 0.5 Tmin when none is given (always below Tmin);
//   dTramp = 0.25 (Tmin - Tfloor); T1 = Tmin - dTramp, so that the ramp [T1 - dTramp, T1]
//   ends halfway between Tmin and Tfloor;
//   L0 = h_v(Tmin) - h_l(Tmin); p0 = psat(Tmin); p1 = p0 exp((1/Tmin - 1/T1) L0/R), so that the
//   two Clausius-Clapeyron branches meet at T1;
//   L1 = L0 extrapolated linearly with the table's dL/dT at Tmin to the ramp's lower end
//   T1 - dTramp, kept within [L0, 2 L0];
//   the vapour enthalpy slope below Tmin = the table's dh_v/dT at Tmin;
//   the first constant of the eight is the specific gas constant R = 8.3144/M.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "real_gas/chung_transport.h"
#include "tables/c_1d_param.h"
#include "tables/c_2d_property.h"
#include "framework/c_substance.h"

class C_file_io;
class CRGPropertyGenerator;
class IRGPropertyGenerator;

namespace I_fluid_condensation {

class I_real_gas_substance {
public:
    virtual double get_saturated_vapour_density(double T) const noexcept = 0;      // 0
    virtual double get_saturated_vapour_pv(double T) const noexcept = 0;           // 1
    virtual double get_saturated_liquid_enthalpy(double T) const noexcept = 0;     // 2
    virtual double get_saturated_vapour_enthalpy(double T) const noexcept = 0;     // 3
    virtual double get_saturated_liquid_density(double T) const noexcept = 0;      // 4
    virtual double get_vaporisation_entropy(double T) const noexcept = 0;          // 5
    virtual double get_saturation_pressure(double T) const noexcept = 0;           // 6
    virtual double get_liquid_enthalpy_slope(double T) const noexcept = 0;         // 7
    virtual double get_vapour_enthalpy_slope(double T) const noexcept = 0;         // 8
    virtual double get_property(double T, double p, double k) const noexcept = 0;  // 9
    virtual double get_T1(double T) const noexcept = 0;                            // 10

protected:
    ~I_real_gas_substance() = default;
};

}  // namespace I_fluid_condensation

// What a real-gas substance is made from.
struct rg_substance_parameters {
    std::string source;  // the data source description
    double Tc = 0.0;     // K
    double Pc = 0.0;     // Pa
    double Zc = 1.0 / 3.0;
    double omega = 0.0;
    double M = 0.0;  // kg/mol
    std::int32_t model = 3;            // the equation-of-state model selector
    std::uint8_t generator_kind = 0;   // 0 the cubic equation of state (the only one built)
    c_1d_param ideal_gas_cp;           // cp0(T), J/(kg K)
    double Tmin = 0.0, Tmax = 0.0;     // the table's temperatures, K
    double pmin = 0.0, pmax = 0.0;     // the table's pressures, Pa
    bool extension = true;             // the low-temperature extension
    double Tfloor = 0.0;               // K; 0: half of Tmin
};

// Configures a cubic equation-of-state generator for the substance `name` from real-gas data:
// checks them (Tc [K], Pc [Pa] and M [kg/mol] finite and above 0, 0 < Zc <= 1/3, omega finite,
// 0 < Tmin < Tc, Tmin < Tmax, 0 < pmin < pmax [Pa], Tfloor >= 0 [K], generator kind 0), then sets
// the substance and the model selector, and the ideal-gas heat capacity when the data give one
// (a table, or a constant above 0 J/(kg K)); without one the generator forms the saturation line
// and the mechanical properties only. False, with an ERROR line through `sink` and `generator`
// unchanged, on data it cannot use.
bool configure_rg_generator(const rg_substance_parameters& parameters, const CHostString& name,
                            CRGPropertyGenerator& generator, IHostMessageSink* sink);
// The same from a real-gas description (its name is `name`); `parameters` receives what the
// description holds, the ideal-gas cp with its integral prepared. Also false, with an ERROR line,
// when the description's cp table is malformed.
bool configure_rg_generator(I_real_gas_description& description, const CHostString& name,
                            CRGPropertyGenerator& generator, rg_substance_parameters& parameters,
                            IHostMessageSink* sink);

// Which branch of the substance a state is taken on. Below the critical temperature the table's
// cells next to the saturation line answer the branch asked for (its continuation a cell or so
// past the line), so that a state next to the line is never blended with the other phase.
enum class rg_side : int { stable = 0, liquid = 1, vapour = 2 };

// The substance at one (p, T) on one branch: the table's values there, and the slopes of its
// interpolated density and enthalpy (x = ln p), which the media's iterations step on.
struct rg_substance_state {
    double rho = 0.0;     // kg/m3
    double h = 0.0;       // J/kg
    double s = 0.0;       // J/(kg K)
    double a = 0.0;       // m/s
    double cp = 0.0;      // J/(kg K)
    double gamma = 0.0;   // cp/cv
    double mu = 0.0;      // Pa s
    double lambda = 0.0;  // W/(m K)
    double drho_dx = 0.0, drho_dT = 0.0, dh_dx = 0.0, dh_dT = 0.0;
    std::uint32_t status = 0;  // rg_status bits (real_gas_state.h)
};

// The saturated states at one temperature below the end of the saturation line, and their slopes
// along it (d/dT).
struct rg_saturation_state {
    double T = 0.0, p = 0.0, dp_dT = 0.0;                 // K, Pa, Pa/K
    double rho_l = 0.0, rho_v = 0.0, h_l = 0.0, h_v = 0.0;  // kg/m3, J/kg
    double drho_l = 0.0, drho_v = 0.0, dh_l = 0.0, dh_v = 0.0;
    double mu_l = 0.0, mu_v = 0.0, lambda_l = 0.0, lambda_v = 0.0;
    std::uint32_t status = 0;  // MP_RG_BELOW_TABLE below Tmin, MP_RG_TEMPERATURE_OUTSIDE below the floor
};

class C_real_gas_substance : public C_substance_base, public I_fluid_condensation::I_real_gas_substance {
public:
    static constexpr double kGasConstant = 8.3144;  // J/(mol K), as the library's media use it
    // Nodes of the saturation line (fixed, so that a loaded substance rebuilds the same line).
    static constexpr std::int32_t kSaturationNodes = 501;
    // The nine constants, by place.
    enum constant_place : int {
        kPmin = 0, kPmax, kMolarMass, kTmax, kTc, kTmin, kPropertyIndexMax, kPc, kZc, kConstants = 9,
    };
    // The eight extension doubles, by place.
    enum extension_place : int {
        kR = 0, kL0, kP0, kP1, kL1, kVapourSlope, kLiquidSound, kVapourSound, kExtensionConstants = 8,
    };

    // mode 1: without phase change (regular table); mode 2: with phase change (adaptable table).
    explicit C_real_gas_substance(std::int32_t mode = 1) : m_mode(mode == 2 ? 2 : 1) {}
    virtual ~C_real_gas_substance() = default;

    // Makes the generator (configure_rg_generator), its table and saturation line, and the
    // extension constants. False (with an ERROR line in the host log) on unusable parameters, a
    // generator kind not built, or no ideal-gas heat capacity. Tmin may lie above Tc (a table
    // without a saturation line, see above).
    bool init(const host_guid& identity, const CHostString& name, const rg_substance_parameters& parameters,
              IHostMessageSink* sink);
    // The same from a real-gas description.
    bool init_from_description(I_real_gas_description& description, IHostMessageSink* sink);

    // ---- I_real_gas_substance ----
    double get_saturated_vapour_density(double T) const noexcept override;
    double get_saturated_vapour_pv(double T) const noexcept override;
    double get_saturated_liquid_enthalpy(double T) const noexcept override;
    double get_saturated_vapour_enthalpy(double T) const noexcept override;
    double get_saturated_liquid_density(double T) const noexcept override;
    double get_vaporisation_entropy(double T) const noexcept override;
    double get_saturation_pressure(double T) const noexcept override;
    double get_liquid_enthalpy_slope(double T) const noexcept override;
    double get_vapour_enthalpy_slope(double T) const noexcept override;
    double get_property(double T, double p, double k) const noexcept override;
    double get_T1(double T) const noexcept override;

    // Record: byte 1; the common record; the flag byte; the source string; the nine constants;
    // the model selector (int32); the generator-kind byte and the generator's record; the
    // extension byte; T1, Tfloor, the eight extension doubles, dTramp.
    void write(C_file_io& stream) const;
    // False on a version other than 1, a generator kind not built, a generator record it refuses,
    // constants that cannot make a table, or the extension on for a table without a saturation
    // line; the table and its saturation line are rebuilt.
    bool read(C_file_io& stream);

    // ---- what the real-gas media ask ----
    // The substance at (p [Pa], T [K]) on `side`: from the table inside its rectangle (p and T
    // clamped into it, with MP_RG_PRESSURE_OUTSIDE or MP_RG_TEMPERATURE_OUTSIDE); below Tmin, with
    // the extension on, from the extension (MP_RG_BELOW_TABLE): on the liquid side the liquid
    // density and enthalpy of the saturation extension at T, on the vapour side the ideal gas
    // p/(R T') with the vapour enthalpy of the extension (T' = max(T, floor)), cp the slope of
    // that enthalpy, the speed of sound held at its value at Tmin. A stable request below the
    // saturation line's end takes the side of p against psat(T).
    // Without with_transport mu and lambda are left 0 (what an iteration's steps need not pay for).
    void state_at(double p, double T, rg_side side, rg_substance_state& out, bool with_transport = true) const noexcept;
    // The saturated states at T: false at or above the end of the saturation line (or without
    // one). Below Tmin (extension on) from the extension: the liquid and vapour enthalpy and liquid
    // density of slots 2 to 4, the vapour density p/(R T'); T below the floor is taken at the floor.
    bool saturation_at(double T, rg_saturation_state& out, bool with_transport = true) const noexcept;
    // The temperature at which the saturation pressure is p [Pa]: the inverse of slot 6 (of the
    // extension below Tmin, down to its floor). 0 when there is no saturation line or p is at or
    // above the pressure at the line's end.
    double saturation_temperature(double p) const noexcept;
    // The lowest temperature the substance answers (the extension's floor, else Tmin).
    double T_lowest() const noexcept { return m_extension_on != 0 ? m_Tfloor : m_constants[kTmin]; }
    // The end of the saturation line (Tc less a millionth), and the pressure there; 0 without one.
    double saturation_end() const noexcept { return m_table->has_saturation_line() ? m_table->saturation_end() : 0.0; }
    double saturation_end_pressure() const noexcept { return m_p_end; }
    // The critical point of the equation of state: Tc [K], pc [Pa] and the critical density [kg/m3].
    double critical_temperature() const noexcept { return m_constants[kTc]; }
    double critical_pressure() const noexcept { return m_constants[kPc]; }
    double critical_density() const noexcept { return m_rho_c; }
    double molar_mass() const noexcept { return m_constants[kMolarMass]; }
    double gas_constant() const noexcept { return kGasConstant / m_constants[kMolarMass]; }
    // Ideal-gas heat capacity cp0(T) [J/(kg K)] and enthalpy h0(T) [J/kg], the dilute limit.
    void ideal_gas_cp_h(double T, double& cp0, double& h0) const noexcept { m_cp0.value_and_integral(T, cp0, h0); }
    // Viscosity [Pa s] and conductivity [W/(m K)] at T [K] and density rho [kg/m3].
    void transport(double T, double rho, double& mu, double& lambda) const noexcept;
    const mp::chung_transport& transport_model() const noexcept { return m_transport; }

    std::int32_t mode() const noexcept { return m_mode; }
    const C_2d_RG_property* table() const noexcept { return m_table.get(); }
    const std::shared_ptr<IRGPropertyGenerator>& generator() const noexcept { return m_generator; }
    double constant(int place) const noexcept { return m_constants[place]; }
    double extension_constant(int place) const noexcept { return m_extension[place]; }
    bool extension_on() const noexcept { return m_extension_on != 0; }
    // False for a table wholly above the critical temperature.
    bool has_saturation_line() const noexcept { return m_table->has_saturation_line(); }
    double T_floor() const noexcept { return m_Tfloor; }
    double ramp_width() const noexcept { return m_dTramp; }
    double T_min() const noexcept { return m_constants[kTmin]; }
    double T_max() const noexcept { return m_constants[kTmax]; }

private:
    // Takes the configured generator and the parameters it was configured from, and makes the
    // table, its saturation line and the extension constants.
    bool adopt(std::shared_ptr<CRGPropertyGenerator> generator, const rg_substance_parameters& parameters,
               IHostMessageSink* sink);
    // The table and its saturation line from the generator and the constants. False when the
    // constants cannot make one.
    bool build_table();
    void derive_extension();
    // T clamped into the saturation line's range.
    double clamp_T(double T) const noexcept;
    bool below(double T) const noexcept { return m_extension_on != 0 && T < m_constants[kTmin]; }
    // What the media need besides the table: the ideal-gas cp with its integral, the transport
    // model, the critical density and the pressure at the line's end.
    void prepare_media_data();
    // the latent heat below Tmin and the temperature the vapour enthalpy is taken at
    double latent_heat_below(double T, double& T_vapour) const noexcept;

    std::int32_t m_mode = 1;
    std::uint8_t m_flag = 0;
    CHostString m_source;
    double m_constants[kConstants] = {};
    std::int32_t m_model = 3;
    std::uint8_t m_generator_kind = 0;
    std::uint8_t m_extension_on = 0;
    double m_T1 = 0.0;
    double m_Tfloor = 0.0;
    double m_extension[kExtensionConstants] = {};
    double m_dTramp = 0.0;

    std::shared_ptr<IRGPropertyGenerator> m_generator;
    std::unique_ptr<C_2d_RG_property> m_table;
    c_1d_param m_cp0;
    mp::chung_transport m_transport;
    double m_rho_c = 0.0;
    double m_p_end = 0.0;
};

// The substance as the factory's caches hold it: cache 8 builds mode 1, cache 9 mode 2.
template <std::int32_t Mode>
class C_real_gas_substance_in_mode final : public C_real_gas_substance {
public:
    C_real_gas_substance_in_mode() : C_real_gas_substance(Mode) {}
};
