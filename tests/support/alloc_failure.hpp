// SPDX-License-Identifier: Apache-2.0
// Allocation failure for unit builds: the library's objects are linked with malloc and calloc
// wrapped (-Wl,--wrap), so a test can make the n-th allocation after a point fail.
#pragma once

namespace test {

// While alive, the `nth` malloc or calloc from now on (1 = the next; 0: none) returns NULL.
class FailAllocation
{
  public:
    explicit FailAllocation(unsigned nth);
    ~FailAllocation();
    FailAllocation(const FailAllocation &) = delete;
    FailAllocation &operator=(const FailAllocation &) = delete;
    bool fired() const; // whether the failure has happened
};

// malloc and calloc calls made so far through the wrapper.
unsigned long allocationCount();

} // namespace test
