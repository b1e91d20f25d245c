// SPDX-License-Identifier: Apache-2.0
#include "tools/diagpanel/follow/sdr_repository.hpp"

#include <algorithm>
#include <array>
#include <set>

namespace diagpanel {

namespace {

// A record: a 5-byte header whose last byte is the length of the body after it.
constexpr std::size_t kHeader = 5;
constexpr std::size_t kLengthAt = 4;
// A BMC that will not hand a record over whole still gives it this much a read.
constexpr std::size_t kPiece = 16;
// The repository's 16-bit free-space field caps it at 64 KiB, and a record takes 5 bytes at least.
constexpr std::size_t kMaxBytes = std::size_t{64} * 1024;
constexpr std::size_t kMaxRecords = kMaxBytes / kHeader;
constexpr int kReservationTries = 3;   // reads another client's reservation may cancel
constexpr u16 kLastSdrRecord = 0xFFFF; // the next ID of the last record

struct Record {
    std::string bytes; // header and body, as stored: the record's own ID first
    u16 next;
    u16 id() const
    {
        return static_cast<u16>(static_cast<u8>(bytes[0]) | static_cast<u8>(bytes[1]) << 8);
    }
};

class Reader
{
  public:
    explicit Reader(const StorageCommand &command) : command_(command) {}

    std::optional<u16> reserve()
    {
        const StorageAnswer answer = command_(ipmi::kReserveSdrRepository, {});
        if (answer.data && answer.data->size() == 2) {
            return le16(*answer.data, 0);
        }
        return std::nullopt;
    }

    // Record `id`, reserving again when another client's reservation cancelled ours.
    std::optional<Record> record(u16 id, u16 &reservation)
    {
        for (int attempt = 0; attempt < kReservationTries; ++attempt) {
            bool cancelled = false;
            std::optional<Record> got =
                inPieces_ ? pieces(id, reservation, cancelled) : whole(id, reservation, cancelled);
            if (got || !cancelled) {
                return got;
            }
            const std::optional<u16> again = reserve();
            if (!again) {
                return std::nullopt;
            }
            reservation = *again;
        }
        return std::nullopt;
    }

  private:
    StorageAnswer get(u16 reservation, u16 id, std::size_t offset, std::size_t bytes)
    {
        const std::array<u8, 6> request{
            static_cast<u8>(reservation), static_cast<u8>(reservation >> 8),
            static_cast<u8>(id),          static_cast<u8>(id >> 8),
            static_cast<u8>(offset),      static_cast<u8>(bytes)};
        return command_(ipmi::kGetSdr, request);
    }

    std::optional<Record> whole(u16 id, u16 reservation, bool &cancelled)
    {
        const StorageAnswer answer = get(reservation, id, 0, ipmi::kWholeRecord);
        const std::optional<std::vector<u8>> &d = answer.data;
        if (d && d->size() >= 2 + kHeader && d->size() == 2 + kHeader + (*d)[2 + kLengthAt]) {
            return Record{std::string(d->begin() + 2, d->end()), le16(*d, 0)};
        }
        cancelled = answer.completion == ipmi::kReservationCancelled;
        if (!answer.answered() || cancelled || answer.completion == ipmi::kNotPresent) {
            return std::nullopt;
        }
        // Refused whole (too long for the BMC's buffers, say) or cut short: this BMC's records
        // are read in pieces from now on.
        inPieces_ = true;
        return pieces(id, reservation, cancelled);
    }

    std::optional<Record> pieces(u16 id, u16 reservation, bool &cancelled)
    {
        const auto read = [&](std::size_t offset,
                              std::size_t bytes) -> std::optional<std::vector<u8>> {
            StorageAnswer answer = get(reservation, id, offset, bytes);
            cancelled = answer.completion == ipmi::kReservationCancelled;
            if (!answer.data || answer.data->size() != 2 + bytes) {
                return std::nullopt;
            }
            return std::move(answer.data);
        };
        const std::optional<std::vector<u8>> header = read(0, kHeader);
        if (!header) {
            return std::nullopt;
        }
        Record record{std::string(header->begin() + 2, header->end()), le16(*header, 0)};
        const std::size_t length = kHeader + (*header)[2 + kLengthAt];
        while (record.bytes.size() < length) {
            const std::optional<std::vector<u8>> piece =
                read(record.bytes.size(), std::min(kPiece, length - record.bytes.size()));
            if (!piece || le16(*piece, 0) != record.next) {
                return std::nullopt;
            }
            record.bytes.append(piece->begin() + 2, piece->end());
        }
        return record;
    }

    const StorageCommand &command_;
    bool inPieces_ = false; // the BMC refused a record asked for whole
};

} // namespace

std::optional<SdrRepository> readSdrRepository(const StorageCommand &command)
{
    const StorageAnswer info = command(ipmi::kGetSdrRepositoryInfo, {});
    if (!info.answered()) {
        return std::nullopt;
    }
    std::size_t limit = kMaxRecords;
    if (info.data && info.data->size() >= 3) {
        limit = std::min<std::size_t>(limit, le16(*info.data, 1));
    }
    Reader reader(command);
    std::optional<u16> reservation = reader.reserve();
    if (!reservation) {
        return std::nullopt;
    }
    SdrRepository repository;
    // The IDs asked for and those the records read carry: the first record is asked for as
    // 0000h, and a next ID may lead back to it by its own.
    std::set<u16> seen;
    u16 from = 0; // the record whose next ID `id` is
    for (u16 id = 0x0000, count = 0; id != kLastSdrRecord; ++count) {
        if (count == limit) {
            if (count > 0) {
                repository.cutShort = "record " + std::to_string(from) +
                                      " names a next one, past the " + std::to_string(limit) +
                                      " the repository counts";
            }
            break;
        }
        if (!seen.insert(id).second) {
            repository.cutShort = "record " + std::to_string(from) + " names record " +
                                  std::to_string(id) + " as its next, one read before";
            break;
        }
        const std::optional<Record> record = reader.record(id, *reservation);
        if (!record && repository.records.empty()) {
            return std::nullopt;
        }
        if (!record) {
            repository.cutShort = "record " + std::to_string(id) + " could not be read";
            break;
        }
        if (repository.records.size() + record->bytes.size() > kMaxBytes) {
            repository.cutShort = "its records pass " + std::to_string(kMaxBytes / 1024) + " KiB";
            break;
        }
        repository.records += record->bytes;
        seen.insert(record->id());
        from = record->id();
        id = record->next;
    }
    return repository;
}

std::string repositoryNote(const std::optional<SdrRepository> &repository)
{
    if (!repository) {
        return "the BMC's SDR repository could not be read: records name no sensors";
    }
    if (!repository->cutShort.empty()) {
        return "the BMC's SDR repository was read in part (" + repository->cutShort +
               "): the sensors of the records not read stay unnamed";
    }
    return {};
}

} // namespace diagpanel
