// Processor records: IERR with its PCIe source, configuration errors by sensor number, presence
// with its reversed direction, machine checks.
#include "tests/translate/sensor_cases.hpp"

namespace test {
namespace {

constexpr u8 kSensor = 0x51;

SelBytes cpu(u8 data1, u8 data2 = 0xFF, u8 data3 = 0xFF, bool deassert = false, u8 sensor = kSensor)
{
    return sel(0x07, sensor, deassert ? 0xEF : 0x6F, data1, data2, data3);
}
SelBytes config(u8 sensor, u8 data1, u8 data2, u8 data3 = 0xFF)
{
    return cpu(data1, data2, data3, false, sensor);
}
std::string badFormat(const char *sensor, const char *data1)
{
    return std::string("4 Unknown CPU configuration sel format: SensorNum=") + sensor +
           ", EvtData1=" + data1;
}

TEST_F(SensorTranslatorTest, ProcessorEvents)
{
    const char *cpu2 = "CPU_2_Status";
    // clang-format off
    run(DIAG_PANEL_TRANS_CpuCfgFault, {
        {"IERR", cpu(0x00), 0, Msg{0, 0x02, 3, 0x01, 3}, {}, cpu2, kNoBoard,
         Calls{nameQuery(kSensor)}},
        {"IERR from a PCIe slot", cpu(0xA0, 0x12, 0x10), 0, Msg{3, 0x17, 3, 0x01, 3}, {}, cpu2,
         kNoBoard, kNoCalls},
        {"PCIe slot nibbles", cpu(0x80, 0x52, 0x9F), 3, Msg{3, 0x49, 2, 0x01, 2}, {}, cpu2},
        {"PCIe source without OEM mark", cpu(0x00, 0x12, 0x10), 0, Msg{0, 0x02, 3, 0x01, 3}, {},
         cpu2, kNoBoard, Calls{nameQuery(kSensor)}},
        {"PCIe source with mark 11b", cpu(0xE0, 0x12, 0x10), 0, Msg{0, 0x02, 3, 0x01, 3}, {}, cpu2},
        {"other source", cpu(0xA0, 0x13, 0x10), 0, Msg{0, 0x02, 3, 0x01, 3}, {}, cpu2},
        // configuration errors: the processor number from event data, not through the BCD index
        {"sensor 11h", config(0x11, 0x25, 0xFF, 0x30), 0, Msg{0, 0x04, 2, 0x20, 2}, {}, cpu2,
         kNoBoard, kNoCalls},
        {"sensor 12h", config(0x12, 0x85, 0x20), 0, Msg{0, 0x03, 2, 0x20, 2}, {}, cpu2},
        {"sensor 13h", config(0x13, 0xA5, 0x0B), 0, Msg{0, 0x0C, 2, 0x20, 2}, {}, cpu2},
        {"sensor 14h wraps", config(0x14, 0x85, 0xFF), 4, Msg{0, 0x00, 3, 0x20, 3}, {}, cpu2},
        {"sensor 15h", config(0x15, 0x25, 0x00, 0xF0), 0, Msg{0, 0x10, 2, 0x20, 2}, {}, cpu2},
        {"cleared", cpu(0x25, 0xFF, 0x30, true, 0x15), 0, Msg{0, 0x04, 0, 0x20, 2}, {}, cpu2},
        {"11h needs data 3 marked", config(0x11, 0x85, 0x20, 0x30), 0, {},
         {badFormat("0x11", "0x85")}, cpu2, kNoBoard, kNoCalls},
        {"12h needs data 2 marked", config(0x12, 0x25, 0x20, 0x30), 0, {},
         {badFormat("0x12", "0x25")}, cpu2},
        {"13h with data 2 as 11b", config(0x13, 0xC5, 0x20), 0, {}, {badFormat("0x13", "0xc5")}},
        {"sensor 16h", config(0x16, 0xA5, 0x20, 0x20), 0, {}, {badFormat("0x16", "0xa5")}},
        // presence: the processor going away is the fault
        {"present", cpu(0x07), 0, Msg{0, 0x02, 0, 0x80, 3}, {}, cpu2},
        {"gone", cpu(0x07, 0xFF, 0xFF, true), 0, Msg{0, 0x02, 3, 0x80, 3}, {}, cpu2},
        {"gone, severity 3", cpu(0x07, 0xFF, 0xFF, true), 3, Msg{0, 0x02, 2, 0x80, 2}, {}, cpu2},
        {"machine check", cpu(0x0B), 0, Msg{0, 0x02, 3, 0x800, 3}, {}, cpu2},
        {"machine check cleared", cpu(0x0B, 0xFF, 0xFF, true), 1, Msg{0, 0x02, 0, 0x800, 0}, {},
         cpu2},
        {"thermal trip: silent", cpu(0x01), 4, {}, {}, cpu2, kNoBoard, kNoCalls},
        {"unknown sensor", cpu(0x0B), 0, {}, {"4 Unknown Sensor name: Number=0x51"}},
        {"another family's name", cpu(0x00), 0, {},
         {"4 Unknown Sensor name: Number=0x51, name=CM1 CPU_1_Status"}, "CM1 CPU_1_Status"},
        {"CM2 CPU 1", cpu(0x00), 0, Msg{0, 0x03, 3, 0x01, 3}, {}, "CM2 CPU_1_Status", 0x01033304},
        {"single processor", cpu(0x0B), 0, Msg{0, 0x01, 3, 0x800, 3}, {}, "CPU0_Status",
         0x61010101},
    });
    // clang-format on
}

TEST_F(SensorTranslatorTest, ProcessorAllocationFailureLeaksNothing)
{
    expectAllocationFailure(DIAG_PANEL_TRANS_CpuCfgFault, config(0x13, 0xA5, 0x0B), 0,
                            "Failed to fill hash node of CPU Fault info");
}

} // namespace
} // namespace test
