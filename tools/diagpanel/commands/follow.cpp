// SPDX-License-Identifier: Apache-2.0
// diagpanel follow: its command line. What it does, the session with the BMC and the polling,
// is follow/'s.
#include <memory>

#include "tools/diagpanel/commands/board.hpp"
#include "tools/diagpanel/commands/command.hpp"
#include "tools/diagpanel/exit_codes.hpp"
#include "tools/diagpanel/commands/outputs.hpp"
#include "tools/diagpanel/follow/follow.hpp"

namespace diagpanel {

namespace {

struct FollowCommandArgs {
    FollowArgs follow;
    std::string board;
};

int followBoard(const FollowCommandArgs &args)
{
    const std::optional<u32> supported = supportedBoard(args.board);
    return supported ? follow(args.follow, *supported) : kExitUsage;
}

} // namespace

Command followCommand(CLI::App &parent)
{
    auto args = std::make_shared<FollowCommandArgs>();
    FollowArgs &f = args->follow;
    CLI::App *app = parent.add_subcommand(
        "follow", "Follow a live BMC's SEL over IPMI LAN through the library: every record from "
                  "the first, then each new one as the BMC logs it.\nExit: 0, 1 when a record "
                  "could not be read (it is reported and skipped), 2 for a usage error, 3 when "
                  "the BMC could not be reached or logged in to at start.");
    app->add_option("--host", f.host, "the BMC's LAN address")->required();
    app->add_option("--port", f.port, "its RMCP port (default 623)")->check(CLI::Range(1, 65535));
    app->add_option("--user", f.user, "the IPMI user")->required();
    addBoardOption(*app, args->board);
    app->add_option("--password-file", f.passwordFile,
                    "the password, first line of this file (or: the IPMI_PASSWORD variable)")
        ->check(CLI::ExistingFile);
    app->add_option("--password", f.password,
                    "the password itself: visible to other users, accepted with a warning");
    app->add_option("--cipher-suite", f.cipherSuite,
                    "RMCP+ cipher suite (default 3: HMAC-SHA1, AES-128)")
        ->check(CLI::Range(0, 17));
    app->add_flag("--lan15", f.lan15, "IPMI 1.5 LAN instead of RMCP+");
    app->add_option("--sdr", f.sdr,
                    "sensor names from this file instead of the BMC's SDR repository")
        ->check(CLI::ExistingFile);
    app->add_option("--interval", f.interval, "seconds between polls (default 1)")
        ->check(CLI::Range(0.05, 3600.0));
    app->add_flag("--new-only", f.newOnly,
                  "only records logged after the start (default: from the first)");
    app->add_option("--duration", f.duration, "stop after so many seconds");
    app->add_option("--records", f.records, "stop after so many records");
    addOutputFlags(*app, f.json, f.svg);
    app->add_flag("--stats", f.stats, "IPMI commands and polls, on standard error at the end");
    return {app, [args] { return followBoard(*args); }};
}

} // namespace diagpanel
