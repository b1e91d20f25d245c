// What the component translator tests share: one call of a translator with its outputs copied
// and freed and its log lines read back, and a fixture that runs the real pipe.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <ostream>
#include <string>
#include <vector>

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

inline LogLine logLine(u32 level, const std::string &text)
{
    return {level, "DiagPanel_translate", text};
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

// The intake and the fault table running on a supported board; the table emptied after.
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
