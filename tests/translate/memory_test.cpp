#include "tests/translate/translator_cases.hpp"

using namespace test;

namespace {

// Event data 3 and 2 from the DIMM position fields.
constexpr u8 d3(u8 s, u8 c, u8 m)
{
    return static_cast<u8>(s << 6 | c << 4 | m);
}
constexpr u8 d2(u8 h, u8 d)
{
    return static_cast<u8>(h << 7 | d << 1);
}

SelBytes dimm(u8 data1, u8 data2, u8 data3, u8 dir = kAssert)
{
    return sel(0x0C, 0x30, dir, data1, data2, data3);
}

SelBytes dimmSensor(u8 sensor)
{
    return sel(0x0C, sensor, kAssert, 0xA0, 0xFF, 0xFF);
}

std::vector<DIAG_PANEL_MSG_S> code(u8 dimmCode, u8 offset = 0, u8 levelBits = 3, u8 level = 3)
{
    return {fault(DIAG_PANEL_FAULT_MEMORY, dimmCode, 1u << offset, levelBits, level)};
}

const std::vector<DIAG_PANEL_MSG_S> kNone;

} // namespace

TEST_F(TranslatorTest, DimmRecordsBecomeDimmCodesOrLoggedRejections)
{
    // clang-format off
    expectCases(DIAG_PANEL_TRANS_DimmFault, {
        // Own level per offset when none is given; a clear keeps the level.
        {"20: p7 holds no DIMM",   0x01030103, dimm(0xA0, 0, d3(0, 1, 1)),        kSevNone,   code(0x00, 0, 2, 2), {}},
        {"20: p19, own level 3",   0x01030303, dimm(0xA1, d2(0, 1), d3(1, 0, 1)), kSevNone,   code(0xB8, 1), {}},
        {"parity, own level 3",    0x01030103, dimm(0xA2, 0, 0),                  kSevNone,   code(0xA1, 2), {}},
        {"ECC limit, own level 2", 0x01030103, dimm(0xA5, 0, 0),                  kSevNone,   code(0xA1, 5, 2, 2), {}},
        {"offset 0Bh, own level 2",0x01030103, dimm(0xAB, 0, 0),                  kSevNone,   code(0xA1, 11, 2, 2), {}},
        {"given level wins",       0x01030103, dimm(0xA1, 0, 0),                  kSevLevel2, code(0xA1, 1, 2, 2), {}},
        {"deassertion keeps L",    0x01030103, dimm(0xA0, 0, 0, kDeassert),       kSevLevel3, code(0xA1, 0, 0, 3), {}},
        {"deassertion, own level", 0x01030103, dimm(0xA1, 0, 0, kDeassert),       kSevNone,   code(0xA1, 1, 0, 3), {}},
        {"20: p20 exceeds",        0x01030103, dimm(0xA0, 0, d3(2, 0, 0)),        kSevLevel3, kNone, {warn("DIMM index exceeds: 0x14")}},
        {"24: p23 is BC",          0x01031104, dimm(0xA0, d2(0, 1), d3(1, 2, 1)), kSevLevel3, code(0xBC), {}},
        {"24: p24 exceeds",        0x01031104, dimm(0xA0, d2(0, 1), d3(1, 3, 1)), kSevLevel3, kNone, {warn("DIMM index exceeds: 0x18")}},
        {"24: H is not read",      0x30033404, dimm(0xA0, d2(1, 0), 0),           kSevLevel3, code(0xA1), {}},
        {"48: p44 is D9",          0x01032303, dimm(0xA0, 0, d3(3, 2, 1)),        kSevLevel3, code(0xD9), {}},
        {"48: p51 exceeds",        0x01034301, dimm(0xA0, 0, d3(3, 3, 2)),        kSevLevel3, kNone, {warn("DIMM index exceeds: 0x33")}},
        {"96: H adds four to S",   0x01033304, dimm(0xA0, d2(1, 0), 0),           kSevLevel3, code(0x41), {}},
        {"96: p95 is 7C",          0x01033306, dimm(0xA0, d2(1, 1), d3(3, 2, 1)), kSevLevel3, code(0x7C), {}},
        {"96: p186 exceeds",       0x01033305, dimm(0xA0, d2(1, 3), d3(3, 3, 15)),kSevLevel3, kNone, {warn("DIMM index exceeds: 0xba")}},
        {"4: C1 D1 is E1",         0x61010101, dimm(0xA0, d2(0, 1), d3(0, 1, 0)), kSevLevel3, code(0xE1), {}},
        {"4: p4 exceeds",          0x61010101, dimm(0xA0, d2(0, 1), d3(0, 1, 1)), kSevLevel3, kNone, {warn("DIMM index exceeds: 0x4")}},
        {"Kestrel DF is A0",       0x60010101, dimmSensor(0xDF),                  kSevLevel3, code(0xA0), {}},
        {"Kestrel EE: first row",  0x60010201, dimmSensor(0xEE),                  kSevLevel3, code(0xBF), {}},
        {"Kestrel F0, last row",   0x60010201, dimmSensor(0xF0),                  kSevLevel3, code(0xB0), {}},
        {"Kestrel EB has no row",  0x60010101, dimmSensor(0xEB),                  kSevLevel3, kNone, {warn("Wrong Kestrel DIMM SensorNum: 0xeb")}},
        {"Merlin D0 is A1",        0x60010202, dimmSensor(0xD0),                  kSevLevel3, code(0xA1), {}},
        {"Merlin DF is B8",        0x60010202, dimmSensor(0xDF),                  kSevLevel3, code(0xB8), {}},
        {"Merlin E0 rejected",     0x60010202, dimmSensor(0xE0),                  kSevLevel3, kNone, {warn("Wrong Merlin DIMM SensorNum: 0xe0")}},
        {"Merlin CF rejected",     0x60010202, dimmSensor(0xCF),                  kSevLevel3, kNone, {warn("Wrong Merlin DIMM SensorNum: 0xcf")}},
        // The order of the checks: offset (silently), format, board, position.
        {"scrub failed: silent",   0x01030103, dimm(0x03, 0, 0),                  kSevLevel3, kNone, {}},
        {"scrub failed, any board",5,          dimm(0xA3, 0, 0),                  kSevLevel3, kNone, {}},
        {"format 0",               0x01030103, dimm(0x00, 0, 0),                  kSevLevel3, kNone, {warn("Unknown DIMM sel format: EvtData1=0")}},
        {"format before board",    5,          dimm(0x51, 0, 0),                  kSevLevel3, kNone, {warn("Unknown DIMM sel format: EvtData1=0x51")}},
        {"board unknown",          0xFFFFFFFF, dimm(0xA0, 0, 0),                  kSevLevel3, kNone, {warn("ProductBoardID not found")}},
        {"board not adapted",      5,          dimm(0xA0, 0, 0),                  kSevLevel3, kNone, {warn("ProductBoard not adapt, 5")}},
    });
    // clang-format on
}

TEST_F(TranslatorTest, DimmAllocationFailureLosesTheRecord)
{
    expectAllocationFailure(DIAG_PANEL_TRANS_DimmFault, dimm(0xA1, 0, 0),
                            {error("Failed to alloc memory of hash node: 0x14"),
                             error("Failed to fill hash node of DIMM Fault info")});
}

TEST_F(PipeTest, DimmFaultIsStoredAndClearedThroughThePipe)
{
    std::vector<Entry> table = post(dimm(0xA1, d2(0, 1), d3(1, 0, 1)), kSevLevel3);
    ASSERT_EQ(table.size(), 1u);
    EXPECT_EQ(table[0].bucket, u32{DIAG_PANEL_FAULT_MEMORY});
    EXPECT_EQ(table[0].msg.ucIndex, 0xB8);
    EXPECT_EQ(table[0].msg.uiFaultMask, 0x2u);
    EXPECT_EQ(table[0].msg.ucLevelInfo, 3 << 2);
    EXPECT_TRUE(post(dimm(0xA1, d2(0, 1), d3(1, 0, 1), kDeassert), kSevLevel3).empty());
}
