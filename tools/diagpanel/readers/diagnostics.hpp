// SPDX-License-Identifier: Apache-2.0
// What a reader says about its input besides the records: lines or records it could not read
// (each with file and line, or byte offset), and notes. A flood of the same kind is cut short:
// the first few are kept, the rest only counted.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "tools/diagpanel/readers/inputs.hpp"

namespace diagpanel {

class Diagnostics
{
  public:
    static constexpr std::size_t kShown = 20; // problems kept for the report, per input

    Diagnostics(std::string file, bool strict) : file_(std::move(file)), strict_(strict) {}

    const std::string &file() const { return file_; }
    Source at(unsigned line) const { return {file_, line, 0}; }
    Source atByte(std::size_t offset) const { return {file_, 0, offset}; }

    // Something that is not a record nor known text; returns false when the reading stops.
    bool problem(const Source &source, std::string why);
    void note(std::string text) { notes_.push_back(std::move(text)); }
    bool stopped() const { return strict_ && count_ > 0; }

    std::size_t problems() const { return count_; }
    const std::vector<Problem> &shown() const { return shown_; }
    const std::vector<std::string> &notes() const { return notes_; }

  private:
    std::string file_;
    bool strict_;
    std::size_t count_ = 0;
    std::vector<Problem> shown_;
    std::vector<std::string> notes_;
};

// A SEL input's items go to a sink one by one, as they are read.
class ItemOut : public Diagnostics
{
  public:
    using Sink = std::function<void(const Item &)>;
    ItemOut(std::string file, bool strict, Sink sink = {})
        : Diagnostics(std::move(file), strict), sink_(std::move(sink))
    {
    }
    void add(const Item &item);
    std::size_t items() const { return items_; } // all but waits
    Format format = Format::Auto;

  private:
    Sink sink_;
    std::size_t items_ = 0;
};

// An SDR input's sensor names, by number.
class NameOut : public Diagnostics
{
  public:
    using Diagnostics::Diagnostics;
    // A BMC sensor of LUN 0 (preferred) replaces a name another owner gave the same number; two
    // names of the same standing for one number keep the first, with a note.
    void add(const Source &source, u8 number, std::string name, bool preferred = true);
    std::map<u8, std::string> names;
    const char *form = "";

  private:
    std::map<u8, std::pair<Source, bool>> from_; // where each kept name was read, and its standing
};

} // namespace diagpanel
