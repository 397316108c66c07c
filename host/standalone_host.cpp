// The standalone host object and the JSON material descriptions.
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
                                             "hypersonic_gas",
                                             "combustible"};
    return kinds;
}

std::string required_string(const nlohmann::json& m, const char* key) {
    const auto it = m.find(key);
    if (it == m.end() || !it->is_string()) throw std::runtime_error(std::string("missing string field \"") + key + "\"");
    return it->get<std::string>();
}

}  // namespace

CJsonDescription::~CJsonDescription() = default;

std::int32_t CJsonDescription::query_interface(std::any& requested) {
    if (auto* p = std::any_cast<std::shared_ptr<IHostDescription>>(&requested)) {
        // Descriptions are not shared-from-this; a non-owning pointer is handed out.
        *p = std::shared_ptr<IHostDescription>(std::shared_ptr<IHostDescription>{}, this);
        return 0;
    }
    return 2;
}

void CJsonDescription::get_name(CHostString& name) { name = CHostString::from_utf8(m_name); }
void CJsonDescription::get_identifier(CHostString& identifier) { identifier = CHostString::from_utf8(m_identifier); }

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
    d->m_json = m.dump();
    return d;
}

std::vector<std::shared_ptr<CJsonDescription>> parse_materials(const std::string& json_text) {
    const auto doc = nlohmann::json::parse(json_text, nullptr, false);
    if (doc.is_discarded()) throw std::runtime_error("not valid JSON");
    const auto it = doc.find("materials");
    if (!doc.is_object() || it == doc.end() || !it->is_array())
        throw std::runtime_error("the file must be an object with an array \"materials\"");
    std::vector<std::shared_ptr<CJsonDescription>> out;
    std::set<std::string> names;
    std::size_t index = 0;
    for (const auto& m : *it) {
        try {
            auto d = CJsonDescription::from_json_text(m.dump());
            if (!names.insert(d->name_utf8()).second) throw std::runtime_error("duplicate name " + d->name_utf8());
            out.push_back(std::move(d));
        } catch (const std::exception& e) {
            throw std::runtime_error("material " + std::to_string(index) + ": " + e.what());
        }
        ++index;
    }
    return out;
}

std::vector<std::shared_ptr<CJsonDescription>> load_materials(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) throw std::runtime_error("cannot open " + path);
    std::ostringstream text;
    text << in.rdbuf();
    try {
        return parse_materials(text.str());
    } catch (const std::exception& e) {
        throw std::runtime_error(path + ": " + e.what());
    }
}

}  // namespace standalone_host
