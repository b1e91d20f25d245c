#include "tests/translate/translator_cases.hpp"

#include <cstring>
#include <optional>

#include <platform/platform.h>

#include "tests/support/alloc_failure.hpp"

using namespace test;

namespace {

constexpr u8 kDriveSlot = 0x0D;
constexpr u8 kSensor = 0x42;
constexpr u8 kInstance = 0x07;
constexpr u8 kFront = 0;
constexpr u8 kRear = 1;
constexpr u8 kOther = 0x31; // a backplane type that no rule names

// Every byte of the platform's records that the code must not read holds a tempting value.
void placeDisk(u8 group, u8 slot, u8 kind)
{
    memset(g_astGetALLHDDSensor[kSensor], 0x33, sizeof g_astGetALLHDDSensor[kSensor]);
    g_astGetALLHDDSensor[kSensor][0] = kInstance;
    HOST_DiskSetLocation(kInstance, group, slot, kind);
}

void setBackplanes(std::array<u8, 3> types)
{
    for (size_t row = 0; row < HOST_BP_CARD_ROWS; ++row) {
        memset(g_astBPCardInfo[row], 0x34, sizeof g_astBPCardInfo[row]);
        g_astBPCardInfo[row][2] = row < types.size() ? types[row] : 0x33;
    }
}

CARD_CFG_RECORD_S g_card{};

void setVariant(std::optional<char> letter)
{
    g_card.ucVariant = static_cast<u8>(letter.value_or(0));
    g_stCurrentCardCfgInfo.pstCardCfg = letter ? &g_card : nullptr;
}

struct DiskCase {
    const char *name;
    u32 board;
    u8 group, slot, kind;
    std::array<u8, 3> backplanes; // type codes of rows 0..2
    std::optional<char> variant;
    u8 code;
};

} // namespace

TEST_F(TranslatorTest, DiskCodesFollowEachBoardsRuleIn8Bits)
{
    const std::array<u8, 3> none{kOther, kOther, kOther};
    // clang-format off
    const std::vector<DiskCase> cases = {
        {"rear slot 0 wraps to 255",       0x01031104, 1, 0,   kRear,  none, {}, 255},
        {"rear slot less one",             0x01030103, 1, 5,   kRear,  none, {}, 4},
        {"front slot as is",               0x01030103, 1, 5,   kFront, none, {}, 5},
        {"slots 0-7 on row 0",             0x01030303, 1, 0,   kFront, {0x33, kOther, kOther}, {}, 10},
        {"slots 8-15 on row 2",            0x01030303, 1, 12,  kFront, {kOther, kOther, 0x34}, {}, 24},
        {"row 2 of another type",          0x01030303, 1, 12,  kFront, {0x34, 0x34, kOther}, {}, 12},
        {"slots 16-23 on row 1",           0x01031304, 1, 17,  kFront, {kOther, 0x34, kOther}, {}, 31},
        {"slot 9 not on row 1",            0x01031304, 1, 9,   kFront, {kOther, 0x34, kOther}, {}, 9},
        {"slot 24 has no row",             0x01030303, 1, 24,  kFront, {0x33, 0x33, 0x33}, {}, 24},
        {"slot 255 has no row",            0x01031304, 1, 255, kFront, {0x33, 0x33, 0x33}, {}, 255},
        {"rear after 19",                  0x01030303, 1, 3,   kRear,  {0x4F, kOther, kOther}, {}, 22},
        {"rear after 29",                  0x01031304, 1, 3,   kRear,  {0x44, kOther, kOther}, {}, 32},
        {"rear after 29 wraps",            0x01030303, 1, 250, kRear,  {0x36, kOther, kOther}, {}, 23},
        {"rear after 9",                   0x01030303, 1, 3,   kRear,  {kOther, 0x35, 0x35}, {}, 12},
        {"group 2 of 30, no card",         0x01032303, 2, 3,   kFront, none, {}, 33},
        {"group 2 of 30, variant B",       0x01032303, 2, 3,   kFront, none, 'B', 33},
        {"group 2, other variant",         0x01032303, 2, 3,   kRear,  none, 'A', 13},
        {"group 3 of 30, other variant",   0x01032303, 3, 5,   kFront, none, 'A', 65},
        {"group 3 of 10",                  0x01033305, 3, 4,   kFront, none, {}, 24},
        {"group 0 of 10 wraps",            0x01033304, 0, 5,   kFront, none, {}, 251},
        {"group 2 of 10",                  0x01033306, 2, 1,   kRear,  none, {}, 11},
        {"rear after 29, 4301",            0x01034301, 1, 2,   kRear,  none, {}, 31},
        {"front, 4301",                    0x01034301, 1, 2,   kFront, none, {}, 2},
        {"unlisted board",                 0x60010101, 1, 2,   kFront, none, {}, 0},
    };
    // clang-format on
    for (const DiskCase &c : cases) {
        SCOPED_TRACE(c.name);
        HOST_SetBoardId(c.board);
        placeDisk(c.group, c.slot, c.kind);
        setBackplanes(c.backplanes);
        setVariant(c.variant);
        const CallCursor calls;
        const LogCursor log;
        EXPECT_EQ(DIAG_PANEL_GetHddFaultCode(kSensor), c.code);
        EXPECT_EQ(calls.calls(), std::vector<std::string>{"MODULE_GetDiskLocationByInstance(0x7)"});
        EXPECT_TRUE(log.lines().empty());
    }
}

TEST_F(TranslatorTest, DiskRecordsBecomeDiskFaults)
{
    const auto disk = [](u8 data1, u8 dir = kAssert) {
        return sel(kDriveSlot, kSensor, dir, data1, 0xFF, 0xFF);
    };
    const auto fault = [](u8 index, u8 offset, u8 level, u8 levelBits) {
        return std::vector{message(DIAG_PANEL_FAULT_DISK, index, static_cast<u8>(levelBits << 2),
                                   1u << offset, level)};
    };
    const LogLine noLocation =
        logLine(4, "DIAG_PANEL_GetHddFaultCode get disk location failed by instance[0x7]!");
    const LogLine badOffset = logLine(4, "Unknown HDD sel format: EvtData1=0xa2");
    struct Case {
        const char *name;
        SelBytes record;
        u8 severity;
        bool placed; // the platform knows where the disk is
        std::vector<DIAG_PANEL_MSG_S> messages;
        std::vector<LogLine> log;
    };
    // Board 0x01031104, rear slot 18: code 17.
    // clang-format off
    const std::vector<Case> cases = {
        {"presence, own level",    disk(0xA0), kSevNone,   true,  fault(0x17, 0, 3, 3), {}},
        {"drive fault",            disk(0x01), kSevLevel2, true,  fault(0x17, 1, 2, 2), {}},
        {"in critical array",      disk(0x05), kSevLevel3, true,  fault(0x17, 5, 3, 3), {}},
        {"in failed array",        disk(0x06), kSevLevel0, true,  fault(0x17, 6, 0, 0), {}},
        {"deassertion keeps L",    disk(0x01, kDeassert), kSevLevel2, true, fault(0x17, 1, 2, 0), {}},
        {"deassertion, own level", disk(0x01, kDeassert), kSevNone,   true, fault(0x17, 1, 3, 0), {}},
        {"unknown disk is 00",     disk(0x01), kSevLevel3, false, fault(0x00, 1, 3, 3), {noLocation}},
        {"predictive failure",     disk(0xA2), kSevLevel3, true,  {}, {badOffset}},
        {"location asked first",   disk(0xA2), kSevLevel3, false, {}, {noLocation, badOffset}},
    };
    // clang-format on
    HOST_SetBoardId(0x01031104);
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        HOST_DiskClear();
        placeDisk(1, 18, kRear);
        if (!c.placed) {
            HOST_DiskClear();
        }
        const Translation t = translate(DIAG_PANEL_TRANS_HddFault, c.record, c.severity);
        EXPECT_EQ(t.result, c.messages.empty() ? -1 : 0);
        EXPECT_EQ(t.messages, c.messages);
        EXPECT_EQ(t.log, c.log);
    }
}

TEST_F(TranslatorTest, DiskAllocationFailureLosesTheRecordWithTwoErrors)
{
    placeDisk(1, 3, kFront);
    const FailAllocation fail(1);
    const Translation t =
        translate(DIAG_PANEL_TRANS_HddFault, sel(kDriveSlot, kSensor, kAssert, 0x01), kSevLevel3);
    EXPECT_TRUE(fail.fired());
    EXPECT_EQ(t.result, -1);
    EXPECT_EQ(t.log, (std::vector{logLine(2, "Failed to alloc memory of hash node: 0x14"),
                                  logLine(2, "Failed to fill hash node of HDD Fault info")}));
}

TEST_F(PipeTest, DiskFaultReachesTheTable)
{
    HOST_SetBoardId(0x01031104);
    placeDisk(1, 0, kRear);
    const std::vector<Entry> table = post(sel(kDriveSlot, kSensor, kAssert, 0x01), kSevLevel3);
    ASSERT_EQ(table.size(), 1u);
    EXPECT_EQ(table[0].bucket, u32{DIAG_PANEL_FAULT_DISK});
    EXPECT_EQ(table[0].msg.ucIndex, 0x55); // code 255
    EXPECT_EQ(table[0].msg.uiFaultMask, 0x2u);
}
