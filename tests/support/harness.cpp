// SPDX-License-Identifier: Apache-2.0
#include "tests/support/harness.hpp"

#include <algorithm>
#include <filesystem>

namespace test {

std::vector<LogLine> LogCursor::lines() const
{
    std::vector<LogLine> out;
    for (u32 i = from_; i < HOST_LogCount(); ++i) {
        HOST_LOG_LINE_S line{};
        if (HOST_LogGet(i, &line) == 0) {
            out.push_back({line.uiLevel, line.acFile, line.acText});
        }
    }
    return out;
}

std::vector<std::string> LogCursor::texts() const
{
    std::vector<std::string> out;
    for (const LogLine &line : lines()) {
        out.push_back(line.text);
    }
    return out;
}

bool LogCursor::contains(const std::string &text) const
{
    return std::ranges::any_of(
        lines(), [&](const LogLine &line) { return line.text.find(text) != std::string::npos; });
}

std::vector<u32> PanelCursor::codes() const
{
    std::vector<u32> out;
    for (u32 i = from_; i < HOST_PanelCount(); ++i) {
        out.push_back(HOST_PanelCode(i));
    }
    return out;
}

std::vector<std::string> CallCursor::calls() const
{
    std::vector<std::string> out;
    for (u32 i = from_; i < HOST_CallCount(); ++i) {
        char line[200];
        if (HOST_CallGet(i, line, sizeof line) == 0) {
            out.emplace_back(line);
        }
    }
    return out;
}

namespace {
int countEntries(const char *directory) // less "." and ".."
{
    const std::filesystem::directory_iterator entries(directory);
    return static_cast<int>(std::distance(begin(entries), end(entries)));
}
} // namespace

int threadCount()
{
    return countEntries("/proc/self/task");
}

int openFileCount()
{
    return countEntries("/proc/self/fd") - 1; // less the one listing them
}

DIAG_PANEL_MSG_S message(u16 type, u8 index, u8 levelInfo, u32 mask, u8 faultLevel)
{
    return {levelInfo, index, type, mask, faultLevel, 0, 0, 0, {}};
}

} // namespace test
