#include "tests/translate/translator_cases.hpp"

using namespace test;

namespace {

constexpr u8 kSeverityEvent = 0x07; // generic severity event type, assertion

SelBytes raid(u8 data1, u8 data2, u8 dir = kAssert)
{
    return sel(0x17, 0x50, dir, data1, data2);
}

std::vector<DIAG_PANEL_MSG_S> card(u8 index, u8 offset, u8 levelBits = 3, u8 level = 3)
{
    return {fault(DIAG_PANEL_FAULT_RAID, index, 1u << offset, levelBits, level)};
}

} // namespace

TEST_F(TranslatorTest, RaidRecordsNameTheControllerInBcd)
{
    const u32 board = 0x01030103;
    // clang-format off
    expectCases(DIAG_PANEL_TRANS_RaidFault, {
        {"no controller number",   board, raid(0x80, 0xFF),            kSevNone,   card(0xFF, 0), {}},
        {"controller 7",           board, raid(0xA1, 7),               kSevLevel2, card(0x07, 1, 2, 2), {}},
        {"controller 12",          board, raid(0xB2, 12),              kSevLevel3, card(0x12, 2), {}},
        {"100 keeps the low byte", board, raid(0x80, 100),             kSevLevel3, card(0x00, 0), {}},
        {"severity event type",    board, sel(0x17, 0x50, kSeverityEvent, 0x82, 3), kSevNone, card(0x03, 2), {}},
        {"deassertion keeps L",    board, raid(0x80, 1, kDeassert),    kSevLevel3, card(0x01, 0, 0, 3), {}},
        {"deassertion, own level", board, raid(0x80, 1, kDeassert),    kSevNone,   card(0x01, 0, 0, 3), {}},
        {"offset 3 before format", board, raid(0x03, 1),               kSevNone,   {}, {}},
        {"data 1 bits 7-6 = 11b",  board, raid(0xC1, 1),               kSevNone,   {}, {warn("Unknown RAID sel format: EvtData1=0xc1")}},
    });
    // clang-format on
}

TEST_F(TranslatorTest, RaidAllocationFailureLosesTheRecord)
{
    expectAllocationFailure(DIAG_PANEL_TRANS_RaidFault, raid(0x80, 1),
                            {error("Failed to alloc memory of hash node: 0x14"),
                             error("Failed to fill hash node of RAID Fault info")});
}

TEST_F(PipeTest, RaidFaultsOfBothEventTypesReachTheTable)
{
    (void)post(raid(0x80, 12), kSevLevel3);
    const std::vector<Entry> table = post(sel(0x17, 0x50, kSeverityEvent, 0x82, 12), kSevLevel3);
    ASSERT_EQ(table.size(), 1u); // one controller, two faults merged
    EXPECT_EQ(table[0].bucket, u32{DIAG_PANEL_FAULT_RAID});
    EXPECT_EQ(table[0].msg.ucIndex, 0x12);
    EXPECT_EQ(table[0].msg.uiFaultMask, 0x5u);
}
