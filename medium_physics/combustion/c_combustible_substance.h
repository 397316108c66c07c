// C_combustible_substance_PT and C_combustible_substance_VT (caches 11 and 10, tags 7 and 6): a
// fuel stream and an oxidizer stream burning in chemical equilibrium, described by the chemistry
// table of its variant (c_3d_property.h) over (p or v, T, mixture fraction).
//
// Built from a combustible description (I_combustible_description, description.h): the fuel and
// oxidizer compositions by mole in GRI-Mech 3.0 species ("CH4", "O2:0.21,N2:0.79"), the first
// axis (p [Pa] for PT, v [m3/kg] for VT, logarithmic) and the temperature axis [K] with their
// grid sizes, the number of mixture-fraction points (0..1), the NOx option (nitrogen chemistry in
// the species set and "_NOX" in the table file name; else nitrogen is inert) and the two-stream
// settings (two-stream byte and stream parameter of the table, c_3d_property.h).
//
// The table: restored once, when the substance is built, from <product directory>/<identifier>
// [_NOX]_PT.tbl (or _VT.tbl) when the file is whole (checksum), holds the requested grid and its
// check record matches; otherwise computed by CChemPropertyGenerator and written back
// (chem_table_file.h). A table with interpolated failed nodes is used but not written, so the
// next run computes it again.
//
// Check record (after the table in the file): int32 kCheckVersion, the identifier (16 bytes),
// int32 kChemFieldLayout, the fuel and oxidizer texts, byte NOx, byte two-stream, the stream
// parameter, the first axis (min, max: double; n: int32), the temperature axis (the same), the
// mixture-fraction points (int32). A file computed for another substance, other streams, other
// axes or another field layout is refused and computed again.
//
// Record (in the factory stream): the common substance record (byte 0, identifier, name), then
// int32 kRecordVersion and the settings in the order of the check record from the fuel text on
// (without the identifier and field layout). The table is not in the stream: Load restores it from
// its file (or computes it) exactly as the first build did.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "combustion/cchempropertygenerator.h"
#include "combustion/combustion_chemistry.h"
#include "framework/c_substance.h"
#include "tables/c_3d_property.h"
#include "tables/chem_table_file.h"

class I_combustible_description;

namespace mp::combustion {

// What a combustible substance is built from (the description's data).
struct combustible_settings {
    std::string fuel = "CH4";
    std::string oxidizer = "O2:0.21,N2:0.79";
    bool nox = true;
    bool two_stream = false;
    double stream_parameter = 0.0;
    double x1_min = 1e4, x1_max = 1e7;  // p [Pa] (PT) or v [m3/kg] (VT)
    std::int32_t n1 = 64;
    double T_min = 250.0, T_max = 3500.0;  // K
    std::int32_t n2 = 64;
    std::int32_t n3 = 32;  // mixture-fraction points over 0..1
};

}  // namespace mp::combustion

class C_combustible_substance : public C_substance_base, public IChemSubstanceCheck {
public:
    using description_type = I_combustible_description;
    static constexpr std::int32_t kCheckVersion = 1;
    static constexpr std::int32_t kRecordVersion = 1;

    chem_variant variant() const noexcept { return m_table->variant(); }
    // Settings from the description, then the table (restored or computed). False, with an ERROR
    // line, on unusable settings or a table that cannot be had.
    bool init(I_combustible_description& description, IHostMessageSink* sink);
    // The same from given settings (tests, tools).
    bool init(const host_guid& identity, const CHostString& name, const mp::combustion::combustible_settings& settings,
              IHostMessageSink* sink);

    void write(C_file_io& stream) const;
    // False on an unknown version or settings whose table cannot be had.
    bool read(C_file_io& stream);

    void write_check_record(C_file_io& stream) const override;
    bool read_check_record(C_file_io& stream) const override;

    const mp::combustion::combustible_settings& settings() const noexcept { return m_settings; }
    const mp::combustion::chemistry& chemistry() const noexcept { return *m_chem; }
    const C_3d_Chem_property& table() const noexcept { return *m_table; }
    // How the last build had its table.
    chem_restore_result restore_result() const noexcept { return m_restore; }
    // The species of the B fields, in field order (indices into chemistry()).
    std::int32_t reported_count() const noexcept { return m_reported_count; }
    int reported(std::int32_t r) const noexcept { return m_reported[r]; }

protected:
    explicit C_combustible_substance(std::unique_ptr<C_3d_Chem_property> table) : m_table(std::move(table)) {}
    ~C_combustible_substance() = default;

private:
    bool build(IHostMessageSink* sink);

    mp::combustion::combustible_settings m_settings;
    std::shared_ptr<mp::combustion::chemistry> m_chem = std::make_shared<mp::combustion::chemistry>();
    std::unique_ptr<C_3d_Chem_property> m_table;
    chem_restore_result m_restore = chem_restore_result::failed;
    int m_reported[mp::combustion::kMaxReportedSpecies] = {};
    std::int32_t m_reported_count = 0;
};

class C_combustible_substance_PT final : public C_combustible_substance {
public:
    C_combustible_substance_PT() : C_combustible_substance(std::make_unique<C_3d_Chem_property_PT>()) {}
};

class C_combustible_substance_VT final : public C_combustible_substance {
public:
    C_combustible_substance_VT() : C_combustible_substance(std::make_unique<C_3d_Chem_property_VT>()) {}
};
