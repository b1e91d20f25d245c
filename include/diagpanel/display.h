/* SPDX-License-Identifier: Apache-2.0 */
/**
 * @file
 * libDiagnosticPanel: the display thread, its display events and the POST error state.
 */
#pragma once

#include <pthread.h>

#include <diagpanel/types.h>

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Guards the display state; usable from load time on. Taken before g_HashMutex when both are
 * needed, and never held across a sleep or a panel write.
 */
extern pthread_mutex_t g_DisplayMutex;

/** Fault types whose entries the POST-start event drops: 0, 1, 3, 7, 8, 10, 11. */
extern const u32 g_auiNodeClearTbl[7];

/**
 * Resets the display state and starts the display thread (once; later calls only reset the
 * state).
 *
 * Start-up thread (DIAG_PANEL_init); takes g_DisplayMutex.
 * @param uiHalHandle not used.
 * @return 0, or -1 when the thread cannot be created.
 */
int DIAG_PANEL_DisplayInit(u32 uiHalHandle);

/**
 * The display thread's entry; never returns. Only DIAG_PANEL_DisplayInit starts it.
 * @param pArg not used.
 * @return never.
 */
void *DIAG_PANEL_DisplayTask(void *pArg);

/**
 * One display step, its panel write and its closing sleep; called by the display thread.
 *
 * Takes g_DisplayMutex, and g_HashMutex inside it for the fault walk; both are released before
 * the write and the sleep.
 * @return 0, or -1 when the step found nothing it could encode.
 */
int DIAG_PANEL_StateProcess(void);

/**
 * Takes one display event (POST start, end, progress, stop).
 *
 * Any thread (the intake thread posts them); POST start empties buckets under g_HashMutex first,
 * then every event takes g_DisplayMutex, never both at once.
 * @param pstEvent the event; it stays the caller's.
 * @return 0 when it was taken or dropped, -1 for an out-of-range type or percentage,
 *         DIAG_PANEL_ERR_NULL_PTR for NULL.
 */
int DIAG_PANEL_EventRecv(DIAG_PANEL_DISP_EVENT_S *pstEvent);

/**
 * Empties the buckets of the fault types of g_auiNodeClearTbl.
 *
 * Any thread not holding g_DisplayMutex; takes g_HashMutex once per bucket.
 * @return 0.
 */
int DIAG_PANEL_PartHashTableClear(void);

/**
 * Asks the display to show a POST error once the POST opening phase is over.
 *
 * Any thread (the intake thread's POST code translator); takes g_DisplayMutex.
 * @param uiCount the number of POST code bytes read; not used.
 * @param ucCode the POST error code to show.
 * @return 0.
 */
int DIAG_PANEL_DISP_trigPostErrState(u32 uiCount, u8 ucCode);

#ifdef __cplusplus
}
#endif
