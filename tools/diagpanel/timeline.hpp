// SPDX-License-Identifier: Apache-2.0
// What a replay shows: the panel's codes, the fault table's changes, the library's warnings and
// the inputs, in time order; and where the replay ended. Sinks write it as text, JSON Lines or SVG,
// each in its own file under timeline/.
#pragma once

#include <array>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include <diagpanel/types.h>

#include "tools/diagpanel/panel_code.hpp"

namespace diagpanel {

// What follow notices of the BMC itself, beside the records it reads. Some carry a number.
enum class BmcNews {
    Lost,       // number: seconds until the first try to reach it again
    StillLost,  // number: seconds until the next try
    Back,       // number: seconds it was lost
    Full,       // told once while the overflow flag stays set
    Cleared,    // followed from its first record
    Rewritten,  // followed from its first record, records seen before not repeated
    Deleted,    // number: records deleted
    Unreadable, // number: the record ID asked for; skipped
    Loop,       // number: the record whose next ID led back to one read already
};

// The word the JSON Lines give each (docs/json-lines.md): "lost", "still-lost", ...
const char *bmcNewsWord(BmcNews news);

struct Event {
    enum class Kind { Panel, Repeat, Fault, Warning, Input, Bmc };
    Kind kind = Kind::Panel;
    uint64_t time = 0;                     // virtual seconds since the library started
    std::optional<int64_t> sel;            // the SEL clock at that time, once a capture gave one
    std::string source;                    // the input that caused it: "sel.bin@0x40"
    std::string record;                    // that input, described
    std::optional<std::array<u8, 16>> raw; // Input of a SEL record: its 16 bytes

    u32 code = 0;                 // Panel
    std::vector<u32> cycle;       // Repeat: the codes of one cycle, one a display step
    uint64_t period = 0;          // Repeat: seconds a cycle lasts
    uint64_t until = 0;           // Repeat: the end of the last step of the repetition
    uint64_t times = 0;           // Repeat: how many cycles were shown
    char change = 0;              // Fault: '+' added, '~' changed, '-' removed
    DIAG_PANEL_MSG_S msg{};       // Fault: the entry (as it was, when removed)
    DIAG_PANEL_MSG_S was{};       // Fault '~': before
    u32 level = 0;                // Warning: the log level
    BmcNews news = BmcNews::Lost; // Bmc: what happened
    unsigned number = 0;          // Bmc: seconds, records or a record ID, as `news` says
    std::string text; // Warning: the log text; Input: what it did; Bmc: the sentence for people
};

struct Summary {
    uint64_t time = 0;
    std::optional<int64_t> sel;
    std::vector<DIAG_PANEL_MSG_S> faults; // the fault table, bucket by bucket
    std::vector<u32> cycle;               // the panel's current cycle, one code a step
    uint64_t period = 0;
    std::size_t records = 0;
    std::size_t problems = 0;
    bool live =
        false; // stopped at the clock: a cycle not yet seen is not a panel that never settles
};

class Sink
{
  public:
    virtual ~Sink() = default;
    virtual void begin(const std::string &heading) = 0;
    virtual void event(const Event &event) = 0;
    virtual void end(const Summary &summary) = 0;
};

// The text sink's time column shows the time since the library started; with a local origin
// (epoch seconds at virtual time 0, set while the sink runs) it shows the local time of day.
std::unique_ptr<Sink> textSink(FILE *out, const std::optional<int64_t> *localOrigin = nullptr);
// What every JSON line carries beside its event: the board, and the BMC a live run follows as
// "host:port" (none for a replay). docs/json-lines.md is the contract those lines keep.
struct JsonStamp {
    std::optional<u32> board;
    std::optional<std::string> bmc;
};
constexpr int kJsonSchema = 1; // raised only when a field changes meaning or goes away

// The text and SVG sinks pass over Bmc events (follow tells them on standard error); the JSON
// sink writes them.
std::unique_ptr<Sink> jsonSink(FILE *out, const JsonStamp &stamp = {});
std::unique_ptr<Sink> svgSink(const std::string &path);

// The sinks a command writes to: text or JSON Lines on standard output, and an SVG drawing when
// `svg` names a file. JSON lines carry the stamp; the text sink's time column follows
// `localOrigin` once it is set (see textSink).
class Outputs
{
  public:
    Outputs(bool json, const std::string &svg, const JsonStamp &stamp,
            const std::optional<int64_t> *localOrigin = nullptr);
    void begin(const std::string &heading);
    const std::vector<Sink *> &targets() const { return targets_; }

  private:
    std::vector<std::unique_ptr<Sink>> sinks_;
    std::vector<Sink *> targets_;
};

// Shared words: "0x00009d98"; "1:02:03" or "2d 01:02:03"; "2024-03-01 10:00:40" (UTC).
std::string hex32(u32 value);
std::string hexBytes(std::span<const u8> bytes); // "0100a86c": two lowercase digits a byte
std::string clock(uint64_t seconds);
std::string calendar(int64_t seconds);
std::string faultWords(const DIAG_PANEL_MSG_S &msg); // "memory B3: mask 0x00000002, level 3"

} // namespace diagpanel
