// corvane-sim as a program: started as a child, its pseudo-terminal opened by this process the
// way a serial tool would. These tests wait on real I/O (with generous limits), not on timing.
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include "sim/support/wire.h"

using namespace simtest;

namespace {

constexpr int kIoLimitMs = 10'000;

// Reads from `fd` until `want` bytes are in `out` or the limit passes.
bool ReadSome(int fd, Bytes& out, std::size_t want, int limitMs) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(limitMs);
    while (out.size() < want) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
                              end - std::chrono::steady_clock::now())
                              .count();
        if (left <= 0) {
            return false;
        }
        pollfd pfd{fd, POLLIN, 0};
        if (::poll(&pfd, 1, static_cast<int>(left)) <= 0) {
            continue;
        }
        std::uint8_t buffer[512];
        const ssize_t n = ::read(fd, buffer, std::min(sizeof buffer, want - out.size()));
        if (n <= 0) {
            return false;
        }
        out.insert(out.end(), buffer, buffer + n);
    }
    return true;
}

// A corvane-sim child with its standard output on a pipe.
class SimProcess {
  public:
    explicit SimProcess(std::vector<std::string> args) {
        int out[2];
        int err[2];
        if (::pipe(out) != 0 || ::pipe(err) != 0) {
            return;
        }
        pid_ = ::fork();
        if (pid_ == 0) {
            ::dup2(out[1], 1);
            ::dup2(err[1], 2);
            ::close(out[0]);
            ::close(err[0]);
            std::vector<char*> argv;
            std::string program = CORVANE_SIM_PATH;
            argv.push_back(program.data());
            for (std::string& arg : args) {
                argv.push_back(arg.data());
            }
            argv.push_back(nullptr);
            ::execv(program.c_str(), argv.data());
            ::_exit(127);
        }
        ::close(out[1]);
        ::close(err[1]);
        out_ = out[0];
        err_ = err[0];
    }
    ~SimProcess() {
        if (pid_ > 0 && !waited_) {
            ::kill(pid_, SIGKILL);
            ::waitpid(pid_, nullptr, 0);
        }
        if (out_ >= 0) {
            ::close(out_);
        }
        if (err_ >= 0) {
            ::close(err_);
        }
    }

    // The first line of standard output, without its line end; empty if none came in time.
    std::string FirstLine() {
        Bytes line;
        while (line.empty() || line.back() != '\n') {
            if (!ReadSome(out_, line, line.size() + 1, kIoLimitMs)) {
                return {};
            }
        }
        return std::string(line.begin(), line.end() - 1);
    }
    // Everything on the pipe until the child closes it.
    static std::string Drain(int fd) {
        std::string text;
        char buffer[4096];
        ssize_t n;
        while ((n = ::read(fd, buffer, sizeof buffer)) > 0) {
            text.append(buffer, static_cast<std::size_t>(n));
        }
        return text;
    }
    std::string RestOfStdout() { return Drain(out_); }
    std::string Stderr() { return Drain(err_); }

    // Sends `signal` (if any) and returns the exit status, or -1 when it did not exit normally.
    int Finish(int signal = 0) {
        if (signal != 0) {
            ::kill(pid_, signal);
        }
        int status = 0;
        ::waitpid(pid_, &status, 0);
        waited_ = true;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

  private:
    pid_t pid_ = -1;
    int out_ = -1;
    int err_ = -1;
    bool waited_ = false;
};

// Opens the slave path as a user's serial tool would, in raw mode.
int OpenLine(const std::string& path) {
    const int fd = ::open(path.c_str(), O_RDWR | O_NOCTTY);
    if (fd < 0) {
        return -1;
    }
    termios tio{};
    ::tcgetattr(fd, &tio);
    ::cfmakeraw(&tio);
    ::tcsetattr(fd, TCSANOW, &tio);
    return fd;
}

// Writes a request and reads one whole reply frame.
Bytes Transact(int fd, const Bytes& request) {
    if (::write(fd, request.data(), request.size()) != static_cast<ssize_t>(request.size())) {
        return {};
    }
    Bytes reply;
    if (!ReadSome(fd, reply, 6, kIoLimitMs)) {
        return reply;
    }
    ReadSome(fd, reply, 6 + ((reply[4] << 8) | reply[5]) + 2u, kIoLimitMs);
    return reply;
}

std::uint32_t Seconds(const Bytes& reply) {
    return (std::uint32_t{reply[6]} << 24) | (reply[7] << 16) | (reply[8] << 8) | reply[9];
}

}  // namespace

TEST(CorvaneSimProgram, AnswersRequestsAcrossManyOpensAndClosesOfItsTerminal) {
    const std::string transcript =
        ::testing::TempDir() + "corvane-sim-transcript-" + std::to_string(::getpid()) + ".jsonl";
    std::remove(transcript.c_str());
    SimProcess sim({"--transcript", transcript});
    const std::string path = sim.FirstLine();
    ASSERT_EQ(path.rfind("/dev/pts/", 0), 0u) << "first line: '" << path << "'";

    struct Row {
        const char* legend;
        std::uint16_t type;
        Bytes payload;
        Bytes reply;
    };
    const Row rows[] = {
        {"master start", 770, {}, {}},
        {"master start again", 770, {}, Text("System is already running.")},
        {"a setting while running is refused", 202, U16(151), {0}},
        {"master stop", 771, {}, {1}},
        {"now the setting is taken", 202, U16(151), {1}},
        {"a code it does not know", 4242, {}, Text("Unknown command")},
    };
    std::uint8_t number = 0;
    for (const Row& row : rows) {
        // Each request on a fresh open, as the logger opens the port around every exchange.
        const int fd = OpenLine(path);
        ASSERT_GE(fd, 0) << row.legend;
        ++number;
        EXPECT_EQ(Hex(Transact(fd, Request(number, row.type, row.payload))),
                  Hex(Reply(number, row.type, row.reply)))
            << row.legend;
        ::close(fd);
    }

    // Noise first, then a request, on one open: survived.
    const int fd = OpenLine(path);
    ASSERT_GE(fd, 0);
    const Bytes noise{0x00, 0xAA, 0x13};
    ASSERT_EQ(::write(fd, noise.data(), noise.size()), 3);
    const Bytes clock = Transact(fd, Request(++number, 35));
    ::close(fd);
    ASSERT_EQ(clock.size(), 14u);
    EXPECT_EQ(clock[10], 1) << "valid";
    const auto now = static_cast<std::int64_t>(std::time(nullptr));
    EXPECT_LE(std::llabs(static_cast<std::int64_t>(Seconds(clock)) - now), 5);

    EXPECT_EQ(sim.Finish(SIGTERM), 0);
    std::ifstream file(transcript);
    std::string line;
    int requests = 0;
    int replies = 0;
    while (std::getline(file, line)) {
        EXPECT_EQ(line.rfind("{\"log\":\"transcript\",\"time\":\"", 0), 0u) << line;
        requests += line.find("\"direction\":\"request\"") != std::string::npos ? 1 : 0;
        replies += line.find("\"direction\":\"reply\"") != std::string::npos ? 1 : 0;
    }
    EXPECT_EQ(requests, 7);
    EXPECT_EQ(replies, 7);
    std::remove(transcript.c_str());
}

TEST(CorvaneSimProgram, TakesFaultsAndClockSettingsFromTheCommandLine) {
    const std::string link =
        ::testing::TempDir() + "corvane-sim-link-" + std::to_string(::getpid());
    SimProcess sim({"--fault", "unknown-command,code=4,count=all", "--clock-offset", "3600",
                    "--fault=invalid-time,code=35", "--link", link});
    const std::string path = sim.FirstLine();
    ASSERT_FALSE(path.empty());
    char target[256] = {};
    ASSERT_GT(::readlink(link.c_str(), target, sizeof target - 1), 0);
    EXPECT_EQ(std::string(target), path);
    const int fd = OpenLine(link);
    ASSERT_GE(fd, 0);
    EXPECT_EQ(Transact(fd, Request(1, 4)), Reply(1, 4, Text("Unknown command")));
    EXPECT_EQ(Transact(fd, Request(2, 4)), Reply(2, 4, Text("Unknown command")));
    const Bytes invalid = Transact(fd, Request(3, 35));
    ASSERT_EQ(invalid.size(), 14u);
    EXPECT_EQ(invalid[10], 0) << "the invalid-time fault";
    const Bytes valid = Transact(fd, Request(4, 35));
    ASSERT_EQ(valid.size(), 14u);
    EXPECT_EQ(valid[10], 1) << "spent after one";
    const auto now = static_cast<std::int64_t>(std::time(nullptr));
    EXPECT_LE(std::llabs(static_cast<std::int64_t>(Seconds(valid)) - (now + 3600)), 5);
    ::close(fd);
    EXPECT_EQ(sim.Finish(SIGINT), 0);
    EXPECT_NE(::access(link.c_str(), F_OK), 0) << "the link is removed on exit";
}

TEST(CorvaneSimProgram, ExplainsItselfAndRefusesABadCommandLine) {
    SimProcess help({"--help"});
    const std::string usage = help.RestOfStdout();
    EXPECT_EQ(help.Finish(), 0);
    EXPECT_EQ(usage.rfind("Usage: corvane-sim [options]", 0), 0u) << usage;
    for (const char* option : {"--transcript", "--fault", "--clock-offset", "--clock-drift",
                               "--invalid-time", "--reset-silence", "--load-margin"}) {
        EXPECT_NE(usage.find(option), std::string::npos) << option;
    }

    struct Row {
        const char* legend;
        std::vector<std::string> args;
        const char* message;
    };
    const Row rows[] = {
        {"unknown option", {"--frobnicate"}, "unknown option --frobnicate"},
        {"fault of no known kind", {"--fault", "gremlins"}, "unknown fault kind 'gremlins'"},
        {"fault count of zero", {"--fault", "silence,count=0"}, "bad count '0'"},
        {"option without its value", {"--reset-silence"}, "needs a value"},
    };
    for (const Row& row : rows) {
        SimProcess bad(row.args);
        const std::string err = bad.Stderr();
        EXPECT_EQ(bad.Finish(), 2) << row.legend;
        EXPECT_NE(err.find(row.message), std::string::npos) << row.legend << ": " << err;
    }
}
