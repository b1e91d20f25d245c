// SPDX-License-Identifier: Apache-2.0
// The translators that name the component by its sensor's name (temperature, power supplies,
// processors, fans), power capping and PCIe: levels, directions, the name query and match, the
// fan-control checks, every log line. Which code each name, offset or slot gives on each board is
// the board listing's (diagpanel tables, compared with tests/tools/data/tables.golden).
#include <boards/catalogue.hpp>

#include "tests/translate/translator_cases.hpp"

#include <platform/platform.h>

using namespace test;

TEST_F(TranslatorTest, TemperatureRecords)
{
    // clang-format off
    const auto temp = [](u8 d1, bool de = false, u8 lun = 0) { return sel(1, 0x30, de ? 0x81 : 1, d1, 0xFF, 0xFF, lun); };
    const auto unknown = [](std::string name) { return Lines{"4 Unknown Sensor name: Number=0x30, name=" + name}; };
    const char *psu2 = "19-P/S 2 Zone"; // code 19 on the boards of the first per-board table
    expectRows(DIAG_PANEL_TRANS_TempFault, {
        {"the severity is not read",0, temp(0x09),           1, {{9, 0x19, 2, 0, 2}}, {}, psu2},
        {"offset from bits 3-0",    0, temp(0xA9),           0, {{9, 0x19, 2, 0, 2}}, {}, psu2},
        {"cleared: empty mask",     0, temp(0x0B, true),     0, {{9, 0x19, 0, 0, 3}}, {}, psu2},
        {"going low: silent",       0, temp(0x08),           4, {}, {}, psu2, Lines{}},
        {"LUN bit passed",          0, temp(0x09, false, 3), 0, {{9, 0x19, 2, 0, 2}}, {}, psu2, Lines{"Hal_GetSensorNameCfg(0x30, 1, zeroed, 1, 0x5a)"}},
        {"only bit 0 of the LUN",   0, temp(0x09, false, 2), 0, {{9, 0x19, 2, 0, 2}}, {}, psu2, Lines{"Hal_GetSensorNameCfg(0x30, 0, zeroed, 1, 0x5a)"}},
        {"16 characters",           0, temp(0x09),           0, {{9, 0x06, 2, 0, 2}}, {}, "06-P1 DIMM Ch1-3"},
        {"unknown sensor",          0, temp(0x09),           0, {}, {"4 Unknown Sensor name: Number=0x30"}, nullptr, Lines{"Hal_GetSensorNameCfg(0x30, 0, zeroed, 1, 0x5a)"}},
        {"another board's name",    0, temp(0x09),           0, {}, unknown("Inlet Temp"), "Inlet Temp"},
        {"a prefix of a name",      0, temp(0x09),           0, {}, unknown("19-P/S 2"), "19-P/S 2"},
        {"17 arrive unterminated",  0, temp(0x09),           0, {}, unknown("06-P1 DIMM Ch1-3X"), "06-P1 DIMM Ch1-3X"},
        {"PCI 1 is not PCI 1 Zone", diag::board::k01034301, temp(0x0B),  0, {{9, 0x32, 3, 0, 3}}, {}, "PCI 1"},
        {"trailing blank kept",     diag::board::k03033505, temp(0x02),  0, {{9, 0x05, 2, 0, 2}}, {}, "CPU 1 DTS "},
        {"trailing blank required", 0, temp(0x02),           0, {}, unknown("CPU 1 DTS"), "CPU 1 DTS"},
    }, "Failed to fill hash node of Temperature Fault info");
    const auto psu = [](u8 d1, bool de = false) { return sel(0x08, 0x41, de ? kDeassert : kAssert, d1); };
    const char *psu2name = "PSU_2_Status";
    expectRows(DIAG_PANEL_TRANS_PsuFault, {
        {"failure, own level",     kFirstBoard, psu(0x01), 0, {{5, 0x02, 3, 0x02, 3}}, {}, psu2name, Lines{"Hal_GetSensorNameCfg(0x41, 0, zeroed, 1, 0x5a)"}},
        {"severity 1 clears",      0, psu(0x01),           1, {{5, 0x02, 0, 0x02, 0}}, {}, psu2name},
        {"severity 3 replaces 1",  0, psu(0x02),           3, {{5, 0x02, 2, 0x04, 2}}, {}, psu2name},
        {"deassertion keeps level",0, psu(0x03, true),     3, {{5, 0x02, 0, 0x08, 2}}, {}, psu2name},
        {"presence: silent",       0, psu(0x00),           4, {}, {}, psu2name, Lines{}},
    }, "Failed to fill hash node of PSU Fault info");
    // clang-format on
}

TEST_F(TranslatorTest, ProcessorAndPowercapRecords)
{
    // clang-format off
    const auto cpu = [](u8 d1, u8 d2 = 0xFF, u8 d3 = 0xFF, u8 sensor = 0x51, u8 dir = kAssert) {
        return sel(0x07, sensor, dir, d1, d2, d3);
    };
    const auto badFormat = [](std::string sensor, std::string d1) {
        return Lines{"4 Unknown CPU configuration sel format: SensorNum=" + sensor + ", EvtData1=" + d1};
    };
    const char *cpu2 = "CPU_2_Status";
    const Lines asked{"Hal_GetSensorNameCfg(0x51, 0, zeroed, 1, 0x5a)"};
    expectRows(DIAG_PANEL_TRANS_CpuCfgFault, {
        {"IERR",                  kFirstBoard, cpu(0x00),   0, {{0, 0x02, 3, 0x01, 3}}, {}, cpu2, asked},
        {"IERR from a PCIe slot", 0, cpu(0xA0, 0x12, 0x10), 0, {{3, 0x17, 3, 0x01, 3}}, {}, cpu2, Lines{}},
        {"PCIe slot nibbles",     0, cpu(0x80, 0x52, 0x9F), 3, {{3, 0x49, 2, 0x01, 2}}, {}, cpu2},
        {"PCIe source marked 11b",0, cpu(0xE0, 0x12, 0x10), 0, {{0, 0x02, 3, 0x01, 3}}, {}, cpu2, asked},
        {"sensor 11h",            0, cpu(0x25, 0xFF, 0x30, 0x11), 0, {{0, 0x04, 2, 0x20, 2}}, {}, cpu2, Lines{}},
        {"sensor 14h wraps",      0, cpu(0x85, 0xFF, 0xFF, 0x14), 4, {{0, 0x00, 3, 0x20, 3}}, {}, cpu2},
        {"cleared",               0, cpu(0x25, 0xFF, 0x30, 0x15, kDeassert), 0, {{0, 0x04, 0, 0x20, 2}}, {}, cpu2},
        {"11h needs data 3 marked", 0, cpu(0x85, 0x20, 0x30, 0x11), 0, {}, badFormat("0x11", "0x85"), cpu2, Lines{}},
        {"12h needs data 2 marked", 0, cpu(0x25, 0x20, 0x30, 0x12), 0, {}, badFormat("0x12", "0x25"), cpu2},
        // presence: the processor going away is the fault
        {"present",               0, cpu(0x07),             0, {{0, 0x02, 0, 0x80, 3}}, {}, cpu2},
        {"gone",                  0, cpu(0x07, 0xFF, 0xFF, 0x51, kDeassert), 0, {{0, 0x02, 3, 0x80, 3}}, {}, cpu2},
        {"thermal trip: silent",  0, cpu(0x01),             4, {}, {}, cpu2, Lines{}},
    }, "Failed to fill hash node of CPU Fault info");
    const std::vector<Msg> clear{{10, 0x01, 0, 0, 0}};
    expectRows(DIAG_PANEL_TRANS_PowercapFault, {
        {"asserted",            kFirstBoard, sel(0x0A, 0x60, 0x72, 0x08), 4, clear, {}, nullptr, Lines{}},
        {"deasserted",          0, sel(0x0A, 0x60, 0xF2, 0x08), 3, clear},
        {"any sensor, marked",  0, sel(0xC0, 0x60, 0x72, 0xA8), 1, clear},
        {"offset 7",            0, sel(0x0A, 0x60, 0x72, 0x07), 4, {}},
    }, "Failed to fill hash node of Powercap Fault info");
    // clang-format on
}

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
        {"offset 6 cleared",       0, fan(kAvailability, 0x06, true), 4, {{6, 0x02, 0, 0x40, 3}}, {}, fan2, checked},
        {"offset 0 without level clears", 0, fan(kAvailability, 0x00), 0, {{6, 0x02, 0, 0, 0}}, {}, fan2, asked},
        {"offset 0, severity 4",   0, fan(kAvailability, 0x00),     4, {{6, 0x02, 3, 0, 3}}, {}, fan2},
        {"offset 0 deasserted: dropped", 0, fan(kAvailability, 0x00, true), 4, {}, {}, fan2},
        {"6Fh offset 0",           0, fan(kSpecific, 0x00),         4, {{6, 0x00, 3, 0x01, 3}}, {}, fan2, Lines{}},
        {"6Fh offset 0 deasserted",0, fan(kSpecific, 0x00, true),   4, {{6, 0x00, 0, 0, 0}}, {}, fan2},
        {"6Fh asks about fan 255", 0, fan(kSpecific, 0x08),         0, {}, {}, fan2, Lines{"dfc_fan_UpdateFanInstallState()", "DFC_ctl_CheckFanErrState(255)"}},
        {"name before board rules",0, fan(kRedundancy, 0x04),       0, {}, {"4 Unknown Sensor name: Number=0x61"}},
        {"no redundancy here",     0, fan(kRedundancy, 0x04),       0, {}, {}, fan2},
        {"offset 2",               0, fan(kAvailability, 0x02),     0, {}, {"4 Unknown FAN event offset: 0x2"}, fan2, Lines{}},
    }, failText);
    HOST_FanSetError(1, 0);
    expectRows(DIAG_PANEL_TRANS_FanFault, {
        {"recovered fan: no clear",0, fan(kAvailability, 0x06, true), 0, {}, {}, fan2, checked},
        {"unchecked board",        diag::board::k01033304, fan(kAvailability, 0x08), 0, {{6, 0x02, 3, 0x100, 3}}, {}, "CM1 FAN2_Status", asked},
        {"redundancy regained",    diag::board::k01034301, fan(kRedundancy, 0x04, true), 0, {{6, 0x00, 0, 0, 3}}, {}, redundancy},
        {"unlisted board: no check", diag::board::k01030103 + 1, fan(kSpecific, 0x08), 0, {{6, 0x00, 3, 0x100, 3}}, {}, nullptr, Lines{}},
    }, failText);
    // clang-format on
}

TEST_F(TranslatorTest, PcieRecords)
{
    // clang-format off
    const auto pcie = [](u8 d1, u8 slot, bool de = false) { return sel(0x13, 0x70, de ? kDeassert : kAssert, d1, slot); };
    const std::string badFormat = "4 Unknown PCIE sel format: EvtData1=";
    const char *failText = "Failed to fill hash node of PCIE Fault info";
    expectRows(DIAG_PANEL_TRANS_PcieFault, { // the platform names no RAID slot: FFh
        {"SERR, severity 1",     kFirstBoard, pcie(0x85, 7),    1, {{3, 0x07, 0, 0x20, 0}}, {}, nullptr, Lines{}},
        {"fatal cleared",        0, pcie(0xBA, 7, true),        3, {{3, 0x07, 0, 0x400, 2}}},
        {"slot FFh is no RAID slot", 0, pcie(0x85, 0xFF),       0, {{3, 0x55, 3, 0x20, 3}}},
        {"no data 2 mark",       0, pcie(0x08, 5),              0, {}, {badFormat + "0x8"}},
        {"data 2 marked 11b",    0, pcie(0xC8, 5),              0, {}, {badFormat + "0xc8"}},
        {"offset 1 before format", 0, pcie(0x01, 5),            4, {}},
    }, failText);
    g_uiPcieRaidSlotNum = 121;
    expectRows(DIAG_PANEL_TRANS_PcieFault, {
        {"RAID fatal cleared",   kFirstBoard, pcie(0x8A, 121, true), 4, {{4, 0x21, 0, 0x2000, 3}}},
        {"riser board, no RAID slot", diag::board::k01032303, pcie(0x88, 121), 0, {{3, 0x03, 3, 0x100, 3}}},
    }, failText);
    // clang-format on
}
