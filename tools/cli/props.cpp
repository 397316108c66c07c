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
    const std::vector<double> Y = mass_fractions_of(fluid.definition, request.Y, request.Y_given);
    log.discard();  // what creating the medium said is not about these states

    const auto number = request.csv ? exact_number : table_number;
    // A real-gas medium adds the phase and the vapour fraction of each state, from the same call.
    const auto real_gas = real_gas_state_of(fluid);
    std::vector<std::string> real_gas_notes;
    std::vector<std::vector<std::string>> rows;
    rows.reserve(temperatures.size());
    for (const double T : temperatures) {
        double rho = 0, h = 0, cp = 0, gamma = 0, M = 0, a = 0, mu = 0, lambda = 0;
        fluid.solver->get_properties_p_T(request.p, T, Y.data(), &rho, &h, &cp, &gamma, &M, &a, &mu, &lambda);
        const std::string mu_text = fluid.non_newtonian && !request.csv ? std::string(kNoShearMu) : number(mu);
        rows.push_back({number(request.p), number(T), number(rho), number(h), number(cp), number(gamma), number(M),
                        number(a), mu_text, number(lambda)});
        if (real_gas) {
            rg_point state;
            const std::uint32_t status = real_gas->get_state_p_T(request.p, T, Y.data(), &state);
            rows.back().push_back(phase_word(state));
            rows.back().push_back(vapour_fraction_text(state, request.csv));
            if (const auto note = real_gas_status_note(status, request.p, T); !note.empty()) real_gas_notes.push_back(note);
        }
    }
    std::vector<std::string> headers = {"p [Pa]", "T [K]",      "rho [kg/m3]", "h [J/kg]",  "cp [J/(kg K)]",
                                        "gamma",  "M [kg/mol]", "a [m/s]",     "mu [Pa s]", "lambda [W/(m K)]"};
    if (real_gas) headers.insert(headers.end(), {"phase", "x"});
    const auto library_lines = log.take();
    // An ideal gas asked where its real counterpart is far from ideal: said once, for the first
    // such temperature.
    if (auto note = real_gas_counterpart_note(data_option, fluid, request.p, temperatures); !note.empty())
        real_gas_notes.push_back(std::move(note));
    if (!request.csv) std::cout << describe(fluid.definition, Y) << "\n";
    print_rows(headers, rows, request.csv);
    auto notes = notes_of(fluid, request.medium);
    notes.insert(notes.end(), real_gas_notes.begin(), real_gas_notes.end());
    // Comma-separated output stays parseable: the notes and the library's lines go to stderr there.
    if (!request.csv) print_notes(notes);
    else
        for (const auto& n : real_gas_notes) std::cerr << "note: " << n << "\n";
    print_library_lines(library_lines, request.csv ? std::cerr : std::cout);
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
    props->add_flag("--csv", r.csv, "Comma-separated values with a header row (library lines to stderr)");
    props->add_option("--data", shared.data, data_help());
    props->footer(
        "Columns: p [Pa], T [K], rho [kg/m3], h [J/kg], cp [J/(kg K)], gamma, M [kg/mol], a [m/s], "
        "mu [Pa s], lambda [W/(m K)]; a real-gas medium adds phase (liquid, vapour, two-phase or "
        "supercritical) and x (the vapour mass fraction, empty outside the saturation dome). An ideal gas "
        "whose real-gas material NAME-real is more than 2 % from Z = 1 at a state gets a note naming it. "
        "The table shows 7 significant digits; --csv gives every value "
        "exactly (the shortest text that reads back as the same number). An incompressible liquid has "
        "no gamma, M or a: they are shown as 0; a compressible liquid has no M (0). A non-Newtonian "
        "liquid's viscosity needs a shear rate: mu shows n/a (--csv: the library's 1e+40); see "
        "'viscosity'. At most 100000 rows.\n" +
        medium_footer() + "\n" + equilibrium_air_footer());

    const auto run = [props, request, &shared] {
        props_request& args = *request;
        args.Y_given = props->count("--Y") > 0;
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
