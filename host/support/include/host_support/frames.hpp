// SPDX-License-Identifier: Apache-2.0
// SEL records and pipe frames as a firmware producer builds and posts them.
#pragma once

#include <array>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include <diagpanel/diagpanel.h>

namespace host {

using SelBytes = std::array<u8, DIAG_PANEL_SEL_LEN>;

// A 16-byte IPMI system event record (type 02h): the fields the translators read, the rest as a
// BMC's own sensor fills them.
constexpr SelBytes systemEventRecord(u8 sensorType, u8 sensorNumber, u8 eventDirType, u8 data1,
                                     u8 data2 = 0xFF, u8 data3 = 0xFF, u8 generatorLun = 0)
{
    SelBytes record{};
    record[0] = 0x01; // record ID
    record[2] = 0x02; // system event record
    record[7] = 0x20; // generator: BMC
    record[8] = generatorLun;
    record[9] = 0x04; // event message revision
    record[10] = sensorType;
    record[11] = sensorNumber;
    record[12] = eventDirType;
    record[13] = data1;
    record[14] = data2;
    record[15] = data3;
    return record;
}

// Posts a frame of this type and body through DIAG_PANEL_TRANS_postMessage, its header aligned as
// a caller's would be; returns the library's result.
int postFrame(u8 msgType, std::span<const u8> body, u8 severity = 0);
int postSel(const SelBytes &record, u8 severity);
int postEvent(u32 type, u8 percent = 0);

// A frame's bytes as a producer in another process could write them into the pipe: any message
// type and length field, and the checksums right unless given.
using Bytes = std::vector<u8>;
Bytes frameBytes(u8 msgType, std::span<const u8> body, u32 length,
                 std::optional<u16> headerSum = std::nullopt,
                 std::optional<u16> bodySum = std::nullopt);

// A display event of a type the dispatch refuses with one line, "Unknown event type: <type>":
// its bytes, and that line.
Bytes markerFrame(u32 type);
std::string markerLine(u32 type);

Bytes operator+(Bytes a, const Bytes &b);

} // namespace host
