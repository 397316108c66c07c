// medium-physics props: a fluid's properties at pressure p and one or more temperatures, as the
// pressure-based property operation answers them; equilibrium-air goes to
// props_equilibrium_air.cpp.
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "cli_common.h"
#include "commands.h"

namespace mp_cli {

namespace {

int run_props(const std::string& data_option, const props_request& request, bool verbose) {
    require_positive("--p", request.p, "Pa");
    const std::vector<double> temperatures = temperatures_of(request.T);
    captured_log log(verbose);
    const open_fluid fluid = open_fluid_medium(data_option, request.medium);
    const bool combustible = fluid.definition.kind == "combustible";
    if (combustible != request.z_given)
        throw command_error(combustible ? "a combustible medium needs --z (the mixture fraction, 0 to 1)"
                                        : "--z is only for combustible media");
    if (combustible && !(request.z >= 0.0 && request.z <= 1.0))
        throw command_error("--z: " + exact_number(request.z) + " is not a mixture fraction (0 to 1)");
    // A combustible medium's mass fractions are its mixing inputs: the mixture fraction, then the
    // unburnt oxidizer and fuel (0: the mixture in equilibrium).
    const std::vector<double> Y =
        combustible ? std::vector<double>{request.z, 0.0, 0.0} : mass_fractions_of(fluid.definition, request.Y, request.Y_given);
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

// Which of --p and --rho goes with which medium: usage errors, as a missing option is.
int usage_error(const std::string& message) {
    std::cerr << "medium-physics props: " << message << "\nRun with --help for more information.\n";
    return kExitUsage;
}

}  // namespace

command register_props(CLI::App& app, shared_options& shared) {
    auto request = std::make_shared<props_request>();
    props_request& r = *request;
    auto* props = app.add_subcommand("props",
                                     "A fluid's properties at pressure p and one or more temperatures; "
                                     "equilibrium air at density rho or pressure p");
    props
        ->add_option("MEDIUM", r.medium,
                     medium_help() + "; or " + kEquilibriumAirName + ", air in chemical equilibrium")
        ->required();
    // Required except for equilibrium-air, which takes --rho instead: checked after parsing.
    props->add_option(
        "--p", r.p, std::string("Absolute pressure [Pa]; required, except for ") + kEquilibriumAirName + " with --rho");
    props->add_option("--rho", r.rho,
                      std::string("Density [kg/m3]; only with ") + kEquilibriumAirName + ", instead of --p");
    props->add_option("--T", r.T, "Temperature [K], or a range FROM:TO:STEP (TO included when reached)")
        ->required()
        ->check(range_syntax("T", "T|FROM:TO:STEP", "temperature"));
    props
        ->add_option("--Y", r.Y,
                     "Mass fractions y1,y2,..., one per substance in the medium's order; default: the medium's")
        ->delimiter(',')
        ->allow_extra_args(false);
    props->add_option("--z", r.z, "Mixture fraction (0 oxidizer .. 1 fuel); required for, and only for, combustible media");
    props->add_flag("--csv", r.csv, "Comma-separated values with a header row (library lines to stderr)");
    props->add_option("--data", shared.data, data_help());
    props->footer(
        "Columns: p [Pa], T [K], rho [kg/m3], h [J/kg], cp [J/(kg K)], gamma, M [kg/mol], a [m/s], "
        "mu [Pa s], lambda [W/(m K)]. The table shows 7 significant digits; --csv gives every value "
        "exactly (the shortest text that reads back as the same number). An incompressible liquid has "
        "no gamma, M or a: they are shown as 0; a compressible liquid has no M (0). A non-Newtonian "
        "liquid's viscosity needs a shear rate: mu shows n/a (--csv: the library's 1e+40); see "
        "'viscosity'. At most 100000 rows.\n" +
        medium_footer() + "\n" + equilibrium_air_footer());

    const auto run = [props, request, &shared] {
        props_request& args = *request;
        args.Y_given = props->count("--Y") > 0;
        args.z_given = props->count("--z") > 0;
        args.p_given = props->count("--p") > 0;
        args.rho_given = props->count("--rho") > 0;
        if (args.medium == kEquilibriumAirName) {
            if (args.p_given == args.rho_given)
                return usage_error(std::string(kEquilibriumAirName) + " needs exactly one of --rho and --p" +
                                   (args.p_given ? ", not both" : ""));
            return run_props_equilibrium_air(args, shared.verbose);
        }
        if (args.rho_given)
            return usage_error(std::string("--rho is only for ") + kEquilibriumAirName + "; \"" + args.medium +
                               "\" takes --p");
        if (!args.p_given) return usage_error("--p is required");
        return run_props(shared.data, args, shared.verbose);
    };
    return {props, run};
}

}  // namespace mp_cli
