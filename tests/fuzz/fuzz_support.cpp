// SPDX-License-Identifier: Apache-2.0
#include "tests/fuzz/fuzz_support.hpp"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include <diagpanel/diagpanel.h>

#include "display/display_state.hpp"
#include <host_platform/diagpanel_host.h>
#include "host_support/private_var.hpp"
#include <platform/platform.h>
#include <boards/catalogue.hpp>

namespace fuzz {

void setUpProcess()
{
    if (!host::usePrivateVar()) {
        fprintf(stderr, "fuzz targets need root for a private /var (mount namespace)\n");
        abort();
    }
    HOST_LogEcho(0);
    if (freopen("/dev/null", "w", stdout) == nullptr) {
        abort();
    }
    if (DIAG_PANEL_InitHashTable() != 0) {
        abort();
    }
    __atomic_store_n(&diag::g_stDispCtrl.ucReady, u8{1}, __ATOMIC_RELEASE);
}

std::span<const u32> boards()
{
    static const std::vector<u32> all = [] {
        std::vector<u32> ids;
        for (const diag::BoardRow &row : diag::boardTable()) {
            ids.push_back(row.uiBoardId);
        }
        ids.insert(ids.end(), {diag::board::kUnknown, 0u, diag::board::k01030103 + 1,
                               diag::board::k60010101 + 1, diag::board::k30033404});
        return ids;
    }();
    return all;
}

std::span<const u32> listedBoards()
{
    return boards().first(diag::boardTable().size());
}

void configureBoard(u32 board)
{
    HOST_Reset();
    HOST_SetBoardId(board);
    // Sensor n takes the n-th name of the board's name tables, round robin.
    std::vector<const char *> names;
    for (const diag::BoardRow &row : diag::boardTable()) {
        for (u32 t = 0; row.uiBoardId == board && t < row.uiTableNum; ++t) {
            for (u32 n = 0; n < row.pstTables[t].uiNameNum; ++n) {
                names.push_back(row.pstTables[t].pstNames[n].acName);
            }
        }
    }
    for (unsigned n = 0; n < 256; ++n) {
        if (n % 29 == 0 || names.empty()) {
            HOST_SensorSetName(static_cast<u8>(n), nullptr);
        } else if (n == 0xFE) {
            HOST_SensorSetName(static_cast<u8>(n), "A_NAME_OF_MORE_THAN_17_BYTES");
        } else {
            HOST_SensorSetName(static_cast<u8>(n), names[n % names.size()]);
        }
    }
    for (unsigned sensor = 0; sensor < HOST_HDD_SENSOR_ROWS; ++sensor) {
        g_astGetALLHDDSensor[sensor][0] = static_cast<u8>(sensor % 24);
    }
    for (u8 instance = 0; instance < 20; ++instance) {
        HOST_DiskSetLocation(instance, static_cast<u8>(instance % 3), static_cast<u8>(instance * 3),
                             instance % 2);
    }
    const std::array<u8, 3> backplanes{0x33, 0x31, 0x34};
    for (unsigned row = 0; row < HOST_BP_CARD_ROWS; ++row) {
        g_astBPCardInfo[row][2] = backplanes[row % backplanes.size()];
    }
    for (unsigned card = 0; card < HOST_PCIE_CARD_ROWS; ++card) {
        g_astAllPcieCardInfo[card][PCIE_CARD_INFO_M2_MARK] = static_cast<u8>(card * 0x11);
    }
    g_uiPcieRaidSlotNum = 3;
    const u8 codes[] = {0x19, 0xA1, 0xB2};
    HOST_PostSetCodes(codes, sizeof codes);
    HOST_FanSetError(1, 1);
    HOST_FanSetError(4, 1);
}

void resetAfterInput()
{
    if (g_stHashHandle.ppstList == nullptr) {
        (void)DIAG_PANEL_InitHashTable();
    }
    DIAG_PANEL_LockFreeAllHashList();
    pthread_mutex_lock(&g_DisplayMutex);
    DIAG_PANEL_DISP_ResetPost();
    DIAG_PANEL_DISP_ResetWalk();
    diag::g_stDispCtrl.ucState = diag::DIAG_PANEL_DISP_STATE_FAULT;
    diag::g_stDispCtrl.ucPrevState = diag::DIAG_PANEL_DISP_STATE_FAULT;
    pthread_mutex_unlock(&g_DisplayMutex);
    g_diag_mode_flag = 0;
    HOST_LogClear();
    HOST_CallClear();
    HOST_PanelClear();
}

} // namespace fuzz
