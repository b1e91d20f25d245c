// SPDX-License-Identifier: Apache-2.0
// The whole library started as firmware starts it: frames through the real pipe reach the
// display or, by their event and sensor type, a translator and the fault table.
#include <gtest/gtest.h>

#include <cstring>
#include <fcntl.h>
#include <unistd.h>

#include <host_platform/virtual_clock.hpp>
#include "host_support/frames.hpp"
#include "tests/support/harness.hpp"

namespace {

constexpr auto progressCode = [](u8 bcd) { return 0x40400000u | u32{bcd} << 3; };

class DispatchTest : public testing::Test
{
  protected:
    static void SetUpTestSuite()
    {
        HOST_Reset();
        HOST_LogEcho(0);
        ASSERT_EQ(DIAG_PANEL_init(0x5A), 0);
        ASSERT_EQ(vclock::waitParked(), 4u);
    }

    void SetUp() override
    {
        ASSERT_TRUE(test::drainIntake());
        DIAG_PANEL_LockFreeAllHashList();
        ASSERT_EQ(DIAG_PANEL_DisplayInit(0), 0); // a display as fresh as at start-up
    }

    // What the panel shows at the next display step.
    static u32 nextCode()
    {
        const test::PanelCursor panel;
        EXPECT_EQ(vclock::step(), 4u);
        const auto codes = panel.codes();
        return codes.size() == 1 ? codes[0] : 0xFFFFFFFF;
    }

    // A RAID record: add-in card, sensor-specific, OEM code in event data 2 (the card's slot).
    static test::SelBytes raidRecord(u8 slot) { return test::sel(0x17, 0x40, 0x6F, 0xA1, slot); }
};

TEST_F(DispatchTest, DisplayEventsSteerThePanelWithTheirPercentageInBcd)
{
    ASSERT_EQ(test::postEvent(DIAG_PANEL_EVENT_POST_START, 0x33), 0);
    ASSERT_TRUE(test::drainIntake());
    EXPECT_EQ(nextCode(), progressCode(0x00)) << "only progress events carry a percentage";
    const std::pair<u8, u8> shownAs[] = {
        {45, 0x45}, {7, 0x07}, {99, 0x99}, {100, 0x00}, {145, 0x45}};
    for (const auto &[percent, shown] : shownAs) {
        ASSERT_EQ(test::postEvent(DIAG_PANEL_EVENT_POST_PROGRESS, percent), 0);
        ASSERT_TRUE(test::drainIntake());
        EXPECT_EQ(nextCode(), progressCode(shown)) << +percent << " percent";
    }
    ASSERT_EQ(test::postEvent(DIAG_PANEL_EVENT_POST_END), 0);
    ASSERT_TRUE(test::drainIntake());
    EXPECT_EQ(nextCode(), 0x404004C8u);
    EXPECT_EQ(nextCode(), 0x404004C8u);
    EXPECT_EQ(nextCode(), 0x00004000u);
}

// Frames the dispatch drops: a record of no SEL type or route (silently), a body whose length's
// low byte is wrong, an event type beyond the last, a message type of none. A 272-byte body
// passes as 16, its first 16 bytes counting.
TEST_F(DispatchTest, DropsWhatItCannotRouteAndComparesLengthsAsEightBits)
{
    test::SelBytes oem = raidRecord(13);
    oem[2] = 0xC0; // an OEM timestamped record, although its event and sensor type are routed
    test::SelBytes unrouted = raidRecord(14);
    unrouted[10] = 0x05; // sensor type 05h has no row
    const test::SelBytes record = raidRecord(15);
    std::vector<u8> long272(record.begin(), record.end());
    long272.resize(272, 0xEE);
    // postMessage refuses a frame of no message type; a producer writing raw bytes could still.
    const host::Bytes unknownType = host::frameBytes(5, record, 16);
    const test::LogCursor log;
    ASSERT_EQ(test::postSel(oem, 4), 0);
    ASSERT_EQ(test::postSel(unrouted, 4), 0);
    ASSERT_EQ(test::postFrame(DIAG_PANEL_MSG_TYPE_SEL, long272, 4), 0);
    ASSERT_EQ(test::postFrame(DIAG_PANEL_MSG_TYPE_SEL, std::span(record).first(15), 4), 0);
    ASSERT_EQ(test::postFrame(DIAG_PANEL_MSG_TYPE_EVENT, std::vector<u8>(13, 0)), 0);
    ASSERT_EQ(test::postFrame(DIAG_PANEL_MSG_TYPE_EVENT, std::array<u8, 12>{4}), 0);
    const int fd = open(DIAG_PANEL_PIPE_PATH, O_WRONLY);
    ASSERT_GE(fd, 0);
    ASSERT_EQ(write(fd, unknownType.data(), unknownType.size()),
              static_cast<ssize_t>(unknownType.size()));
    close(fd);
    ASSERT_TRUE(test::drainIntake());
    const auto table = test::tableSnapshot();
    ASSERT_EQ(table.size(), 1u);
    EXPECT_EQ(table[0].msg.ucIndex, 0x15);
    std::vector<test::LogLine> lines = log.lines();
    lines.pop_back(); // the drain marker
    EXPECT_EQ(lines, (std::vector<test::LogLine>{
                         {2, "DiagPanel_translate", "Invalid input length: 0xf"},
                         {2, "DiagPanel_translate", "Invalid input length: 0xd"},
                         {4, "DiagPanel_translate", "Unknown event type: 0x4"},
                         {2, "DiagPanel_translate", "Unknown DiagPanel trans message type: 0x5"}}));
}

} // namespace
