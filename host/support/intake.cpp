// SPDX-License-Identifier: Apache-2.0
#include "host_support/intake.hpp"

#include <atomic>
#include <string>

#include <host_platform/diagpanel_host.h>
#include "host_support/frames.hpp"

namespace host {

namespace {

// Marker event types: far above the last real event type, one per drain.
constexpr u32 kMarkerBase = 0xD7A10000;
constexpr std::string_view kMarkerPrefix = "Unknown event type: 0xd7a1";

} // namespace

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
    static std::atomic<u32> next{0};
    const u32 marker = kMarkerBase | (next++ & 0xFFFFu);
    const u32 from = HOST_LogCount();
    if (postEvent(marker) != 0) {
        return false;
    }
    return waitForLine(from, markerLine(marker), timeoutMs);
}

bool isDrainMarker(std::string_view text)
{
    return text.starts_with(kMarkerPrefix);
}

} // namespace host
