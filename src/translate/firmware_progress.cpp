// SPDX-License-Identifier: Apache-2.0
// Processor faults from system firmware progress sensors (0Fh, sensor-specific 6Fh): one OEM form
// of the firmware-progress event reports a failed processor.
#include "translate/translator.hpp"

#include <cstdio>

using namespace diag;

namespace {

constexpr u8 kOffset = 0x0D;  // the only firmware-progress offset the panel shows
constexpr u8 kOemCode = 0x03; // event data 2 bits 3-0: a processor failure
constexpr u8 kDefaultLevel = 3;

} // namespace

int DIAG_PANEL_TRANS_CpuFault(const u8 *pucSel, DIAG_PANEL_MSG_S **ppstMsg, u8 *pucMsgNum,
                              u32 uiSelLevel)
{
    *ppstMsg = nullptr;
    *pucMsgNum = 0;
    const SelRecord sel(pucSel);
    if (sel.offset() != kOffset) {
        return -1;
    }
    DIAG_PANEL_MSG_S msg{};
    msg.usFaultType = DIAG_PANEL_FAULT_CPU;
    fillLevel(msg, levelOr(mapSelLevel(uiSelLevel), kDefaultLevel), sel.isDeassertion());
    if ((sel.eventData2() & 0x0Fu) != kOemCode || !sel.oemData2()) {
        DIAG_LOG(kLogError, "Not Support SEL MSG");
        return -1;
    }
    msg.ucIndex = 0;
    msg.uiFaultMask = 1u << kOffset;
    if (DIAG_PANEL_TRANS_fillHashNode(&msg, ppstMsg, pucMsgNum) != 0) {
        // Also on standard output, where the firmware's console shows it.
        (void)fputs("[xxxxxx] Failed to fill hash node of CPU Fault info", stdout);
        (void)fflush(stdout);
        DIAG_LOG(kLogError, "Failed to fill hash node of CPU Fault info");
        return -1;
    }
    return 0;
}
