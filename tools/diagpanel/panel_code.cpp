// SPDX-License-Identifier: Apache-2.0
#include "tools/diagpanel/panel_code.hpp"

#include <array>
#include <bit>
#include <cstdio>

namespace tools {

namespace {
constexpr std::array<const char *, 12> kTypeNames = {
    "processor", "memory",      "disk", "PCIe slot",   "RAID",          "power supply",
    "fan",       "board logic", "POST", "temperature", "power capping", "board logic (ext)",
};
constexpr uint32_t kOneHotBits = 0x03FFC000u;  // bits 14-25: one-hot fault types 0..11
constexpr uint32_t kNumericBits = 0x3FFFC000u; // bits 14-29: the type as a number
constexpr uint32_t kNothing = 0x00004000u;     // the empty head, one-hot

// The words of a decoded code whose type, index and level are set.
std::string words(const DecodedCode &d)
{
    if (d.faultType == 8) {
        if (d.level == 1 && d.index == 0x99) {
            return "POST end";
        }
        if (d.level == 1) {
            return "POST progress " + indexWords(d.index) + "%";
        }
        if (d.level == 2) {
            return "POST error, code " + indexWords(d.index) + "h";
        }
        return "POST fault " + indexWords(d.index) + ", level " + std::to_string(d.level);
    }
    return componentWords(d.faultType, d.index) + ", level " + std::to_string(d.level);
}

} // namespace

std::string indexWords(unsigned index)
{
    char text[8];
    snprintf(text, sizeof text, "%02X", index & 0xFFu);
    return text;
}

const char *faultTypeName(unsigned type)
{
    return type < kTypeNames.size() ? kTypeNames[type] : "unknown";
}

std::string componentWords(unsigned type, unsigned index)
{
    return std::string(faultTypeName(type)) + " " + indexWords(index);
}

DecodedCode decodePanelCode(uint32_t code, Encoding encoding)
{
    DecodedCode d;
    if (encoding == Encoding::OneHot) {
        const uint32_t typeBits = code & kOneHotBits;
        if (std::popcount(typeBits) != 1 || (code & 0x3C000000u) != 0) {
            d.words = "not a one-hot panel code";
            return d;
        }
        d.faultType = static_cast<unsigned>(std::countr_zero(typeBits)) - 14;
    } else {
        d.faultType = (code & kNumericBits) >> 14;
        if (d.faultType >= kTypeNames.size()) {
            d.words = "unknown fault type " + std::to_string(d.faultType);
            return d;
        }
    }
    d.valid = true;
    d.index = (code >> 3) & 0xFFu;
    d.level = d.faultType == 8 ? code >> 30 : (code >> 11) & 0x7u;
    const bool empty = encoding == Encoding::OneHot ? code == kNothing : code == 0;
    d.words = empty ? "nothing to show" : words(d);
    return d;
}

} // namespace tools
