// SPDX-License-Identifier: Apache-2.0
#include "tools/diagpanel/watch/web/pages.hpp"

#include <algorithm>

#include "tools/diagpanel/panel_code.hpp"
#include "tools/diagpanel/timeline.hpp"

namespace diagpanel {

namespace {

// Shared by both pages: the panel's display as a dark window of amber digits, the component's
// type above them and three lamps for the level.
constexpr const char *kStyle = R"css(
:root{--bg:#f4f5f7;--ink:#1d2330;--dim:#5c6475;--ok:#2e7d32;--l1:#b8860b;--l2:#e65100;--l3:#c62828}
*{box-sizing:border-box}
body{margin:0;font:14px/1.4 system-ui,sans-serif;background:var(--bg);color:var(--ink)}
header{display:flex;flex-wrap:wrap;gap:12px;align-items:center;padding:10px 16px;background:#1d2330;color:#fff}
header h1{font-size:18px;margin:0 12px 0 0}
header a{color:#fff}
label{display:inline-flex;gap:4px;align-items:center}
input,select{font:inherit;padding:2px 4px}
main{padding:16px}
#tiles{display:grid;grid-template-columns:repeat(auto-fill,minmax(210px,1fr));gap:12px}
.tile{display:block;padding:10px;border-radius:8px;background:#fff;color:inherit;text-decoration:none;border-left:6px solid var(--ok);box-shadow:0 1px 2px #0002}
.tile:focus,.tile:hover{outline:3px solid #1565c0}
.tile.l1{border-color:var(--l1)}.tile.l2{border-color:var(--l2)}.tile.l3{border-color:var(--l3)}
.tile.down{border-color:#777;background:#e7e7e7}
.name{font-weight:600;overflow-wrap:anywhere}
.small{color:var(--dim);font-size:12px}
.panel{display:flex;align-items:center;justify-content:space-between;gap:10px;margin:8px 0;padding:8px 12px;border-radius:6px;background:#111;color:#ffb000;font-family:ui-monospace,monospace;max-width:320px}
.panel .digits{font-size:30px;letter-spacing:3px;text-shadow:0 0 6px #ffb00099}
.panel .type{font-size:11px;text-transform:uppercase;color:#c98a00;min-width:70px}
.lamp{display:inline-block;width:9px;height:9px;margin-right:3px;border-radius:50%;background:#333}
.lamp.on{background:#ff3d00;box-shadow:0 0 5px #ff3d00}
.count{font-weight:600}
.count.l0{color:var(--ok)}.count.l1{color:var(--l1)}.count.l2{color:var(--l2)}.count.l3{color:var(--l3)}
table{border-collapse:collapse;background:#fff}
td,th{padding:4px 10px;border-bottom:1px solid #ddd;text-align:left}
img.timeline{max-width:100%;background:#fff}
)css";

// The words a BMC's state is shown with.
constexpr const char *kStateWords = R"js(
const STATE_WORDS = {starting: "starting", following: "following", unreachable: "no answer",
  wrong_password: "wrong password", unknown_user: "unknown user",
  cipher_refused: "cipher suite refused", no_privilege: "no privilege for the SEL",
  unhealthy: "answering, SEL unhealthy"};
)js";

constexpr const char *kWallBody = R"html(
<header>
  <h1>Diagnostic panels</h1>
  <span id="summary" aria-live="polite"></span>
  <label>Filter <input id="filter" type="search" placeholder="rack=r12, memory, ..."></label>
  <label>State <select id="state"><option value="">any</option></select></label>
  <label>Sort <select id="sort"><option value="worst">worst first</option><option value="name">by name</option></select></label>
  <span id="link" class="small"></span>
</header>
<main><div id="tiles"></div><noscript>This page draws its tiles with a script; /api/bmcs holds the same as JSON.</noscript></main>
<script>
"use strict";
const tiles = new Map();
const $ = (id) => document.getElementById(id);
for (const [state, words] of Object.entries(STATE_WORDS)) {
  $("state").add(new Option(words, state));
}
const answering = (t) => t.state === "following" || t.state === "unhealthy";
const rank = (t) => (answering(t) ? t.worst * 1000 + t.faults : 4000);
function text(tag, cls, words) {
  const node = document.createElement(tag);
  if (cls) node.className = cls;
  node.textContent = words;
  return node;
}
function panel(t) {
  const box = text("div", "panel", "");
  const type = text("div", "type", t.code === undefined ? "" : (t.type || ""));
  const lamps = document.createElement("div");
  for (let i = 1; i <= 3; ++i) lamps.append(text("span", "lamp" + (t.level >= i && t.type !== "POST" ? " on" : ""), ""));
  type.append(lamps);
  box.append(type, text("div", "digits", t.index || "--"));
  box.setAttribute("aria-label", "panel: " + (t.words || "nothing shown yet"));
  return box;
}
function tile(t) {
  const a = document.createElement("a");
  a.href = "/bmc/" + encodeURIComponent(t.bmc);
  a.className = "tile " + (answering(t) ? "l" + t.worst : "down");
  a.dataset.bmc = t.bmc;
  a.append(text("div", "name", t.bmc));
  const labels = Object.entries(t.labels).map(([k, v]) => k + "=" + v).join(" ");
  a.append(text("div", "small", t.board + (labels ? " " + labels : "")));
  a.append(panel(t), text("div", "words", t.words || "nothing shown yet"));
  a.append(text("div", "count l" + t.worst, t.faults + (t.faults === 1 ? " fault" : " faults")));
  a.append(text("div", "small state", STATE_WORDS[t.state] + (t.why ? ": " + t.why : "")));
  return a;
}
function matches(t, words) {
  const haystack = [t.bmc, t.board, t.state, STATE_WORDS[t.state], t.words || "",
    ...Object.entries(t.labels).map(([k, v]) => k + "=" + v)].join(" ").toLowerCase();
  return words.every((w) => haystack.includes(w));
}
function draw() {
  const words = $("filter").value.toLowerCase().split(/[\s,]+/).filter(Boolean);
  const state = $("state").value;
  const shown = [...tiles.values()].filter((t) => (!state || t.state === state) && matches(t, words));
  if ($("sort").value === "worst") shown.sort((a, b) => rank(b) - rank(a) || a.bmc.localeCompare(b.bmc));
  else shown.sort((a, b) => a.bmc.localeCompare(b.bmc));
  const focused = document.activeElement && document.activeElement.dataset ? document.activeElement.dataset.bmc : null;
  $("tiles").replaceChildren(...shown.map(tile));
  if (focused) {
    const again = [...$("tiles").children].find((n) => n.dataset.bmc === focused);
    if (again) again.focus();
  }
  const faulty = [...tiles.values()].filter((t) => t.faults > 0).length;
  const down = [...tiles.values()].filter((t) => !answering(t)).length;
  $("summary").textContent = tiles.size + " BMCs, " + faulty + " with faults, " + down + " not answering" +
    (shown.length !== tiles.size ? " (" + shown.length + " shown)" : "");
}
for (const id of ["filter", "state", "sort"]) $(id).addEventListener("input", draw);
const events = new EventSource("/events");
// A change that moves no tile (most are a panel stepping to its next code) redraws that tile in
// place: a wall of a thousand panels is not rebuilt every few seconds.
const place = (t) => [!!$("state").value && t.state !== $("state").value, rank(t), t.state, t.faults].join();
events.onmessage = (message) => {
  const change = JSON.parse(message.data);
  $("link").textContent = "";
  const inPlace = !change.all && !change.removed && change.tiles.every((t) => tiles.has(t.bmc) &&
    place(t) === place(tiles.get(t.bmc)) && !$("filter").value);
  if (change.all) tiles.clear();
  for (const t of change.tiles) tiles.set(t.bmc, t);
  for (const gone of change.removed || []) tiles.delete(gone);
  if (!inPlace) return draw();
  for (const t of change.tiles) {
    const shown = $("tiles").querySelector('[data-bmc="' + CSS.escape(t.bmc) + '"]');
    if (shown) {
      const focused = document.activeElement === shown;
      const again = tile(t);
      shown.replaceWith(again);
      if (focused) again.focus();
    }
  }
};
events.onerror = () => { $("link").textContent = "watcher not reachable: trying again"; };
</script>
)html";

std::string escape(std::string_view text)
{
    std::string out;
    for (const char c : text) {
        switch (c) {
        case '&':
            out += "&amp;";
            break;
        case '<':
            out += "&lt;";
            break;
        case '>':
            out += "&gt;";
            break;
        case '"':
            out += "&quot;";
            break;
        case '\'':
            out += "&#39;";
            break;
        default:
            // Control bytes from a BMC's names must not reach the page as they are.
            out += static_cast<unsigned char>(c) < 0x20 ? '?' : c;
        }
    }
    return out;
}

// A string as a script's literal that no "</script>" within can end.
std::string scriptString(const std::string &text)
{
    std::string literal;
    for (const char c : nlohmann::json(text).dump()) {
        literal += c == '<' ? std::string("\\u003c") : std::string(1, c);
    }
    return literal;
}

std::string head(const std::string &title)
{
    return "<!DOCTYPE html>\n<html lang='en'><head><meta charset='utf-8'>"
           "<meta name='viewport' content='width=device-width'><title>" +
           escape(title) + "</title><style>" + kStyle + "</style></head><body>";
}

// An event line in words: what the text timeline would say of it.
std::string eventWords(const nlohmann::json &event)
{
    const std::string kind = event.value("kind", "");
    if (kind == "fault") {
        return event.value("change", "") + " " + event.value("type", "") + " " +
               event.value("index", "") + ", level " + std::to_string(event.value("level", 0));
    }
    if (kind == "panel") {
        return event.value("words", "");
    }
    if (kind == "repeat") {
        return "the last codes repeat, " + std::to_string(event.value("times", 0)) + " times";
    }
    if (kind == "state") {
        return event.value("state", "") +
               (event.contains("why") ? ": " + event.value("why", "") : "");
    }
    return event.value("text", ""); // input, warning, bmc
}

int worstLevel(const BmcView &view)
{
    int worst = 0;
    for (const ActiveFault &fault : view.faults) {
        worst = std::max(worst, fault.level);
    }
    return worst;
}

} // namespace

nlohmann::json tileJson(const std::string &bmc, const BmcView &view)
{
    nlohmann::json tile = {
        {"bmc", bmc},
        {"board", view.board},
        {"labels", view.labels},
        {"state", conditionWord(view.status.condition)},
        {"faults", view.faults.size()},
        {"worst", worstLevel(view)},
    };
    if (!view.status.why.empty()) {
        tile["why"] = view.status.why;
    }
    if (view.code) {
        const tools::DecodedCode d = tools::decodePanelCode(*view.code);
        tile["code"] = hex32(*view.code);
        tile["words"] = d.words;
        if (d.valid && *view.code != 0x00004000u) {
            tile["type"] = tools::faultTypeName(d.faultType);
            tile["index"] = tools::indexWords(d.index);
            tile["level"] = d.level;
        }
    }
    return tile;
}

const std::string &wallPage()
{
    static const std::string page = head("Diagnostic panels") + "<script>" + kStateWords +
                                    "</script>" + kWallBody + "</body></html>\n";
    return page;
}

std::string bmcPage(const std::string &bmc, const BmcView &view)
{
    const nlohmann::json tile = tileJson(bmc, view);
    std::string page = head(bmc + ": diagnostic panel");
    page += "<header><h1>" + escape(bmc) + "</h1><a href='/'>all panels</a></header><main>";
    page += "<p>" + escape(view.board);
    for (const auto &[name, value] : view.labels) {
        page += " " + escape(name) + "=" + escape(value);
    }
    page += "</p><p class='state' data-state='" + tile.value("state", "") + "'></p>";
    if (!view.status.why.empty()) {
        page += "<p class='small'>" + escape(view.status.why) + "</p>";
    }
    page += "<div class='panel' aria-label='panel'><div class='type'>" +
            escape(tile.value("type", "")) + "<div>";
    for (int lamp = 1; lamp <= 3; ++lamp) {
        const bool on = tile.value("level", 0) >= lamp && tile.value("type", "") != "POST";
        page += on ? "<span class='lamp on'></span>" : "<span class='lamp'></span>";
    }
    page += "</div></div><div class='digits'>" + escape(tile.value("index", "--")) +
            "</div></div><p class='words'>" + escape(tile.value("words", "nothing shown yet")) +
            "</p>";
    page += "<h2>Fault table: <span class='count l" + std::to_string(worstLevel(view)) + "'>" +
            std::to_string(view.faults.size()) + " active</span></h2>";
    if (!view.faults.empty()) {
        page += "<table><tr><th>fault</th><th>type</th><th>mask</th><th>level</th></tr>";
        for (const ActiveFault &fault : view.faults) {
            page += "<tr><td>" + escape(fault.name + " " + fault.index) + "</td><td>" +
                    std::to_string(fault.type) + "</td><td>" + hex32(fault.mask) +
                    "</td><td class='count l" + std::to_string(fault.level) + "'>" +
                    std::to_string(fault.level) + "</td></tr>";
        }
        page += "</table>";
    }
    page += "<h2>Timeline</h2><p><img class='timeline' alt='the timeline of the records kept, as "
            "diagpanel replay --svg draws it' src='/bmc/" +
            escape(bmc) + "/timeline.svg'></p>";
    page += "<h2>Last events</h2><table><tr><th>heard</th><th>kind</th><th>what</th></tr>";
    for (std::size_t i = view.recent.size(); i-- > 0;) { // newest first
        const nlohmann::json event = nlohmann::json::parse(view.recent[i], nullptr, false);
        if (event.is_object()) {
            page += "<tr><td>" + escape(event.value("at", "")) + "</td><td>" +
                    escape(event.value("kind", "")) + "</td><td>" + escape(eventWords(event)) +
                    "</td></tr>";
        }
    }
    page += "</table><p class='small'>" + std::to_string(view.status.records) + " records read, " +
            std::to_string(view.status.commands) + " IPMI commands, " +
            std::to_string(view.warnings) + " library warnings</p></main>";
    // Live: the page is fetched again when this BMC changes, and its main part swapped in.
    page += "<script>'use strict';" + std::string(kStateWords) +
            R"js(
const bmc = )js" +
            scriptString(bmc) +
            R"js(;
const stateLine = () => { const p = document.querySelector(".state"); p.textContent = STATE_WORDS[p.dataset.state]; };
stateLine();
new EventSource("/events?bmc=" + encodeURIComponent(bmc)).onmessage = async (message) => {
  const change = JSON.parse(message.data);
  if (change.all) return;
  const page = new DOMParser().parseFromString(await (await fetch(location.href)).text(), "text/html");
  document.querySelector("main").replaceWith(page.querySelector("main"));
  stateLine();
};
</script></body></html>
)js";
    return page;
}

} // namespace diagpanel
