#include <gtest/gtest.h>
#include "c_medium_physics.h"
#include "file_io/c_file_io/c_file_io.h"
#include "medium_physics/standalone_host.h"
TEST(Smoke, EmptySave) {
    std::shared_ptr<I_medium_physics> f;
    ASSERT_EQ(create_medium_physics(f, std::make_shared<standalone_host::CStandaloneHost>()), 0);
    C_file_io s; s.open_memory();
    ASSERT_EQ(f->Save(s), 0);
    EXPECT_EQ(s.memory_bytes().size(), 11u);
}
