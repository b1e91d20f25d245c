// SPDX-License-Identifier: Apache-2.0
// The intake pipe from outside: frames posted by the library's writer or written raw into the
// FIFO, read by the real intake thread. A frame's arrival is seen through the dispatch: a display
// event of an unknown type is refused with its number in the log, and changes nothing else.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <thread>
#include <unistd.h>

#include <boards/catalogue.hpp>

#include "host_support/frames.hpp"
#include "host_support/intake.hpp"
#include "tests/support/harness.hpp"

namespace {

// read() as the library sees it: scripted failures for the intake thread, the real call otherwise.
struct ReadScript {
    std::atomic<int> skip{0};     // reads of the intake thread to let through first
    std::atomic<int> failures{0}; // then this many failures
    std::atomic<int> error{EAGAIN};
    std::atomic<int> emptyAt{-1};     // the failure, counted down, that is a 0-byte read instead
    std::atomic<bool> waiting{false}; // the intake thread sits in an unscripted read
};
ReadScript g_readScript;
std::atomic<int> g_writeError{0}; // the next write() of a frame fails with it

bool inIntakeThread()
{
    char name[16] = {};
    pthread_getname_np(pthread_self(), name, sizeof name);
    return strncmp(name, "DIAG_PANEL_TRAN", 15) == 0;
}

} // namespace

extern "C" ssize_t read(int fd, void *buffer, size_t count)
{
    if (!inIntakeThread()) {
        return syscall(SYS_read, fd, buffer, count);
    }
    if (g_readScript.failures.load() > 0) {
        if (g_readScript.skip.load() > 0) {
            --g_readScript.skip;
        } else {
            if (--g_readScript.failures == g_readScript.emptyAt.load()) {
                return 0;
            }
            errno = g_readScript.error.load();
            return -1;
        }
        return syscall(SYS_read, fd, buffer, count);
    }
    g_readScript.waiting = true;
    const auto got = syscall(SYS_read, fd, buffer, count);
    g_readScript.waiting = false;
    return got;
}

extern "C" ssize_t write(int fd, const void *buffer, size_t count)
{
    if (const int error = g_writeError.exchange(0); error != 0) {
        errno = error;
        return -1;
    }
    return syscall(SYS_write, fd, buffer, count);
}

namespace {

using host::markerFrame;

// A joined thread may linger a moment in /proc (under qemu-user it does): wait for the count.
bool threadsSettleAt(int expected)
{
    for (int i = 0; i < 2000 && test::threadCount() != expected; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return test::threadCount() == expected;
}

class PipeTest : public testing::Test
{
  protected:
    void SetUp() override
    {
        HOST_Reset();
        HOST_LogEcho(0);
        ASSERT_EQ(DIAG_PANEL_TRANS_Init(0x5A), 0);
        writer_ = open(DIAG_PANEL_PIPE_PATH, O_WRONLY);
        ASSERT_GE(writer_, 0);
    }
    void TearDown() override
    {
        close(writer_);
        DIAG_PANEL_TRANS_Deinit();
    }

    // Bytes written straight into the FIFO, as a producer in another process would.
    void writeRaw(const std::vector<u8> &bytes) const
    {
        ASSERT_EQ(write(writer_, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
    }

    static bool arrives(u32 marker) { return test::waitForLine(0, host::markerLine(marker)); }

    // Whether the marker's line has been logged already (no waiting).
    static bool arrived(u32 marker)
    {
        return std::ranges::count(test::LogCursor(0).texts(), host::markerLine(marker)) > 0;
    }

    // The intake's own log lines (level, text) from a point on, markers left out.
    static std::vector<std::pair<u32, std::string>> intakeLines(const test::LogCursor &log)
    {
        std::vector<std::pair<u32, std::string>> out;
        for (const test::LogLine &line : log.lines()) {
            if (line.text.rfind("Unknown event type", 0) != 0) {
                out.emplace_back(line.level, line.text);
            }
        }
        return out;
    }

    int writer_ = -1;
};

// Every host program tells the intake's progress by the same markers: markerOf() names the marker
// of a marker's line, and no other line passes for one.
TEST(Markers, AMarkersLineNamesItAndNoOtherLineIsOne)
{
    const u32 marker = host::nextMarker();
    EXPECT_NE(host::nextMarker(), marker);
    EXPECT_EQ(host::markerOf(host::markerLine(marker)), marker);
    for (const char *other :
         {"Unknown event type: 0xd7a20001", "Unknown event type: 0xd7a1000",
          "Unknown event type: 0xd7a10001 ", "Unknown event type: 0xd7a1zz01",
          "Unknown event type: 0x21", "[DiagPanel_translate] Unknown event type: 0xd7a10001"}) {
        EXPECT_FALSE(host::markerOf(other)) << other;
    }
}

TEST_F(PipeTest, PostingFillsTheFrameAndRefusesBadArguments)
{
    u32 buffer[(16 + 12) / 4] = {};
    auto *frame = reinterpret_cast<DIAG_PANEL_PIPE_MSG_S *>(buffer);
    frame->ucMsgType = DIAG_PANEL_MSG_TYPE_EVENT;
    frame->aucRsvd[0] = 0x11;
    frame->ucSelLevel = 3;
    frame->uiLen = 12;
    const u32 marker = 0x2001;
    memcpy(frame->aucBuf, &marker, 4);
    ASSERT_EQ(DIAG_PANEL_TRANS_postMessage(frame), 0);
    EXPECT_EQ(frame->uiMagic, DIAG_PANEL_PIPE_MAGIC);
    EXPECT_EQ(frame->usBufChkSum, 0x01 + 0x20);
    EXPECT_EQ(frame->usHeadChkSum, 1 + 0x11 + 3 + 12 + 0x21);
    EXPECT_TRUE(test::drainIntake());
    EXPECT_TRUE(arrived(marker));

    const test::LogCursor log;
    g_writeError = EAGAIN;
    EXPECT_EQ(DIAG_PANEL_TRANS_postMessage(frame), -1);
    EXPECT_EQ(DIAG_PANEL_TRANS_postMessage(nullptr), -1);
    frame->ucMsgType = 2;
    EXPECT_EQ(DIAG_PANEL_TRANS_postMessage(frame), -1);
    frame->ucMsgType = 0;
    frame->uiLen = 0;
    EXPECT_EQ(DIAG_PANEL_TRANS_postMessage(frame), -1);
    DIAG_PANEL_TRANS_Deinit();
    frame->uiLen = 12;
    EXPECT_EQ(DIAG_PANEL_TRANS_postMessage(frame), -1);
    const std::vector<test::LogLine> expected = {
        {2, "DiagPanel_translate",
         "DiagPanel_Trans pipe post error: errno=0xb: Resource temporarily unavailable"},
        {2, "DiagPanel_translate", "NULL input param!"},
        {2, "DiagPanel_translate", "Invalid input param: len=0xc, msgType=0x2"},
        {2, "DiagPanel_translate", "Invalid input param: len=0, msgType=0"},
        {6, "DiagPanel_translate", "Succeed to unlink DIAG PANEL Pipe"},
        {2, "DiagPanel_translate", "Diagnostic Panel Trans module is not ready!"},
    };
    EXPECT_EQ(log.lines(), expected);
    struct stat status = {};
    EXPECT_NE(stat(DIAG_PANEL_PIPE_PATH, &status), 0) << "the pipe file is gone";
}

TEST_F(PipeTest, RetriesInterruptedReadsFiveTimes)
{
    struct Row {
        const char *name;
        int skip, failures, error;
        bool frameLost;
        std::vector<std::pair<u32, std::string>> lines;
        int emptyAt = -1;
    };
    const std::pair<u32, std::string> r5{7, "readQ failure retry count =5="},
        r4{7, "readQ failure retry count =4="}, r3{7, "readQ failure retry count =3="},
        r2{7, "readQ failure retry count =2="}, r1{7, "readQ failure retry count =1="};
    // The reader waits in its first magic read; three more magic reads, then the header read.
    // clang-format off
    const Row rows[] = {
        {"four failures, then the header", 3, 4, EAGAIN, false, {r5, r4, r3, r2}},
        {"five failures lose the header", 3, 5, EAGAIN, true,
         {r5, r4, r3, r2, r1, {2, "Uncorrect receive length of header: 0xffffffff"}}},
        {"interrupted body reads", 4, 5, EINTR, true,
         {r5, r4, r3, r2, r1, {2, "Uncorrect receive length of buffer: 0xffffffff to 0xc"}}},
        {"a 0-byte read restores the allowance", 3, 9, EAGAIN, false,
         {r5, r4, r3, r2, r5, r4, r3, r2}, 4},
        // The matched "M" survives the failed hunt: the frame still arrives.
        {"other errors fail at once in the hunt", 0, 1, EIO, false,
         {{7, "Err other than EINT EAGAIN"},
          {2, "Uncorrect  length while receiving magic: 0xffffffff"},
          {2, "Failed to find nessage magic Number!"}}},
    };
    // clang-format on
    u32 marker = 0x6000;
    for (const Row &r : rows) {
        SCOPED_TRACE(r.name);
        ASSERT_TRUE(test::drainIntake());
        while (!g_readScript.waiting.load()) { // the reader waits for the first byte of a frame
            std::this_thread::yield();
        }
        const test::LogCursor log;
        g_readScript.skip = r.skip;
        g_readScript.emptyAt = r.emptyAt;
        g_readScript.error = r.error;
        g_readScript.failures = r.failures;
        const u32 scripted = ++marker;
        writeRaw(markerFrame(scripted));
        writeRaw(markerFrame(++marker));
        ASSERT_TRUE(arrives(marker));
        EXPECT_EQ(arrived(scripted), !r.frameLost);
        EXPECT_EQ(intakeLines(log), r.lines);
        EXPECT_EQ(g_readScript.failures.load(), 0);
    }
}

TEST_F(PipeTest, FileLockFailuresAreLoggedAndTheFrameStillGoes)
{
    HOST_FileLockFail(1, 1);
    const test::LogCursor log;
    ASSERT_EQ(test::postEvent(0x7001), 0);
    ASSERT_TRUE(arrives(0x7001));
    EXPECT_EQ(intakeLines(log), (std::vector<std::pair<u32, std::string>>{
                                    {4, "Error locking Queue"}, {4, "Error unlocking Queue"}}));
}

TEST_F(PipeTest, TearDownWakesTheBlockedReaderAndStartsAgainCleanly)
{
    close(writer_);
    writer_ = -1;
    const int threads = test::threadCount();
    const int files = test::openFileCount();
    // make stress asks for 1000 rounds.
    const char *env = getenv("DIAGPANEL_DEINIT_ROUNDS");
    const u32 rounds = env != nullptr ? static_cast<u32>(strtoul(env, nullptr, 10)) : 200;
    for (u32 round = 0; round < rounds; ++round) {
        while (!g_readScript.waiting.load()) { // the reader is blocked in read()
            std::this_thread::yield();
        }
        DIAG_PANEL_TRANS_Deinit(); // a tear-down that hangs is the test's time-out
        ASSERT_TRUE(threadsSettleAt(threads - 1)) << "round " << round;
        ASSERT_EQ(DIAG_PANEL_TRANS_Init(0x5A), 0);
        ASSERT_EQ(test::postEvent(0x8000 + round), 0);
        ASSERT_TRUE(test::drainIntake());
        ASSERT_TRUE(arrives(0x8000 + round));
    }
    EXPECT_TRUE(threadsSettleAt(threads));
    EXPECT_EQ(test::openFileCount(), files);
    writer_ = open(DIAG_PANEL_PIPE_PATH, O_WRONLY);
}

// Start-up refuses an unsupported board without making a pipe, and replaces a file left behind
// (by a crash; a plain file stands in for it here).
TEST_F(PipeTest, StartUpRefusesUnsupportedBoardsAndReplacesAPipeLeftBehind)
{
    close(writer_);
    writer_ = -1;
    DIAG_PANEL_TRANS_Deinit();
    HOST_SetBoardId(diag::board::kUnknown);
    const test::LogCursor log;
    EXPECT_EQ(DIAG_PANEL_TRANS_Init(0x5A), -1);
    EXPECT_EQ(log.texts(),
              (std::vector<std::string>{"Unsupport Id -1", "Init DiagPanel Failed !!!"}));
    struct stat status = {};
    EXPECT_NE(stat(DIAG_PANEL_PIPE_PATH, &status), 0) << "no pipe was made";
    EXPECT_EQ(test::postEvent(0x9001), -1);

    HOST_SetBoardId(diag::board::k01030103);
    const int stale = open(DIAG_PANEL_PIPE_PATH, O_CREAT | O_WRONLY, 0600);
    ASSERT_GE(stale, 0);
    close(stale);
    ASSERT_EQ(DIAG_PANEL_TRANS_Init(0x5A), 0);
    ASSERT_EQ(stat(DIAG_PANEL_PIPE_PATH, &status), 0);
    EXPECT_TRUE(S_ISFIFO(status.st_mode));
    writer_ = open(DIAG_PANEL_PIPE_PATH, O_WRONLY);
    ASSERT_EQ(test::postEvent(0x9002), 0);
    EXPECT_TRUE(arrives(0x9002));

    // With standard input closed the pipe opens as descriptor 0, which posting takes for invalid.
    DIAG_PANEL_TRANS_Deinit();
    const int savedStdin = dup(STDIN_FILENO);
    close(STDIN_FILENO);
    ASSERT_EQ(DIAG_PANEL_TRANS_Init(0x5A), 0);
    const test::LogCursor refused;
    EXPECT_EQ(test::postEvent(0x9003), -1);
    EXPECT_EQ(refused.texts(),
              std::vector<std::string>{"Diagnostic Panel Trans handle is invalid: 0"});
    DIAG_PANEL_TRANS_Deinit();
    dup2(savedStdin, STDIN_FILENO);
    close(savedStdin);
    ASSERT_EQ(DIAG_PANEL_TRANS_Init(0x5A), 0);
}

} // namespace
