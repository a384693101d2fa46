// The pieces of the runner's end-of-run summary: the port a setup gives the transmitter, how the
// simulator's transcript is read back into outcomes and counts (from transcripts the simulator
// itself made, so that a change in how it notes things cannot slip past), and the printed form.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

#include "apps/tarvo/corvane_port.h"
#include "apps/tarvo/exchange_summary.h"
#include "host/setup_file.h"
#include "sim/frame.h"
#include "sim/time_source.h"
#include "sim/transmitter.h"

namespace {

using tarvo::runner::CodeCounts;
using tarvo::runner::ExchangeSummary;
using tarvo::runner::FindCorvanePort;
using tarvo::runner::Summarize;
using tarvo::sim::Fault;
using tarvo::sim::FaultKind;
using Bytes = std::vector<BYTE>;

constexpr std::int64_t kJune1 = 1'717'200'000'000;  // 2024-06-01 00:00:00

Bytes Request(BYTE number, WORD type, Bytes payload = {}) {
    return tarvo::sim::EncodeFrame({tarvo::sim::kRequestHeader, number, type, std::move(payload)});
}

// A transmitter on a hand-moved clock that takes requests one at a time, each given a second
// to be answered.
class Bench {
  public:
    Bench() : time_(kJune1), device_(time_) {}
    void Send(const Bytes& bytes) {
        device_.Receive(bytes);
        for (int i = 0; i < 10; ++i) {
            time_.AdvanceMs(100);
            device_.Poll();
            device_.TakeDueOutput();
        }
    }
    tarvo::sim::Transmitter& Device() { return device_; }
    const std::vector<tarvo::sim::TranscriptEntry>& Transcript() { return device_.Transcript(); }

  private:
    tarvo::sim::ManualTimeSource time_;
    tarvo::sim::Transmitter device_;
};

CodeCounts Counts(int requests, int replies, int refused = 0, int unknown = 0, int unanswered = 0,
                  int repeats = 0, int badCrc = 0, int badReplies = 0) {
    return CodeCounts{requests, replies, refused, unknown, unanswered, repeats, badCrc, badReplies};
}

std::string Joined(const std::vector<std::string>& words) {
    std::string s;
    for (const auto& w : words)
        s += (s.empty() ? "" : " ") + w;
    return s;
}

TEST(ExchangeSummary, EachWayTheTransmitterTakesARequestIsMarkedAndCountedApart) {
    Bytes badCrc = Request(9, 771);
    badCrc.back() ^= 0xFF;
    const struct {
        const char* legend;
        std::vector<Fault> faults;
        std::vector<Bytes> sent;
        const char* marked;
        CodeCounts total;
        int noise;
    } rows[] = {
        {"a command done and answered", {}, {Request(1, 771)}, "771", Counts(1, 1), 0},
        {"a refusal the transmitter makes itself (200 without its boolean)",
         {},
         {Request(1, 200)},
         "200(refused)",
         Counts(1, 1, 1),
         0},
        {"a refusal fault",
         {Fault(FaultKind::Refuse, 200)},
         {Request(1, 200, {0})},
         "200(refused)",
         Counts(1, 1, 1),
         0},
        {"a master start refused with a reason",
         {Fault(FaultKind::MasterRefusal)},
         {Request(1, 770)},
         "770(refused)",
         Counts(1, 1, 1),
         0},
        {"a code the transmitter does not know",
         {},
         {Request(1, 9999)},
         "9999(unknown)",
         Counts(1, 1, 0, 1),
         0},
        {"an unknown-command fault",
         {Fault(FaultKind::UnknownCommand, 771)},
         {Request(1, 771)},
         "771(unknown)",
         Counts(1, 1, 0, 1),
         0},
        {"a silent transmitter: heard, not answered",
         {Fault(FaultKind::Silence, 35)},
         {Request(1, 35)},
         "35(no answer)",
         Counts(1, 0, 0, 0, 1),
         0},
        {"a retry answered again, not done again",
         {},
         {Request(1, 771), Request(1, 771)},
         "771 771(repeat)",
         Counts(2, 2, 0, 0, 0, 1),
         0},
        {"a request while the transmitter restarts is ignored",
         {},
         {Request(1, 6), Request(2, 771)},
         "6 771(ignored)",
         Counts(2, 1, 0, 0, 1),
         0},
        {"a request with a bad CRC is a bad frame, not a request",
         {},
         {badCrc},
         "771(bad CRC)",
         Counts(0, 0, 0, 0, 0, 0, 1),
         0},
        {"a reply garbled on purpose",
         {Fault(FaultKind::CorruptCrc, 771)},
         {Request(1, 771)},
         "771",
         Counts(1, 1, 0, 0, 0, 0, 0, 1),
         0},
        {"bytes that belong to no frame", {}, {Bytes{0x00, 0x13}}, "", Counts(0, 0), 1},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.legend);
        Bench bench;
        for (const auto& f : row.faults)
            bench.Device().InjectFault(f);
        for (const auto& bytes : row.sent)
            bench.Send(bytes);
        const auto& t = bench.Transcript();
        const ExchangeSummary s = Summarize(t, t.size(), t.size());
        EXPECT_EQ(Joined(s.start), row.marked);
        EXPECT_EQ(s.total, row.total);
        EXPECT_EQ(s.noiseRuns, row.noise);
        EXPECT_TRUE(s.stop.empty());
        EXPECT_TRUE(s.recording.empty());
    }
}

TEST(ExchangeSummary, TheTranscriptIsSplitIntoStartRecordingAndStopAndCountedByCode) {
    Bench bench;
    BYTE n = 0;
    for (WORD type : {771, 200, 770}) {
        const Bytes payload = type == 200 ? Bytes{0} : Bytes{};
        bench.Send(Request(++n, type, payload));
    }
    const std::size_t started = bench.Transcript().size();
    bench.Device().InjectFault(Fault(FaultKind::Refuse, 216));
    for (WORD type : {219, 216, 219, 216, 219})
        bench.Send(Request(++n, type, type == 216 ? Bytes{'M'} : Bytes{}));
    const std::size_t stopping = bench.Transcript().size();
    for (WORD type : {771, 200})
        bench.Send(Request(++n, type, type == 200 ? Bytes{0} : Bytes{}));

    const ExchangeSummary s = Summarize(bench.Transcript(), started, stopping);
    EXPECT_EQ(Joined(s.start), "771 200 770");
    EXPECT_EQ(Joined(s.stop), "771 200");
    EXPECT_EQ(s.recording, (std::map<int, int>{{216, 2}, {219, 3}}));
    EXPECT_EQ(s.byCode.at(216), Counts(2, 2, 1));
    EXPECT_EQ(s.byCode.at(219), Counts(3, 3));
    EXPECT_EQ(s.byCode.at(771), Counts(2, 2));
    EXPECT_EQ(s.byCode.at(200), Counts(2, 2));
    EXPECT_EQ(s.total, Counts(10, 10, 1));

    char* text = nullptr;
    std::size_t size = 0;
    std::FILE* out = open_memstream(&text, &size);
    tarvo::runner::PrintExchanges(out, s);
    std::fclose(out);
    const std::string printed(text, size);
    std::free(text);
    EXPECT_NE(printed.find("  at recording start: 771 200 770\n"
                           "  while recording: 5 requests: 216 x2, 219 x3\n"
                           "  at recording stop: 771 200\n"
                           "  requests 10, replies 10, bad frames 0 (bad CRC 0, noise 0)\n"
                           "  refused 1, unknown 0, unanswered 0, repeats 0, garbled replies 0, "
                           "restarts 0\n"),
              std::string::npos)
        << printed;
    EXPECT_NE(printed.find("    216        2        2        1        0          0"),
              std::string::npos)
        << printed;
}

TEST(ExchangeSummary, ALongSequenceWrapsUnderTheFirstWordAndLosesNothing) {
    ExchangeSummary s;
    for (int i = 0; i < 40; ++i)
        s.start.push_back(std::to_string(200 + i) + (i % 7 == 0 ? "(refused)" : ""));
    char* text = nullptr;
    std::size_t size = 0;
    std::FILE* out = open_memstream(&text, &size);
    tarvo::runner::PrintExchanges(out, s);
    std::fclose(out);
    std::istringstream lines(std::string(text, size));
    std::free(text);

    const std::string lead = "  at recording start: ";
    std::string line, words;
    int count = 0;
    while (std::getline(lines, line)) {
        EXPECT_LE(line.size(), 99u) << line;
        if (count == 0) {
            ASSERT_EQ(line.rfind(lead, 0), 0u) << line;
        } else if (line.rfind(std::string(lead.size(), ' '), 0) != 0) {
            break;
        }
        words += (count == 0 ? "" : " ") + line.substr(lead.size());
        ++count;
    }
    EXPECT_GT(count, 1);
    EXPECT_EQ(words, Joined(s.start));
}

TEST(ExchangeSummary, BytesShowAsTextWhenPrintableElseAsHex) {
    const struct {
        const char* legend;
        Bytes bytes;
        const char* shown;
    } rows[] = {
        {"plain text", {'H', 'G', ' ', '2', '.', '5'}, "\"HG 2.5\""},
        {"line ends and tabs escaped", {':', 'H', 'G', '\r', '\n', '\t'}, "\":HG\\r\\n\\t\""},
        {"quotes and backslashes escaped", {'"', '\\'}, "\"\\\"\\\\\""},
        {"pseudobinary is printable", {'@', 'A', '?', '~'}, "\"@A?~\""},
        {"one control byte makes it hex", {'A', 0x01, 'B'}, "hex 410142"},
        {"a byte above 0x7e makes it hex", {0x7F}, "hex 7f"},
        {"nothing", {}, "\"\""},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.legend);
        EXPECT_EQ(tarvo::runner::BytesText(row.bytes), row.shown);
    }
}

TEST(CorvanePort, ThePortIsReadFromCommonAsTheModuleReadsIt) {
    const struct {
        const char* legend;
        const char* section;  // inside <TarvoSetup>
        bool found;
        int index;
        const wchar_t* name;
    } rows[] = {
        {"no <Corvane> section", "<Blocks/>", false, 0, L""},
        {"no <Common>: the module's default", "<Corvane><SelfTimed Enabled=\"1\"/></Corvane>", true,
         0, L"COM2:"},
        {"Port 0 is COM2:", "<Corvane><Common Port=\"0\"/></Corvane>", true, 0, L"COM2:"},
        {"Port 7 is COM9:", "<Corvane><Common SatID=\"1\" Port=\"7\"/></Corvane>", true, 7,
         L"COM9:"},
        {"Port 8 names no port", "<Corvane><Common Port=\"8\"/></Corvane>", true, 8, L""},
        {"a negative Port names no port", "<Corvane><Common Port=\"-1\"/></Corvane>", true, -1,
         L""},
        {"leading digits count, as the module reads numbers",
         "<Corvane><Common Port=\" 3x\"/></Corvane>", true, 3, L"COM5:"},
        {"an unparsable Port reads as 0", "<Corvane><Common Port=\"two\"/></Corvane>", true, 0,
         L"COM2:"},
        {"the last <Common> wins", "<Corvane><Common Port=\"1\"/><Common Port=\"4\"/></Corvane>",
         true, 4, L"COM6:"},
        {"a Port of another element is not the transmitter's",
         "<Corvane><Common Port=\"2\"/><Other Port=\"5\"/></Corvane>", true, 2, L"COM4:"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.legend);
        tarvo::host::SetupFile setup;
        std::string error;
        ASSERT_TRUE(setup.Parse(std::string("<TarvoSetup>") + row.section + "</TarvoSetup>",
                                "test.xml", error))
            << error;
        const auto port = FindCorvanePort(setup);
        ASSERT_EQ(port.has_value(), row.found);
        if (row.found) {
            EXPECT_EQ(port->index, row.index);
            EXPECT_EQ(port->name, row.name);
        }
    }
}

}  // namespace
