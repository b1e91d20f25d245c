// SPDX-License-Identifier: Apache-2.0
// Following a BMC's System Event Log: one Get SEL Info a poll, one Get SEL Entry a new record;
// clears, deletions, a full SEL, cancelled reservations and records the BMC numbers anew after a
// restart noticed and told, no record read twice.
#pragma once

#include <optional>
#include <set>
#include <string>
#include <vector>

#include "tools/diagpanel/follow/ipmi_client.hpp"

namespace diagpanel {

// What one poll found.
struct SelNews {
    bool answered = false;         // the BMC answered; when not, the session is closed
    std::vector<SelEntry> records; // new records, in SEL order
    std::vector<std::string> notes;
    unsigned unreadable = 0;   // records that came back malformed or refused
    std::optional<u8> refused; // the completion code of a refused Get SEL Info
};

class SelFollower
{
  public:
    // From the first record of the SEL, or from the records added after the first poll.
    SelFollower(IpmiClient &client, bool fromStart) : client_(client), fromStart_(fromStart) {}
    SelNews poll();

  private:
    std::optional<SelInfo> info(SelNews &news);
    // A record by its ID: its bytes and the ID of the next (FFFFh: none). nullopt when it is not
    // there (completion code CBh) or could not be read (counted, noted).
    std::optional<SelRecord> entry(u16 id, SelNews &news);
    void readFrom(u16 id, SelNews &news);
    bool lastStillThere(SelNews &news);

    IpmiClient &client_;
    bool fromStart_;
    std::optional<SelInfo> known_;
    std::optional<u16> lastId_; // the last record read, and its bytes
    SelEntry lastBytes_{};
    std::set<SelEntry> seen_;
    u16 reservation_ = 0;
    bool overflowSaid_ = false;
};

} // namespace diagpanel
