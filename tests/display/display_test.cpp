// The real display thread, stepped in virtual time: each test releases the thread's sleep, lets it
// run exactly one step, and reads the panel code that step wrote.
#include <gtest/gtest.h>

#include <cstring>
#include <dirent.h>
#include <fstream>
#include <thread>

#include "host_platform/virtual_clock.hpp"
#include "host_support/log.hpp"
#include "platform/platform.h"
#include "tests/support/harness.hpp"

namespace {

constexpr u32 kNothing = 0x00004000;
constexpr u32 kPostEnd = 0x404004C8;
constexpr u32 kNoWrite = 0xFFFFFFFF;

constexpr u32 progress(u8 percent)
{
    return 0x40400000u | u32{percent} << 3;
}
constexpr u32 postError(u8 code)
{
    return 0x80400000u | u32{code} << 3;
}
// A fault entry's code: its level (bits 2-4 of ucLevelInfo) at 11, index at 3, type bit at 14.
constexpr u32 fault(u16 type, u8 index, u8 level = 2)
{
    return u32{level} << 11 | u32{index} << 3 | 1u << (14 + type);
}

void setDiagMode(u32 on)
{
    __atomic_store_n(&g_diag_mode_flag, on, __ATOMIC_RELAXED);
}

class DisplayTest : public testing::Test
{
  protected:
    static void SetUpTestSuite()
    {
        HOST_Reset();
        HOST_LogEcho(0);
        ASSERT_EQ(DIAG_PANEL_InitHashTable(), 0);
        ASSERT_EQ(DIAG_PANEL_DisplayInit(0), 0);
        ASSERT_EQ(vclock::waitParked(), 4u) << "the thread's first step";
    }

    // Each test starts from an empty table and a display as fresh as at start-up.
    void SetUp() override
    {
        setDiagMode(0);
        DIAG_PANEL_LockFreeAllHashList();
        ASSERT_EQ(DIAG_PANEL_DisplayInit(0), 0);
        memset(g_abListModifyTbl, 0, sizeof g_abListModifyTbl);
    }

    // One display step: the code it wrote (kNoWrite if none) and the seconds of its closing sleep.
    static std::pair<u32, unsigned> stepWithSleep()
    {
        const test::PanelCursor panel;
        const unsigned seconds = vclock::step();
        const std::vector<u32> codes = panel.codes();
        EXPECT_LE(codes.size(), 1u);
        return {codes.empty() ? kNoWrite : codes[0], seconds};
    }

    static u32 step()
    {
        const auto [code, seconds] = stepWithSleep();
        EXPECT_EQ(seconds, 4u);
        return code;
    }

    static std::vector<u32> steps(int count)
    {
        std::vector<u32> codes;
        for (int i = 0; i < count; ++i) {
            codes.push_back(step());
        }
        return codes;
    }

    static void add(u16 type, u8 index, u32 mask = 1, u8 level = 2)
    {
        const auto levelInfo = static_cast<u8>(type == DIAG_PANEL_FAULT_POST ? level : level << 2);
        DIAG_PANEL_MSG_S msg = test::message(type, index, levelInfo, mask);
        ASSERT_EQ(DIAG_PANEL_ProcessNewMsg(&msg), 0);
    }

    static void event(u32 type, u8 percent = 0)
    {
        DIAG_PANEL_DISP_EVENT_S ev{};
        ev.uiEventType = type;
        ev.ucPercent = percent;
        ASSERT_EQ(DIAG_PANEL_EventRecv(&ev), 0);
    }
};

TEST_F(DisplayTest, ShowsEntriesBucketByBucketInChainOrderAndCycles)
{
    add(3, 0x11);
    add(3, 0x12);
    add(7, 0x13);
    EXPECT_EQ(steps(7),
              (std::vector<u32>{fault(3, 0x11), fault(3, 0x12), fault(7, 0x13), fault(3, 0x11),
                                fault(3, 0x12), fault(7, 0x13), fault(3, 0x11)}));
}

TEST_F(DisplayTest, AnEmptyTableShowsNothingAndOneEntryShowsEveryStep)
{
    EXPECT_EQ(steps(3), std::vector<u32>(3, kNothing));
    add(5, 0x02, 1, 3);
    EXPECT_EQ(steps(3), std::vector<u32>(3, fault(5, 0x02, 3)));
}

TEST_F(DisplayTest, AnEntryAddedToTheCurrentBucketShowsInItsChainPlaceThisCycle)
{
    add(3, 0x11);
    add(3, 0x12);
    add(7, 0x13);
    EXPECT_EQ(step(), fault(3, 0x11));
    add(3, 0x14);
    EXPECT_EQ(steps(5), (std::vector<u32>{fault(3, 0x12), fault(3, 0x14), fault(7, 0x13),
                                          fault(3, 0x11), fault(3, 0x12)}));
}

TEST_F(DisplayTest, AMergeDoesNotShowTheBucketAgain)
{
    add(3, 0x11);
    add(3, 0x12);
    add(7, 0x13);
    EXPECT_EQ(steps(2), (std::vector<u32>{fault(3, 0x11), fault(3, 0x12)}));
    add(3, 0x11, 0x4, 3); // new bits, new level
    EXPECT_EQ(steps(2), (std::vector<u32>{fault(7, 0x13), fault(3, 0x11, 3)}));
}

TEST_F(DisplayTest, ARemovedEntryIsSkippedAndTheWalkGoesOn)
{
    add(3, 0x11);
    add(3, 0x12);
    add(3, 0x15);
    EXPECT_EQ(step(), fault(3, 0x11));
    DIAG_PANEL_MSG_S clear = test::message(3, 0x12, 0, 0);
    ASSERT_EQ(DIAG_PANEL_ProcessNewMsg(&clear), 0);
    EXPECT_EQ(steps(3), (std::vector<u32>{fault(3, 0x15), fault(3, 0x11), fault(3, 0x15)}));
}

// The walk remembers the entry it showed last; emptying that bucket behind its back (POST start,
// the free operations, a new table) must never make it follow the freed entry. Under
// AddressSanitizer any such read fails the test.
TEST_F(DisplayTest, EmptiedBucketsLeaveNoDanglingEntry)
{
    add(0, 0x01);
    add(0, 0x02);
    add(2, 0x03);
    EXPECT_EQ(step(), fault(0, 0x01));
    DIAG_PANEL_LockFreeHashList(0);
    EXPECT_EQ(steps(2), (std::vector<u32>{fault(2, 0x03), fault(2, 0x03)}));

    add(2, 0x04);
    EXPECT_EQ(step(), fault(2, 0x04));
    DIAG_PANEL_LockFreeHashTable();
    ASSERT_EQ(DIAG_PANEL_InitHashTable(), 0);
    EXPECT_EQ(step(), kNothing);

    add(1, 0x05);
    EXPECT_EQ(step(), fault(1, 0x05));
    DIAG_PANEL_LockFreeAllHashList();
    add(1, 0x06);
    EXPECT_EQ(step(), fault(1, 0x06));
}

TEST_F(DisplayTest, ATableThatIsGoneFailsTheStepAndRetriesEverySecond)
{
    add(4, 0x01);
    EXPECT_EQ(step(), fault(4, 0x01));
    DIAG_PANEL_LockFreeHashTable();
    const test::LogCursor log;
    const auto [code, seconds] = stepWithSleep();
    EXPECT_EQ(code, kNoWrite);
    EXPECT_EQ(seconds, 1u);
    const auto lines = log.lines();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0].level, 2u);
    EXPECT_NE(lines[0].text.find("]Hashtable not init!"), std::string::npos);
    EXPECT_EQ(lines[1], (test::LogLine{4, "DiagPanel_DisplayTask",
                                       "Failed to get encode param for Diag Panel!"}));
    ASSERT_EQ(DIAG_PANEL_InitHashTable(), 0);
    EXPECT_EQ(step(), kNothing);
}

TEST_F(DisplayTest, PostProgressThenEndThenTheFaultsFromTheFirstBucket)
{
    add(2, 0x21);
    add(6, 0x22);
    add(9, 0x23);
    EXPECT_EQ(step(), fault(2, 0x21));
    const test::LogCursor log;
    event(DIAG_PANEL_EVENT_POST_START);
    EXPECT_EQ(steps(2), (std::vector<u32>{progress(0x00), progress(0x00)}));
    event(DIAG_PANEL_EVENT_POST_PROGRESS, 0x10); // the first progress opens the phase anew
    EXPECT_EQ(step(), progress(0x10));
    event(DIAG_PANEL_EVENT_POST_PROGRESS, 0x45); // later ones only replace the percentage
    EXPECT_EQ(steps(2), (std::vector<u32>{progress(0x45), progress(0x45)}));
    event(DIAG_PANEL_EVENT_POST_END);
    EXPECT_EQ(steps(5), (std::vector<u32>{kPostEnd, kPostEnd, fault(2, 0x21), fault(6, 0x22),
                                          fault(9, 0x23)}));
    EXPECT_EQ(log.lines(),
              (std::vector<test::LogLine>{
                  {6, "DiagPanel_DisplayTask", "[DiagPanel_DisplayTask]Post start event receive!"},
                  {6, "DiagPanel_DisplayTask", "[DiagPanel_DisplayTask]Post end event receive!"}}));
}

TEST_F(DisplayTest, PostStartDropsTheFaultTypesThatPostDetectsAgain)
{
    for (u16 type = 0; type < 12; ++type) {
        add(type, static_cast<u8>(0x30 + type));
    }
    event(DIAG_PANEL_EVENT_POST_START);
    std::vector<u16> kept;
    for (const test::Entry &e : test::tableSnapshot()) {
        kept.push_back(e.msg.usFaultType);
    }
    EXPECT_EQ(kept, (std::vector<u16>{2, 4, 5, 6, 9}));
    event(DIAG_PANEL_EVENT_POST_PROGRESS, 0x50);
    steps(2);
    event(DIAG_PANEL_EVENT_POST_END);
    EXPECT_EQ(steps(7), (std::vector<u32>{kPostEnd, kPostEnd, fault(2, 0x32), fault(4, 0x34),
                                          fault(5, 0x35), fault(6, 0x36), fault(9, 0x39)}));
}

TEST_F(DisplayTest, PostErrorShowsTwoStepsAfterTheOpeningPhaseThenTheFaults)
{
    add(2, 0x41);
    event(DIAG_PANEL_EVENT_POST_START);
    event(DIAG_PANEL_EVENT_POST_PROGRESS, 0x20);
    EXPECT_EQ(steps(3), (std::vector<u32>{progress(0x20), progress(0x20), progress(0x20)}));
    ASSERT_EQ(DIAG_PANEL_DISP_trigPostErrState(3, 0xB2), 0);
    EXPECT_EQ(steps(4),
              (std::vector<u32>{postError(0xB2), postError(0xB2), fault(2, 0x41), fault(2, 0x41)}))
        << "the display leaves POST by itself, without the POST-end code";
}

TEST_F(DisplayTest, PostErrorDuringTheOpeningPhaseRestartsItsCount)
{
    event(DIAG_PANEL_EVENT_POST_START);
    EXPECT_EQ(step(), progress(0));
    ASSERT_EQ(DIAG_PANEL_DISP_trigPostErrState(1, 0x77), 0);
    EXPECT_EQ(steps(5), (std::vector<u32>{progress(0), progress(0), postError(0x77),
                                          postError(0x77), kNothing}));
}

TEST_F(DisplayTest, StopAndEndActOnTheStateTheLastEventFound)
{
    add(2, 0x51);
    EXPECT_EQ(step(), fault(2, 0x51));
    event(DIAG_PANEL_EVENT_POST_END); // in the fault state: no POST-end code, no restart
    EXPECT_EQ(step(), fault(2, 0x51));

    event(DIAG_PANEL_EVENT_POST_START);
    event(DIAG_PANEL_EVENT_POST_STOP); // the start came in the fault state: nothing changes
    EXPECT_EQ(step(), progress(0));
    event(DIAG_PANEL_EVENT_POST_PROGRESS, 0x30);
    EXPECT_EQ(step(), progress(0x30));
    event(DIAG_PANEL_EVENT_POST_STOP); // after a progress event it ends POST
    EXPECT_EQ(steps(2), (std::vector<u32>{fault(2, 0x51), fault(2, 0x51)}));

    event(DIAG_PANEL_EVENT_POST_PROGRESS, 0x99); // progress in the fault state: POST, no clear
    EXPECT_EQ(step(), progress(0x99));
    EXPECT_EQ(test::tableSnapshot().size(), 1u);
}

TEST_F(DisplayTest, ProgressRightAfterPostEndContinuesThePostDisplay)
{
    event(DIAG_PANEL_EVENT_POST_START);
    event(DIAG_PANEL_EVENT_POST_PROGRESS, 0x10);
    EXPECT_EQ(steps(3), (std::vector<u32>{progress(0x10), progress(0x10), progress(0x10)}));
    event(DIAG_PANEL_EVENT_POST_END);
    EXPECT_EQ(step(), kPostEnd);
    event(DIAG_PANEL_EVENT_POST_PROGRESS, 0x60); // previous state POST: no new opening phase
    ASSERT_EQ(DIAG_PANEL_DISP_trigPostErrState(1, 0x0E), 0);
    EXPECT_EQ(steps(3), (std::vector<u32>{postError(0x0E), postError(0x0E), kNothing}));
}

TEST_F(DisplayTest, AnErrorTriggeredInTheFaultStateShowsNothingAndIsDroppedByThePostReset)
{
    ASSERT_EQ(DIAG_PANEL_DISP_trigPostErrState(0, 0xFF), 0);
    EXPECT_EQ(step(), kNothing);
    event(DIAG_PANEL_EVENT_POST_START);
    EXPECT_EQ(steps(4), std::vector<u32>(4, progress(0)));
}

TEST_F(DisplayTest, EventsAreCheckedBeforeTheyAct)
{
    add(0, 0x01);
    test::LogCursor log;
    EXPECT_EQ(DIAG_PANEL_EventRecv(nullptr), DIAG_PANEL_ERR_NULL_PTR);
    DIAG_PANEL_DISP_EVENT_S ev{};
    ev.uiEventType = DIAG_PANEL_EVENT_POST_START;
    ev.ucPercent = 0x9A;
    EXPECT_EQ(DIAG_PANEL_EventRecv(&ev), -1);
    ev = {5, 0, {}, 0};
    EXPECT_EQ(DIAG_PANEL_EventRecv(&ev), -1);
    ev = {4, 0, {}, 0};
    EXPECT_EQ(DIAG_PANEL_EventRecv(&ev), 0);
    const auto lines = log.lines();
    ASSERT_EQ(lines.size(), 4u);
    EXPECT_EQ(host::withoutUnitPrefix(lines[0].text), "Point is NULL!");
    EXPECT_EQ(lines[1].text, "Invalid event info, type: 0 percentage: 9a");
    EXPECT_EQ(lines[2].text, "Invalid event info, type: 5 percentage: 0");
    EXPECT_EQ(host::withoutUnitPrefix(lines[3].text), "Unknow event: 4");
    for (const test::LogLine &line : lines) {
        EXPECT_EQ(line.level, 4u);
        EXPECT_EQ(line.file, "DiagPanel_DisplayTask");
    }
    EXPECT_EQ(test::tableSnapshot().size(), 1u) << "a refused POST start empties nothing";
    EXPECT_EQ(step(), fault(0, 0x01));
    event(DIAG_PANEL_EVENT_POST_PROGRESS, 0x99);
    EXPECT_EQ(step(), progress(0x99));
}

// The display thread's task id, found by its name.
std::string displayTask()
{
    std::string found;
    if (DIR *tasks = opendir("/proc/self/task")) {
        while (const dirent *entry = readdir(tasks)) {
            std::ifstream comm(std::string("/proc/self/task/") + entry->d_name + "/comm");
            std::string name;
            if (std::getline(comm, name) && name.rfind("DIAG_PANEL_Disp", 0) == 0) {
                found = entry->d_name;
            }
        }
        closedir(tasks);
    }
    return found;
}

// Waits until the display thread blocks (on a mutex the test holds).
bool waitBlocked(const std::string &task)
{
    for (int i = 0; i < 5000; ++i) {
        std::ifstream stat("/proc/self/task/" + task + "/stat");
        std::string line;
        std::getline(stat, line);
        const size_t close = line.rfind(')');
        if (close != std::string::npos && close + 2 < line.size() && line[close + 2] == 'S') {
            return true;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return false;
}

TEST_F(DisplayTest, DiagnosticModeOwnsThePanel)
{
    add(2, 0x61);
    EXPECT_EQ(step(), fault(2, 0x61));
    setDiagMode(1); // seen at the top of the loop: no step, a one-second pause
    EXPECT_EQ(stepWithSleep(), std::make_pair(kNoWrite, 1u));
    EXPECT_EQ(stepWithSleep(), std::make_pair(kNoWrite, 1u));
    setDiagMode(0);
    EXPECT_EQ(stepWithSleep(), std::make_pair(fault(2, 0x61), 4u)) << "stepping again";

    // Switched on during a step: that step skips its write but still sleeps four seconds.
    const std::string task = displayTask();
    ASSERT_FALSE(task.empty());
    pthread_mutex_lock(&g_DisplayMutex);
    ASSERT_TRUE(vclock::release());
    ASSERT_TRUE(vclock::waitResumed());
    ASSERT_TRUE(waitBlocked(task));
    const test::PanelCursor panel;
    setDiagMode(1);
    pthread_mutex_unlock(&g_DisplayMutex);
    EXPECT_EQ(vclock::waitParked(), 4u);
    EXPECT_TRUE(panel.codes().empty());
    setDiagMode(0);
}

} // namespace
