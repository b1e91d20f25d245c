// SPDX-License-Identifier: Apache-2.0
// follow's SDR repository read against a scripted BMC: each row says which records must come
// back, byte for byte and in order, or that the read fails, and every read must end whatever the
// BMC says.
#include <gtest/gtest.h>

#include "tests/tools/scripted_bmc.hpp"

namespace {

using diagpanel::test::ScriptRow;

const ScriptRow kRows[] = {
    {"whole records, in order; a reservation cancelled between them is taken again",
     "sdr:40 sdr:11 sdr:0 cancel@3 read", " records:3", "7"},
    {"in pieces where refused whole, asked whole only once", "sdr:40 sdr:11 sdr:16 pieces read",
     " records:3", "11"},
    {"a reservation cancelled mid-record is taken again", "sdr:40x2 pieces cancel@4 read",
     " records:2"},
    {"a next ID that leads back ends the read", "sdr:8x2 loop:zero sdr:8 count:9 read",
     " records:2"},
    {"a next ID that leads back to the first record by its own ID ends the read",
     "sdr:8x3 loop:back nocount read", " records:3"},
    {"a header longer than its record ends the read", "sdr:8x2 lie sdr:8 read", " records:1"},
    {"no more records than the repository counts", "sdr:8x3 count:2 read", " records:2"},
    {"silent mid-way: the records read whole stand", "sdr:8x3 silent:4 read", " records:2"},
    {"silent from the first record", "sdr:8 silent:2 read", " none"},
    {"an empty repository", "read", " records:0"},
    {"no count: bounded in bytes", "sdr:200x400 nocount read", " records:319"},
    {"in pieces, a reservation cancelled once: bounded in bytes",
     "sdr:200x400 nocount pieces cancel@3 read", " records:319"},
};

TEST(SdrRepository, ReadsWhatIsSaneAndEnds)
{
    diagpanel::test::playRows(kRows);
}

} // namespace
