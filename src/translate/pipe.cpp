// SPDX-License-Identifier: Apache-2.0
// The intake pipe: producers post framed messages into a named pipe; one intake thread finds each
// frame by its magic, checks its header and body and hands it to the dispatch.
#include <diagpanel/translate.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <pthread.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "common/export.hpp"
#include "common/scoped_lock.hpp"
#include "translate/boards.hpp"
#include "translate/intake.hpp"
#include "translate/translator.hpp"

using namespace diag;

namespace {

constexpr size_t kHeaderLen = sizeof(DIAG_PANEL_PIPE_MSG_S);
constexpr size_t kCheckedHeaderOffset = 4; // the header checksum covers bytes 4..13
constexpr u32 kCheckedHeaderLen = 10;
constexpr u8 kMagicLen = 4;
constexpr u8 kMagicFirstByte = DIAG_PANEL_PIPE_MAGIC & 0xFFu;
constexpr int kReadRetries = 5;
constexpr u32 kReadFailed = 0xFFFFFFFFu;
// The largest frame the reader takes: one that a writer can put into the pipe in one piece.
// Larger lengths, and those that would wrap the allocation, are dropped unallocated.
constexpr u32 kMaxFrameLen = PIPE_BUF;
constexpr mode_t kPipeMode = 0777;

// One instance per process. The flags and the descriptor are read by other threads without a
// lock, so they are accessed atomically.
struct Intake {
    u8 ucReady;      // postMessage accepts messages
    u8 ucRunning;    // the intake thread keeps reading
    u8 ucThreadLive; // a thread was started and not yet joined
    pthread_t thread;
    int fd; // the pipe, opened read-write; 0 or below: none
    u32 uiHalHandle;
    u8 ucMagicState; // magic bytes matched in a row; survives from one frame hunt to the next
};
Intake g_intake{};

// Serialises writers in this process. Statically initialised and never destroyed: a writer may
// still wait on it while the intake is torn down.
pthread_mutex_t g_queueMutex = PTHREAD_MUTEX_INITIALIZER;

template <typename T> T load(const T &field)
{
    return __atomic_load_n(&field, __ATOMIC_ACQUIRE);
}
template <typename T> void store(T &field, T value)
{
    __atomic_store_n(&field, value, __ATOMIC_RELEASE);
}

// strerror() may share its buffer between threads; writers post from any thread.
const char *errorText(int error, char (&buffer)[64])
{
    return strerror_r(error, buffer, sizeof buffer);
}

// Whether a frame of this body length exceeds what a size_t can count: only on a 32-bit target.
constexpr bool frameSizeWraps(u32 bodyLen)
{
    if constexpr (sizeof(size_t) > sizeof(u32)) {
        return false;
    } else {
        return bodyLen > SIZE_MAX - kHeaderLen;
    }
}

bool running()
{
    return load(g_intake.ucRunning) != 0;
}

u16 low16(u32 sum)
{
    return static_cast<u16>(sum & 0xFFFFu);
}

enum class ReadResult : u8 { kDone, kFailed, kStopped };

// Reads exactly `length` bytes. EINTR and EAGAIN are retried while the allowance lasts; any
// successful read restores it. Stops early when the intake is being torn down.
// Inlined: six calls a frame, four of them for one byte of the magic.
__attribute__((always_inline)) inline ReadResult readExact(int fd, u8 *buffer, u32 length)
{
    int allowance = kReadRetries;
    u32 received = 0;
    while (received < length) {
        const ssize_t got = read(fd, buffer + received, length - received);
        if (!running()) {
            return ReadResult::kStopped;
        }
        if (got >= 0) {
            allowance = kReadRetries;
            received += static_cast<u32>(got);
            continue;
        }
        if (errno != EINTR && errno != EAGAIN) {
            DIAG_LOG(kLogDebug, "Err other than EINT EAGAIN"); // verbatim, see common/log.hpp
            return ReadResult::kFailed;
        }
        DIAG_LOG(kLogDebug, "readQ failure retry count =%d=", allowance);
        if (--allowance == 0) {
            return ReadResult::kFailed;
        }
    }
    return ReadResult::kDone;
}

// Reads byte by byte until the four magic bytes have come in a row. A partly matched magic
// carries over to the next hunt.
ReadResult huntMagic(int fd)
{
    u8 &state = g_intake.ucMagicState;
    while (state < kMagicLen) {
        u8 byte = 0;
        const ReadResult result = readExact(fd, &byte, 1);
        if (result != ReadResult::kDone) {
            return result;
        }
        const auto expected = static_cast<u8>(DIAG_PANEL_PIPE_MAGIC >> (8 * state));
        if (byte == expected) {
            ++state;
        } else {
            state = byte == kMagicFirstByte ? 1 : 0; // a stray "M" may begin the next magic
        }
    }
    state = 0;
    return ReadResult::kDone;
}

// The steps of one pass return false where the pass ends: on a failure, which they log, or when
// the intake is being torn down.

// Finds the magic that begins a frame.
bool findMagic(int fd)
{
    switch (huntMagic(fd)) {
    case ReadResult::kStopped:
        return false;
    case ReadResult::kFailed:
        // These texts, misspellings included, are matched verbatim: see common/log.hpp.
        DIAG_LOG(kLogError, "Uncorrect  length while receiving magic: %#x", kReadFailed);
        DIAG_LOG(kLogError, "Failed to find nessage magic Number!");
        return false;
    case ReadResult::kDone:
        break;
    }
    return true;
}

// Reads the header behind the magic into `header` and checks its checksum.
bool readHeader(int fd, DIAG_PANEL_PIPE_MSG_S &header)
{
    header.uiMagic = DIAG_PANEL_PIPE_MAGIC;
    auto *headerBytes = reinterpret_cast<u8 *>(&header);
    switch (readExact(fd, headerBytes + kMagicLen, kHeaderLen - kMagicLen)) {
    case ReadResult::kStopped:
        return false;
    case ReadResult::kFailed:
        DIAG_LOG(kLogError, "Uncorrect receive length of header: %#x", kReadFailed); // verbatim
        return false;
    case ReadResult::kDone:
        break;
    }
    const u16 headSum =
        low16(DIAG_PANEL_TRANS_checkSum(headerBytes + kCheckedHeaderOffset, kCheckedHeaderLen));
    if (headSum != header.usHeadChkSum) {
        DIAG_LOG(kLogError, "Msg Header check err: %#x to %#x", headSum, header.usHeadChkSum);
        return false;
    }
    return true;
}

// The frame the header announces, with the header copied in and the body cleared; nullptr when
// the body is too large or the allocation fails.
DIAG_PANEL_PIPE_MSG_S *allocateFrame(const DIAG_PANEL_PIPE_MSG_S &header)
{
    const u32 bodyLen = header.uiLen;
    const u32 frameLen = static_cast<u32>(kHeaderLen) + bodyLen;
    // Not calloc: glibc's calloc passes by its per-thread cache, so every frame would take the
    // allocator's slow path. The frame starts zeroed all the same: header copied, body cleared
    // (a memset of the whole block right after malloc is turned back into calloc by the compiler).
    auto *frame = bodyLen <= kMaxFrameLen - kHeaderLen
                      ? static_cast<DIAG_PANEL_PIPE_MSG_S *>(malloc(frameLen))
                      : nullptr;
    if (frame == nullptr) {
        DIAG_LOG(kLogError, "Failed to malloc memory: len=%#x", frameLen);
        return nullptr;
    }
    memcpy(frame, &header, kHeaderLen);
    memset(frame->aucBuf, 0, bodyLen);
    return frame;
}

// Reads the body into the frame and checks its checksum.
bool readBody(int fd, DIAG_PANEL_PIPE_MSG_S &frame)
{
    const u32 bodyLen = frame.uiLen;
    switch (readExact(fd, frame.aucBuf, bodyLen)) {
    case ReadResult::kStopped:
        return false;
    case ReadResult::kFailed: // the text stays verbatim, as in findMagic
        DIAG_LOG(kLogError, "Uncorrect receive length of buffer: %#x to %#x", kReadFailed, bodyLen);
        return false;
    case ReadResult::kDone:
        break;
    }
    const u16 bodySum = low16(DIAG_PANEL_TRANS_checkSum(frame.aucBuf, bodyLen));
    if (bodySum != frame.usBufChkSum) {
        DIAG_LOG(kLogError, "Msg Buffer check err: %#x to %#x", bodySum, frame.usBufChkSum);
        return false;
    }
    return true;
}

// One pass: magic, header, body, then the frame goes to the dispatch, which frees it. A pass that
// fails drops what it read; the next one hunts for the magic in whatever follows.
void readFrame(int fd)
{
    DIAG_PANEL_PIPE_MSG_S header{};
    if (!findMagic(fd) || !readHeader(fd, header)) {
        return;
    }
    DIAG_PANEL_PIPE_MSG_S *frame = allocateFrame(header);
    if (frame == nullptr) {
        return;
    }
    if (!readBody(fd, *frame)) {
        free(frame);
        return;
    }
    DIAG_PANEL_TRANS_dispatchFrame(frame);
}

void *DIAG_PANEL_TRANS_run(void *)
{
    prctl(PR_SET_NAME, "DIAG_PANEL_TRANS_run");
    // Not detached: the tear-down joins the thread, so that none outlives the pipe it reads.
    const int fd = load(g_intake.fd);
    while (running()) {
        readFrame(fd);
    }
    return nullptr;
}

void removePipeFile()
{
    struct stat status = {};
    if (stat(DIAG_PANEL_PIPE_PATH, &status) != 0) {
        return;
    }
    if (unlink(DIAG_PANEL_PIPE_PATH) != 0) {
        DIAG_LOG(kLogError, "Failed to unlink DIAG PANEL Pipe");
    } else {
        DIAG_LOG(kLogInfo, "Succeed to unlink DIAG PANEL Pipe");
    }
}

// A writer that got past the ready check before the tear-down may be blocked in write() on a full
// pipe, holding the queue mutex, with no reader left to make room: empty the pipe until no writer
// holds the mutex. What is discarded was posted to an intake being torn down.
void releaseBlockedWriter(int fd)
{
    int rc = 0;
    while ((rc = pthread_mutex_trylock(&g_queueMutex)) == EBUSY) {
        u8 discard[PIPE_BUF];
        while (read(fd, discard, sizeof discard) > 0) {
        }
        sched_yield();
    }
    if (rc == 0) {
        pthread_mutex_unlock(&g_queueMutex);
    }
}

int failStartUp(bool pipeFailed)
{
    if (pipeFailed) {
        DIAG_LOG(kLogError, "Failed to init DIAG PANEL TRANS pipe.");
    }
    DIAG_PANEL_TRANS_Deinit();
    return -1;
}

} // namespace

u32 DIAG_PANEL_TRANS_checkSum(const void *pData, u32 uiLen)
{
    if (pData == nullptr) {
        return 0;
    }
    const auto *byte = static_cast<const u8 *>(pData);
    u32 sum = 0;
    // Four bytes a turn: a frame is summed twice on each side, and a byte a turn spends more on
    // the loop than on the sum.
    for (u32 words = uiLen / 4; words > 0; --words, byte += 4) {
        sum += u32{byte[0]} + byte[1] + byte[2] + byte[3];
    }
    for (u32 rest = uiLen % 4; rest > 0; --rest, ++byte) {
        sum += *byte;
    }
    return sum;
}

u32 diag::intakeHalHandle()
{
    return g_intake.uiHalHandle;
}

DIAG_PANEL_API int DIAG_PANEL_TRANS_Init(u32 uiHalHandle)
{
    if (load(g_intake.ucThreadLive) != 0) {
        DIAG_PANEL_TRANS_Deinit(); // one intake thread per pipe: a running one is stopped first
    }
    store(g_intake.ucRunning, u8{1});
    g_intake.uiHalHandle = uiHalHandle;
    if (!selectRunningBoard()) {
        return -1; // nothing else was set up
    }

    struct stat status = {};
    if (stat(DIAG_PANEL_PIPE_PATH, &status) == 0 && unlink(DIAG_PANEL_PIPE_PATH) != 0) {
        DIAG_LOG(kLogError, "Failed to unlink DIAG PANEL Pipe");
        return failStartUp(true);
    }
    if (mkfifo(DIAG_PANEL_PIPE_PATH, kPipeMode) != 0) {
        const int error = errno;
        char text[64];
        DIAG_LOG(kLogError, "Error creating named pipe %s: errno=%#x, %s\n", DIAG_PANEL_PIPE_PATH,
                 error, errorText(error, text));
        return failStartUp(true);
    }
    const int fd = open(DIAG_PANEL_PIPE_PATH, O_RDWR | O_CLOEXEC);
    store(g_intake.fd, fd);
    if (fd < 0) {
        DIAG_LOG(kLogError, "Failed to open named pipe: %s", DIAG_PANEL_PIPE_PATH);
        return failStartUp(true);
    }
    if (pthread_create(&g_intake.thread, nullptr, DIAG_PANEL_TRANS_run, nullptr) != 0) {
        DIAG_LOG(kLogError, "Failed to create DIAG PANEL Trans Task thread!");
        return failStartUp(false);
    }
    store(g_intake.ucThreadLive, u8{1});
    store(g_intake.ucReady, u8{1});
    return 0;
}

DIAG_PANEL_API void DIAG_PANEL_TRANS_Deinit(void)
{
    store(g_intake.ucReady, u8{0});
    store(g_intake.ucRunning, u8{0});
    const int fd = load(g_intake.fd);
    if (fd > 0) {
        // From here on nobody waits on the pipe: no reader may be left to make room in it.
        (void)fcntl(fd, F_SETFL, fcntl(fd, F_GETFL) | O_NONBLOCK);
    }
    if (load(g_intake.ucThreadLive) != 0 && !pthread_equal(g_intake.thread, pthread_self())) {
        // A reader blocked in read() wakes on this byte and sees that it must stop; a busy one
        // sees it at the start of its next pass. Then no thread reads the descriptor any more.
        // A full pipe refuses the byte, but then the reader is not blocked.
        const u8 wake = 0;
        (void)!write(fd, &wake, sizeof wake);
        pthread_join(g_intake.thread, nullptr);
        store(g_intake.ucThreadLive, u8{0});
    }
    if (fd > 0) {
        releaseBlockedWriter(fd);
    }
    {
        DIAG_SCOPED_LOCK(g_queueMutex); // writers that got past the ready check finish first
        store(g_intake.fd, 0);
    }
    if (fd > 0) {
        close(fd);
    }
    removePipeFile();
    g_intake.thread = pthread_t{};
    g_intake.uiHalHandle = 0;
}

DIAG_PANEL_API int DIAG_PANEL_TRANS_postMessage(DIAG_PANEL_PIPE_MSG_S *pstMsg)
{
    if (pstMsg == nullptr) {
        DIAG_LOG(kLogError, "NULL input param!");
        return -1;
    }
    const u32 bodyLen = pstMsg->uiLen;
    // A length whose frame size wraps cannot describe a real buffer.
    if (bodyLen == 0 || pstMsg->ucMsgType > DIAG_PANEL_MSG_TYPE_EVENT || frameSizeWraps(bodyLen)) {
        DIAG_LOG(kLogError, "Invalid input param: len=%#x, msgType=%#x", bodyLen,
                 pstMsg->ucMsgType);
        return -1;
    }
    if (load(g_intake.ucReady) != 1) {
        DIAG_LOG(kLogError, "Diagnostic Panel Trans module is not ready!");
        return -1;
    }
    if (load(g_intake.fd) <= 0) {
        DIAG_LOG(kLogError, "Diagnostic Panel Trans handle is invalid: %#x", load(g_intake.fd));
        return -1;
    }

    pstMsg->uiMagic = DIAG_PANEL_PIPE_MAGIC;
    pstMsg->usBufChkSum = low16(DIAG_PANEL_TRANS_checkSum(pstMsg->aucBuf, bodyLen));
    const auto *frame = reinterpret_cast<const u8 *>(pstMsg);
    pstMsg->usHeadChkSum =
        low16(DIAG_PANEL_TRANS_checkSum(frame + kCheckedHeaderOffset, kCheckedHeaderLen));

    const size_t frameLen = kHeaderLen + bodyLen;
    ssize_t written = -1;
    int error = EBADF;
    {
        DIAG_SCOPED_LOCK(g_queueMutex);
        const int fd = load(g_intake.fd); // the pipe may have been torn down meanwhile
        if (fd > 0) {
            if (file_lock_write(fd) == -1) {
                DIAG_LOG(kLogWarning, "Error locking Queue\n");
            }
            written = write(fd, frame, frameLen);
            error = errno;
            if (file_unlock(fd) == -1) {
                DIAG_LOG(kLogWarning, "Error unlocking Queue\n");
            }
        }
    }
    if (written < 0 || static_cast<size_t>(written) != frameLen) {
        char text[64];
        DIAG_LOG(kLogError, "DiagPanel_Trans pipe post error: errno=%#x: %s\n", error,
                 errorText(error, text));
        return -1;
    }
    return 0;
}
