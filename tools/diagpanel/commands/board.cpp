// SPDX-License-Identifier: Apache-2.0
#include "tools/diagpanel/commands/board.hpp"

#include <algorithm>
#include <cstdio>

#include "tools/diagpanel/readers/text.hpp"
#include "tools/diagpanel/timeline.hpp"
#include <boards/catalogue.hpp>

namespace diagpanel {

namespace {

// The supported board of that identifier, or nullopt.
std::optional<u32> catalogued(unsigned long id)
{
    const auto rows = diag::boardTable();
    const auto found = std::find_if(rows.begin(), rows.end(),
                                    [&](const diag::BoardRow &b) { return b.uiBoardId == id; });
    return found != rows.end() ? std::optional<u32>(found->uiBoardId) : std::nullopt;
}

} // namespace

CLI::Option *addBoardOption(CLI::App &command, std::string &board, bool required)
{
    CLI::Option *option =
        command.add_option("--board", board,
                           required ? "product board identifier, such as 0x01030103"
                                    : "only this board, such as 0x01030103");
    return required ? option->required() : option;
}

std::optional<u32> supportedBoard(const std::string &text)
{
    const std::optional<unsigned long> id = boardId(text);
    if (const std::optional<u32> supported = id ? catalogued(*id) : std::nullopt) {
        return supported;
    }
    if (id) {
        fprintf(stderr, "diagpanel: %s is not a supported board; the supported boards are:\n",
                text.c_str());
    } else {
        fprintf(stderr,
                "diagpanel: '%s' is not a board identifier: write it in hex, as 0x01030103 or "
                "01030103h; the supported boards are:\n",
                text.c_str());
    }
    for (const diag::BoardRow &b : diag::boardTable()) {
        fprintf(stderr, "  %s\n", hex32(b.uiBoardId).c_str());
    }
    return std::nullopt;
}

} // namespace diagpanel
