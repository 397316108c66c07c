// medium-physics invert: a fluid's state from its total enthalpy H at pressure p, as the
// pressure-based property operation get_properties_p_H answers it, or from its density and
// internal energy, as the density-based get_properties_rho_e answers it.
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
    double rho = 0.0;
    double e = 0.0;
    bool density_based = false;  // --rho and --e instead of --p and --H
    bool csv = false;
};

int run_invert(const std::string& data_option, const invert_request& request, bool verbose) {
    if (request.density_based) require_positive("--rho", request.rho, "kg/m3");
    else require_positive("--p", request.p, "Pa");
    require_positive("--T0", request.T0, "K");
    // H and e are passed as given, even when not finite: what the library answers then is worth seeing.
    if (!std::isfinite(request.G2) || request.G2 < 0.0)
        throw command_error("--G2 " + exact_number(request.G2) + ": must be a finite number of at least 0 kg2/(m4 s2)");
    captured_log log(verbose);
    const open_fluid fluid = open_fluid_medium(data_option, request.medium);
    const std::vector<double>& Y = fluid.definition.mass_fractions;
    log.discard();

    double rho = 0, T = 0, cp = 0, gamma = 0, M = 0, a = 0, mu = 0, lambda = 0, p = 0;
    const auto real_gas = real_gas_state_of(fluid);
    rg_point state;
    std::uint32_t status = 0;
    if (request.density_based) {
        std::any request_e = std::shared_ptr<I_solver__thermodynamics_Rho_E>();
        if (fluid.medium->query_interface(request_e) != MP_STATUS_OK)
            throw command_error("\"" + fluid.definition.name + "\" (kind " + fluid.definition.kind +
                                ") does not answer the density-based property operations");
        const auto density = std::any_cast<std::shared_ptr<I_solver__thermodynamics_Rho_E>>(request_e);
        density->get_properties_rho_e(request.e, request.rho, Y.data(), request.T0, &p, &T, &cp, &gamma, &M, &a, &mu,
                                      &lambda);
        rho = request.rho;
        if (real_gas) status = real_gas->get_state_rho_e(request.e, request.rho, Y.data(), request.T0, &state);
    } else {
        fluid.solver->get_properties_p_H(request.H, request.p, Y.data(), request.G2, request.T0, &rho, &T, &cp, &gamma,
                                         &M, &a, &mu, &lambda, &p);
        if (real_gas)
            status = real_gas->get_state_p_H(request.H, request.p, Y.data(), request.G2, request.T0, &state);
    }
    std::vector<std::string> names = {"T [K]",   "rho [kg/m3]", "cp [J/(kg K)]",    "gamma", "M [kg/mol]",
                                      "a [m/s]", "mu [Pa s]",   "lambda [W/(m K)]", "p [Pa]"};
    const auto number = request.csv ? exact_number : table_number;
    std::vector<std::string> texts;
    for (const double v : {T, rho, cp, gamma, M, a, mu, lambda, p}) texts.push_back(number(v));
    if (real_gas) {
        names.insert(names.end(), {"phase", "x"});
        texts.push_back(phase_word(state));
        texts.push_back(vapour_fraction_text(state, request.csv));
    }
    const auto library_lines = log.take();
    std::vector<std::string> real_gas_notes;
    if (const auto n = real_gas_status_note(status, p, T); !n.empty()) real_gas_notes.push_back(n);
    if (const auto n = real_gas_counterpart_note(data_option, fluid, p, {T}); !n.empty()) real_gas_notes.push_back(n);
    std::vector<std::string> notes = notes_of(fluid, request.medium);
    notes.insert(notes.end(), real_gas_notes.begin(), real_gas_notes.end());
    if (request.csv) {
        // comma-separated output stays parseable: the real-gas notes go to stderr
        print_rows(names, {texts}, true);
        for (const auto& n : real_gas_notes) std::cerr << "note: " << n << "\n";
    } else {
        std::cout << describe(fluid.definition, Y) << "\n";
        if (request.density_based)
            std::cout << "from rho = " << table_number(request.rho) << " kg/m3, e = " << table_number(request.e)
                      << " J/kg, start T0 = " << table_number(request.T0) << " K:\n";
        else
            std::cout << "from H = " << table_number(request.H) << " J/kg at p = " << table_number(request.p)
                      << " Pa, G2 = " << table_number(request.G2) << " kg2/(m4 s2), start T0 = "
                      << table_number(request.T0) << " K:\n";
        std::size_t width = 0;
        for (const auto& n : names) width = std::max(width, n.size());
        for (std::size_t i = 0; i < names.size(); ++i) {
            const bool no_shear_mu = fluid.non_newtonian && names[i] == "mu [Pa s]";
            std::cout << "  " << pad(names[i], width) << "  " << (no_shear_mu ? kNoShearMu : texts[i]) << "\n";
        }
        print_notes(notes);
    }
    print_library_lines(library_lines, request.csv ? std::cerr : std::cout);
    return kExitOk;
}

}  // namespace

command register_invert(CLI::App& app, shared_options& shared) {
    auto request = std::make_shared<invert_request>();
    invert_request& r = *request;
    auto* invert = app.add_subcommand(
        "invert", "A fluid's state from its total enthalpy H at pressure p, or from its density and internal energy");
    invert->add_option("MEDIUM", r.medium, medium_help())->required();
    auto* p = invert->add_option("--p", r.p, "Absolute pressure [Pa] (with --H)");
    auto* H = invert->add_option("--H", r.H, "Total enthalpy [J/kg] (static plus kinetic; with --p)");
    auto* rho = invert->add_option("--rho", r.rho, "Density [kg/m3] (with --e, instead of --p and --H)");
    auto* e = invert->add_option("--e", r.e, "Internal energy [J/kg] (with --rho)");
    p->needs(H);
    H->needs(p);
    rho->needs(e);
    e->needs(rho);
    p->excludes(rho);
    H->excludes(e);
    invert->add_option("--G2", r.G2, "Squared mass flux (rho u)^2 [kg2/(m4 s2)]")->capture_default_str();
    invert->add_option("--T0", r.T0, "Start temperature of the iteration [K]")->capture_default_str();
    invert->add_flag("--csv", r.csv, "Comma-separated values with a header row (library lines to stderr)");
    invert->add_option("--data", shared.data, data_help());
    invert->footer(
        "Either --p and --H (get_properties_p_H) or --rho and --e (get_properties_rho_e). "
        "Prints T, rho, cp, gamma, M, a, mu, lambda and p as the library answers them (a real-gas medium adds "
        "phase and x, as props does), then every line "
        "the library logged while answering (\"library: ...\"). When the iteration fails the library "
        "answers the start temperature T0 and logs a warning; the command still succeeds. A non-Newtonian "
        "liquid's mu shows n/a (--csv: the library's 1e+40): see 'viscosity'.\n" +
        medium_footer());
    return {invert, [invert, request, &shared] {
                request->density_based = invert->count("--rho") > 0;
                if (!request->density_based && invert->count("--p") == 0) {
                    std::cerr << "medium-physics invert: --p and --H, or --rho and --e, are required\n"
                                 "Run with --help for more information.\n";
                    return kExitUsage;
                }
                return run_invert(shared.data, *request, shared.verbose);
            }};
}

}  // namespace mp_cli
