// The pieces of the runner's end-of-run summary: the port a setup gives the transmitter, how the
// simulator's transcript is read back into outcomes and counts (from transcripts the simulator
// itself made, so that a change in how it notes things cannot slip past), and the printed form.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

#include "apps/tarvo/corvane_port.h"
#include "apps/tarvo/exchange_summary.h"
#include "host/setup/setup_file.h"
#include "sim/model/time_source.h"
#include "sim/model/transmitter.h"
#include "sim/wire/frame.h"

namespace {

using tarvo::runner::CodeCounts;
using tarvo::runner::ExchangeSummary;
using tarvo::sim::Fault;
using tarvo::sim::FaultKind;
using Bytes = std::vector<BYTE>;
using ::testing::HasSubstr;

Bytes Request(BYTE number, WORD type, Bytes payload = {}) {
    return tarvo::sim::EncodeFrame({tarvo::sim::kRequestHeader, number, type, std::move(payload)});
}

// A transmitter on a hand-moved clock (from 2024-06-01) that takes requests one at a time, each
// given a second to be answered.
struct Bench {
    tarvo::sim::ManualTimeSource time{1'717'200'000'000};
    tarvo::sim::Transmitter device{time};
    void Send(const Bytes& bytes) {
        device.Receive(bytes);
        for (int i = 0; i < 10; ++i) {
            time.AdvanceMs(100);
            device.Poll();
            device.TakeDueOutput();
        }
    }
};

// The counts that are not zero, by short name.
std::string Counted(const CodeCounts& c, int noise = 0) {
    const std::pair<const char*, int> all[] = {
        {"req", c.requests},    {"rep", c.replies},           {"refused", c.refused},
        {"unknown", c.unknown}, {"unanswered", c.unanswered}, {"repeats", c.repeats},
        {"bad CRC", c.badCrc},  {"garbled", c.badReplies},    {"noise", noise}};
    std::string text;
    for (const auto& [name, n] : all) {
        if (n != 0)
            text += (text.empty() ? "" : ", ") + std::string(name) + " " + std::to_string(n);
    }
    return text;
}

std::string Joined(const std::vector<std::string>& words) {
    std::string s;
    for (const auto& w : words)
        s += (s.empty() ? "" : " ") + w;
    return s;
}

// How the transmitter's own refusals, unknown codes and silence are marked is seen end to end
// in the runner's tests with faults; these are the ways the runner's runs do not show.
TEST(ExchangeSummary, EachWayTheTransmitterTakesARequestIsMarkedAndCountedApart) {
    Bytes badCrc = Request(9, 771);
    badCrc.back() ^= 0xFF;
    const Fault garble(FaultKind::CorruptCrc, 771);
    const struct {
        const char* legend;
        std::vector<Fault> faults;
        std::vector<Bytes> sent;
        const char* summary;  // the requests marked, then the counts
    } rows[] = {
        {"done and answered", {}, {Request(1, 771)}, "771: req 1, rep 1"},
        {"200 without its boolean", {}, {Request(1, 200)}, "200(refused): req 1, rep 1, refused 1"},
        {"unknown code", {}, {Request(1, 9999)}, "9999(unknown): req 1, rep 1, unknown 1"},
        {"a retry",
         {},
         {Request(1, 771), Request(1, 771)},
         "771 771(repeat): req 2, rep 2, repeats 1"},
        {"ignored in a restart",
         {},
         {Request(1, 6), Request(2, 771)},
         "6 771(ignored): req 2, rep 1, unanswered 1"},
        {"a bad CRC makes a bad frame, not a request", {}, {badCrc}, "771(bad CRC): bad CRC 1"},
        {"a reply garbled on purpose", {garble}, {Request(1, 771)}, "771: req 1, rep 1, garbled 1"},
        {"bytes that belong to no frame", {}, {Bytes{0x00, 0x13}}, ": noise 1"},
    };
    for (const auto& row : rows) {
        Bench bench;
        for (const auto& f : row.faults)
            bench.device.InjectFault(f);
        for (const auto& bytes : row.sent)
            bench.Send(bytes);
        const auto& t = bench.device.Transcript();
        const ExchangeSummary s = tarvo::runner::Summarize(t, t.size(), t.size());
        EXPECT_EQ(Joined(s.start) + ": " + Counted(s.total, s.noiseRuns), row.summary)
            << row.legend;
        EXPECT_TRUE(s.stop.empty() && s.recording.empty()) << row.legend;
    }
}

TEST(ExchangeSummary, TheTranscriptIsSplitIntoStartRecordingAndStopAndCountedByCode) {
    Bench bench;
    BYTE n = 0;
    const auto send = [&](WORD type) {
        bench.Send(Request(++n, type, type == 200 ? Bytes{0} : type == 216 ? Bytes{'M'} : Bytes{}));
    };
    for (WORD type : {771, 200, 770})
        send(type);
    const std::size_t started = bench.device.Transcript().size();
    bench.device.InjectFault(Fault(FaultKind::Refuse, 216));
    for (WORD type : {219, 216, 219, 216, 219})
        send(type);
    const std::size_t stopping = bench.device.Transcript().size();
    for (WORD type : {771, 200})
        send(type);

    const ExchangeSummary s =
        tarvo::runner::Summarize(bench.device.Transcript(), started, stopping);

    char* text = nullptr;
    std::size_t size = 0;
    std::FILE* out = open_memstream(&text, &size);
    tarvo::runner::PrintExchanges(out, s);
    std::fclose(out);
    const std::string printed(text, size);
    std::free(text);
    EXPECT_THAT(printed, HasSubstr("  at recording start: 771 200 770\n"
                                   "  while recording: 5 requests: 216 x2, 219 x3\n"
                                   "  at recording stop: 771 200\n"
                                   "  requests 10, replies 10, bad frames 0 (bad CRC 0, noise 0)\n"
                                   "  refused 1, unknown 0, unanswered 0, repeats 0, garbled "
                                   "replies 0, restarts 0\n"));
    // The table by code: requests, replies, refused, unknown, unanswered.
    EXPECT_THAT(printed, HasSubstr("    216        2        2        1        0          0"));
}

TEST(ExchangeSummary, BytesShowAsTextWhenPrintableElseAsHex) {
    const struct {
        const char* legend;
        Bytes bytes;
        const char* shown;
    } rows[] = {
        {"line ends and tabs escaped", {':', 'H', 'G', '\r', '\n', '\t'}, "\":HG\\r\\n\\t\""},
        {"quotes and backslashes escaped", {'"', '\\'}, "\"\\\"\\\\\""},
        {"text, pseudobinary too, is printable", {'H', 'G', ' ', '@', '?', '~'}, "\"HG @?~\""},
        {"one control byte makes it hex", {'A', 0x01, 'B'}, "hex 410142"},
        {"a byte above 0x7e makes it hex", {0x7F}, "hex 7f"},
        {"nothing", {}, "\"\""},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(tarvo::runner::BytesText(row.bytes), row.shown) << row.legend;
    }
}

TEST(CorvanePort, ThePortIsReadFromCommonAsTheModuleReadsIt) {
    const struct {
        const char* legend;
        const char* corvane;  // the <Corvane> section's content; none without one
        int index;
        const wchar_t* name;
    } rows[] = {
        {"no <Common>: the module's default", "<SelfTimed Enabled=\"1\"/>", 0, L"COM2:"},
        {"Port 7 is COM9:", "<Common SatID=\"1\" Port=\"7\"/>", 7, L"COM9:"},
        {"a negative Port names no port", "<Common Port=\"-1\"/>", -1, L""},
        {"leading digits count, as the module reads numbers", "<Common Port=\" 3x\"/>", 3,
         L"COM5:"},
        {"an unparsable Port reads as 0", "<Common Port=\"two\"/>", 0, L"COM2:"},
        {"the last <Common> wins", "<Common Port=\"1\"/><Common Port=\"4\"/>", 4, L"COM6:"},
        {"a Port of another element is not the transmitter's",
         "<Common Port=\"2\"/><Other Port=\"5\"/>", 2, L"COM4:"},
        {"no <Corvane> section", nullptr, 0, L""},
    };
    for (const auto& row : rows) {
        const std::string xml =
            row.corvane ? std::string("<Corvane>") + row.corvane + "</Corvane>" : "<Blocks/>";
        tarvo::host::SetupFile setup;
        std::string error;
        ASSERT_TRUE(setup.Parse("<TarvoSetup>" + xml + "</TarvoSetup>", "test.xml", error))
            << error;
        const auto port = tarvo::runner::FindCorvanePort(setup);
        ASSERT_EQ(port.has_value(), row.corvane != nullptr) << row.legend;
        if (port) {
            EXPECT_EQ(port->index, row.index) << row.legend;
            EXPECT_TRUE(port->name == row.name) << row.legend;
        }
    }
}

}  // namespace
