// SPDX-License-Identifier: Apache-2.0
#include "tools/diagpanel/watch/readiness.hpp"

#include <algorithm>
#include <unistd.h>

namespace diagpanel {

Readiness::Readiness() : fd_(epoll_create1(EPOLL_CLOEXEC)) {}

Readiness::~Readiness()
{
    if (fd_ >= 0) {
        close(fd_);
    }
}

void Readiness::watch(int &watched, int fd, uint32_t events, void *owner) const
{
    if (watched == fd) {
        return;
    }
    if (watched >= 0) {
        epoll_ctl(fd_, EPOLL_CTL_DEL, watched, nullptr);
    }
    watched = -1;
    epoll_event event{};
    event.events = events;
    event.data.ptr = owner;
    if (fd >= 0 && epoll_ctl(fd_, EPOLL_CTL_ADD, fd, &event) == 0) {
        watched = fd;
    }
}

std::span<const epoll_event> Readiness::wait(int timeoutMs)
{
    const int got = epoll_wait(fd_, ready_.data(), static_cast<int>(ready_.size()), timeoutMs);
    return {ready_.data(), static_cast<std::size_t>(std::max(got, 0))};
}

} // namespace diagpanel
