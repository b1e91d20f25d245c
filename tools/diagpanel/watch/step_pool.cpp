// SPDX-License-Identifier: Apache-2.0
#include "tools/diagpanel/watch/step_pool.hpp"

#include <algorithm>

namespace diagpanel {

namespace {

// A BMC due this soon after the one the timer woke for is stepped with it: one wake-up of the timer
// for a run of BMCs, not one each (a thousand BMCs polled every 10 s are due a hundred times a
// second).
constexpr FollowClock::duration kSlack = std::chrono::milliseconds(100);

} // namespace

StepPool::StepPool(unsigned threads, std::function<void(const WatchedBmc &)> stepped)
    : stepped_(std::move(stepped))
{
    for (unsigned i = 0; i < threads; ++i) {
        threads_.emplace_back([this] { run(); });
    }
}

StepPool::~StepPool()
{
    {
        const std::lock_guard guard(lock_);
        stopping_ = true;
    }
    timer_.notify_all();
    idle_.notify_all();
    for (std::thread &thread : threads_) {
        thread.join();
    }
}

void StepPool::add(std::shared_ptr<WatchedBmc> bmc)
{
    const std::lock_guard guard(lock_);
    push(FollowClock::now(), std::move(bmc));
}

// Under the lock. The timer waits for the earliest: one due sooner wakes it (or, with no timer,
// a thread to become it).
void StepPool::push(FollowClock::time_point due, std::shared_ptr<WatchedBmc> bmc)
{
    const bool soonest = queue_.empty() || due < queue_.top().first;
    queue_.emplace(due, std::move(bmc));
    if (!timing_) {
        idle_.notify_one();
    } else if (soonest) {
        timer_.notify_one();
    }
}

void StepPool::run()
{
    std::unique_lock guard(lock_);
    while (!stopping_) {
        // Due now: the first BMC due, and any due within the slack after it.
        const FollowClock::time_point horizon = FollowClock::now() + kSlack;
        if (queue_.empty() || (timing_ && queue_.top().first > horizon)) {
            idle_.wait(guard);
            continue;
        }
        if (queue_.top().first > horizon) {
            timing_ = true;
            timer_.wait_until(guard, queue_.top().first);
            timing_ = false;
            continue;
        }
        const FollowClock::time_point due = queue_.top().first;
        std::shared_ptr<WatchedBmc> bmc = queue_.top().second;
        queue_.pop();
        if (!queue_.empty()) {
            idle_.notify_one(); // the next due wants a thread, or a timer
        }
        guard.unlock(); // a step waits on the network; a BMC let go closes its session
        FollowClock::time_point next{};
        if (!bmc->retired()) {
            const FollowClock::time_point now = FollowClock::now();
            // Stepped early, it keeps its rhythm: its next step is as late as if it was on time.
            next = bmc->step(now) + std::max(due - now, FollowClock::duration::zero());
            stepped_(*bmc);
        }
        if (bmc->retired()) {
            bmc.reset();
            guard.lock();
            continue;
        }
        guard.lock();
        push(next, std::move(bmc));
    }
}

} // namespace diagpanel
