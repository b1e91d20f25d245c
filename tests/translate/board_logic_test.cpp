#include "tests/translate/translator_cases.hpp"

#include "tests/support/alloc_failure.hpp"

using namespace test;

namespace {

constexpr u8 kModuleBoard = 0x15;
constexpr u16 kBoard = DIAG_PANEL_FAULT_BOARD;
constexpr u16 kBoardEx = DIAG_PANEL_FAULT_BOARD_EX;

SelBytes cpld(u8 data1, u8 address, u8 value, u8 dir = kAssert)
{
    return sel(kModuleBoard, 0x60, dir, data1, address, value);
}

struct Fault {
    u16 type;
    u8 index;
    u32 mask;
};

struct CpldCase {
    const char *name;
    u32 board;
    SelBytes record;
    std::vector<Fault> faults; // in this order; none: rejected
    std::vector<LogLine> log;
};

} // namespace

TEST_F(TranslatorTest, EachMappedRegisterBitIsOneFaultInBitOrder)
{
    const LogLine noFill = logLine(2, "Failed to fill hash node of Board HDD Fault info");
    const LogLine unknown = logLine(4, "[DiagPanel_translate] Unknown format SEL");
    // clang-format off
    const std::vector<CpldCase> cases = {
        // Table A with the single-bit table.
        {"A 68h bits 0, 2",        0x01030103, cpld(0xA0, 0x68, 0x05), {{kBoardEx, 0x01, 0}, {kBoardEx, 0x25, 0}}, {}},
        {"A 68h all bits",         0x01031304, cpld(0xA0, 0x68, 0xFF), {{kBoardEx, 0x01, 0}, {kBoardEx, 0x04, 0}, {kBoardEx, 0x25, 0},
                                                                         {kBoardEx, 0x24, 0}, {kBoardEx, 0x23, 0}, {kBoardEx, 0x22, 0}}, {}},
        {"A 70h, fault type 7",    0x01030303, cpld(0xA0, 0x70, 0x01), {{kBoard, 0x48, 0}}, {}},
        {"A 68h bit 5 unmapped",   0x01030103, cpld(0xA0, 0x68, 0x20), {}, {logLine(4, "Unknown cpld value: [addr=0x68]0x20"), noFill}},
        {"A 68h value 0",          0x01030103, cpld(0xA0, 0x68, 0x00), {}, {logLine(4, "Unknown cpld value: [addr=0x68]0"), noFill}},
        {"A 68h not OEM",          0x01030103, cpld(0x80, 0x68, 0x05), {}, {logLine(2, "Unknown OEM FPGA sel format: EvtData1=0x80")}},
        {"single bit, any format", 0x01030103, cpld(0x00, 0x66, 0x00), {{kBoard, 0x11, 0x2}}, {}},
        {"single bit 65h",         0x01031104, cpld(0x00, 0x65, 0xFF), {{kBoard, 0x11, 0x1}}, {}},
        {"offset 1 matches none",  0x01030103, cpld(0xA1, 0x68, 0x05), {}, {unknown}},
        {"single bit, offset 1",   0x01030103, cpld(0x01, 0x66, 0x00), {}, {unknown}},
        {"address in no table",    0x01030103, cpld(0xA0, 0x61, 0x40), {}, {unknown}},
        // Table B, no single-bit table: 65h is a register.
        {"B 65h",                  0x01034301, cpld(0xA0, 0x65, 0x03), {{kBoardEx, 0x10, 0}, {kBoardEx, 0x09, 0}}, {}},
        {"B 6Dh keeps bit 0",      0x01034301, cpld(0xA0, 0x6D, 0xFF), {{kBoardEx, 0x50, 0}}, {}},
        {"B 66h no single bit",    0x01034301, cpld(0xA0, 0x66, 0x40), {{kBoardEx, 0x44, 0}}, {}},
        // Table C with the single-bit table.
        {"C 72h",                  0x60010202, cpld(0xA0, 0x72, 0x07), {{kBoard, 0x21, 0}, {kBoard, 0x32, 0}, {kBoard, 0x31, 0}}, {}},
        {"C 6Bh",                  0x60010101, cpld(0xA0, 0x6B, 0x1C), {{kBoardEx, 0x04, 0}, {kBoardEx, 0x10, 0}, {kBoardEx, 0x09, 0}}, {}},
        {"C single bit 67h",       0x60010201, cpld(0xF0, 0x67, 0x00), {{kBoard, 0x11, 0x4}}, {}},
        // Table D, no single-bit table.
        {"D 8Fh",                  0x01032303, cpld(0xA0, 0x8F, 0x33), {{kBoardEx, 0x43, 0}, {kBoardEx, 0x53, 0},
                                                                         {kBoardEx, 0x42, 0}, {kBoardEx, 0x52, 0}}, {}},
        {"D has no single bits",   0x01032303, cpld(0xA0, 0x65, 0x01), {}, {unknown}},
        // Table E.
        {"E 6Eh all bits",         0x01033304, cpld(0xA0, 0x6E, 0xFF), {{kBoardEx, 0x47, 0}, {kBoardEx, 0x48, 0}, {kBoardEx, 0x57, 0},
                                                                         {kBoardEx, 0x58, 0}, {kBoardEx, 0xA7, 0}, {kBoardEx, 0xA8, 0},
                                                                         {kBoardEx, 0xB7, 0}, {kBoardEx, 0xB8, 0}}, {}},
        {"E 87h",                  0x01033305, cpld(0xA0, 0x87, 0x0C), {{kBoardEx, 0x8D, 0}, {kBoardEx, 0x8E, 0}}, {}},
        // Table F with the single-bit table.
        {"F 69h, same index twice",0x03033505, cpld(0xA0, 0x69, 0xC0), {{kBoard, 0x91, 0}, {kBoard, 0x91, 0}}, {}},
        {"F 6Eh",                  0x03033505, cpld(0xA0, 0x6E, 0x38), {{kBoard, 0x03, 0}, {kBoard, 0x03, 0}, {kBoard, 0x03, 0}}, {}},
        {"F 68h bit 7",            0x03033505, cpld(0xA0, 0x68, 0x80), {{kBoardEx, 0x03, 0}}, {}},
        {"F single bit 66h",       0x03033505, cpld(0x00, 0x66, 0x00), {{kBoard, 0x11, 0x2}}, {}},
        // Boards without tables.
        {"memory board only",      0x01033306, cpld(0xA0, 0x68, 0x05), {}, {logLine(4, "Unsupported ProductBoardID = 0x1033306 !")}},
        {"board unknown",          0xFFFFFFFF, cpld(0xA0, 0x68, 0x05), {}, {logLine(4, "Unsupported ProductBoardID = 0xffffffff !")}},
    };
    // clang-format on
    for (const CpldCase &c : cases) {
        SCOPED_TRACE(c.name);
        HOST_SetBoardId(c.board);
        const Translation t = translate(DIAG_PANEL_TRANS_BoardFault, c.record, kSevLevel3);
        std::vector<DIAG_PANEL_MSG_S> expected;
        for (const Fault &f : c.faults) {
            expected.push_back(message(f.type, f.index, 3 << 2, f.mask, 3));
        }
        EXPECT_EQ(t.result, c.faults.empty() ? -1 : 0);
        EXPECT_EQ(t.messages, expected);
        EXPECT_EQ(t.log, c.log);
    }
}

TEST_F(TranslatorTest, EveryBoardLogicMessageCarriesTheLevel)
{
    struct Case {
        const char *name;
        u8 dir;
        u8 severity;
        u8 levelInfo;
        u8 faultLevel;
    };
    const std::vector<Case> cases = {
        {"own level", kAssert, kSevNone, 3 << 2, 3},
        {"given level", kAssert, kSevLevel2, 2 << 2, 2},
        {"level 0", kAssert, kSevLevel0, 0, 0},
        {"deassertion, own level", kDeassert, kSevNone, 0, 3},
        {"deassertion keeps L", kDeassert, kSevLevel2, 0, 2},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        for (const SelBytes &record : {cpld(0xA0, 0x68, 0x05, c.dir), cpld(0x00, 0x67, 0, c.dir)}) {
            const Translation t = translate(DIAG_PANEL_TRANS_BoardFault, record, c.severity);
            ASSERT_FALSE(t.messages.empty());
            for (const DIAG_PANEL_MSG_S &m : t.messages) {
                EXPECT_EQ(m.ucLevelInfo, c.levelInfo);
                EXPECT_EQ(m.ucFaultLevel, c.faultLevel);
            }
        }
    }
}

TEST_F(TranslatorTest, BoardLogicAllocationFailuresLoseTheRecord)
{
    {
        const FailAllocation fail(1); // the array of two messages
        const Translation t =
            translate(DIAG_PANEL_TRANS_BoardFault, cpld(0xA0, 0x68, 0x05), kSevLevel3);
        EXPECT_TRUE(fail.fired());
        EXPECT_EQ(t.result, -1);
        EXPECT_EQ(t.log,
                  (std::vector{logLine(2, "Failed to alloc memory of hash node: 0x28"),
                               logLine(2, "Failed to fill hash node of Board HDD Fault info")}));
    }
    {
        const FailAllocation fail(1); // the single-bit message
        const Translation t =
            translate(DIAG_PANEL_TRANS_BoardFault, cpld(0x00, 0x66, 0), kSevLevel3);
        EXPECT_TRUE(fail.fired());
        EXPECT_EQ(t.result, -1);
        EXPECT_EQ(
            t.log,
            (std::vector{logLine(2, "Failed to alloc memory of hash node: 0x14"),
                         logLine(2, "Failed to fill hash node of BOARD Fault info: offset=0")}));
    }
}

TEST_F(PipeTest, EveryRegisterFaultOfOneRecordReachesTheTable)
{
    (void)post(cpld(0xA0, 0x68, 0x05), kSevLevel3);
    const std::vector<Entry> table = post(cpld(0x00, 0x66, 0), kSevLevel2);
    ASSERT_EQ(table.size(), 3u);
    EXPECT_EQ(table[0].bucket, u32{kBoard}); // buckets in fault type order
    EXPECT_EQ(table[0].msg.ucIndex, 0x11);
    EXPECT_EQ(table[0].msg.uiFaultMask, 0x2u);
    EXPECT_EQ(table[0].msg.ucLevelInfo, 2 << 2);
    EXPECT_EQ(table[1].bucket, u32{kBoardEx}); // in bit order
    EXPECT_EQ(table[1].msg.ucIndex, 0x01);
    EXPECT_EQ(table[2].bucket, u32{kBoardEx});
    EXPECT_EQ(table[2].msg.ucIndex, 0x25);
}
