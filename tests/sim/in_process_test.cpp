// The simulator on an in-memory line, served as the port side looks, driven through the
// logger's serial port in virtual time.
#include <gtest/gtest.h>

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
