// SPDX-License-Identifier: Apache-2.0
// Text helpers the readers share: words, hex bytes and numbers as the IPMI tools write them, and
// input text quoted safely into a message.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <diagpanel/types.h>

namespace diagpanel {

std::string_view trim(std::string_view text);
std::string_view withoutComment(std::string_view line); // up to the first '#'
std::vector<std::string_view> words(std::string_view text);

// "1f", "0x1F": one byte.
std::optional<u8> hexByte(std::string_view token);

// The hex bytes of a text; `bad` holds the first word that is not one.
struct HexBytes {
    std::vector<u8> bytes;
    std::string bad;
};
HexBytes hexBytes(std::string_view text);

// A number as "48", "0x30" or "30h".
std::optional<unsigned long> parseNumber(std::string_view text);

// A board identifier as 0x01030103 or 01030103h; nullopt when it is written otherwise.
std::optional<unsigned long> boardId(std::string_view text);

// Input text for a message, between quotes: control bytes as \xNN, at most 40 bytes.
std::string quoted(std::string_view text);

// Bytes no text file holds: a file with one is binary.
bool isBinary(std::string_view content);

} // namespace diagpanel
