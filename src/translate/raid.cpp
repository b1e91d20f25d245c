// SPDX-License-Identifier: Apache-2.0
// RAID faults: add-in card sensors (17h), sensor-specific (6Fh) or severity (07h) events, naming
// the controller in event data 2.
#include "translate/translator.hpp"

using namespace diag;

namespace {

constexpr u8 kLastOffset = 0x02; // severity: to OK, to non-critical, to critical
constexpr u8 kDefaultLevel = 3;
constexpr u8 kNoController = 0xFF; // kept as is: 0xFF names no controller number

} // namespace

int DIAG_PANEL_TRANS_RaidFault(const u8 *pucSel, DIAG_PANEL_MSG_S **ppstMsg, u8 *pucMsgNum,
                               u32 uiSelLevel)
{
    *ppstMsg = nullptr;
    *pucMsgNum = 0;
    const SelRecord sel(pucSel);
    DIAG_PANEL_MSG_S msg{};
    msg.usFaultType = DIAG_PANEL_FAULT_RAID;
    fillLevel(msg, levelOr(mapSelLevel(uiSelLevel), kDefaultLevel), sel.isDeassertion());
    if (sel.offset() > kLastOffset) {
        return -1;
    }
    if (!sel.oemData2()) {
        DIAG_LOG(kLogWarning, "Unknown RAID sel format: EvtData1=%#x", sel.eventData1());
        return -1;
    }
    const u8 controller = sel.eventData2();
    msg.ucIndex =
        controller == kNoController ? kNoController : DIAG_PANEL_TRANS_decToBcd(controller);
    msg.uiFaultMask = 1u << sel.offset();
    return handOver(msg, ppstMsg, pucMsgNum, "Failed to fill hash node of RAID Fault info");
}
