// SPDX-License-Identifier: Apache-2.0
// One input, read in pieces so that memory does not grow with its size: a regular file (a
// directory, device or FIFO is refused with why), or bytes in memory for tests and fuzzing.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace diagpanel {

class InputFile
{
  public:
    // A file's buffer.
    static constexpr std::size_t kBuffer = std::size_t{64} * 1024;
    // The least buffer for bytes in memory: enough for any want.
    static constexpr std::size_t kLeast = std::size_t{8} * 1024;

    // Opens a regular file; nullopt with why (from "cannot be read: ...") otherwise.
    static std::optional<InputFile> open(const std::string &path, std::string &why);
    // Serves the bytes at most `piece` at a time, as a file's reads may come.
    static InputFile memory(std::string_view bytes, std::size_t piece = kBuffer);

    InputFile(InputFile &&other) noexcept;
    InputFile &operator=(InputFile &&) = delete;
    InputFile(const InputFile &) = delete;
    ~InputFile();

    // At least `want` bytes (at most kLeast) unless the input ends first, not consumed.
    std::string_view fill(std::size_t want);
    void consume(std::size_t count);
    std::size_t offset() const { return offset_; }      // of the first byte not consumed
    const std::string &error() const { return error_; } // a read that failed, or ""

  private:
    InputFile(int fd, std::string_view memory, std::size_t piece);
    std::size_t readMore(char *into, std::size_t room);

    int fd_ = -1;
    std::string_view memory_; // fd_ < 0: what is left of the bytes
    std::size_t piece_ = kBuffer;
    std::string buffer_;
    std::size_t begin_ = 0; // buffer_[begin_, end_) holds bytes not consumed
    std::size_t end_ = 0;
    std::size_t offset_ = 0;
    bool ended_ = false;
    std::string error_;
};

} // namespace diagpanel
