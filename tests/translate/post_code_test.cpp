// An FRB2 expiry shows the last POST code as a POST error and stores it as a fault.
#include "tests/translate/translator_cases.hpp"

#include "display/display_state.hpp"

using namespace test;

TEST_F(TranslatorTest, PostCodeRecords)
{
    // clang-format off
    const auto watchdog = [](u8 d1, u8 d2, u8 dir = kAssert) { return sel(0x23, 3, dir, d1, d2); };
    const auto post = [](u8 code, u8 level = 2) { return Msgs{{DIAG_PANEL_FAULT_POST, code, level, 0, 2}}; };
    const auto told = [] { // the POST error the display was told of since the last look, or -1
        const int code = diag::g_stPostDisp.ucErrFlag == 1 ? diag::g_stPostDisp.ucErrCode : -1;
        diag::g_stPostDisp = {};
        return code;
    };
    const u8 codes[] = {0x19, 0xA1, 0xB2};
    const Lines read{"snoop_read_current_bios_code(256, zeroed)"};
    const Lines failed{"4 [DiagPanel_translate.L]Read current bios code failed!",
                       "4 Failed to get BIOS Code while in Diagpanel module!"};
    HOST_PostSetCodes(codes, 3);
    (void)told();
    expectRows(DIAG_PANEL_TRANS_PostFault, {
        {"deassertion",         kFirstBoard, watchdog(0xC0, 0x01, kDeassert), 4, post(0x00, 0), {}, nullptr, Lines{}},
        {"BIOS/POST timer use", 0, watchdog(0xC0, 0x02), 9, {}, {}, nullptr, Lines{}},
        {"OEM code in data 2",  0, watchdog(0x80, 0x01), 9, {}, {}, nullptr, Lines{}},
    });
    EXPECT_EQ(told(), -1);
    expectRows(DIAG_PANEL_TRANS_PostFault, {
        {"FRB2",                   0, watchdog(0xC0, 0x01), 9, post(0xB2), {}, nullptr, read},
        {"FRB2, interrupt type 2", 0, watchdog(0xC0, 0x21), 1, post(0xB2), {}, nullptr, read},
        {"any offset and level",   0, watchdog(0xC8, 0x01), 4, post(0xB2), {}, nullptr, read},
    });
    EXPECT_EQ(told(), 0xB2);
    for (const int failure : {0, -5}) { // unreadable: code FFh
        HOST_PostSetCodes(nullptr, failure);
        expectRows(DIAG_PANEL_TRANS_PostFault, {{"no code", 0, watchdog(0xC0, 0x01), 9, post(0xFF), failed, nullptr, read}});
        EXPECT_EQ(told(), 0xFF) << failure;
    }
    // clang-format on
    HOST_PostSetCodes(codes, 3); // the display is told even when the message cannot be stored
    expectAllocationFailure(DIAG_PANEL_TRANS_PostFault, watchdog(0xC0, 0x01),
                            "Failed to fill hash node of POST Fault info");
    EXPECT_EQ(told(), 0xB2);
}
