// SPDX-License-Identifier: Apache-2.0
// One run of the library on the stand-in platform, as the host tool drives it: the platform set up
// (a private /var, the board, sensor names, fan answers), the library started, records and display
// events posted through its pipe, and their effects collected at markers: the warnings logged and
// the fault table as the intake left it. Display steps are taken on the caller's thread in virtual
// time while the library's display thread stays parked, so a step costs no round trip.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <condition_variable>
#include <deque>
#include <map>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include <diagpanel/diagpanel.h>
#include <host_platform/diagpanel_host.h>

namespace host {

struct SessionSetup {
    std::optional<u32> board;        // none: the platform's as it is
    std::map<u8, std::string> names; // sensor names
    bool fansFailing = false;        // the fan control confirms a fault of every fan
    // Each marker empties the fault table after taking it, so that every record's effects are
    // its own (the tables command); otherwise the table goes on as firmware's would.
    bool emptyTableAtMarker = false;
};

// What the frames posted before a marker (and after the one before it) did.
struct Effects {
    u32 marker = 0;
    std::vector<HOST_LOG_LINE_S> warnings; // warning level or above, marker lines left out
    std::vector<DIAG_PANEL_MSG_S> table;   // bucket by bucket, as the marker found it
};

// A display step: the code it wrote to the panel, if any, and the seconds of the sleep it ended
// in (0: it did not sleep).
struct DisplayStep {
    std::optional<u32> code;
    unsigned seconds = 0;
};

class Session
{
  public:
    // The platform set up as `setup` says, the log echo off and the session's log hook on. Call it
    // before any thread starts: it gives the process a private /var first (`privateVar` tells
    // whether it got one).
    explicit Session(SessionSetup setup);
    ~Session();
    Session(const Session &) = delete;
    Session &operator=(const Session &) = delete;

    bool privateVar() const { return privateVar_; }

    // The whole library, as firmware starts it; afterwards the display thread stays parked in the
    // sleep after its first step, which start() returns. None when the library did not start.
    std::optional<DisplayStep> start();
    // The fault table and the intake alone: started on `board` (its sensor-name tables selected),
    // then answering `answering` to the translators. False when either refuses.
    bool startTable();
    bool startIntake(u32 board, u32 answering);

    // Posts through DIAG_PANEL_TRANS_postMessage; the library's result.
    int postSel(std::span<const u8> record, u8 severity);
    int postEvent(u32 type, u8 percent = 0);
    // Posts a marker; its type, or 0 when it could not be posted.
    u32 mark();
    // The effects of every marker taken since the last call, once `marker` is among them or the
    // timeout has passed (0: no wait).
    std::deque<Effects> waitFor(u32 marker, std::chrono::milliseconds timeout);
    // Warnings logged since the latest marker (a display step's own).
    std::vector<HOST_LOG_LINE_S> takeWarnings();

    // One turn of the display thread's loop, taken on this thread. Only once the intake has taken
    // every frame the step must see.
    DisplayStep step();
    // Virtual seconds of the display so far.
    uint64_t seconds() const;

  private:
    static void onLog(const HOST_LOG_LINE_S *line, void *self);

    SessionSetup setup_;
    bool privateVar_ = false;
    std::mutex mutex_;
    std::condition_variable marked_;
    std::vector<HOST_LOG_LINE_S> lines_;
    std::deque<Effects> effects_;
    std::atomic<u32> lastMarker_ = 0; // changed under the mutex, read without it while yielding
    u32 awaited_ = 0;                 // the marker waitFor() sleeps on
};

// The fault table, bucket by bucket in chain order.
std::vector<DIAG_PANEL_MSG_S> faultTable();

} // namespace host
