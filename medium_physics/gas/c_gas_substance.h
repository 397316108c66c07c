// The gas components of the ideal-gas and perfect-gas mixtures: one substance record per gas,
// built once by the factory from an I_gas_description and shared by every medium that names it.
#pragma once

#include <cstdint>

#include "framework/c_substance.h"
#include "tables/c_1d_param.h"

// A thermally perfect gas component: cp(T) tabulated or constant, h(T) its integral from 0 K,
// viscosity and conductivity as functions of T, molar mass, and a constant gamma used only by the
// constant-gamma closures of the density-based interface.
// Record: byte 0; the common record; M and gamma; cp, mu and lambda as parameter records.
// (The first temperature parameter is kept with the substance but not saved.)
class C_ideal_gas_substance final : public C_substance_base {
public:
    using description_type = I_gas_description;
    C_ideal_gas_substance() = default;
    ~C_ideal_gas_substance() = default;
    // False, with a log line, when the description cannot make a gas (bad identifier, molar mass
    // not positive, unusable table).
    bool init(I_gas_description& description, IHostMessageSink* sink);

    double molar_mass() const noexcept { return m_M; }
    double gamma() const noexcept { return m_gamma; }
    double cp(double T) const noexcept { return m_cp.value(T); }
    double h(double T) const noexcept { return m_cp.integral(T); }
    void cp_h(double T, double& cp, double& h) const noexcept { m_cp.value_and_integral(T, cp, h); }
    double mu(double T) const noexcept { return m_mu.value(T); }
    double lambda(double T) const noexcept { return m_lambda.value(T); }
    const c_1d_param& cp_param() const noexcept { return m_cp; }
    const c_1d_param& first_parameter() const noexcept { return m_first; }

    // The same values at an interval found once on a grid that all the tables share.
    double cp_at(std::int32_t i, double T) const noexcept { return m_cp.value_at(i, T); }
    void cp_h_at(std::int32_t i, double T, double& cp, double& h) const noexcept {
        m_cp.value_and_integral_at(i, T, cp, h);
    }
    double mu_at(std::int32_t i, double T) const noexcept { return m_mu.value_at(i, T); }
    double lambda_at(std::int32_t i, double T) const noexcept { return m_lambda.value_at(i, T); }
    // A table of this substance (nullptr when all are constants).
    const c_1d_param* some_table() const noexcept;
    // Every table of this substance lies on `grid` (constants lie on any grid).
    bool on_grid(const c_1d_param& grid) const noexcept;

    void write(C_file_io& stream) const;
    bool read(C_file_io& stream);

private:
    c_1d_param m_first;
    c_1d_param m_cp;
    c_1d_param m_mu;
    c_1d_param m_lambda;
    double m_M = 0.0;
    double m_gamma = 0.0;
};

// A calorically perfect gas component: constant cp, h = cp T, temperature-dependent viscosity
// and conductivity. Record: byte 0; the common record; M and gamma (kept, not used by the
// formulas); cp; mu and lambda as parameter records.
class C_perfect_gas_substance final : public C_substance_base {
public:
    using description_type = I_gas_description;
    C_perfect_gas_substance() = default;
    ~C_perfect_gas_substance() = default;
    bool init(I_gas_description& description, IHostMessageSink* sink);

    double molar_mass() const noexcept { return m_M; }
    double gamma() const noexcept { return m_gamma; }
    double cp(double) const noexcept { return m_cp; }
    double h(double T) const noexcept { return m_cp * T; }
    void cp_h(double T, double& cp, double& h) const noexcept {
        cp = m_cp;
        h = m_cp * T;
    }
    double mu(double T) const noexcept { return m_mu.value(T); }
    double lambda(double T) const noexcept { return m_lambda.value(T); }
    const c_1d_param& first_parameter() const noexcept { return m_first; }

    double cp_at(std::int32_t, double) const noexcept { return m_cp; }
    void cp_h_at(std::int32_t, double T, double& cp, double& h) const noexcept { cp_h(T, cp, h); }
    double mu_at(std::int32_t i, double T) const noexcept { return m_mu.value_at(i, T); }
    double lambda_at(std::int32_t i, double T) const noexcept { return m_lambda.value_at(i, T); }
    const c_1d_param* some_table() const noexcept;
    bool on_grid(const c_1d_param& grid) const noexcept;

    void write(C_file_io& stream) const;
    bool read(C_file_io& stream);

private:
    c_1d_param m_first;
    double m_cp = 0.0;
    c_1d_param m_mu;
    c_1d_param m_lambda;
    double m_M = 0.0;
    double m_gamma = 0.0;
};
