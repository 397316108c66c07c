// medium-physics flame FUEL --phi PHI[:TO:STEP] --p P --T0 T0 [--oxidizer TEXT] [--csv]: the
// adiabatic flame at constant pressure of a fuel with air (or the given oxidizer) from unburnt
// reactants at T0, by the library's equilibrium engine over the GRI-Mech 3.0 species with the
// nitrogen chemistry (combustion/adiabatic_flame.h). One row per equivalence ratio.
#include <cmath>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "cli_common.h"
#include "combustion/adiabatic_flame.h"
#include "commands.h"

namespace mp_cli {

namespace {

struct flame_request {
    std::string fuel;
    std::string phi = "1";
    double p = 101325.0;
    double T0 = 298.15;
    std::string oxidizer = "O2:0.21,N2:0.79";
    bool csv = false;
};

// The products shown, as far as the species set holds them.
const char* const kShown[] = {"N2", "H2O", "CO2", "CO", "O2", "H2", "OH", "H", "O", "NO", "AR"};

std::vector<double> ratios_of(const std::string& text) {
    const auto parts = split(text, ':');
    std::vector<double> v;
    for (const auto part : parts) v.push_back(parse_number(part).value_or(std::nan("")));
    if (v.size() != 1 && v.size() != 3) throw command_error("--phi " + text + ": PHI or FROM:TO:STEP");
    for (const double x : v)
        if (!std::isfinite(x) || !(x > 0.0)) throw command_error("--phi " + text + ": every value must be above 0");
    if (v.size() == 1) return v;
    if (v[0] > v[1]) throw command_error("--phi " + text + ": FROM must not be greater than TO");
    const double rows = std::floor((v[1] - v[0]) / v[2] * (1.0 + 1e-12)) + 1.0;
    if (!(rows <= 10000.0)) throw command_error("--phi " + text + ": too many rows (use a larger STEP)");
    std::vector<double> out;
    for (int i = 0; i < static_cast<int>(rows); ++i) out.push_back(v[0] + v[2] * i);
    return out;
}

int run_flame(const flame_request& request, bool verbose) {
    using namespace mp::combustion;
    require_positive("--p", request.p, "Pa");
    require_positive("--T0", request.T0, "K");
    const std::vector<double> ratios = ratios_of(request.phi);
    const char* species = fuel_species(request.fuel.c_str());
    if (species == nullptr)
        throw command_error("unknown fuel '" + request.fuel +
                            "': methane, propane, hydrogen, or a GRI-Mech 3.0 species such as CH4, C2H6, H2");
    stream fuel, oxidizer;
    fuel.add(species, 1.0);
    if (!parse_stream(request.oxidizer.c_str(), oxidizer))
        throw command_error("--oxidizer " + request.oxidizer + ": species by mole, e.g. O2:0.21,N2:0.79");
    chemistry chem;
    chemistry_error why;
    const char* bad = nullptr;
    if (!chem.set_up(fuel, oxidizer, true, why, &bad))
        throw command_error(std::string(to_text(why)) + (bad != nullptr ? std::string(": ") + bad : std::string()));
    captured_log log(verbose);
    std::vector<int> shown;
    std::vector<std::string> headers = {"phi", "p", "T0", "T_ad", "M", "rho", "cp", "a"};
    for (const char* name : kShown)
        if (chem.find(name) >= 0) {
            shown.push_back(chem.find(name));
            headers.push_back(std::string("x_") + name);
        }
    const auto number = request.csv ? exact_number : table_number;
    std::vector<std::vector<std::string>> rows;
    for (const double phi : ratios) {
        const flame_result f = adiabatic_flame(chem, phi, request.p, request.T0, nullptr);
        if (f.status != flame_status::ok) {
            print_library_lines(log.take(), std::cerr);
            throw command_error(std::string(to_text(f.status)) + " at phi = " + exact_number(phi));
        }
        std::vector<std::string> row = {number(phi), number(request.p), number(request.T0), number(f.T),
                                        number(f.M),  number(f.rho),    number(f.cp),        number(f.a)};
        for (const int j : shown) row.push_back(number(f.x[j]));
        rows.push_back(std::move(row));
    }
    if (!request.csv)
        std::cout << "adiabatic flame of " << species << " with " << request.oxidizer << " (by mole), "
                  << chem.species_count() << " species in equilibrium\n";
    print_rows(headers, rows, request.csv);
    print_library_lines(log.take(), request.csv ? std::cerr : std::cout);
    return kExitOk;
}

}  // namespace

command register_flame(CLI::App& app, shared_options& shared) {
    auto request = std::make_shared<flame_request>();
    auto* flame = app.add_subcommand("flame", "The adiabatic flame of a fuel with air at constant pressure");
    flame->add_option("FUEL", request->fuel, "methane, propane, hydrogen, or a formula such as CH4, C3H8, H2")
        ->required();
    flame->add_option("--phi", request->phi, "Equivalence ratio, PHI or FROM:TO:STEP (default 1)");
    flame->add_option("--p", request->p, "Pressure [Pa] (default 101325)");
    flame->add_option("--T0", request->T0, "Temperature of the unburnt reactants [K] (default 298.15)");
    flame->add_option("--oxidizer", request->oxidizer, "Oxidizer by mole (default O2:0.21,N2:0.79)");
    flame->add_flag("--csv", request->csv, "Comma-separated values with every digit");
    flame->footer(
        "Columns: phi, p [Pa], T0 [K], T_ad [K] (the equilibrium products with the reactants' enthalpy), "
        "M [kg/mol], rho [kg/m3], cp [J/(kg K), equilibrium], a [m/s, equilibrium speed of sound], then the "
        "mole fractions x_<species> of the major products. Species: GRI-Mech 3.0 with its nitrogen "
        "chemistry; no condensed carbon.");
    return {flame, [flame, request, &shared] { return run_flame(*request, shared.verbose); }};
}

}  // namespace mp_cli
