/* SPDX-License-Identifier: Apache-2.0 */
/**
 * @file
 * libDiagnosticPanel: the intake pipe, SEL routing and the PCIe slot numbering.
 */
#pragma once

#include <diagpanel/types.h>

#ifdef __cplusplus
extern "C" {
#endif

/** Four pairs (severity code, panel level): 1 -> 0, 2 -> 0, 3 -> 2, 4 -> 3. */
extern const u8 g_astDiagPanelSelLevel[8];

/** M.2 end slots: rows of (end slot number, first card position, last card position). */
extern u32 g_astV5R3M2DiagPanel_EndSlotNumTab[4][3];

/**
 * Selects the running board's tables, creates the pipe DIAG_PANEL_PIPE_PATH and starts the
 * intake thread; a running intake is torn down first.
 *
 * Start-up thread, never concurrently with DIAG_PANEL_TRANS_Deinit; takes no lock of the
 * library.
 * @param uiHalHandle kept for the platform's sensor-name queries.
 * @return 0 or -1.
 */
int DIAG_PANEL_TRANS_Init(u32 uiHalHandle);

/**
 * Stops the intake thread, closes and removes the pipe.
 *
 * Not from the intake thread itself, nor concurrently with DIAG_PANEL_TRANS_Init; waits for
 * writers already past the ready check under the intake's own queue lock.
 */
void DIAG_PANEL_TRANS_Deinit(void);

/**
 * Fills in the magic and both checksums of a frame and writes it to the pipe in one write.
 *
 * Any thread, any number at once: writers are serialised by the intake's queue lock and the
 * pipe's file lock, never g_HashMutex or g_DisplayMutex.
 * @param pstMsg the frame: its header and uiLen body bytes; it stays the caller's.
 * @return 0 or -1.
 */
int DIAG_PANEL_TRANS_postMessage(DIAG_PANEL_PIPE_MSG_S *pstMsg);

/**
 * Whether a record is routed to a translator, by its event type and sensor type.
 *
 * Any thread; no lock (constant tables).
 * @param stSel the record.
 * @return 1 when it is routed, else 0.
 */
u32 DIAG_PANEL_TRANS_filterValidSEL(DIAG_PANEL_SEL_S stSel);

/**
 * Rewrites a platform riser slot number (111, 112, 121, 122) into the slot number the panel
 * shows, in place; other numbers stay as they are.
 *
 * Any thread; no lock.
 * @param pucSlotNum the slot number, rewritten in place.
 */
void DIAG_PANEL_TRANS_V5r2Riser0SlotNum(u8 *pucSlotNum);

/**
 * As DIAG_PANEL_TRANS_V5r2Riser0SlotNum, with the riser slots 111 to 141 and the onboard slots
 * of another board family.
 *
 * Any thread; no lock.
 * @param pucSlotNum the slot number, rewritten in place.
 */
void DIAG_PANEL_TRANS_V8R1RiserSlotNum(u8 *pucSlotNum);

/**
 * As DIAG_PANEL_TRANS_V5r2Riser0SlotNum, with the riser slots 111 to 141 and slot 11 of another
 * board family.
 *
 * Any thread; no lock.
 * @param pucSlotNum the slot number, rewritten in place.
 */
void DIAG_PANEL_TRANS_V5R3RiserSlotNum(u8 *pucSlotNum);

/**
 * Rewrites an M.2 end slot number of g_astV5R3M2DiagPanel_EndSlotNumTab into the first card
 * position of its range that the platform's PCIe card table marks as an M.2 card, in place.
 *
 * Any thread; no lock (the platform's PCIe card table is read as it stands).
 * @param pucSlotNum the slot number, rewritten in place.
 */
void DIAG_PANEL_TRANS_V5r3M2SlotNum(u8 *pucSlotNum);

#ifdef __cplusplus
}
#endif
