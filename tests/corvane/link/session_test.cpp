#include "corvane/link/session.h"

#include <gtest/gtest.h>

#include <optional>

#include "corvane/link/support/scripted_peer.h"

namespace {

using tarvo::host::Micros;

constexpr Micros kMs = 1000;

class Session : public linktest::PeerTest {
  protected:
    // One exchange through the port of `portIndex` (0: COM2:, where the peer is).
    bool Exchange(WORD type, corvane::DeadTime deadTime, DWORD lockWait = INFINITE,
                  int portIndex = 0) {
        CPacket reply;
        return corvane::Exchange({link_, sessionLock_, portIndex, stopEvent_}, CPacket(type), reply,
                                 deadTime, lockWait);
    }

    CPacketComm link_;
    TSemaphore sessionLock_{1, 1, "test session lock"};
    TEvent stopEvent_{true, false, "test stop"};  // clear: recording runs
};

TEST(PortNames, IndexesZeroToSevenNameCom2ToCom9AndOthersNameNothing) {
    EXPECT_EQ(corvane::PortNameFromIndex(0), L"COM2:");
    EXPECT_EQ(corvane::PortNameFromIndex(7), L"COM9:");
    EXPECT_EQ(corvane::PortNameFromIndex(8), L"");
    EXPECT_EQ(corvane::PortNameFromIndex(-1), L"");
}

TEST_F(Session, UnopenablePortGivesOneWarningPerExchangeAndGivesTheLockBack) {
    peer_->Script({linktest::Reply(4)});
    const Micros start = tarvo::host::NowMicros();
    EXPECT_FALSE(Exchange(4, corvane::DeadTime::Skip, INFINITE, 3));  // COM5: is not mapped
    EXPECT_FALSE(Exchange(4, corvane::DeadTime::Skip, INFINITE, 3));
    EXPECT_FALSE(Exchange(4, corvane::DeadTime::Skip, INFINITE, 8));  // past the list
    EXPECT_EQ(tarvo::host::NowMicros(), start)
        << "no wake delay without a port, no dead time unless asked";
    EXPECT_EQ(log_.Count(TReportLevel::Warning, "Failed to open corvane communications port."), 3u);
    // The lock was given back each time: the right port works at once.
    EXPECT_TRUE(Exchange(4, corvane::DeadTime::Skip));
}

// A messenger's exchange on a dead line costs the wake, three attempts and the dead time, all
// under the session lock, so that an operator's status query in that time gives up.
TEST_F(Session, DeadTimeHoldsTheSessionLockSoAStatusQueryGivesUpAfter5000ms) {
    peer_->Script({linktest::kSilence, linktest::kSilence, linktest::kSilence, linktest::Reply(4)});
    const Micros t0 = tarvo::host::NowMicros();
    std::optional<bool> messengerResult;
    TThread messenger([&] { messengerResult = Exchange(216, corvane::DeadTime::Wait); },
                      "messenger");
    // Its dead time runs from 1500 + 3 * 2000 + 2 * 110 = 7720 ms to 37720 ms.
    Sleep(10000);
    EXPECT_FALSE(Exchange(4, corvane::DeadTime::Skip, corvane::kOperatorLockWaitMs));
    EXPECT_FALSE(line_->PortIsOpen()) << "closed before the dead time and left so by the query";
    EXPECT_EQ(tarvo::host::NowMicros() - t0, 15000 * kMs);
    EXPECT_EQ(peer_->Requests().size(), 3u);
    EXPECT_EQ(link_.GetPacketNumber(), 1) << "the status query made no Send";

    // Without a limit it goes through once the dead time is over, after the wake, and leaves
    // the port free.
    EXPECT_TRUE(Exchange(4, corvane::DeadTime::Skip));
    EXPECT_EQ(peer_->Requests().back().at - t0, (37720 + 1500) * kMs);
    EXPECT_FALSE(line_->PortIsOpen());
    messenger.Join();
    EXPECT_EQ(messengerResult, false);
    EXPECT_TRUE(log_.Texts(TReportLevel::Warning).empty());
}

}  // namespace
