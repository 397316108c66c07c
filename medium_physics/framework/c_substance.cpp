#include "framework/c_substance.h"

#include <cmath>
#include <initializer_list>
#include <vector>

#include "file_io/c_file_io/c_file_io.h"
#include "factory/mp_log.h"

bool C_substance_base::init_from_description(IHostDescription& description, IHostMessageSink* sink) {
    CHostString id_text;
    description.get_identifier(id_text);
    description.get_name(m_name);
    m_sink = sink;
    if (guid_utils::BuildGUIDFromString(id_text, m_identity)) return true;
    MP_LOG(sink, mp::line_kind::error, "ERROR: MediumPhysics: %s(%d): %s: the identifier is not a GUID\n",
           m_name.to_utf8().c_str());
    return false;
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

bool param_from_host(const host_property& property, c_1d_param& param, const CHostString& substance,
                     const char* what, IHostMessageSink* sink) {
    const std::int32_t n = property.T.size();
    if (n == 0) {
        param.set_constant(property.constant);
        return true;
    }
    bool ok = property.value.size() >= n;
    for (std::int32_t i = 0; ok && i < n; ++i) {
        ok = std::isfinite(property.T[i]) && std::isfinite(property.value[i]) && (i == 0 || property.T[i] > property.T[i - 1]);
    }
    if (!ok) {
        MP_LOG(sink, mp::line_kind::error,
               "ERROR: MediumPhysics: %s(%d): %s: the %s table needs strictly increasing temperatures and a finite "
               "value for each\n",
               substance.to_utf8().c_str(), what);
        return false;
    }
    param.set_table(property.constant, std::vector<double>(property.T.begin(), property.T.end()),
                    std::vector<double>(property.value.begin(), property.value.begin() + n));
    return true;
}
