// SPDX-License-Identifier: Apache-2.0
#include "tools/diagpanel/follow/sel_follower.hpp"

#include <algorithm>
#include <cstdio>

namespace diagpanel {

namespace {

// A command the BMC was too busy for, failed for no stated reason or answered in a garbled form is
// tried so many times.
constexpr unsigned kTries = 3;
// Records skipped one after another as unreadable before a walk gives up until the next poll.
constexpr unsigned kSkipsInARow = 3;
constexpr std::chrono::seconds kFirstRetry{1};
constexpr std::chrono::seconds kLongestRetry{30};

// Busy, or failed for no stated reason: worth trying again.
template <typename T> bool busy(const Reply<T> &r)
{
    return r.completion == ipmi::kBusy || r.completion == ipmi::kUnspecified;
}

// A SEL timestamp in words: a date, or, below 20000000h, the time since the BMC started.
std::string when(u32 stamp)
{
    return stamp < 0x20000000u ? clock(stamp) + " after the BMC started" : "at " + calendar(stamp);
}

std::string completionText(u8 code)
{
    char text[48];
    snprintf(text, sizeof text, "completion code %02Xh", code);
    return text;
}

void say(FollowStep &step, BmcNews kind, unsigned number, std::string text)
{
    step.notes.push_back({kind, number, std::move(text)});
}

} // namespace

SelFollower::SelFollower(IpmiClient &client, const SelPosition &at, std::span<const SelEntry> seen,
                         FollowClock::duration interval)
    : client_(client), fromStart_(true), interval_(interval), known_(at.info),
      seen_(seen.begin(), seen.end())
{
    // A last record without the SEL it was read from says nothing of where to go on: the walk
    // from the first record does, and `seen` keeps it from telling a record twice.
    if (at.info && at.lastId) {
        lastId_ = at.lastId;
        lastBytes_ = at.lastBytes;
        seen_.insert(at.lastBytes); // --new-only's first record is known but never told
    }
    overflowSaid_ = at.info && at.info->overflow;
}

FollowStep SelFollower::step(FollowClock::time_point now)
{
    FollowStep step;
    const unsigned long before = client_.commands();
    if (lost_) {
        reconnect(now, step);
    } else {
        poll(step);
        if (step.answered) {
            step.next = now + interval_;
        } else {
            lost_ = true;
            retry_ = kFirstRetry;
            step.pause = retry_;
            say(step, BmcNews::Lost, static_cast<unsigned>(retry_.count()),
                "the BMC stopped answering; trying again in " + std::to_string(retry_.count()) +
                    " s");
        }
    }
    step.commands = client_.commands() - before;
    return step;
}

void SelFollower::reconnect(FollowClock::time_point now, FollowStep &step)
{
    if (!lostAt_) {
        // The first try comes its pause after the poll that found the BMC gone ended.
        lostAt_ = now - retry_;
    }
    if (client_.open()) {
        retry_ = std::min(retry_ * 2, kLongestRetry);
        step.pause = retry_;
        say(step, BmcNews::StillLost, static_cast<unsigned>(retry_.count()),
            "no answer yet; trying again in " + std::to_string(retry_.count()) + " s");
        return;
    }
    const auto lost = std::chrono::duration_cast<std::chrono::seconds>(now - *lostAt_).count();
    say(step, BmcNews::Back, static_cast<unsigned>(lost),
        "the BMC answers again, after " + std::to_string(lost) +
            " s; following on from the last record read");
    lost_ = false;
    lostAt_.reset();
    step.next = now; // poll at once: records may have come in the meantime
}

SelFollower::Read SelFollower::entry(u16 id, FollowStep &step, bool named)
{
    // A record another one names as its next is there: "not present" is asked again, then told.
    const auto again = [named](const Reply<SelRecord> &r) {
        return busy(r) || r.wrongLength || (named && r.completion == ipmi::kNotPresent);
    };
    if (unanswered_ == id && silences_ >= kTries) {
        // The session was lost over this record so many times in a row: the BMC does not answer
        // for it, and the records after it must not wait for ever.
        unanswered_.reset();
        say(step, BmcNews::Unreadable, id,
            "record " + std::to_string(id) + " got no answer " + std::to_string(kTries) +
                " times, skipped");
        return {Read::Unreadable};
    }
    Reply<SelRecord> r;
    for (unsigned tries = 0; tries < kTries; ++tries) {
        r = client_.getSelEntry(reservation_, id);
        if (r.completion == ipmi::kReservationCancelled) {
            // Another client's clear or addition cancelled it: reserve again, read again.
            const Reply<u16> reserved = client_.reserveSel();
            if (!reserved.answered()) {
                step.answered = false;
                return {Read::Silent};
            }
            if (reserved.value) {
                reservation_ = *reserved.value;
                continue;
            }
        }
        if (!again(r)) {
            break;
        }
    }
    step.answered = step.answered && r.answered();
    if (!r.answered()) {
        silences_ = unanswered_ == id ? silences_ + 1 : 1;
        unanswered_ = id;
        return {Read::Silent};
    }
    if (unanswered_ == id) {
        unanswered_.reset();
    }
    if (!named && r.completion == ipmi::kNotPresent) {
        return {Read::Absent};
    }
    if (!r.value) {
        say(step, BmcNews::Unreadable, id,
            "record " + std::to_string(id) + " could not be read (" +
                (r.completion ? completionText(*r.completion)
                              : "an answer of " + std::to_string(*r.wrongLength) + " bytes") +
                "), skipped");
        return {Read::Unreadable};
    }
    return {Read::Record, *r.value};
}

void SelFollower::take(u16 id, const SelEntry &entry, FollowStep &step)
{
    if (seen_.insert(entry).second) {
        step.records.push_back(entry);
    }
    lastId_ = id;
    lastBytes_ = entry;
    skippedTo_.reset();
}

// Walks the records from `id` on by their next IDs; the ones not seen before are news. A record
// that cannot be read, or that is not there though the one before names it, is skipped for the one
// numbered after it, and so is a next ID that leads back to a record read before: each record is
// read at most once a walk. A guessed ID (`id`, or one numbered after another) that leads to no
// record or to one seen before ends the walk; when it was `id`, the walk read nothing (false).
bool SelFollower::walk(u16 id, FollowStep &step, bool guessed)
{
    std::set<u16> visited;
    u16 from = 0;      // the record whose next ID `id` is, unless guessed
    bool news = false; // a new record read: one seen before after it can only be a loop
    unsigned skipped = 0;
    for (bool first = true; id != kLastSelRecord; first = false) {
        const Read read = entry(id, step, !guessed && id != kFirstSelRecord);
        const bool seen = read.what == Read::Record && seen_.contains(read.record.entry);
        if (read.what == Read::Silent || read.what == Read::Absent || (guessed && seen)) {
            return !(first && guessed);
        }
        // Asked for the first record, its own ID says where it is; else the ID it was read by
        // does, whatever the record says of itself.
        const u16 at = id == kFirstSelRecord ? selRecordId(read.record.entry) : id;
        visited.insert({id, at});
        u16 next = static_cast<u16>(at + 1);
        guessed = true;
        if (read.what == Read::Unreadable) {
            if (++skipped > kSkipsInARow) {
                return true;
            }
            skippedTo_ = at;
        } else if (seen && news) {
            loop(from, id, step);
            next = static_cast<u16>(from + 1);
        } else {
            take(at, read.record.entry, step);
            news = news || !seen;
            skipped = 0;
            if (read.record.next == kFirstSelRecord || visited.contains(read.record.next)) {
                loop(at, read.record.next, step);
            } else {
                next = read.record.next;
                from = at;
                guessed = false;
            }
        }
        if (visited.contains(next)) {
            return true;
        }
        id = next;
    }
    return true;
}

void SelFollower::loop(u16 from, u16 to, FollowStep &step)
{
    say(step, BmcNews::Loop, from,
        "record " + std::to_string(from) + " names record " + std::to_string(to) +
            " as its next, one read before; going on from the record numbered after it");
}

bool SelFollower::lastStillThere(FollowStep &step)
{
    const Read read = entry(*lastId_, step);
    return read.what == Read::Record && read.record.entry == lastBytes_;
}

void SelFollower::poll(FollowStep &step)
{
    step.poll = true;
    Reply<SelInfo> info = client_.getSelInfo();
    for (unsigned tries = 1; tries < kTries && busy(info); ++tries) {
        info = client_.getSelInfo();
    }
    step.answered = info.answered();
    step.selInfoRefused = info.completion;
    if (!info.value) {
        return;
    }
    const SelInfo &now = *info.value;
    if (now.overflow && !overflowSaid_) {
        say(step, BmcNews::Full, 0,
            "the SEL is full: the BMC drops new records (overflow flag set)");
    }
    overflowSaid_ = now.overflow;
    if (!known_) {
        if (fromStart_) {
            walk(kFirstSelRecord, step);
        } else if (const Read last = entry(kLastSelRecord, step); last.what == Read::Record) {
            seen_.insert(last.record.entry);
            lastId_ = selRecordId(last.record.entry);
            lastBytes_ = last.record.entry;
        }
    } else if (now != *known_) {
        // An erase time that changes alone is no clear: the records known must be gone too.
        const bool fewer = now.entries < known_->entries;
        if ((fewer || now.erased != known_->erased) && lastId_ && !lastStillThere(step)) {
            if (!step.answered) {
                return;
            }
            if (now.entries <= known_->entries) {
                say(step, BmcNews::Cleared, 0,
                    "the SEL was cleared" +
                        (now.erased != known_->erased ? " " + when(now.erased) : std::string()) +
                        "; following it from its first record");
            } else {
                say(step, BmcNews::Rewritten, 0,
                    "the SEL was rewritten; following it from its first record, records seen "
                    "before not repeated");
            }
            lastId_.reset();
            skippedTo_.reset();
        } else if (fewer) {
            const unsigned deleted = known_->entries - now.entries;
            say(step, BmcNews::Deleted, deleted,
                std::to_string(deleted) + " record(s) deleted from the SEL");
        }
        if (!lastId_ && !skippedTo_) {
            walk(kFirstSelRecord, step);
        } else if (!walk(static_cast<u16>(skippedTo_.value_or(*lastId_) + 1), step, true) &&
                   step.answered && !skippedTo_) {
            // Most BMCs number records one after another, so the guess costs one command a new
            // record; where it misses, the last record's own next ID says where to go on.
            if (const Read last = entry(*lastId_, step); last.what == Read::Record) {
                walk(last.record.next, step);
            }
        }
    }
    if (step.answered) {
        known_ = now;
    }
}

} // namespace diagpanel
