// SPDX-License-Identifier: Apache-2.0
// Where a fault message keeps its level: bits 0-1 of ucLevelInfo for POST faults (type 8), bits
// 2-4 for every other type. Level 0 clears, 1..3 are severities, 4 means none was given.
#pragma once

#include <diagpanel/types.h>

namespace diag {

constexpr u8 kPostLevelMask = 0x03;
constexpr u8 kLevelShift = 2;
constexpr u8 kLevelMask = 0x07;

constexpr u8 levelOf(const DIAG_PANEL_MSG_S &msg)
{
    if (msg.usFaultType == DIAG_PANEL_FAULT_POST) {
        return msg.ucLevelInfo & kPostLevelMask;
    }
    return (msg.ucLevelInfo >> kLevelShift) & kLevelMask;
}

// Replaces the level bits of the message's own type and keeps the other bits of ucLevelInfo.
constexpr void setLevelOf(DIAG_PANEL_MSG_S &msg, u8 level)
{
    if (msg.usFaultType == DIAG_PANEL_FAULT_POST) {
        msg.ucLevelInfo =
            static_cast<u8>((msg.ucLevelInfo & ~kPostLevelMask) | (level & kPostLevelMask));
    } else {
        const u8 field = kLevelMask << kLevelShift;
        msg.ucLevelInfo =
            static_cast<u8>((msg.ucLevelInfo & ~field) | ((level & kLevelMask) << kLevelShift));
    }
}

} // namespace diag
