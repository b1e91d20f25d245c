// SPDX-License-Identifier: Apache-2.0
#include "tests/translate/translator_cases.hpp"

#include <regex>

#include "tests/support/alloc_failure.hpp"
#include "translate/boards.hpp"

namespace test {

void TranslatorTest::SetUp()
{
    HOST_LogEcho(0);
    HOST_Reset();
    ASSERT_EQ(DIAG_PANEL_TRANS_Init(kHal), 0);
}

static Lines allocationFailure(Lines before, const char *size, const std::string &failText)
{
    before.push_back(std::string("2 Failed to alloc memory of hash node: ") + size);
    before.push_back("2 " + failText);
    return before;
}

void expectRows(DIAG_PANEL_TRANS_TRANSLATOR_F translator, const std::vector<Row> &rows,
                const char *failText)
{
    static const std::regex lineNumber("(DiagPanel_translate\\.)[0-9]+\\]");
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        if (row.board != 0 && row.board != QMX_GetProductBoardID()) {
            HOST_SetBoardId(row.board);
            (void)diag::selectRunningBoard(); // its name tables, where it has them
        }
        HOST_SensorSetName(row.record[11], row.sensor);
        std::vector<DIAG_PANEL_MSG_S> expected;
        for (const Msg &m : row.out) {
            const int shift = m.type == DIAG_PANEL_FAULT_POST ? 0 : 2;
            expected.push_back(
                message(m.type, m.index, u8(m.level << shift), m.mask, m.faultLevel));
        }
        const LogCursor log;
        const CallCursor calls;
        const FailAllocation failure(row.allocationFails ? 1 : 0);
        auto *out = reinterpret_cast<DIAG_PANEL_MSG_S *>(1); // must be reset on entry
        u8 count = 0xEE;
        const int result = translator(row.record.data(), &out, &count, row.severity);
        EXPECT_EQ(result, expected.empty() ? -1 : 0);
        EXPECT_EQ(failure.fired(), row.allocationFails);
        if (result == 0) {
            EXPECT_EQ(std::vector(out, out + count), expected);
            free(out); // as the dispatch does
        } else {
            EXPECT_EQ(out, nullptr);
            EXPECT_EQ(count, 0);
        }
        Lines lines;
        for (const LogLine &line : log.lines()) {
            lines.push_back(
                std::to_string(line.level) + " " +
                std::regex_replace(line.text, lineNumber, "$1L]") +
                (line.file == "DiagPanel_translate" ? "" : " [from " + line.file + "]"));
        }
        EXPECT_EQ(lines, row.log);
        if (row.calls) {
            EXPECT_EQ(calls.calls(), *row.calls);
        }
        if (failText != nullptr && row.out.size() == 1) {
            Row failing = row;
            failing.out = {};
            failing.log = allocationFailure(row.log, "0x14", failText);
            failing.allocationFails = true;
            expectRows(translator, {failing});
        }
    }
}

void expectAllocationFailure(DIAG_PANEL_TRANS_TRANSLATOR_F translator, const SelBytes &record,
                             const std::string &failText, const char *size)
{
    Row row{"allocation fails", 0, record, 4, {}, allocationFailure({}, size, failText)};
    row.allocationFails = true;
    expectRows(translator, {row});
}

} // namespace test
