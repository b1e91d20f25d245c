// SPDX-License-Identifier: Apache-2.0
#include "tools/diagpanel/follow/ipmitool_session.hpp"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

extern char **environ;

namespace diagpanel {

namespace {

constexpr char kPrompt[] = "ipmitool> ";
constexpr std::size_t kPromptLen = sizeof kPrompt - 1;

// IPMI 2.0 network functions, commands and Get SEL Info's operation support bit.
constexpr u8 kApp = 0x06;
constexpr u8 kGetDeviceId = 0x01;
constexpr u8 kStorage = 0x0A;
constexpr u8 kGetSelInfo = 0x40;
constexpr u8 kReserveSel = 0x42;
constexpr u8 kGetSelEntry = 0x43;
constexpr u8 kOverflow = 0x80;

u32 le32(const std::vector<u8> &d, std::size_t at)
{
    return d[at] | d[at + 1] << 8 | d[at + 2] << 16 | static_cast<u32>(d[at + 3]) << 24;
}

// A child process with its standard input and output (and error) on pipes.
struct Child {
    pid_t pid = -1;
    int in = -1;  // its standard input
    int out = -1; // its standard output and error
};

Child spawn(const std::vector<std::string> &args, const std::string &password)
{
    int in[2], out[2];
    if (pipe2(in, O_CLOEXEC) != 0) {
        return {};
    }
    if (pipe2(out, O_CLOEXEC) != 0) {
        ::close(in[0]);
        ::close(in[1]);
        return {};
    }
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, in[0], STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, out[1], STDERR_FILENO);
    // The password travels in the child's environment (ipmitool -E), never on a command line
    // that every user of the machine can read.
    std::vector<std::string> environment{"IPMI_PASSWORD=" + password};
    for (char **e = environ; *e != nullptr; ++e) {
        if (strncmp(*e, "IPMI_PASSWORD=", 14) != 0) {
            environment.emplace_back(*e);
        }
    }
    std::vector<char *> argv, envp;
    for (const std::string &a : args) {
        argv.push_back(const_cast<char *>(a.c_str()));
    }
    argv.push_back(nullptr);
    for (const std::string &e : environment) {
        envp.push_back(const_cast<char *>(e.c_str()));
    }
    envp.push_back(nullptr);
    Child child;
    if (posix_spawnp(&child.pid, argv[0], &actions, nullptr, argv.data(), envp.data()) != 0) {
        child.pid = -1;
    }
    posix_spawn_file_actions_destroy(&actions);
    ::close(in[0]);
    ::close(out[1]);
    child.in = in[1];
    child.out = out[0];
    if (child.pid < 0) {
        ::close(child.in);
        ::close(child.out);
        return {};
    }
    return child;
}

void stop(Child &child)
{
    if (child.in >= 0) {
        ::close(child.in);
    }
    if (child.out >= 0) {
        ::close(child.out);
    }
    if (child.pid > 0) {
        kill(child.pid, SIGTERM);
        waitpid(child.pid, nullptr, 0);
    }
    child = {};
}

// Appends what the child writes until `done` holds of the text or the deadline passes; false
// when it passed, or the child closed its output first.
template <typename Done>
bool readUntil(int fd, std::string &text, std::chrono::steady_clock::time_point deadline, Done done)
{
    while (!done(text)) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        pollfd p{fd, POLLIN, 0};
        if (left.count() <= 0 || poll(&p, 1, static_cast<int>(left.count())) <= 0) {
            return false;
        }
        char buffer[4096];
        const ssize_t got = read(fd, buffer, sizeof buffer);
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got <= 0) {
            return done(text);
        }
        text.append(buffer, static_cast<std::size_t>(got));
    }
    return true;
}

// Runs a child to its end (killed at the deadline); its exit status and output.
std::pair<int, std::string> runOnce(const std::vector<std::string> &args,
                                    const std::string &password, std::chrono::seconds timeout)
{
    Child child = spawn(args, password);
    if (child.pid < 0) {
        return {-1, ""};
    }
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    ::close(child.in);
    std::string output;
    (void)readUntil(child.out, output, deadline, [](const std::string &) { return false; });
    ::close(child.out);
    int status = 0;
    while (waitpid(child.pid, &status, WNOHANG) == 0) {
        if (std::chrono::steady_clock::now() > deadline) {
            kill(child.pid, SIGTERM);
            waitpid(child.pid, &status, 0);
            return {-1, output};
        }
        usleep(10000);
    }
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, output};
}

std::string hexArgument(u8 value)
{
    char text[8];
    snprintf(text, sizeof text, " 0x%02x", value);
    return text;
}

} // namespace

IpmitoolSession::IpmitoolSession(BmcAddress address, std::chrono::seconds timeout)
    : address_(std::move(address)), timeout_(timeout)
{
}

IpmitoolSession::~IpmitoolSession()
{
    close();
}

std::vector<std::string> IpmitoolSession::arguments(bool verbose) const
{
    std::vector<std::string> args{"ipmitool"};
    if (verbose) {
        args.emplace_back("-v");
    }
    args.insert(args.end(), {"-I", address_.lan15 ? "lan" : "lanplus", "-H", address_.host, "-p",
                             std::to_string(address_.port), "-U", address_.user, "-E"});
    if (!address_.lan15) {
        args.insert(args.end(), {"-C", std::to_string(address_.cipherSuite)});
    }
    // Every command follow sends is User-level; ipmitool would otherwise ask for an administrator
    // session, which a BMC that holds accounts to their limits refuses an operator.
    args.insert(args.end(), {"-L", "USER"});
    // One second a try, two retries: a BMC that does not answer is known within seconds.
    args.insert(args.end(), {"-N", "1", "-R", "2"});
    return args;
}

std::optional<OpenFailure> IpmitoolSession::open()
{
    close();
    std::vector<std::string> args = arguments(false);
    args.emplace_back("shell");
    Child child = spawn(args, address_.password);
    if (child.pid < 0) {
        return OpenFailure{OpenFailure::Reason::NoClient,
                           "cannot run ipmitool (Debian package ipmitool): " +
                               std::string(strerror(errno))};
    }
    pid_ = child.pid;
    toChild_ = child.in;
    fromChild_ = child.out;
    std::string greeting;
    const Raw device = readUntilPrompt(greeting) ? command(kApp, kGetDeviceId) : Raw{};
    if (device.data) {
        return std::nullopt;
    }
    close();
    return diagnose();
}

void IpmitoolSession::close()
{
    Child child{pid_, toChild_, fromChild_};
    stop(child);
    pid_ = -1;
    toChild_ = fromChild_ = -1;
}

bool IpmitoolSession::readUntilPrompt(std::string &out)
{
    return readUntil(fromChild_, out, std::chrono::steady_clock::now() + timeout_,
                     [](const std::string &text) {
                         return text.size() >= kPromptLen &&
                                text.compare(text.size() - kPromptLen, kPromptLen, kPrompt) == 0;
                     });
}

IpmitoolSession::Raw IpmitoolSession::command(u8 netFn, u8 cmd, const std::vector<u8> &data)
{
    if (!isOpen()) {
        return {};
    }
    std::string line = "raw" + hexArgument(netFn) + hexArgument(cmd);
    for (const u8 byte : data) {
        line += hexArgument(byte);
    }
    const std::string sent = line + "\n";
    ++commands_;
    std::string reply;
    if (write(toChild_, sent.data(), sent.size()) != static_cast<ssize_t>(sent.size()) ||
        !readUntilPrompt(reply)) {
        close(); // a session in an unknown state is of no more use
        return {};
    }
    reply.resize(reply.size() - kPromptLen);
    Raw answer;
    std::vector<u8> bytes;
    std::size_t at = 0;
    while (at < reply.size()) {
        const std::size_t end = std::min(reply.find('\n', at), reply.size());
        const std::string text = reply.substr(at, end - at);
        at = end + 1;
        if (const std::size_t rsp = text.find("rsp=0x"); rsp != std::string::npos) {
            answer.completion = static_cast<u8>(strtoul(text.c_str() + rsp + 6, nullptr, 16));
            return answer;
        }
        if (text.find("Unable to send") != std::string::npos) {
            return answer; // no answer within ipmitool's retries
        }
        if (text.find(line) != std::string::npos) {
            continue; // the shell's echo of the command
        }
        for (std::size_t i = 0; i < text.size();) {
            char *next = nullptr;
            const unsigned long value = strtoul(text.c_str() + i, &next, 16);
            if (next == text.c_str() + i) {
                ++i;
                continue;
            }
            bytes.push_back(static_cast<u8>(value));
            i = static_cast<std::size_t>(next - text.c_str());
        }
    }
    answer.data = std::move(bytes);
    return answer;
}

OpenFailure IpmitoolSession::diagnose() const
{
    using enum OpenFailure::Reason;
    std::vector<std::string> args = arguments(true);
    args.insert(args.end(), {"raw", "0x06", "0x01"});
    const auto [status, output] = runOnce(args, address_.password, timeout_);
    const std::string who = "user '" + address_.user + "'";
    if (status < 0 && output.empty()) {
        return {NoClient, "cannot run ipmitool (Debian package ipmitool)"};
    }
    if (output.find("unauthorized name") != std::string::npos) {
        return {UnknownUser, "the BMC does not know " + who};
    }
    if (output.find("HMAC is invalid") != std::string::npos ||
        output.find("password") != std::string::npos) {
        return {WrongPassword, "wrong password for " + who};
    }
    if (output.find("authentication algorithm") != std::string::npos ||
        output.find("cipher suite") != std::string::npos) {
        return {CipherSuite, "the BMC refused cipher suite " +
                                 std::to_string(address_.cipherSuite) +
                                 " (try --cipher-suite 17 or 3)"};
    }
    if (output.find("privilege") != std::string::npos) {
        return {Privilege, who + " has too little privilege"};
    }
    return {Unreachable, "no answer from " + address_.host + " port " +
                             std::to_string(address_.port) +
                             " (unreachable, or not an IPMI LAN interface)"};
}

std::optional<std::string> IpmitoolSession::sdrRepository()
{
    char path[] = "/tmp/diagpanel-sdr-XXXXXX";
    const int fd = mkstemp(path);
    if (fd < 0) {
        return std::nullopt;
    }
    ::close(fd);
    std::vector<std::string> args = arguments(false);
    args.insert(args.end(), {"sdr", "dump", path});
    std::optional<std::string> records;
    if (runOnce(args, address_.password, timeout_ * 6).first == 0) {
        records.emplace();
        if (FILE *file = fopen(path, "rb")) {
            char buffer[4096];
            for (std::size_t got; (got = fread(buffer, 1, sizeof buffer, file)) > 0;) {
                records->append(buffer, got);
            }
            fclose(file);
        }
    }
    unlink(path);
    return records;
}

Reply<SelInfo> IpmitoolSession::getSelInfo()
{
    Reply<SelInfo> reply;
    const Raw raw = command(kStorage, kGetSelInfo);
    reply.completion = raw.completion;
    if (raw.data && raw.data->size() >= 14) {
        const std::vector<u8> &d = *raw.data;
        reply.value = SelInfo{static_cast<u16>(d[1] | d[2] << 8), le32(d, 5), le32(d, 9),
                              (d[13] & kOverflow) != 0};
    } else if (raw.data) {
        reply.wrongLength = raw.data->size();
    }
    return reply;
}

Reply<u16> IpmitoolSession::reserveSel()
{
    Reply<u16> reply;
    const Raw raw = command(kStorage, kReserveSel);
    reply.completion = raw.completion;
    if (raw.data && raw.data->size() == 2) {
        reply.value = static_cast<u16>((*raw.data)[0] | (*raw.data)[1] << 8);
    } else if (raw.data) {
        reply.wrongLength = raw.data->size();
    }
    return reply;
}

Reply<SelRecord> IpmitoolSession::getSelEntry(u16 reservation, u16 id)
{
    Reply<SelRecord> reply;
    // Offset 0, FFh bytes: the whole record.
    const Raw raw = command(kStorage, kGetSelEntry,
                            {static_cast<u8>(reservation), static_cast<u8>(reservation >> 8),
                             static_cast<u8>(id), static_cast<u8>(id >> 8), 0x00, 0xFF});
    reply.completion = raw.completion;
    if (raw.data && raw.data->size() == 2 + sizeof(SelEntry)) {
        SelRecord record;
        record.next = static_cast<u16>((*raw.data)[0] | (*raw.data)[1] << 8);
        std::copy(raw.data->begin() + 2, raw.data->end(), record.entry.begin());
        reply.value = record;
    } else if (raw.data) {
        reply.wrongLength = raw.data->size();
    }
    return reply;
}

} // namespace diagpanel
