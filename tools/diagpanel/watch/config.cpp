// SPDX-License-Identifier: Apache-2.0
// The modules and target files of a watcher, from its config file or its flags.
#include <filesystem>
#include <sstream>

#include "tools/diagpanel/watch/document.hpp"
#include "tools/diagpanel/watch/inventory.hpp"

namespace diagpanel {

namespace {

// The bounds follow's --cipher-suite and --interval have.
constexpr long long kLastCipherSuite = 17;
constexpr double kShortestInterval = 0.05;
constexpr double kLongestInterval = 3600;

void checkModule(const Module &m, const std::string &where)
{
    if (m.user.empty()) {
        fail(where, "user is empty");
    }
    if (m.passwordFile.empty()) {
        fail(where, "password_file is empty");
    }
    if (m.cipherSuite > kLastCipherSuite) {
        fail(where, "cipher suite " + std::to_string(m.cipherSuite) + " is not one of 0 to 17");
    }
    if (!(m.interval >= kShortestInterval && m.interval <= kLongestInterval)) {
        std::ostringstream interval;
        interval << "interval " << m.interval << " s is not within 0.05 to 3600 s";
        fail(where, interval.str());
    }
}

// A path of the config file: relative ones are taken from the config file's folder.
std::string besideConfig(const std::filesystem::path &folder, const std::string &path)
{
    return std::filesystem::path(path).is_absolute() ? path
                                                     : (folder / path).lexically_normal().string();
}

Module moduleFrom(const std::string &name, const Document &d, const std::filesystem::path &folder,
                  const std::string &where)
{
    expect(d, Document::value_t::object, where);
    expectKeys(d, {"user", "password_file", "cipher_suite", "interval", "board"}, where);
    for (const char *required : {"user", "password_file"}) {
        if (!d.contains(required)) {
            fail(where, std::string(required) + " is missing");
        }
    }
    Module m{.name = name,
             .user = expectString(d["user"], where + ".user"),
             .passwordFile =
                 besideConfig(folder, expectString(d["password_file"], where + ".password_file")),
             .board = std::nullopt};
    if (d.contains("cipher_suite")) {
        const long long suite =
            expect(d["cipher_suite"], Document::value_t::number_integer, where + ".cipher_suite");
        if (suite < 0 || suite > kLastCipherSuite) {
            fail(where + ".cipher_suite", std::to_string(suite) + " is not one of 0 to 17");
        }
        m.cipherSuite = static_cast<unsigned>(suite);
    }
    if (d.contains("interval")) {
        m.interval = expect(d["interval"], Document::value_t::number_float, where + ".interval");
    }
    if (d.contains("board")) {
        const std::string &board = expectString(d["board"], where + ".board");
        try {
            m.board = inventoryBoard(board);
        } catch (const InventoryError &e) {
            fail(where + ".board", e.what());
        }
    }
    checkModule(m, where);
    return m;
}

} // namespace

Config readConfig(const std::string &path)
{
    const Document d = parseDocument(path, readWholeFile(path));
    const std::filesystem::path folder = std::filesystem::path(path).parent_path();
    expect(d, Document::value_t::object, path);
    expectKeys(d, {"modules", "target_files"}, path);
    if (!d.contains("modules") || !d.contains("target_files")) {
        fail(path, "'modules' and 'target_files' must both be given");
    }
    Config config;
    const std::string modules = path + ": modules";
    for (const auto &[name, module] :
         expect(d["modules"], Document::value_t::object, modules).items()) {
        std::string where = modules;
        where += "." + name;
        config.modules[name] = moduleFrom(name, module, folder, where);
    }
    const std::string files = path + ": target_files";
    for (const Document &file : expect(d["target_files"], Document::value_t::array, files)) {
        config.targetFiles.push_back(besideConfig(folder, expectString(file, files)));
    }
    if (config.modules.empty() || config.targetFiles.empty()) {
        fail(path, "'modules' and 'target_files' must not be empty");
    }
    return config;
}

Config configFromFlags(const ModuleFlags &flags)
{
    Module m{.name = kDefaultModule,
             .user = flags.user,
             .passwordFile = flags.passwordFile,
             .cipherSuite = flags.cipherSuite,
             .interval = flags.interval,
             .board = std::nullopt};
    if (!flags.board.empty()) {
        try {
            m.board = inventoryBoard(flags.board);
        } catch (const InventoryError &e) {
            fail("--board", e.what());
        }
    }
    checkModule(m, "the flags");
    if (flags.targets.empty()) {
        fail("the flags", "--targets is empty");
    }
    return Config{.modules = {{m.name, m}}, .targetFiles = {flags.targets}};
}

} // namespace diagpanel
