/* SPDX-License-Identifier: Apache-2.0 */
/* libDiagnosticPanel: integer types, status codes, fault types and every record exchanged with
 * the library, its pipe and its platform. Layouts are little-endian and fixed; each size and
 * offset that firmware relies on is asserted below. */
#pragma once

#include <assert.h>
#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef uint8_t u8;
typedef uint16_t u16;
typedef uint32_t u32;

/* Status codes. 0 is success and -1 a plain failure; the coded failures share the upper half
 * 0xFFFF. */
#define DIAG_PANEL_OK 0
#define DIAG_PANEL_ERROR (-1)
#define DIAG_PANEL_ERR_NULL_PTR (-65535)  /* 0xFFFF0001: a required pointer is NULL */
#define DIAG_PANEL_ERR_NOT_INIT (-65527)  /* 0xFFFF0009: the fault table is not initialised */
#define DIAG_PANEL_ERR_NO_MEMORY (-65524) /* 0xFFFF000C: no memory for the bucket array */

/* Fault types (usFaultType); each has a bucket of its own in the fault table. */
#define DIAG_PANEL_FAULT_CPU 0
#define DIAG_PANEL_FAULT_MEMORY 1
#define DIAG_PANEL_FAULT_DISK 2
#define DIAG_PANEL_FAULT_PCIE 3
#define DIAG_PANEL_FAULT_RAID 4
#define DIAG_PANEL_FAULT_PSU 5
#define DIAG_PANEL_FAULT_FAN 6
#define DIAG_PANEL_FAULT_BOARD 7
#define DIAG_PANEL_FAULT_POST 8
#define DIAG_PANEL_FAULT_TEMP 9
#define DIAG_PANEL_FAULT_POWERCAP 10
#define DIAG_PANEL_FAULT_BOARD_EX 11
#define DIAG_PANEL_FAULT_TYPE_NUM 12

/* Levels: 0 clears, 1..3 are severities (3 highest), 4 means no level was given. */
#define DIAG_PANEL_LEVEL_CLEAR 0
#define DIAG_PANEL_LEVEL_NONE 4

/* Panel commands (ucCmd of DIAG_PANEL_CMD_S and of the SGPIO request). */
#define DIAG_PANEL_CMD_WRITE 0
#define DIAG_PANEL_CMD_READ 1

/* Display events (uiEventType). */
#define DIAG_PANEL_EVENT_POST_START 0
#define DIAG_PANEL_EVENT_POST_END 1
#define DIAG_PANEL_EVENT_POST_PROGRESS 2
#define DIAG_PANEL_EVENT_POST_STOP 3

/* Pipe frames. */
#define DIAG_PANEL_PIPE_PATH "/var/DiagPanelPipeQ"
#define DIAG_PANEL_PIPE_MAGIC 0x1A2B3C4Du
#define DIAG_PANEL_MSG_TYPE_SEL 0   /* body: one 16-byte IPMI SEL record */
#define DIAG_PANEL_MSG_TYPE_EVENT 1 /* body: one 12-byte display event */
#define DIAG_PANEL_SEL_LEN 16
#define DIAG_PANEL_EVENT_LEN 12

/* A fault message: made by translators, kept by the fault table. Its first four bytes are the
 * head that the panel code is built from. */
typedef struct {
    u8 ucLevelInfo;  /* bits 0-1: level of fault type 8; bits 2-4: level of any other type */
    u8 ucIndex;      /* component index, shown as two hexadecimal digits */
    u16 usFaultType; /* DIAG_PANEL_FAULT_... */
    u32 uiFaultMask; /* fault bits asserted, or cleared by a clear message */
    u8 ucFaultLevel; /* level that a clear message withdraws */
    u8 ucLevel1Cnt;  /* assertions counted per level, kept by the table */
    u8 ucLevel2Cnt;
    u8 ucLevel3Cnt;
    u8 aucReserved[8];
} DIAG_PANEL_MSG_S;

/* One entry of the fault table. */
typedef struct DIAG_PANEL_NODE_S {
    DIAG_PANEL_MSG_S stMsg;
    u8 ucDisplayed; /* 1 once shown in the current display cycle */
    struct DIAG_PANEL_NODE_S *pstNext;
} DIAG_PANEL_NODE_S;

/* The fault table: one chain of entries per fault type. */
typedef struct {
    DIAG_PANEL_NODE_S **ppstList; /* bucket heads; NULL while not initialised */
    u32 uiListNum;                /* 12 once initialised, 0 otherwise */
} DIAG_PANEL_HASH_HANDLE_S;

/* Argument of the exported panel commands. Bytes 4-7 are the head of a DIAG_PANEL_MSG_S. */
typedef struct {
    u8 ucCmd; /* DIAG_PANEL_CMD_WRITE or DIAG_PANEL_CMD_READ */
    u8 aucRsvd[3];
    u8 ucLevelInfo;
    u8 ucIndex;
    u16 usFaultType;
    u32 uiVersion; /* receives the version word of a read */
} DIAG_PANEL_CMD_S;

/* Request to the SGPIO driver: show a panel code, or read the panel's version word. */
typedef struct {
    u8 ucCmd; /* DIAG_PANEL_CMD_WRITE or DIAG_PANEL_CMD_READ */
    u8 aucRsvd[3];
    u32 uiData; /* panel code to show, or the version word returned */
} DIAG_PANEL_SGPIO_REQ_S;

/* Panel version as DIAG_PANEL_GET_version reports it. */
typedef struct {
    u8 ucHwVersion; /* hardware revision as a letter, 'A' for revision 0 */
    u8 ucRsvd;      /* not written */
    u16 usFwVersion;
} DIAG_PANEL_INFO_S;

/* One pipe frame: a 16-byte header, then uiLen body bytes. */
typedef struct {
    u32 uiMagic; /* DIAG_PANEL_PIPE_MAGIC */
    u8 ucMsgType;
    u8 aucRsvd[2];
    u8 ucSelLevel; /* severity code of a SEL record */
    u32 uiLen;
    u16 usBufChkSum;  /* low 16 bits of the byte sum of the body */
    u16 usHeadChkSum; /* low 16 bits of the byte sum of header bytes 4..13 */
    u8 aucBuf[];
} DIAG_PANEL_PIPE_MSG_S;

/* A display event as the display receives it. */
typedef struct {
    u32 uiEventType; /* DIAG_PANEL_EVENT_... */
    u8 ucPercent;    /* POST progress as two BCD digits */
    u8 aucPad[3];
    u32 uiReserved;
} DIAG_PANEL_DISP_EVENT_S;

/* An IPMI SEL record passed by value: one array, so that every ABI passes it alike. */
typedef struct {
    u8 aucSel[DIAG_PANEL_SEL_LEN];
} DIAG_PANEL_SEL_S;

static_assert(sizeof(DIAG_PANEL_MSG_S) == 20, "DIAG_PANEL_MSG_S is 20 bytes");
static_assert(offsetof(DIAG_PANEL_MSG_S, ucIndex) == 1, "ucIndex at 1");
static_assert(offsetof(DIAG_PANEL_MSG_S, usFaultType) == 2, "usFaultType at 2");
static_assert(offsetof(DIAG_PANEL_MSG_S, uiFaultMask) == 4, "uiFaultMask at 4");
static_assert(offsetof(DIAG_PANEL_MSG_S, ucFaultLevel) == 8, "ucFaultLevel at 8");
static_assert(offsetof(DIAG_PANEL_MSG_S, ucLevel1Cnt) == 9, "ucLevel1Cnt at 9");
static_assert(offsetof(DIAG_PANEL_MSG_S, ucLevel3Cnt) == 11, "ucLevel3Cnt at 11");
static_assert(offsetof(DIAG_PANEL_MSG_S, aucReserved) == 12, "aucReserved at 12");
static_assert(offsetof(DIAG_PANEL_NODE_S, ucDisplayed) == 20, "ucDisplayed at 20");
static_assert(offsetof(DIAG_PANEL_NODE_S, pstNext) == 24, "pstNext at 24 on 32 and 64 bits");
static_assert(sizeof(DIAG_PANEL_NODE_S) == 24 + sizeof(void *), "node is 28 or 32 bytes");
static_assert(offsetof(DIAG_PANEL_HASH_HANDLE_S, uiListNum) == sizeof(void *), "uiListNum");
static_assert(sizeof(DIAG_PANEL_HASH_HANDLE_S) == 2 * sizeof(void *), "handle is 8 or 16 bytes");
static_assert(sizeof(DIAG_PANEL_CMD_S) == 12, "DIAG_PANEL_CMD_S is 12 bytes");
static_assert(offsetof(DIAG_PANEL_CMD_S, ucLevelInfo) == 4, "ucLevelInfo at 4");
static_assert(offsetof(DIAG_PANEL_CMD_S, ucIndex) == 5, "ucIndex at 5");
static_assert(offsetof(DIAG_PANEL_CMD_S, usFaultType) == 6, "usFaultType at 6");
static_assert(offsetof(DIAG_PANEL_CMD_S, uiVersion) == 8, "uiVersion at 8");
static_assert(sizeof(DIAG_PANEL_SGPIO_REQ_S) == 8, "DIAG_PANEL_SGPIO_REQ_S is 8 bytes");
static_assert(offsetof(DIAG_PANEL_SGPIO_REQ_S, uiData) == 4, "uiData at 4");
static_assert(sizeof(DIAG_PANEL_INFO_S) == 4, "DIAG_PANEL_INFO_S is 4 bytes");
static_assert(offsetof(DIAG_PANEL_INFO_S, usFwVersion) == 2, "usFwVersion at 2");
static_assert(sizeof(DIAG_PANEL_PIPE_MSG_S) == 16, "pipe header is 16 bytes");
static_assert(offsetof(DIAG_PANEL_PIPE_MSG_S, ucMsgType) == 4, "ucMsgType at 4");
static_assert(offsetof(DIAG_PANEL_PIPE_MSG_S, aucRsvd) == 5, "aucRsvd at 5");
static_assert(offsetof(DIAG_PANEL_PIPE_MSG_S, ucSelLevel) == 7, "ucSelLevel at 7");
static_assert(offsetof(DIAG_PANEL_PIPE_MSG_S, uiLen) == 8, "uiLen at 8");
static_assert(offsetof(DIAG_PANEL_PIPE_MSG_S, usBufChkSum) == 12, "usBufChkSum at 12");
static_assert(offsetof(DIAG_PANEL_PIPE_MSG_S, usHeadChkSum) == 14, "usHeadChkSum at 14");
static_assert(offsetof(DIAG_PANEL_PIPE_MSG_S, aucBuf) == 16, "body at 16");
static_assert(sizeof(DIAG_PANEL_DISP_EVENT_S) == 12, "DIAG_PANEL_DISP_EVENT_S is 12 bytes");
static_assert(offsetof(DIAG_PANEL_DISP_EVENT_S, ucPercent) == 4, "ucPercent at 4");
static_assert(offsetof(DIAG_PANEL_DISP_EVENT_S, uiReserved) == 8, "reserved word at 8");
static_assert(sizeof(DIAG_PANEL_SEL_S) == 16, "a SEL record is 16 bytes");

#ifdef __cplusplus
}
#endif
