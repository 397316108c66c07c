// medium-physics: the library's command-line program. It shows what the library knows (kind codes,
// built-in materials and media), answers the property operations a solver calls (a fluid at given
// p and T, a fluid from its total enthalpy, a non-Newtonian liquid's viscosity over shear rates, a
// conducting solid at T) so that the data can be looked at without writing a host, gives the
// saturation line and single-phase states of a real-gas material from the library's cubic equation
// of state, writes a saved factory stream from named materials, and explains the structure of a
// saved stream record by record, so that a damaged project file can be located to the byte.
//
// This file makes the program and registers the commands (commands.h), one file each; the
// helpers they share are in cli_common.h.
//
// Exit codes: 0 success, 1 bad input or a failed operation, 2 a usage error.
#include <CLI/CLI.hpp>

#include <exception>
#include <iostream>
#include <vector>

#include "cli_common.h"
#include "commands.h"

#ifndef MP_VERSION
#error "MP_VERSION must be defined by the build"
#endif

int main(int argc, char** argv) {
    using namespace mp_cli;
    CLI::App app{
        "medium-physics: the material-physics library's command-line program.\n"
        "Shows the medium kinds and built-in materials and media, the properties of a fluid or a solid, "
        "the viscosity curve of a non-Newtonian liquid, "
        "the saturation line and states of a real-gas fluid from the cubic equation of state, "
        "saves media into a factory stream, and explains the structure of a saved stream."};
    app.set_version_flag("--version", MP_VERSION);
    app.require_subcommand(1);
    shared_options shared;
    app.add_flag("-v,--verbose", shared.verbose, "Also show the library's log lines");

    // In the order the help lists them.
    const std::vector<command> commands = {
        register_info(app, shared),    register_save(app, shared),       register_inspect(app, shared),
        register_props(app, shared),   register_invert(app, shared),     register_viscosity(app, shared),
        register_solid(app, shared),   register_saturation(app, shared), register_eos(app, shared),
        register_rgtable(app, shared), register_chemtable(app, shared),   register_radiation(app, shared),
        register_sctable(app, shared), register_flame(app, shared),
    };

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
        const int code = app.exit(e);
        return code == 0 ? kExitOk : kExitUsage;
    }

    try {
        for (const auto& c : commands)
            if (*c.app) return c.run();
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
