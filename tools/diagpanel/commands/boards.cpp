// SPDX-License-Identifier: Apache-2.0
// diagpanel boards: the supported product boards and the sizes of their sensor-name tables.
#include <cstdio>

#include "tools/diagpanel/commands/command.hpp"
#include "tools/diagpanel/exit_codes.hpp"
#include "tools/diagpanel/timeline.hpp"
#include <boards/catalogue.hpp>

namespace diagpanel {

namespace {

// The number of names a board has for a fault type, or 0.
unsigned names(const diag::BoardRow &board, u32 faultType)
{
    for (u32 row = 0; row < board.uiTableNum; ++row) {
        if (board.pstTables[row].uiFaultType == faultType) {
            return board.pstTables[row].uiNameNum;
        }
    }
    return 0;
}

int boards()
{
    printf("board        processor  power supply   fan  temperature   (sensor names)\n");
    for (const diag::BoardRow &b : diag::boardTable()) {
        printf("%s  %9u  %12u  %4u  %11u\n", hex32(b.uiBoardId).c_str(),
               names(b, DIAG_PANEL_FAULT_CPU), names(b, DIAG_PANEL_FAULT_PSU),
               names(b, DIAG_PANEL_FAULT_FAN), names(b, DIAG_PANEL_FAULT_TEMP));
    }
    return kExitDone;
}

} // namespace

Command boardsCommand(CLI::App &parent)
{
    CLI::App *app = parent.add_subcommand(
        "boards", "List the supported product boards and their sensor-name tables.");
    return {app, boards};
}

} // namespace diagpanel
