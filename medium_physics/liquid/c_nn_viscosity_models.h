// Viscosity laws of non-Newtonian liquids: the dynamic viscosity [Pa s] as a function of pressure
// [Pa], temperature [K] and shear rate [1/s]. Six laws behind one interface; each is immutable once
// built and is evaluated concurrently. A law never reports errors: the guards it has are part of
// the law (the shear factor's clamp, the Herschel-Bulkley cap, the regression's 1e10 ceiling).
//
// Record of every law: byte 0, then its parameters in the order listed with the class.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "medium_physics/host_string.h"
#include "tables/c_1d_param.h"

class C_file_io;

class INonNewtonLiquidModel {
public:
    virtual ~INonNewtonLiquidModel() = default;
    virtual double viscosity(double p, double T, double shear_rate) const noexcept = 0;
    // False when the leading byte is not 0 or a part fails; stream failures throw.
    virtual bool read(C_file_io& stream) = 0;
    virtual void write(C_file_io& stream) const = 0;
};

// The laws' codes in a substance record (which class reads the law back).
enum class nn_law : std::int32_t {
    carreau = 0,
    cross_wlf = 1,
    herschel_bulkley = 2,
    power_law = 3,
    polynomial_regression = 4,
    high_order_regression = 5,
};
// A fresh, empty law of the given code; nullptr for an unknown code.
std::unique_ptr<INonNewtonLiquidModel> make_nn_law(nn_law code);
// The law a description names, with its parameters; nullptr, with an ERROR line naming the
// substance and what is wrong, when the description names none or gives unusable parameters.
class I_non_newtonian_description;
class IHostMessageSink;
std::unique_ptr<INonNewtonLiquidModel> build_nn_law(I_non_newtonian_description& description,
                                                    const CHostString& substance, IHostMessageSink* sink);

namespace nn {
// Bounds of the shear factor g^(n-1) of the power-type laws.
inline constexpr double kShearFactorFloor = 1e-40;
inline constexpr double kShearFactorCeiling = 1e40;
// The Herschel-Bulkley viscosity never exceeds this many times its consistency.
inline constexpr double kHerschelBulkleyCap = 1000.0;
// The high-order regression answers at most this viscosity, Pa s: exp(23.026) is about 1e10.
inline constexpr double kRegressionExponentLimit = 23.026;
inline constexpr double kRegressionCeiling = 1e10;
// g^(n - 1), non-finite values replaced by the bound on their side, then clamped.
double shear_factor(double g, double n) noexcept;
}  // namespace nn

// mu = (mu_0 - mu_inf) (1 + (lambda g)^2)^((n - 1)/2) + mu_inf.
// Record: mu_zero (T), mu_infinity (T), time_constant (T), power_index.
class CCarreauModel final : public INonNewtonLiquidModel {
public:
    c_1d_param mu_zero, mu_infinity, time_constant;
    double power_index = 1.0;
    double viscosity(double p, double T, double g) const noexcept override;
    bool read(C_file_io& stream) override;
    void write(C_file_io& stream) const override;
};

// T* = D2 + D3 p; mu_0 = D1 exp(-A1 (T - T*) / (A2 + D3 p + (T - T*))) above T*, D1 below;
// mu = mu_0 / (1 + (mu_0 g / tau*)^(1 - n)). The only law that depends on pressure.
// Record: A1, A2, D1, D2, D3, tau_star, power_index.
class CCrossWLFModel final : public INonNewtonLiquidModel {
public:
    double A1 = 0, A2 = 0, D1 = 0, D2 = 0, D3 = 0, tau_star = 1, power_index = 1;
    double viscosity(double p, double T, double g) const noexcept override;
    bool read(C_file_io& stream) override;
    void write(C_file_io& stream) const override;
};

// mu = min(1000 k, k f + tau_y / g), f the shear factor.
// Record: consistency (T), yield_stress (T), power_index.
class CHershelBulkleyModel final : public INonNewtonLiquidModel {
public:
    c_1d_param consistency, yield_stress;
    double power_index = 1.0;
    double viscosity(double p, double T, double g) const noexcept override;
    bool read(C_file_io& stream) override;
    void write(C_file_io& stream) const override;
};

// mu = k f, bounded by the low-shear value (from above when n < 1, from below when n > 1) and the
// high-shear value (the reverse), each when switched on; n = 1 ignores both.
// Record: consistency (T), low_shear_limit (T), high_shear_limit (T), power_index,
// use_low_shear_limit (byte), use_high_shear_limit (byte).
class CPowerLawModel final : public INonNewtonLiquidModel {
public:
    c_1d_param consistency, low_shear_limit, high_shear_limit;
    double power_index = 1.0;
    bool use_low_shear_limit = false, use_high_shear_limit = false;
    double viscosity(double p, double T, double g) const noexcept override;
    bool read(C_file_io& stream) override;
    void write(C_file_io& stream) const override;
};

// mu = exp(a0 + a1 L + a2 L^2 + a3 T + a4 T L + a5 T^2), L = ln(g), or ln(max(g_min, g)) with the
// minimum switched on. Record: a0..a5, use_min_shear_rate (byte), min_shear_rate.
class CPolynomialRegressionModel final : public INonNewtonLiquidModel {
public:
    double a[6] = {0, 0, 0, 0, 0, 0};
    bool use_min_shear_rate = false;
    double min_shear_rate = 0.0;
    double viscosity(double p, double T, double g) const noexcept override;
    bool read(C_file_io& stream) override;
    void write(C_file_io& stream) const override;
};

// A cubic-in-ln(g), quadratic-in-T regression with ten coefficients (modes 1 and 2 bound the shear
// rate by the regression's extremum; the result never exceeds 1e10 Pa s), or (mode 0) a table of
// viscosity rows, one row of (shear rate, viscosity) points per temperature, interpolated linearly
// in shear rate within a row (held at the row's ends) and then in temperature between rows.
// Record: a0..a9; mode (int32); cap flag (byte) and cap (1/s); int32 row count K; the K row
// temperatures; the K row lengths (int32); all shear-rate points; all viscosity values.
class CHightOrderPRModel final : public INonNewtonLiquidModel {
public:
    double a[10] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
    std::int32_t mode = 1;
    bool use_shear_cap = false;
    double shear_cap = 0.0;
    std::vector<double> row_T;              // K, increasing
    std::vector<std::int32_t> row_length;   // points per row
    std::vector<double> row_shear, row_mu;  // the rows one after another
    double viscosity(double p, double T, double g) const noexcept override;
    bool read(C_file_io& stream) override;
    void write(C_file_io& stream) const override;
    // Checks the table (row lengths positive and adding up to the points) and indexes its rows;
    // call after setting the rows. False for an inconsistent table.
    bool prepare();

private:
    double row_value(std::size_t row, double g) const noexcept;
    std::vector<std::size_t> m_row_start;  // where each row begins in row_shear / row_mu
};
