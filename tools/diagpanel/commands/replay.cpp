// SPDX-License-Identifier: Apache-2.0
// diagpanel replay: SEL captures and scenarios, in order, through the library on one board; the
// panel's timeline as text, JSON Lines or SVG.
#include <memory>
#include <unistd.h>

#include "tools/diagpanel/commands/board.hpp"
#include "tools/diagpanel/commands/command.hpp"
#include "tools/diagpanel/exit_codes.hpp"
#include "tools/diagpanel/commands/outputs.hpp"
#include "tools/diagpanel/commands/problems.hpp"
#include "tools/diagpanel/readers/capture.hpp"
#include "tools/diagpanel/readers/sdr.hpp"
#include "tools/diagpanel/replay.hpp"

namespace diagpanel {

namespace {

constexpr std::size_t kBatch = 1024; // inputs in flight in the library's intake at once

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

std::string plural(std::size_t count, const char *what)
{
    return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

int replay(const ReplayArgs &args)
{
    ReplayOptions options;
    if (const std::optional<u32> supported = supportedBoard(args.board)) {
        options.board = *supported;
    } else {
        return kExitUsage;
    }
    std::size_t problems = 0;
    std::string heading = "diagpanel replay: board " + hex32(options.board);
    if (!args.sdr.empty()) {
        SensorNames sdr = readSdr(args.sdr, args.strict);
        reportProblems(args.sdr, sdr.problems, sdr.unreadable, args.strict);
        problems += sdr.unreadable;
        options.names = std::move(sdr.names);
        heading += ", sensor names from " + args.sdr + " (" + sdr.form + ", " +
                   std::to_string(options.names.size()) + ")";
        for (const std::string &note : sdr.notes) {
            heading += "\n    note: " + note;
        }
        if (args.strict && problems > 0) {
            return kExitUnreadable;
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
        reportProblems(file, out.shown(), out.problems(), args.strict);
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

    Outputs outputs(args.json, args.svg, {options.board, std::nullopt});
    outputs.begin(heading);
    Replay run(options, outputs.targets());
    std::string why;
    if (!run.start(why)) {
        fprintf(stderr, "diagpanel: %s\n", why.c_str());
        return kExitUnreadable;
    }
    for (const auto &[file, format] : inputs) {
        run.beginFile();
        ItemOut out(file, args.strict, [&run](const Item &item) { run.play(item); });
        readCapture(file, format, out);
    }
    run.finish(problems);
    fflush(stdout);
    return problems > 0 ? kExitUnreadable : kExitDone;
}

} // namespace

Command replayCommand(CLI::App &parent)
{
    auto args = std::make_shared<ReplayArgs>();
    CLI::App *app = parent.add_subcommand(
        "replay", "Replay inputs, in order, through the library on one board and print the "
                  "timeline of the panel.\nExit: 0, 1 when an input could not be read (it is "
                  "reported and skipped), 2 for a usage error.");
    addBoardOption(*app, args->board);
    app->add_option("--sdr", args->sdr,
                    "sensor names: `ipmitool sdr elist` text, `ipmitool sdr dump` binary, "
                    "or number,name lines");
    app->add_option("--level", args->level,
                    "severity code of every SEL record (default: none, so each "
                    "translator's own level applies)")
        ->check(CLI::Range(0, 255));
    app->add_option("--format", args->format,
                    "input format, detected from the content by default:\n"
                    "  binary    16 bytes a record (ipmitool sel writeraw)\n"
                    "  hex       16 hex bytes a line, or an 18-byte Get SEL Entry reply\n"
                    "  ipmi-sel  ipmi-sel --hex-dump lines\n"
                    "  events    7-byte event lines (ipmitool sel add / event file)\n"
                    "  scenario  post start|progress N|end|stop|code XX.., sel <16 bytes> "
                    "[level N],\n            wait 12s|5m|2h, diag-mode on|off, sensor N NAME, "
                    "fan N error|ok, # comment")
        ->check(CLI::IsMember({"auto", "binary", "hex", "ipmi-sel", "events", "scenario"}));
    addOutputFlags(*app, args->json, args->svg);
    app->add_flag("--strict", args->strict, "stop at the first input that cannot be read");
    app->add_flag("--inputs", args->inputs, "a timeline line for every input record");
    app->add_option("INPUT", args->files, "SEL captures and scenarios, replayed in order")
        ->required();
    return {app, [args] { return replay(*args); }};
}

} // namespace diagpanel
