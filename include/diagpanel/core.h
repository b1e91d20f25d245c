/* SPDX-License-Identifier: Apache-2.0 */
/**
 * @file
 * libDiagnosticPanel: start-up and the panel command interface.
 *
 * Threads and locks: the library's two mutexes are g_DisplayMutex and g_HashMutex, always taken
 * in that order; nothing sleeps or writes to the panel while holding either. The panel commands
 * take neither: each is one request to the platform's SGPIO driver, which serialises them.
 */
#pragma once

#include <diagpanel/types.h>

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Resets the panel, reads and logs its version, then starts the intake, the fault table and the
 * display.
 *
 * Call once, from the firmware's start-up thread, before any other function of the library; it
 * takes g_HashMutex and g_DisplayMutex in turn, never both.
 * @param uiHalHandle passed on to the platform's sensor-name queries.
 * @return 0, or -1 when the panel refused the reset or the version read (then nothing was
 *         started).
 */
int DIAG_PANEL_init(u32 uiHalHandle);

/**
 * Executes one panel command; a write shows the head in bytes 4-7 with a one-hot type bit.
 *
 * Any thread (the display thread writes through it every step); no lock.
 * @param pstCmd the command; a read stores the version word in its uiVersion.
 * @return 0 or -1.
 */
int DIAG_PANEL_CORE_commonIfc(DIAG_PANEL_CMD_S *pstCmd);

/**
 * As DIAG_PANEL_CORE_commonIfc, with the fault type written as a number in bits 14-29.
 *
 * Any thread; no lock.
 * @param pstCmd the command; a read stores the version word in its uiVersion.
 * @return 0 or -1.
 */
int DIAG_PANEL_CORE_commonIfc_ex(DIAG_PANEL_CMD_S *pstCmd);

/**
 * Sends the raw panel code 0, the panel's default display.
 *
 * Any thread; no lock.
 * @return 0 or -1.
 */
int DIAG_PANEL_CORE_restore_default(void);

/**
 * Reads the panel version after the board's presence checks.
 *
 * Any thread; no lock.
 * @param pstDiagPanelInfo receives the version.
 * @return 0, or -1 with the record untouched.
 */
int DIAG_PANEL_GET_version(DIAG_PANEL_INFO_S *pstDiagPanelInfo);

#ifdef __cplusplus
}
#endif
