// C_incompressible_liquid_substance: one liquid component. Specific heat (at 101325 Pa),
// viscosity, conductivity and density as functions of temperature, and the specific volume with
// its first two temperature derivatives, tabulated on 100 points from a fit of the entered
// density points:
//   - no or one point: a constant volume (1/rho, or 1/rho(293 K) of a one-point table);
//   - two points: v linear in T through them;
//   - three or more: -ln(rho) fitted by a least-squares parabola in T, v = exp(c2 T^2 + c1 T + c0).
// So the density of a liquid follows the fit, not the entered table, between the extreme entered
// temperatures, and is held at the fit's end values outside them.
// cp and h carry the pressure corrections of an incompressible liquid with v(T):
//   cp(p, T) = cp(T) - (p - 101325) T d2v/dT2,   h(p, T) = H(T) + (v - T dv/dT)(p - 101325),
// with H the integral of cp from 0 K.
// It also offers a weakly compressible view (liquid with a dissolved ideal gas, liquid speed of
// sound c_l = 1000 m/s) for the isothermal cavitation medium. Units SI; read-only once built.
#pragma once

#include <cstdint>

#include "tables/c_1d_param.h"
#include "liquid/c_nn_viscosity_models.h"
#include "framework/c_substance.h"
#include "gas/c_gas_substance.h"

// Reads the four properties every liquid component has (cp, viscosity, conductivity, density)
// from its description, cp with its integral prepared. False, with a log line, for an unusable table.
// With `density_points` the density is a set of (T, rho) points in any order (repeats allowed, each
// finite and rho above 0), returned there as entered and held in `density` sorted by T; without, it
// is a table like the others (T strictly increasing).
bool read_liquid_properties(I_liquid_description& description, const CHostString& name, IHostMessageSink* sink,
                            c_1d_param& cp, c_1d_param& viscosity, c_1d_param& conductivity, c_1d_param& density,
                            host_property* density_points = nullptr);

// The gas dissolved in a liquid: the components of its gas description (one, in practice).
using gas_components = host_shared_array<std::shared_ptr<C_ideal_gas_substance>>;

// The 16 operations every liquid component offers, in slot order.
class C_isotherm_cavitation_liquid_substance {
public:
    virtual ~C_isotherm_cavitation_liquid_substance() = default;
    virtual const CHostString& get_name() const noexcept = 0;                                        // 0
    virtual double get_reference_temperature() const noexcept = 0;                                   // 1
    virtual double get_scalar_a() const noexcept = 0;                                                // 2
    virtual double get_reference_pressure() const noexcept = 0;                                      // 3
    // sqrt(c_l^2 Y[0] + R T Y[1] / M_g)
    virtual double get_mixture_sound_speed(double T, const double* Y, const gas_components& G) const noexcept = 0;  // 4
    virtual double get_volume(double T) const noexcept = 0;                                          // 5
    virtual double get_cp(double p, double T) const noexcept = 0;                                    // 6
    virtual double get_conductivity(double T) const noexcept = 0;                                   // 7
    virtual void get_id(std::uint8_t* out) const noexcept = 0;                                       // 8
    // Pa s at (p, T); the incompressible component's does not depend on p.
    virtual double get_viscosity(double p, double T) const noexcept = 0;                             // 9
    // (R T Y[1] / M_g + c_l^2 Y[0]) rho + p_0 - c_l^2 rho_0
    virtual double get_mixture_pressure(double rho, double T, const double* Y,
                                        const gas_components& G) const noexcept = 0;                 // 10
    // (q - (rho_0 - p_0 / c_l^2) A) / (A / c_l^2 + 1), A = R T Y[1] / (M_g Y[0])
    virtual double get_liquid_pressure_term(double q, double T, const double* Y,
                                            const gas_components& G) const noexcept = 0;             // 11
    // The liquid's specific volume at p (and T, for the components whose density depends on it);
    // the incompressible component: 1 / (rho_0 + (p - p_0) / c_l^2).
    virtual double get_liquid_volume(double p, double T) const noexcept = 0;                         // 12
    virtual double get_zero() const noexcept = 0;                                                    // 13
    virtual double get_reference_volume() const noexcept = 0;                                        // 14
    virtual double get_liquid_reference_pressure() const noexcept = 0;                               // 15

protected:
    // What every component's weakly compressible view shares: Y[1] / M_g summed over the gas's
    // components; the mixture sound speed; the liquid pressure term, through operations 14 and 15.
    static double dissolved_gas_ratio(const double* Y, const gas_components& G) noexcept;
    static double mixture_sound_speed(double T, const double* Y, const gas_components& G) noexcept;
    double liquid_pressure_term(double q, double T, const double* Y, const gas_components& G) const noexcept;
};

class C_incompressible_liquid_substance : public C_substance_base, public C_isotherm_cavitation_liquid_substance {
public:
    using description_type = I_liquid_description;
    // m/s: the liquid's speed of sound in the weakly compressible view.
    static constexpr double kLiquidSoundSpeed = 1000.0;
    // Pa: the pressure at which the entered cp holds.
    static constexpr double kCorrectionPressure = 101325.0;
    // K: where a one-point density table is read.
    static constexpr double kOnePointTemperature = 293.0;
    // Points of the derived volume tables.
    static constexpr std::int32_t kVolumeTableSize = 100;
    // The density fit's normal matrix (in the scaled temperature of the fit) counts as singular
    // below this ratio of |det| to its largest product.
    static constexpr double kSingularRatio = 1e-14;
    // Density points spread over less than this share of their temperature are one temperature
    // for the fit: the rounding of the temperatures themselves would be a sizeable part of it.
    static constexpr double kMinimumRelativeSpread = 1e-6;

    C_incompressible_liquid_substance() = default;
    ~C_incompressible_liquid_substance() override = default;

    // Reads identifier, name, cp, viscosity, conductivity, density and the three scalars, then
    // builds the volume tables. The density points may come in any order: the fit runs over all of
    // them between the extreme temperatures. False, with a log line saying what is wrong, when the
    // description cannot make a liquid (bad identifier, unusable table, density points that do
    // not determine their fit: two points at one temperature, three or more at fewer than three
    // temperatures).
    bool init(I_liquid_description& description, IHostMessageSink* sink);

    // ---- the 16 operations ----
    const CHostString& get_name() const noexcept override { return name(); }
    double get_reference_temperature() const noexcept override { return m_reference_temperature; }
    double get_scalar_a() const noexcept override { return m_scalar_a; }
    double get_reference_pressure() const noexcept override { return m_reference_pressure; }
    double get_mixture_sound_speed(double T, const double* Y, const gas_components& G) const noexcept override;
    double get_volume(double T) const noexcept override { return m_volume.value(T); }
    double get_cp(double p, double T) const noexcept override { return (this->*m_cp_function)(p, T); }
    double get_conductivity(double T) const noexcept override { return m_conductivity.value(T); }
    void get_id(std::uint8_t* out) const noexcept override;
    double get_viscosity(double, double T) const noexcept override { return m_viscosity.value(T); }
    double get_mixture_pressure(double rho, double T, const double* Y, const gas_components& G) const noexcept override;
    double get_liquid_pressure_term(double q, double T, const double* Y, const gas_components& G) const noexcept override;
    double get_liquid_volume(double p, double T) const noexcept override;
    double get_zero() const noexcept override { return 0.0; }
    double get_reference_volume() const noexcept override { return get_volume(get_reference_temperature()); }
    double get_liquid_reference_pressure() const noexcept override { return get_reference_pressure(); }

    // ---- for the liquid media ----
    // Specific volume at (p, T): the incompressible component's depends on T only.
    double volume_at(double, double T) const noexcept { return get_volume(T); }
    // cp at (p, T): the pressure-corrected cp.
    double isobaric_cp(double p, double T) const noexcept { return get_cp(p, T); }
    // h(p, T), pressure-corrected when the corrections are on.
    double get_enthalpy(double p, double T) const noexcept { return (this->*m_enthalpy_function)(p, T); }
    // h(p, T), cp(p, T) and cp(p_ref, T) in one pass, with one interval search per temperature
    // grid: bit for bit what get_enthalpy(p, T), get_cp(p, T) and get_cp(p_ref, T) give. The
    // Newton iterations of the liquid media need all three at every step.
    // v is get_volume(T). hint carries the intervals of the last call (start with {-1, -1}), so
    // that an iteration whose temperature stays in one interval searches no more.
    struct caloric {
        double h, cp, cp_ref, v;
    };
    struct caloric_hint {
        std::int32_t cp, volume;
    };
    caloric caloric_at(double p, double p_ref, double T, caloric_hint& hint) const noexcept {
        double c = 0.0;
        double I = 0.0;
        hint.cp = m_cp.interval_near(T, hint.cp);
        if (m_cp.inside(hint.cp) && m_cp.has_integral())
            m_cp.value_and_integral_inside(hint.cp, T, c, I);
        else
            m_cp.value_and_integral_at(hint.cp, T, c, I);
        const std::int32_t i = hint.volume = m_volume.interval_near(T, hint.volume);
        // the volume tables share their grid (m_shared_volume_grid): inside it, all three without checks
        const bool inside =
            m_shared_volume_grid && m_volume.inside(i) && m_dvolume_dT.inside(i) && m_d2volume_dT2.inside(i);
        const double v = inside ? m_volume.value_inside(i, T) : m_volume.value_at(i, T);
        if (!m_pressure_correction) return {I, c, c, v};
        const std::int32_t j = m_shared_volume_grid ? i : c_1d_param::kSearch;
        const double dv = inside ? m_dvolume_dT.value_inside(i, T) : m_dvolume_dT.value_at(j, T);
        const double d2v = inside ? m_d2volume_dT2.value_inside(i, T) : m_d2volume_dT2.value_at(j, T);
        // the same expressions as enthalpy_corrected and cp_corrected, term for term
        return {I + (v - T * dv) * (p - m_correction_pressure), c - (p - m_correction_pressure) * T * d2v,
                c - (p_ref - m_correction_pressure) * T * d2v, v};
    }
    // get_volume(T) through the volume interval of a hint.
    double volume_near(double T, caloric_hint& hint) const noexcept {
        hint.volume = m_volume.interval_near(T, hint.volume);
        return m_volume.value_at(hint.volume, T);
    }
    // dv/dT with the rule of the expansion terms: the constant of a constant, 0 strictly outside
    // the table, linear interpolation inside.
    double expansion_slope(double T) const noexcept;
    bool pressure_correction() const noexcept { return m_pressure_correction; }
    void set_pressure_correction(bool on) noexcept;
    const c_1d_param& density_param() const noexcept { return m_density; }
    const c_1d_param& volume_param() const noexcept { return m_volume; }
    const c_1d_param& dvolume_param() const noexcept { return m_dvolume_dT; }
    const c_1d_param& d2volume_param() const noexcept { return m_d2volume_dT2; }

    // Record: byte 0; the common record; cp, viscosity, conductivity, density, volume, dv/dT,
    // d2v/dT2; the entered density points; the volume tables; scalar_a, reference temperature,
    // reference pressure, correction pressure; byte 1 (the corrections are always on after a read).
    void write(C_file_io& stream) const;
    bool read(C_file_io& stream);

private:
    using property_function = double (C_incompressible_liquid_substance::*)(double, double) const noexcept;
    double cp_corrected(double p, double T) const noexcept;
    double cp_plain(double p, double T) const noexcept;
    double enthalpy_corrected(double p, double T) const noexcept;
    double enthalpy_plain(double p, double T) const noexcept;
    bool build_volume_tables(IHostMessageSink* sink);

    c_1d_param m_cp;
    c_1d_param m_viscosity;
    c_1d_param m_conductivity;
    c_1d_param m_density;
    c_1d_param m_volume;
    c_1d_param m_dvolume_dT;
    c_1d_param m_d2volume_dT2;
    std::int32_t m_density_point_count = 0;
    mp::pooled_array<double> m_density_T;
    mp::pooled_array<double> m_density_values;
    std::int32_t m_volume_table_size = kVolumeTableSize;
    mp::pooled_array<double> m_volume_T;
    mp::pooled_array<double> m_volume_v;
    mp::pooled_array<double> m_volume_dv;
    mp::pooled_array<double> m_volume_d2v;
    double m_scalar_a = 0.0;
    double m_reference_temperature = 0.0;
    double m_reference_pressure = 0.0;
    double m_correction_pressure = kCorrectionPressure;
    bool m_pressure_correction = true;
    // The volume, dv/dT and d2v/dT2 tables share the volume's temperatures (always when built
    // here; checked when read), so one interval search serves all three.
    bool m_shared_volume_grid = false;
    void note_volume_grid() noexcept {
        m_shared_volume_grid = m_dvolume_dT.same_grid(m_volume) && m_d2volume_dT2.same_grid(m_volume);
    }
    property_function m_cp_function = &C_incompressible_liquid_substance::cp_corrected;
    property_function m_enthalpy_function = &C_incompressible_liquid_substance::enthalpy_corrected;
};

// A non-Newtonian liquid component: the data of an incompressible liquid component and one
// viscosity law of temperature, shear rate and (for Cross-WLF) pressure.
// Record: the incompressible liquid record, the law's code (int32), the law's record.
class C_inc_non_newtonian_liquid_substance final : public C_incompressible_liquid_substance {
public:
    using description_type = I_non_newtonian_description;
    C_inc_non_newtonian_liquid_substance() = default;
    ~C_inc_non_newtonian_liquid_substance() override = default;

    // The liquid data, then the law the description names. False, with a log line, when either
    // cannot be built.
    bool init(I_non_newtonian_description& description, IHostMessageSink* sink);
    // The law's viscosity, Pa s.
    double get_viscosity(double p, double T, double shear_rate) const noexcept {
        return m_law->viscosity(p, T, shear_rate);
    }
    using C_incompressible_liquid_substance::get_viscosity;
    const INonNewtonLiquidModel& law() const noexcept { return *m_law; }

    void write(C_file_io& stream) const;
    bool read(C_file_io& stream);

private:
    nn_law m_law_code = nn_law::power_law;
    std::unique_ptr<INonNewtonLiquidModel> m_law;
};
