// SPDX-License-Identifier: Apache-2.0
// One run of the library on the stand-in platform, as the host tool drives it: the platform set up
// (a private /var, the board, sensor names, fan answers), the library started, records and display
// events posted through its pipe, and their effects collected at markers: the warnings logged and
// the fault table as the intake left it. Display steps are taken in virtual time while the
// library's display thread stays parked, so a step costs no round trip: on the caller's thread, or,
// when frames are tracked, on the intake's thread right after the frame they follow.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <condition_variable>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include <diagpanel/diagpanel.h>
#include <host_platform/diagpanel_host.h>

namespace host {

struct GatheredWrites;

struct SessionSetup {
    std::optional<u32> board;        // none: the platform's as it is
    std::map<u8, std::string> names; // sensor names
    bool fansFailing = false;        // the fan control confirms a fault of every fan
    // Each marker empties the fault table after taking it, so that every record's effects are
    // its own (the tables command); otherwise the table goes on as firmware's would.
    bool emptyTableAtMarker = false;
    // The stand-in keeps its journals of log lines and platform calls (the tables command reads
    // them); the session's hook takes the log either way.
    bool journals = true;
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

// Whole cycles of a steady display left out instead of stepped: the virtual seconds they span.
struct Skipped {
    uint64_t seconds = 0;
    uint64_t cycles = 0;
};

// What to leave out before the next step after a frame, from the steps taken since the frame and
// the seconds from the display's next step to the end of the steps asked for. Called on the
// intake's thread; it must leave at least one step to take.
using CycleSkip = Skipped (*)(std::span<const DisplayStep> since, uint64_t gap);

// Display steps to take after a tracked frame: while the next step is due before `until` (0: none),
// with whole cycles left out as `skip` says (none: none). `until` is on the clock the display's
// seconds make with every second skipped added (by skip, and as told by skipped()).
struct StepsAfter {
    uint64_t until = 0;
    CycleSkip skip = nullptr;
};

// With frames tracked, what happened in the library, in order: a frame taken (its warnings and
// the fault table after it), or a display step taken after one (its code and sleep, the display's
// virtual seconds after it, its warnings and the table after it). The table is left out when it
// is the previous outcome's.
struct Outcome {
    bool step = false;
    Skipped skipped; // before the step
    DisplayStep display;
    uint64_t seconds = 0;
    std::vector<HOST_LOG_LINE_S> warnings;
    std::optional<std::vector<DIAG_PANEL_MSG_S>> table;
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
    // every frame the step must see (and, when tracking, every outcome is in).
    DisplayStep step();

    // From here on, each frame posted is told from the next by the bytes the intake has read, not
    // by a marker after it: its effects, and the display steps asked for after it, are taken on
    // the intake's thread as it goes on to read the next frame, and come out of outcomes(). Call
    // it once every frame posted so far has been taken (after a marker waited for).
    void track();
    // Posts a tracked frame; `after`: display steps to take once the intake has taken it. The
    // library's result; a frame refused has no outcome. Frames posted go into the pipe in runs
    // (one write, not one a frame): when a run is full, and before any wait or untracked post.
    int postSel(std::span<const u8> record, u8 severity, StepsAfter after);
    int postEvent(u32 type, u8 percent, StepsAfter after);
    // The outcomes in so far; with a timeout, once no more than `left` of the frames posted are
    // still to be taken, and with none left, every step after the last taken too (or once the
    // timeout has passed: `complete` tells which). Frames left keep the intake busy meanwhile.
    std::deque<Outcome> outcomes(std::chrono::milliseconds timeout, bool *complete = nullptr,
                                 std::size_t left = 0);
    // Virtual seconds of the display so far.
    uint64_t seconds() const;
    // Adds seconds the caller left out of its own steps to the clock of StepsAfter::until. Only
    // while the intake has nothing in hand.
    void skipped(uint64_t seconds);

  private:
    static constexpr std::size_t kNotWaiting = SIZE_MAX;
    struct Boundary {
        uint64_t end; // the bytes the intake has read once it has read the frame
        StepsAfter after;
    };

    static void onLog(const HOST_LOG_LINE_S *line, void *arg);
    static void atIntakeRead(uint64_t consumed);
    int postTracked(u8 msgType, std::span<const u8> body, u8 severity, StepsAfter after);
    void flush();
    void frameTaken(const Boundary &boundary);
    DisplayStep takeStep();
    std::optional<std::vector<DIAG_PANEL_MSG_S>> tableIfChanged();

    SessionSetup setup_;
    bool privateVar_ = false;
    std::mutex mutex_;
    std::condition_variable marked_;
    std::vector<HOST_LOG_LINE_S> lines_;
    std::deque<Effects> effects_;
    std::atomic<u32> lastMarker_ = 0; // changed under the mutex, read without it while yielding
    u32 awaited_ = 0;                 // the marker waitFor() sleeps on

    // Tracking. The caller posts frames in runs and queues their boundaries; the intake closes
    // them, under mutex_.
    uint64_t posted_ = 0;                         // bytes of the frames posted
    std::vector<Boundary> running_;               // frames posted, not yet in the pipe
    std::unique_ptr<GatheredWrites> run_;         // their bytes
    std::deque<Boundary> boundaries_;             // frames in the pipe, not yet taken
    std::atomic<uint64_t> firstEnd_ = UINT64_MAX; // the first one's end: read without the mutex
    std::deque<Outcome> outcomes_;                // in, not yet handed out
    bool closing_ = false;                        // the intake is taking steps after a frame
    // Frames in the pipe, and the one whose steps are being taken: what a wait polls, without
    // the mutex, before it sleeps.
    std::atomic<std::size_t> untaken_ = 0;
    std::size_t awaitedLeft_ = kNotWaiting; // outcomes() sleeps until no more are left
    std::condition_variable caughtUp_;
    std::atomic<unsigned> parked_ = 0; // seconds of the display's pending sleep
    // Seconds skipped so far: by the intake's thread after a frame, by the caller between.
    std::atomic<uint64_t> skipped_ = 0;
    // The table of the latest outcome (the intake's thread's); not known after a step taken by
    // the caller.
    std::vector<DIAG_PANEL_MSG_S> outcomeTable_;
    std::atomic<bool> outcomeTableKnown_ = false;
};

// The fault table, bucket by bucket in chain order.
std::vector<DIAG_PANEL_MSG_S> faultTable();

} // namespace host
