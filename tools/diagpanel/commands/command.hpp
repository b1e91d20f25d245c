// SPDX-License-Identifier: Apache-2.0
// diagpanel's subcommands, one file each: every one adds its flags to the parser and says what
// runs when it is the command given. A new command is a file and a line in main.cpp's list.
#pragma once

#include <functional>

#include <CLI/CLI.hpp>

namespace diagpanel {

struct Command {
    CLI::App *app;            // its flags, parsed by the top-level parser
    std::function<int()> run; // run once parsed; gives the exit code
};

Command replayCommand(CLI::App &parent);
Command decodeCommand(CLI::App &parent);
Command boardsCommand(CLI::App &parent);
Command followCommand(CLI::App &parent);
Command tablesCommand(CLI::App &parent);
Command watchCommand(CLI::App &parent);
Command watchWorkerCommand(CLI::App &parent); // hidden: what watch runs for each BMC

} // namespace diagpanel
