// Every translator family end to end on the first board: one record of each posted through the
// real pipe of the shared library, the platform answering the queries, the fault table read back.
#include <gtest/gtest.h>

#include <tuple>

#include "platform/platform.h"
#include "tests/support/harness.hpp"

using namespace test;

TEST(TranslatorPipe, OneRecordOfEachFamilyReachesTheTable)
{
    HOST_LogEcho(0);
    HOST_Reset();
    ASSERT_EQ(DIAG_PANEL_InitHashTable(), 0);
    ASSERT_EQ(DIAG_PANEL_TRANS_Init(0x5a), 0);
    HOST_SensorSetName(0x30, "19-P/S 2 Zone");
    HOST_SensorSetName(0x41, "PSU_2_Status");
    HOST_SensorSetName(0x51, "CPU_2_Status");
    HOST_SensorSetName(0x61, "Fan2_R_Status");
    HOST_FanSetError(1, 1);
    g_astGetALLHDDSensor[0x42][0] = 0x07;
    HOST_DiskSetLocation(0x07, 1, 18, 1); // a rear disk: code 17
    const u8 codes[] = {0x19, 0xB2};
    HOST_PostSetCodes(codes, 2);
    g_uiPcieRaidSlotNum = 3;
    DIAG_PANEL_MSG_S capped = message(DIAG_PANEL_FAULT_POWERCAP, 1, 3 << 2, 0x1, 3);
    ASSERT_EQ(DIAG_PANEL_ProcessNewMsg(&capped), 0);
    for (const SelBytes &record : {
             sel(0x0C, 0x31, 0x6F, 0xA1, 0x02, 0x41), // DIMM position 19
             sel(0x0F, 0x01, 0x6F, 0xAD, 0x03),       // firmware progress: processor failure
             sel(0x17, 0x50, 0x6F, 0x80, 12),         // RAID controller 12
             sel(0x0D, 0x42, 0x6F, 0x01),             // drive fault
             sel(0x15, 0x60, 0x6F, 0xA0, 0x68, 0x05), // board logic register 68h, bits 0 and 2
             sel(0x23, 0x03, 0x6F, 0xC0, 0x01),       // FRB2 expiry
             sel(0x01, 0x30, 0x01, 0x09),             // upper critical temperature
             sel(0x08, 0x41, 0x6F, 0x06),             // power-supply configuration error
             sel(0x07, 0x51, 0x6F, 0x0B),             // machine check
             sel(0x0A, 0x99, 0xF2, 0x08),             // power capping ended, any sensor type
             sel(0x04, 0x61, 0x0A, 0x08),             // fan failure, confirmed by fan control
             sel(0x13, 0x70, 0x6F, 0x88, 7),          // PCIe uncorrectable in slot 7
             sel(0x21, 0x71, 0x6F, 0x85, 3),          // PCIe SERR in the RAID slot
         }) {
        ASSERT_EQ(postSel(record, 4), 0);
    }
    ASSERT_TRUE(drainIntake());
    std::vector<std::tuple<int, int, int, u32>> table; // type, index, levelInfo, mask
    for (const Entry &e : tableSnapshot()) {
        table.emplace_back(e.msg.usFaultType, e.msg.ucIndex, e.msg.ucLevelInfo, e.msg.uiFaultMask);
    }
    // clang-format off
    EXPECT_EQ(table, (decltype(table){{0, 0x00, 3 << 2, 0x2000}, {0, 0x02, 3 << 2, 0x800}, {1, 0xB8, 3 << 2, 0x2},
        {2, 0x17, 3 << 2, 0x2}, {3, 0x07, 3 << 2, 0x100}, {4, 0x12, 3 << 2, 0x1}, {4, 0x03, 3 << 2, 0x100},
        {5, 0x02, 3 << 2, 0x40}, {6, 0x02, 3 << 2, 0x100}, {8, 0xB2, 2, 0}, {9, 0x19, 2 << 2, 0},
        {11, 0x01, 3 << 2, 0}, {11, 0x25, 3 << 2, 0}}));
    // clang-format on
    DIAG_PANEL_TRANS_Deinit();
    (void)DIAG_PANEL_LockFreeAllHashList();
}
