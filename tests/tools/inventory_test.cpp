// SPDX-License-Identifier: Apache-2.0
// watch's inventory from files a test writes in a folder of its own: config and target files in
// each form, what each kind of mistake is told, a re-read and its diff, shards, password files.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <ranges>
#include <sstream>
#include <sys/stat.h>

#include "tools/diagpanel/watch/inventory.hpp"

namespace {

using namespace diagpanel;

class InventoryTest : public testing::Test
{
  protected:
    void SetUp() override
    {
        std::string pattern = testing::TempDir() + "inventoryXXXXXX";
        ASSERT_NE(mkdtemp(pattern.data()), nullptr);
        dir_ = pattern + "/";
    }
    void TearDown() override { std::filesystem::remove_all(dir_); }

    // Written as a writer should, into a new file renamed over the old.
    std::string write(const std::string &name, const std::string &text, mode_t mode = 0600)
    {
        const std::string path = dir_ + name;
        std::ofstream(path + ".new") << text;
        chmod((path + ".new").c_str(), mode);
        std::filesystem::rename(path + ".new", path);
        return path;
    }
    // "$D/" in an expectation is the test's folder.
    std::string here(std::string text) const
    {
        for (std::size_t at; (at = text.find("$D/")) != std::string::npos;) {
            text.replace(at, 3, dir_);
        }
        return text;
    }

    std::string dir_;
};

using std::views::values;

// A target a line: name, host, module, board and the labels carried along.
std::string listing(std::ranges::input_range auto &&targets)
{
    std::ostringstream out;
    for (const Target &t : targets) {
        char board[16];
        std::snprintf(board, sizeof board, "0x%08x", t.board);
        out << t.name << " " << t.host << " " << t.module << " " << board;
        for (const auto &[label, value] : t.labels) {
            out << " " << label << "=" << value;
        }
        out << "\n";
    }
    return out.str();
}

const char *const kYamlConfig = R"(# two modules; paths beside this file
modules:
  default: {user: panelwatch, password_file: bmc.pw, board: 0x01030103}
  lab:
    user: "lab"
    password_file: /etc/lab.pw
    cipher_suite: 17
    interval: 2.5
target_files: [bmc-*.json, "extra.yaml"]
)";

const char *const kJsonConfig = R"({"modules": {"default": {"user": "u", "password_file": "p",
  "board": "01030303h"}}, "target_files": ["bmc-*.json"]})";

// bmc-1.json: labels, IPv6, a port, a name in capitals, the board label over the module's.
const char *const kTargets = R"([
  {"targets": ["BMC-01.Lab", "[2001:DB8:0::1]"], "labels": {"rack": "r1", "job": "bmc"}},
  {"targets": ["10.0.0.7:6230"], "labels": {"board": "0x01032303"}}
])";

TEST_F(InventoryTest, ReadsEachForm)
{
    write("bmc-1.json", kTargets);
    write("extra.yaml",
          "- targets: ['bmc-02.lab:624']\n  labels: {module: lab, board: 0x60010101}\n");
    const Config yaml = readConfig(write("watch.yaml", kYamlConfig));
    const Module lab{"lab", "lab", "/etc/lab.pw", 17, 2.5, std::nullopt};
    EXPECT_EQ(yaml.modules.at("lab"), lab);
    EXPECT_EQ(yaml.modules.at("default").passwordFile, dir_ + "bmc.pw");
    EXPECT_EQ(yaml.modules.at("default").interval, 10.0);
    // bmc-1.json's targets, two with module default's board b.
    const auto common = [](const std::string &b) {
        return "10.0.0.7:6230 10.0.0.7 default 0x01032303\n[2001:db8::1]:623 2001:db8::1 default " +
               b + " job=bmc rack=r1\nbmc-01.lab:623 bmc-01.lab default " + b +
               " job=bmc rack=r1\n";
    };
    EXPECT_EQ(listing(readInventory(yaml).targets | values),
              common("0x01030103") + "bmc-02.lab:624 bmc-02.lab lab 0x60010101\n");

    // The same targets under a JSON config and under flags: the module's board alone changes.
    const std::string expected = common("0x01030303");
    EXPECT_EQ(listing(readInventory(readConfig(write("watch.conf", kJsonConfig))).targets | values),
              expected);
    const Config flags = configFromFlags(
        {.targets = dir_ + "bmc-1.json", .user = "u", .passwordFile = "p", .board = "0x01030303"});
    EXPECT_EQ(listing(readInventory(flags).targets | values), expected);
}

TEST_F(InventoryTest, TellsWhereAndWhatIsWrong)
{
    // The config: module default is user u and `module`, the target files `files`.
    const struct {
        const char *module, *files, *targets, *message;
    } rows[] = {
        {"pasword_file: p", nullptr, "[]",
         "$D/c.yaml: modules.default: unknown key 'pasword_file' (known: user, password_file, "
         "cipher_suite, interval, board)"},
        {"password_file: p, cipher_suite: 18", nullptr, "[]",
         "$D/c.yaml: modules.default.cipher_suite: 18 is not one of 0 to 17"},
        {"password_file: p, board: 16974083", nullptr, "[]",
         "$D/c.yaml: modules.default.board: must be a string, not a whole number"},
        {"password_file: p, board: 0x01030104", nullptr, "[]",
         "$D/c.yaml: modules.default.board: 0x01030104 is not a supported board (diagpanel "
         "boards lists them)"},
        {"password_file: p", "[t.json]\n  - x", "[]",
         "$D/c.yaml: line 3: not valid YAML: end of map not found"},
        {nullptr, nullptr, "[{\"targets\": [\"a\"],}]",
         "$D/t.json: not valid JSON: parse error at line 1, column 20: syntax error while parsing "
         "object key - unexpected '}'; expected string literal"},
        {nullptr, nullptr, R"([{"targets": ["a"], "label": {}}])",
         "$D/t.json: entry 1: unknown key 'label' (known: targets, labels)"},
        {nullptr, nullptr, R"([{"targets": ["a:0"]}])",
         "$D/t.json: entry 1: target 'a:0': port '0' is not a number from 1 to 65535"},
        {nullptr, nullptr, R"([{"targets": ["fe80::1"]}])",
         "$D/t.json: entry 1: target 'fe80::1': write an IPv6 address in brackets, as [::1] or "
         "[::1]:623"},
        {nullptr, nullptr, R"([{"targets": ["[fe80::1x]:623"]}])",
         "$D/t.json: entry 1: target '[fe80::1x]:623': 'fe80::1x' is not an IPv6 address"},
        {nullptr, nullptr, R"([{"targets": ["a", "b c"]}])",
         "$D/t.json: entry 1: target 'b c': 'b c' is not a host name or address"},
        {nullptr, nullptr, R"([{"targets": ["a"]}, {"targets": ["A:623"]}])",
         "$D/t.json: entry 2: target 'a:623': listed twice, first at $D/t.json: entry 1"},
        {nullptr, nullptr, R"([{"targets": ["a"], "labels": {"module": "lab"}}])",
         "$D/t.json: entry 1: module 'lab' is not one the config names"},
        {nullptr, nullptr, R"([{"targets": ["a"], "labels": {"board": "1030103"}}])",
         "$D/t.json: entry 1: label 'board': '1030103' is not a board identifier: write it in "
         "hex, as 0x01030103 or 01030103h"},
        {nullptr, nullptr, R"([{"targets": ["a"], "labels": {"rack": 7}}])",
         "$D/t.json: entry 1: label 'rack': must be a string, not a whole number"},
        {"password_file: p", nullptr, R"([{"targets": ["a"]}])",
         "$D/t.json: entry 1: target 'a:623': no board: give it a 'board' label, or module "
         "'default' a board"},
        {nullptr, "[t.json, missing.json, none-*.json]", R"([{"targets": ["a"]}])",
         "$D/missing.json: cannot read: No such file or directory"},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.message);
        write("c.yaml", std::string("modules: {default: {user: u, ") +
                            (row.module ? row.module : "password_file: p, board: '0x01030103'") +
                            "}}\ntarget_files: " + (row.files ? row.files : "[t.json]"));
        write("t.json", row.targets);
        try {
            readInventory(readConfig(dir_ + "c.yaml"));
            ADD_FAILURE() << "accepted";
        } catch (const InventoryError &e) {
            EXPECT_EQ(e.what(), here(row.message));
        }
    }
}

TEST_F(InventoryTest, ReReadsWhatChangedAndTellsTheDifference)
{
    write("bmc-1.json", kTargets);
    const Config config = readConfig(write("watch.conf", kJsonConfig));
    const Inventory before = readInventory(config);
    EXPECT_FALSE(targetFilesChanged(config, before));

    // One target gone, one relabelled, one new in a file the glob now finds too.
    write("bmc-1.json", R"([{"targets": ["bmc-01.lab"], "labels": {"rack": "r2", "job": "bmc"}},
                            {"targets": ["10.0.0.7:6230"], "labels": {"board": "0x01032303"}}])");
    EXPECT_TRUE(targetFilesChanged(config, before));
    write("bmc-2.json", R"([{"targets": ["[::1]:9623"]}])");
    const Inventory after = readInventory(config);
    EXPECT_FALSE(targetFilesChanged(config, after));
    const InventoryDiff diff = diffInventories(before, after);
    EXPECT_EQ(listing(diff.added), "[::1]:9623 ::1 default 0x01030303\n");
    EXPECT_EQ(listing(diff.removed),
              "[2001:db8::1]:623 2001:db8::1 default 0x01030303 job=bmc rack=r1\n");
    EXPECT_EQ(listing(diff.changed),
              "bmc-01.lab:623 bmc-01.lab default 0x01030303 job=bmc rack=r2\n");

    std::filesystem::remove(dir_ + "bmc-2.json");
    EXPECT_TRUE(targetFilesChanged(config, after));
}

// The hash is a contract between watchers of every version: its values are pinned here.
TEST(InventoryShard, SplitsOneListTheSameWayEverywhere)
{
    EXPECT_EQ(shardHash(""), 0xcbf29ce484222325ULL);
    EXPECT_EQ(shardHash("foobar"), 0x85944171f73967e8ULL);
    const struct {
        const char *name;
        unsigned ofThree;
    } pinned[] = {{"bmc-01.lab:623", 2}, {"bmc-02.lab:623", 0}, {"[2001:db8::1]:623", 1},
                  {"10.0.0.7:6230", 0},  {"bmc-03.lab:623", 0}, {"bmc-04.lab:623", 1}};
    for (const auto &p : pinned) {
        for (unsigned i = 0; i < 3; ++i) {
            Target t;
            t.name = p.name;
            EXPECT_EQ(inShard(t, parseShard(std::to_string(i) + "/3")), i == p.ofThree)
                << p.name << " in shard " << i;
        }
    }
    for (const char *bad : {"2/2", "0/0", "1", "-1/2", "a/2", "1/2x", ""}) {
        EXPECT_THROW(parseShard(bad), InventoryError) << bad;
    }
}

TEST_F(InventoryTest, ReadsAPasswordFileOnlyItsOwnerMayRead)
{
    const std::string open = write("open.pw", "secret\n", 0644);
    try {
        readPassword(open);
        ADD_FAILURE() << "accepted";
    } catch (const InventoryError &e) {
        EXPECT_EQ(e.what(), "permissions 0644 for '" + open +
                                "' are too open: a password file must not be readable by "
                                "others; chmod 600 " +
                                open);
        EXPECT_EQ(std::string(e.what()).find("secret"), std::string::npos);
    }
    EXPECT_THROW(readPassword(write("group.pw", "secret\n", 0640)), InventoryError);
    EXPECT_THROW(readPassword(write("empty.pw", "\nsecret\n")), InventoryError);
    const Password password = readPassword(write("bmc.pw", "s3cr:t x\r\nnext line\n"));
    EXPECT_EQ(password.reveal(), "s3cr:t x");
    std::ostringstream printed;
    printed << password;
    EXPECT_EQ(printed.str(), "(hidden)");
}

} // namespace
