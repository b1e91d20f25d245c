// SPDX-License-Identifier: Apache-2.0
#include "tools/diagpanel/readers/lines.hpp"

#include "tools/diagpanel/readers/text.hpp"

namespace diagpanel {

std::optional<std::string_view> Lines::next()
{
    while (!diagnostics_.stopped()) {
        // One byte more than the longest line, and the byte after a CR.
        const std::string_view data = input_.fill(kLongest + 2);
        if (data.empty()) {
            return std::nullopt;
        }
        number_ += continued_ ? 0 : 1;
        const std::size_t end = data.substr(0, kLongest + 1).find_first_of("\r\n");
        if (end == std::string_view::npos && data.size() > kLongest) {
            diagnostics_.problem(at(), "longer than " + std::to_string(kLongest) +
                                           " bytes, which no record or command is: cut off");
            skipRestOfLine();
            continued_ = false;
            continue;
        }
        std::string_view line = data.substr(0, end);
        std::size_t used = line.size();
        if (end != std::string_view::npos) {
            // A CR alone rewrites the line on a terminal (progress): what follows it is read
            // apart, under the same line number.
            continued_ = data[end] == '\r' && data.substr(end + 1, 1) != "\n";
            used += data[end] == '\r' && !continued_ ? 2 : 1;
        }
        input_.consume(used);
        line = trim(line);
        if (!line.empty()) {
            return line;
        }
    }
    return std::nullopt;
}

void Lines::skipRestOfLine()
{
    for (std::string_view data = input_.fill(1); !data.empty(); data = input_.fill(1)) {
        const std::size_t end = data.find('\n');
        input_.consume(end == std::string_view::npos ? data.size() : end + 1);
        if (end != std::string_view::npos) {
            return;
        }
    }
}

} // namespace diagpanel
