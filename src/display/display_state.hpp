// SPDX-License-Identifier: Apache-2.0
// The display's state, shared by the display thread and the events that steer it. Everything
// here is guarded by g_DisplayMutex, except the ready flag, which events read without it.
#pragma once

#include <diagpanel/types.h>

namespace diag {

enum DisplayState : u8 {
    DIAG_PANEL_DISP_STATE_FAULT = 0, // walking the fault table
    DIAG_PANEL_DISP_STATE_POST = 1,  // showing POST progress, or a POST error code
};

struct DisplayCtrl {
    u8 ucReady;     // 1 once the display thread exists; accessed atomically
    u8 ucState;     // DisplayState
    u8 ucPrevState; // the state the last event found
};

// What the POST state shows. The opening shows progress for two steps; an error code raised
// meanwhile waits for it to end (and restarts its count). The error code then shows for two steps,
// after which the display returns to the faults. Otherwise progress shows for as long as POST
// lasts.
enum class PostPhase : u8 {
    kOpening,
    kOpeningErrorWaits,
    kError,
    kProgress,
};

// The phase once a POST error code is raised.
constexpr PostPhase onErrorRaised(PostPhase phase)
{
    return phase == PostPhase::kOpening || phase == PostPhase::kOpeningErrorWaits
               ? PostPhase::kOpeningErrorWaits
               : PostPhase::kError;
}

// The phase once the opening's two steps are shown.
constexpr PostPhase onOpeningShown(PostPhase phase)
{
    return phase == PostPhase::kOpeningErrorWaits ? PostPhase::kError : PostPhase::kProgress;
}

struct PostDisplay {
    PostPhase phase;
    u8 ucPercent;  // progress as two BCD digits
    u8 ucErrCode;  // the POST error code, once one was raised
    u32 uiElapsed; // seconds in the current phase
};

struct FaultWalk {
    u8 ucRestart;                        // 1: clear every display mark at the next fault step
    u8 ucPostEnd;                        // 1: show the POST-end code before walking
    u8 ucListIdx;                        // the bucket the walk is in
    u32 uiPostEndElapsed;                // 0 before the POST-end code was first shown, then 4
    const DIAG_PANEL_NODE_S *pstCurNode; // the entry shown last, or NULL; never followed
};

extern DisplayCtrl g_stDispCtrl;
extern PostDisplay g_stPostDisp;
extern FaultWalk g_stFaultWalk;

inline bool displayReady()
{
    return __atomic_load_n(&g_stDispCtrl.ucReady, __ATOMIC_ACQUIRE) == 1;
}

} // namespace diag

void DIAG_PANEL_DISP_ResetPost();
void DIAG_PANEL_DISP_ResetWalk();
void DIAG_PANEL_DISP_ClearListMark(u32 uiIndex);
