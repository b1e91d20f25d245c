// SPDX-License-Identifier: Apache-2.0
// diagpanel: what the diagnostic panel shows, and when, for a SEL captured from a real server or
// a scenario, replayed through the real library and the stand-in platform in virtual time.
// Each subcommand lives in its own file under commands/; this file only dispatches.
#include <array>
#include <cstdio>
#include <exception>
#include <vector>

#include "tools/diagpanel/commands/command.hpp"
#include "tools/diagpanel/exit_codes.hpp"

namespace {

using namespace diagpanel;

// The subcommands, in the order --help lists them.
constexpr std::array kCommands = {replayCommand, decodeCommand, boardsCommand,     followCommand,
                                  watchCommand,  tablesCommand, watchWorkerCommand};

} // namespace

namespace {

int run(int argc, char **argv)
{
    CLI::App app{"What the diagnostic panel shows, and when: SEL captures and scenarios replayed "
                 "through the real libDiagnosticPanel in virtual time.",
                 "diagpanel"};
    app.require_subcommand(1);
    std::vector<Command> commands;
    commands.reserve(kCommands.size());
    for (const auto add : kCommands) {
        commands.push_back(add(app));
    }
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError &e) {
        return app.exit(e) == 0 ? kExitDone : kExitUsage;
    }
    for (const Command &command : commands) {
        if (command.app->parsed()) {
            return command.run();
        }
    }
    return kExitUsage; // not reached: the parser insists on one command
}

} // namespace

int main(int argc, char **argv)
{
    // A command's own failures are its messages and exit codes; what escapes is the machine's
    // (out of memory, say), said in one line rather than by an abort.
    try {
        return run(argc, argv);
    } catch (const std::exception &e) {
        fprintf(stderr, "diagpanel: %s\n", e.what());
    } catch (...) {
        fprintf(stderr, "diagpanel: an unexpected error\n");
    }
    return kExitUnreadable;
}
