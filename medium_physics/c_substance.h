// Substance records: the data of one component, built once by the factory from a description and
// shared by every medium that names it. C_substance_base holds what all substances have: name,
// identity (the key by which media refer to it in a stream) and the message sink of the media
// that use it.
#pragma once

#include <cstdint>

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

    // Takes name and identifier from the description. False when the identifier is not a GUID.
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
