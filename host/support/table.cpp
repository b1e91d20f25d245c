// SPDX-License-Identifier: Apache-2.0
#include "host_support/table.hpp"

namespace host {

std::vector<TableEntry> tableSnapshot()
{
    std::vector<TableEntry> out;
    pthread_mutex_lock(&g_HashMutex);
    for (u32 bucket = 0; g_stHashHandle.ppstList != nullptr && bucket < g_stHashHandle.uiListNum;
         ++bucket) {
        for (const DIAG_PANEL_NODE_S *node = g_stHashHandle.ppstList[bucket]; node != nullptr;
             node = node->pstNext) {
            out.push_back({bucket, node->stMsg, node->ucDisplayed});
        }
    }
    pthread_mutex_unlock(&g_HashMutex);
    return out;
}

} // namespace host
