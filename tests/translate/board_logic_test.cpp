#include "tests/translate/translator_cases.hpp"

using namespace test;

namespace {

constexpr u16 kBoard = DIAG_PANEL_FAULT_BOARD;
constexpr u16 kBoardEx = DIAG_PANEL_FAULT_BOARD_EX;

SelBytes cpld(u8 data1, u8 address, u8 value, u8 dir = kAssert)
{
    return sel(0x15, 0x60, dir, data1, address, value);
}

// Messages of one fault type at level 3, by index; a single-bit fault also has its mask.
std::vector<DIAG_PANEL_MSG_S> faults(u16 type, std::vector<u8> indices, u32 mask = 0,
                                     u8 levelBits = 3, u8 level = 3)
{
    std::vector<DIAG_PANEL_MSG_S> out;
    for (const u8 index : indices) {
        out.push_back(fault(type, index, mask, levelBits, level));
    }
    return out;
}

} // namespace

TEST_F(TranslatorTest, EachMappedRegisterBitIsOneFaultInBitOrder)
{
    const std::vector<LogLine> unknown{warn("[DiagPanel_translate] Unknown format SEL")};
    const LogLine noFill = error("Failed to fill hash node of Board HDD Fault info");
    // clang-format off
    expectCases(DIAG_PANEL_TRANS_BoardFault, {
        // Table A and the single-bit table.
        {"A 68h bits 0, 2",        0x01030103, cpld(0xA0, 0x68, 0x05), kSevNone,   faults(kBoardEx, {0x01, 0x25}), {}},
        {"A 68h every bit",        0x01031304, cpld(0xA0, 0x68, 0xFF), kSevLevel3, faults(kBoardEx, {0x01, 0x04, 0x25, 0x24, 0x23, 0x22}), {}},
        {"A 70h, fault type 7",    0x01030303, cpld(0xA0, 0x70, 0x01), kSevLevel3, faults(kBoard, {0x48}), {}},
        {"deassertion keeps L",    0x01030103, cpld(0xA0, 0x68, 0x05, kDeassert), kSevLevel2, faults(kBoardEx, {0x01, 0x25}, 0, 0, 2), {}},
        {"deassertion, own level", 0x01030103, cpld(0x00, 0x67, 0x00, kDeassert), kSevNone,   faults(kBoard, {0x11}, 0x4, 0, 3), {}},
        {"A 68h bit 5 unmapped",   0x01030103, cpld(0xA0, 0x68, 0x20), kSevLevel3, {}, {warn("Unknown cpld value: [addr=0x68]0x20"), noFill}},
        {"A 68h not OEM",          0x01030103, cpld(0x80, 0x68, 0x05), kSevLevel3, {}, {error("Unknown OEM FPGA sel format: EvtData1=0x80")}},
        {"single bit, any format", 0x01030103, cpld(0x00, 0x66, 0x00), kSevLevel3, faults(kBoard, {0x11}, 0x2), {}},
        {"65h single bit on A",    0x01031104, cpld(0x00, 0x65, 0xFF), kSevLevel3, faults(kBoard, {0x11}, 0x1), {}},
        {"offset 1 matches none",  0x01030103, cpld(0xA1, 0x68, 0x05), kSevLevel3, {}, unknown},
        {"nor on single bits",     0x01030103, cpld(0x01, 0x66, 0x00), kSevLevel3, {}, unknown},
        // Table B: no single-bit table, 65h is a register.
        {"65h register on B",      0x01034301, cpld(0xA0, 0x65, 0x03), kSevLevel3, faults(kBoardEx, {0x10, 0x09}), {}},
        {"B 6Dh maps bit 0 only",  0x01034301, cpld(0xA0, 0x6D, 0xFF), kSevLevel3, faults(kBoardEx, {0x50}), {}},
        // Table C and the single-bit table.
        {"C 72h",                  0x60010202, cpld(0xA0, 0x72, 0x07), kSevLevel3, faults(kBoard, {0x21, 0x32, 0x31}), {}},
        {"C 6Bh",                  0x60010101, cpld(0xA0, 0x6B, 0x1C), kSevLevel3, faults(kBoardEx, {0x04, 0x10, 0x09}), {}},
        {"C single bit 67h",       0x60010201, cpld(0xF0, 0x67, 0x00), kSevLevel3, faults(kBoard, {0x11}, 0x4), {}},
        // Table D: no single-bit table.
        {"D 8Fh",                  0x01032303, cpld(0xA0, 0x8F, 0x33), kSevLevel3, faults(kBoardEx, {0x43, 0x53, 0x42, 0x52}), {}},
        {"no single bits on D",    0x01032303, cpld(0xA0, 0x65, 0x01), kSevLevel3, {}, unknown},
        // Table E.
        {"E 6Eh every bit",        0x01033304, cpld(0xA0, 0x6E, 0xFF), kSevLevel3, faults(kBoardEx, {0x47, 0x48, 0x57, 0x58, 0xA7, 0xA8, 0xB7, 0xB8}), {}},
        {"E 87h",                  0x01033305, cpld(0xA0, 0x87, 0x0C), kSevLevel3, faults(kBoardEx, {0x8D, 0x8E}), {}},
        // Table F and the single-bit table.
        {"F 69h, one index twice", 0x03033505, cpld(0xA0, 0x69, 0xC0), kSevLevel3, faults(kBoard, {0x91, 0x91}), {}},
        {"F 68h bit 7",            0x03033505, cpld(0xA0, 0x68, 0x80), kSevLevel3, faults(kBoardEx, {0x03}), {}},
        {"F single bit 66h",       0x03033505, cpld(0x00, 0x66, 0x00), kSevLevel3, faults(kBoard, {0x11}, 0x2), {}},
        {"memory-only board",      0x01033306, cpld(0xA0, 0x68, 0x05), kSevLevel3, {}, {warn("Unsupported ProductBoardID = 0x1033306 !")}},
    });
    // clang-format on
}

TEST_F(TranslatorTest, BoardLogicAllocationFailuresLoseTheRecord)
{
    expectAllocationFailure(DIAG_PANEL_TRANS_BoardFault, cpld(0xA0, 0x68, 0x05),
                            {error("Failed to alloc memory of hash node: 0x28"),
                             error("Failed to fill hash node of Board HDD Fault info")});
    expectAllocationFailure(DIAG_PANEL_TRANS_BoardFault, cpld(0x00, 0x66, 0),
                            {error("Failed to alloc memory of hash node: 0x14"),
                             error("Failed to fill hash node of BOARD Fault info: offset=0")});
}

TEST_F(PipeTest, EveryRegisterFaultOfOneRecordReachesTheTable)
{
    (void)post(cpld(0xA0, 0x68, 0x05), kSevLevel3);
    const std::vector<Entry> table = post(cpld(0x00, 0x66, 0), kSevLevel2);
    ASSERT_EQ(table.size(), 3u);
    EXPECT_EQ(table[0].bucket, u32{kBoard}); // buckets in fault type order
    EXPECT_EQ(table[0].msg.uiFaultMask, 0x2u);
    EXPECT_EQ(table[0].msg.ucLevelInfo, 2 << 2);
    EXPECT_EQ(table[1].bucket, u32{kBoardEx}); // then in bit order
    EXPECT_EQ(table[1].msg.ucIndex, 0x01);
    EXPECT_EQ(table[2].msg.ucIndex, 0x25);
}
