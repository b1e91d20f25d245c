// SPDX-License-Identifier: Apache-2.0
// What the reader targets share: the input is read twice, once whole and once in small pieces (as
// a file's reads may come), and both readings must give the same items and problems; every
// problem must point into the input, and a capture must give only records of SEL types.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "tools/diagpanel/readers/capture.hpp"
#include "tools/diagpanel/readers/readers.hpp"

namespace fuzz {

using namespace diagpanel;

inline std::string problems(const Diagnostics &out, std::string_view input)
{
    std::string all = std::to_string(out.problems()) + "\n";
    const auto lines = static_cast<unsigned>(std::count(input.begin(), input.end(), '\n')) + 1;
    for (const Problem &p : out.shown()) {
        const Source &s = p.source;
        if (s.line > lines || (s.line == 0 && s.offset >= input.size() &&
                               s.offset != Source::kWholeFile && !input.empty())) {
            abort(); // a problem outside the input
        }
        all += s.where() + " " + p.why + "\n";
    }
    return all;
}

// One reading; `read(InputFile &, Out &)` runs the reader. What it read, as text.
template <typename Out, typename Read>
std::string readOnce(std::string_view input, std::size_t piece, Read read)
{
    std::string got;
    auto item = [&](const Item &i) {
        const bool capture = i.timing != Timing::Offset; // scenarios post what they like
        if (capture && i.sel[2] != kSystemEventRecord && i.sel[2] < kFirstOemTimestamped) {
            abort(); // a capture's record of no SEL type
        }
        got += i.source.where() + " " + i.describe() + " " + std::to_string(i.offset) + "\n";
    };
    Out out = [&] {
        if constexpr (std::is_same_v<Out, ItemOut>) {
            return Out("fuzz", false, item);
        } else {
            return Out("fuzz", false);
        }
    }();
    InputFile file = InputFile::memory(input, piece);
    read(file, out);
    if constexpr (std::is_same_v<Out, NameOut>) {
        for (const auto &[number, name] : out.names) {
            got += std::to_string(number) + " " + name + "\n";
        }
    }
    return got + problems(out, input);
}

template <typename Out, typename Read>
int readTwice(const uint8_t *data, std::size_t size, Read read)
{
    const std::string_view input(reinterpret_cast<const char *>(data), size);
    const std::size_t piece = size == 0 ? 1 : 1 + data[0] % 7;
    if (readOnce<Out>(input, input.size(), read) != readOnce<Out>(input, piece, read)) {
        abort(); // the reading depends on how the input is cut
    }
    return 0;
}

// A SEL capture or scenario in the given format.
template <Format format> int readSel(const uint8_t *data, std::size_t size)
{
    return readTwice<ItemOut>(data, size,
                              [&](InputFile &in, ItemOut &out) { readCapture(in, format, out); });
}

// An SDR capture with the given reader.
template <auto reader> int readSdr(const uint8_t *data, std::size_t size)
{
    return readTwice<NameOut>(data, size, [&](InputFile &in, NameOut &out) {
        if constexpr (std::is_invocable_v<decltype(reader), InputFile &, NameOut &>) {
            reader(in, out);
        } else {
            Lines lines(in, out);
            reader(lines, out);
        }
    });
}

} // namespace fuzz
