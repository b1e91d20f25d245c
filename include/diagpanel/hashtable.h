/* SPDX-License-Identifier: Apache-2.0 */
/**
 * @file
 * libDiagnosticPanel: the fault table, one bucket of entries per fault type.
 *
 * Every function here but DIAG_PANEL_HashFunc may be called from any thread and takes
 * g_HashMutex once, for its whole work; a caller holding g_DisplayMutex may call them (that
 * order, never the other).
 */
#pragma once

#include <pthread.h>

#include <diagpanel/types.h>

#ifdef __cplusplus
extern "C" {
#endif

/** The table handle; guarded by g_HashMutex, as is every entry. */
extern DIAG_PANEL_HASH_HANDLE_S g_stHashHandle;

/** One changed flag per bucket, set whenever an entry is created, merged into or removed;
 * guarded by g_HashMutex. */
extern u8 g_abListModifyTbl[DIAG_PANEL_FAULT_TYPE_NUM];

/** Guards the table, its entries and the changed flags; usable from load time on. */
extern pthread_mutex_t g_HashMutex;

/**
 * Creates an empty table of 12 buckets; on a table already made, empties it.
 * @return 0 or DIAG_PANEL_ERR_NO_MEMORY.
 */
int DIAG_PANEL_InitHashTable(void);

/**
 * Merges an assertion into the table, or clears bits of an entry (level 0).
 * @param pstDiagPanelMsg the message; it stays the caller's.
 * @return 0, -1, DIAG_PANEL_ERR_NULL_PTR or DIAG_PANEL_ERR_NOT_INIT.
 */
int DIAG_PANEL_ProcessNewMsg(DIAG_PANEL_MSG_S *pstDiagPanelMsg);

/**
 * Inserts or merges an assertion without checking its type or level.
 * @param pstDiagPanelMsg the message; it stays the caller's.
 * @return 0, -1, DIAG_PANEL_ERR_NULL_PTR or DIAG_PANEL_ERR_NOT_INIT.
 */
int DIAG_PANEL_AddMsgToHash(DIAG_PANEL_MSG_S *pstDiagPanelMsg);

/**
 * Clears bits of the entry of the message's (type, index), removing it when none is left; mask 0
 * removes it outright.
 * @param pstDiagPanelMsg the message; it stays the caller's.
 * @return 0, -1, DIAG_PANEL_ERR_NULL_PTR or DIAG_PANEL_ERR_NOT_INIT.
 */
int DIAG_PANEL_DelMsgToHash(DIAG_PANEL_MSG_S *pstDiagPanelMsg);

/**
 * The bucket of a fault type. Takes no lock.
 * @param uiKey a fault type.
 * @return uiKey unchanged.
 */
u32 DIAG_PANEL_HashFunc(u32 uiKey);

/**
 * Empties one bucket.
 * @param uiIndex the bucket, a fault type.
 * @return 0.
 */
int DIAG_PANEL_LockFreeHashList(u32 uiIndex);

/**
 * Empties every bucket; the table stays initialised.
 * @return 0.
 */
int DIAG_PANEL_LockFreeAllHashList(void);

/**
 * Empties every bucket and releases the table; it is then not initialised.
 * @return 0.
 */
int DIAG_PANEL_LockFreeHashTable(void);

/** Prints every entry, bucket by bucket, to standard output. */
void DIAG_PANEL_PrintMsgInHash(void);

#ifdef __cplusplus
}
#endif
