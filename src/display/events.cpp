// SPDX-License-Identifier: Apache-2.0
// Display events: POST start, end, progress and stop switch the display between the fault walk
// and the POST display; the POST translator's trigger queues a POST error code.
#include <diagpanel/display.h>

#include <diagpanel/hashtable.h>

#include "common/export.hpp"
#include "common/log.hpp"
#include "common/scoped_lock.hpp"
#include "display/display_state.hpp"

using namespace diag;

// POST re-detects these fault types, so POST start drops them.
// extern: const data keeps the visibility attribute.
extern DIAG_PANEL_API const u32 g_auiNodeClearTbl[7] = {
    DIAG_PANEL_FAULT_CPU,      DIAG_PANEL_FAULT_MEMORY, DIAG_PANEL_FAULT_PCIE,
    DIAG_PANEL_FAULT_BOARD,    DIAG_PANEL_FAULT_POST,   DIAG_PANEL_FAULT_POWERCAP,
    DIAG_PANEL_FAULT_BOARD_EX,
};

namespace {

constexpr char kLogUnit[] = "DiagPanel_DisplayTask";
constexpr u32 kLastEventType = 4; // 4 passes the range check and is then refused as unknown
constexpr u8 kMaxPercent = 0x99;

void onPostStart()
{
    DIAG_LOG(kLogInfo, "[%s]Post start event receive!", kLogUnit);
    (void)DIAG_PANEL_PartHashTableClear(); // before, and outside, the display lock
    DIAG_SCOPED_LOCK(g_DisplayMutex);
    g_stDispCtrl.ucPrevState = g_stDispCtrl.ucState;
    g_stDispCtrl.ucState = DIAG_PANEL_DISP_STATE_POST;
    DIAG_PANEL_DISP_ResetPost();
}

void onPostEnd()
{
    DIAG_LOG(kLogInfo, "[%s]Post end event receive!", kLogUnit);
    DIAG_SCOPED_LOCK(g_DisplayMutex);
    const u8 state = g_stDispCtrl.ucState;
    g_stDispCtrl.ucPrevState = state;
    g_stDispCtrl.ucState = DIAG_PANEL_DISP_STATE_FAULT;
    if (state == DIAG_PANEL_DISP_STATE_POST) {
        DIAG_PANEL_DISP_ResetWalk();
        g_stFaultWalk.ucPostEnd = 1;
    }
}

// Progress and stop look at the state the previous event found, not at the current one.
void onPostProgress(u8 percent)
{
    DIAG_SCOPED_LOCK(g_DisplayMutex);
    if (g_stDispCtrl.ucPrevState != DIAG_PANEL_DISP_STATE_POST) {
        DIAG_PANEL_DISP_ResetPost();
    }
    g_stPostDisp.ucPercent = percent;
    g_stDispCtrl.ucPrevState = g_stDispCtrl.ucState;
    g_stDispCtrl.ucState = DIAG_PANEL_DISP_STATE_POST;
}

void onPostStop()
{
    DIAG_SCOPED_LOCK(g_DisplayMutex);
    if (g_stDispCtrl.ucPrevState != DIAG_PANEL_DISP_STATE_FAULT) {
        g_stDispCtrl.ucPrevState = g_stDispCtrl.ucState;
        g_stDispCtrl.ucState = DIAG_PANEL_DISP_STATE_FAULT;
        DIAG_PANEL_DISP_ResetWalk();
    }
}

} // namespace

DIAG_PANEL_API int DIAG_PANEL_EventRecv(DIAG_PANEL_DISP_EVENT_S *pstEvent)
{
    if (pstEvent == nullptr) {
        DIAG_LOG_AT(kLogWarning, "[%s.%u]Point is NULL!\n");
        return DIAG_PANEL_ERR_NULL_PTR;
    }
    const u32 type = pstEvent->uiEventType;
    if (type > kLastEventType || pstEvent->ucPercent > kMaxPercent) {
        DIAG_LOG(kLogWarning, "Invalid event info, type: %d percentage: %x\n", type,
                 pstEvent->ucPercent);
        return -1;
    }
    if (!displayReady()) {
        DIAG_LOG(kLogWarning, "DiagPanel display task is not ready!");
        return 0;
    }
    switch (type) {
    case DIAG_PANEL_EVENT_POST_START:
        onPostStart();
        break;
    case DIAG_PANEL_EVENT_POST_END:
        onPostEnd();
        break;
    case DIAG_PANEL_EVENT_POST_PROGRESS:
        onPostProgress(pstEvent->ucPercent);
        break;
    case DIAG_PANEL_EVENT_POST_STOP:
        onPostStop();
        break;
    default:
        // Verbatim, misspelling included: see common/log.hpp.
        DIAG_LOG_AT(kLogWarning, "[%s.%u]Unknow event: %d\n", type);
        break;
    }
    return 0;
}

DIAG_PANEL_API int DIAG_PANEL_PartHashTableClear(void)
{
    int rc = 0;
    for (const u32 type : g_auiNodeClearTbl) {
        rc = DIAG_PANEL_LockFreeHashList(type); // each bucket is its own critical section
    }
    return rc;
}

DIAG_PANEL_API int DIAG_PANEL_DISP_trigPostErrState(u32 uiCount, u8 ucCode)
{
    (void)uiCount;
    DIAG_SCOPED_LOCK(g_DisplayMutex);
    g_stPostDisp.phase = onErrorRaised(g_stPostDisp.phase);
    g_stPostDisp.uiElapsed = 0;
    g_stPostDisp.ucErrCode = ucCode;
    return 0;
}
