// `tarvo call` run as a child process against the in-process simulated transmitter (virtual
// time), and a simulated day in which another plug-in owns every message through SetBasicHook.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include "tests/apps/support/child_process.h"

namespace {

using tarvo::testing::Child;
using tarvo::testing::TempDir;
using ::testing::HasSubstr;
using ::testing::StartsWith;

const std::string kRiverGauge = std::string(EXAMPLES_DIR) + "/river-gauge.xml";

struct Result {
    int status;
    std::string out;
    std::string err;
};

Result Tarvo(const std::vector<std::string>& args, const std::string& cwd = "/tmp") {
    Child child(TARVO_PROGRAM, args, cwd);
    const int status = child.Finish();
    return {status, child.out, child.err};
}

Result Call(const std::string& setup, std::vector<std::string> rest) {
    rest.insert(rest.begin(), {"call", setup});
    return Tarvo(rest);
}

std::string ReadFile(const std::string& path) {
    std::ifstream in(path);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

// A copy of the river-gauge example in a folder of its own.
struct Station {
    Station() { dir.Write("station.xml", original); }
    std::string Path() const { return dir.File("station.xml"); }
    std::string Text() const { return dir.Read("station.xml"); }
    ino_t Inode() const {
        struct stat st {};
        return stat(Path().c_str(), &st) == 0 ? st.st_ino : 0;
    }
    TempDir dir;
    std::string original = ReadFile(kRiverGauge);
};

std::vector<std::string> Lines(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);)
        lines.push_back(line);
    return lines;
}

TEST(TarvoCall, AGetterPrintsTheSettingTheSetupHolds) {
    const struct {
        const char* name;
        const char* printed;
    } rows[] = {
        {"GetSTTxInterval", "3600\n"},  // Rate "01:00:00", as seconds
        {"GetSTTxTime", "300\n"},       // Time "00:05:00"
        {"GetRTNormalRate", "43200\n"},
        {"GetCorvaneID", "3A51C2F4\n"},
        {"GetRTChannel", "77\n"},
        {"IsRandomEnabled", "true\n"},
        {"CorvaneTxEnabled", "true\n"},
        {"GetReportString",  // the river gauge sends no NOS message
         "NOS REPORT\r\nNo recent NOS values.\r\n\r\nREPORT COMPLETE\r\n"},
    };
    for (const auto& row : rows) {
        const Result r = Call(kRiverGauge, {row.name});
        EXPECT_EQ(r.status, 0) << row.name << ": " << r.err;
        EXPECT_EQ(r.out, row.printed) << row.name;
    }
}

TEST(TarvoCall, ASetterWithSaveChangesOnlyItsAttributeInTheFile) {
    Station station;
    const Result r = Call(station.Path(), {"SetSTTxInterval", "1800", "--save"});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out, "");

    const std::vector<std::string> before = Lines(station.original);
    const std::vector<std::string> after = Lines(station.Text());
    ASSERT_EQ(after.size(), before.size());
    int changed = 0;
    for (std::size_t i = 0; i < before.size(); ++i) {
        if (before[i] == after[i])
            continue;
        ++changed;
        std::string expected = before[i];
        const std::string rate = "Rate = \"01:00:00\"";
        ASSERT_NE(expected.find(rate), std::string::npos) << "line " << i + 1 << " changed";
        expected.replace(expected.find(rate), rate.size(), "Rate = \"00:30:00\"");
        EXPECT_EQ(after[i], expected);
    }
    EXPECT_EQ(changed, 1);
    EXPECT_EQ(Call(station.Path(), {"GetSTTxInterval"}).out, "1800\n");
}

TEST(TarvoCall, ASetterWithoutSaveLeavesTheFileAsItWas) {
    Station station;
    const ino_t inode = station.Inode();
    EXPECT_EQ(Call(station.Path(), {"SetSTChannel", "5"}).status, 0);
    EXPECT_EQ(station.Text(), station.original);
    EXPECT_EQ(station.Inode(), inode);
    EXPECT_EQ(Call(station.Path(), {"GetSTChannel"}).out, "151\n");
}

TEST(TarvoCall, StatusIsReadFromTheTransmitter) {
    Station station;
    const Result r = Call(station.Path(), {"GetCorvaneStatus"});
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_THAT(r.out, StartsWith("Corvane transmitter (simulated)\r\nTime: "));
}

TEST(TarvoCall, StatusIsRefusedWhenNothingTransmits) {
    Station station;
    ASSERT_EQ(Call(station.Path(), {"EnableSelfTimed", "false", "--save"}).status, 0);
    ASSERT_EQ(Call(station.Path(), {"EnableRandom", "0", "--save"}).status, 0);
    const Result off = Call(station.Path(), {"GetCorvaneStatus"});
    EXPECT_EQ(off.status, 1);
    EXPECT_EQ(off.out, "");
    EXPECT_THAT(off.err, HasSubstr("GetCorvaneStatus returned false: no status"));
}

TEST(TarvoCall, ACallThatCannotBeMadeSaysWhyListsTheOffersAndSavesNothing) {
    const struct {
        const char* legend;
        std::vector<std::string> args;  // after the setup
        int status;
        const char* says;
        bool listsOffers;
    } rows[] = {
        {"unknown export", {"GetFoo"}, 2, "\"GetFoo\" is not an export tarvo can call", true},
        {"a hook cannot come from a command line", {"SetBasicHook"}, 2, "is not an export", true},
        {"a getter given a value", {"GetSTChannel", "5"}, 2, "takes no argument, not 1", true},
        {"a setter without its value", {"SetSTChannel"}, 2, "takes one argument, not 0", true},
        {"a setter given two", {"SetSTChannel", "5", "6"}, 2, "takes one argument, not 2", true},
        {"not a number", {"SetSTChannel", "12x"}, 2, "\"12x\" is not a whole number", true},
        {"negative seconds", {"SetSTTxInterval", "-5"}, 2, "whole number of seconds", true},
        {"not a boolean", {"EnableRandom", "maybe"}, 2, "\"maybe\" is not true or false", true},
        {"a module not loaded",
         {"SetSTChannel", "5", "--module", "Nosuch"},
         2,
         "no loaded plug-in named Nosuch exports \"SetSTChannel\"",
         true},
        {"no export named", {}, 2, "call: expected a setup file and an export", false},
        {"unknown option", {"SetSTChannel", "5", "--fast"}, 2, "call: unknown option", false},
    };
    Station station;
    const ino_t inode = station.Inode();
    for (const auto& row : rows) {
        SCOPED_TRACE(row.legend);
        std::vector<std::string> args = row.args;
        args.push_back("--save");
        const Result r = Call(station.Path(), args);
        EXPECT_EQ(r.status, row.status);
        EXPECT_THAT(r.err, StartsWith("tarvo: "));
        EXPECT_THAT(r.err, HasSubstr(row.says));
        if (row.listsOffers) {
            EXPECT_THAT(r.err, HasSubstr("libcorvane.so (Corvane) offers:\n"));
            EXPECT_THAT(r.err, HasSubstr("\n  SetSTTxInterval SECONDS\n"));
            EXPECT_THAT(r.err, HasSubstr("\n  GetCorvaneStatus -> TEXT\n"));
        }
        EXPECT_EQ(r.out, "");
        EXPECT_EQ(station.Text(), station.original);
        EXPECT_EQ(station.Inode(), inode) << "the file was written";
    }
    const Result missing = Call(station.dir.File("none.xml"), {"GetSTChannel"});
    EXPECT_EQ(missing.status, 1);
    EXPECT_THAT(missing.err, HasSubstr("none.xml"));
}

TEST(TarvoCall, HelpTellsHowToCallAnExport) {
    const Result r = Tarvo({"--help"});
    for (const char* item : {"tarvo call SETUP EXPORT [ARG...]", "--save", "--module NAME",
                             "GetCorvaneStatus --serial COM2:=/dev/ttyUSB0"}) {
        EXPECT_THAT(r.out, HasSubstr(item));
    }
}

// A simulated day with a second plug-in that hooks both messengers through SetBasicHook: every
// message the transmitter sends is the hook's, the self-timed ones and the random ones alike.
TEST(MessageHooks, EveryMessageOfASimulatedDayIsTheHooks) {
    Station station;
    const Result r = Tarvo({"run", station.Path(), "--for", "24h", "--start", "2026-03-01 00:00:00",
                            "--plugin", CORVANE_PLUGIN_PATH, "--plugin", HOOK_PLUGIN_PATH},
                           station.dir.Path());
    ASSERT_EQ(r.status, 0) << r.err;
    int selfTimed = 0;
    int random = 0;
    for (const std::string& line : Lines(r.out)) {
        if (line.find("  self-timed  ") != std::string::npos) {
            ++selfTimed;
            EXPECT_THAT(line, HasSubstr("sent \"HOOKED SELF-TIMED 0\""));
        } else if (line.find("  random  ") != std::string::npos) {
            ++random;
            EXPECT_THAT(line, HasSubstr("sent \"HOOKED RANDOM 2\""));
        }
    }
    EXPECT_EQ(selfTimed, 24) << r.out;
    EXPECT_GE(random, 1) << r.out;
}

}  // namespace
