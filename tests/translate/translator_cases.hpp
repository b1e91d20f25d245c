// SPDX-License-Identifier: Apache-2.0
// What the translator tests share: a row is one record on one board, with the name the platform
// gives its sensor, and everything that must come of it: the whole messages or a refusal, every
// log line with its level, and the platform calls where they matter. Rows run straight into the
// translator, in a unit build where its one allocation can be made to fail.
#pragma once

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include <boards/catalogue.hpp>

#include "tests/support/harness.hpp"
#include "translate/translator.hpp"

namespace test {

inline constexpr u32 kHal = 0x5a,
                     kFirstBoard = diag::board::k01030103; // the intake starts with these
inline constexpr u8 kAssert = 0x6F, kDeassert = 0xEF;      // sensor-specific event type

// The fields a translator decides, every other byte 0; `level` is the level field of ucLevelInfo
// (bits 1-0 for POST faults, 4-2 for the others).
struct Msg {
    u16 type;
    u8 index, level;
    u32 mask;
    u8 faultLevel;
};
using Msgs = std::vector<Msg>;
using Lines = std::vector<std::string>;

struct Row {
    const char *name;
    u32 board; // 0: the board of the row before
    SelBytes record;
    u32 severity;                    // 1, 2: level 0; 3: level 2; 4: level 3; others: none
    Msgs out;                        // none: refused with -1, no array and a count of 0
    Lines log = {};                  // every line as "<level> <text>", in order
    const char *sensor = nullptr;    // the platform's name of the record's sensor; null: unknown
    std::optional<Lines> calls = {}; // the platform journal, when checked
    bool allocationFails = false;    // the translator's first allocation
};

// A reset stand-in, and the intake started on the first board.
class TranslatorTest : public testing::Test
{
  protected:
    void SetUp() override;
    void TearDown() override { DIAG_PANEL_TRANS_Deinit(); }
};

// Runs each row under a trace of its name. With `failText`, a row that gives one message runs
// again with its allocation failing: refused after its own lines, the hand-over's and failText.
void expectRows(DIAG_PANEL_TRANS_TRANSLATOR_F translator, const std::vector<Row> &rows,
                const char *failText = nullptr);

// The allocation of `size` bytes fails on this record: refused after these lines.
void expectAllocationFailure(DIAG_PANEL_TRANS_TRANSLATOR_F translator, const SelBytes &record,
                             const std::string &failText, const char *size = "0x14");

} // namespace test
