// SPDX-License-Identifier: Apache-2.0
// Fault-table operations and display events in any order against the display walk: each input is
// a program of operations, and the display step runs on this thread with its sleeps stubbed out.
// Beyond what the sanitizers see, every code the display writes must be the empty code, a POST
// code or the code of an entry that the table holds at that moment, and every bucket must hold
// entries of its own fault type with distinct indices.
#include <cstddef>
#include <iterator>
#include <set>

#include <diagpanel/diagpanel.h>

#include "common/panel.hpp"
#include <host_platform/diagpanel_host.h>
#include "host_support/table.hpp"
#include <platform/platform.h>
#include "tests/fuzz/fuzz_support.hpp"

// The display's sleeps return at once.
extern "C" unsigned int sleep(unsigned int)
{
    return 0;
}

namespace {

using diag::encodePanelCode;
using diag::TypeEncoding;

constexpr u32 kNothing = 0x00004000;
constexpr u32 kPostTypeBit = 1u << (14 + DIAG_PANEL_FAULT_POST);

// Reads the input front to back; zeros once it is used up.
class Program
{
  public:
    Program(const u8 *data, size_t size) : data_(data), size_(size) {}
    bool done() const { return at_ >= size_; }
    u8 byte() { return at_ < size_ ? data_[at_++] : 0; }
    DIAG_PANEL_MSG_S message()
    {
        DIAG_PANEL_MSG_S msg{};
        msg.usFaultType = static_cast<u16>(byte() % 14); // 12 and 13 are not fault types
        msg.ucIndex = static_cast<u8>(byte() % 8);       // few indices: merges and clears meet
        msg.ucLevelInfo = byte();
        const u8 bits = byte();
        msg.uiFaultMask = (bits & 0x0Fu) | (bits & 0xF0u) << 24;
        msg.ucFaultLevel = byte() % 5;
        return msg;
    }

  private:
    const u8 *data_;
    size_t size_;
    size_t at_ = 0;
};

bool holdsEntryCoded(u32 code)
{
    for (const host::TableEntry &e : host::tableSnapshot()) {
        const diag::MsgHead head{e.msg.ucLevelInfo, e.msg.ucIndex, e.msg.usFaultType};
        if (encodePanelCode(head, TypeEncoding::kOneHot) == code ||
            encodePanelCode(head, TypeEncoding::kNumeric) == code) {
            return true;
        }
    }
    return false;
}

// Every bucket holds entries of its own fault type, with distinct indices.
void checkTable()
{
    std::set<std::pair<u32, u8>> keys;
    for (const host::TableEntry &e : host::tableSnapshot()) {
        if (e.msg.usFaultType % DIAG_PANEL_FAULT_TYPE_NUM != e.bucket ||
            !keys.insert({e.bucket, e.msg.ucIndex}).second) {
            __builtin_trap();
        }
    }
}

void step()
{
    const u32 before = HOST_PanelCount();
    (void)DIAG_PANEL_StateProcess();
    for (u32 i = before; i < HOST_PanelCount(); ++i) {
        const u32 code = HOST_PanelCode(i);
        if (code != kNothing && (code & kPostTypeBit) == 0 && !holdsEntryCoded(code)) {
            __builtin_trap(); // the display showed an entry that is not in the table
        }
    }
}

// An operation on a message read from the program.
template <int (*Operation)(DIAG_PANEL_MSG_S *)> void onMessage(Program &p)
{
    DIAG_PANEL_MSG_S msg = p.message();
    (void)Operation(&msg);
}

// What a program byte picks (modulo their number); each operation reads its own operands.
using Operation = void (*)(Program &);
const Operation kOperations[] = {
    onMessage<DIAG_PANEL_ProcessNewMsg>,
    onMessage<DIAG_PANEL_AddMsgToHash>,
    onMessage<DIAG_PANEL_DelMsgToHash>,
    [](Program &p) { (void)DIAG_PANEL_LockFreeHashList(p.byte() % 14); },
    [](Program &) { (void)DIAG_PANEL_LockFreeAllHashList(); },
    [](Program &) { (void)DIAG_PANEL_LockFreeHashTable(); },
    [](Program &) { (void)DIAG_PANEL_InitHashTable(); },
    [](Program &p) {
        DIAG_PANEL_DISP_EVENT_S event{p.byte() % 6u, p.byte(), {}, 0}; // in this order
        (void)DIAG_PANEL_EventRecv(&event);
    },
    [](Program &p) { (void)DIAG_PANEL_DISP_trigPostErrState(3, p.byte()); },
    [](Program &) { (void)DIAG_PANEL_PartHashTableClear(); },
    [](Program &p) { g_diag_mode_flag = p.byte() % 2; },
    [](Program &) { DIAG_PANEL_PrintMsgInHash(); },
    [](Program &p) {
        for (u8 n = p.byte() % 4 + 1; n > 0; --n) {
            step();
        }
    },
};

} // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    fuzz::setUpProcess();
    fuzz::configureBoard(fuzz::listedBoards()[0]);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const u8 *data, size_t size)
{
    Program program(data, size);
    while (!program.done()) {
        kOperations[program.byte() % std::size(kOperations)](program);
        checkTable();
    }
    fuzz::resetAfterInput();
    return 0;
}
