// The smallest host of medium_physics: starts the library as a solver does, creates a medium,
// finds it again by its identifier, saves the factory to a file and loads it into a second
// factory. Prints every step; exits 0 when all succeed, 1 at the first that does not.
#include <any>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <memory>

#include "file_io/c_file_io/c_file_io.h"
#include "medium_physics/i_medium_physics.h"
#include "medium_physics/standalone_host.h"

namespace {

// Prints one step with its status (0 success, 2 unsupported, 3 failure); true when it is 0.
bool ok(const char* step, std::int32_t status) {
    std::printf("%-42s status %d\n", step, static_cast<int>(status));
    return status == MP_STATUS_OK;
}

// Asks an object for interface I: the std::any carries an empty shared pointer that it fills.
template <class I>
std::shared_ptr<I> query(IHostUnknown& object, const char* step) {
    std::any request = std::shared_ptr<I>();
    if (!ok(step, object.query_interface(request))) return nullptr;
    return std::any_cast<std::shared_ptr<I>>(request);
}

int run() {
    // The host object: the library logs through it and asks it once for a thread count.
    auto host = std::make_shared<standalone_host::CStandaloneHost>();

    // The library's one exported function creates the factory.
    std::shared_ptr<I_medium_physics> factory;
    if (!ok("create_medium_physics", create_medium_physics(factory, host))) return 1;
    if (query<I_medium_physics>(*factory, "QueryInterface(I_medium_physics)") != factory) return 1;

    // A medium, entered in the factory's registry (register_it = true). The obsolete cavitation
    // model needs no substance descriptions; the gas media take an array of them, one per component.
    fluid_ptr medium;
    const std::int32_t created = factory->CreateCavitationObsoleteThermodynamics(0.5, true, medium);
    if (!ok("CreateCavitationObsoleteThermodynamics", created)) return 1;

    // The registry key is the medium's own identity, read through its I_identity interface.
    const auto identity = query<I_identity>(*medium, "query_interface(I_identity)");
    if (!identity) return 1;
    host_guid id;
    identity->get_identity(id.bytes.data());
    std::printf("  identifier %s\n", guid_utils::ToString(id).to_utf8().c_str());
    fluid_ptr found;
    if (!ok("FindThermodynamics", factory->FindThermodynamics(id, found)) || found != medium) return 1;

    // Save the whole set (substances, then registered media) to a file; closing flushes it.
    const auto name = "medium_physics_example_" + guid_utils::ToString(id).to_utf8() + ".bin";
    const auto path = std::filesystem::temp_directory_path() / name;
    std::int32_t status = MP_STATUS_FAILURE;
    {
        C_file_io out;
        out.open(CHostString(path.u16string()), u"w");
        status = factory->Save(out);
    }
    if (!ok("Save", status)) return 1;
    std::printf("  %ju bytes in %s\n", std::uintmax_t{std::filesystem::file_size(path)}, path.string().c_str());

    // Load it into a second factory: the medium comes back under the same identifier.
    std::shared_ptr<I_medium_physics> restored;
    if (!ok("create_medium_physics (second)", create_medium_physics(restored, host))) return 1;
    {
        C_file_io in;
        in.open(CHostString(path.u16string()), u"r");
        status = restored->Load(in);
    }
    std::filesystem::remove(path);
    if (!ok("Load", status) || !ok("FindThermodynamics (second)", restored->FindThermodynamics(id, found))) return 1;
    const auto writer = query<I_write>(*found, "query_interface(I_write)");
    std::printf("  kind code %d\n", writer ? static_cast<int>(writer->get_type_id()) : -1);
    return writer && writer->get_type_id() == MP_KIND_CAVITATION_OBSOLETE ? 0 : 1;
}

}  // namespace

int main() {
    try {
        return run();
    } catch (const std::exception& e) {  // the block stream reports I/O failures as exceptions
        std::fprintf(stderr, "host_example: %s\n", e.what());
        return 1;
    }
}
