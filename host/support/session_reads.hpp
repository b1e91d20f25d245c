// SPDX-License-Identifier: Apache-2.0
// The library's intake reads its pipe through read(), which the session library replaces: on the
// intake's thread, it counts the bytes read and calls the session before each read.
#pragma once

#include <cstdint>

namespace host {

// Bytes the intake has read from its pipe so far.
uint64_t intakeBytesRead();

// Called at the entry of each read() on the intake's thread, with the bytes read before it. The
// reader reads exactly what a frame needs and dispatches it before reading on, so every frame that
// ended by then has been taken; and the thread holds no lock of the library here.
void atIntakeRead(uint64_t consumed);

} // namespace host
