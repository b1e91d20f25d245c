// SPDX-License-Identifier: Apache-2.0
// A BMC's timeline drawn as `diagpanel replay --svg` draws it, from the records the watcher keeps:
// replay run as a process of its own (the library is one instance a process), one at a time, and
// its drawing kept until the BMC has read more records.
#pragma once

#include <map>
#include <mutex>
#include <optional>
#include <string>

#include "tools/diagpanel/watch/fleet_view.hpp"

namespace diagpanel {

class TimelineDrawing
{
  public:
    explicit TimelineDrawing(std::string program) : program_(std::move(program)) {}
    // The SVG; none when replay could not draw it (told on standard error).
    std::optional<std::string> of(const std::string &bmc, const BmcView &view);

  private:
    std::optional<std::string> draw(const BmcView &view) const;

    std::string program_;
    std::mutex lock_;                                                    // one replay at a time
    std::map<std::string, std::pair<unsigned long, std::string>> drawn_; // records: drawing
};

} // namespace diagpanel
