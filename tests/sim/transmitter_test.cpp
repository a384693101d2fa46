// The transmitter model on a hand-moved clock: replies byte for byte, state, faults, reset, noise.
#include <gtest/gtest.h>

#include <string>

#include "sim/support/device_fixture.h"

using namespace tarvo::sim;
using namespace simtest;

namespace {

// 2024-03-01 12:00:00 as the line carries it.
const Bytes kUnknown = Text("Unknown command");
const std::uint32_t kNowSeconds = static_cast<std::uint32_t>(Epoch(2024, 3, 1, 12, 0, 0));

// The answer to 35: seconds since 1970, validity, an unused byte.
Bytes Clock(std::uint32_t seconds, std::uint8_t valid = 1) {
    return Cat({U32(seconds), {valid, 0}});
}

// A request and the payload of the reply it should get.
struct Row {
    const char* legend;
    std::uint16_t type;
    Bytes payload;
    Bytes reply;
};

}  // namespace

TEST_F(DeviceTest, AnswersEachKindOfCommandByteForByteAndKeepsSettingsFromChangeWhileRunning) {
    const Row rows[] = {
        {"current time is the device's 7-byte time", 31, {}, Time7(2024, 3, 1, 12, 0, 0)},
        {"clock is seconds since 1970, valid, unused byte", 35, {}, Clock(kNowSeconds)},
        {"window close is zero without a schedule", 219, {}, Bytes(7, 0)},
        {"a setting is accepted with one byte 1", 37, U16(0xFFFB), {1}},
        {"satellite id", 40, U32(0x0000ABCD), {1}},
        {"self-timed on is checked: accepted", 200, {1}, {1}},
        {"a time span setting", 204, SpanOf(90061), {1}},
        {"862 with its leading 3", 862, Cat({{3}, U32(0x40200000)}), {1}},
        {"random off", 300, {0}, {1}},
        {"a code it does not know", 999, {}, kUnknown},
        {"217 is defined and stored", 217, Text("x"), {1}},
        {"channel 0 is refused", 202, U16(0), {0}},
        {"channel 1000 is refused", 202, U16(1000), {0}},
        {"an unknown self-timed type is refused", 208, U16(299), {0}},
        {"a setting of the wrong size is refused", 37, {1, 2, 3}, {0}},
        {"a query with a payload is refused", 35, {0}, {0}},
        {"an empty message is refused", 216, {}, {0}},
        {"a time span with 60 minutes is refused", 204, {0, 0, 60, 0}, {0}},
        {"862 without its leading 3 is refused", 862, Cat({{2}, U32(0)}), {0}},
        {"self-timed test without 236 is refused", 218, {}, {0}},
        {"send-to-maker before its set-up is refused", 606, {}, {0}},
        {"channel 151", 202, U16(151), {1}},
        {"master start answers with an empty payload", 770, {}, {}},
        {"master start again", 770, {}, Text("System is already running.")},
        {"a setting while running is refused", 202, U16(152), {0}},
        {"self-timed on (checked) while running is refused", 200, {0}, {0}},
        {"338 (checked) while running is refused", 338, {0}, {0}},
        {"the test arm while running is refused", 236, {}, {0}},
        {"a message load while running is accepted", 216, Text("M"), {1}},
        {"506 while running is accepted", 506, {1}, {1}},
        {"queries while running are answered (1.5 s later)", 31, {}, Time7(2024, 3, 1, 12, 0, 1)},
        {"master stop", 771, {}, {1}},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(Ask(row.type, row.payload), row.reply) << row.legend;
    }
    EXPECT_EQ(device_->Config().SelfTimed().channel, 151) << "the refused write changed nothing";
    EXPECT_EQ(Ask(202, U16(152)), Bytes{1});
    EXPECT_EQ(device_->Config().Get(202), U16(152));
}

TEST_F(DeviceTest, TransmitsTestsRandomAndSendToMakerIntoTheDownlinkLog) {
    const Row rows[] = {
        {"self-timed channel", 202, U16(151), {1}},
        {"self-timed type", 208, U16(1201), {1}},
        {"random channel", 302, U16(77), {1}},
        {"random type", 306, U16(300), {1}},
        {"self-timed test: arm", 236, {}, {1}},
        {"load", 216, Text("ST TEST"), {1}},
        {"send", 218, {}, {1}},
        {"one arm, one test", 218, {}, {0}},
        {"arm again", 236, {}, {1}},
        {"the buffer went with the test", 218, {}, {0}},
        {"random test: load", 312, Text("RND TEST"), {1}},
        {"send", 314, {}, {1}},
        {"random load", 312, Text("ALARM"), {1}},
        {"a true send needs the master switch", 300, {1}, {0}},
        {"master start", 770, {}, {}},
        {"random on", 300, {1}, {1}},
        {"the buffer went with the transmission", 300, {1}, {0}},
        {"master stop", 771, {}, {1}},
        {"send-to-maker: message", 604, U32(0xDEADBEEF), {1}},
        {"channel", 602, U16(200), {1}},
        {"not a send-to-maker rate", 600, U16(302), {0}},
        {"rate", 600, U16(1201), {1}},
        {"send", 606, {}, {1}},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(Ask(row.type, row.payload), row.reply) << row.legend;
    }
    EXPECT_EQ(Downlink(),
              (std::vector<std::string>{
                  "self-timed-test sent 151/1201 ST TEST", "self-timed-test empty 151/1201 ",
                  "random-test sent 77/300 RND TEST", "random stopped 77/300 ",
                  "random sent 77/300 ALARM", "random empty 77/300 ",
                  "send-to-maker sent 200/1201 \xDE\xAD\xBE\xEF"}));
}

TEST_F(DeviceTest, FailsafeInhibitsTransmissionsUntilCommandSeven) {
    device_->TripFailsafe();
    Ask(312, Text("R"));
    EXPECT_EQ(Ask(314), Bytes{0});
    EXPECT_NE(device_->StatusText().find("Failsafe: tripped"), std::string::npos);
    EXPECT_EQ(Ask(7), Bytes{1});
    EXPECT_EQ(Ask(314), Bytes{1});
    EXPECT_EQ(Downlink(), (std::vector<std::string>{"random-test failsafe 0/100 ",
                                                    "random-test sent 0/100 R"}));
}

TEST_F(DeviceTest, SurvivesGarbageAndCountsItWithTransmissionsUntilCleared) {
    Ask(312, Text("A"));
    Ask(314);
    EXPECT_EQ(Ask(314), Bytes{0}) << "refused: nothing loaded";
    // Noise holding a stray header, glued to a request: the request is still found.
    Send(Cat({{0x01, 0xAA, 0x13}, Request(++number_, 771)}));
    EXPECT_EQ(PayloadOf(line_, number_, 771), Bytes{1});
    Bytes bad = Request(++number_, 35);
    bad.back() ^= 0x10;
    EXPECT_TRUE(Send(bad).empty()) << "a request with a bad CRC is not answered";
    Bytes cut = Request(++number_, 216, Text("ABCDEFGH"));
    cut.resize(10);
    EXPECT_TRUE(Send(cut, 1'000).empty()) << "a frame cut short, then the gap";

    const Bytes status = Ask(4);
    const std::string text(status.begin(), status.end());
    for (const char* line : {"Tests sent: 1\r\n", "Refused: 1\r\n", "CRC errors: 1\r\n",
                             "Noise: 2\r\n", "Time: 2024/03/01 12:00:0", "Master: stopped"}) {
        EXPECT_NE(text.find(line), std::string::npos) << line << " in " << text;
    }
    EXPECT_EQ(Ask(5), Bytes{1});
    EXPECT_EQ(device_->Counts(), Counters{});
}

TEST_F(DeviceTest, ResetGoesSilentThenComesBackWithDefaults) {
    TransmitterOptions options;
    options.resetSilenceMs = 30'000;
    Make(options);
    Ask(202, U16(151));
    Ask(216, Text("PENDING"));
    Ask(770);

    EXPECT_EQ(Ask(6), Bytes{1}) << "the reset is acknowledged before it happens";
    EXPECT_EQ(Ask(35, {}, 10'000), kNoReply) << "deaf 10 s after the reset";
    EXPECT_EQ(Ask(35, {}, 19'000), kNoReply) << "still deaf at 29 s";
    Advance(1'000);
    EXPECT_EQ(Ask(35), Clock(kNowSeconds + 30));
    EXPECT_EQ(device_->Config().All(), ConfigStore::Defaults());
    EXPECT_TRUE(device_->SelfTimedBuffer().empty());
    EXPECT_EQ(Ask(770), Bytes{}) << "the master switch came back off";
}

TEST_F(DeviceTest, ClockRunsOnMonotonicTimeWithOffsetDriftAndValidity) {
    // Setting the logger's clock does not move the device's: that is what synchronisation fixes.
    time_.SetLoggerMs(kStartMs + 3'600'000);
    EXPECT_EQ(Ask(35), Clock(kNowSeconds));
    device_->SetClockOffset(5'000);  // device = logger + 5 s, logger is 13:00:00
    EXPECT_EQ(Ask(31), Time7(2024, 3, 1, 13, 0, 5));
    device_->SetClockOffset(0);
    device_->SetClockDrift(100);  // 100 ppm fast: 1 s gained in 10 000 s
    Advance(10'000'000);
    EXPECT_EQ(Ask(35), Clock(kNowSeconds + 3600 + 10'001));
    device_->SetClockValid(false);
    EXPECT_EQ(Ask(35), Clock(kNowSeconds + 3600 + 10'001, 0));
    EXPECT_EQ(Ask(31), Bytes(7, 0));
}

TEST_F(DeviceTest, EachFaultDoesWhatItSays) {
    using F = FaultKind;
    const Bytes clock = Clock(kNowSeconds);
    const auto reply = [](std::uint16_t type, const Bytes& payload) {
        return Reply(1, type, payload);
    };
    Bytes corrupt = reply(35, clock);
    corrupt[corrupt.size() - 2] ^= 0xFF;
    corrupt.back() ^= 0xFF;
    // The length field claims 4 bytes more than the payload carries; the CRC is right for that.
    Bytes shortened = Cat({{0x55, 1}, U16(35), U16(clock.size() + 4), clock});
    shortened = Cat({shortened, U16(TableCrc(shortened))});
    const struct {
        const char* legend;
        Fault fault;
        std::uint16_t type;
        Bytes payload;
        Bytes line;  // the reply to request number 1, within 2 s
    } rows[] = {
        {"silence", {F::Silence}, 35, {}, {}},
        {"corrupt CRC", {F::CorruptCrc}, 35, {}, corrupt},
        {"wrong packet number", {F::WrongNumber}, 35, {}, Reply(2, 35, clock)},
        {"header not inverted", {F::PlainHeader}, 35, {}, Request(1, 35, clock)},
        {"short payload", {F::ShortPayload}, 35, {}, shortened},
        {"refusal", {F::Refuse, 200}, 200, {1}, reply(200, {0})},
        {"master refusal", {F::MasterRefusal, {}, 1, "No."}, 770, {}, reply(770, Text("No."))},
        {"unknown command", {F::UnknownCommand, 37}, 37, U16(3), reply(37, kUnknown)},
        {"invalid time on 35", {F::InvalidTime}, 35, {}, reply(35, Clock(kNowSeconds, 0))},
        {"invalid time on 31", {F::InvalidTime}, 31, {}, reply(31, Bytes(7, 0))},
        {"invalid time on 219", {F::InvalidTime}, 219, {}, reply(219, Bytes(7, 0))},
        {"slow reply", {F::SlowReply, 35, 1, "", 2500}, 35, {}, {}},
        {"cut time on 31", {F::CutTime}, 31, {}, reply(31, {0x07, 0xE8, 3})},
    };
    for (const auto& row : rows) {
        Make();
        device_->InjectFault(row.fault);
        EXPECT_EQ(ToHex(Send(Request(++number_, row.type, row.payload), 2'000)), ToHex(row.line))
            << row.legend;
        EXPECT_EQ(device_->Faults().Size(), 0u) << row.legend << ": spent after one request";
        line_.clear();
        Advance(5'000);  // a slow reply arrives whole, just late
        EXPECT_EQ(ToHex(line_), row.fault.kind == F::SlowReply ? ToHex(reply(35, clock)) : "")
            << row.legend;
        EXPECT_EQ(Ask(771), Bytes{1}) << row.legend << ": the next is answered";
        EXPECT_FALSE(device_->MasterRunning()) << row.legend;
    }
}

TEST_F(DeviceTest, ARetryIsAnsweredAgainButNotCarriedOutTwice) {
    Ask(312, Text("ONCE"));
    Ask(770);
    device_->InjectFault({FaultKind::CorruptCrc, 300});
    const Bytes send = Request(++number_, 300, {1});
    EXPECT_NE(PayloadOf(Send(send), number_, 300), Bytes{1}) << "the first reply was damaged";
    EXPECT_EQ(PayloadOf(Send(send), number_, 300), Bytes{1}) << "the retry gets the same answer";
    EXPECT_EQ(Downlink(), (std::vector<std::string>{"random sent 0/100 ONCE"}));
    // The same command under a new number is a new request.
    EXPECT_EQ(Ask(300, {1}), Bytes{0});
}

TEST_F(DeviceTest, ARetriedQueryIsAnsweredWithWhatIsTrueAtTheRetry) {
    // The first reply was slow and the logger tried again 2.8 s later: the retry must carry the
    // device's state at the retry, or the logger would set its clock to a stale time.
    struct QueryRow {
        const char* legend;
        std::uint16_t type;
        Bytes first;
        Bytes retried;
    };
    const QueryRow rows[] = {
        {"the clock", 35, Clock(kNowSeconds), Clock(kNowSeconds + 2)},
        {"the current time", 31, Time7(2024, 3, 1, 12, 0, 0), Time7(2024, 3, 1, 12, 0, 2)},
        {"the window close", 219, Time7(2024, 3, 1, 12, 0, 1), Time7(2024, 3, 1, 12, 0, 3)},
    };
    for (const QueryRow& row : rows) {
        SCOPED_TRACE(row.legend);
        Make();
        // Windows of 1 s every 2 s from 12:00:00, uncentred, so that 219 moves on too. Set up
        // by 12:00:00.200; the retry goes at 12:00:02.850.
        Ask(204, SpanOf(2));
        Ask(212, SpanOf(1));
        Ask(214, {0});
        Ask(200, {1});
        const Bytes request = Request(++number_, row.type);
        EXPECT_EQ(PayloadOf(Send(request, 2'650), number_, row.type), row.first);
        EXPECT_EQ(PayloadOf(Send(request), number_, row.type), row.retried);
        EXPECT_EQ(device_->Transcript().at(device_->Transcript().size() - 2).note,
                  "repeat: answered afresh");
    }
}

TEST_F(DeviceTest, ARetriedCommandThatChangesStateIsAnsweredFromThePreviousReply) {
    struct ActionRow {
        const char* legend;
        std::uint16_t type;
        Bytes payload;
    };
    const ActionRow rows[] = {
        {"a setting", 202, U16(151)},
        {"a buffer load", 216, Text("MSG")},
        {"master start", 770, {}},
        {"a code it does not know", 999, {}},
    };
    for (const ActionRow& row : rows) {
        SCOPED_TRACE(row.legend);
        const Bytes request = Request(++number_, row.type, row.payload);
        const Bytes first = PayloadOf(Send(request, 2'850), number_, row.type);
        EXPECT_EQ(PayloadOf(Send(request), number_, row.type), first);
        EXPECT_EQ(device_->Transcript().at(device_->Transcript().size() - 2).note,
                  "repeat: answered again, not done again");
    }
}
