// The standalone default host: the host platform (log, GUIDs, memory pools, memory watcher,
// product directory, disk space) and a host object, so that the library runs and is tested
// without a solver. Linked as medium_physics::standalone_host.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "medium_physics/description.h"
#include "medium_physics/export.h"
#include "medium_physics/host_log.h"
#include "medium_physics/host_object.h"
#include "medium_physics/host_string.h"
#include "medium_physics/host_system.h"
#include "medium_physics/i_medium_physics.h"

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

// ---- identifiers ------------------------------------------------------------------------------

// Seeds the generator behind guid_utils::CreateUUID on the calling thread: the identifiers it makes
// from then on are a fixed sequence, so that a saved stream can be reproduced byte for byte.
MP_HOST_API void seed_identifiers(std::uint64_t seed) noexcept;

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
// A material file is a JSON object with an array "materials" and, optionally, an array "media"
// (data/materials.schema.json is the one place where the whole schema is defined). Every material
// is an object with
//   "name":       string, unique within the file (how the command line names it),
//   "identifier": GUID text, "XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX",
//   "kind":       the medium it belongs to ("ideal_gas", "perfect_gas", "incompressible_liquid",
//                 "non_newtonian_liquid", "compressible_liquid", "heatconducting_solid",
//                 "electroconducting_solid", "real_gas", "hypersonic_gas", "combustible"),
//   "source":     optional string naming where the data come from,
// and the fields of its kind. Gases ("ideal_gas", "perfect_gas"): "molar_mass" (kg/mol, > 0),
// "gamma", and the properties "cp" (J/(kg K)), "viscosity" (Pa s), "conductivity" (W/(m K)) and
// optionally "first_parameter", each {"constant": number, "table": {"T": [K...], "value": [...]}}
// with the table optional (T strictly increasing, as many values as temperatures). A perfect gas
// uses the constant of "cp". Liquids: "cp", "viscosity", "conductivity", "density" and the numbers
// "scalar_a", "reference_temperature" [K], "reference_pressure" [Pa]. Solids: "components" (three
// properties: the principal conductivities), "anisotropy" (integer flag); a heat-conducting solid
// also "heat_value_a" (density), "heat_value_b" (highest valid temperature) and "heat_parameter"
// (specific heat). A non-Newtonian liquid adds "viscosity_law": {"type": "carreau" | "cross_wlf" |
// "herschel_bulkley" | "power_law" | "polynomial_regression" | "high_order_regression", and the
// law's parameters by the keys of I_non_newtonian_description}. A compressible liquid adds the
// properties "tait_b" [Pa], "tait_c", "tait_n", "viscosity_pressure_coefficient" [1/Pa] and the
// numbers "density_reference_pressure" [Pa] and "density_law" (0 logarithmic, 1 power).
// A real gas ("real_gas", a pure substance on the cubic equation of state): "Tc" [K], "pc" [Pa],
// "Zc", "omega" (acentric factor), "molar_mass" [kg/mol], "model" (the equation-of-state selector,
// an integer), optionally "generator_kind" (0, the cubic equation of state, when absent), the
// property "ideal_gas_cp" [J/(kg K)] (optional: without it only the saturation line and the
// mechanical properties can be formed), "table_temperatures" [Tmin, Tmax] in K and
// "table_pressures" [pmin, pmax] in Pa (the rectangle of its property table), the boolean
// "low_temperature_extension" and "floor_temperature" [K] (0: half of Tmin).
// A combustible material ("combustible", fuel and oxidizer burning in equilibrium): "fuel" and
// "oxidizer" (GRI-Mech 3.0 species by mole, "CH4", "O2:0.21,N2:0.79"), "table" ("PT" or "VT"),
// "first_axis" [min, max, points] (p in Pa, or v in m3/kg), "temperature_axis" [min, max, points]
// in K, "mixture_fraction_points", the boolean "nox", and optionally the boolean "two_stream" and
// "stream_parameter".
// A medium is {"name", "kind", "substances": [material names], "mass_fractions": [numbers]}.

// One parsed material. It is the description the media read their substance from.
class MP_HOST_API CJsonDescription : public I_gas_description,
                                     public I_non_newtonian_description,
                                     public I_compressible_liquid_description,
                                     public I_solid_description,
                                     public I_real_gas_description,
                                     public I_combustible_description,
                                     public std::enable_shared_from_this<CJsonDescription> {
public:
    ~CJsonDescription() override;
    // IHostDescription, and the description interface of the material's kind: I_gas_description,
    // I_liquid_description, I_solid_description or I_real_gas_description.
    std::int32_t query_interface(std::any& requested) override;
    void get_name(CHostString& name) override;
    void get_identifier(CHostString& identifier) override;
    // Gases and liquids.
    void get_cp(host_property& property) override;
    void get_viscosity(host_property& property) override;
    void get_conductivity(host_property& property) override;
    // Gases.
    void get_first_parameter(host_property& property) override;
    double get_molar_mass() override;  // also real gases
    double get_gamma() override;
    // Liquids.
    void get_density(host_property& property) override;
    double get_scalar_a() override;
    double get_reference_temperature() override;
    double get_reference_pressure() override;
    // Non-Newtonian liquids: the law named by "viscosity_law": {"type": ..., parameters by key}.
    std::int32_t get_viscosity_law() override;
    double get_law_number(const char* key) override;
    void get_law_property(const char* key, host_property& property) override;
    void get_law_array(const char* key, host_shared_array<double>& values) override;
    // Compressible liquids.
    void get_tait_b(host_property& property) override;
    void get_tait_c(host_property& property) override;
    void get_tait_n(host_property& property) override;
    void get_viscosity_pressure_coefficient(host_property& property) override;
    double get_density_reference_pressure() override;
    std::int32_t get_density_law() override;
    // Solids.
    double get_heat_value_a() override;
    double get_heat_value_b() override;
    void get_heat_parameter(host_property& property) override;
    void get_component(std::int32_t index, host_property& property) override;
    std::int32_t get_anisotropy_flag() override;
    // Real gases.
    double get_critical_temperature() override;
    double get_critical_pressure() override;
    double get_critical_compressibility() override;
    double get_acentric_factor() override;
    void get_ideal_gas_cp(host_property& property) override;
    std::int32_t get_model() override;
    std::int32_t get_generator_kind() override;
    void get_table_temperatures(double& T_min, double& T_max) override;
    void get_table_pressures(double& p_min, double& p_max) override;
    std::int32_t get_low_temperature_extension() override;
    double get_floor_temperature() override;
    void get_data_source(CHostString& source) override;
    // Combustible materials.
    void get_fuel(CHostString& composition) override;
    void get_oxidizer(CHostString& composition) override;
    void get_first_axis(double& min, double& max, std::int32_t& points) override;
    void get_temperature_axis(double& min, double& max, std::int32_t& points) override;
    std::int32_t get_mixture_fraction_points() override;
    std::int32_t get_nox() override;
    void get_two_stream(std::int32_t& on, double& stream_parameter) override;
    // "PT" or "VT": the table of a combustible material ("PT" for any other kind).
    std::string combustible_table() const;

    const std::string& kind() const noexcept { return m_kind; }
    const std::string& name_utf8() const noexcept { return m_name; }
    const std::string& identifier_utf8() const noexcept { return m_identifier; }
    // The material's JSON text (for the kind-specific readers).
    const std::string& json() const noexcept { return m_json; }
    bool is_gas() const noexcept { return m_kind == "ideal_gas" || m_kind == "perfect_gas"; }
    bool is_liquid() const noexcept {
        return m_kind == "incompressible_liquid" || m_kind == "non_newtonian_liquid" || m_kind == "compressible_liquid";
    }
    bool is_solid() const noexcept { return m_kind == "heatconducting_solid" || m_kind == "electroconducting_solid"; }
    bool is_real_gas() const noexcept { return m_kind == "real_gas" || m_kind == "real_gas_phase_change"; }
    bool is_combustible() const noexcept { return m_kind == "combustible"; }

    // Parses one material object; throws std::runtime_error with the reason when a field is
    // missing or malformed.
    static std::shared_ptr<CJsonDescription> from_json_text(const std::string& material_json);

private:
    CJsonDescription() = default;
    void property(const char* key, host_property& out) const;
    double number(const char* key) const;
    void pair(const char* key, double& first, double& second) const;
    std::string m_name, m_identifier, m_kind, m_json;
};

// A medium: a kind and its substances (material names) with default mass fractions. An
// isothermal_cavitation medium names its liquid and at most one gas, with its vapour pressure; a
// free_surface_vof medium names its phases (media; also listed as its substances) and their default
// volume fractions, and find_medium completes its mass_fractions to the whole composition: the
// volume fractions, then each phase's own.
struct medium_definition {
    std::string name;
    std::string kind;
    std::vector<std::string> substances;
    std::vector<double> mass_fractions;
    double vapour_pressure = 0.0;             // Pa, isothermal_cavitation
    std::vector<std::string> phases;          // free_surface_vof
    std::vector<double> volume_fractions;     // free_surface_vof
};

// Materials and media from any number of files. Later files may use earlier files' materials.
class MP_HOST_API material_library {
public:
    // Each throws std::runtime_error with the file and the reason when a file does not follow
    // the schema, or repeats a name already known.
    void add_text(const std::string& json_text, const std::string& origin);
    void add_file(const std::string& path);
    // Every *.json file of the folder, in name order; a missing folder adds nothing.
    void add_directory(const std::string& folder);

    const std::vector<std::shared_ptr<CJsonDescription>>& materials() const noexcept { return m_materials; }
    const std::vector<medium_definition>& media() const noexcept { return m_media; }
    std::shared_ptr<CJsonDescription> find_material(const std::string& name) const;
    // A medium by name; else a material of that name as a one-substance medium of its kind;
    // else nullopt.
    std::optional<medium_definition> find_medium(const std::string& name) const;

private:
    std::vector<std::shared_ptr<CJsonDescription>> m_materials;
    std::vector<medium_definition> m_media;
};

// The factory operation that create_medium or create_solid called, and the status it answered.
struct factory_call {
    std::string operation;  // e.g. "CreateIdealGasThermodynamics"; empty when none serves the kind
    std::int32_t status = 2;
};

// Creates `medium` through the factory operation of its kind, with the library's materials as
// descriptions. 0 on success; 2 when this build cannot create the kind (also when the operation
// answers 0 without a medium, as the combustible one does); 3 on failure (an unknown material, or
// the factory's own failure). `why` (optional) receives the reason, `call` (optional) the
// operation called and its own status.
MP_HOST_API std::int32_t create_medium(I_medium_physics& factory, const material_library& library,
                                       const medium_definition& medium, bool register_it,
                                       std::shared_ptr<I_fluid_thermodynamics>& out, std::string* why = nullptr,
                                       factory_call* call = nullptr);

// Creates the solid named `material` (kind heatconducting_solid or electroconducting_solid) through
// the factory with the given axes; `out` receives its conductivity interface. Status as above.
MP_HOST_API std::int32_t create_solid(I_medium_physics& factory, const material_library& library,
                                      const std::string& material, const solid_axes& axes,
                                      std::shared_ptr<MED_PHYSICS::I_diffusion_coefficient>& out,
                                      std::string* why = nullptr, factory_call* call = nullptr);

// Parses a material file's text (its "materials"); throws std::runtime_error with the reason
// (and the material's index) when it does not follow the schema.
MP_HOST_API std::vector<std::shared_ptr<CJsonDescription>> parse_materials(const std::string& json_text);
// Reads and parses a material file.
MP_HOST_API std::vector<std::shared_ptr<CJsonDescription>> load_materials(const std::string& path);

}  // namespace standalone_host
