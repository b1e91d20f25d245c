// SPDX-License-Identifier: Apache-2.0
// The replay: the real library and the stand-in platform in this process, every input posted
// through the library's pipe in order, and the display stepped in virtual time (host::Session).
#pragma once

#include <chrono>
#include <deque>
#include <map>
#include <optional>
#include <span>
#include <vector>

#include <host_platform/diagpanel_host.h>
#include "host_support/session.hpp"
#include "tools/diagpanel/readers/inputs.hpp"
#include "tools/diagpanel/timeline.hpp"

namespace diagpanel {

struct ReplayOptions {
    u32 board = 0;
    std::optional<u8> severity;      // for every SEL record that sets none itself
    std::map<u8, std::string> names; // sensor names
    bool listInputs = false;         // a timeline line for every input, not only for effects
    std::size_t total = 0;           // inputs to come, for the progress line; 0: none
    // Inputs posted before their effects are written out: 1 writes each out before play()
    // returns; more keep the library's intake busy instead of waiting for it input by input.
    // The timeline is the same.
    std::size_t batch = 1;
};

// Maps each input onto the virtual clock: SEL timestamps as they pass (pre-init ones counted
// from the start of their file, FFFFFFFFh right after the previous record), scenario offsets
// from the start of their file; time never runs backwards.
class TimeMap
{
  public:
    // A new file begins now; returns its start on the virtual clock.
    uint64_t beginFile() { return fileStart_ = now_; }
    uint64_t place(const Item &item);
    std::optional<int64_t> selClock(uint64_t time) const;

  private:
    uint64_t now_ = 0;
    uint64_t fileStart_ = 0;
    std::optional<u32> firstReal_; // the first timestamp of the SEL clock, and its virtual time
    uint64_t realBase_ = 0;
};

struct Step {
    uint64_t time;
    std::optional<u32> code; // none: nothing written (diagnostic mode, a failed step)
    unsigned seconds;        // until the next step
    bool operator==(const Step &o) const { return code == o.code && seconds == o.seconds; }
};

// The longest tail of steps that repeats with a period of P steps at least `times` times:
// {first step of the tail, P}, looking at steps from `from` on.
struct Period {
    std::size_t start;
    std::size_t length;
};
std::optional<Period> periodicTail(std::span<const Step> steps, std::size_t from,
                                   std::size_t times);

class Replay
{
  public:
    Replay(ReplayOptions options, std::vector<Sink *> sinks);
    // Starts the library; false (with why) when it cannot run.
    bool start(std::string &why);
    uint64_t beginFile() { return times_.beginFile(); }
    void play(const Item &item);
    // Writes out what is said of the inputs' source itself (what follow says of the BMC), after
    // the effects of every input played so far.
    void tell(Event event);
    // From now on each input's effects are written out before play() returns (batch 1): a live
    // run after a batch of restored ones.
    void oneByOne();
    // The time, on the clock of play()'s items, before which the display takes no step.
    uint64_t quietUntil() const { return horizon_; }
    // The code the panel shows after the last display step taken, written out or not yet.
    std::optional<u32> showing() const;
    // The display has shown one code, step after step, since the latest input: it shows nothing
    // else until the next one (a live run need not step it meanwhile).
    bool still() const;
    // Writes the summary. A replay first runs the display on until its cycle is steady, as the
    // firmware would be left; a live run (`runOn` false) stops where its clock is.
    void finish(std::size_t problems, bool runOn = true);

  private:
    // An input played (a platform setting applied), its effects not yet written out.
    struct InFlight {
        Item item;
        uint64_t at;
        TimeMap times; // as it was when the input was placed
        int result;    // of the post
        // Display steps asked for after its frame, while the next is due before then.
        std::optional<uint64_t> stepsUntil;
    };

    // The input whose effects are being written out, described at the first line it causes and
    // not again for the others.
    struct Cause {
        const Item &item;
        std::string source;
        std::string record;
        void describe();
    };

    uint64_t now() const;
    void runUntil(uint64_t time);
    void step();
    void stepped(const host::DisplayStep &taken, uint64_t seconds,
                 const std::vector<HOST_LOG_LINE_S> &warnings,
                 const std::vector<DIAG_PANEL_MSG_S> &table);
    void skip(const host::Skipped &skipped);
    bool drain();
    bool stepsAfterLatest(uint64_t at);
    void post(bool all = true);
    void refused();
    void collect(std::chrono::milliseconds wait, std::size_t left = 0);
    int apply(const Item &item);
    void settle();
    // `table`: the fault table after the input, when not the effects' own.
    void writeOut(const InFlight &input, const host::Effects *effects,
                  const std::vector<DIAG_PANEL_MSG_S> *table = nullptr);
    void written(const InFlight &input, const host::Effects *effects,
                 const std::vector<DIAG_PANEL_MSG_S> *table);
    void changes(Cause *cause, const std::vector<HOST_LOG_LINE_S> &warnings,
                 const std::vector<DIAG_PANEL_MSG_S> &table);
    void emit(Event event, Cause *cause);
    // Writes out the panel's pending steps; a repeat reaches no further than `upTo`, the time of
    // the input that ends it.
    void flushPanel(uint64_t upTo = UINT64_MAX);
    void progress(bool last = false);

    ReplayOptions options_;
    std::vector<Sink *> sinks_;
    std::optional<host::Session> session_; // from start() on
    TimeMap times_;
    const TimeMap *clockOf_ = &times_; // the SEL clock of the events being written out
    std::deque<InFlight> inFlight_;
    std::size_t sent_ = 0; // of inFlight_, those whose frames are posted
    // The time before which the display takes no step: exact once every outcome is in, else a
    // lower bound, the last time steps were asked for up to.
    uint64_t horizon_ = 0;
    uint64_t current_ = 0; // the time of the input or display step in hand
    unsigned parked_ = 0;  // seconds of the display's pending sleep
    uint64_t skipped_ = 0; // virtual seconds of whole cycles not stepped
    uint64_t skippedCycles_ = 0;
    std::vector<Step> pending_;   // display steps not yet written out
    std::size_t settledFrom_ = 0; // the first pending step after the latest input
    std::optional<u32> shown_;    // the code last written out
    std::vector<DIAG_PANEL_MSG_S> table_;
    std::size_t announced_ = 0; // 1 + the input whose line the timeline showed last
    std::size_t played_ = 0;
    std::chrono::steady_clock::time_point lastProgress_{};
};

} // namespace diagpanel
