// What the component translator tests share: tables of records against the messages and log
// lines they must give, the allocation failure of the hand-over, and a fixture on the real pipe.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <ostream>
#include <string>
#include <vector>

#include "tests/support/alloc_failure.hpp"
#include "tests/support/harness.hpp"
#include "translate/translator.hpp"

inline bool operator==(const DIAG_PANEL_MSG_S &a, const DIAG_PANEL_MSG_S &b)
{
    return memcmp(&a, &b, sizeof a) == 0; // every byte, the reserved ones too
}

inline void PrintTo(const DIAG_PANEL_MSG_S &m, std::ostream *os)
{
    *os << std::hex << "{type " << m.usFaultType << ", index 0x" << unsigned{m.ucIndex}
        << ", levelInfo 0x" << unsigned{m.ucLevelInfo} << ", mask 0x" << m.uiFaultMask
        << ", faultLevel " << unsigned{m.ucFaultLevel} << "}" << std::dec;
}

namespace test {

// Severity codes by the panel level g_astDiagPanelSelLevel maps them to.
constexpr u8 kSevLevel0 = 1;
constexpr u8 kSevLevel2 = 3;
constexpr u8 kSevLevel3 = 4;
constexpr u8 kSevNone = 9; // matches no pair: the family's own level

constexpr u8 kAssert = 0x6F; // sensor-specific event type, assertion
constexpr u8 kDeassert = 0xEF;

inline LogLine warn(const char *text)
{
    return {4, "DiagPanel_translate", text};
}
inline LogLine error(const char *text)
{
    return {2, "DiagPanel_translate", text};
}

// A message of a non-POST fault type, its level given as the level bits and ucFaultLevel.
inline DIAG_PANEL_MSG_S fault(u16 type, u8 index, u32 mask, u8 levelBits, u8 faultLevel)
{
    return message(type, index, static_cast<u8>(levelBits << 2), mask, faultLevel);
}

struct Translation {
    int result = 0;
    std::vector<DIAG_PANEL_MSG_S> messages;
    std::vector<LogLine> log;
};

// Runs the translator on one record. A failure must leave no array and a count of 0.
inline Translation translate(DIAG_PANEL_TRANS_TRANSLATOR_F translator, const SelBytes &record,
                             u32 severity)
{
    const LogCursor cursor;
    DIAG_PANEL_MSG_S *array = nullptr;
    u8 count = 0xEE; // must be reset on entry
    Translation out;
    out.result = translator(record.data(), &array, &count, severity);
    if (out.result == 0 && array != nullptr) {
        out.messages.assign(array, array + count);
    } else {
        EXPECT_EQ(array, nullptr);
        EXPECT_EQ(count, 0);
    }
    free(array);
    out.log = cursor.lines();
    return out;
}

// One record on one board, the messages it gives (none: rejected with -1) and every log line.
struct Case {
    const char *name;
    u32 board;
    SelBytes record;
    u8 severity;
    std::vector<DIAG_PANEL_MSG_S> messages;
    std::vector<LogLine> log;
};

inline void expectCases(DIAG_PANEL_TRANS_TRANSLATOR_F translator, const std::vector<Case> &cases)
{
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        HOST_SetBoardId(c.board);
        const Translation t = translate(translator, c.record, c.severity);
        EXPECT_EQ(t.result, c.messages.empty() ? -1 : 0);
        EXPECT_EQ(t.messages, c.messages);
        EXPECT_EQ(t.log, c.log);
    }
}

// The one allocation of the translator fails: the record is lost after exactly these lines.
inline void expectAllocationFailure(DIAG_PANEL_TRANS_TRANSLATOR_F translator,
                                    const SelBytes &record, const std::vector<LogLine> &log)
{
    const FailAllocation fail(1);
    const Translation t = translate(translator, record, kSevLevel3);
    EXPECT_TRUE(fail.fired());
    EXPECT_EQ(t.result, -1);
    EXPECT_EQ(t.log, log);
}

// The stand-in back to its defaults, its echo silenced.
class TranslatorTest : public testing::Test
{
  protected:
    void SetUp() override
    {
        HOST_LogEcho(0);
        HOST_Reset();
    }
};

// The intake and the fault table running (default board 0x01030103); the table emptied after.
class PipeTest : public TranslatorTest
{
  protected:
    void SetUp() override
    {
        TranslatorTest::SetUp();
        ASSERT_EQ(DIAG_PANEL_InitHashTable(), 0);
        ASSERT_EQ(DIAG_PANEL_TRANS_Init(0x5A), 0);
    }
    void TearDown() override
    {
        DIAG_PANEL_TRANS_Deinit();
        (void)DIAG_PANEL_LockFreeAllHashList();
    }
    // Posts one record and returns the table once the intake has taken it.
    static std::vector<Entry> post(const SelBytes &record, u8 severity)
    {
        EXPECT_EQ(postSel(record, severity), 0);
        EXPECT_TRUE(drainIntake());
        return tableSnapshot();
    }
};

} // namespace test
