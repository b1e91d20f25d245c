// SPDX-License-Identifier: Apache-2.0
// A storm: producers post SEL records of every family and display events as fast as they can,
// while the display thread steps and another thread empties buckets and prints the table.
//
// Every frame carries its producer and sequence number in bytes the library does not read (the
// SEL record's timestamp, the event's reserved bytes), and is counted where the reader hands it to
// the dispatch: each must arrive once, in its producer's order. Every message that reaches the
// fault table and every display event is counted too, against what the posted records make.
//
// DIAGPANEL_STORM_FRAMES sets the frames per producer (make stress runs 100,000).
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <future>
#include <random>
#include <thread>
#include <unistd.h>
#include <vector>

#include <host_platform/virtual_clock.hpp>
#include "host_support/table.hpp"
#include <platform/platform.h>
#include "tests/hardening/families.hpp"
#include "tests/support/harness.hpp"

// The hand-overs, wrapped at link time (hardening.cmake).
extern "C" {
void __real_DIAG_PANEL_TRANS_dispatchFrame(DIAG_PANEL_PIPE_MSG_S *frame);
void __wrap_DIAG_PANEL_TRANS_dispatchFrame(DIAG_PANEL_PIPE_MSG_S *frame);
int __real_DIAG_PANEL_ProcessNewMsg(DIAG_PANEL_MSG_S *msg);
int __wrap_DIAG_PANEL_ProcessNewMsg(DIAG_PANEL_MSG_S *msg);
int __real_DIAG_PANEL_EventRecv(DIAG_PANEL_DISP_EVENT_S *event);
int __wrap_DIAG_PANEL_EventRecv(DIAG_PANEL_DISP_EVENT_S *event);
}

namespace {

using u64 = std::uint64_t;

constexpr u32 kProducers = 4;
constexpr u8 kTag = 0xA0; // high nibble of a frame's tag byte; the low nibble is its producer

// Where a frame's tag and its 24-bit sequence number sit: bytes the library never reads.
constexpr size_t kSelSeq = 3;   // SEL timestamp bytes 3..5, tag in byte 6
constexpr size_t kEventSeq = 5; // event reserved bytes 5..7, tag in byte 8

struct Tally {
    std::atomic<u64> messages; // handed to the fault table
    std::atomic<u64> events;   // handed to the display
    std::atomic<u64> frames;   // storm frames handed to the dispatch
    std::atomic<u64> misordered;
    // Per producer: arrivals of each sequence number, and the last one seen.
    std::vector<std::atomic<u8>> seen[kProducers + 1];
    std::atomic<long> last[kProducers + 1];
};
Tally g_tally;

void resetTally(u32 framesPerProducer)
{
    g_tally.messages = g_tally.events = g_tally.frames = g_tally.misordered = 0;
    for (u32 p = 0; p <= kProducers; ++p) {
        g_tally.seen[p] = std::vector<std::atomic<u8>>(framesPerProducer);
        g_tally.last[p] = -1;
    }
}

} // namespace

extern "C" void __wrap_DIAG_PANEL_TRANS_dispatchFrame(DIAG_PANEL_PIPE_MSG_S *frame)
{
    const bool sel = frame->ucMsgType == DIAG_PANEL_MSG_TYPE_SEL;
    const u8 *seq = frame->aucBuf + (sel ? kSelSeq : kEventSeq);
    const u8 tag = seq[3];
    if ((tag & 0xF0) == kTag && (tag & 0x0F) <= kProducers) {
        const u32 p = tag & 0x0Fu;
        const long n = seq[0] | seq[1] << 8 | seq[2] << 16;
        ++g_tally.frames;
        if (static_cast<size_t>(n) < g_tally.seen[p].size()) {
            ++g_tally.seen[p][static_cast<size_t>(n)];
        }
        if (g_tally.last[p].exchange(n) >= n) {
            ++g_tally.misordered;
        }
    }
    __real_DIAG_PANEL_TRANS_dispatchFrame(frame);
}

extern "C" int __wrap_DIAG_PANEL_ProcessNewMsg(DIAG_PANEL_MSG_S *msg)
{
    ++g_tally.messages;
    return __real_DIAG_PANEL_ProcessNewMsg(msg);
}

extern "C" int __wrap_DIAG_PANEL_EventRecv(DIAG_PANEL_DISP_EVENT_S *event)
{
    ++g_tally.events;
    return __real_DIAG_PANEL_EventRecv(event);
}

namespace {

// One kind of frame the producers post: a SEL record with its severity, or a display event; the
// producer's tag and sequence number go where the library does not read.
struct Kind {
    u8 msgType;
    std::vector<u8> body;
    u8 severity;
    u8 messages; // what a frame of it hands to the fault table
    size_t seqAt;
};

// A record of every family (both directions for some) and every display event.
std::vector<Kind> kinds()
{
    std::vector<Kind> all;
    for (const test::FamilyRecord &f : test::familyRecords()) {
        all.push_back({DIAG_PANEL_MSG_TYPE_SEL,
                       {f.record.begin(), f.record.end()},
                       f.severity,
                       f.messages,
                       kSelSeq});
    }
    for (const u32 type : {DIAG_PANEL_EVENT_POST_START, DIAG_PANEL_EVENT_POST_PROGRESS,
                           DIAG_PANEL_EVENT_POST_END, DIAG_PANEL_EVENT_POST_STOP}) {
        std::vector<u8> body{static_cast<u8>(type), 0, 0, 0, 45};
        body.resize(DIAG_PANEL_EVENT_LEN);
        all.push_back({DIAG_PANEL_MSG_TYPE_EVENT, body, 0, 0, kEventSeq});
    }
    return all;
}

int post(const Kind &kind, u32 producer, u32 seq)
{
    std::vector<u8> body = kind.body;
    body[kind.seqAt] = static_cast<u8>(seq);
    body[kind.seqAt + 1] = static_cast<u8>(seq >> 8);
    body[kind.seqAt + 2] = static_cast<u8>(seq >> 16);
    body[kind.seqAt + 3] = static_cast<u8>(kTag | producer);
    return test::postFrame(kind.msgType, body, kind.severity);
}

// The kind of producer p's frame n: every kind, mixed differently per producer.
size_t kindOf(u32 p, u32 n, size_t kindCount)
{
    return (n * 7 + p * 5 + n / kindCount) % kindCount;
}

class StormTest : public testing::Test
{
  protected:
    static void SetUpTestSuite() { test::startWithFamilies(); }
};

TEST_F(StormTest, EveryFrameOfEveryProducerArrivesOnceAndIsCounted)
{
    const std::vector<Kind> all = kinds();
    const char *env = getenv("DIAGPANEL_STORM_FRAMES");
    const u32 frames = env != nullptr ? static_cast<u32>(strtoul(env, nullptr, 10)) : 2500;
    resetTally(frames);
    std::atomic<bool> producing{true};
    std::atomic<u64> refused{0};
    fflush(stdout);
    const int savedStdout = dup(STDOUT_FILENO); // the table prints go nowhere meanwhile
    const int devNull = open("/dev/null", O_WRONLY);
    dup2(devNull, STDOUT_FILENO);

    // The display thread steps in virtual time as fast as it can.
    std::thread display([&] {
        while (producing) {
            if (vclock::step(std::chrono::seconds(30)) == 0) {
                ADD_FAILURE() << "the display thread stopped stepping";
                return;
            }
        }
    });
    // Another thread changes the table and the display behind the intake's and the display's
    // backs: it empties buckets, makes new tables, merges and clears entries of its own, prints
    // the table, queues POST errors and switches the diagnostic mode on and off.
    std::thread emptier([&] {
        std::mt19937 rng(7);
        for (u32 round = 0; producing; ++round) {
            const auto type = static_cast<u16>(rng() % DIAG_PANEL_FAULT_TYPE_NUM);
            DIAG_PANEL_MSG_S msg = test::message(type, static_cast<u8>(rng() % 6),
                                                 host::levelInfo(type, static_cast<u8>(rng() % 4)),
                                                 1u << (rng() % 3), static_cast<u8>(rng() % 4));
            (void)(host::levelOf(msg) == 0 ? DIAG_PANEL_DelMsgToHash(&msg)
                                           : DIAG_PANEL_AddMsgToHash(&msg));
            if (round % 16 == 15) {
                DIAG_PANEL_LockFreeAllHashList();
            } else if (round % 16 == 7) {
                DIAG_PANEL_LockFreeHashTable();
                (void)DIAG_PANEL_InitHashTable();
            } else if (round % 16 == 3) {
                (void)DIAG_PANEL_DISP_trigPostErrState(1, static_cast<u8>(rng()));
                __atomic_store_n(&g_diag_mode_flag, rng() % 4 == 0 ? 1u : 0u, __ATOMIC_RELAXED);
            } else {
                DIAG_PANEL_LockFreeHashList(round % DIAG_PANEL_FAULT_TYPE_NUM);
            }
            if (round % 4 == 0) {
                DIAG_PANEL_PrintMsgInHash();
            }
            std::this_thread::yield();
        }
        __atomic_store_n(&g_diag_mode_flag, 0u, __ATOMIC_RELAXED);
    });
    std::vector<std::thread> producers;
    for (u32 p = 1; p <= kProducers; ++p) {
        producers.emplace_back([&, p] {
            for (u32 n = 0; n < frames; ++n) {
                if (post(all[kindOf(p, n, all.size())], p, n) != 0) {
                    ++refused;
                }
            }
        });
    }
    for (std::thread &t : producers) {
        t.join();
    }
    ASSERT_TRUE(test::drainIntake());
    producing = false;
    emptier.join();
    display.join();
    fflush(stdout);
    dup2(savedStdout, STDOUT_FILENO);
    close(savedStdout);
    close(devNull);

    EXPECT_EQ(refused.load(), 0u);
    EXPECT_EQ(g_tally.frames.load(), u64{kProducers} * frames);
    EXPECT_EQ(g_tally.misordered.load(), 0u);
    // Each frame once; what reached the table and the display is what the posted frames make.
    u64 lost = 0, doubled = 0, messages = 0, events = 0;
    for (u32 p = 1; p <= kProducers; ++p) {
        for (u32 n = 0; n < frames; ++n) {
            const u8 count = g_tally.seen[p][n];
            lost += count == 0;
            doubled += count > 1;
            const Kind &kind = all[kindOf(p, n, all.size())];
            messages += kind.messages;
            events += kind.msgType == DIAG_PANEL_MSG_TYPE_EVENT ? 1 : 0;
        }
    }
    EXPECT_EQ(lost, 0u);
    EXPECT_EQ(doubled, 0u);
    EXPECT_EQ(g_tally.messages.load(), messages);
    EXPECT_EQ(g_tally.events.load(), events);
    for (u32 i = 0; i < HOST_PanelCount(); ++i) {
        const u32 typeBits = HOST_PanelCode(i) & 0x3FFFC000u;
        ASSERT_TRUE(typeBits != 0 && (typeBits & (typeBits - 1)) == 0 && typeBits < 1u << 26)
            << std::hex << HOST_PanelCode(i) << ": every code carries one valid fault type";
    }
}

// Restarting the intake (its start-up tears a running one down first) while producers keep the
// pipe full: no restart may hang on a writer blocked in write(), and none may lose the intake.
TEST_F(StormTest, RestartsUnderAFullPipeReturnPromptly)
{
    const std::vector<Kind> all = kinds();
    constexpr u32 kRestarts = 50;
    resetTally(1);
    std::atomic<bool> producing{true};
    std::atomic<u64> accepted{0};
    std::vector<std::thread> producers;
    for (u32 p = 1; p <= kProducers; ++p) {
        producers.emplace_back([&, p] {
            for (u32 n = 0; producing; ++n) {
                accepted += post(all[kindOf(p, n, all.size())], p, 0) == 0;
            }
        });
    }
    for (u32 round = 0; round < kRestarts; ++round) {
        while (accepted.load() < u64{round + 1} * 200) {
            std::this_thread::yield(); // the pipe fills behind the reader
        }
        auto restart = std::async(std::launch::async, [] { return DIAG_PANEL_TRANS_Init(0x5A); });
        if (restart.wait_for(std::chrono::seconds(10)) != std::future_status::ready) {
            fprintf(stderr, "restart %u hangs with writers blocked on the pipe\n", round);
            std::_Exit(1); // the hung thread cannot be joined
        }
        ASSERT_EQ(restart.get(), 0) << "round " << round;
    }
    producing = false;
    for (std::thread &t : producers) {
        t.join();
    }
    ASSERT_TRUE(test::drainIntake());
}

} // namespace
