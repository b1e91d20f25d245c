// SPDX-License-Identifier: Apache-2.0
// Panel codes and the two requests to the SGPIO driver, shared by start-up and the commands.
#pragma once

#include <diagpanel/types.h>

namespace diag {

// How the fault type is carried in bits 14 and up of a panel code.
enum class TypeEncoding : u8 {
    kOneHot,  // bit 14 + type; types above 17 set no bit
    kNumeric, // type << 14, bits 14-29
};

// The four-byte head of a fault message, as the panel shows it.
struct MsgHead {
    u8 ucLevelInfo;
    u8 ucIndex;
    u16 usFaultType;
};

// Bits 0-2: level bits 5-7; 3-10: index; 11-13: level bits 2-4; 14 and up: type; 30-31: level
// bits 0-1.
constexpr u32 encodePanelCode(const MsgHead &head, TypeEncoding encoding)
{
    const u32 level = head.ucLevelInfo;
    u32 code = (level >> 5) & 0x7u;
    code |= u32{head.ucIndex} << 3;
    code |= ((level >> 2) & 0x7u) << 11;
    const u32 type = head.usFaultType;
    if (encoding == TypeEncoding::kOneHot) {
        code |= type + 14 < 32 ? 1u << (type + 14) : 0u;
    } else {
        code |= type << 14;
    }
    code |= (level & 0x3u) << 30;
    return code;
}

static_assert(encodePanelCode({0x00, 0x00, 0}, TypeEncoding::kOneHot) == 0x00004000);
static_assert(encodePanelCode({0x0C, 0x05, 2}, TypeEncoding::kOneHot) == 0x00011828);
static_assert(encodePanelCode({0x0C, 0x05, 2}, TypeEncoding::kNumeric) == 0x00009828);
static_assert(encodePanelCode({0x01, 0x50, 8}, TypeEncoding::kNumeric) == 0x40020280);
static_assert(encodePanelCode({0x02, 0x3A, 8}, TypeEncoding::kOneHot) == 0x804001D0);
static_assert(encodePanelCode({0xFF, 0x00, 0}, TypeEncoding::kOneHot) == 0xC0007807);

} // namespace diag

// Shows the head on the panel. Returns 0, or -1 after logging the driver's refusal.
int DIAG_PANEL_CORE_writeData(const diag::MsgHead &head, diag::TypeEncoding encoding);

// Reads the panel's version word into *puiVersion, untouched on failure. Returns 0 or -1.
int DIAG_PANEL_CORE_readData(u32 *puiVersion);
