// The site a library log line names ("...: medium_physics/gas/c_gas_mixture.h(123): ..."), and
// whether it points at the statement that writes the line: an MP_LOG invocation on that line of
// that source file.
#pragma once

#include <gtest/gtest.h>

#include <fstream>
#include <regex>
#include <string>

namespace test_support {

struct log_site {
    std::string file;  // from the library folder on: "medium_physics/gas/c_gas_mixture.h"
    int line = 0;
};

inline bool site_of(const std::string& text, log_site& out) {
    static const std::regex re(R"((medium_physics/[A-Za-z0-9_/]+\.(?:h|cpp))\((\d+)\))");
    std::smatch m;
    if (!std::regex_search(text, m, re)) return false;
    out.file = m[1];
    out.line = std::stoi(m[2]);
    return true;
}

// Success when the line names a site in `file` and that line of the source holds an MP_LOG.
inline ::testing::AssertionResult written_by_statement_in(const std::string& text, const std::string& file) {
    log_site s;
    if (!site_of(text, s)) return ::testing::AssertionFailure() << "no site in: " << text;
    if (s.file != file) return ::testing::AssertionFailure() << "site " << s.file << ", not " << file << ": " << text;
    std::ifstream in(std::string(MP_SOURCE_DIR) + "/" + s.file);
    std::string source;
    for (int n = 0; n < s.line && std::getline(in, source); ++n) {}
    if (source.find("MP_LOG(") == std::string::npos)
        return ::testing::AssertionFailure() << s.file << "(" << s.line << ") is not an MP_LOG statement: " << source;
    return ::testing::AssertionSuccess();
}

}  // namespace test_support
