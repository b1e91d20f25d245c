// SPDX-License-Identifier: Apache-2.0
#include "tests/support/alloc_failure.hpp"

#include <atomic>
#include <cstddef>

extern "C" void *__real_malloc(size_t size);
extern "C" void *__real_calloc(size_t count, size_t size);
extern "C" void *__wrap_malloc(size_t size);
extern "C" void *__wrap_calloc(size_t count, size_t size);

namespace {

std::atomic<unsigned long> g_calls{0};
std::atomic<unsigned long> g_failAt{0}; // 0: never
std::atomic<bool> g_fired{false};

// Counts the call; true (and fired) for the one to fail.
bool failThisOne()
{
    return ++g_calls == g_failAt.load() && (g_fired = true);
}

} // namespace

extern "C" void *__wrap_malloc(size_t size)
{
    return failThisOne() ? nullptr : __real_malloc(size);
}

extern "C" void *__wrap_calloc(size_t count, size_t size)
{
    return failThisOne() ? nullptr : __real_calloc(count, size);
}

namespace test {

FailAllocation::FailAllocation(unsigned nth)
{
    g_fired = false;
    g_failAt = g_calls.load() + nth;
}

FailAllocation::~FailAllocation()
{
    g_failAt = 0;
}

bool FailAllocation::fired() const
{
    return g_fired.load();
}

unsigned long allocationCount()
{
    return g_calls.load();
}

} // namespace test
