// SPDX-License-Identifier: Apache-2.0
// Reading one input whole: opened (only a regular file), its format detected from its first bytes
// unless forced (the one place that detects formats), then read by the format's reader.
#pragma once

#include <string>
#include <string_view>

#include "tools/diagpanel/readers/diagnostics.hpp"
#include "tools/diagpanel/readers/input.hpp"

namespace diagpanel {

// The bytes detection looks at: enough for the first records of any format.
constexpr std::size_t kDetectBytes = 4096;

Format detectSel(std::string_view head);
const char *detectSdr(std::string_view head); // "sdr dump", "sdr elist" or "csv"

// A SEL capture or scenario. An input that holds no record or command is a problem too.
void readCapture(InputFile &input, Format forced, ItemOut &out);
void readCapture(const std::string &path, Format forced, ItemOut &out);

// Sensor names from an SDR capture.
void readSdr(InputFile &input, NameOut &out);
void readSdr(const std::string &path, NameOut &out);

} // namespace diagpanel
