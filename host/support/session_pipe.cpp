// SPDX-License-Identifier: Apache-2.0
#include "session_pipe.hpp"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <dlfcn.h>
#include <memory>
#include <sys/prctl.h>
#include <unistd.h>

namespace {

using ReadFunction = ssize_t (*)(int, void *, size_t);
using WriteFunction = ssize_t (*)(int, const void *, size_t);

std::atomic<uint64_t> g_consumed{0}; // written by the intake's thread alone
std::atomic<host::IntakeReadHook> g_hook{nullptr};
thread_local host::GatheredWrites *t_gathering = nullptr;

// The read() this one stands in front of (a sanitizer's, if one is loaded, else the C library's).
ReadFunction realRead()
{
    static const auto next = reinterpret_cast<ReadFunction>(dlsym(RTLD_NEXT, "read"));
    return next;
}

WriteFunction realWrite()
{
    static const auto next = reinterpret_cast<WriteFunction>(dlsym(RTLD_NEXT, "write"));
    return next;
}

// Whether this is the library's intake thread; its name is set before its first read and kept.
bool inIntakeThread()
{
    thread_local const bool intake = [] {
        char name[16] = {};
        prctl(PR_GET_NAME, name);
        return strncmp(name, "DIAG_PANEL_TRAN", 15) == 0;
    }();
    return intake;
}

// What the intake's thread has taken out of its pipe and the library has not read yet. The reader
// asks for a frame a few bytes at a time (six reads a frame); the pipe is read in large pieces
// instead, one system call for many frames. Of the thread: a new intake reads a new pipe.
struct Ahead {
    static constexpr size_t kSize = 65536; // a pipe's capacity
    int fd = -1;
    size_t begin = 0;
    size_t end = 0;
    unsigned char bytes[kSize];
};

ssize_t readAhead(int fd, void *buffer, size_t count, bool fill)
{
    thread_local const std::unique_ptr<Ahead> owned = std::make_unique<Ahead>();
    Ahead &ahead = *owned;
    if (ahead.fd != fd) {
        ahead.fd = fd;
        ahead.begin = ahead.end = 0;
    }
    if (ahead.begin == ahead.end) {
        if (!fill) {
            return realRead()(fd, buffer, count);
        }
        const ssize_t got = realRead()(fd, ahead.bytes, Ahead::kSize);
        if (got <= 0) {
            return got;
        }
        ahead.begin = 0;
        ahead.end = static_cast<size_t>(got);
    }
    const size_t taken = std::min(count, ahead.end - ahead.begin);
    memcpy(buffer, ahead.bytes + ahead.begin, taken);
    ahead.begin += taken;
    return static_cast<ssize_t>(taken);
}

} // namespace

extern "C" ssize_t read(int fd, void *buf, size_t nbytes)
{
    if (!inIntakeThread()) {
        return realRead()(fd, buf, nbytes);
    }
    const uint64_t before = g_consumed.load(std::memory_order_relaxed);
    const host::IntakeReadHook hook = g_hook.load(std::memory_order_acquire);
    if (hook != nullptr) {
        hook(before);
    }
    const ssize_t got = nbytes == 0 ? 0 : readAhead(fd, buf, nbytes, hook != nullptr);
    if (got > 0) {
        g_consumed.store(before + static_cast<uint64_t>(got), std::memory_order_release);
    }
    return got;
}

extern "C" ssize_t write(int fd, const void *buf, size_t n)
{
    host::GatheredWrites *gathered = t_gathering;
    if (gathered == nullptr || (gathered->fd != -1 && gathered->fd != fd)) {
        return realWrite()(fd, buf, n);
    }
    gathered->fd = fd;
    const auto *bytes = static_cast<const unsigned char *>(buf);
    gathered->bytes.insert(gathered->bytes.end(), bytes, bytes + n);
    return static_cast<ssize_t>(n);
}

namespace host {

uint64_t intakeBytesRead()
{
    return g_consumed.load(std::memory_order_acquire);
}

void hookIntakeReads(IntakeReadHook hook)
{
    g_hook.store(hook, std::memory_order_release);
}

void gatherWrites(GatheredWrites *into)
{
    t_gathering = into;
}

bool writeGathered(GatheredWrites &gathered)
{
    size_t done = 0;
    while (done < gathered.bytes.size()) {
        const ssize_t wrote =
            realWrite()(gathered.fd, gathered.bytes.data() + done, gathered.bytes.size() - done);
        if (wrote < 0 && errno == EINTR) {
            continue;
        }
        if (wrote <= 0) {
            break;
        }
        done += static_cast<size_t>(wrote);
    }
    const bool whole = done == gathered.bytes.size();
    gathered.bytes.clear();
    gathered.fd = -1;
    return whole;
}

} // namespace host
