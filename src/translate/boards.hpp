// SPDX-License-Identifier: Apache-2.0
// The running board: its sensor-name tables, picked from the board catalogue at start-up.
#pragma once

#include <boards/catalogue.hpp>

namespace diag {

// Selects the running board's per-board table and builds the fault type map. Logs and returns
// false when the board is not supported.
bool selectRunningBoard();

// The running board's name table of faultType, or nullptr before a board was selected.
const NameTable *runningNameTable(u16 faultType);

} // namespace diag
