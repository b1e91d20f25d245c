#include "tests/translate/translator_cases.hpp"

using namespace test;

namespace {

SelBytes progress(u8 data1, u8 data2, u8 dir = kAssert)
{
    return sel(0x0F, 0x01, dir, data1, data2);
}

std::vector<DIAG_PANEL_MSG_S> cpu(u8 levelBits, u8 level)
{
    return {fault(DIAG_PANEL_FAULT_CPU, 0, 0x2000, levelBits, level)};
}

} // namespace

TEST_F(TranslatorTest, OneOemFirmwareProgressFormIsAProcessorFault)
{
    const u32 board = 0x01030103;
    const LogLine unsupported = error("Not Support SEL MSG");
    // clang-format off
    expectCases(DIAG_PANEL_TRANS_CpuFault, {
        {"OEM code 3, own level",      board, progress(0xAD, 0x03),            kSevNone,   cpu(3, 3), {}},
        {"data 2 bits 7-4 not read",   board, progress(0xAD, 0x13),            kSevLevel2, cpu(2, 2), {}},
        {"data 1 bits 5-4 not read",   board, progress(0x8D, 0x03),            kSevLevel3, cpu(3, 3), {}},
        {"deassertion keeps L",        board, progress(0xAD, 0x03, kDeassert), kSevLevel2, cpu(0, 2), {}},
        {"deassertion, own level",     board, progress(0xAD, 0x03, kDeassert), kSevNone,   cpu(0, 3), {}},
        {"data 1 bits 7-6 are 11b",    board, progress(0xCD, 0x03),            kSevNone,   {}, {unsupported}},
        {"another OEM code",           board, progress(0xAD, 0x04),            kSevNone,   {}, {unsupported}},
        {"offset 0: silent",           board, progress(0xA0, 0x03),            kSevNone,   {}, {}},
        {"offset first, then format",  board, progress(0x00, 0x00),            kSevNone,   {}, {}},
    });
    // clang-format on
}

TEST_F(TranslatorTest, CpuAllocationFailureIsAlsoWrittenToStandardOutput)
{
    testing::internal::CaptureStdout();
    expectAllocationFailure(DIAG_PANEL_TRANS_CpuFault, progress(0xAD, 0x03),
                            {error("Failed to alloc memory of hash node: 0x14"),
                             error("Failed to fill hash node of CPU Fault info")});
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "[xxxxxx] Failed to fill hash node of CPU Fault info");
}

TEST_F(PipeTest, ProcessorFaultReachesTheTable)
{
    const std::vector<Entry> table = post(progress(0xAD, 0x03), kSevLevel3);
    ASSERT_EQ(table.size(), 1u);
    EXPECT_EQ(table[0].bucket, u32{DIAG_PANEL_FAULT_CPU});
    EXPECT_EQ(table[0].msg.uiFaultMask, 0x2000u);
}
