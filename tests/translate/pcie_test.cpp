// PCIe records: offsets and levels, the OEM format check, the RAID slot, and the slot renumbering
// of each board family that has one.
#include "tests/translate/translator_cases.hpp"

using namespace test;

TEST_F(TranslatorTest, PcieRecords)
{
    // clang-format off
    const auto pcie = [](u8 d1, u8 slot, bool de = false, u8 type = 0x13) {
        return sel(type, 0x70, de ? kDeassert : kAssert, d1, slot);
    };
    const std::string badFormat = "4 Unknown PCIE sel format: EvtData1=";
    const char *failText = "Failed to fill hash node of PCIE Fault info";
    expectRows(DIAG_PANEL_TRANS_PcieFault, { // the platform names no RAID slot: FFh
        {"NMI",                  kFirstBoard, pcie(0x80, 7),    0, {{3, 0x07, 2, 0x01, 2}}, {}, nullptr, Lines{}},
        {"PERR",                 0, pcie(0x84, 7),              0, {{3, 0x07, 3, 0x10, 3}}},
        {"SERR",                 0, pcie(0x85, 7),              1, {{3, 0x07, 0, 0x20, 0}}},
        {"correctable",          0, pcie(0x87, 7),              0, {{3, 0x07, 2, 0x80, 2}}},
        {"uncorrectable",        0, pcie(0x88, 7, false, 0x21), 4, {{3, 0x07, 3, 0x100, 3}}},
        {"fatal cleared",        0, pcie(0xBA, 7, true),        3, {{3, 0x07, 0, 0x400, 2}}},
        {"slot FFh is no RAID slot", 0, pcie(0x85, 0xFF),       0, {{3, 0x55, 3, 0x20, 3}}},
        {"riser numbers kept",   0, pcie(0x88, 111),            0, {{3, 0x11, 3, 0x100, 3}}},
        {"no data 2 mark",       0, pcie(0x08, 5),              0, {}, {badFormat + "0x8"}},
        {"data 2 marked 11b",    0, pcie(0xC8, 5),              0, {}, {badFormat + "0xc8"}},
        {"offset 1 before format", 0, pcie(0x01, 5),            4, {}},
    }, failText);
    g_uiPcieRaidSlotNum = 121;
    g_astAllPcieCardInfo[4 - 1][PCIE_CARD_INFO_M2_MARK] = 0x81; // position 4
    expectRows(DIAG_PANEL_TRANS_PcieFault, {
        {"RAID NMI",             kFirstBoard, pcie(0x80, 121),  0, {{4, 0x21, 2, 0x08, 2}}},
        {"RAID fatal cleared",   0, pcie(0x8A, 121, true),      4, {{4, 0x21, 0, 0x2000, 3}}},
        {"riser 0, no RAID slot",0x01032303, pcie(0x88, 121),   0, {{3, 0x03, 3, 0x100, 3}}},
        {"V8R1 slot 25",         0x01033305, pcie(0x88, 25),    0, {{3, 0x09, 3, 0x100, 3}}},
        {"V8R1 slot 141",        0x01033304, pcie(0x88, 141),   0, {{3, 0x04, 3, 0x100, 3}}},
        {"not V8R1: RAID",       0x01033306, pcie(0x88, 121),   0, {{4, 0x21, 3, 0x800, 3}}},
        {"V5R3 riser",           0x01034301, pcie(0x88, 111),   0, {{3, 0x01, 3, 0x100, 3}}},
        {"no M.2 mark in 1-3",   0, pcie(0x88, 208),            0, {{3, 0x08, 3, 0x100, 3}}},
        {"M.2 in 4-6",           0, pcie(0x88, 219),            0, {{3, 0x04, 3, 0x100, 3}}},
    }, failText);
    // clang-format on
}
