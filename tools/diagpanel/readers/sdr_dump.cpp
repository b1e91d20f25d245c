// SPDX-License-Identifier: Apache-2.0
// `ipmitool sdr dump`: the SDR repository's records as they are stored, each a 5-byte header
// (ID, version, type, length) and its body. Full and compact sensor records name sensors; a
// compact record may stand for several sensors that share it.
#include <algorithm>
#include <string>

#include "tools/diagpanel/readers/readers.hpp"
#include "tools/diagpanel/readers/text.hpp"

namespace diagpanel {

namespace {

constexpr u8 kFullSensor = 0x01;
constexpr u8 kCompactSensor = 0x02;
constexpr u8 kBmc = 0x20; // the owner whose sensors a SEL names first
constexpr std::size_t kHeader = 5;
constexpr std::size_t kFullIdAt = 47;
constexpr std::size_t kCompactIdAt = 31;

// A sensor record's ID string: type/length code, then the bytes (8-bit ASCII or 6-bit packed).
std::optional<std::string> idString(std::string_view record, std::size_t at)
{
    if (at >= record.size()) {
        return std::nullopt;
    }
    const auto code = static_cast<u8>(record[at]);
    const std::size_t length = code & 0x1Fu;
    const unsigned type = code >> 6;
    if (at + 1 + length > record.size()) {
        return std::nullopt;
    }
    const std::string_view bytes = record.substr(at + 1, length);
    if (type == 3) {
        return std::string(bytes.substr(0, bytes.find('\0')));
    }
    if (type == 2) { // 6-bit packed ASCII: four characters in three bytes
        std::string out;
        unsigned bits = 0;
        unsigned held = 0;
        for (const char c : bytes) {
            bits |= static_cast<unsigned>(static_cast<u8>(c)) << held;
            for (held += 8; held >= 6; held -= 6, bits >>= 6) {
                out += static_cast<char>(0x20 + (bits & 0x3F));
            }
        }
        return std::string(trim(out));
    }
    return std::nullopt;
}

// Returns false when the reading must stop.
bool readSensor(NameOut &out, const Source &at, std::string_view record)
{
    const auto type = static_cast<u8>(record[3]);
    const std::optional<std::string> id =
        idString(record, type == kFullSensor ? kFullIdAt : kCompactIdAt);
    if (!id) {
        return out.problem(at, "sensor record without a readable ID string");
    }
    const auto owner = static_cast<u8>(record[5]);
    const bool preferred = owner == kBmc && (record[6] & 0x03) == 0;
    const auto number = static_cast<u8>(record[7]);
    // A compact record may stand for several sensors, named with a suffix.
    const bool compact = type == kCompactSensor;
    const unsigned share = compact ? (record[23] & 0x0F) : 0;
    const bool alpha = compact && (record[23] & 0x30) == 0x10;
    const unsigned first = compact ? (record[24] & 0x7F) : 0;
    for (unsigned i = 0; i < std::max(share, 1u) && number + i <= 0xFF; ++i) {
        std::string name = *id;
        if (share > 1) {
            name += alpha ? std::string(1, static_cast<char>('A' + (first + i) % 26))
                          : std::to_string(first + i);
        }
        out.add(at, static_cast<u8>(number + i), std::move(name), preferred);
    }
    return true;
}

} // namespace

void readSdrDump(InputFile &input, NameOut &out)
{
    for (std::string_view data = input.fill(kHeader); data.size() >= kHeader;
         data = input.fill(kHeader)) {
        const Source at = out.atByte(input.offset());
        const auto type = static_cast<u8>(data[3]);
        const std::size_t length = kHeader + static_cast<u8>(data[4]);
        const std::string_view record = input.fill(length).substr(0, length);
        if (record.size() < length) {
            out.problem(at, "record of " + std::to_string(length) + " bytes cut short");
            input.consume(record.size());
            return;
        }
        if ((type == kFullSensor || type == kCompactSensor) && !readSensor(out, at, record)) {
            return;
        }
        input.consume(length);
    }
    if (const std::string_view rest = input.fill(kHeader); !rest.empty()) {
        out.problem(out.atByte(input.offset()), "trailing bytes, not a whole SDR record header");
    }
}

} // namespace diagpanel
