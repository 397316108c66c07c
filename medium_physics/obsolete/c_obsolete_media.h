// The obsolete media, kept so that old projects still load and save unchanged.
//  - Cavitation (kind 10): a faithful placeholder over the built-in obsolete-model substance. It
//    answers its identity, substances, radiation and stream operations; it offers no solver
//    interface (old projects replace it).
//  - Condensation (kind 11): the built-in condensation substance (its one value, the model
//    parameter, kept and saved) and the gases of the medium. It answers as the ideal-gas mixture of
//    its gases: the solver interfaces it hands out are those of an ideal-gas mixture over the same
//    gas substances. It does not model condensation: no liquid phase, no latent heat, no
//    nucleation or droplet growth, and the parameter changes no answer.
#pragma once

#include <memory>

#include "framework/c_substance.h"
#include "framework/c_thermodynamic_base.h"
#include "gas/c_gas_substance.h"
#include "medium_physics/i_medium_physics.h"

class C_ideal_gas_thermodynamics;

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

// The obsolete condensation medium (kind 11). Its solver interfaces come from an ideal-gas mixture
// over its gases that it holds (query_interface hands them out); identity, substances (the gases,
// in the order of the mass fractions), radiation and the record are its own.
class C_condensation_therm_obsolete final : public I_write,
                                            public C_thermodynamic_base,
                                            public C_no_radiation,
                                            public CHostAPIBaseClass<C_condensation_therm_obsolete>,
                                            public virtual IHostUnknown,
                                            public virtual FluidRadProp::IRadPropFunctionality,
                                            public virtual I_fluid_thermodynamics {
public:
    using gases = host_shared_array<std::shared_ptr<C_ideal_gas_substance>>;

    // nullptr when the gas mixture cannot be built (no gas, or out of memory).
    static std::shared_ptr<C_condensation_therm_obsolete> create(std::shared_ptr<C_obsolete_model_substance> substance,
                                                                 const gases& list);
    // Rebuilds a medium from its record; nullptr when the record is not version 0 or names a
    // substance the factory does not hold.
    static std::shared_ptr<C_condensation_therm_obsolete> load(C_file_io& stream, const C_medium_physics& factory);
    ~C_condensation_therm_obsolete() override;

    std::int32_t query_interface(std::any& requested) override;
    substance_array get_substances() const override;
    std::int32_t get_type_id() const noexcept override { return MP_KIND_CONDENSATION_OBSOLETE; }
    // Record: int32 0 (version), the identity, int32 substance count (1 + gases), the condensation
    // substance's identifier, the gases' identifiers.
    void write(C_file_io& stream) const override;

    const C_obsolete_model_substance& substance() const noexcept { return *m_substance; }

private:
    C_condensation_therm_obsolete() = default;
    bool assign(std::shared_ptr<C_obsolete_model_substance> substance, const gases& list);
    std::shared_ptr<C_obsolete_model_substance> m_substance;
    gases m_gases;
    std::shared_ptr<C_ideal_gas_thermodynamics> m_mixture;
};
