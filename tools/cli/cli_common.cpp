// The helpers the commands of medium-physics share (cli_common.h).
#include "cli_common.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <any>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <map>
#include <ostream>
#include <sstream>
#include <system_error>
#include <utility>

#include "liquid/c_inc_nn_liquid_thermodynamics.h"
#include "real_gas/c_real_gas_substance.h"
#include "real_gas/crgpropertygenerator.h"

#ifndef MP_DATA_DIR
#error "MP_DATA_DIR must be defined by the build"
#endif

namespace fs = std::filesystem;

namespace mp_cli {

// ---- the library's log ----------------------------------------------------------------------------

captured_log::~captured_log() {
    if (m_verbose) print_to_stderr("");
}

void captured_log::print_to_stderr(const std::string& indent) {
    for (const auto& line : m_capture.lines()) std::cerr << indent << line.text;
    m_capture.clear();
}

std::vector<std::string> captured_log::take() {
    std::vector<std::string> texts;
    for (auto& line : m_capture.lines()) texts.push_back(std::move(line.text));
    m_capture.clear();
    return texts;
}

// ---- the built-in data ------------------------------------------------------------------------------

data_directory resolve_data_directory(const std::string& option) {
    if (!option.empty()) return {fs::path(option), true};
    if (const char* env = std::getenv("MEDIUM_PHYSICS_DATA"); env != nullptr && *env != '\0')
        return {fs::path(env), true};
    return {fs::path(MP_DATA_DIR), false};
}

std::string data_help() {
    return "Directory of the built-in material files (*.json); default: $MEDIUM_PHYSICS_DATA, else " MP_DATA_DIR;
}

builtin_data load_builtin_data(const data_directory& dir) {
    builtin_data data;
    std::error_code ec;
    if (!fs::is_directory(dir.path, ec)) {
        if (dir.chosen) throw command_error("data directory " + dir.path.string() + " does not exist");
        return data;
    }
    std::vector<fs::path> files;
    for (const auto& entry : fs::directory_iterator(dir.path))
        if (entry.is_regular_file() && entry.path().extension() == ".json") files.push_back(entry.path());
    std::sort(files.begin(), files.end());

    std::map<std::string, std::string> file_of_name;
    for (const auto& file : files) {
        const std::string file_name = file.filename().string();
        const std::size_t materials_before = data.library.materials().size();
        const std::size_t media_before = data.library.media().size();
        try {
            data.library.add_file(file.string());
        } catch (const std::exception& e) {
            // The library names a repeated material by its index only; a name defined in two files
            // is worth saying with both file names. Only this failure path reads the file again.
            std::vector<std::shared_ptr<standalone_host::CJsonDescription>> alone;
            try {
                alone = standalone_host::load_materials(file.string());
            } catch (const std::exception&) {}
            for (const auto& d : alone)
                if (const auto it = file_of_name.find(d->name_utf8()); it != file_of_name.end())
                    throw command_error("material \"" + d->name_utf8() + "\" is defined in both " + it->second +
                                        " and " + file_name);
            throw command_error(std::string("bad material file: ") + e.what());
        }
        const auto& all = data.library.materials();
        for (std::size_t i = materials_before; i < all.size(); ++i) {
            file_of_name.emplace(all[i]->name_utf8(), file_name);
            data.materials.push_back({all[i], file_name, all[i]->identifier_utf8()});
        }
        const auto& media = data.library.media();
        for (std::size_t i = media_before; i < media.size(); ++i) data.media.push_back({media[i], file_name});
    }
    return data;
}

bool is_solid_kind(const std::string& kind) {
    return kind == "heatconducting_solid" || kind == "electroconducting_solid";
}

std::shared_ptr<I_medium_physics> make_factory() {
    std::shared_ptr<I_medium_physics> factory;
    if (create_medium_physics(factory, std::make_shared<standalone_host::CStandaloneHost>()) != MP_STATUS_OK ||
        !factory)
        throw command_error("the factory could not be created");
    return factory;
}

// ---- numbers and text ---------------------------------------------------------------------------------

std::string pad(const std::string& s, std::size_t width) {
    return s.size() >= width ? s : s + std::string(width - s.size(), ' ');
}

std::string pad_left(const std::string& s, std::size_t width) {
    return s.size() >= width ? s : std::string(width - s.size(), ' ') + s;
}

std::string exact_number(double value) {
    std::array<char, 64> buffer{};
    const auto result = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value);
    return std::string(buffer.data(), result.ptr);
}

std::string table_number(double value) {
    std::array<char, 64> buffer{};
    std::snprintf(buffer.data(), buffer.size(), "%.7g", value);
    return buffer.data();
}

std::string names_of(const std::vector<std::string>& names) {
    std::string out;
    for (const auto& n : names) out += (out.empty() ? "" : ", ") + n;
    return out.empty() ? "none" : out;
}

std::string substance_list(const standalone_host::medium_definition& medium) {
    std::string out;
    for (std::size_t i = 0; i < medium.substances.size(); ++i) {
        if (i > 0) out += ", ";
        out += medium.substances[i];
        if (i < medium.mass_fractions.size()) out += " " + exact_number(medium.mass_fractions[i]);
    }
    return out;
}

std::optional<double> parse_number(std::string_view text) {
    double value = 0.0;
    const char* end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, value);
    if (result.ec != std::errc() || result.ptr != end) return std::nullopt;
    return value;
}

std::vector<std::string_view> split(std::string_view text, char separator) {
    std::vector<std::string_view> parts;
    for (std::size_t start = 0;;) {
        const std::size_t at = text.find(separator, start);
        parts.push_back(text.substr(start, at == std::string_view::npos ? std::string_view::npos : at - start));
        if (at == std::string_view::npos) return parts;
        start = at + 1;
    }
}

std::string check_range_syntax(const std::string& text, const std::string& single) {
    const auto parts = split(text, ':');
    if (parts.size() != 1 && parts.size() != 3) return "expected " + single + " or FROM:TO:STEP, not " + text;
    for (const auto part : parts)
        if (!parse_number(part))
            return "\"" + std::string(part) + "\" is not a number" + (parts.size() > 1 ? " (in " + text + ")" : "");
    return {};
}

CLI::Validator range_syntax(const std::string& single, const std::string& name, const std::string& description) {
    return CLI::Validator([single](std::string& text) { return check_range_syntax(text, single); }, name, description);
}

std::vector<double> temperatures_of(const std::string& text) {
    const auto parts = split(text, ':');
    std::vector<double> values;
    for (const auto part : parts) values.push_back(parse_number(part).value_or(std::nan("")));
    for (const double v : values)
        if (!std::isfinite(v)) throw command_error("--T " + text + ": every value must be a finite number");
    if (values.size() == 1) {
        if (values[0] <= 0.0) throw command_error("--T " + text + ": the temperature must be above 0 K");
        return values;
    }
    const double from = values[0], to = values[1], step = values[2];
    if (step <= 0.0) throw command_error("--T " + text + ": STEP must be greater than 0");
    if (from > to) throw command_error("--T " + text + ": FROM must not be greater than TO");
    if (from <= 0.0) throw command_error("--T " + text + ": the temperatures must be above 0 K");
    // TO itself is a row when the steps reach it up to rounding (0.1:0.3:0.1 has three rows).
    const double rows = std::floor((to - from) / step * (1.0 + 1e-12)) + 1.0;
    if (!(rows <= kMaxRows))
        throw command_error("--T " + text + ": about " + table_number(rows) + " rows; at most " +
                            table_number(kMaxRows) + " (use a larger STEP)");
    std::vector<double> out;
    for (int i = 0; i < static_cast<int>(rows); ++i) out.push_back(from + step * i);
    return out;
}

std::pair<double, double> range_of(const std::string& text, const char* option, double from, double to) {
    if (text.empty()) return {from, to};
    const auto parts = split(text, ':');
    const auto a = parts.size() == 2 ? parse_number(parts[0]) : std::nullopt;
    const auto b = parts.size() == 2 ? parse_number(parts[1]) : std::nullopt;
    if (!a || !b || !std::isfinite(*a) || !std::isfinite(*b) || !(*a > 0.0) || !(*b > *a))
        throw command_error(std::string(option) + " " + text + ": expected FROM:TO with 0 < FROM < TO");
    return {*a, *b};
}

void require_positive(const char* option, double value, const char* unit) {
    if (!std::isfinite(value) || value <= 0.0)
        throw command_error(std::string(option) + " " + exact_number(value) + ": must be a finite number above 0 " +
                            unit);
}

// ---- output -------------------------------------------------------------------------------------------

void print_rows(const std::vector<std::string>& headers, const std::vector<std::vector<std::string>>& rows, bool csv) {
    if (csv) {
        const auto line = [](const std::vector<std::string>& cells) {
            std::string out;
            for (std::size_t i = 0; i < cells.size(); ++i) out += (i > 0 ? "," : "") + cells[i];
            return out;
        };
        std::cout << line(headers) << "\n";
        for (const auto& row : rows) std::cout << line(row) << "\n";
        return;
    }
    std::vector<std::size_t> widths;
    for (const auto& h : headers) widths.push_back(h.size());
    for (const auto& row : rows)
        for (std::size_t i = 0; i < row.size() && i < widths.size(); ++i)
            widths[i] = std::max(widths[i], row[i].size());
    const auto line = [&](const std::vector<std::string>& cells) {
        std::string out;
        for (std::size_t i = 0; i < cells.size(); ++i) out += (i > 0 ? "  " : "") + pad_left(cells[i], widths[i]);
        return out;
    };
    std::cout << line(headers) << "\n";
    for (const auto& row : rows) std::cout << line(row) << "\n";
}

void print_library_lines(const std::vector<std::string>& lines, std::ostream& out) {
    std::vector<std::pair<std::string, int>> distinct;
    for (std::string text : lines) {
        while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) text.pop_back();
        const auto it = std::find_if(distinct.begin(), distinct.end(), [&](const auto& d) { return d.first == text; });
        if (it != distinct.end())
            ++it->second;
        else
            distinct.emplace_back(std::move(text), 1);
    }
    for (const auto& [text, count] : distinct)
        out << "library: " << text << (count > 1 ? " (" + std::to_string(count) + " times)" : std::string()) << "\n";
}

void print_notes(const std::vector<std::string>& notes) {
    for (const auto& n : notes) std::cout << "note: " << n << "\n";
}

// ---- fluid media --------------------------------------------------------------------------------------

std::string medium_help() {
    return "A medium's or fluid material's name (see 'info'); FILE.json, a material file with one medium (or, "
           "without media, one fluid material); or FILE.json:NAME, the medium NAME of that file";
}

std::string medium_footer() {
    return "A FILE.json is read after the built-in data, so its media may use the built-in materials; names it "
           "repeats are refused. An argument that ends in .json (or has .json: in it) is always taken for a file.";
}

namespace {

// MEDIUM on the command line: a name known to the data, FILE.json (the file's one medium), or
// FILE.json:NAME. A name that ends in ".json" is taken for a file: no built-in name does.
struct medium_argument {
    std::string file;  // empty: a name
    std::string name;  // empty with a file: the file's one medium
};

medium_argument parse_medium_argument(const std::string& text) {
    constexpr std::string_view suffix = ".json";
    if (text.size() >= suffix.size() && text.compare(text.size() - suffix.size(), suffix.size(), suffix) == 0)
        return {text, {}};
    // The last ".json:" splits, so that a directory name may contain one.
    if (const std::size_t at = text.rfind(".json:"); at != std::string::npos)
        return {text.substr(0, at + suffix.size()), text.substr(at + suffix.size() + 1)};
    return {{}, text};
}

// The medium MEDIUM stands for. A file is added to the library after the built-in data, so its
// media may use the built-in materials.
standalone_host::medium_definition find_fluid_medium(builtin_data& data, const std::string& text) {
    const medium_argument arg = parse_medium_argument(text);
    auto& library = data.library;
    std::optional<standalone_host::medium_definition> found;
    if (arg.file.empty()) {
        found = library.find_medium(arg.name);
        if (!found) {
            std::vector<std::string> fluids;
            for (const auto& m : data.media) fluids.push_back(m.definition.name);
            throw command_error("unknown medium \"" + arg.name + "\"\nknown media: " + names_of(fluids) +
                                " (and the fluid materials; see 'medium-physics info')");
        }
    } else {
        std::error_code ec;
        if (!fs::is_regular_file(arg.file, ec)) throw command_error("cannot open " + arg.file + ": no such file");
        const std::size_t materials_before = library.materials().size();
        const std::size_t media_before = library.media().size();
        try {
            library.add_file(arg.file);
        } catch (const std::exception& e) {
            throw command_error(std::string("bad medium file: ") + e.what());
        }
        std::vector<standalone_host::medium_definition> media(
            library.media().begin() + static_cast<std::ptrdiff_t>(media_before), library.media().end());
        // A file without media may still hold one fluid material: that material alone is its medium.
        if (media.empty())
            for (std::size_t i = materials_before; i < library.materials().size(); ++i)
                if (const auto& m = library.materials()[i]; !is_solid_kind(m->kind()))
                    media.push_back(*library.find_medium(m->name_utf8()));
        std::vector<std::string> names;
        for (const auto& m : media) names.push_back(m.name);
        if (arg.name.empty()) {
            if (media.size() != 1)
                throw command_error(arg.file + " holds " + std::to_string(media.size()) + " media (" + names_of(names) +
                                    "); name one as " + arg.file + ":NAME");
            found = media.front();
        } else {
            const auto it = std::find_if(media.begin(), media.end(), [&](const auto& m) { return m.name == arg.name; });
            if (it == media.end())
                throw command_error(arg.file + " has no medium \"" + arg.name + "\"; it holds: " + names_of(names));
            found = *it;
        }
    }
    if (is_solid_kind(found->kind))
        throw command_error("\"" + found->name + "\" is a solid (" + found->kind +
                            "), not a fluid; see 'medium-physics solid " + found->name + " --T T'");
    return *found;
}

// A non-Newtonian liquid is an incompressible one too: its density depends on temperature only.
bool is_incompressible(const standalone_host::medium_definition& medium) {
    return medium.kind == "incompressible_liquid" || medium.kind == "non_newtonian_liquid";
}

constexpr const char* kIncompressibleNote =
    "is an incompressible liquid: gamma, M and a are not defined for it and are shown as 0";
constexpr const char* kCompressibleNote = "is a compressible liquid: M is not defined for it and is shown as 0";

}  // namespace

open_fluid open_fluid_medium(const std::string& data_option, const std::string& text) {
    builtin_data data = load_builtin_data(resolve_data_directory(data_option));
    open_fluid fluid;
    fluid.definition = find_fluid_medium(data, text);
    fluid.factory = make_factory();
    std::string why;
    // Nothing is saved, so the medium need not be registered with the factory.
    const std::int32_t status =
        standalone_host::create_medium(*fluid.factory, data.library, fluid.definition, false, fluid.medium, &why);
    const std::string cannot = "cannot create \"" + fluid.definition.name + "\" (kind " + fluid.definition.kind + "): ";
    // A kind the library does not build yet is not a fault of the data: say so in the words 'save' uses.
    if (status == MP_STATUS_UNSUPPORTED)
        throw command_error(cannot + "this build does not provide media of this kind (status 2)");
    if (status != MP_STATUS_OK || !fluid.medium) throw command_error(cannot + why);
    std::any request = std::shared_ptr<I_solver__thermodynamics_P_H>();
    if (fluid.medium->query_interface(request) != MP_STATUS_OK)
        throw command_error("\"" + fluid.definition.name + "\" (kind " + fluid.definition.kind +
                            ") does not answer the pressure-based property operations");
    fluid.solver = std::any_cast<std::shared_ptr<I_solver__thermodynamics_P_H>>(request);
    std::any shear = std::shared_ptr<I_solver__incompressible_non_newton_liquid>();
    if (fluid.medium->query_interface(shear) == MP_STATUS_OK)
        fluid.non_newtonian = std::any_cast<std::shared_ptr<I_solver__incompressible_non_newton_liquid>>(shear);
    return fluid;
}

std::vector<double> mass_fractions_of(const standalone_host::medium_definition& medium, const std::vector<double>& Y,
                                      bool given) {
    if (!given) return medium.mass_fractions;
    if (Y.size() != medium.substances.size())
        throw command_error("--Y has " + std::to_string(Y.size()) + (Y.size() == 1 ? " value" : " values") + "; \"" +
                            medium.name + "\" has " + std::to_string(medium.substances.size()) +
                            (medium.substances.size() == 1 ? " substance" : " substances") + " (" +
                            names_of(medium.substances) + ")");
    double sum = 0.0;
    for (const double y : Y) {
        if (!std::isfinite(y) || y < 0.0 || y > 1.0)
            throw command_error("--Y: " + exact_number(y) + " is not a mass fraction (0 to 1)");
        sum += y;
    }
    // The mixing rules assume the fractions make up the whole mass.
    if (std::fabs(sum - 1.0) > 1e-6)
        throw command_error("--Y: the mass fractions add up to " + exact_number(sum) + ", not 1");
    return Y;
}

std::string describe(const standalone_host::medium_definition& medium, const std::vector<double>& Y) {
    standalone_host::medium_definition shown = medium;
    shown.mass_fractions = Y;
    // A VOF medium's substances are its phases, and its composition begins with their volume fractions.
    const char* fractions = medium.phases.empty() ? "), mass fractions: " : "), volume fractions: ";
    return medium.name + " (" + medium.kind + fractions + substance_list(shown);
}

std::vector<std::string> notes_of(const open_fluid& fluid, const std::string& argument) {
    std::vector<std::string> notes;
    const std::string& name = fluid.definition.name;
    if (is_incompressible(fluid.definition)) notes.push_back(name + " " + kIncompressibleNote);
    if (fluid.definition.kind == "compressible_liquid") notes.push_back(name + " " + kCompressibleNote);
    if (fluid.non_newtonian)
        notes.push_back("mu is " + std::string(kNoShearMu) + ": the viscosity of " + name +
                        " depends on the shear rate (without one the library answers " +
                        table_number(C_inc_non_newtonian_liquid_thermodynamics::kViscositySentinel) +
                        "); see 'medium-physics viscosity " + argument + " --T T --shear FROM:TO:STEP'");
    return notes;
}

// ---- real-gas media ------------------------------------------------------------------------------------

std::shared_ptr<I_solver_real_gas> real_gas_state_of(const open_fluid& fluid) {
    std::any request = std::shared_ptr<I_solver_real_gas>();
    if (!fluid.medium || fluid.medium->query_interface(request) != MP_STATUS_OK) return nullptr;
    return std::any_cast<std::shared_ptr<I_solver_real_gas>>(request);
}

std::string phase_word(const rg_point& state) {
    switch (state.phase) {
    case MP_PHASE_LIQUID: return "liquid";
    case MP_PHASE_VAPOUR: return "vapour";
    case MP_PHASE_TWO_PHASE: return "two-phase";
    case MP_PHASE_SUPERCRITICAL: return "supercritical";
    default: return "?";
    }
}

std::string vapour_fraction_text(const rg_point& state, bool csv) {
    if (state.x < 0.0) return "";
    return csv ? exact_number(state.x) : table_number(state.x);
}

std::string real_gas_status_note(std::uint32_t status, double p, double T) {
    std::vector<std::string> what;
    if ((status & MP_RG_PRESSURE_OUTSIDE) != 0) what.push_back("the pressure lies outside the table (taken at its edge)");
    if ((status & MP_RG_TEMPERATURE_OUTSIDE) != 0)
        what.push_back("the temperature lies outside the table (taken at its edge)");
    if ((status & MP_RG_BELOW_TABLE) != 0) what.push_back("below the table the low-temperature extension answered");
    if ((status & MP_RG_ITERATION_FAILED) != 0) what.push_back("the iteration failed: the start value is shown");
    if ((status & MP_RG_DOME_NOT_MODELLED) != 0)
        what.push_back("the state lies in the saturation dome, which this medium does not model (the saturated state "
                       "on the nearer side is shown)");
    if (what.empty()) return "";
    std::string text = "at p = " + table_number(p) + " Pa, T = " + table_number(T) + " K: ";
    for (std::size_t i = 0; i < what.size(); ++i) text += (i ? "; " : "") + what[i];
    return text;
}

std::string real_gas_counterpart_note(const std::string& data_option, const open_fluid& fluid, double p,
                                      const std::vector<double>& temperatures) {
    if (fluid.definition.kind != "ideal_gas" || fluid.definition.substances.size() != 1) return "";
    const std::string real_name = fluid.definition.substances[0] + "-real";
    try {
        builtin_data data = load_builtin_data(resolve_data_directory(data_option));
        if (!data.library.find_medium(real_name)) return "";
        const open_fluid real = open_fluid_medium(data_option, real_name);
        const auto state = real_gas_state_of(real);
        if (!state) return "";
        const double one = 1.0;
        for (const double T : temperatures) {
            rg_point r;
            if (state->get_state_p_T(p, T, &one, &r) != MP_RG_OK) continue;
            const double Z = p * r.M / (r.rho * C_real_gas_substance::kGasConstant * T);
            if (std::fabs(Z - 1.0) <= 0.02) continue;
            return fluid.definition.name + " is an ideal gas; at p = " + table_number(p) + " Pa and T = " +
                   table_number(T) + " K the real gas " + real_name + " has Z = " + table_number(Z) + " (rho = " +
                   table_number(r.rho) + " kg/m3, " + phase_word(r) + "): use " + real_name + " for the real fluid";
        }
    } catch (const std::exception&) {
    }
    return "";
}

// ---- real-gas fluids ------------------------------------------------------------------------------------

void add_real_gas_options(CLI::App* cmd, real_gas_request& r) {
    cmd->add_option("FLUID", r.fluid,
                    "A built-in real-gas fluid (CO2, N2, CH4, H2O, R134a, C3H8, ...), or none "
                    "with --Tc --pc --Zc --omega --M");
    cmd->add_option("--model", r.model, "Temperature function selector of the cubic (3: Soave)")->capture_default_str();
    cmd->add_option("--Zc", r.Zc,
                    "Critical compressibility (default: the fluid's; 1/3 with --model 3 is "
                    "Soave-Redlich-Kwong)");
    cmd->add_option("--Tc", r.Tc, "Critical temperature [K]");
    cmd->add_option("--pc", r.Pc, "Critical pressure [Pa]");
    cmd->add_option("--omega", r.omega, "Acentric factor");
    cmd->add_option("--M", r.M, "Molar mass [kg/mol]");
    cmd->add_flag("--csv", r.csv, "Comma-separated values with a header row (library lines to stderr)");
}

real_gas_request& note_given(const CLI::App* cmd, real_gas_request& r) {
    r.Tc_given = cmd->count("--Tc") > 0;
    r.Pc_given = cmd->count("--pc") > 0;
    r.Zc_given = cmd->count("--Zc") > 0;
    r.omega_given = cmd->count("--omega") > 0;
    r.M_given = cmd->count("--M") > 0;
    r.model_given = cmd->count("--model") > 0;
    return r;
}

namespace {

constexpr std::string_view kRealSuffix = "-real";
// The explicit critical data stand for no material: any identifier does.
constexpr const char* kGivenIdentifier = "00000000-0000-0000-0000-000000000000";
// The table rectangle of explicit critical data, which the library checks: that of the built-in
// real-gas materials, 1e5..2e7 Pa and 0.72 Tc..1.65 Tc (data/thermo/README.md), unrounded so that
// any Tc above 0 has one. No table is made of it: explicit data carry no ideal-gas cp.
constexpr double kGivenPressureLow = 1e5, kGivenPressureHigh = 2e7;
constexpr double kGivenTcLow = 0.72, kGivenTcHigh = 1.65;

// The name a real-gas material is asked for by: its name without "-real".
std::string short_name(const std::string& name) {
    if (name.size() > kRealSuffix.size() &&
        name.compare(name.size() - kRealSuffix.size(), kRealSuffix.size(), kRealSuffix) == 0)
        return name.substr(0, name.size() - kRealSuffix.size());
    return name;
}

const material* find_real_gas(const builtin_data& data, const std::string& name) {
    for (const std::string& candidate : {name, name + std::string(kRealSuffix)})
        for (const auto& m : data.materials)
            if (m.description->is_real_gas() && m.description->name_utf8() == candidate) return &m;
    return nullptr;
}

[[noreturn]] void unknown_fluid(const builtin_data& data, const std::string& name) {
    std::vector<std::pair<std::string, std::string>> fluids;  // the short name, the material's
    for (const auto& m : data.materials)
        if (m.description->is_real_gas())
            fluids.emplace_back(short_name(m.description->name_utf8()), m.description->name_utf8());
    std::sort(fluids.begin(), fluids.end());
    std::vector<std::string> short_names, names;
    for (const auto& [s, n] : fluids) {
        short_names.push_back(s);
        names.push_back(n);
    }
    throw command_error("unknown fluid \"" + name + "\"\nknown fluids: " + names_of(short_names) +
                        " (the real-gas materials " + names_of(names) +
                        "; see 'medium-physics info'; or give --Tc --pc --Zc --omega --M)");
}

}  // namespace

real_gas_fluid resolve_real_gas_fluid(const real_gas_request& r) {
    const bool any_explicit = r.Tc_given || r.Pc_given || r.omega_given || r.M_given;
    real_gas_fluid f;
    nlohmann::json composed;
    if (!r.fluid.empty()) {
        if (any_explicit) throw command_error("give either a fluid name or --Tc --pc --Zc --omega --M, not both");
        const data_directory dir = resolve_data_directory("");
        const builtin_data data = load_builtin_data(dir);
        const material* m = find_real_gas(data, r.fluid);
        if (m == nullptr) unknown_fluid(data, r.fluid);
        f.name = r.fluid;
        f.origin = (dir.path / m->file).string();
        f.description = m->description;
        if (r.Zc_given || r.model_given) composed = nlohmann::json::parse(m->description->json());
    } else {
        if (!(r.Tc_given && r.Pc_given && r.Zc_given && r.omega_given && r.M_given))
            throw command_error("without a fluid name all of --Tc --pc --Zc --omega --M are needed");
        require_positive("--Tc", r.Tc, "K");
        require_positive("--pc", r.Pc, "Pa");
        require_positive("--M", r.M, "kg/mol");
        f.name = "(given)";
        f.origin = "--Tc --pc --Zc --omega --M";
        composed = {{"name", f.name},
                    {"identifier", kGivenIdentifier},
                    {"kind", "real_gas"},
                    {"source", "critical data given on the command line"},
                    {"Tc", r.Tc},
                    {"pc", r.Pc},
                    {"molar_mass", r.M},
                    {"table_temperatures", {kGivenTcLow * r.Tc, kGivenTcHigh * r.Tc}},
                    {"table_pressures", {kGivenPressureLow, kGivenPressureHigh}},
                    {"low_temperature_extension", true},
                    {"floor_temperature", 0.0}};
    }
    if (r.Zc_given && (!std::isfinite(r.Zc) || r.Zc <= 0.0 || r.Zc > 1.0 / 3.0 + 1e-12))
        throw command_error("--Zc " + exact_number(r.Zc) + ": must be above 0 and at most 1/3");
    if (r.omega_given && !std::isfinite(r.omega)) throw command_error("--omega must be a finite number");

    // The explicit data, or a material with --Zc or --model, become a material of their own.
    if (!composed.is_null()) {
        if (r.Zc_given) composed["Zc"] = r.Zc;
        if (r.omega_given) composed["omega"] = r.omega;
        if (r.model_given || !f.description) composed["model"] = r.model;
        try {
            f.description = standalone_host::CJsonDescription::from_json_text(composed.dump());
        } catch (const std::exception& e) {
            throw command_error(f.name + ": " + e.what());
        }
    }
    return f;
}

real_gas_setup real_gas_generator(const real_gas_fluid& f, captured_log& log) {
    real_gas_setup setup;
    setup.generator = std::make_shared<CRGPropertyGenerator>();
    if (!configure_rg_generator(*f.description, CHostString::from_utf8(f.name), *setup.generator, setup.data,
                                nullptr)) {
        std::ostringstream message;
        message << "the data of " << f.name << " (" << f.origin << ") do not make an equation of state\n";
        print_library_lines(log.take(), message);
        std::string text = message.str();
        text.pop_back();  // the error printer ends the line
        throw command_error(text);
    }
    // The generator holds its own copy of cp0; the memory watcher of 'rgtable' is to see that one.
    setup.data.ideal_gas_cp = c_1d_param();
    return setup;
}

std::string describe_real_gas(const std::string& name, const rg_substance_parameters& q) {
    return name + ": Tc = " + table_number(q.Tc) + " K, pc = " + table_number(q.Pc) +
           " Pa, Zc = " + table_number(q.Zc) + ", omega = " + table_number(q.omega) + ", M = " + table_number(q.M) +
           " kg/mol; cubic equation of state, model " + std::to_string(q.model);
}

}  // namespace mp_cli
