#include "real_gas/chung_transport.h"

#include <cmath>
#include <limits>

namespace mp {

namespace {

// J/(mol K), as everywhere in the library.
constexpr double kR = 8.3144;

// Chung et al. (1988), Table II: E_i = a + b omega + c mu_r^4 + d kappa, rows i = 1..10.
constexpr double kViscosity[10][4] = {
    {6.324, 50.412, -51.680, 1189.0},       {1.210e-3, -1.154e-3, -6.257e-3, 0.03728},
    {5.283, 254.209, -168.48, 3898.0},      {6.623, 38.096, -8.464, 31.42},
    {19.745, 7.630, -14.354, 31.53},        {-1.900, -12.537, 4.985, -18.15},
    {24.275, 3.450, -11.291, 69.35},        {0.7972, 1.117, 0.01235, -4.117},
    {-0.2382, 0.06770, -0.8163, 4.025},     {0.06863, 0.3479, 0.5926, -0.727},
};
// Chung et al. (1988), Table III: B_i, rows i = 1..7.
constexpr double kConductivity[7][4] = {
    {2.4166, 0.74824, -0.91858, 121.72},    {-0.50924, -1.5094, -49.991, 69.983},
    {6.6107, 5.6207, 64.760, 27.039},       {14.543, -8.9139, -5.6379, 74.344},
    {0.79274, 0.82019, -0.69369, 6.3173},   {-5.8634, 12.801, 9.5893, 65.529},
    {91.089, 128.11, -54.217, 523.81},
};

// Below this y the term (1 - exp(-k y))/y takes its series k (1 - k y/2 + k^2 y^2/6): the quotient
// would lose its digits to cancellation.
constexpr double kSmallY = 1e-6;

// The collision integral of Neufeld, Janzen and Aziz (1972) as Chung uses it.
double omega_v(double Ts) noexcept {
    return 1.16145 * std::pow(Ts, -0.14874) + 0.52487 * std::exp(-0.77320 * Ts) + 2.16178 * std::exp(-2.43787 * Ts);
}

// G2 (or H2) of the paper from its coefficients c[0..4] = (X1, X2, X3, X4, X5) at y.
double g2(const double* c, double y, double G1) noexcept {
    const double k = c[3];
    const double first = y < kSmallY ? k * (1.0 - 0.5 * k * y + k * k * y * y / 6.0) : -std::expm1(-k * y) / y;
    return (c[0] * first + c[1] * G1 * std::exp(c[4] * y) + c[2] * G1) / (c[0] * c[3] + c[1] + c[2]);
}

bool finite_positive(double v) noexcept { return std::isfinite(v) && v > 0.0; }

}  // namespace

bool chung_transport::configure(const chung_inputs& in) noexcept {
    m_ok = false;
    m_in = in;
    if (!finite_positive(in.Tc) || !finite_positive(in.Vc) || !finite_positive(in.M) || !std::isfinite(in.omega) ||
        !std::isfinite(in.dipole_moment) || !std::isfinite(in.association))
        return false;
    m_Vc_cm3 = in.Vc * 1e6;
    const double M_g = in.M * 1e3;
    const double mur = 131.3 * in.dipole_moment / std::sqrt(m_Vc_cm3 * in.Tc);
    const double mur4 = mur * mur * mur * mur;
    const double w = in.omega, k = in.association;
    for (int i = 0; i < 10; ++i)
        m_E[i] = kViscosity[i][0] + kViscosity[i][1] * w + kViscosity[i][2] * mur4 + kViscosity[i][3] * k;
    for (int i = 0; i < 7; ++i)
        m_B[i] = kConductivity[i][0] + kConductivity[i][1] * w + kConductivity[i][2] * mur4 + kConductivity[i][3] * k;
    m_Fc = 1.0 - 0.2756 * w + 0.059035 * mur4 + k;
    m_beta = 0.7862 - 0.7109 * w + 1.3168 * w * w;
    const double Vc23 = std::cbrt(m_Vc_cm3 * m_Vc_cm3);
    m_eta_scale = 36.344 * std::sqrt(M_g * in.Tc) / Vc23;
    m_q = 3.586e-3 * std::sqrt(in.Tc / in.M) / Vc23;
    // y = rho_molar [mol/cm3] Vc [cm3/mol] / 6 with rho_molar = rho [kg/m3] / M [kg/mol] * 1e-6
    m_rho_to_y = 1e-6 / in.M * m_Vc_cm3 / 6.0;
    m_ok = true;
    return true;
}

double chung_transport::dilute_viscosity(double T) const noexcept {
    if (!m_ok || !(T > 0.0)) return std::numeric_limits<double>::quiet_NaN();
    const double Ts = 1.2593 * T / m_in.Tc;
    // 40.785 Fc sqrt(M T)/(Vc^(2/3) Omega_v) micropoise = the y -> 0 limit of the dense form
    return 1e-7 * m_eta_scale * std::sqrt(Ts) * m_Fc / omega_v(Ts);
}

void chung_transport::evaluate(double T, double rho, double cv0_molar, double* mu, double* lambda) const noexcept {
    if (!m_ok || !(T > 0.0) || !(rho >= 0.0) || !std::isfinite(rho)) {
        if (mu != nullptr) *mu = std::numeric_limits<double>::quiet_NaN();
        if (lambda != nullptr) *lambda = std::numeric_limits<double>::quiet_NaN();
        return;
    }
    const double Ts = 1.2593 * T / m_in.Tc;
    const double Om = omega_v(Ts);
    const double y = rho * m_rho_to_y;
    const double G1 = (1.0 - 0.5 * y) / ((1.0 - y) * (1.0 - y) * (1.0 - y));
    const double eta0_micropoise = m_eta_scale * std::sqrt(Ts) * m_Fc / Om;
    if (mu != nullptr) {
        const double G2 = g2(m_E, y, G1);
        const double eta_ss = m_E[6] * y * y * G2 * std::exp(m_E[7] + m_E[8] / Ts + m_E[9] / (Ts * Ts));
        const double eta_s = std::sqrt(Ts) / Om * m_Fc * (1.0 / G2 + m_E[5] * y) + eta_ss;
        *mu = 1e-7 * m_eta_scale * eta_s;  // micropoise to Pa s
    }
    if (lambda != nullptr) {
        const double alpha = cv0_molar / kR - 1.5;
        const double Tr = T / m_in.Tc;
        const double Z = 2.0 + 10.5 * Tr * Tr;
        const double psi =
            1.0 + alpha * (0.215 + 0.28288 * alpha - 1.061 * m_beta + 0.26665 * Z) / (0.6366 + m_beta * Z + 1.061 * alpha * m_beta);
        const double H2 = g2(m_B, y, G1);
        const double eta0 = 1e-7 * eta0_micropoise;  // Pa s
        *lambda = 31.2 * eta0 * psi / m_in.M * (1.0 / H2 + m_B[5] * y) + m_q * m_B[6] * y * y * std::sqrt(Tr) * H2;
    }
}

}  // namespace mp
