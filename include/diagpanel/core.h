/* libDiagnosticPanel: start-up and the panel command interface. */
#pragma once

#include <diagpanel/types.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Resets the panel, reads and logs its version, then starts the intake, the fault table and the
 * display. uiHalHandle is passed on to the platform's sensor-name queries. Returns 0, or -1 when
 * the panel refused the reset or the version read (then nothing was started). */
int DIAG_PANEL_init(u32 uiHalHandle);

/* Executes one panel command; a write shows the head in bytes 4-7 with a one-hot type bit.
 * Returns 0 or -1. */
int DIAG_PANEL_CORE_commonIfc(DIAG_PANEL_CMD_S *pstCmd);

/* As DIAG_PANEL_CORE_commonIfc, with the fault type written as a number in bits 14-29. */
int DIAG_PANEL_CORE_commonIfc_ex(DIAG_PANEL_CMD_S *pstCmd);

/* Sends the raw panel code 0, the panel's default display. Returns 0 or -1. */
int DIAG_PANEL_CORE_restore_default(void);

/* Reads the panel version into *pstDiagPanelInfo after the board's presence checks. Returns 0,
 * or -1 with the record untouched. */
int DIAG_PANEL_GET_version(DIAG_PANEL_INFO_S *pstDiagPanelInfo);

#ifdef __cplusplus
}
#endif
