// SPDX-License-Identifier: Apache-2.0
// `ipmi-sel --hex-dump`: each record's 16 bytes in record order, bracketed, under the labels of a
// system event record ("RID:[01][00] RT:[02] TS:[..][..][..][..] GID:[..][..] ER:[..] ST:[..]
// SN:[..] EDIR:[..] ED1: [..] ED2: [..] ED3: [..]"). FreeIPMI prints OEM records (C0h-FFh) under
// the same labels, so the bytes are read by position and the record reaches the library whole.
#include <array>
#include <string>

#include "tools/diagpanel/readers/readers.hpp"
#include "tools/diagpanel/readers/text.hpp"

namespace diagpanel {

namespace {

struct Field {
    std::string_view label;
    std::size_t count; // bytes
};
constexpr std::array<Field, 11> kFields = {{{"RID", 2},
                                            {"RT", 1},
                                            {"TS", 4},
                                            {"GID", 2},
                                            {"ER", 1},
                                            {"ST", 1},
                                            {"SN", 1},
                                            {"EDIR", 1},
                                            {"ED1", 1},
                                            {"ED2", 1},
                                            {"ED3", 1}}};
static_assert(
    [] {
        std::size_t bytes = 0;
        for (const Field &f : kFields) {
            bytes += f.count;
        }
        return bytes == kSelLen;
    }(),
    "the labels cover a record");

// What FreeIPMI writes to the same stream while it reads the SDR first.
constexpr std::string_view kSdrCacheText = "Caching SDR ";

// The line's record, or why it is not one.
std::string recordOf(std::string_view text, u8 *record)
{
    std::size_t at = 0;
    for (const Field &field : kFields) {
        text = trim(text);
        if (!text.starts_with(field.label) || text.substr(field.label.size(), 1) != ":") {
            return "expected the field " + std::string(field.label) + ":, found " +
                   (text.empty() ? "the end of the line" : quoted(text.substr(0, 8)));
        }
        text = trim(text.substr(field.label.size() + 1));
        for (std::size_t i = 0; i < field.count; ++i) {
            const std::size_t close = text.find(']');
            const std::optional<u8> byte = text.starts_with('[') && close != std::string_view::npos
                                               ? hexByte(text.substr(1, close - 1))
                                               : std::nullopt;
            if (!byte) {
                return std::string(field.label) + " needs " + std::to_string(field.count) +
                       (field.count == 1 ? " bracketed hex byte" : " bracketed hex bytes") +
                       ", found " +
                       (text.empty() ? "the end of the line" : quoted(text.substr(0, 4)));
            }
            record[at++] = *byte;
            text.remove_prefix(close + 1);
        }
    }
    return trim(text).empty() ? "" : "unexpected text after ED3: " + quoted(trim(text));
}

} // namespace

void readFreeIpmiSel(Lines &lines, ItemOut &out)
{
    while (const std::optional<std::string_view> line = lines.next()) {
        if (line->front() == '#' || line->starts_with(kSdrCacheText)) {
            continue;
        }
        u8 record[kSelLen] = {};
        const std::string why = recordOf(*line, record);
        if (!why.empty() ? !out.problem(lines.at(), why) : !addRecord(out, lines.at(), record)) {
            return;
        }
    }
}

} // namespace diagpanel
