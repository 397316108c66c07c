// The medium factory and the library's one exported function.
#include "factory/c_medium_physics.h"

#include <cstdio>
#include <filesystem>
#include <utility>

#include "liquid/c_comp_liquid_thermodynamics.h"
#include "combustion/c_combustible_thermodynamics.h"
#include "hypersonic/c_hypersonic_gas_thermodynamics.h"
#include "droplet/c_droplet_model.h"
#include "gas/c_ideal_gas_thermodynamics.h"
#include "liquid/c_inc_liquid_thermodynamics.h"
#include "liquid/c_inc_nn_liquid_thermodynamics.h"
#include "obsolete/c_obsolete_media.h"
#include "cavitation/c_free_surface_vof_thermodynamics.h"
#include "cavitation/c_isotherm_cavitation_thermodynamics.h"
#include "gas/c_perfect_gas_thermodynamics.h"
#include "real_gas/c_real_gas_phase_change_thermodynamics.h"
#include "real_gas/c_real_gas_thermodynamics.h"
#include "single_component/c_single_component_thermodynamics.h"
#include "framework/c_thermodynamic_base.h"
#include "file_io/c_file_io/c_file_io.h"
#include "factory/mp_log.h"
#include "factory/mp_settings.h"
#include "factory/query_interface.h"
#include "medium_physics/host_system.h"

namespace {

// Calls f(cache) for the cache at a run-time index.
template <class F, std::size_t... I>
void visit_cache_impl(C_medium_physics::caches& c, std::size_t index, F&& f, std::index_sequence<I...>) {
    ((index == I ? (void)f(std::get<I>(c)) : (void)0), ...);
}
template <class F>
void visit_cache(C_medium_physics::caches& c, std::size_t index, F&& f) {
    visit_cache_impl(c, index, std::forward<F>(f), std::make_index_sequence<C_medium_physics::kCacheCount>{});
}

// The cache that carries a persistent tag; kCacheCount for an unknown tag.
std::size_t cache_of_tag(std::int32_t tag) noexcept {
    for (std::size_t i = 0; i < C_medium_physics::kCacheCount; ++i)
        if (C_medium_physics::kCacheTags[i] == tag) return i;
    return C_medium_physics::kCacheCount;
}

constexpr const char* kCacheNames[C_medium_physics::kCacheCount] = {
    "C_ideal_gas_substance",         "C_perfect_gas_substance",
    "C_incompressible_liquid_substance", "C_inc_non_newtonian_liquid_substance",
    "C_compressible_liquid_substance",   "C_heatconducting_solid",
    "C_electroconducting_solid",     "C_real_gas_substance (real gas)",
    "C_real_gas_substance (phase change)", "C_combustible_substance_VT",
    "C_combustible_substance_PT",    "C_hypersonic_gas_substance",
    "obsolete model substance",      "single-component gas substance",
};

using medium_loader = fluid_ptr (*)(C_file_io&, const C_medium_physics&);

template <class Medium>
fluid_ptr load_medium(C_file_io& stream, const C_medium_physics& factory) {
    return Medium::load(stream, factory);
}

// Loaders by kind code; nullptr where this build does not provide the medium.
constexpr medium_loader kLoaders[] = {
    load_medium<C_ideal_gas_thermodynamics>,                 // 0
    load_medium<C_inc_liquid_thermodynamics>,                // 1
    load_medium<C_inc_non_newtonian_liquid_thermodynamics>,  // 2
    load_medium<C_comp_liquid_thermodynamics>,               // 3
    load_medium<C_isotherm_cavitation_thermodynamics>,       // 4
    load_medium<C_real_gas_thermodynamics>,                  // 5
    load_medium<C_real_gas_phase_change_thermodynamics>,     // 6
    load_medium<C_combustible_thermodynamics_VT>,            // 7
    load_medium<C_combustible_thermodynamics_PT>,            // 8
    load_medium<C_hypersonic_gas_thermodynamics>,            // 9
    load_medium<C_cavitation_therm_obsolete>,                // 10
    load_medium<C_condensation_therm_obsolete>,              // 11
    load_medium<C_perfect_gas_thermodynamics>,               // 12
    load_medium<C_single_component_thermodynamics_VT>,       // 13
    load_medium<C_free_surface_vof_thermodynamics>,          // 14
};
static_assert(std::size(kLoaders) == kMediumKindCount, "one loader (or none) per kind code");

std::uint64_t position(C_file_io& stream) noexcept {
    try {
        return stream.tell();
    } catch (...) {
        return 0;
    }
}

std::string guid_text(const host_guid& id) { return guid_utils::ToString(id).to_utf8(); }

void note(load_report* report, std::uint64_t offset, int depth, std::string text) {
    if (report != nullptr) report->items.push_back({offset, depth, std::move(text)});
}

}  // namespace

C_medium_physics::C_medium_physics(std::shared_ptr<IHostObject> host) : m_host(std::move(host)) {}

C_medium_physics::~C_medium_physics() = default;

std::int32_t C_medium_physics::query_interface(std::any& requested) {
    auto self = m_self.lock();
    if (!self) return MP_STATUS_UNSUPPORTED;
    if (auto* p = std::any_cast<std::shared_ptr<I_medium_physics>>(&requested)) {
        *p = self;
        return MP_STATUS_OK;
    }
    if (auto* p = std::any_cast<std::shared_ptr<IHostUnknown>>(&requested)) {
        *p = self;
        return MP_STATUS_OK;
    }
    return MP_STATUS_UNSUPPORTED;
}

std::int32_t C_medium_physics::unavailable(const char* operation) {
    MP_LOG(m_host.get(), mp::line_kind::error,
           "ERROR: MediumPhysics: %s(%d): %s: this medium is not available in this build\n", operation);
    return MP_STATUS_UNSUPPORTED;
}

void C_medium_physics::enter(const fluid_ptr& medium, bool register_it) {
    if (!register_it) return;
    if (const auto* base = dynamic_cast<const C_thermodynamic_base*>(medium.get())) {
        host_guid key;
        base->get_identity(key.bytes.data());
        m_registry[key] = medium;
    }
}

// ---- creating operations ------------------------------------------------------------------------

template <std::size_t Cache, class Build>
auto C_medium_physics::cached_substance(const std::shared_ptr<IHostDescription>& description, Build&& build,
                                        const char*& why)
    -> std::shared_ptr<typename std::tuple_element_t<Cache, caches>::substance_type> {
    using substance_type = typename std::tuple_element_t<Cache, caches>::substance_type;
    if (!description) {
        why = "a description is missing";
        return nullptr;
    }
    CHostString id_text;
    description->get_identifier(id_text);
    host_guid key;
    if (!guid_utils::BuildGUIDFromString(id_text, key)) {
        why = "a description's identifier is not a GUID";
        return nullptr;
    }
    auto& entries = std::get<Cache>(m_caches).entries;
    if (const auto it = entries.find(key); it != entries.end()) return it->second;
    auto substance = std::make_shared<substance_type>();
    if (!build(*substance)) {
        if (why == nullptr || *why == '\0') why = "a substance could not be built";
        return nullptr;
    }
    entries.emplace(key, substance);
    return substance;
}

template <std::size_t Cache>
auto C_medium_physics::cached_substance(const std::shared_ptr<IHostDescription>& description, const char*& why)
    -> std::shared_ptr<typename std::tuple_element_t<Cache, caches>::substance_type> {
    using substance_type = typename std::tuple_element_t<Cache, caches>::substance_type;
    using description_type = typename substance_type::description_type;
    return cached_substance<Cache>(
        description,
        [&](substance_type& substance) {
            std::any request = std::shared_ptr<description_type>();
            if (description->query_interface(request) != MP_STATUS_OK) {
                why = "a description is not of the medium's kind";
                return false;
            }
            const auto typed = std::any_cast<std::shared_ptr<description_type>>(request);
            return typed && substance.init(*typed, m_host.get());
        },
        why);
}

template <std::size_t Cache, class Medium>
std::int32_t C_medium_physics::create_mixture(const description_array& descriptions, bool register_it, fluid_ptr& out,
                                              const char* operation) {
    const auto refuse = [&](const char* why) {
        MP_LOG(m_host.get(), mp::line_kind::error, "ERROR: MediumPhysics: %s(%d): %s: %s\n", operation, why);
        return MP_STATUS_FAILURE;
    };
    try {
        if (descriptions.size() > thermo::kMaxCleanedSubstances)
            return refuse("a mixture holds at most 100 substances");
        typename Medium::substances list(descriptions.size());
        for (std::int32_t i = 0; i < descriptions.size(); ++i) {
            const char* why = "";
            list[i] = cached_substance<Cache>(descriptions[i], why);
            if (!list[i]) return refuse(why);
        }
        fluid_ptr medium = Medium::create(list);
        if (!medium) return refuse("out of memory");
        enter(medium, register_it);
        out.swap(medium);
        return MP_STATUS_OK;
    } catch (const std::exception& e) {
        return refuse(e.what());
    }
}

std::int32_t C_medium_physics::CreateIdealGasThermodynamics(const description_array& gases, bool register_it,
                                                            fluid_ptr& out) {
    return create_mixture<kIdealGasCache, C_ideal_gas_thermodynamics>(gases, register_it, out,
                                                                      "CreateIdealGasThermodynamics");
}
std::int32_t C_medium_physics::CreatePerfectGasThermodynamics(const description_array& gases, bool register_it,
                                                              fluid_ptr& out) {
    return create_mixture<kPerfectGasCache, C_perfect_gas_thermodynamics>(gases, register_it, out,
                                                                          "CreatePerfectGasThermodynamics");
}
std::int32_t C_medium_physics::CreateIncompressibleLiquidThermodynamics(const description_array& liquids,
                                                                        bool register_it, fluid_ptr& out) {
    return create_mixture<kIncLiquidCache, C_inc_liquid_thermodynamics>(liquids, register_it, out,
                                                                        "CreateIncompressibleLiquidThermodynamics");
}
std::int32_t C_medium_physics::CreateFreeSurfaceVofThermodynamics(const fluid_array& phases, bool register_it,
                                                                  fluid_ptr& out) {
    try {
        const char* why = "";
        fluid_ptr medium = C_free_surface_vof_thermodynamics::create(phases, why);
        if (!medium) {
            MP_LOG(m_host.get(), mp::line_kind::error,
                   "ERROR: MediumPhysics: %s(%d): CreateFreeSurfaceVofThermodynamics: %s\n", why);
            return MP_STATUS_FAILURE;
        }
        enter(medium, register_it);
        out.swap(medium);
        return MP_STATUS_OK;
    } catch (const std::exception& e) {
        MP_LOG(m_host.get(), mp::line_kind::error,
               "ERROR: MediumPhysics: %s(%d): CreateFreeSurfaceVofThermodynamics: %s\n", e.what());
        return MP_STATUS_FAILURE;
    }
}
std::int32_t C_medium_physics::CreateNonNewtonianLiquidThermodynamics(const description_array& liquids,
                                                                      bool register_it, fluid_ptr& out) {
    return create_mixture<kNonNewtonianLiquidCache, C_inc_non_newtonian_liquid_thermodynamics>(
        liquids, register_it, out, "CreateNonNewtonianLiquidThermodynamics");
}
std::int32_t C_medium_physics::CreateCompressibleLiquidThermodynamics(const description_array& liquids,
                                                                      bool register_it, fluid_ptr& out) {
    return create_mixture<kCompLiquidCache, C_comp_liquid_thermodynamics>(liquids, register_it, out,
                                                                          "CreateCompressibleLiquidThermodynamics");
}
template <std::size_t Cache, class Solid, class Out, class Build>
std::int32_t C_medium_physics::create_solid(const std::shared_ptr<IHostDescription>& description, Out& out,
                                            const char* operation, Build&& build) {
    const auto refuse = [&](const char* why) {
        MP_LOG(m_host.get(), mp::line_kind::error, "ERROR: MediumPhysics: %s(%d): %s: %s\n", operation, why);
        return MP_STATUS_FAILURE;
    };
    try {
        const char* why = "";
        Out made = cached_substance<Cache>(description, std::forward<Build>(build), why);
        if (!made) return refuse(why);
        out.swap(made);
        return MP_STATUS_OK;
    } catch (const std::exception& e) {
        return refuse(e.what());
    }
}

namespace {
// The solid interface of a description, or nullptr.
std::shared_ptr<I_solid_description> solid_description(const std::shared_ptr<IHostDescription>& d) {
    std::any request = std::shared_ptr<I_solid_description>();
    if (!d || d->query_interface(request) != MP_STATUS_OK) return nullptr;
    return std::any_cast<std::shared_ptr<I_solid_description>>(request);
}
}  // namespace

std::int32_t C_medium_physics::CreateHeatConductingSolid(const std::shared_ptr<IHostDescription>& description,
                                                         const solid_axes& axes,
                                                         std::shared_ptr<MED_PHYSICS::I_heatconducting_solid>& out) {
    return create_solid<kHeatSolidCache, C_heatconducting_solid>(
        description, out, "CreateHeatConductingSolid", [&](C_heatconducting_solid& solid) {
            const auto d = solid_description(description);
            return d && solid.init(*d, description, axes, m_host.get());
        });
}

std::int32_t C_medium_physics::CreateHeatConductingSolidFromValues(
    const std::shared_ptr<IHostDescription>& description, const host_shared_array<double>& values,
    std::shared_ptr<MED_PHYSICS::I_heatconducting_solid>& out) {
    return create_solid<kHeatSolidCache, C_heatconducting_solid>(
        description, out, "CreateHeatConductingSolidFromValues",
        [&](C_heatconducting_solid& solid) { return solid.init(*description, description, values, m_host.get()); });
}

std::int32_t C_medium_physics::CreateElectroConductingSolid(const std::shared_ptr<IHostDescription>& description,
                                                            const solid_axes& axes,
                                                            std::shared_ptr<MED_PHYSICS::I_electroconducting_solid>& out) {
    return create_solid<kElectroSolidCache, C_electroconducting_solid>(
        description, out, "CreateElectroConductingSolid", [&](C_electroconducting_solid& solid) {
            const auto d = solid_description(description);
            return d && solid.init(*d, description, axes, m_host.get());
        });
}
template <std::size_t LiquidCache>
std::int32_t C_medium_physics::create_cavitation(const std::shared_ptr<IHostDescription>& liquid,
                                                 const description_array& gases, double vapour_pressure,
                                                 bool register_it, fluid_ptr& out, const char* operation) {
    const auto refuse = [&](const char* why) {
        MP_LOG(m_host.get(), mp::line_kind::error, "ERROR: MediumPhysics: %s(%d): %s: %s\n", operation, why);
        return MP_STATUS_FAILURE;
    };
    try {
        if (gases.size() > 1) return refuse("the medium takes at most one non-condensable gas");
        const char* why = "";
        const auto substance = cached_substance<LiquidCache>(liquid, why);
        if (!substance) return refuse(why);
        std::shared_ptr<C_ideal_gas_substance> gas;
        if (gases.size() == 1) {
            gas = cached_substance<kIdealGasCache>(gases[0], why);
            if (!gas) return refuse(why);
        }
        std::shared_ptr<C_isotherm_cavitation_thermodynamics> made;
        if constexpr (LiquidCache == kIncLiquidCache)
            made = C_isotherm_cavitation_thermodynamics::create(substance, nullptr, gas, vapour_pressure, why);
        else
            made = C_isotherm_cavitation_thermodynamics::create(nullptr, substance, gas, vapour_pressure, why);
        if (!made) return refuse(why);
        fluid_ptr medium = made;
        enter(medium, register_it);
        out.swap(medium);
        return MP_STATUS_OK;
    } catch (const std::exception& e) {
        return refuse(e.what());
    }
}

std::int32_t C_medium_physics::CreateIsothermalCavitationThermodynamics(const std::shared_ptr<IHostDescription>& liquid,
                                                                        const description_array& gases,
                                                                        double vapour_pressure, bool register_it,
                                                                        fluid_ptr& out) {
    return create_cavitation<kCompLiquidCache>(liquid, gases, vapour_pressure, register_it, out,
                                               "CreateIsothermalCavitationThermodynamics");
}
std::int32_t C_medium_physics::CreateIsothermalCavitationThermodynamicsInc(
    const std::shared_ptr<IHostDescription>& liquid, const description_array& gases, double vapour_pressure,
    bool register_it, fluid_ptr& out) {
    return create_cavitation<kIncLiquidCache>(liquid, gases, vapour_pressure, register_it, out,
                                              "CreateIsothermalCavitationThermodynamicsInc");
}
namespace {
// The real-gas interface of a description, or nullptr.
std::shared_ptr<I_real_gas_description> real_gas_description(const std::shared_ptr<IHostDescription>& d) {
    std::any request = std::shared_ptr<I_real_gas_description>();
    if (!d || d->query_interface(request) != MP_STATUS_OK) return nullptr;
    return std::any_cast<std::shared_ptr<I_real_gas_description>>(request);
}
}  // namespace

template <std::size_t Cache>
std::int32_t C_medium_physics::create_real_gas(const std::shared_ptr<IHostDescription>& real_gas,
                                               const description_array& gases, bool register_it, fluid_ptr& out,
                                               const char* operation) {
    const auto refuse = [&](const char* why) {
        MP_LOG(m_host.get(), mp::line_kind::error, "ERROR: MediumPhysics: %s(%d): %s: %s\n", operation, why);
        return MP_STATUS_FAILURE;
    };
    try {
        const char* why = "";
        const auto real = cached_substance<Cache>(
            real_gas,
            [&](C_real_gas_substance& s) {
                const auto d = real_gas_description(real_gas);
                if (!d) {
                    why = "the real-gas description is not of a real gas";
                    return false;
                }
                return s.init_from_description(*d, m_host.get());
            },
            why);
        if (!real) return refuse(why);
        fluid_ptr medium;
        if constexpr (Cache == kRealGasCache) {
            if (gases.size() + 1 > thermo::kMaxCleanedSubstances) return refuse("a mixture holds at most 100 substances");
            C_real_gas_medium::ideal_list list(gases.size());
            for (std::int32_t i = 0; i < gases.size(); ++i) {
                list[i] = cached_substance<kIdealGasCache>(gases[i], why);
                if (!list[i]) return refuse(why);
            }
            medium = C_real_gas_thermodynamics::create(real, list);
        } else {
            if (gases.size() != 0) return refuse("the phase-change medium is one pure substance: no gases");
            medium = C_real_gas_phase_change_thermodynamics::create(real);
        }
        if (!medium) return refuse("out of memory");
        enter(medium, register_it);
        out.swap(medium);
        return MP_STATUS_OK;
    } catch (const std::exception& e) {
        return refuse(e.what());
    }
}

std::int32_t C_medium_physics::CreateRealGasThermodynamics(const std::shared_ptr<IHostDescription>& real_gas,
                                                           const description_array& gases, bool register_it,
                                                           fluid_ptr& out) {
    return create_real_gas<kRealGasCache>(real_gas, gases, register_it, out, "CreateRealGasThermodynamics");
}
std::int32_t C_medium_physics::CreateRealGasPhaseChangeThermodynamics(const std::shared_ptr<IHostDescription>& real_gas,
                                                                      const description_array& gases, bool register_it,
                                                                      fluid_ptr& out) {
    return create_real_gas<kRealGasPhaseChangeCache>(real_gas, gases, register_it, out,
                                                     "CreateRealGasPhaseChangeThermodynamics");
}

std::int32_t C_medium_physics::CreateCombustibleThermodynamics(const std::shared_ptr<IHostDescription>& mixture,
                                                               std::int32_t kind, double default_z,
                                                               std::int32_t settings, bool register_it,
                                                               fluid_ptr& out) {
    // Kinds other than 7 and 8 create nothing; the operation answers 0 in every case (a refusal is
    // logged and leaves `out` as it was).
    if (kind != MP_KIND_COMBUSTIBLE_VT && kind != MP_KIND_COMBUSTIBLE_PT) return MP_STATUS_OK;
    const auto refuse = [&](const char* why) {
        MP_LOG(m_host.get(), mp::line_kind::error,
               "ERROR: MediumPhysics: %s(%d): CreateCombustibleThermodynamics: %s\n", why);
        return MP_STATUS_OK;
    };
    try {
        const char* why = "";
        fluid_ptr medium;
        if (kind == MP_KIND_COMBUSTIBLE_PT) {
            const auto substance = cached_substance<kCombustiblePTCache>(mixture, why);
            if (!substance) return refuse(why);
            medium = C_combustible_thermodynamics_PT::create(substance, default_z, settings);
        } else {
            const auto substance = cached_substance<kCombustibleVTCache>(mixture, why);
            if (!substance) return refuse(why);
            medium = C_combustible_thermodynamics_VT::create(substance, default_z, settings);
        }
        if (!medium) return refuse("out of memory");
        enter(medium, register_it);
        out.swap(medium);
        return MP_STATUS_OK;
    } catch (const std::exception& e) {
        return refuse(e.what());
    }
}

std::int32_t C_medium_physics::CreateSingleComponentThermodynamics(bool register_it, fluid_ptr& out) {
    const auto refuse = [&](const char* why) {
        MP_LOG(m_host.get(), mp::line_kind::error,
               "ERROR: MediumPhysics: %s(%d): CreateSingleComponentThermodynamics: %s\n", why);
        return MP_STATUS_FAILURE;
    };
    try {
        // The product's table file; its identifier is the substance's key.
        CHostString directory;
        if (IProductDependentFunctions* product = GetProductDependentFunctionsInterface(); product != nullptr)
            product->GetProductDirectory(directory);
        const auto path = std::filesystem::path(directory.str()) / mp::single_component::kScFileName;
        auto table = std::make_shared<mp::single_component::sc_gas_table>();
        std::string why;
        const auto status = mp::single_component::read_sc_gas_file(path, *table, why);
        if (status != mp::single_component::sc_file_status::ok) {
            const std::string text = path.string() + ": " + mp::single_component::to_text(status) + " (" + why + ")";
            return refuse(text.c_str());
        }
        auto& entries = std::get<kSingleComponentCache>(m_caches).entries;
        auto it = entries.find(table->identifier);
        if (it == entries.end()) {
            auto substance = std::make_shared<C_single_component_gas_substance>();
            if (!substance->init(std::move(table), m_host.get())) return refuse("the table is not usable");
            it = entries.emplace(substance->identity(), std::move(substance)).first;
        }
        fluid_ptr medium = C_single_component_thermodynamics_VT::create(it->second);
        if (!medium) return refuse("out of memory");
        enter(medium, register_it);
        out.swap(medium);
        return MP_STATUS_OK;
    } catch (const std::exception& e) {
        return refuse(e.what());
    }
}

std::shared_ptr<C_obsolete_model_substance> C_medium_physics::obsolete_substance(const char16_t* identifier,
                                                                               const char16_t* name, double parameter) {
    host_guid key;
    guid_utils::BuildGUIDFromString(identifier, key);
    auto& entries = std::get<kObsoleteCache>(m_caches).entries;
    auto it = entries.find(key);
    if (it == entries.end())
        it = entries
                 .emplace(key, std::make_shared<C_obsolete_model_substance>(key, CHostString(name), parameter,
                                                                             m_host.get()))
                 .first;
    return it->second;
}

std::int32_t C_medium_physics::CreateCavitationObsoleteThermodynamics(double parameter, bool register_it,
                                                                      fluid_ptr& out) {
    try {
        fluid_ptr medium = std::make_shared<C_cavitation_therm_obsolete>(obsolete_substance(
            C_obsolete_model_substance::kCavitationIdentifier, u"Obsolete cavitation model", parameter));
        enter(medium, register_it);
        out.swap(medium);
        return MP_STATUS_OK;
    } catch (...) {
        return MP_STATUS_FAILURE;
    }
}

std::int32_t C_medium_physics::CreateCondensationObsoleteThermodynamics(const description_array& gases,
                                                                        double parameter, bool register_it,
                                                                        fluid_ptr& out) {
    const auto refuse = [&](const char* why) {
        MP_LOG(m_host.get(), mp::line_kind::error,
               "ERROR: MediumPhysics: %s(%d): CreateCondensationObsoleteThermodynamics: %s\n", why);
        return MP_STATUS_FAILURE;
    };
    try {
        if (gases.size() < 1 || gases.size() > thermo::kMaxCleanedSubstances)
            return refuse("the medium takes 1 to 100 gases");
        C_condensation_therm_obsolete::gases list(gases.size());
        for (std::int32_t i = 0; i < gases.size(); ++i) {
            const char* why = "";
            list[i] = cached_substance<kIdealGasCache>(gases[i], why);
            if (!list[i]) return refuse(why);
        }
        fluid_ptr medium = C_condensation_therm_obsolete::create(
            obsolete_substance(C_obsolete_model_substance::kCondensationIdentifier, u"Obsolete condensation model",
                               parameter),
            list);
        if (!medium) return refuse("out of memory");
        enter(medium, register_it);
        out.swap(medium);
        return MP_STATUS_OK;
    } catch (const std::exception& e) {
        return refuse(e.what());
    }
}

std::int32_t C_medium_physics::CreateSingleComponentThermodynamicsFromDescription(
    const std::shared_ptr<IHostDescription>& gas, bool register_it, fluid_ptr& out) {
    const auto refuse = [&](const char* why) {
        MP_LOG(m_host.get(), mp::line_kind::error,
               "ERROR: MediumPhysics: %s(%d): CreateSingleComponentThermodynamicsFromDescription: %s\n", why);
        return MP_STATUS_FAILURE;
    };
    try {
        const char* why = "";
        const auto substance = cached_substance<kSingleComponentCache>(gas, why);
        if (!substance) return refuse(why);
        fluid_ptr medium = C_single_component_thermodynamics_VT::create(substance);
        if (!medium) return refuse("out of memory");
        enter(medium, register_it);
        out.swap(medium);
        return MP_STATUS_OK;
    } catch (const std::exception& e) {
        return refuse(e.what());
    }
}

// ---- lookup, droplets, description, settings ---------------------------------------------------

std::int32_t C_medium_physics::FindThermodynamics(const host_guid& identifier, fluid_ptr& out) {
    const auto it = m_registry.find(identifier);
    if (it == m_registry.end()) return MP_STATUS_FAILURE;
    out = it->second;
    return MP_STATUS_OK;
}

std::int32_t C_medium_physics::CreateDropletModel(const std::shared_ptr<IHostUnknown>& host,
                                                  std::shared_ptr<IHostUnknown>& out) {
    try {
        std::shared_ptr<IHostDropletData> data;
        if (host) {
            std::any request = &data;
            host->query_interface(request);
        }
        if (!data) {
            out.reset();
            return MP_STATUS_OK;
        }
        std::shared_ptr<IHostUnknown> model = std::make_shared<C_droplet_model>(std::move(data));
        out.swap(model);
        return MP_STATUS_OK;
    } catch (...) {
        return MP_STATUS_FAILURE;
    }
}

std::int32_t C_medium_physics::GetDescription(CHostString& text) {
    text = CHostString(u"under construction");
    return MP_STATUS_OK;
}

std::int32_t C_medium_physics::CreateHypersonicGasThermodynamics(const std::shared_ptr<IHostDescription>& gas,
                                                                 bool register_it, fluid_ptr& out) {
    const auto refuse = [&](const char* why) {
        MP_LOG(m_host.get(), mp::line_kind::error,
               "ERROR: MediumPhysics: %s(%d): CreateHypersonicGasThermodynamics: %s\n", why);
        return MP_STATUS_FAILURE;
    };
    try {
        const char* why = "";
        const auto substance = cached_substance<kHypersonicCache>(
            gas, [&](C_hypersonic_gas_substance& s) { return s.init(*gas, m_host.get()); }, why);
        if (!substance) return refuse(why);
        fluid_ptr medium = C_hypersonic_gas_thermodynamics::create(substance);
        if (!medium) return refuse("out of memory");
        enter(medium, register_it);
        out.swap(medium);
        return MP_STATUS_OK;
    } catch (const std::exception& e) {
        return refuse(e.what());
    }
}

std::int32_t C_medium_physics::SetMemoryWatchMode(std::int32_t mode) {
    mp::set_memory_watch_mode(mode);
    return MP_STATUS_OK;
}

// ---- Save ---------------------------------------------------------------------------------------

std::int32_t C_medium_physics::save_substances(C_file_io& stream) {
    stream.put<std::uint8_t>(0);
    std::size_t total = 0;
    for (std::size_t i = 0; i < kCacheCount; ++i) visit_cache(m_caches, i, [&](auto& c) { total += c.entries.size(); });
    stream.put(static_cast<std::int32_t>(total));
    for (const std::size_t index : kSaveOrder) {
        visit_cache(m_caches, index, [&](auto& c) {
            for (const auto& [key, substance] : c.entries) {
                stream.put(kCacheTags[index]);
                stream.write_guid(key);
                substance->write(stream);
            }
        });
    }
    return MP_STATUS_OK;
}

std::int32_t C_medium_physics::save_registry(C_file_io& stream) {
    stream.put<std::uint8_t>(0);
    stream.put(static_cast<std::int32_t>(m_registry.size()));
    for (const auto& [key, medium] : m_registry) {
        std::any request = std::shared_ptr<I_write>();
        if (medium->query_interface(request) != MP_STATUS_OK) return MP_STATUS_FAILURE;
        const auto writer = std::any_cast<std::shared_ptr<I_write>>(request);
        if (!writer) return MP_STATUS_FAILURE;
        stream.put(writer->get_type_id());
        writer->write(stream);
    }
    return MP_STATUS_OK;
}

std::int32_t C_medium_physics::Save(C_file_io& stream) {
    try {
        stream.put<std::uint8_t>(0);
        if (save_substances(stream) != MP_STATUS_OK) return MP_STATUS_FAILURE;
        return save_registry(stream);
    } catch (const std::exception& e) {
        MP_LOG(m_host.get(), mp::line_kind::error, "ERROR: MediumPhysics: %s(%d): Save: %s\n", e.what());
    } catch (...) {
        MP_LOG(m_host.get(), mp::line_kind::error, "ERROR: MediumPhysics: %s(%d): Save failed\n");
    }
    return MP_STATUS_FAILURE;
}

// ---- Load ---------------------------------------------------------------------------------------

bool C_medium_physics::load_substance_entry(C_file_io& stream, std::int32_t tag, load_report* report) {
    const std::size_t index = cache_of_tag(tag);
    bool ok = false;
    visit_cache(m_caches, index, [&](auto& c) {
        using S = typename std::decay_t<decltype(c)>::substance_type;
        host_guid key;
        stream.read_guid(key);
        auto substance = std::make_shared<S>();
        if (!substance->read(stream)) {
            if (report != nullptr)
                report->failure_reason = std::string("cache tag ") + std::to_string(tag) + " (" + kCacheNames[index] +
                                         "): the substance record was refused (unknown version, or a substance class "
                                         "this build does not provide)";
            return;
        }
        // Media refer to a substance by its own identifier: a key that differs from it is damage,
        // and accepting it would save a project that does not load again.
        if (substance->identity() != key) {
            if (report != nullptr)
                report->failure_reason = std::string("cache tag ") + std::to_string(tag) + ": the key " +
                                         guid_text(key) + " is not the substance's own identifier " +
                                         guid_text(substance->identity());
            MP_LOG(m_host.get(), mp::line_kind::error,
                   "ERROR: MediumPhysics: %s(%d): Load: a substance's key differs from its identifier\n");
            return;
        }
        substance->set_sink(m_host.get());
        note(report, 0, 1,
             "tag " + std::to_string(tag) + " (" + kCacheNames[index] + ") " + guid_text(key));
        // An entry already in the cache stays: media built before the load keep their substance.
        c.entries.emplace(key, std::move(substance));
        ok = true;
    });
    return ok;
}

fluid_ptr C_medium_physics::load_medium_record(C_file_io& stream, std::int32_t kind) const {
    const medium_loader loader = kind >= 0 && kind < kMediumKindCount ? kLoaders[kind] : nullptr;
    return loader == nullptr ? nullptr : loader(stream, *this);
}

bool C_medium_physics::load_registry_entry(C_file_io& stream, std::int32_t kind, load_report* report) {
    const medium_loader loader = kind >= 0 && kind < kMediumKindCount ? kLoaders[kind] : nullptr;
    if (loader == nullptr) {
        if (report != nullptr)
            report->failure_reason = kind >= 0 && kind < kMediumKindCount
                                         ? std::string("kind ") + std::to_string(kind) + " (" +
                                               thermo::kind_display_name(kind) + ") is not available in this build"
                                         : std::string("unknown kind code ") + std::to_string(kind);
        MP_LOG(m_host.get(), mp::line_kind::error,
               "ERROR: MediumPhysics: %s(%d): Load: cannot rebuild a medium of kind %d\n", static_cast<int>(kind));
        return false;
    }
    fluid_ptr medium = loader(stream, *this);
    if (!medium) {
        if (report != nullptr)
            report->failure_reason = std::string("kind ") + std::to_string(kind) +
                                     ": the medium record was refused (unknown version or unknown substance)";
        return false;
    }
    const auto* base = dynamic_cast<const C_thermodynamic_base*>(medium.get());
    if (base == nullptr) return false;
    std::string text =
        "kind " + std::to_string(kind) + " (" + thermo::kind_display_name(kind) + ") " + guid_text(base->identity());
    // A mixture of phases names the kinds of its phases.
    if (const auto* vof = dynamic_cast<const C_free_surface_vof_thermodynamics*>(medium.get()))
        text += "; " + vof->description();
    note(report, 0, 1, std::move(text));
    m_registry[base->identity()] = medium;
    return true;
}

std::int32_t C_medium_physics::load_with_report(C_file_io& stream, load_report* report) {
    std::uint64_t record_start = 0;
    const auto fail = [&](std::string reason) {
        if (report != nullptr) {
            report->failed = true;
            report->failure_offset = record_start;
            report->stream_position = position(stream);
            if (!reason.empty()) report->failure_reason = std::move(reason);
        }
        return MP_STATUS_FAILURE;
    };
    try {
        record_start = position(stream);
        std::uint8_t version = 0xFF;
        stream.read(&version, 1);
        if (version != 0) return fail("factory record version " + std::to_string(version) + " is not 0");
        note(report, record_start, 0, "factory record, version 0");

        record_start = position(stream);
        std::uint8_t part = 0xFF;
        stream.read(&part, 1);
        if (part != 0) return fail("substance part version " + std::to_string(part) + " is not 0");
        std::int32_t count = -1;
        stream.read(&count, 1);
        note(report, record_start, 0,
             "substances: version 0, " + std::to_string(count) + (count == 1 ? " entry" : " entries"));
        for (std::int32_t i = 0; i < count; ++i) {
            record_start = position(stream);
            std::int32_t tag = -1;
            stream.read(&tag, 1);
            if (tag < 0) return fail("negative cache tag " + std::to_string(tag));
            if (tag >= static_cast<std::int32_t>(kCacheCount)) {
                // Deliberately tolerant: the entry is skipped and the next bytes are the next tag.
                note(report, record_start, 1, "tag " + std::to_string(tag) + " (unknown cache): skipped");
                continue;
            }
            if (!load_substance_entry(stream, tag, report)) return fail("");
            if (report != nullptr) report->items.back().offset = record_start;
        }

        record_start = position(stream);
        part = 0xFF;
        stream.read(&part, 1);
        if (part != 0) return fail("registry part version " + std::to_string(part) + " is not 0");
        count = -1;
        stream.read(&count, 1);
        note(report, record_start, 0,
             "registry: version 0, " + std::to_string(count) + (count == 1 ? " entry" : " entries"));
        for (std::int32_t i = 0; i < count; ++i) {
            record_start = position(stream);
            std::int32_t kind = -1;
            stream.read(&kind, 1);
            if (!load_registry_entry(stream, kind, report)) return fail("");
            if (report != nullptr) report->items.back().offset = record_start;
        }
        return MP_STATUS_OK;
    } catch (const std::exception& e) {
        MP_LOG(m_host.get(), mp::line_kind::error, "ERROR: MediumPhysics: %s(%d): Load: %s\n", e.what());
        return fail(e.what());
    } catch (...) {
        return fail("unknown exception");
    }
}

std::int32_t C_medium_physics::Load(C_file_io& stream) { return load_with_report(stream, nullptr); }

std::int32_t inspect_factory_stream(C_file_io& stream, const std::shared_ptr<IHostObject>& host, load_report& report) {
    try {
        auto factory = std::make_shared<C_medium_physics>(host);
        factory->set_self(factory);
        return factory->load_with_report(stream, &report);
    } catch (...) {
        report.failed = true;
        report.failure_reason = "out of memory";
        return MP_STATUS_FAILURE;
    }
}

// ---- the exported entry point -------------------------------------------------------------------

extern "C" MEDIUM_PHYSICS_API std::int32_t create_medium_physics(std::shared_ptr<I_medium_physics>& result,
                                                                 const std::shared_ptr<IHostObject>& host) {
    try {
        auto factory = std::make_shared<C_medium_physics>(host);
        factory->set_self(factory);
        result = factory;
        std::int32_t threads = -1;
        if (host) host->get_thread_count(&threads);
        mp::set_thread_count(threads);
        return MP_STATUS_OK;
    } catch (...) {
        return MP_STATUS_FAILURE;
    }
}
