// medium-physics chemtable FILE [--at x1,x2,y,a,b] [--mode N]: the header of a chemistry table
// file (sizes, axes, log flags, bounds, steps, field counts, body version, variant, checksum state)
// and, with --at, the table's lookup at one state.
#pragma once

#include <CLI/CLI.hpp>

#include <cstdint>
#include <string>
#include <vector>

struct chemtable_args {
    std::string file;
    std::vector<double> at;  // x1, x2, y, a, b
    std::int32_t mode = 0;
};

// Adds the command to `app` and returns it (true when the user chose it).
CLI::App* add_chemtable_command(CLI::App& app, chemtable_args& args);
// 0 after printing the header (and the lookup); 1, with the reason on stderr, for a file that does
// not open or is not a good table file; 2 for a malformed --at.
int run_chemtable(const chemtable_args& args);
