// Fan records: the offset rules, the fan-state check on its boards, the redundancy board, and a
// board of every group, one outside the table too.
#include "tests/translate/translator_cases.hpp"

using namespace test;

TEST_F(TranslatorTest, FanRecords)
{
    // clang-format off
    constexpr u8 kAvailability = 0x0A, kRedundancy = 0x0B, kSpecific = 0x6F;
    const auto fan = [](u8 type, u8 d1, bool de = false) { return sel(4, 0x61, u8(type | (de ? 0x80 : 0)), d1); };
    const char *fan2 = "Fan2_R_Status"; // code 2: fan control is asked about fan 1
    const char *redundancy = "FAN_Redundancy";
    const Lines asked{"Hal_GetSensorNameCfg(0x61, 0, zeroed, 1, 0x5a)"};
    const Lines checked{asked[0], "dfc_fan_UpdateFanInstallState()", "DFC_ctl_CheckFanErrState(1)"};
    const char *failText = "Failed to fill hash node of FAN Fault info";
    HOST_FanSetError(1, 1);
    expectRows(DIAG_PANEL_TRANS_FanFault, {
        {"failure confirmed",      kFirstBoard, fan(kAvailability, 0x08), 0, {{6, 0x02, 3, 0x100, 3}}, {}, fan2, checked},
        {"offset 6 confirmed",     0, fan(kRedundancy, 0x06),       0, {{6, 0x02, 1, 0x40, 1}}, {}, fan2},
        {"offset 6 cleared",       0, fan(kAvailability, 0x06, true), 4, {{6, 0x02, 0, 0x40, 3}}, {}, fan2, checked},
        {"offset 0 without level clears", 0, fan(kAvailability, 0x00), 0, {{6, 0x02, 0, 0, 0}}, {}, fan2, asked},
        {"offset 0, severity 4",   0, fan(kAvailability, 0x00),     4, {{6, 0x02, 3, 0, 3}}, {}, fan2},
        {"offset 0 deasserted: dropped", 0, fan(kAvailability, 0x00, true), 4, {}, {}, fan2},
        {"6Fh offset 0",           0, fan(kSpecific, 0x00),         4, {{6, 0x00, 3, 0x01, 3}}, {}, fan2, Lines{}},
        {"6Fh offset 0 deasserted",0, fan(kSpecific, 0x00, true),   4, {{6, 0x00, 0, 0, 0}}, {}, fan2},
        {"6Fh asks about fan 255", 0, fan(kSpecific, 0x08),         0, {}, {}, fan2, Lines{"dfc_fan_UpdateFanInstallState()", "DFC_ctl_CheckFanErrState(255)"}},
        {"redundancy dropped",     0, fan(kRedundancy, 0x04),       0, {}, {}, fan2, asked},
        {"name before board rules",0, fan(kRedundancy, 0x04),       0, {}, {"4 Unknown Sensor name: Number=0x61"}},
        {"offset 2",               0, fan(kAvailability, 0x02),     0, {}, {"4 Unknown FAN event offset: 0x2"}, fan2, Lines{}},
    }, failText);
    HOST_FanSetError(1, 0);
    expectRows(DIAG_PANEL_TRANS_FanFault, {
        {"failure not confirmed",  0, fan(kAvailability, 0x08),       0, {}, {}, fan2, checked},
        {"recovered fan: no clear",0, fan(kAvailability, 0x06, true), 0, {}, {}, fan2, checked},
        {"unchecked board",        0x01033304, fan(kAvailability, 0x08), 0, {{6, 0x02, 3, 0x100, 3}}, {}, "CM1 FAN2_Status", asked},
        {"unchecked: no redundancy", 0, fan(kRedundancy, 0x04),     0, {}, {}, "CM1 FAN2_Status"},
        {"redundancy lost",        0x01034301, fan(kRedundancy, 0x05), 0, {{6, 0x00, 3, 0, 3}}, {}, redundancy, asked},
        {"redundancy regained",    0, fan(kRedundancy, 0x04, true),   0, {{6, 0x00, 0, 0, 3}}, {}, redundancy},
        {"redundancy sensor, offset 6", 0, fan(kAvailability, 0x06),  0, {{6, 0x07, 1, 0x40, 1}}, {}, redundancy},
        {"fan 3, offset 4",        0, fan(kRedundancy, 0x04),         0, {{6, 0x03, 3, 0, 3}}, {}, "Fan_3_Status"},
        {"unlisted board: no check", 0x01030104, fan(kSpecific, 0x08), 0, {{6, 0x00, 3, 0x100, 3}}, {}, nullptr, Lines{}},
    }, failText);
    // clang-format on
}
