// SPDX-License-Identifier: Apache-2.0
// The library's intake reads its pipe through read(), and its post writes a frame into the pipe
// through write(); the session library stands in front of both. On the intake's thread, read()
// counts the bytes read and, while a session tracks frames, calls it before each read and reads
// the pipe ahead. On a thread gathering frames, write() keeps them for one write later. Elsewhere
// both are the C library's.
#pragma once

#include <cstdint>
#include <vector>

namespace host {

// Bytes the intake has read from its pipe so far.
uint64_t intakeBytesRead();

// Called at the entry of each read() on the intake's thread, with the bytes read before it. The
// reader reads exactly what a frame needs and dispatches it before reading on, so every frame that
// ended by then has been taken; and the thread holds no lock of the library here. Null: none.
// Not a call into the session from here: a program that reads and links the session library
// without using it keeps the plain read().
using IntakeReadHook = void (*)(uint64_t consumed);
void hookIntakeReads(IntakeReadHook hook);

// Bytes written and not put into their pipe yet.
struct GatheredWrites {
    int fd = -1; // the pipe's: -1 while none is gathered
    std::vector<unsigned char> bytes;
};

// While `into` is set on this thread, each write() adds to it instead (and succeeds): to one file
// descriptor, the first written; writes to another go through. Null: none gathered.
void gatherWrites(GatheredWrites *into);
// Puts what was gathered into its pipe and empties it; false when the pipe took less.
bool writeGathered(GatheredWrites &gathered);

} // namespace host
