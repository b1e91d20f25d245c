// Fan records: the offset rules, the fan-state check on its boards, the redundancy board, and the
// board groups over every supported board.
#include "tests/translate/sensor_cases.hpp"

namespace test {
namespace {

constexpr u8 kSensor = 0x61;
constexpr u8 kAvailability = 0x0A, kRedundancy = 0x0B, kSpecific = 0x6F;

SelBytes fan(u8 eventType, u8 data1, bool deassert = false)
{
    return sel(0x04, kSensor, static_cast<u8>(eventType | (deassert ? 0x80 : 0)), data1);
}

const Calls kCheckFan1{nameQuery(kSensor), "dfc_fan_UpdateFanInstallState()",
                       "DFC_ctl_CheckFanErrState(1)"};

TEST_F(SensorTranslatorTest, FanOffsetsOnAFanStateCheckedBoard)
{
    const char *fan2 = "Fan2_R_Status"; // code 2: the service is asked about fan 1
    HOST_FanSetError(1, 1);
    // clang-format off
    run(DIAG_PANEL_TRANS_FanFault, {
        {"failure confirmed", fan(kAvailability, 0x08), 0, Msg{6, 0x02, 3, 0x100, 3}, {}, fan2,
         kNoBoard, kCheckFan1},
        {"failure, severity 3", fan(kAvailability, 0x08), 3, Msg{6, 0x02, 2, 0x100, 2}, {}, fan2},
        {"offset 6 confirmed", fan(kRedundancy, 0x06), 0, Msg{6, 0x02, 1, 0x40, 1}, {}, fan2},
        {"offset 6 cleared", fan(kAvailability, 0x06, true), 4, Msg{6, 0x02, 0, 0x40, 3}, {},
         fan2, kNoBoard, kCheckFan1},
        {"offset 0, no level: a clear", fan(kAvailability, 0x00), 0, Msg{6, 0x02, 0, 0, 0}, {},
         fan2, kNoBoard, Calls{nameQuery(kSensor)}},
        {"offset 0, severity 4", fan(kAvailability, 0x00), 4, Msg{6, 0x02, 3, 0, 3}, {}, fan2},
        {"offset 0, severity 1", fan(kRedundancy, 0x00), 1, Msg{6, 0x02, 0, 0, 0}, {}, fan2},
        {"offset 0 deasserted: dropped", fan(kAvailability, 0x00, true), 4, {}, {}, fan2},
        {"6Fh offset 0", fan(kSpecific, 0x00), 4, Msg{6, 0x00, 3, 0x01, 3}, {}, fan2, kNoBoard,
         kNoCalls},
        {"6Fh offset 0 deasserted", fan(kSpecific, 0x00, true), 4, Msg{6, 0x00, 0, 0, 0}, {},
         fan2},
        {"6Fh asks about fan 255", fan(kSpecific, 0x08), 0, {}, {}, fan2, kNoBoard,
         Calls{"dfc_fan_UpdateFanInstallState()", "DFC_ctl_CheckFanErrState(255)"}},
        {"redundancy offsets dropped", fan(kRedundancy, 0x04), 0, {}, {}, fan2, kNoBoard,
         Calls{nameQuery(kSensor)}},
        {"name before board rules", fan(kRedundancy, 0x04), 0, {},
         {"4 Unknown Sensor name: Number=0x61"}},
        {"offset 2", fan(kAvailability, 0x02), 0, {}, {"4 Unknown FAN event offset: 0x2"}, fan2,
         kNoBoard, kNoCalls},
        {"offset 7", fan(kSpecific, 0xA7), 0, {}, {"4 Unknown FAN event offset: 0x7"}},
        {"another family's name", fan(kAvailability, 0x08), 0, {},
         {"4 Unknown Sensor name: Number=0x61, name=CM1 FAN2_Status"}, "CM1 FAN2_Status"},
    });
    // clang-format on
    HOST_FanSetError(1, 0);
    // clang-format off
    run(DIAG_PANEL_TRANS_FanFault, {
        {"failure not confirmed", fan(kAvailability, 0x08), 0, {}, {}, fan2, kNoBoard, kCheckFan1},
        {"recovered fan: no clear", fan(kAvailability, 0x06, true), 0, {}, {}, fan2, kNoBoard,
         kCheckFan1},
    });
    // clang-format on
}

TEST_F(SensorTranslatorTest, FanRulesOfOtherBoards)
{
    // clang-format off
    run(DIAG_PANEL_TRANS_FanFault, {
        {"unchecked board", fan(kAvailability, 0x08), 0, Msg{6, 0x02, 3, 0x100, 3}, {},
         "CM1 FAN2_Status", 0x01033304, Calls{nameQuery(kSensor)}},
        {"redundancy lost", fan(kRedundancy, 0x05), 0, Msg{6, 0x00, 3, 0, 3}, {},
         "FAN_Redundancy", 0x01034301, Calls{nameQuery(kSensor)}},
        {"redundancy, severity 3", fan(kRedundancy, 0x03), 3, Msg{6, 0x00, 2, 0, 2}, {},
         "FAN_Redundancy"},
        {"redundancy regained", fan(kRedundancy, 0x04, true), 0, Msg{6, 0x00, 0, 0, 3}, {},
         "FAN_Redundancy"},
        {"redundancy sensor, offset 6", fan(kAvailability, 0x06), 0, Msg{6, 0x07, 1, 0x40, 1}, {},
         "FAN_Redundancy"},
        {"fan 3, offset 4", fan(kRedundancy, 0x04), 0, Msg{6, 0x03, 3, 0, 3}, {}, "Fan_3_Status"},
        {"shared codes", fan(kAvailability, 0x08), 0, Msg{6, 0x03, 3, 0x100, 3}, {},
         "Fan3_UP_R_Status", 0x03033505},
    });
    // clang-format on
}

// Every supported board, and one outside the table: which confirm with fan control, which take
// redundancy events. Sensor-specific records need no name, so the board is switched per record.
TEST_F(SensorTranslatorTest, FanBoardGroups)
{
    struct Board {
        u32 id;
        bool checked;
        bool redundancy;
    };
    const Board boards[] = {
        {0x01030103, true, false},  {0x01030303, true, false},  {0x01031104, true, false},
        {0x01031304, true, false},  {0x01032303, false, false}, {0x60010101, true, false},
        {0x60010201, true, false},  {0x60010202, true, false},  {0x01034301, false, true},
        {0x01033304, false, false}, {0x01033305, false, false}, {0x01033306, false, false},
        {0x61010101, false, false}, {0x03033505, false, false}, {0x02032001, false, false},
        {0x01030104, false, false},
    };
    for (const Board &board : boards) {
        SCOPED_TRACE(testing::Message() << std::hex << board.id);
        HOST_SetBoardId(board.id);
        const CallCursor calls;
        DIAG_PANEL_MSG_S *out = nullptr;
        u8 count = 0;
        EXPECT_EQ(DIAG_PANEL_TRANS_FanFault(fan(kSpecific, 0x08).data(), &out, &count, 0),
                  board.checked ? -1 : 0); // fan 255 is not in error
        EXPECT_EQ(calls.calls().size(), board.checked ? 2u : 0u);
        free(out);
        EXPECT_EQ(DIAG_PANEL_TRANS_FanFault(fan(kSpecific, 0x05).data(), &out, &count, 0),
                  board.redundancy ? 0 : -1);
        free(out);
    }
}

TEST_F(SensorTranslatorTest, FanAllocationFailureLeaksNothing)
{
    expectAllocationFailure(DIAG_PANEL_TRANS_FanFault, fan(kSpecific, 0x00), 4,
                            "Failed to fill hash node of FAN Fault info");
}

} // namespace
} // namespace test
