// SPDX-License-Identifier: Apache-2.0
// Hostile bytes written straight into the pipe, as a producer in another process could: lengths
// that would wrap or exhaust memory, and the magic sequence inside bodies. Each is dropped with its
// line or read as documented, the reader allocates nothing for a length beyond its bound (counted
// at the allocator) and frees what it allocated, and the next good frame still arrives.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

#include "tests/hardening/allocations.hpp"
#include "host_support/frames.hpp"
#include "tests/support/harness.hpp"

namespace {

using host::Bytes;
using host::frameBytes;
using host::markerFrame;
using host::markerLine;
using host::operator+;

// An event body of an unknown type: its arrival is logged as "Unknown event type: <type>".
Bytes markerBody(u32 marker, size_t size = DIAG_PANEL_EVENT_LEN)
{
    Bytes body(std::max(size, sizeof marker), 0);
    std::copy_n(reinterpret_cast<const u8 *>(&marker), sizeof marker, body.begin());
    body.resize(size);
    return body;
}

// The intake, started once, and a raw writer of its pipe.
class HostileFrames : public testing::Test
{
  protected:
    static void SetUpTestSuite()
    {
        HOST_LogEcho(0);
        ASSERT_EQ(DIAG_PANEL_TRANS_Init(0x5A), 0);
        writer_ = open(DIAG_PANEL_PIPE_PATH, O_WRONLY);
    }
    static void TearDownTestSuite() { close(writer_); }

    // Writes the bytes and then a last marker, waits for it, and returns the intake's lines in
    // between (the last marker's left out).
    std::vector<std::string> feed(const Bytes &bytes)
    {
        EXPECT_GE(writer_, 0);
        const u32 from = HOST_LogCount();
        const test::LogCursor log(from);
        const u32 last = ++next_;
        const Bytes all = bytes + markerFrame(last);
        EXPECT_EQ(write(writer_, all.data(), all.size()), static_cast<ssize_t>(all.size()));
        EXPECT_TRUE(test::waitForLine(from, markerLine(last)));
        std::vector<std::string> lines = log.texts();
        lines.pop_back();
        return lines;
    }

    static int writer_;
    static u32 next_;
};

int HostileFrames::writer_ = -1;
u32 HostileFrames::next_ = 0xE000;

TEST_F(HostileFrames, LengthsBeyondTheBoundAllocateNothing)
{
    const std::pair<u32, const char *> logged[] = {
        {0xFF1, "Failed to malloc memory: len=0x1001"}, // one byte too many
        {0xFFFFFFF0, "Failed to malloc memory: len=0"},
        {0x7FFFFFFF, "Failed to malloc memory: len=0x8000000f"},
        {0x00100000, "Failed to malloc memory: len=0x100010"}};
    for (const auto &[length, line] : logged) {
        SCOPED_TRACE(line);
        const unsigned long before = test::allocationCount();
        const long live = test::quietAllocations();
        EXPECT_EQ(feed(frameBytes(DIAG_PANEL_MSG_TYPE_SEL, Bytes(64, 0xAB), length)),
                  std::vector<std::string>{line});
        EXPECT_EQ(test::allocationCount() - before, 1u) << "the last marker's frame alone";
        EXPECT_TRUE(test::liveSettleAt(live));
    }
}

// The hunt for the magic and the checks of a frame: what each drops, and that the next arrives.
TEST_F(HostileFrames, BytesAroundAndInsideFramesAreReadAsDocumented)
{
    const auto damaged = [](Bytes frame, std::size_t at) {
        frame[at] ^= 0x01;
        return frame;
    };
    Bytes shortBody = markerFrame(0xE203);
    shortBody.resize(16 + 5);
    const struct {
        const char *name;
        Bytes bytes;
        std::vector<std::string> lines;
    } rows[] = {
        {"stray bytes and a partial magic before a frame",
         Bytes{0x78, 0x79, 0x7A, 0x4D, 0x3C, 0x2B} + markerFrame(0xE200),
         {markerLine(0xE200)}},
        {"a second M restarts the match", Bytes{0x4D} + markerFrame(0xE201), {markerLine(0xE201)}},
        {"no magic without its first byte",
         damaged(markerFrame(0xE206), 0) + markerFrame(0xE207),
         {markerLine(0xE207)}},
        {"a bad header", damaged(markerFrame(0xE202), 14), {"Msg Header check err: 0xf1 to 0xf0"}},
        {"a bad body", damaged(markerFrame(0xE202), 17), {"Msg Buffer check err: 0xe5 to 0xe4"}},
        {"a short body takes the next frame's first bytes",
         shortBody + markerFrame(0xE204) + markerFrame(0xE205),
         {"Msg Buffer check err: 0x1b4 to 0xe5", markerLine(0xE205)}},
        {"the largest frame, 4,096 bytes, is taken: dropped by the dispatch for its length (F0h)",
         frameBytes(DIAG_PANEL_MSG_TYPE_EVENT, markerBody(0xE001, 0xFF0), 0xFF0),
         {"Invalid input length: 0xf0"}},
    };
    for (const auto &r : rows) {
        EXPECT_EQ(feed(r.bytes), r.lines) << r.name;
    }
}

TEST_F(HostileFrames, MagicInsideBodiesIsReadOnlyWhereTheHuntReachesIt)
{
    // A frame inside the body of another: 268 bytes pass as an event (the low byte is 12).
    const Bytes inner = markerFrame(0xE101);
    Bytes body = markerBody(0xE100, 268 - inner.size()) + inner;
    const long live = test::quietAllocations();
    EXPECT_EQ(feed(frameBytes(DIAG_PANEL_MSG_TYPE_EVENT, body, 268)),
              std::vector<std::string>{markerLine(0xE100)})
        << "a good body is taken whole, the frame inside it is not read";

    // A bad header leaves its body to the hunt, which finds the frame inside.
    EXPECT_EQ(
        feed(frameBytes(DIAG_PANEL_MSG_TYPE_EVENT, body, 268, 0x1234)),
        (std::vector<std::string>{"Msg Header check err: 0x81 to 0x1234", markerLine(0xE101)}));

    // A bad body is read whole and dropped, the frame inside with it; a body ending in part of a
    // magic does not begin the next hunt.
    body = markerBody(0xE102, 256) + inner + Bytes{0x4D, 0x3C, 0x2B};
    EXPECT_EQ(
        feed(frameBytes(DIAG_PANEL_MSG_TYPE_EVENT, body, static_cast<u32>(body.size()), {}, 7)),
        (std::vector<std::string>{"Msg Buffer check err: 0x525 to 0x7"}));
    EXPECT_TRUE(test::liveSettleAt(live));
}

} // namespace
