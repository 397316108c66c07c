// Arbitrary bytes through the stream inspector behind `medium-physics inspect`: it must never
// crash, leak or hang, and what it reports must describe the input (the program prints record
// sizes as differences of these offsets).
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>

#include "factory/c_medium_physics.h"
#include "file_io/c_file_io/c_file_io.h"
#include "medium_physics/standalone_host.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    standalone_host::set_log_observer([](host_log::entry, std::string_view) {});
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    C_file_io stream;
    stream.open_memory(data, size);
    load_report report;
    const std::int32_t status =
        inspect_factory_stream(stream, std::make_shared<standalone_host::CStandaloneHost>(), report);

    // The status and the report agree.
    if ((status == MP_STATUS_OK) == report.failed) __builtin_trap();
    if (status != MP_STATUS_OK && status != MP_STATUS_FAILURE) __builtin_trap();
    // Every record lies inside the input, in the order read, each after the one before it.
    std::uint64_t previous = 0;
    for (std::size_t i = 0; i < report.items.size(); ++i) {
        const auto& item = report.items[i];
        if (item.offset >= size || (i > 0 && item.offset <= previous) || item.text.empty()) __builtin_trap();
        previous = item.offset;
    }
    if (report.failed) {
        // The failing record starts after every record that loaded, and reading stopped inside the
        // input, at or after the failing record's start.
        if (report.failure_offset > size || report.stream_position > size) __builtin_trap();
        if (report.stream_position < report.failure_offset) __builtin_trap();
        if (!report.items.empty() && report.failure_offset <= report.items.back().offset) __builtin_trap();
        if (report.failure_reason.empty()) __builtin_trap();
    }
    return 0;
}
