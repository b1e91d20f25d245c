// SPDX-License-Identifier: Apache-2.0
// ipmitool sel writeraw: 16 bytes a record, no header.
#include "tools/diagpanel/readers/readers.hpp"

namespace diagpanel {

void readBinarySel(InputFile &input, ItemOut &out)
{
    for (std::string_view data = input.fill(kSelLen); data.size() >= kSelLen;
         data = input.fill(kSelLen)) {
        const auto *record = reinterpret_cast<const u8 *>(data.data());
        // ipmitool writes the manufacturer ID of C0h-DFh records in reverse byte order.
        const bool manufacturerKnown = record[2] < kFirstOemTimestamped;
        if (!addRecord(out, out.atByte(input.offset()), record, manufacturerKnown)) {
            return;
        }
        input.consume(kSelLen);
    }
    if (const std::string_view rest = input.fill(kSelLen); !rest.empty()) {
        out.problem(out.atByte(input.offset()),
                    std::to_string(rest.size()) +
                        " bytes left at the end, not a whole 16-byte record");
    }
}

} // namespace diagpanel
