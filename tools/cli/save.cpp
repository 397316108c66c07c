// medium-physics save: creates the named materials through a fresh factory and writes its saved
// stream to a file (nothing is written unless every one is created and the whole set saves).
#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

#include "cli_common.h"
#include "commands.h"
#include "file_io/c_file_io/c_file_io.h"

namespace fs = std::filesystem;

namespace mp_cli {

namespace {

int run_save(const std::string& data_option, const std::string& output, const std::vector<std::string>& media,
             bool verbose) {
    // Resolve every name before anything is created, so that one run reports all unknown names.
    const bool needs_materials =
        std::any_of(media.begin(), media.end(), [](const std::string& m) { return m != kObsoleteCavitationName; });
    builtin_data data;
    if (needs_materials) data = load_builtin_data(resolve_data_directory(data_option));
    const std::vector<material>& materials = data.materials;
    std::vector<const material*> chosen;
    // The media of the data files that are no material (a mixture of phases, a cavitating liquid).
    std::vector<std::optional<standalone_host::medium_definition>> defined(media.size());
    std::vector<std::string> unknown;
    for (std::size_t i = 0; i < media.size(); ++i) {
        const auto& name = media[i];
        if (name == kObsoleteCavitationName) {
            chosen.push_back(nullptr);
            continue;
        }
        const auto it = std::find_if(materials.begin(), materials.end(),
                                     [&](const material& m) { return m.description->name_utf8() == name; });
        if (it != materials.end()) {
            chosen.push_back(&*it);
            continue;
        }
        defined[i] = data.library.find_medium(name);
        chosen.push_back(nullptr);
        if (!defined[i]) unknown.push_back(name);
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
    const std::shared_ptr<I_medium_physics> factory = make_factory();

    std::size_t solids = 0;
    for (std::size_t i = 0; i < media.size(); ++i) {
        standalone_host::factory_call call;
        bool created = false;
        std::string kind;
        if (defined[i]) {
            kind = defined[i]->kind;
            fluid_ptr fluid;
            created = standalone_host::create_medium(*factory, data.library, *defined[i], true, fluid, nullptr,
                                                     &call) == MP_STATUS_OK;
        } else if (chosen[i] == nullptr) {
            kind = "obsolete cavitation";
            fluid_ptr fluid;
            call = {"CreateCavitationObsoleteThermodynamics",
                    factory->CreateCavitationObsoleteThermodynamics(0.0, true, fluid)};
            created = call.status == MP_STATUS_OK && fluid != nullptr;
        } else if (kind = chosen[i]->description->kind(); is_solid_kind(kind)) {
            // Solids are not registered media; the factory keeps their substance, and that is what a
            // saved stream holds of them. Principal axes: the coordinate axes.
            std::shared_ptr<MED_PHYSICS::I_diffusion_coefficient> solid;
            created = standalone_host::create_solid(*factory, data.library, media[i], kCoordinateAxes, solid, nullptr,
                                                    &call) == MP_STATUS_OK;
        } else {
            // The material alone, as a registered medium of its kind.
            const standalone_host::medium_definition alone{media[i], kind, {media[i]}, {1.0}, 0.0, {}, {}};
            fluid_ptr fluid;
            created = standalone_host::create_medium(*factory, data.library, alone, true, fluid, nullptr, &call) ==
                      MP_STATUS_OK;
        }
        if (created) {
            if (is_solid_kind(kind)) ++solids;
            continue;
        }
        std::string message = "cannot create \"" + media[i] + "\" (kind " + kind + "): ";
        if (call.status == MP_STATUS_UNSUPPORTED || call.status == MP_STATUS_OK)
            message += "this build does not provide media of this kind";
        else
            message += "the factory failed to create it";
        const std::string operation = call.operation.empty() ? "(none)" : call.operation;
        message += " (" + operation + " returned status " + std::to_string(call.status) + ")";
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

struct save_request {
    std::string output;
    std::vector<std::string> media;
};

}  // namespace

command register_save(CLI::App& app, shared_options& shared) {
    auto request = std::make_shared<save_request>();
    auto* save = app.add_subcommand("save", "Create the named media with a fresh factory and save it to a file");
    save->add_option("-o,--output", request->output, "File to write")->required();
    save->add_option("MEDIUM", request->media,
                     "Built-in material or medium names (see 'info'), or obsolete-cavitation; none: the empty set");
    save->add_option("--data", shared.data, data_help());
    save->footer(
        "The pseudo-medium 'obsolete-cavitation' is the obsolete cavitation placeholder (kind 10) that "
        "old projects hold; every build can create it, so it gives a non-empty stream to look at with "
        "'inspect'. A name given twice creates two media that share one substance. A free-surface VOF "
        "medium (air-water-vof) holds its phases in its own record; name them as well to save them as "
        "media of their own.");
    return {save,
            [request, &shared] { return run_save(shared.data, request->output, request->media, shared.verbose); }};
}

}  // namespace mp_cli
