// SPDX-License-Identifier: Apache-2.0
#include "tools/diagpanel/watch/panel_link.hpp"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace diagpanel {

namespace {

void closeFd(int &fd)
{
    if (fd >= 0) {
        close(fd);
        fd = -1;
    }
}

} // namespace

bool PanelLink::start(const std::string &program, std::string &why)
{
    int in[2];
    int out[2];
    if (pipe2(in, O_CLOEXEC) != 0) {
        why = std::string("cannot make a pipe: ") + strerror(errno);
        return false;
    }
    if (pipe2(out, O_CLOEXEC) != 0) {
        why = std::string("cannot make a pipe: ") + strerror(errno);
        close(in[0]);
        close(in[1]);
        return false;
    }
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, in[0], STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
    // A worker's signals as a fresh program's: the watcher's own handlers and mask are its.
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    sigset_t none;
    sigset_t all;
    sigemptyset(&none);
    sigfillset(&all);
    posix_spawnattr_setsigmask(&attributes, &none);
    posix_spawnattr_setsigdefault(&attributes, &all);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    char *argv[] = {const_cast<char *>(program.c_str()), const_cast<char *>("watch-worker"),
                    nullptr};
    const int error = posix_spawn(&pid_, program.c_str(), &actions, &attributes, argv, environ);
    posix_spawn_file_actions_destroy(&actions);
    posix_spawnattr_destroy(&attributes);
    close(in[0]);
    close(out[1]);
    if (error != 0) {
        pid_ = -1;
        close(in[1]);
        close(out[0]);
        why = std::string("cannot start a panel worker: ") + strerror(error);
        return false;
    }
    input_ = in[1];
    output_ = out[0];
    fcntl(input_, F_SETFL, O_NONBLOCK);
    fcntl(output_, F_SETFL, O_NONBLOCK);
    return true;
}

bool PanelLink::write()
{
    while (!queued_.empty()) {
        const ssize_t written = ::write(input_, queued_.data(), queued_.size());
        if (written < 0) {
            return errno == EAGAIN || errno == EINTR;
        }
        queued_.erase(0, static_cast<std::size_t>(written));
    }
    return true;
}

bool PanelLink::read(std::vector<std::string> &lines)
{
    char chunk[65536];
    for (;;) {
        const ssize_t got = ::read(output_, chunk, sizeof chunk);
        if (got == 0) {
            return false;
        }
        if (got < 0) {
            return errno == EAGAIN || errno == EINTR;
        }
        partial_.append(chunk, static_cast<std::size_t>(got));
        std::size_t start = 0;
        for (std::size_t end; (end = partial_.find('\n', start)) != std::string::npos;
             start = end + 1) {
            lines.emplace_back(partial_, start, end - start);
        }
        partial_.erase(0, start);
    }
}

void PanelLink::closeInput()
{
    closeFd(input_);
}

int PanelLink::stop()
{
    closeFd(input_);
    closeFd(output_);
    queued_.clear();
    partial_.clear();
    if (pid_ <= 0) {
        return -1;
    }
    // Its input closed, a worker ends by itself within a display step; one that does not is
    // not waited for.
    int status = 0;
    for (int tries = 0; tries < 20; ++tries) {
        if (waitpid(pid_, &status, WNOHANG) == pid_) {
            pid_ = -1;
            return status;
        }
        usleep(10000);
    }
    kill(pid_, SIGKILL);
    waitpid(pid_, &status, 0);
    pid_ = -1;
    return status;
}

} // namespace diagpanel
