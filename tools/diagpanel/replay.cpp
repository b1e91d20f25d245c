// SPDX-License-Identifier: Apache-2.0
#include "tools/diagpanel/replay.hpp"

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <unistd.h>
#include <utility>

#include <diagpanel/diagpanel.h>
#include <platform/platform.h>

#include <host_platform/diagpanel_host.h>
#include <host_platform/yield_wait.hpp>
#include <host_platform/virtual_clock.hpp>
#include "host_support/private_var.hpp"

namespace diagpanel {

namespace {

constexpr u32 kHalHandle = 0x5A;
constexpr u32 kPreInit = 0x20000000u; // SEL timestamps below count from the controller's start
constexpr unsigned kStepSeconds = 4;
constexpr std::size_t kMaxPeriod = 512;  // display steps in the longest cycle looked for
constexpr std::size_t kSettleSteps = 8;  // after an input, before a cycle may be skipped
constexpr std::size_t kTailSteps = 4096; // at the end, the longest wait for a steady cycle
constexpr u32 kWaitMs = 10000;

// Markers: display events of a type the intake refuses with a warning that names it. Once a
// marker's line is logged, every frame posted before it has been taken.
constexpr u32 kMarkerBase = 0xD1A60000u;
constexpr u32 kMarkerMask = 0xFFFF0000u;

// What the library logged at warning level or above, as it comes; at each marker, the lines
// logged since the marker before it and the fault table as it then is: the effects of the
// frames between the two, taken on the intake's thread while the next frames wait in the pipe.
struct Collected {
    std::mutex mutex;
    std::condition_variable marked;
    std::vector<HOST_LOG_LINE_S> lines;
    std::deque<Effects> effects;
    std::atomic<u32> lastMarker = 0; // changed under the mutex, read without it while yielding
};
Collected &collected()
{
    static Collected &instance = *new Collected; // library threads may log while the tool exits
    return instance;
}

std::vector<DIAG_PANEL_MSG_S> snapshot();

void keepWarning(const HOST_LOG_LINE_S *line, void *)
{
    if (line->uiLevel > 4) {
        return;
    }
    Collected &c = collected();
    std::lock_guard lock(c.mutex);
    const char *number = strstr(line->acText, "Unknown event type: ");
    const u32 marker = number != nullptr ? static_cast<u32>(strtoul(number + 20, nullptr, 16)) : 0;
    if ((marker & kMarkerMask) != kMarkerBase) {
        c.lines.push_back(*line);
        return;
    }
    // The display thread is parked while frames are in flight, so the table holds still.
    c.effects.push_back({marker, std::exchange(c.lines, {}), snapshot()});
    c.lastMarker = marker;
    c.marked.notify_all();
}

std::vector<HOST_LOG_LINE_S> takeWarnings()
{
    Collected &c = collected();
    std::lock_guard lock(c.mutex);
    return std::exchange(c.lines, {});
}

int post(u8 type, const u8 *body, u32 length, u8 severity)
{
    // Words, so that the header is aligned as a firmware caller's would be.
    u32 buffer[(sizeof(DIAG_PANEL_PIPE_MSG_S) + DIAG_PANEL_SEL_LEN) / sizeof(u32)] = {};
    auto *frame = reinterpret_cast<DIAG_PANEL_PIPE_MSG_S *>(buffer);
    frame->ucMsgType = type;
    frame->ucSelLevel = severity;
    frame->uiLen = length;
    memcpy(frame->aucBuf, body, length);
    return DIAG_PANEL_TRANS_postMessage(frame);
}

int postEvent(u32 type, u8 percent)
{
    u8 body[DIAG_PANEL_EVENT_LEN] = {};
    memcpy(body, &type, sizeof type);
    body[4] = percent;
    return post(DIAG_PANEL_MSG_TYPE_EVENT, body, sizeof body, 0);
}

// The fault table, bucket by bucket.
std::vector<DIAG_PANEL_MSG_S> snapshot()
{
    std::vector<DIAG_PANEL_MSG_S> out;
    pthread_mutex_lock(&g_HashMutex);
    for (u32 b = 0; g_stHashHandle.ppstList != nullptr && b < g_stHashHandle.uiListNum; ++b) {
        for (const DIAG_PANEL_NODE_S *n = g_stHashHandle.ppstList[b]; n != nullptr;
             n = n->pstNext) {
            out.push_back(n->stMsg);
        }
    }
    pthread_mutex_unlock(&g_HashMutex);
    return out;
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

std::optional<Period> periodicTail(const std::vector<Step> &steps, std::size_t from,
                                   std::size_t times)
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

Replay::Replay(ReplayOptions options, std::vector<Sink *> sinks)
    : options_(std::move(options)), sinks_(std::move(sinks))
{
}

bool Replay::start(std::string &why)
{
    const bool privateVar = host::usePrivateVar();
    HOST_LogEcho(0);
    HOST_SetBoardId(options_.board);
    for (const auto &[number, name] : options_.names) {
        HOST_SensorSetName(number, name.c_str());
    }
    // A fan fault in a capture was confirmed by the fan control when it was logged.
    for (unsigned fan = 0; fan < 256; ++fan) {
        HOST_FanSetError(static_cast<u8>(fan), 1);
    }
    HOST_LogHook(keepWarning, nullptr);
    if (DIAG_PANEL_init(kHalHandle) != 0 || vclock::waitParked() == 0) {
        why = "the library did not start";
        return false;
    }
    parked_ = vclock::waitParked();
    if (postEvent(0xD1A60000u, 0) != 0) {
        why = privateVar ? "the library's intake did not start"
                         : "cannot create " DIAG_PANEL_PIPE_PATH
                           " (no private /var: run as root, or allow user namespaces)";
        return false;
    }
    takeWarnings();
    const u32 codes = HOST_PanelCount();
    pending_.push_back(
        {0, codes > 0 ? std::optional<u32>(HOST_PanelCode(codes - 1)) : std::nullopt, parked_});
    return drain();
}

uint64_t Replay::now() const
{
    return vclock::now() + skipped_;
}

u32 Replay::postMarker()
{
    // Sixteen bits of sequence: far more than the frames ever in flight at once.
    marker_ = kMarkerBase | ((marker_ + 1) & 0xFFFFu);
    marker_ += (marker_ & 0xFFFFu) == 0 ? 1 : 0;
    return postEvent(marker_, 0) == 0 ? marker_ : 0;
}

std::deque<Effects> Replay::waitFor(u32 marker)
{
    Collected &c = collected();
    const auto marked = [&] { return c.lastMarker == marker; };
    if (marker != 0) {
        host::yieldUntil(marked); // the intake takes a few frames faster than a wake-up
    }
    std::unique_lock lock(c.mutex);
    if (marker != 0) {
        c.marked.wait_for(lock, std::chrono::milliseconds(kWaitMs), marked);
    }
    return std::exchange(c.effects, {});
}

bool Replay::drain()
{
    const u32 marker = postMarker();
    const std::deque<Effects> effects = waitFor(marker);
    return marker != 0 && !effects.empty() && effects.back().marker == marker;
}

void Replay::play(const Item &item)
{
    const uint64_t at = times_.place(item);
    if (now() + parked_ < at) {
        settle(); // the display steps only once every frame before it has been taken
        runUntil(at);
    }
    if (item.kind == Item::Kind::Wait) {
        return;
    }
    const bool posted = item.kind == Item::Kind::Sel || item.kind == Item::Kind::Event;
    if (!posted) {
        settle(); // a platform setting applies to the frames after it only
    }
    const int result = apply(item);
    inFlight_.push_back({item, at, times_, result, postMarker()});
    if (inFlight_.size() >= std::max<std::size_t>(options_.batch, 1)) {
        settle();
    }
}

int Replay::apply(const Item &item)
{
    switch (item.kind) {
    case Item::Kind::Sel:
        return post(DIAG_PANEL_MSG_TYPE_SEL, item.sel.data(), DIAG_PANEL_SEL_LEN,
                    item.severity.value_or(options_.severity.value_or(0)));
    case Item::Kind::Event:
        return postEvent(item.eventType, item.percent);
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
    if (inFlight_.empty()) {
        return;
    }
    std::deque<Effects> effects = waitFor(inFlight_.back().marker);
    for (InFlight &input : inFlight_) {
        const auto found = std::find_if(effects.begin(), effects.end(), [&](const Effects &e) {
            return input.marker != 0 && e.marker == input.marker;
        });
        effects.erase(effects.begin(), found);
        const TimeMap *times = std::exchange(clockOf_, &input.times);
        written(input, effects.empty() ? nullptr : &effects.front());
        clockOf_ = times;
        if (!effects.empty()) {
            effects.pop_front();
        }
    }
    inFlight_.clear();
}

void Replay::written(const InFlight &input, const Effects *effects)
{
    if (skippedCycles_ > 0) {
        flushPanel(input.at); // a skipped stretch ends with the input that follows it
    }
    current_ = input.at;
    const Item &item = input.item;
    if (item.kind != Item::Kind::Sel || options_.listInputs) {
        Event line;
        line.kind = Event::Kind::Input;
        line.text = item.describe();
        emit(line, &item);
    }
    if (input.result != 0) {
        Event failed;
        failed.kind = Event::Kind::Warning;
        failed.level = 2;
        failed.text = "could not post the record (DIAG_PANEL_TRANS_postMessage failed)";
        emit(failed, &item);
    }
    if (effects == nullptr) {
        Event stuck;
        stuck.kind = Event::Kind::Warning;
        stuck.level = 2;
        stuck.text = "the library's intake did not take the record within 10 s";
        emit(stuck, &item);
    }
    changes(&item, effects != nullptr ? effects->warnings : std::vector<HOST_LOG_LINE_S>{},
            effects != nullptr ? effects->table : table_);
    settledFrom_ = pending_.size();
    ++played_;
    progress();
}

// The library's warnings and the table's changes, as timeline events.
void Replay::changes(const Item *item, const std::vector<HOST_LOG_LINE_S> &warnings,
                     const std::vector<DIAG_PANEL_MSG_S> &table)
{
    for (const HOST_LOG_LINE_S &line : warnings) {
        Event warning;
        warning.kind = Event::Kind::Warning;
        warning.level = line.uiLevel;
        warning.text = line.acText;
        emit(warning, item);
    }
    for (const DIAG_PANEL_MSG_S &old : table_) {
        if (std::none_of(table.begin(), table.end(),
                         [&](const DIAG_PANEL_MSG_S &m) { return sameEntry(m, old); })) {
            Event removed;
            removed.kind = Event::Kind::Fault;
            removed.change = '-';
            removed.msg = old;
            emit(removed, item);
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
        emit(changed, item);
    }
    table_ = table;
}

void Replay::emit(Event event, const Item *item)
{
    if (event.kind != Event::Kind::Panel && event.kind != Event::Kind::Repeat) {
        flushPanel(current_);
        event.time = current_;
    }
    event.sel = clockOf_->selClock(event.time);
    if (item != nullptr) {
        event.source = item->source.where();
        event.record = item->describe();
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
        const std::size_t settled = pending_.size() - settledFrom_; // steps since the input
        if (settled >= kSettleSteps && ((settled & (settled - 1)) == 0 || settled % 64 == 0)) {
            trySkip(time);
        }
        if (now() + parked_ < time) {
            step();
        }
    }
}

void Replay::step()
{
    const u32 before = HOST_PanelCount();
    const unsigned next = vclock::step();
    const uint64_t at = now();
    current_ = at;
    const u32 after = HOST_PanelCount();
    pending_.push_back(
        {at, after > before ? std::optional<u32>(HOST_PanelCode(after - 1)) : std::nullopt,
         next != 0 ? next : kStepSeconds});
    parked_ = next != 0 ? next : kStepSeconds;
    if (next == 0) {
        Event stuck;
        stuck.kind = Event::Kind::Warning;
        stuck.level = 2;
        stuck.text = "the display thread did not come back to its sleep within 10 s";
        emit(stuck, nullptr);
    }
    changes(nullptr, takeWarnings(), snapshot()); // the display thread's own
}

// Nothing changes while the display repeats a steady cycle: whole cycles up to the next input
// are skipped, not stepped, so that a capture spanning months replays in a second.
void Replay::trySkip(uint64_t until)
{
    const std::optional<Period> period = periodicTail(pending_, settledFrom_, 3);
    if (!period) {
        return;
    }
    uint64_t seconds = 0;
    for (std::size_t i = 0; i < period->length; ++i) {
        seconds += pending_[pending_.size() - 1 - i].seconds;
    }
    const uint64_t gap = until - (now() + parked_);
    const uint64_t cycles = gap / seconds;
    if (cycles >= 2) {
        skipped_ += (cycles - 1) * seconds;
        skippedCycles_ += cycles - 1;
    }
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
        for (auto s = pending_.rbegin(); s != pending_.rend(); ++s) {
            if (s->code) {
                shown_ = s->code;
                break;
            }
        }
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
    summary.faults = snapshot();
    summary.records = played_;
    summary.problems = problems;
    summary.live = !runOn;
    for (Sink *sink : sinks_) {
        sink->end(summary);
    }
    HOST_LogHook(nullptr, nullptr);
}

void Replay::progress(bool last)
{
    if (options_.total == 0) {
        return;
    }
    const auto t = std::chrono::steady_clock::now();
    if (last) {
        fputs("\r\033[K", stderr);
    } else if (t - lastProgress_ > std::chrono::milliseconds(100)) {
        lastProgress_ = t;
        fprintf(stderr, "\r\033[K%zu/%zu inputs, virtual time %s", played_, options_.total,
                clock(now()).c_str());
    }
}

} // namespace diagpanel
