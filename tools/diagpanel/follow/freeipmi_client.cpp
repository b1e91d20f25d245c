// SPDX-License-Identifier: Apache-2.0
#include "tools/diagpanel/follow/freeipmi_client.hpp"

#include <algorithm>
#include <array>

#include <freeipmi/freeipmi.h>

namespace diagpanel {

namespace {

// Get SEL Info's operation support bit: the SEL overflowed.
constexpr u8 kOverflow = 0x80;

// Room for any response IPMI LAN carries: one the buffer cannot hold would read as no answer.
constexpr std::size_t kMaxResponse = 1024;

// What an open that failed with each of the library's errors means to a user; the errors not
// here are told apart by trying again (see diagnose).
struct Cause {
    int errnum;
    OpenFailure::Reason reason;
};
constexpr std::array kCauses{
    Cause{IPMI_ERR_USERNAME_INVALID, OpenFailure::Reason::UnknownUser},
    Cause{IPMI_ERR_PASSWORD_INVALID, OpenFailure::Reason::WrongPassword},
    // An IPMI 1.5 BMC drops a request signed with a wrong password rather than answer it.
    Cause{IPMI_ERR_PASSWORD_VERIFICATION_TIMEOUT, OpenFailure::Reason::WrongPassword},
    Cause{IPMI_ERR_K_G_INVALID, OpenFailure::Reason::WrongPassword},
    Cause{IPMI_ERR_PRIVILEGE_LEVEL_INSUFFICIENT, OpenFailure::Reason::Privilege},
    Cause{IPMI_ERR_PRIVILEGE_LEVEL_CANNOT_BE_OBTAINED, OpenFailure::Reason::Privilege},
    Cause{IPMI_ERR_CIPHER_SUITE_ID_UNAVAILABLE, OpenFailure::Reason::CipherSuite},
    Cause{IPMI_ERR_AUTHENTICATION_TYPE_UNAVAILABLE, OpenFailure::Reason::CipherSuite},
    Cause{IPMI_ERR_IPMI_2_0_UNAVAILABLE, OpenFailure::Reason::CipherSuite},
};

// An open that failed past the choice of algorithms: the BMC took the cipher suite.
bool pastCipherSuite(int errnum)
{
    return errnum == IPMI_ERR_SUCCESS || errnum == IPMI_ERR_USERNAME_INVALID ||
           errnum == IPMI_ERR_PASSWORD_INVALID || errnum == IPMI_ERR_PRIVILEGE_LEVEL_INSUFFICIENT ||
           errnum == IPMI_ERR_PRIVILEGE_LEVEL_CANNOT_BE_OBTAINED;
}

} // namespace

FreeIpmiClient::FreeIpmiClient(BmcAddress address, LanTimeouts timeouts)
    : address_(std::move(address)), timeouts_(timeouts)
{
}

FreeIpmiClient::~FreeIpmiClient()
{
    close();
}

void FreeIpmiClient::close()
{
    if (ctx_ != nullptr) {
        ipmi_ctx_close(ctx_);
        ipmi_ctx_destroy(ctx_);
        ctx_ = nullptr;
    }
}

int FreeIpmiClient::openSession(unsigned cipherSuite, std::chrono::milliseconds idle)
{
    close();
    ipmi_ctx *ctx = ipmi_ctx_create();
    if (ctx == nullptr) {
        return IPMI_ERR_OUT_OF_MEMORY;
    }
    // The library takes the port after the host, an IPv6 address in brackets.
    const std::string host =
        (address_.host.find(':') != std::string::npos ? "[" + address_.host + "]" : address_.host) +
        ":" + std::to_string(address_.port);
    const auto session = static_cast<unsigned>((timeouts_.session + idle).count());
    const auto retransmission = static_cast<unsigned>(timeouts_.retransmission.count());
    // Every command follow sends is User-level: a BMC that holds accounts to their limits refuses
    // an operator an administrator's session.
    const int status =
        address_.lan15
            ? ipmi_ctx_open_outofband(ctx, host.c_str(), address_.user.c_str(),
                                      address_.password.c_str(), IPMI_AUTHENTICATION_TYPE_MD5,
                                      IPMI_PRIVILEGE_LEVEL_USER, session, retransmission,
                                      IPMI_WORKAROUND_FLAGS_DEFAULT, IPMI_FLAGS_DEFAULT)
            // Open Session names the User level itself rather than "the highest the algorithms
            // allow": BMCs that answer the latter with no level at all exist.
            : ipmi_ctx_open_outofband_2_0(
                  ctx, host.c_str(), address_.user.c_str(), address_.password.c_str(), nullptr, 0,
                  IPMI_PRIVILEGE_LEVEL_USER, static_cast<u8>(cipherSuite), session, retransmission,
                  IPMI_WORKAROUND_FLAGS_OUTOFBAND_2_0_OPEN_SESSION_PRIVILEGE, IPMI_FLAGS_DEFAULT);
    if (status == 0) {
        ctx_ = ctx;
        return IPMI_ERR_SUCCESS;
    }
    const int errnum = ipmi_ctx_errnum(ctx);
    ipmi_ctx_destroy(ctx);
    return errnum;
}

std::optional<OpenFailure> FreeIpmiClient::open()
{
    // The library counts the session's time-out from the last answer, and a log-in waits for it
    // whole: a BMC is first asked with the time-out alone, so that one that does not answer is
    // given up as soon, and the session kept is opened again allowing for the idle time between
    // polls, so that it outlives them.
    int errnum = openSession(address_.cipherSuite, {});
    if (errnum == IPMI_ERR_SUCCESS && timeouts_.idle.count() > 0) {
        errnum = openSession(address_.cipherSuite, timeouts_.idle);
    }
    if (errnum == IPMI_ERR_SUCCESS) {
        return std::nullopt;
    }
    return diagnose(errnum);
}

OpenFailure FreeIpmiClient::diagnose(int errnum)
{
    using enum OpenFailure::Reason;
    const std::string who = "user '" + address_.user + "'";
    const std::string suite = std::to_string(address_.cipherSuite);
    // The two suites BMCs commonly offer: point at the other one.
    const char *otherSuite = address_.cipherSuite == 3    ? "17"
                             : address_.cipherSuite == 17 ? "3"
                                                          : "17 or 3";
    const std::string refused =
        "the BMC refused cipher suite " + suite + " (try --cipher-suite " + otherSuite + ")";
    const std::string noAnswer = "no answer from " + address_.host + " port " +
                                 std::to_string(address_.port) +
                                 " (unreachable, or not an IPMI LAN interface)";
    const auto *const cause = std::ranges::find(kCauses, errnum, &Cause::errnum);
    OpenFailure::Reason reason = cause != kCauses.end() ? cause->reason : Unreachable;
    if (cause == kCauses.end() && !address_.lan15 &&
        (errnum == IPMI_ERR_IPMI_ERROR || errnum == IPMI_ERR_BAD_RMCPPLUS_STATUS_CODE)) {
        // The library names one refusal of the algorithms (no cipher suite matches); a BMC may
        // refuse one of them by a code the library only calls an error. Another suite that gets
        // past that step tells it was ours.
        const int other = openSession(address_.cipherSuite == 3 ? 17 : 3, {});
        close();
        reason = pastCipherSuite(other) ? CipherSuite : Unreachable;
    }
    switch (reason) {
    case UnknownUser:
        return {reason, "the BMC does not know " + who};
    case WrongPassword:
        return {reason, "wrong password for " + who};
    case Privilege:
        return {reason, who + " has too little privilege"};
    case CipherSuite:
        if (errnum == IPMI_ERR_IPMI_2_0_UNAVAILABLE) {
            return {reason, "the BMC has no RMCP+ (IPMI 2.0) sessions (try --lan15)"};
        }
        if (address_.lan15) {
            return {reason, "the BMC offers " + who +
                                " no MD5-authenticated IPMI 1.5 session (try without --lan15)"};
        }
        return {reason, refused};
    case NoClient:
    case Unreachable:
        break;
    }
    if (errnum == IPMI_ERR_PARAMETERS) {
        // The library checks what it is handed before sending anything.
        if (address_.user.size() > IPMI_MAX_USER_NAME_LENGTH) {
            return {UnknownUser, who + " is longer than IPMI's 16 characters"};
        }
        if (address_.password.size() >
            (address_.lan15 ? IPMI_1_5_MAX_PASSWORD_LENGTH : IPMI_2_0_MAX_PASSWORD_LENGTH)) {
            return {WrongPassword, "the password for " + who + " is longer than IPMI allows"};
        }
        return {CipherSuite, "cipher suite " + suite + " is not one diagpanel can use (try " +
                                 "--cipher-suite 17 or 3)"};
    }
    if (errnum == IPMI_ERR_OUT_OF_MEMORY || errnum == IPMI_ERR_SYSTEM_ERROR) {
        return {NoClient, std::string("cannot open an IPMI session: ") + ipmi_ctx_strerror(errnum)};
    }
    if (errnum == IPMI_ERR_HOSTNAME_INVALID) {
        return {Unreachable, "no such host: " + address_.host};
    }
    return {Unreachable, noAnswer};
}

FreeIpmiClient::Raw FreeIpmiClient::command(u8 netFn, u8 cmd, std::span<const u8> data)
{
    if (ctx_ == nullptr) {
        return {};
    }
    std::vector<u8> request{cmd};
    request.insert(request.end(), data.begin(), data.end());
    std::array<u8, kMaxResponse> response{};
    ++commands_;
    const int got = ipmi_cmd_raw(ctx_, IPMI_BMC_IPMB_LUN_BMC, netFn, request.data(),
                                 static_cast<unsigned>(request.size()), response.data(),
                                 static_cast<unsigned>(response.size()));
    if (got < 2) {
        close(); // no answer within the session time-out: a session in an unknown state
        return {};
    }
    Raw answer;
    if (response[1] != 0) {
        answer.completion = response[1];
    } else {
        answer.data.emplace(response.begin() + 2, response.begin() + got);
    }
    return answer;
}

Reply<SelInfo> FreeIpmiClient::getSelInfo()
{
    Reply<SelInfo> reply;
    const Raw raw = command(ipmi::kStorage, ipmi::kGetSelInfo);
    reply.completion = raw.completion;
    if (raw.data && raw.data->size() >= 14) {
        const std::vector<u8> &d = *raw.data;
        reply.value = SelInfo{le16(d, 1), le32(d, 5), le32(d, 9), (d[13] & kOverflow) != 0};
    } else if (raw.data) {
        reply.wrongLength = raw.data->size();
    }
    return reply;
}

Reply<u16> FreeIpmiClient::reserveSel()
{
    Reply<u16> reply;
    const Raw raw = command(ipmi::kStorage, ipmi::kReserveSel);
    reply.completion = raw.completion;
    if (raw.data && raw.data->size() == 2) {
        reply.value = le16(*raw.data, 0);
    } else if (raw.data) {
        reply.wrongLength = raw.data->size();
    }
    return reply;
}

Reply<SelRecord> FreeIpmiClient::getSelEntry(u16 reservation, u16 id)
{
    Reply<SelRecord> reply;
    // Offset 0, FFh bytes: the whole record.
    const std::array<u8, 6> request{static_cast<u8>(reservation),
                                    static_cast<u8>(reservation >> 8),
                                    static_cast<u8>(id),
                                    static_cast<u8>(id >> 8),
                                    0x00,
                                    ipmi::kWholeRecord};
    const Raw raw = command(ipmi::kStorage, ipmi::kGetSelEntry, request);
    reply.completion = raw.completion;
    if (raw.data && raw.data->size() == 2 + sizeof(SelEntry)) {
        SelRecord record;
        record.next = le16(*raw.data, 0);
        std::copy(raw.data->begin() + 2, raw.data->end(), record.entry.begin());
        reply.value = record;
    } else if (raw.data) {
        reply.wrongLength = raw.data->size();
    }
    return reply;
}

std::optional<SdrRepository> FreeIpmiClient::sdrRepository()
{
    return readSdrRepository(
        [this](u8 cmd, std::span<const u8> data) { return command(ipmi::kStorage, cmd, data); });
}

std::unique_ptr<IpmiClient> lanClient(const BmcAddress &address, LanTimeouts timeouts)
{
    return std::make_unique<FreeIpmiClient>(address, timeouts);
}

} // namespace diagpanel
