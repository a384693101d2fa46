// Recording start and stop against the simulated transmitter, in virtual time.
//
// Each start/stop scenario's line transcript (logger time, direction, packet number, type code,
// payload) is compared exactly with tests/core/golden/<name>.jsonl. After a deliberate change to
// what goes over the line, rebuild them with
//     CORVANE_UPDATE_GOLDEN=1 build/<dir>/tests/core_recording_test
// and review the diff before committing it. The request order and the payloads that matter are
// also asserted here directly, so a golden file rebuilt from a wrong sequence still fails.
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <memory>
#include <ostream>
#include <sstream>
#include <string>
#include <vector>

#include "core/corvane.h"
#include "core/device.h"
#include "core/exports.h"
#include "core/report_texts.h"
#include "host/clock.h"
#include "host/dialogs.h"
#include "host/report_sinks.h"
#include "host/serial_ports.h"
#include "link/support/scripted_peer.h"
#include "platform/time.h"
#include "selftimed/self_timed_upload.h"
#include "sim/calendar.h"
#include "sim/in_process_transmitter.h"
#include "sim/records.h"

namespace {

using tarvo::host::LogCapture;
using tarvo::host::ScopedVirtualClock;
using tarvo::sim::Direction;
using tarvo::sim::Fault;
using tarvo::sim::FaultKind;
using tarvo::sim::InProcessTransmitter;
using tarvo::sim::TranscriptEntry;

using Bytes = std::vector<BYTE>;

const TTime kStart(2024, 3, 1, 12, 0, 0);

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

// The Warning that goes with each report code.
const char* const kReportWarnings[] = {
    nullptr,
    "Failed communicating with Corvane on recording start.",
    "Corvane rejected commands on recording start.",
    "Corvane rejected commands on engine stop.",
    "Failed to synchronize clock on engine start.",
    "Failed commanding Corvane to stop/disable.",
    "Corvane rejected start command.",
};

std::wstring Expected(int code, const std::wstring& reason = L"") {
    return code == 6 ? kReportTexts[6] + reason : kReportTexts[code];
}

// --- What went over the line -------------------------------------------------------------------

struct Req {
    WORD type;
    Bytes payload;
    bool operator==(const Req&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Req& req) {
    return out << req.type << ":" << tarvo::sim::ToHex(req.payload);
}

// The requests that reached the transmitter in transcript entries [from, to).
std::vector<Req> RequestsIn(const std::vector<TranscriptEntry>& transcript, std::size_t from = 0,
                            std::size_t to = SIZE_MAX) {
    std::vector<Req> requests;
    for (std::size_t i = from; i < transcript.size() && i < to; ++i) {
        if (transcript[i].direction == Direction::Request) {
            requests.push_back({transcript[i].type, transcript[i].payload});
        }
    }
    return requests;
}

std::vector<WORD> TypesOf(const std::vector<Req>& requests) {
    std::vector<WORD> types;
    for (const Req& r : requests) {
        types.push_back(r.type);
    }
    return types;
}

Bytes Word(unsigned value) {
    return {static_cast<BYTE>(value >> 8), static_cast<BYTE>(value)};
}
Bytes Dword(std::uint32_t value) {
    return {static_cast<BYTE>(value >> 24), static_cast<BYTE>(value >> 16),
            static_cast<BYTE>(value >> 8), static_cast<BYTE>(value)};
}
// 862's payload: the byte 3, then the IEEE single's bits, high byte first.
Bytes Float862(float value) {
    Bytes bytes = Dword(std::bit_cast<std::uint32_t>(value));
    bytes.insert(bytes.begin(), 3);
    return bytes;
}

// The full sequences with both transmissions enabled and the settings of a fresh setup.
const std::vector<WORD> kFullStart = {506, 771, 200, 300, 338, 40,  37,  35, 202,
                                      206, 204, 208, 212, 214, 223, 225, 42, 232,
                                      302, 306, 318, 320, 304, 310, 200, 770};
const std::vector<WORD> kFullStop = {771, 200, 300, 338};

// --- Golden transcripts ------------------------------------------------------------------------

std::string GoldenLine(const TranscriptEntry& e) {
    std::string line = "{\"time\":\"" + tarvo::sim::IsoTime(e.loggerMs) + "\",\"dir\":\"" +
                       tarvo::sim::DirectionName(e.direction) + "\"";
    if (e.direction == Direction::Request || e.direction == Direction::Reply) {
        line += ",\"number\":" + std::to_string(e.number) + ",\"type\":" + std::to_string(e.type);
    }
    return line + ",\"payload\":\"" + tarvo::sim::ToHex(e.payload) + "\"}";
}

void CompareWithGolden(const std::string& name, const std::vector<TranscriptEntry>& transcript) {
    const std::string path = std::string(CORVANE_GOLDEN_DIR) + "/" + name + ".jsonl";
    std::vector<std::string> actual;
    for (const TranscriptEntry& e : transcript) {
        actual.push_back(GoldenLine(e));
    }
    const char* update = std::getenv("CORVANE_UPDATE_GOLDEN");
    if (update != nullptr && std::string(update) == "1") {
        std::ofstream out(path, std::ios::trunc);
        for (const std::string& line : actual) {
            out << line << "\n";
        }
        ASSERT_TRUE(out.good()) << "cannot write " << path;
        return;
    }
    std::ifstream in(path);
    ASSERT_TRUE(in.good()) << "no golden file " << path
                           << " (rebuild with CORVANE_UPDATE_GOLDEN=1)";
    std::vector<std::string> golden;
    for (std::string line; std::getline(in, line);) {
        golden.push_back(line);
    }
    for (std::size_t i = 0; i < actual.size() && i < golden.size(); ++i) {
        ASSERT_EQ(actual[i], golden[i]) << name << ", line " << i + 1;
    }
    EXPECT_EQ(actual.size(), golden.size()) << name;
}

// --- One transmitter, one device, one virtual clock --------------------------------------------

struct Bench {
    Bench() {
        corvane.InitSetup();
        corvane.SatID = L"12345678";
        corvane.LTO = -5;
    }
    SelfTimedSettings& St() { return corvane.SelfTimed().Settings(); }
    RandomSettings& Rt() { return corvane.Random().Settings(); }
    // The six report Warnings written so far.
    std::vector<std::string> ReportWarnings() const {
        std::vector<std::string> found;
        for (const std::string& text : log.Texts(TReportLevel::Warning)) {
            for (const char* warning : kReportWarnings) {
                if (warning != nullptr && text == warning) {
                    found.push_back(text);
                }
            }
        }
        return found;
    }
    std::size_t DebugCount(const char* text) const { return log.Count(TReportLevel::Debug, text); }
    // Logger time minus clock time since the start: moves only when the clock is set.
    std::int64_t ClockSetByMs() const {
        return TTime::GetCurrentTime().GetMillisecondsSince1970() -
               kStart.GetMillisecondsSince1970() - tarvo::host::NowMicros() / 1000;
    }

    ScopedVirtualClock clock{kStart};
    LogCapture log;
    InProcessTransmitter sim{L"COM2:"};  // Port 0
    CCorvane corvane;
};

// The head every pushing start begins with, with its payloads.
std::vector<Req> StartHead() {
    return {{506, {1}},         {771, {}},  {200, {0}},
            {300, {0}},         {338, {0}}, {40, Dword(0x12345678)},
            {37, Word(0xFFFB)}, {35, {}}};
}

// --- The self-timed upload ---------------------------------------------------------------------

struct UploadRow {
    std::string legend;
    std::string golden;
    std::function<void(SelfTimedSettings&)> configure;
    std::vector<Req> tail;  // from 42 to the end of the upload
};

std::vector<UploadRow> UploadRows() {
    const Bytes allBits = Dword(0xFFFFFFFF);
    std::vector<UploadRow> rows = {
        {"type 0 with SHEF",
         "st_type0_shef",
         [](SelfTimedSettings&) {},
         {{42, allBits}, {232, {0}}}},
        {"type 4 INSAT with INSAT id 2",
         "st_type4_insat_id2",
         [](SelfTimedSettings& s) {
             s.Type = 4;
             s.Format = L"INSAT";
             s.EnableSatID2 = true;
             s.SatID2 = L"1A2B3C4D";
         },
         {{42, Dword(0x1A2B3C4D)}}},
        {"type 4 INSAT, id 2 not enabled",
         "st_type4_insat",
         [](SelfTimedSettings& s) {
             s.Type = 4;
             s.Format = L"INSAT";
             s.SatID2 = L"1A2B3C4D";
         },
         {{42, allBits}}},
        {"type 4 with id 2 but format SHEF",
         "st_type4_shef_id2",
         [](SelfTimedSettings& s) {
             s.Type = 4;
             s.EnableSatID2 = true;
             s.SatID2 = L"1A2B3C4D";
         },
         {{42, allBits}, {232, {0}}}},
        {"format INSAT with id 2 but type 5",
         "st_type5_insat_id2",
         [](SelfTimedSettings& s) {
             s.Type = 5;
             s.Format = L"INSAT";
             s.EnableSatID2 = true;
             s.SatID2 = L"1A2B3C4D";
         },
         {{42, allBits}}},
        {"type 9 ARGOS/SCD adds the SCD channel",
         "st_type9",
         [](SelfTimedSettings& s) {
             s.Type = 9;
             s.SCDChannel = 17;
         },
         {{42, allBits}, {251, Word(17)}, {232, {0}}}},
    };

    // 862 by Type and Antenna, as the transmitter's documentation tables it.
    const float table[4][3] = {
        {2.5f, 5.0f, 10.0f}, {1.25f, 2.5f, 7.0f}, {10.0f, 10.0001f, 14.0f}, {5.0f, 10.0f, 14.0f}};
    for (int type = 10; type <= 13; ++type) {
        for (int antenna = 0; antenna <= 2; ++antenna) {
            rows.push_back(
                {"type " + std::to_string(type) + " antenna " + std::to_string(antenna),
                 "st_type" + std::to_string(type) + "_antenna" + std::to_string(antenna),
                 [type, antenna](SelfTimedSettings& s) {
                     s.Type = type;
                     s.Antenna = antenna;
                 },
                 {{42, allBits}, {862, Float862(table[type - 10][antenna])}, {232, {0}}}});
        }
    }
    rows.push_back({"type 12 with an antenna outside the list",
                    "st_type12_antenna3",
                    [](SelfTimedSettings& s) {
                        s.Type = 12;
                        s.Antenna = 3;
                    },
                    {{42, allBits}, {862, Float862(0.0f)}, {232, {0}}}});

    const struct {
        const wchar_t* format;
        const char* name;
        int code;  // -1: no 232
    } formats[] = {{L"SHEF Fixed", "shef_fixed", 0},
                   {L"Bin Int", "bin_int", 2},
                   {L"Bin Non-Int", "bin_non_int", 2},
                   {L"NOS", "nos", -1},
                   {L"NFDRS", "nfdrs", -1},
                   {L"Handar", "handar", -1}};
    for (const auto& f : formats) {
        std::vector<Req> tail = {{42, allBits}};
        if (f.code >= 0) {
            tail.push_back({232, {static_cast<BYTE>(f.code)}});
        }
        const std::wstring format = f.format;
        rows.push_back({std::string("format ") + f.name, std::string("st_format_") + f.name,
                        [format](SelfTimedSettings& s) { s.Format = format; }, tail});
    }
    return rows;
}

TEST(Recording, SelfTimedStartAndStopSendTheSettingsTheyDescribe) {
    for (const UploadRow& row : UploadRows()) {
        SCOPED_TRACE(row.legend);
        Bench b;
        b.St().Enabled = true;
        row.configure(b.St());

        EXPECT_EQ(b.corvane.RecordingStart(), L"");
        const std::size_t started = b.sim.Transcript().size();
        EXPECT_TRUE(b.corvane.IsRunning());
        EXPECT_TRUE(b.corvane.SelfTimed().IsThreadRunning());
        EXPECT_FALSE(b.corvane.Random().IsThreadRunning());
        EXPECT_EQ(b.corvane.RecordingStop(), L"");
        EXPECT_FALSE(b.corvane.IsRunning());
        EXPECT_TRUE(b.ReportWarnings().empty());

        const auto transcript = b.sim.Transcript();
        const std::vector<Req> start = RequestsIn(transcript, 0, started);
        const std::vector<Req> stop = RequestsIn(transcript, started);

        std::vector<Req> expectedHead = StartHead();
        ASSERT_GE(start.size(), expectedHead.size() + 8 + row.tail.size() + 8);
        EXPECT_EQ(std::vector<Req>(start.begin(), start.begin() + 8), expectedHead);
        EXPECT_EQ(TypesOf(std::vector<Req>(start.begin() + 8, start.begin() + 16)),
                  (std::vector<WORD>{202, 206, 204, 208, 212, 214, 223, 225}));
        const auto tailAt = start.begin() + 16;
        EXPECT_EQ(std::vector<Req>(tailAt, tailAt + static_cast<std::ptrdiff_t>(row.tail.size())),
                  row.tail);
        // Then the random push (random disabled, still pushed), self-timed on, master start.
        EXPECT_EQ(TypesOf(std::vector<Req>(tailAt + static_cast<std::ptrdiff_t>(row.tail.size()),
                                           start.end())),
                  (std::vector<WORD>{302, 306, 318, 320, 304, 310, 200, 770}));
        EXPECT_EQ(start[start.size() - 2], (Req{200, {1}}));
        EXPECT_EQ(TypesOf(stop), kFullStop);
        EXPECT_EQ(stop[1], (Req{200, {0}}));

        EXPECT_EQ(b.DebugCount("Self-timed messenger thread starting."), 1u);
        EXPECT_EQ(b.DebugCount("Self-timed messenger thread exiting."), 1u);
        EXPECT_EQ(b.DebugCount("Random messenger thread starting."), 0u);
        CompareWithGolden(row.golden, transcript);
    }
}

TEST(Recording, UploadWritesEachSettingInItsEncoding) {
    Bench b;
    b.St() = SelfTimedSettings{true,    false,       true,        123,   1,
                               L"SHEF", L"06:30:15", L"36:00:00", false, L"00:00:45",
                               4,       false,       L"00000000", 1,     0};
    ASSERT_EQ(b.corvane.RecordingStart(), L"");
    const std::vector<Req> start = RequestsIn(b.sim.Transcript());
    ASSERT_GE(start.size(), 16u);
    const std::vector<Req> expected = {{202, Word(123)},     {206, {0, 6, 30, 15}},
                                       {204, {1, 12, 0, 0}}, {208, Word(1200)},
                                       {212, {0, 0, 0, 45}}, {214, {0}},
                                       {223, {1}},           {225, {0}}};
    EXPECT_EQ(std::vector<Req>(start.begin() + 8, start.begin() + 16), expected);
    EXPECT_EQ(b.corvane.RecordingStop(), L"");
}

TEST(Recording, Param862KeepsTenPointZeroZeroZeroOneUnrounded) {
    SelfTimedSettings settings;
    settings.Type = 12;
    settings.Antenna = 1;
    const auto requests = corvane::SelfTimedUploadRequests(settings);
    const CPacket* p862 = nullptr;
    for (const CPacket& request : requests) {
        if (request.GetType() == 862) {
            p862 = &request;
        }
    }
    ASSERT_NE(p862, nullptr);
    const std::uint32_t bits = std::bit_cast<std::uint32_t>(10.0001f);
    const Bytes expected = {3, static_cast<BYTE>(bits >> 24), static_cast<BYTE>(bits >> 16),
                            static_cast<BYTE>(bits >> 8), static_cast<BYTE>(bits)};
    EXPECT_EQ(p862->Payload(), expected);
    EXPECT_NE(bits, std::bit_cast<std::uint32_t>(10.0f));
}

// --- The random push ---------------------------------------------------------------------------

struct RandomRow {
    const char* legend;
    const char* golden;
    bool selfTimed;
    int type;
    int antenna;
    unsigned code;  // what 306 carries
};

TEST(Recording, RandomPushSendsItsSettingsAndNeverAn862) {
    const RandomRow rows[] = {
        {"random only, a G11/12 type with an antenna", "rt_only_type8", false, 8, 1, 1202},
        {"random only, CGMS", "rt_only_type0", false, 0, 0, 100},
        {"both enabled, random GMS", "both_rt_type4", true, 4, 0, 102},
    };
    for (const RandomRow& row : rows) {
        SCOPED_TRACE(row.legend);
        Bench b;
        b.St().Enabled = row.selfTimed;
        b.Rt() = RandomSettings{true,        true, false,       77, row.type,   0, L"12:00:00",
                                L"01:00:00", 3,    L"00:01:00", 1,  row.antenna};
        EXPECT_EQ(b.corvane.RecordingStart(), L"");
        const std::size_t started = b.sim.Transcript().size();
        EXPECT_TRUE(b.corvane.Random().IsThreadRunning());
        EXPECT_EQ(b.corvane.SelfTimed().IsThreadRunning(), row.selfTimed);
        EXPECT_EQ(b.corvane.RecordingStop(), L"");

        const auto transcript = b.sim.Transcript();
        const std::vector<Req> start = RequestsIn(transcript, 0, started);
        std::vector<WORD> types = {506, 771, 200, 300, 338, 40,  37,  35,  202, 206, 204, 208,
                                   212, 214, 223, 225, 42,  232, 302, 306, 318, 320, 304, 310};
        if (row.selfTimed) {
            types.push_back(200);
        }
        types.push_back(770);
        ASSERT_EQ(TypesOf(start), types);
        const std::vector<Req> push(start.begin() + 18, start.begin() + 24);
        const std::vector<Req> expected = {{302, Word(77)}, {306, Word(row.code)}, {318, {0}},
                                           {320, {1}},      {304, {0, 0, 0, 0}},   {310, {1}}};
        EXPECT_EQ(push, expected);
        EXPECT_EQ(TypesOf(RequestsIn(transcript, started)), kFullStop);
        CompareWithGolden(row.golden, transcript);
    }
}

TEST(Recording, StopWithOnlyRandomEnabledStopsOnlyTheRandomThread) {
    Bench b;
    b.Rt().Enabled = true;
    ASSERT_EQ(b.corvane.RecordingStart(), L"");
    EXPECT_TRUE(b.corvane.Random().IsThreadRunning());
    EXPECT_FALSE(b.corvane.Random().StopEvent().IsSet());
    EXPECT_FALSE(b.corvane.SelfTimed().IsThreadRunning());
    EXPECT_TRUE(b.corvane.SelfTimed().StopEvent().IsSet());

    EXPECT_EQ(b.corvane.RecordingStop(), L"");
    EXPECT_FALSE(b.corvane.Random().IsThreadRunning());
    EXPECT_TRUE(b.corvane.Random().StopEvent().IsSet());
    EXPECT_EQ(b.DebugCount("Random messenger thread starting."), 1u);
    EXPECT_EQ(b.DebugCount("Random messenger thread exiting."), 1u);
    EXPECT_EQ(b.DebugCount("Self-timed messenger thread starting."), 0u);
    EXPECT_EQ(b.DebugCount("Self-timed messenger thread exiting."), 0u);
}

// --- Failures ----------------------------------------------------------------------------------

struct FailureRow {
    const char* legend;
    const char* golden;
    std::function<void(InProcessTransmitter&)> beforeStart;
    int startCode;
    std::wstring reason;
    std::vector<WORD> startTypes;
    std::function<void(InProcessTransmitter&)> beforeStop;
    int stopCode;
    std::vector<WORD> stopTypes;
};

std::vector<WORD> Upto(const std::vector<WORD>& full, std::size_t count,
                       std::initializer_list<WORD> more = {}) {
    std::vector<WORD> types(full.begin(), full.begin() + static_cast<std::ptrdiff_t>(count));
    types.insert(types.end(), more);
    return types;
}

TEST(Recording, FailuresAreReportedOnceAndRecordingGoesOn) {
    const auto nothing = [](InProcessTransmitter&) {};
    const auto inject = [](Fault fault) {
        return [fault](InProcessTransmitter& sim) { sim.InjectFault(fault); };
    };
    const FailureRow rows[] = {
        {"all well", "both_defaults", nothing, 0, L"", kFullStart, nothing, 0, kFullStop},
        {"200 refused at start skips the rest",
         "fail_start_200_refused",
         inject(Fault(FaultKind::Refuse, 200)),
         2,
         L"",
         {506, 771, 200},
         nothing,
         0,
         kFullStop},
        {"338 refused at start", "fail_start_338_refused", inject(Fault(FaultKind::Refuse, 338)), 2,
         L"", Upto(kFullStart, 5), nothing, 0, kFullStop},
        {"a silent transmitter",
         "fail_silent",
         inject(Fault(FaultKind::Silence, std::nullopt, tarvo::sim::kEveryTime)),
         1,
         L"",
         {506, 506, 506},
         inject(Fault(FaultKind::Silence, std::nullopt, tarvo::sim::kEveryTime)),
         5,
         {771, 771, 771}},
        {"satellite id unanswered: the offset still goes, the clock is not read",
         "fail_start_40_silent", inject(Fault(FaultKind::Silence, 40, 3)), 1, L"",
         Upto(kFullStart, 5, {40, 40, 40, 37}), nothing, 0, kFullStop},
        {"clock unanswered: code 1 wins over no time", "fail_start_35_silent",
         inject(Fault(FaultKind::Silence, 35, 3)), 1, L"", Upto(kFullStart, 7, {35, 35, 35}),
         nothing, 0, kFullStop},
        {"an upload write unanswered ends the upload", "fail_start_212_silent",
         inject(Fault(FaultKind::Silence, 212, 3)), 1, L"", Upto(kFullStart, 12, {212, 212, 212}),
         nothing, 0, kFullStop},
        {"a random push command unanswered", "fail_start_306_silent",
         inject(Fault(FaultKind::Silence, 306, 3)), 1, L"", Upto(kFullStart, 19, {306, 306, 306}),
         nothing, 0, kFullStop},
        {"master start refused with a reason", "fail_start_770_refused",
         inject(Fault(FaultKind::MasterRefusal, 770, 1, "Master switch refused.")), 6,
         L"Master switch refused.", kFullStart, nothing, 0, kFullStop},
        {"master start answered Unknown command", "start_770_unknown",
         inject(Fault(FaultKind::UnknownCommand, 770)), 0, L"", kFullStart, nothing, 0, kFullStop},
        {"master start unanswered", "fail_start_770_silent",
         inject(Fault(FaultKind::Silence, 770, 3)), 1, L"",
         Upto(kFullStart, kFullStart.size(), {770, 770}), nothing, 0, kFullStop},
        {"no valid time: the rest still goes", "fail_start_invalid_time",
         [](InProcessTransmitter& sim) { sim.SetClockValid(false); }, 4, L"", kFullStart, nothing,
         0, kFullStop},
        {"no valid time and a master refusal: the refusal is reported",
         "fail_start_invalid_time_770_refused",
         [](InProcessTransmitter& sim) {
             sim.SetClockValid(false);
             sim.InjectFault(Fault(FaultKind::MasterRefusal, 770, 1, "Transmission in progress"));
         },
         6, L"Transmission in progress", kFullStart, nothing, 0, kFullStop},
        {"200 refused at stop",
         "fail_stop_200_refused",
         nothing,
         0,
         L"",
         kFullStart,
         inject(Fault(FaultKind::Refuse, 200)),
         3,
         {771, 200}},
        {"338 refused at stop", "fail_stop_338_refused", nothing, 0, L"", kFullStart,
         inject(Fault(FaultKind::Refuse, 338)), 3, kFullStop},
        {"silent at stop",
         "fail_stop_silent",
         nothing,
         0,
         L"",
         kFullStart,
         inject(Fault(FaultKind::Silence, std::nullopt, tarvo::sim::kEveryTime)),
         5,
         {771, 771, 771}},
    };
    for (const FailureRow& row : rows) {
        SCOPED_TRACE(row.legend);
        Bench b;
        b.St().Enabled = true;
        b.Rt().Enabled = true;
        row.beforeStart(b.sim);

        EXPECT_EQ(b.corvane.RecordingStart(), Expected(row.startCode, row.reason));
        // Whatever the transmitter did, recording and both messengers run.
        EXPECT_TRUE(b.corvane.IsRunning());
        EXPECT_TRUE(b.corvane.SelfTimed().IsThreadRunning());
        EXPECT_TRUE(b.corvane.Random().IsThreadRunning());
        std::vector<std::string> warnings;
        if (row.startCode != 0) {
            warnings.push_back(kReportWarnings[row.startCode]);
        }
        EXPECT_EQ(b.ReportWarnings(), warnings);
        const std::size_t started = b.sim.Transcript().size();

        b.sim.ClearFaults();
        b.sim.SetClockValid(true);
        row.beforeStop(b.sim);
        EXPECT_EQ(b.corvane.RecordingStop(), Expected(row.stopCode));
        EXPECT_FALSE(b.corvane.IsRunning());
        EXPECT_FALSE(b.corvane.SelfTimed().IsThreadRunning());
        EXPECT_FALSE(b.corvane.Random().IsThreadRunning());
        if (row.stopCode != 0) {
            warnings.push_back(kReportWarnings[row.stopCode]);
        }
        EXPECT_EQ(b.ReportWarnings(), warnings);

        const auto transcript = b.sim.Transcript();
        EXPECT_EQ(TypesOf(RequestsIn(transcript, 0, started)), row.startTypes);
        EXPECT_EQ(TypesOf(RequestsIn(transcript, started)), row.stopTypes);
        CompareWithGolden(row.golden, transcript);
    }
}

TEST(Recording, TheReportTextsReadAsTheOperatorSeesThem) {
    for (int code = 1; code <= 5; ++code) {
        SCOPED_TRACE(code);
        EXPECT_EQ(corvane::ReportText(code), kReportTexts[code]);
    }
    EXPECT_EQ(std::wstring(corvane::ReportString(6)), kReportTexts[6] + L"%s");
    // A reason holding printf directives is put in as it stands.
    EXPECT_EQ(corvane::ReportText(6, L"100% busy %s %d"), kReportTexts[6] + L"100% busy %s %d");
    EXPECT_EQ(corvane::ReportText(0), L"");
    EXPECT_EQ(corvane::ReportText(7), L"");
}

// --- Clock synchronisation ---------------------------------------------------------------------

std::string StatusLineFor(std::uint32_t seconds) {
    const TTime t = TTime::FromSecondsSince1970(seconds);
    char text[80];
    std::snprintf(text, sizeof text,
                  "Corvane: Setting system time to %02d/%02d/%04d %02d:%02d:%02d.", t.GetMonth(),
                  t.GetDay(), t.GetYear(), t.GetHour(), t.GetMinute(), t.GetSecond());
    return text;
}

TEST(Recording, TheLoggerClockFollowsTheTransmitterOnlyBeyondOneSecond) {
    const struct {
        const char* legend;
        std::int64_t offsetMs;
        bool set;
    } rows[] = {
        {"in step", 0, false},     {"1 s ahead", 1000, false},  {"1 s behind", -1000, false},
        {"2 s ahead", 2000, true}, {"2 s behind", -2000, true}, {"an hour ahead", 3'600'000, true},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.legend);
        Bench b;
        b.St().Enabled = true;
        b.sim.SetClockOffset(row.offsetMs);
        int notified = 0;
        const int id = tarvo::host::SubscribeTimeChange([&notified] { ++notified; });
        ASSERT_EQ(b.corvane.RecordingStart(), L"");
        tarvo::host::UnsubscribeTimeChange(id);
        EXPECT_TRUE(b.corvane.HasTimeBeenObtained());
        EXPECT_EQ(b.DebugCount("SynchronizeClock: Attempting to sync time."), 1u);

        // The transmitter's answer to 35.
        std::uint32_t seconds = 0;
        for (const TranscriptEntry& e : b.sim.Transcript()) {
            if (e.direction == Direction::Reply && e.type == 35 && e.payload.size() == 6) {
                seconds = (std::uint32_t{e.payload[0]} << 24) | (e.payload[1] << 16) |
                          (e.payload[2] << 8) | e.payload[3];
            }
        }
        ASSERT_NE(seconds, 0u);
        const std::vector<std::string> statuses = b.log.Texts(TReportLevel::Status);
        if (row.set) {
            EXPECT_EQ(statuses, std::vector<std::string>{StatusLineFor(seconds)});
            // The logger now reads the transmitter's whole seconds: within a second of it.
            // (less the few milliseconds between the reply and the setting).
            EXPECT_GT(b.ClockSetByMs(), row.offsetMs - 1100);
            EXPECT_LE(b.ClockSetByMs(), row.offsetMs);
            // SetSystemTime tells the subscribers, and so does the broadcast after it.
            EXPECT_EQ(notified, 2);
        } else {
            EXPECT_TRUE(statuses.empty());
            EXPECT_EQ(b.ClockSetByMs(), 0);
            EXPECT_EQ(notified, 0);
        }
        EXPECT_EQ(b.corvane.RecordingStop(), L"");
    }
}

TEST(Recording, NoValidTimeIsReportedOnlyUntilATimeWasOnceObtained) {
    Bench b;
    b.St().Enabled = true;
    b.sim.SetClockValid(false);
    EXPECT_EQ(b.corvane.RecordingStart(), kReportTexts[4]);
    EXPECT_FALSE(b.corvane.HasTimeBeenObtained());
    EXPECT_EQ(b.corvane.RecordingStop(), L"");
    EXPECT_EQ(b.corvane.RecordingStart(), kReportTexts[4]) << "still no time: reported again";
    EXPECT_EQ(b.corvane.RecordingStop(), L"");

    b.sim.SetClockValid(true);
    EXPECT_EQ(b.corvane.RecordingStart(), L"");
    EXPECT_TRUE(b.corvane.HasTimeBeenObtained());
    EXPECT_EQ(b.corvane.RecordingStop(), L"");

    b.sim.SetClockValid(false);
    EXPECT_EQ(b.corvane.RecordingStart(), L"") << "the flag is never cleared";
    EXPECT_TRUE(b.corvane.HasTimeBeenObtained());
    EXPECT_EQ(b.corvane.RecordingStop(), L"");
    EXPECT_EQ(b.log.Count(TReportLevel::Warning, kReportWarnings[4]), 2u);
    EXPECT_TRUE(b.log.Texts(TReportLevel::Status).empty());
}

TEST(Recording, AClockReplyOfTheWrongSizeObtainsNoTime) {
    ScopedVirtualClock clock(kStart);
    LogCapture log;
    auto line = tarvo::host::MapPortToMemory(L"COM2:", false);
    {
        linktest::ScriptedPeer peer(line);
        CCorvane corvane;
        // Five bytes, then seven: each a valid time in its first bytes, neither of the size.
        peer.Then(linktest::Reply(35, {0x70, 0, 0, 0, 1}));
        peer.Then(linktest::Reply(35, {0x70, 0, 0, 0, 1, 0, 0}));
        peer.Then(linktest::Reply(35, {0x65, 0xE1, 0xC4, 0x00, 0, 0}));  // valid byte 0
        EXPECT_TRUE(corvane.SynchronizeClock());
        EXPECT_TRUE(corvane.SynchronizeClock());
        EXPECT_TRUE(corvane.SynchronizeClock());
        EXPECT_FALSE(corvane.HasTimeBeenObtained());
        EXPECT_EQ(log.Count(TReportLevel::Warning, "SynchronizeClock: Invalid time packet."), 2u);
        EXPECT_TRUE(log.Texts(TReportLevel::Status).empty());
        peer.Stop();
    }
    tarvo::host::ClearPortMap();
}

// --- Nothing to do -----------------------------------------------------------------------------

TEST(Recording, WithNeitherTransmissionEnabledNothingHappens) {
    Bench b;
    EXPECT_EQ(b.corvane.RecordingStart(), L"");
    EXPECT_FALSE(b.corvane.IsRunning());
    EXPECT_FALSE(b.corvane.SelfTimed().IsThreadRunning());
    EXPECT_FALSE(b.corvane.Random().IsThreadRunning());
    EXPECT_EQ(b.corvane.RecordingStop(), L"");
    EXPECT_TRUE(b.sim.Transcript().empty());
    EXPECT_TRUE(b.log.Texts(TReportLevel::Debug).empty());
}

TEST(Recording, WithInitCorvaneOffOnlyTheMessengersStartAndStop) {
    Bench b;
    b.corvane.InitCorvane = false;
    b.St().Enabled = true;
    b.Rt().Enabled = true;
    b.sim.SetClockValid(false);  // would be code 4 if the clock were read
    EXPECT_EQ(b.corvane.RecordingStart(), L"");
    EXPECT_TRUE(b.corvane.IsRunning());
    EXPECT_TRUE(b.corvane.SelfTimed().IsThreadRunning());
    EXPECT_TRUE(b.corvane.Random().IsThreadRunning());
    EXPECT_EQ(b.corvane.RecordingStop(), L"");
    EXPECT_FALSE(b.corvane.IsRunning());
    EXPECT_FALSE(b.corvane.SelfTimed().IsThreadRunning());
    EXPECT_TRUE(b.sim.Transcript().empty());
    EXPECT_EQ(b.DebugCount("Self-timed messenger thread exiting."), 1u);
    EXPECT_EQ(b.DebugCount("Random messenger thread exiting."), 1u);
}

TEST(Recording, StartWhileRunningAndStopWhileStoppedDoNothing) {
    Bench b;
    b.St().Enabled = true;
    EXPECT_EQ(b.corvane.RecordingStop(), L"");
    EXPECT_TRUE(b.sim.Transcript().empty());

    b.sim.SetClockValid(false);
    EXPECT_EQ(b.corvane.RecordingStart(), kReportTexts[4]);
    const std::size_t started = b.sim.Transcript().size();
    EXPECT_EQ(b.corvane.RecordingStart(), L"") << "a second start while running";
    EXPECT_EQ(b.sim.Transcript().size(), started);

    // With the settings changed under it (a setup read while running), stop does nothing and
    // recording stays on.
    b.St().Enabled = false;
    EXPECT_EQ(b.corvane.RecordingStop(), L"");
    EXPECT_TRUE(b.corvane.IsRunning());
    EXPECT_EQ(b.sim.Transcript().size(), started);
    b.St().Enabled = true;
    EXPECT_EQ(b.corvane.RecordingStop(), L"");
    EXPECT_FALSE(b.corvane.IsRunning());
    EXPECT_EQ(b.DebugCount("Self-timed messenger thread starting."), 1u);
    EXPECT_EQ(b.DebugCount("Self-timed messenger thread exiting."), 1u);
}

// --- The exports -------------------------------------------------------------------------------

// The module's one device object, put back to a fresh setup when the test ends.
class Exports : public ::testing::Test {
  protected:
    Exports() {
        InitSetup(nullptr);
        TheCorvane().SelfTimed().Settings().Enabled = true;
    }
    ~Exports() override {
        AppExit();
        InitSetup(nullptr);
    }

    ScopedVirtualClock clock_{kStart};
    LogCapture log_;
    InProcessTransmitter sim_{L"COM2:"};
    std::shared_ptr<tarvo::host::ScriptedOperator> operator_ =
        std::make_shared<tarvo::host::ScriptedOperator>();
    tarvo::host::ScopedOperatorBackend backend_{operator_};
};

TEST_F(Exports, OnEngineStartAndStopShowTheirReportsForAMinute) {
    sim_.InjectFault(Fault(FaultKind::Silence, std::nullopt, tarvo::sim::kEveryTime));
    operator_->AnswerMessage(IDOK);
    operator_->AnswerMessage(IDOK);
    EXPECT_EQ(OnEngineStart(), 1);
    EXPECT_TRUE(TheCorvane().IsRunning());
    EXPECT_EQ(OnEngineStop(), 1);
    EXPECT_FALSE(TheCorvane().IsRunning());

    const auto shown = operator_->History();
    ASSERT_EQ(shown.size(), 2u);
    EXPECT_EQ(shown[0].text, kReportTexts[1]);
    EXPECT_EQ(shown[1].text, kReportTexts[5]);
    for (const auto& box : shown) {
        EXPECT_EQ(box.kind, tarvo::host::ScriptedOperator::Kind::Message);
        EXPECT_EQ(box.timeout, 60);
        EXPECT_EQ(box.type, 0u);
        EXPECT_EQ(box.title, L"");
    }
    EXPECT_TRUE(operator_->Problems().empty());

    // All well: nothing is shown.
    sim_.ClearFaults();
    EXPECT_EQ(OnEngineStart(), 1);
    EXPECT_EQ(OnEngineStop(), 1);
    EXPECT_EQ(operator_->History().size(), 2u);
}

TEST_F(Exports, StartAndStopHandTheReportToTheCallerAndShowNothing) {
    sim_.InjectFault(Fault(FaultKind::MasterRefusal, 770, 1, "Busy"));
    wchar_t* report = Start();
    ASSERT_NE(report, nullptr);
    EXPECT_EQ(std::wstring(report), kReportTexts[6] + L"Busy");
    std::free(report);
    EXPECT_TRUE(TheCorvane().IsRunning());

    report = Stop();
    ASSERT_NE(report, nullptr);
    EXPECT_EQ(std::wstring(report), L"");
    std::free(report);
    EXPECT_FALSE(TheCorvane().IsRunning());
    EXPECT_TRUE(operator_->History().empty());
}

TEST_F(Exports, AppExitStopsRecordingWithoutAMessage) {
    ASSERT_EQ(OnEngineStart(), 1);
    ASSERT_TRUE(TheCorvane().IsRunning());
    const std::size_t started = sim_.Transcript().size();
    sim_.InjectFault(Fault(FaultKind::Refuse, 338));  // a report the operator must not see
    EXPECT_EQ(AppExit(), 1);
    EXPECT_FALSE(TheCorvane().IsRunning());
    EXPECT_FALSE(TheCorvane().SelfTimed().IsThreadRunning());
    EXPECT_EQ(TypesOf(RequestsIn(sim_.Transcript(), started)), kFullStop);
    EXPECT_TRUE(operator_->History().empty());
    EXPECT_EQ(log_.Count(TReportLevel::Warning, kReportWarnings[3]), 1u);

    // Unloading while stopped sends nothing.
    EXPECT_EQ(AppExit(), 1);
    EXPECT_EQ(RequestsIn(sim_.Transcript(), started).size(), kFullStop.size());
}

}  // namespace
