// Viscosity and thermal conductivity of a dense fluid from its critical data: the method of Chung,
// Ajlan, Lee and Starling, Ind. Eng. Chem. Res. 27 (1988) 671-679, for one pure substance at its
// temperature T and density rho (gas, liquid and supercritical states alike). What it needs:
//   Tc [K], the critical molar volume Vc [m3/mol], the acentric factor omega, the molar mass
//   M [kg/mol], the dipole moment mu_p [debye], the association factor kappa (0 for fluids that do
//   not hydrogen-bond), and for the conductivity the ideal-gas heat capacity cv0(T) (J/(mol K)).
//
// In the paper's units (eta in micropoise, Vc in cm3/mol, M in g/mol, rho in mol/cm3):
//   T* = 1.2593 T/Tc,  mu_r = 131.3 mu_p/sqrt(Vc Tc),  Fc = 1 - 0.2756 omega + 0.059035 mu_r^4 + kappa,
//   Omega_v(T*) = 1.16145 T*^-0.14874 + 0.52487 exp(-0.77320 T*) + 2.16178 exp(-2.43787 T*)
//     (Neufeld, Janzen and Aziz 1972),
//   y = rho Vc/6,  G1 = (1 - y/2)/(1 - y)^3,
//   E_i = a_i + b_i omega + c_i mu_r^4 + d_i kappa (the paper's Table II, i = 1..10),
//   G2 = (E1 (1 - exp(-E4 y))/y + E2 G1 exp(E5 y) + E3 G1)/(E1 E4 + E2 + E3),
//   eta** = E7 y^2 G2 exp(E8 + E9/T* + E10/T*^2),
//   eta = 36.344 sqrt(M Tc)/Vc^(2/3) [sqrt(T*)/Omega_v Fc (1/G2 + E6 y) + eta**]     (micropoise);
// its dilute-gas limit (y -> 0) is eta0 = 40.785 Fc sqrt(M T)/(Vc^(2/3) Omega_v). With
//   B_i the conductivity coefficients of the paper's Table III (i = 1..7), H2 the G2 above with B
//   in place of E, and Psi = 1 + alpha (0.215 + 0.28288 alpha - 1.061 beta + 0.26665 Z)/(0.6366 +
//   beta Z + 1.061 alpha beta), alpha = cv0/R - 3/2, beta = 0.7862 - 0.7109 omega + 1.3168 omega^2,
//   Z = 2 + 10.5 Tr^2,
//   lambda = 31.2 eta0 Psi/M' (1/H2 + B6 y) + q B7 y^2 sqrt(Tr) H2     (W/(m K)),
//   eta0 in Pa s, M' in kg/mol, q = 3.586e-3 sqrt(Tc/M')/Vc^(2/3).
// The coefficient tables are those of the paper as Poling, Prausnitz and O'Connell reproduce them
// (The Properties of Gases and Liquids, 5th ed., McGraw-Hill 2001, Tables 9-6 and 10-5).
//
// Known limits: the method carries no critical enhancement, so near the critical point the
// conductivity misses its peak (nitrogen at 126.2 K and the critical density: 26 % of the reference
// value); liquid viscosity errors of 10 to 20 % are usual, and more where the density fed to it is
// off (a cubic equation of state's liquid densities are). Errors against reference correlations at
// gas-like, liquid-like and supercritical states are listed in tests/real_gas/test_chung_transport.cpp
// and README.md.
//
// Evaluation is allocation-free and thread-safe (const); the substance constants are prepared once.
#pragma once

namespace mp {

// The transport inputs of one substance (SI but the dipole moment).
struct chung_inputs {
    double Tc = 0.0;             // K
    double Vc = 0.0;             // critical molar volume, m3/mol
    double omega = 0.0;          // acentric factor
    double M = 0.0;              // kg/mol
    double dipole_moment = 0.0;  // debye
    double association = 0.0;    // association factor kappa
};

class chung_transport {
public:
    chung_transport() = default;
    // False (and unusable) when Tc, Vc or M is not a finite positive number or the other inputs
    // are not finite.
    bool configure(const chung_inputs& in) noexcept;
    bool configured() const noexcept { return m_ok; }
    const chung_inputs& inputs() const noexcept { return m_in; }

    // At T [K] and mass density rho [kg/m3] (rho 0: the dilute gas): viscosity [Pa s] and, given
    // the molar ideal-gas heat capacity cv0 [J/(mol K)] at T, conductivity [W/(m K)]. Either output
    // pointer may be null. NaN out for T <= 0 or rho < 0.
    void evaluate(double T, double rho, double cv0_molar, double* mu, double* lambda) const noexcept;
    // The dilute-gas viscosity eta0(T) [Pa s].
    double dilute_viscosity(double T) const noexcept;

private:
    chung_inputs m_in;
    bool m_ok = false;
    double m_E[10] = {};
    double m_B[7] = {};
    double m_Fc = 0.0;
    double m_beta = 0.0;
    double m_Vc_cm3 = 0.0;        // cm3/mol
    double m_eta_scale = 0.0;     // 36.344 sqrt(M Tc)/Vc^(2/3), micropoise
    double m_q = 0.0;             // 3.586e-3 sqrt(Tc/M')/Vc^(2/3)
    double m_rho_to_y = 0.0;      // y per kg/m3
};

}  // namespace mp
