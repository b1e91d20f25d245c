// SPDX-License-Identifier: Apache-2.0
#include "session_reads.hpp"

#include <atomic>
#include <cstring>
#include <dlfcn.h>
#include <sys/prctl.h>
#include <unistd.h>

namespace {

using ReadFunction = ssize_t (*)(int, void *, size_t);

std::atomic<uint64_t> g_consumed{0}; // written by the intake's thread alone

// The read() this one stands in front of (a sanitizer's, if one is loaded, else the C library's).
ReadFunction realRead()
{
    static const auto next = reinterpret_cast<ReadFunction>(dlsym(RTLD_NEXT, "read"));
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

} // namespace

extern "C" ssize_t read(int fd, void *buffer, size_t count)
{
    if (!inIntakeThread()) {
        return realRead()(fd, buffer, count);
    }
    const uint64_t before = g_consumed.load(std::memory_order_relaxed);
    host::atIntakeRead(before);
    const ssize_t got = realRead()(fd, buffer, count);
    if (got > 0) {
        g_consumed.store(before + static_cast<uint64_t>(got), std::memory_order_release);
    }
    return got;
}

namespace host {

uint64_t intakeBytesRead()
{
    return g_consumed.load(std::memory_order_acquire);
}

} // namespace host
