// SPDX-License-Identifier: Apache-2.0
// One SEL record straight into every translator: the input is a board byte (every listed board
// and a few unlisted ones), a level byte and the 16-byte record. The listed board's name tables are
// selected as the intake's start-up selects them; an unlisted one is what the platform answers to
// the per-record board queries. Each translator must keep its contract (outputs consistent, every
// message one the fault table accepts as well formed); its messages then go into the table.
#include <cstddef>
#include <cstdlib>
#include <cstring>

#include <diagpanel/diagpanel.h>

#include "host_support/table.hpp"
#include "tests/fuzz/fuzz_support.hpp"
#include "translate/boards.hpp"
#include "translate/translator.hpp"

namespace {

constexpr DIAG_PANEL_TRANS_TRANSLATOR_F kTranslators[] = {
    DIAG_PANEL_TRANS_DimmFault,     DIAG_PANEL_TRANS_CpuFault,   DIAG_PANEL_TRANS_RaidFault,
    DIAG_PANEL_TRANS_HddFault,      DIAG_PANEL_TRANS_BoardFault, DIAG_PANEL_TRANS_PostFault,
    DIAG_PANEL_TRANS_TempFault,     DIAG_PANEL_TRANS_PsuFault,   DIAG_PANEL_TRANS_CpuCfgFault,
    DIAG_PANEL_TRANS_PowercapFault, DIAG_PANEL_TRANS_FanFault,   DIAG_PANEL_TRANS_PcieFault,
};

// A message the table would refuse as malformed: a fault type beyond the buckets, or a level
// above "none given".
bool malformed(const DIAG_PANEL_MSG_S &msg)
{
    return msg.usFaultType >= DIAG_PANEL_FAULT_TYPE_NUM || host::levelOf(msg) > 4;
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    fuzz::setUpProcess();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const u8 *data, size_t size)
{
    if (size != 2 + DIAG_PANEL_SEL_LEN) {
        return 0;
    }
    static u32 configured = 0;
    const std::span<const u32> boards = fuzz::boards();
    const u32 board = boards[data[0] % boards.size()];
    if (board != configured) {
        fuzz::configureBoard(board);
        (void)diag::selectRunningBoard(); // an unlisted board keeps the tables selected before
        configured = board;
    }
    u8 record[DIAG_PANEL_SEL_LEN];
    memcpy(record, data + 2, sizeof record); // the translators get the record alone
    for (const DIAG_PANEL_TRANS_TRANSLATOR_F translator : kTranslators) {
        DIAG_PANEL_MSG_S *messages = reinterpret_cast<DIAG_PANEL_MSG_S *>(1);
        u8 count = 0xEE;
        const int rc = translator(record, &messages, &count, data[1]);
        if (rc == 0 && (messages == nullptr) != (count == 0)) {
            __builtin_trap(); // a success hands over an array with its count, or nothing
        }
        if (rc != 0 && messages == reinterpret_cast<DIAG_PANEL_MSG_S *>(1)) {
            __builtin_trap(); // the outputs are set on entry
        }
        for (u8 i = 0; rc == 0 && i < count; ++i) {
            if (malformed(messages[i])) {
                __builtin_trap();
            }
            (void)DIAG_PANEL_ProcessNewMsg(&messages[i]);
        }
        free(messages);
    }
    fuzz::resetAfterInput();
    return 0;
}
