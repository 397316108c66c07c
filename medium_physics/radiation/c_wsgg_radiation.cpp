#include "radiation/c_wsgg_radiation.h"

using mp::radiation::wsgg_gray_gases;
using mp::radiation::wsgg_status;

static_assert(mp::radiation::kWsggGrayGases <= FluidRadProp::kMaxGrayGases, "the interface's arrays hold every gray gas");

wsgg_status C_wsgg_radiation::gray_gases_at(double p, double T, const double* Y, wsgg_gray_gases& out) const noexcept {
    if (!has_absorbers() || Y == nullptr) {
        out = wsgg_gray_gases{};
        return wsgg_status::no_absorber;
    }
    const double xw = m_h2o >= 0 ? absorber_mole_fraction(Y, m_h2o) : 0.0;
    const double xc = m_co2 >= 0 ? absorber_mole_fraction(Y, m_co2) : 0.0;
    return mp::radiation::wsgg_at(p, T, xw, xc, out);
}

double C_wsgg_radiation::get_radiation_value(double p, double T, const double* Y) const noexcept {
    wsgg_gray_gases g;
    if (gray_gases_at(p, T, Y, g) != wsgg_status::ok) return 0.0;
    return mp::radiation::planck_mean_absorption(g);
}

std::int32_t C_wsgg_radiation::get_gray_gases(double p, double T, const double* Y, double* k, double* a) const noexcept {
    wsgg_gray_gases g;
    if (gray_gases_at(p, T, Y, g) != wsgg_status::ok || k == nullptr || a == nullptr) return 0;
    for (std::int32_t i = 0; i < mp::radiation::kWsggGrayGases; ++i) {
        k[i] = g.k[i];
        a[i] = g.a[i];
    }
    return mp::radiation::kWsggGrayGases;
}

double C_wsgg_radiation::get_emissivity(double p, double T, const double* Y, double L) const noexcept {
    wsgg_gray_gases g;
    if (gray_gases_at(p, T, Y, g) != wsgg_status::ok) return 0.0;
    return mp::radiation::total_emissivity(g, L);
}
