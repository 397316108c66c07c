#include "hypersonic/c_hypersonic_gas_substance.h"

#include "file_io/c_file_io/c_file_io.h"
#include "medium_physics/description.h"
#include "factory/mp_log.h"

bool C_hypersonic_gas_substance::init(IHostDescription& description, IHostMessageSink* sink) {
    if (!init_from_description(description, sink)) return false;
    auto tables = mp::hypersonic::builtin_tables();
    if (!tables) {
        MP_LOG(sink, mp::line_kind::error,
               "ERROR: MediumPhysics: %s(%d): the built-in equilibrium-air tables are not available\n");
        return false;
    }
    m_tables = std::move(tables);
    return true;
}

bool C_hypersonic_gas_substance::init(const host_guid& identity, const CHostString& name,
                                      std::shared_ptr<const mp::hypersonic::table_set> tables, IHostMessageSink* sink) {
    if (!tables || !tables->ready()) return false;
    C_substance_base::init(identity, name, sink);
    m_tables = std::move(tables);
    return true;
}

void C_hypersonic_gas_substance::write(C_file_io& stream) const {
    write_base(stream);
    m_tables->write(stream);
}

bool C_hypersonic_gas_substance::read(C_file_io& stream) {
    if (!read_base(stream)) return false;
    auto tables = std::make_shared<mp::hypersonic::table_set>();
    tables->read(stream);
    m_tables = std::move(tables);
    return true;
}
