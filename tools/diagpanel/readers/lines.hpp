// SPDX-License-Identifier: Apache-2.0
// The line loop every text reader uses: the lines of an input, without their end (LF or CRLF) and
// trimmed, blank ones skipped; the parts of a line that a lone CR separates (a terminal's
// progress) are read apart, under the line's number. A line longer than any record or command can
// be is reported, cut off and skipped, never buffered whole.
#pragma once

#include <optional>
#include <string_view>

#include "tools/diagpanel/readers/diagnostics.hpp"
#include "tools/diagpanel/readers/input.hpp"

namespace diagpanel {

class Lines
{
  public:
    static constexpr std::size_t kLongest = 1024;

    Lines(InputFile &input, Diagnostics &diagnostics) : input_(input), diagnostics_(diagnostics) {}

    // The next line that is not blank; nullopt at the end, or once the reading has stopped. The
    // text stays valid until the next call.
    std::optional<std::string_view> next();
    Source at() const { return diagnostics_.at(number_); } // the line next() returned

  private:
    void skipRestOfLine();

    InputFile &input_;
    Diagnostics &diagnostics_;
    unsigned number_ = 0;
    bool continued_ = false; // the last part ended with a lone CR
};

} // namespace diagpanel
