// SPDX-License-Identifier: Apache-2.0
// What tests share: the stand-in's log and panel read back as C++ values, and, from the host
// support library, records posted through the real pipe, the intake barrier and table snapshots.
#pragma once

#include <array>
#include <cstring>
#include <initializer_list>
#include <string>
#include <vector>

#include <diagpanel/diagpanel.h>

#include <host_platform/diagpanel_host.h>
#include "host_support/frames.hpp"
#include "host_support/intake.hpp"
#include "host_support/table.hpp"

// Messages compare byte for byte, the reserved bytes too; table entries field by field.
inline bool operator==(const DIAG_PANEL_MSG_S &a, const DIAG_PANEL_MSG_S &b)
{
    return memcmp(&a, &b, sizeof a) == 0;
}
namespace host {
inline bool operator==(const TableEntry &a, const TableEntry &b)
{
    return a.bucket == b.bucket && a.msg == b.msg && a.displayed == b.displayed;
}
} // namespace host

namespace test {

struct LogLine {
    u32 level;
    std::string file;
    std::string text;
    bool operator==(const LogLine &) const = default;
};

// The log from a point on: create one before the action, read it after.
class LogCursor
{
  public:
    LogCursor() : from_(HOST_LogCount()) {}
    explicit LogCursor(u32 from) : from_(from) {}
    std::vector<LogLine> lines() const;
    std::vector<std::string> texts() const; // the texts alone
    bool contains(const std::string &text) const;

  private:
    u32 from_;
};

// Panel codes written from a point on.
class PanelCursor
{
  public:
    PanelCursor() : from_(HOST_PanelCount()) {}
    std::vector<u32> codes() const;

  private:
    u32 from_;
};

// Platform calls journalled from a point on.
class CallCursor
{
  public:
    CallCursor() : from_(HOST_CallCount()) {}
    std::vector<std::string> calls() const;

  private:
    u32 from_;
};

using host::drainIntake;
using host::postEvent;
using host::postFrame;
using host::postSel;
using host::SelBytes;
using host::waitForLine;
using Entry = host::TableEntry;
using host::tableSnapshot;

// A system event record (type 02h) with the fields translators read.
constexpr SelBytes sel(u8 sensorType, u8 sensorNumber, u8 eventDirType, u8 data1, u8 data2 = 0xFF,
                       u8 data3 = 0xFF, u8 generatorLun = 0)
{
    return host::systemEventRecord(sensorType, sensorNumber, eventDirType, data1, data2, data3,
                                   generatorLun);
}

// Threads and open descriptors of this process, from /proc.
int threadCount();
int openFileCount();

// A message of the given fields, all else zero.
DIAG_PANEL_MSG_S message(u16 type, u8 index, u8 levelInfo, u32 mask, u8 faultLevel = 0);

} // namespace test
