// SPDX-License-Identifier: Apache-2.0
#include "tools/diagpanel/readers/scenario.hpp"

#include <charconv>
#include <string>
#include <vector>

#include "tools/diagpanel/readers/text.hpp"

namespace diagpanel {

namespace {

struct Command {
    std::string_view text; // the line, without its comment
    std::vector<std::string_view> words;
    Item item; // filled in by the command's parser
};

// Each command's parser returns why the line cannot be read, or "".
using Parser = std::string (*)(Command &, uint64_t &clock);

std::optional<uint64_t> duration(std::string_view text)
{
    struct Unit {
        char suffix;
        uint64_t seconds;
    };
    static constexpr std::array<Unit, 3> kUnits = {{{'s', 1}, {'m', 60}, {'h', 3600}}};
    uint64_t scale = 1;
    for (const Unit &unit : kUnits) {
        if (!text.empty() && text.back() == unit.suffix) {
            scale = unit.seconds;
            text.remove_suffix(1);
            break;
        }
    }
    uint64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (text.empty() || end != text.data() + text.size()) {
        return std::nullopt;
    }
    // Past the longest scenario (or past 64 bits) is refused by the caller.
    const bool tooLong = error != std::errc() || value > kLongestScenario / scale;
    return tooLong ? kLongestScenario + 1 : value * scale;
}

std::string wait(Command &c, uint64_t &clock)
{
    const std::optional<uint64_t> seconds =
        c.words.size() == 2 ? duration(c.words[1]) : std::nullopt;
    if (!seconds) {
        return "wait needs a duration such as 12s, 5m or 2h";
    }
    if (*seconds > kLongestScenario - clock) {
        return "wait would take the scenario past FFFFFFFFh seconds (136 years), the SEL "
               "clock's range";
    }
    clock += *seconds;
    c.item.kind = Item::Kind::Wait;
    return "";
}

std::string post(Command &c, uint64_t &)
{
    struct Event {
        std::string_view word;
        u32 type;
    };
    static constexpr std::array<Event, 4> kEvents = {{{"start", DIAG_PANEL_EVENT_POST_START},
                                                      {"end", DIAG_PANEL_EVENT_POST_END},
                                                      {"progress", DIAG_PANEL_EVENT_POST_PROGRESS},
                                                      {"stop", DIAG_PANEL_EVENT_POST_STOP}}};
    const std::string_view what = c.words.size() >= 2 ? c.words[1] : "";
    if (what == "code") {
        const HexBytes codes = hexBytes(c.text.substr(c.text.find("code") + 4));
        if (codes.bytes.empty() || !codes.bad.empty()) {
            return "post code needs the POST codes the host wrote, as hex bytes";
        }
        c.item.kind = Item::Kind::PostCodes;
        c.item.codes = codes.bytes;
        return "";
    }
    for (const Event &event : kEvents) {
        if (what != event.word) {
            continue;
        }
        const bool progress = event.type == DIAG_PANEL_EVENT_POST_PROGRESS;
        if (progress) {
            const std::optional<unsigned long> percent =
                c.words.size() == 3 ? parseNumber(c.words[2]) : std::nullopt;
            if (!percent || *percent > 0xFF) {
                return "post progress needs a percentage, 0 to 255 (the panel shows the last "
                       "two digits)";
            }
            c.item.percent = static_cast<u8>(*percent);
        } else if (c.words.size() != 2) {
            return "post " + std::string(what) + " takes no argument";
        }
        c.item.kind = Item::Kind::Event;
        c.item.eventType = event.type;
        return "";
    }
    return "post needs start, progress N, end, stop or code XX...";
}

std::string sel(Command &c, uint64_t &)
{
    std::string_view bytes = c.text.substr(c.words[0].size());
    if (const std::size_t l = bytes.find("level"); l != std::string_view::npos) {
        const std::vector<std::string_view> rest = words(bytes.substr(l + 5));
        const std::optional<unsigned long> level =
            rest.size() == 1 ? parseNumber(rest[0]) : std::nullopt;
        if (!level || *level > 0xFF) {
            return "level needs a severity code, 0 to 255";
        }
        c.item.severity = static_cast<u8>(*level);
        bytes = bytes.substr(0, l);
    }
    const HexBytes record = hexBytes(bytes);
    if (!record.bad.empty()) {
        return quoted(record.bad) + " is not a hex byte";
    }
    if (record.bytes.size() != kSelLen) {
        return "sel needs 16 hex bytes, found " + std::to_string(record.bytes.size());
    }
    c.item.kind = Item::Kind::Sel;
    std::copy(record.bytes.begin(), record.bytes.end(), c.item.sel.begin());
    return "";
}

std::string diagMode(Command &c, uint64_t &)
{
    const std::string_view state = c.words.size() == 2 ? c.words[1] : "";
    if (state != "on" && state != "off") {
        return "diag-mode needs on or off";
    }
    c.item.kind = Item::Kind::DiagMode;
    c.item.on = state == "on";
    return "";
}

std::string fan(Command &c, uint64_t &)
{
    const std::optional<unsigned long> number =
        c.words.size() == 3 ? parseNumber(c.words[1]) : std::nullopt;
    const std::string_view state = c.words.size() == 3 ? c.words[2] : "";
    if (!number || *number == 0 || *number > 0xFF || (state != "error" && state != "ok")) {
        return "fan needs its number (1 to 255) and error or ok";
    }
    c.item.kind = Item::Kind::FanError;
    c.item.number = static_cast<u8>(*number);
    c.item.on = state == "error";
    return "";
}

std::string sensor(Command &c, uint64_t &)
{
    const std::optional<unsigned long> number =
        c.words.size() >= 3 ? parseNumber(c.words[1]) : std::nullopt;
    if (!number || *number > 0xFF) {
        return "sensor needs a sensor number (0 to 255, such as 30h) and a name";
    }
    c.item.kind = Item::Kind::SensorName;
    c.item.number = static_cast<u8>(*number);
    // The name: everything after the number, blanks inside kept.
    c.item.name = trim(c.text.substr(
        static_cast<std::size_t>(c.words[1].data() + c.words[1].size() - c.text.data())));
    return "";
}

struct Verb {
    std::string_view word;
    Parser parse;
};
constexpr std::array<Verb, kScenarioVerbs.size()> kVerbs = {{{kScenarioVerbs[0], post},
                                                             {kScenarioVerbs[1], sel},
                                                             {kScenarioVerbs[2], wait},
                                                             {kScenarioVerbs[3], diagMode},
                                                             {kScenarioVerbs[4], sensor},
                                                             {kScenarioVerbs[5], fan}}};

} // namespace

void readScenario(Lines &lines, ItemOut &out)
{
    uint64_t clock = 0; // seconds from the start of the file
    while (const std::optional<std::string_view> line = lines.next()) {
        Command c{trim(withoutComment(*line)), {}, {}};
        if (c.text.empty()) {
            continue;
        }
        c.words = words(c.text);
        std::string why = "unknown command " + quoted(c.words[0]);
        for (const Verb &verb : kVerbs) {
            if (verb.word == c.words[0]) {
                why = verb.parse(c, clock);
            }
        }
        if (!why.empty()) {
            if (!out.problem(lines.at(), why)) {
                return;
            }
            continue;
        }
        c.item.source = lines.at();
        c.item.timing = Timing::Offset;
        c.item.offset = clock;
        out.add(c.item);
    }
}

} // namespace diagpanel
