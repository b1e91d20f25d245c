// SPDX-License-Identifier: Apache-2.0
// The sinks a command writes its timeline to.
#include "tools/diagpanel/timeline.hpp"

namespace diagpanel {

Outputs::Outputs(bool json, const std::string &svg, const JsonStamp &stamp,
                 const std::optional<int64_t> *localOrigin)
{
    sinks_.push_back(json ? jsonSink(stdout, stamp) : textSink(stdout, localOrigin));
    if (!svg.empty()) {
        sinks_.push_back(svgSink(svg));
    }
    for (const auto &s : sinks_) {
        targets_.push_back(s.get());
    }
}

void Outputs::begin(const std::string &heading)
{
    for (Sink *s : targets_) {
        s->begin(heading);
    }
}

} // namespace diagpanel
