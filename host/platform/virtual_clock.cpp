// SPDX-License-Identifier: Apache-2.0
#include <host_platform/virtual_clock.hpp>
#include <host_platform/yield_wait.hpp>

#include <atomic>
#include <condition_variable>
#include <cstring>
#include <ctime>
#include <mutex>
#include <sys/prctl.h>
#include <unistd.h>

namespace {

struct Clock {
    std::mutex mutex;
    std::condition_variable changed;
    // Changed under the mutex; read without it while yielding.
    std::atomic<unsigned long long> parks = 0;    // sleeps begun
    std::atomic<unsigned long long> releases = 0; // sleeps let go
    unsigned long long resumed = 0;               // sleeps returned to their caller
    unsigned requested = 0;                       // seconds of the newest sleep
    unsigned long long now = 0;
};

// Never destroyed: the display thread stays parked while the process exits.
Clock &virtualClock()
{
    static Clock &instance = *new Clock;
    return instance;
}

// Set while a thread takes a display step itself (vclock::stepHere): its sleeps only say how long
// the next step is away.
thread_local bool t_steppingHere = false;

bool inDisplayThread()
{
    char name[16] = {};
    prctl(PR_GET_NAME, name);
    return strncmp(name, "DIAG_PANEL_Disp", 15) == 0;
}

} // namespace

extern "C" unsigned int sleep(unsigned int seconds)
{
    if (t_steppingHere) {
        Clock &c = virtualClock();
        std::lock_guard lock(c.mutex);
        c.requested = seconds;
        return 0;
    }
    if (!inDisplayThread()) {
        timespec delay{static_cast<time_t>(seconds), 0};
        while (nanosleep(&delay, &delay) != 0) {
        }
        return 0;
    }
    Clock &c = virtualClock();
    std::unique_lock lock(c.mutex);
    const unsigned long long ticket = ++c.parks;
    c.requested = seconds;
    c.changed.notify_all();
    lock.unlock();
    const auto released = [&] { return c.releases >= ticket; };
    host::yieldUntil(released); // a step hands the turn back soon
    lock.lock();
    c.changed.wait(lock, released);
    ++c.resumed;
    c.changed.notify_all();
    return 0;
}

namespace vclock {

unsigned waitParked(std::chrono::milliseconds timeout)
{
    Clock &c = virtualClock();
    const auto isParked = [&] { return c.parks > c.releases; };
    host::yieldUntil(isParked);
    std::unique_lock lock(c.mutex);
    const bool parked = c.changed.wait_for(lock, timeout, isParked);
    return parked ? c.requested : 0;
}

bool release()
{
    Clock &c = virtualClock();
    std::lock_guard lock(c.mutex);
    if (c.parks <= c.releases) {
        return false;
    }
    ++c.releases;
    c.now += c.requested;
    c.changed.notify_all();
    return true;
}

unsigned step(std::chrono::milliseconds timeout)
{
    release();
    return waitParked(timeout);
}

unsigned stepHere(void (*turn)())
{
    Clock &c = virtualClock();
    {
        std::lock_guard lock(c.mutex);
        c.now += c.requested;
        c.requested = 0;
    }
    t_steppingHere = true;
    turn();
    t_steppingHere = false;
    std::lock_guard lock(c.mutex);
    return c.requested;
}

bool waitResumed(std::chrono::milliseconds timeout)
{
    Clock &c = virtualClock();
    std::unique_lock lock(c.mutex);
    return c.changed.wait_for(lock, timeout, [&] { return c.resumed == c.releases; });
}

unsigned long long now()
{
    Clock &c = virtualClock();
    std::lock_guard lock(c.mutex);
    return c.now;
}

} // namespace vclock
