#include "obsolete/c_obsolete_media.h"

#include "factory/c_medium_physics.h"
#include "file_io/c_file_io/c_file_io.h"
#include "factory/query_interface.h"
#include "gas/c_ideal_gas_thermodynamics.h"

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

C_cavitation_therm_obsolete::C_cavitation_therm_obsolete(std::shared_ptr<C_obsolete_model_substance> substance)
    : m_substance(std::move(substance)) {}

C_cavitation_therm_obsolete::~C_cavitation_therm_obsolete() = default;

std::int32_t C_cavitation_therm_obsolete::query_interface(std::any& requested) {
    return mp::hand_out<IHostUnknown, FluidRadProp::IRadPropFunctionality, I_fluid_thermodynamics, I_write, I_identity,
                        FluidRadProp::I_radiation_properties>(weak_from_this().lock(), requested);
}

void C_cavitation_therm_obsolete::write(C_file_io& stream) const {
    stream.put<std::int32_t>(0);
    write_identity(stream);
    stream.put<std::int32_t>(1);
    stream.write_guid(m_substance->identity());
}

std::shared_ptr<C_cavitation_therm_obsolete> C_cavitation_therm_obsolete::load(C_file_io& stream,
                                                                               const C_medium_physics& factory) {
    if (stream.get<std::int32_t>() != 0) return nullptr;
    std::shared_ptr<C_cavitation_therm_obsolete> medium(new C_cavitation_therm_obsolete());
    medium->read_identity(stream);
    if (stream.get<std::int32_t>() != 1) return nullptr;
    host_guid id;
    stream.read_guid(id);
    medium->m_substance = factory.find_substance<C_medium_physics::kObsoleteCache>(id);
    if (!medium->m_substance) return nullptr;
    return medium;
}

// ---- condensation --------------------------------------------------------------------------------

C_condensation_therm_obsolete::~C_condensation_therm_obsolete() = default;

bool C_condensation_therm_obsolete::assign(std::shared_ptr<C_obsolete_model_substance> substance, const gases& list) {
    if (!substance || list.size() < 1) return false;
    m_substance = std::move(substance);
    m_gases = list;
    m_mixture = C_ideal_gas_thermodynamics::create(list);
    return m_mixture != nullptr;
}

std::shared_ptr<C_condensation_therm_obsolete> C_condensation_therm_obsolete::create(
    std::shared_ptr<C_obsolete_model_substance> substance, const gases& list) {
    std::shared_ptr<C_condensation_therm_obsolete> medium(new C_condensation_therm_obsolete());
    if (!medium->assign(std::move(substance), list)) return nullptr;
    return medium;
}

std::int32_t C_condensation_therm_obsolete::query_interface(std::any& requested) {
    const std::int32_t own =
        mp::hand_out<IHostUnknown, FluidRadProp::IRadPropFunctionality, I_fluid_thermodynamics, I_write, I_identity,
                     FluidRadProp::I_radiation_properties>(weak_from_this().lock(), requested);
    if (own == MP_STATUS_OK) return own;
    // The solver interfaces are the gas mixture's.
    if (std::any_cast<std::shared_ptr<I_solver__fluid_thermodynamics_common>>(&requested) != nullptr ||
        std::any_cast<std::shared_ptr<I_solver__thermodynamics_P_H>>(&requested) != nullptr ||
        std::any_cast<std::shared_ptr<I_solver__thermodynamics_Rho_E>>(&requested) != nullptr ||
        std::any_cast<std::shared_ptr<I_fluid_ideal_gas>>(&requested) != nullptr)
        return m_mixture->query_interface(requested);
    return MP_STATUS_UNSUPPORTED;
}

substance_array C_condensation_therm_obsolete::get_substances() const { return thermo::substance_array_of(m_gases); }

void C_condensation_therm_obsolete::write(C_file_io& stream) const {
    stream.put<std::int32_t>(0);
    write_identity(stream);
    stream.put<std::int32_t>(1 + m_gases.size());
    stream.write_guid(m_substance->identity());
    for (std::int32_t i = 0; i < m_gases.size(); ++i) stream.write_guid(m_gases[i]->identity());
}

std::shared_ptr<C_condensation_therm_obsolete> C_condensation_therm_obsolete::load(C_file_io& stream,
                                                                                   const C_medium_physics& factory) {
    if (stream.get<std::int32_t>() != 0) return nullptr;
    std::shared_ptr<C_condensation_therm_obsolete> medium(new C_condensation_therm_obsolete());
    medium->read_identity(stream);
    const auto count = stream.get<std::int32_t>();
    if (count < 2 || count > thermo::kMaxCleanedSubstances + 1) return nullptr;
    host_guid id;
    stream.read_guid(id);
    auto substance = factory.find_substance<C_medium_physics::kObsoleteCache>(id);
    gases list(count - 1);
    if (!substance || !factory.read_substances<C_medium_physics::kIdealGasCache>(stream, count - 1, list)) return nullptr;
    if (!medium->assign(std::move(substance), list)) return nullptr;
    return medium;
}
