// SPDX-License-Identifier: Apache-2.0
// follow in a build without an IPMI LAN client library: every open fails, saying so.
#include "tools/diagpanel/follow/lan_client.hpp"

namespace diagpanel {

namespace {

class NoLanClient : public IpmiClient
{
  public:
    std::optional<OpenFailure> open() override
    {
        return OpenFailure{OpenFailure::Reason::NoClient,
                           "this build of diagpanel has no IPMI LAN client"};
    }
    Reply<SelInfo> getSelInfo() override { return {}; }
    Reply<u16> reserveSel() override { return {}; }
    Reply<SelRecord> getSelEntry(u16, u16) override { return {}; }
    std::optional<SdrRepository> sdrRepository() override { return std::nullopt; }
    unsigned long commands() const override { return 0; }
};

} // namespace

std::unique_ptr<IpmiClient> lanClient(const BmcAddress &, LanTimeouts)
{
    return std::make_unique<NoLanClient>();
}

} // namespace diagpanel
