// The inputs a replay reads: SEL captures in the four formats that the usual IPMI tools write,
// and scenario scripts. Each file becomes a list of items, in order, with where each came from.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <diagpanel/types.h>

namespace diagpanel {

// Where an item, or a fault in the input, is: a line of a text file or an offset in a binary one.
struct Source {
    std::string file;
    unsigned line = 0;         // from 1; 0 for binary files
    std::size_t offset = 0;    // binary files: the record's first byte
    std::string where() const; // "boot.scn:12" or "sel.bin@0x40"
};

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

struct Capture {
    Format format = Format::Auto;
    std::vector<Item> items;
    std::vector<Problem> problems; // unreadable lines or records, skipped
    std::vector<std::string> notes;
};

// Reads one input file; its format is detected from its content unless forced. With strict, the
// reading stops at the first problem.
Capture readCapture(const std::string &path, Format forced, bool strict);
// The same, from the file's content.
Capture parseCapture(const std::string &name, std::string_view content, Format forced, bool strict);

// Hex bytes of a text line ("0x1f", "1F"); nullopt names the first token that is not one.
struct HexBytes {
    std::vector<u8> bytes;
    std::string bad; // the first token that is not a hex byte
};
HexBytes hexBytes(std::string_view text);

// A number as "48", "0x30" or "30h".
std::optional<unsigned long> parseNumber(std::string_view text);

// The whole file, or nullopt when it cannot be read.
std::optional<std::string> readFile(const std::string &path);

// Text helpers shared by the readers.
std::string_view trim(std::string_view text);
std::vector<std::string_view> lines(std::string_view content); // without CR/LF
bool isBinary(std::string_view content);

} // namespace diagpanel
