// The property table of a single-component gas over specific volume and temperature, and its file
// "SingleComponentGas.tables".
//
// Grid: x = ln v (v in m3/kg) on nx uniform nodes from x0 to x1, T on nT uniform nodes from T0 to
// T1 (K). On every node five fields:
//   pv  p v [J/kg]: smooth in x where p itself is exponential (p = pv / v is exact for an ideal gas)
//   e   specific internal energy [J/kg], with the library's convention for the gas media
//       (h = integral of the ideal-gas cp from 0 K, plus the residual part of the equation of state)
//   cp, cv  [J/(kg K)]
//   a   speed of sound [m/s]
// and over T alone the dilute-gas viscosity mu(T) [Pa s] and conductivity lambda(T) [W/(m K)].
//
// Lookups interpolate bilinearly in (x, T) and extrapolate from the edge cells outside the grid.
// The inverse lookups need no iteration:
//   at (e, v): e is linear in T within a cell column and rises with T (cv > 0), so one monotone
//     search over the T nodes of the interpolated column finds the cell (from the node a straight
//     line between the column's ends points to, a step or two away since e is nearly linear in T)
//     and T follows linearly;
//   at (p v, v): the same with pv, which rises with T at constant v in the gas;
//   at (p, T): p falls with v along an isotherm, so one binary search over the x nodes, then ln p
//     linear in x within the cell (exact for an ideal gas).
// A table is accepted only where these monotonicities hold on every node (a gas table; the
// two-phase region and the liquid are outside).
//
// File: little-endian, through C_file_io:
//   int32 kScFileMagic ("MPSG" in file order), int32 version (1),
//   the table record (below), then the checksum trailer of the library's table files (covered
//   length u64, CRC-32 u32, marker kChemChecksumMarker "MPC1"), which is required here.
// Table record: byte 1 (version); the gas: name (string), identifier (16 bytes), molar mass
// [kg/mol], specific gas constant [J/(kg K)], critical temperature [K] and pressure [Pa] (0 when
// unknown); int32 nx, nT; doubles x0, x1, T0, T1; int32 field count (5); the fields one after the
// other, each row by row (value[f][j nx + i] at x_i, T_j); nT doubles mu, nT doubles lambda.
// A reader refuses any other version, sizes outside [2, kMaxNodes], a grid that is not increasing,
// non-finite values, a table that breaks the monotonicities above, and a bad or missing trailer.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "medium_physics/host_guid.h"
#include "medium_physics/host_string.h"

class C_file_io;

namespace mp::single_component {

// The file's first four bytes, "MPSG".
inline constexpr std::int32_t kScFileMagic = 0x4753504D;
inline constexpr std::int32_t kScFileVersion = 1;
inline constexpr std::uint8_t kScRecordVersion = 1;
// The file's name in the host's product directory.
inline constexpr const char* kScFileName = "SingleComponentGas.tables";
// Nodes per axis a record may hold: more only come from damaged records.
inline constexpr std::int32_t kMaxNodes = 100000;

enum field : std::int32_t { kPv = 0, kE = 1, kCp = 2, kCv = 3, kSound = 4, kFieldCount = 5 };

// One state answered by the table.
struct sc_state {
    double v = 0.0, T = 0.0, p = 0.0, e = 0.0, cp = 0.0, cv = 0.0, a = 0.0, mu = 0.0, lambda = 0.0;
    // (dpv/dT)_x and (dpv/dx)_T of the cell, for the expansion factor.
    double dpv_dT = 0.0, dpv_dx = 0.0;
};

struct sc_gas_table {
    // the gas
    CHostString name;
    host_guid identifier;
    double molar_mass = 0.0;  // kg/mol
    double R = 0.0;           // J/(kg K)
    double Tc = 0.0, pc = 0.0;
    // the grid
    std::int32_t nx = 0, nT = 0;
    double x0 = 0.0, x1 = 0.0, T0 = 0.0, T1 = 0.0;
    std::vector<double> values[kFieldCount];  // nx * nT each, row by row in T
    std::vector<double> mu, lambda;           // nT each
    // The same fields node by node (kFieldCount per node, nodes row by row), so that one lookup
    // touches four short runs of memory; made from `values` by prepare().
    std::vector<double> nodes;

    bool empty() const noexcept { return nx < 2 || nT < 2; }
    double dx() const noexcept { return (x1 - x0) / (nx - 1); }
    double dT() const noexcept { return (T1 - T0) / (nT - 1); }
    double value(std::int32_t f, std::int32_t i, std::int32_t j) const noexcept {
        return values[f][static_cast<std::size_t>(j) * static_cast<std::size_t>(nx) + static_cast<std::size_t>(i)];
    }

    // Allocates the fields for nx x nT nodes (zeros).
    void resize(std::int32_t nx_, std::int32_t nT_);
    // Makes `nodes` from `values`: whoever fills `values` calls it before the first lookup (the
    // builder and read() do).
    void prepare();

    // The state at (v, T), (e, v), (p v, v) and (p, T). Never fail on a non-empty table; outside the
    // grid they extrapolate from the edge cells.
    void at_v_T(double v, double T, sc_state& out) const noexcept;
    void at_e_v(double e, double v, sc_state& out) const noexcept;
    void at_pv_v(double pv, double v, sc_state& out) const noexcept;
    void at_p_T(double p, double T, sc_state& out) const noexcept;

    // Empty string when the table is usable; else what is wrong (sizes, grid, values,
    // monotonicity).
    std::string check() const;

    void write(C_file_io& stream) const;
    // False, with `why`, on a refused record; the stream's exceptions propagate.
    bool read(C_file_io& stream, std::string& why);

private:
    void at_cell(double v, std::int32_t i, double wx, double T, sc_state& out) const noexcept;
    // T on column x (cell i, weight wx) where field f equals target, by one monotone search.
    double invert_in_T(std::int32_t f, std::int32_t i, double wx, double target) const noexcept;
};

// Writes the file (magic, version, record, trailer) atomically: into a temporary file beside
// `path`, renamed over it. False with `why` when any step fails; nothing is left behind then.
bool write_sc_gas_file(const std::filesystem::path& path, const sc_gas_table& table, std::string* why = nullptr);

enum class sc_file_status : std::int32_t {
    ok = 0,
    cannot_open,
    truncated,     // the file ends inside the record
    not_a_table,   // another magic number or file version
    bad_record,    // the record is refused (why says what)
    bad_checksum,  // the trailer is missing, inconsistent, or its CRC does not match
};
const char* to_text(sc_file_status status) noexcept;

// Reads the file from a stream (from its start) or a path. On any status but ok the table is empty
// and `why` says what was found. Never throws.
sc_file_status read_sc_gas_table(C_file_io& stream, sc_gas_table& table, std::string& why);
sc_file_status read_sc_gas_file(const std::filesystem::path& path, sc_gas_table& table, std::string& why);

// ---- making a table -----------------------------------------------------------------------------

// Dilute-gas transport of a pure gas from its critical data: viscosity by the method of Chung, Lee
// and Starling (Ind. Eng. Chem. Fundam. 23 (1984) 8; Chung et al., Ind. Eng. Chem. Res. 27 (1988)
// 671) without the polar and association terms, with Neufeld's collision integral; conductivity by
// the modified Eucken rule lambda = mu (1.32 cv0 + 1.77 R) (Poling, Prausnitz and O'Connell, The
// Properties of Gases and Liquids, 5th ed., eq. 10-3.3). Both are low-pressure values: the table
// carries no dense-gas correction. Tc [K], pc [Pa], Zc, omega, M [kg/mol]; T [K]; cv0 [J/(kg K)].
double chung_dilute_viscosity(double T, double Tc, double pc, double Zc, double omega, double M) noexcept;
double eucken_conductivity(double mu, double cv0, double R) noexcept;

}  // namespace mp::single_component
