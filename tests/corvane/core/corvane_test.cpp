#include "corvane/core/corvane.h"

#include <gtest/gtest.h>

#include "corvane/link/support/scripted_peer.h"
#include "platform/engine.h"

namespace {

using corvane::DeadTime;
using corvane::TxBuffer;
using linktest::BuildFrame;
using linktest::ScriptedPeer;
using linktest::TextBytes;
using tarvo::host::Micros;

class Device : public linktest::PeerTest {
  protected:
    CCorvane corvane_;
};

TEST_F(Device, MessagesLoadAsSingleByteTextIntoTheirOwnBufferThroughThePortThatPortNames) {
    ScriptedPeer com3(tarvo::host::MapPortToMemory(L"COM3:", false));
    com3.Script({linktest::Reply(312)});
    peer_->Script({linktest::Reply(216)});
    EXPECT_TRUE(corvane_.Session().LoadMessage(L"HG 12.5 \"x\"", TxBuffer::SelfTimed,
                                               {.deadTime = DeadTime::Skip}));
    corvane_.Port = 1;
    EXPECT_TRUE(
        corvane_.Session().LoadMessage(L"@A/", TxBuffer::Random, {.deadTime = DeadTime::Skip}));
    ASSERT_EQ(peer_->Requests().size(), 1u);
    EXPECT_EQ(peer_->Requests()[0].raw, BuildFrame(0xAA, 1, 216, TextBytes("HG 12.5 \"x\"")));
    ASSERT_EQ(com3.Requests().size(), 1u);
    EXPECT_EQ(com3.Requests()[0].raw, BuildFrame(0xAA, 2, 312, TextBytes("@A/")));
}

TEST_F(Device, FailedMessageLoadWaitsTheDeadTimeOnlyWhenAskedAndWhileRecordingRuns) {
    corvane_.Port = 3;  // nothing there
    GetEngine().Run();  // recording: the engine's stop event is clear
    Micros start = tarvo::host::NowMicros();
    EXPECT_FALSE(
        corvane_.Session().LoadMessage(L"x", TxBuffer::SelfTimed, {.deadTime = DeadTime::Skip}));
    EXPECT_EQ(MsSince(start), 0);
    EXPECT_FALSE(
        corvane_.Session().LoadMessage(L"x", TxBuffer::SelfTimed, {.deadTime = DeadTime::Wait}));
    EXPECT_EQ(MsSince(start), 30000);

    TThread stopper(
        [] {
            Sleep(3000);
            GetEngine().Stop();
        },
        "engine stop");
    start = tarvo::host::NowMicros();
    EXPECT_FALSE(
        corvane_.Session().LoadMessage(L"x", TxBuffer::Random, {.deadTime = DeadTime::Wait}));
    EXPECT_EQ(MsSince(start), 3000);
    stopper.Join();
    // Stopped already: no wait at all.
    start = tarvo::host::NowMicros();
    EXPECT_FALSE(
        corvane_.Session().LoadMessage(L"x", TxBuffer::Random, {.deadTime = DeadTime::Wait}));
    EXPECT_EQ(MsSince(start), 0);
    EXPECT_EQ(log_.Count(TReportLevel::Debug, "WaitForDeadtime(): received stop signal."), 2u);
}

TEST_F(Device, AClockReplyOfTheWrongSizeObtainsNoTime) {
    // Five bytes, then seven: each a valid time in its first bytes, neither of the size.
    peer_->Script({linktest::Reply(35, {0x70, 0, 0, 0, 1}),
                   linktest::Reply(35, {0x70, 0, 0, 0, 1, 0, 0}),
                   linktest::Reply(35, {0x65, 0xE1, 0xC4, 0x00, 0, 0})});  // valid byte 0
    for (int i = 0; i < 3; ++i) {
        EXPECT_TRUE(corvane_.SynchronizeClock());
    }
    EXPECT_FALSE(corvane_.HasTimeBeenObtained());
    EXPECT_EQ(log_.Count(TReportLevel::Warning, "SynchronizeClock: Invalid time packet."), 2u);
    EXPECT_TRUE(log_.Texts(TReportLevel::Status).empty());
}

}  // namespace
