// SPDX-License-Identifier: Apache-2.0
// Instructions per SEL frame, post to fault table, for a frame that merges into an existing entry.
// Run under callgrind with --separate-threads=yes (bench/run.sh does). The run is cut into windows,
// each ended by a marker event that the intake refuses with one log line:
//
//   warm-up   the entry is created and a few merges run, so every lazy binding and every malloc
//             free list is warm
//   marker    the marker alone
//   merges    kMerges frames of the same record, then the marker
//
// Each window is dumped twice: by the main thread (the writer, dumped once the marker was taken)
// and by the intake thread itself (the reader, dumped from the stand-in's log hook while it logs
// the marker's line). Each thread's part of "merges" less its part of "marker", over kMerges, is
// one frame's cost on that side. Outside callgrind the dump requests do nothing.
#include <atomic>
#include <cstdio>

#include <valgrind/callgrind.h>

#include "bench/support.hpp"
#include <host_platform/diagpanel_host.h>
#include "host_support/intake.hpp"

namespace {

std::atomic<const char *> g_readerWindow{"reader"};

// Runs in the intake thread, under the stand-in's lock, for every line the library logs.
void dumpReaderAtMarker(const HOST_LOG_LINE_S *line, void *)
{
    if (host::isDrainMarker(line->acText)) {
        CALLGRIND_DUMP_STATS_AT(g_readerWindow.load());
    }
}

// Ends a window on both sides.
void endWindow(const char *reader, const char *writer)
{
    g_readerWindow = reader;
    bench::drainIntake();
    CALLGRIND_DUMP_STATS_AT(writer);
}

constexpr unsigned kWarmMerges = 50;
constexpr unsigned kMerges = 2000;

void post(bench::SelFrame &frame, unsigned count)
{
    for (unsigned n = 0; n < count; ++n) {
        if (DIAG_PANEL_TRANS_postMessage(frame.msg()) != 0) {
            fprintf(stderr, "postMessage failed\n");
        }
    }
}

} // namespace

int main(int argc, char **argv)
{
    bench::isolate(argv[0]);
    const bench::Family &family = bench::familyFromArgs(argc, argv);
    HOST_LogHook(dumpReaderAtMarker, nullptr);
    bench::startIntake();
    bench::SelFrame frame = bench::selFrame(family);
    post(frame, 1 + kWarmMerges);
    endWindow("reader warm-up", "writer warm-up");

    endWindow("reader marker", "writer marker");

    post(frame, kMerges);
    endWindow("reader merges", "writer merges");

    printf("%s: %u merges\n", family.name, kMerges);
    DIAG_PANEL_TRANS_Deinit();
    return 0;
}
