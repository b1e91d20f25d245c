// SPDX-License-Identifier: Apache-2.0
#include "tools/diagpanel/watch/panel_worker.hpp"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <poll.h>
#include <unistd.h>

#include <nlohmann/json.hpp>

#include "tools/diagpanel/follow/follow.hpp"
#include "tools/diagpanel/replay.hpp"
#include "tools/diagpanel/timeline/json_fields.hpp"

namespace diagpanel {

namespace {

using Clock = std::chrono::steady_clock;
constexpr int kBmcNewsKinds = static_cast<int>(BmcNews::Loop) + 1;
constexpr std::size_t kRestoreBatch = 256; // restored records in flight through the library

int hexDigit(char c)
{
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    if (c >= 'a' && c <= 'f') {
        return c - 'a' + 10;
    }
    return -1;
}

// Standard input, a line at a time, without blocking the display's clock.
class LineInput
{
  public:
    // Waits at most `timeout` (none: for ever) for more input; false at its end.
    bool fill(std::optional<std::chrono::milliseconds> timeout)
    {
        pollfd in{STDIN_FILENO, POLLIN, 0};
        const int ready = poll(&in, 1, timeout ? static_cast<int>(timeout->count()) : -1);
        if (ready <= 0) {
            return ready == 0 || errno == EINTR;
        }
        char chunk[65536];
        const ssize_t got = read(STDIN_FILENO, chunk, sizeof chunk);
        if (got < 0) {
            return errno == EINTR || errno == EAGAIN;
        }
        buffer_.append(chunk, static_cast<std::size_t>(got));
        return got > 0;
    }
    std::optional<std::string> next()
    {
        const std::size_t end = buffer_.find('\n', start_);
        if (end == std::string::npos) {
            buffer_.erase(0, std::exchange(start_, 0));
            return std::nullopt;
        }
        std::string line = buffer_.substr(start_, end - start_);
        start_ = end + 1;
        return line;
    }

  private:
    std::string buffer_;
    std::size_t start_ = 0;
};

struct Setting {
    u32 board = 0;
    std::string bmc;
    std::map<u8, std::string> names;
};

std::optional<Setting> parseSetting(const std::string &line)
{
    const nlohmann::json j = nlohmann::json::parse(line, nullptr, false);
    if (!j.is_object() || !j.contains("board") || !j["board"].is_number_unsigned() ||
        !j.contains("bmc") || !j["bmc"].is_string()) {
        return std::nullopt;
    }
    Setting setting{j["board"].get<u32>(), j["bmc"].get<std::string>(), {}};
    if (j.contains("names") && j["names"].is_object()) {
        for (const auto &[number, name] : j["names"].items()) {
            const unsigned long n = std::strtoul(number.c_str(), nullptr, 10);
            if (n <= 0xFF && name.is_string()) {
                setting.names[static_cast<u8>(n)] = name.get<std::string>();
            }
        }
    }
    return setting;
}

void answer(std::string_view kind)
{
    printf("{\"kind\":\"%.*s\"}\n", static_cast<int>(kind.size()), kind.data());
}

class Worker
{
  public:
    explicit Worker(const Setting &setting)
        : options_(optionsFor(setting)), sink_(jsonSink(stdout, {setting.board, setting.bmc})),
          replay_(options_, {sink_.get()})
    {
        char board[16];
        snprintf(board, sizeof board, "0x%08x", setting.board);
        sink_->begin("diagpanel watch: board " + std::string(board) + ", BMC " + setting.bmc);
    }
    bool start(std::string &why) { return replay_.start(why); }

    // One line of input; false when it cannot be read.
    bool take(const std::string &line)
    {
        if (line.empty()) {
            return false;
        }
        const std::string_view rest =
            std::string_view(line).substr(std::min<std::size_t>(2, line.size()));
        switch (line[0]) {
        case worker_line::kRestored:
        case worker_line::kRead: {
            const std::optional<SelEntry> record = parseRecord(rest);
            if (!record) {
                return false;
            }
            const bool now = line[0] == worker_line::kRead && live_;
            replay_.play(
                selItem(*record, now ? Timing::Offset : Timing::SelTimestamp, now ? seconds() : 0));
            return true;
        }
        case worker_line::kRestoredEnd:
            replay_.oneByOne();
            answer(kRestoredAnswer);
            return true;
        case worker_line::kLive:
            replay_.oneByOne();
            if (!live_) {
                live_ = Clock::now();
                liveBase_ = replay_.beginFile();
            }
            answer(kLiveAnswer);
            return true;
        case worker_line::kNote:
            return note(rest);
        default:
            return false;
        }
    }

    // The display up to now, once live; when to call again: at its next step, not before (a
    // fleet's idle workers would otherwise wake each second for nothing), or not until the next
    // input while the panel shows one code and nothing else.
    std::optional<std::chrono::milliseconds> tick()
    {
        if (!live_) {
            return std::nullopt;
        }
        Item now;
        now.kind = Item::Kind::Wait;
        now.timing = Timing::Offset;
        now.offset = seconds();
        replay_.play(now);
        tellShowing(liveBase_ + now.offset);
        if (replay_.still()) {
            return std::nullopt; // an idle panel: woken by the next record alone
        }
        const uint64_t quiet = replay_.quietUntil();
        const uint64_t step = quiet > liveBase_ ? quiet - liveBase_ : 0;
        const auto next = *live_ + std::chrono::seconds(std::max(now.offset + 1, step));
        return std::chrono::duration_cast<std::chrono::milliseconds>(next - Clock::now()) +
               std::chrono::milliseconds(1);
    }

  private:
    // The timeline tells a code once its run of steps ends; the watcher is told it at once,
    // with the time on the timeline's clock.
    void tellShowing(uint64_t time)
    {
        const std::optional<u32> code = replay_.showing();
        if (code && code != told_) {
            nlohmann::json line = codeJson(*code);
            line["kind"] = kShowingAnswer;
            line["time"] = time;
            printf("%s\n", line.dump().c_str());
            told_ = code;
        }
    }
    static ReplayOptions optionsFor(const Setting &setting)
    {
        ReplayOptions options;
        options.board = setting.board;
        options.names = setting.names;
        options.listInputs = true;
        options.batch = kRestoreBatch;
        return options;
    }
    uint64_t seconds() const
    {
        return static_cast<uint64_t>(
            std::chrono::duration_cast<std::chrono::seconds>(Clock::now() - *live_).count());
    }
    bool note(std::string_view rest)
    {
        int kind = -1;
        unsigned number = 0;
        int used = 0;
        const std::string text(rest);
        if (sscanf(text.c_str(), "%d %u %n", &kind, &number, &used) < 2 || kind < 0 ||
            kind >= kBmcNewsKinds) {
            return false;
        }
        Event told;
        told.kind = Event::Kind::Bmc;
        told.news = static_cast<BmcNews>(kind);
        told.number = number;
        told.text = text.substr(static_cast<std::size_t>(used));
        replay_.tell(told);
        return true;
    }

    ReplayOptions options_;
    std::unique_ptr<Sink> sink_;
    Replay replay_;
    std::optional<Clock::time_point> live_;
    uint64_t liveBase_ = 0;   // the replay's time when live_ began
    std::optional<u32> told_; // the code the watcher was last told the panel shows
};

} // namespace

std::string recordLine(char kind, const SelEntry &record)
{
    return std::string{kind, ' '} + hexBytes(record) + '\n';
}

std::optional<SelEntry> parseRecord(std::string_view hex)
{
    SelEntry record{};
    if (hex.size() != 2 * record.size()) {
        return std::nullopt;
    }
    for (std::size_t i = 0; i < record.size(); ++i) {
        const int high = hexDigit(hex[2 * i]);
        const int low = hexDigit(hex[2 * i + 1]);
        if (high < 0 || low < 0) {
            return std::nullopt;
        }
        record[i] = static_cast<u8>(high << 4 | low);
    }
    return record;
}

int runPanelWorker()
{
    signal(SIGINT, SIG_IGN); // Ctrl-C is the watcher's to act on: it ends its workers' input
    LineInput input;
    std::optional<std::string> first;
    while (!(first = input.next())) {
        if (!input.fill(std::nullopt)) {
            fprintf(stderr, "diagpanel watch-worker: no setting on standard input\n");
            return 2;
        }
    }
    const std::optional<Setting> setting = parseSetting(*first);
    if (!setting) {
        fprintf(stderr, "diagpanel watch-worker: not a setting: %s\n", first->c_str());
        return 2;
    }
    Worker worker(*setting);
    std::string why;
    if (!worker.start(why)) {
        fprintf(stderr, "diagpanel watch-worker: %s\n", why.c_str());
        return 1;
    }
    unsigned long lineNumber = 1;
    for (;;) {
        while (const std::optional<std::string> line = input.next()) {
            ++lineNumber;
            if (!worker.take(*line)) {
                fprintf(stderr, "diagpanel watch-worker: %s: line %lu not understood\n",
                        setting->bmc.c_str(), lineNumber);
            }
        }
        const std::optional<std::chrono::milliseconds> wait = worker.tick();
        if (fflush(stdout) != 0) {
            return 1; // the watcher is gone
        }
        if (!input.fill(wait)) {
            return 0;
        }
    }
}

} // namespace diagpanel
