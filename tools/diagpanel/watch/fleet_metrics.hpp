// SPDX-License-Identifier: Apache-2.0
// The fleet's panels as Prometheus metrics, collected from the fleet's views at each scrape and
// written by the client library's text serializer.
//
// A thousand BMCs with ten faults each are some 30,000 series, and writing them all takes the
// serializer most of 100 ms. Most of them (a BMC's state, its fault table, its POST phase) change
// seldom, so each BMC's lines of those families are kept as written until its view of them
// changes; the counters, which change at each poll, are written at each scrape.
#pragma once

#include <array>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "tools/diagpanel/watch/fleet_view.hpp"

namespace diagpanel {

class FleetMetrics
{
  public:
    explicit FleetMetrics(const FleetView &fleet) : fleet_(fleet) {}
    std::string text(); // the exposition, in Prometheus's text format

    static constexpr std::size_t kSteadyFamilies = 5; // up, state, active, faults, phase

  private:
    // What the steady families of a BMC are written from, and the lines written.
    struct Steady {
        BmcCondition condition = BmcCondition::Starting;
        std::string board;
        std::map<std::string, std::string> labels;
        std::vector<ActiveFault> faults;
        std::string phase;
        bool operator==(const Steady &) const = default;
    };
    struct Kept {
        Steady from;
        std::array<std::string, kSteadyFamilies> lines; // each family's, without its heading
    };

    const FleetView &fleet_;
    std::mutex lock_; // one scrape at a time
    std::map<std::string, Kept> kept_;
};

} // namespace diagpanel
