// Radiation properties of gases that hold carbon dioxide and water vapour: the weighted sum of gray
// gases (WSGG) of Smith, Shen and Friedman, "Evaluation of coefficients for the weighted sum of gray
// gases model", J. Heat Transfer 104 (1982) 602-608, with the emissivity coefficients of the paper's
// tables for four compositions: CO2 alone (pc -> 0 atm), H2O alone (pw -> 0 atm), and the mixtures
// pw/pc = 1 and pw/pc = 2. Each composition has three gray gases and a clear gas:
//
//   k_i = kappa_i (pw + pc)                 absorption coefficient, 1/m (kappa_i in 1/(atm m), p in atm)
//   a_i = b_i1 + b_i2 T + b_i3 T^2 + b_i4 T^3   weight of gray gas i, the clear gas has 1 - sum(a_i)
//   eps(L) = sum_i a_i (1 - exp(-k_i L))    total emissivity of a uniform path of length L [m]
//   kappa_P = sum_i a_i k_i                 Planck-mean absorption coefficient, 1/m (eps -> kappa_P L
//                                           as L -> 0)
//
// Between the four published compositions the model interpolates linearly, gray gas by gray gas,
// in f = xw / (xw + xc), the water share of the absorbers (f = 0 CO2, 1/2 for pw/pc = 1, 2/3 for
// pw/pc = 2, 1 H2O); at the nodes it is the published fit exactly. This keeps the coefficients
// continuous in the composition of a flame, where pw/pc runs from 0 (fuel-free CO2 streams) through
// 1 to 2 (methane) and beyond (hydrogen-rich fuels).
//
// Validity (the range of the fit): gas temperatures 600 to 2400 K, pressure path lengths
// (pw + pc) L of 0.001 to 10 atm m, total pressure 1 atm. Outside 600..2400 K the weights are those
// of the nearer end (the cubic polynomials are not used beyond their fit). At other total
// pressures the partial pressures still scale k_i, but the pressure broadening of the lines is
// not modelled; the model is meant for flames near atmospheric pressure.
#pragma once

#include <cstdint>

namespace mp::radiation {

// The model's three gray gases (the clear gas is not counted).
inline constexpr std::int32_t kWsggGrayGases = 3;
// K: the temperature range of the fit; the weights are held at its ends beyond it.
inline constexpr double kWsggTmin = 600.0;
inline constexpr double kWsggTmax = 2400.0;
// atm m: the range of pressure path lengths (pw + pc) L of the fit.
inline constexpr double kWsggPathMin = 0.001;
inline constexpr double kWsggPathMax = 10.0;
// Pa per atm: the model's partial pressures are in atmospheres.
inline constexpr double kAtmosphere = 101325.0;

// The gray gases at one state: absorption coefficients k [1/m] and weights a [-]; the clear gas
// has the weight 1 - sum(a).
struct wsgg_gray_gases {
    double k[kWsggGrayGases] = {0.0, 0.0, 0.0};
    double a[kWsggGrayGases] = {0.0, 0.0, 0.0};
};

enum class wsgg_status : std::int32_t {
    ok = 0,
    no_absorber = 1,  // xw + xc is 0: the gas is transparent (k and a all 0)
    bad_input = 2,    // p or T not finite and positive, or a mole fraction not finite (k and a all 0)
};

// The gray gases at p [Pa], T [K] and the mole fractions of H2O and CO2 (negative ones count as 0).
wsgg_status wsgg_at(double p, double T, double x_h2o, double x_co2, wsgg_gray_gases& out) noexcept;

// kappa_P = sum(a_i k_i), 1/m.
double planck_mean_absorption(const wsgg_gray_gases& g) noexcept;

// Total emissivity of a uniform path of length L [m]; 0 for L <= 0.
double total_emissivity(const wsgg_gray_gases& g, double L) noexcept;

// The pressure path length (pw + pc) L in atm m, to compare with the range of the fit.
double pressure_path_length(double p, double x_h2o, double x_co2, double L) noexcept;

// Whether a substance is one of the model's absorbers, from its name ("CO2", "H2O", any case) and
// its molar mass [kg/mol] (within 1 % of the species', so that a substance merely named so is not
// taken for it).
enum class absorber : std::int32_t { none = 0, co2 = 1, h2o = 2 };
absorber absorber_of(const char* name_utf8, double molar_mass) noexcept;

}  // namespace mp::radiation
