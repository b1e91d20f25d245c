// SPDX-License-Identifier: Apache-2.0
// The steps every translator shares: the level map, the hand-over of a message, the BCD index and
// the sensor-name lookup.
#include "translate/translator.hpp"

#include <cstdlib>
#include <cstring>

#include "translate/boards.hpp"
#include "translate/intake.hpp"

using namespace diag;

namespace {

constexpr u8 kSelLevelPairs = 4;
constexpr u8 kMaxNameLen = 31;        // a name table's names hold at most 31 characters
constexpr size_t kSensorNameLen = 17; // the buffer the platform writes a sensor name into
constexpr u32 kSensorNameFlag = 1;

} // namespace

u8 diag::mapSelLevel(u32 uiSelLevel)
{
    for (size_t pair = 0; pair < kSelLevelPairs; ++pair) {
        if (uiSelLevel == g_astDiagPanelSelLevel[2 * pair]) { // pairs of (severity code, level)
            return g_astDiagPanelSelLevel[2 * pair + 1];
        }
    }
    return kNoLevel;
}

int diag::handOver(const DIAG_PANEL_MSG_S &msg, DIAG_PANEL_MSG_S **ppstMsg, u8 *pucMsgNum,
                   const char *failText)
{
    if (DIAG_PANEL_TRANS_fillHashNode(&msg, ppstMsg, pucMsgNum) != 0) {
        DIAG_LOG(kLogError, "%s", failText);
        return -1;
    }
    return 0;
}

std::optional<u8> diag::sensorCode(const SelRecord &sel, u16 faultType)
{
    // The platform writes at most 17 bytes; the extra byte keeps even an unterminated name
    // terminated for the lookup and the log.
    char name[kSensorNameLen + 1] = {};
    if (Hal_GetSensorNameCfg(sel.sensorNumber(), sel.generatorLun(), name, kSensorNameFlag,
                             intakeHalHandle()) == -1) {
        DIAG_LOG(kLogWarning, "Unknown Sensor name: Number=%#x", sel.sensorNumber());
        return std::nullopt;
    }
    const NameTable *table = runningNameTable(faultType);
    const auto length = static_cast<u8>(strnlen(name, sizeof name));
    u8 code = 0;
    if (table == nullptr || DIAG_PANEL_TRANS_matchSensorName(
                                reinterpret_cast<const u8 *>(table->pstNames),
                                static_cast<u8>(table->uiNameNum), name, length, &code) != 0) {
        DIAG_LOG(kLogWarning, "Unknown Sensor name: Number=%#x, name=%s", sel.sensorNumber(), name);
        return std::nullopt;
    }
    return code;
}

int DIAG_PANEL_TRANS_fillHashNode(const DIAG_PANEL_MSG_S *pstMsg, DIAG_PANEL_MSG_S **ppstMsg,
                                  u8 *pucMsgNum)
{
    auto *copy = static_cast<DIAG_PANEL_MSG_S *>(malloc(sizeof(DIAG_PANEL_MSG_S)));
    if (copy == nullptr) {
        DIAG_LOG(kLogError, "Failed to alloc memory of hash node: %#x",
                 static_cast<u32>(sizeof(DIAG_PANEL_MSG_S)));
        return -1;
    }
    memcpy(copy, pstMsg, sizeof *copy);
    *ppstMsg = copy;
    *pucMsgNum = 1;
    return 0;
}

u8 DIAG_PANEL_TRANS_decToBcd(u8 ucValue)
{
    // Decimal digits read back as hexadecimal: 12 becomes 12h, 145 becomes 45h (of 145h).
    char digits[8] = {};
    QMX_Scnprintf(digits, sizeof digits, "0x%u", static_cast<unsigned>(ucValue));
    // Read back as strtol(digits, nullptr, 16) reads its "0x..." at a fraction of the cost: at
    // most five digits follow the prefix, so nothing overflows.
    const bool prefixed = digits[0] == '0' && (digits[1] == 'x' || digits[1] == 'X');
    u32 value = 0;
    for (const char *digit = prefixed ? digits + 2 : digits; *digit != '\0'; ++digit) {
        const char c = *digit;
        const int nibble = c >= '0' && c <= '9'   ? c - '0'
                           : c >= 'a' && c <= 'f' ? c - 'a' + 10
                           : c >= 'A' && c <= 'F' ? c - 'A' + 10
                                                  : -1;
        if (nibble < 0) {
            break;
        }
        value = value * 16 + static_cast<u32>(nibble);
    }
    return static_cast<u8>(value & 0xFF);
}

int DIAG_PANEL_TRANS_matchSensorName(const u8 *pucNameTable, u8 ucRowNum, const char *pcName,
                                     u8 ucNameLen, u8 *pucCode)
{
    if (pucNameTable == nullptr || pcName == nullptr || pucCode == nullptr) {
        DIAG_LOG(kLogError, "NULL input param!");
        return -1;
    }
    if (ucNameLen > kMaxNameLen) {
        DIAG_LOG(kLogError, "Input name length [%#x] exceeds", ucNameLen);
        return -1;
    }
    for (u8 row = 0; row < ucRowNum; ++row) {
        const u8 *entry = pucNameTable + size_t{row} * sizeof(NameRow);
        const char *rowName = reinterpret_cast<const char *>(entry);
        // The whole name: the row holds the name's bytes (none of them NUL) and ends there; the
        // length was checked to leave the terminator inside the row.
        if (memcmp(rowName, pcName, ucNameLen) == 0 && rowName[ucNameLen] == '\0') {
            *pucCode = entry[offsetof(NameRow, ucCode)];
            return 0; // the first whole-name match wins
        }
    }
    return -1;
}
