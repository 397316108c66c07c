// medium-physics viscosity: a non-Newtonian liquid's viscosity over a range of shear rates at p and
// T, as get_non_newtonian_viscosity answers it.
#include <cmath>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "cli_common.h"
#include "commands.h"

namespace mp_cli {

namespace {

struct viscosity_request {
    std::string medium;
    double p = 101325.0;
    double T = 0.0;
    std::string shear;
    std::vector<double> Y;
    bool Y_given = false;
    bool csv = false;
    bool log = false;
};

// The shear rates of --shear. Evenly spaced: RATE or FROM:TO:STEP, rates from 0 on, TO included
// when a step reaches it. With --log: RATE or FROM:TO:POINTS, POINTS rates per decade at FROM
// times 10^(k/POINTS); a viscosity curve spans decades of shear rate, and even steps would put
// nearly every row in the last decade.
std::vector<double> shear_rates_of(const std::string& text, bool log) {
    const std::string option = "--shear " + text + (log ? " --log" : "");
    const auto parts = split(text, ':');
    std::vector<double> values;
    for (const auto part : parts) values.push_back(parse_number(part).value_or(std::nan("")));
    for (const double v : values)
        if (!std::isfinite(v)) throw command_error(option + ": every value must be a finite number");
    const double from = values[0];
    if (log && !(from > 0.0)) throw command_error(option + ": logarithmic shear rates must be above 0 1/s");
    if (from < 0.0) throw command_error(option + ": shear rates must not be below 0 1/s");
    if (values.size() == 1) return values;

    const double to = values[1], step = values[2];
    if (from > to) throw command_error(option + ": FROM must not be greater than TO");
    double rows = 0.0;
    if (log) {
        if (!(step >= 1.0) || step != std::floor(step))
            throw command_error(option + ": POINTS (per decade) must be a whole number of at least 1");
        // TO is a row when the points reach it up to rounding (log10 of 1000/0.01 may miss 5 by an ulp).
        rows = std::floor(step * std::log10(to / from) + 1e-9) + 1.0;
    } else {
        if (!(step > 0.0)) throw command_error(option + ": STEP must be greater than 0");
        rows = std::floor((to - from) / step * (1.0 + 1e-12)) + 1.0;
    }
    if (!(rows <= kMaxRows))
        throw command_error(option + ": " + (std::isfinite(rows) ? "about " + table_number(rows) : "too many") +
                            " rows; at most " + table_number(kMaxRows) +
                            (log ? " (use fewer POINTS per decade)" : " (use a larger STEP)"));
    std::vector<double> out;
    for (int i = 0; i < static_cast<int>(rows); ++i) {
        // Whole decades come out exact: pow(10, integer) is exact, so 0.01:1000:2 gives 0.1, 1, 10.
        double rate = log ? from * std::pow(10.0, static_cast<double>(i) / step) : from + step * i;
        if (std::fabs(rate - to) <= 1e-9 * to) rate = to;
        out.push_back(rate);
    }
    return out;
}

int run_viscosity(const std::string& data_option, const viscosity_request& request, bool verbose) {
    require_positive("--T", request.T, "K");
    require_positive("--p", request.p, "Pa");
    const std::vector<double> rates = shear_rates_of(request.shear, request.log);
    captured_log log(verbose);
    const open_fluid fluid = open_fluid_medium(data_option, request.medium);
    if (!fluid.non_newtonian)
        throw command_error("\"" + fluid.definition.name + "\" (kind " + fluid.definition.kind +
                            ") is not a non-Newtonian liquid: its viscosity does not depend on the shear rate; see "
                            "'medium-physics props " +
                            request.medium + " --p P --T T'");
    const std::vector<double> Y = mass_fractions_of(fluid.definition, request.Y, request.Y_given);
    log.discard();

    const auto number = request.csv ? exact_number : table_number;
    std::vector<std::vector<std::string>> rows;
    rows.reserve(rates.size());
    for (const double rate : rates) {
        const double mu = fluid.non_newtonian->get_non_newtonian_viscosity(request.p, request.T, Y.data(), rate);
        rows.push_back({number(rate), number(mu)});
    }
    if (!request.csv)
        std::cout << describe(fluid.definition, Y) << "\n"
                  << "at p = " << table_number(request.p) << " Pa, T = " << table_number(request.T) << " K:\n";
    print_rows({"shear [1/s]", "mu [Pa s]"}, rows, request.csv);
    print_library_lines(log.take(), request.csv ? std::cerr : std::cout);
    return kExitOk;
}

}  // namespace

command register_viscosity(CLI::App& app, shared_options& shared) {
    auto request = std::make_shared<viscosity_request>();
    viscosity_request& r = *request;
    auto* viscosity =
        app.add_subcommand("viscosity", "A non-Newtonian liquid's viscosity over a range of shear rates at p and T");
    viscosity->add_option("MEDIUM", r.medium, medium_help())->required();
    viscosity->add_option("--T", r.T, "Temperature [K]")->required();
    viscosity
        ->add_option("--shear", r.shear,
                     "Shear rate [1/s], or FROM:TO:STEP (TO included when reached); with --log FROM:TO:POINTS, "
                     "POINTS rates per decade")
        ->required()
        ->check(range_syntax("RATE", "RATE|FROM:TO:STEP", "shear rate"));
    viscosity->add_flag("--log", r.log,
                        "Logarithmic shear rates: --shear FROM:TO:POINTS gives FROM*10^(k/POINTS), k = 0, 1, ... "
                        "up to TO");
    viscosity->add_option("--p", r.p, "Absolute pressure [Pa]")->capture_default_str();
    viscosity
        ->add_option("--Y", r.Y,
                     "Mass fractions y1,y2,..., one per substance in the medium's order; default: the medium's")
        ->delimiter(',')
        ->allow_extra_args(false);
    viscosity->add_flag("--csv", r.csv, "Comma-separated values with a header row (library lines to stderr)");
    viscosity->add_option("--data", shared.data, data_help());
    viscosity->footer(
        "Columns: shear [1/s], mu [Pa s], one row per shear rate, as the medium's viscosity law "
        "answers (get_non_newtonian_viscosity). Evenly spaced: --shear 0:100:10 gives 0, 10, ..., 100. "
        "Logarithmic: --shear 0.01:1000:2 --log gives 2 rates per decade, 0.01, 0.0316..., 0.1, ..., "
        "1000 (11 rows; FROM above 0, POINTS a whole number). Only non-Newtonian liquids "
        "(kind non_newtonian_liquid) have such a curve. At most 100000 rows.\n" +
        medium_footer());
    const auto run = [viscosity, request, &shared] {
        request->Y_given = viscosity->count("--Y") > 0;
        return run_viscosity(shared.data, *request, shared.verbose);
    };
    return {viscosity, run};
}

}  // namespace mp_cli
