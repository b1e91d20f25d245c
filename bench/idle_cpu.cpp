// SPDX-License-Identifier: Apache-2.0
// The CPU the library uses while idle: the whole library started with DIAG_PANEL_init, a few
// faults in the table, then a real 10-second window in which nothing is posted. The intake thread
// is blocked in read() and the display thread sleeps between its steps (real sleeps: nothing is
// interposed here). Reports the process's CPU time (getrusage) and each thread's CPU time and
// context switches (/proc/self/task), against the display steps taken in the window.
#include <cstdio>
#include <cstring>
#include <ctime>
#include <string>

#include "bench/support.hpp"
#include <host_platform/diagpanel_host.h>

namespace {

constexpr int kWindowSeconds = 10;

void postFaults()
{
    for (const bench::Family &family : bench::families()) {
        if (family.prepare != nullptr) {
            family.prepare();
        }
        bench::SelFrame frame = bench::selFrame(family);
        DIAG_PANEL_TRANS_postMessage(frame.msg());
    }
    bench::drainIntake();
}

void realSleep(int seconds)
{
    timespec delay{seconds, 0};
    while (nanosleep(&delay, &delay) != 0) {
    }
}

const bench::ThreadUse *findThread(const std::vector<bench::ThreadUse> &threads, int tid)
{
    for (const bench::ThreadUse &thread : threads) {
        if (thread.tid == tid) {
            return &thread;
        }
    }
    return nullptr;
}

} // namespace

int main(int, char **argv)
{
    bench::isolate(argv[0]);
    if (DIAG_PANEL_init(bench::kHalHandle) != 0) {
        fprintf(stderr, "DIAG_PANEL_init failed\n");
        return 1;
    }
    postFaults();
    realSleep(1); // the display's first steps are behind us

    const std::vector<bench::ThreadUse> before = bench::threadUse();
    const unsigned long long cpuBefore = bench::processCpuNs();
    const u32 stepsBefore = HOST_PanelCount();
    realSleep(kWindowSeconds);
    const unsigned long long cpuAfter = bench::processCpuNs();
    const u32 steps = HOST_PanelCount() - stepsBefore;
    const std::vector<bench::ThreadUse> after = bench::threadUse();

    printf("idle for %d s: %u display steps, process CPU %.3f ms\n", kWindowSeconds, steps,
           static_cast<double>(cpuAfter - cpuBefore) / 1e6);
    unsigned long long displayNs = 0;
    unsigned long long otherLibraryNs = 0;
    for (const bench::ThreadUse &end : after) {
        const bench::ThreadUse *start = findThread(before, end.tid);
        const unsigned long long ns = end.cpuNs - (start != nullptr ? start->cpuNs : 0);
        const unsigned long long switches = end.switches - (start != nullptr ? start->switches : 0);
        const bool display = end.name.rfind("DIAG_PANEL_Disp", 0) == 0;
        const bool library = end.name.rfind("DIAG_PANEL_", 0) == 0;
        printf("  thread %-16s %10.3f ms  %3llu context switches\n", end.name.c_str(),
               static_cast<double>(ns) / 1e6, switches);
        if (display) {
            displayNs += ns;
        } else if (library) {
            otherLibraryNs += ns;
        }
    }
    printf("ROW|Idle CPU over %d s (reader blocked, display sleeping)|%.3f ms beyond %u display "
           "steps (%.3f ms; process %.3f ms)|0 ms beyond the steps|%s\n",
           kWindowSeconds, static_cast<double>(otherLibraryNs) / 1e6, steps,
           static_cast<double>(displayNs) / 1e6, static_cast<double>(cpuAfter - cpuBefore) / 1e6,
           otherLibraryNs == 0 ? "met" : "missed");
    DIAG_PANEL_TRANS_Deinit();
    return 0;
}
