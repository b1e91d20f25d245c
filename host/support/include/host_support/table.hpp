// SPDX-License-Identifier: Apache-2.0
// The fault table as a program outside the library reads it, and the level field of a message.
#pragma once

#include <vector>

#include <diagpanel/diagpanel.h>

namespace host {

// One entry as the table holds it.
struct TableEntry {
    u32 bucket;
    DIAG_PANEL_MSG_S msg;
    u8 displayed;
};

// Every entry, bucket by bucket in chain order, read under g_HashMutex.
std::vector<TableEntry> tableSnapshot();

// The level of a message: bits 0-1 of ucLevelInfo for POST faults, bits 2-4 for the others.
constexpr u8 levelOf(const DIAG_PANEL_MSG_S &msg)
{
    return static_cast<u8>(msg.usFaultType == DIAG_PANEL_FAULT_POST
                               ? msg.ucLevelInfo & 0x03u
                               : (msg.ucLevelInfo >> 2) & 0x07u);
}

// The ucLevelInfo that carries `level` for a message of this fault type.
constexpr u8 levelInfo(u16 faultType, u8 level)
{
    return static_cast<u8>(faultType == DIAG_PANEL_FAULT_POST ? level & 0x03u
                                                              : (level & 0x07u) << 2);
}

} // namespace host
