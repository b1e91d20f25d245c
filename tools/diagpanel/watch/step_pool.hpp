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
    // `stepped` is called, on a pool thread, after each step.
    StepPool(unsigned threads, std::function<void()> stepped);
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

    std::function<void()> stepped_;
    std::mutex lock_;
    std::condition_variable changed_;
    std::priority_queue<Due, std::vector<Due>, Later> queue_;
    bool stopping_ = false;
    std::vector<std::thread> threads_;
};

} // namespace diagpanel
