// The curve fits of equilibrium air of Srinivasan, Tannehill and Weilmuenster, "Simplified curve
// fits for the thermodynamic properties of equilibrium air", NASA RP-1181 (1987), as the
// published routine TGAS1 evaluates them: gamma~ = h/e (so p = (gamma~ - 1) rho e) as a function
// of y = log10(rho/1.292) and z = log10(e/78408.4), and log10(T/273.15) as a function of y and
// z1 = log10(p/1.0133e5) - y. Only the bands -4.5 < y <= -0.5 and -0.5 < y < 3 (rho from
// 4.1e-5 kg/m3 up) and the energy ranges below are transcribed; the tests keep clear of the
// band edges, where TGAS1 blends. Each piece is
//   f = g1 + g2 + g3 + g4 + (g5 + g6 + g7 + g8)/(1 + exp(c0 + c1 y + c2 z + c3 y z))
//   g1 = a0 + a1 y, g2 = (a2 + a3 y) z, g3 = (a4 + a5 z + a6 y) y^2, g4 = (a7 + a8 y + a9 z) z^2
// with g5..g8 of the same form in b.
#pragma once

#include <cmath>
#include <cstddef>

namespace rp1181 {

struct piece {
    double upper;  // the piece applies up to this z (or z1)
    double a[10];
    double b[10];
    double c[4];
    bool tail;     // false: g5..g8 absent
};

inline double evaluate(const piece& p, double y, double z) {
    const auto part = [&](const double* k) {
        return k[0] + k[1] * y + (k[2] + k[3] * y) * z + (k[4] + k[5] * z + k[6] * y) * y * y + (k[7] + k[8] * y + k[9] * z) * z * z;
    };
    double f = part(p.a);
    if (p.tail) f += part(p.b) / (1.0 + std::exp(p.c[0] + p.c[1] * y + p.c[2] * z + p.c[3] * y * z));
    return f;
}

constexpr double e0 = 78408.4, r0 = 1.292, p0 = 1.0133e5, T0 = 273.15, R = 287.06;

// gamma~ for -4.5 < y <= -0.5 (pieces above z = 0.65; below, gamma~ = 1.398)
inline constexpr piece gamma_low[] = {
    {1.5,
     {1.39123, -4.08321e-3, 1.42545e-2, 1.41769e-2, 2.57225e-4, 6.52912e-4, 8.46912e-5, 6.2555e-2, -7.83637e-3, -9.78720e-2},
     {5.80955, -1.82302e-1, -9.62396, 1.79619e-1, -2.30518e-2, 1.18720e-2, -3.35499e-4, 5.27047, -3.65507e-2, -9.19897e-1},
     {14.2, 0.0, -10.0, 0.0}, true},
    {2.22,
     {-1.20784, -2.57909e-1, 5.02307, 2.87201e-1, -9.95577e-3, 5.23524e-3, -1.45574e-4, -3.20619, -7.50405e-2, 6.51564e-1},
     {-6.62841, 2.77112e-2, 7.30762, -7.68230e-2, 7.19421e-3, -3.62463e-3, 1.62777e-4, -2.33161, 3.04767e-2, 1.66856e-1},
     {1.255324e2, 2.015335, -6.390747e1, -6.515225e-1}, true},
    {2.95,
     {-2.26460, -7.82263e-2, 4.90497, 7.18096e-2, -3.06443e-3, 1.74209e-3, 2.84214e-5, -2.24750, -1.31641e-2, 3.33658e-1},
     {-1.47904e1, -1.76627e-1, 1.35036e1, 8.77280e-2, -2.13327e-3, 7.15487e-4, 7.30928e-5, -3.95372, -8.96151e-3, 3.63229e-1},
     {1.788542e2, 6.317894, -6.756741e1, -2.460060}, true},
};
// gamma~ for y > -0.5 (above z = 0.65; below, gamma~ = 1.3988)
inline constexpr piece gamma_high[] = {
    {1.7,
     {1.37062, 1.29673e-2, 1.11418e-1, -3.26912e-2, 1.06869e-3, -2.00286e-3, 2.38305e-4, -1.06133e-1, 1.90251e-2, 3.02210e-3},
     {}, {}, false},
    {2.35,
     {3.43846e-2, -2.33584e-1, 2.85574, 2.59787e-1, -10.89927e-3, 4.23659e-3, 3.85712e-4, -1.94785, -6.73865e-2, 4.08518e-1},
     {-4.20569, 1.33139e-1, 4.51236, -1.66341e-1, 1.67787e-3, -1.10022e-3, 3.06676e-4, -1.35516, 4.91716e-2, 7.52509e-2},
     {1.757042e2, -2.163278, -8.833702e1, 1.897543}, true},
};
// log10(T/T0) for -4.5 < y <= -0.5 (above z1 = 0.25; below, T = p/(R rho))
inline constexpr piece temperature_low[] = {
    {0.95,
     {2.94996e-2, 7.24997e-3, 7.81783e-1, -3.27402e-2, 3.23357e-4, -9.69989e-4, -8.93240e-6, 3.95198e-1, 2.92926e-2, -2.12182e-1},
     {}, {}, false},
    {1.4,
     {-5.53324, -3.53749e-1, 1.63638e1, 5.87547e-1, -1.16081e-2, 7.99571e-3, -2.79316e-4, -1.41239e1, -2.35146e-1, 4.28891},
     {9.07979, 1.01308, -2.29428e1, -1.52122, 3.78390e-2, -2.63115e-2, 5.46402e-4, 1.95657e1, 5.73839e-1, -5.63057},
     {7.619803e1, -1.501155e1, -6.770845e1, 1.273147e1}, true},
    {2.0,
     {-1.13598e1, -1.02049, 2.22793e1, 1.24038, -3.10771e-2, 1.92551e-2, -2.69140e-4, -1.31512e1, -3.62875e-1, 2.64544},
     {8.72852, 1.27564, -1.79172e1, -1.52051, 4.91264e-2, -2.81731e-2, 5.23383e-4, 1.16719e1, 4.45413e-1, -2.45584},
     {1.84792e2, 9.583443, -1.020835e2, -4.166727}, true},
    {1e9,
     {-1.76079e1, -1.26579, 2.48544e1, 1.09442, -3.65534e-2, 1.54346e-2, -4.59822e-4, -1.08166e1, -2.27803e-1, 1.60641},
     {2.60669e1, 2.31791, -3.22433e1, -1.82645, 4.94621e-2, -1.85542e-2, 5.04815e-4, 1.33829e1, 3.59744e-1, -1.86517},
     {3.093755e2, 1.875018e1, -1.375004e2, -8.333418}, true},
};
// log10(T/T0) for y > -0.5
inline constexpr piece temperature_high[] = {
    {0.95,
     {-2.94081e-3, 5.73915e-4, 9.88883e-1, -3.71241e-3, 1.12387e-4, -3.76528e-4, 1.76192e-5, 2.86656e-2, 4.56059e-3, -1.99498e-2},
     {}, {}, false},
    {1.45,
     {1.32396, 8.52771e-2, -3.24257, -2.00937e-1, 5.68146e-3, -6.85856e-3, 1.98366e-4, 4.53823, 1.18123e-1, -1.6246},
     {-5.26673e-1, -1.58691e-1, 2.61600, 3.16356e-1, -1.90755e-2, 1.70124e-2, -5.58398e-4, -3.3793, -1.52212e-1, 1.30757},
     {1.442206e2, -2.544727e1, -1.277055e2, 2.236647e1}, true},
    {1e9,
     {-1.60643, -5.07368e-2, 3.95872, 3.69383e-2, -1.59378e-3, 1.06057e-3, 6.53278e-5, -1.71201, 9.25124e-3, 2.71039e-1},
     {1.80476e1, 1.62964, -2.73124e1, -1.57430, 5.85277e-2, -2.77313e-2, 1.16146e-3, 1.36342e1, 3.70714e-1, -2.23787},
     {1.292515e2, 1.360552, -7.07482e1, 1.360532}, true},
};

template <std::size_t N>
inline double pick(const piece (&pieces)[N], double y, double z) {
    for (const auto& p : pieces)
        if (z <= p.upper) return evaluate(p, y, z);
    return std::nan("");  // beyond the transcribed energies
}

// p [Pa] from e [J/kg, zero for the cold undissociated gas] and rho [kg/m3].
inline double pressure(double e, double rho) {
    const double y = std::log10(rho / r0);
    const double z = std::log10(e / e0);
    double g;
    if (y > -0.5) g = z <= 0.65 ? 1.3988 : pick(gamma_high, y, z);
    else if (y > -4.5) g = z <= 0.65 ? 1.398 : pick(gamma_low, y, z);
    else return std::nan("");
    return (g - 1.0) * rho * e;
}

// T [K] from p [Pa] and rho [kg/m3].
inline double temperature(double p, double rho) {
    const double y = std::log10(rho / r0);
    const double z1 = std::log10(p / p0) - y;
    if (!(y > -4.5)) return std::nan("");
    if (z1 <= 0.25) return p / (R * rho);
    const double t = y > -0.5 ? pick(temperature_high, y, z1) : pick(temperature_low, y, z1);
    return std::pow(10.0, t) * T0;
}

}  // namespace rp1181
