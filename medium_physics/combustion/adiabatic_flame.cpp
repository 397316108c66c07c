#include "combustion/adiabatic_flame.h"

#include <cmath>
#include <cstring>

#include "factory/mp_log.h"

namespace mp::combustion {

const char* to_text(flame_status s) noexcept {
    switch (s) {
        case flame_status::ok: return "ok";
        case flame_status::invalid_input: return "invalid input";
        case flame_status::not_converged: return "no adiabatic flame temperature found";
    }
    return "unknown";
}

const char* fuel_species(const char* name) noexcept {
    if (name == nullptr) return nullptr;
    static constexpr const char* kNames[][2] = {{"methane", "CH4"}, {"propane", "C3H8"}, {"hydrogen", "H2"},
                                                {"ethane", "C2H6"}, {"ethylene", "C2H4"}, {"acetylene", "C2H2"},
                                                {"carbon-monoxide", "CO"}};
    for (const auto& n : kNames)
        if (std::strcmp(name, n[0]) == 0) return n[1];
    const int j = gri30::find(name);
    return j < 0 ? nullptr : gri30::records()[j].name;
}

flame_result adiabatic_flame(const chemistry& chem, double phi, double p, double T0, IHostMessageSink* sink) noexcept {
    flame_result out;
    if (!chem.ready() || !std::isfinite(phi) || !(phi > 0.0) || !std::isfinite(p) || !(p > 0.0) ||
        !std::isfinite(T0) || !(T0 >= kFlameLowest) || !(T0 < kFlameHighest))
        return out;
    out.z = chem.mixture_fraction(phi);
    out.h = chem.unburnt_enthalpy(out.z, T0);
    equilibrium::mixture m;
    if (!chem.mixture_at(out.z, m)) return out;
    m.set_message_sink(sink);
    equilibrium::state st;
    equilibrium::properties pr;
    double lo = kFlameLowest, hi = kFlameHighest;
    double T = 2000.0;
    out.status = flame_status::not_converged;
    for (std::int32_t it = 1; it <= kFlameIterations; ++it) {
        out.iterations = it;
        if (!equilibrium::succeeded(m.solve_T_p(T, p, st, st.has_potentials)) &&
            !equilibrium::succeeded(m.solve_T_p(T, p, st, false)))
            break;
        if (!m.evaluate(st, pr)) break;
        const double r = pr.h - out.h;
        if (r > 0.0) hi = T;
        else lo = T;
        double T_new = T - r / pr.cp;
        if (!(T_new > lo && T_new < hi)) T_new = 0.5 * (lo + hi);
        const bool done = std::fabs(T_new - T) <= kFlameTolerance * T;
        T = T_new;
        if (done) {
            if (!equilibrium::succeeded(m.solve_T_p(T, p, st, true)) || !m.evaluate(st, pr)) break;
            out.status = flame_status::ok;
            break;
        }
    }
    if (out.status != flame_status::ok) {
        MP_LOG(sink, line_kind::warning,
               "Warning 3002: MediumPhysics: %s(%d): Chemistry: no adiabatic flame temperature at phi = %g, "
               "p = %g Pa, T0 = %g K\n",
               phi, p, T0);
        return out;
    }
    out.T = pr.T;
    out.rho = pr.rho;
    out.M = pr.molar_mass;
    out.cp = pr.cp;
    out.a = pr.sound_speed;
    for (int j = 0; j < chem.species_count(); ++j) out.x[j] = pr.x[j];
    return out;
}

}  // namespace mp::combustion
