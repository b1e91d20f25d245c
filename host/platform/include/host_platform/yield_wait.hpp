// SPDX-License-Identifier: Apache-2.0
// A short wait for another thread of this process, without sleeping: yields the processor while
// the condition is false, for up to 50 us. Waking a sleeping thread costs tens of microseconds
// on a virtual machine, more than many of these waits last. On a busy machine a yield hands a
// whole time slice to another process, so a yield that lasts long stops yielding for a while,
// everywhere in the process: the caller sleeps instead, as it would without this.
#pragma once

#include <atomic>
#include <chrono>
#include <sched.h>

namespace host {

// Until when yields are too dear: the process is not alone on its processors.
inline std::atomic<std::chrono::steady_clock::rep> &busyUntil()
{
    static std::atomic<std::chrono::steady_clock::rep> until{0};
    return until;
}

template <typename Done> bool yieldUntil(Done done)
{
    using Clock = std::chrono::steady_clock;
    constexpr auto kLongest = std::chrono::microseconds(50);
    constexpr auto kBusy = std::chrono::microseconds(1000); // a yield this long: others ran
    constexpr auto kCalm = std::chrono::milliseconds(100);  // before yielding again
    Clock::time_point now = Clock::now();
    if (now.time_since_epoch().count() < busyUntil().load(std::memory_order_relaxed)) {
        return done();
    }
    const Clock::time_point until = now + kLongest;
    while (!done()) {
        if (now >= until) {
            return false;
        }
        sched_yield();
        const Clock::time_point after = Clock::now();
        if (after - now > kBusy) {
            busyUntil().store((after + kCalm).time_since_epoch().count(),
                              std::memory_order_relaxed);
            return done();
        }
        now = after;
    }
    return true;
}

} // namespace host
