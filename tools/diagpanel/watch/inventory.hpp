// SPDX-License-Identifier: Apache-2.0
// The inventory of a fleet of BMCs for one watcher: modules (how to log in to a kind of BMC and
// how often to poll it) from a config file or from flags, the targets from Prometheus-style
// file_sd target files, re-read when they change, and the share of them one of N watchers takes.
// Every function here reports what is wrong as an InventoryError whose text names the file and
// the entry; none of them ever puts a password into a string.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <ostream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include <diagpanel/types.h>

namespace diagpanel {

class InventoryError : public std::runtime_error
{
  public:
    using std::runtime_error::runtime_error;
};

inline constexpr unsigned kDefaultIpmiPort = 623;
inline constexpr const char *kDefaultModule = "default";

// How to reach one kind of BMC.
struct Module {
    std::string name;
    std::string user;
    std::string passwordFile;
    unsigned cipherSuite = 3;
    double interval = 10.0;   // seconds between polls of each of its BMCs
    std::optional<u32> board; // for targets without a board label
    bool operator==(const Module &) const = default;
};

// The modules, and the target files to read: paths or globs, absolute or relative to the folder
// the config file is in.
struct Config {
    std::map<std::string, Module> modules;
    std::vector<std::string> targetFiles;
};

// A config file, YAML or JSON: its schema is in docs/diagpanel.md ("watch: inventory").
Config readConfig(const std::string &path);

// The flags form: one module, named "default", and one target file.
struct ModuleFlags {
    std::string targets;
    std::string user;
    std::string passwordFile;
    unsigned cipherSuite = 3;
    double interval = 10.0;
    std::string board; // as --board is written; empty: none
};
Config configFromFlags(const ModuleFlags &flags);

// A BMC's address as a target file writes it: "host", "host:port", "[v6]" or "[v6]:port".
// Host names are lower-cased and IPv6 addresses written in their shortest form, so that one BMC
// has one name however it is written.
struct Address {
    std::string host; // an IPv6 address without its brackets
    unsigned port = kDefaultIpmiPort;
    std::string name; // "host:port", "[v6]:port"
};
Address parseAddress(std::string_view text); // throws with the reason alone

struct Target {
    std::string host;
    unsigned port = kDefaultIpmiPort;
    std::string name; // its identity: in messages, for shards, as a metric label
    std::string module;
    u32 board = 0;                             // its board label, else its module's
    std::map<std::string, std::string> labels; // every other label, carried along
    bool operator==(const Target &) const = default;
};

// What one read of a target file saw, to tell whether it changed since.
struct FileStamp {
    std::string path;
    std::uint64_t device = 0;
    std::uint64_t inode = 0;
    std::int64_t size = 0;
    std::int64_t modifiedNs = 0;
    bool operator==(const FileStamp &) const = default;
};

struct Inventory {
    std::map<std::string, Target> targets; // by name
    std::vector<FileStamp> files;          // the files read, in order
};

// Reads every target file the config names (globs expanded: a glob that matches nothing adds no
// file, a plain path that does not exist is an error). A target listed twice is an error.
Inventory readInventory(const Config &config);

// Whether a read now would see other files, or files changed since `last` was read.
bool targetFilesChanged(const Config &config, const Inventory &last);

// What a watcher must do to go from one inventory to the next: `changed` holds the new form of a
// target whose address, module, board or labels are no longer what they were.
struct InventoryDiff {
    std::vector<Target> added;
    std::vector<Target> removed;
    std::vector<Target> changed;
};
InventoryDiff diffInventories(const Inventory &before, const Inventory &after);

// --shard I/N: this watcher follows the targets whose shardHash(name) % N is I. The hash is a
// contract that must never change, or watchers of two versions would follow the same BMC twice
// and some none: FNV-1a, 64-bit, over the bytes of the target's name.
inline constexpr std::uint64_t kShardHashOffset = 0xcbf29ce484222325ULL;
inline constexpr std::uint64_t kShardHashPrime = 0x100000001b3ULL;
struct Shard {
    unsigned index = 0;
    unsigned count = 1;
};
Shard parseShard(std::string_view text);
std::uint64_t shardHash(std::string_view name);
bool inShard(const Target &target, Shard shard);

// A password: printed, it shows "(hidden)"; its text is for the IPMI session alone. Wiped from
// memory when it goes.
class Password
{
  public:
    explicit Password(std::string text) : text_(std::move(text)) {}
    Password(Password &&other) noexcept;
    Password &operator=(Password &&other) noexcept;
    Password(const Password &) = delete;
    Password &operator=(const Password &) = delete;
    ~Password();
    const std::string &reveal() const { return text_; }
    friend std::ostream &operator<<(std::ostream &out, const Password &)
    {
        return out << "(hidden)";
    }

  private:
    std::string text_;
};

// The first line of a password file; refused, as ssh refuses a private key, when its group or
// other users may read it.
Password readPassword(const std::string &path);

} // namespace diagpanel
