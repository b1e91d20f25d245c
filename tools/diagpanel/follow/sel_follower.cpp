// SPDX-License-Identifier: Apache-2.0
#include "tools/diagpanel/follow/sel_follower.hpp"

#include <algorithm>
#include <cstdio>

#include "tools/diagpanel/timeline.hpp"

namespace diagpanel {

namespace {

constexpr u8 kNotPresent = 0xCB;
constexpr u8 kReservationCancelled = 0xC5;
constexpr std::chrono::seconds kFirstRetry{1};
constexpr std::chrono::seconds kLongestRetry{30};

constexpr const char *kNoteNames[] = {"lost",    "still-lost", "back",    "full",
                                      "cleared", "rewritten",  "deleted", "unreadable"};
static_assert(std::size(kNoteNames) == static_cast<std::size_t>(BmcNoteKind::Unreadable) + 1);

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

void say(FollowStep &step, BmcNoteKind kind, unsigned number, std::string text)
{
    step.notes.push_back({kind, number, std::move(text)});
}

} // namespace

const char *bmcNoteName(BmcNoteKind kind)
{
    return kNoteNames[static_cast<std::size_t>(kind)];
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
            say(step, BmcNoteKind::Lost, static_cast<unsigned>(retry_.count()),
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
        say(step, BmcNoteKind::StillLost, static_cast<unsigned>(retry_.count()),
            "no answer yet; trying again in " + std::to_string(retry_.count()) + " s");
        return;
    }
    const auto lost = std::chrono::duration_cast<std::chrono::seconds>(now - *lostAt_).count();
    say(step, BmcNoteKind::Back, static_cast<unsigned>(lost),
        "the BMC answers again, after " + std::to_string(lost) +
            " s; following on from the last record read");
    lost_ = false;
    lostAt_.reset();
    step.next = now; // poll at once: records may have come in the meantime
}

std::optional<SelRecord> SelFollower::entry(u16 id, FollowStep &step)
{
    for (int attempt = 0; attempt < 2; ++attempt) {
        const Reply<SelRecord> r = client_.getSelEntry(reservation_, id);
        step.answered = step.answered && r.answered();
        if (r.completion == kReservationCancelled) {
            // Another client's clear or addition cancelled it: reserve again, read again.
            const Reply<u16> reserved = client_.reserveSel();
            if (reserved.value) {
                reservation_ = *reserved.value;
                continue;
            }
        }
        if (r.completion == kNotPresent || !r.answered()) {
            return std::nullopt;
        }
        if (!r.value) {
            say(step, BmcNoteKind::Unreadable, id,
                "record " + std::to_string(id) + " could not be read (" +
                    (r.completion ? completionText(*r.completion)
                                  : std::to_string(*r.wrongLength) + " bytes") +
                    "), skipped");
            return std::nullopt;
        }
        return r.value;
    }
    return std::nullopt;
}

void SelFollower::take(const SelRecord &record, FollowStep &step)
{
    if (seen_.insert(record.entry).second) {
        step.records.push_back(record.entry);
    }
    lastId_ = selRecordId(record.entry);
    lastBytes_ = record.entry;
}

// Walks the records from `id` on by their next IDs; the ones not seen before are news.
void SelFollower::readFrom(u16 id, FollowStep &step)
{
    while (id != kLastSelRecord) {
        const auto read = entry(id, step);
        if (!read) {
            return;
        }
        take(*read, step);
        id = read->next;
    }
}

bool SelFollower::lastStillThere(FollowStep &step)
{
    const auto read = entry(*lastId_, step);
    return read && read->entry == lastBytes_;
}

void SelFollower::poll(FollowStep &step)
{
    step.poll = true;
    const Reply<SelInfo> info = client_.getSelInfo();
    step.answered = info.answered();
    step.selInfoRefused = info.completion;
    if (!info.value) {
        return;
    }
    const SelInfo &now = *info.value;
    if (now.overflow && !overflowSaid_) {
        say(step, BmcNoteKind::Full, 0,
            "the SEL is full: the BMC drops new records (overflow flag set)");
    }
    overflowSaid_ = now.overflow;
    if (!known_) {
        if (fromStart_) {
            readFrom(kFirstSelRecord, step);
        } else if (const auto last = entry(kLastSelRecord, step)) {
            seen_.insert(last->entry);
            lastId_ = selRecordId(last->entry);
            lastBytes_ = last->entry;
        }
    } else if (now != *known_) {
        // An erase time that changes alone is no clear: the records known must be gone too.
        const bool fewer = now.entries < known_->entries;
        if ((fewer || now.erased != known_->erased) && lastId_ && !lastStillThere(step)) {
            if (!step.answered) {
                return;
            }
            if (now.entries <= known_->entries) {
                say(step, BmcNoteKind::Cleared, 0,
                    "the SEL was cleared" +
                        (now.erased != known_->erased ? " " + when(now.erased) : std::string()) +
                        "; following it from its first record");
            } else {
                say(step, BmcNoteKind::Rewritten, 0,
                    "the SEL was rewritten; following it from its first record, records seen "
                    "before not repeated");
            }
            lastId_.reset();
        } else if (fewer) {
            const unsigned deleted = known_->entries - now.entries;
            say(step, BmcNoteKind::Deleted, deleted,
                std::to_string(deleted) + " record(s) deleted from the SEL");
        }
        if (!lastId_) {
            readFrom(kFirstSelRecord, step);
        } else if (const auto next = entry(static_cast<u16>(*lastId_ + 1), step);
                   next && !seen_.contains(next->entry)) {
            // Most BMCs number records one after another: one command a new record.
            take(*next, step);
            readFrom(next->next, step);
        } else if (const auto last = entry(*lastId_, step)) {
            readFrom(last->next, step);
        }
    }
    if (step.answered) {
        known_ = now;
    }
}

} // namespace diagpanel
