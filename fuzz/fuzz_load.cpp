// Loads arbitrary bytes as a saved factory stream into a fresh factory. A project file can be
// damaged in any way; loading it must fail with status 3, never crash, leak or hang.
//
// With MP_FUZZ_ROUNDTRIP=1 in the environment it also checks that what loads saves again into a
// stream that loads, and that saving is then stable (load, save, load, save gives the same bytes).
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string_view>
#include <vector>

#include "file_io/c_file_io/c_file_io.h"
#include "medium_physics/i_medium_physics.h"
#include "medium_physics/standalone_host.h"

namespace {

bool g_roundtrip = false;

std::shared_ptr<I_medium_physics> fresh_factory() {
    std::shared_ptr<I_medium_physics> factory;
    if (create_medium_physics(factory, std::make_shared<standalone_host::CStandaloneHost>()) != MP_STATUS_OK ||
        !factory)
        __builtin_trap();
    return factory;
}

// Loads `bytes` into a fresh factory; on success saves it and returns the saved bytes in `saved`.
std::int32_t load_and_save(const std::uint8_t* bytes, std::size_t size, std::vector<std::uint8_t>* saved) {
    auto factory = fresh_factory();
    C_file_io in;
    in.open_memory(bytes, size);
    const std::int32_t status = factory->Load(in);
    if (status != MP_STATUS_OK && status != MP_STATUS_FAILURE) __builtin_trap();
    if (status == MP_STATUS_OK && saved != nullptr) {
        C_file_io out;
        out.open_memory();
        if (factory->Save(out) != MP_STATUS_OK) __builtin_trap();
        *saved = out.memory_bytes();
    }
    return status;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    // The library reports every refused record through the log; thousands of lines a second would
    // only slow the run down.
    standalone_host::set_log_observer([](host_log::entry, std::string_view) {});
    const char* roundtrip = std::getenv("MP_FUZZ_ROUNDTRIP");
    g_roundtrip = roundtrip != nullptr && std::string_view(roundtrip) == "1";
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (!g_roundtrip) {
        load_and_save(data, size, nullptr);
        return 0;
    }
    std::vector<std::uint8_t> first, second, third;
    if (load_and_save(data, size, &first) != MP_STATUS_OK) return 0;
    if (load_and_save(first.data(), first.size(), &second) != MP_STATUS_OK) __builtin_trap();
    // Media identities and substance keys survive a save, so the second save reproduces the first
    // byte for byte once the input's duplicates and skipped entries are gone.
    if (load_and_save(second.data(), second.size(), &third) != MP_STATUS_OK || third != second) __builtin_trap();
    return 0;
}
