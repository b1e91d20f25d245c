/* SPDX-License-Identifier: Apache-2.0 */
/**
 * @file
 * libDiagnosticPanel: integer types, status codes, fault types and every record exchanged with
 * the library, its pipe and its platform. Layouts are little-endian and fixed; each size and
 * offset that firmware relies on is asserted below.
 */
#pragma once

#include <assert.h>
#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef uint8_t u8;   /**< An unsigned byte. */
typedef uint16_t u16; /**< An unsigned 16-bit word. */
typedef uint32_t u32; /**< An unsigned 32-bit word. */

/** @name Status codes
 * 0 is success and -1 a plain failure; the coded failures share the upper half 0xFFFF.
 * @{ */
#define DIAG_PANEL_OK 0                   /**< success */
#define DIAG_PANEL_ERROR (-1)             /**< a plain failure */
#define DIAG_PANEL_ERR_NULL_PTR (-65535)  /**< 0xFFFF0001: a required pointer is NULL */
#define DIAG_PANEL_ERR_NOT_INIT (-65527)  /**< 0xFFFF0009: the fault table is not initialised */
#define DIAG_PANEL_ERR_NO_MEMORY (-65524) /**< 0xFFFF000C: no memory for the bucket array */
/** @} */

/** @name Fault types
 * The values of usFaultType; each has a bucket of its own in the fault table.
 * @{ */
#define DIAG_PANEL_FAULT_CPU 0       /**< processor */
#define DIAG_PANEL_FAULT_MEMORY 1    /**< memory */
#define DIAG_PANEL_FAULT_DISK 2      /**< disk */
#define DIAG_PANEL_FAULT_PCIE 3      /**< PCIe slot */
#define DIAG_PANEL_FAULT_RAID 4      /**< RAID controller */
#define DIAG_PANEL_FAULT_PSU 5       /**< power supply */
#define DIAG_PANEL_FAULT_FAN 6       /**< fan */
#define DIAG_PANEL_FAULT_BOARD 7     /**< board logic registers */
#define DIAG_PANEL_FAULT_POST 8      /**< POST (a BIOS watchdog expiry) */
#define DIAG_PANEL_FAULT_TEMP 9      /**< temperature */
#define DIAG_PANEL_FAULT_POWERCAP 10 /**< power capping */
#define DIAG_PANEL_FAULT_BOARD_EX 11 /**< board logic registers, second group */
#define DIAG_PANEL_FAULT_TYPE_NUM 12 /**< the number of fault types and of buckets */
/** @} */

/** @name Levels
 * 0 clears, 1..3 are severities (3 highest), 4 means no level was given.
 * @{ */
#define DIAG_PANEL_LEVEL_CLEAR 0 /**< a clear message */
#define DIAG_PANEL_LEVEL_NONE 4  /**< no level was given */
/** @} */

/** @name Panel commands
 * The values of ucCmd of DIAG_PANEL_CMD_S and of the SGPIO request.
 * @{ */
#define DIAG_PANEL_CMD_WRITE 0 /**< show a panel code */
#define DIAG_PANEL_CMD_READ 1  /**< read the panel's version word */
/** @} */

/** @name Display events
 * The values of uiEventType.
 * @{ */
#define DIAG_PANEL_EVENT_POST_START 0    /**< the host starts POST */
#define DIAG_PANEL_EVENT_POST_END 1      /**< POST is over */
#define DIAG_PANEL_EVENT_POST_PROGRESS 2 /**< POST progress, with a percentage */
#define DIAG_PANEL_EVENT_POST_STOP 3     /**< POST stopped */
/** @} */

/** @name Pipe frames
 * @{ */
#define DIAG_PANEL_PIPE_PATH "/var/DiagPanelPipeQ" /**< the intake's named pipe */
#define DIAG_PANEL_PIPE_MAGIC 0x1A2B3C4Du          /**< the first word of every frame */
#define DIAG_PANEL_MSG_TYPE_SEL 0                  /**< body: one 16-byte IPMI SEL record */
#define DIAG_PANEL_MSG_TYPE_EVENT 1                /**< body: one 12-byte display event */
#define DIAG_PANEL_SEL_LEN 16                      /**< the body length of a SEL frame */
#define DIAG_PANEL_EVENT_LEN 12                    /**< the body length of a display event frame */
/** @} */

/**
 * A fault message: made by translators, kept by the fault table. Its first four bytes are the
 * head that the panel code is built from.
 */
typedef struct {
    u8 ucLevelInfo;    /**< bits 0-1: level of fault type 8; bits 2-4: level of any other type */
    u8 ucIndex;        /**< component index, shown as two hexadecimal digits */
    u16 usFaultType;   /**< DIAG_PANEL_FAULT_... */
    u32 uiFaultMask;   /**< fault bits asserted, or cleared by a clear message */
    u8 ucFaultLevel;   /**< level that a clear message withdraws */
    u8 ucLevel1Cnt;    /**< assertions counted at level 1, kept by the table */
    u8 ucLevel2Cnt;    /**< assertions counted at level 2, kept by the table */
    u8 ucLevel3Cnt;    /**< assertions counted at level 3, kept by the table */
    u8 aucReserved[8]; /**< reserved */
} DIAG_PANEL_MSG_S;

/** One entry of the fault table. */
typedef struct DIAG_PANEL_NODE_S {
    DIAG_PANEL_MSG_S stMsg;            /**< the fault, merged over its assertions */
    u8 ucDisplayed;                    /**< 1 once shown in the current display cycle */
    struct DIAG_PANEL_NODE_S *pstNext; /**< the next entry of the bucket, or NULL */
} DIAG_PANEL_NODE_S;

/** The fault table: one chain of entries per fault type. */
typedef struct {
    DIAG_PANEL_NODE_S **ppstList; /**< bucket heads; NULL while not initialised */
    u32 uiListNum;                /**< 12 once initialised, 0 otherwise */
} DIAG_PANEL_HASH_HANDLE_S;

/** Argument of the exported panel commands. Bytes 4-7 are the head of a DIAG_PANEL_MSG_S. */
typedef struct {
    u8 ucCmd;        /**< DIAG_PANEL_CMD_WRITE or DIAG_PANEL_CMD_READ */
    u8 aucRsvd[3];   /**< reserved */
    u8 ucLevelInfo;  /**< as in DIAG_PANEL_MSG_S */
    u8 ucIndex;      /**< as in DIAG_PANEL_MSG_S */
    u16 usFaultType; /**< as in DIAG_PANEL_MSG_S */
    u32 uiVersion;   /**< receives the version word of a read */
} DIAG_PANEL_CMD_S;

/** Request to the SGPIO driver: show a panel code, or read the panel's version word. */
typedef struct {
    u8 ucCmd;      /**< DIAG_PANEL_CMD_WRITE or DIAG_PANEL_CMD_READ */
    u8 aucRsvd[3]; /**< reserved */
    u32 uiData;    /**< panel code to show, or the version word returned */
} DIAG_PANEL_SGPIO_REQ_S;

/** Panel version as DIAG_PANEL_GET_version reports it. */
typedef struct {
    u8 ucHwVersion;  /**< hardware revision as a letter, 'A' for revision 0 */
    u8 ucRsvd;       /**< not written */
    u16 usFwVersion; /**< firmware version */
} DIAG_PANEL_INFO_S;

/** One pipe frame: a 16-byte header, then uiLen body bytes. */
typedef struct {
    u32 uiMagic;      /**< DIAG_PANEL_PIPE_MAGIC */
    u8 ucMsgType;     /**< DIAG_PANEL_MSG_TYPE_SEL or DIAG_PANEL_MSG_TYPE_EVENT */
    u8 aucRsvd[2];    /**< reserved */
    u8 ucSelLevel;    /**< severity code of a SEL record */
    u32 uiLen;        /**< the number of body bytes */
    u16 usBufChkSum;  /**< low 16 bits of the byte sum of the body */
    u16 usHeadChkSum; /**< low 16 bits of the byte sum of header bytes 4..13 */
    u8 aucBuf[];      /**< the body */
} DIAG_PANEL_PIPE_MSG_S;

/** A display event as the display receives it. */
typedef struct {
    u32 uiEventType; /**< DIAG_PANEL_EVENT_... */
    u8 ucPercent;    /**< POST progress as two BCD digits */
    u8 aucPad[3];    /**< zero */
    u32 uiReserved;  /**< reserved */
} DIAG_PANEL_DISP_EVENT_S;

/** An IPMI SEL record passed by value: one array, so that every ABI passes it alike. */
typedef struct {
    u8 aucSel[DIAG_PANEL_SEL_LEN]; /**< the 16 bytes of the record */
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
