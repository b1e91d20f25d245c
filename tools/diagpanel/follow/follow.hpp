// SPDX-License-Identifier: Apache-2.0
// diagpanel follow: the panel of a live BMC. Its SEL, read over IPMI LAN from the first record
// (or from the next new one), goes through the real library as replay's inputs do, and the
// following goes on, so the panel's timeline grows as the BMC logs events.
#pragma once

#include <optional>
#include <string>

#include <diagpanel/types.h>

#include "tools/diagpanel/follow/ipmi_client.hpp"
#include "tools/diagpanel/readers/inputs.hpp"

namespace diagpanel {

struct FollowArgs {
    std::string host;
    unsigned port = 623;
    std::string user;
    std::string passwordFile;
    std::string password; // on the command line: accepted with a warning
    unsigned cipherSuite = 3;
    bool lan15 = false;
    std::string sdr; // sensor names from a file instead of the BMC's SDR repository
    double interval = 1.0;
    bool newOnly = false;
    std::optional<double> duration;
    std::optional<unsigned long> records;
    bool json = false;
    std::string svg;
    bool stats = false; // IPMI commands and polls, on standard error at the end
};

// Exit codes: 0 ended as asked, 1 records that could not be read, 2 usage, 3 could not reach or
// log in to the BMC at start.
int follow(const FollowArgs &args, u32 board);

// A record read from a BMC as an input: its source "sel:<record ID>", placed by its own timestamp
// or at `offset` seconds after the live clock began.
Item selItem(const SelEntry &record, Timing timing, uint64_t offset);

} // namespace diagpanel
