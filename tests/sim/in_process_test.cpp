// The simulator on an in-memory line, served by its own platform thread, driven through the
// logger's serial port in virtual time.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <utility>

#include "host/clock.h"
#include "platform/clock.h"
#include "platform/serial.h"
#include "platform/time.h"
#include "sim/in_process_transmitter.h"
#include "sim/support/wire.h"

using namespace tarvo::sim;
using namespace simtest;
using tarvo::host::ScopedVirtualClock;

namespace {

const TTime kStart(2024, 3, 1, 12, 0, 0);
const wchar_t* const kPort = L"COM7:";

// The logger's side of the line, used the way a serial tool would: open, write, read, close.
class Port {
  public:
    Port() {
        port_.SetConfiguration(9600, 8, 0, 0, 1);
        port_.SetTimeouts(COMMTIMEOUTS{100, 0, 0, 10, 100});
    }
    bool Open() { return port_.Open(kPort); }
    void Close() { port_.Close(); }

    // Writes `request` and reads one reply frame, waiting up to 2 s for its first byte. Empty
    // when nothing (or not a whole frame) came.
    Bytes Transact(const Bytes& request) {
        port_.FlushInput();
        for (const std::uint8_t byte : request) {
            if (!port_.PutByte(byte)) {
                return {};
            }
        }
        for (int waited = 0; port_.NumberBytesInputBuffer() == 0; waited += 100) {
            if (waited >= 2000) {
                return {};
            }
            Sleep(100);
        }
        Bytes reply(6);
        if (port_.Get(reply.data(), 6) != 6) {
            return {};
        }
        const std::size_t rest = ((reply[4] << 8) | reply[5]) + 2u;
        reply.resize(6 + rest);
        if (port_.Get(reply.data() + 6, static_cast<DWORD>(rest)) != rest) {
            return {};
        }
        return reply;
    }

    // Opens, exchanges one request with the next number, closes.
    Bytes Exchange(std::uint16_t type, const Bytes& payload = {}) {
        ++number_;
        if (!Open()) {
            return {};
        }
        Bytes reply = Transact(Request(number_, type, payload));
        Close();
        return reply;
    }
    ExpectedReply Expect(std::uint16_t type, const Bytes& payload) const {
        return ExpectedReply{type, payload, &number_};
    }

  private:
    CSerialComm port_;
    std::uint8_t number_ = 0;
};

std::int64_t Ms(int y, int mo, int d, int h, int mi, int s) {
    return Epoch(y, mo, d, h, mi, s) * 1000;
}

// Sleeps until the logger's clock reads `at`.
void SleepUntilLogger(std::int64_t at) {
    const std::int64_t left = at - TTime::GetCurrentTime().GetMillisecondsSince1970();
    if (left > 0) {
        Sleep(static_cast<DWORD>(left));
    }
}

}  // namespace

TEST(InProcessTransmitter, ServesAPortOpenedAndClosedAgainAndAgain) {
    ScopedVirtualClock clock(kStart);
    InProcessTransmitter corvane(kPort);
    Port port;
    for (int round = 0; round < 5; ++round) {
        SCOPED_TRACE("round " + std::to_string(round));
        const Bytes reply = port.Exchange(202, U16(static_cast<std::uint16_t>(100 + round)));
        EXPECT_EQ(reply, port.Expect(202, {1}));
    }
    EXPECT_EQ(corvane.Config().Get(202), U16(104));

    // Every request and reply is in the transcript, stamped with logger time.
    const auto transcript = corvane.Transcript();
    ASSERT_EQ(transcript.size(), 10u);
    EXPECT_EQ(transcript[0].direction, Direction::Request);
    EXPECT_EQ(transcript[1].direction, Direction::Reply);
    EXPECT_EQ(transcript[9].number, 5);
    EXPECT_GE(transcript[0].loggerMs, kStart.GetMillisecondsSince1970());
    EXPECT_GE(transcript[1].loggerMs, transcript[0].loggerMs);
    const std::string json = ToJson(transcript[1]);
    EXPECT_NE(json.find("\"direction\":\"reply\",\"header\":85,\"number\":1,\"type\":202,"
                        "\"payload\":\"01\",\"crc_good\":true}"),
              std::string::npos)
        << json;
    EXPECT_EQ(json.rfind("{\"log\":\"transcript\",\"time\":\"2024-03-01T12:00:0", 0), 0u) << json;
}

TEST(InProcessTransmitter, ItsClockIsApartFromTheLoggersUntilTheLoggerIsSet) {
    ScopedVirtualClock clock(kStart);
    InProcessTransmitter corvane(kPort);
    corvane.SetClockOffset(5'000);
    Port port;

    const Bytes reply = port.Exchange(35);
    ASSERT_EQ(reply.size(), 14u);
    const std::int64_t deviceSeconds =
        (std::int64_t{reply[6]} << 24) | (reply[7] << 16) | (reply[8] << 8) | reply[9];
    const std::int64_t loggerSeconds = TTime::GetCurrentTime().GetSecondsSince1970();
    EXPECT_EQ(deviceSeconds - loggerSeconds, 5) << "1.5 s of exchange does not blur 5 s";
    EXPECT_EQ(reply[10], 1) << "valid";

    // Setting the logger's clock to the device's leaves the device alone: they now agree.
    ASSERT_TRUE(SetSystemTime(TTime::FromSecondsSince1970(deviceSeconds).GetAsSystemTime()));
    const Bytes again = port.Exchange(35);
    ASSERT_EQ(again.size(), 14u);
    const std::int64_t after =
        (std::int64_t{again[6]} << 24) | (again[7] << 16) | (again[8] << 8) | again[9];
    EXPECT_LE(std::abs(after - TTime::GetCurrentTime().GetSecondsSince1970()), 1);

    corvane.SetClockValid(false);
    const Bytes invalid = port.Exchange(35);
    ASSERT_EQ(invalid.size(), 14u);
    EXPECT_EQ(invalid[10], 0);
}

TEST(InProcessTransmitter, SendsTheWindowsMessageInVirtualTime) {
    ScopedVirtualClock clock(kStart);
    InProcessTransmitter corvane(kPort);
    Port port;
    const std::pair<std::uint16_t, Bytes> upload[] = {
        {202, U16(151)},   {206, SpanOf(0)}, {204, SpanOf(3600)}, {208, U16(300)},
        {212, SpanOf(60)}, {214, {1}},       {200, {1}},
    };
    for (const auto& [type, payload] : upload) {
        ASSERT_EQ(port.Exchange(type, payload), port.Expect(type, {1})) << "code " << type;
    }
    ASSERT_EQ(port.Exchange(770), port.Expect(770, {}));

    // Centred 60 s windows on the hour: 12:00:00 is inside 11:59:30..12:00:30.
    ASSERT_EQ(port.Exchange(219), port.Expect(219, Time7(2024, 3, 1, 12, 0, 30)));
    SleepUntilLogger(Ms(2024, 3, 1, 12, 1, 0));
    ASSERT_EQ(port.Exchange(219), port.Expect(219, Time7(2024, 3, 1, 13, 0, 30)));

    SleepUntilLogger(Ms(2024, 3, 1, 13, 0, 5));  // 25 s before the close
    EXPECT_EQ(port.Exchange(216, Text("ON TIME")), port.Expect(216, {1}));
    SleepUntilLogger(Ms(2024, 3, 1, 14, 0, 40));  // after the next close too, nothing loaded

    const auto log = corvane.Downlink();
    ASSERT_EQ(log.size(), 3u);
    EXPECT_FALSE(log[0].sent) << "the 12:00 window closed before anything was loaded";
    EXPECT_TRUE(log[1].sent);
    EXPECT_EQ(log[1].bytes, Text("ON TIME"));
    EXPECT_EQ(log[1].windowCloseMs, Ms(2024, 3, 1, 13, 0, 30));
    EXPECT_EQ(log[1].loggerMs, Ms(2024, 3, 1, 13, 0, 30)) << "woken exactly at the close";
    EXPECT_FALSE(log[2].sent);
    EXPECT_EQ(log[2].reason, "empty");
}

TEST(InProcessTransmitter, ResetSilencesItThenItAnswersWithDefaults) {
    ScopedVirtualClock clock(kStart);
    TransmitterOptions options;
    options.resetSilenceMs = 20'000;
    InProcessTransmitter corvane(kPort, options);
    Port port;
    ASSERT_EQ(port.Exchange(202, U16(151)), port.Expect(202, {1}));
    ASSERT_EQ(port.Exchange(6), port.Expect(6, {1}));
    EXPECT_TRUE(port.Exchange(4).empty()) << "deaf right after the reset";
    Sleep(15'000);
    EXPECT_TRUE(port.Exchange(4).empty()) << "still deaf";
    Sleep(5'000);
    EXPECT_EQ(port.Exchange(202, U16(7)), port.Expect(202, {1}));
    corvane.With([](Transmitter& t) {
        EXPECT_FALSE(t.Restarting());
        EXPECT_EQ(t.Config().Get(202), U16(7));
        EXPECT_EQ(t.Config().Get(204), ConfigStore::Defaults().at(204));
    });
}

TEST(InProcessTransmitter, FaultsInjectedWhileItRunsActOnTheNextRequests) {
    ScopedVirtualClock clock(kStart);
    InProcessTransmitter corvane(kPort);
    Port port;
    corvane.InjectFault({FaultKind::Silence, 4, 2});
    corvane.InjectFault({FaultKind::SlowReply, 31, 1, "", 2'500});
    EXPECT_TRUE(port.Exchange(4).empty());
    EXPECT_TRUE(port.Exchange(4).empty());
    EXPECT_FALSE(port.Exchange(4).empty());
    EXPECT_TRUE(port.Exchange(31).empty()) << "2.5 s is past the 2 s wait";
    Sleep(1'000);
    EXPECT_EQ(port.Exchange(771), port.Expect(771, {1})) << "the late reply met a closed port";
}
