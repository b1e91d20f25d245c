// SPDX-License-Identifier: Apache-2.0
// Power-supply faults: sensor-specific events (6Fh) of power-supply sensors (08h); the sensor's
// name gives the index.
#include <algorithm>
#include <array>

#include "translate/translator.hpp"

using namespace diag;

namespace {

// clang-format off
constexpr std::array<OffsetLevel, 4> kPsuOffsets{{
    // offset  level when none is given  IPMI power-supply event
    {  0x01,   3 },                   // failure detected
    {  0x02,   1 },                   // predictive failure
    {  0x03,   3 },                   // input lost (AC/DC)
    {  0x06,   3 },                   // configuration error
}};
// clang-format on
static_assert(uniqueKeys(kPsuOffsets, &OffsetLevel::key), "one row per offset");
static_assert(std::ranges::all_of(kPsuOffsets,
                                  [](const OffsetLevel &r) { return r.key < 8 && r.level <= 3; }),
              "every mask fits the low byte and every default is a severity");

} // namespace

int DIAG_PANEL_TRANS_PsuFault(const u8 *pucSel, DIAG_PANEL_MSG_S **ppstMsg, u8 *pucMsgNum,
                              u32 uiSelLevel)
{
    const u8 mapped = mapSelLevel(uiSelLevel);
    *ppstMsg = nullptr;
    *pucMsgNum = 0;
    const SelRecord sel(pucSel);
    const OffsetLevel *row = findRow(kPsuOffsets, sel.offset());
    if (row == nullptr) {
        return -1; // no other power-supply event reaches the panel
    }
    DIAG_PANEL_MSG_S msg{};
    msg.usFaultType = DIAG_PANEL_FAULT_PSU;
    fillLevel(msg, levelOr(mapped, row->level), sel.isDeassertion());
    const std::optional<u8> code = sensorCode(sel, DIAG_PANEL_FAULT_PSU);
    if (!code) {
        return -1; // it logged why
    }
    msg.ucIndex = DIAG_PANEL_TRANS_decToBcd(*code);
    msg.uiFaultMask = 1u << row->key;
    return handOver(msg, ppstMsg, pucMsgNum, "Failed to fill hash node of PSU Fault info");
}
