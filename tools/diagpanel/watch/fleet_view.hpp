// SPDX-License-Identifier: Apache-2.0
// How each BMC of the fleet stands now, as the watcher's loop last saw it: what its metrics, its
// tile on the wall and its own page show. The loop updates a BMC's view when it changes; the web
// server's threads read the views, and wait for changes, under one lock.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "tools/diagpanel/watch/watched_bmc.hpp"

namespace diagpanel {

// An entry of a fault table, as its series and its row show it.
struct ActiveFault {
    int type = 0;
    std::string name;  // of the type: "memory"
    std::string index; // "B3"
    u32 mask = 0;
    int level = 0;
    bool operator==(const ActiveFault &) const = default;
};
// The entries of panel.json's "faults".
std::vector<ActiveFault> activeFaults(const nlohmann::json &faults);

// One BMC as the fleet's outputs show it.
struct BmcView {
    std::string board;                         // "0x01030103"
    std::map<std::string, std::string> labels; // the target's own
    WatchedBmc::Status status;
    unsigned long warnings = 0;
    std::vector<ActiveFault> faults;
    std::optional<u32> code;        // the panel's code now, once it showed one
    std::deque<std::string> recent; // its last events, JSON lines, oldest first
    std::string records;            // the file of the records kept, as replay reads it
    uint64_t version = 0;           // of the fleet's views, when this one last changed
};

// The POST phase a panel code shows: "progress", "error", "end", or "none" outside POST.
const char *postPhase(std::optional<u32> code);
constexpr const char *kPostPhases[] = {"none", "progress", "error", "end"};

class FleetView
{
  public:
    void update(const std::string &bmc, BmcView view);
    // A change of its counters alone (records, commands, last answer): the next scrape reads
    // them, the pages have no change to wait for (a thousand BMCs polled every 10 s would wake
    // them a hundred times a second).
    void updateCounters(const std::string &bmc, const WatchedBmc::Status &status);
    void remove(const std::string &bmc);

    // Every view, in the order of the BMCs' names, under the lock: `visit` must be quick.
    void forEach(const std::function<void(const std::string &, const BmcView &)> &visit) const;
    std::optional<BmcView> one(const std::string &bmc) const;

    // What changed after `version`: waits up to `wait` for a change, and returns at once after
    // close().
    struct Changes {
        uint64_t version = 0;
        std::map<std::string, BmcView> changed;
        std::vector<std::string> removed;
        bool closed = false;
    };
    Changes changesSince(uint64_t version, std::chrono::milliseconds wait) const;
    void close(); // the waiters are let go: the server stops

  private:
    mutable std::mutex lock_;
    mutable std::condition_variable changed_;
    std::map<std::string, BmcView> bmcs_;
    std::map<std::string, uint64_t> removed_; // BMCs let go, and when
    uint64_t version_ = 0;
    bool closed_ = false;
};

} // namespace diagpanel
