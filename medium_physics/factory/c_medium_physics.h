// C_medium_physics: the factory behind I_medium_physics. It caches substances by identifier in
// fourteen caches (one per substance class; media share substances), keeps a registry of created
// media, and saves and loads the whole set through a C_file_io stream.
//
// Saved record: byte 0 (version); the substance part: byte 0, int32 entry count, then per entry
// the cache tag (int32), the 16 key bytes and the substance's own record, caches in the order
// 1, 2, 3, 4, 5, 8, 9, 10, 11, 12, 6, 7, 13, 14; the registry part: byte 0, int32 count, then per
// medium its kind code (int32) and its own record.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include "liquid/c_comp_liquid.h"
#include "combustion/c_combustible_substance.h"
#include "hypersonic/c_hypersonic_gas_substance.h"
#include "liquid/c_inc_liquid.h"
#include "real_gas/c_real_gas_substance.h"
#include "solid/c_solids.h"
#include "framework/c_substance.h"
#include "gas/c_gas_substance.h"
#include "obsolete/c_obsolete_media.h"
#include "single_component/c_single_component_gas_substance.h"
#include "file_io/c_file_io/c_file_io.h"
#include "medium_physics/i_medium_physics.h"

// Stands in for the substance classes this build does not provide: it writes nothing and refuses
// to read, so a stream that holds one does not load.
class C_unavailable_substance {
public:
    void write(C_file_io&) const {}
    bool read(C_file_io&) { return false; }
    void set_sink(IHostMessageSink*) noexcept {}
    const host_guid& identity() const noexcept { return m_nil; }

private:
    host_guid m_nil;
};

template <class S>
struct substance_cache {
    using substance_type = S;
    std::map<host_guid, std::shared_ptr<S>, host_guid_less> entries;
};

// What Load saw, for the stream inspector: one item per record with the offset it starts at, and
// where and why a load failed.
struct load_report {
    struct item {
        std::uint64_t offset = 0;
        int depth = 0;  // 0 factory parts, 1 entries
        std::string text;
    };
    std::vector<item> items;
    bool failed = false;
    std::uint64_t failure_offset = 0;  // start of the record whose reading failed
    std::uint64_t stream_position = 0; // where the stream stood when it failed
    std::string failure_reason;
};

class C_medium_physics final : public I_medium_physics {
public:
    // Cache indices (member order, 0-based) and the persistent tag each cache carries.
    enum cache_index : std::size_t {
        kIdealGasCache = 0,
        kPerfectGasCache = 1,
        kIncLiquidCache = 2,
        kNonNewtonianLiquidCache = 3,
        kCompLiquidCache = 4,
        kHeatSolidCache = 5,
        kElectroSolidCache = 6,
        kRealGasCache = 7,
        kRealGasPhaseChangeCache = 8,
        kCombustibleVTCache = 9,
        kCombustiblePTCache = 10,
        kHypersonicCache = 11,
        kObsoleteCache = 12,
        kSingleComponentCache = 13,
        kCacheCount = 14,
    };
    static constexpr std::array<std::int32_t, kCacheCount> kCacheTags = {0, 12, 1, 2, 3, 9, 10, 4, 5, 6, 7, 8, 11, 13};
    // Caches in the order Save writes them.
    static constexpr std::array<std::size_t, kCacheCount> kSaveOrder = {0, 1, 2, 3, 4, 7, 8, 9, 10, 11, 5, 6, 12, 13};

    using caches = std::tuple<substance_cache<C_ideal_gas_substance>,       // 1
                              substance_cache<C_perfect_gas_substance>,     // 2
                              substance_cache<C_incompressible_liquid_substance>,  // 3
                              substance_cache<C_inc_non_newtonian_liquid_substance>,  // 4
                              substance_cache<C_compressible_liquid_substance>,  // 5
                              substance_cache<C_heatconducting_solid>,      // 6
                              substance_cache<C_electroconducting_solid>,   // 7
                              substance_cache<C_real_gas_substance_in_mode<1>>,  // 8 real gas (mode 1)
                              substance_cache<C_real_gas_substance_in_mode<2>>,  // 9 real gas (mode 2)
                              substance_cache<C_combustible_substance_VT>,  // 10
                              substance_cache<C_combustible_substance_PT>,  // 11
                              substance_cache<C_hypersonic_gas_substance>,  // 12
                              substance_cache<C_obsolete_model_substance>,  // 13 obsolete models
                              substance_cache<C_single_component_gas_substance>>;  // 14 single-component gas

    explicit C_medium_physics(std::shared_ptr<IHostObject> host);
    ~C_medium_physics() override;
    C_medium_physics(const C_medium_physics&) = delete;
    C_medium_physics& operator=(const C_medium_physics&) = delete;

    // Seeds the weak self-reference (create_medium_physics does this).
    void set_self(const std::shared_ptr<C_medium_physics>& self) noexcept { m_self = self; }

    // ---- I_medium_physics ----
    std::int32_t query_interface(std::any& requested) override;
    std::int32_t CreateIdealGasThermodynamics(const description_array&, bool, fluid_ptr&) override;
    std::int32_t CreatePerfectGasThermodynamics(const description_array&, bool, fluid_ptr&) override;
    std::int32_t CreateIncompressibleLiquidThermodynamics(const description_array&, bool, fluid_ptr&) override;
    std::int32_t CreateFreeSurfaceVofThermodynamics(const fluid_array&, bool, fluid_ptr&) override;
    std::int32_t CreateNonNewtonianLiquidThermodynamics(const description_array&, bool, fluid_ptr&) override;
    std::int32_t CreateCompressibleLiquidThermodynamics(const description_array&, bool, fluid_ptr&) override;
    std::int32_t CreateHeatConductingSolid(const std::shared_ptr<IHostDescription>&, const solid_axes&,
                                           std::shared_ptr<MED_PHYSICS::I_heatconducting_solid>&) override;
    std::int32_t CreateHeatConductingSolidFromValues(const std::shared_ptr<IHostDescription>&,
                                                     const host_shared_array<double>&,
                                                     std::shared_ptr<MED_PHYSICS::I_heatconducting_solid>&) override;
    std::int32_t CreateElectroConductingSolid(const std::shared_ptr<IHostDescription>&, const solid_axes&,
                                              std::shared_ptr<MED_PHYSICS::I_electroconducting_solid>&) override;
    std::int32_t CreateIsothermalCavitationThermodynamics(const std::shared_ptr<IHostDescription>&,
                                                          const description_array&, double, bool,
                                                          fluid_ptr&) override;
    std::int32_t CreateIsothermalCavitationThermodynamicsInc(const std::shared_ptr<IHostDescription>&,
                                                             const description_array&, double, bool,
                                                             fluid_ptr&) override;
    std::int32_t CreateRealGasThermodynamics(const std::shared_ptr<IHostDescription>&, const description_array&,
                                             bool, fluid_ptr&) override;
    std::int32_t CreateRealGasPhaseChangeThermodynamics(const std::shared_ptr<IHostDescription>&,
                                                        const description_array&, bool, fluid_ptr&) override;
    std::int32_t CreateCombustibleThermodynamics(const std::shared_ptr<IHostDescription>&, std::int32_t, double,
                                                 std::int32_t, bool, fluid_ptr&) override;
    std::int32_t CreateSingleComponentThermodynamics(bool, fluid_ptr&) override;
    std::int32_t CreateCavitationObsoleteThermodynamics(double parameter, bool register_it, fluid_ptr& out) override;
    std::int32_t CreateCondensationObsoleteThermodynamics(const description_array&, double, bool, fluid_ptr&) override;
    std::int32_t CreateSingleComponentThermodynamicsFromDescription(const std::shared_ptr<IHostDescription>&, bool,
                                                                    fluid_ptr&) override;
    std::int32_t FindThermodynamics(const host_guid& identifier, fluid_ptr& out) override;
    std::int32_t CreateDropletModel(const std::shared_ptr<IHostUnknown>& host,
                                    std::shared_ptr<IHostUnknown>& out) override;
    std::int32_t GetDescription(CHostString& text) override;
    std::int32_t Save(C_file_io& stream) override;
    std::int32_t Load(C_file_io& stream) override;
    std::int32_t SetMemoryWatchMode(std::int32_t mode) override;
    std::int32_t CreateHypersonicGasThermodynamics(const std::shared_ptr<IHostDescription>& gas, bool register_it,
                                                   fluid_ptr& out) override;

    // ---- for the media and the tools ----
    // Loads like Load and reports each record and any failure into `report` (may be null).
    std::int32_t load_with_report(C_file_io& stream, load_report* report);

    template <std::size_t Index>
    auto find_substance(const host_guid& id) const -> std::shared_ptr<typename std::tuple_element_t<Index, caches>::substance_type> {
        const auto& entries = std::get<Index>(m_caches).entries;
        const auto it = entries.find(id);
        return it == entries.end() ? nullptr : it->second;
    }
    // The substances a medium's record names: `count` identifiers read from the stream, each
    // found in the cache at Index, into list[0..count). False when one is not there.
    template <std::size_t Index, class List>
    bool read_substances(C_file_io& stream, std::int32_t count, List& list) const {
        for (std::int32_t i = 0; i < count; ++i) {
            host_guid id;
            stream.read_guid(id);
            list[i] = find_substance<Index>(id);
            if (!list[i]) return false;
        }
        return true;
    }
    template <std::size_t Index>
    std::size_t cache_size() const noexcept {
        return std::get<Index>(m_caches).entries.size();
    }
    std::size_t registry_size() const noexcept { return m_registry.size(); }
    // A medium of `kind` rebuilt from its record at the stream's position (a medium that holds
    // others, the VOF medium, reads theirs through it); nullptr when the kind is unknown or not in
    // this build, or the record is refused.
    fluid_ptr load_medium_record(C_file_io& stream, std::int32_t kind) const;
    IHostObject* host() const noexcept { return m_host.get(); }

private:
    std::int32_t save_substances(C_file_io& stream);
    std::int32_t save_registry(C_file_io& stream);
    bool load_substance_entry(C_file_io& stream, std::int32_t tag, load_report* report);
    bool load_registry_entry(C_file_io& stream, std::int32_t kind, load_report* report);
    std::int32_t unavailable(const char* operation);
    // The substance a description names, from the cache at Cache: the cached one when its
    // identifier is there, else a new one that `build(substance)` fills, entered under that
    // identifier. nullptr, with the reason in `why`, when the description is missing, its identifier
    // is not a GUID, or `build` fails. Every creating operation takes its substances this way.
    template <std::size_t Cache, class Build>
    auto cached_substance(const std::shared_ptr<IHostDescription>& description, Build&& build, const char*& why)
        -> std::shared_ptr<typename std::tuple_element_t<Cache, caches>::substance_type>;
    // The same, built by the substance's init from the description's interface of its kind.
    template <std::size_t Cache>
    auto cached_substance(const std::shared_ptr<IHostDescription>& description, const char*& why)
        -> std::shared_ptr<typename std::tuple_element_t<Cache, caches>::substance_type>;
    // Creates a mixture over the described substances, each taken from (or entered into) the
    // cache at Cache.
    // A solid from the cache at Cache, built by `build` when absent.
    template <std::size_t Cache, class Solid, class Out, class Build>
    std::int32_t create_solid(const std::shared_ptr<IHostDescription>& description, Out& out, const char* operation,
                              Build&& build);
    template <std::size_t Cache, class Medium>
    std::int32_t create_mixture(const description_array& descriptions, bool register_it, fluid_ptr& out,
                                const char* operation);
    // A real-gas medium over the real-gas substance from the cache at Cache (8: kind 5 with the
    // gases as its ideal-gas components; 9: kind 6, no gases).
    template <std::size_t Cache>
    std::int32_t create_real_gas(const std::shared_ptr<IHostDescription>& real_gas, const description_array& gases,
                                 bool register_it, fluid_ptr& out, const char* operation);
    void enter(const fluid_ptr& medium, bool register_it);
    // The isothermal cavitation medium over the liquid from the cache at LiquidCache (3 or 5).
    template <std::size_t LiquidCache>
    std::int32_t create_cavitation(const std::shared_ptr<IHostDescription>& liquid, const description_array& gases,
                                   double vapour_pressure, bool register_it, fluid_ptr& out, const char* operation);
    // The built-in substance of an obsolete model from cache 13, built from `parameter` when absent.
    std::shared_ptr<C_obsolete_model_substance> obsolete_substance(const char16_t* identifier, const char16_t* name,
                                                                   double parameter);

    std::weak_ptr<C_medium_physics> m_self;
    caches m_caches;
    std::map<host_guid, fluid_ptr, host_guid_less> m_registry;
    std::shared_ptr<IHostObject> m_host;
};

// Inspects a saved factory stream: loads it into a fresh factory (over `host`) and reports what it
// read. Returns the status of the load.
std::int32_t inspect_factory_stream(C_file_io& stream, const std::shared_ptr<IHostObject>& host, load_report& report);
