// The obsolete cavitation medium (kind 10), kept so that old projects still load: a faithful
// placeholder over the built-in obsolete-model substance. It answers its identity, substances,
// radiation and stream operations; it offers no solver interface (old projects replace it).
#pragma once

#include <memory>

#include "framework/c_substance.h"
#include "framework/c_thermodynamic_base.h"
#include "medium_physics/i_medium_physics.h"

class C_medium_physics;

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

class C_cavitation_therm_obsolete final : public I_write,
                                          public C_thermodynamic_base,
                                          public C_no_radiation,
                                          public CHostAPIBaseClass<C_cavitation_therm_obsolete>,
                                          public virtual IHostUnknown,
                                          public virtual FluidRadProp::IRadPropFunctionality,
                                          public virtual I_fluid_thermodynamics {
public:
    explicit C_cavitation_therm_obsolete(std::shared_ptr<C_obsolete_model_substance> substance);
    ~C_cavitation_therm_obsolete() override;

    // Rebuilds a medium from its record, taking its substance from the factory's cache; nullptr
    // when the record is not version 0 or names a substance the factory does not hold.
    static std::shared_ptr<C_cavitation_therm_obsolete> load(C_file_io& stream, const C_medium_physics& factory);

    std::int32_t query_interface(std::any& requested) override;
    substance_array get_substances() const override { return thermo::substance_array_of(m_substance); }
    std::int32_t get_type_id() const noexcept override { return MP_KIND_CAVITATION_OBSOLETE; }
    // Record: int32 0 (version), the identity, int32 substance count, the substance identifiers.
    void write(C_file_io& stream) const override;

    const C_obsolete_model_substance& substance() const noexcept { return *m_substance; }

private:
    C_cavitation_therm_obsolete() = default;
    std::shared_ptr<C_obsolete_model_substance> m_substance;
};
