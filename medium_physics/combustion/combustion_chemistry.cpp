#include "combustion/combustion_chemistry.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <iterator>

namespace mp::combustion {

namespace {

constexpr double kR = equilibrium::kGasConstant;
// Chapman-Enskog viscosity: mu = kChapmanEnskog sqrt(M T) / (sigma^2 Omega22), Pa s with M in
// g/mol, T in K and sigma in Angstrom ((5/16) sqrt(k N_A / pi) / N_A^(1/2) in these units).
constexpr double kChapmanEnskog = 2.6693e-6;
// delta* = mu_p^2 / (2 epsilon sigma^3) = kDipoleFactor mu_p[D]^2 / (epsilon/k [K] sigma[A]^3).
constexpr double kDipoleFactor = 3621.45;
// Modified Eucken: lambda = mu / M (kEuckenInternal cv + kEuckenGas R).
constexpr double kEuckenInternal = 1.32;
constexpr double kEuckenGas = 1.77;

bool same_name(const char* a, const char* b) noexcept { return std::strcmp(a, b) == 0; }

}  // namespace

double collision_integral_22(double T_star) noexcept {
    return 1.16145 * std::pow(T_star, -0.14874) + 0.52487 * std::exp(-0.77320 * T_star) +
           2.16178 * std::exp(-2.43787 * T_star);
}

bool stream::add(const char* species, double moles) noexcept {
    if (count >= kMaxStreamParts || species == nullptr || !(moles > 0.0) || !std::isfinite(moles)) return false;
    const std::size_t length = std::strlen(species);
    if (length == 0 || length >= static_cast<std::size_t>(kNameSize)) return false;
    std::memcpy(parts[count].species, species, length + 1);
    parts[count].moles = moles;
    ++count;
    return true;
}

bool parse_stream(const char* text, stream& out) noexcept {
    out = stream{};
    if (text == nullptr || *text == '\0') return false;
    const char* c = text;
    while (*c != '\0') {
        char name[kNameSize] = {};
        std::size_t n = 0;
        while (*c != '\0' && *c != ':' && *c != ',') {
            if (n + 1 >= static_cast<std::size_t>(kNameSize)) return false;
            name[n++] = *c++;
        }
        double moles = 1.0;
        if (*c == ':') {
            ++c;
            char* end = nullptr;
            moles = std::strtod(c, &end);
            if (end == c) return false;
            c = end;
        }
        if (*c == ',') ++c;
        else if (*c != '\0') return false;
        if (!out.add(name, moles)) return false;
    }
    return out.count > 0;
}

stream air() noexcept {
    stream s;
    s.add("O2", 0.21);
    s.add("N2", 0.79);
    return s;
}

const char* to_text(chemistry_error error) noexcept {
    switch (error) {
        case chemistry_error::none: return "no error";
        case chemistry_error::empty_stream: return "a stream holds no species";
        case chemistry_error::unknown_species: return "a stream names a species that GRI-Mech 3.0 does not have";
        case chemistry_error::same_streams: return "fuel and oxidizer hold the same elements in the same proportions";
        case chemistry_error::no_reaction: return "the oxidizer holds no oxygen to burn the fuel with";
    }
    return "unknown error";
}

bool chemistry::set_up(const stream& fuel, const stream& oxidizer, bool nox, chemistry_error& why,
                       const char** bad_species) noexcept {
    m_ready = false;
    why = chemistry_error::none;
    if (fuel.count < 1 || oxidizer.count < 1) {
        why = chemistry_error::empty_stream;
        return false;
    }
    // The elements of the streams, in the records' order.
    bool present[gri30::kElementCount] = {};
    for (const stream* s : {&fuel, &oxidizer})
        for (std::int32_t p = 0; p < s->count; ++p) {
            const int g = gri30::find(s->parts[p].species);
            if (g < 0) {
                why = chemistry_error::unknown_species;
                if (bad_species != nullptr) *bad_species = s->parts[p].species;
                return false;
            }
            for (int e = 0; e < gri30::kElementCount; ++e) present[e] = present[e] || gri30::records()[g].atoms[e] > 0.0;
        }
    equilibrium::species_set set;
    int element_of[gri30::kElementCount];
    for (int e = 0; e < gri30::kElementCount; ++e) {
        element_of[e] = -1;
        if (!present[e]) continue;
        element_of[e] = set.element_count();
        set.add_element(gri30::kElementNames[e], gri30::kAtomicWeights[e]);
    }
    int records[equilibrium::kMaxSpecies] = {};
    for (int g = 0; g < gri30::kSpeciesCount; ++g) {
        const gri30::species_record& r = gri30::records()[g];
        bool usable = true;
        for (int e = 0; e < gri30::kElementCount; ++e) usable = usable && (r.atoms[e] == 0.0 || present[e]);
        if (!usable) continue;
        if (!nox && r.atoms[gri30::kNitrogen] > 0.0 && !same_name(r.name, "N2")) continue;
        equilibrium::nasa_polynomial poly;
        poly.coefficient_count = 7;
        poly.range_count = 2;
        for (int i = 0; i < 3; ++i) poly.bounds[i] = r.bounds[i];
        for (int k = 0; k < 2; ++k)
            for (int i = 0; i < 7; ++i) poly.a[k][i] = r.coefficients[k][i];
        double counts[equilibrium::kMaxElements] = {};
        for (int e = 0; e < gri30::kElementCount; ++e)
            if (element_of[e] >= 0) counts[element_of[e]] = r.atoms[e];
        records[set.species_count()] = g;
        if (!set.add_species(r.name, counts, 0, poly)) return false;
    }
    // Each stream per kilogram: species moles and element moles.
    double n_fuel[equilibrium::kMaxSpecies] = {}, n_oxidizer[equilibrium::kMaxSpecies] = {};
    double b_fuel[equilibrium::kMaxElements] = {}, b_oxidizer[equilibrium::kMaxElements] = {};
    const auto per_kilogram = [&](const stream& s, double* n, double* b) {
        double mass = 0.0;
        for (std::int32_t p = 0; p < s.count; ++p) {
            const int j = set.find_species(s.parts[p].species);
            n[j] += s.parts[p].moles;
            mass += s.parts[p].moles * set.at(j).molar_mass;
        }
        for (int j = 0; j < set.species_count(); ++j) {
            n[j] /= mass;
            for (int i = 0; i < set.element_count(); ++i) b[i] += n[j] * set.at(j).elements[i];
        }
    };
    per_kilogram(fuel, n_fuel, b_fuel);
    per_kilogram(oxidizer, n_oxidizer, b_oxidizer);
    bool same = true;
    for (int i = 0; i < set.element_count(); ++i)
        same = same && std::fabs(b_fuel[i] - b_oxidizer[i]) <= 1e-12 * (b_fuel[i] + b_oxidizer[i]);
    if (same) {
        why = chemistry_error::same_streams;
        return false;
    }
    // Oxygen demand per kg (2 C + H/2 - O, in O atoms): positive for a fuel, negative for an oxidizer.
    const auto demand = [&](const double* b) {
        double d = 0.0;
        if (element_of[gri30::kCarbon] >= 0) d += 2.0 * b[element_of[gri30::kCarbon]];
        if (element_of[gri30::kHydrogen] >= 0) d += 0.5 * b[element_of[gri30::kHydrogen]];
        if (element_of[gri30::kOxygen] >= 0) d -= b[element_of[gri30::kOxygen]];
        return d;
    };
    const double d_fuel = demand(b_fuel);
    const double s_oxidizer = -demand(b_oxidizer);
    if (!(d_fuel > 0.0) || !(s_oxidizer > 0.0)) {
        why = chemistry_error::no_reaction;
        return false;
    }
    m_set = set;
    std::copy(std::begin(records), std::end(records), std::begin(m_record));
    std::copy(std::begin(n_fuel), std::end(n_fuel), std::begin(m_n_fuel));
    std::copy(std::begin(n_oxidizer), std::end(n_oxidizer), std::begin(m_n_oxidizer));
    std::copy(std::begin(b_fuel), std::end(b_fuel), std::begin(m_b_fuel));
    std::copy(std::begin(b_oxidizer), std::end(b_oxidizer), std::begin(m_b_oxidizer));
    m_z_st = s_oxidizer / (d_fuel + s_oxidizer);
    m_fuel = fuel;
    m_oxidizer = oxidizer;
    m_nox = nox;
    for (int j = 0; j < m_set.species_count(); ++j) {
        const gri30::species_record& r = record(j);
        const double M_g = 1e3 * m_set.at(j).molar_mass;
        m_viscosity_factor[j] = kChapmanEnskog * std::sqrt(M_g) / (r.diameter_A * r.diameter_A);
        m_inverse_well_depth[j] = 1.0 / r.well_depth_K;
        const double delta = kDipoleFactor * r.dipole_D * r.dipole_D /
                             (r.well_depth_K * r.diameter_A * r.diameter_A * r.diameter_A);
        m_polar[j] = 0.2 * delta * delta;
    }
    m_ready = true;
    return true;
}

void chemistry::element_moles(double z, double* b) const noexcept {
    for (int i = 0; i < m_set.element_count(); ++i) b[i] = (1.0 - z) * m_b_oxidizer[i] + z * m_b_fuel[i];
}

void chemistry::unburnt_moles(double z, double* n) const noexcept {
    for (int j = 0; j < m_set.species_count(); ++j) n[j] = (1.0 - z) * m_n_oxidizer[j] + z * m_n_fuel[j];
}

bool chemistry::mixture_at(double z, equilibrium::mixture& m) const noexcept {
    if (!m_ready || !(z >= 0.0 && z <= 1.0)) return false;
    double n[equilibrium::kMaxSpecies] = {};
    unburnt_moles(z, n);
    return m.set_up_from_species(m_set, n);
}

double chemistry::unburnt_enthalpy(double z, double T) const noexcept {
    double n[equilibrium::kMaxSpecies] = {};
    unburnt_moles(z, n);
    double h = 0.0;
    for (int j = 0; j < m_set.species_count(); ++j)
        if (n[j] > 0.0) h += n[j] * m_set.at(j).thermo.at(T).h_RT;
    return h * kR * T;
}

double chemistry::equivalence_ratio(double z) const noexcept {
    return (z / (1.0 - z)) / (m_z_st / (1.0 - m_z_st));
}

double chemistry::mixture_fraction(double phi) const noexcept {
    const double r = phi * m_z_st / (1.0 - m_z_st);  // z / (1 - z)
    return r / (1.0 + r);
}

double chemistry::species_viscosity(int j, double T) const noexcept {
    const double T_star = T * m_inverse_well_depth[j];
    return m_viscosity_factor[j] * std::sqrt(T) / (collision_integral_22(T_star) + m_polar[j] / T_star);
}

bool chemistry::transport(double T, const double* x, double& viscosity, double& conductivity) const noexcept {
    viscosity = conductivity = 0.0;
    if (!m_ready || x == nullptr || !std::isfinite(T) || !(T > 0.0)) return false;
    double xs[equilibrium::kMaxSpecies], mus[equilibrium::kMaxSpecies], roots[equilibrium::kMaxSpecies];
    double ks[equilibrium::kMaxSpecies], Ms[equilibrium::kMaxSpecies];
    int q = 0;
    double sum = 0.0;
    for (int j = 0; j < m_set.species_count(); ++j) {
        if (!(x[j] > kTransportTrace)) continue;
        if (!std::isfinite(x[j])) return false;
        xs[q] = x[j];
        Ms[q] = m_set.at(j).molar_mass;
        mus[q] = species_viscosity(j, T);
        roots[q] = std::sqrt(mus[q]);
        const double cv = (m_set.at(j).thermo.at(T).cp_R - 1.0) * kR;
        ks[q] = mus[q] / Ms[q] * (kEuckenInternal * cv + kEuckenGas * kR);
        sum += x[j];
        ++q;
    }
    if (q == 0 || !(sum > 0.0)) return false;
    double linear = 0.0, harmonic = 0.0;
    for (int i = 0; i < q; ++i) {
        double denominator = 0.0;
        for (int k = 0; k < q; ++k) {
            const double f = 1.0 + roots[i] / roots[k] * std::sqrt(std::sqrt(Ms[k] / Ms[i]));
            denominator += xs[k] * f * f / std::sqrt(8.0 * (1.0 + Ms[i] / Ms[k]));
        }
        viscosity += xs[i] * mus[i] / denominator;
        linear += xs[i] * ks[i];
        harmonic += xs[i] / ks[i];
    }
    conductivity = 0.5 * (linear / sum + sum / harmonic);
    return std::isfinite(viscosity) && std::isfinite(conductivity);
}

}  // namespace mp::combustion
