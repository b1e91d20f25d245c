// SPDX-License-Identifier: Apache-2.0
// The JSON Lines sink: the same events as the text, one object a line.
#include <array>
#include <utility>

#include <nlohmann/json.hpp>

#include "host_support/table.hpp"
#include "tools/diagpanel/timeline/json_fields.hpp"
#include "tools/diagpanel/timeline/words.hpp"

namespace diagpanel {

nlohmann::json codeJson(u32 code)
{
    const tools::DecodedCode d = tools::decodePanelCode(code);
    nlohmann::json j = {{"code", hex32(code)}, {"words", d.words}};
    if (d.valid) {
        j["fault_type"] = d.faultType;
        j["index"] = tools::indexWords(d.index);
        j["level"] = d.level;
    }
    return j;
}

namespace {

// The words of the contract, by Event::Kind and by BmcNews.
constexpr std::array<const char *, 6> kKinds = {"panel",   "repeat", "fault",
                                                "warning", "input",  "bmc"};
constexpr std::array<const char *, 9> kBmcNews = {
    "lost", "still-lost", "back", "full", "cleared", "rewritten", "deleted", "unreadable", "loop"};
static_assert(kKinds.size() == static_cast<std::size_t>(Event::Kind::Bmc) + 1);
static_assert(kBmcNews.size() == static_cast<std::size_t>(BmcNews::Loop) + 1);

nlohmann::json faultJson(const DIAG_PANEL_MSG_S &m)
{
    return {{"fault_type", m.usFaultType},
            {"type", tools::faultTypeName(m.usFaultType)},
            {"index", tools::indexWords(m.ucIndex)},
            {"mask", m.uiFaultMask},
            {"level", host::levelOf(m)},
            {"asserted", {m.ucLevel1Cnt, m.ucLevel2Cnt, m.ucLevel3Cnt}}};
}

class JsonSink : public Sink
{
  public:
    JsonSink(FILE *out, JsonStamp stamp) : out_(out), stamp_(std::move(stamp)) {}
    void begin(const std::string &heading) override
    {
        write({{"kind", "start"}, {"text", heading}});
    }
    void event(const Event &e) override
    {
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
            if (e.raw) {
                j["raw"] = hexBytes(*e.raw);
            }
            break;
        case Event::Kind::Bmc:
            j["event"] = bmcNewsWord(e.news);
            j["number"] = e.number;
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
    // Every line, whatever its kind, says which contract it keeps and whose timeline it is.
    void write(nlohmann::json j)
    {
        j["schema"] = kJsonSchema;
        j["board"] = stamp_.board ? nlohmann::json(hex32(*stamp_.board)) : nlohmann::json();
        j["bmc"] = stamp_.bmc ? nlohmann::json(*stamp_.bmc) : nlohmann::json();
        fprintf(out_, "%s\n",
                j.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace).c_str());
    }
    FILE *out_;
    JsonStamp stamp_;
};

} // namespace

const char *bmcNewsWord(BmcNews news)
{
    return kBmcNews[static_cast<std::size_t>(news)];
}

std::unique_ptr<Sink> jsonSink(FILE *out, const JsonStamp &stamp)
{
    return std::make_unique<JsonSink>(out, stamp);
}

} // namespace diagpanel
