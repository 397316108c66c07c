// The standalone default host: the host platform (log, GUIDs, memory pools, memory watcher,
// product directory, disk space) and a host object, so that the library runs and is tested
// without a solver. Linked as medium_physics::standalone_host.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "medium_physics/description.h"
#include "medium_physics/export.h"
#include "medium_physics/host_log.h"
#include "medium_physics/host_object.h"
#include "medium_physics/host_string.h"
#include "medium_physics/host_system.h"

namespace standalone_host {

// ---- log --------------------------------------------------------------------------------------

// Receives every line written through host_log::write. The default observer prints warnings and
// errors to stderr and drops plain messages unless MEDIUM_PHYSICS_LOG=all is set.
using log_observer = std::function<void(host_log::entry, std::string_view)>;
// Installs `observer` (an empty one restores the default) and returns the previous one.
MP_HOST_API log_observer set_log_observer(log_observer observer);

// Captures every log line while it lives (and keeps them from the default observer).
class MP_HOST_API log_capture {
public:
    struct line {
        host_log::entry entry;
        std::string text;
    };
    log_capture();
    ~log_capture();
    log_capture(const log_capture&) = delete;
    log_capture& operator=(const log_capture&) = delete;

    std::vector<line> lines() const;
    // Lines that contain `needle`.
    std::size_t count(std::string_view needle) const;
    void clear();

private:
    struct state;
    std::shared_ptr<state> m_state;
    log_observer m_previous;
};

// ---- memory watcher ---------------------------------------------------------------------------

// Live pooled bytes per allocating statement, as seen by the standalone host's watcher while the
// library's memory-watch mode is 1.
struct label_usage {
    std::string file;
    std::int32_t line = 0;
    std::uint64_t live_bytes = 0;
    std::uint64_t live_blocks = 0;
    std::uint64_t total_allocations = 0;
};
MP_HOST_API std::vector<label_usage> memory_report();
MP_HOST_API std::uint64_t memory_live_bytes();

// ---- product directory ------------------------------------------------------------------------

// The directory GetProductDependentFunctionsInterface reports: set here, else the environment
// variable MEDIUM_PHYSICS_PRODUCT_DIR, else the current directory.
MP_HOST_API void set_product_directory(const CHostString& directory);

// ---- the host object --------------------------------------------------------------------------

// Forwards messages to host_log, answers a fixed thread count, and has no droplet data unless
// one is given.
class MP_HOST_API CStandaloneHost : public IHostObject {
public:
    explicit CStandaloneHost(std::int32_t thread_count = 1);
    ~CStandaloneHost() override;

    std::int32_t query_interface(std::any& requested) override;
    void write_message(const char* text) noexcept override;
    void write_warning(const char* text) noexcept override;
    void write_error(const char* text) noexcept override;
    void get_name(CHostString& name) override;
    void get_thread_count(std::int32_t* count) override;

    void set_thread_count(std::int32_t count) noexcept { m_thread_count = count; }
    void set_droplet_data(std::shared_ptr<IHostDropletData> data) { m_droplets = std::move(data); }

private:
    std::int32_t m_thread_count;
    std::shared_ptr<IHostDropletData> m_droplets;
};

// ---- descriptions from JSON -------------------------------------------------------------------
//
// A material file is a JSON object with an array "materials"; every material is an object with
//   "name":       string, unique within the file (how the command line names it),
//   "identifier": GUID text, "XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX",
//   "kind":       the medium it belongs to ("ideal_gas", "perfect_gas", "incompressible_liquid",
//                 "non_newtonian_liquid", "compressible_liquid", "heatconducting_solid",
//                 "electroconducting_solid", "real_gas", "hypersonic_gas", "combustible"),
//   "source":     optional string naming where the data come from,
// and the fields of its kind (each medium documents its own in data/materials.schema.json,
// the one place where the whole schema is defined).

// One parsed material. The description interfaces of the media read from it.
class MP_HOST_API CJsonDescription : public IHostDescription {
public:
    ~CJsonDescription() override;
    std::int32_t query_interface(std::any& requested) override;
    void get_name(CHostString& name) override;
    void get_identifier(CHostString& identifier) override;

    const std::string& kind() const noexcept { return m_kind; }
    const std::string& name_utf8() const noexcept { return m_name; }
    // The material's JSON text (for the kind-specific readers).
    const std::string& json() const noexcept { return m_json; }

    // Parses one material object; throws std::runtime_error with the reason when a base field is
    // missing or malformed.
    static std::shared_ptr<CJsonDescription> from_json_text(const std::string& material_json);

private:
    CJsonDescription() = default;
    std::string m_name, m_identifier, m_kind, m_json;
};

// Parses a material file's text; throws std::runtime_error with the reason (and the material's
// index) when it does not follow the schema.
MP_HOST_API std::vector<std::shared_ptr<CJsonDescription>> parse_materials(const std::string& json_text);
// Reads and parses a material file.
MP_HOST_API std::vector<std::shared_ptr<CJsonDescription>> load_materials(const std::string& path);

}  // namespace standalone_host
