// host_guid: a 16-byte identifier in the Windows GUID memory layout (a 32-bit field and two
// 16-bit fields stored little-endian, then 8 bytes in order). Substances and media carry one;
// caches and the registry order them by memcmp of the 16 bytes.
#pragma once

#include <array>
#include <compare>
#include <cstdint>
#include <cstring>

#include "medium_physics/export.h"
#include "medium_physics/host_string.h"

struct host_guid {
    std::array<std::uint8_t, 16> bytes{};

    bool is_nil() const noexcept {
        for (auto b : bytes)
            if (b != 0) return false;
        return true;
    }
    friend bool operator==(const host_guid& a, const host_guid& b) noexcept {
        return std::memcmp(a.bytes.data(), b.bytes.data(), 16) == 0;
    }
    friend std::strong_ordering operator<=>(const host_guid& a, const host_guid& b) noexcept {
        const int c = std::memcmp(a.bytes.data(), b.bytes.data(), 16);
        return c < 0 ? std::strong_ordering::less
                     : (c > 0 ? std::strong_ordering::greater : std::strong_ordering::equal);
    }
};

// Orders identifiers by memcmp of their 16 bytes (the key order of every cache and registry).
struct host_guid_less {
    bool operator()(const host_guid& a, const host_guid& b) const noexcept {
        return std::memcmp(a.bytes.data(), b.bytes.data(), 16) < 0;
    }
};

namespace guid_utils {

// Parses "XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX", optionally in braces, hex digits in either case.
// Returns true on success. A malformed string (wrong length, misplaced dash, non-hex digit,
// unbalanced brace) returns false and leaves `out` as the nil GUID (all 16 bytes zero).
MP_HOST_API bool BuildGUIDFromString(const CHostString& text, host_guid& out) noexcept;

// Fills `out` with a fresh random (version 4, variant 1) identifier.
MP_HOST_API void CreateUUID(host_guid& out) noexcept;

// Canonical upper-case text without braces, e.g. "E46DDFE0-3DB1-4BA4-85ED-B83F873B2BF1".
MP_HOST_API CHostString ToString(const host_guid& id);

}  // namespace guid_utils
