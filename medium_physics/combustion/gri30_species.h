// gri30_species: the 53 species of GRI-Mech 3.0 (Smith et al., 1999) for the equilibrium engine
// (equilibrium.h) and the combustible media: H2, H, O, O2, OH, H2O, HO2, H2O2, C, CH, CH2, CH2(S),
// CH3, CH4, CO, CO2, HCO, CH2O, CH2OH, CH3O, CH3OH, C2H, C2H2, C2H3, C2H4, C2H5, C2H6, HCCO,
// CH2CO, HCCOH, N, NH, NH2, NH3, NNH, NO, NO2, N2O, HNO, CN, HCN, H2CN, HCNN, HCNO, HOCN, HNCO,
// NCO, N2, AR, C3H7, C3H8, CH2CHO, CH3CHO, of the elements O, H, C, N and Ar.
//
// Each species has NASA 7-coefficient polynomials of cp/R, h/RT and s/R over two ranges (mostly
// 200-1000-3500 K; some 300-1000-5000 K or to 6000 K; the common bound of HCNO, HOCN and HNCO is
// not 1000 K), with the enthalpy of formation included (the elements' reference states have h = 0
// at 298.15 K), and the Lennard-Jones parameters of its transport: well depth epsilon/k_B [K],
// collision diameter sigma [Angstrom], dipole moment [Debye], polarizability [Angstrom^3],
// rotational collision number and geometry. The same numbers are in
// data/thermo/gri30_species.json with their source and each species' data reference; the library
// compiles them in, so it needs no data file at run time. Below its first bound a species carries
// its low range on (to 250 K the error in cp stays below 0.1 %).
#pragma once

namespace mp::combustion::gri30 {

inline constexpr int kSpeciesCount = 53;
inline constexpr int kElementCount = 5;
// Element order of the records' atom counts.
enum element : int { kOxygen = 0, kHydrogen, kCarbon, kNitrogen, kArgon };
inline constexpr const char* kElementNames[kElementCount] = {"O", "H", "C", "N", "Ar"};
// IUPAC 2007 standard atomic weights (as the project's gas data use them), kg/mol.
inline constexpr double kAtomicWeights[kElementCount] = {15.9994 * 1e-3, 1.00794 * 1e-3, 12.0107 * 1e-3, 14.0067 * 1e-3,
                                                          39.948 * 1e-3};

enum class geometry : int { atom = 0, linear = 1, nonlinear = 2 };

struct species_record {
    const char* name;
    double atoms[kElementCount];  // O, H, C, N, Ar
    double bounds[3];             // K: low, common, high
    double coefficients[2][7];    // low range, high range: a1..a7
    geometry shape;
    double well_depth_K;          // epsilon / k_B
    double diameter_A;            // sigma
    double dipole_D;
    double polarizability_A3;
    double rotational_relaxation;
    const char* note;             // the data reference of the polynomials
};

// The 53 records in the order above (for the test that compares them with the data file).
const species_record* records() noexcept;
// Index of the species of that name (as written above), -1 when there is none.
int find(const char* name) noexcept;

}  // namespace mp::combustion::gri30
