// SPDX-License-Identifier: Apache-2.0
#include "tools/diagpanel/readers/capture.hpp"

#include <algorithm>
#include <array>

#include "tools/diagpanel/readers/readers.hpp"
#include "tools/diagpanel/readers/text.hpp"
#include "tools/diagpanel/readers/scenario.hpp"

namespace diagpanel {

namespace {

// The first line of a text that is not blank, a comment or a tool's known text.
template <typename Skip> std::string_view firstLine(std::string_view head, Skip skip)
{
    while (!head.empty()) {
        const std::size_t end = head.find_first_of("\r\n");
        const std::string_view line = trim(head.substr(0, end));
        head = end == std::string_view::npos ? std::string_view() : head.substr(end + 1);
        if (!line.empty() && line.front() != '#' && !skip(line)) {
            return line;
        }
    }
    return {};
}

Source wholeFile(const Diagnostics &out)
{
    return {out.file(), 0, Source::kWholeFile};
}

} // namespace

Format detectSel(std::string_view head)
{
    if (isBinary(head)) {
        return Format::Binary;
    }
    bool ipmiutil = false;
    const std::string_view line = firstLine(head, [&](std::string_view text) {
        ipmiutil = ipmiutil || isIpmiutilText(text);
        return isIpmiutilText(text);
    });
    if (ipmiutil) {
        return Format::Hex;
    }
    if (line.find("RID:") != std::string_view::npos || line.starts_with("Caching SDR ")) {
        return Format::FreeIpmi;
    }
    const std::vector<std::string_view> first = words(line);
    if (!first.empty() &&
        std::find(kScenarioVerbs.begin(), kScenarioVerbs.end(), first[0]) != kScenarioVerbs.end()) {
        return Format::Scenario;
    }
    return hexBytes(withoutComment(line)).bytes.size() == 7 ? Format::Events : Format::Hex;
}

const char *detectSdr(std::string_view head)
{
    if (isBinary(head)) {
        return "sdr dump";
    }
    const std::string_view line = firstLine(head, [](std::string_view) { return false; });
    return line.find('|') != std::string_view::npos ? "sdr elist" : "csv";
}

void readCapture(InputFile &input, Format forced, ItemOut &out)
{
    const std::string_view head = input.fill(kDetectBytes).substr(0, kDetectBytes);
    out.format = forced == Format::Auto ? detectSel(head) : forced;
    if (out.format != Format::Binary && isBinary(head)) {
        out.problem(wholeFile(out),
                    std::string("binary content, not ") + formatName(out.format) + " text");
        return;
    }
    Lines lines(input, out);
    switch (out.format) {
    case Format::Binary:
        readBinarySel(input, out);
        break;
    case Format::Hex:
        readHexSel(lines, out);
        break;
    case Format::FreeIpmi:
        readFreeIpmiSel(lines, out);
        break;
    case Format::Events:
        readEventLines(lines, out);
        break;
    case Format::Scenario:
    case Format::Auto:
        readScenario(lines, out);
        break;
    }
    if (!input.error().empty()) {
        out.problem(out.atByte(input.offset()), input.error());
    } else if (out.items() == 0 && out.problems() == 0) {
        out.problem(wholeFile(out), "holds no record or command");
    }
}

void readCapture(const std::string &path, Format forced, ItemOut &out)
{
    std::string why;
    std::optional<InputFile> input = InputFile::open(path, why);
    if (!input) {
        out.problem(wholeFile(out), why);
        return;
    }
    readCapture(*input, forced, out);
}

void readSdr(InputFile &input, NameOut &out)
{
    out.form = detectSdr(input.fill(kDetectBytes).substr(0, kDetectBytes));
    Lines lines(input, out);
    if (out.form == std::string_view("sdr dump")) {
        readSdrDump(input, out);
    } else if (out.form == std::string_view("sdr elist")) {
        readSdrElist(lines, out);
    } else {
        readSdrCsv(lines, out);
    }
    if (!input.error().empty()) {
        out.problem(out.atByte(input.offset()), input.error());
    } else if (out.names.empty() && out.problems() == 0) {
        out.problem(wholeFile(out), "holds no sensor name");
    }
}

void readSdr(const std::string &path, NameOut &out)
{
    std::string why;
    std::optional<InputFile> input = InputFile::open(path, why);
    if (!input) {
        out.form = "not read";
        out.problem(wholeFile(out), why);
        return;
    }
    readSdr(*input, out);
}

} // namespace diagpanel
