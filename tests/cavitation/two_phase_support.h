// What the tests of the two-phase media share: an interface of a medium, and a factory's stream.
#pragma once

#include <any>
#include <cstdint>
#include <memory>
#include <vector>

#include <gtest/gtest.h>

#include "file_io/c_file_io/c_file_io.h"
#include "medium_physics/i_medium_physics.h"

namespace two_phase_test {

// Interface I of a medium; empty when it does not offer it.
template <class I>
std::shared_ptr<I> as(const fluid_ptr& m) {
    std::any r = std::shared_ptr<I>();
    if (!m || m->query_interface(r) != MP_STATUS_OK) return nullptr;
    return std::any_cast<std::shared_ptr<I>>(r);
}

// The factory's saved stream.
inline std::vector<std::uint8_t> save(I_medium_physics& f) {
    C_file_io s;
    s.open_memory();
    EXPECT_EQ(f.Save(s), MP_STATUS_OK);
    return s.memory_bytes();
}

}  // namespace two_phase_test
