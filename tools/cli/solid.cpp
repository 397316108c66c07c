// medium-physics solid: a conducting solid's diffusion coefficient (conductivity and principal
// axes) at temperature T, and a heat-conducting solid's density, highest valid temperature and
// specific heat.
#include <algorithm>
#include <any>
#include <array>
#include <cmath>
#include <cstdint>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "cli_common.h"
#include "commands.h"

namespace mp_cli {

namespace {

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
    const std::shared_ptr<I_medium_physics> factory = make_factory();
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

struct solid_request {
    std::string name;
    double T = 0.0;
    std::vector<double> axes;
};

}  // namespace

command register_solid(CLI::App& app, shared_options& shared) {
    auto request = std::make_shared<solid_request>();
    auto* solid = app.add_subcommand("solid", "A conducting solid's diffusion coefficient at temperature T");
    solid->add_option("MATERIAL", request->name, "A heat- or electro-conducting solid's name (see 'info')")->required();
    solid->add_option("--T", request->T, "Temperature [K]")->required();
    solid
        ->add_option("--axes", request->axes,
                     "Principal axes a11,a12,a13,a21,...,a33 (row order, orthonormal rows); default: identity")
        ->delimiter(',')
        ->allow_extra_args(false);
    solid->add_option("--data", shared.data, data_help());
    solid->footer(
        "Prints the anisotropy type (0 isotropic, 1 orthotropic, 2 anisotropic), the number of "
        "principal values and the values (W/(m K) for a heat-conducting, S/m for an electro-conducting "
        "solid), the axes, and for a heat-conducting solid its density, highest valid temperature and "
        "specific heat at T.");
    const auto run = [solid, request, &shared] {
        return run_solid(shared.data, request->name, request->T, request->axes, solid->count("--axes") > 0,
                         shared.verbose);
    };
    return {solid, run};
}

}  // namespace mp_cli
