// The host platform of the standalone host: GUIDs, strings, log, memory pools and watcher,
// product directory, disk space, JSON descriptions.
#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <limits>
#include <optional>
#include <set>

#include "factory/c_memory_pool.h"
#include "medium_physics/host_guid.h"
#include "medium_physics/standalone_host.h"
#include "factory/mp_log.h"
#include "factory/mp_settings.h"

namespace {

host_guid parse(const char16_t* text) {
    host_guid g;
    EXPECT_TRUE(guid_utils::BuildGUIDFromString(text, g)) << CHostString(text).to_utf8();
    return g;
}

}  // namespace

TEST(Guid, LiesInMemoryInTheWindowsLayout) {
    // Data1 and the two 16-bit fields little-endian, the last 8 bytes in text order.
    const host_guid g = parse(u"E46DDFE0-3DB1-4ba4-85ED-B83F873B2BF1");
    const std::uint8_t expected[16] = {0xE0, 0xDF, 0x6D, 0xE4, 0xB1, 0x3D, 0xA4, 0x4B,
                                       0x85, 0xED, 0xB8, 0x3F, 0x87, 0x3B, 0x2B, 0xF1};
    EXPECT_EQ(0, std::memcmp(g.bytes.data(), expected, 16));
    // Braces and either letter case give the same identifier.
    EXPECT_EQ(g, parse(u"{e46ddfe0-3db1-4BA4-85ed-b83f873b2bf1}"));
    EXPECT_EQ(guid_utils::ToString(g).to_utf8(), "E46DDFE0-3DB1-4BA4-85ED-B83F873B2BF1");
}

TEST(Guid, MalformedTextGivesFalseAndTheNilGuid) {
    const char16_t* bad[] = {
        u"",
        u"E46DDFE0-3DB1-4ba4-85ED-B83F873B2BF",     // one digit short
        u"E46DDFE0-3DB1-4ba4-85ED-B83F873B2BF1F",   // one digit long
        u"E46DDFE0+3DB1-4ba4-85ED-B83F873B2BF1",    // misplaced separator
        u"E46DDFE0-3DB1-4ba4-85ED-B83F873B2BG1",    // not hex
        u"{E46DDFE0-3DB1-4ba4-85ED-B83F873B2BF1",   // unbalanced brace
        u"(E46DDFE0-3DB1-4ba4-85ED-B83F873B2BF1)",  // wrong brackets
        u"E46DDFE03DB14ba485EDB83F873B2BF1",        // no dashes
    };
    for (const char16_t* text : bad) {
        host_guid g;
        g.bytes.fill(0xAB);
        EXPECT_FALSE(guid_utils::BuildGUIDFromString(text, g)) << CHostString(text).to_utf8();
        EXPECT_TRUE(g.is_nil()) << CHostString(text).to_utf8();
    }
}

TEST(Guid, OrderIsTheMemoryOrderNotTheTextOrder) {
    // In text "00000001-..." sorts before "01000000-...", but Data1 lies little-endian, so in
    // memory the first is 01 00 00 00 and the second 00 00 00 01.
    const host_guid a = parse(u"00000001-0000-0000-0000-000000000000");
    const host_guid b = parse(u"01000000-0000-0000-0000-000000000000");
    EXPECT_TRUE(host_guid_less{}(b, a));
    EXPECT_FALSE(host_guid_less{}(a, b));
    EXPECT_TRUE(b < a);
}

TEST(Guid, CreatedIdentifiersAreVersion4AndDistinct) {
    std::set<host_guid, host_guid_less> seen;
    for (int i = 0; i < 2000; ++i) {
        host_guid g;
        guid_utils::CreateUUID(g);
        EXPECT_EQ(g.bytes[7] & 0xF0, 0x40);  // Data3's high nibble, the 8th byte in memory
        EXPECT_EQ(g.bytes[8] & 0xC0, 0x80);
        seen.insert(g);
        // The text form parses back to the same bytes.
        host_guid back;
        ASSERT_TRUE(guid_utils::BuildGUIDFromString(guid_utils::ToString(g), back));
        EXPECT_EQ(back, g);
    }
    EXPECT_EQ(seen.size(), 2000u);
}

TEST(HostString, Utf8RoundTripAndReplacement) {
    // 1-, 2-, 3- and 4-byte sequences; the last is a surrogate pair in UTF-16.
    const std::string text = "N2 \xC2\xB0" "C \xE2\x82\xAC \xF0\x9F\x94\xA5";
    const CHostString s = CHostString::from_utf8(text);
    ASSERT_EQ(s.length(), 10u);
    EXPECT_EQ(s.str()[3], u'\u00B0');
    EXPECT_EQ(s.str()[6], u'\u20AC');
    EXPECT_EQ(s.str()[8], 0xD83D);
    EXPECT_EQ(s.str()[9], 0xDD25);
    EXPECT_EQ(s.to_utf8(), text);
    // A lone continuation byte, a truncated sequence, an overlong form and an encoded surrogate.
    EXPECT_EQ(CHostString::from_utf8("a\x80" "b").str(), u"a\uFFFDb");
    EXPECT_EQ(CHostString::from_utf8("a\xE2\x82").str(), u"a\uFFFD\uFFFD");
    EXPECT_EQ(CHostString::from_utf8("\xC0\xAF").str(), u"\uFFFD\uFFFD");
    EXPECT_EQ(CHostString::from_utf8("\xED\xA0\x80").str(), u"\uFFFD\uFFFD\uFFFD");
    // An unpaired surrogate on the way out.
    EXPECT_EQ(CHostString(std::u16string(1, char16_t(0xD800))).to_utf8(), "\xEF\xBF\xBD");
}

// ---- log ----------------------------------------------------------------------------------------

namespace {

struct recording_sink final : IHostMessageSink {
    std::vector<std::string> messages, warnings;
    std::int32_t query_interface(std::any&) override { return MP_STATUS_UNSUPPORTED; }
    void write_message(const char* text) noexcept override { messages.emplace_back(text); }
    void write_warning(const char* text) noexcept override { warnings.emplace_back(text); }
};

}  // namespace

TEST(Log, LinesGoToTheirEntries) {
    recording_sink sink;
    standalone_host::log_capture cap;
    mp::log_line(&sink, mp::line_kind::warning, "Warning 3002: MediumPhysics: %s(%d): Inconsistent physical parameters!\n",
                 "medium_physics/c_ideal_gas_thermodynamics", 42);
    mp::log_line(&sink, mp::line_kind::message, "MediumPhysics: %s(%d): plain\n", "src", 7);
    mp::log_line(&sink, mp::line_kind::error, "ERROR: MediumPhysics: %s(%d): bad\n", "src", 8);
    mp::log_line(nullptr, mp::line_kind::warning, "Warning : MediumPhysics: %s(%d): no sink\n", "src", 9);
    ASSERT_EQ(sink.warnings.size(), 1u);
    EXPECT_EQ(sink.warnings[0],
              "Warning 3002: MediumPhysics: medium_physics/c_ideal_gas_thermodynamics(42): Inconsistent physical parameters!\n");
    ASSERT_EQ(sink.messages.size(), 1u);
    EXPECT_EQ(sink.messages[0], "MediumPhysics: src(7): plain\n");
    // Errors always reach the host log's error entry; without a sink, warnings reach its warning entry.
    const auto lines = cap.lines();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0].entry, host_log::entry::error);
    EXPECT_EQ(lines[0].text, "ERROR: MediumPhysics: src(8): bad\n");
    EXPECT_EQ(lines[1].entry, host_log::entry::warning);
}

TEST(Log, ALongLineIsCutToTheBufferNotOverrun) {
    standalone_host::log_capture cap;
    const std::string long_text(1000, 'x');
    mp::log_line(nullptr, mp::line_kind::error, "ERROR: %s\n", long_text.c_str());
    const auto lines = cap.lines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].text.size(), static_cast<std::size_t>(kHostLogLineSize - 1));
}

// ---- memory pools and the watcher ---------------------------------------------------------------

namespace {

struct watch_mode_guard {
    std::int32_t saved = mp::memory_watch_mode();
    ~watch_mode_guard() { mp::set_memory_watch_mode(saved); }
};

std::optional<standalone_host::label_usage> find_label(const std::vector<standalone_host::label_usage>& report,
                                                       const std::string& file, std::int32_t line) {
    for (const auto& u : report)
        if (u.file == file && u.line == line) return u;
    return std::nullopt;
}

}  // namespace

TEST(MemoryPool, ArraysAreZeroFilledSmallAndLarge) {
    for (std::size_t n : {std::size_t{1}, std::size_t{49999}, std::size_t{50000}, std::size_t{300001}}) {
        // Dirty the pool first so that zeroes are not an accident of fresh pages.
        {
            mp::pooled_array<double> dirty;
            ASSERT_TRUE(dirty.allocate(n, {"test", 1}));
            for (std::size_t i = 0; i < n; ++i) dirty[i] = 1.5;
        }
        mp::pooled_array<double> a;
        ASSERT_TRUE(a.allocate(n, {"test", 2}));
        ASSERT_EQ(a.size(), n);
        std::size_t nonzero = 0;
        for (std::size_t i = 0; i < n; ++i) nonzero += a[i] != 0.0;
        EXPECT_EQ(nonzero, 0u) << n;
    }
}

TEST(MemoryPool, WatcherSeesAllocationsOnlyInModeOne) {
    watch_mode_guard guard;
    const std::string file = "tests/test_host";
    mp::set_memory_watch_mode(1);
    {
        mp::pooled_array<double> a;
        ASSERT_TRUE(a.allocate(1000, {file.c_str(), 101}));
        const auto u = find_label(standalone_host::memory_report(), file, 101);
        ASSERT_TRUE(u.has_value());
        EXPECT_EQ(u->live_bytes, 8000u);
        EXPECT_EQ(u->live_blocks, 1u);
        // Switching the mode off affects later allocations only; this block's release is still
        // reported, so the books balance.
        mp::set_memory_watch_mode(0);
        mp::pooled_array<double> b;
        ASSERT_TRUE(b.allocate(10, {file.c_str(), 102}));
        EXPECT_FALSE(find_label(standalone_host::memory_report(), file, 102).has_value());
    }
    const auto u = find_label(standalone_host::memory_report(), file, 101);
    ASSERT_TRUE(u.has_value());
    EXPECT_EQ(u->live_bytes, 0u);
    EXPECT_EQ(u->total_allocations, 1u);
    // Only 1 switches reporting on.
    mp::set_memory_watch_mode(2);
    {
        mp::pooled_array<double> c;
        ASSERT_TRUE(c.allocate(10, {file.c_str(), 103}));
    }
    EXPECT_FALSE(find_label(standalone_host::memory_report(), file, 103).has_value());
}

TEST(MemoryPool, MovedArraysReleaseOnce) {
    watch_mode_guard guard;
    mp::set_memory_watch_mode(1);
    const std::uint64_t before = standalone_host::memory_live_bytes();
    {
        mp::pooled_array<std::int32_t> a;
        ASSERT_TRUE(a.allocate(100, {"tests/test_host", 200}));
        mp::pooled_array<std::int32_t> b(std::move(a));
        EXPECT_TRUE(a.empty());
        mp::pooled_array<std::int32_t> c;
        c = std::move(b);
        EXPECT_EQ(c.size(), 100u);
        EXPECT_EQ(standalone_host::memory_live_bytes(), before + 400);
    }
    EXPECT_EQ(standalone_host::memory_live_bytes(), before);
}

// ---- product directory, disk space, host object ---------------------------------------------------

TEST(HostSystem, ProductDirectoryAndDiskSpace) {
    const auto tmp = std::filesystem::temp_directory_path();
    standalone_host::set_product_directory(CHostString(tmp.u16string()));
    CHostString dir;
    GetProductDependentFunctionsInterface()->GetProductDirectory(dir);
    EXPECT_EQ(dir.str(), tmp.u16string());
    standalone_host::set_product_directory(CHostString());

    EXPECT_TRUE(CHost_Utils::CheckDiskSpace(CHostString(tmp.u16string()), 1));
    // A file that does not exist yet is judged by its folder.
    EXPECT_TRUE(CHost_Utils::CheckDiskSpace(CHostString((tmp / "not-yet" / "table.tbl").u16string()), 1));
    EXPECT_FALSE(CHost_Utils::CheckDiskSpace(CHostString(tmp.u16string()), std::numeric_limits<std::uint64_t>::max()));
}

TEST(HostSystem, CreateObjectFillsTheWatcherSlotOnly) {
    std::shared_ptr<IHostMemoryWatcher> watcher;
    std::any request = &watcher;
    EXPECT_EQ(HostInstance()->CreateObject(request), MP_STATUS_OK);
    EXPECT_NE(watcher, nullptr);
    std::shared_ptr<IHostDropletData> other;
    std::any unknown = &other;
    EXPECT_EQ(HostInstance()->CreateObject(unknown), MP_STATUS_UNSUPPORTED);
    std::any wrong = 3;
    EXPECT_EQ(HostInstance()->CreateObject(wrong), MP_STATUS_UNSUPPORTED);
}

// ---- descriptions -------------------------------------------------------------------------------

namespace {

const char* kGasFile = R"({"materials": [
    {"name": "N2", "identifier": "{7b1e3c9a-0d2f-4e8a-9b61-2f4c8d0e1a35}", "kind": "ideal_gas", "molar_mass": 0.0280134,
     "gamma": 1.4, "cp": {"constant": 1040.0, "table": {"T": [200, 300, 400], "value": [1039.0, 1040.0, 1044.0]}},
     "viscosity": {"constant": 1.78e-5}, "conductivity": {"constant": 0.0259}},
    {"name": "air-perfect", "identifier": "1C2D3E4F-5A6B-4C7D-8E9F-A0B1C2D3E4F5", "kind": "perfect_gas",
     "molar_mass": 0.028965, "gamma": 1.4, "cp": {"constant": 1005.0}, "viscosity": {"constant": 1.8e-5},
     "conductivity": {"constant": 0.026}},
    {"name": "co2-real", "identifier": "299BD8CC-69AB-4b93-82E5-6D261B8E2FBA", "kind": "real_gas", "Tc": 304.2,
     "pc": 7.39e6, "Zc": 0.275, "omega": 0.228, "molar_mass": 0.04401, "model": 3,
     "table_temperatures": [219, 502], "table_pressures": [1e5, 2e7], "low_temperature_extension": true,
     "floor_temperature": 0}],
  "media": [{"name": "nitrogen", "kind": "ideal_gas", "substances": ["N2"], "mass_fractions": [1.0]}]})";

std::string refusal(const std::string& json) {
    try {
        standalone_host::material_library library;
        library.add_text(json, "file.json");
    } catch (const std::exception& e) {
        return e.what();
    }
    return "accepted";
}

std::string material(const std::string& fields) {
    return R"({"materials": [{"name": "x", "identifier": "E46DDFE0-3DB1-4ba4-85ED-B83F873B2BF1", )" + fields + "}]}";
}

const std::string kGasFields =
    R"("kind": "ideal_gas", "molar_mass": 0.028, "gamma": 1.4, "viscosity": {"constant": 1e-5}, "conductivity": {"constant": 0.02}, )";

}  // namespace

TEST(Descriptions, GasMaterialsAnswerTheGasDescription) {
    standalone_host::material_library library;
    library.add_text(kGasFile, "gases.json");
    ASSERT_EQ(library.materials().size(), 3u);
    const auto n2 = library.find_material("N2");
    ASSERT_NE(n2, nullptr);
    CHostString name, id;
    n2->get_name(name);
    n2->get_identifier(id);
    EXPECT_EQ(name.to_utf8(), "N2");
    host_guid g;
    EXPECT_TRUE(guid_utils::BuildGUIDFromString(id, g));

    std::any request = std::shared_ptr<I_gas_description>();
    ASSERT_EQ(n2->query_interface(request), MP_STATUS_OK);
    const auto gas = std::any_cast<std::shared_ptr<I_gas_description>>(request);
    EXPECT_EQ(gas->get_molar_mass(), 0.0280134);
    EXPECT_EQ(gas->get_gamma(), 1.4);
    host_property cp;
    gas->get_cp(cp);
    EXPECT_EQ(cp.constant, 1040.0);
    ASSERT_EQ(cp.T.size(), 3);
    EXPECT_EQ(cp.T[2], 400.0);
    EXPECT_EQ(cp.value[2], 1044.0);
    host_property first;
    gas->get_first_parameter(first);  // absent: the constant 0 without a table
    EXPECT_EQ(first.constant, 0.0);
    EXPECT_EQ(first.T.size(), 0);

    // Another kind is no gas description, and a gas no liquid one.
    std::any other = std::shared_ptr<I_gas_description>();
    EXPECT_EQ(library.find_material("co2-real")->query_interface(other), MP_STATUS_UNSUPPORTED);
    std::any liquid = std::shared_ptr<I_liquid_description>();
    EXPECT_EQ(n2->query_interface(liquid), MP_STATUS_UNSUPPORTED);
}

TEST(Descriptions, MediaAndOneMaterialMedia) {
    standalone_host::material_library library;
    library.add_text(kGasFile, "gases.json");
    const auto nitrogen = library.find_medium("nitrogen");
    ASSERT_TRUE(nitrogen.has_value());
    EXPECT_EQ(nitrogen->kind, "ideal_gas");
    EXPECT_EQ(nitrogen->substances, std::vector<std::string>{"N2"});
    // A material name stands for a one-substance medium of its kind.
    const auto perfect = library.find_medium("air-perfect");
    ASSERT_TRUE(perfect.has_value());
    EXPECT_EQ(perfect->kind, "perfect_gas");
    EXPECT_EQ(perfect->mass_fractions, std::vector<double>{1.0});
    EXPECT_FALSE(library.find_medium("argon").has_value());
    // A second file may not reuse a name.
    EXPECT_EQ(refusal(std::string(kGasFile)), "accepted");
    standalone_host::material_library twice;
    twice.add_text(kGasFile, "a.json");
    try {
        twice.add_text(kGasFile, "b.json");
        ADD_FAILURE() << "a repeated name was accepted";
    } catch (const std::exception& e) {
        EXPECT_NE(std::string(e.what()).find("b.json: material 0: duplicate name N2"), std::string::npos) << e.what();
    }
}

TEST(Descriptions, SchemaViolationsAreRefusedWithTheReason) {
    EXPECT_NE(refusal("not json").find("not valid JSON"), std::string::npos);
    EXPECT_NE(refusal(R"({"gases": []})").find("materials"), std::string::npos);
    EXPECT_NE(refusal(R"({"materials": [{"identifier": "E46DDFE0-3DB1-4ba4-85ED-B83F873B2BF1",
                                          "kind": "hypersonic_gas"}]})")
                  .find("\"name\""),
              std::string::npos);
    EXPECT_NE(refusal(R"({"materials": [{"name": "x", "identifier": "nope", "kind": "hypersonic_gas"}]})").find("GUID"),
              std::string::npos);
    EXPECT_NE(refusal(material(R"("kind": "plasma")")).find("plasma"), std::string::npos);
    // Gas fields.
    EXPECT_NE(refusal(material(kGasFields + R"("cp": {"table": {"T": [1], "value": [2]}})")).find("constant"),
              std::string::npos);
    EXPECT_NE(refusal(material(kGasFields + R"("cp": {"constant": 1, "table": {"T": [300, 300], "value": [1, 2]}})"))
                  .find("increase strictly"),
              std::string::npos);
    EXPECT_NE(refusal(material(kGasFields + R"("cp": {"constant": 1, "table": {"T": [300, 400], "value": [1]}})"))
                  .find("differ in length"),
              std::string::npos);
    EXPECT_NE(refusal(material(R"("kind": "perfect_gas", "molar_mass": 0, "gamma": 1.4)")).find("positive"),
              std::string::npos);
    EXPECT_EQ(refusal(material(kGasFields + R"("cp": {"constant": 1000})")), "accepted");
    // Media.
    const std::string bad_medium = R"({"materials": [], "media": [{"name": "m", "kind": "ideal_gas",
        "substances": ["a", "b"], "mass_fractions": [1.0]}]})";
    EXPECT_NE(refusal(bad_medium).find("medium 0: \"mass_fractions\""), std::string::npos);
    const std::string twice = R"({"materials": [
        {"name": "x", "identifier": "E46DDFE0-3DB1-4ba4-85ED-B83F873B2BF1", "kind": "hypersonic_gas"},
        {"name": "x", "identifier": "299BD8CC-69AB-4b93-82E5-6D261B8E2FBA", "kind": "hypersonic_gas"}]})";
    EXPECT_NE(refusal(twice).find("material 1: duplicate name x"), std::string::npos);
}

// A real-gas material answers the real-gas description (and no other), each field in its unit;
// without "generator_kind" the cubic equation of state (0), without "ideal_gas_cp" no cp0 (no table,
// the constant 0).
TEST(Descriptions, RealGasMaterialsAnswerTheRealGasDescription) {
    standalone_host::material_library library;
    library.add_text(kGasFile, "gases.json");
    const auto co2 = library.find_material("co2-real");
    ASSERT_NE(co2, nullptr);
    EXPECT_TRUE(co2->is_real_gas());
    std::any request = std::shared_ptr<I_real_gas_description>();
    ASSERT_EQ(co2->query_interface(request), MP_STATUS_OK);
    const auto d = std::any_cast<std::shared_ptr<I_real_gas_description>>(request);
    EXPECT_EQ(d->get_critical_temperature(), 304.2);
    EXPECT_EQ(d->get_critical_pressure(), 7.39e6);
    EXPECT_EQ(d->get_critical_compressibility(), 0.275);
    EXPECT_EQ(d->get_acentric_factor(), 0.228);
    EXPECT_EQ(d->get_molar_mass(), 0.04401);
    EXPECT_EQ(d->get_model(), 3);
    EXPECT_EQ(d->get_generator_kind(), 0);
    double lo = 0.0, hi = 0.0;
    d->get_table_temperatures(lo, hi);
    EXPECT_EQ(lo, 219.0);
    EXPECT_EQ(hi, 502.0);
    d->get_table_pressures(lo, hi);
    EXPECT_EQ(lo, 1e5);
    EXPECT_EQ(hi, 2e7);
    EXPECT_EQ(d->get_low_temperature_extension(), 1);
    EXPECT_EQ(d->get_floor_temperature(), 0.0);
    host_property cp;
    d->get_ideal_gas_cp(cp);
    EXPECT_EQ(cp.constant, 0.0);
    EXPECT_EQ(cp.T.size(), 0);
    std::any gas = std::shared_ptr<I_gas_description>();
    EXPECT_EQ(co2->query_interface(gas), MP_STATUS_UNSUPPORTED);
    std::any real = std::shared_ptr<I_real_gas_description>();
    EXPECT_EQ(library.find_material("N2")->query_interface(real), MP_STATUS_UNSUPPORTED);

    // The built-in file: six real gases, each with its cp0 table and its own source.
    standalone_host::material_library builtin;
    builtin.add_file(std::string(MP_SOURCE_DIR) + "/data/materials/real_gases.json");
    ASSERT_EQ(builtin.materials().size(), 6u);
    for (const auto& m : builtin.materials()) {
        EXPECT_TRUE(m->is_real_gas()) << m->name_utf8();
        host_property table;
        m->get_ideal_gas_cp(table);
        EXPECT_GT(table.T.size(), 50) << m->name_utf8();
        CHostString source;
        m->get_data_source(source);
        EXPECT_NE(source.to_utf8().find("ideal-gas cp"), std::string::npos) << m->name_utf8();
    }
}

TEST(Descriptions, MalformedRealGasMaterialsAreRefusedWithTheReason) {
    const std::string good = R"("kind": "real_gas", "Tc": 304.2, "pc": 7.39e6, "Zc": 0.275, "omega": 0.228,
        "molar_mass": 0.04401, "model": 3, "table_temperatures": [219, 502], "table_pressures": [1e5, 2e7],
        "low_temperature_extension": true, "floor_temperature": 0)";
    EXPECT_EQ(refusal(material(good)), "accepted");
    // Each with one field taken out or spoilt, and the words of the reason.
    const auto with = [&](const std::string& from, const std::string& to) {
        std::string text = good;
        const std::size_t at = text.find(from);
        EXPECT_NE(at, std::string::npos) << from;
        return material(text.replace(at, from.size(), to));
    };
    const std::pair<std::string, std::string> cases[] = {
        {with(R"("Tc": 304.2, )", ""), "missing number field \"Tc\""},
        {with(R"("pc": 7.39e6)", R"("pc": -1)"), "\"pc\" must be positive"},
        {with(R"("Zc": 0.275, )", ""), "missing number field \"Zc\""},
        {with(R"("model": 3)", R"("model": 3.5)"), "missing integer field \"model\""},
        {with(R"("table_temperatures": [219, 502])", R"("table_temperatures": [502, 219])"),
         "\"table_temperatures\" must be [low, high] with 0 < low < high"},
        {with(R"("table_pressures": [1e5, 2e7])", R"("table_pressures": [1e5])"), "\"table_pressures\" must be"},
        {with(R"("low_temperature_extension": true)", R"("low_temperature_extension": 1)"),
         "missing boolean field \"low_temperature_extension\""},
        {with(R"("floor_temperature": 0)", R"("floor_temperature": -5)"), "\"floor_temperature\" must not be negative"},
        {with(R"("model": 3)", R"("model": 3, "ideal_gas_cp": {"table": {"T": [300], "value": [800]}})"),
         "missing number field \"constant\""},
    };
    for (const auto& [text, reason] : cases) {
        const std::string why = refusal(text);
        EXPECT_NE(why.find("file.json: material 0: " + reason), std::string::npos) << why;
    }
}
