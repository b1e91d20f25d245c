// SPDX-License-Identifier: Apache-2.0
#include "host_support/private_var.hpp"

#include <cstdio>
#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

namespace host {

namespace {

bool writeFile(const char *path, const char *text)
{
    const int fd = open(path, O_WRONLY);
    if (fd < 0) {
        return false;
    }
    const auto length = static_cast<ssize_t>(__builtin_strlen(text));
    const bool written = write(fd, text, static_cast<size_t>(length)) == length;
    close(fd);
    return written;
}

// Become root of a user namespace of our own, mapped to who we are outside it.
bool enterUserNamespace()
{
    const uid_t uid = geteuid();
    const gid_t gid = getegid();
    if (unshare(CLONE_NEWUSER) != 0) {
        return false;
    }
    char map[48];
    snprintf(map, sizeof map, "0 %u 1\n", static_cast<unsigned>(uid));
    if (!writeFile("/proc/self/uid_map", map) || !writeFile("/proc/self/setgroups", "deny")) {
        return false;
    }
    snprintf(map, sizeof map, "0 %u 1\n", static_cast<unsigned>(gid));
    return writeFile("/proc/self/gid_map", map);
}

} // namespace

bool usePrivateVar()
{
    if (geteuid() != 0 && !enterUserNamespace()) {
        return false;
    }
    return unshare(CLONE_NEWNS) == 0 &&
           mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
           mount("tmpfs", "/var", "tmpfs", 0, "size=4m,mode=0755") == 0;
}

} // namespace host
