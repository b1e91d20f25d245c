#include "tests/translate/translator_cases.hpp"

#include "tests/support/alloc_failure.hpp"

using namespace test;

namespace {

constexpr u8 kAddInCard = 0x17;
constexpr u8 kSeverityEvent = 0x07; // generic severity event type, assertion

struct RaidCase {
    const char *name;
    SelBytes record;
    u8 severity;
    int result;
    DIAG_PANEL_MSG_S expected;
    std::vector<LogLine> log;
};

SelBytes raid(u8 data1, u8 data2, u8 dir = kAssert)
{
    return sel(kAddInCard, 0x50, dir, data1, data2);
}

DIAG_PANEL_MSG_S fault(u8 index, u8 offset, u8 level, u8 levelBits)
{
    return message(DIAG_PANEL_FAULT_RAID, index, static_cast<u8>(levelBits << 2), 1u << offset,
                   level);
}

} // namespace

TEST_F(TranslatorTest, RaidRecordsNameTheControllerInBcd)
{
    // clang-format off
    const std::vector<RaidCase> cases = {
        {"no controller number",   raid(0x80, 0xFF), kSevNone,   0, fault(0xFF, 0, 3, 3), {}},
        {"controller 7",           raid(0xA1, 7),    kSevLevel2, 0, fault(0x07, 1, 2, 2), {}},
        {"controller 12",          raid(0xB2, 12),   kSevLevel3, 0, fault(0x12, 2, 3, 3), {}},
        {"100 keeps the low byte", raid(0x80, 100),  kSevLevel3, 0, fault(0x00, 0, 3, 3), {}},
        {"severity event type",    sel(kAddInCard, 0x50, kSeverityEvent, 0x82, 3), kSevNone, 0, fault(0x03, 2, 3, 3), {}},
        {"deassertion keeps L",    raid(0x80, 1, kDeassert), kSevLevel3, 0, fault(0x01, 0, 3, 0), {}},
        {"deassertion, own level", raid(0x80, 1, kDeassert), kSevNone,   0, fault(0x01, 0, 3, 0), {}},
        {"offset 3: silent",       raid(0x03, 1),    kSevNone,  -1, {}, {}},
        {"data 1 bits 7-6 = 11b",  raid(0xC1, 1),    kSevNone,  -1, {}, {logLine(4, "Unknown RAID sel format: EvtData1=0xc1")}},
        {"data 1 bits 7-6 = 00b",  raid(0x00, 1),    kSevNone,  -1, {}, {logLine(4, "Unknown RAID sel format: EvtData1=0")}},
    };
    // clang-format on
    for (const RaidCase &c : cases) {
        SCOPED_TRACE(c.name);
        const Translation t = translate(DIAG_PANEL_TRANS_RaidFault, c.record, c.severity);
        EXPECT_EQ(t.result, c.result);
        EXPECT_EQ(t.log, c.log);
        if (c.result == 0) {
            EXPECT_EQ(t.messages, std::vector{c.expected});
        }
    }
}

TEST_F(TranslatorTest, RaidAllocationFailureLosesTheRecordWithTwoErrors)
{
    const FailAllocation fail(1);
    const Translation t = translate(DIAG_PANEL_TRANS_RaidFault, raid(0x80, 1), kSevNone);
    EXPECT_TRUE(fail.fired());
    EXPECT_EQ(t.result, -1);
    EXPECT_EQ(t.log, (std::vector{logLine(2, "Failed to alloc memory of hash node: 0x14"),
                                  logLine(2, "Failed to fill hash node of RAID Fault info")}));
}

TEST_F(PipeTest, RaidFaultsOfBothEventTypesReachTheTable)
{
    (void)post(raid(0x80, 12), kSevLevel3);
    const std::vector<Entry> table =
        post(sel(kAddInCard, 0x50, kSeverityEvent, 0x82, 12), kSevLevel3);
    ASSERT_EQ(table.size(), 1u); // one controller, two faults merged
    EXPECT_EQ(table[0].bucket, u32{DIAG_PANEL_FAULT_RAID});
    EXPECT_EQ(table[0].msg.ucIndex, 0x12);
    EXPECT_EQ(table[0].msg.uiFaultMask, 0x5u);
}
