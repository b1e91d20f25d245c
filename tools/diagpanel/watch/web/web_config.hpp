// SPDX-License-Identifier: Apache-2.0
// Who may read the watcher's pages and metrics, and over what: the web config file, in the form
// Prometheus's exporters read theirs, so one file serves both:
//
//   tls_server_config: {cert_file: watch.crt, key_file: watch.key}
//   basic_auth_users: {prometheus: $2y$10$...}        # bcrypt hashes, as htpasswd -B makes
//
// Paths are taken from the file's folder. Without the file: plain HTTP, no authentication.
#pragma once

#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <string_view>

namespace diagpanel {

struct WebConfig {
    std::optional<std::string> certFile; // TLS, with keyFile
    std::optional<std::string> keyFile;
    std::map<std::string, std::string> users; // user: bcrypt hash; none: no authentication
};

// Throws InventoryError naming the file and what is wrong.
WebConfig readWebConfig(const std::string &path);

// Checks a request's Authorization header against the users. A bcrypt check takes tens of
// milliseconds by design; credentials that passed are remembered (hashed) so that a scrape each
// second costs one.
class Gate
{
  public:
    explicit Gate(std::map<std::string, std::string> users) : users_(std::move(users)) {}
    bool open() const { return users_.empty(); }
    bool admits(std::string_view authorization) const;

  private:
    std::map<std::string, std::string> users_;
    mutable std::mutex lock_;
    mutable std::set<std::string> admitted_; // digests of "user:password" that passed
};

} // namespace diagpanel
