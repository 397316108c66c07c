#include "combustion/c_combustible_substance.h"

#include <cmath>

#include "factory/mp_log.h"
#include "factory/mp_settings.h"
#include "file_io/c_file_io/c_file_io.h"
#include "medium_physics/description.h"

namespace {

using mp::combustion::combustible_settings;

// Largest grid of one axis, and of the whole table (about 400 MB of fields at 24 fields).
constexpr std::int32_t kMaxAxisPoints = 4096;
constexpr double kMaxTableCells = 2.0e6;

// Why the settings are not usable; nullptr when they are.
const char* refusal(const combustible_settings& s) noexcept {
    if (!(s.x1_min > 0.0) || !(s.x1_max > s.x1_min) || !std::isfinite(s.x1_max)) return "the first axis is not 0 < min < max";
    if (!(s.T_min > 0.0) || !(s.T_max > s.T_min) || !std::isfinite(s.T_max)) return "the temperature axis is not 0 < min < max";
    for (const std::int32_t n : {s.n1, s.n2, s.n3})
        if (n < 2 || n > kMaxAxisPoints) return "a grid has fewer than 2 or more than 4096 points";
    if (static_cast<double>(s.n1) * s.n2 * s.n3 > kMaxTableCells) return "the table has more than 2e6 nodes";
    if (!std::isfinite(s.stream_parameter) || s.stream_parameter < 0.0 || s.stream_parameter > 1.0)
        return "the stream parameter is not within 0..1";
    return nullptr;
}

void write_text(C_file_io& stream, const std::string& text) { stream.write_string(CHostString::from_utf8(text)); }
std::string read_text(C_file_io& stream) {
    CHostString s;
    stream.read_string(s);
    return s.to_utf8();
}

// The settings from the fuel text on, as the record and the check record hold them.
void write_settings(C_file_io& stream, const combustible_settings& s) {
    write_text(stream, s.fuel);
    write_text(stream, s.oxidizer);
    stream.put<std::uint8_t>(s.nox ? 1 : 0);
    stream.put<std::uint8_t>(s.two_stream ? 1 : 0);
    stream.put<double>(s.stream_parameter);
    stream.put<double>(s.x1_min);
    stream.put<double>(s.x1_max);
    stream.put<std::int32_t>(s.n1);
    stream.put<double>(s.T_min);
    stream.put<double>(s.T_max);
    stream.put<std::int32_t>(s.n2);
    stream.put<std::int32_t>(s.n3);
}

combustible_settings read_settings(C_file_io& stream) {
    combustible_settings s;
    s.fuel = read_text(stream);
    s.oxidizer = read_text(stream);
    s.nox = stream.get<std::uint8_t>() != 0;
    s.two_stream = stream.get<std::uint8_t>() != 0;
    s.stream_parameter = stream.get<double>();
    s.x1_min = stream.get<double>();
    s.x1_max = stream.get<double>();
    s.n1 = stream.get<std::int32_t>();
    s.T_min = stream.get<double>();
    s.T_max = stream.get<double>();
    s.n2 = stream.get<std::int32_t>();
    s.n3 = stream.get<std::int32_t>();
    return s;
}

bool same(const combustible_settings& a, const combustible_settings& b) noexcept {
    return a.fuel == b.fuel && a.oxidizer == b.oxidizer && a.nox == b.nox && a.two_stream == b.two_stream &&
           a.stream_parameter == b.stream_parameter && a.x1_min == b.x1_min && a.x1_max == b.x1_max && a.n1 == b.n1 &&
           a.T_min == b.T_min && a.T_max == b.T_max && a.n2 == b.n2 && a.n3 == b.n3;
}

}  // namespace

bool C_combustible_substance::init(I_combustible_description& description, IHostMessageSink* sink) {
    if (!init_from_description(description, sink)) return false;
    combustible_settings s;
    CHostString text;
    description.get_fuel(text);
    s.fuel = text.to_utf8();
    description.get_oxidizer(text);
    s.oxidizer = text.to_utf8();
    description.get_first_axis(s.x1_min, s.x1_max, s.n1);
    description.get_temperature_axis(s.T_min, s.T_max, s.n2);
    s.n3 = description.get_mixture_fraction_points();
    s.nox = description.get_nox() != 0;
    std::int32_t two = 0;
    description.get_two_stream(two, s.stream_parameter);
    s.two_stream = two != 0;
    m_settings = s;
    return build(sink);
}

bool C_combustible_substance::init(const host_guid& identity, const CHostString& name,
                                   const combustible_settings& settings, IHostMessageSink* sink) {
    C_substance_base::init(identity, name, sink);
    m_settings = settings;
    return build(sink);
}

bool C_combustible_substance::build(IHostMessageSink* sink) {
    const std::string who = name().to_utf8();
    if (const char* why = refusal(m_settings); why != nullptr) {
        MP_LOG(sink, mp::line_kind::error, "ERROR: MediumPhysics: %s(%d): %s: %s\n", who.c_str(), why);
        return false;
    }
    mp::combustion::stream fuel, oxidizer;
    if (!mp::combustion::parse_stream(m_settings.fuel.c_str(), fuel) ||
        !mp::combustion::parse_stream(m_settings.oxidizer.c_str(), oxidizer)) {
        MP_LOG(sink, mp::line_kind::error,
               "ERROR: MediumPhysics: %s(%d): %s: a stream is not species by mole (\"O2:0.21,N2:0.79\")\n",
               who.c_str());
        return false;
    }
    mp::combustion::chemistry_error error = mp::combustion::chemistry_error::none;
    const char* bad = nullptr;
    auto chem = std::make_shared<mp::combustion::chemistry>();
    if (!chem->set_up(fuel, oxidizer, m_settings.nox, error, &bad)) {
        MP_LOG(sink, mp::line_kind::error, "ERROR: MediumPhysics: %s(%d): %s: %s%s%s\n", who.c_str(),
               mp::combustion::to_text(error), bad != nullptr ? ": " : "", bad != nullptr ? bad : "");
        return false;
    }
    m_chem = chem;
    m_reported_count = mp::combustion::reported_species(*m_chem, m_reported);
    mp::combustion::chem_generator_settings g;
    g.x1_min = m_settings.x1_min;
    g.x1_max = m_settings.x1_max;
    g.T_min = m_settings.T_min;
    g.T_max = m_settings.T_max;
    mp::combustion::CChemPropertyGenerator generator(m_chem, g, sink, 0);
    chem_table_request request;
    request.identifier = identity();
    request.nox = m_settings.nox;
    request.n1 = m_settings.n1;
    request.n2 = m_settings.n2;
    request.n3 = m_settings.n3;
    request.two_stream = m_settings.two_stream;
    request.stream_parameter = m_settings.stream_parameter;
    m_restore = restore_chem_table(*m_table, request, generator, *this, sink);
    if (m_restore == chem_restore_result::failed) return false;
    // A restored table must also hold the fields this build reads.
    if (m_table->count_a() != mp::combustion::kPropertyFieldCount || m_table->count_b() != m_reported_count) {
        MP_LOG(sink, mp::line_kind::error, "ERROR: MediumPhysics: %s(%d): %s: the chemistry table lacks fields\n",
               who.c_str());
        return false;
    }
    m_table->set_two_stream(m_settings.two_stream);
    m_table->set_stream_parameter(m_settings.stream_parameter);
    m_table->set_mode(0);
    return true;
}

void C_combustible_substance::write_check_record(C_file_io& stream) const {
    stream.put<std::int32_t>(kCheckVersion);
    stream.write_guid(identity());
    stream.put<std::int32_t>(mp::combustion::kChemFieldLayout);
    write_settings(stream, m_settings);
}

bool C_combustible_substance::read_check_record(C_file_io& stream) const {
    if (stream.get<std::int32_t>() != kCheckVersion) return false;
    host_guid id;
    stream.read_guid(id);
    if (!(id == identity())) return false;
    if (stream.get<std::int32_t>() != mp::combustion::kChemFieldLayout) return false;
    return same(read_settings(stream), m_settings);
}

void C_combustible_substance::write(C_file_io& stream) const {
    write_base(stream);
    stream.put<std::int32_t>(kRecordVersion);
    write_settings(stream, m_settings);
}

bool C_combustible_substance::read(C_file_io& stream) {
    if (!read_base(stream)) return false;
    if (stream.get<std::int32_t>() != kRecordVersion) return false;
    m_settings = read_settings(stream);
    return build(sink());
}
