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

// Fills `param` from a host property (constant, or a table whose temperatures strictly increase
// and whose values are finite). False, and a log line naming the substance and the property,
// when the table is not usable.
bool param_from_host(const host_property& property, c_1d_param& param, const CHostString& substance, const char* what,
                     IHostMessageSink* sink);
