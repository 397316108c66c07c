// The air species data (see equilibrium_air.h): NASA 9-coefficient polynomials of
// NASA TP-2002-211556, copied from data/thermo/air_species_nasa9.json digit for digit.
#include "equilibrium/equilibrium_air.h"

#include <algorithm>

namespace mp::equilibrium::air {

namespace {

// name, charge, N atoms, O atoms, range bounds (K), per range a1..a7, b1, b2
constexpr species_record kRecords[kSpeciesCount] = {
    {"N2", 0, 2.0, 0.0, {200.0, 1000.0, 6000.0, 20000.0},
     {{22103.71497, -381.846182, 6.08273836, -0.00853091441, 1.384646189e-05, -9.62579362e-09, 2.519705809e-12, 710.846086, -10.76003744},
      {587712.406, -2239.249073, 6.06694922, -0.00061396855, 1.491806679e-07, -1.923105485e-11, 1.061954386e-15, 12832.10415, -15.86640027},
      {831013916.0, -642073.354, 202.0264635, -0.03065092046, 2.486903333e-06, -9.70595411e-11, 1.437538881e-15, 4938707.04, -1672.09974}}},
    {"O2", 0, 0.0, 2.0, {200.0, 1000.0, 6000.0, 20000.0},
     {{-34255.6342, 484.700097, 1.119010961, 0.00429388924, -6.83630052e-07, -2.0233727e-09, 1.039040018e-12, -3391.45487, 18.4969947},
      {-1037939.022, 2344.830282, 1.819732036, 0.001267847582, -2.188067988e-07, 2.053719572e-11, -8.19346705e-16, -16890.10929, 17.38716506},
      {497529430.0, -286610.6874, 66.9035225, -0.00616995902, 3.016396027e-07, -7.4214166e-12, 7.27817577e-17, 2293554.027, -553.062161}}},
    {"NO", 0, 1.0, 1.0, {200.0, 1000.0, 6000.0, 20000.0},
     {{-11439.16503, 153.6467592, 3.43146873, -0.002668592368, 8.48139912e-06, -7.68511105e-09, 2.386797655e-12, 9098.21441, 6.72872549},
      {223901.8716, -1289.651623, 5.43393603, -0.00036560349, 9.88096645e-08, -1.416076856e-11, 9.38018462e-16, 17503.17656, -8.50166909},
      {-957530354.0, 591243.448, -138.4566826, 0.01694339403, -1.007351096e-06, 2.912584076e-11, -3.29510935e-16, -4677501.24, 1242.081216}}},
    {"N", 0, 1.0, 0.0, {200.0, 1000.0, 6000.0, 20000.0},
     {{0.0, 0.0, 2.5, 0.0, 0.0, 0.0, 0.0, 56104.6378, 4.193905036},
      {88765.0138, -107.12315, 2.362188287, 0.0002916720081, -1.7295151e-07, 4.01265788e-11, -2.677227571e-15, 56973.5133, 4.865231506},
      {547518105.0, -310757.498, 69.1678274, -0.00684798813, 3.8275724e-07, -1.098367709e-11, 1.277986024e-16, 2550585.618, -584.8769753}}},
    {"O", 0, 0.0, 1.0, {200.0, 1000.0, 6000.0, 20000.0},
     {{-7953.6113, 160.7177787, 1.966226438, 0.00101367031, -1.110415423e-06, 6.5175075e-10, -1.584779251e-13, 28403.62437, 8.40424182},
      {261902.0262, -729.872203, 3.31717727, -0.000428133436, 1.036104594e-07, -9.43830433e-12, 2.725038297e-16, 33924.2806, -0.667958535},
      {177900426.4, -108232.8257, 28.10778365, -0.002975232262, 1.854997534e-07, -5.79623154e-12, 7.191720164e-17, 889094.263, -218.1728151}}},
    {"N2+", 1, 2.0, 0.0, {298.15, 1000.0, 6000.0, 20000.0},
     {{-34740.4747, 269.6222703, 3.16491637, -0.002132239781, 6.7304764e-06, -5.63730497e-09, 1.621756e-12, 179000.4424, 6.832974166},
      {-2845599.002, 7058.89303, -2.884886385, 0.003068677059, -4.36165231e-07, 2.102514545e-11, 5.41199647e-16, 134038.8483, 50.90897022},
      {-371282977.0, 313928.7234, -96.0351805, 0.01571193286, -1.175065525e-06, 4.14444123e-11, -5.62189309e-16, -2217361.867, 843.6270947}}},
    {"O2+", 1, 0.0, 2.0, {298.15, 1000.0, 6000.0, 20000.0},
     {{-86072.0545, 1051.875934, -0.543238047, 0.00657116654, -3.27426375e-06, 5.94064534e-11, 3.23878479e-13, 134554.4668, 29.0270975},
      {73846.5488, -845.955954, 4.98516416, -0.000161101089, 6.42708399e-08, -1.504939874e-11, 1.578465409e-15, 144632.1044, -5.81123065},
      {-1562125524.0, 1161406.778, -330.250472, 0.0471093752, -3.35446138e-06, 1.167968599e-10, -1.589754791e-15, -8857866.27, 2852.035602}}},
    {"NO+", 1, 1.0, 1.0, {298.15, 1000.0, 6000.0, 20000.0},
     {{1398.106635, -159.0446941, 5.1228954, -0.00639438862, 1.123918342e-05, -7.98858126e-09, 2.107383677e-12, 118749.5132, -4.39843381},
      {606987.69, -2278.395427, 6.08032467, -0.000606684758, 1.432002611e-07, -1.747990522e-11, 8.93501406e-16, 132270.9615, -15.19880037},
      {2676400347.0, -1832948.69, 509.924939, -0.0711381928, 5.31765988e-06, -1.963208212e-10, 2.80526823e-15, 14433089.39, -4324.044462}}},
    {"N+", 1, 1.0, 0.0, {298.15, 1000.0, 6000.0, 20000.0},
     {{5237.07921, 2.299958315, 2.487488821, 2.737490756e-05, -3.134447576e-08, 1.850111332e-11, -4.447350984e-15, 225628.4738, 5.076830786},
      {290497.0374, -855.790861, 3.47738929, -0.000528826719, 1.352350307e-07, -1.389834122e-11, 5.046166279e-16, 231080.9984, -1.994146545},
      {16460921.48, -11131.65218, 4.97698664, -0.0002005393583, 1.022481356e-08, -2.691430863e-13, 3.539931593e-18, 313628.4696, -17.0664638}}},
    {"O+", 1, 0.0, 1.0, {298.15, 1000.0, 6000.0, 20000.0},
     {{0.0, 0.0, 2.5, 0.0, 0.0, 0.0, 0.0, 187935.2842, 4.39337676},
      {-216651.3208, 666.545615, 1.702064364, 0.000471499281, -1.427131823e-07, 2.016595903e-11, -9.107157762e-16, 183719.1966, 10.05690382},
      {-214383538.3, 146951.8523, -36.8086454, 0.00503616454, -3.087873854e-07, 9.18683487e-12, -1.074163268e-16, -961420.896, 342.619308}}},
    {"e-", -1, 0.0, 0.0, {298.15, 1000.0, 6000.0, 20000.0},
     {{0.0, 0.0, 2.5, 0.0, 0.0, 0.0, 0.0, -745.375, -11.72081224},
      {0.0, 0.0, 2.5, 0.0, 0.0, 0.0, 0.0, -745.375, -11.72081224},
      {0.0, 0.0, 2.5, 0.0, 0.0, 0.0, 0.0, -745.375, -11.72081224}}},
};

// Blottner, Johnson and Ellis, SC-RR-70-754 (1971): A, B, C of N2, O2, NO, N, O.
constexpr double kBlottner[5][3] = {
    {2.68142e-2, 3.177838e-1, -1.13155513e1},  // N2
    {4.49290e-2, -8.26158e-2, -9.20194750},    // O2
    {4.36378e-2, -3.35511e-2, -9.57674300},    // NO
    {1.15572e-2, 6.031679e-1, -1.24327495e1},  // N
    {2.03144e-2, 4.294404e-1, -1.16031403e1},  // O
};

species_set build_set() noexcept {
    species_set set;
    set.add_element("N", kNitrogenWeight);
    set.add_element("O", kOxygenWeight);
    for (const auto& r : kRecords) {
        nasa_polynomial poly;
        poly.coefficient_count = 9;
        poly.range_count = 3;
        for (int i = 0; i < 4; ++i) poly.bounds[i] = r.bounds[i];
        for (int k = 0; k < 3; ++k)
            for (int i = 0; i < 9; ++i) poly.a[k][i] = r.coefficients[k][i];
        const double counts[2] = {r.nitrogen, r.oxygen};
        set.add_species(r.name, counts, r.charge, poly);
    }
    return set;
}

struct fit_table {
    blottner_fit fits[kSpeciesCount];
    fit_table() noexcept {
        // each ion takes its neutral's fit; electrons stay out
        const int neutral[kSpeciesCount] = {0, 1, 2, 3, 4, 0, 1, 2, 3, 4, -1};
        for (int j = 0; j < kSpeciesCount; ++j) {
            if (neutral[j] < 0) continue;
            fits[j].A = kBlottner[neutral[j]][0];
            fits[j].B = kBlottner[neutral[j]][1];
            fits[j].C = kBlottner[neutral[j]][2];
            fits[j].present = true;
        }
    }
};

}  // namespace

const species_record* records() noexcept { return kRecords; }

const species_set& species() noexcept {
    static const species_set set = build_set();
    return set;
}

mixture make_air() noexcept {
    double moles[kSpeciesCount] = {};
    moles[N2] = kNitrogenMoleFraction;
    moles[O2] = kOxygenMoleFraction;
    mixture m;
    m.set_up_from_species(species(), moles);
    return m;
}

const blottner_fit* viscosity_fits() noexcept {
    static const fit_table table;
    return table.fits;
}

bool transport(double T, const double* x, double& mu, double& conductivity) noexcept {
    return wilke_eucken_transport(species(), viscosity_fits(), T, x, mu, conductivity);
}

void species_data_range(double& T_low, double& T_high) noexcept {
    const species_set& set = species();
    T_low = set.at(0).thermo.bounds[0];
    T_high = set.at(0).thermo.bounds[set.at(0).thermo.range_count];
    for (int j = 1; j < set.species_count(); ++j) {
        const auto& thermo = set.at(j).thermo;
        T_low = std::min(T_low, thermo.bounds[0]);
        T_high = std::max(T_high, thermo.bounds[thermo.range_count]);
    }
}

solution solve(const mixture& air, double T, given what, double value) noexcept {
    solution out;
    double low = 0.0, high = 0.0;
    species_data_range(low, high);
    if (T < low) {
        out.reason = failure::below_species_data;
        return out;
    }
    state st;
    const status s = what == given::density ? air.solve_T_rho(T, value, st, false) : air.solve_T_p(T, value, st, false);
    if (!succeeded(s))
        out.reason = s == status::invalid_input ? failure::refused : failure::not_converged;
    else if (!air.evaluate(st, out.engine))
        out.reason = failure::not_evaluated;
    else if (!transport(T, out.engine.x, out.viscosity_Pa_s, out.conductivity_W_mK))
        out.reason = failure::no_transport;
    return out;
}

}  // namespace mp::equilibrium::air
