// SPDX-License-Identifier: Apache-2.0
#include "tools/diagpanel/follow/sel_follower.hpp"

#include <cstdio>

#include "tools/diagpanel/timeline.hpp"

namespace diagpanel {

namespace {

// IPMI 2.0 Storage commands and completion codes.
constexpr u8 kStorage = 0x0A;
constexpr u8 kGetSelInfo = 0x40;
constexpr u8 kReserveSel = 0x42;
constexpr u8 kGetSelEntry = 0x43;
constexpr u8 kNotPresent = 0xCB;
constexpr u8 kReservationCancelled = 0xC5;
constexpr u16 kFirst = 0x0000;
constexpr u16 kLast = 0xFFFF;  // as a record ID asked for: the last record; as a next ID: none
constexpr u8 kOverflow = 0x80; // Get SEL Info's operation support byte

u32 le32(const std::vector<u8> &d, std::size_t at)
{
    return d[at] | d[at + 1] << 8 | d[at + 2] << 16 | static_cast<u32>(d[at + 3]) << 24;
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

} // namespace

std::optional<SelInfo> SelFollower::info(SelNews &news)
{
    const Answer a = session_.command(kStorage, kGetSelInfo);
    news.answered = a.answered();
    if (a.completion) {
        news.refused = a.completion;
        return std::nullopt;
    }
    if (!a.data || a.data->size() < 14) {
        news.answered = a.data.has_value();
        return std::nullopt;
    }
    const std::vector<u8> &d = *a.data;
    return SelInfo{static_cast<u16>(d[1] | d[2] << 8), le32(d, 5), le32(d, 9),
                   (d[13] & kOverflow) != 0};
}

std::optional<std::pair<SelEntry, u16>> SelFollower::entry(u16 id, SelNews &news)
{
    for (int attempt = 0; attempt < 2; ++attempt) {
        const Answer a =
            session_.command(kStorage, kGetSelEntry,
                             {static_cast<u8>(reservation_), static_cast<u8>(reservation_ >> 8),
                              static_cast<u8>(id), static_cast<u8>(id >> 8), 0x00, 0xFF});
        news.answered = news.answered && a.answered();
        if (a.completion == kReservationCancelled) {
            // Another client's clear or addition cancelled it: reserve again, read again.
            const Answer r = session_.command(kStorage, kReserveSel);
            if (r.data && r.data->size() == 2) {
                reservation_ = static_cast<u16>((*r.data)[0] | (*r.data)[1] << 8);
                continue;
            }
        }
        if (a.completion == kNotPresent || !a.answered()) {
            return std::nullopt;
        }
        if (!a.data || a.data->size() != 18) {
            ++news.unreadable;
            news.notes.push_back("record " + std::to_string(id) + " could not be read (" +
                                 (a.completion ? completionText(*a.completion)
                                               : std::to_string(a.data->size()) + " bytes") +
                                 "), skipped");
            return std::nullopt;
        }
        std::pair<SelEntry, u16> out;
        std::copy(a.data->begin() + 2, a.data->end(), out.first.begin());
        out.second = static_cast<u16>((*a.data)[0] | (*a.data)[1] << 8);
        return out;
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
    return read && read->first == lastBytes_;
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
            seen_.insert(last->first);
            lastId_ = static_cast<u16>(last->first[0] | last->first[1] << 8);
            lastBytes_ = last->first;
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
                   next && !seen_.contains(next->first)) {
            // Most BMCs number records one after another: one command a new record.
            seen_.insert(next->first);
            news.records.push_back(next->first);
            lastId_ = static_cast<u16>(*lastId_ + 1);
            lastBytes_ = next->first;
            readFrom(next->second, news);
        } else if (const auto last = entry(*lastId_, news)) {
            readFrom(last->second, news);
        }
    }
    if (news.answered) {
        known_ = now;
    }
    return news;
}

} // namespace diagpanel
