// CChemPropertyGenerator: computes the chemistry table of a combustible substance (c_3d_property.h)
// by chemical equilibrium at every node, from a fuel and an oxidizer stream (combustion_chemistry.h).
//
// Axes. Axis 1 is the pressure p [Pa] of a PT table or the specific volume v [m3/kg] of a VT table,
// uniform in its logarithm; axis 2 the temperature T [K], uniform; axis 3 the mixture fraction z
// from 0 (the oxidizer) to 1 (the fuel), uniform. The lookup's fuel column is the last z point and
// its oxidizer column the first: both are the streams themselves, in equilibrium at (p, T) (for air
// and a hydrocarbon below about 1000 K that is the unburnt stream).
//
// Fields (every node holds the mixture at (p or v, T, z) in chemical equilibrium):
//   A0  ln v, v = 1/rho [m3/kg]               (the lookup blends v: density)
//   A1  h [J/kg], static, with the enthalpies of formation (elements at 298.15 K: 0)
//   A2  mu [Pa s], mixture-averaged viscosity  (blended linearly: an estimate where streams mix)
//   A3  (dv/dT)_p [m3/(kg K)]                  equilibrium derivatives, composition following:
//   A4  (dv/dp)_T [m3/(kg Pa)]                 with A5 they give the lookup's speed of sound
//   A5  cp [J/(kg K)], equilibrium               a^2 = -v^2 / (T A3^2 / cp + A4), the equilibrium one,
//                                               and its gamma = -a^2 A4 / v^2 = cp / cv
//   A6  mass fraction of NO (0 without the NOx option; equilibrium NO, an upper bound of a flame's)
//   A7  mass fraction of CO
//   A8  lambda [W/(m K)], frozen conductivity  (blended linearly)
//   A9  M [kg/mol], mean molar mass             (blended harmonically: exact for mixing streams)
//   B0..  mass fractions of the reported species (reported_species), in that order.
// Mass fractions, h, cp and the volume derivatives blend exactly by mass when streams mix; the
// pressure of a VT node follows from p = R T / (M v) (ideal-gas mixture), so it needs no field.
//
// Method. The nodes are computed column by column (one p or v and one z, all T), in OpenMP loops
// over the columns with the library's thread count (dynamic schedule); a column starts cold at its
// lowest temperature and every further node starts from its neighbour's element potentials. A node
// depends only on its column, so a table is bit-identical whatever the thread count.
//
// Failure policy. A node whose warm start fails is solved again from a cold start, then by the
// engine's fallback (equilibrium.h). A node that still does not converge is never copied from a
// neighbour silently: it is filled by linear interpolation in T between the nearest solved nodes
// of its column (held at the nearest one beyond them), reported by a warning line naming its p or
// v, T and z (the first kMaxReportedFailures of them, then their number), and the table is marked
// not to be kept in the table file (keep_in_file() false), so that the next run computes it again
// instead of trusting it. A column without any solved node fails the generation.
//
// Announced by "Chemistry: Calculation of chemical tables...\n" and "Chemistry: Calculation of
// chemical tables is completed\n" (message entry).
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "combustion/combustion_chemistry.h"
#include "tables/chem_table_file.h"

class IHostMessageSink;

namespace mp::combustion {

// Property fields (A) of a chemistry table.
enum chem_field : std::int32_t {
    kFieldLogVolume = 0,
    kFieldEnthalpy = 1,
    kFieldViscosity = 2,
    kFieldVolumeByT = 3,
    kFieldVolumeByP = 4,
    kFieldCp = 5,
    kFieldNO = 6,
    kFieldCO = 7,
    kFieldConductivity = 8,
    kFieldMolarMass = 9,
    kPropertyFieldCount = 10,
};
// Version of the field layout above, written into the VT record and the substances' check records.
inline constexpr std::int32_t kChemFieldLayout = 1;
inline constexpr int kMaxReportedSpecies = 16;

// The species whose mass fractions fill the B fields: N2, O2, H2O, CO2, CO, H2, OH, H, O, AR, NO,
// NO2, N2O as far as the set holds them, then the species of the fuel stream not among them.
// Returns their number; `index` receives their indices in the set.
std::int32_t reported_species(const chemistry& chem, int* index) noexcept;

struct chem_generator_settings {
    double x1_min = 0.0, x1_max = 0.0;  // p [Pa] (PT) or v [m3/kg] (VT)
    double T_min = 0.0, T_max = 0.0;    // K
};

// What the last generate() found.
struct chem_generation_report {
    std::int64_t nodes = 0;
    std::int64_t failed = 0;  // nodes filled by interpolation (see the failure policy)
    std::int64_t fallbacks = 0;  // nodes the engine solved only by its fallback
    double seconds = 0.0;
};

class CChemPropertyGenerator final : public IChemPropertyGenerator {
public:
    static constexpr std::int32_t kMaxReportedFailures = 10;

    // `threads`: the OpenMP thread count (0: the library's setting).
    CChemPropertyGenerator(std::shared_ptr<const chemistry> chem, const chem_generator_settings& settings,
                           IHostMessageSink* sink, int threads = 0);

    // Builds the table (PT or VT, as the table's class says). False when the settings are unusable
    // (bounds not finite and increasing, T_min not above 0, x1_min not above 0), the table cannot
    // be created, or a whole column fails.
    bool generate(C_3d_Chem_property& table, std::int32_t n1, std::int32_t n2, std::int32_t n3) override;
    bool keep_in_file() const noexcept override { return m_report.failed == 0; }

    const chem_generation_report& report() const noexcept { return m_report; }

    // The values of every field at one node: equilibrium of the mixture at z at (x1, T) for the
    // variant, into values[0 .. kPropertyFieldCount + reported count). False when the engine does
    // not solve it. `st` is the start (warm when it holds potentials) and receives the state.
    bool node(chem_variant variant, const equilibrium::mixture& m, double x1, double T, equilibrium::state& st,
              double* values) const noexcept;

private:
    std::shared_ptr<const chemistry> m_chem;
    chem_generator_settings m_settings;
    IHostMessageSink* m_sink;
    int m_threads;
    int m_reported[kMaxReportedSpecies] = {};
    std::int32_t m_reported_count = 0;
    chem_generation_report m_report;
};

}  // namespace mp::combustion
