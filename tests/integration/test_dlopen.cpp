// The built shared library as a solver uses it: loaded at run time with dlopen, entered through the
// one symbol it exports, and driven only through its public interfaces. Objects and std::any
// requests are made on this side and cross into the library, whose own symbols are all hidden, so
// these tests fail when interface types or status codes do not survive the binary boundary.
#include <dlfcn.h>

#include <any>
#include <cstdint>
#include <memory>
#include <string>
#include <typeinfo>
#include <vector>

#include <gtest/gtest.h>

#include "file_io/c_file_io/c_file_io.h"
#include "medium_physics/i_medium_physics.h"
#include "medium_physics/standalone_host.h"

namespace {

// The record of an empty factory: factory version, substance part (version, count 0), registry
// part (version, count 0).
const std::vector<std::uint8_t> kEmptyFactoryRecord = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};

template <class I>
struct query_result {
    std::int32_t status = -1;
    std::shared_ptr<I> pointer;
};

// Asks `object` for I with a std::any made here, on the host's side of the boundary.
template <class I>
query_result<I> query(IHostUnknown& object) {
    std::any request = std::shared_ptr<I>();
    query_result<I> result;
    result.status = object.query_interface(request);
    result.pointer = std::any_cast<std::shared_ptr<I>>(request);
    return result;
}

// True when a and b share ownership of one object (whatever interface they point at).
template <class A, class B>
bool same_owner(const std::shared_ptr<A>& a, const std::shared_ptr<B>& b) {
    return !a.owner_before(b) && !b.owner_before(a);
}

std::int32_t load_bytes(I_medium_physics& factory, const std::vector<std::uint8_t>& bytes) {
    C_file_io stream;
    stream.open_memory(bytes);
    return factory.Load(stream);
}

// One gas component described by the host: dry air with constant properties. It counts the
// library's requests, which arrive in a std::any made on the library's side.
class host_gas final : public I_gas_description, public std::enable_shared_from_this<host_gas> {
public:
    static constexpr double kMolarMass = 0.028965;  // kg/mol
    static constexpr double kCp = 1005.0;           // J/(kg K)

    int requests = 0;
    int recognised = 0;

    std::int32_t query_interface(std::any& requested) override {
        ++requests;
        if (auto* slot = std::any_cast<std::shared_ptr<I_gas_description>>(&requested)) {
            ++recognised;
            *slot = shared_from_this();
            return MP_STATUS_OK;
        }
        return MP_STATUS_UNSUPPORTED;
    }
    void get_name(CHostString& name) override { name = CHostString(u"dry air"); }
    void get_identifier(CHostString& identifier) override {
        identifier = CHostString(u"6B1A8E0C-0D3B-4E55-9C1E-2F4A7D9B3C10");
    }
    void get_first_parameter(host_property& property) override { property.constant = 0.0; }
    void get_cp(host_property& property) override { property.constant = kCp; }
    void get_viscosity(host_property& property) override { property.constant = 1.8e-5; }
    void get_conductivity(host_property& property) override { property.constant = 0.026; }
    double get_molar_mass() override { return kMolarMass; }
    double get_gamma() override { return 1.4; }
};

// The OpenMP runtime that the library pulls in must never be unloaded: it keeps its start-up
// allocations and its pool threads for the life of the process. A host that unloads the library
// pins the runtime, as here; RTLD_NOLOAD finds it only when the library brought it in.
void pin_openmp_runtime() {
    for (const char* runtime : {"libgomp.so.1", "libomp.so.5", "libomp.so"}) {
        if (void* handle = dlopen(runtime, RTLD_NOW | RTLD_NOLOAD | RTLD_NODELETE)) dlclose(handle);
    }
}

void* load_library() {
    void* handle = dlopen(MP_LIBRARY_PATH, RTLD_NOW | RTLD_LOCAL);
    if (handle != nullptr) pin_openmp_runtime();
    return handle;
}

// Loads the library, creates a factory in it, and releases everything the library made before
// unloading it (code and type data of those objects live in the library).
class dlopenBoundary : public ::testing::Test {
protected:
    void SetUp() override {
        m_handle = load_library();
        ASSERT_NE(m_handle, nullptr) << dlerror();
        void* symbol = dlsym(m_handle, kCreateMediumPhysicsSymbol);
        ASSERT_NE(symbol, nullptr) << dlerror();
        m_create = reinterpret_cast<create_medium_physics_fn>(symbol);
        ASSERT_EQ(m_create(m_factory, m_host), MP_STATUS_OK);
        ASSERT_NE(m_factory, nullptr);
    }

    void TearDown() override {
        m_factory.reset();
        if (m_handle != nullptr) {
            EXPECT_EQ(dlclose(m_handle), 0) << dlerror();
        }
    }

    std::shared_ptr<I_medium_physics> make_factory() {
        std::shared_ptr<I_medium_physics> factory;
        EXPECT_EQ(m_create(factory, m_host), MP_STATUS_OK);
        return factory;
    }

    std::vector<std::uint8_t> save(I_medium_physics& factory) {
        C_file_io stream;
        stream.open_memory();
        EXPECT_EQ(factory.Save(stream), MP_STATUS_OK);
        return stream.memory_bytes();
    }

    std::shared_ptr<standalone_host::CStandaloneHost> m_host = std::make_shared<standalone_host::CStandaloneHost>();
    void* m_handle = nullptr;
    create_medium_physics_fn m_create = nullptr;
    std::shared_ptr<I_medium_physics> m_factory;
};

// ---- the entry point and the hidden rest ---------------------------------------------------------

TEST_F(dlopenBoundary, HidesEverythingButTheEntryPoint) {
    // The factory's vtable and the interface's type data are in the library, but not reachable.
    EXPECT_EQ(dlsym(m_handle, "_ZTV16C_medium_physics"), nullptr);
    EXPECT_EQ(dlsym(m_handle, "_ZTI16I_medium_physics"), nullptr);
    EXPECT_EQ(dlsym(m_handle, "_ZTISt10shared_ptrI16I_medium_physicsE"), nullptr);
}

TEST_F(dlopenBoundary, DescribesItself) {
    CHostString text(u"previous text");
    EXPECT_EQ(m_factory->GetDescription(text), MP_STATUS_OK);
    EXPECT_EQ(text.to_utf8(), "under construction");
}

// ---- interface queries with requests made on this side -----------------------------------------

TEST_F(dlopenBoundary, QueryInterfaceRecognisesInterfaceTypesOfTheHost) {
    // The library compares the requested type by name (its own copies of these types are hidden).
    const auto itself = query<I_medium_physics>(*m_factory);
    ASSERT_EQ(itself.status, MP_STATUS_OK) << "std::any of " << typeid(std::shared_ptr<I_medium_physics>).name()
                                           << " made in the host was not recognised by the library";
    EXPECT_EQ(itself.pointer, m_factory);

    const auto unknown = query<IHostUnknown>(*m_factory);
    ASSERT_EQ(unknown.status, MP_STATUS_OK);
    EXPECT_EQ(unknown.pointer.get(), static_cast<IHostUnknown*>(m_factory.get()));
    EXPECT_TRUE(same_owner(unknown.pointer, m_factory));

    // The named operation is the same query.
    std::any request = std::shared_ptr<I_medium_physics>();
    EXPECT_EQ(m_factory->QueryInterface(request), MP_STATUS_OK);
    EXPECT_EQ(std::any_cast<std::shared_ptr<I_medium_physics>>(request), m_factory);
}

TEST_F(dlopenBoundary, QueryInterfaceRefusesOtherContentAndLeavesItAlone) {
    std::any number = 42;
    EXPECT_EQ(m_factory->QueryInterface(number), MP_STATUS_UNSUPPORTED);
    EXPECT_EQ(std::any_cast<int>(number), 42);

    // A raw pointer to the right interface is not a shared pointer to it.
    I_medium_physics* raw = nullptr;
    std::any raw_request = raw;
    EXPECT_EQ(m_factory->QueryInterface(raw_request), MP_STATUS_UNSUPPORTED);
    EXPECT_EQ(std::any_cast<I_medium_physics*>(raw_request), nullptr);

    // An interface of the media, not of the factory.
    EXPECT_EQ(query<I_write>(*m_factory).status, MP_STATUS_UNSUPPORTED);

    std::any empty;
    EXPECT_EQ(m_factory->QueryInterface(empty), MP_STATUS_UNSUPPORTED);
    EXPECT_FALSE(empty.has_value());
}

// ---- saving and loading through a stream made on this side -------------------------------------

TEST_F(dlopenBoundary, EmptyFactoryRoundTripsThroughMemory) {
    const auto bytes = save(*m_factory);
    EXPECT_EQ(bytes, kEmptyFactoryRecord);

    const auto second = make_factory();
    ASSERT_NE(second, nullptr);
    EXPECT_EQ(load_bytes(*second, bytes), MP_STATUS_OK);
    EXPECT_EQ(save(*second), kEmptyFactoryRecord);
}

TEST_F(dlopenBoundary, LoadRefusesAnUnknownFactoryVersionAfterOneByte) {
    auto bytes = kEmptyFactoryRecord;
    bytes[0] = 1;
    C_file_io stream;
    stream.open_memory(bytes);
    EXPECT_EQ(m_factory->Load(stream), MP_STATUS_FAILURE);
    EXPECT_EQ(stream.tell(), 1u);
    EXPECT_EQ(save(*m_factory), kEmptyFactoryRecord);
}

TEST_F(dlopenBoundary, TruncatedStreamGivesFailureNotAnException) {
    // The block stream throws on the short read; the library turns it into status 3 and a log line
    // that reaches this host's log.
    standalone_host::log_capture log;
    const std::vector<std::uint8_t> bytes(kEmptyFactoryRecord.begin(), kEmptyFactoryRecord.begin() + 4);
    std::int32_t status = -1;
    EXPECT_NO_THROW(status = load_bytes(*m_factory, bytes));
    EXPECT_EQ(status, MP_STATUS_FAILURE);
    EXPECT_EQ(log.count("ERROR: MediumPhysics:"), 1u);
}

// ---- a medium made by the loaded library --------------------------------------------------------

TEST_F(dlopenBoundary, MediumHandsOutItsInterfacesAcrossTheBoundary) {
    fluid_ptr medium;
    ASSERT_EQ(m_factory->CreateCavitationObsoleteThermodynamics(0.5, true, medium), MP_STATUS_OK);
    ASSERT_NE(medium, nullptr);

    const auto fluid = query<I_fluid_thermodynamics>(*medium);
    ASSERT_EQ(fluid.status, MP_STATUS_OK);
    EXPECT_EQ(fluid.pointer, medium);

    const auto writer = query<I_write>(*medium);
    ASSERT_EQ(writer.status, MP_STATUS_OK);
    EXPECT_EQ(writer.pointer->get_type_id(), MP_KIND_CAVITATION_OBSOLETE);
    EXPECT_TRUE(same_owner(writer.pointer, medium));

    EXPECT_EQ(medium->get_substances().size(), 1u);
    // Solver interfaces: this placeholder medium offers none.
    EXPECT_EQ(query<I_solver__thermodynamics_P_H>(*medium).status, MP_STATUS_UNSUPPORTED);
}

TEST_F(dlopenBoundary, RegisteredMediumIsFoundAndSurvivesSaveAndLoad) {
    fluid_ptr registered, unregistered;
    ASSERT_EQ(m_factory->CreateCavitationObsoleteThermodynamics(0.5, true, registered), MP_STATUS_OK);
    ASSERT_EQ(m_factory->CreateCavitationObsoleteThermodynamics(0.5, false, unregistered), MP_STATUS_OK);

    const auto identity_of = [](I_fluid_thermodynamics& medium) {
        host_guid id;
        const auto identity = query<I_identity>(medium);
        EXPECT_EQ(identity.status, MP_STATUS_OK);
        if (identity.pointer) identity.pointer->get_identity(id.bytes.data());
        return id;
    };
    const host_guid id = identity_of(*registered);
    ASSERT_FALSE(id.is_nil());

    fluid_ptr found;
    EXPECT_EQ(m_factory->FindThermodynamics(id, found), MP_STATUS_OK);
    EXPECT_EQ(found, registered);
    found.reset();
    EXPECT_EQ(m_factory->FindThermodynamics(identity_of(*unregistered), found), MP_STATUS_FAILURE);
    EXPECT_EQ(found, nullptr);

    const auto second = make_factory();
    ASSERT_NE(second, nullptr);
    EXPECT_EQ(load_bytes(*second, save(*m_factory)), MP_STATUS_OK);
    ASSERT_EQ(second->FindThermodynamics(id, found), MP_STATUS_OK);
    ASSERT_NE(found, nullptr);
    EXPECT_NE(found, registered);
    const auto writer = query<I_write>(*found);
    ASSERT_EQ(writer.status, MP_STATUS_OK);
    EXPECT_EQ(writer.pointer->get_type_id(), MP_KIND_CAVITATION_OBSOLETE);
}

TEST_F(dlopenBoundary, LibraryRecognisesTheHostsDescriptionAndAnswersInSI) {
    // Here the request is made in the library and recognised in this binary.
    const auto air = std::make_shared<host_gas>();
    description_array gases(1);
    gases[0] = air;
    fluid_ptr medium;
    ASSERT_EQ(m_factory->CreateIdealGasThermodynamics(gases, true, medium), MP_STATUS_OK)
        << air->requests << " request(s) from the library, " << air->recognised << " recognised here";
    EXPECT_EQ(air->recognised, 1);

    const auto solver = query<I_solver__thermodynamics_P_H>(*medium);
    ASSERT_EQ(solver.status, MP_STATUS_OK);
    // rho = p M / (R T) with R = 8.3144 J/(mol K): 101325 * 0.028965 / (8.3144 * 300) = 1.1766247 kg/m3,
    // by hand to 8 significant digits, hence the relative tolerance.
    constexpr double kDensity = 1.1766247;
    constexpr double kRelTol = 1e-7;
    const double Y[] = {1.0};
    EXPECT_NEAR(solver.pointer->get_density(101325.0, 300.0, Y), kDensity, kDensity * kRelTol);
}

TEST_F(dlopenBoundary, LiquidsAndSolidsFromTheStandaloneHostsDescriptions) {
    standalone_host::material_library library;
    library.add_text(R"({"materials": [
      {"name": "oil", "identifier": "DD000000-0000-4000-8000-000000000001", "kind": "incompressible_liquid",
       "cp": {"constant": 2000}, "viscosity": {"constant": 0.1}, "conductivity": {"constant": 0.14},
       "density": {"constant": 880}, "scalar_a": 0, "reference_temperature": 293.15, "reference_pressure": 101325},
      {"name": "plate", "identifier": "DD000000-0000-4000-8000-000000000002", "kind": "heatconducting_solid",
       "heat_value_a": 7850, "heat_value_b": 1000, "heat_parameter": {"constant": 460},
       "components": [{"constant": 50}, {"constant": 50}, {"constant": 50}], "anisotropy": 0}]})",
                     "boundary");
    fluid_ptr oil;
    std::string why;
    ASSERT_EQ(standalone_host::create_medium(*m_factory, library, *library.find_medium("oil"), true, oil, &why), 0) << why;
    const auto solver = query<I_solver__thermodynamics_P_H>(*oil);
    ASSERT_EQ(solver.status, MP_STATUS_OK);
    const double Y[] = {1.0};
    EXPECT_EQ(solver.pointer->get_density(101325.0, 300.0, Y), 880.0);
    std::shared_ptr<MED_PHYSICS::I_diffusion_coefficient> plate;
    ASSERT_EQ(standalone_host::create_solid(*m_factory, library, "plate", {1, 0, 0, 0, 1, 0, 0, 0, 1}, plate, &why), 0)
        << why;
    std::int32_t count = 0;
    double values[3], axes[9];
    EXPECT_EQ(plate->get_diffusion_coefficient(300.0, &count, values, axes), 0);
    EXPECT_EQ(count, 1);
    EXPECT_EQ(values[0], 50.0);
}

// ---- unloading ----------------------------------------------------------------------------------

TEST_F(dlopenBoundary, LoadsAgainAfterUnloading) {
    // Everything the library made is released before dlclose (TearDown does the same).
    m_factory.reset();
    ASSERT_EQ(dlclose(m_handle), 0) << dlerror();
    m_handle = nullptr;
    // Nothing in the library keeps it mapped (no unique symbols, no self-pinning).
    if (void* still_there = dlopen(MP_LIBRARY_PATH, RTLD_NOW | RTLD_NOLOAD)) {
        dlclose(still_there);
        ADD_FAILURE() << "the library stayed loaded after its last dlclose";
    }

    void* handle = load_library();
    ASSERT_NE(handle, nullptr) << dlerror();
    const auto create = reinterpret_cast<create_medium_physics_fn>(dlsym(handle, kCreateMediumPhysicsSymbol));
    ASSERT_NE(create, nullptr);
    {
        std::shared_ptr<I_medium_physics> factory;
        ASSERT_EQ(create(factory, m_host), MP_STATUS_OK);
        fluid_ptr medium;
        EXPECT_EQ(factory->CreateCavitationObsoleteThermodynamics(0.5, true, medium), MP_STATUS_OK);
        EXPECT_EQ(query<I_medium_physics>(*factory).status, MP_STATUS_OK);
    }
    EXPECT_EQ(dlclose(handle), 0) << dlerror();
}

}  // namespace
