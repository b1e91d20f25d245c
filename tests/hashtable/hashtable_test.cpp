// SPDX-License-Identifier: Apache-2.0
// The fault table against a small reference model of its merge, clear, counter and level rules
// (every entry byte, the chain order, the changed flags, every result and log line after each of
// thousands of random steps), plus what the random run does not reach: a few documented cases,
// a counter at its wrap, printing, allocation failure, an uninitialised table.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <random>

#include "tests/support/alloc_failure.hpp"
#include "host_support/log.hpp"
#include "tests/support/harness.hpp"

namespace {

using test::message;

// A log line as the table writes it, its "[unit.line]" prefix removed.
using Logged = std::pair<u32, std::string>; // level, text

std::vector<Logged> tableLog(const test::LogCursor &cursor)
{
    std::vector<Logged> out;
    for (const test::LogLine &line : cursor.lines()) {
        EXPECT_EQ(line.file, "DiagPanel_hashtable");
        out.push_back({line.level, std::string(host::withoutUnitPrefix(line.text))});
    }
    return out;
}

// The rules, written from their description and nothing else.
class Model
{
  public:
    using Entry = DIAG_PANEL_MSG_S; // never shown here: the display marks stay 0

    bool ready = false;
    std::array<std::vector<Entry>, 12> buckets;
    std::array<u8, 12> flags{};
    std::vector<Logged> log;

    // The level field replaced, the bits around it kept.
    static void setLevel(DIAG_PANEL_MSG_S &m, u8 level)
    {
        const u8 field = host::levelInfo(m.usFaultType, 7);
        m.ucLevelInfo =
            static_cast<u8>((m.ucLevelInfo & ~field) | host::levelInfo(m.usFaultType, level));
    }
    static u8 *counter(DIAG_PANEL_MSG_S &m, u8 level)
    {
        return level == 1 ? &m.ucLevel1Cnt : level == 2 ? &m.ucLevel2Cnt : &m.ucLevel3Cnt;
    }
    // The highest level with a count; none left: the level stays.
    static void recompute(DIAG_PANEL_MSG_S &m)
    {
        for (u8 level = 3; level >= 1; --level) {
            if (*counter(m, level) != 0) {
                return setLevel(m, level);
            }
        }
    }

    int process(const DIAG_PANEL_MSG_S &m)
    {
        if (!ready) {
            log.push_back({4, "Hashtable not init!"});
            return DIAG_PANEL_ERR_NOT_INIT;
        }
        if (m.usFaultType > 11) {
            log.push_back({4, "Invalid fault type: " + std::to_string(m.usFaultType)});
            return -1;
        }
        const u8 level = host::levelOf(m);
        if (level > 4) {
            log.push_back({4, "Invalid fault level: " + std::to_string(level)});
            return -1;
        }
        return level == 0 ? clear(m) : assert_(m, level);
    }

    int assert_(const DIAG_PANEL_MSG_S &m, u8 level)
    {
        auto &bucket = buckets[m.usFaultType % 12];
        flags[m.usFaultType % 12] = 1;
        for (Entry &e : bucket) {
            if (e.ucIndex != m.ucIndex) {
                continue;
            }
            const u32 old = e.uiFaultMask;
            e.uiFaultMask |= m.uiFaultMask;
            if (old == 0) {
                e.ucLevel1Cnt = e.ucLevel2Cnt = e.ucLevel3Cnt = 0;
                setLevel(e, level);
            } else if (e.uiFaultMask != old) {
                if (level >= 1 && level <= 3) {
                    ++*counter(e, level);
                } else {
                    log.push_back({4, "Unknow level: " + std::to_string(level) + "!"});
                }
                recompute(e);
            }
            return 0;
        }
        Entry fresh = m;
        if (m.uiFaultMask != 0 && level >= 1 && level <= 3) {
            *counter(fresh, level) = 1;
        }
        bucket.push_back(fresh);
        return 0;
    }

    int clear(const DIAG_PANEL_MSG_S &m)
    {
        auto &bucket = buckets[m.usFaultType % 12];
        for (auto it = bucket.begin(); it != bucket.end(); ++it) {
            if (it->ucIndex != m.ucIndex) {
                continue;
            }
            DIAG_PANEL_MSG_S &e = *it;
            if (m.uiFaultMask == 0) {
                e.uiFaultMask = 0;
            } else {
                const u32 old = e.uiFaultMask;
                e.uiFaultMask &= ~m.uiFaultMask;
                if (e.uiFaultMask != old) {
                    const u8 k = m.ucFaultLevel;
                    if (k >= 1 && k <= 3 && *counter(e, k) != 0) {
                        --*counter(e, k);
                    } else {
                        log.push_back(
                            {4, "Invalid level: " + std::to_string(k) + ", or level count is 0!"});
                    }
                    recompute(e);
                }
            }
            if (e.uiFaultMask != 0) {
                char text[64]; // %#x: 0 bare, others with 0x
                snprintf(text, sizeof text, "Now fault mask is %#x of type %#x", e.uiFaultMask,
                         m.usFaultType % 12u);
                log.push_back({7, text});
                return 0;
            }
            bucket.erase(it);
            flags[m.usFaultType % 12] = 1;
            return 0;
        }
        log.push_back({4, "Delete node failed, not found."});
        return -1;
    }

    void empty(u32 bucket)
    {
        if (!ready) {
            log.push_back({4, "Hashtable not init!"});
        } else if (bucket >= 12) {
            log.push_back({4, "Invalid hashtable list index!"});
        } else {
            buckets[bucket].clear();
        }
    }

    // Every bucket emptied; `state` then: kept, released (not initialised) or made anew.
    enum class Table { kKept, kReleased, kMadeAnew };
    void emptyAll(Table state)
    {
        if (!ready && state != Table::kMadeAnew) {
            log.push_back({4, "Hashtable not init!"});
        }
        for (auto &bucket : buckets) {
            bucket.clear();
        }
        ready = state == Table::kKept ? ready : state == Table::kMadeAnew;
        if (state == Table::kMadeAnew) {
            flags.fill(0);
        }
    }
};

class HashTableTest : public testing::Test
{
  protected:
    void SetUp() override
    {
        HOST_Reset();
        HOST_LogEcho(0);
        DIAG_PANEL_LockFreeHashTable();
        ASSERT_EQ(DIAG_PANEL_InitHashTable(), 0);
    }

    static void expectTableIs(const Model &model)
    {
        std::vector<test::Entry> expected;
        for (u32 b = 0; b < 12; ++b) {
            for (const Model::Entry &e : model.buckets[b]) {
                expected.push_back({b, e, 0});
            }
        }
        EXPECT_EQ(test::tableSnapshot(), expected);
        EXPECT_EQ(memcmp(g_abListModifyTbl, model.flags.data(), 12), 0);
    }
};

// The whole-table operations, the last one twice as often as each other.
constexpr std::pair<Model::Table, int (*)()> kWholeTableOps[] = {
    {Model::Table::kReleased, DIAG_PANEL_LockFreeHashTable},
    {Model::Table::kMadeAnew, DIAG_PANEL_InitHashTable},
    {Model::Table::kKept, DIAG_PANEL_LockFreeAllHashList},
    {Model::Table::kKept, DIAG_PANEL_LockFreeAllHashList},
};

// Random assertions, clears and emptyings, the whole table, the changed flags, every result and
// every log line compared with the model after each step.
TEST_F(HashTableTest, FollowsTheReferenceModel)
{
    const unsigned seed = testing::UnitTest::GetInstance()->random_seed();
    std::mt19937 rng(seed);
    SCOPED_TRACE("seed " + std::to_string(seed));
    auto pick = [&](auto... values) {
        const std::array<u32, sizeof...(values)> options{static_cast<u32>(values)...};
        return options[rng() % options.size()];
    };
    Model model;
    model.ready = true;
    for (int step = 0; step < 6000; ++step) {
        SCOPED_TRACE("step " + std::to_string(step));
        const test::LogCursor log;
        model.log.clear();
        const auto op = static_cast<u32>(rng() % 100);
        if (op < 90) {
            const auto type = static_cast<u16>(rng() % 16 < 14 ? rng() % 12 : 12 + rng() % 2);
            const auto index = static_cast<u8>(rng() % 4);
            // Levels of every kind, with the meaningless high bits now and then.
            auto levelInfo =
                static_cast<u8>(type == 8 ? rng() % 4 : pick(0, 1, 2, 3, 4, 4, 5, 7) << 2);
            if (rng() % 8 == 0) {
                levelInfo = static_cast<u8>(levelInfo | (rng() % 8) << 5);
            }
            const u32 mask = pick(0, 1, 2, 4, 8, 3, 0xC, 0xF, 0x80000000u);
            DIAG_PANEL_MSG_S msg =
                message(type, index, levelInfo, mask, static_cast<u8>(rng() % 5));
            msg.aucReserved[rng() % 8] = static_cast<u8>(rng());
            const int expected = model.process(msg);
            ASSERT_EQ(DIAG_PANEL_ProcessNewMsg(&msg), expected);
        } else if (op < 96) {
            const auto bucket = static_cast<u32>(rng() % 13);
            model.empty(bucket);
            ASSERT_EQ(DIAG_PANEL_LockFreeHashList(bucket), 0);
        } else if (op < 98 || op == 99) {
            // Emptied, released, or made anew over a live table (LeakSanitizer sees the old
            // entries freed).
            const auto &[state, call] = kWholeTableOps[rng() % 4];
            model.emptyAll(state);
            ASSERT_EQ(call(), 0);
        } else {
            model.flags.fill(0); // the display resets the flags it reads
            memset(g_abListModifyTbl, 0, sizeof g_abListModifyTbl);
        }
        EXPECT_EQ(tableLog(log), model.log);
        expectTableIs(model);
        if (HasFailure()) {
            return;
        }
    }
}

// The one rule the random run does not reach: a level counter is 8 bits wide.
TEST_F(HashTableTest, ACounterWrapsAt256)
{
    DIAG_PANEL_MSG_S first = message(3, 1, 1 << 2, 0x1);
    ASSERT_EQ(DIAG_PANEL_ProcessNewMsg(&first), 0);
    pthread_mutex_lock(&g_HashMutex);
    g_stHashHandle.ppstList[3]->stMsg.ucLevel1Cnt = 255;
    pthread_mutex_unlock(&g_HashMutex);
    DIAG_PANEL_MSG_S more = message(3, 1, 1 << 2, 0x2);
    ASSERT_EQ(DIAG_PANEL_ProcessNewMsg(&more), 0);
    // The counter back at 0, no counter left: the level stays.
    EXPECT_EQ(test::tableSnapshot(),
              (std::vector<test::Entry>{{3, message(3, 1, 1 << 2, 0x3), 0}}));
}

TEST_F(HashTableTest, PrintsEveryBucketAndTheTotal)
{
    for (DIAG_PANEL_MSG_S m : {message(8, 0x3A, 0x02, 0x1), message(2, 0x17, 3 << 2, 0x2),
                               message(2, 0x18, 1 << 2, 0x2)}) {
        ASSERT_EQ(DIAG_PANEL_ProcessNewMsg(&m), 0);
    }
    pthread_mutex_lock(&g_HashMutex);
    g_stHashHandle.ppstList[2]->ucDisplayed = 1;
    pthread_mutex_unlock(&g_HashMutex);
    testing::internal::CaptureStdout();
    DIAG_PANEL_PrintMsgInHash();
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "cnt: 0\ncnt: 0\n[0 2 23 3 1] [0 2 24 1 0] cnt: 2\ncnt: 0\ncnt: 0\ncnt: 0\n"
              "cnt: 0\ncnt: 0\n[2 8 58 0 0] cnt: 1\ncnt: 0\ncnt: 0\ncnt: 0\n"
              "Total cnt: 3.\n");
}

// What the random run does not call: insertion and clearing directly, printing, null messages.
TEST_F(HashTableTest, AnUninitialisedTableAndNullMessagesAreRefused)
{
    DIAG_PANEL_LockFreeHashTable();
    EXPECT_EQ(g_stHashHandle.ppstList, nullptr);
    EXPECT_EQ(g_stHashHandle.uiListNum, 0u);
    const test::LogCursor log;
    DIAG_PANEL_MSG_S m = message(1, 1, 1 << 2, 0x1);
    EXPECT_EQ(DIAG_PANEL_AddMsgToHash(&m), DIAG_PANEL_ERR_NOT_INIT);
    EXPECT_EQ(DIAG_PANEL_DelMsgToHash(&m), DIAG_PANEL_ERR_NOT_INIT);
    testing::internal::CaptureStdout();
    DIAG_PANEL_PrintMsgInHash();
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(DIAG_PANEL_ProcessNewMsg(nullptr), DIAG_PANEL_ERR_NULL_PTR);
    EXPECT_EQ(DIAG_PANEL_AddMsgToHash(nullptr), DIAG_PANEL_ERR_NULL_PTR);
    EXPECT_EQ(DIAG_PANEL_DelMsgToHash(nullptr), DIAG_PANEL_ERR_NULL_PTR);
    EXPECT_EQ(tableLog(log), (std::vector<Logged>{{4, "Hashtable not init!"},
                                                  {4, "Hashtable not init!"},
                                                  {4, "Hashtable not init!"},
                                                  {4, "Point is NULL!"},
                                                  {4, "Point pstDiagPanelMsg is NULL!"},
                                                  {4, "Point pstDiagPanelMsg is NULL!"}}));
    EXPECT_EQ(DIAG_PANEL_HashFunc(0xDEADBEEF), 0xDEADBEEFu);
}

TEST_F(HashTableTest, AllocationFailuresLoseOnlyTheirOwnWork)
{
    DIAG_PANEL_MSG_S kept = message(5, 1, 1 << 2, 0x1);
    DIAG_PANEL_ProcessNewMsg(&kept);
    memset(g_abListModifyTbl, 0, sizeof g_abListModifyTbl);
    {
        const test::LogCursor log;
        const test::FailAllocation fail(1);
        DIAG_PANEL_MSG_S lost = message(5, 2, 1 << 2, 0x1);
        EXPECT_EQ(DIAG_PANEL_ProcessNewMsg(&lost), -1);
        EXPECT_TRUE(fail.fired());
        EXPECT_EQ(tableLog(log), (std::vector<Logged>{
                                     {4, "Memory allocation Failed for diagnostic panel node."}}));
    }
    EXPECT_EQ(test::tableSnapshot().size(), 1u) << "the lost entry alone is missing";
    EXPECT_EQ(g_abListModifyTbl[5], 0);
    {
        DIAG_PANEL_LockFreeHashTable();
        const test::LogCursor log;
        const test::FailAllocation fail(1);
        EXPECT_EQ(DIAG_PANEL_InitHashTable(), DIAG_PANEL_ERR_NO_MEMORY);
        EXPECT_EQ(tableLog(log),
                  (std::vector<Logged>{{4, "Memory allocation Failed for hash table."}}));
        EXPECT_EQ(g_stHashHandle.ppstList, nullptr);
    }
    EXPECT_EQ(DIAG_PANEL_InitHashTable(), 0);
}

} // namespace
