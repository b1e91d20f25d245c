// SPDX-License-Identifier: Apache-2.0
// POST faults: sensor-specific events (6Fh) of watchdog 2 sensors (23h). When the BIOS FRB2 timer
// expires, the POST code the host wrote last is shown as a POST error and stored as a fault.
#include "translate/translator.hpp"

#include <diagpanel/display.h>

using namespace diag;

namespace {

constexpr u8 kExtensionCode = 0xC0; // event data 1 bits 7-6: event data 2 holds an extension code
constexpr u8 kTimerUseFrb2 = 0x01;  // event data 2 bits 3-0: timer use at expiration
constexpr u8 kPostLevel = 2;        // whatever the frame's severity
constexpr u32 kCodeBufferLen = 256;
constexpr u8 kNoCode = 0xFF;

struct PostCode {
    u32 count; // code bytes read, 0 when the read failed
    u8 code;
};

PostCode readLastPostCode()
{
    u8 codes[kCodeBufferLen] = {};
    SNOOP_BIOS_CODE_REQ_S request{};
    request.pucCodeBuf = codes;
    request.uiBufSize = kCodeBufferLen;
    const int stored = snoop_read_current_bios_code(&request);
    // More than the buffer holds breaks the call's promise as much as none does: no code is known.
    if (stored <= 0 || static_cast<u32>(stored) > kCodeBufferLen) {
        DIAG_LOG_AT(kLogWarning, "[%s.%u]Read current bios code failed!\n");
        DIAG_LOG(kLogWarning, "Failed to get BIOS Code while in Diagpanel module!");
        return {0, kNoCode};
    }
    return {static_cast<u32>(stored), codes[stored - 1]};
}

} // namespace

int DIAG_PANEL_TRANS_PostFault(const u8 *pucSel, DIAG_PANEL_MSG_S **ppstMsg, u8 *pucMsgNum, u32)
{
    *ppstMsg = nullptr;
    *pucMsgNum = 0;
    const SelRecord sel(pucSel);
    DIAG_PANEL_MSG_S msg{};
    msg.usFaultType = DIAG_PANEL_FAULT_POST;
    if ((sel.eventData2() & 0x0Fu) != kTimerUseFrb2 ||
        (sel.eventData1() & 0xC0u) != kExtensionCode) {
        return -1; // only an FRB2 expiry stops POST
    }
    fillLevel(msg, kPostLevel, sel.isDeassertion());
    if (!sel.isDeassertion()) {
        const PostCode last = readLastPostCode();
        msg.ucIndex = last.code;
        // Before the message is stored: the panel shows the error even if storing it fails.
        (void)DIAG_PANEL_DISP_trigPostErrState(last.count, last.code);
    }
    return handOver(msg, ppstMsg, pucMsgNum, "Failed to fill hash node of POST Fault info");
}
