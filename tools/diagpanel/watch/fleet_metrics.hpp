// SPDX-License-Identifier: Apache-2.0
// The fleet's panels as Prometheus metrics: what each BMC's panel.json says, collected by the
// client library's exposer on its own threads at each scrape. The watcher's loop thread keeps a
// view of each BMC here; a scrape reads the views under one lock.
#pragma once

#include <map>
#include <mutex>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>
#include <prometheus/collectable.h>
#include <prometheus/metric_family.h>

#include "tools/diagpanel/watch/watched_bmc.hpp"

namespace diagpanel {

// An entry of a fault table, as its series shows it.
struct ActiveFault {
    int type = 0;
    std::string name;  // of the type: "memory"
    std::string index; // "B3"
    u32 mask = 0;
    int level = 0;
};
// The entries of panel.json's "faults".
std::vector<ActiveFault> activeFaults(const nlohmann::json &faults);

// One BMC as its metrics show it.
struct BmcView {
    std::string board;                         // "0x01030103"
    std::map<std::string, std::string> labels; // the target's own
    WatchedBmc::Status status;
    unsigned long warnings = 0;
    std::vector<ActiveFault> faults;
};

class FleetMetrics : public prometheus::Collectable
{
  public:
    void update(const std::string &bmc, BmcView view);
    void remove(const std::string &bmc);
    std::vector<prometheus::MetricFamily> Collect() const override;

  private:
    mutable std::mutex lock_;
    std::map<std::string, BmcView> bmcs_;
};

} // namespace diagpanel
