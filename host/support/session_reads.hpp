// SPDX-License-Identifier: Apache-2.0
// The library's intake reads its pipe through read(), which the session library replaces: on the
// intake's thread, it counts the bytes read and, while a session tracks frames, calls it before
// each read and reads the pipe ahead. Elsewhere read() is the C library's.
#pragma once

#include <cstdint>

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

} // namespace host
