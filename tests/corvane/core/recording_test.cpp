// Recording start and stop against the simulated transmitter, in virtual time.
//
// Each start/stop scenario's line transcript (logger time, direction, packet number, type code,
// payload) is compared exactly with tests/corvane/core/golden/<name>.jsonl, whose first line says
// the scenario ({"scenario":"..."}). After a deliberate change to
// what goes over the line, rebuild them with
//     CORVANE_UPDATE_GOLDEN=1 build/<dir>/tests/corvane_recording_test
// and review the diff before committing it. The requests that matter are also asserted here
// directly, as "type:payload" texts, so a golden file rebuilt from a wrong sequence still fails.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cctype>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <optional>
#include <ostream>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "corvane/core/corvane.h"
#include "corvane/core/device.h"
#include "corvane/core/exports.h"
#include "corvane/selftimed/self_timed_block.h"
#include "host/clock/clock.h"
#include "host/dialogs/dialogs.h"
#include "host/log/report_sinks.h"
#include "platform/clock.h"
#include "sim/faces/in_process_transmitter.h"
#include "sim/model/calendar.h"
#include "sim/model/records.h"

namespace {

using tarvo::sim::Direction;
using tarvo::sim::Fault;
using tarvo::sim::FaultKind;
using tarvo::sim::InProcessTransmitter;
using tarvo::sim::TranscriptEntry;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

const TTime kStart(2024, 3, 1, 12, 0, 0);
const Fault kSilent(FaultKind::Silence, std::nullopt, tarvo::sim::kEveryTime);

// The operator texts as they must read, byte for byte (index = report code).
const std::wstring kReportTexts[] = {
    L"",
    L"A failure occurred trying to communicate with Corvane on recording start. Please check "
    L"connections. If a Corvane is connected, it may not be properly configured.",
    L"Corvane rejected commands while trying to update its configuration on recording start. "
    L"Make sure Corvane's Master Switch is off and that no transmission is in progress. ",
    L"Corvane rejected commands while trying to update its configuration on recording stop. "
    L"Corvane may still be transmitting.",
    L"Tarvo was unable to obtain a valid time from Corvane for clock synchronization. This may "
    L"be due to a problem in the connection to Corvane, or the time in Corvane may need to be "
    L"set.",
    L"A failure occurred trying to disable Corvane transmissions on recording stop. Please check "
    L"connections. If a Corvane is connected, it may not be properly configured.",
    L"Corvane rejected the Master Start command for the following reason: ",
};

// The Warning that goes with each report code (none without a report).
const char* const kReportWarnings[] = {
    "",
    "Failed communicating with Corvane on recording start.",
    "Corvane rejected commands on recording start.",
    "Corvane rejected commands on engine stop.",
    "Failed to synchronize clock on engine start.",
    "Failed commanding Corvane to stop/disable.",
    "Corvane rejected start command.",
};

// The requests of a fresh setup with SatID 12345678 and LTO -5, in parts.
const std::string kHead = "506:01 771: 200:00 300:00 338:00 40:12345678 37:fffb 35: ";
const std::string kUpload =
    "202:0097 206:00000000 204:00040000 208:012c 212:00000100 214:01 223:00 225:00 ";
const std::string kPush = "302:0097 306:0064 318:00 320:00 304:00000000 310:01 ";
const std::string kFullStart = kHead + kUpload + "42:ffffffff 232:00 " + kPush + "200:01 770:";
const std::string kStop = "771: 200:00 300:00 338:00";

// The requests in transcript entries [from, to) as "type:payload" texts.
std::string Requests(const std::vector<TranscriptEntry>& transcript, std::size_t from = 0,
                     std::size_t to = SIZE_MAX) {
    std::string text;
    for (std::size_t i = from; i < transcript.size() && i < to; ++i) {
        if (transcript[i].direction == Direction::Request) {
            text += (text.empty() ? "" : " ") + std::to_string(transcript[i].type) + ":" +
                    tarvo::sim::ToHex(transcript[i].payload);
        }
    }
    return text;
}

std::string GoldenLine(const TranscriptEntry& e) {
    std::string line = "{\"time\":\"" + tarvo::sim::IsoTime(e.loggerMs) + "\",\"dir\":\"" +
                       tarvo::sim::DirectionName(e.direction) + "\"";
    if (e.direction == Direction::Request || e.direction == Direction::Reply) {
        line += ",\"number\":" + std::to_string(e.number) + ",\"type\":" + std::to_string(e.type);
    }
    return line + ",\"payload\":\"" + tarvo::sim::ToHex(e.payload) + "\"}";
}

// `scenario` opens the file, so that a reader of the golden file alone knows what it shows.
void CompareWithGolden(const std::string& name, const std::string& scenario,
                       const std::vector<TranscriptEntry>& transcript) {
    const std::string path = std::string(CORVANE_GOLDEN_DIR) + "/" + name + ".jsonl";
    std::string actual = "{\"scenario\":\"" + scenario + "\"}\n";
    for (const TranscriptEntry& e : transcript) {
        actual += GoldenLine(e) + "\n";
    }
    const char* update = std::getenv("CORVANE_UPDATE_GOLDEN");
    if (update != nullptr && std::string(update) == "1") {
        ASSERT_TRUE((std::ofstream(path, std::ios::trunc) << actual).good())
            << "cannot write " << path;
        return;
    }
    std::ifstream in(path);
    ASSERT_TRUE(in.good()) << "no golden file " << path
                           << " (rebuild with CORVANE_UPDATE_GOLDEN=1)";
    std::istringstream got(actual);
    std::string golden, line;
    for (int n = 1; std::getline(in, golden); ++n) {
        line.clear();
        std::getline(got, line);
        ASSERT_EQ(line, golden) << name << ", line " << n;
    }
    EXPECT_FALSE(std::getline(got, line)) << name << " goes on beyond its golden file";
}

// One transmitter on Port 0, one device, one virtual clock.
struct Bench {
    Bench() {
        corvane.InitSetup();
        corvane.SatID = L"12345678";
        corvane.LTO = -5;
    }
    SelfTimedSettings& St() { return corvane.SelfTimed().Settings(); }
    RandomSettings& Rt() { return corvane.Random().Settings(); }
    // Whether recording runs, and the self-timed and random messenger threads: "RST" for all.
    std::string Running() {
        return std::string(corvane.IsRunning() ? "R" : "-") +
               (corvane.SelfTimed().IsThreadRunning() ? "S" : "-") +
               (corvane.Random().IsThreadRunning() ? "T" : "-");
    }
    std::size_t DebugCount(const char* text) const { return log.Count(TReportLevel::Debug, text); }
    // The warnings, less the random messenger's own about running without RndGroup blocks,
    // which it gives only if its thread gets to run before the stop, and the NOS format's about
    // the table that this bench's flash disk does not hold.
    std::vector<std::string> Warnings() const {
        std::vector<std::string> logged = log.Texts(TReportLevel::Warning);
        std::erase(logged, "No random groups are active.");
        std::erase(logged, "NOS Format: Format table missing or empty");
        return logged;
    }
    // A start and a stop that report nothing: the start's requests, the stop's, and what ran
    // between them.
    std::array<std::string, 3> StartAndStop() {
        EXPECT_EQ(corvane.RecordingStart(), L"");
        const std::size_t started = sim.Transcript().size();
        const std::string running = Running();
        EXPECT_EQ(corvane.RecordingStop(), L"");
        EXPECT_EQ(Running(), "---");
        EXPECT_TRUE(Warnings().empty());
        return {Requests(sim.Transcript(), 0, started), Requests(sim.Transcript(), started),
                running};
    }

    tarvo::host::ScopedVirtualClock clock{kStart};
    tarvo::host::LogCapture log;
    InProcessTransmitter sim{L"COM2:"};
    CCorvane corvane;
};

// A row's name names its case. The rows named here compare their whole transcript with their
// golden file, the rest their requests only: one golden file a distinct behaviour.
bool HasGolden(const std::string& name) {
    static const std::set<std::string> kGoldenFiles = {"st_type0_shef",
                                                       "st_type4_insat_id2",
                                                       "st_type9",
                                                       "st_type12_antenna2",
                                                       "st_format_bin_int",
                                                       "st_format_nos",
                                                       "rt_only_type8",
                                                       "both_rt_type4",
                                                       "both_defaults",
                                                       "fail_start_200_refused",
                                                       "fail_silent",
                                                       "fail_start_40_silent",
                                                       "fail_start_35_silent",
                                                       "fail_start_770_refused",
                                                       "start_770_unknown",
                                                       "fail_start_invalid_time",
                                                       "fail_stop_200_refused",
                                                       "start_506_refused_unchecked",
                                                       "stop_771_refused_unchecked"};
    return kGoldenFiles.count(name) != 0;
}

std::string CaseName(const std::string& name) {
    std::string out = name;
    for (char& c : out)
        if (!std::isalnum(static_cast<unsigned char>(c)))
            c = '_';
    return out;
}

struct UploadRow {
    std::string name;
    int type;
    std::wstring format;
    bool enableSatId2;
    int antenna;
    std::string upload;  // from 42 up to the random push
};

void PrintTo(const UploadRow& row, std::ostream* out) {
    *out << row.name;
}

class SelfTimedUpload : public ::testing::TestWithParam<UploadRow> {};

TEST_P(SelfTimedUpload, SendsTheSettingsTheRowDescribes) {
    const UploadRow& row = GetParam();
    Bench b;
    b.St().Enabled = true;
    b.St().Type = row.type;
    b.St().Format = row.format;
    b.St().EnableSatID2 = row.enableSatId2;
    b.St().SatID2 = L"1A2B3C4D";
    b.St().Antenna = row.antenna;
    b.St().SCDChannel = 17;
    const auto [start, stop, running] = b.StartAndStop();
    EXPECT_EQ(running, "RS-");
    // The random push goes even with random disabled.
    // 208 carries the transmitter's code for the type, whatever the row.
    EXPECT_THAT(start, StartsWith(kHead + "202:0097 206:00000000 204:00040000 208:"));
    EXPECT_THAT(start, EndsWith("225:00 " + row.upload + kPush + "200:01 770:"));
    EXPECT_EQ(stop, kStop);
    if (HasGolden(row.name)) {
        CompareWithGolden(row.name,
                          "recording start and stop with self-timed type " +
                              std::to_string(row.type) + ", format " +
                              std::string(row.format.begin(), row.format.end()) +
                              (row.enableSatId2 ? ", second id 1A2B3C4D" : "") + ", antenna " +
                              std::to_string(row.antenna) + ", random disabled",
                          b.sim.Transcript());
    }
}

const std::string kAllIds = "42:ffffffff ";

// 862 by Type and Antenna, as the transmitter's documentation tables it: 2.5, 5, 10; 1.25,
// 2.5, 7; 10, 10.0001 (not rounded to 10), 14; 5, 10, 14.
std::vector<UploadRow> AntennaRows() {
    const char* const floats[4][3] = {{"40200000", "40a00000", "41200000"},
                                      {"3fa00000", "40200000", "40e00000"},
                                      {"41200000", "41200069", "41600000"},
                                      {"40a00000", "41200000", "41600000"}};
    std::vector<UploadRow> rows;
    for (int type = 10; type <= 13; ++type) {
        for (int antenna = 0; antenna <= 2; ++antenna) {
            rows.push_back({"st_type" + std::to_string(type) + "_antenna" + std::to_string(antenna),
                            type, L"SHEF", false, antenna,
                            kAllIds + "862:03" + floats[type - 10][antenna] + " 232:00 "});
        }
    }
    return rows;
}

INSTANTIATE_TEST_SUITE_P(
    Table, SelfTimedUpload,
    ::testing::Values(
        UploadRow{"st_type0_shef", 0, L"SHEF", false, 0, kAllIds + "232:00 "},
        UploadRow{"st_type4_insat_id2", 4, L"INSAT", true, 0, "42:1a2b3c4d "},
        UploadRow{"st_type4_insat", 4, L"INSAT", false, 0, kAllIds},
        UploadRow{"st_type4_shef_id2", 4, L"SHEF", true, 0, kAllIds + "232:00 "},
        UploadRow{"st_type5_insat_id2", 5, L"INSAT", true, 0, kAllIds},
        UploadRow{"st_type9", 9, L"SHEF", false, 0, kAllIds + "251:0011 232:00 "},
        UploadRow{"st_type12_antenna3", 12, L"SHEF", false, 3, kAllIds + "862:0300000000 232:00 "},
        UploadRow{"st_format_shef_fixed", 0, L"SHEF Fixed", false, 0, kAllIds + "232:00 "},
        UploadRow{"st_format_bin_int", 0, L"Bin Int", false, 0, kAllIds + "232:02 "},
        UploadRow{"st_format_bin_non_int", 0, L"Bin Non-Int", false, 0, kAllIds + "232:02 "},
        UploadRow{"st_format_nos", 0, L"NOS", false, 0, kAllIds},
        UploadRow{"st_format_nfdrs", 0, L"NFDRS", false, 0, kAllIds},
        UploadRow{"st_format_handar", 0, L"Handar", false, 0, kAllIds}),
    [](const auto& info) { return CaseName(info.param.name); });

INSTANTIATE_TEST_SUITE_P(Antenna, SelfTimedUpload, ::testing::ValuesIn(AntennaRows()),
                         [](const auto& info) { return CaseName(info.param.name); });

struct RandomRow {
    std::string name;
    bool selfTimed;
    int type;
    int antenna;
    std::string code;  // what 306 carries
};

void PrintTo(const RandomRow& row, std::ostream* out) {
    *out << row.name;
}

class RandomPush : public ::testing::TestWithParam<RandomRow> {};

TEST_P(RandomPush, StartSendsTheRandomSettingsAfterTheSelfTimedUpload) {
    const RandomRow& row = GetParam();
    Bench b;
    b.St() = SelfTimedSettings{row.selfTimed, false,       true,  123,         1, L"SHEF",
                               L"06:30:15",   L"36:00:00", false, L"00:00:45", 4, false,
                               L"00000000",   1,           0};
    b.Rt() = RandomSettings{true,        true,        false, 77,          row.type, 0,
                            L"12:00:00", L"01:00:00", 3,     L"00:01:00", 1,        row.antenna};
    const auto [start, stop, running] = b.StartAndStop();
    EXPECT_EQ(running, row.selfTimed ? "RST" : "R-T");
    EXPECT_EQ(b.DebugCount("Random messenger thread exiting."), 1u);
    // The self-timed upload writes each setting in its encoding.
    EXPECT_EQ(start, kHead +
                         "202:007b 206:00061e0f 204:010c0000 208:04b0 212:0000002d 214:00 "
                         "223:01 225:00 42:ffffffff 232:00 302:004d 306:" +
                         row.code + " 318:00 320:01 304:00000000 310:01 " +
                         (row.selfTimed ? "200:01 770:" : "770:"));
    EXPECT_EQ(stop, kStop);
    if (HasGolden(row.name)) {
        CompareWithGolden(row.name,
                          std::string("recording start and stop with random type ") +
                              std::to_string(row.type) + ", antenna " +
                              std::to_string(row.antenna) +
                              (row.selfTimed ? ", self-timed enabled" : ", self-timed disabled"),
                          b.sim.Transcript());
    }
}

INSTANTIATE_TEST_SUITE_P(Table, RandomPush,
                         ::testing::Values(RandomRow{"rt_only_type8", false, 8, 1, "04b2"},
                                           RandomRow{"rt_only_type0", false, 0, 0, "0064"},
                                           RandomRow{"both_rt_type4", true, 4, 0, "0066"}),
                         [](const auto& info) { return CaseName(info.param.name); });

constexpr auto kNone = std::nullopt;

// "no fault", "refuse on 300", "silence on 35 x3", "master-refusal on 770 answering Busy".
std::string FaultText(const std::optional<Fault>& fault) {
    if (!fault)
        return "no fault";
    std::string text = tarvo::sim::FaultName(fault->kind);
    if (fault->code)
        text += " on " + std::to_string(*fault->code);
    if (fault->count != 1)
        text += " x" + std::to_string(fault->count);
    if (fault->kind == FaultKind::MasterRefusal)
        text += " answering " + fault->text;
    return text;
}

// Whatever the transmitter does, recording and both messengers run from the start to the stop,
// and each failure is reported once (code 6 with the refusal's reason).
struct FailureRow {
    std::string name;
    std::optional<Fault> startFault;
    int startCode;
    std::string startEnds;  // the start's last requests
    std::optional<Fault> stopFault = std::nullopt;
    int stopCode = 0;
    std::string stop = kStop;
    bool clockValid = true;
};

void PrintTo(const FailureRow& row, std::ostream* out) {
    *out << row.name;
}

class RecordingFailure : public ::testing::TestWithParam<FailureRow> {};

TEST_P(RecordingFailure, IsReportedOnceWhileRecordingGoesOn) {
    const FailureRow& row = GetParam();
    Bench b;
    b.St().Enabled = true;
    b.Rt().Enabled = true;
    if (row.startFault) {
        b.sim.InjectFault(*row.startFault);
    }
    b.sim.SetClockValid(row.clockValid);
    const std::string reason = row.startCode == 6 ? row.startFault->text : "";
    EXPECT_EQ(b.corvane.RecordingStart(),
              kReportTexts[row.startCode] + std::wstring(reason.begin(), reason.end()));
    EXPECT_EQ(b.Running(), "RST");
    const std::size_t started = b.sim.Transcript().size();

    b.sim.ClearFaults();
    b.sim.SetClockValid(true);
    if (row.stopFault) {
        b.sim.InjectFault(*row.stopFault);
    }
    EXPECT_EQ(b.corvane.RecordingStop(), kReportTexts[row.stopCode]);
    EXPECT_EQ(b.Running(), "---");
    std::vector<std::string> warnings = {kReportWarnings[row.startCode],
                                         kReportWarnings[row.stopCode]};
    std::erase(warnings, "");
    EXPECT_EQ(b.Warnings(), warnings);

    const auto transcript = b.sim.Transcript();
    EXPECT_THAT(Requests(transcript, 0, started), EndsWith(row.startEnds));
    EXPECT_EQ(Requests(transcript, started), row.stop);
    if (HasGolden(row.name)) {
        CompareWithGolden(row.name,
                          "recording start and stop with both transmissions enabled; at start " +
                              FaultText(row.startFault) + "; at stop " + FaultText(row.stopFault) +
                              (row.clockValid ? "" : "; the transmitter's clock not valid"),
                          transcript);
    }
}

Fault Refuse(WORD type) {
    return Fault(FaultKind::Refuse, type);
}
Fault Silent(WORD type) {
    return Fault(FaultKind::Silence, type, 3);
}
Fault MasterRefusal(const char* reason) {
    return Fault(FaultKind::MasterRefusal, 770, 1, reason);
}

INSTANTIATE_TEST_SUITE_P(
    Table, RecordingFailure,
    ::testing::Values(
        FailureRow{"both_defaults", kNone, 0, kFullStart},
        // 200 refused: the rest of the start is skipped.
        FailureRow{"fail_start_200_refused", Refuse(200), 2, "506:01 771: 200:00"},
        FailureRow{"fail_start_338_refused", Refuse(338), 2, "300:00 338:00"},
        FailureRow{"fail_silent", kSilent, 1, "506:01 506:01 506:01", kSilent, 5, "771: 771: 771:"},
        // The offset still goes, the clock is not read.
        FailureRow{"fail_start_40_silent", Silent(40), 1, "40:12345678 40:12345678 37:fffb"},
        // Code 1 wins over having no time.
        FailureRow{"fail_start_35_silent", Silent(35), 1, "37:fffb 35: 35: 35:"},
        FailureRow{"fail_start_212_silent", Silent(212), 1,
                   "212:00000100 212:00000100 212:00000100"},
        FailureRow{"fail_start_306_silent", Silent(306), 1, "302:0097 306:0064 306:0064 306:0064"},
        // A reason holding printf directives is put in as it stands.
        FailureRow{"fail_start_770_refused", MasterRefusal("100% refused %s"), 6, kFullStart},
        FailureRow{"start_770_unknown", Fault(FaultKind::UnknownCommand, 770), 0, kFullStart},
        FailureRow{"fail_start_770_silent", Silent(770), 1, "200:01 770: 770: 770:"},
        // No valid time: the rest still goes, and a master refusal is what is reported.
        FailureRow{"fail_start_invalid_time", kNone, 4, kFullStart, kNone, 0, kStop, false},
        FailureRow{"fail_start_invalid_time_770_refused", MasterRefusal("Transmission in progress"),
                   6, kFullStart, kNone, 0, kStop, false},
        FailureRow{"fail_stop_200_refused", kNone, 0, kFullStart, Refuse(200), 3, "771: 200:00"},
        FailureRow{"fail_stop_338_refused", kNone, 0, kFullStart, Refuse(338), 3},
        // Refusals the sequences do not look at: the opening, the stop of transmissions, random
        // off, and the upload's and the push's writes.
        FailureRow{"start_506_refused_unchecked", Refuse(506), 0, kFullStart},
        FailureRow{"start_771_refused_unchecked", Refuse(771), 0, kFullStart},
        // At stop the sequence goes on past a refused 771, and the transmitter, still running,
        // refuses the 200 that follows.
        FailureRow{"stop_771_refused_unchecked", kNone, 0, kFullStart, Refuse(771), 3,
                   "771: 200:00"},
        FailureRow{"start_and_stop_300_refused_unchecked", Refuse(300), 0, kFullStart, Refuse(300),
                   0},
        FailureRow{"start_upload_212_refused_unchecked", Refuse(212), 0, kFullStart},
        FailureRow{"start_push_306_refused_unchecked", Refuse(306), 0, kFullStart}),
    [](const auto& info) { return CaseName(info.param.name); });

// The messengers start after the start sequence's master start and stop before the stop
// sequence's first command: stopped 2 s before the self-timed messenger would load, no 216
// follows the transmitter's shut-down.
TEST(Recording, MessengersRunOnlyBetweenTheTwoSequences) {
    Bench b;
    b.St().Enabled = true;
    b.St().Time = L"00:05:00";
    b.St().Rate = L"01:00:00";  // the window closes at 12:05:30, the load is due at 12:05:10
    b.Rt().Enabled = true;
    ASSERT_EQ(b.corvane.RecordingStart(), L"");
    Sleep(static_cast<DWORD>(
        (TTime(2024, 3, 1, 12, 5, 8) - TTime::GetCurrentTime()).GetTotalMilliseconds()));
    ASSERT_EQ(b.corvane.RecordingStop(), L"");

    const auto transcript = b.sim.Transcript();
    std::size_t masterStart = transcript.size();
    std::size_t stopBegins = transcript.size();
    for (std::size_t i = 0; i < transcript.size(); ++i) {
        if (transcript[i].direction != Direction::Request)
            continue;
        if (transcript[i].type == 770 && masterStart == transcript.size())
            masterStart = i;
        if (transcript[i].type == 771)
            stopBegins = i;
    }
    ASSERT_LT(masterStart, stopBegins);
    for (const WORD messengers : {219, 31, 216, 312}) {
        EXPECT_THAT(Requests(transcript, 0, masterStart),
                    Not(HasSubstr(std::to_string(messengers) + ":")))
            << messengers << " before the master start";
    }
    EXPECT_THAT(Requests(transcript, masterStart, stopBegins), HasSubstr("219:"))
        << "the self-timed messenger asked in between";
    EXPECT_EQ(Requests(transcript, stopBegins), kStop) << "nothing after the shut-down";
}

TEST(Recording, TheLoggerClockFollowsTheTransmitterOnlyBeyondOneSecond) {
    // The answer to 35 is taken at 12:00:12.877 logger time (at the poll after it arrived); the
    // logger is set to the transmitter's whole seconds then.
    const struct {
        std::int64_t offsetMs;
        std::vector<std::string> status;
        std::int64_t setByMs;
    } rows[] = {{1000, {}, 0},
                {-1000, {}, 0},
                {2000, {"Corvane: Setting system time to 03/01/2024 12:00:14."}, 14000 - 12877},
                {-2000, {"Corvane: Setting system time to 03/01/2024 12:00:10."}, 10000 - 12877}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.offsetMs);
        Bench b;
        b.St().Enabled = true;
        b.sim.SetClockOffset(row.offsetMs);
        int notified = 0;
        const int id = tarvo::host::SubscribeTimeChange([&notified] { ++notified; });
        b.StartAndStop();
        tarvo::host::UnsubscribeTimeChange(id);
        EXPECT_TRUE(b.corvane.HasTimeBeenObtained());
        EXPECT_EQ(b.log.Texts(TReportLevel::Status), row.status);
        // Logger time minus clock time since the start: moves only when the clock is set.
        EXPECT_EQ(TTime::GetCurrentTime().GetMillisecondsSince1970() -
                      kStart.GetMillisecondsSince1970() - tarvo::host::NowMicros() / 1000,
                  row.setByMs);
        // Setting the clock tells the subscribers once.
        EXPECT_EQ(notified, row.status.empty() ? 0 : 1);
    }
}

TEST(Recording, NoValidTimeIsReportedOnlyUntilATimeWasOnceObtained) {
    Bench b;
    b.St().Enabled = true;
    for (const bool valid : {false, false, true, false}) {
        b.sim.SetClockValid(valid);
        const bool obtained = valid || b.corvane.HasTimeBeenObtained();
        EXPECT_EQ(b.corvane.RecordingStart(), obtained ? L"" : kReportTexts[4]);
        EXPECT_EQ(b.corvane.HasTimeBeenObtained(), obtained);
        EXPECT_EQ(b.corvane.RecordingStop(), L"");
    }
    EXPECT_EQ(b.log.Count(TReportLevel::Warning, kReportWarnings[4]), 2u);
    EXPECT_TRUE(b.log.Texts(TReportLevel::Status).empty());
}

TEST(Recording, WithNeitherTransmissionEnabledOrInitCorvaneOffNothingGoesOverTheLine) {
    for (const bool enabled : {false, true}) {
        SCOPED_TRACE(enabled ? "both enabled, InitCorvane off" : "neither enabled");
        Bench b;
        b.corvane.InitCorvane = !enabled;
        b.St().Enabled = b.Rt().Enabled = enabled;
        b.sim.SetClockValid(false);  // code 4 if the clock were read
        EXPECT_EQ(b.StartAndStop()[2], enabled ? "RST" : "---");
        EXPECT_TRUE(b.sim.Transcript().empty());
        EXPECT_EQ(b.DebugCount("Random messenger thread exiting."), enabled ? 1u : 0u);
    }
}

TEST(Recording, StartWhileRunningAndStopWhileStoppedDoNothing) {
    Bench b;
    b.St().Enabled = true;
    EXPECT_EQ(b.corvane.RecordingStop(), L"");
    EXPECT_TRUE(b.sim.Transcript().empty());
    ASSERT_EQ(b.corvane.RecordingStart(), L"");
    const std::size_t started = b.sim.Transcript().size();
    EXPECT_EQ(b.corvane.RecordingStart(), L"") << "a second start while running";
    // With the settings changed under it (a setup read while running), stop does nothing and
    // recording stays on.
    b.St().Enabled = false;
    EXPECT_EQ(b.corvane.RecordingStop(), L"");
    EXPECT_TRUE(b.corvane.IsRunning());
    EXPECT_EQ(b.sim.Transcript().size(), started);
    b.St().Enabled = true;
    EXPECT_EQ(b.corvane.RecordingStop(), L"");
    EXPECT_EQ(b.Running(), "---");
    EXPECT_EQ(b.DebugCount("Self-timed messenger thread starting."), 1u);
}

// The exports on the module's one device object: OnEngineStart and OnEngineStop show their
// reports for a minute, Start and Stop hand them to the caller, AppExit stops without a word.
TEST(Exports, EngineStartAndStopShowReportsStartAndStopReturnThemAndAppExitStopsQuietly) {
    tarvo::host::ScopedVirtualClock clock{kStart};
    tarvo::host::LogCapture log;
    InProcessTransmitter sim{L"COM2:"};
    auto shown = std::make_shared<tarvo::host::ScriptedOperator>();
    tarvo::host::ScopedOperatorBackend backend{shown};
    struct FreshDeviceAfter {
        ~FreshDeviceAfter() {
            AppExit();
            InitSetup(nullptr);
        }
    } fresh;
    InitSetup(nullptr);
    TheCorvane().SelfTimed().Settings().Enabled = true;

    sim.InjectFault(kSilent);
    shown->AnswerMessage(IDOK);
    shown->AnswerMessage(IDOK);
    EXPECT_EQ(OnEngineStart(), 1);
    EXPECT_EQ(OnEngineStop(), 1);
    const auto boxes = shown->History();
    ASSERT_EQ(boxes.size(), 2u);
    for (const int i : {0, 1}) {
        const auto& box = boxes[i];
        EXPECT_EQ(box.text, kReportTexts[i == 0 ? 1 : 5]);
        EXPECT_EQ(box.kind, tarvo::host::ScriptedOperator::Kind::Message);
        EXPECT_EQ(box.timeout, 60);
        EXPECT_EQ(box.type, 0u);
        EXPECT_EQ(box.title, L"");
    }
    EXPECT_TRUE(shown->Problems().empty());

    sim.ClearFaults();
    for (const auto& [fault, expected] :
         {std::pair{Fault(FaultKind::MasterRefusal, 770, 1, "Busy"), kReportTexts[6] + L"Busy"},
          std::pair{Fault(FaultKind::Refuse, 338), kReportTexts[3]}}) {
        sim.InjectFault(fault);
        wchar_t* report = TheCorvane().IsRunning() ? Stop() : Start();
        ASSERT_NE(report, nullptr);
        EXPECT_EQ(std::wstring(report), expected);
        std::free(report);
    }

    ASSERT_EQ(OnEngineStart(), 1);
    const std::size_t started = sim.Transcript().size();
    sim.InjectFault(Fault(FaultKind::Refuse, 338));  // a report the operator must not see
    EXPECT_EQ(AppExit(), 1);
    EXPECT_FALSE(TheCorvane().IsRunning());
    EXPECT_EQ(log.Count(TReportLevel::Warning, kReportWarnings[3]), 2u);
    EXPECT_EQ(AppExit(), 1) << "unloading while stopped sends nothing";
    EXPECT_EQ(Requests(sim.Transcript(), started), kStop);
    EXPECT_EQ(shown->History().size(), 2u) << "nor was the all-well start shown";
}

}  // namespace

namespace {

TEST(Recording, ASetupWhoseBlocksDisagreeStartsNothingAndTellsTheOperatorWhy) {
    Bench b;
    b.St().Enabled = true;
    SelfTimed first(b.corvane.SelfTimed().Registry(), b.St());
    SelfTimed second(b.corvane.SelfTimed().Registry(), b.St());
    second.SetSequence(first.Sequence());
    EXPECT_EQ(b.corvane.RecordingStart(), L"Corvane setup: SelfTimed sequences overlap; ");
    EXPECT_TRUE(b.corvane.StartRefused());
    EXPECT_EQ(b.Running(), "---");
    EXPECT_TRUE(b.sim.Transcript().empty());
    EXPECT_THAT(b.log.Texts(TReportLevel::Warning),
                ::testing::ElementsAre("Corvane setup: SelfTimed sequences overlap; "));

    second.SetEnabled(false);
    EXPECT_EQ(b.corvane.RecordingStart(), L"");
    EXPECT_FALSE(b.corvane.StartRefused());
    EXPECT_EQ(b.Running(), "RS-");
    EXPECT_EQ(b.corvane.RecordingStop(), L"");
}

}  // namespace
