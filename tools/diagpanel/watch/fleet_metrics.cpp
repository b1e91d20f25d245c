// SPDX-License-Identifier: Apache-2.0
#include "tools/diagpanel/watch/fleet_metrics.hpp"

#include <cstdio>

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

// The families in the order a scrape lists them.
struct Families {
    MetricFamily up{"diagpanel_bmc_up", "1 while the BMC answers, else 0", MetricType::Gauge, {}};
    MetricFamily state{
        "diagpanel_bmc_state", "1 for the BMC's current state", MetricType::Gauge, {}};
    MetricFamily active{"diagpanel_fault_active",
                        "1 for each active entry of the fault table",
                        MetricType::Gauge,
                        {}};
    MetricFamily faults{
        "diagpanel_faults", "active entries of the fault table, by level", MetricType::Gauge, {}};
    MetricFamily records{"diagpanel_sel_records_read_total",
                         "SEL records read from the BMC",
                         MetricType::Counter,
                         {}};
    MetricFamily commands{"diagpanel_ipmi_commands_total",
                          "IPMI commands sent to the BMC since the watcher started",
                          MetricType::Counter,
                          {}};
    MetricFamily warnings{"diagpanel_library_warnings_total",
                          "warnings the library logged for the BMC since its panel started",
                          MetricType::Counter,
                          {}};
    MetricFamily phase{"diagpanel_post_phase",
                       "1 for the POST phase the panel shows now (none outside POST)",
                       MetricType::Gauge,
                       {}};
    MetricFamily answered{"diagpanel_bmc_last_answer_timestamp_seconds",
                          "when the BMC last answered a poll",
                          MetricType::Gauge,
                          {}};
    MetricFamily recorded{"diagpanel_sel_last_record_timestamp_seconds",
                          "the SEL time of the last record read that carries one",
                          MetricType::Gauge,
                          {}};
    std::vector<MetricFamily> all() &&
    {
        return {std::move(up),       std::move(state),   std::move(active),   std::move(faults),
                std::move(phase),    std::move(records), std::move(commands), std::move(warnings),
                std::move(answered), std::move(recorded)};
    }
};

void collect(const std::string &bmc, const BmcView &view, Families &out)
{
    const Labels byBmc{{"bmc", bmc}};
    Labels own{{"bmc", bmc}, {"board", view.board}};
    for (const auto &[name, value] : view.labels) {
        if (ownLabel(name)) {
            own.push_back({name, value});
        }
    }
    const BmcCondition condition = view.status.condition;
    const bool answering =
        condition == BmcCondition::Following || condition == BmcCondition::Unhealthy;
    out.up.metric.push_back(sample(own, answering ? 1 : 0, MetricType::Gauge));
    for (const BmcCondition each : kConditions) {
        out.state.metric.push_back(sample({{"bmc", bmc}, {"state", conditionWord(each)}},
                                          each == condition ? 1 : 0, MetricType::Gauge));
    }
    int perLevel[kLevels + 1] = {};
    for (const ActiveFault &entry : view.faults) {
        perLevel[entry.level >= 1 && entry.level <= kLevels ? entry.level : 0] += 1;
        char mask[16];
        snprintf(mask, sizeof mask, "0x%08x", entry.mask);
        out.active.metric.push_back(sample({{"bmc", bmc},
                                            {"board", view.board},
                                            {"type", std::to_string(entry.type)},
                                            {"index", entry.index},
                                            {"mask", mask},
                                            {"level", std::to_string(entry.level)},
                                            {"fault", entry.name + " " + entry.index}},
                                           1, MetricType::Gauge));
    }
    for (int level = 1; level <= kLevels; ++level) {
        out.faults.metric.push_back(sample({{"bmc", bmc}, {"level", std::to_string(level)}},
                                           perLevel[level], MetricType::Gauge));
    }
    const std::string shown = postPhase(view.code);
    for (const char *each : kPostPhases) {
        out.phase.metric.push_back(
            sample({{"bmc", bmc}, {"phase", each}}, each == shown ? 1 : 0, MetricType::Gauge));
    }
    out.records.metric.push_back(
        sample(byBmc, static_cast<double>(view.status.records), MetricType::Counter));
    out.commands.metric.push_back(
        sample(byBmc, static_cast<double>(view.status.commands), MetricType::Counter));
    out.warnings.metric.push_back(
        sample(byBmc, static_cast<double>(view.warnings), MetricType::Counter));
    if (view.status.lastAnswer) {
        out.answered.metric.push_back(
            sample(byBmc, static_cast<double>(*view.status.lastAnswer), MetricType::Gauge));
    }
    if (view.status.lastRecord) {
        out.recorded.metric.push_back(
            sample(byBmc, static_cast<double>(*view.status.lastRecord), MetricType::Gauge));
    }
}

} // namespace

std::vector<MetricFamily> FleetMetrics::Collect() const
{
    Families families;
    fleet_.forEach(
        [&](const std::string &bmc, const BmcView &view) { collect(bmc, view, families); });
    return std::move(families).all();
}

} // namespace diagpanel
