// The real-gas media (kind 5: a real gas, alone or mixed with ideal gases; kind 6: a pure real gas
// with its saturation dome) created from the built-in materials through the host and the factory:
// co2-srk against a Soave-Redlich-Kwong computation written here (direct evaluation, and the
// saturation line by fugacity equality), the inversions and their round trips also across the
// dome, the homogeneous equilibrium speed of sound against the isentrope dh = v dp, the ideal
// mixing rule, the record, bad input and several threads on one medium.
#include <gtest/gtest.h>

#include <algorithm>
#include <any>
#include <cstdio>
#include <cmath>
#include <limits>
#include <memory>
#include <numbers>
#include <string>
#include <thread>
#include <vector>

#include "factory/c_medium_physics.h"
#include "file_io/c_file_io/c_file_io.h"
#include "medium_physics/real_gas_state.h"
#include "medium_physics/standalone_host.h"
#include "real_gas/c_real_gas_medium.h"
#include "real_gas/crgpropertygenerator.h"

namespace {

const double kNaN = std::numeric_limits<double>::quiet_NaN();

// ---- Soave-Redlich-Kwong for CO2 (co2-srk's data), written from Soave, Chem. Eng. Sci. 27 (1972) 1197
struct srk {
    static constexpr double R = 8.3144, Tc = 304.2, pc = 7.39e6, w = 0.228, M = 0.04401;
    static constexpr double ac = 0.42748 * R * R * Tc * Tc / pc;
    static constexpr double b = 0.08664 * R * Tc / pc;
    static double m() { return 0.480 + 1.574 * w - 0.176 * w * w; }
    static double a(double T) {
        const double s = 1.0 + m() * (1.0 - std::sqrt(T / Tc));
        return ac * s * s;
    }
    static double da_dT(double T) { return -ac * m() * (1.0 + m() * (1.0 - std::sqrt(T / Tc))) / std::sqrt(T * Tc); }
    static double p(double v, double T) { return R * T / (v - b) - a(T) / (v * (v + b)); }
    // molar volume of the smallest (liquid) or largest (vapour) root of the cubic in Z,
    // Z^3 - Z^2 + (A - B - B^2) Z - A B = 0, by the trigonometric form when it has three
    static double v(double pp, double T, bool liquid) {
        const double A = a(T) * pp / (R * R * T * T), B = b * pp / (R * T);
        const double c2 = -1.0, c1 = A - B - B * B, c0 = -A * B;
        const double q = (3.0 * c1 - c2 * c2) / 9.0, r = (9.0 * c2 * c1 - 27.0 * c0 - 2.0 * c2 * c2 * c2) / 54.0;
        const double disc = q * q * q + r * r;
        double Z = 0.0;
        if (disc > 0.0) {
            const double s1 = std::cbrt(r + std::sqrt(disc)), s2 = std::cbrt(r - std::sqrt(disc));
            Z = s1 + s2 - c2 / 3.0;
        } else {
            const double theta = std::acos(r / std::sqrt(-q * q * q));
            const double k = 2.0 * std::sqrt(-q);
            const double z1 = k * std::cos(theta / 3.0) - c2 / 3.0;
            const double z2 = k * std::cos((theta + 2.0 * std::numbers::pi) / 3.0) - c2 / 3.0;
            const double z3 = k * std::cos((theta + 4.0 * std::numbers::pi) / 3.0) - c2 / 3.0;
            Z = liquid ? std::min({z1, z2, z3}) : std::max({z1, z2, z3});
            if (Z <= B) Z = std::max({z1, z2, z3});
        }
        return Z * R * T / pp;
    }
    static double rho(double pp, double T, bool liquid) { return M / v(pp, T, liquid); }
    // residual enthalpy h - h0 [J/kg]
    static double h_res(double pp, double T, bool liquid) {
        const double x = v(pp, T, liquid);
        return (pp * x - R * T + (T * da_dT(T) - a(T)) / b * std::log(1.0 + b / x)) / M;
    }
    static double ln_phi(double pp, double T, bool liquid) {
        const double x = v(pp, T, liquid);
        const double Z = pp * x / (R * T), B = b * pp / (R * T), A = a(T) * pp / (R * R * T * T);
        return Z - 1.0 - std::log(Z - B) - A / B * std::log(1.0 + B / Z);
    }
    // saturation pressure by fugacity equality (successive substitution)
    static double psat(double T) {
        double pp = pc * std::exp(5.373 * (1.0 + w) * (1.0 - Tc / T));
        for (int i = 0; i < 500; ++i) {
            const double f = std::exp(ln_phi(pp, T, true) - ln_phi(pp, T, false));
            pp *= f;
            if (std::fabs(f - 1.0) < 1e-13) break;
        }
        return pp;
    }
};

struct media_fixture : ::testing::Test {
    void SetUp() override {
        ASSERT_EQ(create_medium_physics(factory, std::make_shared<standalone_host::CStandaloneHost>()), MP_STATUS_OK);
        for (const char* f : {"gases.json", "real_gases.json", "real_gas_media.json"})
            library.add_file(std::string(MP_SOURCE_DIR) + "/data/materials/" + f);
    }
    fluid_ptr create(const std::string& name, std::string* why_out = nullptr) {
        const auto def = library.find_medium(name);
        EXPECT_TRUE(def.has_value()) << name;
        fluid_ptr medium;
        std::string why;
        const auto status = standalone_host::create_medium(*factory, library, *def, true, medium, &why);
        if (why_out) *why_out = why;
        EXPECT_TRUE(status == MP_STATUS_OK || why_out) << why;
        return medium;
    }
    template <class I>
    static std::shared_ptr<I> as(const fluid_ptr& m) {
        std::any request = std::shared_ptr<I>();
        EXPECT_EQ(m->query_interface(request), MP_STATUS_OK);
        return std::any_cast<std::shared_ptr<I>>(request);
    }
    std::shared_ptr<I_medium_physics> factory;
    standalone_host::material_library library;
    const double Y1[1] = {1.0};
};

// Tolerances (relative), from what the tables of the built-in rectangle reach away from the
// saturation line and the critical point.
constexpr double kDensityTable = 2e-3;
constexpr double kEnthalpyTable = 2e-3;  // of the residual enthalpy difference's scale
constexpr double kSaturation = 2e-3;
constexpr double kRoundTrip = 1e-7;

}  // namespace

// Single-phase co2-srk states against the direct evaluation: gas, supercritical, compressed
// liquid and the dense gas above Tc; the enthalpy as a residual difference to 1 bar, so that the
// ideal-gas part (the same cp0 table) cancels.
TEST_F(media_fixture, SrkSinglePhaseStatesMatchTheDirectEvaluation) {
    const auto m = as<I_solver_real_gas>(create("co2-srk"));
    struct state { double p, T; bool liquid; int phase; };
    const state states[] = {{1e6, 300.0, false, MP_PHASE_VAPOUR},   {8e6, 310.0, false, MP_PHASE_SUPERCRITICAL},
                            {1.5e7, 260.0, true, MP_PHASE_LIQUID},  {2e7, 450.0, false, MP_PHASE_SUPERCRITICAL},
                            {3e6, 400.0, false, MP_PHASE_VAPOUR},   {1e7, 290.0, true, MP_PHASE_LIQUID}};
    for (const auto& s : states) {
        rg_point r, low;
        EXPECT_EQ(m->get_state_p_T(s.p, s.T, Y1, &r), MP_RG_OK);
        m->get_state_p_T(1e5, s.T, Y1, &low);
        EXPECT_NEAR(r.rho, srk::rho(s.p, s.T, s.liquid), kDensityTable * r.rho) << s.p << " Pa, " << s.T << " K";
        const double dh = srk::h_res(s.p, s.T, s.liquid) - srk::h_res(1e5, s.T, false);
        EXPECT_NEAR(r.h - low.h, dh, kEnthalpyTable * (std::fabs(dh) + srk::R * s.T / srk::M)) << s.p << ", " << s.T;
        EXPECT_EQ(r.phase, s.phase);
        EXPECT_EQ(r.x, -1.0);
    }
}

// The saturated states by fugacity equality: psat(T), the saturated densities and the latent heat
// (what a two-phase state at x = 0 and x = 1 answers).
TEST_F(media_fixture, SrkSaturationFollowsFugacityEquality) {
    const auto m = as<I_solver_real_gas>(create("co2-srk"));
    for (const double T : {225.0, 250.0, 270.0, 290.0, 300.0}) {
        const double ps = srk::psat(T);
        ASSERT_GT(srk::rho(ps, T, true), 1.5 * srk::rho(ps, T, false)) << T;
        EXPECT_NEAR(m->get_saturation_pressure(T), ps, kSaturation * ps) << T;
        EXPECT_NEAR(m->get_saturation_temperature(ps), T, 1e-4 * T) << T;
        // the dome at psat: x = 0 and x = 1 from the densities of the saturated phases
        const double rl = srk::rho(ps, T, true), rv = srk::rho(ps, T, false);
        rg_point mid;
        const double v_mid = 0.5 / rl + 0.5 / rv;
        EXPECT_EQ(m->get_state_p_rho(ps, 1.0 / v_mid, Y1, &mid) & MP_RG_ITERATION_FAILED, 0u);
        EXPECT_EQ(mid.phase, MP_PHASE_TWO_PHASE) << T;
        EXPECT_NEAR(mid.T, T, 1e-3 * T);
        const double latent = srk::h_res(ps, T, false) - srk::h_res(ps, T, true);
        // the mixture half-way in volume: x = (v - vl)/(vv - vl) = 1/2 by construction
        EXPECT_NEAR(mid.x, 0.5, 5e-3) << T;
        // states 1 % and 99 % of the SRK latent heat into the dome: their x differ by 0.98 when
        // the medium's latent heat is SRK's
        rg_point x0, x1;
        const double H_l = mid.h - mid.x * latent;
        m->get_state_p_H(H_l + 0.01 * latent, ps, Y1, 0.0, T, &x0);
        m->get_state_p_H(H_l + 0.99 * latent, ps, Y1, 0.0, T, &x1);
        EXPECT_EQ(x0.phase, MP_PHASE_TWO_PHASE) << T;
        EXPECT_EQ(x1.phase, MP_PHASE_TWO_PHASE) << T;
        EXPECT_NEAR(x1.x - x0.x, 0.98, kSaturation) << T << ": latent heat " << latent;
        m->get_state_p_H(H_l - 0.01 * latent, ps, Y1, 0.0, T, &x0);
        m->get_state_p_H(H_l + 1.01 * latent, ps, Y1, 0.0, T, &x1);
        EXPECT_EQ(x0.phase, MP_PHASE_LIQUID) << T;
        EXPECT_EQ(x1.phase, MP_PHASE_VAPOUR) << T;
        // the saturated densities: the states just inside the dome
        m->get_state_p_rho(ps, rl * (1 - 1e-6), Y1, &x0);
        m->get_state_p_rho(ps, rv * (1 + 1e-6), Y1, &x1);
        EXPECT_NEAR(x0.rho, rl, kSaturation * rl) << T;
        EXPECT_NEAR(x1.rho, rv, 3 * kSaturation * rv) << T;
    }
}

// Single-phase states on their own side of the line, 1 % from psat: the table's cells next to the
// line must not blend the phases.
TEST_F(media_fixture, StatesNextToTheSaturationLineStayOnTheirSide) {
    const auto m = as<I_solver_real_gas>(create("co2-srk"));
    for (const double T : {230.0, 250.0, 270.0, 290.0}) {
        const double ps = srk::psat(T);
        rg_point l, v;
        m->get_state_p_T(1.01 * ps, T, Y1, &l);
        m->get_state_p_T(0.99 * ps, T, Y1, &v);
        EXPECT_EQ(l.phase, MP_PHASE_LIQUID);
        EXPECT_EQ(v.phase, MP_PHASE_VAPOUR);
        const double rl = srk::rho(1.01 * ps, T, true), rv = srk::rho(0.99 * ps, T, false);
        RecordProperty("liquid at 1.01 psat, " + std::to_string(T) + " K", std::to_string(100 * (l.rho / rl - 1)) + " %");
        RecordProperty("vapour at 0.99 psat, " + std::to_string(T) + " K", std::to_string(100 * (v.rho / rv - 1)) + " %");
        EXPECT_NEAR(l.rho, rl, 0.05 * rl) << T;
        EXPECT_NEAR(v.rho, rv, 0.05 * rv) << T;
    }
}

// T -> (p, H) -> T with the kinetic term, (rho, e) -> (p, T) -> (rho, e) and (p, rho) -> T, on the
// pure real gas across the pseudo-critical line and on the CO2-air mixture.
TEST_F(media_fixture, InversionsRoundTripInOnePhase) {
    for (const char* name : {"CO2-real", "CO2-with-air"}) {
        const auto medium = create(name);
        const auto m = as<I_solver_real_gas>(medium);
        const auto def = library.find_medium(name);
        const double* Y = def->mass_fractions.data();
        for (const double p : {1e5, 2e6, 8e6, 1.8e7})
            for (const double T : {235.0, 290.0, 305.0, 310.0, 330.0, 420.0, 495.0}) {
                rg_point s;
                m->get_state_p_T(p, T, Y, &s);
                if (s.phase == MP_PHASE_LIQUID && std::string(name) == "CO2-with-air") continue;  // see the header
                const double G2 = 1e4 * s.rho * s.rho;  // u = 100 m/s
                rg_point a, b, c;
                EXPECT_EQ(m->get_state_p_H(s.h + 0.5 * G2 / (s.rho * s.rho), p, Y, G2, T + 5.0, &a), MP_RG_OK)
                    << name << " " << p << " " << T;
                EXPECT_NEAR(a.T, T, kRoundTrip * T) << name << " " << p << " " << T;
                EXPECT_EQ(m->get_state_rho_e(s.e, s.rho, Y, T + 5.0, &b), MP_RG_OK) << name << " " << p << " " << T;
                EXPECT_NEAR(b.T, T, 1e-6 * T) << name << " " << p << " " << T;
                EXPECT_NEAR(b.p, p, 1e-5 * p) << name << " " << p << " " << T;
                EXPECT_EQ(m->get_state_p_rho(p, s.rho, Y, &c), MP_RG_OK);
                EXPECT_NEAR(c.T, T, 1e-6 * T) << name << " " << p << " " << T;
            }
    }
}

// Across the dome of R134a at 1 MPa: H rises through liquid, two-phase and vapour; inside, T is the
// saturation temperature, x rises linearly in H, and (rho, e) of a two-phase state comes back to
// the same T and x.
TEST_F(media_fixture, PhaseChangeMediumCrossesTheDome) {
    const auto m = as<I_solver_real_gas>(create("R134a-two-phase"));
    const double p = 1e6;
    const double Ts = m->get_saturation_temperature(p);
    ASSERT_GT(Ts, 300.0);
    // the reference equation of Tillner-Roth and Baehr (1994) gives 312.5 K; the cubic of the
    // built-in R134a about 317 K
    ASSERT_LT(Ts, 320.0);
    rg_point l, v;
    m->get_state_p_T(p, Ts - 1e-3, Y1, &l);
    m->get_state_p_T(p, Ts + 1e-3, Y1, &v);
    ASSERT_EQ(l.phase, MP_PHASE_LIQUID);
    ASSERT_EQ(v.phase, MP_PHASE_VAPOUR);
    double previous_x = -1.0;
    for (int i = 1; i < 10; ++i) {
        const double H = l.h + (v.h - l.h) * i / 10.0;
        rg_point s;
        EXPECT_EQ(m->get_state_p_H(H, p, Y1, 0.0, 300.0, &s), MP_RG_OK);
        EXPECT_EQ(s.phase, MP_PHASE_TWO_PHASE);
        EXPECT_NEAR(s.T, Ts, 1e-6 * Ts);
        EXPECT_NEAR(s.x, i / 10.0, 2e-4);
        EXPECT_GT(s.x, previous_x);
        previous_x = s.x;
        EXPECT_GT(s.rho, v.rho);
        EXPECT_LT(s.rho, l.rho);
        rg_point back;
        EXPECT_EQ(m->get_state_rho_e(s.e, s.rho, Y1, 280.0, &back) & MP_RG_ITERATION_FAILED, 0u);
        EXPECT_EQ(back.phase, MP_PHASE_TWO_PHASE);
        EXPECT_NEAR(back.T, Ts, 1e-6 * Ts);
        EXPECT_NEAR(back.x, s.x, 1e-6);
        EXPECT_NEAR(back.p, p, 1e-5 * p);
    }
    // the same states through the common operations
    const auto ph = as<I_solver__thermodynamics_P_H>(create("R134a-two-phase"));
    EXPECT_NEAR(ph->get_T_p_h(p, 0.5 * (l.h + v.h), Y1), Ts, 1e-6 * Ts);
}

// The homogeneous equilibrium speed of sound inside the dome, and the single-phase one, against
// the isentrope dh = v dp (trapezoid over a small pressure step): a^2 = dp/drho at constant s.
TEST_F(media_fixture, SoundSpeedIsTheIsentropicDerivativeAlsoInTheDome) {
    const auto m = as<I_solver_real_gas>(create("CO2-two-phase"));
    struct start { double p, H; };
    std::vector<start> starts;
    for (const double T : {250.0, 280.0}) {
        const double ps = m->get_saturation_pressure(T);
        rg_point l, v;
        m->get_state_p_T(ps, T - 1e-3, Y1, &l);
        m->get_state_p_T(ps * (1 - 1e-5), T, Y1, &v);
        for (const double x : {0.1, 0.5, 0.9}) starts.push_back({ps, l.h + x * (v.h - l.h)});
    }
    rg_point g;
    m->get_state_p_T(5e6, 350.0, Y1, &g);
    starts.push_back({5e6, g.h});
    for (const auto& s : starts) {
        rg_point a, b;
        m->get_state_p_H(s.H, s.p, Y1, 0.0, 300.0, &a);
        const double dp = 1e-5 * s.p;
        // predictor-corrector on dh = v dp
        rg_point mid;
        m->get_state_p_H(s.H + dp / a.rho, s.p + dp, Y1, 0.0, a.T, &mid);
        m->get_state_p_H(s.H + 0.5 * dp * (1 / a.rho + 1 / mid.rho), s.p + dp, Y1, 0.0, a.T, &b);
        const double a2 = dp / (b.rho - a.rho);
        // the medium's slopes are those of one table cell (one node interval of the saturation
        // line inside the dome): a few 1e-3 apart from the exact isentrope
        EXPECT_NEAR(a.a * a.a, a2, 1e-2 * a2) << "p " << s.p << " x " << a.x;
        if (a.phase == MP_PHASE_TWO_PHASE) {
            EXPECT_NEAR(a.gamma, a.rho * a.a * a.a / a.p, 1e-12 * a.gamma);
        }
    }
}

// The mixing rule: v and h of CO2-with-air are the mass-weighted sums of the pure real gas and the
// ideal gases at the same p and T.
TEST_F(media_fixture, IdealMixingAddsVolumesAndEnthalpies) {
    const auto mix = as<I_solver__thermodynamics_P_H>(create("CO2-with-air"));
    const auto co2 = as<I_solver__thermodynamics_P_H>(create("CO2-real"));
    const auto n2 = as<I_solver__thermodynamics_P_H>(create("N2"));
    const auto o2 = as<I_solver__thermodynamics_P_H>(create("O2"));
    const double Y[3] = {0.9, 0.077, 0.023};
    for (const double p : {1e5, 5e6, 1.5e7})
        for (const double T : {320.0, 400.0}) {
            const double v = Y[0] / co2->get_density(p, T, Y1) + Y[1] / n2->get_density(p, T, Y1) +
                             Y[2] / o2->get_density(p, T, Y1);
            const double h = Y[0] * co2->get_enthalpy(p, T, Y1) + Y[1] * n2->get_enthalpy(p, T, Y1) +
                             Y[2] * o2->get_enthalpy(p, T, Y1);
            EXPECT_NEAR(1.0 / mix->get_density(p, T, Y), v, 1e-12 * v);
            EXPECT_NEAR(mix->get_enthalpy(p, T, Y), h, 1e-9 * std::fabs(h));
            // cp/cv > 1 and a below the ideal-gas speed of the same mixture at high pressure
            double r[8];
            mix->get_properties_p_T(p, T, Y, &r[0], &r[1], &r[2], &r[3], &r[4], &r[5], &r[6], &r[7]);
            EXPECT_GT(r[3], 1.0);
            EXPECT_GT(r[5], 0.0);
        }
}

// Save, Load and Save again give the same bytes; the loaded media answer the same numbers and are
// found by their identifiers; every truncation is refused.
TEST_F(media_fixture, RecordsRoundTripThroughTheFactory) {
    const auto k5 = create("CO2-with-air");
    const auto k6 = create("R134a-two-phase");
    C_file_io s;
    s.open_memory();
    ASSERT_EQ(factory->Save(s), MP_STATUS_OK);
    const auto data = s.memory_bytes();
    std::shared_ptr<I_medium_physics> g;
    ASSERT_EQ(create_medium_physics(g, std::make_shared<standalone_host::CStandaloneHost>()), MP_STATUS_OK);
    C_file_io r;
    r.open_memory(data);
    ASSERT_EQ(g->Load(r), MP_STATUS_OK);
    C_file_io again;
    again.open_memory();
    ASSERT_EQ(g->Save(again), MP_STATUS_OK);
    EXPECT_EQ(again.memory_bytes(), data);
    for (const auto& original : {k5, k6}) {
        host_guid id;
        as<I_identity>(original)->get_identity(id.bytes.data());
        fluid_ptr found;
        ASSERT_EQ(g->FindThermodynamics(id, found), MP_STATUS_OK);
        EXPECT_EQ(as<I_write>(found)->get_type_id(), as<I_write>(original)->get_type_id());
        const auto a = as<I_solver__thermodynamics_P_H>(original);
        const auto b = as<I_solver__thermodynamics_P_H>(found);
        const double Y[3] = {0.9, 0.077, 0.023};
        for (const double T : {250.0, 320.0, 400.0}) {
            EXPECT_EQ(a->get_density(1e6, T, Y), b->get_density(1e6, T, Y));
            EXPECT_EQ(a->get_enthalpy(1e6, T, Y), b->get_enthalpy(1e6, T, Y));
        }
    }
    EXPECT_EQ(as<I_write>(k5)->get_type_id(), MP_KIND_REAL_GAS);
    EXPECT_EQ(as<I_write>(k6)->get_type_id(), MP_KIND_REAL_GAS_PHASE_CHANGE);
    for (std::size_t n = 0; n < data.size(); n += 1 + data.size() / 300) {
        std::shared_ptr<I_medium_physics> h;
        ASSERT_EQ(create_medium_physics(h, std::make_shared<standalone_host::CStandaloneHost>()), MP_STATUS_OK);
        C_file_io t;
        t.open_memory(std::vector<std::uint8_t>(data.begin(), data.begin() + static_cast<std::ptrdiff_t>(n)));
        EXPECT_EQ(h->Load(t), MP_STATUS_FAILURE) << n;
    }
}

// NaN, infinite, zero and negative inputs answer NaN with MP_RG_BAD_INPUT; states outside the
// table say so per call; a phase-change medium refuses ideal-gas components.
TEST_F(media_fixture, BadInputGetsAClearStatus) {
    for (const char* name : {"CO2-real", "CO2-two-phase"}) {
        const auto m = as<I_solver_real_gas>(create(name));
        rg_point r;
        for (const double p : {kNaN, -1e5, 0.0, std::numeric_limits<double>::infinity()}) {
            EXPECT_EQ(m->get_state_p_T(p, 300.0, Y1, &r), MP_RG_BAD_INPUT);
            EXPECT_TRUE(std::isnan(r.rho));
            EXPECT_EQ(m->get_state_p_H(1e5, p, Y1, 0.0, 300.0, &r), MP_RG_BAD_INPUT);
            EXPECT_EQ(m->get_state_p_rho(p, 100.0, Y1, &r), MP_RG_BAD_INPUT);
        }
        EXPECT_EQ(m->get_state_p_T(1e6, -5.0, Y1, &r), MP_RG_BAD_INPUT);
        EXPECT_EQ(m->get_state_p_H(kNaN, 1e6, Y1, 0.0, 300.0, &r), MP_RG_BAD_INPUT);
        EXPECT_EQ(m->get_state_p_H(1e5, 1e6, Y1, -1.0, 300.0, &r), MP_RG_BAD_INPUT);
        EXPECT_EQ(m->get_state_rho_e(1e5, kNaN, Y1, 300.0, &r), MP_RG_BAD_INPUT);
        EXPECT_EQ(m->get_state_rho_e(1e5, 100.0, Y1, 0.0, &r), MP_RG_BAD_INPUT);
        // outside the table: answered at its edge, with the bit of this call only
        EXPECT_NE(m->get_state_p_T(1e9, 300.0, Y1, &r) & MP_RG_PRESSURE_OUTSIDE, 0u);
        EXPECT_TRUE(std::isfinite(r.rho));
        EXPECT_NE(m->get_state_p_T(1e6, 5000.0, Y1, &r) & MP_RG_TEMPERATURE_OUTSIDE, 0u);
        EXPECT_EQ(m->get_state_p_T(1e6, 350.0, Y1, &r), MP_RG_OK);
        // an enthalpy no temperature of the table reaches: the start value and the failure bit
        EXPECT_NE(m->get_state_p_H(1e12, 1e6, Y1, 0.0, 333.0, &r) & MP_RG_ITERATION_FAILED, 0u);
        EXPECT_EQ(r.T, 333.0);
        // the common operations answer NaN without a crash
        const auto ph = as<I_solver__thermodynamics_P_H>(create(name));
        EXPECT_TRUE(std::isnan(ph->get_density(kNaN, 300.0, Y1)));
        EXPECT_TRUE(std::isnan(ph->get_drho_dp(-1.0, 300.0, Y1)));
    }
    // kind 6 with ideal-gas components, kind 5 without a real gas first: refused with a reason
    auto def = *library.find_medium("CO2-two-phase");
    def.substances.push_back("N2");
    def.mass_fractions = {0.9, 0.1};
    fluid_ptr out;
    std::string why;
    EXPECT_NE(standalone_host::create_medium(*factory, library, def, false, out, &why), MP_STATUS_OK);
    auto bad = *library.find_medium("CO2-with-air");
    std::swap(bad.substances[0], bad.substances[1]);
    EXPECT_NE(standalone_host::create_medium(*factory, library, bad, false, out, &why), MP_STATUS_OK);
    EXPECT_NE(why.find("real-gas material first"), std::string::npos) << why;
}

// Several threads on one medium while its table's patches are filled by their first lookups: every
// thread answers what one thread answers alone (ThreadSanitizer runs this in the sanitizer build).
TEST_F(media_fixture, ThreadsShareOneMediumWhileItsPatchesFill) {
    const auto fresh = [&] {
        std::shared_ptr<I_medium_physics> f;
        EXPECT_EQ(create_medium_physics(f, std::make_shared<standalone_host::CStandaloneHost>()), MP_STATUS_OK);
        fluid_ptr medium;
        std::string why;
        EXPECT_EQ(standalone_host::create_medium(*f, library, *library.find_medium("CO2-two-phase"), false, medium, &why),
                  MP_STATUS_OK);
        return std::make_pair(f, as<I_solver_real_gas>(medium));
    };
    const auto states = [] {
        std::vector<std::pair<double, double>> s;
        for (int i = 0; i < 400; ++i) s.push_back({1e5 + 2e7 * ((i * 37) % 400) / 400.0, 225.0 + 270.0 * ((i * 91) % 400) / 400.0});
        return s;
    }();
    auto [f1, serial] = fresh();
    std::vector<double> expected;
    for (const auto& [p, T] : states) {
        rg_point r;
        serial->get_state_p_T(p, T, Y1, &r);
        expected.push_back(r.h);
    }
    auto [f2, shared] = fresh();
    std::vector<std::vector<double>> got(4);
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&, t] {
            for (std::size_t k = 0; k < states.size(); ++k) {
                const auto& [p, T] = states[(k + 97 * t) % states.size()];
                rg_point r;
                shared->get_state_p_T(p, T, Y1, &r);
                got[t].push_back(r.h);
            }
        });
    for (auto& th : threads) th.join();
    for (int t = 0; t < 4; ++t)
        for (std::size_t k = 0; k < states.size(); ++k) EXPECT_EQ(got[t][k], expected[(k + 97 * t) % states.size()]);
    // filling ahead gives the same numbers
    auto [f3, ahead] = fresh();
    EXPECT_TRUE(ahead->fill_tables());
    for (std::size_t k = 0; k < states.size(); ++k) {
        rg_point r;
        ahead->get_state_p_T(states[k].first, states[k].second, Y1, &r);
        EXPECT_EQ(r.h, expected[k]);
    }
}

// The tables against the equation of state that filled them (the substance's own generator):
// density and enthalpy at 0.99 and 1.01 psat at every node temperature of the saturation line,
// and cp, gamma and a over the single-phase rectangle outside +-1 % in T and p around the critical
// point. The maxima are recorded (README.md lists them); the bounds are those maxima rounded up.
TEST_F(media_fixture, TablesAgainstTheirEquationOfState) {
    struct bounds { const char* name; double line, caloric; };
    for (const bounds b : {bounds{"CO2-real", 1e-3, 0.06}, bounds{"CO2-two-phase", 1.5e-3, 0.06}}) {
        const auto medium = std::dynamic_pointer_cast<C_real_gas_medium>(create(b.name));
        ASSERT_TRUE(medium);
        const C_real_gas_substance& sub = medium->real_substance();
        const auto& eos = static_cast<const CRGPropertyGenerator&>(*sub.generator());
        const auto m = as<I_solver_real_gas>(medium);
        const double Tmin = sub.constant(C_real_gas_substance::kTmin), Tmax = sub.constant(C_real_gas_substance::kTmax);
        const double pmin = sub.constant(C_real_gas_substance::kPmin), pmax = sub.constant(C_real_gas_substance::kPmax);
        double line_max = 0.0, line_T = 0.0, line_f = 0.0, line_far = 0.0;
        for (double T = Tmin; T < sub.saturation_end() - 0.5; T += 1.0) {
            const double ps = m->get_saturation_pressure(T);
            for (const double f : {0.99, 1.01}) {
                if (f * ps < pmin) continue;
                rg_point r;
                m->get_state_p_T(f * ps, T, Y1, &r);
                rg_state e;
                eos.state_pT(f * ps, T, e);
                const double err = std::max(std::fabs(r.rho / e.rho - 1.0), std::fabs(r.h - e.h) / (std::fabs(e.h) + e.cp * T));
                if (T < 0.99 * sub.critical_temperature()) line_far = std::max(line_far, err);
                if (err > line_max) {
                    line_max = err;
                    line_T = T;
                    line_f = f;
                }
            }
        }
        double cp_max = 0.0, gamma_max = 0.0, a_max = 0.0;
        const double Tc = sub.critical_temperature(), pc = sub.critical_pressure();
        for (int i = 0; i <= 60; ++i)
            for (int j = 0; j <= 60; ++j) {
                const double p = pmin * std::pow(pmax / pmin, i / 60.0) * (i == 60 ? 0.999 : 1.0);
                const double T = Tmin + (Tmax - Tmin) * j / 60.0 + 0.13;
                if (std::fabs(T / Tc - 1.0) < 0.01 && std::fabs(p / pc - 1.0) < 0.01) continue;
                const double Ts = m->get_saturation_temperature(p);
                if (Ts > 0.0 && std::fabs(T - Ts) < 0.5) continue;  // on the line itself
                rg_point r;
                m->get_state_p_T(p, T, Y1, &r);
                rg_state e;
                eos.state_pT(p, T, e);
                cp_max = std::max(cp_max, std::fabs(r.cp / e.cp - 1.0));
                gamma_max = std::max(gamma_max, std::fabs(r.gamma / (e.cp / e.cv) - 1.0));
                a_max = std::max(a_max, std::fabs(r.a / e.w - 1.0));
            }
        RecordProperty(std::string(b.name) + " rho, h at 0.99 and 1.01 psat", std::to_string(100 * line_max) + " %");
        RecordProperty(std::string(b.name) + " cp", std::to_string(100 * cp_max) + " %");
        RecordProperty(std::string(b.name) + " gamma", std::to_string(100 * gamma_max) + " %");
        RecordProperty(std::string(b.name) + " a", std::to_string(100 * a_max) + " %");
        std::printf("%s: line %.4g %% below 0.99 Tc, %.4g %% (%.4g psat at %.1f K) in all, cp %.4g %%, gamma %.4g %%, a %.4g %%\n", b.name,
                    100 * line_far, 100 * line_max, line_f, line_T, 100 * cp_max, 100 * gamma_max, 100 * a_max);
        EXPECT_LT(line_far, b.line) << b.name;
        EXPECT_LT(line_max, 2 * b.line) << b.name;  // within 1 % of Tc the line crosses cells steeply
        EXPECT_LT(cp_max, b.caloric) << b.name;
        EXPECT_LT(gamma_max, b.caloric) << b.name;
        EXPECT_LT(a_max, b.caloric) << b.name;
    }
}
