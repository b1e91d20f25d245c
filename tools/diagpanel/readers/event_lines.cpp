// SPDX-License-Identifier: Apache-2.0
// Event lines: `ipmitool sel save` files and `ipmitool sel add` event files, one record a line as
// the 7 bytes of its event message ("0x04 0x08 0x30 0x6f 0x01 0xff 0xff # comment"). They carry no
// record ID, time, generator or record type: the reader supplies them.
#include <algorithm>
#include <string>

#include "tools/diagpanel/readers/readers.hpp"
#include "tools/diagpanel/readers/text.hpp"

namespace diagpanel {

namespace {

constexpr std::size_t kEventBytes = 7;
constexpr u8 kGenerator = 0x20; // the BMC
// The event message revisions of IPMI 1.0 (03h) and 1.5 on (04h). `sel save` writes an OEM
// record's bytes 9-15 on its line instead, which begin with anything but these.
constexpr u8 kRevisionOld = 0x03;
constexpr u8 kRevision = 0x04;

} // namespace

void readEventLines(Lines &lines, ItemOut &out)
{
    unsigned recordId = 0;
    unsigned oem = 0;
    std::string firstOem;
    while (const std::optional<std::string_view> line = lines.next()) {
        const std::string_view text = trim(withoutComment(*line));
        if (text.empty()) {
            continue;
        }
        const HexBytes event = hexBytes(text);
        if (!event.bad.empty() || event.bytes.size() != kEventBytes) {
            const std::string why =
                !event.bad.empty()
                    ? quoted(event.bad) + " is not a hex byte"
                    : "expected 7 hex bytes (event message revision, sensor type, sensor number, "
                      "event dir/type, event data 1-3), found " +
                          std::to_string(event.bytes.size());
            if (!out.problem(lines.at(), why)) {
                return;
            }
            continue;
        }
        ++recordId;
        if (event.bytes[0] != kRevision && event.bytes[0] != kRevisionOld) {
            if (oem++ == 0) {
                firstOem = lines.at().where() + ": OEM record " + std::to_string(recordId);
            }
            continue;
        }
        Item item;
        item.kind = Item::Kind::Sel;
        item.source = lines.at();
        item.timing = Timing::OneStepLater;
        item.sel = {static_cast<u8>(recordId),
                    static_cast<u8>(recordId >> 8),
                    kSystemEventRecord,
                    0xFF,
                    0xFF,
                    0xFF,
                    0xFF,
                    kGenerator,
                    0x00};
        std::copy(event.bytes.begin(), event.bytes.end(), item.sel.begin() + 9);
        out.add(item);
    }
    out.note("ipmitool event lines carry no record ID, time, generator or record type: supplied "
             "IDs from 1, type 02h, generator 0020h (BMC), one record every 4 s");
    if (oem > 0) {
        out.note(firstOem + ": this format does not keep its bytes" +
                 (oem > 1 ? " (nor those of " + std::to_string(oem - 1) + " more)" : "") +
                 "; not replayed");
    }
}

} // namespace diagpanel
