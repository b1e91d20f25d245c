// SPDX-License-Identifier: Apache-2.0
// Board logic faults: sensor-specific events (6Fh) of module/board sensors (15h). A record carries
// one programmable-logic register, its address in event data 2 and its value in event data 3; the
// board's register table names the fault of each bit, so one record can make several messages.
// Some addresses report one fault of their own instead, through the single-bit table.
#include "translate/translator.hpp"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdlib>
#include <span>

using namespace diag;

namespace {

constexpr u8 kNone = 0xFF; // the bit reports no fault
constexpr u16 kBoard = DIAG_PANEL_FAULT_BOARD;
constexpr u16 kBoardEx = DIAG_PANEL_FAULT_BOARD_EX;
constexpr u8 kRegisterOffset = 0x00; // every register row answers to event offset 0
constexpr u8 kOemFormat = 0xA;       // event data 1 bits 7-4: OEM codes in event data 2 and 3
constexpr u8 kDefaultLevel = 3;

struct RegisterRow {
    u8 address; // event data 2
    u16 faultType;
    std::array<u8, 8> index; // by bit of event data 3, or kNone
};

// clang-format off
constexpr std::array<RegisterRow, 9> kRegistersA{{
    // data 2   type        bit 0  bit 1  bit 2  bit 3  bit 4  bit 5  bit 6  bit 7
    {0x68,      kBoardEx,  {0x01,  0x04,  0x25,  0x24,  0x23,  kNone, 0x22,  kNone}},
    {0x69,      kBoardEx,  {kNone, kNone, kNone, kNone, 0x40,  kNone, kNone, kNone}},
    {0x6A,      kBoardEx,  {0x29,  0x28,  0x27,  0x07,  0x06,  kNone, kNone, kNone}},
    {0x6B,      kBoardEx,  {0x32,  0x31,  0x30,  0x09,  0x08,  kNone, kNone, kNone}},
    {0x6C,      kBoardEx,  {0x11,  0x10,  0x15,  0x14,  0x13,  0x12,  kNone, kNone}},
    {0x6D,      kBoardEx,  {0x17,  0x16,  0x21,  0x20,  0x19,  0x18,  kNone, kNone}},
    {0x6E,      kBoardEx,  {0x47,  0x46,  0x45,  kNone, kNone, kNone, kNone, kNone}},
    {0x72,      kBoard,    {0x44,  0x43,  0x42,  kNone, 0x41,  kNone, kNone, kNone}},
    {0x70,      kBoard,    {0x48,  kNone, kNone, kNone, kNone, kNone, kNone, kNone}},
}};

constexpr std::array<RegisterRow, 15> kRegistersB{{
    // data 2   type        bit 0  bit 1  bit 2  bit 3  bit 4  bit 5  bit 6  bit 7
    {0x61,      kBoardEx,  {kNone, kNone, kNone, kNone, kNone, kNone, 0x40,  kNone}},
    {0x63,      kBoardEx,  {kNone, kNone, kNone, kNone, 0x42,  0x42,  kNone, kNone}},
    {0x64,      kBoardEx,  {0x06,  0x07,  0x03,  0x04,  0x05,  kNone, 0x01,  kNone}},
    {0x65,      kBoardEx,  {0x10,  0x09,  kNone, kNone, kNone, kNone, kNone, kNone}},
    {0x66,      kBoardEx,  {kNone, kNone, 0x62,  0x61,  0x60,  kNone, 0x44,  kNone}},
    {0x67,      kBoardEx,  {kNone, kNone, 0x72,  0x71,  0x70,  kNone, 0x45,  kNone}},
    {0x68,      kBoardEx,  {0x66,  0x65,  0x68,  0x67,  0x64,  0x63,  kNone, kNone}},
    {0x69,      kBoardEx,  {0x76,  0x75,  0x78,  0x77,  0x74,  0x73,  kNone, kNone}},
    {0x6A,      kBoardEx,  {0x21,  0x23,  0x26,  0x28,  kNone, kNone, kNone, kNone}},
    {0x80,      kBoardEx,  {kNone, kNone, 0x82,  0x81,  0x80,  kNone, 0x54,  kNone}},
    {0x81,      kBoardEx,  {kNone, kNone, 0x92,  0x91,  0x90,  kNone, 0x55,  kNone}},
    {0x82,      kBoardEx,  {0x86,  0x85,  0x88,  0x87,  0x84,  0x83,  kNone, kNone}},
    {0x83,      kBoardEx,  {0x96,  0x95,  0x98,  0x97,  0x94,  0x93,  kNone, kNone}},
    {0x6E,      kBoardEx,  {0x14,  0x13,  0x12,  0x11,  kNone, kNone, kNone, kNone}},
    {0x6D,      kBoardEx,  {0x50,  kNone, kNone, kNone, kNone, kNone, kNone, kNone}},
}};

constexpr std::array<RegisterRow, 7> kRegistersC{{
    // data 2   type        bit 0  bit 1  bit 2  bit 3  bit 4  bit 5  bit 6  bit 7
    {0x68,      kBoardEx,  {0x01,  0x02,  kNone, kNone, kNone, kNone, kNone, kNone}},
    {0x6A,      kBoardEx,  {kNone, kNone, 0x03,  0x06,  0x05,  kNone, kNone, kNone}},
    {0x6B,      kBoardEx,  {kNone, kNone, 0x04,  0x10,  0x09,  kNone, kNone, kNone}},
    {0x6C,      kBoardEx,  {kNone, kNone, kNone, kNone, 0x08,  0x07,  kNone, kNone}},
    {0x6D,      kBoardEx,  {kNone, kNone, kNone, kNone, 0x12,  0x11,  kNone, kNone}},
    {0x72,      kBoard,    {0x21,  0x32,  0x31,  kNone, kNone, kNone, kNone, kNone}},
    {0x70,      kBoard,    {0x71,  kNone, kNone, kNone, kNone, kNone, kNone, kNone}},
}};

constexpr std::array<RegisterRow, 17> kRegistersD{{
    // data 2   type        bit 0  bit 1  bit 2  bit 3  bit 4  bit 5  bit 6  bit 7
    {0x63,      kBoardEx,  {kNone, kNone, kNone, 0x07,  0x06,  kNone, kNone, kNone}},
    {0x64,      kBoardEx,  {kNone, kNone, 0x03,  0x04,  0x05,  kNone, kNone, kNone}},
    {0x66,      kBoardEx,  {kNone, kNone, 0x63,  0x62,  0x61,  kNone, 0x44,  kNone}},
    {0x67,      kBoardEx,  {kNone, kNone, 0x66,  0x65,  0x64,  kNone, 0x45,  kNone}},
    {0x68,      kBoardEx,  {0x68,  0x67,  0x6A,  0x69,  0x68,  0x67,  kNone, kNone}},
    {0x69,      kBoardEx,  {0x6C,  0x6B,  0x6E,  0x6D,  0x6C,  0x6B,  kNone, kNone}},
    {0x6A,      kBoardEx,  {0x21,  0x23,  0x26,  kNone, kNone, kNone, kNone, kNone}},
    {0x6D,      kBoardEx,  {0x40,  0x50,  kNone, kNone, 0x46,  0x56,  kNone, kNone}},
    {0x6E,      kBoardEx,  {0x47,  0x48,  0x57,  0x58,  kNone, kNone, kNone, kNone}},
    {0x80,      kBoardEx,  {kNone, kNone, 0x73,  0x72,  0x71,  kNone, 0x54,  kNone}},
    {0x81,      kBoardEx,  {kNone, kNone, 0x76,  0x75,  0x74,  kNone, 0x55,  kNone}},
    {0x82,      kBoardEx,  {0x78,  0x77,  0x7A,  0x79,  0x78,  0x77,  kNone, kNone}},
    {0x83,      kBoardEx,  {0x7C,  0x7B,  0x7E,  0x7D,  0x7C,  0x7B,  kNone, kNone}},
    {0x8C,      kBoardEx,  {0x01,  kNone, kNone, kNone, kNone, kNone, kNone, kNone}},
    {0x8D,      kBoardEx,  {0x41,  0x51,  kNone, kNone, kNone, kNone, kNone, kNone}},
    {0x8E,      kBoardEx,  {0x22,  0x25,  0x27,  kNone, kNone, kNone, kNone, kNone}},
    {0x8F,      kBoardEx,  {0x43,  0x53,  kNone, kNone, 0x42,  0x52,  kNone, kNone}},
}};

constexpr std::array<RegisterRow, 25> kRegistersE{{
    // data 2   type        bit 0  bit 1  bit 2  bit 3  bit 4  bit 5  bit 6  bit 7
    {0x64,      kBoardEx,  {kNone, kNone, 0x03,  0x04,  0x05,  kNone, kNone, kNone}},
    {0x6A,      kBoardEx,  {0x21,  0x23,  0x26,  0x28,  0x30,  0x33,  kNone, kNone}},
    {0x8C,      kBoardEx,  {0x02,  0x01,  0x06,  0x41,  0x51,  0x22,  0x25,  0x27}},
    {0x8D,      kBoardEx,  {0x12,  0x11,  0x16,  0xA1,  0xB1,  0x29,  0x32,  0x34}},
    {0x66,      kBoardEx,  {kNone, kNone, 0x63,  0x62,  0x61,  kNone, 0x44,  kNone}},
    {0x67,      kBoardEx,  {kNone, kNone, 0x66,  0x65,  0x64,  kNone, 0x45,  kNone}},
    {0x68,      kBoardEx,  {0x68,  0x67,  0x6A,  0x69,  0x68,  0x67,  kNone, kNone}},
    {0x69,      kBoardEx,  {0x6C,  0x6B,  0x6D,  0x6E,  0x6C,  0x6B,  kNone, kNone}},
    {0x80,      kBoardEx,  {kNone, kNone, 0x73,  0x72,  0x71,  kNone, 0x54,  kNone}},
    {0x81,      kBoardEx,  {kNone, kNone, 0x76,  0x75,  0x74,  kNone, 0x55,  kNone}},
    {0x82,      kBoardEx,  {0x78,  0x77,  0x7A,  0x79,  0x78,  0x77,  kNone, kNone}},
    {0x83,      kBoardEx,  {0x7C,  0x7B,  0x7D,  0x7E,  0x7C,  0x7B,  kNone, kNone}},
    {0x84,      kBoardEx,  {kNone, kNone, 0x83,  0x82,  0x81,  kNone, 0xA4,  kNone}},
    {0x85,      kBoardEx,  {kNone, kNone, 0x86,  0x85,  0x84,  kNone, 0xA5,  kNone}},
    {0x86,      kBoardEx,  {0x88,  0x87,  0x8A,  0x89,  0x88,  0x87,  kNone, kNone}},
    {0x87,      kBoardEx,  {0x8C,  0x8B,  0x8D,  0x8E,  0x8C,  0x8B,  kNone, kNone}},
    {0x88,      kBoardEx,  {kNone, kNone, 0x93,  0x92,  0x91,  kNone, 0xB4,  kNone}},
    {0x89,      kBoardEx,  {kNone, kNone, 0x96,  0x95,  0x94,  kNone, 0xB5,  kNone}},
    {0x8A,      kBoardEx,  {0x98,  0x97,  0x9A,  0x99,  0x98,  0x97,  kNone, kNone}},
    {0x8B,      kBoardEx,  {0x9C,  0x9B,  0x9D,  0x9E,  0x9C,  0x9B,  kNone, kNone}},
    {0x8E,      kBoardEx,  {0x07,  0x17,  kNone, kNone, kNone, kNone, kNone, kNone}},
    {0x8F,      kBoardEx,  {0x43,  0x53,  0xA3,  0xB3,  0x42,  0x52,  0xA2,  0xB2}},
    {0x6B,      kBoardEx,  {0x24,  kNone, 0x31,  kNone, kNone, kNone, kNone, kNone}},
    {0x6D,      kBoardEx,  {0x40,  0x50,  0xA0,  0xB0,  0x46,  0x56,  0xA6,  0xB6}},
    {0x6E,      kBoardEx,  {0x47,  0x48,  0x57,  0x58,  0xA7,  0xA8,  0xB7,  0xB8}},
}};

constexpr std::array<RegisterRow, 9> kRegistersF{{
    // data 2   type        bit 0  bit 1  bit 2  bit 3  bit 4  bit 5  bit 6  bit 7
    {0x68,      kBoardEx,  {0x01,  0x04,  0x02,  0x05,  kNone, kNone, kNone, 0x03}},
    {0x6A,      kBoardEx,  {kNone, kNone, kNone, 0x07,  0x06,  kNone, kNone, kNone}},
    {0x6B,      kBoardEx,  {kNone, kNone, kNone, 0x09,  0x08,  kNone, kNone, kNone}},
    {0x6C,      kBoardEx,  {0x10,  0x11,  0x14,  0x15,  0x12,  0x13,  kNone, kNone}},
    {0x6D,      kBoardEx,  {0x16,  0x17,  0x20,  0x21,  0x18,  0x19,  kNone, kNone}},
    {0x72,      kBoard,    {0x21,  0x32,  0x31,  kNone, kNone, kNone, kNone, kNone}},
    {0x70,      kBoard,    {0x71,  kNone, kNone, kNone, kNone, kNone, kNone, kNone}},
    {0x69,      kBoard,    {kNone, kNone, kNone, kNone, kNone, kNone, 0x91,  0x91}},
    {0x6E,      kBoard,    {kNone, kNone, kNone, 0x03,  0x03,  0x03,  0x02,  0x02}},
}};

// clang-format on

struct SingleBitRow {
    u16 faultType;
    u8 offset;
    u8 address; // event data 2
    u8 bit;     // of uiFaultMask
    u8 index;
};

// clang-format off
constexpr std::array<SingleBitRow, 3> kSingleBits{{
    // fault type  offset  event data 2  fault bit  index
    {kBoard,       0x00,   0x65,         0,         0x11},
    {kBoard,       0x00,   0x66,         1,         0x11},
    {kBoard,       0x00,   0x67,         2,         0x11},
}};
// clang-format on

struct BoardLogicTables {
    u32 boardId;
    std::span<const RegisterRow> registers;
    std::span<const SingleBitRow> singleBits; // empty: the board has none
};

constexpr std::span<const SingleBitRow> kNoSingleBits{};

// clang-format off
constexpr std::array<BoardLogicTables, 12> kBoards{{
    {board::k01030103, kRegistersA, kSingleBits},
    {board::k01030303, kRegistersA, kSingleBits},
    {board::k01031104, kRegistersA, kSingleBits},
    {board::k01031304, kRegistersA, kSingleBits},
    {board::k01034301, kRegistersB, kNoSingleBits},
    {board::k60010101, kRegistersC, kSingleBits},
    {board::k60010201, kRegistersC, kSingleBits},
    {board::k60010202, kRegistersC, kSingleBits},
    {board::k01032303, kRegistersD, kNoSingleBits},
    {board::k01033304, kRegistersE, kNoSingleBits},
    {board::k01033305, kRegistersE, kNoSingleBits},
    {board::k03033505, kRegistersF, kSingleBits},
}};
// clang-format on
static_assert(uniqueKeys(kBoards, &BoardLogicTables::boardId), "one row per board");

// What the tables promise: a record matches at most one row of a board, in either table.
constexpr bool uniqueAddresses(std::span<const RegisterRow> rows)
{
    for (size_t i = 0; i < rows.size(); ++i) {
        if (rows[i].faultType != kBoard && rows[i].faultType != kBoardEx) {
            return false; // also catches a row left out of a table's declared count
        }
        for (size_t j = i + 1; j < rows.size(); ++j) {
            if (rows[i].address == rows[j].address) {
                return false;
            }
        }
    }
    return true;
}

constexpr bool apart(std::span<const RegisterRow> rows, std::span<const SingleBitRow> singles)
{
    for (const SingleBitRow &single : singles) {
        for (const RegisterRow &row : rows) {
            if (single.offset == kRegisterOffset && single.address == row.address) {
                return false;
            }
        }
    }
    return true;
}

constexpr bool oneRowAtMost(const BoardLogicTables &board)
{
    return board.boardId != 0 && uniqueAddresses(board.registers) &&
           apart(board.registers, board.singleBits);
}
static_assert(std::ranges::all_of(kBoards, oneRowAtMost), "a record matches one row at most");
static_assert(std::ranges::all_of(kSingleBits, [](const SingleBitRow &r) { return r.bit < 32; }),
              "a single bit is a bit of uiFaultMask");

const RegisterRow *findRegister(std::span<const RegisterRow> rows, u8 offset, u8 address)
{
    if (offset != kRegisterOffset) {
        return nullptr;
    }
    const auto row = std::ranges::find(rows, address, &RegisterRow::address);
    return row != rows.end() ? &*row : nullptr;
}

const SingleBitRow *findSingleBit(std::span<const SingleBitRow> rows, u8 offset, u8 address)
{
    const auto row = std::ranges::find_if(
        rows, [&](const SingleBitRow &r) { return r.offset == offset && r.address == address; });
    return row != rows.end() ? &*row : nullptr;
}

// One message per set bit of the value that the row maps, in ascending bit order.
int registerFaults(const RegisterRow &row, const SelRecord &sel, u8 level,
                   DIAG_PANEL_MSG_S **ppstMsg, u8 *pucMsgNum)
{
    if ((sel.eventData1() >> 4) != kOemFormat) {
        DIAG_LOG(kLogError, "Unknown OEM FPGA sel format: EvtData1=%#x", sel.eventData1());
        return -1;
    }
    const u8 value = sel.eventData3();
    u8 faults = 0; // the set bits of the value that the row maps to a fault
    for (size_t bit = 0; bit < row.index.size(); ++bit) {
        if (row.index[bit] != kNone) {
            faults = static_cast<u8>(faults | (value & (1u << bit)));
        }
    }
    const auto count = static_cast<u8>(std::popcount(faults));
    if (count == 0) {
        DIAG_LOG(kLogWarning, "Unknown cpld value: [addr=%#x]%#x", sel.eventData2(), value);
        DIAG_LOG(kLogError, "Failed to fill hash node of Board HDD Fault info");
        return -1;
    }
    auto *messages = static_cast<DIAG_PANEL_MSG_S *>(calloc(count, sizeof(DIAG_PANEL_MSG_S)));
    if (messages == nullptr) {
        DIAG_LOG(kLogError, "Failed to alloc memory of hash node: %#x",
                 static_cast<u32>(count * sizeof(DIAG_PANEL_MSG_S)));
        DIAG_LOG(kLogError, "Failed to fill hash node of Board HDD Fault info");
        return -1;
    }
    DIAG_PANEL_MSG_S *next = messages;
    for (size_t bit = 0; bit < row.index.size(); ++bit) {
        if ((faults & (1u << bit)) != 0) {
            next->usFaultType = row.faultType;
            next->ucIndex = row.index[bit];
            fillLevel(*next, level, sel.isDeassertion());
            ++next;
        }
    }
    *ppstMsg = messages;
    *pucMsgNum = count;
    return 0;
}

} // namespace

int DIAG_PANEL_TRANS_BoardFault(const u8 *pucSel, DIAG_PANEL_MSG_S **ppstMsg, u8 *pucMsgNum,
                                u32 uiSelLevel)
{
    const u8 mapped = mapSelLevel(uiSelLevel);
    *ppstMsg = nullptr;
    *pucMsgNum = 0;
    const u32 boardId = QMX_GetProductBoardID();
    const auto board = std::ranges::find(kBoards, boardId, &BoardLogicTables::boardId);
    if (board == kBoards.end()) {
        DIAG_LOG(kLogWarning, "Unsupported ProductBoardID = 0x%x !\n", boardId);
        return -1;
    }
    const SelRecord sel(pucSel);
    const u8 level = levelOr(mapped, kDefaultLevel);
    if (const RegisterRow *row = findRegister(board->registers, sel.offset(), sel.eventData2())) {
        return registerFaults(*row, sel, level, ppstMsg, pucMsgNum);
    }
    if (const SingleBitRow *row =
            findSingleBit(board->singleBits, sel.offset(), sel.eventData2())) {
        DIAG_PANEL_MSG_S msg{};
        msg.usFaultType = row->faultType;
        msg.ucIndex = row->index;
        msg.uiFaultMask = 1u << row->bit;
        fillLevel(msg, level, sel.isDeassertion());
        if (DIAG_PANEL_TRANS_fillHashNode(&msg, ppstMsg, pucMsgNum) != 0) {
            DIAG_LOG(kLogError, "Failed to fill hash node of BOARD Fault info: offset=%#x",
                     sel.offset());
            return -1;
        }
        return 0;
    }
    DIAG_LOG(kLogWarning, "[DiagPanel_translate] Unknown format SEL\n");
    return -1;
}
