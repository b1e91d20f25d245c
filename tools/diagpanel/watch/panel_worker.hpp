// SPDX-License-Identifier: Apache-2.0
// One BMC's panel in a process of its own. The library is one instance a process (its globals,
// its pipe, its threads), so a watcher runs one worker a BMC: this program again, as
// `diagpanel watch-worker`, spoken to over its standard input and output in lines.
//
// In (the watcher writes; panel_link.hpp):
//   {"board":N,"bmc":"host:port","names":{"18":"CPU0 Temp"}}  first, once: the library's setting
//   s <32 hex digits>        a record placed by its own timestamp: restored from the state dir, or
//                            in the SEL when following began
//   m                        the restored records end here
//   l                        the clock goes live: later records are placed when they were read
//   r <32 hex digits>        a record read now
//   n <news> <number> <text> what the follower noticed of the BMC (BmcNews as an integer)
// Out: the panel's timeline as JSON Lines (docs/json-lines.md), and {"kind":"restored"} and
// {"kind":"live"} after every line the inputs before `m` and `l` caused. Once live, the display
// runs in real time, and each code it comes to show is told at once as {"kind":"showing", and the
// fields of a panel line but schema, bmc and board}: the timeline tells a code only once the run
// of steps showing it ends.
// The worker ends at the end of its input.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "tools/diagpanel/follow/ipmi_client.hpp"

namespace diagpanel {

// The worker's main: the exit code of `diagpanel watch-worker`.
int runPanelWorker();

// The lines a watcher writes.
namespace worker_line {
constexpr char kRestored = 's';
constexpr char kRestoredEnd = 'm';
constexpr char kLive = 'l';
constexpr char kRead = 'r';
constexpr char kNote = 'n';
} // namespace worker_line

std::string recordLine(char kind, const SelEntry &record); // "s 0100..."
std::optional<SelEntry> parseRecord(std::string_view hex);

// The worker's own answers, never part of a timeline.
constexpr std::string_view kRestoredAnswer = "restored";
constexpr std::string_view kLiveAnswer = "live";
constexpr std::string_view kShowingAnswer = "showing";

} // namespace diagpanel
