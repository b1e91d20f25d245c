// SPDX-License-Identifier: Apache-2.0
#include "tests/tools/scripted_bmc.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <deque>
#include <map>
#include <sstream>

#include "tools/diagpanel/follow/sdr_repository.hpp"
#include "tools/diagpanel/follow/sel_follower.hpp"

namespace diagpanel::test {

namespace {

using Bytes = std::vector<u8>;
const auto le16 = [](u16 v) { return Bytes{static_cast<u8>(v), static_cast<u8>(v >> 8)}; };

// A SEL record's last byte carries a letter, so a trace can name it.
Bytes selRecord(u16 id, char tag)
{
    Bytes r = le16(id);
    r.resize(16);
    r[2] = 0x02, r[15] = static_cast<u8>(tag);
    return r;
}

// An SDR: its ID, a sensor-record type, its body's length, then the body.
Bytes sdrRecord(u16 id, unsigned length)
{
    Bytes r = le16(id);
    r.insert(r.end(), {0x51, 0x02, static_cast<u8>(length)});
    for (unsigned i = 0; i < length; ++i) {
        r.push_back(static_cast<u8>(id * 7 + i));
    }
    return r;
}

// Records in the order stored, numbered from 1; 0000h asks for the first, FFFFh for the last.
struct Records {
    std::vector<std::pair<u16, Bytes>> held;
    std::map<u16, u16> nextOf; // next IDs the BMC gets wrong
    u16 nextId = 1;

    void add(auto make) { held.emplace_back(nextId, make(nextId)), ++nextId; }

    // The record `id` asks for, and the ID it names as next (FFFFh: none).
    std::optional<std::pair<Bytes, u16>> find(u16 id) const
    {
        const auto at = id == 0 ? held.begin()
                        : id == 0xFFFF && !held.empty()
                            ? held.end() - 1
                            : std::find_if(held.begin(), held.end(),
                                           [id](const auto &r) { return r.first == id; });
        if (at == held.end()) {
            return std::nullopt;
        }
        const auto wrong = nextOf.find(at->first);
        const u16 next = wrong != nextOf.end()  ? wrong->second
                         : at + 1 == held.end() ? 0xFFFF
                                                : (at + 1)->first;
        return std::pair{at->second, next};
    }
};

class ScriptedBmc : public IpmiClient
{
  public:
    template <typename T> static Reply<T> ok(T value) { return {value, {}, {}}; }
    static Reply<SelRecord> refused(u8 code) { return {{}, code, {}}; }
    static Reply<SelRecord> garbled(std::size_t length) { return {{}, {}, length}; }

    std::optional<OpenFailure> open() override
    {
        ++commands_;
        return down ? std::optional(OpenFailure{OpenFailure::Reason::Unreachable, "no answer"})
                    : std::nullopt;
    }
    Reply<SelInfo> getSelInfo() override
    {
        const SelInfo info{static_cast<u16>(sel.held.size()), added, erased, overflow};
        return answer() ? ok(info) : Reply<SelInfo>{};
    }
    Reply<u16> reserveSel() override { return answer() ? ok(reserve()) : Reply<u16>{}; }
    Reply<SelRecord> getSelEntry(u16 asked, u16 id) override
    {
        const auto found = sel.find(id);
        if (!answer()) {
            return {};
        } else if (!forced.empty()) {
            const Reply<SelRecord> r = forced.front();
            forced.pop_front();
            return r;
        } else if (reservation && asked != *reservation) {
            return refused(0xC5);
        } else if (!found || (hidden.contains(id) && hidden[id]-- > 0)) {
            return refused(0xCB);
        }
        SelRecord r{{}, found->second};
        std::copy_n(found->first.begin(), r.entry.size(), r.entry.begin());
        return ok(r);
    }
    std::optional<SdrRepository> sdrRepository() override
    {
        return readSdrRepository([this](u8 cmd, std::span<const u8> d) { return storage(cmd, d); });
    }
    unsigned long commands() const override { return commands_; }

    Records sel, sdr;
    Records *last = &sel; // the one records were last added to
    void loopTo(u16 next) { last->nextOf[last->held.back().first] = next; }
    char tag = 'a';
    u32 added = 0x100, erased = 0x100;
    bool overflow = false, down = false;
    std::optional<u16> reservation; // the one the BMC honours; none asked for yet: any
    u16 reservations = 0;
    std::deque<Reply<SelRecord>> forced; // the next Get SEL Entry answers, whatever is asked
    std::map<u16, unsigned> hidden;      // records answered "not present" so many more times
    std::optional<unsigned> answersLeft; // the BMC goes silent after so many more commands
    std::optional<unsigned> cancelIn;    // another client reserves after so many more commands
    std::optional<u16> sdrCount;         // Get SDR Repository Info's, when not the records held
    bool sdrNoCount = false;             // Get SDR Repository Info refused
    bool refusesWhole = false;           // CAh to an SDR asked for whole

  private:
    u16 reserve() { return *(reservation = ++reservations); }

    bool answer()
    {
        // A run that would never end goes silent instead, and fails its row.
        if (++commands_ > 10000) {
            EXPECT_NE(commands_, 10001ul) << "no end to the commands";
            return false;
        }
        if (due(cancelIn)) {
            reserve();
        }
        down = down || due(answersLeft);
        return !down;
    }
    // A countdown of commands that has run out, once.
    static bool due(std::optional<unsigned> &in)
    {
        return in && (*in)-- == 0 && (in.reset(), true);
    }

    StorageAnswer storage(u8 cmd, std::span<const u8> d)
    {
        if (!answer()) {
            return {};
        } else if (cmd == 0x20) { // Get SDR Repository Info: the record count at bytes 1 and 2
            Bytes count = le16(sdrCount.value_or(static_cast<u16>(sdr.held.size())));
            count.insert(count.begin(), 0x51);
            return sdrNoCount ? StorageAnswer{{}, 0xC1} : StorageAnswer{count, {}};
        } else if (cmd == 0x22) { // Reserve SDR Repository
            return {le16(reserve()), {}};
        }
        // Get SDR: reservation, record ID, offset, bytes to read (FFh: to the record's end)
        const auto found = sdr.find(static_cast<u16>(d[2] | d[3] << 8));
        if (static_cast<u16>(d[0] | d[1] << 8) != reservation) {
            return {{}, 0xC5};
        } else if (!found) {
            return {{}, 0xCB};
        } else if (d[5] == 0xFF && refusesWhole) {
            return {{}, 0xCA};
        }
        const Bytes &b = found->first;
        const std::size_t end =
            d[5] == 0xFF ? b.size() : std::min<std::size_t>(b.size(), d[4] + d[5]);
        Bytes a = le16(found->second);
        a.insert(a.end(), b.data() + std::min<std::size_t>(d[4], end), b.data() + end);
        return {a, {}};
    }

    unsigned long commands_ = 0;
};

// What the BMC does on a script word, given the number or text that follows the word's name.
using Arg = const char *; // the number or text after the word's name
using Word = void (*)(ScriptedBmc &b, Arg arg);
const std::map<std::string, Word> kWords = {
    {"+",
     [](ScriptedBmc &b, Arg arg) {
         for (int n = std::atoi(arg); n > 0; --n, ++b.added) {
             b.sel.add([&](u16 id) { return selRecord(id, b.tag++); });
         }
         b.last = &b.sel;
     }},
    {"sdr:",
     [](ScriptedBmc &b, Arg arg) {
         unsigned length = 0, times = 1;
         std::sscanf(arg, "%ux%u", &length, &times);
         while (times-- > 0) {
             b.sdr.add([&](u16 id) { return sdrRecord(id, length); });
         }
         b.last = &b.sdr;
     }},
    {"clear", [](ScriptedBmc &b, Arg) { b.sel.held.clear(), b.sel.nextId = 1, ++b.erased; }},
    {"del", [](ScriptedBmc &b, Arg) { b.sel.held.erase(b.sel.held.begin()), ++b.erased; }},
    {"rewrite",
     [](ScriptedBmc &b, Arg) {
         b.sel.held.back().second = selRecord(b.sel.held.back().first, b.tag++);
         kWords.at("+")(b, "2");
         ++b.erased;
     }},
    {"full", [](ScriptedBmc &b, Arg) { b.overflow = true; }},
    {"room", [](ScriptedBmc &b, Arg) { b.overflow = false; }},
    {"down", [](ScriptedBmc &b, Arg) { b.down = true; }},
    {"up", [](ScriptedBmc &b, Arg) { b.down = false; }},
    {"cancel@", [](ScriptedBmc &b, Arg arg) { b.cancelIn = std::atoi(arg); }},
    {"silent:", [](ScriptedBmc &b, Arg arg) { b.answersLeft = std::atoi(arg); }},
    {"hide:", [](ScriptedBmc &b, Arg arg) { b.hidden[b.sel.held.back().first] = std::atoi(arg); }},
    {"gap", [](ScriptedBmc &b, Arg) { b.sel.nextId += 10; }},
    {"relabel", [](ScriptedBmc &b, Arg) { b.sel.held.back().second[0] += 100; }},
    {"loop:self", [](ScriptedBmc &b, Arg) { b.loopTo(b.last->held.back().first); }},
    {"loop:back", [](ScriptedBmc &b, Arg) { b.loopTo(1); }},
    {"loop:zero", [](ScriptedBmc &b, Arg) { b.loopTo(0); }},
    {"short", [](ScriptedBmc &b, Arg) { b.forced.push_back(ScriptedBmc::garbled(10)); }},
    {"long", [](ScriptedBmc &b, Arg) { b.forced.push_back(ScriptedBmc::garbled(20)); }},
    {"empty", [](ScriptedBmc &b, Arg) { b.forced.push_back(ScriptedBmc::garbled(0)); }},
    {"busy", [](ScriptedBmc &b, Arg) { b.forced.push_back(ScriptedBmc::refused(0xC0)); }},
    {"ff", [](ScriptedBmc &b, Arg) { b.forced.push_back(ScriptedBmc::refused(0xFF)); }},
    {"pieces", [](ScriptedBmc &b, Arg) { b.refusesWhole = true; }},
    {"lie", [](ScriptedBmc &b, Arg) { b.sdr.held.back().second[4] += 3; }},
    {"count:", [](ScriptedBmc &b, Arg arg) { b.sdrCount = std::atoi(arg); }},
    {"nocount", [](ScriptedBmc &b, Arg) { b.sdrNoCount = true; }},
};

// An SDR read traced as how many of the records held it holds, from the first on, byte for byte.
void traceSdrs(const ScriptedBmc &bmc, const std::optional<SdrRepository> &read,
               std::ostream &trace)
{
    std::string held;
    unsigned n = 0;
    for (auto r = bmc.sdr.held.begin();
         read && held.size() < read->records.size() && r != bmc.sdr.held.end(); ++r, ++n) {
        held.append(r->second.begin(), r->second.end());
    }
    trace << (!read                   ? " none"
              : held == read->records ? " records:" + std::to_string(n)
                                      : " garbled");
    if (read && !read->cutShort.empty()) {
        trace << " cut";
        // Whatever ended the read early, the user is told so.
        EXPECT_NE(repositoryNote(read).find(read->cutShort), std::string::npos);
    }
}

void play(const ScriptRow &row)
{
    ScriptedBmc bmc;
    std::optional<SelFollower> follower;
    follower.emplace(bmc, row.fromStart, std::chrono::seconds(1));
    std::vector<SelEntry> told; // every record told, in order: what the state store keeps
    SelPosition before;         // the position before the last step
    FollowClock::time_point now{std::chrono::hours(1)};
    std::istringstream words(row.script);
    std::ostringstream trace, commands;
    unsigned steps = 0;
    // A step traces what it made of the BMC and returns the commands it sent.
    const auto step = [&](auto act) {
        trace << (steps++ > 0 ? " |" : "");
        commands << (steps > 1 ? " " : "") << act();
    };
    for (std::string w; words >> w;) {
        const std::size_t digit = std::min(w.find_first_of("0123456789"), w.size());
        if (const auto word = kWords.find(w.substr(0, digit)); word != kWords.end()) {
            word->second(bmc, w.c_str() + digit);
        } else if (w == "restart") {
            follower.emplace(bmc, follower->position(), told, std::chrono::seconds(1));
        } else if (w == "restart:lag") {
            SelPosition at = before;
            at.lastId = selRecordId(told.back());
            at.lastBytes = told.back();
            follower.emplace(bmc, at, told, std::chrono::seconds(1));
        } else if (w == "read") {
            step([&] {
                const unsigned long at = bmc.commands();
                traceSdrs(bmc, bmc.sdrRepository(), trace);
                return bmc.commands() - at;
            });
        } else if (w == ".") {
            before = follower->position();
            step([&] {
                const FollowStep s = follower->step(now);
                told.insert(told.end(), s.records.begin(), s.records.end());
                for (const BmcNote &n : s.notes) {
                    trace << ' ' << bmcNewsWord(n.kind);
                    if (n.number != 0) {
                        trace << ':' << n.number;
                        // The words a user reads say the same number.
                        EXPECT_NE(n.text.find(std::to_string(n.number)), std::string::npos)
                            << n.text;
                    }
                }
                for (const SelEntry &e : s.records) {
                    trace << ' ' << static_cast<char>(e[15]);
                }
                now = s.pause ? now + *s.pause : std::max(now, s.next);
                return s.commands;
            });
        } else {
            ADD_FAILURE() << "unknown script word " << w;
        }
    }
    EXPECT_EQ(trace.str(), row.trace);
    if (row.commands != nullptr) {
        EXPECT_EQ(commands.str(), row.commands);
    }
}

} // namespace

void playRows(std::span<const ScriptRow> rows)
{
    for (const ScriptRow &row : rows) {
        SCOPED_TRACE(row.what);
        play(row);
    }
}

} // namespace diagpanel::test
