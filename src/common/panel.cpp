// SPDX-License-Identifier: Apache-2.0
// The panel command interface: every exchange with the panel goes through one SGPIO request.
#include <diagpanel/core.h>

#include <algorithm>
#include <array>

#include <boards/catalogue.hpp>

#include "common/export.hpp"
#include "common/log.hpp"
#include "common/panel.hpp"

using namespace diag;

namespace {

constexpr char kLogUnit[] = "DiagnosticPanel_core";

// Boards whose panel version is read only when the panel reports itself fitted.
constexpr std::array<u32, 4> kPresenceRequiredBoards{board::k01030103, board::k01031104,
                                                     board::k61010101, board::k02032001};
// Boards whose fitted panel is trusted even when the read fails.
constexpr std::array<u32, 7> kPresenceTrustedBoards{
    board::k01030303, board::k01031304, board::k03033505, board::k60010101,
    board::k60010201, board::k60010202, board::k01034301};

struct RevisionLetter {
    u8 revision;
    u8 letter;
};
constexpr std::array<RevisionLetter, 8> kRevisionLetters{{
    {0, 'A'},
    {1, 'B'},
    {2, 'C'},
    {3, 'D'},
    {4, 'E'},
    {5, 'F'},
    {6, 'G'},
    {7, 'H'},
}};

bool contains(const auto &table, u32 boardId)
{
    return std::find(table.begin(), table.end(), boardId) != table.end();
}

int sendToDriver(u8 cmd, u32 *data)
{
    DIAG_PANEL_SGPIO_REQ_S request{};
    request.ucCmd = cmd;
    request.uiData = *data;
    if (SGPIO_DRV_common(&request) != 0) {
        DIAG_LOG(kLogError, "Failed to enable diagnostic panel driver!");
        return -1;
    }
    *data = request.uiData;
    return 0;
}

int executeCommand(DIAG_PANEL_CMD_S *pstCmd, TypeEncoding encoding)
{
    if (pstCmd == nullptr) {
        DIAG_LOG(kLogError, "NULL input param!");
        return -1;
    }
    int rc = 0;
    switch (pstCmd->ucCmd) {
    case DIAG_PANEL_CMD_WRITE:
        rc = DIAG_PANEL_CORE_writeData({pstCmd->ucLevelInfo, pstCmd->ucIndex, pstCmd->usFaultType},
                                       encoding);
        break;
    case DIAG_PANEL_CMD_READ:
        rc = DIAG_PANEL_CORE_readData(&pstCmd->uiVersion);
        break;
    default:
        DIAG_LOG(kLogError, "Unknown Diagnostic Panel cmd: %#x", pstCmd->ucCmd);
        return -1;
    }
    if (rc != 0) {
        DIAG_LOG(kLogError, "Failed to exec Diagnostic Panel cmd: %#x", pstCmd->ucCmd);
        return -1;
    }
    return 0;
}

// Whether the version word may be decoded on this board, given what presence and read said.
bool versionUsable(u32 boardId, bool readOk, u32 version)
{
    const bool presenceRequired = contains(kPresenceRequiredBoards, boardId);
    const bool presenceTrusted = contains(kPresenceTrustedBoards, boardId);
    if (presenceRequired || presenceTrusted) {
        u8 present = 0;
        if (QMX_Get_DiagnosticPanel_Present(&present) != 0) {
            return false;
        }
        if (presenceTrusted && present == 1) {
            return true; // a fitted panel's word is decoded whatever the read said
        }
        if (presenceRequired && present != 1) {
            return false;
        }
    }
    if (!readOk) {
        DIAG_LOG(kLogError, "DIAG_PANEL_CORE_readData Failed!");
        return false;
    }
    return presenceRequired || (version != 0 && version != 0xFFFFFFFFu);
}

} // namespace

int DIAG_PANEL_CORE_writeData(const MsgHead &head, TypeEncoding encoding)
{
    u32 code = encodePanelCode(head, encoding);
    return sendToDriver(DIAG_PANEL_CMD_WRITE, &code);
}

int DIAG_PANEL_CORE_readData(u32 *puiVersion)
{
    u32 version = 0;
    if (sendToDriver(DIAG_PANEL_CMD_READ, &version) != 0) {
        return -1;
    }
    *puiVersion = version;
    return 0;
}

DIAG_PANEL_API int DIAG_PANEL_CORE_commonIfc(DIAG_PANEL_CMD_S *pstCmd)
{
    return executeCommand(pstCmd, TypeEncoding::kOneHot);
}

DIAG_PANEL_API int DIAG_PANEL_CORE_commonIfc_ex(DIAG_PANEL_CMD_S *pstCmd)
{
    return executeCommand(pstCmd, TypeEncoding::kNumeric);
}

DIAG_PANEL_API int DIAG_PANEL_CORE_restore_default(void)
{
    u32 code = 0; // the raw default code, not the encoded empty head
    return sendToDriver(DIAG_PANEL_CMD_WRITE, &code);
}

DIAG_PANEL_API int DIAG_PANEL_GET_version(DIAG_PANEL_INFO_S *pstDiagPanelInfo)
{
    if (pstDiagPanelInfo == nullptr) {
        DIAG_LOG(kLogError, "NULL input pstDiagPanelInfo!");
        return -1;
    }
    u32 version = 0;
    const bool readOk = DIAG_PANEL_CORE_readData(&version) == 0;
    if (!versionUsable(QMX_GetProductBoardID(), readOk, version)) {
        return -1;
    }
    const u8 revision = (version >> 21) & 0x7u;
    const auto *row = std::find_if(kRevisionLetters.begin(), kRevisionLetters.end(),
                                   [&](const RevisionLetter &r) { return r.revision == revision; });
    pstDiagPanelInfo->ucHwVersion = row->letter; // every revision 0..7 has its letter
    pstDiagPanelInfo->usFwVersion = static_cast<u16>(version & 0xFFFFu);
    return 0;
}
