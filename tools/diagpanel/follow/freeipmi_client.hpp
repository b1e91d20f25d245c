// SPDX-License-Identifier: Apache-2.0
// An IPMI client on FreeIPMI's library (libfreeipmi), in the process: one LAN session (RMCP+,
// or IPMI 1.5), each request one raw IPMI command on it, so an idle poll costs one command and a
// command that gets no answer costs its caller the session time-out, never more. The session's
// set-up, integrity and confidentiality stay the library's; the commands' bytes are decoded here.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <vector>

#include "tools/diagpanel/follow/lan_client.hpp"

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
    std::optional<std::string> sdrRepository() override;
    unsigned long commands() const override { return commands_; }

  private:
    // One command's response data, or its completion code, or nothing when no answer came.
    struct Raw {
        std::optional<std::vector<u8>> data;
        std::optional<u8> completion;
        bool answered() const { return data || completion; }
    };
    struct SdrRecord {
        std::string bytes; // header and body, as stored
        u16 next;
    };

    Raw command(u8 netFn, u8 cmd, std::span<const u8> data = {});
    int openSession(unsigned cipherSuite); // the library's error number; 0: open
    OpenFailure diagnose(int errnum);
    void close();
    std::optional<u16> reserveSdr();
    Raw getSdr(u16 reservation, u16 id, u8 offset, u8 bytes);
    std::optional<SdrRecord> sdrRecord(u16 id, u16 &reservation);
    std::optional<SdrRecord> sdrRecordWhole(u16 id, u16 reservation, bool &cancelled);
    std::optional<SdrRecord> sdrRecordInPieces(u16 id, u16 reservation, bool &cancelled);

    BmcAddress address_;
    LanTimeouts timeouts_;
    ipmi_ctx *ctx_ = nullptr; // open while set
    unsigned long commands_ = 0;
    bool sdrInPieces_ = false; // the BMC refused a record asked for whole
};

} // namespace diagpanel
