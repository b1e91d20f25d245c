// SPDX-License-Identifier: Apache-2.0
#include "host_support/intake.hpp"

#include <atomic>
#include <charconv>
#include <string>

#include <host_platform/diagpanel_host.h>
#include "host_support/frames.hpp"

namespace host {

namespace {

// markerLine() of a marker: this text, then the sequence in four hex digits.
constexpr std::string_view kMarkerPrefix = "Unknown event type: 0xd7a1";
constexpr std::size_t kSequenceDigits = 4;

} // namespace

u32 nextMarker()
{
    static std::atomic<u32> next{0};
    return kMarkerBase | (next.fetch_add(1, std::memory_order_relaxed) & ~kMarkerMask);
}

std::optional<u32> markerOf(std::string_view text)
{
    if (!text.starts_with(kMarkerPrefix) || text.size() != kMarkerPrefix.size() + kSequenceDigits) {
        return std::nullopt;
    }
    u32 sequence = 0;
    const char *digits = text.data() + kMarkerPrefix.size();
    const auto [end, error] = std::from_chars(digits, text.data() + text.size(), sequence, 16);
    if (error != std::errc{} || end != text.data() + text.size()) {
        return std::nullopt;
    }
    return kMarkerBase | sequence;
}

bool waitForLine(u32 from, std::string_view text, u32 timeoutMs)
{
    const std::string wanted(text);
    for (;;) {
        const int found = HOST_LogWait(from, wanted.c_str(), timeoutMs);
        if (found < 0) {
            return false;
        }
        HOST_LOG_LINE_S line{};
        if (HOST_LogGet(static_cast<u32>(found), &line) == 0 && wanted == line.acText) {
            return true;
        }
        from = static_cast<u32>(found) + 1; // a longer line that merely contains the text
    }
}

bool drainIntake(u32 timeoutMs)
{
    const u32 marker = nextMarker();
    const u32 from = HOST_LogCount();
    if (postEvent(marker) != 0) {
        return false;
    }
    return waitForLine(from, markerLine(marker), timeoutMs);
}

} // namespace host
