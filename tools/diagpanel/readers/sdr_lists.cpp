// SPDX-License-Identifier: Apache-2.0
// SDR listings as text: `ipmitool sdr elist` ("CPU_1_Status | 30h | ok | 3.1 | Presence
// detected"), and "number,name" lines, whose first line may name its columns.
#include <string>

#include "tools/diagpanel/readers/readers.hpp"
#include "tools/diagpanel/readers/text.hpp"

namespace diagpanel {

namespace {

constexpr unsigned long kNone = ~0ul; // no number, or none that parses

} // namespace

void readSdrElist(Lines &lines, NameOut &out)
{
    while (const std::optional<std::string_view> line = lines.next()) {
        if (line->front() == '#') {
            continue;
        }
        const std::size_t bar = line->find('|');
        const std::size_t next = line->find('|', bar + 1);
        const std::string_view name = trim(line->substr(0, bar));
        const std::string_view field =
            bar == std::string_view::npos ? "" : trim(line->substr(bar + 1, next - bar - 1));
        const unsigned long number =
            field.size() >= 2 && field.back() == 'h' ? parseNumber(field).value_or(kNone) : kNone;
        if (name.empty() || number > 0xFF) {
            if (!out.problem(lines.at(),
                             "expected a sensor name, '|', then its number such as 30h")) {
                return;
            }
            continue;
        }
        out.add(lines.at(), static_cast<u8>(number), std::string(name));
    }
}

void readSdrCsv(Lines &lines, NameOut &out)
{
    bool first = true;
    while (const std::optional<std::string_view> line = lines.next()) {
        if (line->front() == '#') {
            continue;
        }
        const std::size_t comma = line->find(',');
        const unsigned long number =
            comma == std::string_view::npos
                ? kNone
                : parseNumber(trim(line->substr(0, comma))).value_or(kNone);
        std::string_view name =
            comma == std::string_view::npos ? "" : trim(line->substr(comma + 1));
        if (name.size() >= 2 && name.front() == '"' && name.back() == '"') {
            name = name.substr(1, name.size() - 2);
        }
        const bool header = first && number == kNone && comma != std::string_view::npos;
        first = false;
        if (header) {
            continue;
        }
        if (number > 0xFF || name.empty()) {
            if (!out.problem(lines.at(), "expected number,name with a number from 0 to 255")) {
                return;
            }
            continue;
        }
        out.add(lines.at(), static_cast<u8>(number), std::string(name));
    }
}

} // namespace diagpanel
