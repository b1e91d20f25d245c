// SPDX-License-Identifier: Apache-2.0
// One display step over a full fault table (12 buckets x 256 entries): DIAG_PANEL_StateProcess
// called by this program's own thread, with sleep() interposed so that the step's closing sleep
// returns at once. No display thread runs; the walk shows one entry per step, as it does every
// four seconds on the target.
//
// A step that shows an entry scans its bucket from the head past the entries already shown; the
// step that leaves a bucket scans it whole, clears its marks and shows the first entry of the
// next: the worst step. A cycle of 3072 steps holds 12 of those.
//
// Plain run: times every step of kCycles cycles and prints the mean, the median and the worst.
// Under callgrind (bench/run.sh), the windows "cycle" (one whole cycle) and "crossing" (the step
// that leaves bucket 11 for bucket 0) give the instructions per step.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <unistd.h>
#include <vector>

#include <valgrind/callgrind.h>

#include "bench/support.hpp"
#include <host_platform/diagpanel_host.h>

namespace {

constexpr u32 kCycle = bench::kFullTable;
constexpr int kCycles = 10;

unsigned long g_sleeps = 0;

void step()
{
    if (DIAG_PANEL_StateProcess() != 0) {
        fprintf(stderr, "a display step failed\n");
        exit(1);
    }
}

} // namespace

// The display's closing sleep returns at once; this program is the display.
extern "C" unsigned int sleep(unsigned int)
{
    ++g_sleeps;
    return 0;
}

int main(int argc, char **argv)
{
    bench::isolate(argv[0]);
    if (DIAG_PANEL_InitHashTable() != 0) {
        return 1;
    }
    bench::assertEveryEntry(0x1);

    for (u32 n = 0; n < kCycle; ++n) { // warm-up: the first cycle
        step();
    }
    HOST_PanelClear();
    CALLGRIND_DUMP_STATS_AT("warm-up");
    for (u32 n = 0; n < kCycle; ++n) {
        step();
    }
    CALLGRIND_DUMP_STATS_AT("cycle");
    step();
    CALLGRIND_DUMP_STATS_AT("crossing");
    if (argc > 1) { // under callgrind: the windows are all that is wanted
        return 0;
    }

    // The next step leaves bucket 0: realign so that each timed cycle starts at a crossing.
    for (u32 n = 1; n < kCycle; ++n) {
        step();
    }
    using Clock = std::chrono::steady_clock;
    std::vector<double> micros;
    micros.reserve(kCycles * kCycle);
    for (int cycle = 0; cycle < kCycles; ++cycle) {
        HOST_PanelClear();
        for (u32 n = 0; n < kCycle; ++n) {
            const Clock::time_point start = Clock::now();
            step();
            micros.push_back(
                std::chrono::duration<double, std::micro>(Clock::now() - start).count());
        }
    }
    double sum = 0;
    for (const double m : micros) {
        sum += m;
    }
    const double mean = sum / static_cast<double>(micros.size());
    // The crossing steps: the first of each bucket in every cycle.
    std::vector<double> crossings;
    for (size_t n = 0; n < micros.size(); n += bench::kEntriesPerBucket) {
        crossings.push_back(micros[n]);
    }
    const bench::Spread all = bench::spread(micros);
    const bench::Spread crossing = bench::spread(crossings);
    printf("display step, full table: %d cycles of %u steps, %lu sleeps interposed\n", kCycles,
           kCycle, g_sleeps);
    printf("  every step     mean %.2f us, median %.2f us, max %.2f us\n", mean, all.median,
           all.max);
    printf("  leaving bucket median %.2f us (%.2f .. %.2f)\n", crossing.median, crossing.min,
           crossing.max);
    printf("ROW|Display step, full table (12 x 256): time|mean %.2f us; leaving a bucket %.2f us|"
           "-|-\n",
           mean, crossing.median);
    return 0;
}
