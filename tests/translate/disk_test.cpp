// Disk codes from the platform's disk location by each board's rule, in 8 bits, and the records.
#include "tests/translate/translator_cases.hpp"

#include <platform/platform.h>

using namespace test;

namespace {

constexpr u8 kSensor = 0x42, kLostSensor = 0x43;   // instance 7 has a location, instance 9 none
constexpr u8 kFront = 0, kRear = 1, kOther = 0x31; // a backplane type that no rule names
constexpr std::array<u8, 3> kOthers{kOther, kOther, kOther};
CARD_CFG_RECORD_S g_card{};

// The bytes around the ones the code reads hold tempting values, rows 3 and beyond too.
void setPlatform(u8 group, u8 slot, u8 kind, std::array<u8, 3> backplanes = kOthers,
                 char variant = 0)
{
    memset(g_astGetALLHDDSensor, 0x33, sizeof g_astGetALLHDDSensor[0] * HOST_HDD_SENSOR_ROWS);
    g_astGetALLHDDSensor[kSensor][0] = 0x07;
    g_astGetALLHDDSensor[kLostSensor][0] = 0x09;
    HOST_DiskSetLocation(0x07, group, slot, kind);
    memset(g_astBPCardInfo, 0x33, sizeof g_astBPCardInfo[0] * HOST_BP_CARD_ROWS);
    for (size_t row = 0; row < backplanes.size(); ++row) {
        g_astBPCardInfo[row][2] = backplanes[row];
    }
    g_card.ucVariant = static_cast<u8>(variant);
    g_stCurrentCardCfgInfo.pstCardCfg = variant != 0 ? &g_card : nullptr;
}

} // namespace

TEST_F(TranslatorTest, DiskCodesAndRecords)
{
    // A disk location on a board, the backplane types of rows 0..2, the card variant (0: no card).
    // clang-format off
    const struct { const char *name; u32 board; u8 group, slot, kind; std::array<u8, 3> backplanes; char variant; u8 code; } cases[] = {
        {"rear slot 0 wraps to 255", 0x01031104, 1, 0,   kRear,  kOthers, 0, 255},
        {"front slot as is",         0x01030103, 1, 5,   kFront, kOthers, 0, 5},
        {"slots 0-7 on row 0",       0x01030303, 1, 0,   kFront, {0x33, kOther, kOther}, 0, 10},
        {"slots 8-15 on row 2",      0x01030303, 1, 12,  kFront, {kOther, kOther, 0x34}, 0, 24},
        {"row 2 of another type",    0x01030303, 1, 12,  kFront, {0x34, 0x34, kOther}, 0, 12},
        {"slots 16-23 on row 1",     0x01031304, 1, 17,  kFront, {kOther, 0x34, kOther}, 0, 31},
        {"slot 24 reads no row",     0x01030303, 1, 24,  kFront, {0x33, 0x33, 0x33}, 0, 24},
        {"rear after 19",            0x01030303, 1, 3,   kRear,  {0x4F, kOther, kOther}, 0, 22},
        {"rear after 29 wraps",      0x01031304, 1, 250, kRear,  {0x36, kOther, kOther}, 0, 23},
        {"rear after 9: row 0 only", 0x01030303, 1, 3,   kRear,  {kOther, 0x35, 0x35}, 0, 12},
        {"group 2, no card",         0x01032303, 2, 3,   kFront, kOthers, 0, 33},
        {"group 2, variant B",       0x01032303, 2, 3,   kFront, kOthers, 'B', 33},
        {"group 2, other variant",   0x01032303, 2, 3,   kRear,  kOthers, 'A', 13},
        {"group 3, other variant",   0x01032303, 3, 5,   kFront, kOthers, 'A', 65},
        {"group 3 of 10",            0x01033305, 3, 4,   kFront, kOthers, 0, 24},
        {"group 0 of 10 wraps",      0x01033304, 0, 5,   kFront, kOthers, 0, 251},
        {"rear after 29",            0x01034301, 1, 2,   kRear,  kOthers, 0, 31},
        {"unlisted board",           0x60010101, 1, 2,   kFront, kOthers, 0, 0},
    };
    // clang-format on
    for (const auto &c : cases) {
        SCOPED_TRACE(c.name);
        HOST_SetBoardId(c.board);
        setPlatform(c.group, c.slot, c.kind, c.backplanes, c.variant);
        const CallCursor calls;
        const LogCursor log;
        EXPECT_EQ(DIAG_PANEL_GetHddFaultCode(kSensor), c.code);
        EXPECT_EQ(calls.calls(), Lines{"MODULE_GetDiskLocationByInstance(0x7)"});
        EXPECT_EQ(log.lines().size(), 0u);
    }
    setPlatform(1, 18, kRear); // code 17 on the first board
    // clang-format off
    const auto drive = [](u8 d1, u8 sensor = kSensor, u8 dir = kAssert) { return sel(0x0D, sensor, dir, d1); };
    const auto disk = [](u8 index, u8 offset, u8 level = 3, u8 field = 3) {
        return Msgs{{DIAG_PANEL_FAULT_DISK, index, field, 1u << offset, level}};
    };
    const std::string lost =
        "4 DIAG_PANEL_GetHddFaultCode get disk location failed by instance[0x9]!";
    const std::string predictive = "4 Unknown HDD sel format: EvtData1=0xa2";
    expectRows(DIAG_PANEL_TRANS_HddFault, {
        {"presence, own level",     kFirstBoard, drive(0xA0),           9, disk(0x17, 0)},
        {"drive fault",             0, drive(0x01),                     3, disk(0x17, 1, 2, 2)},
        {"in critical array",       0, drive(0x05),                     4, disk(0x17, 5)},
        {"in failed array",         0, drive(0x06),                     4, disk(0x17, 6)},
        {"deassertion keeps level", 0, drive(0x01, kSensor, kDeassert), 3, disk(0x17, 1, 2, 0)},
        {"unknown disk is 00",      0, drive(0x01, kLostSensor),        4, disk(0x00, 1), {lost}},
        {"predictive failure",      0, drive(0xA2),                     4, {}, {predictive}},
        {"location asked first",    0, drive(0xA2, kLostSensor),        4, {}, {lost, predictive}},
    }, "Failed to fill hash node of HDD Fault info");
    // clang-format on
}
