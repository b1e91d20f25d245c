// SPDX-License-Identifier: Apache-2.0
// An IPMI client that is one LAN session held open by an ipmitool process in shell mode: each
// request is one IPMI command on that session, so an idle poll costs one command and nothing
// else. RMCP+ (IPMI 2.0) session set-up, integrity and confidentiality stay ipmitool's.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

#include "tools/diagpanel/follow/ipmi_client.hpp"

namespace diagpanel {

class IpmitoolSession : public IpmiClient
{
  public:
    explicit IpmitoolSession(BmcAddress address, std::chrono::seconds timeout);
    ~IpmitoolSession() override;
    IpmitoolSession(const IpmitoolSession &) = delete;
    IpmitoolSession &operator=(const IpmitoolSession &) = delete;

    // Starts ipmitool and opens the session with a Get Device ID.
    std::optional<OpenFailure> open() override;
    Reply<SelInfo> getSelInfo() override;
    Reply<u16> reserveSel() override;
    Reply<SelRecord> getSelEntry(u16 reservation, u16 id) override;
    // `ipmitool sdr dump` into a file, on a session of its own.
    std::optional<std::string> sdrRepository() override;
    unsigned long commands() const override { return commands_; }

  private:
    // One raw command's response data, or its completion code, or nothing when no answer came.
    struct Raw {
        std::optional<std::vector<u8>> data;
        std::optional<u8> completion;
    };

    Raw command(u8 netFn, u8 cmd, const std::vector<u8> &data = {});
    void close();
    bool isOpen() const { return pid_ > 0; }
    std::vector<std::string> arguments(bool verbose) const;
    bool readUntilPrompt(std::string &out);
    OpenFailure diagnose() const;

    BmcAddress address_;
    std::chrono::seconds timeout_;
    pid_t pid_ = -1;
    int toChild_ = -1;
    int fromChild_ = -1;
    unsigned long commands_ = 0;
};

} // namespace diagpanel
