// The intake's tables and helpers: routing against the exported predicate, the level map, the BCD
// index, the sensor-name match, and board selection with every name table it brings.
#include <gtest/gtest.h>

#include <map>
#include <set>

#include "tests/support/alloc_failure.hpp"
#include "tests/support/harness.hpp"
#include "translate/boards.hpp"
#include "translate/intake.hpp"

namespace {

using diag::NameRow;

TEST(Routing, TheDispatchAndTheExportedPredicateAgreeOnEveryPair)
{
    // The routed combinations, as documented: (event type, sensor type) -> translator.
    const std::map<std::pair<u8, u8>, DIAG_PANEL_TRANS_TRANSLATOR_F> routed = {
        {{0x6F, 0x07}, DIAG_PANEL_TRANS_CpuCfgFault}, {{0x6F, 0x0C}, DIAG_PANEL_TRANS_DimmFault},
        {{0x6F, 0x08}, DIAG_PANEL_TRANS_PsuFault},    {{0x0A, 0x04}, DIAG_PANEL_TRANS_FanFault},
        {{0x0B, 0x04}, DIAG_PANEL_TRANS_FanFault},    {{0x01, 0x01}, DIAG_PANEL_TRANS_TempFault},
        {{0x6F, 0x15}, DIAG_PANEL_TRANS_BoardFault},  {{0x6F, 0x23}, DIAG_PANEL_TRANS_PostFault},
        {{0x6F, 0x17}, DIAG_PANEL_TRANS_RaidFault},   {{0x6F, 0x0D}, DIAG_PANEL_TRANS_HddFault},
        {{0x6F, 0x13}, DIAG_PANEL_TRANS_PcieFault},   {{0x07, 0x17}, DIAG_PANEL_TRANS_RaidFault},
        {{0x6F, 0x21}, DIAG_PANEL_TRANS_PcieFault},   {{0x6F, 0x04}, DIAG_PANEL_TRANS_FanFault},
        {{0x6F, 0x0F}, DIAG_PANEL_TRANS_CpuFault},
    };
    unsigned routedPairs = 0;
    for (unsigned eventByte = 0; eventByte < 256; ++eventByte) {
        for (unsigned sensorType = 0; sensorType < 256; ++sensorType) {
            const auto eventType =
                static_cast<u8>(eventByte & 0x7F); // the direction bit is ignored
            DIAG_PANEL_TRANS_TRANSLATOR_F expected = nullptr;
            if (eventType == 0x72) {
                expected = DIAG_PANEL_TRANS_PowercapFault; // any sensor type
            } else if (auto it = routed.find({eventType, static_cast<u8>(sensorType)});
                       it != routed.end()) {
                expected = it->second;
            }
            DIAG_PANEL_SEL_S record{};
            record.aucSel[2] = 0xC0; // the predicate does not look at the record type
            record.aucSel[10] = static_cast<u8>(sensorType);
            record.aucSel[12] = static_cast<u8>(eventByte);
            ASSERT_EQ(diag::routeOf(eventType, static_cast<u8>(sensorType)), expected)
                << std::hex << eventByte << " " << sensorType;
            ASSERT_EQ(DIAG_PANEL_TRANS_filterValidSEL(record), expected != nullptr ? 1u : 0u)
                << std::hex << eventByte << " " << sensorType;
            routedPairs += expected != nullptr;
        }
    }
    EXPECT_EQ(routedPairs, 2u * (15 + 256));
}

TEST(Helpers, LevelMapAndBcdIndexOverEveryByte)
{
    for (u32 code = 0; code < 300; ++code) {
        const u8 expected = code == 1 || code == 2 ? 0 : code == 3 ? 2 : code == 4 ? 3 : 4;
        EXPECT_EQ(diag::mapSelLevel(code), expected) << code;
    }
    for (unsigned value = 0; value < 256; ++value) {
        const unsigned decimal = value % 100;
        EXPECT_EQ(DIAG_PANEL_TRANS_decToBcd(static_cast<u8>(value)),
                  (decimal / 10) << 4 | decimal % 10)
            << value;
    }
}

std::vector<NameRow> rows(std::initializer_list<std::pair<const char *, u8>> names)
{
    std::vector<NameRow> out;
    for (const auto &[name, code] : names) {
        NameRow row{};
        snprintf(row.acName, sizeof row.acName, "%s", name);
        row.ucCode = code;
        out.push_back(row);
    }
    return out;
}

int match(const std::vector<NameRow> &table, const std::string &name, u8 *code)
{
    return DIAG_PANEL_TRANS_matchSensorName(reinterpret_cast<const u8 *>(table.data()),
                                            static_cast<u8>(table.size()), name.c_str(),
                                            static_cast<u8>(name.size()), code);
}

TEST(Helpers, SensorNamesMatchWholeAndFirst)
{
    HOST_LogEcho(0);
    const auto table =
        rows({{"Fan_1_Status", 1}, {"Fan_1", 2}, {"CPU 1 DTS", 3}, {"Twice", 4}, {"Twice", 5}});
    struct Row {
        const char *name;
        int result;
        u8 code;
    };
    for (const Row &r :
         {Row{"Fan_1", 0, 2}, Row{"Fan_1_Status", 0, 1}, Row{"Fan", -1, 0}, Row{"CPU 1", -1, 0},
          Row{"CPU 1 DTS ", -1, 0}, Row{"Twice", 0, 4}, Row{"", -1, 0}}) {
        SCOPED_TRACE(r.name);
        u8 code = 0;
        EXPECT_EQ(match(table, r.name, &code), r.result);
        EXPECT_EQ(code, r.code);
    }
    const test::LogCursor log;
    u8 code = 0;
    EXPECT_EQ(match(table, std::string(32, 'x'), &code), -1);
    EXPECT_EQ(match(table, std::string(31, 'x'), &code), -1);
    EXPECT_EQ(DIAG_PANEL_TRANS_matchSensorName(reinterpret_cast<const u8 *>(table.data()), 0,
                                               "Fan_1", 5, &code),
              -1);
    EXPECT_EQ(DIAG_PANEL_TRANS_matchSensorName(nullptr, 1, "Fan_1", 5, &code), -1);
    EXPECT_EQ(DIAG_PANEL_TRANS_matchSensorName(reinterpret_cast<const u8 *>(table.data()), 1,
                                               nullptr, 5, &code),
              -1);
    EXPECT_EQ(DIAG_PANEL_TRANS_matchSensorName(reinterpret_cast<const u8 *>(table.data()), 1,
                                               "Fan_1", 5, nullptr),
              -1);
    EXPECT_EQ(log.lines(), (std::vector<test::LogLine>{
                               {2, "DiagPanel_translate", "Input name length [0x20] exceeds"},
                               {2, "DiagPanel_translate", "NULL input param!"},
                               {2, "DiagPanel_translate", "NULL input param!"},
                               {2, "DiagPanel_translate", "NULL input param!"}}));
}

TEST(Helpers, ChecksumIsTheByteSumAtEveryLengthAndOffset)
{
    std::vector<u8> bytes(4096 + 8);
    for (size_t i = 0; i < bytes.size(); ++i) {
        bytes[i] = static_cast<u8>(0xFF - i * 7);
    }
    for (u32 offset = 0; offset < 4; ++offset) {
        u32 expected = 0;
        for (u32 length = 0; length <= 4096; ++length) {
            ASSERT_EQ(DIAG_PANEL_TRANS_checkSum(bytes.data() + offset, length), expected)
                << "offset " << offset << ", length " << length;
            expected += bytes[offset + length];
        }
    }
    EXPECT_EQ(DIAG_PANEL_TRANS_checkSum(nullptr, 16), 0u);
    const std::vector<u8> ones(70000, 0xFF); // the sum outgrows 16 bits and stays exact
    EXPECT_EQ(DIAG_PANEL_TRANS_checkSum(ones.data(), 70000), 70000u * 0xFF);
}

TEST(Helpers, AFailedHandOverTouchesNoOutput)
{
    HOST_LogEcho(0);
    const DIAG_PANEL_MSG_S msg = test::message(5, 0x12, 3 << 2, 0x40, 3);
    DIAG_PANEL_MSG_S *out = nullptr;
    u8 count = 0;
    {
        const test::LogCursor log;
        const test::FailAllocation fail(1);
        EXPECT_EQ(DIAG_PANEL_TRANS_fillHashNode(&msg, &out, &count), -1);
        EXPECT_EQ(out, nullptr);
        EXPECT_EQ(count, 0);
        EXPECT_EQ(log.lines(),
                  (std::vector<test::LogLine>{
                      {2, "DiagPanel_translate", "Failed to alloc memory of hash node: 0x14"}}));
    }
    ASSERT_EQ(DIAG_PANEL_TRANS_fillHashNode(&msg, &out, &count), 0);
    ASSERT_EQ(count, 1);
    EXPECT_EQ(memcmp(out, &msg, sizeof msg), 0);
    free(out);
}

// Every board and the size of each of its four name tables (processor, PSU, fan, temperature).
struct BoardTables {
    u32 board;
    std::array<u32, 4> names;
};
constexpr BoardTables kBoards[] = {
    {0x01030103, {2, 2, 26, 53}}, {0x01030303, {2, 2, 26, 53}}, {0x01031104, {2, 2, 26, 53}},
    {0x01031304, {2, 2, 26, 53}}, {0x01032303, {4, 4, 12, 91}}, {0x60010101, {2, 2, 26, 53}},
    {0x60010201, {2, 2, 26, 53}}, {0x60010202, {2, 2, 26, 53}}, {0x01034301, {4, 2, 7, 54}},
    {0x01033304, {8, 8, 12, 84}}, {0x01033305, {8, 8, 12, 84}}, {0x01033306, {8, 8, 12, 84}},
    {0x61010101, {1, 2, 26, 53}}, {0x03033505, {2, 4, 16, 57}}, {0x02032001, {1, 2, 3, 16}},
};
constexpr u16 kNameTypes[] = {DIAG_PANEL_FAULT_CPU, DIAG_PANEL_FAULT_PSU, DIAG_PANEL_FAULT_FAN,
                              DIAG_PANEL_FAULT_TEMP};

class BoardTest : public testing::Test
{
  protected:
    void SetUp() override
    {
        HOST_Reset();
        HOST_LogEcho(0);
    }
    void TearDown() override { DIAG_PANEL_TRANS_Deinit(); }

    static int lookUp(u16 type, const std::string &name, u8 *code)
    {
        const diag::NameTable *table = diag::runningNameTable(type);
        if (table == nullptr) {
            return -2;
        }
        return DIAG_PANEL_TRANS_matchSensorName(reinterpret_cast<const u8 *>(table->pstNames),
                                                static_cast<u8>(table->uiNameNum), name.c_str(),
                                                static_cast<u8>(name.size()), code);
    }
};

TEST_F(BoardTest, EveryListedBoardSelectsItsTables)
{
    ASSERT_EQ(diag::boardTable().size(), std::size(kBoards));
    for (size_t i = 0; i < std::size(kBoards); ++i) {
        const BoardTables &b = kBoards[i];
        SCOPED_TRACE(testing::Message() << std::hex << b.board);
        EXPECT_EQ(diag::boardTable()[i].uiBoardId, b.board) << "board index " << i;
        HOST_SetBoardId(b.board);
        const test::LogCursor log;
        ASSERT_EQ(DIAG_PANEL_TRANS_Init(0x5A), 0);
        for (size_t t = 0; t < 4; ++t) {
            const diag::NameTable *table = diag::runningNameTable(kNameTypes[t]);
            ASSERT_NE(table, nullptr);
            EXPECT_EQ(table->uiFaultType, kNameTypes[t]);
            EXPECT_EQ(table->uiNameNum, b.names[t]) << "fault type " << kNameTypes[t];
            for (u32 row = 0; row < table->uiNameNum; ++row) {
                const NameRow &name = table->pstNames[row];
                EXPECT_LE(strnlen(name.acName, 32), 16u) << name.acName;
                EXPECT_GE(name.ucCode, 1) << name.acName;
            }
        }
        EXPECT_TRUE(log.lines().empty());
        DIAG_PANEL_TRANS_Deinit();
    }
}

TEST_F(BoardTest, UnlistedBoardsAreRefusedBeforeAnyPipe)
{
    for (const auto &[board, line] :
         {std::pair<u32, const char *>{0x01030104, "Unsupport Id 16974084"},
          {0xFFFFFFFF, "Unsupport Id -1"},
          {0x00000005, "Unsupport Id 5"}}) {
        HOST_SetBoardId(board);
        const test::LogCursor log;
        EXPECT_EQ(DIAG_PANEL_TRANS_Init(0x5A), -1);
        EXPECT_EQ(log.lines(), (std::vector<test::LogLine>{
                                   {2, "DiagPanel_translate", line},
                                   {2, "DiagPanel_translate", "Init DiagPanel Failed !!!"}}));
    }
}

TEST_F(BoardTest, NameTablesHoldTheirNamesAndCodes)
{
    struct Row {
        u32 board;
        u16 type;
        const char *name;
        int code; // -1: not in the table
    };
    // clang-format off
    const Row rows[] = {
        {0x01030103, 0, "CPU_1_Status", 1},       {0x01030103, 0, "CPU_2_Status", 2},
        {0x01030103, 5, "PSU_2_Status", 2},       {0x01030103, 6, "Fan_1_Status", 1},
        {0x01030103, 6, "Fan3_F_Status", 3},      {0x01030103, 6, "Fan3_R_Status", 3},
        {0x01030103, 6, "Fan_3", 3},              {0x01030103, 6, "Fan7_R_Status", 7},
        {0x01030103, 6, "Fan_6", 6},              {0x01030103, 9, "01-Inlet Temp", 1},
        {0x01030103, 9, "19-P/S 2 Zone", 19},     {0x01030103, 9, "28-PCI 4", 28},
        {0x01030103, 9, "28-PCI 1 Zone", 28},     {0x01030103, 9, "43-Outlet Temp 2", 43},
        {0x01030103, 9, "09-P2 DIMM Ch5-8", 9},   {0x01030103, 9, "Inlet Temp", -1},
        {0x01032303, 0, "N1 CPU_1_Status", 1},    {0x01032303, 0, "N2 CPU_2_Status", 4},
        {0x01032303, 5, "PSU_4_Status", 4},       {0x01032303, 6, "FAN1_DOWN_Status", 1},
        {0x01032303, 6, "FAN6_UP_Status", 6},     {0x01032303, 9, "Inlet Temp", 1},
        {0x01032303, 9, "N2 NVMe Right", 27},     {0x01032303, 9, "PCH", 34},
        {0x01032303, 9, "P/S 1-2 Zone", 39},      {0x01032303, 9, "N2 FrontBP R", 97},
        {0x01034301, 0, "CPU4_Status", 4},        {0x01034301, 5, "PSU_2_Status", 2},
        {0x01034301, 6, "FAN_Redundancy", 7},     {0x01034301, 9, "Front NVME", 19},
        {0x01034301, 9, "Outlet Temp 2", 54},     {0x01034301, 9, "Front NVMe", -1},
        {0x01033304, 0, "CM4 CPU_2_Status", 8},   {0x01033305, 5, "PSU_8_Status", 8},
        {0x01033306, 6, "CM2 FAN1_Status", 4},    {0x01033304, 9, "CM1 CPU 1 DTS", 2},
        {0x01033304, 9, "PCI 111", 48},           {0x01033304, 9, "M.2 SSD 2 Zone", 84},
        {0x61010101, 0, "CPU0_Status", 1},        {0x61010101, 0, "CPU_1_Status", -1},
        {0x61010101, 5, "PSU_1_Status", 1},       {0x61010101, 6, "Fan5_R_Status", 5},
        {0x61010101, 9, "24-BMC Zone", 24},       {0x03033505, 0, "CPU_2_Status", 2},
        {0x03033505, 5, "PSU_3_Status", 3},       {0x03033505, 6, "Fan1_DN_L_Status", 1},
        {0x03033505, 6, "Fan4_UP_R_Status", 4},   {0x03033505, 9, "CPU 1 DTS ", 5},
        {0x03033505, 9, "CPU 2 DTS ", 6},         {0x03033505, 9, "CPU 1 DTS", -1},
        {0x03033505, 9, "Outlet Temp 2", 57},     {0x02032001, 0, "CPU_Status", 1},
        {0x02032001, 5, "PSU_2_Status", 2},       {0x02032001, 6, "Fan_3_Status", 3},
        {0x02032001, 9, "Inlet_Temp", 1},         {0x02032001, 9, "Outlet_Temp", 16},
    };
    // clang-format on
    for (const Row &r : rows) {
        SCOPED_TRACE(testing::Message() << std::hex << r.board << " " << r.name);
        HOST_SetBoardId(r.board);
        ASSERT_EQ(DIAG_PANEL_TRANS_Init(0x5A), 0);
        u8 code = 0;
        const int result = lookUp(r.type, r.name, &code);
        EXPECT_EQ(result == 0 ? code : -1, r.code);
        DIAG_PANEL_TRANS_Deinit();
    }
}

} // namespace
