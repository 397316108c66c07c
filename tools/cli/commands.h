// The commands of medium-physics, one file each. Every register_* function adds its subcommand
// with its options, help texts and footer to the program and returns it with the function that
// runs it once the command line is parsed. A run answers the exit code (0 success, 1 bad input or
// a failed operation, 2 a usage error) and throws command_error for the failures that end with 1.
#pragma once

#include <CLI/CLI.hpp>

#include <functional>
#include <string>
#include <vector>

namespace mp_cli {

// The options of the program itself, and the --data that most commands share.
struct shared_options {
    bool verbose = false;  // -v, --verbose: also show the library's log lines
    std::string data;      // --data
};

struct command {
    CLI::App* app = nullptr;
    std::function<int()> run;
};

command register_info(CLI::App& app, shared_options& shared);
command register_save(CLI::App& app, shared_options& shared);
command register_inspect(CLI::App& app, shared_options& shared);
command register_props(CLI::App& app, shared_options& shared);
command register_invert(CLI::App& app, shared_options& shared);
command register_viscosity(CLI::App& app, shared_options& shared);
command register_solid(CLI::App& app, shared_options& shared);
command register_saturation(CLI::App& app, shared_options& shared);
command register_eos(CLI::App& app, shared_options& shared);
command register_rgtable(CLI::App& app, shared_options& shared);
command register_chemtable(CLI::App& app, shared_options& shared);
command register_radiation(CLI::App& app, shared_options& shared);
command register_sctable(CLI::App& app, shared_options& shared);
command register_flame(CLI::App& app, shared_options& shared);

// ---- props of equilibrium air (props_equilibrium_air.cpp), a part of 'props' -------------------------

struct props_request {
    std::string medium;
    double p = 0.0;
    double rho = 0.0;  // equilibrium-air only
    std::string T;
    std::vector<double> Y;
    std::vector<double> alpha;  // a free-surface VOF medium's volume fractions
    bool alpha_given = false;
    double z = 0.0;  // combustible media: the mixture fraction
    bool z_given = false;
    bool p_given = false;
    bool rho_given = false;
    bool Y_given = false;
    bool csv = false;
};

// The part of the props footer about equilibrium-air.
std::string equilibrium_air_footer();
// props equilibrium-air with exactly one of --rho and --p (checked by the caller).
int run_props_equilibrium_air(const props_request& request, bool verbose);

}  // namespace mp_cli
