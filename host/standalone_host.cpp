// The standalone host object and the JSON material descriptions.
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <stdexcept>

#include <nlohmann/json.hpp>

#include "medium_physics/host_guid.h"
#include "medium_physics/standalone_host.h"

namespace standalone_host {

// ---- host object --------------------------------------------------------------------------------

CStandaloneHost::CStandaloneHost(std::int32_t thread_count) : m_thread_count(thread_count) {}
CStandaloneHost::~CStandaloneHost() = default;

std::int32_t CStandaloneHost::query_interface(std::any& requested) {
    // The droplet data are asked for with a pointer to the caller's shared-pointer slot.
    if (auto* slot = std::any_cast<std::shared_ptr<IHostDropletData>*>(&requested)) {
        if (*slot == nullptr || !m_droplets) return 2;
        **slot = m_droplets;
        return 0;
    }
    return 2;
}

void CStandaloneHost::write_message(const char* text) noexcept { host_log::write(host_log::entry::message, text); }
void CStandaloneHost::write_warning(const char* text) noexcept { host_log::write(host_log::entry::warning, text); }
void CStandaloneHost::write_error(const char* text) noexcept { host_log::write(host_log::entry::error, text); }
void CStandaloneHost::get_name(CHostString& name) { name = CHostString(u"medium_physics standalone host"); }
void CStandaloneHost::get_thread_count(std::int32_t* count) {
    if (count != nullptr) *count = m_thread_count;
}

// ---- descriptions -------------------------------------------------------------------------------

namespace {

const std::set<std::string>& known_kinds() {
    static const std::set<std::string> kinds{"ideal_gas",
                                             "perfect_gas",
                                             "incompressible_liquid",
                                             "non_newtonian_liquid",
                                             "compressible_liquid",
                                             "heatconducting_solid",
                                             "electroconducting_solid",
                                             "real_gas",
                                             "real_gas_phase_change",
                                             "hypersonic_gas",
                                             "combustible"};
    return kinds;
}

std::string required_string(const nlohmann::json& m, const char* key) {
    const auto it = m.find(key);
    if (it == m.end() || !it->is_string()) throw std::runtime_error(std::string("missing string field \"") + key + "\"");
    return it->get<std::string>();
}

double required_number(const nlohmann::json& m, const char* key) {
    const auto it = m.find(key);
    if (it == m.end() || !it->is_number()) throw std::runtime_error(std::string("missing number field \"") + key + "\"");
    return it->get<double>();
}

std::int64_t required_integer(const nlohmann::json& m, const char* key) {
    const auto it = m.find(key);
    if (it == m.end() || !it->is_number_integer())
        throw std::runtime_error(std::string("missing integer field \"") + key + "\"");
    return it->get<std::int64_t>();
}

// {"constant": number, "table": {"T": [...], "value": [...]}}, the table optional. Temperatures
// increase strictly, except where `any_order` (the density points of an incompressible liquid,
// which the library fits by least squares whatever their order).
void check_property(const nlohmann::json& m, const char* key, bool required, bool any_order = false) {
    const auto it = m.find(key);
    if (it == m.end()) {
        if (required) throw std::runtime_error(std::string("missing property \"") + key + "\"");
        return;
    }
    const std::string where = std::string("property \"") + key + "\": ";
    if (!it->is_object()) throw std::runtime_error(where + "must be an object");
    required_number(*it, "constant");
    const auto table = it->find("table");
    if (table == it->end()) return;
    if (!table->is_object()) throw std::runtime_error(where + "\"table\" must be an object");
    const auto T = table->find("T");
    const auto v = table->find("value");
    if (T == table->end() || v == table->end() || !T->is_array() || !v->is_array())
        throw std::runtime_error(where + "the table needs arrays \"T\" and \"value\"");
    if (T->size() != v->size()) throw std::runtime_error(where + "\"T\" and \"value\" differ in length");
    for (std::size_t i = 0; i < T->size(); ++i) {
        if (!(*T)[i].is_number() || !(*v)[i].is_number()) throw std::runtime_error(where + "table entries must be numbers");
        if (!any_order && i > 0 && !((*T)[i].get<double>() > (*T)[i - 1].get<double>()))
            throw std::runtime_error(where + "temperatures must increase strictly");
    }
}

void read_property(const nlohmann::json& m, const char* key, host_property& out) {
    out = host_property{};
    const auto it = m.find(key);
    if (it == m.end() || !it->is_object()) return;
    out.constant = it->value("constant", 0.0);
    const auto table = it->find("table");
    if (table == it->end()) return;
    const auto& T = table->at("T");
    const auto& v = table->at("value");
    const auto n = static_cast<std::int32_t>(T.size());
    out.T = host_shared_array<double>(n);
    out.value = host_shared_array<double>(n);
    for (std::int32_t i = 0; i < n; ++i) {
        out.T[i] = T[static_cast<std::size_t>(i)].get<double>();
        out.value[i] = v[static_cast<std::size_t>(i)].get<double>();
    }
}

// The kinds of media that stand on other media or on materials of several kinds.
constexpr const char* kCavitationKind = "isothermal_cavitation";
constexpr const char* kVofKind = "free_surface_vof";
// A medium of this kind is one real_gas material tabulated over volume and temperature.
constexpr const char* kSingleComponentGasKind = "single_component_gas";

medium_definition parse_medium(const nlohmann::json& m) {
    if (!m.is_object()) throw std::runtime_error("a medium must be a JSON object");
    medium_definition d;
    d.name = required_string(m, "name");
    d.kind = required_string(m, "kind");
    if (d.kind == kVofKind) {
        const auto phases = m.find("phases");
        const auto alphas = m.find("volume_fractions");
        if (phases == m.end() || !phases->is_array() || phases->empty())
            throw std::runtime_error("\"phases\" must be a non-empty array of media names");
        for (const auto& s : *phases) {
            if (!s.is_string()) throw std::runtime_error("\"phases\" must hold media names");
            d.phases.push_back(s.get<std::string>());
        }
        if (alphas == m.end() || !alphas->is_array() || alphas->size() != d.phases.size())
            throw std::runtime_error("\"volume_fractions\" must hold one number per phase");
        for (const auto& a : *alphas) {
            if (!a.is_number()) throw std::runtime_error("\"volume_fractions\" must hold numbers");
            d.volume_fractions.push_back(a.get<double>());
        }
        d.substances = d.phases;  // what the medium stands on, for the tools that list it
        return d;
    }
    if (d.kind == kCavitationKind) d.vapour_pressure = required_number(m, "vapour_pressure");
    else if (known_kinds().count(d.kind) == 0 && d.kind != kSingleComponentGasKind)
        throw std::runtime_error("unknown \"kind\": " + d.kind);
    const auto subs = m.find("substances");
    const auto fractions = m.find("mass_fractions");
    if (subs == m.end() || !subs->is_array() || subs->empty())
        throw std::runtime_error("\"substances\" must be a non-empty array of material names");
    for (const auto& s : *subs) {
        if (!s.is_string()) throw std::runtime_error("\"substances\" must hold material names");
        d.substances.push_back(s.get<std::string>());
    }
    if (fractions == m.end() || !fractions->is_array() || fractions->size() != d.substances.size())
        throw std::runtime_error("\"mass_fractions\" must hold one number per substance");
    for (const auto& y : *fractions) {
        if (!y.is_number()) throw std::runtime_error("\"mass_fractions\" must hold numbers");
        d.mass_fractions.push_back(y.get<double>());
    }
    return d;
}

const std::vector<std::string>& law_types() {
    static const std::vector<std::string> types{"carreau", "cross_wlf", "herschel_bulkley", "power_law",
                                                "polynomial_regression", "high_order_regression"};
    return types;
}

// The law's object, or an empty object when the material has none.
nlohmann::json law_of(const nlohmann::json& m) {
    const auto it = m.find("viscosity_law");
    return it != m.end() && it->is_object() ? *it : nlohmann::json::object();
}

std::string read_text(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) throw std::runtime_error("cannot open " + path);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

}  // namespace

CJsonDescription::~CJsonDescription() = default;

std::int32_t CJsonDescription::query_interface(std::any& requested) {
    if (auto* p = std::any_cast<std::shared_ptr<IHostDescription>>(&requested)) {
        *p = std::shared_ptr<IHostDescription>(shared_from_this(), this);
        return 0;
    }
    if (auto* p = std::any_cast<std::shared_ptr<I_gas_description>>(&requested); p != nullptr && is_gas()) {
        *p = std::shared_ptr<I_gas_description>(shared_from_this(), this);
        return 0;
    }
    if (auto* p = std::any_cast<std::shared_ptr<I_non_newtonian_description>>(&requested);
        p != nullptr && m_kind == "non_newtonian_liquid") {
        *p = std::shared_ptr<I_non_newtonian_description>(shared_from_this(), this);
        return 0;
    }
    if (auto* p = std::any_cast<std::shared_ptr<I_compressible_liquid_description>>(&requested);
        p != nullptr && m_kind == "compressible_liquid") {
        *p = std::shared_ptr<I_compressible_liquid_description>(shared_from_this(), this);
        return 0;
    }
    if (auto* p = std::any_cast<std::shared_ptr<I_liquid_description>>(&requested); p != nullptr && is_liquid()) {
        *p = std::shared_ptr<I_liquid_description>(shared_from_this(), this);
        return 0;
    }
    if (auto* p = std::any_cast<std::shared_ptr<I_solid_description>>(&requested); p != nullptr && is_solid()) {
        *p = std::shared_ptr<I_solid_description>(shared_from_this(), this);
        return 0;
    }
    if (auto* p = std::any_cast<std::shared_ptr<I_real_gas_description>>(&requested); p != nullptr && is_real_gas()) {
        *p = std::shared_ptr<I_real_gas_description>(shared_from_this(), this);
        return 0;
    }
    if (auto* p = std::any_cast<std::shared_ptr<I_combustible_description>>(&requested);
        p != nullptr && is_combustible()) {
        *p = std::shared_ptr<I_combustible_description>(shared_from_this(), this);
        return 0;
    }
    if (auto* p = std::any_cast<std::shared_ptr<IHostUnknown>>(&requested)) {
        *p = std::shared_ptr<IHostUnknown>(shared_from_this(), static_cast<IHostDescription*>(this));
        return 0;
    }
    return 2;
}

void CJsonDescription::get_name(CHostString& name) { name = CHostString::from_utf8(m_name); }
void CJsonDescription::get_identifier(CHostString& identifier) { identifier = CHostString::from_utf8(m_identifier); }

void CJsonDescription::property(const char* key, host_property& out) const {
    read_property(nlohmann::json::parse(m_json), key, out);
}

double CJsonDescription::number(const char* key) const {
    const auto m = nlohmann::json::parse(m_json);
    const auto it = m.find(key);
    return it != m.end() && it->is_number() ? it->get<double>() : 0.0;
}

void CJsonDescription::get_first_parameter(host_property& p) { property("first_parameter", p); }
void CJsonDescription::get_cp(host_property& p) { property("cp", p); }
void CJsonDescription::get_viscosity(host_property& p) { property("viscosity", p); }
void CJsonDescription::get_conductivity(host_property& p) { property("conductivity", p); }
double CJsonDescription::get_molar_mass() { return number("molar_mass"); }
double CJsonDescription::get_gamma() { return number("gamma"); }
void CJsonDescription::get_density(host_property& p) { property("density", p); }
double CJsonDescription::get_scalar_a() { return number("scalar_a"); }
double CJsonDescription::get_reference_temperature() { return number("reference_temperature"); }
double CJsonDescription::get_reference_pressure() { return number("reference_pressure"); }
double CJsonDescription::get_heat_value_a() { return number("heat_value_a"); }
double CJsonDescription::get_heat_value_b() { return number("heat_value_b"); }
void CJsonDescription::get_heat_parameter(host_property& p) { property("heat_parameter", p); }

void CJsonDescription::get_tait_b(host_property& p) { property("tait_b", p); }
void CJsonDescription::get_tait_c(host_property& p) { property("tait_c", p); }
void CJsonDescription::get_tait_n(host_property& p) { property("tait_n", p); }
void CJsonDescription::get_viscosity_pressure_coefficient(host_property& p) { property("viscosity_pressure_coefficient", p); }
double CJsonDescription::get_density_reference_pressure() { return number("density_reference_pressure"); }
std::int32_t CJsonDescription::get_density_law() { return static_cast<std::int32_t>(number("density_law")); }

std::int32_t CJsonDescription::get_viscosity_law() {
    const auto law = law_of(nlohmann::json::parse(m_json));
    const auto it = law.find("type");
    if (it == law.end() || !it->is_string()) return -1;
    const auto& types = law_types();
    const auto at = std::find(types.begin(), types.end(), it->get<std::string>());
    return at == types.end() ? -1 : static_cast<std::int32_t>(at - types.begin());
}

double CJsonDescription::get_law_number(const char* key) {
    const auto law = law_of(nlohmann::json::parse(m_json));
    const auto it = law.find(key);
    return it != law.end() && it->is_number() ? it->get<double>() : 0.0;
}

void CJsonDescription::get_law_property(const char* key, host_property& p) {
    read_property(law_of(nlohmann::json::parse(m_json)), key, p);
}

void CJsonDescription::get_law_array(const char* key, host_shared_array<double>& values) {
    const auto law = law_of(nlohmann::json::parse(m_json));
    const auto it = law.find(key);
    if (it == law.end() || !it->is_array()) {
        values = host_shared_array<double>();
        return;
    }
    values = host_shared_array<double>(static_cast<std::int32_t>(it->size()));
    for (std::size_t i = 0; i < it->size(); ++i)
        values[static_cast<std::int32_t>(i)] = (*it)[i].is_number() ? (*it)[i].get<double>() : 0.0;
}

void CJsonDescription::get_component(std::int32_t index, host_property& p) {
    p = host_property{};
    const auto m = nlohmann::json::parse(m_json);
    const auto it = m.find("components");
    if (index < 0 || it == m.end() || !it->is_array() || static_cast<std::size_t>(index) >= it->size()) return;
    read_property(nlohmann::json{{"c", (*it)[static_cast<std::size_t>(index)]}}, "c", p);
}

std::int32_t CJsonDescription::get_anisotropy_flag() {
    const auto m = nlohmann::json::parse(m_json);
    const auto it = m.find("anisotropy");
    return it != m.end() && it->is_number_integer() ? it->get<std::int32_t>() : 0;
}

double CJsonDescription::get_critical_temperature() { return number("Tc"); }
double CJsonDescription::get_critical_pressure() { return number("pc"); }
double CJsonDescription::get_critical_compressibility() { return number("Zc"); }
double CJsonDescription::get_acentric_factor() { return number("omega"); }
void CJsonDescription::get_ideal_gas_cp(host_property& p) { property("ideal_gas_cp", p); }
std::int32_t CJsonDescription::get_model() { return static_cast<std::int32_t>(number("model")); }
std::int32_t CJsonDescription::get_generator_kind() { return static_cast<std::int32_t>(number("generator_kind")); }
void CJsonDescription::get_table_temperatures(double& T_min, double& T_max) {
    pair("table_temperatures", T_min, T_max);
}
void CJsonDescription::get_table_pressures(double& p_min, double& p_max) { pair("table_pressures", p_min, p_max); }
std::int32_t CJsonDescription::get_low_temperature_extension() {
    const auto m = nlohmann::json::parse(m_json);
    const auto it = m.find("low_temperature_extension");
    return it != m.end() && it->is_boolean() && it->get<bool>() ? 1 : 0;
}
double CJsonDescription::get_floor_temperature() { return number("floor_temperature"); }
void CJsonDescription::get_data_source(CHostString& source) {
    const auto m = nlohmann::json::parse(m_json);
    const auto it = m.find("source");
    source = CHostString::from_utf8(it != m.end() && it->is_string() ? it->get<std::string>() : std::string());
}

namespace {
// [min, max, points] of a combustible material's axis (zeros when absent: the substance refuses).
void axis_of(const nlohmann::json& m, const char* key, double& min, double& max, std::int32_t& points) {
    const auto it = m.find(key);
    const bool ok = it != m.end() && it->is_array() && it->size() == 3 && (*it)[0].is_number() &&
                    (*it)[1].is_number() && (*it)[2].is_number_integer();
    min = ok ? (*it)[0].get<double>() : 0.0;
    max = ok ? (*it)[1].get<double>() : 0.0;
    points = ok ? (*it)[2].get<std::int32_t>() : 0;
}
std::string text_of(const nlohmann::json& m, const char* key) {
    const auto it = m.find(key);
    return it != m.end() && it->is_string() ? it->get<std::string>() : std::string();
}
}  // namespace

void CJsonDescription::get_fuel(CHostString& c) { c = CHostString::from_utf8(text_of(nlohmann::json::parse(m_json), "fuel")); }
void CJsonDescription::get_oxidizer(CHostString& c) {
    c = CHostString::from_utf8(text_of(nlohmann::json::parse(m_json), "oxidizer"));
}
void CJsonDescription::get_first_axis(double& min, double& max, std::int32_t& points) {
    axis_of(nlohmann::json::parse(m_json), "first_axis", min, max, points);
}
void CJsonDescription::get_temperature_axis(double& min, double& max, std::int32_t& points) {
    axis_of(nlohmann::json::parse(m_json), "temperature_axis", min, max, points);
}
std::int32_t CJsonDescription::get_mixture_fraction_points() {
    return static_cast<std::int32_t>(number("mixture_fraction_points"));
}
std::int32_t CJsonDescription::get_nox() {
    const auto m = nlohmann::json::parse(m_json);
    const auto it = m.find("nox");
    return it != m.end() && it->is_boolean() && it->get<bool>() ? 1 : 0;
}
void CJsonDescription::get_two_stream(std::int32_t& on, double& stream_parameter) {
    const auto m = nlohmann::json::parse(m_json);
    const auto it = m.find("two_stream");
    on = it != m.end() && it->is_boolean() && it->get<bool>() ? 1 : 0;
    const auto s = m.find("stream_parameter");
    stream_parameter = s != m.end() && s->is_number() ? s->get<double>() : 0.0;
}
std::string CJsonDescription::combustible_table() const {
    return is_combustible() && text_of(nlohmann::json::parse(m_json), "table") == "VT" ? "VT" : "PT";
}

void CJsonDescription::pair(const char* key, double& first, double& second) const {
    const auto m = nlohmann::json::parse(m_json);
    const auto it = m.find(key);
    const bool ok = it != m.end() && it->is_array() && it->size() == 2 && (*it)[0].is_number() && (*it)[1].is_number();
    first = ok ? (*it)[0].get<double>() : 0.0;
    second = ok ? (*it)[1].get<double>() : 0.0;
}

std::shared_ptr<CJsonDescription> CJsonDescription::from_json_text(const std::string& material_json) {
    const auto m = nlohmann::json::parse(material_json, nullptr, false);
    if (m.is_discarded() || !m.is_object()) throw std::runtime_error("a material must be a JSON object");
    std::shared_ptr<CJsonDescription> d(new CJsonDescription());
    d->m_name = required_string(m, "name");
    d->m_identifier = required_string(m, "identifier");
    d->m_kind = required_string(m, "kind");
    if (d->m_name.empty()) throw std::runtime_error("empty \"name\"");
    host_guid id;
    if (!guid_utils::BuildGUIDFromString(CHostString::from_utf8(d->m_identifier), id))
        throw std::runtime_error("\"identifier\" is not a GUID: " + d->m_identifier);
    if (known_kinds().count(d->m_kind) == 0) throw std::runtime_error("unknown \"kind\": " + d->m_kind);
    if (d->is_gas()) {
        if (!(required_number(m, "molar_mass") > 0.0)) throw std::runtime_error("\"molar_mass\" must be positive");
        required_number(m, "gamma");
        check_property(m, "cp", true);
        check_property(m, "viscosity", true);
        check_property(m, "conductivity", true);
        check_property(m, "first_parameter", false);
    }
    if (d->is_liquid()) {
        for (const char* key : {"cp", "viscosity", "conductivity"}) check_property(m, key, true);
        check_property(m, "density", true, d->m_kind != "compressible_liquid");
        for (const char* key : {"scalar_a", "reference_temperature", "reference_pressure"}) required_number(m, key);
    }
    if (d->m_kind == "compressible_liquid") {
        for (const char* key : {"tait_b", "tait_c", "tait_n", "viscosity_pressure_coefficient"}) check_property(m, key, true);
        required_number(m, "density_reference_pressure");
        required_number(m, "density_law");
    }
    if (d->m_kind == "non_newtonian_liquid") {
        const auto law = law_of(m);
        const auto type = law.find("type");
        if (type == law.end() || !type->is_string() ||
            std::find(law_types().begin(), law_types().end(), type->get<std::string>()) == law_types().end())
            throw std::runtime_error("\"viscosity_law\" needs a \"type\" of the known laws");
        for (const auto& [key, value] : law.items())
            if (value.is_object()) check_property(law, key.c_str(), true);
    }
    if (d->is_solid()) {
        const auto c = m.find("components");
        if (c == m.end() || !c->is_array() || c->size() != 3)
            throw std::runtime_error("\"components\" must hold three properties");
        for (std::size_t i = 0; i < 3; ++i) check_property(nlohmann::json{{"component", (*c)[i]}}, "component", true);
        const auto a = m.find("anisotropy");
        if (a == m.end() || !a->is_number_integer()) throw std::runtime_error("missing integer field \"anisotropy\"");
        if (d->m_kind == "heatconducting_solid") {
            required_number(m, "heat_value_a");
            required_number(m, "heat_value_b");
            check_property(m, "heat_parameter", true);
        }
    }
    if (d->is_combustible()) {
        required_string(m, "fuel");
        required_string(m, "oxidizer");
        const std::string table = required_string(m, "table");
        if (table != "PT" && table != "VT") throw std::runtime_error("\"table\" must be \"PT\" or \"VT\"");
        for (const char* key : {"first_axis", "temperature_axis"}) {
            double a = 0.0, b = 0.0;
            std::int32_t n = 0;
            axis_of(m, key, a, b, n);
            if (!(a > 0.0) || !(b > a) || n < 2)
                throw std::runtime_error(std::string("\"") + key + "\" must be [min, max, points], 0 < min < max, points >= 2");
        }
        required_integer(m, "mixture_fraction_points");
    }
    if (d->is_real_gas()) {
        for (const char* key : {"Tc", "pc", "molar_mass"})
            if (!(required_number(m, key) > 0.0))
                throw std::runtime_error(std::string("\"") + key + "\" must be positive");
        required_number(m, "Zc");
        required_number(m, "omega");
        required_integer(m, "model");
        if (m.contains("generator_kind")) required_integer(m, "generator_kind");
        check_property(m, "ideal_gas_cp", false);
        for (const char* key : {"table_temperatures", "table_pressures"}) {
            const auto it = m.find(key);
            if (it == m.end() || !it->is_array() || it->size() != 2 || !(*it)[0].is_number() || !(*it)[1].is_number() ||
                !((*it)[0].get<double>() > 0.0) || !((*it)[1].get<double>() > (*it)[0].get<double>()))
                throw std::runtime_error(std::string("\"") + key + "\" must be [low, high] with 0 < low < high");
        }
        const auto extension = m.find("low_temperature_extension");
        if (extension == m.end() || !extension->is_boolean())
            throw std::runtime_error("missing boolean field \"low_temperature_extension\"");
        if (!(required_number(m, "floor_temperature") >= 0.0))
            throw std::runtime_error("\"floor_temperature\" must not be negative");
    }
    d->m_json = m.dump();
    return d;
}

std::vector<std::shared_ptr<CJsonDescription>> parse_materials(const std::string& json_text) {
    material_library library;
    library.add_text(json_text, "");
    return library.materials();
}

std::vector<std::shared_ptr<CJsonDescription>> load_materials(const std::string& path) {
    material_library library;
    library.add_file(path);
    return library.materials();
}

// ---- the material library -----------------------------------------------------------------------

void material_library::add_text(const std::string& json_text, const std::string& origin) {
    const std::string prefix = origin.empty() ? "" : origin + ": ";
    const auto doc = nlohmann::json::parse(json_text, nullptr, false);
    if (doc.is_discarded()) throw std::runtime_error(prefix + "not valid JSON");
    const auto it = doc.find("materials");
    if (!doc.is_object() || it == doc.end() || !it->is_array())
        throw std::runtime_error(prefix + "the file must be an object with an array \"materials\"");
    std::vector<std::shared_ptr<CJsonDescription>> materials;
    std::vector<medium_definition> media;
    std::set<std::string> names;
    for (const auto& m : m_materials) names.insert(m->name_utf8());
    for (const auto& m : m_media) names.insert(m.name);
    std::size_t index = 0;
    for (const auto& m : *it) {
        try {
            auto d = CJsonDescription::from_json_text(m.dump());
            if (!names.insert(d->name_utf8()).second) throw std::runtime_error("duplicate name " + d->name_utf8());
            materials.push_back(std::move(d));
        } catch (const std::exception& e) {
            throw std::runtime_error(prefix + "material " + std::to_string(index) + ": " + e.what());
        }
        ++index;
    }
    index = 0;
    if (const auto md = doc.find("media"); md != doc.end()) {
        if (!md->is_array()) throw std::runtime_error(prefix + "\"media\" must be an array");
        for (const auto& m : *md) {
            try {
                auto d = parse_medium(m);
                // A medium may share its name with its one material (e.g. "air").
                const bool own_material = d.substances.size() == 1 && d.substances[0] == d.name;
                if (!names.insert(d.name).second && !own_material) throw std::runtime_error("duplicate name " + d.name);
                media.push_back(std::move(d));
            } catch (const std::exception& e) {
                throw std::runtime_error(prefix + "medium " + std::to_string(index) + ": " + e.what());
            }
            ++index;
        }
    }
    m_materials.insert(m_materials.end(), materials.begin(), materials.end());
    m_media.insert(m_media.end(), media.begin(), media.end());
}

void material_library::add_file(const std::string& path) { add_text(read_text(path), path); }

void material_library::add_directory(const std::string& folder) {
    std::error_code ec;
    if (!std::filesystem::is_directory(folder, ec)) return;
    std::vector<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::directory_iterator(folder, ec))
        if (entry.is_regular_file() && entry.path().extension() == ".json") files.push_back(entry.path());
    std::sort(files.begin(), files.end());
    for (const auto& f : files) add_file(f.string());
}

std::shared_ptr<CJsonDescription> material_library::find_material(const std::string& name) const {
    for (const auto& m : m_materials)
        if (m->name_utf8() == name) return m;
    return nullptr;
}

std::optional<medium_definition> material_library::find_medium(const std::string& name) const {
    for (const auto& m : m_media) {
        if (m.name != name) continue;
        if (m.kind != kVofKind) return m;
        // The composition of a VOF medium: its volume fractions, then each phase's own fractions
        // (a phase that is itself a VOF medium, or unknown, adds none; creating it is refused).
        auto d = m;
        d.mass_fractions = d.volume_fractions;
        for (const auto& phase : d.phases) {
            const auto other = std::find_if(m_media.begin(), m_media.end(),
                                            [&](const medium_definition& o) { return o.name == phase; });
            if (other != m_media.end()) {
                if (other->kind != kVofKind)
                    d.mass_fractions.insert(d.mass_fractions.end(), other->mass_fractions.begin(),
                                            other->mass_fractions.end());
            } else if (find_material(phase)) {
                d.mass_fractions.push_back(1.0);
            }
        }
        return d;
    }
    if (const auto material = find_material(name)) return medium_definition{name, material->kind(), {name}, {1.0}, 0.0, {}, {}};
    return std::nullopt;
}

std::int32_t create_medium(I_medium_physics& factory, const material_library& library, const medium_definition& medium,
                           bool register_it, std::shared_ptr<I_fluid_thermodynamics>& out, std::string* why,
                           factory_call* call) {
    const auto fail = [&](std::int32_t status, std::string reason) {
        if (why != nullptr) *why = std::move(reason);
        return status;
    };
    if (medium.kind == kVofKind) {
        fluid_array phases(static_cast<std::int32_t>(medium.phases.size()));
        for (std::size_t i = 0; i < medium.phases.size(); ++i) {
            const auto phase = library.find_medium(medium.phases[i]);
            if (!phase) return fail(3, "unknown phase " + medium.phases[i] + " in medium " + medium.name);
            if (phase->kind == kVofKind)
                return fail(3, "phase " + medium.phases[i] + " of " + medium.name +
                                   " is itself a free-surface VOF medium (a VOF medium holds neither another nor itself)");
            // The VOF medium holds its phases in its own record: they are not registered as well.
            fluid_ptr made;
            if (const auto status = create_medium(factory, library, *phase, false, made, why); status != 0)
                return status;
            phases[static_cast<std::int32_t>(i)] = made;
        }
        const auto status = factory.CreateFreeSurfaceVofThermodynamics(phases, register_it, out);
        if (call != nullptr) *call = {"CreateFreeSurfaceVofThermodynamics", status};
        if (status != 0) return fail(status, "the factory could not create " + medium.name + " (see the log)");
        return 0;
    }
    if (medium.kind == kCavitationKind) {
        // The liquid first, then at most one gas.
        const auto liquid = medium.substances.empty() ? nullptr : library.find_material(medium.substances[0]);
        if (!liquid) return fail(3, "medium " + medium.name + " names no known liquid first");
        description_array gases(static_cast<std::int32_t>(medium.substances.size()) - 1);
        for (std::size_t i = 1; i < medium.substances.size(); ++i) {
            const auto gas = library.find_material(medium.substances[i]);
            if (!gas || gas->kind() != "ideal_gas")
                return fail(3, "medium " + medium.name + ": " + medium.substances[i] + " is no known ideal gas");
            gases[static_cast<std::int32_t>(i - 1)] = gas;
        }
        factory_call made;
        if (liquid->kind() == "compressible_liquid")
            made = {"CreateIsothermalCavitationThermodynamics",
                    factory.CreateIsothermalCavitationThermodynamics(liquid, gases, medium.vapour_pressure, register_it,
                                                                     out)};
        else if (liquid->kind() == "incompressible_liquid")
            made = {"CreateIsothermalCavitationThermodynamicsInc",
                    factory.CreateIsothermalCavitationThermodynamicsInc(liquid, gases, medium.vapour_pressure,
                                                                        register_it, out)};
        else
            return fail(3, "medium " + medium.name + ": " + liquid->name_utf8() + " is no liquid");
        if (call != nullptr) *call = made;
        if (made.status != 0) return fail(made.status, "the factory could not create " + medium.name + " (see the log)");
        return 0;
    }
    description_array descriptions(static_cast<std::int32_t>(medium.substances.size()));
    for (std::size_t i = 0; i < medium.substances.size(); ++i) {
        const auto material = library.find_material(medium.substances[i]);
        if (!material) return fail(3, "unknown material " + medium.substances[i] + " in medium " + medium.name);
        // A real-gas medium takes a real-gas material of either real-gas kind first; the medium
        // without phase change mixes ideal gases after it. A single-component gas takes one real gas.
        const bool real_medium = medium.kind == "real_gas" || medium.kind == "real_gas_phase_change";
        const std::string material_kind = medium.kind == kSingleComponentGasKind ? "real_gas" : medium.kind;
        const bool fits = real_medium ? (i == 0 ? material->is_real_gas() : material->kind() == "ideal_gas")
                                      : material->kind() == material_kind;
        if (!fits)
            return fail(3, "material " + material->name_utf8() + " is " + material->kind() + ", medium " + medium.name +
                               " is " + medium.kind +
                               (real_medium ? " (a real-gas material first, then ideal gases)" : ""));
        descriptions[static_cast<std::int32_t>(i)] = material;
    }
    factory_call made;
    const auto calling = [&](const char* operation, std::int32_t status) {
        made.operation = operation;
        made.status = status;
    };
    // The media of one substance take its description alone.
    const bool one = medium.substances.size() == 1;
    if (medium.kind == "ideal_gas")
        calling("CreateIdealGasThermodynamics", factory.CreateIdealGasThermodynamics(descriptions, register_it, out));
    else if (medium.kind == "perfect_gas")
        calling("CreatePerfectGasThermodynamics",
                factory.CreatePerfectGasThermodynamics(descriptions, register_it, out));
    else if (medium.kind == "incompressible_liquid")
        calling("CreateIncompressibleLiquidThermodynamics",
                factory.CreateIncompressibleLiquidThermodynamics(descriptions, register_it, out));
    else if (medium.kind == "non_newtonian_liquid")
        calling("CreateNonNewtonianLiquidThermodynamics",
                factory.CreateNonNewtonianLiquidThermodynamics(descriptions, register_it, out));
    else if (medium.kind == "compressible_liquid")
        calling("CreateCompressibleLiquidThermodynamics",
                factory.CreateCompressibleLiquidThermodynamics(descriptions, register_it, out));
    else if (medium.kind == "real_gas") {
        description_array gases(descriptions.size() - 1);
        for (std::int32_t i = 1; i < descriptions.size(); ++i) gases[i - 1] = descriptions[i];
        calling("CreateRealGasThermodynamics",
                factory.CreateRealGasThermodynamics(descriptions[0], gases, register_it, out));
    } else if (medium.kind == "real_gas_phase_change" && one)
        calling("CreateRealGasPhaseChangeThermodynamics",
                factory.CreateRealGasPhaseChangeThermodynamics(descriptions[0], description_array(), register_it, out));
    else if (medium.kind == kSingleComponentGasKind && one)
        calling("CreateSingleComponentThermodynamicsFromDescription",
                factory.CreateSingleComponentThermodynamicsFromDescription(descriptions[0], register_it, out));
    else if (medium.kind == "hypersonic_gas" && one)
        calling("CreateHypersonicGasThermodynamics",
                factory.CreateHypersonicGasThermodynamics(descriptions[0], register_it, out));
    else if (medium.kind == "combustible" && one)
        calling("CreateCombustibleThermodynamics",
                factory.CreateCombustibleThermodynamics(
                    descriptions[0],
                    library.find_material(medium.substances[0]) != nullptr &&
                            library.find_material(medium.substances[0])->combustible_table() == "VT"
                        ? MP_KIND_COMBUSTIBLE_VT
                        : MP_KIND_COMBUSTIBLE_PT,
                    0.0, 0, register_it, out));
    if (call != nullptr) *call = made;
    // The combustible operation answers 0 also when it refuses (its refusal is in the log).
    if (made.status == 0 && !out && medium.kind == "combustible")
        return fail(3, "the factory could not create " + medium.name + " (see the log)");
    if (made.status == 2 || (made.status == 0 && !out))
        return fail(2, "media of kind " + medium.kind + " are not available in this build");
    if (made.status != 0) return fail(made.status, "the factory could not create " + medium.name + " (see the log)");
    return 0;
}

std::int32_t create_solid(I_medium_physics& factory, const material_library& library, const std::string& material,
                          const solid_axes& axes, std::shared_ptr<MED_PHYSICS::I_diffusion_coefficient>& out,
                          std::string* why, factory_call* call) {
    const auto fail = [&](std::int32_t status, std::string reason) {
        if (why != nullptr) *why = std::move(reason);
        return status;
    };
    const auto d = library.find_material(material);
    if (!d) return fail(3, "unknown material " + material);
    factory_call made;
    if (d->kind() == "heatconducting_solid") {
        std::shared_ptr<MED_PHYSICS::I_heatconducting_solid> solid;
        made = {"CreateHeatConductingSolid", factory.CreateHeatConductingSolid(d, axes, solid)};
        out = solid;
    } else if (d->kind() == "electroconducting_solid") {
        std::shared_ptr<MED_PHYSICS::I_electroconducting_solid> solid;
        made = {"CreateElectroConductingSolid", factory.CreateElectroConductingSolid(d, axes, solid)};
        out = solid;
    } else {
        return fail(3, material + " is no solid (kind " + d->kind() + ")");
    }
    if (call != nullptr) *call = made;
    if (made.status == 0 && !out) return fail(3, "the factory created no " + material);
    if (made.status != 0) return fail(made.status, "the factory could not create " + material + " (see the log)");
    return 0;
}

}  // namespace standalone_host
