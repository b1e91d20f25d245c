// SPDX-License-Identifier: Apache-2.0
// Power capping: the OEM event (72h) that ends power capping. It only ever clears the one
// power-capping entry; nothing in the library asserts it.
#include "translate/translator.hpp"

using namespace diag;

namespace {

constexpr u8 kPowercapOffset = 0x08;
constexpr u8 kPowercapIndex = 1;

} // namespace

int DIAG_PANEL_TRANS_PowercapFault(const u8 *pucSel, DIAG_PANEL_MSG_S **ppstMsg, u8 *pucMsgNum, u32)
{
    *ppstMsg = nullptr;
    *pucMsgNum = 0;
    DIAG_PANEL_MSG_S msg{};
    msg.usFaultType = DIAG_PANEL_FAULT_POWERCAP;
    if (SelRecord(pucSel).offset() != kPowercapOffset) {
        return -1;
    }
    // Mask and level stay 0 whatever the direction and severity: the message is a clear.
    msg.ucIndex = kPowercapIndex;
    return handOver(msg, ppstMsg, pucMsgNum, "Failed to fill hash node of Powercap Fault info");
}
