// SPDX-License-Identifier: Apache-2.0
// Memory faults: sensor-specific events (6Fh) of memory sensors (0Ch). The DIMM is named by a
// code from the board's layout, found from OEM position bits in event data 2 and 3 or, on the
// Kestrel and Merlin boards, from the sensor number.
#include "translate/translator.hpp"

#include <algorithm>
#include <array>
#include <optional>
#include <span>

using namespace diag;

namespace {

// clang-format off
constexpr std::array<OffsetLevel, 5> kDimmOffsets{{
    // offset  level when none is given  IPMI memory event
    {  0x00,   2 },                   // correctable ECC
    {  0x01,   3 },                   // uncorrectable ECC
    {  0x02,   3 },                   // parity
    {  0x05,   2 },                   // correctable ECC logging limit reached
    {  0x0B,   2 },                   // not in the IPMI 2.0 memory table: OEM
}};
// clang-format on
static_assert(uniqueKeys(kDimmOffsets, &OffsetLevel::key), "one row per offset");
static_assert(std::ranges::all_of(kDimmOffsets, [](const OffsetLevel &r) { return r.key < 32; }),
              "each offset is a bit of uiFaultMask");

constexpr u8 kOemFormat = 0xA; // event data 1 bits 7-4: OEM codes in event data 2 and 3

// Where the record says the DIMM is: OEM fields of event data 2 and 3, and the sensor number.
struct DimmFields {
    u8 s;            // event data 3 bits 7-6: the block of DIMM codes
    u8 c;            // event data 3 bits 5-4
    u8 m;            // event data 3 bits 3-0
    u8 d;            // event data 2 bits 2-1
    u8 h;            // event data 2 bit 7: four more blocks on the 96-position boards
    u8 sensorNumber; // the Kestrel and Merlin boards have one sensor per DIMM
};

DimmFields dimmFields(const SelRecord &sel)
{
    const u8 data2 = sel.eventData2();
    const u8 data3 = sel.eventData3();
    return {static_cast<u8>(data3 >> 6),   static_cast<u8>((data3 >> 4) & 0x3u),
            static_cast<u8>(data3 & 0xFu), static_cast<u8>((data2 >> 1) & 0x3u),
            static_cast<u8>(data2 >> 7),   sel.sensorNumber()};
}

// Codes in blocks of twelve: the high nibble counts blocks from `firstBlock`, the low nibble the
// slot in the block from 1 to C.
template <size_t N> constexpr std::array<u8, N> blocksOfTwelve(u8 firstBlock)
{
    std::array<u8, N> codes{};
    for (size_t p = 0; p < N; ++p) {
        codes[p] = static_cast<u8>((firstBlock + p / 12) << 4 | (p % 12 + 1));
    }
    return codes;
}

// clang-format off
constexpr std::array<u8, 20> kTwentyPositions{
    0xA1, 0xA2, 0xA3, 0xA4, 0xA5, 0xA6, 0xA7, 0x00, 0x00, 0xA8, // 7 and 8: no DIMM there
    0xB1, 0xB2, 0xB3, 0xB4, 0xB5, 0xB6, 0xB7, 0x00, 0x00, 0xB8,
};
// clang-format on
constexpr auto kTwentyFourPositions = blocksOfTwelve<24>(0xA);
constexpr auto kFortyEightPositions = blocksOfTwelve<48>(0xA);
constexpr auto kNinetySixPositions = blocksOfTwelve<96>(0x0);
constexpr std::array<u8, 4> kFourPositions{0xA1, 0xB1, 0xD1, 0xE1};
static_assert(kTwentyFourPositions[0] == 0xA1 && kTwentyFourPositions[23] == 0xBC);
static_assert(kFortyEightPositions[24] == 0xC1 && kFortyEightPositions[47] == 0xDC);
static_assert(kNinetySixPositions[0] == 0x01 && kNinetySixPositions[95] == 0x7C);

struct SensorDimm {
    u8 key; // sensor number
    u8 code;
};

// clang-format off
// Searched from the first row; the first matching sensor number wins, so row 30 is never reached
// and EBh and EFh have no DIMM.
constexpr std::array<SensorDimm, 32> kKestrelSensors{{
    {0xD0, 0xA1}, {0xD1, 0xA9}, {0xD2, 0xA2}, {0xD3, 0xAA}, {0xD4, 0xA3}, {0xD5, 0xAB},
    {0xD6, 0xA4}, {0xD7, 0xAC}, {0xD8, 0xA5}, {0xD9, 0xAD}, {0xDA, 0xA6}, {0xDB, 0xAE},
    {0xDC, 0xA7}, {0xDD, 0xAF}, {0xDE, 0xA8}, {0xDF, 0xA0},
    {0xE0, 0xB1}, {0xE1, 0xB9}, {0xE2, 0xB2}, {0xE3, 0xBA}, {0xE4, 0xB3}, {0xE5, 0xBB},
    {0xE6, 0xB4}, {0xE7, 0xBC}, {0xE8, 0xB5}, {0xE9, 0xBD}, {0xEA, 0xB6},
    {0xEC, 0xBE}, {0xED, 0xB7}, {0xEE, 0xBF}, {0xEE, 0xB8}, {0xF0, 0xB0},
}};

// Read by position: row = sensor number - D0h.
constexpr std::array<SensorDimm, 16> kMerlinSensors{{
    {0xD0, 0xA1}, {0xD1, 0xA2}, {0xD2, 0xA3}, {0xD3, 0xA4}, {0xD4, 0xA5}, {0xD5, 0xA6},
    {0xD6, 0xA7}, {0xD7, 0xA8}, {0xD8, 0xB1}, {0xD9, 0xB2}, {0xDA, 0xB3}, {0xDB, 0xB4},
    {0xDC, 0xB5}, {0xDD, 0xB6}, {0xDE, 0xB7}, {0xDF, 0xB8},
}};
// clang-format on
constexpr u8 kMerlinFirstSensor = 0xD0;
static_assert(findRow(kKestrelSensors, u8{0xEE})->code == 0xBF, "first match wins");
constexpr bool readByPosition(std::span<const SensorDimm> rows, u8 first)
{
    for (size_t row = 0; row < rows.size(); ++row) {
        if (rows[row].key != first + row) {
            return false;
        }
    }
    return true;
}
static_assert(readByPosition(kMerlinSensors, kMerlinFirstSensor), "row = sensor number - D0h");

// Logs a position beyond the table.
std::optional<u8> codeAt(std::span<const u8> codes, u8 position)
{
    if (position >= codes.size()) {
        DIAG_LOG(kLogWarning, "DIMM index exceeds: %#x", position);
        return std::nullopt;
    }
    return codes[position];
}

// Positions are worked out in 8 bits.
constexpr u8 position(u32 sum)
{
    return static_cast<u8>(sum);
}

std::optional<u8> twentyPositions(const DimmFields &f)
{
    return codeAt(kTwentyPositions, position(f.c + 6u * f.m + 3u * f.d + 10u * f.s));
}

std::optional<u8> twentyFourPositions(const DimmFields &f)
{
    return codeAt(kTwentyFourPositions, position(f.c + 6u * f.m + 3u * f.d + 12u * f.s));
}

std::optional<u8> fortyEightPositions(const DimmFields &f)
{
    return codeAt(kFortyEightPositions, position(f.c + 6u * f.m + 3u * f.d + 12u * f.s));
}

std::optional<u8> ninetySixPositions(const DimmFields &f)
{
    return codeAt(kNinetySixPositions,
                  position(f.c + 6u * f.m + 3u * f.d + 12u * (f.s + 4u * f.h)));
}

std::optional<u8> fourPositions(const DimmFields &f)
{
    return codeAt(kFourPositions, position(f.c + f.m + 2u * f.d + 12u * f.s));
}

std::optional<u8> kestrelSensor(const DimmFields &f)
{
    const SensorDimm *row = findRow(kKestrelSensors, f.sensorNumber);
    if (row == nullptr) {
        DIAG_LOG(kLogWarning, "Wrong Kestrel DIMM SensorNum: %#x", f.sensorNumber);
        return std::nullopt;
    }
    return row->code;
}

std::optional<u8> merlinSensor(const DimmFields &f)
{
    const auto row = static_cast<u8>(f.sensorNumber - kMerlinFirstSensor); // below D0h wraps high
    if (row >= kMerlinSensors.size()) {
        DIAG_LOG(kLogWarning, "Wrong Merlin DIMM SensorNum: %#x", f.sensorNumber);
        return std::nullopt;
    }
    return kMerlinSensors[row].code;
}

// Finds the DIMM code, or logs why there is none.
using DimmDecoder = std::optional<u8> (*)(const DimmFields &);

struct BoardDimmLayout {
    u32 boardId;
    DimmDecoder decode;
};

// clang-format off
constexpr std::array<BoardDimmLayout, 17> kBoardLayouts{{
    {board::k01030103, twentyPositions},
    {board::k01030303, twentyPositions},
    {board::k01031104, twentyFourPositions},
    {board::k01031304, twentyFourPositions},
    {board::k30033204, twentyFourPositions},
    {board::k30033404, twentyFourPositions},
    {board::k02033404, twentyFourPositions},
    {board::k03033505, twentyFourPositions},
    {board::k60010101, kestrelSensor},
    {board::k60010201, kestrelSensor},
    {board::k60010202, merlinSensor},
    {board::k01032303, fortyEightPositions},
    {board::k01034301, fortyEightPositions},
    {board::k01033304, ninetySixPositions},
    {board::k01033305, ninetySixPositions},
    {board::k01033306, ninetySixPositions},
    {board::k61010101, fourPositions},
}};
// clang-format on
static_assert(uniqueKeys(kBoardLayouts, &BoardDimmLayout::boardId), "one layout per board");

std::optional<u8> dimmCode(const SelRecord &sel)
{
    const u32 boardId = QMX_GetProductBoardID();
    if (boardId == board::kUnknown) {
        DIAG_LOG(kLogWarning, "ProductBoardID not found");
        return std::nullopt;
    }
    const auto layout = std::ranges::find(kBoardLayouts, boardId, &BoardDimmLayout::boardId);
    if (layout == kBoardLayouts.end()) {
        DIAG_LOG(kLogWarning, "ProductBoard not adapt, %u", boardId);
        return std::nullopt;
    }
    return layout->decode(dimmFields(sel));
}

} // namespace

int DIAG_PANEL_TRANS_DimmFault(const u8 *pucSel, DIAG_PANEL_MSG_S **ppstMsg, u8 *pucMsgNum,
                               u32 uiSelLevel)
{
    *ppstMsg = nullptr;
    *pucMsgNum = 0;
    const SelRecord sel(pucSel);
    const OffsetLevel *row = findRow(kDimmOffsets, sel.offset());
    if (row == nullptr) {
        return -1; // no other memory event reaches the panel
    }
    DIAG_PANEL_MSG_S msg{};
    msg.usFaultType = DIAG_PANEL_FAULT_MEMORY;
    fillLevel(msg, levelOr(mapSelLevel(uiSelLevel), row->level), sel.isDeassertion());
    // Checked before the board is asked, so a foreign format is named as such on any board.
    if ((sel.eventData1() >> 4) != kOemFormat) {
        DIAG_LOG(kLogWarning, "Unknown DIMM sel format: EvtData1=%#x", sel.eventData1());
        return -1;
    }
    const std::optional<u8> code = dimmCode(sel);
    if (!code) {
        return -1; // it logged why
    }
    msg.ucIndex = *code;
    msg.uiFaultMask = 1u << row->key;
    return handOver(msg, ppstMsg, pucMsgNum, "Failed to fill hash node of DIMM Fault info");
}
