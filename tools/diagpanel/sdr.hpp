// Sensor names for the stand-in platform, read from a real SDR: the text of `ipmitool sdr elist`,
// the binary of `ipmitool sdr dump` (full and compact sensor records), or "number,name" lines.
#pragma once

#include <map>
#include <string>
#include <string_view>

#include "tools/diagpanel/inputs.hpp"

namespace diagpanel {

struct SensorNames {
    const char *form = "";
    std::map<u8, std::string> names; // by sensor number
    std::vector<Problem> problems;
};

SensorNames readSdr(const std::string &path, bool strict);
SensorNames parseSdr(const std::string &name, std::string_view content, bool strict);

} // namespace diagpanel
