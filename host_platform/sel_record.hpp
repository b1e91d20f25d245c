// A 16-byte IPMI system event record (record type 02h) as a BMC logs it, for host programs that
// post records to the library: tests, benchmarks and tools.
#pragma once

#include <array>

#include <diagpanel/types.h>

namespace host {

using SelBytes = std::array<u8, DIAG_PANEL_SEL_LEN>;

// The fields the translators read; the rest as a BMC's own sensor would fill them.
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

} // namespace host
