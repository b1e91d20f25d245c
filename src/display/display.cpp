// SPDX-License-Identifier: Apache-2.0
// The display thread: every four seconds it shows the next active fault, or the POST progress
// while the host boots, as one panel code.
#include <diagpanel/display.h>

#include <pthread.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <diagpanel/core.h>
#include <diagpanel/hashtable.h>

#include "common/export.hpp"
#include "common/log.hpp"
#include "common/panel.hpp"
#include "common/scoped_lock.hpp"
#include "display/display_state.hpp"

using namespace diag;

// Statically initialised: events may lock it as soon as the thread exists, and nothing ever
// re-initialises it under a holder.
DIAG_PANEL_API pthread_mutex_t g_DisplayMutex = PTHREAD_MUTEX_INITIALIZER;

namespace diag {
DisplayCtrl g_stDispCtrl{};
PostDisplay g_stPostDisp{};
FaultWalk g_stFaultWalk{};
} // namespace diag

namespace {

constexpr char kLogUnit[] = "DiagPanel_DisplayTask";
constexpr unsigned kStepSeconds = 4;
constexpr unsigned kRetrySeconds = 1;
constexpr u8 kPostLevelProgress = 0x01;
constexpr u8 kPostLevelError = 0x02;
constexpr MsgHead kPostEndHead{kPostLevelProgress, 0x99, DIAG_PANEL_FAULT_POST};

u8 g_threadStarted = 0; // one display thread per process, however often the display is set up

bool diagModeOn()
{
    return __atomic_load_n(&g_diag_mode_flag, __ATOMIC_RELAXED) == 1;
}

// POST state: one step of the phase (display_state.hpp); the error's second step ends POST.
void postStep(MsgHead &head)
{
    PostDisplay &post = g_stPostDisp;
    const bool error = post.phase == PostPhase::kError;
    head = {error ? kPostLevelError : kPostLevelProgress, error ? post.ucErrCode : post.ucPercent,
            DIAG_PANEL_FAULT_POST};
    post.uiElapsed += kStepSeconds;
    if (post.phase == PostPhase::kProgress || post.uiElapsed <= kStepSeconds) {
        return;
    }
    if (error) {
        DIAG_PANEL_DISP_ResetPost();
        DIAG_PANEL_DISP_ResetWalk();
        g_stDispCtrl.ucState = DIAG_PANEL_DISP_STATE_FAULT;
        g_stDispCtrl.ucPrevState = DIAG_PANEL_DISP_STATE_FAULT;
    } else {
        post.phase = onOpeningShown(post.phase);
        post.uiElapsed = 0;
    }
}

u32 bucketCount()
{
    DIAG_SCOPED_LOCK(g_HashMutex);
    return g_stHashHandle.ppstList != nullptr ? g_stHashHandle.uiListNum : 0;
}

enum class BucketScan : u8 { kShown, kExhausted, kNotInit };

// Marks and takes the first entry of the bucket not yet shown in this cycle.
//
// Every entry ahead of the one shown last is marked: entries are only ever appended, and the walk
// marks them in chain order. A scan from the head therefore reaches the same entry as a scan from
// the remembered one, and the remembered entry is never followed: a bucket emptied behind the
// display's back (POST start, the free operations, a new table) cannot leave it a dangling pointer.
BucketScan showNextInBucket(u32 bucket, MsgHead &head)
{
    DIAG_SCOPED_LOCK(g_HashMutex);
    if (g_stHashHandle.ppstList == nullptr || bucket >= g_stHashHandle.uiListNum ||
        bucket >= DIAG_PANEL_FAULT_TYPE_NUM) {
        return BucketScan::kNotInit;
    }
    g_abListModifyTbl[bucket] = 0;
    for (DIAG_PANEL_NODE_S *node = g_stHashHandle.ppstList[bucket]; node != nullptr;
         node = node->pstNext) {
        if (node->ucDisplayed == 0) {
            node->ucDisplayed = 1;
            head = {node->stMsg.ucLevelInfo, node->stMsg.ucIndex, node->stMsg.usFaultType};
            g_stFaultWalk.pstCurNode = node;
            return BucketScan::kShown;
        }
    }
    g_stFaultWalk.pstCurNode = nullptr;
    return BucketScan::kExhausted;
}

// Fault state: the next entry in bucket order, wrapping from the last bucket to the first. At
// most n + 1 buckets are visited; with nothing to show the head stays all zero.
bool walkFaults(MsgHead &head)
{
    FaultWalk &walk = g_stFaultWalk;
    const u32 buckets = bucketCount();
    if (buckets == 0) {
        DIAG_LOG_AT(kLogError, "[%s.%u]Hashtable not init!\n");
        return false;
    }
    if (walk.ucRestart == 1) {
        DIAG_PANEL_DISP_ResetWalk();
        walk.ucRestart = 0;
        for (u32 bucket = 0; bucket < buckets; ++bucket) {
            DIAG_PANEL_DISP_ClearListMark(bucket);
        }
    }
    const bool hadNode = walk.pstCurNode != nullptr;
    for (u32 tries = 0;;) {
        const u32 bucket = walk.ucListIdx;
        const BucketScan scan = showNextInBucket(bucket, head);
        if (scan == BucketScan::kShown) {
            return true;
        }
        if (scan == BucketScan::kNotInit) {
            DIAG_LOG_AT(kLogError, "[%s.%u]Hashtable not init!\n");
        }
        if (hadNode) {
            DIAG_PANEL_DISP_ClearListMark(bucket); // so the bucket shows again next cycle
        }
        ++tries;
        walk.ucListIdx = static_cast<u8>(bucket + 1 >= buckets ? 0 : bucket + 1);
        if (tries > buckets) {
            return true; // nothing to show: the all-zero head
        }
    }
}

bool faultStep(MsgHead &head)
{
    FaultWalk &walk = g_stFaultWalk;
    if (walk.ucPostEnd == 1) {
        head = kPostEndHead; // two steps: the second finds the elapsed time set
        if (walk.uiPostEndElapsed != 0) {
            walk.ucPostEnd = 0;
        }
        walk.uiPostEndElapsed = kStepSeconds;
        return true;
    }
    return walkFaults(head);
}

} // namespace

void DIAG_PANEL_DISP_ResetPost()
{
    g_stPostDisp = PostDisplay{};
    g_stPostDisp.phase = PostPhase::kOpening;
}

void DIAG_PANEL_DISP_ResetWalk()
{
    g_stFaultWalk = FaultWalk{};
    g_stFaultWalk.ucRestart = 1;
}

void DIAG_PANEL_DISP_ClearListMark(u32 uiIndex)
{
    DIAG_SCOPED_LOCK(g_HashMutex);
    if (g_stHashHandle.ppstList == nullptr || g_stHashHandle.uiListNum == 0) {
        DIAG_LOG_AT(kLogError, "[%s.%u]Hashtable not init!\n");
        return;
    }
    if (uiIndex >= g_stHashHandle.uiListNum) {
        return;
    }
    for (DIAG_PANEL_NODE_S *node = g_stHashHandle.ppstList[uiIndex]; node != nullptr;
         node = node->pstNext) {
        node->ucDisplayed = 0;
    }
}

DIAG_PANEL_API int DIAG_PANEL_DisplayInit(u32 uiHalHandle)
{
    (void)uiHalHandle;
    {
        DIAG_SCOPED_LOCK(g_DisplayMutex); // a repeated set-up finds the thread running
        DIAG_PANEL_DISP_ResetPost();
        DIAG_PANEL_DISP_ResetWalk();
        g_stDispCtrl.ucState = DIAG_PANEL_DISP_STATE_FAULT;
        g_stDispCtrl.ucPrevState = DIAG_PANEL_DISP_STATE_FAULT;
    }
    if (__atomic_exchange_n(&g_threadStarted, u8{1}, __ATOMIC_ACQ_REL) == 1) {
        return 0;
    }
    pthread_t thread;
    if (pthread_create(&thread, nullptr, DIAG_PANEL_DisplayTask, nullptr) != 0) {
        __atomic_store_n(&g_threadStarted, u8{0}, __ATOMIC_RELEASE);
        DIAG_LOG_AT(kLogError, "[%s.%u]Create thread failed.\n");
        return -1;
    }
    __atomic_store_n(&g_stDispCtrl.ucReady, u8{1}, __ATOMIC_RELEASE);
    return 0;
}

DIAG_PANEL_API void *DIAG_PANEL_DisplayTask(void *pArg)
{
    (void)pArg;
    prctl(PR_SET_NAME, "DIAG_PANEL_DisplayTask");
    pthread_detach(pthread_self());
    for (;;) {
        if (diagModeOn()) {
            sleep(kRetrySeconds); // the firmware's diagnostic mode owns the panel
        } else {
            (void)DIAG_PANEL_StateProcess();
        }
    }
    return nullptr;
}

DIAG_PANEL_API int DIAG_PANEL_StateProcess(void)
{
    MsgHead head{};
    bool encoded = true;
    {
        DIAG_SCOPED_LOCK(g_DisplayMutex);
        switch (g_stDispCtrl.ucState) {
        case DIAG_PANEL_DISP_STATE_POST:
            postStep(head);
            break;
        case DIAG_PANEL_DISP_STATE_FAULT:
            encoded = faultStep(head);
            break;
        default:
            // Verbatim, misspelling included: see common/log.hpp.
            DIAG_LOG_AT(kLogWarning, "[%s.%u]Unknow state: %d\n", g_stDispCtrl.ucState);
            encoded = false;
            break;
        }
    }
    if (!encoded) {
        DIAG_LOG(kLogWarning, "Failed to get encode param for Diag Panel!");
        sleep(kRetrySeconds);
        return -1;
    }
    if (!diagModeOn()) {
        DIAG_PANEL_CMD_S cmd{};
        cmd.ucCmd = DIAG_PANEL_CMD_WRITE;
        cmd.ucLevelInfo = head.ucLevelInfo;
        cmd.ucIndex = head.ucIndex;
        cmd.usFaultType = head.usFaultType;
        (void)DIAG_PANEL_CORE_commonIfc(&cmd); // a refusal is logged there; the next step goes on
    }
    sleep(kStepSeconds);
    return 0;
}
