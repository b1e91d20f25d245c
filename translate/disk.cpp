// Disk faults: sensor-specific events of drive slot sensors.
#include "translate/translator.hpp"

// Not written yet: drops every record.
int DIAG_PANEL_TRANS_HddFault(const u8 *, DIAG_PANEL_MSG_S **ppstMsg, u8 *pucMsgNum, u32)
{
    *ppstMsg = nullptr;
    *pucMsgNum = 0;
    return -1;
}
u8 DIAG_PANEL_GetHddFaultCode(u8) { return 0; }
