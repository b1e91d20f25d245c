// SPDX-License-Identifier: Apache-2.0
// follow's SEL follower against a scripted BMC: a SEL held as records with IDs, the state Get SEL
// Info reports, and misbehaviour on cue. Each row is a script of what the BMC does between steps
// and what the follower must make of it, step by step: the new records in order and the notes.
// The live run against a simulated BMC is follow_test.sh's.
#include <gtest/gtest.h>

#include <deque>
#include <map>
#include <sstream>

#include "tools/diagpanel/follow/sel_follower.hpp"

namespace {

using namespace diagpanel;

// A record's last byte carries a letter, so a trace can name it.
SelEntry record(u16 id, char tag)
{
    SelEntry e{static_cast<u8>(id), static_cast<u8>(id >> 8), 0x02};
    e[15] = static_cast<u8>(tag);
    return e;
}

class ScriptedBmc : public IpmiClient
{
  public:
    // An answer: a response, a refusal's completion code, or a response of the wrong length.
    template <typename T> static Reply<T> ok(T value) { return {value, {}, {}}; }
    static Reply<SelRecord> refused(u8 code) { return {{}, code, {}}; }
    static Reply<SelRecord> garbled(std::size_t length) { return {{}, {}, length}; }
    std::optional<OpenFailure> open() override
    {
        ++commands_;
        if (down) {
            return OpenFailure{OpenFailure::Reason::Unreachable, "no answer"};
        }
        return std::nullopt;
    }
    Reply<SelInfo> getSelInfo() override
    {
        if (!answer()) {
            return {};
        }
        return ok(SelInfo{static_cast<u16>(sel.size()), added, erased, overflow});
    }
    Reply<u16> reserveSel() override
    {
        if (!answer()) {
            return {};
        }
        reservation = ++reservations;
        return ok(*reservation);
    }
    Reply<SelRecord> getSelEntry(u16 asked, u16 id) override
    {
        if (!answer()) {
            return {};
        }
        if (!forced.empty()) {
            const Reply<SelRecord> r = forced.front();
            forced.pop_front();
            return r;
        }
        if (reservation && asked != *reservation) {
            return refused(0xC5);
        }
        auto at = sel.begin();
        if (id == kLastSelRecord && !sel.empty()) {
            at = sel.end() - 1;
        } else if (id != kFirstSelRecord) {
            at =
                std::find_if(sel.begin(), sel.end(), [id](const auto &r) { return r.first == id; });
        }
        if (at == sel.end()) {
            return refused(0xCB);
        }
        const u16 next = at + 1 == sel.end() ? kLastSelRecord : (at + 1)->first;
        const auto redirect = nextOf.find(at->first);
        return ok(SelRecord{at->second, redirect != nextOf.end() ? redirect->second : next});
    }
    std::optional<std::string> sdrRepository() override { return std::nullopt; }
    unsigned long commands() const override { return commands_; }

    void add(unsigned count)
    {
        while (count-- > 0) {
            sel.emplace_back(nextId, record(nextId, tag++));
            ++nextId;
            ++added;
        }
    }

    std::vector<std::pair<u16, SelEntry>> sel; // by ID, the record's own bytes
    u16 nextId = 1;
    char tag = 'a';
    u32 added = 0x100, erased = 0x100;
    bool overflow = false;
    bool down = false;
    std::optional<u16> reservation; // the one the BMC honours; none asked for yet: any
    u16 reservations = 0;
    std::map<u16, u16> nextOf;           // next IDs the BMC gets wrong
    std::deque<Reply<SelRecord>> forced; // the next Get SEL Entry answers, whatever is asked
    std::optional<unsigned> answersLeft; // the BMC goes silent after so many more commands

  private:
    bool answer()
    {
        // A poll that would never end goes silent instead, and its row fails.
        if (++commands_ > 1000) {
            return false;
        }
        if (answersLeft && (*answersLeft)-- == 0) {
            down = true;
            answersLeft.reset();
        }
        return !down;
    }
    unsigned long commands_ = 0;
};

// Script words: +N (N records logged), clear, del (the first record deleted), rewrite (the last
// record replaced, two more logged), full / room (the overflow flag), down / up, cancel (a
// reservation of another client), silent:N (no answer after N more commands), gap (the next
// record numbered 10 further on), relabel (the last record's bytes carry another ID), loop:self /
// loop:back / loop:zero (the last record's next ID is its own, the first's, 0000h), short / long
// / empty / busy / ff (the next Get SEL Entry's answer), restart (a new follower goes on from the
// position and the records told so far), restart:lag (from the position before the last step,
// its last record the last one told, as the state store resumes when the position lags the
// records it kept), and "." (a step). Each step's notes and records go into the trace as
// "kind:number" and letters, steps apart by " |"; its command count into `commands`.
const std::map<std::string, Reply<SelRecord>> kBadAnswers = {{"short", ScriptedBmc::garbled(10)},
                                                             {"long", ScriptedBmc::garbled(20)},
                                                             {"empty", ScriptedBmc::garbled(0)},
                                                             {"busy", ScriptedBmc::refused(0xC0)},
                                                             {"ff", ScriptedBmc::refused(0xFF)}};

struct Outcome {
    std::string trace, commands;
};

Outcome run(const char *script, bool fromStart = true)
{
    ScriptedBmc bmc;
    std::optional<SelFollower> follower;
    follower.emplace(bmc, fromStart, std::chrono::seconds(1));
    std::vector<SelEntry> told; // every record told, in order: what the state store keeps
    SelPosition before;         // the position before the last step
    FollowClock::time_point now{std::chrono::hours(1)};
    std::istringstream words(script);
    std::ostringstream trace, commands;
    unsigned steps = 0;
    for (std::string w; words >> w;) {
        if (w == "restart") {
            follower.emplace(bmc, follower->position(), told, std::chrono::seconds(1));
        } else if (w == "restart:lag") {
            SelPosition at = before;
            at.lastId = selRecordId(told.back());
            at.lastBytes = told.back();
            follower.emplace(bmc, at, told, std::chrono::seconds(1));
        } else if (w[0] == '+') {
            bmc.add(static_cast<unsigned>(std::stoul(w.substr(1))));
        } else if (w == "clear") {
            bmc.sel.clear();
            bmc.nextId = 1;
            ++bmc.erased;
        } else if (w == "del") {
            bmc.sel.erase(bmc.sel.begin());
            ++bmc.erased;
        } else if (w == "rewrite") {
            bmc.sel.back().second = record(bmc.sel.back().first, bmc.tag++);
            bmc.add(2);
            ++bmc.erased;
        } else if (w == "full" || w == "room") {
            bmc.overflow = w == "full";
        } else if (w == "down" || w == "up") {
            bmc.down = w == "down";
        } else if (w == "cancel") {
            bmc.reservation = ++bmc.reservations;
        } else if (w == "gap") {
            bmc.nextId += 10;
        } else if (w == "relabel") {
            bmc.sel.back().second[0] += 100;
        } else if (w.starts_with("loop:")) {
            const u16 last = bmc.sel.back().first;
            bmc.nextOf[last] = w == "loop:self" ? last : w == "loop:back" ? 1 : 0;
        } else if (const auto bad = kBadAnswers.find(w); bad != kBadAnswers.end()) {
            bmc.forced.push_back(bad->second);
        } else if (w.starts_with("silent:")) {
            bmc.answersLeft = static_cast<unsigned>(std::stoul(w.substr(7)));
        } else if (w == ".") {
            before = follower->position();
            const FollowStep step = follower->step(now);
            told.insert(told.end(), step.records.begin(), step.records.end());
            trace << (steps++ > 0 ? " |" : "");
            for (const BmcNote &n : step.notes) {
                trace << ' ' << bmcNewsWord(n.kind);
                if (n.number != 0) {
                    trace << ':' << n.number;
                    // The words a user reads say the same number.
                    EXPECT_NE(n.text.find(std::to_string(n.number)), std::string::npos) << n.text;
                }
            }
            for (const SelEntry &e : step.records) {
                trace << ' ' << static_cast<char>(e[15]);
            }
            commands << (steps > 1 ? " " : "") << step.commands;
            now = step.pause ? now + *step.pause : std::max(now, step.next);
        } else {
            ADD_FAILURE() << "unknown script word " << w;
        }
    }
    return {trace.str(), commands.str()};
}

struct Row {
    const char *what;
    const char *script;
    const char *trace;
    const char *commands = nullptr; // per step, where they are the point
    bool fromStart = true;
};

const Row kRows[] = {
    {"an idle poll costs one command, a new record one more", "+3 . . +1 . +3 .",
     " a b c | | d | e f g", "4 1 2 4"},
    {"records not numbered one after another: the last one's next ID says where", "+1 . gap +1 . .",
     " a | b |", "2 4 1"},
    {"from the records added after the first poll", "+2 . +1 . .", " | c |", nullptr, false},
    {"a full SEL is told once, again once it filled again", "+1 full . +1 . . room . full .",
     " full a | b | | | full"},
    {"deleted records are counted", "+3 . del del .", " a b c | deleted:2"},
    {"a cleared SEL is followed from its first record", "+3 . clear +1 . .",
     " a b c | cleared d |"},
    {"a rewritten SEL: followed from its first record, no record twice", "+3 . rewrite . .",
     " a b c | rewritten d e f |"},
    {"a reservation cancelled: reserved again, read again, nothing lost", "+2 . cancel +1 . .",
     " a b | c |", "3 4 1"},
    {"an outage backs off 1, 2, 4 ... 30 s and loses nothing", "+2 . down +1 . . . . . . . up . .",
     " a b | lost:1 | still-lost:2 | still-lost:4 | still-lost:8 | still-lost:16 | "
     "still-lost:30 | still-lost:30 | back:91 | c"},
    {"a BMC lost in the middle of a run of records: the rest come once it is back",
     "+1 . +3 silent:2 . up . . .", " a | lost:1 b | back:1 | c d |"},
    {"a next ID of its own: each record read once, told, the records after it still come",
     "+3 loop:self +2 . .", " loop:3 a b c d e |"},
    {"a next ID back to the first record", "+3 . +3 loop:back . +1 .", " a b c | loop:6 d e f | g"},
    {"a next ID of 0000h amid the records", "+2 loop:zero +2 .", " loop:2 a b c d"},
    {"a garbled answer is asked again; one that stays garbled is skipped, the rest still come",
     "+1 . +2 short . +2 long long long . +2 empty empty empty . .",
     " a | b c | unreadable:4 e | unreadable:6 g |"},
    {"busy and FFh answers are asked again, so many times",
     "+1 . +1 busy ff . +1 busy busy busy . +1 .", " a | b | unreadable:3 | d", "2 4 5 2"},
    {"a record that names another ID than it was read by: nothing after it lost",
     "+1 . +1 relabel . +1 .", " a | b | c"},
    {"a restart costs Get SEL Info alone, and one command more a new record",
     "+3 . restart . restart +2 .", " a b c | | d e", "4 1 3"},
    {"a restart after a clear: told, followed from the first record", "+3 . restart clear +1 .",
     " a b c | cleared d", "4 3"},
    {"a restart from a position behind the records kept: none told twice, none lost",
     "+3 . +2 . restart:lag . +1 .", " a b c | d e | | f", "4 3 3 2"},
    {"a restart of --new-only: the record known at the start is still not told",
     "+2 . restart +1 .", " | c", "2 2", false},
    {"a full SEL told before a restart is not told again", "+1 full . restart . +1 room . full .",
     " full a | | b | full"},
};

TEST(SelFollower, FollowsAScriptedBmc)
{
    for (const Row &row : kRows) {
        SCOPED_TRACE(row.what);
        const Outcome r = run(row.script, row.fromStart);
        EXPECT_EQ(r.trace, row.trace);
        if (row.commands != nullptr) {
            EXPECT_EQ(r.commands, row.commands);
        }
    }
}

} // namespace
