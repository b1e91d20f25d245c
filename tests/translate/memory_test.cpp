#include "tests/translate/translator_cases.hpp"

#include "tests/support/alloc_failure.hpp"

using namespace test;

namespace {

constexpr u8 kMemory = 0x0C;

// Event data 3 and 2 from the position fields.
constexpr u8 data3(u8 s, u8 c, u8 m)
{
    return static_cast<u8>(s << 6 | c << 4 | m);
}
constexpr u8 data2(u8 h, u8 d)
{
    return static_cast<u8>(h << 7 | d << 1);
}

struct DimmCase {
    const char *name;
    u32 board;
    SelBytes record;
    u8 severity;
    DIAG_PANEL_MSG_S expected; // kNo: rejected
    std::vector<LogLine> log;  // every line logged
};

SelBytes dimm(u8 data1, u8 d2, u8 d3, u8 sensor = 0x30, u8 dir = kAssert)
{
    return sel(kMemory, sensor, dir, data1, d2, d3);
}

// The message of DIMM `code` for `offset`, with ucFaultLevel `level` and level bits `levelBits`.
DIAG_PANEL_MSG_S hit(u8 code, u8 offset, u8 level, u8 levelBits)
{
    return message(DIAG_PANEL_FAULT_MEMORY, code, static_cast<u8>(levelBits << 2), 1u << offset,
                   level);
}

const DIAG_PANEL_MSG_S kNo{}; // rejected

LogLine warn(const char *text)
{
    return logLine(4, text);
}

} // namespace

TEST_F(TranslatorTest, DimmRecordsBecomeDimmCodesOrLoggedRejections)
{
    // clang-format off
    const std::vector<DimmCase> cases = {
        // Levels: the family's own per offset when none is given; a clear keeps the level.
        {"20: S0 M1 C1 is p7, no DIMM", 0x01030103, dimm(0xA0, 0, data3(0, 1, 1)), kSevNone, hit(0x00, 0, 2, 2), {}},
        {"20: p19 is B8, own level 3", 0x01030303, dimm(0xA1, data2(0, 1), data3(1, 0, 1)), kSevNone, hit(0xB8, 1, 3, 3), {}},
        {"parity, own level 3", 0x01030103, dimm(0xA2, 0, 0), kSevNone, hit(0xA1, 2, 3, 3), {}},
        {"ECC limit, own level 2", 0x01030103, dimm(0xA5, 0, 0), kSevNone, hit(0xA1, 5, 2, 2), {}},
        {"OEM offset 0Bh", 0x01030103, dimm(0xAB, 0, 0), kSevNone, hit(0xA1, 11, 2, 2), {}},
        {"given level beats own", 0x01030103, dimm(0xA1, 0, 0), kSevLevel2, hit(0xA1, 1, 2, 2), {}},
        {"level 0 is a clear", 0x01030103, dimm(0xA1, 0, 0), kSevLevel0, hit(0xA1, 1, 0, 0), {}},
        {"deassertion keeps L", 0x01030103, dimm(0xA0, 0, 0, 0x30, kDeassert), kSevLevel3, hit(0xA1, 0, 3, 0), {}},
        {"deassertion, own level", 0x01030103, dimm(0xA1, 0, 0, 0x30, kDeassert), kSevNone, hit(0xA1, 1, 3, 0), {}},
        {"24: p23 is BC", 0x01031104, dimm(0xA0, data2(0, 1), data3(1, 2, 1)), kSevLevel3, hit(0xBC, 0, 3, 3), {}},
        {"24: p24 exceeds", 0x01031104, dimm(0xA0, data2(0, 1), data3(1, 3, 1)), kSevLevel3, kNo, {warn("DIMM index exceeds: 0x18")}},
        {"24: 0x01031304", 0x01031304, dimm(0xA0, 0, data3(1, 0, 0)), kSevLevel3, hit(0xB1, 0, 3, 3), {}},
        {"24: 0x30033204", 0x30033204, dimm(0xA0, 0, data3(0, 2, 1)), kSevLevel3, hit(0xA9, 0, 3, 3), {}},
        {"24: 0x30033404", 0x30033404, dimm(0xA0, data2(1, 0), 0), kSevLevel3, hit(0xA1, 0, 3, 3), {}},
        {"24: 0x02033404", 0x02033404, dimm(0xA0, 0, data3(0, 0, 1)), kSevLevel3, hit(0xA7, 0, 3, 3), {}},
        {"24: 0x03033505", 0x03033505, dimm(0xA0, data2(0, 3), 0), kSevLevel3, hit(0xAA, 0, 3, 3), {}},
        {"20: p20 exceeds", 0x01030103, dimm(0xA0, 0, data3(2, 0, 0)), kSevLevel3, kNo, {warn("DIMM index exceeds: 0x14")}},
        {"48: p44 is D9", 0x01032303, dimm(0xA0, 0, data3(3, 2, 1)), kSevLevel3, hit(0xD9, 0, 3, 3), {}},
        {"48: p51 exceeds", 0x01034301, dimm(0xA0, 0, data3(3, 3, 2)), kSevLevel3, kNo, {warn("DIMM index exceeds: 0x33")}},
        {"96: H adds four to S", 0x01033304, dimm(0xA0, data2(1, 0), 0), kSevLevel3, hit(0x41, 0, 3, 3), {}},
        {"96: S0 H1 p58 is 4B", 0x01033305, dimm(0xA0, data2(1, 1), data3(0, 1, 1)), kSevLevel3, hit(0x4B, 0, 3, 3), {}},
        {"96: p95 is 7C", 0x01033306, dimm(0xA0, data2(1, 1), data3(3, 2, 1)), kSevLevel3, hit(0x7C, 0, 3, 3), {}},
        {"96: p186 exceeds", 0x01033306, dimm(0xA0, data2(1, 3), data3(3, 3, 15)), kSevLevel3, kNo, {warn("DIMM index exceeds: 0xba")}},
        {"4: C1 D1 is E1", 0x61010101, dimm(0xA0, data2(0, 1), data3(0, 1, 0)), kSevLevel3, hit(0xE1, 0, 3, 3), {}},
        {"4: p4 exceeds", 0x61010101, dimm(0xA0, data2(0, 1), data3(0, 1, 1)), kSevLevel3, kNo, {warn("DIMM index exceeds: 0x4")}},
        // Sensor tables: event data 2 and 3 play no part.
        {"Kestrel DF is A0", 0x60010101, dimm(0xA0, 0xFF, 0xFF, 0xDF), kSevLevel3, hit(0xA0, 0, 3, 3), {}},
        {"Kestrel EE: first row wins", 0x60010201, dimm(0xA0, 0, 0, 0xEE), kSevLevel3, hit(0xBF, 0, 3, 3), {}},
        {"Kestrel F0, last row", 0x60010201, dimm(0xA0, 0, 0, 0xF0), kSevLevel3, hit(0xB0, 0, 3, 3), {}},
        {"Kestrel EB has no row", 0x60010101, dimm(0xA0, 0, 0, 0xEB), kSevLevel3, kNo, {warn("Wrong Kestrel DIMM SensorNum: 0xeb")}},
        {"Kestrel EF has no row", 0x60010101, dimm(0xA0, 0, 0, 0xEF), kSevLevel3, kNo, {warn("Wrong Kestrel DIMM SensorNum: 0xef")}},
        {"Merlin DF is B8", 0x60010202, dimm(0xA0, 0, 0, 0xDF), kSevLevel3, hit(0xB8, 0, 3, 3), {}},
        {"Merlin D0 is A1", 0x60010202, dimm(0xA0, 0xFF, 0xFF, 0xD0), kSevLevel3, hit(0xA1, 0, 3, 3), {}},
        {"Merlin E0 rejected", 0x60010202, dimm(0xA0, 0, 0, 0xE0), kSevLevel3, kNo, {warn("Wrong Merlin DIMM SensorNum: 0xe0")}},
        {"Merlin CF rejected", 0x60010202, dimm(0xA0, 0, 0, 0xCF), kSevLevel3, kNo, {warn("Wrong Merlin DIMM SensorNum: 0xcf")}},
        // Order of the checks: offset (silent), then format, then board, then position.
        {"scrub failed: silent", 0x01030103, dimm(0x03, 0, 0), kSevLevel3, kNo, {}},
        {"scrub failed, OEM format", 5, dimm(0xA3, 0, 0), kSevLevel3, kNo, {}},
        {"format 0", 0x01030103, dimm(0x00, 0, 0), kSevLevel3, kNo, {warn("Unknown DIMM sel format: EvtData1=0")}},
        {"format before board", 5, dimm(0x51, 0, 0), kSevLevel3, kNo, {warn("Unknown DIMM sel format: EvtData1=0x51")}},
        {"board unknown", 0xFFFFFFFF, dimm(0xA0, 0, 0), kSevLevel3, kNo, {warn("ProductBoardID not found")}},
        {"board not adapted", 5, dimm(0xA0, 0, 0), kSevLevel3, kNo, {warn("ProductBoard not adapt, 5")}},
    };
    // clang-format on
    for (const DimmCase &c : cases) {
        SCOPED_TRACE(c.name);
        HOST_SetBoardId(c.board);
        const Translation t = translate(DIAG_PANEL_TRANS_DimmFault, c.record, c.severity);
        EXPECT_EQ(t.log, c.log);
        if (c.expected.usFaultType == 0) {
            EXPECT_EQ(t.result, -1);
        } else {
            EXPECT_EQ(t.result, 0);
            EXPECT_EQ(t.messages, std::vector{c.expected});
        }
    }
}

TEST_F(TranslatorTest, DimmAllocationFailureLosesTheRecordWithTwoErrors)
{
    const FailAllocation fail(1);
    const Translation t = translate(DIAG_PANEL_TRANS_DimmFault, dimm(0xA1, 0, 0), kSevLevel3);
    EXPECT_TRUE(fail.fired());
    EXPECT_EQ(t.result, -1);
    EXPECT_EQ(t.log, (std::vector{logLine(2, "Failed to alloc memory of hash node: 0x14"),
                                  logLine(2, "Failed to fill hash node of DIMM Fault info")}));
}

TEST_F(PipeTest, DimmFaultIsStoredAndClearedThroughThePipe)
{
    std::vector<Entry> table = post(dimm(0xA1, data2(0, 1), data3(1, 0, 1)), kSevLevel3);
    ASSERT_EQ(table.size(), 1u);
    EXPECT_EQ(table[0].bucket, u32{DIAG_PANEL_FAULT_MEMORY});
    EXPECT_EQ(table[0].msg.ucIndex, 0xB8);
    EXPECT_EQ(table[0].msg.uiFaultMask, 0x2u);
    EXPECT_EQ(table[0].msg.ucLevelInfo, 3 << 2);
    table = post(dimm(0xA1, data2(0, 1), data3(1, 0, 1), 0x30, kDeassert), kSevLevel3);
    EXPECT_TRUE(table.empty());
}
