// SPDX-License-Identifier: Apache-2.0
#include "tools/diagpanel/timeline/words.hpp"

#include <algorithm>
#include <charconv>
#include <chrono>

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

namespace {

// `value` in decimal, zero-padded to `width` digits: what every time of the timeline is made of,
// a line or more a record, so without the C library's formatting.
void appendNumber(std::string &out, int64_t value, int width)
{
    char digits[24];
    const auto [end, error] = std::to_chars(digits, digits + sizeof digits, value);
    const auto count = static_cast<int>(end - digits);
    out.append(static_cast<std::size_t>(std::max(width - count, 0)), '0');
    out.append(digits, end);
}

void appendTimeOfDay(std::string &out, int64_t hours, int64_t minutes, int64_t seconds,
                     int hoursWidth)
{
    appendNumber(out, hours, hoursWidth);
    out += ':';
    appendNumber(out, minutes, 2);
    out += ':';
    appendNumber(out, seconds, 2);
}

} // namespace

std::string clock(uint64_t seconds)
{
    std::string out;
    const auto days = static_cast<int64_t>(seconds / 86400);
    if (days > 0) {
        appendNumber(out, days, 1);
        out += "d ";
    }
    const auto s = static_cast<int64_t>(seconds % 86400);
    appendTimeOfDay(out, s / 3600, s / 60 % 60, s % 60, days > 0 ? 2 : 1);
    return out;
}

std::string calendar(int64_t seconds)
{
    using namespace std::chrono;
    const sys_seconds at{std::chrono::seconds{seconds}};
    const sys_days day = floor<days>(at);
    const year_month_day date{day};
    const int64_t s = (at - day).count();
    std::string out;
    appendNumber(out, static_cast<int>(date.year()), 4);
    out += '-';
    appendNumber(out, static_cast<unsigned>(date.month()), 2);
    out += '-';
    appendNumber(out, static_cast<unsigned>(date.day()), 2);
    out += ' ';
    appendTimeOfDay(out, s / 3600, s / 60 % 60, s % 60, 2);
    return out;
}

std::string faultWords(const DIAG_PANEL_MSG_S &msg)
{
    char text[64];
    snprintf(text, sizeof text, ": mask 0x%08x, level %u", msg.uiFaultMask,
             static_cast<unsigned>(host::levelOf(msg)));
    return tools::componentWords(msg.usFaultType, msg.ucIndex) + text;
}

} // namespace diagpanel
