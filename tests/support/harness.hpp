// What tests share: the stand-in's log and panel read back as C++ values, SEL records and display
// events posted through the real pipe, a barrier that waits until the intake has taken everything
// posted before it, and a snapshot of the fault table.
#pragma once

#include <array>
#include <initializer_list>
#include <string>
#include <vector>

#include <diagpanel/diagpanel.h>

#include "host_platform/diagpanel_host.h"
#include "host_platform/sel_record.hpp"

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

using host::SelBytes;

// A system event record (type 02h) with the fields translators read.
SelBytes sel(u8 sensorType, u8 sensorNumber, u8 eventDirType, u8 data1, u8 data2 = 0xFF,
             u8 data3 = 0xFF, u8 generatorLun = 0);

// Posts through DIAG_PANEL_TRANS_postMessage; returns its result.
int postSel(const SelBytes &record, u8 severity);
int postEvent(u32 type, u8 percent = 0);
int postFrame(u8 msgType, const std::vector<u8> &body, u8 severity = 0);

// Waits until exactly this line has been logged at or after line `from`; false on timeout.
bool waitForLine(u32 from, const std::string &text);

// Waits until the intake thread has taken every frame posted before; false on timeout.
bool drainIntake();

// One table entry as the table holds it.
struct Entry {
    u32 bucket;
    DIAG_PANEL_MSG_S msg;
    u8 displayed;
};
std::vector<Entry> tableSnapshot();

// Threads and open descriptors of this process, from /proc.
int threadCount();
int openFileCount();

// A message of the given fields, all else zero.
DIAG_PANEL_MSG_S message(u16 type, u8 index, u8 levelInfo, u32 mask, u8 faultLevel = 0);

} // namespace test
