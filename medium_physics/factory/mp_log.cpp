#include "factory/mp_log.h"

#include <cstdarg>
#include <cstdio>

#include "medium_physics/host_log.h"

namespace mp {

void log_line(IHostMessageSink* sink, line_kind kind, const char* format, ...) noexcept {
    char buffer[kHostLogLineSize];
    va_list args;
    va_start(args, format);
    std::vsnprintf(buffer, sizeof buffer, format, args);
    va_end(args);
    if (kind == line_kind::error || sink == nullptr) {
        const auto entry = kind == line_kind::error     ? host_log::entry::error
                           : kind == line_kind::warning ? host_log::entry::warning
                                                        : host_log::entry::message;
        host_log::write(entry, buffer);
    } else if (kind == line_kind::warning) {
        sink->write_warning(buffer);
    } else {
        sink->write_message(buffer);
    }
}

}  // namespace mp
