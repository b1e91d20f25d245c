// SPDX-License-Identifier: Apache-2.0
// Target files in the form Prometheus's file_sd_configs reads: a list of groups, each a list of
// addresses and the labels they share. Read whole, stamped, and compared with the last read.
#include <algorithm>
#include <arpa/inet.h>
#include <cctype>
#include <cerrno>
#include <charconv>
#include <system_error>
#include <fcntl.h>
#include <glob.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tools/diagpanel/readers/text.hpp"
#include "tools/diagpanel/watch/document.hpp"
#include "tools/diagpanel/watch/inventory.hpp"

namespace diagpanel {

namespace {

FileStamp stampOf(const std::string &path, const struct stat &s)
{
    return FileStamp{.path = path,
                     .device = s.st_dev,
                     .inode = s.st_ino,
                     .size = s.st_size,
                     .modifiedNs = s.st_mtim.tv_sec * 1'000'000'000LL + s.st_mtim.tv_nsec};
}

// The files a config's target_files name now, each once, in the order given (a glob's in name
// order).
std::vector<std::string> targetPaths(const Config &config)
{
    std::vector<std::string> paths;
    for (const std::string &pattern : config.targetFiles) {
        glob_t found{};
        const int result = glob(pattern.c_str(), 0, nullptr, &found);
        const bool isGlob = pattern.find_first_of("*?[") != std::string::npos;
        if (result == GLOB_NOMATCH && !isGlob) {
            paths.push_back(pattern); // its read says why it is missing
        }
        for (std::size_t i = 0; result == 0 && i < found.gl_pathc; ++i) {
            paths.emplace_back(found.gl_pathv[i]);
        }
        globfree(&found);
    }
    std::vector<std::string> once;
    for (const std::string &p : paths) {
        if (std::find(once.begin(), once.end(), p) == once.end()) {
            once.push_back(p);
        }
    }
    return once;
}

// The text of a file and the stamp of what was read, taken from the open file so that a file
// replaced meanwhile is read again next time.
std::string readStamped(const std::string &path, FileStamp &stamp)
{
    const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        fail(path, std::string("cannot read: ") + std::generic_category().message(errno));
    }
    struct stat s {
    };
    if (fstat(fd, &s) != 0 || !S_ISREG(s.st_mode)) {
        close(fd);
        fail(path, "cannot read: not a file");
    }
    stamp = stampOf(path, s);
    std::string text;
    char buffer[8192];
    ssize_t n = 0;
    while ((n = read(fd, buffer, sizeof buffer)) > 0) {
        text.append(buffer, static_cast<std::size_t>(n));
    }
    const int error = errno;
    close(fd);
    if (n < 0) {
        fail(path, std::string("cannot read: ") + std::generic_category().message(error));
    }
    return text;
}

unsigned portOf(std::string_view text)
{
    unsigned port = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), port);
    if (text.empty() || error != std::errc() || end != text.data() + text.size() || port == 0 ||
        port > 65535) {
        throw InventoryError("port " + diagpanel::quoted(text) +
                             " is not a number from 1 to 65535");
    }
    return port;
}

// Targets as the groups of one file list them, checked against the config's modules.
void addTargets(const Document &file, const std::string &path, const Config &config,
                std::map<std::string, std::string> &listedAt, Inventory &inventory)
{
    expect(file, Document::value_t::array, path);
    for (std::size_t i = 0; i < file.size(); ++i) {
        const std::string entry = path + ": entry " + std::to_string(i + 1);
        const Document &group = expect(file[i], Document::value_t::object, entry);
        expectKeys(group, {"targets", "labels"}, entry);
        std::map<std::string, std::string> labels;
        if (group.contains("labels")) {
            for (const auto &[name, value] :
                 expect(group["labels"], Document::value_t::object, entry + ": labels").items()) {
                std::string where = entry;
                where += ": label '" + name + "'";
                labels[name] = expectString(value, where);
            }
        }
        const auto take = [&](const char *name) {
            const auto found = labels.extract(name);
            return found ? std::optional(found.mapped()) : std::nullopt;
        };
        const std::string moduleName = take("module").value_or(kDefaultModule);
        const auto module = config.modules.find(moduleName);
        if (module == config.modules.end()) {
            fail(entry, "module '" + moduleName + "' is not one the config names");
        }
        std::optional<u32> board = module->second.board;
        if (const std::optional<std::string> label = take("board")) {
            try {
                board = inventoryBoard(*label);
            } catch (const InventoryError &e) {
                fail(entry + ": label 'board'", e.what());
            }
        }
        if (!group.contains("targets")) {
            fail(entry, "targets is missing");
        }
        for (const Document &written :
             expect(group["targets"], Document::value_t::array, entry + ": targets")) {
            const std::string &text = expectString(written, entry + ": targets");
            Address address;
            try {
                address = parseAddress(text);
            } catch (const InventoryError &e) {
                fail(entry + ": target " + diagpanel::quoted(text), e.what());
            }
            const std::string where = entry + ": target '" + address.name + "'";
            if (!board) {
                fail(where,
                     "no board: give it a 'board' label, or module '" + moduleName + "' a board");
            }
            if (const auto [first, added] = listedAt.emplace(address.name, entry); !added) {
                fail(where, "listed twice, first at " + first->second);
            }
            inventory.targets[address.name] = Target{.host = address.host,
                                                     .port = address.port,
                                                     .name = address.name,
                                                     .module = moduleName,
                                                     .board = *board,
                                                     .labels = labels};
        }
    }
}

} // namespace

Address parseAddress(std::string_view text)
{
    Address a;
    std::optional<std::string_view> port; // after the colon, when there is one
    if (text.starts_with('[')) {
        const auto close = text.find(']');
        const std::string_view rest = close == text.npos ? "?" : text.substr(close + 1);
        if (!(rest.empty() || rest.starts_with(':'))) {
            throw InventoryError("write an IPv6 address as [::1] or [::1]:623");
        }
        const std::string inside(text.substr(1, close - 1));
        in6_addr bytes{};
        char canonical[INET6_ADDRSTRLEN];
        if (inet_pton(AF_INET6, inside.c_str(), &bytes) != 1) {
            throw InventoryError(diagpanel::quoted(inside) + " is not an IPv6 address");
        }
        a.host = inet_ntop(AF_INET6, &bytes, canonical, sizeof canonical);
        port = rest.empty() ? std::nullopt : std::optional(rest.substr(1));
    } else {
        const auto colon = text.find(':');
        if (colon != text.npos && text.find(':', colon + 1) != text.npos) {
            throw InventoryError("write an IPv6 address in brackets, as [::1] or [::1]:623");
        }
        const std::string_view host = text.substr(0, colon);
        const auto nameChar = [](char c) {
            return std::isalnum(static_cast<unsigned char>(c)) || c == '.' || c == '-' || c == '_';
        };
        if (host.empty() || !std::all_of(host.begin(), host.end(), nameChar)) {
            throw InventoryError(diagpanel::quoted(host) + " is not a host name or address");
        }
        // Names are not case-sensitive: one BMC, one name, one shard.
        for (const char c : host) {
            a.host += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        }
        port = colon == text.npos ? std::nullopt : std::optional(text.substr(colon + 1));
    }
    a.port = port ? portOf(*port) : kDefaultIpmiPort;
    const bool v6 = a.host.find(':') != std::string::npos;
    a.name = (v6 ? "[" + a.host + "]" : a.host) + ":" + std::to_string(a.port);
    return a;
}

Inventory readInventory(const Config &config)
{
    Inventory inventory;
    std::map<std::string, std::string> listedAt;
    for (const std::string &path : targetPaths(config)) {
        FileStamp stamp;
        const std::string text = readStamped(path, stamp);
        inventory.files.push_back(stamp);
        addTargets(parseDocument(path, text), path, config, listedAt, inventory);
    }
    return inventory;
}

bool targetFilesChanged(const Config &config, const Inventory &last)
{
    const std::vector<std::string> paths = targetPaths(config);
    if (paths.size() != last.files.size()) {
        return true;
    }
    for (std::size_t i = 0; i < paths.size(); ++i) {
        struct stat s {
        };
        if (stat(paths[i].c_str(), &s) != 0 || !(stampOf(paths[i], s) == last.files[i])) {
            return true;
        }
    }
    return false;
}

InventoryDiff diffInventories(const Inventory &before, const Inventory &after)
{
    InventoryDiff diff;
    for (const auto &[name, target] : after.targets) {
        const auto old = before.targets.find(name);
        if (old == before.targets.end()) {
            diff.added.push_back(target);
        } else if (!(old->second == target)) {
            diff.changed.push_back(target);
        }
    }
    for (const auto &[name, target] : before.targets) {
        if (!after.targets.contains(name)) {
            diff.removed.push_back(target);
        }
    }
    return diff;
}

} // namespace diagpanel
