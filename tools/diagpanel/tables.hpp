// SPDX-License-Identifier: Apache-2.0
// diagpanel tables: what the library makes of every record and platform answer that one of its
// constant tables decides, board by board, found by putting records through the real library.
#pragma once

#include <cstdio>
#include <optional>

#include <diagpanel/types.h>

namespace diagpanel {

// Prints the listing of every board, or of one, to `out`. Returns 0, or 1 when the library could
// not be started.
int printTables(std::FILE *out, std::optional<u32> board);

} // namespace diagpanel
