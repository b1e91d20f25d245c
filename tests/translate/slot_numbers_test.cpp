// The exported slot-number functions over every input byte, against a model of the renumbering
// tables, with the M.2 end slots under many patterns of marked card records.
#include <cstring>
#include <map>

#include <gtest/gtest.h>

#include "platform/platform.h"
#include "tests/support/harness.hpp"

namespace test {
namespace {

using SlotFn = void (*)(u8 *);

std::map<int, int> v8r1Model()
{
    std::map<int, int> model{{111, 1}, {121, 2}, {131, 3}, {141, 4}, {25, 9}, {55, 9}};
    for (const int tens : {10, 30, 40, 60}) {
        for (int unit = 1; unit <= 6; ++unit) {
            model[tens + unit] = tens + unit;
        }
    }
    return model;
}

class SlotNumberTest : public testing::Test
{
  protected:
    void SetUp() override
    {
        HOST_LogEcho(0);
        HOST_Reset();
    }
    void TearDown() override { HOST_Reset(); }
};

TEST_F(SlotNumberTest, RisersOverEveryByte)
{
    const struct {
        const char *name;
        SlotFn fn;
        std::map<int, int> model;
    } risers[] = {
        {"riser 0", DIAG_PANEL_TRANS_V5r2Riser0SlotNum, {{111, 1}, {112, 2}, {121, 3}, {122, 4}}},
        {"V8R1", DIAG_PANEL_TRANS_V8R1RiserSlotNum, v8r1Model()},
        {"V5R3",
         DIAG_PANEL_TRANS_V5R3RiserSlotNum,
         {{111, 1}, {121, 2}, {131, 3}, {141, 4}, {11, 11}}},
    };
    for (const auto &riser : risers) {
        for (int slot = 0; slot <= 255; ++slot) {
            SCOPED_TRACE(testing::Message() << riser.name << " slot " << slot);
            u8 byte = static_cast<u8>(slot);
            riser.fn(&byte);
            const auto found = riser.model.find(slot);
            EXPECT_EQ(byte, found == riser.model.end() ? slot : found->second);
        }
    }
}

// An end slot becomes the first marked position of its range, 1-3 for 208 and 209, 4-6 for 218
// and 219. Near-miss bytes and marks next to byte 139 must not count, nor marks beyond the range.
TEST_F(SlotNumberTest, M2EndSlotsOverEveryByteAndMarkPattern)
{
    const std::map<int, std::pair<u32, u32>> ranges{
        {208, {1, 3}}, {209, {1, 3}}, {218, {4, 6}}, {219, {4, 6}}};
    const u8 nearMisses[] = {0x00, 0x80, 0x01, 0x83, 0xC1, 0x91, 0x7F};
    for (u32 pattern = 0; pattern < (1u << 7); ++pattern) {
        for (u32 k = 1; k <= HOST_PCIE_CARD_ROWS; ++k) {
            u8 *record = g_astAllPcieCardInfo[k - 1];
            const bool marked = k > 7 || (pattern >> (k - 1) & 1u) != 0;
            record[PCIE_CARD_INFO_M2_MARK] = marked ? 0x81 : nearMisses[(k + pattern) % 7];
            record[PCIE_CARD_INFO_M2_MARK - 1] = record[PCIE_CARD_INFO_M2_MARK + 1] = 0x81;
        }
        for (int slot = 0; slot <= 255; ++slot) {
            int expected = slot;
            if (const auto range = ranges.find(slot); range != ranges.end()) {
                for (u32 k = range->second.first; k <= range->second.second; ++k) {
                    if ((pattern >> (k - 1) & 1u) != 0) {
                        expected = static_cast<int>(k);
                        break;
                    }
                }
            }
            u8 byte = static_cast<u8>(slot);
            DIAG_PANEL_TRANS_V5r3M2SlotNum(&byte);
            ASSERT_EQ(byte, expected) << "pattern " << pattern << " slot " << slot;
        }
    }
}

// The exported table holds the end slots, is read at each call, and only card positions 1-11
// are looked at.
TEST_F(SlotNumberTest, M2EndSlotTableIsReadAtEachCall)
{
    const u32 shipped[4][3] = {{208, 1, 3}, {209, 1, 3}, {218, 4, 6}, {219, 4, 6}};
    ASSERT_EQ(memcmp(g_astV5R3M2DiagPanel_EndSlotNumTab, shipped, sizeof shipped), 0);
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

TEST_F(SlotNumberTest, NullSlotIsLoggedAtLevelThree)
{
    const struct {
        SlotFn fn;
        const char *text;
    } functions[] = {
        {DIAG_PANEL_TRANS_V5r2Riser0SlotNum, "DIAG_PANEL_TRANS_V5r2Riser0SlotNum Inpara is Null!"},
        {DIAG_PANEL_TRANS_V8R1RiserSlotNum, "DIAG_PANEL_TRANS_V8R1RiserSlotNum Inpara is Null!"},
        {DIAG_PANEL_TRANS_V5R3RiserSlotNum, "DIAG_PANEL_TRANS_V5R3RiserSlotNum Inpara is Null!"},
        {DIAG_PANEL_TRANS_V5r3M2SlotNum, "DIAG_PANEL_TRANS_V5r3M2SlotNum Inpara is Null!"},
    };
    for (const auto &function : functions) {
        const LogCursor log;
        function.fn(nullptr);
        EXPECT_EQ(log.lines(), (std::vector<LogLine>{{3, "DiagPanel_translate", function.text}}));
    }
}

} // namespace
} // namespace test
