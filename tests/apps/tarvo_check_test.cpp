// `tarvo check` run as a child process on small setups made to break one rule each, the airtime
// figures at their boundaries, and its widest-message prediction against the messages a
// simulated day of a station at its widest readings actually carries.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "apps/tarvo/airtime.h"
#include "apps/tarvo/day_plan.h"
#include "tests/apps/support/child_process.h"

namespace {

using tarvo::runner::BitRate;
using tarvo::runner::FitsWindow;
using tarvo::runner::MostBytesInWindow;
using tarvo::testing::Child;
using tarvo::testing::TempDir;
using ::testing::HasSubstr;
using ::testing::Not;

struct Result {
    int status;
    std::string out;
    std::string err;
};

Result Tarvo(const std::vector<std::string>& args, const std::string& cwd) {
    Child child(TARVO_PROGRAM, args, cwd);
    const int status = child.Finish();
    return {status, child.out, child.err};
}

// A station that records cleanly; each line's number is what the problems name.
const std::string kClean = R"(<TarvoSetup>
    <Blocks>
        <Block Type = "Source" Name = "Stage" Mode = "Constant" Value = "2.5" Interval = "00:15:00" RightDigits = "2" />
        <Block Type = "SelfTimed" Name = "StageTx" Label = "HG" NumVals = "4" Sequence = "1" Offset = "00:00:00" Interval = "00:15:00" />
        <Block Type = "SelfTimed" Name = "StageHourTx" Label = "HH" NumVals = "1" Sequence = "2" Offset = "00:00:00" Interval = "01:00:00" />
        <Block Type = "RndGroup" Name = "StageAlarm" Group = "2" Label = "HG" Interval = "00:15:00" Offset = "00:00:00" />
        <Block Type = "Random" Name = "StageRandom" GroupMap = "1" Sequence = "1" NumVals = "1" />
        <Block Type = "Random" Name = "StageRandom2" GroupMap = "1" Sequence = "2" NumVals = "1" />
        <Connection From = "Stage" To = "StageTx" />
        <Connection From = "Stage" To = "StageHourTx" />
    </Blocks>
    <Corvane>
        <Common Port = "0" SatID = "3A51C2F4" InitCorvane = "1" LTO = "0" />
        <SelfTimed Enabled = "1" Channel = "151" Type = "0" Format = "SHEF" Time = "00:05:00" Rate = "01:00:00" WinLen = "00:00:10" NumVals = "4" SatID2 = "00000000" SCDChannel = "1" />
        <Random Enabled = "1" Channel = "77" NormRate = "12:00:00" AlarmRate = "01:00:00" Type = "1" BurstCount = "3" BurstRate = "00:01:00" Format = "0" NumVals = "1" />
    </Corvane>
</TarvoSetup>
)";

// Line 10 of kClean, where a row may put a block of its own without moving the others.
const std::string kSpareLine = R"(<Connection From = "Stage" To = "StageHourTx" />)";

std::string Replaced(std::string text, const std::string& from, const std::string& to) {
    const auto at = text.find(from);
    EXPECT_NE(at, std::string::npos) << from;
    return at == std::string::npos ? text : text.replace(at, from.size(), to);
}

TEST(TarvoCheck, ACleanSetupPassesWithExitStatusZero) {
    TempDir dir;
    dir.Write("station.xml", kClean);
    const Result r = Tarvo({"check", "station.xml"}, dir.Path());
    EXPECT_EQ(r.status, 0) << r.out << r.err;
    EXPECT_THAT(r.out, HasSubstr("station.xml: recording start accepts it"));
    EXPECT_THAT(r.out, Not(HasSubstr("station.xml:1")));
}

TEST(TarvoCheck, EveryExampleIsClean) {
    std::vector<std::string> args = {"check"};
    for (const auto& entry : std::filesystem::directory_iterator(EXAMPLES_DIR)) {
        if (entry.path().extension() == ".xml")
            args.push_back(entry.path().string());
    }
    ASSERT_GT(args.size(), 1u);
    TempDir dir;
    const Result r = Tarvo(args, dir.Path());
    EXPECT_EQ(r.status, 0) << r.out << r.err;
}

struct BrokenRule {
    const char* name;
    std::string from;
    std::string to;
    int line;
    const char* says;
};

void PrintTo(const BrokenRule& rule, std::ostream* os) {
    *os << rule.name;
}

class TarvoCheckRule : public ::testing::TestWithParam<BrokenRule> {};

TEST_P(TarvoCheckRule, IsFoundAtItsLineWithWhatIsExpected) {
    const BrokenRule& rule = GetParam();
    TempDir dir;
    dir.Write("station.xml", Replaced(kClean, rule.from, rule.to));
    const Result r = Tarvo({"check", "station.xml"}, dir.Path());
    EXPECT_EQ(r.status, 1) << r.out << r.err;
    EXPECT_THAT(r.out, HasSubstr("station.xml:" + std::to_string(rule.line) + ": " + rule.says))
        << r.out;
}

const std::string kExtraRandom =
    R"(<Block Type = "Random" Name = "Extra" GroupMap = "1" Sequence = "1" NumVals = "1" /> )";

INSTANTIATE_TEST_SUITE_P(
    OneEach, TarvoCheckRule,
    ::testing::Values(
        BrokenRule{"SelfTimedSequencesOverlap", R"(NumVals = "1" Sequence = "2")",
                   R"(NumVals = "1" Sequence = "1")", 5,
                   "recording start refuses: \"SelfTimed sequences overlap\", expected a "
                   "Sequence of its own"},
        BrokenRule{"RandomSequencesOverlap", kSpareLine, kExtraRandom + kSpareLine, 10,
                   "recording start refuses: \"Random sequences overlap in group 2\""},
        BrokenRule{"RandomGroupBlockMissing", R"(GroupMap = "1" Sequence = "1")",
                   R"(GroupMap = "0,1" Sequence = "1")", 7,
                   "recording start refuses: \"Random group block missing for group 3\", "
                   "expected an enabled RndGroup block with Group 3"},
        BrokenRule{"RandomParamBlocksMissing", kSpareLine,
                   R"(<Block Type = "RndGroup" Name = "Lone" Group = "4" /> )" + kSpareLine, 10,
                   "recording start refuses: \"Random param blocks missing for group 4\""},
        BrokenRule{
            "RndGroupDuplicatesDisagree", kSpareLine,
            R"(<Block Type = "RndGroup" Name = "Twin" Group = "2" Label = "XX" /> )" + kSpareLine,
            10, "recording start refuses: \"DTime, DInter, or Label differ for group 2\""},
        BrokenRule{"SatelliteIdOfSevenCharacters", R"(SatID = "3A51C2F4")", R"(SatID = "3A51C2F")",
                   13, "Common SatID is \"3A51C2F\", expected 8 hexadecimal characters"},
        BrokenRule{"SecondaryIdNotHexadecimal", R"(SatID2 = "00000000")", R"(SatID2 = "0000000G")",
                   14, "SelfTimed SatID2 is \"0000000G\", expected 8 hexadecimal characters"},
        BrokenRule{"SelfTimedChannel", R"(Channel = "151")", R"(Channel = "1000")", 14,
                   "SelfTimed Channel is 1000, expected an integer between 1 and 999"},
        BrokenRule{"SelfTimedNumVals", R"(WinLen = "00:00:10" NumVals = "4")",
                   R"(WinLen = "00:00:10" NumVals = "100")", 14,
                   "SelfTimed NumVals is 100, expected an integer between 1 and 99"},
        BrokenRule{"ScdChannel", R"(SCDChannel = "1")", R"(SCDChannel = "21")", 14,
                   "SelfTimed SCDChannel is 21, expected an integer between 1 and 20"},
        BrokenRule{"TimeTextValidateTimeRefuses", R"(Time = "00:05:00")", R"(Time = "0:05:00")", 14,
                   "SelfTimed Time is \"0:05:00\", expected a time \"HH:MM:SS\""},
        BrokenRule{"RandomChannel", R"(Channel = "77")", R"(Channel = "0")", 15,
                   "Random Channel is 0, expected an integer between 1 and 999"},
        BrokenRule{"BurstCount", R"(BurstCount = "3")", R"(BurstCount = "201")", 15,
                   "Random BurstCount is 201, expected an integer between 1 and 200"},
        BrokenRule{
            "RndGroupNumber", R"(Group = "2")", R"(Group = "10")", 6,
            "RndGroup block \"StageAlarm\" Group is 10, expected an integer between 2 and 9"},
        BrokenRule{"RndGroupIntervalZero", R"(Label = "HG" Interval = "00:15:00")",
                   R"(Label = "HG" Interval = "00:00:00")", 6,
                   "RndGroup block \"StageAlarm\" Interval is \"00:00:00\", expected a data "
                   "interval greater than 0"},
        BrokenRule{"SelfTimedOffsetAfterInterval",
                   R"(Sequence = "1" Offset = "00:00:00" Interval = "00:15:00")",
                   R"(Sequence = "1" Offset = "00:20:00" Interval = "00:15:00")", 4,
                   "SelfTimed block \"StageTx\" Offset \"00:20:00\" is after its Interval"},
        BrokenRule{"WidestMessageOverflowsItsWindow", R"(Label = "HG" NumVals = "4")",
                   R"(Label = "HG" NumVals = "40")", 14,
                   "the widest self-timed message, 433 bytes, takes 12.46 s at 300 bps, longer "
                   "than the 10 s window, expected at most 340 bytes"}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(TarvoCheck, AnOlderSetupsFormatNumberIsNotedWithTheModulesConversion) {
    TempDir dir;
    dir.Write("station.xml", Replaced(kClean, R"(Format = "SHEF")", R"(Format = "6")"));
    const Result r = Tarvo({"check", "station.xml", "--json"}, dir.Path());
    EXPECT_EQ(r.status, 0) << r.out << r.err;
    EXPECT_THAT(r.out, HasSubstr("{\"line\":14,\"text\":\"SelfTimed Format \\\"6\\\" is an older "
                                 "setup's number (\\\"Converting format int 6 to string "
                                 "NFDRS\\\")"));
    EXPECT_THAT(r.out, HasSubstr("\"format\":\"NFDRS\""));
}

struct AirtimeRow {
    const char* name;
    BitRate rate;
    long window;
    int most;
};

void PrintTo(const AirtimeRow& row, std::ostream* os) {
    *os << row.name;
}

class AirtimeBoundary : public ::testing::TestWithParam<AirtimeRow> {};

TEST_P(AirtimeBoundary, TheWindowHoldsExactlyItsLargestMessage) {
    const AirtimeRow& row = GetParam();
    EXPECT_EQ(MostBytesInWindow(row.rate, row.window), row.most);
    EXPECT_TRUE(FitsWindow(row.rate, row.most, row.window));
    EXPECT_FALSE(FitsWindow(row.rate, row.most + 1, row.window));
}

INSTANTIATE_TEST_SUITE_P(
    PublicFigures, AirtimeBoundary,
    ::testing::Values(AirtimeRow{"TenSecondsAt300", BitRate::Bps300, 10, 340},
                      AirtimeRow{"TenSecondsAt1200", BitRate::Bps1200, 10, 1444},
                      AirtimeRow{"FiveSecondsAt300", BitRate::Bps300, 5, 153},
                      AirtimeRow{"FiveSecondsAt1200", BitRate::Bps1200, 5, 694},
                      AirtimeRow{"MinuteAt300", BitRate::Bps300, 60, 2215},
                      AirtimeRow{"MinuteAt1200", BitRate::Bps1200, 60, 8944}),
    [](const auto& info) { return std::string(info.param.name); });

struct AlarmDayRow {
    const char* name;
    long burstCount;
    long burstSeconds;
    long alarmSeconds;
    int transmissions;
};

void PrintTo(const AlarmDayRow& row, std::ostream* os) {
    *os << row.name;
}

class AlarmDay : public ::testing::TestWithParam<AlarmDayRow> {};

TEST_P(AlarmDay, CountsTheBurstsThenTheAlarmRateForTheRestOfTheDay) {
    const AlarmDayRow& row = GetParam();
    EXPECT_EQ(
        tarvo::runner::AlarmDayTransmissions(row.burstCount, row.burstSeconds, row.alarmSeconds),
        row.transmissions);
}

INSTANTIATE_TEST_SUITE_P(Cadences, AlarmDay,
                         ::testing::Values(
                             // Bursts at 00:00, 00:01, 00:02; then hourly from 01:02 to 23:02.
                             AlarmDayRow{"ThreeBurstsAMinuteApartThenHourly", 3, 60, 3600, 26},
                             // 00:00, then hourly to 23:00.
                             AlarmDayRow{"OneBurstThenHourly", 1, 60, 3600, 24},
                             // A count past the page's 200 is planned as 200: 00:00:00 to
                             // 00:03:19, then hourly from 01:03:19 to 23:03:19.
                             AlarmDayRow{"ABurstCountPastItsRangeIsPlannedAsTwoHundred",
                                         100000000000000000, 1, 3600, 223},
                             // 200 bursts ten minutes apart would outlast the day: 00:00 to 23:50.
                             AlarmDayRow{"BurstsLongerThanTheDay", 200, 600, 3600, 144},
                             // The last one at the alarm rate falls just before midnight.
                             AlarmDayRow{"LastOneJustBeforeMidnight", 2, 60, 1439, 61}),
                         [](const auto& info) { return std::string(info.param.name); });

// A station whose readings are as wide as the prediction allows: five whole digits and a sign.
std::string WidestStation(const std::string& format) {
    return R"(<TarvoSetup>
    <Blocks>
        <Block Type = "Source" Name = "Stage" Mode = "Constant" Value = "-99999.999" Interval = "00:15:00" RightDigits = "3" />
        <Block Type = "Source" Name = "Rain" Mode = "Constant" Value = "-99999" Interval = "00:05:00" RightDigits = "0" />
        <Block Type = "SelfTimed" Name = "StageTx" Label = "PCH" NumVals = "6" Sequence = "1" Offset = "00:00:00" Interval = "00:15:00" />
        <Block Type = "SelfTimed" Name = "RainTx" Label = "PC" NumVals = "3" Sequence = "2" Offset = "00:00:00" Interval = "00:05:00" UseCalcTime = "1" />
        <Block Type = "RndGroup" Name = "StageAlarm" Group = "2" Label = "HGX" Interval = "00:15:00" Offset = "00:00:00" />
        <Block Type = "Random" Name = "StageRandom" GroupMap = "1" Sequence = "1" NumVals = "3" />
        <Block Type = "Random" Name = "RainRandom" GroupMap = "1" Sequence = "2" NumVals = "2" />
        <Connection From = "Stage" To = "StageTx" />
        <Connection From = "Rain" To = "RainTx" />
        <Connection From = "Stage" To = "StageAlarm" />
        <Connection From = "Stage" To = "StageRandom" />
        <Connection From = "Rain" To = "RainRandom" />
    </Blocks>
    <Corvane>
        <Common Port = "0" SatID = "3A51C2F4" InitCorvane = "1" LTO = "0" />
        <SelfTimed Enabled = "1" Channel = "151" Type = "1" Format = ")" +
           format + R"(" Time = "00:05:00" Rate = "01:00:00" WinLen = "00:00:10" NumVals = "6" />
        <Random Enabled = "1" Channel = "77" NormRate = "01:00:00" AlarmRate = "01:00:00" Type = "2" BurstCount = "3" BurstRate = "00:01:00" Format = ")" +
           (format == "Bin Int" ? "0" : "1") + R"(" NumVals = "3" />
    </Corvane>
</TarvoSetup>
)";
}

// The longest message of a kind in a transcript's downlink entries.
std::size_t LongestSent(const std::string& transcript, const std::string& kind) {
    const std::regex entry("\"log\":\"downlink\".*\"kind\":\"" + kind +
                           "\",\"sent\":true.*?\"bytes\":\"([0-9a-f]*)\"");
    std::size_t longest = 0;
    std::istringstream lines(transcript);
    for (std::string line; std::getline(lines, line);) {
        std::smatch m;
        if (std::regex_search(line, m, entry))
            longest = std::max(longest, static_cast<std::size_t>(m[1].length()) / 2);
    }
    return longest;
}

int Predicted(const std::string& json, const std::string& field) {
    std::smatch m;
    return std::regex_search(json, m, std::regex(field + "\":(\\d+)")) ? std::stoi(m[1]) : -1;
}

std::string FileText(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

constexpr const char* kNosWithoutRoom = "NOS with no room for its redundant blocks";

// The tide-station example with every source a constant far beyond any field's range, beside a
// copy of its NOS format table. It transmits self-timed messages only. Without room, its 56
// characters get a window of 50 (5 s at 100 bps), which the formatter fills by dropping both
// redundant blocks.
void WriteWidestTideStation(const TempDir& dir, bool withoutRoom) {
    const std::filesystem::path example = std::filesystem::path(EXAMPLES_DIR) / "tide-station";
    const std::regex source(R"(Mode = "\w+" [^>]*?Interval = )");
    std::string setup = std::regex_replace(FileText(example / "tide-station.xml"), source,
                                           R"(Mode = "Constant" Value = "99999.999" Interval = )");
    if (withoutRoom)
        setup = std::regex_replace(setup, std::regex(R"(Type = "0"(.*)WinLen = "00:00:10")"),
                                   R"(Type = "2"$1WinLen = "00:00:05")");
    dir.Write("station.xml", setup);
    std::filesystem::create_directory(dir.File("flash-disk"));
    dir.Write("flash-disk/NOSGOESFormat.txt", FileText(example / "flash-disk/NOSGOESFormat.txt"));
}

class WidestMessage : public ::testing::TestWithParam<std::string> {};

TEST_P(WidestMessage, ASimulatedDayNeverExceedsThePredictionNorFallsTenPercentShortOfIt) {
    TempDir dir;
    const bool tideStation = GetParam() == "NOS" || GetParam() == kNosWithoutRoom;
    if (tideStation)
        WriteWidestTideStation(dir, GetParam() == kNosWithoutRoom);
    else
        dir.Write("station.xml", WidestStation(GetParam()));
    const Result check = Tarvo({"check", "station.xml", "--json"}, dir.Path());
    ASSERT_EQ(check.status, 0) << check.out << check.err;
    const Result run = Tarvo({"run", "station.xml", "--for", "24h", "--start",
                              "2026-03-01 00:00:00", "--transcript", "line.jsonl"},
                             dir.Path());
    ASSERT_EQ(run.status, 0) << run.err;
    const std::string transcript = dir.Read("line.jsonl");
    const struct {
        const char* kind;
        const char* field;
    } messages[] = {{"self-timed", "widestBytes"}, {"random", "\"groups\":.*widestBytes"}};
    for (const auto& m : messages) {
        if (tideStation && std::string(m.kind) == "random")
            continue;
        const std::size_t longest = LongestSent(transcript, m.kind);
        const int predicted = Predicted(check.out, m.field);
        ASSERT_GT(longest, 0u) << m.kind;
        EXPECT_LE(longest, static_cast<std::size_t>(predicted)) << m.kind;
        EXPECT_LE(predicted, longest * 1.1) << m.kind << ": longest built " << longest;
    }
}

INSTANTIATE_TEST_SUITE_P(BuiltFormats, WidestMessage,
                         ::testing::Values("SHEF", "SHEF Fixed", "Bin Int", "Bin Non-Int", "NOS",
                                           kNosWithoutRoom, "NFDRS", "INSAT", "Handar"),
                         [](const auto& info) {
                             std::string name = info.param;
                             std::erase_if(name, [](char c) { return c == ' ' || c == '-'; });
                             return name;
                         });

TEST(TarvoCheck, ANosMessageTooLongForItsWindowIsNotedWithTheRedundantBlocksItLoses) {
    TempDir dir;
    WriteWidestTideStation(dir, true);
    const Result r = Tarvo({"check", "station.xml"}, dir.Path());
    EXPECT_EQ(r.status, 0) << r.out << r.err;
    EXPECT_THAT(r.out, HasSubstr("station.xml:49: note: the widest NOS message: 56 characters do "
                                 "not fit the 50 the formatter allows the 5 s window; the "
                                 "redundant blocks dropped: '>' 1 of table line 2, '\"' 1 of "
                                 "table line 3\n"));
    EXPECT_THAT(r.out, HasSubstr("widest message 48 bytes"));
}

TEST(TarvoCheck, ANosStationWithoutItsFormatTableIsAProblemAtItsFormat) {
    TempDir dir;
    WriteWidestTideStation(dir, false);
    std::filesystem::remove(dir.File("flash-disk/NOSGOESFormat.txt"));
    const Result r = Tarvo({"check", "station.xml"}, dir.Path());
    EXPECT_EQ(r.status, 1) << r.out << r.err;
    EXPECT_THAT(r.out, HasSubstr("station.xml:49: NOS: no message is made from "
                                 "./flash-disk/NOSGOESFormat.txt, expected a NOS format table of "
                                 "type P or N with at least one line\n"));
    EXPECT_THAT(r.out, Not(HasSubstr("not predicted (no formatter")));
}

}  // namespace
