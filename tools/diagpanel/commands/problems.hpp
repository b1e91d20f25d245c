// SPDX-License-Identifier: Apache-2.0
// What the commands say of an input that could not be read whole, on standard error.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "tools/diagpanel/readers/inputs.hpp"

namespace diagpanel {

// The first problems of an input, then how many more there were; `strict` says the run stopped
// at them rather than skipped them.
void reportProblems(const std::string &file, const std::vector<Problem> &shown, std::size_t count,
                    bool strict);

} // namespace diagpanel
