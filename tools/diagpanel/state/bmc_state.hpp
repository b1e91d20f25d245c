// SPDX-License-Identifier: Apache-2.0
// What a watcher keeps of one BMC on disk, in DIR/<name>/ (name: bmcStateName), so that after a
// restart it rebuilds the BMC's panel from its own copy and goes on where it stood:
// - records.bin: every SEL record read, in the order read, 16 bytes as the BMC gave them, one
//   write() each; `diagpanel replay` reads it as a writeraw capture.
// - position.json (position_file.hpp): where the follower stands, replaced whole each time
//   (temporary file, fsync, rename, fsync of the folder), after records.bin is synced.
// A disk that fails (full, read-only, not a folder) is told once; the store then keeps what it
// is given in memory and tries the disk again at a position write a minute later. Nothing here
// throws or stops the watcher.
#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "tools/diagpanel/follow/sel_follower.hpp"
#include "tools/diagpanel/state/position_file.hpp"

namespace diagpanel {

// The folder name of BMC `host`:`port`: letters (lowercased), digits, '-' and '.' (not first)
// as they are, any other byte as _XX (its hex code), then '-' and the port, which has no '-':
// "10.0.0.5-623", "bmc7.example.com-623", "fe80_3A_3A1_25eth0-623" (fe80::1%eth0; an IPv6
// address is written in its canonical form first, [brackets] dropped). Two BMCs never share
// one. A name past 200 bytes keeps 180 and a '~' with a hash of the whole.
std::string bmcStateName(const std::string &host, unsigned port);

// What the store found on opening.
struct SavedState {
    std::vector<SelEntry> records; // records.bin's whole records, in order
    // Where a follower goes on from, with `records` as the records seen; none: nothing was kept.
    std::optional<SelPosition> resume;
    std::map<u8, std::string> names; // the sensor names last saved
};

class BmcState
{
  public:
    using Tell = std::function<void(const std::string &)>; // a message for the user
    static constexpr std::chrono::seconds kRetry{60};

    // Opens DIR/<name>/, creating both folders if need be, and reads what they hold.
    BmcState(const std::string &dir, const std::string &host, unsigned port, Tell tell,
             FollowClock::time_point now);
    ~BmcState();
    BmcState(const BmcState &) = delete;
    BmcState &operator=(const BmcState &) = delete;

    const SavedState &saved() const { return saved_; }
    const std::string &path() const { return path_; } // DIR/<name>
    bool onDisk() const { return recordsFd_ >= 0; }   // else in memory until the disk works

    // Records read, in the order read.
    void append(std::span<const SelEntry> records, FollowClock::time_point now);
    // Where the follower stands now, after the records appended so far.
    void savePosition(const SelPosition &at, const std::map<u8, std::string> &names,
                      FollowClock::time_point now);

  private:
    bool openDisk(FollowClock::time_point now);
    void load();
    std::optional<SavedPosition> readPosition();
    bool writeRecord(const SelEntry &record, FollowClock::time_point now);
    bool writePosition(FollowClock::time_point now);
    bool backOnDisk(FollowClock::time_point now);
    void fail(const std::string &file, int error, FollowClock::time_point now);
    void closeDisk();

    std::string path_;
    std::string bmc_; // host:port, for messages and position.json
    Tell tell_;
    SavedState saved_;
    int dirFd_ = -1;
    int recordsFd_ = -1;
    bool regular_ = false; // records.bin is a file (not a device): it can be cut
    bool ours_ = false;    // records.bin was read at the start, or begun by this run
    uint64_t recordsOnDisk_ = 0;
    std::vector<SelEntry> pending_; // appended while the disk failed
    SavedPosition position_;        // the last one saved, on disk or not
    bool failing_ = false;          // told; in memory until retryAt_
    FollowClock::time_point retryAt_;
};

} // namespace diagpanel
