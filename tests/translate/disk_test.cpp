#include "tests/translate/translator_cases.hpp"

#include <optional>

#include <platform/platform.h>

using namespace test;

namespace {

constexpr u8 kSensor = 0x42;
constexpr u8 kInstance = 0x07;
constexpr u8 kLostSensor = 0x43; // its instance, 0x09, has no location
constexpr u8 kFront = 0;
constexpr u8 kRear = 1;
constexpr u8 kOther = 0x31; // a backplane type that no rule names

CARD_CFG_RECORD_S g_card{};

// The bytes around the ones the code reads hold tempting values.
void setPlatform(u8 group, u8 slot, u8 kind, std::array<u8, 3> backplanes,
                 std::optional<char> variant)
{
    memset(g_astGetALLHDDSensor, 0x33, sizeof g_astGetALLHDDSensor[0] * HOST_HDD_SENSOR_ROWS);
    g_astGetALLHDDSensor[kSensor][0] = kInstance;
    g_astGetALLHDDSensor[kLostSensor][0] = 0x09;
    HOST_DiskSetLocation(kInstance, group, slot, kind);
    // Rows 3 and beyond too, should one be read.
    memset(g_astBPCardInfo, 0x33, sizeof g_astBPCardInfo[0] * HOST_BP_CARD_ROWS);
    for (size_t row = 0; row < backplanes.size(); ++row) {
        g_astBPCardInfo[row][2] = backplanes[row];
    }
    g_card.ucVariant = static_cast<u8>(variant.value_or(0));
    g_stCurrentCardCfgInfo.pstCardCfg = variant ? &g_card : nullptr;
}

SelBytes drive(u8 data1, u8 sensor = kSensor, u8 dir = kAssert)
{
    return sel(0x0D, sensor, dir, data1, 0xFF, 0xFF);
}

} // namespace

TEST_F(TranslatorTest, DiskCodesFollowEachBoardsRuleIn8Bits)
{
    struct DiskCase {
        const char *name;
        u32 board;
        u8 group, slot, kind;
        std::array<u8, 3> backplanes; // type codes of rows 0..2
        std::optional<char> variant;
        u8 code;
    };
    const std::array<u8, 3> other{kOther, kOther, kOther};
    // clang-format off
    const std::vector<DiskCase> cases = {
        {"rear slot 0 wraps to 255", 0x01031104, 1, 0,   kRear,  other, {}, 255},
        {"front slot as is",         0x01030103, 1, 5,   kFront, other, {}, 5},
        {"slots 0-7 on row 0",       0x01030303, 1, 0,   kFront, {0x33, kOther, kOther}, {}, 10},
        {"slots 8-15 on row 2",      0x01030303, 1, 12,  kFront, {kOther, kOther, 0x34}, {}, 24},
        {"row 2 of another type",    0x01030303, 1, 12,  kFront, {0x34, 0x34, kOther}, {}, 12},
        {"slots 16-23 on row 1",     0x01031304, 1, 17,  kFront, {kOther, 0x34, kOther}, {}, 31},
        {"slot 24 reads no row",     0x01030303, 1, 24,  kFront, {0x33, 0x33, 0x33}, {}, 24},
        {"slot 255 reads no row",    0x01031304, 1, 255, kFront, {0x33, 0x33, 0x33}, {}, 255},
        {"rear after 19",            0x01030303, 1, 3,   kRear,  {0x4F, kOther, kOther}, {}, 22},
        {"rear after 29 wraps",      0x01031304, 1, 250, kRear,  {0x36, kOther, kOther}, {}, 23},
        {"rear after 9: row 0 only", 0x01030303, 1, 3,   kRear,  {kOther, 0x35, 0x35}, {}, 12},
        {"group 2, no card",         0x01032303, 2, 3,   kFront, other, {}, 33},
        {"group 2, variant B",       0x01032303, 2, 3,   kFront, other, 'B', 33},
        {"group 2, other variant",   0x01032303, 2, 3,   kRear,  other, 'A', 13},
        {"group 3, other variant",   0x01032303, 3, 5,   kFront, other, 'A', 65},
        {"group 3 of 10",            0x01033305, 3, 4,   kFront, other, {}, 24},
        {"group 0 of 10 wraps",      0x01033304, 0, 5,   kFront, other, {}, 251},
        {"rear after 29",            0x01034301, 1, 2,   kRear,  other, {}, 31},
        {"unlisted board",           0x60010101, 1, 2,   kFront, other, {}, 0},
    };
    // clang-format on
    for (const DiskCase &c : cases) {
        SCOPED_TRACE(c.name);
        HOST_SetBoardId(c.board);
        setPlatform(c.group, c.slot, c.kind, c.backplanes, c.variant);
        const CallCursor calls;
        const LogCursor log;
        EXPECT_EQ(DIAG_PANEL_GetHddFaultCode(kSensor), c.code);
        EXPECT_EQ(calls.calls(), std::vector<std::string>{"MODULE_GetDiskLocationByInstance(0x7)"});
        EXPECT_TRUE(log.lines().empty());
    }
}

TEST_F(TranslatorTest, DiskRecordsBecomeDiskFaults)
{
    const u32 board = 0x01031104;
    setPlatform(1, 18, kRear, {kOther, kOther, kOther}, {}); // code 17
    const auto disk = [](u8 index, u8 offset, u8 levelBits, u8 level) {
        return std::vector{fault(DIAG_PANEL_FAULT_DISK, index, 1u << offset, levelBits, level)};
    };
    const LogLine lost =
        warn("DIAG_PANEL_GetHddFaultCode get disk location failed by instance[0x9]!");
    const LogLine predictive = warn("Unknown HDD sel format: EvtData1=0xa2");
    // clang-format off
    expectCases(DIAG_PANEL_TRANS_HddFault, {
        {"presence, own level",    board, drive(0xA0),                        kSevNone,   disk(0x17, 0, 3, 3), {}},
        {"drive fault",            board, drive(0x01),                        kSevLevel2, disk(0x17, 1, 2, 2), {}},
        {"in critical array",      board, drive(0x05),                        kSevLevel3, disk(0x17, 5, 3, 3), {}},
        {"in failed array",        board, drive(0x06),                        kSevLevel3, disk(0x17, 6, 3, 3), {}},
        {"deassertion keeps L",    board, drive(0x01, kSensor, kDeassert),    kSevLevel2, disk(0x17, 1, 0, 2), {}},
        {"deassertion, own level", board, drive(0x01, kSensor, kDeassert),    kSevNone,   disk(0x17, 1, 0, 3), {}},
        {"unknown disk is 00",     board, drive(0x01, kLostSensor),           kSevLevel3, disk(0x00, 1, 3, 3), {lost}},
        {"predictive failure",     board, drive(0xA2),                        kSevLevel3, {}, {predictive}},
        {"location asked first",   board, drive(0xA2, kLostSensor),           kSevLevel3, {}, {lost, predictive}},
    });
    // clang-format on
}

TEST_F(TranslatorTest, DiskAllocationFailureLosesTheRecord)
{
    setPlatform(1, 3, kFront, {kOther, kOther, kOther}, {});
    expectAllocationFailure(DIAG_PANEL_TRANS_HddFault, drive(0x01),
                            {error("Failed to alloc memory of hash node: 0x14"),
                             error("Failed to fill hash node of HDD Fault info")});
}

TEST_F(PipeTest, DiskFaultReachesTheTable)
{
    HOST_SetBoardId(0x01031104);
    setPlatform(1, 0, kRear, {kOther, kOther, kOther}, {});
    const std::vector<Entry> table = post(drive(0x01), kSevLevel3);
    ASSERT_EQ(table.size(), 1u);
    EXPECT_EQ(table[0].bucket, u32{DIAG_PANEL_FAULT_DISK});
    EXPECT_EQ(table[0].msg.ucIndex, 0x55); // code 255
    EXPECT_EQ(table[0].msg.uiFaultMask, 0x2u);
}
