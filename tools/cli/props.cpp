// medium-physics props: a fluid's properties at pressure p and one or more temperatures, as the
// pressure-based property operation answers them; equilibrium-air goes to
// props_equilibrium_air.cpp.
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "cavitation/c_free_surface_vof_thermodynamics.h"
#include "cli_common.h"
#include "commands.h"

namespace mp_cli {

namespace {

// The composition of a free-surface VOF medium: --alpha (checked by the medium) or the default
// volume fractions, then each phase's own fractions. Other media: --Y or their own.
std::vector<double> composition_of(const open_fluid& fluid, const props_request& request) {
    std::any request_vof = std::shared_ptr<I_solver__free_surface_vof>();
    if (fluid.medium->query_interface(request_vof) != MP_STATUS_OK) {
        if (request.alpha_given) throw command_error("--alpha is only for free-surface VOF media");
        return mass_fractions_of(fluid.definition, request.Y, request.Y_given);
    }
    const auto vof = std::any_cast<std::shared_ptr<I_solver__free_surface_vof>>(request_vof);
    if (request.Y_given) throw command_error("\"" + fluid.definition.name + "\" takes --alpha, its volume fractions");
    std::vector<double> Y = fluid.definition.mass_fractions;
    const auto n = static_cast<std::size_t>(vof->get_phase_count());
    if (request.alpha_given) {
        if (request.alpha.size() != n)
            throw command_error("--alpha has " + std::to_string(request.alpha.size()) + " values; \"" +
                                fluid.definition.name + "\" has " + std::to_string(n) + " phases (" +
                                names_of(fluid.definition.phases) + ")");
        std::copy(request.alpha.begin(), request.alpha.end(), Y.begin());
    }
    if (Y.size() != static_cast<std::size_t>(vof->get_composition_length()))
        throw command_error("\"" + fluid.definition.name + "\": the composition of its phases is not known");
    const char* why = "";
    if (vof->check_volume_fractions(Y.data(), &why) != MP_STATUS_OK) throw command_error(std::string("--alpha: ") + why);
    return Y;
}

// What the two-phase media add below the table.
std::vector<std::string> two_phase_notes(const open_fluid& fluid, double p, const std::vector<double>& Y) {
    std::vector<std::string> notes;
    if (const auto* vof = dynamic_cast<const C_free_surface_vof_thermodynamics*>(fluid.medium.get()))
        notes.push_back(fluid.definition.name + ": " + vof->description() +
                        "; rho = sum(alpha rho_k), h and cp by mass, mu and lambda by volume, a by Wood's relation");
    std::any request = std::shared_ptr<I_solver__isothermal_cavitation>();
    if (fluid.medium->query_interface(request) == MP_STATUS_OK) {
        const auto cav = std::any_cast<std::shared_ptr<I_solver__isothermal_cavitation>>(request);
        double alpha_v = 0.0, alpha_g = 0.0;
        cav->get_void_fractions(p, Y.data(), &alpha_v, &alpha_g);
        notes.push_back(fluid.definition.name + " cavitates below p_v = " + table_number(cav->get_vapour_pressure()) +
                        " Pa at T_c = " + table_number(cav->get_medium_temperature()) +
                        " K (its density holds at T_c whatever T; T enters h only); at p = " + table_number(p) +
                        " Pa the volume holds vapour " + table_number(alpha_v) + ", gas " + table_number(alpha_g));
    }
    return notes;
}

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
        combustible ? std::vector<double>{request.z, 0.0, 0.0} : composition_of(fluid, request);
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
    for (auto& n : two_phase_notes(fluid, request.p, Y)) notes.push_back(std::move(n));
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
    props
        ->add_option("--alpha", r.alpha,
                     "Volume fractions a1,a2,..., one per phase of a free-surface VOF medium, adding up to 1; "
                     "default: the medium's")
        ->delimiter(',')
        ->allow_extra_args(false);
    props->add_option("--z", r.z, "Mixture fraction (0 oxidizer .. 1 fuel); required for, and only for, combustible media");
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
        args.alpha_given = props->count("--alpha") > 0;
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
