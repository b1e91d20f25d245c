// SPDX-License-Identifier: Apache-2.0
// The words the timeline's sinks share beyond those of timeline.hpp: a panel code, a display
// cycle and a fault table change as a line of the timeline says them.
#pragma once

#include <string>
#include <vector>

#include "tools/diagpanel/timeline.hpp"

namespace diagpanel {

std::string codeWords(u32 code);                       // "memory B3, level 3"
std::string cycleWords(const std::vector<u32> &cycle); // "fan 02, level 3 | memory B3, level 3"
std::string changeWords(const Event &e);               // "+ memory B3: mask 0x00000002, level 3"

} // namespace diagpanel
