// SPDX-License-Identifier: Apache-2.0
#include "tools/diagpanel/watch/watcher.hpp"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <deque>
#include <mutex>
#include <unistd.h>

#include <nlohmann/json.hpp>

#include "tools/diagpanel/exit_codes.hpp"
#include "tools/diagpanel/timeline.hpp"
#include "tools/diagpanel/watch/fleet_view.hpp"
#include "tools/diagpanel/watch/panel_link.hpp"
#include "tools/diagpanel/watch/panel_model.hpp"
#include "tools/diagpanel/watch/panel_worker.hpp"
#include "tools/diagpanel/watch/readiness.hpp"
#include "tools/diagpanel/watch/step_pool.hpp"
#include "tools/diagpanel/watch/watched_bmc.hpp"
#include "tools/diagpanel/watch/web/web_server.hpp"

namespace diagpanel {

namespace {

using Clock = FollowClock;

constexpr unsigned kPoolThreads = 16;
constexpr std::chrono::seconds kInventoryCheck{2}; // target files looked at for changes
// A BMC's panel.json is rewritten at most once a second when its state, records or fault table
// changed, at most once a minute when only the code its panel shows did, and every ten minutes for
// its counters alone, which change at every poll. Each rewrite is a new file renamed over the old,
// which costs the file system far more than the bytes: counters rewritten once a minute were a
// third of the watcher's CPU over a thousand idle BMCs. The metrics and the wall have them at once.
constexpr std::chrono::seconds kStatusEvery{1};
constexpr std::chrono::seconds kCodeEvery{60};
constexpr std::chrono::minutes kCountersEvery{10};
constexpr std::chrono::seconds kLongestWorkerWait{60}; // between restarts of a failing worker
constexpr int kLoopTick = 1000;                        // ms: restarts and status are this late
constexpr const char *kStatusFile = "panel.json";
constexpr std::size_t kRecentEvents = 30; // of a BMC's, on its page

volatile sig_atomic_t g_stop = 0;
volatile sig_atomic_t g_reload = 0;
int g_wake = -1; // the loop's wake-up pipe, written by signals and pool threads

void wake()
{
    const char byte = 0;
    [[maybe_unused]] const ssize_t ignored = write(g_wake, &byte, 1);
}

void onSignal(int signal)
{
    const int saved = errno;
    (signal == SIGHUP ? g_reload : g_stop) = 1;
    wake();
    errno = saved;
}

void catchSignals()
{
    signal(SIGPIPE, SIG_IGN); // a worker gone, a reader of --events gone: told, not fatal
    struct sigaction action {
    };
    action.sa_handler = onSignal;
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
    sigaction(SIGHUP, &action, nullptr);
}

void say(const std::string &text)
{
    fprintf(stderr, "diagpanel watch: %s\n", text.c_str());
}

bool writeAll(int fd, std::string_view text)
{
    while (!text.empty()) {
        const ssize_t written = write(fd, text.data(), text.size());
        if (written < 0 && errno == EINTR) {
            continue;
        }
        if (written <= 0) {
            return false;
        }
        text.remove_prefix(static_cast<std::size_t>(written));
    }
    return true;
}

// Replaced whole, so that a reader never sees half of one.
void writeFileAtomically(const std::string &path, const std::string &text)
{
    const std::string temp = path + ".new";
    const int fd = open(temp.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (fd < 0) {
        return; // the state dir's failures are told by its store
    }
    const bool written = writeAll(fd, text);
    close(fd);
    if (!written || rename(temp.c_str(), path.c_str()) != 0) {
        unlink(temp.c_str());
    }
}

// The loop's own of one BMC: its panel worker and what its timeline says.
struct Panel {
    std::shared_ptr<WatchedBmc> bmc;
    PanelLink link;
    PanelModel model;
    bool restored = false; // the worker's timeline has caught up with what was kept
    Clock::time_point restartAt{};
    std::chrono::seconds restartWait{0};
    Clock::time_point startedAt{};
    bool changed = true;     // since panel.json was last written
    bool significant = true; // its fault table, or the worker's, since then
    Clock::time_point writtenAt{};
    WatchedBmc::Status written;
    bool fresh = true; // changed since the fleet's view of it
    WatchedBmc::Status viewed;
    std::deque<std::string> recent;         // its last events
    std::optional<WatchedBmc::Status> told; // in the events, its state
    std::string toldCode;                   // in the events, the code its panel shows
    int watchedOutput = -1;                 // the worker's pipes the loop waits on
    int watchedInput = -1;
    bool due = false; // in the loop's next pass
};

class Watcher
{
  public:
    explicit Watcher(WatchOptions options) : options_(std::move(options)) {}
    ~Watcher();
    int run();

  private:
    bool load(bool atStart);
    void follow(const Target &target);
    void letGo(const std::string &name);
    void addWaiting();
    void serve(Panel &panel, uint32_t events, Clock::time_point now);
    void startWorker(Panel &panel, Clock::time_point now) const;
    void workerEnded(Panel &panel, Clock::time_point now);
    void watchPipes(Panel &panel);
    void unwatchPipes(Panel &panel);
    void touch(Panel &panel);
    void pass(Clock::time_point now);
    void take(Panel &panel, const std::string &text);
    void publish(Panel &panel, Clock::time_point now);
    void writeStatus(Panel &panel, const WatchedBmc::Status &status, Clock::time_point now);
    void tellEvent(Panel &panel, std::string line, bool kept = true);
    bool serveWeb();

    WatchOptions options_;
    std::map<std::string, Password> passwords_; // by module
    Inventory inventory_;                       // this shard's targets
    std::map<std::string, std::unique_ptr<Panel>> panels_;
    std::map<std::string, std::weak_ptr<WatchedBmc>> leaving_; // let go, maybe mid-step still
    std::vector<Target> waiting_; // to follow once the BMC's last run has let go of its state
    std::optional<StepPool> pool_;
    FleetView fleet_;
    std::unique_ptr<WebServer> web_;
    Readiness ready_;
    int wakeRead_ = -1;
    int watchedWake_ = -1;
    int events_ = -1;
    bool ownEvents_ = false;
    std::string lastProblem_; // of the inventory, told
    std::mutex steppedLock_;
    std::vector<std::string> stepped_; // BMCs the pool stepped since the loop last looked
    std::vector<Panel *> due_;         // for the next pass: touched since the last one
};

Watcher::~Watcher()
{
    web_.reset();
    pool_.reset(); // no step runs on: the workers can be ended
    for (auto &[name, panel] : panels_) {
        panel->link.closeInput();
    }
    for (auto &[name, panel] : panels_) {
        panel->link.stop();
    }
    if (ownEvents_) {
        close(events_);
    }
    if (wakeRead_ >= 0) {
        close(wakeRead_);
        close(g_wake);
    }
}

// Reads the inventory (and the modules' passwords); at the start, what is wrong ends the watcher,
// later it is told and the last good inventory kept.
bool Watcher::load(bool atStart)
{
    Inventory next;
    std::map<std::string, Password> passwords;
    try {
        if (!options_.configFile.empty() && !atStart) {
            options_.config = readConfig(options_.configFile);
        }
        for (const auto &[name, module] : options_.config.modules) {
            passwords.emplace(name, readPassword(module.passwordFile));
        }
        const Inventory all = readInventory(options_.config);
        next.files = all.files;
        for (const auto &[name, target] : all.targets) {
            if (inShard(target, options_.shard)) {
                next.targets.emplace(name, target);
            }
        }
    } catch (const InventoryError &e) {
        // Told once, not at every look at the files while they stay wrong.
        if (e.what() != lastProblem_) {
            say(atStart ? e.what() : std::string(e.what()) + " (the inventory read before stays)");
        }
        lastProblem_ = e.what();
        return false;
    }
    lastProblem_.clear();
    passwords_ = std::move(passwords);
    const InventoryDiff diff = diffInventories(inventory_, next);
    inventory_ = std::move(next);
    for (const Target &gone : diff.removed) {
        letGo(gone.name);
    }
    for (const Target &changed : diff.changed) {
        letGo(changed.name);
    }
    for (const Target &added : diff.added) {
        waiting_.push_back(added);
    }
    for (const Target &changed : diff.changed) {
        waiting_.push_back(changed);
    }
    addWaiting();
    if (!atStart && (!diff.added.empty() || !diff.removed.empty() || !diff.changed.empty())) {
        say("inventory read again: " + std::to_string(diff.added.size()) + " added, " +
            std::to_string(diff.removed.size()) + " removed, " +
            std::to_string(diff.changed.size()) + " changed, " +
            std::to_string(inventory_.targets.size()) + " followed");
    }
    return true;
}

void Watcher::follow(const Target &target)
{
    auto panel = std::make_unique<Panel>();
    const std::string name = target.name;
    panel->bmc = std::make_shared<WatchedBmc>(
        target, options_.config.modules.at(target.module), passwords_.at(target.module),
        options_.stateDir, [name](const std::string &text) { say(name + ": " + text); });
    pool_->add(panel->bmc);
    touch(*panel);
    panels_[name] = std::move(panel);
}

void Watcher::letGo(const std::string &name)
{
    const auto found = panels_.find(name);
    if (found == panels_.end()) {
        return;
    }
    Panel &panel = *found->second;
    panel.bmc->retire();
    fleet_.remove(name);
    leaving_[name] = panel.bmc;
    std::erase(due_, &panel);
    unwatchPipes(panel);
    panel.link.stop();
    panels_.erase(found);
}

// A BMC's state is one run's at a time: a target added again waits until the last run let go.
void Watcher::addWaiting()
{
    std::erase_if(leaving_, [](const auto &entry) { return entry.second.expired(); });
    std::erase_if(waiting_, [this](const Target &target) {
        if (leaving_.contains(target.name)) {
            return false;
        }
        if (inventory_.targets.contains(target.name)) {
            follow(inventory_.targets.at(target.name));
        }
        return true;
    });
}

void Watcher::startWorker(Panel &panel, Clock::time_point now) const
{
    const std::optional<std::string> first = panel.bmc->workerStart();
    if (!first) {
        return; // its sensor names are not known yet
    }
    std::string why;
    if (!panel.link.start(options_.program, why)) {
        say(panel.bmc->target().name + ": " + why);
        panel.restartAt = now + kLongestWorkerWait;
        return;
    }
    panel.model.reset();
    panel.restored = false;
    panel.startedAt = now;
    panel.link.send(*first);
}

void Watcher::workerEnded(Panel &panel, Clock::time_point now)
{
    unwatchPipes(panel);
    touch(panel);
    const int status = panel.link.stop();
    // One that ran a while is started again at once; one that keeps failing, less and less often.
    panel.restartWait = now - panel.startedAt > kLongestWorkerWait
                            ? std::chrono::seconds(0)
                            : std::min(std::max(panel.restartWait * 2, std::chrono::seconds(1)),
                                       kLongestWorkerWait);
    panel.restartAt = now + panel.restartWait;
    char how[64];
    if (WIFSIGNALED(status)) {
        snprintf(how, sizeof how, "killed by signal %d", WTERMSIG(status));
    } else {
        snprintf(how, sizeof how, "exit %d", WEXITSTATUS(status));
    }
    say(panel.bmc->target().name + ": its panel worker ended (" + how + "); started again in " +
        std::to_string(panel.restartWait.count()) + " s");
}

void Watcher::take(Panel &panel, const std::string &text)
{
    const nlohmann::json line = nlohmann::json::parse(text, nullptr, false);
    const std::string kind = line.is_object() ? line.value("kind", "") : "";
    if (kind == kRestoredAnswer) {
        panel.restored = true;
        panel.significant = true;
        return;
    }
    if (kind == kLiveAnswer) {
        return;
    }
    if (kind == kShowingAnswer) {
        panel.model.show(line);
        panel.changed = panel.fresh = true;
        // Each code as the panel comes to show it is the events' panel line; a worker started
        // again shows the code it showed before, not told twice.
        const std::string code = line.value("code", "");
        if (code == panel.toldCode) {
            return;
        }
        panel.toldCode = code;
        nlohmann::json shown = line;
        const Target &target = panel.bmc->target();
        shown.update({{"schema", kJsonSchema},
                      {"kind", "panel"},
                      {"bmc", target.name},
                      {"board", hex32(target.board)}});
        tellEvent(panel, shown.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace),
                  false);
        return;
    }
    if (!panel.model.apply(line)) {
        say(panel.bmc->target().name + ": its panel worker wrote what is not a timeline line");
        return;
    }
    panel.changed = panel.fresh = true;
    panel.significant = panel.significant || kind == "fault";
    // What the timeline showed before the restored records end was shown by an earlier run; the
    // codes the panel shows are told as it shows them (above), not a cycle later.
    if (panel.restored && kind != "panel" && kind != "repeat") {
        tellEvent(panel, text);
    }
}

// An event, with when the watcher heard of it: in --events, and on the BMC's page unless it is
// only the panel stepping on (`kept` false), which would push everything else off it.
void Watcher::tellEvent(Panel &panel, std::string line, bool kept)
{
    if (line.ends_with('}')) {
        line.insert(line.size() - 1, R"(,"at":")" + calendar(time(nullptr)) + '"');
    }
    if (kept) {
        panel.recent.push_back(line);
        if (panel.recent.size() > kRecentEvents) {
            panel.recent.pop_front();
        }
    }
    if (events_ >= 0 && !writeAll(events_, line + '\n')) {
        say(std::string("the events cannot be written: ") + strerror(errno));
        events_ = -1;
    }
}

void Watcher::serve(Panel &panel, uint32_t events, Clock::time_point now)
{
    if (!panel.link.running()) {
        if (now >= panel.restartAt) {
            startWorker(panel, now);
            watchPipes(panel);
        }
        return;
    }
    panel.link.send(panel.bmc->takeLines());
    bool alive = !panel.link.wantsToWrite() || panel.link.write();
    if ((events & (EPOLLIN | EPOLLHUP | EPOLLERR)) != 0) {
        std::vector<std::string> lines;
        alive = panel.link.read(lines) && alive;
        for (const std::string &line : lines) {
            take(panel, line);
        }
    }
    if (!alive) {
        workerEnded(panel, now);
    }
    watchPipes(panel);
}

// The worker's output while it runs; its input while lines wait for room in the pipe.
void Watcher::watchPipes(Panel &panel)
{
    const bool running = panel.link.running();
    ready_.watch(panel.watchedOutput, running ? panel.link.output() : -1, EPOLLIN, &panel);
    ready_.watch(panel.watchedInput, running && panel.link.wantsToWrite() ? panel.link.input() : -1,
                 EPOLLOUT, &panel);
}

// A BMC stepped, or its worker heard from: its state is published at the next pass.
void Watcher::touch(Panel &panel)
{
    if (!panel.due) {
        panel.due = true;
        due_.push_back(&panel);
    }
}

// Every BMC touched since the last pass; one whose worker is to start again, or whose panel.json
// waits for its turn, stays for the next. A thousand idle BMCs are not visited each second.
void Watcher::pass(Clock::time_point now)
{
    std::vector<Panel *> due;
    due.swap(due_);
    for (Panel *panel : due) {
        panel->due = false;
    }
    for (Panel *panel : due) {
        serve(*panel, 0, now);
        publish(*panel, now);
        if (!panel->link.running() || panel->changed || panel->significant) {
            touch(*panel);
        }
    }
}

// Before its pipes are closed: a worker started later may get the same numbers.
void Watcher::unwatchPipes(Panel &panel)
{
    ready_.watch(panel.watchedOutput, -1, 0, nullptr);
    ready_.watch(panel.watchedInput, -1, 0, nullptr);
}

// The BMC's state as its events tell it, its view as the web server shows it, and its panel.json.
void Watcher::publish(Panel &panel, Clock::time_point now)
{
    const WatchedBmc::Status status = panel.bmc->status();
    const Target &target = panel.bmc->target();
    if (!panel.told || panel.told->condition != status.condition || panel.told->why != status.why) {
        nlohmann::json line = {{"schema", kJsonSchema},
                               {"kind", "state"},
                               {"bmc", target.name},
                               {"board", hex32(target.board)},
                               {"state", conditionWord(status.condition)}};
        if (!status.why.empty()) {
            line["why"] = status.why;
        }
        tellEvent(panel, line.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace));
        panel.told = status;
        panel.fresh = true;
    }
    // While a worker rebuilds the table, it is not yet what the BMC's panel shows.
    if (!panel.restored && panel.startedAt != Clock::time_point{}) {
        return;
    }
    // A change of state made it fresh (above); else a poll changed its counters alone.
    if (panel.fresh) {
        fleet_.update(target.name,
                      {hex32(target.board), target.labels, status, panel.model.warnings(),
                       activeFaults(panel.model.faults()), panel.model.codeNow(), panel.recent,
                       panel.bmc->statePath() + "/records.bin"});
        panel.fresh = false;
        panel.viewed = status;
    } else if (status != panel.viewed) {
        fleet_.updateCounters(target.name, status);
        panel.viewed = status;
    }
    writeStatus(panel, status, now);
}

void Watcher::writeStatus(Panel &panel, const WatchedBmc::Status &status, Clock::time_point now)
{
    const bool significant = panel.significant || status.condition != panel.written.condition ||
                             status.why != panel.written.why ||
                             status.records != panel.written.records;
    if (!panel.changed && status == panel.written) {
        return;
    }
    const Clock::duration every = significant     ? Clock::duration(kStatusEvery)
                                  : panel.changed ? Clock::duration(kCodeEvery)
                                                  : Clock::duration(kCountersEvery);
    if (now - panel.writtenAt < every) {
        return;
    }
    const Target &target = panel.bmc->target();
    nlohmann::json j = {
        {"schema", kJsonSchema},
        {"bmc", target.name},
        {"board", hex32(target.board)},
        {"labels", target.labels},
        {"state", conditionWord(status.condition)},
        {"records", status.records},
        {"commands", status.commands},
        {"warnings", panel.model.warnings()},
        {"code", panel.model.code()},
        {"faults", panel.model.faults()},
    };
    j["last_answer"] = status.lastAnswer ? nlohmann::json(*status.lastAnswer) : nlohmann::json();
    if (!status.why.empty()) {
        j["why"] = status.why;
    }
    writeFileAtomically(panel.bmc->statePath() + "/" + kStatusFile,
                        j.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace) + '\n');
    panel.changed = false;
    panel.significant = false;
    panel.written = status;
    panel.writtenAt = now;
}

// The metrics and pages on the address asked for.
bool Watcher::serveWeb()
{
    WebConfig config;
    if (!options_.webConfig.empty()) {
        try {
            config = readWebConfig(options_.webConfig);
        } catch (const InventoryError &e) {
            say(e.what());
            return false;
        }
    }
    std::string why;
    web_ = WebServer::start(options_.listen, config, fleet_, options_.program, why);
    if (!web_) {
        say(why);
        return false;
    }
    const std::string host = options_.listen.substr(0, options_.listen.rfind(':'));
    const std::string base = std::string(config.certFile ? "https://" : "http://") + host + ":" +
                             std::to_string(web_->port());
    const char *tls = config.certFile ? "with TLS" : "without TLS";
    const char *users =
        config.users.empty() ? "without authentication" : "with basic authentication";
    say("metrics on " + base + "/metrics, panels on " + base + "/, " + tls + ", " + users);
    return true;
}

int Watcher::run()
{
    if (!ready_.usable()) {
        say(std::string("cannot wait for the panel workers: ") + strerror(errno));
        return kExitUnreadable;
    }
    int wakeEnds[2];
    if (pipe2(wakeEnds, O_CLOEXEC | O_NONBLOCK) != 0) {
        say(std::string("cannot make a pipe: ") + strerror(errno));
        return kExitUnreadable;
    }
    wakeRead_ = wakeEnds[0];
    g_wake = wakeEnds[1];
    ready_.watch(watchedWake_, wakeRead_, EPOLLIN, nullptr);
    catchSignals();
    if (options_.events == "-") {
        events_ = STDOUT_FILENO;
    } else if (!options_.events.empty()) {
        events_ = open(options_.events.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
        if (events_ < 0) {
            say("cannot write " + options_.events + ": " + strerror(errno));
            return kExitUsage;
        }
        ownEvents_ = true;
    }
    // A BMC that read records or noticed something is served at once; an idle poll waits for
    // the loop's next pass (a thousand BMCs polled every 10 s would otherwise wake it 100 times a
    // second).
    pool_.emplace(kPoolThreads, [this](const WatchedBmc &bmc) {
        const bool news = bmc.hasLines();
        {
            const std::lock_guard guard(steppedLock_);
            stepped_.push_back(bmc.target().name);
        }
        if (news) {
            wake();
        }
    });
    if (!serveWeb() || !load(true)) {
        return kExitUsage;
    }
    say("following " + std::to_string(inventory_.targets.size()) + " BMCs" +
        (options_.shard.count > 1 ? " (shard " + std::to_string(options_.shard.index) + "/" +
                                        std::to_string(options_.shard.count) + ")"
                                  : std::string()) +
        ", state in " + options_.stateDir);
    Clock::time_point checkedAt = Clock::now();
    Clock::time_point nextPass = checkedAt;
    while (g_stop == 0) {
        const auto untilPass =
            std::chrono::duration_cast<std::chrono::milliseconds>(nextPass - Clock::now());
        const std::span<const epoll_event> ready =
            ready_.wait(static_cast<int>(std::clamp<int64_t>(untilPass.count(), 0, kLoopTick)));
        char drained[256];
        while (read(wakeRead_, drained, sizeof drained) > 0) {
        }
        const Clock::time_point now = Clock::now();
        // Now: the workers with something to say or room to take, and the BMCs just stepped;
        // once a tick, what they changed (state, panel.json) and workers to start again.
        for (const epoll_event &event : ready) {
            if (event.data.ptr != nullptr) {
                Panel &panel = *static_cast<Panel *>(event.data.ptr);
                touch(panel);
                serve(panel, event.events, now);
            }
        }
        std::vector<std::string> stepped;
        {
            const std::lock_guard guard(steppedLock_);
            stepped.swap(stepped_);
        }
        for (const std::string &name : stepped) {
            if (const auto found = panels_.find(name); found != panels_.end()) {
                touch(*found->second);
                serve(*found->second, 0, now);
            }
        }
        if (now >= nextPass) {
            nextPass = now + std::chrono::milliseconds(kLoopTick);
            pass(now);
        }
        if (g_reload != 0 || now - checkedAt >= kInventoryCheck) {
            const bool asked = g_reload != 0;
            g_reload = 0;
            checkedAt = now;
            if (asked || targetFilesChanged(options_.config, inventory_)) {
                load(false);
            }
        }
        addWaiting();
    }
    say("stopped");
    return kExitDone;
}

} // namespace

int watch(const WatchOptions &options)
{
    Watcher watcher(options);
    return watcher.run();
}

} // namespace diagpanel
