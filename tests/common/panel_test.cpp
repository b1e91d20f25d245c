// SPDX-License-Identifier: Apache-2.0
// Panel commands and start-up, seen from the SGPIO driver: the documented codes bit for bit in
// both encodings, every log line.
#include <gtest/gtest.h>

#include <boards/catalogue.hpp>

#include "tests/support/harness.hpp"

namespace {

std::vector<test::LogLine> coreLines(u32 level, std::initializer_list<const char *> texts)
{
    std::vector<test::LogLine> out;
    for (const char *text : texts) {
        out.push_back({level, "DiagnosticPanel_core", text});
    }
    return out;
}

class PanelTest : public testing::Test
{
  protected:
    void SetUp() override
    {
        HOST_Reset();
        HOST_LogEcho(0);
    }
};

TEST_F(PanelTest, EncodesHeadsAsTheDocumentedCodes)
{
    struct Row {
        u8 levelInfo, index;
        u16 type;
        u32 oneHot, numeric;
    };
    const Row rows[] = {
        {0x00, 0x00, 0, 0x00004000, 0x00000000},      {0x0C, 0x05, 2, 0x00011828, 0x00009828},
        {0x01, 0x50, 8, 0x40400280, 0x40020280},      {0x02, 0x3A, 8, 0x804001D0, 0x800201D0},
        {0xFF, 0x00, 0, 0xC0007807, 0xC0003807},      {0x00, 0x99, 8, 0x004004C8, 0x000204C8},
        {0x00, 0x00, 17, 0x80000000, 0x00044000},     {0x00, 0x00, 18, 0x00000000, 0x00048000},
        {0x00, 0x00, 0xFFFF, 0x00000000, 0x3FFFC000},
    };
    for (const Row &r : rows) {
        SCOPED_TRACE(testing::Message() << "type " << r.type << " index " << +r.index);
        const test::PanelCursor panel;
        DIAG_PANEL_CMD_S cmd{DIAG_PANEL_CMD_WRITE, {}, r.levelInfo, r.index, r.type, 0};
        EXPECT_EQ(DIAG_PANEL_CORE_commonIfc(&cmd), 0);
        EXPECT_EQ(DIAG_PANEL_CORE_commonIfc_ex(&cmd), 0);
        EXPECT_EQ(panel.codes(), (std::vector<u32>{r.oneHot, r.numeric}));
    }
    const test::PanelCursor panel;
    EXPECT_EQ(DIAG_PANEL_CORE_restore_default(), 0);
    EXPECT_EQ(panel.codes(), std::vector<u32>{0}) << "the raw default, not the empty head";
}

TEST_F(PanelTest, CommandsReportRefusalsAndBadArguments)
{
    test::LogCursor log;
    EXPECT_EQ(DIAG_PANEL_CORE_commonIfc(nullptr), -1);
    EXPECT_EQ(DIAG_PANEL_CORE_commonIfc_ex(nullptr), -1);
    DIAG_PANEL_CMD_S unknown{2, {}, 0, 0, 0, 0};
    const test::PanelCursor panel;
    EXPECT_EQ(DIAG_PANEL_CORE_commonIfc(&unknown), -1);
    EXPECT_TRUE(panel.codes().empty()) << "an unknown command never reaches the driver";
    EXPECT_EQ(log.lines(), coreLines(2, {"NULL input param!", "NULL input param!",
                                         "Unknown Diagnostic Panel cmd: 0x2"}));

    HOST_PanelRefuse(1, 1);
    log = test::LogCursor();
    DIAG_PANEL_CMD_S write{DIAG_PANEL_CMD_WRITE, {}, 0x0C, 1, 1, 0};
    DIAG_PANEL_CMD_S read{DIAG_PANEL_CMD_READ, {}, 0, 0, 0, 0x55};
    EXPECT_EQ(DIAG_PANEL_CORE_commonIfc(&write), -1);
    EXPECT_EQ(DIAG_PANEL_CORE_commonIfc_ex(&read), -1);
    EXPECT_EQ(read.uiVersion, 0x55u) << "a failed read leaves the word alone";
    EXPECT_EQ(DIAG_PANEL_CORE_restore_default(), -1);
    EXPECT_EQ(log.lines(), coreLines(2, {"Failed to enable diagnostic panel driver!",
                                         "Failed to exec Diagnostic Panel cmd: 0",
                                         "Failed to enable diagnostic panel driver!",
                                         "Failed to exec Diagnostic Panel cmd: 0x1",
                                         "Failed to enable diagnostic panel driver!"}));

    HOST_PanelRefuse(0, 0);
    HOST_PanelSetVersion(0x00E0ABCD);
    EXPECT_EQ(DIAG_PANEL_CORE_commonIfc(&read), 0);
    EXPECT_EQ(read.uiVersion, 0x00E0ABCDu);
}

// Which board reads the version in which way is the board listing's (diagpanel tables); here, what
// the record gets: untouched on failure, and byte 1 never written.
TEST_F(PanelTest, VersionReadWritesOnlyWhatItDecoded)
{
    HOST_SetBoardId(diag::board::k01033304); // no presence query: the word decides
    for (const u32 word : {0x00E0ABCDu, 0xFFFFFFFFu}) {
        HOST_PanelSetVersion(word);
        DIAG_PANEL_INFO_S info{0x7E, 0x7F, 0x7D7D};
        const bool decoded = word != 0xFFFFFFFFu;
        EXPECT_EQ(DIAG_PANEL_GET_version(&info), decoded ? 0 : -1);
        EXPECT_EQ(info.ucHwVersion, decoded ? 'H' : 0x7E);
        EXPECT_EQ(info.usFwVersion, decoded ? 0xABCD : 0x7D7D);
        EXPECT_EQ(info.ucRsvd, 0x7F);
    }
    const test::LogCursor log;
    EXPECT_EQ(DIAG_PANEL_GET_version(nullptr), -1);
    EXPECT_EQ(log.lines(), coreLines(2, {"NULL input pstDiagPanelInfo!"}));
}

TEST_F(PanelTest, StartUpRefusedByThePanelStartsNothing)
{
    const int threads = test::threadCount();
    HOST_PanelRefuse(1, 1);
    test::LogCursor log;
    test::PanelCursor panel;
    EXPECT_EQ(DIAG_PANEL_init(0x5A), -1);
    EXPECT_EQ(log.lines(),
              coreLines(2, {"Failed to enable diagnostic panel driver!",
                            "Failed to reset diagnostic panel status while initing!"}));

    HOST_PanelRefuse(0, 1);
    log = test::LogCursor();
    EXPECT_EQ(DIAG_PANEL_init(0x5A), -1);
    EXPECT_EQ(log.lines(),
              coreLines(2, {"Failed to enable diagnostic panel driver!",
                            "Failed to read diagnostic panel version while initing!"}));
    EXPECT_EQ(panel.codes(), std::vector<u32>{0x00004000});
    EXPECT_EQ(test::threadCount(), threads);
    EXPECT_EQ(test::postEvent(DIAG_PANEL_EVENT_POST_START), -1) << "no intake was started";
}

TEST_F(PanelTest, StartUpLogsTheVersionAndStartsEveryPart)
{
    const std::pair<u32, const char *> logged[] = {
        {0x00A01234, "Remote Diagnostic Panel version: 0xa01234"},
        {0, "Remote Diagnostic Panel version: 0"}};
    for (const auto &[version, line] : logged) {
        HOST_PanelSetVersion(version);
        const test::LogCursor log;
        EXPECT_EQ(DIAG_PANEL_init(0x5A), 0);
        ASSERT_FALSE(log.lines().empty());
        EXPECT_EQ(log.lines()[0], (test::LogLine{6, "DiagnosticPanel_core", line}));
        EXPECT_TRUE(test::drainIntake());
        DIAG_PANEL_MSG_S msg = test::message(2, 1, 1 << 2, 1);
        EXPECT_EQ(DIAG_PANEL_ProcessNewMsg(&msg), 0) << "the fault table exists";
    }

    HOST_SetBoardId(diag::board::k01030103 + 1); // no table lists it: start-up still succeeds
    const test::LogCursor log;
    EXPECT_EQ(DIAG_PANEL_init(0x5A), 0);
    EXPECT_TRUE(log.contains("Unsupport Id 16974084"));
    EXPECT_EQ(test::postEvent(DIAG_PANEL_EVENT_POST_END), -1);
}

} // namespace
