// SPDX-License-Identifier: Apache-2.0
// Virtual time for the display thread. Linking this in replaces sleep(): in the display thread a
// sleep parks until the program releases it, and then advances the virtual clock by its seconds,
// so every display step can be driven and observed without waiting. A program may instead leave
// the display thread parked for good and take each step on a thread of its own (stepHere), which
// costs no round trip between threads. Other threads sleep for real.
#pragma once

#include <chrono>

namespace vclock {

// Waits until the display thread is parked in a sleep that has not been released; returns the
// seconds it asked for, or 0 when none came within the timeout.
unsigned waitParked(std::chrono::milliseconds timeout = std::chrono::seconds(10));

// Lets the parked sleep return. Returns false when no sleep was parked.
bool release();

// Releases the parked sleep and waits for the next one: one display step. Returns the seconds the
// next sleep asked for, or 0 on timeout.
unsigned step(std::chrono::milliseconds timeout = std::chrono::seconds(10));

// One display step taken on the calling thread, while the display thread stays parked: the
// pending sleep's seconds pass, then `turn` (one turn of the display thread's loop) runs with its
// sleep() returning at once. Returns the seconds that sleep asked for (the last one, if several),
// 0 if it slept none. Never release() the display thread once steps are taken here.
unsigned stepHere(void (*turn)());

// Waits until every released sleep has returned to the display thread. Returns false on timeout.
bool waitResumed(std::chrono::milliseconds timeout = std::chrono::seconds(10));

// Virtual seconds slept so far.
unsigned long long now();

} // namespace vclock
