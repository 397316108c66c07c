// An analytic stand-in for the real-gas generator: properties given in closed form over
// (x = ln p, T), so that table tests know the exact answer, and a count of the calls per patch
// rectangle so that concurrency tests can tell how often a patch was filled.
#pragma once

#include <atomic>
#include <cmath>
#include <cstdint>

#include "real_gas/crgpropertygenerator.h"
#include "file_io/c_file_io/c_file_io.h"

class analytic_generator final : public IRGPropertyGenerator {
public:
    // property k at (x, T) = c[k][0] + c[k][1] x + c[k][2] T + c[k][3] x T  (bilinear: cages
    // reproduce it exactly) plus curvature * x^2 for property 0 when asked for
    double c[4][4] = {{5.0, 2.0, 0.5, 0.01}, {1e5, -300.0, 1000.0, 2.0}, {10.0, 0.0, 3.0, 0.0}, {200.0, 1.0, 0.25, 0.0}};
    double curvature = 0.0;
    mutable std::atomic<std::int64_t> calls{0};

    static double value(const double k[4], double x, double T) { return k[0] + k[1] * x + k[2] * T + k[3] * x * T; }
    bool properties(double p, double T, double out[4]) const noexcept override {
        calls.fetch_add(1, std::memory_order_relaxed);
        const double x = std::log(p);
        for (int k = 0; k < 4; ++k) out[k] = value(c[k], x, T);
        out[0] += curvature * x * x;
        return true;
    }
    // a saturation line: ln psat = 20 - 2000/T, the other arrays simple functions of T
    double saturation_ln_p(double T) const noexcept override { return T < 400.0 ? 20.0 - 2000.0 / T : 0.0; }
    double saturation_rho_liquid(double T) const noexcept override { return 1200.0 - T; }
    double saturation_rho_vapour(double T) const noexcept override { return 0.01 * T; }
    double saturation_h_liquid(double T) const noexcept override { return 2000.0 * T; }
    double saturation_h_vapour(double T) const noexcept override { return 3e5 + 1000.0 * T; }
    double saturation_s_liquid(double T) const noexcept override { return 5.0 * T; }
    double saturation_s_vapour(double T) const noexcept override { return 2000.0 + 2.0 * T; }
    double spinodal_p_liquid(double T) const noexcept override { return 100.0 * T; }
    double spinodal_p_vapour(double T) const noexcept override { return 200.0 * T; }
    bool fill(double, double, std::int32_t, double, double, std::int32_t, double* const[4]) noexcept override {
        return false;
    }
    double critical_temperature() const noexcept override { return 400.0; }
    double critical_pressure() const noexcept override { return std::exp(15.0); }
    double gas_constant() const noexcept override { return 200.0; }
    void write(C_file_io& stream) const override {
        const std::uint8_t version = 0;
        stream.put(version);
        stream.write(&c[0][0], 16);
        stream.put(curvature);
    }
    bool read(C_file_io& stream) override {
        std::uint8_t version = 1;
        stream.read(&version, 1);
        if (version != 0) return false;
        stream.read(&c[0][0], 16);
        stream.read(&curvature, 1);
        return true;
    }
    std::int32_t kind() const noexcept override { return 0; }
};
