// SPDX-License-Identifier: Apache-2.0
#include "tools/diagpanel/watch/watched_bmc.hpp"

#include <array>
#include <ctime>
#include <limits>

#include <nlohmann/json.hpp>

#include "tools/diagpanel/follow/lan_client.hpp"
#include "tools/diagpanel/follow/sdr_repository.hpp"
#include "tools/diagpanel/readers/sdr.hpp"
#include "tools/diagpanel/watch/panel_worker.hpp"

namespace diagpanel {

namespace {

constexpr std::array kConditionWords = {
    "starting",     "following",      "unreachable",  "wrong_password",
    "unknown_user", "cipher_refused", "no_privilege", "unhealthy",
};
static_assert(kConditionWords.size() == static_cast<std::size_t>(BmcCondition::Unhealthy) + 1);

// Log-in attempts that fail come back 1, 2, 4, ... s apart, never more than a minute.
constexpr std::chrono::seconds kLongestRetry{60};

BmcCondition conditionOf(OpenFailure::Reason reason)
{
    switch (reason) {
    case OpenFailure::Reason::UnknownUser:
        return BmcCondition::UnknownUser;
    case OpenFailure::Reason::WrongPassword:
        return BmcCondition::WrongPassword;
    case OpenFailure::Reason::CipherSuite:
        return BmcCondition::CipherRefused;
    case OpenFailure::Reason::Privilege:
        return BmcCondition::NoPrivilege;
    case OpenFailure::Reason::NoClient:
    case OpenFailure::Reason::Unreachable:
        break;
    }
    return BmcCondition::Unreachable;
}

BmcCondition conditionOf(const FollowStep &step)
{
    if (!step.answered) {
        return BmcCondition::Unreachable;
    }
    if (step.selInfoRefused) {
        return *step.selInfoRefused == ipmi::kNoPrivilege ? BmcCondition::NoPrivilege
                                                          : BmcCondition::Unhealthy;
    }
    for (const BmcNote &note : step.notes) {
        if (note.kind == BmcNews::Unreadable) {
            return BmcCondition::Unhealthy;
        }
    }
    return BmcCondition::Following;
}

// A record's SEL time, when it has a real one: OEM records from E0h on carry none, and times
// before 20000000h count from the BMC's start.
void noteRecordTime(const SelEntry &record, WatchedBmc::Status &status)
{
    constexpr u8 kFirstUntimed = 0xE0;
    constexpr u32 kPreInit = 0x20000000u;
    const u32 stamp = static_cast<u32>(record[3] | record[4] << 8 | record[5] << 16) |
                      static_cast<u32>(record[6]) << 24;
    if (record[2] < kFirstUntimed && stamp >= kPreInit && stamp != 0xFFFFFFFFu) {
        status.lastRecord = stamp;
    }
}

std::string noteLine(const BmcNote &note)
{
    std::string text = note.text;
    std::replace(text.begin(), text.end(), '\n', ' ');
    return std::string{worker_line::kNote, ' '} + std::to_string(static_cast<int>(note.kind)) +
           ' ' + std::to_string(note.number) + ' ' + text + '\n';
}

} // namespace

const char *conditionWord(BmcCondition condition)
{
    return kConditionWords[static_cast<std::size_t>(condition)];
}

WatchedBmc::WatchedBmc(Target target, const Module &module, const Password &password,
                       const std::string &stateDir, Tell tell)
    : target_(std::move(target)), address_{target_.host, target_.port, module.user,
                                           password.reveal(), module.cipherSuite},
      interval_(std::chrono::duration_cast<FollowClock::duration>(
          std::chrono::duration<double>(module.interval))),
      tell_(std::move(tell)),
      state_(stateDir, target_.host, target_.port, tell_, FollowClock::now())
{
    const SavedState &saved = state_.saved();
    records_ = saved.records;
    toldBefore_ = records_.size();
    status_.records = records_.size();
    for (const SelEntry &record : records_) {
        noteRecordTime(record, status_);
    }
    if (saved.resume) {
        names_ = saved.names;
        workerNames_ = names_;
        namesKnown_ = true;
    }
}

FollowClock::time_point WatchedBmc::step(FollowClock::time_point now)
{
    if (!follower_) {
        return logIn(now);
    }
    const FollowStep step = follower_->step(now);
    for (const BmcNote &note : step.notes) {
        tell_(note.text);
    }
    handOver(step);
    stand(conditionOf(step));
    state_.append(step.records, now);
    const SelPosition at = follower_->position();
    if (at != saved_) {
        state_.savePosition(at, names_, now);
        saved_ = at;
    }
    return step.pause ? FollowClock::now() + *step.pause : step.next;
}

FollowClock::time_point WatchedBmc::logIn(FollowClock::time_point now)
{
    if (!client_) {
        LanTimeouts timeouts;
        timeouts.idle = std::chrono::duration_cast<std::chrono::milliseconds>(interval_);
        client_ = lanClient(address_, timeouts);
    }
    if (const std::optional<OpenFailure> failure = client_->open()) {
        stand(conditionOf(failure->reason), failure->text);
        retry_ = std::min(std::max(retry_ * 2, std::chrono::seconds(1)), kLongestRetry);
        return FollowClock::now() + retry_;
    }
    retry_ = {};
    const SavedState &saved = state_.saved();
    if (saved.resume) {
        follower_.emplace(*client_, *saved.resume, saved.records, interval_);
        saved_ = saved.resume;
    } else {
        const std::optional<SdrRepository> repository = client_->sdrRepository();
        if (const std::string note = repositoryNote(repository); !note.empty()) {
            tell_(note);
        }
        if (repository) {
            names_ = parseSdr("the BMC's SDR repository", repository->records, false).names;
        }
        follower_.emplace(*client_, true, interval_);
        const std::lock_guard guard(lock_);
        workerNames_ = names_;
        namesKnown_ = true;
    }
    return now;
}

void WatchedBmc::handOver(const FollowStep &step)
{
    const std::lock_guard guard(lock_);
    for (const BmcNote &note : step.notes) {
        lines_ += noteLine(note);
    }
    for (const SelEntry &record : step.records) {
        records_.push_back(record);
        lines_ += recordLine(live_ ? worker_line::kRead : worker_line::kRestored, record);
        noteRecordTime(record, status_);
    }
    if (step.poll && step.answered && !live_) {
        live_ = true;
        lines_ += std::string{worker_line::kLive, '\n'};
    }
    status_.records = records_.size();
    status_.commands = client_->commands();
    if (step.answered) {
        status_.lastAnswer = time(nullptr);
    }
}

void WatchedBmc::stand(BmcCondition condition, const std::string &why)
{
    {
        const std::lock_guard guard(lock_);
        if (condition == status_.condition && why == status_.why) {
            return;
        }
        status_.condition = condition;
        status_.why = why;
        if (client_) {
            status_.commands = client_->commands();
        }
    }
    tell_(why.empty() ? conditionWord(condition)
                      : std::string(conditionWord(condition)) + ": " + why);
}

std::optional<std::string> WatchedBmc::workerStart()
{
    const std::lock_guard guard(lock_);
    if (!namesKnown_) {
        return std::nullopt;
    }
    nlohmann::json names = nlohmann::json::object();
    for (const auto &[number, name] : workerNames_) {
        names[std::to_string(number)] = name;
    }
    const nlohmann::json setting = {
        {"board", target_.board}, {"bmc", target_.name}, {"names", names}};
    std::string lines =
        setting.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace) + '\n';
    for (std::size_t i = 0; i < records_.size(); ++i) {
        if (i == toldBefore_) {
            lines += std::string{worker_line::kRestoredEnd, '\n'};
        }
        lines += recordLine(worker_line::kRestored, records_[i]);
    }
    if (toldBefore_ >= records_.size()) {
        lines += std::string{worker_line::kRestoredEnd, '\n'};
    }
    if (live_) {
        lines += std::string{worker_line::kLive, '\n'};
    }
    // A worker started again shows again what an earlier one showed: all of it is restored.
    toldBefore_ = std::numeric_limits<std::size_t>::max();
    lines_.clear();
    return lines;
}

std::string WatchedBmc::takeLines()
{
    const std::lock_guard guard(lock_);
    return std::exchange(lines_, {});
}

bool WatchedBmc::hasLines() const
{
    const std::lock_guard guard(lock_);
    return !lines_.empty();
}

WatchedBmc::Status WatchedBmc::status() const
{
    const std::lock_guard guard(lock_);
    return status_;
}

} // namespace diagpanel
