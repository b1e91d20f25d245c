// SPDX-License-Identifier: Apache-2.0
// Disk faults: sensor-specific events (6Fh) of drive slot sensors (0Dh). The disk is named by a
// code worked out from the platform's disk location and the board's backplanes.
#include "translate/translator.hpp"

#include <algorithm>
#include <array>

using namespace diag;

namespace {

// clang-format off
constexpr std::array<u8, 4> kDiskOffsets{
    0x00, // drive presence
    0x01, // drive fault
    0x05, // in critical array
    0x06, // in failed array
};
// clang-format on
constexpr u8 kDefaultLevel = 3;

constexpr size_t kBackplaneTypeByte = 2; // of a g_astBPCardInfo record
constexpr u8 kSlotsPerFrontBackplane = 8;
// The front backplanes are rows 0..2 of g_astBPCardInfo; a slot beyond them has no row to read.
constexpr u8 kFrontSlots = 24;
constexpr std::array<u8, 2> kNumberedFrontBackplanes{0x33, 0x34}; // cards that number by row
constexpr u8 kVariantB = 0x42; // 'B': the variant whose second group follows the first at 30

u8 backplaneType(size_t row)
{
    return g_astBPCardInfo[row][kBackplaneTypeByte];
}

// 8-bit arithmetic throughout: a code wraps modulo 256 (slot 0 less one is 255).
constexpr u8 wrap(int value)
{
    return static_cast<u8>(value);
}

// A front slot: the backplane that holds it decides whether it is numbered by backplane.
u8 frontBackplaneCode(u8 slot)
{
    if (slot >= kFrontSlots) {
        return slot;
    }
    const u8 t = static_cast<u8>(slot / kSlotsPerFrontBackplane + 1);
    const size_t row = t == 1 ? 0 : t == 3 ? 1 : t; // slots 8-15 sit on row 2, 16-23 on row 1
    if (std::ranges::find(kNumberedFrontBackplanes, backplaneType(row)) ==
        kNumberedFrontBackplanes.end()) {
        return slot;
    }
    return wrap(slot % kSlotsPerFrontBackplane + 10 * t);
}

struct RearOffset {
    u8 key; // type code of the first backplane
    u8 add;
};

// clang-format off
constexpr std::array<RearOffset, 7> kRearOffsets{{
    // first backplane type  rear slots start after
    {0x35, 19},
    {0x3C, 19},
    {0x3E, 19},
    {0x43, 19},
    {0x4F, 19},
    {0x36, 29},
    {0x44, 29},
}};
// clang-format on
static_assert(uniqueKeys(kRearOffsets, &RearOffset::key), "one row per backplane type");
constexpr u8 kRearOffsetOtherwise = 9;

u8 rearCode(u8 slot)
{
    const RearOffset *row = findRow(kRearOffsets, backplaneType(0));
    return wrap(slot + (row != nullptr ? row->add : kRearOffsetOtherwise));
}

// The location kind is 0 for a front-backplane disk.
bool isFront(const DISK_LOCATION_S &loc)
{
    return loc.uiLocationKind == 0;
}

u8 slotOrPrevious(const DISK_LOCATION_S &loc)
{
    return isFront(loc) ? loc.ucSlot : wrap(loc.ucSlot - 1);
}

u8 byBackplane(const DISK_LOCATION_S &loc)
{
    return isFront(loc) ? frontBackplaneCode(loc.ucSlot) : rearCode(loc.ucSlot);
}

u8 groupsOfThirty(const DISK_LOCATION_S &loc)
{
    const CARD_CFG_RECORD_S *card = g_stCurrentCardCfgInfo.pstCardCfg;
    if (loc.ucGroup == 2 && card != nullptr && card->ucVariant != kVariantB) {
        return wrap(loc.ucSlot + 10);
    }
    return wrap(loc.ucSlot + 30 * (loc.ucGroup - 1));
}

u8 groupsOfTen(const DISK_LOCATION_S &loc)
{
    return wrap(loc.ucSlot + 10 * (loc.ucGroup - 1));
}

u8 slotOrRearAfter29(const DISK_LOCATION_S &loc)
{
    return isFront(loc) ? loc.ucSlot : wrap(loc.ucSlot + 29);
}

struct BoardDiskRule {
    u32 boardId;
    u8 (*code)(const DISK_LOCATION_S &);
};

// clang-format off
constexpr std::array<BoardDiskRule, 9> kBoardDiskRules{{
    {board::k01030103, slotOrPrevious},
    {board::k01031104, slotOrPrevious},
    {board::k01030303, byBackplane},
    {board::k01031304, byBackplane},
    {board::k01032303, groupsOfThirty},
    {board::k01033304, groupsOfTen},
    {board::k01033305, groupsOfTen},
    {board::k01033306, groupsOfTen},
    {board::k01034301, slotOrRearAfter29},
}};
// clang-format on
static_assert(uniqueKeys(kBoardDiskRules, &BoardDiskRule::boardId), "one rule per board");

} // namespace

u8 DIAG_PANEL_GetHddFaultCode(u8 ucSensorNum)
{
    const u8 instance = g_astGetALLHDDSensor[ucSensorNum][0];
    DISK_LOCATION_S location{};
    if (MODULE_GetDiskLocationByInstance(instance, &location) != 0) {
        DIAG_LOG(kLogWarning, "%s get disk location failed by instance[%#x]!", __func__, instance);
        return 0;
    }
    const u32 boardId = QMX_GetProductBoardID();
    const auto rule = std::ranges::find(kBoardDiskRules, boardId, &BoardDiskRule::boardId);
    return rule != kBoardDiskRules.end() ? rule->code(location) : 0;
}

int DIAG_PANEL_TRANS_HddFault(const u8 *pucSel, DIAG_PANEL_MSG_S **ppstMsg, u8 *pucMsgNum,
                              u32 uiSelLevel)
{
    *ppstMsg = nullptr;
    *pucMsgNum = 0;
    const SelRecord sel(pucSel);
    // Asked first, so its warning shows even for a record rejected below.
    const u8 code = DIAG_PANEL_GetHddFaultCode(sel.sensorNumber());
    DIAG_PANEL_MSG_S msg{};
    msg.usFaultType = DIAG_PANEL_FAULT_DISK;
    fillLevel(msg, levelOr(mapSelLevel(uiSelLevel), kDefaultLevel), sel.isDeassertion());
    if (std::ranges::find(kDiskOffsets, sel.offset()) == kDiskOffsets.end()) {
        DIAG_LOG(kLogWarning, "Unknown HDD sel format: EvtData1=%#x", sel.eventData1());
        return -1;
    }
    msg.ucIndex = DIAG_PANEL_TRANS_decToBcd(code);
    msg.uiFaultMask = 1u << sel.offset();
    return handOver(msg, ppstMsg, pucMsgNum, "Failed to fill hash node of HDD Fault info");
}
