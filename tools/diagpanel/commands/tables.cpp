// SPDX-License-Identifier: Apache-2.0
// diagpanel tables: what the library makes of every record its constant tables decide.
#include <cstdio>
#include <memory>

#include "tools/diagpanel/commands/board.hpp"
#include "tools/diagpanel/commands/command.hpp"
#include "tools/diagpanel/exit_codes.hpp"
#include "tools/diagpanel/readers/text.hpp"
#include "tools/diagpanel/tables.hpp"

namespace diagpanel {

namespace {

// Any board identifier, supported or not: the listing of an unknown one says so itself.
int tables(const std::string &board)
{
    std::optional<unsigned long> id;
    if (!board.empty() && !(id = boardId(board))) {
        fprintf(stderr, "diagpanel: '%s' is not a board identifier: write it in hex\n",
                board.c_str());
        return kExitUsage;
    }
    return printTables(stdout, id ? std::optional<u32>(static_cast<u32>(*id)) : std::nullopt);
}

} // namespace

Command tablesCommand(CLI::App &parent)
{
    auto board = std::make_shared<std::string>();
    CLI::App *app = parent.add_subcommand(
        "tables", "Print what the library makes of every record and platform answer that one of "
                  "its constant tables decides, board by board, found by putting records "
                  "through the library.");
    addBoardOption(*app, *board, false);
    return {app, [board] { return tables(*board); }};
}

} // namespace diagpanel
