// SPDX-License-Identifier: Apache-2.0
// What a replay plays: items read from SEL captures in the formats that the usual IPMI tools
// write and from scenario scripts, in order, each with where it came from.
#pragma once

#include <array>
#include <cstdint>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <diagpanel/types.h>

namespace diagpanel {

// Where an item, or a fault in the input, is: a line of a text file or an offset in a binary one.
struct Source {
    static constexpr std::size_t kWholeFile = SIZE_MAX; // offset: the file as a whole
    std::string file;
    unsigned line = 0;         // from 1; 0 for binary files
    std::size_t offset = 0;    // binary files: the record's first byte
    std::string where() const; // "boot.scn:12", "sel.bin@0x40", or "sel.bin"
};

// SEL record types.
constexpr std::size_t kSelLen = DIAG_PANEL_SEL_LEN;
constexpr u8 kSystemEventRecord = 0x02;
constexpr u8 kFirstOemTimestamped = 0xC0; // C0h-DFh: timestamped OEM records
constexpr u8 kFirstOemPlain = 0xE0;       // E0h-FFh: OEM records without a timestamp

enum class Format { Auto, Binary, Hex, FreeIpmi, Events, Scenario };
std::optional<Format> formatByName(std::string_view name);
const char *formatName(Format format);

// When an item happens, before the replay maps it onto its virtual clock.
enum class Timing {
    SelTimestamp, // the record's own timestamp (bytes 3-6)
    AfterPrevious,
    Offset,       // seconds from the start of its file (scenario)
    OneStepLater, // 4 s after the previous item (ipmitool event lines, which carry no time)
};

struct Item {
    enum class Kind { Sel, Event, DiagMode, SensorName, FanError, PostCodes, Wait };
    Kind kind = Kind::Sel;
    Source source;
    Timing timing = Timing::AfterPrevious;
    uint64_t offset = 0; // Timing::Offset

    std::array<u8, DIAG_PANEL_SEL_LEN> sel{};
    std::optional<u8> severity;    // a scenario line's own "level N"
    bool manufacturerKnown = true; // false: binary capture, OEM manufacturer ID bytes reversed

    u32 eventType = 0; // Kind::Event
    u8 percent = 0;
    bool on = false;       // Kind::DiagMode, Kind::FanError
    u8 number = 0;         // Kind::SensorName (sensor number), Kind::FanError (fan, from 1)
    std::string name;      // Kind::SensorName
    std::vector<u8> codes; // Kind::PostCodes

    std::string describe() const; // one line, for the timeline
};

struct Problem {
    Source source;
    std::string why;
};

} // namespace diagpanel
