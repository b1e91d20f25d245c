// SPDX-License-Identifier: Apache-2.0
#include "tools/diagpanel/timeline.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <ctime>
#include <map>

#include <nlohmann/json.hpp>

namespace diagpanel {

namespace {

std::string hex32(u32 value)
{
    char text[12];
    snprintf(text, sizeof text, "0x%08x", value);
    return text;
}

std::string index2(unsigned index)
{
    char text[4];
    snprintf(text, sizeof text, "%02X", index);
    return text;
}

std::string codeWords(u32 code)
{
    return tools::decodePanelCode(code).words;
}

std::string cycleWords(const std::vector<u32> &cycle)
{
    std::string out;
    for (const u32 code : cycle) {
        out += (out.empty() ? "" : " | ") + codeWords(code);
    }
    return out;
}

std::string changeWords(const Event &e)
{
    switch (e.change) {
    case '+':
        return "+ " + faultWords(e.msg);
    case '-':
        return "- " + tools::componentWords(e.msg.usFaultType, e.msg.ucIndex) + " cleared";
    default:
        return "~ " + faultWords(e.msg) + " (was " +
               faultWords(e.was).substr(faultWords(e.was).find(':') + 2) + ")";
    }
}

// ---- Text: one line per panel change, effects under the input that caused them ----

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
            line(e, "panel", hex32(e.code) + "  " + codeWords(e.code));
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
            line(e, "fault", changeWords(e));
            break;
        case Event::Kind::Warning:
            line(e, "warn", std::to_string(e.level) + " " + e.text);
            break;
        case Event::Kind::Input:
            line(e, "input", e.text + (e.source.empty() ? "" : "  (" + e.source + ")"));
            break;
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
    void line(const Event &e, const char *kind, const std::string &what)
    {
        const bool again = last_ && *last_ == e.time;
        const std::string sel = e.sel ? calendar(*e.sel) : "";
        fprintf(out_, "%11s  %-19s  %-5s  %s\n", again ? "" : when(e.time).c_str(),
                again ? "" : sel.c_str(), kind, what.c_str());
        last_ = e.time;
    }
    // The time column: time since the library started, or, once the origin is known, the local
    // time of day.
    std::string when(uint64_t time) const
    {
        if (localOrigin_ == nullptr || !*localOrigin_) {
            return clock(time);
        }
        const time_t at = static_cast<time_t>(**localOrigin_ + static_cast<int64_t>(time));
        tm local{};
        char text[16];
        strftime(text, sizeof text, "%H:%M:%S", localtime_r(&at, &local));
        return text;
    }
    FILE *out_;
    const std::optional<int64_t> *localOrigin_;
    std::optional<uint64_t> last_;
};

// ---- JSON Lines: the same events, one object a line ----

nlohmann::json codeJson(u32 code)
{
    const tools::DecodedCode d = tools::decodePanelCode(code);
    nlohmann::json j = {{"code", hex32(code)}, {"words", d.words}};
    if (d.valid) {
        j["fault_type"] = d.faultType;
        j["index"] = index2(d.index);
        j["level"] = d.level;
    }
    return j;
}

nlohmann::json faultJson(const DIAG_PANEL_MSG_S &m)
{
    return {
        {"fault_type", m.usFaultType}, {"type", tools::faultTypeName(m.usFaultType)},
        {"index", index2(m.ucIndex)},  {"mask", m.uiFaultMask},
        {"level", levelOf(m)},         {"asserted", {m.ucLevel1Cnt, m.ucLevel2Cnt, m.ucLevel3Cnt}}};
}

class JsonSink : public Sink
{
  public:
    explicit JsonSink(FILE *out) : out_(out) {}
    void begin(const std::string &heading) override
    {
        write({{"kind", "start"}, {"text", heading}});
    }
    void event(const Event &e) override
    {
        static constexpr std::array<const char *, 5> kKinds = {"panel", "repeat", "fault",
                                                               "warning", "input"};
        nlohmann::json j = {{"kind", kKinds[static_cast<std::size_t>(e.kind)]}, {"time", e.time}};
        if (e.sel) {
            j["sel_time"] = calendar(*e.sel);
        }
        switch (e.kind) {
        case Event::Kind::Panel:
            j.update(codeJson(e.code));
            break;
        case Event::Kind::Repeat:
            j["until"] = e.until;
            j["period"] = e.period;
            j["times"] = e.times;
            j["cycle"] = nlohmann::json::array();
            for (const u32 code : e.cycle) {
                j["cycle"].push_back(codeJson(code));
            }
            break;
        case Event::Kind::Fault:
            j["change"] = e.change == '+' ? "added" : e.change == '-' ? "removed" : "changed";
            j.update(faultJson(e.msg));
            break;
        case Event::Kind::Warning:
            j["level"] = e.level;
            j["text"] = e.text;
            break;
        case Event::Kind::Input:
            j["text"] = e.text;
            break;
        }
        if (!e.source.empty()) {
            j["source"] = e.source;
        }
        write(j);
    }
    void end(const Summary &s) override
    {
        nlohmann::json j = {{"kind", "summary"},
                            {"time", s.time},
                            {"inputs", s.records},
                            {"unreadable", s.problems},
                            {"period", s.period},
                            {"faults", nlohmann::json::array()},
                            {"cycle", nlohmann::json::array()}};
        if (s.sel) {
            j["sel_time"] = calendar(*s.sel);
        }
        for (const DIAG_PANEL_MSG_S &m : s.faults) {
            j["faults"].push_back(faultJson(m));
        }
        for (const u32 code : s.cycle) {
            j["cycle"].push_back(codeJson(code));
        }
        write(j);
    }

  private:
    void write(const nlohmann::json &j)
    {
        fprintf(out_, "%s\n",
                j.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace).c_str());
    }
    FILE *out_;
};

// ---- SVG: a row per fault type, a bar each time an entry was shown, POST shaded ----

class SvgSink : public Sink
{
  public:
    explicit SvgSink(std::string path) : path_(std::move(path)) {}
    void begin(const std::string &heading) override
    {
        heading_ = heading.substr(0, heading.find_first_of(",\n"));
    }
    void event(const Event &e) override
    {
        if (e.kind == Event::Kind::Panel) {
            closeBar(e.time);
            open_ = {e.time, e.code};
        } else if (e.kind == Event::Kind::Repeat && e.cycle.size() > 1) { // else the bar goes on
            closeBar(e.time);
            repeats_.push_back(e);
        }
    }
    void end(const Summary &s) override
    {
        closeBar(s.time);
        write(s);
    }

  private:
    struct Bar {
        uint64_t from;
        uint64_t to;
        u32 code;
    };
    void closeBar(uint64_t at)
    {
        if (open_) {
            bars_.push_back({open_->first, std::max(at, open_->first + 4), open_->second});
            open_.reset();
        }
    }
    static bool isPost(u32 code)
    {
        const tools::DecodedCode d = tools::decodePanelCode(code);
        return d.valid && d.faultType == 8 && d.level == 1;
    }
    static const char *colour(u32 code)
    {
        const tools::DecodedCode d = tools::decodePanelCode(code);
        if (isPost(code)) {
            return "#4a7fc1";
        }
        static constexpr std::array<const char *, 4> kByLevel = {"#9e9e9e", "#e6c229", "#f08a24",
                                                                 "#d62728"};
        return kByLevel[d.faultType == 8 ? 3 : std::min(d.level, 3u)];
    }
    void write(const Summary &s);

    std::string path_;
    std::string heading_;
    std::optional<std::pair<uint64_t, u32>> open_;
    std::vector<Bar> bars_;
    std::vector<Event> repeats_;
};

std::string escape(const std::string &text)
{
    std::string out;
    for (const char c : text) {
        out += c == '<' ? "&lt;" : c == '>' ? "&gt;" : c == '&' ? "&amp;" : std::string(1, c);
    }
    return out;
}

void SvgSink::write(const Summary &s)
{
    std::map<unsigned, int> rows; // fault type -> row
    auto rowOf = [&](u32 code) -> int {
        const tools::DecodedCode d = tools::decodePanelCode(code);
        return d.valid && d.words != "nothing to show" ? rows[d.faultType] : -1;
    };
    for (const Bar &b : bars_) {
        rowOf(b.code);
    }
    for (const Event &r : repeats_) {
        for (const u32 code : r.cycle) {
            rowOf(code);
        }
    }
    int n = 0;
    for (auto &[type, row] : rows) {
        row = n++;
    }
    constexpr double kLeft = 140, kWidth = 960, kTop = 50, kRow = 26;
    const double end = static_cast<double>(std::max<uint64_t>(s.time, 4));
    const double height = kTop + kRow * std::max(n, 1) + 40;
    auto x = [&](uint64_t t) {
        return kLeft + (kWidth - kLeft - 20) * static_cast<double>(t) / end;
    };
    FILE *out = fopen(path_.c_str(), "w");
    if (out == nullptr) {
        fprintf(stderr, "diagpanel: cannot write %s\n", path_.c_str());
        return;
    }
    fprintf(out,
            "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"%.0f\" height=\"%.0f\" "
            "font-family=\"sans-serif\" font-size=\"11\">\n"
            "<rect width=\"100%%\" height=\"100%%\" fill=\"white\"/>\n"
            "<text x=\"10\" y=\"20\" font-size=\"13\">%s</text>\n",
            kWidth, height, escape(heading_).c_str());
    static constexpr std::array<std::pair<const char *, u32>, 4> kLegend = {
        {{"level 3", 0x00009d98},
         {"level 2", 0x00801018},
         {"level 1", 0x00008d98},
         {"POST progress", 0x40400128}}};
    for (std::size_t i = 0; i < kLegend.size(); ++i) {
        const double lx = kWidth - 420 + 95 * static_cast<double>(i);
        fprintf(out,
                "<rect x=\"%.0f\" y=\"11\" width=\"10\" height=\"10\" fill=\"%s\"/>"
                "<text x=\"%.0f\" y=\"20\">%s</text>\n",
                lx, colour(kLegend[i].second), lx + 14, kLegend[i].first);
    }
    for (const Bar &b : bars_) { // POST phases, behind everything
        if (isPost(b.code)) {
            fprintf(
                out,
                "<rect x=\"%.1f\" y=\"%.0f\" width=\"%.1f\" height=\"%.0f\" fill=\"#dde8f5\"/>\n",
                x(b.from), kTop - 8, x(b.to) - x(b.from), kRow * n + 8);
        }
    }
    for (const auto &[type, row] : rows) {
        const double y = kTop + kRow * row;
        fprintf(out,
                "<text x=\"10\" y=\"%.0f\">%s</text>\n<line x1=\"%.0f\" x2=\"%.0f\" y1=\"%.0f\" "
                "y2=\"%.0f\" stroke=\"#eee\"/>\n",
                y + 15, tools::faultTypeName(type), kLeft, kWidth - 20, y + kRow, y + kRow);
    }
    for (const Event &r : repeats_) { // cycles shown once and then repeated: a lighter band
        for (const u32 code : r.cycle) {
            const int row = rowOf(code);
            if (row >= 0) {
                fprintf(out,
                        "<rect x=\"%.1f\" y=\"%.0f\" width=\"%.1f\" height=\"%.0f\" fill=\"%s\" "
                        "opacity=\"0.3\"/>\n",
                        x(r.time), kTop + kRow * row + 4, x(r.until) - x(r.time), kRow - 8,
                        colour(code));
            }
        }
    }
    for (const Bar &b : bars_) {
        const int row = rowOf(b.code);
        if (row < 0) {
            continue;
        }
        const double y = kTop + kRow * row + 4;
        const double w = std::max(x(b.to) - x(b.from) - 1, 1.0);
        fprintf(out,
                "<rect x=\"%.1f\" y=\"%.0f\" width=\"%.1f\" height=\"%.0f\" fill=\"%s\">"
                "<title>%s %s</title></rect>\n",
                x(b.from), y, w, kRow - 8, colour(b.code), clock(b.from).c_str(),
                escape(codeWords(b.code)).c_str());
        if (w > 16) {
            fprintf(out, "<text x=\"%.1f\" y=\"%.0f\" fill=\"white\" font-size=\"9\">%s</text>\n",
                    x(b.from) + 2, y + 12, index2(tools::decodePanelCode(b.code).index).c_str());
        }
    }
    static constexpr std::array<uint64_t, 14> kTicks = {
        4, 10, 20, 30, 60, 120, 300, 600, 1800, 3600, 7200, 21600, 86400, 604800};
    // About ten ticks whatever the span: past the table, whole weeks.
    const auto fits = [&](uint64_t t) { return static_cast<double>(t) * 10 >= end; };
    const auto listed = std::find_if(kTicks.begin(), kTicks.end(), fits);
    const uint64_t tick =
        listed != kTicks.end()
            ? *listed
            : kTicks.back() *
                  static_cast<uint64_t>(std::ceil(end / 10 / static_cast<double>(kTicks.back())));
    const double axis = kTop + kRow * n + 6;
    for (uint64_t t = 0; static_cast<double>(t) <= end; t += tick) {
        fprintf(out,
                "<line x1=\"%.1f\" x2=\"%.1f\" y1=\"%.0f\" y2=\"%.0f\" stroke=\"#999\"/>"
                "<text x=\"%.1f\" y=\"%.0f\" text-anchor=\"middle\">%s</text>\n",
                x(t), x(t), axis, axis + 4, x(t), axis + 16, clock(t).c_str());
    }
    fprintf(out, "</svg>\n");
    fclose(out);
}

} // namespace

std::unique_ptr<Sink> textSink(FILE *out, const std::optional<int64_t> *localOrigin)
{
    return std::make_unique<TextSink>(out, localOrigin);
}
std::unique_ptr<Sink> jsonSink(FILE *out)
{
    return std::make_unique<JsonSink>(out);
}
std::unique_ptr<Sink> svgSink(const std::string &path)
{
    return std::make_unique<SvgSink>(path);
}

std::string clock(uint64_t seconds)
{
    char text[40];
    const auto days = static_cast<unsigned long long>(seconds / 86400);
    const auto h = static_cast<unsigned>(seconds / 3600 % 24);
    const auto m = static_cast<unsigned>(seconds / 60 % 60);
    const auto s = static_cast<unsigned>(seconds % 60);
    if (days > 0) {
        snprintf(text, sizeof text, "%llud %02u:%02u:%02u", days, h, m, s);
    } else {
        snprintf(text, sizeof text, "%u:%02u:%02u", h, m, s);
    }
    return text;
}

std::string calendar(int64_t seconds)
{
    const auto t = static_cast<time_t>(seconds);
    tm utc{};
    gmtime_r(&t, &utc);
    char text[32];
    strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &utc);
    return text;
}

unsigned levelOf(const DIAG_PANEL_MSG_S &msg)
{
    return msg.usFaultType == 8 ? msg.ucLevelInfo & 0x03u : (msg.ucLevelInfo >> 2) & 0x07u;
}

std::string faultWords(const DIAG_PANEL_MSG_S &msg)
{
    char text[64];
    snprintf(text, sizeof text, ": mask 0x%08x, level %u", msg.uiFaultMask, levelOf(msg));
    return tools::componentWords(msg.usFaultType, msg.ucIndex) + text;
}

} // namespace diagpanel
