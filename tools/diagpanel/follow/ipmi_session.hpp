// SPDX-License-Identifier: Apache-2.0
// One IPMI LAN session to a BMC, held open by an ipmitool process in shell mode: each request is
// one IPMI command on that session, so an idle poll costs one command and nothing else. RMCP+
// (IPMI 2.0) session set-up, integrity and confidentiality stay ipmitool's.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

#include <diagpanel/types.h>

namespace diagpanel {

struct BmcAddress {
    std::string host;
    unsigned port = 623;
    std::string user;
    std::string password;
    unsigned cipherSuite = 3;
    bool lan15 = false; // IPMI 1.5 LAN instead of RMCP+
};

// What a command came back with: the response data, or the completion code of a refusal, or
// nothing at all when the BMC did not answer.
struct Answer {
    std::optional<std::vector<u8>> data;
    std::optional<u8> completion; // set when the BMC refused the command
    bool answered() const { return data || completion; }
};

class IpmiSession
{
  public:
    explicit IpmiSession(BmcAddress address, std::chrono::seconds timeout);
    ~IpmiSession();
    IpmiSession(const IpmiSession &) = delete;
    IpmiSession &operator=(const IpmiSession &) = delete;

    // Starts ipmitool and opens the session with a Get Device ID. Empty on success, else why,
    // in the words of a user: unreachable, wrong user or password, cipher suite refused.
    std::string open();
    void close();
    bool isOpen() const { return pid_ > 0; }

    // One raw command: network function, command, data.
    Answer command(u8 netFn, u8 cmd, const std::vector<u8> &data = {});
    // `ipmitool sdr dump` into a file, on a session of its own; false when it failed.
    bool dumpSdr(const std::string &path) const;

    unsigned long commands() const { return commands_; } // sent since the session began

  private:
    std::vector<std::string> arguments(bool verbose) const;
    bool readUntilPrompt(std::string &out);
    std::string diagnose() const;

    BmcAddress address_;
    std::chrono::seconds timeout_;
    pid_t pid_ = -1;
    int toChild_ = -1;
    int fromChild_ = -1;
    unsigned long commands_ = 0;
};

} // namespace diagpanel
