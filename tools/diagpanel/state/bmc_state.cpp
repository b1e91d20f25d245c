// SPDX-License-Identifier: Apache-2.0
#include "tools/diagpanel/state/bmc_state.hpp"

#include <arpa/inet.h>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace diagpanel {

namespace {

constexpr const char *kRecords = "records.bin";
constexpr const char *kPosition = "position.json";
constexpr const char *kPositionTemp = "position.json.tmp";
constexpr const char *kRecordsAside = "records.bin.old";
constexpr std::size_t kRecordLen = sizeof(SelEntry);
constexpr std::size_t kLongestName = 200;
constexpr std::size_t kNameKept = 180;

// An IPv6 address in the one form inet_ntop gives it, so that fe80:0::1 and FE80::1 share a
// folder; anything else as it is.
std::string canonicalHost(std::string host)
{
    if (host.size() > 2 && host.front() == '[' && host.back() == ']') {
        host = host.substr(1, host.size() - 2);
    }
    const std::size_t zone = host.find('%');
    in6_addr address{};
    char text[INET6_ADDRSTRLEN];
    if (inet_pton(AF_INET6, host.substr(0, zone).c_str(), &address) == 1 &&
        inet_ntop(AF_INET6, &address, text, sizeof text) != nullptr) {
        return text + (zone == std::string::npos ? std::string() : host.substr(zone));
    }
    return host;
}

uint64_t fnv1a(const std::string &text)
{
    uint64_t hash = 0xcbf29ce484222325u;
    for (const char c : text) {
        hash = (hash ^ static_cast<u8>(c)) * 0x100000001b3u;
    }
    return hash;
}

// The whole of `fd` from its start (a regular file's size at most).
bool readAll(int fd, std::size_t size, std::string &bytes)
{
    bytes.resize(size);
    std::size_t done = 0;
    while (done < size) {
        const ssize_t n = pread(fd, bytes.data() + done, size - done, static_cast<off_t>(done));
        if (n < 0 && errno == EINTR) {
            continue;
        }
        if (n < 0) {
            return false;
        }
        if (n == 0) { // shorter than it was: what there is
            bytes.resize(done);
            return true;
        }
        done += static_cast<std::size_t>(n);
    }
    return true;
}

bool writeAll(int fd, const std::string &bytes)
{
    for (std::size_t done = 0; done < bytes.size();) {
        const ssize_t n = write(fd, bytes.data() + done, bytes.size() - done);
        if (n < 0 && errno == EINTR) {
            continue;
        }
        if (n <= 0) {
            if (n == 0) {
                errno = ENOSPC;
            }
            return false;
        }
        done += static_cast<std::size_t>(n);
    }
    return true;
}

// fsync, where the file can have it: a device such as /dev/full answers EINVAL.
bool sync(int fd)
{
    return fsync(fd) == 0 || errno == EINVAL;
}

} // namespace

std::string bmcStateName(const std::string &host, unsigned port)
{
    const std::string canonical = canonicalHost(host);
    std::string name;
    for (const char c : canonical) {
        const auto byte = static_cast<unsigned char>(c);
        if (isalnum(byte) || c == '-' || (c == '.' && !name.empty())) {
            name += static_cast<char>(tolower(byte));
        } else {
            char escaped[4];
            snprintf(escaped, sizeof escaped, "_%02X", byte);
            name += escaped;
        }
    }
    if (name.size() > kLongestName) {
        char hash[20];
        snprintf(hash, sizeof hash, "~%016llx", static_cast<unsigned long long>(fnv1a(canonical)));
        name = name.substr(0, kNameKept) + hash;
    }
    return name + "-" + std::to_string(port);
}

BmcState::BmcState(const std::string &dir, const std::string &host, unsigned port, Tell tell,
                   FollowClock::time_point now)
    : path_(dir + "/" + bmcStateName(host, port)), bmc_(host + ":" + std::to_string(port)),
      tell_(std::move(tell))
{
    if (openDisk(now)) {
        load();
        ours_ = true;
    }
}

BmcState::~BmcState()
{
    closeDisk();
}

void BmcState::closeDisk()
{
    for (int *fd : {&recordsFd_, &dirFd_}) {
        if (*fd >= 0) {
            close(*fd);
            *fd = -1;
        }
    }
}

bool BmcState::openDisk(FollowClock::time_point now)
{
    const std::string parent = path_.substr(0, path_.rfind('/'));
    for (const std::string &folder : {parent, path_}) {
        if (mkdir(folder.c_str(), 0755) != 0 && errno != EEXIST) {
            fail(folder, errno, now);
            return false;
        }
    }
    dirFd_ = open(path_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (dirFd_ < 0) {
        fail(path_, errno, now);
        return false;
    }
    recordsFd_ = openat(dirFd_, kRecords, O_RDWR | O_APPEND | O_CREAT | O_CLOEXEC, 0644);
    struct stat st {
    };
    if (recordsFd_ < 0 || fstat(recordsFd_, &st) != 0) {
        fail(path_ + "/" + kRecords, errno, now);
        return false;
    }
    regular_ = S_ISREG(st.st_mode);
    const auto size = regular_ ? static_cast<uint64_t>(st.st_size) : 0;
    recordsOnDisk_ = size / kRecordLen;
    // An append that a crash (or a full disk) cut short: the record is lost with the crash, and
    // the follower reads it again, since no position counts it.
    if (const uint64_t partial = size % kRecordLen; partial != 0) {
        if (ftruncate(recordsFd_, static_cast<off_t>(recordsOnDisk_ * kRecordLen)) != 0) {
            fail(path_ + "/" + kRecords, errno, now);
            return false;
        }
        tell_(path_ + "/" + kRecords + ": the last " + std::to_string(partial) +
              " bytes, a record cut short, were cut off");
    }
    // A new records.bin lasts only once its folder entry is on disk.
    if (!sync(dirFd_)) {
        fail(path_, errno, now);
        return false;
    }
    return true;
}

// The resume rule. records.bin is appended before the position is written, so it holds at
// least the records the position counts; those after it were read (and told) after it. So:
// - the position counts them all: go on from it as it is;
// - it counts fewer (a crash between the two writes): its SEL info, which the first poll finds
//   changed, and records.bin's last record as the last read: the walk goes on after it;
// - no position (never written, unreadable) or one counting records records.bin lacks: no SEL
//   info, so the first poll walks the SEL from its first record.
// In every case the records of records.bin are the records seen: none is told twice, and a
// record not in records.bin is read again from the BMC: none is lost.
void BmcState::load()
{
    std::string bytes;
    if (!readAll(recordsFd_, static_cast<std::size_t>(recordsOnDisk_ * kRecordLen), bytes)) {
        tell_(path_ + "/" + kRecords + " cannot be read: " + strerror(errno));
        bytes.clear();
    }
    for (std::size_t at = 0; at + kRecordLen <= bytes.size(); at += kRecordLen) {
        SelEntry &record = saved_.records.emplace_back();
        memcpy(record.data(), bytes.data() + at, kRecordLen);
    }
    unlinkat(dirFd_, kPositionTemp, 0); // a write a crash cut short; the old position stands
    const std::optional<SavedPosition> position = readPosition();
    const std::size_t kept = saved_.records.size();
    if (position && position->records == kept) {
        saved_.resume = position->at;
    } else if (position && position->records < kept) {
        saved_.resume = SelPosition{position->at.info, selRecordId(saved_.records.back()),
                                    saved_.records.back()};
    } else if (position || kept > 0) {
        if (position) {
            tell_(path_ + "/" + kPosition + " counts " + std::to_string(position->records) +
                  " records, " + kRecords + " holds " + std::to_string(kept) +
                  ": the SEL is read again from its first record, records kept not told again");
        }
        saved_.resume = SelPosition{};
    }
    if (position) {
        saved_.names = position->names;
        position_ = *position;
    }
}

std::optional<SavedPosition> BmcState::readPosition()
{
    const std::string file = path_ + "/" + kPosition;
    const int fd = openat(dirFd_, kPosition, O_RDONLY | O_CLOEXEC);
    struct stat st {
    };
    std::string text, why;
    if (fd < 0 && errno == ENOENT) {
        return std::nullopt;
    }
    if (fd < 0 || fstat(fd, &st) != 0 || !readAll(fd, static_cast<std::size_t>(st.st_size), text)) {
        why = strerror(errno);
    }
    if (fd >= 0) {
        close(fd);
    }
    std::optional<SavedPosition> position;
    if (why.empty()) {
        position = parsePosition(text, why);
    }
    if (!position) {
        tell_(file + " cannot be read (" + why +
              "): the SEL is read again from its first record, records kept not told again");
    }
    return position;
}

void BmcState::fail(const std::string &file, int error, FollowClock::time_point now)
{
    closeDisk();
    retryAt_ = now + kRetry;
    if (!failing_) {
        failing_ = true;
        tell_("the state of BMC " + bmc_ + " cannot be written to " + file + ": " +
              strerror(error) + "; it is kept in memory, and the disk tried again in " +
              std::to_string(kRetry.count()) + " s");
    }
}

bool BmcState::writeRecord(const SelEntry &record, FollowClock::time_point now)
{
    const ssize_t n = write(recordsFd_, record.data(), record.size());
    if (n == static_cast<ssize_t>(record.size())) {
        ++recordsOnDisk_;
        return true;
    }
    const int error = n < 0 ? errno : ENOSPC;
    if (n > 0 && regular_) {
        // Part of a record: cut it now, so the file stays whole records while the watcher runs.
        (void)!ftruncate(recordsFd_, static_cast<off_t>(recordsOnDisk_ * kRecordLen));
    }
    fail(path_ + "/" + kRecords, error, now);
    return false;
}

void BmcState::append(std::span<const SelEntry> records, FollowClock::time_point now)
{
    for (const SelEntry &record : records) {
        if (!onDisk() || !writeRecord(record, now)) {
            pending_.push_back(record);
        }
    }
}

bool BmcState::writePosition(FollowClock::time_point now)
{
    // The records first: a position must never count a record the disk may lack.
    if (!sync(recordsFd_)) {
        fail(path_ + "/" + kRecords, errno, now);
        return false;
    }
    position_.records = recordsOnDisk_;
    const std::string text = positionJson(position_, bmc_);
    const std::string temp = path_ + "/" + kPositionTemp;
    const int fd = openat(dirFd_, kPositionTemp, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (fd < 0) {
        fail(temp, errno, now);
        return false;
    }
    const bool written = writeAll(fd, text) && sync(fd);
    int error = errno;
    close(fd);
    if (written && renameat(dirFd_, kPositionTemp, dirFd_, kPosition) != 0) {
        error = errno;
    } else if (written) {
        error = 0;
    }
    if (error != 0) {
        unlinkat(dirFd_, kPositionTemp, 0);
        fail(written ? path_ + "/" + kPosition : temp, error, now);
        return false;
    }
    if (!sync(dirFd_)) {
        fail(path_, errno, now);
        return false;
    }
    return true;
}

// The disk again, after a failure: the records kept in memory go first, then the position.
bool BmcState::backOnDisk(FollowClock::time_point now)
{
    if (!openDisk(now)) {
        return false;
    }
    if (!ours_ && recordsOnDisk_ > 0) {
        // An earlier run's, which this one could not read at its start and did not go on from:
        // set aside, not mixed with the records this one read again.
        const bool aside = renameat(dirFd_, kRecords, dirFd_, kRecordsAside) == 0 &&
                           (unlinkat(dirFd_, kPosition, 0) == 0 || errno == ENOENT);
        const int error = errno;
        closeDisk();
        if (!aside) {
            fail(path_ + "/" + kRecords, error, now);
            return false;
        }
        tell_(path_ + "/" + kRecords + ", of an earlier run, is now " + kRecordsAside);
        if (!openDisk(now)) {
            return false;
        }
    }
    ours_ = true;
    const std::size_t kept = pending_.size();
    std::size_t written = 0;
    while (written < kept && writeRecord(pending_[written], now)) {
        ++written;
    }
    pending_.erase(pending_.begin(), pending_.begin() + static_cast<std::ptrdiff_t>(written));
    if (!pending_.empty()) {
        return false;
    }
    if (!writePosition(now)) {
        return false;
    }
    failing_ = false;
    tell_("the state of BMC " + bmc_ + " is written to " + path_ + " again (" +
          std::to_string(kept) + " records kept in memory meanwhile)");
    return true;
}

void BmcState::savePosition(const SelPosition &at, const std::map<u8, std::string> &names,
                            FollowClock::time_point now)
{
    position_.at = at;
    position_.names = names;
    if (onDisk()) {
        writePosition(now);
    } else if (now >= retryAt_) {
        backOnDisk(now);
    }
}

} // namespace diagpanel
