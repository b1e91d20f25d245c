// SPDX-License-Identifier: Apache-2.0
// One reader per input format, each with one entry point: the input's bytes or lines in, items or
// sensor names and diagnostics out. None knows the replay or the timeline.
#pragma once

#include "tools/diagpanel/readers/diagnostics.hpp"
#include "tools/diagpanel/readers/input.hpp"
#include "tools/diagpanel/readers/lines.hpp"

namespace diagpanel {

// SEL captures.
void readBinarySel(InputFile &input, ItemOut &out); // ipmitool sel writeraw: 16 bytes a record
void readHexSel(Lines &lines, ItemOut &out);        // ipmiutil sel -r, Get SEL Entry replies
void readFreeIpmiSel(Lines &lines, ItemOut &out);   // ipmi-sel --hex-dump
void readEventLines(Lines &lines, ItemOut &out);    // ipmitool sel save, sel add files

// SDR captures: sensor names by number.
void readSdrDump(InputFile &input, NameOut &out); // ipmitool sdr dump
void readSdrElist(Lines &lines, NameOut &out);    // ipmitool sdr elist
void readSdrCsv(Lines &lines, NameOut &out);      // number,name lines

// The lines ipmiutil writes around the records of `ipmiutil sel -r`.
bool isIpmiutilText(std::string_view line);

// A record as the BMC's SEL holds it, as an item: a system event record or an OEM one. Any other
// record type is a problem; returns false when the reading must stop.
bool addRecord(ItemOut &out, const Source &source, const u8 *record, bool manufacturerKnown = true);

} // namespace diagpanel
