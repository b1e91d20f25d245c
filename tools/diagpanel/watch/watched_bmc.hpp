// SPDX-License-Identifier: Apache-2.0
// One BMC a watcher follows: its IPMI session, its SEL follower and its state on disk, stepped by
// one pool thread at a time (step_pool.hpp); and what the watcher's loop thread takes of it: the
// lines for its panel worker, and how it stands. The two sides meet under one lock.
#pragma once

#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "tools/diagpanel/follow/sel_follower.hpp"
#include "tools/diagpanel/state/bmc_state.hpp"
#include "tools/diagpanel/watch/inventory.hpp"

namespace diagpanel {

// How a BMC stands, as the watcher's status and metrics name it.
enum class BmcCondition {
    Starting,      // not asked yet
    Following,     // answering; its SEL followed
    Unreachable,   // no answer
    WrongPassword, // the session refused
    UnknownUser,
    CipherRefused,
    NoPrivilege, // logged in, but not allowed to read the SEL
    Unhealthy,   // answering, but refusing or garbling what the SEL holds: tried again later
};
const char *conditionWord(BmcCondition condition); // "following", "wrong_password", ...

class WatchedBmc
{
  public:
    using Tell = std::function<void(const std::string &)>; // a line for the user, the BMC named

    // Opens the BMC's state under `stateDir` (reading what an earlier run kept).
    WatchedBmc(Target target, const Module &module, const Password &password,
               const std::string &stateDir, Tell tell);

    const Target &target() const { return target_; }
    const std::string &statePath() const { return state_.path(); }

    // The pool's side: one poll, or one attempt to log in; when to step again.
    FollowClock::time_point step(FollowClock::time_point now);
    void retire() { retired_ = true; }
    bool retired() const { return retired_; }

    // The loop's side. What a new panel worker is told first: its setting, every record known,
    // and where live following stands; none until the sensor names are known. What was waiting
    // for the worker before is in it.
    std::optional<std::string> workerStart();
    std::string takeLines(); // for the running worker, since the last call
    bool hasLines() const;   // for the running worker: records or notes it has not been given

    struct Status {
        BmcCondition condition = BmcCondition::Starting;
        std::string why; // the session's own words when it could not be opened
        unsigned long records = 0;
        unsigned long commands = 0;
        std::optional<int64_t> lastAnswer; // Unix time
        std::optional<int64_t> lastRecord; // the SEL time of the last record read with one
        bool operator==(const Status &) const = default;
    };
    Status status() const;

  private:
    FollowClock::time_point logIn(FollowClock::time_point now);
    void handOver(const FollowStep &step);
    void stand(BmcCondition condition, const std::string &why = {});

    Target target_;
    BmcAddress address_;
    FollowClock::duration interval_;
    Tell tell_;
    std::atomic<bool> retired_ = false;

    // The pool's, one thread at a time.
    BmcState state_;
    std::unique_ptr<IpmiClient> client_;
    std::optional<SelFollower> follower_;
    std::map<u8, std::string> names_;
    std::optional<SelPosition> saved_; // the position last written
    std::chrono::seconds retry_{0};

    mutable std::mutex lock_; // what follows
    bool namesKnown_ = false;
    std::map<u8, std::string> workerNames_;
    std::vector<SelEntry> records_; // every record known, restored or read, in order
    std::size_t toldBefore_ = 0;    // of records_, those a timeline had already shown
    bool live_ = false;             // the first poll is done: records are read as they come
    std::string lines_;             // for the running worker
    Status status_;
};

} // namespace diagpanel
