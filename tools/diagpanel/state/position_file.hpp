// SPDX-License-Identifier: Apache-2.0
// position.json, where a follower of one BMC stands, as text: a schema version, the SEL info last
// seen, the last record read (its ID and 16 bytes), the SDR's sensor names and how many records of
// records.bin the position covers.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "tools/diagpanel/follow/sel_follower.hpp"

namespace diagpanel {

constexpr unsigned kPositionSchema = 1;

struct SavedPosition {
    SelPosition at;
    std::map<u8, std::string> names; // sensor names by number
    uint64_t records = 0;            // of records.bin, from its start
    bool operator==(const SavedPosition &) const = default;
};

// `bmc` ("host:port") is there for people reading the file; reading ignores it.
std::string positionJson(const SavedPosition &position, const std::string &bmc);
// nullopt with why when the text is no position of this schema.
std::optional<SavedPosition> parsePosition(std::string_view text, std::string &why);

} // namespace diagpanel
