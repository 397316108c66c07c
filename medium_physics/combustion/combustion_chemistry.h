// combustion_chemistry: a fuel stream and an oxidizer stream, the GRI-Mech 3.0 species set their
// mixtures burn into, and the mixture-averaged transport of any composition of that set. What
// the chemistry property generator, the combustible media and the adiabatic flame share.
//
// Streams are compositions by mole of GRI-Mech 3.0 species (gri30_species.h), e.g. the fuel CH4
// and the oxidizer 0.21 O2 + 0.79 N2. The mixture fraction z is the mass fraction of material
// from the fuel stream: z = 0 is the oxidizer, z = 1 the fuel; the unburnt mixture at z holds
// (1 - z) kg of oxidizer and z kg of fuel per kg. The equivalence ratio is
// phi = (z / (1 - z)) / (z_st / (1 - z_st)), z_st the stoichiometric mixture fraction, at which
// the oxygen of the mixture just turns all carbon into CO2 and all hydrogen into H2O.
//
// Species set: every GRI-Mech 3.0 species made only of elements the streams hold. Without the NOx
// option no species with nitrogen but N2 (nitrogen is inert; its enthalpy and heat capacity
// count, it forms no NO); with it all nitrogen species of the set (NO, NO2, N2O, NH3, HCN, ...).
// Condensed phases (soot) are not in the set: very rich mixtures at low temperature keep their
// carbon in gaseous hydrocarbons.
//
// Transport, mixture-averaged, from the species' Lennard-Jones parameters:
//   species viscosity (Chapman-Enskog)  mu_j = 2.6693e-6 sqrt(M_j T) / (sigma_j^2 Omega22)  [Pa s,
//     M in g/mol, sigma in Angstrom], Omega22(T* = T k/epsilon) from the fit of Neufeld, Janzen
//     and Aziz (J. Chem. Phys. 57, 1100, 1972), with Brokaw's correction 0.2 delta*^2 / T* for
//     polar species (delta* = mu_p^2 / (2 epsilon sigma^3));
//   species conductivity (modified Eucken)  lambda_j = mu_j / M_j (1.32 cv_j + 1.77 R);
//   mixture viscosity by Wilke's rule (J. Chem. Phys. 18, 517, 1950), mixture conductivity by
//     the rule of Mathur, Tondon and Saxena (Mol. Phys. 12, 569, 1967):
//     lambda = (sum x_j lambda_j + 1 / sum(x_j / lambda_j)) / 2.
// Species with a mole fraction below kTransportTrace are left out of the mixing (their share lies
// below that fraction). The conductivity is the frozen one: heat carried by reactions through
// diffusion (the equilibrium conductivity of a dissociating gas) is not included.
//
// Everything here is set up once and then read only; its operations never throw or allocate.
#pragma once

#include <cstdint>

#include "combustion/gri30_species.h"
#include "equilibrium/equilibrium.h"

namespace mp::combustion {

inline constexpr int kMaxStreamParts = 8;
inline constexpr int kNameSize = 16;
// Species below this mole fraction are left out of the transport mixing rules.
inline constexpr double kTransportTrace = 1e-9;

// A stream: GRI-Mech 3.0 species by mole (any scale).
struct stream {
    struct part {
        char species[kNameSize] = {};
        double moles = 0.0;
    };
    std::int32_t count = 0;
    part parts[kMaxStreamParts];

    // Adds a species; false when the stream is full, the name too long or the amount not finite
    // and positive.
    bool add(const char* species, double moles) noexcept;
};

// 21 % O2 and 79 % N2 by mole.
stream air() noexcept;
// A stream from its text, species by mole: "CH4", "O2:0.21,N2:0.79" (a species without an amount
// counts 1). False on a malformed text, an amount that is not finite and positive, or more than
// kMaxStreamParts species; the species names are checked by chemistry::set_up.
bool parse_stream(const char* text, stream& out) noexcept;

// Why set_up refused its streams.
enum class chemistry_error : std::int32_t {
    none = 0,
    empty_stream,      // a stream holds nothing
    unknown_species,   // a stream names a species GRI-Mech 3.0 does not have
    same_streams,      // fuel and oxidizer hold the same elements in the same proportions
    no_reaction,       // no oxygen in the oxidizer, or nothing the oxidizer burns in the fuel
};
const char* to_text(chemistry_error error) noexcept;

// The species of the set, their transport data, and the two streams per kilogram.
class chemistry {
public:
    chemistry() = default;

    // Builds the species set of the two streams (with the nitrogen chemistry when nox). On a refusal
    // the object stays unusable and `why` says why; `bad_species` (optional) receives the name of
    // an unknown species.
    bool set_up(const stream& fuel, const stream& oxidizer, bool nox, chemistry_error& why,
                const char** bad_species = nullptr) noexcept;
    bool ready() const noexcept { return m_ready; }
    bool nox() const noexcept { return m_nox; }
    const stream& fuel() const noexcept { return m_fuel; }
    const stream& oxidizer() const noexcept { return m_oxidizer; }

    const equilibrium::species_set& species() const noexcept { return m_set; }
    int species_count() const noexcept { return m_set.species_count(); }
    // The GRI-Mech 3.0 record of species j of the set.
    const gri30::species_record& record(int j) const noexcept { return gri30::records()[m_record[j]]; }
    // Index of a species in the set, -1 when the set does not hold it.
    int find(const char* name) const noexcept { return m_set.find_species(name); }

    // Element amounts (mol per kg of mixture, the set's element order) of the mixture at z.
    void element_moles(double z, double* b) const noexcept;
    // The unburnt mixture at z: moles of each species of the set per kg of mixture.
    void unburnt_moles(double z, double* n) const noexcept;
    // An equilibrium mixture of the elements at z, ready to solve (the unburnt mixture is its
    // reference for Z). False for z outside [0, 1].
    bool mixture_at(double z, equilibrium::mixture& m) const noexcept;
    // Static enthalpy [J/kg] of the unburnt mixture at z with both streams at T [K].
    double unburnt_enthalpy(double z, double T) const noexcept;

    double stoichiometric_mixture_fraction() const noexcept { return m_z_st; }
    // phi of mixture fraction z (infinite at z = 1) and z of phi (phi >= 0).
    double equivalence_ratio(double z) const noexcept;
    double mixture_fraction(double phi) const noexcept;

    // Mixture viscosity [Pa s] and frozen conductivity [W/(m K)] of mole fractions x (set order) at
    // T [K] (see the top of this file). False when no species is present or T is not usable.
    bool transport(double T, const double* x, double& viscosity, double& conductivity) const noexcept;
    // The viscosity of species j alone at T [Pa s].
    double species_viscosity(int j, double T) const noexcept;

private:
    bool m_ready = false;
    bool m_nox = false;
    stream m_fuel, m_oxidizer;
    equilibrium::species_set m_set;
    int m_record[equilibrium::kMaxSpecies] = {};
    double m_b_fuel[equilibrium::kMaxElements] = {};      // mol per kg of fuel stream
    double m_b_oxidizer[equilibrium::kMaxElements] = {};  // mol per kg of oxidizer stream
    double m_n_fuel[equilibrium::kMaxSpecies] = {};       // species moles per kg of fuel stream
    double m_n_oxidizer[equilibrium::kMaxSpecies] = {};
    double m_z_st = 0.0;
    // Transport constants per species: sqrt(M[g/mol]) / sigma^2, k/epsilon, Brokaw's 0.2 delta*^2.
    double m_viscosity_factor[equilibrium::kMaxSpecies] = {};
    double m_inverse_well_depth[equilibrium::kMaxSpecies] = {};
    double m_polar[equilibrium::kMaxSpecies] = {};
};

// Omega(2,2)* of the Lennard-Jones potential at the reduced temperature T* (Neufeld et al. 1972).
double collision_integral_22(double T_star) noexcept;

}  // namespace mp::combustion
