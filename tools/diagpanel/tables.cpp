// SPDX-License-Identifier: Apache-2.0
// diagpanel tables: the library's constant tables as the library applies them. Nothing here knows
// a table: each section chooses inputs (record fields, platform answers) and prints what the real
// library did with them, through its pipe, intake, translators and fault table, or through its
// exported functions and data.
#include "tools/diagpanel/tables.hpp"

#include <chrono>
#include <cstdarg>
#include <cstring>
#include <functional>
#include <map>
#include <span>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include <diagpanel/diagpanel.h>
#include <platform/platform.h>

#include <host_platform/diagpanel_host.h>
#include "host_support/frames.hpp"
#include "host_support/log.hpp"
#include "host_support/session.hpp"
#include "host_support/table.hpp"
#include <boards/catalogue.hpp>

namespace diagpanel {

namespace {

constexpr auto kWait = std::chrono::seconds(60); // for the intake to take a sweep's records
constexpr u8 kNoSeverity = 0;                    // each translator's own level applies
constexpr u8 kDiskInstance = 7;
constexpr u32 kFirstBoard = diag::board::k01030103;
// Boards a translator knows beyond the catalogue (memory layouts only), the platform's "unknown
// board", and two that no table lists.
constexpr u32 kOtherBoards[] = {diag::board::k02033404,     diag::board::k30033204,
                                diag::board::k30033404,     diag::board::kUnknown,
                                diag::board::k01030103 + 1, 0};

using host::SelBytes;
using host::systemEventRecord;

std::string format(const char *fmt, ...) __attribute__((format(printf, 1, 2)));
std::string format(const char *fmt, ...)
{
    char text[256];
    va_list args;
    va_start(args, fmt);
    vsnprintf(text, sizeof text, fmt, args);
    va_end(args);
    return text;
}

// What one record did: the entries it left in an empty fault table, and the library's warnings.
struct Effect {
    std::vector<DIAG_PANEL_MSG_S> entries;
    std::vector<std::string> warnings;

    std::string text() const
    {
        std::string out;
        for (const DIAG_PANEL_MSG_S &m : entries) {
            out += format("%s%u.%02X", out.empty() ? "" : " ", m.usFaultType, m.ucIndex);
            if (m.uiFaultMask != 0) {
                out += format(" m%X", m.uiFaultMask);
            }
            out += format(" L%u", host::levelOf(m));
        }
        for (const std::string &w : warnings) {
            out += (out.empty() ? "\"" : " \"") + w + "\"";
        }
        return out.empty() ? "-" : out;
    }

    // The entry's type and index (and mask), where the sweep keeps the rest alike; "-" for a
    // record that made none, whatever it logged (the translators' tests read their warnings).
    std::string shortText(bool withMask) const
    {
        if (entries.empty()) {
            return "-";
        }
        if (entries.size() > 1) {
            return text();
        }
        const DIAG_PANEL_MSG_S &m = entries[0];
        return format("%u.%02X", m.usFaultType, m.ucIndex) +
               (withMask ? format(" m%X", m.uiFaultMask) : "");
    }
};

struct Record {
    SelBytes sel;
    u8 severity = kNoSeverity;
};

// Puts records through the intake back to back, each followed by a marker: each marker closes the
// record's effect, the table as it then is (emptied again for the next record) and the warnings
// logged since the record before.
class Probe
{
  public:
    bool start()
    {
        host::SessionSetup setup;
        setup.emptyTableAtMarker = true;
        return session_.emplace(std::move(setup)).privateVar() && session_->startTable();
    }

    // The intake started on `board` (its sensor-name tables selected), then `answering` as the
    // board the platform reports to the translators. False when the intake refuses the board.
    bool useBoard(u32 board, u32 answering) { return session_->startIntake(board, answering); }

    std::vector<Effect> run(const std::vector<Record> &records)
    {
        session_->takeWarnings(); // logged by the sections that call the library directly
        u32 marker = 0;
        for (const Record &r : records) {
            if (session_->postSel(r.sel, r.severity) != 0 || (marker = session_->mark()) == 0) {
                return {};
            }
        }
        std::vector<Effect> out;
        for (const host::Effects &e : session_->waitFor(marker, kWait)) {
            Effect effect{e.table, {}};
            for (const HOST_LOG_LINE_S &line : e.warnings) {
                effect.warnings.emplace_back(host::withoutUnitPrefix(line.acText));
            }
            out.push_back(std::move(effect));
        }
        return out;
    }

    Effect one(const Record &record) { return run({record}).at(0); }

    void stop() { session_.reset(); }

  private:
    std::optional<host::Session> session_;
};

// A line of "input -> effect" pairs, runs of inputs with the same effect joined ("00-0F -"),
// wrapped at 100 columns under a label.
class Line
{
  public:
    Line(std::FILE *out, std::string label) : out_(out), label_(std::move(label)) {}
    ~Line() { flush(); }
    Line(const Line &) = delete;
    Line &operator=(const Line &) = delete;

    void add(const std::string &input, const std::string &effect)
    {
        if (!runs_.empty() && runs_.back().effect == effect && joinable_) {
            runs_.back().last = input;
        } else {
            runs_.push_back({input, input, effect});
        }
    }
    void separate() { joinable_ = false; } // the next input starts a run of its own

  private:
    void flush()
    {
        std::string text = label_ + ":";
        for (const Run &r : runs_) {
            std::string item = r.first == r.last ? r.first : r.first + "-" + r.last;
            item += " " + r.effect;
            if (text.size() + item.size() + 2 > 100) {
                fprintf(out_, "%s\n", text.c_str());
                text = "   ";
            }
            text += "  " + item;
        }
        fprintf(out_, "%s\n", text.c_str());
    }

    struct Run {
        std::string first, last, effect;
    };
    std::FILE *out_;
    std::string label_;
    std::vector<Run> runs_;
    bool joinable_ = true;
};

std::string hex2(unsigned value)
{
    return format("%02X", value);
}

// What a sweep prints of each input: its whole effect; its entry's type and index; or, of the
// inputs that made an entry only, its type and index, with or without its mask.
enum class Show : u8 { kAll, kIndex, kEntries, kEntriesWithMask };

// Sweeps inputs 0..count-1 through `record`, one line of effects under `label`.
void sweep(std::FILE *out, Probe &probe, const std::string &label, unsigned count,
           const std::function<Record(unsigned)> &record, Show show = Show::kAll)
{
    std::vector<Record> records;
    for (unsigned i = 0; i < count; ++i) {
        records.push_back(record(i));
    }
    const std::vector<Effect> effects = probe.run(records);
    Line line(out, label);
    for (unsigned i = 0; i < effects.size(); ++i) {
        const Effect &e = effects[i];
        const bool entriesOnly = show == Show::kEntries || show == Show::kEntriesWithMask;
        if (entriesOnly && e.entries.empty()) {
            line.separate();
            continue;
        }
        line.add(hex2(i),
                 show == Show::kAll ? e.text() : e.shortText(show == Show::kEntriesWithMask));
    }
}

void clearCardMarks()
{
    for (unsigned card = 0; card < HOST_PCIE_CARD_ROWS; ++card) {
        g_astAllPcieCardInfo[card][PCIE_CARD_INFO_M2_MARK] = 0;
    }
}

// ---- The library's own tables, read through its exports ----

void printExports(std::FILE *out)
{
    fprintf(out, "== exported tables\n");
    Line levels(out, "g_astDiagPanelSelLevel (severity code, level)");
    for (std::size_t pair = 0; pair < 4; ++pair) {
        levels.add(format("%u", g_astDiagPanelSelLevel[2 * pair]),
                   format("%u", g_astDiagPanelSelLevel[(2 * pair) + 1]));
    }
    std::string clear = "g_auiNodeClearTbl (fault types POST start drops):";
    for (const u32 type : g_auiNodeClearTbl) {
        clear += format(" %u", type);
    }
    fprintf(out, "%s\n", clear.c_str());
    std::string ends = "g_astV5R3M2DiagPanel_EndSlotNumTab (end slot, card positions):";
    for (const auto &row : g_astV5R3M2DiagPanel_EndSlotNumTab) {
        ends += format("  %u %u-%u", row[0], row[1], row[2]);
    }
    fprintf(out, "%s\n", ends.c_str());
}

void printRoutes(std::FILE *out)
{
    fprintf(out,
            "== routes: event/reading type -> the sensor types DIAG_PANEL_TRANS_filterValidSEL "
            "takes (the direction bit set alike)\n");
    const auto valid = [](unsigned eventByte, unsigned sensorType) {
        DIAG_PANEL_SEL_S record{};
        record.aucSel[10] = static_cast<u8>(sensorType);
        record.aucSel[12] = static_cast<u8>(eventByte);
        return DIAG_PANEL_TRANS_filterValidSEL(record);
    };
    for (unsigned eventType = 0; eventType < 0x80; ++eventType) {
        std::string types;
        unsigned taken = 0;
        for (unsigned sensorType = 0; sensorType < 256; ++sensorType) {
            const u32 routed = valid(eventType, sensorType);
            taken += routed != 0 ? 1 : 0;
            types += routed != 0 ? " " + hex2(sensorType) + "h" : "";
            if (routed != valid(eventType | 0x80, sensorType)) {
                types += " (" + hex2(sensorType) + "h: not with the direction bit)";
            }
        }
        if (taken > 0) {
            fprintf(out, "%sh:%s\n", hex2(eventType).c_str(),
                    taken == 256 ? " any" : types.c_str());
        }
    }
}

void printSlotNumbers(std::FILE *out)
{
    fprintf(out, "== slot numbers: platform slot -> panel slot (slots not listed stay)\n");
    using Renumber = void (*)(u8 *);
    const std::pair<const char *, Renumber> functions[] = {
        {"DIAG_PANEL_TRANS_V5r2Riser0SlotNum", DIAG_PANEL_TRANS_V5r2Riser0SlotNum},
        {"DIAG_PANEL_TRANS_V8R1RiserSlotNum", DIAG_PANEL_TRANS_V8R1RiserSlotNum},
        {"DIAG_PANEL_TRANS_V5R3RiserSlotNum", DIAG_PANEL_TRANS_V5R3RiserSlotNum},
        {"DIAG_PANEL_TRANS_V5r3M2SlotNum, no card marked", DIAG_PANEL_TRANS_V5r3M2SlotNum},
    };
    // The slots a function renumbers, as "from to" pairs.
    const auto changes = [](Renumber renumber) {
        std::string text;
        for (unsigned slot = 0; slot < 256; ++slot) {
            u8 s = static_cast<u8>(slot);
            renumber(&s);
            text += s != slot ? format(" %u>%u", slot, s) : "";
        }
        return text.empty() ? std::string(" -") : text;
    };
    clearCardMarks();
    for (const auto &[label, renumber] : functions) {
        fprintf(out, "%s:%s\n", label, changes(renumber).c_str());
    }
    // A null slot pointer is logged, at level 3.
    for (const auto &[label, renumber] : functions) {
        const u32 from = HOST_LogCount();
        renumber(nullptr);
        for (u32 i = from; i < HOST_LogCount(); ++i) {
            HOST_LOG_LINE_S line{};
            if (HOST_LogGet(i, &line) == 0) {
                fprintf(out, "null pointer: %u %s \"%s\"\n", line.uiLevel, line.acFile,
                        line.acText);
            }
        }
    }
    // The M.2 end slots, with one card position marked at a time, as the platform marks them.
    for (const u8 mark : {u8{0x81}, u8{0x80}}) {
        Line line(out, format("DIAG_PANEL_TRANS_V5r3M2SlotNum, the card marked %02Xh", mark));
        for (unsigned position = 1; position <= HOST_PCIE_CARD_ROWS; ++position) {
            clearCardMarks();
            g_astAllPcieCardInfo[position - 1][PCIE_CARD_INFO_M2_MARK] = mark;
            line.add(format("%u", position), changes(DIAG_PANEL_TRANS_V5r3M2SlotNum).substr(1));
        }
    }
    clearCardMarks();
}

void printVersionRead(std::FILE *out, const std::vector<u32> &boards)
{
    fprintf(out, "== panel version read: hardware letter by revision (version word bits 23-21)\n");
    {
        Line line(out, "revision");
        HOST_Reset();
        HOST_SetBoardId(kOtherBoards[0]);
        for (u32 revision = 0; revision < 8; ++revision) {
            HOST_PanelSetVersion(revision << 21 | 0x1234);
            DIAG_PANEL_INFO_S info{};
            const int rc = DIAG_PANEL_GET_version(&info);
            line.add(format("%u", revision),
                     rc == 0 ? format("%c %04X", info.ucHwVersion, info.usFwVersion) : "-1");
        }
    }
    fprintf(out, "== panel version read by board, word 00A01234h (F 1234) unless said: fitted / "
                 "not fitted / presence query fails, read ok or failed\n");
    for (const u32 board : boards) {
        Line line(out, format("%08X", board));
        struct Case {
            const char *name;
            int presenceResult;
            u8 present;
            bool readFails;
            u32 word;
        };
        const Case cases[] = {
            {"fitted", 0, 1, false, 0x00A01234},
            {"fitted+fail", 0, 1, true, 0x00A01234},
            {"absent", 0, 0, false, 0x00A01234},
            {"absent+fail", 0, 0, true, 0x00A01234},
            {"absent 0", 0, 0, false, 0},
            {"absent FFFFFFFF", 0, 0, false, 0xFFFFFFFF},
            {"query fails", 1, 1, false, 0x00A01234},
        };
        for (const Case &c : cases) {
            HOST_Reset();
            HOST_SetBoardId(board);
            HOST_PanelSetPresence(c.presenceResult, c.present);
            HOST_PanelRefuse(0, c.readFails ? 1 : 0);
            HOST_PanelSetVersion(c.word);
            const u32 from = HOST_LogCount();
            DIAG_PANEL_INFO_S info{};
            const int rc = DIAG_PANEL_GET_version(&info);
            std::string effect =
                rc == 0 ? format("%c %04X", info.ucHwVersion, info.usFwVersion) : "-1";
            for (u32 i = from; i < HOST_LogCount(); ++i) {
                HOST_LOG_LINE_S logged{};
                if (HOST_LogGet(i, &logged) == 0) {
                    effect += format(" \"%s\"", logged.acText);
                }
            }
            line.separate();
            line.add(c.name, effect);
        }
    }
    HOST_Reset();
}

// ---- Records through the pipe ----

SelBytes record(u8 sensorType, u8 sensorNumber, u8 eventType, u8 data1, u8 data2 = 0xFF,
                u8 data3 = 0xFF)
{
    return systemEventRecord(sensorType, sensorNumber, eventType, data1, data2, data3);
}

// The first board's names for the name-keyed families, as the sweeps below use them.
void nameSensors()
{
    HOST_SensorSetName(0x30, "PSU_1_Status");
    HOST_SensorSetName(0x31, "01-Inlet Temp");
    HOST_SensorSetName(0x32, "CPU_2_Status");
    HOST_SensorSetName(0x33, "Fan_2_Status");
}

void printOffsets(std::FILE *out, Probe &probe)
{
    fprintf(out,
            "== event offsets on board %08X, no severity given (each family's own level): "
            "offset -> entries (type.index mask level) and warnings\n",
            kFirstBoard);
    probe.useBoard(kFirstBoard, kFirstBoard);
    nameSensors();
    HOST_FanSetError(1, 1);
    g_astGetALLHDDSensor[0x42][0] = kDiskInstance;
    HOST_DiskSetLocation(kDiskInstance, 1, 5, 0);
    g_uiPcieRaidSlotNum = 3;
    const u8 codes[] = {0x19, 0xA1, 0xB2};
    HOST_PostSetCodes(codes, sizeof codes);
    struct Family {
        const char *name;
        std::function<SelBytes(u8 offset)> record;
    };
    const Family families[] = {
        {"memory 6Fh/0Ch, data A0h+o 00 00",
         [](u8 o) { return record(0x0C, 0x60, 0x6F, 0xA0 | o, 0, 0); }},
        {"disk 6Fh/0Dh", [](u8 o) { return record(0x0D, 0x42, 0x6F, o); }},
        {"RAID 6Fh/17h, data 80h+o 12",
         [](u8 o) { return record(0x17, 0x50, 0x6F, 0x80 | o, 12); }},
        {"RAID 07h/17h, data 80h+o 12",
         [](u8 o) { return record(0x17, 0x50, 0x07, 0x80 | o, 12); }},
        {"firmware progress 6Fh/0Fh, data 80h+o 03",
         [](u8 o) { return record(0x0F, 0x01, 0x6F, 0x80 | o, 0x03); }},
        {"POST 6Fh/23h, data C0h+o 01",
         [](u8 o) { return record(0x23, 0x03, 0x6F, 0xC0 | o, 0x01); }},
        {"POST 6Fh/23h, data C0h 0o", [](u8 o) { return record(0x23, 0x03, 0x6F, 0xC0, o); }},
        {"POST 6Fh/23h, data o0h 01",
         [](u8 o) { return record(0x23, 0x03, 0x6F, static_cast<u8>(o << 4), 0x01); }},
        {"temperature 01h/01h, '01-Inlet Temp'", [](u8 o) { return record(0x01, 0x31, 0x01, o); }},
        {"power supply 6Fh/08h, 'PSU_1_Status'", [](u8 o) { return record(0x08, 0x30, 0x6F, o); }},
        {"processor 6Fh/07h, 'CPU_2_Status'",
         [](u8 o) { return record(0x07, 0x32, 0x6F, o, 0x30); }},
        {"power capping 72h/any", [](u8 o) { return record(0x0A, 0x99, 0x72, o); }},
        {"fan 0Ah/04h, 'Fan_2_Status' in error", [](u8 o) { return record(0x04, 0x33, 0x0A, o); }},
        {"fan 0Bh/04h", [](u8 o) { return record(0x04, 0x33, 0x0B, o); }},
        {"fan 6Fh/04h", [](u8 o) { return record(0x04, 0x33, 0x6F, o); }},
        {"PCIe 6Fh/13h, slot 7", [](u8 o) { return record(0x13, 0x70, 0x6F, 0x80 | o, 7); }},
        {"PCIe 6Fh/21h, RAID slot 3", [](u8 o) { return record(0x21, 0x71, 0x6F, 0x80 | o, 3); }},
    };
    for (const Family &f : families) {
        sweep(out, probe, f.name, 16,
              [&](unsigned o) { return Record{f.record(static_cast<u8>(o))}; });
    }
    // The frame's severity code through the level map, on a record whose own level is 3.
    sweep(out, probe, "severity code, RAID record", 7, [](unsigned s) {
        return Record{record(0x17, 0x50, 0x6F, 0x80, 12), static_cast<u8>(s)};
    });
    // Processor configuration errors: the sensor number says where the processor number is.
    sweep(
        out, probe, "processor 6Fh/07h offset 05h, data A5h 30h 50h, by sensor number", 256,
        [](unsigned n) { return Record{record(0x07, static_cast<u8>(n), 0x6F, 0xA5, 0x30, 0x50)}; },
        Show::kEntries);
    sweep(out, probe, "processor IERR from PCIe slot 15h (data 80h 52h 10h), data 2 low nibble", 16,
          [](unsigned n) {
              return Record{record(0x07, 0x32, 0x6F, 0x80, static_cast<u8>(0x50 | n), 0x10)};
          });
}

// The sections of one board; "as <board>" when an earlier board printed the same.
class BoardSections
{
  public:
    explicit BoardSections(std::FILE *out) : out_(out) {}

    void print(u32 board, const char *section, const std::string &text)
    {
        if (text.empty()) {
            return;
        }
        const auto [it, fresh] = seen_.try_emplace(std::string(section) + "\n" + text, board);
        if (fresh) {
            fprintf(out_, "%s", text.c_str());
        } else {
            fprintf(out_, "%s: as %08X\n", section, it->second);
        }
    }

  private:
    std::FILE *out_;
    std::map<std::string, u32> seen_;
};

// Runs `body` with its lines written into a string.
std::string captured(const std::function<void(std::FILE *)> &body)
{
    char *buffer = nullptr;
    std::size_t size = 0;
    std::FILE *memory = open_memstream(&buffer, &size);
    body(memory);
    fclose(memory);
    std::string text(buffer, size);
    free(buffer);
    return text;
}

void printNames(std::FILE *out, const diag::BoardRow &board)
{
    for (u32 t = 0; t < board.uiTableNum; ++t) {
        const diag::NameTable &table = board.pstTables[t];
        Line line(out, format("names of fault type %u", table.uiFaultType));
        for (u32 n = 0; n < table.uiNameNum; ++n) {
            line.separate();
            line.add(format("\"%s\"", table.pstNames[n].acName),
                     format("%u", table.pstNames[n].ucCode));
        }
    }
}

void printMemory(std::FILE *out, Probe &probe)
{
    // Event data 3 holds s (bits 7-6), c (5-4) and m (3-0); event data 2 holds d (2-1) and h (7).
    const auto dimm = [](unsigned s, unsigned c, unsigned m, unsigned d, unsigned h, u8 sensor) {
        return Record{record(0x0C, sensor, 0x6F, 0xA1, static_cast<u8>(h << 7 | d << 1),
                             static_cast<u8>(s << 6 | c << 4 | m))};
    };
    sweep(
        out, probe, "memory by m (high digit), d and c (low digit: 4d + c), s = h = 0", 256,
        [&](unsigned i) { return dimm(0, i & 3, i >> 4, (i >> 2) & 3, 0, 0x60); }, Show::kIndex);
    sweep(
        out, probe, "memory s=0..3", 4, [&](unsigned s) { return dimm(s, 0, 0, 0, 0, 0x60); },
        Show::kIndex);
    sweep(
        out, probe, "memory h=0..1", 2, [&](unsigned h) { return dimm(0, 0, 0, 0, h, 0x60); },
        Show::kIndex);
    sweep(
        out, probe, "memory by sensor number", 256,
        [&](unsigned n) { return dimm(0, 0, 0, 0, 0, static_cast<u8>(n)); }, Show::kEntries);
}

// Backplane type codes by row, two ways round: a slot's code shows which row it reads.
constexpr u8 kBackplanes[2][4] = {{0x33, 0x00, 0x34, 0x00}, {0x00, 0x33, 0x00, 0x34}};

void printDisks(std::FILE *out, Probe &probe, const u8 (&backplanes)[4])
{
    // Sensor n names disk instance n, whose location each sweep sets.
    const auto disks = [&](const char *label, unsigned count, auto location) {
        for (unsigned n = 0; n < count; ++n) {
            g_astGetALLHDDSensor[n][0] = static_cast<u8>(n);
            const auto [group, slot, kind] = location(n);
            HOST_DiskSetLocation(static_cast<u8>(n), group, slot, kind);
        }
        sweep(
            out, probe, label, count,
            [](unsigned n) { return Record{record(0x0D, static_cast<u8>(n), 0x6F, 0x01)}; },
            Show::kIndex);
    };
    std::string types;
    for (unsigned row = 0; row < 4; ++row) {
        g_astBPCardInfo[row][2] = backplanes[row];
        types += format(" %02Xh", backplanes[row]);
    }
    disks(format("disk front slots, backplane types%s", types.c_str()).c_str(), 32, [](unsigned n) {
        return std::tuple<u8, u8, u32>{1, static_cast<u8>(n), 0};
    });
    disks(format("disk rear slots, backplane types%s", types.c_str()).c_str(), 16, [](unsigned n) {
        return std::tuple<u8, u8, u32>{1, static_cast<u8>(n), 1};
    });
}

void printDiskGroups(std::FILE *out, Probe &probe)
{
    static CARD_CFG_RECORD_S card{};
    for (const u8 variant : {u8{'A'}, u8{'B'}}) {
        card.ucVariant = variant;
        g_stCurrentCardCfgInfo.pstCardCfg = &card;
        for (unsigned n = 0; n < 32; ++n) {
            g_astGetALLHDDSensor[n][0] = static_cast<u8>(n);
            HOST_DiskSetLocation(static_cast<u8>(n), static_cast<u8>(n / 8), static_cast<u8>(n % 8),
                                 n % 2);
        }
        sweep(
            out, probe,
            format("disk groups 0-3 x slots 0-7, kind = slot's low bit, card %c", variant), 32,
            [](unsigned n) { return Record{record(0x0D, static_cast<u8>(n), 0x6F, 0x01)}; },
            Show::kIndex);
    }
    g_stCurrentCardCfgInfo.pstCardCfg = nullptr;
}

void printBoardLogic(std::FILE *out, Probe &probe)
{
    const auto cpld = [](unsigned address, unsigned value) {
        return Record{
            record(0x15, 0x60, 0x6F, 0xA0, static_cast<u8>(address), static_cast<u8>(value))};
    };
    std::vector<Record> all;
    for (unsigned a = 0; a < 256; ++a) {
        all.push_back(cpld(a, 0xFF));
    }
    const std::vector<Effect> answers = probe.run(all);
    fprintf(out, "board logic, event data 1 A0h, by event data 2 and the bit of event data 3:\n");
    for (unsigned a = 0; a < answers.size(); ++a) {
        if (answers[a].entries.empty()) {
            continue;
        }
        sweep(
            out, probe, format("  %02Xh", a), 8, [&](unsigned bit) { return cpld(a, 1u << bit); },
            Show::kIndex);
    }
    sweep(
        out, probe, "board logic, event data 1 00h (not OEM), data 3 00h, by event data 2", 256,
        [](unsigned a) { return Record{record(0x15, 0x60, 0x6F, 0x00, static_cast<u8>(a), 0)}; },
        Show::kEntriesWithMask);
}

void printFans(std::FILE *out, Probe &probe, const diag::BoardRow *board)
{
    if (board == nullptr) {
        return;
    }
    for (u32 t = 0; t < board->uiTableNum; ++t) {
        const diag::NameTable &table = board->pstTables[t];
        if (table.uiFaultType != DIAG_PANEL_FAULT_FAN) {
            continue;
        }
        for (u32 n = 0; n < table.uiNameNum; ++n) {
            HOST_SensorSetName(static_cast<u8>(n), table.pstNames[n].acName);
        }
        for (const u8 offset : {u8{0x03}, u8{0x06}}) {
            for (const int error : {0, 1}) {
                for (unsigned fan = 0; fan < 256; ++fan) {
                    HOST_FanSetError(static_cast<u8>(fan), error);
                }
                sweep(
                    out, probe,
                    format("fan 0Ah offset %02Xh, %s, by name", offset,
                           error != 0 ? "in error" : "no error"),
                    table.uiNameNum,
                    [&](unsigned n) {
                        return Record{record(0x04, static_cast<u8>(n), 0x0A, offset)};
                    },
                    Show::kIndex);
            }
        }
    }
}

void printPcie(std::FILE *out, Probe &probe)
{
    g_uiPcieRaidSlotNum = 3;
    clearCardMarks();
    g_astAllPcieCardInfo[0][PCIE_CARD_INFO_M2_MARK] = 0x81;
    const u8 slots[] = {3, 7, 11, 25, 111, 112, 121, 122, 131, 141, 208, 218, 255};
    Line line(out, "PCIe 6Fh/13h offset 08h by slot, RAID slot 3, card 1 marked");
    const std::vector<Effect> effects = probe.run([&] {
        std::vector<Record> records;
        for (const u8 slot : slots) {
            records.push_back({record(0x13, 0x70, 0x6F, 0x88, slot)});
        }
        return records;
    }());
    for (std::size_t i = 0; i < effects.size(); ++i) {
        line.separate();
        line.add(format("%u", slots[i]), effects[i].text());
    }
    g_uiPcieRaidSlotNum = 0xFF;
}

void printBoard(std::FILE *out, Probe &probe, BoardSections &sections, u32 board)
{
    const std::span<const diag::BoardRow> catalogue = diag::boardTable();
    const diag::BoardRow *row = nullptr;
    for (const diag::BoardRow &b : catalogue) {
        row = b.uiBoardId == board ? &b : row;
    }
    fprintf(out, "== board %08X%s\n", board,
            row != nullptr ? "" : " (not in the board table: the intake runs on the first board)");
    if (row != nullptr) {
        sections.print(board, "names", captured([&](std::FILE *f) { printNames(f, *row); }));
    }
    if (!probe.useBoard(row != nullptr ? board : kFirstBoard, board)) {
        fprintf(out, "the intake did not start\n");
        return;
    }
    sections.print(board, "memory", captured([&](std::FILE *f) { printMemory(f, probe); }));
    sections.print(board, "disks", captured([&](std::FILE *f) {
                       printDisks(f, probe, kBackplanes[0]);
                       printDisks(f, probe, kBackplanes[1]);
                       printDiskGroups(f, probe);
                   }));
    sections.print(board, "board logic",
                   captured([&](std::FILE *f) { printBoardLogic(f, probe); }));
    sections.print(board, "fans", captured([&](std::FILE *f) { printFans(f, probe, row); }));
    sections.print(board, "PCIe", captured([&](std::FILE *f) { printPcie(f, probe); }));
}

void printBackplaneTypes(std::FILE *out, Probe &probe)
{
    // Whether a backplane numbers its slots, and where the rear slots start, by type code: the
    // first board whose disks are numbered by backplane answers.
    for (const diag::BoardRow &b : diag::boardTable()) {
        probe.useBoard(b.uiBoardId, b.uiBoardId);
        g_astGetALLHDDSensor[0][0] = 0;
        HOST_DiskSetLocation(0, 1, 2, 0);
        g_astGetALLHDDSensor[1][0] = 1;
        HOST_DiskSetLocation(1, 1, 2, 1);
        const Effect numbered = probe.one({record(0x0D, 0, 0x6F, 0x01)});
        g_astBPCardInfo[0][2] = 0x33;
        if (probe.one({record(0x0D, 0, 0x6F, 0x01)}).text() == numbered.text()) {
            continue;
        }
        fprintf(out, "== disk backplane types on board %08X, by the first backplane's type code\n",
                b.uiBoardId);
        for (const auto &[label, sensor] :
             {std::pair{"front slot 2", 0}, std::pair{"rear slot 2", 1}}) {
            Line line(out, label);
            for (unsigned type = 0; type < 256; ++type) {
                g_astBPCardInfo[0][2] = static_cast<u8>(type);
                line.add(hex2(type),
                         probe.one({record(0x0D, static_cast<u8>(sensor), 0x6F, 0x01)}).text());
            }
        }
        return;
    }
}

} // namespace

int printTables(std::FILE *out, std::optional<u32> board)
{
    Probe probe;
    if (!probe.start()) {
        fprintf(stderr, "diagpanel: the library did not start (a private /var needs root or user "
                        "namespaces)\n");
        return 1;
    }
    std::vector<u32> boards;
    for (const diag::BoardRow &b : diag::boardTable()) {
        boards.push_back(b.uiBoardId);
    }
    boards.insert(boards.end(), std::begin(kOtherBoards), std::end(kOtherBoards));
    if (board) {
        boards = {*board};
    } else {
        printExports(out);
        printRoutes(out);
        printSlotNumbers(out);
        printVersionRead(out, boards);
        printOffsets(out, probe);
        printBackplaneTypes(out, probe);
    }
    BoardSections sections(out);
    for (const u32 b : boards) {
        printBoard(out, probe, sections, b);
    }
    DIAG_PANEL_TRANS_Deinit();
    probe.stop();
    return 0;
}

} // namespace diagpanel
