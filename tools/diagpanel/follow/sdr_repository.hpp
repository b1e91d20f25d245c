// SPDX-License-Identifier: Apache-2.0
// Reading a BMC's SDR repository over any IPMI transport: Reserve SDR Repository and Get SDR, a
// record whole or, where the BMC will not hand it over whole, in pieces. The read is bounded in
// records and bytes whatever the BMC says: a next-record ID that leads back, more records than
// the repository holds or a record of the wrong length ends it with the records read whole, and
// says why.
#pragma once

#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include <diagpanel/types.h>

#include "tools/diagpanel/follow/ipmi_client.hpp"

namespace diagpanel {

// A storage command's answer: its response data, or its completion code, or nothing when no
// answer came.
struct StorageAnswer {
    std::optional<std::vector<u8>> data;
    std::optional<u8> completion;
    bool answered() const { return data || completion; }
};

// Sends one command of the Storage network function (its command byte, its request data).
using StorageCommand = std::function<StorageAnswer(u8 cmd, std::span<const u8> data)>;

// The repository as far as it could be read; nullopt when not one record could.
std::optional<SdrRepository> readSdrRepository(const StorageCommand &command);

// What a user is told of reading it: why the records name no sensors, or name only some; empty
// when it was read whole.
std::string repositoryNote(const std::optional<SdrRepository> &repository);

} // namespace diagpanel
