// SPDX-License-Identifier: Apache-2.0
// The text sink: one line per panel change, the effects under the input that caused them.
#include <ctime>
#include <initializer_list>
#include <string_view>

#include "tools/diagpanel/timeline/words.hpp"

namespace diagpanel {

namespace {

class TextSink : public Sink
{
  public:
    TextSink(FILE *out, const std::optional<int64_t> *localOrigin)
        : out_(out), localOrigin_(localOrigin)
    {
    }
    void begin(const std::string &heading) override
    {
        fprintf(out_, "%s\n\n%11s  %-19s  %s\n", heading.c_str(), "time", "SEL time", "what");
    }
    void event(const Event &e) override
    {
        switch (e.kind) {
        case Event::Kind::Panel:
            line(e, "panel", {hex32(e.code), "  ", codeWords(e.code)});
            break;
        case Event::Kind::Repeat:
            if (e.cycle.size() == 1) {
                fprintf(out_, "%34s... unchanged until %s\n", "", when(e.until).c_str());
            } else {
                fprintf(out_,
                        "%34s... the cycle of %zu steps above (%llu s) repeats until %s, "
                        "%llu times\n",
                        "", e.cycle.size(), static_cast<unsigned long long>(e.period),
                        when(e.until).c_str(), static_cast<unsigned long long>(e.times));
            }
            last_.reset();
            break;
        case Event::Kind::Fault:
            line(e, "fault", {changeWords(e)});
            break;
        case Event::Kind::Warning:
            line(e, "warn", {std::to_string(e.level), " ", e.text});
            break;
        case Event::Kind::Input:
            if (e.source.empty()) {
                line(e, "input", {e.text});
            } else {
                line(e, "input", {e.text, "  (", e.source, ")"});
            }
            break;
        case Event::Kind::Bmc:
            break; // follow tells it on standard error, with the date
        }
    }
    void end(const Summary &s) override
    {
        fprintf(out_, "\nat %s%s, after %zu input%s%s:\n", when(s.time).c_str(),
                s.sel ? (" (SEL time " + calendar(*s.sel) + ")").c_str() : "", s.records,
                s.records == 1 ? "" : "s",
                s.problems != 0 ? (", " + std::to_string(s.problems) + " unreadable").c_str() : "");
        fprintf(out_, "  active faults: %zu\n", s.faults.size());
        for (const DIAG_PANEL_MSG_S &m : s.faults) {
            fprintf(out_, "    %s\n", faultWords(m).c_str());
        }
        if (s.cycle.empty()) {
            fprintf(out_, s.live ? "" : "  the panel did not settle into a cycle\n");
        } else {
            fprintf(out_, "  the panel's cycle, %llu s: %s\n",
                    static_cast<unsigned long long>(s.period), cycleWords(s.cycle).c_str());
        }
    }

  private:
    // A line of the timeline: the time columns (blank when the line before had the same time),
    // the kind, then the text in pieces. Built in place and written whole: a replay writes a line
    // or more a record, too many for the C library's formatting.
    void line(const Event &e, std::string_view kind, std::initializer_list<std::string_view> text)
    {
        line_.clear();
        if (last_ && *last_ == e.time) {
            line_.append(34, ' ');
        } else {
            pad(when(e.time), 11, true);
            line_ += "  ";
            pad(e.sel ? calendar(*e.sel) : "", 19, false);
            line_ += "  ";
        }
        pad(kind, 5, false);
        line_ += "  ";
        for (const std::string_view piece : text) {
            line_ += piece;
        }
        line_ += '\n';
        fwrite(line_.data(), 1, line_.size(), out_);
        last_ = e.time;
    }
    void pad(std::string_view text, std::size_t width, bool right)
    {
        const std::size_t fill = width > text.size() ? width - text.size() : 0;
        line_.append(right ? fill : 0, ' ').append(text).append(right ? 0 : fill, ' ');
    }
    // The time column: time since the library started, or, once the origin is known, the local
    // time of day.
    std::string when(uint64_t time) const
    {
        if (localOrigin_ == nullptr || !*localOrigin_) {
            return clock(time);
        }
        const auto at = static_cast<time_t>(**localOrigin_ + static_cast<int64_t>(time));
        tm local{};
        char text[16];
        strftime(text, sizeof text, "%H:%M:%S", localtime_r(&at, &local));
        return text;
    }
    FILE *out_;
    const std::optional<int64_t> *localOrigin_;
    std::optional<uint64_t> last_;
    std::string line_;
};

} // namespace

std::unique_ptr<Sink> textSink(FILE *out, const std::optional<int64_t> *localOrigin)
{
    return std::make_unique<TextSink>(out, localOrigin);
}

} // namespace diagpanel
