// SPDX-License-Identifier: Apache-2.0
// PCIe faults: sensor-specific events (6Fh) of critical-interrupt (13h) and slot/connector (21h)
// sensors. The slot travels in event data 2 in the platform's numbering; three board families
// renumber it for the panel, the others report an error of the RAID controller's slot as a RAID
// fault.
#include <algorithm>
#include <array>

#include "translate/translator.hpp"

using namespace diag;

namespace {

// clang-format off
constexpr std::array<OffsetLevel, 6> kPcieOffsets{{
    // offset  level when none is given  IPMI critical-interrupt event
    {  0x00,   2 },                   // front panel NMI / diagnostic interrupt
    {  0x04,   3 },                   // PCI PERR
    {  0x05,   3 },                   // PCI SERR
    {  0x07,   2 },                   // bus correctable error
    {  0x08,   3 },                   // bus uncorrectable error
    {  0x0A,   3 },                   // bus fatal error
}};
// clang-format on
static_assert(uniqueKeys(kPcieOffsets, &OffsetLevel::key), "one row per offset");

// A RAID fault keeps the PCIe bits three places up, clear of the RAID card's own bits.
constexpr u8 kRaidMaskShift = 3;
static_assert(std::ranges::all_of(kPcieOffsets, [](const OffsetLevel &r) {
    return r.key + kRaidMaskShift < 32 && r.level <= 3;
}));

// The platform's "no slot".
constexpr u32 kNoSlot = 0xFF;

using RenumberFn = void (*)(u8 *pucSlotNum);

struct RenumberedBoard {
    u32 key;                         // product board ID
    std::array<RenumberFn, 2> steps; // applied in order; null: no further step
};

// clang-format off
constexpr std::array<RenumberedBoard, 4> kRenumberedBoards{{
    {  board::k01032303, {DIAG_PANEL_TRANS_V5r2Riser0SlotNum, nullptr} },
    {  board::k01033304, {DIAG_PANEL_TRANS_V8R1RiserSlotNum,  nullptr} },
    {  board::k01033305, {DIAG_PANEL_TRANS_V8R1RiserSlotNum,  nullptr} },
    {  board::k01034301, {DIAG_PANEL_TRANS_V5R3RiserSlotNum,  DIAG_PANEL_TRANS_V5r3M2SlotNum} },
}};
// clang-format on
static_assert(uniqueKeys(kRenumberedBoards, &RenumberedBoard::key), "one row per board");

} // namespace

int DIAG_PANEL_TRANS_PcieFault(const u8 *pucSel, DIAG_PANEL_MSG_S **ppstMsg, u8 *pucMsgNum,
                               u32 uiSelLevel)
{
    const u32 boardId = QMX_GetProductBoardID();
    *ppstMsg = nullptr;
    *pucMsgNum = 0;
    const u8 mapped = mapSelLevel(uiSelLevel);
    const SelRecord sel(pucSel);
    const OffsetLevel *row = findRow(kPcieOffsets, sel.offset());
    if (row == nullptr) {
        return -1;
    }
    if (!sel.oemData2()) {
        DIAG_LOG(kLogWarning, "Unknown PCIE sel format: EvtData1=%#x", sel.eventData1());
        return -1; // event data 2 holds no slot
    }
    u8 slot = sel.eventData2();
    DIAG_PANEL_MSG_S msg{};
    msg.usFaultType = DIAG_PANEL_FAULT_PCIE;
    msg.uiFaultMask = 1u << row->key;
    if (const RenumberedBoard *board = findRow(kRenumberedBoards, boardId); board != nullptr) {
        for (const RenumberFn step : board->steps) {
            if (step != nullptr) {
                step(&slot);
            }
        }
    } else if (slot == g_uiPcieRaidSlotNum && slot != kNoSlot) {
        msg.usFaultType = DIAG_PANEL_FAULT_RAID;
        msg.uiFaultMask = 1u << (row->key + kRaidMaskShift);
    }
    fillLevel(msg, levelOr(mapped, row->level), sel.isDeassertion());
    msg.ucIndex = DIAG_PANEL_TRANS_decToBcd(slot);
    return handOver(msg, ppstMsg, pucMsgNum, "Failed to fill hash node of PCIE Fault info");
}
