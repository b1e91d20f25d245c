// SPDX-License-Identifier: Apache-2.0
#include "tools/diagpanel/readers/inputs.hpp"

#include <array>
#include <cstdio>

namespace diagpanel {

namespace {

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

// "a1 00 60": a line of the timeline a record, so without the C library's formatting.
std::string hex(const u8 *bytes, std::size_t count)
{
    static constexpr char kDigits[] = "0123456789abcdef";
    std::string out;
    for (std::size_t i = 0; i < count; ++i) {
        if (i > 0) {
            out += ' ';
        }
        out += kDigits[bytes[i] >> 4];
        out += kDigits[bytes[i] & 0xF];
    }
    return out;
}

} // namespace

std::string Source::where() const
{
    if (line == 0 && offset == kWholeFile) {
        return file;
    }
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
        const auto id = static_cast<unsigned>(sel[0] | sel[1] << 8);
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

} // namespace diagpanel
