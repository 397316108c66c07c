// Two-dimensional real-gas property tables: the properties of one real-gas substance over a
// rectangle of x = ln p (the generator is always given exp(x)) and y = T, covered by a 10 x 10
// patchwork of cages of 101 x 101 nodes each (1000 x 1000 cells in all), beside the saturation
// line as uniform arrays over temperature.
//
// Patches are made lazily: the first lookup that falls into an absent patch has the generator
// fill it. Existing patches are read without a lock: the patch pointer is an atomic published
// with release after the fill is complete and read with acquire. Creation is serialised by one
// std::mutex owned by the table (a lock that ThreadSanitizer understands) and the pointer is
// looked at again inside it, so that each patch is filled exactly once and a created patch is
// never replaced.
//
//   C_2d_RG_property_regular    equal patch widths, every patch a Cage_uniform.
//   C_2d_RG_property_adaptable  x divided into M <= 10 strips of chosen widths, strip m holding
//                               patch column m, each strip with its own cage kind.
//
// The saturation line runs from y0 to Tend = min(y1, Tc - 1e-6 Tc) on N nodes; the nine
// generator arrays are, in order: ln psat, liquid and vapour density, liquid and vapour enthalpy,
// liquid and vapour entropy, liquid and vapour spinodal pressure. The two derived arrays are the
// node temperatures (the last one set to Tend exactly) and the cell index of each node (k, with
// the last node given N - 2, so that a lookup at Tend uses the last cell). A table that starts at
// or above that end (wholly supercritical: y0 >= Tc - 1e-6 Tc) has no saturation line: no nodes,
// Tend = 0, and every saturation array reads 0 there, as the generator's own saturation
// operations do above Tc; it is saved and read like any other table.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>

#include "tables/cage.h"
#include "factory/c_memory_pool.h"

class C_file_io;
class IRGPropertyGenerator;

class C_2d_RG_property {
public:
    static constexpr std::int32_t kPatches = 10;
    static constexpr std::int32_t kGeneratorArrays = 9;
    // The saturation line ends at this fraction of Tc, where the two phases still differ; a table
    // from this temperature up has none.
    static constexpr double kSaturationEndFraction = 1.0 - 1e-6;
    enum saturation_array : int {
        kLnPsat = 0, kRhoLiquid, kRhoVapour, kHLiquid, kHVapour, kSLiquid, kSVapour, kSpinodalLiquid,
        kSpinodalVapour, kNodeTemperature, kCellIndex, kSaturationArrays = 11,
    };

    virtual ~C_2d_RG_property();
    C_2d_RG_property(const C_2d_RG_property&) = delete;
    C_2d_RG_property& operator=(const C_2d_RG_property&) = delete;

    // Reads the table, attaching the generator (which the record also carries: the generator
    // reads its own record). False on a version other than 0, a cage or a generator that fails
    // to read, or sizes the record cannot hold; stream failures throw.
    virtual bool read(C_file_io& stream, std::shared_ptr<IRGPropertyGenerator> generator) = 0;
    virtual void write(C_file_io& stream) const = 0;
    // The patch that holds (x, y), created and filled if absent; (x, y) clamped into the
    // rectangle first. nullptr only when a patch cannot be made (no generator or no memory).
    virtual const Cage* patch(double x, double y) const = 0;

    // The four properties at (x = ln p, y = T), clamped into the rectangle: density, enthalpy,
    // entropy, speed of sound. False when the patch cannot be made (outputs then 0).
    bool lookup(double x, double y, double out[Cage::kProperties]) const noexcept;
    // The same with the derivatives of density and enthalpy: d[0] = d rho/dx, d[1] = d rho/dy,
    // d[2] = dh/dx, d[3] = dh/dy (= cp).
    bool lookup_derivatives(double x, double y, double out[Cage::kProperties], double d[4]) const noexcept;
    // As lookup_derivatives, on one side of the saturation line (side 1: liquid, x at or above
    // ln psat; 2: vapour, below; 0: as lookup_derivatives). Below the line's end, a cell with a
    // node on the other side is not used: the nearest cell further from the line (higher x for
    // the liquid, lower for the vapour) whose four nodes all lie on the side asked for is, its
    // bilinear form continued to (x, y) (at most a few cells, within 2 % of the pressure next to
    // the line), so that no state next to the line blends the two phases. The table's edge ends
    // the search (that cell is then used as it is).
    bool lookup_on_side(double x, double y, int side, double out[Cage::kProperties], double d[4]) const noexcept;

    // Saturation line: array a at T (clamped into [y0, Tend]); linear between the nodes, the last
    // node exactly at Tend.
    double saturation(int a, double T) const noexcept;
    // d(array a)/dT of the cell that holds T (T clamped into [y0, Tend], the cell into [0, N - 2]).
    double saturation_slope(int a, double T) const noexcept;
    // The inverse of the ln psat line: the temperature at which the interpolated ln psat equals
    // ln_p (binary search over the nodes, then the cell's linear inverse), clamped into [y0, Tend];
    // 0 for a table without a saturation line.
    double saturation_temperature(double ln_p) const noexcept;
    // Fills the nine generator arrays at N nodes over [y0, Tend] and the two derived arrays; a
    // table wholly above the critical temperature gets no line (and true). False on N < 2, a
    // rectangle upside down (y1 <= y0 below Tc) or memory not to be had.
    bool fill_saturation_line(std::int32_t n);
    // False for a table without a saturation line (wholly supercritical, or never filled).
    bool has_saturation_line() const noexcept { return m_n >= 2; }

    double x_begin() const noexcept { return m_x0; }
    double x_end() const noexcept { return m_x1; }
    double y_begin() const noexcept { return m_y0; }
    double y_end() const noexcept { return m_y1; }
    double saturation_end() const noexcept { return m_Tend; }
    double saturation_step() const noexcept { return m_dT; }
    std::int32_t saturation_nodes() const noexcept { return m_n; }
    const std::shared_ptr<IRGPropertyGenerator>& generator() const noexcept { return m_generator; }

    // Patch [ix][iy] if it exists (no creation).
    const Cage* existing_patch(std::int32_t ix, std::int32_t iy) const noexcept {
        return m_patch[ix][iy].load(std::memory_order_acquire);
    }
    std::int32_t patches_filled() const noexcept;
    // Bytes the table holds: the saturation arrays and every created patch.
    std::size_t bytes() const noexcept;
    // Makes every patch (tables that are to be saved whole). False when one cannot be made.
    virtual bool fill_all() const = 0;

protected:
    C_2d_RG_property() = default;
    // The rectangle and the generator.
    void set_frame(std::shared_ptr<IRGPropertyGenerator> generator, double x0, double x1, double y0, double y1);
    // The patch [ix][iy]: looked at without a lock, then under the table's mutex, created as the
    // given kind over the rectangle and published.
    const Cage* patch_at(std::int32_t ix, std::int32_t iy, std::int32_t kind, double xlo, double xhi, double ylo,
                         double yhi) const;
    void write_base(C_file_io& stream) const;
    bool read_base(C_file_io& stream, std::shared_ptr<IRGPropertyGenerator> generator);
    void clamp(double& x, double& y) const noexcept {
        // (a NaN goes to the lower corner: every comparison with it is false)
        x = x > m_x0 ? (x < m_x1 ? x : m_x1) : m_x0;
        y = y > m_y0 ? (y < m_y1 ? y : m_y1) : m_y0;
    }
    void release_patches() noexcept;
    // A read patch must cover the rectangle its place in the patchwork stands for, or lookups
    // would index outside its nodes.
    bool patch_covers(std::int32_t ix, std::int32_t iy, double xlo, double xhi, double ylo, double yhi) const noexcept;

    mutable std::atomic<Cage*> m_patch[kPatches][kPatches] = {};
    double m_x0 = 0.0;
    double m_x1 = 1.0;
    double m_y0 = 0.0;
    double m_y1 = 1.0;
    std::shared_ptr<IRGPropertyGenerator> m_generator;
    IRGPropertyGenerator* m_fill = nullptr;
    // saturation line
    double m_Tend = 0.0;
    double m_inverse_dT = 0.0;  // 1 / dT
    double m_dT = 0.0;
    std::int32_t m_n = 0;
    mp::pooled_array<double> m_line[kSaturationArrays];
    double m_Tc = 0.0;  // the generator's critical temperature when the line was filled

private:
    mutable std::mutex m_create;
};

class C_2d_RG_property_regular final : public C_2d_RG_property {
public:
    C_2d_RG_property_regular() = default;
    // The rectangle [x0, x1] x [y0, y1] in ten equal patch widths each way.
    C_2d_RG_property_regular(std::shared_ptr<IRGPropertyGenerator> generator, double x0, double x1, double y0,
                             double y1);
    bool read(C_file_io& stream, std::shared_ptr<IRGPropertyGenerator> generator) override;
    void write(C_file_io& stream) const override;
    const Cage* patch(double x, double y) const override;
    bool fill_all() const override;

private:
    double m_dX = 0.1;
    double m_dY = 0.1;
};

class C_2d_RG_property_adaptable final : public C_2d_RG_property {
public:
    C_2d_RG_property_adaptable() = default;
    // Strips given: M + 1 ascending boundaries (x0 first, x1 last, 1 <= M <= 10) and M + 1 kinds
    // (1, 2 or 3; the last is not used); y in ten equal patch heights. Throws
    // std::invalid_argument on bad strips.
    C_2d_RG_property_adaptable(std::shared_ptr<IRGPropertyGenerator> generator, const double* boundaries,
                               const std::int32_t* kinds, std::int32_t M, double y0, double y1);
    // The default strips over [x0, x1]: ten equal strips; those that hold pressures below the
    // critical pressure, which the saturation line crosses, and the strip that holds the
    // critical pressure, are non-uniform (kind 2); strips above it, and all strips of a table
    // without a saturation line (y0 >= Tc - 1e-6 Tc), are uniform (kind 1).
    static std::unique_ptr<C_2d_RG_property_adaptable> around_saturation(std::shared_ptr<IRGPropertyGenerator> generator,
                                                                         double x0, double x1, double y0, double y1);
    bool read(C_file_io& stream, std::shared_ptr<IRGPropertyGenerator> generator) override;
    void write(C_file_io& stream) const override;
    const Cage* patch(double x, double y) const override;
    bool fill_all() const override;

    std::int32_t strips() const noexcept { return m_M; }
    std::int32_t strip_kind(std::int32_t m) const noexcept { return m_kind[m]; }
    double strip_boundary(std::int32_t m) const noexcept { return m_boundary[m]; }

private:
    std::int32_t m_M = 0;
    double m_boundary[kPatches + 1] = {};
    std::int32_t m_kind[kPatches + 1] = {};
    // the four further doubles: the patch height, the critical point (ln pc, Tc) the strips were
    // chosen around (0 when given), and the placement weight of the non-uniform strips
    double m_dY = 0.1;
    double m_critical_x = 0.0;
    double m_critical_y = 0.0;
    double m_weight = 0.0;
};
