#include "real_gas/c_real_gas_phase_change_thermodynamics.h"

#include "factory/mp_log.h"
#include "factory/query_interface.h"
#include "gas/c_gas_mixture.h"

std::shared_ptr<C_real_gas_phase_change_thermodynamics> C_real_gas_phase_change_thermodynamics::create(
    std::shared_ptr<C_real_gas_substance> real) {
    if (!real) return nullptr;
    std::shared_ptr<C_real_gas_phase_change_thermodynamics> medium(new C_real_gas_phase_change_thermodynamics());
    if (!medium->assign(std::move(real), ideal_list(), true)) return nullptr;
    return medium;
}

std::shared_ptr<C_real_gas_phase_change_thermodynamics> C_real_gas_phase_change_thermodynamics::load(
    C_file_io& stream, const C_medium_physics& factory) {
    if (stream.get<std::int32_t>() != 0) return nullptr;
    std::shared_ptr<C_real_gas_phase_change_thermodynamics> medium(new C_real_gas_phase_change_thermodynamics());
    if (!medium->read_record<kCacheIndex>(stream, factory, true)) return nullptr;
    return medium;
}

std::int32_t C_real_gas_phase_change_thermodynamics::query_interface(std::any& requested) {
    return mp::hand_out<IHostUnknown, FluidRadProp::IRadPropFunctionality, I_fluid_thermodynamics,
                        I_solver__fluid_thermodynamics_common, I_solver__thermodynamics_P_H,
                        I_solver__thermodynamics_Rho_E, I_solver_real_gas, I_write, I_identity,
                        FluidRadProp::I_radiation_properties>(weak_from_this().lock(), requested);
}

void C_real_gas_phase_change_thermodynamics::report(std::uint32_t status, operation op) const noexcept {
    if ((status & MP_RG_ITERATION_FAILED) == 0) return;
    // one statement per operation, so that a message tells the iterations apart
    switch (op) {
    case operation::p_H: MP_LOG(sink(), mp::line_kind::warning, mp::kInconsistentParameters); break;
    case operation::rho_T: MP_LOG(sink(), mp::line_kind::warning, mp::kInconsistentParameters); break;
    case operation::T_p_h: MP_LOG(sink(), mp::line_kind::warning, mp::kInconsistentParameters); break;
    case operation::T_from_h: MP_LOG(sink(), mp::line_kind::warning, mp::kInconsistentParameters); break;
    case operation::rho_e: MP_LOG(sink(), mp::line_kind::warning, mp::kInconsistentParameters); break;
    case operation::p_rho: MP_LOG(sink(), mp::line_kind::warning, mp::kInconsistentParameters); break;
    case operation::pressure_rho_e: MP_LOG(sink(), mp::line_kind::warning, mp::kInconsistentParameters); break;
    }
}
