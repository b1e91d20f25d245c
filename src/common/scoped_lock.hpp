// SPDX-License-Identifier: Apache-2.0
// Holds a mutex for a scope. A failed lock or unlock is logged at level 2 in the caller's unit and
// the caller carries on as though it held the lock.
#pragma once

#include <pthread.h>

#include <diagpanel/types.h>

namespace diag {

class ScopedLock
{
  public:
    ScopedLock(pthread_mutex_t &mutex, const char *unit, u32 line);
    ~ScopedLock();
    ScopedLock(const ScopedLock &) = delete;
    ScopedLock &operator=(const ScopedLock &) = delete;

  private:
    pthread_mutex_t &mutex_;
    const char *unit_;
    u32 line_;
};

} // namespace diag

#define DIAG_SCOPED_LOCK(mutex) diag::ScopedLock scopedLock_((mutex), kLogUnit, __LINE__)
