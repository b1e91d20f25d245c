// Temperature thresholds: which reach the panel at which level, the sensor's name as index, and
// the names that must not be found.
#include "tests/translate/translator_cases.hpp"

using namespace test;

TEST_F(TranslatorTest, TemperatureRecords)
{
    // clang-format off
    const auto temp = [](u8 d1, bool de = false, u8 lun = 0) { return sel(1, 0x30, de ? 0x81 : 1, d1, 0xFF, 0xFF, lun); };
    const auto unknown = [](std::string name) { return Lines{"4 Unknown Sensor name: Number=0x30, name=" + name}; };
    const char *psu2 = "19-P/S 2 Zone"; // code 19 on the boards of the first per-board table
    expectRows(DIAG_PANEL_TRANS_TempFault, {
        // the threshold alone fixes the level; the severity is not read
        {"lower critical",          kFirstBoard, temp(0x02), 0, {{9, 0x19, 2, 0, 2}}, {}, psu2},
        {"lower non-recoverable",   0, temp(0x04),           4, {{9, 0x19, 3, 0, 3}}, {}, psu2},
        {"upper critical",          0, temp(0x09),           1, {{9, 0x19, 2, 0, 2}}, {}, psu2},
        {"upper non-recoverable",   0, temp(0x0B),           3, {{9, 0x19, 3, 0, 3}}, {}, psu2},
        {"offset from bits 3-0",    0, temp(0xA9),           0, {{9, 0x19, 2, 0, 2}}, {}, psu2},
        {"cleared: empty mask",     0, temp(0x0B, true),     0, {{9, 0x19, 0, 0, 3}}, {}, psu2},
        {"going low: silent",       0, temp(0x08),           4, {}, {}, psu2, Lines{}},
        {"LUN bit passed",          0, temp(0x09, false, 3), 0, {{9, 0x19, 2, 0, 2}}, {}, psu2, Lines{"Hal_GetSensorNameCfg(0x30, 1, zeroed, 1, 0x5a)"}},
        {"only bit 0 of the LUN",   0, temp(0x09, false, 2), 0, {{9, 0x19, 2, 0, 2}}, {}, psu2, Lines{"Hal_GetSensorNameCfg(0x30, 0, zeroed, 1, 0x5a)"}},
        {"16 characters",           0, temp(0x09),           0, {{9, 0x06, 2, 0, 2}}, {}, "06-P1 DIMM Ch1-3"},
        // refused names
        {"unknown sensor",          0, temp(0x09),           0, {}, {"4 Unknown Sensor name: Number=0x30"}, nullptr, Lines{"Hal_GetSensorNameCfg(0x30, 0, zeroed, 1, 0x5a)"}},
        {"another board's name",    0, temp(0x09),           0, {}, unknown("Inlet Temp"), "Inlet Temp"},
        {"a prefix of a name",      0, temp(0x09),           0, {}, unknown("19-P/S 2"), "19-P/S 2"},
        {"17 arrive unterminated",  0, temp(0x09),           0, {}, unknown("06-P1 DIMM Ch1-3X"), "06-P1 DIMM Ch1-3X"},
        // whole-name matching, and the boards of other tables
        {"PCI 1 is not PCI 1 Zone", 0x01034301, temp(0x0B),  0, {{9, 0x32, 3, 0, 3}}, {}, "PCI 1"},
        {"PCI 1 Zone",              0, temp(0x0B),           0, {{9, 0x42, 3, 0, 3}}, {}, "PCI 1 Zone"},
        {"trailing blank kept",     0x03033505, temp(0x02),  0, {{9, 0x05, 2, 0, 2}}, {}, "CPU 1 DTS "},
        {"trailing blank required", 0, temp(0x02),           0, {}, unknown("CPU 1 DTS"), "CPU 1 DTS"},
        {"last of a short table",   0x02032001, temp(0x02),  0, {{9, 0x16, 2, 0, 2}}, {}, "Outlet_Temp"},
    }, "Failed to fill hash node of Temperature Fault info");
    // clang-format on
}
