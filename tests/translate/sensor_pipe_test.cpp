// Each sensor and slot family end to end: records posted through the real pipe, the stand-in
// answering the sensor-name, fan and card queries, and the fault table read back.
#include <cstdio>

#include <gtest/gtest.h>

#include "platform/platform.h"
#include "tests/support/harness.hpp"

namespace test {
namespace {

constexpr u32 kHal = 0x5a;

class SensorPipeTest : public testing::Test
{
  protected:
    void SetUp() override
    {
        HOST_LogEcho(0);
        HOST_Reset();
    }
    void TearDown() override { DIAG_PANEL_TRANS_Deinit(); }

    static void start(u32 board)
    {
        HOST_SetBoardId(board);
        ASSERT_EQ(DIAG_PANEL_TRANS_Init(kHal), 0);
        ASSERT_EQ(DIAG_PANEL_InitHashTable(), 0);
    }
    static void post(const SelBytes &record, u8 severity = 0)
    {
        ASSERT_EQ(postSel(record, severity), 0);
        ASSERT_TRUE(drainIntake());
    }
    // The table's entries as "type index level mask".
    static std::vector<std::string> entries()
    {
        std::vector<std::string> out;
        for (const Entry &entry : tableSnapshot()) {
            char text[64];
            snprintf(text, sizeof text, "%u %02Xh L%u %#x", entry.msg.usFaultType,
                     entry.msg.ucIndex, (entry.msg.ucLevelInfo >> 2) & 7u, entry.msg.uiFaultMask);
            out.emplace_back(text);
        }
        return out;
    }
};

using Lines = std::vector<std::string>;

TEST_F(SensorPipeTest, TemperatureAssertedThenCleared)
{
    start(0x01030103);
    HOST_SensorSetName(0x30, "19-P/S 2 Zone");
    const CallCursor calls;
    post(sel(0x01, 0x30, 0x01, 0x09));
    EXPECT_EQ(entries(), Lines{"9 19h L2 0"});
    EXPECT_EQ(calls.calls(), Lines{"Hal_GetSensorNameCfg(0x30, 0, zeroed, 1, 0x5a)"});
    post(sel(0x01, 0x30, 0x81, 0x0B)); // another threshold's deassertion clears the entry too
    EXPECT_EQ(entries(), Lines{});
}

TEST_F(SensorPipeTest, PsuAssertedThenClearedBySeverity)
{
    start(0x01033304);
    HOST_SensorSetName(0x41, "PSU_7_Status");
    post(sel(0x08, 0x41, 0x6F, 0x06), 4);
    EXPECT_EQ(entries(), Lines{"5 07h L3 0x40"});
    post(sel(0x08, 0x41, 0x6F, 0x06), 1); // severity 1 makes even an assertion a clear
    EXPECT_EQ(entries(), Lines{});
}

TEST_F(SensorPipeTest, ProcessorMachineCheckAndPcieSourcedIerr)
{
    start(0x01033304);
    HOST_SensorSetName(0x51, "CM2 CPU_1_Status");
    const CallCursor calls;
    post(sel(0x07, 0x51, 0x6F, 0x0B));
    post(sel(0x07, 0x51, 0x6F, 0xA0, 0x12, 0x10)); // no name query for a PCIe source
    EXPECT_EQ(entries(), (Lines{"0 03h L3 0x800", "3 17h L3 0x1"}));
    EXPECT_EQ(calls.calls(), Lines{"Hal_GetSensorNameCfg(0x51, 0, zeroed, 1, 0x5a)"});
}

TEST_F(SensorPipeTest, PowercapClearsItsEntry)
{
    start(0x01030103);
    DIAG_PANEL_MSG_S capped = message(10, 1, 3 << 2, 0x1, 3);
    ASSERT_EQ(DIAG_PANEL_ProcessNewMsg(&capped), 0);
    ASSERT_EQ(entries(), Lines{"10 01h L3 0x1"});
    post(sel(0x0A, 0x99, 0xF2, 0x08), 4); // routed by event type 72h alone
    EXPECT_EQ(entries(), Lines{});
}

TEST_F(SensorPipeTest, FanConfirmedByFanControl)
{
    start(0x60010101);
    HOST_SensorSetName(0x61, "Fan2_R_Status");
    HOST_FanSetError(1, 1);
    const CallCursor calls;
    post(sel(0x04, 0x61, 0x0A, 0x08));
    EXPECT_EQ(entries(), Lines{"6 02h L3 0x100"});
    EXPECT_EQ(calls.calls(),
              (Lines{"Hal_GetSensorNameCfg(0x61, 0, zeroed, 1, 0x5a)",
                     "dfc_fan_UpdateFanInstallState()", "DFC_ctl_CheckFanErrState(1)"}));
    HOST_FanSetError(1, 0);
    post(sel(0x04, 0x61, 0x8A, 0x08)); // no longer in error: the clear is dropped as well
    EXPECT_EQ(entries(), Lines{"6 02h L3 0x100"});
}

TEST_F(SensorPipeTest, PcieSlotsRenumberedOrRaid)
{
    start(0x01034301);
    g_astAllPcieCardInfo[1][PCIE_CARD_INFO_M2_MARK] = 0x81; // position 2
    post(sel(0x21, 0x70, 0x6F, 0x88, 208));
    HOST_SetBoardId(0x01030103); // read per record: no new start needed
    g_uiPcieRaidSlotNum = 3;
    post(sel(0x13, 0x70, 0x6F, 0x85, 3));
    EXPECT_EQ(entries(), (Lines{"3 02h L3 0x100", "4 03h L3 0x100"}));
}

} // namespace
} // namespace test
