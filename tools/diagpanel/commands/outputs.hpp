// SPDX-License-Identifier: Apache-2.0
// --json and --svg: the timeline as text or JSON Lines on standard output, and drawn into an SVG
// file besides (the Outputs of timeline.hpp).
#pragma once

#include <string>

#include <CLI/CLI.hpp>

#include "tools/diagpanel/timeline.hpp"

namespace diagpanel {

void addOutputFlags(CLI::App &command, bool &json, std::string &svg);

} // namespace diagpanel
