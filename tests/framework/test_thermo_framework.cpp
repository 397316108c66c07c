// The thermodynamics framework: kind codes, mass-fraction cleaning and the operations that every
// gas computes the same way, exercised through a small constant-cp test medium.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

#include "framework/c_thermodynamic_base.h"
#include "factory/query_interface.h"

namespace {

struct constant_cp_substance {
    double M;   // kg/mol
    double cp_; // J/(kg K)
    double molar_mass() const noexcept { return M; }
    double cp(double) const noexcept { return cp_; }
    double h(double T) const noexcept { return cp_ * T; }
};

// What the generic operations passed to get_properties_p_H (the test medium records it).
struct p_h_call {
    double H = -1, p = -1, G2 = -1, T0 = -1;
};
thread_local p_h_call g_last_call;

// A calorically perfect mixture built only on the framework's helpers and mixins.
class test_gas : public C_thermodynamic_base,
                 public C_generic_gas_operations,
                 public C_constant_gamma_closures,
                 public CHostAPIBaseClass<test_gas> {
public:
    test_gas(std::vector<constant_cp_substance> s, double gamma) : m_subs(std::move(s)), m_gamma(gamma) {}
    std::int32_t n() const { return static_cast<std::int32_t>(m_subs.size()); }
    // The mixture rules in their plainest form: R = 8.3144 sum(Y_i / M_i), cp = sum(Y_i cp_i).
    double inverse_M(const double* Y) const {
        double r = 0.0;
        for (std::int32_t i = 0; i < n(); ++i) r += Y[i] / m_subs[static_cast<std::size_t>(i)].M;
        return r;
    }
    double R(const double* Y) const { return thermo::kUniversalGasConstant * inverse_M(Y); }

    std::int32_t query_interface(std::any& a) override {
        return mp::hand_out<IHostUnknown, I_solver__thermodynamics_P_H, I_solver__thermodynamics_Rho_E, I_identity>(
            shared_from_this(), a);
    }
    void update_radiation_properties() noexcept override {}
    std::shared_ptr<FluidRadProp::I_radiation_properties> get_radiation_properties() const noexcept override {
        return {};
    }
    substance_array get_substances() const override { return {}; }

    double get_cp(double, double T, const double* Y) const noexcept override {
        double cp = 0.0;
        for (std::int32_t i = 0; i < n(); ++i) cp += Y[i] * m_subs[static_cast<std::size_t>(i)].cp(T);
        return cp;
    }
    double get_viscosity(double, double, const double*) const noexcept override { return 1.8e-5; }
    double get_conductivity(double, double, const double*) const noexcept override { return 0.026; }
    double get_prandtl(double p, double T, const double* Y) const noexcept override {
        return get_viscosity(p, T, Y) * get_cp(p, T, Y) / get_conductivity(p, T, Y);
    }
    double get_expansion_factor(double, double, const double*) const noexcept override { return 1.0; }
    void get_properties_p_T(double p, double T, const double* Y, double* rho, double* h, double* cp, double* gamma,
                            double* M, double* a, double* mu, double* lambda) const noexcept override {
        *rho = get_density(p, T, Y);
        *h = get_enthalpy(p, T, Y);
        *cp = get_cp(p, T, Y);
        *gamma = thermo::gamma_from_cp(*cp, R(Y));
        *M = 1.0 / inverse_M(Y);
        *a = get_sound_speed(p, T, Y);
        *mu = get_viscosity(p, T, Y);
        *lambda = get_conductivity(p, T, Y);
    }
    double get_mole_fraction(double, double, const double*, std::int32_t) const noexcept override { return 0.0; }
    double get_mass_fraction(double, double, const double*, std::int32_t) const noexcept override { return 0.0; }
    void get_properties_p_H(double H, double p, const double* Y, double G2, double T0, double* rho, double* T,
                            double* cp, double* gamma, double* M, double* a, double* mu, double* lambda,
                            double* p_out) const noexcept override {
        g_last_call = {H, p, G2, T0};
        *T = H / get_cp(p, T0, Y);
        *rho = *cp = *gamma = *M = *a = *mu = *lambda = 0.0;
        *p_out = p;
    }
    void RhoT(double, double, const double*, double, double rho0, double T0, double* rho,
              double* T) const noexcept override {
        *rho = rho0;
        *T = T0;
    }
    double get_T_p_h(double p, double h, const double* Y) const noexcept override { return h / get_cp(p, 300, Y); }
    double get_enthalpy(double, double T, const double* Y) const noexcept override {
        double h = 0.0;
        for (std::int32_t i = 0; i < n(); ++i) h += Y[i] * m_subs[static_cast<std::size_t>(i)].h(T);
        return h;
    }
    double get_density(double p, double T, const double* Y) const noexcept override { return p / (R(Y) * T); }
    double get_sound_speed(double p, double T, const double* Y) const noexcept override {
        return std::sqrt(thermo::gamma_from_cp(get_cp(p, T, Y), R(Y)) * R(Y) * T);
    }
    double get_drho_dp(double, double T, const double* Y) const noexcept override { return 1.0 / (R(Y) * T); }
    void get_properties_rho_e(double, double, const double*, double, double*, double*, double*, double*, double*,
                              double*, double*, double*) const noexcept override {}
    void get_properties_p_rho(double, double, const double*, double, double*, double*, double*, double*, double*,
                              double*, double*, double*) const noexcept override {}
    double get_gamma(double, const double*) const noexcept override { return m_gamma; }

protected:
    double specific_gas_constant(const double* Y) const noexcept override { return R(Y); }

private:
    std::vector<constant_cp_substance> m_subs;
    double m_gamma;
};

// Overrides only get_gamma: every constant-gamma closure must follow.
class test_gas_13 final : public test_gas {
public:
    using test_gas::test_gas;
    double get_gamma(double, const double*) const noexcept override { return 1.3; }
};

// Dry air as one pseudo-substance: M = 28.965 g/mol, R = 287.05 J/(kg K), cp = 3.5 R.
constexpr double kAirM = 0.028965;
const double kAirR = 8.3144 / kAirM;
std::shared_ptr<test_gas> make_air(double gamma = 1.4) {
    return std::make_shared<test_gas>(std::vector<constant_cp_substance>{{kAirM, 3.5 * kAirR}}, gamma);
}

}  // namespace

TEST(ThermoFramework, KindCodesAndDisplayNames) {
    const char* expected[15] = {"Ideal gas thermodynamics",
                                "Incompressible liquid thermodynamics",
                                "Incompressible non-newton liquid thermodynamics",
                                "Compressible liquid thermodynamics",
                                "Isothermal cavitation thermodynamics",
                                "Real gas thermodynamics",
                                "Real gas with phase change thermodynamics",
                                "Combustible thermodynamics (VT)",
                                "Combustible thermodynamics (PT)",
                                "Hypersonic gas thermodynamics",
                                "Cavitation obsolete thermodynamics",
                                "Condensation obsolete thermodynamics",
                                "Perfect gas thermodynamics",
                                "Single component gas thermodynamics",
                                "Free surface VOF thermodynamics"};
    for (int k = 0; k < 15; ++k) EXPECT_STREQ(thermo::kind_display_name(k), expected[k]) << k;
    EXPECT_STREQ(thermo::kind_class_name(MP_KIND_PERFECT_GAS), "C_perfect_gas_thermodynamics");
    EXPECT_STREQ(thermo::kind_class_name(9), "C_hypersonic_gas_thermodynamics");
    EXPECT_EQ(thermo::kind_display_name(-1), nullptr);
    EXPECT_EQ(thermo::kind_display_name(15), nullptr);
}

TEST(ThermoFramework, MassFractionCleaning) {
    const double Y[3] = {-0.1, 0.6, 0.5};
    double out[thermo::kMaxCleanedSubstances];
    ASSERT_EQ(thermo::clean_mass_fractions(3, Y, out), 3);
    EXPECT_EQ(out[0], 0.0);
    EXPECT_EQ(out[1], 0.6 / 1.1);
    EXPECT_EQ(out[2], 1.0 - 0.6 / 1.1);
    EXPECT_EQ(out[0] + out[1] + out[2], 1.0);
    // Nothing positive left: the last substance takes it all rather than 0/0.
    const double none[2] = {-1.0, 0.0};
    thermo::clean_mass_fractions(2, none, out);
    EXPECT_EQ(out[0], 0.0);
    EXPECT_EQ(out[1], 1.0);
    // The local array has room for 100 substances; more are not read.
    std::vector<double> many(150, 1.0);
    EXPECT_EQ(thermo::clean_mass_fractions(150, many.data(), out), 100);
}

TEST(ThermoFramework, DynamicPressureFactor) {
    auto air = make_air();
    const double Y[1] = {1.0};
    const double T = 300.0;
    const double a = air->get_sound_speed(101325.0, T, Y);
    EXPECT_NEAR(a, 347.2, 0.1);  // sqrt(1.4 * 287.05 * 300)
    EXPECT_EQ(air->get_dynamic_pressure_factor(T, 0.0, Y), 1.0);
    // Below M2 = 1e-6 the series 1 + M2/4.
    EXPECT_DOUBLE_EQ(air->get_dynamic_pressure_factor(T, 0.0005 * a, Y), 1.0 + 6.25e-8);
    // At Mach 1 the isentropic tables give p0/p = 1.8929 for gamma = 1.4, so the factor is
    // (1.8929 - 1) / 0.7 = 1.2756.
    EXPECT_NEAR(air->get_dynamic_pressure_factor(T, a, Y), 0.892929 / 0.7, 1e-5);
    // Mach 2: p0/p = 7.8244.
    EXPECT_NEAR(air->get_dynamic_pressure_factor(T, 2.0 * a, Y), (7.8244 - 1.0) / (0.7 * 4.0), 1e-4);
}

TEST(ThermoFramework, TemperatureFromEnthalpyGoesThroughPressureEnthalpy) {
    auto air = make_air();
    const double Y[1] = {1.0};
    const double cp = 3.5 * kAirR;
    const double T = air->get_temperature_from_enthalpy(cp * 412.0, 5e5, Y, 123.0, 290.0);
    EXPECT_NEAR(T, 412.0, 1e-12);
    EXPECT_EQ(g_last_call.p, 0.0);
    EXPECT_EQ(g_last_call.G2, 0.0);
    EXPECT_EQ(g_last_call.T0, 290.0);
    EXPECT_EQ(g_last_call.H, cp * 412.0);
}

TEST(ThermoFramework, ConstantGammaClosures) {
    auto air = make_air();
    const double Y[1] = {1.0};
    const double e = 2.5e5;
    EXPECT_NEAR(air->get_sound_speed_e(e, Y), std::sqrt(1.4 * 0.4 * e), 1e-9);
    EXPECT_NEAR(air->get_energy_p_rho(1e5 / 1.2, Y), 1e5 / 1.2 / 0.4, 1e-9);
    EXPECT_NEAR(air->get_pressure_rho_e(e, 1.2, Y), 0.4 * 1.2 * e, 1e-9);
    // e = cv T with cv = R / (gamma - 1): 2.5e5 J/kg is 348.4 K of air.
    EXPECT_NEAR(air->get_temperature_e(e, Y), 0.4 * e / kAirR, 1e-9);
    EXPECT_NEAR(air->get_temperature_e(e, Y), 348.37, 0.01);

    // Overriding get_gamma alone changes every closure.
    auto other = std::make_shared<test_gas_13>(std::vector<constant_cp_substance>{{kAirM, 3.5 * kAirR}}, 1.4);
    EXPECT_NEAR(other->get_sound_speed_e(e, Y), std::sqrt(1.3 * 0.3 * e), 1e-9);
    EXPECT_NEAR(other->get_energy_p_rho(1e5, Y), 1e5 / 0.3, 1e-6);
    EXPECT_NEAR(other->get_pressure_rho_e(e, 1.0, Y), 0.3 * e, 1e-9);
    EXPECT_NEAR(other->get_temperature_e(e, Y), 0.3 * e / kAirR, 1e-9);

    // The pressure-based interface's default compressibility is 0.
    const I_solver__thermodynamics_P_H& p_h = *air;
    EXPECT_EQ(p_h.get_compressibility(1e5, 300.0, Y), 0.0);
}

TEST(ThermoFramework, QueryHandsOutSharedInterfacesAndTheIdentity) {
    auto air = make_air();
    std::any a = std::shared_ptr<I_solver__thermodynamics_Rho_E>();
    ASSERT_EQ(air->query_interface(a), MP_STATUS_OK);
    auto rho_e = std::any_cast<std::shared_ptr<I_solver__thermodynamics_Rho_E>>(a);
    EXPECT_EQ(air.use_count(), 3);  // the any and the interface pointer share ownership of the object
    std::any id = std::shared_ptr<I_identity>();
    ASSERT_EQ(air->query_interface(id), MP_STATUS_OK);
    std::uint8_t bytes[16];
    std::any_cast<std::shared_ptr<I_identity>>(id)->get_identity(bytes);
    EXPECT_EQ(0, std::memcmp(bytes, air->identity().bytes.data(), 16));
    EXPECT_FALSE(air->identity().is_nil());
    EXPECT_NE(air->identity(), make_air()->identity());
    std::any none = std::shared_ptr<I_fluid_ideal_gas>();
    EXPECT_EQ(air->query_interface(none), MP_STATUS_UNSUPPORTED);
}
