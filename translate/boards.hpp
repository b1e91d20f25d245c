// The product board tables: which sensor names each supported board has for the name-keyed fault
// types (processor, power supply, fan, temperature), and which board is running.
#pragma once

#include <span>

#include <diagpanel/types.h>

namespace diag {

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

// Selects the running board's per-board table and builds the fault type map. Logs and returns
// false when the board is not supported.
bool selectRunningBoard();

// The running board's name table of faultType, or nullptr before a board was selected.
const NameTable *runningNameTable(u16 faultType);

} // namespace diag
