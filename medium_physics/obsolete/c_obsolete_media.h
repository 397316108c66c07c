// The obsolete cavitation medium (kind 10), kept so that old projects still load: a faithful
// placeholder over the built-in obsolete-model substance. It answers its identity, substances,
// radiation and stream operations; it offers no solver interface (old projects replace it).
#pragma once

#include <memory>

#include "framework/c_substance.h"
#include "framework/c_thermodynamic_base.h"
#include "medium_physics/i_medium_physics.h"

class C_medium_physics;

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
