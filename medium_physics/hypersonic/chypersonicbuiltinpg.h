// CHypersonicBuiltInPG: the property generator of the hypersonic medium, a set of NP tables over
// (x1, x2) = (T [K], rho [kg/m3]) answered by bilinear interpolation and by bisection.
//
// Tables, by index: 0 e [J/kg], 1 p [Pa], 2 gamma = cp/cv [-], 3 cp [J/(kg K)], 4 M [kg/mol],
// 5 mu [Pa s], 6 lambda [W/(m K)], and where there are eight, 7 the isentropic exponent
// kappa = (d ln p / d ln rho)_s [-] (the queries do not read it; hypersonic_tables.h does). The T axis is geometric,
// x1_i = exp(ln-origin + i ln-step); the rho axis is uniform, x2_j = origin + j step. The speed of sound is not
// tabulated: a = sqrt(p gamma / rho) from tables 1 and 2 at the final state.
//
// Lookup of a point (x1, x2) for table k: x1 is clamped to [x1 min, x1 max]; the cell of x1 is
// the truncation of (ln x1 - ln-origin) / ln-step (at most N1 - 2) and the weight is linear in x1
// between the two nodes; along x2 the cell is the truncation of t = (x2 - origin) / step (at most
// N2 - 2) and f = t - j is not clamped, so x2 past the last node extrapolates from the last cell.
// Below the origin the lookup extrapolates from the first cell down to exactly one step below it
// and holds that value further down: that clamp is a guard of this library (without it the cell
// index would leave the table); a NaN x1 or x2 takes the lower clamp.
//
// Bisections halve [lo, hi] until lo * tolerance > |hi - lo| or the table hits the target exactly,
// and return the midpoint; the tables must increase along the searched axis. A target outside the
// table's range ends at a bracket end. The halving is capped at kMaxHalvings steps, so a zero or
// NaN tolerance from a damaged record cannot loop for ever.
//
// Stream record (as read): NP, N1, N2 (int32), the allocation flag byte, then for each table k and
// each row i the N2 doubles of that row. The scalar members (clamps, origins, steps, tolerances)
// are not part of it: the owner sets them with set_grid (the substance saves them in its own
// record). Queries never throw, never allocate and never change the object.
#pragma once

#include <any>
#include <cstdint>
#include <memory>
#include <vector>

#include "factory/c_memory_pool.h"
#include "medium_physics/host_unknown.h"

class C_file_io;

// The scalar members of a generator: where its nodes lie and how its bisections stop.
struct hypersonic_grid {
    double x1_min = 0.0;        // lower clamp of x1, and lower bracket of its bisections
    double x1_max = 0.0;        // upper clamp and upper bracket
    double ln_x1_origin = 0.0;  // ln of the first x1 node
    double ln_x1_step = 0.0;    // spacing in ln x1
    double x1_tolerance = 0.0;  // relative stop width of bisections on x1
    double x2_origin = 0.0;     // first x2 node
    double x2_max = 0.0;        // upper bracket of bisections on x2
    double x2_step = 0.0;       // spacing of x2
    double x2_tolerance = 0.0;  // relative stop width of bisections on x2

    // Finite values, positive steps and tolerances, x1 min < x1 max, x1 min above the node one
    // step below the origin (so the cell index of x1 is never negative), x2 origin < x2 max. A
    // generator refuses any other grid.
    bool valid() const noexcept;
};

// The generator interface of the hypersonic medium. Each query takes (q1, q2), an ignored
// argument and eight results, and returns 0.
class IHypersonicPG : public virtual IHostUnknown {
public:
    // 1. x1 from table 0 = q1 at x2 = q2: x1, P1, a, P2, P3, P4, P5, P6.
    virtual std::int32_t state_from_x2_table0(double q1, double q2, double unused, double* r) const noexcept = 0;
    // 2. x1 from table 1 = q1 at x2 = q2: x1, P0, a, P2, P3, P4, P5, P6.
    virtual std::int32_t state_from_x2_table1(double q1, double q2, double unused, double* r) const noexcept = 0;
    // 3. The state at (x1, x2) = (q1, q2): P0, P1, a, P2, P3, P4, P5, P6.
    virtual std::int32_t state_at(double q1, double q2, double unused, double* r) const noexcept = 0;
    // 4. x2 from table 1 = q1 at x1 = q2: x2, P0, a, P2, P3, P4, P5, P6.
    virtual std::int32_t state_from_x1_table1(double q1, double q2, double unused, double* r) const noexcept = 0;
    // Reads the tables (the stream's exceptions propagate; a record that cannot be a table set
    // raises c_RQ_io_error). Any tables held before are released first.
    virtual void read(C_file_io& stream) = 0;
    virtual void write(C_file_io& stream) const = 0;
};

class CHypersonicBuiltInPG final : public IHypersonicPG, public std::enable_shared_from_this<CHypersonicBuiltInPG> {
public:
    // The table roles.
    enum table : std::int32_t {
        kEnergy = 0,
        kPressure,
        kGamma,
        kCp,
        kMolarMass,
        kViscosity,
        kConductivity,
        kIsentropicExponent
    };
    // The tables every generator holds, and the count with the isentropic exponent.
    static constexpr std::int32_t kTableCount = 7;
    static constexpr std::int32_t kTableCountWithExponent = 8;
    static constexpr std::int32_t kResultCount = 8;
    static constexpr int kMaxHalvings = 200;
    // A stored table set larger than this many doubles is refused (1 GiB).
    static constexpr std::int64_t kMaxStoredValues = std::int64_t(1) << 27;

    static std::shared_ptr<CHypersonicBuiltInPG> create();
    CHypersonicBuiltInPG(const CHypersonicBuiltInPG&) = delete;
    CHypersonicBuiltInPG& operator=(const CHypersonicBuiltInPG&) = delete;

    std::int32_t query_interface(std::any& requested) override;

    // Sets the scalar members; false (and nothing changes) when the grid is not valid.
    bool set_grid(const hypersonic_grid& grid) noexcept;
    const hypersonic_grid& grid() const noexcept { return m_grid; }
    // Allocates np zeroed tables of n1 x n2 (np >= 7, n1, n2 >= 2); false when refused.
    bool allocate(std::int32_t np, std::int32_t n1, std::int32_t n2) noexcept;
    // Tables and grid are there; queries on a generator that is not ready answer NaN.
    bool ready() const noexcept { return m_allocated != 0 && m_grid_ok; }

    std::int32_t table_count() const noexcept { return m_np; }
    std::int32_t n1() const noexcept { return m_n1; }
    std::int32_t n2() const noexcept { return m_n2; }
    // Node coordinates.
    double x1_node(std::int32_t i) const noexcept;
    double x2_node(std::int32_t j) const noexcept { return m_grid.x2_origin + j * m_grid.x2_step; }
    // Row i of table k (N2 values).
    double* row(std::int32_t k, std::int32_t i) noexcept { return m_tables[k].data() + std::size_t(i) * m_n2; }
    const double* row(std::int32_t k, std::int32_t i) const noexcept {
        return m_tables[k].data() + std::size_t(i) * m_n2;
    }

    // Where x1 falls: the row and the weight along x1 (clamped as the lookup clamps); generators
    // on the same x1 axis share it.
    struct x1_cell {
        std::int32_t i;
        double w;
    };
    // Where x2 falls: the column and the unclamped fraction along x2 (with the guard below).
    struct x2_cell {
        std::int32_t j;
        double f;
    };
    x1_cell locate_x1(double x1) const noexcept;
    x2_cell locate_x2(double x2) const noexcept;
    // Table k at located coordinates (the generator must be ready).
    double blend(std::int32_t k, const x1_cell& c1, const x2_cell& c2) const noexcept;

    // Table k at (x1, x2), and all tables at once (values[0..NP)).
    double interpolate(std::int32_t k, double x1, double x2) const noexcept;
    void interpolate_all(double x1, double x2, double* values) const noexcept;

    // The three bisections.
    double x1_from_table0(double target, double x2) const noexcept { return bisect_x1(kEnergy, target, x2); }
    double x1_from_table1(double target, double x2) const noexcept { return bisect_x1(kPressure, target, x2); }
    double x2_from_table1(double target, double x1) const noexcept;

    std::int32_t state_from_x2_table0(double q1, double q2, double unused, double* r) const noexcept override;
    std::int32_t state_from_x2_table1(double q1, double q2, double unused, double* r) const noexcept override;
    std::int32_t state_at(double q1, double q2, double unused, double* r) const noexcept override;
    std::int32_t state_from_x1_table1(double q1, double q2, double unused, double* r) const noexcept override;

    void read(C_file_io& stream) override;
    void write(C_file_io& stream) const override;

    // What a query answers without tables: eight NaNs; returns 0.
    static std::int32_t nan_results(double* r) noexcept;

    // Bytes of table storage.
    std::size_t bytes() const noexcept { return std::size_t(m_np) * m_n1 * m_n2 * sizeof(double); }

private:
    CHypersonicBuiltInPG() = default;

    double bisect_x1(std::int32_t k, double target, double x2) const noexcept;
    // P0..P6 at the final state into the eight results, slot 0 holding `first` and the slot of
    // the solved table the other table's value.
    void fill(const x1_cell& c1, const x2_cell& c2, double x2, double first, std::int32_t second_table,
              double* r) const noexcept;
    void release() noexcept;
    void build_nodes();

    std::int32_t m_np = 0;
    std::int32_t m_n1 = 0;
    std::int32_t m_n2 = 0;
    hypersonic_grid m_grid;
    bool m_grid_ok = false;
    std::uint8_t m_allocated = 0;
    std::vector<mp::pooled_array<double>> m_tables;
    // x1 nodes, exp(ln-origin + i ln-step), computed once from their indices.
    std::vector<double> m_x1_nodes;
};
