// SPDX-License-Identifier: Apache-2.0
// The scenario language: what a SEL does not carry (POST, waits, the diagnostic mode, sensor
// names, the fan control's answers), one command a line. Its grammar is in the README.
#pragma once

#include <array>
#include <string_view>

#include "tools/diagpanel/readers/diagnostics.hpp"
#include "tools/diagpanel/readers/lines.hpp"

namespace diagpanel {

// The first words of the commands, by which a scenario is told from a capture.
constexpr std::array<std::string_view, 6> kScenarioVerbs = {"post",      "sel",    "wait",
                                                            "diag-mode", "sensor", "fan"};

// The longest a scenario may run: the range of the SEL's 32-bit clock, about 136 years.
constexpr uint64_t kLongestScenario = 0xFFFFFFFFull;

void readScenario(Lines &lines, ItemOut &out);

} // namespace diagpanel
