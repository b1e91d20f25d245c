// SPDX-License-Identifier: Apache-2.0
// The translators of component faults (memory, processor firmware progress, RAID, disks, board
// logic, POST watchdog): levels, directions, the order of their checks, every log line and the
// platform calls. Which code each position, register bit or slot gives is the board listing's
// (diagpanel tables, compared with tests/tools/data/tables.golden).
#include <boards/catalogue.hpp>

#include "tests/translate/translator_cases.hpp"

#include "display/display_state.hpp"

using namespace test;

TEST_F(TranslatorTest, DimmRecords)
{
    // clang-format off
    const auto dimm = [](u8 data1, u8 s = 0, u8 dir = kAssert) { return sel(0x0C, 0x30, dir, data1, 0, u8(s << 6)); };
    const auto bySensor = [](u8 sensor) { return sel(0x0C, sensor, kAssert, 0xA0); };
    const auto code = [](u8 index, u8 offset, u8 level = 3, u8 field = 3) {
        return Msgs{{DIAG_PANEL_FAULT_MEMORY, index, field, 1u << offset, level}};
    };
    expectRows(DIAG_PANEL_TRANS_DimmFault, {
        {"given level wins",        kFirstBoard, dimm(0xA1), 3, code(0xA1, 1, 2, 2)},
        {"deassertion keeps level", 0, dimm(0xA0, 0, kDeassert), 4, code(0xA1, 0, 3, 0)},
        {"position beyond",         0, dimm(0xA0, 2),        4, {}, {"4 DIMM index exceeds: 0x14"}},
        {"Kestrel EB has no row",   diag::board::k60010101, bySensor(0xEB), 4, {}, {"4 Wrong Kestrel DIMM SensorNum: 0xeb"}},
        {"Merlin below D0",         diag::board::k60010202, bySensor(0xCF), 4, {}, {"4 Wrong Merlin DIMM SensorNum: 0xcf"}},
        // the order of the checks: offset (silently), format, board, position
        {"scrub failed, any board", 5, dimm(0xA3),           4, {}},
        {"format before board",     0, dimm(0x51),           4, {}, {"4 Unknown DIMM sel format: EvtData1=0x51"}},
        {"board unknown",           0xFFFFFFFF, dimm(0xA0),  4, {}, {"4 ProductBoardID not found"}},
        {"board not adapted",       5, dimm(0xA0),           4, {}, {"4 ProductBoard not adapt, 5"}},
    }, "Failed to fill hash node of DIMM Fault info");
    // clang-format on
}

TEST_F(TranslatorTest, RaidAndFirmwareProgressRecords)
{
    // clang-format off
    const auto raid = [](u8 d1, u8 d2, u8 type = kAssert) { return sel(0x17, 0x50, type, d1, d2); };
    const auto card = [](u8 index, u8 offset, u8 level = 3, u8 field = 3) {
        return Msgs{{DIAG_PANEL_FAULT_RAID, index, field, 1u << offset, level}};
    };
    expectRows(DIAG_PANEL_TRANS_RaidFault, {
        {"no controller number",   kFirstBoard, raid(0x80, 0xFF), 9, card(0xFF, 0)},
        {"controller 12",          0, raid(0xB2, 12),             3, card(0x12, 2, 2, 2)},
        {"100 keeps the low byte", 0, raid(0x80, 100),            4, card(0x00, 0)},
        {"deassertion keeps level",0, raid(0x81, 1, kDeassert),   9, card(0x01, 1, 3, 0)},
        {"offset 3 before format", 0, raid(0x03, 1),              9, {}},
        {"data 1 bits 7-6 = 11b",  0, raid(0xC1, 1),              9, {}, {"4 Unknown RAID sel format: EvtData1=0xc1"}},
    }, "Failed to fill hash node of RAID Fault info");
    const auto progress = [](u8 d1, u8 d2, u8 dir = kAssert) { return sel(0x0F, 1, dir, d1, d2); };
    const Msgs cpu{{DIAG_PANEL_FAULT_CPU, 0, 3, 0x2000, 3}};
    const Lines unsupported{"2 Not Support SEL MSG"};
    expectRows(DIAG_PANEL_TRANS_CpuFault, {
        {"data 2 bits 7-4 not read",  0, progress(0xAD, 0x13),            3, {{0, 0, 2, 0x2000, 2}}},
        {"data 1 bits 5-4 not read",  0, progress(0x8D, 0x03),            4, cpu},
        {"deassertion keeps level",   0, progress(0xAD, 0x03, kDeassert), 3, {{0, 0, 0, 0x2000, 2}}},
        {"data 1 bits 7-6 are 11b",   0, progress(0xCD, 0x03),            9, {}, unsupported},
        {"another OEM code",          0, progress(0xAD, 0x04),            9, {}, unsupported},
        {"offset first, then format", 0, progress(0x00, 0x00),            9, {}},
    });
    // clang-format on
    testing::internal::CaptureStdout(); // the firmware's console hears of this failure too
    expectAllocationFailure(DIAG_PANEL_TRANS_CpuFault, progress(0xAD, 0x03),
                            "Failed to fill hash node of CPU Fault info");
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "[xxxxxx] Failed to fill hash node of CPU Fault info");
}

namespace {
constexpr u8 kSensor = 0x42, kLostSensor = 0x43; // instance 7 has a location, instance 9 none
} // namespace

TEST_F(TranslatorTest, DiskRecords)
{
    g_astGetALLHDDSensor[kSensor][0] = 0x07;
    g_astGetALLHDDSensor[kLostSensor][0] = 0x09;
    HOST_DiskSetLocation(0x07, 1, 18, 1); // a rear slot: code 17 on the first board
    // clang-format off
    const auto drive = [](u8 d1, u8 sensor = kSensor, u8 dir = kAssert) { return sel(0x0D, sensor, dir, d1); };
    const auto disk = [](u8 index, u8 offset, u8 level = 3, u8 field = 3) {
        return Msgs{{DIAG_PANEL_FAULT_DISK, index, field, 1u << offset, level}};
    };
    const std::string lost = "4 DIAG_PANEL_GetHddFaultCode get disk location failed by instance[0x9]!";
    const std::string predictive = "4 Unknown HDD sel format: EvtData1=0xa2";
    expectRows(DIAG_PANEL_TRANS_HddFault, {
        {"presence, own level",     kFirstBoard, drive(0xA0),           9, disk(0x17, 0), {}, nullptr, Lines{"MODULE_GetDiskLocationByInstance(0x7)"}},
        {"drive fault, given level",0, drive(0x01),                     3, disk(0x17, 1, 2, 2)},
        {"deassertion keeps level", 0, drive(0x01, kSensor, kDeassert), 3, disk(0x17, 1, 2, 0)},
        {"unknown disk is 00",      0, drive(0x01, kLostSensor),        4, disk(0x00, 1), {lost}},
        {"location asked first",    0, drive(0xA2, kLostSensor),        4, {}, {lost, predictive}},
    }, "Failed to fill hash node of HDD Fault info");
    // clang-format on
}

TEST_F(TranslatorTest, BoardLogicRecords)
{
    // clang-format off
    constexpr u16 kBoard = DIAG_PANEL_FAULT_BOARD, kBoardEx = DIAG_PANEL_FAULT_BOARD_EX;
    const auto cpld = [](u8 data1, u8 address, u8 value, u8 dir = kAssert) { return sel(0x15, 0x60, dir, data1, address, value); };
    const auto faults = [](u16 type, std::vector<u8> indices, u32 mask = 0, u8 level = 3, u8 field = 3) {
        Msgs out;
        for (const u8 index : indices) { out.push_back({type, index, field, mask, level}); }
        return out;
    };
    const Lines unknown{"4 [DiagPanel_translate] Unknown format SEL"};
    expectRows(DIAG_PANEL_TRANS_BoardFault, {
        {"one message per set bit", kFirstBoard, cpld(0xA0, 0x68, 0x05), 9, faults(kBoardEx, {0x01, 0x25})},
        {"deassertion keeps level", 0, cpld(0xA0, 0x68, 0x05, kDeassert), 3, faults(kBoardEx, {0x01, 0x25}, 0, 2, 0)},
        {"single bit, deasserted",  0, cpld(0x00, 0x67, 0x00, kDeassert), 9, faults(kBoard, {0x11}, 0x4, 3, 0)},
        {"unmapped bit",            0, cpld(0xA0, 0x68, 0x20), 4, {}, {"4 Unknown cpld value: [addr=0x68]0x20", "2 Failed to fill hash node of Board HDD Fault info"}},
        {"not OEM",                 0, cpld(0x80, 0x68, 0x05), 4, {}, {"2 Unknown OEM FPGA sel format: EvtData1=0x80"}},
        {"offset 1 matches none",   0, cpld(0xA1, 0x68, 0x05), 4, {}, unknown},
        {"board without a table",   diag::board::k01033306, cpld(0xA0, 0x68, 0x05), 4, {}, {"4 Unsupported ProductBoardID = 0x1033306 !"}},
    });
    // clang-format on
    HOST_SetBoardId(kFirstBoard);
    expectAllocationFailure(DIAG_PANEL_TRANS_BoardFault, cpld(0xA0, 0x68, 0x05),
                            "Failed to fill hash node of Board HDD Fault info", "0x28");
    expectAllocationFailure(DIAG_PANEL_TRANS_BoardFault, cpld(0x00, 0x66, 0),
                            "Failed to fill hash node of BOARD Fault info: offset=0");
}

TEST_F(TranslatorTest, PostCodeRecords)
{
    // clang-format off
    const auto watchdog = [](u8 d1, u8 d2, u8 dir = kAssert) { return sel(0x23, 3, dir, d1, d2); };
    const auto post = [](u8 code, u8 level = 2) { return Msgs{{DIAG_PANEL_FAULT_POST, code, level, 0, 2}}; };
    const auto told = [] { // the POST error the display was told of since the last look, or -1
        const bool due = diag::g_stPostDisp.phase != diag::PostPhase::kOpening;
        const int code = due ? diag::g_stPostDisp.ucErrCode : -1;
        diag::g_stPostDisp = {};
        return code;
    };
    const u8 codes[] = {0x19, 0xA1, 0xB2};
    const Lines read{"snoop_read_current_bios_code(256, zeroed)"};
    const Lines failed{"4 [DiagPanel_translate.L]Read current bios code failed!",
                       "4 Failed to get BIOS Code while in Diagpanel module!"};
    HOST_PostSetCodes(codes, 3);
    (void)told();
    expectRows(DIAG_PANEL_TRANS_PostFault, {
        {"deassertion",         kFirstBoard, watchdog(0xC0, 0x01, kDeassert), 4, post(0x00, 0), {}, nullptr, Lines{}},
        {"BIOS/POST timer use", 0, watchdog(0xC0, 0x02), 9, {}, {}, nullptr, Lines{}},
    });
    EXPECT_EQ(told(), -1);
    expectRows(DIAG_PANEL_TRANS_PostFault, {{"FRB2, interrupt type 2", 0, watchdog(0xC0, 0x21), 1, post(0xB2), {}, nullptr, read}});
    EXPECT_EQ(told(), 0xB2);
    for (const int failure : {0, -5}) { // unreadable: code FFh
        HOST_PostSetCodes(nullptr, failure);
        expectRows(DIAG_PANEL_TRANS_PostFault, {{"no code", 0, watchdog(0xC0, 0x01), 9, post(0xFF), failed, nullptr, read}});
        EXPECT_EQ(told(), 0xFF) << failure;
    }
    // clang-format on
    HOST_PostSetCodes(codes, 3); // the display is told even when the message cannot be stored
    expectAllocationFailure(DIAG_PANEL_TRANS_PostFault, watchdog(0xC0, 0x01),
                            "Failed to fill hash node of POST Fault info");
    EXPECT_EQ(told(), 0xB2);
}
