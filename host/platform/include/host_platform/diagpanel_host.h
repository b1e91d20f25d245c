/* SPDX-License-Identifier: Apache-2.0 */
/* The host stand-in for the firmware's platform libraries: it defines every platform call and
 * datum that libDiagnosticPanel imports, with realistic defaults, and this control interface for
 * the programs that load it (tests, tools, benchmarks). The library knows nothing of it. */
#pragma once

#include <stddef.h>

#include <diagpanel/types.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Rows the stand-in provides in the platform's tables. */
#define HOST_HDD_SENSOR_ROWS 256 /* g_astGetALLHDDSensor: one row per sensor number */
#define HOST_BP_CARD_ROWS 8      /* g_astBPCardInfo */
#define HOST_PCIE_CARD_ROWS 16   /* g_astAllPcieCardInfo */

/* Back to the defaults: board 0x01030103, a working driver with version word 0x00A01234, a fitted
 * panel, no sensor names, no disks, no POST codes, fans without error, working file locks, the
 * platform tables zeroed, and empty journals. The log echo setting is kept. */
void HOST_Reset(void);

/* ---- Log ---- */
typedef struct {
    u32 uiLevel;
    u32 uiLine;
    char acFile[32];
    char acText[480]; /* formatted, without the trailing line end */
} HOST_LOG_LINE_S;

/* Echo every line as "<level> <file>:<line> <text>" to stderr (default) or not at all. */
void HOST_LogEcho(int iOn);
/* Also append every line, in the same form, to a file (NULL stops). Returns 0 or -1. */
int HOST_LogToFile(const char *pcPath);
/* Lines logged since the last clear. */
u32 HOST_LogCount(void);
/* Copies line uiIndex; returns 0, or -1 when there is no such line. */
int HOST_LogGet(u32 uiIndex, HOST_LOG_LINE_S *pstLine);
void HOST_LogClear(void);
/* Waits until a line containing pcText has been logged at or after line uiFrom; returns its
 * index, or -1 after uiTimeoutMs milliseconds. */
int HOST_LogWait(u32 uiFrom, const char *pcText, u32 uiTimeoutMs);
/* Lines the log and the call journal keep, the newest: 16384 until told (and again after
 * HOST_Reset); 0 keeps none. Counts go on either way. A tool that takes the log through
 * its hook needs none, and saves 520 bytes a line: 8 MiB once full. */
void HOST_JournalKeep(u32 uiLines);
/* Called for every line as it is logged (NULL stops); for tools that interleave the log. The hook
 * runs under the stand-in's lock and must not call back into this interface. */
typedef void (*HOST_LOG_HOOK_F)(const HOST_LOG_LINE_S *pstLine, void *pvArg);
void HOST_LogHook(HOST_LOG_HOOK_F pfHook, void *pvArg);

/* ---- Panel (SGPIO driver) ---- */
/* Makes the driver refuse writes and/or reads (nonzero result). */
void HOST_PanelRefuse(int iWrites, int iReads);
/* The version word the driver answers. */
void HOST_PanelSetVersion(u32 uiVersion);
/* Panel presence: the query's result and the byte it stores. */
void HOST_PanelSetPresence(int iResult, u8 ucPresent);
/* Panel codes written (accepted writes only), oldest first. */
u32 HOST_PanelCount(void);
u32 HOST_PanelCode(u32 uiIndex);
void HOST_PanelClear(void);
/* Waits until at least uiCount codes were written; returns 0, or -1 after uiTimeoutMs. */
int HOST_PanelWait(u32 uiCount, u32 uiTimeoutMs);

/* ---- Board ---- */
void HOST_SetBoardId(u32 uiBoardId);

/* ---- Sensor names (Hal_GetSensorNameCfg) ---- */
/* Names sensor ucNumber; NULL makes it unknown (-1). At most 17 bytes are written, as into the
 * library's buffer: a name of 17 characters or more arrives unterminated. */
void HOST_SensorSetName(u8 ucNumber, const char *pcName);
void HOST_SensorClearNames(void);

/* ---- Disks ---- */
/* The location reported for a disk instance; instances not set are refused. */
void HOST_DiskSetLocation(u8 ucInstance, u8 ucGroup, u8 ucSlot, u32 uiKind);
void HOST_DiskClear(void);

/* ---- POST codes (snoop_read_current_bios_code) ---- */
/* The codes stored on the next calls; a negative or zero iResult makes the call fail with it. */
void HOST_PostSetCodes(const u8 *pucCodes, int iResult);

/* ---- Fans ---- */
/* Whether DFC_ctl_CheckFanErrState reports fan ucFanId (from 0) in error. */
void HOST_FanSetError(u8 ucFanId, int iError);

/* ---- File locks ---- */
void HOST_FileLockFail(int iLock, int iUnlock);

/* ---- Call journal ---- */
/* The platform queries are journalled, one line per call, such as
 * "Hal_GetSensorNameCfg(0x30, 1, zeroed, 1, 0x5a)" (zeroed: the 17-byte buffer arrived zeroed),
 * "snoop_read_current_bios_code(256, zeroed)", "MODULE_GetDiskLocationByInstance(0x3)",
 * "dfc_fan_UpdateFanInstallState()", "DFC_ctl_CheckFanErrState(1)" and
 * "QMX_Get_DiagnosticPanel_Present(0)" (the byte as it arrived). Logging, panel writes, board
 * queries, prints and file locks are not journalled. */
u32 HOST_CallCount(void);
/* Copies journal line uiIndex into pcBuf; returns 0, or -1 when there is no such line. */
int HOST_CallGet(u32 uiIndex, char *pcBuf, size_t size);
void HOST_CallClear(void);

#ifdef __cplusplus
}
#endif
