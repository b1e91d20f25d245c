// Processor records: IERR with its PCIe source, configuration errors by sensor number, presence
// with its reversed direction, machine checks.
#include "tests/translate/translator_cases.hpp"

using namespace test;

TEST_F(TranslatorTest, ProcessorRecords)
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
        {"other source",          0, cpu(0xA0, 0x13, 0x10), 0, {{0, 0x02, 3, 0x01, 3}}, {}, cpu2},
        // configuration errors: the processor number from event data, not through the BCD index
        {"sensor 11h",            0, cpu(0x25, 0xFF, 0x30, 0x11), 0, {{0, 0x04, 2, 0x20, 2}}, {}, cpu2, Lines{}},
        {"sensor 12h",            0, cpu(0x85, 0x20, 0xFF, 0x12), 0, {{0, 0x03, 2, 0x20, 2}}, {}, cpu2},
        {"sensor 13h",            0, cpu(0xA5, 0x0B, 0xFF, 0x13), 0, {{0, 0x0C, 2, 0x20, 2}}, {}, cpu2},
        {"sensor 14h wraps",      0, cpu(0x85, 0xFF, 0xFF, 0x14), 4, {{0, 0x00, 3, 0x20, 3}}, {}, cpu2},
        {"sensor 15h",            0, cpu(0x25, 0x00, 0xF0, 0x15), 0, {{0, 0x10, 2, 0x20, 2}}, {}, cpu2},
        {"cleared",               0, cpu(0x25, 0xFF, 0x30, 0x15, kDeassert), 0, {{0, 0x04, 0, 0x20, 2}}, {}, cpu2},
        {"11h needs data 3 marked", 0, cpu(0x85, 0x20, 0x30, 0x11), 0, {}, badFormat("0x11", "0x85"), cpu2, Lines{}},
        {"12h needs data 2 marked", 0, cpu(0x25, 0x20, 0x30, 0x12), 0, {}, badFormat("0x12", "0x25"), cpu2},
        {"sensor 16h",            0, cpu(0xA5, 0x20, 0x20, 0x16), 0, {}, badFormat("0x16", "0xa5")},
        // presence: the processor going away is the fault
        {"present",               0, cpu(0x07),             0, {{0, 0x02, 0, 0x80, 3}}, {}, cpu2},
        {"gone",                  0, cpu(0x07, 0xFF, 0xFF, 0x51, kDeassert), 0, {{0, 0x02, 3, 0x80, 3}}, {}, cpu2},
        {"machine check",         0, cpu(0x0B),             0, {{0, 0x02, 3, 0x800, 3}}, {}, cpu2},
        {"thermal trip: silent",  0, cpu(0x01),             4, {}, {}, cpu2, Lines{}},
        {"CM2 CPU 1",             0x01033304, cpu(0x00),    0, {{0, 0x03, 3, 0x01, 3}}, {}, "CM2 CPU_1_Status"},
        {"single processor",      0x61010101, cpu(0x0B),    0, {{0, 0x01, 3, 0x800, 3}}, {}, "CPU0_Status"},
    }, "Failed to fill hash node of CPU Fault info");
    // clang-format on
}
