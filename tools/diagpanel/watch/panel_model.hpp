// SPDX-License-Identifier: Apache-2.0
// What the watcher knows of one BMC's panel: its fault table, its code and the library's warnings,
// kept from the JSON Lines its worker writes, and told as the BMC's panel.json.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <utility>

#include <nlohmann/json.hpp>

#include <diagpanel/types.h>

namespace diagpanel {

class PanelModel
{
  public:
    PanelModel() noexcept(false) = default;  // a JSON value is not made without throwing
    PanelModel(const PanelModel &) = delete; // one a BMC, where its worker's lines arrive
    PanelModel &operator=(const PanelModel &) = delete;

    // One line of the worker's timeline; false when it is not one (then nothing changed).
    bool apply(const nlohmann::json &line);
    // The code the panel shows now, from the worker's {"kind":"showing"} answer: the timeline
    // tells a code only once its run of steps ends.
    void show(const nlohmann::json &answer);
    void reset();

    // The fault table as a summary line gives it (fields of a fault line but `change`), ordered
    // by fault type and index.
    nlohmann::json faults() const;
    const nlohmann::json &code() const { return code_; } // the last code shown: a code object
    std::optional<u32> codeNow() const;                  // the same, as a number
    unsigned long warnings() const { return warnings_; }
    unsigned long inputs() const { return inputs_; }

  private:
    std::map<std::pair<int, std::string>, nlohmann::json> faults_;
    nlohmann::json code_ = nullptr;
    unsigned long warnings_ = 0;
    unsigned long inputs_ = 0;
};

} // namespace diagpanel
