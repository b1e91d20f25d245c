// SPDX-License-Identifier: Apache-2.0
// The translators' shared helpers: the BCD index, and the whole-name match of a sensor name.
#include <gtest/gtest.h>

#include "tests/support/harness.hpp"
#include "translate/boards.hpp"
#include "translate/translator.hpp"

namespace {

TEST(Helpers, BcdIndexKeepsTheLastTwoDecimalDigits)
{
    for (unsigned value = 0; value <= 0xFF; ++value) { // 145 reads as 145h, of which 45h stays
        const unsigned bcd = (value / 10 % 10) << 4 | value % 10;
        EXPECT_EQ(DIAG_PANEL_TRANS_decToBcd(static_cast<u8>(value)), bcd) << value;
    }
}

TEST(Helpers, SensorNamesMatchWholeAndFirst)
{
    HOST_LogEcho(0);
    std::vector<diag::NameRow> table;
    for (const auto &[name, code] :
         {std::pair{"Fan_1_Status", 1}, std::pair{"Fan_1", 2}, std::pair{"CPU 1 DTS", 3},
          std::pair{"Twice", 4}, std::pair{"Twice", 5}}) {
        diag::NameRow row{};
        snprintf(row.acName, sizeof row.acName, "%s", name);
        row.ucCode = static_cast<u8>(code);
        table.push_back(row);
    }
    const auto *rows = reinterpret_cast<const u8 *>(table.data());
    const auto match = [&](const std::string &name, u8 *code, u8 count = 5) {
        return DIAG_PANEL_TRANS_matchSensorName(rows, count, name.c_str(),
                                                static_cast<u8>(name.size()), code);
    };
    const std::pair<const char *, int> cases[] = {
        {"Fan_1", 2},       {"Fan_1_Status", 1}, {"Fan", -1}, {"CPU 1", -1},
        {"CPU 1 DTS ", -1}, {"Twice", 4},        {"", -1},
    };
    for (const auto &[name, code] : cases) {
        u8 found = 0;
        EXPECT_EQ(match(name, &found), code < 0 ? -1 : 0) << name;
        EXPECT_EQ(found, code < 0 ? 0 : code) << name;
    }
    std::string embedded("Fan_1\0Status", 12); // matches no row: names end at their NUL
    u8 code = 0;
    EXPECT_EQ(match(embedded, &code), -1);
    const test::LogCursor log;
    EXPECT_EQ(match(std::string(32, 'x'), &code), -1);
    EXPECT_EQ(match(std::string(31, 'x'), &code), -1);
    EXPECT_EQ(match("Fan_1", &code, 0), -1);
    EXPECT_EQ(DIAG_PANEL_TRANS_matchSensorName(nullptr, 1, "Fan_1", 5, &code), -1);
    EXPECT_EQ(DIAG_PANEL_TRANS_matchSensorName(rows, 1, nullptr, 5, &code), -1);
    EXPECT_EQ(match("Fan_1", nullptr), -1);
    EXPECT_EQ(log.texts(),
              (std::vector<std::string>{"Input name length [0x20] exceeds", "NULL input param!",
                                        "NULL input param!", "NULL input param!"}));
}

} // namespace
