#include "c_substance.h"

#include "file_io/c_file_io/c_file_io.h"

bool C_substance_base::init_from_description(IHostDescription& description, IHostMessageSink* sink) {
    CHostString id_text;
    description.get_identifier(id_text);
    description.get_name(m_name);
    m_sink = sink;
    return guid_utils::BuildGUIDFromString(id_text, m_identity);
}

void C_substance_base::init(const host_guid& identity, const CHostString& name, IHostMessageSink* sink) {
    m_identity = identity;
    m_name = name;
    m_sink = sink;
}

void C_substance_base::write_base(C_file_io& stream) const {
    stream.put<std::uint8_t>(0);
    stream.write_guid(m_identity);
    stream.write_string(m_name);
}

bool C_substance_base::read_base(C_file_io& stream) {
    if (stream.get<std::uint8_t>() != 0) return false;
    stream.read_guid(m_identity);
    stream.read_string(m_name);
    return true;
}

C_obsolete_model_substance::C_obsolete_model_substance(const host_guid& identity, const CHostString& name,
                                                       double parameter, IHostMessageSink* sink)
    : m_parameter(parameter) {
    init(identity, name, sink);
}

void C_obsolete_model_substance::write(C_file_io& stream) const {
    stream.put<std::uint8_t>(0);
    write_base(stream);
    stream.put(m_parameter);
}

bool C_obsolete_model_substance::read(C_file_io& stream) {
    if (stream.get<std::uint8_t>() != 0) return false;
    if (!read_base(stream)) return false;
    m_parameter = stream.get<double>();
    return true;
}
