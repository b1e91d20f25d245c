#include "tests/translate/translator_cases.hpp"

#include "display/display_state.hpp"

using namespace test;

namespace {

const std::vector<u8> kCodes{0x19, 0xA1, 0xB2};
const std::vector<std::string> kRead{"snoop_read_current_bios_code(256, zeroed)"};

SelBytes watchdog(u8 data1, u8 data2, u8 dir = kAssert)
{
    return sel(0x23, 0x03, dir, data1, data2);
}

DIAG_PANEL_MSG_S postFault(u8 code, u8 levelInfo)
{
    return message(DIAG_PANEL_FAULT_POST, code, levelInfo, 0, 2);
}

// The POST error the display was told of, if any. No display thread runs here.
int toldCode()
{
    return diag::g_stPostDisp.ucErrFlag == 1 ? diag::g_stPostDisp.ucErrCode : -1;
}

class PostCodeTest : public TranslatorTest
{
  protected:
    void SetUp() override
    {
        TranslatorTest::SetUp();
        diag::g_stPostDisp = {};
        HOST_PostSetCodes(kCodes.data(), static_cast<int>(kCodes.size()));
    }
};

} // namespace

TEST_F(PostCodeTest, Frb2ExpiryShowsAndStoresTheLastPostCode)
{
    struct Case {
        const char *name;
        SelBytes record;
        u8 severity;
        std::vector<DIAG_PANEL_MSG_S> messages; // none: dropped silently
        std::vector<std::string> calls;
        int told;
    };
    // clang-format off
    const std::vector<Case> cases = {
        {"FRB2",                   watchdog(0xC0, 0x01),            kSevNone,   {postFault(0xB2, 0x02)}, kRead, 0xB2},
        {"FRB2, interrupt type 2", watchdog(0xC0, 0x21),            kSevLevel0, {postFault(0xB2, 0x02)}, kRead, 0xB2},
        {"any offset and level",   watchdog(0xC8, 0x01),            kSevLevel3, {postFault(0xB2, 0x02)}, kRead, 0xB2},
        {"deassertion",            watchdog(0xC0, 0x01, kDeassert), kSevLevel3, {postFault(0x00, 0x00)}, {},    -1},
        {"BIOS/POST timer use",    watchdog(0xC0, 0x02),            kSevNone,   {},                 {},    -1},
        {"OEM code in data 2",     watchdog(0x80, 0x01),            kSevNone,   {},                 {},    -1},
    };
    // clang-format on
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        diag::g_stPostDisp = {};
        const CallCursor calls;
        const Translation t = translate(DIAG_PANEL_TRANS_PostFault, c.record, c.severity);
        EXPECT_EQ(t.result, c.messages.empty() ? -1 : 0);
        EXPECT_EQ(t.messages, c.messages);
        EXPECT_TRUE(t.log.empty());
        EXPECT_EQ(calls.calls(), c.calls);
        EXPECT_EQ(toldCode(), c.told);
    }
}

TEST_F(PostCodeTest, UnreadablePostCodeIsStillAPostErrorWithCodeFF)
{
    for (const int result : {0, -5}) {
        SCOPED_TRACE(result);
        HOST_PostSetCodes(nullptr, result);
        diag::g_stPostDisp = {};
        const Translation t = translate(DIAG_PANEL_TRANS_PostFault, watchdog(0xC0, 0x01), kSevNone);
        EXPECT_EQ(t.messages, std::vector{postFault(0xFF, 0x02)});
        ASSERT_EQ(t.log.size(), 2u);
        EXPECT_EQ(t.log[0].level, 4u);
        EXPECT_TRUE(t.log[0].text.starts_with("[DiagPanel_translate."));
        EXPECT_TRUE(t.log[0].text.ends_with("]Read current bios code failed!"));
        EXPECT_EQ(t.log[1], warn("Failed to get BIOS Code while in Diagpanel module!"));
        EXPECT_EQ(toldCode(), 0xFF);
    }
}

TEST_F(PostCodeTest, DisplayIsToldEvenWhenTheMessageCannotBeStored)
{
    expectAllocationFailure(DIAG_PANEL_TRANS_PostFault, watchdog(0xC0, 0x01),
                            {error("Failed to alloc memory of hash node: 0x14"),
                             error("Failed to fill hash node of POST Fault info")});
    EXPECT_EQ(toldCode(), 0xB2);
}

TEST_F(PipeTest, PostFaultIsStoredAndShownThroughThePipe)
{
    HOST_PostSetCodes(kCodes.data(), static_cast<int>(kCodes.size()));
    const std::vector<Entry> table = post(watchdog(0xC0, 0x01), kSevNone);
    ASSERT_EQ(table.size(), 1u);
    EXPECT_EQ(table[0].bucket, u32{DIAG_PANEL_FAULT_POST});
    EXPECT_EQ(table[0].msg.ucIndex, 0xB2);
    EXPECT_EQ(table[0].msg.ucLevelInfo, 0x02);
    EXPECT_EQ(toldCode(), 0xB2);
}
