// PCIe records: offsets and levels, the OEM format check, slot renumbering per board family and
// the RAID slot on the other boards.
#include <cstring>

#include "tests/translate/sensor_cases.hpp"

namespace test {
namespace {

SelBytes pcie(u8 data1, u8 slot, bool deassert = false, u8 sensorType = 0x13)
{
    return sel(sensorType, 0x70, deassert ? 0xEF : 0x6F, data1, slot);
}

void markM2(u32 position)
{
    g_astAllPcieCardInfo[position - 1][PCIE_CARD_INFO_M2_MARK] = 0x81;
}

constexpr u32 kV5R2 = 0x01032303, kV8R1 = 0x01033305, kV5R3 = 0x01034301;
const std::string kBadFormat = "4 Unknown PCIE sel format: EvtData1=";

TEST_F(SensorTranslatorTest, PcieOffsetsAndRaidSlot)
{
    g_uiPcieRaidSlotNum = 5;
    // clang-format off
    run(DIAG_PANEL_TRANS_PcieFault, {
        {"NMI", pcie(0x80, 7), 0, Msg{3, 0x07, 2, 0x01, 2}, {}, nullptr, kNoBoard, kNoCalls},
        {"PERR", pcie(0x84, 7), 0, Msg{3, 0x07, 3, 0x10, 3}},
        {"SERR", pcie(0x85, 7), 1, Msg{3, 0x07, 0, 0x20, 0}},
        {"correctable", pcie(0x87, 7), 0, Msg{3, 0x07, 2, 0x80, 2}},
        {"uncorrectable", pcie(0x88, 7, false, 0x21), 4, Msg{3, 0x07, 3, 0x100, 3}},
        {"fatal cleared", pcie(0xBA, 7, true), 3, Msg{3, 0x07, 0, 0x400, 2}},
        {"RAID NMI", pcie(0x80, 5), 0, Msg{4, 0x05, 2, 0x08, 2}},
        {"RAID PERR", pcie(0x84, 5), 0, Msg{4, 0x05, 3, 0x80, 3}},
        {"RAID SERR", pcie(0x85, 5), 0, Msg{4, 0x05, 3, 0x100, 3}},
        {"RAID correctable", pcie(0x87, 5), 0, Msg{4, 0x05, 2, 0x400, 2}},
        {"RAID uncorrectable", pcie(0x88, 5), 0, Msg{4, 0x05, 3, 0x800, 3}},
        {"RAID fatal", pcie(0x8A, 5, true), 4, Msg{4, 0x05, 0, 0x2000, 3}},
        {"riser numbers kept", pcie(0x88, 111), 0, Msg{3, 0x11, 3, 0x100, 3}},
        {"no data 2 mark", pcie(0x08, 5), 0, {}, {kBadFormat + "0x8"}},
        {"data 2 marked 11b", pcie(0xC8, 5), 0, {}, {kBadFormat + "0xc8"}},
        {"offset 1: silent before the format", pcie(0x01, 5), 4, {}},
        {"offset 9: silent", pcie(0x89, 5), 4, {}},
    });
    // clang-format on
    g_uiPcieRaidSlotNum = 0xFF;
    // clang-format off
    run(DIAG_PANEL_TRANS_PcieFault, {
        {"slot 255 is no RAID slot", pcie(0x85, 0xFF), 0, Msg{3, 0x55, 3, 0x20, 3}},
    });
    // clang-format on
}

TEST_F(SensorTranslatorTest, PcieSlotsPerBoardFamily)
{
    g_uiPcieRaidSlotNum = 121;
    markM2(4); // outside the range of 208
    // clang-format off
    run(DIAG_PANEL_TRANS_PcieFault, {
        {"riser 0", pcie(0x88, 121), 0, Msg{3, 0x03, 3, 0x100, 3}, {}, nullptr, kV5R2},
        {"riser 0, other slot", pcie(0x88, 131), 0, Msg{3, 0x31, 3, 0x100, 3}},
        {"V8R1 slot 25", pcie(0x88, 25), 0, Msg{3, 0x09, 3, 0x100, 3}, {}, nullptr, kV8R1},
        {"V8R1 slot 55", pcie(0x88, 55), 0, Msg{3, 0x09, 3, 0x100, 3}},
        {"V8R1 slot 31", pcie(0x88, 31), 0, Msg{3, 0x31, 3, 0x100, 3}},
        {"V8R1 slot 141", pcie(0x88, 141), 0, Msg{3, 0x04, 3, 0x100, 3}, {}, nullptr, 0x01033304},
        {"not V8R1: RAID", pcie(0x88, 121), 0, Msg{4, 0x21, 3, 0x800, 3}, {}, nullptr, 0x01033306},
        {"not V8R1: kept", pcie(0x88, 25), 0, Msg{3, 0x25, 3, 0x100, 3}},
        {"V5R3 riser", pcie(0x88, 111), 0, Msg{3, 0x01, 3, 0x100, 3}, {}, nullptr, kV5R3},
        {"no M.2 mark in 1-3", pcie(0x88, 208), 0, Msg{3, 0x08, 3, 0x100, 3}},
        {"M.2 in 4-6", pcie(0x88, 219), 0, Msg{3, 0x04, 3, 0x100, 3}},
    });
    // clang-format on
    memset(g_astAllPcieCardInfo, 0, HOST_PCIE_CARD_ROWS * sizeof g_astAllPcieCardInfo[0]);
    markM2(3);
    // clang-format off
    run(DIAG_PANEL_TRANS_PcieFault, {
        {"mark of 3 outside 4-6", pcie(0x88, 218), 0, Msg{3, 0x18, 3, 0x100, 3}},
        {"mark of 3 inside 1-3", pcie(0x88, 209), 0, Msg{3, 0x03, 3, 0x100, 3}},
    });
    // clang-format on
    markM2(2);
    markM2(1);
    // clang-format off
    run(DIAG_PANEL_TRANS_PcieFault, {
        {"first marked position", pcie(0x88, 208), 0, Msg{3, 0x01, 3, 0x100, 3}},
    });
    // clang-format on
}

TEST_F(SensorTranslatorTest, PcieAllocationFailureLeaksNothing)
{
    expectAllocationFailure(DIAG_PANEL_TRANS_PcieFault, pcie(0x88, 7), 0,
                            "Failed to fill hash node of PCIE Fault info");
}

} // namespace
} // namespace test
