// SPDX-License-Identifier: Apache-2.0
// What the intake pipe shares with the rest of the translate unit.
#pragma once

#include <diagpanel/types.h>

#include "translate/translator.hpp"

// The byte sum of `uiLen` bytes into 32 bits; 0 for a NULL pointer or no bytes.
u32 DIAG_PANEL_TRANS_checkSum(const void *pData, u32 uiLen);

// Routes one checked frame (header and body in one allocation) and frees it. Called by the
// reader thread alone. A C name, hidden like every internal one: the seam where a test build
// (--wrap) watches each frame the reader hands on.
extern "C" void DIAG_PANEL_TRANS_dispatchFrame(DIAG_PANEL_PIPE_MSG_S *frame);

namespace diag {

// The HAL handle given to the intake's start-up, passed on to the platform's sensor-name query.
u32 intakeHalHandle();

// The translator of records of this event type (without the direction bit) and sensor type, or
// nullptr when none is routed.
DIAG_PANEL_TRANS_TRANSLATOR_F routeOf(u8 eventType, u8 sensorType);

} // namespace diag
