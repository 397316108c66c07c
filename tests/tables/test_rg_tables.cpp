// Cages and the two-dimensional real-gas tables: cell location at the edges and on nodes, exact
// reproduction of a bilinear field, the non-uniform bucket search against a plain search, the
// diagonal of the mixed kind, records, lazy patches, the saturation line; and, against the cubic
// equation of state for CO2, the interpolation error (bounded, shrinking with the cell size as a
// second-order scheme must) and the derivatives against the generator's own heat capacity.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <fstream>
#include <memory>
#include <random>
#include <string>

#include <nlohmann/json.hpp>

#include "tables/c_2d_property.h"
#include "tables/cage.h"
#include "real_gas/crgpropertygenerator.h"
#include "file_io/c_file_io/c_file_io.h"
#include "real_gas/rg_analytic_generator.h"

namespace {

std::vector<std::uint8_t> record_of(const Cage& c) {
    C_file_io s;
    s.open_memory();
    c.write(s);
    return s.memory_bytes();
}

std::vector<std::uint8_t> record_of(const C_2d_RG_property& t) {
    C_file_io s;
    s.open_memory();
    t.write(s);
    return s.memory_bytes();
}

// CO2 on the cubic of the library's data (critical data and ideal-gas cp0 from the NASA
// polynomials of data/thermo/critical_properties.json).
std::shared_ptr<CRGPropertyGenerator> co2_generator() {
    std::ifstream in(std::string(MP_SOURCE_DIR) + "/data/thermo/critical_properties.json");
    const nlohmann::json j = nlohmann::json::parse(in);
    const auto& e = j.at("substances").at("CO2");
    auto g = std::make_shared<CRGPropertyGenerator>();
    const double M = e.at("M").get<double>();
    g->set_substance(e.at("Tc").get<double>(), e.at("Pc").get<double>(), M, e.at("Zc").get<double>(),
                     e.at("omega").get<double>(), 3);
    const auto& cp = e.at("ideal_gas_cp");
    const auto ranges = cp.at("temperature_ranges").get<std::vector<double>>();
    std::vector<double> T, v;
    for (std::size_t r = 0; r + 1 < ranges.size(); ++r) {
        const auto a = cp.at("nasa7").at(r).get<std::vector<double>>();
        for (double t = ranges[r]; t < ranges[r + 1] || (r + 2 == ranges.size() && t <= ranges[r + 1]); t += 10.0) {
            T.push_back(t);
            v.push_back(8.314462618 / M * (a[0] + t * (a[1] + t * (a[2] + t * (a[3] + t * a[4])))));
        }
    }
    c_1d_param cp0;
    cp0.set_table(0.0, T, v);
    g->set_ideal_gas_cp(cp0);
    return g;
}

}  // namespace

// ---- cages ------------------------------------------------------------------------------------

TEST(Cage, EveryKindReproducesABilinearFieldAndItsDerivatives) {
    analytic_generator g;
    const double xlo = std::log(1e5), xhi = std::log(1e7), ylo = 250.0, yhi = 350.0;
    std::mt19937 rng(7);
    std::uniform_real_distribution<double> ux(xlo, xhi), uy(ylo, yhi);
    for (std::int32_t kind : {1, 2, 3}) {
        auto cage = Cage::make(kind);
        ASSERT_TRUE(cage->fill(g, xlo, xhi, ylo, yhi));
        EXPECT_EQ(cage->kind(), kind);
        for (int n = 0; n < 200; ++n) {
            const double x = ux(rng), y = uy(rng);
            const double scale = std::fabs(analytic_generator::value(g.c[1], x, y));
            EXPECT_NEAR(cage->value0(x, y), analytic_generator::value(g.c[0], x, y), 1e-11 * 50) << kind;
            EXPECT_NEAR(cage->value1(x, y), analytic_generator::value(g.c[1], x, y), 1e-12 * scale) << kind;
            EXPECT_NEAR(cage->value2(x, y), analytic_generator::value(g.c[2], x, y), 1e-10) << kind;
            EXPECT_NEAR(cage->value3(x, y), analytic_generator::value(g.c[3], x, y), 1e-10) << kind;
            // the field is linear in each variable, so the one-sided cell derivatives are exact
            // at the point's own coordinate in the other direction
            EXPECT_NEAR(cage->d0_dx(x, y), g.c[0][1] + g.c[0][3] * y, 1e-8) << kind;
            EXPECT_NEAR(cage->d0_dy(x, y), g.c[0][2] + g.c[0][3] * x, 1e-8) << kind;
            EXPECT_NEAR(cage->d1_dx(x, y), g.c[1][1] + g.c[1][3] * y, 1e-6) << kind;
            EXPECT_NEAR(cage->d1_dy(x, y), g.c[1][2] + g.c[1][3] * x, 1e-6) << kind;
        }
    }
}

TEST(Cage, UpperEdgesUseTheLastCellAndReturnTheLastNode) {
    analytic_generator g;
    g.curvature = 3.0;  // not bilinear: the edge must hit the node, not an extrapolation
    for (std::int32_t kind : {1, 2, 3}) {
        auto cage = Cage::make(kind);
        ASSERT_TRUE(cage->fill(g, 0.0, 2.0, 100.0, 200.0));
        const cage_cell c = cage->locate(2.0, 200.0);
        EXPECT_EQ(c.i, 99) << kind;
        EXPECT_EQ(c.j, 99) << kind;
        EXPECT_DOUBLE_EQ(c.t, 1.0) << kind;
        EXPECT_DOUBLE_EQ(c.u, 1.0) << kind;
        EXPECT_EQ(cage->value0(2.0, 200.0), cage->node(0, 100, 100)) << kind;
        EXPECT_EQ(cage->value0(0.0, 100.0), cage->node(0, 0, 0)) << kind;
    }
}

TEST(Cage, NonUniformSearchFindsTheLowerCellOnNodesAndAgreesWithAPlainSearch) {
    analytic_generator g;
    g.curvature = 40.0;  // bends: the placement makes a really non-uniform axis
    Cage_nonuniform cage;
    ASSERT_TRUE(cage.fill(g, -1.0, 3.0, 100.0, 200.0));
    const double* x = cage.x_nodes();
    double smallest = 1e300, largest = 0.0;
    for (int i = 0; i < 100; ++i) {
        ASSERT_LT(x[i], x[i + 1]);
        smallest = std::min(smallest, x[i + 1] - x[i]);
        largest = std::max(largest, x[i + 1] - x[i]);
    }
    EXPECT_GT(largest / smallest, 1.5) << "the placement left the axis uniform";
    EXPECT_DOUBLE_EQ(cage.refinement(), smallest / 0.04);
    // on an interior node: the lower cell, t = 1
    for (int k : {1, 2, 17, 50, 99}) {
        const cage_cell c = cage.locate(x[k], 150.0);
        EXPECT_EQ(c.i, k - 1);
        EXPECT_DOUBLE_EQ(c.t, 1.0);
    }
    std::mt19937 rng(11);
    std::uniform_real_distribution<double> ux(-1.0, 3.0);
    for (int n = 0; n < 5000; ++n) {
        const double v = ux(rng);
        int want = 0;
        while (want < 99 && !(x[want] <= v && v <= x[want + 1])) ++want;
        const cage_cell c = cage.locate(v, 150.0);
        ASSERT_EQ(c.i, want) << v;
        ASSERT_GE(c.t, 0.0);
        ASSERT_LE(c.t, 1.0);
    }
}

TEST(Cage, MixedDomainIsTheLowerRightTriangleAndItsDiagonalIsOpen) {
    analytic_generator g;
    Cage_mixed cage;
    ASSERT_TRUE(cage.fill(g, 0.0, 1.0, 0.0, 100.0));
    const double* x = cage.x_nodes();
    auto at = [&](int i, double t, int j, double u) {
        return cage.in_domain(x[i] + t * (x[i + 1] - x[i]), j + u);  // dy = 1
    };
    EXPECT_TRUE(at(5, 0.5, 3, 0.5));    // i > j
    EXPECT_FALSE(at(3, 0.5, 5, 0.5));   // i < j
    EXPECT_TRUE(at(7, 0.6, 7, 0.25));   // diagonal cell, u < t
    EXPECT_FALSE(at(7, 0.25, 7, 0.6));  // u > t
    // u == t exactly is outside (dyadic values keep both exact)
    EXPECT_FALSE(cage.in_domain(x[40] + 0.5 * (x[41] - x[40]), 40.5));
}

TEST(Cage, MixedCageMarksTheLiquidSideOfTheSaturationLine) {
    analytic_generator g;  // ln psat = 20 - 2000/T below 400 K
    Cage_mixed cage;
    ASSERT_TRUE(cage.fill(g, 12.1, 14.0, 250.0, 350.0));
    const double* x = cage.x_nodes();
    int crossed = 0;
    for (int i = 0; i <= 100; ++i) {
        const double Ts = cage.row(Cage_mixed::kRowTsat, i);
        const double expected = 2000.0 / (20.0 - x[i]);  // the line's own inverse
        if (expected > 250.0 && expected < 350.0) {
            ++crossed;
            EXPECT_NEAR(Ts, expected, 1e-6 * expected) << i;
            EXPECT_NEAR(cage.row(Cage_mixed::kRowHVapour, i), 3e5 + 1000.0 * Ts, 1e-6);
            // dTsat/dx of T = 2000/(20 - x) is T^2/2000
            EXPECT_NEAR(cage.row(Cage_mixed::kRowSlope, i), Ts * Ts / 2000.0, 1e-4 * Ts * Ts / 2000.0);
            for (int j = 0; j <= 100; ++j) EXPECT_EQ(cage.mask(i, j), 250.0 + j < Ts ? 1 : 0) << i << " " << j;
        } else {
            EXPECT_EQ(Ts, 0.0) << i;
        }
    }
    EXPECT_GT(crossed, 20);
}

TEST(Cage, RecordsRoundTripAndRefuseAnotherVersion) {
    analytic_generator g;
    g.curvature = 5.0;
    for (std::int32_t kind : {1, 2, 3}) {
        auto cage = Cage::make(kind);
        ASSERT_TRUE(cage->fill(g, 1.0, 4.0, 200.0, 300.0));
        const auto bytes = record_of(*cage);
        C_file_io r;
        r.open_memory(bytes);
        auto back = Cage::make(kind);
        ASSERT_TRUE(back->read(r));
        EXPECT_EQ(record_of(*back), bytes) << kind;
        EXPECT_EQ(back->value1(2.345, 234.5), cage->value1(2.345, 234.5));
        EXPECT_EQ(back->in_domain(2.345, 234.5), cage->in_domain(2.345, 234.5));
        auto bad = bytes;
        bad[0] = 1;
        C_file_io rb;
        rb.open_memory(bad);
        EXPECT_FALSE(Cage::make(kind)->read(rb)) << kind;
        // the base record's own version byte sits right behind
        bad = bytes;
        bad[1] = 7;
        C_file_io rc;
        rc.open_memory(bad);
        EXPECT_FALSE(Cage::make(kind)->read(rc)) << kind;
    }
    EXPECT_EQ(Cage::make(0), nullptr);
    EXPECT_EQ(Cage::make(4), nullptr);
}

// Axes that do not tile the rectangle would send lookups outside the nodes: refused.
TEST(Cage, RecordsWithBrokenAxesAreRefused) {
    analytic_generator g;
    for (std::int32_t kind : {1, 2, 3}) {
        auto cage = Cage::make(kind);
        ASSERT_TRUE(cage->fill(g, 1.0, 4.0, 200.0, 300.0));
        const auto bytes = record_of(*cage);
        // the y step (the first header double, after the two version bytes) set to 0, then NaN
        for (double dy : {0.0, std::nan("")}) {
            auto bad = bytes;
            std::memcpy(bad.data() + 2, &dy, sizeof dy);
            C_file_io r;
            r.open_memory(bad);
            EXPECT_FALSE(Cage::make(kind)->read(r)) << kind;
        }
        // two x nodes swapped (the nodes follow the five header doubles)
        auto bad = bytes;
        std::swap_ranges(bad.begin() + 2 + 40 + 8 * 10, bad.begin() + 2 + 40 + 8 * 11, bad.begin() + 2 + 40 + 8 * 11);
        C_file_io r;
        r.open_memory(bad);
        EXPECT_FALSE(Cage::make(kind)->read(r)) << kind;
    }
}

// ---- tables -----------------------------------------------------------------------------------

TEST(RgTable, PatchesAreMadeLazilyOnceAndTheUpperEdgeFallsIntoTheLastPatch) {
    auto g = std::make_shared<analytic_generator>();
    C_2d_RG_property_regular t(g, 10.0, 20.0, 200.0, 400.0);
    EXPECT_EQ(t.patches_filled(), 0);
    double out[4];
    ASSERT_TRUE(t.lookup(20.0, 400.0, out));
    EXPECT_NE(t.existing_patch(9, 9), nullptr);
    EXPECT_EQ(t.patches_filled(), 1);
    EXPECT_DOUBLE_EQ(out[0], analytic_generator::value(g->c[0], 20.0, 400.0));
    const Cage* first = t.patch(15.5, 333.0);
    const auto calls = g->calls.load();
    EXPECT_EQ(t.patch(15.5, 333.0), first);
    EXPECT_EQ(t.patch(15.9, 339.9), first);  // same patch: no new fill
    EXPECT_EQ(g->calls.load(), calls);
    EXPECT_EQ(t.patches_filled(), 2);
    // outside the rectangle (and NaN): clamped to the edges
    ASSERT_TRUE(t.lookup(99.0, -5.0, out));
    EXPECT_NEAR(out[1], analytic_generator::value(g->c[1], 20.0, 200.0), 1e-6);
    ASSERT_TRUE(t.lookup(std::nan(""), std::nan(""), out));
    EXPECT_NEAR(out[1], analytic_generator::value(g->c[1], 10.0, 200.0), 1e-6);
    EXPECT_EQ(t.bytes() > 2 * 4 * 101 * 101 * sizeof(double), true);
}

TEST(RgTable, SavedTablesReadBackIdenticallyAndAbsentPatchesFillOnDemand) {
    auto g = std::make_shared<analytic_generator>();
    g->curvature = 0.5;
    C_2d_RG_property_regular t(g, 10.0, 20.0, 200.0, 400.0);
    ASSERT_TRUE(t.fill_saturation_line(101));
    double out[4], back_out[4];
    t.lookup(12.3, 250.0, out);
    t.lookup(18.1, 390.0, out);
    const auto bytes = record_of(t);
    C_file_io r;
    r.open_memory(bytes);
    C_2d_RG_property_regular back;
    ASSERT_TRUE(back.read(r, std::make_shared<analytic_generator>()));
    EXPECT_EQ(back.patches_filled(), 2);
    EXPECT_EQ(record_of(back), bytes);
    for (double x : {12.3, 18.1, 15.0})
        for (double y : {250.0, 390.0, 300.0}) {
            t.lookup(x, y, out);
            back.lookup(x, y, back_out);
            for (int k = 0; k < 4; ++k) EXPECT_EQ(out[k], back_out[k]);
        }
    // the lookups at (15, 300) and the others not made before were absent and filled on demand
    EXPECT_EQ(back.patches_filled(), 9);
    EXPECT_EQ(t.patches_filled(), 9);
    EXPECT_EQ(back.saturation(C_2d_RG_property::kHVapour, 321.0), t.saturation(C_2d_RG_property::kHVapour, 321.0));

    // another version, and a patch that fails to read, refuse the table
    auto bad = bytes;
    bad[0] = 1;
    C_file_io rb;
    rb.open_memory(bad);
    EXPECT_FALSE(C_2d_RG_property_regular().read(rb, std::make_shared<analytic_generator>()));
}

TEST(RgTable, AStoredTableWithoutPatchesReadsBackAndFills) {
    auto g = std::make_shared<analytic_generator>();
    C_2d_RG_property_regular t(g, 10.0, 20.0, 200.0, 400.0);
    const auto bytes = record_of(t);
    C_file_io r;
    r.open_memory(bytes);
    C_2d_RG_property_regular back;
    ASSERT_TRUE(back.read(r, std::make_shared<analytic_generator>()));
    EXPECT_EQ(back.patches_filled(), 0);
    ASSERT_TRUE(back.fill_all());
    EXPECT_EQ(back.patches_filled(), 100);
    double out[4];
    back.lookup(11.11, 222.2, out);
    EXPECT_NEAR(out[0], analytic_generator::value(g->c[0], 11.11, 222.2), 1e-10);
}

// A stored patch that covers another rectangle than its place in the patchwork is refused.
TEST(RgTable, APatchOfAnotherRectangleIsRefused) {
    auto g = std::make_shared<analytic_generator>();
    C_2d_RG_property_regular a(g, 10.0, 20.0, 200.0, 400.0), b(g, 11.0, 21.0, 200.0, 400.0);
    double out[4];
    a.lookup(10.1, 201.0, out);
    b.lookup(11.1, 201.0, out);
    auto bytes = record_of(b);
    const auto cage = record_of(*a.existing_patch(0, 0));
    // patch [0][0] follows the two version bytes and its kind tag
    std::copy(cage.begin(), cage.end(), bytes.begin() + 6);
    C_file_io r;
    r.open_memory(bytes);
    C_2d_RG_property_regular back;
    EXPECT_FALSE(back.read(r, std::make_shared<analytic_generator>()));
}

TEST(RgTable, UnknownKindTagsLeaveThePatchAbsent) {
    auto g = std::make_shared<analytic_generator>();
    C_2d_RG_property_regular t(g, 10.0, 20.0, 200.0, 400.0);
    auto bytes = record_of(t);
    // the first patch tag follows the two version bytes; 7 is no cage kind
    bytes[2] = 7;
    C_file_io r;
    r.open_memory(bytes);
    C_2d_RG_property_regular back;
    ASSERT_TRUE(back.read(r, std::make_shared<analytic_generator>()));
    EXPECT_EQ(back.existing_patch(0, 0), nullptr);
}

TEST(RgTable, SaturationLineInterpolatesEndsExactlyAndGivesCellSlopes) {
    auto g = std::make_shared<analytic_generator>();
    C_2d_RG_property_regular t(g, 10.0, 20.0, 200.0, 500.0);  // the line ends short of Tc = 400 K
    ASSERT_TRUE(t.fill_saturation_line(201));
    EXPECT_DOUBLE_EQ(t.saturation_end(), 400.0 * (1.0 - 1e-6));
    const double Tend = t.saturation_end();
    EXPECT_EQ(t.saturation(C_2d_RG_property::kLnPsat, Tend), g->saturation_ln_p(Tend));
    EXPECT_EQ(t.saturation(C_2d_RG_property::kLnPsat, 450.0), g->saturation_ln_p(Tend));  // clamped
    EXPECT_EQ(t.saturation(C_2d_RG_property::kNodeTemperature, Tend), Tend);
    EXPECT_EQ(t.saturation(C_2d_RG_property::kCellIndex, Tend), 199.0);
    // linear arrays are reproduced exactly, ln psat to the interpolation error of 1/T
    EXPECT_NEAR(t.saturation(C_2d_RG_property::kHVapour, 301.234), 3e5 + 1000.0 * 301.234, 1e-6);
    EXPECT_NEAR(t.saturation(C_2d_RG_property::kLnPsat, 301.234), 20.0 - 2000.0 / 301.234, 1e-4);
    EXPECT_NEAR(t.saturation_slope(C_2d_RG_property::kRhoLiquid, 250.0), -1.0, 1e-9);
    EXPECT_NEAR(t.saturation_slope(C_2d_RG_property::kHLiquid, Tend), 2000.0, 1e-6);
    EXPECT_NEAR(t.saturation_slope(C_2d_RG_property::kSpinodalVapour, 100.0), 200.0, 1e-6);
}

// A table that starts at or above the end of the saturation line, Tc (1 - 1e-6), lies wholly
// above the critical temperature: filling its line succeeds with no nodes, every array reads 0,
// the adaptable table's strips are all uniform, and its record, patches filled, reads back byte
// for byte. One just below that end still has its line.
TEST(RgTable, ATableAboveTheCriticalTemperatureHasNoSaturationLine) {
    auto g = std::make_shared<analytic_generator>();  // Tc = 400 K, ln pc = 15
    const double Tend = 400.0 * (1.0 - 1e-6);
    C_2d_RG_property_regular below(g, 10.0, 20.0, std::nextafter(Tend, 0.0), 600.0);
    ASSERT_TRUE(below.fill_saturation_line(11));
    EXPECT_TRUE(below.has_saturation_line());
    for (const double y0 : {Tend, 450.0}) {
        C_2d_RG_property_regular regular(g, 10.0, 20.0, y0, 600.0);
        auto adaptable = C_2d_RG_property_adaptable::around_saturation(g, 10.0, 20.0, y0, 600.0);
        for (C_2d_RG_property* t :
             {static_cast<C_2d_RG_property*>(&regular), static_cast<C_2d_RG_property*>(adaptable.get())}) {
            ASSERT_TRUE(t->fill_saturation_line(201)) << y0;
            EXPECT_FALSE(t->has_saturation_line());
            EXPECT_EQ(t->saturation_nodes(), 0);
            EXPECT_EQ(t->saturation_end(), 0.0);
            for (int a = 0; a < C_2d_RG_property::kSaturationArrays; ++a) {
                EXPECT_EQ(t->saturation(a, 500.0), 0.0) << a;
                EXPECT_EQ(t->saturation_slope(a, 500.0), 0.0) << a;
            }
        }
        for (int m = 0; m < adaptable->strips(); ++m) EXPECT_EQ(adaptable->strip_kind(m), 1) << m;
        double out[4];
        for (C_2d_RG_property* t :
             {static_cast<C_2d_RG_property*>(&regular), static_cast<C_2d_RG_property*>(adaptable.get())}) {
            ASSERT_TRUE(t->lookup(10.5, 500.0, out));
            ASSERT_TRUE(t->lookup(19.5, 590.0, out));
        }
        const auto regular_bytes = record_of(regular), adaptable_bytes = record_of(*adaptable);
        C_file_io r1, r2;
        r1.open_memory(regular_bytes);
        r2.open_memory(adaptable_bytes);
        C_2d_RG_property_regular regular_back;
        C_2d_RG_property_adaptable adaptable_back;
        ASSERT_TRUE(regular_back.read(r1, std::make_shared<analytic_generator>()));
        ASSERT_TRUE(adaptable_back.read(r2, std::make_shared<analytic_generator>()));
        EXPECT_EQ(record_of(regular_back), regular_bytes);
        EXPECT_EQ(record_of(adaptable_back), adaptable_bytes);
        EXPECT_FALSE(regular_back.has_saturation_line());
        EXPECT_EQ(adaptable_back.patches_filled(), 2);
    }
}

TEST(RgTable, AdaptableStripsChooseTheirOwnCageKinds) {
    auto g = std::make_shared<analytic_generator>();  // ln pc = 15
    auto t = C_2d_RG_property_adaptable::around_saturation(g, 10.0, 20.0, 200.0, 500.0);
    ASSERT_EQ(t->strips(), 10);
    for (int m = 0; m < 10; ++m) EXPECT_EQ(t->strip_kind(m), t->strip_boundary(m) <= 15.0 ? 2 : 1) << m;
    EXPECT_EQ(t->patch(10.5, 300.0)->kind(), 2);
    EXPECT_EQ(t->patch(19.5, 300.0)->kind(), 1);
    const double b[4] = {10.0, 11.0, 15.0, 20.0};
    const std::int32_t k[4] = {3, 1, 2, 2};
    C_2d_RG_property_adaptable given(g, b, k, 3, 200.0, 500.0);
    EXPECT_EQ(given.patch(10.2, 300.0)->kind(), 3);
    EXPECT_EQ(given.patch(14.0, 300.0)->kind(), 1);
    EXPECT_EQ(given.patch(20.0, 500.0)->kind(), 2);
    EXPECT_EQ(given.existing_patch(2, 9), given.patch(20.0, 500.0));
    const auto bytes = record_of(given);
    C_file_io r;
    r.open_memory(bytes);
    C_2d_RG_property_adaptable back;
    ASSERT_TRUE(back.read(r, std::make_shared<analytic_generator>()));
    EXPECT_EQ(record_of(back), bytes);
    EXPECT_EQ(back.strips(), 3);
    const std::int32_t bad_kinds[4] = {1, 4, 1, 1};
    EXPECT_THROW(C_2d_RG_property_adaptable(g, b, bad_kinds, 3, 200.0, 500.0), std::invalid_argument);
}

// ---- against the cubic equation of state ------------------------------------------------------

// Over a smooth supercritical region a uniform cage's bilinear error is second order: halving the
// cell (a patch of half the size in both directions) divides it by about four.
TEST(RgTableCO2, InterpolationErrorIsSmallAndSecondOrder) {
    auto g = co2_generator();
    // the largest relative density error at the cage's cell centres inside [xa, xb] x [ya, yb]
    auto max_error = [&](double xlo, double xhi, double ylo, double yhi, double xa, double xb, double ya, double yb) {
        Cage_uniform cage;
        EXPECT_TRUE(cage.fill(*g, xlo, xhi, ylo, yhi));
        double worst = 0.0;
        for (int a = 0; a < 100; ++a)
            for (int b = 0; b < 100; ++b) {
                const double x = xlo + (xhi - xlo) * (a + 0.5) / 100.0;
                const double y = ylo + (yhi - ylo) * (b + 0.5) / 100.0;
                if (x < xa || x > xb || y < ya || y > yb) continue;
                double want[4];
                g->properties(std::exp(x), y, want);
                worst = std::max(worst, std::fabs(cage.value0(x, y) / want[0] - 1.0));
            }
        return worst;
    };
    // both measured over the inner region, cells of half the size in the fine cage
    const double xc = std::log(1e5) + 2.0, yc = 425.0;
    const double xa = xc - 1.0, xb = xc + 1.0, ya = yc - 37.5, yb = yc + 37.5;
    const double coarse = max_error(xc - 2.0, xc + 2.0, yc - 75.0, yc + 75.0, xa, xb, ya, yb);
    const double fine = max_error(xa, xb, ya, yb, xa, xb, ya, yb);
    EXPECT_LT(coarse, 1e-3);
    EXPECT_GT(coarse / fine, 3.0);
    EXPECT_LT(coarse / fine, 5.0);
}

TEST(RgTableCO2, DerivativesMatchTheGeneratorsHeatCapacityAndCompressibility) {
    auto g = co2_generator();
    C_2d_RG_property_regular t(g, std::log(1e5), std::log(2e7), 220.0, 500.0);
    for (const auto& [p, T] : {std::pair{1e5, 300.0}, std::pair{5e6, 400.0}, std::pair{1.5e7, 450.0}}) {
        double out[4], d[4];
        ASSERT_TRUE(t.lookup_derivatives(std::log(p), T, out, d));
        rg_state s;
        ASSERT_TRUE(g->state_pT(p, T, s));
        EXPECT_NEAR(out[0], s.rho, 1e-3 * s.rho);
        EXPECT_NEAR(d[3], s.cp, 0.01 * s.cp) << p << " " << T;  // cp = dh/dT of the cell
        // d rho/d ln p from a central difference of the generator
        double hi[4], lo[4];
        g->properties(p * 1.001, T, hi);
        g->properties(p / 1.001, T, lo);
        const double want = (hi[0] - lo[0]) / (2.0 * std::log(1.001));
        EXPECT_NEAR(d[0], want, 0.01 * std::fabs(want)) << p << " " << T;
    }
}
