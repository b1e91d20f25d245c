// SPDX-License-Identifier: Apache-2.0
// --board: a product board identifier as the commands take it, and what they say of one the
// catalogue does not have.
#pragma once

#include <optional>
#include <string>

#include <CLI/CLI.hpp>

#include <diagpanel/types.h>

namespace diagpanel {

// Adds --board to a command; it must be given unless `required` is false.
CLI::Option *addBoardOption(CLI::App &command, std::string &board, bool required = true);

// The supported board a --board value names, or nullopt after saying on standard error why and
// which boards are.
std::optional<u32> supportedBoard(const std::string &text);

} // namespace diagpanel
