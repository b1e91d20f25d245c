// RAID faults naming the controller of event data 2 in BCD.
#include "tests/translate/translator_cases.hpp"

using namespace test;

TEST_F(TranslatorTest, RaidRecords)
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
        {"severity event type",    0, raid(0x82, 3, 0x07),        9, card(0x03, 2)},
        {"deassertion keeps level",0, raid(0x81, 1, kDeassert),   9, card(0x01, 1, 3, 0)},
        {"offset 3 before format", 0, raid(0x03, 1),              9, {}},
        {"data 1 bits 7-6 = 11b",  0, raid(0xC1, 1),              9, {}, {"4 Unknown RAID sel format: EvtData1=0xc1"}},
    }, "Failed to fill hash node of RAID Fault info");
    // clang-format on
}
