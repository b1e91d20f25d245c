// SPDX-License-Identifier: Apache-2.0
// SEL records of every family the dispatch routes, all on one board, with the stand-in set up so
// that each one reaches the fault table, and what each leaves there. Shared by the allocation
// sweep and the storm.
#pragma once

#include <vector>

#include "tests/support/harness.hpp"

namespace test {

struct FamilyRecord {
    const char *name;
    SelBytes record;
    u8 severity;
    u8 messages;        // messages the translator makes of it
    u8 entries;         // entries it creates in an empty table (a clear creates none)
    const char *leaves; // those entries, as "type.index levelInfo mask"
};

// The entries a record left in an empty table, as FamilyRecord::leaves writes them.
std::string entriesText(const std::vector<Entry> &table);

const std::vector<FamilyRecord> &familyRecords();

// A quiet stand-in answering for the records' board (its sensor names, a disk, POST codes, a fan
// in error, the RAID slot), and the library started on it, its display parked in virtual time.
void startWithFamilies();

} // namespace test
