// C_hypersonic_gas_substance: equilibrium air for the hypersonic medium, one pseudo-species whose
// state comes from a ladder of CHypersonicBuiltInPG generators (hypersonic_tables.h).
//
// A substance built from a description takes the library's built-in tables (shared, read once);
// a loaded one holds the tables of its record, so a saved project answers exactly as it did.
//
// Record: the common substance record (byte 0, identifier, name), then the table set's record
// (its version byte, 1 or 2, the layout, every band's generator record; hypersonic_tables.h).
#pragma once

#include <memory>

#include "framework/c_substance.h"
#include "hypersonic/hypersonic_tables.h"

class IHostDescription;

class C_hypersonic_gas_substance final : public C_substance_base {
public:
    using description_type = IHostDescription;

    C_hypersonic_gas_substance() = default;

    // Identifier and name from the description, the built-in tables. False when the identifier is
    // not a GUID or the build carries no tables (an ERROR line says which).
    bool init(IHostDescription& description, IHostMessageSink* sink);
    // The same over given tables (tests, tools).
    bool init(const host_guid& identity, const CHostString& name, std::shared_ptr<const mp::hypersonic::table_set> tables,
              IHostMessageSink* sink);

    void write(C_file_io& stream) const;
    // False on an unknown version; a damaged table record raises the stream's error.
    bool read(C_file_io& stream);

    const mp::hypersonic::table_set& tables() const noexcept { return *m_tables; }
    const std::shared_ptr<const mp::hypersonic::table_set>& shared_tables() const noexcept { return m_tables; }

    // The generator queries, eight results each in the generator's orders:
    //   e_rho: T, p, a, gamma, cp, M, mu, lambda      p_rho: T, e, a, gamma, cp, M, mu, lambda
    //   T_rho: e, p, a, gamma, cp, M, mu, lambda      p_T:   rho, e, a, gamma, cp, M, mu, lambda
    void state_e_rho(double e, double rho, double* r) const noexcept { m_tables->state_e_rho(e, rho, r); }
    void state_p_rho(double p, double rho, double* r) const noexcept { m_tables->state_p_rho(p, rho, r); }
    void state_T_rho(double T, double rho, double* r) const noexcept { m_tables->state_T_rho(T, rho, r); }
    void state_p_T(double p, double T, double* r) const noexcept { m_tables->state_p_T(p, T, r); }

private:
    std::shared_ptr<const mp::hypersonic::table_set> m_tables = std::make_shared<mp::hypersonic::table_set>();
};
