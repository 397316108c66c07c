// Where a log line or a pooled array comes from: the library-relative path of the source file and
// the line of the statement. There is one way to name a site:
//  - log lines: MP_LOG (mp_log.h) passes the file and line of its own statement;
//  - pooled arrays: allocate() and its helpers take an mp::site whose default argument is the
//    caller's statement (__builtin_FILE/__builtin_LINE, which GCC, Clang and MSVC evaluate at the
//    call site, as std::source_location does), so a label points at the line that asks for memory.
// The path starts at the library folder ("medium_physics/gas/c_gas_mixture.h"), whatever folder
// the sources were built in.
#pragma once

#include <cstdint>

namespace mp {

// The part of `path` from the last "medium_physics/" (or "medium_physics\") on; the whole path when
// it holds none.
constexpr const char* source_path(const char* path) noexcept {
    constexpr char kFolder[] = "medium_physics";
    constexpr int kLength = sizeof kFolder - 1;
    const char* found = path;
    for (const char* p = path; *p != '\0'; ++p) {
        int i = 0;
        while (i < kLength && p[i] == kFolder[i]) ++i;
        if (i == kLength && (p[i] == '/' || p[i] == '\\')) found = p;
    }
    return found;
}

// The same, evaluated by the compiler (for __FILE__).
consteval const char* source_path_of(const char* path) noexcept { return source_path(path); }

struct site {
    const char* file;
    std::int32_t line;

    // The statement that calls the function whose default argument this is.
    static constexpr site here(const char* file = __builtin_FILE(), int line = __builtin_LINE()) noexcept {
        return {source_path(file), static_cast<std::int32_t>(line)};
    }
};

}  // namespace mp
