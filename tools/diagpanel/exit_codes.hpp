// SPDX-License-Identifier: Apache-2.0
// What diagpanel's exit status says: the same for every command, so that a script can tell a
// bad input from a bad command line from an unreachable BMC whichever command it ran.
#pragma once

namespace diagpanel {

constexpr int kExitDone = 0;       // ran as asked
constexpr int kExitUnreadable = 1; // an input, record or code could not be read: told, skipped
constexpr int kExitUsage = 2;      // a bad command line, an unknown board, no password
constexpr int kExitNoBmc = 3;      // follow: the BMC could not be reached or logged in to at start

} // namespace diagpanel
