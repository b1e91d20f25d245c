// SPDX-License-Identifier: Apache-2.0
// Temperature faults: threshold events (01h) of temperature sensors (01h). Only the critical and
// non-recoverable thresholds crossed outwards reach the panel; the sensor's name gives the index.
#include <algorithm>
#include <array>

#include "translate/translator.hpp"

using namespace diag;

namespace {

// clang-format off
constexpr std::array<OffsetLevel, 4> kTemperatureOffsets{{
    // offset  level   IPMI threshold event
    {  0x02,   2 },    // lower critical, going low
    {  0x04,   3 },    // lower non-recoverable, going low
    {  0x09,   2 },    // upper critical, going high
    {  0x0B,   3 },    // upper non-recoverable, going high
}};
// clang-format on
static_assert(uniqueKeys(kTemperatureOffsets, &OffsetLevel::key), "one row per offset");
static_assert(std::ranges::all_of(kTemperatureOffsets, [](const OffsetLevel &r) {
    return r.key < 0x10 && r.level <= 3;
}));

} // namespace

int DIAG_PANEL_TRANS_TempFault(const u8 *pucSel, DIAG_PANEL_MSG_S **ppstMsg, u8 *pucMsgNum, u32)
{
    *ppstMsg = nullptr;
    *pucMsgNum = 0;
    const SelRecord sel(pucSel);
    const OffsetLevel *row = findRow(kTemperatureOffsets, sel.offset());
    if (row == nullptr) {
        return -1; // non-critical thresholds, and thresholds crossed inwards, stay off the panel
    }
    DIAG_PANEL_MSG_S msg{};
    msg.usFaultType = DIAG_PANEL_FAULT_TEMP;
    // The threshold alone fixes the level; a deassertion clears the sensor's whole entry, as
    // the mask stays empty.
    fillLevel(msg, row->level, sel.isDeassertion());
    const std::optional<u8> code = sensorCode(sel, DIAG_PANEL_FAULT_TEMP);
    if (!code) {
        return -1; // it logged why
    }
    msg.ucIndex = DIAG_PANEL_TRANS_decToBcd(*code);
    return handOver(msg, ppstMsg, pucMsgNum, "Failed to fill hash node of Temperature Fault info");
}
