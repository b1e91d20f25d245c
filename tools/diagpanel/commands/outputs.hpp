// SPDX-License-Identifier: Apache-2.0
// --json and --svg, and the sinks they ask for: the timeline as text or JSON Lines on standard
// output, and drawn into an SVG file besides.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "tools/diagpanel/timeline.hpp"

namespace diagpanel {

void addOutputFlags(CLI::App &command, bool &json, std::string &svg);

class Outputs
{
  public:
    // JSON lines carry the stamp; the text sink's time column follows `localOrigin` once it is
    // set (see textSink).
    Outputs(bool json, const std::string &svg, const JsonStamp &stamp,
            const std::optional<int64_t> *localOrigin = nullptr);
    void begin(const std::string &heading);
    const std::vector<Sink *> &targets() const { return targets_; }

  private:
    std::vector<std::unique_ptr<Sink>> sinks_;
    std::vector<Sink *> targets_;
};

} // namespace diagpanel
