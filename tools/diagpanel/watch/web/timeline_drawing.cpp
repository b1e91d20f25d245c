// SPDX-License-Identifier: Apache-2.0
#include "tools/diagpanel/watch/web/timeline_drawing.hpp"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <sstream>
#include <spawn.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include "tools/diagpanel/state/position_file.hpp"

namespace diagpanel {

namespace {

constexpr std::chrono::seconds kLongestReplay{60}; // a full SEL of 65,535 records takes ~2 s
constexpr std::chrono::milliseconds kLook{20};

// Waits for the child; kills it when it takes too long. Its exit status, or -1.
int waitFor(pid_t child)
{
    const auto deadline = std::chrono::steady_clock::now() + kLongestReplay;
    for (;;) {
        int status = 0;
        const pid_t done = waitpid(child, &status, WNOHANG);
        if (done == child) {
            return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
        }
        if (done < 0 && errno != EINTR) {
            return -1;
        }
        if (std::chrono::steady_clock::now() > deadline) {
            kill(child, SIGKILL);
            waitpid(child, &status, 0);
            return -1;
        }
        std::this_thread::sleep_for(kLook);
    }
}

std::optional<std::string> readFile(const std::string &path)
{
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    if (!in || !(text << in.rdbuf())) {
        return std::nullopt;
    }
    return text.str();
}

// The sensor names the BMC's position keeps, as `ipmitool sdr elist` lists them, for replay's
// --sdr: records name their sensors as the watcher's panel did. False when none are kept.
bool writeNames(const std::string &stateDir, const std::string &path)
{
    std::string why;
    const std::optional<std::string> text = readFile(stateDir + "/position.json");
    const std::optional<SavedPosition> position = text ? parsePosition(*text, why) : std::nullopt;
    if (!position || position->names.empty()) {
        return false;
    }
    std::ofstream out(path);
    for (auto [number, name] : position->names) {
        std::replace(name.begin(), name.end(), '|', '/');
        char line[16];
        snprintf(line, sizeof line, " | %02Xh | ok\n", number);
        out << name << line;
    }
    return static_cast<bool>(out.flush());
}

// A file of our own under /tmp, created empty.
std::optional<std::string> temporary(const char *what)
{
    std::string path = std::string("/tmp/diagpanel-") + what + "-XXXXXX";
    const int fd = mkstemp(path.data());
    if (fd < 0) {
        return std::nullopt;
    }
    close(fd);
    return path;
}

} // namespace

std::optional<std::string> TimelineDrawing::of(const std::string &bmc, const BmcView &view)
{
    const std::lock_guard guard(lock_);
    const auto found = drawn_.find(bmc);
    if (found != drawn_.end() && found->second.first == view.status.records) {
        return found->second.second;
    }
    std::optional<std::string> drawing = draw(view);
    if (drawing) {
        drawn_[bmc] = {view.status.records, *drawing};
    }
    return drawing;
}

std::optional<std::string> TimelineDrawing::draw(const BmcView &view) const
{
    const std::optional<std::string> drawing = program_.empty() ? std::nullopt : temporary("svg");
    const std::optional<std::string> names = drawing ? temporary("sdr") : std::nullopt;
    if (!names) {
        if (drawing) {
            unlink(drawing->c_str());
        }
        return std::nullopt;
    }
    std::vector<const char *> argv = {program_.c_str(),   "replay", "--board",
                                      view.board.c_str(), "--svg",  drawing->c_str()};
    const std::string stateDir = view.records.substr(0, view.records.rfind('/'));
    if (writeNames(stateDir, *names)) {
        argv.insert(argv.end(), {"--sdr", names->c_str()});
    }
    argv.insert(argv.end(), {view.records.c_str(), nullptr});
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    pid_t child = 0;
    const int failed = posix_spawn(&child, program_.c_str(), &actions, nullptr,
                                   const_cast<char *const *>(argv.data()), environ);
    posix_spawn_file_actions_destroy(&actions);
    std::optional<std::string> svg;
    if (failed == 0 && waitFor(child) == 0) {
        svg = readFile(*drawing);
    }
    unlink(drawing->c_str());
    unlink(names->c_str());
    return svg;
}

} // namespace diagpanel
