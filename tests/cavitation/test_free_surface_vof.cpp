// The free-surface VOF medium (kind 14): a VOF of one phase is that phase exactly; the mixing
// rules against sums over the phases' own answers; the refusals of bad phase lists and bad volume
// fractions; Save and Load of air, water and their mixture byte for byte, and a stream that
// would nest a VOF medium refused.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "cavitation/c_free_surface_vof_thermodynamics.h"
#include "file_io/c_file_io/c_file_io.h"
#include "medium_physics/standalone_host.h"
#include "cavitation/two_phase_support.h"

namespace {

using P_H = I_solver__thermodynamics_P_H;
// Sums over two phases in a different order than the medium's: a few roundings apart.
constexpr double kRoundOff = 1e-13;

using two_phase_test::as;
using two_phase_test::save;

struct vof : ::testing::Test {
    std::shared_ptr<I_medium_physics> factory;
    standalone_host::material_library library;
    fluid_ptr air, water, mix;
    void SetUp() override {
        ASSERT_EQ(create_medium_physics(factory, std::make_shared<standalone_host::CStandaloneHost>()), 0);
        for (const char* f : {"gases.json", "liquids.json", "complex_liquids.json", "two_phase.json"})
            library.add_file(std::string(MP_SOURCE_DIR) + "/data/materials/" + f);
        air = make("air");
        water = make("water");
        fluid_array phases(2);
        phases[0] = air;
        phases[1] = water;
        ASSERT_EQ(factory->CreateFreeSurfaceVofThermodynamics(phases, true, mix), MP_STATUS_OK);
    }
    fluid_ptr make(const std::string& name) {
        fluid_ptr m;
        std::string why;
        EXPECT_EQ(standalone_host::create_medium(*factory, library, *library.find_medium(name), true, m, &why), 0)
            << why;
        return m;
    }
};

}  // namespace

TEST_F(vof, OnePhaseIsThatPhaseExactly) {
    for (const auto& phase : {air, water, make("water-compressible"), make("combustion-products")}) {
        fluid_array one(1);
        one[0] = phase;
        fluid_ptr m;
        ASSERT_EQ(factory->CreateFreeSurfaceVofThermodynamics(one, false, m), MP_STATUS_OK);
        const auto v = as<P_H>(m);
        const auto p = as<P_H>(phase);
        // The composition: alpha = 1, then the phase's own fractions.
        std::vector<double> Yp(static_cast<std::size_t>(phase->get_substances().size()), 0.0);
        Yp[0] = 1.0;
        std::vector<double> Y{1.0};
        Y.insert(Y.end(), Yp.begin(), Yp.end());
        ASSERT_EQ(as<I_solver__free_surface_vof>(m)->get_composition_length(), static_cast<std::int32_t>(Y.size()));
        for (const double pr : {1e5, 2e7})
            for (const double T : {280.0, 330.0, 900.0}) {
                double a[8], b[8];
                v->get_properties_p_T(pr, T, Y.data(), &a[0], &a[1], &a[2], &a[3], &a[4], &a[5], &a[6], &a[7]);
                p->get_properties_p_T(pr, T, Yp.data(), &b[0], &b[1], &b[2], &b[3], &b[4], &b[5], &b[6], &b[7]);
                for (int i = 0; i < 8; ++i) EXPECT_EQ(a[i], b[i]) << i;
                EXPECT_EQ(v->get_enthalpy(pr, T, Y.data()), p->get_enthalpy(pr, T, Yp.data()));
                EXPECT_EQ(v->get_cp(pr, T, Y.data()), p->get_cp(pr, T, Yp.data()));
                EXPECT_EQ(v->get_sound_speed(pr, T, Y.data()), p->get_sound_speed(pr, T, Yp.data()));
                EXPECT_EQ(v->get_drho_dp(pr, T, Y.data()), p->get_drho_dp(pr, T, Yp.data()));
                EXPECT_EQ(v->get_expansion_factor(pr, T, Y.data()), p->get_expansion_factor(pr, T, Yp.data()));
                EXPECT_EQ(v->get_T_p_h(pr, b[1], Y.data()), p->get_T_p_h(pr, b[1], Yp.data()));
                double c[9], d[9];
                v->get_properties_p_H(b[1], pr, Y.data(), 100.0, T + 20, &c[0], &c[1], &c[2], &c[3], &c[4], &c[5],
                                      &c[6], &c[7], &c[8]);
                p->get_properties_p_H(b[1], pr, Yp.data(), 100.0, T + 20, &d[0], &d[1], &d[2], &d[3], &d[4], &d[5],
                                      &d[6], &d[7], &d[8]);
                for (int i = 0; i < 9; ++i) EXPECT_EQ(c[i], d[i]) << i;
            }
    }
    // In a two-phase VOF, a phase holding all the volume answers alone too.
    const double Y[4] = {0.0, 1.0, 1.0, 1.0};
    const double one[1] = {1.0};
    EXPECT_EQ(as<P_H>(mix)->get_density(1e5, 300.0, Y), as<P_H>(water)->get_density(1e5, 300.0, one));
}

TEST_F(vof, MixtureRulesOverThePhasesAnswers) {
    const auto v = as<P_H>(mix);
    const auto a = as<P_H>(air);
    const auto w = as<P_H>(water);
    const double one[1] = {1.0};
    for (const double alpha : {0.01, 0.5, 0.97}) {
        const double Y[4] = {alpha, 1.0 - alpha, 1.0, 1.0};
        for (const double T : {285.0, 320.0}) {
            const double p = 2e5;
            const double ra = a->get_density(p, T, one), rw = w->get_density(p, T, one);
            const double rho = alpha * ra + (1 - alpha) * rw;
            const double xa = alpha * ra / rho;
            double r[8];
            v->get_properties_p_T(p, T, Y, &r[0], &r[1], &r[2], &r[3], &r[4], &r[5], &r[6], &r[7]);
            EXPECT_NEAR(r[0], rho, kRoundOff * rho);
            const double h = xa * a->get_enthalpy(p, T, one) + (1 - xa) * w->get_enthalpy(p, T, one);
            EXPECT_NEAR(r[1], h, kRoundOff * std::fabs(h));
            const double cp = xa * a->get_cp(p, T, one) + (1 - xa) * w->get_cp(p, T, one);
            EXPECT_NEAR(r[2], cp, kRoundOff * cp);
            // Wood with a rigid liquid: 1/(rho c^2) = alpha / (rho_a c_a^2).
            const double ca = a->get_sound_speed(p, T, one);
            const double c = std::sqrt(ra * ca * ca / (alpha * rho));
            EXPECT_NEAR(r[5], c, 1e-12 * c);
            EXPECT_EQ(r[4], 0.0);  // the liquid has no molar mass
            const double mu = alpha * a->get_viscosity(p, T, one) + (1 - alpha) * w->get_viscosity(p, T, one);
            EXPECT_NEAR(r[6], mu, kRoundOff * mu);
            const double lambda = alpha * a->get_conductivity(p, T, one) + (1 - alpha) * w->get_conductivity(p, T, one);
            EXPECT_NEAR(r[7], lambda, kRoundOff * lambda);
            // T back from h at fixed volume fractions.
            EXPECT_NEAR(v->get_T_p_h(p, h, Y), T, 1e-8 * T);
            EXPECT_NEAR(v->get_mole_fraction(p, T, Y, 0), alpha, kRoundOff);
            EXPECT_NEAR(v->get_mass_fraction(p, T, Y, 0), xa, kRoundOff);
        }
    }
    const auto i = as<I_solver__free_surface_vof>(mix);
    EXPECT_EQ(i->get_phase_count(), 2);
    EXPECT_EQ(i->get_phase(1), w);
    EXPECT_EQ(i->get_phase(2), nullptr);
    EXPECT_EQ(dynamic_cast<const C_free_surface_vof_thermodynamics*>(mix.get())->description(),
              "Free surface VOF thermodynamics: Ideal gas thermodynamics + Incompressible liquid thermodynamics");
}

TEST_F(vof, BadVolumeFractionsAndPhaseListsAreRefused) {
    const auto v = as<I_solver__free_surface_vof>(mix);
    const double good[2] = {0.25, 0.75};
    EXPECT_EQ(v->check_volume_fractions(good, nullptr), MP_STATUS_OK);
    const char* why = nullptr;
    const double short_sum[2] = {0.25, 0.5}, negative[2] = {-0.25, 1.25}, nan[2] = {std::nan(""), 1.0};
    EXPECT_EQ(v->check_volume_fractions(short_sum, &why), MP_STATUS_FAILURE);
    EXPECT_STREQ(why, "the volume fractions do not sum to 1");
    EXPECT_EQ(v->check_volume_fractions(negative, &why), MP_STATUS_FAILURE);
    EXPECT_STREQ(why, "a volume fraction lies outside [0, 1]");
    EXPECT_EQ(v->check_volume_fractions(nan, &why), MP_STATUS_FAILURE);
    EXPECT_STREQ(why, "a volume fraction is not a finite number");
    // The operations themselves clean what they get: finite answers, never NaN.
    const double Y[4] = {std::nan(""), -3.0, 1.0, 1.0};
    EXPECT_TRUE(std::isfinite(as<P_H>(mix)->get_density(1e5, 300.0, Y)));

    standalone_host::log_capture cap;
    fluid_ptr out;
    fluid_array self(2);
    self[0] = air;
    self[1] = mix;  // a VOF medium among its own kind's phases (no VOF can hold itself)
    EXPECT_EQ(factory->CreateFreeSurfaceVofThermodynamics(self, true, out), MP_STATUS_FAILURE);
    EXPECT_EQ(cap.count("a phase is itself a free-surface VOF medium"), 1u);
    EXPECT_EQ(factory->CreateFreeSurfaceVofThermodynamics(fluid_array(), true, out), MP_STATUS_FAILURE);
    fluid_array hole(2);
    hole[0] = air;
    EXPECT_EQ(factory->CreateFreeSurfaceVofThermodynamics(hole, true, out), MP_STATUS_FAILURE);
    fluid_ptr placeholder;
    ASSERT_EQ(factory->CreateCavitationObsoleteThermodynamics(0.0, false, placeholder), MP_STATUS_OK);
    hole[1] = placeholder;  // no solver interface
    EXPECT_EQ(factory->CreateFreeSurfaceVofThermodynamics(hole, true, out), MP_STATUS_FAILURE);
    EXPECT_EQ(out, nullptr);

    // The host refuses a medium definition whose phases name itself, without recursing.
    standalone_host::material_library lib = library;
    lib.add_text(R"({"materials": [], "media": [{"name": "loop", "kind": "free_surface_vof",
        "phases": ["air", "loop"], "volume_fractions": [0.5, 0.5]}]})", "test");
    std::string reason;
    EXPECT_EQ(standalone_host::create_medium(*factory, lib, *lib.find_medium("loop"), false, out, &reason),
              MP_STATUS_FAILURE);
    EXPECT_NE(reason.find("is itself a free-surface VOF medium"), std::string::npos) << reason;
}

TEST_F(vof, AirWaterAndTheirMixtureRoundTripByteForByte) {
    const auto bytes = save(*factory);
    std::shared_ptr<I_medium_physics> g;
    ASSERT_EQ(create_medium_physics(g, std::make_shared<standalone_host::CStandaloneHost>()), 0);
    {
        C_file_io s;
        s.open_memory(bytes);
        ASSERT_EQ(g->Load(s), MP_STATUS_OK);
    }
    EXPECT_EQ(save(*g), bytes);
    host_guid id;
    as<I_identity>(mix)->get_identity(id.bytes.data());
    fluid_ptr back;
    ASSERT_EQ(g->FindThermodynamics(id, back), MP_STATUS_OK);
    const double Y[4] = {0.3, 0.7, 1.0, 1.0};
    EXPECT_EQ(as<P_H>(back)->get_density(1e5, 300.0, Y), as<P_H>(mix)->get_density(1e5, 300.0, Y));
    EXPECT_EQ(as<P_H>(back)->get_sound_speed(1e5, 300.0, Y), as<P_H>(mix)->get_sound_speed(1e5, 300.0, Y));

    // The VOF record (kind 14): version, identity, count, then the phases inline. A stream whose
    // first phase claims kind 14 (a VOF inside a VOF) does not load.
    // (little-endian int32 14, int32 0, then the 16 identity bytes)
    const std::vector<std::uint8_t> kind14{14, 0, 0, 0};
    std::vector<std::uint8_t> record(bytes), pattern{14, 0, 0, 0, 0, 0, 0, 0};
    for (const std::uint8_t b : id.bytes) pattern.push_back(b);
    const auto at = std::search(record.begin(), record.end(), pattern.begin(), pattern.end());
    ASSERT_NE(at, record.end());
    const auto phase_kind = at + static_cast<std::ptrdiff_t>(pattern.size() + 4);
    std::copy(kind14.begin(), kind14.end(), phase_kind);
    std::shared_ptr<I_medium_physics> h;
    ASSERT_EQ(create_medium_physics(h, std::make_shared<standalone_host::CStandaloneHost>()), 0);
    C_file_io s;
    s.open_memory(record);
    EXPECT_EQ(h->Load(s), MP_STATUS_FAILURE);
}
