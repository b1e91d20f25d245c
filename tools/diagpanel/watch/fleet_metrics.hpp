// SPDX-License-Identifier: Apache-2.0
// The fleet's panels as Prometheus metrics, collected from the fleet's views at each scrape.
#pragma once

#include <vector>

#include <prometheus/collectable.h>
#include <prometheus/metric_family.h>

#include "tools/diagpanel/watch/fleet_view.hpp"

namespace diagpanel {

class FleetMetrics : public prometheus::Collectable
{
  public:
    explicit FleetMetrics(const FleetView &fleet) : fleet_(fleet) {}
    std::vector<prometheus::MetricFamily> Collect() const override;

  private:
    const FleetView &fleet_;
};

} // namespace diagpanel
