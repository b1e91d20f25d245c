// SPDX-License-Identifier: Apache-2.0
// The per-BMC state store on a real file system: what one run keeps the next finds, replay's
// writeraw reader reads records.bin as it is, each kind of crash leaves a state that loses and
// doubles nothing, and a disk that fails is told once while the records are kept in memory and
// written once it works again. Tests run as root, which no file mode stops: the failures are a
// device (/dev/full) and a file where a folder must be.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <functional>

#include "tools/diagpanel/readers/readers.hpp"
#include "tools/diagpanel/state/bmc_state.hpp"

namespace {

using namespace diagpanel;
namespace fs = std::filesystem;
using std::chrono::seconds;

const FollowClock::time_point kStart{std::chrono::hours(1)};

SelEntry record(u16 id, u8 type = 0x02)
{
    SelEntry e{static_cast<u8>(id), static_cast<u8>(id >> 8), type};
    e[15] = static_cast<u8>(0xA0 + id);
    return e;
}

// Records 1 to 5, one of them OEM: bytes a reader might be tempted to reorder.
const std::vector<SelEntry> kRecords = {record(1), record(2), record(3, 0xC1), record(4),
                                        record(5)};
const std::map<u8, std::string> kNames = {{0x30, "PSU 2 Status"}, {0x60, "DIMM B3"}};

SelPosition after(std::size_t records)
{
    return {SelInfo{static_cast<u16>(records), 0x100u + static_cast<u32>(records), 0x50, false},
            static_cast<u16>(records), kRecords[records - 1]};
}

struct StateDir {
    fs::path root = fs::path(testing::TempDir()) / ("bmc_state." + std::to_string(getpid()));
    std::string dir = (root / "state").string();
    std::vector<std::string> told;
    StateDir() { fs::create_directories(root); }
    ~StateDir() { fs::remove_all(root); }
    BmcState open()
    {
        return {dir, "10.0.0.5", 623, [this](const std::string &t) { told.push_back(t); }, kStart};
    }
    fs::path folder() const { return fs::path(dir) / "10.0.0.5-623"; }
    fs::path file(const char *name) const { return folder() / name; }
};

void write(const fs::path &path, const std::string &bytes, std::ios::openmode mode = {})
{
    std::ofstream(path, std::ios::binary | std::ios::out | mode) << bytes;
}

TEST(BmcState, NamesAFolderPerBmc)
{
    const char *const rows[][2] = {{"10.0.0.5", "10.0.0.5-623"},
                                   {"BMC7.Example.com", "bmc7.example.com-623"},
                                   {"[FE80::1]", "fe80_3A_3A1-623"},
                                   {"fe80:0::1%eth0", "fe80_3A_3A1_25eth0-623"},
                                   {"..", "_2E.-623"},
                                   {"a/b_c", "a_2Fb_5Fc-623"}};
    for (const auto &[host, name] : rows) {
        EXPECT_EQ(bmcStateName(host, 623), name);
    }
}

// A run kept records 1-3 and the position after 3; then something happened to the files.
struct Crash {
    const char *what;
    std::size_t records; // found again
    u16 lastId;          // the last record read; 0: none, nor SEL info: the SEL is walked again
    const char *told;    // said to the user
    std::function<void(StateDir &)> happen;
};

const Crash kCrashes[] = {
    {"none", 3, 3, "", [](StateDir &) {}},
    {"an append cut short: its bytes cut off, the record read again", 3, 3, "the last 7 bytes",
     [](StateDir &d) { write(d.file("records.bin"), "1234567", std::ios::app); }},
    {"a position write cut short: the old position stands", 3, 3, "",
     [](StateDir &d) { write(d.file("position.json.tmp"), R"({"schema": 1, "rec)"); }},
    {"records appended after the position: the last of them is the last read", 5, 5, "",
     [](StateDir &d) { d.open().append(std::span(kRecords).subspan(3, 2), kStart); }},
    {"no position", 3, 0, "", [](StateDir &d) { fs::remove(d.file("position.json")); }},
    {"a position that is no JSON", 3, 0, "position.json cannot be read",
     [](StateDir &d) { write(d.file("position.json"), "{"); }},
    {"fewer records than the position counts", 2, 0, "counts 3 records",
     [](StateDir &d) { fs::resize_file(d.file("records.bin"), 32); }},
};

TEST(BmcState, ACrashLosesAndDoublesNothing)
{
    for (const Crash &crash : kCrashes) {
        SCOPED_TRACE(crash.what);
        StateDir d;
        {
            BmcState state = d.open();
            EXPECT_FALSE(state.saved().resume) << "a new folder: nothing to go on from";
            state.append(std::span(kRecords).first(3), kStart);
            state.savePosition(after(3), kNames, kStart);
        }
        crash.happen(d);
        const BmcState again = d.open();
        const SavedState &saved = again.saved();
        EXPECT_EQ(saved.records, std::vector(kRecords.begin(), kRecords.begin() + crash.records));
        ASSERT_TRUE(saved.resume);
        EXPECT_EQ(saved.resume->lastId.value_or(0), crash.lastId);
        if (crash.lastId != 0) {
            EXPECT_EQ(saved.resume->lastBytes, kRecords[crash.lastId - 1]);
            EXPECT_EQ(saved.names, kNames);
        }
        EXPECT_EQ(saved.resume->info, crash.lastId != 0 ? after(3).info : std::nullopt);
        EXPECT_EQ(fs::file_size(d.file("records.bin")), 16 * crash.records);
        EXPECT_FALSE(fs::exists(d.file("position.json.tmp")));
        ASSERT_EQ(d.told.size(), *crash.told != 0 ? 1u : 0u);
        if (*crash.told != 0) {
            EXPECT_NE(d.told[0].find(crash.told), std::string::npos) << d.told[0];
        }
        // What is kept is what replay's writeraw reader reads.
        std::string why;
        std::optional<InputFile> input = InputFile::open(d.file("records.bin"), why);
        ASSERT_TRUE(input) << why;
        std::vector<SelEntry> replayed;
        ItemOut out("records.bin", true, [&](const Item &item) { replayed.push_back(item.sel); });
        readBinarySel(*input, out);
        EXPECT_EQ(replayed, saved.records);
        EXPECT_EQ(out.problems(), 0u);
    }
}

// A disk that fails, then works again.
struct Failure {
    const char *what;
    std::function<void(const StateDir &)> fail, mend;
    const char *error;
};

const Failure kFailures[] = {
    {"a full disk",
     [](const StateDir &d) {
         fs::create_directories(d.folder());
         fs::create_symlink("/dev/full", d.file("records.bin"));
     },
     [](const StateDir &d) { fs::remove(d.file("records.bin")); }, "No space left on device"},
    {"a state directory that is a file, then one of an earlier run's: set aside, not mixed",
     [](const StateDir &d) { write(d.dir, "not a folder"); },
     [](const StateDir &d) {
         fs::remove(d.dir);
         fs::create_directories(d.folder());
         write(d.file("records.bin"), std::string(32, '\2'));
     },
     "Not a directory"},
};

TEST(BmcState, AFailingDiskIsToldOnceAndCaughtUpWith)
{
    for (const Failure &failure : kFailures) {
        SCOPED_TRACE(failure.what);
        StateDir d;
        failure.fail(d);
        {
            BmcState state = d.open();
            for (std::size_t i = 1; i <= 3; ++i) {
                state.append(std::span(kRecords).subspan(i - 1, 1), kStart + seconds(i));
                state.savePosition(after(i), kNames, kStart + seconds(i));
            }
            ASSERT_EQ(d.told.size(), 1u);
            EXPECT_NE(d.told[0].find(state.path()), std::string::npos) << d.told[0];
            EXPECT_NE(d.told[0].find(failure.error), std::string::npos) << d.told[0];
            state.savePosition(after(3), kNames, kStart + seconds(61));
            EXPECT_EQ(d.told.size(), 1u) << "a minute on, tried again, failed again: not told";
            failure.mend(d);
            state.savePosition(after(3), kNames, kStart + seconds(90));
            EXPECT_FALSE(state.onDisk()) << "tried again before a minute";
            state.append(std::span(kRecords).subspan(3, 2), kStart + seconds(100));
            state.savePosition(after(5), kNames, kStart + seconds(121));
            EXPECT_TRUE(state.onDisk());
            EXPECT_NE(d.told.back().find("is written to"), std::string::npos)
                << "told: works again";
        }
        const BmcState again = d.open();
        EXPECT_EQ(again.saved().records, kRecords);
        EXPECT_EQ(again.saved().resume, after(5));
    }
}

} // namespace
