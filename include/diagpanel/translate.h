/* SPDX-License-Identifier: Apache-2.0 */
/* libDiagnosticPanel: the intake pipe, SEL routing and the PCIe slot numbering. */
#pragma once

#include <diagpanel/types.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Four pairs (severity code, panel level): 1 -> 0, 2 -> 0, 3 -> 2, 4 -> 3. */
extern const u8 g_astDiagPanelSelLevel[8];

/* M.2 end slots: rows of (end slot number, first card position, last card position). */
extern u32 g_astV5R3M2DiagPanel_EndSlotNumTab[4][3];

/* Selects the running board's tables, creates the pipe DIAG_PANEL_PIPE_PATH and starts the
 * intake thread; a running intake is torn down first. Returns 0 or -1. Start-up thread, never
 * concurrently with DIAG_PANEL_TRANS_Deinit; takes no lock of the library. */
int DIAG_PANEL_TRANS_Init(u32 uiHalHandle);

/* Stops the intake thread, closes and removes the pipe. Not from the intake thread itself, nor
 * concurrently with DIAG_PANEL_TRANS_Init; waits for writers already past the ready check under
 * the intake's own queue lock. */
void DIAG_PANEL_TRANS_Deinit(void);

/* Fills in the magic and both checksums of *pstMsg (header and uiLen body bytes) and writes the
 * frame to the pipe in one write. Returns 0 or -1. Any thread, any number at once: writers are
 * serialised by the intake's queue lock and the pipe's file lock, never g_HashMutex or
 * g_DisplayMutex. */
int DIAG_PANEL_TRANS_postMessage(DIAG_PANEL_PIPE_MSG_S *pstMsg);

/* Returns 1 when the record's event type and sensor type are routed to a translator, else 0.
 * Any thread; no lock (constant tables). */
u32 DIAG_PANEL_TRANS_filterValidSEL(DIAG_PANEL_SEL_S stSel);

/* Rewrite a platform slot number into the slot number the panel shows, in place. Any thread; no
 * lock (the platform's PCIe card table is read as it stands). */
void DIAG_PANEL_TRANS_V5r2Riser0SlotNum(u8 *pucSlotNum);
void DIAG_PANEL_TRANS_V8R1RiserSlotNum(u8 *pucSlotNum);
void DIAG_PANEL_TRANS_V5R3RiserSlotNum(u8 *pucSlotNum);
void DIAG_PANEL_TRANS_V5r3M2SlotNum(u8 *pucSlotNum);

#ifdef __cplusplus
}
#endif
