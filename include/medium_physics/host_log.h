// host_log: the host's log. Every line the library writes ends in '\n' and has been formatted
// into a 256-character buffer first. Warning lines go to the warning entry, ERROR lines to the
// error entry; plain messages (no number) go to the message entry.
#pragma once

#include <cstdint>

#include "medium_physics/export.h"

namespace host_log {

enum class entry : std::int32_t {
    message = 0,  // plain messages ("MediumPhysics: %s(%d): ...")
    warning = 1,  // "Warning 3002: ...", "Warning 3003: ...", "Warning : ..."
    error = 2,    // "ERROR: ..."
};

// Writes one line. Thread-safe; never throws.
MP_HOST_API void write(entry which, const char* text) noexcept;

}  // namespace host_log

// Size of the buffer every log line is formatted into.
inline constexpr int kHostLogLineSize = 256;
