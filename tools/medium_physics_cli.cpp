// medium-physics: the library's command-line program. It shows what the library knows (kind codes,
// built-in materials and media), answers the property operations a solver calls (a fluid at given
// p and T, a fluid from its total enthalpy, a non-Newtonian liquid's viscosity over shear rates, a
// conducting solid at T) so that the data can be looked at without writing a host, gives the
// saturation line and single-phase states of a real-gas fluid from the cubic equation of state
// (critical data and ideal-gas cp0 from data/thermo/critical_properties.json), writes a saved
// factory stream from named materials, and explains the structure of a saved stream record by
// record, so that a damaged project file can be located to the byte.
//
// Exit codes: 0 success, 1 bad input or a failed operation, 2 a usage error.
#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <any>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <limits>
#include <map>
#include <memory>
#include <optional>
#include <random>
#include <ostream>
#include <regex>
#include <sstream>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "liquid/c_inc_nn_liquid_thermodynamics.h"
#include "cli_chemtable.h"
#include "tables/c_1d_param.h"
#include "tables/c_2d_property.h"
#include "factory/c_medium_physics.h"
#include "framework/c_thermodynamic_base.h"
#include "real_gas/crgpropertygenerator.h"
#include "equilibrium/equilibrium_air.h"
#include "file_io/c_file_io/c_file_io.h"
#include "hypersonic/hypersonic_tables.h"
#include "medium_physics/host_guid.h"
#include "medium_physics/i_medium_physics.h"
#include "medium_physics/standalone_host.h"
#include "medium_physics/thermodynamics.h"
#include "factory/mp_settings.h"

#ifndef MP_VERSION
#error "MP_VERSION must be defined by the build"
#endif
#ifndef MP_DATA_DIR
#error "MP_DATA_DIR must be defined by the build"
#endif

namespace fs = std::filesystem;

namespace {

constexpr int kExitOk = 0;
constexpr int kExitFailure = 1;
constexpr int kExitUsage = 2;

// Not a material: `save` builds the obsolete cavitation placeholder for this name, which needs no
// material data and is the one medium every build can create.
constexpr const char* kObsoleteCavitationName = "obsolete-cavitation";

// Not a material either: `props` answers this name from the chemical-equilibrium engine, with the
// built-in tables of the hypersonic medium beside it, at (T, rho) or (T, p).
constexpr const char* kEquilibriumAirName = "equilibrium-air";

// A solid's principal axes when none are given: the coordinate axes (row order).
constexpr solid_axes kCoordinateAxes = {1, 0, 0, 0, 1, 0, 0, 0, 1};

// Failures that end a command with exit code 1; the message is printed as is.
struct command_error : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// ---- the library's log ----------------------------------------------------------------------------

// Keeps the library's log lines off the terminal while a command runs: they are shown only when
// asked for (--verbose) or when they explain a failure.
class captured_log {
public:
    explicit captured_log(bool verbose) : m_verbose(verbose) {}
    ~captured_log() {
        if (m_verbose) print_to_stderr("");
    }
    captured_log(const captured_log&) = delete;
    captured_log& operator=(const captured_log&) = delete;

    void print_to_stderr(const std::string& indent) {
        for (const auto& line : m_capture.lines()) std::cerr << indent << line.text;
        m_capture.clear();
    }

    // The lines written since the last take (or print), which are then no longer held; the
    // property commands report what the library said while answering one request.
    std::vector<std::string> take() {
        std::vector<std::string> texts;
        for (auto& line : m_capture.lines()) texts.push_back(std::move(line.text));
        m_capture.clear();
        return texts;
    }
    void discard() { m_capture.clear(); }

private:
    bool m_verbose;
    standalone_host::log_capture m_capture;
};

// ---- built-in materials ---------------------------------------------------------------------------

struct data_directory {
    fs::path path;
    bool chosen = false;  // named by --data or MEDIUM_PHYSICS_DATA rather than the build default
};

data_directory resolve_data_directory(const std::string& option) {
    if (!option.empty()) return {fs::path(option), true};
    if (const char* env = std::getenv("MEDIUM_PHYSICS_DATA"); env != nullptr && *env != '\0')
        return {fs::path(env), true};
    return {fs::path(MP_DATA_DIR), false};
}

struct material {
    std::shared_ptr<standalone_host::CJsonDescription> description;
    std::string file;  // the file name within the data directory
    std::string identifier;
};

struct named_medium {
    standalone_host::medium_definition definition;
    std::string file;
};

// The built-in data: one library over all files (a medium may use another file's materials), and
// for each material and medium the file it came from.
struct builtin_data {
    standalone_host::material_library library;
    std::vector<material> materials;
    std::vector<named_medium> media;
};

// Every material and medium of every *.json file in the directory, files in name order. A missing
// default directory means there are no materials yet; a directory the user named must exist.
builtin_data load_builtin_data(const data_directory& dir) {
    builtin_data data;
    std::error_code ec;
    if (!fs::is_directory(dir.path, ec)) {
        if (dir.chosen) throw command_error("data directory " + dir.path.string() + " does not exist");
        return data;
    }
    std::vector<fs::path> files;
    for (const auto& entry : fs::directory_iterator(dir.path))
        if (entry.is_regular_file() && entry.path().extension() == ".json") files.push_back(entry.path());
    std::sort(files.begin(), files.end());

    std::map<std::string, std::string> file_of_name;
    for (const auto& file : files) {
        const std::string file_name = file.filename().string();
        const std::size_t materials_before = data.library.materials().size();
        const std::size_t media_before = data.library.media().size();
        try {
            data.library.add_file(file.string());
        } catch (const std::exception& e) {
            // The library names a repeated material by its index only; a name defined in two files
            // is worth saying with both file names. Only this failure path reads the file again.
            std::vector<std::shared_ptr<standalone_host::CJsonDescription>> alone;
            try {
                alone = standalone_host::load_materials(file.string());
            } catch (const std::exception&) {
            }
            for (const auto& d : alone)
                if (const auto it = file_of_name.find(d->name_utf8()); it != file_of_name.end())
                    throw command_error("material \"" + d->name_utf8() + "\" is defined in both " + it->second +
                                        " and " + file_name);
            throw command_error(std::string("bad material file: ") + e.what());
        }
        const auto& all = data.library.materials();
        for (std::size_t i = materials_before; i < all.size(); ++i) {
            file_of_name.emplace(all[i]->name_utf8(), file_name);
            data.materials.push_back({all[i], file_name, all[i]->identifier_utf8()});
        }
        const auto& media = data.library.media();
        for (std::size_t i = media_before; i < media.size(); ++i) data.media.push_back({media[i], file_name});
    }
    return data;
}

// ---- creating a material through the factory --------------------------------------------------------

struct creation {
    std::int32_t status = MP_STATUS_OK;
    const char* operation = "";
    bool created = false;
};

// Creates one material (registered) through the factory operation that serves its kind.
creation create_material(I_medium_physics& factory, const std::shared_ptr<IHostDescription>& description,
                         const std::string& kind) {
    description_array one(1);
    one[0] = description;
    fluid_ptr fluid;
    creation c;
    const auto fluid_result = [&](const char* operation, std::int32_t status) {
        c.operation = operation;
        c.status = status;
        c.created = status == MP_STATUS_OK && fluid != nullptr;
        return c;
    };
    if (kind == "ideal_gas")
        return fluid_result("CreateIdealGasThermodynamics", factory.CreateIdealGasThermodynamics(one, true, fluid));
    if (kind == "perfect_gas")
        return fluid_result("CreatePerfectGasThermodynamics", factory.CreatePerfectGasThermodynamics(one, true, fluid));
    if (kind == "incompressible_liquid")
        return fluid_result("CreateIncompressibleLiquidThermodynamics",
                            factory.CreateIncompressibleLiquidThermodynamics(one, true, fluid));
    if (kind == "non_newtonian_liquid")
        return fluid_result("CreateNonNewtonianLiquidThermodynamics",
                            factory.CreateNonNewtonianLiquidThermodynamics(one, true, fluid));
    if (kind == "compressible_liquid")
        return fluid_result("CreateCompressibleLiquidThermodynamics",
                            factory.CreateCompressibleLiquidThermodynamics(one, true, fluid));
    if (kind == "real_gas")
        return fluid_result("CreateRealGasThermodynamics",
                            factory.CreateRealGasThermodynamics(description, description_array(), true, fluid));
    if (kind == "hypersonic_gas")
        return fluid_result("CreateHypersonicGasThermodynamics",
                            factory.CreateHypersonicGasThermodynamics(description, true, fluid));
    if (kind == "combustible")
        return fluid_result("CreateCombustibleThermodynamics",
                            factory.CreateCombustibleThermodynamics(description, MP_KIND_COMBUSTIBLE_PT, 0.0, 0, true,
                                                                    fluid));
    // Solids are not registered media; the factory keeps their substance, and that is what a saved
    // stream holds of them. Principal axes: the coordinate axes.
    if (kind == "heatconducting_solid") {
        std::shared_ptr<MED_PHYSICS::I_heatconducting_solid> solid;
        c.operation = "CreateHeatConductingSolid";
        c.status = factory.CreateHeatConductingSolid(description, kCoordinateAxes, solid);
        c.created = c.status == MP_STATUS_OK && solid != nullptr;
        return c;
    }
    if (kind == "electroconducting_solid") {
        std::shared_ptr<MED_PHYSICS::I_electroconducting_solid> solid;
        c.operation = "CreateElectroConductingSolid";
        c.status = factory.CreateElectroConductingSolid(description, kCoordinateAxes, solid);
        c.created = c.status == MP_STATUS_OK && solid != nullptr;
        return c;
    }
    // Any kind the material schema may add before the library serves it.
    c.operation = "(none)";
    c.status = MP_STATUS_UNSUPPORTED;
    return c;
}

// ---- info -------------------------------------------------------------------------------------------

std::string pad(const std::string& s, std::size_t width) {
    return s.size() >= width ? s : s + std::string(width - s.size(), ' ');
}
std::string pad_left(const std::string& s, std::size_t width) {
    return s.size() >= width ? s : std::string(width - s.size(), ' ') + s;
}

// The shortest text that reads back as the same double: what the comma-separated output and the
// lists give, so that a script loses nothing.
std::string exact_number(double value) {
    std::array<char, 64> buffer{};
    const auto result = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value);
    return std::string(buffer.data(), result.ptr);
}

// Seven significant digits: more than any built-in property table holds, few enough to read.
std::string table_number(double value) {
    std::array<char, 64> buffer{};
    std::snprintf(buffer.data(), buffer.size(), "%.7g", value);
    return buffer.data();
}

// "N2 0.7, O2 0.15, ..."
std::string substance_list(const standalone_host::medium_definition& medium) {
    std::string out;
    for (std::size_t i = 0; i < medium.substances.size(); ++i) {
        if (i > 0) out += ", ";
        out += medium.substances[i];
        if (i < medium.mass_fractions.size()) out += " " + exact_number(medium.mass_fractions[i]);
    }
    return out;
}

int run_info(const std::string& data_option) {
    std::cout << "medium-physics " << MP_VERSION << "\n\n";

    std::cout << "Medium kinds (the code is what a saved stream stores for each medium):\n";
    std::size_t class_width = 5;
    for (std::int32_t k = 0; k < kMediumKindCount; ++k)
        class_width = std::max(class_width, std::string(thermo::kind_class_name(k)).size());
    std::cout << "  code  " << pad("class", class_width) << "  display name\n";
    for (std::int32_t k = 0; k < kMediumKindCount; ++k)
        std::cout << "  " << pad_left(std::to_string(k), 4) << "  " << pad(thermo::kind_class_name(k), class_width)
                  << "  " << thermo::kind_display_name(k) << "\n";

    const data_directory dir = resolve_data_directory(data_option);
    std::cout << "\nBuilt-in materials (" << dir.path.string() << "):\n";
    std::cout.flush();
    const builtin_data data = load_builtin_data(dir);
    const std::vector<material>& materials = data.materials;
    if (materials.empty()) {
        std::cout << "  none yet\n";
    } else {
        std::size_t name_width = 4, kind_width = 4, id_width = 10;
        for (const auto& m : materials) {
            name_width = std::max(name_width, m.description->name_utf8().size());
            kind_width = std::max(kind_width, m.description->kind().size());
            id_width = std::max(id_width, m.identifier.size());
        }
        std::cout << "  " << pad("name", name_width) << "  " << pad("kind", kind_width) << "  "
                  << pad("identifier", id_width) << "  file\n";
        for (const auto& m : materials)
            std::cout << "  " << pad(m.description->name_utf8(), name_width) << "  "
                      << pad(m.description->kind(), kind_width) << "  " << pad(m.identifier, id_width) << "  "
                      << m.file << "\n";
    }
    if (!data.media.empty()) {
        std::cout << "\nBuilt-in media (a kind and its materials with their default mass fractions):\n";
        std::size_t name_width = 4, kind_width = 4, file_width = 4;
        for (const auto& m : data.media) {
            name_width = std::max(name_width, m.definition.name.size());
            kind_width = std::max(kind_width, m.definition.kind.size());
            file_width = std::max(file_width, m.file.size());
        }
        std::cout << "  " << pad("name", name_width) << "  " << pad("kind", kind_width) << "  "
                  << pad("file", file_width) << "  substances (mass fraction)\n";
        for (const auto& m : data.media)
            std::cout << "  " << pad(m.definition.name, name_width) << "  " << pad(m.definition.kind, kind_width)
                      << "  " << pad(m.file, file_width) << "  " << substance_list(m.definition) << "\n";
        std::cout << "\n'props' and 'invert' take a medium's name, or a fluid material's name (the material alone); "
                     "'viscosity' a non-Newtonian one's; 'solid' takes a solid's name.\n";
    }
    std::cout << "\n'" << kObsoleteCavitationName
              << "' is also accepted by 'save': the obsolete cavitation placeholder (kind 10), which needs no "
                 "material data.\n";
    std::cout << "'" << kEquilibriumAirName
              << "' is accepted by 'props' (--rho or --p): air in chemical equilibrium from the library's engine, "
                 "beside the hypersonic medium's built-in tables.\n";
    return kExitOk;
}

// ---- save -------------------------------------------------------------------------------------------

int run_save(const std::string& data_option, const std::string& output, const std::vector<std::string>& media,
             bool verbose) {
    // Resolve every name before anything is created, so that one run reports all unknown names.
    const bool needs_materials = std::any_of(media.begin(), media.end(),
                                             [](const std::string& m) { return m != kObsoleteCavitationName; });
    builtin_data data;
    if (needs_materials) data = load_builtin_data(resolve_data_directory(data_option));
    const std::vector<material>& materials = data.materials;
    std::vector<const material*> chosen;
    std::vector<std::string> unknown;
    for (const auto& name : media) {
        if (name == kObsoleteCavitationName) {
            chosen.push_back(nullptr);
            continue;
        }
        const auto it = std::find_if(materials.begin(), materials.end(),
                                     [&](const material& m) { return m.description->name_utf8() == name; });
        if (it == materials.end()) unknown.push_back(name);
        else chosen.push_back(&*it);
    }
    if (!unknown.empty()) {
        std::string message = unknown.size() > 1 ? "unknown media:" : "unknown medium:";
        for (const auto& n : unknown) message += " \"" + n + "\"";
        message += "\nknown media: ";
        for (const auto& m : materials) message += m.description->name_utf8() + ", ";
        message += kObsoleteCavitationName;
        message += " (see 'medium-physics info')";
        throw command_error(message);
    }

    captured_log log(verbose);
    std::shared_ptr<I_medium_physics> factory;
    if (create_medium_physics(factory, std::make_shared<standalone_host::CStandaloneHost>()) != MP_STATUS_OK || !factory)
        throw command_error("the factory could not be created");

    std::size_t solids = 0;
    for (std::size_t i = 0; i < media.size(); ++i) {
        creation c;
        std::string kind;
        if (chosen[i] == nullptr) {
            kind = "obsolete cavitation";
            fluid_ptr fluid;
            c.operation = "CreateCavitationObsoleteThermodynamics";
            c.status = factory->CreateCavitationObsoleteThermodynamics(0.0, true, fluid);
            c.created = c.status == MP_STATUS_OK && fluid != nullptr;
        } else {
            kind = chosen[i]->description->kind();
            c = create_material(*factory, chosen[i]->description, kind);
        }
        if (c.created) {
            if (kind == "heatconducting_solid" || kind == "electroconducting_solid") ++solids;
            continue;
        }
        std::string message = "cannot create \"" + media[i] + "\" (kind " + kind + "): ";
        if (c.status == MP_STATUS_UNSUPPORTED || c.status == MP_STATUS_OK)
            message += "this build does not provide media of this kind";
        else
            message += "the factory failed to create it";
        message += " (" + std::string(c.operation) + " returned status " + std::to_string(c.status) + ")";
        std::cerr << "medium-physics save: " << message << "\n";
        log.print_to_stderr("  library log: ");
        std::cerr << "medium-physics save: nothing written\n";
        return kExitFailure;
    }

    // Save into memory first: the file is written only when the whole set saved.
    C_file_io stream;
    stream.open_memory();
    if (const std::int32_t status = factory->Save(stream); status != MP_STATUS_OK) {
        std::cerr << "medium-physics save: saving the factory failed (status " << status << ")\n";
        log.print_to_stderr("  library log: ");
        return kExitFailure;
    }
    const std::vector<std::uint8_t> bytes = stream.memory_bytes();

    std::ofstream file(output, std::ios::binary | std::ios::trunc);
    if (file) file.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    if (file) file.close();
    if (!file) {
        std::error_code ec;
        fs::remove(output, ec);
        throw command_error("cannot write " + output);
    }
    // Solids are not media: the stream holds their substance only.
    const std::size_t fluids = media.size() - solids;
    std::cout << "saved " << fluids << (fluids == 1 ? " medium" : " media");
    if (solids > 0) std::cout << " and " << solids << (solids == 1 ? " solid" : " solids");
    std::cout << " to " << output << " (" << bytes.size() << " bytes)\n";
    return kExitOk;
}

// ---- inspect ----------------------------------------------------------------------------------------

// One record of the report split into columns, when its text has the form the factory uses for
// entries: "tag 11 (cache name) GUID" or "kind 10 (display name) GUID".
struct entry_columns {
    std::string code;  // "tag 11", "kind 10"
    std::string name;
    std::string rest;  // the identifier, or what happened to the entry
};

std::optional<entry_columns> split_entry(const std::string& text) {
    static const std::regex entry(R"(^((?:tag|kind) -?[0-9]+) \((.*)\) (\S.*)$)");
    std::smatch m;
    if (!std::regex_match(text, m, entry)) return std::nullopt;
    return entry_columns{m[1].str(), m[2].str(), m[3].str()};
}

int run_inspect(const std::string& path, bool verbose) {
    std::error_code ec;
    if (!fs::is_regular_file(path, ec)) throw command_error("cannot open " + path + ": no such file");
    const std::uint64_t total = fs::file_size(path, ec);
    if (ec) throw command_error("cannot read " + path + ": " + ec.message());

    load_report report;
    std::int32_t status = MP_STATUS_FAILURE;
    std::uint64_t end_of_record = 0;
    {
        captured_log log(verbose);
        C_file_io stream;
        try {
            stream.open(CHostString::from_utf8(path), CHostString(u"rb"));
        } catch (const std::exception& e) {
            throw command_error("cannot open " + path + ": " + e.what());
        }
        status = inspect_factory_stream(stream, std::make_shared<standalone_host::CStandaloneHost>(), report);
        if (status == MP_STATUS_OK) {
            try {
                end_of_record = stream.tell();
            } catch (const std::exception&) {
                end_of_record = total;
            }
        }
    }
    const bool failed = status != MP_STATUS_OK || report.failed;

    std::cout << path << ": " << total << " bytes, a saved factory stream\n\n";

    // Where each record ends: the next record's start, or the end of the factory record, or the
    // start of the record that failed.
    const std::uint64_t last_end = failed ? report.failure_offset : end_of_record;
    std::size_t offset_width = std::max<std::size_t>(6, std::to_string(std::max(total, last_end)).size());
    std::size_t code_width = 0, name_width = 0;
    for (const auto& item : report.items)
        if (const auto e = split_entry(item.text)) {
            code_width = std::max(code_width, e->code.size());
            name_width = std::max(name_width, e->name.size());
        }

    if (report.items.empty())
        std::cout << "no record could be read\n";
    else
        std::cout << pad_left("offset", offset_width) << "  " << pad_left("size", offset_width) << "  record\n";
    std::size_t substances = 0, media = 0;
    for (std::size_t i = 0; i < report.items.size(); ++i) {
        const auto& item = report.items[i];
        const std::uint64_t end = i + 1 < report.items.size() ? report.items[i + 1].offset : last_end;
        const std::string size = end >= item.offset ? std::to_string(end - item.offset) : "?";
        std::cout << pad_left(std::to_string(item.offset), offset_width) << "  " << pad_left(size, offset_width) << "  "
                  << std::string(2 * static_cast<std::size_t>(std::max(item.depth, 0)), ' ');
        if (const auto e = split_entry(item.text)) {
            std::cout << pad(e->code, code_width) << "  " << pad(e->name, name_width) << "  " << e->rest << "\n";
            if (e->rest != "skipped" && e->code.rfind("tag", 0) == 0) ++substances;
            if (e->code.rfind("kind", 0) == 0) ++media;
        } else {
            std::cout << item.text << "\n";
        }
    }

    if (failed) {
        std::cout << "\nerror: the record at offset " << report.failure_offset << " does not load: "
                  << (report.failure_reason.empty() ? std::string("no reason given") : report.failure_reason) << "\n"
                  << "       reading stopped at stream position " << report.stream_position << " of " << total
                  << " bytes\n";
        return kExitFailure;
    }
    std::cout << pad_left(std::to_string(end_of_record), offset_width) << "  " << std::string(offset_width, ' ')
              << "  end of the factory record\n\n";
    std::cout << "total: " << total << " bytes; loads with " << substances
              << (substances == 1 ? " substance" : " substances") << " and " << media
              << (media == 1 ? " medium" : " media") << "\n";
    std::cout << "(offsets and sizes in bytes; tag: the substance cache an entry belongs to; kind: the medium "
                 "kind code, see 'medium-physics info')\n";
    if (end_of_record < total)
        std::cout << "note: " << (total - end_of_record)
                  << " bytes after the end of the factory record are not part of it\n";
    return kExitOk;
}

// ---- numbers on the command line ----------------------------------------------------------------

// The whole text as a double (std::from_chars: no leading '+' or spaces; "nan" and "inf" read).
std::optional<double> parse_number(std::string_view text) {
    double value = 0.0;
    const char* end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, value);
    if (result.ec != std::errc() || result.ptr != end) return std::nullopt;
    return value;
}

std::vector<std::string_view> split(std::string_view text, char separator) {
    std::vector<std::string_view> parts;
    for (std::size_t start = 0;;) {
        const std::size_t at = text.find(separator, start);
        parts.push_back(text.substr(start, at == std::string_view::npos ? std::string_view::npos : at - start));
        if (at == std::string_view::npos) return parts;
        start = at + 1;
    }
}

// The syntax of --T and --shear: one number, or three numbers FROM:TO:STEP. The values are judged
// later, where a wrong one is a bad request (exit 1) rather than a malformed command line (exit 2).
std::string check_range_syntax(const std::string& text, const std::string& single) {
    const auto parts = split(text, ':');
    if (parts.size() != 1 && parts.size() != 3) return "expected " + single + " or FROM:TO:STEP, not " + text;
    for (const auto part : parts)
        if (!parse_number(part))
            return "\"" + std::string(part) + "\" is not a number" + (parts.size() > 1 ? " (in " + text + ")" : "");
    return {};
}

constexpr double kMaxRows = 100000;

std::vector<double> temperatures_of(const std::string& text) {
    const auto parts = split(text, ':');
    std::vector<double> values;
    for (const auto part : parts) values.push_back(parse_number(part).value_or(std::nan("")));
    for (const double v : values)
        if (!std::isfinite(v)) throw command_error("--T " + text + ": every value must be a finite number");
    if (values.size() == 1) {
        if (values[0] <= 0.0) throw command_error("--T " + text + ": the temperature must be above 0 K");
        return values;
    }
    const double from = values[0], to = values[1], step = values[2];
    if (step <= 0.0) throw command_error("--T " + text + ": STEP must be greater than 0");
    if (from > to) throw command_error("--T " + text + ": FROM must not be greater than TO");
    if (from <= 0.0) throw command_error("--T " + text + ": the temperatures must be above 0 K");
    // TO itself is a row when the steps reach it up to rounding (0.1:0.3:0.1 has three rows).
    const double rows = std::floor((to - from) / step * (1.0 + 1e-12)) + 1.0;
    if (!(rows <= kMaxRows))
        throw command_error("--T " + text + ": about " + table_number(rows) + " rows; at most " +
                            table_number(kMaxRows) + " (use a larger STEP)");
    std::vector<double> out;
    for (int i = 0; i < static_cast<int>(rows); ++i) out.push_back(from + step * i);
    return out;
}

void require_positive(const char* option, double value, const char* unit) {
    if (!std::isfinite(value) || value <= 0.0)
        throw command_error(std::string(option) + " " + exact_number(value) + ": must be a finite number above 0 " +
                            unit);
}

// ---- output -------------------------------------------------------------------------------------

// Right-aligned columns under their headers, or comma-separated values with a header row.
void print_rows(const std::vector<std::string>& headers, const std::vector<std::vector<std::string>>& rows, bool csv) {
    if (csv) {
        const auto line = [](const std::vector<std::string>& cells) {
            std::string out;
            for (std::size_t i = 0; i < cells.size(); ++i) out += (i > 0 ? "," : "") + cells[i];
            return out;
        };
        std::cout << line(headers) << "\n";
        for (const auto& row : rows) std::cout << line(row) << "\n";
        return;
    }
    std::vector<std::size_t> widths;
    for (const auto& h : headers) widths.push_back(h.size());
    for (const auto& row : rows)
        for (std::size_t i = 0; i < row.size() && i < widths.size(); ++i)
            widths[i] = std::max(widths[i], row[i].size());
    const auto line = [&](const std::vector<std::string>& cells) {
        std::string out;
        for (std::size_t i = 0; i < cells.size(); ++i) out += (i > 0 ? "  " : "") + pad_left(cells[i], widths[i]);
        return out;
    };
    std::cout << line(headers) << "\n";
    for (const auto& row : rows) std::cout << line(row) << "\n";
}

// What the library wrote while answering, each distinct line once and in order ("library: ..."),
// with how often it came when it repeated (a range of temperatures can give one warning per row).
void print_library_lines(const std::vector<std::string>& lines, std::ostream& out) {
    std::vector<std::pair<std::string, int>> distinct;
    for (std::string text : lines) {
        while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) text.pop_back();
        const auto it = std::find_if(distinct.begin(), distinct.end(), [&](const auto& d) { return d.first == text; });
        if (it != distinct.end()) ++it->second;
        else distinct.emplace_back(std::move(text), 1);
    }
    for (const auto& [text, count] : distinct)
        out << "library: " << text << (count > 1 ? " (" + std::to_string(count) + " times)" : std::string()) << "\n";
}

// ---- opening a fluid medium ---------------------------------------------------------------------

// MEDIUM on the command line: a name known to the data, FILE.json (the file's one medium), or
// FILE.json:NAME. A name that ends in ".json" is taken for a file: no built-in name does.
struct medium_argument {
    std::string file;  // empty: a name
    std::string name;  // empty with a file: the file's one medium
};

medium_argument parse_medium_argument(const std::string& text) {
    constexpr std::string_view suffix = ".json";
    if (text.size() >= suffix.size() && text.compare(text.size() - suffix.size(), suffix.size(), suffix) == 0)
        return {text, {}};
    // The last ".json:" splits, so that a directory name may contain one.
    if (const std::size_t at = text.rfind(".json:"); at != std::string::npos)
        return {text.substr(0, at + suffix.size()), text.substr(at + suffix.size() + 1)};
    return {{}, text};
}

bool is_solid_kind(const std::string& kind) {
    return kind == "heatconducting_solid" || kind == "electroconducting_solid";
}

std::string names_of(const std::vector<std::string>& names) {
    std::string out;
    for (const auto& n : names) out += (out.empty() ? "" : ", ") + n;
    return out.empty() ? "none" : out;
}

// The medium MEDIUM stands for. A file is added to the library after the built-in data, so its
// media may use the built-in materials.
standalone_host::medium_definition find_fluid_medium(builtin_data& data, const std::string& text) {
    const medium_argument arg = parse_medium_argument(text);
    auto& library = data.library;
    std::optional<standalone_host::medium_definition> found;
    if (arg.file.empty()) {
        found = library.find_medium(arg.name);
        if (!found) {
            std::vector<std::string> fluids;
            for (const auto& m : data.media) fluids.push_back(m.definition.name);
            throw command_error("unknown medium \"" + arg.name + "\"\nknown media: " + names_of(fluids) +
                                " (and the fluid materials; see 'medium-physics info')");
        }
    } else {
        std::error_code ec;
        if (!fs::is_regular_file(arg.file, ec)) throw command_error("cannot open " + arg.file + ": no such file");
        const std::size_t materials_before = library.materials().size();
        const std::size_t media_before = library.media().size();
        try {
            library.add_file(arg.file);
        } catch (const std::exception& e) {
            throw command_error(std::string("bad medium file: ") + e.what());
        }
        std::vector<standalone_host::medium_definition> media(library.media().begin() +
                                                                  static_cast<std::ptrdiff_t>(media_before),
                                                              library.media().end());
        // A file without media may still hold one fluid material: that material alone is its medium.
        if (media.empty())
            for (std::size_t i = materials_before; i < library.materials().size(); ++i)
                if (const auto& m = library.materials()[i]; !is_solid_kind(m->kind()))
                    media.push_back(*library.find_medium(m->name_utf8()));
        std::vector<std::string> names;
        for (const auto& m : media) names.push_back(m.name);
        if (arg.name.empty()) {
            if (media.size() != 1)
                throw command_error(arg.file + " holds " + std::to_string(media.size()) + " media (" + names_of(names) +
                                    "); name one as " + arg.file + ":NAME");
            found = media.front();
        } else {
            const auto it = std::find_if(media.begin(), media.end(), [&](const auto& m) { return m.name == arg.name; });
            if (it == media.end())
                throw command_error(arg.file + " has no medium \"" + arg.name + "\"; it holds: " + names_of(names));
            found = *it;
        }
    }
    if (is_solid_kind(found->kind))
        throw command_error("\"" + found->name + "\" is a solid (" + found->kind +
                            "), not a fluid; see 'medium-physics solid " + found->name + " --T T'");
    return *found;
}

// A fluid medium created through a fresh factory, with its pressure-based solver interface.
struct open_fluid {
    std::shared_ptr<I_medium_physics> factory;  // first: destroyed after the medium it made
    standalone_host::medium_definition definition;
    fluid_ptr medium;
    std::shared_ptr<I_solver__thermodynamics_P_H> solver;
    // Set when the medium's viscosity depends on the shear rate: its plain viscosity is then a
    // sentinel, not a value to show.
    std::shared_ptr<I_solver__incompressible_non_newton_liquid> non_newtonian;
};

open_fluid open_fluid_medium(const std::string& data_option, const std::string& text) {
    builtin_data data = load_builtin_data(resolve_data_directory(data_option));
    open_fluid fluid;
    fluid.definition = find_fluid_medium(data, text);
    if (create_medium_physics(fluid.factory, std::make_shared<standalone_host::CStandaloneHost>()) != MP_STATUS_OK ||
        !fluid.factory)
        throw command_error("the factory could not be created");
    std::string why;
    // Nothing is saved, so the medium need not be registered with the factory.
    const std::int32_t status =
        standalone_host::create_medium(*fluid.factory, data.library, fluid.definition, false, fluid.medium, &why);
    const std::string cannot = "cannot create \"" + fluid.definition.name + "\" (kind " + fluid.definition.kind + "): ";
    // A kind the library does not build yet is not a fault of the data: say so in the words 'save' uses.
    if (status == MP_STATUS_UNSUPPORTED)
        throw command_error(cannot + "this build does not provide media of this kind (status 2)");
    if (status != MP_STATUS_OK || !fluid.medium) throw command_error(cannot + why);
    std::any request = std::shared_ptr<I_solver__thermodynamics_P_H>();
    if (fluid.medium->query_interface(request) != MP_STATUS_OK)
        throw command_error("\"" + fluid.definition.name + "\" (kind " + fluid.definition.kind +
                            ") does not answer the pressure-based property operations");
    fluid.solver = std::any_cast<std::shared_ptr<I_solver__thermodynamics_P_H>>(request);
    std::any shear = std::shared_ptr<I_solver__incompressible_non_newton_liquid>();
    if (fluid.medium->query_interface(shear) == MP_STATUS_OK)
        fluid.non_newtonian = std::any_cast<std::shared_ptr<I_solver__incompressible_non_newton_liquid>>(shear);
    return fluid;
}

// --Y when given (one value per substance, each in [0, 1], adding up to 1), else the medium's own.
std::vector<double> mass_fractions_of(const standalone_host::medium_definition& medium, const std::vector<double>& Y,
                                      bool given) {
    if (!given) return medium.mass_fractions;
    if (Y.size() != medium.substances.size())
        throw command_error("--Y has " + std::to_string(Y.size()) + (Y.size() == 1 ? " value" : " values") + "; \"" +
                            medium.name + "\" has " + std::to_string(medium.substances.size()) +
                            (medium.substances.size() == 1 ? " substance" : " substances") + " (" +
                            names_of(medium.substances) + ")");
    double sum = 0.0;
    for (const double y : Y) {
        if (!std::isfinite(y) || y < 0.0 || y > 1.0)
            throw command_error("--Y: " + exact_number(y) + " is not a mass fraction (0 to 1)");
        sum += y;
    }
    // The mixing rules assume the fractions make up the whole mass.
    if (std::fabs(sum - 1.0) > 1e-6)
        throw command_error("--Y: the mass fractions add up to " + exact_number(sum) + ", not 1");
    return Y;
}

std::string describe(const standalone_host::medium_definition& medium, const std::vector<double>& Y) {
    standalone_host::medium_definition shown = medium;
    shown.mass_fractions = Y;
    return medium.name + " (" + medium.kind + "), mass fractions: " + substance_list(shown);
}

// A non-Newtonian liquid is an incompressible one too: its density depends on temperature only.
bool is_incompressible(const standalone_host::medium_definition& medium) {
    return medium.kind == "incompressible_liquid" || medium.kind == "non_newtonian_liquid";
}

constexpr const char* kIncompressibleNote =
    "is an incompressible liquid: gamma, M and a are not defined for it and are shown as 0";
constexpr const char* kCompressibleNote = "is a compressible liquid: M is not defined for it and is shown as 0";

// What the library answers as the viscosity of a medium whose viscosity needs a shear rate. The
// table shows "n/a" instead, so that nobody copies 1e+40 into a calculation; --csv keeps the raw
// value, since a script must see exactly what a solver would get.
constexpr const char* kNoShearMu = "n/a";

// The footnotes under a property table, one line each.
std::vector<std::string> notes_of(const open_fluid& fluid, const std::string& argument) {
    std::vector<std::string> notes;
    const std::string& name = fluid.definition.name;
    if (is_incompressible(fluid.definition)) notes.push_back(name + " " + kIncompressibleNote);
    if (fluid.definition.kind == "compressible_liquid") notes.push_back(name + " " + kCompressibleNote);
    if (fluid.non_newtonian)
        notes.push_back("mu is " + std::string(kNoShearMu) + ": the viscosity of " + name +
                        " depends on the shear rate (without one the library answers " +
                        table_number(C_inc_non_newtonian_liquid_thermodynamics::kViscositySentinel) +
                        "); see 'medium-physics viscosity " + argument + " --T T --shear FROM:TO:STEP'");
    return notes;
}

void print_notes(const std::vector<std::string>& notes) {
    for (const auto& n : notes) std::cout << "note: " << n << "\n";
}

// ---- props --------------------------------------------------------------------------------------

struct props_request {
    std::string medium;
    double p = 0.0;
    double rho = 0.0;  // equilibrium-air only
    std::string T;
    std::vector<double> Y;
    bool p_given = false;
    bool rho_given = false;
    bool Y_given = false;
    bool csv = false;
};

int run_props(const std::string& data_option, const props_request& request, bool verbose) {
    require_positive("--p", request.p, "Pa");
    const std::vector<double> temperatures = temperatures_of(request.T);
    captured_log log(verbose);
    const open_fluid fluid = open_fluid_medium(data_option, request.medium);
    const std::vector<double> Y = mass_fractions_of(fluid.definition, request.Y, request.Y_given);
    log.discard();  // what creating the medium said is not about these states

    const auto number = request.csv ? exact_number : table_number;
    std::vector<std::vector<std::string>> rows;
    rows.reserve(temperatures.size());
    for (const double T : temperatures) {
        double rho = 0, h = 0, cp = 0, gamma = 0, M = 0, a = 0, mu = 0, lambda = 0;
        fluid.solver->get_properties_p_T(request.p, T, Y.data(), &rho, &h, &cp, &gamma, &M, &a, &mu, &lambda);
        const std::string mu_text = fluid.non_newtonian && !request.csv ? std::string(kNoShearMu) : number(mu);
        rows.push_back({number(request.p), number(T), number(rho), number(h), number(cp), number(gamma), number(M),
                        number(a), mu_text, number(lambda)});
    }
    const std::vector<std::string> headers = {"p [Pa]", "T [K]",      "rho [kg/m3]", "h [J/kg]",  "cp [J/(kg K)]",
                                              "gamma",  "M [kg/mol]", "a [m/s]",     "mu [Pa s]", "lambda [W/(m K)]"};
    if (!request.csv) std::cout << describe(fluid.definition, Y) << "\n";
    print_rows(headers, rows, request.csv);
    if (!request.csv) print_notes(notes_of(fluid, request.medium));
    // Comma-separated output stays parseable: the library's lines go to stderr there.
    print_library_lines(log.take(), request.csv ? std::cerr : std::cout);
    return kExitOk;
}

// ---- props of equilibrium air ---------------------------------------------------------------------

// The results of table_set::state_T_rho, in its order.
enum table_result : int { kTableE = 0, kTableP, kTableA, kTableGamma, kTableCp, kTableM, kTableMu, kTableLambda };

// One state from the engine, and the tables' values at its (T, rho) when it lies inside them.
struct equilibrium_air_point {
    mp::equilibrium::properties engine;
    double mu = 0.0;      // Pa s
    double lambda = 0.0;  // W/(m K)
    bool in_tables = false;
    std::array<double, CHypersonicBuiltInPG::kResultCount> table{};
};

bool inside_tables(const mp::hypersonic::table_layout& layout, double T, double rho) {
    return T >= layout.T_min && T <= layout.T_max && rho >= layout.rho_low && rho <= layout.rho_high();
}

std::string tables_range(const mp::hypersonic::table_layout& layout) {
    return "T " + table_number(layout.T_min) + " to " + table_number(layout.T_max) + " K, rho " +
           table_number(layout.rho_low) + " to " + table_number(layout.rho_high()) + " kg/m3";
}

// The temperatures the species data cover (beyond them the engine carries the end ranges on).
std::pair<double, double> species_data_range() {
    const auto& set = mp::equilibrium::air::species();
    double low = std::numeric_limits<double>::infinity(), high = 0.0;
    for (int j = 0; j < set.species_count(); ++j) {
        const auto& thermo = set.at(j).thermo;
        low = std::min(low, thermo.bounds[0]);
        high = std::max(high, thermo.bounds[thermo.range_count]);
    }
    return {low, high};
}

// Solves one state: at (T, rho), or at (T, p) and then the tables at the density found.
equilibrium_air_point solve_equilibrium_air(const mp::equilibrium::mixture& air,
                                            const mp::hypersonic::table_set* tables, const props_request& request,
                                            double T, captured_log& log) {
    namespace eq = mp::equilibrium;
    eq::state st;
    const eq::status s = request.rho_given ? air.solve_T_rho(T, request.rho, st, false)
                                           : air.solve_T_p(T, request.p, st, false);
    equilibrium_air_point point;
    std::string failure;
    if (!eq::succeeded(s)) {
        failure = s == eq::status::invalid_input ? "the equilibrium engine refused the input"
                                                 : "the equilibrium engine did not converge";
        const auto [low, high] = species_data_range();
        if (T < low || T > high)
            failure += " (its species data cover " + table_number(low) + " to " + table_number(high) + " K)";
    } else if (!air.evaluate(st, point.engine)) {
        failure = "the equilibrium engine solved the composition but could not evaluate its properties";
    } else if (!eq::air::transport(T, point.engine.x, point.mu, point.lambda)) {
        failure = "the viscosity and conductivity of the equilibrium composition could not be computed";
    }
    if (!failure.empty()) {
        std::ostringstream message;
        message << kEquilibriumAirName << " at T = " << exact_number(T) << " K, "
                << (request.rho_given ? "rho = " + exact_number(request.rho) + " kg/m3"
                                      : "p = " + exact_number(request.p) + " Pa")
                << ": " << failure << "\n";
        print_library_lines(log.take(), message);
        std::string text = message.str();
        text.pop_back();  // the error printer ends the line
        throw command_error(text);
    }
    if (tables && inside_tables(tables->layout(), T, point.engine.rho)) {
        point.in_tables = true;
        tables->state_T_rho(T, point.engine.rho, point.table.data());
    }
    return point;
}

// Lines of cells: the first left-aligned, the others right-aligned under each other; a line of one
// cell is a heading and is printed as it is.
void print_aligned(const std::vector<std::vector<std::string>>& lines) {
    std::vector<std::size_t> widths;
    for (const auto& cells : lines) {
        if (cells.size() < 2) continue;
        if (widths.size() < cells.size()) widths.resize(cells.size(), 0);
        for (std::size_t i = 0; i < cells.size(); ++i) widths[i] = std::max(widths[i], cells[i].size());
    }
    for (const auto& cells : lines) {
        std::string out = "  ";
        if (cells.size() < 2) {
            out += cells.empty() ? std::string() : cells[0];
        } else {
            for (std::size_t i = 0; i < cells.size(); ++i)
                out += i == 0 ? pad(cells[i], widths[i]) : "  " + pad_left(cells[i], widths[i]);
        }
        while (!out.empty() && out.back() == ' ') out.pop_back();
        std::cout << out << "\n";
    }
}

// (tables - engine) / engine in percent.
std::string relative_difference(double table, double engine) {
    std::array<char, 64> buffer{};
    std::snprintf(buffer.data(), buffer.size(), "%+.2g %%", 100.0 * (table - engine) / engine);
    return buffer.data();
}

void print_equilibrium_air_point(const equilibrium_air_point& point, const props_request& request,
                                 const mp::hypersonic::table_set* tables) {
    const auto& e = point.engine;
    const auto& t = point.table;
    std::cout << "T = " << table_number(e.T) << " K, ";
    if (request.rho_given) std::cout << "rho = " << table_number(e.rho) << " kg/m3\n";
    else std::cout << "p = " << table_number(request.p) << " Pa: rho = " << table_number(e.rho) << " kg/m3\n";
    if (!tables) std::cout << "  (the built-in tables are not available in this build)\n";
    else if (!point.in_tables)
        std::cout << "  outside the tables (" << tables_range(tables->layout()) << "): the engine alone\n";

    struct quantity {
        const char* name;
        double engine;
        int table;  // a table_result, or -1: not a table value
    };
    const quantity quantities[] = {
        {"p [Pa]", e.p, kTableP},           {"T [K]", e.T, -1},
        {"rho [kg/m3]", e.rho, -1},         {"e [J/kg]", e.e, kTableE},
        {"h [J/kg]", e.h, -1},              {"cp [J/(kg K)]", e.cp, kTableCp},
        {"gamma", e.gamma, kTableGamma},    {"M [kg/mol]", e.molar_mass, kTableM},
        {"a [m/s]", e.sound_speed, kTableA}, {"mu [Pa s]", point.mu, kTableMu},
        {"lambda [W/(m K)]", point.lambda, kTableLambda},
    };
    std::vector<std::vector<std::string>> lines;
    if (point.in_tables) lines.push_back({"", "engine", "tables", "difference"});
    else lines.push_back({"", "engine"});
    for (const auto& q : quantities) {
        std::vector<std::string> cells = {q.name, table_number(q.engine)};
        if (point.in_tables && q.table >= 0) {
            const double v = t[static_cast<std::size_t>(q.table)];
            cells.push_back(table_number(v));
            cells.push_back(relative_difference(v, q.engine));
        }
        lines.push_back(std::move(cells));
    }
    lines.push_back({"mole fractions:"});
    const auto& set = mp::equilibrium::air::species();
    for (int j = 0; j < set.species_count(); ++j) lines.push_back({set.at(j).name, table_number(e.x[j])});
    print_aligned(lines);
}

std::vector<std::string> equilibrium_air_csv_header() {
    std::vector<std::string> header = {"p", "T", "rho", "e", "h", "cp", "gamma", "M", "a", "mu", "lambda"};
    const auto& set = mp::equilibrium::air::species();
    for (int j = 0; j < set.species_count(); ++j) header.push_back(std::string("x_") + set.at(j).name);
    for (const char* name : {"p", "e", "gamma", "cp", "M", "mu", "lambda"})
        header.push_back(std::string("table_") + name);
    return header;
}

std::vector<std::string> equilibrium_air_csv_row(const equilibrium_air_point& point) {
    const auto& e = point.engine;
    std::vector<std::string> row;
    for (const double v :
         {e.p, e.T, e.rho, e.e, e.h, e.cp, e.gamma, e.molar_mass, e.sound_speed, point.mu, point.lambda})
        row.push_back(exact_number(v));
    const auto& set = mp::equilibrium::air::species();
    for (int j = 0; j < set.species_count(); ++j) row.push_back(exact_number(e.x[j]));
    // Outside the tables these cells stay empty.
    for (const int k : {kTableP, kTableE, kTableGamma, kTableCp, kTableM, kTableMu, kTableLambda})
        row.push_back(point.in_tables ? exact_number(point.table[static_cast<std::size_t>(k)]) : std::string());
    return row;
}

int run_props_equilibrium_air(const props_request& request, bool verbose) {
    // Which of --rho and --p is checked by the caller: that is the shape of the command line.
    if (request.rho_given) require_positive("--rho", request.rho, "kg/m3");
    else require_positive("--p", request.p, "Pa");
    if (request.Y_given)
        throw command_error(std::string("--Y: ") + kEquilibriumAirName +
                            " has a fixed composition (N2 0.79, O2 0.21 by mole before it reacts)");
    const std::vector<double> temperatures = temperatures_of(request.T);
    captured_log log(verbose);
    const mp::equilibrium::mixture air = mp::equilibrium::air::make_air();
    const std::shared_ptr<const mp::hypersonic::table_set> tables = mp::hypersonic::builtin_tables();
    log.discard();  // what reading the tables said is not about these states

    // Every state is solved before anything is printed: a failure leaves no partial output.
    std::vector<equilibrium_air_point> points;
    points.reserve(temperatures.size());
    for (const double T : temperatures) points.push_back(solve_equilibrium_air(air, tables.get(), request, T, log));

    if (request.csv) {
        std::vector<std::vector<std::string>> rows;
        rows.reserve(points.size());
        for (const auto& point : points) rows.push_back(equilibrium_air_csv_row(point));
        print_rows(equilibrium_air_csv_header(), rows, true);
    } else {
        std::cout << kEquilibriumAirName
                  << ": air (N2 0.79, O2 0.21 by mole) in chemical equilibrium over 11 species, from the library's "
                     "equilibrium engine; beside it the hypersonic medium's built-in tables at the same T and rho\n"
                     "e and h include the enthalpies of formation (zero for N2 and O2 at 298.15 K); cp, gamma = "
                     "cp/cv and a are the equilibrium values\n";
        bool any_in_tables = false;
        for (const auto& point : points) {
            std::cout << "\n";
            print_equilibrium_air_point(point, request, tables.get());
            any_in_tables = any_in_tables || point.in_tables;
        }
        if (any_in_tables)
            print_notes({"the tables' a is sqrt(p gamma/rho), as the hypersonic medium answers it; the engine's a is "
                         "the equilibrium speed of sound, sqrt(kappa p/rho) with the isentropic exponent kappa, which "
                         "is below gamma where the composition changes with density"});
    }
    print_library_lines(log.take(), request.csv ? std::cerr : std::cout);
    return kExitOk;
}

// ---- invert -------------------------------------------------------------------------------------

struct invert_request {
    std::string medium;
    double p = 0.0;
    double H = 0.0;
    double G2 = 0.0;
    double T0 = 300.0;
    bool csv = false;
};

int run_invert(const std::string& data_option, const invert_request& request, bool verbose) {
    require_positive("--p", request.p, "Pa");
    require_positive("--T0", request.T0, "K");
    // H is passed as given, even when not finite: what the library answers then is worth seeing.
    if (!std::isfinite(request.G2) || request.G2 < 0.0)
        throw command_error("--G2 " + exact_number(request.G2) + ": must be a finite number of at least 0 kg2/(m4 s2)");
    captured_log log(verbose);
    const open_fluid fluid = open_fluid_medium(data_option, request.medium);
    const std::vector<double>& Y = fluid.definition.mass_fractions;
    log.discard();

    double rho = 0, T = 0, cp = 0, gamma = 0, M = 0, a = 0, mu = 0, lambda = 0, p = 0;
    fluid.solver->get_properties_p_H(request.H, request.p, Y.data(), request.G2, request.T0, &rho, &T, &cp, &gamma, &M,
                                     &a, &mu, &lambda, &p);
    const std::vector<std::string> names = {"T [K]", "rho [kg/m3]", "cp [J/(kg K)]", "gamma", "M [kg/mol]",
                                            "a [m/s]", "mu [Pa s]", "lambda [W/(m K)]", "p [Pa]"};
    const std::vector<double> values = {T, rho, cp, gamma, M, a, mu, lambda, p};
    if (request.csv) {
        std::vector<std::string> row;
        for (const double v : values) row.push_back(exact_number(v));
        print_rows(names, {row}, true);
    } else {
        std::cout << describe(fluid.definition, Y) << "\n"
                  << "from H = " << table_number(request.H) << " J/kg at p = " << table_number(request.p)
                  << " Pa, G2 = " << table_number(request.G2) << " kg2/(m4 s2), start T0 = "
                  << table_number(request.T0) << " K:\n";
        std::size_t width = 0;
        for (const auto& n : names) width = std::max(width, n.size());
        for (std::size_t i = 0; i < names.size(); ++i) {
            const bool no_shear_mu = fluid.non_newtonian && names[i] == "mu [Pa s]";
            std::cout << "  " << pad(names[i], width) << "  " << (no_shear_mu ? kNoShearMu : table_number(values[i]))
                      << "\n";
        }
        print_notes(notes_of(fluid, request.medium));
    }
    print_library_lines(log.take(), request.csv ? std::cerr : std::cout);
    return kExitOk;
}

// ---- viscosity ----------------------------------------------------------------------------------

struct viscosity_request {
    std::string medium;
    double p = 101325.0;
    double T = 0.0;
    std::string shear;
    std::vector<double> Y;
    bool Y_given = false;
    bool csv = false;
    bool log = false;
};

// The shear rates of --shear. Evenly spaced: RATE or FROM:TO:STEP, rates from 0 on, TO included
// when a step reaches it. With --log: RATE or FROM:TO:POINTS, POINTS rates per decade at FROM
// times 10^(k/POINTS); a viscosity curve spans decades of shear rate, and even steps would put
// nearly every row in the last decade.
std::vector<double> shear_rates_of(const std::string& text, bool log) {
    const std::string option = "--shear " + text + (log ? " --log" : "");
    const auto parts = split(text, ':');
    std::vector<double> values;
    for (const auto part : parts) values.push_back(parse_number(part).value_or(std::nan("")));
    for (const double v : values)
        if (!std::isfinite(v)) throw command_error(option + ": every value must be a finite number");
    const double from = values[0];
    if (log && !(from > 0.0)) throw command_error(option + ": logarithmic shear rates must be above 0 1/s");
    if (from < 0.0) throw command_error(option + ": shear rates must not be below 0 1/s");
    if (values.size() == 1) return values;

    const double to = values[1], step = values[2];
    if (from > to) throw command_error(option + ": FROM must not be greater than TO");
    double rows = 0.0;
    if (log) {
        if (!(step >= 1.0) || step != std::floor(step))
            throw command_error(option + ": POINTS (per decade) must be a whole number of at least 1");
        // TO is a row when the points reach it up to rounding (log10 of 1000/0.01 may miss 5 by an ulp).
        rows = std::floor(step * std::log10(to / from) + 1e-9) + 1.0;
    } else {
        if (!(step > 0.0)) throw command_error(option + ": STEP must be greater than 0");
        rows = std::floor((to - from) / step * (1.0 + 1e-12)) + 1.0;
    }
    if (!(rows <= kMaxRows))
        throw command_error(option + ": " + (std::isfinite(rows) ? "about " + table_number(rows) : "too many") +
                            " rows; at most " + table_number(kMaxRows) +
                            (log ? " (use fewer POINTS per decade)" : " (use a larger STEP)"));
    std::vector<double> out;
    for (int i = 0; i < static_cast<int>(rows); ++i) {
        // Whole decades come out exact: pow(10, integer) is exact, so 0.01:1000:2 gives 0.1, 1, 10.
        double rate = log ? from * std::pow(10.0, static_cast<double>(i) / step) : from + step * i;
        if (std::fabs(rate - to) <= 1e-9 * to) rate = to;
        out.push_back(rate);
    }
    return out;
}

int run_viscosity(const std::string& data_option, const viscosity_request& request, bool verbose) {
    require_positive("--T", request.T, "K");
    require_positive("--p", request.p, "Pa");
    const std::vector<double> rates = shear_rates_of(request.shear, request.log);
    captured_log log(verbose);
    const open_fluid fluid = open_fluid_medium(data_option, request.medium);
    if (!fluid.non_newtonian)
        throw command_error("\"" + fluid.definition.name + "\" (kind " + fluid.definition.kind +
                            ") is not a non-Newtonian liquid: its viscosity does not depend on the shear rate; see "
                            "'medium-physics props " + request.medium + " --p P --T T'");
    const std::vector<double> Y = mass_fractions_of(fluid.definition, request.Y, request.Y_given);
    log.discard();

    const auto number = request.csv ? exact_number : table_number;
    std::vector<std::vector<std::string>> rows;
    rows.reserve(rates.size());
    for (const double rate : rates) {
        const double mu = fluid.non_newtonian->get_non_newtonian_viscosity(request.p, request.T, Y.data(), rate);
        rows.push_back({number(rate), number(mu)});
    }
    if (!request.csv)
        std::cout << describe(fluid.definition, Y) << "\n"
                  << "at p = " << table_number(request.p) << " Pa, T = " << table_number(request.T) << " K:\n";
    print_rows({"shear [1/s]", "mu [Pa s]"}, rows, request.csv);
    print_library_lines(log.take(), request.csv ? std::cerr : std::cout);
    return kExitOk;
}

// ---- solid --------------------------------------------------------------------------------------

// The rows of the axes are the principal directions: they must be orthonormal. The tolerance lets
// a user type 0.7071 for a 45-degree rotation.
solid_axes axes_of(const std::vector<double>& values, bool given) {
    if (!given) return kCoordinateAxes;
    if (values.size() != 9)
        throw command_error("--axes needs 9 values (a11,a12,a13,a21,...,a33), not " + std::to_string(values.size()));
    solid_axes axes{};
    std::copy(values.begin(), values.end(), axes.begin());
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) {
            double dot = 0.0;
            for (int k = 0; k < 3; ++k)
                dot += axes[static_cast<std::size_t>(3 * i + k)] * axes[static_cast<std::size_t>(3 * j + k)];
            if (!(std::fabs(dot - (i == j ? 1.0 : 0.0)) <= 1e-3))
                throw command_error("--axes: the rows must be orthonormal (the principal directions); row " +
                                    std::to_string(i + 1) + " times row " + std::to_string(j + 1) + " is " +
                                    exact_number(dot));
        }
    return axes;
}

const char* anisotropy_name(std::int32_t type) {
    switch (type) {
    case 0: return "isotropic";
    case 1: return "orthotropic";
    case 2: return "anisotropic";
    default: return "unknown";
    }
}

int run_solid(const std::string& data_option, const std::string& name, double T, const std::vector<double>& axes_values,
              bool axes_given, bool verbose) {
    require_positive("--T", T, "K");
    const solid_axes axes = axes_of(axes_values, axes_given);
    const builtin_data data = load_builtin_data(resolve_data_directory(data_option));
    const auto description = data.library.find_material(name);
    if (!description || !is_solid_kind(description->kind())) {
        std::vector<std::string> solids;
        for (const auto& m : data.materials)
            if (is_solid_kind(m.description->kind())) solids.push_back(m.description->name_utf8());
        const std::string what = description ? "\"" + name + "\" is not a solid (kind " + description->kind() +
                                                   "); see 'medium-physics props " + name + "'"
                                             : "unknown solid \"" + name + "\"";
        throw command_error(what + "\nknown solids: " + names_of(solids));
    }
    const bool heat = description->kind() == "heatconducting_solid";

    captured_log log(verbose);
    std::shared_ptr<I_medium_physics> factory;
    if (create_medium_physics(factory, std::make_shared<standalone_host::CStandaloneHost>()) != MP_STATUS_OK ||
        !factory)
        throw command_error("the factory could not be created");
    std::shared_ptr<MED_PHYSICS::I_diffusion_coefficient> solid;
    std::string why;
    if (standalone_host::create_solid(*factory, data.library, name, axes, solid, &why) != MP_STATUS_OK || !solid)
        throw command_error("cannot create \"" + name + "\": " + why);
    log.discard();

    std::int32_t count = 0;
    std::array<double, 3> values{};
    std::array<double, 9> axes_out{};
    const std::int32_t type = solid->get_diffusion_coefficient(T, &count, values.data(), axes_out.data());
    const char* unit = heat ? "W/(m K)" : "S/m";

    std::cout << name << " (" << description->kind() << ") at T = " << table_number(T) << " K\n";
    std::cout << "  anisotropy type  " << type << " (" << anisotropy_name(type) << ")\n";
    std::cout << "  components       " << count << "\n";
    std::cout << "  conductivity     ";
    const std::int32_t shown = std::clamp(count, 0, 3);
    for (std::int32_t i = 0; i < shown; ++i)
        std::cout << (i > 0 ? ", " : "") << table_number(values[static_cast<std::size_t>(i)]);
    std::cout << " " << unit << "\n";
    std::size_t width = 0;
    for (const double a : axes_out) width = std::max(width, table_number(a).size());
    for (std::size_t row = 0; row < 3; ++row) {
        std::vector<std::string> cells;
        for (std::size_t col = 0; col < 3; ++col) cells.push_back(table_number(axes_out[3 * row + col]));
        std::cout << "  " << (row == 0 ? "axes             " : "                 ");
        for (std::size_t col = 0; col < 3; ++col) std::cout << (col > 0 ? "  " : "") << pad_left(cells[col], width);
        std::cout << "\n";
    }
    if (heat) {
        std::shared_ptr<MED_PHYSICS::I_heatconducting_solid> material;
        std::any request = material;
        if (solid->query_interface(request) == MP_STATUS_OK) {
            material = std::any_cast<std::shared_ptr<MED_PHYSICS::I_heatconducting_solid>>(request);
            std::cout << "  density          " << table_number(material->get_heat_value_a()) << " kg/m3\n";
            std::cout << "  highest valid T  " << table_number(material->get_heat_value_b()) << " K\n";
            std::cout << "  specific heat    " << table_number(material->get_heat_parameter(T)) << " J/(kg K)\n";
        }
    }
    print_library_lines(log.take(), std::cout);
    return kExitOk;
}


// ---- real-gas fluids (the cubic equation of state) ---------------------------------------------

// The critical data and ideal-gas heat capacities of the built-in real-gas fluids, beside the
// material files: data/thermo/critical_properties.json (each number with its source there).
fs::path critical_data_file() { return fs::path(MP_DATA_DIR).parent_path() / "thermo" / "critical_properties.json"; }

constexpr double kMolarGasConstant = 8.314462618;  // J/(mol K), CODATA 2018
// A saturation pressure at or below this fraction of pc is the binodal's lower bound.
constexpr double kBinodalFloorFraction = 1.0001e-8;

struct real_gas_fluid {
    std::string name;
    double Tc = 0.0, Pc = 0.0, Zc = 0.0, omega = 0.0, M = 0.0;
    bool has_Zc = false;
    // NASA 7-coefficient cp/R on [T0, T1] and [T1, T2]; empty without ideal-gas data
    std::vector<std::array<double, 7>> nasa7;
    std::vector<double> ranges;
    // or a table of cp0 in J/(kg K) against T in K; empty without
    std::vector<double> cp_T, cp_value;
    bool has_ideal_gas_cp() const { return !nasa7.empty() || !cp_T.empty(); }
};

struct real_gas_request {
    std::string fluid;  // empty: the explicit data below
    double Tc = 0.0, Pc = 0.0, Zc = 0.0, omega = 0.0, M = 0.0;
    bool Tc_given = false, Pc_given = false, Zc_given = false, omega_given = false, M_given = false;
    std::int32_t model = 3;
    std::string T;
    double p = 0.0, T_point = 0.0;
    bool csv = false;
    // rgtable
    std::string p_range, T_range, save, load;
    std::int32_t samples = 4000;
    std::uint32_t seed = 1;
};

std::vector<real_gas_fluid> load_real_gas_fluids() {
    const fs::path file = critical_data_file();
    std::ifstream in(file);
    if (!in) throw command_error("cannot open " + file.string());
    nlohmann::json j;
    try {
        j = nlohmann::json::parse(in);
        std::vector<real_gas_fluid> fluids;
        for (const auto& [name, e] : j.at("substances").items()) {
            real_gas_fluid f;
            f.name = name;
            f.Tc = e.at("Tc").get<double>();
            f.Pc = e.at("Pc").get<double>();
            f.omega = e.at("omega").get<double>();
            f.M = e.at("M").get<double>();
            if (e.contains("Zc")) {
                f.Zc = e.at("Zc").get<double>();
                f.has_Zc = true;
            }
            if (e.contains("ideal_gas_cp")) {
                const auto& cp = e.at("ideal_gas_cp");
                if (cp.contains("table")) {
                    f.cp_T = cp.at("table").at("T").get<std::vector<double>>();
                    f.cp_value = cp.at("table").at("value").get<std::vector<double>>();
                    bool ok = f.cp_T.size() >= 2 && f.cp_T.size() == f.cp_value.size();
                    for (std::size_t i = 1; ok && i < f.cp_T.size(); ++i) ok = f.cp_T[i] > f.cp_T[i - 1];
                    if (!ok)
                        throw command_error(file.string() + ": " + name +
                                            ": the ideal-gas cp table needs rising temperatures, one value each");
                } else {
                    f.ranges = cp.at("temperature_ranges").get<std::vector<double>>();
                    for (const auto& row : cp.at("nasa7")) f.nasa7.push_back(row.get<std::array<double, 7>>());
                    if (f.ranges.size() != f.nasa7.size() + 1)
                        throw command_error(file.string() + ": " + name + ": ranges and polynomials do not match");
                }
            }
            fluids.push_back(std::move(f));
        }
        return fluids;
    } catch (const nlohmann::json::exception& e) {
        throw command_error("bad data file " + file.string() + ": " + e.what());
    }
}

// cp0 in J/(kg K): the data's table as it stands, or tabulated from the NASA polynomials every
// 10 K over their ranges; held at the end values outside, as c_1d_param does.
c_1d_param ideal_gas_cp_of(const real_gas_fluid& f) {
    std::vector<double> T = f.cp_T, cp = f.cp_value;
    const double R = kMolarGasConstant / f.M;
    for (std::size_t r = 0; r < f.nasa7.size(); ++r) {
        const auto& a = f.nasa7[r];
        const double from = f.ranges[r], to = f.ranges[r + 1];
        const int n = static_cast<int>(std::lround((to - from) / 10.0));
        for (int i = r == 0 ? 0 : 1; i <= n; ++i) {
            const double t = from + (to - from) * i / n;
            T.push_back(t);
            cp.push_back(R * (a[0] + t * (a[1] + t * (a[2] + t * (a[3] + t * a[4])))));
        }
    }
    c_1d_param p;
    p.set_table(0.0, T, cp);
    p.prepare_integral();
    return p;
}

// The fluid of the command line: a built-in name, or the explicit critical data (all five).
real_gas_fluid resolve_real_gas_fluid(const real_gas_request& r) {
    const bool any_explicit = r.Tc_given || r.Pc_given || r.omega_given || r.M_given;
    real_gas_fluid f;
    if (!r.fluid.empty()) {
        if (any_explicit)
            throw command_error("give either a fluid name or --Tc --pc --Zc --omega --M, not both");
        const auto fluids = load_real_gas_fluids();
        const auto it = std::find_if(fluids.begin(), fluids.end(), [&](const auto& x) { return x.name == r.fluid; });
        if (it == fluids.end()) {
            std::vector<std::string> names;
            for (const auto& x : fluids) names.push_back(x.name);
            throw command_error("unknown fluid \"" + r.fluid + "\"\nknown fluids: " + names_of(names) +
                                " (or give --Tc --pc --Zc --omega --M)");
        }
        f = *it;
    } else {
        if (!(r.Tc_given && r.Pc_given && r.Zc_given && r.omega_given && r.M_given))
            throw command_error("without a fluid name all of --Tc --pc --Zc --omega --M are needed");
        f.name = "(given)";
        f.Tc = r.Tc;
        f.Pc = r.Pc;
        f.omega = r.omega;
        f.M = r.M;
    }
    if (r.Zc_given) {
        f.Zc = r.Zc;
        f.has_Zc = true;
    }
    if (!f.has_Zc) throw command_error(f.name + " has no critical compressibility in the data; give --Zc");
    require_positive("--Tc", f.Tc, "K");
    require_positive("--pc", f.Pc, "Pa");
    require_positive("--M", f.M, "kg/mol");
    if (!std::isfinite(f.Zc) || f.Zc <= 0.0 || f.Zc > 1.0 / 3.0 + 1e-12)
        throw command_error("--Zc " + exact_number(f.Zc) + ": must be above 0 and at most 1/3");
    if (!std::isfinite(f.omega)) throw command_error("--omega must be a finite number");
    return f;
}

std::string describe_real_gas(const real_gas_fluid& f, std::int32_t model) {
    return f.name + ": Tc = " + table_number(f.Tc) + " K, pc = " + table_number(f.Pc) + " Pa, Zc = " +
           table_number(f.Zc) + ", omega = " + table_number(f.omega) + ", M = " + table_number(f.M) +
           " kg/mol; cubic equation of state, model " + std::to_string(model);
}

int run_saturation(const real_gas_request& request, bool verbose) {
    const std::vector<double> temperatures = temperatures_of(request.T);
    const real_gas_fluid f = resolve_real_gas_fluid(request);
    for (const double T : temperatures)
        if (!(T < f.Tc))
            throw command_error("--T " + request.T + ": " + exact_number(T) + " K is not below the critical temperature " +
                                exact_number(f.Tc) + " K of " + f.name);
    captured_log log(verbose);
    CRGPropertyGenerator g;
    g.set_substance(f.Tc, f.Pc, f.M, f.Zc, f.omega, request.model);
    std::vector<std::string> lines = log.take();

    const auto number = request.csv ? exact_number : table_number;
    std::vector<std::vector<std::string>> rows;
    std::vector<std::string> notes;
    for (const double T : temperatures) {
        double psat = 0, vl = 0, vv = 0;
        g.binodal_pont(T, psat, vl, vv);
        // The binodal's bisection does not go below about 1e-8 pc: far below Tc its answer is that
        // bound, not the saturation pressure.
        if (psat > 0.0 && psat <= kBinodalFloorFraction * f.Pc)
            notes.push_back("psat at T = " + table_number(T) +
                            " K is the binodal's lowest pressure (about 1e-8 pc): the saturation pressure of the "
                            "equation lies below it");
        const double pl = g.spinodal_p_liquid(T), pv = g.spinodal_p_vapour(T);
        const bool failed = !(psat > 0.0 && vl > 0.0 && vv > vl);
        if (failed && !request.csv)
            rows.push_back({number(T), "failed", "-", "-", number(pl), number(pv)});
        else
            rows.push_back({number(T), number(psat), number(vl), number(vv), number(pl), number(pv)});
        for (auto& l : log.take()) lines.push_back(std::move(l));
    }
    if (!request.csv) std::cout << describe_real_gas(f, request.model) << "\n";
    print_rows({"T [K]", "psat [Pa]", "v_liquid [m3/kg]", "v_vapour [m3/kg]", "p_spinodal_liquid [Pa]",
                "p_spinodal_vapour [Pa]"},
               rows, request.csv);
    if (!request.csv) print_notes(notes);
    print_library_lines(lines, request.csv ? std::cerr : std::cout);
    return kExitOk;
}

int run_eos(const real_gas_request& request, bool verbose) {
    require_positive("--p", request.p, "Pa");
    require_positive("--T", request.T_point, "K");
    const real_gas_fluid f = resolve_real_gas_fluid(request);
    if (!f.has_ideal_gas_cp())
        throw command_error(f.name + " has no ideal-gas heat capacity in the data (" + critical_data_file().string() +
                            "): its caloric properties cannot be formed; 'saturation' needs none");
    captured_log log(verbose);
    CRGPropertyGenerator g;
    g.set_substance(f.Tc, f.Pc, f.M, f.Zc, f.omega, request.model);
    g.set_ideal_gas_cp(ideal_gas_cp_of(f));
    rg_state s;
    const bool ok = g.state_pT(request.p, request.T_point, s);
    const std::vector<std::string> lines = log.take();
    if (!ok) {
        print_library_lines(lines, std::cerr);
        throw command_error("the state at p = " + exact_number(request.p) + " Pa, T = " + exact_number(request.T_point) +
                            " K cannot be formed");
    }
    const auto number = request.csv ? exact_number : table_number;
    if (!request.csv) std::cout << describe_real_gas(f, request.model) << "\n";
    print_rows({"p [Pa]", "T [K]", "roots", "rho [kg/m3]", "h [J/kg]", "s [J/(kg K)]", "cp [J/(kg K)]", "a [m/s]",
                "Z"},
               {{number(request.p), number(request.T_point), std::to_string(s.roots), number(s.rho), number(s.h),
                 number(s.s), number(s.cp), number(s.w), number(s.Z)}},
               request.csv);
    print_library_lines(lines, request.csv ? std::cerr : std::cout);
    return kExitOk;
}


// ---- rgtable: a two-dimensional real-gas table and its interpolation error ------------------------

// FROM:TO of --p or --T; the defaults when empty.
std::pair<double, double> range_of(const std::string& text, const char* option, double from, double to) {
    if (text.empty()) return {from, to};
    const auto parts = split(text, ':');
    const auto a = parts.size() == 2 ? parse_number(parts[0]) : std::nullopt;
    const auto b = parts.size() == 2 ? parse_number(parts[1]) : std::nullopt;
    if (!a || !b || !std::isfinite(*a) || !std::isfinite(*b) || !(*a > 0.0) || !(*b > *a))
        throw command_error(std::string(option) + " " + text + ": expected FROM:TO with 0 < FROM < TO");
    return {*a, *b};
}

// Near the saturation line and the critical point a cell mixes two phases or a steep bend; the
// error figures leave these points out (and say how many): within 0.05 in ln p of the line, or
// within 3 % of Tc and 20 % of pc of the critical point.
bool near_phase_boundary(const IRGPropertyGenerator& g, double p, double T) {
    const double Tc = g.critical_temperature(), pc = g.critical_pressure();
    if (std::fabs(T / Tc - 1.0) < 0.03 && std::fabs(p / pc - 1.0) < 0.2) return true;
    return T < Tc && std::fabs(std::log(p) - g.saturation_ln_p(T)) < 0.05;
}

int run_rgtable(const real_gas_request& request, std::int32_t mode, bool verbose) {
    if (request.samples < 0 || request.samples > 10000000) throw command_error("--samples must lie in 0..10000000");
    captured_log log(verbose);
    // the table's memory is reported through the memory watcher
    mp::set_memory_watch_mode(1);
    const std::uint64_t live_before = standalone_host::memory_live_bytes();
    auto generator = std::make_shared<CRGPropertyGenerator>();
    std::unique_ptr<C_2d_RG_property> table;
    std::string name;
    if (!request.load.empty()) {
        C_file_io in;
        try {
            in.open(CHostString::from_utf8(request.load), u"r");
            std::uint8_t kind = 0;
            in.read(&kind, 1);
            if (kind == 1) table = std::make_unique<C_2d_RG_property_regular>();
            else if (kind == 2) table = std::make_unique<C_2d_RG_property_adaptable>();
            else throw command_error(request.load + ": not a real-gas table file (kind byte " + std::to_string(kind) + ")");
            if (!table->read(in, generator)) throw command_error(request.load + ": the table record is not readable");
        } catch (const command_error&) {
            throw;
        } catch (const std::exception& e) {
            throw command_error(request.load + ": " + e.what());
        }
        name = request.fluid.empty() ? request.load : request.fluid;
    } else {
        const real_gas_fluid f = resolve_real_gas_fluid(request);
        if (f.nasa7.empty())
            throw command_error(f.name + " has no ideal-gas heat capacity in the data (" + critical_data_file().string() +
                                "): the table's caloric properties cannot be formed");
        name = f.name;
        generator->set_substance(f.Tc, f.Pc, f.M, f.Zc, f.omega, request.model);
        generator->set_ideal_gas_cp(ideal_gas_cp_of(f));
        const auto [p0, p1] = range_of(request.p_range, "--p", 1e5, 2e7);
        const auto [T0, T1] = range_of(request.T_range, "--T", std::round(0.72 * f.Tc), std::round(1.65 * f.Tc));
        if (mode == 2) table = C_2d_RG_property_adaptable::around_saturation(generator, std::log(p0), std::log(p1), T0, T1);
        else table = std::make_unique<C_2d_RG_property_regular>(generator, std::log(p0), std::log(p1), T0, T1);
        if (T0 < f.Tc && !table->fill_saturation_line(201))
            throw command_error("the saturation line of " + f.name + " could not be made");
    }
    const IRGPropertyGenerator& g = *generator;
    // a random sample over the rectangle, uniform in ln p and T; lookups make the patches they need
    std::mt19937_64 rng(request.seed);
    std::uniform_real_distribution<double> ux(table->x_begin(), table->x_end()), uy(table->y_begin(), table->y_end());
    double rho_max = 0.0, rho_sum = 0.0, h_max = 0.0, h_sum = 0.0;
    std::int64_t counted = 0, skipped = 0;
    for (std::int32_t n = 0; n < request.samples; ++n) {
        const double x = ux(rng), y = uy(rng);
        const double p = std::exp(x);
        if (near_phase_boundary(g, p, y)) {
            ++skipped;
            continue;
        }
        double got[4], want[4];
        if (!table->lookup(x, y, got) || !g.properties(p, y, want)) {
            ++skipped;
            continue;
        }
        const double er = std::fabs(got[0] / want[0] - 1.0);
        // enthalpy relative to its magnitude plus the scale R Tc, so that h near 0 does not blow up
        const double eh = std::fabs(got[1] - want[1]) / (std::fabs(want[1]) + g.gas_constant() * g.critical_temperature());
        rho_max = std::max(rho_max, er);
        h_max = std::max(h_max, eh);
        rho_sum += er * er;
        h_sum += eh * eh;
        ++counted;
    }
    const double rho_rms = counted > 0 ? std::sqrt(rho_sum / static_cast<double>(counted)) : 0.0;
    const double h_rms = counted > 0 ? std::sqrt(h_sum / static_cast<double>(counted)) : 0.0;
    const std::uint64_t watched = standalone_host::memory_live_bytes() - live_before;
    if (!request.save.empty()) {
        try {
            C_file_io out;
            out.open(CHostString::from_utf8(request.save), u"w");
            const std::uint8_t kind = dynamic_cast<const C_2d_RG_property_adaptable*>(table.get()) != nullptr ? 2 : 1;
            out.put(kind);
            table->write(out);
            out.close();
        } catch (const std::exception& e) {
            throw command_error(request.save + ": " + e.what());
        }
    }
    const std::vector<std::string> lines = log.take();
    const std::int32_t filled = table->patches_filled();
    if (request.csv) {
        print_rows({"patches_filled", "bytes", "rho_max_rel_err", "rho_rms_rel_err", "h_max_rel_err", "h_rms_rel_err"},
                   {{std::to_string(filled), std::to_string(watched), exact_number(rho_max), exact_number(rho_rms),
                     exact_number(h_max), exact_number(h_rms)}},
                   true);
        print_library_lines(lines, std::cerr);
        return kExitOk;
    }
    std::cout << name << ": " << (mode == 2 ? "adaptable" : "regular") << " table over p = "
              << table_number(std::exp(table->x_begin())) << " .. " << table_number(std::exp(table->x_end()))
              << " Pa, T = " << table_number(table->y_begin()) << " .. " << table_number(table->y_end()) << " K\n";
    std::cout << "patches filled: " << filled << " of 100; memory (memory watcher): " << watched << " bytes ("
              << Cage::kProperties * Cage::kNodeCount * sizeof(double) << " bytes of node values per patch)\n";
    if (table->saturation_nodes() > 0)
        std::cout << "saturation line: " << table->saturation_nodes() << " nodes, " << table_number(table->y_begin())
                  << " .. " << table_number(table->saturation_end()) << " K\n";
    print_rows({"points", "left out", "rho max rel err", "rho rms rel err", "h max rel err", "h rms rel err"},
               {{std::to_string(counted), std::to_string(skipped), table_number(rho_max), table_number(rho_rms),
                 table_number(h_max), table_number(h_rms)}},
               false);
    std::cout << "(errors of the table's bilinear values against the generator at random single-phase points; "
                 "points within 0.05 in ln p of the saturation line or near the critical point are left out)\n";
    print_library_lines(lines, std::cout);
    return kExitOk;
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app{"medium-physics: the material-physics library's command-line program.\n"
                 "Shows the medium kinds and built-in materials and media, the properties of a fluid or a solid, "
                 "the viscosity curve of a non-Newtonian liquid, "
                 "the saturation line and states of a real-gas fluid from the cubic equation of state, "
                 "saves media into a factory stream, and explains the structure of a saved stream."};
    app.set_version_flag("--version", MP_VERSION);
    app.require_subcommand(1);
    bool verbose = false;
    app.add_flag("-v,--verbose", verbose, "Also show the library's log lines");

    std::string data_option;
    const std::string data_help = "Directory of the built-in material files (*.json); default: $MEDIUM_PHYSICS_DATA, "
                                  "else " MP_DATA_DIR;

    auto* info = app.add_subcommand("info", "Version, medium kind codes, the built-in materials and media");
    info->add_option("--data", data_option, data_help);

    std::string output;
    std::vector<std::string> media;
    auto* save = app.add_subcommand("save", "Create the named media with a fresh factory and save it to a file");
    save->add_option("-o,--output", output, "File to write")->required();
    save->add_option("MEDIUM", media,
                     "Built-in material names (see 'info'), or obsolete-cavitation; none: the empty set");
    save->add_option("--data", data_option, data_help);
    save->footer("The pseudo-medium 'obsolete-cavitation' is the obsolete cavitation placeholder (kind 10) that "
                 "old projects hold; every build can create it, so it gives a non-empty stream to look at with "
                 "'inspect'. A name given twice creates two media that share one substance.");

    std::string input;
    auto* inspect = app.add_subcommand("inspect", "Show the records of a saved factory stream, with their offsets");
    inspect->add_option("FILE", input, "Saved factory stream")->required();

    const std::string medium_help =
        "A medium's or fluid material's name (see 'info'); FILE.json, a material file with one medium (or, without "
        "media, one fluid material); or FILE.json:NAME, the medium NAME of that file";
    const std::string medium_footer =
        "A FILE.json is read after the built-in data, so its media may use the built-in materials; names it repeats "
        "are refused. An argument that ends in .json (or has .json: in it) is always taken for a file.";

    props_request props_args;
    auto* props = app.add_subcommand("props", "A fluid's properties at pressure p and one or more temperatures; "
                                              "equilibrium air at density rho or pressure p");
    props->add_option("MEDIUM", props_args.medium,
                      medium_help + "; or " + kEquilibriumAirName + ", air in chemical equilibrium")
        ->required();
    // Required except for equilibrium-air, which takes --rho instead: checked after parsing.
    props->add_option("--p", props_args.p,
                      std::string("Absolute pressure [Pa]; required, except for ") + kEquilibriumAirName +
                          " with --rho");
    props->add_option("--rho", props_args.rho,
                      std::string("Density [kg/m3]; only with ") + kEquilibriumAirName + ", instead of --p");
    props->add_option("--T", props_args.T, "Temperature [K], or a range FROM:TO:STEP (TO included when reached)")
        ->required()
        ->check(CLI::Validator(
            [](std::string& text) { return check_range_syntax(text, "T"); }, "T|FROM:TO:STEP", "temperature"));
    props->add_option("--Y", props_args.Y,
                      "Mass fractions y1,y2,..., one per substance in the medium's order; default: the medium's")
        ->delimiter(',')
        ->allow_extra_args(false);
    props->add_flag("--csv", props_args.csv, "Comma-separated values with a header row (library lines to stderr)");
    props->add_option("--data", data_option, data_help);
    props->footer("Columns: p [Pa], T [K], rho [kg/m3], h [J/kg], cp [J/(kg K)], gamma, M [kg/mol], a [m/s], "
                  "mu [Pa s], lambda [W/(m K)]. The table shows 7 significant digits; --csv gives every value "
                  "exactly (the shortest text that reads back as the same number). An incompressible liquid has "
                  "no gamma, M or a: they are shown as 0; a compressible liquid has no M (0). A non-Newtonian "
                  "liquid's viscosity needs a shear rate: mu shows n/a (--csv: the library's 1e+40); see "
                  "'viscosity'. At most 100000 rows.\n" +
                  medium_footer + "\n" + kEquilibriumAirName +
                  " (with exactly one of --rho and --p, no --Y): air of 79 % N2 and 21 % O2 by mole in chemical "
                  "equilibrium over N2, O2, NO, N, O, N2+, O2+, NO+, N+, O+ and e-, solved by the library's engine "
                  "at every density; for each T the state p [Pa], T [K], rho [kg/m3], e and h [J/kg] (enthalpies "
                  "of formation included: zero for N2 and O2 at 298.15 K), cp [J/(kg K)], gamma = cp/cv, M "
                  "[kg/mol], a [m/s] (equilibrium speed of sound), mu [Pa s], lambda [W/(m K)] (frozen) and the "
                  "11 mole fractions, then the hypersonic medium's built-in tables at the same T and rho (for --p: "
                  "the density the engine finds) with their relative difference; outside the tables (" +
                  tables_range(mp::hypersonic::default_layout()) +
                  ") the engine alone. The tables' a is sqrt(p gamma/rho). mu and lambda ignore collisions "
                  "between charged particles: indicative only where the air is strongly ionised (above about "
                  "9000 K at low density). --csv columns: p,T,rho,e,h,cp,gamma,M,a,mu,lambda, "
                  "x_N2,x_O2,x_NO,x_N,x_O,x_N2+,x_O2+,x_NO+,x_N+,x_O+,x_e-, "
                  "table_p,table_e,table_gamma,table_cp,table_M,table_mu,table_lambda (the table cells empty "
                  "outside the tables). A state the engine does not solve ends the command with exit code 1.");

    invert_request invert_args;
    auto* invert = app.add_subcommand("invert", "A fluid's state from its total enthalpy H at pressure p");
    invert->add_option("MEDIUM", invert_args.medium, medium_help)->required();
    invert->add_option("--p", invert_args.p, "Absolute pressure [Pa]")->required();
    invert->add_option("--H", invert_args.H, "Total enthalpy [J/kg] (static plus kinetic)")
        ->required();
    invert->add_option("--G2", invert_args.G2, "Squared mass flux (rho u)^2 [kg2/(m4 s2)]")->capture_default_str();
    invert->add_option("--T0", invert_args.T0, "Start temperature of the iteration [K]")->capture_default_str();
    invert->add_flag("--csv", invert_args.csv, "Comma-separated values with a header row (library lines to stderr)");
    invert->add_option("--data", data_option, data_help);
    invert->footer("Prints T, rho, cp, gamma, M, a, mu, lambda and p as the library answers them, then every line "
                   "the library logged while answering (\"library: ...\"). When the iteration fails the library "
                   "answers the start temperature T0 and logs a warning; the command still succeeds. A non-Newtonian "
                   "liquid's mu shows n/a (--csv: the library's 1e+40): see 'viscosity'.\n" +
                   medium_footer);

    viscosity_request viscosity_args;
    auto* viscosity =
        app.add_subcommand("viscosity", "A non-Newtonian liquid's viscosity over a range of shear rates at p and T");
    viscosity->add_option("MEDIUM", viscosity_args.medium, medium_help)->required();
    viscosity->add_option("--T", viscosity_args.T, "Temperature [K]")->required();
    viscosity
        ->add_option("--shear", viscosity_args.shear,
                     "Shear rate [1/s], or FROM:TO:STEP (TO included when reached); with --log FROM:TO:POINTS, "
                     "POINTS rates per decade")
        ->required()
        ->check(CLI::Validator([](std::string& text) { return check_range_syntax(text, "RATE"); },
                               "RATE|FROM:TO:STEP", "shear rate"));
    viscosity->add_flag("--log", viscosity_args.log,
                        "Logarithmic shear rates: --shear FROM:TO:POINTS gives FROM*10^(k/POINTS), k = 0, 1, ... "
                        "up to TO");
    viscosity->add_option("--p", viscosity_args.p, "Absolute pressure [Pa]")->capture_default_str();
    viscosity->add_option("--Y", viscosity_args.Y,
                          "Mass fractions y1,y2,..., one per substance in the medium's order; default: the medium's")
        ->delimiter(',')
        ->allow_extra_args(false);
    viscosity->add_flag("--csv", viscosity_args.csv,
                        "Comma-separated values with a header row (library lines to stderr)");
    viscosity->add_option("--data", data_option, data_help);
    viscosity->footer("Columns: shear [1/s], mu [Pa s], one row per shear rate, as the medium's viscosity law "
                      "answers (get_non_newtonian_viscosity). Evenly spaced: --shear 0:100:10 gives 0, 10, ..., 100. "
                      "Logarithmic: --shear 0.01:1000:2 --log gives 2 rates per decade, 0.01, 0.0316..., 0.1, ..., "
                      "1000 (11 rows; FROM above 0, POINTS a whole number). Only non-Newtonian liquids "
                      "(kind non_newtonian_liquid) have such a curve. At most 100000 rows.\n" +
                      medium_footer);

    std::string solid_name;
    double solid_T = 0.0;
    std::vector<double> solid_axes_values;
    auto* solid = app.add_subcommand("solid", "A conducting solid's diffusion coefficient at temperature T");
    solid->add_option("MATERIAL", solid_name, "A heat- or electro-conducting solid's name (see 'info')")->required();
    solid->add_option("--T", solid_T, "Temperature [K]")->required();
    solid->add_option("--axes", solid_axes_values,
                      "Principal axes a11,a12,a13,a21,...,a33 (row order, orthonormal rows); default: identity")
        ->delimiter(',')
        ->allow_extra_args(false);
    solid->add_option("--data", data_option, data_help);
    solid->footer("Prints the anisotropy type (0 isotropic, 1 orthotropic, 2 anisotropic), the number of "
                  "principal values and the values (W/(m K) for a heat-conducting, S/m for an electro-conducting "
                  "solid), the axes, and for a heat-conducting solid its density, highest valid temperature and "
                  "specific heat at T.");


    const auto add_real_gas_options = [](CLI::App* cmd, real_gas_request& r) {
        cmd->add_option("FLUID", r.fluid, "A built-in real-gas fluid (CO2, N2, CH4, H2O, R134a, C3H8, ...), or none "
                                          "with --Tc --pc --Zc --omega --M");
        cmd->add_option("--model", r.model, "Temperature function selector of the cubic (3: Soave)")
            ->capture_default_str();
        cmd->add_option("--Zc", r.Zc, "Critical compressibility (default: the fluid's; 1/3 with --model 3 is "
                                      "Soave-Redlich-Kwong)");
        cmd->add_option("--Tc", r.Tc, "Critical temperature [K]");
        cmd->add_option("--pc", r.Pc, "Critical pressure [Pa]");
        cmd->add_option("--omega", r.omega, "Acentric factor");
        cmd->add_option("--M", r.M, "Molar mass [kg/mol]");
        cmd->add_flag("--csv", r.csv, "Comma-separated values with a header row (library lines to stderr)");
    };
    real_gas_request saturation_args;
    auto* saturation = app.add_subcommand("saturation", "A real-gas fluid's saturation line from the cubic equation "
                                                        "of state");
    add_real_gas_options(saturation, saturation_args);
    saturation->add_option("--T", saturation_args.T, "Temperature [K], or a range FROM:TO:STEP (TO included when reached)")
        ->required()
        ->check(CLI::Validator(
            [](std::string& text) { return check_range_syntax(text, "T"); }, "T|FROM:TO:STEP", "temperature"));
    saturation->footer("Columns: T [K], psat [Pa], v_liquid and v_vapour [m3/kg] (the binodal by the equal-area "
                       "rule), and the liquid and vapour spinodal pressures [Pa]. Temperatures must lie in (0, Tc). "
                       "A row whose binodal fails shows \"failed\" (--csv: the library's zeros) and the library's lines "
                       "follow the table (--csv: on stderr); the command still succeeds. Far below Tc a psat at the "
                       "binodal's lowest pressure (about 1e-8 pc) is noted under the table. "
                       "Critical data: " + critical_data_file().string() + ".");

    real_gas_request eos_args;
    auto* eos = app.add_subcommand("eos", "A real-gas fluid's single-phase state at p and T from the cubic equation of "
                                          "state");
    add_real_gas_options(eos, eos_args);
    eos->add_option("--p", eos_args.p, "Absolute pressure [Pa]")->required();
    eos->add_option("--T", eos_args.T_point, "Temperature [K]")->required();
    eos->footer("Columns: p [Pa], T [K], roots (volume roots of the cubic at p, T: 1 or 3), and of the stable "
                "phase rho [kg/m3], h [J/kg] (ideal-gas enthalpy from 0 K), s [J/(kg K)] (ideal gas at 298.15 K, "
                "101325 Pa), cp [J/(kg K)], a (speed of sound) [m/s], Z = p v/(R T). Needs the fluid's ideal-gas "
                "heat capacity.");

    real_gas_request rgtable_args;
    std::int32_t rgtable_mode = 1;
    auto* rgtable = app.add_subcommand("rgtable", "Build (or load) a real-gas fluid's two-dimensional property table and "
                                                  "measure its interpolation error");
    add_real_gas_options(rgtable, rgtable_args);
    rgtable->add_option("--p", rgtable_args.p_range, "Pressure range FROM:TO [Pa] (default 1e5:2e7)");
    rgtable->add_option("--T", rgtable_args.T_range, "Temperature range FROM:TO [K] (default 0.72 Tc : 1.65 Tc)");
    rgtable->add_option("--mode", rgtable_mode, "1: regular table (uniform patches), 2: adaptable (nodes placed near "
                                                "the saturation line)")
        ->check(CLI::IsMember({1, 2}))
        ->capture_default_str();
    rgtable->add_option("--save", rgtable_args.save, "Write the table (with the patches filled) to this file");
    rgtable->add_option("--load", rgtable_args.load, "Read the table from this file instead of building it");
    rgtable->add_option("--samples", rgtable_args.samples, "Random points of the error measure")->capture_default_str();
    rgtable->add_option("--seed", rgtable_args.seed, "Seed of the random points")->capture_default_str();
    rgtable->footer("Patches are filled as the random points reach them. Error columns: the largest and the RMS "
                    "relative error of density and enthalpy (enthalpy relative to |h| + R Tc) against the generator's "
                    "direct values, leaving out points near the saturation line and the critical point. --csv: one row "
                    "patches_filled, bytes, rho_max_rel_err, rho_rms_rel_err, h_max_rel_err, h_rms_rel_err.");

    chemtable_args chemtable_options;
    auto* chemtable = add_chemtable_command(app, chemtable_options);

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
        const int code = app.exit(e);
        return code == 0 ? kExitOk : kExitUsage;
    }

    try {
        if (*info) return run_info(data_option);
        if (*chemtable) return run_chemtable(chemtable_options);
        if (*save) return run_save(data_option, output, media, verbose);
        if (*inspect) return run_inspect(input, verbose);
        if (*props) {
            props_args.Y_given = props->count("--Y") > 0;
            props_args.p_given = props->count("--p") > 0;
            props_args.rho_given = props->count("--rho") > 0;
            // Which of --p and --rho goes with which medium: usage errors, as a missing option is.
            const auto usage_error = [](const std::string& message) {
                std::cerr << "medium-physics props: " << message << "\nRun with --help for more information.\n";
                return kExitUsage;
            };
            if (props_args.medium == kEquilibriumAirName) {
                if (props_args.p_given == props_args.rho_given)
                    return usage_error(std::string(kEquilibriumAirName) + " needs exactly one of --rho and --p" +
                                       (props_args.p_given ? ", not both" : ""));
                return run_props_equilibrium_air(props_args, verbose);
            }
            if (props_args.rho_given)
                return usage_error(std::string("--rho is only for ") + kEquilibriumAirName + "; \"" +
                                   props_args.medium + "\" takes --p");
            if (!props_args.p_given) return usage_error("--p is required");
            return run_props(data_option, props_args, verbose);
        }
        if (*invert) return run_invert(data_option, invert_args, verbose);
        if (*viscosity) {
            viscosity_args.Y_given = viscosity->count("--Y") > 0;
            return run_viscosity(data_option, viscosity_args, verbose);
        }
        if (*solid)
            return run_solid(data_option, solid_name, solid_T, solid_axes_values, solid->count("--axes") > 0, verbose);
        // which of the explicit critical data a real-gas command was given
        const auto given = [](const CLI::App* cmd, real_gas_request& r) -> real_gas_request& {
            r.Tc_given = cmd->count("--Tc") > 0;
            r.Pc_given = cmd->count("--pc") > 0;
            r.Zc_given = cmd->count("--Zc") > 0;
            r.omega_given = cmd->count("--omega") > 0;
            r.M_given = cmd->count("--M") > 0;
            return r;
        };
        if (*saturation) return run_saturation(given(saturation, saturation_args), verbose);
        if (*eos) return run_eos(given(eos, eos_args), verbose);
        if (*rgtable) return run_rgtable(given(rgtable, rgtable_args), rgtable_mode, verbose);
    } catch (const command_error& e) {
        std::cout.flush();
        std::cerr << "medium-physics " << app.get_subcommands().front()->get_name() << ": " << e.what() << "\n";
        return kExitFailure;
    } catch (const std::exception& e) {
        std::cout.flush();
        std::cerr << "medium-physics: " << e.what() << "\n";
        return kExitFailure;
    }
    return kExitUsage;
}
