// Log lines of the library. Every line is formatted into a 256-character buffer and goes to a
// message sink (plain messages, warnings) or to the host log (errors, and when there is no sink).
// The formats carry the reporting source and line as their "%s(%d)" pair:
//   mp::log_line(sink, mp::line_kind::warning,
//                "Warning 3002: MediumPhysics: %s(%d): Inconsistent physical parameters!\n",
//                MP_THIS_SOURCE, __LINE__);
// where each source file defines MP_THIS_SOURCE as its library-relative path without extension.
#pragma once

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
