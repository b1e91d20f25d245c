// SPDX-License-Identifier: Apache-2.0
// The real display thread, stepped in virtual time: each test releases the thread's sleep, lets it
// run exactly one step, and reads the panel code that step wrote.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>

#include <host_platform/virtual_clock.hpp>
#include "host_support/log.hpp"
#include "host_support/table.hpp"
#include <platform/platform.h>
#include "tests/support/harness.hpp"

namespace {

constexpr u32 kNothing = 0x00004000;
constexpr u32 kPostEnd = 0x404004C8;
constexpr u32 kNoWrite = 0xFFFFFFFF;

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

    static void event(u32 type, u8 percent = 0)
    {
        DIAG_PANEL_DISP_EVENT_S ev{type, percent, {}, 0};
        ASSERT_EQ(DIAG_PANEL_EventRecv(&ev), 0);
    }

    // A scenario in words, one token at a time. Changes: "+3.11" asserts fault type 3 index 11h at
    // level 2 ("+3.11/3": level 3, new bits), "-3.11" clears it, "start", "end", "stop",
    // "progress:45", "error:77" (a POST error), "empty0" (one bucket), "emptyall", "newtable".
    // Steps, each what one display step shows: "3.11" (level 2) or "3.11/3", "p45", "e77", "END"
    // (the POST-end code), "." (the empty code). "table:2,4" checks the fault types the table
    // holds.
    static void play(const std::string &script)
    {
        std::istringstream words(script);
        for (std::string w; words >> w;) {
            SCOPED_TRACE(w);
            const auto hex = [&](size_t from) {
                return static_cast<u8>(std::stoul(w.substr(from), nullptr, 16));
            };
            // An entry: "type.index", its index in hex, or "type.index/level"; + and - before it.
            u16 type = 0;
            u8 index = 0, level = 2;
            std::sscanf(w.c_str() + (w[0] == '+' || w[0] == '-'), "%hu.%hhx/%hhu", &type, &index,
                        &level);
            if (w[0] == '+' || w[0] == '-') {
                const u32 mask = w[0] == '-' ? 0 : level == 2 ? 1 : 4;
                const u8 levelInfo = w[0] == '-' ? 0 : host::levelInfo(type, level);
                DIAG_PANEL_MSG_S msg = test::message(type, index, levelInfo, mask);
                ASSERT_EQ(DIAG_PANEL_ProcessNewMsg(&msg), 0);
            } else if (w == "start" || w == "end" || w == "stop") {
                event(w == "start" ? DIAG_PANEL_EVENT_POST_START
                      : w == "end" ? DIAG_PANEL_EVENT_POST_END
                                   : DIAG_PANEL_EVENT_POST_STOP);
            } else if (w.rfind("progress:", 0) == 0) {
                event(DIAG_PANEL_EVENT_POST_PROGRESS, hex(9));
            } else if (w.rfind("error:", 0) == 0) {
                ASSERT_EQ(DIAG_PANEL_DISP_trigPostErrState(1, hex(6)), 0);
            } else if (w == "emptyall") {
                DIAG_PANEL_LockFreeAllHashList();
            } else if (w.rfind("empty", 0) == 0) {
                DIAG_PANEL_LockFreeHashList(static_cast<u32>(std::stoul(w.substr(5))));
            } else if (w == "newtable") {
                DIAG_PANEL_LockFreeHashTable();
                ASSERT_EQ(DIAG_PANEL_InitHashTable(), 0);
            } else if (w.rfind("table:", 0) == 0) {
                std::string types;
                for (const test::Entry &e : test::tableSnapshot()) {
                    types += (types.empty() ? "" : ",") + std::to_string(e.msg.usFaultType);
                }
                EXPECT_EQ("table:" + types, w);
            } else {
                const u32 code = step();
                if (w == "." || w == "END") {
                    EXPECT_EQ(code, w == "." ? kNothing : kPostEnd);
                } else if (w[0] == 'p' || w[0] == 'e') {
                    // POST progress or error: its two digits at 3, the POST type bit, a kind bit
                    EXPECT_EQ(code, (w[0] == 'p' ? 0x40400000u : 0x80400000u) | u32{hex(1)} << 3);
                } else {
                    EXPECT_EQ(code, fault(type, index, level));
                }
            }
        }
    }
};

// The walk and the POST display, step by step. Emptying the bucket the walk showed last (POST
// start, the free operations, a new table) must never make it follow the freed entry: under
// AddressSanitizer any such read fails.
TEST_F(DisplayTest, ShowsWhatEachScenarioShouldStepByStep)
{
    const std::pair<const char *, const char *> scenarios[] = {
        {"bucket by bucket, chain order, cycling",
         "+3.11 +3.12 +7.13  3.11 3.12 7.13 3.11 3.12 7.13 3.11"},
        {"an empty table, then one entry", ". . .  +5.02/3  5.02/3 5.02/3"},
        {"an entry added to the current bucket shows this cycle",
         "+3.11 +3.12 +7.13  3.11  +3.14  3.12 3.14 7.13 3.11"},
        {"a merge does not show the bucket again",
         "+3.11 +3.12 +7.13  3.11 3.12  +3.11/3  7.13 3.11/3"},
        {"a removed entry is skipped", "+3.11 +3.12 +3.15  3.11  -3.12  3.15 3.11 3.15"},
        {"emptied buckets leave no dangling entry",
         "+0.01 +0.02 +2.03  0.01  empty0  2.03 2.03"
         "  +2.04  2.04  newtable  .  +1.05  1.05  emptyall  +1.06  1.06"},
        {"POST progress, end, then the faults from the first bucket",
         "+2.21 +6.22 +9.23  2.21"
         "  start  p00 p00  progress:10  p10  progress:45  p45 p45  end  END END 2.21 6.22 9.23"},
        {"POST start drops what POST detects again",
         "+0.30 +1.31 +2.32 +3.33 +4.34 +5.35 +6.36"
         " +7.37 +8.38 +9.39 +10.3A +11.3B  start  table:2,4,5,6,9  progress:50  p50 p50  end"
         "  END END 2.32 4.34 5.35 6.36 9.39"},
        {"a POST error shows two steps after the opening phase, then the faults",
         "+2.41  start  progress:20  p20 p20 p20  error:B2  eB2 eB2 2.41 2.41"},
        {"a POST error in the opening phase restarts its count",
         "start  p00  error:77  p00 p00 e77 e77 ."},
        {"stop and end act on the state the last event found",
         "+2.51  2.51  end  2.51"
         "  start  stop  p00  progress:30  p30  stop  2.51 2.51  progress:99  p99  table:2"},
        {"progress right after POST end continues the POST display",
         "start  progress:10  p10 p10 p10  end  END  progress:60  error:0E  e0E e0E ."},
        {"an error in the fault state shows nothing; POST start drops it",
         "error:FF  .  start  p00 p00 p00 p00"},
    };
    for (const auto &[name, script] : scenarios) {
        SCOPED_TRACE(name);
        SetUp();
        play(script);
    }
}

TEST_F(DisplayTest, ATableThatIsGoneFailsTheStepAndRetriesEverySecond)
{
    play("+4.01  4.01");
    DIAG_PANEL_LockFreeHashTable();
    const test::LogCursor log;
    EXPECT_EQ(stepWithSleep(), std::make_pair(kNoWrite, 1u)) << "no write, a one-second retry";
    const auto lines = log.lines();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0].level, 2u);
    EXPECT_EQ(host::withoutUnitPrefix(lines[0].text), "Hashtable not init!");
    EXPECT_EQ(lines[1], (test::LogLine{4, "DiagPanel_DisplayTask",
                                       "Failed to get encode param for Diag Panel!"}));
    ASSERT_EQ(DIAG_PANEL_InitHashTable(), 0);
    play(".");
}

// POST start and end are logged; a refused event (null, a percentage beyond 99h even where it is
// not read, a type beyond the last, the last type, which is unknown) is logged and does nothing.
TEST_F(DisplayTest, EventsAreLoggedAndCheckedBeforeTheyAct)
{
    const test::LogCursor log;
    play("start end");
    EXPECT_EQ(DIAG_PANEL_EventRecv(nullptr), DIAG_PANEL_ERR_NULL_PTR);
    const std::pair<DIAG_PANEL_DISP_EVENT_S, int> refused[] = {
        {{DIAG_PANEL_EVENT_POST_START, 0x9A, {}, 0}, -1}, {{5, 0, {}, 0}, -1}, {{4, 0, {}, 0}, 0}};
    for (auto [event, result] : refused) {
        EXPECT_EQ(DIAG_PANEL_EventRecv(&event), result);
    }
    std::vector<test::LogLine> lines = log.lines();
    for (test::LogLine &line : lines) { // "[unit.line]" prefixes go, "[unit]" ones stay
        line.text = line.text.starts_with("[DiagPanel_DisplayTask.")
                        ? std::string(host::withoutUnitPrefix(line.text))
                        : line.text;
    }
    const char *unit = "DiagPanel_DisplayTask";
    EXPECT_EQ(lines, (std::vector<test::LogLine>{
                         {6, unit, "[DiagPanel_DisplayTask]Post start event receive!"},
                         {6, unit, "[DiagPanel_DisplayTask]Post end event receive!"},
                         {4, unit, "Point is NULL!"},
                         {4, unit, "Invalid event info, type: 0 percentage: 9a"},
                         {4, unit, "Invalid event info, type: 5 percentage: 0"},
                         {4, unit, "Unknow event: 4"}}));
    // The POST-end code, two steps; a refused POST start emptied nothing; 99h itself is taken.
    play("+0.01  END END  0.01  progress:99  p99");
}

// Waits until the display thread, found by its name, blocks (on a mutex the test holds).
bool displayThreadBlocks()
{
    for (int i = 0; i < 5000; ++i) {
        for (const auto &task : std::filesystem::directory_iterator("/proc/self/task")) {
            std::ifstream comm(task.path() / "comm"), stat(task.path() / "stat");
            std::string name, line;
            std::getline(comm, name);
            std::getline(stat, line);
            const size_t close = line.rfind(')'); // the state follows the name in brackets
            if (name.starts_with("DIAG_PANEL_Disp") && close != std::string::npos &&
                close + 2 < line.size() && line[close + 2] == 'S') {
                return true;
            }
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return false;
}

TEST_F(DisplayTest, DiagnosticModeOwnsThePanel)
{
    play("+2.61  2.61");
    setDiagMode(1); // seen at the top of the loop: no step, a one-second pause
    EXPECT_EQ(stepWithSleep(), std::make_pair(kNoWrite, 1u));
    EXPECT_EQ(stepWithSleep(), std::make_pair(kNoWrite, 1u));
    setDiagMode(0);
    EXPECT_EQ(stepWithSleep(), std::make_pair(fault(2, 0x61), 4u)) << "stepping again";

    // Switched on during a step: that step skips its write but still sleeps four seconds.
    pthread_mutex_lock(&g_DisplayMutex);
    ASSERT_TRUE(vclock::release());
    ASSERT_TRUE(vclock::waitResumed());
    ASSERT_TRUE(displayThreadBlocks());
    const test::PanelCursor panel;
    setDiagMode(1);
    pthread_mutex_unlock(&g_DisplayMutex);
    EXPECT_EQ(vclock::waitParked(), 4u);
    EXPECT_TRUE(panel.codes().empty());
    setDiagMode(0);
}

} // namespace
