// SPDX-License-Identifier: Apache-2.0
// The panel slot numbers of the platform's riser and M.2 slot numbering. The platform numbers
// riser slots with three digits (riser, slot, position) and M.2 end slots from 208; the panel
// shows the slot as it is printed on the board.
#include <diagpanel/translate.h>

#include <algorithm>
#include <array>
#include <span>

#include "common/export.hpp"
#include "translate/translator.hpp"

using namespace diag;

// Rows of (end slot number, first card position, last card position): an M.2 end slot becomes
// the first marked card position of its range. Writable for the platform; only read here.
DIAG_PANEL_API u32 g_astV5R3M2DiagPanel_EndSlotNumTab[4][3] = {
    {208, 1, 3},
    {209, 1, 3},
    {218, 4, 6},
    {219, 4, 6},
};

namespace {

struct SlotRow {
    u32 key;   // the platform's slot number
    u32 panel; // the slot number the panel shows
};

// clang-format off
constexpr std::array<SlotRow, 4> kRiser0Slots{{
    {111, 1}, {112, 2}, {121, 3}, {122, 4},
}};
static_assert(uniqueKeys(kRiser0Slots, &SlotRow::key), "one row per slot");

// Searched in order; the onboard slots map to themselves so that a later row can never
// claim them.
constexpr std::array<SlotRow, 30> kV8R1RiserSlots{{
    {111, 1}, {121, 2}, {131, 3}, {141, 4},
    {11, 11}, {12, 12}, {13, 13}, {14, 14}, {15, 15}, {16, 16},
    {31, 31}, {32, 32}, {33, 33}, {34, 34}, {35, 35}, {36, 36},
    {41, 41}, {42, 42}, {43, 43}, {44, 44}, {45, 45}, {46, 46},
    {61, 61}, {62, 62}, {63, 63}, {64, 64}, {65, 65}, {66, 66},
    {25, 9},  {55, 9},
}};
static_assert(uniqueKeys(kV8R1RiserSlots, &SlotRow::key), "one row per slot");

constexpr std::array<SlotRow, 5> kV5R3RiserSlots{{
    {111, 1}, {121, 2}, {131, 3}, {141, 4}, {11, 11},
}};
// clang-format on
static_assert(uniqueKeys(kV5R3RiserSlots, &SlotRow::key), "one row per slot");

constexpr bool slotsFitAByte(std::span<const SlotRow> table)
{
    return std::ranges::all_of(table,
                               [](const SlotRow &r) { return r.key <= 0xFF && r.panel <= 0xFF; });
}
static_assert(slotsFitAByte(kRiser0Slots) && slotsFitAByte(kV8R1RiserSlots) &&
              slotsFitAByte(kV5R3RiserSlots));

// Card positions 1..11 may hold an M.2 end-slot card; byte 139 of its record marks it.
constexpr u32 kM2CardPositions = 11;
constexpr u8 kM2EndSlotMark = 0x81;

void renumber(u8 *pucSlotNum, std::span<const SlotRow> table, const char *nullText)
{
    if (pucSlotNum == nullptr) {
        DIAG_LOG(kLogNotice, "%s", nullText);
        return;
    }
    for (const SlotRow &row : table) {
        if (row.key == *pucSlotNum) {
            *pucSlotNum = static_cast<u8>(row.panel);
            return; // the first matching row wins
        }
    }
}

} // namespace

DIAG_PANEL_API void DIAG_PANEL_TRANS_V5r2Riser0SlotNum(u8 *pucSlotNum)
{
    renumber(pucSlotNum, kRiser0Slots, "DIAG_PANEL_TRANS_V5r2Riser0SlotNum Inpara is Null!");
}

DIAG_PANEL_API void DIAG_PANEL_TRANS_V8R1RiserSlotNum(u8 *pucSlotNum)
{
    renumber(pucSlotNum, kV8R1RiserSlots, "DIAG_PANEL_TRANS_V8R1RiserSlotNum Inpara is Null!");
}

DIAG_PANEL_API void DIAG_PANEL_TRANS_V5R3RiserSlotNum(u8 *pucSlotNum)
{
    renumber(pucSlotNum, kV5R3RiserSlots, "DIAG_PANEL_TRANS_V5R3RiserSlotNum Inpara is Null!");
}

DIAG_PANEL_API void DIAG_PANEL_TRANS_V5r3M2SlotNum(u8 *pucSlotNum)
{
    if (pucSlotNum == nullptr) {
        DIAG_LOG(kLogNotice, "%s", "DIAG_PANEL_TRANS_V5r3M2SlotNum Inpara is Null!");
        return;
    }
    const auto *row = std::ranges::find_if(g_astV5R3M2DiagPanel_EndSlotNumTab,
                                           [&](const u32(&r)[3]) { return r[0] == *pucSlotNum; });
    if (row == std::end(g_astV5R3M2DiagPanel_EndSlotNumTab)) {
        return; // not an M.2 end slot
    }
    const u32 first = (*row)[1];
    const u32 last = (*row)[2];
    for (u32 position = 1; position <= kM2CardPositions; ++position) {
        if (g_astAllPcieCardInfo[position - 1][PCIE_CARD_INFO_M2_MARK] == kM2EndSlotMark &&
            first <= position && position <= last) {
            *pucSlotNum = static_cast<u8>(position);
            return;
        }
    }
}
