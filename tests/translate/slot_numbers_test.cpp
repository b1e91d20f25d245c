// The exported slot-number functions over every input byte against a model of their tables: the
// risers, and the M.2 end slots under every pattern of marks on card positions 1-7.
#include <gtest/gtest.h>

#include <bit>
#include <cstring>
#include <map>

#include "platform/platform.h"
#include "tests/support/harness.hpp"

using namespace test;

TEST(SlotNumbers, RisersOverEveryByteAndANullSlot)
{
    HOST_LogEcho(0);
    HOST_Reset(); // no card marked: the M.2 function keeps every byte
    // clang-format off
    const struct { const char *name; void (*fn)(u8 *); std::map<int, int> model; } functions[] = {
        {"V5r2Riser0", DIAG_PANEL_TRANS_V5r2Riser0SlotNum, {{111, 1}, {112, 2}, {121, 3}, {122, 4}}},
        {"V8R1Riser",  DIAG_PANEL_TRANS_V8R1RiserSlotNum,  {{111, 1}, {121, 2}, {131, 3}, {141, 4}, {25, 9}, {55, 9}}},
        {"V5R3Riser",  DIAG_PANEL_TRANS_V5R3RiserSlotNum,  {{111, 1}, {121, 2}, {131, 3}, {141, 4}}},
        {"V5r3M2",     DIAG_PANEL_TRANS_V5r3M2SlotNum,     {}},
    };
    // clang-format on
    for (const auto &f : functions) {
        for (int slot = 0; slot <= 255; ++slot) {
            u8 byte = static_cast<u8>(slot);
            f.fn(&byte);
            ASSERT_EQ(byte, f.model.contains(slot) ? f.model.at(slot) : slot) << f.name << slot;
        }
        const LogCursor log;
        f.fn(nullptr);
        const std::string text =
            std::string("DIAG_PANEL_TRANS_") + f.name + "SlotNum Inpara is Null!";
        EXPECT_EQ(log.lines(), (std::vector<LogLine>{{3, "DiagPanel_translate", text}}));
    }
}

// An end slot becomes the first marked position of its range, 1-3 for 208 and 209, 4-6 for 218
// and 219. Near-miss bytes and marks next to byte 139 must not count, nor marks beyond the range;
// the exported table of ranges is read at each call, over card positions 1-11 only.
TEST(SlotNumbers, M2EndSlotsOverEveryByteAndMarkPattern)
{
    HOST_Reset();
    const u8 nearMisses[] = {0x00, 0x80, 0x01, 0x83, 0xC1, 0x91, 0x7F};
    for (u32 pattern = 0; pattern < (1u << 7); ++pattern) {
        for (u32 k = 1; k <= HOST_PCIE_CARD_ROWS; ++k) {
            u8 *record = g_astAllPcieCardInfo[k - 1];
            const bool marked = k > 7 || (pattern >> (k - 1) & 1u) != 0;
            record[PCIE_CARD_INFO_M2_MARK] = marked ? 0x81 : nearMisses[(k + pattern) % 7];
            record[PCIE_CARD_INFO_M2_MARK - 1] = record[PCIE_CARD_INFO_M2_MARK + 1] = 0x81;
        }
        for (int slot = 0; slot <= 255; ++slot) {
            const u32 first = slot == 208 || slot == 209 ? 1 : slot == 218 || slot == 219 ? 4 : 0;
            const u32 marks = first == 0 ? 0 : pattern >> (first - 1) & 7u;
            u8 byte = static_cast<u8>(slot);
            DIAG_PANEL_TRANS_V5r3M2SlotNum(&byte);
            ASSERT_EQ(byte, marks != 0 ? first + std::countr_zero(marks) : slot)
                << pattern << " " << slot;
        }
    }
    const u32 shipped[4][3] = {{208, 1, 3}, {209, 1, 3}, {218, 4, 6}, {219, 4, 6}};
    ASSERT_EQ(memcmp(g_astV5R3M2DiagPanel_EndSlotNumTab, shipped, sizeof shipped), 0);
    HOST_Reset();
    g_astV5R3M2DiagPanel_EndSlotNumTab[0][2] = 16;
    g_astAllPcieCardInfo[11][PCIE_CARD_INFO_M2_MARK] = 0x81; // position 12
    u8 slot = 208;
    DIAG_PANEL_TRANS_V5r3M2SlotNum(&slot);
    EXPECT_EQ(slot, 208);
    g_astAllPcieCardInfo[10][PCIE_CARD_INFO_M2_MARK] = 0x81; // position 11
    DIAG_PANEL_TRANS_V5r3M2SlotNum(&slot);
    EXPECT_EQ(slot, 11);
    memcpy(g_astV5R3M2DiagPanel_EndSlotNumTab, shipped, sizeof shipped);
}
