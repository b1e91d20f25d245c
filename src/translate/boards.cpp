// SPDX-License-Identifier: Apache-2.0
// Board selection: the running board's per-board table and the map from fault type to its row.
#include "translate/boards.hpp"

#include <algorithm>

#include "translate/translator.hpp"

namespace diag {
namespace {

// Written by the intake's start-up before its thread exists, read by the translators after.
const BoardRow *g_runningBoard = nullptr;
u8 g_faultTypeMap[DIAG_PANEL_FAULT_TYPE_NUM] = {};

} // namespace

bool selectRunningBoard()
{
    const u32 boardId = QMX_GetProductBoardID();
    const std::span<const BoardRow> boards = boardTable();
    const auto found = std::find_if(boards.begin(), boards.end(),
                                    [&](const BoardRow &b) { return b.uiBoardId == boardId; });
    if (found == boards.end()) {
        // Verbatim, misspelling included: see common/log.hpp.
        DIAG_LOG(kLogError, "Unsupport Id %d\n", static_cast<int>(boardId));
        DIAG_LOG(kLogError, "Init DiagPanel Failed !!!\n");
        return false;
    }
    if (found->pstTables == nullptr) {
        DIAG_LOG(kLogError, "Diag Table Is NULL !!!\n");
        DIAG_LOG(kLogError, "Init DiagPanel Failed !!!\n");
        return false;
    }
    g_runningBoard = &*found;
    for (u32 row = 0; row < found->uiTableNum; ++row) {
        const u32 faultType = found->pstTables[row].uiFaultType;
        if (faultType < DIAG_PANEL_FAULT_TYPE_NUM) {
            g_faultTypeMap[faultType] = static_cast<u8>(row);
        }
    }
    return true;
}

const NameTable *runningNameTable(u16 faultType)
{
    if (g_runningBoard == nullptr || faultType >= DIAG_PANEL_FAULT_TYPE_NUM) {
        return nullptr;
    }
    const u8 row = g_faultTypeMap[faultType];
    return row < g_runningBoard->uiTableNum ? &g_runningBoard->pstTables[row] : nullptr;
}

} // namespace diag
