// SPDX-License-Identifier: Apache-2.0
#include "tools/diagpanel/commands/outputs.hpp"

namespace diagpanel {

void addOutputFlags(CLI::App &command, bool &json, std::string &svg)
{
    command.add_flag("--json", json, "write the timeline as JSON Lines");
    command.add_option("--svg", svg, "also draw the timeline into this SVG file");
}

} // namespace diagpanel
