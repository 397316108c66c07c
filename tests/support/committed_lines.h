// Text compared line by line with a committed file (answers logged as hexadecimal floats): the
// first ten differing lines are reported with both versions, and a missing or extra line fails.
#pragma once

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <string>

namespace test_support {

// Returns the number of lines the committed file holds.
inline int expect_committed_lines(const std::string& file, const std::string& text) {
    std::ifstream in(file, std::ios::binary);
    EXPECT_TRUE(in) << file;
    std::istringstream got(text);
    std::string want_line, got_line;
    int line = 0, differing = 0;
    while (std::getline(in, want_line)) {
        ++line;
        if (!std::getline(got, got_line)) got_line = "(missing)";
        if (got_line != want_line && ++differing <= 10)
            ADD_FAILURE() << file << " line " << line << "\n  committed: " << want_line
                          << "\n  now:       " << got_line;
    }
    EXPECT_FALSE(std::getline(got, got_line)) << "more lines than committed: " << got_line;
    EXPECT_EQ(differing, 0);
    return line;
}

}  // namespace test_support
