// medium-physics sctable: writes the table file of the single-component gas medium
// ("SingleComponentGas.tables") for a fluid of the real-gas catalogue from the library's cubic
// equation of state, or shows what a table file holds.
#include <cmath>
#include <filesystem>
#include <iostream>
#include <memory>
#include <string>

#include "cli_common.h"
#include "commands.h"
#include "single_component/sc_gas_builder.h"

namespace mp_cli {

namespace {

struct sctable_request {
    real_gas_request gas;
    std::string out;
    std::string show;
    std::string rho;
    std::string T;
    std::int32_t n_rho = mp::single_component::sc_grid_request{}.n_rho;
    std::int32_t n_T = mp::single_component::sc_grid_request{}.n_T;
};

void print_table(const mp::single_component::sc_gas_table& t, const std::string& where) {
    std::cout << where << ": " << t.name.to_utf8() << " (" << guid_utils::ToString(t.identifier).to_utf8() << ")\n"
              << "  M = " << table_number(t.molar_mass) << " kg/mol, R = " << table_number(t.R)
              << " J/(kg K), Tc = " << table_number(t.Tc) << " K, pc = " << table_number(t.pc) << " Pa\n"
              << "  rho " << table_number(std::exp(-t.x1)) << " .. " << table_number(std::exp(-t.x0)) << " kg/m3 on "
              << t.nx << " nodes in ln v, T " << table_number(t.T0) << " .. " << table_number(t.T1) << " K on " << t.nT
              << " nodes\n";
}

int run_sctable(const sctable_request& request, bool verbose) {
    if (!request.show.empty()) {
        mp::single_component::sc_gas_table table;
        std::string why;
        const auto status = mp::single_component::read_sc_gas_file(request.show, table, why);
        if (status != mp::single_component::sc_file_status::ok)
            throw command_error(request.show + ": " + mp::single_component::to_text(status) + " (" + why + ")");
        print_table(table, request.show);
        std::cout << "  checksum valid\n";
        return kExitOk;
    }
    if (request.out.empty()) throw command_error("give --out PATH to write a table, or --show PATH to read one");
    captured_log log(verbose);
    const real_gas_fluid fluid = resolve_real_gas_fluid(request.gas);
    const real_gas_setup setup = real_gas_generator(fluid, log);
    if (!setup.generator->has_ideal_gas_cp())
        throw command_error(fluid.name + " has no ideal-gas heat capacity in the data (" + fluid.origin + ")");
    auto grid = mp::single_component::grid_for_rectangle(*setup.generator, setup.data);
    std::tie(grid.rho_min, grid.rho_max) = range_of(request.rho, "--rho", grid.rho_min, grid.rho_max);
    std::tie(grid.T_min, grid.T_max) = range_of(request.T, "--T", grid.T_min, grid.T_max);
    grid.n_rho = request.n_rho;
    grid.n_T = request.n_T;

    CHostString name, id_text;
    fluid.description->get_name(name);
    fluid.description->get_identifier(id_text);
    host_guid identifier;
    guid_utils::BuildGUIDFromString(id_text, identifier);
    mp::single_component::sc_gas_table table;
    std::string why;
    if (!mp::single_component::build_sc_gas_table(*setup.generator, setup.data, name, identifier, grid, table, why))
        throw command_error(fluid.name + ": " + why);
    if (!mp::single_component::write_sc_gas_file(request.out, table, &why)) throw command_error(request.out + ": " + why);
    std::cout << describe_real_gas(fluid.name, setup.data) << "\n";
    print_table(table, request.out);
    std::cout << "  " << std::filesystem::file_size(request.out) << " bytes written\n";
    print_library_lines(log.take(), std::cout);
    return kExitOk;
}

}  // namespace

command register_sctable(CLI::App& app, shared_options& shared) {
    auto request = std::make_shared<sctable_request>();
    sctable_request& r = *request;
    auto* sctable = app.add_subcommand(
        "sctable", "Writes (or shows) the table file of the single-component gas medium for a real-gas fluid");
    sctable->add_option("FLUID", r.gas.fluid, "A real-gas material (CO2 means CO2-real)");
    sctable->add_option("--out", r.out, "The table file to write (name it SingleComponentGas.tables in the product "
                                        "directory for the factory's operation 16)");
    sctable->add_option("--show", r.show, "A table file to read and describe instead");
    sctable->add_option("--rho", r.rho, "Densities FROM:TO [kg/m3]; default: the gas part of the material's rectangle");
    sctable->add_option("--T", r.T, "Temperatures FROM:TO [K]; default: the material's");
    sctable->add_option("--nodes-rho", r.n_rho, "Nodes in ln v")->capture_default_str();
    sctable->add_option("--nodes-T", r.n_T, "Nodes in T")->capture_default_str();
    sctable->footer(
        "Every node is one state of the library's cubic equation of state at (v, T); the viscosity and "
        "conductivity are the dilute-gas values (Chung et al.; modified Eucken). The table must stay in the gas: "
        "below the critical temperature the densities must lie under 0.98 of the saturated vapour's at the lowest "
        "T. The file carries a CRC-32 trailer and is written atomically; --show checks it.");
    return {sctable, [request, &shared] { return run_sctable(*request, shared.verbose); }};
}

}  // namespace mp_cli
