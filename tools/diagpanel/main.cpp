// SPDX-License-Identifier: Apache-2.0
// diagpanel: what the diagnostic panel shows, and when, for a SEL captured from a real server or
// a scenario, replayed through the real library and the stand-in platform in virtual time.
#include <algorithm>
#include <cstdio>
#include <memory>
#include <unistd.h>

#include <CLI/CLI.hpp>

#include "tools/diagpanel/panel_code.hpp"
#include "tools/diagpanel/readers/capture.hpp"
#include "tools/diagpanel/readers/text.hpp"
#include "tools/diagpanel/follow/follow.hpp"
#include "tools/diagpanel/replay.hpp"
#include "tools/diagpanel/readers/sdr.hpp"
#include "tools/diagpanel/tables.hpp"
#include <boards/catalogue.hpp>

namespace {

using namespace diagpanel;

constexpr int kInputErrors = 1;
constexpr int kUsage = 2;
constexpr std::size_t kBatch = 256; // inputs in flight in the library's intake at once

// The number of names a board has for a fault type, or 0.
unsigned names(const diag::BoardRow &board, u32 faultType)
{
    for (u32 row = 0; row < board.uiTableNum; ++row) {
        if (board.pstTables[row].uiFaultType == faultType) {
            return board.pstTables[row].uiNameNum;
        }
    }
    return 0;
}

int boards()
{
    printf("board        processor  power supply   fan  temperature   (sensor names)\n");
    for (const diag::BoardRow &b : diag::boardTable()) {
        printf("%s  %9u  %12u  %4u  %11u\n", hex32(b.uiBoardId).c_str(),
               names(b, DIAG_PANEL_FAULT_CPU), names(b, DIAG_PANEL_FAULT_PSU),
               names(b, DIAG_PANEL_FAULT_FAN), names(b, DIAG_PANEL_FAULT_TEMP));
    }
    return 0;
}

std::string plural(std::size_t count, const char *what)
{
    return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

// A board identifier as 0x01030103 or 01030103h; nullopt when it is written otherwise.
std::optional<unsigned long> boardId(const std::string &text)
{
    const bool hex = text.starts_with("0x") || text.starts_with("0X") || text.ends_with('h') ||
                     text.ends_with('H');
    return hex ? parseNumber(text) : std::nullopt;
}

// The supported board of that identifier, or nullopt.
std::optional<u32> board(unsigned long id)
{
    const auto rows = diag::boardTable();
    const auto found = std::find_if(rows.begin(), rows.end(),
                                    [&](const diag::BoardRow &b) { return b.uiBoardId == id; });
    return found != rows.end() ? std::optional<u32>(found->uiBoardId) : std::nullopt;
}

int decode(const std::vector<std::string> &codes, const std::string &encoding)
{
    int status = 0;
    for (const std::string &text : codes) {
        std::optional<unsigned long> code = parseNumber(text);
        if (text.find_first_of("xXhH") == std::string::npos) {
            code = parseNumber("0x" + text); // panel codes are written in hex
        }
        if (!code || *code > 0xFFFFFFFFul) {
            fprintf(stderr, "diagpanel: '%s' is not a 32-bit panel code\n", text.c_str());
            status = kInputErrors;
            continue;
        }
        bool shown = false;
        for (const auto &[name, e] : {std::pair{"one-hot", tools::Encoding::OneHot},
                                      std::pair{"numeric", tools::Encoding::Numeric}}) {
            const tools::DecodedCode d = tools::decodePanelCode(static_cast<u32>(*code), e);
            if (encoding == name || (encoding == "auto" && d.valid)) {
                printf("%-10s  %-7s  %s", shown ? "" : hex32(static_cast<u32>(*code)).c_str(), name,
                       d.words.c_str());
                if (d.valid) {
                    printf("  (fault type %u, index %02X, level %u)", d.faultType, d.index,
                           d.level);
                }
                printf("\n");
                shown = true;
            }
        }
        if (!shown) {
            printf("%s  neither a one-hot nor a numeric panel code\n",
                   hex32(static_cast<u32>(*code)).c_str());
            status = kInputErrors;
        }
    }
    return status;
}

struct ReplayArgs {
    std::string board;
    std::string sdr;
    std::optional<unsigned> level;
    std::string format = "auto";
    bool json = false;
    std::string svg;
    bool strict = false;
    bool inputs = false;
    std::vector<std::string> files;
};

// The first problems of an input, then how many more there were.
void report(const std::string &file, const std::vector<Problem> &shown, std::size_t count,
            bool strict)
{
    const char *outcome = strict ? "stopped" : "skipped";
    for (const Problem &p : shown) {
        fprintf(stderr, "diagpanel: %s: %s (%s)\n", p.source.where().c_str(), p.why.c_str(),
                outcome);
    }
    if (count > shown.size()) {
        fprintf(stderr, "diagpanel: %s: ... and %zu more unreadable lines or records (%s)\n",
                file.c_str(), count - shown.size(), outcome);
    }
}

// The supported board a --board value names, or nullopt after saying why and which boards are.
std::optional<u32> supportedBoard(const std::string &text)
{
    const std::optional<unsigned long> id = boardId(text);
    if (const std::optional<u32> supported = id ? board(*id) : std::nullopt) {
        return supported;
    }
    if (id) {
        fprintf(stderr, "diagpanel: %s is not a supported board; the supported boards are:\n",
                text.c_str());
    } else {
        fprintf(stderr,
                "diagpanel: '%s' is not a board identifier: write it in hex, as 0x01030103 or "
                "01030103h; the supported boards are:\n",
                text.c_str());
    }
    for (const diag::BoardRow &b : diag::boardTable()) {
        fprintf(stderr, "  %s\n", hex32(b.uiBoardId).c_str());
    }
    return std::nullopt;
}

int replay(const ReplayArgs &args)
{
    ReplayOptions options;
    if (const std::optional<u32> supported = supportedBoard(args.board)) {
        options.board = *supported;
    } else {
        return kUsage;
    }
    std::size_t problems = 0;
    std::string heading = "diagpanel replay: board " + hex32(options.board);
    if (!args.sdr.empty()) {
        SensorNames sdr = readSdr(args.sdr, args.strict);
        report(args.sdr, sdr.problems, sdr.unreadable, args.strict);
        problems += sdr.unreadable;
        options.names = std::move(sdr.names);
        heading += ", sensor names from " + args.sdr + " (" + sdr.form + ", " +
                   std::to_string(options.names.size()) + ")";
        for (const std::string &note : sdr.notes) {
            heading += "\n    note: " + note;
        }
        if (args.strict && problems > 0) {
            return kInputErrors;
        }
    }
    options.severity = args.level ? std::optional<u8>(static_cast<u8>(*args.level)) : std::nullopt;
    options.listInputs = args.inputs;
    options.batch = kBatch;

    // Each input is read twice, so that memory does not grow with its size: once for its format,
    // problems and count, then item by item into the replay.
    std::vector<std::pair<std::string, Format>> inputs;
    std::size_t total = 0;
    for (const std::string &file : args.files) {
        ItemOut out(file, args.strict);
        readCapture(file, formatByName(args.format).value_or(Format::Auto), out);
        report(file, out.shown(), out.problems(), args.strict);
        problems += out.problems();
        total += out.items();
        inputs.emplace_back(file, out.format);
        heading += "\n  " + file + ": " +
                   (out.format == Format::Auto ? "not read" : formatName(out.format)) + ", " +
                   plural(out.items(), "input");
        for (const std::string &note : out.notes()) {
            heading += "\n    note: " + note;
        }
        if (args.strict && out.problems() > 0) {
            break; // the inputs before the first problem are still replayed
        }
    }
    options.total = isatty(STDERR_FILENO) != 0 && total > 500 ? total : 0;

    std::vector<std::unique_ptr<Sink>> sinks;
    sinks.push_back(args.json ? jsonSink(stdout) : textSink(stdout));
    if (!args.svg.empty()) {
        sinks.push_back(svgSink(args.svg));
    }
    std::vector<Sink *> targets;
    for (const auto &s : sinks) {
        targets.push_back(s.get());
        s->begin(heading);
    }
    Replay run(options, targets);
    std::string why;
    if (!run.start(why)) {
        fprintf(stderr, "diagpanel: %s\n", why.c_str());
        return kInputErrors;
    }
    for (const auto &[file, format] : inputs) {
        run.beginFile();
        ItemOut out(file, args.strict, [&run](const Item &item) { run.play(item); });
        readCapture(file, format, out);
    }
    run.finish(problems);
    fflush(stdout);
    return problems > 0 ? kInputErrors : 0;
}

} // namespace

int main(int argc, char **argv)
{
    CLI::App app{"What the diagnostic panel shows, and when: SEL captures and scenarios replayed "
                 "through the real libDiagnosticPanel in virtual time.",
                 "diagpanel"};
    app.require_subcommand(1);

    ReplayArgs args;
    CLI::App *replayCmd = app.add_subcommand(
        "replay", "Replay inputs, in order, through the library on one board and print the "
                  "timeline of the panel.\nExit: 0, 1 when an input could not be read (it is "
                  "reported and skipped), 2 for a usage error.");
    replayCmd->add_option("--board", args.board, "product board identifier, such as 0x01030103")
        ->required();
    replayCmd->add_option("--sdr", args.sdr,
                          "sensor names: `ipmitool sdr elist` text, `ipmitool sdr dump` binary, "
                          "or number,name lines");
    replayCmd
        ->add_option("--level", args.level,
                     "severity code of every SEL record (default: none, so each "
                     "translator's own level applies)")
        ->check(CLI::Range(0, 255));
    replayCmd
        ->add_option("--format", args.format,
                     "input format, detected from the content by default:\n"
                     "  binary    16 bytes a record (ipmitool sel writeraw)\n"
                     "  hex       16 hex bytes a line, or an 18-byte Get SEL Entry reply\n"
                     "  ipmi-sel  ipmi-sel --hex-dump lines\n"
                     "  events    7-byte event lines (ipmitool sel add / event file)\n"
                     "  scenario  post start|progress N|end|stop|code XX.., sel <16 bytes> "
                     "[level N],\n            wait 12s|5m|2h, diag-mode on|off, sensor N NAME, "
                     "fan N error|ok, # comment")
        ->check(CLI::IsMember({"auto", "binary", "hex", "ipmi-sel", "events", "scenario"}));
    replayCmd->add_flag("--json", args.json, "write the timeline as JSON Lines");
    replayCmd->add_option("--svg", args.svg, "also draw the timeline into this SVG file");
    replayCmd->add_flag("--strict", args.strict, "stop at the first input that cannot be read");
    replayCmd->add_flag("--inputs", args.inputs, "a timeline line for every input record");
    replayCmd->add_option("INPUT", args.files, "SEL captures and scenarios, replayed in order")
        ->required();

    std::vector<std::string> codes;
    std::string encoding = "auto";
    CLI::App *decodeCmd = app.add_subcommand(
        "decode", "Decode panel codes into words: fault type, component index, level; POST "
                  "progress, error and end.");
    decodeCmd->add_option("CODE", codes, "32-bit panel codes in hex, such as 0x00009d98")
        ->required();
    decodeCmd
        ->add_option("--encoding", encoding,
                     "one-hot (what the display writes), numeric (DIAG_PANEL_CORE_commonIfc_ex), "
                     "or auto: every reading that fits")
        ->check(CLI::IsMember({"auto", "one-hot", "numeric"}));

    app.add_subcommand("boards", "List the supported product boards and their sensor-name tables.");

    FollowArgs followArgs;
    std::string followBoard;
    CLI::App *followCmd = app.add_subcommand(
        "follow", "Follow a live BMC's SEL over IPMI LAN through the library: every record from "
                  "the first, then each new one as the BMC logs it.\nExit: 0, 1 when a record "
                  "could not be read (it is reported and skipped), 2 for a usage error, 3 when "
                  "the BMC could not be reached or logged in to at start.");
    followCmd->add_option("--host", followArgs.host, "the BMC's LAN address")->required();
    followCmd->add_option("--port", followArgs.port, "its RMCP port (default 623)")
        ->check(CLI::Range(1, 65535));
    followCmd->add_option("--user", followArgs.user, "the IPMI user")->required();
    followCmd->add_option("--board", followBoard, "product board identifier, such as 0x01030103")
        ->required();
    followCmd
        ->add_option("--password-file", followArgs.passwordFile,
                     "the password, first line of this file (or: the IPMI_PASSWORD variable)")
        ->check(CLI::ExistingFile);
    followCmd->add_option("--password", followArgs.password,
                          "the password itself: visible to other users, accepted with a warning");
    followCmd
        ->add_option("--cipher-suite", followArgs.cipherSuite,
                     "RMCP+ cipher suite (default 3: HMAC-SHA1, AES-128)")
        ->check(CLI::Range(0, 17));
    followCmd->add_flag("--lan15", followArgs.lan15, "IPMI 1.5 LAN instead of RMCP+");
    followCmd
        ->add_option("--sdr", followArgs.sdr,
                     "sensor names from this file instead of the BMC's SDR repository")
        ->check(CLI::ExistingFile);
    followCmd->add_option("--interval", followArgs.interval, "seconds between polls (default 1)")
        ->check(CLI::Range(0.05, 3600.0));
    followCmd->add_flag("--new-only", followArgs.newOnly,
                        "only records logged after the start (default: from the first)");
    followCmd->add_option("--duration", followArgs.duration, "stop after so many seconds");
    followCmd->add_option("--records", followArgs.records, "stop after so many records");
    followCmd->add_flag("--json", followArgs.json, "write the timeline as JSON Lines");
    followCmd->add_option("--svg", followArgs.svg, "also draw the timeline into this SVG file");
    followCmd->add_flag("--stats", followArgs.stats,
                        "IPMI commands and polls, on standard error at the end");

    std::string tablesBoard;
    CLI::App *tablesCmd = app.add_subcommand(
        "tables", "Print what the library makes of every record and platform answer that one of "
                  "its constant tables decides, board by board, found by putting records "
                  "through the library.");
    tablesCmd->add_option("--board", tablesBoard, "only this board, such as 0x01030103");

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError &e) {
        return app.exit(e) == 0 ? 0 : kUsage;
    }
    if (followCmd->parsed()) {
        const std::optional<u32> supported = supportedBoard(followBoard);
        return supported ? follow(followArgs, *supported) : kUsage;
    }
    if (replayCmd->parsed()) {
        return replay(args);
    }
    if (decodeCmd->parsed()) {
        return decode(codes, encoding);
    }
    if (tablesCmd->parsed()) {
        std::optional<unsigned long> id;
        if (!tablesBoard.empty() && !(id = boardId(tablesBoard))) {
            fprintf(stderr, "diagpanel: '%s' is not a board identifier: write it in hex\n",
                    tablesBoard.c_str());
            return kUsage;
        }
        return printTables(stdout, id ? std::optional<u32>(static_cast<u32>(*id)) : std::nullopt);
    }
    return boards();
}
