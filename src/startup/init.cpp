// SPDX-License-Identifier: Apache-2.0
// Library start-up: a known panel state, the version in the log, then the three running parts.
#include <diagpanel/core.h>

#include <diagpanel/display.h>
#include <diagpanel/hashtable.h>
#include <diagpanel/translate.h>

#include "common/export.hpp"
#include "common/log.hpp"
#include "common/panel.hpp"

using namespace diag;

namespace {
constexpr char kLogUnit[] = "DiagnosticPanel_core";
} // namespace

DIAG_PANEL_API int DIAG_PANEL_init(u32 uiHalHandle)
{
    if (DIAG_PANEL_CORE_writeData({0, 0, 0}, TypeEncoding::kOneHot) != 0) {
        // "initing", here and below, stays verbatim: see common/log.hpp.
        DIAG_LOG(kLogError, "Failed to reset diagnostic panel status while initing!");
        return -1;
    }
    u32 version = 0;
    if (DIAG_PANEL_CORE_readData(&version) != 0) {
        DIAG_LOG(kLogError, "Failed to read diagnostic panel version while initing!");
        return -1;
    }
    DIAG_LOG(kLogInfo, "Remote Diagnostic Panel version: %#x", version);

    // Each part reports its own failure; the panel itself answered, so start-up succeeds.
    (void)DIAG_PANEL_TRANS_Init(uiHalHandle);
    (void)DIAG_PANEL_InitHashTable();
    (void)DIAG_PANEL_DisplayInit(uiHalHandle);
    return 0;
}
