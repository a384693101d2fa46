// The simulator on an in-memory line, served as the port side looks, driven through the
// logger's serial port in virtual time.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "host/clock/clock.h"
#include "platform/clock.h"
#include "platform/time.h"
#include "sim/faces/in_process_transmitter.h"
#include "sim/support/logger_port.h"

using namespace tarvo::sim;
using namespace simtest;
using tarvo::host::ScopedVirtualClock;

namespace {

const TTime kStart(2024, 3, 1, 12, 0, 0);
const wchar_t* const kPort = L"COM7:";

}  // namespace

TEST(InProcessTransmitter, ServesAPortOpenedAndClosedAgainWithAClockApartFromTheLoggers) {
    ScopedVirtualClock clock(kStart);
    InProcessTransmitter corvane(kPort);
    corvane.SetClockOffset(5'000);
    LoggerPort port(kPort);
    EXPECT_EQ(port.Ask(202, U16(151)), Bytes{1});
    const std::int64_t device = SecondsIn(port.Ask(35));
    EXPECT_EQ(device - TTime::GetCurrentTime().GetSecondsSince1970(), 5)
        << "1.5 s of exchange does not blur 5 s";
    // Setting the logger's clock to the device's leaves the device alone: they now agree.
    ASSERT_TRUE(SetSystemTime(TTime::FromSecondsSince1970(device).GetAsSystemTime()));
    const std::int64_t after = SecondsIn(port.Ask(35));
    EXPECT_LE(std::abs(after - TTime::GetCurrentTime().GetSecondsSince1970()), 1);
    corvane.SetClockValid(false);
    EXPECT_EQ(port.Ask(35).at(4), 0) << "not valid";

    // Every request and reply is in the transcript, stamped with logger time.
    const auto transcript = corvane.Transcript();
    ASSERT_EQ(transcript.size(), 8u);
    const std::string json = ToJson(transcript[1]);
    EXPECT_EQ(json.rfind("{\"log\":\"transcript\",\"time\":\"2024-03-01T12:00:0", 0), 0u) << json;
    EXPECT_NE(json.find("\"direction\":\"reply\",\"header\":85,\"number\":1,\"type\":202,"
                        "\"payload\":\"01\",\"crc_good\":true}"),
              std::string::npos)
        << json;
}

TEST(InProcessTransmitter, ResetsAndTakesFaultsWhileItRuns) {
    ScopedVirtualClock clock(kStart);
    TransmitterOptions options;
    options.resetSilenceMs = 20'000;
    InProcessTransmitter corvane(kPort, options);
    LoggerPort port(kPort);
    ASSERT_EQ(port.Ask(202, U16(151)), Bytes{1});
    ASSERT_EQ(port.Ask(6), Bytes{1});
    EXPECT_EQ(port.Ask(4), kNoReply) << "deaf right after the reset";
    Sleep(15'000);
    EXPECT_EQ(port.Ask(4), kNoReply) << "still deaf";
    Sleep(5'000);
    EXPECT_EQ(port.Ask(204, SpanOf(7200)), Bytes{1});
    EXPECT_EQ(corvane.Config().Get(202), ConfigStore::Defaults().at(202)) << "back to defaults";

    corvane.InjectFault({FaultKind::SlowReply, 31, 1, "", 2'500});
    EXPECT_EQ(port.Ask(31), kNoReply) << "2.5 s is past the 2 s wait";
    Sleep(1'000);
    EXPECT_EQ(port.Ask(771), Bytes{1}) << "the late reply met a closed port";
}

TEST(InProcessTransmitter, StampsWhatItDidWhileNobodyLookedWithTheLoggerTimeOfThatMoment) {
    ScopedVirtualClock clock(kStart);
    InProcessTransmitter corvane(kPort);
    LoggerPort port(kPort);
    corvane.InjectFault({FaultKind::SlowReply, 31, 1, "", 2'500});
    ASSERT_EQ(port.Ask(31), kNoReply);
    Sleep(5'000);  // the late reply leaves while the port is closed and nobody asks
    ASSERT_TRUE(SetSystemTime(TTime(2024, 3, 2, 0, 0, 0).GetAsSystemTime()));

    const auto transcript = corvane.Transcript();
    ASSERT_FALSE(transcript.empty());
    const TranscriptEntry& reply = transcript.back();
    ASSERT_EQ(reply.direction, Direction::Reply);
    const std::int64_t sinceStart = reply.loggerMs - kStart.GetMillisecondsSince1970();
    EXPECT_GE(sinceStart, 2'500) << "not before its delay";
    EXPECT_LT(sinceStart, 3'000) << "stamped when it left, before the logger's clock was set";
}
