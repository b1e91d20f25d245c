// SPDX-License-Identifier: Apache-2.0
// Every allocation the library makes, failed in turn. Each scenario (start-up, each message kind
// through the real pipe, table operations) lists the allocations it makes, in order, with the line
// that each one's failure logs; the sweep fails the n-th for every n. Each failure must log its
// line, leak nothing (allocations and frees are counted; the table is emptied after each run) and
// leave the library working: the scenario run again gives what a run that never failed gives.
// A run that never fails of a SEL record leaves its family's entries.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "display/display_state.hpp"
#include "host_support/log.hpp"
#include "tests/hardening/allocations.hpp"
#include "tests/hardening/families.hpp"
#include "tests/support/alloc_failure.hpp"
#include "tests/support/harness.hpp"

extern "C" void __real_free(void *pointer);
extern "C" void __wrap_free(void *pointer);

namespace {

std::atomic<unsigned long> g_frees{0};

} // namespace

extern "C" void __wrap_free(void *pointer)
{
    if (pointer != nullptr) {
        ++g_frees;
    }
    __real_free(pointer);
}

namespace test {

long liveAllocations(const FailAllocation *failure)
{
    const unsigned long failed = failure != nullptr && failure->fired() ? 1 : 0;
    return static_cast<long>(allocationCount() - failed - g_frees.load());
}

long quietAllocations()
{
    long last = liveAllocations(nullptr);
    for (int same = 0; same < 3;) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
        const long now = liveAllocations(nullptr);
        same = now == last ? same + 1 : 0;
        last = now;
    }
    return last;
}

bool liveSettleAt(long expected, const FailAllocation *failure)
{
    for (int i = 0; i < 1000 && liveAllocations(failure) != expected; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return liveAllocations(failure) == expected;
}

} // namespace test

namespace {

// The line each allocation site logs when its allocation fails, without its "[unit.line]" prefix.
const std::string kSelFrame = "Failed to malloc memory: len=0x20";
const std::string kEventFrame = "Failed to malloc memory: len=0x1c";
const std::string kEntry = "Memory allocation Failed for diagnostic panel node.";
const std::string kBuckets = "Memory allocation Failed for hash table.";

// A scenario's run is followed by a drain of the intake, whose marker frame is one allocation more.
struct Scenario {
    const char *name;
    std::function<void()> run;
    std::vector<std::string> sites; // the allocations, in order, by the line their failure logs
    const char *leaves = nullptr;   // a SEL record's entries in an empty table (FamilyRecord's)
};

std::vector<Scenario> scenarios()
{
    DIAG_PANEL_MSG_S first = test::message(DIAG_PANEL_FAULT_DISK, 3, 2 << 2, 0x1);
    DIAG_PANEL_MSG_S second = test::message(DIAG_PANEL_FAULT_DISK, 3, 3 << 2, 0x4);
    std::vector<Scenario> all = {
        {"start-up on a running library", [] { ASSERT_EQ(DIAG_PANEL_init(0x5A), 0); }, {kBuckets}},
        {"table: an entry, a merge into it, a clear",
         [=]() mutable {
             (void)DIAG_PANEL_ProcessNewMsg(&first);
             (void)DIAG_PANEL_ProcessNewMsg(&second);
             DIAG_PANEL_MSG_S clear = test::message(DIAG_PANEL_FAULT_DISK, 3, 0, 0x1, 2);
             (void)DIAG_PANEL_ProcessNewMsg(&clear);
         },
         {kEntry, kEntry}},
        {"display event",
         [] { ASSERT_EQ(test::postEvent(DIAG_PANEL_EVENT_POST_PROGRESS, 45), 0); },
         {kEventFrame}},
    };
    // A SEL record through the pipe: its frame, the translator's messages, the table's entries.
    for (const test::FamilyRecord &f : test::familyRecords()) {
        char messages[64]; // the translator's array of messages
        snprintf(messages, sizeof messages, "Failed to alloc memory of hash node: %#x",
                 20u * f.messages);
        std::vector<std::string> sites{kSelFrame, messages};
        sites.insert(sites.end(), f.entries, kEntry);
        all.push_back(
            {f.name, [&f] { ASSERT_EQ(test::postSel(f.record, f.severity), 0); }, sites, f.leaves});
    }
    return all;
}

// What a scenario leaves: the table's entries and the display's state.
std::string observe()
{
    std::string out;
    for (const test::Entry &e : test::tableSnapshot()) {
        char text[80];
        snprintf(text, sizeof text, "%u:%02x:%02x:%x:%u%u%u ", e.bucket, e.msg.ucIndex,
                 e.msg.ucLevelInfo, e.msg.uiFaultMask, e.msg.ucLevel1Cnt, e.msg.ucLevel2Cnt,
                 e.msg.ucLevel3Cnt);
        out += text;
    }
    pthread_mutex_lock(&g_DisplayMutex);
    char state[64];
    snprintf(state, sizeof state, "state %u percent %02x phase %u/%02x", diag::g_stDispCtrl.ucState,
             diag::g_stPostDisp.ucPercent, static_cast<unsigned>(diag::g_stPostDisp.phase),
             diag::g_stPostDisp.ucErrCode);
    pthread_mutex_unlock(&g_DisplayMutex);
    return out + state;
}

class AllocationSweep : public testing::Test
{
  protected:
    static void SetUpTestSuite() { test::startWithFamilies(); }

    // An empty table and a display as fresh as at start-up; a table left uninitialised by a
    // failed start-up is made again.
    static void fresh()
    {
        ASSERT_TRUE(test::drainIntake());
        if (g_stHashHandle.ppstList == nullptr) {
            ASSERT_EQ(DIAG_PANEL_InitHashTable(), 0);
        }
        DIAG_PANEL_LockFreeAllHashList();
        ASSERT_EQ(DIAG_PANEL_DisplayInit(0), 0);
    }
};

TEST_F(AllocationSweep, EveryAllocationOfEveryScenarioFailsCleanly)
{
    unsigned failures = 0;
    for (const Scenario &s : scenarios()) {
        SCOPED_TRACE(s.name);
        fresh();
        // A run that never fails: what it leaves, and that it makes exactly the listed allocations.
        long live = test::quietAllocations();
        const unsigned long before = test::allocationCount();
        s.run();
        ASSERT_TRUE(test::drainIntake());
        const unsigned long made = test::allocationCount() - before - 1; // less the marker's frame
        const std::string expected = observe();
        if (s.leaves != nullptr) {
            EXPECT_EQ(test::entriesText(test::tableSnapshot()), s.leaves);
        }
        fresh();
        ASSERT_EQ(made, s.sites.size()) << "allocations of a run";
        ASSERT_TRUE(test::liveSettleAt(live)) << "a run leaks";

        for (unsigned n = 1; n <= s.sites.size(); ++n) {
            SCOPED_TRACE(testing::Message() << "allocation " << n << " fails: " << s.sites[n - 1]);
            live = test::quietAllocations(); // earlier failures count as calls, not allocations
            {
                const test::LogCursor log;
                const test::FailAllocation failure(n);
                s.run();
                ASSERT_TRUE(test::drainIntake());
                ASSERT_TRUE(failure.fired());
                const auto site = [&](const std::string &line) {
                    return host::withoutUnitPrefix(line) == s.sites[n - 1];
                };
                EXPECT_EQ(std::ranges::count_if(log.texts(), site), 1)
                    << testing::PrintToString(log.texts());
                fresh();
                EXPECT_TRUE(test::liveSettleAt(live, &failure)) << "leaked";
            }
            s.run();
            ASSERT_TRUE(test::drainIntake());
            EXPECT_EQ(observe(), expected) << "the library works on after the failure";
            fresh();
            ++failures;
        }
    }
    printf("\n%u allocation failures injected, one per allocation of each scenario\n", failures);
}

} // namespace
