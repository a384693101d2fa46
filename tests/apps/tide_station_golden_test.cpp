// The NOS tide-station example's simulated day: tarvo run's whole report as a golden file, every
// message of the day read back by the receivers' decoder against the CSV levels that went in,
// and the text report of the last message through tarvo call. Rebuild the golden file with
// CORVANE_UPDATE_GOLDEN=1 after a deliberate change and explain the diff in the commit.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "tests/apps/support/child_process.h"
#include "tests/corvane/support/nos_decoder.h"

namespace {

using corvanetest::Maybe;
using corvanetest::NosDecoded;
using tarvo::testing::Child;
using tarvo::testing::TempDir;

constexpr const char* kScenario =
    "# examples/tide-station/tide-station.xml (NOS 6-minute messages, hourly) for one simulated "
    "day from 2026-03-01 11:58:30, the transmitter simulated in process: tarvo run's report\n";
constexpr const char* kStart = "2026-03-01 11:58:30";

// The example copied into a scratch folder, so that its Recent.dat lands there.
struct Station {
    Station() {
        std::filesystem::copy(EXAMPLES_DIR "/tide-station", dir.File("tide-station"),
                              std::filesystem::copy_options::recursive);
    }
    std::string Setup() const { return dir.File("tide-station/tide-station.xml"); }
    std::string RunDay() const {
        Child tarvo(TARVO_PROGRAM, {"run", Setup(), "--for", "24h", "--start", kStart}, dir.Path());
        EXPECT_EQ(tarvo.Finish(), 0) << tarvo.err;
        return tarvo.out;
    }
    TempDir dir;
};

// The levels of a CSV file of the example in millimetres, by time of day; none for NODATA.
std::map<std::string, Maybe> Levels(const std::string& file) {
    std::map<std::string, Maybe> levels;
    std::ifstream in(std::string(EXAMPLES_DIR "/tide-station/") + file);
    std::string line;
    std::getline(in, line);  // the header
    while (std::getline(in, line)) {
        const std::string time = line.substr(0, 8), value = line.substr(9);
        levels[time] = value == "NODATA" ? Maybe() : Maybe(std::lround(std::stod(value) * 1000));
    }
    return levels;
}

struct Sent {
    std::string when;  // "YYYY-MM-DD HH:MM:SS" of the downlink entry
    std::string text;
};

// The self-timed messages of the report's downlink log, their escapes undone.
std::vector<Sent> SentMessages(const std::string& report) {
    std::vector<Sent> sent;
    std::istringstream in(report);
    for (std::string line; std::getline(in, line);) {
        const std::size_t quote = line.find("sent \"");
        if (line.find("self-timed") == std::string::npos || quote == std::string::npos)
            continue;
        std::string text;
        for (std::size_t i = quote + 6; i + 1 < line.size(); ++i)
            text += line[i] == '\\' ? line[++i] : line[i];
        sent.push_back({line.substr(2, 19), text});
    }
    return sent;
}

std::string Clock(int hour, int minute) {
    char text[16];
    std::snprintf(text, sizeof text, "%02d:%02d:00", (hour + 24) % 24, minute);
    return text;
}

TEST(TideStationGolden, ADayOfHourlyWindowsCarriesTheExpectedMessages) {
    const std::string report = kScenario + Station().RunDay();
    const std::string path = std::string(APPS_GOLDEN_DIR) + "/tide-station-day.txt";
    if (std::getenv("CORVANE_UPDATE_GOLDEN") != nullptr) {
        std::ofstream(path, std::ios::binary) << report;
        GTEST_SKIP() << "rebuilt " << path;
    }
    std::stringstream golden;
    golden << std::ifstream(path, std::ios::binary).rdbuf();
    EXPECT_EQ(report, golden.str()) << "(rebuild with CORVANE_UPDATE_GOLDEN=1)";
}

TEST(TideStationGolden, EveryMessageOfTheDayDecodesToTheLevelsThatWentIn) {
    const std::map<std::string, Maybe> primary = Levels("primary-level.csv");
    const std::map<std::string, Maybe> backup = Levels("backup-level.csv");
    const std::vector<Sent> sent = SentMessages(Station().RunDay());
    ASSERT_EQ(sent.size(), 24u) << "one message a window";
    for (const Sent& s : sent) {
        SCOPED_TRACE(s.when + " " + s.text);
        NosDecoded d;
        std::string error;
        ASSERT_TRUE(corvanetest::NosDecoder::Decode(s.text, d, error)) << error;
        const int hour = std::stoi(s.when.substr(11, 2));
        EXPECT_EQ(d.station, "9999926");
        EXPECT_EQ(d.hour, hour);
        EXPECT_EQ(d.minute, 0);
        EXPECT_EQ(d.day, s.when < "2026-03-02" ? 2747 : 2748);
        // The recording starts at 11:58:30: the 11:54 readings were never taken.
        const bool firstHour = s.when < "2026-03-01 12:30";
        const auto earlier = [&](const std::map<std::string, Maybe>& levels) {
            return firstHour ? Maybe() : levels.at(Clock(hour - 1, 54));
        };
        const auto* level = d.Find('1');
        const auto* redundant = d.Find('>');
        const auto* second = d.Find('2');
        const auto* secondRedundant = d.Find('"');
        ASSERT_TRUE(level && redundant && second && secondRedundant);
        EXPECT_EQ(level->samples[0].level, primary.at(Clock(hour, 0)));
        EXPECT_EQ(redundant->samples[0].level, earlier(primary)) << "6 minutes earlier";
        EXPECT_EQ(second->samples[0].level, backup.at(Clock(hour, 0)));
        EXPECT_EQ(secondRedundant->samples[0].level, earlier(backup));
        EXPECT_TRUE(level->samples[0].sigma && level->samples[0].temperature1);
    }
}

TEST(TideStationGolden, TarvoCallPrintsTheReportOfTheLastMessage) {
    const Station station;
    station.RunDay();
    Child call(TARVO_PROGRAM, {"call", station.Setup(), "GetReportString"}, station.dir.Path());
    ASSERT_EQ(call.Finish(), 0) << call.err;
    EXPECT_THAT(call.out, ::testing::StartsWith("NOS REPORT\r\nTime"));
    EXPECT_THAT(call.out, ::testing::HasSubstr("\r\n2026-03-02 11:00:00  WL1         1.407 m\r\n"));
    EXPECT_THAT(call.out,
                ::testing::HasSubstr("\r\n2026-03-02 11:00:00  TW          14.4 degC\r\n"));
    EXPECT_THAT(call.out, ::testing::EndsWith("\r\nREPORT COMPLETE\r\n"));
}

}  // namespace
