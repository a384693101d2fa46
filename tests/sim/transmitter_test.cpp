// The transmitter model on a hand-moved clock: replies byte for byte, state, faults, reset, noise.
#include <gtest/gtest.h>

#include <string>

#include "sim/support/device_fixture.h"
#include "sim/support/wire.h"

using namespace tarvo::sim;
using namespace simtest;

namespace {

// 2024-03-01 12:00:00 as the line carries it.
const Bytes kNow7 = Time7(2024, 3, 1, 12, 0, 0);
const std::uint32_t kNowSeconds = static_cast<std::uint32_t>(Epoch(2024, 3, 1, 12, 0, 0));
const Bytes kZeroTime(7, 0);

std::string StatusOf(const Transmitter& device) {
    return device.StatusText();
}

}  // namespace

TEST_F(DeviceTest, AnswersEachKindOfCommandByteForByte) {
    struct Row {
        const char* legend;
        std::uint16_t type;
        Bytes payload;
        Bytes reply;
    };
    const Row rows[] = {
        {"current time is the device's 7-byte time", 31, {}, kNow7},
        {"clock is seconds since 1970, valid, unused byte",
         35,
         {},
         Cat({U32(kNowSeconds), {1, 0}})},
        {"window close is zero without a schedule", 219, {}, kZeroTime},
        {"a setting is accepted with one byte 1", 37, U16(0xFFFB), {1}},
        {"satellite id", 40, U32(0x0000ABCD), {1}},
        {"self-timed on is checked: accepted", 200, {1}, {1}},
        {"a time span setting", 204, SpanOf(90061), {1}},
        {"862 with its leading 3", 862, Cat({{3}, U32(0x40200000)}), {1}},
        {"message load", 216, Text("HELLO WORLD"), {1}},
        {"test arm while stopped", 236, {}, {1}},
        {"master start while stopped answers nothing", 770, {}, {}},
        {"master stop", 771, {}, {1}},
        {"random off", 300, {0}, {1}},
        {"clear counters", 5, {}, {1}},
        {"reset failsafe", 7, {}, {1}},
        {"a code it does not know", 999, {}, Text("Unknown command")},
        {"217 is defined and stored", 217, Text("x"), {1}},
        {"channel 0 is refused", 202, U16(0), {0}},
        {"channel 1000 is refused", 202, U16(1000), {0}},
        {"an unknown self-timed type is refused", 208, U16(299), {0}},
        {"a setting of the wrong size is refused", 37, {1, 2, 3}, {0}},
        {"a query with a payload is refused", 35, {0}, {0}},
        {"an empty message is refused", 216, {}, {0}},
        {"a time span with 60 minutes is refused", 204, {0, 0, 60, 0}, {0}},
        {"862 without its leading 3 is refused", 862, Cat({{2}, U32(0)}), {0}},
        {"random send while stopped is refused", 300, {1}, {0}},
        {"self-timed test without 236 is refused", 218, {}, {0}},
        {"random test with nothing loaded is refused", 314, {}, {0}},
        {"send-to-maker before its set-up is refused", 606, {}, {0}},
    };
    for (const Row& row : rows) {
        Make();
        EXPECT_EQ(Exchange(row.type, row.payload), Expect(row.type, row.reply)) << row.legend;
    }
}

TEST_F(DeviceTest, StoresSettingsAndKeepsThemFromChangeWhileRunning) {
    EXPECT_EQ(Exchange(202, U16(151)), Expect(202, {1}));
    EXPECT_EQ(device_->Config().Get(202), U16(151));
    EXPECT_EQ(device_->Config().SelfTimed().channel, 151);

    EXPECT_EQ(Exchange(770), Expect(770, {}));
    EXPECT_TRUE(device_->MasterRunning());
    EXPECT_EQ(Exchange(770), Expect(770, Text("System is already running.")));

    struct Row {
        const char* legend;
        std::uint16_t type;
        Bytes payload;
        Bytes reply;
    };
    const Row whileRunning[] = {
        {"a setting is refused", 202, U16(152), {0}},
        {"self-timed on (checked) is refused", 200, {0}, {0}},
        {"338 (checked) is refused", 338, {0}, {0}},
        {"the test arm is refused", 236, {}, {0}},
        {"send-to-maker is refused", 606, {}, {0}},
        {"a message load is accepted", 216, Text("M"), {1}},
        {"506 is accepted", 506, {1}, {1}},
        {"queries are answered", 31, {}, kNow7},
    };
    for (const Row& row : whileRunning) {
        EXPECT_EQ(Exchange(row.type, row.payload), Expect(row.type, row.reply)) << row.legend;
    }
    EXPECT_EQ(device_->Config().Get(202), U16(151)) << "the refused write changed nothing";

    EXPECT_EQ(Exchange(771), Expect(771, {1}));
    EXPECT_EQ(Exchange(202, U16(152)), Expect(202, {1}));
    EXPECT_EQ(device_->Config().Get(202), U16(152));
}

TEST_F(DeviceTest, TransmitsTestsRandomAndSendToMakerIntoTheDownlinkLog) {
    Exchange(202, U16(151));
    Exchange(208, U16(1201));
    Exchange(302, U16(77));
    Exchange(306, U16(300));

    // Self-timed test: arm, load, send.
    EXPECT_EQ(Exchange(236), Expect(236, {1}));
    EXPECT_EQ(Exchange(216, Text("ST TEST")), Expect(216, {1}));
    EXPECT_EQ(Exchange(218), Expect(218, {1}));
    EXPECT_EQ(Exchange(218), Expect(218, {0})) << "one arm, one test";
    EXPECT_EQ(Exchange(236), Expect(236, {1}));
    EXPECT_EQ(Exchange(218), Expect(218, {0})) << "the buffer went with the test";

    // Random test: load, send.
    EXPECT_EQ(Exchange(312, Text("RND TEST")), Expect(312, {1}));
    EXPECT_EQ(Exchange(314), Expect(314, {1}));

    // Random true send needs the master switch.
    EXPECT_EQ(Exchange(312, Text("ALARM")), Expect(312, {1}));
    EXPECT_EQ(Exchange(300, {1}), Expect(300, {0}));
    Exchange(770);
    EXPECT_EQ(Exchange(300, {1}), Expect(300, {1}));
    EXPECT_EQ(Exchange(300, {1}), Expect(300, {0})) << "the buffer went with the transmission";
    Exchange(771);

    // Send-to-maker.
    Exchange(604, U32(0xDEADBEEF));
    Exchange(602, U16(200));
    EXPECT_EQ(Exchange(600, U16(302)), Expect(600, {0})) << "not a send-to-maker rate";
    Exchange(600, U16(1201));
    EXPECT_EQ(Exchange(606), Expect(606, {1}));

    struct Row {
        DownlinkKind kind;
        bool sent;
        const char* reason;
        int channel;
        int type;
        Bytes bytes;
    };
    const Row expected[] = {
        {DownlinkKind::SelfTimedTest, true, "", 151, 1201, Text("ST TEST")},
        {DownlinkKind::SelfTimedTest, false, "empty", 151, 1201, {}},
        {DownlinkKind::RandomTest, true, "", 77, 300, Text("RND TEST")},
        {DownlinkKind::Random, false, "stopped", 77, 300, {}},
        {DownlinkKind::Random, true, "", 77, 300, Text("ALARM")},
        {DownlinkKind::Random, false, "empty", 77, 300, {}},
        {DownlinkKind::SendToMaker, true, "", 200, 1201, U32(0xDEADBEEF)},
    };
    const auto& log = device_->Downlink();
    ASSERT_EQ(log.size(), std::size(expected));
    for (std::size_t i = 0; i < log.size(); ++i) {
        SCOPED_TRACE("downlink entry " + std::to_string(i));
        EXPECT_EQ(log[i].kind, expected[i].kind);
        EXPECT_EQ(log[i].sent, expected[i].sent);
        EXPECT_EQ(log[i].reason, expected[i].reason);
        EXPECT_EQ(log[i].channel, expected[i].channel);
        EXPECT_EQ(log[i].typeCode, expected[i].type);
        EXPECT_EQ(log[i].bytes, expected[i].bytes);
    }
}

TEST_F(DeviceTest, StatusCountsTransmissionsAndErrorsUntilCleared) {
    Exchange(312, Text("A"));
    Exchange(314);
    Exchange(314);                               // refused: nothing loaded
    Send(Cat({{0x01, 0x02}, Request(50, 35)}));  // noise, then a request
    Bytes bad = Request(51, 35);
    bad.back() ^= 0x10;
    EXPECT_TRUE(Send(bad).empty()) << "a request with a bad CRC is not answered";

    const Bytes status = Exchange(4);
    ASSERT_GE(status.size(), 8u);
    const std::string text(status.begin() + 6, status.end() - 2);
    EXPECT_EQ(status, Expect(4, Text(text)));
    EXPECT_NE(text.find("Tests sent: 1\r\n"), std::string::npos) << text;
    EXPECT_NE(text.find("Refused: 1\r\n"), std::string::npos) << text;
    EXPECT_NE(text.find("CRC errors: 1\r\n"), std::string::npos) << text;
    EXPECT_NE(text.find("Noise: 1\r\n"), std::string::npos) << text;
    EXPECT_NE(text.find("Time: 2024/03/01 12:00:"), std::string::npos) << text;
    EXPECT_NE(text.find("Master: stopped"), std::string::npos) << text;

    EXPECT_EQ(Exchange(5), Expect(5, {1}));
    EXPECT_EQ(device_->Counts(), Counters{});
    const std::string cleared = StatusOf(*device_);
    EXPECT_NE(cleared.find("Tests sent: 0\r\n"), std::string::npos) << cleared;
    EXPECT_NE(cleared.find("CRC errors: 0\r\n"), std::string::npos) << cleared;
}

TEST_F(DeviceTest, ResetGoesSilentThenComesBackWithDefaults) {
    TransmitterOptions options;
    options.resetSilenceMs = 30'000;
    Make(options);
    Exchange(202, U16(151));
    Exchange(216, Text("PENDING"));
    Exchange(770);

    EXPECT_EQ(Exchange(6), Expect(6, {1})) << "the reset is acknowledged before it happens";
    EXPECT_TRUE(device_->Restarting());
    EXPECT_TRUE(Exchange(35, {}, 10'000).empty()) << "deaf 10 s after the reset";
    EXPECT_TRUE(Exchange(35, {}, 19'000).empty()) << "still deaf at 29 s";
    Advance(1'000);
    EXPECT_FALSE(device_->Restarting());

    EXPECT_EQ(Exchange(35), Expect(35, Cat({U32(kNowSeconds + 30), {1, 0}})));
    EXPECT_EQ(device_->Config().All(), ConfigStore::Defaults());
    EXPECT_FALSE(device_->MasterRunning());
    EXPECT_TRUE(device_->SelfTimedBuffer().empty());
    EXPECT_EQ(Exchange(770), Expect(770, {})) << "the master switch came back off";
}

TEST_F(DeviceTest, FailsafeInhibitsTransmissionsUntilCommandSeven) {
    device_->TripFailsafe();
    Exchange(312, Text("R"));
    EXPECT_EQ(Exchange(314), Expect(314, {0}));
    EXPECT_NE(StatusOf(*device_).find("Failsafe: tripped"), std::string::npos);
    EXPECT_EQ(Exchange(7), Expect(7, {1}));
    EXPECT_EQ(Exchange(314), Expect(314, {1}));
    ASSERT_EQ(device_->Downlink().size(), 2u);
    EXPECT_EQ(device_->Downlink()[0].reason, "failsafe");
    EXPECT_TRUE(device_->Downlink()[1].sent);
}

TEST_F(DeviceTest, ClockRunsOnMonotonicTimeWithOffsetDriftAndValidity) {
    // Setting the logger's clock does not move the device's: that is what synchronisation fixes.
    time_.SetLoggerMs(kStartMs + 3'600'000);
    EXPECT_EQ(Exchange(35), Expect(35, Cat({U32(kNowSeconds), {1, 0}})));

    device_->SetClockOffset(5'000);  // device = logger + 5 s, logger is 13:00:00
    EXPECT_EQ(Exchange(31), Expect(31, Time7(2024, 3, 1, 13, 0, 5)));

    device_->SetClockOffset(0);
    device_->SetClockDrift(100);  // 100 ppm fast: 1 s gained in 10 000 s
    Advance(10'000'000);
    EXPECT_EQ(Exchange(35), Expect(35, Cat({U32(kNowSeconds + 3600 + 10'001), {1, 0}})));

    device_->SetClockValid(false);
    const Bytes reply = Exchange(35);
    ASSERT_EQ(reply.size(), 14u);
    EXPECT_EQ(reply[10], 0) << "validity byte";
    EXPECT_EQ(Exchange(31), Expect(31, kZeroTime));
}

// ---------------------------------------------------------------- faults

TEST_F(DeviceTest, EachFaultDoesWhatItSays) {
    const auto shortFrame = [](std::uint8_t number, std::uint16_t type, const Bytes& payload) {
        Bytes frame{0x55,
                    number,
                    static_cast<std::uint8_t>(type >> 8),
                    static_cast<std::uint8_t>(type),
                    0,
                    static_cast<std::uint8_t>(payload.size() + 4)};
        frame.insert(frame.end(), payload.begin(), payload.end());
        const std::uint16_t crc = TableCrc(frame);
        frame.push_back(static_cast<std::uint8_t>(crc >> 8));
        frame.push_back(static_cast<std::uint8_t>(crc));
        return frame;
    };
    const auto corrupt = [](Bytes frame) {
        frame[frame.size() - 2] ^= 0xFF;
        frame[frame.size() - 1] ^= 0xFF;
        return frame;
    };
    const Bytes clock = Cat({U32(kNowSeconds), {1, 0}});

    struct Row {
        const char* legend;
        Fault fault;
        std::uint16_t type;
        Bytes payload;
        Bytes expected;  // for request number 1
    };
    const Row rows[] = {
        {"silence", {FaultKind::Silence}, 35, {}, {}},
        {"corrupt CRC", {FaultKind::CorruptCrc}, 35, {}, corrupt(Reply(1, 35, clock))},
        {"wrong packet number", {FaultKind::WrongNumber}, 35, {}, Reply(2, 35, clock)},
        {"header not inverted", {FaultKind::PlainHeader}, 35, {}, FrameBytes(0xAA, 1, 35, clock)},
        {"short payload", {FaultKind::ShortPayload}, 35, {}, shortFrame(1, 35, clock)},
        {"refusal of a checked command", {FaultKind::Refuse, 200}, 200, {1}, Reply(1, 200, {0})},
        {"master-start refusal text",
         {FaultKind::MasterRefusal, std::nullopt, 1, "Antenna fault."},
         770,
         {},
         Reply(1, 770, Text("Antenna fault."))},
        {"unknown command",
         {FaultKind::UnknownCommand, 37},
         37,
         U16(3),
         Reply(1, 37, Text("Unknown command"))},
        {"invalid time on 35",
         {FaultKind::InvalidTime},
         35,
         {},
         Reply(1, 35, Cat({U32(kNowSeconds), {0, 0}}))},
        {"invalid time on 31", {FaultKind::InvalidTime}, 31, {}, Reply(1, 31, kZeroTime)},
        {"invalid time on 219", {FaultKind::InvalidTime}, 219, {}, Reply(1, 219, kZeroTime)},
        {"slow reply: nothing within 2.5 s", {FaultKind::SlowReply, 35, 1, "", 2500}, 35, {}, {}},
    };
    for (const Row& row : rows) {
        Make();
        number_ = 0;
        device_->InjectFault(row.fault);
        EXPECT_EQ(Hex(Exchange(row.type, row.payload, 2'000)), Hex(row.expected)) << row.legend;
        EXPECT_EQ(device_->Faults().Size(), 0u) << row.legend << ": spent after one request";
        Advance(5'000);  // a slow reply arrives late
        EXPECT_EQ(Exchange(771), Expect(771, {1})) << row.legend << ": the next is answered";
    }
    EXPECT_FALSE(device_->MasterRunning());
}

TEST_F(DeviceTest, FaultsActOnlyOnWhatTheyAreSetFor) {
    // A slow reply arrives whole, just late.
    device_->InjectFault({FaultKind::SlowReply, 35, 1, "", 2500});
    EXPECT_TRUE(Exchange(35, {}, 2'400).empty());
    Advance(200);
    EXPECT_EQ(line_, Expect(35, Cat({U32(kNowSeconds), {1, 0}})));

    // A code-bound fault leaves other codes alone and counts down on its own code.
    Make();
    device_->InjectFault({FaultKind::UnknownCommand, 40, 2});
    EXPECT_EQ(Exchange(37, U16(1)), Expect(37, {1}));
    EXPECT_EQ(Exchange(40, U32(1)), Expect(40, Text("Unknown command")));
    EXPECT_EQ(Exchange(40, U32(2)), Expect(40, Text("Unknown command")));
    EXPECT_EQ(Exchange(40, U32(3)), Expect(40, {1}));
    EXPECT_EQ(device_->Config().Get(40), U32(3)) << "only the known one was stored";

    // Without a code it takes the next N requests, whatever they are; a silenced request is
    // not carried out.
    Make();
    device_->InjectFault({FaultKind::Silence, std::nullopt, 2});
    EXPECT_TRUE(Exchange(216, Text("LOST")).empty());
    EXPECT_TRUE(Exchange(4).empty());
    EXPECT_TRUE(device_->SelfTimedBuffer().empty());
    EXPECT_EQ(Exchange(216, Text("KEPT")), Expect(216, {1}));

    // A refusal leaves the setting as it was; a master refusal leaves the switch off.
    Make();
    device_->InjectFault({FaultKind::Refuse, 200});
    device_->InjectFault({FaultKind::MasterRefusal, std::nullopt, kEveryTime, "No."});
    EXPECT_EQ(Exchange(200, {1}), Expect(200, {0}));
    EXPECT_FALSE(device_->Config().SelfTimed().enabled);
    EXPECT_EQ(Exchange(35).size(), 14u) << "master refusal does not touch other codes";
    EXPECT_EQ(Exchange(770), Expect(770, Text("No.")));
    EXPECT_EQ(Exchange(770), Expect(770, Text("No.")));
    EXPECT_FALSE(device_->MasterRunning());
    device_->ClearFaults();
    EXPECT_EQ(Exchange(770), Expect(770, {}));
}

TEST_F(DeviceTest, ARetryIsAnsweredAgainButNotCarriedOutTwice) {
    Exchange(312, Text("ONCE"));
    Exchange(770);
    device_->InjectFault({FaultKind::CorruptCrc, 300});
    ++number_;
    const Bytes send = Request(number_, 300, {1});
    const Bytes first = Send(send);
    ASSERT_EQ(first.size(), 9u);
    EXPECT_NE(first, Expect(300, {1})) << "the first reply was damaged";
    EXPECT_EQ(Send(send), Expect(300, {1})) << "the retry, same number, gets the same answer";
    std::size_t sent = 0;
    for (const DownlinkEntry& e : device_->Downlink()) {
        sent += e.sent ? 1 : 0;
    }
    EXPECT_EQ(sent, 1u);
    // The same command under a new number is a new request.
    EXPECT_EQ(Exchange(300, {1}), Expect(300, {0}));
}

TEST_F(DeviceTest, SurvivesNoiseOnTheLine) {
    struct Row {
        const char* legend;
        Bytes before;
    };
    Bytes cut = Request(9, 216, Text("ABCDEFGH"));
    cut.resize(10);
    Bytes bad = Request(9, 35);
    bad[7] ^= 0x01;
    const Row rows[] = {
        {"plain noise", {0x00, 0xFF, 0x13, 0x55, 0x55}},
        {"a stray header byte", {0xAA}},
        {"a header with a huge length", {0xAA, 1, 0, 35, 0xFF, 0xFE}},
        {"a frame with a bad CRC", bad},
        {"a frame cut short, then the gap", cut},
    };
    for (const Row& row : rows) {
        Make();
        number_ = 0;
        Send(row.before, 1'000);
        EXPECT_TRUE(line_.empty()) << row.legend << ": noise is not answered";
        EXPECT_EQ(Exchange(35), Expect(35, Cat({U32(kNowSeconds + 1), {1, 0}}))) << row.legend;
    }
    // Noise glued straight to a request, in one piece, is survived too.
    Make();
    number_ = 0;
    ++number_;
    EXPECT_EQ(Send(Cat({{0xAA, 0x00, 0x12}, Request(number_, 771)})), Expect(771, {1}));
}
