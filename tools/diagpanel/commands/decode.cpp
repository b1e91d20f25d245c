// SPDX-License-Identifier: Apache-2.0
// diagpanel decode: panel codes read back into words, in either encoding.
#include <cstdio>
#include <memory>

#include "tools/diagpanel/commands/command.hpp"
#include "tools/diagpanel/exit_codes.hpp"
#include "tools/diagpanel/readers/text.hpp"
#include "tools/diagpanel/timeline.hpp"

namespace diagpanel {

namespace {

struct DecodeArgs {
    std::vector<std::string> codes;
    std::string encoding = "auto";
};

int decode(const DecodeArgs &args)
{
    int status = kExitDone;
    for (const std::string &text : args.codes) {
        std::optional<unsigned long> code = parseNumber(text);
        if (text.find_first_of("xXhH") == std::string::npos) {
            code = parseNumber("0x" + text); // panel codes are written in hex
        }
        if (!code || *code > 0xFFFFFFFFul) {
            fprintf(stderr, "diagpanel: '%s' is not a 32-bit panel code\n", text.c_str());
            status = kExitUnreadable;
            continue;
        }
        bool shown = false;
        for (const auto &[name, e] : {std::pair{"one-hot", tools::Encoding::OneHot},
                                      std::pair{"numeric", tools::Encoding::Numeric}}) {
            const tools::DecodedCode d = tools::decodePanelCode(static_cast<u32>(*code), e);
            if (args.encoding == name || (args.encoding == "auto" && d.valid)) {
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
            status = kExitUnreadable;
        }
    }
    return status;
}

} // namespace

Command decodeCommand(CLI::App &parent)
{
    auto args = std::make_shared<DecodeArgs>();
    CLI::App *app = parent.add_subcommand(
        "decode", "Decode panel codes into words: fault type, component index, level; POST "
                  "progress, error and end.");
    app->add_option("CODE", args->codes, "32-bit panel codes in hex, such as 0x00009d98")
        ->required();
    app->add_option("--encoding", args->encoding,
                    "one-hot (what the display writes), numeric (DIAG_PANEL_CORE_commonIfc_ex), "
                    "or auto: every reading that fits")
        ->check(CLI::IsMember({"auto", "one-hot", "numeric"}));
    return {app, [args] { return decode(*args); }};
}

} // namespace diagpanel
