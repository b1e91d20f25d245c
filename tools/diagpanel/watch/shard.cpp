// SPDX-License-Identifier: Apache-2.0
// --shard I/N: N watchers split one inventory by a hash of each target's name, with no
// coordination, and always the same way.
#include <charconv>

#include "tools/diagpanel/readers/text.hpp"
#include "tools/diagpanel/watch/inventory.hpp"

namespace diagpanel {

Shard parseShard(std::string_view text)
{
    const auto slash = text.find('/');
    const auto number = [](std::string_view digits, unsigned &value) {
        const auto [end, error] =
            std::from_chars(digits.data(), digits.data() + digits.size(), value);
        return !digits.empty() && error == std::errc() && end == digits.data() + digits.size();
    };
    Shard shard;
    if (slash == text.npos || !number(text.substr(0, slash), shard.index) ||
        !number(text.substr(slash + 1), shard.count) || shard.count == 0 ||
        shard.index >= shard.count) {
        throw InventoryError("--shard " + diagpanel::quoted(text) +
                             ": write it I/N, N watchers in all and this one's I from 0 to N-1, "
                             "as 0/2 and 1/2");
    }
    return shard;
}

std::uint64_t shardHash(std::string_view name)
{
    std::uint64_t hash = kShardHashOffset;
    for (const char c : name) {
        hash ^= static_cast<unsigned char>(c);
        hash *= kShardHashPrime;
    }
    return hash;
}

bool inShard(const Target &target, Shard shard)
{
    return shardHash(target.name) % shard.count == shard.index;
}

} // namespace diagpanel
