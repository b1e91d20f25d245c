// SPDX-License-Identifier: Apache-2.0
// One record a line as hex bytes: `ipmiutil sel -r` (16 bytes, between the lines ipmiutil writes
// around them), or the 18 bytes of a Get SEL Entry reply (the next record ID first), which
// `ipmitool raw` wraps after 16 bytes.
#include <algorithm>
#include <array>
#include <string>

#include "tools/diagpanel/readers/readers.hpp"
#include "tools/diagpanel/readers/text.hpp"

namespace diagpanel {

namespace {

// What ipmiutil writes around the records: its banner, the controller's versions, the SEL's
// summary, the column header and its closing line.
constexpr std::array<std::string_view, 5> kIpmiutilText = {
    "ipmiutil sel version ", "-- BMC version ", "SEL Ver ", "RecId Date/Time",
    "ipmiutil sel, completed successfully"};

} // namespace

bool isIpmiutilText(std::string_view line)
{
    return std::ranges::any_of(
        kIpmiutilText, [line](std::string_view prefix) { return line.starts_with(prefix); });
}

void readHexSel(Lines &lines, ItemOut &out)
{
    std::optional<std::string_view> line = lines.next();
    while (line) {
        const Source at = lines.at();
        const std::string_view text = trim(withoutComment(*line));
        if (text.empty() || isIpmiutilText(text)) {
            line = lines.next();
            continue;
        }
        HexBytes record = hexBytes(text);
        line = lines.next();
        if (!record.bad.empty()) {
            if (!out.problem(at, quoted(record.bad) + " is not a hex byte")) {
                return;
            }
            continue;
        }
        if (record.bytes.size() == kSelLen && line) { // the wrapped end of a reply?
            const HexBytes end = hexBytes(withoutComment(*line));
            if (end.bad.empty() && end.bytes.size() == 2) {
                record.bytes.insert(record.bytes.end(), end.bytes.begin(), end.bytes.end());
                line = lines.next();
            }
        }
        const std::size_t count = record.bytes.size();
        if (count != kSelLen && count != kSelLen + 2) {
            if (!out.problem(at, "expected 16 hex bytes (or 18, a Get SEL Entry reply), found " +
                                     std::to_string(count))) {
                return;
            }
            continue;
        }
        if (!addRecord(out, at, record.bytes.data() + (count - kSelLen))) {
            return;
        }
    }
}

} // namespace diagpanel
