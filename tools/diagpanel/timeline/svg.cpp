// SPDX-License-Identifier: Apache-2.0
// The SVG sink: a row per fault type, a bar each time an entry was shown, POST phases shaded.
#include <algorithm>
#include <array>
#include <cmath>
#include <map>

#include "tools/diagpanel/timeline/words.hpp"

namespace diagpanel {

namespace {

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
                    x(b.from) + 2, y + 12,
                    tools::indexWords(tools::decodePanelCode(b.code).index).c_str());
        }
    }
    static constexpr std::array<uint64_t, 14> kTicks = {
        4, 10, 20, 30, 60, 120, 300, 600, 1800, 3600, 7200, 21600, 86400, 604800};
    // About ten ticks whatever the span: past the table, whole weeks.
    const auto fits = [&](uint64_t t) { return static_cast<double>(t) * 10 >= end; };
    const auto *const listed = std::find_if(kTicks.begin(), kTicks.end(), fits);
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

std::unique_ptr<Sink> svgSink(const std::string &path)
{
    return std::make_unique<SvgSink>(path);
}

} // namespace diagpanel
