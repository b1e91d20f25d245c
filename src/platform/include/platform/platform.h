/* SPDX-License-Identifier: Apache-2.0 */
/* Calls and data of the hosting firmware that the library uses. The firmware's own libraries
 * define them; the library leaves them undefined and they are bound when it is loaded. */
#pragma once

#include <stddef.h>

#include <diagpanel/types.h>

#ifdef __cplusplus
extern "C" {
#endif

/* POST code request of snoop_read_current_bios_code: the code buffer's address at offset 8 and
 * its size at offset 12 on the 32-bit target. */
typedef struct {
    u8 aucRsvd0[8];
    u8 *pucCodeBuf;
    u32 uiBufSize;
    u8 aucRsvd1[332];
} SNOOP_BIOS_CODE_REQ_S;

/* A disk's place, as MODULE_GetDiskLocationByInstance reports it. */
typedef struct {
    u8 ucGroup; /* counted from 1 */
    u8 ucSlot;
    u8 aucRsvd[2];
    u32 uiLocationKind; /* 0: front backplane; only zero or non-zero matters */
} DISK_LOCATION_S;

/* The card configuration record that g_stCurrentCardCfgInfo points to. */
typedef struct {
    u8 aucRsvd[10];
    u8 ucVariant; /* one-letter variant code */
} CARD_CFG_RECORD_S;

/* The current card configuration. */
typedef struct {
    u32 auiRsvd[2];
    CARD_CFG_RECORD_S *pstCardCfg; /* may be NULL */
} CARD_CFG_INFO_S;

#if defined(__ILP32__) || defined(__arm__)
static_assert(sizeof(SNOOP_BIOS_CODE_REQ_S) == 348, "POST code request is 348 bytes");
static_assert(offsetof(SNOOP_BIOS_CODE_REQ_S, uiBufSize) == 12, "buffer size at 12");
#endif
static_assert(offsetof(SNOOP_BIOS_CODE_REQ_S, pucCodeBuf) == 8, "code buffer at 8");
static_assert(sizeof(DISK_LOCATION_S) == 8, "disk location is 8 bytes");
static_assert(offsetof(DISK_LOCATION_S, uiLocationKind) == 4, "location kind at 4");
static_assert(offsetof(CARD_CFG_RECORD_S, ucVariant) == 10, "variant code at 10");
static_assert(offsetof(CARD_CFG_INFO_S, pstCardCfg) == 8, "card record pointer at 8");

/* Bytes of one record of g_astAllPcieCardInfo, and the offset of its M.2 end-slot mark. */
#define PCIE_CARD_INFO_LEN 395
#define PCIE_CARD_INFO_M2_MARK 139

/* Logging; uiLevel 2 error, 3 notice, 4 warning, 6 information, 7 debug. */
void DiagLogOut(u32 uiLevel, u32 uiLine, const char *pcFile, const char *pcFormat, ...)
    __attribute__((format(printf, 4, 5)));

/* The SGPIO driver: shows a panel code or returns the version word. 0: done. */
int SGPIO_DRV_common(DIAG_PANEL_SGPIO_REQ_S *pstReq);

/* The running product board; 0xFFFFFFFF when unknown. */
u32 QMX_GetProductBoardID(void);

/* Whether a panel is fitted: 0 when answered, then *pucPresent is 1 for a fitted panel. */
int QMX_Get_DiagnosticPanel_Present(u8 *pucPresent);

/* Bounded formatted print: at most size - 1 characters and a NUL. */
int QMX_Scnprintf(char *pcBuf, size_t size, const char *pcFormat, ...)
    __attribute__((format(printf, 3, 4)));

/* Writes the NUL-terminated name of sensor ucSensorNum into pcName. -1: unknown sensor. */
int Hal_GetSensorNameCfg(u8 ucSensorNum, u8 ucLun, char *pcName, u32 uiFlag, u32 uiHalHandle);

/* Fills *pstLocation for a disk instance. 0: filled. */
int MODULE_GetDiskLocationByInstance(u8 ucInstance, DISK_LOCATION_S *pstLocation);

/* Stores the POST codes the host last wrote; returns how many, <= 0 on failure. */
int snoop_read_current_bios_code(SNOOP_BIOS_CODE_REQ_S *pstRequest);

/* Fan control: refresh which fans are installed; whether fan ucFanId (from 0) is in error. */
int dfc_fan_UpdateFanInstallState(void);
int DFC_ctl_CheckFanErrState(u8 ucFanId);

/* A write lock on a descriptor. -1: failure. */
int file_lock_write(int fd);
int file_unlock(int fd);

/* 1 while the firmware's diagnostic mode owns the panel. */
extern u32 g_diag_mode_flag;

/* By drive sensor number: byte 0 is the disk instance. */
extern u8 g_astGetALLHDDSensor[][4];

/* By backplane, from the first: byte 2 is the card type code. */
extern u8 g_astBPCardInfo[][4];

extern CARD_CFG_INFO_S g_stCurrentCardCfgInfo;

/* Record k-1 describes PCIe card position k. */
extern u8 g_astAllPcieCardInfo[][PCIE_CARD_INFO_LEN];

/* Slot number of the RAID controller card. */
extern u32 g_uiPcieRaidSlotNum;

#ifdef __cplusplus
}
#endif
