// medium-physics eos: a real-gas fluid's single-phase state at p and T from the library's cubic
// equation of state, configured from a real-gas material.
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "cli_common.h"
#include "commands.h"
#include "real_gas/crgpropertygenerator.h"

namespace mp_cli {

namespace {

int run_eos(const real_gas_request& request, bool verbose) {
    require_positive("--p", request.p, "Pa");
    require_positive("--T", request.T_point, "K");
    const real_gas_fluid f = resolve_real_gas_fluid(request);
    captured_log log(verbose);
    const real_gas_setup setup = real_gas_generator(f, log);
    const CRGPropertyGenerator& g = *setup.generator;
    if (!g.has_ideal_gas_cp())
        throw command_error(f.name + " has no ideal-gas heat capacity in the data (" + f.origin +
                            "): its caloric properties cannot be formed; 'saturation' needs none");
    rg_state s;
    const bool ok = g.state_pT(request.p, request.T_point, s);
    const std::vector<std::string> lines = log.take();
    if (!ok) {
        print_library_lines(lines, std::cerr);
        throw command_error("the state at p = " + exact_number(request.p) +
                            " Pa, T = " + exact_number(request.T_point) + " K cannot be formed");
    }
    const auto number = request.csv ? exact_number : table_number;
    if (!request.csv) std::cout << describe_real_gas(f.name, setup.data) << "\n";
    print_rows({"p [Pa]", "T [K]", "roots", "rho [kg/m3]", "h [J/kg]", "s [J/(kg K)]", "cp [J/(kg K)]", "a [m/s]", "Z"},
               {{number(request.p), number(request.T_point), std::to_string(s.roots), number(s.rho), number(s.h),
                 number(s.s), number(s.cp), number(s.w), number(s.Z)}},
               request.csv);
    print_library_lines(lines, request.csv ? std::cerr : std::cout);
    return kExitOk;
}

}  // namespace

command register_eos(CLI::App& app, shared_options& shared) {
    auto request = std::make_shared<real_gas_request>();
    auto* eos = app.add_subcommand("eos",
                                   "A real-gas fluid's single-phase state at p and T from the cubic equation of "
                                   "state");
    add_real_gas_options(eos, *request);
    eos->add_option("--p", request->p, "Absolute pressure [Pa]")->required();
    eos->add_option("--T", request->T_point, "Temperature [K]")->required();
    eos->footer(
        "Columns: p [Pa], T [K], roots (volume roots of the cubic at p, T: 1 or 3), and of the stable "
        "phase rho [kg/m3], h [J/kg] (ideal-gas enthalpy from 0 K), s [J/(kg K)] (ideal gas at 298.15 K, "
        "101325 Pa), cp [J/(kg K)], a (speed of sound) [m/s], Z = p v/(R T). Needs the fluid's ideal-gas "
        "heat capacity.");
    return {eos, [eos, request, &shared] { return run_eos(note_given(eos, *request), shared.verbose); }};
}

}  // namespace mp_cli
