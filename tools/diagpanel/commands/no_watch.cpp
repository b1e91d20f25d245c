// SPDX-License-Identifier: Apache-2.0
// diagpanel watch in a build without it (the cross build: watch runs on a monitoring host, and
// its config parser is not there for the target): the command says so.
#include <cstdio>

#include "tools/diagpanel/commands/command.hpp"
#include "tools/diagpanel/exit_codes.hpp"

namespace diagpanel {

namespace {

Command unavailable(CLI::App &parent, const char *name)
{
    CLI::App *app = parent.add_subcommand(name, "not in this build");
    app->group("");
    app->allow_extras();
    return {app, [] {
                fprintf(stderr, "diagpanel: watch is not in this build; a host build has it\n");
                return kExitUsage;
            }};
}

} // namespace

Command watchCommand(CLI::App &parent)
{
    return unavailable(parent, "watch");
}

Command watchWorkerCommand(CLI::App &parent)
{
    return unavailable(parent, "watch-worker");
}

} // namespace diagpanel
