// SPDX-License-Identifier: Apache-2.0
// What the fuzz targets share: a private /var, a quiet stand-in platform set up for a board, and
// the display state reset without a display thread (the targets step it themselves, if at all).
#pragma once

#include <cstddef>
#include <span>

#include <diagpanel/types.h>

namespace fuzz {

// Once per process: a private /var for the pipe (the targets run in parallel), the stand-in's log
// echo off, standard output (the table prints) to /dev/null, an empty fault table, and the
// display marked ready so that events reach it.
void setUpProcess();

// Every listed board, then a few that no table lists.
std::span<const u32> boards();
// The listed boards alone.
std::span<const u32> listedBoards();

// Makes the stand-in answer as the board would: its sensor names (a few numbers left unnamed, one
// name too long for the platform's buffer), disks, backplanes, POST codes, fan errors, PCIe cards.
void configureBoard(u32 board);

// Forgets what one input did: the table emptied (made again if it was released), the display as
// at start-up, the diagnostic mode off, the stand-in's journals cleared.
void resetAfterInput();

} // namespace fuzz
