// SPDX-License-Identifier: Apache-2.0
// Allocations of the library still live: the unit build wraps free as well as malloc and calloc.
#pragma once

#include "tests/support/alloc_failure.hpp"

namespace test {

// Successful allocations less frees so far; `failure` is the injected failure to discount, if any.
long liveAllocations(const FailAllocation *failure);

// The live allocations once the intake has freed what it still holds (they stay unchanged a while).
long quietAllocations();

// Whether the live allocations come to `expected` within a second: the intake frees a frame just
// after the dispatch has logged what a test waits for.
bool liveSettleAt(long expected, const FailAllocation *failure = nullptr);

} // namespace test
