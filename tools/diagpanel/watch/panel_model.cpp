// SPDX-License-Identifier: Apache-2.0
#include "tools/diagpanel/watch/panel_model.hpp"

#include <array>
#include <cstdlib>

namespace diagpanel {

namespace {

// What a fault line says of the entry itself.
constexpr std::array kEntryFields = {"fault_type", "type", "index", "mask", "level", "asserted"};
constexpr std::array kCodeFields = {"code", "words", "fault_type", "index", "level"};

nlohmann::json only(const nlohmann::json &line, const auto &fields)
{
    nlohmann::json kept = nlohmann::json::object();
    for (const char *field : fields) {
        if (line.contains(field)) {
            kept[field] = line[field];
        }
    }
    return kept;
}

} // namespace

bool PanelModel::apply(const nlohmann::json &line)
{
    if (!line.is_object() || !line.contains("kind") || !line["kind"].is_string()) {
        return false;
    }
    const auto &kind = line["kind"].get_ref<const std::string &>();
    if (kind == "fault") {
        if (!line.contains("fault_type") || !line["fault_type"].is_number_integer() ||
            !line.contains("index") || !line["index"].is_string() || !line.contains("change")) {
            return false;
        }
        const auto key =
            std::make_pair(line["fault_type"].get<int>(), line["index"].get<std::string>());
        if (line["change"] == "removed") {
            faults_.erase(key);
        } else {
            faults_[key] = only(line, kEntryFields);
        }
    } else if (kind == "panel") {
        code_ = only(line, kCodeFields);
    } else if (kind == "repeat") {
        // The cycle goes on: the code shown now is the one it ended on.
        if (line.contains("cycle") && line["cycle"].is_array() && !line["cycle"].empty()) {
            code_ = only(line["cycle"].back(), kCodeFields);
        }
    } else if (kind == "warning") {
        ++warnings_;
    } else if (kind == "input") {
        ++inputs_;
    }
    return true;
}

void PanelModel::show(const nlohmann::json &answer)
{
    code_ = only(answer, kCodeFields);
}

std::optional<u32> PanelModel::codeNow() const
{
    if (!code_.is_object() || !code_.contains("code") || !code_["code"].is_string()) {
        return std::nullopt;
    }
    const auto &text = code_["code"].get_ref<const std::string &>();
    char *end = nullptr;
    const unsigned long code = strtoul(text.c_str(), &end, 16);
    return *end == '\0' && !text.empty() ? std::optional(static_cast<u32>(code)) : std::nullopt;
}

void PanelModel::reset()
{
    faults_.clear();
    code_ = nullptr;
    warnings_ = 0;
    inputs_ = 0;
}

nlohmann::json PanelModel::faults() const
{
    nlohmann::json table = nlohmann::json::array();
    for (const auto &[key, entry] : faults_) {
        table.push_back(entry);
    }
    return table;
}

} // namespace diagpanel
