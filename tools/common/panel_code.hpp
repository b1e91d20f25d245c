// Panel codes decoded into words, for tools that show what the panel shows.
#pragma once

#include <cstdint>
#include <string>

namespace tools {

struct DecodedCode {
    bool valid = false; // exactly one fault type in the code
    unsigned faultType = 0;
    unsigned index = 0; // the two hexadecimal digits the panel shows
    unsigned level = 0; // bits 11-13 (bits 30-31 for POST codes)
    std::string words;  // "POST progress 45%", "fan 02, level 3", ...
};

// The fault types' names, by type.
const char *faultTypeName(unsigned type);

// Decodes a one-hot panel code, as the library writes it.
DecodedCode decodePanelCode(uint32_t code);

} // namespace tools
