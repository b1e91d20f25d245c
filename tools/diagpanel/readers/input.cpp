// SPDX-License-Identifier: Apache-2.0
#include "tools/diagpanel/readers/input.hpp"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace diagpanel {

namespace {

// What a path that is not a regular file is, in words a user acts on.
const char *notAFile(mode_t mode)
{
    if (S_ISDIR(mode)) {
        return "is a directory, not a file";
    }
    if (S_ISFIFO(mode) || S_ISSOCK(mode)) {
        return "is a pipe or socket, not a file: save the capture to a file first";
    }
    if (S_ISCHR(mode) || S_ISBLK(mode)) {
        return "is a device, not a file";
    }
    return "is not a regular file";
}

} // namespace

std::optional<InputFile> InputFile::open(const std::string &path, std::string &why)
{
    // Non-blocking, so that opening a FIFO does not wait for a writer.
    const int fd = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) {
        why = std::string("cannot be read: ") + strerror(errno);
        return std::nullopt;
    }
    struct stat st {
    };
    if (fstat(fd, &st) != 0) {
        why = std::string("cannot be read: ") + strerror(errno);
    } else if (!S_ISREG(st.st_mode)) {
        why = notAFile(st.st_mode);
    } else {
        return InputFile(fd, {}, kBuffer);
    }
    close(fd);
    return std::nullopt;
}

InputFile InputFile::memory(std::string_view bytes, std::size_t piece)
{
    return InputFile(-1, bytes, std::max<std::size_t>(piece, 1));
}

InputFile::InputFile(int fd, std::string_view memory, std::size_t piece)
    : fd_(fd), memory_(memory), piece_(piece),
      buffer_(fd >= 0 ? kBuffer : std::min(kBuffer, std::max(kLeast, memory.size())), '\0')
{
}

InputFile::InputFile(InputFile &&other) noexcept
    : fd_(std::exchange(other.fd_, -1)), memory_(other.memory_), piece_(other.piece_),
      buffer_(std::move(other.buffer_)), begin_(other.begin_), end_(other.end_),
      offset_(other.offset_), ended_(other.ended_), error_(std::move(other.error_))
{
}

InputFile::~InputFile()
{
    if (fd_ >= 0) {
        close(fd_);
    }
}

std::size_t InputFile::readMore(char *into, std::size_t room)
{
    if (fd_ < 0) {
        const std::size_t n = std::min({room, piece_, memory_.size()});
        memcpy(into, memory_.data(), n);
        memory_.remove_prefix(n);
        return n;
    }
    for (;;) {
        const ssize_t n = read(fd_, into, room);
        if (n >= 0) {
            return static_cast<std::size_t>(n);
        }
        if (errno != EINTR) {
            error_ = std::string("read failed: ") + strerror(errno);
            return 0;
        }
    }
}

std::string_view InputFile::fill(std::size_t want)
{
    want = std::min(want, buffer_.size());
    if (end_ - begin_ < want && !ended_) {
        std::memmove(buffer_.data(), buffer_.data() + begin_, end_ - begin_);
        end_ -= begin_;
        begin_ = 0;
        while (end_ < want && !ended_) {
            const std::size_t n = readMore(buffer_.data() + end_, buffer_.size() - end_);
            ended_ = n == 0;
            end_ += n;
        }
    }
    return {buffer_.data() + begin_, end_ - begin_};
}

void InputFile::consume(std::size_t count)
{
    count = std::min(count, end_ - begin_);
    begin_ += count;
    offset_ += count;
}

} // namespace diagpanel
