// Cages: fixed 101 x 101 node tables of four properties over a rectangle of two state variables x
// (rows, index i) and y (columns, index j), with bilinear values and one-sided cell derivatives.
// The real-gas property tables cover their rectangle with a patchwork of cages; x is there the
// natural logarithm of the pressure and y the temperature, and the four properties are those of
// the real-gas generator's first operation (density, specific enthalpy, specific entropy, speed
// of sound), so that property 0 and 1 derivatives give d rho/d ln p, d rho/dT, dh/d ln p and
// cp = dh/dT.
//
// Three kinds differ in the x axis and in the valid part of the square:
//   Cage_uniform     (tag 1) uniform x nodes;
//   Cage_nonuniform  (tag 2) x nodes placed where the properties bend, found through a coarse
//                     bucket index and a short upward scan;
//   Cage_mixed       (tag 3) the non-uniform axis, valid on one side of the index diagonal
//                     (i >= j; inside a diagonal cell where u < t), a per-node phase mask and
//                     per-row saturation data.
//
// Lookups do not clamp: callers clamp (x, y) into the cage first; only the upper edge index 100
// is folded into the last cell. Lookups allocate nothing, throw nothing and change nothing, so
// one filled cage serves any number of threads. Filling is done once, by one thread, before the
// cage is published.
#pragma once

#include <array>
#include <cstdint>
#include <memory>

#include "factory/c_memory_pool.h"

class C_file_io;
class IRGPropertyGenerator;

// The located cell of a point: indices and local coordinates in [0, 1].
struct cage_cell {
    std::int32_t i = 0;  // x cell
    std::int32_t j = 0;  // y cell
    double t = 0.0;      // local x coordinate
    double u = 0.0;      // local y coordinate
};

class Cage {
public:
    static constexpr std::int32_t kNodes = 101;
    static constexpr std::int32_t kCells = 100;
    static constexpr std::int32_t kNodeCount = kNodes * kNodes;
    static constexpr std::int32_t kProperties = 4;

    virtual ~Cage() = default;
    Cage(const Cage&) = delete;
    Cage& operator=(const Cage&) = delete;

    // Fills the cage over [xlo, xhi] x [ylo, yhi] from the generator's first operation, which is
    // always given exp(x) and y. False when the memory is not to be had or the rectangle is empty.
    virtual bool fill(IRGPropertyGenerator& generator, double xlo, double xhi, double ylo, double yhi) = 0;

    virtual double value0(double x, double y) const noexcept;
    virtual double value1(double x, double y) const noexcept;
    virtual double value2(double x, double y) const noexcept;
    virtual double value3(double x, double y) const noexcept;
    // Cage_uniform and Cage_nonuniform: the flag the fill set (the generator's answer at the
    // patch centre); Cage_mixed: the diagonal test.
    virtual bool in_domain(double x, double y) const noexcept = 0;
    virtual double d0_dy(double x, double y) const noexcept;
    virtual double d0_dx(double x, double y) const noexcept;
    virtual double d1_dy(double x, double y) const noexcept;
    virtual double d1_dx(double x, double y) const noexcept;
    virtual std::int32_t kind() const noexcept = 0;
    // False on a version other than 0 (nothing further read) or memory not to be had; stream
    // failures propagate as the stream's exceptions.
    virtual bool read(C_file_io& stream) = 0;
    virtual void write(C_file_io& stream) const = 0;

    // The cell of (x, y).
    cage_cell locate(double x, double y) const noexcept {
        cage_cell c;
        locate_x(x, c);
        const double sy = (y - m_y0) / m_dy;
        c.j = static_cast<std::int32_t>(sy);
        if (c.j == kCells) c.j = kCells - 1;
        c.u = sy - c.j;
        return c;
    }
    // The four properties at one located cell (one location for all four).
    void values(const cage_cell& c, double out[kProperties]) const noexcept {
        for (int k = 0; k < kProperties; ++k) out[k] = interpolate(k, c);
    }
    void values(double x, double y, double out[kProperties]) const noexcept { values(locate(x, y), out); }
    // Property k at a located cell, along y on both x rows, then along x.
    double interpolate(int k, const cage_cell& c) const noexcept {
        const double* f = m_values.data() + static_cast<std::ptrdiff_t>(k) * kNodeCount;
        const double* r0 = f + c.i * kNodes + c.j;
        const double* r1 = r0 + kNodes;
        const double a = r0[0] + c.u * (r0[1] - r0[0]);
        const double b = r1[0] + c.u * (r1[1] - r1[0]);
        return a + c.t * (b - a);
    }
    // d(property k)/dy: along x on both y columns, then the column difference over dy.
    double derivative_y(int k, const cage_cell& c) const noexcept {
        const double* f = m_values.data() + static_cast<std::ptrdiff_t>(k) * kNodeCount;
        const double* r0 = f + c.i * kNodes + c.j;
        const double* r1 = r0 + kNodes;
        const double lo = r0[0] + c.t * (r1[0] - r0[0]);
        const double hi = r0[1] + c.t * (r1[1] - r0[1]);
        return (hi - lo) / m_dy;
    }
    // d(property k)/dx: along y on both x rows, then the row difference over the node spacing.
    double derivative_x(int k, const cage_cell& c) const noexcept {
        const double* f = m_values.data() + static_cast<std::ptrdiff_t>(k) * kNodeCount;
        const double* r0 = f + c.i * kNodes + c.j;
        const double* r1 = r0 + kNodes;
        const double a = r0[0] + c.u * (r0[1] - r0[0]);
        const double b = r1[0] + c.u * (r1[1] - r1[0]);
        return (b - a) / (m_x[c.i + 1] - m_x[c.i]);
    }

    double x_begin() const noexcept { return m_x0; }
    double x_end() const noexcept { return m_x_end; }
    double y_begin() const noexcept { return m_y0; }
    double y_end() const noexcept { return m_y_end; }
    double dy() const noexcept { return m_dy; }
    const double* x_nodes() const noexcept { return m_x.data(); }
    // Node (i, j) of property k.
    double node(int k, std::int32_t i, std::int32_t j) const noexcept {
        return m_values.data()[static_cast<std::ptrdiff_t>(k) * kNodeCount + i * kNodes + j];
    }
    // Bytes a filled cage holds: the object and its pooled property arrays.
    virtual std::size_t bytes() const noexcept = 0;

    // A new empty cage of the kind tag (1, 2 or 3); nullptr for any other tag.
    static std::unique_ptr<Cage> make(std::int32_t kind);

protected:
    Cage() = default;
    // Sets i and t of the cell.
    virtual void locate_x(double x, cage_cell& c) const noexcept = 0;
    // The y axis and the header of a rectangle, and room for the four arrays.
    bool prepare(double xlo, double xhi, double ylo, double yhi);
    // Node values from the generator at the cage's x nodes (exp(x) given) and uniform y nodes;
    // rows in parallel. The generator's answer at the patch centre is returned.
    bool fill_nodes(IRGPropertyGenerator& generator);
    // The base record: byte 0, the five header doubles, the 101 x nodes, the four arrays.
    void write_base(C_file_io& stream) const;
    bool read_base(C_file_io& stream);
    std::size_t base_bytes() const noexcept { return m_values.size() * sizeof(double); }

    double m_dy = 1.0;
    double m_x0 = 0.0;
    double m_x_end = 1.0;
    double m_y0 = 0.0;
    double m_y_end = 1.0;
    std::array<double, kNodes> m_x{};
    // property k, node (i, j) at k * 101 * 101 + i * 101 + j
    mp::pooled_array<double> m_values;
};

class Cage_uniform final : public Cage {
public:
    Cage_uniform() = default;
    // The spacing is (xhi - xlo)/100 and (yhi - ylo)/100; the flag is the generator's answer at
    // the centre, exp((xlo + xhi)/2), (ylo + yhi)/2.
    bool fill(IRGPropertyGenerator& generator, double xlo, double xhi, double ylo, double yhi) override;
    bool in_domain(double, double) const noexcept override { return m_flag != 0; }
    std::int32_t kind() const noexcept override { return 1; }
    bool read(C_file_io& stream) override;
    void write(C_file_io& stream) const override;
    std::size_t bytes() const noexcept override { return sizeof(*this) + base_bytes(); }

private:
    void locate_x(double x, cage_cell& c) const noexcept override {
        const double sx = (x - m_x0) / m_dx;
        c.i = static_cast<std::int32_t>(sx);
        if (c.i == kCells) c.i = kCells - 1;
        c.t = sx - c.i;
    }

    std::uint8_t m_flag = 0;
    double m_dx = 1.0;
};

// The non-uniform x axis shared by Cage_nonuniform and Cage_mixed: the nodes, a coarse uniform
// bucket index over them, and the node placement.
struct cage_axis {
    double dxc = 1.0;  // bucket width: (x end - x0)/100
    std::array<double, Cage::kNodes> x{};
    std::array<std::int32_t, Cage::kNodes> bucket{};  // per bucket, the cell that holds its start

    // bucket[k] = the last node index i <= 99 with x[i] <= x0 + k dxc.
    void build_buckets() noexcept;
    // First i from bucket[trunc((x - x0)/dxc)] with x[i] <= x <= x[i+1], scanning upward four
    // nodes per step while four remain, then one by one; 100 folds to 99.
    std::int32_t find(double xv, double& t) const noexcept;
    // Places the 101 nodes on [xlo, xhi] by equidistributing the monitor 1 + weight * |d rho/dx| /
    // mean |d rho/dx| (a rho the generator's density at 401 points on each of five rows of y),
    // blended half and half with the uniform spacing so that no cell is more than about twice the
    // uniform width. Returns the smallest cell width over the uniform width.
    double place(IRGPropertyGenerator& generator, double xlo, double xhi, double ylo, double yhi, double weight);
    // 101 nodes, 101 bucket entries (the bucket entries must lie in [0, 100]).
    bool read(C_file_io& stream);
    void write(C_file_io& stream) const;
};

class Cage_nonuniform final : public Cage {
public:
    // Weight of the density slope in the node placement.
    static constexpr double kPlacementWeight = 8.0;

    Cage_nonuniform() = default;
    // Nodes placed where the density bends along x (the saturation line, the critical region).
    bool fill(IRGPropertyGenerator& generator, double xlo, double xhi, double ylo, double yhi) override;
    bool in_domain(double, double) const noexcept override { return m_flag != 0; }
    std::int32_t kind() const noexcept override { return 2; }
    bool read(C_file_io& stream) override;
    void write(C_file_io& stream) const override;
    std::size_t bytes() const noexcept override { return sizeof(*this) + base_bytes(); }
    // The last double of the record: the smallest cell width over the uniform cell width.
    double refinement() const noexcept { return m_refinement; }

private:
    void locate_x(double x, cage_cell& c) const noexcept override { c.i = m_axis.find(x, c.t); }

    std::uint8_t m_flag = 0;
    cage_axis m_axis;
    double m_refinement = 1.0;
};

class Cage_mixed final : public Cage {
public:
    // Per-row (per x node, a pressure p = exp(x)) saturation data: the saturation temperature
    // (0 when the saturation line does not cross the row inside the cage's temperature range)
    // and, at it, the liquid and vapour density, enthalpy and entropy, and the slope dTsat/dx of
    // the line (all 0 on rows the line does not cross).
    enum row_data : int {
        kRowTsat = 0, kRowRhoLiquid, kRowRhoVapour, kRowHLiquid, kRowHVapour, kRowSLiquid, kRowSVapour,
        kRowSlope, kRowArrays = 8,
    };

    Cage_mixed() = default;
    // The non-uniform axis of Cage_nonuniform; the mask holds 1 at nodes on the liquid side of the
    // saturation line (T below the row's saturation temperature), else 0.
    bool fill(IRGPropertyGenerator& generator, double xlo, double xhi, double ylo, double yhi) override;
    bool in_domain(double x, double y) const noexcept override;
    std::int32_t kind() const noexcept override { return 3; }
    bool read(C_file_io& stream) override;
    void write(C_file_io& stream) const override;
    std::size_t bytes() const noexcept override { return sizeof(*this) + base_bytes(); }
    std::uint8_t mask(std::int32_t i, std::int32_t j) const noexcept { return m_mask[i * kNodes + j]; }
    double row(int array, std::int32_t i) const noexcept { return m_rows[array][i]; }

private:
    void locate_x(double x, cage_cell& c) const noexcept override { c.i = m_axis.find(x, c.t); }

    std::array<std::uint8_t, kNodeCount> m_mask{};
    cage_axis m_axis;
    std::array<std::array<double, kNodes>, kRowArrays> m_rows{};
};
