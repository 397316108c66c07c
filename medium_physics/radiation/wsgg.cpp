#include "radiation/wsgg.h"

#include <algorithm>
#include <cctype>
#include <cmath>

namespace mp::radiation {

namespace {

// One published composition: kappa_i in 1/(atm m), and b_ij with a_i = sum_j b_ij T^j.
struct wsgg_set {
    double kappa[kWsggGrayGases];
    double b[kWsggGrayGases][4];
};

// Smith, Shen and Friedman (1982), emissivity coefficients, in the order of the water share
// f = xw / (xw + xc) below.
constexpr wsgg_set kSets[4] = {
    // CO2, pc -> 0 atm
    {{0.3966, 15.64, 394.3},
     {{0.4334e-1, 2.620e-4, -1.560e-7, 2.565e-11},
      {-0.4814e-1, 2.822e-4, -1.794e-7, 3.274e-11},
      {0.5492e-1, 0.1087e-4, -0.3500e-7, 0.9123e-11}}},
    // pw / pc = 1
    {{0.4303, 7.055, 178.1},
     {{5.150e-1, -2.303e-4, 0.9779e-7, -1.494e-11},
      {0.7749e-1, 3.399e-4, -2.297e-7, 3.770e-11},
      {1.907e-1, -1.824e-4, 0.5608e-7, -0.5122e-11}}},
    // pw / pc = 2
    {{0.4201, 6.516, 131.9},
     {{6.508e-1, -5.551e-4, 3.029e-7, -5.353e-11},
      {-0.2504e-1, 6.112e-4, -3.882e-7, 6.528e-11},
      {2.718e-1, -3.118e-4, 1.221e-7, -1.612e-11}}},
    // H2O, pw -> 0 atm
    {{0.4098, 6.325, 120.5},
     {{5.977e-1, -5.119e-4, 3.042e-7, -5.564e-11},
      {0.5677e-1, 3.333e-4, -1.967e-7, 2.718e-11},
      {1.800e-1, -2.334e-4, 1.008e-7, -1.454e-11}}},
};
// The water share of each set: CO2 alone, pw = pc, pw = 2 pc, H2O alone.
constexpr double kShare[4] = {0.0, 0.5, 2.0 / 3.0, 1.0};

// Molar masses [kg/mol] by which an absorber is recognised.
constexpr double kMolarMassCO2 = 0.0440095;
constexpr double kMolarMassH2O = 0.0180153;
constexpr double kMolarMassTolerance = 0.01;  // relative: isotopes and rounded data pass, other species do not

double weight(const wsgg_set& s, std::int32_t i, double T) noexcept {
    const double* b = s.b[i];
    return b[0] + T * (b[1] + T * (b[2] + T * b[3]));
}

bool equal_ignoring_case(const char* a, const char* b) noexcept {
    for (; *a != '\0' && *b != '\0'; ++a, ++b)
        if (std::toupper(static_cast<unsigned char>(*a)) != std::toupper(static_cast<unsigned char>(*b))) return false;
    return *a == *b;
}

}  // namespace

wsgg_status wsgg_at(double p, double T, double x_h2o, double x_co2, wsgg_gray_gases& out) noexcept {
    out = wsgg_gray_gases{};
    if (!(std::isfinite(p) && p > 0.0 && std::isfinite(T) && T > 0.0 && std::isfinite(x_h2o) &&
          std::isfinite(x_co2)))
        return wsgg_status::bad_input;
    const double xw = std::max(x_h2o, 0.0);
    const double xc = std::max(x_co2, 0.0);
    const double x = xw + xc;
    if (x <= 0.0) return wsgg_status::no_absorber;

    // The two published sets around the water share, and the linear weight between them.
    const double f = xw / x;
    std::int32_t lo = 0;
    while (lo < 2 && f > kShare[lo + 1]) ++lo;
    const double w = (f - kShare[lo]) / (kShare[lo + 1] - kShare[lo]);
    const wsgg_set& s0 = kSets[lo];
    const wsgg_set& s1 = kSets[lo + 1];

    const double Tw = std::clamp(T, kWsggTmin, kWsggTmax);
    const double path = p / kAtmosphere * x;  // pw + pc, atm
    for (std::int32_t i = 0; i < kWsggGrayGases; ++i) {
        out.k[i] = ((1.0 - w) * s0.kappa[i] + w * s1.kappa[i]) * path;
        out.a[i] = (1.0 - w) * weight(s0, i, Tw) + w * weight(s1, i, Tw);
    }
    return wsgg_status::ok;
}

double planck_mean_absorption(const wsgg_gray_gases& g) noexcept {
    double kp = 0.0;
    for (std::int32_t i = 0; i < kWsggGrayGases; ++i) kp += g.a[i] * g.k[i];
    return kp;
}

double total_emissivity(const wsgg_gray_gases& g, double L) noexcept {
    if (!(L > 0.0)) return 0.0;
    double eps = 0.0;
    // -expm1 keeps the optically thin paths exact: 1 - exp(-kL) loses digits when kL is tiny.
    for (std::int32_t i = 0; i < kWsggGrayGases; ++i) eps += g.a[i] * -std::expm1(-g.k[i] * L);
    return eps;
}

double pressure_path_length(double p, double x_h2o, double x_co2, double L) noexcept {
    return p / kAtmosphere * (std::max(x_h2o, 0.0) + std::max(x_co2, 0.0)) * L;
}

absorber absorber_of(const char* name_utf8, double molar_mass) noexcept {
    if (name_utf8 == nullptr) return absorber::none;
    const auto near = [molar_mass](double M) { return std::fabs(molar_mass - M) <= kMolarMassTolerance * M; };
    if (equal_ignoring_case(name_utf8, "CO2") && near(kMolarMassCO2)) return absorber::co2;
    if (equal_ignoring_case(name_utf8, "H2O") && near(kMolarMassH2O)) return absorber::h2o;
    return absorber::none;
}

}  // namespace mp::radiation
