// The dense-fluid viscosity and conductivity of Chung, Ajlan, Lee and Starling against reference
// correlations at gas-like, liquid-like and supercritical (T, rho), with the critical data of the
// built-in materials (Vc = Zc R Tc/pc, as the real-gas substance feeds the method).
//
// References (the published check values of each correlation, at the given T and density):
//   nitrogen: Lemmon and Jacobsen, Int. J. Thermophys. 25 (2004) 21-69, their Table V
//             (viscosity and conductivity without the critical enhancement away from Tc);
//   CO2 viscosity: Fenghour, Wakeham and Vesovic, J. Phys. Chem. Ref. Data 27 (1998) 31-44,
//             their Table 8 (304 K, 254.32 kg/m3: the value without the critical enhancement).
// The bounds are the errors measured here, rounded up: they record what the method does with
// these inputs, so that a wrong coefficient or unit shows as a change.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <string>

#include "real_gas/chung_transport.h"

namespace {

constexpr double kR = 8.3144;

mp::chung_transport configured(double Tc, double pc, double Zc, double omega, double M) {
    mp::chung_inputs in;
    in.Tc = Tc;
    in.Vc = Zc * kR * Tc / pc;
    in.omega = omega;
    in.M = M;
    mp::chung_transport t;
    EXPECT_TRUE(t.configure(in));
    return t;
}

// N2-real and CO2-real of data/materials/real_gases.json
mp::chung_transport nitrogen() { return configured(126.2, 3.39e6, 0.2894, 0.038, 0.028014); }
mp::chung_transport carbon_dioxide() { return configured(304.2, 7.39e6, 0.275, 0.228, 0.04401); }

struct reference_point {
    double T;           // K
    double rho;         // kg/m3
    double mu;          // Pa s, reference
    double lambda;      // W/(m K), reference (0: not checked)
    double mu_bound;    // relative error bound
    double lambda_bound;
    const char* what;
};

}  // namespace

// Nitrogen: the diatomic cv0 = 5/2 R (within 0.1 % of the ideal-gas value from 100 to 300 K).
TEST(ChungTransport, NitrogenAgainstLemmonAndJacobsen) {
    const auto t = nitrogen();
    const double M = 0.028014;
    const double cv0 = 2.5 * kR;
    const reference_point points[] = {
        {100.0, 0.0, 6.90349e-6, 9.27749e-3, 0.035, 0.05, "dilute gas, 100 K"},
        {300.0, 0.0, 17.8771e-6, 25.9361e-3, 0.02, 0.03, "dilute gas, 300 K"},
        {100.0, 25000.0 * M, 79.7418e-6, 103.834e-3, 0.15, 0.16, "compressed liquid, 100 K, 25 mol/dm3"},
        {200.0, 10000.0 * M, 21.0810e-6, 36.0099e-3, 0.05, 0.08, "supercritical, 200 K, 10 mol/dm3"},
        {300.0, 5000.0 * M, 20.7430e-6, 32.7694e-3, 0.03, 0.05, "supercritical gas, 300 K, 5 mol/dm3"},
    };
    for (const auto& q : points) {
        double mu = 0.0, lambda = 0.0;
        t.evaluate(q.T, q.rho, cv0, &mu, &lambda);
        const double e_mu = mu / q.mu - 1.0, e_lambda = lambda / q.lambda - 1.0;
        RecordProperty(std::string("N2 ") + q.what, std::to_string(100 * e_mu) + " % mu, " +
                                                      std::to_string(100 * e_lambda) + " % lambda");
        std::printf("N2 %s: mu %+.1f %%, lambda %+.1f %%\n", q.what, 100 * e_mu, 100 * e_lambda);
        EXPECT_LT(std::fabs(e_mu), q.mu_bound) << q.what << ": mu " << mu;
        EXPECT_LT(std::fabs(e_lambda), q.lambda_bound) << q.what << ": lambda " << lambda;
    }
}

TEST(ChungTransport, CarbonDioxideViscosityAgainstFenghour) {
    const auto t = carbon_dioxide();
    const reference_point points[] = {
        {300.0, 1.773, 15.02e-6, 0.0, 0.03, 0.0, "dilute gas, 300 K"},
        {800.0, 0.662, 35.09e-6, 0.0, 0.04, 0.0, "dilute gas, 800 K"},
        {304.0, 254.320, 20.99e-6, 0.0, 0.11, 0.0, "near-critical, 304 K, 254 kg/m3"},
        {300.0, 1029.27, 132.55e-6, 0.0, 0.20, 0.0, "liquid, 300 K"},
        {220.0, 1194.86, 269.37e-6, 0.0, 0.25, 0.0, "liquid, 220 K"},
        {800.0, 407.828, 48.74e-6, 0.0, 0.06, 0.0, "supercritical, 800 K, 408 kg/m3"},
    };
    for (const auto& q : points) {
        double mu = 0.0;
        t.evaluate(q.T, q.rho, 0.0, &mu, nullptr);
        const double e = mu / q.mu - 1.0;
        RecordProperty(std::string("CO2 ") + q.what, std::to_string(100 * e) + " % mu");
        std::printf("CO2 %s: mu %+.1f %%\n", q.what, 100 * e);
        EXPECT_LT(std::fabs(e), q.mu_bound) << q.what << ": " << mu;
    }
}

// The dense form reaches its dilute limit continuously (the series for small y), and the limit is
// the separately written eta0 = 40.785 Fc sqrt(M T)/(Vc^(2/3) Omega_v).
TEST(ChungTransport, DenseFormMeetsItsDiluteLimit) {
    const auto t = carbon_dioxide();
    for (const double T : {250.0, 400.0, 900.0}) {
        double mu0 = 0.0, mu_small = 0.0;
        t.evaluate(T, 0.0, 30.0, &mu0, nullptr);
        t.evaluate(T, 1e-9, 30.0, &mu_small, nullptr);
        EXPECT_NEAR(mu0, t.dilute_viscosity(T), 1e-12 * mu0);
        EXPECT_NEAR(mu_small, mu0, 1e-9 * mu0);
    }
}

TEST(ChungTransport, BadInputIsRefusedWithNaN) {
    mp::chung_transport t;
    mp::chung_inputs bad;
    bad.Tc = 300.0;
    bad.Vc = -1.0;
    bad.M = 0.04;
    EXPECT_FALSE(t.configure(bad));
    double mu = 0.0, lambda = 0.0;
    t.evaluate(300.0, 1.0, 30.0, &mu, &lambda);
    EXPECT_TRUE(std::isnan(mu) && std::isnan(lambda));
    const auto good = carbon_dioxide();
    good.evaluate(std::nan(""), 1.0, 30.0, &mu, &lambda);
    EXPECT_TRUE(std::isnan(mu) && std::isnan(lambda));
    good.evaluate(300.0, -1.0, 30.0, &mu, &lambda);
    EXPECT_TRUE(std::isnan(mu) && std::isnan(lambda));
}
