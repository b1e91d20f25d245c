// SPDX-License-Identifier: Apache-2.0
// What every SEL translator receives and delivers, and the steps they share: the SEL record's
// fields, the level map, the level fill, the sensor-name lookup and the hand-over of the message.
#pragma once

#include <diagpanel/translate.h>

#include <array>
#include <functional>
#include <iterator>
#include <optional>

#include <boards/catalogue.hpp>

#include "common/log.hpp"
#include "hashtable/fault_level.hpp"

namespace diag {

// The intake, the dispatch and every translator log under one unit name.
inline constexpr char kLogUnit[] = "DiagPanel_translate";

// Fields of a 16-byte IPMI SEL system event record, by their IPMI 2.0 names.
class SelRecord
{
  public:
    explicit SelRecord(const u8 *record) : record_(record) {}

    u8 recordType() const { return record_[2]; }
    u8 generatorLun() const { return record_[8] & 0x01u; } // generator ID, second byte, bit 0
    u8 sensorType() const { return record_[10]; }
    u8 sensorNumber() const { return record_[11]; }
    u8 eventType() const { return record_[12] & 0x7Fu; }
    bool isDeassertion() const { return (record_[12] & 0x80u) != 0; }
    u8 eventData1() const { return record_[13]; }
    u8 offset() const { return record_[13] & 0x0Fu; }
    u8 eventData2() const { return record_[14]; }
    u8 eventData3() const { return record_[15]; }
    // Event data 1 bits 7-6 = 10b: event data 2 holds an OEM code.
    bool oemData2() const { return (record_[13] & 0xC0u) == 0x80u; }
    // Event data 1 bits 5-4 = 10b: event data 3 holds an OEM code.
    bool oemData3() const { return (record_[13] & 0x30u) == 0x20u; }

  private:
    const u8 *record_;
};

// The level when the severity code matches no pair of g_astDiagPanelSelLevel.
inline constexpr u8 kNoLevel = DIAG_PANEL_LEVEL_NONE;

// Maps the frame's severity code to a panel level: 0, 2 or 3, or kNoLevel.
u8 mapSelLevel(u32 uiSelLevel);

// The given level, or the family's own when none was given.
constexpr u8 levelOr(u8 mapped, u8 fallback)
{
    return mapped == kNoLevel ? fallback : mapped;
}

// The level fill: the level field carries the level on assertion and 0 on deassertion (a clear);
// ucFaultLevel carries it both ways. usFaultType must be set first.
constexpr void fillLevel(DIAG_PANEL_MSG_S &msg, u8 level, bool deassertion)
{
    setLevelOf(msg, deassertion ? DIAG_PANEL_LEVEL_CLEAR : level);
    msg.ucFaultLevel = level;
}

// A row keyed by an event offset (or any byte), with the level used when none is given.
struct OffsetLevel {
    u8 key;
    u8 level;
};

// The first row whose key matches, or nullptr.
template <typename Table, typename Key> constexpr auto findRow(const Table &table, Key key)
{
    for (const auto &row : table) {
        if (row.key == key) {
            return &row;
        }
    }
    return static_cast<decltype(&*table.begin())>(nullptr);
}

// True when no two rows of a constant table share a key: a lookup's first match is its only one.
template <typename Table, typename Key> constexpr bool uniqueKeys(const Table &table, Key key)
{
    const auto first = std::begin(table);
    for (auto row = first; row != std::end(table); ++row) {
        for (auto earlier = first; earlier != row; ++earlier) {
            if (std::invoke(key, *earlier) == std::invoke(key, *row)) {
                return false;
            }
        }
    }
    return true;
}
static_assert(uniqueKeys(std::array<OffsetLevel, 2>{{{1, 0}, {2, 0}}}, &OffsetLevel::key));
static_assert(!uniqueKeys(std::array<OffsetLevel, 3>{{{1, 0}, {2, 0}, {1, 3}}}, &OffsetLevel::key));

// Queries the platform for the record's sensor name and looks it up in the running board's name
// table of faultType. Logs the unknown sensor or name and gives nothing then.
std::optional<u8> sensorCode(const SelRecord &sel, u16 faultType);

// Hands one message over as a one-element array. On failure logs failText at level 2 and returns
// -1 with the outputs untouched; otherwise 0.
int handOver(const DIAG_PANEL_MSG_S &msg, DIAG_PANEL_MSG_S **ppstMsg, u8 *pucMsgNum,
             const char *failText);

} // namespace diag

// A translator: the 16-byte SEL record, the output array and its count (set to NULL and 0 on
// entry; the dispatch frees the array), and the frame's severity code. 0: success.
typedef int (*DIAG_PANEL_TRANS_TRANSLATOR_F)(const u8 *pucSel, DIAG_PANEL_MSG_S **ppstMsg,
                                             u8 *pucMsgNum, u32 uiSelLevel);

// Shared helpers.
int DIAG_PANEL_TRANS_fillHashNode(const DIAG_PANEL_MSG_S *pstMsg, DIAG_PANEL_MSG_S **ppstMsg,
                                  u8 *pucMsgNum);
u8 DIAG_PANEL_TRANS_decToBcd(u8 ucValue);
int DIAG_PANEL_TRANS_matchSensorName(const u8 *pucNameTable, u8 ucRowNum, const char *pcName,
                                     u8 ucNameLen, u8 *pucCode);

// The translators, one family per source file.
int DIAG_PANEL_TRANS_DimmFault(const u8 *pucSel, DIAG_PANEL_MSG_S **ppstMsg, u8 *pucMsgNum,
                               u32 uiSelLevel);
int DIAG_PANEL_TRANS_CpuFault(const u8 *pucSel, DIAG_PANEL_MSG_S **ppstMsg, u8 *pucMsgNum,
                              u32 uiSelLevel);
int DIAG_PANEL_TRANS_RaidFault(const u8 *pucSel, DIAG_PANEL_MSG_S **ppstMsg, u8 *pucMsgNum,
                               u32 uiSelLevel);
int DIAG_PANEL_TRANS_HddFault(const u8 *pucSel, DIAG_PANEL_MSG_S **ppstMsg, u8 *pucMsgNum,
                              u32 uiSelLevel);
int DIAG_PANEL_TRANS_BoardFault(const u8 *pucSel, DIAG_PANEL_MSG_S **ppstMsg, u8 *pucMsgNum,
                                u32 uiSelLevel);
int DIAG_PANEL_TRANS_PostFault(const u8 *pucSel, DIAG_PANEL_MSG_S **ppstMsg, u8 *pucMsgNum,
                               u32 uiSelLevel);
int DIAG_PANEL_TRANS_TempFault(const u8 *pucSel, DIAG_PANEL_MSG_S **ppstMsg, u8 *pucMsgNum,
                               u32 uiSelLevel);
int DIAG_PANEL_TRANS_PsuFault(const u8 *pucSel, DIAG_PANEL_MSG_S **ppstMsg, u8 *pucMsgNum,
                              u32 uiSelLevel);
int DIAG_PANEL_TRANS_CpuCfgFault(const u8 *pucSel, DIAG_PANEL_MSG_S **ppstMsg, u8 *pucMsgNum,
                                 u32 uiSelLevel);
int DIAG_PANEL_TRANS_PowercapFault(const u8 *pucSel, DIAG_PANEL_MSG_S **ppstMsg, u8 *pucMsgNum,
                                   u32 uiSelLevel);
int DIAG_PANEL_TRANS_FanFault(const u8 *pucSel, DIAG_PANEL_MSG_S **ppstMsg, u8 *pucMsgNum,
                              u32 uiSelLevel);
int DIAG_PANEL_TRANS_PcieFault(const u8 *pucSel, DIAG_PANEL_MSG_S **ppstMsg, u8 *pucMsgNum,
                               u32 uiSelLevel);

// The disk code of a drive sensor, from the platform's disk location and the board's backplanes.
u8 DIAG_PANEL_GetHddFaultCode(u8 ucSensorNum);
