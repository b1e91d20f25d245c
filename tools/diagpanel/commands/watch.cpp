// SPDX-License-Identifier: Apache-2.0
// diagpanel watch: its command line, and the panel worker's. What it does is watch/'s.
#include <climits>
#include <memory>
#include <unistd.h>

#include "tools/diagpanel/commands/board.hpp"
#include "tools/diagpanel/commands/command.hpp"
#include "tools/diagpanel/exit_codes.hpp"
#include "tools/diagpanel/watch/panel_worker.hpp"
#include "tools/diagpanel/watch/watcher.hpp"

namespace diagpanel {

namespace {

struct WatchCommandArgs {
    WatchOptions watch;
    ModuleFlags module;
    std::string shard;
};

// The panel workers run this same program, wherever it was started from.
std::string thisProgram()
{
    char path[PATH_MAX];
    const ssize_t length = readlink("/proc/self/exe", path, sizeof path - 1);
    return length > 0 ? std::string(path, static_cast<std::size_t>(length)) : "diagpanel";
}

int watchFleet(WatchCommandArgs &args)
{
    WatchOptions &options = args.watch;
    try {
        options.config = options.configFile.empty() ? configFromFlags(args.module)
                                                    : readConfig(options.configFile);
        if (!args.shard.empty()) {
            options.shard = parseShard(args.shard);
        }
    } catch (const InventoryError &e) {
        fprintf(stderr, "diagpanel watch: %s\n", e.what());
        return kExitUsage;
    }
    options.program = thisProgram();
    return watch(options);
}

} // namespace

Command watchCommand(CLI::App &parent)
{
    auto args = std::make_shared<WatchCommandArgs>();
    ModuleFlags &m = args->module;
    CLI::App *app = parent.add_subcommand(
        "watch", "Follow the SEL of every BMC of an inventory, each through the real library in a "
                 "panel worker of its own, keeping each one's records and panel under a state "
                 "dir.\nExit: 0 stopped by SIGINT or SIGTERM, 2 a config, target file or password "
                 "file that cannot be used.");
    CLI::Option *config = app->add_option("--config", args->watch.configFile,
                                          "modules and target files (YAML or JSON)")
                              ->check(CLI::ExistingFile);
    CLI::Option *targets =
        app->add_option("--targets", m.targets, "a target file, without --config")
            ->excludes(config);
    app->add_option("--user", m.user, "the IPMI user (with --targets)")->needs(targets);
    app->add_option("--password-file", m.passwordFile,
                    "its password, first line of this file, readable by you alone")
        ->needs(targets);
    app->add_option("--cipher-suite", m.cipherSuite, "RMCP+ cipher suite (default 3)")
        ->check(CLI::Range(0, 17))
        ->needs(targets);
    app->add_option("--interval", m.interval, "seconds between polls of each BMC (default 10)")
        ->check(CLI::Range(0.05, 3600.0))
        ->needs(targets);
    addBoardOption(*app, m.board, false)->needs(targets);
    app->add_option("--state-dir", args->watch.stateDir,
                    "where each BMC's records and panel are kept")
        ->required();
    app->add_option("--shard", args->shard, "follow only shard I of N of the targets: I/N");
    app->add_option("--listen", args->watch.listen,
                    "serve the wall of panels at http://ADDR:PORT/ and Prometheus metrics at "
                    "/metrics (default 127.0.0.1:9780; port 0: any free one, said at the start)");
    app->add_option("--web-config", args->watch.webConfig,
                    "TLS and basic authentication for every path (tls_server_config, "
                    "basic_auth_users), as Prometheus's exporters read them")
        ->check(CLI::ExistingFile);
    app->add_option("--events", args->watch.events,
                    "every BMC's timeline as JSON Lines into this file ('-': standard output)");
    return {app, [args] {
                if (args->watch.configFile.empty() && args->module.targets.empty()) {
                    fprintf(stderr, "diagpanel watch: give --config FILE, or --targets FILE "
                                    "--user U --password-file F\n");
                    return kExitUsage;
                }
                return watchFleet(*args);
            }};
}

Command watchWorkerCommand(CLI::App &parent)
{
    CLI::App *app = parent.add_subcommand("watch-worker", "one BMC's panel, for diagpanel watch");
    app->group(""); // not for people: watch starts it
    return {app, [] { return runPanelWorker(); }};
}

} // namespace diagpanel
