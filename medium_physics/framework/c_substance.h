// Substance records: the data of one component, built once by the factory from a description and
// shared by every medium that names it. C_substance_base holds what all substances have: name,
// identity (the key by which media refer to it in a stream) and the message sink of the media
// that use it.
#pragma once

#include <cstdint>

#include "tables/c_1d_param.h"
#include "medium_physics/description.h"
#include "medium_physics/host_guid.h"
#include "medium_physics/host_object.h"
#include "medium_physics/host_string.h"

class C_file_io;

class C_substance_base {
public:
    C_substance_base() = default;
    C_substance_base(const C_substance_base&) = delete;
    C_substance_base& operator=(const C_substance_base&) = delete;

    const CHostString& name() const noexcept { return m_name; }
    const host_guid& identity() const noexcept { return m_identity; }
    IHostMessageSink* sink() const noexcept { return m_sink; }
    void set_sink(IHostMessageSink* sink) noexcept { m_sink = sink; }

    // Takes name and identifier from the description. False, with an ERROR line naming the
    // substance, when the identifier is not a GUID.
    bool init_from_description(IHostDescription& description, IHostMessageSink* sink);
    void init(const host_guid& identity, const CHostString& name, IHostMessageSink* sink);

    // Common record: one byte 0 (version), the 16 identifier bytes, the name.
    void write_base(C_file_io& stream) const;
    // False on a version other than 0.
    bool read_base(C_file_io& stream);

protected:
    ~C_substance_base() = default;

private:
    CHostString m_name;
    host_guid m_identity;
    IHostMessageSink* m_sink = nullptr;
};

// The built-in substance of the obsolete cavitation and condensation models: its one value is
// the model parameter it was built from. Record: one byte 0, the common record, the parameter.
class C_obsolete_model_substance final : public C_substance_base {
public:
    static constexpr const char16_t* kCavitationIdentifier = u"E46DDFE0-3DB1-4ba4-85ED-B83F873B2BF1";
    static constexpr const char16_t* kCondensationIdentifier = u"299BD8CC-69AB-4b93-82E5-6D261B8E2FBA";

    C_obsolete_model_substance() = default;
    C_obsolete_model_substance(const host_guid& identity, const CHostString& name, double parameter,
                               IHostMessageSink* sink);
    ~C_obsolete_model_substance() = default;

    double parameter() const noexcept { return m_parameter; }

    void write(C_file_io& stream) const;
    bool read(C_file_io& stream);

private:
    double m_parameter = 0.0;
};

// Fills `param` from a host property (constant, or a table whose temperatures strictly increase
// and whose values are finite). False, and a log line naming the substance and the property,
// when the table is not usable.
bool param_from_host(const host_property& property, c_1d_param& param, const CHostString& substance,
                     const char* what, IHostMessageSink* sink);

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
    void cp_h_at(std::int32_t i, double T, double& cp, double& h) const noexcept { m_cp.value_and_integral_at(i, T, cp, h); }
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
