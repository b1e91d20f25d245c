// SPDX-License-Identifier: Apache-2.0
// What the benchmark programs share: a private /var, the SEL records they post, a frame writer, a
// barrier on the intake, clocks, and per-thread CPU time and context switches from /proc.
#pragma once

#include <array>
#include <string>
#include <vector>

#include <diagpanel/diagpanel.h>

#include <boards/catalogue.hpp>

#include "host_support/frames.hpp"

namespace bench {

// The board every program runs on (the stand-in's default) and the handle given to the intake.
inline constexpr u32 kBoard = diag::board::k01030103;
inline constexpr u32 kHalHandle = 0x5A;

using host::SelBytes;

// A SEL record family as the benchmarks post it: a name for the table, the record, its severity
// code, and what the stand-in platform must know to translate it.
struct Family {
    const char *name;
    SelBytes record;
    u8 severity;
    void (*prepare)(); // scripts the stand-in platform; may be nullptr
};

// Memory, uncorrectable ECC on DIMM B3: indexed from event data, no platform name lookup.
const Family &memoryFamily();
// Power supply, failure detected on PSU_2_Status: the sensor-name lookup and the BCD index.
const Family &psuFamily();
const std::vector<Family> &families();
// The family named by the program's first argument (memory when there is none), with the
// stand-in platform prepared for it; exits with a usage line for an unknown name.
const Family &familyFromArgs(int argc, char **argv);

// A frame as a producer builds it: header and a 16-byte SEL body, in words so that the header is
// aligned as a caller's would be.
struct SelFrame {
    u32 words[(sizeof(DIAG_PANEL_PIPE_MSG_S) + DIAG_PANEL_SEL_LEN) / sizeof(u32)];
    DIAG_PANEL_PIPE_MSG_S *msg() { return reinterpret_cast<DIAG_PANEL_PIPE_MSG_S *>(words); }
};
SelFrame selFrame(const Family &family);

// Makes /var private (needs root) and silences the stand-in's log echo; exits on failure.
void isolate(const char *program);

// Starts the intake and the fault table alone (no display thread); exits on failure.
void startIntake();

// Asserts fault bits `mask` at level 1 for every fault type and every index 0..255 through
// DIAG_PANEL_ProcessNewMsg: 3,072 new entries in an empty table, or as many merges. Exits on
// failure.
inline constexpr u32 kEntriesPerBucket = 256;
inline constexpr u32 kFullTable = DIAG_PANEL_FAULT_TYPE_NUM * kEntriesPerBucket;
void assertEveryEntry(u32 mask);

// Waits until the intake has taken every frame posted before (host::drainIntake); exits on failure.
void drainIntake();

// Monotonic seconds.
double now();

// CPU time of one thread of this process, in nanoseconds (/proc/self/task/<tid>/schedstat), and
// its voluntary plus involuntary context switches (/proc/self/task/<tid>/status).
struct ThreadUse {
    int tid;
    std::string name;
    unsigned long long cpuNs;
    unsigned long long switches;
};
std::vector<ThreadUse> threadUse();

// Process CPU time (user + system) in nanoseconds, from getrusage.
unsigned long long processCpuNs();

// Median and spread (min, max) of a set of figures.
struct Spread {
    double median, min, max;
};
Spread spread(std::vector<double> values);

} // namespace bench
