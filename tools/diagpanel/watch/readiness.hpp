// SPDX-License-Identifier: Apache-2.0
// The pipes the watcher's loop waits on, kept in the kernel between waits (epoll): poll() over a
// thousand workers' pipes at every wake-up cost more than everything else the loop did. Used from
// the loop thread only.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <sys/epoll.h>

namespace diagpanel {

class Readiness
{
  public:
    Readiness();
    ~Readiness();
    Readiness(const Readiness &) = delete;
    Readiness &operator=(const Readiness &) = delete;

    bool usable() const { return fd_ >= 0; }

    // Waits for `events` (EPOLLIN, EPOLLOUT) on `fd` on behalf of `owner`, in place of what
    // `watched` (-1: nothing) was waited for; fd -1 waits for nothing. `watched` is then the fd
    // waited for. A file descriptor must be let go (fd -1) before it is closed.
    void watch(int &watched, int fd, uint32_t events, void *owner) const; // the set is the kernel's

    // Waits up to `timeoutMs` for something watched to be ready: what is, with its owner.
    std::span<const epoll_event> wait(int timeoutMs);

  private:
    int fd_ = -1;
    // What one wait takes; the rest, still ready, comes with the next.
    std::array<epoll_event, 64> ready_{};
};

} // namespace diagpanel
