// The medium factory: its operations, and Save/Load checked against byte layouts built by hand.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "factory/c_medium_physics.h"
#include "file_io/c_file_io/c_file_io.h"
#include "medium_physics/standalone_host.h"
#include "factory/mp_settings.h"

namespace {

using bytes = std::vector<std::uint8_t>;

// Builds an expected stream independently of C_file_io, in either byte order.
struct byte_builder {
    bytes out;
    bool big_endian = false;
    void raw(const void* p, std::size_t n, bool swap_it) {
        const auto* b = static_cast<const std::uint8_t*>(p);
        bytes v(b, b + n);
        if (swap_it && big_endian) std::reverse(v.begin(), v.end());
        out.insert(out.end(), v.begin(), v.end());
    }
    byte_builder& u8(std::uint8_t v) { out.push_back(v); return *this; }
    byte_builder& i32(std::int32_t v) { raw(&v, 4, true); return *this; }
    byte_builder& f64(double v) { raw(&v, 8, true); return *this; }
    byte_builder& guid(const host_guid& g) { raw(g.bytes.data(), 16, false); return *this; }
    byte_builder& str(const std::u16string& s) {
        if (s.empty()) return i32(0);
        i32(static_cast<std::int32_t>(s.size() + 1));
        for (char16_t c : s) raw(&c, 2, true);
        const char16_t zero = 0;
        raw(&zero, 2, true);
        return *this;
    }
};

host_guid guid_of(const char16_t* text) {
    host_guid g;
    guid_utils::BuildGUIDFromString(text, g);
    return g;
}

const host_guid kCavitation = guid_of(u"E46DDFE0-3DB1-4ba4-85ED-B83F873B2BF1");

std::shared_ptr<I_medium_physics> make_factory(std::int32_t threads = 1) {
    std::shared_ptr<I_medium_physics> f;
    EXPECT_EQ(create_medium_physics(f, std::make_shared<standalone_host::CStandaloneHost>(threads)), MP_STATUS_OK);
    return f;
}

bytes save(I_medium_physics& f) {
    C_file_io s;
    s.open_memory();
    EXPECT_EQ(f.Save(s), MP_STATUS_OK);
    return s.memory_bytes();
}

std::int32_t load(I_medium_physics& f, const bytes& data, bool swap = false) {
    C_file_io s;
    s.open_memory(data);
    s.set_swap(swap);
    return f.Load(s);
}

host_guid identity_of(const fluid_ptr& medium) {
    std::any request = std::shared_ptr<I_identity>();
    EXPECT_EQ(medium->query_interface(request), MP_STATUS_OK);
    host_guid g;
    std::any_cast<std::shared_ptr<I_identity>>(request)->get_identity(g.bytes.data());
    return g;
}

// The stream of a factory holding the obsolete cavitation substance and one registered medium.
bytes expected_obsolete_stream(const host_guid& medium, double parameter, bool big_endian) {
    byte_builder b;
    b.big_endian = big_endian;
    b.u8(0);                             // factory record version
    b.u8(0).i32(1);                      // substance part: version, one entry
    b.i32(11).guid(kCavitation);         // cache tag 11, key
    b.u8(0);                             // substance record version
    b.u8(0).guid(kCavitation).str(u"Obsolete cavitation model");  // common part
    b.f64(parameter);
    b.u8(0).i32(1);                      // registry part: version, one entry
    b.i32(10);                           // kind code
    b.i32(0).guid(medium).i32(1).guid(kCavitation);
    return b.out;
}

}  // namespace

TEST(Factory, EmptySaveIsElevenBytesAndLoadsBack) {
    auto f = make_factory();
    const bytes data = save(*f);
    EXPECT_EQ(data, (bytes{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
    auto g = make_factory();
    EXPECT_EQ(load(*g, data), MP_STATUS_OK);
    EXPECT_EQ(save(*g), data);
}

TEST(Factory, QueryDescriptionAndSettings) {
    auto f = make_factory(3);
    EXPECT_EQ(mp::thread_count(), 3);
    std::any a = std::shared_ptr<I_medium_physics>();
    ASSERT_EQ(f->QueryInterface(a), MP_STATUS_OK);
    EXPECT_EQ(std::any_cast<std::shared_ptr<I_medium_physics>>(a), f);
    std::any u = std::shared_ptr<IHostUnknown>();
    ASSERT_EQ(f->QueryInterface(u), MP_STATUS_OK);
    EXPECT_EQ(std::any_cast<std::shared_ptr<IHostUnknown>>(u).get(), static_cast<IHostUnknown*>(f.get()));
    std::any other = std::shared_ptr<I_write>();
    EXPECT_EQ(f->QueryInterface(other), MP_STATUS_UNSUPPORTED);
    std::any plain = 5;
    EXPECT_EQ(f->QueryInterface(plain), MP_STATUS_UNSUPPORTED);

    CHostString text(u"previous");
    EXPECT_EQ(f->GetDescription(text), MP_STATUS_OK);
    EXPECT_EQ(text.to_utf8(), "under construction");
    EXPECT_EQ(f->SetMemoryWatchMode(0), MP_STATUS_OK);
}

TEST(Factory, ThreadCountIsWhatTheHostLeaves) {
    // A host that does not touch the value leaves the -1 the factory started with.
    struct silent_host final : standalone_host::CStandaloneHost {
        void get_thread_count(std::int32_t*) override {}
    };
    std::shared_ptr<I_medium_physics> f;
    ASSERT_EQ(create_medium_physics(f, std::make_shared<silent_host>()), MP_STATUS_OK);
    EXPECT_EQ(mp::thread_count(), -1);
    EXPECT_EQ(mp::omp_threads(), 1);
    make_factory(1);
}

TEST(Factory, SharedSubstanceAndRegistry) {
    auto f = make_factory();
    auto* factory = dynamic_cast<C_medium_physics*>(f.get());
    ASSERT_NE(factory, nullptr);
    fluid_ptr a, b;
    ASSERT_EQ(f->CreateCavitationObsoleteThermodynamics(0.5, true, a), MP_STATUS_OK);
    ASSERT_EQ(f->CreateCavitationObsoleteThermodynamics(0.9, false, b), MP_STATUS_OK);
    ASSERT_TRUE(a && b);
    // One substance under the fixed identifier, built from the first call's value and shared.
    EXPECT_EQ(factory->cache_size<C_medium_physics::kObsoleteCache>(), 1u);
    EXPECT_EQ(a->get_substances()[0], b->get_substances()[0]);
    EXPECT_EQ(factory->find_substance<C_medium_physics::kObsoleteCache>(kCavitation)->parameter(), 0.5);

    fluid_ptr found;
    EXPECT_EQ(f->FindThermodynamics(identity_of(a), found), MP_STATUS_OK);
    EXPECT_EQ(found, a);
    // Not registered: not found, and out stays as it was.
    fluid_ptr untouched = a;
    EXPECT_EQ(f->FindThermodynamics(identity_of(b), untouched), MP_STATUS_FAILURE);
    EXPECT_EQ(untouched, a);
    EXPECT_NE(identity_of(a), identity_of(b));

    std::any w = std::shared_ptr<I_write>();
    ASSERT_EQ(a->query_interface(w), MP_STATUS_OK);
    EXPECT_EQ(std::any_cast<std::shared_ptr<I_write>>(w)->get_type_id(), MP_KIND_CAVITATION_OBSOLETE);
    std::any p_h = std::shared_ptr<I_solver__thermodynamics_P_H>();
    EXPECT_EQ(a->query_interface(p_h), MP_STATUS_UNSUPPORTED);
}

TEST(Factory, SaveWritesTheRecordLayoutByteForByte) {
    auto f = make_factory();
    fluid_ptr m;
    ASSERT_EQ(f->CreateCavitationObsoleteThermodynamics(0.25, true, m), MP_STATUS_OK);
    EXPECT_EQ(save(*f), expected_obsolete_stream(identity_of(m), 0.25, false));
}

TEST(Factory, LoadRebuildsTheSameSetAndSavesItIdentically) {
    auto f = make_factory();
    fluid_ptr m;
    ASSERT_EQ(f->CreateCavitationObsoleteThermodynamics(1.75, true, m), MP_STATUS_OK);
    const bytes data = save(*f);

    auto g = make_factory();
    ASSERT_EQ(load(*g, data), MP_STATUS_OK);
    fluid_ptr back;
    ASSERT_EQ(g->FindThermodynamics(identity_of(m), back), MP_STATUS_OK);
    const auto subs = back->get_substances();
    ASSERT_EQ(subs.size(), 1);
    auto* factory = dynamic_cast<C_medium_physics*>(g.get());
    EXPECT_EQ(subs[0], factory->find_substance<C_medium_physics::kObsoleteCache>(kCavitation));
    EXPECT_EQ(factory->find_substance<C_medium_physics::kObsoleteCache>(kCavitation)->parameter(), 1.75);
    EXPECT_EQ(save(*g), data);
}

TEST(Factory, LoadReadsIntegersInTheStreamsByteOrder) {
    // A big-endian stream read with the swap flag set gives the same factory.
    host_guid medium;
    guid_utils::CreateUUID(medium);
    auto f = make_factory();
    ASSERT_EQ(load(*f, expected_obsolete_stream(medium, 2.5, true), true), MP_STATUS_OK);
    fluid_ptr back;
    ASSERT_EQ(f->FindThermodynamics(medium, back), MP_STATUS_OK);
    auto* factory = dynamic_cast<C_medium_physics*>(f.get());
    EXPECT_EQ(factory->find_substance<C_medium_physics::kObsoleteCache>(kCavitation)->parameter(), 2.5);
    EXPECT_EQ(save(*f), expected_obsolete_stream(medium, 2.5, false));
}

TEST(Factory, LoadRefusesBadVersionsWithoutReadingOn) {
    C_file_io s;
    s.open_memory(bytes{1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0});
    auto f = make_factory();
    EXPECT_EQ(f->Load(s), MP_STATUS_FAILURE);
    EXPECT_EQ(s.tell(), 1u);
    for (std::size_t at : {std::size_t{1}, std::size_t{6}}) {
        bytes data{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
        data[at] = 7;
        EXPECT_EQ(load(*make_factory(), data), MP_STATUS_FAILURE) << at;
    }
}

TEST(Factory, LoadSkipsUnknownTagsTolerantly) {
    // Tag 20 is skipped without reading more; the following bytes are read as the next tag.
    host_guid medium;
    guid_utils::CreateUUID(medium);
    const bytes good = expected_obsolete_stream(medium, 0.5, false);
    byte_builder b;
    b.u8(0).u8(0).i32(2).i32(20);
    b.out.insert(b.out.end(), good.begin() + 6, good.end());
    auto f = make_factory();
    EXPECT_EQ(load(*f, b.out), MP_STATUS_OK);
    fluid_ptr back;
    EXPECT_EQ(f->FindThermodynamics(medium, back), MP_STATUS_OK);
    // A count below 1 ends the part.
    byte_builder neg;
    neg.u8(0).u8(0).i32(-5).u8(0).i32(0);
    EXPECT_EQ(load(*make_factory(), neg.out), MP_STATUS_OK);
}

TEST(Factory, LoadFailsOnRecordsItCannotRebuild) {
    standalone_host::log_capture cap;
    host_guid medium;
    guid_utils::CreateUUID(medium);
    const bytes good = expected_obsolete_stream(medium, 0.5, false);
    const std::size_t registry = good.size() - (1 + 4 + 4 + 4 + 16 + 4 + 16);
    const std::size_t kind_at = registry + 5;

    byte_builder negative_tag;
    negative_tag.u8(0).u8(0).i32(1).i32(-1);
    EXPECT_EQ(load(*make_factory(), negative_tag.out), MP_STATUS_FAILURE);

    // Tag 5 belongs to a substance class this build does not provide.
    byte_builder real_gas;
    real_gas.u8(0).u8(0).i32(1).i32(5).guid(kCavitation).u8(0);
    EXPECT_EQ(load(*make_factory(), real_gas.out), MP_STATUS_FAILURE);

    // Unknown kind codes (every known one has its loader now), and kinds whose record this is not.
    for (std::int32_t kind : {15, -1, 5, 0, 1, 2, 3, 4, 11, 12}) {
        bytes data = good;
        std::memcpy(data.data() + kind_at, &kind, 4);
        EXPECT_EQ(load(*make_factory(), data), MP_STATUS_FAILURE) << kind;
    }
    EXPECT_EQ(cap.count("Load: cannot rebuild a medium of kind"), 2u);

    // A medium naming a substance the stream did not hold.
    bytes unknown = good;
    unknown[good.size() - 1] ^= 0xFF;
    EXPECT_EQ(load(*make_factory(), unknown), MP_STATUS_FAILURE);
    // A medium record of another version.
    bytes version = good;
    version[kind_at + 4] = 1;
    EXPECT_EQ(load(*make_factory(), version), MP_STATUS_FAILURE);
}

TEST(Factory, EveryTruncationFailsCleanlyAndKeepsWhatWasRead) {
    auto f = make_factory();
    fluid_ptr m;
    ASSERT_EQ(f->CreateCavitationObsoleteThermodynamics(0.5, true, m), MP_STATUS_OK);
    const bytes data = save(*f);
    standalone_host::log_capture cap;
    for (std::size_t n = 0; n < data.size(); ++n) {
        auto g = make_factory();
        EXPECT_EQ(load(*g, bytes(data.begin(), data.begin() + static_cast<std::ptrdiff_t>(n))), MP_STATUS_FAILURE) << n;
        // Once the substance entry is complete it stays in the cache (no undo).
        auto* factory = dynamic_cast<C_medium_physics*>(g.get());
        const bool substance_complete = n >= 6 + 4 + 16 + 1 + 1 + 16 + 4 + 52 + 8;
        EXPECT_EQ(factory->cache_size<C_medium_physics::kObsoleteCache>(), substance_complete ? 1u : 0u) << n;
        EXPECT_EQ(factory->registry_size(), 0u);
    }
    EXPECT_GE(cap.count("unable to read requested size"), 1u);
}

TEST(Factory, SaveOnAStreamThatFailsGivesStatusThree) {
    auto f = make_factory();
    standalone_host::log_capture cap;
    C_file_io closed;  // nothing open: the dummy provider refuses every write
    EXPECT_EQ(f->Save(closed), MP_STATUS_FAILURE);
    EXPECT_EQ(f->Load(closed), MP_STATUS_FAILURE);
    EXPECT_EQ(cap.count("CDummyIOProvider: not implemented!"), 2u);
}

TEST(Factory, RealGasMediaWithoutADescriptionAreRefused) {
    auto f = make_factory();
    standalone_host::log_capture cap;
    fluid_ptr out;
    const description_array none;
    EXPECT_EQ(out, nullptr);
    // every medium of the kind table exists now: without a description they are refused, not unsupported
    EXPECT_EQ(f->CreateRealGasThermodynamics(nullptr, none, true, out), MP_STATUS_FAILURE);
    EXPECT_EQ(f->CreateRealGasPhaseChangeThermodynamics(nullptr, none, true, out), MP_STATUS_FAILURE);
    EXPECT_EQ(out, nullptr);

    // The combustible operation answers 0 whatever the kind, and creates nothing here.
    fluid_ptr keep;
    f->CreateCavitationObsoleteThermodynamics(0.0, false, keep);
    const fluid_ptr before = keep;
    EXPECT_EQ(f->CreateCombustibleThermodynamics(nullptr, 5, 0.0, 0, true, keep), MP_STATUS_OK);
    EXPECT_EQ(f->CreateCombustibleThermodynamics(nullptr, 8, 0.0, 0, true, keep), MP_STATUS_OK);
    EXPECT_EQ(keep, before);
}

TEST(Factory, DropletModelWrapsTheHostsData) {
    struct droplets final : IHostDropletData {
        std::int32_t query_interface(std::any&) override { return MP_STATUS_UNSUPPORTED; }
        std::int32_t get_droplet_class_count() const noexcept override { return 4; }
    };
    auto f = make_factory();
    auto host = std::make_shared<standalone_host::CStandaloneHost>();
    std::shared_ptr<IHostUnknown> model = std::make_shared<standalone_host::CStandaloneHost>();
    EXPECT_EQ(f->CreateDropletModel(host, model), MP_STATUS_OK);
    EXPECT_EQ(model, nullptr);  // the host has no droplet data

    host->set_droplet_data(std::make_shared<droplets>());
    ASSERT_EQ(f->CreateDropletModel(host, model), MP_STATUS_OK);
    ASSERT_NE(model, nullptr);
    std::any data = std::shared_ptr<IHostDropletData>();
    ASSERT_EQ(model->query_interface(data), MP_STATUS_OK);
    EXPECT_EQ(std::any_cast<std::shared_ptr<IHostDropletData>>(data)->get_droplet_class_count(), 4);
}

TEST(Factory, InspectorReportsRecordsAndTheFailingOffset) {
    auto f = make_factory();
    fluid_ptr m;
    ASSERT_EQ(f->CreateCavitationObsoleteThermodynamics(0.5, true, m), MP_STATUS_OK);
    const bytes data = save(*f);
    {
        C_file_io s;
        s.open_memory(data);
        load_report report;
        ASSERT_EQ(inspect_factory_stream(s, nullptr, report), MP_STATUS_OK);
        ASSERT_EQ(report.items.size(), 5u);
        EXPECT_EQ(report.items[1].offset, 1u);
        EXPECT_EQ(report.items[2].offset, 6u);
        EXPECT_NE(report.items[2].text.find("tag 11"), std::string::npos);
        EXPECT_NE(report.items[4].text.find("Cavitation obsolete thermodynamics"), std::string::npos);
    }
    {
        C_file_io s;
        s.open_memory(bytes(data.begin(), data.end() - 3));
        load_report report;
        standalone_host::log_capture quiet;
        EXPECT_EQ(inspect_factory_stream(s, nullptr, report), MP_STATUS_FAILURE);
        EXPECT_TRUE(report.failed);
        EXPECT_EQ(report.failure_offset, data.size() - (4 + 4 + 16 + 4 + 16));  // the registry entry
        EXPECT_NE(report.failure_reason.find("unable to read requested size"), std::string::npos);
    }
}

TEST(Factory, LoadRefusesASubstanceFiledUnderAnotherKey) {
    // The key and the substance's own identifier are written twice; when they differ, media would
    // save identifiers the reloaded project cannot resolve.
    host_guid medium;
    guid_utils::CreateUUID(medium);
    bytes data = expected_obsolete_stream(medium, 0.5, false);
    data[6 + 4] ^= 0x01;  // first byte of the cache key
    standalone_host::log_capture cap;
    EXPECT_EQ(load(*make_factory(), data), MP_STATUS_FAILURE);
    EXPECT_EQ(cap.count("Load: a substance's key differs from its identifier"), 1u);
}
