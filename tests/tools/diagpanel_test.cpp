// SPDX-License-Identifier: Apache-2.0
// diagpanel's parts against the library: decoding what the library itself writes to the panel,
// the virtual clock a capture is mapped onto, a long replay with the intake kept busy against the
// same inputs played one by one. Whole replays, with the cycles they find and skip, are the golden
// runs'; their speed is make bench's.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include <boards/catalogue.hpp>
#include <diagpanel/diagpanel.h>

#include <host_platform/diagpanel_host.h>
#include "host_support/frames.hpp"
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

// The text timeline of `items` replayed with `batch` inputs in flight, in a child process: the
// library starts once a process.
std::string timelineOf(const std::vector<Item> &items, std::size_t batch)
{
    FILE *out = tmpfile();
    if (out == nullptr) {
        ADD_FAILURE() << "tmpfile";
        return {};
    }
    (void)fflush(nullptr); // the child writes out nothing of the parent's
    const pid_t child = fork();
    if (child == 0) {
        ReplayOptions options;
        options.board = diag::board::k01030103;
        options.batch = batch;
        const std::unique_ptr<Sink> sink = textSink(out);
        Replay run(options, {sink.get()});
        std::string why;
        if (!run.start(why)) {
            fprintf(stderr, "%s\n", why.c_str());
            _exit(1);
        }
        run.beginFile();
        for (const Item &item : items) {
            run.play(item);
        }
        run.finish(0);
        fflush(out);
        HOST_LOG_LINE_S last{};
        _exit(HOST_LogCount() > 0 && HOST_LogGet(HOST_LogCount() - 1, &last) != 0
                  ? 0
                  : 2); // lines logged, none kept: the session took them
    }
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "status " << status;
    std::string text;
    rewind(out);
    char chunk[4096];
    for (std::size_t got = 0; (got = fread(chunk, 1, sizeof chunk, out)) > 0;) {
        text.append(chunk, got);
    }
    fclose(out);
    return text;
}

// Thousands of inputs in flight in the intake, posted in runs and waited for in part, with the
// display stepped on the intake's thread between them and whole cycles left out there: the
// timeline is the one of each input waited for alone, stepped on the replay's thread. Records
// come in bursts, one a second, or after a pause of half a minute to a quarter of an hour; a
// sensor name given midway applies to the records after it, and the firmware's diagnostic mode
// holds the panel for a while (steps of a second).
TEST(DiagpanelReplay, KeepsTheIntakeBusyWithTheTimelineOfOneByOne)
{
    const host::SelBytes kinds[] = {host::systemEventRecord(0x0C, 0x60, 0x6F, 0xA1, 0x00, 0x60),
                                    host::systemEventRecord(0x08, 0x30, 0x6F, 0x01),
                                    host::systemEventRecord(0x01, 0x11, 0x01, 0x59, 0x5A, 0x55),
                                    host::systemEventRecord(0x04, 0x40, 0x0A, 0x08)};
    std::vector<Item> items;
    u32 stamp = 0x65E1A2C0;
    u32 random = 1;
    for (unsigned i = 0; i < 6000; ++i) {
        random = random * 1103515245u + 12345u;
        if (i == 4000 || i == 4300) {
            Item mode;
            mode.kind = Item::Kind::DiagMode;
            mode.on = i == 4000;
            items.push_back(mode);
        }
        if (i == 3100) {
            Item name;
            name.kind = Item::Kind::SensorName;
            name.number = 0x30;
            name.name = "PSU_2_Status";
            items.push_back(name);
        }
        stamp += i % 2500 == 2499          ? 900
                 : i % 97 == 96            ? 30 + (random >> 8) % 900
                 : (random >> 16) % 4 == 0 ? 0
                                           : (random >> 18) % 3;
        Item record = selAt(stamp);
        const host::SelBytes &kind = kinds[(random >> 20) % 4];
        std::copy(kind.begin() + 7, kind.end(), record.sel.begin() + 7);
        record.sel[0] = static_cast<u8>(i);
        record.sel[1] = static_cast<u8>(i >> 8);
        record.sel[2] = kSystemEventRecord;
        record.sel[12] = static_cast<u8>(record.sel[12] | ((random >> 22) % 2 != 0 ? 0x80 : 0));
        record.source.file = "sel.bin";
        record.source.offset = i * kSelLen;
        items.push_back(record);
    }
    const std::string alone = timelineOf(items, 1);
    const std::string busy = timelineOf(items, 1024);
    EXPECT_EQ(busy, alone);
    EXPECT_EQ(timelineOf(items, 16), alone) << "waits for part of the frames in flight";
    EXPECT_GT(std::count(busy.begin(), busy.end(), '\n'), 11000);
    EXPECT_NE(busy.find("fault  + memory B3"), std::string::npos);
    EXPECT_NE(busy.find("... unchanged until"), std::string::npos) << "cycles skipped";
    EXPECT_LT(busy.rfind("Number=0x30"), busy.find("PSU_2_Status")) << "the name applies after";
}

} // namespace
