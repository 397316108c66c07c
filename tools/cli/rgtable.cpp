// medium-physics rgtable: builds (or loads) a real-gas fluid's two-dimensional property table over
// the rectangle of its real-gas material and measures the table's interpolation error against the
// library's generator at random points.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <exception>
#include <iostream>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "cli_common.h"
#include "commands.h"
#include "factory/mp_settings.h"
#include "file_io/c_file_io/c_file_io.h"
#include "real_gas/crgpropertygenerator.h"
#include "tables/c_2d_property.h"

namespace mp_cli {

namespace {

// Near the saturation line and the critical point a cell mixes two phases or a steep bend; the
// error figures leave these points out (and say how many): within 0.05 in ln p of the line, or
// within 3 % of Tc and 20 % of pc of the critical point.
bool near_phase_boundary(const IRGPropertyGenerator& g, double p, double T) {
    const double Tc = g.critical_temperature(), pc = g.critical_pressure();
    if (std::fabs(T / Tc - 1.0) < 0.03 && std::fabs(p / pc - 1.0) < 0.2) return true;
    return T < Tc && std::fabs(std::log(p) - g.saturation_ln_p(T)) < 0.05;
}

int run_rgtable(const real_gas_request& request, std::int32_t mode, bool verbose) {
    if (request.samples < 0 || request.samples > 10000000) throw command_error("--samples must lie in 0..10000000");
    captured_log log(verbose);
    // the table's memory is reported through the memory watcher
    mp::set_memory_watch_mode(1);
    const std::uint64_t live_before = standalone_host::memory_live_bytes();
    std::shared_ptr<CRGPropertyGenerator> generator;
    std::unique_ptr<C_2d_RG_property> table;
    std::string name;
    if (!request.load.empty()) {
        generator = std::make_shared<CRGPropertyGenerator>();
        C_file_io in;
        try {
            in.open(CHostString::from_utf8(request.load), u"r");
            std::uint8_t kind = 0;
            in.read(&kind, 1);
            if (kind == 1)
                table = std::make_unique<C_2d_RG_property_regular>();
            else if (kind == 2)
                table = std::make_unique<C_2d_RG_property_adaptable>();
            else
                throw command_error(request.load + ": not a real-gas table file (kind byte " + std::to_string(kind) +
                                    ")");
            if (!table->read(in, generator)) throw command_error(request.load + ": the table record is not readable");
        } catch (const command_error&) {
            throw;
        } catch (const std::exception& e) {
            throw command_error(request.load + ": " + e.what());
        }
        name = request.fluid.empty() ? request.load : request.fluid;
    } else {
        const real_gas_fluid f = resolve_real_gas_fluid(request);
        const real_gas_setup setup = real_gas_generator(f, log);
        generator = setup.generator;
        if (!generator->has_ideal_gas_cp())
            throw command_error(f.name + " has no ideal-gas heat capacity in the data (" + f.origin +
                                "): the table's caloric properties cannot be formed");
        name = f.name;
        // The rectangle of the data unless --p or --T say otherwise.
        const auto [p0, p1] = range_of(request.p_range, "--p", setup.data.pmin, setup.data.pmax);
        const auto [T0, T1] = range_of(request.T_range, "--T", setup.data.Tmin, setup.data.Tmax);
        if (mode == 2)
            table = C_2d_RG_property_adaptable::around_saturation(generator, std::log(p0), std::log(p1), T0, T1);
        else
            table = std::make_unique<C_2d_RG_property_regular>(generator, std::log(p0), std::log(p1), T0, T1);
        if (T0 < setup.data.Tc && !table->fill_saturation_line(201))
            throw command_error("the saturation line of " + f.name + " could not be made");
    }
    const IRGPropertyGenerator& g = *generator;
    // a random sample over the rectangle, uniform in ln p and T; lookups make the patches they need
    std::mt19937_64 rng(request.seed);
    std::uniform_real_distribution<double> ux(table->x_begin(), table->x_end()), uy(table->y_begin(), table->y_end());
    double rho_max = 0.0, rho_sum = 0.0, h_max = 0.0, h_sum = 0.0;
    std::int64_t counted = 0, skipped = 0;
    for (std::int32_t n = 0; n < request.samples; ++n) {
        const double x = ux(rng), y = uy(rng);
        const double p = std::exp(x);
        if (near_phase_boundary(g, p, y)) {
            ++skipped;
            continue;
        }
        double got[4], want[4];
        if (!table->lookup(x, y, got) || !g.properties(p, y, want)) {
            ++skipped;
            continue;
        }
        const double er = std::fabs(got[0] / want[0] - 1.0);
        // enthalpy relative to its magnitude plus the scale R Tc, so that h near 0 does not blow up
        const double eh =
            std::fabs(got[1] - want[1]) / (std::fabs(want[1]) + g.gas_constant() * g.critical_temperature());
        rho_max = std::max(rho_max, er);
        h_max = std::max(h_max, eh);
        rho_sum += er * er;
        h_sum += eh * eh;
        ++counted;
    }
    const double rho_rms = counted > 0 ? std::sqrt(rho_sum / static_cast<double>(counted)) : 0.0;
    const double h_rms = counted > 0 ? std::sqrt(h_sum / static_cast<double>(counted)) : 0.0;
    const std::uint64_t watched = standalone_host::memory_live_bytes() - live_before;
    if (!request.save.empty()) {
        try {
            C_file_io out;
            out.open(CHostString::from_utf8(request.save), u"w");
            const std::uint8_t kind = dynamic_cast<const C_2d_RG_property_adaptable*>(table.get()) != nullptr ? 2 : 1;
            out.put(kind);
            table->write(out);
            out.close();
        } catch (const std::exception& e) {
            throw command_error(request.save + ": " + e.what());
        }
    }
    const std::vector<std::string> lines = log.take();
    const std::int32_t filled = table->patches_filled();
    if (request.csv) {
        print_rows({"patches_filled", "bytes", "rho_max_rel_err", "rho_rms_rel_err", "h_max_rel_err", "h_rms_rel_err"},
                   {{std::to_string(filled), std::to_string(watched), exact_number(rho_max), exact_number(rho_rms),
                     exact_number(h_max), exact_number(h_rms)}},
                   true);
        print_library_lines(lines, std::cerr);
        return kExitOk;
    }
    std::cout << name << ": " << (mode == 2 ? "adaptable" : "regular")
              << " table over p = " << table_number(std::exp(table->x_begin())) << " .. "
              << table_number(std::exp(table->x_end())) << " Pa, T = " << table_number(table->y_begin()) << " .. "
              << table_number(table->y_end()) << " K\n";
    std::cout << "patches filled: " << filled << " of 100; memory (memory watcher): " << watched << " bytes ("
              << Cage::kProperties * Cage::kNodeCount * sizeof(double) << " bytes of node values per patch)\n";
    if (table->saturation_nodes() > 0)
        std::cout << "saturation line: " << table->saturation_nodes() << " nodes, " << table_number(table->y_begin())
                  << " .. " << table_number(table->saturation_end()) << " K\n";
    print_rows({"points", "left out", "rho max rel err", "rho rms rel err", "h max rel err", "h rms rel err"},
               {{std::to_string(counted), std::to_string(skipped), table_number(rho_max), table_number(rho_rms),
                 table_number(h_max), table_number(h_rms)}},
               false);
    std::cout << "(errors of the table's bilinear values against the generator at random single-phase points; "
                 "points within 0.05 in ln p of the saturation line or near the critical point are left out)\n";
    print_library_lines(lines, std::cout);
    return kExitOk;
}

struct rgtable_request {
    real_gas_request fluid;
    std::int32_t mode = 1;
};

}  // namespace

command register_rgtable(CLI::App& app, shared_options& shared) {
    auto request = std::make_shared<rgtable_request>();
    real_gas_request& r = request->fluid;
    auto* rgtable = app.add_subcommand("rgtable",
                                       "Build (or load) a real-gas fluid's two-dimensional property table and "
                                       "measure its interpolation error");
    add_real_gas_options(rgtable, r);
    rgtable->add_option("--p", r.p_range, "Pressure range FROM:TO [Pa] (default 1e5:2e7)");
    rgtable->add_option("--T", r.T_range, "Temperature range FROM:TO [K] (default 0.72 Tc : 1.65 Tc)");
    rgtable
        ->add_option("--mode", request->mode,
                     "1: regular table (uniform patches), 2: adaptable (nodes placed near "
                     "the saturation line)")
        ->check(CLI::IsMember({1, 2}))
        ->capture_default_str();
    rgtable->add_option("--save", r.save, "Write the table (with the patches filled) to this file");
    rgtable->add_option("--load", r.load, "Read the table from this file instead of building it");
    rgtable->add_option("--samples", r.samples, "Random points of the error measure")->capture_default_str();
    rgtable->add_option("--seed", r.seed, "Seed of the random points")->capture_default_str();
    rgtable->footer(
        "Patches are filled as the random points reach them. Error columns: the largest and the RMS "
        "relative error of density and enthalpy (enthalpy relative to |h| + R Tc) against the generator's "
        "direct values, leaving out points near the saturation line and the critical point. --csv: one row "
        "patches_filled, bytes, rho_max_rel_err, rho_rms_rel_err, h_max_rel_err, h_rms_rel_err.");
    const auto run = [rgtable, request, &shared] {
        return run_rgtable(note_given(rgtable, request->fluid), request->mode, shared.verbose);
    };
    return {rgtable, run};
}

}  // namespace mp_cli
