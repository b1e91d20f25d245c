// SPDX-License-Identifier: Apache-2.0
// The watcher's end of one panel worker (panel_worker.hpp): the process started, what goes to
// its input queued and written without blocking, its output read back in whole lines. Used from
// the watcher's one loop thread only.
#pragma once

#include <string>
#include <string_view>
#include <sys/types.h>
#include <vector>

namespace diagpanel {

class PanelLink
{
  public:
    PanelLink() = default;
    ~PanelLink() { stop(); }
    PanelLink(const PanelLink &) = delete;
    PanelLink &operator=(const PanelLink &) = delete;

    // Starts `program watch-worker`; false (with why) when it cannot.
    bool start(const std::string &program, std::string &why);
    bool running() const { return pid_ > 0; }

    void send(std::string_view lines) { queued_.append(lines); }
    bool wantsToWrite() const { return !queued_.empty(); }
    // Writes what the pipe takes now; false when the worker is gone.
    bool write();
    // Reads what there is; false at the end of the worker's output. Whole lines go to `lines`.
    bool read(std::vector<std::string> &lines);

    int input() const { return input_; }   // the worker's standard input (we write)
    int output() const { return output_; } // its standard output (we read)

    // Closes the worker's input, which ends it: many workers end at once when all are told first.
    void closeInput();
    // Ends the worker: its input closed, then killed, and waited for. Its exit status, as
    // waitpid gives it; -1 when none was running.
    int stop();

  private:
    pid_t pid_ = -1;
    int input_ = -1;
    int output_ = -1;
    std::string queued_;
    std::string partial_; // output after the last whole line
};

} // namespace diagpanel
