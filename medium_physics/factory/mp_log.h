// Log lines of the library. Every line is formatted into a 256-character buffer and goes to a
// message sink (plain messages, warnings) or to the host log (errors, and when there is no sink).
// A line that names its site has "%s(%d)" as its first two conversions; MP_LOG fills them with the
// source file and line of the statement that writes it, so that every message points at its own
// statement:
//   MP_LOG(sink, mp::line_kind::warning, "Warning 3002: MediumPhysics: %s(%d): Inconsistent physical parameters!\n");
// Lines without a site ("Chemistry: Restoring table succeeded\n") go through mp::log_line directly.
#pragma once

#include "factory/mp_site.h"
#include "medium_physics/host_object.h"

namespace mp {

enum class line_kind { message, warning, error };

#if defined(__GNUC__)
#  define MP_PRINTF_FORMAT(fmt, args) __attribute__((format(printf, fmt, args)))
#else
#  define MP_PRINTF_FORMAT(fmt, args)
#endif

// Formats and writes one line; never throws, never allocates.
void log_line(IHostMessageSink* sink, line_kind kind, const char* format, ...) noexcept MP_PRINTF_FORMAT(3, 4);

}  // namespace mp

// Writes a line whose format begins with the "%s(%d)" site pair, then the further arguments.
#define MP_LOG(sink, kind, format, ...) \
    ::mp::log_line((sink), (kind), format, ::mp::source_path_of(__FILE__), __LINE__ __VA_OPT__(, ) __VA_ARGS__)
