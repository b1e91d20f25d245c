// SPDX-License-Identifier: Apache-2.0
// The dispatch: a display event goes to the display; a SEL record goes, by its event type and
// sensor type, to the translator of its family, and each message it makes to the fault table.
#include <diagpanel/translate.h>

#include <array>
#include <cstdlib>

#include <diagpanel/display.h>
#include <diagpanel/hashtable.h>

#include "common/export.hpp"
#include "translate/intake.hpp"
#include "translate/translator.hpp"

using namespace diag;

// Pairs (severity code, panel level); no severity code gives panel level 1.
// extern: const data keeps the visibility attribute.
extern DIAG_PANEL_API const u8 g_astDiagPanelSelLevel[8] = {
    1, 0, //
    2, 0, //
    3, 2, //
    4, 3, //
};

namespace {

constexpr u8 kSystemEventRecord = 0x02; // IPMI record type of a system event record
constexpr u8 kAnySensorType = 0xFF;
constexpr u8 kLastEventType = DIAG_PANEL_EVENT_POST_STOP;

struct Route {
    u8 eventType;  // event/reading type code, without the direction bit
    u8 sensorType; // IPMI sensor type, or kAnySensorType
    DIAG_PANEL_TRANS_TRANSLATOR_F translator;
};

// clang-format off
constexpr std::array<Route, 16> kRoutes{{
    // event type  sensor type                        translator
    {0x6F, 0x07 /* processor */,                    DIAG_PANEL_TRANS_CpuCfgFault},
    {0x6F, 0x0C /* memory */,                       DIAG_PANEL_TRANS_DimmFault},
    {0x6F, 0x08 /* power supply */,                 DIAG_PANEL_TRANS_PsuFault},
    {0x0A, 0x04 /* fan */,                          DIAG_PANEL_TRANS_FanFault},
    {0x0B, 0x04 /* fan */,                          DIAG_PANEL_TRANS_FanFault},
    {0x01, 0x01 /* temperature */,                  DIAG_PANEL_TRANS_TempFault},
    {0x72, kAnySensorType,                          DIAG_PANEL_TRANS_PowercapFault},
    {0x6F, 0x15 /* module/board */,                 DIAG_PANEL_TRANS_BoardFault},
    {0x6F, 0x23 /* watchdog 2 */,                   DIAG_PANEL_TRANS_PostFault},
    {0x6F, 0x17 /* add-in card */,                  DIAG_PANEL_TRANS_RaidFault},
    {0x6F, 0x0D /* drive slot */,                   DIAG_PANEL_TRANS_HddFault},
    {0x6F, 0x13 /* critical interrupt */,           DIAG_PANEL_TRANS_PcieFault},
    {0x07, 0x17 /* add-in card */,                  DIAG_PANEL_TRANS_RaidFault},
    {0x6F, 0x21 /* slot/connector */,               DIAG_PANEL_TRANS_PcieFault},
    {0x6F, 0x04 /* fan */,                          DIAG_PANEL_TRANS_FanFault},
    {0x6F, 0x0F /* system firmware progress */,     DIAG_PANEL_TRANS_CpuFault},
}};
// clang-format on

// No record matches two rows: no two rows share an event type and a sensor type, counting a row
// of any sensor type as every one.
constexpr bool routesDistinct()
{
    for (size_t row = 0; row < kRoutes.size(); ++row) {
        for (size_t earlier = 0; earlier < row; ++earlier) {
            const Route &a = kRoutes[earlier];
            const Route &b = kRoutes[row];
            if (a.eventType == b.eventType &&
                (a.sensorType == b.sensorType || a.sensorType == kAnySensorType ||
                 b.sensorType == kAnySensorType)) {
                return false;
            }
        }
    }
    return true;
}
static_assert(routesDistinct(), "a record matches one route at most");

u32 readLittleEndian32(const u8 *bytes)
{
    return u32{bytes[0]} | u32{bytes[1]} << 8 | u32{bytes[2]} << 16 | u32{bytes[3]} << 24;
}

// Only the low byte of the length is compared: a 272-byte body passes as 16.
bool lengthIs(const DIAG_PANEL_PIPE_MSG_S &frame, u8 expected)
{
    const auto length = static_cast<u8>(frame.uiLen & 0xFFu);
    if (length != expected) {
        DIAG_LOG(kLogError, "Invalid input length: %#x", length);
        return false;
    }
    return true;
}

void dispatchEvent(const DIAG_PANEL_PIPE_MSG_S &frame)
{
    if (!lengthIs(frame, DIAG_PANEL_EVENT_LEN)) {
        return;
    }
    const u32 type = readLittleEndian32(frame.aucBuf);
    if (type > kLastEventType) {
        DIAG_LOG(kLogWarning, "Unknown event type: %#x", type);
        return;
    }
    DIAG_PANEL_DISP_EVENT_S event{};
    event.uiEventType = type;
    if (type == DIAG_PANEL_EVENT_POST_PROGRESS) {
        event.ucPercent = DIAG_PANEL_TRANS_decToBcd(frame.aucBuf[4]); // 45 percent travels as 45h
    }
    (void)DIAG_PANEL_EventRecv(&event);
}

void dispatchSel(const DIAG_PANEL_PIPE_MSG_S &frame)
{
    if (!lengthIs(frame, DIAG_PANEL_SEL_LEN)) {
        return;
    }
    const SelRecord sel(frame.aucBuf);
    if (sel.recordType() != kSystemEventRecord) {
        return;
    }
    const DIAG_PANEL_TRANS_TRANSLATOR_F translator = routeOf(sel.eventType(), sel.sensorType());
    if (translator == nullptr) {
        return;
    }
    DIAG_PANEL_MSG_S *messages = nullptr;
    u8 count = 0;
    if (translator(frame.aucBuf, &messages, &count, frame.ucSelLevel) == 0) {
        for (u8 i = 0; i < count; ++i) {
            if (messages != nullptr) {
                (void)DIAG_PANEL_ProcessNewMsg(&messages[i]);
            } else {
                DIAG_LOG(kLogError, "Null point hash node!\n");
            }
        }
    }
    free(messages); // one array, whatever the translator returned
}

} // namespace

DIAG_PANEL_TRANS_TRANSLATOR_F diag::routeOf(u8 eventType, u8 sensorType)
{
    for (const Route &route : kRoutes) {
        if (route.eventType == eventType &&
            (route.sensorType == sensorType || route.sensorType == kAnySensorType)) {
            return route.translator; // the combinations are distinct: at most one row matches
        }
    }
    return nullptr;
}

void DIAG_PANEL_TRANS_dispatchFrame(DIAG_PANEL_PIPE_MSG_S *frame)
{
    switch (frame->ucMsgType) {
    case DIAG_PANEL_MSG_TYPE_EVENT:
        dispatchEvent(*frame);
        break;
    case DIAG_PANEL_MSG_TYPE_SEL:
        dispatchSel(*frame);
        break;
    default:
        DIAG_LOG(kLogError, "Unknown DiagPanel trans message type: %#x", frame->ucMsgType);
        break;
    }
    free(frame);
}

DIAG_PANEL_API u32 DIAG_PANEL_TRANS_filterValidSEL(DIAG_PANEL_SEL_S stSel)
{
    const SelRecord sel(stSel.aucSel);
    return routeOf(sel.eventType(), sel.sensorType()) != nullptr ? 1 : 0;
}
