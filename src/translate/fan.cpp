// SPDX-License-Identifier: Apache-2.0
// Fan faults: availability (0Ah), redundancy (0Bh) and sensor-specific (6Fh) events of fan
// sensors (04h). What a record means depends on the running board: some boards confirm a fan
// error with the fan-control service first, and one board reports fan redundancy.
#include <algorithm>
#include <array>

#include "translate/translator.hpp"

using namespace diag;

namespace {

constexpr u8 kSensorSpecific = 0x6F;
// The redundancy board's redundancy sensor is no single fan: it is shown as fan 0.
constexpr u8 kRedundancySensorCode = 7;

struct FanBoard {
    u32 key;            // product board ID
    bool checkFanState; // report offsets 6 and 8 only when fan control confirms the error
    bool redundancy;    // report offsets 3, 4 and 5 (redundancy states)
};

// clang-format off
constexpr std::array<FanBoard, 8> kFanBoards{{
    // board        fan-state checked  redundancy
    {  board::k01030103,  true,              false },
    {  board::k01030303,  true,              false },
    {  board::k01031104,  true,              false },
    {  board::k01031304,  true,              false },
    {  board::k60010101,  true,              false },
    {  board::k60010201,  true,              false },
    {  board::k60010202,  true,              false },
    {  board::k01034301,  false,             true  },
}};
// clang-format on
static_assert(uniqueKeys(kFanBoards, &FanBoard::key), "one row per board");
constexpr FanBoard kOtherBoard{0, false, false};
static_assert(std::ranges::none_of(kFanBoards,
                                   [](const FanBoard &b) {
                                       return b.checkFanState && b.redundancy;
                                   }),
              "a board is in one group");

enum class FanRule : u8 {
    kFanError,   // asserts and clears a fan error, confirmed on the fan-state checked boards
    kRedundancy, // redundancy states: the redundancy board's alone
    kRemoval,    // a given level asserted, or, without one, the fan's whole entry cleared
};

struct FanOffset {
    u8 key;   // event offset
    u8 level; // when none is given
    u32 mask;
    FanRule rule;
};

// clang-format off
constexpr std::array<FanOffset, 6> kFanOffsets{{
    // offset  level  mask    rule
    {  0x08,   3,     0x100,  FanRule::kFanError },
    {  0x06,   1,     0x040,  FanRule::kFanError },
    {  0x00,   0,     0x000,  FanRule::kRemoval },    // mask 01h for sensor-specific assertions
    {  0x03,   3,     0x000,  FanRule::kRedundancy },
    {  0x04,   3,     0x000,  FanRule::kRedundancy },
    {  0x05,   3,     0x000,  FanRule::kRedundancy },
}};
// clang-format on
static_assert(uniqueKeys(kFanOffsets, &FanOffset::key), "one row per offset");
static_assert(std::ranges::all_of(kFanOffsets, [](const FanOffset &r) {
    return r.key < 0x10 && r.level <= 3 && (r.mask == 0 || r.mask == 1u << r.key);
}));

const FanBoard &fanBoard(u32 boardId)
{
    const FanBoard *board = findRow(kFanBoards, boardId);
    return board != nullptr ? *board : kOtherBoard;
}

// The fan-control service's view of fan `code` (counted from 1); it is asked about the fan
// counted from 0, so code 0 asks about fan 255.
bool fanInError(u8 code)
{
    dfc_fan_UpdateFanInstallState(); // fans may have been fitted or pulled since the last ask
    return DFC_ctl_CheckFanErrState(static_cast<u8>(code - 1)) != 0;
}

} // namespace

int DIAG_PANEL_TRANS_FanFault(const u8 *pucSel, DIAG_PANEL_MSG_S **ppstMsg, u8 *pucMsgNum,
                              u32 uiSelLevel)
{
    const u8 mapped = mapSelLevel(uiSelLevel);
    *ppstMsg = nullptr;
    *pucMsgNum = 0;
    const FanBoard &board = fanBoard(QMX_GetProductBoardID());
    const SelRecord sel(pucSel);
    const bool deassertion = sel.isDeassertion();
    const bool sensorSpecific = sel.eventType() == kSensorSpecific;
    const FanOffset *row = findRow(kFanOffsets, sel.offset());
    if (row == nullptr) {
        DIAG_LOG(kLogWarning, "Unknown FAN event offset: %#x", sel.offset());
        return -1;
    }
    u8 code = 0; // sensor-specific events name no fan
    if (!sensorSpecific) {
        const std::optional<u8> named = sensorCode(sel, DIAG_PANEL_FAULT_FAN);
        if (!named) {
            return -1; // it logged why
        }
        code = *named;
    }

    DIAG_PANEL_MSG_S msg{};
    msg.usFaultType = DIAG_PANEL_FAULT_FAN;
    msg.uiFaultMask = row->mask;
    u8 level = levelOr(mapped, row->level);
    switch (row->rule) {
    case FanRule::kFanError:
        if (board.checkFanState && !fanInError(code)) {
            return -1; // not confirmed: neither raised nor, once the fan recovered, cleared
        }
        break;
    case FanRule::kRedundancy:
        if (!board.redundancy) {
            return -1;
        }
        if (code == kRedundancySensorCode) {
            code = 0;
        }
        break;
    case FanRule::kRemoval:
        if (deassertion && !sensorSpecific) {
            return -1;
        }
        if (deassertion) {
            level = 0; // a clear of the whole entry, naming no level
        } else if (sensorSpecific) {
            msg.uiFaultMask = 1u << row->key;
        }
        break;
    }
    fillLevel(msg, level, deassertion);
    msg.ucIndex = DIAG_PANEL_TRANS_decToBcd(code);
    return handOver(msg, ppstMsg, pucMsgNum, "Failed to fill hash node of FAN Fault info");
}
