// medium-physics radiation: the gray gases of a gas mixture that holds CO2 and H2O (absorption
// coefficients, weights, the clear gas), its Planck-mean absorption coefficient and the total
// emissivity of a uniform path, as the medium's radiation interfaces answer them.
#include <cmath>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "cli_common.h"
#include "commands.h"
#include "radiation/wsgg.h"

namespace mp_cli {

namespace {

struct radiation_request {
    std::string medium;
    double p = 0.0;
    std::string T;
    std::vector<double> Y;
    bool Y_given = false;
    double L = 1.0;
    bool csv = false;
};

int run_radiation(const std::string& data_option, const radiation_request& request, bool verbose) {
    require_positive("--p", request.p, "Pa");
    require_positive("--L", request.L, "m");
    const std::vector<double> temperatures = temperatures_of(request.T);
    captured_log log(verbose);
    const open_fluid fluid = open_fluid_medium(data_option, request.medium);
    const std::vector<double> Y = mass_fractions_of(fluid.definition, request.Y, request.Y_given);
    log.discard();

    const auto props = fluid.medium->get_radiation_properties();
    const auto gray = std::dynamic_pointer_cast<FluidRadProp::I_gray_gas_radiation>(props);
    if (!gray)
        throw command_error(fluid.definition.name +
                            " has no radiation properties: only the gas mixtures that hold CO2 or H2O have them");

    const std::vector<std::string> headers = {"T [K]",  "k1 [1/m]", "k2 [1/m]", "k3 [1/m]",     "a1",
                                              "a2",     "a3",       "a_clear",  "kP [1/m]", "eps(L)"};
    std::vector<std::vector<std::string>> rows;
    bool outside_T = false;
    for (const double T : temperatures) {
        double k[FluidRadProp::kMaxGrayGases] = {}, a[FluidRadProp::kMaxGrayGases] = {};
        const std::int32_t n = gray->get_gray_gases(request.p, T, Y.data(), k, a);
        double clear = 1.0;
        for (std::int32_t i = 0; i < n; ++i) clear -= a[i];
        const auto number = request.csv ? exact_number : table_number;
        std::vector<std::string> row = {number(T)};
        for (int i = 0; i < 3; ++i) row.push_back(number(k[i]));
        for (int i = 0; i < 3; ++i) row.push_back(number(a[i]));
        row.push_back(number(n > 0 ? clear : 1.0));
        row.push_back(number(props->get_radiation_value(request.p, T, Y.data())));
        row.push_back(number(gray->get_emissivity(request.p, T, Y.data(), request.L)));
        rows.push_back(std::move(row));
        outside_T = outside_T || T < mp::radiation::kWsggTmin || T > mp::radiation::kWsggTmax;
    }
    if (!request.csv) {
        std::cout << describe(fluid.definition, Y) << "\n"
                  << "weighted sum of gray gases (Smith, Shen and Friedman 1982) at p = " << table_number(request.p)
                  << " Pa, path L = " << table_number(request.L) << " m:\n";
    }
    print_rows(headers, rows, request.csv);
    if (!request.csv) {
        std::vector<std::string> notes = {
            "k_i absorption coefficient and a_i weight of gray gas i; the clear gas has k = 0 and weight a_clear; "
            "kP = sum a_i k_i; eps(L) = sum a_i (1 - exp(-k_i L))"};
        if (outside_T) notes.push_back("the fit covers 600 to 2400 K: beyond, the weights are those of the nearer end");
        double x_h2o = 0.0, x_co2 = 0.0;
        const auto& common = fluid.solver;
        for (std::int32_t i = 0; common && i < static_cast<std::int32_t>(fluid.definition.substances.size()); ++i) {
            const std::string& name = fluid.definition.substances[static_cast<std::size_t>(i)];
            const double x = common->get_mole_fraction(request.p, temperatures.front(), Y.data(), i);
            if (name == "H2O") x_h2o += x;
            if (name == "CO2") x_co2 += x;
        }
        const double pL = mp::radiation::pressure_path_length(request.p, x_h2o, x_co2, request.L);
        if (pL < mp::radiation::kWsggPathMin || pL > mp::radiation::kWsggPathMax)
            notes.push_back("(pw + pc) L = " + table_number(pL) + " atm m lies outside the fit's 0.001 to 10 atm m");
        if (std::fabs(request.p / mp::radiation::kAtmosphere - 1.0) > 0.5)
            notes.push_back("the model is fitted at 1 atm total pressure; at other pressures only the partial "
                            "pressures scale k_i");
        print_notes(notes);
    }
    print_library_lines(log.take(), request.csv ? std::cerr : std::cout);
    return kExitOk;
}

}  // namespace

command register_radiation(CLI::App& app, shared_options& shared) {
    auto request = std::make_shared<radiation_request>();
    radiation_request& r = *request;
    auto* radiation = app.add_subcommand(
        "radiation", "The gray gases, Planck-mean absorption coefficient and emissivity of a gas with CO2 and H2O");
    radiation->add_option("MEDIUM", r.medium, medium_help())->required();
    radiation->add_option("--p", r.p, "Absolute pressure [Pa]")->required();
    radiation->add_option("--T", r.T, "Temperature [K], or a range FROM:TO:STEP (TO included when reached)")
        ->required()
        ->check(range_syntax("T", "T|FROM:TO:STEP", "temperature"));
    radiation
        ->add_option("--Y", r.Y,
                     "Mass fractions y1,y2,..., one per substance in the medium's order; default: the medium's")
        ->delimiter(',')
        ->allow_extra_args(false);
    radiation->add_option("--L", r.L, "Path length [m] of the emissivity")->capture_default_str();
    radiation->add_flag("--csv", r.csv, "Comma-separated values with a header row (library lines to stderr)");
    radiation->add_option("--data", shared.data, data_help());
    radiation->footer(
        "Columns: T [K], the absorption coefficients k1..k3 [1/m] and weights a1..a3 of the three gray gases, "
        "the clear gas's weight, the Planck-mean absorption coefficient kP [1/m] (the medium's radiation value) "
        "and the total emissivity of a uniform path of length L. The model is the weighted sum of gray gases "
        "of Smith, Shen and Friedman (J. Heat Transfer 104 (1982) 602), fitted for 600 to 2400 K, "
        "(pw + pc) L of 0.001 to 10 atm m and 1 atm. A medium without CO2 or H2O ends with exit code 1.\n" +
        medium_footer());
    return {radiation, [radiation, request, &shared] {
                request->Y_given = radiation->count("--Y") > 0;
                return run_radiation(shared.data, *request, shared.verbose);
            }};
}

}  // namespace mp_cli
