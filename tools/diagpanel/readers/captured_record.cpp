// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstdio>

#include "tools/diagpanel/readers/readers.hpp"

namespace diagpanel {

bool addRecord(ItemOut &out, const Source &source, const u8 *record, bool manufacturerKnown)
{
    const u8 type = record[2];
    if (type != kSystemEventRecord && type < kFirstOemTimestamped) {
        char why[96];
        snprintf(why, sizeof why,
                 "record type %02Xh is neither a system event record (02h) nor OEM (C0h-FFh)",
                 type);
        return out.problem(source, why);
    }
    Item item;
    item.kind = Item::Kind::Sel;
    item.source = source;
    std::copy_n(record, item.sel.size(), item.sel.begin());
    const u32 stamp = static_cast<u32>(record[3] | record[4] << 8 | record[5] << 16) |
                      static_cast<u32>(record[6]) << 24;
    // A record keeps its own time, unless it has none: FFFFFFFFh, or an OEM record without one.
    item.timing = type >= kFirstOemPlain || stamp == 0xFFFFFFFFu ? Timing::AfterPrevious
                                                                 : Timing::SelTimestamp;
    item.manufacturerKnown = manufacturerKnown;
    out.add(item);
    return true;
}

} // namespace diagpanel
