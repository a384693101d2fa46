#include "link/session.h"

#include <gtest/gtest.h>

#include <memory>
#include <optional>

#include "host/clock.h"
#include "host/report_sinks.h"
#include "host/serial_ports.h"
#include "link/support/scripted_peer.h"
#include "platform/clock.h"

namespace {

using linktest::ScriptedPeer;
using tarvo::host::Micros;

constexpr Micros kMs = 1000;

class Session : public ::testing::Test {
  protected:
    Session() {
        line_ = tarvo::host::MapPortToMemory(L"COM2:", false);
        peer_ = std::make_unique<ScriptedPeer>(line_);
    }
    ~Session() override {
        peer_.reset();
        tarvo::host::ClearPortMap();
    }

    corvane::SessionContext Context(int portIndex = 0) {
        return corvane::SessionContext{link_, sessionLock_, portIndex, stopEvent_};
    }
    Micros Now() const { return tarvo::host::NowMicros(); }

    tarvo::host::ScopedVirtualClock clock_{TTime(2024, 6, 1, 12, 0, 0)};
    tarvo::host::LogCapture log_;
    CPacketComm link_;
    TSemaphore sessionLock_{1, 1, "test session lock"};
    // Recording runs: the stop event is clear.
    TEvent stopEvent_{true, false, "test stop"};
    std::shared_ptr<tarvo::host::SerialPeer> line_;
    std::unique_ptr<ScriptedPeer> peer_;
};

TEST(PortNames, IndexesZeroToSevenNameCom2ToCom9AndOthersNameNothing) {
    const struct {
        int index;
        const wchar_t* name;
    } rows[] = {{0, L"COM2:"}, {1, L"COM3:"}, {3, L"COM5:"}, {7, L"COM9:"}, {8, L""}, {-1, L""}};
    for (const auto& row : rows) {
        EXPECT_EQ(corvane::PortNameFromIndex(row.index), row.name) << "index " << row.index;
    }
}

TEST_F(Session, ExchangeWakesTheTransmitterThenSendsAndClosesThePort) {
    peer_->Otherwise(linktest::Reply(4, linktest::TextBytes("status")));
    const Micros start = Now();
    CPacket reply;
    ASSERT_TRUE(corvane::Exchange(Context(), CPacket(4), reply, true, INFINITE));
    EXPECT_EQ(reply.Payload(), linktest::TextBytes("status"));
    EXPECT_FALSE(line_->PortIsOpen()) << "the port is free between exchanges";
    EXPECT_FALSE(link_.IsPortOpen());

    const auto requests = peer_->Requests();
    ASSERT_EQ(requests.size(), 1u);
    EXPECT_EQ(requests[0].at - start, 1500 * kMs) << "the request waits for the 1500 ms wake";
    EXPECT_TRUE(log_.Texts(TReportLevel::Warning).empty());
}

TEST_F(Session, StatusExchangeGivesUpAfter5000msOfBusySessionLockWithoutTouchingThePort) {
    peer_->Otherwise(linktest::Echo());
    ASSERT_TRUE(sessionLock_.Lock(0));  // another exchange is under way
    const Micros start = Now();
    CPacket reply;
    EXPECT_FALSE(
        corvane::Exchange(Context(), CPacket(4), reply, false, corvane::kOperatorLockWaitMs));
    EXPECT_EQ(Now() - start, 5000 * kMs);
    sessionLock_.Unlock();

    EXPECT_TRUE(peer_->Requests().empty());
    EXPECT_EQ(line_->Available(), 0u);
    EXPECT_EQ(link_.GetPacketNumber(), 0) << "no Send was made";
    EXPECT_TRUE(log_.Texts(TReportLevel::Warning).empty());
}

TEST_F(Session, UnopenablePortGivesOneWarningPerExchangeAndNoBytes) {
    peer_->Otherwise(linktest::Echo());
    CPacket reply;
    const Micros start = Now();
    EXPECT_FALSE(
        corvane::Exchange(Context(3), CPacket(4), reply, false, INFINITE));  // COM5: unmapped
    EXPECT_FALSE(corvane::Exchange(Context(3), CPacket(4), reply, false, INFINITE));
    EXPECT_FALSE(
        corvane::Exchange(Context(8), CPacket(4), reply, false, INFINITE));  // past the list
    EXPECT_EQ(Now(), start) << "no wake delay without a port";
    EXPECT_EQ(log_.Count(TReportLevel::Warning, "Failed to open corvane communications port."), 3u);
    EXPECT_TRUE(peer_->Requests().empty());
    EXPECT_EQ(line_->Available(), 0u);

    // The lock was given back each time: the right port works at once.
    EXPECT_TRUE(corvane::Exchange(Context(0), CPacket(4), reply, false, INFINITE));
}

TEST_F(Session, FailedExchangeWaitsTheDeadTimeOrUntilRecordingStops) {
    CPacket reply;
    Micros start = Now();
    EXPECT_FALSE(corvane::Exchange(Context(3), CPacket(4), reply, true, INFINITE));
    EXPECT_EQ(Now() - start, 30000 * kMs);
    EXPECT_EQ(log_.Count(TReportLevel::Debug, "WaitForDeadtime(): received stop signal."), 0u);

    // Recording stops 7 s into the dead time.
    TThread stopper(
        [this] {
            Sleep(7000);
            stopEvent_.Set();
        },
        "recording stop");
    start = Now();
    EXPECT_FALSE(corvane::Exchange(Context(3), CPacket(4), reply, true, INFINITE));
    EXPECT_EQ(Now() - start, 7000 * kMs);
    EXPECT_EQ(log_.Count(TReportLevel::Debug, "WaitForDeadtime(): received stop signal."), 1u);
    stopper.Join();

    // Stopped already: no wait at all.
    start = Now();
    EXPECT_FALSE(corvane::Exchange(Context(3), CPacket(4), reply, true, INFINITE));
    EXPECT_EQ(Now(), start);
    EXPECT_EQ(log_.Count(TReportLevel::Debug, "WaitForDeadtime(): received stop signal."), 2u);

    // Without the flag a failure returns at once.
    stopEvent_.Reset();
    start = Now();
    EXPECT_FALSE(corvane::Exchange(Context(3), CPacket(4), reply, false, INFINITE));
    EXPECT_EQ(Now(), start);
}

TEST_F(Session, DeadLineExchangeCostsWakeSendAndDeadTime) {
    peer_->Otherwise(linktest::Silence());
    CPacket reply;
    const Micros start = Now();
    EXPECT_FALSE(corvane::Exchange(Context(), CPacket(4), reply, true, INFINITE));
    EXPECT_EQ(Now() - start, (1500 + 3 * 2000 + 2 * 110 + 30000) * kMs);
    EXPECT_EQ(peer_->Requests().size(), 3u);
    EXPECT_FALSE(line_->PortIsOpen()) << "closed before the dead time";
}

TEST_F(Session, DeadTimeHoldsTheSessionLockAgainstOtherExchanges) {
    peer_->Then(3, linktest::Silence());
    peer_->Otherwise(linktest::Echo());
    const Micros t0 = Now();
    std::optional<bool> failedFirst;
    TThread messenger(
        [&] {
            CPacket reply;
            failedFirst = corvane::Exchange(Context(), CPacket(216), reply, true, INFINITE);
        },
        "messenger");
    // The messenger's dead time runs from 7720 ms to 37720 ms; an operator's status query at
    // 10 s with its 5 s limit finds the lock taken.
    Sleep(10000);
    CPacket reply;
    EXPECT_FALSE(
        corvane::Exchange(Context(), CPacket(4), reply, false, corvane::kOperatorLockWaitMs));
    EXPECT_EQ(peer_->Requests().size(), 3u);
    // Without a limit it goes through once the dead time is over.
    EXPECT_TRUE(corvane::Exchange(Context(), CPacket(4), reply, false, INFINITE));
    EXPECT_EQ(peer_->Requests().back().at - t0, (37720 + 1500) * kMs);
    messenger.Join();
    EXPECT_EQ(failedFirst, false);
}

}  // namespace
