// medium-physics info: the version, the medium kind codes, and the built-in materials and media.
#include <algorithm>
#include <cstdint>
#include <iostream>
#include <string>
#include <vector>

#include "cli_common.h"
#include "commands.h"
#include "framework/c_thermodynamic_base.h"

#ifndef MP_VERSION
#error "MP_VERSION must be defined by the build"
#endif

namespace mp_cli {

namespace {

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
                      << pad(m.description->kind(), kind_width) << "  " << pad(m.identifier, id_width) << "  " << m.file
                      << "\n";
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
    if (std::any_of(materials.begin(), materials.end(), [](const material& m) { return m.description->is_real_gas(); }))
        std::cout << "'saturation', 'eos' and 'rgtable' take a real-gas material's name, or that name without "
                     "\"-real\".\n";
    std::cout << "\n'" << kObsoleteCavitationName
              << "' is also accepted by 'save': the obsolete cavitation placeholder (kind 10), which needs no "
                 "material data.\n";
    std::cout << "'" << kEquilibriumAirName
              << "' is accepted by 'props' (--rho or --p): air in chemical equilibrium from the library's engine, "
                 "beside the hypersonic medium's built-in tables.\n";
    return kExitOk;
}

}  // namespace

command register_info(CLI::App& app, shared_options& shared) {
    auto* info = app.add_subcommand("info", "Version, medium kind codes, the built-in materials and media");
    info->add_option("--data", shared.data, data_help());
    return {info, [&shared] { return run_info(shared.data); }};
}

}  // namespace mp_cli
