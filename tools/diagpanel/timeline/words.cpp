// SPDX-License-Identifier: Apache-2.0
#include "tools/diagpanel/timeline/words.hpp"

#include <ctime>

#include "host_support/table.hpp"

namespace diagpanel {

std::string hexBytes(std::span<const u8> bytes)
{
    static constexpr char kDigits[] = "0123456789abcdef";
    std::string text;
    for (const u8 byte : bytes) {
        text += kDigits[byte >> 4];
        text += kDigits[byte & 0xF];
    }
    return text;
}

std::string hex32(u32 value)
{
    char text[12];
    snprintf(text, sizeof text, "0x%08x", value);
    return text;
}

std::string codeWords(u32 code)
{
    return tools::decodePanelCode(code).words;
}

std::string cycleWords(const std::vector<u32> &cycle)
{
    std::string out;
    for (const u32 code : cycle) {
        out += (out.empty() ? "" : " | ") + codeWords(code);
    }
    return out;
}

std::string changeWords(const Event &e)
{
    switch (e.change) {
    case '+':
        return "+ " + faultWords(e.msg);
    case '-':
        return "- " + tools::componentWords(e.msg.usFaultType, e.msg.ucIndex) + " cleared";
    default:
        return "~ " + faultWords(e.msg) + " (was " +
               faultWords(e.was).substr(faultWords(e.was).find(':') + 2) + ")";
    }
}

std::string clock(uint64_t seconds)
{
    char text[40];
    const auto days = static_cast<unsigned long long>(seconds / 86400);
    const auto h = static_cast<unsigned>(seconds / 3600 % 24);
    const auto m = static_cast<unsigned>(seconds / 60 % 60);
    const auto s = static_cast<unsigned>(seconds % 60);
    if (days > 0) {
        snprintf(text, sizeof text, "%llud %02u:%02u:%02u", days, h, m, s);
    } else {
        snprintf(text, sizeof text, "%u:%02u:%02u", h, m, s);
    }
    return text;
}

std::string calendar(int64_t seconds)
{
    const auto t = static_cast<time_t>(seconds);
    tm utc{};
    gmtime_r(&t, &utc);
    char text[32];
    strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &utc);
    return text;
}

std::string faultWords(const DIAG_PANEL_MSG_S &msg)
{
    char text[64];
    snprintf(text, sizeof text, ": mask 0x%08x, level %u", msg.uiFaultMask,
             static_cast<unsigned>(host::levelOf(msg)));
    return tools::componentWords(msg.usFaultType, msg.ucIndex) + text;
}

} // namespace diagpanel
