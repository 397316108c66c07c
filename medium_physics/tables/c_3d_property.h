// Three-dimensional chemistry tables: the equilibrium properties of a combustible medium over a
// thermodynamic pair and the mixture fraction.
//
//   C_3d_Chem_property_PT: axis 1 pressure p [Pa], axis 2 temperature T [K], axis 3 mixture fraction z [-]
//   C_3d_Chem_property_VT: axis 1 specific volume v [m3/kg], axis 2 temperature T [K], axis 3 z [-]
//
// Each axis is uniform, optionally in the natural logarithm of its coordinate (then min and step are
// in log space). Every field is an array [N1][N2][N3] of doubles with the mixture fraction
// innermost, so one trilinear evaluation touches four rows of two neighbouring values. There are
// count A property fields and count B further fields (species data), carried and saved unchanged.
//
// A state is looked up in three columns that are blended: the burnt mixture at the local mixture
// fraction, the pure fuel stream (the last z grid point) and the pure oxidizer stream (the first z
// grid point), weighted by mixing_weights(). Outside the table the cell is clamped and the
// weights are not, so values are extrapolated linearly from the edge cell; a clamp on axis 1 or 2
// raises the sticky out-of-range byte, which the owner may report and which is saved.
//
// lookup() answers eight outputs from the property fields (the owner names them):
//   out[0] = 1 / v with v = sum of weight * exp(field 0)        (field 0 holds ln v: density)
//   out[1] = blend of field 1,  out[2] = blend of field 5,  out[6] = blend of field 2,
//   out[7] = blend of field 8                                    (linear blends)
//   out[4] = 1 / sum of weight / field 9                         (harmonic blend)
//   out[5] = c = sqrt(-(v^2 / (A3^2 * x2 / out[2] + A4)))        (A3, A4: linear blends of fields 3, 4)
//   out[3] = -(c^2 * A4 / v^2)
// On a PT table whose fields 3 and 4 hold dv/dT at constant p and dv/dp at constant T and whose
// field 5 holds cp, out[5] is the speed of sound and out[3] the ratio of specific heats.
//
// Property operations (locate, interpolate, mixing_weights, lookup) never throw and never
// allocate; they read the table only, except that lookup raises the sticky out-of-range byte (an
// atomic, so one table serves many solver threads). A table without its ten property fields
// answers quiet NaNs.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "factory/c_memory_pool.h"

class C_file_io;

// The two table kinds, and the variant tag each writes after its fields.
enum class chem_variant : std::int32_t { PT = 1, VT = 0 };

// Grid of one axis.
struct chem_axis {
    std::int32_t n = 0;   // grid points, at least 2
    bool log = false;     // uniform in ln(coordinate)
    double min = 0.0;     // first grid point (its logarithm on a log axis)
    double bound = 0.0;   // second bound, stored and saved, not used by the lookup
    double step = 0.0;    // spacing (in log space on a log axis)
};

// What create() allocates.
struct chem_table_layout {
    chem_axis axis[3];
    std::int32_t count_a = 0;  // property fields (lookup needs ten)
    std::int32_t count_b = 0;  // further fields
};

// The cell of a state: indices of its lower corner and the weights within it. Weights are not
// clamped: outside the table they lie outside [0, 1].
struct chem_cell {
    std::int32_t i = 0, j = 0, k = 0;
    double w1 = 0.0, w2 = 0.0, w3 = 0.0;
    bool out_of_range = false;  // axis 1 or axis 2 was clamped
};

// Weights of the burnt-mixture and fuel columns; the oxidizer column has 1 - burnt - fuel.
struct chem_mixing {
    double burnt = 1.0;
    double fuel = 0.0;
    double oxidizer() const noexcept { return 1.0 - burnt - fuel; }
};

inline constexpr std::size_t kChemLookupOutputs = 8;
// Property fields lookup reads (fields 0 to 9).
inline constexpr std::int32_t kChemLookupFields = 10;

struct chem_lookup_result {
    std::array<double, kChemLookupOutputs> out{};  // outputs 1 to 8 at out[0] to out[7]
    bool out_of_range = false;                      // this lookup clamped axis 1 or 2
};

// Why read() refused a record.
enum class chem_read_error : std::int32_t {
    none = 0,
    outer_version,  // the leading byte is not 0
    body_version,   // the body version is above 1
    sizes,          // a grid size below 2, a negative field count, or more cells than a table may hold
    memory,         // the arrays are not to be had
    variant_tag,    // the tag after the fields is not this table's
};
const char* to_text(chem_read_error error) noexcept;

class C_3d_Chem_property {
public:
    // Fields of more cells than this are refused by create() and read() (16 GiB per field).
    static constexpr std::uint64_t kMaxCells = std::uint64_t{1} << 31;

    virtual ~C_3d_Chem_property();
    C_3d_Chem_property(const C_3d_Chem_property&) = delete;
    C_3d_Chem_property& operator=(const C_3d_Chem_property&) = delete;

    chem_variant variant() const noexcept { return m_variant; }
    // "_PT.tbl" or "_VT.tbl": how the table file of this kind ends.
    const char* file_ending() const noexcept;

    // ---- building (the chemistry property generator) --------------------------------------------
    // Allocates zero-filled fields for `layout` and fills the axis arrays with the grid coordinates
    // (exp(min + i * step) on a log axis). Two-stream byte, stream parameter and out-of-range byte
    // are reset. False when a size is below 2, a count negative, the table too large, or memory not
    // to be had; the table is then unchanged.
    bool create(const chem_table_layout& layout);
    // Releases everything: an empty table.
    void clear() noexcept;
    void set_two_stream(bool on) noexcept { m_two_stream = on ? 1 : 0; }
    void set_stream_parameter(double s) noexcept { m_stream_parameter = s; }
    // 1: blend weights from the stream parameter; any other value: from the two mixing inputs.
    // Set by the owner before lookups; not saved.
    void set_mode(std::int32_t mode) noexcept { m_mode = mode; }
    void clear_out_of_range() noexcept { m_out_of_range.store(0, std::memory_order_relaxed); }

    // ---- the table --------------------------------------------------------------------------
    bool empty() const noexcept { return m_n[0] == 0; }
    std::int32_t size(int axis) const noexcept { return m_n[axis]; }
    bool log_axis(int axis) const noexcept { return m_log[axis] != 0; }
    double min(int axis) const noexcept { return m_min[axis]; }
    double bound(int axis) const noexcept { return m_bound[axis]; }
    double step(int axis) const noexcept { return m_step[axis]; }
    // Grid coordinates of an axis (size(axis) values).
    const double* axis_values(int axis) const noexcept { return m_axis[axis].data(); }
    double* axis_values(int axis) noexcept { return m_axis[axis].data(); }
    std::int32_t count_a() const noexcept { return m_count_a; }
    std::int32_t count_b() const noexcept { return m_count_b; }
    std::uint64_t cells() const noexcept;
    // Field `index`: property fields 0 .. count_a - 1, then the further fields; element (i, j, k)
    // at (i * N2 + j) * N3 + k. nullptr for an index out of range.
    const double* field(std::int32_t index) const noexcept;
    double* field(std::int32_t index) noexcept;
    bool two_stream() const noexcept { return m_two_stream != 0; }
    double stream_parameter() const noexcept { return m_stream_parameter; }
    std::int32_t mode() const noexcept { return m_mode; }
    bool out_of_range() const noexcept { return m_out_of_range.load(std::memory_order_relaxed) != 0; }

    // ---- property operations ---------------------------------------------------------------------
    // The cell of (x1, x2, x3) in the axes' own units: f = (x - min) / step (x replaced by ln x on a
    // log axis), index = f truncated toward zero and clamped to 0 .. N - 2, weight = f - index.
    // Reports a clamp of axis 1 or 2 in the result; the sticky byte is left alone.
    chem_cell locate(double x1, double x2, double x3) const noexcept;
    // Trilinear value of field `index` in cell (i, j, k): along axis 3 first, then 2, then 1. NaN
    // for a field or a cell that the table does not have.
    double interpolate(std::int32_t index, double w1, double w2, double w3, std::int32_t i, std::int32_t j,
                       std::int32_t k) const noexcept;
    // Column weights for mixture fraction y and the medium's two further mixing inputs a and b.
    chem_mixing mixing_weights(double y, double a, double b) const noexcept;
    // The eight outputs at (x1, x2) for mixture fraction y and mixing inputs a, b (see the top of
    // this file). Raises the sticky out-of-range byte when axis 1 or 2 is clamped.
    chem_lookup_result lookup(double x1, double x2, double y, double a, double b) const noexcept;

    // ---- record ----------------------------------------------------------------------------
    // Byte 0, body version 1, the sizes, log bytes, bounds, steps, out-of-range byte, field counts,
    // stream parameter and two-stream byte, the axis arrays, the fields, and the variant tag
    // (1 for PT; 0, then the VT's 32-bit value and double, for VT).
    void write(C_file_io& stream) const;
    // Reads a record written by write() or by a body-version-0 writer (no stream parameter and
    // two-stream byte: both are then 0, and the owner supplies them). `version` receives the body
    // version (0xFF when the record ends before it). False on a refused record (`why` says which
    // check failed); the table is then unchanged. Short reads throw the stream's exceptions, and
    // leave the table unchanged too. Sizes are checked before anything is allocated and fields are
    // allocated only as the stream proves to hold them, so a damaged file never allocates much
    // more than its own size.
    bool read(C_file_io& stream, std::uint8_t& version);
    bool read(C_file_io& stream, std::uint8_t& version, chem_read_error& why);

protected:
    explicit C_3d_Chem_property(chem_variant variant) noexcept : m_variant(variant) {}
    // The VT's own record after its tag.
    std::int32_t m_vt_value = 0;
    double m_vt_parameter = 0.0;

private:
    struct contents;
    void adopt(contents& c) noexcept;
    // Trilinear value of a field in the cell whose four rows start at the given offsets.
    static double trilinear(const double* f, const std::size_t rows[4], std::int32_t k, double w1, double w2,
                            double w3) noexcept;

    chem_variant m_variant;
    std::int32_t m_n[3] = {0, 0, 0};
    std::uint8_t m_log[3] = {0, 0, 0};
    double m_min[3] = {0.0, 0.0, 0.0};
    double m_bound[3] = {0.0, 0.0, 0.0};
    double m_step[3] = {0.0, 0.0, 0.0};
    mutable std::atomic<std::uint8_t> m_out_of_range{0};
    std::int32_t m_count_a = 0;
    std::int32_t m_count_b = 0;
    std::uint8_t m_two_stream = 0;
    double m_stream_parameter = 0.0;
    std::int32_t m_mode = 0;
    mp::pooled_array<double> m_axis[3];
    std::vector<mp::pooled_array<double>> m_fields;  // count A, then count B
};

// Pressure-temperature table (file ending "_PT.tbl", variant tag 1).
class C_3d_Chem_property_PT final : public C_3d_Chem_property {
public:
    C_3d_Chem_property_PT() noexcept : C_3d_Chem_property(chem_variant::PT) {}
};

// Volume-temperature table (file ending "_VT.tbl", variant tag 0 followed by a 32-bit value and a
// double of its own, kept and saved for the combustible media).
class C_3d_Chem_property_VT final : public C_3d_Chem_property {
public:
    C_3d_Chem_property_VT() noexcept : C_3d_Chem_property(chem_variant::VT) {}
    std::int32_t vt_value() const noexcept { return m_vt_value; }
    double vt_parameter() const noexcept { return m_vt_parameter; }
    void set_vt_record(std::int32_t value, double parameter) noexcept {
        m_vt_value = value;
        m_vt_parameter = parameter;
    }
};
