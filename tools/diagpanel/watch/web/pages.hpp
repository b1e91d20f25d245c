// SPDX-License-Identifier: Apache-2.0
// What the watcher's web server shows: the wall of panels, one BMC's page, and a BMC's tile as
// the wall's script receives it.
#pragma once

#include <string>

#include <nlohmann/json.hpp>

#include "tools/diagpanel/watch/fleet_view.hpp"

namespace diagpanel {

// {"bmc", "board", "labels", "state", "why", "faults", "worst", "code", "words", "type", "index",
//  "level"}: what a tile shows.
nlohmann::json tileJson(const std::string &bmc, const BmcView &view);

// The wall: one tile per BMC, kept live from /events. Self-contained: no script, style or font
// from elsewhere.
const std::string &wallPage();

// One BMC: its panel, its fault table and its last events, kept live from /events.
std::string bmcPage(const std::string &bmc, const BmcView &view);

} // namespace diagpanel
