// medium-physics props equilibrium-air: air in chemical equilibrium from the library's engine
// (mp::equilibrium::air::solve) at (T, rho) or (T, p), beside the hypersonic medium's built-in
// tables at the same T and rho (mp::hypersonic::table_set::at_T_rho, at_p_T). Either may answer
// alone: the engine beyond the tables, the tables below the engine's species data.
#include <algorithm>
#include <array>
#include <cstdio>
#include <iostream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "cli_common.h"
#include "commands.h"
#include "equilibrium/equilibrium_air.h"
#include "hypersonic/hypersonic_tables.h"

namespace mp_cli {

namespace {

namespace air = mp::equilibrium::air;

// One state from the engine, and the tables' values at its (T, rho) when it lies inside them.
// When the engine has no answer, the tables' own state (at the given density, or at the density
// their (p, T) query finds).
struct equilibrium_air_point {
    air::solution engine;
    bool in_tables = false;
    mp::hypersonic::table_state table;
    double T = 0.0, rho = 0.0;  // K, kg/m3: the state shown
};

std::string tables_range(const mp::hypersonic::table_layout& layout) {
    return "T " + table_number(layout.T_min) + " to " + table_number(layout.T_max) + " K, rho " +
           table_number(layout.rho_low) + " to " + table_number(layout.rho_high()) + " kg/m3";
}

// Why the engine gave no state, in words.
std::string failure_text(air::failure reason, double T) {
    switch (reason) {
    case air::failure::refused:
    case air::failure::not_converged: {
        std::string text = reason == air::failure::refused ? "the equilibrium engine refused the input"
                                                           : "the equilibrium engine did not converge";
        double low = 0.0, high = 0.0;
        air::species_data_range(low, high);
        if (T < low || T > high)
            text += " (its species data cover " + table_number(low) + " to " + table_number(high) + " K)";
        return text;
    }
    case air::failure::not_evaluated:
        return "the equilibrium engine solved the composition but could not evaluate its properties";
    case air::failure::no_transport:
        return "the viscosity and conductivity of the equilibrium composition could not be computed";
    case air::failure::below_species_data: {
        double low = 0.0, high = 0.0;
        air::species_data_range(low, high);
        return "below the engine's species data, " + table_number(low) + " to " + table_number(high) + " K";
    }
    case air::failure::none: break;
    }
    return {};
}

// Solves one state: at (T, rho), or at (T, p) and then the tables at the density found. When the
// engine has no answer the tables answer alone; when neither does the command fails with the
// engine's reason.
equilibrium_air_point solve_equilibrium_air(const mp::equilibrium::mixture& mixture,
                                            const mp::hypersonic::table_set* tables, const props_request& request,
                                            double T, captured_log& log) {
    equilibrium_air_point point;
    point.T = T;
    point.engine = request.rho_given ? air::solve(mixture, T, air::given::density, request.rho)
                                     : air::solve(mixture, T, air::given::pressure, request.p);
    if (point.engine.solved()) {
        point.rho = point.engine.engine.rho;
    } else if (tables) {
        point.rho = request.rho_given ? request.rho : tables->at_p_T(request.p, T).rho;
    }
    if (tables && (point.engine.solved() || point.rho > 0.0) && tables->holds(T, point.rho)) {
        point.in_tables = true;
        point.table = tables->at_T_rho(T, point.rho);
    }
    if (!point.engine.solved() && !point.in_tables) {
        std::ostringstream message;
        message << kEquilibriumAirName << " at T = " << exact_number(T) << " K, "
                << (request.rho_given ? "rho = " + exact_number(request.rho) + " kg/m3"
                                      : "p = " + exact_number(request.p) + " Pa")
                << ": " << failure_text(point.engine.reason, T) << ", and the state lies outside the tables\n";
        print_library_lines(log.take(), message);
        std::string text = message.str();
        text.pop_back();  // the error printer ends the line
        throw command_error(text);
    }
    return point;
}

// Lines of cells: the first left-aligned, the others right-aligned under each other; a line of one
// cell is a heading and is printed as it is.
void print_aligned(const std::vector<std::vector<std::string>>& lines) {
    std::vector<std::size_t> widths;
    for (const auto& cells : lines) {
        if (cells.size() < 2) continue;
        if (widths.size() < cells.size()) widths.resize(cells.size(), 0);
        for (std::size_t i = 0; i < cells.size(); ++i) widths[i] = std::max(widths[i], cells[i].size());
    }
    for (const auto& cells : lines) {
        std::string out = "  ";
        if (cells.size() < 2) {
            out += cells.empty() ? std::string() : cells[0];
        } else {
            for (std::size_t i = 0; i < cells.size(); ++i)
                out += i == 0 ? pad(cells[i], widths[i]) : "  " + pad_left(cells[i], widths[i]);
        }
        while (!out.empty() && out.back() == ' ') out.pop_back();
        std::cout << out << "\n";
    }
}

// (tables - engine) / engine in percent.
std::string relative_difference(double table, double engine) {
    std::array<char, 64> buffer{};
    std::snprintf(buffer.data(), buffer.size(), "%+.2g %%", 100.0 * (table - engine) / engine);
    return buffer.data();
}

void print_equilibrium_air_point(const equilibrium_air_point& point, const props_request& request,
                                 const mp::hypersonic::table_set* tables) {
    const bool engine = point.engine.solved();
    const auto& e = point.engine.engine;
    const auto& t = point.table;
    std::cout << "T = " << table_number(point.T) << " K, ";
    if (request.rho_given)
        std::cout << "rho = " << table_number(point.rho) << " kg/m3\n";
    else
        std::cout << "p = " << table_number(request.p) << " Pa: rho = " << table_number(point.rho) << " kg/m3"
                  << (engine ? "" : " (from the tables)") << "\n";
    if (!tables)
        std::cout << "  (the built-in tables are not available in this build)\n";
    else if (!point.in_tables)
        std::cout << "  outside the tables (" << tables_range(tables->layout()) << "): the engine alone\n";
    if (!engine)
        std::cout << "  the engine has no answer (" << failure_text(point.engine.reason, point.T)
                  << "): the tables alone\n";

    struct quantity {
        const char* name;
        const double* engine;  // nullptr: not an engine value
        const double* table;   // nullptr: not a table value
    };
    const quantity quantities[] = {
        {"p [Pa]", &e.p, &t.p},
        {"T [K]", &e.T, nullptr},
        {"rho [kg/m3]", &e.rho, nullptr},
        {"e [J/kg]", &e.e, &t.e},
        {"h [J/kg]", &e.h, &t.h},
        {"cp [J/(kg K)]", &e.cp, &t.cp},
        {"gamma", &e.gamma, &t.gamma},
        {"M [kg/mol]", &e.molar_mass, &t.M},
        {"a [m/s]", &e.sound_speed, &t.a_eq},
        {"sqrt(p gamma/rho) [m/s]", nullptr, &t.a},
        {"mu [Pa s]", &point.engine.viscosity_Pa_s, &t.mu},
        {"lambda [W/(m K)]", &point.engine.conductivity_W_mK, &t.lambda},
    };
    std::vector<std::vector<std::string>> lines;
    if (point.in_tables)
        lines.push_back({"", "engine", "tables", "difference"});
    else
        lines.push_back({"", "engine"});
    for (const auto& q : quantities) {
        if (!point.in_tables && q.engine == nullptr) continue;
        std::vector<std::string> cells = {q.name, engine && q.engine ? table_number(*q.engine) : std::string("-")};
        if (point.in_tables) {
            cells.push_back(q.table ? table_number(*q.table) : std::string("-"));
            cells.push_back(engine && q.engine && q.table ? relative_difference(*q.table, *q.engine) : std::string());
        }
        lines.push_back(std::move(cells));
    }
    if (engine) {
        lines.push_back({"mole fractions:"});
        const auto& set = air::species();
        for (int j = 0; j < set.species_count(); ++j) lines.push_back({set.at(j).name, table_number(e.x[j])});
    }
    print_aligned(lines);
}

std::vector<std::string> equilibrium_air_csv_header() {
    std::vector<std::string> header = {"p", "T", "rho", "e", "h", "cp", "gamma", "M", "a", "mu", "lambda"};
    const auto& set = air::species();
    for (int j = 0; j < set.species_count(); ++j) header.push_back(std::string("x_") + set.at(j).name);
    for (const char* name : {"p", "e", "gamma", "cp", "M", "mu", "lambda", "a", "a_eq"})
        header.push_back(std::string("table_") + name);
    return header;
}

std::vector<std::string> equilibrium_air_csv_row(const equilibrium_air_point& point) {
    const bool engine = point.engine.solved();
    const auto& e = point.engine.engine;
    std::vector<std::string> row;
    // Without the engine's answer its cells stay empty but T and rho, which the state is given by.
    for (const double v : {e.p, e.T, e.rho, e.e, e.h, e.cp, e.gamma, e.molar_mass, e.sound_speed,
                           point.engine.viscosity_Pa_s, point.engine.conductivity_W_mK})
        row.push_back(engine ? exact_number(v) : std::string());
    if (!engine) {
        row[1] = exact_number(point.T);
        row[2] = exact_number(point.rho);
    }
    const auto& set = air::species();
    for (int j = 0; j < set.species_count(); ++j) row.push_back(engine ? exact_number(e.x[j]) : std::string());
    // Outside the tables these cells stay empty.
    const auto& t = point.table;
    for (const double v : {t.p, t.e, t.gamma, t.cp, t.M, t.mu, t.lambda, t.a, t.a_eq})
        row.push_back(point.in_tables ? exact_number(v) : std::string());
    return row;
}

}  // namespace

std::string equilibrium_air_footer() {
    return std::string(kEquilibriumAirName) +
           " (with exactly one of --rho and --p, no --Y): air of 79 % N2 and 21 % O2 by mole in chemical "
           "equilibrium over N2, O2, NO, N, O, N2+, O2+, NO+, N+, O+ and e-, solved by the library's engine "
           "at every density; for each T the state p [Pa], T [K], rho [kg/m3], e and h [J/kg] (enthalpies "
           "of formation included: zero for N2 and O2 at 298.15 K), cp [J/(kg K)], gamma = cp/cv, M "
           "[kg/mol], a [m/s] (equilibrium speed of sound), mu [Pa s], lambda [W/(m K)] (frozen) and the "
           "11 mole fractions, then the hypersonic medium's built-in tables at the same T and rho (for --p: "
           "the density the engine finds) with their relative difference, the tables' a being the equilibrium speed of "
           "sound a_eq from their isentropic exponent; outside the tables (" +
           tables_range(mp::hypersonic::default_layout()) +
           ") the engine alone, and where the engine has no species data (below 200 K) the tables alone (their "
           "frozen ideal air; for --p at the density of their own (p, T) query). The medium's own sound speed, "
           "sqrt(p gamma/rho), is shown beside them. mu and lambda ignore collisions "
           "between charged particles: indicative only where the air is strongly ionised (above about "
           "9000 K at low density). --csv columns: p,T,rho,e,h,cp,gamma,M,a,mu,lambda, "
           "x_N2,x_O2,x_NO,x_N,x_O,x_N2+,x_O2+,x_NO+,x_N+,x_O+,x_e-, "
           "table_p,table_e,table_gamma,table_cp,table_M,table_mu,table_lambda,table_a,table_a_eq (table_a = "
           "sqrt(p gamma/rho), table_a_eq the equilibrium speed of sound; the table cells empty outside the "
           "tables, the engine's cells but T and rho empty where it has no answer). A state that neither "
           "the engine nor the tables answer ends the command with exit code 1.";
}

int run_props_equilibrium_air(const props_request& request, bool verbose) {
    // Which of --rho and --p is checked by the caller: that is the shape of the command line.
    if (request.rho_given)
        require_positive("--rho", request.rho, "kg/m3");
    else
        require_positive("--p", request.p, "Pa");
    if (request.Y_given)
        throw command_error(std::string("--Y: ") + kEquilibriumAirName +
                            " has a fixed composition (N2 0.79, O2 0.21 by mole before it reacts)");
    const std::vector<double> temperatures = temperatures_of(request.T);
    captured_log log(verbose);
    const mp::equilibrium::mixture mixture = air::make_air();
    const std::shared_ptr<const mp::hypersonic::table_set> tables = mp::hypersonic::builtin_tables();
    log.discard();  // what reading the tables said is not about these states

    // Every state is solved before anything is printed: a failure leaves no partial output.
    std::vector<equilibrium_air_point> points;
    points.reserve(temperatures.size());
    for (const double T : temperatures) points.push_back(solve_equilibrium_air(mixture, tables.get(), request, T, log));

    if (request.csv) {
        std::vector<std::vector<std::string>> rows;
        rows.reserve(points.size());
        for (const auto& point : points) rows.push_back(equilibrium_air_csv_row(point));
        print_rows(equilibrium_air_csv_header(), rows, true);
    } else {
        std::cout << kEquilibriumAirName
                  << ": air (N2 0.79, O2 0.21 by mole) in chemical equilibrium over 11 species, from the library's "
                     "equilibrium engine; beside it the hypersonic medium's built-in tables at the same T and rho\n"
                     "e and h include the enthalpies of formation (zero for N2 and O2 at 298.15 K); cp, gamma = "
                     "cp/cv and a are the equilibrium values\n";
        bool any_in_tables = false;
        for (const auto& point : points) {
            std::cout << "\n";
            print_equilibrium_air_point(point, request, tables.get());
            any_in_tables = any_in_tables || point.in_tables;
        }
        if (any_in_tables)
            print_notes(
                {"a is the equilibrium speed of sound, sqrt(kappa p/rho) with the isentropic exponent kappa (the "
                 "tables hold kappa; the hypersonic medium answers it through I_solver_equilibrium_sound_speed); "
                 "sqrt(p gamma/rho) is the sound speed of the medium's solver interfaces, higher where the "
                 "composition changes with density"});
    }
    print_library_lines(log.take(), request.csv ? std::cerr : std::cout);
    return kExitOk;
}

}  // namespace mp_cli
