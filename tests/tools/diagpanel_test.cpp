// SPDX-License-Identifier: Apache-2.0
// diagpanel's parts against the library: decoding what the library itself writes to the panel,
// the virtual clock a capture is mapped onto. Whole replays, with the cycles they find and skip,
// are the golden runs'; their speed is make bench's.
#include <gtest/gtest.h>

#include <diagpanel/diagpanel.h>

#include <host_platform/diagpanel_host.h>
#include "tools/diagpanel/panel_code.hpp"
#include "tools/diagpanel/replay.hpp"

namespace {

using namespace diagpanel;

// Every fault type, at every level and a spread of indices, written by DIAG_PANEL_CORE_commonIfc
// (one-hot) and DIAG_PANEL_CORE_commonIfc_ex (numeric): decoding the code gives the head back.
TEST(DiagpanelDecode, ReadsBackWhatTheLibraryWrites)
{
    for (u16 type = 0; type < DIAG_PANEL_FAULT_TYPE_NUM; ++type) {
        for (const u8 index : {u8{0x00}, u8{0x07}, u8{0x42}, u8{0x99}, u8{0xFF}}) {
            for (u8 level = 0; level <= 3; ++level) {
                const u8 levelInfo = type == 8 ? level : static_cast<u8>(level << 2);
                for (const auto encoding : {tools::Encoding::OneHot, tools::Encoding::Numeric}) {
                    SCOPED_TRACE(testing::Message()
                                 << "type " << type << " index " << +index << " level " << +level
                                 << " numeric " << (encoding == tools::Encoding::Numeric));
                    DIAG_PANEL_CMD_S cmd{0, {}, levelInfo, index, type, 0};
                    const u32 before = HOST_PanelCount();
                    ASSERT_EQ(encoding == tools::Encoding::OneHot
                                  ? DIAG_PANEL_CORE_commonIfc(&cmd)
                                  : DIAG_PANEL_CORE_commonIfc_ex(&cmd),
                              0);
                    const tools::DecodedCode d =
                        tools::decodePanelCode(HOST_PanelCode(before), encoding);
                    ASSERT_TRUE(d.valid) << d.words;
                    EXPECT_EQ(d.faultType, type);
                    EXPECT_EQ(d.index, index);
                    EXPECT_EQ(d.level, level);
                }
            }
        }
    }
}

Item selAt(u32 stamp)
{
    Item item;
    item.timing = stamp == 0xFFFFFFFFu ? Timing::AfterPrevious : Timing::SelTimestamp;
    for (int i = 0; i < 4; ++i) {
        item.sel[3 + i] = static_cast<u8>(stamp >> (8 * i));
    }
    return item;
}

// Pre-init timestamps count from the file's start, the first real one continues from there, none
// runs time backwards.
TEST(DiagpanelTimeMap, PlacesTimestampsOnOneMonotonicClock)
{
    TimeMap map;
    Item script;
    script.timing = Timing::Offset;
    script.offset = 100;
    EXPECT_EQ(map.place(script), 100u);
    map.beginFile();
    const struct {
        u32 stamp;
        uint64_t at;
    } steps[] = {{0x10, 116},
                 {0x65E1A2C0, 116},
                 {0xFFFFFFFF, 116},
                 {0x65E1A2C0 + 30, 146},
                 {0x65E1A2C0 - 99, 146},
                 {0x08, 146},
                 {0x65E1A2C0 + 3600, 3716}};
    for (const auto &s : steps) {
        SCOPED_TRACE(s.stamp);
        EXPECT_EQ(map.place(selAt(s.stamp)), s.at);
    }
    EXPECT_EQ(map.selClock(116), 0x65E1A2C0);
}

} // namespace
