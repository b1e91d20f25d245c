#include "tests/translate/sensor_cases.hpp"

#include <cstdio>
#include <cstdlib>

#include "tests/support/alloc_failure.hpp"

namespace test {

void SensorTranslatorTest::SetUp()
{
    HOST_LogEcho(0);
    HOST_Reset();
    board_ = 0;
    selectBoard(kFirstBoard);
}

void SensorTranslatorTest::TearDown()
{
    DIAG_PANEL_TRANS_Deinit();
}

void SensorTranslatorTest::selectBoard(u32 boardId)
{
    if (boardId == board_) {
        return;
    }
    HOST_SetBoardId(boardId);
    ASSERT_EQ(DIAG_PANEL_TRANS_Init(kHal), 0);
    board_ = boardId;
}

std::string describe(const Msg &msg)
{
    char text[96];
    snprintf(text, sizeof text, "type %u index %02Xh level %u mask %#x faultLevel %u", msg.type,
             msg.index, msg.level, msg.mask, msg.faultLevel);
    return text;
}

std::string describe(const DIAG_PANEL_MSG_S &msg)
{
    std::string text =
        describe(Msg{msg.usFaultType, msg.ucIndex, static_cast<u8>((msg.ucLevelInfo >> 2) & 0x07),
                     msg.uiFaultMask, msg.ucFaultLevel});
    bool rest = (msg.ucLevelInfo & 0xE3) != 0 || msg.ucLevel1Cnt != 0 || msg.ucLevel2Cnt != 0 ||
                msg.ucLevel3Cnt != 0;
    for (const u8 byte : msg.aucReserved) {
        rest = rest || byte != 0;
    }
    return rest ? text + " (and other bytes set)" : text;
}

std::vector<std::string> logLines(const LogCursor &cursor)
{
    std::vector<std::string> out;
    for (const LogLine &line : cursor.lines()) {
        out.push_back(std::to_string(line.level) + " " + line.text +
                      (line.file == "DiagPanel_translate" ? "" : " [from " + line.file + "]"));
    }
    return out;
}

std::string nameQuery(u8 sensor, u8 lun)
{
    char text[80];
    snprintf(text, sizeof text, "Hal_GetSensorNameCfg(%#x, %u, zeroed, 1, %#x)", sensor, lun, kHal);
    return text;
}

void SensorTranslatorTest::run(DIAG_PANEL_TRANS_TRANSLATOR_F translator,
                               const std::vector<Case> &cases)
{
    for (const Case &c : cases) {
        SCOPED_TRACE(c.what);
        if (c.board != kNoBoard) {
            selectBoard(c.board);
        }
        HOST_SensorSetName(c.record[11], c.sensorName);
        const LogCursor log;
        const CallCursor calls;
        DIAG_PANEL_MSG_S *out = reinterpret_cast<DIAG_PANEL_MSG_S *>(1); // must be reset
        u8 count = 0xEE;
        const int result = translator(c.record.data(), &out, &count, c.severity);
        if (c.expect) {
            EXPECT_EQ(result, 0);
            ASSERT_EQ(count, 1);
            ASSERT_NE(out, nullptr);
            EXPECT_EQ(describe(*out), describe(*c.expect));
        } else {
            EXPECT_EQ(result, -1);
            EXPECT_EQ(count, 0);
            EXPECT_EQ(out, nullptr);
        }
        if (result == 0 && count != 0) {
            free(out); // as the dispatch does
        }
        EXPECT_EQ(logLines(log), c.log);
        if (c.calls) {
            EXPECT_EQ(calls.calls(), *c.calls);
        }
    }
}

void expectAllocationFailure(DIAG_PANEL_TRANS_TRANSLATOR_F translator, const SelBytes &record,
                             u32 severity, const std::string &failText)
{
    const LogCursor log;
    DIAG_PANEL_MSG_S *out = nullptr;
    u8 count = 0;
    const FailAllocation failure(1);
    EXPECT_EQ(translator(record.data(), &out, &count, severity), -1);
    EXPECT_TRUE(failure.fired());
    EXPECT_EQ(out, nullptr);
    EXPECT_EQ(count, 0);
    EXPECT_EQ(logLines(log), (std::vector<std::string>{
                                 "2 Failed to alloc memory of hash node: 0x14", "2 " + failText}));
}

} // namespace test
