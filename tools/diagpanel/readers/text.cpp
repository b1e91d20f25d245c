// SPDX-License-Identifier: Apache-2.0
#include "tools/diagpanel/readers/text.hpp"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cstdio>

namespace diagpanel {

namespace {

bool isSpace(char c)
{
    return std::isspace(static_cast<unsigned char>(c)) != 0;
}

} // namespace

std::string_view trim(std::string_view text)
{
    while (!text.empty() && isSpace(text.front())) {
        text.remove_prefix(1);
    }
    while (!text.empty() && isSpace(text.back())) {
        text.remove_suffix(1);
    }
    return text;
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
        while (i < text.size() && isSpace(text[i])) {
            ++i;
        }
        const std::size_t start = i;
        while (i < text.size() && !isSpace(text[i])) {
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

std::optional<unsigned long> boardId(std::string_view text)
{
    const bool hex = text.starts_with("0x") || text.starts_with("0X") || text.ends_with('h') ||
                     text.ends_with('H');
    return hex ? parseNumber(text) : std::nullopt;
}

std::string quoted(std::string_view text)
{
    constexpr std::size_t kLongest = 40;
    std::string out = "'";
    for (const char c : text.substr(0, kLongest)) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < 0x20 || byte >= 0x7F) {
            char escaped[8];
            snprintf(escaped, sizeof escaped, "\\x%02X", byte);
            out += escaped;
        } else {
            out += c;
        }
    }
    return out + (text.size() > kLongest ? "...'" : "'");
}

bool isBinary(std::string_view content)
{
    return std::any_of(content.begin(), content.end(), [](char c) {
        const auto byte = static_cast<unsigned char>(c);
        return (byte < 0x20 && byte != '\t' && byte != '\n' && byte != '\r' && byte != '\f') ||
               byte == 0x7F;
    });
}

} // namespace diagpanel
