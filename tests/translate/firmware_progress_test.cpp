#include "tests/translate/translator_cases.hpp"

#include "tests/support/alloc_failure.hpp"

using namespace test;

namespace {

constexpr u8 kFirmwareProgress = 0x0F;

struct CpuCase {
    const char *name;
    SelBytes record;
    u8 severity;
    int result;
    u8 levelInfo; // of the message made
    u8 faultLevel;
    std::vector<LogLine> log;
};

SelBytes progress(u8 data1, u8 data2, u8 dir = kAssert)
{
    return sel(kFirmwareProgress, 0x01, dir, data1, data2);
}

} // namespace

TEST_F(TranslatorTest, OneOemFirmwareProgressFormIsAProcessorFault)
{
    const std::vector<LogLine> unsupported{logLine(2, "Not Support SEL MSG")};
    // clang-format off
    const std::vector<CpuCase> cases = {
        {"OEM code 3",                  progress(0xAD, 0x03), kSevNone,   0, 3 << 2, 3, {}},
        {"bits 7-4 of data 2 ignored",  progress(0xAD, 0x13), kSevNone,   0, 3 << 2, 3, {}},
        {"data 1 bits 5-4 ignored",     progress(0x8D, 0x03), kSevLevel2, 0, 2 << 2, 2, {}},
        {"level 0 clears",              progress(0xAD, 0x03), kSevLevel0, 0, 0,      0, {}},
        {"deassertion keeps L",         progress(0xAD, 0x03, kDeassert), kSevLevel2, 0, 0, 2, {}},
        {"deassertion, own level",      progress(0xAD, 0x03, kDeassert), kSevNone,   0, 0, 3, {}},
        {"data 2 not in an OEM code",   progress(0xCD, 0x03), kSevNone,  -1, 0, 0, unsupported},
        {"another OEM code",            progress(0xAD, 0x04), kSevNone,  -1, 0, 0, unsupported},
        {"offset 0: silent",            progress(0xA0, 0x03), kSevNone,  -1, 0, 0, {}},
        {"offset 0, bad format: silent",progress(0x00, 0x00), kSevNone,  -1, 0, 0, {}},
    };
    // clang-format on
    for (const CpuCase &c : cases) {
        SCOPED_TRACE(c.name);
        const Translation t = translate(DIAG_PANEL_TRANS_CpuFault, c.record, c.severity);
        EXPECT_EQ(t.result, c.result);
        EXPECT_EQ(t.log, c.log);
        if (c.result == 0) {
            EXPECT_EQ(t.messages, std::vector{message(DIAG_PANEL_FAULT_CPU, 0, c.levelInfo, 0x2000,
                                                      c.faultLevel)});
        }
    }
}

TEST_F(TranslatorTest, CpuAllocationFailureIsAlsoWrittenToStandardOutput)
{
    testing::internal::CaptureStdout();
    const FailAllocation fail(1);
    const Translation t = translate(DIAG_PANEL_TRANS_CpuFault, progress(0xAD, 0x03), kSevNone);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "[xxxxxx] Failed to fill hash node of CPU Fault info");
    EXPECT_TRUE(fail.fired());
    EXPECT_EQ(t.result, -1);
    EXPECT_EQ(t.log, (std::vector{logLine(2, "Failed to alloc memory of hash node: 0x14"),
                                  logLine(2, "Failed to fill hash node of CPU Fault info")}));
}

TEST_F(PipeTest, ProcessorFaultReachesTheTable)
{
    const std::vector<Entry> table = post(progress(0xAD, 0x03), kSevLevel3);
    ASSERT_EQ(table.size(), 1u);
    EXPECT_EQ(table[0].bucket, u32{DIAG_PANEL_FAULT_CPU});
    EXPECT_EQ(table[0].msg.ucIndex, 0);
    EXPECT_EQ(table[0].msg.uiFaultMask, 0x2000u);
    EXPECT_EQ(table[0].msg.ucLevelInfo, 3 << 2);
}
