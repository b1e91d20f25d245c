// SPDX-License-Identifier: Apache-2.0
// Intake throughput, post to fault table, for SEL frames that merge into an existing entry, as a
// ratio to a floor measured in the same run.
//
// Library: the main thread posts the frames with DIAG_PANEL_TRANS_postMessage; the library's own
// intake thread reads, checks, dispatches and translates each one and merges it into the fault
// table; the clock stops when the intake has taken a marker posted after the last frame.
//
// Floor: the same frames, already framed, written by the main thread with one write() each (what
// postMessage does after its checksums and locks) into a FIFO of the benchmark's own, and a bare
// reader thread making the library reader's read() calls per frame: one per magic byte, one for
// the 12 header bytes, one for the body. It checks nothing and allocates nothing.
//
// Runs alternate floor and library; the ratio of each pair is reported as median and spread.
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <pthread.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include "bench/support.hpp"
#include <host_platform/diagpanel_host.h>

namespace {

constexpr unsigned kFrames = 200000;
constexpr int kRuns = 7;
constexpr char kFloorPipe[] = "/var/bench-floor";

bool readAll(int fd, u8 *buffer, size_t length)
{
    size_t received = 0;
    while (received < length) {
        const ssize_t got = read(fd, buffer + received, length - received);
        if (got < 0 && errno != EINTR && errno != EAGAIN) {
            return false;
        }
        received += got > 0 ? static_cast<size_t>(got) : 0;
    }
    return true;
}

struct FloorReader {
    int fd;
    unsigned frames;
};

void *floorRead(void *arg)
{
    const auto &reader = *static_cast<const FloorReader *>(arg);
    u8 frame[sizeof(DIAG_PANEL_PIPE_MSG_S) + DIAG_PANEL_SEL_LEN];
    for (unsigned n = 0; n < reader.frames; ++n) {
        bool ok = true;
        for (size_t i = 0; i < 4; ++i) {
            ok = ok && readAll(reader.fd, &frame[i], 1); // the magic hunt: a byte per read
        }
        ok = ok && readAll(reader.fd, frame + 4, 12) && readAll(reader.fd, frame + 16, 16);
        if (!ok) {
            perror("floor read");
            exit(1);
        }
    }
    return nullptr;
}

// Frames per second of the bare reader.
double floorRun(const bench::SelFrame &frame)
{
    unlink(kFloorPipe);
    if (mkfifo(kFloorPipe, 0600) != 0) {
        perror("mkfifo");
        exit(1);
    }
    const int fd = open(kFloorPipe, O_RDWR | O_CLOEXEC);
    FloorReader reader{fd, kFrames};
    const double start = bench::now();
    pthread_t thread;
    pthread_create(&thread, nullptr, floorRead, &reader);
    for (unsigned n = 0; n < kFrames; ++n) {
        if (write(fd, frame.words, sizeof frame.words) != sizeof frame.words) {
            perror("floor write");
            exit(1);
        }
    }
    pthread_join(thread, nullptr);
    const double seconds = bench::now() - start;
    close(fd);
    unlink(kFloorPipe);
    return kFrames / seconds;
}

// Frames per second through the library, post to fault table.
double libraryRun(bench::SelFrame &frame)
{
    const double start = bench::now();
    for (unsigned n = 0; n < kFrames; ++n) {
        if (DIAG_PANEL_TRANS_postMessage(frame.msg()) != 0) {
            fprintf(stderr, "postMessage failed\n");
            exit(1);
        }
    }
    bench::drainIntake();
    return kFrames / (bench::now() - start);
}

} // namespace

int main(int argc, char **argv)
{
    bench::isolate(argv[0]);
    const bench::Family &family = bench::familyFromArgs(argc, argv);
    bench::startIntake();
    bench::SelFrame frame = bench::selFrame(family);
    const u32 logged = HOST_LogCount();
    DIAG_PANEL_TRANS_postMessage(frame.msg()); // creates the entry; also frames the bytes in place
    bench::drainIntake();
    if (HOST_LogCount() !=
        logged + 1) { // the marker's line alone: the record was translated silently
        fprintf(stderr, "the %s record logged something: not a plain merge\n", family.name);
        return 1;
    }

    std::vector<double> floors, libraries, ratios;
    for (int run = 0; run < kRuns; ++run) {
        floors.push_back(floorRun(frame));
        libraries.push_back(libraryRun(frame));
        ratios.push_back(libraries.back() / floors.back());
    }
    DIAG_PANEL_TRANS_Deinit();

    const bench::Spread floor = bench::spread(floors);
    const bench::Spread library = bench::spread(libraries);
    const bench::Spread ratio = bench::spread(ratios);
    printf("intake %s: %d runs of %u frames\n", family.name, kRuns, kFrames);
    printf("  floor    %8.0f frames/s  (%.0f .. %.0f)\n", floor.median, floor.min, floor.max);
    printf("  library  %8.0f frames/s  (%.0f .. %.0f)\n", library.median, library.min, library.max);
    printf("  ratio    %8.2f           (%.2f .. %.2f)\n", ratio.median, ratio.min, ratio.max);
    printf("ROW|Intake throughput, %s SEL merge, ratio to floor|%.2f (%.2f..%.2f; %.0f vs "
           "%.0f frames/s)|>= 0.70|%s\n",
           family.name, ratio.median, ratio.min, ratio.max, library.median, floor.median,
           ratio.median >= 0.7 ? "met" : "missed");
    return 0;
}
