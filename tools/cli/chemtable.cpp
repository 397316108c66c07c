// medium-physics chemtable FILE [--at x1,x2,y,a,b] [--mode N]: reads a chemistry table file as a
// restore does (the table record, then the checksum trailer) and shows its header (sizes, axes, log
// flags, bounds, steps, field counts, body version, variant, checksum state) and, with --at, the
// table's lookup at one state. Exit 1, with the reason, for a file that does not open or is not a
// good table file; 2 for a malformed --at.
#include <array>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <memory>
#include <string>
#include <system_error>
#include <vector>

#include "cli_common.h"
#include "commands.h"
#include "tables/c_3d_property.h"
#include "tables/chem_table_file.h"

namespace fs = std::filesystem;

namespace mp_cli {

namespace {

struct chemtable_args {
    std::string file;
    std::vector<double> at;  // x1, x2, y, a, b
    std::int32_t mode = 0;
};

const char* axis_name(chem_variant variant, int axis) {
    if (axis == 2) return "z (mixture fraction)";
    if (axis == 1) return "T [K]";
    return variant == chem_variant::PT ? "p [Pa]" : "v [m3/kg]";
}

void print_header(const C_3d_Chem_property& t, const chem_file_report& report) {
    const bool pt = t.variant() == chem_variant::PT;
    std::cout << "variant        "
              << (pt ? "PT (tag 1): pressure, temperature, mixture fraction"
                     : "VT (tag 0): specific volume, temperature, mixture fraction")
              << "\n";
    std::cout << "body version   " << static_cast<int>(report.body_version)
              << (report.body_version == 0 ? " (no stream parameter and two-stream byte: the substance supplies them)"
                                           : "")
              << "\n";
    std::cout << "grid           " << t.size(0) << " x " << t.size(1) << " x " << t.size(2) << " = " << t.cells()
              << " points\n";
    for (int d = 0; d < 3; ++d) {
        const double* x = t.axis_values(d);
        std::cout << "axis " << d + 1 << "         " << axis_name(t.variant(), d) << ": " << t.size(d) << " points, "
                  << (t.log_axis(d) ? "logarithmic" : "linear") << "; min " << exact_number(t.min(d)) << ", bound "
                  << exact_number(t.bound(d)) << ", step " << exact_number(t.step(d))
                  << (t.log_axis(d) ? " (in ln)" : "") << "; grid " << exact_number(x[0]) << " .. "
                  << exact_number(x[t.size(d) - 1]) << "\n";
    }
    std::cout << "fields         " << t.count_a() << " property, " << t.count_b() << " further\n";
    std::cout << "two-stream     " << (t.two_stream() ? 1 : 0) << ", stream parameter "
              << exact_number(t.stream_parameter()) << "\n";
    std::cout << "out of range   " << (t.out_of_range() ? 1 : 0) << "\n";
    if (t.variant() == chem_variant::VT) {
        const auto& vt = static_cast<const C_3d_Chem_property_VT&>(t);
        std::cout << "VT record      " << vt.vt_value() << ", " << exact_number(vt.vt_parameter()) << "\n";
    }
    std::cout << "sizes          table record " << report.table_bytes << " bytes, check record " << report.check_bytes
              << " bytes\n";
    char crc[16];
    std::snprintf(crc, sizeof crc, "%08X", static_cast<unsigned>(report.stored_crc));
    std::cout << "checksum       "
              << (report.checksum == chem_checksum_state::valid
                      ? std::string("valid (CRC-32 ") + crc + ")"
                      : std::string("none (a file of a writer without checksums)"))
              << "\n";
}

void print_lookup(const C_3d_Chem_property& t, const chemtable_args& args) {
    const chem_lookup_result r = t.lookup(args.at[0], args.at[1], args.at[2], args.at[3], args.at[4]);
    const chem_mixing m = t.mixing_weights(args.at[2], args.at[3], args.at[4]);
    std::cout << "\nlookup at x1 = " << exact_number(args.at[0]) << ", x2 = " << exact_number(args.at[1])
              << ", y = " << exact_number(args.at[2]) << ", a = " << exact_number(args.at[3])
              << ", b = " << exact_number(args.at[4]) << " (mode " << t.mode() << ")\n";
    std::cout << "weights        burnt " << exact_number(m.burnt) << ", fuel " << exact_number(m.fuel) << ", oxidizer "
              << exact_number(m.oxidizer()) << "\n";
    static constexpr std::array<const char*, kChemLookupOutputs> kOutputs = {
        "1 / v (field 0 = ln v)", "field 1",         "field 5", "-c^2 A4 / v^2",
        "1 / (w / field 9)",      "c (sound speed)", "field 2", "field 8"};
    for (std::size_t i = 0; i < kChemLookupOutputs; ++i)
        std::cout << "out " << i + 1 << "          " << exact_number(r.out[i]) << "  " << kOutputs[i] << "\n";
    if (r.out_of_range)
        std::cout << "note: the state lies outside axis 1 or 2; the values are extrapolated from the edge cell\n";
}

int run_chemtable(const chemtable_args& args) {
    if (!args.at.empty() && args.at.size() != 5) {
        std::cerr << "medium-physics chemtable: --at takes five numbers x1,x2,y,a,b\n";
        return kExitUsage;
    }
    std::error_code ec;
    if (!fs::is_regular_file(args.file, ec)) throw command_error("cannot open " + args.file + ": no such file");

    std::unique_ptr<C_3d_Chem_property> table = std::make_unique<C_3d_Chem_property_PT>();
    chem_file_report report = read_chem_table_file(args.file, *table, nullptr);
    if (report.status == chem_file_status::bad_record && report.read_error == chem_read_error::variant_tag) {
        table = std::make_unique<C_3d_Chem_property_VT>();
        report = read_chem_table_file(args.file, *table, nullptr);
    }
    switch (report.status) {
    case chem_file_status::ok: break;
    case chem_file_status::cannot_open: throw command_error("cannot open " + args.file + ": " + report.detail);
    case chem_file_status::bad_record:
        throw command_error(args.file + " is not a chemistry table file: " + to_text(report.read_error));
    case chem_file_status::truncated:
        throw command_error(args.file + ": " + to_text(report.status) + " (" + report.detail + ")");
    default: throw command_error(args.file + ": " + to_text(report.status));
    }
    std::cout << args.file << ": " << report.file_bytes << " bytes, a chemistry table file\n\n";
    print_header(*table, report);
    if (!args.at.empty()) {
        table->set_mode(args.mode);
        print_lookup(*table, args);
    }
    return kExitOk;
}

}  // namespace

command register_chemtable(CLI::App& app, shared_options&) {
    auto args = std::make_shared<chemtable_args>();
    auto* cmd = app.add_subcommand("chemtable", "Show a chemistry table file's header, and a lookup in it");
    cmd->add_option("FILE", args->file, "A chemistry table file (<identifier>[_NOX]_PT.tbl or _VT.tbl)")->required();
    cmd->add_option("--at", args->at,
                    "A state x1,x2,y,a,b: p [Pa] (PT) or v [m3/kg] (VT), T [K], mixture fraction "
                    "y and the two further mixing inputs")
        ->delimiter(',')
        ->allow_extra_args(false);
    cmd->add_option("--mode", args->mode, "Blend mode: 1 weights from the stream parameter, other values from a and b")
        ->capture_default_str();
    cmd->footer(
        "Reads the file as a restore does: the table record, whose variant tag decides PT or VT, then the "
        "checksum trailer after the substance's check record. A file that does not open, a refused or "
        "truncated record, or a checksum that does not match ends with exit status 1 and the reason.");
    return {cmd, [args] { return run_chemtable(*args); }};
}

}  // namespace mp_cli
