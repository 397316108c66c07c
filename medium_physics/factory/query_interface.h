// The one query mechanism of the library's objects: the caller's std::any holds an empty
// std::shared_ptr<I>; when the object implements I, the pointer is set to share ownership of the
// object.
#pragma once

#include <any>
#include <cstdint>
#include <memory>

#include "medium_physics/host_unknown.h"

namespace mp {

template <class I, class Self>
bool hand_out_one(const std::shared_ptr<Self>& self, std::any& requested) noexcept {
    if (auto* slot = std::any_cast<std::shared_ptr<I>>(&requested)) {
        *slot = std::shared_ptr<I>(self);
        return true;
    }
    return false;
}

// Tries the interfaces in order; 0 on a match, 2 when none matches (or the object has no owner).
template <class... Interfaces, class Self>
std::int32_t hand_out(const std::shared_ptr<Self>& self, std::any& requested) noexcept {
    if (!self) return MP_STATUS_UNSUPPORTED;
    return (hand_out_one<Interfaces>(self, requested) || ...) ? MP_STATUS_OK : MP_STATUS_UNSUPPORTED;
}

}  // namespace mp
