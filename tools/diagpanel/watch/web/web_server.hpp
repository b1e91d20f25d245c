// SPDX-License-Identifier: Apache-2.0
// The watcher's web server: /metrics for Prometheus, the wall of panels at /, one BMC's page at
// /bmc/NAME with its timeline at /bmc/NAME/timeline.svg, the tiles as JSON at /api/bmcs and
// their changes as server-sent events at /events.
// A web config turns on TLS and basic authentication for every path.
#pragma once

#include <memory>
#include <string>

#include "tools/diagpanel/watch/fleet_view.hpp"
#include "tools/diagpanel/watch/web/web_config.hpp"

namespace diagpanel {

class WebServer
{
  public:
    // Listens on "host:port" (port 0: any free one); nullptr, with why, when it cannot.
    // `program`: this program, whose replay draws the timelines (none: no timelines).
    static std::unique_ptr<WebServer> start(const std::string &listen, const WebConfig &config,
                                            FleetView &fleet, const std::string &program,
                                            std::string &why);
    virtual ~WebServer() = default;
    virtual int port() const = 0;
};

} // namespace diagpanel
