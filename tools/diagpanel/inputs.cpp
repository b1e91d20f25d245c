#include "tools/diagpanel/inputs.hpp"

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <cstdio>
#include <map>

namespace diagpanel {

namespace {

constexpr std::size_t kSelLen = DIAG_PANEL_SEL_LEN;
constexpr u8 kSystemEventRecord = 0x02;
constexpr u8 kFirstOemTimestamped = 0xC0; // C0h-DFh: timestamped OEM records
constexpr u8 kFirstOemPlain = 0xE0;       // E0h-FFh: OEM records without a timestamp

// IPMI 2.0 sensor types, by code, for the timeline's record descriptions.
constexpr std::array<const char *, 0x2D> kSensorTypes = {
    "reserved",
    "temperature",
    "voltage",
    "current",
    "fan",
    "chassis intrusion",
    "security",
    "processor",
    "power supply",
    "power unit",
    "cooling device",
    "other units",
    "memory",
    "drive slot",
    "POST memory resize",
    "firmware progress",
    "event logging",
    "watchdog 1",
    "system event",
    "critical interrupt",
    "button/switch",
    "module/board",
    "microcontroller",
    "add-in card",
    "chassis",
    "chip set",
    "other FRU",
    "cable/interconnect",
    "terminator",
    "system boot",
    "boot error",
    "OS boot",
    "OS stop",
    "slot/connector",
    "ACPI power state",
    "watchdog 2",
    "platform alert",
    "entity presence",
    "monitor ASIC",
    "LAN",
    "management health",
    "battery",
    "session audit",
    "version change",
    "FRU state",
};

std::string hex(const u8 *bytes, std::size_t count)
{
    std::string out;
    char byte[4];
    for (std::size_t i = 0; i < count; ++i) {
        snprintf(byte, sizeof byte, i == 0 ? "%02x" : " %02x", bytes[i]);
        out += byte;
    }
    return out;
}

std::string_view withoutComment(std::string_view line)
{
    return line.substr(0, line.find('#'));
}

std::vector<std::string_view> words(std::string_view text)
{
    std::vector<std::string_view> out;
    std::size_t i = 0;
    while (i < text.size()) {
        while (i < text.size() && std::isspace(static_cast<unsigned char>(text[i])) != 0) {
            ++i;
        }
        const std::size_t start = i;
        while (i < text.size() && std::isspace(static_cast<unsigned char>(text[i])) == 0) {
            ++i;
        }
        if (i > start) {
            out.push_back(text.substr(start, i - start));
        }
    }
    return out;
}

std::optional<u8> hexByte(std::string_view token)
{
    if (token.size() > 2 && (token.starts_with("0x") || token.starts_with("0X"))) {
        token.remove_prefix(2);
    }
    unsigned value = 0;
    if (token.empty() || token.size() > 2 ||
        std::from_chars(token.data(), token.data() + token.size(), value, 16).ptr !=
            token.data() + token.size()) {
        return std::nullopt;
    }
    return static_cast<u8>(value);
}

// Collects items and problems of one file; with strict, the first problem ends the reading.
class Reader
{
  public:
    Reader(Capture &capture, std::string file, bool strict)
        : capture_(capture), file_(std::move(file)), strict_(strict)
    {
    }
    Source at(unsigned line, std::size_t offset = 0) const { return {file_, line, offset}; }
    // Returns false when the reading must stop.
    bool problem(const Source &source, std::string why)
    {
        capture_.problems.push_back({source, std::move(why)});
        return !strict_;
    }
    Item &add(const Source &source, Item::Kind kind, Timing timing)
    {
        Item &item = capture_.items.emplace_back();
        item.kind = kind;
        item.source = source;
        item.timing = timing;
        return item;
    }
    Item &addSel(const Source &source, const u8 *bytes, Timing timing)
    {
        Item &item = add(source, Item::Kind::Sel, timing);
        std::copy_n(bytes, kSelLen, item.sel.begin());
        return item;
    }

  private:
    Capture &capture_;
    std::string file_;
    bool strict_;
};

// A SEL record keeps its own time, unless it has none: FFFFFFFFh, or an OEM record without one.
Timing selTiming(const u8 *record)
{
    u32 timestamp = 0;
    for (int i = 3; i >= 0; --i) {
        timestamp = timestamp << 8 | record[3 + i];
    }
    return record[2] >= kFirstOemPlain || timestamp == 0xFFFFFFFFu ? Timing::AfterPrevious
                                                                   : Timing::SelTimestamp;
}

// A record of a capture: a system event record or an OEM one; any other type is no SEL record.
// Returns false when the reading must stop.
bool addCaptured(Reader &reader, const Source &source, const u8 *record)
{
    if (record[2] != kSystemEventRecord && record[2] < kFirstOemTimestamped) {
        char why[96];
        snprintf(why, sizeof why,
                 "record type %02Xh is neither a system event record (02h) nor OEM (C0h-FFh)",
                 record[2]);
        return reader.problem(source, why);
    }
    reader.addSel(source, record, selTiming(record));
    return true;
}

// 16 bytes a record, no header: what `ipmitool sel writeraw` writes.
void readBinary(Reader &reader, Capture &capture, std::string_view content)
{
    std::size_t offset = 0;
    for (; offset + kSelLen <= content.size(); offset += kSelLen) {
        const auto *record = reinterpret_cast<const u8 *>(content.data() + offset);
        const std::size_t before = capture.items.size();
        if (!addCaptured(reader, reader.at(0, offset), record)) {
            return;
        }
        if (capture.items.size() > before) {
            // ipmitool writes the manufacturer ID of C0h-DFh records in reverse byte order.
            capture.items.back().manufacturerKnown = record[2] < kFirstOemTimestamped;
        }
    }
    if (offset < content.size()) {
        reader.problem(reader.at(0, offset),
                       std::to_string(content.size() - offset) +
                           " bytes left at the end, not a whole 16-byte record");
    }
}

// One record a line: 16 hex bytes, or the 18 bytes of a Get SEL Entry reply (the next record ID
// first), which `ipmitool raw` wraps after 16 bytes.
void readHex(Reader &reader, std::string_view content)
{
    const std::vector<std::string_view> all = lines(content);
    for (std::size_t i = 0; i < all.size(); ++i) {
        const unsigned number = static_cast<unsigned>(i + 1);
        const std::string_view text = trim(withoutComment(all[i]));
        if (text.empty()) {
            continue;
        }
        HexBytes line = hexBytes(text);
        if (!line.bad.empty()) {
            if (!reader.problem(reader.at(number), "'" + line.bad + "' is not a hex byte")) {
                return;
            }
            continue;
        }
        if (line.bytes.size() == kSelLen && i + 1 < all.size()) {
            const HexBytes next = hexBytes(trim(withoutComment(all[i + 1])));
            if (next.bad.empty() && next.bytes.size() == 2) { // the wrapped end of a reply
                line.bytes.insert(line.bytes.end(), next.bytes.begin(), next.bytes.end());
                ++i;
            }
        }
        if (line.bytes.size() != kSelLen && line.bytes.size() != kSelLen + 2) {
            if (!reader.problem(reader.at(number),
                                "expected 16 hex bytes (or 18, a Get SEL Entry reply), found " +
                                    std::to_string(line.bytes.size()))) {
                return;
            }
            continue;
        }
        if (!addCaptured(reader, reader.at(number),
                         line.bytes.data() + (line.bytes.size() - kSelLen))) {
            return;
        }
    }
}

// `ipmi-sel --hex-dump`: RID:[01][00] RT:[02] TS:[..][..][..][..] GID:[..][..] ER:[..] ST:[..]
// SN:[..] EDIR:[..] ED1: [..] ED2: [..] ED3: [..]; OEM records carry MID and OEM fields instead.
struct Field {
    const char *name;
    std::size_t at;
    std::size_t count;
};
constexpr std::array<Field, 11> kSystemFields = {{{"RID", 0, 2},
                                                  {"RT", 2, 1},
                                                  {"TS", 3, 4},
                                                  {"GID", 7, 2},
                                                  {"ER", 9, 1},
                                                  {"ST", 10, 1},
                                                  {"SN", 11, 1},
                                                  {"EDIR", 12, 1},
                                                  {"ED1", 13, 1},
                                                  {"ED2", 14, 1},
                                                  {"ED3", 15, 1}}};
constexpr std::array<Field, 5> kOemFields = {
    {{"RID", 0, 2}, {"RT", 2, 1}, {"TS", 3, 4}, {"MID", 7, 3}, {"OEM", 10, 6}}};
constexpr std::array<Field, 3> kOemPlainFields = {{{"RID", 0, 2}, {"RT", 2, 1}, {"OEM", 3, 13}}};

std::optional<std::string> fieldsOfDump(std::string_view text,
                                        std::map<std::string, std::vector<u8>> &fields)
{
    std::size_t i = text.find("RID:");
    if (i == std::string_view::npos) {
        return "not an ipmi-sel hex dump line (no RID field)";
    }
    while (i < text.size()) {
        while (i < text.size() && std::isspace(static_cast<unsigned char>(text[i])) != 0) {
            ++i;
        }
        const std::size_t colon = text.find(':', i);
        if (i >= text.size() || colon == std::string_view::npos) {
            break;
        }
        const std::string name(trim(text.substr(i, colon - i)));
        std::vector<u8> &bytes = fields[name];
        i = colon + 1;
        while (i < text.size() && text[i] == ' ') {
            ++i;
        }
        while (i < text.size() && text[i] == '[') {
            const std::size_t close = text.find(']', i);
            const std::optional<u8> byte = close == std::string_view::npos
                                               ? std::nullopt
                                               : hexByte(text.substr(i + 1, close - i - 1));
            if (!byte) {
                return "field " + name + ": '" + std::string(text.substr(i, 4)) +
                       "' is not a bracketed hex byte";
            }
            bytes.push_back(*byte);
            i = close + 1;
        }
        if (bytes.empty()) {
            return "field " + name + " has no bytes";
        }
    }
    return std::nullopt;
}

void readFreeIpmi(Reader &reader, std::string_view content)
{
    const std::vector<std::string_view> all = lines(content);
    for (std::size_t i = 0; i < all.size(); ++i) {
        const unsigned number = static_cast<unsigned>(i + 1);
        const std::string_view text = trim(all[i]);
        if (text.empty() || text.front() == '#') {
            continue;
        }
        std::map<std::string, std::vector<u8>> fields;
        std::optional<std::string> why = fieldsOfDump(text, fields);
        u8 record[kSelLen] = {};
        if (!why) {
            const u8 type = fields.count("RT") != 0 && !fields["RT"].empty() ? fields["RT"][0] : 0;
            std::vector<Field> layout(kSystemFields.begin(), kSystemFields.end());
            if (type >= kFirstOemPlain) {
                layout.assign(kOemPlainFields.begin(), kOemPlainFields.end());
            } else if (type >= kFirstOemTimestamped) {
                layout.assign(kOemFields.begin(), kOemFields.end());
            }
            for (const Field &field : layout) {
                const auto found = fields.find(field.name);
                if (found == fields.end()) {
                    why = std::string("no ") + field.name + " field";
                    break;
                }
                if (found->second.size() != field.count) {
                    why = std::string(field.name) + " needs " + std::to_string(field.count) +
                          " bytes, found " + std::to_string(found->second.size());
                    break;
                }
                std::copy(found->second.begin(), found->second.end(), record + field.at);
            }
        }
        if (why) {
            if (!reader.problem(reader.at(number), *why)) {
                return;
            }
            continue;
        }
        if (!addCaptured(reader, reader.at(number), record)) {
            return;
        }
    }
}

// `ipmitool sel add` / `event file` lines: event message revision, sensor type, sensor number,
// event dir/type and event data 1-3. The rest of the record is ours to supply.
void readEvents(Reader &reader, Capture &capture, std::string_view content)
{
    const std::vector<std::string_view> all = lines(content);
    u16 recordId = 1;
    for (std::size_t i = 0; i < all.size(); ++i) {
        const unsigned number = static_cast<unsigned>(i + 1);
        const std::string_view text = trim(withoutComment(all[i]));
        if (text.empty()) {
            continue;
        }
        const HexBytes line = hexBytes(text);
        std::string why;
        if (!line.bad.empty()) {
            why = "'" + line.bad + "' is not a hex byte";
        } else if (line.bytes.size() != 7) {
            why = "expected 7 hex bytes (event message revision, sensor type, sensor number, "
                  "event dir/type, event data 1-3), found " +
                  std::to_string(line.bytes.size());
        }
        if (!why.empty()) {
            if (!reader.problem(reader.at(number), why)) {
                return;
            }
            continue;
        }
        const u8 record[kSelLen] = {static_cast<u8>(recordId),
                                    static_cast<u8>(recordId >> 8),
                                    kSystemEventRecord,
                                    0xFF,
                                    0xFF,
                                    0xFF,
                                    0xFF,
                                    0x20,
                                    0x00,
                                    line.bytes[0],
                                    line.bytes[1],
                                    line.bytes[2],
                                    line.bytes[3],
                                    line.bytes[4],
                                    line.bytes[5],
                                    line.bytes[6]};
        reader.addSel(reader.at(number), record, Timing::OneStepLater);
        ++recordId;
    }
    capture.notes.push_back("ipmitool event lines carry no record ID, time, generator or record "
                            "type: supplied IDs from 1, type 02h, generator 0020h (BMC), one "
                            "record every 4 s");
}

std::optional<uint64_t> duration(std::string_view text)
{
    uint64_t scale = 1;
    if (!text.empty() && (text.back() == 's' || text.back() == 'm' || text.back() == 'h')) {
        scale = text.back() == 'h' ? 3600 : text.back() == 'm' ? 60 : 1;
        text.remove_suffix(1);
    }
    uint64_t value = 0;
    if (text.empty() || std::from_chars(text.data(), text.data() + text.size(), value).ptr !=
                            text.data() + text.size()) {
        return std::nullopt;
    }
    return value * scale;
}

constexpr std::array<const char *, 7> kScenarioWords = {"post",   "sel", "wait", "diag-mode",
                                                        "sensor", "fan", "#"};

// One scenario line into an item; returns why it cannot be read, or "" when it was read.
std::string scenarioLine(Reader &reader, const Source &at, std::string_view text, uint64_t &clock)
{
    const std::vector<std::string_view> w = words(text);
    const std::string_view verb = w[0];
    auto add = [&](Item::Kind kind) -> Item & { return reader.add(at, kind, Timing::Offset); };
    if (verb == "wait") {
        const std::optional<uint64_t> seconds = w.size() == 2 ? duration(w[1]) : std::nullopt;
        if (!seconds) {
            return "wait needs a duration such as 12s, 5m or 2h";
        }
        clock += *seconds;
        add(Item::Kind::Wait);
    } else if (verb == "post") {
        static const std::map<std::string_view, u32> kEvents = {
            {"start", DIAG_PANEL_EVENT_POST_START},
            {"end", DIAG_PANEL_EVENT_POST_END},
            {"progress", DIAG_PANEL_EVENT_POST_PROGRESS},
            {"stop", DIAG_PANEL_EVENT_POST_STOP}};
        if (w.size() >= 2 && w[1] == "code") {
            const HexBytes codes = hexBytes(text.substr(text.find("code") + 4));
            if (codes.bytes.empty() || !codes.bad.empty()) {
                return "post code needs the POST codes the host wrote, as hex bytes";
            }
            add(Item::Kind::PostCodes).codes = codes.bytes;
        } else if (w.size() >= 2 && kEvents.count(w[1]) != 0) {
            const u32 type = kEvents.at(w[1]);
            const bool progress = type == DIAG_PANEL_EVENT_POST_PROGRESS;
            std::optional<unsigned long> percent = 0;
            if (progress) {
                percent = w.size() == 3 ? parseNumber(w[2]) : std::nullopt;
                if (!percent || *percent > 255) {
                    return "post progress needs a percentage, 0 to 255 (the panel shows the "
                           "last two digits)";
                }
            }
            if (w.size() != (progress ? 3u : 2u)) {
                return "post " + std::string(w[1]) + " takes no argument";
            }
            Item &item = add(Item::Kind::Event);
            item.eventType = type;
            item.percent = static_cast<u8>(*percent);
        } else {
            return "post needs start, progress N, end, stop or code XX...";
        }
    } else if (verb == "sel") {
        std::string_view bytes = text.substr(3);
        std::optional<unsigned long> level;
        if (const std::size_t l = bytes.find("level"); l != std::string_view::npos) {
            const std::vector<std::string_view> rest = words(bytes.substr(l + 5));
            level = rest.size() == 1 ? parseNumber(rest[0]) : std::nullopt;
            if (!level || *level > 255) {
                return "level needs a severity code, 0 to 255";
            }
            bytes = bytes.substr(0, l);
        }
        const HexBytes record = hexBytes(bytes);
        if (!record.bad.empty() || record.bytes.size() != kSelLen) {
            return record.bad.empty()
                       ? "sel needs 16 hex bytes, found " + std::to_string(record.bytes.size())
                       : "'" + record.bad + "' is not a hex byte";
        }
        Item &item = reader.addSel(at, record.bytes.data(), Timing::Offset);
        item.severity = level ? std::optional<u8>(static_cast<u8>(*level)) : std::nullopt;
    } else if (verb == "diag-mode" || verb == "fan") {
        const bool fan = verb == "fan";
        const std::string_view state = w.size() == (fan ? 3u : 2u) ? w.back() : "";
        const std::optional<unsigned long> number = fan ? parseNumber(w[1]) : 0;
        const bool on = state == (fan ? "error" : "on");
        if ((!on && state != (fan ? "ok" : "off")) || !number || *number > 256 ||
            (fan && *number == 0)) {
            return fan ? "fan needs its number (from 1) and error or ok"
                       : "diag-mode needs on or off";
        }
        Item &item = add(fan ? Item::Kind::FanError : Item::Kind::DiagMode);
        item.on = on;
        item.number = static_cast<u8>(*number);
    } else if (verb == "sensor") {
        const std::optional<unsigned long> number =
            w.size() >= 3 ? parseNumber(w[1]) : std::nullopt;
        if (!number || *number > 255) {
            return "sensor needs a sensor number (0 to 255, such as 30h) and a name";
        }
        Item &item = add(Item::Kind::SensorName);
        item.number = static_cast<u8>(*number);
        item.name = trim(text.substr(text.find(w[1]) + w[1].size()));
    } else {
        return "unknown command '" + std::string(verb) + "'";
    }
    return "";
}

void readScenario(Reader &reader, Capture &capture, std::string_view content)
{
    const std::vector<std::string_view> all = lines(content);
    uint64_t clock = 0;
    for (std::size_t i = 0; i < all.size(); ++i) {
        const std::string_view text = trim(withoutComment(all[i]));
        if (text.empty()) {
            continue;
        }
        const std::size_t before = capture.items.size();
        const std::string why =
            scenarioLine(reader, reader.at(static_cast<unsigned>(i + 1)), text, clock);
        if (!why.empty()) {
            capture.items.resize(before);
        }
        for (std::size_t k = before; k < capture.items.size(); ++k) {
            capture.items[k].offset = clock;
        }
        if (!why.empty() && !reader.problem(reader.at(static_cast<unsigned>(i + 1)), why)) {
            return;
        }
    }
}

Format detect(std::string_view content)
{
    if (isBinary(content)) {
        return Format::Binary;
    }
    for (const std::string_view line : lines(content)) {
        const std::string_view text = trim(line);
        if (text.empty() || text.front() == '#') {
            continue;
        }
        if (text.find("RID:") != std::string_view::npos) {
            return Format::FreeIpmi;
        }
        const std::string_view first = words(text)[0];
        if (std::find(kScenarioWords.begin(), kScenarioWords.end(), first) !=
            kScenarioWords.end()) {
            return Format::Scenario;
        }
        return hexBytes(withoutComment(text)).bytes.size() == 7 ? Format::Events : Format::Hex;
    }
    return Format::Hex;
}

} // namespace

std::string Source::where() const
{
    if (line == 0) {
        char at[32];
        snprintf(at, sizeof at, "@0x%zx", offset);
        return file + at;
    }
    return file + ":" + std::to_string(line);
}

std::optional<Format> formatByName(std::string_view name)
{
    for (const Format f : {Format::Auto, Format::Binary, Format::Hex, Format::FreeIpmi,
                           Format::Events, Format::Scenario}) {
        if (name == formatName(f)) {
            return f;
        }
    }
    return std::nullopt;
}

const char *formatName(Format format)
{
    switch (format) {
    case Format::Auto:
        return "auto";
    case Format::Binary:
        return "binary";
    case Format::Hex:
        return "hex";
    case Format::FreeIpmi:
        return "ipmi-sel";
    case Format::Events:
        return "events";
    case Format::Scenario:
        return "scenario";
    }
    return "?";
}

std::string Item::describe() const
{
    char text[160];
    switch (kind) {
    case Kind::Sel: {
        const u8 type = sel[2];
        const unsigned id = sel[0] | sel[1] << 8;
        if (type >= kFirstOemTimestamped) {
            snprintf(text, sizeof text, "SEL %04x: OEM record %02Xh", id, type);
            std::string out = text;
            if (type < kFirstOemPlain && manufacturerKnown) {
                snprintf(text, sizeof text, ", manufacturer %06x",
                         sel[7] | sel[8] << 8 | sel[9] << 16);
                out += text;
            }
            return out;
        }
        if (type != kSystemEventRecord) {
            snprintf(text, sizeof text, "SEL %04x: record type %02Xh", id, type);
            return text;
        }
        const char *sensor = sel[10] < kSensorTypes.size() ? kSensorTypes[sel[10]] : "OEM sensor";
        snprintf(text, sizeof text, "SEL %04x: %s %02Xh, type %02Xh %s, data %s", id, sensor,
                 sel[11], sel[12] & 0x7F, (sel[12] & 0x80) != 0 ? "deasserted" : "asserted",
                 hex(sel.data() + 13, 3).c_str());
        std::string out = text;
        if (severity) {
            out += ", level " + std::to_string(*severity);
        }
        return out;
    }
    case Kind::Event: {
        static constexpr std::array<const char *, 4> kNames = {"POST start", "POST end",
                                                               "POST progress", "POST stop"};
        std::string out = eventType < kNames.size() ? kNames[eventType] : "display event";
        return eventType == DIAG_PANEL_EVENT_POST_PROGRESS
                   ? out + " " + std::to_string(percent) + "%"
                   : out;
    }
    case Kind::DiagMode:
        return std::string("diagnostic mode ") + (on ? "on" : "off");
    case Kind::SensorName:
        snprintf(text, sizeof text, "sensor %02Xh is \"%s\"", number, name.c_str());
        return text;
    case Kind::FanError:
        return "fan " + std::to_string(number) + (on ? " in error" : " ok");
    case Kind::PostCodes:
        return "POST codes " + hex(codes.data(), codes.size());
    case Kind::Wait:
        return "wait";
    }
    return "";
}

HexBytes hexBytes(std::string_view text)
{
    HexBytes out;
    for (const std::string_view token : words(text)) {
        const std::optional<u8> byte = hexByte(token);
        if (!byte) {
            out.bad = token;
            break;
        }
        out.bytes.push_back(*byte);
    }
    return out;
}

std::optional<unsigned long> parseNumber(std::string_view text)
{
    int base = 10;
    if (text.size() > 2 && (text.starts_with("0x") || text.starts_with("0X"))) {
        text.remove_prefix(2);
        base = 16;
    } else if (text.size() > 1 && (text.back() == 'h' || text.back() == 'H')) {
        text.remove_suffix(1);
        base = 16;
    }
    unsigned long value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, base);
    if (text.empty() || error != std::errc() || end != text.data() + text.size()) {
        return std::nullopt;
    }
    return value;
}

std::string_view trim(std::string_view text)
{
    while (!text.empty() && std::isspace(static_cast<unsigned char>(text.front())) != 0) {
        text.remove_prefix(1);
    }
    while (!text.empty() && std::isspace(static_cast<unsigned char>(text.back())) != 0) {
        text.remove_suffix(1);
    }
    return text;
}

std::vector<std::string_view> lines(std::string_view content)
{
    std::vector<std::string_view> out;
    while (!content.empty()) {
        const std::size_t end = content.find('\n');
        std::string_view line = content.substr(0, end);
        if (!line.empty() && line.back() == '\r') {
            line.remove_suffix(1);
        }
        out.push_back(line);
        content = end == std::string_view::npos ? std::string_view() : content.substr(end + 1);
    }
    return out;
}

bool isBinary(std::string_view content)
{
    return std::any_of(content.begin(), content.end(), [](char c) {
        const auto byte = static_cast<unsigned char>(c);
        return (byte < 0x20 && byte != '\t' && byte != '\n' && byte != '\r' && byte != '\f') ||
               byte == 0x7F;
    });
}

Capture parseCapture(const std::string &name, std::string_view content, Format forced, bool strict)
{
    Capture capture;
    capture.format = forced == Format::Auto ? detect(content) : forced;
    Reader reader(capture, name, strict);
    if (capture.format != Format::Binary && isBinary(content)) {
        reader.problem(reader.at(0),
                       std::string("binary content, not ") + formatName(capture.format) + " text");
        return capture;
    }
    switch (capture.format) {
    case Format::Binary:
        readBinary(reader, capture, content);
        break;
    case Format::Hex:
        readHex(reader, content);
        break;
    case Format::FreeIpmi:
        readFreeIpmi(reader, content);
        break;
    case Format::Events:
        readEvents(reader, capture, content);
        break;
    case Format::Scenario:
    case Format::Auto:
        readScenario(reader, capture, content);
        break;
    }
    return capture;
}

std::optional<std::string> readFile(const std::string &path)
{
    FILE *file = fopen(path.c_str(), "rb");
    if (file == nullptr) {
        return std::nullopt;
    }
    std::string content;
    char buffer[65536];
    for (std::size_t got = 0; (got = fread(buffer, 1, sizeof buffer, file)) > 0;) {
        content.append(buffer, got);
    }
    const bool failed = ferror(file) != 0;
    fclose(file);
    return failed ? std::nullopt : std::optional<std::string>(std::move(content));
}

Capture readCapture(const std::string &path, Format forced, bool strict)
{
    const std::optional<std::string> content = readFile(path);
    if (!content) {
        Capture capture;
        capture.problems.push_back({{path, 0, 0}, "cannot be read"});
        return capture;
    }
    return parseCapture(path, *content, forced, strict);
}

} // namespace diagpanel
