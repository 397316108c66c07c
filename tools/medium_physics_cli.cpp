// medium-physics: the library's command-line program. It shows what the library knows (kind codes,
// built-in materials), writes a saved factory stream from named materials, and explains the
// structure of a saved stream record by record, so that a damaged project file can be located to
// the byte.
//
// Exit codes: 0 success, 1 bad input or a failed operation, 2 a usage error.
#include <CLI/CLI.hpp>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <memory>
#include <optional>
#include <regex>
#include <string>
#include <system_error>
#include <vector>

#include "c_medium_physics.h"
#include "c_thermodynamic_base.h"
#include "file_io/c_file_io/c_file_io.h"
#include "medium_physics/host_guid.h"
#include "medium_physics/i_medium_physics.h"
#include "medium_physics/standalone_host.h"
#include "medium_physics/thermodynamics.h"

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

// Every material of every *.json file in the directory, files in name order. A missing default
// directory means there are no materials yet; a directory the user named must exist.
std::vector<material> load_builtin_materials(const data_directory& dir) {
    std::error_code ec;
    if (!fs::is_directory(dir.path, ec)) {
        if (dir.chosen) throw command_error("data directory " + dir.path.string() + " does not exist");
        return {};
    }
    std::vector<fs::path> files;
    for (const auto& entry : fs::directory_iterator(dir.path))
        if (entry.is_regular_file() && entry.path().extension() == ".json") files.push_back(entry.path());
    std::sort(files.begin(), files.end());

    std::vector<material> out;
    std::map<std::string, std::string> file_of_name;
    for (const auto& file : files) {
        std::vector<std::shared_ptr<standalone_host::CJsonDescription>> parsed;
        try {
            parsed = standalone_host::load_materials(file.string());
        } catch (const std::exception& e) {
            throw command_error(std::string("bad material file: ") + e.what());
        }
        for (auto& d : parsed) {
            const std::string file_name = file.filename().string();
            const auto [it, fresh] = file_of_name.emplace(d->name_utf8(), file_name);
            if (!fresh)
                throw command_error("material \"" + d->name_utf8() + "\" is defined in both " + it->second + " and " +
                                    file_name);
            CHostString identifier;
            d->get_identifier(identifier);
            out.push_back({std::move(d), file_name, identifier.to_utf8()});
        }
    }
    return out;
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
    if (kind == "combustible")
        return fluid_result("CreateCombustibleThermodynamics",
                            factory.CreateCombustibleThermodynamics(description, MP_KIND_COMBUSTIBLE_PT, 0.0, 0, true,
                                                                    fluid));
    // Solids are not registered media; the factory keeps their substance, and that is what a saved
    // stream holds of them. Principal axes: the coordinate axes.
    constexpr solid_axes kCoordinateAxes = {1, 0, 0, 0, 1, 0, 0, 0, 1};
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
    // Hypersonic gas (and any kind the material schema may add): no factory operation takes a
    // material description for it.
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
    const std::vector<material> materials = load_builtin_materials(dir);
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
    std::cout << "\n'" << kObsoleteCavitationName
              << "' is also accepted by 'save': the obsolete cavitation placeholder (kind 10), which needs no "
                 "material data.\n";
    return kExitOk;
}

// ---- save -------------------------------------------------------------------------------------------

int run_save(const std::string& data_option, const std::string& output, const std::vector<std::string>& media,
             bool verbose) {
    // Resolve every name before anything is created, so that one run reports all unknown names.
    const bool needs_materials = std::any_of(media.begin(), media.end(),
                                             [](const std::string& m) { return m != kObsoleteCavitationName; });
    std::vector<material> materials;
    if (needs_materials) materials = load_builtin_materials(resolve_data_directory(data_option));
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

}  // namespace

int main(int argc, char** argv) {
    CLI::App app{"medium-physics: the material-physics library's command-line program.\n"
                 "Shows the medium kinds and built-in materials, saves media into a factory stream, and explains "
                 "the structure of a saved stream."};
    app.set_version_flag("--version", MP_VERSION);
    app.require_subcommand(1);
    bool verbose = false;
    app.add_flag("-v,--verbose", verbose, "Also show the library's log lines");

    std::string data_option;
    const std::string data_help = "Directory of the built-in material files (*.json); default: $MEDIUM_PHYSICS_DATA, "
                                  "else " MP_DATA_DIR;

    auto* info = app.add_subcommand("info", "Version, medium kind codes and the built-in materials");
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

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
        const int code = app.exit(e);
        return code == 0 ? kExitOk : kExitUsage;
    }

    try {
        if (*info) return run_info(data_option);
        if (*save) return run_save(data_option, output, media, verbose);
        if (*inspect) return run_inspect(input, verbose);
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
