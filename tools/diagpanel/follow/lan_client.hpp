// SPDX-License-Identifier: Apache-2.0
// The IPMI LAN client follow talks to a BMC through: one session, held open by a library linked
// into the tool, each request one IPMI command on it. A build without that library (the cross
// build, which runs follow's tests on the host alone) gets a client that says so when opened.
#pragma once

#include <chrono>
#include <memory>

#include "tools/diagpanel/follow/ipmi_client.hpp"

namespace diagpanel {

// How long a command may go unanswered before the session is given up: the caller waits at most
// `session`, resending every `retransmission`. `idle` is the longest the session rests between
// two commands (the poll interval): the client library counts its session time-out from the last
// answer, so a session left idle longer than `session` would be given up at the next command.
struct LanTimeouts {
    std::chrono::milliseconds session{3000};
    std::chrono::milliseconds retransmission{500};
    std::chrono::milliseconds idle{0};
};

std::unique_ptr<IpmiClient> lanClient(const BmcAddress &address, LanTimeouts timeouts = {});

} // namespace diagpanel
