// SPDX-License-Identifier: Apache-2.0
#include "bench/support.hpp"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fstream>
#include <sstream>
#include <sys/resource.h>

#include <host_platform/diagpanel_host.h>
#include "host_support/intake.hpp"
#include "host_support/private_var.hpp"

namespace bench {

namespace {

void namePsu()
{
    HOST_SensorSetName(0x30, "PSU_2_Status");
}

} // namespace

const Family &memoryFamily()
{
    static const Family family{
        "memory", host::systemEventRecord(0x0C, 0x60, 0x6F, 0xA1, 0x00, 0x60), 4, nullptr};
    return family;
}

const Family &psuFamily()
{
    static const Family family{"psu", host::systemEventRecord(0x08, 0x30, 0x6F, 0x01), 4, namePsu};
    return family;
}

const std::vector<Family> &families()
{
    static const std::vector<Family> all{memoryFamily(), psuFamily()};
    return all;
}

const Family &familyFromArgs(int argc, char **argv)
{
    const std::string name = argc > 1 ? argv[1] : "memory";
    for (const Family &family : families()) {
        if (name == family.name) {
            if (family.prepare != nullptr) {
                family.prepare();
            }
            return family;
        }
    }
    fprintf(stderr, "usage: %s [memory|psu]\n", argv[0]);
    exit(2);
}

SelFrame selFrame(const Family &family)
{
    SelFrame frame{};
    frame.msg()->ucMsgType = DIAG_PANEL_MSG_TYPE_SEL;
    frame.msg()->ucSelLevel = family.severity;
    frame.msg()->uiLen = DIAG_PANEL_SEL_LEN;
    memcpy(frame.msg()->aucBuf, family.record.data(), family.record.size());
    return frame;
}

void isolate(const char *program)
{
    if (!host::usePrivateVar()) {
        fprintf(stderr, "%s: needs root for a private /var (mount namespace)\n", program);
        exit(1);
    }
    HOST_LogEcho(0);
    HOST_SetBoardId(kBoard);
}

void startIntake()
{
    if (DIAG_PANEL_TRANS_Init(kHalHandle) != 0 || DIAG_PANEL_InitHashTable() != 0) {
        fprintf(stderr, "the intake or the fault table did not start\n");
        exit(1);
    }
}

void assertEveryEntry(u32 mask)
{
    for (u32 type = 0; type < DIAG_PANEL_FAULT_TYPE_NUM; ++type) {
        for (u32 index = 0; index < kEntriesPerBucket; ++index) {
            DIAG_PANEL_MSG_S msg{};
            msg.usFaultType = static_cast<u16>(type);
            msg.ucIndex = static_cast<u8>(index);
            msg.ucLevelInfo = type == DIAG_PANEL_FAULT_POST ? 0x01 : 0x04; // level 1
            msg.uiFaultMask = mask;
            if (DIAG_PANEL_ProcessNewMsg(&msg) != 0) {
                fprintf(stderr, "could not assert entry %u of type %u\n", index, type);
                exit(1);
            }
        }
    }
}

void drainIntake()
{
    if (!host::drainIntake(60000)) {
        fprintf(stderr, "the intake did not take a drain marker\n");
        exit(1);
    }
}

double now()
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

std::vector<ThreadUse> threadUse()
{
    std::vector<ThreadUse> out;
    DIR *dir = opendir("/proc/self/task");
    if (dir == nullptr) {
        return out;
    }
    while (const dirent *entry = readdir(dir)) {
        if (entry->d_name[0] == '.') {
            continue;
        }
        const std::string task = std::string("/proc/self/task/") + entry->d_name;
        ThreadUse use{atoi(entry->d_name), "", 0, 0};
        std::ifstream(task + "/comm") >> use.name;
        std::ifstream(task + "/schedstat") >> use.cpuNs;
        std::ifstream status(task + "/status");
        for (std::string line; std::getline(status, line);) {
            if (line.find("ctxt_switches:") != std::string::npos) {
                use.switches += std::stoull(line.substr(line.find(':') + 1));
            }
        }
        out.push_back(use);
    }
    closedir(dir);
    std::sort(out.begin(), out.end(),
              [](const ThreadUse &a, const ThreadUse &b) { return a.tid < b.tid; });
    return out;
}

unsigned long long processCpuNs()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    const auto ns = [](const timeval &t) {
        return static_cast<unsigned long long>(t.tv_sec) * 1000000000ull +
               static_cast<unsigned long long>(t.tv_usec) * 1000ull;
    };
    return ns(usage.ru_utime) + ns(usage.ru_stime);
}

Spread spread(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return {values[values.size() / 2], values.front(), values.back()};
}

} // namespace bench
