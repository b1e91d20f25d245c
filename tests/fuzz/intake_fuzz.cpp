// SPDX-License-Identifier: Apache-2.0
// The intake from its pipe on: the input's first byte picks the board, the rest is the byte stream
// in the pipe. It goes through the real reader (magic hunt, header and body checks), the dispatch,
// every translator, the fault table and the display events.
//
// Threads would make the runs non-deterministic, so the reader runs on the fuzzing thread: the
// intake's start-up is real (board selection, FIFO, descriptor) but the thread it creates is not
// started; its entry is called here instead, and read() on the pipe serves the input from memory.
// At the end of the input the reader is stopped through the real tear-down, called from inside its
// read(), and the next input starts the intake again. One byte that matches no magic byte goes
// first, so that no partly matched magic carries over from the input before.
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <pthread.h>
#include <sys/types.h>

#include <diagpanel/diagpanel.h>

#include <host_platform/diagpanel_host.h>
#include "tests/fuzz/fuzz_support.hpp"

extern "C" {
ssize_t __real_read(int fd, void *buffer, size_t count);
ssize_t __wrap_read(int fd, void *buffer, size_t count);
int __real_pthread_create(pthread_t *thread, const pthread_attr_t *attr, void *(*start)(void *),
                          void *arg);
int __wrap_pthread_create(pthread_t *thread, const pthread_attr_t *attr, void *(*start)(void *),
                          void *arg);
}

namespace {

struct Feed {
    bool capturing = false;            // the intake is starting: keep its thread's entry
    void *(*reader)(void *) = nullptr; // the intake thread's entry
    bool serving = false;              // read() serves the input
    bool resetSent = false;
    const u8 *data = nullptr;
    size_t size = 0;
    size_t at = 0;
};
Feed g_feed;

} // namespace

extern "C" int __wrap_pthread_create(pthread_t *thread, const pthread_attr_t *attr,
                                     void *(*start)(void *), void *arg)
{
    if (!g_feed.capturing) {
        return __real_pthread_create(thread, attr, start, arg);
    }
    g_feed.reader = start;
    *thread = pthread_self(); // so the tear-down, run on this thread, joins nothing
    return 0;
}

extern "C" ssize_t __wrap_read(int fd, void *buffer, size_t count)
{
    if (!g_feed.serving) {
        return __real_read(fd, buffer, count);
    }
    if (count == 0) {
        return 0;
    }
    auto *out = static_cast<u8 *>(buffer);
    if (!g_feed.resetSent) {
        g_feed.resetSent = true;
        out[0] = 0x00;
        return 1;
    }
    if (g_feed.at == g_feed.size) {
        g_feed.serving = false;
        DIAG_PANEL_TRANS_Deinit(); // the reader sees it when this read returns
        return 0;
    }
    const size_t n = count < g_feed.size - g_feed.at ? count : g_feed.size - g_feed.at;
    memcpy(out, g_feed.data + g_feed.at, n);
    g_feed.at += n;
    return static_cast<ssize_t>(n);
}

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    fuzz::setUpProcess();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const u8 *data, size_t size)
{
    if (size == 0) {
        return 0;
    }
    static u32 configured = 0;
    const std::span<const u32> boards = fuzz::listedBoards(); // the intake starts on these
    const u32 board = boards[data[0] % boards.size()];
    if (board != configured) {
        fuzz::configureBoard(board);
        configured = board;
    }
    g_feed.capturing = true;
    const int started = DIAG_PANEL_TRANS_Init(0x5A);
    g_feed.capturing = false;
    if (started != 0 || g_feed.reader == nullptr) {
        __builtin_trap(); // a listed board always starts the intake
    }
    g_feed = Feed{false, g_feed.reader, true, false, data + 1, size - 1, 0};
    g_feed.reader(nullptr);
    if (g_feed.serving) {
        __builtin_trap(); // the reader left before the input ended
    }
    fuzz::resetAfterInput();
    return 0;
}
