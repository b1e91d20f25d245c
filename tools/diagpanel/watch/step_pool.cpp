// SPDX-License-Identifier: Apache-2.0
#include "tools/diagpanel/watch/step_pool.hpp"

namespace diagpanel {

StepPool::StepPool(unsigned threads, std::function<void()> stepped) : stepped_(std::move(stepped))
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
    changed_.notify_all();
    for (std::thread &thread : threads_) {
        thread.join();
    }
}

void StepPool::add(std::shared_ptr<WatchedBmc> bmc)
{
    {
        const std::lock_guard guard(lock_);
        queue_.emplace(FollowClock::now(), std::move(bmc));
    }
    changed_.notify_one();
}

void StepPool::run()
{
    std::unique_lock guard(lock_);
    while (!stopping_) {
        if (queue_.empty()) {
            changed_.wait(guard);
            continue;
        }
        if (queue_.top().first > FollowClock::now()) {
            changed_.wait_until(guard, queue_.top().first);
            continue;
        }
        std::shared_ptr<WatchedBmc> bmc = queue_.top().second;
        queue_.pop();
        guard.unlock(); // a step waits on the network; a BMC let go closes its session
        FollowClock::time_point next{};
        if (!bmc->retired()) {
            next = bmc->step(FollowClock::now());
            stepped_();
        }
        if (bmc->retired()) {
            bmc.reset();
            guard.lock();
            continue;
        }
        guard.lock();
        queue_.emplace(next, std::move(bmc));
        changed_.notify_one(); // it may be due before what the others wait for
    }
}

} // namespace diagpanel
