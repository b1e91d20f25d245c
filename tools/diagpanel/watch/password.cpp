// SPDX-License-Identifier: Apache-2.0
// Passwords: read from a file only its owner may read, and kept where no message can show them.
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <system_error>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tools/diagpanel/watch/inventory.hpp"

namespace diagpanel {

namespace {

constexpr std::size_t kLongestPassword = 20;

} // namespace

Password::Password(Password &&other) noexcept : text_(std::move(other.text_))
{
    explicit_bzero(other.text_.data(), other.text_.size());
    other.text_.clear();
}

Password &Password::operator=(Password &&other) noexcept
{
    explicit_bzero(text_.data(), text_.size());
    text_ = std::move(other.text_);
    explicit_bzero(other.text_.data(), other.text_.size());
    other.text_.clear();
    return *this;
}

Password::~Password()
{
    explicit_bzero(text_.data(), text_.size());
}

Password readPassword(const std::string &path)
{
    const auto refuse = [&](const std::string &why) -> Password {
        throw InventoryError("password file '" + path + "': " + why);
    };
    const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        return refuse(std::generic_category().message(errno));
    }
    struct stat s {
    };
    if (fstat(fd, &s) != 0 || !S_ISREG(s.st_mode)) {
        close(fd);
        return refuse("not a file");
    }
    if ((s.st_mode & (S_IRGRP | S_IROTH)) != 0) {
        close(fd);
        char mode[8];
        (void)std::snprintf(mode, sizeof mode, "%04o", static_cast<unsigned>(s.st_mode & 07777));
        throw InventoryError(std::string("permissions ") + mode + " for '" + path +
                             "' are too open: a password file must not be readable by others; "
                             "chmod 600 " +
                             path);
    }
    // IPMI passwords are 20 bytes at most: one read of a small buffer holds the first line, and
    // the buffer is wiped so that no copy stays behind.
    char buffer[512];
    const ssize_t n = read(fd, buffer, sizeof buffer);
    const int error = errno;
    close(fd);
    if (n < 0) {
        return refuse(std::generic_category().message(error));
    }
    const std::string_view text(buffer, static_cast<std::size_t>(n));
    std::string_view line = text.substr(0, text.find('\n'));
    if (line.ends_with('\r')) {
        line.remove_suffix(1);
    }
    Password password{std::string(line.substr(0, kLongestPassword + 1))};
    explicit_bzero(buffer, sizeof buffer);
    if (password.reveal().empty()) {
        return refuse("its first line is empty");
    }
    if (password.reveal().size() > kLongestPassword) {
        return refuse("its first line is longer than the 20 bytes of an IPMI password");
    }
    return password;
}

} // namespace diagpanel
