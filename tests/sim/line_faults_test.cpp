// Faults of the line at a rate from a seed: how often they strike, that each is in the
// transcript, what each kind does to the bytes, and that a seed always gives the same faults.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "sim/model/line_faults.h"
#include "sim/support/device_fixture.h"

using namespace tarvo::sim;
using namespace simtest;

namespace {

TransmitterOptions WithLineFaults(double rate, std::uint64_t seed) {
    TransmitterOptions options;
    options.lineFaults = {.rate = rate, .seed = seed};
    return options;
}

std::vector<TranscriptEntry> Of(const std::vector<TranscriptEntry>& transcript,
                                Direction direction) {
    std::vector<TranscriptEntry> entries;
    for (const TranscriptEntry& e : transcript) {
        if (e.direction == direction) {
            entries.push_back(e);
        }
    }
    return entries;
}

bool Has(const std::string& text, const char* part) {
    return text.find(part) != std::string::npos;
}

// Requests of every length the logger sends, numbered on.
Bytes Traffic(int count) {
    Bytes bytes;
    for (int i = 0; i < count; ++i) {
        const auto number = static_cast<std::uint8_t>(i);
        const Bytes frame = i % 3 == 0   ? Request(number, 35)
                            : i % 3 == 1 ? Request(number, 216, Text("HG 5 #15 2.282"))
                                         : Request(number, 300, {1});
        bytes.insert(bytes.end(), frame.begin(), frame.end());
    }
    return bytes;
}

}  // namespace

TEST_F(DeviceTest, LineFaultsStrikeAboutTheirRateAndEveryLostExchangeHasOneInTheTranscript) {
    const int asks = 4000;
    Make(WithLineFaults(0.05, 7));
    int answered = 0;
    for (int i = 0; i < asks; ++i) {
        // Long enough for the longest delay and for a cut frame to be given up.
        answered += Ask(31, {}, 5'000).size() == 7 ? 1 : 0;
    }
    const std::vector<TranscriptEntry> transcript = device_->Transcript();
    const std::vector<TranscriptEntry> faults = Of(transcript, Direction::LineFault);
    int delays = 0;
    for (const TranscriptEntry& f : faults) {
        delays += Has(f.note, "delayed") ? 1 : 0;
    }
    // A request and a reply per exchange, each hit at 5 %.
    const double share = static_cast<double>(faults.size()) / (2.0 * asks);
    EXPECT_GT(share, 0.04);
    EXPECT_LT(share, 0.06);
    EXPECT_GT(delays, 0);
    // A delayed reply still arrives; every other fault costs its exchange, and nothing else does.
    EXPECT_EQ(asks - answered, static_cast<int>(faults.size()) - delays);
}

TEST_F(DeviceTest, EachKindOfLineFaultDoesWhatItsTranscriptEntrySays) {
    constexpr std::size_t kReplySize = 14;  // the frame of a reply to 35
    Make(WithLineFaults(0.3, 11));
    struct Seen {
        int corrupt = 0, lost = 0, delayed = 0, requestHits = 0;
    } seen;
    for (int i = 0; i < 300; ++i) {
        const std::size_t before = device_->Transcript().size();
        ++number_;
        const Bytes line = Send(Request(number_, 35), 5'000);
        const std::vector<TranscriptEntry> all = device_->Transcript();
        const std::vector<TranscriptEntry> now(all.begin() + static_cast<long>(before), all.end());
        const std::vector<TranscriptEntry> faults = Of(now, Direction::LineFault);
        const std::vector<TranscriptEntry> replies = Of(now, Direction::Reply);
        if (faults.empty()) {
            EXPECT_EQ(PayloadOf(line, number_, 35).size(), 6u) << "a clean exchange";
            continue;
        }
        ASSERT_EQ(faults.size(), 1u);
        const std::string& note = faults[0].note;
        SCOPED_TRACE(note);
        if (Has(note, "request byte")) {
            ++seen.requestHits;
            EXPECT_TRUE(replies.empty()) << "a damaged request is not answered";
            EXPECT_TRUE(line.empty());
            continue;
        }
        ASSERT_EQ(replies.size(), 1u);
        EXPECT_EQ(faults[0].number, number_) << "the fault names the reply it struck";
        if (Has(note, "lost")) {
            ++seen.lost;
            EXPECT_TRUE(line.empty());
        } else if (Has(note, "corrupted")) {
            ++seen.corrupt;
            EXPECT_EQ(line.size(), kReplySize) << "one byte changed, none lost";
            EXPECT_NE(PayloadOf(line, number_, 35).size(), 6u) << "and it does not pass";
        } else {
            ASSERT_TRUE(Has(note, "delayed"));
            ++seen.delayed;
            const std::int64_t delayMs = std::stoll(note.substr(note.rfind("delayed ") + 8));
            const std::vector<TranscriptEntry> requests = Of(now, Direction::Request);
            EXPECT_EQ(replies[0].loggerMs - requests.at(0).loggerMs, 5 + delayMs);
            EXPECT_EQ(PayloadOf(line, number_, 35).size(), 6u) << "late but whole";
        }
    }
    EXPECT_GT(seen.corrupt, 0);
    EXPECT_GT(seen.lost, 0);
    EXPECT_GT(seen.delayed, 0);
    EXPECT_GT(seen.requestHits, 0);
}

TEST(LineFaults, TheSameSeedGivesTheSameFaultsHoweverTheBytesAreSplitAndAnotherSeedOthers) {
    const Bytes traffic = Traffic(1500);
    // What the device puts on the line and the transcript's line faults, the requests fed in
    // reads of `chunk` bytes.
    const auto run = [&traffic](std::uint64_t seed, std::size_t chunk) {
        ManualTimeSource time(0);
        Transmitter device(time, WithLineFaults(0.05, seed));
        for (std::size_t at = 0; at < traffic.size(); at += chunk) {
            const std::size_t n = std::min(chunk, traffic.size() - at);
            device.Receive(std::span<const BYTE>(traffic.data() + at, n));
        }
        Bytes line;
        AdvanceDevice(time, device, 10'000, [&line](const Bytes& out) {
            line.insert(line.end(), out.begin(), out.end());
        });
        std::vector<std::string> notes;
        for (const TranscriptEntry& e : Of(device.Transcript(), Direction::LineFault)) {
            notes.push_back(e.note);
        }
        return std::make_pair(line, notes);
    };
    const auto whole = run(7, traffic.size());
    EXPECT_GT(whole.second.size(), 50u);
    EXPECT_EQ(run(7, 1), whole) << "byte by byte";
    EXPECT_EQ(run(7, 13), whole) << "in uneven reads";
    EXPECT_NE(run(8, traffic.size()).second, whole.second) << "another seed";
}

TEST(LineFaults, ARateIsAFractionOrAPercentageFromNoneToAll) {
    const struct {
        const char* text;
        bool ok;
        double rate;
    } rows[] = {
        {"0.05", true, 0.05}, {"5%", true, 0.05}, {"0", true, 0},     {"100%", true, 1},
        {"1", true, 1},       {"5", false, 0},    {"101%", false, 0}, {"-0.1", false, 0},
        {"%", false, 0},      {"", false, 0},     {"5 %", false, 0},  {"nan", false, 0},
    };
    for (const auto& row : rows) {
        double rate = -1;
        EXPECT_EQ(ParseLineFaultRate(row.text, rate), row.ok) << row.text;
        if (row.ok) {
            EXPECT_DOUBLE_EQ(rate, row.rate) << row.text;
        }
    }
}
