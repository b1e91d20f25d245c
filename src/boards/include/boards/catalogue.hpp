// SPDX-License-Identifier: Apache-2.0
// The board catalogue: every product board identifier the library knows, and the sensor-name
// tables of the supported boards (processor, power supply, fan, temperature). Constant data,
// shared by the library and the host tool.
#pragma once

#include <span>

#include <diagpanel/types.h>

namespace diag {

// Product board identifiers, as QMX_GetProductBoardID reports them. The name is the identifier:
// the tables that key on boards read like the board lists they come from.
namespace board {
inline constexpr u32 k01030103 = 0x01030103;
inline constexpr u32 k01030303 = 0x01030303;
inline constexpr u32 k01031104 = 0x01031104;
inline constexpr u32 k01031304 = 0x01031304;
inline constexpr u32 k01032303 = 0x01032303; // V5R2: riser 0 slot numbering
inline constexpr u32 k01033304 = 0x01033304; // V8R1: riser slot numbering
inline constexpr u32 k01033305 = 0x01033305; // V8R1
inline constexpr u32 k01033306 = 0x01033306; // not a V8R1 board
inline constexpr u32 k01034301 = 0x01034301; // V5R3: riser and M.2 slot numbering
inline constexpr u32 k02032001 = 0x02032001;
inline constexpr u32 k02033404 = 0x02033404; // memory layout only, no sensor-name tables
inline constexpr u32 k03033505 = 0x03033505;
inline constexpr u32 k30033204 = 0x30033204; // memory layout only
inline constexpr u32 k30033404 = 0x30033404; // memory layout only
inline constexpr u32 k60010101 = 0x60010101; // Kestrel
inline constexpr u32 k60010201 = 0x60010201; // Kestrel
inline constexpr u32 k60010202 = 0x60010202; // Merlin
inline constexpr u32 k61010101 = 0x61010101;
inline constexpr u32 kUnknown = 0xFFFFFFFF; // what the platform reports when it cannot tell
} // namespace board

// One sensor name and the component number the panel shows for it; rows are 33 bytes, laid one
// after another.
struct NameRow {
    char acName[32]; // NUL-terminated and NUL-padded
    u8 ucCode;
};
static_assert(sizeof(NameRow) == 33 && alignof(NameRow) == 1, "name rows are packed 33 bytes");

// A row of a per-board table: the name table of one fault type.
struct NameTable {
    u32 uiFaultType;
    u32 uiNameNum;
    const NameRow *pstNames;
};

// A row of the board table.
struct BoardRow {
    u32 uiBoardId;
    u32 uiTableNum;
    const NameTable *pstTables; // the per-board table
};

// Every supported board, in the order of their board indices.
std::span<const BoardRow> boardTable();

} // namespace diag
