// SPDX-License-Identifier: Apache-2.0
// Following a BMC's System Event Log, one step at a time: a step is one poll (one Get SEL Info,
// one Get SEL Entry a new record) or, while the BMC does not answer, one attempt to open the
// session again, backing off 1, 2, 4, ... up to 30 s. Clears, rewrites, deletions, a full SEL and
// cancelled reservations are noticed and told; no record is read twice. What the caller does with
// the records and the notes, and when it stops, is its own.
#pragma once

#include <chrono>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <vector>

#include "tools/diagpanel/follow/ipmi_client.hpp"
#include "tools/diagpanel/timeline.hpp"

namespace diagpanel {

using FollowClock = std::chrono::steady_clock;

// What the follower says of the BMC.
struct BmcNote {
    BmcNews kind;
    unsigned number = 0; // as BmcNews says
    std::string text;    // as told to a user
};

struct FollowStep {
    std::vector<SelEntry> records; // new, in SEL order
    std::vector<BmcNote> notes;    // in the order they happened
    bool poll = false;             // a poll (else an attempt to reach the BMC again)
    bool answered = false;         // the BMC answered every command of the step
    std::optional<u8> selInfoRefused;
    unsigned long commands = 0; // sent in this step
    // When to step again: at `next`, or, after an attempt that failed, `pause` after this step
    // ended, so that its own time-outs do not eat the back-off.
    FollowClock::time_point next;
    std::optional<FollowClock::duration> pause;
};

// Where a follower stands, for one started later to go on from: the SEL as the last poll that
// the BMC answered saw it, and the last record read, by the ID it was read by.
struct SelPosition {
    std::optional<SelInfo> info; // none: not known; the SEL is walked again from its first record
    std::optional<u16> lastId;   // none: no record read yet
    SelEntry lastBytes{};
    bool operator==(const SelPosition &) const = default;
};

class SelFollower
{
  public:
    // From the first record of the SEL, or from the records added after the first poll. The
    // client's session is open.
    SelFollower(IpmiClient &client, bool fromStart, FollowClock::duration interval)
        : client_(client), fromStart_(fromStart), interval_(interval)
    {
    }
    // Goes on from `at` (a restart): the first poll is Get SEL Info, and only what changed since
    // costs more. `seen` are the records read before, never new again. A full SEL that `at` saw
    // was told already and is not told again.
    SelFollower(IpmiClient &client, const SelPosition &at, std::span<const SelEntry> seen,
                FollowClock::duration interval);
    FollowStep step(FollowClock::time_point now);
    SelPosition position() const { return {known_, lastId_, lastBytes_}; }

  private:
    void poll(FollowStep &step);
    void reconnect(FollowClock::time_point now, FollowStep &step);
    struct Read {
        enum { Record, Unreadable, Absent, Silent } what;
        SelRecord record{};
    };
    Read entry(u16 id, FollowStep &step, bool named = false); // named: by a record's next ID
    bool walk(u16 id, FollowStep &step, bool guessed = false);
    void loop(u16 from, u16 to, FollowStep &step);
    bool lastStillThere(FollowStep &step);
    void take(u16 id, const SelEntry &entry, FollowStep &step);

    IpmiClient &client_;
    bool fromStart_;
    FollowClock::duration interval_;
    std::optional<SelInfo> known_;
    std::optional<u16> lastId_; // the last record read, and its bytes
    SelEntry lastBytes_{};
    std::optional<u16> skippedTo_;  // unreadable records passed after it: go on after them
    std::optional<u16> unanswered_; // the record whose read lost the session, so many times
    unsigned silences_ = 0;         // in a row
    std::set<SelEntry> seen_;
    u16 reservation_ = 0;
    bool overflowSaid_ = false;
    bool lost_ = false; // the BMC stopped answering: steps try to reach it again
    std::optional<FollowClock::time_point> lostAt_;
    std::chrono::seconds retry_{1};
};

} // namespace diagpanel
