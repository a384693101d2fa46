// corvane-sim as a program: started as a child, its pseudo-terminal opened by this process the
// way a serial tool would. These tests wait on real I/O (with generous limits), not on timing.
#include <signal.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <regex>
#include <string>
#include <vector>

#include "host/serial/serial_ports.h"
#include "sim/support/logger_port.h"
#include "tests/apps/support/child_process.h"

using namespace simtest;
using tarvo::testing::Child;
using tarvo::testing::TempDir;

TEST(CorvaneSimProgram, AnswersRequestsAcrossOpensAndClosesOfItsTerminalWithTheFaultsItWasGiven) {
    const TempDir dir;
    const std::string link = dir.File("link");
    Child sim(CORVANE_SIM_PATH,
              {"--transcript", dir.File("line.jsonl"), "--link", link, "--fault",
               "unknown-command,code=4,count=all", "--clock-offset", "3600",
               "--fault=invalid-time,code=35"},
              dir.Path());
    const std::string path = sim.WaitForFirstLine();
    ASSERT_EQ(path.rfind("/dev/pts/", 0), 0u) << "first line: '" << path << "'" << sim.err;
    EXPECT_EQ(std::filesystem::read_symlink(link).string(), path);
    // Both paths opened through the host's serial ports, which open them as a device (termios).
    tarvo::host::MapPortToDevice(L"COM3:", path);
    tarvo::host::MapPortToDevice(L"COM4:", link);
    LoggerPort port(L"COM3:");

    const struct {
        const char* legend;
        std::uint16_t type;
        Bytes payload;
        Bytes reply;
    } rows[] = {
        {"master start", 770, {}, {}},
        {"master start again", 770, {}, Text("System is already running.")},
        {"a setting while running is refused", 202, U16(151), {0}},
        {"master stop", 771, {}, {1}},
        {"now the setting is taken", 202, U16(151), {1}},
        {"a code it does not know", 4242, {}, Text("Unknown command")},
        {"the unknown-command fault, every time", 4, {}, Text("Unknown command")},
        {"the unknown-command fault, again", 4, {}, Text("Unknown command")},
    };
    std::string types;
    for (const auto& row : rows) {
        // Each request on a fresh open (of the link, too), as the logger opens the port around
        // every exchange.
        types += (types.empty() ? "" : " ") + std::to_string(row.type);
        port.name = port.name == L"COM3:" ? L"COM4:" : L"COM3:";
        EXPECT_EQ(port.Ask(row.type, row.payload), row.reply) << row.legend;
    }
    const Bytes invalid = port.Ask(35, {}, {0x00, 0xAA, 0x13});
    EXPECT_EQ(invalid.at(4), 0) << "the invalid-time fault, after noise";
    const Bytes valid = port.Ask(35);
    EXPECT_EQ(valid.at(4), 1) << "spent after one";
    EXPECT_LE(std::llabs(std::int64_t{SecondsIn(valid)} - (std::time(nullptr) + 3600)), 5);

    sim.Signal(SIGTERM);
    EXPECT_EQ(sim.Finish(), 0) << sim.err;
    EXPECT_FALSE(std::filesystem::exists(link)) << "the link is removed on exit";
    types += " 35 35";
    EXPECT_EQ(tarvo::testing::RequestTypes(dir.Read("line.jsonl")), types);
}

// Every option the parser takes is in --help, and every option --help names is one the parser
// takes: each is given (with a value when the help shows one) before an unknown option, which
// ends the program instead of a simulation, and must not be the one called unknown.
TEST(CorvaneSimProgram, HelpIsCompleteAndTrue) {
    Child help(CORVANE_SIM_PATH, {"--help"}, "/tmp");
    EXPECT_EQ(help.Finish(), 0);
    EXPECT_EQ(help.out.rfind("Usage: corvane-sim [options]", 0), 0u) << help.out;
    for (const char* option :
         {"--transcript FILE", "--verbose", "--link PATH", "--fault FAULT", "--clock-offset S",
          "--clock-drift PPM", "--invalid-time", "--line-faults RATE", "--seed N",
          "--reset-silence MS", "--load-margin MS", "--reply-latency MS", "--help", "--version"}) {
        EXPECT_NE(help.out.find(option), std::string::npos) << option;
    }
    const std::regex named(R"(\n  (--[a-z-]+)( [A-Z])?)");
    int options = 0;
    for (std::sregex_iterator it(help.out.begin(), help.out.end(), named), end; it != end; ++it) {
        const std::string option = (*it)[1];
        std::vector<std::string> args{option};
        if ((*it)[2].matched)
            args.push_back("1");
        args.push_back("--frobnicate");
        Child run(CORVANE_SIM_PATH, args, "/tmp");
        EXPECT_LE(run.Finish(), 2) << option;
        EXPECT_EQ(run.err.find("unknown option " + option + "\n"), std::string::npos) << run.err;
        ++options;
    }
    EXPECT_EQ(options, 14);
}

TEST(CorvaneSimProgram, RefusesABadCommandLine) {
    const struct {
        std::vector<std::string> args;
        const char* message;
    } rows[] = {
        {{"--frobnicate"}, "unknown option --frobnicate"},
        {{"stray"}, "unexpected argument stray"},
        {{"--fault", "silence,count=0"}, "bad count '0'"},
        {{"--reset-silence"}, "--reset-silence needs a value"},
        {{"--reset-silence", "-5"},
         "--reset-silence: expected a number of milliseconds, not \"-5\""},
        {{"--line-faults", "7"},
         "--line-faults: expected a fraction from 0 to 1 such as 0.05, or a percentage such as 5%, "
         "not \"7\""},
        {{"--seed=x"}, "--seed: expected a whole number such as 7, not \"x\""},
        {{"--transcript", "--help", "--frobnicate"}, "unknown option --frobnicate"},
    };
    for (const auto& row : rows) {
        Child bad(CORVANE_SIM_PATH, row.args, "/tmp");
        EXPECT_EQ(bad.Finish(), 2) << row.message;
        EXPECT_NE(bad.err.find(row.message), std::string::npos) << bad.err;
    }
}
