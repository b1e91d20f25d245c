// SPDX-License-Identifier: Apache-2.0
// follow's SDR repository read against a scripted BMC: records held by ID with the next ID each
// names, and misbehaviour on cue (a record refused whole, a cancelled reservation, a next ID that
// leads back or never ends, a length that lies, silence). Each row says which records must come
// back, byte for byte and in order, or that the read must fail; every read must end.
#include <gtest/gtest.h>

#include <map>

#include "tools/diagpanel/follow/sdr_repository.hpp"

namespace {

using namespace diagpanel;

// A record: its ID, a sensor-record type, its body's length, then the body.
std::vector<u8> sdr(u16 id, u8 length)
{
    std::vector<u8> r{static_cast<u8>(id), static_cast<u8>(id >> 8), 0x51, 0x02, length};
    for (u8 i = 0; i < length; ++i) {
        r.push_back(static_cast<u8>(id * 7 + i));
    }
    return r;
}

struct Bmc {
    std::map<u16, std::pair<std::vector<u8>, u16>> records; // bytes and next ID
    std::optional<u16> count;                               // Get SDR Repository Info's
    bool refusesWhole = false;                              // CAh to "to the record's end"
    int cancelAt = -1;                                      // this Get SDR finds C5h
    int silentFrom = -1;                                    // no answer from this Get SDR on
    bool endless = false;                                   // any ID is a record, its next ID+1
    u8 lengthLie = 0; // the header of record 1 claims this much more body than it has

    int gets = 0;
    u16 reservation = 0;

    StorageAnswer answer(u8 cmd, std::span<const u8> data)
    {
        StorageAnswer a;
        if (cmd == 0x20) { // Get SDR Repository Info: refused when it has no count
            if (count) {
                a.data = {0x51, static_cast<u8>(*count), static_cast<u8>(*count >> 8)};
            } else {
                a.completion = 0xC1;
            }
            return a;
        }
        if (cmd == 0x22) { // Reserve SDR Repository
            ++reservation;
            a.data = {static_cast<u8>(reservation), static_cast<u8>(reservation >> 8)};
            return a;
        }
        const int call = gets++;
        if (silentFrom >= 0 && call >= silentFrom) {
            return a;
        }
        const u16 asked = static_cast<u16>(data[0] | data[1] << 8);
        if (call == cancelAt) {
            ++reservation; // another client reserved
        }
        if (asked != reservation) {
            a.completion = 0xC5;
            return a;
        }
        const u16 id = static_cast<u16>(data[2] | data[3] << 8);
        std::pair<std::vector<u8>, u16> record{sdr(id, 200), static_cast<u16>(id + 1)};
        if (!endless) {
            const auto found = records.find(id);
            if (found == records.end()) {
                a.completion = 0xCB;
                return a;
            }
            record = found->second;
        }
        std::vector<u8> bytes = record.first;
        if (id == 1) {
            bytes[4] = static_cast<u8>(bytes[4] + lengthLie);
        }
        const std::size_t offset = data[4], wanted = data[5];
        if (wanted == 0xFF && refusesWhole) {
            a.completion = 0xCA;
            return a;
        }
        const std::size_t end =
            std::min(bytes.size(), wanted == 0xFF ? bytes.size() : offset + wanted);
        a.data = {static_cast<u8>(record.second), static_cast<u8>(record.second >> 8)};
        if (offset < end) {
            a.data->insert(a.data->end(), bytes.begin() + static_cast<long>(offset),
                           bytes.begin() + static_cast<long>(end));
        }
        return a;
    }
};

// Records 0, 1, 2, ... with bodies of these lengths, each naming the next; the last names FFFFh.
Bmc chain(std::vector<u8> lengths)
{
    Bmc bmc;
    for (u16 id = 0; id < lengths.size(); ++id) {
        const u16 next = std::size_t{id} + 1 < lengths.size() ? static_cast<u16>(id + 1) : 0xFFFF;
        bmc.records[id] = {sdr(id, lengths[id]), next};
    }
    bmc.count = static_cast<u16>(lengths.size());
    return bmc;
}

std::string bytes(const Bmc &bmc, std::vector<u16> ids)
{
    std::string s;
    for (const u16 id : ids) {
        const std::vector<u8> &r = bmc.records.at(id).first;
        s.append(r.begin(), r.end());
    }
    return s;
}

struct Case {
    const char *name;
    Bmc bmc;
    std::optional<std::vector<u16>> expect; // the records, in order; nullopt: the read fails
    std::size_t maxBytes = 0;               // for the endless BMC: a bound instead
};

Bmc with(Bmc bmc, auto change)
{
    change(bmc);
    return bmc;
}

TEST(SdrRepository, ReadsWhatIsSaneAndEnds)
{
    const std::vector<Case> cases{
        {"whole records, in order", chain({40, 11, 0}), std::vector<u16>{0, 1, 2}},
        {"in pieces where refused whole",
         with(chain({40, 11, 16}), [](Bmc &b) { b.refusesWhole = true; }),
         std::vector<u16>{0, 1, 2}},
        {"a reservation cancelled mid-record is taken again",
         with(chain({40, 40}), [](Bmc &b) { b.refusesWhole = true, b.cancelAt = 5; }),
         std::vector<u16>{0, 1}},
        {"a next ID that leads back ends the read",
         with(chain({8, 8, 8}), [](Bmc &b) { b.records[1].second = 0, b.count = 9; }),
         std::vector<u16>{0, 1}},
        {"a header longer than its record ends the read",
         with(chain({8, 8, 8}), [](Bmc &b) { b.lengthLie = 3; }), std::vector<u16>{0}},
        {"no more records than the repository counts",
         with(chain({8, 8, 8}), [](Bmc &b) { b.count = 2; }), std::vector<u16>{0, 1}},
        {"silent mid-way: the records read whole stand",
         with(chain({8, 8, 8}), [](Bmc &b) { b.silentFrom = 2; }), std::vector<u16>{0, 1}},
        {"silent from the first record", with(chain({8}), [](Bmc &b) { b.silentFrom = 0; }),
         std::nullopt},
        {"an empty repository", chain({}), std::vector<u16>{}},
        {"endless, no count: bounded in bytes", with(Bmc{}, [](Bmc &b) { b.endless = true; }),
         std::nullopt, 64 * 1024},
        {"endless, in pieces, a reservation cancelled once",
         with(Bmc{}, [](Bmc &b) { b.endless = true, b.refusesWhole = true, b.cancelAt = 1; }),
         std::nullopt, 64 * 1024},
    };
    for (Case c : cases) {
        SCOPED_TRACE(c.name);
        const std::optional<std::string> read = readSdrRepository(
            [&](u8 cmd, std::span<const u8> data) { return c.bmc.answer(cmd, data); });
        EXPECT_LT(c.bmc.gets, 10000);
        if (c.maxBytes != 0) {
            ASSERT_TRUE(read);
            EXPECT_LE(read->size(), c.maxBytes);
            EXPECT_GT(read->size(), c.maxBytes / 2);
        } else if (!c.expect) {
            EXPECT_FALSE(read);
        } else {
            ASSERT_TRUE(read);
            EXPECT_EQ(*read, bytes(c.bmc, *c.expect));
        }
    }
}

} // namespace
