// medium-physics saturation: a real-gas fluid's saturation line (binodal and spinodals) from the
// library's cubic equation of state, configured from a real-gas material.
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "cli_common.h"
#include "commands.h"
#include "real_gas/crgpropertygenerator.h"

#ifndef MP_DATA_DIR
#error "MP_DATA_DIR must be defined by the build"
#endif

namespace mp_cli {

namespace {

// A saturation pressure at or below this fraction of pc is the binodal's lower bound.
constexpr double kBinodalFloorFraction = 1.0001e-8;

int run_saturation(const real_gas_request& request, bool verbose) {
    const std::vector<double> temperatures = temperatures_of(request.T);
    const real_gas_fluid f = resolve_real_gas_fluid(request);
    captured_log log(verbose);
    const real_gas_setup setup = real_gas_generator(f, log);
    const double Tc = setup.data.Tc;
    for (const double T : temperatures)
        if (!(T < Tc))
            throw command_error("--T " + request.T + ": " + exact_number(T) +
                                " K is not below the critical temperature " + exact_number(Tc) + " K of " + f.name);
    const CRGPropertyGenerator& g = *setup.generator;
    std::vector<std::string> lines = log.take();

    const auto number = request.csv ? exact_number : table_number;
    std::vector<std::vector<std::string>> rows;
    std::vector<std::string> notes;
    for (const double T : temperatures) {
        double psat = 0, vl = 0, vv = 0;
        g.binodal_pont(T, psat, vl, vv);
        // The binodal's bisection does not go below about 1e-8 pc: far below Tc its answer is that
        // bound, not the saturation pressure.
        if (psat > 0.0 && psat <= kBinodalFloorFraction * setup.data.Pc)
            notes.push_back("psat at T = " + table_number(T) +
                            " K is the binodal's lowest pressure (about 1e-8 pc): the saturation pressure of the "
                            "equation lies below it");
        const double pl = g.spinodal_p_liquid(T), pv = g.spinodal_p_vapour(T);
        const bool failed = !(psat > 0.0 && vl > 0.0 && vv > vl);
        if (failed && !request.csv)
            rows.push_back({number(T), "failed", "-", "-", number(pl), number(pv)});
        else
            rows.push_back({number(T), number(psat), number(vl), number(vv), number(pl), number(pv)});
        for (auto& l : log.take()) lines.push_back(std::move(l));
    }
    if (!request.csv) std::cout << describe_real_gas(f.name, setup.data) << "\n";
    print_rows({"T [K]", "psat [Pa]", "v_liquid [m3/kg]", "v_vapour [m3/kg]", "p_spinodal_liquid [Pa]",
                "p_spinodal_vapour [Pa]"},
               rows, request.csv);
    if (!request.csv) print_notes(notes);
    print_library_lines(lines, request.csv ? std::cerr : std::cout);
    return kExitOk;
}

}  // namespace

command register_saturation(CLI::App& app, shared_options& shared) {
    auto request = std::make_shared<real_gas_request>();
    auto* saturation = app.add_subcommand("saturation",
                                          "A real-gas fluid's saturation line from the cubic equation "
                                          "of state");
    add_real_gas_options(saturation, *request);
    saturation->add_option("--T", request->T, "Temperature [K], or a range FROM:TO:STEP (TO included when reached)")
        ->required()
        ->check(range_syntax("T", "T|FROM:TO:STEP", "temperature"));
    saturation->footer(
        "Columns: T [K], psat [Pa], v_liquid and v_vapour [m3/kg] (the binodal by the equal-area "
        "rule), and the liquid and vapour spinodal pressures [Pa]. Temperatures must lie in (0, Tc). "
        "A row whose binodal fails shows \"failed\" (--csv: the library's zeros) and the library's lines "
        "follow the table (--csv: on stderr); the command still succeeds. Far below Tc a psat at the "
        "binodal's lowest pressure (about 1e-8 pc) is noted under the table. "
        "Critical data: the real-gas materials (see 'info'), built in " MP_DATA_DIR "/real_gases.json.");
    const auto run = [saturation, request, &shared] {
        return run_saturation(note_given(saturation, *request), shared.verbose);
    };
    return {saturation, run};
}

}  // namespace mp_cli
