// SPDX-License-Identifier: Apache-2.0
#include "tools/diagpanel/watch/fleet_metrics.hpp"

#include <cstdio>

#include <prometheus/text_serializer.h>

namespace diagpanel {

namespace {

using prometheus::ClientMetric;
using prometheus::MetricFamily;
using prometheus::MetricType;
using Labels = std::vector<ClientMetric::Label>;

constexpr int kLevels = 3;
constexpr BmcCondition kConditions[] = {
    BmcCondition::Starting,      BmcCondition::Following,   BmcCondition::Unreachable,
    BmcCondition::WrongPassword, BmcCondition::UnknownUser, BmcCondition::CipherRefused,
    BmcCondition::NoPrivilege,   BmcCondition::Unhealthy,
};

// A target's own label, unless Prometheus reserves its name or the metric has one of its own.
bool ownLabel(const std::string &name)
{
    return name.rfind("__", 0) != 0 && name != "bmc" && name != "board";
}

ClientMetric sample(Labels labels, double value, MetricType type)
{
    ClientMetric metric;
    metric.label = std::move(labels);
    (type == MetricType::Counter ? metric.counter.value : metric.gauge.value) = value;
    return metric;
}

MetricFamily family(const char *name, const char *help, MetricType type)
{
    return {name, help, type, {}};
}

// The families in the order a scrape lists them: the steady ones, then the counters.
std::array<MetricFamily, FleetMetrics::kSteadyFamilies> steadyFamilies()
{
    return {
        family("diagpanel_bmc_up", "1 while the BMC answers, else 0", MetricType::Gauge),
        family("diagpanel_bmc_state", "1 for the BMC's current state", MetricType::Gauge),
        family("diagpanel_fault_active", "1 for each active entry of the fault table",
               MetricType::Gauge),
        family("diagpanel_faults", "active entries of the fault table, by level",
               MetricType::Gauge),
        family("diagpanel_post_phase",
               "1 for the POST phase the panel shows now (none outside POST)", MetricType::Gauge),
    };
}
enum Steady { kUp, kState, kActive, kFaults, kPhase };

constexpr std::size_t kCounterFamilies = 5;
std::array<MetricFamily, kCounterFamilies> counterFamilies()
{
    return {
        family("diagpanel_sel_records_read_total", "SEL records read from the BMC",
               MetricType::Counter),
        family("diagpanel_ipmi_commands_total",
               "IPMI commands sent to the BMC since the watcher started", MetricType::Counter),
        family("diagpanel_library_warnings_total",
               "warnings the library logged for the BMC since its panel started",
               MetricType::Counter),
        family("diagpanel_bmc_last_answer_timestamp_seconds", "when the BMC last answered a poll",
               MetricType::Gauge),
        family("diagpanel_sel_last_record_timestamp_seconds",
               "the SEL time of the last record read that carries one", MetricType::Gauge),
    };
}
enum Counter { kRecords, kCommands, kWarnings, kAnswered, kRecorded };

std::string serialize(const MetricFamily &family)
{
    return prometheus::TextSerializer().Serialize({family});
}

// What the serializer writes of a family before its first sample.
const std::array<std::string, FleetMetrics::kSteadyFamilies> &steadyHeads()
{
    static const std::array<std::string, FleetMetrics::kSteadyFamilies> heads = [] {
        std::array<std::string, FleetMetrics::kSteadyFamilies> written;
        const auto families = steadyFamilies();
        for (std::size_t i = 0; i < written.size(); ++i) {
            written[i] = serialize(families[i]);
        }
        return written;
    }();
    return heads;
}

// A BMC's samples of the steady families.
std::array<MetricFamily, FleetMetrics::kSteadyFamilies>
steadySamples(const std::string &bmc, const std::string &board,
              const std::map<std::string, std::string> &labels, BmcCondition condition,
              const std::vector<ActiveFault> &faults, const std::string &phase)
{
    auto out = steadyFamilies();
    Labels own{{"bmc", bmc}, {"board", board}};
    for (const auto &[name, value] : labels) {
        if (ownLabel(name)) {
            own.push_back({name, value});
        }
    }
    const bool answering =
        condition == BmcCondition::Following || condition == BmcCondition::Unhealthy;
    out[kUp].metric.push_back(sample(own, answering ? 1 : 0, MetricType::Gauge));
    for (const BmcCondition each : kConditions) {
        out[kState].metric.push_back(sample({{"bmc", bmc}, {"state", conditionWord(each)}},
                                            each == condition ? 1 : 0, MetricType::Gauge));
    }
    int perLevel[kLevels + 1] = {};
    for (const ActiveFault &entry : faults) {
        perLevel[entry.level >= 1 && entry.level <= kLevels ? entry.level : 0] += 1;
        char mask[16];
        snprintf(mask, sizeof mask, "0x%08x", entry.mask);
        out[kActive].metric.push_back(sample({{"bmc", bmc},
                                              {"board", board},
                                              {"type", std::to_string(entry.type)},
                                              {"index", entry.index},
                                              {"mask", mask},
                                              {"level", std::to_string(entry.level)},
                                              {"fault", entry.name + " " + entry.index}},
                                             1, MetricType::Gauge));
    }
    for (int level = 1; level <= kLevels; ++level) {
        out[kFaults].metric.push_back(sample({{"bmc", bmc}, {"level", std::to_string(level)}},
                                             perLevel[level], MetricType::Gauge));
    }
    for (const char *each : kPostPhases) {
        out[kPhase].metric.push_back(
            sample({{"bmc", bmc}, {"phase", each}}, each == phase ? 1 : 0, MetricType::Gauge));
    }
    return out;
}

void addCounters(const std::string &bmc, const BmcView &view,
                 std::array<MetricFamily, kCounterFamilies> &out)
{
    const Labels byBmc{{"bmc", bmc}};
    const auto add = [&](Counter which, double value) {
        out[which].metric.push_back(sample(byBmc, value, out[which].type));
    };
    add(kRecords, static_cast<double>(view.status.records));
    add(kCommands, static_cast<double>(view.status.commands));
    add(kWarnings, static_cast<double>(view.warnings));
    if (view.status.lastAnswer) {
        add(kAnswered, static_cast<double>(*view.status.lastAnswer));
    }
    if (view.status.lastRecord) {
        add(kRecorded, static_cast<double>(*view.status.lastRecord));
    }
}

} // namespace

std::string FleetMetrics::text()
{
    const std::lock_guard guard(lock_);
    const auto &heads = steadyHeads();
    std::array<std::string, kSteadyFamilies> bodies;
    auto counters = counterFamilies();
    std::map<std::string, Kept> kept;
    fleet_.forEach([&](const std::string &bmc, const BmcView &view) {
        Steady from{view.status.condition, view.board, view.labels, view.faults,
                    postPhase(view.code)};
        Kept &now = kept[bmc];
        if (const auto before = kept_.find(bmc);
            before != kept_.end() && before->second.from == from) {
            now = std::move(before->second);
        } else {
            const auto families = steadySamples(bmc, from.board, from.labels, from.condition,
                                                from.faults, from.phase);
            for (std::size_t i = 0; i < kSteadyFamilies; ++i) {
                now.lines[i] = serialize(families[i]).substr(heads[i].size());
            }
            now.from = std::move(from);
        }
        for (std::size_t i = 0; i < kSteadyFamilies; ++i) {
            bodies[i] += now.lines[i];
        }
        addCounters(bmc, view, counters);
    });
    kept_ = std::move(kept); // BMCs let go are forgotten
    std::string text;
    for (std::size_t i = 0; i < kSteadyFamilies; ++i) {
        text += heads[i];
        text += bodies[i];
    }
    text += prometheus::TextSerializer().Serialize({counters.begin(), counters.end()});
    return text;
}

} // namespace diagpanel
