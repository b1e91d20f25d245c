// SPDX-License-Identifier: Apache-2.0
// An IPMI client on FreeIPMI's library (libfreeipmi), in the process: one LAN session (RMCP+,
// or IPMI 1.5), each request one raw IPMI command on it, so an idle poll costs one command and a
// command that gets no answer costs its caller the session time-out, never more. The session's
// set-up, integrity and confidentiality stay the library's; the commands' bytes are decoded here.
#pragma once

#include <optional>
#include <span>
#include <string>

#include "tools/diagpanel/follow/lan_client.hpp"
#include "tools/diagpanel/follow/sdr_repository.hpp"

struct ipmi_ctx; // the library's session context

namespace diagpanel {

class FreeIpmiClient : public IpmiClient
{
  public:
    FreeIpmiClient(BmcAddress address, LanTimeouts timeouts);
    ~FreeIpmiClient() override;
    FreeIpmiClient(const FreeIpmiClient &) = delete;
    FreeIpmiClient &operator=(const FreeIpmiClient &) = delete;

    std::optional<OpenFailure> open() override;
    Reply<SelInfo> getSelInfo() override;
    Reply<u16> reserveSel() override;
    Reply<SelRecord> getSelEntry(u16 reservation, u16 id) override;
    std::optional<SdrRepository> sdrRepository() override;
    unsigned long commands() const override { return commands_; }

  private:
    using Raw = StorageAnswer; // any command's answer, decoded the same way

    Raw command(u8 netFn, u8 cmd, std::span<const u8> data = {});
    // The library's error number; 0: open. `idle`: added to the session's time-out.
    int openSession(unsigned cipherSuite, std::chrono::milliseconds idle);
    OpenFailure diagnose(int errnum);
    void close();

    BmcAddress address_;
    LanTimeouts timeouts_;
    ipmi_ctx *ctx_ = nullptr; // open while set
    unsigned long commands_ = 0;
};

} // namespace diagpanel
