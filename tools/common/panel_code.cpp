#include "tools/common/panel_code.hpp"

#include <array>
#include <bit>
#include <cstdio>

namespace tools {

namespace {
constexpr std::array<const char *, 12> kTypeNames = {
    "processor", "memory",      "disk", "PCIe slot",   "RAID",          "power supply",
    "fan",       "board logic", "POST", "temperature", "power capping", "board logic (ext)",
};
constexpr uint32_t kTypeBits = 0x03FFC000u; // bits 14-25: one-hot fault types 0..11
constexpr uint32_t kNothing = 0x00004000u;
} // namespace

const char *faultTypeName(unsigned type)
{
    return type < kTypeNames.size() ? kTypeNames[type] : "unknown";
}

DecodedCode decodePanelCode(uint32_t code)
{
    DecodedCode d;
    const uint32_t typeBits = code & kTypeBits;
    char words[96];
    if (std::popcount(typeBits) != 1 || (code & 0x3C000000u) != 0) {
        snprintf(words, sizeof words, "not a one-hot panel code");
        d.words = words;
        return d;
    }
    d.valid = true;
    d.faultType = static_cast<unsigned>(std::countr_zero(typeBits)) - 14;
    d.index = (code >> 3) & 0xFFu;
    if (code == kNothing) {
        d.words = "nothing to show";
        return d;
    }
    if (d.faultType == 8) {
        d.level = code >> 30;
        if (d.level == 1 && d.index == 0x99) {
            snprintf(words, sizeof words, "POST end");
        } else if (d.level == 1) {
            snprintf(words, sizeof words, "POST progress %02X%%", d.index);
        } else if (d.level == 2) {
            snprintf(words, sizeof words, "POST error, code %02Xh", d.index);
        } else {
            snprintf(words, sizeof words, "POST fault %02X, level %u", d.index, d.level);
        }
    } else {
        d.level = (code >> 11) & 0x7u;
        snprintf(words, sizeof words, "%s %02X, level %u", faultTypeName(d.faultType), d.index,
                 d.level);
    }
    d.words = words;
    return d;
}

} // namespace tools
