// SPDX-License-Identifier: Apache-2.0
#include "tools/diagpanel/follow/sel_follower.hpp"

#include <cstdio>

#include "tools/diagpanel/timeline.hpp"

namespace diagpanel {

namespace {

constexpr u8 kNotPresent = 0xCB;
constexpr u8 kReservationCancelled = 0xC5;
constexpr u16 kFirst = kFirstSelRecord;
constexpr u16 kLast = kLastSelRecord;

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

} // namespace

std::optional<SelInfo> SelFollower::info(SelNews &news)
{
    const Reply<SelInfo> a = client_.getSelInfo();
    news.answered = a.answered();
    news.refused = a.completion;
    return a.value;
}

std::optional<SelRecord> SelFollower::entry(u16 id, SelNews &news)
{
    for (int attempt = 0; attempt < 2; ++attempt) {
        const Reply<SelRecord> a = client_.getSelEntry(reservation_, id);
        news.answered = news.answered && a.answered();
        if (a.completion == kReservationCancelled) {
            // Another client's clear or addition cancelled it: reserve again, read again.
            const Reply<u16> r = client_.reserveSel();
            if (r.value) {
                reservation_ = *r.value;
                continue;
            }
        }
        if (a.completion == kNotPresent || !a.answered()) {
            return std::nullopt;
        }
        if (!a.value) {
            ++news.unreadable;
            news.notes.push_back("record " + std::to_string(id) + " could not be read (" +
                                 (a.completion ? completionText(*a.completion)
                                               : std::to_string(*a.wrongLength) + " bytes") +
                                 "), skipped");
            return std::nullopt;
        }
        return a.value;
    }
    return std::nullopt;
}

// Walks the records from `id` on by their next IDs; the ones not seen before are news.
void SelFollower::readFrom(u16 id, SelNews &news)
{
    while (id != kLast) {
        const auto read = entry(id, news);
        if (!read) {
            return;
        }
        const auto &[bytes, next] = *read;
        if (seen_.insert(bytes).second) {
            news.records.push_back(bytes);
        }
        lastId_ = static_cast<u16>(bytes[0] | bytes[1] << 8);
        lastBytes_ = bytes;
        id = next;
    }
}

bool SelFollower::lastStillThere(SelNews &news)
{
    const auto read = entry(*lastId_, news);
    return read && read->entry == lastBytes_;
}

SelNews SelFollower::poll()
{
    SelNews news;
    news.answered = true;
    const std::optional<SelInfo> now = info(news);
    if (!now) {
        return news;
    }
    if (now->overflow && !overflowSaid_) {
        news.notes.emplace_back("the SEL is full: the BMC drops new records (overflow flag set)");
    }
    overflowSaid_ = now->overflow;
    if (!known_) {
        if (fromStart_) {
            readFrom(kFirst, news);
        } else if (const auto last = entry(kLast, news)) {
            seen_.insert(last->entry);
            lastId_ = static_cast<u16>(last->entry[0] | last->entry[1] << 8);
            lastBytes_ = last->entry;
        }
    } else if (*now != *known_) {
        // An erase time that changes alone is no clear: the records known must be gone too.
        const bool fewer = now->entries < known_->entries;
        if ((fewer || now->erased != known_->erased) && lastId_ && !lastStillThere(news)) {
            if (!news.answered) {
                return news;
            }
            if (now->entries <= known_->entries) {
                news.notes.push_back(
                    "the SEL was cleared" +
                    (now->erased != known_->erased ? " " + when(now->erased) : std::string()) +
                    "; following it from its first record");
            } else {
                news.notes.emplace_back("the SEL was rewritten; following it from its first "
                                        "record, records seen before not repeated");
            }
            lastId_.reset();
        } else if (fewer) {
            news.notes.push_back(std::to_string(known_->entries - now->entries) +
                                 " record(s) deleted from the SEL");
        }
        if (!lastId_) {
            readFrom(kFirst, news);
        } else if (const auto next = entry(static_cast<u16>(*lastId_ + 1), news);
                   next && !seen_.contains(next->entry)) {
            // Most BMCs number records one after another: one command a new record.
            seen_.insert(next->entry);
            news.records.push_back(next->entry);
            lastId_ = static_cast<u16>(*lastId_ + 1);
            lastBytes_ = next->entry;
            readFrom(next->next, news);
        } else if (const auto last = entry(*lastId_, news)) {
            readFrom(last->next, news);
        }
    }
    if (news.answered) {
        known_ = now;
    }
    return news;
}

} // namespace diagpanel
