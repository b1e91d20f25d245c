#include "tests/translate/translator_cases.hpp"

#include "display/display_state.hpp"
#include "tests/support/alloc_failure.hpp"

using namespace test;

namespace {

constexpr u8 kWatchdog2 = 0x23;
const std::vector<u8> kCodes{0x19, 0xA1, 0xB2};

SelBytes watchdog(u8 data1, u8 data2, u8 dir = kAssert)
{
    return sel(kWatchdog2, 0x03, dir, data1, data2);
}

bool displayTold()
{
    return diag::g_stPostDisp.ucErrFlag == 1;
}

class PostCodeTest : public TranslatorTest
{
  protected:
    void SetUp() override
    {
        TranslatorTest::SetUp();
        diag::g_stPostDisp = {}; // no display thread runs here
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
        int result;
        u8 index;
        u8 levelInfo;
        bool read; // the code was read and the display told
    };
    // clang-format off
    const std::vector<Case> cases = {
        {"FRB2",                      watchdog(0xC0, 0x01), kSevNone,    0, 0xB2, 0x02, true},
        {"interrupt type 2, FRB2",    watchdog(0xC0, 0x21), kSevLevel0,  0, 0xB2, 0x02, true},
        {"any offset, any level",     watchdog(0xC8, 0x01), kSevLevel3,  0, 0xB2, 0x02, true},
        {"deassertion",               watchdog(0xC0, 0x01, kDeassert), kSevLevel3, 0, 0x00, 0x00, false},
        {"BIOS/POST use: silent",     watchdog(0xC0, 0x02), kSevNone,   -1, 0, 0, false},
        {"OEM code in data 2: silent",watchdog(0x80, 0x01), kSevNone,   -1, 0, 0, false},
        {"no extension: silent",      watchdog(0x00, 0x01), kSevNone,   -1, 0, 0, false},
    };
    // clang-format on
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        diag::g_stPostDisp = {};
        const CallCursor calls;
        const Translation t = translate(DIAG_PANEL_TRANS_PostFault, c.record, c.severity);
        EXPECT_EQ(t.result, c.result);
        EXPECT_TRUE(t.log.empty());
        if (c.result == 0) {
            EXPECT_EQ(t.messages,
                      std::vector{message(DIAG_PANEL_FAULT_POST, c.index, c.levelInfo, 0, 2)});
        }
        EXPECT_EQ(calls.calls(),
                  c.read ? std::vector<std::string>{"snoop_read_current_bios_code(256, zeroed)"}
                         : std::vector<std::string>{});
        EXPECT_EQ(displayTold(), c.read);
        EXPECT_EQ(diag::g_stPostDisp.ucErrCode, c.read ? 0xB2 : 0);
    }
}

TEST_F(PostCodeTest, UnreadablePostCodeIsStillAPostErrorWithCodeFF)
{
    for (const int result : {0, -5}) {
        SCOPED_TRACE(result);
        HOST_PostSetCodes(nullptr, result);
        diag::g_stPostDisp = {};
        const Translation t = translate(DIAG_PANEL_TRANS_PostFault, watchdog(0xC0, 0x01), kSevNone);
        EXPECT_EQ(t.result, 0);
        EXPECT_EQ(t.messages, std::vector{message(DIAG_PANEL_FAULT_POST, 0xFF, 0x02, 0, 2)});
        ASSERT_EQ(t.log.size(), 2u);
        EXPECT_EQ(t.log[0].level, 4u);
        EXPECT_TRUE(t.log[0].text.starts_with("[DiagPanel_translate."));
        EXPECT_TRUE(t.log[0].text.ends_with("]Read current bios code failed!"));
        EXPECT_EQ(t.log[1], logLine(4, "Failed to get BIOS Code while in Diagpanel module!"));
        EXPECT_TRUE(displayTold());
        EXPECT_EQ(diag::g_stPostDisp.ucErrCode, 0xFF);
    }
}

TEST_F(PostCodeTest, DisplayIsToldEvenWhenTheMessageCannotBeStored)
{
    const FailAllocation fail(1);
    const Translation t = translate(DIAG_PANEL_TRANS_PostFault, watchdog(0xC0, 0x01), kSevNone);
    EXPECT_TRUE(fail.fired());
    EXPECT_EQ(t.result, -1);
    EXPECT_EQ(t.log, (std::vector{logLine(2, "Failed to alloc memory of hash node: 0x14"),
                                  logLine(2, "Failed to fill hash node of POST Fault info")}));
    EXPECT_TRUE(displayTold());
    EXPECT_EQ(diag::g_stPostDisp.ucErrCode, 0xB2);
}

TEST_F(PipeTest, PostFaultIsStoredAndShownThroughThePipe)
{
    HOST_PostSetCodes(kCodes.data(), static_cast<int>(kCodes.size()));
    std::vector<Entry> table = post(watchdog(0xC0, 0x01), kSevNone);
    ASSERT_EQ(table.size(), 1u);
    EXPECT_EQ(table[0].bucket, u32{DIAG_PANEL_FAULT_POST});
    EXPECT_EQ(table[0].msg.ucIndex, 0xB2);
    EXPECT_EQ(table[0].msg.ucLevelInfo, 0x02);
    EXPECT_EQ(diag::g_stPostDisp.ucErrCode, 0xB2);
}
