// SPDX-License-Identifier: Apache-2.0
// A bounded pool of threads that steps every watched BMC when it is due, each BMC on one thread
// at a time. The IPMI client is synchronous: a BMC that does not answer holds one thread for its
// time-outs, never the others, and a thousand BMCs need no thousand threads.
#pragma once

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <queue>
#include <thread>
#include <vector>

#include "tools/diagpanel/watch/watched_bmc.hpp"

namespace diagpanel {

class StepPool
{
  public:
    // `stepped` is called, on a pool thread, after each step of a BMC.
    StepPool(unsigned threads, std::function<void(const WatchedBmc &)> stepped);
    ~StepPool();
    StepPool(const StepPool &) = delete;
    StepPool &operator=(const StepPool &) = delete;

    // Steps `bmc` now, then when each step says, until it is retired.
    void add(std::shared_ptr<WatchedBmc> bmc);

  private:
    using Due = std::pair<FollowClock::time_point, std::shared_ptr<WatchedBmc>>;
    struct Later {
        bool operator()(const Due &a, const Due &b) const { return a.first > b.first; }
    };
    void run();

    std::function<void(const WatchedBmc &)> stepped_;
    void push(FollowClock::time_point due, std::shared_ptr<WatchedBmc> bmc);

    std::mutex lock_;
    // One thread at a time waits for the earliest BMC to be due (the timer); the others wait
    // for the timer's place, so that a due time wakes one thread, not all of them.
    std::condition_variable timer_;
    std::condition_variable idle_;
    bool timing_ = false;
    std::priority_queue<Due, std::vector<Due>, Later> queue_;
    bool stopping_ = false;
    std::vector<std::thread> threads_;
};

} // namespace diagpanel
