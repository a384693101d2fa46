// The runner's reading of the port: which request failed and why, judged from the bytes the
// module wrote and read, as the module judges them.
#include <gtest/gtest.h>

#include <cctype>
#include <optional>
#include <ostream>
#include <string>
#include <thread>
#include <vector>

#include "apps/tarvo/exchange_watch.h"
#include "sim/wire/frame.h"

namespace {

using tarvo::runner::DescribeFailure;
using tarvo::runner::ExchangeWatch;
using Bytes = std::vector<BYTE>;

Bytes Reply(BYTE number, WORD type, Bytes payload = {}) {
    return tarvo::sim::EncodeFrame({tarvo::sim::kReplyHeader, number, type, std::move(payload)});
}

// One exchange as the module makes it: the port opened, then per attempt the input flushed, the
// request (with the payload 0, false for a command that takes a boolean) written a byte at a
// time and what the module read back; then the port closed.
void Exchange(ExchangeWatch& watch, BYTE number, WORD type, const std::vector<Bytes>& reads) {
    const Bytes request =
        tarvo::sim::EncodeFrame({tarvo::sim::kRequestHeader, number, type, {0x00}});
    watch.Opened();
    for (const Bytes& read : reads) {
        watch.Flushed();
        for (BYTE b : request)
            watch.Sent({&b, 1});
        if (!read.empty())
            watch.Received(read);
    }
    watch.Closed();
}

std::vector<std::string> Descriptions(ExchangeWatch& watch) {
    std::vector<std::string> out;
    for (const auto& failure : watch.TakeFailures())
        out.push_back(DescribeFailure(failure));
    return out;
}

struct Row {
    const char* legend;
    WORD type;
    std::vector<Bytes> reads;         // what the module read back, attempt by attempt
    std::optional<std::string> told;  // nothing: the request did not fail
};

void PrintTo(const Row& row, std::ostream* os) {
    *os << row.legend;
}

class ARequest : public ::testing::TestWithParam<Row> {};

TEST_P(ARequest, IsJudgedAsTheModuleJudgesIt) {
    const Row& row = GetParam();
    ExchangeWatch watch;
    watch.Watch(true);
    Exchange(watch, 17, row.type, row.reads);
    const std::vector<std::string> told = Descriptions(watch);
    if (row.told) {
        ASSERT_EQ(told.size(), 1u);
        EXPECT_EQ(told[0], *row.told);
    } else {
        EXPECT_TRUE(told.empty()) << told[0];
    }
}

const Bytes kGood = Reply(17, 40, {1});
Bytes BadCrc() {
    Bytes reply = kGood;
    reply.back() ^= 0x01;
    return reply;
}
Bytes CutShort() {
    Bytes reply = Reply(17, 4, {'a', 'b', 'c', 'd'});
    reply.resize(8);  // the length says 4, two arrive and the read times out
    return reply;
}
std::string Text(const char* text) {
    return text;
}
Bytes Bytes770(const char* text) {
    const std::string s = text;
    return Reply(17, 770, Bytes(s.begin(), s.end()));
}

INSTANTIATE_TEST_SUITE_P(
    Rows, ARequest,
    ::testing::Values(
        Row{"silence to all three attempts",
            42,
            {{}, {}, {}},
            Text("42 (secondary satellite id, packet #17) failed: no answer in each of 3 "
                 "attempts")},
        Row{"a different failure each time, told in order",
            37,
            {BadCrc(), {}, Bytes{0xAA}},
            Text("37 (local time offset, packet #17) failed after 3 attempts: a reply with a "
                 "bad CRC, no answer, a reply with a wrong header")},
        Row{"answered on the second attempt: no failure", 40, {{}, kGood}, std::nullopt},
        Row{"another packet number, then cut short",
            338,
            {Reply(16, 338, {1}), CutShort()},
            Text(
                "338 false (packet #17) failed after 2 attempts: a reply to another packet number, "
                "a reply cut short")},
        Row{"a checked command answered 0 is refused",
            200,
            {Reply(17, 200, {0})},
            Text("200 false (self-timed on, packet #17) refused: the transmitter answered 0")},
        Row{"a checked command answered 2 is accepted", 338, {Reply(17, 338, {2})}, std::nullopt},
        Row{"a checked command answered with nothing is accepted",
            200,
            {Reply(17, 200)},
            std::nullopt},
        Row{"an unchecked command answered 0 is not judged",
            506,
            {Reply(17, 506, {0})},
            std::nullopt},
        Row{"master start refused with its reason",
            770,
            {Bytes770("Battery low")},
            Text("770 (master start, packet #17) refused: the transmitter answered \"Battery "
                 "low\"")},
        Row{"master start answered Unknown command is accepted",
            770,
            {Bytes770("Unknown command")},
            std::nullopt},
        Row{"master start answered Unknown command. is refused",
            770,
            {Bytes770("Unknown command.")},
            Text("770 (master start, packet #17) refused: the transmitter answered \"Unknown "
                 "command.\"")},
        Row{"master start answered one byte is accepted", 770, {Bytes770("0")}, std::nullopt}),
    [](const auto& info) {
        std::string name;
        for (const char* c = info.param.legend; *c != '\0'; ++c)
            name += std::isalnum(static_cast<unsigned char>(*c)) ? *c : '_';
        return name;
    });

TEST(ExchangeWatch, JudgesNothingWhileNotWatching) {
    ExchangeWatch watch;
    Exchange(watch, 1, 42, {{}, {}, {}});
    EXPECT_TRUE(watch.TakeFailures().empty());
}

TEST(ExchangeWatch, NeverJudgesARequestSeenFromItsMiddle) {
    ExchangeWatch watch;
    // Watching begins while a request is half written: that attempt is not judged, the next
    // request is.
    const Bytes request = tarvo::sim::EncodeFrame({tarvo::sim::kRequestHeader, 2, 42, {}});
    watch.Opened();
    watch.Flushed();
    watch.Sent({request.data(), 3});
    watch.Watch(true);
    watch.Sent({request.data() + 3, request.size() - 3});
    watch.Closed();
    Exchange(watch, 3, 40, {{}, {}, {}});
    const auto told = Descriptions(watch);
    ASSERT_EQ(told.size(), 1u);
    EXPECT_EQ(told[0], "40 (satellite id, packet #3) failed: no answer in each of 3 attempts");
}

TEST(ExchangeWatch, JudgesOnlyTheThreadThatAskedToWatch) {
    ExchangeWatch watch;
    watch.Watch(true);
    // A messenger's request on another thread is no part of the sequence.
    std::thread([&] { Exchange(watch, 4, 219, {{}, {}, {}}); }).join();
    EXPECT_TRUE(watch.TakeFailures().empty());
    Exchange(watch, 5, 219, {{}, {}, {}});
    EXPECT_EQ(watch.TakeFailures().size(), 1u);
}

TEST(ExchangeWatch, TellsARequestThePortCouldNotWrite) {
    ExchangeWatch watch;
    watch.Watch(true);
    // The port takes the header, then fails; the next attempts fail at once.
    const Bytes request = tarvo::sim::EncodeFrame({tarvo::sim::kRequestHeader, 5, 42, {0, 0}});
    watch.Opened();
    for (int attempt = 0; attempt < 3; ++attempt) {
        watch.Flushed();
        watch.Sent({request.data(), attempt == 0 ? 6u : 4u});
        watch.SendFailed();
    }
    watch.Closed();
    const auto told = Descriptions(watch);
    ASSERT_EQ(told.size(), 1u);
    EXPECT_EQ(told[0],
              "42 (secondary satellite id, packet #5) failed: a write failure in each of 3 "
              "attempts");
}

TEST(ExchangeWatch, TellsEachFailedRequestOfASequenceInOrder) {
    ExchangeWatch watch;
    watch.Watch(true);
    Exchange(watch, 5, 200, {Reply(5, 200, {0})});
    Exchange(watch, 6, 300, {Reply(6, 300, {1})});
    Exchange(watch, 7, 338, {{}, {}, {}});
    const auto told = Descriptions(watch);
    ASSERT_EQ(told.size(), 2u);
    EXPECT_EQ(told[0], "200 false (self-timed on, packet #5) refused: the transmitter answered 0");
    EXPECT_EQ(told[1], "338 false (packet #7) failed: no answer in each of 3 attempts");
    EXPECT_TRUE(watch.TakeFailures().empty()) << "taken once";
}

}  // namespace
