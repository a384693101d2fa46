#include "corvane/core/corvane.h"

#include <gtest/gtest.h>

#include <ostream>
#include <string>

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

TEST_F(Device, TheRandomTransmitCommandCarriesTheByteOne) {
    peer_->Script({linktest::Reply(300, {1})});
    EXPECT_TRUE(corvane_.Session().StartRandomMessage({}));
    ASSERT_EQ(peer_->Requests().size(), 1u);
    EXPECT_EQ(peer_->Requests()[0].raw, BuildFrame(0xAA, 1, 300, {1}));
}

// A good frame whose payload is no valid time (3 bytes here) is a failed exchange: the dead time
// is waited out before the self-timed messenger may ask again, and the fault is told once for
// as long as it lasts.
struct TimeVerbRow {
    const char* name;
    WORD type;
    bool (*read)(corvane::SessionTransmitter& transmitter, TTime& time);
};
void PrintTo(const TimeVerbRow& row, std::ostream* os) {
    *os << row.name;
}

class TimeReplyWithoutValidTime : public Device, public ::testing::WithParamInterface<TimeVerbRow> {
  protected:
    // How long the read took, in ms; false into `result` when it failed.
    double Read(bool& result) {
        const Micros start = tarvo::host::NowMicros();
        TTime time;
        result = GetParam().read(corvane_.Session(), time);
        return MsSince(start);
    }
    std::size_t Warnings() const {
        return log_.Count(TReportLevel::Warning, "Corvane answered " +
                                                     std::to_string(GetParam().type) +
                                                     " without a valid time (3 payload bytes).");
    }
};

TEST_P(TimeReplyWithoutValidTime, IsAFailedExchangeToldOncePerFault) {
    const WORD type = GetParam().type;
    const linktest::Responder valid = linktest::Reply(type, {0x07, 0xE8, 6, 1, 12, 0, 0});
    const linktest::Responder cut = linktest::Reply(type, {0x07, 0xE8, 0x06});
    peer_->Script({valid, cut, cut, valid, cut});
    GetEngine().Run();  // recording: the dead time is not cut short
    bool result = false;
    const double exchange = Read(result);
    ASSERT_TRUE(result);
    EXPECT_EQ(Read(result), exchange + 30000) << "the dead time after the exchange";
    EXPECT_FALSE(result);
    EXPECT_EQ(Read(result), exchange + 30000);
    EXPECT_EQ(Warnings(), 1u);
    EXPECT_EQ(Read(result), exchange);
    EXPECT_TRUE(result);
    Read(result);
    EXPECT_EQ(Warnings(), 2u) << "a new fault is told again";
    GetEngine().Stop();
}

INSTANTIATE_TEST_SUITE_P(
    Table, TimeReplyWithoutValidTime,
    ::testing::Values(TimeVerbRow{"WindowClose", 219,
                                  [](corvane::SessionTransmitter& t, TTime& time) {
                                      return t.ReadWindowClose(time, {.deadTime = DeadTime::Wait});
                                  }},
                      TimeVerbRow{"CurrentTime", 31,
                                  [](corvane::SessionTransmitter& t, TTime& time) {
                                      return t.ReadCurrentTime(time, {.deadTime = DeadTime::Wait});
                                  }}),
    [](const auto& info) { return std::string(info.param.name); });

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
