// SPDX-License-Identifier: Apache-2.0
// What diagpanel asks of a BMC over IPMI LAN, whatever carries the commands: a session opened
// with a reason when it cannot be, the SEL's state and records, the SDR repository, and how many
// commands the BMC was sent. The commands answer in IPMI's own terms: the decoded response, the
// completion code of a refusal, a response of the wrong length, or nothing at all.
#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string>
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

// A BMC's SDR repository as read.
struct SdrRepository {
    std::string records;  // one after another, as stored (the form readers/sdr parses)
    std::string cutShort; // why the read ended before the last record, in words; empty if not
};

// Why a session could not be opened; `text` says it in the words of a user.
struct OpenFailure {
    enum class Reason { NoClient, Unreachable, UnknownUser, WrongPassword, CipherSuite, Privilege };
    Reason reason;
    std::string text;
};

// A command's outcome: exactly one of value, completion and wrongLength is set when the BMC
// answered; none when it did not.
template <typename T> struct Reply {
    std::optional<T> value;                 // a well-formed response
    std::optional<u8> completion;           // the BMC refused the command with this code
    std::optional<std::size_t> wrongLength; // a response of this many bytes, not the command's
    bool answered() const { return value || completion || wrongLength; }
};

struct SelInfo {
    u16 entries = 0;
    u32 added = 0;  // most recent addition timestamp
    u32 erased = 0; // most recent erase timestamp
    bool overflow = false;
    bool operator==(const SelInfo &) const = default;
};

using SelEntry = std::array<u8, 16>; // a record as stored: its ID in the first two bytes

// Little-endian fields of a response.
inline u16 le16(const std::vector<u8> &d, std::size_t at)
{
    return static_cast<u16>(d[at] | d[at + 1] << 8);
}
inline u32 le32(const std::vector<u8> &d, std::size_t at)
{
    return d[at] | d[at + 1] << 8 | d[at + 2] << 16 | static_cast<u32>(d[at + 3]) << 24;
}

inline u16 selRecordId(const SelEntry &entry)
{
    return static_cast<u16>(entry[0] | entry[1] << 8);
}

struct SelRecord {
    SelEntry entry;
    u16 next; // the ID of the record after it; FFFFh: none
};

// IPMI 2.0's Storage commands follow sends, and the completion codes it acts on.
namespace ipmi {
constexpr u8 kStorage = 0x0A; // network function
constexpr u8 kGetSdrRepositoryInfo = 0x20;
constexpr u8 kReserveSdrRepository = 0x22;
constexpr u8 kGetSdr = 0x23;
constexpr u8 kGetSelInfo = 0x40;
constexpr u8 kReserveSel = 0x42;
constexpr u8 kGetSelEntry = 0x43;
constexpr u8 kWholeRecord = 0xFF; // Get SEL Entry's and Get SDR's bytes to read: to the end

constexpr u8 kBusy = 0xC0;
constexpr u8 kReservationCancelled = 0xC5;
constexpr u8 kNotPresent = 0xCB;
constexpr u8 kNoPrivilege = 0xD4;
constexpr u8 kUnspecified = 0xFF;
} // namespace ipmi

// Record IDs with a meaning of their own in Get SEL Entry.
constexpr u16 kFirstSelRecord = 0x0000;
constexpr u16 kLastSelRecord = 0xFFFF; // asked for: the last record; as a next ID: none

class IpmiClient
{
  public:
    virtual ~IpmiClient() = default;

    // Opens (or opens again) the session; nullopt when it is open.
    virtual std::optional<OpenFailure> open() = 0;

    virtual Reply<SelInfo> getSelInfo() = 0;
    virtual Reply<u16> reserveSel() = 0; // the reservation ID
    // The whole record `id`; the reservation matters only to a BMC that cancelled it (C5h).
    virtual Reply<SelRecord> getSelEntry(u16 reservation, u16 id) = 0;

    // The SDR repository, as far as it could be read; nullopt when not one record could.
    virtual std::optional<SdrRepository> sdrRepository() = 0;

    virtual unsigned long commands() const = 0; // sent to the BMC since the client was made
};

} // namespace diagpanel
