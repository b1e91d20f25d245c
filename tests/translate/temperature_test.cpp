// Temperature threshold records: which thresholds reach the panel at which level, the sensor's
// name as index, and the names that must not be found.
#include "tests/translate/sensor_cases.hpp"

namespace test {
namespace {

constexpr u8 kSensor = 0x30;

SelBytes temp(u8 data1, bool deassert = false, u8 generatorLun = 0)
{
    return sel(0x01, kSensor, deassert ? 0x81 : 0x01, data1, 0xFF, 0xFF, generatorLun);
}

const std::string kUnknown = "4 Unknown Sensor name: Number=0x30";
std::string unknownName(const std::string &name)
{
    return kUnknown + ", name=" + name;
}

TEST_F(SensorTranslatorTest, TemperatureThresholdsAndNames)
{
    const char *psu2 = "19-P/S 2 Zone"; // code 19 on the boards of per-board table 1
    // clang-format off
    run(DIAG_PANEL_TRANS_TempFault, {
        // the threshold alone fixes the level; the severity is not read
        {"lower critical", temp(0x02), 0, Msg{9, 0x19, 2, 0, 2}, {}, psu2},
        {"lower non-recoverable", temp(0x04), 4, Msg{9, 0x19, 3, 0, 3}, {}, psu2},
        {"upper critical", temp(0x09), 1, Msg{9, 0x19, 2, 0, 2}, {}, psu2},
        {"upper non-recoverable", temp(0x0B), 3, Msg{9, 0x19, 3, 0, 3}, {}, psu2},
        {"offset from the low nibble only", temp(0xA9), 0, Msg{9, 0x19, 2, 0, 2}, {}, psu2},
        // a deassertion clears the entry: level field 0, empty mask, the level it withdraws
        {"lower critical cleared", temp(0x02, true), 0, Msg{9, 0x19, 0, 0, 2}, {}, psu2},
        {"upper nr cleared", temp(0x0B, true), 0, Msg{9, 0x19, 0, 0, 3}, {}, psu2},
        {"upper non-critical: silent", temp(0x07), 4, {}, {}, psu2, kNoBoard, kNoCalls},
        {"upper critical going low", temp(0x08), 4, {}, {}, psu2, kNoBoard, kNoCalls},
        {"LUN bit passed", temp(0x09, false, 0x03), 0, Msg{9, 0x19, 2, 0, 2}, {}, psu2, kNoBoard,
         Calls{nameQuery(kSensor, 1)}},
        {"only bit 0 of the LUN", temp(0x09, false, 0x02), 0, Msg{9, 0x19, 2, 0, 2}, {}, psu2,
         kNoBoard, Calls{nameQuery(kSensor, 0)}},
        // the number before the dash is the code, whatever the row
        {"28-PCI 4", temp(0x09), 0, Msg{9, 0x28, 2, 0, 2}, {}, "28-PCI 4"},
        {"28-PCI 1 Zone", temp(0x09), 0, Msg{9, 0x28, 2, 0, 2}, {}, "28-PCI 1 Zone"},
        {"16 characters fill the buffer", temp(0x09), 0, Msg{9, 0x06, 2, 0, 2}, {},
         "06-P1 DIMM Ch1-3"},
        // refused names
        {"unknown sensor", temp(0x09), 0, {}, {kUnknown}, nullptr, kNoBoard,
         Calls{nameQuery(kSensor)}},
        {"name of another board family", temp(0x09), 0, {}, {unknownName("Inlet Temp")},
         "Inlet Temp"},
        {"a prefix of a name", temp(0x09), 0, {}, {unknownName("19-P/S 2")}, "19-P/S 2"},
        // 17 characters arrive unterminated; longer names are cut to the 17-byte buffer
        {"17 characters", temp(0x09), 0, {}, {unknownName("06-P1 DIMM Ch1-3X")},
         "06-P1 DIMM Ch1-3X"},
        {"longer than the buffer", temp(0x09), 0, {}, {unknownName("19-P/S 2 Zone Rea")},
         "19-P/S 2 Zone Rear Sensor"},
        // exact-length matching, and boards of other tables
        {"PCI 1 is not PCI 1 Zone", temp(0x0B), 0, Msg{9, 0x32, 3, 0, 3}, {}, "PCI 1", 0x01034301},
        {"PCI 1 Zone", temp(0x0B), 0, Msg{9, 0x42, 3, 0, 3}, {}, "PCI 1 Zone"},
        {"trailing blank kept", temp(0x02), 0, Msg{9, 0x05, 2, 0, 2}, {}, "CPU 1 DTS ", 0x03033505},
        {"trailing blank required", temp(0x02), 0, {}, {unknownName("CPU 1 DTS")}, "CPU 1 DTS"},
        {"last of a short table", temp(0x02), 0, Msg{9, 0x16, 2, 0, 2}, {}, "Outlet_Temp",
         0x02032001},
        {"codes jump past 27", temp(0x04), 0, Msg{9, 0x34, 3, 0, 3}, {}, "PCH", 0x01032303},
    });
    // clang-format on
}

// The lookup keeps the first of two rows with one name.
TEST_F(SensorTranslatorTest, TemperatureNameLookupTakesTheFirstRow)
{
    const diag::NameRow rows[] = {{"Fan_1_Status", 1}, {"Dup", 4}, {"Dup", 5}};
    u8 code = 0;
    ASSERT_EQ(
        DIAG_PANEL_TRANS_matchSensorName(reinterpret_cast<const u8 *>(rows), 3, "Dup", 3, &code),
        0);
    EXPECT_EQ(code, 4);
}

TEST_F(SensorTranslatorTest, TemperatureAllocationFailureLeaksNothing)
{
    HOST_SensorSetName(kSensor, "01-Inlet Temp");
    expectAllocationFailure(DIAG_PANEL_TRANS_TempFault, temp(0x0B), 0,
                            "Failed to fill hash node of Temperature Fault info");
}

} // namespace
} // namespace test
