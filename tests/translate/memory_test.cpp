// DIMM codes from the position fields of each board's layout, or from the sensor number.
#include "tests/translate/translator_cases.hpp"

using namespace test;

TEST_F(TranslatorTest, DimmRecords)
{
    // clang-format off
    // Event data 2 holds the position fields H and D, event data 3 S, C and M.
    const auto dimm = [](u8 data1, u8 h = 0, u8 d = 0, u8 s = 0, u8 c = 0, u8 m = 0, u8 dir = kAssert) {
        return sel(0x0C, 0x30, dir, data1, u8(h << 7 | d << 1), u8(s << 6 | c << 4 | m));
    };
    const auto bySensor = [](u8 sensor) { return sel(0x0C, sensor, kAssert, 0xA0); };
    const auto code = [](u8 index, u8 offset = 0, u8 level = 3, u8 field = 3) {
        return Msgs{{DIAG_PANEL_FAULT_MEMORY, index, field, 1u << offset, level}};
    };
    const auto exceeds = [](std::string at) { return Lines{"4 DIMM index exceeds: " + at}; };
    expectRows(DIAG_PANEL_TRANS_DimmFault, {
        // each offset's own level when none is given
        {"20: p7 holds no DIMM",    0x01030103, dimm(0xA0, 0, 0, 0, 1, 1), 9, code(0x00, 0, 2, 2)},
        {"20: p19, own level",      0x01030303, dimm(0xA1, 0, 1, 1, 0, 1), 9, code(0xB8, 1)},
        {"parity, own level",       0x01030103, dimm(0xA2),                9, code(0xA1, 2)},
        {"ECC limit, own level",    0, dimm(0xA5),                         9, code(0xA1, 5, 2, 2)},
        {"offset 0Bh, own level",   0, dimm(0xAB),                         9, code(0xA1, 11, 2, 2)},
        {"given level wins",        0, dimm(0xA1),                         3, code(0xA1, 1, 2, 2)},
        {"deassertion keeps level", 0, dimm(0xA0, 0, 0, 0, 0, 0, kDeassert), 4, code(0xA1, 0, 3, 0)},
        // the layouts, each to its last position
        {"20: p20 exceeds",         0, dimm(0xA0, 0, 0, 2, 0, 0),          4, {}, exceeds("0x14")},
        {"24: p23 is BC",           0x01031104, dimm(0xA0, 0, 1, 1, 2, 1), 4, code(0xBC)},
        {"24: p24 exceeds",         0, dimm(0xA0, 0, 1, 1, 3, 1),          4, {}, exceeds("0x18")},
        {"24: H is not read",       0x30033404, dimm(0xA0, 1),             4, code(0xA1)},
        {"48: p44 is D9",           0x01032303, dimm(0xA0, 0, 0, 3, 2, 1), 4, code(0xD9)},
        {"48: p51 exceeds",         0x01034301, dimm(0xA0, 0, 0, 3, 3, 2), 4, {}, exceeds("0x33")},
        {"96: H adds four; p95 7C", 0x01033306, dimm(0xA0, 1, 1, 3, 2, 1), 4, code(0x7C)},
        {"96: p186 exceeds",        0x01033305, dimm(0xA0, 1, 3, 3, 3, 15), 4, {}, exceeds("0xba")},
        {"4: C1 D1 is E1",          0x61010101, dimm(0xA0, 0, 1, 0, 1, 0), 4, code(0xE1)},
        {"4: p4 exceeds",           0, dimm(0xA0, 0, 1, 0, 1, 1),          4, {}, exceeds("0x4")},
        {"Kestrel EE: first row",   0x60010201, bySensor(0xEE),            4, code(0xBF)},
        {"Kestrel F0, last row",    0, bySensor(0xF0),                     4, code(0xB0)},
        {"Kestrel EB has no row",   0x60010101, bySensor(0xEB),            4, {}, {"4 Wrong Kestrel DIMM SensorNum: 0xeb"}},
        {"Merlin D0 is A1",         0x60010202, bySensor(0xD0),            4, code(0xA1)},
        {"Merlin E0 rejected",      0, bySensor(0xE0),                     4, {}, {"4 Wrong Merlin DIMM SensorNum: 0xe0"}},
        {"Merlin CF rejected",      0, bySensor(0xCF),                     4, {}, {"4 Wrong Merlin DIMM SensorNum: 0xcf"}},
        // the order of the checks: offset (silently), format, board, position
        {"scrub failed: silent",    kFirstBoard, dimm(0x03),               4, {}},
        {"scrub failed, any board", 5, dimm(0xA3),                         4, {}},
        {"format before board",     0, dimm(0x51),                         4, {}, {"4 Unknown DIMM sel format: EvtData1=0x51"}},
        {"board unknown",           0xFFFFFFFF, dimm(0xA0),                4, {}, {"4 ProductBoardID not found"}},
        {"board not adapted",       5, dimm(0xA0),                         4, {}, {"4 ProductBoard not adapt, 5"}},
    }, "Failed to fill hash node of DIMM Fault info");
    // clang-format on
}
