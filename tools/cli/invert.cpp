// medium-physics invert: a fluid's state from its total enthalpy H at pressure p, as the
// pressure-based property operation get_properties_p_H answers it.
#include <algorithm>
#include <cmath>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "cli_common.h"
#include "commands.h"

namespace mp_cli {

namespace {

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
    const std::vector<std::string> names = {"T [K]",   "rho [kg/m3]", "cp [J/(kg K)]",    "gamma", "M [kg/mol]",
                                            "a [m/s]", "mu [Pa s]",   "lambda [W/(m K)]", "p [Pa]"};
    const std::vector<double> values = {T, rho, cp, gamma, M, a, mu, lambda, p};
    if (request.csv) {
        std::vector<std::string> row;
        for (const double v : values) row.push_back(exact_number(v));
        print_rows(names, {row}, true);
    } else {
        std::cout << describe(fluid.definition, Y) << "\n"
                  << "from H = " << table_number(request.H) << " J/kg at p = " << table_number(request.p)
                  << " Pa, G2 = " << table_number(request.G2) << " kg2/(m4 s2), start T0 = " << table_number(request.T0)
                  << " K:\n";
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

}  // namespace

command register_invert(CLI::App& app, shared_options& shared) {
    auto request = std::make_shared<invert_request>();
    invert_request& r = *request;
    auto* invert = app.add_subcommand("invert", "A fluid's state from its total enthalpy H at pressure p");
    invert->add_option("MEDIUM", r.medium, medium_help())->required();
    invert->add_option("--p", r.p, "Absolute pressure [Pa]")->required();
    invert->add_option("--H", r.H, "Total enthalpy [J/kg] (static plus kinetic)")->required();
    invert->add_option("--G2", r.G2, "Squared mass flux (rho u)^2 [kg2/(m4 s2)]")->capture_default_str();
    invert->add_option("--T0", r.T0, "Start temperature of the iteration [K]")->capture_default_str();
    invert->add_flag("--csv", r.csv, "Comma-separated values with a header row (library lines to stderr)");
    invert->add_option("--data", shared.data, data_help());
    invert->footer(
        "Prints T, rho, cp, gamma, M, a, mu, lambda and p as the library answers them, then every line "
        "the library logged while answering (\"library: ...\"). When the iteration fails the library "
        "answers the start temperature T0 and logs a warning; the command still succeeds. A non-Newtonian "
        "liquid's mu shows n/a (--csv: the library's 1e+40): see 'viscosity'.\n" +
        medium_footer());
    return {invert, [request, &shared] { return run_invert(shared.data, *request, shared.verbose); }};
}

}  // namespace mp_cli
