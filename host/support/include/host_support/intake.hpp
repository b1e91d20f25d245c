// SPDX-License-Identifier: Apache-2.0
// Waiting for the library's intake thread: for a log line, or until it has taken every frame
// posted before. Markers are how: display events of a type the dispatch refuses with one warning
// that names it, "Unknown event type: 0xd7a1....". Every program here uses these markers alone, so
// that a marker of one never passes for a record's warning in another's log.
#pragma once

#include <optional>
#include <string_view>

#include <diagpanel/types.h>

namespace host {

inline constexpr u32 kWaitMs = 10000;

// Marker event types: far above the last real event type, the low 16 bits a sequence.
inline constexpr u32 kMarkerBase = 0xD7A10000;
inline constexpr u32 kMarkerMask = 0xFFFF0000;

// The next marker type of this process: one sequence for every user, so that two markers in
// flight at once differ.
u32 nextMarker();

// The marker a log text is the line of; none for every other text.
std::optional<u32> markerOf(std::string_view text);

// Waits until exactly this text (not merely a line containing it) is logged at or after line
// `from`; false on timeout.
bool waitForLine(u32 from, std::string_view text, u32 timeoutMs = kWaitMs);

// Posts a marker and waits for its line: the intake reaches it only after every frame posted
// before. False if the marker could not be posted or did not arrive in time.
bool drainIntake(u32 timeoutMs = kWaitMs);

// Whether a log text is a marker's line, for programs that show the log.
inline bool isDrainMarker(std::string_view text)
{
    return markerOf(text).has_value();
}

} // namespace host
