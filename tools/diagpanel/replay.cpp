// SPDX-License-Identifier: Apache-2.0
#include "tools/diagpanel/replay.hpp"

#include <algorithm>
#include <cstring>
#include <span>
#include <string>
#include <utility>

#include <diagpanel/diagpanel.h>
#include <platform/platform.h>

namespace diagpanel {

namespace {

constexpr u32 kPreInit = 0x20000000u; // SEL timestamps below count from the controller's start
constexpr unsigned kStepSeconds = 4;
constexpr std::size_t kMaxPeriod = 512;          // display steps in the longest cycle looked for
constexpr std::size_t kSettleSteps = 8;          // after an input, before a cycle may be skipped
constexpr std::size_t kTailSteps = 4096;         // at the end, the longest wait for a steady cycle
constexpr auto kWait = std::chrono::seconds(10); // for the intake to take what was posted
constexpr std::size_t kPostRun = 16;             // inputs posted at once, while the tool reads on
constexpr auto kProgressEvery = std::chrono::milliseconds(100);

// "10 s", for the warnings that say what was waited for in vain.
std::string waited()
{
    return std::to_string(kWait.count()) + " s";
}

bool sameEntry(const DIAG_PANEL_MSG_S &a, const DIAG_PANEL_MSG_S &b)
{
    return a.usFaultType == b.usFaultType && a.ucIndex == b.ucIndex;
}

} // namespace

uint64_t TimeMap::place(const Item &item)
{
    uint64_t at = now_;
    switch (item.timing) {
    case Timing::SelTimestamp: {
        const u32 stamp = item.sel[3] | item.sel[4] << 8 | item.sel[5] << 16 |
                          static_cast<u32>(item.sel[6]) << 24;
        if (stamp < kPreInit) {
            at = fileStart_ + stamp;
        } else if (!firstReal_) {
            firstReal_ = stamp;
            realBase_ = now_;
        } else if (stamp >= *firstReal_) {
            at = realBase_ + (stamp - *firstReal_);
        }
        break;
    }
    case Timing::AfterPrevious:
        break;
    case Timing::Offset:
        at = fileStart_ + item.offset;
        break;
    case Timing::OneStepLater:
        at = now_ + kStepSeconds;
        break;
    }
    now_ = std::max(now_, at);
    return now_;
}

std::optional<int64_t> TimeMap::selClock(uint64_t time) const
{
    if (!firstReal_) {
        return std::nullopt;
    }
    return static_cast<int64_t>(*firstReal_) + static_cast<int64_t>(time) -
           static_cast<int64_t>(realBase_);
}

std::optional<Period> periodicTail(std::span<const Step> steps, std::size_t from, std::size_t times)
{
    const std::size_t n = steps.size();
    std::optional<Period> best;
    for (std::size_t p = 1; p <= kMaxPeriod && from + p * times <= n; ++p) {
        std::size_t start = n - p;
        while (start > from && steps[start - 1] == steps[start - 1 + p]) {
            --start;
        }
        if (n - start >= p * times && (!best || start < best->start)) {
            best = Period{start, p};
        }
    }
    return best;
}

namespace {

// The seconds until the step after `taken`: its sleep, or a step's when it slept none (a failed
// step, reported as such).
unsigned secondsAfter(const host::DisplayStep &taken)
{
    return taken.seconds != 0 ? taken.seconds : kStepSeconds;
}

// Whether to look for a steady cycle once `settled` steps have passed since the latest input:
// after 8, then at each power of two and every 64 (a cycle found once stays found).
bool lookForCycle(std::size_t settled)
{
    return settled >= kSettleSteps && ((settled & (settled - 1)) == 0 || settled % 64 == 0);
}

// Nothing changes while the display repeats a steady cycle: whole cycles up to the next input are
// left out, not stepped, so that a capture spanning months replays in a second. From the steps
// since the latest input and the seconds from the next step to the next input; one cycle at
// least is left to step.
host::Skipped cyclesToSkip(std::span<const Step> since, uint64_t gap)
{
    if (!lookForCycle(since.size())) {
        return {};
    }
    const std::optional<Period> period = periodicTail(since, 0, 3);
    if (!period) {
        return {};
    }
    uint64_t seconds = 0;
    for (std::size_t i = 0; i < period->length; ++i) {
        seconds += since[since.size() - 1 - i].seconds;
    }
    const uint64_t cycles = gap / seconds;
    return cycles >= 2 ? host::Skipped{(cycles - 1) * seconds, cycles - 1} : host::Skipped{};
}

// The same for the steps the intake's thread takes after a frame.
host::Skipped cyclesToSkipAfterFrame(std::span<const host::DisplayStep> since, uint64_t gap)
{
    if (!lookForCycle(since.size())) {
        return {};
    }
    std::vector<Step> steps;
    steps.reserve(since.size());
    for (const host::DisplayStep &taken : since) {
        steps.push_back({0, taken.code, secondsAfter(taken)});
    }
    return cyclesToSkip(steps, gap);
}

} // namespace

Replay::Replay(ReplayOptions options, std::vector<Sink *> sinks)
    : options_(std::move(options)), sinks_(std::move(sinks))
{
}

bool Replay::start(std::string &why)
{
    host::SessionSetup setup;
    setup.board = options_.board;
    setup.names = options_.names;
    setup.fansFailing = true; // a fan fault in a capture was confirmed by the fan control
    // A long replay, or a BMC watched for months, would otherwise hold the newest 16,384 log
    // lines in the stand-in, 8 MiB, beside those the session takes.
    setup.journals = false;
    host::Session &session = session_.emplace(std::move(setup));
    const std::optional<host::DisplayStep> first = session.start();
    if (!first) {
        why = "the library did not start";
        return false;
    }
    parked_ = first->seconds;
    if (session.mark() == 0) {
        why = session.privateVar() ? "the library's intake did not start"
                                   : "cannot create " DIAG_PANEL_PIPE_PATH
                                     " (no private /var: run as root, or allow user namespaces)";
        return false;
    }
    session.takeWarnings();
    pending_.push_back({0, first->code, parked_});
    if (!drain()) {
        return false;
    }
    session.track();
    horizon_ = now() + parked_;
    return true;
}

uint64_t Replay::now() const
{
    return session_->seconds() + skipped_;
}

bool Replay::drain()
{
    const u32 marker = session_->mark();
    const std::deque<host::Effects> effects = session_->waitFor(marker, kWait);
    return marker != 0 && !effects.empty() && effects.back().marker == marker;
}

void Replay::play(const Item &item)
{
    const uint64_t at = times_.place(item);
    if (horizon_ < at && !stepsAfterLatest(at)) {
        settle(); // steps here see every frame before them taken
        runUntil(at);
        horizon_ = now() + parked_;
    }
    if (item.kind == Item::Kind::Wait) {
        return;
    }
    if (item.kind != Item::Kind::Sel && item.kind != Item::Kind::Event) {
        settle(); // a platform setting applies to the frames after it only
        const InFlight input{item, at, times_, apply(item), std::nullopt};
        const host::Effects effects{0, session_->takeWarnings(), host::faultTable()};
        writeOut(input, &effects);
        return;
    }
    inFlight_.push_back({item, at, times_, 0, std::nullopt});
    const std::size_t batch = std::max<std::size_t>(options_.batch, 1);
    if (batch == 1) {
        settle();
        return;
    }
    if (inFlight_.size() - sent_ <= kPostRun) {
        return;
    }
    post(false);
    if (inFlight_.size() >= batch) {
        collect(std::chrono::milliseconds(0)); // whatever is in, without waiting
        if (inFlight_.size() >= 2 * batch) {
            collect(kWait, batch); // the intake kept busy with the rest meanwhile
        }
    }
}

// The display's steps up to `at` are asked of the intake's thread, after the latest input's frame,
// when the latest input is a frame not yet posted with none asked yet: the replay goes on without
// waiting for the intake, which leaves out the whole cycles of a steady display as runUntil()
// would.
bool Replay::stepsAfterLatest(uint64_t at)
{
    if (inFlight_.size() == sent_ || inFlight_.back().stepsUntil) {
        return false;
    }
    inFlight_.back().stepsUntil = at;
    horizon_ = at;
    return true;
}

// The frames of the inputs not yet posted, back to back: the intake takes them without waiting in
// read() between two, and each wait there costs a wake-up. The latest waits (unless `all`) until
// the steps after it are known.
void Replay::post(bool all)
{
    while (sent_ + (all ? 0 : 1) < inFlight_.size()) {
        InFlight &input = inFlight_[sent_];
        const host::StepsAfter after =
            input.stepsUntil ? host::StepsAfter{*input.stepsUntil, cyclesToSkipAfterFrame}
                             : host::StepsAfter{};
        const u8 severity = input.item.severity.value_or(options_.severity.value_or(0));
        input.result = input.item.kind == Item::Kind::Sel
                           ? session_->postSel(input.item.sel, severity, after)
                           : session_->postEvent(input.item.eventType, input.item.percent, after);
        ++sent_;
        if (input.result != 0) {
            refused();
        }
    }
}

// A frame the library refused has no outcome: the inputs before it are written out, then it, with
// what was logged meanwhile, then the steps asked for after it are taken here.
void Replay::refused()
{
    --sent_;
    InFlight input = std::move(inFlight_[sent_]);
    inFlight_.erase(inFlight_.begin() + static_cast<std::ptrdiff_t>(sent_));
    collect(kWait);
    const host::Effects effects{0, session_->takeWarnings(), host::faultTable()};
    writeOut(input, &effects);
    if (input.stepsUntil) {
        runUntil(*input.stepsUntil);
    }
    horizon_ = now() + parked_;
}

// Writes out what the library did, in order, as far as its outcomes are in; `wait`: until no more
// than `left` of the frames posted are still to be taken (none: every frame, with the steps after
// it). The intake not there within the wait is given up on.
void Replay::collect(std::chrono::milliseconds wait, std::size_t left)
{
    bool complete = false;
    std::deque<host::Outcome> outcomes = session_->outcomes(wait, &complete, left);
    for (host::Outcome &outcome : outcomes) {
        if (outcome.step) {
            skip(outcome.skipped);
            stepped(outcome.display, outcome.seconds, outcome.warnings,
                    outcome.table ? *outcome.table : table_);
            continue;
        }
        if (sent_ == 0) {
            continue; // of a frame given up on
        }
        const InFlight input = std::move(inFlight_.front());
        inFlight_.pop_front();
        --sent_;
        host::Effects effects{0, std::move(outcome.warnings), {}};
        if (outcome.table) {
            effects.table = std::move(*outcome.table);
        }
        writeOut(input, &effects, outcome.table ? nullptr : &table_);
    }
    for (; wait.count() > 0 && !complete && sent_ > 0; --sent_) {
        writeOut(inFlight_.front(), nullptr);
        inFlight_.pop_front();
    }
}

int Replay::apply(const Item &item)
{
    switch (item.kind) {
    case Item::Kind::Sel:
        return session_->postSel(item.sel, item.severity.value_or(options_.severity.value_or(0)));
    case Item::Kind::Event:
        return session_->postEvent(item.eventType, item.percent);
    case Item::Kind::DiagMode:
        __atomic_store_n(&g_diag_mode_flag, item.on ? 1u : 0u, __ATOMIC_RELAXED);
        break;
    case Item::Kind::SensorName:
        HOST_SensorSetName(item.number, item.name.c_str());
        break;
    case Item::Kind::FanError:
        HOST_FanSetError(static_cast<u8>(item.number - 1), item.on ? 1 : 0);
        break;
    case Item::Kind::PostCodes:
        HOST_PostSetCodes(item.codes.data(), static_cast<int>(item.codes.size()));
        break;
    case Item::Kind::Wait:
        break;
    }
    return 0;
}

// Writes out what each input in flight did, in order, as if each had been waited for alone.
void Replay::settle()
{
    post();
    collect(kWait); // also when nothing is in flight: steps after the latest may be under way
    horizon_ = now() + parked_;
}

void Replay::writeOut(const InFlight &input, const host::Effects *effects,
                      const std::vector<DIAG_PANEL_MSG_S> *table)
{
    const TimeMap *times = std::exchange(clockOf_, &input.times);
    written(input, effects, table);
    clockOf_ = times;
}

void Replay::written(const InFlight &input, const host::Effects *effects,
                     const std::vector<DIAG_PANEL_MSG_S> *table)
{
    if (skippedCycles_ > 0) {
        flushPanel(input.at); // a skipped stretch ends with the input that follows it
    }
    current_ = input.at;
    const Item &item = input.item;
    Cause cause{item, {}, {}};
    if (item.kind != Item::Kind::Sel || options_.listInputs) {
        Event line;
        line.kind = Event::Kind::Input;
        cause.describe();
        line.text = cause.record;
        emit(line, &cause);
    }
    if (input.result != 0) {
        Event failed;
        failed.kind = Event::Kind::Warning;
        failed.level = 2;
        failed.text = "could not post the record (DIAG_PANEL_TRANS_postMessage failed)";
        emit(failed, &cause);
    }
    if (effects == nullptr) {
        Event stuck;
        stuck.kind = Event::Kind::Warning;
        stuck.level = 2;
        stuck.text = "the library's intake did not take the record within " + waited();
        emit(stuck, &cause);
    }
    if (table == nullptr) {
        table = effects != nullptr ? &effects->table : &table_;
    }
    changes(&cause, effects != nullptr ? effects->warnings : std::vector<HOST_LOG_LINE_S>{},
            *table);
    settledFrom_ = pending_.size();
    ++played_;
    progress();
}

// The library's warnings and the table's changes, as timeline events.
void Replay::changes(Cause *cause, const std::vector<HOST_LOG_LINE_S> &warnings,
                     const std::vector<DIAG_PANEL_MSG_S> &table)
{
    for (const HOST_LOG_LINE_S &line : warnings) {
        Event warning;
        warning.kind = Event::Kind::Warning;
        warning.level = line.uiLevel;
        warning.text = line.acText;
        emit(warning, cause);
    }
    if (&table == &table_) {
        return; // unchanged
    }
    for (const DIAG_PANEL_MSG_S &old : table_) {
        if (std::none_of(table.begin(), table.end(),
                         [&](const DIAG_PANEL_MSG_S &m) { return sameEntry(m, old); })) {
            Event removed;
            removed.kind = Event::Kind::Fault;
            removed.change = '-';
            removed.msg = old;
            emit(removed, cause);
        }
    }
    for (const DIAG_PANEL_MSG_S &entry : table) {
        const auto was = std::find_if(table_.begin(), table_.end(), [&](const DIAG_PANEL_MSG_S &m) {
            return sameEntry(m, entry);
        });
        if (was != table_.end() && memcmp(&*was, &entry, sizeof entry) == 0) {
            continue;
        }
        Event changed;
        changed.kind = Event::Kind::Fault;
        changed.change = was == table_.end() ? '+' : '~';
        changed.msg = entry;
        changed.was = was == table_.end() ? DIAG_PANEL_MSG_S{} : *was;
        emit(changed, cause);
    }
    table_ = table;
}

void Replay::tell(Event event)
{
    settle();
    emit(std::move(event), nullptr);
}

void Replay::oneByOne()
{
    settle();
    options_.batch = 1;
}

void Replay::Cause::describe()
{
    if (record.empty()) {
        source = item.source.where();
        record = item.describe();
    }
}

void Replay::emit(Event event, Cause *cause)
{
    if (event.kind != Event::Kind::Panel && event.kind != Event::Kind::Repeat) {
        flushPanel(current_);
        event.time = current_;
    }
    event.sel = clockOf_->selClock(event.time);
    if (cause != nullptr) {
        cause->describe();
        event.source = cause->source;
        event.record = cause->record;
        if (cause->item.kind == Item::Kind::Sel) {
            event.raw = cause->item.sel;
        }
        if (event.kind != Event::Kind::Input && announced_ != played_ + 1) {
            Event input = event; // what caused the lines that follow
            input.kind = Event::Kind::Input;
            input.text = event.record;
            for (Sink *sink : sinks_) {
                sink->event(input);
            }
        }
        announced_ = played_ + 1;
    }
    for (Sink *sink : sinks_) {
        sink->event(event);
    }
}

void Replay::runUntil(uint64_t time)
{
    // Records at a step's time are posted before that step.
    while (now() + parked_ < time) {
        const std::span<const Step> since(
            pending_.begin() + static_cast<std::ptrdiff_t>(settledFrom_), pending_.end());
        const host::Skipped skipped = cyclesToSkip(since, time - (now() + parked_));
        skip(skipped);
        session_->skipped(skipped.seconds);
        if (now() + parked_ < time) {
            step();
        }
    }
}

void Replay::step()
{
    const host::DisplayStep taken = session_->step();
    stepped(taken, session_->seconds(), session_->takeWarnings(), host::faultTable());
}

// A display step's results as the timeline tells them; `seconds`: the display's after it.
void Replay::stepped(const host::DisplayStep &taken, uint64_t seconds,
                     const std::vector<HOST_LOG_LINE_S> &warnings,
                     const std::vector<DIAG_PANEL_MSG_S> &table)
{
    const uint64_t at = seconds + skipped_;
    current_ = at;
    parked_ = secondsAfter(taken);
    pending_.push_back({at, taken.code, parked_});
    if (taken.seconds == 0) {
        Event stuck;
        stuck.kind = Event::Kind::Warning;
        stuck.level = 2;
        stuck.text = "the display step did not end in its sleep";
        emit(stuck, nullptr);
    }
    changes(nullptr, warnings, table); // the display step's own
}

void Replay::skip(const host::Skipped &skipped)
{
    skipped_ += skipped.seconds;
    skippedCycles_ += skipped.cycles;
}

std::optional<u32> Replay::showing() const
{
    const auto last = std::find_if(pending_.rbegin(), pending_.rend(),
                                   [](const Step &s) { return s.code.has_value(); });
    return last != pending_.rend() ? last->code : shown_;
}

bool Replay::still() const
{
    if (pending_.size() < settledFrom_ + kSettleSteps) {
        return false;
    }
    const std::optional<Period> period = periodicTail(pending_, settledFrom_, kSettleSteps);
    return period && period->length == 1;
}

void Replay::flushPanel(uint64_t upTo)
{
    if (pending_.empty()) {
        return;
    }
    const std::optional<Period> period = periodicTail(pending_, 0, 2);
    const std::size_t cycleStart = period ? period->start : pending_.size();
    const std::size_t cycleEnd = period ? period->start + period->length : pending_.size();
    for (std::size_t i = 0; i < cycleEnd; ++i) {
        const Step &s = pending_[i];
        if (s.code && (s.code != shown_ || i == cycleStart)) {
            Event panel;
            panel.time = s.time;
            panel.code = *s.code;
            emit(panel, nullptr);
            shown_ = s.code;
        }
    }
    if (period) {
        Event repeat;
        repeat.kind = Event::Kind::Repeat;
        repeat.time = pending_[cycleEnd].time;
        repeat.until = std::min(pending_.back().time + pending_.back().seconds, upTo);
        repeat.times = (pending_.size() - period->start) / period->length + skippedCycles_;
        for (std::size_t i = period->start; i < cycleEnd; ++i) {
            repeat.period += pending_[i].seconds;
            repeat.cycle.push_back(pending_[i].code.value_or(0));
        }
        emit(repeat, nullptr);
        shown_ = showing();
    }
    pending_.clear();
    settledFrom_ = 0;
    skippedCycles_ = 0;
}

void Replay::finish(std::size_t problems, bool runOn)
{
    settle();
    // Run on until the display settles into a cycle, as a firmware would leave it.
    std::optional<Period> period;
    for (std::size_t n = 0; runOn && n < kTailSteps; ++n) {
        step();
        if (pending_.size() >= settledFrom_ + kSettleSteps &&
            (period = periodicTail(pending_, settledFrom_, 3))) {
            break;
        }
    }
    if (!runOn && pending_.size() >= settledFrom_ + kSettleSteps) {
        period = periodicTail(pending_, settledFrom_, 3); // the cycle, if the clock has seen it
    }
    Summary summary;
    if (period) {
        for (std::size_t i = period->start; i < period->start + period->length; ++i) {
            summary.cycle.push_back(pending_[i].code.value_or(0));
            summary.period += pending_[i].seconds;
        }
    }
    flushPanel();
    progress(true);
    summary.time = runOn ? now() + parked_ : std::max(now(), current_);
    summary.sel = times_.selClock(summary.time);
    summary.faults = host::faultTable();
    summary.records = played_;
    summary.problems = problems;
    summary.live = !runOn;
    for (Sink *sink : sinks_) {
        sink->end(summary);
    }
}

void Replay::progress(bool last)
{
    if (options_.total == 0) {
        return;
    }
    const auto t = std::chrono::steady_clock::now();
    if (last) {
        fputs("\r\033[K", stderr);
    } else if (t - lastProgress_ > kProgressEvery) {
        lastProgress_ = t;
        fprintf(stderr, "\r\033[K%zu/%zu inputs, virtual time %s", played_, options_.total,
                clock(now()).c_str());
    }
}

} // namespace diagpanel
