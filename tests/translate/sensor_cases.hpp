// Table-driven checks of the sensor and slot translators, called directly: a row names the
// running board, the sensor's name as the platform gives it, the record and its severity, and
// what must come out: one message or a refusal, the log lines and the platform calls.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/harness.hpp"
#include "translate/boards.hpp"
#include "translate/translator.hpp"

namespace test {

inline constexpr u32 kHal = 0x5a;  // the HAL handle every case starts the intake with
inline constexpr u32 kNoBoard = 0; // keep the running board
inline constexpr u32 kFirstBoard = 0x01030103;

// The fields a translator decides; `level` is the level field of ucLevelInfo.
struct Msg {
    u16 type;
    u8 index;
    u8 level;
    u32 mask;
    u8 faultLevel;
};

using Calls = std::vector<std::string>;
inline const Calls kNoCalls{};

struct Case {
    const char *what;
    SelBytes record;
    u32 severity = 0;
    std::optional<Msg> expect = std::nullopt;  // nullopt: refused with -1 and no output
    std::vector<std::string> log = {};         // "<level> <text>", all of the log, in order
    const char *sensorName = nullptr;          // the record's sensor name; nullptr: unknown sensor
    u32 board = kNoBoard;                      // selected with DIAG_PANEL_TRANS_Init first
    std::optional<Calls> calls = std::nullopt; // the platform journal, when checked
};

// Fixture: a reset stand-in, board kFirstBoard selected, the intake started with kHal.
class SensorTranslatorTest : public testing::Test
{
  protected:
    void SetUp() override;
    void TearDown() override;
    void selectBoard(u32 boardId);
    // Runs every row through the translator, each under a SCOPED_TRACE naming it.
    void run(DIAG_PANEL_TRANS_TRANSLATOR_F translator, const std::vector<Case> &cases);

  private:
    u32 board_ = 0;
};

std::string describe(const Msg &msg);
std::string describe(const DIAG_PANEL_MSG_S &msg); // flags any byte a translator must leave 0
std::vector<std::string> logLines(const LogCursor &cursor); // "<level> <text>", unit checked

// Makes the one allocation of the message fail: -1, no output, the helper's and the
// translator's errors logged.
void expectAllocationFailure(DIAG_PANEL_TRANS_TRANSLATOR_F translator, const SelBytes &record,
                             u32 severity, const std::string &failText);

// The journal line of a sensor-name query for `sensor` with LUN bit `lun`.
std::string nameQuery(u8 sensor, u8 lun = 0);

} // namespace test
