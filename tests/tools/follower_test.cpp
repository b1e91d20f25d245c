// SPDX-License-Identifier: Apache-2.0
// follow against a scripted BMC. The SEL follower: each row says what the BMC does between polls
// and what the follower must make of it, step by step: the new records in order and the notes. The
// SDR repository read: each row says which records must come back, byte for byte and in order, or
// that the read fails, and every read must end whatever the BMC says. The live run against a
// simulated BMC is follow_test.sh's.
#include <gtest/gtest.h>

#include "tests/tools/scripted_bmc.hpp"

namespace {

using diagpanel::test::ScriptRow;

const ScriptRow kSelRows[] = {
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
    {"a reservation cancelled: reserved again, read again, nothing lost", "+2 . cancel@0 +1 . .",
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
    {"a record named next but answered \"not present\": asked again, so many times, then skipped",
     "+1 . +1 hide:2 +1 . +1 hide:4 +1 . .", " a | b c | unreadable:4 e |", "2 6 7 1"},
    {"a record that loses the session each time it is read: skipped after so many, told",
     "+1 . +2 silent:1 . up . silent:1 . up . silent:1 . up . .",
     " a | lost:1 | back:1 | lost:1 | back:1 | lost:1 | back:1 | unreadable:2 c"},
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
    diagpanel::test::playRows(kSelRows);
}

const ScriptRow kSdrRows[] = {
    {"whole records, in order; a reservation cancelled between them is taken again",
     "sdr:40 sdr:11 sdr:0 cancel@3 read", " records:3", "7"},
    {"in pieces where refused whole, asked whole only once", "sdr:40 sdr:11 sdr:16 pieces read",
     " records:3", "11"},
    {"a reservation cancelled mid-record is taken again", "sdr:40x2 pieces cancel@4 read",
     " records:2"},
    {"a next ID that leads back ends the read, and says so", "sdr:8x2 loop:zero sdr:8 count:9 read",
     " records:2 cut"},
    {"a next ID that leads back to the first record by its own ID ends the read",
     "sdr:8x3 loop:back nocount read", " records:3 cut"},
    {"a header longer than its record ends the read", "sdr:8x2 lie sdr:8 read", " records:1 cut"},
    {"no more records than the repository counts", "sdr:8x3 count:2 read", " records:2 cut"},
    {"as many as it counts: whole", "sdr:8x3 count:3 read", " records:3"},
    {"silent mid-way: the records read whole stand", "sdr:8x3 silent:4 read", " records:2 cut"},
    {"silent from the first record", "sdr:8 silent:2 read", " none"},
    {"an empty repository", "read", " records:0"},
    {"no count: bounded in bytes", "sdr:200x400 nocount read", " records:319 cut"},
    {"in pieces, a reservation cancelled once: bounded in bytes",
     "sdr:200x400 nocount pieces cancel@3 read", " records:319 cut"},
};

TEST(SdrRepository, ReadsWhatIsSaneAndEnds)
{
    diagpanel::test::playRows(kSdrRows);
}

} // namespace
