// SPDX-License-Identifier: Apache-2.0
#include "common/scoped_lock.hpp"

#include <cerrno>
#include <unistd.h>

#include "common/log.hpp"

namespace diag {

ScopedLock::ScopedLock(pthread_mutex_t &mutex, const char *unit, u32 line)
    : mutex_(mutex), unit_(unit), line_(line)
{
    const int rc = pthread_mutex_lock(&mutex_);
    if (rc != 0) {
        errno = rc; // the pthread calls return their error instead of setting errno
        DiagLogOut(kLogError, line_, unit_, "Error acquiring mutex in Thread ID %d Errno:%d\n",
                   getpid(), errno);
    }
}

ScopedLock::~ScopedLock()
{
    if (pthread_mutex_unlock(&mutex_) != 0) {
        DiagLogOut(kLogError, line_, unit_, "Error in releasing mutex in Thread ID %d\n", getpid());
    }
}

} // namespace diag
