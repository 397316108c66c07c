// Every log line names the file and line of the statement that writes it: the library writes its
// sited lines through MP_LOG only, one invocation per line, and no source keeps line numbers in
// constants (a site constant points at a declaration, and two of them may share a line).
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

namespace fs = std::filesystem;

TEST(LogSites, EveryStatementThatLogsASiteIsOneMpLogAloneOnItsLine) {
    int invocations = 0;
    for (const auto& entry : fs::recursive_directory_iterator(fs::path(MP_SOURCE_DIR) / "medium_physics")) {
        const auto ext = entry.path().extension();
        if (ext != ".h" && ext != ".cpp") continue;
        const bool is_log_header = entry.path().filename() == "mp_log.h";
        std::ifstream in(entry.path());
        int n = 0;
        for (std::string line; std::getline(in, line);) {
            ++n;
            const std::string at = entry.path().string() + ":" + std::to_string(n);
            const auto first = line.find("MP_LOG(");
            if (first != std::string::npos) {
                ++invocations;
                EXPECT_EQ(line.find("MP_LOG(", first + 1), std::string::npos) << at << ": two messages on one line";
            }
            if (!is_log_header) {
                EXPECT_EQ(line.find("__LINE__"), std::string::npos) << at << ": a line number outside a statement";
            }
        }
    }
    EXPECT_GT(invocations, 40);
}
