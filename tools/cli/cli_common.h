// What the commands of medium-physics share: exit codes and failures, the captured library log, the
// built-in data and the materials and media found in it, numbers and ranges on the command line,
// and the tables, notes and library lines they print. Nothing here computes a property: the
// commands parse, call the library through the standalone host, and print.
#pragma once

#include <CLI/CLI.hpp>

#include <cstdint>
#include <filesystem>
#include <iosfwd>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "medium_physics/i_medium_physics.h"
#include "medium_physics/standalone_host.h"
#include "medium_physics/real_gas_state.h"
#include "real_gas/c_real_gas_substance.h"

namespace mp_cli {

constexpr int kExitOk = 0;
constexpr int kExitFailure = 1;
constexpr int kExitUsage = 2;

// Not a material: `save` builds the obsolete cavitation placeholder for this name, which needs no
// material data and is the one medium every build can create.
constexpr const char* kObsoleteCavitationName = "obsolete-cavitation";

// Not a material either: `props` answers this name from the chemical-equilibrium engine, with the
// built-in tables of the hypersonic medium beside it, at (T, rho) or (T, p).
constexpr const char* kEquilibriumAirName = "equilibrium-air";

// A solid's principal axes when none are given: the coordinate axes (row order).
constexpr solid_axes kCoordinateAxes = {1, 0, 0, 0, 1, 0, 0, 0, 1};

// At most this many rows from a range of temperatures or shear rates.
constexpr double kMaxRows = 100000;

// Failures that end a command with exit code 1; the message is printed as is.
struct command_error : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// ---- the library's log ----------------------------------------------------------------------------

// Keeps the library's log lines off the terminal while a command runs: they are shown only when
// asked for (--verbose) or when they explain a failure.
class captured_log {
public:
    explicit captured_log(bool verbose) : m_verbose(verbose) {}
    ~captured_log();
    captured_log(const captured_log&) = delete;
    captured_log& operator=(const captured_log&) = delete;

    void print_to_stderr(const std::string& indent);
    // The lines written since the last take (or print), which are then no longer held; the
    // property commands report what the library said while answering one request.
    std::vector<std::string> take();
    void discard() { m_capture.clear(); }

private:
    bool m_verbose;
    standalone_host::log_capture m_capture;
};

// ---- the built-in data ------------------------------------------------------------------------------

struct data_directory {
    std::filesystem::path path;
    bool chosen = false;  // named by --data or MEDIUM_PHYSICS_DATA rather than the build default
};

// --data when given, else $MEDIUM_PHYSICS_DATA, else the build's data/materials.
data_directory resolve_data_directory(const std::string& option);
// The help text of --data.
std::string data_help();

struct material {
    std::shared_ptr<standalone_host::CJsonDescription> description;
    std::string file;  // the file name within the data directory
    std::string identifier;
};

struct named_medium {
    standalone_host::medium_definition definition;
    std::string file;
};

// The built-in data: one library over all files (a medium may use another file's materials), and
// for each material and medium the file it came from.
struct builtin_data {
    standalone_host::material_library library;
    std::vector<material> materials;
    std::vector<named_medium> media;
};

// Every material and medium of every *.json file in the directory, files in name order. A missing
// default directory means there are no materials yet; a directory the user named must exist.
builtin_data load_builtin_data(const data_directory& dir);

bool is_solid_kind(const std::string& kind);

// A fresh factory with the standalone host, or a command_error.
std::shared_ptr<I_medium_physics> make_factory();

// ---- numbers and text ---------------------------------------------------------------------------------

std::string pad(const std::string& s, std::size_t width);
std::string pad_left(const std::string& s, std::size_t width);
// The shortest text that reads back as the same double: what the comma-separated output and the
// lists give, so that a script loses nothing.
std::string exact_number(double value);
// Seven significant digits: more than any built-in property table holds, few enough to read.
std::string table_number(double value);
// "a, b, c", or "none".
std::string names_of(const std::vector<std::string>& names);
// "N2 0.7, O2 0.15, ..."
std::string substance_list(const standalone_host::medium_definition& medium);

// The whole text as a double (std::from_chars: no leading '+' or spaces; "nan" and "inf" read).
std::optional<double> parse_number(std::string_view text);
std::vector<std::string_view> split(std::string_view text, char separator);
// The syntax of --T and --shear: one number, or three numbers FROM:TO:STEP. The values are judged
// later, where a wrong one is a bad request (exit 1) rather than a malformed command line (exit 2).
std::string check_range_syntax(const std::string& text, const std::string& single);
// A CLI11 check of that syntax.
CLI::Validator range_syntax(const std::string& single, const std::string& name, const std::string& description);
// The temperatures of --T: one, or FROM:TO:STEP with TO included when a step reaches it.
std::vector<double> temperatures_of(const std::string& text);
// FROM:TO of an option, 0 < FROM < TO; the defaults when empty.
std::pair<double, double> range_of(const std::string& text, const char* option, double from, double to);
void require_positive(const char* option, double value, const char* unit);

// ---- output -------------------------------------------------------------------------------------------

// Right-aligned columns under their headers, or comma-separated values with a header row.
void print_rows(const std::vector<std::string>& headers, const std::vector<std::vector<std::string>>& rows, bool csv);
// What the library wrote while answering, each distinct line once and in order ("library: ..."),
// with how often it came when it repeated (a range of temperatures can give one warning per row).
void print_library_lines(const std::vector<std::string>& lines, std::ostream& out);
// The footnotes under a table, one line each ("note: ...").
void print_notes(const std::vector<std::string>& notes);

// ---- fluid media: props, invert, viscosity -----------------------------------------------------------

// The help of MEDIUM, and the footer that explains a FILE.json argument.
std::string medium_help();
std::string medium_footer();

// A fluid medium created through a fresh factory, with its pressure-based solver interface.
struct open_fluid {
    std::shared_ptr<I_medium_physics> factory;  // first: destroyed after the medium it made
    standalone_host::medium_definition definition;
    fluid_ptr medium;
    std::shared_ptr<I_solver__thermodynamics_P_H> solver;
    // Set when the medium's viscosity depends on the shear rate: its plain viscosity is then a
    // sentinel, not a value to show.
    std::shared_ptr<I_solver__incompressible_non_newton_liquid> non_newtonian;
};

// MEDIUM of the command line (a name known to the data, FILE.json or FILE.json:NAME), created.
open_fluid open_fluid_medium(const std::string& data_option, const std::string& text);
// --Y when given (one value per substance, each in [0, 1], adding up to 1), else the medium's own.
std::vector<double> mass_fractions_of(const standalone_host::medium_definition& medium, const std::vector<double>& Y,
                                      bool given);
// "NAME (kind), mass fractions: ..."
std::string describe(const standalone_host::medium_definition& medium, const std::vector<double>& Y);

// What the library answers as the viscosity of a medium whose viscosity needs a shear rate. The
// table shows "n/a" instead, so that nobody copies 1e+40 into a calculation; --csv keeps the raw
// value, since a script must see exactly what a solver would get.
constexpr const char* kNoShearMu = "n/a";
// The footnotes under a fluid's property table.
std::vector<std::string> notes_of(const open_fluid& fluid, const std::string& argument);

// ---- real-gas media: phase columns and the real-gas note ---------------------------------------------

// The real-gas state interface of a fluid (kinds real_gas and real_gas_phase_change), or null.
std::shared_ptr<I_solver_real_gas> real_gas_state_of(const open_fluid& fluid);
// The phase column's word for a state (liquid, vapour, two-phase, supercritical) and its x column
// (empty outside the dome).
std::string phase_word(const rg_point& state);
std::string vapour_fraction_text(const rg_point& state, bool csv);
// A note when the state left the real-gas tables or an inversion failed (empty otherwise).
std::string real_gas_status_note(std::uint32_t status, double p, double T);
// For an ideal-gas medium of one substance NAME with a real-gas material NAME-real: a note for the
// first temperature at which that real gas's compressibility factor at p differs from 1 by more
// than 2 %; else empty.
std::string real_gas_counterpart_note(const std::string& data_option, const open_fluid& fluid, double p,
                                      const std::vector<double>& temperatures);

// ---- real-gas fluids: saturation, eos, rgtable ---------------------------------------------------------

struct real_gas_request {
    std::string fluid;  // empty: the explicit data below
    double Tc = 0.0, Pc = 0.0, Zc = 0.0, omega = 0.0, M = 0.0;
    bool Tc_given = false, Pc_given = false, Zc_given = false, omega_given = false, M_given = false;
    std::int32_t model = 3;
    bool model_given = false;
    std::string T;
    double p = 0.0, T_point = 0.0;
    bool csv = false;
    // rgtable
    std::string p_range, T_range, save, load;
    std::int32_t samples = 4000;
    std::uint32_t seed = 1;
};

// The options every real-gas command has: FLUID, --model, the critical data, --csv.
void add_real_gas_options(CLI::App* command, real_gas_request& request);
// Notes which of them the parsed command line gave.
real_gas_request& note_given(const CLI::App* command, real_gas_request& request);

// The fluid of a real-gas command: a real-gas material, or the explicit critical data composed into
// one, each with the --model and --Zc given applied.
struct real_gas_fluid {
    std::string name;    // as the tables name it: FLUID as given, or "(given)"
    std::string origin;  // the material file, or what stands for the explicit data
    std::shared_ptr<standalone_host::CJsonDescription> description;
};

// FLUID (a real-gas material, else the material FLUID-real) or the explicit critical data, whose
// numbers are checked here with the words of the options.
real_gas_fluid resolve_real_gas_fluid(const real_gas_request& request);

// The library's generator for a fluid (configure_rg_generator) and the data it was configured
// from (Tc [K], Pc [Pa], Zc, omega, M [kg/mol], model, the table rectangle Tmin..Tmax [K] and
// pmin..pmax [Pa]); the generator alone holds the ideal-gas cp.
struct real_gas_setup {
    std::shared_ptr<CRGPropertyGenerator> generator;
    rg_substance_parameters data;
};
// A command_error with the library's lines when it refuses the data.
real_gas_setup real_gas_generator(const real_gas_fluid& fluid, captured_log& log);
// "NAME: Tc = ... K, pc = ... Pa, ...; cubic equation of state, model N"
std::string describe_real_gas(const std::string& name, const rg_substance_parameters& data);

}  // namespace mp_cli
