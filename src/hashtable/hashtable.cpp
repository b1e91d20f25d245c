// SPDX-License-Identifier: Apache-2.0
// The fault table: one chain of entries per fault type, keyed by component index, each entry
// holding the asserted fault bits, its level and one assertion counter per level.
#include <diagpanel/hashtable.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "common/export.hpp"
#include "common/log.hpp"
#include "common/scoped_lock.hpp"
#include "hashtable/fault_level.hpp"

using namespace diag;

DIAG_PANEL_API DIAG_PANEL_HASH_HANDLE_S g_stHashHandle{};
DIAG_PANEL_API u8 g_abListModifyTbl[DIAG_PANEL_FAULT_TYPE_NUM]{};
// Statically initialised, so it is usable at load and never re-initialised under a waiter.
DIAG_PANEL_API pthread_mutex_t g_HashMutex = PTHREAD_MUTEX_INITIALIZER;

namespace {

constexpr char kLogUnit[] = "DiagPanel_hashtable";
constexpr u32 kBucketCount = DIAG_PANEL_FAULT_TYPE_NUM;

// The handle is also read without the lock (a quick refusal before locking), so its fields are
// written atomically.
bool tableReady()
{
    return __atomic_load_n(&g_stHashHandle.ppstList, __ATOMIC_ACQUIRE) != nullptr &&
           __atomic_load_n(&g_stHashHandle.uiListNum, __ATOMIC_ACQUIRE) != 0;
}

void setHandle(DIAG_PANEL_NODE_S **buckets, u32 count)
{
    __atomic_store_n(&g_stHashHandle.uiListNum, count, __ATOMIC_RELEASE);
    __atomic_store_n(&g_stHashHandle.ppstList, buckets, __ATOMIC_RELEASE);
}

constexpr bool isSeverity(u8 level)
{
    return level >= 1 && level <= 3;
}

u8 &counterOf(DIAG_PANEL_MSG_S &msg, u8 severity)
{
    switch (severity) {
    case 1:
        return msg.ucLevel1Cnt;
    case 2:
        return msg.ucLevel2Cnt;
    default:
        return msg.ucLevel3Cnt;
    }
}

// The highest level that still has an assertion counted; unchanged when none has.
void recomputeLevel(DIAG_PANEL_MSG_S &msg)
{
    for (u8 severity = 3; severity >= 1; --severity) {
        if (counterOf(msg, severity) != 0) {
            setLevelOf(msg, severity);
            return;
        }
    }
}

// Merges an assertion of level `level` into an existing entry. Returns false when new bits came
// at a level that has no counter.
bool mergeInto(DIAG_PANEL_MSG_S &entry, const DIAG_PANEL_MSG_S &msg, u8 level)
{
    const u32 old = entry.uiFaultMask;
    entry.uiFaultMask = old | msg.uiFaultMask;
    if (old == 0) {
        entry.ucLevel1Cnt = entry.ucLevel2Cnt = entry.ucLevel3Cnt = 0;
        setLevelOf(entry, level);
        return true;
    }
    if (entry.uiFaultMask == old) {
        return true; // nothing new: not even a higher level is taken
    }
    const bool counted = isSeverity(level);
    if (counted) {
        ++counterOf(entry, level); // 8 bits, wraps at 256
    }
    recomputeLevel(entry);
    return counted;
}

// The link that points at the first entry of `index` in bucket `bucket`, or at the tail's NULL.
DIAG_PANEL_NODE_S **findLink(u32 bucket, u8 index)
{
    DIAG_PANEL_NODE_S **link = &g_stHashHandle.ppstList[bucket];
    while (*link != nullptr && (*link)->stMsg.ucIndex != index) {
        link = &(*link)->pstNext;
    }
    return link;
}

// What a clear did under the lock, for the caller to free and log once it is released.
struct Clearing {
    enum class Outcome : u8 { kNotInit, kNotFound, kRemoved, kKept } outcome{Outcome::kNotInit};
    bool counterOk = true;                // the withdrawn assertion had a counter to take it from
    u32 bucket = 0;                       // the fault type's bucket
    u32 maskLeft = 0;                     // the entry's bits after the clear
    DIAG_PANEL_NODE_S *removed = nullptr; // the entry unhooked when no bit was left
};

// Clears the message's bits from an entry (a mask of 0 clears all). When that cleared a bit, it
// withdraws the one assertion that the clear names by its level. Returns false when that level
// has no counter to take it from.
bool withdrawBits(DIAG_PANEL_MSG_S &kept, const DIAG_PANEL_MSG_S &msg)
{
    const u32 old = kept.uiFaultMask;
    kept.uiFaultMask = msg.uiFaultMask == 0 ? 0 : old & ~msg.uiFaultMask;
    if (msg.uiFaultMask == 0 || kept.uiFaultMask == old) {
        return true;
    }
    const u8 severity = msg.ucFaultLevel;
    const bool counterOk = isSeverity(severity) && counterOf(kept, severity) != 0;
    if (counterOk) {
        --counterOf(kept, severity);
    }
    recomputeLevel(kept);
    return counterOk;
}

// The clear itself, with g_HashMutex held: an entry left without bits is unhooked.
Clearing clearEntry(const DIAG_PANEL_MSG_S &msg)
{
    Clearing clearing;
    if (!tableReady()) {
        return clearing;
    }
    clearing.bucket = msg.usFaultType % g_stHashHandle.uiListNum;
    DIAG_PANEL_NODE_S **link = findLink(clearing.bucket, msg.ucIndex);
    DIAG_PANEL_NODE_S *entry = *link;
    if (entry == nullptr) {
        clearing.outcome = Clearing::Outcome::kNotFound;
        return clearing;
    }
    clearing.counterOk = withdrawBits(entry->stMsg, msg);
    clearing.maskLeft = entry->stMsg.uiFaultMask;
    if (clearing.maskLeft != 0) {
        clearing.outcome = Clearing::Outcome::kKept;
        return clearing;
    }
    *link = entry->pstNext;
    g_abListModifyTbl[clearing.bucket] = 1;
    clearing.removed = entry;
    clearing.outcome = Clearing::Outcome::kRemoved;
    return clearing;
}

// Logs what the clear did, after the lock is released, and gives the call's result.
int reportClearing(const Clearing &clearing, const DIAG_PANEL_MSG_S &msg)
{
    switch (clearing.outcome) {
    case Clearing::Outcome::kNotInit:
        DIAG_LOG_AT(kLogWarning, "[%s.%u]Hashtable not init!\n");
        return DIAG_PANEL_ERR_NOT_INIT;
    case Clearing::Outcome::kNotFound:
        DIAG_LOG(kLogWarning, "Delete node failed, not found.\n");
        return -1;
    default:
        break;
    }
    if (!clearing.counterOk) {
        DIAG_LOG_AT(kLogWarning, "[%s.%u]Invalid level: %d, or level count is 0!\n",
                    msg.ucFaultLevel);
    }
    if (clearing.outcome == Clearing::Outcome::kKept) {
        DIAG_LOG(kLogDebug, "Now fault mask is %#x of type %#x", clearing.maskLeft,
                 clearing.bucket);
    }
    return 0;
}

void freeChain(DIAG_PANEL_NODE_S *node)
{
    while (node != nullptr) {
        DIAG_PANEL_NODE_S *next = node->pstNext;
        free(node);
        node = next;
    }
}

// The emptying steps, with g_HashMutex held. Despite their names they free nothing: they unhook
// the entries and hand them back, and the caller frees them (freeChain) once the lock is released,
// so that no free() runs under it. Chains are linked through pstNext.

// Unhooks the chain of bucket uiIndex and returns it.
DIAG_PANEL_NODE_S *DIAG_PANEL_FreeHashList(u32 uiIndex)
{
    if (g_stHashHandle.ppstList == nullptr || g_stHashHandle.uiListNum == 0) {
        DIAG_LOG_AT(kLogWarning, "[%s.%u]Hashtable not init!\n");
        return nullptr;
    }
    if (uiIndex >= g_stHashHandle.uiListNum) {
        DIAG_LOG_AT(kLogWarning, "[%s.%u]Invalid hashtable list index!\n");
        return nullptr;
    }
    DIAG_PANEL_NODE_S *chain = g_stHashHandle.ppstList[uiIndex];
    g_stHashHandle.ppstList[uiIndex] = nullptr;
    return chain;
}

// Unhooks every bucket's chain and returns them joined head to tail, in bucket order.
DIAG_PANEL_NODE_S *DIAG_PANEL_FreeAllHashList()
{
    if (g_stHashHandle.ppstList == nullptr || g_stHashHandle.uiListNum == 0) {
        DIAG_LOG_AT(kLogWarning, "[%s.%u]Hashtable not init!\n");
        return nullptr;
    }
    DIAG_PANEL_NODE_S *all = nullptr;
    DIAG_PANEL_NODE_S **tail = &all;
    for (u32 bucket = 0; bucket < g_stHashHandle.uiListNum; ++bucket) {
        *tail = DIAG_PANEL_FreeHashList(bucket);
        while (*tail != nullptr) {
            tail = &(*tail)->pstNext;
        }
    }
    return all;
}

} // namespace

DIAG_PANEL_API int DIAG_PANEL_InitHashTable(void)
{
    auto **buckets = static_cast<DIAG_PANEL_NODE_S **>(calloc(kBucketCount, sizeof(void *)));
    if (buckets == nullptr) {
        DIAG_LOG_AT(kLogWarning, "[%s.%u]Memory allocation Failed for hash table.\n");
        return DIAG_PANEL_ERR_NO_MEMORY;
    }
    // Called again on a live table, it starts afresh rather than leaking the old entries.
    DIAG_PANEL_NODE_S **oldBuckets = nullptr;
    DIAG_PANEL_NODE_S *oldEntries = nullptr;
    {
        DIAG_SCOPED_LOCK(g_HashMutex);
        if (tableReady()) {
            oldEntries = DIAG_PANEL_FreeAllHashList();
            oldBuckets = g_stHashHandle.ppstList;
        }
        memset(g_abListModifyTbl, 0, sizeof g_abListModifyTbl);
        setHandle(buckets, kBucketCount);
    }
    freeChain(oldEntries);
    free(oldBuckets);
    return 0;
}

DIAG_PANEL_API int DIAG_PANEL_ProcessNewMsg(DIAG_PANEL_MSG_S *pstDiagPanelMsg)
{
    if (pstDiagPanelMsg == nullptr) {
        DIAG_LOG_AT(kLogWarning, "[%s.%u]Point is NULL!\n");
        return DIAG_PANEL_ERR_NULL_PTR;
    }
    if (!tableReady()) {
        DIAG_LOG_AT(kLogWarning, "[%s.%u]Hashtable not init!\n");
        return DIAG_PANEL_ERR_NOT_INIT;
    }
    if (pstDiagPanelMsg->usFaultType >= DIAG_PANEL_FAULT_TYPE_NUM) {
        DIAG_LOG_AT(kLogWarning, "[%s.%u]Invalid fault type: %d\n", pstDiagPanelMsg->usFaultType);
        return -1;
    }
    const u8 level = levelOf(*pstDiagPanelMsg);
    if (level > DIAG_PANEL_LEVEL_NONE) {
        DIAG_LOG_AT(kLogWarning, "[%s.%u]Invalid fault level: %d\n", level);
        return -1;
    }
    if (level == DIAG_PANEL_LEVEL_CLEAR) {
        return DIAG_PANEL_DelMsgToHash(pstDiagPanelMsg);
    }
    return DIAG_PANEL_AddMsgToHash(pstDiagPanelMsg);
}

DIAG_PANEL_API int DIAG_PANEL_AddMsgToHash(DIAG_PANEL_MSG_S *pstDiagPanelMsg)
{
    if (pstDiagPanelMsg == nullptr) {
        DIAG_LOG_AT(kLogWarning, "[%s.%u]Point pstDiagPanelMsg is NULL!\n");
        return DIAG_PANEL_ERR_NULL_PTR;
    }
    // Allocated and filled before locking, so the critical section stays short. malloc and a
    // memset rather than calloc: glibc's calloc passes by its per-thread cache, and a merge gives
    // its transient entry straight back.
    auto *node = static_cast<DIAG_PANEL_NODE_S *>(malloc(sizeof(DIAG_PANEL_NODE_S)));
    if (node == nullptr) {
        DIAG_LOG_AT(kLogWarning, "[%s.%u]Memory allocation Failed for diagnostic panel node.\n");
        return -1;
    }
    memset(node, 0, sizeof *node);
    const DIAG_PANEL_MSG_S &msg = *pstDiagPanelMsg;
    const u8 level = levelOf(msg);
    node->stMsg = msg;
    if (msg.uiFaultMask != 0 && isSeverity(level)) {
        counterOf(node->stMsg, level) = 1;
    }

    bool ready = true;
    bool counted = true;
    DIAG_PANEL_NODE_S *discarded = nullptr;
    {
        DIAG_SCOPED_LOCK(g_HashMutex);
        if (!tableReady()) {
            ready = false;
            discarded = node;
        } else {
            const u32 bucket = msg.usFaultType % g_stHashHandle.uiListNum;
            DIAG_PANEL_NODE_S **link = findLink(bucket, msg.ucIndex);
            if (*link == nullptr) {
                *link = node; // a new entry goes to the tail
            } else {
                counted = mergeInto((*link)->stMsg, msg, level);
                discarded = node;
            }
            g_abListModifyTbl[bucket] = 1;
        }
    }
    free(discarded);
    if (!ready) {
        DIAG_LOG_AT(kLogWarning, "[%s.%u]Hashtable not init!\n");
        return DIAG_PANEL_ERR_NOT_INIT;
    }
    if (!counted) {
        DIAG_LOG_AT(kLogWarning, "[%s.%u]Unknow level: %d!\n", level); // verbatim: common/log.hpp
    }
    return 0;
}

DIAG_PANEL_API int DIAG_PANEL_DelMsgToHash(DIAG_PANEL_MSG_S *pstDiagPanelMsg)
{
    if (pstDiagPanelMsg == nullptr) {
        DIAG_LOG_AT(kLogWarning, "[%s.%u]Point pstDiagPanelMsg is NULL!\n");
        return DIAG_PANEL_ERR_NULL_PTR;
    }
    Clearing clearing;
    {
        DIAG_SCOPED_LOCK(g_HashMutex);
        clearing = clearEntry(*pstDiagPanelMsg);
    }
    free(clearing.removed);
    return reportClearing(clearing, *pstDiagPanelMsg);
}

DIAG_PANEL_API u32 DIAG_PANEL_HashFunc(u32 uiKey)
{
    return uiKey;
}

DIAG_PANEL_API int DIAG_PANEL_LockFreeHashList(u32 uiIndex)
{
    DIAG_PANEL_NODE_S *entries = nullptr;
    {
        DIAG_SCOPED_LOCK(g_HashMutex);
        entries = DIAG_PANEL_FreeHashList(uiIndex);
    }
    freeChain(entries);
    return 0;
}

DIAG_PANEL_API int DIAG_PANEL_LockFreeAllHashList(void)
{
    DIAG_PANEL_NODE_S *entries = nullptr;
    {
        DIAG_SCOPED_LOCK(g_HashMutex);
        entries = DIAG_PANEL_FreeAllHashList();
    }
    freeChain(entries);
    return 0;
}

DIAG_PANEL_API int DIAG_PANEL_LockFreeHashTable(void)
{
    DIAG_PANEL_NODE_S *entries = nullptr;
    DIAG_PANEL_NODE_S **buckets = nullptr;
    {
        DIAG_SCOPED_LOCK(g_HashMutex);
        entries = DIAG_PANEL_FreeAllHashList();
        buckets = g_stHashHandle.ppstList;
        setHandle(nullptr, 0);
    }
    freeChain(entries);
    free(buckets);
    return 0;
}

DIAG_PANEL_API void DIAG_PANEL_PrintMsgInHash(void)
{
    int total = 0;
    {
        DIAG_SCOPED_LOCK(g_HashMutex);
        if (!tableReady()) {
            DIAG_LOG_AT(kLogWarning, "[%s.%u]Hashtable not init!\n");
            return;
        }
        for (u32 bucket = 0; bucket < g_stHashHandle.uiListNum; ++bucket) {
            int count = 0;
            for (const DIAG_PANEL_NODE_S *node = g_stHashHandle.ppstList[bucket]; node != nullptr;
                 node = node->pstNext) {
                const DIAG_PANEL_MSG_S &msg = node->stMsg;
                printf("[%d %d %d %d %d] ", msg.ucLevelInfo & kPostLevelMask, msg.usFaultType,
                       msg.ucIndex, (msg.ucLevelInfo >> kLevelShift) & kLevelMask,
                       node->ucDisplayed);
                ++count;
            }
            printf("cnt: %d\n", count);
            total += count;
        }
    }
    printf("Total cnt: %d.\n", total);
}
