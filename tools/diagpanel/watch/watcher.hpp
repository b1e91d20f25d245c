// SPDX-License-Identifier: Apache-2.0
// diagpanel watch: the panels of a fleet of BMCs from one process. Every BMC of the inventory (of
// this watcher's shard) is followed by a pool of IPMI sessions, its records kept under the state
// dir, and shown by the real library in a panel worker of its own; what each panel holds is
// written to DIR/<BMC>/panel.json and served over HTTP (Prometheus metrics, the wall of panels),
// and the timelines and the BMCs' changes of state, with --events, written as JSON Lines.
#pragma once

#include <string>

#include "tools/diagpanel/watch/inventory.hpp"

namespace diagpanel {

struct WatchOptions {
    std::string configFile; // empty: the config was given by flags
    Config config;
    std::string stateDir;
    Shard shard;
    std::string events;                    // "-": standard output; empty: none
    std::string listen = "127.0.0.1:9780"; // where /metrics is served; port 0: any free one
    std::string webConfig;                 // TLS and basic authentication; empty: neither
    std::string program;                   // this program, which the panel workers run as
};

// Runs until SIGINT or SIGTERM; re-reads the inventory on SIGHUP and when its files change.
// Exit codes: 0 stopped as asked, 2 a config, inventory or password that cannot be used at start.
int watch(const WatchOptions &options);

} // namespace diagpanel
