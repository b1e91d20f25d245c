// SPDX-License-Identifier: Apache-2.0
// Panel codes decoded into words, for tools that show what the panel shows.
#pragma once

#include <cstdint>
#include <string>

namespace tools {

// How the fault type travels in a panel code: one bit per type (what the display writes), or the
// type as a number in bits 14-29 (DIAG_PANEL_CORE_commonIfc_ex).
enum class Encoding { OneHot, Numeric };

struct DecodedCode {
    bool valid = false; // a fault type could be read from the code
    unsigned faultType = 0;
    unsigned index = 0; // the two hexadecimal digits the panel shows
    unsigned level = 0; // bits 11-13 (bits 30-31 for POST codes)
    std::string words;  // "POST progress 45%", "fan 02, level 3", ...
};

// The fault types' names, by type.
const char *faultTypeName(unsigned type);

// "B3": a component index as the panel shows it, two hex digits.
std::string indexWords(unsigned index);

// "memory B3": a fault type and its component index as the panel shows them.
std::string componentWords(unsigned type, unsigned index);

// Decodes a panel code written with the given encoding.
DecodedCode decodePanelCode(uint32_t code, Encoding encoding = Encoding::OneHot);

} // namespace tools
