// Board logic faults: register values reported by module/board sensors.
#include "translate/translator.hpp"

// Not written yet: drops every record.
int DIAG_PANEL_TRANS_BoardFault(const u8 *, DIAG_PANEL_MSG_S **ppstMsg, u8 *pucMsgNum, u32)
{
    *ppstMsg = nullptr;
    *pucMsgNum = 0;
    return -1;
}
