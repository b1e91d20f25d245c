// SPDX-License-Identifier: Apache-2.0
// Waiting for the library's intake thread: for a log line, or until it has taken every frame
// posted before.
#pragma once

#include <string_view>

#include <diagpanel/types.h>

namespace host {

inline constexpr u32 kWaitMs = 10000;

// Waits until exactly this text (not merely a line containing it) is logged at or after line
// `from`; false on timeout.
bool waitForLine(u32 from, std::string_view text, u32 timeoutMs = kWaitMs);

// Posts a display event of a type the dispatch refuses with one log line, and waits for that line:
// the intake reaches it only after every frame posted before. False if the marker could not be
// posted or did not arrive in time.
bool drainIntake(u32 timeoutMs = kWaitMs);

// Whether a log text is the line a drain's marker leaves, for programs that show the log.
bool isDrainMarker(std::string_view text);

} // namespace host
