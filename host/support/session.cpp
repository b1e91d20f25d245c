// SPDX-License-Identifier: Apache-2.0
#include "host_support/session.hpp"

#include <array>
#include <cstring>
#include <sched.h>
#include <utility>

#include <platform/platform.h>

#include <host_platform/virtual_clock.hpp>
#include <host_platform/yield_wait.hpp>
#include "host_support/frames.hpp"
#include "host_support/intake.hpp"
#include "host_support/private_var.hpp"
#include "host_support/table.hpp"
#include "session_pipe.hpp"

namespace host {

namespace {

constexpr u32 kHalHandle = 0x5A;
constexpr unsigned kFans = 256;          // every fan number a record can name
constexpr u32 kWarningLevel = 4;         // log levels up to this one are warnings or worse
constexpr unsigned kDiagModeSeconds = 1; // the display thread's sleep while the firmware's
                                         // diagnostic mode owns the panel
constexpr unsigned kStepSeconds = 4;     // taken as the sleep of a step that slept none
constexpr std::size_t kRunBytes = 4096;  // frames gathered for one write: a page of the pipe

// The session whose frames are tracked; at most one.
std::atomic<Session *> g_tracked{nullptr};

// One turn of the display thread's loop, as DIAG_PANEL_DisplayTask takes it.
void displayTurn()
{
    if (__atomic_load_n(&g_diag_mode_flag, __ATOMIC_RELAXED) == 1) {
        sleep(kDiagModeSeconds);
    } else {
        (void)DIAG_PANEL_StateProcess();
    }
}

std::optional<u32> latestCode()
{
    const u32 codes = HOST_PanelCount();
    return codes > 0 ? std::optional<u32>(HOST_PanelCode(codes - 1)) : std::nullopt;
}

} // namespace

std::vector<DIAG_PANEL_MSG_S> faultTable()
{
    std::vector<DIAG_PANEL_MSG_S> out;
    for (const TableEntry &entry : tableSnapshot()) {
        out.push_back(entry.msg);
    }
    return out;
}

Session::Session(SessionSetup setup)
    : setup_(std::move(setup)), run_(std::make_unique<GatheredWrites>())
{
    privateVar_ = usePrivateVar();
    HOST_LogEcho(0);
    if (setup_.board) {
        HOST_SetBoardId(*setup_.board);
    }
    for (const auto &[number, name] : setup_.names) {
        HOST_SensorSetName(number, name.c_str());
    }
    for (unsigned fan = 0; setup_.fansFailing && fan < kFans; ++fan) {
        HOST_FanSetError(static_cast<u8>(fan), 1);
    }
    if (!setup_.journals) {
        HOST_JournalKeep(0);
    }
    HOST_LogHook(onLog, this);
}

Session::~Session()
{
    Session *self = this;
    if (g_tracked.compare_exchange_strong(self, nullptr)) {
        hookIntakeReads(nullptr);
    }
    HOST_LogHook(nullptr, nullptr); // returns once no hook runs: none runs on a dead session
}

std::optional<DisplayStep> Session::start()
{
    // The library's threads are created as batch work (they inherit the policy): a frame posted
    // then wakes the intake without preempting the poster, so a run of frames goes into the pipe
    // whole and the intake takes it in one go, where each frame would otherwise cost a switch
    // between the two threads, which the scheduler likes to keep on one processor.
    const int policy = sched_getscheduler(0);
    sched_param priority{};
    sched_getparam(0, &priority);
    const sched_param batch{};
    sched_setscheduler(0, SCHED_BATCH, &batch);
    const int started = DIAG_PANEL_init(kHalHandle);
    sched_setscheduler(0, policy, &priority);
    if (started != 0) {
        return std::nullopt;
    }
    const unsigned seconds = vclock::waitParked();
    if (seconds == 0) {
        return std::nullopt;
    }
    parked_ = seconds;
    return DisplayStep{latestCode(), seconds};
}

bool Session::startTable()
{
    return DIAG_PANEL_InitHashTable() == 0;
}

bool Session::startIntake(u32 board, u32 answering)
{
    HOST_Reset();
    HOST_SetBoardId(board);
    const bool started = DIAG_PANEL_TRANS_Init(kHalHandle) == 0;
    HOST_SetBoardId(answering);
    return started;
}

int Session::postSel(std::span<const u8> record, u8 severity)
{
    flush();
    return postFrame(DIAG_PANEL_MSG_TYPE_SEL, record, severity);
}

int Session::postEvent(u32 type, u8 percent)
{
    flush();
    return host::postEvent(type, percent);
}

u32 Session::mark()
{
    const u32 marker = nextMarker();
    return postEvent(marker) == 0 ? marker : 0;
}

// On the intake's thread (a marker) or the stepping one (a step's warnings).
void Session::onLog(const HOST_LOG_LINE_S *line, void *arg)
{
    if (line->uiLevel > kWarningLevel) {
        return;
    }
    auto &self = *static_cast<Session *>(arg);
    const std::optional<u32> marker = markerOf(line->acText);
    bool awaited = false;
    {
        std::lock_guard lock(self.mutex_);
        if (!marker) {
            self.lines_.push_back(*line);
            return;
        }
        // Steps wait for the intake, so the table holds still while frames are in flight.
        self.effects_.push_back({*marker, std::exchange(self.lines_, {}), faultTable()});
        if (self.setup_.emptyTableAtMarker) {
            DIAG_PANEL_LockFreeAllHashList();
        }
        self.lastMarker_ = *marker;
        awaited = *marker == self.awaited_;
    }
    if (awaited) {                 // the markers before it would wake the waiter for nothing
        self.marked_.notify_all(); // after the unlock: the woken waiter finds the mutex free
    }
}

std::deque<Effects> Session::waitFor(u32 marker, std::chrono::milliseconds timeout)
{
    const auto marked = [&] { return lastMarker_ == marker; };
    if (marker != 0) {
        yieldUntil(marked); // the intake takes a few frames faster than a wake-up
    }
    std::unique_lock lock(mutex_);
    if (marker != 0) {
        awaited_ = marker;
        marked_.wait_for(lock, timeout, marked);
        awaited_ = 0;
    }
    return std::exchange(effects_, {});
}

std::vector<HOST_LOG_LINE_S> Session::takeWarnings()
{
    std::lock_guard lock(mutex_);
    return std::exchange(lines_, {});
}

DisplayStep Session::step()
{
    outcomeTableKnown_.store(false, std::memory_order_relaxed);
    return takeStep();
}

DisplayStep Session::takeStep()
{
    const u32 before = HOST_PanelCount();
    const unsigned seconds = vclock::stepHere(displayTurn);
    parked_.store(seconds != 0 ? seconds : kStepSeconds, std::memory_order_relaxed);
    return {HOST_PanelCount() > before ? latestCode() : std::nullopt, seconds};
}

void Session::track()
{
    std::lock_guard lock(mutex_);
    posted_ = intakeBytesRead();
    g_tracked = this;
    hookIntakeReads(atIntakeRead);
}

int Session::postSel(std::span<const u8> record, u8 severity, StepsAfter after)
{
    return postTracked(DIAG_PANEL_MSG_TYPE_SEL, record, severity, after);
}

int Session::postEvent(u32 type, u8 percent, StepsAfter after)
{
    std::array<u8, DIAG_PANEL_EVENT_LEN> body{};
    memcpy(body.data(), &type, sizeof type);
    body[4] = percent;
    return postTracked(DIAG_PANEL_MSG_TYPE_EVENT, body, 0, after);
}

int Session::postTracked(u8 msgType, std::span<const u8> body, u8 severity, StepsAfter after)
{
    const uint64_t size = sizeof(DIAG_PANEL_PIPE_MSG_S) + body.size();
    if (run_->bytes.size() + size > kRunBytes) {
        flush();
    }
    gatherWrites(run_.get());
    const int result = postFrame(msgType, body, severity);
    gatherWrites(nullptr);
    if (result == 0) {
        posted_ += size;
        running_.push_back({posted_, after});
    }
    return result;
}

// The run of frames into the pipe, their boundaries queued first: the intake may take them at
// once, and would otherwise find no boundary and block in its next read with an outcome left
// behind. The pipe is the library's own, open for reading and writing, so it takes a run whole;
// were it ever to take less, the frames left out would not be taken, and a wait would say so.
void Session::flush()
{
    if (running_.empty()) {
        return;
    }
    {
        std::lock_guard lock(mutex_);
        boundaries_.insert(boundaries_.end(), running_.begin(), running_.end());
        firstEnd_ = boundaries_.front().end;
        untaken_.store(boundaries_.size() + (closing_ ? 1 : 0), std::memory_order_release);
    }
    running_.clear();
    (void)writeGathered(*run_);
}

void Session::atIntakeRead(uint64_t consumed)
{
    Session *self = g_tracked.load(std::memory_order_acquire);
    if (self == nullptr || consumed < self->firstEnd_.load(std::memory_order_acquire)) {
        return;
    }
    // Frames are longer than a read's step, so one frame at most ended since the previous read;
    // the loop is for safety.
    for (;;) {
        Boundary boundary{};
        {
            std::lock_guard lock(self->mutex_);
            if (self->boundaries_.empty() || self->boundaries_.front().end > consumed) {
                self->firstEnd_ =
                    self->boundaries_.empty() ? UINT64_MAX : self->boundaries_.front().end;
                self->closing_ = false;
                self->untaken_.store(self->boundaries_.size(), std::memory_order_release);
                if (self->awaitedLeft_ != kNotWaiting &&
                    self->boundaries_.size() <= self->awaitedLeft_) {
                    self->caughtUp_.notify_all();
                }
                return;
            }
            boundary = self->boundaries_.front();
            self->boundaries_.pop_front();
            self->closing_ = true;
            self->untaken_.store(self->boundaries_.size() + 1, std::memory_order_release);
        }
        self->frameTaken(boundary);
    }
}

// On the intake's thread, in its read(): the frame's outcome, then the steps asked for after it.
void Session::frameTaken(const Boundary &boundary)
{
    Outcome frame;
    frame.table = tableIfChanged();
    {
        std::lock_guard lock(mutex_);
        frame.warnings = std::exchange(lines_, {});
        outcomes_.push_back(std::move(frame));
    }
    const StepsAfter &after = boundary.after;
    const auto next = [&] {
        return vclock::now() + parked_.load(std::memory_order_relaxed) +
               skipped_.load(std::memory_order_relaxed);
    };
    std::vector<DisplayStep> since;
    while (next() < after.until) {
        Outcome step;
        step.step = true;
        if (after.skip != nullptr) {
            step.skipped = after.skip(since, after.until - next());
            skipped_.fetch_add(step.skipped.seconds, std::memory_order_relaxed);
        }
        step.display = takeStep();
        step.seconds = vclock::now();
        step.table = tableIfChanged();
        since.push_back(step.display);
        std::lock_guard lock(mutex_);
        step.warnings = std::exchange(lines_, {});
        outcomes_.push_back(std::move(step));
    }
}

// The fault table, unless it is the latest outcome's: compared in place, so that an unchanged
// table (most frames and steps) costs no copy, here or in the caller.
std::optional<std::vector<DIAG_PANEL_MSG_S>> Session::tableIfChanged()
{
    bool same = outcomeTableKnown_.load(std::memory_order_relaxed);
    std::size_t at = 0;
    pthread_mutex_lock(&g_HashMutex);
    for (u32 bucket = 0;
         same && g_stHashHandle.ppstList != nullptr && bucket < g_stHashHandle.uiListNum;
         ++bucket) {
        for (const DIAG_PANEL_NODE_S *node = g_stHashHandle.ppstList[bucket];
             same && node != nullptr; node = node->pstNext, ++at) {
            same = at < outcomeTable_.size() &&
                   memcmp(&outcomeTable_[at], &node->stMsg, sizeof node->stMsg) == 0;
        }
    }
    pthread_mutex_unlock(&g_HashMutex);
    if (same && at == outcomeTable_.size()) {
        return std::nullopt;
    }
    outcomeTable_ = faultTable();
    outcomeTableKnown_.store(true, std::memory_order_relaxed);
    return outcomeTable_;
}

std::deque<Outcome> Session::outcomes(std::chrono::milliseconds timeout, bool *complete,
                                      std::size_t left)
{
    if (timeout.count() > 0) {
        flush();
    }
    // Without a wait, not for the mutex either: the intake takes it a few times a frame, and what
    // it is putting in comes out at the next call.
    std::unique_lock lock(mutex_, std::defer_lock);
    if (timeout.count() > 0) {
        lock.lock();
    } else if (!lock.try_lock()) {
        if (complete != nullptr) {
            *complete = false;
        }
        return {};
    }
    const auto in = [&] { return boundaries_.size() <= left && (left > 0 || !closing_); };
    if (timeout.count() > 0 && !in()) {
        lock.unlock();
        yieldUntil([&] { return untaken_.load(std::memory_order_acquire) <= left; });
        lock.lock();
        awaitedLeft_ = left;
        caughtUp_.wait_for(lock, timeout, in);
        awaitedLeft_ = kNotWaiting;
    }
    if (complete != nullptr) {
        *complete = in();
    }
    return std::exchange(outcomes_, {});
}

uint64_t Session::seconds() const
{
    return vclock::now();
}

void Session::skipped(uint64_t seconds)
{
    skipped_.fetch_add(seconds, std::memory_order_relaxed);
}

} // namespace host
