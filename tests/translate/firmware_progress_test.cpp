// The one OEM form of a firmware-progress event that is a processor fault.
#include "tests/translate/translator_cases.hpp"

using namespace test;

TEST_F(TranslatorTest, FirmwareProgressRecords)
{
    // clang-format off
    const auto progress = [](u8 d1, u8 d2, u8 dir = kAssert) { return sel(0x0F, 1, dir, d1, d2); };
    const Msgs cpu{{DIAG_PANEL_FAULT_CPU, 0, 3, 0x2000, 3}};
    const Lines unsupported{"2 Not Support SEL MSG"};
    expectRows(DIAG_PANEL_TRANS_CpuFault, {
        {"OEM code 3, own level",     kFirstBoard, progress(0xAD, 0x03),  9, cpu},
        {"data 2 bits 7-4 not read",  0, progress(0xAD, 0x13),            3, {{0, 0, 2, 0x2000, 2}}},
        {"data 1 bits 5-4 not read",  0, progress(0x8D, 0x03),            4, cpu},
        {"deassertion keeps level",   0, progress(0xAD, 0x03, kDeassert), 3, {{0, 0, 0, 0x2000, 2}}},
        {"data 1 bits 7-6 are 11b",   0, progress(0xCD, 0x03),            9, {}, unsupported},
        {"another OEM code",          0, progress(0xAD, 0x04),            9, {}, unsupported},
        {"offset first, then format", 0, progress(0x00, 0x00),            9, {}},
    });
    // clang-format on
    testing::internal::CaptureStdout();
    expectAllocationFailure(DIAG_PANEL_TRANS_CpuFault, progress(0xAD, 0x03),
                            "Failed to fill hash node of CPU Fault info");
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "[xxxxxx] Failed to fill hash node of CPU Fault info");
}
