// SPDX-License-Identifier: Apache-2.0
#include "tools/diagpanel/follow/follow.hpp"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <memory>
#include <unistd.h>

#include "tools/diagpanel/exit_codes.hpp"
#include "tools/diagpanel/follow/lan_client.hpp"
#include "tools/diagpanel/follow/sdr_repository.hpp"
#include "tools/diagpanel/follow/sel_follower.hpp"
#include "tools/diagpanel/replay.hpp"
#include "tools/diagpanel/readers/sdr.hpp"

namespace diagpanel {

namespace {

using Clock = std::chrono::steady_clock;

volatile sig_atomic_t g_stop = 0;

void onSignal(int)
{
    g_stop = 1;
}

std::string localNow()
{
    const time_t now = time(nullptr);
    tm local{};
    char text[32];
    strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", localtime_r(&now, &local));
    return text;
}

// What follow says of the BMC goes to standard error, with the local time: the timeline stays
// the library's, on standard output.
void say(const std::string &text)
{
    fflush(stdout);
    fprintf(stderr, "diagpanel: %s %s\n", localNow().c_str(), text.c_str());
}

// Whole seconds from `since` to now.
uint64_t secondsSince(Clock::time_point since)
{
    return static_cast<uint64_t>(
        std::chrono::duration_cast<std::chrono::seconds>(Clock::now() - since).count());
}

// Waits until `until`, or less when a signal asks to stop.
void sleepUntil(Clock::time_point until)
{
    while (g_stop == 0 && Clock::now() < until) {
        const auto left =
            std::min<Clock::duration>(until - Clock::now(), std::chrono::milliseconds(100));
        usleep(static_cast<useconds_t>(
            std::chrono::duration_cast<std::chrono::microseconds>(left).count()));
    }
}

// The password: from a file, the environment, or (with a warning) the command line.
std::optional<std::string> password(const FollowArgs &args)
{
    if (!args.passwordFile.empty()) {
        std::ifstream file(args.passwordFile);
        std::string line;
        if (!file || !std::getline(file, line)) {
            fprintf(stderr, "diagpanel: cannot read a password from %s\n",
                    args.passwordFile.c_str());
            return std::nullopt;
        }
        return line;
    }
    if (!args.password.empty()) {
        fprintf(stderr, "diagpanel: warning: a password on the command line is visible to "
                        "other users of this machine; use --password-file or IPMI_PASSWORD\n");
        return args.password;
    }
    if (const char *env = getenv("IPMI_PASSWORD")) {
        return std::string(env);
    }
    fprintf(stderr, "diagpanel: follow needs a password: --password-file FILE or the "
                    "IPMI_PASSWORD environment variable\n");
    return std::nullopt;
}

// Sensor names from a file, or from the BMC's own SDR repository.
SensorNames sensorNames(const FollowArgs &args, IpmiClient &client, std::string &from)
{
    if (!args.sdr.empty()) {
        from = args.sdr;
        return readSdr(args.sdr, false);
    }
    const std::optional<SdrRepository> repository = client.sdrRepository();
    if (const std::string note = repositoryNote(repository); !note.empty()) {
        say(note);
    }
    if (!repository) {
        return {};
    }
    from = "the BMC's SDR repository";
    return parseSdr(from, repository->records, false);
}

void catchSignals()
{
    signal(SIGPIPE, SIG_IGN); // a reader that went away stops nothing: follow ends as it was told
    struct sigaction stop {
    };
    stop.sa_handler = onSignal;
    sigaction(SIGINT, &stop, nullptr);
    sigaction(SIGTERM, &stop, nullptr);
}

std::string heading(u32 board, const std::string &bmc, const std::string &namesFrom,
                    std::size_t names)
{
    char boardText[16];
    snprintf(boardText, sizeof boardText, "0x%08x", board);
    std::string text = "diagpanel follow: board " + std::string(boardText) + ", BMC " + bmc;
    if (!namesFrom.empty()) {
        text += ", sensor names from " + namesFrom + " (" + std::to_string(names) + ")";
    }
    return text;
}

} // namespace

Item selItem(const SelEntry &record, Timing timing, uint64_t offset)
{
    Item item;
    item.kind = Item::Kind::Sel;
    item.source.file = "sel";
    item.source.line = record[0] | record[1] << 8;
    item.timing = timing;
    item.offset = offset;
    std::copy(record.begin(), record.end(), item.sel.begin());
    return item;
}

int follow(const FollowArgs &args, u32 board)
{
    const std::optional<std::string> secret = password(args);
    if (!secret) {
        return kExitUsage;
    }
    catchSignals();

    // --duration counts from the start: the log-in and the SDR read are part of it.
    std::optional<Clock::time_point> end;
    if (args.duration) {
        end = Clock::now() + std::chrono::duration_cast<Clock::duration>(
                                 std::chrono::duration<double>(*args.duration));
    }
    const std::string bmc = args.host + " port " + std::to_string(args.port);
    LanTimeouts timeouts;
    timeouts.idle = std::chrono::duration_cast<std::chrono::milliseconds>(
        std::chrono::duration<double>(std::max(args.interval, 0.05)));
    const std::unique_ptr<IpmiClient> client = lanClient(
        {args.host, args.port, args.user, *secret, args.cipherSuite, args.lan15}, timeouts);
    IpmiClient &session = *client;
    if (const std::optional<OpenFailure> failure = session.open()) {
        fprintf(stderr, "diagpanel: cannot follow %s: %s\n", bmc.c_str(), failure->text.c_str());
        return kExitNoBmc;
    }
    std::string namesFrom;
    SensorNames names = sensorNames(args, session, namesFrom);

    ReplayOptions options;
    options.board = board;
    options.names = std::move(names.names);
    options.batch = 1;         // live: each record's effects are written out as it comes
    options.listInputs = true; // and every record has its line, also one that changes nothing
    std::optional<int64_t> localOrigin;
    Outputs outputs(args.json, args.svg, {board, args.host + ":" + std::to_string(args.port)},
                    &localOrigin);
    outputs.begin(heading(board, bmc, namesFrom, options.names.size()));
    Replay replay(options, outputs.targets());
    std::string why;
    if (!replay.start(why)) {
        fprintf(stderr, "diagpanel: %s\n", why.c_str());
        return kExitUnreadable;
    }

    const auto interval = std::chrono::duration_cast<Clock::duration>(
        std::chrono::duration<double>(std::max(args.interval, 0.05)));
    SelFollower follower(session, !args.newOnly, interval);
    std::optional<Clock::time_point> live; // after the first poll: records are timed by arrival
    unsigned long records = 0, unreadable = 0, polls = 0, idlePolls = 0, commands = 0;
    while (g_stop == 0) {
        const auto stepAt = Clock::now();
        const FollowStep step = follower.step(stepAt);
        if (step.poll && polls++ == 0 && step.selInfoRefused) {
            fprintf(stderr, "diagpanel: cannot follow %s: %s\n", bmc.c_str(),
                    *step.selInfoRefused == ipmi::kNoPrivilege
                        ? ("user '" + args.user + "' has no privilege for the SEL").c_str()
                        : "the BMC refused Get SEL Info");
            return kExitNoBmc;
        }
        for (const BmcNote &note : step.notes) {
            if (g_stop != 0 && note.kind == BmcNews::Lost) {
                continue; // a command cut short by Ctrl-C fails as an unanswered one: ours, not its
            }
            say(note.text);
            Event told;
            told.kind = Event::Kind::Bmc;
            told.news = note.kind;
            told.number = note.number;
            told.text = note.text;
            replay.tell(told);
            unreadable += note.kind == BmcNews::Unreadable ? 1 : 0;
        }
        // A poll can take seconds (retries, a long run of new records): records are timed by the
        // end of the poll that read them.
        const uint64_t elapsed = live ? secondsSince(*live) : 0;
        for (const SelEntry &record : step.records) {
            replay.play(selItem(record, live ? Timing::Offset : Timing::SelTimestamp, elapsed));
            ++records;
        }
        if (step.poll) {
            commands += step.commands;
            idlePolls += step.answered && step.records.empty() && step.notes.empty() ? 1 : 0;
        }
        if (step.poll && step.answered) {
            if (!live) {
                live = stepAt;
                localOrigin = time(nullptr) - static_cast<int64_t>(replay.beginFile());
            }
            Item now;
            now.kind = Item::Kind::Wait;
            now.timing = Timing::Offset;
            now.offset = secondsSince(*live);
            replay.play(now); // the display up to now, its changes written out
        }
        fflush(stdout);
        // Also while the BMC does not answer: --duration is a promise to whoever runs follow.
        if ((args.records && records >= *args.records) || (end && Clock::now() >= *end)) {
            break;
        }
        const Clock::time_point wake = step.pause ? Clock::now() + *step.pause : step.next;
        sleepUntil(end ? std::min(wake, *end) : wake);
    }
    replay.finish(unreadable, false); // a live run ends at the clock, not ahead of it
    fflush(stdout);
    if (args.stats) {
        fprintf(stderr,
                "follow: %lu IPMI commands in %lu polls (%lu idle), %lu records, %lu unreadable\n",
                commands, polls, idlePolls, records, unreadable);
    }
    return unreadable > 0 ? kExitUnreadable : kExitDone;
}

} // namespace diagpanel
