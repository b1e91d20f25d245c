// SPDX-License-Identifier: Apache-2.0
// Sensor names for the stand-in platform, read from a real SDR: the text of `ipmitool sdr elist`,
// the binary of `ipmitool sdr dump` (full and compact sensor records), or "number,name" lines.
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "tools/diagpanel/readers/inputs.hpp"

namespace diagpanel {

struct SensorNames {
    const char *form = "";
    std::map<u8, std::string> names; // by sensor number
    std::vector<Problem> problems;   // the first few of `unreadable`
    std::size_t unreadable = 0;
    std::vector<std::string> notes;
};

SensorNames readSdr(const std::string &path, bool strict);
SensorNames parseSdr(const std::string &name, std::string_view content, bool strict);

} // namespace diagpanel
