// Board logic registers: one fault per mapped bit in bit order, by each board's register table,
// and the single-bit addresses of the boards that have them.
#include "tests/translate/translator_cases.hpp"

using namespace test;

TEST_F(TranslatorTest, BoardLogicRecords)
{
    // clang-format off
    constexpr u16 kBoard = DIAG_PANEL_FAULT_BOARD, kBoardEx = DIAG_PANEL_FAULT_BOARD_EX;
    const auto cpld = [](u8 data1, u8 address, u8 value, u8 dir = kAssert) { return sel(0x15, 0x60, dir, data1, address, value); };
    // Messages of one fault type by index; a single-bit fault also has its mask.
    const auto faults = [](u16 type, std::vector<u8> indices, u32 mask = 0, u8 level = 3, u8 field = 3) {
        Msgs out;
        for (const u8 index : indices) { out.push_back({type, index, field, mask, level}); }
        return out;
    };
    const Lines unknown{"4 [DiagPanel_translate] Unknown format SEL"};
    expectRows(DIAG_PANEL_TRANS_BoardFault, {
        // table A and the single-bit table
        {"A 68h bits 0, 2",        0x01030103, cpld(0xA0, 0x68, 0x05), 9, faults(kBoardEx, {0x01, 0x25})},
        {"A 68h every bit",        0x01031304, cpld(0xA0, 0x68, 0xFF), 4, faults(kBoardEx, {0x01, 0x04, 0x25, 0x24, 0x23, 0x22})},
        {"deassertion keeps level",0x01030103, cpld(0xA0, 0x68, 0x05, kDeassert), 3, faults(kBoardEx, {0x01, 0x25}, 0, 2, 0)},
        {"single bit, deasserted", 0, cpld(0x00, 0x67, 0x00, kDeassert), 9, faults(kBoard, {0x11}, 0x4, 3, 0)},
        {"A 68h bit 5 unmapped",   0, cpld(0xA0, 0x68, 0x20), 4, {}, {"4 Unknown cpld value: [addr=0x68]0x20", "2 Failed to fill hash node of Board HDD Fault info"}},
        {"A 68h not OEM",          0, cpld(0x80, 0x68, 0x05), 4, {}, {"2 Unknown OEM FPGA sel format: EvtData1=0x80"}},
        {"65h single bit on A",    0x01031104, cpld(0x00, 0x65, 0xFF), 4, faults(kBoard, {0x11}, 0x1)},
        {"offset 1 matches none",  0, cpld(0xA1, 0x68, 0x05), 4, {}, unknown},
        {"nor on single bits",     0, cpld(0x01, 0x66, 0x00), 4, {}, unknown},
        // table B: no single-bit table, 65h is a register
        {"65h register on B",      0x01034301, cpld(0xA0, 0x65, 0x03), 4, faults(kBoardEx, {0x10, 0x09})},
        // table C and the single-bit table
        {"C 72h",                  0x60010202, cpld(0xA0, 0x72, 0x07), 4, faults(kBoard, {0x21, 0x32, 0x31})},
        {"C single bit 67h",       0x60010201, cpld(0xF0, 0x67, 0x00), 4, faults(kBoard, {0x11}, 0x4)},
        // table D: no single-bit table
        {"D 8Fh",                  0x01032303, cpld(0xA0, 0x8F, 0x33), 4, faults(kBoardEx, {0x43, 0x53, 0x42, 0x52})},
        {"no single bits on D",    0, cpld(0xA0, 0x65, 0x01), 4, {}, unknown},
        // table E
        {"E 6Eh every bit",        0x01033304, cpld(0xA0, 0x6E, 0xFF), 4, faults(kBoardEx, {0x47, 0x48, 0x57, 0x58, 0xA7, 0xA8, 0xB7, 0xB8})},
        // table F and the single-bit table
        {"F 69h, one index twice", 0x03033505, cpld(0xA0, 0x69, 0xC0), 4, faults(kBoard, {0x91, 0x91})},
        {"F single bit 66h",       0, cpld(0x00, 0x66, 0x00), 4, faults(kBoard, {0x11}, 0x2)},
        {"memory-only board",      0x01033306, cpld(0xA0, 0x68, 0x05), 4, {}, {"4 Unsupported ProductBoardID = 0x1033306 !"}},
    });
    // clang-format on
    HOST_SetBoardId(kFirstBoard);
    expectAllocationFailure(DIAG_PANEL_TRANS_BoardFault, cpld(0xA0, 0x68, 0x05),
                            "Failed to fill hash node of Board HDD Fault info", "0x28");
    expectAllocationFailure(DIAG_PANEL_TRANS_BoardFault, cpld(0x00, 0x66, 0),
                            "Failed to fill hash node of BOARD Fault info: offset=0");
}
