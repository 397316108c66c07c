// mp-gas-data: derives the built-in gas materials (data/materials/gases.json) from the published
// coefficients in data/thermo/gas_coefficients.json, and the built-in real-gas materials
// (data/materials/real_gases.json) from the critical data in data/thermo/critical_properties.json.
//
//   mp-gas-data --input data/thermo/gas_coefficients.json --output data/materials/gases.json
//   mp-gas-data --input data/thermo/gas_coefficients.json --check data/materials/gases.json
//   mp-gas-data --input data/thermo/gas_coefficients.json --critical data/thermo/critical_properties.json
//               --real-gases-output data/materials/real_gases.json   (or --real-gases-check)
//
// The formulas and their references are described in data/thermo/README.md. The output text is
// written here rather than by the JSON library so that it is fixed (key order, layout, "%.9g"
// numbers for the gases, the shortest exact text for the real gases): regenerating gives the same
// bytes, and --check compares text, line by line.

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <exception>
#include <fstream>
#include <functional>
#include <iostream>
#include <map>
#include <numbers>
#include <optional>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

namespace {

using nlohmann::json;
constexpr double pi = std::numbers::pi;

// ---- inputs ----------------------------------------------------------------------------------------

struct Constants {
    double R = 0.0;        // J/(mol K)
    double k_B = 0.0;      // J/K
    double N_A = 0.0;      // 1/mol
    double epsilon0 = 0.0; // F/m
    double debye = 0.0;    // C m
};

struct Grid {
    double T_min = 0.0, T_max = 0.0, T_step = 0.0, T_reference = 0.0;
    int gamma_decimals = 0;
    std::vector<double> temperatures() const {
        const auto steps = static_cast<int>(std::lround((T_max - T_min) / T_step));
        std::vector<double> T;
        T.reserve(static_cast<std::size_t>(steps) + 1);
        for (int i = 0; i <= steps; ++i) T.push_back(T_min + i * T_step);  // exact for whole kelvins
        return T;
    }
};

// cp/R = a1 + a2 T + a3 T^2 + a4 T^3 + a5 T^4 over each temperature range.
struct Nasa7 {
    std::vector<double> bounds;
    std::vector<std::array<double, 7>> ranges;

    double cp_over_R(double T) const {
        // A temperature on a shared bound takes the lower range; the fits are continuous there.
        std::size_t i = 0;
        while (i + 1 < ranges.size() && T > bounds[i + 1]) ++i;
        const auto& a = ranges[i];
        return a[0] + T * (a[1] + T * (a[2] + T * (a[3] + T * a[4])));
    }
};

enum class Geometry { atom, linear, nonlinear };

// A published correlation of one transport property, in SI units (Pa s or W/(m K)), used over
// [T_lo, T_hi].
struct Correlation {
    std::string source;
    double T_lo = 0.0, T_hi = 0.0;
    std::function<double(double)> at;
};

// The published correlations of a material's viscosity and of its conductivity, each in order of
// preference; kinetic theory or a mixture rule lies underneath (joined()).
struct Transport {
    std::vector<Correlation> viscosity, conductivity;
};

struct Species {
    std::string name, identifier, nasa_source, transport_source;
    double molar_mass = 0.0;  // kg/mol
    Nasa7 nasa;
    Geometry geometry = Geometry::atom;
    double well_depth = 0.0;  // epsilon/k_B, K
    double diameter = 0.0;    // m
    double dipole = 0.0;      // C m
    double z_rot_298 = 0.0;   // rotational collision number at 298 K
    Transport correlations;
};

struct PseudoSubstance {
    std::string name, identifier, source;
    std::vector<std::pair<std::string, double>> mole_fractions;
    Transport correlations;
};

struct PerfectGas {
    std::string name, identifier, of, source;
};

struct Medium {
    std::string name, kind;
    std::vector<std::string> substances;
    std::vector<double> mass_fractions;
};

struct Inputs {
    Constants constants;
    Grid grid;
    std::string atomic_weights_source;
    std::vector<Species> species;
    std::vector<PseudoSubstance> pseudo_substances;
    std::vector<PerfectGas> perfect_gases;
    std::vector<Medium> media;
};

[[noreturn]] void fail(const std::string& what) { throw std::runtime_error(what); }

double positive(const json& j, const char* key, const std::string& where) {
    const double v = j.at(key).get<double>();
    if (!std::isfinite(v) || v <= 0.0) fail(where + ": " + key + " must be positive");
    return v;
}

Geometry geometry_of(const std::string& text, const std::string& where) {
    if (text == "atom") return Geometry::atom;
    if (text == "linear") return Geometry::linear;
    if (text == "nonlinear") return Geometry::nonlinear;
    fail(where + ": unknown geometry '" + text + "'");
}

// ---- published transport correlations ---------------------------------------------------------------

// NASA transport fits (Svehla, NASA TM-4647, 1995; the file trans.inp of Gordon and McBride's CEA
// program): ln x = A ln T + B/T + C/T^2 + D on each range, viscosity in micropoise, conductivity in
// microwatts/(cm K), each row [T_lo, T_hi, A, B, C, D] as in the file. `unit` converts to SI.
Correlation nasa_fit(const json& rows, double unit, const std::string& source, const std::string& where) {
    std::vector<std::array<double, 6>> fits;
    for (const auto& row : rows) {
        const auto r = row.get<std::vector<double>>();
        if (r.size() != 6) fail(where + ": a NASA transport range needs T_lo, T_hi, A, B, C, D");
        if (!(r[1] > r[0])) fail(where + ": a NASA transport range must increase");
        if (!fits.empty() && r[0] != fits.back()[1]) fail(where + ": NASA transport ranges must join");
        fits.push_back({r[0], r[1], r[2], r[3], r[4], r[5]});
    }
    if (fits.empty()) fail(where + ": a NASA transport fit needs a range");
    Correlation c{source, fits.front()[0], fits.back()[1], {}};
    c.at = [fits, unit](double T) {
        // A temperature on a shared bound takes the lower range, as for the NASA polynomials. The
        // file's viscosity ranges meet to 1e-4; its conductivity ranges step by up to 0.7 % at 5000 K.
        std::size_t i = 0;
        while (i + 1 < fits.size() && T > fits[i][1]) ++i;
        const auto& f = fits[i];
        return unit * std::exp(f[2] * std::log(T) + f[3] / T + f[4] / (T * T) + f[5]);
    };
    return c;
}

std::pair<double, double> temperature_range(const json& j, const std::string& where) {
    const auto r = j.at("T_range").get<std::vector<double>>();
    if (r.size() != 2 || !(r[0] > 0.0) || !(r[1] > r[0])) fail(where + ": T_range must be [T_lo, T_hi], increasing");
    return {r[0], r[1]};
}

std::vector<double> coefficients(const json& j, const char* key, std::size_t count, const std::string& where) {
    const auto v = j.at(key).get<std::vector<double>>();
    if (v.size() != count) fail(where + ": " + key + " needs " + std::to_string(count) + " coefficients");
    return v;
}

// Dilute-gas terms of water, t = T / T_reference: viscosity mu0 = 100 sqrt(t) / sum_i H_i / t^i in
// micropascal seconds (IAPWS R12-08, 2008), conductivity lambda0 = sqrt(t) / sum_k L_k / t^k in
// milliwatts/(m K) (IAPWS R15-11, 2011).
void iapws_dilute_gas(const json& j, const std::string& source, Transport& out, const std::string& where) {
    const auto [lo, hi] = temperature_range(j, where);
    const double T_ref = positive(j, "T_reference", where);
    const auto inverse_series = [T_ref](const std::vector<double>& a, double T) {
        const double t = T / T_ref;
        double sum = 0.0;
        for (std::size_t i = a.size(); i-- > 0;) sum = sum / t + a[i];  // sum_i a_i / t^i by Horner
        return std::sqrt(t) / sum;
    };
    const auto H = coefficients(j, "viscosity", 4, where);
    const auto L = coefficients(j, "conductivity", 5, where);
    out.viscosity.push_back({source, lo, hi, [=](double T) { return 100.0 * inverse_series(H, T) * 1e-6; }});
    out.conductivity.push_back({source, lo, hi, [=](double T) { return inverse_series(L, T) * 1e-3; }});
}

// Dilute-gas terms of Lemmon and Jacobsen, Int. J. Thermophys. 25, 21 (2004):
// eta0 = 0.0266958 sqrt(M T) / (sigma^2 Omega(T*)) in micropascal seconds (M in g/mol, sigma in nm),
// ln Omega = sum_i b_i (ln T*)^i with T* = T / (epsilon/k); lambda0 = N1 eta0 + N2 tau^t2 + N3 tau^t3
// in milliwatts/(m K), eta0 in micropascal seconds, tau = T_reducing / T.
void lemmon_jacobsen_dilute_gas(const json& j, const std::string& source, Transport& out, const std::string& where) {
    constexpr double kinetic_constant = 0.0266958;  // 5/16 sqrt(k_B / (pi N_A)) in the units above
    const auto [lo, hi] = temperature_range(j, where);
    const double well_depth = positive(j, "epsilon_over_k", where);
    const double sigma = positive(j, "sigma", where);
    const double M = positive(j, "molar_mass", where);
    const double T_reducing = positive(j, "T_reducing", where);
    const auto b = coefficients(j, "collision_integral", 5, where);
    const auto N = coefficients(j.at("conductivity"), "N", 3, where);
    const auto exponent = coefficients(j.at("conductivity"), "t", 2, where);
    const auto eta0 = [=](double T) {  // micropascal seconds
        const double x = std::log(T / well_depth);
        double ln_omega = 0.0;
        for (std::size_t i = b.size(); i-- > 0;) ln_omega = ln_omega * x + b[i];
        return kinetic_constant * std::sqrt(M * T) / (sigma * sigma * std::exp(ln_omega));
    };
    out.viscosity.push_back({source, lo, hi, [=](double T) { return eta0(T) * 1e-6; }});
    out.conductivity.push_back({source, lo, hi, [=](double T) {
        const double tau = T_reducing / T;
        return (N[0] * eta0(T) + N[1] * std::pow(tau, exponent[0]) + N[2] * std::pow(tau, exponent[1])) * 1e-3;
    }});
}

// "transport_correlations": published correlations in order of preference, each with its source.
Transport read_correlations(const json& owner, const std::string& where) {
    Transport t;
    if (!owner.contains("transport_correlations")) return t;
    for (const auto& c : owner.at("transport_correlations")) {
        const auto form = c.at("form").get<std::string>();
        const auto source = c.at("source").get<std::string>();
        const std::string at = where + ", " + form;
        if (form == "nasa_fit") {
            if (c.contains("viscosity")) t.viscosity.push_back(nasa_fit(c.at("viscosity"), 1e-7, source, at));
            if (c.contains("conductivity")) t.conductivity.push_back(nasa_fit(c.at("conductivity"), 1e-4, source, at));
        } else if (form == "iapws_dilute_gas") {
            iapws_dilute_gas(c, source, t, at);
        } else if (form == "lemmon_jacobsen_dilute_gas") {
            lemmon_jacobsen_dilute_gas(c, source, t, at);
        } else {
            fail(where + ": unknown transport correlation form '" + form + "'");
        }
    }
    return t;
}

Species read_species(const json& j, const Constants& c, const std::map<std::string, double>& weights) {
    Species s;
    s.name = j.at("name").get<std::string>();
    s.identifier = j.at("identifier").get<std::string>();
    s.molar_mass = positive(j, "molar_mass", s.name);

    // The stated molar mass must be the one the standard atomic weights give: a typo in either
    // would otherwise pass silently into every mass-based property.
    double from_elements = 0.0;
    for (const auto& [element, count] : j.at("composition").items()) {
        const auto w = weights.find(element);
        if (w == weights.end()) fail(s.name + ": no atomic weight for " + element);
        from_elements += w->second * count.get<double>() * 1e-3;
    }
    if (std::fabs(from_elements - s.molar_mass) > 1e-9 * s.molar_mass)
        fail(s.name + ": molar_mass disagrees with the atomic weights of its composition");

    const json& nasa = j.at("nasa7");
    s.nasa_source = nasa.at("source").get<std::string>();
    s.nasa.bounds = nasa.at("temperature_ranges").get<std::vector<double>>();
    for (const auto& row : nasa.at("coefficients")) {
        const auto a = row.get<std::vector<double>>();
        if (a.size() != 7) fail(s.name + ": a NASA-7 range needs 7 coefficients");
        std::array<double, 7> r{};
        for (std::size_t i = 0; i < 7; ++i) r[i] = a[i];
        s.nasa.ranges.push_back(r);
    }
    if (s.nasa.ranges.empty() || s.nasa.bounds.size() != s.nasa.ranges.size() + 1)
        fail(s.name + ": temperature_ranges must bound each coefficient range");
    for (std::size_t i = 1; i < s.nasa.bounds.size(); ++i)
        if (!(s.nasa.bounds[i] > s.nasa.bounds[i - 1])) fail(s.name + ": temperature_ranges not increasing");

    const json& t = j.at("transport");
    s.transport_source = t.at("source").get<std::string>();
    s.geometry = geometry_of(t.at("geometry").get<std::string>(), s.name);
    s.well_depth = positive(t, "well_depth", s.name);
    s.diameter = positive(t, "diameter", s.name) * 1e-10;  // Angstrom
    s.dipole = t.value("dipole", 0.0) * c.debye;
    s.z_rot_298 = t.value("rotational_relaxation", 1.0);
    if (s.geometry != Geometry::atom && !(s.z_rot_298 > 0.0)) fail(s.name + ": rotational_relaxation must be positive");
    s.correlations = read_correlations(j, s.name);
    return s;
}

Inputs read_inputs(const json& j) {
    Inputs in;
    const json& c = j.at("constants");
    in.constants.R = positive(c, "gas_constant", "constants");
    in.constants.k_B = positive(c, "boltzmann", "constants");
    in.constants.N_A = positive(c, "avogadro", "constants");
    in.constants.epsilon0 = positive(c, "vacuum_permittivity", "constants");
    in.constants.debye = positive(c, "debye", "constants");

    const json& g = j.at("grid");
    in.grid.T_min = positive(g, "T_min", "grid");
    in.grid.T_max = positive(g, "T_max", "grid");
    in.grid.T_step = positive(g, "T_step", "grid");
    in.grid.T_reference = positive(g, "T_reference", "grid");
    in.grid.gamma_decimals = g.at("gamma_decimals").get<int>();
    const double steps = (in.grid.T_max - in.grid.T_min) / in.grid.T_step;
    if (!(steps >= 1.0) || std::fabs(steps - std::round(steps)) > 1e-12)
        fail("grid: T_max - T_min must be a whole number of steps");
    if (in.grid.gamma_decimals < 0 || in.grid.gamma_decimals > 9) fail("grid: gamma_decimals out of range");

    std::map<std::string, double> weights;
    for (const auto& [key, value] : j.at("atomic_weights").items()) {
        if (key == "source") in.atomic_weights_source = value.get<std::string>();
        else weights[key] = value.get<double>();
    }
    if (in.atomic_weights_source.empty()) fail("atomic_weights: no source");

    std::set<std::string> names;
    for (const auto& s : j.at("species")) {
        in.species.push_back(read_species(s, in.constants, weights));
        const Species& sp = in.species.back();
        if (!names.insert(sp.name).second) fail("species " + sp.name + " given twice");
        if (sp.nasa.bounds.front() > in.grid.T_min || sp.nasa.bounds.back() < in.grid.T_max)
            fail(sp.name + ": the NASA polynomial does not cover the table range");
    }
    for (const auto& p : j.at("pseudo_substances")) {
        PseudoSubstance ps;
        ps.name = p.at("name").get<std::string>();
        ps.identifier = p.at("identifier").get<std::string>();
        ps.source = p.at("source").get<std::string>();
        double sum = 0.0;
        for (const auto& [component, x] : p.at("mole_fractions").items()) {
            bool known = false;
            for (const auto& s : in.species) known = known || s.name == component;
            if (!known) fail(ps.name + ": unknown component " + component);
            ps.mole_fractions.emplace_back(component, x.get<double>());
            sum += x.get<double>();
        }
        if (std::fabs(sum - 1.0) > 1e-9) fail(ps.name + ": mole fractions do not add up to 1");
        if (!names.insert(ps.name).second) fail(ps.name + " given twice");
        ps.correlations = read_correlations(p, ps.name);
        in.pseudo_substances.push_back(std::move(ps));
    }
    for (const auto& p : j.at("perfect_gases")) {
        PerfectGas pg{p.at("name").get<std::string>(), p.at("identifier").get<std::string>(),
                      p.at("of").get<std::string>(), p.at("source").get<std::string>()};
        if (!names.contains(pg.of)) fail(pg.name + ": unknown gas " + pg.of);
        if (!names.insert(pg.name).second) fail(pg.name + " given twice");
        in.perfect_gases.push_back(std::move(pg));
    }
    for (const auto& m : j.at("media")) {
        Medium md{m.at("name").get<std::string>(), m.at("kind").get<std::string>(),
                  m.at("substances").get<std::vector<std::string>>(),
                  m.at("mass_fractions").get<std::vector<double>>()};
        if (md.substances.empty() || md.substances.size() != md.mass_fractions.size())
            fail("medium " + md.name + ": one mass fraction per substance");
        double sum = 0.0;
        for (std::size_t i = 0; i < md.substances.size(); ++i) {
            if (!names.contains(md.substances[i])) fail("medium " + md.name + ": unknown substance " + md.substances[i]);
            sum += md.mass_fractions[i];
        }
        if (std::fabs(sum - 1.0) > 1e-9) fail("medium " + md.name + ": mass fractions do not add up to 1");
        in.media.push_back(std::move(md));
    }
    return in;
}

// ---- kinetic theory --------------------------------------------------------------------------------

// Reduced collision integrals of the Lennard-Jones 12-6 potential: Neufeld, Janzen and Aziz,
// J. Chem. Phys. 57, 1100 (1972), fitted for 0.3 <= T* <= 100. Above T* = 100 (hydrogen above
// 3800 K) the leading power law carries on, which is how the exact integrals behave there.
double omega22(double t) {
    return 1.16145 * std::pow(t, -0.14874) + 0.52487 * std::exp(-0.77320 * t) + 2.16178 * std::exp(-2.43787 * t);
}
double omega11(double t) {
    return 1.06036 * std::pow(t, -0.15610) + 0.19300 * std::exp(-0.47635 * t) + 1.03587 * std::exp(-1.52996 * t) +
           1.76474 * std::exp(-3.89411 * t);
}

struct Pure {
    double cp = 0.0;            // J/(mol K)
    double viscosity = 0.0;     // Pa s
    double conductivity = 0.0;  // W/(m K)
};

// Parker's temperature dependence of the rotational collision number, Phys. Fluids 2, 449 (1959).
double parker(double T, double well_depth) {
    const double x = well_depth / T;
    return 1.0 + std::pow(pi, 1.5) / 2.0 * std::sqrt(x) + (pi * pi / 4.0 + 2.0) * x + std::pow(pi, 1.5) * std::pow(x, 1.5);
}

// cp from the NASA polynomial; viscosity and conductivity by kinetic theory.
Pure kinetic(const Species& s, const Constants& c, double T) {
    Pure p;
    const double cp_over_R = s.nasa.cp_over_R(T);
    p.cp = cp_over_R * c.R;

    // Chapman-Enskog, first approximation: mu = 5/16 sqrt(pi m k T) / (pi sigma^2 Omega22*).
    const double t = T / s.well_depth;
    double o22 = omega22(t);
    double o11 = omega11(t);
    if (s.dipole > 0.0) {
        // Polar molecules: Brokaw's correction, Ind. Eng. Chem. Process Des. Dev. 8, 240 (1969),
        // with the reduced dipole moment delta* = mu_d^2 / (2 eps sigma^3) (Gaussian units) of the
        // Stockmayer parameters. Without it water's viscosity comes out 15-35% high.
        const double delta = s.dipole * s.dipole /
                             (8.0 * pi * c.epsilon0 * s.well_depth * c.k_B * std::pow(s.diameter, 3));
        o22 += 0.2 * delta * delta / t;
        o11 += 0.19 * delta * delta / t;
    }
    const double m = s.molar_mass / c.N_A;
    p.viscosity = 5.0 / 16.0 * std::sqrt(pi * m * c.k_B * T) / (pi * s.diameter * s.diameter * o22);

    // Conductivity: translational, rotational and vibrational energy carried separately, the
    // internal parts at the rate of self-diffusion and the exchange with translation through
    // the rotational collision number (Mason and Monchick, J. Chem. Phys. 36, 1622 (1962), in
    // the form of Warnatz (1982) and Kee et al., SAND86-8246 (1986)). For an atom it reduces to
    // the Chapman-Enskog lambda = 15/4 R mu / M.
    const double R = c.R;
    const double cv_trans = 1.5 * R;
    const double over_M = p.viscosity / s.molar_mass;
    if (s.geometry == Geometry::atom) {
        p.conductivity = over_M * 2.5 * cv_trans;
        return p;
    }
    const double cv = (cp_over_R - 1.0) * R;
    const double cv_rot = (s.geometry == Geometry::linear ? 1.0 : 1.5) * R;
    // Below the full excitation of rotation (hydrogen under about 350 K) this is negative, which
    // takes back the rotational share the classical cv_rot overstates.
    const double cv_vib = cv - cv_trans - cv_rot;
    const double rho_D_over_mu = 6.0 / 5.0 * o22 / o11;
    const double z_rot = s.z_rot_298 * parker(298.0, s.well_depth) / parker(T, s.well_depth);
    const double A = 2.5 - rho_D_over_mu;
    const double B = z_rot + 2.0 / pi * (5.0 / 3.0 * cv_rot / R + rho_D_over_mu);
    const double f_trans = 2.5 * (1.0 - 2.0 / pi * cv_rot / cv_trans * A / B);
    const double f_rot = rho_D_over_mu * (1.0 + 2.0 / pi * A / B);
    p.conductivity = over_M * (f_trans * cv_trans + f_rot * cv_rot + rho_D_over_mu * cv_vib);
    return p;
}

// Wilke's rule, J. Chem. Phys. 18, 517 (1950): property = sum_i x_i p_i / sum_j x_j phi_ij with
// phi_ij from the component viscosities. With p = viscosity it is Wilke's mixture viscosity; with
// p = conductivity it is the Wassiljewa form with Mason and Saxena's A_ij = phi_ij, Phys. Fluids
// 1, 361 (1958).
double wilke(const std::vector<double>& x, const std::vector<double>& M, const std::vector<double>& mu,
             const std::vector<double>& property) {
    double sum = 0.0;
    for (std::size_t i = 0; i < x.size(); ++i) {
        double denominator = 0.0;
        for (std::size_t j = 0; j < x.size(); ++j) {
            const double a = 1.0 + std::sqrt(mu[i] / mu[j]) * std::pow(M[j] / M[i], 0.25);
            denominator += x[j] * a * a / std::sqrt(8.0 * (1.0 + M[i] / M[j]));
        }
        sum += x[i] * property[i] / denominator;
    }
    return sum;
}

// ---- joining the sources ---------------------------------------------------------------------------

// A property from the first correlation whose range holds T. Outside its range a correlation hands
// over to the sources after it, scaled to meet it at its nearer bound, so that the table runs on
// continuously where the source changes; below every correlation lies `base`.
double joined(const std::vector<Correlation>& sources, std::size_t k, const std::function<double(double)>& base,
              double T) {
    if (k == sources.size()) return base(T);
    const Correlation& c = sources[k];
    if (T >= c.T_lo && T <= c.T_hi) return c.at(T);
    const double bound = T < c.T_lo ? c.T_lo : c.T_hi;
    return joined(sources, k + 1, base, T) * c.at(bound) / joined(sources, k + 1, base, bound);
}

// The property's sources as their use over the table range, in order of temperature:
// "200-1073.2 K from <source>, ...", with the base where no correlation reaches.
std::string sources_used(const std::vector<Correlation>& sources, const std::string& base, const Grid& grid) {
    using Span = std::pair<double, double>;
    std::vector<Span> open{{grid.T_min, grid.T_max}};  // not yet covered by a preferred source
    std::vector<std::pair<Span, std::string>> pieces;
    for (const Correlation& c : sources) {
        std::vector<Span> rest;
        for (const Span& s : open) {
            const Span inside{std::max(s.first, c.T_lo), std::min(s.second, c.T_hi)};
            if (inside.first < inside.second) pieces.emplace_back(inside, "from " + c.source);
            if (s.first < c.T_lo) rest.emplace_back(s.first, std::min(s.second, c.T_lo));
            if (s.second > c.T_hi) rest.emplace_back(std::max(s.first, c.T_hi), s.second);
        }
        open = rest;
    }
    for (const Span& s : open) pieces.emplace_back(s, base);
    std::sort(pieces.begin(), pieces.end());
    std::string text;
    for (const auto& [span, what] : pieces) {
        char kelvin[64];
        std::snprintf(kelvin, sizeof kelvin, "%g-%g K ", span.first, span.second);
        text += (text.empty() ? "" : ", ") + std::string(kelvin) + what;
    }
    // Each source after the first is scaled to meet the one before it (joined()).
    return pieces.size() > 1 ? text + ", joined continuously" : text;
}

// "viscosity and conductivity <sources>", or each on its own where they differ.
std::string transport_sources(const Transport& t, const std::string& base, const Grid& grid) {
    const std::string mu = sources_used(t.viscosity, base, grid);
    const std::string lambda = sources_used(t.conductivity, base, grid);
    return mu == lambda ? "viscosity and conductivity " + mu : "viscosity " + mu + "; conductivity " + lambda;
}

// ---- derived materials -----------------------------------------------------------------------------

struct Property {
    double constant = 0.0;
    std::vector<double> table;  // at the grid temperatures; empty for a constant property
};

struct Material {
    std::string name, identifier, kind, source;
    double molar_mass = 0.0;
    double gamma = 0.0;
    Property cp, viscosity, conductivity;
};

constexpr std::string_view derivation_note =
    "cp [J/(kg K)] from the NASA polynomial; derived by tools/gasdata (data/thermo/README.md)";

double rounded(double value, int decimals) {
    const double scale = std::pow(10.0, decimals);
    return std::round(value * scale) / scale;
}

// The material's constants (at the reference temperature), gamma and tables from `at`, which gives
// cp per mole.
void tabulate(Material& m, const std::function<Pure(double)>& at, const Inputs& in, const std::vector<double>& T) {
    const Pure ref = at(in.grid.T_reference);
    m.gamma = rounded(ref.cp / (ref.cp - in.constants.R), in.grid.gamma_decimals);
    m.cp.constant = ref.cp / m.molar_mass;
    m.viscosity.constant = ref.viscosity;
    m.conductivity.constant = ref.conductivity;
    for (const double t : T) {
        const Pure p = at(t);
        m.cp.table.push_back(p.cp / m.molar_mass);
        m.viscosity.table.push_back(p.viscosity);
        m.conductivity.table.push_back(p.conductivity);
    }
}

// A species: its published transport correlations where they reach, kinetic theory elsewhere.
Pure species_at(const Species& s, const Constants& c, double T) {
    Pure p = kinetic(s, c, T);
    p.viscosity = joined(s.correlations.viscosity, 0, [&](double t) { return kinetic(s, c, t).viscosity; }, T);
    p.conductivity = joined(s.correlations.conductivity, 0, [&](double t) { return kinetic(s, c, t).conductivity; }, T);
    return p;
}

Material from_species(const Species& s, const Inputs& in, const std::vector<double>& T) {
    Material m;
    m.name = s.name;
    m.identifier = s.identifier;
    m.kind = "ideal_gas";
    const std::string kinetic_theory =
        "by kinetic theory (Chapman-Enskog viscosity with the Neufeld, Janzen and Aziz (1972) collision integrals, "
        "Mason-Monchick (1962) conductivity in Warnatz's form; " + s.transport_source +
        (s.dipole > 0.0 ? ", with Brokaw's (1969) polar correction)" : ")");
    m.source = s.nasa_source + "; " + transport_sources(s.correlations, kinetic_theory, in.grid) +
               "; molar mass from the " + in.atomic_weights_source + "; " + std::string(derivation_note);
    m.molar_mass = s.molar_mass;
    tabulate(m, [&](double t) { return species_at(s, in.constants, t); }, in, T);
    return m;
}

Material from_pseudo(const PseudoSubstance& ps, const Inputs& in, const std::vector<double>& T) {
    std::vector<const Species*> parts;
    std::vector<double> x, M;
    for (const auto& [name, fraction] : ps.mole_fractions) {
        for (const auto& s : in.species)
            if (s.name == name) parts.push_back(&s);
        x.push_back(fraction);
        M.push_back(parts.back()->molar_mass);
    }
    double M_mix = 0.0;
    for (std::size_t i = 0; i < x.size(); ++i) M_mix += x[i] * M[i];

    // cp per mole is the mole-weighted sum (ideal mixture); per kilogram divided by M_mix.
    const auto mixture = [&](double t) {
        std::vector<double> mu, lambda;
        Pure mix;
        for (std::size_t i = 0; i < parts.size(); ++i) {
            const Pure p = species_at(*parts[i], in.constants, t);
            mix.cp += x[i] * p.cp;
            mu.push_back(p.viscosity);
            lambda.push_back(p.conductivity);
        }
        mix.viscosity = wilke(x, M, mu, mu);
        mix.conductivity = wilke(x, M, mu, lambda);
        return mix;
    };
    // The pseudo-substance's own correlations where they reach, the mixture rule elsewhere.
    const auto at = [&](double t) {
        Pure p = mixture(t);
        p.viscosity = joined(ps.correlations.viscosity, 0, [&](double u) { return mixture(u).viscosity; }, t);
        p.conductivity = joined(ps.correlations.conductivity, 0, [&](double u) { return mixture(u).conductivity; }, t);
        return p;
    };

    Material m;
    m.name = ps.name;
    m.identifier = ps.identifier;
    m.kind = "ideal_gas";
    m.source = ps.source + "; " +
               transport_sources(ps.correlations, "as the mixture of its components (Wilke; Mason and Saxena)", in.grid) +
               "; components as their own materials in this file; " + std::string(derivation_note);
    m.molar_mass = M_mix;
    tabulate(m, at, in, T);
    return m;
}

std::vector<Material> derive(const Inputs& in) {
    const std::vector<double> T = in.grid.temperatures();
    std::vector<Material> out;
    for (const auto& s : in.species) out.push_back(from_species(s, in, T));
    for (const auto& ps : in.pseudo_substances) out.push_back(from_pseudo(ps, in, T));
    for (const auto& pg : in.perfect_gases) {
        Material m;
        for (const auto& other : out)
            if (other.name == pg.of) m = other;
        m.name = pg.name;
        m.identifier = pg.identifier;
        m.kind = "perfect_gas";
        m.source = pg.source + "; " + m.source;
        m.cp.table.clear();  // a perfect gas reads only the constant
        out.push_back(std::move(m));
    }
    for (const auto& m : out) {
        const auto check = [&](const Property& p, const char* what) {
            bool ok = std::isfinite(p.constant) && p.constant > 0.0;
            for (const double v : p.table) ok = ok && std::isfinite(v) && v > 0.0;
            if (!ok) fail(m.name + ": " + what + " is not positive everywhere");
        };
        check(m.cp, "cp");
        check(m.viscosity, "viscosity");
        check(m.conductivity, "conductivity");
    }
    return out;
}

// ---- output ----------------------------------------------------------------------------------------

std::string number(double v) {
    char buf[40];
    std::snprintf(buf, sizeof buf, "%.9g", v);
    std::string s(buf);
    // Keep floating-point quantities recognisably floating point: 200 -> 200.0.
    if (s.find_first_of(".e") == std::string::npos) s += ".0";
    return s;
}

std::string quoted(const std::string& text) {
    std::string s = "\"";
    for (const char ch : text) {
        switch (ch) {
            case '"': s += "\\\""; break;
            case '\\': s += "\\\\"; break;
            case '\n': s += "\\n"; break;
            case '\t': s += "\\t"; break;
            default:
                if (static_cast<unsigned char>(ch) < 0x20) {
                    char buf[8];
                    std::snprintf(buf, sizeof buf, "\\u%04x", static_cast<unsigned>(static_cast<unsigned char>(ch)));
                    s += buf;
                } else {
                    s += ch;
                }
        }
    }
    return s + "\"";
}

// The shortest text that reads back as the same double, floating point kept recognisable
// (200 -> 200.0): the real-gas tables must reach the library bit for bit.
std::string exact(double v) {
    char buf[40];
    const auto end = std::to_chars(buf, buf + sizeof buf, v).ptr;
    std::string s(buf, end);
    if (s.find_first_of(".e") == std::string::npos) s += ".0";
    return s;
}

void write_array(std::ostringstream& o, const std::vector<double>& values, const std::string& indent,
                 std::string (*format)(double) = number) {
    constexpr std::size_t per_line = 10;
    o << "[\n";
    for (std::size_t i = 0; i < values.size(); ++i) {
        if (i % per_line == 0) o << indent << "  ";
        o << format(values[i]);
        if (i + 1 < values.size()) o << (i % per_line == per_line - 1 ? ",\n" : ", ");
    }
    o << "\n" << indent << "]";
}

void write_property(std::ostringstream& o, const char* key, const Property& p, const std::vector<double>& T) {
    o << "      " << quoted(key) << ": {\"constant\": " << number(p.constant);
    if (p.table.empty()) {
        o << "}";
        return;
    }
    o << ", \"table\": {\n";
    o << "        \"T\": ";
    write_array(o, T, "        ");
    o << ",\n        \"value\": ";
    write_array(o, p.table, "        ");
    o << "\n      }}";
}

// The lines every material begins with.
void write_material_head(std::ostringstream& o, const std::string& name, const std::string& identifier,
                         const std::string& kind, const std::string& source) {
    o << "    {\n";
    o << "      \"name\": " << quoted(name) << ",\n";
    o << "      \"identifier\": " << quoted(identifier) << ",\n";
    o << "      \"kind\": " << quoted(kind) << ",\n";
    o << "      \"source\": " << quoted(source) << ",\n";
}

std::string render(const Inputs& in, const std::vector<Material>& materials) {
    const std::vector<double> T = in.grid.temperatures();
    std::ostringstream o;
    o << "{\n  \"materials\": [\n";
    for (std::size_t k = 0; k < materials.size(); ++k) {
        const Material& m = materials[k];
        write_material_head(o, m.name, m.identifier, m.kind, m.source);
        o << "      \"molar_mass\": " << number(m.molar_mass) << ",\n";
        o << "      \"gamma\": " << number(m.gamma) << ",\n";
        o << "      \"first_parameter\": {\"constant\": " << number(0.0) << "},\n";
        write_property(o, "cp", m.cp, T);
        o << ",\n";
        write_property(o, "viscosity", m.viscosity, T);
        o << ",\n";
        write_property(o, "conductivity", m.conductivity, T);
        o << "\n    }" << (k + 1 < materials.size() ? "," : "") << "\n";
    }
    o << "  ],\n  \"media\": [\n";
    for (std::size_t k = 0; k < in.media.size(); ++k) {
        const Medium& md = in.media[k];
        o << "    {\"name\": " << quoted(md.name) << ", \"kind\": " << quoted(md.kind) << ", \"substances\": [";
        for (std::size_t i = 0; i < md.substances.size(); ++i) o << (i ? ", " : "") << quoted(md.substances[i]);
        o << "], \"mass_fractions\": [";
        for (std::size_t i = 0; i < md.mass_fractions.size(); ++i) o << (i ? ", " : "") << number(md.mass_fractions[i]);
        o << "]}" << (k + 1 < in.media.size() ? "," : "") << "\n";
    }
    o << "  ]\n}\n";
    return o.str();
}

// ---- real gases ------------------------------------------------------------------------------------
//
// One material of kind "real_gas" per substance of critical_properties.json: its critical data, the
// model selector, the rectangle of its property table, the low-temperature extension, and the
// ideal-gas cp as a table. A cp given as NASA 7-coefficient polynomials is tabulated every 10 K
// over their ranges (cp = R/M cp/R with R of gas_coefficients.json), a cp table is taken as it
// stands.

// Soave's temperature function of the cubic (selector 3).
constexpr int kRealGasModel = 3;
// The table rectangle: pressures in Pa, temperatures as fractions of Tc rounded to whole kelvins,
// from below the triple point of most fluids to well above the critical temperature.
constexpr double kTablePressureLow = 1e5;
constexpr double kTablePressureHigh = 2e7;
constexpr double kTableTcLow = 0.72;
constexpr double kTableTcHigh = 1.65;
// The saturation line is extended below the table, down to half of its lowest temperature (0).
constexpr bool kLowTemperatureExtension = true;
constexpr double kFloorTemperature = 0.0;
// Spacing of a cp table made from polynomials, K.
constexpr double kCpStep = 10.0;

struct RealGas {
    std::string name, identifier, source;
    double Tc = 0.0, pc = 0.0, Zc = 0.0, omega = 0.0, M = 0.0;  // K, Pa, -, -, kg/mol
    std::vector<double> cp_T, cp;                               // K, J/(kg K)
};

std::vector<RealGas> read_real_gases(const nlohmann::ordered_json& j, const Constants& c) {
    std::vector<RealGas> out;
    std::set<std::string> names;
    for (const auto& [key, e] : j.at("substances").items()) {
        RealGas g;
        g.name = e.at("material_name").get<std::string>();
        g.identifier = e.at("identifier").get<std::string>();
        if (!names.insert(g.name).second) fail(key + ": material name " + g.name + " given twice");
        g.Tc = e.at("Tc").get<double>();
        g.pc = e.at("Pc").get<double>();
        g.Zc = e.at("Zc").get<double>();
        g.omega = e.at("omega").get<double>();
        g.M = e.at("M").get<double>();
        for (const double v : {g.Tc, g.pc, g.Zc, g.M})
            if (!std::isfinite(v) || v <= 0.0) fail(key + ": Tc, Pc, Zc and M must be positive");
        const auto& cp = e.at("ideal_gas_cp");
        g.source = e.at("source").get<std::string>() + "; ideal-gas cp: " + cp.at("source").get<std::string>();
        if (cp.contains("table")) {
            g.cp_T = cp.at("table").at("T").get<std::vector<double>>();
            g.cp = cp.at("table").at("value").get<std::vector<double>>();
            if (g.cp_T.size() < 2 || g.cp_T.size() != g.cp.size()) fail(key + ": the cp table needs one value per T");
        } else {
            const auto ranges = cp.at("temperature_ranges").get<std::vector<double>>();
            const auto rows = cp.at("nasa7").get<std::vector<std::array<double, 7>>>();
            if (rows.empty() || ranges.size() != rows.size() + 1) fail(key + ": ranges and polynomials do not match");
            // Every 10 K over each range, the shared bound once; the expression in this order.
            const double R = c.R / g.M;
            for (std::size_t r = 0; r < rows.size(); ++r) {
                const auto& a = rows[r];
                const double from = ranges[r], to = ranges[r + 1];
                const int n = static_cast<int>(std::lround((to - from) / kCpStep));
                for (int i = r == 0 ? 0 : 1; i <= n; ++i) {
                    const double t = from + (to - from) * i / n;
                    g.cp_T.push_back(t);
                    g.cp.push_back(R * (a[0] + t * (a[1] + t * (a[2] + t * (a[3] + t * a[4])))));
                }
            }
            g.source += " (cp/R tabulated every " + exact(kCpStep) + " K over the polynomials' ranges, R = " +
                        exact(c.R) + " J/(mol K))";
        }
        for (std::size_t i = 0; i < g.cp.size(); ++i)
            if (!std::isfinite(g.cp[i]) || g.cp[i] <= 0.0 || (i > 0 && !(g.cp_T[i] > g.cp_T[i - 1])))
                fail(key + ": the cp table needs rising temperatures and positive values");
        g.source += "; derived by tools/gasdata from data/thermo/critical_properties.json (data/thermo/README.md)";
        out.push_back(std::move(g));
    }
    return out;
}

std::string render_real_gases(const std::vector<RealGas>& gases) {
    std::ostringstream o;
    o << "{\n  \"materials\": [\n";
    for (std::size_t k = 0; k < gases.size(); ++k) {
        const RealGas& g = gases[k];
        write_material_head(o, g.name, g.identifier, "real_gas", g.source);
        o << "      \"Tc\": " << exact(g.Tc) << ",\n";
        o << "      \"pc\": " << exact(g.pc) << ",\n";
        o << "      \"Zc\": " << exact(g.Zc) << ",\n";
        o << "      \"omega\": " << exact(g.omega) << ",\n";
        o << "      \"molar_mass\": " << exact(g.M) << ",\n";
        o << "      \"model\": " << kRealGasModel << ",\n";
        o << "      \"table_temperatures\": [" << exact(std::round(kTableTcLow * g.Tc)) << ", "
          << exact(std::round(kTableTcHigh * g.Tc)) << "],\n";
        o << "      \"table_pressures\": [" << exact(kTablePressureLow) << ", " << exact(kTablePressureHigh) << "],\n";
        o << "      \"low_temperature_extension\": " << (kLowTemperatureExtension ? "true" : "false") << ",\n";
        o << "      \"floor_temperature\": " << exact(kFloorTemperature) << ",\n";
        o << "      \"ideal_gas_cp\": {\"constant\": " << exact(0.0) << ", \"table\": {\n";
        o << "        \"T\": ";
        write_array(o, g.cp_T, "        ", exact);
        o << ",\n        \"value\": ";
        write_array(o, g.cp, "        ", exact);
        o << "\n      }}\n    }" << (k + 1 < gases.size() ? "," : "") << "\n";
    }
    o << "  ]\n}\n";
    return o.str();
}

// ---- command line ----------------------------------------------------------------------------------

std::optional<std::string> read_text(const std::string& path) {
    std::ifstream f(path, std::ios::binary);
    if (!f) return std::nullopt;
    std::ostringstream s;
    s << f.rdbuf();
    return s.str();
}

// Exit 1 and name the first line that differs, so a stale file is easy to find.
int check(const std::string& path, const std::string& expected) {
    const auto actual = read_text(path);
    if (!actual) {
        std::cerr << "mp-gas-data: cannot read " << path << "\n";
        return 2;
    }
    if (*actual == expected) return 0;
    std::istringstream a(*actual), e(expected);
    std::string la, le;
    for (int line = 1;; ++line) {
        const bool more_a = static_cast<bool>(std::getline(a, la));
        const bool more_e = static_cast<bool>(std::getline(e, le));
        if (!more_a && !more_e) break;  // differ only in the final newline
        if (!more_a || !more_e || la != le) {
            std::cerr << path << ":" << line << ": differs from the regenerated data\n"
                      << "  file:        " << (more_a ? la : "<end of file>") << "\n"
                      << "  regenerated: " << (more_e ? le : "<end of file>") << "\n"
                      << "Regenerate it with mp-gas-data (see data/thermo/README.md)\n";
            return 1;
        }
    }
    std::cerr << path << ": differs from the regenerated data at the end of the file\n";
    return 1;
}

void usage(std::ostream& o) {
    o << "usage: mp-gas-data --input gas_coefficients.json [--output gases.json | --check gases.json]\n"
         "                   [--critical critical_properties.json\n"
         "                    (--real-gases-output real_gases.json | --real-gases-check real_gases.json)]\n"
         "Derives the built-in gas materials from the published coefficients and the real-gas materials\n"
         "from the critical data; a --check regenerates in memory and exits 1 if the file differs.\n";
}

// Writes `text` to `path`, or compares it with the file there (--check); the exit status.
int deliver(const std::string& path, const std::string& text, bool check_only) {
    if (check_only) return check(path, text);
    std::ofstream f(path, std::ios::binary | std::ios::trunc);
    f << text;
    f.close();
    if (!f) {
        std::cerr << "mp-gas-data: cannot write " << path << "\n";
        return 2;
    }
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    std::string input, output, checked, critical, real_output, real_checked;
    for (int i = 1; i < argc; ++i) {
        const std::string_view arg = argv[i];
        const auto value = [&](std::string& into) {
            if (i + 1 >= argc) return false;
            into = argv[++i];
            return true;
        };
        bool ok = true;
        if (arg == "--input") ok = value(input);
        else if (arg == "--output") ok = value(output);
        else if (arg == "--check") ok = value(checked);
        else if (arg == "--critical") ok = value(critical);
        else if (arg == "--real-gases-output") ok = value(real_output);
        else if (arg == "--real-gases-check") ok = value(real_checked);
        else if (arg == "--help" || arg == "-h") {
            usage(std::cout);
            return 0;
        } else ok = false;
        if (!ok) {
            usage(std::cerr);
            return 2;
        }
    }
    const bool gases = !output.empty() || !checked.empty();
    const bool real_gases = !real_output.empty() || !real_checked.empty();
    if (input.empty() || (!output.empty() && !checked.empty()) || (!real_output.empty() && !real_checked.empty()) ||
        (!gases && !real_gases) || real_gases == critical.empty()) {
        usage(std::cerr);
        return 2;
    }

    std::string text, real_text;
    try {
        const auto source = read_text(input);
        if (!source) fail("cannot read " + input);
        const Inputs in = read_inputs(json::parse(*source));
        if (gases) text = render(in, derive(in));
        if (real_gases) {
            const auto data = read_text(critical);
            if (!data) fail("cannot read " + critical);
            try {
                real_text = render_real_gases(read_real_gases(nlohmann::ordered_json::parse(*data), in.constants));
            } catch (const std::exception& e) {
                fail(critical + ": " + e.what());
            }
        }
    } catch (const std::exception& e) {
        std::cerr << "mp-gas-data: " << input << ": " << e.what() << "\n";
        return 2;
    }

    int status = 0;
    if (gases) status = std::max(status, deliver(checked.empty() ? output : checked, text, !checked.empty()));
    if (real_gases)
        status = std::max(status,
                          deliver(real_checked.empty() ? real_output : real_checked, real_text, !real_checked.empty()));
    return status;
}
