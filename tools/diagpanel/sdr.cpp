#include "tools/diagpanel/sdr.hpp"

#include <algorithm>

namespace diagpanel {

namespace {

constexpr u8 kFullSensor = 0x01;
constexpr u8 kCompactSensor = 0x02;
constexpr u8 kBmc = 0x20; // the owner whose sensors a SEL names first

// A sensor record's ID string: type/length code, then the bytes (8-bit ASCII or 6-bit packed).
std::optional<std::string> idString(std::string_view record, std::size_t at)
{
    if (at >= record.size()) {
        return std::nullopt;
    }
    const auto code = static_cast<u8>(record[at]);
    const std::size_t length = code & 0x1Fu;
    const unsigned type = code >> 6;
    if (at + 1 + length > record.size()) {
        return std::nullopt;
    }
    const std::string_view bytes = record.substr(at + 1, length);
    if (type == 3) {
        return std::string(bytes.substr(0, bytes.find('\0')));
    }
    if (type == 2) { // 6-bit packed ASCII: four characters in three bytes
        std::string out;
        unsigned bits = 0;
        unsigned held = 0;
        for (const char c : bytes) {
            bits |= static_cast<unsigned>(static_cast<u8>(c)) << held;
            for (held += 8; held >= 6; held -= 6, bits >>= 6) {
                out += static_cast<char>(0x20 + (bits & 0x3F));
            }
        }
        return std::string(trim(out));
    }
    return std::nullopt;
}

class Names
{
  public:
    Names(SensorNames &out, std::string file, bool strict)
        : out_(out), file_(std::move(file)), strict_(strict)
    {
    }
    bool problem(unsigned line, std::size_t offset, std::string why)
    {
        out_.problems.push_back({{file_, line, offset}, std::move(why)});
        return !strict_;
    }
    // A BMC sensor of LUN 0 replaces a name another owner gave the same number.
    void add(u8 number, std::string name, bool preferred = true)
    {
        if (preferred || out_.names.count(number) == 0) {
            out_.names[number] = std::move(name);
        }
    }

  private:
    SensorNames &out_;
    std::string file_;
    bool strict_;
};

void readDump(Names &names, std::string_view content)
{
    std::size_t at = 0;
    while (at + 5 <= content.size()) {
        const auto type = static_cast<u8>(content[at + 3]);
        const std::size_t length = 5 + static_cast<u8>(content[at + 4]);
        if (at + length > content.size()) {
            names.problem(0, at, "record of " + std::to_string(length) + " bytes cut short");
            return;
        }
        const std::string_view record = content.substr(at, length);
        if (type == kFullSensor || type == kCompactSensor) {
            const std::optional<std::string> id = idString(record, type == kFullSensor ? 47 : 31);
            if (!id) {
                if (!names.problem(0, at, "sensor record without a readable ID string")) {
                    return;
                }
            } else {
                const auto owner = static_cast<u8>(record[5]);
                const bool preferred = owner == kBmc && (record[6] & 0x03) == 0;
                const auto number = static_cast<u8>(record[7]);
                // A compact record may stand for several sensors, named with a suffix.
                const unsigned share = type == kCompactSensor ? (record[23] & 0x0F) : 0;
                const bool alpha = type == kCompactSensor && (record[23] & 0x30) == 0x10;
                const unsigned first = type == kCompactSensor ? (record[24] & 0x7F) : 0;
                for (unsigned i = 0; i < std::max(share, 1u); ++i) {
                    std::string name = *id;
                    if (share > 1) {
                        name += alpha ? std::string(1, static_cast<char>('A' + first + i))
                                      : std::to_string(first + i);
                    }
                    names.add(static_cast<u8>(number + i), name, preferred);
                }
            }
        }
        at += length;
    }
    if (at < content.size()) {
        names.problem(0, at, "trailing bytes, not a whole SDR record header");
    }
}

// `ipmitool sdr elist`: "CPU_1_Status     | 30h | ok  |  3.1 | Presence detected".
void readElist(Names &names, std::string_view content)
{
    const std::vector<std::string_view> all = lines(content);
    for (std::size_t i = 0; i < all.size(); ++i) {
        const std::string_view line = trim(all[i]);
        if (line.empty() || line.front() == '#') {
            continue;
        }
        const std::size_t bar = line.find('|');
        const std::size_t next = line.find('|', bar + 1);
        const std::string_view name = trim(line.substr(0, bar));
        const std::string_view field =
            bar == std::string_view::npos ? "" : trim(line.substr(bar + 1, next - bar - 1));
        const std::optional<unsigned long> number =
            field.size() >= 2 && field.back() == 'h' ? parseNumber(field) : std::nullopt;
        if (name.empty() || !number || *number > 255) {
            if (!names.problem(static_cast<unsigned>(i + 1), 0,
                               "expected a sensor name, '|', then its number such as 30h")) {
                return;
            }
            continue;
        }
        names.add(static_cast<u8>(*number), std::string(name));
    }
}

// "number,name" lines; a first line that names its columns is a header.
void readCsv(Names &names, std::string_view content)
{
    const std::vector<std::string_view> all = lines(content);
    for (std::size_t i = 0; i < all.size(); ++i) {
        const std::string_view line = trim(all[i]);
        if (line.empty() || line.front() == '#') {
            continue;
        }
        const std::size_t comma = line.find(',');
        const std::optional<unsigned long> number = comma == std::string_view::npos
                                                        ? std::nullopt
                                                        : parseNumber(trim(line.substr(0, comma)));
        std::string_view name = comma == std::string_view::npos ? "" : trim(line.substr(comma + 1));
        if (name.size() >= 2 && name.front() == '"' && name.back() == '"') {
            name = name.substr(1, name.size() - 2);
        }
        if (!number && i == 0 && comma != std::string_view::npos) {
            continue; // header
        }
        if (!number || *number > 255 || name.empty()) {
            if (!names.problem(static_cast<unsigned>(i + 1), 0,
                               "expected number,name with a number from 0 to 255")) {
                return;
            }
            continue;
        }
        names.add(static_cast<u8>(*number), std::string(name));
    }
}

} // namespace

SensorNames parseSdr(const std::string &name, std::string_view content, bool strict)
{
    SensorNames out;
    Names names(out, name, strict);
    if (isBinary(content)) {
        out.form = "sdr dump";
        readDump(names, content);
    } else if (content.find('|') != std::string_view::npos) {
        out.form = "sdr elist";
        readElist(names, content);
    } else {
        out.form = "csv";
        readCsv(names, content);
    }
    return out;
}

SensorNames readSdr(const std::string &path, bool strict)
{
    const std::optional<std::string> content = readFile(path);
    if (!content) {
        SensorNames out;
        out.problems.push_back({{path, 0, 0}, "cannot be read"});
        return out;
    }
    return parseSdr(path, *content, strict);
}

} // namespace diagpanel
