// SPDX-License-Identifier: Apache-2.0
// diagpanel replay's throughput: a 65,535-record SEL (the most a SEL's 16-bit record IDs number)
// written in each capture format and as a scenario, replayed by the tool as a user runs it;
// records a second and the tool's peak memory. Four sensors assert and deassert, at one of three
// paces: a burst (8 records a second), a flood (1 to 3 s apart), one record a second, and a SEL
// spread over months (1 s to 10 min apart). The slower the pace, the more display steps between
// records. The capture of one record a second is also replayed beside a busy process on each
// core, as on a shared build machine.
//   bench_replay <diagpanel>
#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <sched.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include <boards/catalogue.hpp>

#include "host_support/frames.hpp"

namespace {

constexpr unsigned kRecords = 65535;
constexpr u32 kStart = 0x65E1A2C0; // 2024-03-01 09:41:20
constexpr int kRuns = 5;

enum class Pace { Burst, Flood, Second, Spread };

// The SEL: memory, power supply, temperature and fan faults, asserted then deasserted.
std::vector<host::SelBytes> records(Pace pace)
{
    const host::SelBytes kinds[] = {host::systemEventRecord(0x0C, 0x60, 0x6F, 0xA1, 0x00, 0x60),
                                    host::systemEventRecord(0x08, 0x30, 0x6F, 0x01),
                                    host::systemEventRecord(0x01, 0x11, 0x01, 0x59, 0x5A, 0x55),
                                    host::systemEventRecord(0x04, 0x40, 0x0A, 0x08)};
    static constexpr u32 kGaps[] = {1, 2, 3, 2};
    static constexpr u32 kSpreadGaps[] = {1, 2, 5, 30, 600};
    std::vector<host::SelBytes> out;
    u32 stamp = kStart;
    for (unsigned i = 0; i < kRecords; ++i) {
        host::SelBytes r = kinds[i % 4];
        r[0] = static_cast<u8>((i + 1) & 0xFF);
        r[1] = static_cast<u8>((i + 1) >> 8);
        stamp += pace == Pace::Spread   ? kSpreadGaps[(i * 7) % 5]
                 : pace == Pace::Flood  ? kGaps[i % 4]
                 : pace == Pace::Second ? 1
                                        : (i % 8 == 0 ? 1 : 0);
        for (int b = 0; b < 4; ++b) {
            r[3 + b] = static_cast<u8>(stamp >> (8 * b));
        }
        r[12] = static_cast<u8>(r[12] | ((i / 4) % 2 == 1 ? 0x80 : 0x00)); // deasserted
        out.push_back(r);
    }
    return out;
}

std::string hexOf(const u8 *bytes, std::size_t count, const char *format)
{
    std::string out;
    char byte[8];
    for (std::size_t i = 0; i < count; ++i) {
        snprintf(byte, sizeof byte, format, bytes[i]);
        out += (i == 0 ? "" : " ") + std::string(byte);
    }
    return out;
}

void write(const std::string &path, const std::vector<host::SelBytes> &sel, const char *format)
{
    FILE *f = fopen(path.c_str(), "w");
    if (f == nullptr) {
        perror(path.c_str());
        exit(1);
    }
    const std::string kind = format;
    unsigned n = 0;
    for (const host::SelBytes &r : sel) {
        if (kind == "binary") {
            fwrite(r.data(), 1, r.size(), f);
        } else if (kind == "hex") {
            fprintf(f, "%s\n", hexOf(r.data(), r.size(), "%02x").c_str());
        } else if (kind == "ipmi-sel") {
            fprintf(f,
                    "RID:[%02X][%02X] RT:[%02X] TS:[%02X][%02X][%02X][%02X] GID:[%02X][%02X] "
                    "ER:[%02X] ST:[%02X] SN:[%02X] EDIR:[%02X] ED1: [%02X] ED2: [%02X] ED3: "
                    "[%02X]\n",
                    r[0], r[1], r[2], r[3], r[4], r[5], r[6], r[7], r[8], r[9], r[10], r[11], r[12],
                    r[13], r[14], r[15]);
        } else if (kind == "events") { // one record every 4 s: the tool supplies the time
            fprintf(f, "%s\n", hexOf(r.data() + 9, 7, "0x%02x").c_str());
        } else { // scenario: the flood's gaps as waits
            fprintf(f, "sel %s\n%s", hexOf(r.data(), r.size(), "%02x").c_str(),
                    n % 4 == 3 ? "" : "wait 2s\n");
        }
        ++n;
    }
    fclose(f);
}

struct Run {
    double seconds;
    long peakKiB;
};

Run replay(const char *tool, const std::string &input)
{
    char board[16];
    snprintf(board, sizeof board, "%#010x", diag::board::k01030103);
    fflush(stdout); // the child would write out what is buffered
    const auto began = std::chrono::steady_clock::now();
    const pid_t child = fork();
    if (child == 0) {
        if (freopen("/dev/null", "w", stdout) == nullptr) {
            _exit(127);
        }
        execl(tool, tool, "replay", "--board", board, input.c_str(), nullptr);
        _exit(127);
    }
    int status = 0;
    rusage usage{};
    wait4(child, &status, 0, &usage);
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - began;
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        fprintf(stderr, "diagpanel replay %s: exit %d\n", input.c_str(), WEXITSTATUS(status));
        exit(1);
    }
    return {took.count(), usage.ru_maxrss};
}

// A process that keeps one core busy, as another's build or fuzzer would, until it is killed.
pid_t busyOn(int core)
{
    const pid_t child = fork();
    if (child == 0) {
        cpu_set_t one;
        CPU_ZERO(&one);
        CPU_SET(core, &one);
        sched_setaffinity(0, sizeof one, &one);
        for (volatile unsigned long spin = 0;; spin = spin + 1) {
        }
    }
    return child;
}

} // namespace

int main(int argc, char **argv)
{
    if (argc != 2 && argc != 3) {
        fprintf(stderr, "usage: %s <diagpanel> [text of the cases to run]\n", argv[0]);
        return 2;
    }
    char dir[] = "/tmp/bench-replay-XXXXXX";
    if (mkdtemp(dir) == nullptr) {
        perror("mkdtemp");
        return 1;
    }
    struct Case {
        const char *format;
        const char *file;
        Pace pace;
        const char *what;
        bool busy; // beside a busy process on each core
    };
    const Case cases[] = {
        {"binary", "burst.bin", Pace::Burst, "binary, burst (8 a second)"},
        {"binary", "flood.bin", Pace::Flood, "binary, flood (1-3 s apart)"},
        {"hex", "flood.txt", Pace::Flood, "hex, flood"},
        {"ipmi-sel", "dump.txt", Pace::Flood, "ipmi-sel, flood"},
        {"scenario", "flood.scn", Pace::Flood, "scenario, flood (sel and wait lines)"},
        {"events", "save.txt", Pace::Flood, "events (the tool's 4 s apart)"},
        {"binary", "spread.bin", Pace::Spread, "binary, spread over months (1 s-10 min)"},
        {"binary", "second.bin", Pace::Second, "binary, 1 s apart"},
        {"binary", "second.bin", Pace::Second, "binary, 1 s apart, beside a busy process a core",
         true}};
    const long cores = sysconf(_SC_NPROCESSORS_ONLN);
    for (const Case &c : cases) {
        if (argc == 3 && strstr(c.what, argv[2]) == nullptr) {
            continue; // the cases named alone
        }
        const std::string path = std::string(dir) + "/" + c.file;
        write(path, records(c.pace), c.format);
        std::vector<pid_t> busy;
        for (long core = 0; c.busy && core < cores; ++core) {
            busy.push_back(busyOn(static_cast<int>(core)));
        }
        std::vector<Run> runs;
        for (int i = 0; i < kRuns; ++i) {
            runs.push_back(replay(argv[1], path));
        }
        for (const pid_t child : busy) {
            kill(child, SIGKILL);
            waitpid(child, nullptr, 0);
        }
        std::sort(runs.begin(), runs.end(),
                  [](const Run &a, const Run &b) { return a.seconds < b.seconds; });
        const Run &median = runs[kRuns / 2];
        const double rate = kRecords / median.seconds;
        printf("%-40s %7.0f records/s (%.2f s; runs %.2f..%.2f s), peak %ld KiB\n", c.what, rate,
               median.seconds, runs.front().seconds, runs.back().seconds, median.peakKiB);
        printf("ROW|Replay of 65,535 records, %s|%.0f records/s (%.0f..%.0f), peak %.1f MiB|"
               ">= 100000|%s\n",
               c.what, rate, kRecords / runs.back().seconds, kRecords / runs.front().seconds,
               static_cast<double>(median.peakKiB) / 1024, rate >= 100000 ? "met" : "missed");
        unlink(path.c_str());
    }
    rmdir(dir);
    return 0;
}
