// Every allocation the library makes, failed in turn. Each scenario (start-up, each message kind
// through the real pipe, table operations) lists the allocations it makes, in order, with the line
// that each one's failure logs; the sweep fails the n-th for every n. Each failure must log its
// line, leak nothing (allocations and frees are counted; the table is emptied after each run) and
// leave the library working: the scenario run again gives what a run that never failed gives.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "display/display_state.hpp"
#include "host_platform/virtual_clock.hpp"
#include "platform/platform.h"
#include "tests/hardening/allocations.hpp"
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

using test::sel;

constexpr u32 kBoard = 0x01030103;

// The line each allocation site logs when its allocation fails. Texts that begin with "]" follow
// the "[unit.line]" prefix.
const std::string kSelFrame = "Failed to malloc memory: len=0x20";
const std::string kEventFrame = "Failed to malloc memory: len=0x1c";
const std::string kMessage = "Failed to alloc memory of hash node: 0x14";
const std::string kTwoMessages = "Failed to alloc memory of hash node: 0x28";
const std::string kEntry = "]Memory allocation Failed for diagnostic panel node.";
const std::string kBuckets = "]Memory allocation Failed for hash table.";

// A scenario's run is followed by a drain of the intake, whose marker frame is one allocation more.
struct Scenario {
    const char *name;
    std::function<void()> run;
    std::vector<std::string> sites; // the allocations, in order, by the line their failure logs
};

void post(const test::SelBytes &record, u8 severity = 4)
{
    ASSERT_EQ(test::postSel(record, severity), 0);
}

// A SEL record through the pipe: its frame, the translator's message, the table's entry.
Scenario selRecord(const char *name, const test::SelBytes &record, u8 severity = 4)
{
    return {name, [=] { post(record, severity); }, {kSelFrame, kMessage, kEntry}};
}

std::vector<Scenario> scenarios()
{
    DIAG_PANEL_MSG_S first = test::message(DIAG_PANEL_FAULT_DISK, 3, 2 << 2, 0x1);
    DIAG_PANEL_MSG_S second = test::message(DIAG_PANEL_FAULT_DISK, 3, 3 << 2, 0x4);
    return {
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
        selRecord("memory", sel(0x0C, 0x30, 0x6F, 0xA2, 0, 0)),
        selRecord("firmware progress", sel(0x0F, 0x01, 0x6F, 0xAD, 0x03)),
        selRecord("raid", sel(0x17, 0x50, 0x6F, 0xA1, 7)),
        selRecord("disk", sel(0x0D, 0x42, 0x6F, 0x01)),
        {"board logic, two faults of one record",
         [] { post(sel(0x15, 0x60, 0x6F, 0xA0, 0x68, 0x05)); },
         {kSelFrame, kTwoMessages, kEntry, kEntry}},
        {"board logic, a single-bit fault",
         [] { post(sel(0x15, 0x60, 0x6F, 0x00, 0x66, 0x00)); },
         {kSelFrame, kMessage, kEntry}},
        selRecord("post watchdog", sel(0x23, 0x03, 0x6F, 0xC0, 0x01)),
        selRecord("temperature", sel(0x01, 0x31, 0x01, 0x09)),
        selRecord("power supply", sel(0x08, 0x41, 0x6F, 0x06)),
        selRecord("processor", sel(0x07, 0x51, 0x6F, 0x0B)),
        {"power capping, a clear",
         [] { post(sel(0x0A, 0x99, 0xF2, 0x08)); },
         {kSelFrame, kMessage}},
        selRecord("fan", sel(0x04, 0x61, 0x0A, 0x08), 0),
        selRecord("pcie", sel(0x13, 0x70, 0x6F, 0x85, 3)),
    };
}

bool logged(const test::LogCursor &log, const std::string &text)
{
    int count = 0;
    for (const std::string &line : log.texts()) {
        const bool prefixed = text[0] == ']' && line.size() > text.size() && line[0] == '[' &&
                              line.compare(line.size() - text.size(), text.size(), text) == 0;
        count += line == text || prefixed;
    }
    return count == 1;
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
    snprintf(state, sizeof state, "state %u percent %02x error %u/%02x", diag::g_stDispCtrl.ucState,
             diag::g_stPostDisp.ucPercent, diag::g_stPostDisp.ucErrFlag,
             diag::g_stPostDisp.ucErrCode);
    pthread_mutex_unlock(&g_DisplayMutex);
    return out + state;
}

class AllocationSweep : public testing::Test
{
  protected:
    static void SetUpTestSuite()
    {
        HOST_Reset();
        HOST_LogEcho(0);
        HOST_SetBoardId(kBoard);
        HOST_SensorSetName(0x31, "19-P/S 2 Zone");
        HOST_SensorSetName(0x41, "PSU_2_Status");
        HOST_SensorSetName(0x51, "CPU_1_Status");
        HOST_SensorSetName(0x61, "Fan_1_Status");
        HOST_FanSetError(0, 1);
        g_astGetALLHDDSensor[0x42][0] = 0x07;
        HOST_DiskSetLocation(0x07, 1, 5, 0);
        const u8 codes[] = {0x19, 0xA1, 0xB2};
        HOST_PostSetCodes(codes, sizeof codes);
        g_uiPcieRaidSlotNum = 3;
        ASSERT_EQ(DIAG_PANEL_init(0x5A), 0);
        ASSERT_EQ(vclock::waitParked(), 4u);
    }

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
                EXPECT_TRUE(logged(log, s.sites[n - 1])) << testing::PrintToString(log.texts());
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
