// SPDX-License-Identifier: Apache-2.0
#include "tools/diagpanel/state/position_file.hpp"

#include <cstdio>
#include <nlohmann/json.hpp>

#include "tools/diagpanel/timeline.hpp"

namespace diagpanel {

namespace {

using nlohmann::json;

std::optional<SelEntry> bytesOfHex(const std::string &text)
{
    SelEntry bytes{};
    if (text.size() != 2 * bytes.size()) {
        return std::nullopt;
    }
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        unsigned byte = 0;
        if (sscanf(text.c_str() + 2 * i, "%2x", &byte) != 1) {
            return std::nullopt;
        }
        bytes[i] = static_cast<u8>(byte);
    }
    return bytes;
}

} // namespace

std::string positionJson(const SavedPosition &position, const std::string &bmc)
{
    const SelPosition &at = position.at;
    json names = json::object();
    for (const auto &[number, name] : position.names) {
        names[std::to_string(number)] = name;
    }
    json j = {{"schema", kPositionSchema},
              {"bmc", bmc},
              {"records", position.records},
              {"sel", nullptr},
              {"last", nullptr},
              {"sensors", names}};
    if (at.info) {
        j["sel"] = {{"entries", at.info->entries},
                    {"added", at.info->added},
                    {"erased", at.info->erased},
                    {"overflow", at.info->overflow}};
    }
    if (at.lastId) {
        j["last"] = {{"id", *at.lastId}, {"bytes", hexBytes(at.lastBytes)}};
    }
    return j.dump(2) + "\n";
}

std::optional<SavedPosition> parsePosition(std::string_view text, std::string &why)
{
    const json j = json::parse(text, nullptr, false);
    if (j.is_discarded() || !j.is_object()) {
        why = "not JSON";
        return std::nullopt;
    }
    try {
        if (const unsigned schema = j.at("schema").get<unsigned>(); schema != kPositionSchema) {
            why = "schema " + std::to_string(schema) + ", not " + std::to_string(kPositionSchema);
            return std::nullopt;
        }
        SavedPosition position;
        position.records = j.at("records").get<uint64_t>();
        if (const json &sel = j.at("sel"); !sel.is_null()) {
            position.at.info = SelInfo{sel.at("entries").get<u16>(), sel.at("added").get<u32>(),
                                       sel.at("erased").get<u32>(), sel.at("overflow").get<bool>()};
        }
        if (const json &last = j.at("last"); !last.is_null()) {
            const std::optional<SelEntry> bytes = bytesOfHex(last.at("bytes").get<std::string>());
            if (!bytes) {
                why = "the last record's bytes are not 16 bytes in hex";
                return std::nullopt;
            }
            position.at.lastId = last.at("id").get<u16>();
            position.at.lastBytes = *bytes;
        }
        for (const auto &[number, name] : j.at("sensors").items()) {
            const unsigned long n = std::stoul(number);
            if (n > 0xFF) {
                why = "sensor number " + number + " is not a byte";
                return std::nullopt;
            }
            position.names[static_cast<u8>(n)] = name.get<std::string>();
        }
        return position;
    } catch (const std::exception &e) { // a field missing or of the wrong type
        why = e.what();
        return std::nullopt;
    }
}

} // namespace diagpanel
